#pragma once

#include <string>

#include "interfaces/common/wmap.h"

namespace Drive::Cloud {

/// The "statuscode" of a 200 that cannot be used, because it lacks the id of a new file or holds the cloud's code:
/// anything but "200", which the engine would take for a finished upload and then blank the id of the row.
inline constexpr const wchar_t* kUnusableAnswer = L"502";

/// Sees to it that "id" is in the result of a completed file: the answer's, or else the one given. False, with
/// "statuscode" changed, when neither is an id of the cloud.
bool EnsureId(const char* call, const std::wstring& givenId, WMap& result);

}  // namespace Drive::Cloud
