#include "collaborators/database/text_values.h"

#include <sqlite3.h>

#include "interfaces/platform/text.h"

namespace Drive::SQLiteDB {

namespace {

constexpr wchar_t kFirstByte = 0xDC80;
constexpr wchar_t kLastByte = 0xDCFF;

bool StandsForByte(wchar_t character) { return character >= kFirstByte && character <= kLastByte; }

std::size_t EndOfRun(const std::wstring& text, std::size_t from, bool bytes) {
    while (from < text.size() && StandsForByte(text[from]) == bytes) ++from;
    return from;
}

/// True when a surrogate code stands there.
bool IsSurrogateCode(const std::string& bytes, std::size_t at) {
    if (at + 2 >= bytes.size() || bytes[at] != '\xED') return false;
    const unsigned char second = bytes[at + 1];
    const unsigned char third = bytes[at + 2];
    return (second == 0xB2 || second == 0xB3) && third >= 0x80 && third <= 0xBF;
}

std::string SurrogateCodes(const std::wstring& run) {
    std::string codes;
    for (const wchar_t character : run) {
        codes += '\xED';
        codes += static_cast<char>(0x80 | ((character >> 6) & 0x3F));
        codes += static_cast<char>(0x80 | (character & 0x3F));
    }
    return codes;
}

}  // namespace

std::string EncodeText(const std::wstring& text) {
    if (EndOfRun(text, 0, false) == text.size()) return Platform::NarrowText(text);
    std::string encoded;
    for (std::size_t at = 0; at < text.size();) {
        const bool bytes = StandsForByte(text[at]);
        const std::size_t end = EndOfRun(text, at, bytes);
        const std::wstring run = text.substr(at, end - at);
        const std::string narrow = Platform::NarrowText(run);
        encoded += bytes && DecodeText(narrow) != run ? SurrogateCodes(run) : narrow;
        at = end;
    }
    return encoded;
}

std::wstring DecodeText(const std::string& bytes) {
    if (bytes.find('\xED') == std::string::npos) return Platform::WidenText(bytes);
    std::wstring decoded;
    std::size_t plain = 0;
    for (std::size_t at = bytes.find('\xED'); at != std::string::npos; at = bytes.find('\xED', at)) {
        if (!IsSurrogateCode(bytes, at)) {
            ++at;
            continue;
        }
        decoded += Platform::WidenText(bytes.substr(plain, at - plain));
        decoded += static_cast<wchar_t>(0xD000 | ((bytes[at + 1] & 0x3F) << 6) | (bytes[at + 2] & 0x3F));
        at += 3;
        plain = at;
    }
    return decoded + Platform::WidenText(bytes.substr(plain));
}

void BindText(SQLite::Statement& statement, int index, const std::wstring& text) {
    statement.bind(index, EncodeText(text));
}

std::wstring TextAt(const SQLite::Statement& statement, int column) {
    return DecodeText(const_cast<SQLite::Statement&>(statement).getColumn(column).getString());
}

bool SameName(const std::string& left, const std::string& right) {
    return left.size() == right.size() && sqlite3_stricmp(left.c_str(), right.c_str()) == 0;
}

}  // namespace Drive::SQLiteDB
