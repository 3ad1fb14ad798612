#include "tests/contract/cloud/memory_count.h"

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::size_t> held{0};
std::atomic<std::size_t> most{0};

void Release(void* memory) noexcept {
    if (memory != nullptr) held -= malloc_usable_size(memory);
    std::free(memory);
}

}  // namespace

// This program's own allocation, and that of the libraries it is linked with. Inlined, the pair would look mismatched
// to an optimising compiler.
[[gnu::noinline]] void* operator new(std::size_t size) {
    void* const memory = std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) throw std::bad_alloc();
    const std::size_t now = held += malloc_usable_size(memory);
    for (std::size_t seen = most; now > seen && !most.compare_exchange_weak(seen, now);) {
    }
    return memory;
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { Release(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { Release(memory); }

namespace Drive::Testing {

MemoryPeak::MemoryPeak() : before(held) { most = before; }

std::size_t MemoryPeak::Bytes() const {
    const std::size_t now = most;
    return now > before ? now - before : 0;
}

}  // namespace Drive::Testing
