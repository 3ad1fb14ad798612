#include "tests/support/cloud_answers.h"

#include <openssl/evp.h>

#include <cstdlib>

#include "tests/support/journal.h"

namespace Drive::Testing {

namespace {

/// "statuscode" of a failure to which the cloud said 200, and of a slice that was taken while more are to come: the
/// engine reads "200" as the end of an upload.
constexpr const wchar_t* kNotTheEnd = L"502";
constexpr const wchar_t* kSliceTaken = L"202";

void Fill(const CloudReply& reply, WMap& result) {
    result.clear();
    result[L"errorCode"] = reply.errorCode;
    result[L"statuscode"] = std::to_wstring(reply.status);
    result[L"description"] = reply.status == 0 ? L"the line broke" : reply.description;
}

bool ConcludeOpening(WMap& result) {
    result.erase(L"id");
    if (!result[L"resumeUrl"].empty() && std::wcstoll(result[L"sliceSize"].c_str(), nullptr, 10) > 0) return true;
    result.erase(L"resumeUrl");
    result.erase(L"sliceSize");
    result[L"description"] = L"no resume address";
    return false;
}

bool ConcludeSlice(const std::wstring& fileId, bool last, WMap& result) {
    if (last || !result[L"id"].empty()) return EnsureId(fileId, result);
    result.erase(L"id");
    result[L"statuscode"] = kSliceTaken;
    return true;
}

bool ConcludeAccepted(HttpInterface::InterfaceName operation, const std::wstring& fileId, bool last, WMap& result) {
    switch (operation) {
        case HttpInterface::InterfaceName::ResumeCreate:
        case HttpInterface::InterfaceName::ResumeUpdate:
            return ConcludeOpening(result);
        case HttpInterface::InterfaceName::ResumeSlice:
            return ConcludeSlice(fileId, last, result);
        default:
            return EnsureId(fileId, result);
    }
}

}  // namespace

CloudReply Ask(const char* operation, const CloudReply& own) {
    ScriptedCloud& cloud = ScriptedCloud::Get();
    const std::lock_guard lock(cloud.mutex);
    ++cloud.asked[operation];
    const auto told = cloud.replies.find(operation);
    return told == cloud.replies.end() ? own : told->second;
}

bool Conclude(const CloudReply& reply, WMap& result) {
    Fill(reply, result);
    if (!reply.Accepts()) return false;
    for (const auto& [key, value] : reply.fields) result.emplace(key, value);
    return true;
}

bool EnsureId(const std::wstring& givenId, WMap& result) {
    std::wstring& id = result[L"id"];
    if (!id.empty()) return true;
    if (!givenId.empty() && givenId.rfind(L"Local", 0) != 0) {
        id = givenId;
        return true;
    }
    result.erase(L"id");
    result[L"statuscode"] = kNotTheEnd;
    result[L"description"] = L"no id";
    return false;
}

bool ConcludeProxy(HttpInterface::InterfaceName operation, const std::wstring& fileId, const WMap& headers,
                   std::size_t bytes, const CloudReply& reply, WMap& result) {
    const bool last = IsLastSlice(headers, bytes);
    const bool done = Conclude(reply, result) && ConcludeAccepted(operation, fileId, last, result);
    if (!done && result[L"statuscode"] == L"200") result[L"statuscode"] = kNotTheEnd;
    return done;
}

bool IsLastSlice(const WMap& headers, std::size_t bytes) {
    const auto range = headers.find(L"Content-Range");
    if (range == headers.end()) return false;
    const std::string text = Narrow(range->second);
    const std::size_t slash = text.find('/');
    if (text.rfind("bytes ", 0) != 0 || slash == std::string::npos) return false;
    const auto position = std::strtoull(text.c_str() + 6, nullptr, 10);
    return position + bytes >= std::strtoull(text.c_str() + slash + 1, nullptr, 10);
}

std::size_t Base64Length(const std::string& text) {
    std::vector<unsigned char> bytes(text.size() + 4);
    const int length = EVP_DecodeBlock(bytes.data(), reinterpret_cast<const unsigned char*>(text.data()),
                                       static_cast<int>(text.size()));
    if (length <= 0) return 0;
    const std::size_t data = text.find_last_not_of('=') + 1;
    return static_cast<std::size_t>(length) - (text.size() - data);
}

std::string ListOf(const WMap& map) {
    std::string text = "{";
    for (const auto& [key, value] : map) {
        text += (text.size() > 1 ? ", " : "") + Narrow(key) + ": " + Narrow(value);
    }
    return text + "}";
}

std::string DigestOf(const std::vector<unsigned char>& bytes) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int size = 0;
    EVP_Digest(bytes.data(), bytes.size(), digest, &size, EVP_sha256(), nullptr);
    std::string text;
    for (unsigned int index = 0; index < size; ++index) {
        text += "0123456789abcdef"[digest[index] >> 4];
        text += "0123456789abcdef"[digest[index] & 0xF];
    }
    return text;
}

}  // namespace Drive::Testing
