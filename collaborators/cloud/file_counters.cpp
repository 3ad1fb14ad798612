#include "collaborators/cloud/file_counters.h"

#include <list>
#include <map>
#include <mutex>
#include <utility>

namespace Drive::Cloud {

namespace {

constexpr std::size_t kFilesRemembered = 1000;

struct Counted {
    std::wstring fileId;
    std::shared_ptr<FileCount> count;
};

/// Never destroyed: a transfer may still run when the process ends.
struct Files {
    std::mutex mutex;                                               // guards what follows
    std::list<Counted> used;                                        // the latest first
    std::map<std::wstring, std::list<Counted>::iterator> byFileId;  // into `used`
};

Files& Shared() {
    static Files& files = *new Files;
    return files;
}

/// What the last calls on a thread told.
struct Notes {
    std::wstring addressOfFile;  ///< id of the file that `address` belongs to
    std::wstring address;
    std::wstring cursorOfFile;  ///< id of the file that `recordCursor` belongs to
    std::wstring recordCursor;
};

thread_local Notes notes;

}  // namespace

std::shared_ptr<FileCount> CountOfFile(const std::wstring& fileId) {
    Files& files = Shared();
    const std::lock_guard lock(files.mutex);
    if (const auto found = files.byFileId.find(fileId); found != files.byFileId.end()) {
        files.used.splice(files.used.begin(), files.used, found->second);
        return found->second->count;
    }
    files.used.push_front({fileId, std::make_shared<FileCount>()});
    files.byFileId[fileId] = files.used.begin();
    if (files.used.size() > kFilesRemembered) {
        files.byFileId.erase(files.used.back().fileId);
        files.used.pop_back();
    }
    return files.used.front().count;
}

void NoteAddress(const std::wstring& fileId, const std::wstring& address) {
    notes.addressOfFile = fileId;
    notes.address = address;
}

void NoteDownload(const std::wstring& fileId, const std::wstring& recordCursor, const std::wstring& address) {
    notes.cursorOfFile = fileId;
    notes.recordCursor = recordCursor;
    NoteAddress(fileId, address);
}

void NoteObjectAddress(const std::wstring& recordCursor, const std::wstring& address) {
    const bool known = !notes.cursorOfFile.empty() && recordCursor == notes.recordCursor;
    NoteAddress(known ? notes.cursorOfFile : std::wstring(), address);
}

std::shared_ptr<FileCount> CountAtAddress(const std::wstring& address) {
    if (address.empty() || address != notes.address || notes.addressOfFile.empty()) return nullptr;
    return CountOfFile(notes.addressOfFile);
}

TransferCounters CountersOfFile(const std::wstring& fileId) {
    Files& files = Shared();
    const std::lock_guard lock(files.mutex);
    const auto found = files.byFileId.find(fileId);
    if (found == files.byFileId.end()) return {};
    const FileCount& count = *found->second->count;
    return {count.sent.load(std::memory_order_relaxed), count.received.load(std::memory_order_relaxed)};
}

}  // namespace Drive::Cloud
