#pragma once

#include <cstdint>
#include <string>

#include "tests/simulation/dice.h"
#include "tests/simulation/memory.h"
#include "tests/simulation/plan.h"
#include "tests/support/scripted_cloud.h"

namespace Drive::Simulation {

/// The cloud of a history, in the place of the scripted one: it keeps files and objects in the memory, decrypts what is
/// uploaded with the keys that come with it, and fails as often as the weather says. It keeps what a cloud owes the
/// engine: a plan is bound to the content and its key, a damaged object is never handed out, an unconfirmed one never
/// becomes part of a file.
class Cloud {
public:
    Cloud(const Plan& plan, const LifePlan& life, Memory& memory);

    /// Puts the answers into the scripted cloud. Before the run.
    void Install();

    /// Content hash of the file with this id; empty when the cloud has none.
    std::string Sum(const std::wstring& fileId) const;
    /// Whether the store holds this object and the cloud has heard so.
    bool Confirmed(const std::wstring& objectId) const;
    /// Whether a plain transfer has brought other bytes than the file's, since the host last began it anew.
    bool Altered(const std::wstring& fileId) const;
    void BeginsAnew(const std::wstring& fileId);

    /// How many bytes of this upload the file proxy has held at most.
    std::int64_t Reached(const std::wstring& fileId) const;
    /// What the file proxy was sent and should not have been; empty when all was right.
    const std::string& ProxyTrouble() const { return trouble; }

    void SetSpace(std::int64_t bytes) { space = bytes; }
    /// While on, nothing reaches the cloud, and what is on its way breaks off.
    void SetDown(bool on) { down = on; }

private:
    void InstallDownloads();
    void InstallUploads();
    void InstallFinish();
    void InstallProxy();

    /// One of `oneOf` calls fails, and every one while the line is down.
    bool Fails(int oneOf) { return dice.OneOf(oneOf) || down; }
    /// Takes time, and throws once in a while.
    void Call();
    const PlannedFile* Planned(const std::wstring& fileId) const;

    bool GiveAddress(const std::wstring& fileId, Common::DownLoadAddressInfoModel& model);
    bool GiveObject(const std::wstring& url, const std::vector<unsigned char>& key,
                    const std::vector<unsigned char>& iv, std::vector<unsigned char>& received);
    int SendPlain(const std::wstring& url, const WMap& headers,
                  const Drive::Cloud::FileTransRequest::Receiver& receiver);
    int SendPieces(const std::string& body, std::int64_t offset, std::int64_t cut,
                   const Drive::Cloud::FileTransRequest::Receiver& receiver);

    std::string Start(const Common::FileItem& file, const std::wstring& sha256, std::wstring& errorCode);
    std::string PlanFor(const Common::FileItem& file, const std::string& sha256);
    bool Put(const std::wstring& url, const WMap& headers, const std::vector<unsigned char>& body);
    bool Confirm(const Common::FragmentInfo& fragment);
    bool Finish(const Common::FileItem& file, Common::CreateUpdateRequestModel& model, WMap& result);
    bool FailFinish(WMap& result);
    bool Gather(const Common::CreateUpdateRequestModel& model, const std::string& sha256, std::string& bytes) const;
    void Answer(const Common::FileItem& file, const std::wstring& id, WMap& result) const;

    bool ByProxy(const Common::FileItem& file) const;
    std::string ProxyPlan(const Common::FileItem& file, const std::string& sha256);
    bool Refuse(WMap& result);
    bool OpenSession(const std::string& id, WMap& result);
    bool TakeWhole(const std::string& id, const std::string& content, WMap& result);
    bool TakeSlice(const std::string& id, const std::string& slice, const WMap& headers, WMap& result);
    void ForgetSession(const std::string& id);
    bool MakeFile(const std::string& id, const std::string& content, WMap& result);

    const Plan& plan;
    const Weather& weather;
    Memory& memory;
    Dice dice;
    std::int64_t space = std::int64_t{1} << 40;
    bool down = false;
    std::string trouble;
};

/// Where a file of this row stands, as the cloud and the checks name it.
std::string PlaceOf(const Common::FileItem& file);

}  // namespace Drive::Simulation
