#include "interfaces/platform/worker_errors.h"

#include <gtest/gtest.h>

#include <string>

namespace Drive::Platform {

namespace {

std::string lastMessage;
void Remember(const char* message) { lastMessage = message; }

}  // namespace

// PLAT-POOL-15
TEST(WorkerErrors, ReachTheHandler) {
    lastMessage.clear();
    SetWorkerErrorHandler(&Remember);
    ReportWorkerError("what went wrong");
    SetWorkerErrorHandler(nullptr);
    EXPECT_EQ(lastMessage, "what went wrong");
}

// PLAT-POOL-16
TEST(WorkerErrors, GoToStandardErrorWithoutAHandler) {
    lastMessage.clear();
    SetWorkerErrorHandler(nullptr);
    ::testing::internal::CaptureStderr();
    ReportWorkerError("what went wrong");
    EXPECT_NE(::testing::internal::GetCapturedStderr().find("what went wrong"), std::string::npos);
    EXPECT_EQ(lastMessage, "");
}

}  // namespace Drive::Platform
