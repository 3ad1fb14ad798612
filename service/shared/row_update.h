#pragma once

#include <string>
#include <utility>

#include "interfaces/common/wmap.h"
#include "interfaces/database/update_info.h"

namespace Drive::TransferService {

/// An update of the row of `fileId`.
inline SQLiteDB::UpdateDBInfo RowUpdate(const std::wstring& fileId, WMap columns) {
    SQLiteDB::UpdateDBInfo info;
    info.key = fileId;
    info.columns = std::move(columns);
    return info;
}

}  // namespace Drive::TransferService
