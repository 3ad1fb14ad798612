#pragma once

#include <optional>
#include <string>
#include <vector>

#include "reference_cloud/records.h"

namespace Drive::ReferenceCloud {

struct Cloud;

/// The plain file key out of a wrapped one (Base64 of nonce, cipher text and tag under the user's content key). Sealed
/// inside: one byte form (1), two bytes length of the key text, high byte first, the key text in hexadecimal, the text
/// of the initialisation vector. Nothing when it does not open or has another form.
std::optional<std::string> OpenFileKey(const std::string& wrapped, const std::string& contentKey);

/// The attachment "small" of an encrypted content. The cloud made the users' content keys and can open what it is asked
/// to show; nothing of it is kept. Empty when there is none or it does not open.
std::string OpenThumbnail(Cloud& cloud, const User& user, const Content& content,
                          const std::vector<StoredObject>& objects);

}  // namespace Drive::ReferenceCloud
