#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <stdexcept>

#include "interfaces/logging/log_settings.h"
#include "interfaces/platform/clock.h"
#include "interfaces/platform/thread_pool.h"

namespace Drive {

// LOG-RECORD-10
TEST(WorkerError, AnExceptionThatLeavesAWorkItemIsInTheErrorLog) {
    std::mutex mutex;
    std::vector<Logging::TextRecord> records;
    Logging::SetTextSink([&](const Logging::TextRecord& record) {
        std::lock_guard<std::mutex> lock(mutex);
        records.push_back(record);
    });
    ASSERT_TRUE(Platform::QueueUserWorkItem(
        [](void*) -> Platform::DWORD { throw std::runtime_error("what went wrong"); }, nullptr, 0));
    for (int round = 0; round < 2000 && Platform::RunningWorkCount() != 0; ++round) Platform::Sleep(10);
    Logging::SetTextSink({});
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].level, Logging::Level::Error);
    EXPECT_NE(records[0].text.find("what went wrong"), std::string::npos);
}

}  // namespace Drive
