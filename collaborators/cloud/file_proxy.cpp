#include <limits>
#include <optional>

#include "collaborators/cloud/address.h"
#include "collaborators/cloud/control_call.h"
#include "collaborators/cloud/file_counters.h"
#include "collaborators/cloud/guarded.h"
#include "collaborators/cloud/header_list.h"
#include "collaborators/cloud/json_fields.h"
#include "collaborators/cloud/process_state.h"
#include "collaborators/cloud/proxy_operation.h"
#include "collaborators/cloud/repeats.h"
#include "collaborators/cloud/result_id.h"
#include "collaborators/cloud/session.h"
#include "collaborators/cloud/slice_bounds.h"
#include "collaborators/cloud/text.h"
#include "collaborators/cloud/user_space.h"
#include "interfaces/cloud/cloud_drive_interface.h"
#include "interfaces/cloud/wire/fields.h"
#include "interfaces/cloud/wire/routes.h"

namespace Drive::Cloud {

namespace {

using HttpInterface::InterfaceName;

constexpr const char* kCall = "FileproxyUpload";
constexpr std::size_t kMostAnswerBytes = 1u << 20;
/// "statuscode" of a slice that the cloud took while more are to come, whatever 2xx it answered: the engine keeps the
/// map of the slice before when it then cannot read its file, and would take a "200" in it for a finished upload.
constexpr const wchar_t* kSliceTaken = L"202";

void Log(const std::string& text) { SyncPanelLog::WriteErrorLog("CloudClient", kCall, text); }

HttpAnswer SendOnce(HttpRequest& http) {
    for (bool renewed = false;; renewed = true) {
        const std::string token = MayCarryLogin(http.url) ? LiveToken() : std::string();
        if (!token.empty()) PutLogin(http.headers, token);
        HttpAnswer answer = Perform(http);
        if (answer.status != 401 || renewed || token.empty() || !RenewToken(token)) return answer;
    }
}

ControlAnswer Send(HttpRequest& http, bool idempotent) {
    Repeats repeats(idempotent, CurrentLimits()->repeats, 0);
    HttpAnswer sent;
    do {
        sent = SendOnce(http);
    } while (repeats.Again(sent));
    ControlAnswer answer;
    if (sent.failure == HttpFailure::None) {
        answer.status = sent.status;
        answer.text = std::move(sent.body);
        ReadAnswerBody(kCall, answer);
    } else {
        answer.description = Widen(sent.message);
        answer.advice = sent.advice;
    }
    if (!answer.ok) {
        Log(http.method + " " + AddressForLog(http.url) + ": status " + std::to_string(answer.status) + "; errorCode=" +
            Printable(answer.errorCode) + "; description=" + Printable(answer.description) + AdviceForLog(answer));
    }
    return answer;
}

/// A whole content: good with any 2xx, whether the answer has a readable body or not.
bool ConcludeContent(const std::wstring& fileId, const ControlAnswer& answer, WMap& result) {
    const bool accepted = answer.status >= 200 && answer.status <= 299 && answer.errorCode.empty();
    return accepted && EnsureId(kCall, fileId, result);
}

/// A resume address: good only with an address and a slice size that the engine can walk with.
bool ConcludeOpening(const ControlAnswer& answer, WMap& result) {
    if (!answer.ok) return false;
    result.erase(L"id");  // of no file that is complete
    JsonFields fields(answer.body, kCall);
    const std::wstring url = fields.Text(Wire::kResumeUrl);
    const std::int64_t slice = fields.Number(Wire::kSliceSize, 1, kLargestSlice);
    const bool reachable = !ResolveAddress(Narrow(url), CurrentLimits()->baseUrl).empty();
    if (fields.Sound() && slice > 0 && reachable) return true;
    result.erase(L"resumeUrl");
    result.erase(L"sliceSize");
    result[L"description"] = L"the cloud's answer holds no resume address and slice size that can be used";
    Log("the cloud's answer holds no resume address and slice size that can be used");
    return false;
}

bool ConcludeSlice(const std::wstring& fileId, bool last, const ControlAnswer& answer, WMap& result) {
    const bool accepted = answer.status >= 200 && answer.status <= 299 && answer.errorCode.empty();
    if (!accepted) return false;
    const bool complete = result.count(L"id") != 0 && !result[L"id"].empty();
    if (complete || (last && (answer.status == 200 || answer.status == 201))) {
        return EnsureId(kCall, fileId, result);
    }
    result[L"statuscode"] = kSliceTaken;
    return true;
}

bool Upload(const std::wstring& url, const std::wstring& fileId, InterfaceName operation, const std::string& body,
            const WMap& headers, WMap& result) {
    const std::optional<ProxyOperation> kind = OperationOf(operation);
    HttpRequest http;
    http.url = ResolveAddress(Narrow(url), CurrentLimits()->baseUrl);
    if (!kind || http.url.empty()) {
        FillResult("0", kind ? "the address of the file proxy is no http or https address" : "unknown operation",
                   result);
        Log(kind ? "the address of the file proxy is no http or https address" : "unknown operation");
        return false;
    }
    if (kind->uploadType != nullptr) http.url = WithQuery(http.url, Wire::kProxyUploadType, kind->uploadType);
    http.method = kind->method;
    http.headers = NarrowHeaders(headers);
    http.hasBody = true;
    http.body = reinterpret_cast<const unsigned char*>(body.data());
    http.bodySize = body.size();
    http.mayGoTwice = kind->idempotent;
    http.answerLimit = kMostAnswerBytes;
    if (!fileId.empty()) http.file = CountOfFile(fileId);
    const bool last = IsLastSlice(http.headers, body.size());
    const ControlAnswer answer = Send(http, kind->idempotent);
    FillResult(answer, result);
    switch (operation) {
        case InterfaceName::ResumeCreate:
        case InterfaceName::ResumeUpdate:
            return ConcludeOpening(answer, result);
        case InterfaceName::ResumeSlice:
            return ConcludeSlice(fileId, last, answer, result);
        default:
            return ConcludeContent(fileId, answer, result);
    }
}

}  // namespace

bool CloudDriveInterface::FileproxyUpload(const std::wstring& url, const std::wstring& fileId, InterfaceName operation,
                                          const std::string& rawBody, const std::string& textBody, WMap headers,
                                          WMap& result) {
    if (operation == InterfaceName::ResumeSlice && rawBody.empty()) {
        // The engine's loop would go on for ever with a slice that moves nothing; 404 makes it start afresh.
        FillResult("404", "an empty slice was not sent", result);
        return false;
    }
    FillResult("0", "the request could not be made", result);
    const bool done = Guarded(kCall, false, [&] {
        const SpaceChanges changes;
        return Upload(url, fileId, operation, rawBody.empty() ? textBody : rawBody, headers, result);
    });
    // The engine tells the end of an upload by a "200" alone, which no failure may leave behind.
    if (!done && result[L"statuscode"] == L"200") result[L"statuscode"] = kUnusableAnswer;
    return done;
}

}  // namespace Drive::Cloud
