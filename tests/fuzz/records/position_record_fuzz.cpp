// Any text read as a download's position gives numbers and never throws; a position that was written comes back.
#include <cstdint>
#include <cstring>

#include "download/position_record.h"
#include "interfaces/platform/text.h"
#include "tests/fuzz/platform/require.h"

namespace {

using namespace Drive::TransferService;

void CheckRoundTrip(const DownloadPosition& position) {
    const DownloadPosition again = ParseDownloadPosition(FormatDownloadPosition(position));
    ZELKOR_REQUIRE(again.writePosition == position.writePosition);
    ZELKOR_REQUIRE(again.writeSliceIndex == position.writeSliceIndex);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    CheckRoundTrip(ParseDownloadPosition(Drive::Platform::WidenText(bytes)));

    std::wstring wide(size / sizeof(wchar_t), L'\0');
    if (!wide.empty()) std::memcpy(wide.data(), data, wide.size() * sizeof(wchar_t));
    CheckRoundTrip(ParseDownloadPosition(wide));

    DownloadPosition position;
    if (size >= sizeof position.writePosition) {
        std::memcpy(&position.writePosition, data, sizeof position.writePosition);
        CheckRoundTrip(position);
    }
    return 0;
}
