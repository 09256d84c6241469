#include <cstdint>
#include <cstring>
#include <numeric>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "QuillmarshEngine/Data/Id.h"
#include "QuillmarshEngine/Utils/MemoryPartition.h"

namespace QuillmarshEngine { namespace Utils { namespace {

TEST(MemoryPartitionTest, addRegions) {
    MemoryPartition p;
    p.reserveRegions(4);
    p.addRegion<char>(16).addRegion<std::uint16_t>(3, false);
    EXPECT_EQ(p.offset(), 22u);
    p.alignOffset();
    EXPECT_EQ(p.offset(), 24u);
    p.addRegion<Data::Id>(5).addFinalRegion(40);
    EXPECT_EQ(p.usedRegionCount(), 4u);
    EXPECT_EQ(p.offsets(), (std::vector<std::uint64_t>{0, 16, 24, 34}));
    EXPECT_EQ(p.sizes(), (std::vector<std::uint64_t>{16, 6, 10, 6}));

    std::vector<char> block(40);
    std::span<Data::Id> ids = p.region<Data::Id>(2, block);
    EXPECT_EQ(ids.size(), 5u);
    EXPECT_EQ(reinterpret_cast<char*>(ids.data()), block.data() + 24);

    /* A copy is independent */
    MemoryPartition copy = p;
    copy.removeRegions(1, 2);
    EXPECT_EQ(copy.usedRegionCount(), 2u);
    EXPECT_EQ(copy.offsets(), (std::vector<std::uint64_t>{0, 34}));
    EXPECT_EQ(p.usedRegionCount(), 4u);
}

/* Fills each region of a block with its own byte pattern */
void fill(const MemoryPartition& p, std::vector<char>& block) {
    for(std::size_t k = 1; k != p.usedRegionCount(); ++k) {
        const auto r = p.regionAt(k);
        for(std::size_t i = 0; i != r.size; ++i) block[r.offset + i] = char(k*16 + i%16);
    }
}

TEST(MemoryPartitionTest, moveRegionsGrowing) {
    const auto make = [](std::size_t capacity) {
        MemoryPartition p;
        p.reserveRegions(4);
        p.addRegion<char>(8).addRegion<std::uint16_t>(capacity, false).alignOffset()
         .addRegion<std::uint32_t>(capacity).addRegion<char>(capacity, false);
        return p;
    };
    const MemoryPartition a = make(3), b = make(7);
    std::vector<char> block(a.offset());
    std::memset(block.data(), 0x55, 8);
    fill(a, block);
    const std::vector<char> before = block;
    block.resize(b.offset(), 0);
    moveRegions(a, b, block);
    /* Header untouched, old contents at the new offsets, every gained byte zero */
    EXPECT_EQ(std::memcmp(block.data(), before.data(), 8), 0);
    for(std::size_t k = 1; k != 4; ++k) {
        const auto o = a.regionAt(k), n = b.regionAt(k);
        for(std::size_t i = 0; i != n.size; ++i)
            ASSERT_EQ(block[n.offset + i], i < o.size ? before[o.offset + i] : 0) << k << i;
    }
    /* Padding between regions reads zero as well */
    EXPECT_EQ(block[b.regionAt(1).offset + b.regionAt(1).size], 0);

    /* Between equal partitions nothing moves */
    const std::vector<char> same = block;
    moveRegions(b, b, block);
    EXPECT_EQ(block, same);
}

TEST(MemoryPartitionTest, copyAndRemoveRegions) {
    MemoryPartition small, large;
    small.reserveRegions(2);
    small.addRegion<char>(4).addRegion<char>(4, false);
    large.reserveRegions(2);
    large.addRegion<char>(6).addRegion<char>(10, false);
    std::vector<char> source{'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h'};
    std::vector<char> target(16, '.');
    const std::uint64_t offsets[]{2, 6};
    copyRegions(small, large, source, target, offsets);
    EXPECT_EQ(std::string(target.begin(), target.end()), "..abcd......efgh");

    MemoryPartition three;
    three.reserveRegions(3);
    three.addRegion<char>(2).addRegion<char>(3, false).addRegion<char>(2, false);
    std::vector<char> block{'a', 'b', 'c', 'd', 'e', 'f', 'g'};
    removeRegions(three, block, 1, 0);
    EXPECT_EQ(std::string(block.begin(), block.end()), "abcdefg");
    removeRegions(three, block, 1, 1);
    EXPECT_EQ(std::string(block.begin(), block.end()), std::string("abfg\0\0\0", 7));
}

TEST(MemoryPartitionTest, moveDataRange) {
    const auto moved = [](std::size_t from, std::size_t count, std::size_t to) {
        std::vector<char> data{'0', '1', '2', '3', '4', '5'};
        Utils::moveDataRange(data, from, count, to);
        return std::string(data.begin(), data.end());
    };
    EXPECT_EQ(moved(2, 1, 2), "012345");
    EXPECT_EQ(moved(0, 1, 6), "123450");
    EXPECT_EQ(moved(1, 2, 5), "034125");
    EXPECT_EQ(moved(4, 2, 1), "045123");
    EXPECT_EQ(moved(1, 2, 3), "012345");
    /* Element-scaled: element 0 of 4 two-byte elements to position 4 rotates it to the end */
    std::vector<std::uint16_t> elements{10, 11, 12, 13};
    Utils::moveDataRange({reinterpret_cast<char*>(elements.data()), 8}, 0, 2, 8);
    EXPECT_EQ(elements, (std::vector<std::uint16_t>{11, 12, 13, 10}));
}

/* Reference for bit moves: the same rotation on a vector of bools */
std::vector<bool> moveBitsReference(std::vector<bool> bits, std::size_t from, std::size_t count, std::size_t to) {
    std::vector<bool> run(bits.begin() + from, bits.begin() + from + count);
    bits.erase(bits.begin() + from, bits.begin() + from + count);
    const std::size_t at = from < to ? to - count : to;
    bits.insert(bits.begin() + at, run.begin(), run.end());
    return bits;
}

TEST(MemoryPartitionTest, moveBit) {
    std::uint32_t word = 0b0000100;
    Utils::moveBit(BitSetView{&word, 1}, 2, 6);
    EXPECT_EQ(word, 0b0100000u);
    Utils::moveBit(BitSetView{&word, 1}, 5, 0);
    EXPECT_EQ(word, 0b1u);

    /* Random bits, every pair of positions across four words, single bits and runs */
    std::mt19937 rng{7};
    for(int iteration = 0; iteration != 6000; ++iteration) {
        std::uint32_t words[8];
        for(std::uint32_t& w: words) w = std::uint32_t(rng());
        const BitSetView view{words, 8};
        std::vector<bool> bits(256);
        for(std::size_t i = 0; i != 256; ++i) bits[i] = view[i];
        const std::size_t count = iteration % 3 == 0 ? 1 + rng() % 120 : 1;
        const std::size_t from = rng() % (257 - count);
        std::size_t to = rng() % 257;
        if(to > from && to < from + count) to = from;
        const std::vector<bool> expected = moveBitsReference(bits, from, count, to);
        if(count == 1) Utils::moveBit(view, from, to);
        else Utils::moveBitRange(view, from, count, to);
        for(std::size_t i = 0; i != 256; ++i)
            ASSERT_EQ(view[i], expected[i]) << from << " " << count << " " << to << " " << i;
    }
}

TEST(MemoryPartitionDeathTest, misuse) {
    MemoryPartition p;
    p.reserveRegions(2);
    p.addRegion<std::uint16_t>(3, false);
    EXPECT_DEATH(p.addRegion<char>(1), "^MemoryPartition::addRegion\\(\\): region is not 4 byte aligned.\n$");
    p.addRegion<char>(2, false);
    EXPECT_DEATH(p.addRegion<char>(1, false), "^MemoryPartition::addRegion\\(\\): exceeded initialized region count\n$");
    EXPECT_DEATH(p.addFinalRegion(4), "^MemoryPartition::addFinalRegion\\(\\): data size smaller than current offset\n$");
    EXPECT_DEATH(p.regionAt(2), "^Assertion index < _regions.size\\(\\) failed at Utils/MemoryPartition:[0-9]+\n$");
    EXPECT_DEATH(p.removeRegions(1, 2), "^MemoryPartition::removeRegions\\(\\): Can't remove more regions than size\n$");

    MemoryPartition one;
    one.reserveRegions(1);
    one.addRegion<char>(8);
    std::vector<char> block(8);
    EXPECT_DEATH(moveRegions(p, one, block), "^moveRegions\\(\\): Can't move partitions with different region counts\n$");
    const std::uint64_t offsets[]{0, 0};
    EXPECT_DEATH(copyRegions(p, one, block, block, offsets), "^copyRegions\\(\\): Can't copy partitions with different region counts\n$");
    EXPECT_DEATH(copyRegions(one, one, block, block, offsets), "^copyRegions\\(\\): Offset count did not match region counts\n$");
    const std::uint64_t one4[]{4};
    EXPECT_DEATH(copyRegions(one, one, block, block, one4), "^copyRegions\\(\\): Region size did not match\n$");
    EXPECT_DEATH(removeRegions(one, block, 0, 2), "^Assertion first \\+ count <= partition.usedRegionCount\\(\\) failed at Utils/MemoryPartition:[0-9]+\n$");
}

}}}
