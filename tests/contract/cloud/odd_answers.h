#pragma once

#include <json/json.h>

#include <functional>
#include <set>
#include <string>
#include <vector>

/// What can stand in an answer that should not.
namespace Drive::Testing {

struct OddValue {
    std::string text;    ///< raw, as it stands in the JSON text
    bool ruins = false;  ///< no part of an answer that holds it may be used
};

/// Null, other types, empty, negative, huge, odd texts, bad UTF-8, halves of surrogate pairs, doubled keys, deep
/// nesting.
const std::vector<OddValue>& OddValues();

struct OddAnswer {
    std::string text;
    std::string field;  ///< what was changed: names joined by dots, array elements not counted; empty: the whole
    bool ruined = false;
};

/// All texts that differ from `sound` in one field: left out, standing there twice, or replaced by each odd value.
void ForEachOddAnswer(const Json::Value& sound, const std::vector<OddValue>& odds,
                      const std::function<void(const OddAnswer&)>& each);

/// The fields of a value, named as above.
std::set<std::string> FieldsOf(const Json::Value& value);

}  // namespace Drive::Testing
