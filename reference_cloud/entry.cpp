#include "reference_cloud/entry.h"

#include "interfaces/cloud/wire/fields.h"
#include "interfaces/cloud/wire/routes.h"

namespace Drive::ReferenceCloud {

namespace Wire = Drive::Cloud::Wire;

Json::Value EntryOf(const FileRow& file) {
    Json::Value entry(Json::objectValue);
    entry[Wire::kId] = file.id;
    entry[Wire::kFileName] = file.parentId.empty() ? "" : file.name;  // roots have a name inside only
    entry[Wire::kParentFolder] = file.parentId;
    entry[Wire::kIsFolder] = file.folder;
    entry[Wire::kIsDeleted] = file.deletedAt != 0;
    entry[Wire::kSize] = Json::Int64(file.size);
    entry[Wire::kSha256] = file.sha256;
    entry[Wire::kMd5] = file.md5;
    entry[Wire::kMimeType] = file.mimeType;
    entry[Wire::kCategory] = file.category;
    entry[Wire::kContentVersion] = std::to_string(file.version);
    const bool picture = file.category == "image" && !file.encrypted && !file.contentId.empty();
    const bool attached = file.encrypted && !file.attachments.empty();
    entry[Wire::kThumbnailLink] = picture || attached ? Wire::kFilePrefix + file.id + Wire::kThumbnailSuffix : "";
    entry[Wire::kAttachmentSize] = Json::Value(Json::arrayValue);
    for (const std::int64_t size : file.attachments) entry[Wire::kAttachmentSize].append(Json::Int64(size));
    entry[Wire::kCreatedTime] = Json::Int64(file.created);
    entry[Wire::kEditedTime] = Json::Int64(file.edited);
    return entry;
}

Json::Value WithAddress(Json::Value entry, const std::string& baseUrl) {
    const std::string link = entry[Wire::kThumbnailLink].asString();
    if (!link.empty()) entry[Wire::kThumbnailLink] = baseUrl + link;
    return entry;
}

}  // namespace Drive::ReferenceCloud
