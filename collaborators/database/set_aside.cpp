#include "collaborators/database/set_aside.h"

#include <ctime>
#include <string>

#include "interfaces/platform/clock.h"

namespace Drive::SQLiteDB {

namespace {

std::filesystem::path Beside(const std::filesystem::path& database, const char* suffix) {
    return database.string() + suffix;
}

std::string Date() {
    const std::time_t now = static_cast<std::time_t>(Platform::UnixTimeSeconds());
    std::tm parts{};
    gmtime_r(&now, &parts);
    char text[32];
    const std::size_t length = std::strftime(text, sizeof text, "%Y%m%dT%H%M%SZ", &parts);
    return std::string(text, length);
}

std::filesystem::path FreeName(const std::filesystem::path& database) {
    const std::string base = database.string() + ".damaged-" + Date();
    std::string name = base;
    for (int number = 2; std::filesystem::exists(name) || std::filesystem::exists(name + "-wal"); ++number) {
        name = base + "-" + std::to_string(number);
    }
    return name;
}

}  // namespace

std::filesystem::path SetAside(const std::filesystem::path& database) {
    const std::filesystem::path name = FreeName(database);
    // The database goes first: a log that is left alone is dropped, a log beside a new file would be replayed into it.
    if (std::filesystem::exists(database)) std::filesystem::rename(database, name);
    const std::filesystem::path log = Beside(database, "-wal");
    if (std::filesystem::exists(log) && std::filesystem::file_size(log) > 0) {
        std::filesystem::rename(log, Beside(name, "-wal"));
    }
    std::filesystem::remove(log);
    std::filesystem::remove(Beside(database, "-shm"));
    return name;
}

}  // namespace Drive::SQLiteDB
