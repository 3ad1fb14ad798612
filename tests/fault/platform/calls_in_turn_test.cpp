#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <functional>
#include <iterator>
#include <optional>
#include <set>

#include "interfaces/platform/file_calls.h"
#include "tests/contract/platform/temporary_folder.h"
#include "tests/fault/platform/call_faults.h"

namespace Drive::Platform {

namespace {

std::size_t CountDescriptors() {
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator()));
}

/// A folder with a source and a target, and what the calls under trial do in it.
class CallsInTurn : public ::testing::Test {
protected:
    using Operation = std::function<bool()>;

    HANDLE Open(const std::string& name, DWORD access, DWORD disposition) {
        return CreateFileW(folder->Engine(name).c_str(), access, 7, nullptr, disposition, 0, nullptr);
    }

    /// Opens a new file, writes, syncs, reads it again and closes it; stops at the first failure.
    bool WriteAndReadBack() {
        const HANDLE handle = Open("new", kGenericRead | kGenericWrite, kOpenAlways);
        char back[7] = {};
        const bool done = IsOpenHandle(handle) && WriteAt(handle, 0, "content", 7) && SyncToDisk(handle) &&
                          SizeOf(handle) == 7 && ReadAt(handle, 0, back, 7) == 7 && std::string(back, 7) == "content";
        EXPECT_EQ(CloseHandle(handle) != 0, IsOpenHandle(handle));
        return done;
    }

    bool MakeNewFile(DWORD access) { return CloseHandle(Open("new", access, kOpenAlways)) != 0; }

    bool Copy(const std::string& to, bool failIfExists) {
        return CopyFileW(folder->Engine("from").c_str(), folder->Engine(to).c_str(), failIfExists) != 0;
    }

    bool AskForSpace() {
        DiskBytes free = 0;
        const bool told = GetDiskFreeSpaceExW(folder->Engine("").c_str(), &free, nullptr, nullptr) != 0;
        EXPECT_EQ(told, free != 0);
        return told;
    }

    std::vector<std::pair<std::string, Operation>> Operations() {
        return {{"write and read", [this] { return WriteAndReadBack(); }},
                {"make", [this] { return MakeNewFile(kGenericWrite); }},
                {"make for attributes", [this] { return MakeNewFile(kFileReadAttributes); }},
                {"copy onto", [this] { return Copy("to", false); }},
                {"copy beside", [this] { return Copy("new", true); }},
                {"space", [this] { return AskForSpace(); }}};
    }

    void BeginAnew() {
        folder.emplace();
        folder->Put("from", "the new content");
        folder->Put("to", "old");
    }

    /// Runs the operation again and again, each time with the next of its calls failing, until all had their turn;
    /// `judge` takes the name of the call and what the operation answered. Returns how many calls there were.
    template <typename Judge>
    std::size_t InTurn(const std::string& name, const Operation& operation, int error, Judge judge) {
        for (std::size_t which = 1; which < 100; ++which) {
            BeginAnew();
            const std::size_t handles = OpenHandleCount();
            const std::size_t descriptors = CountDescriptors();
            Trial::FailCall(static_cast<int>(which), error);
            const bool done = operation();
            const std::vector<std::string> made = Trial::EndFaults();
            SCOPED_TRACE(name + ", call " + std::to_string(which) + ", error " + std::to_string(error));
            ExpectNothingLost(name, done);
            EXPECT_EQ(OpenHandleCount(), handles);
            EXPECT_EQ(CountDescriptors(), descriptors);
            if (made.size() < which) {
                EXPECT_TRUE(done);
                return made.size();
            }
            judge(made[which - 1], done);
        }
        ADD_FAILURE() << name << " does not come to an end";
        return 0;
    }

    /// What must hold whatever went wrong: nothing is left open or lies about, and the target is whole.
    void ExpectNothingLost(const std::string& name, bool done) {
        EXPECT_EQ(folder->Get("from"), "the new content");
        EXPECT_EQ(folder->Get("to"), name == "copy onto" && done ? "the new content" : "old");
        if (name.starts_with("make")) {
            EXPECT_EQ(folder->Has("new"), done);
        }
        if (name == "copy beside") {
            EXPECT_EQ(folder->Has("new"), done);
            EXPECT_EQ(folder->Get("new"), done ? "the new content" : "");
        }
        EXPECT_EQ(folder->CountEntries(), folder->Has("new") ? 3u : 2u);
    }

    std::optional<Testing::TemporaryFolder> folder;
};

}  // namespace

// PLAT-FAULT-01
TEST_F(CallsInTurn, OfWhichOneFailsLoseNothingAndLeaveNothingOpen) {
    for (const auto& [name, operation] : Operations()) {
        for (const int error : {EIO, ENOSPC, EMFILE, EACCES}) {
            const std::size_t most = InTurn(name, operation, error, [](const std::string&, bool) {});
            EXPECT_GE(most, 1u) << name;
        }
    }
}

// PLAT-FAULT-02
TEST_F(CallsInTurn, OfWhichOneIsInterruptedSucceed) {
    // The others do nothing that a signal could interrupt.
    const std::set<std::string> interruptible{"open", "pread", "pwrite", "fsync", "syncfs", "statvfs", "mkostemp"};
    for (const auto& [name, operation] : Operations()) {
        InTurn(name, operation, EINTR, [&](const std::string& struck, bool done) {
            EXPECT_TRUE(done || interruptible.count(struck) == 0) << struck;
        });
    }
}

// PLAT-FAULT-03
TEST_F(CallsInTurn, ThatMoveSingleBytesMoveTheWholeBlock) {
    for (const auto& [name, operation] : Operations()) {
        BeginAnew();
        Trial::MoveSingleBytes();
        const bool done = operation();
        Trial::EndFaults();
        EXPECT_TRUE(done) << name;
        ExpectNothingLost(name, done);
    }
}

}  // namespace Drive::Platform
