#pragma once

#include <cstdint>
#include <list>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include "interfaces/common/wmap.h"
#include "interfaces/database/update_info.h"
#include "interfaces/platform/types.h"
#include "tests/support/journal.h"

/// How the watchers write a call down. Not for tests.
namespace Drive::Testing {

/// While it lives, a real wait of this thread keeps the baton: what it waits for is none of the engine's threads.
class KeepBaton {
public:
    KeepBaton();
    ~KeepBaton();
    KeepBaton(const KeepBaton&) = delete;
    KeepBaton& operator=(const KeepBaton&) = delete;
    static bool On();
};

/// While it lives, calls of this thread go past the watchers: neither recorded nor scripted. For the test's own work.
class Unwatched {
public:
    Unwatched();
    ~Unwatched();
    Unwatched(const Unwatched&) = delete;
    Unwatched& operator=(const Unwatched&) = delete;
    static bool On();
};

inline std::string Describe(const std::string& text) { return text; }
inline std::string Describe(const std::wstring& text) { return Narrow(text); }
inline std::string Describe(const wchar_t* text) { return text == nullptr ? "null" : Narrow(text); }
inline std::string Describe(const char* text) { return text; }
inline std::string Describe(bool value) { return value ? "true" : "false"; }
inline std::string Describe(void* value) { return value == nullptr ? "none" : "some"; }
template <class Number, std::enable_if_t<std::is_integral_v<Number>, int> = 0>
std::string Describe(Number value) {
    return std::to_string(value);
}
inline std::string Describe(const WMap& map) {
    std::string text = "{";
    for (const auto& [key, value] : map) text += (text.size() > 1 ? ", " : "") + Narrow(key) + ": " + Narrow(value);
    return text + "}";
}
inline std::string Describe(const SQLiteDB::UpdateDBInfo& info) {
    return Narrow(info.key) + ", " + Describe(info.columns);
}
template <class List>
std::string DescribeList(const List& list) {
    std::string text;
    for (const auto& item : list) text += (text.empty() ? "" : " | ") + Describe(item);
    return "[" + text + "]";
}
inline std::string Describe(const std::vector<std::string>& list) { return DescribeList(list); }
inline std::string Describe(const std::list<std::wstring>& list) { return DescribeList(list); }

inline std::string Hex(std::uint32_t value) {
    std::ostringstream out;
    out << "0x" << std::hex << value;
    return out.str();
}

inline std::string HandleText(Platform::HANDLE handle) {
    if (handle == nullptr) return "none";
    return handle == Platform::kInvalidHandle ? "invalid" : "open";
}

template <class... Arguments>
void RecordCall(Kind kind, const char* operation, const Arguments&... arguments) {
    std::string text;
    ((text += (text.empty() ? "" : ", ") + Describe(arguments)), ...);
    Journal::Write(kind, std::string(operation) + "(" + text + ")");
}

}  // namespace Drive::Testing
