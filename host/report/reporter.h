#pragma once

#include <cstdint>
#include <string>

#include "host/get/outcome.h"
#include "host/report/rate.h"

/// What a command tells: plain lines, or one JSON object a line with --json; on a terminal a line of progress below
/// them. Messages go to the error stream, results to the output. One thread at a time.
namespace Drive::Host {

struct ReportOptions {
    bool json = false;
    bool verbose = false;  ///< also what was fine already
    bool quiet = false;    ///< troubles and the summary only
    bool dryRun = false;   ///< for the summary: nothing was done
};

struct ProgressFigures {
    std::int64_t bytesDone = 0;
    std::int64_t bytesAll = 0;
    std::int64_t filesDone = 0;
    std::int64_t filesAll = 0;
    std::int64_t bytesPerSecond = 0;  ///< smoothed; 0 while nothing is known
    std::int64_t secondsLeft = -1;    ///< -1 while that cannot be told
};

struct RunTimes {
    double all = 0;      ///< seconds of the whole command
    double waiting = 0;  ///< seconds in which files waited and none was moving
};

class Reporter {
public:
    explicit Reporter(const ReportOptions& options);

    /// Where the command is, for people who watch.
    void Stage(const std::string& text);
    void Entry(const Outcome& outcome);
    void Note(const std::string& text);
    /// Shows the figures several times a second on a terminal, else every ten seconds; comes back with rate and time
    /// left filled in.
    ProgressFigures Progress(ProgressFigures figures);
    void Summary(const Tally& tally, const RunTimes& times, int exitCode);

    bool Json() const { return options.json; }

private:
    void ClearLine();
    void ShowLine(const ProgressFigures& figures, double secondsLeft);

    const ReportOptions options;
    const bool terminal;
    bool lineShown = false;
    std::int64_t lastShown = 0;
    Rate rate;
};

/// What keeps a command from its work: a line on the error stream and, for JSON, an object of event "error" on the
/// output. Returns the code.
int ReportError(bool json, int code, const std::string& why);

/// A path as it may be shown on a terminal: control characters and undecodable bytes as \xNN.
std::string Printable(const std::string& path);

/// A path for JSON, which carries no undecodable bytes: each such byte 0xNN as U+F7NN.
std::string JsonPath(const std::string& path);

/// "12.3 MiB".
std::string HumanBytes(std::int64_t bytes);

/// "1:02:03" or "2:03".
std::string HumanSeconds(double seconds);

}  // namespace Drive::Host
