#include <sstream>

#include <gtest/gtest.h>

#include "QuillmarshEngine/EnumSet.h"

namespace QuillmarshEngine { namespace {

enum class Feature: std::uint8_t { A = 1, B = 2, C = 4, D = 16 };
typedef EnumSet<Feature, 0x17> Features;
QUILLMARSH_ENUMSET_OPERATORS(Features)

Debug& operator<<(Debug& debug, Feature value) {
    switch(value) {
        case Feature::A: return Implementation::printEnumValue(debug, "Feature", "A");
        case Feature::B: return Implementation::printEnumValue(debug, "Feature", "B");
        case Feature::C: return Implementation::printEnumValue(debug, "Feature", "C");
        case Feature::D: return Implementation::printEnumValue(debug, "Feature", "D");
    }
    return Implementation::printUnknownEnum(debug, "Feature", std::uint8_t(value));
}
Debug& operator<<(Debug& debug, Features value) {
    return Implementation::enumSetDebugOutput(debug, value, "Features{}", {Feature::A, Feature::B, Feature::C, Feature::D});
}

TEST(EnumSetTest, operators) {
    constexpr Features ab = Feature::A|Feature::B;
    static_assert(ab.value() == 3);
    EXPECT_EQ((ab & Feature::B), Features{Feature::B});
    EXPECT_EQ((ab ^ Feature::A), Features{Feature::B});
    EXPECT_EQ((Feature::C|ab).value(), 7);
    /* Complement stays inside the full mask */
    EXPECT_EQ((~ab).value(), 0x14);
    EXPECT_EQ((~Feature::D).value(), 0x07);
    Features f;
    EXPECT_FALSE(f);
    f |= Feature::D;
    f |= Feature::A;
    EXPECT_TRUE(f);
    f &= ~Features{Feature::A};
    EXPECT_EQ(f, Features{Feature::D});
    f ^= Feature::D;
    EXPECT_EQ(f, Features{});
    EXPECT_EQ(std::uint8_t(ab), 3);
}

TEST(EnumSetTest, supersetAndSubset) {
    const Features abc = Feature::A|Feature::B|Feature::C;
    const Features ab = Feature::A|Feature::B;
    const Features ad = Feature::A|Feature::D;
    EXPECT_TRUE(abc >= ab);
    EXPECT_FALSE(ab >= abc);
    EXPECT_TRUE(ab <= abc);
    EXPECT_FALSE(ad <= abc);
    EXPECT_FALSE(abc >= ad);
    EXPECT_TRUE(ab >= Features{});
    EXPECT_TRUE(Features{} <= ab);
    EXPECT_TRUE(ab >= ab && ab <= ab);
}

TEST(EnumSetTest, debug) {
    std::ostringstream out;
    Debug{&out} << (Feature::A|Feature::C) << Features{} << Features{0x0a, nullptr};
    EXPECT_EQ(out.str(), "Feature::A|Feature::C Features{} Feature::B|Feature(0x8)\n");
}

}}
