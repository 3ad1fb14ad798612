#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace Drive::ReferenceCloud {

struct ObjectsChoice;

/// The options that say where the objects live.
void AddObjectsOptions(CLI::App& app, ObjectsChoice& objects);

/// Put the sub-commands in; each throws std::runtime_error with a text for people when it runs and fails.
void AddUserCommands(CLI::App& app);   ///< user add, list, set, remove
void AddTokenCommands(CLI::App& app);  ///< token revoke
void AddImportCommand(CLI::App& app);  ///< import

}  // namespace Drive::ReferenceCloud
