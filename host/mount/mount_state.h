#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "host/mount/node_tree.h"
#include "host/mount/wishes.h"
#include "host/records/host_records.h"
#include "host/tree/tree.h"

/// What the threads that answer the kernel and the command that talks to the cloud share. One mutex guards all of it.
/// Under it there may be calls to the local disk and to the two record files, never one to the cloud.
namespace Drive::Host {

/// An entry that was removed on the mount and still stands in the cloud.
struct Removal {
    Cloud::CloudFile cloud;  ///< as it was seen when it was removed
    int failures = 0;
    std::int64_t nextTry = 0;  ///< of the monotonic clock, milliseconds
};

struct MountState {
    MountState(const Tree& visible, const Tree& staging, HostRecords& records, Wishes& wishes,
               const std::wstring& rootFileId, std::function<void()> wake)
        : visible(visible),
          staging(staging),
          records(records),
          wishes(wishes),
          wake(std::move(wake)),
          tree(rootFileId) {}

    // Constant after construction.
    const Tree& visible;  ///< what is here, at the place where the mount shows it
    const Tree& staging;
    HostRecords& records;
    Wishes& wishes;
    const std::function<void()> wake;  ///< tells the command that there is something to do; any thread
    int longestName = 80;              ///< characters; longer ones the cloud does not take
    std::int64_t largestFile = 50LL << 30;

    std::mutex mutex;
    // All guarded by mutex.
    NodeTree tree;
    std::vector<NodePtr> wanted;               ///< placeholders that somebody reads
    std::set<NodePtr> pending;                 ///< nodes of which the cloud does not know all yet
    std::map<std::wstring, Removal> removals;  ///< by the place in the cloud: parent's id, backslash, name
    bool ended = false;                        ///< nothing is fetched any more
};

/// The place of an entry in the cloud, as the removals are keyed.
std::wstring CloudPlace(const std::wstring& parentId, const std::wstring& fileName);

// All of these with the mutex held.

/// The node was changed here just now and has to be carried to the cloud.
void Touch(MountState& state, const NodePtr& node);

/// The content of a node differs from the cloud's from now on.
void TouchContent(MountState& state, const NodePtr& node);

/// To be called before something of a node that is to be removed goes from the root: after a kill or a failure in
/// between, the removal is known.
void NoteRemoval(MountState& state, const Node& node);

/// Takes a node out of the tree for good, and the cloud's entry with it when it has one.
void RemoveFromMount(MountState& state, const NodePtr& node);

/// True when an entry of the cloud is about to leave the place where the cloud has it: it was removed here, or has
/// another place here.
bool IsLeaving(const MountState& state, const std::wstring& fileId);

/// A file that the cloud does not have yet stands where an entry was removed: it becomes that entry's new version.
void TakeOverRemoved(MountState& state, const NodePtr& node);

/// Gives a node another place that is free, in the root and in what is remembered. `wished` when it was done here and
/// the cloud does not know of it. 0 or an error number; nothing has changed then.
int MoveNode(MountState& state, const NodePtr& node, Node& folder, const std::string& name, bool wished);

/// Remembers how a file looks that is known to hold the cloud's content. False when it no longer stands there.
bool RememberProved(MountState& state, const Node& node);

/// Remembers, for a mount after a kill, which version of the cloud's entry the content here takes the place of.
void RememberBase(MountState& state, const Node& node);

/// True when the file stands in the root as it did when it was proved to be what the cloud has at that version.
bool LooksProved(MountState& state, const Node& node);

}  // namespace Drive::Host
