#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <stdexcept>

#include "interfaces/common/globals.h"
#include "interfaces/platform/native_path.h"
#include "tests/unit/upload/upload_bench.h"
#include "upload/picture_paths.h"
#include "upload/upload_task_manager.h"

namespace Drive::Testing {
namespace {

using Common::ThumbnailOptions;

std::string PictureError(const std::string& text) { return "error UpLoadTaskManger|createThumbnailFile|" + text; }

class UploadPictures : public UploadBench {
protected:
    UploadPictures() {
        common.createThumbnail.Always(
            [this](const Common::FileItem&, const ThumbnailOptions& option, const std::wstring& target) {
                const bool small = option == ThumbnailOptions::Thumbnail;
                WriteNative(target, Content(small ? smallBytes : largeBytes, small ? 11 : 12));
                return true;
            });
    }

    static void WriteNative(const std::wstring& path, const std::string& bytes) {
        std::filesystem::create_directories(std::filesystem::path(Platform::NativePath(path)).parent_path());
        std::ofstream(Platform::NativePath(path), std::ios::binary) << bytes;
    }

    static std::string ReadNative(const std::wstring& path) {
        std::ifstream in(Platform::NativePath(path), std::ios::binary);
        if (!in) return "(absent)";
        return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    }

    std::wstring Small() const { return g_thumbnailFolder + L"Photos\\cat.png.jpg"; }
    std::wstring Large() const { return g_lcdthumbnailFolder + L"Photos\\cat.png.jpg"; }

    Common::FileItem GivePicture(std::size_t bytes = 100) {
        return Give(L"Local-1", L"Photos\\cat.png", Content(bytes));
    }

    void ExpectPictureFailure(const std::string& text) {
        EXPECT_EQ(Reports(),
                  (Texts{PictureError(text),
                         "error UpLoadTaskManger|uploadTask|Terminate upload task:Failed to create thumbnail. "
                         "fileid=Local-1",
                         "stat 15002|UpLoadTaskManger::uploadTask |Terminate upload task:Failed to create thumbnail. "
                         "fileid=Local-1"}));
        EXPECT_EQ(cloud.objectsUploadStart.Calls(), 0);
        EXPECT_EQ(world.Row(L"Local-1").GetFileStatus(), 13);
        EXPECT_TRUE(Journal::Has(Kind::Database, "UpdateTaskItem(Local-1, {fragmentInfo: }, 2)"));
    }

    std::size_t smallBytes = 20;
    std::size_t largeBytes = 40;
};

// UP-PIC-01, UP-PIC-11
TEST_F(UploadPictures, AreMadeInOrderBeforeTheStart) {
    GivePicture();
    Run(L"Local-1");
    EXPECT_TRUE(
        InOrder(Lines(),
                {"common CreateLocalDirectory(SMALL\\Photos\\)", "common CreateLocalDirectory(LARGE\\Photos\\)",
                 "callback service(2, ROOT\\Photos\\cat.png)", "common IsFileExists(SMALL\\Photos\\cat.png.jpg)",
                 "common CreateThumbnail(Local-1, 0, SMALL\\Photos\\cat.png.jpg)",
                 "common IsFileExists(LARGE\\Photos\\cat.png.jpg)",
                 "common CreateThumbnail(Local-1, 1, LARGE\\Photos\\cat.png.jpg)",
                 "common ReadLocalFile(SMALL\\Photos\\cat.png.jpg)", "common ReadLocalFile(LARGE\\Photos\\cat.png.jpg)",
                 "db UpdateDriveData(Local-1, {attachmentSize: 20 40})",
                 "cloud ObjectsUploadStart(Local-1, " + Sha256(Content(100)) + ", )"}))
        << Tidy(Journal::Dump());
    EXPECT_EQ(world.Row(L"cloud-1").GetAttachmentSize(), (std::vector<int>{20, 40}));
}

// UP-PIC-30
TEST(PicturePaths, HaveTheSeparatorsThatTheFoldersLack) {
    Common::FileItem file;
    file.SetLocalFileName(L"a.png");
    for (const wchar_t* parent : {L"b\\c", L"b\\c\\"}) {
        file.SetLocalParentFolder(parent);
        for (const wchar_t* end : {L"", L"\\"}) {
            const auto paths =
                TransferService::PicturePathsOf(file, std::wstring(L"small") + end, std::wstring(L"large") + end);
            EXPECT_EQ(paths.smallFolder, L"small\\b\\c\\");
            EXPECT_EQ(paths.largeFolder, L"large\\b\\c\\");
            EXPECT_EQ(paths.small, L"small\\b\\c\\a.png.jpg");
            EXPECT_EQ(paths.large, L"large\\b\\c\\a.png.jpg");
        }
    }
    file.SetLocalParentFolder(L"");
    EXPECT_EQ(TransferService::PicturePathsOf(file, L"small", L"large").small, L"small\\a.png.jpg");
}

// UP-PIC-12, UP-PIC-13
TEST_F(UploadPictures, RideOnTheLastObjectSmallFirstEachAStreamOfItsOwn) {
    cloud.sliceSize = 64;
    GivePicture();
    std::vector<Common::ObjectInfoList> sent;
    cloud.filesCreateComplete.Before([&](const Common::FileItem&, const std::wstring&,
                                         Common::CreateUpdateRequestModel& model,
                                         WMap&) { sent = model.GetObjectInfoList(); });
    common.getFileHmac.AlwaysReturns(std::string(64, '1'));
    Run(L"Local-1");
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].objectIds.size(), 3u);
    ASSERT_EQ(sent[0].attachmentList.size(), 2u);
    EXPECT_EQ(sent[0].attachmentList[0].name, L"small");
    EXPECT_EQ(sent[0].attachmentList[0].length, 20);
    EXPECT_EQ(sent[0].attachmentList[1].name, L"large");
    EXPECT_EQ(sent[0].attachmentList[1].length, 40);

