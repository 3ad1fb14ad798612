#pragma once

#include <cstddef>
#include <string>

/// Faults under the system calls with which the library writes files, and what a loss of power would take. The calls
/// of one run are numbered in their order. For one thread at a time.
namespace Drive::Common::Trial {

/// How a call that was picked goes wrong.
struct Fault {
    enum class Kind {
        Error,       ///< it fails with `error` and does nothing
        ShortWrite,  ///< it moves a part of the bytes; other calls are left alone
        LostClose    ///< closing tells `error` although the descriptor is gone; other calls are left alone
    };
    Kind kind = Kind::Error;
    int error = 0;
    bool lasting = false;  ///< the picked call and all that follow
};

/// The calls from now on are numbered from 1. Call number `first` goes wrong, and with `second` above 0 the one that
/// follows so many calls later as well.
void BeginFaults(const Fault& fault, int first, int second = 0);
/// The real calls again. Gives the names of the calls that went wrong, each followed by a blank.
std::string EndFaults();
/// The calls that were made since BeginFaults.
std::size_t CallCount();

/// Files and folders whose bytes or names would be lost now, by path; empty when everything is on the disk.
std::string NotOnDisk();
/// From now on nothing is held to be in danger.
void ForgetDisk();

}  // namespace Drive::Common::Trial
