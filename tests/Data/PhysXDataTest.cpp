#include <gtest/gtest.h>

#include "QuillmarshEngine/Data/PhysXData.h"
#include "RecordTestHelpers.h"

namespace QuillmarshEngine { namespace Data { namespace {

using namespace std::string_view_literals;
using namespace Test;

TEST(PhysXDataTest, physxAndFont) {
    const std::vector<char> record = createPhysXData(PhysXData::Type::Box, 7, "cooked"sv);
    Bytes expected;
    expected.u16(3).u16(7).text("cooked");
    EXPECT_EQ(str(record), expected.data);
    EXPECT_EQ(print(PhysXData::Type::Box), "PhysXData::Type::Box\n");
    EXPECT_EQ(str(createFontData("ttf"sv)), "ttf");
}

TEST(PhysXDataDeathTest, type) {
    EXPECT_DEATH(createPhysXData(PhysXData::Type(0x10000), 0, {}), "^createPhysXData\\(\\): type 65536 does not fit 16 bits\n$");
}

}}}
