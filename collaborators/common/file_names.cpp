#include <gio/gio.h>

#include <array>
#include <memory>
#include <string_view>
#include <utility>

#include "interfaces/common/file_helper.h"
#include "interfaces/common/globals.h"
#include "interfaces/platform/text.h"

namespace Drive::Common {

namespace {

constexpr char kUnknownType[] = "application/octet-stream";

bool IsSeparator(wchar_t character) { return character == L'\\' || character == L'/'; }

/// The path with backslashes only, each single.
std::wstring Normalised(const std::wstring& path) {
    std::wstring result;
    result.reserve(path.size());
    for (const wchar_t character : path) {
        if (!IsSeparator(character)) {
            result.push_back(character);
        } else if (result.empty() || result.back() != L'\\') {
            result.push_back(L'\\');
        }
    }
    return result;
}

bool HasTypePrefix(const std::wstring& mimeType, std::string_view prefix) {
    if (mimeType.size() < prefix.size()) {
        return false;
    }
    for (std::size_t index = 0; index < prefix.size(); ++index) {
        const wchar_t character = mimeType[index];
        const wchar_t lower = character >= L'A' && character <= L'Z' ? character - L'A' + L'a' : character;
        if (lower != static_cast<wchar_t>(prefix[index])) {
            return false;
        }
    }
    return true;
}

/// For machines without the shared list of media types.
std::string CommonTypeOf(const std::string& name) {
    static constexpr std::array<std::pair<std::string_view, const char*>, 24> kTypes = {{
        {"jpg", "image/jpeg"},      {"jpeg", "image/jpeg"},      {"png", "image/png"},
        {"gif", "image/gif"},       {"bmp", "image/bmp"},        {"webp", "image/webp"},
        {"heic", "image/heif"},     {"heif", "image/heif"},      {"tif", "image/tiff"},
        {"tiff", "image/tiff"},     {"svg", "image/svg+xml"},    {"mp4", "video/mp4"},
        {"mov", "video/quicktime"}, {"mkv", "video/x-matroska"}, {"avi", "video/x-msvideo"},
        {"webm", "video/webm"},     {"mp3", "audio/mpeg"},       {"flac", "audio/flac"},
        {"txt", "text/plain"},      {"html", "text/html"},       {"csv", "text/csv"},
        {"pdf", "application/pdf"}, {"zip", "application/zip"},  {"json", "application/json"},
    }};
    const std::size_t dot = name.rfind('.');
    if (dot == std::string::npos) {
        return kUnknownType;
    }
    const std::unique_ptr<char, decltype(&g_free)> extension(g_ascii_strdown(name.c_str() + dot + 1, -1), &g_free);
    for (const auto& [known, type] : kTypes) {
        if (known == extension.get()) {
            return type;
        }
    }
    return kUnknownType;
}

std::string TypeOf(const std::string& name) {
    gboolean uncertain = FALSE;
    const std::unique_ptr<char, decltype(&g_free)> content(g_content_type_guess(name.c_str(), nullptr, 0, &uncertain),
                                                           &g_free);
    const std::unique_ptr<char, decltype(&g_free)> type(content ? g_content_type_get_mime_type(content.get()) : nullptr,
                                                        &g_free);
    return type && *type.get() != '\0' && std::string_view(type.get()) != kUnknownType ? type.get()
                                                                                       : CommonTypeOf(name);
}

bool BeginsWith(const std::wstring& id, const std::wstring& marker) { return id.starts_with(marker); }

}  // namespace

std::string FileHepler::GetFileMimeType(const std::wstring& localFileName) {
    const std::wstring path = Normalised(localFileName);
    const std::size_t separator = path.rfind(L'\\');
    const std::wstring name = separator == std::wstring::npos ? path : path.substr(separator + 1);
    try {
        return name.empty() ? kUnknownType : TypeOf(Platform::NarrowText(name));
    } catch (const std::range_error&) {
        return kUnknownType;
    }
}

bool FileHepler::IsImageFile(const std::wstring& mimeType) { return HasTypePrefix(mimeType, "image/"); }

bool FileHepler::IsVideoFile(const std::wstring& mimeType) { return HasTypePrefix(mimeType, "video/"); }

bool FileHepler::HasAttachment(const FileItem& file) { return !file.GetAttachmentData().empty(); }

bool FileHepler::IsLocalFile(const std::wstring& fileId, const std::wstring& marker) {
    return !fileId.empty() && BeginsWith(fileId, marker);
}

bool FileHepler::IsLocalDirectory(const std::wstring& folderId, const std::wstring& marker) {
    return folderId.empty() || BeginsWith(folderId, marker);
}

bool FileHepler::GetFileFolderAndLocalname(const std::wstring& path, std::wstring& folder, std::wstring& localName) {
    std::wstring below = Normalised(path);
    folder.clear();
    localName.clear();
    std::wstring root = Normalised(g_clientSyncRootFolder);
    if (!root.empty() && root.back() != L'\\') {
        root.push_back(L'\\');
    }
    if (below.starts_with(root)) {
        below.erase(0, root.size());
    } else if (below + L"\\" == root) {
        return false;
    }
    const std::size_t separator = below.rfind(L'\\');
    const std::size_t nameStart = separator == std::wstring::npos ? 0 : separator + 1;
    std::wstring name = below.substr(nameStart);
    if (name.empty() || name == L"." || name == L"..") {
        return false;
    }
    localName = std::move(name);
    folder = below.substr(0, nameStart);
    return true;
}

}  // namespace Drive::Common
