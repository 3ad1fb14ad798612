#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "interfaces/cloud/cloud_drive_interface.h"
#include "interfaces/cloud/file_trans_request.h"
#include "tests/support/operation.h"

namespace Drive::Testing {

/// What the double holds of one file.
struct CloudContent {
    std::string bytes;                  ///< plain content
    bool encrypted = false;             ///< answered with a key list and objects
    std::vector<std::wstring> objects;  ///< object ids, in the order of the bytes; encrypted only
    std::wstring name;
};

/// The cloud as a test scripts it. Every call is a line of the journal ("cloud Operation(arguments)"), then the script
/// answers, then the double's own little cloud:
///
/// - uploads are of type "client", objects of `sliceSize` plain bytes, "version" `planVersion`; what UploadRequest
///   brings is kept in `objects` by object id; a create gives the id "cloud-1", "cloud-2", ..., an update keeps the id;
/// - downloads find what stands in `files`; plain ones through DownloadCloudFileRequest in pieces of `pieceSize` bytes
///   that never straddle 4 MiB; encrypted ones through addresses "http://store/<object id>" and the bytes of `objects`,
///   which hold plain bytes unless an upload put them there;
/// - the space is `space`; keys are not answered.
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

    /// Delivers a body as the contract says, from `offset` on; answers 200 or 206, or 0 when the receiver refused.
    int Deliver(const std::string& body, std::int64_t offset, const Cloud::FileTransRequest::Receiver& receiver) const;

    std::map<std::wstring, CloudContent> files;                  ///< by file id
    std::map<std::wstring, std::vector<unsigned char>> objects;  ///< by object id
    std::int64_t space = std::int64_t{1} << 40;                  ///< bytes left
    std::int64_t sliceSize = 4 << 20;                            ///< plain bytes an object of an upload plan
    std::int64_t planVersion = 1;
    std::size_t pieceSize = 64 << 10;
    std::wstring keyType = L"1";  ///< of PutEncrypted
    int created = 0;              ///< ids given so far
};

}  // namespace Drive::Testing
