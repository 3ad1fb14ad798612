#pragma once

#include <string>
#include <vector>

namespace Drive::Host {

/// "sync": what is new here goes up, then what is new there comes down. `words` go to both. An exit code.
int RunSync(const std::string& stateFolder, const std::vector<std::string>& words);

struct WatchOptions {
    std::string stateFolder;
    std::string root;
    int everySeconds = 30;           ///< how often the cloud is asked
    int fullSeconds = 900;           ///< how often the whole tree is looked at without being told to
    std::vector<std::string> words;  ///< for each command that it runs
};

/// "watch": keeps both sides in step until a signal comes. An exit code.
int RunWatch(const WatchOptions& options);

}  // namespace Drive::Host
