#pragma once

#include <functional>
#include <string>

/// Our dialect of the settings file, on top of the INI parser: any byte may stand in a value, and a value may be
/// longer than a line of the parser.
namespace Drive::Host {

/// One "key = value" of a section, as lines. Bytes that the parser would change are percent-encoded; a long value goes
/// on in lines that begin with a blank.
std::string IniEntry(const std::string& key, const std::string& value);

/// The inverse for one value. A percent sign without two hexadecimal digits stands for itself.
std::string IniDecoded(const std::string& value);

/// Hears of each value of a file, whole and decoded; answers false when the key means nothing.
using IniVisitor = std::function<bool(const std::string& section, const std::string& key, const std::string& value)>;

/// Reads a file. 0 when all of it was understood, the number of the first bad line, or -1 when it cannot be opened.
int ReadIni(const std::string& path, const IniVisitor& visitor);

}  // namespace Drive::Host
