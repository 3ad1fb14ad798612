#include "host/tree/read_digest.h"

#include <sys/stat.h>

#include <chrono>
#include <future>
#include <memory>
#include <thread>

#include "interfaces/common/file_helper.h"
#include "interfaces/platform/native_path.h"

namespace Drive::Host {
namespace {

constexpr std::int64_t kReadAtOnce = 64LL << 20;  // bytes; a disk reads so much in a moment
constexpr auto kLookAround = std::chrono::milliseconds(200);

std::wstring Read(const std::wstring& path) {
    std::wstring sha256, md5;
    return Common::FileHepler::GetFileHash(path, sha256, md5) ? sha256 : L"";
}

}  // namespace

std::wstring ReadDigest(const std::string& root, const std::string& path, const std::function<bool()>& stop) {
    const std::string native = root + "/" + path;
    struct stat facts {};
    if (stat(native.c_str(), &facts) != 0 || facts.st_size <= kReadAtOnce) {
        return Read(Platform::EnginePath(native));
    }
    const auto answer = std::make_shared<std::promise<std::wstring>>();
    std::future<std::wstring> digest = answer->get_future();
    // Left alone when nobody waits for it any more: it ends with the file, or with the process.
    std::thread([answer, wide = Platform::EnginePath(native)] { answer->set_value(Read(wide)); }).detach();
    while (digest.wait_for(kLookAround) != std::future_status::ready) {
        if (stop()) {
            return L"";
        }
    }
    return digest.get();
}

}  // namespace Drive::Host
