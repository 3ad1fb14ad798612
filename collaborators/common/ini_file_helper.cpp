#include "interfaces/common/ini_file_helper.h"

#include <fcntl.h>
#include <glib.h>
#include <ini.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <exception>
#include <optional>
#include <string_view>

#include "collaborators/common/uninterrupted.h"
#include "collaborators/common/unique_fd.h"
#include "interfaces/platform/native_path.h"
#include "interfaces/platform/text.h"

namespace Drive::Common {

namespace {

constexpr std::size_t kMostBytes = std::size_t{1} << 20;
constexpr std::string_view kBlanks = " \t\r\f\v";

std::string_view WithoutBlanks(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
    return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

/// A comment behind the text begins with a blank and a semicolon.
std::string_view WithoutComment(std::string_view text) {
    for (std::size_t index = 1; index < text.size(); ++index) {
        if (text[index] == ';' && kBlanks.find(text[index - 1]) != std::string_view::npos) return text.substr(0, index);
    }
    return text;
}

/// The search for one key. It feeds the parser and takes its answers. The parser cuts lines after 199 characters, so
/// longer ones are read here, by its rules.
class KeySearch {
public:
    KeySearch(std::string content, std::string key) : content(std::move(content)), key(std::move(key)) {}

    std::string Run() {
        ini_parse_stream(&KeySearch::NextLine, this, &KeySearch::Take, this);
        return value.value_or("");
    }

private:
    static constexpr std::size_t kMostInLine = 150;

    static char* NextLine(char* buffer, int room, void* self) {
        return static_cast<KeySearch*>(self)->FillLine(buffer, static_cast<std::size_t>(room));
    }

    static int Take(void* self, const char*, const char* name, const char* text) {
        static_cast<KeySearch*>(self)->TakePair(name, text);
        return 1;
    }

    char* FillLine(char* buffer, std::size_t room) {
        if (position >= content.size()) return nullptr;
        const std::size_t end = std::min(content.find('\n', position), content.size());
        // Without the blanks in front, which the parser would read as a continuation.
        std::string_view line = WithoutBlanks(std::string_view(content).substr(position, end - position));
        position = end + 1;
        if (line.size() > kMostInLine) {
            ReadLongLine(line);
            line = {};
        }
        // The parser would take the text before a NUL for the whole line.
        if (line.empty() || line.find('\0') != std::string_view::npos) line = ";";
        const std::size_t length = std::min(line.size(), room - 1);
        line.copy(buffer, length);
        buffer[length] = '\0';
        return buffer;
    }

    void ReadLongLine(std::string_view line) {
        if (line.find('\0') != std::string_view::npos || line.find_first_of(";#[") == 0) return;
        const std::size_t sign = line.find_first_of("=:");
        if (sign == std::string_view::npos || WithoutComment(line).size() <= sign) return;
        TakePair(std::string(WithoutBlanks(line.substr(0, sign))),
                 std::string(WithoutBlanks(WithoutComment(line.substr(sign + 1)))));
    }

    void TakePair(const std::string& name, const std::string& text) {
        if (!value && g_ascii_strcasecmp(name.c_str(), key.c_str()) == 0) value = text;
    }

    const std::string content;
    const std::string key;
    std::size_t position = 0;
    std::optional<std::string> value;
};

/// Settings that were written on the home platform may be UTF-16; empty when the bytes are none.
std::string FromUtf16(const std::string& content, const char* form) {
    gsize length = 0;
    char* const text = g_convert(content.data() + 2, static_cast<gssize>(content.size() - 2), "UTF-8", form, nullptr,
                                 &length, nullptr);
    if (text == nullptr) return {};
    std::string narrow(text, length);
    g_free(text);
    return narrow;
}

/// Nothing for a file that cannot be read: a part of it could hold a part of a value.
std::string ReadBytes(const std::string& path) {
    // A pipe would be waited for.
    const UniqueFd file(
        Uninterrupted([&] { return open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK); }));
    struct stat status {};
    if (!file || fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode)) return {};
    std::string content;
    std::array<char, 16384> block;
    while (content.size() < kMostBytes) {
        const std::size_t most = std::min(block.size(), kMostBytes - content.size());
        const ssize_t got = Uninterrupted([&] { return read(file.Get(), block.data(), most); });
        if (got < 0) return {};
        if (got == 0) return content;
        content.append(block.data(), static_cast<std::size_t>(got));
    }
    // Half a value would be worse than none.
    content.resize(content.rfind('\n') + 1);
    return content;
}

std::string ReadContent(const std::wstring& path) {
    const std::string content = ReadBytes(Platform::NativePath(path));
    if (content.starts_with("\xEF\xBB\xBF")) return content.substr(3);
    if (content.starts_with("\xFF\xFE")) return FromUtf16(content, "UTF-16LE");
    if (content.starts_with("\xFE\xFF")) return FromUtf16(content, "UTF-16BE");
    return content;
}

}  // namespace

IniFileHelper::IniFileHelper(const wchar_t* path) : path(path != nullptr ? path : L"") {}

std::string IniFileHelper::ReadIniValueByKeyTypeString(const wchar_t* key) {
    if (key == nullptr || path.empty()) {
        return {};
    }
    try {
        return KeySearch(ReadContent(path), Platform::NarrowText(key)).Run();
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception&) {
        return {};
    }
}

}  // namespace Drive::Common
