#pragma once

#include <map>
#include <string>

namespace Drive {

/// Row, header map and result map alike: wide text to wide text, in the default order.
using WMap = std::map<std::wstring, std::wstring>;

}  // namespace Drive
