// Preloaded into a host of the thread-sanitizer build: a race that must be noticed.
#include <pthread.h>

namespace {

int unguarded = 0;

void* Increment(void*) {
    for (int round = 0; round < 1000; ++round) ++unguarded;
    return nullptr;
}

__attribute__((constructor)) void PlantRace() {
    pthread_t threads[2];
    for (pthread_t& thread : threads) pthread_create(&thread, nullptr, Increment, nullptr);
    for (const pthread_t thread : threads) pthread_join(thread, nullptr);
}

}  // namespace
