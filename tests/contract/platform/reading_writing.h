#pragma once

#include <gtest/gtest.h>

#include <string>

#include "interfaces/platform/file_calls.h"
#include "tests/contract/platform/temporary_folder.h"

namespace Drive::Platform {

/// One open file in a folder of its own.
class ReadingWriting : public ::testing::Test {
protected:
    ~ReadingWriting() override { CloseHandle(handle); }

    HANDLE OpenWith(const std::string& content) {
        folder.Put("file", content);
        handle = CreateFileW(folder.Engine("file").c_str(), kGenericRead | kGenericWrite, 7, nullptr, kOpenExisting,
                             kFileFlagOverlapped, nullptr);
        return handle;
    }

    Testing::TemporaryFolder folder;
    HANDLE handle = nullptr;
};

}  // namespace Drive::Platform
