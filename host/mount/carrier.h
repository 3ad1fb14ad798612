#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>

#include "host/module/session.h"
#include "host/mount/cloud_merge.h"
#include "host/mount/mount_state.h"
#include "host/put/upload_run.h"

/// Carries what was done on a mount to the cloud, once it has been quiet for a moment: removals, new places, new
/// folders, and contents through the engine. It looks at what is and what the cloud has, not at the order of the
/// operations, so that a file that was written, renamed and removed again costs nothing. Before a content goes up the
/// cloud is asked: what changed there meanwhile stays, beside the one from here. The command's thread alone; takes the
/// state's mutex for moments, never around a call to the cloud.
namespace Drive::Host {

class Carrier {
public:
    struct Services {
        /// Asks the cloud for its changes, or for its whole list, and takes that over. False when it could not be
        /// asked.
        std::function<bool(bool whole)> refresh;
        /// What became of an entry, for the report.
        std::function<void(const std::string& path, Result result, std::int64_t bytes, const std::string& message)>
            tell;
    };

    Carrier(Session& session, MountState& state, CloudMerge& merge, Services services);

    /// Does what is due, for a part of a second. `uploads` sends the contents.
    void Turn(UploadRun& uploads);

    /// True when the cloud knows of everything.
    bool Idle();

    /// True while contents are on their way: what the list tells of them is not taken over.
    bool AnySent() const { return !sending.empty(); }

    // What the uploads report.
    void Sent(const UploadRun::Job& job);
    void Settled(const UploadRun::Job& job, Result result, const std::string& message);

private:
    enum class Step { Nothing, Later, MakeFolder, Place, Send };

    /// A file on its way: what stood in the root when it was sent.
    struct Sending {
        NodePtr node;
        FileFacts facts;
        std::wstring cloudId;  ///< of the entry that gets a new version; empty for a new file
    };

    void RemoveDue(std::int64_t now);
    void RemoveOne(const std::wstring& place, const Removal& removal);
    void ForgetRemovalsBelow(const std::wstring& folderId);
    bool BeingSent(const std::wstring& fileId) const;
    Step Decide(const NodePtr& node, std::int64_t now);
    void Perform(const NodePtr& node, Step step, UploadRun& uploads);
    void MakeFolder(const NodePtr& node);
    void Place(const NodePtr& node);
    bool GiveName(const NodePtr& node, Cloud::CloudFile& cloud, const std::wstring& name, bool& broken);
    void Send(const NodePtr& node, UploadRun& uploads);
    void SendVersion(const NodePtr& node, const Cloud::CloudFile& there, UploadRun& uploads);
    void SendEmpty(const NodePtr& node, const std::wstring& parentId, const std::wstring& name,
                   const std::wstring& earlier);
    void Queue(const NodePtr& node, UploadRun& uploads);
    void AdoptOrMoveAside(const NodePtr& node, const Cloud::CloudFile& there);
    bool HoldsContentOf(const NodePtr& node, const Cloud::CloudFile& there);
    void Clean(const NodePtr& node, const Cloud::CloudFile& cloud);
    void Failed(const NodePtr& node, const std::string& why);
    void Forget(const UploadRun::Job& job);

    Session& session;
    MountState& state;
    CloudMerge& merge;
    const Services services;
    std::map<std::string, Sending> sending;  // by the path in the staging tree
    std::uint64_t snapshots = 0;
    bool refreshed = false;  // within this turn
};

}  // namespace Drive::Host
