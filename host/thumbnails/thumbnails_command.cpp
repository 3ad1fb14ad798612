#include "host/thumbnails/thumbnails_command.h"

#include <unordered_set>
#include <utility>

#include "host/control/run_desk.h"
#include "host/engine/engine_run.h"
#include "host/engine/key_patience.h"
#include "host/engine/parked_tasks.h"
#include "host/get/run_texts.h"
#include "host/module/exit_codes.h"
#include "host/module/stop_signal.h"
#include "host/put/local_tree.h"
#include "host/settings/private_file.h"
#include "host/thumbnails/picture_run.h"
#include "host/tree/free_space.h"
#include "interfaces/cloud/drive_account.h"
#include "interfaces/common/globals.h"
#include "interfaces/database/sqlite_db.h"
#include "interfaces/platform/clock.h"
#include "interfaces/platform/native_path.h"

namespace Drive::Host {
namespace {

constexpr std::size_t kLongestPath = 4096;  // bytes

class Thumbnails {
public:
    Thumbnails(Session& session, const ThumbnailsOptions& options)
        : session(session),
          options(options),
          reporter(options.report),
          run(session, pictures,
              [this](const CloudEntry& entry, Result result, std::int64_t bytes, const std::string& message) {
                  Tell({entry.path, result, bytes, message});
              }),
          started(Platform::MonotonicMilliseconds()) {}

    int Run();

private:
    int Begin();
    void Add(const CloudEntry& entry);
    int Fetch();
    void RemoveOthers();
    bool Tick();
    void Tell(const Outcome& outcome);
    int Finish(int code);

    Session& session;
    const ThumbnailsOptions& options;
    Reporter reporter;
    Tree pictures;
    PictureRun run;
    const std::int64_t started;
    std::unordered_set<std::string> wanted;  // paths of pictures, below their folder
    KeyPatience keys;
    Tally tally;
};

void Thumbnails::Tell(const Outcome& outcome) {
    tally.Add(outcome);
    reporter.Entry(outcome);
}

int Thumbnails::Finish(int code) {
    const int final = code != kExitOk ? code : tally.troubles > 0 ? kExitSome : kExitOk;
    reporter.Summary(tally, {static_cast<double>(Platform::MonotonicMilliseconds() - started) / 1000, 0}, final);
    return final;
}

// The pictures have a folder of their own: what "put" attaches to a file must be of the content that it sends, and is
// looked for in another.
int Thumbnails::Begin() {
    const std::string folder = session.stateFolder + "/thumbnails";
    std::string error;
    if (!MakePrivateFolder(folder, error) || !pictures.Open(folder, error)) {
        reporter.Note(error);
        return kExitLocal;
    }
    g_thumbnailFolder = Platform::EnginePath(folder + "/");
    ParkAll(session.records);
    return kExitOk;
}

void Thumbnails::Add(const CloudEntry& entry) {
    const Common::FileItem row = SQLiteDB::SQLiteDB::GetInstance().GetDriveDataItemWithKey(entry.file.id);
    const bool hasRow = !row.GetFileId().empty();
    const std::string path = PicturePath(entry, hasRow ? &row : nullptr);
    if (path.empty() || !wanted.insert(path).second) {
        return Tell({entry.path, Result::Failed, 0, "its picture has no place of its own; run 'zelkor-drive get'"});
    }
    const FileFacts there = pictures.Look(path);
    if (there.kind == FileKind::File &&
        session.records.Value(PictureRecord(entry.file.id)) == PictureState(entry, path)) {
        return Tell({entry.path, Result::Unchanged, there.size, ""});
    }
    run.Add(entry, path, hasRow);
}

bool Thumbnails::Tick() {
    ProgressFigures figures;
    figures.filesDone = run.Settled();
    figures.filesAll = run.All();
    RunDesk::Get().Tell("thumbnails", reporter.Progress(figures));
    RunDesk::Get().Serve([](const std::string&) { return std::string("no transfer of that name is under way"); });
    const std::int64_t now = Platform::MonotonicMilliseconds();
    if (keys.TimeToTell(EngineRun::HasKeys(), now)) {
        reporter.Note(kNoKeysYet);
    }
    return !keys.Exhausted(EngineRun::HasKeys(), now);
}

int Thumbnails::Fetch() {
    if (const std::int64_t free = FreeBytes(pictures.Root()); free >= 0 && free <= kLeastFree) {
        reporter.Note("less than 200 MiB are free on the disk of " + pictures.Root() + "; make room there");
        run.End();
        return kExitLocal;
    }
    reporter.Stage("bringing " + std::to_string(run.All()) + " pictures");
    run.Begin();
    EngineRun::Start();
    OnStopRequested({});
    const std::int64_t deadline =
        options.timeoutSeconds > 0 ? started + static_cast<std::int64_t>(options.timeoutSeconds * 1000) : 0;
    const RunEnd end = run.Run(deadline, [this] { return Tick(); });
    if (!EngineRun::Stop(options.stopSeconds * 1000)) {
        reporter.Note("a transfer did not stop in time and was cut off");
    }
    run.End();
    if (end == RunEnd::NoKeys) {
        reporter.Note(kNoKeysAtAll);
        return kExitCloud;
    }
    return end == RunEnd::Timeout ? kExitTimeout : end == RunEnd::Stopped ? kExitStopped : kExitOk;
}

// Pictures of files that are gone or stand elsewhere now, and the folders that hold nothing else.
void Thumbnails::RemoveOthers() {
    const std::vector<LocalEntry> there = ReadLocalTree(pictures, "");
    for (auto entry = there.rbegin(); entry != there.rend(); ++entry) {
        std::string ignored;
        if (entry->facts.kind == FileKind::Folder) {
            pictures.RemoveFolderIfEmpty(entry->path);
        } else if (wanted.count(entry->path) == 0) {
            pictures.RemoveFile(entry->path, ignored);
        }
    }
}

int Thumbnails::Run() {
    OnStopRequested([] { Cloud::DriveAccount::Abort(); });
    if (const int code = Begin(); code != kExitOk) {
        return Finish(code);
    }
    reporter.Stage("listing the cloud");
    std::vector<Cloud::CloudFile> files;
    std::wstring cursor;
    const Cloud::CallOutcome listed = Cloud::DriveAccount::List(files, cursor);
    if (!listed.ok) {
        reporter.Note(CannotList(listed));
        return Finish(StopRequested() ? kExitStopped : kExitCloud);
    }
    const PictureChoice choice =
        ChoosePictures(PlaceEntries(std::move(files), session.rootFileId, kLongestPath), options.only);
    for (const std::string& path : choice.unknown) {
        reporter.Note("the cloud has no " + Printable(path));
    }
    for (const std::string& path : choice.withoutPictures) {
        Tell({path, Result::Failed, 0, "the cloud offers no picture of it"});
    }
    for (const CloudEntry& entry : choice.entries) {
        Add(entry);
    }
    if (options.only.empty()) {
        RemoveOthers();
    }
    const int code = run.Empty() ? kExitOk : Fetch();
    return Finish(code == kExitOk && !choice.unknown.empty() ? kExitSome : code);
}

}  // namespace

int RunThumbnails(Session& session, const ThumbnailsOptions& options) { return Thumbnails(session, options).Run(); }

}  // namespace Drive::Host
