#include "interfaces/cloud/wire/codes.h"
#include "interfaces/cloud/wire/fields.h"
#include "interfaces/cloud/wire/routes.h"
#include "reference_cloud/address_signature.h"
#include "reference_cloud/cloud.h"
#include "reference_cloud/completion.h"
#include "reference_cloud/entry.h"
#include "reference_cloud/fields.h"
#include "reference_cloud/refusal.h"
#include "reference_cloud/router.h"
#include "reference_cloud/routes.h"
#include "reference_cloud/text.h"
#include "reference_cloud/upload_plan.h"
#include "reference_cloud/uploads.h"

namespace Drive::ReferenceCloud {

namespace Wire = Drive::Cloud::Wire;

namespace {

constexpr const char* kLocalMark = "Local";  // ids that a client made up itself
constexpr std::int64_t kLargestAttachment = 1LL << 31;
constexpr Json::ArrayIndex kMostAttachments = 16;  // their sizes come back in every list

Uploads::StartRequest ReadStart(const Json::Value& body) {
    Uploads::StartRequest start;
    start.fileId = TextField(body, Wire::kFileId);
    if (start.fileId.rfind(kLocalMark, 0) == 0) start.fileId.clear();
    if (start.fileId.empty()) {
        start.name = NameField(body, Wire::kFileName);
        start.parentId = TextOrSingle(body, Wire::kParentFolder);
    }
    if (!body[Wire::kSize].isInt64()) throw Refusal(400, Wire::kBadRequest, "\"size\" must be there");
    start.size = NumberField(body, Wire::kSize, 0);
    start.sha256 = DigestField(body, Wire::kSha256, 64);
    start.mimeType = ShortText(body, Wire::kMimeType);
    start.recordCursor = TextField(body, Wire::kRecordCursor);
    start.keyDigest = DigestField(body, Wire::kKeyDigest, 64);
    const Json::Value attachments = ArrayField(body, Wire::kAttachmentSize);
    if (attachments.size() > kMostAttachments) {
        throw Refusal(400, Wire::kBadRequest, "a file has at most 16 attachments");
    }
    for (const Json::Value& size : attachments) {
        if (!size.isInt64() || size.asInt64() < 0 || size.asInt64() >= kLargestAttachment) {
            throw Refusal(400, Wire::kBadRequest, "\"attachmentSize\" must hold byte counts");
        }
        start.attachments.push_back(size.asInt64());
    }
    return start;
}

Json::Value Item(const StoredObject& object, bool exist) {
    Json::Value item(Json::objectValue);
    item[Wire::kObjectId] = object.id;
    item[Wire::kLength] = Json::Int64(object.length);
    item[Wire::kSyncKey] = object.syncKey;
    item[Wire::kTime] = object.time;
    item[Wire::kStatus] = exist || object.state == StoredObject::confirmed;
    return item;
}

Json::Value PlanAnswer(const Uploads::Plan& plan, std::int64_t held, const std::string& baseUrl) {
    const Upload& upload = plan.upload;
    const bool server = upload.type == "server", exist = upload.type == "exist";
    Json::Value answer(Json::objectValue);
    answer[Wire::kUploadType] = upload.type;
    // A server upload has no version: with an equal one the client would go on from its own old position.
    answer[Wire::kVersion] = Json::Int64(server ? 0 : upload.version);
    answer[Wire::kBucketId] = upload.bucket;
    answer[Wire::kRecordCursor] = upload.cursor;
    answer[Wire::kUploadUrl] = server ? baseUrl + Wire::kProxyPrefix + upload.cursor : "";
    answer[Wire::kResumeUrl] = "";
    answer[Wire::kSliceSize] = Json::Int64(upload.sliceSize);
    answer[Wire::kItems] = Json::Value(Json::arrayValue);
    std::vector<bool> there;
    for (const StoredObject& object : plan.objects) {
        if (server) break;
        answer[Wire::kItems].append(Item(object, exist));
        there.push_back(exist || object.state == StoredObject::confirmed);
    }
    const std::int64_t position = server  ? held
                                  : exist ? upload.size
                                          : PlainPosition(there, upload.size, upload.sliceSize);
    answer[Wire::kPosition] = Json::Int64(position);
    return answer;
}

Response Start(Cloud& cloud, const Request& request, const Json::Value& body) {
    if (cloud.migrating()) throw Refusal(403, Wire::kMigrating, "the cloud is being moved; try again later");
    const Uploads::StartRequest start = ReadStart(body);
    Uploads::Plan plan;
    std::int64_t held = 0;
    cloud.metadata->Change([&](Rows& rows) {
        plan = Uploads::Start(rows, cloud, request.user, start);
        if (plan.upload.type == "server") held = Uploads::Held(rows, plan.upload);
    });
    for (const auto& blob : plan.dropped) cloud.objects->Remove(blob);
    return JsonResponse(PlanAnswer(plan, held, request.baseUrl));
}

Response Address(Cloud& cloud, const Request& request, const Json::Value& body) {
    const auto planned = cloud.Read([&](Rows& rows) {
        return std::optional(Uploads::FindPlanned(rows, request.user, TextField(body, Wire::kRecordCursor),
                                                  TextField(body, Wire::kObjectId)));
    });
    const StoredObject& object = planned->object;
    if (NumberField(body, Wire::kLength, -1) != object.length || TextField(body, Wire::kSyncKey) != object.syncKey ||
        TextField(body, Wire::kTime) != object.time) {
        throw Refusal(400, Wire::kBadRequest, "length, synckey or time are not those of the plan");
    }
    SignedRequest put{"PUT",
                      Wire::kStorePrefix + planned->upload.bucket + "/" + object.id,
                      cloud.now() + cloud.settings.addressSeconds,
                      DigestField(body, Wire::kSha256, 64),
                      DigestField(body, Wire::kMd5, 32),
                      object.length};
    if (put.sha256.empty() || put.md5.empty()) {
        throw Refusal(400, Wire::kBadRequest, "both digests of the object must be there");
    }
    Json::Value answer(Json::objectValue);
    answer[Wire::kUrl] = request.baseUrl + put.path + SignedQuery(put, cloud.secrets.AddressKey());
    answer[Wire::kMethod] = put.method;
    answer[Wire::kBucketId] = planned->upload.bucket;
    answer[Wire::kHeaders]["Content-Type"] = "application/octet-stream";
    answer[Wire::kHeaders]["Content-MD5"] = ToBase64(*FromHex(put.md5));
    answer[Wire::kHeaders][Wire::kObjectDigestHeader] = put.sha256;
    return JsonResponse(answer);
}

Response Confirm(Cloud& cloud, const Request& request, const Json::Value& body) {
    cloud.metadata->Change([&](Rows& rows) {
        Uploads::Confirm(rows, request.user, TextField(body, Wire::kRecordCursor), TextField(body, Wire::kObjectId),
                         cloud.now());
    });
    return JsonResponse(Json::Value(Json::objectValue));
}

Response Complete(Cloud& cloud, const Request& request, const Json::Value& body, bool createNew) {
    const FileRow file =
        cloud.Change([&](Rows& rows) { return CompleteUpload(rows, cloud, request.user, createNew, body); });
    return JsonResponse(WithAddress(EntryOf(file), request.baseUrl));
}

}  // namespace

void AddUploadRoutes(Router& router, Cloud& cloud) {
    const auto add = [&](const char* route, std::function<Response(const Request&, const Json::Value&)> answer) {
        router.AddJson("POST", route, Router::Access::token, std::move(answer));
    };
    add(Wire::kUploadStart, [&cloud](const auto& request, const auto& body) { return Start(cloud, request, body); });
    add(Wire::kUploadAddress,
        [&cloud](const auto& request, const auto& body) { return Address(cloud, request, body); });
    add(Wire::kUploadObject, [&cloud](const auto& request, const auto& body) { return Confirm(cloud, request, body); });
    add(Wire::kUploadCreate,
        [&cloud](const auto& request, const auto& body) { return Complete(cloud, request, body, true); });
    add(Wire::kUploadUpdate,
        [&cloud](const auto& request, const auto& body) { return Complete(cloud, request, body, false); });
}

}  // namespace Drive::ReferenceCloud
