#include "host/mount/evict.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "host/module/stop_signal.h"
#include "host/mount/fetch_progress.h"
#include "host/mount/local_calls.h"
#include "host/tree/read_digest.h"
#include "interfaces/cloud/drive_account.h"
#include "interfaces/database/sqlite_db.h"
#include "interfaces/platform/text.h"

namespace Drive::Host {
namespace {

bool Same(const FileFacts& one, const FileFacts& other) {
    return one.kind == other.kind && one.size == other.size && one.changed == other.changed;
}

// A lease on writing is given only when nobody else has the file open, and while it is held nobody opens it unnoticed.
// Where the file system knows no leases, what the file looks like has to do.
bool IsOpenElsewhere(int descriptor) {
    signal(SIGIO, SIG_IGN);  // how the kernel tells that a lease is wanted back; the next call closes the file anyway
    return fcntl(descriptor, F_SETLEASE, F_WRLCK) != 0 && (errno == EAGAIN || errno == EBUSY);
}

}  // namespace

std::string CheckEvictable(Session& session, const std::string& path, EvictFacts& facts) {
    facts.looked = session.visible.Look(path);
    if (facts.looked.kind != FileKind::File) {
        return "it is not here";
    }
    Cloud::CloudFile there;
    const Cloud::CallOutcome asked = Cloud::DriveAccount::Get(facts.fileId, there);
    if (!asked.ok) {
        return "the cloud could not confirm it: " + asked.message;
    }
    if (there.isDeleted || there.sha256.empty() || there.contentVersion != facts.contentVersion) {
        return "the cloud does not hold this content any more";
    }
    facts.sha256 = ReadDigest(session.settings.root, path, StopRequested);
    return facts.sha256 == there.sha256 ? "" : "it was changed here and is not in the cloud yet";
}

std::string RemoveChecked(Session& session, const std::string& path, const EvictFacts& facts) {
    const OpenFile file(session.visible.OpenForReading(path));
    if (file.Number() < 0) {
        return std::string("it cannot be opened: ") + std::strerror(errno);
    }
    if (IsOpenElsewhere(file.Number())) {
        return "somebody has it open; close it first";
    }
    if (!Same(session.visible.Look(path), facts.looked)) {
        return "it was changed at this moment";
    }
    if (const int problem = Local::Unlink(session.visible, path); problem != 0) {
        return std::string("it cannot be removed: ") + std::strerror(problem);
    }
    session.records.ForgetProved(Platform::NarrowText(facts.fileId));
    SQLiteDB::SQLiteDB::GetInstance().DeleteDriveDataItem(facts.fileId);
    return "";
}

}  // namespace Drive::Host
