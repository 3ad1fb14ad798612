#include "host/thumbnails/picture_choice.h"

#include <algorithm>
#include <exception>
#include <iterator>
#include <string_view>

#include "interfaces/platform/native_path.h"

namespace Drive::Host {
namespace {

bool IsAskedFor(const std::string& path, const std::string& wish) {
    return path == wish || path.rfind(wish + "/", 0) == 0;
}

}  // namespace

PictureChoice ChoosePictures(const std::vector<CloudEntry>& entries, const std::vector<std::string>& only) {
    PictureChoice choice;
    std::unordered_set<std::string> there;
    for (const CloudEntry& entry : entries) {
        const auto wish = [&](const std::string& path) { return IsAskedFor(entry.path, path); };
        if (!entry.refusal.empty() || (!only.empty() && std::none_of(only.begin(), only.end(), wish))) {
            continue;
        }
        there.insert(entry.path);
        if (entry.file.isFolder) {
            continue;
        }
        if (!entry.file.thumbnailLink.empty()) {
            choice.entries.push_back(entry);
        } else if (std::find(only.begin(), only.end(), entry.path) != only.end()) {
            choice.withoutPictures.insert(entry.path);
        }
    }
    std::copy_if(only.begin(), only.end(), std::back_inserter(choice.unknown),
                 [&](const std::string& path) { return there.count(path) == 0; });
    return choice;
}

std::string PicturePath(const CloudEntry& entry, const Common::FileItem* row) {
    if (row == nullptr) {
        return entry.path + ".jpg";
    }
    try {
        return Platform::NativePath(row->GetLocalParentFolder() + row->GetLocalFileName()) + ".jpg";
    } catch (const std::exception&) {
        return "";
    }
}

bool LooksLikePicture(const std::string& head) {
    static constexpr std::string_view kBeginnings[] = {"\xFF\xD8\xFF", "\x89PNG\r\n", "GIF8", "BM", "II*", "MM"};
    const std::string_view bytes(head);
    const auto begins = [bytes](std::string_view beginning) { return bytes.substr(0, beginning.size()) == beginning; };
    return std::any_of(std::begin(kBeginnings), std::end(kBeginnings), begins) ||
           (begins("RIFF") && bytes.size() >= kPictureHead && bytes.substr(8, 4) == "WEBP") ||
           (bytes.size() >= kPictureHead && bytes.substr(4, 4) == "ftyp");
}

}  // namespace Drive::Host
