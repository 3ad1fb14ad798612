#include "host/get/decide.h"

#include <json/json.h>

#include <memory>

#include "interfaces/platform/text.h"

namespace Drive::Host {
namespace {

constexpr const char* kOccupiedByOther = "something that is no file stands there and stays; move it away";
constexpr const char* kChangedHere =
    "changed here; kept. 'zelkor-drive put' sends it, 'get --overwrite' moves it aside";

bool RowMatches(const CloudEntry& entry, const Common::FileItem& row) {
    const bool sameContent = entry.file.sha256.empty() ? row.GetContentVersion() == entry.file.contentVersion
                                                       : row.GetHash() == entry.file.sha256;
    return sameContent && row.GetSize() == entry.file.size && row.GetLocalParentFolder() == entry.parentFolder &&
           row.GetLocalFileName() == entry.file.fileName && row.GetName() == entry.file.fileName;
}

// The content is not at the place: how does it get there?
Step HowToBring(const CloudEntry& entry, const EntryFacts& facts) {
    if (entry.file.size == 0) {
        return Step::MakeEmpty;
    }
    if (!facts.row || !RowMatches(entry, *facts.row)) {
        return Step::Fetch;
    }
    const bool stagedWhole = facts.staged.kind == FileKind::File && facts.staged.size == entry.file.size;
    if (facts.row->GetFileStatus() == 1 && !facts.task.exists) {
        return stagedWhole ? Step::PlaceStaged : Step::Fetch;
    }
    const bool waiting = facts.row->GetFileStatus() == 21 || facts.row->GetFileStatus() == 22;
    const bool enough = facts.task.writePosition == 0 ||
                        (facts.staged.kind == FileKind::File && facts.staged.size >= facts.task.writePosition &&
                         facts.staged.size <= entry.file.size);
    return facts.task.exists && waiting && enough && !facts.task.damaged ? Step::Resume : Step::Fetch;
}

Decision DecideFolder(const EntryFacts& facts) {
    switch (facts.visible.kind) {
        case FileKind::Folder:
            return {Step::FolderThere, false, ""};
        case FileKind::Absent:
            return {Step::MakeFolder, false, ""};
        default:
            return {Step::KeepLocal, false, "something that is no folder stands there and stays; move it away"};
    }
}

Decision DecideAbsent(const CloudEntry& entry, const EntryFacts& facts) {
    const bool moved = facts.proved && facts.proved->path != entry.path && SameContent(entry, *facts.proved) &&
                       StillProved(facts.earlier, *facts.proved);
    return {moved ? Step::MoveHere : HowToBring(entry, facts), false, ""};
}

Decision DecideFileThere(const CloudEntry& entry, const EntryFacts& facts) {
    const bool ours = facts.proved && facts.proved->path == entry.path && StillProved(facts.visible, *facts.proved);
    if (ours && SameContent(entry, *facts.proved)) {
        return {Step::Unchanged, false, ""};
    }
    if (ours) {
        return {HowToBring(entry, facts), true, ""};
    }
    if (facts.visible.size == entry.file.size) {
        return {Step::Adopt, false, ""};
    }
    return {Step::KeepLocal, false, kChangedHere};
}

}  // namespace

bool StillProved(const FileFacts& disk, const ProvedFile& proved) {
    return disk.kind == FileKind::File && disk.size == proved.size && disk.changed == proved.changed;
}

bool SameContent(const CloudEntry& entry, const ProvedFile& proved) {
    if (entry.file.size != proved.size) {
        return false;
    }
    return entry.file.sha256.empty() ? Platform::NarrowText(entry.file.contentVersion) == proved.contentVersion
                                     : Platform::NarrowText(entry.file.sha256) == proved.sha256;
}

Decision Decide(const CloudEntry& entry, const EntryFacts& facts) {
    if (!entry.refusal.empty()) {
        return {Step::Refuse, false, entry.refusal};
    }
    if (entry.file.isFolder) {
        return DecideFolder(facts);
    }
    switch (facts.visible.kind) {
        case FileKind::Absent:
            return DecideAbsent(entry, facts);
        case FileKind::File:
            return DecideFileThere(entry, facts);
        case FileKind::Unreachable:
            return {Step::KeepLocal, false, "one of its folders is a link or cannot be opened; move it away"};
        default:
            return {Step::KeepLocal, false, kOccupiedByOther};
    }
}

TaskFacts ReadTaskFacts(const std::wstring& fragmentInfo) {
    TaskFacts facts;
    facts.exists = true;
    if (fragmentInfo.size() < 11) {
        return facts;  // too short for a record: a start from the beginning
    }
    Json::Value record;
    const std::string text = Platform::NarrowText(fragmentInfo);
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    if (!reader->parse(text.data(), text.data() + text.size(), &record, nullptr) || !record.isObject()) {
        facts.damaged = true;
        return facts;
    }
    const Json::Value& position = record["writePosition"];
    const Json::Value& slice = record["writeSliceIndex"];
    facts.writePosition = position.isInt64() ? position.asInt64() : 0;
    // A record with slices belongs to an encrypted download, which writes its first object at the saved position.
    facts.damaged = facts.writePosition < 0 || !(slice.isNull() || (slice.isInt() && slice.asInt() == 0));
    return facts;
}

}  // namespace Drive::Host
