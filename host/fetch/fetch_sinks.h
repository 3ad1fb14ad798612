#pragma once

#include <cstdint>
#include <memory>
#include <string>

/// Where the data of on-demand fetches goes. The engine hands over the blocks of such a file instead of writing them;
/// each file has a sink here from before its fetch is asked for until it has ended. Any thread.
namespace Drive::Host {

/// Who watches one file arrive. Called on the engine's threads, one call at a time for a sink; quick, and never throws.
class FetchObserver {
public:
    virtual ~FetchObserver() = default;

    /// The engine begins, or begins again: what arrived before is gone.
    virtual void Began() = 0;

    /// A block was written behind the ones before it.
    virtual void Took(std::int64_t offset, const unsigned char* data, std::int64_t length) = 0;
};

class FetchSinks {
public:
    /// Opens a sink on a file descriptor that it takes over, for the path as the engine writes it. An earlier sink of
    /// that path is closed. `observer` may be null.
    static void Open(const std::wstring& path, int descriptor, std::shared_ptr<FetchObserver> observer = nullptr);

    /// The engine begins (again) with the file: everything that arrived before is dropped. False without a sink or
    /// when the file cannot be emptied.
    static bool Begin(const std::wstring& path) noexcept;

    /// The next block. Only the offset that comes next is taken: after a failed write the engine may begin again with
    /// the first block at a later offset. False without a sink, at another offset, or when it could not be written.
    static bool Take(const std::wstring& path, std::int64_t offset, const unsigned char* data,
                     std::int64_t length) noexcept;

    /// Bytes that have arrived in order, from the first on; -1 without a sink or before it began.
    static std::int64_t Arrived(const std::wstring& path);

    /// Makes what arrived survive a loss of power. False without a sink or when that failed.
    static bool Sync(const std::wstring& path);

    static void Close(const std::wstring& path);
};

}  // namespace Drive::Host
