#include <algorithm>
#include <optional>

#include "collaborators/cloud/address.h"
#include "collaborators/cloud/byte_range.h"
#include "collaborators/cloud/file_counters.h"
#include "collaborators/cloud/guarded.h"
#include "collaborators/cloud/header_list.h"
#include "collaborators/cloud/piece_cutter.h"
#include "collaborators/cloud/process_state.h"
#include "collaborators/cloud/repeats.h"
#include "collaborators/cloud/session.h"
#include "collaborators/cloud/text.h"
#include "interfaces/cloud/file_trans_request.h"

namespace Drive::Cloud {

namespace {

constexpr const char* kCall = "DownloadCloudFileRequest";
constexpr int kFailed = -1;
constexpr int kReceiverRefused = 0;

bool IsContent(int status) { return status == 200 || status == 206; }

void Log(const std::string& text) { SyncPanelLog::WriteErrorLog("CloudClient", kCall, text); }

/// The body of one answer on its way to the receiver, with the part skipped that was not asked for.
class ContentSink : public BodySink {
public:
    ContentSink(const FileTransRequest::Receiver& receiver, std::int64_t wantedFrom)
        : cutter(receiver), wantedFrom(wantedFrom) {}

    bool Begin(const HttpAnswer& head) override {
        usable = IsContent(head.status) && FitsRequest(head);
        return usable;
    }

    bool Take(const unsigned char* data, std::size_t size) override {
        const std::size_t passed = std::min<std::uint64_t>(size, static_cast<std::uint64_t>(toSkip));
        toSkip -= static_cast<std::int64_t>(passed);
        arrived += static_cast<std::int64_t>(size);
        if (expected >= 0 && arrived > expected) {
            usable = false;
            Log("the cloud sent more than the range that it announced; the transfer was ended");
            return false;
        }
        return size == passed || cutter.Take(data + passed, size - passed);
    }

    bool Tick() override { return cutter.Tick(); }

    /// The status that the caller gets for this answer.
    int Conclude(const HttpAnswer& answer);

private:
    bool FitsRequest(const HttpAnswer& head);
    bool FitsRange(const ContentRange& range);

    PieceCutter cutter;
    const std::int64_t wantedFrom;
    bool usable = false;
    bool partial = false;  ///< the range ends before the content does
    std::int64_t toSkip = 0;
    std::int64_t arrived = 0;
    std::int64_t expected = -1;  ///< bytes of the announced range
};

bool ContentSink::FitsRange(const ContentRange& range) {
    expected = range.last - range.first + 1;
    partial = range.total >= 0 && range.last + 1 < range.total;
    if (range.first == wantedFrom) return true;
    Log("the cloud answered another range than was asked for; nothing of it is used");
    return false;
}

bool ContentSink::FitsRequest(const HttpAnswer& head) {
    const std::string* encoding = head.Header("Content-Encoding");
    if (encoding != nullptr && !encoding->empty() && !EqualsIgnoringCase(*encoding, "identity")) {
        Log("the cloud answered with a content encoding that was not asked for; nothing of it is used");
        return false;
    }
    if (head.status == 200) {
        toSkip = wantedFrom;
        return true;
    }
    const std::string* type = head.Header("Content-Type");
    if (type != nullptr && LowerCase(*type).rfind("multipart/byteranges", 0) == 0) {
        Log("the cloud answered several ranges at once; nothing of it is used");
        return false;
    }
    const std::string* text = head.Header("Content-Range");
    if (text == nullptr) return true;
    const std::optional<ContentRange> range = ParseContentRange(*text);
    if (range) return FitsRange(*range);
    Log("the Content-Range of the cloud's answer cannot be read; nothing of it is used");
    return false;
}

int ContentSink::Conclude(const HttpAnswer& answer) {
    if (cutter.Refused()) return kReceiverRefused;
    if (answer.failure != HttpFailure::None) {
        cutter.Flush();
        return cutter.Refused() ? kReceiverRefused : kFailed;
    }
    if (!usable) return kFailed;
    if (toSkip > 0) {
        Log("the content in the cloud is shorter than the part that is here already; fetch the file anew");
        return kFailed;
    }
    if (!cutter.Finish()) return kReceiverRefused;
    if (!partial && (expected < 0 || arrived == expected)) return answer.status;
    Log("the cloud sent less than the rest of the content; what came is kept, the rest is fetched at the next try");
    return kFailed;
}

struct Download {
    HttpRequest http;
    std::int64_t wantedFrom = 0;
    bool carriesLogin = false;
};

bool Prepare(const std::wstring& url, const WMap& headers, Download& download) {
    download.http.url = ResolveAddress(Narrow(url), CurrentLimits()->baseUrl);
    if (download.http.url.empty()) {
        Log("the download address is no http or https address");
        return false;
    }
    download.http.headers = NarrowHeaders(headers);
    download.http.download = true;
    download.http.file = CountAtAddress(url);
    if (const std::string* range = FindHeader(download.http.headers, "Range")) {
        const std::optional<std::int64_t> start = OpenRangeStart(*range);
        if (!start) {
            Log("a range of another form than bytes=N- cannot be asked for");
            return false;
        }
        download.wantedFrom = *start;
    }
    const std::string* login = FindHeader(download.http.headers, "Authorization");
    download.carriesLogin = login != nullptr && login->rfind("Bearer ", 0) == 0;
    return true;
}

/// Puts the live login in place of the caller's, which may be stale, and returns it.
std::string RefreshLoginHeader(Download& download) {
    HeaderList& headers = download.http.headers;
    if (!download.carriesLogin) return {};
    if (!MayCarryLogin(download.http.url)) {
        Log("the login is not sent to " + AddressForLog(download.http.url) +
            ", because everyone on the way could read it");
        std::erase_if(headers, [](const auto& header) { return EqualsIgnoringCase(header.first, "Authorization"); });
        return {};
    }
    const std::string token = LiveToken();
    if (!token.empty()) PutLogin(headers, token);
    return token;
}

int Fetch(Download& download, const FileTransRequest::Receiver& receiver) {
    Repeats repeats = Repeats::OfDownload(CurrentLimits()->repeats);
    for (bool renewed = false;;) {
        const std::string token = RefreshLoginHeader(download);
        ContentSink sink(receiver, download.wantedFrom);
        const HttpAnswer answer = Perform(download.http, &sink);
        if (answer.status == 401 && !renewed && !token.empty() && RenewToken(token)) {
            renewed = true;
            continue;
        }
        if (repeats.Again(answer)) continue;
        if (answer.failure != HttpFailure::None && answer.failure != HttpFailure::Refused) {
            Log("GET " + AddressForLog(download.http.url) + ": " + answer.Told());
        }
        if (answer.status != 0 && !IsContent(answer.status)) return answer.status;
        return sink.Conclude(answer);
    }
}

}  // namespace

int FileTransRequest::DownloadCloudFileRequest(const std::wstring& url, WMap headers, FileTransRequest* request) {
    return Guarded(kCall, kFailed, [&] {
        Download download;
        if (request == nullptr || !Prepare(url, headers, download)) return kFailed;
        return Fetch(download, request->receiver);
    });
}

}  // namespace Drive::Cloud
