#include "reference_cloud/s3_client.h"

#include <curl/curl.h>

#include <chrono>
#include <cstring>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <thread>

#include "reference_cloud/text.h"

namespace Drive::ReferenceCloud {

namespace {

constexpr int kAttempts = 4;
constexpr long kConnectSeconds = 10, kStandstillSeconds = 30, kLeastSpeed = 1024;
constexpr std::size_t kMostIdle = 16;
constexpr const char* kEmptyDigest = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";

struct FreeList {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};
using HeaderList = std::unique_ptr<curl_slist, FreeList>;

void Add(HeaderList& list, const std::string& line) { list.reset(curl_slist_append(list.release(), line.c_str())); }

/// One try on its way.
struct Transfer {
    const S3Request& request;
    S3Answer answer;
    std::int64_t sent = 0;
};

std::size_t GiveBody(char* buffer, std::size_t size, std::size_t count, void* state) {
    auto& transfer = *static_cast<Transfer*>(state);
    try {
        const std::size_t given = transfer.request.body(transfer.sent, buffer, size * count);
        transfer.sent += static_cast<std::int64_t>(given);
        return given;
    } catch (const std::exception&) {
        return CURL_READFUNC_ABORT;
    }
}

std::size_t TakeAnswer(char* data, std::size_t size, std::size_t count, void* state) {
    auto& transfer = *static_cast<Transfer*>(state);
    if (transfer.answer.body.size() + size * count > transfer.request.mostAnswer) return 0;
    transfer.answer.body.append(data, size * count);
    return size * count;
}

std::string Escape(CURL* curl, const std::string& text) {
    const std::unique_ptr<char, void (*)(void*)> escaped(
        curl_easy_escape(curl, text.c_str(), static_cast<int>(text.size())), curl_free);
    if (!escaped) throw std::bad_alloc();
    return escaped.get();
}

std::string UrlOf(CURL* curl, const S3Place& place, const S3Request& request) {
    std::string url = place.endpoint + "/" + place.bucket;
    if (!request.key.empty()) url += "/" + place.prefix + request.key;
    char mark = '?';
    for (const auto& [name, value] : request.query) {
        url += mark + name + "=" + Escape(curl, value);
        mark = '&';
    }
    return url;
}

bool WorthAnotherTry(int status) { return status == 429 || status >= 500; }

std::string NeededLine(std::istream& stream, const std::string& file) {
    std::string line;
    if (!std::getline(stream, line) || line.empty()) {
        throw std::runtime_error("the file " + file + " must hold the access key and, below it, the secret key");
    }
    return line;
}

bool IsPlainPath(const std::string& path) {
    static constexpr const char* allowed = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.-_/";
    return path.find_first_not_of(allowed) == std::string::npos && path.find("//") == std::string::npos &&
           path.find("..") == std::string::npos;
}

}  // namespace

S3Place ReadS3Place(const std::string& url, const std::string& keyFile, const std::string& region) {
    static const std::string mark = "s3+";
    const std::size_t host = url.find("://");
    const std::size_t path = host == std::string::npos ? host : url.find('/', host + 3);
    const std::string scheme = url.substr(0, host);
    if ((scheme != "s3+http" && scheme != "s3+https") || path == std::string::npos || path == host + 3) {
        throw std::runtime_error("an object store is s3+http://HOST:PORT/BUCKET/PREFIX or s3+https://..., not " + url);
    }
    S3Place place;
    place.endpoint = url.substr(mark.size(), path - mark.size());
    const std::size_t slash = url.find('/', path + 1);
    place.bucket = url.substr(path + 1, slash == std::string::npos ? slash : slash - path - 1);
    if (slash != std::string::npos) place.prefix = url.substr(slash + 1);
    if (!place.prefix.empty() && place.prefix.back() != '/') place.prefix += '/';
    if (place.bucket.empty() || !IsPlainPath(place.bucket) || !IsPlainPath(place.prefix)) {
        throw std::runtime_error("bucket and prefix of " + url + " may hold letters, digits, dots, dashes and slashes");
    }
    if (!region.empty()) place.region = region;
    std::ifstream stream(keyFile);
    if (!stream) throw std::runtime_error("the keys of the object store, " + keyFile + ", cannot be read");
    place.accessKey = NeededLine(stream, keyFile);
    place.secretKey = NeededLine(stream, keyFile);
    return place;
}

S3Client::S3Client(S3Place place) : place_(std::move(place)) { curl_global_init(CURL_GLOBAL_DEFAULT); }

S3Client::~S3Client() {
    for (void* handle : idle_) curl_easy_cleanup(handle);
}

void* S3Client::Take() {
    {
        const std::lock_guard lock(mutex_);
        if (!idle_.empty()) {
            void* handle = idle_.back();
            idle_.pop_back();
            return handle;
        }
    }
    void* handle = curl_easy_init();
    if (handle == nullptr) throw std::bad_alloc();
    return handle;
}

void S3Client::GiveBack(void* handle) {
    curl_easy_reset(handle);  // its connections stay
    const std::lock_guard lock(mutex_);
    if (idle_.size() < kMostIdle) {
        idle_.push_back(handle);
    } else {
        curl_easy_cleanup(handle);
    }
}

class S3Client::Lease {
public:
    explicit Lease(S3Client& client) : client_(client), handle_(client.Take()) {}
    ~Lease() { client_.GiveBack(handle_); }
    Lease(const Lease&) = delete;
    Lease& operator=(const Lease&) = delete;
    CURL* Get() const { return handle_; }

private:
    S3Client& client_;
    void* const handle_;
};

S3Answer S3Client::Attempt(const S3Request& request, std::string& failure) {
    const Lease lease(*this);
    CURL* curl = lease.Get();
    Transfer transfer{request, {}, 0};
    HeaderList headers;
    // Signed along with the rest: the store holds what comes against it.
    Add(headers, std::string("x-amz-content-sha256: ") + (request.sha256.empty() ? kEmptyDigest : request.sha256));
    char error[CURL_ERROR_SIZE] = "";
    curl_easy_setopt(curl, CURLOPT_URL, UrlOf(curl, place_, request).c_str());
    curl_easy_setopt(curl, CURLOPT_AWS_SIGV4, ("aws:amz:" + place_.region + ":s3").c_str());
    curl_easy_setopt(curl, CURLOPT_USERNAME, place_.accessKey.c_str());
    curl_easy_setopt(curl, CURLOPT_PASSWORD, place_.secretKey.c_str());
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_ERRORBUFFER, error);
    curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT, kConnectSeconds);
    curl_easy_setopt(curl, CURLOPT_LOW_SPEED_TIME, kStandstillSeconds);
    curl_easy_setopt(curl, CURLOPT_LOW_SPEED_LIMIT, kLeastSpeed);
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, TakeAnswer);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &transfer);
    curl_easy_setopt(curl, CURLOPT_BUFFERSIZE, 512L * 1024);
    if (!request.range.empty()) curl_easy_setopt(curl, CURLOPT_RANGE, request.range.c_str());
    if (request.method == "HEAD") curl_easy_setopt(curl, CURLOPT_NOBODY, 1L);
    if (request.body) {
        curl_easy_setopt(curl, CURLOPT_UPLOAD, 1L);
        curl_easy_setopt(curl, CURLOPT_UPLOAD_BUFFERSIZE, 1024L * 1024);
        curl_easy_setopt(curl, CURLOPT_READFUNCTION, GiveBody);
        curl_easy_setopt(curl, CURLOPT_READDATA, &transfer);
        curl_easy_setopt(curl, CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(request.length));
    }
    curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, request.method.c_str());
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers.get());
    const CURLcode code = curl_easy_perform(curl);
    long status = 0;
    curl_off_t length = -1;
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
    curl_easy_getinfo(curl, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length);
    failure = code == CURLE_OK ? "it answered " + std::to_string(status)
                               : std::string(error[0] != '\0' ? error : curl_easy_strerror(code));
    transfer.answer.status = code == CURLE_OK ? static_cast<int>(status) : 0;
    transfer.answer.length = length;
    return std::move(transfer.answer);
}

S3Answer S3Client::Send(const S3Request& request) {
    std::string failure;
    auto pause = place_.pause;
    for (int attempt = 1;; ++attempt) {
        S3Answer answer = Attempt(request, failure);
        if (answer.status != 0 && !WorthAnotherTry(answer.status)) return answer;
        if (attempt == kAttempts) break;
        std::this_thread::sleep_for(pause);
        pause *= 3;
    }
    throw std::runtime_error("the object store at " + place_.endpoint + " failed: " + request.method + " " +
                             request.key + ": " + failure);
}

}  // namespace Drive::ReferenceCloud