    const Common::Bytes key(16, 0x11);
    const Common::Bytes stored = cloud.objects[L"Local-1-object-2"];
    ASSERT_EQ(stored.size(), 80u);
    Common::Bytes small, large;
    ASSERT_TRUE(Common::EncryptHelper::AES_128_CBC_Decrypt(key, key, Common::Bytes(stored.begin(), stored.begin() + 32),
                                                           small));
    ASSERT_TRUE(
        Common::EncryptHelper::AES_128_CBC_Decrypt(key, key, Common::Bytes(stored.begin() + 32, stored.end()), large));
    EXPECT_EQ(std::string(small.begin(), small.end()), Content(20, 11));
    EXPECT_EQ(std::string(large.begin(), large.end()), Content(40, 12));
    EXPECT_EQ(Journal::Count(Kind::Trace, "UpLoadTaskManger.uploadTask:upload attachment"), 1);
    EXPECT_EQ(Journal::CountBeginning(Kind::Trace, "UpLoadTaskManger.fileUpload:upload slicefile stratoffset= "), 2);
}

// UP-PIC-14
TEST_F(UploadPictures, AreNotListedWhenTheirObjectWasStoredEarlier) {
    GivePicture(10);
    smallBytes = 5;
    largeBytes = 6;
    SetRecord(L"Local-1",
              R"({"uploadType":"client","version":1,"sliceSize":16,)"
              R"("items":[{"objectId":"p1","length":16,"status":true},{"objectId":"p2","length":32,"status":true}]})");
    std::vector<Common::ObjectInfoList> sent;
    cloud.filesCreateComplete.Before([&](const Common::FileItem&, const std::wstring&,
                                         Common::CreateUpdateRequestModel& model,
                                         WMap&) { sent = model.GetObjectInfoList(); });
    Run(L"Local-1");
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].objectIds, (std::vector<std::wstring>{L"p1", L"p2"}));
    EXPECT_TRUE(sent[0].attachmentList.empty());
    EXPECT_EQ(Journal::Count(Kind::Trace, "UpLoadTaskManger.uploadTask:upload attachment"), 0);
}

// UP-PIC-02
TEST_F(UploadPictures, AVideoHasThemToo) {
    Give(L"Local-1", L"clip.bin", Content(100));
    common.isImageFile.AlwaysReturns(false);
    common.isVideoFile.AlwaysReturns(true);
    Run(L"Local-1");
    EXPECT_EQ(common.createThumbnail.Calls(), 2);
}

// UP-PIC-02
TEST_F(UploadPictures, OtherFilesHaveNone) {
    Give(L"Local-1", L"a.bin", Content(100));
    Run(L"Local-1");
    EXPECT_EQ(common.createLocalDirectory.Calls(), 0);
    EXPECT_EQ(Journal::CountBeginning(Kind::Callback, "service(2"), 0);
}

