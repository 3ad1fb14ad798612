#pragma once

#include <string>

#include "interfaces/common/wmap.h"

namespace Drive::Cloud {

/// The "statuscode" of a good answer that lacks the id of a new file: anything but "200", which the engine would take
/// for a finished upload and then blank the id of the row.
inline constexpr const wchar_t* kAnswerWithoutId = L"502";

/// Sees to it that "id" is in the result of a completed file: the answer's, or else the one given. False, with
/// "statuscode" changed, when neither is an id of the cloud.
bool EnsureId(const char* call, const std::wstring& givenId, WMap& result);

}  // namespace Drive::Cloud
