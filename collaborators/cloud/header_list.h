#pragma once

#include <string>

#include "collaborators/cloud/http_exchange.h"
#include "interfaces/common/wmap.h"

/// Header maps of the engine and header lists of the wire.
namespace Drive::Cloud {

/// False when a name or a value could not stand in a request: nothing else keeps a line break in an answer of the cloud
/// from becoming a header of its own.
bool IsSendable(const HeaderList& headers);

/// Throws std::range_error for what cannot be narrowed.
HeaderList NarrowHeaders(const WMap& headers);

WMap WideHeaders(const HeaderList& headers);

std::string* FindHeader(HeaderList& headers, const char* name);
const std::string* FindHeader(const HeaderList& headers, const char* name);

}  // namespace Drive::Cloud
