#include <signal.h>
#include <sys/resource.h>

#include <functional>

#include "interfaces/logging/log_settings.h"
#include "tests/contract/database/open_database.h"

namespace Drive::Testing {
namespace {

using SQLiteDB::SyncRows;

/// An operation that writes, and what it answers; one without an answer answers whether the rows have changed.
struct Operation {
    const char* name;
    std::function<bool()> run;
};

void PrintTo(const Operation& operation, std::ostream* out) { *out << operation.name; }

std::wstring AllRows() {
    return Ask(
        L"SELECT (SELECT group_concat(fileId || fileStatus || ifnull(localFileName, '')) FROM T_cloudDriveData) || '|' "
        L"|| ifnull((SELECT group_concat(fileId || direction || TaskStatus || Priority || ifnull(transferKey, '-') || "
        L"fragmentInfo) FROM T_task), '') || '|' || (SELECT ifnull(LastNotifySpaceFull, '') FROM T_SyncConf) || "
        L"'|' || ifnull((SELECT group_concat(name || value) FROM T_hostSetting), '')");
}

bool ChangesRows(const std::function<void()>& run) {
    const std::wstring before = AllRows();
    run();
    return AllRows() != before;
}

const Operation kOperations[] = {
    {"ClearInvalidateTask", [] { return ChangesRows([] { Db().ClearInvalidateTask(); }); }},
    {"ClearTaskTable", [] { return ChangesRows([] { Db().ClearTaskTable(); }); }},
    {"DeleteTaskItem", [] { return Db().DeleteTaskItem(L"down", 1); }},
    {"UpdateTaskItem",
     [] {
         return Db().UpdateTaskItem(Update(L"down", {{L"Priority", L"7"}}), 1);
     }},
    {"UpdateTaskItemPosition",
     [] {
         return Db().UpdateTaskItem(Update(L"down", {{L"fragmentInfo", L"x"}}), 1);
     }},
    {"UpdateDriveData",
     [] {
         return Db().UpdateDriveData(Update(L"down", {{L"fileStatus", L"22"}}));
     }},
    {"UpdateDriveDataNewId",
     [] {
         return Db().UpdateDriveData(Update(L"up", {{L"fileId", L"down"}}));
     }},
    {"DeleteDriveDataItem", [] { return Db().DeleteDriveDataItem(L"down"); }},
    {"UpdateSyncConfItem", [] { return Db().UpdateSyncConfItem(L"LastNotifySpaceFull", 77); }},
    {"ExecuteMulitNoQuerySQL", [] { return Db().ExecuteMulitNoQuerySQL({"UPDATE T_task SET Priority = 9"}); }},
    {"InsertTaskByOnFetch",
     [] { return Db().InsertTaskByOnFetch({Db().GetDownLoadTaskSqlcmd(L"", L"", L"up", true, 11)}); }},
    {"PutFile", [] { return SyncRows::PutFile(File(L"new", 1)); }},
    {"PutFileWithTask", [] { return SyncRows::PutFileWithTask(File(L"new", 21), 1, 1); }},
    {"PutFilesWithTasks",
     [] {
         return SyncRows::PutFilesWithTasks({File(L"n", 21), File(L"m", 21)}, 1, 1);
     }},
    {"PutTask", [] { return SyncRows::PutTask(L"up", 1, 1); }},
    {"PutThumbnailTask", [] { return SyncRows::PutThumbnailTask(L"up"); }},
    {"PutPriorityTask", [] { return SyncRows::PutPriorityTask(L"up", 2); }},
    {"ResetPriorityKeys", [] { return SyncRows::ResetPriorityKeys(); }},
    {"ForgetEncryptedPositions", [] { return SyncRows::ForgetEncryptedPositions(); }},
    {"WriteSetting", [] { return SyncRows::WriteSetting(L"name", L"value"); }},
};

class FailingOperations : public OpenDatabaseTest, public testing::WithParamInterface<Operation> {
protected:
    void SetUp() override {
        OpenDatabaseTest::SetUp();
        PutDownload(L"down");
        PutUpload(L"up");
        ASSERT_TRUE(SyncRows::PutTask(L"nobody", 2, 1));
        ASSERT_TRUE(SyncRows::PutPriorityTask(L"key", 2));
        ASSERT_TRUE(Db().UpdateTaskItem(
            Update(L"key", {{L"fragmentInfo", L"{\"writePosition\":9,\"writeSliceIndex\":3}"}}), 1));
        Logging::SetTextSink([this](const Logging::TextRecord& record) { lines.push_back(record); });
        signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &unlimited);
    }
    void TearDown() override {
        setrlimit(RLIMIT_FSIZE, &unlimited);
        Logging::SetTextSink({});
        OpenDatabaseTest::TearDown();
    }
    void FillTheDisk() {
        const rlimit limit{1, unlimited.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }

    rlimit unlimited{};
    std::vector<Logging::TextRecord> lines;
};

// DB-FAIL-01
TEST_P(FailingOperations, AnswerFalseWithNothingWrittenTellItAndWorkAgainOnceTheDiskDoes) {
    const std::wstring before = AllRows();
    FillTheDisk();
    EXPECT_FALSE(GetParam().run());
    EXPECT_EQ(AllRows(), before) << "reading goes on";
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].level, Logging::Level::Error);
    EXPECT_EQ(lines[0].text.rfind("Could not ", 0), 0u) << lines[0].text;
    EXPECT_NE(lines[0].text.find("transfer.db"), std::string::npos) << lines[0].text;
    EXPECT_NE(lines[0].text.find("what was committed before is kept"), std::string::npos) << lines[0].text;

    setrlimit(RLIMIT_FSIZE, &unlimited);
    EXPECT_TRUE(GetParam().run());
    EXPECT_NE(AllRows(), before);
}

INSTANTIATE_TEST_SUITE_P(Of, FailingOperations, testing::ValuesIn(kOperations),
                         [](const auto& info) { return info.param.name; });

}  // namespace
}  // namespace Drive::Testing
