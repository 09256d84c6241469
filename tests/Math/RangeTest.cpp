#include <sstream>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "QuillmarshEngine/Debug.h"
#include "QuillmarshEngine/Math/BoundingSphere.h"
#include "QuillmarshEngine/Math/Range.h"
#include "Printers.h"

namespace QuillmarshEngine { namespace {

/* Stored in columns and mesh records */
static_assert(sizeof(Range1Dus) == 4 && std::is_standard_layout_v<Range1Dus> && std::is_trivially_copyable_v<Range1Dus>);
static_assert(sizeof(Range3D) == 24 && std::is_standard_layout_v<Range3D>);
static_assert(sizeof(BoundingSphere) == 16 && std::is_standard_layout_v<BoundingSphere> && std::is_trivially_copyable_v<BoundingSphere>);

TEST(RangeTest, oneDimensionalUnsignedShort) {
    constexpr Range1Dus empty;
    static_assert(empty.min() == 0 && empty.max() == 0);
    EXPECT_TRUE(empty.isEmpty());

    Range1Dus slice{10, 25};
    EXPECT_EQ(slice.size(), 15);
    EXPECT_EQ(slice.center(), 17);
    /* Half-open: begin inside, end outside */
    EXPECT_TRUE(slice.contains(std::uint16_t(10)));
    EXPECT_TRUE(slice.contains(std::uint16_t(24)));
    EXPECT_FALSE(slice.contains(std::uint16_t(25)));
    EXPECT_FALSE(slice.contains(std::uint16_t(9)));
    /* Layout: begin then end */
    EXPECT_EQ(slice.data()[0], 10);
    EXPECT_EQ(slice.data()[1], 25);
    /* Arithmetic wraps at 16 bits like the stored values do */
    slice.max() = std::uint16_t(slice.max() + 65530);
    EXPECT_EQ(slice.max(), 19);
    EXPECT_FALSE(slice.isEmpty());
    /* An inverted range is empty and contains nothing */
    EXPECT_TRUE((Range1Dus{10, 5}).isEmpty());
    EXPECT_FALSE((Range1Dus{10, 5}).contains(std::uint16_t(7)));
    EXPECT_EQ(slice.translated(std::uint16_t(5)), (Range1Dus{15, 24}));
}

TEST(RangeTest, threeDimensional) {
    const Range3D box{{-1.0f, 0.0f, 2.0f}, {1.0f, 4.0f, 3.0f}};
    EXPECT_EQ(box.size(), (Vector3{2.0f, 4.0f, 1.0f}));
    EXPECT_EQ(box.center(), (Vector3{0.0f, 2.0f, 2.5f}));
    EXPECT_EQ(box.halfSize(), (Vector3{1.0f, 2.0f, 0.5f}));
    EXPECT_EQ(Range3D::fromSize({-1.0f, 0.0f, 2.0f}, {2.0f, 4.0f, 1.0f}), box);
    EXPECT_EQ(Range3D::fromCenter({0.0f, 2.0f, 2.5f}, {1.0f, 2.0f, 0.5f}), box);
    EXPECT_TRUE(box.contains(Vector3{0.0f, 0.0f, 2.0f}));
    EXPECT_FALSE(box.contains(Vector3{0.0f, 4.0f, 2.5f}));
    EXPECT_TRUE(box.contains(Range3D{{0.0f, 1.0f, 2.0f}, {1.0f, 2.0f, 3.0f}}));
    EXPECT_FALSE(box.contains(Range3D{{0.0f, 1.0f, 2.0f}, {1.5f, 2.0f, 3.0f}}));
    EXPECT_EQ(box.padded(Vector3{1.0f}), (Range3D{{-2.0f, -1.0f, 1.0f}, {2.0f, 5.0f, 4.0f}}));
    EXPECT_EQ(box.scaled(Vector3{2.0f}), (Range3D{{-2.0f, 0.0f, 4.0f}, {2.0f, 8.0f, 6.0f}}));

    const Range3D other{{0.5f, 3.0f, -5.0f}, {7.0f, 9.0f, 2.5f}};
    EXPECT_TRUE(Math::intersects(box, other));
    EXPECT_EQ(Math::intersect(box, other), (Range3D{{0.5f, 3.0f, 2.0f}, {1.0f, 4.0f, 2.5f}}));
    EXPECT_EQ(Math::join(box, other), (Range3D{{-1.0f, 0.0f, -5.0f}, {7.0f, 9.0f, 3.0f}}));
    /* Touching faces do not intersect; an empty range does not grow a join */
    const Range3D touching{{1.0f, 0.0f, 2.0f}, {2.0f, 4.0f, 3.0f}};
    EXPECT_FALSE(Math::intersects(box, touching));
    EXPECT_EQ(Math::intersect(box, touching), Range3D{});
    EXPECT_EQ(Math::join(box, Range3D{}), box);
    EXPECT_EQ(Math::join(Range3D{}, box), box);

    const Range1D interval{-2.0f, 3.0f};
    EXPECT_TRUE(Math::intersects(interval, Range1D{2.5f, 9.0f}));
    EXPECT_FALSE(Math::intersects(interval, Range1D{3.0f, 9.0f}));
}

TEST(RangeTest, boundingSphere) {
    const std::vector<Vector3> points{{1.0f, 0.0f, 0.0f}, {-1.0f, 0.0f, 0.0f}, {0.0f, 3.0f, 0.0f}, {0.0f, -1.0f, 0.5f}};
    const BoundingSphere sphere = BoundingSphere::fromPoints(points);
    EXPECT_EQ(sphere.center(), (Vector3{0.0f, 1.0f, 0.25f}));
    for(const Vector3& p: points) EXPECT_TRUE(sphere.contains(p)) << p;
    /* The farthest point lies on the surface */
    EXPECT_FLOAT_EQ(sphere.radius(), (Vector3{0.0f, 2.0f, -0.25f}).length());
    EXPECT_EQ(BoundingSphere::fromPoints({}), BoundingSphere{});
    EXPECT_FALSE(sphere.contains({0.0f, 3.5f, 0.0f}));

    EXPECT_EQ(BoundingSphere::fromRange(Range3D{{-1.0f, -2.0f, -2.0f}, {1.0f, 2.0f, 2.0f}}), (BoundingSphere{{}, 3.0f}));
    EXPECT_TRUE((BoundingSphere{{}, 1.0f}).intersects({{2.0f, 0.0f, 0.0f}, 1.0f}));
    EXPECT_FALSE((BoundingSphere{{}, 1.0f}).intersects({{2.1f, 0.0f, 0.0f}, 1.0f}));
    EXPECT_FALSE((BoundingSphere{{}, -1.0f}).contains({}));
}

TEST(RangeTest, debugOutput) {
    std::ostringstream out;
    Debug{&out} << Range1Dus{3, 9} << Range2D{{0.5f, 1.0f}, {2.0f, 3.0f}} << Range3Di{{1, 2, 3}, {4, 5, 6}}
        << BoundingSphere{{1.0f, 2.0f, 3.0f}, 0.5f};
    EXPECT_EQ(out.str(), "Range(3, 9) Range({0.5, 1}, {2, 3}) Range({1, 2, 3}, {4, 5, 6}) BoundingSphere({1, 2, 3}, 0.5)\n");
}

}}
