#pragma once

#include <cstdint>

/// The few types and numbers of the home platform's calls. The engine passes the numbers on as they stand; a test
/// double checks them. Names that the home platform defines as macros are given in our own spelling.
namespace Drive::Platform {

using BOOL = int;
using DWORD = std::uint32_t;
using ULONG = std::uint32_t;

/// A reference into a table of open files, never a raw descriptor, and never used twice. 0 means none.
using HANDLE = void*;

/// What CreateFileW answers when it failed (all bits set).
inline const HANDLE kInvalidHandle = reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(-1));

/// True for a handle that stands for an open file: neither none nor the invalid value.
inline bool IsOpenHandle(HANDLE handle) { return handle != nullptr && handle != kInvalidHandle; }

/// Three counts of bytes as GetDiskFreeSpaceExW gives them.
using DiskBytes = std::uint64_t;

inline constexpr DWORD kGenericRead = 0x80000000;
inline constexpr DWORD kGenericWrite = 0x40000000;
inline constexpr DWORD kFileReadAttributes = 0x80;
inline constexpr DWORD kFileShareRead = 1;
inline constexpr DWORD kFileShareWrite = 2;
inline constexpr DWORD kFileShareDelete = 4;
inline constexpr DWORD kOpenExisting = 3;
inline constexpr DWORD kOpenAlways = 4;
inline constexpr DWORD kFileFlagOverlapped = 0x40000000;

}  // namespace Drive::Platform
