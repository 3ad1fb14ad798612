#pragma once

#include "host/settings/settings.h"

namespace Drive::Host {

/// Writes the counts and limits into Common's globals. Must be called before the engine's library is loaded, because
/// that library reads the counts once, while it is being loaded.
void ApplySettings(const Settings& settings);

}  // namespace Drive::Host
