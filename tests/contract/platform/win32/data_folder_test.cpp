#include <gtest/gtest.h>

#include <filesystem>

#include "interfaces/platform/native_path.h"

namespace Drive::Platform {

// PLAT-HOME-23
TEST(LocalAppDataFolder, IsTheFolderThatTheSystemKeepsForTheUser) {
    const std::wstring folder = LocalAppDataFolder();
    ASSERT_GT(folder.size(), 3u);
    EXPECT_EQ(folder.substr(1, 2), L":\\");
    EXPECT_NE(folder.back(), L'\\');
    EXPECT_TRUE(std::filesystem::is_directory(folder));
    EXPECT_TRUE(folder.ends_with(L"\\Local") || folder.ends_with(L"\\Local Settings\\Application Data"));
}

}  // namespace Drive::Platform
