#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "interfaces/cloud/cloud_drive_interface.h"
#include "interfaces/cloud/file_trans_request.h"
#include "tests/support/operation.h"

namespace Drive::Testing {

/// What the double holds of one file, and how plain GETs of it go wrong.
struct CloudContent {
    std::string bytes;                  ///< plain content
    bool encrypted = false;             ///< answered with a key list and objects
    std::vector<std::wstring> objects;  ///< object ids, in the order of the bytes; encrypted only
    std::wstring name;
    std::wstring parent;  ///< id of the folder that it stands in

    bool takesRanges = true;                     ///< false: a whole 200 whatever range was asked for
    std::optional<int> status = {};              ///< this status in place of the content; 0: no answer
    std::optional<std::size_t> cutAfter = {};    ///< after so many bytes of the answer's body the connection ends
    std::optional<std::size_t> rangeBegin = {};  ///< a 206 begins here, whatever was asked for
    std::optional<std::size_t> rangeEnd = {};    ///< a 206 ends before this byte, and says so
};

/// How the GET of one object goes wrong.
struct ObjectFault {
    int status = 200;                          ///< 0: no answer
    std::optional<std::size_t> cutAfter = {};  ///< after so many stored bytes the connection ends
    std::string toldDigest = {};               ///< what the store tells of the stored bytes; nothing when empty
};

/// What the cloud says to an operation in place of the little cloud's own answer.
struct CloudReply {
    int status = 200;  ///< 0: no answer
    std::wstring errorCode = {};
    std::wstring description = {};
    WMap fields = {};                      ///< result maps, addresses ("url", "method", "bucketId")
    WMap headers = {};                     ///< of an address, or of the store's answer
    std::optional<std::string> text = {};  ///< a plan, or the body of the store's answer

    bool Accepts() const { return status >= 200 && status <= 299 && errorCode.empty(); }
};

/// One wrapped key of the user.
struct UserKey {
    int type = 1;
    std::string encryptedKey;  ///< Base64
    std::string uuid;
};

/// The space that is left. The double remembers it as the library does. A test that assigns it says what the engine is
/// to see from now on; Becomes changes it in the cloud alone, where it shows once the memory lapses.
class SpaceInCloud {
public:
    SpaceInCloud& operator=(std::int64_t bytes) {
        space = bytes;
        remembered = -1;
        return *this;
    }
    operator std::int64_t() const { return space; }
    void Becomes(std::int64_t bytes) { space = bytes; }

    /// For the double: the remembered space, or else what `ask` gives, remembered unless it is negative.
    template <class Ask>
    std::int64_t Tell(std::int64_t now, const Ask& ask) {
        if (remembered >= 0 && now - askedAt < kRememberedMilliseconds) return remembered;
        remembered = ask(space);
        askedAt = now;
        return remembered;
    }
    void Forget() { remembered = -1; }

private:
    static constexpr std::int64_t kRememberedMilliseconds = 10'000;

    std::int64_t space = std::int64_t{1} << 40;
    std::int64_t remembered = -1;
    std::int64_t askedAt = 0;
};

/// The cloud as a test scripts it. Every call is a line of the journal ("cloud Operation(arguments)"), then the script
/// answers, then the double's own little cloud. What that answers keeps the contract of the headers, as
/// tests/contract/cloud/suite shows, also where a test tells it to fail by `replies` and the knobs of files and
/// objects; an answer that a test writes itself into an operation may break it.
///
/// - uploads are of type "client", objects of `sliceSize` plain bytes, "version" `planVersion`; what UploadRequest
///   brings is kept in `objects` by object id; a create gives the id "cloud-1", "cloud-2", ..., an update keeps the id;
/// - downloads find what stands in `files`; plain ones through DownloadCloudFileRequest in pieces of `pieceSize` bytes
///   that never straddle 4 MiB; encrypted ones through addresses "http://store/<object id>" and the bytes of `objects`:
///   plain ones that fit every key, or those in `sealed` as they are stored, to be decrypted;
/// - the space is `space`; keys are answered when a test gives some.
///
/// Set it up before the engine's threads run; the script operations may be used at any time.
class ScriptedCloud {
public:
    static ScriptedCloud& Get();
    void Reset();

