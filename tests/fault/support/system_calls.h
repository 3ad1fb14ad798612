#pragma once

#include <cstddef>
#include <set>
#include <string>

/// Faults under the system calls of the whole program, whichever library makes them, as far as they touch files below
/// one folder. The calls of one run are numbered in their order. Any thread; one run at a time. What the C library
/// calls inside itself (buffered files) passes by.
namespace Drive::Testing {

/// How a call that was picked goes wrong.
struct CallFault {
    enum class Kind {
        Error,      ///< it fails with `error` and does nothing
        Interrupt,  ///< calls that a signal can interrupt fail with EINTR; others are left alone
        ShortMove,  ///< reads and writes move a part of the bytes; other calls are left alone
        LostClose   ///< closing tells `error` although the descriptor is gone; other calls are left alone
    };
    Kind kind = Kind::Error;
    int error = 0;
    bool lasting = false;          ///< the picked call and all that follow
    std::set<std::string> spared;  ///< calls of these names are left alone
};

/// Calls on files below `folder` from now on are numbered from 1, and number `nth` goes wrong; 0 only counts.
void BeginCallFaults(const std::string& folder, const CallFault& fault, int nth);

/// What the run met.
struct CallsMet {
    std::string struck;  ///< names of the calls that went wrong, each followed by a blank
    int calls = 0;       ///< those that could have gone wrong
};

/// The real calls again.
CallsMet EndCallFaults();

/// Open descriptors of this process.
std::size_t CountOpenDescriptors();

}  // namespace Drive::Testing
