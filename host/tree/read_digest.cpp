#include "host/tree/read_digest.h"

#include "interfaces/common/file_helper.h"
#include "interfaces/platform/native_path.h"

namespace Drive::Host {

std::wstring ReadDigest(const std::string& root, const std::string& path) {
    std::wstring sha256, md5;
    return Common::FileHepler::GetFileHash(Platform::EnginePath(root + "/" + path), sha256, md5) ? sha256 : L"";
}

}  // namespace Drive::Host
