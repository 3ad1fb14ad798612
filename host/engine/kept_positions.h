#pragma once

#include <string>
#include <vector>

#include "interfaces/common/task_item.h"

/// The engine drops the task of a download that it stops, and with it the record of how far it got. An orderly end
/// would then lose what a crash keeps. So the records are read before the stop and put back after it: what they
/// promise was on disk before they were written.
namespace Drive::Host {

/// The waiting and running downloads, each with its record where one can go on from that.
std::vector<Common::TaskItem> ReadPositions();

/// Makes the task of each anew, with its record, where the stop has dropped it.
void RestorePositions(const std::vector<Common::TaskItem>& tasks);

}  // namespace Drive::Host
