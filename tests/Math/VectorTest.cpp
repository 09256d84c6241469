#include <cmath>
#include <limits>
#include <sstream>
#include <type_traits>

#include <gtest/gtest.h>

#include "QuillmarshEngine/Debug.h"
#include "Printers.h"
#include "QuillmarshEngine/Math/Color4.h"
#include "QuillmarshEngine/Math/Constants.h"

namespace QuillmarshEngine { namespace {

using Math::TypeTraits;

TEST(VectorTest, fuzzyEqualityOfScalars) {
    constexpr float e = TypeTraits<float>::epsilon();
    EXPECT_EQ(e, 1.0e-5f);
    EXPECT_EQ(TypeTraits<double>::epsilon(), 1.0e-14);

    /* At zero the test is absolute */
    EXPECT_TRUE(Math::equals(0.0f, 0.9e-5f));
    EXPECT_FALSE(Math::equals(0.0f, 1.1e-5f));
    EXPECT_TRUE(Math::equals(0.0f, -0.0f));
    /* Tiny values of opposite signs are equal when their difference is below epsilon */
    EXPECT_TRUE(Math::equals(3.0e-6f, -3.0e-6f));
    EXPECT_FALSE(Math::equals(6.0e-6f, -6.0e-6f));
    /* Huge values compare relative to the sum of their magnitudes */
    EXPECT_TRUE(Math::equals(1.0e30f, 1.00001e30f));
    EXPECT_FALSE(Math::equals(1.0e30f, 1.0001e30f));
    EXPECT_TRUE(Math::equals(100000.0f, 100001.0f));
    EXPECT_FALSE(Math::equals(100000.0f, 100003.0f));
    /* Mixed signs far from zero never match, not even with an overflowing difference */
    EXPECT_FALSE(Math::equals(1.0f, -1.0f));
    EXPECT_FALSE(Math::equals(3.0e38f, -3.0e38f));
    /* Infinities equal only themselves, NaN nothing */
    constexpr float inf = std::numeric_limits<float>::infinity();
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    EXPECT_TRUE(Math::equals(inf, inf));
    EXPECT_FALSE(Math::equals(inf, -inf));
    EXPECT_FALSE(Math::equals(nan, nan));
    EXPECT_FALSE(Math::equals(1.0f, nan));
    /* Integers are exact */
    EXPECT_FALSE(Math::equals(100000, 100001));

    EXPECT_TRUE(TypeTraits<float>::equalsZero(0.0f, 1.0f));
    EXPECT_TRUE(TypeTraits<float>::equalsZero(0.9e-5f, 1.0f));
    EXPECT_TRUE(TypeTraits<float>::equalsZero(0.001f, 1000.0f));
    EXPECT_FALSE(TypeTraits<float>::equalsZero(0.001f, 1.0f));
}

TEST(VectorTest, fuzzyEqualityOfVectors) {
    EXPECT_EQ((Vector3{1.0f, 0.0f, -1.0e6f}), (Vector3{1.000001f, 0.000001f, -1.000001e6f}));
    EXPECT_NE((Vector3{1.0f, 0.0f, -1.0e6f}), (Vector3{1.0f, 0.0f, 1.0e6f}));
    EXPECT_NE((Vector3{1.0f, 0.0f, 0.0f}), (Vector3{1.0f, 0.00002f, 0.0f}));
    EXPECT_TRUE((Vector3{0.000001f, -0.000001f, 0.0f}).isZero());
    EXPECT_FALSE((Vector3{0.0f, 0.0f, 0.0001f}).isZero());
    EXPECT_NE((Vector2i{1, 2}), (Vector2i{1, 3}));
    EXPECT_TRUE((Vector3{0.6f, 0.8f, 0.0f}).isNormalized());
    EXPECT_TRUE((Vector3{0.6f, 0.8f, 0.001f}).isNormalized()); /* squared length off by 1e-6 only */
    EXPECT_FALSE((Vector3{0.6f, 0.8f, 0.01f}).isNormalized());
}

TEST(VectorTest, constructAndConvert) {
    EXPECT_EQ(Vector3{}, (Vector3{0.0f, 0.0f, 0.0f}));
    EXPECT_EQ(Vector3{2.5f}, (Vector3{2.5f, 2.5f, 2.5f}));
    EXPECT_EQ((Vector4{Vector3{1.0f, 2.0f, 3.0f}, 4.0f}), (Vector4{1.0f, 2.0f, 3.0f, 4.0f}));
    EXPECT_EQ((Vector3{Vector2{1.0f, 2.0f}, 3.0f}), (Vector3{1.0f, 2.0f, 3.0f}));
    /* Conversion truncates like static_cast */
    EXPECT_EQ(Vector3i{(Vector3{1.7f, -1.7f, 3.0f})}, (Vector3i{1, -1, 3}));
    constexpr Vector4 v{1.0f, 2.0f, 3.0f, 4.0f};
    static_assert(v.w() == 4.0f && v.xyz().z() == 3.0f && v.xy().y() == 2.0f);

    Vector4 mutableV{1.0f, 2.0f, 3.0f, 4.0f};
    mutableV.xyz() = Vector3{7.0f, 8.0f, 9.0f};
    mutableV.xy().x() = 5.0f;
    EXPECT_EQ(mutableV, (Vector4{5.0f, 8.0f, 9.0f, 4.0f}));

    const float raw[]{1.0f, 2.0f, 3.0f};
    EXPECT_EQ(Vector3::from(raw), (Vector3{1.0f, 2.0f, 3.0f}));

    /* Colours: black and transparent by default, opaque when channels are given */
    EXPECT_EQ(Color4{}, (Color4{0.0f, 0.0f, 0.0f, 0.0f}));
    EXPECT_EQ((Color4{0.5f, 0.25f, 1.0f}).a(), 1.0f);
    EXPECT_EQ((Color4ub{10, 20, 30}).a(), 255);
    EXPECT_EQ((Color4{Color3{0.1f, 0.2f, 0.3f}, 0.5f}).rgb(), (Color3{0.1f, 0.2f, 0.3f}));
}

TEST(VectorTest, arithmeticKeepsTheType) {
    const Vector3 a{1.0f, 2.0f, 3.0f};
    const Vector3 b{4.0f, -5.0f, 6.0f};
    static_assert(std::is_same_v<decltype(a + b), Vector3>);
    static_assert(std::is_same_v<decltype(a*2.0f), Vector3>);
    static_assert(std::is_same_v<decltype(Color4{}*0.5f), Color4>);
    static_assert(std::is_same_v<decltype(-Vector2i{}), Vector2i>);
    static_assert(std::is_same_v<decltype(Math::lerp(a, b, 0.5f)), Vector3>);

    EXPECT_EQ(a + b, (Vector3{5.0f, -3.0f, 9.0f}));
    EXPECT_EQ(a - b, (Vector3{-3.0f, 7.0f, -3.0f}));
    EXPECT_EQ(a*b, (Vector3{4.0f, -10.0f, 18.0f}));
    EXPECT_EQ(b/a, (Vector3{4.0f, -2.5f, 2.0f}));
    EXPECT_EQ(2.0f*a, a*2.0f);
    EXPECT_EQ(a/2.0f, (Vector3{0.5f, 1.0f, 1.5f}));
    EXPECT_EQ(6.0f/a, (Vector3{6.0f, 3.0f, 2.0f}));
    EXPECT_EQ(-a, (Vector3{-1.0f, -2.0f, -3.0f}));
    EXPECT_EQ((Vector3i{7, 8, 9}/2), (Vector3i{3, 4, 4}));

    EXPECT_EQ(a.sum(), 6.0f);
    EXPECT_EQ(b.product(), -120.0f);
    EXPECT_EQ(b.min(), -5.0f);
    EXPECT_EQ(b.max(), 6.0f);
    EXPECT_EQ(Math::min(a, b), (Vector3{1.0f, -5.0f, 3.0f}));
    EXPECT_EQ(Math::max(a, b), (Vector3{4.0f, 2.0f, 6.0f}));
    EXPECT_EQ(Math::abs(b), (Vector3{4.0f, 5.0f, 6.0f}));
    EXPECT_EQ(Math::clamp(b, 0.0f, 5.0f), (Vector3{4.0f, 0.0f, 5.0f}));
    EXPECT_EQ(Math::clamp(b, Vector3{0.0f}, Vector3{1.0f, 2.0f, 3.0f}), (Vector3{1.0f, 0.0f, 3.0f}));
}

TEST(VectorTest, geometry) {
    /* Right-handed cross product, anticommutative */
    EXPECT_EQ(Math::cross(Vector3::xAxis(), Vector3::yAxis()), Vector3::zAxis());
    EXPECT_EQ(Math::cross(Vector3::zAxis(), Vector3::yAxis()), -Vector3::xAxis());
    const Vector3 a{1.5f, -2.0f, 0.25f}, b{-3.0f, 0.5f, 4.0f};
    const Vector3 c = Math::cross(a, b);
    EXPECT_NEAR(Math::dot(c, a), 0.0f, 1e-5f);
    EXPECT_NEAR(Math::dot(c, b), 0.0f, 1e-5f);
    /* |a x b|^2 = |a|^2 |b|^2 - (a.b)^2 */
    EXPECT_NEAR(c.dot(), a.dot()*b.dot() - Math::dot(a, b)*Math::dot(a, b), 1e-3f);
    EXPECT_EQ(Math::cross(Vector2{1.0f, 0.0f}, Vector2{0.0f, 1.0f}), 1.0f);

    EXPECT_EQ((Vector3{3.0f, 4.0f, 12.0f}).length(), 13.0f);
    EXPECT_EQ((Vector3{3.0f, 4.0f, 12.0f}).normalized(), (Vector3{3.0f/13.0f, 4.0f/13.0f, 12.0f/13.0f}));
    EXPECT_TRUE((Vector3{-7.0f, 0.5f, 2.0f}).normalized().isNormalized());
    EXPECT_EQ((Vector2{3.0f, 4.0f}).resized(10.0f), (Vector2{6.0f, 8.0f}));
    EXPECT_EQ((Vector3{2.0f, 3.0f, 0.0f}).projected(Vector3::xAxis(5.0f)), (Vector3{2.0f, 0.0f, 0.0f}));
    EXPECT_EQ((Vector2{1.0f, 2.0f}).perpendicular(), (Vector2{-2.0f, 1.0f}));
    EXPECT_NEAR(Math::angle(Vector3::xAxis(), Vector3{Math::Constants<float>::sqrtHalf(), Math::Constants<float>::sqrtHalf(), 0.0f}),
        Math::Constants<float>::pi()/4.0f, 1e-6f);
    /* Rounding noise above 1 in the dot product does not make the angle NaN */
    EXPECT_EQ(Math::angle(Vector3{0.6f, 0.8f, 0.0f}, Vector3{0.6f, 0.8f, 0.0f}), 0.0f);
}

TEST(VectorTest, lerpIsExactAtTheEnds) {
    /* (1 - t)*a + t*b, not a + t*(b - a), which would miss b for large values */
    const Vector3 a{1.0e8f, -3.3f, 0.1f}, b{-1.0f, 7.7f, 1.0e-7f};
    const Vector3 atStart = Math::lerp(a, b, 0.0f);
    const Vector3 atEnd = Math::lerp(a, b, 1.0f);
    for(std::size_t i = 0; i != 3; ++i) {
        EXPECT_EQ(atStart[i], a[i]);
        EXPECT_EQ(atEnd[i], b[i]);
    }
    EXPECT_EQ(Math::lerp(Vector2{0.0f, 10.0f}, Vector2{10.0f, 20.0f}, 0.25f), (Vector2{2.5f, 12.5f}));
    EXPECT_EQ(Math::lerp(2.0f, 4.0f, 0.5f), 3.0f);
    EXPECT_EQ(Math::radians(180.0f), 3.1415927f);
}

TEST(VectorTest, debugOutput) {
    std::ostringstream out;
    Debug{&out} << Vector2{0.5f, -1.0e8f} << Vector3i{-1, 0, 1} << Math::Vector<1, double>{0.125}
        << Vector4us{65535, 0, 1, 2} << Vector3b{-128, 0, 127} << Color3ub{1, 2, 3};
    EXPECT_EQ(out.str(), "Vector(0.5, -1e+08) Vector(-1, 0, 1) Vector(0.125) Vector(65535, 0, 1, 2) "
        "Vector(-128, 0, 127) Vector(1, 2, 3)\n");
}

}}
