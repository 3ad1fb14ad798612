#pragma once

#include <json/json.h>

#include <cstdint>
#include <string>

#include "interfaces/cloud/drive_account.h"
#include "interfaces/common/wmap.h"

/// One control call: JSON there, JSON back, with the login, its renewal, repeats and limits.
namespace Drive::Cloud {

struct ControlRequest {
    const char* call = "";  ///< literal that names the call in the log
    std::string method = "GET";
    std::string route;  ///< path and query, below the cloud's address
    Json::Value body;   ///< null: no body
    bool idempotent = true;
    bool withLogin = true;
};

struct ControlAnswer {
    bool ok = false;  ///< 2xx, no code in the body, and the body empty or a JSON object
    int status = 0;   ///< 0: transport failure
    std::string text;
    Json::Value body;  ///< object, or null when there is none
    std::wstring errorCode;
    std::wstring description;
    std::string advice;  ///< of a transport failure; empty when there is nothing in particular to do
};

/// Never throws but for memory. A failure has been written into the error log.
ControlAnswer CallCloud(const ControlRequest& request);

/// What is the same for every answer, however it was fetched: reads body, code and description.
void ReadAnswerBody(const char* call, ControlAnswer& answer);

/// Makes a failure, with a line in the error log, of a good answer whose body cannot be used.
void RefuseAnswer(const char* call, ControlAnswer& answer, const std::wstring& why);

/// The advice as the end of a line in the log.
std::string AdviceForLog(const ControlAnswer& answer);

/// For people: what happened, and what to do next.
CallOutcome OutcomeOf(const ControlAnswer& answer);

/// Empties the map and fills in what every result map has; for an answer that is ok also the answer's own keys, with
/// names out of their form on the wire.
void FillResult(const ControlAnswer& answer, WMap& result);

/// The same for a call that failed before anything was sent.
void FillResult(const std::string& statusCode, const std::string& description, WMap& result);

std::string FilePath(const std::wstring& fileId, const char* suffix = "");

}  // namespace Drive::Cloud
