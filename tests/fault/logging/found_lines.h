#pragma once

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>

/// The lines that the sweeps over the writer of the logs write, and what becomes of them.
namespace Drive::Logging::Trial {

/// Long enough for a few of them to fill a file, and told apart by the number.
inline std::string Record(int number) {
    return "record " + std::to_string(number) + ' ' + std::string(100, 'r') + " end";
}

inline std::string LossLine(std::uint64_t lost) { return "lost " + std::to_string(lost); }

/// What all files of the log hold.
struct Found {
    std::multiset<int> whole;
    int cut = 0;
    std::uint64_t lost = 0;
    bool foreign = false;

    explicit Found(const std::filesystem::path& folder) {
        for (const auto& entry : std::filesystem::directory_iterator(folder)) {
            std::ifstream file(entry.path(), std::ios::binary);
            for (std::string line; std::getline(file, line);) Take(line);
        }
    }

    void Take(const std::string& line) {
        if (line.starts_with("lost ")) {
            lost += std::stoull(line.substr(5));
            return;
        }
        const int number = line.starts_with("record ") ? std::atoi(line.c_str() + 7) : 0;
        if (line == Record(number)) {
            whole.insert(number);
        } else {
            ++cut;
            foreign = foreign || !Record(number).starts_with(line);
        }
    }
};

}  // namespace Drive::Logging::Trial
