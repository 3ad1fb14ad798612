#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "interfaces/cloud/drive_account.h"

/// Which file the bytes of a transfer belong to. A transfer knows an address only, so whoever asked for that address
/// notes the file; the engine sends and fetches on the thread that asked. An address that nobody on this thread asked
/// for belongs to no file.
namespace Drive::Cloud {

struct FileCount {
    std::atomic<std::uint64_t> sent{0};
    std::atomic<std::uint64_t> received{0};
};

/// The counts of a file, made when it has none. The files used last are remembered, a thousand of them. Any thread.
std::shared_ptr<FileCount> CountOfFile(const std::wstring& fileId);

/// What is moved at this address, on this thread, moves for the file.
void NoteAddress(const std::wstring& fileId, const std::wstring& address);

/// The objects of this record are the file's: their addresses are asked for without its id. An empty address may follow
/// for a file that is held in objects alone.
void NoteDownload(const std::wstring& fileId, const std::wstring& recordCursor, const std::wstring& address);

/// An object's address was asked for with this record.
void NoteObjectAddress(const std::wstring& recordCursor, const std::wstring& address);

/// The counts for a transfer at this address; null when it belongs to no file.
std::shared_ptr<FileCount> CountAtAddress(const std::wstring& address);

TransferCounters CountersOfFile(const std::wstring& fileId);

}  // namespace Drive::Cloud
