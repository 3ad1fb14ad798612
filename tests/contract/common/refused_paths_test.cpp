#include <atomic>
#include <thread>

#include "interfaces/common/file_helper.h"
#include "interfaces/common/placeholder.h"
#include "tests/contract/common/test_folders.h"

namespace Drive::Common {

namespace {

/// Whatever a path tries, the folder outside stays as it was.
class RefusedPaths : public Trial::WithFolders {
protected:
    void SetUp() override {
        WithFolders::SetUp();
        fs::create_directory(base / "outside/folder");
        Trial::Put(base / "outside/victim", "untouched");
        fs::create_directory(base / "root/inside");
    }

    void Attack(const std::wstring& path) const {
        EXPECT_FALSE(FileHepler::WriteLocalFileV(0, "evil", 4, path)) << Platform::NativePath(path);
        EXPECT_FALSE(FileHepler::CreateLocalDirectory(path + L"\\made")) << Platform::NativePath(path);
        FileHepler::RemoveFile(path);
        FileHepler::DeleteLocalFile(path);
        ExpectUntouched();
    }

    void ExpectUntouched() const {
        EXPECT_EQ(Trial::Get(base / "outside/victim"), "untouched");
        EXPECT_TRUE(fs::is_empty(base / "outside/folder"));
        EXPECT_EQ(std::distance(fs::directory_iterator(base / "outside"), fs::directory_iterator()), 2);
    }
};

// COM-PATH-07
TEST_F(RefusedPaths, ThatLieOutside) {
    Attack(Wide(base / "outside/victim"));
    Attack(Wide(base / "outside/folder/new"));
    Attack(L"\\new-in-the-root-of-the-disk");
    Attack(L"relative");
}

// COM-PATH-08
TEST_F(RefusedPaths, ThatOnlyBeginLikeTheRoot) {
    const std::wstring root = Wide(base / "root");
    Attack(root + L"x\\f");
    Attack(root + L"\uF05Cf");
    EXPECT_FALSE(fs::exists(base / "rootx"));
}

// COM-PATH-09
TEST_F(RefusedPaths, ThatClimbWithDots) {
    for (const wchar_t* climb : {L"..\\outside\\victim", L"inside\\..\\..\\outside\\victim", L"../outside/victim",
                                 L"inside\\../..\\outside/folder/new", L"..\\root\\inside\\f", L".\\inside\\f",
                                 L"inside\\.\\f", L"inside\\..\\f", L"..", L"absent\\..\\..\\outside\\victim"}) {
        Attack(InRoot(climb));
    }
    EXPECT_TRUE(fs::is_empty(base / "root/inside"));
}

// COM-PATH-17
TEST_F(RefusedPaths, ThatEndInASeparatorAreNoFiles) {
    Trial::Put(base / "root/kept", "kept");
    for (const wchar_t* path : {L"kept\\", L"kept/", L"kept\\\\", L"", L"inside\\", L"new\\", L"new\\file/"}) {
        EXPECT_FALSE(FileHepler::WriteLocalFileV(0, "evil", 4, InRoot(path))) << Platform::NativePath(path);
        FileHepler::RemoveFile(InRoot(path));
        FileHepler::DeleteLocalFile(InRoot(path));
    }
    EXPECT_EQ(Trial::Get(base / "root/kept"), "kept");
    EXPECT_FALSE(fs::exists(base / "root/new"));
    EXPECT_TRUE(fs::exists(base / "root/inside"));
}

/// What can be no name, or no name of a file.
std::vector<std::wstring> OddNames() {
    return {std::wstring(L"kept\0x", 6),
            std::wstring(1, L'\0'),
            std::wstring(1, static_cast<wchar_t>(0xD800)),
            std::wstring(1, static_cast<wchar_t>(0x110000)),
            std::wstring(300, L'n'),
            std::wstring(1 << 20, L'x'),
            L"kept\\x",
            L"absent\\..\\kept"};
}

// COM-PATH-18
TEST_F(RefusedPaths, ThatCanBeNoNameHarmNoOtherFileAndNothingThrows) {
    Trial::Put(base / "root/kept", "kept");
    for (const std::wstring& name : OddNames()) {
        const std::wstring path = InRoot(name.c_str()).substr(0, InRoot(L"").size()) + name;
        std::wstring one, two;
        std::vector<char> content(1);
        EXPECT_FALSE(FileHepler::IsPlaceholder(path));
        EXPECT_LT(FileHepler::GetFileSizeApi(path), 0);
        EXPECT_EQ(FileHepler::GetFileSha256(path), L"");
        EXPECT_FALSE(FileHepler::GetFileHash(path, one, two));
        EXPECT_EQ(FileHepler::GetFileHmac(path), "");
        EXPECT_FALSE(FileHepler::ReadLocalFile(path, content));
        EXPECT_TRUE(content.empty());
        EXPECT_FALSE(FileHepler::WriteLocalFileV(0, "evil", 4, path));
        EXPECT_FALSE(FileHepler::CreateLocalDirectory(path));
        EXPECT_FALSE(MarkPlaceholder(path));
        EXPECT_FALSE(ClearPlaceholder(path));
        FileHepler::RemoveFile(path);
        FileHepler::DeleteLocalFile(path);
        FileHepler::GetFileMimeType(name);
        FileHepler::GetFileFolderAndLocalname(path, one, two);
        EXPECT_EQ(Trial::Get(base / "root/kept"), "kept");
    }
}

// COM-PATH-10
TEST_F(RefusedPaths, ThatLeadOutThroughALinkedFolder) {
    fs::create_directory_symlink(base / "outside", base / "root/absolute");
    fs::create_directory_symlink("../outside", base / "root/relative");
    fs::create_directory_symlink("../../outside", base / "root/inside/deeper");
    fs::create_directory_symlink("/", base / "root/disk");
    fs::create_directory_symlink("/proc/self/root", base / "root/magic");
    const std::wstring outside = Wide(base / "outside").substr(1);
    Attack(InRoot(L"absolute\\victim"));
    Attack(InRoot(L"absolute\\folder\\new"));
    Attack(InRoot(L"relative\\victim"));
    Attack(InRoot(L"inside\\deeper\\victim"));
    Attack(InRoot(L"disk\\" + outside + L"\\victim"));
    Attack(InRoot(L"magic\\" + outside + L"\\victim"));
    fs::create_directory_symlink(base / "outside", base / "small/link");
    Attack(g_thumbnailFolder + L"link\\victim");
}

// COM-PATH-11
TEST_F(RefusedPaths, ThatLeadOutThroughALinkInThePlaceOfTheFile) {
    fs::create_symlink(base / "outside/victim", base / "root/file");
    fs::create_symlink(base / "outside/new", base / "root/dangling");
    EXPECT_FALSE(FileHepler::WriteLocalFileV(0, "evil", 4, InRoot(L"file")));
    EXPECT_FALSE(FileHepler::WriteLocalFileV(0, "evil", 4, InRoot(L"dangling")));
    EXPECT_FALSE(FileHepler::CreateLocalDirectory(InRoot(L"dangling")));
    EXPECT_FALSE(FileHepler::CreateLocalDirectory(InRoot(L"dangling\\made")));
    ExpectUntouched();
}

// COM-PATH-12
TEST_F(RefusedPaths, ThatAreALinkToAnotherFileOfTheRoot) {
    Trial::Put(base / "root/other", "untouched");
    fs::create_symlink("other", base / "root/file");
    EXPECT_FALSE(FileHepler::WriteLocalFileV(0, "evil", 4, InRoot(L"file")));
    EXPECT_EQ(Trial::Get(base / "root/other"), "untouched");
}

// COM-PATH-13
TEST_F(RefusedPaths, AreNotThoseThroughALinkThatStaysBelow) {
    fs::create_directory_symlink("inside", base / "root/link");
    EXPECT_TRUE(FileHepler::WriteLocalFileV(0, "x", 1, InRoot(L"link\\f")));
    EXPECT_EQ(Trial::Get(base / "root/inside/f"), "x");
}

// COM-PATH-14
TEST_F(RefusedPaths, AreNotThoseOfARootThatIsReachedThroughALink) {
    fs::create_directory_symlink(base / "root", base / "alias");
    g_clientSyncRootFolder = Wide(base / "alias") + L"\\";
    EXPECT_TRUE(FileHepler::WriteLocalFileV(0, "x", 1, InRoot(L"inside\\f")));
    EXPECT_EQ(Trial::Get(base / "root/inside/f"), "x");
}

// COM-PATH-15
TEST_F(RefusedPaths, FromOneFolderIntoAnother) {
    EXPECT_FALSE(FileHepler::WriteLocalFileV(0, "x", 1, InRoot(L"..\\small\\f")));
    fs::create_directory_symlink(base / "small", base / "root/link");
    EXPECT_FALSE(FileHepler::WriteLocalFileV(0, "x", 1, InRoot(L"link\\f")));
    EXPECT_FALSE(fs::exists(base / "small/f"));
}

// COM-PATH-16
TEST_F(RefusedPaths, HoldAlsoWhileAFolderIsExchangedForALink) {
    fs::create_directory(base / "root/flip");
    std::atomic<bool> ending{false};
    std::thread attacker([&] {
        const fs::path flip = base / "root/flip";
        const fs::path kept = base / "root/kept";
        while (!ending) {
            std::error_code error;
            fs::rename(flip, kept, error);
            fs::create_directory_symlink(base / "outside/folder", flip, error);
            fs::remove(flip, error);
            fs::rename(kept, flip, error);
        }
    });
    for (int round = 0; round < 300; ++round) {
        FileHepler::WriteLocalFileV(0, "evil", 4, InRoot(L"flip\\f" + std::to_wstring(round % 10)));
        FileHepler::CreateLocalDirectory(InRoot(L"flip\\made\\deep"));
    }
    ending = true;
    attacker.join();
    ExpectUntouched();
}

}  // namespace

}  // namespace Drive::Common
