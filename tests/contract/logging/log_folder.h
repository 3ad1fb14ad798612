#pragma once

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "interfaces/logging/log_settings.h"
#include "tests/contract/platform/temporary_folder.h"

namespace Drive::Testing {

inline std::vector<std::string> LinesOf(const std::filesystem::path& path) {
    std::vector<std::string> lines;
    std::ifstream file(path, std::ios::binary);
    for (std::string line; std::getline(file, line);) lines.push_back(line);
    return lines;
}

/// The text with each digit as 'd': the shape of a time.
inline std::string ShapeOf(std::string text) {
    for (char& character : text) {
        if (character >= '0' && character <= '9') character = 'd';
    }
    return text;
}

/// The columns of one line of the text log.
struct LogLine {
    explicit LogLine(const std::string& line) {
        std::istringstream columns(line);
        for (std::string* column : {&time, &level, &thread, &module, &function}) std::getline(columns, *column, '\t');
        std::getline(columns, text, '\0');
    }

    std::string time, level, thread, module, function, text;
};

/// A folder that holds both files while a test runs; the channels are silent again afterwards.
class LogFolder {
public:
    LogFolder() = default;
    ~LogFolder() {
        Logging::ConfigureTextLog({});
        Logging::ConfigureStatistics({});
    }
    LogFolder(const LogFolder&) = delete;
    LogFolder& operator=(const LogFolder&) = delete;

    Logging::LogSettings Settings(const std::string& name = "log") const {
        Logging::LogSettings settings;
        settings.folder = folder.Engine(name);
        return settings;
    }

    /// What the text log holds once everything logged so far has been written.
    std::vector<LogLine> TextLines(const std::string& name = "log") const {
        Logging::FlushTextLog(20000);
        std::vector<LogLine> lines;
        for (const std::string& line : LinesOf(folder.Native(name) / "transfer.log")) lines.emplace_back(line);
        return lines;
    }

    std::vector<std::string> StatisticLines(const std::string& name = "log") const {
        Logging::FlushStatistics(20000);
        return LinesOf(folder.Native(name) / "statistics.jsonl");
    }

    TemporaryFolder folder;
};

}  // namespace Drive::Testing
