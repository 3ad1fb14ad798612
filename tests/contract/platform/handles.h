#pragma once

#include <gtest/gtest.h>

#include "interfaces/platform/file_calls.h"
#include "tests/contract/platform/temporary_folder.h"

namespace Drive::Platform {

/// Opens the same file again and again.
class Handles : public ::testing::Test {
protected:
    Handles() { folder.Put("file", "content"); }

    HANDLE Open() {
        return CreateFileW(folder.Engine("file").c_str(), kGenericRead, 1, nullptr, kOpenExisting, 0, nullptr);
    }

    Testing::TemporaryFolder folder;
};

}  // namespace Drive::Platform
