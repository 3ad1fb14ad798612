#pragma once

/// The whole command line: parses it and runs the command.
namespace Drive::Host {

/// An exit code.
int RunCommandLine(int argc, char** argv);

}  // namespace Drive::Host
