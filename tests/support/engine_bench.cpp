#include "tests/support/engine_bench.h"

#include "interfaces/common/globals.h"
#include "interfaces/platform/native_path.h"
#include "upload/upload_task_manager.h"

namespace Drive::Testing {

using TransferService::DOWNLOADCALLBACK_CONTEXT;
using TransferService::DownLoadTaskManger;
using TransferService::UpLoadTaskManger;

namespace {

std::string Describe(const DOWNLOADCALLBACK_CONTEXT& record) {
    std::string text = "download(event " + std::to_string(record.event) + (record.ok ? ", ok" : ", failed");
    if (record.event == TransferService::DownloadEventData && record.ok) {
        text += ", offset " + std::to_string(record.offset) + ", length " + std::to_string(record.length) + ", end " +
                std::to_string(record.endOffset);
    }
    return text + ")";
}

}  // namespace

EngineBench::EngineBench(bool hears) {
    if (hears)
        Service().setFileTransNotifyMsgCallBack([](int message, const std::wstring& text, bool flag) {
            Journal::Write(Kind::Callback, "notify(" + std::to_string(message) + ", " + Narrow(text) + ", " +
                                               (flag ? "true" : "false") + ")");
        });
    Downloads().SetDownLoadTaskCallBackFun([this](DOWNLOADCALLBACK_CONTEXT& record) {
        Journal::Write(Kind::Callback, Describe(record));
        const auto answer = [](DOWNLOADCALLBACK_CONTEXT& given) {
            return given.event != TransferService::DownloadEventEnd;
        };
        return host.Call(answer, record);
    });
    Downloads().SetTaskSemaphoreCallbackFun(
        [](int key) { Journal::Write(Kind::Callback, "slot(" + std::to_string(key) + ")"); });
    UpLoadTaskManger::getInstance().SetUploadServiceCallbackFun([](int kind, const std::wstring& path) {
        Journal::Write(Kind::Callback, "service(" + std::to_string(kind) + ", " + Narrow(path) + ")");
        return true;
    });
}

Common::FileItem EngineBench::GivePlain(const std::wstring& fileId, const std::wstring& relative,
                                        const std::string& bytes, int priority) {
    cloud.PutPlain(fileId, bytes);
    Common::FileItem file = world.File(fileId, relative, static_cast<std::int64_t>(bytes.size()), 21);
    file.SetHash(Wide(Sha256(bytes)));
    world.PutWithTask(file, 1, priority);
    return file;
}

Common::FileItem EngineBench::GiveEncrypted(const std::wstring& fileId, const std::wstring& relative,
                                            const std::string& bytes, std::size_t objectSize, int priority) {
    Common::FileItem file = GivePlain(fileId, relative, bytes, priority);
    cloud.PutEncrypted(fileId, bytes, objectSize);
    return file;
}

Common::FileItem EngineBench::GiveUpload(const std::wstring& fileId, const std::wstring& relative,
                                         const std::string& bytes, int priority) {
    world.WriteFile(relative, bytes);
    const Common::FileItem file = world.File(fileId, relative, static_cast<std::int64_t>(bytes.size()), 11);
    world.PutWithTask(file, 2, priority);
    return file;
}

void EngineBench::StartService() {
    Service().startTransferTaskService();
    VirtualTime::Settle();
}

void EngineBench::StartWorker(const std::wstring& fileId, std::int64_t key) {
    auto* task = new Common::TaskItem(world.Task(fileId, 1));
    if (task->GetFileId().empty()) {
        task->SetFileId(fileId);
        task->SetDirection(1);
        task->SetTransferKey(0);
    }
    if (key != 0) task->SetTransferKey(key);
    VirtualTime::Start("worker", [task] { EXPECT_EQ(DownLoadTaskManger::DownloadThreadFunc(task), 0u); });
}

void EngineBench::Work(const std::wstring& fileId, std::int64_t key) {
    StartWorker(fileId, key);
    EXPECT_TRUE(VirtualTime::Drain(3600 * 1000)) << VirtualTime::Dump();
}

void EngineBench::RunOne(const std::wstring& fileId, std::int64_t key) {
    VirtualTime::Run(0, [&] { Work(fileId, key); });
}

std::string EngineBench::Tidy(std::string text) const {
    const std::pair<std::wstring, const char*> folders[] = {
        {g_clientSyncRootFolder, "ROOT\\"}, {g_thumbnailFolder, "SMALL\\"}, {g_lcdthumbnailFolder, "LARGE\\"}};
    for (const auto& [folder, name] : folders) {
        const std::string whole = Narrow(folder);
        for (auto at = text.find(whole); at != std::string::npos; at = text.find(whole)) {
            text.replace(at, whole.size(), name);
        }
    }
    return text;
}

Texts EngineBench::LinesSince(std::size_t mark, std::initializer_list<Kind> kinds) const {
    Texts lines = Journal::LinesSince(mark, kinds);
    for (std::string& line : lines) line = Tidy(line);
    return lines;
}

Texts EngineBench::Lines(std::initializer_list<Kind> kinds) const { return LinesSince(0, kinds); }

std::string Joined(const Texts& lines) {
    std::string text;
    for (const std::string& line : lines) text += line + "\n";
    return text;
}

}  // namespace Drive::Testing
