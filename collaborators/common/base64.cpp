#include <openssl/evp.h>

#include <algorithm>

#include "interfaces/common/encrypt_helper.h"

namespace Drive::Common {

namespace {

// A multiple of three, so that no step but the last one is padded, and of 48, so that steps end at line ends.
constexpr std::size_t kStep = std::size_t{48} << 14;
constexpr std::size_t kLineBytes = 48;

std::string EncodeStep(const unsigned char* data, std::size_t length) {
    std::string text((length + 2) / 3 * 4 + 1, '\0');
    const int written = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), data, static_cast<int>(length));
    text.resize(static_cast<std::size_t>(written));
    return text;
}

bool IsAlphabet(char character) {
    return (character >= 'A' && character <= 'Z') || (character >= 'a' && character <= 'z') ||
           (character >= '0' && character <= '9') || character == '+' || character == '/';
}

/// What is to be decoded: characters of the alphabet only, without line breaks and padding.
struct CleanText {
    std::string characters;
    std::size_t padding = 0;
    bool foreign = false;  ///< something followed that is neither
};

CleanText Clean(const std::string& text) {
    CleanText clean;
    clean.characters.reserve(text.size() + 3);
    for (const char character : text) {
        if (character == '\r' || character == '\n') {
            continue;
        }
        if (character == '=') {
            ++clean.padding;
        } else if (IsAlphabet(character) && clean.padding == 0) {
            clean.characters.push_back(character);
        } else {
            clean.foreign = true;
            break;
        }
    }
    return clean;
}

bool IsWhole(const CleanText& clean) {
    return !clean.foreign && clean.padding <= 2 && (clean.characters.size() + clean.padding) % 4 == 0;
}

}  // namespace

std::string EncryptHelper::Base64Encode(const unsigned char* data, std::size_t length, bool singleLine) {
    std::string text;
    text.reserve((length + 2) / 3 * 4 + (singleLine ? 0 : length / kLineBytes + 1));
    const std::size_t stepBytes = singleLine ? kStep : kLineBytes;
    for (std::size_t done = 0; done < length;) {
        const std::size_t step = std::min(stepBytes, length - done);
        text += EncodeStep(data + done, step);
        done += step;
        if (!singleLine) {
            text.push_back('\n');
        }
    }
    return text;
}

std::string EncryptHelper::Base64Decode(const std::string& text, bool strict) {
    CleanText clean = Clean(text);
    if (strict && !IsWhole(clean)) {
        return {};
    }
    // A single left-over character holds no whole byte.
    if (clean.characters.size() % 4 == 1) {
        clean.characters.pop_back();
    }
    const std::size_t result = clean.characters.size() * 3 / 4;
    clean.characters.resize((clean.characters.size() + 3) / 4 * 4, 'A');
    std::string bytes(clean.characters.size() / 4 * 3, '\0');
    constexpr std::size_t kDecodeStep = kStep / 3 * 4;
    for (std::size_t done = 0; done < clean.characters.size(); done += kDecodeStep) {
        const std::size_t step = std::min(kDecodeStep, clean.characters.size() - done);
        if (EVP_DecodeBlock(reinterpret_cast<unsigned char*>(bytes.data() + done / 4 * 3),
                            reinterpret_cast<const unsigned char*>(clean.characters.data() + done),
                            static_cast<int>(step)) < 0) {
            return {};
        }
    }
    // Bits that are left over belong to no byte: two texts that differ in them only would be one.
    if (strict && result < bytes.size() && bytes[result] != 0) {
        return {};
    }
    bytes.resize(result);
    return bytes;
}

}  // namespace Drive::Common