// UP-PIC-04
TEST_F(UploadPictures, ThatExistAreReusedWithoutALookAtTheirAge) {
    GivePicture();
    WriteNative(Small(), Content(7));
    WriteNative(Large(), Content(9));
    Run(L"Local-1");
    EXPECT_EQ(common.createThumbnail.Calls(), 0);
    EXPECT_EQ(world.Row(L"cloud-1").GetAttachmentSize(), (std::vector<int>{7, 9}));
}

// UP-PIC-05
TEST_F(UploadPictures, ThatAreBiggerThanTheFileAreReplacedByTheFile) {
    GivePicture(30);
    Run(L"Local-1");
    EXPECT_TRUE(InOrder(
        Lines(),
        {"common ReadLocalFile(SMALL\\Photos\\cat.png.jpg)", "common ReadLocalFile(LARGE\\Photos\\cat.png.jpg)",
         "file CopyFileW(ROOT\\Photos\\cat.png, LARGE\\Photos\\cat.png.jpg, 0)",
         "common ReadLocalFile(LARGE\\Photos\\cat.png.jpg)", "db UpdateDriveData(Local-1, {attachmentSize: 20 30})"}))
        << Tidy(Journal::Dump());
    EXPECT_EQ(Journal::CountBeginning(Kind::File, "CopyFileW"), 1);
    EXPECT_EQ(ReadNative(Large()), Content(30));
}

// UP-PIC-06
TEST_F(UploadPictures, OfExactlyTheFilesSizeAreKept) {
    GivePicture(40);
    Run(L"Local-1");
    EXPECT_EQ(Journal::CountBeginning(Kind::File, "CopyFileW"), 0);
    EXPECT_EQ(world.Row(L"cloud-1").GetAttachmentSize(), (std::vector<int>{20, 40}));
}

// UP-PIC-08
TEST_F(UploadPictures, OfOtherSizesThanPlannedEmptyTheRecord) {
    for (const std::vector<int>& planned : {std::vector<int>{20, 41}, {21, 40}, {0, 0}}) {
        Common::FileItem file = GivePicture();
        file.SetAttachmentSize(planned);
        world.Put(file);
        SetRecord(L"Local-1", R"({"version":1,"recordCursor":"stale"})");
        Run(L"Local-1");
        EXPECT_TRUE(InOrder(Lines(), {"common ReadLocalFile(LARGE\\Photos\\cat.png.jpg)",
                                      "db UpdateTaskItem(Local-1, {fragmentInfo: }, 2)",
                                      "db UpdateDriveData(Local-1, {attachmentSize: 20 40})",
                                      "cloud ObjectsUploadStart(Local-1, " + Sha256(Content(100)) + ", )"}))
            << Tidy(Journal::Dump());
    }
}

// UP-PIC-09
TEST_F(UploadPictures, OfTheSizesPlannedKeepTheRecord) {
    Common::FileItem file = GivePicture();
    file.SetAttachmentSize({20, 40});
    world.Put(file);
    SetRecord(L"Local-1", R"({"version":9,"recordCursor":"good"})");
    Run(L"Local-1");
    EXPECT_TRUE(Journal::Has(Kind::Cloud, "ObjectsUploadStart(Local-1, " + Sha256(Content(100)) + ", good)"));
}

// UP-PIC-10
TEST_F(UploadPictures, AreNotComparedWithASingleSize) {
    Common::FileItem file = GivePicture();
    file.SetAttachmentSize({1});
    world.Put(file);
    SetRecord(L"Local-1", R"({"version":9,"recordCursor":"good"})");
    Run(L"Local-1");
    EXPECT_TRUE(Journal::Has(Kind::Cloud, "ObjectsUploadStart(Local-1, " + Sha256(Content(100)) + ", good)"));
}

