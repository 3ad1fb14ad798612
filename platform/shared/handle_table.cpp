#include "platform/shared/handle_table.h"

#include <cstdint>
#include <mutex>
#include <new>
#include <shared_mutex>
#include <unordered_map>
#include <utility>

namespace Drive::Platform {

namespace {

struct HandleTable {
    std::shared_mutex mutex;
    // Guarded by mutex.
    std::unordered_map<std::uintptr_t, std::shared_ptr<OpenFile>> files;
    std::uintptr_t lastNumber =
        0x10000;  // well above the system's own numbers, so that the two are never taken for each other
};

/// Never destroyed: workers may hold handles while the process ends. In a place of its own rather than on the heap, so
/// that a handle can be refused without memory.
HandleTable& Table() noexcept {
    alignas(HandleTable) static unsigned char place[sizeof(HandleTable)];
    static HandleTable* const table = new (place) HandleTable;
    return *table;
}

}  // namespace

HANDLE InsertOpenFile(std::shared_ptr<OpenFile> file) {
    HandleTable& table = Table();
    std::unique_lock<std::shared_mutex> lock(table.mutex);
    const std::uintptr_t number = table.lastNumber + 4;
    table.files.emplace(number, std::move(file));
    table.lastNumber = number;
    return reinterpret_cast<HANDLE>(number);
}

std::shared_ptr<OpenFile> FindOpenFile(HANDLE handle) noexcept {
    HandleTable& table = Table();
    std::shared_lock<std::shared_mutex> lock(table.mutex);
    const auto found = table.files.find(reinterpret_cast<std::uintptr_t>(handle));
    return found == table.files.end() ? nullptr : found->second;
}

bool RemoveOpenFile(HANDLE handle) noexcept {
    std::shared_ptr<OpenFile> closedOutsideTheLock;
    HandleTable& table = Table();
    std::unique_lock<std::shared_mutex> lock(table.mutex);
    const auto found = table.files.find(reinterpret_cast<std::uintptr_t>(handle));
    if (found == table.files.end()) return false;
    closedOutsideTheLock = std::move(found->second);
    table.files.erase(found);
    lock.unlock();
    return true;
}

std::size_t CountOpenFiles() noexcept {
    HandleTable& table = Table();
    std::shared_lock<std::shared_mutex> lock(table.mutex);
    return table.files.size();
}

}  // namespace Drive::Platform
