#include "collaborators/cloud/session.h"
#include "collaborators/cloud/text.h"
#include "interfaces/cloud/base_http_request.h"
#include "interfaces/cloud/wire/fields.h"

namespace Drive::Cloud {

void AddCommonHeaders(WMap& wideHeaders, std::map<std::string, std::string>& narrowHeaders) {
    const auto put = [&](const char* name, const std::string& value) {
        narrowHeaders[name] = value;
        wideHeaders[Widen(name)] = Widen(value);
    };
    const std::string token = LiveToken();
    if (!token.empty()) put("Authorization", "Bearer " + token);
    const std::string version = ServerVersion();
    if (!version.empty()) put(Wire::kVersionHeader, version);
}

}  // namespace Drive::Cloud
