#pragma once

#include "interfaces/common/drive_functions.h"
#include "interfaces/common/encrypt_helper.h"

namespace Drive::Common::Trial {

/// Bytes from hexadecimal text.
inline Bytes Hex(const std::string& text) {
    Bytes bytes(text.size() / 2);
    HexstrToByte(text, bytes.data(), text.size());
    return bytes;
}

inline Bytes Of(const std::string& text) { return {text.begin(), text.end()}; }

inline std::string Text(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

inline Bytes Joined(Bytes first, const Bytes& second, const Bytes& third = {}) {
    first.insert(first.end(), second.begin(), second.end());
    first.insert(first.end(), third.begin(), third.end());
    return first;
}

}  // namespace Drive::Common::Trial
