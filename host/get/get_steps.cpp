// What "get" does for one entry, step by step.
#include <utility>

#include "host/get/get_command.h"
#include "host/module/stop_signal.h"
#include "host/tree/read_digest.h"
#include "interfaces/database/sync_rows.h"
#include "interfaces/platform/text.h"

namespace Drive::Host {
namespace {

// Of no bytes.
constexpr const char* kEmptySha256 = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";

}  // namespace

void GetCommand::Act(const CloudEntry& entry) {
    const EntryFacts facts = FactsOf(entry);
    Perform(entry, facts, Decide(entry, facts));
}

// What a dry run says of an entry.
void GetCommand::Plan(const CloudEntry& entry, const EntryFacts& facts, const Decision& decision) {
    switch (decision.step) {
        case Step::FolderThere:
            return Tell(entry, Result::FolderThere, "");
        case Step::MakeFolder:
            return Tell(entry, Result::Planned, "the folder would be made");
        case Step::Unchanged:
            return options.verify ? CheckVisible(entry, facts, Result::Unchanged) : Tell(entry, Result::Unchanged, "");
        case Step::Adopt:
            return CheckVisible(entry, facts, Result::Unchanged);
        case Step::MakeEmpty:
            return Tell(entry, Result::Planned, "the empty file would be made");
        case Step::MoveHere:
            return Tell(entry, Result::Planned, "would be renamed here; it is " + facts.proved->path);
        case Step::PlaceStaged:
        case Step::Resume:
        case Step::Fetch:
            return Tell(entry, Result::Planned,
                        decision.replaces ? "a newer version would be brought" : "would be brought");
        case Step::KeepLocal:
            return options.overwrite && facts.visible.kind != FileKind::Unreachable
                       ? Tell(entry, Result::Planned, "what stands there would be moved aside")
                       : Tell(entry, Result::KeptLocal, decision.reason);
        case Step::Refuse:
            return Tell(entry, Result::Refused, decision.reason);
    }
}

void GetCommand::Perform(const CloudEntry& entry, const EntryFacts& facts, const Decision& decision) {
    if (options.dryRun) {
        return Plan(entry, facts, decision);
    }
    switch (decision.step) {
        case Step::FolderThere:
            return MakeFolder(entry, facts, Result::FolderThere);
        case Step::MakeFolder:
            return MakeFolder(entry, facts, Result::FolderMade);
        case Step::Unchanged:
            if (options.verify) {
                return CheckVisible(entry, facts, Result::Unchanged);
            }
            WriteRow(entry, facts, Platform::WidenText(facts.proved->sha256));
            return Tell(entry, Result::Unchanged, "");
        case Step::Adopt:
            return CheckVisible(entry, facts, Result::Adopted);
        case Step::MakeEmpty:
            return MakeEmpty(entry, facts, decision);
        case Step::MoveHere:
            return MoveHere(entry, facts);
        case Step::PlaceStaged:
            return PlaceStaged(entry, facts, decision);
        case Step::Resume:
        case Step::Fetch:
            return Queue(entry, facts, decision);
        case Step::KeepLocal:
            return Keep(entry, facts, decision);
        case Step::Refuse:
            return Tell(entry, Result::Refused, decision.reason);
    }
}

void GetCommand::WriteRow(const CloudEntry& entry, const EntryFacts& facts, const std::wstring& localSha256) {
    const bool same = facts.row && facts.row->GetFileStatus() == 1 && facts.row->GetLocalFileSha256() == localSha256 &&
                      facts.row->GetHash() == entry.file.sha256 &&
                      facts.row->GetLocalParentFolder() == entry.parentFolder &&
                      facts.row->GetLocalFileName() == entry.file.fileName;
    if (facts.task.exists) {
        DropDownload(entry.file.id);
    }
    if (!same && !SQLiteDB::SyncRows::PutFile(RowOf(entry, 1, localSha256))) {
        reporter.Note("the row of " + Printable(entry.path) + " could not be written; the next 'get' does it");
    }
}

void GetCommand::MakeFolder(const CloudEntry& entry, const EntryFacts& facts, Result result) {
    std::string error;
    if (result == Result::FolderMade && !session.visible.MakeFolders(entry.path, error)) {
        return Tell(entry, Result::Failed, error);
    }
    WriteRow(entry, facts, L"");
    Tell(entry, result, "");
}

void GetCommand::MakeEmpty(const CloudEntry& entry, const EntryFacts& facts, const Decision& decision) {
    std::string message;
    if (!session.staging.MakeEmptyFile(entry.path, message)) {
        return Tell(entry, Result::Failed, message);
    }
    const std::optional<ProvedFile> replaces = decision.replaces ? facts.proved : std::nullopt;
    const Shown shown = placement.Show(entry, kEmptySha256, replaces, message);
    if (shown == Shown::Yes) {
        WriteRow(entry, facts, Platform::WidenText(kEmptySha256));
    }
    Tell(entry,
         shown == Shown::Yes         ? Result::EmptyMade
         : shown == Shown::KeptLocal ? Result::KeptLocal
                                     : Result::Failed,
         message);
}

// Reads a visible file and keeps it when it is what the cloud has.
void GetCommand::CheckVisible(const CloudEntry& entry, const EntryFacts& facts, Result whenGood) {
    const std::wstring actual = ReadDigest(session.settings.root, entry.path, StopRequested);
    if (actual.empty() && StopRequested()) {
        return Tell(entry, Result::Pending, "not looked at");
    }
    if (actual.empty()) {
        return Tell(entry, Result::Failed, "it cannot be read; check its permissions and the disk");
    }
    if (!entry.file.sha256.empty() && actual == entry.file.sha256) {
        if (options.dryRun) {
            return Tell(entry, whenGood, "");
        }
        placement.RecordProved(entry, Platform::NarrowText(actual));
        std::string ignored;
        session.staging.RemoveFile(entry.path, ignored);
        WriteRow(entry, facts, actual);
        return Tell(entry, whenGood, "");
    }
    const bool sameLooks = facts.proved && StillProved(facts.visible, *facts.proved);
    Keep(entry, facts,
         {Step::KeepLocal, false,
          sameLooks ? "its content changed on the disk without a new time; kept. 'get --overwrite' moves it aside"
                    : "another content stands there; kept. 'get --overwrite' moves it aside"});
}

void GetCommand::Keep(const CloudEntry& entry, EntryFacts facts, const Decision& decision) {
    if (!options.overwrite || facts.visible.kind == FileKind::Unreachable) {
        if (facts.task.exists && !options.dryRun) {
            DropDownload(entry.file.id);  // what an earlier run left; nobody wants it now
        }
        return Tell(entry, Result::KeptLocal, decision.reason);
    }
    if (options.dryRun) {
        return Plan(entry, facts, decision);
    }
    std::string message;
    if (!placement.MoveAside(entry.path, message)) {
        return Tell(entry, Result::KeptLocal, message);
    }
    reporter.Note(Printable(entry.path) + ": " + Printable(message));
    facts.visible = {};
    facts.proved.reset();
    Perform(entry, facts, Decide(entry, facts));
}

// A folder that was renamed in the cloud leaves its old self behind, empty.
void GetCommand::RemoveHusks(std::string path) {
    for (std::size_t slash = path.rfind('/'); slash != std::string::npos; slash = path.rfind('/')) {
        path.resize(slash);
        if (folders.count(path) != 0) {
            return;
        }
        session.visible.RemoveFolderIfEmpty(path);
    }
}

void GetCommand::MoveHere(const CloudEntry& entry, const EntryFacts& facts) {
    std::string message;
    const std::string earlier = facts.proved->path;
    const std::size_t slash = entry.path.rfind('/');
    if (!session.visible.MakeFolders(slash == std::string::npos ? "" : entry.path.substr(0, slash), message) ||
        MoveNew(session.visible, earlier, session.visible, entry.path, message) != MoveOutcome::Moved) {
        return Tell(entry, Result::Failed, message);
    }
    const std::string sha256 = facts.proved->sha256;
    placement.RecordProved(entry, sha256);
    WriteRow(entry, facts, Platform::WidenText(sha256));
    RemoveHusks(earlier);
    Tell(entry, Result::Moved, "was " + earlier);
}

// The content arrived in an earlier run that ended before it was shown. It is read again: nobody knows how it ended.
void GetCommand::PlaceStaged(const CloudEntry& entry, const EntryFacts& facts, const Decision& decision) {
    const std::wstring actual = ReadDigest(session.settings.staging, entry.path, StopRequested);
    if (actual.empty() && StopRequested()) {
        return Tell(entry, Result::Pending, "not looked at");
    }
    if (actual.empty() || actual != entry.file.sha256) {
        return Queue(entry, facts, {Step::Fetch, decision.replaces, ""});
    }
    std::string message;
    const std::optional<ProvedFile> replaces = decision.replaces ? facts.proved : std::nullopt;
    const Shown shown = placement.Show(entry, Platform::NarrowText(actual), replaces, message);
    if (shown == Shown::Yes) {
        WriteRow(entry, facts, actual);
    }
    Tell(entry,
         shown == Shown::Yes         ? Result::Downloaded
         : shown == Shown::KeptLocal ? Result::KeptLocal
                                     : Result::Failed,
         message);
}

void GetCommand::Queue(const CloudEntry& entry, const EntryFacts& facts, const Decision& decision) {
    const bool fresh = decision.step == Step::Fetch;
    if (fresh && facts.task.exists) {
        DropDownload(entry.file.id);
    }
    const std::optional<ProvedFile> replaces = decision.replaces ? facts.proved : std::nullopt;
    if (options.onDemand && fresh) {
        downloads.AddOnDemand(entry, replaces);
    } else {
        downloads.Add(entry, fresh, replaces);
    }
}

}  // namespace Drive::Host
