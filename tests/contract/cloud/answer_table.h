#pragma once

#include <functional>
#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "interfaces/cloud/drive_account.h"

/// Every answer that the library reads, as the protocol has it, with the operation that reads it.
namespace Drive::Testing {

/// What an operation made of an answer, by the names of the wire; empty when it refused the answer. What it gives must
/// be safe to work with: the operations of the table see to that with expectations of their own.
using Taken = std::optional<std::map<std::string, std::string>>;

struct AnswerCase {
    std::string name;
    std::string operation;  ///< operationId of docs/openapi.json
    std::string sound;      ///< with every field that the protocol has
    std::function<Taken(const Cloud::CloudSettings&)> ask;
    bool flooded = true;  ///< false: shares all of its reading with a case that is
    bool unread = false;  ///< nothing of the answer is used, so that one that cannot be read does no harm
};

inline void PrintTo(const AnswerCase& test, std::ostream* out) { *out << test.name; }

const std::vector<AnswerCase>& AnswerTable();

}  // namespace Drive::Testing
