// Objects are taken whole or refused, kept, and read as they are, whichever system call goes wrong.
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <optional>

#include "reference_cloud/file_object_store.h"
#include "reference_cloud/sync_folder.h"
#include "tests/contract/platform/temporary_folder.h"
#include "tests/fault/support/system_calls.h"

namespace Drive::ReferenceCloud {

namespace {

namespace fs = std::filesystem;
using Testing::CallFault;
using Kind = CallFault::Kind;

struct Life {
    const char* name;
    CallFault fault;
    bool passes;  ///< nothing that would have to be told: every operation succeeds all the same
};

void PrintTo(const Life& life, std::ostream* out) { *out << life.name; }

/// More than two of the blocks in which objects are written, and a rest.
constexpr std::size_t kBytes = 1150000;
constexpr std::size_t kPiece = 70001;

std::string Noise(std::size_t length, std::uint32_t seed) {
    std::string bytes(length, '\0');
    for (char& byte : bytes) {
        seed = seed * 1664525U + 1013904223U;
        byte = static_cast<char>(seed >> 24);
    }
    return bytes;
}

class CloudStoreCalls : public ::testing::TestWithParam<Life> {
protected:
    void TearDown() override { Testing::EndCallFaults(); }

    /// Each call of `operation` in turn. `operation` fails by an exception; `judge` takes whether it was done.
    void Sweep(const std::function<void()>& operation, const std::function<void(bool done)>& judge) {
        constexpr int kMostCalls = 3000;
        const std::size_t descriptors = Testing::CountOpenDescriptors();
        for (int nth = 1; nth < kMostCalls; ++nth) {
            Testing::BeginCallFaults(folder.Native("").string(), GetParam().fault, nth);
            bool done = false;
            std::string reason = "-";
            try {
                operation();
                done = true;
            } catch (const std::exception& failure) {
                reason = failure.what();
            }
            const std::string struck = Testing::EndCallFaults().struck;
            SCOPED_TRACE("call " + std::to_string(nth) + ": " + struck);
            EXPECT_TRUE(done || (!struck.empty() && !GetParam().passes)) << reason;
            EXPECT_NE(reason, "") << "failed without a word";
            judge(done);
            EXPECT_EQ(Testing::CountOpenDescriptors(), descriptors);
            if (HasFailure() || struck.empty()) return;
        }
        ADD_FAILURE() << "the sweep did not end";
    }

    fs::path Root() const { return folder.Native("objects"); }

    std::string Put(ObjectStore& store, const std::string& bytes, bool sync) {
        writer = store.Create(sync);
        for (std::size_t at = 0; at < bytes.size(); at += kPiece) writer->Append(bytes.substr(at, kPiece));
        return writer->Commit();
    }

    static std::string Get(ObjectStore& store, const std::string& key) {
        const auto reader = store.Open(key);
        if (!reader) return "none";
        std::string bytes, buffer(200000, '\0');
        while (const std::size_t count = reader->Read(static_cast<std::int64_t>(bytes.size()), buffer.data(), 200000)) {
            bytes.append(buffer, 0, count);
        }
        return bytes;
    }

    static std::set<std::string> Keys(ObjectStore& store) {
        std::set<std::string> keys;
        store.ForEach([&](const std::string& key) { keys.insert(key); });
        return keys;
    }

    /// A writer that failed must not be talked into an object by a second try: a part of its bytes is lost.
    void ExpectNoSecondTry() {
        if (writer) {
            EXPECT_ANY_THROW(writer->Commit());
        }
    }

