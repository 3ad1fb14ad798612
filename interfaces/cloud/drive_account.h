#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "interfaces/platform/export.h"

/// For the host, not for the engine: where the cloud is, who the user is, and the calls that sync logic makes.
namespace Drive::Cloud {

struct CloudSettings {
    std::wstring baseUrl;  ///< "http://host:port" or "https://host:port", without a closing slash
    std::wstring caFile;   ///< certificates to trust beside or instead of the system's; empty for the system's
    int connectSeconds = 10;
    int idleSeconds = 30;                     ///< a call that gets no byte for this long is given up
    int controlSeconds = 60;                  ///< total limit of a control call
    int repeats = 4;                          ///< of idempotent calls, after the first try
    std::int64_t uploadBytesPerSecond = 0;    ///< 0 for no limit
    std::int64_t downloadBytesPerSecond = 0;  ///< 0 for no limit
    bool proxyForLoopback = false;            ///< the proxy of the environment also for this machine's own addresses
};

struct Login {
    std::wstring accessToken;
    std::wstring refreshToken;
    std::int64_t expiresAt = 0;  ///< seconds since the epoch
    std::wstring userId;
    std::wstring rootFileId;
    std::wstring serverVersion;
};

/// How a call went. `ok` false: `status` is the HTTP status or 0 for a transport failure, `errorCode` the cloud's code
/// or empty, `message` tells a person what happened and what to do next.
struct CallOutcome {
    bool ok = false;
    int status = 0;
    std::wstring errorCode;
    std::string message;
};

/// One file or folder as the cloud holds it.
struct CloudFile {
    std::wstring id;
    std::wstring fileName;
    std::wstring parentFolder;  ///< id of the parent
    bool isFolder = false;
    bool isDeleted = false;  ///< in a change feed: gone
    std::int64_t size = 0;   ///< plain bytes
    std::wstring sha256;     ///< of the plain content, lower-case hexadecimal
    std::wstring mimeType;
    std::wstring category;
    std::wstring contentVersion;
    std::wstring thumbnailLink;       ///< empty when there is none
    std::vector<int> attachmentSize;  ///< plain bytes, "small" first
    std::int64_t editedTime = 0;      ///< seconds since the epoch
};

/// Bytes moved since the process began, for progress displays and bandwidth measurements.
struct TransferCounters {
    std::uint64_t sent = 0;
    std::uint64_t received = 0;
};

/// Static operations, any thread. None throws. Names in the answers may be hostile; the caller checks them before they
/// become paths.
class ZELKOR_API DriveAccount {
public:
    /// Sets where and how; before the first call and not while calls run. After Abort it allows calls again.
    static void Configure(const CloudSettings& settings);

    /// Signs in and keeps the tokens inside; every later request carries the live one, whatever stale bearer value its
    /// caller gave. Refreshing goes by itself; `onRefresh` (may be empty) hears of each new pair so that it can be
    /// kept.
    static CallOutcome SignIn(const std::wstring& user, const std::wstring& password, Login& login);

    /// Goes on with tokens from an earlier process.
    static void UseLogin(const Login& login);
    static void OnRefresh(std::function<void(const Login&)> listener);

    /// Revokes the tokens.
    static CallOutcome SignOut();

    /// All files and folders, parents before children, and the cursor from which changes follow.
    static CallOutcome List(std::vector<CloudFile>& files, std::wstring& changeCursor);

    /// What has changed since `changeCursor`, in order; moves the cursor on.
    static CallOutcome Changes(std::wstring& changeCursor, std::vector<CloudFile>& files);

    static CallOutcome Get(const std::wstring& fileId, CloudFile& file);
    static CallOutcome Find(const std::wstring& parentId, const std::wstring& fileName, CloudFile& file);

    /// Makes a folder, or an empty file, or finds the one that stands there already.
    static CallOutcome CreateFolder(const std::wstring& parentId, const std::wstring& name, CloudFile& folder);
    static CallOutcome CreateEmptyFile(const std::wstring& parentId, const std::wstring& name, CloudFile& file);

    static CallOutcome Rename(const std::wstring& fileId, const std::wstring& newName, CloudFile& file);
    static CallOutcome Move(const std::wstring& fileId, const std::wstring& newParentId, CloudFile& file);

    /// Deletes a file, or a folder with all that it holds; Restore brings it back.
    static CallOutcome Delete(const std::wstring& fileId);
    static CallOutcome Restore(const std::wstring& fileId, CloudFile& file);

    static TransferCounters Counters();

    /// The same for one file, by the id that its transfers were opened with: what went over the wire for its content,
    /// and once more what was sent again. Control calls and thumbnails are nobody's. The thousand files that moved last
    /// are remembered; zero for any other.
    static TransferCounters Counters(const std::wstring& fileId);

    /// Ends every call in progress within a second and refuses new ones, for a host that stops.
    static void Abort();
};

}  // namespace Drive::Cloud
