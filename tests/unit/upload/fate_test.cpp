#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <string>

#include "interfaces/common/drive_functions.h"
#include "interfaces/common/encrypt_helper.h"
#include "interfaces/common/globals.h"
#include "interfaces/platform/file_calls.h"
#include "tests/support/watching.h"
#include "tests/unit/upload/upload_bench.h"
#include "upload/plan_parser.h"

namespace Drive::Testing {
namespace {

using Common::Bytes;
using Common::EncryptHelper;
using Common::FileHepler;
using Common::GetKelpAddressModel;
using Common::KelpAddressRequestModel;

/// Moments of the upload of a file of forty bytes in three objects, in their order.
enum Moment {
    BeforeTheWorker,
    BehindTheGate,
    AtTheStart,
    BeforeTheOpening,
    BeforeTheFirstObject,
    BehindTheFirstObject,
    BehindTheLastObject,
    AtTheCompletion,
    Moments
};

enum Fate { Changes, Grows, Shrinks, Vanishes, BecomesUnreadable };

/// How an attempt ends. Sliced1: the second object could not be read whole, and so on.
enum Ending { Done, Gone, NoKey, NoSize, NoHandle, Sliced0, Sliced1, Mismatch, GoneAmong };

const char* const kTaskError = "error UpLoadTaskManger|uploadTask|";
const char* const kTaskStatistic = "stat 15002|UpLoadTaskManger::uploadTask |";

class UploadFate : public UploadBench {
protected:
    /// One cell of the table: the file meets its fate at the moment, and the attempt ends as told. Then the cause is
    /// gone, and the file goes up.
    void Expect(Fate fate, Moment moment, Ending ending) {
        SCOPED_TRACE("moment " + std::to_string(moment));
        Prepare();
        WatchMoments(moment, [this, fate] { Meet(fate); });
        if (moment == BeforeTheWorker) Meet(fate);
        const std::size_t handles = Platform::OpenHandleCount();
        Journal::Clear();
        Run(L"Local-1");
        EXPECT_TRUE(met) << "the moment was not reached";
        EXPECT_EQ(Joined(EngineReports()), Joined(ReportsOf(ending)));
        ExpectRows(ending);
        EXPECT_EQ(Platform::OpenHandleCount(), handles + (ending == GoneAmong ? 1 : 0));
        ExpectSlotAndClaim();
        ExpectSuccessOnceTheCauseIsGone();
    }

    /// Error lines and statistics without the lines in which Common tells what it could not read.
    Texts EngineReports() const {
        Texts reports = Reports();
        std::erase_if(reports, [](const std::string& line) { return line.rfind("error FileHepler|", 0) == 0; });
        return reports;
    }

    void Prepare() {
        common.Reset();
        files.Reset();
        cloud.Reset();
        cloud.sliceSize = 16;
        world.Sql({"DELETE FROM T_task", "DELETE FROM T_cloudDriveData"});
        unreadable = met = false;
        original = Content(40);
        Give(L"Local-1", L"a.bin", original);
        MakeUnreadableOnDemand();
        cloud.filesCreateComplete.Before(
            [this](const Common::FileItem&, const std::wstring&, Common::CreateUpdateRequestModel& model, WMap&) {
                ExpectContentUnderItsHash(model);
                Reached(AtTheCompletion);
            });
    }

    void Meet(Fate fate) {
        met = true;
        switch (fate) {
            case Changes:
                world.WriteFile(L"a.bin", Content(40, 2));
                break;
            case Grows:
                world.WriteFile(L"a.bin", original + Content(16, 3));
                break;
            case Shrinks:
                world.WriteFile(L"a.bin", original.substr(0, 20));
                break;
            case Vanishes:
                std::remove(world.NativeFile(L"a.bin").c_str());
                break;
            case BecomesUnreadable:
                unreadable = true;
                break;
        }
    }

