// The little cloud inside the double that the engine's tests link in the library's place.
#include <mutex>

#include "tests/contract/cloud/suite/cloud_behind.h"
#include "tests/support/journal.h"
#include "tests/support/scripted_cloud.h"

namespace Drive::Testing {
namespace {

using Bytes = std::vector<unsigned char>;

class CloudInDouble : public CloudBehind {
public:
    CloudInDouble() : cloud(ScriptedCloud::Get()) {
        cloud.Reset();
        Journal::Clear();
        cloud.space = 1000;
        Listen();
        for (const char* operation : {"FilesUpdateComplete", "inQuireCloudFile"}) Answers(operation, {});
        Common::DownLoadAddressInfoModel content;
        content.SetDownloadURL(SomeAddress());
        AnswersContent(content);
    }
    ~CloudInDouble() override { cloud.Reset(); }

    void Answers(const std::string& operation, const CloudAnswer& answer) override {
        cloud.replies[operation] = {answer.status, answer.errorCode, answer.description, answer.fields};
    }
    void AnswersPlan(const std::string& plan) override { cloud.replies["ObjectsUploadStart"].text = plan; }
    void AnswersAddress(const Common::GetKelpAddressModel& address) override {
        CloudReply reply;
        reply.fields = {
            {L"url", address.GetUrl()}, {L"method", address.GetMethod()}, {L"bucketId", address.GetObjectBucketId()}};
        reply.headers = address.GetKelpAddressHeaders();
        for (const char* operation : {"GetUploadKelpAddress", "GetDownloadKelpAddress"})
            cloud.replies[operation] = reply;
    }
    void AnswersContent(const Common::DownLoadAddressInfoModel& content) override { cloud.contentInfo = content; }
    void AnswersPublicKey(const std::string& key, const std::string& version) override {
        cloud.publicKey = key;
        cloud.publicKeyVersion = version;
    }
    void AnswersKeys(const std::vector<CloudKey>& keys) override {
        cloud.userKeys.emplace();
        for (const CloudKey& key : keys) cloud.userKeys->push_back({key.type, key.encryptedKey, key.uuid});
    }
    void HasSpace(std::int64_t bytes) override { cloud.space.Becomes(bytes); }
    void HasOneFile(const std::wstring& fileId, const std::wstring& parentId, const std::wstring& name) override {
        cloud.replies.erase("inQuireCloudFile");
        cloud.files[fileId].parent = parentId;
        cloud.files[fileId].name = name;
    }

    std::wstring Content(const CloudContentPlan& plan) override {
        CloudContent content;
        content.bytes = plan.bytes;
        content.takesRanges = plan.takesRanges;
        content.status = plan.status;
        content.cutAfter = plan.cutAfter;
        content.rangeBegin = plan.rangeBegin;
        content.rangeEnd = plan.rangeEnd;
        const std::wstring id = L"content-" + std::to_wstring(++given);
        cloud.files[id] = content;
        return L"http://cloud/" + id;
    }
    std::wstring Object(const CloudObjectPlan& plan) override {
        const std::wstring id = L"object-" + std::to_wstring(++given);
        cloud.objects[id] = Bytes(plan.stored.begin(), plan.stored.end());
        cloud.sealed.insert(id);
        cloud.objectFaults[id] = {plan.status, plan.cutAfter, plan.toldDigest};
        return L"http://store/" + id;
    }
    std::wstring Store(const StoreAnswer& answer) override {
        CloudReply reply;
        reply.status = answer.status;
        reply.text = answer.text;
        if (!answer.toldDigest.empty()) reply.headers = {{L"X-Object-Sha256", Wide(answer.toldDigest)}};
        cloud.replies["UploadRequest"] = reply;
        return L"http://store/put-" + std::to_wstring(++given);
    }
    std::wstring Proxy() override { return L"http://proxy/session"; }
    std::wstring SomeAddress() override { return L"http://cloud/somewhere"; }

    int Asked(const std::string& operation) override { return cloud.Asked(operation); }
    HeardRequest LastHeard() override {
        const std::lock_guard lock(mutex);
        return heard;
    }
    std::string EverythingHeard() override {
        std::string text;
        for (const std::string& line : Journal::Texts(Kind::Cloud)) text += line + "\n";
        return text;
    }

private:
    /// The double has no wire: what it hears is what the operation was given.
    void Listen() {
        cloud.uploadRequest.Before([this](const std::wstring&, const WMap& headers, const std::wstring& verb,
                                          const Bytes& body, WMap&, std::string&) {
            Hear({verb, headers, {body.begin(), body.end()}});
        });
        cloud.fileproxyUpload.Before([this](const std::wstring&, const std::wstring&, HttpInterface::InterfaceName,
                                            const std::string& raw, const std::string& text, const WMap& headers,
                                            WMap&) {
            Hear({L"", headers, raw.empty() ? text : raw});
        });
        cloud.downloadDriveFileRequest.Before([this](const std::wstring&, const WMap& headers, auto&&...) {
            Hear({L"GET", headers, ""});
        });
        cloud.downloadCloudFileRequest.Before([this](const std::wstring&, const WMap& headers, auto&&...) {
            Hear({L"GET", headers, ""});
        });
    }

    void Hear(const HeardRequest& request) {
        const std::lock_guard lock(mutex);
        heard = request;
    }

    ScriptedCloud& cloud;
    int given = 0;
    std::mutex mutex;  // guards what follows
    HeardRequest heard;
};

}  // namespace

std::unique_ptr<CloudBehind> CloudBehind::Begin() { return std::make_unique<CloudInDouble>(); }

}  // namespace Drive::Testing
