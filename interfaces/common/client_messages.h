#pragma once

#include <functional>
#include <string>

#include "interfaces/platform/export.h"

/// What the engine tells the client process, and where a client registers what it does then. Registering is done
/// before the engine starts; the functions are called on engine threads, must be fast and must not throw (an exception
/// is logged and dropped). An empty function means that nothing happens.
namespace Drive {

namespace IPC {

class ZELKOR_API IPCDriveClient {
public:
    /// Sends a message to the client process. Command 10 with an empty text: the cloud server is being migrated.
    static void TransferMessageCommand(int command, const std::wstring& text);
};

/// Registers what TransferMessageCommand does.
ZELKOR_API void SetTransferMessageHandler(std::function<void(int, const std::wstring&)> handler);

}  // namespace IPC

namespace Common {

class ZELKOR_API RefreshShellIcon {
public:
    /// Asks whoever shows the file to redraw its state.
    static void RefreshFile(const std::wstring& path);
};

/// Registers what RefreshFile does.
ZELKOR_API void SetRefreshFileHandler(std::function<void(const std::wstring&)> handler);

/// Registers what GetAndTransferDiskStatus does.
ZELKOR_API void SetDiskStatusHandler(std::function<void(int)> handler);

}  // namespace Common

}  // namespace Drive
