#pragma once

#include <json/json.h>

#include "collaborators/cloud/json_fields.h"
#include "interfaces/common/address_models.h"

namespace Drive::Cloud {

/// What both address calls send; the digests only where there are some.
Json::Value AddressRequestBody(const Common::KelpAddressRequestModel& request);

/// Where one object is to be put or to be fetched.
struct ObjectAddress {
    std::wstring url;
    std::wstring method;
    WMap headers;
    std::wstring bucketId;
};

/// False, with a line in the log, when the answer holds no address that a request could be sent to.
bool ReadObjectAddress(const Json::Value& body, const char* call, ObjectAddress& address);

}  // namespace Drive::Cloud
