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

    /// Whether the record opens or closes a traced operation, with the two numbers that came with it.
    enum class Step { None, Begin, End };
    Step step = Step::None;
    int kind = 0;
    int code = 0;
};

/// One statistic, as it arrived.
struct StatisticRecord {
    int code;
    std::wstring module;
    std::wstring text;
};

/// Opens the text log ("transfer.log") in the folder, which is made when absent. May be called once more with other
/// settings; what was logged before that goes to the earlier file. False, with the earlier settings still in force,
/// when the folder cannot be written, the size is 0 or the count negative. What was logged before the first call is
/// kept in memory up to a bound and written then, or thrown away when that call names no folder.
///
/// A line has six columns with a tab between: ISO time with milliseconds and zone; "trace", "debug", "error",
/// "begin(kind,code)" or "end(kind,code)"; number of the thread; module, function ("-" when there is none); text.
/// Records that come faster than they can be written, or while the file cannot be written, are lost, and so are those
/// of a full file that cannot be renamed; a line tells how many, and nobody who logs is ever disturbed. The file is
/// opened anew until it can be written again. Processes that write one file lose nothing to each other.
ZELKOR_API bool ConfigureTextLog(const LogSettings& settings);

/// The same for the statistics ("statistics.jsonl", one JSON object a line with "time", "code", "module" and "text").
/// They have no level; Level::Off ends them. What has no form in UTF-8 is replaced by U+FFFD in the file.
ZELKOR_API bool ConfigureStatistics(const LogSettings& settings);

/// Replaces the sink of the text log by a function, or gives the file back with an empty one. The function is called
/// on the thread that logs, gets what the level lets through, must be fast and must neither log nor call these
/// operations. When this returns, the earlier function is not running and will not be called again. For tests and for
/// hosts with a log of their own.
ZELKOR_API void SetTextSink(std::function<void(const TextRecord&)> sink);
ZELKOR_API void SetStatisticSink(std::function<void(const StatisticRecord&)> sink);

/// Waits until everything logged before the call is in the files, `milliseconds` at most. False when time ran out,
/// when the file cannot be written at present, and at once when records wait for a first Configure call. Called by a
/// host before it ends without running destructors; a process that ends by the ordinary road flushes by itself.
ZELKOR_API bool FlushTextLog(int milliseconds);
ZELKOR_API bool FlushStatistics(int milliseconds);

}  // namespace Drive::Logging
