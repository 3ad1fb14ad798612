#include "reference_cloud/tree.h"

#include <algorithm>
#include <iterator>

#include "interfaces/cloud/wire/codes.h"
#include "reference_cloud/cloud_name.h"
#include "reference_cloud/crypto.h"
#include "reference_cloud/entry.h"
#include "reference_cloud/http_message.h"
#include "reference_cloud/metadata_store.h"
#include "reference_cloud/refusal.h"

namespace Drive::ReferenceCloud::Tree {

namespace Wire = Drive::Cloud::Wire;

namespace {

[[noreturn]] void Conflict(const std::string& text) { throw Refusal(409, Wire::kConflict, text); }

void Save(Rows& rows, const FileRow& file) {
    rows.PutFile(file);
    rows.AddChange(file.userId, JsonText(EntryOf(file)));
}

FileRow Fresh(const User& user, const FileRow& parent, const std::string& name, std::int64_t now) {
    FileRow file;
    file.id = RandomId(12);
    file.userId = user.id;
    file.parentId = parent.id;
    file.name = name;
    file.depth = parent.depth + 1;
    file.version = 1;
    file.created = file.edited = now;
    return file;
}

void TakeContent(FileRow& file, const NewContent& fresh, std::int64_t now) {
    file.size = fresh.content.size;
    file.sha256 = fresh.content.sha256;
    file.md5 = fresh.content.md5;
    file.contentId = fresh.content.id;
    file.encrypted = fresh.content.encrypted;
    file.attachments = fresh.content.attachments;
    if (!fresh.mimeType.empty()) file.mimeType = fresh.mimeType;
    file.category = CategoryOf(file.mimeType);
    if (fresh.created > 0) file.created = fresh.created;
    file.edited = fresh.edited > 0 ? fresh.edited : now;
}

void Orphan(Rows& rows, const std::string& contentId, std::int64_t now) {
    if (contentId.empty() || rows.ContentIsUsed(contentId)) return;
    if (auto content = rows.ContentById(contentId)) {
        content->orphaned = now;
        rows.PutContent(*content);
    }
}

void Adopt(Rows& rows, const std::string& contentId) {
    auto content = contentId.empty() ? std::nullopt : rows.ContentById(contentId);
    if (!content || content->orphaned == 0) return;
    content->orphaned = 0;
    rows.PutContent(*content);
}

/// The live things below a folder, parents first. Without recursion: a tree may be deeper than a thread's stack.
std::vector<FileRow> Below(Rows& rows, const std::string& folderId) {
    std::vector<FileRow> found = rows.LiveChildren(folderId);
    for (std::size_t next = 0; next < found.size(); ++next) {
        if (!found[next].folder) continue;
        auto children = rows.LiveChildren(found[next].id);
        std::move(children.begin(), children.end(), std::back_inserter(found));
    }
    return found;
}

void CheckFree(Rows& rows, const std::string& parentId, const std::string& name) {
    if (rows.LiveChild(parentId, name)) Conflict("the folder already holds something named \"" + name + "\"");
}

void ShiftBelow(Rows& rows, const FileRow& folder, int shift) {
    if (!folder.folder || shift == 0) return;
    for (FileRow& file : Below(rows, folder.id)) {
        file.depth += shift;
        rows.PutFile(file);
    }
}

}  // namespace

FileRow Get(Rows& rows, const User& user, const std::string& id) {
    auto file = rows.FileById(id);
    if (!file || file->userId != user.id)
        throw Refusal(404, Wire::kNotFound, "there is no file or folder with this id");
    return std::move(*file);
}

FileRow GetLive(Rows& rows, const User& user, const std::string& id) {
    FileRow file = Get(rows, user, id);
    if (file.deletedAt != 0) throw Refusal(404, Wire::kNotFound, "the file \"" + file.name + "\" was deleted");
    if (file.parentId.empty()) throw Refusal(400, Wire::kBadRequest, "the root folder cannot be changed");
    return file;
}

FileRow GetParent(Rows& rows, const User& user, const std::string& id) {
    auto parent = rows.FileById(id);
    if (!parent || parent->userId != user.id || parent->deletedAt != 0 || !parent->folder) {
        throw Refusal(404, Wire::kUnknownParent, "the parent folder is not there");
    }
    return std::move(*parent);
}

FileRow MakeFolder(Rows& rows, const User& user, const std::string& parentId, const std::string& name,
                   std::int64_t now) {
    const FileRow parent = GetParent(rows, user, parentId);
    if (const auto there = rows.LiveChild(parentId, name)) {
        if (there->folder) return *there;
        Conflict("a file named \"" + name + "\" stands where the folder should be");
    }
    FileRow folder = Fresh(user, parent, name, now);
    folder.folder = true;
    folder.category = "folder";
    Save(rows, folder);
    return folder;
}

FileRow MakeEmptyFile(Rows& rows, const User& user, const std::string& parentId, const std::string& name,
                      const std::string& mimeType, std::int64_t edited, std::int64_t now) {
    const FileRow parent = GetParent(rows, user, parentId);
    if (const auto there = rows.LiveChild(parentId, name)) {
        if (!there->folder && there->size == 0) return *there;
        Conflict("the folder already holds something else named \"" + name + "\"");
    }
    FileRow file = Fresh(user, parent, name, now);
    NewContent nothing;
    nothing.content.sha256 = Sha256Hex("");
    nothing.content.md5 = Digest::Md5().Hex();
    nothing.mimeType = mimeType.empty() ? "application/octet-stream" : mimeType;
    nothing.edited = edited;
    TakeContent(file, nothing, now);
    Save(rows, file);
    return file;
}

FileRow AddFile(Rows& rows, const User& user, const std::string& parentId, const std::string& name,
                const NewContent& fresh, std::int64_t now) {
    const FileRow parent = GetParent(rows, user, parentId);
    if (const auto there = rows.LiveChild(parentId, name)) {
        if (!there->folder && there->sha256 == fresh.content.sha256 && there->size == fresh.content.size) {
            throw Refusal(409, Wire::kFileExists, "the folder already holds \"" + name + "\" with this content");
        }
        Conflict("the folder already holds something else named \"" + name + "\"");
    }
    CheckSpace(rows, user, fresh.content.size);
    FileRow file = Fresh(user, parent, name, now);
    TakeContent(file, fresh, now);
    Adopt(rows, file.contentId);
    Save(rows, file);
    rows.AddUsed(user.id, file.size);
    return file;
}

FileRow ReplaceContent(Rows& rows, const User& user, FileRow file, const NewContent& fresh, std::int64_t now) {
    if (file.folder) Conflict("\"" + file.name + "\" is a folder");
    CheckSpace(rows, user, fresh.content.size - file.size);
    const std::string before = file.contentId;
    rows.AddUsed(user.id, fresh.content.size - file.size);
    TakeContent(file, fresh, now);
    ++file.version;
    Adopt(rows, file.contentId);
    Save(rows, file);
    if (before != file.contentId) Orphan(rows, before, now);
    return file;
}

FileRow Rename(Rows& rows, const User& user, const std::string& id, const std::string& name) {
    FileRow file = GetLive(rows, user, id);
    if (file.name == name) return file;
    CheckFree(rows, file.parentId, name);
    file.name = name;
    Save(rows, file);
    return file;
}

FileRow Move(Rows& rows, const User& user, const std::string& id, const std::string& parentId) {
    FileRow file = GetLive(rows, user, id);
    const FileRow parent = GetParent(rows, user, parentId);
    if (file.parentId == parentId) return file;
    for (FileRow above = parent;; above = Get(rows, user, above.parentId)) {
        if (above.id == file.id) Conflict("the folder \"" + file.name + "\" cannot move into itself");
        if (above.parentId.empty()) break;
    }
    CheckFree(rows, parentId, file.name);
    const int shift = parent.depth + 1 - file.depth;
    file.parentId = parentId;
    file.depth += shift;
    Save(rows, file);
    ShiftBelow(rows, file, shift);
    return file;
}

void Remove(Rows& rows, const User& user, const std::string& id, std::int64_t now) {
    FileRow file = Get(rows, user, id);
    if (file.deletedAt != 0) return;
    if (file.parentId.empty()) throw Refusal(400, Wire::kBadRequest, "the root folder cannot be deleted");
    const std::string deletion = RandomId(12);
    std::int64_t freed = 0;
    const auto remove = [&](FileRow& gone) {
        gone.deletedAt = now;
        gone.deletion = deletion;
        freed += gone.size;
        Save(rows, gone);
    };
    auto below = file.folder ? Below(rows, file.id) : std::vector<FileRow>();
    std::for_each(below.rbegin(), below.rend(), remove);  // what a folder holds goes before it
    remove(file);
    rows.AddUsed(user.id, -freed);
}

FileRow Restore(Rows& rows, const User& user, const std::string& id) {
    FileRow file = Get(rows, user, id);
    if (file.deletedAt == 0) return file;
    const FileRow parent = GetParent(rows, user, file.parentId);
    CheckFree(rows, file.parentId, file.name);
    // Of what the deletion took, only what lies below this one comes back with it.
    std::vector<FileRow> back;
    std::map<std::string, int> depths{{parent.id, parent.depth}};
    std::int64_t size = 0;
    for (FileRow& gone : rows.OfDeletion(file.deletion)) {
        const auto above = depths.find(gone.parentId);
        if (gone.id != file.id && (above == depths.end() || gone.parentId == parent.id)) continue;
        gone.depth = above->second + 1;
        depths[gone.id] = gone.depth;
        size += gone.size;
        back.push_back(gone);
    }
    CheckSpace(rows, user, size);
    for (FileRow& gone : back) {
        gone.deletedAt = 0;
        gone.deletion.clear();
        Save(rows, gone);
    }
    rows.AddUsed(user.id, size);
    return Get(rows, user, id);
}

void CheckSpace(Rows& rows, const User& user, std::int64_t more) {
    const auto now = rows.UserById(user.id);
    // The sum could be beyond what a number holds: a client names any size.
    if (more > 0 && (!now || more > std::min(now->quota, user.quota) - now->used)) {
        throw Refusal(507, Wire::kQuotaExceeded, "the cloud space is full; delete something or get more space");
    }
}

void Forget(Rows& rows, const FileRow& file, std::int64_t now) {
    rows.DropFile(file.id);
    Orphan(rows, file.contentId, now);
}

}  // namespace Drive::ReferenceCloud::Tree
