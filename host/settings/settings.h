#pragma once

#include <cstdint>
#include <string>

/// What a person sets once for a state folder. Kept in "settings.ini", a text file that may be edited by hand while no
/// command runs. Plain values; paths and texts are native (UTF-8 or whatever bytes the system has).
namespace Drive::Host {

struct Settings {
    std::string cloudUrl;  ///< "https://host:port", without a closing slash
    std::string user;
    std::string caFile;  ///< certificates to trust; empty for the system's

    std::string root;     ///< the visible tree; absolute, without a closing slash
    std::string staging;  ///< where downloads stand until they are proved; on the same file system as the root

    /// How many of each run at once. Read when the engine is loaded.
    int uploads = 3;
    int downloads = 3;
    int thumbnails = 10;
    std::int64_t priorityDownloads = 5;
    std::int64_t priorityMebibytes = 20;  ///< files below this may jump the queue when they are opened

    /// Bytes a second; 0 for no limit.
    std::int64_t uploadRate = 0;
    std::int64_t downloadRate = 0;

    int nameLength = 80;  ///< longest file name that is uploaded, in characters
    std::int64_t spaceFullBytes = 10LL << 20;
    std::int64_t spaceLowBytes = 1LL << 30;
    std::int64_t spaceCheckSeconds = 3600;
    int spaceMessages = 3;

    /// Programs that may not bring content by reading a mount, beside the indexers and thumbnailers that are known.
    std::string noHydrate;

    std::string logLevel = "trace";  ///< trace, debug, error or off
};

/// Name of the file inside a state folder.
std::string SettingsPath(const std::string& stateFolder);

/// Reads the file. False when it is absent, cannot be read or holds a line that means nothing; `error` then tells a
/// person which and what to do, and `settings` holds what was read so far. `absent` tells the first case apart.
bool ReadSettings(const std::string& stateFolder, Settings& settings, std::string& error, bool& absent);

/// Writes the file, mode 0600, so that it is whole or as before also after a crash. False with `error` set.
bool WriteSettings(const std::string& stateFolder, const Settings& settings, std::string& error);

}  // namespace Drive::Host
