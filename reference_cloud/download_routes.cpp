#include "interfaces/cloud/wire/codes.h"
#include "interfaces/cloud/wire/fields.h"
#include "interfaces/cloud/wire/routes.h"
#include "reference_cloud/attached_thumbnail.h"
#include "reference_cloud/cloud.h"
#include "reference_cloud/content_source.h"
#include "reference_cloud/refusal.h"
#include "reference_cloud/router.h"
#include "reference_cloud/routes.h"
#include "reference_cloud/thumbnail.h"
#include "reference_cloud/tree.h"

namespace Drive::ReferenceCloud {

namespace Wire = Drive::Cloud::Wire;

namespace {

struct Held {
    FileRow file;
    std::optional<Content> content;
    std::vector<StoredObject> objects;
};

Held Look(Cloud& cloud, const Request& request) {
    Held held;
    cloud.metadata->Read([&](Rows& rows) {
        held.file = Tree::Get(rows, request.user, request.segments.at("id"));
        if (held.file.deletedAt != 0 || held.file.folder) {
            throw Refusal(404, Wire::kNotFound, "\"" + held.file.name + "\" is a folder or was deleted");
        }
        held.content = rows.ContentById(held.file.contentId);
        if (held.content) held.objects = rows.ObjectsOfContent(held.content->id);
    });
    return held;
}

Json::Value Attribute(const std::string& name, std::int64_t size) {
    Json::Value attribute(Json::objectValue);
    attribute[Wire::kName] = name;
    attribute[Wire::kSize] = Json::Int64(size);
    return attribute;
}

Json::Value ObjectList(const Held& held) {
    Json::Value list(Json::objectValue);
    list[Wire::kBucketId] = held.content->bucket;
    list[Wire::kTime] = std::to_string(held.content->created);
    list[Wire::kObjectIds] = list[Wire::kSyncKeys] = Json::Value(Json::arrayValue);
    std::int64_t longest = 0;
    for (const StoredObject& object : held.objects) {
        if (object.attachment) continue;
        list[Wire::kObjectIds].append(object.id);
        list[Wire::kSyncKeys].append(object.syncKey);
        longest = std::max(longest, object.length);
    }
    list[Wire::kLength] = Json::Int64(longest);
    list[Wire::kAttributes].append(Attribute("", held.content->size));
    const auto names = ParseJson(held.content->attachmentNames).value_or(Json::Value(Json::arrayValue));
    for (Json::ArrayIndex index = 0; index < names.size() && index < held.content->attachments.size(); ++index) {
        list[Wire::kAttributes].append(Attribute(names[index].asString(), held.content->attachments[index]));
    }
    return list;
}

Response DownloadInfo(Cloud& cloud, const Request& request) {
    const Held held = Look(cloud, request);
    Json::Value answer(Json::objectValue);
    answer[Wire::kFileId] = held.file.id;
    answer[Wire::kFileName] = held.file.name;
    answer[Wire::kSize] = Json::Int64(held.file.size);
    answer[Wire::kSha256] = held.file.sha256;
    answer[Wire::kContentVersion] = std::to_string(held.file.version);
    answer[Wire::kRecordCursor] = "d" + held.file.id + "." + std::to_string(held.file.version);
    answer[Wire::kEncFekList] = answer[Wire::kObjectInfoList] = Json::Value(Json::arrayValue);
    answer[Wire::kDownloadUrl] = "";
    if (held.content && held.content->encrypted) {
        answer[Wire::kEncFekList] = ParseJson(held.content->keys).value_or(Json::Value(Json::arrayValue));
        answer[Wire::kObjectInfoList].append(ObjectList(held));
    } else {
        answer[Wire::kDownloadUrl] = request.baseUrl + Wire::kFilePrefix + held.file.id + Wire::kContentSuffix;
    }
    return JsonResponse(answer);
}

Response PlainContent(Cloud& cloud, const Request& request) {
    const Held held = Look(cloud, request);
    if (held.content && held.content->encrypted) {
        throw Refusal(409, Wire::kConflict, "\"" + held.file.name + "\" is held encrypted; fetch its objects");
    }
    if (held.file.size > 0 && held.objects.empty()) throw std::runtime_error("a content has no objects");
    Response response = RangedResponse(request, held.file.size,
                                       [&] { return std::make_shared<PiecesSource>(*cloud.objects, held.objects); });
    if (response.status != 416) {
        response.headers["Content-Type"] = held.file.mimeType;
        response.headers["ETag"] = "\"" + held.file.id + "." + std::to_string(held.file.version) + "\"";
    }
    return response;
}

Response Thumbnail(Cloud& cloud, const Request& request) {
    const Held held = Look(cloud, request);
    std::string jpeg;
    if (held.content && held.content->encrypted) {
        jpeg = OpenThumbnail(cloud, request.user, *held.content, held.objects);
    } else if (held.content && held.file.category == "image") {
        jpeg = MakeThumbnail(*cloud.objects, held.objects);
    }
    if (jpeg.empty()) throw Refusal(404, Wire::kNotFound, "there is no thumbnail of \"" + held.file.name + "\"");
    Response response;
    response.headers["Content-Type"] = "image/jpeg";
    response.text = jpeg;
    return response;
}

}  // namespace

void AddDownloadRoutes(Router& router, Cloud& cloud) {
    const std::string one = std::string(Wire::kFilePrefix) + "{id}";
    const auto add = [&](const std::string& suffix, Response (*answer)(Cloud&, const Request&)) {
        router.AddPlain("GET", one + suffix, Router::Access::token,
                        [&cloud, answer](const Request& request) { return answer(cloud, request); });
    };
    add(Wire::kDownloadSuffix, DownloadInfo);
    add(Wire::kContentSuffix, PlainContent);
    add(Wire::kThumbnailSuffix, Thumbnail);
}

}  // namespace Drive::ReferenceCloud
