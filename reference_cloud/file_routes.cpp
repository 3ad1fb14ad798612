#include <limits>

#include "interfaces/cloud/wire/codes.h"
#include "interfaces/cloud/wire/fields.h"
#include "interfaces/cloud/wire/routes.h"
#include "reference_cloud/cloud.h"
#include "reference_cloud/entry.h"
#include "reference_cloud/fields.h"
#include "reference_cloud/media_type.h"
#include "reference_cloud/refusal.h"
#include "reference_cloud/router.h"
#include "reference_cloud/routes.h"
#include "reference_cloud/text.h"
#include "reference_cloud/tree.h"

namespace Drive::ReferenceCloud {

namespace Wire = Drive::Cloud::Wire;

namespace {

constexpr int kMostItems = 1000;

/// A place in a list: where the page ends, and the state of the changes at the first page.
struct ListCursor {
    int depth = 0;
    std::string id;
    std::int64_t changes = -1;
};

[[noreturn]] void RefuseCursor() {
    throw Refusal(400, Wire::kBadRequest, "this cursor was not given by this cloud; list the files again");
}

std::string WriteCursor(const ListCursor& cursor) {
    return std::to_string(cursor.changes) + "." + std::to_string(cursor.depth) + "." + cursor.id;
}

ListCursor ReadCursor(const std::string& text) {
    ListCursor cursor;
    if (text.empty()) return cursor;
    const std::size_t first = text.find('.'), second = text.find('.', first + 1);
    const auto changes = ParseNumber(text.substr(0, first));
    const auto depth =
        second == std::string::npos ? std::nullopt : ParseNumber(text.substr(first + 1, second - first - 1));
    if (!changes || !depth || *depth > std::numeric_limits<int>::max()) RefuseCursor();
    cursor.changes = *changes;
    cursor.depth = static_cast<int>(*depth);
    cursor.id = text.substr(second + 1);
    return cursor;
}

int ReadLimit(const Request& request) {
    const std::string& text = request.Query(Wire::kLimit);
    if (text.empty()) return kMostItems;
    const auto limit = ParseNumber(text);
    if (!limit || *limit < 1) throw Refusal(400, Wire::kBadRequest, "\"limit\" must be a number from 1 to 1000");
    return static_cast<int>(std::min<long long>(*limit, kMostItems));
}

Response List(Cloud& cloud, const Request& request) {
    ListCursor cursor = ReadCursor(request.Query(Wire::kCursor));
    const int limit = ReadLimit(request);
    std::vector<FileRow> files;
    cloud.metadata->Read([&](Rows& rows) {
        const std::int64_t last = rows.LastChange(request.user.id);
        if (cursor.changes > last) RefuseCursor();
        if (cursor.changes < 0) cursor.changes = last;
        files = rows.ListAfter(request.user.id, cursor.depth, cursor.id, limit);
    });
    Json::Value answer(Json::objectValue);
    answer[Wire::kItems] = Json::Value(Json::arrayValue);
    for (const FileRow& file : files) answer[Wire::kItems].append(WithAddress(EntryOf(file), request.baseUrl));
    answer[Wire::kChangeCursor] = std::to_string(cursor.changes);
    answer[Wire::kNextCursor] = "";
    if (static_cast<int>(files.size()) == limit) {
        cursor.depth = files.back().depth;
        cursor.id = files.back().id;
        answer[Wire::kNextCursor] = WriteCursor(cursor);
    }
    return JsonResponse(answer);
}

Response Changes(Cloud& cloud, const Request& request) {
    const std::string& text = request.Query(Wire::kCursor);
    const auto after = text.empty() ? 0 : ParseNumber(text);
    if (!after) RefuseCursor();
    const int limit = ReadLimit(request);
    const auto changes = cloud.Read([&](Rows& rows) {
        // One ahead of its user is of another user, or of a cloud that was put back to an earlier state since.
        if (*after > rows.LastChange(request.user.id)) RefuseCursor();
        return rows.ChangesAfter(request.user.id, *after, limit);
    });
    Json::Value answer(Json::objectValue);
    answer[Wire::kItems] = Json::Value(Json::arrayValue);
    for (const Change& change : changes) {
        answer[Wire::kItems].append(WithAddress(*ParseJson(change.snapshot), request.baseUrl));
    }
    const std::string next = std::to_string(changes.empty() ? *after : changes.back().sequence);
    answer[Wire::kChangeCursor] = next;
    answer[Wire::kNextCursor] = static_cast<int>(changes.size()) == limit ? next : "";
    return JsonResponse(answer);
}

Response EntryResponse(const Request& request, const FileRow& file) {
    return JsonResponse(WithAddress(EntryOf(file), request.baseUrl));
}

Response Find(Cloud& cloud, const Request& request) {
    const auto file = cloud.Read([&](Rows& rows) {
        const auto parent = rows.FileById(request.Query(Wire::kParentFolder));
        const bool own = parent && parent->userId == request.user.id;
        return own ? rows.LiveChild(parent->id, request.Query(Wire::kFileName)) : std::nullopt;
    });
    if (!file) throw Refusal(404, Wire::kNotFound, "the folder holds nothing of this name");
    return EntryResponse(request, *file);
}

using Operation = std::function<FileRow(Rows&, const Request&, const Json::Value&)>;

/// A route whose body is JSON and whose answer is the entry that a transaction gives.
void AddChange(Router& router, Cloud& cloud, const std::string& pattern, Operation operation) {
    router.AddJson("POST", pattern, Router::Access::token,
                   [&cloud, operation = std::move(operation)](const Request& request, const Json::Value& body) {
                       return EntryResponse(request,
                                            cloud.Change([&](Rows& rows) { return operation(rows, request, body); }));
                   });
}

void AddChanges(Router& router, Cloud& cloud) {
    const std::string one = std::string(Wire::kFilePrefix) + "{id}";
    AddChange(router, cloud, Wire::kFolders, [&cloud](Rows& rows, const Request& request, const Json::Value& body) {
        return Tree::MakeFolder(rows, request.user, TextOrSingle(body, Wire::kParentFolder),
                                NameField(body, Wire::kFileName), cloud.now());
    });
    AddChange(router, cloud, Wire::kEmptyFiles, [&cloud](Rows& rows, const Request& request, const Json::Value& body) {
        const std::string name = NameField(body, Wire::kFileName);
        return Tree::MakeEmptyFile(rows, request.user, TextOrSingle(body, Wire::kParentFolder), name, MediaTypeOf(name),
                                   TimeField(body, Wire::kEditedTime), cloud.now());
    });
    AddChange(router, cloud, one + Wire::kRenameSuffix,
              [](Rows& rows, const Request& request, const Json::Value& body) {
                  return Tree::Rename(rows, request.user, request.segments.at("id"), NameField(body, Wire::kFileName));
              });
    AddChange(router, cloud, one + Wire::kMoveSuffix, [](Rows& rows, const Request& request, const Json::Value& body) {
        return Tree::Move(rows, request.user, request.segments.at("id"), TextOrSingle(body, Wire::kParentFolder));
    });
    AddChange(router, cloud, one + Wire::kRestoreSuffix, [](Rows& rows, const Request& request, const Json::Value&) {
        return Tree::Restore(rows, request.user, request.segments.at("id"));
    });
}

}  // namespace

void AddFileRoutes(Router& router, Cloud& cloud) {
    using Access = Router::Access;
    const std::string one = std::string(Wire::kFilePrefix) + "{id}";
    router.AddPlain("GET", Wire::kFiles, Access::token,
                    [&cloud](const Request& request) { return List(cloud, request); });
    router.AddPlain("GET", Wire::kChanges, Access::token,
                    [&cloud](const Request& request) { return Changes(cloud, request); });
    router.AddPlain("GET", Wire::kFindFile, Access::token,
                    [&cloud](const Request& request) { return Find(cloud, request); });
    AddChanges(router, cloud);
    router.AddPlain("GET", one, Access::token, [&cloud](const Request& request) {
        return EntryResponse(
            request, cloud.Read([&](Rows& rows) { return Tree::Get(rows, request.user, request.segments.at("id")); }));
    });
    router.AddPlain("DELETE", one, Access::token, [&cloud](const Request& request) {
        cloud.metadata->Change(
            [&](Rows& rows) { Tree::Remove(rows, request.user, request.segments.at("id"), cloud.now()); });
        return JsonResponse(Json::Value(Json::objectValue));
    });
}

}  // namespace Drive::ReferenceCloud
