#include "host/get/placement.h"

#include <ctime>

#include "interfaces/platform/clock.h"
#include "interfaces/platform/text.h"

namespace Drive::Host {
namespace {

constexpr int kAsideAttempts = 100;
constexpr std::size_t kLongestName = 255;

std::string FolderOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? "" : path.substr(0, slash);
}

std::string NameOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string Joined(const std::string& folder, const std::string& name) {
    return folder.empty() ? name : folder + "/" + name;
}

// Never cuts a character in two.
std::string CutTo(std::string text, std::size_t length) {
    if (text.size() <= length) {
        return text;
    }
    while (length > 0 && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80) {
        --length;
    }
    text.resize(length);
    return text;
}

}  // namespace

std::string AsideName(const std::string& name, std::int64_t secondsSinceEpoch, int attempt) {
    const std::time_t seconds = static_cast<std::time_t>(secondsSinceEpoch);
    std::tm moment{};
    localtime_r(&seconds, &moment);
    char when[40];
    std::strftime(when, sizeof when, "%Y-%m-%d %H.%M.%S", &moment);
    const std::size_t dot = name.rfind('.');
    const bool hasEnding = dot != std::string::npos && dot > 0 && name.size() - dot <= 16;
    const std::string ending = hasEnding ? name.substr(dot) : "";
    const std::string mark =
        std::string(" (local copy ") + when + (attempt > 0 ? " " + std::to_string(attempt + 1) : "") + ")";
    return CutTo(name.substr(0, name.size() - ending.size()), kLongestName - mark.size() - ending.size()) + mark +
           ending;
}

bool Placement::MoveAside(const std::string& path, std::string& message) {
    const std::int64_t now = Platform::UnixTimeSeconds();
    for (int attempt = 0; attempt < kAsideAttempts; ++attempt) {
        const std::string aside = Joined(FolderOf(path), AsideName(NameOf(path), now, attempt));
        const MoveOutcome moved = MoveNew(visible, path, visible, aside, message);
        if (moved == MoveOutcome::Moved) {
            message = "what stood there is now " + aside;
        }
        if (moved != MoveOutcome::Occupied) {
            return moved == MoveOutcome::Moved;
        }
    }
    return false;
}

void Placement::RecordProved(const CloudEntry& entry, const std::string& sha256) {
    const FileFacts facts = visible.Look(entry.path);
    records.PutProved(Platform::NarrowText(entry.file.id),
                      {entry.path, facts.size, facts.changed, sha256, Platform::NarrowText(entry.file.contentVersion)});
}

Shown Placement::ShowInPlaceOf(const CloudEntry& entry, const ProvedFile& earlier, std::string& message) {
    switch (Exchange(staging, entry.path, visible, entry.path, message)) {
        case MoveOutcome::Moved:
            break;
        case MoveOutcome::Absent: {  // it was removed here meanwhile
            const MoveOutcome moved = MoveNew(staging, entry.path, visible, entry.path, message);
            return moved == MoveOutcome::Moved ? Shown::Yes : Shown::Failed;
        }
        default:
            return Shown::Failed;
    }
    message.clear();
    const FileFacts displaced = staging.Look(entry.path);
    std::string error;
    if (displaced.kind == FileKind::File && displaced.size == earlier.size && displaced.changed == earlier.changed) {
        staging.RemoveFile(entry.path, error);
        return Shown::Yes;
    }
    // It was changed here while the new content travelled: both stay.
    const std::int64_t now = Platform::UnixTimeSeconds();
    for (int attempt = 0; attempt < kAsideAttempts; ++attempt) {
        const std::string aside = Joined(FolderOf(entry.path), AsideName(NameOf(entry.path), now, attempt));
        if (MoveNew(staging, entry.path, visible, aside, error) == MoveOutcome::Moved) {
            message = "it was changed here meanwhile; that version is now " + aside;
            return Shown::Yes;
        }
    }
    message = error;
    Exchange(staging, entry.path, visible, entry.path, error);
    return Shown::Failed;
}

Shown Placement::Show(const CloudEntry& entry, const std::string& sha256, const std::optional<ProvedFile>& replaces,
                      std::string& message) {
    if (entry.file.editedTime > 0) {
        staging.SetTime(entry.path, entry.file.editedTime);
    }
    if (!visible.MakeFolders(FolderOf(entry.path), message)) {
        return Shown::Failed;
    }
    if (replaces) {
        const Shown shown = ShowInPlaceOf(entry, *replaces, message);
        if (shown != Shown::Yes) {
            return shown;
        }
    } else {
        const MoveOutcome moved = MoveNew(staging, entry.path, visible, entry.path, message);
        if (moved != MoveOutcome::Moved) {
            message = moved == MoveOutcome::Occupied ? "something new stands at its place; move it away" : message;
            return moved == MoveOutcome::Occupied ? Shown::KeptLocal : Shown::Failed;
        }
        message.clear();
    }
    RecordProved(entry, sha256);
    return Shown::Yes;
}

}  // namespace Drive::Host
