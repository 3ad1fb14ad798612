#include "collaborators/cloud/key_digest.h"

#include <openssl/crypto.h>

#include <algorithm>
#include <cctype>

#include "collaborators/cloud/text.h"
#include "interfaces/cloud/wire/key_digest.h"
#include "interfaces/common/encrypt_helper.h"

namespace Drive::Cloud {

namespace {

constexpr std::size_t kKeyTextDigits = 64;

bool IsKeyText(const std::string& text) {
    return text.size() == kKeyTextDigits &&
           std::all_of(text.begin(), text.end(), [](unsigned char digit) { return std::isxdigit(digit) != 0; });
}

}  // namespace

std::string KeyDigest(const std::string& keyText) {
    if (!IsKeyText(keyText)) return {};
    const std::string label = Wire::kKeyDigestLabel;
    Common::Bytes text;
    text.reserve(label.size() + keyText.size());  // no copy of the key is left behind by growing
    text.assign(label.begin(), label.end());
    for (const char digit : keyText) text.push_back(static_cast<unsigned char>(std::tolower(digit)));
    const std::string digest = Common::EncryptHelper::SHA256_Encode(text);
    OPENSSL_cleanse(text.data(), text.size());
    return digest;
}

}  // namespace Drive::Cloud
