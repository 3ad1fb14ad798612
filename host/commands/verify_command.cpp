#include "host/commands/verify_command.h"

#include <unordered_map>

#include "host/commands/cloud_content.h"
#include "host/commands/verify_outcome.h"
#include "host/get/run_texts.h"
#include "host/module/exit_codes.h"
#include "host/module/stop_signal.h"
#include "host/tree/read_digest.h"
#include "interfaces/cloud/drive_account.h"
#include "interfaces/platform/clock.h"

namespace Drive::Host {
namespace {

constexpr std::size_t kLongestPath = 4096;  // bytes
// So many files in a row of which the cloud tells nothing: it is not there any more, and each call takes its time.
constexpr int kMostUnanswered = 3;

class Verification {
public:
    Verification(Session& session, const VerifyOptions& options)
        : session(session), options(options), reporter(options.report) {}

    int Run();

private:
    void Look(const CloudEntry& entry);
    void Tell(const Outcome& outcome);
    bool Progress(std::int64_t bytes);
    int ExitCode() const;

    Session& session;
    const VerifyOptions& options;
    Reporter reporter;
    Tally tally;
    ProgressFigures figures;
    std::unordered_map<std::string, LocalEntry> here;
    int unanswered = 0;  // files in a row
    bool cloudGone = false;
};

void Verification::Tell(const Outcome& outcome) {
    tally.Add(outcome);
    reporter.Entry(outcome);
}

bool Verification::Progress(std::int64_t bytes) {
    figures.bytesDone += bytes;
    reporter.Progress(figures);
    return !StopRequested();
}

void Verification::Look(const CloudEntry& entry) {
    const Outcome left{entry.path, Result::Pending, entry.file.size, "not looked at"};
    BothSides sides;
    const auto found = here.find(entry.path);
    sides.here = found == here.end() ? nullptr : &found->second;
    if (!StopRequested() && NeedsDigestHere(entry, sides.here)) {
        sides.digestHere = ReadDigest(session.settings.root, entry.path, StopRequested);
    }
    if (!StopRequested() && !options.quick && !cloudGone && HasContent(entry)) {
        sides.cloud = ReadCloudContent(entry.file.id, [this](std::int64_t bytes) { return Progress(bytes); });
        unanswered = sides.cloud->unanswered ? unanswered + 1 : 0;
        cloudGone = unanswered >= kMostUnanswered;
    }
    const bool looked = options.quick || sides.cloud || !HasContent(entry);
    Tell(StopRequested() || !looked ? left : JudgeSides(entry, sides));
    if (found != here.end()) {
        here.erase(found);
    }
    ++figures.filesDone;
}

int Verification::ExitCode() const {
    return StopRequested() ? kExitStopped : cloudGone ? kExitCloud : tally.troubles > 0 ? kExitSome : kExitOk;
}

int Verification::Run() {
    const std::int64_t started = Platform::MonotonicMilliseconds();
    OnStopRequested([] { Cloud::DriveAccount::Abort(); });
    std::vector<Cloud::CloudFile> files;
    std::wstring cursor;
    const Cloud::CallOutcome listed = Cloud::DriveAccount::List(files, cursor);
    if (!listed.ok) {
        reporter.Note(CannotList(listed));
        const int code = StopRequested() ? kExitStopped : kExitCloud;
        if (options.report.json) {
            reporter.Summary({}, {}, code);
        }
        return code;
    }
    for (LocalEntry& entry : ReadLocalTree(session.visible, session.StagingInside())) {
        here[entry.path] = entry;
    }
    const std::vector<CloudEntry> entries = PlaceEntries(std::move(files), session.rootFileId, kLongestPath);
    for (const CloudEntry& entry : entries) {
        figures.bytesAll += !options.quick && HasContent(entry) ? entry.file.size : 0;
    }
    figures.filesAll = static_cast<std::int64_t>(entries.size());
    for (const CloudEntry& entry : entries) {
        Look(entry);
    }
    for (const auto& [path, entry] : here) {
        const bool travels = entry.facts.kind == FileKind::File || entry.facts.kind == FileKind::Folder;
        Tell({path, travels ? Result::Extra : Result::NotSent, entry.facts.size,
              travels ? "not in the cloud" : "only files and folders travel"});
    }
    if (cloudGone) {
        reporter.Note("the cloud does not answer any more; call 'verify' again when it does");
    }
    const int code = ExitCode();
    reporter.Summary(tally, {static_cast<double>(Platform::MonotonicMilliseconds() - started) / 1000, 0}, code);
    return code;
}

}  // namespace

int RunVerify(Session& session, const VerifyOptions& options) { return Verification(session, options).Run(); }

}  // namespace Drive::Host
