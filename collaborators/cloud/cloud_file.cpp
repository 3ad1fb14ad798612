#include "collaborators/cloud/cloud_file.h"

#include <limits>

#include "collaborators/cloud/control_call.h"
#include "collaborators/cloud/json_fields.h"
#include "interfaces/cloud/wire/fields.h"
#include "interfaces/logging/sync_panel_log.h"

namespace Drive::Cloud {

namespace {

constexpr std::size_t kMostAttachments = 16;

void ReadAttachmentSizes(JsonFields& fields, std::vector<int>& sizes) {
    for (const Json::Value* element : fields.Elements(Wire::kAttachmentSize)) {
        const bool usable = element->isInt() && element->asInt() >= 0 && sizes.size() < kMostAttachments;
        if (!usable) {
            sizes.clear();  // sizes that do not stand for all attachments are worse than none
            return;
        }
        sizes.push_back(element->asInt());
    }
}

}  // namespace

bool ReadCloudFile(const Json::Value& entry, const char* call, CloudFile& file) {
    JsonFields fields(entry, call);
    file.id = fields.Id(Wire::kId);
    file.fileName = fields.Name(Wire::kFileName);
    file.parentFolder = fields.TextOrFirst(Wire::kParentFolder);
    file.isFolder = fields.Flag(Wire::kIsFolder);
    file.isDeleted = fields.Flag(Wire::kIsDeleted);
    file.size = fields.Size(Wire::kSize);
    file.sha256 = fields.Text(Wire::kSha256);
    file.contentVersion = fields.Text(Wire::kContentVersion);
    const bool parentIsUsable = file.parentFolder.empty() || IsCloudId(file.parentFolder);
    if (!fields.Sound() || file.id.empty() || !parentIsUsable) {
        SyncPanelLog::WriteErrorLog("CloudClient", call, "an entry of the cloud's answer cannot be used");
        return false;
    }
    JsonFields extras(entry, call);  // of these a damaged one costs itself only
    file.mimeType = extras.Text(Wire::kMimeType);
    file.category = extras.Text(Wire::kCategory);
    file.thumbnailLink = extras.Text(Wire::kThumbnailLink);
    file.editedTime = extras.Number(Wire::kEditedTime, 0, std::numeric_limits<std::int64_t>::max());
    ReadAttachmentSizes(extras, file.attachmentSize);
    return true;
}

CallOutcome CallForFile(const ControlRequest& request, CloudFile& file) {
    ControlAnswer answer = CallCloud(request);
    CloudFile read;
    if (answer.ok && !ReadCloudFile(answer.body, request.call, read)) {
        RefuseAnswer(request.call, answer, L"it does not describe the file");
    }
    if (answer.ok) file = std::move(read);
    return OutcomeOf(answer);
}

}  // namespace Drive::Cloud
