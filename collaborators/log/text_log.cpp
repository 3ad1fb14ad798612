#include "collaborators/log/text_log.h"

#include <atomic>
#include <filesystem>
#include <utility>

#include "collaborators/log/line_channel.h"
#include "collaborators/log/line_text.h"
#include "collaborators/log/sink_slot.h"
#include "interfaces/platform/native_path.h"

namespace Drive::Logging {

namespace {

constexpr char kFileName[] = "transfer.log";
constexpr std::chrono::milliseconds kFlushAtExit{5000};

std::string Column(const std::string& text) { return text.empty() ? "-" : EscapeForLine(text); }

std::string LevelColumn(const TextRecord& record) {
    const std::string pair = '(' + std::to_string(record.kind) + ',' + std::to_string(record.code) + ')';
    if (record.step == TextRecord::Step::Begin) return "begin" + pair;
    if (record.step == TextRecord::Step::End) return "end" + pair;
    switch (record.level) {
        case Level::Trace:
            return "trace";
        case Level::Debug:
            return "debug";
        default:
            return "error";
    }
}

std::string LineOf(const TextRecord& record, std::chrono::system_clock::time_point time, std::size_t thread) {
    return IsoTime(time) + '\t' + LevelColumn(record) + '\t' + std::to_string(thread) + '\t' + Column(record.module) +
           '\t' + Column(record.function) + '\t' + EscapeForLine(record.text);
}

std::string LossLine(std::uint64_t lost) {
    const TextRecord record{Level::Error, "SyncPanelLog", "writer",
                            std::to_string(lost) +
                                " records of this log were lost before this line: they came faster "
                                "than they could be written, or the file could not be written, or a full one could not "
                                "be renamed. Check that the disk of the log folder has room and that nothing stands in "
                                "the way of the older files' names."};
    return LineOf(record, std::chrono::system_clock::now(), CurrentThreadNumber());
}

struct TextLog {
    LineChannel channel{&LossLine};
    SinkSlot<TextRecord> sink;
    std::atomic<Level> level{Level::Trace};
};

/// Never destroyed: threads may log while the process ends.
TextLog& Log() {
    static TextLog* const log = new TextLog;
    return *log;
}

/// A process that ends by the ordinary road writes what is queued.
struct FlushAtExit {
    ~FlushAtExit() { Log().channel.Flush(kFlushAtExit); }
};
const FlushAtExit flushAtExit;

void Enqueue(TextRecord&& record) {
    const std::size_t bytes = record.module.size() + record.function.size() + record.text.size() + sizeof(TextRecord);
    const auto time = std::chrono::system_clock::now();
    Log().channel.Push(
        [record = std::move(record), time, thread = CurrentThreadNumber()] { return LineOf(record, time, thread); },
        bytes);
}

}  // namespace

void WriteTextRecord(TextRecord record) noexcept {
    if (!IsTextLevelOn(record.level) || Log().sink.Deliver(record)) return;
    try {
        Enqueue(std::move(record));
    } catch (const std::exception&) {
        Log().channel.CountLoss();
    }
}

bool IsTextLevelOn(Level level) noexcept { return level >= Log().level.load(std::memory_order_relaxed); }

bool ConfigureTextLog(const LogSettings& settings) {
    try {
        TextLog& log = Log();
        if (settings.folder.empty()) {
            log.channel.Silence();
        } else {
            const std::filesystem::path folder(Platform::NativePath(settings.folder));
            if (!log.channel.Open({(folder / kFileName).string(), settings.bytesPerFile, settings.filesKept})) {
                return false;
            }
        }
        log.level.store(settings.level);
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

void SetTextSink(std::function<void(const TextRecord&)> sink) { Log().sink.Set(std::move(sink)); }

bool FlushTextLog(int milliseconds) { return Log().channel.Flush(std::chrono::milliseconds(milliseconds)); }

}  // namespace Drive::Logging
