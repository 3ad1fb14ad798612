#pragma once

/// What the helper process gives up before it looks at a foreign file.
namespace Drive::Common::Thumbnailer {

/// Limits memory, processor time, file size and open files, and forbids what is never needed: core dumps, new rights,
/// outliving the parent, the network. False when a limit could not be set.
bool LimitResources();

/// From here on no file can be opened but the one behind `input`. Does nothing where the kernel cannot do it.
void ForbidOtherFiles(int input);

}  // namespace Drive::Common::Thumbnailer
