#include "upload/file_key.h"

#include <openssl/crypto.h>

#include <algorithm>

#include "interfaces/common/drive_functions.h"

namespace Drive::TransferService {

namespace {

constexpr std::size_t kHalfBytes = 16;

}  // namespace

std::vector<unsigned char> DecodeKeyHalf(const std::string& half) {
    // A text that is longer than it should be needs room for all of it.
    std::vector<unsigned char> bytes(std::max(kHalfBytes, half.size() / 2));
    HexstrToByte(half, bytes.data(), half.size());
    bytes.resize(kHalfBytes);
    return bytes;
}

KeyBytes::~KeyBytes() { OPENSSL_cleanse(bytes.data(), bytes.size()); }

}  // namespace Drive::TransferService
