#include "collaborators/database/rows.h"

#include <charconv>
#include <cwchar>

#include "collaborators/database/schema.h"
#include "collaborators/database/text_values.h"
#include "interfaces/common/globals.h"

namespace Drive::SQLiteDB {

namespace {

using Common::FileItem;

struct TextColumn {
    const std::wstring& (FileItem::*get)() const;
    void (FileItem::*set)(std::wstring);
};

/// In the order of kFileColumns; the others follow by number.
const TextColumn kTexts[] = {
    {&FileItem::GetFileId, &FileItem::SetFileId},
    {&FileItem::GetName, &FileItem::SetName},
    {&FileItem::GetLocalFileName, &FileItem::SetLocalFileName},
    {&FileItem::GetLocalParentFolder, &FileItem::SetLocalParentFolder},
    {&FileItem::GetLocalParentId, &FileItem::SetLocalParentId},
    {&FileItem::GetParentId, &FileItem::SetParentId},
    {&FileItem::GetParentFolder, &FileItem::SetParentFolder},
    {&FileItem::GetHash, &FileItem::SetHash},
    {&FileItem::GetLocalFileSha256, &FileItem::SetLocalFileSha256},
    {&FileItem::GetMimeType, &FileItem::SetMimeType},
    {&FileItem::GetKind, &FileItem::SetKind},
    {&FileItem::GetContentVersion, &FileItem::SetContentVersion},
    {&FileItem::GetThunbnailDownloadLink, &FileItem::SetThunbnailDownloadLink},
};
constexpr int kTextCount = sizeof kTexts / sizeof kTexts[0];
constexpr int kAttachmentSize = kTextCount;
constexpr int kSize = kAttachmentSize + 1;
constexpr int kFileStatus = kSize + 1;
constexpr int kStatus = kFileStatus + 1;
constexpr int kIsFolder = kStatus + 1;
static_assert(kIsFolder + 1 == kFileColumns.size());

/// Numbers separated by blanks, up to the first thing that is none.
std::vector<int> NumbersOf(const std::string& text) {
    std::vector<int> numbers;
    const char* at = text.data();
    const char* const end = at + text.size();
    while (at != end) {
        if (*at == ' ') {
            ++at;
            continue;
        }
        int number = 0;
        const auto parsed = std::from_chars(at, end, number);
        if (parsed.ec != std::errc()) break;
        numbers.push_back(number);
        at = parsed.ptr;
    }
    return numbers;
}

std::string TextOf(const std::vector<int>& numbers) {
    std::string text;
    for (const int number : numbers) {
        if (!text.empty()) text += ' ';
        text += std::to_string(number);
    }
    return text;
}

SQLite::Column At(const SQLite::Statement& statement, int column) {
    return const_cast<SQLite::Statement&>(statement).getColumn(column);
}

}  // namespace

std::string SelectFile() { return "SELECT " + ColumnList(kFileColumns) + " FROM T_cloudDriveData "; }

std::string SelectTask() {
    return "SELECT taskId, fileId, direction, TaskStatus, Priority, module, transferKey, fragmentInfo FROM T_task ";
}

FileItem FileOfRow(const SQLite::Statement& statement) {
    FileItem file;
    for (int column = 0; column < kTextCount; ++column) (file.*kTexts[column].set)(TextAt(statement, column));
    file.SetAttachmentSize(NumbersOf(At(statement, kAttachmentSize).getString()));
    file.SetSize(At(statement, kSize).getInt64());
    file.SetFileStatus(At(statement, kFileStatus).getInt());
    file.SetStatus(At(statement, kStatus).getInt());
    file.SetIsFolder(At(statement, kIsFolder).getInt() != 0);
    file.SetFileClientPath(g_clientSyncRootFolder + file.GetLocalParentFolder() + file.GetLocalFileName());
    return file;
}

Common::TaskItem TaskOfRow(const SQLite::Statement& statement, std::int64_t missingKey) {
    Common::TaskItem task;
    task.SetTaskId(At(statement, 0).getInt64());
    task.SetFileId(TextAt(statement, 1));
    task.SetDirection(At(statement, 2).getInt());
    task.SetTaskstatus(At(statement, 3).getInt());
    task.SetPriority(At(statement, 4).getInt());
    task.SetModule(At(statement, 5).getInt());
    const SQLite::Column key = At(statement, 6);
    task.SetTransferKey(key.isNull() ? missingKey : key.getInt64());
    task.SetFragmentInfo(TextAt(statement, 7));
    return task;
}

std::string UpsertFile() {
    std::string values = "?";
    std::string changes;
    for (std::size_t column = 1; column < kFileColumns.size(); ++column) {
        const std::string name(kFileColumns[column]);
        values += ", ?";
        changes += (changes.empty() ? "" : ", ") + name + " = excluded." + name;
    }
    return "INSERT INTO T_cloudDriveData (" + ColumnList(kFileColumns) + ") VALUES (" + values +
           ") ON CONFLICT (fileId) DO UPDATE SET " + changes;
}

void BindFile(SQLite::Statement& statement, const FileItem& file) {
    for (int column = 0; column < kTextCount; ++column) {
        BindText(statement, column + 1, (file.*kTexts[column].get)());
    }
    statement.bind(kAttachmentSize + 1, TextOf(file.GetAttachmentSize()));
    statement.bind(kSize + 1, static_cast<std::int64_t>(file.GetSize()));
    statement.bind(kFileStatus + 1, file.GetFileStatus());
    statement.bind(kStatus + 1, file.GetStatus());
    statement.bind(kIsFolder + 1, file.GetIsFolder() ? 1 : 0);
}

}  // namespace Drive::SQLiteDB
