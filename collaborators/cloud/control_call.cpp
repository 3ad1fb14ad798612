#include "collaborators/cloud/control_call.h"

#include <exception>
#include <memory>

#include "collaborators/cloud/address.h"
#include "collaborators/cloud/http_exchange.h"
#include "collaborators/cloud/json_fields.h"
#include "collaborators/cloud/process_state.h"
#include "collaborators/cloud/repeats.h"
#include "collaborators/cloud/session.h"
#include "collaborators/cloud/text.h"
#include "interfaces/cloud/base_http_request.h"
#include "interfaces/cloud/wire/fields.h"
#include "interfaces/cloud/wire/routes.h"
#include "interfaces/logging/sync_panel_log.h"
#include "interfaces/platform/clock.h"

namespace Drive::Cloud {

namespace {

constexpr std::size_t kMostAnswerBytes = 16u << 20;
constexpr std::size_t kLongestDescription = 1000;
constexpr std::size_t kLongestCodeInLog = 64;

HeaderList ControlHeaders(bool withLogin, bool hasBody) {
    HeaderList headers{{"Accept", "application/json"}};
    if (hasBody) headers.emplace_back("Content-Type", "application/json; charset=UTF-8");
    if (!withLogin) return headers;
    WMap wide;
    std::map<std::string, std::string> narrow;
    AddCommonHeaders(wide, narrow);
    for (auto& header : narrow) headers.push_back(header);
    return headers;
}

/// One try, with one more after a renewed login.
HttpAnswer SendOnce(const ControlRequest& control, HttpRequest& http, std::int64_t deadline) {
    for (bool renewed = false;; renewed = true) {
        const std::string token = LiveToken();
        http.headers = ControlHeaders(control.withLogin, http.hasBody);
        http.totalMilliseconds = std::max<std::int64_t>(1, deadline - Platform::MonotonicMilliseconds());
        HttpAnswer answer = Perform(http);
        const bool refused = answer.failure == HttpFailure::None && answer.status == 401;
        if (!control.withLogin || renewed || !refused || !RenewToken(token)) return answer;
    }
}

HttpAnswer Send(const ControlRequest& control) {
    const auto limits = CurrentLimits();
    HttpAnswer answer;
    HttpRequest http;
    http.method = control.method;
    http.url = ResolveAddress(control.route, limits->baseUrl);
    http.answerLimit = kMostAnswerBytes;
    if (http.url.empty()) {
        answer.failure = HttpFailure::BadRequest;
        answer.message = "no usable address of the cloud is configured";
        answer.advice = "Configure one that begins with http:// or https:// and has no name and password in it";
        return answer;
    }
    const std::string body = control.body.isNull() ? std::string() : WriteJson(control.body);
    http.hasBody = control.method != "GET" && control.method != "DELETE";
    http.body = reinterpret_cast<const unsigned char*>(body.data());
    http.bodySize = body.size();
    http.mayGoTwice = control.idempotent;
    http.unhurried = false;  // it has a time limit, and is small beside what the limit of the line is for
    const std::int64_t deadline = Platform::MonotonicMilliseconds() + limits->controlMilliseconds;
    Repeats repeats(control.idempotent, limits->repeats, deadline);
    do {
        answer = SendOnce(control, http, deadline);
    } while (repeats.Again(answer));
    return answer;
}

std::string StatusAdvice(int status) {
    if (status < 400) {
        return "It sends elsewhere, where the login does not follow; check the address, and whether the network wants "
               "a sign-in of its own.";
    }
    if (status == 401) return "Sign in again.";
    if (status == 403) return "The cloud does not allow this.";
    if (status == 404) return "It is not there (any more).";
    if (status == 407) return "The proxy wants a name and a password: write them into http_proxy.";
    if (status == 409) return "It clashes with what the cloud holds; look at it and decide.";
    if (status == 413 || status == 507) return "There is not enough space in the cloud; make room.";
    if (status == 408 || status == 429 || status >= 500) return "The cloud has trouble at the moment; try again later.";
    return "Look into the log for what was asked.";
}

void LogFailure(const char* call, const ControlAnswer& answer) {
    SyncPanelLog::WriteErrorLog("CloudClient", call,
                                "the cloud call failed. statuscode=" + std::to_string(answer.status) +
                                    "; errorCode=" + Printable(answer.errorCode) +
                                    "; description=" + Printable(answer.description) + AdviceForLog(answer));
}

}  // namespace

std::string AdviceForLog(const ControlAnswer& answer) {
    return answer.advice.empty() ? "" : "; advice=" + answer.advice;
}

void ReadAnswerBody(const char* call, ControlAnswer& answer) {
    answer.ok = answer.status >= 200 && answer.status <= 299;
    if (answer.text.empty()) return;
    std::string why;
    if (!ParseObject(answer.text, answer.body, why)) {
        if (answer.ok || answer.description.empty()) answer.description = Widen(why);
        answer.ok = false;
        return;
    }
    JsonFields fields(answer.body, call);
    answer.errorCode = fields.Text(Wire::kErrorCode);
    answer.description = fields.Text(Wire::kDescription).substr(0, kLongestDescription);
    if (!answer.errorCode.empty()) answer.ok = false;
}

ControlAnswer CallCloud(const ControlRequest& request) {
    ControlAnswer answer;
    HttpAnswer http = Send(request);
    if (http.failure == HttpFailure::None) {
        answer.status = http.status;
        answer.text = std::move(http.body);
        ReadAnswerBody(request.call, answer);
    } else {
        answer.description = Widen(http.message);
        answer.advice = http.advice;
    }
    if (!answer.ok) LogFailure(request.call, answer);
    return answer;
}

void RefuseAnswer(const char* call, ControlAnswer& answer, const std::wstring& why) {
    answer.ok = false;
    answer.description = why;
    LogFailure(call, answer);
}

CallOutcome OutcomeOf(const ControlAnswer& answer) {
    CallOutcome outcome;
    outcome.ok = answer.ok;
    outcome.status = answer.status;
    outcome.errorCode = answer.errorCode;
    if (answer.ok) return outcome;
    const std::string described = Printable(answer.description);
    if (answer.status == 0) {
        outcome.message =
            "The cloud at " + AddressForLog(CurrentLimits()->baseUrl) + " could not be asked: " + described + ". " +
            (answer.advice.empty() ? "Check the address and the connection" : answer.advice) + ", then try again.";
    } else if (answer.status <= 299) {
        outcome.message = "The cloud's answer could not be used: " + described + ". Check the cloud's version.";
    } else {
        outcome.message = "The cloud refused (status " + std::to_string(answer.status) +
                          (described.empty() ? "" : ", " + described) + "). " + StatusAdvice(answer.status);
    }
    return outcome;
}

void FillResult(const std::string& statusCode, const std::string& description, WMap& result) {
    result.clear();
    result[L"errorCode"] = L"";
    result[L"statuscode"] = Widen(statusCode);
    result[L"description"] = Widen(description);
}

void FillResult(const ControlAnswer& answer, WMap& result) {
    FillResult(std::to_string(answer.status), "", result);
    result[L"errorCode"] = answer.errorCode;
    result[L"description"] = answer.description;
    if (!answer.ok || !answer.body.isObject()) return;
    JsonFields fields(answer.body, "FillResult");
    for (const std::string& key : answer.body.getMemberNames()) {
        const Json::Value& value = answer.body[key];
        const std::wstring wide = Widen(key);
        if (wide == L"errorCode" || wide == L"statuscode" || wide == L"description") continue;
        if (value.isBool()) {
            result[wide] = value.asBool() ? L"true" : L"false";
        } else if (key == Wire::kParentFolder) {
            result[wide] = fields.TextOrFirst(Wire::kParentFolder);
        } else if (auto text = ScalarText(value)) {
            result[wide] = *text;
        }
    }
    if (answer.body.isMember(Wire::kFileName)) result[L"fileName"] = fields.Name(Wire::kFileName);
    if (answer.body.isMember(Wire::kId)) result[L"id"] = fields.Id(Wire::kId);
    if (result[L"id"].empty()) result.erase(L"id");
}

std::string FilePath(const std::wstring& fileId, const char* suffix) {
    return Wire::kFilePrefix + PercentEncode(Narrow(fileId)) + suffix;
}

}  // namespace Drive::Cloud
