#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "interfaces/database/update_info.h"

namespace Drive::Testing {
namespace {

// SVC-REC-08
TEST(WideNumbers, OfAnUpdateKeepAllTheirDigits) {
    EXPECT_EQ(SQLiteDB::MakePair(L"size", std::int64_t{53687091201}).second, L"53687091201");
    EXPECT_EQ(SQLiteDB::MakePair(L"size", std::numeric_limits<std::int64_t>::max()).second, L"9223372036854775807");
    EXPECT_EQ(SQLiteDB::MakePair(L"size", std::numeric_limits<std::int64_t>::min()).second, L"-9223372036854775808");
}

}  // namespace
}  // namespace Drive::Testing