    /// Reading fails while `unreadable` is set; asking for existence and size goes on working.
    void MakeUnreadableOnDemand() {
        common.getFileHmac.Always([this](const std::wstring&) { return unreadable ? "" : kKeyText; });
        common.getFileSha256.Always([this](const std::wstring& path) {
            Unwatched past;
            return unreadable ? std::wstring() : FileHepler::GetFileSha256(path);
        });
        common.getFileHash.Always([this](const std::wstring& path, std::wstring& sha256, std::wstring& md5) {
            Unwatched past;
            return !unreadable && FileHepler::GetFileHash(path, sha256, md5);
        });
        common.aES_128_CBC_Encrypt_FileHandle.Always([this](const Bytes& key, const Bytes& iv, Platform::HANDLE handle,
                                                            std::int64_t offset, std::int64_t length) {
            Unwatched past;
            return unreadable ? Bytes()
                              : EncryptHelper::AES_128_CBC_Encrypt_FileHandle(key, iv, handle, offset, length);
        });
        files.createFileW.Always([this](const wchar_t* path, Platform::DWORD access, Platform::DWORD share, void* none,
                                        Platform::DWORD disposition, Platform::DWORD flags, Platform::HANDLE model) {
            Unwatched past;
            return unreadable ? Platform::kInvalidHandle
                              : Platform::CreateFileW(path, access, share, none, disposition, flags, model);
        });
    }

    void WatchMoments(Moment moment, std::function<void()> then) {
        awaited = moment;
        atTheMoment = std::move(then);
        cloud.getUserSpace.Before([this](auto&&...) { Reached(BehindTheGate); });
        cloud.objectsUploadStart.Before([this](auto&&...) { Reached(AtTheStart); });
        files.createFileW.Before([this](auto&&...) { Reached(BeforeTheOpening); });
        common.aES_128_CBC_Encrypt_FileHandle.Before([this](auto&&...) { Reached(BeforeTheFirstObject); });
        cloud.objectsUploadComplete.Before([this](auto&&...) {
            Reached(cloud.objectsUploadComplete.Calls() == 3 ? BehindTheLastObject : BehindTheFirstObject);
        });
    }

    void Reached(Moment moment) {
        if (!atTheMoment || moment != awaited) return;
        const auto then = std::move(atTheMoment);
        atTheMoment = nullptr;
        then();
    }

    /// What the completion names must decrypt to content that has the hash and the size that the cloud is told.
    void ExpectContentUnderItsHash(const Common::CreateUpdateRequestModel& model) {
        Unwatched past;
        Bytes key(16, 0xaa), iv(16, 0xbb);
        std::string content;
        for (const auto& list : model.GetObjectInfoList()) {
            for (const std::wstring& id : list.objectIds) {
                Bytes plain;
                EXPECT_TRUE(EncryptHelper::AES_128_CBC_Decrypt(key, iv, cloud.objects[id], plain)) << Narrow(id);
                content.append(plain.begin(), plain.end());
            }
        }
        EXPECT_EQ(Sha256(content), Narrow(model.GetSha256()));
        EXPECT_EQ(static_cast<std::int64_t>(content.size()), model.GetSize());
        EXPECT_EQ(world.Row(L"Local-1").GetHash(), model.GetSha256());
        ++completed;
    }

    Texts ReportsOf(Ending ending) {
        const auto error = [](const std::string& text) { return kTaskError + text + "fileid=Local-1"; };
        const auto statistic = [](const std::string& text) { return kTaskStatistic + text + "fileid=Local-1"; };
        const auto both = [&](const std::string& text) { return Texts{error(text), statistic(text)}; };
        const std::string begin = statistic("file client upload. ");
        const auto sliced = [&](const std::string& number) {
            const std::string text = "fileUpload |encrypt slicefile error objectId=Local-1-object-" + number;
            return Texts{begin, "error UpLoadTaskManger|fileUpload|" + text.substr(12),
                         "stat 15002|UpLoadTaskManger::" + text};
        };
        switch (ending) {
            case Done:
                return {begin,
                        "stat 15002|UpLoadTaskManger::fileCreateUpdateComplete |fileCreateUpdateComplete "
                        "success. [LocalFileId:Local-1][CloudFileId:cloud-1][parentId:root-id]"};
            case Gone:
                return both("Terminate upload task:File is not exists. ");
            case NoKey:
                return {error("Terminate upload task: hmac is empty. "),
                        statistic("Terminate upload task:hmac is empty. fileid. ")};
            case NoSize:
                return both("Terminate upload task:getuploadstartInfo failure. ");
            case NoHandle:
                return {begin, error("Terminate upload task:Create file handle fail. "),
                        statistic("Create file handle fail. ")};
            case Sliced0:
                return sliced("0");
            case Sliced1:
                return sliced("1");
            case Mismatch:
                return {begin,
                        "error UpLoadTaskManger|fileCreateComplete|Check file hash error  fileId=Local-1;"
                        "sha256=" +
                            Sha256(world.ReadFile(L"a.bin")) + ";md5=" + Md5OfFile()};
            case GoneAmong:
                return {begin, error("Terminate upload task:File is not exists. ")};
        }
        return {};
    }

