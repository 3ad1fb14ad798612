#pragma once

#include <curl/curl.h>

#include <string>

namespace Drive::Cloud {

/// A transfer handle with the one connection that it keeps open. Used by one thread at a time.
struct CurlHandle {
    CURL* easy = nullptr;
    CURLM* multi = nullptr;
    std::string origin;  ///< where it was used last, so that the next request there finds the connection

    CurlHandle();
    ~CurlHandle();

    /// At the end of a transfer, while the handle is still in `multi`.
    void NoteConnection();

    /// True when something came over the kept connection although nothing was asked, or its other end closed it: what
    /// lies there would be taken for the answer of the next request.
    bool IsSpoilt() const;

    CurlHandle(const CurlHandle&) = delete;
    CurlHandle& operator=(const CurlHandle&) = delete;

private:
    curl_socket_t kept = CURL_SOCKET_BAD;
};

/// A handle out of the process's pool for as long as the lease lives, with all options at their defaults. Name look-ups
/// and TLS sessions are shared by all handles. `get()` is null when there is no memory for one.
class CurlLease {
public:
    explicit CurlLease(const std::string& origin);
    ~CurlLease();
    CurlLease(const CurlLease&) = delete;
    CurlLease& operator=(const CurlLease&) = delete;

    CurlHandle* get() const { return handle; }

private:
    CurlHandle* handle;
};

}  // namespace Drive::Cloud
