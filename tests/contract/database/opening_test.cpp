#include <fcntl.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

#include "tests/contract/database/open_database.h"

namespace Drive::Testing {
namespace {

using SQLiteDB::CloseDatabase;
using SQLiteDB::OpenDatabase;
using SQLiteDB::OpenDatabaseReadOnly;
using SQLiteDB::OpenOutcome;
using SQLiteDB::OpenResult;
using SQLiteDB::SyncRows;

class Opening : public testing::Test {
protected:
    void TearDown() override { CloseDatabase(); }
    /// The names in the state folder that hold this text.
    std::vector<std::string> Names(const std::string& part) const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(folder.Native())) {
            const std::string name = entry.path().filename().string();
            if (name.find(part) != std::string::npos) names.push_back(name);
        }
        return names;
    }
    void MakeWithOneRow() {
        ASSERT_TRUE(OpenDatabase(folder.Wide()).ok());
        ASSERT_TRUE(SyncRows::PutFile(File(L"kept", 1)));
        CloseDatabase();
    }
    void Run(const std::string& statements) const {
        sqlite3* raw = nullptr;
        ASSERT_EQ(sqlite3_open(folder.Database().c_str(), &raw), SQLITE_OK);
        EXPECT_EQ(sqlite3_exec(raw, statements.c_str(), nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(raw);
        sqlite3_close(raw);
    }
    /// What the other program prints.
    std::string OtherProcess(const std::string& command) const {
        const std::string line = std::string(ZELKOR_OTHER_PROCESS) + " " + command + " " + folder.Native().string();
        FILE* const output = popen(line.c_str(), "r");
        std::string text;
        char piece[100];
        while (fgets(piece, sizeof piece, output) != nullptr) text += piece;
        pclose(output);
        return text;
    }
    StateFolder folder;
};

bool Mentions(const OpenResult& result, const std::string& text) {
    return result.message.find(text) != std::string::npos;
}

// DB-OPEN-01
TEST_F(Opening, MakesFolderAndFileForTheOwnerAlone) {
    const std::wstring inner = folder.Wide() + L"\\new\\state";
    const OpenResult result = OpenDatabase(inner);

    ASSERT_EQ(result.outcome, OpenOutcome::Created) << result.message;
    struct stat status {};
    ASSERT_EQ(stat((folder.Native() / "new/state").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0700u);
    ASSERT_TRUE(SyncRows::PutFile(File(L"a", 1)));
    for (const char* name : {"transfer.db", "transfer.db-wal"}) {
        ASSERT_EQ(stat((folder.Native() / "new/state" / name).c_str(), &status), 0) << name;
        EXPECT_EQ(status.st_mode & 0777, 0600u) << name;
    }
}

// DB-OPEN-02
TEST_F(Opening, FindsWhatWasWritten) {
    MakeWithOneRow();
    const OpenResult result = OpenDatabase(folder.Wide());

    EXPECT_EQ(result.outcome, OpenOutcome::Opened) << result.message;
    EXPECT_EQ(Db().GetDriveDataItemWithKey(L"kept").GetFileId(), L"kept");
}

// DB-OPEN-03
TEST_F(Opening, BeforeItEverythingFailsQuietly) {
    EXPECT_FALSE(SyncRows::PutFile(File(L"a", 1)));
    EXPECT_FALSE(Db().UpdateDriveData(Update(L"a", {{L"hash", L"x"}})));
    EXPECT_FALSE(Db().DeleteTaskItem(L"a", 1));
    EXPECT_FALSE(Db().ExecuteMulitNoQuerySQL({}));
    EXPECT_FALSE(SyncRows::ForEachFile([](const Common::FileItem&) { return true; }));
    EXPECT_FALSE(Db().hasTransferTasks());
    EXPECT_TRUE(FetchDownloads().empty());
    EXPECT_TRUE(Db().GetTaskItem(L"a", 1).GetFileId().empty());
    EXPECT_TRUE(SyncRows::Tasks(10).empty());
    EXPECT_EQ(Ask(L"SELECT 1"), L"");
    Db().ClearInvalidateTask();
    Db().ClearTaskTable();
    EXPECT_FALSE(Db().UpdateTaskItem(Update(L"a", {{L"Priority", L"1"}}), 1));
    EXPECT_FALSE(Db().UpdateTaskItem(Update(L"a", {{L"fragmentInfo", L"x"}}), 1));
    EXPECT_FALSE(Db().DeleteDriveDataItem(L"a"));
    EXPECT_FALSE(Db().UpdateSyncConfItem(L"LastNotifySpaceFull", 1));
    EXPECT_FALSE(Db().InsertTaskByOnFetch({Db().GetDownLoadTaskSqlcmd(L"a", L"", L"a", true, 11)}));
    EXPECT_TRUE(Db().GetDriveDataItem({{L"fileId", L"a"}}).GetFileId().empty());
    EXPECT_TRUE(Db().GetDriveDataItemWithKey(L"a").GetFileId().empty());
    EXPECT_TRUE(FetchUploads().empty());
    std::list<WMap> rows;
    EXPECT_EQ(Db().GetThumbnailFileDownLoadTask(rows, 10), 0);
    EXPECT_FALSE(SyncRows::PutFileWithTask(File(L"a", 21), 1, 1));
    EXPECT_FALSE(SyncRows::PutFilesWithTasks({}, 1, 1));
    EXPECT_FALSE(SyncRows::PutTask(L"a", 1, 1) || SyncRows::PutThumbnailTask(L"a") ||
                 SyncRows::PutPriorityTask(L"a", 2));
    EXPECT_FALSE(SyncRows::ResetPriorityKeys() || SyncRows::ForgetEncryptedPositions());
    EXPECT_TRUE(SyncRows::FilesWithoutTask({21}, 1, 10).empty() && SyncRows::DisplacedFiles(10).empty());
    EXPECT_TRUE(SyncRows::CountByStatus().empty() && SyncRows::CountTasksByDirection().empty());
    EXPECT_FALSE(SyncRows::WriteSetting(L"name", L"value"));
    EXPECT_EQ(SyncRows::ReadSetting(L"name"), L"");
}

// DB-OPEN-04
TEST_F(Opening, AfterClosingEverythingFailsAndTheLogIsFoldedIn) {
    MakeWithOneRow();

    EXPECT_TRUE(Db().GetDriveDataItemWithKey(L"kept").GetFileId().empty());
    EXPECT_FALSE(SyncRows::PutFile(File(L"a", 1)));
    EXPECT_TRUE(Names("-wal").empty());
    CloseDatabase();
}

// DB-OPEN-05
TEST_F(Opening, ASecondTimeInTheProcessIsRefusedAndTheFirstGoesOn) {
    ASSERT_TRUE(OpenDatabase(folder.Wide()).ok());

    EXPECT_EQ(OpenDatabase(folder.Wide()).outcome, OpenOutcome::Failed);
    EXPECT_TRUE(SyncRows::PutFile(File(L"a", 1)));
}

// DB-OPEN-06
TEST_F(Opening, ASecondProcessIsLockedOut) {
    ASSERT_TRUE(OpenDatabase(folder.Wide()).ok());

    EXPECT_EQ(OtherProcess("open"), std::to_string(static_cast<int>(OpenOutcome::Locked)) + "\n");
    EXPECT_TRUE(SyncRows::PutFile(File(L"a", 1))) << "the first goes on";
    CloseDatabase();
    EXPECT_EQ(OtherProcess("open"), std::to_string(static_cast<int>(OpenOutcome::Opened)) + "\n");
}

// DB-OPEN-07
TEST_F(Opening, SaysWhichProcessHoldsTheFolder) {
    const int other = open((folder.Native() / "transfer.lock").c_str(), O_RDWR | O_CREAT, 0600);
    ASSERT_EQ(flock(other, LOCK_EX | LOCK_NB), 0);
    ASSERT_EQ(write(other, "4711\n", 5), 5);

    const OpenResult result = OpenDatabase(folder.Wide());
    EXPECT_EQ(result.outcome, OpenOutcome::Locked);
    EXPECT_TRUE(Mentions(result, "4711")) << result.message;
    EXPECT_TRUE(Mentions(result, folder.Native().string())) << result.message;
    EXPECT_EQ(result.message.find('\n'), std::string::npos);
    EXPECT_TRUE(Names("transfer.db").empty()) << "nothing was made";
    close(other);
    EXPECT_TRUE(OpenDatabase(folder.Wide()).ok()) << "the lock goes with its holder";
}

// DB-OPEN-08
TEST_F(Opening, ADamagedFileIsMovedAsideAndANewOneMade) {
    MakeWithOneRow();
    {
        std::fstream file(folder.Database(), std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(0, std::ios::end);
        const auto size = file.tellp();
        for (std::streamoff at = 4096; at < size; at += 4096) {
            file.seekp(at);
            file.write("damage damage damage damage", 27);
        }
    }
    const OpenResult result = OpenDatabase(folder.Wide());

    ASSERT_EQ(result.outcome, OpenOutcome::Rebuilt) << result.message;
    const auto aside = Names(".damaged-");
    ASSERT_EQ(aside.size(), 1u);
    EXPECT_TRUE(Mentions(result, aside[0])) << result.message;
    EXPECT_TRUE(SyncRows::PutFile(File(L"a", 1)));
    EXPECT_TRUE(Db().GetDriveDataItemWithKey(L"kept").GetFileId().empty());
    CloseDatabase();
    EXPECT_EQ(OpenDatabase(folder.Wide()).outcome, OpenOutcome::Opened);
}

// DB-OPEN-22
TEST_F(Opening, DamageThatIsMetInUseIsFoundAtTheNextOpening) {
    ASSERT_TRUE(OpenDatabase(folder.Wide()).ok());
    for (int number = 0; number < 2000; ++number) {
        ASSERT_TRUE(SyncRows::PutFile(File(L"file" + std::to_wstring(number), 1)));
    }
    CloseDatabase();
    ASSERT_TRUE(OpenDatabase(folder.Wide()).ok());
    {
        std::fstream file(folder.Database(), std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(0, std::ios::end);
        const auto size = file.tellp();
        // Rows alone: tables and indexes themselves are there when it is opened.
        for (std::streamoff at = size / 8192 * 4096; at < size; at += 4096) {
            file.seekp(at);
            file.write("damage damage damage damage", 27);
        }
    }
    EXPECT_FALSE(SyncRows::ForEachFile([](const Common::FileItem&) { return true; }));
    CloseDatabase();
    EXPECT_EQ(OpenDatabase(folder.Wide()).outcome, OpenOutcome::Rebuilt);
}

// DB-OPEN-09
TEST_F(Opening, AFileThatIsNoDatabaseIsMovedAsideWithItsLog) {
    const std::string text(5000, 'x');
    std::ofstream(folder.Database()) << text;
    std::ofstream(folder.Database().string() + "-wal") << "log";
    const OpenResult result = OpenDatabase(folder.Wide());

    ASSERT_EQ(result.outcome, OpenOutcome::Rebuilt) << result.message;
    ASSERT_EQ(Names(".damaged-").size(), 2u);
    for (const std::string& name : Names(".damaged-")) {
        std::ifstream file(folder.Native() / name);
        const std::string content((std::istreambuf_iterator<char>(file)), {});
        EXPECT_EQ(content, name.ends_with("-wal") ? "log" : text);
    }
}

// DB-OPEN-10
TEST_F(Opening, TwoDamagedFilesOfOneSecondAreBothKept) {
    for (int round = 0; round < 2; ++round) {
        CloseDatabase();
        std::ofstream(folder.Database()) << std::string(5000, 'x');
        ASSERT_EQ(OpenDatabase(folder.Wide()).outcome, OpenOutcome::Rebuilt);
    }
    EXPECT_EQ(Names(".damaged-").size(), 2u);
}

// DB-OPEN-11
TEST_F(Opening, AnEmptyFileCountsAsNone) {
    std::ofstream(folder.Database()).flush();
    EXPECT_EQ(OpenDatabase(folder.Wide()).outcome, OpenOutcome::Created);
}

// DB-OPEN-12
TEST_F(Opening, ALogWithoutItsDatabaseIsNotReplayedIntoTheNewOne) {
    std::ofstream(folder.Database().string() + "-wal") << std::string(5000, 'x');

    EXPECT_EQ(OpenDatabase(folder.Wide()).outcome, OpenOutcome::Created);
    EXPECT_EQ(Names(".damaged-").size(), 1u) << "it is kept beside";
    EXPECT_TRUE(SyncRows::PutFile(File(L"a", 1)));
}

// DB-OPEN-13
TEST_F(Opening, ANewerSchemaIsRefusedAndNothingChanges) {
    MakeWithOneRow();
    Run("PRAGMA user_version = 1000");
    const auto before = std::filesystem::last_write_time(folder.Database());
    const OpenResult result = OpenDatabase(folder.Wide());

    EXPECT_EQ(result.outcome, OpenOutcome::NewerSchema);
    EXPECT_FALSE(result.ok());
    EXPECT_TRUE(Mentions(result, "1000")) << result.message;
    EXPECT_EQ(std::filesystem::last_write_time(folder.Database()), before);
    EXPECT_EQ(OpenDatabaseReadOnly(folder.Wide()).outcome, OpenOutcome::NewerSchema);
    Run("PRAGMA user_version = 1");
    EXPECT_EQ(OpenDatabase(folder.Wide()).outcome, OpenOutcome::Opened) << "the lock was given back";
}

// DB-OPEN-14
TEST_F(Opening, ADatabaseOfAnotherProgramIsLeftAlone) {
    Run("CREATE TABLE theirs (x); INSERT INTO theirs VALUES (1)");
    EXPECT_EQ(OpenDatabase(folder.Wide()).outcome, OpenOutcome::Failed);
    Run("PRAGMA user_version = 1");
    EXPECT_EQ(OpenDatabase(folder.Wide()).outcome, OpenOutcome::Failed);
    Run("PRAGMA user_version = 1000");
    const OpenResult result = OpenDatabase(folder.Wide());
    EXPECT_EQ(result.outcome, OpenOutcome::Failed) << "no later version of ours";
    EXPECT_TRUE(Mentions(result, "another program")) << result.message;
    EXPECT_EQ(OpenDatabaseReadOnly(folder.Wide()).outcome, OpenOutcome::Failed);
    Run("INSERT INTO theirs VALUES (2)");
    EXPECT_TRUE(Names(".damaged-").empty());
}

// DB-OPEN-23
TEST_F(Opening, WhatIsNoFileInThePlaceOfTheDatabaseIsToldAndLeftAlone) {
    const auto database = folder.Database();
    const auto elsewhere = folder.Native() / "elsewhere.db";
    const auto refuses = [this](const char* what) {
        for (const OpenResult& result : {OpenDatabase(folder.Wide()), OpenDatabaseReadOnly(folder.Wide())}) {
            EXPECT_EQ(result.outcome, OpenOutcome::Failed) << what;
            EXPECT_TRUE(Mentions(result, what) && Mentions(result, "Nothing was changed")) << result.message;
        }
        EXPECT_TRUE(Names(".damaged-").empty());
    };
    std::filesystem::create_directory(database);
    refuses("is a folder");
    std::ofstream(database.string() + "-wal") << std::string(5000, 'x');
    refuses("is a folder");
    std::filesystem::remove(database);
    std::filesystem::remove(database.string() + "-wal");

    std::filesystem::create_symlink(elsewhere, database);
    refuses("is a link");
    EXPECT_FALSE(std::filesystem::exists(elsewhere)) << "nothing is made where it points";
    std::filesystem::remove(database);

    ASSERT_EQ(mkfifo(database.c_str(), 0600), 0);
    refuses("is no ordinary file");
    std::filesystem::remove(database);

    MakeWithOneRow();
    std::filesystem::create_directory(database.string() + "-wal");
    refuses("transfer.db-wal is a folder");
    std::filesystem::remove(database.string() + "-wal");
    EXPECT_EQ(OpenDatabase(folder.Wide()).outcome, OpenOutcome::Opened);
    EXPECT_EQ(Db().GetDriveDataItemWithKey(L"kept").GetFileId(), L"kept");
}

// DB-OPEN-24
TEST_F(Opening, ALinkInThePlaceOfTheLockIsNotWrittenThrough) {
    std::ofstream(folder.Native() / "precious") << "precious";
    std::filesystem::create_symlink("precious", folder.Native() / "transfer.lock");
    const OpenResult result = OpenDatabase(folder.Wide());

    EXPECT_EQ(result.outcome, OpenOutcome::Failed);
    EXPECT_TRUE(Mentions(result, "transfer.lock is a link")) << result.message;
    EXPECT_EQ(std::filesystem::file_size(folder.Native() / "precious"), 8u);
}

/// Another user's rights while this stands, where the tests run as one whom no rights bind.
class AsAnotherUser {
public:
    explicit AsAnotherUser(const std::filesystem::path& folder) {
        constexpr uid_t kNobody = 65534;
        if (geteuid() == 0 && chown(folder.c_str(), kNobody, kNobody) == 0) changed = seteuid(kNobody) == 0;
    }
    ~AsAnotherUser() {
        if (changed && seteuid(0) != 0) abort();
    }
    AsAnotherUser(const AsAnotherUser&) = delete;
    AsAnotherUser& operator=(const AsAnotherUser&) = delete;

private:
    bool changed = false;
};

// DB-OPEN-25
TEST_F(Opening, WithoutTheRightToReadOrWriteIsToldAndLosesNothing) {
    MakeWithOneRow();
    std::filesystem::remove(folder.Native() / "transfer.lock");
    for (const mode_t mode : {0000u, 0444u}) {
        ASSERT_EQ(chmod(folder.Database().c_str(), mode), 0);
        const AsAnotherUser user(folder.Native());
        const OpenResult result = OpenDatabase(folder.Wide());
        EXPECT_EQ(result.outcome, OpenOutcome::Failed) << mode;
        EXPECT_TRUE(Mentions(result, "transfer.db") && Mentions(result, "owner")) << result.message;
        EXPECT_TRUE(Names(".damaged-").empty());
        std::filesystem::remove(folder.Native() / "transfer.lock");
    }
    ASSERT_EQ(chmod(folder.Database().c_str(), 0600), 0);
    EXPECT_EQ(OpenDatabase(folder.Wide()).outcome, OpenOutcome::Opened);
    EXPECT_EQ(Db().GetDriveDataItemWithKey(L"kept").GetFileId(), L"kept");
}

// DB-OPEN-26
TEST_F(Opening, ADatabaseThatWasCutAnywhereIsMovedAsideOrWhole) {
    MakeWithOneRow();
    const std::filesystem::path copy = folder.Native() / "copy";
    std::filesystem::copy_file(folder.Database(), copy);
    const auto size = std::filesystem::file_size(copy);
    for (std::uintmax_t left = 1; left < size; left += left < 4096 ? 511 : 4096) {
        std::filesystem::copy_file(copy, folder.Database(), std::filesystem::copy_options::overwrite_existing);
        std::filesystem::resize_file(folder.Database(), left);
        EXPECT_EQ(OpenDatabase(folder.Wide()).outcome, OpenOutcome::Rebuilt) << left;
        EXPECT_TRUE(SyncRows::PutFile(File(L"a", 1)));
        CloseDatabase();
    }
}

// DB-OPEN-27
TEST_F(Opening, ADamagedLogLosesNothingThatTheFileHolds) {
    MakeWithOneRow();
    for (const std::string& log : {std::string(5000, 'x'), std::string(100, '\0'), std::string("\x37\x7f\x06\x82")}) {
        std::ofstream(folder.Database().string() + "-wal", std::ios::trunc) << log;
        std::ofstream(folder.Database().string() + "-shm", std::ios::trunc) << std::string(32768, 'y');
        EXPECT_EQ(OpenDatabase(folder.Wide()).outcome, OpenOutcome::Opened);
        EXPECT_EQ(Db().GetDriveDataItemWithKey(L"kept").GetFileId(), L"kept");
        EXPECT_TRUE(SyncRows::PutFile(File(L"more", 1)));
        CloseDatabase();
    }
}

// DB-OPEN-15
TEST_F(Opening, AFolderThatCannotBeMadeFails) {
    std::ofstream(folder.Native() / "file") << "x";
    const OpenResult result = OpenDatabase(folder.Wide() + L"\\file\\state");

    EXPECT_EQ(result.outcome, OpenOutcome::Failed);
    EXPECT_TRUE(Mentions(result, "file/state")) << result.message;
    EXPECT_TRUE(OpenDatabase(folder.Wide()).ok()) << "another folder may be tried";
}

// DB-OPEN-16
TEST_F(Opening, ForReadingNeedsADatabase) {
    const OpenResult result = OpenDatabaseReadOnly(folder.Wide());

    EXPECT_EQ(result.outcome, OpenOutcome::Failed);
    EXPECT_TRUE(Names("").empty()) << "and makes none";
}

// DB-OPEN-17
TEST_F(Opening, ForReadingSeesRowsAndWritesNothing) {
    ASSERT_TRUE(OpenDatabase(folder.Wide()).ok());
    PutDownload(L"down");
    ASSERT_TRUE(SyncRows::PutThumbnailTask(L"down"));
    CloseDatabase();
    ASSERT_EQ(OpenDatabaseReadOnly(folder.Wide()).outcome, OpenOutcome::Opened);

    EXPECT_EQ(Db().GetDriveDataItemWithKey(L"down").GetFileId(), L"down");
    EXPECT_TRUE(Db().hasTransferTasks());
    EXPECT_EQ(SyncRows::Tasks(10).size(), 2u);
    EXPECT_EQ(SyncRows::CountByStatus().size(), 1u);
    EXPECT_TRUE(FetchDownloads().empty()) << "handing out is the host's";
    std::list<WMap> pictures;
    EXPECT_EQ(Db().GetThumbnailFileDownLoadTask(pictures, 10), 0);
    EXPECT_FALSE(Db().DeleteTaskItem(L"down", 1));
    EXPECT_FALSE(SyncRows::PutFile(File(L"a", 1)));
    Db().ClearTaskTable();
    EXPECT_EQ(SyncRows::Tasks(10).size(), 2u);
}

// DB-OPEN-18
TEST_F(Opening, ForReadingWorksBesideARunningHost) {
    ASSERT_TRUE(OpenDatabase(folder.Wide()).ok());
    PutDownload(L"before");

    // Opened, one task, which is a transfer, and it cannot be deleted.
    EXPECT_EQ(OtherProcess("read"), "0 1 1 0\n");
    PutDownload(L"after");
    EXPECT_EQ(OtherProcess("read"), "0 2 1 0\n");
    Db().ClearTaskTable();
    EXPECT_EQ(OtherProcess("read"), "0 0 0 0\n");
}

}  // namespace
}  // namespace Drive::Testing
