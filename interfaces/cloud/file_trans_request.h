#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "interfaces/common/wmap.h"
#include "interfaces/platform/export.h"

namespace Drive::Cloud {

/// The transfers of content. The object only carries a receiver; the operations are static and may run on any number
/// of threads at once. Transfers have connect and low-speed limits and no total limit; only "http" and "https" are
/// spoken, certificates are checked, redirects are not followed, and an address that begins with "/" is below the
/// cloud's own. A GET that fails before its first byte, and a PUT, are sent again after failures that may pass. While
/// g_StopDownLoadTask is set a download that is silent ends within a second.
class ZELKOR_API FileTransRequest {
public:
    /// Takes a piece of the body. The bytes are the caller's and good for the call only. False ends the transfer.
    using Receiver = std::function<bool(const unsigned char* data, const std::int64_t& length)>;

    FileTransRequest();
    FileTransRequest(const FileTransRequest& other);
    FileTransRequest& operator=(const FileTransRequest& other);
    ~FileTransRequest();

    /// Sets the receiver of this object.
    void receiveDownloadFileCallBackFun(Receiver receiver);

    /// One request with exactly this URL, verb, header set and body. `responseHeaders` and `responseText` take the
    /// store's answer. True: the store accepted the object, and where it tells a digest (X-Object-Sha256) that is the
    /// one that the headers tell, or that of the body when they tell none.
    static bool UploadRequest(const std::wstring& url, WMap headers, const std::wstring& verb,
                              const std::vector<unsigned char>& body, WMap& responseHeaders, std::string& responseText);

    /// GETs one object and decrypts it. `length` is an upper bound of the stored object, bytes, and 1 GiB of plain
    /// bytes another one, because the object is held in memory. `received` is emptied first and stays empty on any
    /// failure: HTTP, length, digest against the one that the store sends, padding, an all-zero key, an unknown
    /// algorithm. True: `received` holds the object's plain bytes.
    static bool DownloadDriveFileRequest(const std::wstring& url, WMap headers, const std::vector<unsigned char>& fek,
                                         const std::vector<unsigned char>& iv, const std::wstring& algorithm,
                                         std::int64_t length, std::vector<unsigned char>& received);

    /// GETs `url` and streams the body to the receiver of `request` in pieces that never straddle a multiple of 4 MiB
    /// counted from the first byte delivered, at most 64 KiB each, on the calling thread. Only bodies of 200 and 206
    /// are delivered; any other status is returned as it came. 200 or 206 is returned only when the whole body was
    /// delivered and every call answered true. A receiver's false gives 0; a short body or a transport failure -1. A
    /// 200 to a "Range" of "bytes=N-" has its first N bytes skipped inside. An empty body of 200 or 206 delivers one
    /// empty piece. An "Authorization" of "Bearer ..." is sent with the live token, and not at all in clear to another
    /// machine than this one, unless it is the cloud's and the cloud is spoken to in clear. No other form of "Range" is
    /// understood; a 206 that is not the rest of the content gives -1, with what came delivered when it began at N.
    static int DownloadCloudFileRequest(const std::wstring& url, WMap headers, FileTransRequest* request);

    /// A fresh boundary for a multipart body; occurs in no content by any chance worth counting.
    static std::string GetBoundary();

private:
    Receiver receiver;
};

}  // namespace Drive::Cloud
