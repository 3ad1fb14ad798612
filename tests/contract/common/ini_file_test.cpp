#include "interfaces/common/ini_file_helper.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "tests/contract/common/test_folders.h"

namespace Drive::Common {

namespace {

class IniFile : public Trial::WithFolders {
protected:
    std::string Read(const std::string& content, const wchar_t* key = L"MacAddressEncrypt") const {
        Trial::Put(base / "outside/SyncSetting.ini", content);
        return IniFileHelper(Path().c_str()).ReadIniValueByKeyTypeString(key);
    }
    std::wstring Path() const { return Wide(base / "outside/SyncSetting.ini"); }
};

// COM-SETTINGS-03
TEST_F(IniFile, GivesTheValueFromAnySection) {
    EXPECT_EQ(Read("MacAddressEncrypt=abc\n"), "abc");
    EXPECT_EQ(Read("[one]\nother=1\n[two]\nMacAddressEncrypt=abc==\n"), "abc==");
    EXPECT_EQ(Read("[a]\r\nMacAddressEncrypt = abc \r\n"), "abc");
    EXPECT_EQ(Read("\xEF\xBB\xBFMacAddressEncrypt=abc"), "abc");
}

// COM-SETTINGS-04
TEST_F(IniFile, ComparesKeysWithoutCaseAndWhole) {
    EXPECT_EQ(Read("macaddressENCRYPT=abc\n"), "abc");
    EXPECT_EQ(Read("MacAddressEncryptX=1\nXMacAddressEncrypt=2\n"), "");
}

// COM-SETTINGS-05
TEST_F(IniFile, TakesTheFirstOfSeveral) {
    EXPECT_EQ(Read("[a]\nMacAddressEncrypt=first\nMacAddressEncrypt=second\n[b]\nMacAddressEncrypt=third\n"), "first");
    EXPECT_EQ(Read("MacAddressEncrypt=\nMacAddressEncrypt=second\n"), "");
}

// COM-SETTINGS-06
TEST_F(IniFile, PassesOverCommentsAndBrokenLines) {
    EXPECT_EQ(
        Read("; MacAddressEncrypt=no\n# MacAddressEncrypt=no\nnonsense\n[open\nMacAddressEncrypt=abc ; comment\n"),
        "abc");
}

// COM-SETTINGS-07
TEST_F(IniFile, PassesOverALineThatHoldsANul) {
    const auto with = [](const std::string& head, const std::string& tail) {
        return head + std::string(1, '\0') + tail;
    };
    EXPECT_EQ(Read(with("MacAddressEncrypt=ab", "c\nMacAddressEncrypt=whole\n")), "whole");
    EXPECT_EQ(Read(with("MacAddressEncrypt=" + std::string(300, 'x'), std::string(300, 'y'))), "");
}

// COM-SETTINGS-06
TEST_F(IniFile, PassesOverALongBrokenLineAfterTheValue) {
    const std::string broken = std::string(140, 'x') + ' ' + std::string(200, 'y');
    EXPECT_EQ(Read("MacAddressEncrypt=abc\n" + broken + "\n"), "abc");
    EXPECT_EQ(Read("MacAddressEncrypt=abc\n[" + broken + "\n"), "abc");
    EXPECT_EQ(Read("MacAddressEncrypt=abc\n" + broken + "=1\n"), "abc");
}

// COM-SETTINGS-08
TEST_F(IniFile, IndentedLinesAreLinesOfTheirOwn) {
    EXPECT_EQ(Read("other=1\n   MacAddressEncrypt=abc\n"), "abc");
    EXPECT_EQ(Read("MacAddressEncrypt=abc\n   more=1\n"), "abc");
}

// COM-SETTINGS-09
TEST_F(IniFile, LongValuesAreWhole) {
    for (const std::size_t length : {149, 150, 151, 180, 199, 200, 344, 5000}) {
        std::string value;
        for (std::size_t index = 0; index < length; ++index) {
            value.push_back("abcdefghijklmnopqrstuvwxyz0123456789+/"[index * 7 % 38]);
        }
        EXPECT_EQ(Read("before=1\nMacAddressEncrypt=" + value + "==\nafter=2\n"), value + "==") << length;
        EXPECT_EQ(Read("Other=" + value + "\nMacAddressEncrypt=x\n"), "x") << length;
        EXPECT_EQ(Read("MacAddressEncrypt=" + value + " ; a comment\n"), value) << length;
        EXPECT_EQ(Read("; " + value + "\nMacAddressEncrypt=x\n"), "x") << length;
    }
    std::string sentence;
    for (int word = 0; word < 100; ++word) {
        sentence += "word ; "[word % 7] == ';' ? "w" : "word ";
    }
    sentence += "end";
    EXPECT_EQ(Read("MacAddressEncrypt=" + sentence + "\n"), sentence);
}

// COM-SETTINGS-13
TEST_F(IniFile, LongRunsOfBlanksAndSignsAreKept) {
    for (const std::size_t length : {99, 100, 101, 150, 151, 199, 200, 201, 5000}) {
        for (const char character : {' ', '\t', ';', '#', '=', ':'}) {
            const std::string value = "a" + std::string(length, character) + "b";
            EXPECT_EQ(Read("MacAddressEncrypt = " + value + " \nafter=2\n"), value) << length << " of " << character;
            EXPECT_EQ(Read("MacAddressEncrypt=" + value + " ; comment\n"), value) << length << " of " << character;
        }
    }
}

// COM-SETTINGS-04, COM-SETTINGS-09
TEST_F(IniFile, LongLinesAreReadByTheRulesOfShortOnes) {
    for (const std::size_t length : {10, 300}) {
        const std::string x(length, 'x');
        EXPECT_EQ(Read("macaddressENCRYPT \t:  " + x + "=;y \r\n"), x + "=;y") << length;
        EXPECT_EQ(Read("MacAddressEncrypt=;" + x), ";" + x) << length;
        EXPECT_EQ(Read("MacAddressEncrypt= ;" + x), "") << length;
        EXPECT_EQ(Read("MacAddressEncrypt ;=" + x), "") << length;
        EXPECT_EQ(Read("MacAddressEncrypt" + std::string(length, ' ') + "=" + x), x) << length;
        EXPECT_EQ(Read("[MacAddressEncrypt=" + x + "]\nMacAddressEncrypt=z"), "z") << length;
        EXPECT_EQ(Read("#MacAddressEncrypt=" + x + "\nMacAddressEncrypt=z"), "z") << length;
        EXPECT_EQ(Read("MacAddressEncrypt=" + x + "\nMacAddressEncrypt=z"), x) << length;
    }
}

// COM-SETTINGS-10
TEST_F(IniFile, AbsentFileOrKeyIsEmpty) {
    EXPECT_EQ(Read("other=1\n"), "");
    EXPECT_EQ(Read(""), "");
    fs::remove(base / "outside/SyncSetting.ini");
    EXPECT_EQ(IniFileHelper(Path().c_str()).ReadIniValueByKeyTypeString(L"MacAddressEncrypt"), "");
    EXPECT_EQ(IniFileHelper(Wide(base / "outside").c_str()).ReadIniValueByKeyTypeString(L"MacAddressEncrypt"), "");
    EXPECT_EQ(IniFileHelper(L"").ReadIniValueByKeyTypeString(L"MacAddressEncrypt"), "");
    EXPECT_EQ(IniFileHelper(nullptr).ReadIniValueByKeyTypeString(L"MacAddressEncrypt"), "");
}

// COM-SETTINGS-11
TEST_F(IniFile, NeverThrowsForOddArguments) {
    Trial::Put(base / "outside/SyncSetting.ini", std::string(3000, '\0') + "\nMacAddressEncrypt=abc\n");
    IniFileHelper file(Path().c_str());
    EXPECT_EQ(file.ReadIniValueByKeyTypeString(L"MacAddressEncrypt"), "abc");
    EXPECT_EQ(file.ReadIniValueByKeyTypeString(nullptr), "");
    EXPECT_EQ(file.ReadIniValueByKeyTypeString(L""), "");
    const wchar_t beyond[] = {static_cast<wchar_t>(0x110000), 0};
    EXPECT_EQ(file.ReadIniValueByKeyTypeString(beyond), "");
    EXPECT_EQ(IniFileHelper(beyond).ReadIniValueByKeyTypeString(L"MacAddressEncrypt"), "");
}

// COM-SETTINGS-12
TEST_F(IniFile, IsReadAnewAtEachCall) {
    Trial::Put(base / "outside/SyncSetting.ini", "MacAddressEncrypt=one\n");
    IniFileHelper file(Path().c_str());
    EXPECT_EQ(file.ReadIniValueByKeyTypeString(L"MacAddressEncrypt"), "one");
    Trial::Put(base / "outside/SyncSetting.ini", "MacAddressEncrypt=two\n");
    EXPECT_EQ(file.ReadIniValueByKeyTypeString(L"MacAddressEncrypt"), "two");
}

// COM-SETTINGS-14
TEST_F(IniFile, MayBeUtf16WithItsMark) {
    const std::string text = "[a]\r\nMacAddressEncrypt=abc\xE4==\r\n";
    for (const bool bigEnd : {false, true}) {
        std::string content = bigEnd ? "\xFE\xFF" : "\xFF\xFE";
        for (const char character : text) {
            content += bigEnd ? std::string({'\0', character}) : std::string({character, '\0'});
        }
        EXPECT_EQ(Read(content), "abc\xC3\xA4==");
        EXPECT_EQ(Read(content + "x"), "") << "half a character at the end";
    }
    EXPECT_EQ(Read("\xFF\xFE"), "");
}

// COM-SETTINGS-15
TEST_F(IniFile, GivesWholeLinesOfItsFirstMebibyteOnly) {
    const std::string key = "MacAddressEncrypt=";
    const std::string value(100, 'v');
    const auto behind = [&](std::size_t before) { return std::string(before - 1, ';') + "\n" + key + value + "\n"; };
    const std::size_t whole = (1 << 20) - key.size() - value.size() - 1;
    EXPECT_EQ(Read(behind(whole - 1)), value);
    EXPECT_EQ(Read(behind(whole + 2)), "") << "never a part of the value";
    EXPECT_EQ(Read(key + std::string(1 << 20, 'x')), "");
    EXPECT_EQ(Read(key + std::string(1 << 19, 'x') + "\n").size(), std::size_t{1} << 19);
}

// COM-SETTINGS-16
TEST_F(IniFile, APipeOrFolderInItsPlaceIsEmptyAndHoldsNobodyUp) {
    ASSERT_EQ(mkfifo((base / "outside/pipe").c_str(), 0600), 0);
    std::atomic<bool> answered{false};
    std::thread rescue([&] {
        for (int round = 0; round < 1000 && !answered; ++round)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        const int writer = open((base / "outside/pipe").c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
        while (!answered) std::this_thread::sleep_for(std::chrono::milliseconds(10));
        close(writer);
    });
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(IniFileHelper(Wide(base / "outside/pipe").c_str()).ReadIniValueByKeyTypeString(L"MacAddressEncrypt"), "");
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(9));
    answered = true;
    rescue.join();
    EXPECT_EQ(IniFileHelper(Wide(base / "outside").c_str()).ReadIniValueByKeyTypeString(L"MacAddressEncrypt"), "");
}

}  // namespace

}  // namespace Drive::Common
