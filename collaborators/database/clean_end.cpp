#include "collaborators/database/clean_end.h"

#include <sys/stat.h>

#include <chrono>
#include <ctime>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>

#include "collaborators/database/folder_lock.h"
#include "interfaces/platform/clock.h"

namespace Drive::SQLiteDB {

namespace {

constexpr std::int64_t kSecondsBetweenChecks = 24 * 60 * 60;
constexpr int kMostPauses = 50;

std::filesystem::path NoteOf(const std::filesystem::path& database) {
    return std::filesystem::path(database).replace_extension(".clean");
}

bool IsAfter(const timespec& left, const timespec& right) {
    return left.tv_sec != right.tv_sec ? left.tv_sec > right.tv_sec : left.tv_nsec > right.tv_nsec;
}

/// The time of the last change of its state cannot be set back by anyone. Empty for a file that is none, that has a log
/// beside it, or whose file system keeps whole seconds only.
std::string LookOf(const std::filesystem::path& database, timespec& changed) {
    std::error_code absent;
    const auto log = std::filesystem::file_size(database.string() + "-wal", absent);
    if (!absent && log > 0) return {};
    struct stat state {};
    if (::stat(database.c_str(), &state) != 0 || !S_ISREG(state.st_mode)) return {};
    if (state.st_mtim.tv_nsec == 0 && state.st_ctim.tv_nsec == 0) return {};
    changed = state.st_ctim;
    std::ostringstream look;
    look << state.st_ino << ' ' << state.st_size << ' ' << state.st_mtim.tv_sec << '.' << state.st_mtim.tv_nsec << ' '
         << state.st_ctim.tv_sec << '.' << state.st_ctim.tv_nsec;
    return look.str();
}

/// False when the clock stands still. A change in the same tick as the last one would not show in the file's times.
bool WaitForNextTick(const timespec& changed) {
    for (int pause = 0; pause < kMostPauses; ++pause) {
        timespec now{};
        if (::clock_gettime(CLOCK_REALTIME_COARSE, &now) != 0) return false;
        if (IsAfter(now, changed)) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return false;
}

}  // namespace

std::int64_t TakeCleanEnd(const std::filesystem::path& database) noexcept try {
    std::string look;
    std::int64_t checkedAt = 0;
    {
        std::ifstream note(NoteOf(database));
        std::getline(note, look);
        note >> checkedAt;
        if (!note) checkedAt = 0;
    }
    if (!std::filesystem::remove(NoteOf(database))) return 0;
    // A note that comes back with a loss of power would vouch for what is written from now on.
    SyncFolder(database.parent_path());
    timespec changed{};
    const std::int64_t age = Platform::UnixTimeSeconds() - checkedAt;
    return !look.empty() && look == LookOf(database, changed) && age >= 0 && age < kSecondsBetweenChecks ? checkedAt
                                                                                                         : 0;
} catch (const std::exception&) {
    return 0;
}

void LeaveCleanEnd(const std::filesystem::path& database, std::int64_t checkedAt) noexcept try {
    timespec changed{};
    const std::string look = LookOf(database, changed);
    if (look.empty() || !WaitForNextTick(changed)) return;
    MakePrivateFile(NoteOf(database));
    std::ofstream(NoteOf(database), std::ios::trunc) << look << '\n' << checkedAt << '\n';
} catch (const std::exception&) {
    return;
}

}  // namespace Drive::SQLiteDB
