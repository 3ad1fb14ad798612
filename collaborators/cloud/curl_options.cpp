#include "collaborators/cloud/curl_options.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include "collaborators/cloud/address.h"
#include "collaborators/cloud/header_list.h"
#include "collaborators/cloud/text.h"

namespace Drive::Cloud {

namespace {

constexpr long kLargeBuffer = 512 * 1024;
constexpr long kSmallBuffer = 16 * 1024;
constexpr long kUploadBuffer = 1024 * 1024;
constexpr int kMostUnsent = 128 * 1024;

/// Keeps the kernel from taking a whole object at once: what it took counts as sent, and the rest of a slow line would
/// look like silence.
int KeepUnsentSmall(void*, curl_socket_t socket, curlsocktype) {
    setsockopt(socket, IPPROTO_TCP, TCP_NOTSENT_LOWAT, &kMostUnsent, sizeof kMostUnsent);
    return CURL_SOCKOPT_OK;
}

void SetBody(CURL* easy, const HttpRequest& request) {
    if (request.hasBody) {
        curl_easy_setopt(easy, CURLOPT_UPLOAD, 1L);
        curl_easy_setopt(easy, CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(request.bodySize));
        const bool large = request.bodySize > static_cast<std::size_t>(kSmallBuffer);
        if (large) curl_easy_setopt(easy, CURLOPT_UPLOAD_BUFFERSIZE, kUploadBuffer);
    } else {
        curl_easy_setopt(easy, CURLOPT_HTTPGET, 1L);
    }
    curl_easy_setopt(easy, CURLOPT_CUSTOMREQUEST, request.method.c_str());
}

void SetSecurity(CURL* easy, const HttpRequest& request, const Limits& limits) {
    curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 0L);
    curl_easy_setopt(easy, CURLOPT_DISALLOW_USERNAME_IN_URL, 1L);
    curl_easy_setopt(easy, CURLOPT_NETRC, static_cast<long>(CURL_NETRC_IGNORED));
    curl_easy_setopt(easy, CURLOPT_SSL_VERIFYPEER, 1L);
    curl_easy_setopt(easy, CURLOPT_SSL_VERIFYHOST, 2L);
    curl_easy_setopt(easy, CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
    if (!limits.caFile.empty()) curl_easy_setopt(easy, CURLOPT_CAINFO, limits.caFile.c_str());
    if (!limits.proxyForLoopback && IsLoopbackHost(HostOf(request.url))) curl_easy_setopt(easy, CURLOPT_PROXY, "");
}

void SetConnection(CURL* easy, const HttpRequest& request, const Limits& limits) {
    const bool large = request.download && limits.downloadBytesPerSecond == 0;
    curl_easy_setopt(easy, CURLOPT_BUFFERSIZE, large ? kLargeBuffer : kSmallBuffer);
    curl_easy_setopt(easy, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy, CURLOPT_QUICK_EXIT, 1L);  // a stop does not wait for a name look-up
    curl_easy_setopt(easy, CURLOPT_TCP_KEEPALIVE, 1L);
    curl_easy_setopt(easy, CURLOPT_PATH_AS_IS, 1L);
    curl_easy_setopt(easy, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    curl_easy_setopt(easy, CURLOPT_SOCKOPTFUNCTION, KeepUnsentSmall);
    curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(limits.connectMilliseconds));
}

}  // namespace

bool CurlOptions::AppendHeader(const std::string& line) {
    curl_slist* longer = curl_slist_append(headerLines.get(), line.c_str());
    if (longer == nullptr) return false;
    static_cast<void>(headerLines.release());
    headerLines.reset(longer);
    return true;
}

bool CurlOptions::SetHeaders(CURL* easy, const HttpRequest& request) {
    // What libcurl would add of its own is switched off: stores sign what they want to see.
    for (const char* own : {"Accept", "Expect", "Content-Type"}) {
        if (FindHeader(request.headers, own) == nullptr && !AppendHeader(std::string(own) + ":")) return false;
    }
    for (const auto& [name, value] : request.headers) {
        if (EqualsIgnoringCase(name, "Content-Length")) continue;  // made from the body, and never sent twice
        if (!AppendHeader(value.empty() ? name + ";" : name + ": " + value)) return false;
    }
    return curl_easy_setopt(easy, CURLOPT_HTTPHEADER, headerLines.get()) == CURLE_OK;
}

bool CurlOptions::Apply(CURL* easy, const HttpRequest& request, const Limits& limits) {
    SetSecurity(easy, request, limits);
    SetBody(easy, request);
    SetConnection(easy, request, limits);
    return SetHeaders(easy, request) && curl_easy_setopt(easy, CURLOPT_URL, request.url.c_str()) == CURLE_OK;
}

}  // namespace Drive::Cloud
