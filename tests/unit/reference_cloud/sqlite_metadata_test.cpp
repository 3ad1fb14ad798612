#include "reference_cloud/sqlite_metadata.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "tests/unit/reference_cloud/temporary_folder.h"

namespace Drive::ReferenceCloud {

namespace {

class SqliteMetadataTest : public testing::Test {
protected:
    static FileRow File(const std::string& id, const std::string& parent, const std::string& name, int depth) {
        FileRow file;
        file.id = id, file.userId = "u", file.parentId = parent, file.name = name, file.depth = depth;
        file.attachments = {3, 5};
        return file;
    }
    std::string Path() const { return folder_.Path() / "cloud.db"; }

    TemporaryFolder folder_;
    std::unique_ptr<MetadataStore> store_ = OpenSqliteMetadata(Path());
};

// REF-META-01
TEST_F(SqliteMetadataTest, KeepsRowsAcrossAnotherOpening) {
    store_->Change([](Rows& rows) { rows.PutFile(File("1", "r", "a", 1)); });
    store_ = OpenSqliteMetadata(Path());
    store_->Read([](Rows& rows) {
        const auto file = rows.FileById("1");
        ASSERT_TRUE(file);
        EXPECT_EQ(file->name, "a");
        EXPECT_EQ(file->attachments, (std::vector<std::int64_t>{3, 5}));
    });
}

// REF-META-02
TEST_F(SqliteMetadataTest, TakesEverythingBackWhenTheWorkThrows) {
    EXPECT_THROW(store_->Change([](Rows& rows) {
        rows.PutFile(File("1", "r", "a", 1));
        throw std::runtime_error("no");
    }),
                 std::runtime_error);
    store_->Read([](Rows& rows) { EXPECT_FALSE(rows.FileById("1")); });
}

// REF-META-03
TEST_F(SqliteMetadataTest, UpdatesByIdAndNeverTakesANameFromAnotherRow) {
    store_->Change([](Rows& rows) {
        rows.PutFile(File("1", "r", "a", 1));
        rows.PutFile(File("1", "r", "b", 1));
        rows.PutFile(File("2", "r", "a", 1));
    });
    EXPECT_ANY_THROW(store_->Change([](Rows& rows) { rows.PutFile(File("3", "r", "a", 1)); }));
    store_->Change([](Rows& rows) {
        EXPECT_EQ(rows.LiveChild("r", "a")->id, "2");
        EXPECT_EQ(rows.LiveChild("r", "b")->id, "1");
        FileRow gone = *rows.FileById("2");
        gone.deletedAt = 7;
        rows.PutFile(gone);
        rows.PutFile(File("3", "r", "a", 1));
        EXPECT_EQ(rows.LiveChild("r", "a")->id, "3");
    });
}

// REF-META-04
TEST_F(SqliteMetadataTest, ListsByDepthInPages) {
    store_->Change([](Rows& rows) {
        rows.PutFile(File("root", "", "u", 0));
        rows.PutFile(File("9", "root", "a", 1));
        rows.PutFile(File("1", "9", "b", 2));
        rows.PutFile(File("5", "root", "c", 1));
    });
    store_->Read([](Rows& rows) {
        const auto first = rows.ListAfter("u", 0, "", 2);
        ASSERT_EQ(first.size(), 2U);
        EXPECT_EQ(first[0].id, "5");
        EXPECT_EQ(first[1].id, "9");
        const auto second = rows.ListAfter("u", first[1].depth, first[1].id, 2);
        ASSERT_EQ(second.size(), 1U);
        EXPECT_EQ(second[0].id, "1");
    });
}

// REF-META-05
TEST_F(SqliteMetadataTest, GivesChangesInOrderToTheirUserOnly) {
    store_->Change([](Rows& rows) {
        rows.AddChange("u", "one");
        rows.AddChange("v", "other");
        rows.AddChange("u", "two");
    });
    store_->Read([](Rows& rows) {
        const auto changes = rows.ChangesAfter("u", 0, 10);
        ASSERT_EQ(changes.size(), 2U);
        EXPECT_EQ(changes[0].snapshot, "one");
        EXPECT_EQ(changes[1].snapshot, "two");
        EXPECT_EQ(rows.LastChange("u"), changes[1].sequence);
        EXPECT_EQ(rows.ChangesAfter("u", changes[0].sequence, 10).size(), 1U);
        EXPECT_EQ(rows.LastChange("nobody"), 0);
    });
}

// REF-META-06
TEST_F(SqliteMetadataTest, FindsAContentOnlyWhileALiveFileHasIt) {
    store_->Change([](Rows& rows) {
        Content content;
        content.id = "c", content.userId = "u", content.sha256 = "d", content.size = 3;
        rows.PutContent(content);
        EXPECT_FALSE(rows.ContentByDigest("u", "d", 3));
        FileRow file = File("1", "r", "a", 1);
        file.contentId = "c";
        rows.PutFile(file);
        EXPECT_TRUE(rows.ContentByDigest("u", "d", 3));
        EXPECT_FALSE(rows.ContentByDigest("v", "d", 3));
        EXPECT_FALSE(rows.ContentByDigest("u", "d", 4));
        file.deletedAt = 1;
        rows.PutFile(file);
        EXPECT_FALSE(rows.ContentByDigest("u", "d", 3));
        EXPECT_TRUE(rows.ContentIsUsed("c"));
    });
}

// REF-META-07
TEST_F(SqliteMetadataTest, ManyChangesAtOnceAreEachWholeOrNotAtAll) {
    std::vector<std::thread> threads;
    std::atomic<int> refused{0};
    for (int thread = 0; thread < 8; ++thread) {
        threads.emplace_back([&, thread] {
            for (int index = 0; index < 50; ++index) {
                const std::string id = std::to_string(thread) + "." + std::to_string(index);
                try {
                    store_->Change([&](Rows& rows) {
                        rows.PutFile(File(id, "r", id, 1));
                        if (index % 5 == 0) throw std::runtime_error("taken back");
                    });
                } catch (const std::runtime_error& error) {
                    EXPECT_STREQ(error.what(), "taken back");
                    ++refused;
                }
                store_->Read([&](Rows& rows) { EXPECT_EQ(rows.FileById(id).has_value(), index % 5 != 0); });
            }
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(refused, 80);
    store_->Read([](Rows& rows) { EXPECT_EQ(rows.LiveChildren("r").size(), 320U); });
}

// REF-META-08
TEST_F(SqliteMetadataTest, AReadNeverStaysOnAnOldState) {
    store_->Change([](Rows& rows) { rows.AddChange("u", "one"); });
    const auto last = [&] {
        std::int64_t value = 0;
        store_->Read([&](Rows& rows) { value = rows.LastChange("u"); });
        return value;
    };
    const std::int64_t first = last();
    EXPECT_THROW(store_->Read([](Rows& rows) {
        rows.LastChange("u");
        throw std::runtime_error("in the middle");
    }),
                 std::runtime_error);
    store_->Change([](Rows& rows) { rows.AddChange("u", "two"); });
    EXPECT_GT(last(), first);
}

Upload OpenUploadAt(const std::string& cursor, std::int64_t version) {
    Upload upload;
    upload.cursor = cursor, upload.userId = "u", upload.parentId = "p", upload.name = "n", upload.version = version;
    upload.keyDigest = "digest of " + cursor;
    return upload;
}

// REF-META-09
TEST_F(SqliteMetadataTest, GivesAllOpenUploadsOfOneFileNewestFirst) {
    store_->Change([](Rows& rows) {
        rows.PutUpload(OpenUploadAt("old", 1));
        rows.PutUpload(OpenUploadAt("new", 3));
        Upload done = OpenUploadAt("done", 2);
        done.resultFile = "f";
        rows.PutUpload(done);
    });
    store_->Read([](Rows& rows) {
        const auto open = rows.OpenUploads("u", "", "p", "n");
        ASSERT_EQ(open.size(), 2U);
        EXPECT_EQ(open[0].keyDigest, "digest of new");
        EXPECT_EQ(open[1].keyDigest, "digest of old");
        EXPECT_TRUE(rows.OpenUploads("v", "", "p", "n").empty());
    });
}

// REF-META-10
TEST_F(SqliteMetadataTest, AFileFromBeforeAColumnWasThereGetsItAndKeepsItsRows) {
    store_->Change([](Rows& rows) { rows.PutUpload(OpenUploadAt("old", 1)); });
    store_.reset();
    SQLite::Database(Path(), SQLite::OPEN_READWRITE).exec("ALTER TABLE uploads DROP COLUMN keyDigest");
    for (int opening = 0; opening < 2; ++opening) {
        store_ = OpenSqliteMetadata(Path());
        store_->Change([&](Rows& rows) {
            const auto kept = rows.UploadByCursor("old");
            ASSERT_TRUE(kept);
            EXPECT_EQ(kept->version, 1);
            EXPECT_EQ(kept->keyDigest, opening == 0 ? "" : "added");
            Upload changed = *kept;
            changed.keyDigest = "added";
            rows.PutUpload(changed);
        });
    }
}

// REF-META-11
TEST_F(SqliteMetadataTest, TwoOpeningsOfOneFileSeeEachOther) {
    const auto other = OpenSqliteMetadata(Path());
    other->Change([](Rows& rows) { rows.PutFile(File("1", "r", "a", 1)); });
    store_->Read([](Rows& rows) { EXPECT_TRUE(rows.FileById("1")); });
}

}  // namespace

}  // namespace Drive::ReferenceCloud
