#pragma once

#include "interfaces/logging/log_settings.h"

namespace Drive::Logging {

/// Takes one statistic on its way to the sink or the file. Any thread; never blocks, never throws.
void WriteStatistic(StatisticRecord record) noexcept;

}  // namespace Drive::Logging
