#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "interfaces/common/wmap.h"
#include "interfaces/platform/export.h"

namespace Drive::Cloud {

/// The body of BaseHttpRequest::AddHeaders; stands in ZelkorSyncFile.Cloud. Puts in the headers that every request to
/// the cloud's control calls has.
ZELKOR_API void AddCommonHeaders(WMap& wideHeaders, std::map<std::string, std::string>& narrowHeaders);

/// Base of HTTP request objects: a URL and two header maps. Its code, with the table of virtual operations, is part of
/// the engine's library. An object is used by one thread at a time; copies are independent.
class ZELKOR_API BaseHttpRequest {
public:
    /// Takes the URL as it is.
    explicit BaseHttpRequest(std::string url);

    /// Takes the URL through TypeConvert. One that cannot be converted leaves the URL empty and one line in the error
    /// log; construction succeeds, and the request fails when it is sent.
    explicit BaseHttpRequest(std::wstring url);

    BaseHttpRequest(const BaseHttpRequest& other);
    BaseHttpRequest& operator=(const BaseHttpRequest& other);

    /// Not virtual: objects are never destroyed through this class.
    ~BaseHttpRequest();

protected:
    /// Puts in the headers of the request. Inline, so that the table of virtual operations belongs to the library
    /// that holds the constructors, while the body stays in the Cloud library.
    virtual void AddHeaders() { AddCommonHeaders(wideHeaders, narrowHeaders); }

    WMap wideHeaders;
    std::map<std::string, std::string> narrowHeaders;
    std::string url;
    std::wstring wideText;
    /// Without meaning here; copied by the copy operations.
    std::int32_t requestValue;
};

}  // namespace Drive::Cloud
