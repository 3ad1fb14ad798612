#pragma once

#include "interfaces/platform/file_calls.h"

namespace Drive::TransferService {

/// Closes a handle of its own on every road out of a scope, exceptions included. The handle may be an invalid one.
class ClosingHandle {
public:
    explicit ClosingHandle(Platform::HANDLE handle) : handle(handle) {}
    ~ClosingHandle() { Platform::CloseHandle(handle); }
    ClosingHandle(const ClosingHandle&) = delete;
    ClosingHandle& operator=(const ClosingHandle&) = delete;

    Platform::HANDLE Get() const { return handle; }

private:
    const Platform::HANDLE handle;
};

}  // namespace Drive::TransferService
