#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

/// Which processes may bring content by reading placeholders. A thumbnailer or an indexer that walks over a folder
/// would otherwise bring the whole drive. Two rules, both about the process that opens the file:
///  - a process of the idle scheduling class, for the processor or for the disk, works for nobody who waits;
///  - a process whose name, or the name of one of its ancestors, is on a list (settings: [mount] nohydrate).
/// Files that are here already are open to all of them.
namespace Drive::Host {

/// What is known of a process.
struct ProcessFacts {
    std::string name;  ///< as the kernel keeps it, at most 15 bytes; empty when the process is not known
    pid_t parent = 0;
    bool idle = false;  ///< of the idle class, for processor or disk
};

ProcessFacts FactsOfProcess(pid_t process);

class HydrationGuard {
public:
    /// `names` are separated by blanks or commas; longer ones than the kernel keeps count by their first 15 bytes.
    /// `look` gives the facts of a process.
    explicit HydrationGuard(const std::string& names, std::function<ProcessFacts(pid_t)> look = FactsOfProcess);

    /// False for a process that must be told that the file is not here. Quick; any thread. 0 stands for a process that
    /// cannot be seen from here, and is let pass.
    bool MayFetch(pid_t process) const;

private:
    std::vector<std::string> names;
    const std::function<ProcessFacts(pid_t)> look;
};

/// The indexers and thumbnailers that are known by name.
extern const char* const kUsualIndexers;

}  // namespace Drive::Host
