#include <gtest/gtest.h>

#include <random>

#include "QuillmarshEngine/Tools/RectanglePacking.h"

namespace QuillmarshEngine { namespace Tools { namespace {

/* Every rectangle grown by the padding lies inside the area and overlaps no other grown one */
void expectValidPacking(std::span<const Vector2i> sizes, std::span<const Vector2i> offsets, const Vector2i& area, std::int32_t padding) {
    ASSERT_EQ(offsets.size(), sizes.size());
    for(std::size_t i = 0; i != sizes.size(); ++i) {
        if(!sizes[i].x() || !sizes[i].y()) continue;
        SCOPED_TRACE(i);
        EXPECT_GE(offsets[i].x() - padding, 0);
        EXPECT_GE(offsets[i].y() - padding, 0);
        EXPECT_LE(offsets[i].x() + sizes[i].x() + padding, area.x());
        EXPECT_LE(offsets[i].y() + sizes[i].y() + padding, area.y());
        for(std::size_t j = 0; j != i; ++j) {
            if(!sizes[j].x() || !sizes[j].y()) continue;
            const bool apart =
                offsets[i].x() + sizes[i].x() + 2*padding <= offsets[j].x() || offsets[j].x() + sizes[j].x() + 2*padding <= offsets[i].x() ||
                offsets[i].y() + sizes[i].y() + 2*padding <= offsets[j].y() || offsets[j].y() + sizes[j].y() + 2*padding <= offsets[i].y();
            EXPECT_TRUE(apart) << "overlaps " << j;
        }
    }
}

TEST(RectanglePackingTest, exactFits) {
    /* Four quarters fill the area exactly; a fifth rectangle of any size does not fit */
    const std::vector<Vector2i> quarters{{32, 32}, {32, 32}, {32, 32}, {32, 32}};
    const auto offsets = packRectangles(quarters, {64, 64});
    ASSERT_TRUE(offsets);
    expectValidPacking(quarters, *offsets, {64, 64}, 0);
    std::vector<Vector2i> more = quarters;
    more.push_back({1, 1});
    EXPECT_FALSE(packRectangles(more, {64, 64}));

    /* Mixed shapes that tile 10×10 only one way up to symmetry */
    const std::vector<Vector2i> tiles{{10, 4}, {6, 6}, {4, 6}};
    const auto tiled = packRectangles(tiles, {10, 10});
    ASSERT_TRUE(tiled);
    expectValidPacking(tiles, *tiled, {10, 10}, 0);
    EXPECT_FALSE(packRectangles(std::vector<Vector2i>{{11, 1}}, {10, 10}));
}

TEST(RectanglePackingTest, randomSetsNeverOverlap) {
    std::mt19937 rng{11};
    for(int round = 0; round != 30; ++round) {
        SCOPED_TRACE(round);
        std::vector<Vector2i> sizes;
        const int count = 1 + int(rng() % 120);
        for(int i = 0; i != count; ++i) sizes.push_back({std::int32_t(rng() % 70), std::int32_t(1 + rng() % 40)});
        const std::int32_t padding = std::int32_t(rng() % 3);
        const auto atlas = packAtlas(sizes, 4096, padding);
        ASSERT_TRUE(atlas) << atlas.error();
        expectValidPacking(sizes, atlas->offsets, atlas->size, padding);
        /* Power-of-two sides, never narrower than tall */
        EXPECT_EQ(atlas->size.x() & (atlas->size.x() - 1), 0);
        EXPECT_EQ(atlas->size.y() & (atlas->size.y() - 1), 0);
        EXPECT_GE(atlas->size.x(), atlas->size.y());
    }
}

TEST(RectanglePackingTest, atlasErrors) {
    const std::vector<Vector2i> big{{300, 10}};
    EXPECT_EQ(packAtlas(big, 256).error(), "Tools::packAtlas(): the rectangles don't fit into 256 by 256");
    EXPECT_EQ(packAtlas(std::vector<Vector2i>{{-1, 3}}, 256).error(), "Tools::packAtlas(): negative size -1 3");
    const auto empty = packAtlas({}, 256);
    ASSERT_TRUE(empty);
    EXPECT_EQ(empty->size, (Vector2i{1, 1}));
}

}}}
