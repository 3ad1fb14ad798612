#pragma once

#include <functional>
#include <string>
#include <unordered_set>
#include <vector>

#include "host/get/cloud_tree.h"
#include "host/mount/mount_state.h"
#include "host/put/local_tree.h"

/// Brings a mount's tree in step with what the cloud lists and, at the beginning, with what stands in the root. What
/// was changed here is never lost: where both sides have something at one place, the one from here gets a name of its
/// own and goes up as a new file. What was removed in the cloud and is unchanged here goes into ".removed" of the
/// staging tree. One thread; takes the state's mutex.
namespace Drive::Host {

class CloudMerge {
public:
    /// `tell` hears, for people, what had to be done to a path.
    using Telling = std::function<void(const std::string& path, const std::string& message)>;

    CloudMerge(MountState& state, Telling tell) : state(state), tell(std::move(tell)) {}

    /// Takes over a whole list of the cloud, parents before children.
    void List(const std::vector<CloudEntry>& entries);

    /// Takes over what stands in the root, folders before what is in them. Once, after the first List.
    void ReadRoot(const std::vector<LocalEntry>& entries);

    /// Both sides have a file at one place: the one from here gets another name and is a new file from now on. With
    /// the mutex held.
    void MoveAside(const NodePtr& node);

private:
    using Ids = std::unordered_set<std::wstring>;

    bool ListOnce(const std::vector<CloudEntry>& entries);
    void MergeKnown(const NodePtr& node, const CloudEntry& entry);
    void FollowPlace(const NodePtr& node, const CloudEntry& entry);
    void FollowContent(const NodePtr& node, const CloudEntry& entry);
    bool HiddenByRemoval(const CloudEntry& entry);
    void MergeNew(const CloudEntry& entry);
    bool MakeRoom(const NodePtr& there, const CloudEntry& entry);
    bool KeepFoldersWithNews(const std::vector<CloudEntry>& entries, const Ids& hidden);
    void DropGone(const NodePtr& folder, const Ids& listed);
    void DropGoneNode(const NodePtr& node);
    void Retire(const std::string& path);
    void ReadFolder(const LocalEntry& entry);
    bool IsOfAnEarlierFile(const LocalEntry& entry);
    void ReadFile(const LocalEntry& entry);
    void ReadUnknownFile(const LocalEntry& entry);
    void ApplyPlaces();

    MountState& state;
    const Telling tell;
    bool first = true;
    std::uint64_t retired = 0;
    std::unordered_map<std::string, std::string> provedAt;  // file id by path; while the root is read
};

}  // namespace Drive::Host
