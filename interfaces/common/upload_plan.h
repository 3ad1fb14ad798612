#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace Drive::Common {

/// One object of an upload plan.
struct FragmentInfo {
    std::wstring objectId;    ///< the object's name in the cloud's store
    std::int64_t length = 0;  ///< bytes as stored, encrypted and padded
    std::wstring synckey;     ///< opaque; passed back on the address request
    std::wstring time;        ///< opaque; passed back on the address request
    bool status = false;      ///< true when the object is stored and confirmed
};

/// The plan of one upload: what the cloud answered at the start, or what an earlier attempt left in `fragmentInfo`.
class UploadStartInfo {
public:
    /// "client", "exist" or "server".
    const std::wstring& GetUploadType() const { return uploadType; }
    void SetUploadType(std::wstring value) { uploadType = std::move(value); }
    /// The cloud's revision of the plan; 0 means that there is none.
    std::int64_t GetVersion() const { return version; }
    void SetVersion(std::int64_t value) { version = value; }
    /// Bucket of the objects; may be empty at first.
    const std::wstring& GetBucketId() const { return bucketId; }
    void SetBucketId(std::wstring value) { bucketId = std::move(value); }
    /// Bytes of the plain file accepted so far.
    std::uint64_t GetPosition() const { return position; }
    void SetPosition(std::uint64_t value) { position = value; }
    /// The cloud's handle on this upload, sent back on every later call.
    const std::wstring& GetRecordCursor() const { return recordCursor; }
    void SetRecordCursor(std::wstring value) { recordCursor = std::move(value); }
    /// File proxy address of a server upload.
    const std::wstring& GetUploadUrl() const { return uploadUrl; }
    void SetUploadUrl(std::wstring value) { uploadUrl = std::move(value); }
    /// Address that a server upload goes on at.
    const std::wstring& GetResumeUrl() const { return resumeUrl; }
    void SetResumeUrl(std::wstring value) { resumeUrl = std::move(value); }
    /// Plain bytes an object on the client path; set as 64 bits, read as the low 32.
    std::int32_t GetSliceSize() const { return static_cast<std::int32_t>(sliceSize); }
    void SetSliceSize(std::int64_t value) { sliceSize = value; }
    /// Entries taken into the fragment list.
    std::uint32_t GetItemcount() const { return itemcount; }
    void SetItemcount(std::uint32_t value) { itemcount = value; }
    /// One entry an object, in the order of the file's bytes.
    const std::vector<FragmentInfo>& GetFragmentInfos() const { return fragmentInfos; }
    void SetFragmentInfos(std::vector<FragmentInfo> value) { fragmentInfos = std::move(value); }

private:
    std::wstring uploadType;
    std::int64_t version = 0;
    std::wstring bucketId;
    std::uint64_t position = 0;
    std::wstring recordCursor;
    std::wstring uploadUrl;
    std::wstring resumeUrl;
    std::int64_t sliceSize = 0;
    std::uint32_t itemcount = 0;
    std::vector<FragmentInfo> fragmentInfos;
};

}  // namespace Drive::Common
