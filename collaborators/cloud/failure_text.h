#pragma once

#include <curl/curl.h>

#include <string>

#include "collaborators/cloud/http_exchange.h"

namespace Drive::Cloud {

/// A failure of a transfer as whoever asked and whoever reads the log need it.
struct FailureText {
    HttpFailure failure = HttpFailure::Connection;
    std::string message;  ///< what happened; never holds what stands in the proxy variables, that may be a password
    std::string advice;   ///< what to do next; empty: nothing more than to check and to try again
};

/// What an error of libcurl means; `told` is its own text.
FailureText Describe(CURLcode code, const std::string& told);

/// What to do about an answer that is none of the cloud's.
extern const char* const kStrangerAdvice;

}  // namespace Drive::Cloud
