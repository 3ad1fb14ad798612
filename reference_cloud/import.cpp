#include "reference_cloud/import.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "reference_cloud/cloud.h"
#include "reference_cloud/cloud_name.h"
#include "reference_cloud/crypto.h"
#include "reference_cloud/media_type.h"
#include "reference_cloud/refusal.h"
#include "reference_cloud/tree.h"

namespace Drive::ReferenceCloud {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kBatchFiles = 500;
constexpr std::int64_t kBatchBytes = 256 * 1024 * 1024;

struct Pending {
    std::string path;
    std::string parentId;
    std::string name;
    std::int64_t edited = 0;
    Content content;
    std::string blob;
};

class Importer {
public:
    Importer(Cloud& cloud, const User& user) : cloud_(cloud), user_(user) {}

    void Folder(const fs::path& folder, const std::string& id);
    void Flush();
    ImportSummary summary;

private:
    void Entry(const fs::path& path, const std::string& parentId);
    void File(const fs::path& path, const std::string& parentId, const struct stat& status);
    bool ReadIn(int file, Pending& pending);
    bool Same(Rows& rows, const Pending& pending);
    void Put(Rows& rows, const Pending& pending);

    Cloud& cloud_;
    const User user_;
    std::vector<Pending> batch_;
    std::int64_t batchBytes_ = 0;
};

void Importer::Folder(const fs::path& folder, const std::string& id) {
    std::error_code error;
    fs::directory_iterator entries(folder, error);
    if (error) {
        summary.failed.push_back(folder.string() + ": " + error.message());
        return;
    }
    std::vector<fs::path> paths;
    for (const auto& entry : entries) paths.push_back(entry.path());
    std::sort(paths.begin(), paths.end());
    for (const auto& path : paths) Entry(path, id);
}

void Importer::Entry(const fs::path& path, const std::string& parentId) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0) {
        summary.failed.push_back(path.string() + ": " + std::strerror(errno));
    } else if (S_ISLNK(status.st_mode)) {
        summary.passedOver.push_back(path.string() + " (link)");
    } else if (S_ISREG(status.st_mode)) {
        File(path, parentId, status);
    } else if (!S_ISDIR(status.st_mode)) {
        summary.passedOver.push_back(path.string() + " (neither file nor folder)");
    } else {
        try {
            const FileRow folder = cloud_.Change([&](Rows& rows) {
                return Tree::MakeFolder(rows, user_, parentId, CloudName(path.filename().native()), cloud_.now());
            });
            ++summary.folders;
            Folder(path, folder.id);
        } catch (const Refusal& refusal) {
            summary.failed.push_back(path.string() + ": " + refusal.what());
        }
    }
}

bool Importer::ReadIn(int file, Pending& pending) {
    Digest sha256 = Digest::Sha256(), md5 = Digest::Md5();
    auto writer = cloud_.objects->Create(false);
    std::string buffer(1024 * 1024, '\0');
    for (;;) {
        const ssize_t count = ::read(file, buffer.data(), buffer.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return false;
        if (count == 0) break;
        const std::string_view piece(buffer.data(), static_cast<std::size_t>(count));
        sha256.Add(piece), md5.Add(piece);
        writer->Append(piece);
        pending.content.size += count;
    }
    pending.content.sha256 = sha256.Hex();
    pending.content.md5 = md5.Hex();
    if (pending.content.size > 0) pending.blob = writer->Commit();
    return true;
}

void Importer::File(const fs::path& path, const std::string& parentId, const struct stat& status) {
    const int file = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    Pending pending{path.string(), parentId, CloudName(path.filename().native()), status.st_mtim.tv_sec, {}, {}};
    pending.content.userId = user_.id;
    pending.content.created = cloud_.now();
    const bool read = file >= 0 && ReadIn(file, pending);
    const int error = errno;
    if (file >= 0) ::close(file);
    if (!read) {
        summary.failed.push_back(path.string() + ": " + std::strerror(error));
        return;
    }
    batchBytes_ += pending.content.size;
    batch_.push_back(std::move(pending));
    if (batch_.size() >= kBatchFiles || batchBytes_ >= kBatchBytes) Flush();
}

bool Importer::Same(Rows& rows, const Pending& pending) {
    const auto there = rows.LiveChild(pending.parentId, pending.name);
    return there && !there->folder && there->size == pending.content.size && there->sha256 == pending.content.sha256;
}

void Importer::Put(Rows& rows, const Pending& pending) {
    Tree::NewContent fresh{pending.content, MediaTypeOf(pending.name), 0, pending.edited};
    if (!pending.blob.empty()) {
        fresh.content.id = RandomId(12);
        rows.PutContent(fresh.content);
        StoredObject piece;
        piece.id = RandomId(16);
        piece.userId = user_.id;
        piece.contentId = fresh.content.id;
        piece.length = pending.content.size;
        piece.blob = pending.blob;
        piece.sha256 = pending.content.sha256;
        piece.md5 = pending.content.md5;
        piece.state = StoredObject::confirmed;
        rows.PutObject(piece);
    }
    const auto there = rows.LiveChild(pending.parentId, pending.name);
    if (there) {
        Tree::ReplaceContent(rows, user_, *there, fresh, cloud_.now());
    } else if (pending.blob.empty()) {
        Tree::MakeEmptyFile(rows, user_, pending.parentId, pending.name, fresh.mimeType, fresh.edited, cloud_.now());
    } else {
        Tree::AddFile(rows, user_, pending.parentId, pending.name, fresh, cloud_.now());
    }
}

void Importer::Flush() {
    cloud_.objects->Flush();
    for (std::size_t begin = 0; begin < batch_.size();) {
        // One transaction for all, unless one is refused: it is left out and the rest goes on.
        std::size_t at = begin;
        std::int64_t files = 0, unchanged = 0, bytes = 0;
        std::vector<std::string> spare;
        try {
            cloud_.metadata->Change([&](Rows& rows) {
                for (; at < batch_.size(); ++at) {
                    if (Same(rows, batch_[at])) {
                        ++unchanged;
                        spare.push_back(batch_[at].blob);
                        continue;
                    }
                    Put(rows, batch_[at]);
                    ++files, bytes += batch_[at].content.size;
                }
            });
            begin = batch_.size();
            for (const auto& blob : spare) cloud_.objects->Remove(blob);
        } catch (const Refusal& refusal) {
            summary.failed.push_back(batch_[at].path + ": " + refusal.what());
            cloud_.objects->Remove(batch_[at].blob);
            batch_.erase(batch_.begin() + static_cast<std::ptrdiff_t>(at));
            continue;
        }
        summary.files += files, summary.unchanged += unchanged, summary.bytes += bytes;
    }
    batch_.clear();
    batchBytes_ = 0;
}

}  // namespace

ImportSummary ImportTree(Cloud& cloud, const User& user, const std::string& sourceFolder) {
    Importer importer(cloud, user);
    importer.Folder(sourceFolder, user.rootId);
    importer.Flush();
    return importer.summary;
}

}  // namespace Drive::ReferenceCloud
