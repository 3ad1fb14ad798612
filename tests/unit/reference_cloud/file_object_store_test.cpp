#include "reference_cloud/file_object_store.h"

#include <gtest/gtest.h>

#include <set>

#include "tests/unit/reference_cloud/object_store_contract.h"
#include "tests/unit/reference_cloud/temporary_folder.h"

namespace Drive::ReferenceCloud {

namespace {

class FileObjectStoreTest : public testing::Test {
protected:
    std::size_t FilesOnDisk() const {
        std::size_t files = 0;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(folder_.Path())) {
            files += entry.is_regular_file() ? 1 : 0;
        }
        return files;
    }

    TemporaryFolder folder_;
    std::unique_ptr<ObjectStore> store_ = OpenFileObjectStore(folder_.Path());
};

// REF-STORE-03
TEST_F(FileObjectStoreTest, GivesBackWhatWasWritten) {
    auto writer = store_->Create();
    writer->Append("hello ");
    writer->Append("world");
    const auto reader = store_->Open(writer->Commit());
    ASSERT_TRUE(reader);
    EXPECT_EQ(reader->Size(), 11);
    char buffer[20];
    EXPECT_EQ(std::string(buffer, reader->Read(6, buffer, sizeof buffer)), "world");
    EXPECT_EQ(reader->Read(11, buffer, sizeof buffer), 0U);
}

// REF-STORE-04
TEST_F(FileObjectStoreTest, LeavesNothingOfAnAbandonedObject) {
    store_->Create()->Append("half");
    EXPECT_EQ(FilesOnDisk(), 0U);
}

// REF-STORE-06
TEST_F(FileObjectStoreTest, RemovesObjectsWhileOthersReadThem) {
    auto writer = store_->Create();
    writer->Append("hello");
    const std::string key = writer->Commit();
    const auto reader = store_->Open(key);
    store_->Remove(key);
    EXPECT_FALSE(store_->Open(key));
    char buffer[5];
    EXPECT_EQ(reader->Read(0, buffer, 5), 5U);
    EXPECT_NO_THROW(store_->Remove(key));
}

// REF-STORE-07
TEST_F(FileObjectStoreTest, ListsTheObjectsAndDropsTheUnfinished) {
    auto first = store_->Create(), second = store_->Create();
    const std::string key = first->Commit();
    std::set<std::string> keys;
    store_->ForEach([&](const std::string& found) { keys.insert(found); });
    EXPECT_EQ(keys, std::set<std::string>{key});
    EXPECT_EQ(FilesOnDisk(), 2U);
    store_->DropUnfinished();
    EXPECT_EQ(FilesOnDisk(), 1U);
}

// REF-STORE-08
TEST_F(FileObjectStoreTest, TakesNoPathForAKey) {
    EXPECT_FALSE(store_->Open("../../etc/passwd"));
    EXPECT_FALSE(store_->Open(""));
    EXPECT_NO_THROW(store_->Remove("../x"));
}

// REF-STORE-20
TEST_F(FileObjectStoreTest, KeepsWhatEveryObjectStoreOwes) { ObjectStoreContract(*store_).HoldAll(); }

}  // namespace

}  // namespace Drive::ReferenceCloud
