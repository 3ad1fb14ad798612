#pragma once

#include <cstddef>
#include <optional>

#include "collaborators/cloud/http_exchange.h"
#include "interfaces/cloud/cloud_drive_interface.h"

namespace Drive::Cloud {

/// How an operation of the file proxy looks on the wire.
struct ProxyOperation {
    const char* method;
    const char* uploadType;  ///< value of the query parameter; null: none
    bool idempotent;
};

std::optional<ProxyOperation> OperationOf(HttpInterface::InterfaceName operation);

/// True when the slice reaches the end of the file, by the position and the total of its "Content-Range". The upper
/// bound in it is the slice's length less one, deliberately, and tells nothing.
bool IsLastSlice(const HeaderList& headers, std::size_t bytes);

}  // namespace Drive::Cloud
