#include "collaborators/cloud/address.h"
#include "collaborators/cloud/file_counters.h"
#include "collaborators/cloud/guarded.h"
#include "collaborators/cloud/header_list.h"
#include "collaborators/cloud/process_state.h"
#include "collaborators/cloud/repeats.h"
#include "collaborators/cloud/text.h"
#include "interfaces/cloud/file_trans_request.h"
#include "interfaces/cloud/wire/fields.h"
#include "interfaces/common/encrypt_helper.h"

namespace Drive::Cloud {

namespace {

constexpr const char* kCall = "UploadRequest";
constexpr std::size_t kMostAnswerBytes = 1u << 20;

void Log(const std::string& text) { SyncPanelLog::WriteErrorLog("CloudClient", kCall, text); }

HttpAnswer Send(const HttpRequest& request) {
    Repeats repeats(request.mayGoTwice, CurrentLimits()->repeats, 0);
    for (;;) {
        HttpAnswer answer = Perform(request);
        if (!repeats.Again(answer)) return answer;
    }
}

/// False when the store tells what it holds now, and that is not what the request said of its body, or what the body is
/// when the request said nothing. A store that tells nothing has checked by itself, or not at all.
bool IsWhatWasSent(const HttpRequest& request, const std::vector<unsigned char>& body, const HttpAnswer& answer) {
    const std::string* held = answer.Header(Wire::kObjectDigestHeader);
    if (held == nullptr) return true;
    const std::string* sent = FindHeader(request.headers, Wire::kObjectDigestHeader);
    return EqualsIgnoringCase(sent != nullptr ? *sent : Common::EncryptHelper::SHA256_Encode(body), *held);
}

bool Upload(const std::wstring& url, const WMap& headers, const std::wstring& verb,
            const std::vector<unsigned char>& body, WMap& responseHeaders, std::string& responseText) {
    HttpRequest request;
    request.url = ResolveAddress(Narrow(url), CurrentLimits()->baseUrl);
    request.method = Narrow(verb);
    request.headers = NarrowHeaders(headers);
    request.hasBody = true;
    request.body = body.data();
    request.bodySize = body.size();
    request.mayGoTwice = request.method == "PUT";
    request.answerLimit = kMostAnswerBytes;
    request.file = CountAtAddress(url);
    if (request.url.empty()) {
        Log("the address of the object is no http or https address");
        return false;
    }
    HttpAnswer answer = Send(request);
    responseHeaders = WideHeaders(answer.headers);
    responseText = std::move(answer.body);
    const bool taken = answer.failure == HttpFailure::None && answer.status >= 200 && answer.status <= 299;
    if (taken && !IsWhatWasSent(request, body, answer)) {
        Log(request.method + " " + AddressForLog(request.url) +
            ": the digest that the store tells is not the one of the object; it is damaged there, or on its way");
        return false;
    }
    if (!taken) {
        Log(request.method + " " + AddressForLog(request.url) + ": status " + std::to_string(answer.status) +
            (answer.message.empty() ? "" : ", " + answer.Told()));
    }
    return taken;
}

}  // namespace

bool FileTransRequest::UploadRequest(const std::wstring& url, WMap headers, const std::wstring& verb,
                                     const std::vector<unsigned char>& body, WMap& responseHeaders,
                                     std::string& responseText) {
    responseHeaders.clear();
    responseText.clear();
    return Guarded(kCall, false, [&] { return Upload(url, headers, verb, body, responseHeaders, responseText); });
}

}  // namespace Drive::Cloud