    std::string Md5OfFile() const {
        Unwatched past;
        const std::string bytes = world.ReadFile(L"a.bin");
        return EncryptHelper::MD5_Encode(Bytes(bytes.begin(), bytes.end()));
    }

    void ExpectRows(Ending ending) {
        struct Rows {
            const char* trace;    ///< end of the attempt
            int fileStatus;       ///< -1: no row
            int priority;         ///< 0: no task
            const char* objects;  ///< as the record tells; null: an empty record
        };
        const Rows rows[] = {
            {"Success", 1, 0, nullptr},
            {"fail del for retry task", -1, 0, nullptr},
            {"fail only del task", 11, 0, nullptr},
            {"failure", 13, 4, nullptr},
            {"fail del for retry task", 13, 0, nullptr},
            {"failure", 13, 4, "000"},
            {"failure", 13, 4, "100"},
            {"failure", 13, 4, nullptr},
            {"fail stop task", 13, 1, "100"},
        };
        const Rows& expected = rows[ending];
        EXPECT_TRUE(Journal::Has(Kind::Trace, std::string("UpLoadTaskManger.UploadThreadFunc:file upload task end ") +
                                                  expected.trace + " fileid=Local-1"))
            << Journal::Dump();
        const Common::FileItem row = world.Row(ending == Done ? L"cloud-1" : L"Local-1");
        EXPECT_EQ(row.GetFileId().empty() ? -1 : row.GetFileStatus(), expected.fileStatus);
        EXPECT_EQ(row.GetStatus(), 0);
        const Common::TaskItem task = world.Task(L"Local-1", 2);
        EXPECT_EQ(task.GetFileId().empty() ? 0 : task.GetPriority(), expected.priority);
        EXPECT_EQ(task.GetTaskstatus(), 0);
        if (ending == Mismatch) {
            EXPECT_EQ(Narrow(row.GetHash()), Sha256(world.ReadFile(L"a.bin")));
            EXPECT_EQ(row.GetLocalFileSha256(), row.GetHash());
        }
        EXPECT_EQ(Marks(), expected.objects == nullptr ? "" : expected.objects);
    }

    /// Which objects the record holds as stored: "110"; empty for an empty record.
    std::string Marks() const {
        std::string marks;
        Common::UploadStartInfo info;
        if (!TransferService::ReadStartRecord(Record(L"Local-1"), info)) return marks;
        for (const auto& fragment : info.GetFragmentInfos()) marks += fragment.status ? '1' : '0';
        return marks;
    }

    void ExpectSlotAndClaim() {
        EXPECT_EQ(Journal::Count(Kind::Callback, "task(2, 0)"), 1);
        EXPECT_EQ(Journal::Count(Kind::Callback, "task(2, 1)"), 1);
        EXPECT_EQ(Journal::CountBeginning(Kind::Callback, "task("), 2);
        EXPECT_TRUE(Journal::Has(Kind::Trace, "UpLoadTaskManger.UploadThreadFunc: End uploadTaskCount=:0"));
        EXPECT_NE(world.Row(L"Local-1").GetFileStatus(), 12);
    }

