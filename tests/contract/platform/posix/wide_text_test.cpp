#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "interfaces/platform/text.h"

namespace Drive::Platform {

// PLAT-TEXT-07
TEST(Text, AValueAboveTheLastCharacterCannotBeNarrowed) {
    EXPECT_THROW(NarrowText(std::wstring(1, L'\x110000')), std::range_error);
    EXPECT_THROW(NarrowText(std::wstring(1, static_cast<wchar_t>(0xFFFFFFFF))), std::range_error);
}

}  // namespace Drive::Platform
