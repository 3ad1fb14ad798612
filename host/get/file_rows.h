#pragma once

#include <string>
#include <unordered_map>

#include "host/get/cloud_tree.h"
#include "host/get/decide.h"
#include "interfaces/common/file_item.h"

/// The engine's rows as the host reads and writes them.
namespace Drive::Host {

/// All rows and download tasks of one moment, by file id.
struct RowSnapshot {
    std::unordered_map<std::wstring, Common::FileItem> files;
    std::unordered_map<std::wstring, TaskFacts> downloads;
};

/// False when the database could not be read.
bool ReadRows(RowSnapshot& snapshot);

/// A row for an entry, at that fileStatus; `localSha256` empty for content that is not here yet.
Common::FileItem RowOf(const CloudEntry& entry, int fileStatus, const std::wstring& localSha256);

/// Drops the download task of a file, and with it the record of how far it got.
bool DropDownload(const std::wstring& fileId);

/// Marks a file whose content did not prove: failed, without task. The engine leaves it alone then.
bool MarkFailed(const std::wstring& fileId);

}  // namespace Drive::Host
