#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>

#include "interfaces/cloud/drive_account.h"

/// What a mount shows, as a tree of nodes: the cloud's files and folders and those that are only here yet. Pure
/// structure without locks; whoever shares it holds one lock around it (mount_state.h).
namespace Drive::Host {

class FetchProgress;
class OpenFile;
struct Node;
using NodePtr = std::shared_ptr<Node>;

/// One file or folder. It keeps its number while its name or content is changed here; a new version that comes from
/// the cloud is a new node, so that whoever has the earlier one open goes on reading it.
struct Node {
    bool isFolder = false;
    std::uint64_t number = 0;   ///< for the kernel; never used twice in a process
    std::uint64_t lookups = 0;  ///< how often the kernel knows of it

    // Its place. A node that was removed has no parent and may still be open.
    Node* parent = nullptr;
    std::string name;  ///< native
    std::map<std::string, NodePtr> children;

    Cloud::CloudFile cloud;      ///< as the cloud has it; its id is empty for what the cloud does not have
    std::int64_t shownTime = 0;  ///< seconds; a time that was set on a placeholder, 0 for none

    // Files alone.
    bool here = false;   ///< the content stands in the root; else it is a placeholder
    bool dirty = false;  ///< here, and not known to be what the cloud has
    std::wstring base;   ///< version of the cloud's content that the content here grew from; empty when not known
    int writers = 0;     ///< open handles that may write
    std::weak_ptr<OpenFile> open;          ///< its content, while somebody has it open
    std::shared_ptr<FetchProgress> fetch;  ///< while its content is on the way

    // Sending; see carrier.h.
    std::int64_t changedAt = 0;  ///< of the monotonic clock, milliseconds; the last change here
    bool sending = false;        ///< the engine has it
    int failures = 0;            ///< since the last success
    std::int64_t nextTry = 0;    ///< of the monotonic clock, milliseconds

    bool InCloud() const { return !cloud.id.empty(); }
    bool Linked() const { return parent != nullptr; }
};

class NodeTree {
public:
    /// The number that the kernel gives the root.
    static constexpr std::uint64_t kRootNumber = 1;

    explicit NodeTree(const std::wstring& rootFileId);

    const NodePtr& Root() const { return root; }
    NodePtr ById(const std::wstring& fileId) const;
    NodePtr Child(const Node& folder, const std::string& name) const;

    /// The node at a path below the root; null when there is none.
    NodePtr At(const std::string& path) const;

    /// Adds a node at a free place.
    NodePtr Add(Node& folder, const std::string& name, bool isFolder, const Cloud::CloudFile& cloud);

    /// Takes a node, and with it all below it, out of the tree. They stay alive while somebody holds them.
    void Remove(Node& node);

    /// Moves a node to a free place.
    void Move(Node& node, Node& folder, const std::string& name);

    /// Sets what the cloud has of a node.
    void SetCloud(Node& node, const Cloud::CloudFile& cloud);

    /// The path below the root, empty for the root itself. Only of a node that is in the tree.
    std::string PathOf(const Node& node) const;

    /// True when `node` is `folder` or lies below it.
    static bool IsWithin(const Node& node, const Node& folder);

    // The kernel's side: it names nodes by number, and a node stays reachable so while the kernel knows it.
    NodePtr ByNumber(std::uint64_t number) const;
    void Remember(const NodePtr& node);
    void Forget(std::uint64_t number, std::uint64_t lookups);

private:
    void DropIds(Node& node);

    NodePtr root;
    std::uint64_t lastNumber = kRootNumber;
    std::unordered_map<std::wstring, Node*> byId;
    std::unordered_map<std::uint64_t, NodePtr> known;
};

}  // namespace Drive::Host
