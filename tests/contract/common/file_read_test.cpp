#include <sys/stat.h>

#include "interfaces/common/file_helper.h"
#include "tests/contract/common/test_folders.h"

namespace Drive::Common {

namespace {

class Reading : public Trial::WithFolders {};

// COM-READ-01
TEST_F(Reading, GivesTheWholeFile) {
    for (const std::size_t length : {0, 1, 1000, 5000000}) {
        const std::string bytes = Trial::Noise(length);
        Trial::Put(base / "root/f", bytes);
        std::vector<char> content(3, 'x');
        ASSERT_TRUE(FileHepler::ReadLocalFile(InRoot(L"f"), content));
        EXPECT_EQ(std::string(content.begin(), content.end()), bytes);
    }
}

// COM-READ-02
TEST_F(Reading, OfWhatIsNoFileLeavesNothing) {
    ASSERT_EQ(mkfifo((base / "root/pipe").c_str(), 0600), 0);
    for (const std::wstring& path : {std::wstring(), InRoot(L"absent"), g_clientSyncRootFolder, InRoot(L"pipe"),
                                     InRoot(std::wstring(1, static_cast<wchar_t>(0x110000)))}) {
        std::vector<char> content(3, 'x');
        EXPECT_FALSE(FileHepler::ReadLocalFile(path, content));
        EXPECT_TRUE(content.empty());
    }
}

}  // namespace

}  // namespace Drive::Common
