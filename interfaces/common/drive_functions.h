#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "interfaces/platform/export.h"

namespace Drive {

/// What happens to a file that is being worked on; the value in use is 5.
enum class FileChangeType { Transfer = 5 };

/// Hexadecimal text to bytes: writes length/2 bytes to `bytes`, for which the caller provides the room. Never reads
/// past the text's end or the first character that is no hexadecimal digit; what is missing, half a byte included, is
/// written as zero.
ZELKOR_API void HexstrToByte(const std::string& text, unsigned char* bytes, std::size_t length);

/// Registers the path (below the sync root) as being worked on. An entry lapses by itself after a while, since the
/// engine inserts under one name and erases under another when the two differ. Any thread.
ZELKOR_API void InsertOperatingFiles(const std::wstring& relativePath, FileChangeType change);

/// Removes that entry; an absent one is no error.
ZELKOR_API void EraseOpetatingFile(const std::wstring& relativePath);

/// True while an entry stands and has not lapsed: for a host that watches the folder.
ZELKOR_API bool IsOperatingFile(const std::wstring& relativePath);

/// Number of entries that stand.
ZELKOR_API std::size_t OperatingFileCount();

/// Tells the client the state of the user's space; called with 2 when it has become small.
ZELKOR_API void GetAndTransferDiskStatus(const int& status);

/// Seconds since the epoch.
ZELKOR_API std::int64_t GetTimeStamp();

}  // namespace Drive
