// What becomes of a picture when the process that decodes it comes to grief.
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <algorithm>
#include <chrono>

#include "collaborators/common/generic_picture.h"
#include "collaborators/common/thumbnail_process.h"
#include "interfaces/common/thumbnail_helper.h"
#include "interfaces/logging/log_settings.h"
#include "tests/contract/common/test_folders.h"

namespace {

constexpr int kLongWait = 10'000;
constexpr int kShortWait = 300;
bool g_isShort = false;
bool g_hasWaitedLong = false;

}  // namespace

extern "C" {
int __real_poll(pollfd* events, nfds_t count, int milliseconds);
/// Where the case says so, what is a long wait in earnest is a short one.
int __wrap_poll(pollfd* events, nfds_t count, int milliseconds) {
    g_hasWaitedLong = g_hasWaitedLong || milliseconds >= kLongWait;
    return __real_poll(events, count, g_isShort ? std::min(milliseconds, kShortWait) : milliseconds);
}
}

namespace Drive::Common {

namespace {

const std::string kWhole = "\xFF\xD8 a picture \xFF\xD9";

class Helper : public Trial::WithFolders {
protected:
    void SetUp() override {
        WithFolders::SetUp();
        Logging::SetTextSink([this](const Logging::TextRecord& record) { log += record.text + "\n"; });
        program = fs::read_symlink("/proc/self/exe").parent_path() / "zelkor-thumbnailer";
        fs::remove_all(program);
    }
    void TearDown() override {
        Logging::SetTextSink({});
        fs::remove_all(program);
        WithFolders::TearDown();
    }

    /// The helper is a script from now on; it finds the file at 3 and writes to 4.
    void Is(const std::string& script) {
        Trial::Put(program, "#!/bin/sh\n" + script + "\n");
        ASSERT_EQ(chmod(program.c_str(), 0700), 0);
    }

    bool Make() {
        log.clear();
        Trial::Put(base / "root/photo of a day.jpg", "content");
        FileItem file;
        file.SetMimeType(L"image/jpeg");
        file.SetFileClientPath(InRoot(L"photo of a day.jpg"));
        return ThumbnailHelper::CreateThumbnail(file, ThumbnailOptions::Thumbnail, g_thumbnailFolder + L"t.jpg");
    }
    std::string Made() const { return Trial::Get(base / "small/t.jpg"); }

    void ExpectGeneric(const std::string& reason) {
        ASSERT_TRUE(Make()) << reason;
        const std::vector<char> generic = GenericPicture();
        EXPECT_EQ(Made(), std::string(generic.begin(), generic.end())) << reason;
        EXPECT_NE(log.find("photo of a day.jpg"), std::string::npos) << log;
        EXPECT_NE(log.find(reason), std::string::npos) << log;
        EXPECT_NE(log.find("A generic picture stands for it; the file itself is sent as it is."), std::string::npos);
        EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a process is left";
    }

    fs::path program;
    std::string log;
};

// COM-THUMB-21
TEST_F(Helper, ThatComesToGriefLeavesAGenericPictureAndItsReason) {
    Is("printf '" + kWhole + "' >&4");
    ASSERT_TRUE(Make());
    EXPECT_EQ(Made(), kWhole) << "a helper that does its work is heard";
    Is("kill -KILL $$");
    ExpectGeneric("the helper was ended by signal 9");
    Is("kill -SEGV $$");
    ExpectGeneric("the helper was ended by signal 11");
    Is("echo 'no such format' >&2; exit 2");
    ExpectGeneric("no such format");
    Is("echo 'a library is missing' >&2; exit 127");
    ExpectGeneric("a library is missing");
    Is("exit 0");
    ExpectGeneric("could not make the picture");
    Is("printf '\\377\\330 half of it' >&4");
    ExpectGeneric("could not make the picture");
    Is("printf '" + kWhole + "' >&4; kill -KILL $$");
    ExpectGeneric("the helper was ended by signal 9");
}

// COM-THUMB-22
TEST_F(Helper, ThatHangsIsEndedWhenItsTimeIsUp) {
    Is("exec sleep 60");
    g_isShort = true;
    const auto begin = std::chrono::steady_clock::now();
    ExpectGeneric("decoding took too long");
    g_isShort = false;
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(30));
    EXPECT_TRUE(g_hasWaitedLong) << "outside of this test it has time";
}

// COM-THUMB-23
TEST_F(Helper, ThatIsMissingOrCannotBeRunLeavesAGenericPicture) {
    ExpectGeneric("zelkor-thumbnailer is not installed beside the library");
    Is("exit 0");
    ASSERT_EQ(chmod(program.c_str(), 0600), 0);
    ExpectGeneric("zelkor-thumbnailer is not installed beside the library");
    Trial::Put(program, "neither a program nor a script");
    ASSERT_EQ(chmod(program.c_str(), 0700), 0);
    ExpectGeneric("could not start");
    Trial::Put(program, "#!/no/such/shell\n");
    ExpectGeneric("could not start");
}

// COM-THUMB-24
TEST_F(Helper, ThatIsAskedToEndMakesNoPictureAndIsTriedAgain) {
    for (const char* signal : {"TERM", "INT", "HUP"}) {
        Is(std::string("kill -") + signal + " $$");
        EXPECT_FALSE(Make()) << signal;
        EXPECT_TRUE(fs::is_empty(base / "small")) << signal;
        EXPECT_NE(log.find("It is tried again."), std::string::npos) << log;
    }
}

}  // namespace

}  // namespace Drive::Common
