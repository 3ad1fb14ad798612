
#include "interfaces/cloud/wire/codes.h"
#include "interfaces/cloud/wire/fields.h"
#include "interfaces/cloud/wire/routes.h"
#include "reference_cloud/address_signature.h"
#include "reference_cloud/cloud.h"
#include "reference_cloud/content_source.h"
#include "reference_cloud/crypto.h"
#include "reference_cloud/fields.h"
#include "reference_cloud/refusal.h"
#include "reference_cloud/router.h"
#include "reference_cloud/routes.h"
#include "reference_cloud/text.h"

namespace Drive::ReferenceCloud {

namespace Wire = Drive::Cloud::Wire;

namespace {

std::string LowerDigestHeader() {
    std::string name = Wire::kObjectDigestHeader;
    for (char& character : name) character = static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
    return name;
}

/// Checks signature and time; gives back what was signed.
SignedRequest CheckAddress(const Cloud& cloud, const Request& request) {
    SignedRequest given;
    given.method = request.method == "HEAD" ? "GET" : request.method;
    given.path = request.path;
    given.expires = ParseNumber(request.Query(Wire::kExpires)).value_or(0);
    if (given.method == "PUT") {
        given.sha256 = request.Header(LowerDigestHeader());
        given.md5 = ToHex(FromBase64(request.Header("content-md5")).value_or(""));
        given.length = request.contentLength;
    }
    if (!IsSigned(given, request.Query(Wire::kSignature), cloud.secrets.AddressKey())) {
        throw Refusal(403, Wire::kForbidden, "the signature does not fit this request; ask for a new address");
    }
    if (given.expires < cloud.now()) throw Refusal(403, Wire::kForbidden, "the address has expired; ask for a new one");
    return given;
}

/// Takes one object. Nothing is left behind unless all of it came and has the digest that was signed.
class PutHandler : public Handler {
public:
    PutHandler(Cloud& cloud, const Request& request)
        : cloud_(cloud),
          signed_(CheckAddress(cloud, request)),
          objectId_(request.segments.at("object")),
          writer_(cloud.objects->Create()) {}

    void Data(std::string_view bytes) override {
        received_ += static_cast<std::int64_t>(bytes.size());
        if (received_ > signed_.length) throw Refusal(400, Wire::kBadRequest, "more bytes came than were signed");
        sha256_.Add(bytes), md5_.Add(bytes);
        writer_->Append(bytes);
    }

    Response Finish() override {
        if (received_ != signed_.length || sha256_.Hex() != signed_.sha256 || md5_.Hex() != signed_.md5) {
            throw Refusal(400, Wire::kBadRequest, "length or digest of the object is not what was signed");
        }
        const std::string blob = writer_->Commit();
        std::string spare = blob;
        try {
            cloud_.metadata->Change([&](Rows& rows) { spare = Note(rows, blob); });
        } catch (const Refusal&) {
            cloud_.objects->Remove(blob);
            throw;
        }  // After any other failure the row may stand all the same: what no row names goes at the next start.
        cloud_.objects->Remove(spare);
        return Answer();
    }

private:
    /// Writes the object's row; gives back the blob that nobody needs then.
    std::string Note(Rows& rows, const std::string& blob) {
        auto object = rows.ObjectById(objectId_);
        if (!object) throw Refusal(404, Wire::kRecordLost, "this upload is not there any more; start it over");
        if (object->uploadId.empty()) {  // the file is made already: a repeated request
            if (object->sha256 == signed_.sha256) return blob;
            throw Refusal(409, Wire::kConflict, "the object is part of a file and cannot be changed");
        }
        const std::string before = object->blob;
        object->blob = blob;
        object->sha256 = signed_.sha256;
        object->md5 = signed_.md5;
        object->state = std::max<int>(object->state, StoredObject::stored);
        rows.PutObject(*object);
        return before;
    }

    Response Answer() const {
        Json::Value answer(Json::objectValue);
        answer[Wire::kSha256] = signed_.sha256;
        answer[Wire::kMd5] = signed_.md5;
        answer[Wire::kLength] = Json::Int64(signed_.length);
        Response response = JsonResponse(answer);
        response.headers[Wire::kObjectDigestHeader] = signed_.sha256;
        response.headers["ETag"] = "\"" + signed_.md5 + "\"";
        return response;
    }

    Cloud& cloud_;
    const SignedRequest signed_;
    const std::string objectId_;
    const std::unique_ptr<ObjectWriter> writer_;
    Digest sha256_ = Digest::Sha256();
    Digest md5_ = Digest::Md5();
    std::int64_t received_ = 0;
};

[[noreturn]] void NoObject() { throw Refusal(404, Wire::kNotFound, "the object is not there any more"); }

Response Get(Cloud& cloud, const Request& request) {
    CheckAddress(cloud, request);
    const auto object = cloud.Read([&](Rows& rows) { return rows.ObjectById(request.segments.at("object")); });
    if (!object || object->blob.empty()) NoObject();
    const auto reader = cloud.objects->Open(object->blob);
    if (!reader) NoObject();
    Response response = RangedResponse(request, object->length, [&] { return std::make_shared<ObjectSource>(reader); });
    if (response.status != 416) {
        response.headers["Content-Type"] = "application/octet-stream";
        response.headers[Wire::kObjectDigestHeader] = object->sha256;
        response.headers["ETag"] = "\"" + object->md5 + "\"";
    }
    return response;
}

Response DownloadAddress(Cloud& cloud, const Request& request, const Json::Value& body) {
    const std::string id = NeededText(body, Wire::kObjectId);
    const auto object = cloud.Read([&](Rows& rows) { return rows.ObjectById(id); });
    const std::string bucket = TextField(body, Wire::kBucketId);
    if (!object || object->userId != request.user.id || object->contentId.empty() ||
        (!bucket.empty() && bucket != request.user.bucket)) {
        NoObject();
    }
    const SignedRequest get{
        "GET", Wire::kStorePrefix + request.user.bucket + "/" + id, cloud.now() + cloud.settings.addressSeconds, "", "",
        0};
    Json::Value answer(Json::objectValue);
    answer[Wire::kUrl] = request.baseUrl + get.path + SignedQuery(get, cloud.secrets.AddressKey());
    answer[Wire::kHeaders]["Accept"] = "application/octet-stream";
    return JsonResponse(answer);
}

}  // namespace

void AddStoreRoutes(Router& router, Cloud& cloud) {
    const std::string object = std::string(Wire::kStorePrefix) + "{bucket}/{object}";
    router.Add("PUT", object, Router::Access::open,
               [&cloud](const Request& request) { return std::make_unique<PutHandler>(cloud, request); });
    router.AddPlain("GET", object, Router::Access::open,
                    [&cloud](const Request& request) { return Get(cloud, request); });
    router.AddJson(
        "POST", Wire::kDownloadAddress, Router::Access::token,
        [&cloud](const Request& request, const Json::Value& body) { return DownloadAddress(cloud, request, body); });
}

}  // namespace Drive::ReferenceCloud
