#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "interfaces/common/globals.h"
#include "interfaces/platform/native_path.h"

namespace Drive::Common {

namespace fs = std::filesystem;

}  // namespace Drive::Common

namespace Drive::Common::Trial {

inline void Put(const fs::path& path, const std::string& content) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
}

inline std::string Get(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// Bytes that look random and are the same at every run.
inline std::string Noise(std::size_t length, std::uint32_t seed = 1) {
    std::string bytes(length, '\0');
    for (char& byte : bytes) {
        seed = seed * 1664525U + 1013904223U;
        byte = static_cast<char>(seed >> 24);
    }
    return bytes;
}

/// A temporary folder with a sync root, the two cache folders and a place outside; the settings point there meanwhile.
class WithFolders : public ::testing::Test {
protected:
    void SetUp() override {
        std::string name = (fs::temp_directory_path() / ("zelkor-common-" + std::string(6, 'X'))).string();
        ASSERT_NE(mkdtemp(name.data()), nullptr);
        base = name;
        for (const char* folder : {"root", "small", "large", "outside"}) {
            fs::create_directory(base / folder);
        }
        g_clientSyncRootFolder = Wide(base / "root") + L"\\";
        g_thumbnailFolder = Wide(base / "small") + L"\\";
        g_lcdthumbnailFolder = Wide(base / "large") + L"\\";
    }

    void TearDown() override {
        g_clientSyncRootFolder.clear();
        g_thumbnailFolder.clear();
        g_lcdthumbnailFolder.clear();
        std::error_code error;
        fs::remove_all(base, error);
    }

    static std::wstring Wide(const fs::path& path) { return Platform::EnginePath(path.string()); }

    /// A path below the sync root, given with backslashes.
    std::wstring InRoot(const std::wstring& relative) const { return g_clientSyncRootFolder + relative; }

    fs::path base;
};

}  // namespace Drive::Common::Trial
