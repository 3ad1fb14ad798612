#include "interfaces/common/ini_file_helper.h"

#include <glib.h>
#include <ini.h>

#include <algorithm>
#include <cstring>
#include <exception>
#include <fstream>
#include <optional>
#include <string_view>

#include "interfaces/platform/native_path.h"
#include "interfaces/platform/text.h"

namespace Drive::Common {

namespace {

constexpr std::size_t kMostBytes = std::size_t{1} << 20;
constexpr std::string_view kBlanks = " \t\r\f\v";

/// The search for one key. It feeds the parser and takes its answers: the parser cuts lines after 199 characters, so a
/// longer one is handed over as a short line and continuations of it, and put together again here.
class KeySearch {
public:
    KeySearch(std::string content, std::string key) : content(std::move(content)), key(std::move(key)) {}

    std::string Run() {
        ini_parse_stream(&KeySearch::NextLine, this, &KeySearch::Take, this);
        return value.value_or("");
    }

private:
    static constexpr std::size_t kPieceBytes = 150;

    static char* NextLine(char* buffer, int room, void* self) {
        return static_cast<KeySearch*>(self)->FillLine(buffer, room);
    }

    static int Take(void* self, const char*, const char* name, const char* text) {
        static_cast<KeySearch*>(self)->TakePair(name, text);
        return 1;
    }

    char* FillLine(char* buffer, int room) {
        continuing = !pending.empty();
        if (!continuing && !LoadLine()) {
            return nullptr;
        }
        const std::size_t piece = PieceLength();
        std::string line = (continuing ? " " : "") + pending.substr(0, piece);
        pending.erase(0, piece);
        line.resize(std::min(line.size(), static_cast<std::size_t>(room) - 1));
        std::memcpy(buffer, line.c_str(), line.size() + 1);
        return buffer;
    }

    /// Takes the next line without the blanks in front, which the parser would read as a continuation.
    bool LoadLine() {
        taking = false;
        if (position >= content.size()) {
            return false;
        }
        const std::size_t end = std::min(content.find('\n', position), content.size());
        std::string_view line(content.data() + position, end - position);
        position = end + 1;
        line.remove_prefix(std::min(line.find_first_not_of(kBlanks), line.size()));
        if (const std::size_t last = line.find_last_not_of(kBlanks); last != std::string_view::npos) {
            line = line.substr(0, last + 1);
        }
        // The parser would take the text before a NUL for the whole line.
        pending = line.find('\0') == std::string_view::npos ? WithoutComment(line) : ";";
        if (pending.empty()) {
            pending = ";";
        }
        return true;
    }

    /// A long line loses its comment here, since the parser sees only pieces of it.
    static std::string WithoutComment(std::string_view line) {
        if (line.size() <= kPieceBytes) {
            return std::string(line);
        }
        if (line.front() == ';' || line.front() == '#') {
            return ";";
        }
        for (std::size_t index = 1; index < line.size(); ++index) {
            if (line[index] == ';' && kBlanks.find(line[index - 1]) != std::string_view::npos) {
                return std::string(line.substr(0, index));
            }
        }
        return std::string(line);
    }

    /// Where to cut, so that no piece begins or ends with a character that the parser would take away.
    std::size_t PieceLength() const {
        if (pending.size() <= kPieceBytes) {
            return pending.size();
        }
        for (std::size_t cut = kPieceBytes; cut > 1; --cut) {
            const char before = pending[cut - 1];
            const char after = pending[cut];
            if (kBlanks.find(before) == std::string_view::npos && kBlanks.find(after) == std::string_view::npos &&
                after != ';' && after != '#' && before != '=' && before != ':') {
                return cut;
            }
        }
        return kPieceBytes;
    }

    void TakePair(const char* name, const char* text) {
        if (continuing) {
            if (taking) {
                value->append(text);
            }
            return;
        }
        taking = !value && g_ascii_strcasecmp(name, key.c_str()) == 0;
        if (taking) {
            value = text;
        }
    }

    const std::string content;
    const std::string key;
    std::size_t position = 0;
    std::string pending;      // of the current line, not yet handed over
    bool continuing = false;  // the piece handed over last continues a line
    bool taking = false;      // the current line is the one that was looked for
    std::optional<std::string> value;
};

std::string ReadContent(const std::wstring& path) {
    std::ifstream file(Platform::NativePath(path), std::ios::binary | std::ios::ate);
    const std::streamoff end = file.tellg();
    std::string content(static_cast<std::size_t>(std::clamp<std::streamoff>(end, 0, kMostBytes)), '\0');
    file.seekg(0);
    file.read(content.data(), static_cast<std::streamsize>(content.size()));
    content.resize(static_cast<std::size_t>(file.gcount()));
    if (content.starts_with("\xEF\xBB\xBF")) {
        content.erase(0, 3);
    }
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
