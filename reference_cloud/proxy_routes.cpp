#include <algorithm>

#include "interfaces/cloud/wire/codes.h"
#include "interfaces/cloud/wire/fields.h"
#include "interfaces/cloud/wire/routes.h"
#include "reference_cloud/byte_range.h"
#include "reference_cloud/cloud.h"
#include "reference_cloud/entry.h"
#include "reference_cloud/fields.h"
#include "reference_cloud/media_type.h"
#include "reference_cloud/multipart_reader.h"
#include "reference_cloud/proxy_sessions.h"
#include "reference_cloud/refusal.h"
#include "reference_cloud/router.h"
#include "reference_cloud/routes.h"
#include "reference_cloud/text.h"
#include "reference_cloud/tree.h"
#include "reference_cloud/uploads.h"

namespace Drive::ReferenceCloud {

namespace Wire = Drive::Cloud::Wire;

namespace {

[[noreturn]] void Bad(const std::string& text) { throw Refusal(400, Wire::kBadRequest, text); }

struct Session {
    Upload upload;
    std::vector<StoredObject> pieces;
    std::int64_t held = 0;
};

Session FindSession(Rows& rows, const User& user, const std::string& cursor) {
    const auto upload = rows.UploadByCursor(cursor);
    if (!upload || upload->userId != user.id || upload->type != "server") {
        throw Refusal(404, Wire::kNotFound, "this upload session is not there any more; start the upload over");
    }
    Session session{*upload, rows.ObjectsOfUpload(cursor), 0};
    for (const StoredObject& piece : session.pieces) session.held += piece.length;
    return session;
}

Session FindSession(Cloud& cloud, const Request& request) {
    return cloud.Read([&](Rows& rows) { return FindSession(rows, request.user, request.segments.at("session")); });
}

/// A session of a new file is a POST, one of a new version a PATCH.
void CheckMethod(const Request& request, const Upload& upload) {
    if ((request.method == "POST") != upload.fileId.empty()) Bad("POST is for new files, PATCH for new versions");
}

void CheckMetadata(const std::string& text, const Upload& upload) {
    // Names may have lost bytes that JSON cannot carry; only the digest is read.
    const Json::Value metadata = RequestObject(text);
    const std::string digest = TextField(metadata, Wire::kSha256);
    if (!digest.empty() && !upload.sha256.empty() && digest != upload.sha256) {
        throw Refusal(409, Wire::kConflict, "the digest is not that of the start; start the upload over");
    }
}

/// Takes the pieces from `position` on away; gives back the blobs that nobody needs then.
std::vector<std::string> CutPieces(Rows& rows, const std::string& cursor, std::int64_t position) {
    std::vector<std::string> blobs;
    std::int64_t begin = 0;
    for (StoredObject& piece : rows.ObjectsOfUpload(cursor)) {
        const std::int64_t end = begin + piece.length;
        if (begin >= position) {
            blobs.push_back(piece.blob);
            rows.DropObject(piece.id);
        } else if (end > position) {
            piece.length = position - begin;
            rows.PutObject(piece);
        }
        begin = end;
    }
    return blobs;
}

void PutPiece(Rows& rows, const Session& session, std::int64_t length, const std::string& blob) {
    const auto pieces = rows.ObjectsOfUpload(session.upload.cursor);
    StoredObject piece;
    piece.id = RandomId(16);
    piece.userId = session.upload.userId;
    piece.uploadId = session.upload.cursor;
    piece.index = pieces.empty() ? 0 : pieces.back().index + 1;
    piece.length = length;
    piece.blob = blob;
    piece.state = StoredObject::confirmed;
    rows.PutObject(piece);
}

/// What both forms of sending share: one writer, running digests, and the end of the upload.
class ProxyWriter {
public:
    ProxyWriter(Cloud& cloud, ProxySessions& sessions, const Request& request)
        : cloud_(cloud),
          sessions_(sessions),
          request_(request),
          turn_(sessions.Take(request.segments.at("session"))),
          session_(FindSession(cloud, request)) {}

    const Session& Get() const { return session_; }
    bool Done() const { return !session_.upload.resultFile.empty(); }
    std::int64_t Received() const { return received_; }

    /// Bytes go behind the first `position` ones that are held.
    void Open(std::int64_t position) {
        position_ = position;
        if (!Done()) digests_ = sessions_.At(session_.upload.cursor, position, session_.pieces);
        writer_ = cloud_.objects->Create();
    }

