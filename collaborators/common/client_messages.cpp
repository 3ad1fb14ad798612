#include "interfaces/common/client_messages.h"

#include <exception>
#include <memory>
#include <mutex>
#include <utility>

#include "interfaces/common/drive_functions.h"
#include "interfaces/logging/sync_panel_log.h"

namespace Drive {

namespace {

/// One registered function. Called outside the lock, so that it may register another one; copied as a pointer, so that
/// a replaced function lives until its last call has returned.
template <typename... Arguments>
class Registration {
public:
    using Function = std::function<void(Arguments...)>;

    void Set(Function function) {
        auto next = function ? std::make_shared<const Function>(std::move(function)) : nullptr;
        const std::lock_guard<std::mutex> lock(mutex);
        current = std::move(next);
    }

    void Call(const char* operation, Arguments... arguments) {
        std::shared_ptr<const Function> function;
        {
            const std::lock_guard<std::mutex> lock(mutex);
            function = current;
        }
        if (!function) {
            return;
        }
        try {
            (*function)(arguments...);
        } catch (const std::exception& error) {
            SyncPanelLog::WriteErrorLog("ClientMessages", operation,
                                        std::string("the client's function failed: ") + error.what());
        } catch (...) {
            SyncPanelLog::WriteErrorLog("ClientMessages", operation, "the client's function failed");
        }
    }

private:
    std::mutex mutex;
    // Guarded by mutex.
    std::shared_ptr<const Function> current;
};

// The three are never destroyed: an engine thread may still send a message while the process ends.
Registration<int, const std::wstring&>& TransferMessages() {
    static auto* registration = new Registration<int, const std::wstring&>;
    return *registration;
}

Registration<const std::wstring&>& Refreshes() {
    static auto* registration = new Registration<const std::wstring&>;
    return *registration;
}

Registration<int>& DiskStates() {
    static auto* registration = new Registration<int>;
    return *registration;
}

}  // namespace

namespace IPC {

void IPCDriveClient::TransferMessageCommand(int command, const std::wstring& text) {
    TransferMessages().Call("TransferMessageCommand", command, text);
}

void SetTransferMessageHandler(std::function<void(int, const std::wstring&)> handler) {
    TransferMessages().Set(std::move(handler));
}

}  // namespace IPC

namespace Common {

void RefreshShellIcon::RefreshFile(const std::wstring& path) { Refreshes().Call("RefreshFile", path); }

void SetRefreshFileHandler(std::function<void(const std::wstring&)> handler) { Refreshes().Set(std::move(handler)); }

void SetDiskStatusHandler(std::function<void(int)> handler) { DiskStates().Set(std::move(handler)); }

}  // namespace Common

void GetAndTransferDiskStatus(const int& status) { DiskStates().Call("GetAndTransferDiskStatus", status); }

}  // namespace Drive
