#pragma once

#include <json/json.h>

#include "interfaces/cloud/drive_account.h"

namespace Drive::Cloud {

/// One entry of an answer. False, with a line in the log, when it has no usable id or a field that matters is damaged.
bool ReadCloudFile(const Json::Value& entry, const char* call, CloudFile& file);

/// For operations that answer with one entry.
struct ControlRequest;
CallOutcome CallForFile(const ControlRequest& request, CloudFile& file);

}  // namespace Drive::Cloud
