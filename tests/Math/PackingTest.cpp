#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <sstream>

#include <gtest/gtest.h>

#include "QuillmarshEngine/Debug.h"
#include "QuillmarshEngine/Math/Half.h"
#include "QuillmarshEngine/Math/Packing.h"
#include "QuillmarshEngine/Math/Vector4.h"
#include "Printers.h"

namespace QuillmarshEngine { namespace {

/* Value of a half from its fields, written independently of unpackHalf() */
double halfValue(std::uint16_t h) {
    const int exponent = (h >> 10) & 0x1f;
    const int mantissa = h & 0x3ff;
    const double sign = (h & 0x8000) ? -1.0 : 1.0;
    if(exponent == 31) return mantissa ? std::numeric_limits<double>::quiet_NaN() : sign*std::numeric_limits<double>::infinity();
    if(exponent == 0) return sign*std::ldexp(double(mantissa), -24);
    return sign*std::ldexp(double(mantissa | 0x400), exponent - 25);
}

/* Nearest half to a finite float, ties away from zero, found by searching the ordered positive
   halves; above the largest finite half the next step up (65536) stands for infinity */
std::uint16_t referencePack(float value) {
    const double magnitude = std::abs(double(value));
    const std::uint16_t sign = std::signbit(value) ? 0x8000 : 0;
    std::uint16_t low = 0, high = 0x7c00;
    /* Largest positive half <= magnitude */
    while(high - low > 1) {
        const std::uint16_t middle = std::uint16_t((low + high)/2);
        if(halfValue(middle) <= magnitude) low = middle;
        else high = middle;
    }
    const std::uint16_t above = std::uint16_t(low + 1);
    const double aboveValue = above == 0x7c00 ? 65536.0 : halfValue(above);
    const double toLow = magnitude - halfValue(low);
    const double toAbove = aboveValue - magnitude;
    return std::uint16_t(sign | (toLow < toAbove ? low : above));
}

bool isHalfNan(std::uint16_t h) { return (h & 0x7c00) == 0x7c00 && (h & 0x3ff); }

TEST(PackingTest, everyHalfRoundTrips) {
    for(std::uint32_t i = 0; i != 65536; ++i) {
        const std::uint16_t h = std::uint16_t(i);
        const float f = Math::unpackHalf(h);
        if(isHalfNan(h)) {
            EXPECT_TRUE(std::isnan(f)) << i;
            /* NaN stays NaN, as the quiet NaN of the same sign */
            EXPECT_EQ(Math::packHalf(f), (h & 0x8000) | 0x7e00) << i;
            continue;
        }
        EXPECT_EQ(double(f), halfValue(h)) << i;
        EXPECT_EQ(Math::packHalf(f), h) << i;
    }
}

TEST(PackingTest, packHalfRounding) {
    /* Exactly halfway between two halves rounds away from zero, not to even */
    /* 1 + 2^-11 lies between 1 (0x3c00, even) and 1 + 2^-10 (0x3c01) */
    EXPECT_EQ(Math::packHalf(1.0f + std::ldexp(1.0f, -11)), 0x3c01);
    EXPECT_EQ(Math::packHalf(-(1.0f + std::ldexp(1.0f, -11))), 0xbc01);
    /* ... also between an odd and an even mantissa */
    EXPECT_EQ(Math::packHalf(1.0f + 3.0f*std::ldexp(1.0f, -11)), 0x3c02);
    /* ... and in the subnormal range: 2^-25 is halfway between 0 and the smallest subnormal */
    EXPECT_EQ(Math::packHalf(std::ldexp(1.0f, -25)), 0x0001);
    EXPECT_EQ(Math::packHalf(std::nextafter(std::ldexp(1.0f, -25), 0.0f)), 0x0000);
    EXPECT_EQ(Math::packHalf(3.0f*std::ldexp(1.0f, -25)), 0x0002);
    /* Just off the tie goes to the nearer one */
    EXPECT_EQ(Math::packHalf(std::nextafter(1.0f + std::ldexp(1.0f, -11), 0.0f)), 0x3c00);

    /* Overflow: 65504 is the largest finite half, 65520 (the tie towards 65536) is infinity */
    EXPECT_EQ(Math::packHalf(65504.0f), 0x7bff);
    EXPECT_EQ(Math::packHalf(65519.996f), 0x7bff);
    EXPECT_EQ(Math::packHalf(65520.0f), 0x7c00);
    EXPECT_EQ(Math::packHalf(-1.0e10f), 0xfc00);
    EXPECT_EQ(Math::packHalf(std::numeric_limits<float>::infinity()), 0x7c00);
    EXPECT_EQ(Math::packHalf(-std::numeric_limits<float>::infinity()), 0xfc00);
    /* Any NaN becomes the quiet NaN, with the sign kept */
    EXPECT_EQ(Math::packHalf(std::bit_cast<float>(0x7f800001u)), 0x7e00);
    EXPECT_EQ(Math::packHalf(std::bit_cast<float>(0xffc00123u)), 0xfe00);
    EXPECT_EQ(Math::packHalf(-0.0f), 0x8000);
    EXPECT_EQ(Math::packHalf(1.0e-30f), 0x0000);
    EXPECT_EQ(Math::packHalf(0.5f), 0x3800);
    EXPECT_EQ(Math::unpackHalf(0x3555), 0.333251953125f);
    EXPECT_EQ(Math::unpackHalf(0x7c00), std::numeric_limits<float>::infinity());

    EXPECT_EQ(Math::packHalf(Vector3{1.0f, -2.0f, 0.5f}), (Vector3us{0x3c00, 0xc000, 0x3800}));
    EXPECT_EQ(Math::unpackHalf(Vector3us{0x3c00, 0xc000, 0x3800}), (Vector3{1.0f, -2.0f, 0.5f}));
}

TEST(PackingTest, packHalfAgainstReference) {
    /* Random bit patterns cover every exponent; the second half of the sample is concentrated
       on ties and their neighbours, where rounding modes differ */
    std::mt19937 rng{2024};
    std::uniform_int_distribution<std::uint32_t> bits;
    std::size_t ties = 0;
    for(int i = 0; i != 400000; ++i) {
        std::uint32_t pattern = bits(rng);
        if(i % 2) {
            /* Inside the half range, low 12 mantissa bits set to 0x1000-ish tie patterns */
            pattern = (pattern & 0x80000000u) | ((pattern % (143u - 100u) + 100u) << 23) |
                (pattern & 0x7fe000u) | (0x1000u + (pattern >> 31) - (pattern >> 30 & 1));
        }
        const float value = std::bit_cast<float>(pattern);
        if(std::isnan(value)) {
            EXPECT_TRUE(isHalfNan(Math::packHalf(value)));
            continue;
        }
        const std::uint16_t expected = referencePack(value);
        ASSERT_EQ(Math::packHalf(value), expected) << std::hex << pattern;
        if((pattern & 0x1fff) == 0x1000) ++ties;
    }
    /* The sample did exercise ties */
    EXPECT_GT(ties, 1000u);
}

TEST(PackingTest, halfType) {
    static_assert(sizeof(Half) == 2 && sizeof(Vector3h) == 6);
    const Vector3h halves{Half{1.0f}, Half{-2.0f}, Half{0.5f}};
    EXPECT_EQ(halves[1].data(), Math::packHalf(-2.0f));
    EXPECT_EQ(Half{1.0f}.data(), 0x3c00);
    EXPECT_EQ(float(Half{std::uint16_t(0xc000)}), -2.0f);
    EXPECT_EQ(-Half{1.0f}, Half{-1.0f});
    /* Bitwise: the zeros differ, a NaN equals not even itself */
    EXPECT_FALSE(Half{0.0f} == Half{-0.0f});
    const Half nan{std::numeric_limits<float>::quiet_NaN()};
    EXPECT_FALSE(nan == nan);
    std::ostringstream out;
    Debug{&out} << Half{3.14159f} << Half{65504.0f} << Half{std::numeric_limits<float>::infinity()};
    EXPECT_EQ(out.str(), "3.141 6.55e+04 inf\n");
}

TEST(PackingTest, normalizedUnsigned) {
    EXPECT_EQ(Math::pack<std::uint8_t>(0.0f), 0);
    EXPECT_EQ(Math::pack<std::uint8_t>(1.0f), 255);
    /* round(127.5) = 128, half away from zero */
    EXPECT_EQ(Math::pack<std::uint8_t>(0.5f), 128);
    EXPECT_EQ(Math::pack<std::uint16_t>(0.5f), 32768);
    EXPECT_EQ(Math::pack<std::uint16_t>(1.0f), 65535);
    /* Outside [0, 1] clamps instead of wrapping */
    EXPECT_EQ(Math::pack<std::uint8_t>(-0.001f), 0);
    EXPECT_EQ(Math::pack<std::uint8_t>(1.001f), 255);
    EXPECT_EQ(Math::pack<std::uint16_t>(-1.0f), 0);
    EXPECT_EQ(Math::pack<std::uint16_t>(1.0e9f), 65535);
    EXPECT_EQ(Math::pack<std::uint16_t>(std::numeric_limits<float>::quiet_NaN()), 0);
    EXPECT_EQ(Math::pack<std::uint32_t>(1.0f), 0xffffffffu);

    EXPECT_EQ(Math::unpack<float>(std::uint8_t(0)), 0.0f);
    EXPECT_EQ(Math::unpack<float>(std::uint8_t(255)), 1.0f);
    EXPECT_EQ(Math::unpack<float>(std::uint8_t(51)), 0.2f);
    EXPECT_EQ(Math::unpack<float>(std::uint16_t(65535)), 1.0f);
    /* Every 16-bit value survives the round trip */
    for(std::uint32_t i = 0; i != 65536; ++i)
        ASSERT_EQ(Math::pack<std::uint16_t>(Math::unpack<float>(std::uint16_t(i))), i);
}

TEST(PackingTest, normalizedSigned) {
    EXPECT_EQ(Math::pack<std::int16_t>(-1.0f), -32767);
    EXPECT_EQ(Math::pack<std::int16_t>(0.0f), 0);
    EXPECT_EQ(Math::pack<std::int16_t>(1.0f), 32767);
    EXPECT_EQ(Math::pack<std::int16_t>(0.5f), 16384);
    EXPECT_EQ(Math::pack<std::int16_t>(-0.5f), -16384);
    EXPECT_EQ(Math::pack<std::int8_t>(-1.0f), -127);
    /* Clamped on both sides, never -32768 */
    EXPECT_EQ(Math::pack<std::int16_t>(-1.5f), -32767);
    EXPECT_EQ(Math::pack<std::int16_t>(std::nextafter(1.0f, 2.0f)), 32767);
    EXPECT_EQ(Math::pack<std::int16_t>(-std::numeric_limits<float>::infinity()), -32767);

    /* The minimum and the minimum + 1 both unpack to -1 */
    EXPECT_EQ(Math::unpack<float>(std::int16_t(-32768)), -1.0f);
    EXPECT_EQ(Math::unpack<float>(std::int16_t(-32767)), -1.0f);
    EXPECT_EQ(Math::unpack<float>(std::int16_t(32767)), 1.0f);
    EXPECT_EQ(Math::unpack<float>(std::int8_t(-128)), -1.0f);
    EXPECT_EQ(Math::unpack<double>(std::int16_t(16384)), 16384.0/32767.0);
    for(std::int32_t i = -32767; i != 32768; ++i)
        ASSERT_EQ(Math::pack<std::int16_t>(Math::unpack<float>(std::int16_t(i))), i);

    EXPECT_EQ(Math::pack<Vector3s>(Vector3{-1.0f, 0.5f, 2.0f}), (Vector3s{-32767, 16384, 32767}));
    EXPECT_EQ(Math::unpack<Vector3>(Vector3s{-32768, 0, 32767}), (Vector3{-1.0f, 0.0f, 1.0f}));
    EXPECT_EQ(Math::pack<Vector4us>(Math::Vector4<float>{0.0f, 0.5f, 1.0f, -3.0f}), (Vector4us{0, 32768, 65535, 0}));
}

}}
