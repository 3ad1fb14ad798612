#include <dlfcn.h>

#include <cstdio>

#include "interfaces/common/globals.h"

int main(int argc, char** argv) {
    if (argc < 2) {
        fprintf(stderr, "usage: outside-launcher MODULE ARGUMENTS...\n");
        return 2;
    }
    Drive::g_MaxDownloadTaskCount = 17;
    void* module = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (module == nullptr) {
        fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    const auto run = reinterpret_cast<int (*)(int, char**)>(dlsym(module, "RunHost"));
    return run == nullptr ? 1 : run(argc - 1, argv + 1);
}
