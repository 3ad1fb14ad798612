#include <cstdlib>
#include <stdexcept>

#include "interfaces/common/drive_functions.h"
#include "interfaces/common/encrypt_helper.h"
#include "interfaces/common/globals.h"
#include "tests/simulation/cloud.h"
#include "tests/support/journal.h"
#include "tests/support/watching.h"
#include "tests/support/world.h"

namespace Drive::Simulation {

using Common::EncryptHelper;
using Testing::Narrow;
using Testing::ScriptedCloud;
using Testing::Unwatched;
using Testing::VirtualTime;
using Testing::Wide;
using Receiver = Drive::Cloud::FileTransRequest::Receiver;

namespace {

constexpr std::int64_t kObjectSize = 24;
constexpr std::int64_t kBlock = 4 << 20;
const char* const kKeyHex = "00112233445566778899aabbccddeeff";
const char* const kIvHex = "0f1e2d3c4b5a69788796a5b4c3d2e1f0";
// The key, wrapped once for the world's user key: wrapping takes chance.
const wchar_t* const kWrappedKey =
    L"BPog3XR0+e4xOhQwXfqWaxsBYwL4iJKqvg5RzoEwliPb+ReMgnGlHM7iEklrNRYAE7WD9HMOAU5UKJYbHtfDFAUIYWVMMBrLp2Rhb5l3BAGJoKXX"
    L"KfHAV6yP6lP1dsg=";

std::string Rest(const std::wstring& url) { return Narrow(url.substr(url.rfind(L'/') + 1)); }

Common::Bytes Bytes16(const std::string& hex) {
    Common::Bytes bytes(16);
    HexstrToByte(hex, bytes.data(), hex.size());
    return bytes;
}

}  // namespace

Cloud::Cloud(const Plan& chosen, const LifePlan& life, Memory& kept)
    : plan(chosen), weather(life.weather), memory(kept), dice(life.seed) {}

void Cloud::Install() {
    InstallDownloads();
    InstallUploads();
    InstallFinish();
    InstallProxy();
    ScriptedCloud::Get().getUserSpace.Always([this](std::wstring&) -> std::int64_t {
        Call();
        if (down) return -1;
        if (!dice.OneOf(weather.space)) return space;
        return dice.Pick<std::int64_t>({-1, g_SpaceIsFullSize - 1, g_SpaceWillBeFullSize});
    });
}

void Cloud::Call() {
    if (weather.slowest > 0) VirtualTime::Pause(dice.Below(weather.slowest + 1));
    if (dice.OneOf(weather.exception)) throw std::runtime_error("the line broke");
}

const PlannedFile* Cloud::Planned(const std::wstring& fileId) const {
    for (const PlannedFile& file : plan.files) {
        if (file.id == fileId && file.kind != FileKind::Upload) return &file;
    }
    return nullptr;
}

std::string Cloud::Sum(const std::wstring& fileId) const {
    const PlannedFile* file = Planned(fileId);
    return file != nullptr ? SumOf(*file) : memory.Get("sum/" + Narrow(fileId));
}

bool Cloud::Altered(const std::wstring& fileId) const { return memory.Has("altered/" + Narrow(fileId)); }

void Cloud::BeginsAnew(const std::wstring& fileId) { memory.Forget("altered/" + Narrow(fileId)); }

void Cloud::InstallDownloads() {
    ScriptedCloud& cloud = ScriptedCloud::Get();
    cloud.getDownloadAddressInfo.Always([this](const std::wstring& fileId, Common::DownLoadAddressInfoModel& model) {
        Call();
        return !Fails(weather.address) && GiveAddress(fileId, model);
    });
    cloud.getDownloadKelpAddress.Always(
        [this](const Common::KelpAddressRequestModel& request, Common::DownloadKelpAddressInfo& info) {
            Call();
            if (Fails(weather.address)) return false;
            info.SetUrl(L"http://store/" + request.objectId);
            return true;
        });
    cloud.downloadDriveFileRequest.Always(
        [this](const std::wstring& url, WMap, const std::vector<unsigned char>& key,
               const std::vector<unsigned char>& iv, const std::wstring&, std::int64_t,
               std::vector<unsigned char>& received) { return GiveObject(url, key, iv, received); });
    cloud.downloadCloudFileRequest.Always([this](const std::wstring& url, WMap headers, const Receiver& receiver) {
        return SendPlain(url, headers, receiver);
    });
}

bool Cloud::GiveAddress(const std::wstring& fileId, Common::DownLoadAddressInfoModel& model) {
    const PlannedFile* file = Planned(fileId);
    if (file == nullptr) return false;
    if (file->kind == FileKind::Plain) {
        model.SetDownloadURL(L"http://proxy/" + fileId);
        return true;
    }
    model.SetEncFekList({{kWrappedKey, L"AES_128", L"1", Wide(kIvHex), L"uid"}});
    Common::DownloadObjectInfoList list;
    list.bucketId = L"bucket";
    list.time = L"time";
    list.length = kObjectSize / 16 * 16 + 16;
    for (std::int64_t start = 0; start < file->size; start += kObjectSize) {
        list.objectIds.push_back(fileId + L"@" + std::to_wstring(start));
        list.synckeys.push_back(L"synckey");
    }
    model.SetObjectInfoList({list});
    return true;
}

// The store checks an object against its digest: one that is lost, cut or altered is never handed out.
bool Cloud::GiveObject(const std::wstring& url, const std::vector<unsigned char>& key,
                       const std::vector<unsigned char>& iv, std::vector<unsigned char>& received) {
    received.clear();
    Call();
    if (Fails(weather.object)) return false;
    const std::string name = Rest(url);
    const std::size_t at = name.rfind('@');
    const PlannedFile* file = Planned(Wide(name.substr(0, at)));
    if (file == nullptr) return false;
    const std::string part =
        BytesOf(*file).substr(static_cast<std::size_t>(std::atoll(name.c_str() + at + 1)), kObjectSize);
    Unwatched past;
    const std::string stored =
        EncryptHelper::AES_128_CBC_Encrypt(Bytes16(kKeyHex), Bytes16(kIvHex), Common::Bytes(part.begin(), part.end()));
    return EncryptHelper::AES_128_CBC_Decrypt(key, iv, Common::Bytes(stored.begin(), stored.end()), received);
}

int Cloud::SendPlain(const std::wstring& url, const WMap& headers, const Receiver& receiver) {
    Call();
    if (down) return -1;
    if (url.rfind(L"http://picture/", 0) == 0) {
        return SendPieces("a picture", 0, Fails(weather.transfer) ? dice.Below(9) : -1, receiver);
    }
    const PlannedFile* file = Planned(Wide(Rest(url)));
    if (file == nullptr) return 404;
    const auto range = headers.find(L"Range");
    if (range == headers.end() || range->second.rfind(L"bytes=", 0) != 0) return 400;
    const std::int64_t offset = std::wcstoll(range->second.c_str() + 6, nullptr, 10);
    if (offset > 0 && offset >= file->size) return 416;
    std::string body = BytesOf(*file);
    std::int64_t cut = -1;
    if (Fails(weather.transfer)) {
        switch (dice.Below(4)) {
            case 0:
                return static_cast<int>(dice.Pick<std::int64_t>({-1, 404, 500}));
            case 1:
                if (file->size > offset) {
                    body[static_cast<std::size_t>(dice.Between(offset, file->size - 1))] ^= 1;
                    memory.Set("altered/" + Narrow(file->id), "yes");
                }
                break;
            default:
                cut = dice.Between(offset, file->size);
        }
    }
    return SendPieces(body, offset, cut, receiver);
}

int Cloud::SendPieces(const std::string& body, std::int64_t offset, std::int64_t cut, const Receiver& receiver) {
    const std::int64_t end = cut >= 0 ? cut : static_cast<std::int64_t>(body.size());
    if (end == offset && cut < 0) return receiver(nullptr, 0) ? 200 : 0;
    const std::int64_t largest = body.size() > 1000 ? 512 << 10 : dice.Between(1, 40);
    for (std::int64_t done = offset; done < end;) {
        const std::int64_t toBlock = kBlock - (done - offset) % kBlock;
        const std::int64_t length = std::min({end - done, toBlock, largest});
        if (down) return -1;
        if (!receiver(reinterpret_cast<const unsigned char*>(body.data()) + done, length)) return 0;
        done += length;
        if (dice.OneOf(3)) VirtualTime::Pause(dice.Below(weather.slowest / 4 + 1));
    }
    if (cut >= 0) return -1;
    return offset > 0 ? 206 : 200;
}

}  // namespace Drive::Simulation
