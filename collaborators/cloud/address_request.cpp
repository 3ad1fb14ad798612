#include "collaborators/cloud/address_request.h"

#include "collaborators/cloud/address.h"
#include "collaborators/cloud/header_list.h"
#include "collaborators/cloud/process_state.h"
#include "collaborators/cloud/text.h"
#include "interfaces/cloud/wire/fields.h"
#include "interfaces/logging/sync_panel_log.h"

namespace Drive::Cloud {

Json::Value AddressRequestBody(const Common::KelpAddressRequestModel& request) {
    Json::Value body;
    body[Wire::kBucketId] = JsonText(request.bucketId);
    body[Wire::kObjectId] = JsonText(request.objectId);
    body[Wire::kSyncKey] = JsonText(request.synckey);
    body[Wire::kTime] = JsonText(request.time);
    body[Wire::kRecordCursor] = JsonText(request.recordCursor);
    body[Wire::kLength] = Json::Int64{request.length};
    if (!request.md5.empty()) body[Wire::kMd5] = request.md5;
    if (!request.sha256.empty()) body[Wire::kSha256] = request.sha256;
    return body;
}

bool ReadObjectAddress(const Json::Value& body, const char* call, ObjectAddress& address) {
    JsonFields fields(body, call);
    address.url = fields.Text(Wire::kUrl);
    address.method = fields.Text(Wire::kMethod);
    address.bucketId = fields.Text(Wire::kBucketId);
    for (auto& [name, value] : fields.Pairs(Wire::kHeaders)) address.headers[name] = value;
    const bool sendable = IsSendable(NarrowHeaders(address.headers));
    const bool reachable = !ResolveAddress(Narrow(address.url), CurrentLimits()->baseUrl).empty();
    if (fields.Sound() && sendable && reachable) return true;
    SyncPanelLog::WriteErrorLog("CloudClient", call, "the cloud's answer holds no address that can be used");
    return false;
}

}  // namespace Drive::Cloud
