#include "tests/contract/cloud/suite/cloud_suite.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <ostream>
#include <random>

namespace Drive::Testing {

namespace {

using Cloud::CloudDriveInterface;
using HttpInterface::InterfaceName;

template <InterfaceName kOperation>
bool ByProxy(CloudBehind& cloud, const std::wstring& fileId, WMap& result) {
    return CloudDriveInterface::FileproxyUpload(cloud.Proxy(), fileId, kOperation, "", "content", {}, result);
}

bool LastSlice(CloudBehind& cloud, const std::wstring& fileId, WMap& result) {
    return SendSlice(cloud, fileId, 8, "last", 12, result);
}

bool AskAddress(CloudBehind&, const std::wstring& fileId, WMap& result) {
    Common::GetKelpAddressModel model;
    return CloudDriveInterface::GetUploadKelpAddress(FileWithId(fileId), {}, model, result);
}

bool Create(CloudBehind&, const std::wstring& fileId, WMap& result) {
    const Common::FileItem file = FileWithId(fileId);
    Common::CreateUpdateRequestModel model(file);
    return CloudDriveInterface::FilesCreateComplete(file, L"cursor", model, result);
}

bool Update(CloudBehind&, const std::wstring& fileId, WMap& result) {
    const Common::FileItem file = FileWithId(fileId);
    Common::CreateUpdateRequestModel model(file);
    return CloudDriveInterface::FilesUpdateComplete(file, L"cursor", model, result);
}

bool Inquire(CloudBehind&, const std::wstring& fileId, WMap& result) {
    return CloudDriveInterface::inQuireCloudFile(FileWithId(fileId), result);
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const MappedCall& call) { return out << call.name; }

const std::vector<MappedCall>& MappedCalls() {
    static const auto& calls =
        *new std::vector<MappedCall>{{"UploadAddress", "GetUploadKelpAddress", false, AskAddress},
                                     {"Create", "FilesCreateComplete", true, Create},
                                     {"Update", "FilesUpdateComplete", true, Update},
                                     {"Inquiry", "inQuireCloudFile", true, Inquire},
                                     {"WholeCreate", "FileproxyUpload", true, ByProxy<InterfaceName::MultipartCreate>},
                                     {"WholeUpdate", "FileproxyUpload", true, ByProxy<InterfaceName::MultipartUpdate>},
                                     {"ResumeCreate", "FileproxyUpload", false, ByProxy<InterfaceName::ResumeCreate>},
                                     {"ResumeUpdate", "FileproxyUpload", false, ByProxy<InterfaceName::ResumeUpdate>},
                                     {"LastSlice", "FileproxyUpload", true, LastSlice}};
    return calls;
}

std::vector<MappedCall> CompletingCalls() {
    std::vector<MappedCall> calls;
    std::copy_if(MappedCalls().begin(), MappedCalls().end(), std::back_inserter(calls),
                 [](const MappedCall& call) { return call.completes; });
    return calls;
}

bool SendSlice(CloudBehind& cloud, const std::wstring& fileId, std::uint64_t position, const std::string& bytes,
               std::uint64_t total, WMap& result) {
    // The upper bound is the slice's own length less one, as the engine writes it.
    const WMap headers{{L"Content-Range", L"bytes " + std::to_wstring(position) + L"-" +
                                              std::to_wstring(bytes.size() - 1) + L"/" + std::to_wstring(total)},
                       {L"Content-Length", std::to_wstring(bytes.size())},
                       {L"Content-Type", L"video/mp4"}};
    return CloudDriveInterface::FileproxyUpload(cloud.Proxy(), fileId, InterfaceName::ResumeSlice, bytes, "", headers,
                                                result);
}

Common::FileItem FileWithId(const std::wstring& fileId) {
    Common::FileItem file;
    file.SetFileId(fileId);
    file.SetLocalFileName(L"letter.txt");
    file.SetLocalParentId(L"folder1");
    return file;
}

std::wstring ValueOf(const WMap& map, const wchar_t* key) {
    const auto found = map.find(key);
    return found == map.end() ? L"(absent)" : found->second;
}

Json::Value ParsedJson(const std::string& text) {
    Json::Value value;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    const bool read = reader->parse(text.data(), text.data() + text.size(), &value, nullptr);
    return read ? value : Json::Value();
}

std::string SomeBytes(std::size_t size) {
    static const auto& all = *new std::string([] {
        std::mt19937 generator(7);
        std::string bytes(std::size_t{9} << 20, '\0');
        for (std::size_t at = 0; at < bytes.size(); at += sizeof(std::uint32_t)) {
            const auto word = static_cast<std::uint32_t>(generator());
            std::memcpy(bytes.data() + at, &word, sizeof word);
        }
        return bytes;
    }());
    return all.substr(0, size);
}

}  // namespace Drive::Testing
