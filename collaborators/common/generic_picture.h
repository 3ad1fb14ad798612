#pragma once

#include <vector>

namespace Drive::Common {

/// A small JPEG that stands for a picture that cannot be decoded: a grey sheet with a darker frame.
std::vector<char> GenericPicture();

}  // namespace Drive::Common
