#include "tests/contract/cloud/memory_count.h"

#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::size_t> held{0};
std::atomic<std::size_t> most{0};

void* Take(std::size_t size) noexcept {
    void* const memory = std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) return nullptr;
    const std::size_t now = held += malloc_usable_size(memory);
    for (std::size_t seen = most; now > seen && !most.compare_exchange_weak(seen, now);) {
    }
    return memory;
}

void Release(void* memory) noexcept {
    if (memory != nullptr) held -= malloc_usable_size(memory);
    std::free(memory);
}

}  // namespace

// This program's own allocation, and that of the libraries it is linked with: the whole family, so that nothing is
// taken by one of its members and given back by a stranger. Inlined, the pairs would look mismatched to an optimising
// compiler.
[[gnu::noinline]] void* operator new(std::size_t size) {
    if (void* const memory = Take(size)) return memory;
    throw std::bad_alloc();
}
[[gnu::noinline]] void* operator new[](std::size_t size) { return operator new(size); }
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return Take(size); }
[[gnu::noinline]] void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return Take(size); }
[[gnu::noinline]] void operator delete(void* memory) noexcept { Release(memory); }
[[gnu::noinline]] void operator delete[](void* memory) noexcept { Release(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { Release(memory); }
[[gnu::noinline]] void operator delete[](void* memory, std::size_t) noexcept { Release(memory); }
[[gnu::noinline]] void operator delete(void* memory, const std::nothrow_t&) noexcept { Release(memory); }
[[gnu::noinline]] void operator delete[](void* memory, const std::nothrow_t&) noexcept { Release(memory); }

namespace Drive::Testing {

MemoryPeak::MemoryPeak() : before(held) { most = before; }

std::size_t MemoryPeak::Bytes() const {
    const std::size_t now = most;
    return now > before ? now - before : 0;
}

}  // namespace Drive::Testing
