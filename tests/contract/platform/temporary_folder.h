#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "interfaces/platform/native_path.h"

namespace Drive::Testing {

/// A new folder that everybody may enter, removed at the end.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::random_device dice;
        do {
            path = std::filesystem::temp_directory_path() / ("zelkor-contract-" + std::to_string(dice()));
        } while (!std::filesystem::create_directory(path));
        std::filesystem::permissions(path, std::filesystem::perms(0755));
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::filesystem::path Native(const std::string& name) const {
        // UTF-8 whatever the system takes narrow names for.
        return path / std::u8string(name.begin(), name.end());
    }

    /// The path as the engine writes it.
    std::wstring Engine(const std::string& name) const {
        const std::u8string native = path.u8string();
        return Platform::EnginePath(std::string(native.begin(), native.end())) + L'\\' + Platform::EngineName(name);
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
