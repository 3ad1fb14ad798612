#pragma once

#include "interfaces/logging/log_settings.h"

namespace Drive::Logging {

/// Takes one record on its way to the sink or the file. Any thread; never blocks, never throws.
void WriteTextRecord(TextRecord record) noexcept;

/// False when the settings leave out records of this level, so that none need be built.
bool IsTextLevelOn(Level level) noexcept;

}  // namespace Drive::Logging
