#include "host/fetch/fetch_sinks.h"

#include <unistd.h>

#include <cerrno>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

namespace Drive::Host {
namespace {

struct Sink {
    Sink(int descriptor, std::shared_ptr<FetchObserver> observer)
        : descriptor(descriptor), observer(std::move(observer)) {}
    ~Sink() { close(descriptor); }
    Sink(const Sink&) = delete;
    Sink& operator=(const Sink&) = delete;

    const int descriptor;
    const std::shared_ptr<FetchObserver> observer;
    std::mutex mutex;
    std::int64_t next = -1;  // guarded by mutex
};

// Never destroyed: engine threads may come until the process is gone.
struct Table {
    std::mutex mutex;
    std::map<std::wstring, std::shared_ptr<Sink>> sinks;  // guarded by mutex
};

Table& TheTable() {
    static Table* const table = new Table;
    return *table;
}

std::shared_ptr<Sink> SinkOf(const std::wstring& path) {
    Table& table = TheTable();
    const std::lock_guard lock(table.mutex);
    const auto found = table.sinks.find(path);
    return found == table.sinks.end() ? nullptr : found->second;
}

bool WriteAll(int descriptor, const unsigned char* data, std::int64_t length, std::int64_t offset) {
    while (length > 0) {
        const ssize_t count = pwrite(descriptor, data, static_cast<std::size_t>(length), offset);
        if (count < 0 && errno != EINTR) {
            return false;
        }
        const std::int64_t done = count > 0 ? count : 0;
        data += done;
        offset += done;
        length -= done;
    }
    return true;
}

}  // namespace

void FetchSinks::Open(const std::wstring& path, int descriptor, std::shared_ptr<FetchObserver> observer) {
    Table& table = TheTable();
    const std::lock_guard lock(table.mutex);
    table.sinks[path] = std::make_shared<Sink>(descriptor, std::move(observer));
}

bool FetchSinks::Begin(const std::wstring& path) noexcept {
    try {
        const std::shared_ptr<Sink> sink = SinkOf(path);
        if (!sink) {
            return false;
        }
        const std::lock_guard lock(sink->mutex);
        const bool empty = ftruncate(sink->descriptor, 0) == 0;
        sink->next = empty ? 0 : -1;
        if (empty && sink->observer) {
            sink->observer->Began();
        }
        return empty;
    } catch (...) {
        return false;
    }
}

bool FetchSinks::Take(const std::wstring& path, std::int64_t offset, const unsigned char* data,
                      std::int64_t length) noexcept {
    try {
        const std::shared_ptr<Sink> sink = SinkOf(path);
        if (!sink || length < 0) {
            return false;
        }
        const std::lock_guard lock(sink->mutex);
        if (sink->next != offset || !WriteAll(sink->descriptor, data, length, offset)) {
            return false;
        }
        sink->next += length;
        if (sink->observer) {
            sink->observer->Took(offset, data, length);
        }
        return true;
    } catch (...) {
        return false;
    }
}

std::int64_t FetchSinks::Arrived(const std::wstring& path) {
    const std::shared_ptr<Sink> sink = SinkOf(path);
    if (!sink) {
        return -1;
    }
    const std::lock_guard lock(sink->mutex);
    return sink->next;
}

bool FetchSinks::Sync(const std::wstring& path) {
    const std::shared_ptr<Sink> sink = SinkOf(path);
    return sink && fdatasync(sink->descriptor) == 0;
}

void FetchSinks::Close(const std::wstring& path) {
    Table& table = TheTable();
    const std::lock_guard lock(table.mutex);
    table.sinks.erase(path);
}

}  // namespace Drive::Host
