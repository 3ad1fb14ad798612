#include "reference_cloud/completion.h"

#include <algorithm>

#include "interfaces/cloud/wire/codes.h"
#include "interfaces/cloud/wire/fields.h"
#include "interfaces/cloud/wire/key_digest.h"
#include "reference_cloud/attached_thumbnail.h"
#include "reference_cloud/cloud.h"
#include "reference_cloud/cloud_name.h"
#include "reference_cloud/crypto.h"
#include "reference_cloud/fields.h"
#include "reference_cloud/http_message.h"
#include "reference_cloud/media_type.h"
#include "reference_cloud/refusal.h"
#include "reference_cloud/text.h"
#include "reference_cloud/tree.h"

namespace Drive::ReferenceCloud {

namespace Wire = Drive::Cloud::Wire;

namespace {

[[noreturn]] void Bad(const std::string& text) { throw Refusal(400, Wire::kBadRequest, text); }
[[noreturn]] void Missing(const char* text) { throw Refusal(409, Wire::kObjectsMissing, text); }

/// The one object list of the body, null when there is none.
Json::Value ObjectList(const Json::Value& body) {
    const Json::Value lists = ArrayField(body, Wire::kObjectInfoList);
    if (lists.empty()) return Json::nullValue;
    if (lists.size() != 1 || !lists[0].isObject()) Bad("\"objectInfoList\" must hold one object");
    return lists[0];
}

std::vector<std::string> ObjectIds(const Json::Value& list) {
    std::vector<std::string> ids;
    if (list.isNull()) return ids;
    for (const Json::Value& id : ArrayField(list, Wire::kObjectIds)) {
        if (!id.isString()) Bad("\"objectIds\" must hold texts");
        ids.push_back(id.asString());
    }
    return ids;
}

/// The ids must be exactly these, in order.
void CheckIds(const std::vector<std::string>& ids, const std::vector<StoredObject>& objects) {
    const bool same = std::equal(ids.begin(), ids.end(), objects.begin(), objects.end(),
                                 [](const std::string& id, const StoredObject& object) { return id == object.id; });
    if (!same) Missing("these are not the objects of the plan; start the upload over");
}

/// Names of the attachments; a list that is there must have the plan's sizes.
std::string AttachmentNames(const Json::Value& list, const Upload& upload) {
    Json::Value names(Json::arrayValue);
    const Json::Value given = list.isNull() ? Json::Value(Json::arrayValue) : ArrayField(list, Wire::kAttachmentList);
    if (given.empty()) {  // a resumed upload whose last object went earlier has no list
        static const char* const usual[] = {"small", "large"};
        for (std::size_t index = 0; index < upload.attachments.size(); ++index) {
            names.append(index < 2 ? usual[index] : std::to_string(index));
        }
        return JsonText(names);
    }
    if (given.size() != upload.attachments.size()) Bad("\"attachmentList\" does not fit the plan");
    for (Json::ArrayIndex index = 0; index < given.size(); ++index) {
        if (!given[index].isObject() || NumberField(given[index], Wire::kLength, -1) != upload.attachments[index]) {
            Bad("\"attachmentList\" does not fit the plan");
        }
        names.append(NeededText(given[index], Wire::kName));
    }
    return JsonText(names);
}

/// The wrapped keys as the download answer shows them, the one of type "1" first.
std::string Keys(const Json::Value& body) {
    Json::Value first, others(Json::arrayValue);
    for (const Json::Value& given : ArrayField(body, Wire::kEncFekList)) {
        if (!given.isObject()) Bad("\"encFekList\" must hold objects");
        const std::int64_t type = NumberField(given, Wire::kKeyType, 0);
        const std::string iv = TextField(given, Wire::kIv);
        if (type != 1 && type != 3) Bad("\"keyType\" must be 1 or 3");
        if (!FromHex(iv) || iv.size() != 32) Bad("\"iv\" must be 32 hexadecimal digits");
        Json::Value key(Json::objectValue);
        key[Wire::kEfek] = NeededText(given, Wire::kEfek);
        key[Wire::kIv] = iv;
        key[Wire::kKeyType] = std::to_string(type);
        key[Wire::kKeyUid] = ShortText(given, Wire::kKeyUid);
        key[Wire::kEncryptAlgorithm] = NeededText(given, Wire::kEncryptAlgorithm);
        type == 1 && first.isNull() ? first = key : others.append(key);
    }
    if (first.isNull()) Bad("\"encFekList\" needs a wrapped key of type 1");
    Json::Value keys(Json::arrayValue);
    keys.append(first);
    for (const Json::Value& key : others) keys.append(key);
    return JsonText(keys);
}

/// The first wrapped key must be the one that the start told of: the objects have that one. The text that it opens to
/// is the key in hexadecimal, whose digest the start gave.
void CheckKey(const Cloud& cloud, const User& user, const Upload& upload, const std::string& keys) {
    if (upload.keyDigest.empty()) return;
    const Json::Value first = (*ParseJson(keys))[0];
    const auto key = OpenFileKey(first[Wire::kEfek].asString(), cloud.secrets.OpenContentKey(user.sealedKey1));
    const std::string iv = ToHex(*FromHex(first[Wire::kIv].asString()));
    if (!key || Sha256Hex(Wire::kKeyDigestLabel + ToHex(*key) + iv) != upload.keyDigest) {
        throw Refusal(409, Wire::kConflict, "the wrapped key is not the one of the start; start the upload over");
    }
}

/// The content out of the plan's objects.
Content TakeObjects(Rows& rows, const Cloud& cloud, const User& user, const Upload& upload, const Json::Value& body,
                    std::int64_t now) {
    const Json::Value list = ObjectList(body);
    const auto ids = ObjectIds(list);
    const auto objects = rows.ObjectsOfUpload(upload.cursor);
    if (ids.empty() && upload.size > 0) Bad("the object list is empty");
    CheckIds(ids, objects);
    const auto absent = [](const StoredObject& object) { return object.state < StoredObject::stored; };
    if (std::any_of(objects.begin(), objects.end(), absent)) Missing("objects of the plan are not in the store");
    Content content;
    content.userId = user.id;
    content.size = upload.size;
    content.sha256 = upload.sha256;
    content.md5 = DigestField(body, Wire::kMd5, 32);
    if (upload.size == 0) return content;
    content.id = RandomId(12);
    content.encrypted = true;
    content.bucket = upload.bucket;
    content.sliceSize = upload.sliceSize;
    content.keys = Keys(body);
    CheckKey(cloud, user, upload, content.keys);
    content.attachments = upload.attachments;
    content.attachmentNames = AttachmentNames(list, upload);
    content.created = now;
    rows.PutContent(content);
    rows.GiveObjects(upload.cursor, content.id);
    return content;
}

/// The content that an "exist" plan named. Its keys stay as they are: they open its objects.
Content TakeExisting(Rows& rows, const Upload& upload, const Json::Value& body) {
    const auto content = rows.ContentById(upload.existContent);
    if (!content) Missing("the content is not there any more; start the upload over");
    const auto ids = ObjectIds(ObjectList(body));
    if (!ids.empty()) CheckIds(ids, rows.ObjectsOfContent(content->id));
    return *content;
}

void CheckPlan(const Upload& upload, bool createNew, const Json::Value& body) {
    if (upload.type == "server") Bad("this upload goes by the file proxy");
    if (createNew != upload.fileId.empty()) Bad("create and update are not the same; use the call of the plan");
    if (DigestField(body, Wire::kSha256, 64) != upload.sha256 ||
        NumberField(body, Wire::kSize, upload.size) != upload.size) {
        throw Refusal(409, Wire::kConflict, "digest or size is not that of the start; start the upload over");
    }
}

}  // namespace

FileRow CompleteUpload(Rows& rows, const Cloud& cloud, const User& user, bool createNew, const Json::Value& body) {
    auto upload = rows.UploadByCursor(NeededText(body, Wire::kRecordCursor));
    if (!upload || upload->userId != user.id) Missing("this upload is not there any more; start it over");
    if (!upload->resultFile.empty()) return Tree::Get(rows, user, upload->resultFile);
    CheckPlan(*upload, createNew, body);

    const std::int64_t now = cloud.now();
    Tree::NewContent fresh;
    fresh.content = upload->type == "exist" ? TakeExisting(rows, *upload, body)
                                            : TakeObjects(rows, cloud, user, *upload, body, now);
    const bool named = !TextField(body, Wire::kFileName).empty();
    const std::string name = named ? NameField(body, Wire::kFileName) : upload->name;
    fresh.mimeType = ShortText(body, Wire::kMimeType);
    if (fresh.mimeType.empty()) fresh.mimeType = upload->mimeType.empty() ? MediaTypeOf(name) : upload->mimeType;
    fresh.created = TimeField(body, Wire::kCreatedTime);
    fresh.edited = TimeField(body, Wire::kEditedTime);

    FileRow file;
    if (createNew) {
        const std::string parent = TextOrSingle(body, Wire::kParentFolder);
        file = Tree::AddFile(rows, user, parent.empty() ? upload->parentId : parent, name, fresh, now);
    } else {
        file = Tree::GetLive(rows, user, upload->fileId);
        const std::string version = TextField(body, Wire::kContentVersion);
        if (!version.empty() && version != std::to_string(file.version)) {
            throw Refusal(409, Wire::kConflict,
                          "\"" + file.name + "\" has a newer content in the cloud; fetch it first");
        }
        file = Tree::ReplaceContent(rows, user, file, fresh, now);
    }
    upload->resultFile = file.id;
    upload->touched = now;
    rows.PutUpload(*upload);
    return file;
}

}  // namespace Drive::ReferenceCloud
