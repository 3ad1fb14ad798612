#include "collaborators/bilog/statistics_log.h"

#include <json/value.h>
#include <json/writer.h>

#include <atomic>
#include <filesystem>
#include <utility>

#include "collaborators/log/line_channel.h"
#include "collaborators/log/line_text.h"
#include "collaborators/log/sink_slot.h"
#include "interfaces/platform/native_path.h"

namespace Drive::Logging {

namespace {

constexpr char kFileName[] = "statistics.jsonl";
constexpr std::chrono::milliseconds kFlushAtExit{5000};

std::string LineOf(const StatisticRecord& record, std::chrono::system_clock::time_point time) {
    Json::Value object(Json::objectValue);
    object["time"] = IsoTime(time);
    object["code"] = record.code;
    object["module"] = PrintableUtf8(record.module);
    object["text"] = PrintableUtf8(record.text);
    Json::StreamWriterBuilder oneLine;
    oneLine["indentation"] = "";
    oneLine["emitUTF8"] = true;
    return Json::writeString(oneLine, object);
}

std::string LossLine(std::uint64_t lost) {
    const StatisticRecord record{0, L"BiLogsManager::writer",
                                 std::to_wstring(lost) + L" statistics were lost before this line"};
    return LineOf(record, std::chrono::system_clock::now());
}

struct StatisticsLog {
    LineChannel channel{&LossLine};
    SinkSlot<StatisticRecord> sink;
    std::atomic<bool> on{true};
};

/// Never destroyed: threads may log while the process ends.
StatisticsLog& Log() {
    static StatisticsLog* const log = new StatisticsLog;
    return *log;
}

/// A process that ends by the ordinary road writes what is queued.
struct FlushAtExit {
    ~FlushAtExit() { Log().channel.Flush(kFlushAtExit); }
};
const FlushAtExit flushAtExit;

void Enqueue(StatisticRecord&& record) {
    const std::size_t bytes = (record.module.size() + record.text.size()) * sizeof(wchar_t) + sizeof(StatisticRecord);
    const auto time = std::chrono::system_clock::now();
    Log().channel.Push([record = std::move(record), time] { return LineOf(record, time); }, bytes);
}

}  // namespace

void WriteStatistic(StatisticRecord record) noexcept {
    if (!Log().on.load(std::memory_order_relaxed) || Log().sink.Deliver(record)) return;
    try {
        Enqueue(std::move(record));
    } catch (const std::exception&) {
        Log().channel.CountLoss();
    }
}

bool ConfigureStatistics(const LogSettings& settings) {
    try {
        StatisticsLog& log = Log();
        if (settings.folder.empty()) {
            log.channel.Silence();
        } else {
            const std::filesystem::path folder(Platform::NativePath(settings.folder));
            if (!log.channel.Open({(folder / kFileName).string(), settings.bytesPerFile, settings.filesKept})) {
                return false;
            }
        }
        log.on.store(settings.level != Level::Off);
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

void SetStatisticSink(std::function<void(const StatisticRecord&)> sink) { Log().sink.Set(std::move(sink)); }

bool FlushStatistics(int milliseconds) { return Log().channel.Flush(std::chrono::milliseconds(milliseconds)); }

}  // namespace Drive::Logging
