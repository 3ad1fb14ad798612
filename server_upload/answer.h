#pragma once

#include <string>

#include "interfaces/common/wmap.h"

namespace Drive::TransferService {

/// A value of an answer, empty when it holds none; the map stays as it is.
inline std::wstring AnswerValue(const WMap& answer, const std::wstring& key) {
    const auto found = answer.find(key);
    return found == answer.end() ? std::wstring() : found->second;
}

/// Only an answer of exactly 200 is a success.
inline bool IsAccepted(const WMap& answer) { return AnswerValue(answer, L"statuscode") == L"200"; }

}  // namespace Drive::TransferService