// UP-PIC-16
TEST_F(UploadPictures, OfNoBytesFailTheAttemptAndAreRemoved) {
    GivePicture();
    smallBytes = 0;
    Run(L"Local-1");
    ExpectPictureFailure("createThumbnailFile Fail: thumbnail file is empty");
    EXPECT_TRUE(InOrder(
        Lines(), {"common RemoveFile(SMALL\\Photos\\cat.png.jpg)", "common RemoveFile(LARGE\\Photos\\cat.png.jpg)",
                  PictureError("createThumbnailFile Fail: thumbnail file is empty")}));
    EXPECT_EQ(ReadNative(Small()), "(absent)");
    EXPECT_EQ(ReadNative(Large()), "(absent)");
    smallBytes = 20;
    Run(L"Local-1");
    EXPECT_EQ(world.Row(L"cloud-1").GetFileStatus(), 1);
}

// UP-PIC-17, UP-PIC-22
TEST_F(UploadPictures, WithoutASmallFolderFail) {
    GivePicture();
    common.createLocalDirectory.NextReturns(false);
    Run(L"Local-1");
    ExpectPictureFailure("upload file create thumbnail directory fail. fileid=Local-1");
}

// UP-PIC-18
TEST_F(UploadPictures, WithoutALargeFolderFail) {
    GivePicture();
    common.createLocalDirectory.NextDefault();
    common.createLocalDirectory.NextReturns(false);
    Run(L"Local-1");
    ExpectPictureFailure("upload file create  LCD-image directory fail. fileid=Local-1");
    EXPECT_EQ(Journal::CountBeginning(Kind::Callback, "service(2"), 0);
}

// UP-PIC-19, UP-PIC-22
TEST_F(UploadPictures, FailWhenTheSmallOneCannotBeMade) {
    GivePicture();
    common.createThumbnail.NextReturns(false);
    Run(L"Local-1");
    ExpectPictureFailure("upload file create thumbnail file fail. fileid=Local-1");
}

// UP-PIC-20
TEST_F(UploadPictures, FailWhenTheLargeOneCannotBeMadeAndTheSmallOneStays) {
    GivePicture();
    common.createThumbnail.Next([this](const Common::FileItem&, const ThumbnailOptions&, const std::wstring& target) {
        WriteNative(target, Content(20));
        return true;
    });
    common.createThumbnail.NextReturns(false);
    Run(L"Local-1");
    ExpectPictureFailure("upload file create LCD-image file fail. fileid=Local-1");
    EXPECT_EQ(ReadNative(Small()), Content(20));
}

// UP-PIC-21
TEST_F(UploadPictures, CannotBeMadeWithoutTheHostsCallback) {
    GivePicture();
    TransferService::UpLoadTaskManger::getInstance().SetUploadServiceCallbackFun(nullptr);
    Run(L"Local-1");
    ExpectPictureFailure("fail: bad_function_call");
}

// UP-CLEAN-02
TEST_F(UploadPictures, AreRemovedWithTheRecordWhenTheFileChangedUnderTheUpload) {
    GivePicture();
    common.getFileHash.Always([](const std::wstring&, std::wstring& sha256, std::wstring& md5) {
        sha256 = L"other";
        md5 = L"other";
        return true;
    });
    Run(L"Local-1");
    EXPECT_TRUE(InOrder(Lines(), {"db UpdateTaskItem(Local-1, {fragmentInfo: }, 2)",
                                  "common DeleteLocalFile(SMALL\\Photos\\cat.png.jpg)",
                                  "common DeleteLocalFile(LARGE\\Photos\\cat.png.jpg)",
                                  "error UpLoadTaskManger|fileCreateComplete|Check file hash error  "
                                  "fileId=Local-1;sha256=other;md5=other"}))
        << Tidy(Journal::Dump());
    EXPECT_EQ(ReadNative(Small()), "(absent)");
    EXPECT_EQ(world.Row(L"Local-1").GetAttachmentSize(), (std::vector<int>{20, 40}));
}

// UP-PIC-07
TEST_F(UploadPictures, AreMadeWhateverTheHostAnswersToThePreparation) {
    GivePicture();
    TransferService::UpLoadTaskManger::getInstance().SetUploadServiceCallbackFun(
        [](int, const std::wstring&) { return false; });
    Run(L"Local-1");
    EXPECT_EQ(world.Row(L"cloud-1").GetAttachmentSize(), (std::vector<int>{20, 40}));
}