    const Testing::TemporaryFolder folder;
    const std::string kept = Noise(300000, 1);
    const std::string fresh = Noise(kBytes, 2);
    std::unique_ptr<ObjectWriter> writer;
};

// REF-STORE-31
TEST_P(CloudStoreCalls, AnObjectIsTakenWholeOrRefusedAndTheOthersStay) {
    const auto store = OpenFileObjectStore(Root());
    const std::string keptKey = Put(*store, kept, true);
    for (const bool sync : {true, false}) {
        std::string key;
        Sweep([&] { key.clear(), writer.reset(), key = Put(*store, fresh, sync); },
              [&](bool done) {
                  if (!done) ExpectNoSecondTry();
                  writer.reset();
                  EXPECT_TRUE(Get(*store, keptKey) == kept);
                  for (const std::string& found : Keys(*store)) {
                      EXPECT_TRUE(found == keptKey || Get(*store, found) == fresh) << "a part under its key";
                      EXPECT_TRUE(found == keptKey || !done || found == key);
                      if (found != keptKey) store->Remove(found);
                  }
                  EXPECT_TRUE(!done || !key.empty());
                  store->DropUnfinished();
                  EXPECT_TRUE(fs::is_empty(Root() / "unfinished"));
              });
    }
}

// REF-STORE-32
TEST_P(CloudStoreCalls, AnObjectIsReadAsItIsOrNotAtAll) {
    const auto store = OpenFileObjectStore(Root());
    const std::string key = Put(*store, kept, true);
    std::string bytes;
    Sweep([&] { bytes = Get(*store, key); },
          [&](bool done) {
              EXPECT_TRUE(!done || bytes == kept) << "one that is there looks like none, or like another";
          });
}

// REF-STORE-33
TEST_P(CloudStoreCalls, TheStoreIsOpenedWithAllItsObjectsOrItIsTold) {
    const std::string key = Put(*OpenFileObjectStore(Root()), kept, true);
    std::unique_ptr<ObjectStore> store;
    Sweep([&] { store.reset(), store = OpenFileObjectStore(Root()); },
          [&](bool) { EXPECT_TRUE(Get(*OpenFileObjectStore(Root()), key) == kept); });
}

// REF-STORE-34
TEST_P(CloudStoreCalls, AnObjectIsRemovedOrItIsToldAndTheOthersStay) {
    const auto store = OpenFileObjectStore(Root());
    const std::string keptKey = Put(*store, kept, true);
    std::string key = Put(*store, "x", true);
    writer.reset();
    Sweep([&] { store->Remove(key); },
          [&](bool done) {
              EXPECT_EQ(Get(*store, key), done ? "none" : "x");
              EXPECT_TRUE(Get(*store, keptKey) == kept);
              key = Put(*store, "x", true);
              writer.reset();
          });
}

// REF-STORE-35
TEST_P(CloudStoreCalls, AFileOfKeysIsTheOldOneOrTheNewOne) {
    const fs::path path = folder.Native("keys");
    WriteDurably(path, kept);
    std::string before = kept;
    int round = 0;
    std::string next;
    Sweep(
        [&] {
            next = fresh + std::to_string(++round);
            WriteDurably(path, next);
        },
        [&](bool done) {
            std::ifstream file(path, std::ios::binary);
            const std::string now{std::istreambuf_iterator<char>(file), {}};
            EXPECT_TRUE(now == next || (!done && now == before));
            before = now;
        });
}

INSTANTIATE_TEST_SUITE_P(Sweep, CloudStoreCalls,
                         ::testing::Values(Life{"ErrorOnce", {Kind::Error, EIO, false, {}}, false},
                                           Life{"ErrorFromThenOn", {Kind::Error, EIO, true, {}}, false},
                                           Life{"FullOnce", {Kind::Error, ENOSPC, false, {}}, false},
                                           Life{"QuotaFromThenOn", {Kind::Error, EDQUOT, true, {}}, false},
                                           Life{"ClosingOnce", {Kind::LostClose, EIO, false, {}}, false},
                                           Life{"InterruptOnce", {Kind::Interrupt, EINTR, false, {}}, false},
                                           Life{"ShortOnce", {Kind::ShortMove, 0, false, {}}, true},
                                           Life{"ShortFromThenOn", {Kind::ShortMove, 0, true, {}}, true}),
                         [](const auto& info) { return info.param.name; });

}  // namespace

}  // namespace Drive::ReferenceCloud
