#include "reference_cloud/uploads.h"

#include <fnmatch.h>

#include <algorithm>
#include <atomic>
#include <chrono>

#include "interfaces/cloud/wire/codes.h"
#include "reference_cloud/cloud.h"
#include "reference_cloud/crypto.h"
#include "reference_cloud/refusal.h"
#include "reference_cloud/tree.h"
#include "reference_cloud/upload_plan.h"

namespace Drive::ReferenceCloud::Uploads {

namespace Wire = Drive::Cloud::Wire;

namespace {

constexpr std::int64_t kMostObjects = 100000;
constexpr std::int64_t kTouchEvery = 3600;  // seconds

/// Milliseconds since the epoch, never the same twice: far below 2^53 and never 0.
std::int64_t NewVersion() {
    static std::atomic<std::int64_t> last{0};
    using namespace std::chrono;
    const std::int64_t now = duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
    std::int64_t before = last.load();
    while (!last.compare_exchange_weak(before, std::max(before + 1, now))) {
    }
    return std::max(before + 1, now);
}

/// Refuses what cannot end well; gives back the file's name.
std::string CheckTarget(Rows& rows, const User& user, const StartRequest& request) {
    std::int64_t before = 0;
    std::string name = request.name;
    if (!request.fileId.empty()) {
        const FileRow file = Tree::GetLive(rows, user, request.fileId);
        if (file.folder) throw Refusal(409, Wire::kConflict, "\"" + file.name + "\" is a folder");
        before = file.size;
        name = file.name;
    } else {
        Tree::GetParent(rows, user, request.parentId);
        const auto there = rows.LiveChild(request.parentId, request.name);
        if (there && (there->folder || there->sha256 != request.sha256 || there->size != request.size)) {
            throw Refusal(409, Wire::kConflict,
                          "the folder already holds something else named \"" + request.name + "\"; rename one of them");
        }
        if (there) before = there->size;
    }
    Tree::CheckSpace(rows, user, request.size - before);
    return name;
}

std::string ChooseType(const Cloud& cloud, const User& user, const std::string& name) {
    for (const auto& pattern : cloud.settings.serverPatterns) {
        if (::fnmatch(pattern.c_str(), name.c_str(), 0) == 0) return "server";
    }
    return user.uploadType.empty() ? cloud.settings.uploadType : user.uploadType;
}

/// Objects of two keys must never come together in one file: no key would open all of them. A file that is edited
/// between the digest that gives its key and the digest that stands in the start is sent under a key that no later
/// attempt forms again, so the content alone does not tell that what was sent earlier still fits.
bool SameKey(const Upload& upload, const StartRequest& request, const std::string& type) {
    return type != "client" || upload.keyDigest == request.keyDigest;
}

bool SameUpload(const Upload& upload, const User& user, const StartRequest& request, const std::string& type) {
    return upload.userId == user.id && upload.resultFile.empty() && upload.type == type &&
           upload.fileId == request.fileId && upload.parentId == request.parentId && upload.name == request.name &&
           upload.size == request.size && upload.sha256 == request.sha256 &&
           upload.attachments == request.attachments && SameKey(upload, request, type);
}

void Drop(Rows& rows, const Upload& upload, std::vector<std::string>& blobs) {
    for (const StoredObject& object : rows.ObjectsOfUpload(upload.cursor)) {
        if (!object.blob.empty()) blobs.push_back(object.blob);
        rows.DropObject(object.id);
    }
    rows.DropUpload(upload.cursor);
}

std::optional<Upload> FindAgain(Rows& rows, const User& user, const StartRequest& request, const std::string& type,
                                std::vector<std::string>& dropped) {
    const auto named = request.recordCursor.empty() ? std::nullopt : rows.UploadByCursor(request.recordCursor);
    if (named && SameUpload(*named, user, request, type)) return named;
    // The client has moved on from this one: another content, another key, another place.
    if (named && named->userId == user.id && named->resultFile.empty()) Drop(rows, *named, dropped);
    for (const Upload& open : rows.OpenUploads(user.id, request.fileId, request.parentId, request.name)) {
        if (SameUpload(open, user, request, type)) return open;
    }
    return std::nullopt;
}

Upload NewUpload(const Cloud& cloud, const User& user, const StartRequest& request, const std::string& type) {
    Upload upload;
    upload.cursor = RandomId(16);
    upload.userId = user.id;
    upload.type = type;
    upload.fileId = request.fileId;
    upload.parentId = request.parentId;
    upload.name = request.name;
    upload.size = request.size;
    upload.sha256 = request.sha256;
    upload.mimeType = request.mimeType;
    upload.attachments = request.attachments;
    upload.bucket = user.bucket;
    upload.sliceSize = type == "server" ? cloud.settings.proxySliceSize : cloud.settings.sliceSize;
    upload.version = NewVersion();
    upload.touched = cloud.now();
    upload.keyDigest = request.keyDigest;
    return upload;
}

std::vector<StoredObject> PutPlanned(Rows& rows, const Upload& upload, std::int64_t now) {
    std::vector<StoredObject> objects;
    for (const PlannedObject& planned : PlanObjects(upload.size, upload.sliceSize, upload.attachments)) {
        StoredObject object;
        object.id = RandomId(16);
        object.userId = upload.userId;
        object.uploadId = upload.cursor;
        object.index = static_cast<std::int64_t>(objects.size());
        object.attachment = planned.attachment;
        object.length = planned.length;
        object.syncKey = RandomId(8);
        object.time = std::to_string(now);
        rows.PutObject(object);
        objects.push_back(object);
    }
    return objects;
}

void Touch(Rows& rows, Upload upload, std::int64_t now) {
    if (now - upload.touched < kTouchEvery) return;
    upload.touched = now;
    rows.PutUpload(upload);
}

}  // namespace

Plan Start(Rows& rows, const Cloud& cloud, const User& user, const StartRequest& request) {
    const std::string name = CheckTarget(rows, user, request);
    Plan plan;
    const auto content = request.sha256.empty() || request.size == 0
                             ? std::nullopt
                             : rows.ContentByDigest(user.id, request.sha256, request.size);
    const std::string type = content ? "exist" : ChooseType(cloud, user, name);
    if (type == "client" && request.sha256.empty()) throw Refusal(400, Wire::kBadRequest, "\"sha256\" must be there");
    if (type == "client" && request.size / cloud.settings.sliceSize >= kMostObjects) {
        throw Refusal(413, Wire::kTooLarge, "the file is too large for this cloud");
    }
    const auto again = FindAgain(rows, user, request, type, plan.dropped);
    if (again && (!content || again->existContent == content->id)) {
        plan.upload = *again;
        plan.objects = rows.ObjectsOfUpload(again->cursor);
        Touch(rows, plan.upload, cloud.now());
    } else {
        plan.upload = NewUpload(cloud, user, request, type);
        if (content) plan.upload.existContent = content->id;
        rows.PutUpload(plan.upload);
        if (type == "client") plan.objects = PutPlanned(rows, plan.upload, cloud.now());
    }
    if (content && content->encrypted) {
        plan.objects = rows.ObjectsOfContent(content->id);
        plan.upload.sliceSize = content->sliceSize;
    }
    return plan;
}

PlannedPut FindPlanned(Rows& rows, const User& user, const std::string& cursor, const std::string& objectId) {
    const auto upload = rows.UploadByCursor(cursor);
    const auto object = rows.ObjectById(objectId);
    const bool own = upload && upload->userId == user.id && upload->resultFile.empty() && upload->type == "client";
    if (!own || !object || object->uploadId != cursor) {
        throw Refusal(404, Wire::kRecordLost, "this upload is not there any more; start it over");
    }
    return {*upload, *object};
}

void Confirm(Rows& rows, const User& user, const std::string& cursor, const std::string& objectId, std::int64_t now) {
    auto [upload, object] = FindPlanned(rows, user, cursor, objectId);
    if (object.state < StoredObject::stored) {
        throw Refusal(409, Wire::kObjectsMissing, "the object is not in the store; send it first");
    }
    object.state = StoredObject::confirmed;
    rows.PutObject(object);
    Touch(rows, upload, now);
}

std::int64_t Held(Rows& rows, const Upload& upload) {
    std::int64_t held = 0;
    for (const StoredObject& piece : rows.ObjectsOfUpload(upload.cursor)) held += piece.length;
    return held;
}

FileRow FinishServer(Rows& rows, const User& user, Upload upload, const std::string& sha256, const std::string& md5,
                     const std::string& mimeType, std::int64_t now) {
    Tree::NewContent fresh;
    Content& content = fresh.content;
    content.userId = user.id;
    content.size = upload.size;
    content.sha256 = sha256;
    content.md5 = md5;
    content.bucket = user.bucket;
    content.created = now;
    if (upload.size > 0) {
        content.id = RandomId(12);
        rows.PutContent(content);
        rows.GiveObjects(upload.cursor, content.id);
    }
    fresh.mimeType = upload.mimeType.empty() ? mimeType : upload.mimeType;
    const FileRow file = upload.fileId.empty()
                             ? Tree::AddFile(rows, user, upload.parentId, upload.name, fresh, now)
                             : Tree::ReplaceContent(rows, user, Tree::GetLive(rows, user, upload.fileId), fresh, now);
    upload.resultFile = file.id;
    upload.touched = now;
    rows.PutUpload(upload);
    return file;
}

}  // namespace Drive::ReferenceCloud::Uploads
