// The one function that the launcher calls in the host module.
#include <cstdio>
#include <exception>

#include "host/module/command_line.h"
#include "host/module/exit_codes.h"
#include "interfaces/platform/export.h"

extern "C" ZELKOR_API int zelkor_drive_host_main(int argc, char** argv) {
    try {
        return Drive::Host::RunCommandLine(argc, argv);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "zelkor-drive: %s\n", failure.what());
        return Drive::Host::kExitLocal;
    }
}
