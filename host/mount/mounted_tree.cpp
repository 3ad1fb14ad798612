#include "host/mount/mounted_tree.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <unordered_map>
#include <utility>

namespace Drive::Host {
namespace {

constexpr auto kLookAround = std::chrono::milliseconds(200);

std::string ParentOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? "" : path.substr(0, slash);
}

std::string NameOf(const std::string& path) { return path.substr(path.rfind('/') + 1); }

}  // namespace

struct MountedTree::Body {
    // How often a path was settled and how it went last: who waits compares with what it saw when it began.
    struct Settling {
        std::uint64_t count = 0;
        bool here = false;
    };

    mutable std::mutex mutex;
    std::condition_variable changed;
    // All guarded by mutex.
    std::unordered_map<std::string, MountedNode> nodes;
    std::unordered_map<std::string, Settling> settled;
    std::vector<std::string> wanted;
    bool ended = false;
};

MountedTree::MountedTree(std::function<void()> wake) : wake(std::move(wake)), body(std::make_unique<Body>()) {}
MountedTree::~MountedTree() = default;

void MountedTree::Listed(const std::vector<CloudEntry>& entries) {
    std::unordered_map<std::string, MountedNode> nodes;
    const auto inside = [&nodes](const std::string& path) {
        std::shared_ptr<std::vector<std::string>>& children = nodes[path].children;
        if (children == nullptr) {
            children = std::make_shared<std::vector<std::string>>();
        }
        return children;
    };
    nodes[""].isFolder = true;
    inside("");
    for (const CloudEntry& entry : entries) {
        if (!entry.refusal.empty()) {
            continue;
        }
        MountedNode& node = nodes[entry.path];
        node.isFolder = entry.file.isFolder;
        node.size = entry.file.size;
        node.editedTime = entry.file.editedTime;
        if (entry.file.isFolder) {
            inside(entry.path);
        }
        inside(ParentOf(entry.path))->push_back(NameOf(entry.path));
    }
    const std::lock_guard lock(body->mutex);
    body->nodes = std::move(nodes);
}

std::vector<std::string> MountedTree::Wanted() {
    const std::lock_guard lock(body->mutex);
    return std::exchange(body->wanted, {});
}

void MountedTree::Settled(const std::string& path, bool here, const std::string&) {
    const std::lock_guard lock(body->mutex);
    Body::Settling& settling = body->settled[path];
    ++settling.count;
    settling.here = here;
    body->changed.notify_all();
}

void MountedTree::End() {
    const std::lock_guard lock(body->mutex);
    body->ended = true;
    body->changed.notify_all();
}

std::optional<MountedNode> MountedTree::Look(const std::string& path) const {
    const std::lock_guard lock(body->mutex);
    const auto found = body->nodes.find(path);
    return found == body->nodes.end() ? std::nullopt : std::optional(found->second);
}

Brought MountedTree::Bring(const std::string& path, const std::function<bool()>& interrupted) {
    std::unique_lock lock(body->mutex);
    const std::uint64_t before = body->settled[path].count;
    body->wanted.push_back(path);
    wake();
    while (body->settled[path].count == before) {
        if (body->ended) {
            return Brought::Ended;
        }
        body->changed.wait_for(lock, kLookAround);
        if (interrupted()) {
            return Brought::Interrupted;
        }
    }
    return body->settled[path].here ? Brought::Here : Brought::Failed;
}

}  // namespace Drive::Host
