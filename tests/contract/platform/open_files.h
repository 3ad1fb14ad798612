#pragma once

#include <gtest/gtest.h>

#include <string>

#include "interfaces/platform/file_calls.h"
#include "tests/contract/platform/temporary_folder.h"

namespace Drive::Platform {

/// Opens files by name in a folder of its own.
class OpenFiles : public ::testing::Test {
protected:
    HANDLE Open(const std::string& name, DWORD access, DWORD disposition, DWORD flags = kFileFlagOverlapped) {
        return CreateFileW(folder.Engine(name).c_str(), access, kFileShareRead | kFileShareDelete, nullptr, disposition,
                           flags, nullptr);
    }

    std::string Read(HANDLE handle) {
        std::string content(100, '\0');
        const std::int64_t count = ReadAt(handle, 0, content.data(), content.size());
        return count < 0 ? "(failed)" : content.substr(0, static_cast<std::size_t>(count));
    }

    Testing::TemporaryFolder folder;
};

}  // namespace Drive::Platform
