#include "host/report/reporter.h"

#include <json/json.h>
#include <unistd.h>

#include <cstdio>

#include "interfaces/platform/clock.h"

namespace Drive::Host {
namespace {

constexpr std::int64_t kTerminalEvery = 250;  // milliseconds
constexpr std::int64_t kPlainEvery = 10000;

void PutJson(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    std::printf("%s\n", Json::writeString(builder, value).c_str());
    std::fflush(stdout);
}

bool WasFine(Result result) {
    return result == Result::Unchanged || result == Result::FolderThere || result == Result::FolderMade;
}

Json::Value SummaryValue(const Tally& tally, const RunTimes& times, int exitCode) {
    Json::Value value;
    value["event"] = "summary";
    value["entries"] = Json::Int64(tally.entries);
    value["troubles"] = Json::Int64(tally.troubles);
    value["bytesDownloaded"] = Json::Int64(tally.bytesDownloaded);
    value["bytesUploaded"] = Json::Int64(tally.bytesUploaded);
    value["seconds"] = times.all;
    value["secondsWaiting"] = times.waiting;
    value["exitCode"] = exitCode;
    for (int index = 0; index <= static_cast<int>(Result::Pending); ++index) {
        value["results"][ResultWord(static_cast<Result>(index))] = Json::Int64(tally.byResult[index]);
    }
    return value;
}

}  // namespace

int ReportError(bool json, int code, const std::string& why) {
    std::fprintf(stderr, "zelkor-drive: %s\n", why.c_str());
    if (json) {
        Json::Value value;
        value["event"] = "error";
        value["message"] = JsonPath(why);
        value["exitCode"] = code;
        PutJson(value);
    }
    return code;
}

Reporter::Reporter(const ReportOptions& options)
    : options(options), terminal(!options.json && isatty(STDERR_FILENO) != 0) {}

void Reporter::ClearLine() {
    if (lineShown) {
        std::fputs("\r\033[K", stderr);
        lineShown = false;
    }
}

void Reporter::Stage(const std::string& text) {
    if (terminal && !options.quiet) {
        ClearLine();
        std::fprintf(stderr, "%s ...", text.c_str());
        lineShown = true;
    }
}

void Reporter::Note(const std::string& text) {
    ClearLine();
    std::fprintf(stderr, "zelkor-drive: %s\n", text.c_str());
}

void Reporter::Entry(const Outcome& outcome) {
    if (options.json) {
        Json::Value value;
        value["event"] = "entry";
        value["path"] = JsonPath(outcome.path);
        value["result"] = ResultWord(outcome.result);
        value["bytes"] = Json::Int64(outcome.bytes);
        if (!outcome.message.empty()) {
            value["message"] = JsonPath(outcome.message);
        }
        PutJson(value);
        return;
    }
    if (!IsTrouble(outcome.result) && (options.quiet || (WasFine(outcome.result) && !options.verbose))) {
        return;
    }
    ClearLine();
    std::printf("%-11s %s%s%s\n", ResultWord(outcome.result), Printable(outcome.path).c_str(),
                outcome.message.empty() ? "" : ": ", Printable(outcome.message).c_str());
}

ProgressFigures Reporter::Progress(ProgressFigures figures) {
    const std::int64_t now = Platform::MonotonicMilliseconds();
    rate.Add(now, figures.bytesDone);
    const double left = rate.SecondsFor(figures.bytesAll - figures.bytesDone);
    figures.bytesPerSecond = static_cast<std::int64_t>(rate.PerSecond());
    figures.secondsLeft = static_cast<std::int64_t>(left);
    if (options.quiet || now - lastShown < (terminal ? kTerminalEvery : kPlainEvery)) {
        return figures;
    }
    const bool first = lastShown == 0;
    lastShown = now;
    if (!options.json && (terminal || !first)) {
        ShowLine(figures, left);
    }
    return figures;
}

void Reporter::ShowLine(const ProgressFigures& figures, double left) {
    const double share = figures.bytesAll > 0
                             ? 100.0 * static_cast<double>(figures.bytesDone) / static_cast<double>(figures.bytesAll)
                             : 0;
    ClearLine();
    std::fprintf(stderr, "%3.0f%%  %s of %s  %lld/%lld files  %s/s  %s left%s", share,
                 HumanBytes(figures.bytesDone).c_str(), HumanBytes(figures.bytesAll).c_str(),
                 static_cast<long long>(figures.filesDone), static_cast<long long>(figures.filesAll),
                 HumanBytes(figures.bytesPerSecond).c_str(), left < 0 ? "-:--" : HumanSeconds(left).c_str(),
                 terminal ? "" : "\n");
    lineShown = terminal;
}

void Reporter::Summary(const Tally& tally, const RunTimes& times, int exitCode) {
    if (options.json) {
        Json::Value value = SummaryValue(tally, times, exitCode);
        value["dryRun"] = options.dryRun;
        PutJson(value);
        return;
    }
    ClearLine();
    std::printf("%lld entries", static_cast<long long>(tally.entries));
    for (int index = 0; index <= static_cast<int>(Result::Pending); ++index) {
        const auto result = static_cast<Result>(index);
        const std::int64_t bytes = result == Result::Downloaded ? tally.bytesDownloaded
                                   : result == Result::Uploaded ? tally.bytesUploaded
                                                                : 0;
        if (tally.Of(result) > 0) {
            std::printf(", %lld %s%s%s%s", static_cast<long long>(tally.Of(result)), ResultWord(result),
                        bytes > 0 ? " (" : "", bytes > 0 ? HumanBytes(bytes).c_str() : "", bytes > 0 ? ")" : "");
        }
    }
    std::printf("; %.1f s, of which %.1f s waiting%s\n", times.all, times.waiting,
                options.dryRun ? "; a dry run, nothing was changed" : "");
    std::fflush(stdout);
}

}  // namespace Drive::Host
