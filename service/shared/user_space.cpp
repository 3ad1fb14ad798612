#include "service/shared/user_space.h"

#include <string>

#include "interfaces/cloud/cloud_drive_interface.h"
#include "interfaces/common/globals.h"

namespace Drive::TransferService {

UserSpaceLevel classifyUserSpace(std::int64_t neededSize, std::int64_t& remaining) {
    std::wstring text;
    remaining = Cloud::CloudDriveInterface::GetUserSpace(text);
    if (remaining < 0) return UserSpaceError;
    if (neededSize > 0 && remaining < neededSize) return UserSpaceFull;
    if (remaining < g_SpaceIsFullSize) return UserSpaceFull;
    return remaining > g_SpaceWillBeFullSize ? UserSpaceEnough : UserSpaceWillFull;
}

}  // namespace Drive::TransferService
