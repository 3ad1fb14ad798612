#include "interfaces/cloud/wire/codes.h"
#include "interfaces/cloud/wire/fields.h"
#include "interfaces/cloud/wire/routes.h"
#include "reference_cloud/cloud.h"
#include "reference_cloud/crypto.h"
#include "reference_cloud/fields.h"
#include "reference_cloud/refusal.h"
#include "reference_cloud/router.h"
#include "reference_cloud/routes.h"
#include "reference_cloud/text.h"

namespace Drive::ReferenceCloud {

namespace Wire = Drive::Cloud::Wire;

namespace {

Response PublicKey(const Secrets& secrets) {
    Json::Value answer(Json::objectValue);
    answer[Wire::kPublicKeyField] = ToBase64(secrets.PublicKey());
    answer[Wire::kVersion] = secrets.Version();
    return JsonResponse(answer);
}

Json::Value KeyEntry(const Secrets& secrets, int type, const std::string& sealed, const std::string& uuid,
                     const std::string& temporaryKey) {
    Json::Value entry(Json::objectValue);
    entry[Wire::kKeyType] = type;
    entry[Wire::kEncryptedKey] = ToBase64(SealGcm(secrets.OpenContentKey(sealed), temporaryKey));
    entry[Wire::kKeyUuid] = uuid;
    return entry;
}

Response KeyList(const Secrets& secrets, const User& user, const Json::Value& body) {
    if (NumberField(body, Wire::kKeyKind, 1) != 1) throw Refusal(400, Wire::kBadRequest, "\"keyKind\" must be 1");
    if (TextField(body, Wire::kVersion) != secrets.Version()) {
        throw Refusal(409, Wire::kConflict, "this version of the public key is not in use; ask for it again");
    }
    const auto key = secrets.OpenTemporaryKey(TextField(body, Wire::kTemporaryKey));
    if (!key) throw Refusal(400, Wire::kBadRequest, "the temporary key does not open; ask for the public key again");
    Json::Value answer(Json::objectValue);
    answer[Wire::kKeys].append(KeyEntry(secrets, 1, user.sealedKey1, user.keyUuid1, *key));
    answer[Wire::kKeys].append(KeyEntry(secrets, 3, user.sealedKey3, user.keyUuid3, *key));
    return JsonResponse(answer);
}

}  // namespace

void AddKeyRoutes(Router& router, Cloud& cloud) {
    router.AddPlain("GET", Wire::kPublicKey, Router::Access::token,
                    [&cloud](const Request&) { return PublicKey(cloud.secrets); });
    router.AddJson("POST", Wire::kKeyList, Router::Access::token,
                   [&cloud](const Request& request, const Json::Value& body) {
                       return KeyList(cloud.secrets, request.user, body);
                   });
}

}  // namespace Drive::ReferenceCloud
