#include <gtest/gtest.h>

#include "QuillmarshEngine/Data/SkinData.h"
#include "QuillmarshEngine/Math/DualQuaternion.h"
#include "RecordTestHelpers.h"

namespace QuillmarshEngine { namespace Data { namespace {

using namespace Test;

TEST(SkinDataTest, skin) {
    const DualQuaternion transforms[]{
        {Quaternion{{1.0f, 2.0f, 3.0f}, 4.0f}, Quaternion{{5.0f, 6.0f, 7.0f}, 8.0f}},
        DualQuaternion{}};
    const Vector3 scalings[]{Vector3{1.0f}, Vector3{2.0f, 3.0f, 4.0f}};
    const Id joints[]{Id(5), Id(0x0102)};
    Bytes expected;
    expected.u32(2);
    for(const float f: {1.0f, 2.0f, 3.0f, 4.0f, 5.0f, 6.0f, 7.0f, 8.0f, 0.0f, 0.0f, 0.0f, 1.0f, 0.0f, 0.0f, 0.0f, 0.0f}) expected.f32(f);
    for(const float f: {1.0f, 1.0f, 1.0f, 2.0f, 3.0f, 4.0f}) expected.f32(f);
    expected.u16(5).u16(0x0102);
    EXPECT_EQ(str(createSkinData(transforms, scalings, joints)), expected.data);
    EXPECT_EQ(str(createSkinData({}, {}, {})), std::string("\0\0\0\0", 4));
}

TEST(SkinDataDeathTest, lists) {
    const DualQuaternion transforms[1]{};
    const Id joints[2]{};
    EXPECT_DEATH(createSkinData(transforms, {}, joints), "^createSkinData\\(\\): expected lists of the same length, got 1 transforms, 0 scalings and 2 joints\n$");
}

}}}
