#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "interfaces/common/address_models.h"
#include "interfaces/common/wmap.h"

namespace Drive::Testing {

/// How the cloud answers a call.
struct CloudAnswer {
    int status = 200;               ///< 0: the connection ends before a byte of the answer
    std::wstring errorCode = {};    ///< none when empty
    std::wstring description = {};  ///< for people
    WMap fields = {};               ///< what else the answer tells, under the names of the result maps
};

/// One wrapped key of the user.
struct CloudKey {
    int type = 1;
    std::string encryptedKey = {};  ///< Base64
    std::string uuid = {};
};

/// A content that can be fetched by plain GETs, and how they go wrong.
struct CloudContentPlan {
    std::string bytes = {};
    bool takesRanges = true;                     ///< false: a whole 200 whatever range was asked for
    std::optional<int> status = {};              ///< this status, with a body that is nobody's, in place of the content
    std::optional<std::size_t> cutAfter = {};    ///< after so many bytes of the answer's body the connection ends
    std::optional<std::size_t> rangeBegin = {};  ///< a 206 begins here, whatever was asked for
    std::optional<std::size_t> rangeEnd = {};    ///< a 206 ends before this byte, and says so
};

/// One object of the store, as it lies there.
struct CloudObjectPlan {
    std::string stored = {};
    std::string toldDigest = {};               ///< what the store tells of it (SHA-256, hexadecimal); none when empty
    int status = 200;                          ///< 0: the connection ends before a byte of the answer
    std::optional<std::size_t> cutAfter = {};  ///< after so many bytes of the body the connection ends
};

/// What the store answers to an upload.
struct StoreAnswer {
    int status = 200;             ///< 0: the connection ends before a byte of the answer
    std::string text = {};        ///< body
    std::string toldDigest = {};  ///< of what it holds now; none when empty
};

/// One request as it reached the cloud. The headers are without those of the connection itself (its host, the length of
/// its body); their names stand as they were sent.
struct HeardRequest {
    std::wstring verb = {};
    WMap headers = {};
    std::string body = {};
};

/// The cloud behind the operations under test: the suite tells it what to answer, and asks it what it was asked. A
/// library is given a body of this class that serves the library's own wire; a double one that speaks to the double.
///
/// Operations are named as the contract names them, "FilesCreateComplete". Told before calls run, not while they do;
/// each holds until the next of its kind. Until then every call succeeds: there is a plan for each upload, an address
/// for each object, a new id ("new-1", "new-2", ...) for each new file, a known file for each id, and 1000 bytes of
/// space. Nothing is tried twice by the operations, and each is signed in.
class CloudBehind {
public:
    /// A new cloud that has been told nothing, with nothing left over from the one before, which is gone by then.
    static std::unique_ptr<CloudBehind> Begin();
    virtual ~CloudBehind() = default;

    /// Any control call.
    virtual void Answers(const std::string& operation, const CloudAnswer& answer) = 0;
    /// ObjectsUploadStart: this text as it stands.
    virtual void AnswersPlan(const std::string& plan) = 0;
    /// GetUploadKelpAddress and GetDownloadKelpAddress.
    virtual void AnswersAddress(const Common::GetKelpAddressModel& address) = 0;
    /// GetDownloadAddressInfo: keys, objects, plain address, cursor.
    virtual void AnswersContent(const Common::DownLoadAddressInfoModel& content) = 0;
    /// PublickKey; `key` is Base64.
    virtual void AnswersPublicKey(const std::string& key, const std::string& version) = 0;
    virtual void AnswersKeys(const std::vector<CloudKey>& keys) = 0;
    virtual void HasSpace(std::int64_t bytes) = 0;
    /// inQuireCloudFile: the cloud has this one file, and says 404 to any other.
    virtual void HasOneFile(const std::wstring& fileId, const std::wstring& parentId, const std::wstring& name) = 0;

    /// Each gives the address for the operation's argument: DownloadCloudFileRequest, DownloadDriveFileRequest,
    /// UploadRequest, FileproxyUpload.
    virtual std::wstring Content(const CloudContentPlan& content) = 0;
    virtual std::wstring Object(const CloudObjectPlan& object) = 0;
    virtual std::wstring Store(const StoreAnswer& answer) = 0;
    virtual std::wstring Proxy() = 0;
    /// An address of the cloud's that can be told in answers.
    virtual std::wstring SomeAddress() = 0;

    /// How many requests of this operation have reached the cloud.
    virtual int Asked(const std::string& operation) = 0;
    /// The last request of an operation that was given one of the addresses above.
    virtual HeardRequest LastHeard() = 0;
    /// Everything that the cloud was told so far, heads and bodies.
    virtual std::string EverythingHeard() = 0;
};

}  // namespace Drive::Testing
