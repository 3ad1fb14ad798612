#include <gtest/gtest.h>

#include "interfaces/logging/bi_logs_manager.h"

namespace Drive {

// LOG-SINGLE-01
TEST(Singletons, AreTheSameEachTime) {
    EXPECT_EQ(&Bilog::BiLogsManager::GetInstance(), &Bilog::BiLogsManager::GetInstance());
    EXPECT_EQ(&Bilog::BiLogHelper::GetInstance(), &Bilog::BiLogHelper::GetInstance());
    EXPECT_EQ(&OperateLog::OperationLogManager::GetInstance(), &OperateLog::OperationLogManager::GetInstance());
    EXPECT_EQ(&OperateLog::OperationLogService::GetInstance(), &OperateLog::OperationLogService::GetInstance());
}

}  // namespace Drive
