#include "collaborators/log/rotating_file.h"

#include <spdlog/details/log_msg.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/rotating_file_sink.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>

namespace Drive::Logging {

namespace {

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

std::unique_ptr<spdlog::sinks::rotating_file_sink_st> OpenSink(const RotatingFile::Place& place) {
    if (place.bytesPerFile == 0 || place.filesKept < 0) {
        throw std::invalid_argument("a log needs a size above 0 and a count of kept files that is not negative");
    }
    std::filesystem::create_directories(std::filesystem::path(place.path).parent_path());
    EndLastLine(place.path);
    auto sink = std::make_unique<spdlog::sinks::rotating_file_sink_st>(
        place.path, static_cast<std::size_t>(place.bytesPerFile), static_cast<std::size_t>(place.filesKept));
    sink->set_formatter(std::make_unique<spdlog::pattern_formatter>("%v", spdlog::pattern_time_type::local, "\n"));
    return sink;
}

}  // namespace

struct RotatingFile::Body {
    std::filesystem::path path;
    std::unique_ptr<spdlog::sinks::rotating_file_sink_st> sink;
};

RotatingFile::RotatingFile(const Place& place) : body(new Body{place.path, OpenSink(place)}) {}

RotatingFile::~RotatingFile() = default;

void RotatingFile::Write(const std::string& line) {
    body->sink->log(spdlog::details::log_msg("", spdlog::level::info, line));
}

bool RotatingFile::IsInPlace() const noexcept {
    std::error_code error;
    return std::filesystem::exists(body->path, error);
}

void RotatingFile::Flush() { body->sink->flush(); }

}  // namespace Drive::Logging