    Operation<std::string(Common::FileItem&, const std::wstring&, const std::wstring&, std::wstring&)>
        objectsUploadStart;
    Operation<bool(const Common::FileItem&, const Common::KelpAddressRequestModel&, Common::GetKelpAddressModel&,
                   WMap&)>
        getUploadKelpAddress;
    Operation<bool(const Common::FileItem&, const Common::FragmentInfo&, const Common::GetKelpAddressModel&,
                   const std::string&, const std::wstring&)>
        objectsUploadComplete;
    Operation<bool(const Common::FileItem&, const std::wstring&, Common::CreateUpdateRequestModel&, WMap&)>
        filesCreateComplete;
    Operation<bool(const Common::FileItem&, const std::wstring&, Common::CreateUpdateRequestModel&, WMap&)>
        filesUpdateComplete;
    Operation<bool(const Common::FileItem&, WMap&)> inQuireCloudFile;
    Operation<bool(const std::wstring&, const std::wstring&, HttpInterface::InterfaceName, const std::string&,
                   const std::string&, WMap, WMap&)>
        fileproxyUpload;
    Operation<bool(const std::wstring&, Common::DownLoadAddressInfoModel&)> getDownloadAddressInfo;
    Operation<bool(const Common::KelpAddressRequestModel&, Common::DownloadKelpAddressInfo&)> getDownloadKelpAddress;
    Operation<std::int64_t(std::wstring&)> getUserSpace;
    Operation<std::string()> publickKey;
    Operation<std::string(int, const std::wstring&, const std::wstring&)> keyList;

    Operation<bool(const std::wstring&, WMap, const std::wstring&, const std::vector<unsigned char>&, WMap&,
                   std::string&)>
        uploadRequest;
    Operation<bool(const std::wstring&, WMap, const std::vector<unsigned char>&, const std::vector<unsigned char>&,
                   const std::wstring&, std::int64_t, std::vector<unsigned char>&)>
        downloadDriveFileRequest;
    /// The receiver is handed over so that an answer can deliver pieces of any form.
    Operation<int(const std::wstring&, WMap, const Cloud::FileTransRequest::Receiver&)> downloadCloudFileRequest;
    Operation<std::string()> getBoundary;

    /// Puts a file into the little cloud.
    void PutPlain(const std::wstring& fileId, const std::string& bytes);
    /// The same, cut into objects of `objectSize` plain bytes under a key list of type 1.
    void PutEncrypted(const std::wstring& fileId, const std::string& bytes, std::size_t objectSize);

    /// Delivers the bytes of a body from `offset` to `end` as the contract says, and one empty piece when there are
    /// none. False when the receiver refused.
    bool Deliver(const std::string& body, std::int64_t offset, std::int64_t end,
                 const Cloud::FileTransRequest::Receiver& receiver) const;

    /// How many requests of an operation ("FilesCreateComplete") have reached the little cloud.
    int Asked(const std::string& operation) const;

    // Set up before calls run.
    std::map<std::wstring, CloudContent> files;                   ///< by file id
    std::map<std::string, CloudReply> replies;                    ///< by operation
    std::map<std::wstring, ObjectFault> objectFaults;             ///< by object id
    std::optional<Common::DownLoadAddressInfoModel> contentInfo;  ///< of every file, in place of what `files` tells
    std::string publicKey;                                        ///< Base64; none when empty
    std::string publicKeyVersion;
    std::optional<std::vector<UserKey>> userKeys;
    std::int64_t sliceSize = 4 << 20;  ///< plain bytes an object of an upload plan
    std::int64_t planVersion = 1;
    std::size_t pieceSize = 64 << 10;
    std::wstring keyType = L"1";  ///< of PutEncrypted

    // Guarded by `mutex` while calls run.
    std::map<std::wstring, std::vector<unsigned char>> objects;  ///< by object id
    std::set<std::wstring> sealed;                               ///< ids of objects that are stored encrypted
    SpaceInCloud space;                                          ///< bytes left
    int created = 0;                                             ///< ids given so far
    int boundaries = 0;                                          ///< given so far
    std::map<std::string, int> asked;                            ///< see Asked
    mutable std::mutex mutex;
};

}  // namespace Drive::Testing
