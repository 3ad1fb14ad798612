#pragma once

#include <json/value.h>

#include <string>

namespace Drive::ReferenceCloud {

/// The text of a scenario file as JSON: an object with an array "rules", every name in it known and every value of the
/// right kind, so that a slip of the pen is told and not passed over. Throws std::runtime_error with the file's name,
/// the line and what is wrong there.
Json::Value ReadScenarioText(const std::string& text, const std::string& path);

/// "the scenario PATH, line N: " of a value that was read from the text.
std::string ScenarioPlace(const std::string& path, const std::string& text, const Json::Value& value);

}  // namespace Drive::ReferenceCloud
