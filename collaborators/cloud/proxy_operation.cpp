#include "collaborators/cloud/proxy_operation.h"

#include <charconv>
#include <cstdint>
#include <string>

#include "collaborators/cloud/header_list.h"
#include "interfaces/cloud/wire/routes.h"

namespace Drive::Cloud {

using HttpInterface::InterfaceName;

std::optional<ProxyOperation> OperationOf(InterfaceName operation) {
    switch (operation) {
        case InterfaceName::MultipartCreate:
            return ProxyOperation{"POST", Wire::kProxyMultipart, false};
        case InterfaceName::MultipartUpdate:
            return ProxyOperation{"PATCH", Wire::kProxyMultipart, false};
        case InterfaceName::ResumeCreate:
            return ProxyOperation{"POST", Wire::kProxyResume, true};
        case InterfaceName::ResumeUpdate:
            return ProxyOperation{"PATCH", Wire::kProxyResume, true};
        case InterfaceName::ResumeSlice:
            return ProxyOperation{"PUT", nullptr, true};
    }
    return std::nullopt;
}

bool IsLastSlice(const HeaderList& headers, std::size_t bytes) {
    static const std::string kUnit = "bytes ";
    const std::string* range = FindHeader(headers, "Content-Range");
    if (range == nullptr || range->rfind(kUnit, 0) != 0) return false;
    const std::size_t slash = range->find('/');
    if (slash == std::string::npos) return false;
    std::uint64_t position = 0, total = 0;
    const char* const end = range->data() + range->size();
    const bool read = std::from_chars(range->data() + kUnit.size(), end, position).ec == std::errc() &&
                      std::from_chars(range->data() + slash + 1, end, total).ec == std::errc();
    return read && position <= total && bytes >= total - position;
}

}  // namespace Drive::Cloud
