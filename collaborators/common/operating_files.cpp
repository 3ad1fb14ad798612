#include <cstdint>
#include <map>
#include <mutex>
#include <string>

#include "interfaces/common/drive_functions.h"
#include "interfaces/platform/clock.h"

namespace Drive {

namespace {

constexpr std::int64_t kEntryLifeMilliseconds = std::int64_t{4} * 60 * 60 * 1000;
constexpr std::int64_t kSweepMilliseconds = std::int64_t{60} * 1000;
constexpr std::size_t kMostEntries = 10000;

/// The paths that are being worked on, each with the moment at which its entry lapses.
class OperatingFiles {
public:
    void Insert(const std::wstring& path) {
        const auto now = Platform::MonotonicMilliseconds();
        const std::lock_guard<std::mutex> lock(mutex);
        if (now >= nextSweep) {
            DropLapsed(now);
            nextSweep = now + kSweepMilliseconds;
        }
        if (entries.size() >= kMostEntries && !entries.contains(path)) {
            DropOldest();
        }
        entries[path] = now + kEntryLifeMilliseconds;
    }

    void Erase(const std::wstring& path) {
        const std::lock_guard<std::mutex> lock(mutex);
        entries.erase(path);
    }

    bool Contains(const std::wstring& path) {
        const auto now = Platform::MonotonicMilliseconds();
        const std::lock_guard<std::mutex> lock(mutex);
        const auto entry = entries.find(path);
        return entry != entries.end() && entry->second > now;
    }

    std::size_t Count() {
        const auto now = Platform::MonotonicMilliseconds();
        const std::lock_guard<std::mutex> lock(mutex);
        DropLapsed(now);
        return entries.size();
    }

private:
    void DropLapsed(std::int64_t now) {
        std::erase_if(entries, [now](const auto& entry) { return entry.second <= now; });
    }

    void DropOldest() {
        auto oldest = entries.begin();
        for (auto entry = entries.begin(); entry != entries.end(); ++entry) {
            if (entry->second < oldest->second) {
                oldest = entry;
            }
        }
        entries.erase(oldest);
    }

    std::mutex mutex;
    // Guarded by mutex.
    std::map<std::wstring, std::int64_t> entries;
    std::int64_t nextSweep = 0;
};

// Never destroyed: workers may still erase their entries while the process ends.
OperatingFiles& Entries() {
    static auto* entries = new OperatingFiles;
    return *entries;
}

}  // namespace

void InsertOperatingFiles(const std::wstring& relativePath, FileChangeType) { Entries().Insert(relativePath); }

void EraseOpetatingFile(const std::wstring& relativePath) { Entries().Erase(relativePath); }

bool IsOperatingFile(const std::wstring& relativePath) { return Entries().Contains(relativePath); }

std::size_t OperatingFileCount() { return Entries().Count(); }

}  // namespace Drive
