// zelkor_shared_runs PLAIN_FOLDER <LIST: looks for 16 bytes in a row that stand both in a file below PLAIN_FOLDER and
// in one of the files that the list names (one path a line), at whatever offsets. Exit status 1 and up to ten places
// when there are any, 0 when there are none, 2 when it could not look.
//
// Sixteen bytes in a row always hold eight that begin at a multiple of eight in the plain file. So those eights of the
// plain files are gathered, and the other files are looked through at every offset for one of them; a filter in memory
// answers almost every question. What is found is then held against the plain files byte for byte.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kRun = 16;
constexpr std::size_t kPart = 8;
constexpr int kFilterBits = 30;
constexpr std::size_t kMostTold = 10;

using Bytes = std::vector<char>;

Bytes ReadWhole(const fs::path& path) {
    Bytes bytes(fs::file_size(path));
    std::ifstream file(path, std::ios::binary);
    if (!file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()))) {
        throw std::runtime_error("cannot read " + path.string());
    }
    return bytes;
}

std::uint64_t PartAt(const Bytes& bytes, std::size_t offset) {
    std::uint64_t part = 0;
    std::memcpy(&part, bytes.data() + offset, kPart);
    return part;
}

std::vector<fs::path> FilesBelow(const fs::path& folder) {
    std::vector<fs::path> files;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        if (entry.is_regular_file() && !entry.is_symlink()) files.push_back(entry.path());
    }
    return files;
}

/// The parts of the plain files at multiples of eight, as a set.
class Parts {
public:
    explicit Parts(const std::vector<fs::path>& files) : filter((std::size_t{1} << kFilterBits) / 64) {
        for (const fs::path& path : files) {
            const Bytes bytes = ReadWhole(path);
            for (std::size_t offset = 0; offset + kPart <= bytes.size(); offset += kPart) {
                parts.push_back(PartAt(bytes, offset));
            }
        }
        std::sort(parts.begin(), parts.end());
        parts.erase(std::unique(parts.begin(), parts.end()), parts.end());
        for (const std::uint64_t part : parts) filter[Slot(part) / 64] |= std::uint64_t{1} << Slot(part) % 64;
    }

    bool Has(std::uint64_t part) const {
        return (filter[Slot(part) / 64] >> Slot(part) % 64 & 1) != 0 &&
               std::binary_search(parts.begin(), parts.end(), part);
    }

private:
    static std::uint64_t Slot(std::uint64_t part) { return part * 0x9E3779B97F4A7C15u >> (64 - kFilterBits); }

    std::vector<std::uint64_t> filter;
    std::vector<std::uint64_t> parts;
};

/// Sixteen bytes around one part, each way that they can lie.
std::vector<std::string> RunsAround(const Bytes& bytes, std::size_t part) {
    std::vector<std::string> runs;
    const std::size_t first = part >= kRun - kPart ? part - (kRun - kPart) : 0;
    for (std::size_t begin = first; begin <= part && begin + kRun <= bytes.size(); ++begin) {
        runs.emplace_back(bytes.data() + begin, kRun);
    }
    return runs;
}

bool IsInPlain(const std::vector<fs::path>& plain, const std::vector<std::string>& runs, std::string& where) {
    for (const fs::path& path : plain) {
        const Bytes bytes = ReadWhole(path);
        for (const std::string& run : runs) {
            if (std::search(bytes.begin(), bytes.end(), run.begin(), run.end()) != bytes.end()) {
                where = path.string();
                return true;
            }
        }
    }
    return false;
}

std::size_t LookThrough(const fs::path& path, const Parts& parts, const std::vector<fs::path>& plain) {
    const Bytes bytes = ReadWhole(path);
    for (std::size_t offset = 0; offset + kPart <= bytes.size(); ++offset) {
        std::string where;
        if (parts.Has(PartAt(bytes, offset)) && IsInPlain(plain, RunsAround(bytes, offset), where)) {
            std::cout << path.string() << " holds, near byte " << offset << ", 16 bytes in a row of " << where << "\n";
            return 1;
        }
    }
    return 0;
}

}  // namespace

int main(int count, char** arguments) try {
    if (count != 2) throw std::runtime_error("usage: zelkor_shared_runs PLAIN_FOLDER <LIST");
    const std::vector<fs::path> plain = FilesBelow(arguments[1]);
    const Parts parts(plain);
    std::size_t files = 0, found = 0;
    for (std::string path; found < kMostTold && std::getline(std::cin, path); ++files) {
        found += LookThrough(path, parts, plain);
    }
    std::cout << plain.size() << " plain files, " << files << " stored objects, "
              << (found == 0 ? "no 16 bytes in common" : "16 bytes in common") << std::endl;
    return found == 0 ? 0 : 1;
} catch (const std::exception& error) {
    std::cerr << "zelkor_shared_runs: " << error.what() << std::endl;
    return 2;
}
