#pragma once

#include <gtest/gtest.h>

#include <string>

#include "interfaces/platform/file_calls.h"
#include "tests/contract/platform/temporary_folder.h"

namespace Drive::Platform {

/// Copies files by name in a folder of its own.
class CopyFiles : public ::testing::Test {
protected:
    bool Copy(const std::string& from, const std::string& to, bool failIfExists = false) {
        return CopyFileW(folder.Engine(from).c_str(), folder.Engine(to).c_str(), failIfExists ? 1 : 0) != 0;
    }

    Testing::TemporaryFolder folder;
};

}  // namespace Drive::Platform
