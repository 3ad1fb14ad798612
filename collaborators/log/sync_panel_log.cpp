#include "interfaces/logging/sync_panel_log.h"

#include <exception>

#include "collaborators/log/text_log.h"

namespace Drive {

namespace {

using Logging::Level;
using Logging::TextRecord;

/// Builds and writes a record; what cannot even be built for want of memory is lost, quietly.
template <typename Build>
void Write(Level level, Build build) noexcept {
    if (!Logging::IsTextLevelOn(level)) return;
    try {
        Logging::WriteTextRecord(build());
    } catch (const std::exception&) {
        return;
    }
}

}  // namespace

void SyncPanelLog::WriteTraceLog(const std::string& text) {
    Write(Level::Trace, [&] { return TextRecord{Level::Trace, {}, {}, text}; });
}

void SyncPanelLog::WriteDebugLog(const std::string& text) {
    Write(Level::Debug, [&] { return TextRecord{Level::Debug, {}, {}, text}; });
}

void SyncPanelLog::WriteErrorLog(const std::string& module, const std::string& function, const std::string& text) {
    Write(Level::Error, [&] { return TextRecord{Level::Error, module, function, text}; });
}

void SyncPanelLog::WriteBeginTraceLog(int kind, int code, const std::string& module, const std::string& function,
                                      const std::string& text) {
    Write(Level::Trace,
          [&] { return TextRecord{Level::Trace, module, function, text, TextRecord::Step::Begin, kind, code}; });
}

void SyncPanelLog::WriteEndTraceLog(int kind, int code, const std::string& module, const std::string& function,
                                    const std::string& text) {
    Write(Level::Trace,
          [&] { return TextRecord{Level::Trace, module, function, text, TextRecord::Step::End, kind, code}; });
}

}  // namespace Drive
