#include <cerrno>

#include "interfaces/common/file_helper.h"
#include "tests/contract/common/faults.h"
#include "tests/contract/common/test_bytes.h"
#include "tests/contract/common/test_folders.h"

namespace Drive::Common {

namespace {

using Trial::CurrentFaults;

class ReadRepeats : public Trial::WithFolders {
protected:
    void SetUp() override {
        WithFolders::SetUp();
        text = Trial::Noise(100000);
        Trial::Put(base / "root/f", text);
    }
    bool Read() {
        content.assign(3, 'o');
        return FileHepler::ReadLocalFile(InRoot(L"f"), content);
    }

    Trial::FreshFaults fresh;
    std::string text;
    std::vector<char> content;
};

// COM-READ-03
TEST_F(ReadRepeats, AFaultOnTheWayIsFalseAndLeavesNothing) {
    for (const Trial::Script& faults : {Trial::Script{EIO}, Trial::Script{-1000, EIO}, Trial::Script{-1, -1, ESTALE}}) {
        CurrentFaults().read = faults;
        EXPECT_FALSE(Read());
        EXPECT_TRUE(content.empty());
        EXPECT_TRUE(CurrentFaults().read.empty()) << "every fault was met";
    }
    EXPECT_TRUE(Read());
}

// COM-READ-03
TEST_F(ReadRepeats, AFileThatShrinksOrGrowsMeanwhileIsFalseAndLeavesNothing) {
    for (const std::uintmax_t size : {std::uintmax_t{50000}, std::uintmax_t{100001}}) {
        CurrentFaults().read = {-1000};
        CurrentFaults().beforeRead = [&] { fs::resize_file(base / "root/f", size); };
        EXPECT_FALSE(Read()) << size;
        EXPECT_TRUE(content.empty());
        CurrentFaults().beforeRead = nullptr;
        Trial::Put(base / "root/f", text);
    }
}

// COM-READ-01
TEST_F(ReadRepeats, InterruptionsAndShortReadsAreGoneOverInside) {
    CurrentFaults().read = {EINTR, -1, -1000, EINTR, -3};
    ASSERT_TRUE(Read());
    EXPECT_EQ(std::string(content.begin(), content.end()), text);
}

}  // namespace

}  // namespace Drive::Common
