#pragma once

/// Codes of the cloud, as text under "errorCode", shared by client and server. The engine compares them as text.
namespace Drive::Cloud::Wire {

inline constexpr const char* kRecordLost = "21000400";      // address call: the upload starts over
inline constexpr const char* kUnknownParent = "21000401";   // the parent is not (yet) there
inline constexpr const char* kObjectsMissing = "21004932";  // completion: delete for retry
inline constexpr const char* kFileExists = "21015002";      // completion: the cloud already holds it
inline constexpr const char* kMigrating = "21084031";       // the cloud is being moved
inline constexpr const char* kQuotaExceeded = "21004913";   // no space left
inline constexpr const char* kNotFound = "21004041";
inline constexpr const char* kUnauthorised = "21004011";  // no, wrong, expired or revoked token
inline constexpr const char* kForbidden = "21004031";
inline constexpr const char* kBadRequest = "21004001";
inline constexpr const char* kConflict = "21004091";
inline constexpr const char* kTooLarge = "21004131";
inline constexpr const char* kTooMany = "21004291";
inline constexpr const char* kServerError = "21005001";

}  // namespace Drive::Cloud::Wire
