#include "collaborators/common/file_replace.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>

#include "collaborators/common/hex_text.h"
#include "collaborators/common/place.h"
#include "collaborators/common/uninterrupted.h"
#include "interfaces/common/encrypt_helper.h"

namespace Drive::Common {

namespace {

constexpr mode_t kFileMode = 0666;

std::string TemporaryName() {
    std::array<unsigned char, 8> number{};
    EncryptHelper::GetSecureRandom(number.data(), number.size());
    return ".zelkor-" + HexText<std::string>(number.data(), number.size()) + ".part";
}

bool WriteAndSync(int file, const std::vector<char>& content) {
    for (std::size_t done = 0; done < content.size();) {
        const ssize_t written =
            Uninterrupted([&] { return write(file, content.data() + done, content.size() - done); });
        if (written <= 0) {
            return false;
        }
        done += static_cast<std::size_t>(written);
    }
    return Uninterrupted([&] { return fdatasync(file); }) == 0;
}

bool ReplaceIn(int folder, const std::string& name, const std::vector<char>& content) {
    const std::string part = TemporaryName();
    constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW;
    const UniqueFd file(Uninterrupted([&] { return openat(folder, part.c_str(), kFlags, kFileMode); }));
    if (!file) {
        return false;
    }
    if (WriteAndSync(file.Get(), content) && renameat(folder, part.c_str(), folder, name.c_str()) == 0) {
        return true;
    }
    const int error = errno;
    unlinkat(folder, part.c_str(), 0);
    errno = error;
    return false;
}

}  // namespace

bool ReplaceFile(const std::wstring& path, const std::vector<char>& content) {
    const auto place = Place::FindFile(path, true);
    if (!place) {
        return false;
    }
    const std::size_t count = place->Parts().names.size();
    if (!place->MakeFolders(count - 1)) {
        return false;
    }
    const UniqueFd folder = place->Open(count - 1, O_PATH | O_DIRECTORY);
    return folder && ReplaceIn(folder.Get(), place->Parts().names.back(), content);
}

}  // namespace Drive::Common
