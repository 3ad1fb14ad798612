#pragma once

#include <string>
#include <vector>

namespace Drive::Testing {

/// What came through the two channels of the library under test while this lives, each record as one text:
///   "trace <text>", "debug <text>", "error <module>|<function>|<text>", "begin <kind>
///   <code>|<module>|<function>|<text>", "end ..." likewise, and "stat <code>|<module>|<text>".
/// Each library under test brings a body of its own.
class Arrived {
public:
    Arrived();
    ~Arrived();
    Arrived(const Arrived&) = delete;
    Arrived& operator=(const Arrived&) = delete;

    /// In the order in which they came.
    std::vector<std::string> Records() const;
};

}  // namespace Drive::Testing
