#pragma once

#include <string>

namespace Drive::Cloud {

/// Looks at a text before the parser does. False, with the reason in `why`, when it would become more values than any
/// answer has (each costs the parser more than a hundred bytes, so that a short text could take a gigabyte), or when a
/// text in it holds half a surrogate pair, which no text in UTF-8 can be made of.
bool HasFitShape(const std::string& json, std::string& why);

}  // namespace Drive::Cloud
