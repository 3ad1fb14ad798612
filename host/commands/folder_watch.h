#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>

namespace Drive::Host {

/// Hears of changes anywhere below a folder. Links are not followed. One thread.
class FolderWatch {
public:
    explicit FolderWatch(const std::string& root);
    ~FolderWatch();
    FolderWatch(const FolderWatch&) = delete;
    FolderWatch& operator=(const FolderWatch&) = delete;

    /// False when some folder cannot be watched; its changes are then not heard of.
    bool Complete() const { return complete; }

    /// Waits for changes, this long at most, and takes them in.
    void Wait(int milliseconds);

    /// True when something has changed and nothing more for so many milliseconds.
    bool QuietSince(std::int64_t milliseconds) const;

    /// What changed so far is dealt with.
    void Forget() { lastChange = 0; }

private:
    void Add(const std::string& folder);
    void Take();

    int descriptor;
    bool complete = true;
    std::int64_t lastChange = 0;  // of the monotonic clock; 0 when nothing has
    std::unordered_map<int, std::string> folders;
};

}  // namespace Drive::Host
