#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "interfaces/platform/export.h"

/// For the host, not for the engine: where the two channels write, and how they end.
namespace Drive::Logging {

enum class Level { Trace, Debug, Error, Off };

struct LogSettings {
    /// Folder of both files, backslash or slash as separator; empty keeps both channels silent but for sinks.
    std::wstring folder;
    Level level = Level::Trace;
    /// A file is rotated at this many bytes.
    std::uint64_t bytesPerFile = 16u << 20;
    /// Files kept beside the current one, the oldest is removed.
    int filesKept = 5;
};

/// One record of the text log, as it arrived.
struct TextRecord {
    Level level;
    std::string module;
    std::string function;
    std::string text;
};

/// One statistic, as it arrived.
struct StatisticRecord {
    int code;
    std::wstring module;
    std::wstring text;
};

/// Opens the text log ("transfer.log") in the folder, which is made when absent. May be called once more with other
/// settings. False, with the earlier settings still in force, when the folder cannot be written; what was logged
/// before the first call is kept in memory up to a bound and written then.
ZELKOR_API bool ConfigureTextLog(const LogSettings& settings);

/// The same for the statistics ("statistics.jsonl", one JSON object a line).
ZELKOR_API bool ConfigureStatistics(const LogSettings& settings);

/// Replaces the sink of the text log by a function, or gives the file back with an empty one. The function is called
/// on the thread that logs, must be fast and must not log. For tests and for hosts with a log of their own.
ZELKOR_API void SetTextSink(std::function<void(const TextRecord&)> sink);
ZELKOR_API void SetStatisticSink(std::function<void(const StatisticRecord&)> sink);

/// Waits until everything logged before the call is in the files, `milliseconds` at most. False when time ran out.
/// Called by a host before it ends without running destructors.
ZELKOR_API bool FlushTextLog(int milliseconds);
ZELKOR_API bool FlushStatistics(int milliseconds);

}  // namespace Drive::Logging
