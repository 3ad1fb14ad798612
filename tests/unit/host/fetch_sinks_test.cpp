#include "host/fetch/fetch_sinks.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include "tests/unit/host/temporary_folder.h"

namespace Drive::Host {
namespace {

class Sinks : public testing::Test {
protected:
    void OpenSink() {
        folder.Write("file", "left over from before");
        FetchSinks::Open(L"\\file", open(folder.Path("file").c_str(), O_WRONLY | O_CLOEXEC));
    }
    ~Sinks() override { FetchSinks::Close(L"\\file"); }

    static bool Take(std::int64_t offset, const std::string& data) {
        return FetchSinks::Take(L"\\file", offset, reinterpret_cast<const unsigned char*>(data.data()),
                                static_cast<std::int64_t>(data.size()));
    }

    const TemporaryFolder folder;
};

// HOST-FETCH-01
TEST_F(Sinks, TakeBlocksInOrder) {
    OpenSink();
    EXPECT_TRUE(FetchSinks::Begin(L"\\file"));
    EXPECT_TRUE(Take(0, "one"));
    EXPECT_TRUE(Take(3, "two"));
    EXPECT_EQ(FetchSinks::Arrived(L"\\file"), 6);
    EXPECT_TRUE(FetchSinks::Sync(L"\\file"));
    EXPECT_EQ(folder.Read("file"), "onetwo");
}

// HOST-FETCH-01
TEST_F(Sinks, RefuseABlockThatDoesNotComeNext) {
    OpenSink();
    EXPECT_TRUE(FetchSinks::Begin(L"\\file"));
    EXPECT_TRUE(Take(0, "one"));
    EXPECT_FALSE(Take(0, "one"));
    EXPECT_FALSE(Take(4, "x"));
    EXPECT_EQ(folder.Read("file"), "one");
}

// HOST-FETCH-01
TEST_F(Sinks, StartAnewWhenTheEngineDoes) {
    OpenSink();
    EXPECT_TRUE(FetchSinks::Begin(L"\\file"));
    EXPECT_TRUE(Take(0, "first try"));
    EXPECT_TRUE(FetchSinks::Begin(L"\\file"));
    EXPECT_EQ(FetchSinks::Arrived(L"\\file"), 0);
    EXPECT_TRUE(Take(0, "second"));
    EXPECT_EQ(folder.Read("file"), "second");
}

// HOST-FETCH-01
TEST_F(Sinks, TakeNothingBeforeTheBeginning) {
    OpenSink();
    EXPECT_EQ(FetchSinks::Arrived(L"\\file"), -1);
    EXPECT_FALSE(Take(0, "early"));
}

// HOST-FETCH-02
TEST_F(Sinks, RefuseFilesThatNobodyAskedFor) {
    EXPECT_FALSE(FetchSinks::Begin(L"\\other"));
    EXPECT_FALSE(Take(0, "x"));
    EXPECT_FALSE(FetchSinks::Sync(L"\\other"));
}

// HOST-FETCH-02
TEST_F(Sinks, TakeNothingAfterTheyAreClosed) {
    OpenSink();
    EXPECT_TRUE(FetchSinks::Begin(L"\\file"));
    FetchSinks::Close(L"\\file");
    EXPECT_FALSE(Take(0, "late"));
}

}  // namespace
}  // namespace Drive::Host
