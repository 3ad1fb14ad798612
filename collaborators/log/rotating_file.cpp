#include "collaborators/log/rotating_file.h"

#include <spdlog/details/file_helper.h>
#include <spdlog/details/os.h>

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
        EndLastLine(place.path);
        file.open(place.path);
        size = file.size();
    }

    std::string NameOf(int number) const {
        if (number == 0) return place.path;
        const auto [stem, extension] = FileHelper::split_by_extension(place.path);
        return stem + '.' + std::to_string(number) + extension;
    }

    void Rotate() {
        file.close();
        for (int number = place.filesKept - 1; number >= 0; --number) {
            if (!Rename(NameOf(number), NameOf(number + 1))) GiveUp(number);
        }
        file.open(place.path, true);
        size = linesWritten = linesThatTell = lossesTold = 0;
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
    std::uint64_t size = 0;
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
    if (body->size + bytes.size() > body->place.bytesPerFile) {
        body->file.flush();
        // What somebody else has emptied meanwhile need not be rotated.
        body->size = body->file.size();
        if (body->size > 0) body->Rotate();
    }
    body->file.write(bytes);
    body->size += bytes.size();
    ++body->linesWritten;
    if (tells != 0) ++body->linesThatTell;
    body->lossesTold += tells;
}

std::uint64_t RotatingFile::TakeGivenUp() noexcept { return std::exchange(body->givenUp, 0); }

bool RotatingFile::IsInPlace() const noexcept {
    std::error_code error;
    return std::filesystem::exists(body->place.path, error);
}

void RotatingFile::Flush() { body->file.flush(); }

}  // namespace Drive::Logging
