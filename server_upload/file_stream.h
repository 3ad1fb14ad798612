#pragma once

#include <cpprest/filestream.h>
#include <pplx/pplxtasks.h>

#include <string>

namespace Drive::TransferService {

using ContentStream = concurrency::streams::basic_istream<char>;

/// Opens a file of the engine for reading, asynchronously. Every failure, also of a path that has no native form, lies
/// in the task and comes out of its get().
pplx::task<ContentStream> OpenContentStream(const std::wstring& path);

// Both block, and throw a standard exception that names the file when it cannot be read.

/// Reads from the stream's position to its end. `path` is that of the file.
std::string ReadToEnd(const ContentStream& stream, const std::wstring& path);

/// Reads up to `length` bytes at `position`, fewer only at the end of the file.
std::string ReadSlice(const ContentStream& stream, const std::wstring& path, std::uint64_t position,
                      std::uint64_t length);

}  // namespace Drive::TransferService
