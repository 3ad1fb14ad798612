#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace Drive::Host {

/// A folder of one test; goes with it.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string pattern = std::filesystem::temp_directory_path() / "zelkor-host-XXXXXX";
        path = mkdtemp(pattern.data());
    }
    ~TemporaryFolder() { std::filesystem::remove_all(path); }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::string Path(const std::string& name = "") const { return name.empty() ? path : path + "/" + name; }

    void Write(const std::string& name, const std::string& content) const {
        std::filesystem::create_directories(std::filesystem::path(Path(name)).parent_path());
        std::ofstream(Path(name), std::ios::binary) << content;
    }

    std::string Read(const std::string& name) const {
        std::ifstream file(Path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    bool Exists(const std::string& name) const {
        return std::filesystem::exists(std::filesystem::symlink_status(Path(name)));
    }

private:
    std::string path;
};

}  // namespace Drive::Host
