// The cloud library's transfers, answered by ScriptedCloud.
#include <openssl/evp.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <memory>

#include "tests/support/cloud_answers.h"
#include "tests/support/journal.h"

namespace Drive::Cloud {

using Bytes = std::vector<unsigned char>;
using Testing::CloudContent;
using Testing::CloudReply;
using Testing::Narrow;
using Testing::ObjectFault;
using Testing::ScriptedCloud;

namespace {

constexpr int kFailed = -1;
constexpr int kReceiverRefused = 0;
constexpr const wchar_t* kDigestHeader = L"X-Object-Sha256";

ScriptedCloud& Script() { return ScriptedCloud::Get(); }

void Record(const std::string& text) { Testing::Journal::Write(Testing::Kind::Cloud, text); }

std::wstring LastSegment(const std::wstring& address) { return address.substr(address.rfind(L'/') + 1); }

std::string Lower(const std::wstring& text) {
    std::string lower = Narrow(text);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char letter) { return std::tolower(letter); });
    return lower;
}

/// False when the store tells to hold something else than what was sent.
bool HoldsWhatWasSent(const WMap& sent, const Bytes& body, const WMap& answer) {
    const auto held = answer.find(kDigestHeader);
    if (held == answer.end()) return true;
    const auto told = sent.find(kDigestHeader);
    return Lower(held->second) == (told == sent.end() ? Testing::DigestOf(body) : Lower(told->second));
}

bool Store(const std::wstring& address, const WMap& sent, const std::wstring&, const Bytes& body, WMap& headers,
           std::string& text) {
    CloudReply own;
    own.text = "stored";
    const CloudReply reply = Testing::Ask("UploadRequest", own);
    headers = reply.headers;
    text = reply.text.value_or(std::string());
    if (!reply.Accepts()) return false;
    const std::lock_guard lock(Script().mutex);
    Script().objects[LastSegment(address)] = body;
    Script().sealed.insert(LastSegment(address));
    return HoldsWhatWasSent(sent, body, headers);
}

bool IsUsable(const Bytes& key, const Bytes& iv, const std::wstring& algorithm) {
    const bool is128 = algorithm == L"AES_128";
    if (!is128 && algorithm != L"AES_256") return false;
    const bool fits = key.size() == (is128 ? 16u : 32u) && (is128 ? iv.size() == 16 : iv.size() >= 16);
    return fits && std::any_of(key.begin(), key.end(), [](unsigned char byte) { return byte != 0; });
}

bool Decrypt(const Bytes& key, const Bytes& iv, const Bytes& stored, Bytes& plain) {
    const std::unique_ptr<EVP_CIPHER_CTX, void (*)(EVP_CIPHER_CTX*)> context(EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free);
    plain.resize(stored.size() + 16);
    int first = 0, second = 0;
    const EVP_CIPHER* kind = key.size() == 16 ? EVP_aes_128_cbc() : EVP_aes_256_cbc();
    if (EVP_DecryptInit_ex(context.get(), kind, nullptr, key.data(), iv.data()) != 1 ||
        EVP_DecryptUpdate(context.get(), plain.data(), &first, stored.data(), static_cast<int>(stored.size())) != 1 ||
        EVP_DecryptFinal_ex(context.get(), plain.data() + first, &second) != 1) {
        return false;
    }
    plain.resize(static_cast<std::size_t>(first + second));
    return true;
}

/// An object as it arrives from the store; false when it does not.
bool Arrives(const std::wstring& id, std::int64_t bound, Bytes& stored, bool& isSealed) {
    CloudReply own;
    ObjectFault fault;
    {
        const std::lock_guard lock(Script().mutex);
        const auto found = Script().objects.find(id);
        if (found == Script().objects.end()) own.status = 404;
        if (found != Script().objects.end()) stored = found->second;
        isSealed = Script().sealed.count(id) != 0;
        if (const auto told = Script().objectFaults.find(id); told != Script().objectFaults.end()) fault = told->second;
    }
    if (fault.status != 200) own.status = fault.status;
    if (!Testing::Ask("DownloadDriveFileRequest", own).Accepts()) return false;
    if (fault.cutAfter && *fault.cutAfter < stored.size()) return false;
    if (bound > 0 && static_cast<std::int64_t>(stored.size()) > bound) return false;
    return fault.toldDigest.empty() || Testing::DigestOf(stored) == fault.toldDigest;
}

bool FetchObject(const std::wstring& address, const WMap&, const Bytes& key, const Bytes& iv,
                 const std::wstring& algorithm, std::int64_t length, Bytes& received) {
    received.clear();
    Bytes stored, plain;
    bool isSealed = false;
    if (!IsUsable(key, iv, algorithm) || !Arrives(LastSegment(address), length, stored, isSealed)) return false;
    if (isSealed && !Decrypt(key, iv, stored, plain)) return false;
    received = isSealed ? std::move(plain) : std::move(stored);
    return true;
}

