#include "host/commands/verify_command.h"

#include <unordered_map>

#include "host/get/cloud_tree.h"
#include "host/get/run_texts.h"
#include "host/module/exit_codes.h"
#include "host/module/stop_signal.h"
#include "host/put/local_tree.h"
#include "host/tree/read_digest.h"
#include "interfaces/cloud/drive_account.h"
#include "interfaces/platform/clock.h"

namespace Drive::Host {
namespace {

constexpr std::size_t kLongestPath = 4096;  // bytes

Outcome Compare(const CloudEntry& entry, const LocalEntry& here, const std::string& root) {
    Outcome outcome{entry.path, Result::Differs, entry.file.size, ""};
    if (entry.file.isFolder != (here.facts.kind == FileKind::Folder) ||
        (!entry.file.isFolder && here.facts.kind != FileKind::File)) {
        outcome.message = "it is of another kind here";
    } else if (entry.file.isFolder) {
        outcome.result = Result::FolderThere;
    } else if (here.facts.size != entry.file.size) {
        outcome.message =
            std::to_string(here.facts.size) + " bytes here, " + std::to_string(entry.file.size) + " in the cloud";
    } else if (entry.file.sha256.empty()) {
        outcome.message = "the cloud tells no digest";
    } else {
        const std::wstring actual = ReadDigest(root, entry.path, StopRequested);
        if (actual.empty() && StopRequested()) {
            return {entry.path, Result::Pending, entry.file.size, "not looked at"};
        }
        outcome.result = actual == entry.file.sha256 ? Result::Unchanged : Result::Differs;
        outcome.message = actual.empty()                      ? "it cannot be read here"
                          : outcome.result == Result::Differs ? "its content is another here"
                                                              : "";
    }
    return outcome;
}

}  // namespace

int RunVerify(Session& session, const ReportOptions& options) {
    Reporter reporter(options);
    const std::int64_t started = Platform::MonotonicMilliseconds();
    OnStopRequested([] { Cloud::DriveAccount::Abort(); });
    std::vector<Cloud::CloudFile> files;
    std::wstring cursor;
    const Cloud::CallOutcome listed = Cloud::DriveAccount::List(files, cursor);
    if (!listed.ok) {
        reporter.Note(CannotList(listed));
        const int code = StopRequested() ? kExitStopped : kExitCloud;
        if (options.json) {
            reporter.Summary({}, {}, code);
        }
        return code;
    }
    std::unordered_map<std::string, LocalEntry> here;
    for (LocalEntry& entry : ReadLocalTree(session.visible, session.StagingInside())) {
        here[entry.path] = entry;
    }
    Tally tally;
    const auto tell = [&](const Outcome& outcome) {
        tally.Add(outcome);
        reporter.Entry(outcome);
    };
    for (const CloudEntry& entry : PlaceEntries(std::move(files), session.rootFileId, kLongestPath)) {
        const auto found = here.find(entry.path);
        if (StopRequested()) {
            tell({entry.path, Result::Pending, entry.file.size, "not looked at"});
        } else if (!entry.refusal.empty()) {
            tell({entry.path, Result::Refused, entry.file.size, entry.refusal});
        } else if (found == here.end()) {
            tell({entry.path, Result::Missing, entry.file.size, "not here"});
        } else {
            tell(Compare(entry, found->second, session.settings.root));
            here.erase(found);
        }
    }
    for (const auto& [path, entry] : here) {
        const bool travels = entry.facts.kind == FileKind::File || entry.facts.kind == FileKind::Folder;
        tell({path, travels ? Result::Extra : Result::NotSent, entry.facts.size,
              travels ? "not in the cloud" : "only files and folders travel"});
    }
    const int code = StopRequested() ? kExitStopped : tally.troubles > 0 ? kExitSome : kExitOk;
    reporter.Summary(tally, {static_cast<double>(Platform::MonotonicMilliseconds() - started) / 1000, 0}, code);
    return code;
}

}  // namespace Drive::Host
