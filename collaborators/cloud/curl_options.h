#pragma once

#include <curl/curl.h>

#include <memory>
#include <string>

#include "collaborators/cloud/http_exchange.h"
#include "collaborators/cloud/process_state.h"

namespace Drive::Cloud {

/// Everything about one request that libcurl is told beforehand, the callbacks excepted: what goes over the wire, whom
/// to trust, how large the buffers are. Owns what the handle points to, so it lives as long as the transfer.
class CurlOptions {
public:
    /// False when the request cannot be put together.
    bool Apply(CURL* easy, const HttpRequest& request, const Limits& limits);

private:
    struct FreeList {
        void operator()(curl_slist* list) const { curl_slist_free_all(list); }
    };

    bool AppendHeader(const std::string& line);
    bool SetHeaders(CURL* easy, const HttpRequest& request);

    std::unique_ptr<curl_slist, FreeList> headerLines;
};

}  // namespace Drive::Cloud
