#include "host/get/cloud_tree.h"

#include <exception>
#include <unordered_map>
#include <unordered_set>

#include "interfaces/platform/native_path.h"
#include "interfaces/platform/text.h"

namespace Drive::Host {
namespace {

constexpr std::size_t kShownOfRefused = 200;  // bytes
constexpr std::size_t kLongestName = 255;     // bytes, on every common Linux file system

std::string Readable(const std::wstring& name) {
    std::string text;
    for (const wchar_t character : name) {
        const bool plain = character > 0x20 && character < 0x7F;
        text += plain ? std::string(1, static_cast<char>(character)) : std::string("?");
    }
    return text.empty() ? "(no name)" : text;
}

class Placer {
public:
    Placer(std::vector<Cloud::CloudFile> files, const std::wstring& rootFileId, std::size_t longestPath)
        : files(std::move(files)), rootFileId(rootFileId), longestPath(longestPath) {
        for (std::size_t index = 0; index < this->files.size(); ++index) {
            byId.emplace(this->files[index].id, index);
        }
        state.assign(this->files.size(), State::Untouched);
        placed.assign(this->files.size(), 0);
    }

    std::vector<CloudEntry> All() {
        for (std::size_t index = 0; index < files.size(); ++index) {
            if (files[index].id != rootFileId && !files[index].isDeleted) {
                Place(index);
            }
        }
        return std::move(entries);
    }

private:
    enum class State { Untouched, Open, Placed };

    // Places the chain of parents first, without recursion: a hostile listing may be as deep as it is long.
    void Place(std::size_t index) {
        std::vector<std::size_t> chain;
        while (state[index] == State::Untouched) {
            state[index] = State::Open;
            chain.push_back(index);
            const auto parent = byId.find(files[index].parentFolder);
            if (files[index].parentFolder == rootFileId || parent == byId.end()) {
                break;
            }
            index = parent->second;
        }
        for (auto next = chain.rbegin(); next != chain.rend(); ++next) {
            PlaceOne(*next);
        }
    }

    void PlaceOne(std::size_t index) {
        CloudEntry entry;
        entry.file = files[index];
        entry.refusal = ParentProblem(entry);
        const std::string problem = NameProblem(entry);
        entry.refusal = entry.refusal.empty() ? problem : entry.refusal;
        if (entry.refusal.empty() && !taken.insert(entry.path).second) {
            entry.refusal = "another entry of the same name stands in this folder";
        }
        state[index] = State::Placed;
        placed[index] = entries.size();
        entries.push_back(std::move(entry));
    }

    // Fills in the parent's path and tells what is wrong with the parent.
    std::string ParentProblem(CloudEntry& entry) {
        if (entry.file.parentFolder == rootFileId) {
            return "";
        }
        const auto parent = byId.find(entry.file.parentFolder);
        if (parent == byId.end()) {
            return "its folder is not in the cloud's list";
        }
        if (state[parent->second] != State::Placed) {
            return "its folder lies inside itself";
        }
        const CloudEntry& folder = entries[placed[parent->second]];
        if (!folder.refusal.empty()) {
            // What is below is told with it. A path that went on growing would let a deep list eat the memory.
            entry.path = folder.path.substr(0, kShownOfRefused) + "/";
            return "its folder cannot stand on this disk";
        }
        entry.parentFolder = folder.parentFolder + folder.file.fileName + L"\\";
        entry.path = folder.path + "/";
        return folder.file.isFolder ? "" : "its folder is a file";
    }

    // Completes the native path and tells what is wrong with the name.
    std::string NameProblem(CloudEntry& entry) {
        const std::wstring& name = entry.file.fileName;
        if (!Platform::IsSafeName(name)) {
            entry.path += Readable(name);
            return "its name cannot be a file name here";
        }
        try {
            const std::string native = Platform::NativePath(name);
            entry.path += native;
            if (native.size() > kLongestName) {
                return "its name is longer than 255 bytes";
            }
        } catch (const std::exception&) {
            entry.path += Readable(name);
            return "its name cannot be written in this system's encoding";
        }
        return entry.path.size() > longestPath ? "its path is too long for this system" : "";
    }

    std::vector<Cloud::CloudFile> files;
    const std::wstring& rootFileId;
    const std::size_t longestPath;
    std::unordered_map<std::wstring, std::size_t> byId;
    std::vector<State> state;
    std::vector<std::size_t> placed;  // index into entries
    std::unordered_set<std::string> taken;
    std::vector<CloudEntry> entries;
};

}  // namespace

std::vector<CloudEntry> PlaceEntries(std::vector<Cloud::CloudFile> files, const std::wstring& rootFileId,
                                     std::size_t longestPath) {
    return Placer(std::move(files), rootFileId, longestPath).All();
}

}  // namespace Drive::Host
