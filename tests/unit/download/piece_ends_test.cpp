#include <gtest/gtest.h>

#include "tests/support/engine_bench.h"

namespace Drive::Testing {
namespace {

constexpr std::size_t kBlock = 0x400000;

class PieceEnds : public EngineBench {};

// DL-PLAIN-08, DL-PLAIN-23
TEST_F(PieceEnds, BehindABlockAreTheBeginningOfTheNextOne) {
    const std::string content = Content(kBlock + 1000);
    GivePlain(L"F", L"f.bin", content);
    cloud.downloadCloudFileRequest.Next(
        [&](const std::wstring&, WMap, const Cloud::FileTransRequest::Receiver& receiver) {
            const auto deliver = [&](std::size_t begin, std::size_t length) {
                return receiver(reinterpret_cast<const unsigned char*>(content.data()) + begin,
                                static_cast<std::int64_t>(length));
            };
            return deliver(0, kBlock + 100) && deliver(kBlock + 100, 900) ? 200 : 0;
        });
    RunOne(L"F");
    EXPECT_TRUE(world.ReadFile(L"f.bin") == content);
}

}  // namespace
}  // namespace Drive::Testing