/// The N of "bytes=N-", 0 without a range; negative for a range of another form.
std::int64_t RangeStart(const WMap& headers) {
    const auto range = headers.find(L"Range");
    if (range == headers.end()) return 0;
    const std::string text = Narrow(range->second);
    if (text.rfind("bytes=", 0) != 0) return -1;
    std::int64_t start = -1;
    const char* const end = text.data() + text.size();
    const auto [next, error] = std::from_chars(text.data() + 6, end, start);
    return error == std::errc() && next + 1 == end && *next == '-' ? start : -1;
}

/// Where an answer begins and ends in the content, its status, and whether it is the whole rest.
struct ContentAnswer {
    int status = 200;
    std::int64_t first = 0;
    std::int64_t end = 0;
    bool whole = true;
};

ContentAnswer AnswerFor(const CloudContent& content, std::int64_t wanted) {
    const auto size = static_cast<std::int64_t>(content.bytes.size());
    if (wanted == 0 || !content.takesRanges) return {200, 0, size, true};
    if (wanted >= size) return {416, 0, 0, false};
    const auto end = static_cast<std::int64_t>(content.rangeEnd.value_or(content.bytes.size()));
    return {206, content.rangeBegin ? static_cast<std::int64_t>(*content.rangeBegin) : wanted, end, end == size};
}

int SendContent(const CloudContent& content, std::int64_t wanted, const FileTransRequest::Receiver& receiver) {
    if (content.status) return *content.status == 0 ? kFailed : *content.status;
    ContentAnswer answer = AnswerFor(content, wanted);
    if (answer.status == 416) return answer.status;
    if (answer.status == 206 && answer.first != wanted) return kFailed;
    if (answer.status == 200 && wanted > answer.end) return kFailed;
    if (content.cutAfter && answer.first + static_cast<std::int64_t>(*content.cutAfter) < answer.end) {
        answer.end = answer.first + static_cast<std::int64_t>(*content.cutAfter);
        answer.whole = false;
    }
    if (!answer.whole && answer.end <= wanted) return kFailed;
    if (!receiver || !Script().Deliver(content.bytes, wanted, answer.end, receiver)) return kReceiverRefused;
    return answer.whole ? answer.status : kFailed;
}

int FetchContent(const std::wstring& address, const WMap& headers, const FileTransRequest::Receiver& receiver) {
    const std::int64_t wanted = RangeStart(headers);
    if (wanted < 0) return kFailed;
    const auto found = Script().files.find(LastSegment(address));
    CloudReply own;
    own.status = found == Script().files.end() ? 404 : 200;
    const CloudReply reply = Testing::Ask("DownloadCloudFileRequest", own);
    if (!reply.Accepts() || found == Script().files.end()) return reply.status == 0 ? kFailed : reply.status;
    return SendContent(found->second, wanted, receiver);
}

std::string FreshBoundary() {
    const std::lock_guard lock(Script().mutex);
    const int number = ++Script().boundaries;
    return "boundary-of-the-test" + (number == 1 ? "" : "-" + std::to_string(number));
}

}  // namespace

FileTransRequest::FileTransRequest() = default;
FileTransRequest::FileTransRequest(const FileTransRequest& other) = default;
FileTransRequest& FileTransRequest::operator=(const FileTransRequest& other) = default;
FileTransRequest::~FileTransRequest() = default;

void FileTransRequest::receiveDownloadFileCallBackFun(Receiver taker) { receiver = std::move(taker); }

bool FileTransRequest::UploadRequest(const std::wstring& url, WMap headers, const std::wstring& verb, const Bytes& body,
                                     WMap& responseHeaders, std::string& responseText) {
    Record("UploadRequest(" + Narrow(url) + ", " + Narrow(verb) + ", " + std::to_string(body.size()) + ", " +
           Testing::ListOf(headers) + ")");
    return Script().uploadRequest.Call(Store, url, headers, verb, body, responseHeaders, responseText);
}

bool FileTransRequest::DownloadDriveFileRequest(const std::wstring& url, WMap headers, const Bytes& fek,
                                                const Bytes& iv, const std::wstring& algorithm, std::int64_t length,
                                                Bytes& received) {
    Record("DownloadDriveFileRequest(" + Narrow(url) + ", " + Testing::ListOf(headers) + ", " +
           std::to_string(fek.size()) + ", " + std::to_string(iv.size()) + ", " + Narrow(algorithm) + ", " +
           std::to_string(length) + ")");
    return Script().downloadDriveFileRequest.Call(FetchObject, url, headers, fek, iv, algorithm, length, received);
}

int FileTransRequest::DownloadCloudFileRequest(const std::wstring& url, WMap headers, FileTransRequest* request) {
    Record("DownloadCloudFileRequest(" + Narrow(url) + ", " + Testing::ListOf(headers) + ")");
    if (request == nullptr) return kFailed;
    return Script().downloadCloudFileRequest.Call(FetchContent, url, headers, request->receiver);
}

std::string FileTransRequest::GetBoundary() {
    Record("GetBoundary()");
    return Script().getBoundary.Call(FreshBoundary);
}

}  // namespace Drive::Cloud
