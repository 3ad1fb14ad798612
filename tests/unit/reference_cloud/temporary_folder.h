#pragma once

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace Drive::ReferenceCloud {

/// A folder of the test's own, removed with it.
class TemporaryFolder {
public:
    TemporaryFolder() {
        // In memory where there is such a place: the server syncs all that it keeps, and the disk is not what is
        // tested.
        const std::filesystem::path memory = "/dev/shm";
        const bool there = ::access(memory.c_str(), W_OK) == 0;
        const auto base = there ? memory : std::filesystem::temp_directory_path();
        std::string pattern = (base / ("zelkor-cloud-test-" + std::string(6, 'X'))).string();
        if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary folder");
        path_ = pattern;
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& Path() const { return path_; }

private:
    std::filesystem::path path_;
};

}  // namespace Drive::ReferenceCloud
