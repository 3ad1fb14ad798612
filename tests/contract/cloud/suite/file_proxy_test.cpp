// The five operations of the file proxy.
#include "tests/contract/cloud/suite/cloud_suite.h"

namespace Drive::Testing {
namespace {

using Cloud::CloudDriveInterface;
using HttpInterface::InterfaceName;

class Proxy : public CloudSuite {
protected:
    bool Upload(InterfaceName operation, const std::string& raw, const std::string& text, const WMap& headers = {},
                const std::wstring& fileId = L"file7") {
        result.clear();
        return CloudDriveInterface::FileproxyUpload(cloud->Proxy(), fileId, operation, raw, text, headers, result);
    }

    WMap result;
};

// CLOUD-PROXY-01
TEST_F(Proxy, HearsTheBodyByteForByteAndTheHeadersThatWereGiven) {
    const std::string bytes("\0\r\n--\xff", 6);
    const WMap headers{{L"X-Upload-Content-Typ", L"video/mp4"},
                       {L"X-Upload-Content-Length", L"10485760"},
                       {L"Content-Type", L"application/json"},
                       {L"Cache-Control", L"no-cache"}};
    for (const bool raw : {true, false}) {
        Upload(InterfaceName::MultipartCreate, raw ? bytes : "", raw ? "" : bytes, headers);
        HeardRequest heard = cloud->LastHeard();
        heard.headers.erase(L"Authorization");  // the login
        EXPECT_EQ(headers, heard.headers);
        EXPECT_EQ(bytes, heard.body);
    }
}

// CLOUD-PROXY-03
TEST_F(Proxy, IsNotAskedToTakeAnEmptySlice) {
    for (const std::wstring id : {L"file7", L"Local-7"}) {
        EXPECT_FALSE(Upload(InterfaceName::ResumeSlice, "", "", {{L"Content-Range", L"bytes 0-0/12"}}, id));
        EXPECT_EQ(L"404", ValueOf(result, L"statuscode"));
        EXPECT_EQ(L"", ValueOf(result, L"errorCode"));
        EXPECT_EQ(1u, result.count(L"description"));
        EXPECT_EQ(0u, result.count(L"id"));
    }
    EXPECT_EQ(0, cloud->Asked("FileproxyUpload"));
}

// CLOUD-PROXY-04
TEST_F(Proxy, AMiddleSliceHasNoIdAndDoesNotLookLikeTheEnd) {
    for (const int status : {200, 201, 202}) {
        for (const WMap& fields : {WMap(), WMap{{L"id", L""}}}) {
            cloud->Answers("FileproxyUpload", {status, L"", L"", fields});
            result = {{L"id", L"of an earlier call"}};
            EXPECT_TRUE(SendSlice(*cloud, L"file7", 0, "1234", 12, result));
            EXPECT_EQ(0u, result.count(L"id"));
            EXPECT_NE(L"200", ValueOf(result, L"statuscode"));
            EXPECT_EQ(L"", ValueOf(result, L"errorCode"));
        }
    }
}

// CLOUD-PROXY-04, CLOUD-CALL-11
TEST_F(Proxy, TheSliceThatReachesTheEndCompletesTheFile) {
    cloud->Answers("FileproxyUpload", {200, L"", L"", {{L"id", L"cloud1"}}});
    EXPECT_TRUE(SendSlice(*cloud, L"Local-7", 8, "last", 12, result));
    EXPECT_EQ(L"cloud1", ValueOf(result, L"id"));
    EXPECT_EQ(L"200", ValueOf(result, L"statuscode"));
    EXPECT_TRUE(SendSlice(*cloud, L"Local-7", 0, "all of it", 9, result));
    EXPECT_EQ(L"cloud1", ValueOf(result, L"id"));
}

// CLOUD-PROXY-10
TEST_F(Proxy, NoFailureLooksLikeTheEnd) {
    cloud->Answers("FileproxyUpload", {200, L"21004913", L"no space", {{L"id", L"cloud1"}}});
    for (const auto operation : {InterfaceName::MultipartCreate, InterfaceName::MultipartUpdate,
                                 InterfaceName::ResumeCreate, InterfaceName::ResumeUpdate}) {
        EXPECT_FALSE(Upload(operation, "", "content"));
        EXPECT_NE(L"200", ValueOf(result, L"statuscode")) << static_cast<int>(operation);
    }
    for (const std::uint64_t position : {0, 8}) {
        EXPECT_FALSE(SendSlice(*cloud, L"file7", position, "1234", 12, result));
        EXPECT_NE(L"200", ValueOf(result, L"statuscode")) << position;
    }
}

// CLOUD-PROXY-05
TEST_F(Proxy, AResumeAddressComesWithItsSliceSizeAndNoId) {
    const std::wstring address = cloud->SomeAddress();
    cloud->Answers("FileproxyUpload",
                   {200, L"", L"", {{L"resumeUrl", address}, {L"sliceSize", L"5242880"}, {L"id", L"cloud1"}}});
    for (const auto operation : {InterfaceName::ResumeCreate, InterfaceName::ResumeUpdate}) {
        EXPECT_TRUE(Upload(operation, "", "{}"));
        EXPECT_EQ(address, ValueOf(result, L"resumeUrl"));
        EXPECT_EQ(L"5242880", ValueOf(result, L"sliceSize"));
        EXPECT_EQ(L"200", ValueOf(result, L"statuscode"));
        EXPECT_EQ(0u, result.count(L"id"));
    }
}

// CLOUD-PROXY-05, CLOUD-PROXY-10
TEST_F(Proxy, AnOpeningThatCannotBeFollowedIsAFailureWithoutAddress) {
    const std::wstring address = cloud->SomeAddress();
    for (const WMap& fields :
         {WMap(), WMap{{L"resumeUrl", address}}, WMap{{L"sliceSize", L"5242880"}},
          WMap{{L"resumeUrl", address}, {L"sliceSize", L"0"}}, WMap{{L"resumeUrl", address}, {L"sliceSize", L"-5"}}}) {
        cloud->Answers("FileproxyUpload", {200, L"", L"", fields});
        EXPECT_FALSE(Upload(InterfaceName::ResumeCreate, "", "{}"));
        EXPECT_EQ(0u, result.count(L"resumeUrl"));
        EXPECT_EQ(0u, result.count(L"sliceSize"));
        EXPECT_NE(L"200", ValueOf(result, L"statuscode"));
    }
}

}  // namespace
}  // namespace Drive::Testing
