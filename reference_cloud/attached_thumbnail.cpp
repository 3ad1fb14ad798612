#include "reference_cloud/attached_thumbnail.h"

#include <algorithm>

#include "interfaces/cloud/wire/fields.h"
#include "reference_cloud/cloud.h"
#include "reference_cloud/crypto.h"
#include "reference_cloud/http_message.h"
#include "reference_cloud/text.h"
#include "reference_cloud/upload_plan.h"

namespace Drive::ReferenceCloud {

namespace Wire = Drive::Cloud::Wire;

namespace {

constexpr const char* kSmall = "small";
constexpr std::int64_t kLargest = 16 * 1024 * 1024;

struct Place {
    std::int64_t offset = 0;  ///< in the stored object
    std::int64_t plain = 0;   ///< bytes
};

std::optional<Place> PlaceOfSmall(const Content& content) {
    const auto names = ParseJson(content.attachmentNames);
    if (!names || !names->isArray()) return std::nullopt;
    Place place;
    for (Json::ArrayIndex index = 0; index < names->size() && index < content.attachments.size(); ++index) {
        place.plain = content.attachments[index];
        if ((*names)[index] == kSmall) return place;
        place.offset += PaddedLength(place.plain);
    }
    return std::nullopt;
}

std::string ReadWhole(ObjectReader& reader, std::int64_t offset, std::int64_t length) {
    std::string bytes(static_cast<std::size_t>(length), '\0');
    std::size_t done = 0;
    while (done < bytes.size()) {
        const std::size_t count =
            reader.Read(offset + static_cast<std::int64_t>(done), bytes.data() + done, bytes.size() - done);
        if (count == 0) return {};
        done += count;
    }
    return bytes;
}

}  // namespace

std::optional<std::string> OpenFileKey(const std::string& wrapped, const std::string& contentKey) {
    static constexpr std::size_t head = 3, keySize = 16;
    const auto sealed = FromBase64(wrapped);
    const auto text = sealed ? OpenGcm(*sealed, contentKey) : std::nullopt;
    if (!text || text->size() < head || (*text)[0] != 1) return std::nullopt;
    const auto byte = [&](std::size_t index) { return static_cast<unsigned char>((*text)[index]); };
    const std::size_t length = static_cast<std::size_t>(byte(1) << 8 | byte(2));
    if (length > text->size() - head) return std::nullopt;
    auto key = FromHex(std::string_view(*text).substr(head, length));
    if (!key || key->size() < keySize) return std::nullopt;
    key->resize(keySize);
    return key;
}

std::string OpenThumbnail(Cloud& cloud, const User& user, const Content& content,
                          const std::vector<StoredObject>& objects) {
    const auto place = PlaceOfSmall(content);
    const auto object =
        std::find_if(objects.begin(), objects.end(), [](const StoredObject& each) { return each.attachment; });
    const auto keys = ParseJson(content.keys);
    if (!place || place->plain > kLargest || object == objects.end() || !keys || keys->empty()) return {};
    const Json::Value& entry = (*keys)[0];
    const auto key = OpenFileKey(entry[Wire::kEfek].asString(), cloud.secrets.OpenContentKey(user.sealedKey1));
    const auto iv = FromHex(entry[Wire::kIv].asString());
    const auto reader = cloud.objects->Open(object->blob);
    if (!key || !iv || !reader) return {};
    const std::string stored = ReadWhole(*reader, place->offset, PaddedLength(place->plain));
    const auto plain = OpenCbc(stored, *key, *iv);
    return plain && static_cast<std::int64_t>(plain->size()) == place->plain ? *plain : std::string();
}

}  // namespace Drive::ReferenceCloud
