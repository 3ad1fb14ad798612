// The objects that carry receivers, and boundaries.
#include <algorithm>
#include <set>

#include "tests/contract/cloud/suite/cloud_suite.h"

namespace Drive::Testing {
namespace {

using Cloud::FileTransRequest;

class RequestObjects : public CloudSuite {
protected:
    FileTransRequest CountingInto(int& count) {
        FileTransRequest request;
        request.receiveDownloadFileCallBackFun([&count](const unsigned char*, const std::int64_t&) {
            ++count;
            return true;
        });
        return request;
    }
    int Fetch(FileTransRequest& request) {
        return FileTransRequest::DownloadCloudFileRequest(cloud->Content({"content"}), {}, &request);
    }

    int first = 0;
    int second = 0;
};

// CLOUD-CONTENT-07
TEST_F(RequestObjects, ACopyHasTheSameReceiver) {
    FileTransRequest original = CountingInto(first);
    FileTransRequest copy(original);
    EXPECT_EQ(200, Fetch(copy));
    EXPECT_EQ(200, Fetch(original));
    EXPECT_EQ(2, first);
}

// CLOUD-CONTENT-07
TEST_F(RequestObjects, AnAssignedOneHasTheReceiverOfTheOther) {
    FileTransRequest request = CountingInto(first);
    const FileTransRequest other = CountingInto(second);
    request = other;
    EXPECT_EQ(200, Fetch(request));
    EXPECT_EQ(0, first);
    EXPECT_EQ(1, second);
    FileTransRequest& same = request;
    request = same;
    EXPECT_EQ(200, Fetch(request));
    EXPECT_EQ(2, second);
}

// CLOUD-CONTENT-07
TEST_F(RequestObjects, ANewReceiverOfACopyIsNotTheOriginals) {
    FileTransRequest original = CountingInto(first);
    FileTransRequest copy(original);
    copy.receiveDownloadFileCallBackFun([this](const unsigned char*, const std::int64_t&) {
        ++second;
        return true;
    });
    EXPECT_EQ(200, Fetch(original));
    EXPECT_EQ(1, first);
    EXPECT_EQ(200, Fetch(copy));
    EXPECT_EQ(1, second);
    EXPECT_EQ(1, first);
}

// CLOUD-PROXY-09
TEST_F(RequestObjects, ABoundaryIsFreshEachTimeAndFitsAHeader) {
    std::set<std::string> seen;
    for (int count = 0; count < 1000; ++count) {
        const std::string boundary = FileTransRequest::GetBoundary();
        EXPECT_GE(boundary.size(), 16u);
        EXPECT_LE(boundary.size(), 70u);
        EXPECT_TRUE(std::all_of(boundary.begin(), boundary.end(), [](unsigned char letter) {
            return std::isalnum(letter) != 0 || letter == '-' || letter == '_';
        })) << boundary;
        EXPECT_TRUE(seen.insert(boundary).second) << boundary;
    }
}

}  // namespace
}  // namespace Drive::Testing
