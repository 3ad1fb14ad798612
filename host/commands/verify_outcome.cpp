#include "host/commands/verify_outcome.h"

namespace Drive::Host {
namespace {

bool SameKind(const CloudEntry& entry, const LocalEntry& here) {
    return here.facts.kind == (entry.file.isFolder ? FileKind::Folder : FileKind::File);
}

std::string WrongHere(const CloudEntry& entry, const BothSides& sides, const std::wstring& due) {
    const LocalEntry& here = *sides.here;
    if (!SameKind(entry, here)) {
        return "it is of another kind here";
    }
    if (here.facts.size != entry.file.size) {
        return std::to_string(here.facts.size) + " bytes here, " + std::to_string(entry.file.size) + " in the cloud";
    }
    if (due.empty()) {
        return sides.cloud ? "" : "the cloud tells no digest";
    }
    return sides.digestHere == due     ? ""
           : sides.digestHere.empty()  ? "it cannot be read here"
           : entry.file.sha256.empty() ? "its content here is not that in the cloud"
                                       : "its content is another here";
}

std::string WrongThere(const CloudEntry& entry, const CloudContent& cloud) {
    if (cloud.bytes != entry.file.size) {
        return "the cloud holds " + std::to_string(cloud.bytes) + " bytes of it, not " +
               std::to_string(entry.file.size) + " as it tells";
    }
    const bool differs = !entry.file.sha256.empty() && cloud.sha256 != entry.file.sha256;
    return differs ? "what the cloud holds is not what it tells: the content there is damaged" : "";
}

void Add(Outcome& outcome, Result result, const std::string& message) {
    if (message.empty()) {
        return;
    }
    outcome.result = result;
    outcome.message += (outcome.message.empty() ? "" : "; ") + message;
}

}  // namespace

bool HasContent(const CloudEntry& entry) { return entry.refusal.empty() && !entry.file.isFolder; }

bool NeedsDigestHere(const CloudEntry& entry, const LocalEntry* here) {
    return HasContent(entry) && here != nullptr && SameKind(entry, *here) && here->facts.size == entry.file.size;
}

Outcome JudgeSides(const CloudEntry& entry, const BothSides& sides) {
    Outcome outcome{entry.path, Result::Unchanged, entry.file.size, ""};
    if (!entry.refusal.empty()) {
        return {entry.path, Result::Refused, entry.file.size, entry.refusal};
    }
    if (entry.file.isFolder) {
        outcome.result = Result::FolderThere;
    }
    const std::wstring due = !entry.file.sha256.empty() ? entry.file.sha256 : sides.cloud ? sides.cloud->sha256 : L"";
    if (sides.here == nullptr) {
        Add(outcome, Result::Missing, "not here");
    } else if (entry.file.isFolder) {
        Add(outcome, Result::Differs, SameKind(entry, *sides.here) ? "" : "it is of another kind here");
    } else {
        Add(outcome, Result::Differs, WrongHere(entry, sides, due));
    }
    if (sides.cloud && !sides.cloud->failure.empty()) {
        Add(outcome, Result::Failed, sides.cloud->failure);
    } else if (sides.cloud) {
        Add(outcome, Result::Differs, WrongThere(entry, *sides.cloud));
    }
    return outcome;
}

}  // namespace Drive::Host
