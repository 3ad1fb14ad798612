#pragma once

#include <cstdint>
#include <string>

#include "interfaces/common/address_models.h"
#include "interfaces/common/completion_models.h"
#include "interfaces/common/file_item.h"
#include "interfaces/common/upload_plan.h"
#include "interfaces/common/wmap.h"
#include "interfaces/platform/export.h"

namespace HttpInterface {

/// The cloud operation behind FileproxyUpload.
enum class InterfaceName : int {
    MultipartCreate = 50003,  ///< whole content of a new file
    MultipartUpdate = 50024,  ///< whole content of a new version
    ResumeCreate = 50026,     ///< ask for a resume URL, new file
    ResumeUpdate = 50027,     ///< ask for a resume URL, new version
    ResumeSlice = 50028       ///< one slice to a resume URL
};

}  // namespace HttpInterface

namespace Drive::Cloud {

/// The cloud's control calls. Static, any number of threads at once. No operation throws in ordinary failure: a failed
/// call is told by its result. Every call has a connect, an idle and a total time limit. Result maps are filled on
/// success and on failure with "errorCode" (whatever code the cloud's body holds, at any status; empty when it holds
/// none, never made up), "statuscode" (HTTP status in decimal, "0" for a transport failure) and "description";
/// on success also with the answer's own keys. Transient failures are repeated inside, where the request is idempotent.
class ZELKOR_API CloudDriveInterface {
public:
    /// Opens an upload. The cloud is told a digest of the item's key text, when it has one, so that it keeps the
    /// objects of two keys apart (wire/key_digest.h); the key itself never leaves. `errorCode` takes the cloud's code,
    /// empty on success. Returns the answer's body as JSON text; an empty or unparsable text on failure.
    static std::string ObjectsUploadStart(Common::FileItem& file, const std::wstring& sha256,
                                          const std::wstring& recordCursor, std::wstring& errorCode);

    /// Asks where and how to put one object. True: the model is filled. False: the map tells why.
    static bool GetUploadKelpAddress(const Common::FileItem& file, const Common::KelpAddressRequestModel& request,
                                     Common::GetKelpAddressModel& model, WMap& result);

    /// Tells the cloud that an object has arrived; `response` is the store's answer, passed on unread. True: accepted.
    static bool ObjectsUploadComplete(const Common::FileItem& file, const Common::FragmentInfo& fragment,
                                      const Common::GetKelpAddressModel& model, const std::string& response,
                                      const std::wstring& recordCursor);

    /// Makes the file exist. On success the map holds "id", "fileName", "category", "mimeType", "parentFolder" and
    /// "contentVersion" as far as the cloud gives them; "id" always, falling back on the id given.
    static bool FilesCreateComplete(const Common::FileItem& file, const std::wstring& recordCursor,
                                    Common::CreateUpdateRequestModel& model, WMap& result);

    /// Makes a new version of a file that the cloud knows; as FilesCreateComplete.
    static bool FilesUpdateComplete(const Common::FileItem& file, const std::wstring& recordCursor,
                                    Common::CreateUpdateRequestModel& model, WMap& result);

    /// Asks for the file as the cloud holds it, by its id or, for a local id, by parent and name. True: the map has
    /// the file's keys as after a completed create.
    static bool inQuireCloudFile(const Common::FileItem& file, WMap& result);

    /// One request to the file proxy with exactly these headers, to which only the login is added. At most one of the
    /// two bodies is non-empty. A ResumeSlice with an empty raw body sends nothing and answers false with "statuscode"
    /// "404". "id" is in the map when the file is complete; a local id without an answer id is a failure, and then
    /// "statuscode" is not "200". Neither a failure nor a slice that does not complete the file ever leaves "200" in
    /// the map, whatever the cloud answered: the engine keeps the map when it cannot read its file further, and reads
    /// "200" as the end of the upload without looking at the result.
    static bool FileproxyUpload(const std::wstring& url, const std::wstring& fileId,
                                HttpInterface::InterfaceName operation, const std::string& rawBody,
                                const std::string& textBody, WMap headers, WMap& result);

    /// How the cloud holds a file. True: the model is filled, the key list with the entry of type "1" first.
    static bool GetDownloadAddressInfo(const std::wstring& fileId, Common::DownLoadAddressInfoModel& model);

    /// Where to get one object. True: URL and headers are good for one GET.
    static bool GetDownloadKelpAddress(const Common::KelpAddressRequestModel& request,
                                       Common::DownloadKelpAddressInfo& info);

    /// Bytes of space left; negative on failure. `text` is an empty text at every call and stays so. Answers are
    /// remembered for about ten seconds and dropped at every completing call; failures are not remembered.
    static std::int64_t GetUserSpace(std::wstring& text);

    /// The cloud's public key as JSON with "publicKey" (Base64 of exactly 91 bytes) and "version"; empty on failure.
    static std::string PublickKey();

    /// The user's wrapped keys as JSON with the array "keys". `kind` is always 1. Entries that could not fit the key
    /// buffers are left out. Empty on failure.
    static std::string KeyList(int kind, const std::wstring& temporaryKeyText, const std::wstring& version);

private:
    CloudDriveInterface() = delete;
};

}  // namespace Drive::Cloud
