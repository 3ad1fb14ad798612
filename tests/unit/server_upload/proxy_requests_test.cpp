#include <gtest/gtest.h>
#include <json/reader.h>
#include <json/value.h>

#include "interfaces/logging/type_convert.h"
#include "server_upload/multipart_body.h"
#include "server_upload/resume_requests.h"
#include "server_upload/server_upload.h"
#include "upload/plan_parser.h"

namespace Drive::TransferService {
namespace {

Common::FileItem SomeFile() {
    Common::FileItem file;
    file.SetFileId(L"id-1");
    file.SetLocalFileName(L"a \"b\".txt");
    file.SetMimeType(L"text/plain");
    file.SetLocalParentId(L"parent");
    file.SetLocalFileSha256(L"abc");
    file.SetSize(12582912);
    return file;
}

std::string MetadataOf(const Common::FileItem& file) {
    std::string metadata;
    EXPECT_TRUE(ServerUpload::getInstance().buildUploadMetadata(file, metadata));
    return metadata;
}

// SUP-MULTI-01
TEST(UploadMetadata, IsOneLineInSortedOrderWithTheParentAsAnArrayOfOne) {
    EXPECT_EQ(MetadataOf(SomeFile()),
              "{\"fileName\":\"a \\\"b\\\".txt\",\"mimeType\":\"text/plain\",\"parentFolder\":[\"parent\"],"
              "\"sha256\":\"abc\"}\n");
}

// SUP-MULTI-02
TEST(UploadMetadata, KeepsEmptyValues) {
    EXPECT_EQ(MetadataOf(Common::FileItem()),
              "{\"fileName\":\"\",\"mimeType\":\"\",\"parentFolder\":[\"\"],\"sha256\":\"\"}\n");
}

// SUP-MULTI-03
TEST(UploadMetadata, NamesBeyondAsciiComeBackTheSame) {
    Common::FileItem file = SomeFile();
    file.SetLocalFileName(L"\u00e4\U0001F600.txt");
    Json::Value value;
    ASSERT_TRUE(Json::Reader().parse(MetadataOf(file), value));
    EXPECT_EQ(TypeConvert::StringToWString(value["fileName"].asString()), L"\u00e4\U0001F600.txt");
}

// SUP-MULTI-04
TEST(MultipartBody, IsByteForByteWhatTheProxyReads) {
    EXPECT_EQ(BuildMultipartBody("\r\n ", "B", "{\"a\":1}\n", std::string("x\0y", 3)),
              std::string("--B\r\n Content-Type: application/json; charset=UTF-8\r\n {\"a\":1}\n\r\n --B\r\n "
                          "Content-Type: application/octet-stream; charset=UTF-8\r\n x\0y\r\n --B--",
                          138));
}

// SUP-RES-01
TEST(ResumeOpening, SpellsTheFirstHeaderWithTwentyCharacters) {
    EXPECT_EQ(ResumeOpeningHeaders(SomeFile()), (WMap{{L"X-Upload-Content-Typ", L"text/plain"},
                                                      {L"X-Upload-Content-Length", L"12582912"},
                                                      {L"Content-Type", L"application/json"},
                                                      {L"Cache-Control", L"no-cache"}}));
}

// SUP-RES-13
TEST(SliceRange, EndsAtTheSliceLengthLessOneWhateverThePosition) {
    const WMap headers = SliceHeaders(SomeFile(), 5242880, 5242880);
    EXPECT_EQ(headers, (WMap{{L"Content-Range", L"bytes 5242880-5242879/12582912"},
                             {L"Content-Length", L"5242880"},
                             {L"Content-Type", L"text/plain"}}));
    EXPECT_EQ(SliceHeaders(SomeFile(), 0, 12582912).at(L"Content-Range"), L"bytes 0-12582911/12582912");
}

// SUP-RES-14
TEST(SliceRange, WrapsForAnEmptySlice) {
    EXPECT_EQ(SliceHeaders(SomeFile(), 0, 0).at(L"Content-Range"), L"bytes 0-18446744073709551615/12582912");
}

// SUP-RES-07
TEST(SliceSize, TextThatIsNoNumberGivesZero) {
    EXPECT_EQ(ReadSliceSize(L"5242880"), 5242880);
    EXPECT_EQ(ReadSliceSize(L""), 0);
    EXPECT_EQ(ReadSliceSize(L"five"), 0);
    EXPECT_EQ(ReadSliceSize(L"12x"), 12);
    EXPECT_EQ(ReadSliceSize(L"-4"), -4);
}

// SUP-RES-11
TEST(SliceLength, OfAResumedUploadIsThePositionsLow32Bits) {
    EXPECT_EQ(ResumedSliceLength(5242880), 5242880);
    EXPECT_EQ(ResumedSliceLength(0), 0);
    EXPECT_EQ(ResumedSliceLength((std::uint64_t{1} << 32) + 7), 7);
    EXPECT_EQ(ResumedSliceLength(3221225472), -1073741824);
}

// SUP-RES-15
TEST(SliceLength, IsCutBackAtTheEndOfTheFile) {
    EXPECT_EQ(NextSliceLength(5, 0, 12), 5u);
    EXPECT_EQ(NextSliceLength(5, 10, 12), 2u);
    EXPECT_EQ(NextSliceLength(0, 10, 12), 0u);
}

// SUP-RES-15
TEST(SliceLength, ANegativeOneTakesAllThatIsLeft) {
    EXPECT_EQ(NextSliceLength(-1073741824, 3221225472, 3221225482), 10u);
}

// SUP-RES-21
TEST(PositionRecord, HoldsSixKeysAndNoVersion) {
    Common::UploadStartInfo info;
    info.SetUploadType(L"server");
    info.SetSliceSize(5242880);
    info.SetItemcount(2);
    info.SetUploadUrl(L"https://u");
    info.SetResumeUrl(L"not this one");
    info.SetVersion(9);
    info.SetRecordCursor(L"c");
    const std::string text = TypeConvert::WStringToString(WritePositionRecord(info, 10485760, L"https://r"));
    Json::Value value;
    ASSERT_TRUE(Json::Reader().parse(text, value)) << text;
    EXPECT_EQ(value.getMemberNames(),
              (std::vector<std::string>{"itemcount", "position", "resumeUrl", "sliceSize", "uploadType", "uploadUrl"}));
    EXPECT_EQ(value["uploadType"].asString(), "server");
    EXPECT_EQ(value["sliceSize"].asInt(), 5242880);
    EXPECT_EQ(value["itemcount"].asUInt(), 2u);
    EXPECT_EQ(value["uploadUrl"].asString(), "https://u");
    EXPECT_EQ(value["position"].asInt64(), 10485760);
    EXPECT_EQ(value["resumeUrl"].asString(), "https://r");
}

// SUP-RES-21
TEST(PositionRecord, ReadBackAsAPlanHasNoVersionSoThatTheNextAnswerIsNew) {
    Common::UploadStartInfo info;
    info.SetUploadType(L"server");
    info.SetVersion(9);
    Common::UploadStartInfo back;
    ASSERT_TRUE(ReadStartRecord(TypeConvert::WStringToString(WritePositionRecord(info, 10485760, L"https://r")), back));
    EXPECT_EQ(back.GetVersion(), 0);
    EXPECT_EQ(back.GetPosition(), 10485760u);
    EXPECT_EQ(back.GetResumeUrl(), L"https://r");
}

}  // namespace
}  // namespace Drive::TransferService
