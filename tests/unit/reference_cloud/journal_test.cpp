#include "reference_cloud/journal.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>

#include <filesystem>
#include <fstream>

#include "reference_cloud/http_message.h"
#include "reference_cloud/text.h"
#include "tests/unit/reference_cloud/temporary_folder.h"

namespace Drive::ReferenceCloud {

namespace {

class JournalTest : public testing::Test {
protected:
    static JournalEntry Entry(const std::string& path) {
        JournalEntry entry;
        entry.method = "GET", entry.path = path, entry.status = 200;
        return entry;
    }
    /// The paths of the whole lines.
    std::vector<std::string> Paths(const std::string& file) {
        std::vector<std::string> paths;
        std::ifstream stream(folder_.Path() / file);
        for (std::string line; std::getline(stream, line);) {
            const auto json = ParseJson(line);
            if (json) paths.push_back((*json)["path"].asString());
        }
        return paths;
    }
    using Lines = std::vector<std::string>;

    TemporaryFolder folder_;
};

/// Files of this process grow to so many bytes and no further, as on a full disk.
class FullDisk {
public:
    explicit FullDisk(rlim_t size) {
        before_ = ::signal(SIGXFSZ, SIG_IGN);
        ::getrlimit(RLIMIT_FSIZE, &limit_);
        const rlimit full{size, limit_.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &full);
    }
    ~FullDisk() {
        ::setrlimit(RLIMIT_FSIZE, &limit_);
        ::signal(SIGXFSZ, before_);
    }

private:
    rlimit limit_{};
    void (*before_)(int) = nullptr;
};

// REF-JOURNAL-07
TEST_F(JournalTest, EveryLineIsReadableWhateverWasAskedFor) {
    Journal journal(folder_.Path() / "journal");
    JournalEntry entry = Entry("/a\xff\n\"b");
    entry.method = "G\xfeT", entry.range = "\xc3", entry.contentRange = "\x80";
    journal.Write(entry);
    std::ifstream stream(folder_.Path() / "journal");
    std::string line;
    ASSERT_TRUE(std::getline(stream, line));
    EXPECT_TRUE(IsUtf8(line)) << line;
    EXPECT_EQ((*ParseJson(line))["path"], "/a\xef\xbf\xbd\n\"b");
    EXPECT_FALSE(std::getline(stream, line)) << "a line feed that was asked for makes no line";
}

// REF-JOURNAL-03
TEST_F(JournalTest, LinesAreWrittenAgainWhenTheDiskHasSpaceAgain) {
    Journal journal(folder_.Path() / "journal");
    journal.Write(Entry("/first"));
    const auto size = std::filesystem::file_size(folder_.Path() / "journal");
    testing::internal::CaptureStderr();
    {
        const FullDisk full(size + 10);
        journal.Write(Entry("/lost"));
        journal.Write(Entry("/lost-too"));
    }
    const std::string told = testing::internal::GetCapturedStderr();
    EXPECT_NE(told.find("cannot be written"), std::string::npos);
    EXPECT_EQ(told.find("cannot be written"), told.rfind("cannot be written")) << "told once";
    journal.Write(Entry("/second"));
    journal.Write(Entry("/third"));
    EXPECT_EQ(Paths("journal"), (Lines{"/first", "/second", "/third"}));
}

// REF-JOURNAL-04
TEST_F(JournalTest, AMovedJournalIsFollowedByAFreshOne) {
    Journal journal(folder_.Path() / "journal");
    journal.Write(Entry("/old"));
    std::filesystem::rename(folder_.Path() / "journal", folder_.Path() / "journal.1");
    journal.Write(Entry("/still-old"));
    journal.Reopen();
    journal.Write(Entry("/new"));
    EXPECT_EQ(Paths("journal.1"), (Lines{"/old", "/still-old"}));
    EXPECT_EQ(Paths("journal"), Lines{"/new"});
}

// REF-JOURNAL-05
TEST_F(JournalTest, AJournalThatCannotBeOpenedIsTold) {
    EXPECT_THROW(Journal(folder_.Path() / "nothing" / "journal"), std::runtime_error);
}

// REF-JOURNAL-06
TEST_F(JournalTest, SecretsAreReplacedWhereverTheyStand) {
    JournalEntry entry = Entry("/v1/account/login");
    entry.query["signature"] = "hush1";
    entry.request = R"({"user": "anna", "password": "hush2", "nested": [{"efek": "hush3"}]})";
    entry.answer = R"({"accessToken": "hush4", "refreshToken": "hush5", "url": "http://x/y?signature=hush6",
        "keys": [{"encryptedKey": "hush7", "keyUuid": "seen"}], "temporaryKey": "hush8"})";
    Journal(folder_.Path() / "journal", true).Write(entry);
    std::ifstream stream(folder_.Path() / "journal");
    const std::string line{std::istreambuf_iterator<char>(stream), {}};
    EXPECT_EQ(line.find("hush"), std::string::npos) << line;
    EXPECT_NE(line.find("anna"), std::string::npos);
    EXPECT_NE(line.find("seen"), std::string::npos);
}

}  // namespace

}  // namespace Drive::ReferenceCloud
