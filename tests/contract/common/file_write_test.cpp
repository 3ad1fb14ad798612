#include <sys/stat.h>

#include <limits>
#include <thread>

#include "interfaces/common/file_helper.h"
#include "interfaces/platform/file_calls.h"
#include "tests/contract/common/test_folders.h"

namespace Drive::Common {

namespace {

class Writing : public Trial::WithFolders {
protected:
    bool Write(std::int64_t position, const std::string& data, const std::wstring& relative) const {
        return FileHepler::WriteLocalFileV(position, data.data(), data.size(), InRoot(relative));
    }
};

// COM-WRITE-01
TEST_F(Writing, MakesTheFileAndItsFolders) {
    EXPECT_TRUE(Write(0, "hello", L"a\\b\\c.txt"));
    EXPECT_EQ(Trial::Get(base / "root/a/b/c.txt"), "hello");
}

// COM-WRITE-02
TEST_F(Writing, PutsTheBytesAtTheirPlaceAndTruncatesNothing) {
    Trial::Put(base / "root/f", "0123456789");
    EXPECT_TRUE(Write(3, "abc", L"f"));
    EXPECT_EQ(Trial::Get(base / "root/f"), "012abc6789");
    EXPECT_TRUE(Write(9, "xyz", L"f"));
    EXPECT_EQ(Trial::Get(base / "root/f"), "012abc678xyz");
}

// COM-WRITE-03
TEST_F(Writing, BehindTheEndLeavesZeros) {
    EXPECT_TRUE(Write(4, "x", L"f"));
    EXPECT_EQ(Trial::Get(base / "root/f"), std::string("\0\0\0\0x", 5));
}

// COM-WRITE-04
TEST_F(Writing, ReachesOffsetsBeyondFourGibibytes) {
    const std::int64_t far = (std::int64_t{5} << 30) + 7;
    EXPECT_TRUE(Write(far, "end", L"f"));
    EXPECT_EQ(FileHepler::GetFileSizeApi(InRoot(L"f")), far + 3);
}

// COM-WRITE-05
TEST_F(Writing, OfNoBytesMakesAnEmptyFileAndChangesNoOther) {
    EXPECT_TRUE(FileHepler::WriteLocalFileV(0, nullptr, 0, InRoot(L"new\\empty")));
    EXPECT_TRUE(fs::exists(base / "root/new/empty"));
    EXPECT_EQ(fs::file_size(base / "root/new/empty"), 0u);
    Trial::Put(base / "root/f", "0123");
    EXPECT_TRUE(FileHepler::WriteLocalFileV(2, "", 0, InRoot(L"f")));
    EXPECT_EQ(Trial::Get(base / "root/f"), "0123");
}

// COM-WRITE-06
TEST_F(Writing, RefusesImpossibleNumbers) {
    EXPECT_FALSE(Write(-1, "x", L"f"));
    EXPECT_FALSE(FileHepler::WriteLocalFileV(0, nullptr, 1, InRoot(L"f")));
    EXPECT_FALSE(Write(std::numeric_limits<std::int64_t>::max(), "x", L"f"));
    EXPECT_FALSE(fs::exists(base / "root/f"));
}

// COM-WRITE-07
TEST_F(Writing, RefusesWhatIsNoFile) {
    fs::create_directory(base / "root/folder");
    ASSERT_EQ(mkfifo((base / "root/pipe").c_str(), 0600), 0);
    EXPECT_FALSE(Write(0, "x", L"folder"));
    EXPECT_FALSE(Write(0, "x", L"pipe"));
    EXPECT_FALSE(FileHepler::WriteLocalFileV(0, "x", 1, g_clientSyncRootFolder));
    EXPECT_FALSE(FileHepler::WriteLocalFileV(0, "x", 1, L""));
    Trial::Put(base / "root/f", "x");
    EXPECT_FALSE(Write(0, "x", L"f\\below"));
    EXPECT_FALSE(Write(0, "x", std::wstring(1, static_cast<wchar_t>(0x110000))));
    EXPECT_FALSE(Write(0, "x", std::wstring(300, L'x')));
}

// COM-WRITE-08
TEST_F(Writing, DoesNotMakeTheSyncRoot) {
    fs::remove(base / "root");
    EXPECT_FALSE(Write(0, "x", L"f"));
    EXPECT_FALSE(fs::exists(base / "root"));
}

// COM-WRITE-09
TEST_F(Writing, ReachesTheCacheFolders) {
    EXPECT_TRUE(FileHepler::WriteLocalFileV(0, "x", 1, g_thumbnailFolder + L"a\\f"));
    EXPECT_TRUE(FileHepler::WriteLocalFileV(0, "x", 1, g_lcdthumbnailFolder + L"f"));
    EXPECT_EQ(Trial::Get(base / "small/a/f"), "x");
    EXPECT_EQ(Trial::Get(base / "large/f"), "x");
}

// COM-WRITE-10
TEST_F(Writing, KeepsNamesThatAreNoText) {
    EXPECT_TRUE(Write(0, "x", L"a\uF05Cb"));
    EXPECT_TRUE(Write(0, "y", L"\xDCFF\xDC80"));
    EXPECT_EQ(Trial::Get(base / "root" / "a\\b"), "x");
    EXPECT_EQ(Trial::Get(base / "root" / "\xFF\x80"), "y");
}

// COM-WRITE-11
TEST_F(Writing, ByManyThreadsToOneNewFileLosesNothing) {
    constexpr int kThreads = 8;
    std::vector<std::thread> threads;
    for (int number = 0; number < kThreads; ++number) {
        threads.emplace_back([this, number] {
            EXPECT_TRUE(Write(number * 1000, std::string(1000, static_cast<char>('a' + number)), L"x\\y\\f"));
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    std::string expected;
    for (int number = 0; number < kThreads; ++number) {
        expected += std::string(1000, static_cast<char>('a' + number));
    }
    EXPECT_EQ(Trial::Get(base / "root/x/y/f"), expected);
}

class WritingByHandle : public Writing {
protected:
    Platform::HANDLE Open(Platform::DWORD access) const {
        return Platform::CreateFileW(InRoot(L"f").c_str(), access, 0, nullptr, Platform::kOpenAlways, 0, nullptr);
    }
};

// COM-WRITE-12
TEST_F(WritingByHandle, PutsTheBytesAtTheirPlaceAndLeavesTheHandleOpen) {
    Platform::HANDLE handle = Open(Platform::kGenericRead | Platform::kGenericWrite);
    EXPECT_TRUE(FileHepler::WriteLocalFileByHandleV(2, "abc", 3, handle));
    EXPECT_TRUE(FileHepler::WriteLocalFileByHandleV(0, "xy", 2, handle));
    EXPECT_TRUE(FileHepler::WriteLocalFileByHandleV(9, nullptr, 0, handle));
    EXPECT_TRUE(Platform::CloseHandle(handle));
    EXPECT_EQ(Trial::Get(base / "root/f"), "xyabc");
}

// COM-WRITE-13
TEST_F(WritingByHandle, RefusesWhatCannotBeWritten) {
    EXPECT_FALSE(FileHepler::WriteLocalFileByHandleV(0, "x", 1, nullptr));
    EXPECT_FALSE(FileHepler::WriteLocalFileByHandleV(0, "x", 1, Platform::kInvalidHandle));
    Trial::Put(base / "root/f", "old");
    Platform::HANDLE handle = Open(Platform::kGenericRead);
    EXPECT_FALSE(FileHepler::WriteLocalFileByHandleV(0, "x", 1, handle));
    EXPECT_FALSE(FileHepler::WriteLocalFileByHandleV(-1, "x", 1, handle));
    EXPECT_TRUE(Platform::CloseHandle(handle));
    EXPECT_FALSE(FileHepler::WriteLocalFileByHandleV(0, "x", 1, handle));
    EXPECT_EQ(Trial::Get(base / "root/f"), "old");
}

}  // namespace

}  // namespace Drive::Common
