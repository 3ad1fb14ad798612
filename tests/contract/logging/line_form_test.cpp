#include <gtest/gtest.h>

#include <ctime>

#include "interfaces/logging/sync_panel_log.h"
#include "interfaces/platform/text.h"
#include "tests/contract/logging/log_folder.h"

namespace Drive {

namespace {

class LineForm : public ::testing::Test {
protected:
    LineForm() { EXPECT_TRUE(Logging::ConfigureTextLog(log.Settings())); }

    std::string Written(const std::string& text) {
        SyncPanelLog::WriteTraceLog(text);
        const auto lines = log.TextLines();
        return lines.empty() ? "(nothing)" : lines.back().text;
    }

    Testing::LogFolder log;
};

/// Sets the time zone of the process for one test.
class Zone {
public:
    explicit Zone(const char* name) {
        ::setenv("TZ", name, 1);
        ::tzset();
    }
    ~Zone() {
        ::unsetenv("TZ");
        ::tzset();
    }
};

}  // namespace

// LOG-LINE-01
TEST_F(LineForm, TimeIsIsoWithMillisecondsAndZone) {
    const Zone zone("ZON-02:30");
    const std::time_t before = std::time(nullptr);
    Written("text");
    const std::string time = log.TextLines().at(0).time;
    ASSERT_EQ(Testing::ShapeOf(time), "dddd-dd-ddTdd:dd:dd.ddd+dd:dd");
    EXPECT_EQ(time.substr(time.size() - 6), "+02:30");
    std::tm fields{};
    ::strptime(time.c_str(), "%Y-%m-%dT%H:%M:%S", &fields);
    const std::time_t told = ::timegm(&fields) - (2 * 60 + 30) * 60;
    EXPECT_GE(told, before - 1);
    EXPECT_LE(told, std::time(nullptr));
}

// LOG-LINE-02
TEST_F(LineForm, AZoneWestOfGreenwichIsNegative) {
    const Zone zone("ZON+03:30");
    Written("text");
    const std::string time = log.TextLines().at(0).time;
    EXPECT_EQ(time.substr(time.size() - 6), "-03:30");
}

// LOG-LINE-03
TEST_F(LineForm, ControlCharactersAreEscaped) {
    EXPECT_EQ(Written("a\nb\rc\td"), "a\\nb\\rc\\td");
    EXPECT_EQ(Written("\x1b[31mred\x7f"), "\\x1b[31mred\\x7f");
    EXPECT_EQ(Written(std::string("a\0b", 3)), "a\\x00b");
    EXPECT_EQ(Written("next\xC2\x85line"), "next\\u0085line");
}

// LOG-LINE-04
TEST_F(LineForm, EverythingElseArrivesUnchanged) {
    const std::string text = " \\Folder\\\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80 {\"a\":\"b\"} ;readlength=5 ";
    EXPECT_EQ(Written(text), text);
    EXPECT_EQ(Written(""), "");
}

// LOG-LINE-05
TEST_F(LineForm, ABrokenByteShowsItsValueAndTheLineStaysUtf8) { EXPECT_EQ(Written("name\xFF\xC3"), "name\\xff\\xc3"); }

// LOG-LINE-06
TEST_F(LineForm, AnyBytesMakeOneLineOfUtf8) {
    for (unsigned value = 0; value < 256; ++value) Written(std::string("x") + static_cast<char>(value) + "y");
    const auto lines = Testing::LinesOf(log.folder.Native("log") / "transfer.log");
    ASSERT_EQ(lines.size(), 256u);
    for (const std::string& line : lines) {
        EXPECT_EQ(line.back(), 'y');
        for (const wchar_t element : Platform::WidenText(line)) {
            EXPECT_TRUE(element >= 0x20 || element == L'\t');
            EXPECT_FALSE(element >= 0xDC80 && element <= 0xDCFF);
        }
    }
}

// LOG-LINE-07
TEST_F(LineForm, ModuleAndFunctionCannotBreakTheColumns) {
    SyncPanelLog::WriteErrorLog("mod\tule", "func\ntion", "text");
    const auto lines = log.TextLines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].module, "mod\\tule");
    EXPECT_EQ(lines[0].function, "func\\ntion");
    EXPECT_EQ(lines[0].text, "text");
}

}  // namespace Drive