    void Append(std::string_view bytes) {
        received_ += static_cast<std::int64_t>(bytes.size());
        if (position_ + received_ > session_.upload.size) {
            throw Refusal(409, Wire::kConflict, "more bytes came than the start told of; start the upload over");
        }
        digests_.Add(bytes);
        if (!Done()) writer_->Append(bytes);
    }

    Response Entry() {
        const FileRow file =
            cloud_.Read([&](Rows& rows) { return Tree::Get(rows, request_.user, session_.upload.resultFile); });
        return JsonResponse(WithAddress(EntryOf(file), request_.baseUrl));
    }

    std::string Digest() const { return digests_.sha256.Hex(); }

    /// Keeps what came as the next piece; makes the file when that was the last one.
    Response Keep() {
        const std::int64_t end = position_ + received_;
        return end == session_.upload.size ? Finish() : KeepPiece(end);
    }

    /// The session starts again from 0; the refusal goes to the client.
    [[noreturn]] void StartAgain(const std::string& why) {
        std::vector<std::string> spare;
        cloud_.metadata->Change([&](Rows& rows) { spare = CutPieces(rows, session_.upload.cursor, 0); });
        RemoveAll(spare);
        sessions_.Forget(session_.upload.cursor);
        Refusal refusal(409, Wire::kConflict, why);
        refusal.position = 0;
        throw refusal;
    }

private:
    void RemoveAll(const std::vector<std::string>& blobs) {
        for (const auto& blob : blobs) cloud_.objects->Remove(blob);
    }

    Response KeepPiece(std::int64_t end) {
        const std::string blob = writer_->Commit();
        std::vector<std::string> spare;
        Change(blob, [&](Rows& rows) {
            Session now = FindSession(rows, request_.user, session_.upload.cursor);
            spare = CutPieces(rows, now.upload.cursor, position_);
            PutPiece(rows, now, received_, blob);
            now.upload.touched = cloud_.now();
            rows.PutUpload(now.upload);
        });
        RemoveAll(spare);
        sessions_.Keep(session_.upload.cursor, end, digests_.Copy());
        Json::Value answer(Json::objectValue);
        answer[Wire::kPosition] = Json::Int64(end);
        return JsonResponse(answer);
    }

    Response Finish() {
        const Upload& upload = session_.upload;
        if (!upload.sha256.empty() && Digest() != upload.sha256) {
            StartAgain("the digest of what came is not that of the start; start the upload over");
        }
        const std::string blob = received_ > 0 ? writer_->Commit() : std::string();
        std::vector<std::string> spare;
        FileRow file;
        // The last piece and the file come into being together: a session never holds all of an unfinished upload.
        Change(blob, [&](Rows& rows) {
            const Session now = FindSession(rows, request_.user, upload.cursor);
            spare = CutPieces(rows, upload.cursor, position_);
            if (received_ > 0) PutPiece(rows, now, received_, blob);
            const std::string name = upload.fileId.empty() ? upload.name : "";
            file = Uploads::FinishServer(rows, request_.user, now.upload, Digest(), digests_.md5.Hex(),
                                         MediaTypeOf(name), cloud_.now());
        });
        RemoveAll(spare);
        sessions_.Forget(upload.cursor);
        return JsonResponse(WithAddress(EntryOf(file), request_.baseUrl));
    }

    /// A transaction; the blob goes when it is refused. After any other failure the row may stand all the same, and
    /// what no row names goes at the next start.
    void Change(const std::string& blob, const std::function<void(Rows&)>& work) {
        try {
            cloud_.metadata->Change(work);
        } catch (const Refusal&) {
            if (!blob.empty()) cloud_.objects->Remove(blob);
            throw;
        }
    }

    Cloud& cloud_;
    ProxySessions& sessions_;
    const Request& request_;
    const std::unique_ptr<ProxySessions::Turn> turn_;
    const Session session_;
    std::unique_ptr<ObjectWriter> writer_;
    RunningDigests digests_;
    std::int64_t position_ = 0;
    std::int64_t received_ = 0;
};

class MultipartHandler : public Handler {
public:
    MultipartHandler(Cloud& cloud, ProxySessions& sessions, const Request& request)
        : writer_(cloud, sessions, request),
          reader_(Boundary(request), [this](std::string_view bytes) { writer_.Append(bytes); }) {
        CheckMethod(request, writer_.Get().upload);
        writer_.Open(0);
    }

