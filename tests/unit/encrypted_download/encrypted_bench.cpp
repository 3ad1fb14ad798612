#include "tests/unit/encrypted_download/encrypted_bench.h"

#include <memory>
#include <utility>

namespace Drive::Testing {

using Common::DownLoadAddressInfoModel;

EncryptedBench::EncryptedBench() {
    common.getFek.AlwaysReturns(std::string("000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f"));
}

void EncryptedBench::Give(int objects, int priority) {
    whole = Content(10 * static_cast<std::size_t>(objects));
    GiveEncrypted(L"F", L"f.txt", whole, 10, priority);
    Journal::Clear();
}

void EncryptedBench::RunFetch() {
    world.WriteFile(L"f.txt", "");
    RunOne(L"F", 2);
}

void EncryptedBench::SetRecord(const std::string& record) const {
    world.Sql({"UPDATE T_task SET fragmentInfo = '" + record + "'"});
}

Texts EncryptedBench::RecordsWritten() const {
    Texts records;
    const std::string beginning = "UpdateTaskItem(F, {fragmentInfo: ";
    for (const std::string& text : Journal::Texts(Kind::Database)) {
        if (text.rfind(beginning, 0) != 0) continue;
        records.push_back(text.substr(beginning.size(), text.rfind("}, 1)") - beginning.size()));
    }
    return records;
}

void EncryptedBench::ChangeAnswer(std::function<void(DownLoadAddressInfoModel&)> change) {
    cloud.getDownloadAddressInfo.Always([this, change](const std::wstring&, DownLoadAddressInfoModel& model) {
        model.SetRecordCursor(L"cursor-F");
        model.SetEncFekList({{L"efek", L"AES_128", L"1", std::wstring(32, L'1'), L"uid"}});
        Common::DownloadObjectInfoList list;
        list.time = L"time";
        list.bucketId = L"bucket";
        list.length = static_cast<std::int64_t>(whole.size());
        list.objectIds = cloud.files[L"F"].objects;
        for (std::size_t i = 0; i < list.objectIds.size(); ++i) list.synckeys.push_back(L"key " + std::to_wstring(i));
        model.SetObjectInfoList({list});
        change(model);
        return true;
    });
}

void EncryptedBench::WhenWritten(int objects, std::function<void()> then) {
    auto left = std::make_shared<int>(objects);
    common.writeLocalFileV.Before([left, then](std::int64_t, const char*, std::size_t, const std::wstring&) {
        if (--*left == 0) then();
    });
}

void EncryptedBench::WhenFetching(int objects, std::function<void()> then) {
    auto left = std::make_shared<int>(objects);
    cloud.downloadDriveFileRequest.Before([left, then](auto&&...) {
        if (--*left == 0) then();
    });
}

std::string EncryptedBench::Outcome() const {
    const std::string beginning = "DownLoadTaskManger.downLoadTask.DownloadFile End ";
    std::string outcome = "none";
    for (const std::string& text : Journal::Texts(Kind::Trace)) {
        if (text.rfind(beginning, 0) != 0) continue;
        outcome = text.substr(beginning.size(), text.find(" fileId = ") - beginning.size());
    }
    return outcome;
}

int EncryptedBench::MarksTakenByTheTransfer() const {
    return Journal::CountBeginning(Kind::Common, "EraseOpetatingFile(") - 1;
}

void EncryptedBench::ExpectEndedWithoutFile() {
    EXPECT_EQ(world.Row(L"F").GetFileStatus(), 23);
    EXPECT_FALSE(world.HasTask(L"F", 1));
    EXPECT_EQ(Journal::Count(Kind::Callback, "slot(11)"), 1);
    EXPECT_EQ(Journal::Count(Kind::Callback, "download(event 2, failed)"), 1);
    EXPECT_EQ(Journal::CountBeginning(Kind::Callback, "download(event 3"), 0);
    EXPECT_EQ(Downloads().getDownloadingTaskCount(), 0);
}

}  // namespace Drive::Testing
