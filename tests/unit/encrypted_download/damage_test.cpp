#include <gtest/gtest.h>

#include <map>

#include "interfaces/common/encrypt_helper.h"
#include "interfaces/common/globals.h"
#include "tests/support/watching.h"
#include "tests/unit/encrypted_download/encrypted_bench.h"

namespace Drive::Testing {
namespace {

using Common::Bytes;
using Common::EncryptHelper;
using TransferService::DOWNLOADCALLBACK_CONTEXT;

/// Real keys and ciphers behind the scripted cloud, and a host that looks at what the engine calls finished.
class Damage : public EncryptedBench {
protected:
    Damage() {
        common.getFek.Reset();
        cloud.downloadDriveFileRequest.Always([this](const std::wstring& url, WMap, const Bytes& fek, const Bytes& iv,
                                                     const std::wstring&, std::int64_t,
                                                     Bytes& plain) { return Fetch(url, fek, iv, plain); });
        host.Before([this](DOWNLOADCALLBACK_CONTEXT& record) {
            if (record.event != 3) return;
            ++(Narrow(world.Row(L"F").GetHash()) == Sha256(world.ReadFile(L"f.txt")) ? passed : refused);
            EXPECT_EQ(Narrow(world.Row(L"F").GetLocalFileSha256()), Sha256(world.ReadFile(L"f.txt")));
        });
    }

    /// The file in the cloud as an upload would leave it, with its row and an empty record.
    void GiveStored(int objects) {
        Give(objects);
        std::remove(world.NativeFile(L"f.txt").c_str());
        passed = refused = 0;
        Unwatched past;
        Bytes key, iv;
        for (int i = 0; i < 16; ++i) {
            key.push_back(static_cast<unsigned char>(0xa0 + i));
            iv.push_back(static_cast<unsigned char>(0x11));
        }
        for (int i = 0; i < objects; ++i) {
            const std::string plain = Object(i);
            const std::string cipher = EncryptHelper::AES_128_CBC_Encrypt(key, iv, Bytes(plain.begin(), plain.end()));
            cloud.objects[ObjectId(i)] = {cipher.begin(), cipher.end()};
            digests[ObjectId(i)] = cloud.objects[ObjectId(i)];
        }
        const std::string efek = EncryptHelper::GetEfek("a0a1a2a3a4a5a6a7a8a9aaabacadaeaf",
                                                        Bytes(g_SyncUserKey, g_SyncUserKey + 16), std::string(32, '1'));
        ChangeAnswer([efek](Common::DownLoadAddressInfoModel& model) {
            model.SetEncFekList({{Wide(efek), L"AES_128", L"1", std::wstring(32, L'1'), L"uid"}});
        });
    }

    /// What the cloud library promises, but for the digest when a test takes that promise back.
    bool Fetch(const std::wstring& url, const Bytes& fek, const Bytes& iv, Bytes& plain) {
        Unwatched past;
        plain.clear();
        const std::wstring id = url.substr(url.rfind(L'/') + 1);
        const auto found = cloud.objects.find(id);
        if (found == cloud.objects.end() || fek == Bytes(16, 0)) return false;
        if (checksDigests && found->second != digests[id]) return false;
        return EncryptHelper::AES_128_CBC_Decrypt(fek, iv, found->second, plain);
    }

    /// A job that could not bring the file: nothing passes for it.
    void ExpectNothingPasses() {
        EXPECT_EQ(passed, 0);
        if (refused == 0) {
            EXPECT_EQ(Errors(), (Texts{Error("Terminate download file task:ReceiveData is Empty! fileid = F")}));
            EXPECT_EQ(Outcome(), "Fail");
            ExpectEndedWithoutFile();
            return;
        }
        EXPECT_EQ(world.Row(L"F").GetFileStatus(), 1);
        EXPECT_EQ(Journal::Count(Kind::Callback, "slot(11)"), 1);
        EXPECT_FALSE(world.HasTask(L"F", 1));
    }

    void ExpectSuccessOnceTheCauseIsGone(int objects) {
        GiveStored(objects);
        Run();
        EXPECT_EQ(passed, 1);
        EXPECT_EQ(world.ReadFile(L"f.txt"), Whole());
        EXPECT_EQ(world.Row(L"F").GetFileStatus(), 1);
    }

