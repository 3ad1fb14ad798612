#include "interfaces/database/sync_rows.h"

#include <stdexcept>

#include "collaborators/database/core.h"
#include "collaborators/database/rows.h"
#include "collaborators/database/text_values.h"

namespace Drive::SQLiteDB {

using Common::FileItem;

namespace {

void WriteFile(Connection& connection, const FileItem& file) {
    static const std::string text = UpsertFile();
    auto statement = connection.Statement(text);
    BindFile(*statement, file);
    statement->exec();
}

void RequireTransfer(int direction) {
    if (direction != 1 && direction != 2) throw std::invalid_argument("the direction of a transfer is 1 or 2");
}

/// A task whose file is being transferred keeps its TaskStatus: a claim and a pending cancel must survive.
void WriteTask(Connection& connection, const std::wstring& fileId, int direction, int priority) {
    auto statement = connection.Statement(
        "INSERT INTO T_task (fileId, direction, Priority) VALUES (?, ?, ?) ON CONFLICT (fileId, direction) DO UPDATE "
        "SET Priority = excluded.Priority, transferKey = NULL, "
        "TaskStatus = CASE WHEN readyState IN (12, 22) THEN TaskStatus ELSE 0 END");
    BindText(*statement, 1, fileId);
    statement->bind(2, direction);
    statement->bind(3, priority);
    statement->exec();
}

}  // namespace

OpenResult OpenDatabase(const std::wstring& folder) { return Core::Get().Open(folder); }

OpenResult OpenDatabaseReadOnly(const std::wstring& folder) { return Core::Get().OpenReadOnly(folder); }

void CloseDatabase() { Core::Get().Close(); }

bool SyncRows::PutFile(const FileItem& file) {
    return Core::Get().Write("write a file row", [&](Connection& connection) { WriteFile(connection, file); });
}

bool SyncRows::PutFileWithTask(const FileItem& file, int direction, int priority) {
    return PutFilesWithTasks({file}, direction, priority);
}

bool SyncRows::PutFilesWithTasks(const std::vector<FileItem>& files, int direction, int priority) {
    return Core::Get().Write("write files and their tasks", [&](Connection& connection) {
        RequireTransfer(direction);
        for (const FileItem& file : files) {
            WriteFile(connection, file);
            WriteTask(connection, file.GetFileId(), direction, priority);
        }
    });
}

bool SyncRows::PutTask(const std::wstring& fileId, int direction, int priority) {
    return Core::Get().Write("write a task", [&](Connection& connection) {
        RequireTransfer(direction);
        auto statement = connection.Statement(
            "INSERT INTO T_task (fileId, direction, Priority) VALUES (?, ?, ?) ON CONFLICT DO NOTHING");
        BindText(*statement, 1, fileId);
        statement->bind(2, direction);
        statement->bind(3, priority);
        statement->exec();
    });
}

bool SyncRows::PutThumbnailTask(const std::wstring& fileId) {
    return Core::Get().Write("write a thumbnail task", [&](Connection& connection) {
        auto statement = connection.Statement(
            "INSERT INTO T_task (fileId, direction, transferKey) VALUES (?, 3, 3) ON CONFLICT DO NOTHING");
        BindText(*statement, 1, fileId);
        statement->exec();
    });
}

bool SyncRows::PutPriorityTask(const std::wstring& fileId, std::int64_t transferKey) {
    return Core::Get().Write("write a priority task", [&](Connection& connection) {
        auto statement = connection.Statement(
            "INSERT INTO T_task (fileId, direction, module, transferKey) VALUES (?, 1, 1, ?) "
            "ON CONFLICT (fileId, direction) DO UPDATE SET transferKey = excluded.transferKey");
        BindText(*statement, 1, fileId);
        statement->bind(2, transferKey);
        statement->exec();
    });
}

bool SyncRows::ResetPriorityKeys() {
    return Core::Get().Write("reset the keys of priority tasks", [](Connection& connection) {
        connection.Statement("UPDATE T_task SET transferKey = NULL WHERE transferKey = 2 AND direction = 1")->exec();
    });
}

bool SyncRows::ForgetEncryptedPositions() {
    return Core::Get().Write("forget positions of encrypted downloads", [](Connection& connection) {
        connection
            .Statement(
                "UPDATE T_task SET fragmentInfo = '' WHERE direction = 1 AND fragmentInfo <> '' AND "
                "CASE WHEN json_valid(fragmentInfo) THEN json_type(fragmentInfo) = 'object' AND "
                "ifnull(json_extract(fragmentInfo, '$.writeSliceIndex'), 0) <> 0 ELSE 0 END")
            ->exec();
    });
}

std::wstring SyncRows::ReadSetting(const std::wstring& name) {
    std::wstring value;
    Core::Get().Read("read a setting", [&](Connection& connection) {
        auto statement = connection.Statement("SELECT value FROM T_hostSetting WHERE name = ?");
        BindText(*statement, 1, name);
        if (statement->executeStep()) value = TextAt(*statement, 0);
    });
    return value;
}

bool SyncRows::WriteSetting(const std::wstring& name, const std::wstring& value) {
    return Core::Get().Write("write a setting", [&](Connection& connection) {
        auto statement = connection.Statement(
            "INSERT INTO T_hostSetting (name, value) VALUES (?, ?) ON CONFLICT (name) DO UPDATE SET value = "
            "excluded.value");
        BindText(*statement, 1, name);
        BindText(*statement, 2, value);
        statement->exec();
    });
}

}  // namespace Drive::SQLiteDB
