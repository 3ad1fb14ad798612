#include "collaborators/database/folder_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

namespace Drive::SQLiteDB {

namespace {

std::string ReadHolder(int descriptor) {
    std::array<char, 32> text{};
    const ssize_t length = ::pread(descriptor, text.data(), text.size(), 0);
    std::string holder(text.data(), length > 0 ? static_cast<std::size_t>(length) : 0);
    while (!holder.empty() && holder.back() == '\n') holder.pop_back();
    return holder;
}

void WriteHolder(int descriptor) {
    const std::string text = std::to_string(::getpid()) + "\n";
    // For the message of the next one only: a full disk must not keep this process out.
    if (::ftruncate(descriptor, 0) != 0) return;
    [[maybe_unused]] const ssize_t written = ::pwrite(descriptor, text.data(), text.size(), 0);
}

void MakeFolder(const std::filesystem::path& folder) {
    if (std::filesystem::is_directory(folder)) return;
    std::filesystem::create_directories(folder);
    std::filesystem::permissions(folder, std::filesystem::perms::owner_all);
}

}  // namespace

FolderLock::Outcome FolderLock::Take(const std::filesystem::path& folder) {
    try {
        MakeFolder(folder);
    } catch (const std::filesystem::filesystem_error& error) {
        detail = error.code().message();
        return Outcome::Failed;
    }
    // The holder's number is written into it: a link could make that any file of the user.
    descriptor = ::open((folder / "transfer.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (descriptor < 0) {
        detail = errno == ELOOP ? "its file transfer.lock is a link, which has to go"
                                : std::generic_category().message(errno);
        return Outcome::Failed;
    }
    if (::flock(descriptor, LOCK_EX | LOCK_NB) == 0) {
        WriteHolder(descriptor);
        return Outcome::Held;
    }
    const int reason = errno;
    detail = reason == EWOULDBLOCK ? ReadHolder(descriptor) : std::generic_category().message(reason);
    ::close(descriptor);
    descriptor = -1;
    return reason == EWOULDBLOCK ? Outcome::HeldByOther : Outcome::Failed;
}

void FolderLock::Release() {
    if (descriptor >= 0) ::close(descriptor);
    descriptor = -1;
}

void MakePrivateFile(const std::filesystem::path& path) {
    const int made = ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (made >= 0) ::close(made);
}

void SyncFolder(const std::filesystem::path& folder) {
    const int opened = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (opened < 0) return;
    ::fsync(opened);
    ::close(opened);
}

}  // namespace Drive::SQLiteDB
