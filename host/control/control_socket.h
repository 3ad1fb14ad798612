#pragma once

#include <functional>
#include <optional>
#include <string>

/// A socket in the state folder through which one command talks to another that runs there. One line there, one line
/// back. Only the owner of the folder can reach it.
namespace Drive::Host {

/// Listens until the process ends; `answer` is called on a thread of its own, one request after the other, and must
/// not throw. False when the socket cannot be made; the command then runs without it.
bool ServeControl(const std::string& stateFolder, std::function<std::string(const std::string&)> answer);

/// Removes the socket, so that nobody asks a process that is about to end.
void EndControl(const std::string& stateFolder);

/// Asks the process that runs on the state folder. Empty when there is none or it does not answer in time.
std::optional<std::string> AskControl(const std::string& stateFolder, const std::string& request, int milliseconds);

}  // namespace Drive::Host
