#include <gtest/gtest.h>
#include <stdlib.h>

#include "interfaces/logging/logger_utility.h"

namespace Drive {

// LOG-SINGLE-02
TEST(LoggerUtility, ReadsTheDataFolderAnewAtEachCall) {
    ::setenv("XDG_DATA_HOME", "/first", 1);
    EXPECT_EQ(LoggerUtility::GetLocalAppDataPath(), L"\\first");
    ::setenv("XDG_DATA_HOME", "/second/", 1);
    EXPECT_EQ(LoggerUtility::GetLocalAppDataPath(), L"\\second");
    ::unsetenv("XDG_DATA_HOME");
    ::unsetenv("HOME");
    EXPECT_EQ(LoggerUtility::GetLocalAppDataPath(), L"");
}

}  // namespace Drive
