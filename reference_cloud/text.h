#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

/// Text forms that the cloud reads and writes. Pure, any thread.
namespace Drive::ReferenceCloud {

/// Lower-case hexadecimal.
std::string ToHex(std::string_view bytes);

/// The bytes of a hexadecimal text of either case; nothing for an odd length or a foreign character.
std::optional<std::string> FromHex(std::string_view text);

/// Base64 with padding, one line.
std::string ToBase64(std::string_view bytes);

/// The bytes of a Base64 text; line breaks are passed over, anything else foreign gives nothing.
std::optional<std::string> FromBase64(std::string_view text);

/// True for well-formed UTF-8 without surrogates.
bool IsUtf8(std::string_view text);

/// The text with U+FFFD in place of each byte that is not part of well-formed UTF-8.
std::string Readable(std::string_view text);

/// Narrow to wide; a byte that is not part of well-formed UTF-8 becomes U+DC00 plus its value.
std::wstring Widen(std::string_view text);

/// Wide to UTF-8. The text holds no surrogates (see EscapeName).
std::string Utf8(const std::wstring& text);

/// A text of decimal digits only that fits; nothing otherwise, also for the empty text.
std::optional<long long> ParseNumber(std::string_view text);

/// Equal in a time that depends on the lengths only.
bool EqualSecret(std::string_view left, std::string_view right);

/// True when `text` is `digits` lower-case hexadecimal characters.
bool IsLowerHex(std::string_view text, std::size_t digits);

}  // namespace Drive::ReferenceCloud
