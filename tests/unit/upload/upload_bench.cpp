#include "tests/unit/upload/upload_bench.h"

#include "interfaces/common/globals.h"
#include "interfaces/database/sqlite_db.h"
#include "tests/support/virtual_time.h"
#include "upload/upload_task_manager.h"

namespace Drive::Testing {

namespace {

void Replace(std::string& text, const std::wstring& folder, const std::string& name) {
    const std::string from = Narrow(folder);
    for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + name.size())) {
        text.replace(at, from.size(), name);
    }
}

}  // namespace

UploadBench::UploadBench() {
    auto& engine = TransferService::UpLoadTaskManger::getInstance();
    engine.SetUploadTaskCallbackFun([](int kind, int value) {
        Journal::Write(Kind::Callback, "task(" + std::to_string(kind) + ", " + std::to_string(value) + ")");
    });
    engine.SetUploadServiceCallbackFun([](int kind, const std::wstring& path) {
        Journal::Write(Kind::Callback, "service(" + std::to_string(kind) + ", " + Narrow(path) + ")");
        return true;
    });
    cloud.sliceSize = 16;
}

Common::FileItem UploadBench::Give(const std::wstring& fileId, const std::wstring& relative, const std::string& bytes,
                                   int priority) const {
    world.WriteFile(relative, bytes);
    const Common::FileItem file = world.File(fileId, relative, static_cast<std::int64_t>(bytes.size()), 11);
    world.PutWithTask(file, 2, priority);
    Journal::Clear();
    return file;
}

void UploadBench::Work(const std::wstring& fileId) {
    Common::TaskItem task = world.Task(fileId, 2);
    task.SetFileId(fileId);
    task.SetDirection(2);
    EXPECT_EQ(TransferService::UpLoadTaskManger::UploadThreadFunc(new Common::TaskItem(task)), 0u);
}

void UploadBench::Run(const std::wstring& fileId) {
    VirtualTime::Run(0, [&] {
        Work(fileId);
        EXPECT_TRUE(VirtualTime::Drain(60000));
    });
}

void UploadBench::SetRecord(const std::wstring& fileId, const std::string& record) const {
    SQLiteDB::UpdateDBInfo info;
    info.key = fileId;
    info.columns.insert(SQLiteDB::MakePair(L"fragmentInfo", Wide(record)));
    EXPECT_TRUE(SQLiteDB::SQLiteDB::GetInstance().UpdateTaskItem(info, 2));
    Journal::Clear();
}

std::string UploadBench::Record(const std::wstring& fileId) const {
    return Narrow(world.Task(fileId, 2).GetFragmentInfo());
}

std::string UploadBench::Tidy(std::string text) const {
    Replace(text, g_clientSyncRootFolder, "ROOT\\");
    Replace(text, g_thumbnailFolder, "SMALL\\");
    Replace(text, g_lcdthumbnailFolder, "LARGE\\");
    return text;
}

std::string Joined(const Texts& lines) {
    std::string text;
    for (const std::string& line : lines) text += line + "\n";
    return text;
}

std::vector<std::string> UploadBench::Lines(std::initializer_list<Kind> kinds) const { return LinesSince(0, kinds); }

std::vector<std::string> UploadBench::LinesSince(std::size_t mark, std::initializer_list<Kind> kinds) const {
    std::vector<std::string> lines;
    for (const std::string& line : Journal::LinesSince(mark, kinds)) lines.push_back(Tidy(line));
    return lines;
}

}  // namespace Drive::Testing
