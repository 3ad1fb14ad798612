// The other operations on files while each system call of the process on them goes wrong in turn: what answers true
// has done all of it, what answers false says so and leaves what was there.
#include <algorithm>
#include <cerrno>
#include <functional>

#include "collaborators/common/file_replace.h"
#include "interfaces/common/file_helper.h"
#include "interfaces/common/ini_file_helper.h"
#include "interfaces/logging/log_settings.h"
#include "interfaces/platform/file_calls.h"
#include "tests/contract/common/stepped_clock.h"
#include "tests/contract/common/test_folders.h"
#include "tests/fault/support/system_calls.h"

namespace Drive::Common {

namespace {

using Testing::CallFault;
using Kind = CallFault::Kind;

struct Life {
    const char* name;
    CallFault fault;
    bool passes;  ///< nothing that would have to be told: every operation succeeds all the same
};

void PrintTo(const Life& life, std::ostream* out) { *out << life.name; }

class FileCalls : public Trial::WithFolders, public ::testing::WithParamInterface<Life> {
protected:
    void SetUp() override {
        WithFolders::SetUp();
        Logging::SetTextSink([this](const Logging::TextRecord& record) { lines.push_back(record); });
        std::fill(std::begin(g_SyncUserKey), std::end(g_SyncUserKey), std::uint8_t{7});
    }
    void TearDown() override {
        Testing::EndCallFaults();
        std::fill(std::begin(g_SyncUserKey), std::end(g_SyncUserKey), std::uint8_t{0});
        Logging::SetTextSink({});
        WithFolders::TearDown();
    }

    fs::path Native(const char* name) const { return base / "root" / name; }

    /// Each call of `operation` in turn; `judge` takes whether anything went wrong and sees the calls as they are.
    void Sweep(const std::function<void()>& prepare, const std::function<void()>& operation,
               const std::function<void(bool struck)>& judge) {
        constexpr int kMostCalls = 1000;
        const std::size_t descriptors = Testing::CountOpenDescriptors();
        for (int nth = 1; nth < kMostCalls; ++nth) {
            prepare();
            lines.clear();
            Testing::BeginCallFaults(base, GetParam().fault, nth);
            operation();
            const std::string struck = Testing::EndCallFaults().struck;
            SCOPED_TRACE("call " + std::to_string(nth) + ": " + struck);
            judge(!struck.empty());
            EXPECT_EQ(Testing::CountOpenDescriptors(), descriptors);
            if (HasFailure() || struck.empty()) return;
        }
        ADD_FAILURE() << "the sweep did not end";
    }

    /// An answer is true where nothing went wrong or nothing that matters did, and one that is false is told.
    void CheckAnswer(bool done, bool struck) {
        EXPECT_TRUE(done || (struck && !GetParam().passes));
        EXPECT_TRUE(done || !lines.empty()) << "failed without a word";
    }

    void Restore() {
        fs::remove_all(base / "root");
        fs::create_directory(base / "root");
        Trial::Put(Native("file"), old);
    }

