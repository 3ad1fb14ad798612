#pragma once

#include <json/value.h>

#include "reference_cloud/records.h"

namespace Drive::ReferenceCloud {

struct Cloud;
class Rows;

/// The finishing call of an upload whose objects the client has sent, or that the cloud already had. Works inside the
/// caller's transaction and throws Refusal. A completion that went through gives the same file again.
FileRow CompleteUpload(Rows& rows, const Cloud& cloud, const User& user, bool createNew, const Json::Value& body);

}  // namespace Drive::ReferenceCloud