    /// The file is there and readable again and changes no more; a task that is gone is queued anew, as a host does.
    /// Returns how many attempts it took.
    int ExpectSuccessOnceTheCauseIsGone() {
        unreadable = false;
        if (!world.Exists(L"a.bin")) world.WriteFile(L"a.bin", original);
        const bool wasDone = !world.Row(L"cloud-1").GetFileId().empty();
        if (!wasDone && !world.HasTask(L"Local-1", 2)) {
            Common::FileItem row = world.Row(L"Local-1");
            if (row.GetFileId().empty()) row = world.File(L"Local-1", L"a.bin", 40, 11);
            world.PutWithTask(row, 2, 1);
        }
        int attempts = 0;
        while (world.Row(L"cloud-1").GetFileId().empty() && attempts < 4) {
            Run(L"Local-1");
            ++attempts;
        }
        EXPECT_EQ(world.Row(L"cloud-1").GetFileStatus(), 1) << Journal::Dump();
        EXPECT_EQ(world.TaskCount(), 0);
        if (!wasDone) {
            EXPECT_EQ(Narrow(world.Row(L"cloud-1").GetHash()), Sha256(world.ReadFile(L"a.bin")));
        }
        return attempts;
    }

    static constexpr const char* kKeyText = "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaabbbbbbbbbbbbbbbbbbbbbbbbbbbbbbbb";

