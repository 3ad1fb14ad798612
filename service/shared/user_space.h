#pragma once

#include <cstdint>

namespace Drive::TransferService {

enum UserSpaceLevel {
    UserSpaceError = 0,    ///< the cloud gave no answer
    UserSpaceEnough = 1,   ///< enough space
    UserSpaceFull = 2,     ///< space is full
    UserSpaceWillFull = 3  ///< space will soon be full
};

/// Asks the cloud for the space left and classifies it. `neededSize` is in bytes, 0 for none; `remaining` takes the
/// cloud's answer in bytes, negative when it gave none. Any thread; blocks for the call.
UserSpaceLevel classifyUserSpace(std::int64_t neededSize, std::int64_t& remaining);

}  // namespace Drive::TransferService
