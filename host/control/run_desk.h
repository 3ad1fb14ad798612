#pragma once

#include <functional>
#include <string>

#include "host/report/reporter.h"

/// What another process may ask of a running command, between the control thread and the command's own thread. The
/// command looks in several times a second.
namespace Drive::Host {

class RunDesk {
public:
    /// The one desk of the process; never destroyed.
    static RunDesk& Get();

    /// Answers a request line; on the control thread. Waits a few seconds for the command where it must.
    std::string Answer(const std::string& request);

    /// For the command: what it is doing.
    void Tell(const std::string& command, const ProgressFigures& figures);

    /// For the command: something that the person should know for as long as it runs; each text once.
    /// False when it was told already.
    bool Note(const std::string& text);

    /// What a command says to a wish about a path.
    using Decision = std::function<std::string(const std::string& path)>;

    /// For the command: takes the pending wish, if any, and answers it with what the decision on its kind says. A
    /// command that has none for it is told so.
    void Serve(const Decision& cancel, const Decision& evict = {});

private:
    RunDesk();
    struct Body;
    Body* const body;
};

/// The answer to a wish that was granted.
inline constexpr const char* kCancelled = "cancelled";

/// The request lines.
std::string CancelRequest(const std::string& path);
std::string EvictRequest(const std::string& path);
std::string ProgressRequest();

}  // namespace Drive::Host
