#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace Drive::ReferenceCloud {

/// Where an S3-compatible store is and who we are there.
struct S3Place {
    std::string endpoint;  ///< "http://host:port" or "https://host"
    std::string bucket;
    std::string prefix;  ///< before every key; empty, or ending in a slash
    std::string region = "us-east-1";
    std::string accessKey;
    std::string secretKey;
    std::chrono::milliseconds pause{200};  ///< before the first repeat; three times as long before each further one
};

/// Out of "s3+http://host:port/bucket/prefix" or "s3+https://..."; the keys are the two lines of a file. Throws
/// std::runtime_error with a text for people.
S3Place ReadS3Place(const std::string& url, const std::string& keyFile, const std::string& region);

/// One signed request. Names and values must be safe in a URL but for the query's values.
struct S3Request {
    std::string method;
    std::string key;                           ///< behind the prefix; empty for the bucket itself
    std::map<std::string, std::string> query;  ///< sorted, as the signature wants it
    std::string range;                         ///< "0-99", or empty
    std::string sha256;                        ///< of the body; empty for none
    std::int64_t length = 0;                   ///< of the body
    /// Gives the body's bytes from an offset on, 0 at the end; asked again from the beginning when a try is repeated.
    std::function<std::size_t(std::int64_t offset, char* buffer, std::size_t length)> body;
    std::size_t mostAnswer = 8 * 1024 * 1024;  ///< a longer answer is a failure
};

struct S3Answer {
    int status = 0;
    std::int64_t length = -1;  ///< "Content-Length", -1 when it was not told
    std::string body;
};

/// Speaks with the store over kept connections. Every request may be repeated, since objects never change: one that
/// fails in transport or is answered 429 or 5xx is tried four times. Any thread.
class S3Client {
public:
    explicit S3Client(S3Place place);
    ~S3Client();
    S3Client(const S3Client&) = delete;
    S3Client& operator=(const S3Client&) = delete;

    /// Throws std::runtime_error when no answer comes in the end, or only 429 and 5xx.
    S3Answer Send(const S3Request& request);
    const S3Place& Place() const { return place_; }

private:
    class Lease;
    void* Take();
    void GiveBack(void* handle);
    S3Answer Attempt(const S3Request& request, std::string& failure);

    const S3Place place_;
    std::mutex mutex_;
    std::vector<void*> idle_;  // guarded by mutex_: handles with their open connections
};

}  // namespace Drive::ReferenceCloud
