#include "host/commands/mount_command.h"

#include <cstdio>

#include "host/engine/engine_run.h"
#include "host/module/exit_codes.h"
#include "host/mount/file_system.h"
#include "host/mount/mounted_tree.h"

namespace Drive::Host {

int RunMount(Session& session, const GetOptions& options, const std::string& mountPoint) {
    MountedTree tree(EngineRun::Wake);
    FileSystem files(tree, session.visible);
    GetCommand command(session, options);
    const int code = command.Serve(
        tree,
        [&](std::string& error) {
            const bool mounted = files.Start(mountPoint, error);
            if (mounted) {
                std::printf("mounted on %s\n", Printable(mountPoint).c_str());
                std::fflush(stdout);
            }
            return mounted;
        },
        [&files] { return files.Ended(); });
    tree.End();
    files.Stop();
    return code;
}

}  // namespace Drive::Host
