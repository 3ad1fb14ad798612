#include <fcntl.h>
#include <openssl/crypto.h>

#include <cerrno>

#include "collaborators/common/content_reader.h"
#include "collaborators/common/digest_memory.h"
#include "collaborators/common/hex_text.h"
#include "collaborators/common/keyed_digest.h"
#include "collaborators/common/log_text.h"
#include "collaborators/common/native_parts.h"
#include "collaborators/common/unique_fd.h"
#include "interfaces/common/file_helper.h"
#include "interfaces/common/globals.h"
#include "interfaces/logging/sync_panel_log.h"
#include "interfaces/platform/clock.h"

namespace Drive::Common {

namespace {

constexpr int kMostAttempts = 4;
constexpr Platform::DWORD kPauseMilliseconds = 100;
constexpr std::size_t kUserKeyBytes = 16;
// Part of what makes a file's key: never to be changed, or nothing that was begun could be resumed.
constexpr char kContentKeyLabel[] = "zelkor file content key, form 1";

/// What came of reading a file.
struct Reading {
    std::optional<ContentDigests> digests;
    bool isSteady = false;  ///< the file was the same before and after
    int error = 0;
};

UniqueFd OpenForReading(const std::string& path) {
    return UniqueFd(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
}

Reading ReadOnce(const std::string& path, bool withMd5) {
    Reading reading;
    const UniqueFd file = OpenForReading(path);
    if (!file) {
        reading.error = errno;
        return reading;
    }
    const auto before = StateOf(file.Get());
    if (!before) {
        reading.error = EINVAL;
        return reading;
    }
    const bool changesWouldShow = ChangesWouldShow(file.Get(), *before);
    reading.digests = ReadContent(file.Get(), withMd5);
    reading.error = reading.digests ? 0 : errno;
    const auto after = StateOf(file.Get());
    reading.isSteady = reading.digests && after && after->size == before->size && after->modified == before->modified &&
                       reading.digests->bytes == before->size;
    if (reading.isSteady && changesWouldShow && after == before) {
        RememberedDigests().Keep(*before, reading.digests->sha256);
    } else {
        RememberedDigests().Forget(*before);
    }
    return reading;
}

bool MayPass(int error) {
    switch (error) {
        case EIO:
        case EINTR:
        case EAGAIN:
        case EBUSY:
        case EMFILE:
        case ENFILE:
        case ENOMEM:
        case ENOBUFS:
        case ESTALE:
        case ETIMEDOUT:
            return true;
        default:
            return false;
    }
}

/// Reads until the file held still, or until it is clear that it cannot be read.
Reading ReadFile(const std::wstring& path, bool withMd5, const char* operation) {
    Reading reading;
    const auto native = NativePathOf(path);
    if (!native) {
        reading.error = EINVAL;
    }
    for (int attempt = 0; native && attempt < kMostAttempts; ++attempt) {
        if (attempt > 0) {
            Platform::Sleep(kPauseMilliseconds << attempt);
        }
        reading = ReadOnce(*native, withMd5);
        if (reading.isSteady || (reading.error != 0 && !MayPass(reading.error))) {
            break;
        }
    }
    if (!reading.isSteady) {
        SyncPanelLog::WriteErrorLog(
            "FileHepler", operation,
            "could not read " + LogText::Name(path) + " whole: " +
                (reading.error != 0 ? LogText::Reason(reading.error) + ". Check that the file is there and may be read."
                                    : "it changes while it is read. It is tried again when it is at rest."));
    }
    return reading;
}

/// The digest of the content, from memory where it is sure to be that of the file as it is now.
std::optional<Sha256Bytes> Sha256Of(const std::wstring& path, const char* operation) {
    if (const auto native = NativePathOf(path)) {
        const UniqueFd file = OpenForReading(*native);
        const auto state = file ? StateOf(file.Get()) : std::nullopt;
        if (auto digest = state ? RememberedDigests().Find(*state) : std::nullopt) {
            return digest;
        }
    }
    const Reading reading = ReadFile(path, false, operation);
    return reading.isSteady ? std::optional(reading.digests->sha256) : std::nullopt;
}

}  // namespace

std::wstring FileHepler::GetFileSha256(const std::wstring& path) {
    const auto digest = Sha256Of(path, "GetFileSha256");
    return digest ? HexText<std::wstring>(digest->data(), digest->size()) : std::wstring();
}

bool FileHepler::GetFileHash(const std::wstring& path, std::wstring& sha256, std::wstring& md5) {
    sha256.clear();
    md5.clear();
    const Reading reading = ReadFile(path, true, "GetFileHash");
    if (!reading.digests) {
        return false;
    }
    // A file that never held still is answered with what was read last, deliberately: the caller leaves its comparison
    // out when this fails, and a file that changes under an upload is just what the comparison is there for.
    sha256 = HexText<std::wstring>(reading.digests->sha256.data(), reading.digests->sha256.size());
    md5 = HexText<std::wstring>(reading.digests->md5.data(), reading.digests->md5.size());
    return true;
}

std::string FileHepler::GetFileHmac(const std::wstring& path) {
    if (g_SyncUserKey[0] == 0) {
        return {};
    }
    const auto content = Sha256Of(path, "GetFileHmac");
    Sha256Bytes secret{};
    Sha256Bytes keyed{};
    const bool isMade =
        content && KeyedDigest(g_SyncUserKey, kUserKeyBytes, kContentKeyLabel, sizeof kContentKeyLabel - 1, secret) &&
        KeyedDigest(secret.data(), secret.size(), content->data(), content->size(), keyed);
    std::string text = isMade ? HexText<std::string>(keyed.data(), keyed.size()) : std::string();
    OPENSSL_cleanse(secret.data(), secret.size());
    OPENSSL_cleanse(keyed.data(), keyed.size());
    return text;
}

}  // namespace Drive::Common
