#include "host/settings/ini_text.h"

#include <ini.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "host/settings/private_file.h"

namespace Drive::Host {
namespace {

// The parser gives up on lines of 200 bytes.
constexpr std::size_t kChunk = 120;

bool MustEncode(unsigned char byte) {
    return byte < 0x20 || byte == 0x7F || byte == '%' || byte == ';' || byte == '#' || byte == ' ' || byte == '[' ||
           byte == ']' || byte == '=' || byte == ':';
}

// A blank and a colon are harmless between other characters; encoded they would make paths and addresses unreadable.
bool HarmlessInside(unsigned char byte, bool atEdge) { return !atEdge && (byte == ' ' || byte == ':'); }

struct Entry {
    std::string section, key, value;
};

int Collect(void* target, const char* section, const char* key, const char* value) {
    auto& entries = *static_cast<std::vector<Entry>*>(target);
    const bool goesOn = !entries.empty() && entries.back().section == section && entries.back().key == key;
    if (goesOn) {
        entries.back().value += value;
    } else {
        entries.push_back({section, key, value});
    }
    return 1;
}

}  // namespace

std::string IniEntry(const std::string& key, const std::string& value) {
    std::string text = key + " = ";
    std::size_t onLine = 0;
    for (std::size_t index = 0; index < value.size(); ++index) {
        const bool atEdge = index == 0 || index + 1 == value.size() || onLine == 0 || onLine + 4 >= kChunk;
        const auto byte = static_cast<unsigned char>(value[index]);
        char encoded[4] = {value[index], 0, 0, 0};
        if (MustEncode(byte) && !HarmlessInside(byte, atEdge)) {
            std::snprintf(encoded, sizeof encoded, "%%%02X", byte);
        }
        const std::string piece = encoded;
        text += piece;
        onLine += piece.size();
        if (onLine >= kChunk && index + 1 < value.size()) {
            text += "\n  ";
            onLine = 0;
        }
    }
    return text + "\n";
}

std::string IniDecoded(const std::string& value) {
    std::string out;
    for (std::size_t index = 0; index < value.size(); ++index) {
        const std::string digits = value[index] == '%' ? value.substr(index + 1, 2) : std::string();
        if (digits.size() == 2 && digits.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos) {
            out += static_cast<char>(std::strtol(digits.c_str(), nullptr, 16));
            index += 2;
        } else {
            out += value[index];
        }
    }
    return out;
}

int ReadIni(const std::string& path, const IniVisitor& visitor) {
    // Read whole first: the parser takes a reading that fails for the end of the file.
    std::string content, error;
    if (!ReadSmallFile(path, content, error)) {
        return -1;
    }
    const std::size_t nul = content.find('\0');
    if (nul != std::string::npos) {
        return 1 +
               static_cast<int>(std::count(content.begin(), content.begin() + static_cast<std::ptrdiff_t>(nul), '\n'));
    }
    std::vector<Entry> entries;
    const int bad = ini_parse_string(content.c_str(), Collect, &entries);
    if (bad != 0) {
        return bad;
    }
    int number = 0;
    for (const Entry& entry : entries) {
        ++number;
        if (!visitor(entry.section, entry.key, IniDecoded(entry.value))) {
            return number;
        }
    }
    return 0;
}

}  // namespace Drive::Host
