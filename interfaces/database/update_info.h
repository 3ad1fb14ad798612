#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "interfaces/common/wmap.h"
#include "interfaces/platform/export.h"

namespace Drive::SQLiteDB {

/// An update of one row: which one, and the new values as text. Plain value.
struct UpdateDBInfo {
    std::wstring key;           ///< file id of the row
    std::wstring condition;     ///< empty in every use
    std::wstring reserved;      ///< empty in every use
    bool reservedFlag = false;  ///< false in every use
    WMap columns;               ///< column name to new value; an empty map means that nothing is to be written
};

/// One entry of that map. The number comes out in decimal.
ZELKOR_API std::pair<std::wstring, std::wstring> MakePair(const std::wstring& column, const std::int64_t& value);
ZELKOR_API std::pair<std::wstring, std::wstring> MakePair(const std::wstring& column, const std::wstring& value);

}  // namespace Drive::SQLiteDB