    std::map<std::wstring, Bytes> digests;
    bool checksDigests = true;
    int passed = 0;
    int refused = 0;
};

// ENC-DL-39
TEST_F(Damage, OfADiskThatIsFullAtTheThirdOfFiveObjectsAndHasSpaceAgainWithinThreeSeconds) {
    GiveStored(5);
    common.writeLocalFileV.NextDefault();
    common.writeLocalFileV.NextDefault();
    common.writeLocalFileV.NextReturns(false);
    Run();
    EXPECT_EQ(Errors(),
              (Texts{Error("Terminate download file task:Filetask is failer. WriteLocalFile fail! fileid = F")}));
    EXPECT_EQ(Journal::Count(Kind::Sleep, "3000"), 1);
    EXPECT_TRUE(Journal::Has(Kind::Database, "UpdateTaskItem(F, {priority: 4}, 1)"));
    // The second pass writes the first three objects behind the two that were there, and has the size.
    EXPECT_EQ(RecordsWritten(),
              (Texts{R"({"writePosition":10,"writeSliceIndex":1})", R"({"writePosition":20,"writeSliceIndex":2})",
                     R"({"writePosition":30,"writeSliceIndex":1})", R"({"writePosition":40,"writeSliceIndex":2})",
                     R"({"writePosition":50,"writeSliceIndex":3})"}));
    EXPECT_EQ(world.ReadFile(L"f.txt"), Whole().substr(0, 20) + Whole().substr(0, 30));
    EXPECT_EQ(Outcome(), "Success");
    EXPECT_EQ(world.Row(L"F").GetFileStatus(), 1);
    EXPECT_EQ(Journal::CountBeginning(Kind::Callback, "slot("), 2) << "one begin, one slot";
    EXPECT_EQ(passed, 0);
    EXPECT_EQ(refused, 1) << "the host's check tells the file apart";
    ExpectSuccessOnceTheCauseIsGone(5);
}

// ENC-DL-39, ENC-DL-32
TEST_F(Damage, OfADiskThatIsFullAtTheFirstObjectAndHasSpaceAgainIsNone) {
    GiveStored(5);
    common.writeLocalFileV.NextReturns(false);
    Run();
    EXPECT_EQ(world.ReadFile(L"f.txt"), Whole());
    EXPECT_EQ(passed, 1);
}

// ENC-DL-39, ENC-DL-42
TEST_F(Damage, OfADiskThatStaysFullEndsAfterFivePassesWithoutTheFile) {
    GiveStored(5);
    common.writeLocalFileV.NextDefault();
    common.writeLocalFileV.NextDefault();
    for (int i = 0; i < 5; ++i) common.writeLocalFileV.NextReturns(false);
    Run();
    EXPECT_EQ(Journal::Count(Kind::Sleep, "3000"), 4);
    EXPECT_EQ(RecordsWritten().size(), 2u);
    EXPECT_EQ(Errors().size(), 5u);
    EXPECT_EQ(Outcome(), "Fail For Retry");
    EXPECT_EQ(passed + refused, 0);
    ExpectEndedWithoutFile();
    ExpectSuccessOnceTheCauseIsGone(5);
}

// ENC-DL-40, ENC-DL-42
TEST_F(Damage, OfAStoredObjectNeverPassesForTheFileAndHealsWithTheObject) {
    using Harm = void (*)(Bytes&);
    const std::pair<const char*, Harm> harms[] = {
        {"lost", nullptr},
        {"emptied", [](Bytes& object) { object.clear(); }},
        {"cut by a byte", [](Bytes& object) { object.pop_back(); }},
        {"cut by a block", [](Bytes& object) { object.resize(object.size() - 16); }},
        {"grown by a byte", [](Bytes& object) { object.push_back(0); }},
        {"grown by a block", [](Bytes& object) { object.insert(object.end(), object.begin(), object.begin() + 16); }},
        {"altered at its first bit", [](Bytes& object) { object.front() ^= 0x80; }},
        {"altered at its last bit", [](Bytes& object) { object.back() ^= 1; }},
    };
    for (const bool checked : {true, false}) {
        for (int number = 0; number < 3; ++number) {
            for (const auto& [name, harm] : harms) {
                SCOPED_TRACE(std::string(name) + ", object " + std::to_string(number) +
                             (checked ? ", digest checked" : ", digest not checked"));
                checksDigests = checked;
                GiveStored(3);
                if (harm == nullptr) {
                    cloud.objects.erase(ObjectId(number));
                } else {
                    harm(cloud.objects[ObjectId(number)]);
                }
                Run();
                ExpectNothingPasses();
                if (checked) {
                    EXPECT_EQ(refused, 0) << "the library holds the object back";
                }
                if (refused == 0) {
                    EXPECT_EQ(cloud.downloadDriveFileRequest.Calls(), number + 4);
                    EXPECT_EQ(RecordsWritten().size(), static_cast<std::size_t>(number));
                }
                ExpectSuccessOnceTheCauseIsGone(3);
                cloud.downloadDriveFileRequest.Reset();
                cloud.downloadDriveFileRequest.Always([this](const std::wstring& url, WMap, const Bytes& fek,
                                                             const Bytes& iv, const std::wstring&, std::int64_t,
                                                             Bytes& plain) { return Fetch(url, fek, iv, plain); });
            }
        }
    }
}

// ENC-DL-40
TEST_F(Damage, OfAnySingleBitNeverPassesForTheFileEvenWithoutADigest) {
    checksDigests = false;
    int caughtByTheHost = 0;
    for (std::size_t bit = 0; bit < 128; ++bit) {
        SCOPED_TRACE("bit " + std::to_string(bit));
        GiveStored(2);
        cloud.objects[ObjectId(1)].at(bit / 8) ^= static_cast<unsigned char>(1u << bit % 8);
        Run();
        ExpectNothingPasses();
        caughtByTheHost += refused;
    }
    RecordProperty("caught_by_the_host", caughtByTheHost);
    ExpectSuccessOnceTheCauseIsGone(2);
}

// ENC-DL-41, ENC-DL-42
TEST_F(Damage, OfTheUserKeyBringsNoFile) {
    GiveStored(3);
    ++g_SyncUserKey[0];
    Run();
    EXPECT_EQ(cloud.downloadDriveFileRequest.Calls(), 4);
    EXPECT_EQ(RecordsWritten(), Texts{});
    EXPECT_FALSE(world.Exists(L"f.txt"));
    ExpectNothingPasses();
    --g_SyncUserKey[0];
    ExpectSuccessOnceTheCauseIsGone(3);
}

// ENC-DL-41
TEST_F(Damage, OfTheWrappedKeyBringsNoFile) {
    GiveStored(2);
    ChangeAnswer([](Common::DownLoadAddressInfoModel& model) {
        model.SetEncFekList({{L"bm9uc2Vuc2U=", L"AES_128", L"1", std::wstring(32, L'1'), L"uid"}});
    });
    Run();
    EXPECT_FALSE(world.Exists(L"f.txt"));
    ExpectNothingPasses();
    ExpectSuccessOnceTheCauseIsGone(2);
}

// ENC-DL-41
TEST_F(Damage, OfTheFileKeyNeverPassesForTheFile) {
    for (int other = 0; other < 100; ++other) {
        SCOPED_TRACE(other);
        GiveStored(1);
        common.getFek.AlwaysReturns(Sha256(std::to_string(other)).substr(0, 32));
        Run();
        ExpectNothingPasses();
    }
    common.getFek.Reset();
    ExpectSuccessOnceTheCauseIsGone(1);
}

// ENC-DL-41
TEST_F(Damage, OfTheVectorNeverPassesForTheFile) {
    GiveStored(3);
    ChangeAnswer([](Common::DownLoadAddressInfoModel& model) {
        auto keys = model.GetEncFekList();
        keys[0].efek = L"";
        model.SetEncFekList(keys);
    });
    common.getFek.AlwaysReturns(std::string("a0a1a2a3a4a5a6a7a8a9aaabacadaeaf"));
    ChangeAnswer([](Common::DownLoadAddressInfoModel& model) {
        model.SetEncFekList({{L"e", L"AES_128", L"1", L"21" + std::wstring(30, L'1'), L"uid"}});
    });
    Run();
    EXPECT_EQ(refused, 1) << "every object's first byte is wrong, which only the hash of the file tells";
    EXPECT_EQ(passed, 0);
}

}  // namespace
}  // namespace Drive::Testing