    std::string original;
    bool unreadable = false;
    bool met = false;
    int completed = 0;
    Moment awaited = Moments;
    std::function<void()> atTheMoment;
};

// UP-FATE-02, UP-FATE-03, UP-FATE-05, UP-FATE-06
TEST_F(UploadFate, OfAFileThatChangesAtEachMoment) {
    const Ending endings[Moments] = {Done, Done, Mismatch, Mismatch, Mismatch, Mismatch, Mismatch, Done};
    for (int moment = 0; moment < Moments; ++moment) Expect(Changes, static_cast<Moment>(moment), endings[moment]);
    EXPECT_EQ(completed, Moments);
}

// UP-FATE-02, UP-FATE-03, UP-FATE-05, UP-FATE-06
TEST_F(UploadFate, OfAFileThatGrowsAtEachMoment) {
    const Ending endings[Moments] = {Done, Done, Mismatch, Mismatch, Mismatch, Mismatch, Mismatch, Done};
    for (int moment = 0; moment < Moments; ++moment) Expect(Grows, static_cast<Moment>(moment), endings[moment]);
    EXPECT_EQ(completed, Moments);
}

// UP-FATE-02, UP-FATE-03, UP-FATE-05, UP-FATE-06
TEST_F(UploadFate, OfAFileThatShrinksAtEachMoment) {
    const Ending endings[Moments] = {Done, Done, Sliced1, Sliced1, Sliced1, Sliced1, Mismatch, Done};
    for (int moment = 0; moment < Moments; ++moment) Expect(Shrinks, static_cast<Moment>(moment), endings[moment]);
    EXPECT_EQ(completed, Moments);
}

// UP-FATE-02, UP-FATE-04, UP-FATE-05, UP-FATE-06
TEST_F(UploadFate, OfAFileThatVanishesAtEachMoment) {
    const Ending endings[Moments] = {Gone, NoSize, NoHandle, NoHandle, GoneAmong, GoneAmong, Done, Done};
    for (int moment = 0; moment < Moments; ++moment) Expect(Vanishes, static_cast<Moment>(moment), endings[moment]);
    EXPECT_EQ(completed, Moments);
}

// UP-FATE-02, UP-FATE-04, UP-FATE-05, UP-FATE-06
TEST_F(UploadFate, OfAFileThatBecomesUnreadableAtEachMoment) {
    const Ending endings[Moments] = {NoKey, NoHandle, NoHandle, NoHandle, Sliced0, Sliced1, Done, Done};
    for (int moment = 0; moment < Moments; ++moment) {
        Expect(BecomesUnreadable, static_cast<Moment>(moment), endings[moment]);
    }
    EXPECT_EQ(completed, Moments);
}

// UP-FATE-10
TEST_F(UploadFate, OfAFileWhoseKeyIsAnotherWhenTheUploadGoesOn) {
    Prepare();
    WatchMoments(BehindTheGate, [this] { Meet(Changes); });
    // The key follows from the content, and the cloud makes a plan for one key, as the item tells it.
    common.getFileHmac.Always([this](const std::wstring&) { return Sha256(world.ReadFile(L"a.bin")); });
    std::vector<std::string> keys;
    cloud.objectsUploadStart.Before([&](Common::FileItem& item, auto&&...) {
        if (keys.empty() || keys.back() != item.GetFileHMAC()) ++cloud.planVersion;
        keys.push_back(item.GetFileHMAC());
    });
    std::string content;
    cloud.filesCreateComplete.Before([&](const Common::FileItem& file, const std::wstring&,
                                         Common::CreateUpdateRequestModel& model, WMap&) {
        const auto half = [&](std::size_t at) {
            Bytes bytes(16);
            HexstrToByte(file.GetFileHMAC().substr(at, 32), bytes.data(), 32);
            return bytes;
        };
        for (const std::wstring& id : model.GetObjectInfoList().front().objectIds) {
            Bytes plain;
            EXPECT_TRUE(EncryptHelper::AES_128_CBC_Decrypt(half(0), half(32), cloud.objects[id], plain)) << Narrow(id);
            content.append(plain.begin(), plain.end());
        }
    });
    cloud.uploadRequest.NextDefault();
    cloud.uploadRequest.Next([](auto&&...) { return false; });
    Run(L"Local-1");
    EXPECT_EQ(Marks(), "100") << "one object has gone up under the key of the old content";
    Run(L"Local-1");
    ASSERT_EQ(keys.size(), 2u);
    EXPECT_EQ(keys[0], Sha256(original)) << "formed before the edit";
    EXPECT_EQ(keys[1], Sha256(world.ReadFile(L"a.bin")));
    EXPECT_EQ(cloud.uploadRequest.Calls(), 2 + 3) << "the new plan is taken whole: all objects go up again";
    EXPECT_EQ(content, world.ReadFile(L"a.bin"));
    EXPECT_EQ(world.Row(L"cloud-1").GetFileStatus(), 1);
}

// UP-FATE-07, UP-FATE-05, UP-FATE-06
TEST_F(UploadFate, OfAnObjectThatTheStoreLosesCutsOrAlters) {
    using Harm = std::function<void(Bytes&)>;
    const std::pair<const char*, Harm> harms[] = {
        {"lost", [](Bytes& object) { object.clear(); }},
        {"cut by a byte", [](Bytes& object) { object.pop_back(); }},
        {"grown by a byte", [](Bytes& object) { object.push_back(0); }},
        {"altered at its first bit", [](Bytes& object) { object.front() ^= 0x80; }},
        {"altered at its last bit", [](Bytes& object) { object.back() ^= 1; }},
    };
    for (int number = 0; number < 3; ++number) {
        for (const auto& [name, harm] : harms) {
            SCOPED_TRACE(std::string(name) + ", object " + std::to_string(number));
            Prepare();
            // The cloud compares what it holds with the digest that the address was asked with.
            std::map<std::wstring, std::string> digests;
            cloud.getUploadKelpAddress.Before([&](const Common::FileItem&, const KelpAddressRequestModel& request,
                                                  GetKelpAddressModel&,
                                                  WMap&) { digests[request.objectId] = request.sha256; });
            bool harmed = false;
            cloud.objectsUploadComplete.Always([&](const Common::FileItem&, const Common::FragmentInfo& fragment,
                                                   const GetKelpAddressModel&, const std::string&,
                                                   const std::wstring&) {
                Bytes& held = cloud.objects[fragment.objectId];
                if (fragment.objectId.back() == L'0' + number && !harmed) {
                    harm(held);
                    harmed = true;
                }
                return Sha256(std::string(held.begin(), held.end())) == digests[fragment.objectId];
            });
            Run(L"Local-1");
            EXPECT_TRUE(harmed);
            EXPECT_EQ(Reports(), Texts{std::string(kTaskStatistic) + "file client upload. fileid=Local-1"});
            EXPECT_TRUE(Journal::Has(Kind::Trace,
                                     "UpLoadTaskManger.UploadThreadFunc:file upload task end failure "
                                     "fileid=Local-1"));
            EXPECT_EQ(Marks(), std::string(static_cast<std::size_t>(number), '1') +
                                   std::string(static_cast<std::size_t>(3 - number), '0'));
            EXPECT_EQ(world.Row(L"Local-1").GetFileStatus(), 13);
            EXPECT_EQ(world.Task(L"Local-1", 2).GetPriority(), 4);
            ExpectSlotAndClaim();
            const int sent = cloud.uploadRequest.Calls();
            EXPECT_EQ(ExpectSuccessOnceTheCauseIsGone(), 1);
            EXPECT_EQ(cloud.uploadRequest.Calls() - sent, 3 - number) << "the object goes up again, those before not";
        }
    }
}

// UP-FATE-01, UP-FATE-05, UP-FATE-06
TEST_F(UploadFate, OfAnAddressThatIsRefusedAtEachObject) {
    struct Refusal {
        const wchar_t* errorCode;
        const wchar_t* statuscode;
        bool dropsTheRecord;
    };
    const Refusal refusals[] = {{L"21000400", L"404", true}, {L"21000400", L"", true},    {L"", L"500", true},
                                {L"12345", L"500", true},    {L"21000400", L"500", true}, {L"21000401", L"403", false},
                                {L"", L"503", false},        {L"", L"", false},           {L"2100040", L"50", false}};
    for (const Refusal& refusal : refusals) {
        for (int number = 0; number < 3; ++number) {
            SCOPED_TRACE(Narrow(refusal.errorCode) + "/" + Narrow(refusal.statuscode) + ", object " +
                         std::to_string(number));
            Prepare();
            for (int i = 0; i < number; ++i) cloud.getUploadKelpAddress.NextDefault();
            cloud.getUploadKelpAddress.Next(
                [refusal](const Common::FileItem&, const KelpAddressRequestModel&, GetKelpAddressModel&, WMap& result) {
                    result = {{L"errorCode", refusal.errorCode},
                              {L"statuscode", refusal.statuscode},
                              {L"description", L"no room"}};
                    return false;
                });
            Run(L"Local-1");
            const std::string id = "Local-1-object-" + std::to_string(number);
            EXPECT_EQ(Reports(),
                      (Texts{std::string(kTaskStatistic) + "file client upload. fileid=Local-1",
                             "error UpLoadTaskManger|getKelpAddress|Upload getKelpAddress fail errorCode" +
                                 Narrow(refusal.errorCode) + "; description =no room",
                             "error UpLoadTaskManger|fileUpload|fileslice getKelpAddress false:" + id,
                             "stat 15002|UpLoadTaskManger::fileUpload |fileslice getKelpAddress false:" + id}));
            EXPECT_EQ(Marks(), refusal.dropsTheRecord ? ""
                                                      : std::string(static_cast<std::size_t>(number), '1') +
                                                            std::string(static_cast<std::size_t>(3 - number), '0'));
            EXPECT_EQ(world.Row(L"Local-1").GetFileStatus(), 13);
            EXPECT_EQ(world.Task(L"Local-1", 2).GetPriority(), 4);
            ExpectSlotAndClaim();
            const int sent = cloud.uploadRequest.Calls();
            EXPECT_EQ(ExpectSuccessOnceTheCauseIsGone(), 1);
            EXPECT_EQ(cloud.uploadRequest.Calls() - sent, refusal.dropsTheRecord ? 3 : 3 - number);
        }
    }
}

// UP-FATE-09, UP-FATE-05, UP-FATE-06
TEST_F(UploadFate, OfACompletionThatEndsWithEachCode) {
    struct Code {
        const wchar_t* errorCode;
        bool found;  ///< the cloud shows the file when asked
        const char* trace;
        int fileStatus;
        int status;
        int priority;  ///< 0: no task
    };
    const Code codes[] = {{L"", false, "failure", 13, 0, 4},
                          {L"21000401", false, "failure", 13, 0, 4},
                          {L"21004932", false, "fail del for retry task", 13, 0, 0},
                          {L"21015002", true, "Success", 1, 0, 0},
                          {L"21015002", false, "failure", 13, 0, 4},
                          {L"21000400", false, "fail del task", 13, 5, 0},
                          {L"21084031", false, "fail del task", 13, 5, 0},
                          {L"0", false, "fail del task", 13, 5, 0},
                          {L"210150021", false, "fail del task", 13, 5, 0},
                          {L" ", false, "fail del task", 13, 5, 0}};
    for (const Code& code : codes) {
        SCOPED_TRACE("code '" + Narrow(code.errorCode) + "'");
        Prepare();
        cloud.filesCreateComplete.Next(
            [code](const Common::FileItem&, const std::wstring&, Common::CreateUpdateRequestModel&, WMap& result) {
                result = {{L"errorCode", code.errorCode}, {L"description", L"because"}};
                return false;
            });
        cloud.inQuireCloudFile.Always([code](const Common::FileItem&, WMap& result) {
            result[L"id"] = L"cloud-1";
            return code.found;
        });
        Run(L"Local-1");
        EXPECT_EQ(Reports().at(1),
                  "stat 15002|UpLoadTaskManger::fileCreateUpdateComplete |fileCreateUpdateComplete fail. "
                  "fileid=Local-1,errorMsg:because");
        EXPECT_TRUE(Journal::Has(Kind::Trace,
                                 "UpLoadTaskManger.uploadTask:fileCreateUpdateComplete fail. fileid=Local-1; "
                                 "errorMsg:because"));
        EXPECT_TRUE(Journal::Has(Kind::Trace, std::string("UpLoadTaskManger.UploadThreadFunc:file upload task end ") +
                                                  code.trace + " fileid=Local-1"))
            << Journal::Dump();
        const Common::FileItem row = world.Row(code.found ? L"cloud-1" : L"Local-1");
        EXPECT_EQ(row.GetFileStatus(), code.fileStatus);
        EXPECT_EQ(row.GetStatus(), code.status);
        EXPECT_EQ(world.HasTask(L"Local-1", 2) ? world.Task(L"Local-1", 2).GetPriority() : 0, code.priority);
        EXPECT_EQ(cloud.inQuireCloudFile.Calls(), std::wstring(code.errorCode) == L"21015002");
        ExpectSlotAndClaim();
        const std::size_t before = Journal::Mark();
        ExpectSuccessOnceTheCauseIsGone();
        const Texts later = LinesSince(before, {Kind::Error});
        EXPECT_EQ(later,
                  code.status == 5 ? Texts{std::string(kTaskError) + "user space restore. fileid=Local-1"} : Texts{});
    }
}

// UP-FATE-08, UP-FATE-05, UP-FATE-06
TEST_F(UploadFate, OfAFileBeforeAFullSpaceThatComesBack) {
    g_SpaceIsFullSize = g_SpaceWillBeFullSize = 0;
    Prepare();
    cloud.space = 39;
    for (int attempt = 1; attempt <= 3; ++attempt) {
        Journal::Clear();
        Run(L"Local-1");
        const std::string text = "Terminate upload task:User Space Is Full. fileid=Local-1;UserSpace=39";
        EXPECT_EQ(Reports(), (Texts{kTaskError + text, kTaskStatistic + text}));
        EXPECT_EQ(Journal::Count(Kind::Callback, "task(1, 2)"), attempt == 1);
        EXPECT_EQ(Journal::Count(Kind::Callback, "task(2, 1)"), 1);
        EXPECT_EQ(world.Row(L"Local-1").GetFileStatus(), 13);
        EXPECT_EQ(world.Task(L"Local-1", 2).GetPriority(), 1 + 3 * attempt);
        EXPECT_EQ(cloud.objectsUploadStart.Calls(), 0);
    }
    cloud.space = 1 << 20;
    EXPECT_EQ(ExpectSuccessOnceTheCauseIsGone(), 1);
}

// UP-FATE-08
TEST_F(UploadFate, OfAFileThatWasHeldBackAndIsQueuedAgainWithSpace) {
    g_SpaceIsFullSize = g_SpaceWillBeFullSize = 0;
    Prepare();
    world.Sql({"UPDATE T_cloudDriveData SET status = 5, fileStatus = 13"});
    cloud.space = 39;
    Run(L"Local-1");
    EXPECT_EQ(world.Row(L"Local-1").GetStatus(), 5) << "a full space lets nothing through";
    cloud.space = 40;
    Run(L"Local-1");
    EXPECT_EQ(world.Row(L"cloud-1").GetStatus(), 0);
    EXPECT_TRUE(
        Journal::Has(Kind::Statistic, std::string(kTaskStatistic).substr(5) + "user space restore. fileid=Local-1"));
}

}  // namespace
}  // namespace Drive::Testing
