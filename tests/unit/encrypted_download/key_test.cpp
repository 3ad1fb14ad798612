#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "interfaces/common/globals.h"
#include "tests/support/private_access.h"
#include "tests/unit/encrypted_download/encrypted_bench.h"

namespace {

/// The texts that were decoded, in order.
std::vector<std::string> decoded;

}  // namespace

void RealDecode(const std::string& text, unsigned char* bytes, std::size_t characters) asm(
    "__real__ZN5Drive12HexstrToByteERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEEPhm");
void WatchedDecode(const std::string& text, unsigned char* bytes, std::size_t characters) asm(
    "__wrap__ZN5Drive12HexstrToByteERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEEPhm");
void WatchedDecode(const std::string& text, unsigned char* bytes, std::size_t characters) {
    decoded.push_back(text);
    RealDecode(text, bytes, characters);
}

namespace Drive::Testing {

struct HasAttachment {
    using Type = int (TransferService::DownLoadTaskManger::*)(std::vector<Common::DownloadAttributes>&);
    friend Type Reach(HasAttachment);
};
template struct PrivateMember<HasAttachment, &TransferService::DownLoadTaskManger::checkFileHasAttachment>;

namespace {

using Common::Bytes;
using Common::DownLoadAddressInfoModel;

Bytes Counting(std::size_t count) {
    Bytes bytes;
    for (std::size_t i = 0; i < count; ++i) bytes.push_back(static_cast<unsigned char>(i));
    return bytes;
}

class EncryptedKey : public EncryptedBench {
protected:
    EncryptedKey() {
        cloud.downloadDriveFileRequest.Before([this](const std::wstring&, WMap, const Bytes& fek, const Bytes& iv,
                                                     const std::wstring& algorithm, std::int64_t, Bytes&) {
            fekUsed = fek;
            ivUsed = iv;
            algorithmUsed = algorithm;
        });
        common.getFek.Before([this](const std::string& wrapped, const Bytes& key) {
            wrappedText = wrapped;
            userKeyUsed = key;
        });
    }

    void AnswerKey(const std::wstring& type, const std::wstring& iv, const std::wstring& efek = L"wrapped") {
        ChangeAnswer([=](DownLoadAddressInfoModel& model) {
            model.SetEncFekList({{efek, L"any algorithm", type, iv, L"uid"}, {L"second", L"x", L"3", L"", L""}});
        });
    }

