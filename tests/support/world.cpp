#include "tests/support/world.h"

#include <openssl/sha.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "interfaces/common/client_messages.h"
#include "interfaces/common/globals.h"
#include "interfaces/database/sqlite_db.h"
#include "interfaces/database/sync_rows.h"
#include "interfaces/platform/native_path.h"
#include "tests/support/journal.h"
#include "tests/support/watching.h"

namespace Drive::Testing {

namespace {

void TakeMessages() {
    IPC::SetTransferMessageHandler([](int command, const std::wstring& text) {
        Journal::Write(Kind::Message, "TransferMessageCommand(" + std::to_string(command) + ", " + Narrow(text) + ")");
    });
    Common::SetRefreshFileHandler(
        [](const std::wstring& path) { Journal::Write(Kind::Message, "RefreshFile(" + Narrow(path) + ")"); });
    Common::SetDiskStatusHandler(
        [](int status) { Journal::Write(Kind::Message, "DiskStatus(" + std::to_string(status) + ")"); });
}

void GiveKeys() {
    for (int i = 0; i < 32; ++i) {
        g_SyncUserKey[i] = static_cast<unsigned char>(i + 1);
        g_SyncUserKey_sfek[i] = static_cast<unsigned char>(i + 101);
    }
    g_Keyuid = "key-1";
    g_Keyuid_sfek = "key-3";
}

}  // namespace

World::World() {
    char name[] = "/tmp/zelkor-test-XXXXXX";
    const char* made = mkdtemp(name);
    EXPECT_NE(made, nullptr);
    folder = name;
    SetUp();
}

World::World(const std::string& existing) : folder(existing), keep(true) { SetUp(); }

void World::SetUp() {
    for (const char* sub : {"/root", "/thumbnails", "/lcd", "/state"}) std::filesystem::create_directory(folder + sub);
    g_clientSyncRootFolder = Platform::EnginePath(folder + "/root/");
    g_thumbnailFolder = Platform::EnginePath(folder + "/thumbnails/");
    g_lcdthumbnailFolder = Platform::EnginePath(folder + "/lcd/");
    g_rootFileId = L"root-id";
    g_accessToken = L"token";
    g_SyncServerVersion = L"7";
    GiveKeys();
    TakeMessages();
    const SQLiteDB::OpenResult opened = SQLiteDB::OpenDatabase(Platform::EnginePath(folder + "/state"));
    EXPECT_TRUE(opened.ok()) << opened.message;
}

World::~World() {
    if (keep) return;
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}

std::wstring World::Path(const std::wstring& relative) const {
    std::wstring path = g_clientSyncRootFolder + relative;
    std::replace(path.begin(), path.end(), L'/', L'\\');
    return path;
}

std::string World::NativeFile(const std::wstring& relative) const { return Platform::NativePath(Path(relative)); }

void World::WriteFile(const std::wstring& relative, const std::string& bytes) const {
    const std::filesystem::path path = NativeFile(relative);
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << bytes;
}

std::string World::ReadFile(const std::wstring& relative) const {
    std::ifstream in(NativeFile(relative), std::ios::binary);
    if (!in) return "(absent)";
    std::ostringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
}

bool World::Exists(const std::wstring& relative) const { return std::filesystem::exists(NativeFile(relative)); }

Common::FileItem World::File(const std::wstring& fileId, const std::wstring& relative, std::int64_t size,
                             int fileStatus) const {
    const auto cut = relative.rfind(L'\\');
    const std::wstring parent = cut == std::wstring::npos ? L"" : relative.substr(0, cut + 1);
    const std::wstring name = cut == std::wstring::npos ? relative : relative.substr(cut + 1);
    Common::FileItem file;
    file.SetFileId(fileId);
    file.SetName(name);
    file.SetLocalFileName(name);
    file.SetLocalParentFolder(parent);
    file.SetParentFolder(parent);
    file.SetLocalParentId(g_rootFileId);
    file.SetParentId(g_rootFileId);
    file.SetSize(size);
    file.SetFileStatus(fileStatus);
    return file;
}

void World::Put(const Common::FileItem& file) const { EXPECT_TRUE(SQLiteDB::SyncRows::PutFile(file)); }

void World::PutWithTask(const Common::FileItem& file, int direction, int priority) const {
    EXPECT_TRUE(SQLiteDB::SyncRows::PutFileWithTask(file, direction, priority));
}

Common::FileItem World::Row(const std::wstring& fileId) const {
    Common::FileItem row;
    SQLiteDB::SyncRows::ForEachFile([&](const Common::FileItem& file) {
        if (file.GetFileId() != fileId) return true;
        row = file;
        return false;
    });
    return row;
}

Common::TaskItem World::Task(const std::wstring& fileId, int direction) const {
    for (const Common::TaskItem& task : SQLiteDB::SyncRows::Tasks(1000000)) {
        if (task.GetFileId() == fileId && task.GetDirection() == direction) return task;
    }
    return {};
}

bool World::HasTask(const std::wstring& fileId, int direction) const {
    return !Task(fileId, direction).GetFileId().empty();
}

int World::TaskCount() const { return static_cast<int>(SQLiteDB::SyncRows::Tasks(1000000).size()); }

void World::Sql(const std::vector<std::string>& statements) const {
    Unwatched past;
    EXPECT_TRUE(SQLiteDB::SQLiteDB::GetInstance().ExecuteMulitNoQuerySQL(statements)) << statements.front();
}

std::string Content(std::size_t size, unsigned kind) {
    std::string bytes(size, '\0');
    std::uint64_t state = 0x9e3779b97f4a7c15ULL * (kind + 1);
    for (char& byte : bytes) {
        state = state * 6364136223846793005ULL + 1442695040888963407ULL;
        byte = static_cast<char>(state >> 56);
    }
    return bytes;
}

std::string Sha256(const std::string& bytes) {
    unsigned char digest[SHA256_DIGEST_LENGTH];
    SHA256(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), digest);
    std::ostringstream text;
    for (const unsigned char byte : digest) text << std::hex << (byte >> 4) << (byte & 15);
    return text.str();
}

}  // namespace Drive::Testing