    const std::string old = Trial::Noise(600000, 3);
    const std::string fresh = Trial::Noise(60000, 4);
    std::vector<Logging::TextRecord> lines;
};

// COM-FAULT-01
TEST_P(FileCalls, FoldersAreMadeWithAllTheirParentsOrItIsTold) {
    bool done = false;
    Sweep([&] { Restore(); }, [&] { done = FileHepler::CreateLocalDirectory(InRoot(L"a\\b\\c")); },
          [&](bool struck) {
              CheckAnswer(done, struck);
              EXPECT_TRUE(!done || fs::is_directory(Native("a/b/c")));
              EXPECT_TRUE(FileHepler::CreateLocalDirectory(InRoot(L"a\\b\\c"))) << "again";
          });
}

// COM-FAULT-02
TEST_P(FileCalls, ABlockThatIsWrittenByHandleIsWholeOrItIsTold) {
    constexpr std::int64_t kPosition = 7001;
    bool done = false;
    Platform::HANDLE handle = nullptr;
    Sweep(
        [&] {
            Restore();
            handle = Platform::CreateFileW(InRoot(L"file").c_str(), Platform::kGenericWrite, 7, nullptr,
                                           Platform::kOpenExisting, 0, nullptr);
            ASSERT_TRUE(Platform::IsOpenHandle(handle));
        },
        [&] {
            done = FileHepler::WriteLocalFileByHandleV(kPosition, fresh.data(), fresh.size(), handle);
            Platform::CloseHandle(handle);
        },
        [&](bool struck) {
            CheckAnswer(done, struck);
            const std::string content = Trial::Get(Native("file"));
            std::string expected = old;
            expected.replace(kPosition, fresh.size(), fresh);
            EXPECT_TRUE(!done || content == expected);
            ASSERT_EQ(content.size(), old.size());
            EXPECT_TRUE(content.substr(0, kPosition) == old.substr(0, kPosition));
            EXPECT_TRUE(content.substr(kPosition + fresh.size()) == old.substr(kPosition + fresh.size()));
        });
}

// COM-FAULT-03
TEST_P(FileCalls, ADigestIsThatOfTheWholeContentOrNone) {
    Restore();
    std::wstring sha256, md5, sha256Before, md5Before;
    ASSERT_TRUE(FileHepler::GetFileHash(InRoot(L"file"), sha256Before, md5Before));
    const std::string keyedBefore = FileHepler::GetFileHmac(InRoot(L"file"));
    ASSERT_EQ(keyedBefore.size(), 64u);
    bool done = false;
    Sweep([&] { Restore(); }, [&] { done = FileHepler::GetFileHash(InRoot(L"file"), sha256, md5); },
          [&](bool struck) {
              CheckAnswer(done, struck);
              EXPECT_EQ(sha256, done ? sha256Before : L"");
              EXPECT_EQ(md5, done ? md5Before : L"");
          });
    std::string keyed;
    Sweep([&] { Restore(); },
          [&] {
              sha256 = FileHepler::GetFileSha256(InRoot(L"file"));
              keyed = FileHepler::GetFileHmac(InRoot(L"file"));
          },
          [&](bool struck) {
              CheckAnswer(!sha256.empty() && !keyed.empty(), struck);
              EXPECT_TRUE(sha256.empty() || sha256 == sha256Before);
              EXPECT_TRUE(keyed.empty() || keyed == keyedBefore);
              EXPECT_EQ(FileHepler::GetFileSha256(InRoot(L"file")), sha256Before) << "remembered wrongly";
          });
}

// COM-FAULT-04
TEST_P(FileCalls, AFileIsReadWholeOrNotAtAll) {
    std::vector<char> content;
    bool done = false;
    Sweep([&] { Restore(); }, [&] { done = FileHepler::ReadLocalFile(InRoot(L"file"), content); },
          [&](bool struck) {
              CheckAnswer(done, struck);
              EXPECT_TRUE(std::string(content.begin(), content.end()) == (done ? old : ""));
          });
}

// COM-FAULT-05
TEST_P(FileCalls, AFileThatCannotBeAskedForDoesNotLookLikeADeletedOne) {
    bool exists = false, absent = false;
    Sweep([&] { Restore(); },
          [&] {
              exists = FileHepler::IsFileExists(InRoot(L"file"));
              absent = !FileHepler::IsFileExists(InRoot(L"none"));
          },
          [&](bool struck) {
              EXPECT_TRUE(exists);
              EXPECT_TRUE(absent || struck);
          });
}

// COM-FAULT-06
TEST_P(FileCalls, AFileIsRemovedOrItIsTold) {
    Sweep([&] { Restore(); }, [&] { FileHepler::RemoveFile(InRoot(L"file")); },
          [&](bool struck) { CheckAnswer(!fs::exists(Native("file")), struck); });
}

// COM-FAULT-07
TEST_P(FileCalls, AFileIsReplacedWholeOrStaysAsItWas) {
    const std::vector<char> content(fresh.begin(), fresh.end());
    bool done = false;
    Sweep([&] { Restore(); }, [&] { done = ReplaceFile(InRoot(L"file"), content); },
          [&](bool struck) {
              EXPECT_TRUE(done || (struck && !GetParam().passes));
              EXPECT_TRUE(Trial::Get(Native("file")) == (done ? fresh : old));
              const auto left = std::distance(fs::directory_iterator(base / "root"), {});
              EXPECT_TRUE(left == 1 || GetParam().fault.lasting) << "what was written beside it is left over";
          });
}

// COM-FAULT-08
TEST_P(FileCalls, AValueOfTheSettingsIsWholeOrEmpty) {
    const std::string value = "the value, " + std::string(100, 'v') + " end";
    std::string found;
    Sweep(
        [&] {
            Restore();
            // The value stands where one reading of the file ends and the next begins.
            Trial::Put(Native("set.ini"), std::string(16300, ';') + "\n[s]\nkey=" + value + "\n");
        },
        [&] { found = IniFileHelper(InRoot(L"set.ini").c_str()).ReadIniValueByKeyTypeString(L"key"); },
        [&](bool struck) {
            EXPECT_TRUE(found == value || found.empty()) << found;
            EXPECT_TRUE(!found.empty() || (struck && !GetParam().passes));
        });
}

INSTANTIATE_TEST_SUITE_P(Sweep, FileCalls,
                         ::testing::Values(Life{"ErrorOnce", {Kind::Error, EIO, false, {}}, false},
                                           Life{"ErrorFromThenOn", {Kind::Error, EIO, true, {}}, false},
                                           Life{"NoDescriptorOnce", {Kind::Error, EMFILE, false, {}}, false},
                                           Life{"FullFromThenOn", {Kind::Error, ENOSPC, true, {}}, false},
                                           Life{"InterruptOnce", {Kind::Interrupt, EINTR, false, {}}, true},
                                           Life{"ShortOnce", {Kind::ShortMove, 0, false, {}}, true},
                                           Life{"ShortFromThenOn", {Kind::ShortMove, 0, true, {}}, true},
                                           Life{"ClosingOnce", {Kind::LostClose, EIO, false, {}}, true}),
                         [](const auto& info) { return info.param.name; });

}  // namespace

}  // namespace Drive::Common
