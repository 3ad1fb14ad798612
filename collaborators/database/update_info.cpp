#include "interfaces/database/update_info.h"

namespace Drive::SQLiteDB {

std::pair<std::wstring, std::wstring> MakePair(const std::wstring& column, const std::int64_t& value) {
    return {column, std::to_wstring(value)};
}

std::pair<std::wstring, std::wstring> MakePair(const std::wstring& column, const std::wstring& value) {
    return {column, value};
}

}  // namespace Drive::SQLiteDB
