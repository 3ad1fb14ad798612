#pragma once

#include <string>

#include "interfaces/platform/export.h"

namespace Drive {

/// The developers' text log. Every operation may be called from any thread at once, some of them under a mutex of the
/// engine: none blocks, none throws, none returns anything. A record is one UTF-8 line with time, level, thread,
/// module, function and text; the text arrives unchanged but for control characters, which are escaped. Where the
/// records go is settled by log_settings.h.
class ZELKOR_API SyncPanelLog {
public:
    /// The normal progress line.
    static void WriteTraceLog(const std::string& text);
    /// Rare detail.
    static void WriteDebugLog(const std::string& text);
    /// A failure that ended an attempt.
    static void WriteErrorLog(const std::string& module, const std::string& function, const std::string& text);
    /// Opens a traced operation. `kind` is always 10; `code` is a statistics code.
    static void WriteBeginTraceLog(int kind, int code, const std::string& module, const std::string& function,
                                   const std::string& text);
    /// Closes it.
    static void WriteEndTraceLog(int kind, int code, const std::string& module, const std::string& function,
                                 const std::string& text);
};

}  // namespace Drive
