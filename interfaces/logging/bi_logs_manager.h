#pragma once

#include <string>

#include "interfaces/platform/export.h"

namespace Drive::Bilog {

/// The operation statistics. Reached through GetInstance; made on first use, destroyed at process end.
class ZELKOR_API BiLogsManager {
public:
    static BiLogsManager& GetInstance();

    /// Records one statistic. `code` names the area: 15001 key service, 15002 service spine and upload side, 15003
    /// download side. `module` and `text` arrive unchanged. Any thread; never blocks, never throws.
    void OperateLog(int code, const std::wstring& module, const std::wstring& text);

private:
    BiLogsManager();
    ~BiLogsManager();
    BiLogsManager(const BiLogsManager&) = delete;
    BiLogsManager& operator=(const BiLogsManager&) = delete;
};

/// A further singleton of the library; the engine calls nothing on it.
class ZELKOR_API BiLogHelper {
public:
    static BiLogHelper& GetInstance();

private:
    BiLogHelper();
    ~BiLogHelper();
};

}  // namespace Drive::Bilog

namespace Drive::OperateLog {

/// Further singletons of the library; the engine calls nothing on them.
class ZELKOR_API OperationLogManager {
public:
    static OperationLogManager& GetInstance();

private:
    OperationLogManager();
    ~OperationLogManager();
};

class ZELKOR_API OperationLogService {
public:
    static OperationLogService& GetInstance();

private:
    OperationLogService();
    ~OperationLogService();
};

}  // namespace Drive::OperateLog
