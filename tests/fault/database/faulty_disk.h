#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <mutex>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace Drive::Testing {

/// The disk under SQLite: passes every call of its file layer on, fails the Nth, and knows what a loss of power would
/// leave. Installed once for the process; any thread.
class FaultyDisk {
public:
    enum class Kind { IoError, Full };

    static FaultyDisk& Get();

    /// Of a run of reads or writes of one file the first few are calls that may fail, then each 32nd: a log that is
    /// folded in makes thousands that are all alike.
    ///
    /// The Nth call from now on (opens, reads, writes, truncations, syncs, deletions) fails; with `lasting` all that
    /// follow as well.
    void FailNth(int nth, bool lasting, Kind kind);
    /// At the Nth call the power goes: it and all that follow fail, and what the disk holds stays as it is then.
    void CutPowerAtNth(int nth);
    /// Works again. Answers whether anything was made to fail.
    bool Heal();

    /// Forgets all files and begins to remember what is synced.
    void Remember();
    /// Writes into the folder what the disk holds: for each file its content at its last sync, and of the writes since
    /// then any, in whole or in part.
    void LayOut(const std::filesystem::path& folder, std::uint32_t seed);

    // For the file layer.
    enum class Call { Open, Read, Write, Truncate, Sync, Delete };
    /// SQLITE_OK or the code with which the call must fail.
    int Before(Call call, const std::string& path);
    void Wrote(const std::string& path, const void* data, int length, std::int64_t offset);
    void Truncated(const std::string& path, std::int64_t size);
    void Synced(const std::string& path);
    void Deleted(const std::string& path);

private:
    struct Write {
        std::int64_t offset = 0;
        std::string data;
        bool truncates = false;
    };
    struct Image {
        std::string durable;
        std::vector<Write> since;
    };
    bool Counts(Call call, const std::string& path);
    int CodeOf(Call call) const;
    static void Apply(std::string& content, const Write& write, std::size_t bytes);

    std::mutex mutex;
    int remaining = 0;
    bool lasting = false;
    bool failing = false;
    bool injected = false;
    bool remembering = false;
    bool cutsPower = false;
    Kind kind = Kind::IoError;
    std::map<std::string, Image> images;
    std::map<std::pair<Call, std::string>, int> runs;
};

}  // namespace Drive::Testing
