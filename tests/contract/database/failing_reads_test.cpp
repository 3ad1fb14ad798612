#include <fstream>
#include <functional>

#include "interfaces/logging/log_settings.h"
#include "tests/contract/database/open_database.h"

namespace Drive::Testing {
namespace {

using SQLiteDB::SyncRows;

/// An operation that reads, and whether its answer tells of any row.
struct Operation {
    const char* name;
    std::function<bool()> finds;
};

void PrintTo(const Operation& operation, std::ostream* out) { *out << operation.name; }

/// What stands in the list already must stay, and nothing come.
bool FetchGrows(const std::string& states, const std::string& direction) {
    std::vector<Common::TaskItem> tasks(1);
    const int answer = Db().GetTaskAllItem(tasks, states, direction, 10);
    return answer != 0 || tasks.size() != 1;
}

const Operation kOperations[] = {
    {"GetTaskAllItemDownload", [] { return FetchGrows(kDownloadStates, "1"); }},
    {"GetTaskAllItemUpload", [] { return FetchGrows(kUploadStates, "2"); }},
    {"GetThumbnailFileDownLoadTask",
     [] {
         std::list<WMap> rows(1);
         return Db().GetThumbnailFileDownLoadTask(rows, 10) != 0 || rows.size() != 1;
     }},
    {"GetTaskItem", [] { return Db().GetTaskItem(L"down90", 1).GetFileId() == L"down90"; }},
    {"GetDriveDataItem",
     [] {
         WMap place{{L"localFileName", L"down90.txt"}, {L"localParentFolder", L"docs\\"}};
         return !Db().GetDriveDataItem(place).GetFileId().empty();
     }},
    {"GetDriveDataItemWithKey", [] { return !Db().GetDriveDataItemWithKey(L"down90").GetFileId().empty(); }},
    {"ExcuteQuerySQL",
     [] {
         std::list<WMap> rows(1);
         Db().ExcuteQuerySQL(rows, L"SELECT fileId FROM T_cloudDriveData");
         return rows.size() != 1;
     }},
    {"ForEachFile", [] { return SyncRows::ForEachFile([](const Common::FileItem&) { return true; }); }},
    {"FilesWithoutTask", [] { return !SyncRows::FilesWithoutTask({21}, 2, 5000).empty(); }},
    {"Tasks", [] { return !SyncRows::Tasks(5000).empty(); }},
    {"CountByStatus", [] { return !SyncRows::CountByStatus().empty(); }},
    {"CountTasksByDirection", [] { return !SyncRows::CountTasksByDirection().empty(); }},
    {"DisplacedFiles", [] { return !SyncRows::DisplacedFiles(10).empty(); }},
    {"ReadSetting", [] { return !SyncRows::ReadSetting(L"name").empty(); }},
};

class FailingReads : public OpenDatabaseTest, public testing::WithParamInterface<Operation> {
protected:
    void SetUp() override {
        OpenDatabaseTest::SetUp();
        std::vector<Common::FileItem> down, up;
        for (int number = 0; number < 100; ++number) {
            down.push_back(File(L"down" + std::to_wstring(number), 21));
            up.push_back(File(L"up" + std::to_wstring(number), 11));
        }
        ASSERT_TRUE(SyncRows::PutFilesWithTasks(down, 1, 1) && SyncRows::PutFilesWithTasks(up, 2, 1));
        ASSERT_TRUE(SyncRows::PutThumbnailTask(L"down1") && SyncRows::WriteSetting(L"name", L"value"));
        ASSERT_TRUE(Db().UpdateDriveData(Update(L"up1", {{L"fileId", L"down2"}}))) << "one is displaced";
        Reopen();
        Logging::SetTextSink([this](const Logging::TextRecord& record) { lines.push_back(record); });
    }
    void TearDown() override {
        Logging::SetTextSink({});
        OpenDatabaseTest::TearDown();
    }
    /// All but the first page, under the open connections.
    void DamageTheFile() const {
        const auto size = std::filesystem::file_size(folder.Database());
        std::ofstream file(folder.Database(), std::ios::in | std::ios::binary);
        const std::string page(4096, '\x5A');
        for (std::uintmax_t at = 4096; at < size; at += page.size()) {
            file.seekp(static_cast<std::streamoff>(at));
            file.write(page.data(), static_cast<std::streamsize>(page.size()));
        }
    }

    std::vector<Logging::TextRecord> lines;
};

// DB-FAIL-10
TEST_P(FailingReads, AnswerAsIfNothingWereFoundAndTellIt) {
    DamageTheFile();
    EXPECT_FALSE(GetParam().finds());
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].level, Logging::Level::Error);
    EXPECT_EQ(lines[0].text.rfind("Could not ", 0), 0u) << lines[0].text;
    EXPECT_NE(lines[0].text.find("transfer.db"), std::string::npos) << lines[0].text;
    EXPECT_NE(lines[0].text.find("Start the program anew"), std::string::npos) << lines[0].text;
}

// DB-FAIL-10
TEST_P(FailingReads, FindWhatIsThereWhileTheFileIsSound) {
    EXPECT_TRUE(GetParam().finds());
    EXPECT_TRUE(lines.empty());
}

INSTANTIATE_TEST_SUITE_P(Of, FailingReads, testing::ValuesIn(kOperations),
                         [](const auto& info) { return info.param.name; });

}  // namespace
}  // namespace Drive::Testing
