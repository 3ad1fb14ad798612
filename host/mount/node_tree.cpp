#include "host/mount/node_tree.h"

#include <algorithm>
#include <utility>

namespace Drive::Host {

NodeTree::NodeTree(const std::wstring& rootFileId) : root(std::make_shared<Node>()) {
    root->isFolder = true;
    root->number = kRootNumber;
    root->cloud.id = rootFileId;
    root->cloud.isFolder = true;
    byId[rootFileId] = root.get();
    known[kRootNumber] = root;
}

NodePtr NodeTree::ById(const std::wstring& fileId) const {
    const auto found = byId.find(fileId);
    if (found == byId.end()) {
        return nullptr;
    }
    Node& node = *found->second;
    return node.parent == nullptr ? root : node.parent->children.at(node.name);
}

NodePtr NodeTree::Child(const Node& folder, const std::string& name) const {
    const auto found = folder.children.find(name);
    return found == folder.children.end() ? nullptr : found->second;
}

NodePtr NodeTree::At(const std::string& path) const {
    NodePtr node = root;
    for (std::size_t begin = 0; node && begin < path.size();) {
        const std::size_t slash = std::min(path.find('/', begin), path.size());
        node = Child(*node, path.substr(begin, slash - begin));
        begin = slash + 1;
    }
    return node;
}

NodePtr NodeTree::Add(Node& folder, const std::string& name, bool isFolder, const Cloud::CloudFile& cloud) {
    const NodePtr node = std::make_shared<Node>();
    node->isFolder = isFolder;
    node->number = ++lastNumber;
    node->parent = &folder;
    node->name = name;
    folder.children[name] = node;
    SetCloud(*node, cloud);
    return node;
}

void NodeTree::DropIds(Node& node) {
    if (const auto found = byId.find(node.cloud.id); found != byId.end() && found->second == &node) {
        byId.erase(found);
    }
    for (const auto& [name, child] : node.children) {
        DropIds(*child);
    }
}

void NodeTree::Remove(Node& node) {
    DropIds(node);
    Node& folder = *std::exchange(node.parent, nullptr);
    folder.children.erase(node.name);
}

void NodeTree::Move(Node& node, Node& folder, const std::string& name) {
    const NodePtr held = node.parent->children.at(node.name);
    node.parent->children.erase(node.name);
    node.parent = &folder;
    node.name = name;
    folder.children[name] = held;
}

void NodeTree::SetCloud(Node& node, const Cloud::CloudFile& cloud) {
    if (node.cloud.id != cloud.id) {
        if (const auto found = byId.find(node.cloud.id); found != byId.end() && found->second == &node) {
            byId.erase(found);
        }
        if (!cloud.id.empty()) {
            byId[cloud.id] = &node;
        }
    }
    node.cloud = cloud;
}

std::string NodeTree::PathOf(const Node& node) const {
    std::string path;
    for (const Node* at = &node; at->parent != nullptr; at = at->parent) {
        path = path.empty() ? at->name : at->name + "/" + path;
    }
    return path;
}

bool NodeTree::IsWithin(const Node& node, const Node& folder) {
    const Node* at = &node;
    while (at != nullptr && at != &folder) {
        at = at->parent;
    }
    return at == &folder;
}

NodePtr NodeTree::ByNumber(std::uint64_t number) const {
    const auto found = known.find(number);
    return found == known.end() ? nullptr : found->second;
}

void NodeTree::Remember(const NodePtr& node) {
    ++node->lookups;
    known[node->number] = node;
}

void NodeTree::Forget(std::uint64_t number, std::uint64_t lookups) {
    const auto found = known.find(number);
    if (found == known.end() || number == kRootNumber) {
        return;
    }
    Node& node = *found->second;
    node.lookups -= std::min(node.lookups, lookups);
    if (node.lookups == 0) {
        known.erase(found);
    }
}

}  // namespace Drive::Host
