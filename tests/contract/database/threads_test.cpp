#include <atomic>
#include <set>
#include <thread>

#include "tests/contract/database/open_database.h"

namespace Drive::Testing {
namespace {

using SQLiteDB::SyncRows;
using Threads = OpenDatabaseTest;

/// Runs the body on that many threads, each with its number.
template <typename Body>
void OnThreads(int count, Body body) {
    std::vector<std::thread> threads;
    for (int number = 0; number < count; ++number) threads.emplace_back(body, number);
    for (std::thread& thread : threads) thread.join();
}

// DB-SHARE-01
TEST_F(Threads, WriteReadAndFetchAtOnce) {
    constexpr int kRounds = 60;
    std::atomic<int> failures{0};
    OnThreads(6, [&](int thread) {
        for (int round = 0; round < kRounds; ++round) {
            const std::wstring id = std::to_wstring(thread) + L"-" + std::to_wstring(round);
            if (!SyncRows::PutFileWithTask(File(id, 21), 1, 1)) ++failures;
            if (!Db().UpdateTaskItem(Update(id, {{L"fragmentInfo", L"{\"writePosition\":1}"}}), 1)) ++failures;
            if (Db().GetTaskItem(id, 1).GetFragmentInfo().empty()) ++failures;
            if (!Db().UpdateDriveData(Update(id, {{L"fileStatus", L"22"}}))) ++failures;
            if (Db().GetDriveDataItemWithKey(id).GetFileStatus() != 22) ++failures;
            if (round % 2 == 0 && !Db().DeleteTaskItem(id, 1)) ++failures;
            Db().hasTransferTasks();
            if (round % 10 == 0) SyncRows::CountByStatus();
        }
    });

    EXPECT_EQ(failures, 0);
    EXPECT_EQ(Ask(L"SELECT count(*) FROM T_cloudDriveData WHERE fileStatus = 22"), std::to_wstring(6 * kRounds));
    EXPECT_EQ(Ask(L"SELECT count(*) FROM T_task"), std::to_wstring(6 * kRounds / 2));
}

// DB-SHARE-02
TEST_F(Threads, NeverHandOutOneRowTwice) {
    std::vector<Common::FileItem> files;
    for (int number = 0; number < 400; ++number) files.push_back(File(std::to_wstring(number), 21));
    ASSERT_TRUE(SyncRows::PutFilesWithTasks(files, 1, 1));
    std::vector<std::vector<std::wstring>> got(4);
    OnThreads(4, [&](int thread) {
        for (int round = 0; round < 40; ++round) {
            for (const auto& id : Ids(FetchDownloads(7))) got[thread].push_back(id);
        }
    });

    std::size_t total = 0;
    std::set<std::wstring> different;
    for (const auto& list : got) {
        total += list.size();
        different.insert(list.begin(), list.end());
    }
    EXPECT_EQ(total, 400u);
    EXPECT_EQ(different.size(), 400u);
}

// DB-SHARE-03
TEST_F(Threads, AWalkSeesTheRowsOfOneMoment) {
    std::vector<Common::FileItem> files;
    for (int number = 0; number < 500; ++number) files.push_back(File(std::to_wstring(number), 1));
    ASSERT_TRUE(SyncRows::PutFilesWithTasks(files, 1, 1));
    std::atomic<bool> done{false};
    std::thread writer([&] {
        for (int round = 2; !done; ++round) {
            Db().ExecuteMulitNoQuerySQL({"UPDATE T_cloudDriveData SET size = " + std::to_string(round)});
        }
    });
    for (int walk = 0; walk < 10; ++walk) {
        std::set<std::int64_t> sizes;
        int rows = 0;
        EXPECT_TRUE(SyncRows::ForEachFile([&](const Common::FileItem& file) {
            sizes.insert(file.GetSize());
            ++rows;
            return true;
        }));
        EXPECT_EQ(rows, 500);
        EXPECT_EQ(sizes.size(), 1u);
    }
    done = true;
    writer.join();
}

// DB-SHARE-04
TEST_F(Threads, ALongWalkHoldsUpNobody) {
    for (const wchar_t* id : {L"a", L"b"}) PutDownload(id);
    int visits = 0;
    EXPECT_TRUE(SyncRows::ForEachFile([&](const Common::FileItem&) {
        ++visits;
        bool written = false;
        std::thread([&] {
            written = Db().UpdateDriveData(Update(L"a", {{L"size", std::to_wstring(visits)}})) &&
                      Db().GetDriveDataItemWithKey(L"a").GetSize() == visits;
        }).join();
        return written;
    }));
    EXPECT_EQ(visits, 2);
}

// DB-SHARE-05
TEST_F(Threads, ClosingMayMeetAnyOperation) {
    std::atomic<bool> done{false};
    std::thread closer([&] {
        for (int round = 0; round < 20; ++round) {
            SQLiteDB::CloseDatabase();
            SQLiteDB::OpenDatabase(folder.Wide());
        }
        done = true;
    });
    OnThreads(3, [&](int thread) {
        const std::wstring id = std::to_wstring(thread);
        while (!done) {
            SyncRows::PutFileWithTask(File(id, 21), 1, 1);
            Db().GetTaskItem(id, 1);
            FetchDownloads();
            SyncRows::ForEachFile([](const Common::FileItem&) { return true; });
            Ask(L"SELECT count(*) FROM T_task");
        }
    });
    closer.join();
    EXPECT_TRUE(SyncRows::PutFile(File(L"after", 1)));
}

}  // namespace
}  // namespace Drive::Testing
