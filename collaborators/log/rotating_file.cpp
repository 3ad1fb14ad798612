#include "collaborators/log/rotating_file.h"

#include <spdlog/details/file_helper.h>
#include <spdlog/details/os.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace Drive::Logging {

namespace {

using FileHelper = spdlog::details::file_helper;

constexpr int kMostFiles = 200000;
constexpr int kPauseBeforeSecondRename = 100;
constexpr int kLooksForLock = 200;
/// No stream gathers fewer bytes than this before it writes them.
constexpr std::size_t kGathered = 4096;

/// A crash, or a disk that was full, may have left half a line at the end: the next one must not be glued to it.
void EndLastLine(const std::string& path) {
    std::error_code ignored;
    const auto size = std::filesystem::file_size(path, ignored);
    if (ignored || size == 0) return;
    std::ifstream file(path, std::ios::binary);
    file.seekg(-1, std::ios::end);
    const int last = file.get();
    if (last == '\n') return;
    std::ofstream(path, std::ios::binary | std::ios::app) << '\n';
}

/// Which file stands under the name now; {} when there is none.
std::pair<dev_t, ino_t> IdentityOf(const std::string& path) {
    struct stat state {};
    return ::stat(path.c_str(), &state) == 0 ? std::pair(state.st_dev, state.st_ino) : std::pair<dev_t, ino_t>();
}

/// Opening a pipe that nobody reads would wait for a reader, and so hold up who names the folder.
void RefusePipeWithoutReader(const std::string& path) {
    const int probe = ::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    if (probe >= 0) ::close(probe);
    if (probe < 0 && errno == ENXIO) throw std::runtime_error("nobody reads the pipe in the place of the log");
}

/// One process at a time renames; a holder that does not let go is not waited for without an end.
class RotationLock {
public:
    explicit RotationLock(const std::string& path)
        : folder(::open(std::filesystem::path(path).parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
        for (int attempt = 0; attempt < kLooksForLock; ++attempt) {
            if (folder < 0 || ::flock(folder, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK) return;
            spdlog::details::os::sleep_for_millis(1);
        }
    }
    ~RotationLock() {
        if (folder >= 0) ::close(folder);
    }
    RotationLock(const RotationLock&) = delete;
    RotationLock& operator=(const RotationLock&) = delete;

private:
    const int folder;
};

/// 0 for a file that cannot be read.
std::uint64_t CountLines(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::uint64_t lines = 0;
    for (std::array<char, 65536> block; file.read(block.data(), block.size()), file.gcount() > 0;) {
        lines += static_cast<std::uint64_t>(std::count(block.begin(), block.begin() + file.gcount(), '\n'));
    }
    return lines;
}

/// True also when there is nothing to rename. A second look, since some file systems refuse for a moment.
bool Rename(const std::string& from, const std::string& to) {
    if (std::rename(from.c_str(), to.c_str()) == 0 || errno == ENOENT) return true;
    spdlog::details::os::sleep_for_millis(kPauseBeforeSecondRename);
    return std::rename(from.c_str(), to.c_str()) == 0 || errno == ENOENT;
}

}  // namespace

struct RotatingFile::Body {
    explicit Body(Place wanted) : place(std::move(wanted)) {
        if (place.bytesPerFile == 0 || place.filesKept < 0 || place.filesKept > kMostFiles) {
            throw std::invalid_argument("a log needs a size above 0 and a sensible count of kept files");
        }
        std::filesystem::create_directories(std::filesystem::path(place.path).parent_path());
        RefusePipeWithoutReader(place.path);
        EndLastLine(place.path);
        const RotationLock lock(place.path);
        Open(false);
    }

    void Open(bool emptied) {
        file.open(place.path, emptied);
        identity = IdentityOf(place.path);
        size = file.size();
        linesWritten = linesThatTell = lossesTold = gathered = 0;
    }

    bool IsInPlace() const { return IdentityOf(place.path) == identity; }

    void Flush() {
        file.flush();
        gathered = 0;
        // What another process appended or emptied counts as well.
        size = file.size();
    }

    /// Another process may have rotated already: then its file is the one to go on in.
    void MakeRoom() {
        Flush();
        if (size == 0) return;
        const RotationLock lock(place.path);
        if (IsInPlace()) {
            Rotate();
        } else {
            file.close();
            Open(false);
        }
    }

    std::string NameOf(int number) const {
        if (number == 0) return place.path;
        const auto [stem, extension] = FileHelper::split_by_extension(place.path);
        return stem + '.' + std::to_string(number) + extension;
    }

    void Rotate() {
        file.close();
        bool renamed = false;
        for (int number = place.filesKept - 1; number >= 0; --number) {
            renamed = Rename(NameOf(number), NameOf(number + 1));
            if (!renamed) GiveUp(number);
        }
        // Once the name is free another process may have made its file there.
        Open(!renamed);
    }

    /// The next file takes the name. A line that tells of losses is none itself: what it told of is told anew.
    void GiveUp(int number) {
        if (number != 0) {
            givenUp += CountLines(NameOf(number));
            return;
        }
        givenUp += std::max(CountLines(NameOf(number)), linesWritten) - linesThatTell + lossesTold;
    }

    const Place place;
    FileHelper file;
    // Of the current file.
    std::pair<dev_t, ino_t> identity;
    std::uint64_t size = 0;
    std::size_t gathered = 0;
    std::uint64_t linesWritten = 0;
    std::uint64_t linesThatTell = 0;
    std::uint64_t lossesTold = 0;

    std::uint64_t givenUp = 0;
};

RotatingFile::RotatingFile(const Place& place) : body(new Body(place)) {}

RotatingFile::~RotatingFile() = default;

void RotatingFile::Write(const std::string& line, std::uint64_t tells) {
    spdlog::memory_buf_t bytes;
    bytes.append(line);
    bytes.push_back('\n');
    // Whole lines at a time, so that those of another process cannot fall between their pieces.
    if (body->gathered + bytes.size() > kGathered) body->Flush();
    if (body->size + bytes.size() > body->place.bytesPerFile) body->MakeRoom();
    body->file.write(bytes);
    body->size += bytes.size();
    body->gathered += bytes.size();
    ++body->linesWritten;
    if (tells != 0) ++body->linesThatTell;
    body->lossesTold += tells;
}

std::uint64_t RotatingFile::TakeGivenUp() noexcept { return std::exchange(body->givenUp, 0); }

bool RotatingFile::IsInPlace() const noexcept { return body->IsInPlace(); }

void RotatingFile::Flush() { body->Flush(); }

}  // namespace Drive::Logging
