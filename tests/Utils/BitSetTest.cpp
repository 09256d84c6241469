#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "QuillmarshEngine/Utils/BitSet.h"

namespace QuillmarshEngine { namespace Utils { namespace {

/* Plain reference: a vector of bools */
std::vector<bool> bitsOf(const BitSetView& view) {
    std::vector<bool> out(view.bitCount());
    for(std::size_t i = 0; i != out.size(); ++i) out[i] = view[i];
    return out;
}

TEST(BitSetTest, bitOrder) {
    std::uint32_t words[2]{};
    BitSetView view{words, 2};
    view.set(0);
    view.set(33);
    view.set(31);
    EXPECT_EQ(words[0], 0x80000001u);
    EXPECT_EQ(words[1], 0x2u);
    EXPECT_TRUE(view[33]);
    view.reset(33);
    EXPECT_EQ(words[1], 0u);
    EXPECT_EQ(view.count(), 2u);
    ~view;
    EXPECT_EQ(words[0], 0x7ffffffeu);
    EXPECT_EQ(words[1], 0xffffffffu);
}

TEST(BitSetTest, ranges) {
    /* Every range over three words against the plain reference, set and reset */
    for(std::size_t first = 0; first <= 96; first += 5) for(std::size_t last = first; last <= 100; last += 3) {
        std::uint32_t words[3]{0, 0, 0};
        BitSetView view{words, 3};
        view.setRange(first, last);
        for(std::size_t i = 0; i != 96; ++i)
            ASSERT_EQ(view[i], i >= first && i < last) << first << last << i;
        std::uint32_t ones[3]{~0u, ~0u, ~0u};
        BitSetView full{ones, 3};
        full.resetRange(first, last);
        for(std::size_t i = 0; i != 96; ++i)
            ASSERT_EQ(full[i], !(i >= first && i < last)) << first << last << i;
    }
}

TEST(BitSetTest, growth) {
    BitSet set;
    EXPECT_EQ(set.bitCount(), 0u);
    EXPECT_FALSE(set[1000]);
    set.setSafe(5);
    set.setSafe(200);
    EXPECT_GE(set.bitCount(), 201u);
    EXPECT_TRUE(set[5]);
    EXPECT_TRUE(set[200]);
    EXPECT_EQ(set.view().count(), 2u);
    set.resize(1000);
    EXPECT_TRUE(set[200]);
    EXPECT_EQ(set.view().count(), 2u);
    set.reset(200);
    set.reset(100000);
    EXPECT_FALSE(set[200]);
    set.resetAll();
    EXPECT_EQ(set.view().count(), 0u);
    EXPECT_EQ(bitsOf(set.view()).size(), set.bitCount());
}

TEST(BitSetDeathTest, setOutOfRange) {
    BitSet set{32};
    EXPECT_DEATH(set.set(32), "^BitSet::set\\(\\): index 32 out of range for 32 bits\n$");
}

}}}
