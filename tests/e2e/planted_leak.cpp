// Preloaded into a host of the address-sanitizer build: a leak that must be noticed, although a host ends without
// running destructors.
#include <cstdlib>
#include <cstring>

namespace {

void* volatile lost = nullptr;

__attribute__((constructor)) void PlantLeak() {
    for (int round = 0; round < 100; ++round) {
        lost = malloc(4321);
        memset(lost, 1, 4321);
    }
    lost = nullptr;
}

}  // namespace
