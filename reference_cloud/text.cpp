#include "reference_cloud/text.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>

#include <algorithm>
#include <charconv>

namespace Drive::ReferenceCloud {

namespace {

int HexValue(char character) {
    if (character >= '0' && character <= '9') return character - '0';
    if (character >= 'a' && character <= 'f') return character - 'a' + 10;
    if (character >= 'A' && character <= 'F') return character - 'A' + 10;
    return -1;
}

/// Length of the well-formed UTF-8 sequence at the head of `text` and its value; 0 when there is none.
std::size_t Decode(std::string_view text, char32_t& value) {
    const auto byte = [&](std::size_t index) { return static_cast<unsigned char>(text[index]); };
    const unsigned char lead = byte(0);
    if (lead < 0x80) {
        value = lead;
        return 1;
    }
    const std::size_t length = lead >= 0xC2 && lead <= 0xDF   ? 2
                               : lead >= 0xE0 && lead <= 0xEF ? 3
                               : lead >= 0xF0 && lead <= 0xF4 ? 4
                                                              : 0;
    if (length == 0 || text.size() < length) return 0;
    value = lead & (0xFF >> (length + 1));
    for (std::size_t index = 1; index < length; ++index) {
        if ((byte(index) & 0xC0) != 0x80) return 0;
        value = (value << 6) | (byte(index) & 0x3F);
    }
    const bool overlong = (length == 3 && value < 0x800) || (length == 4 && value < 0x10000);
    const bool surrogate = value >= 0xD800 && value <= 0xDFFF;
    return overlong || surrogate || value > 0x10FFFF ? 0 : length;
}

}  // namespace

std::string ToHex(std::string_view bytes) {
    static constexpr char digits[] = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const char character : bytes) {
        const auto value = static_cast<unsigned char>(character);
        text += digits[value >> 4];
        text += digits[value & 15];
    }
    return text;
}

std::optional<std::string> FromHex(std::string_view text) {
    if (text.size() % 2 != 0) return std::nullopt;
    std::string bytes;
    for (std::size_t index = 0; index < text.size(); index += 2) {
        const int high = HexValue(text[index]), low = HexValue(text[index + 1]);
        if (high < 0 || low < 0) return std::nullopt;
        bytes += static_cast<char>(high * 16 + low);
    }
    return bytes;
}

std::string ToBase64(std::string_view bytes) {
    std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0');
    const int length =
        EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()),
                        reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<int>(bytes.size()));
    text.resize(static_cast<std::size_t>(length));
    return text;
}

std::optional<std::string> FromBase64(std::string_view text) {
    std::string compact;
    for (const char character : text) {
        if (character != '\r' && character != '\n') compact += character;
    }
    if (compact.size() % 4 != 0) return std::nullopt;
    std::string bytes(compact.size() / 4 * 3, '\0');
    const int length =
        EVP_DecodeBlock(reinterpret_cast<unsigned char*>(bytes.data()),
                        reinterpret_cast<const unsigned char*>(compact.data()), static_cast<int>(compact.size()));
    if (length < 0) return std::nullopt;
    std::size_t padding = 0;
    while (padding < 2 && padding < compact.size() && compact[compact.size() - 1 - padding] == '=') ++padding;
    bytes.resize(static_cast<std::size_t>(length) - padding);
    return bytes;
}

bool IsUtf8(std::string_view text) {
    while (!text.empty()) {
        char32_t value = 0;
        const std::size_t length = Decode(text, value);
        if (length == 0) return false;
        text.remove_prefix(length);
    }
    return true;
}

std::string Readable(std::string_view text) {
    static constexpr std::string_view replacement = "\xEF\xBF\xBD";
    std::string readable;
    while (!text.empty()) {
        char32_t value = 0;
        const std::size_t length = Decode(text, value);
        readable += length == 0 ? replacement : text.substr(0, length);
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return readable;
}

std::wstring Widen(std::string_view text) {
    std::wstring wide;
    while (!text.empty()) {
        char32_t value = 0;
        std::size_t length = Decode(text, value);
        if (length == 0) {
            value = 0xDC00 + static_cast<unsigned char>(text[0]);
            length = 1;
        }
        wide += static_cast<wchar_t>(value);
        text.remove_prefix(length);
    }
    return wide;
}

std::string Utf8(const std::wstring& text) {
    std::string narrow;
    for (const wchar_t character : text) {
        const auto value = static_cast<char32_t>(character);
        if (value < 0x80) {
            narrow += static_cast<char>(value);
        } else if (value < 0x800) {
            narrow += static_cast<char>(0xC0 | (value >> 6));
            narrow += static_cast<char>(0x80 | (value & 0x3F));
        } else if (value < 0x10000) {
            narrow += static_cast<char>(0xE0 | (value >> 12));
            narrow += static_cast<char>(0x80 | ((value >> 6) & 0x3F));
            narrow += static_cast<char>(0x80 | (value & 0x3F));
        } else {
            narrow += static_cast<char>(0xF0 | (value >> 18));
            narrow += static_cast<char>(0x80 | ((value >> 12) & 0x3F));
            narrow += static_cast<char>(0x80 | ((value >> 6) & 0x3F));
            narrow += static_cast<char>(0x80 | (value & 0x3F));
        }
    }
    return narrow;
}

std::optional<long long> ParseNumber(std::string_view text) {
    long long value = 0;
    if (text.empty() || text[0] < '0' || text[0] > '9') return std::nullopt;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return value;
}

bool EqualSecret(std::string_view left, std::string_view right) {
    return left.size() == right.size() && CRYPTO_memcmp(left.data(), right.data(), left.size()) == 0;
}

bool IsLowerHex(std::string_view text, std::size_t digits) {
    return text.size() == digits && text.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

}  // namespace Drive::ReferenceCloud
