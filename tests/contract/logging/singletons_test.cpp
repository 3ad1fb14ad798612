#include <gtest/gtest.h>
#include <stdlib.h>

#include "interfaces/logging/bi_logs_manager.h"
#include "interfaces/logging/logger_utility.h"

namespace Drive {

// LOG-SINGLE-01
TEST(Singletons, AreTheSameEachTime) {
    EXPECT_EQ(&Bilog::BiLogsManager::GetInstance(), &Bilog::BiLogsManager::GetInstance());
    EXPECT_EQ(&Bilog::BiLogHelper::GetInstance(), &Bilog::BiLogHelper::GetInstance());
    EXPECT_EQ(&OperateLog::OperationLogManager::GetInstance(), &OperateLog::OperationLogManager::GetInstance());
    EXPECT_EQ(&OperateLog::OperationLogService::GetInstance(), &OperateLog::OperationLogService::GetInstance());
}

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
