#include "reference_cloud/address_signature.h"

#include "interfaces/cloud/wire/fields.h"
#include "reference_cloud/crypto.h"
#include "reference_cloud/text.h"

namespace Drive::ReferenceCloud {

std::string Sign(const SignedRequest& request, const std::string& key) {
    // One field a line; no field can hold a line feed, so no two requests give the same text.
    return HmacSha256Hex(key, request.method + "\n" + request.path + "\n" + std::to_string(request.expires) + "\n" +
                                  request.sha256 + "\n" + request.md5 + "\n" + std::to_string(request.length));
}

std::string SignedQuery(const SignedRequest& request, const std::string& key) {
    return std::string("?") + Drive::Cloud::Wire::kExpires + "=" + std::to_string(request.expires) + "&" +
           Drive::Cloud::Wire::kSignature + "=" + Sign(request, key);
}

bool IsSigned(const SignedRequest& request, const std::string& signature, const std::string& key) {
    return EqualSecret(Sign(request, key), signature);
}

}  // namespace Drive::ReferenceCloud
