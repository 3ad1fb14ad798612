#include <gtest/gtest.h>
#include <stdlib.h>

#include <optional>
#include <string>

#include "interfaces/platform/native_path.h"

namespace Drive::Platform {

namespace {

/// Sets or unsets a variable of the environment and puts the earlier value back.
class Variable {
public:
    Variable(const char* variable, const char* value) : name(variable) {
        if (const char* earlier = ::getenv(name)) before = earlier;
        Put(value);
    }
    ~Variable() { Put(before ? before->c_str() : nullptr); }
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;

    void Put(const char* value) {
        if (value != nullptr) {
            ::setenv(name, value, 1);
        } else {
            ::unsetenv(name);
        }
    }

private:
    const char* const name;
    std::optional<std::string> before;
};

}  // namespace

// PLAT-PATH-13
TEST(LocalAppDataFolder, IsTheOneThatXdgNames) {
    const Variable data("XDG_DATA_HOME", "/var/data/me");
    const Variable home("HOME", "/home/me");
    EXPECT_EQ(LocalAppDataFolder(), L"\\var\\data\\me");
}

// PLAT-PATH-14
TEST(LocalAppDataFolder, FallsBackToTheHomeFolder) {
    Variable data("XDG_DATA_HOME", nullptr);
    const Variable home("HOME", "/home/me");
    EXPECT_EQ(LocalAppDataFolder(), L"\\home\\me\\.local\\share");
    data.Put("");
    EXPECT_EQ(LocalAppDataFolder(), L"\\home\\me\\.local\\share");
}

// PLAT-PATH-15
TEST(LocalAppDataFolder, IgnoresARelativePath) {
    const Variable data("XDG_DATA_HOME", "not/absolute");
    const Variable home("HOME", "/home/me");
    EXPECT_EQ(LocalAppDataFolder(), L"\\home\\me\\.local\\share");
}

// PLAT-PATH-16
TEST(LocalAppDataFolder, HasNoClosingSeparator) {
    const Variable data("XDG_DATA_HOME", "/var/data//");
    EXPECT_EQ(LocalAppDataFolder(), L"\\var\\data");
}

// PLAT-PATH-17
TEST(LocalAppDataFolder, IsWrittenAsTheEngineWritesPaths) {
    const Variable data("XDG_DATA_HOME", "/odd\\name\xFF");
    EXPECT_EQ(LocalAppDataFolder(), L"\\odd\xF05Cname\xDCFF");
}

// PLAT-PATH-18
TEST(LocalAppDataFolder, IsEmptyWhenNothingIsKnown) {
    const Variable data("XDG_DATA_HOME", nullptr);
    const Variable home("HOME", nullptr);
    EXPECT_EQ(LocalAppDataFolder(), L"");
}

}  // namespace Drive::Platform
