#include "host/engine/parked_tasks.h"

#include <gtest/gtest.h>

#include <map>
#include <tuple>

#include "interfaces/database/sqlite_db.h"
#include "interfaces/database/sync_rows.h"
#include "interfaces/platform/native_path.h"
#include "tests/unit/host/temporary_folder.h"

namespace Drive::Host {
namespace {

using SQLiteDB::SyncRows;

/// File id and direction of a task, to its priority and its record.
using Tasks = std::map<std::tuple<std::wstring, int>, std::tuple<int, std::wstring>>;

class ParkedTasks : public testing::Test {
protected:
    ParkedTasks() {
        EXPECT_TRUE(SQLiteDB::OpenDatabase(Platform::EnginePath(folder.Path() + "/")).ok());
        records.Open(folder.Path(), false);
    }
    ~ParkedTasks() override { SQLiteDB::CloseDatabase(); }

    static Common::FileItem File(const std::wstring& id) {
        Common::FileItem file;
        file.SetFileId(id);
        file.SetName(id);
        file.SetLocalFileName(id);
        file.SetFileStatus(1);
        return file;
    }

    static void Put(const std::wstring& id, int direction, int priority, const std::wstring& record) {
        EXPECT_TRUE(SyncRows::PutFileWithTask(File(id), direction, priority));
        SQLiteDB::UpdateDBInfo update;
        update.key = id;
        update.columns.insert(SQLiteDB::MakePair(L"fragmentInfo", record));
        EXPECT_TRUE(SQLiteDB::SQLiteDB::GetInstance().UpdateTaskItem(update, direction));
    }

    static Tasks InSight() {
        Tasks found;
        for (const Common::TaskItem& task : SyncRows::Tasks(100000)) {
            found[{task.GetFileId(), task.GetDirection()}] = {task.GetPriority(), task.GetFragmentInfo()};
        }
        return found;
    }

    const TemporaryFolder folder;
    HostRecords records;
};

// HOST-PARK-04
TEST_F(ParkedTasks, OfSmallPicturesAreDroppedByEveryCommand) {
    for (const int way : {1, 2, 3}) {
        ASSERT_TRUE(SyncRows::PutFile(File(L"picture")));
        ASSERT_TRUE(SyncRows::PutThumbnailTask(L"picture"));
        ASSERT_EQ(InSight().size(), 1u);
        way == 3 ? ParkAll(records) : ShowOnly(way, records);
        EXPECT_EQ(InSight(), Tasks()) << way;
    }
    ShowOnly(1, records);
    EXPECT_EQ(InSight(), Tasks()) << "they do not come back either";
}

// HOST-PARK-01
TEST_F(ParkedTasks, OfTheOtherWayAreOutOfSightAndComeBackWithPriorityAndRecord) {
    Put(L"goes 'up'", 2, 7, L"{\"name\":\"it's\"}");
    Put(L"comes", 1, 4, L"{\"writePosition\":400}");
    const Tasks all = InSight();
    ASSERT_EQ(all.size(), 2u);
    ShowOnly(1, records);
    EXPECT_EQ(InSight(), (Tasks{{{L"comes", 1}, {4, L"{\"writePosition\":400}"}}}));
    ShowOnly(2, records);
    EXPECT_EQ(InSight(), (Tasks{{{L"goes 'up'", 2}, {7, L"{\"name\":\"it's\"}"}}}));
    ParkAll(records);
    EXPECT_TRUE(InSight().empty());
    ShowOnly(1, records);
    EXPECT_EQ(InSight().size(), 1u);
    EXPECT_EQ(records.Parked(2).size(), 1u);
    EXPECT_TRUE(records.Parked(1).empty());
}

// HOST-PARK-02
TEST_F(ParkedTasks, OfAFileThatIsGoneDoNotComeBack) {
    Put(L"gone", 2, 1, L"");
    Put(L"there", 2, 1, L"");
    ShowOnly(1, records);
    EXPECT_TRUE(SQLiteDB::SQLiteDB::GetInstance().DeleteDriveDataItem(L"gone"));
    ShowOnly(2, records);
    EXPECT_EQ(InSight(), (Tasks{{{L"there", 2}, {1, L""}}}));
    EXPECT_TRUE(records.Parked(2).empty());
}

// HOST-PARK-03
TEST_F(ParkedTasks, OfManyThousandFilesAllComeBack) {
    std::vector<Common::FileItem> files;
    for (int number = 0; number < 3001; ++number) files.push_back(File(L"file " + std::to_wstring(number)));
    EXPECT_TRUE(SyncRows::PutFilesWithTasks(files, 2, 3));
    const Tasks all = InSight();
    ASSERT_EQ(all.size(), 3001u);
    ShowOnly(1, records);
    EXPECT_TRUE(InSight().empty());
    ShowOnly(2, records);
    EXPECT_EQ(InSight(), all);
}

}  // namespace
}  // namespace Drive::Host
