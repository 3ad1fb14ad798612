#include "host/commands/file_states.h"

#include <gtest/gtest.h>

#include "interfaces/database/sqlite_db.h"
#include "interfaces/database/sync_rows.h"
#include "interfaces/platform/native_path.h"
#include "tests/unit/host/temporary_folder.h"

namespace Drive::Host {
namespace {

class FileStates : public testing::Test {
protected:
    FileStates() {
        EXPECT_TRUE(SQLiteDB::OpenDatabase(Platform::EnginePath(folder.Path() + "/")).ok());
        records.Open(folder.Path(), false);
    }
    ~FileStates() override { SQLiteDB::CloseDatabase(); }

    void Put(const std::wstring& id, int fileStatus, bool task, const std::wstring& record = L"") {
        Common::FileItem file;
        file.SetFileId(id);
        file.SetName(id);
        file.SetLocalFileName(id);
        file.SetLocalParentFolder(L"a folder\\");
        file.SetSize(1000);
        file.SetFileStatus(fileStatus);
        const int direction = fileStatus > 20 ? 1 : 2;
        EXPECT_TRUE(task ? SQLiteDB::SyncRows::PutFileWithTask(file, direction, 1) : SQLiteDB::SyncRows::PutFile(file));
        SQLiteDB::UpdateDBInfo update;
        update.key = id;
        update.columns.insert(SQLiteDB::MakePair(L"fragmentInfo", record));
        EXPECT_TRUE(SQLiteDB::SQLiteDB::GetInstance().UpdateTaskItem(update, direction));
    }

    const TemporaryFolder folder;
    HostRecords records;
};

// HOST-STATUS-03
TEST_F(FileStates, NameWhatMovesFirstAndHowFarItIs) {
    Put(L"waits", 11, true);
    Put(L"rests", 1, false);
    Put(L"comes", 22, true, L"{\"writePosition\":400}");
    Put(L"goes", 12, true, L"{\"sliceSize\":300,\"items\":[{\"status\":true}]}");
    const std::vector<FileState> files = FilesInMotion(records, 10);
    ASSERT_EQ(files.size(), 3u);
    EXPECT_EQ(files[0].path, "a folder/goes");
    EXPECT_EQ(files[0].bytesDone, 300);
    EXPECT_EQ(files[1].path, "a folder/comes");
    EXPECT_EQ(files[1].bytesDone, 400);
    EXPECT_EQ(files[1].bytes, 1000);
    EXPECT_STREQ(StateName(files[2].fileStatus), "uploadWaiting");
    EXPECT_EQ(FilesInMotion(records, 2).size(), 2u);
    EXPECT_TRUE(FilesInMotion(records, 0).empty());
}

// HOST-STATUS-04
TEST_F(FileStates, ABrokenTryWaitsAndOneWithoutATaskHasFailed) {
    Put(L"again", 13, true);
    Put(L"over", 23, false);
    const std::vector<FileState> files = FilesInMotion(records, 10);
    ASSERT_EQ(files.size(), 2u);
    EXPECT_EQ(files[0].fileStatus, 11);
    EXPECT_EQ(files[1].fileStatus, 23);
}

// HOST-STATUS-05
TEST_F(FileStates, KnowTheRecordsOfTasksThatAreSetAside) {
    Put(L"aside", 21, false);
    records.Park({"aside", 1, 1, "{\"writePosition\":250}"});
    const std::vector<FileState> files = FilesInMotion(records, 10);
    ASSERT_EQ(files.size(), 1u);
    EXPECT_EQ(files[0].bytesDone, 250);
}

// HOST-STATUS-06
TEST(StateWords, AnUnknownStateIsToldAsSuch) {
    EXPECT_STREQ(StateWord(99), "in an unknown state");
    EXPECT_STREQ(StateName(99), "unknown");
    EXPECT_STREQ(StateWord(22), "coming down");
}

}  // namespace
}  // namespace Drive::Host
