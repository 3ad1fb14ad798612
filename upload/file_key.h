#pragma once

#include <string>
#include <utility>
#include <vector>

namespace Drive::TransferService {

/// The two halves of a keyed content digest: the file's key and its initialisation vector, as hexadecimal text. The cut
/// is at the text's middle, rounded down, so that the second half takes an odd character.
struct FileKeyText {
    explicit FileKeyText(const std::string& digest)
        : keyHex(digest.substr(0, digest.size() / 2)), ivHex(digest.substr(digest.size() / 2)) {}

    std::string keyHex;
    std::string ivHex;
};

/// Sixteen bytes of such a half; what is missing is zero.
std::vector<unsigned char> DecodeKeyHalf(const std::string& half);

/// Key bytes that are wiped from memory at the end of their life.
class KeyBytes {
public:
    explicit KeyBytes(std::vector<unsigned char> bytes) : bytes(std::move(bytes)) {}
    ~KeyBytes();
    KeyBytes(const KeyBytes&) = delete;
    KeyBytes& operator=(const KeyBytes&) = delete;

    operator const std::vector<unsigned char>&() const { return bytes; }

private:
    std::vector<unsigned char> bytes;
};

}  // namespace Drive::TransferService