// UP-PIC-15, UP-CLEAN-02
TEST_F(UploadPictures, ThatCannotBeEncryptedDropTheRecordAndThePictures) {
    GivePicture(10);
    smallBytes = 5;
    largeBytes = 6;
    common.aES_128_CBC_Encrypt.NextReturns(std::string());
    Run(L"Local-1");
    const std::string text =
        "encrypt buffer length not equal fragmentinfo length objectId=Local-1-object-1;encryptlength=16;length=32";
    EXPECT_TRUE(InOrder(
        Lines(),
        {"error UpLoadTaskManger|fileUpload|" + text, "stat 15002|UpLoadTaskManger::fileUpload |" + text,
         "db UpdateTaskItem(Local-1, {fragmentInfo: }, 2)", "common DeleteLocalFile(SMALL\\Photos\\cat.png.jpg)",
         "common DeleteLocalFile(LARGE\\Photos\\cat.png.jpg)", "file CloseHandle(open)"}))
        << Tidy(Journal::Dump());
    EXPECT_EQ(Record(L"Local-1"), "");
    EXPECT_EQ(ReadNative(Small()), "(absent)");
    Run(L"Local-1");
    EXPECT_EQ(world.Row(L"cloud-1").GetFileStatus(), 1);
}

// UP-PIC-15
TEST_F(UploadPictures, ThatAllCannotBeEncryptedKeepTheRecordOfTheFilesOwnObjects) {
    GivePicture(10);
    smallBytes = 5;
    largeBytes = 6;
    common.aES_128_CBC_Encrypt.AlwaysReturns(std::string());
    Run(L"Local-1");
    EXPECT_EQ(Lines({Kind::Error}),
              Texts{"error UpLoadTaskManger|fileUpload|encrypt slicefile error objectId=Local-1-object-1"});
    EXPECT_NE(Record(L"Local-1").find("\"position\":10"), std::string::npos) << Record(L"Local-1");
    EXPECT_NE(ReadNative(Small()), "(absent)");
}

// UP-PIC-23, UP-PIC-22
TEST_F(UploadPictures, AnExceptionOfEachOperationFailsTheAttemptWithItsText) {
    struct Thrower {
        const char* name;
        std::function<void()> arrange;
    };
    const auto at = [](auto& operation, int call) {
        for (int i = 1; i < call; ++i) operation.NextDefault();
        operation.NextThrows("broken");
    };
    const std::vector<Thrower> throwers = {
        {"small folder", [&] { at(common.createLocalDirectory, 1); }},
        {"large folder", [&] { at(common.createLocalDirectory, 2); }},
        {"host",
         [&] {
             TransferService::UpLoadTaskManger::getInstance().SetUploadServiceCallbackFun(
                 [first = true](int, const std::wstring&) mutable {
                     if (!first) return true;
                     first = false;
                     throw std::runtime_error("broken");
                 });
         }},
        {"small existence", [&] { at(common.isFileExists, 2); }},
        {"large existence", [&] { at(common.isFileExists, 3); }},
        {"small picture", [&] { common.createThumbnail.NextThrows("broken"); }},
        {"small reading", [&] { at(common.readLocalFile, 1); }},
        {"large reading", [&] { at(common.readLocalFile, 2); }},
        {"copy",
         [&] {
             smallBytes = 200;
             at(files.copyFileW, 1);
         }},
        {"stale plan",
         [&] {
             world.Sql({"UPDATE T_cloudDriveData SET attachmentSize = '1 2'"});
             at(database.updateTaskItem, 2);
         }},
        {"empty picture",
         [&] {
             smallBytes = 0;
             at(common.removeFile, 1);
         }},
        {"row", [&] { at(database.updateDriveData, 2); }},
    };
    for (const Thrower& thrower : throwers) {
        SCOPED_TRACE(thrower.name);
        GivePicture();
        std::filesystem::remove(Platform::NativePath(Small()));
        std::filesystem::remove(Platform::NativePath(Large()));
        thrower.arrange();
        Journal::Clear();
        cloud.objectsUploadStart.Reset();
        Run(L"Local-1");
        ExpectPictureFailure("fail: broken");
        EXPECT_EQ(world.Task(L"Local-1", 2).GetPriority(), 4);
        std::filesystem::remove(Platform::NativePath(Small()));
        smallBytes = 20;
        Run(L"Local-1");
        EXPECT_FALSE(world.HasTask(L"Local-1", 2)) << "it succeeds once the cause is gone";
    }
}

}  // namespace
}  // namespace Drive::Testing