    void Data(std::string_view bytes) override {
        if (!reader_.Feed(bytes)) Bad("the body is not a multipart upload of metadata and content");
    }

    Response Finish() override {
        if (!reader_.Finish()) Bad("the multipart body does not end with its closing mark");
        const Upload& upload = writer_.Get().upload;
        CheckMetadata(reader_.Metadata(), upload);
        const bool whole = writer_.Received() == upload.size;
        if (writer_.Done()) {  // a repeated request
            if (whole && (upload.sha256.empty() || writer_.Digest() == upload.sha256)) return writer_.Entry();
            throw Refusal(409, Wire::kConflict, "this upload has ended with another content; start a new one");
        }
        if (!whole) writer_.StartAgain("less came than the start told of; start the upload over");
        return writer_.Keep();
    }

private:
    static std::string Boundary(const Request& request) {
        const auto boundary = BoundaryOf(request.Header("content-type"));
        if (!boundary) Bad("the content type must be multipart/related with a boundary");
        return *boundary;
    }

    ProxyWriter writer_;
    MultipartReader reader_;
};

class SliceHandler : public Handler {
public:
    SliceHandler(Cloud& cloud, ProxySessions& sessions, const Request& request)
        : writer_(cloud, sessions, request), range_(Range(request, writer_.Get().upload)) {
        if (writer_.Done()) return;
        if (request.contentLength == 0) Bad("the slice is empty");
        if (range_.position > writer_.Get().held) {
            Refusal refusal(409, Wire::kConflict, "the slice starts behind what has come so far");
            refusal.position = writer_.Get().held;
            throw refusal;
        }
        writer_.Open(range_.position);
    }

    void Data(std::string_view bytes) override {
        if (!writer_.Done()) writer_.Append(bytes);
    }

    Response Finish() override {
        if (writer_.Done()) return writer_.Entry();  // a repeated request
        if (writer_.Received() == 0) Bad("the slice is empty");
        return writer_.Keep();
    }

private:
    static SliceRange Range(const Request& request, const Upload& upload) {
        const auto range = ParseSliceRange(request.Header("content-range"));
        if (!range || range->size != upload.size) Bad("\"Content-Range\" does not fit the upload");
        return *range;
    }

    ProxyWriter writer_;
    const SliceRange range_;
};

/// 50026 and 50027.
Response Resume(Cloud& cloud, const Request& request, const std::string& body) {
    const Session session = FindSession(cloud, request);
    CheckMethod(request, session.upload);
    if (!body.empty()) CheckMetadata(body, session.upload);
    Json::Value answer(Json::objectValue);
    answer[Wire::kResumeUrl] = request.baseUrl + Wire::kProxyPrefix + session.upload.cursor;
    answer[Wire::kSliceSize] = Json::Int64(session.upload.sliceSize);
    answer[Wire::kPosition] = Json::Int64(session.held);
    return JsonResponse(answer);
}

std::unique_ptr<Handler> Open(Cloud& cloud, ProxySessions& sessions, const Request& request) {
    static constexpr std::size_t metadataLimit = 64 * 1024;
    const std::string& type = request.Query(Wire::kProxyUploadType);
    if (request.method == "PUT" && type.empty()) return std::make_unique<SliceHandler>(cloud, sessions, request);
    if (request.method != "PUT" && type == Wire::kProxyMultipart) {
        return std::make_unique<MultipartHandler>(cloud, sessions, request);
    }
    if (request.method != "PUT" && type == Wire::kProxyResume) {
        return SmallBody(metadataLimit,
                         [&cloud, &request](std::string&& body) { return Resume(cloud, request, body); });
    }
    Bad("the file proxy knows no such upload type");
}

}  // namespace

void AddProxyRoutes(Router& router, Cloud& cloud) {
    const auto sessions = std::make_shared<ProxySessions>(cloud);
    for (const char* method : {"POST", "PATCH", "PUT"}) {
        router.Add(method, std::string(Wire::kProxyPrefix) + "{session}", Router::Access::token,
                   [&cloud, sessions](const Request& request) { return Open(cloud, *sessions, request); });
    }
}

}  // namespace Drive::ReferenceCloud