    Bytes fekUsed, ivUsed, userKeyUsed;
    std::string wrappedText;
    std::wstring algorithmUsed;
};

// ENC-DL-01, ENC-DL-05, ENC-DL-08
TEST_F(EncryptedKey, OfTypeOneIsSixteenBytesLong) {
    Give(1);
    AnswerKey(L"1", L"101112131415161718191A1b1c1D1e1fffff");
    // The algorithm is passed on as it stands; here one that no library knows.
    cloud.downloadDriveFileRequest.Next([this](const std::wstring&, WMap, const Bytes&, const Bytes&,
                                               const std::wstring&, std::int64_t, Bytes& received) {
        received = cloud.objects.begin()->second;
        return true;
    });
    Run();
    EXPECT_EQ(wrappedText, "wrapped");
    EXPECT_EQ(userKeyUsed, Bytes(g_SyncUserKey, g_SyncUserKey + 16));
    EXPECT_EQ(fekUsed, Counting(16));
    Bytes iv = Counting(32);
    iv.erase(iv.begin(), iv.begin() + 16);
    EXPECT_EQ(ivUsed, iv);
    EXPECT_EQ(algorithmUsed, L"any algorithm");
    EXPECT_EQ(Outcome(), "Success");
}

// ENC-DL-02, ENC-DL-03
TEST_F(EncryptedKey, OfTypeThreeIsThirtyTwoBytesLongAndUnwrappedWithTheKeyOfTypeOne) {
    Give(1);
    AnswerKey(L"3", L"000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f");
    Run();
    EXPECT_EQ(userKeyUsed, Bytes(g_SyncUserKey, g_SyncUserKey + 32));
    EXPECT_NE(userKeyUsed, Bytes(g_SyncUserKey_sfek, g_SyncUserKey_sfek + 32));
    EXPECT_EQ(fekUsed, Counting(32));
    EXPECT_EQ(ivUsed, Counting(32));
}

// ENC-DL-04
TEST_F(EncryptedKey, OfAnyOtherTypeFailsTheJobWithThePositionUntouched) {
    for (const wchar_t* type : {L"2", L"", L"11", L"1 ", L"33", L"0"}) {
        Give(2);
        SetRecord(R"({"writePosition":10,"writeSliceIndex":1})");
        AnswerKey(type, std::wstring(64, L'1'));
        Run();
        EXPECT_TRUE(InOrder(Lines(), {"trace DownLoadTaskManger.driveDownloadFile.getDecryptKeyType. fileId = F",
                                      "trace DownLoadTaskManger.driveDownloadFile.getDecryptKeyType fail. fileId = F",
                                      "trace DownLoadTaskManger.downLoadTask.DownloadFile End Fail fileId = F"}))
            << Journal::Dump();
        EXPECT_EQ(Errors(), Texts{});
        EXPECT_EQ(RecordsWritten(), Texts{});
        EXPECT_EQ(common.getFek.Calls(), 0);
        EXPECT_EQ(cloud.getDownloadKelpAddress.Calls(), 0);
        EXPECT_EQ(MarksTakenByTheTransfer(), 0) << "the worker takes it away";
        ExpectEndedWithoutFile();
    }
}

// ENC-DL-06
TEST_F(EncryptedKey, IsReadWhateverTheCaseOfItsDigits) {
    for (const char* text :
         {"aabbccddeeff00112233445566778899", "AABBCCDDEEFF00112233445566778899", "aAbBcCdDeEfF00112233445566778899"}) {
        Give(1);
        common.getFek.AlwaysReturns(std::string(text));
        AnswerKey(L"1", std::wstring(32, L'0'));
        decoded.clear();
        Run();
        ASSERT_EQ(decoded.size(), 2u);
        EXPECT_EQ(decoded[1], "AABBCCDDEEFF00112233445566778899") << "a decoder need not know small letters";
        EXPECT_EQ(fekUsed,
                  (Bytes{0xaa, 0xbb, 0xcc, 0xdd, 0xee, 0xff, 0, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0x99}))
            << text;
    }
}

// ENC-DL-07
TEST_F(EncryptedKey, ThatCannotBeUnwrappedIsAllZeros) {
    Give(1);
    common.getFek.AlwaysReturns(std::string());
    AnswerKey(L"1", std::wstring(32, L'0'));
    Run();
    EXPECT_EQ(fekUsed, Bytes(16, 0));
}

// ENC-DL-07
TEST_F(EncryptedKey, ThatIsTooShortIsFilledWithZerosAndOneThatIsTooLongIsCut) {
    Give(1);
    common.getFek.AlwaysReturns(std::string("ff"));
    AnswerKey(L"1", L"ee");
    Run();
    Bytes expected(16, 0);
    expected[0] = 0xff;
    EXPECT_EQ(fekUsed, expected);
    expected[0] = 0xee;
    EXPECT_EQ(ivUsed, expected);
    Give(1);
    common.getFek.AlwaysReturns(std::string(400, '1'));
    AnswerKey(L"1", std::wstring(400, L'2'));
    Run();
    EXPECT_EQ(fekUsed, Bytes(16, 0x11));
    EXPECT_EQ(ivUsed, Bytes(16, 0x22));
}

// ENC-DL-38
TEST_F(EncryptedKey, SaysNothingOfAttachmentsWhichTheirNamesTell) {
    const auto has = [this](std::vector<Common::DownloadAttributes> attributes) {
        return (Downloads().*Reach(HasAttachment()))(attributes);
    };
    const auto named = [](const wchar_t* name) {
        Common::DownloadAttributes attribute;
        attribute.name = name;
        return attribute;
    };
    EXPECT_EQ(has({}), 0);
    EXPECT_EQ(has({named(L"")}), 0);
    EXPECT_EQ(has({named(L"smal"), named(L"larger"), named(L"Small")}), 0);
    EXPECT_EQ(has({named(L""), named(L"small")}), 1);
    EXPECT_EQ(has({named(L"large"), named(L"")}), 1);
}

}  // namespace
}  // namespace Drive::Testing
