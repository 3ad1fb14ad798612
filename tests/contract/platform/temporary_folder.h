#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "interfaces/platform/native_path.h"

namespace Drive::Testing {

/// A new folder that everybody may enter, removed at the end.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "zelkor-contract-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("cannot make " + pattern);
        path = pattern;
        std::filesystem::permissions(path, std::filesystem::perms(0755));
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::filesystem::path Native(const std::string& name) const { return path / name; }

    /// The path as the engine writes it.
    std::wstring Engine(const std::string& name) const {
        return Platform::EnginePath(path.string()) + L'\\' + Platform::EngineName(name);
    }

    void Put(const std::string& name, const std::string& content) const {
        std::ofstream(Native(name), std::ios::binary) << content;
    }

    std::string Get(const std::string& name) const {
        std::ifstream file(Native(name), std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(file), {});
    }

    bool Has(const std::string& name) const {
        return std::filesystem::exists(std::filesystem::symlink_status(Native(name)));
    }

    std::size_t CountEntries() const {
        return static_cast<std::size_t>(
            std::distance(std::filesystem::directory_iterator(path), std::filesystem::directory_iterator()));
    }

private:
    std::filesystem::path path;
};

}  // namespace Drive::Testing
