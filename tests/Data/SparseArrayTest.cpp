#include <cstdint>
#include <sstream>
#include <vector>

#include <gtest/gtest.h>

#include "QuillmarshEngine/Data/SparseLayer.h"
#include "QuillmarshEngine/Debug.h"

namespace QuillmarshEngine { namespace Data { namespace {

struct Pair3 { std::uint8_t a, b, c; };

/* A small owner with every column kind: a 3-byte column (padded), a bit column, an owner-id
   column, a separately allocated column and the owner's own region of one u32 per slot */
class TestArray: public SparseArray {
    public:
        explicit TestArray(IndexType capacity = 0): SparseArray{4}, _layout{*this} {
            _layout.get<0>().setDefaultValue(7);
            _layout.get<3>().setDefaultValue(2.5f);
            setLayout(&_layout);
            if(capacity) allocate(capacity);
        }

        std::span<std::uint32_t> values() { return _layout.get<0>().view(); }
        Utils::BitSetView flags() { return _layout.get<1>().view(); }
        std::span<Pair3> triples() { return _layout.get<2>().view(); }
        std::span<float> floats() { return _layout.get<3>().view(); }
        std::span<Id> owners() { return _layout.get<4>().view(); }
        std::span<std::uint32_t> extra() { return _extra; }

        /* Owner hooks */
        std::size_t layerSize(IndexType capacity) const { return 4*std::size_t{capacity}; }
        void layerInit() {
            const std::size_t index = _partition.usedRegionCount();
            mutablePartition().reserveRegions(1);
            mutablePartition().addRegion<std::uint32_t>(capacity());
            _extra = _partition.region<std::uint32_t>(index, block());
            ++initCount;
        }
        void layerCopy(IndexType from, IndexType to) { _extra[to] = _extra[from] + 1000; }
        void layerDestroy(IndexType index) { destroyed.push_back(index); }
        void layerAppend(const TestArray& other) {
            for(IndexType i = 0; i != other.size(); ++i) _extra[size() + i] = other._extra[i];
        }

        int initCount = 0;
        std::vector<IndexType> destroyed;

    private:
        SparseArrayStaticLayout<SparseLayer<std::uint32_t>, SparseLayer<bool>, SparseLayer<Pair3>,
            SparseLayerAlloc<float>, SparseLayer<Id, SparseLayerFlag::ObjectId>, SparseLayerOwner<TestArray>> _layout;
        std::span<std::uint32_t> _extra;
};

TEST(SparseArrayTest, blockSizes) {
    TestArray a{5};
    /* 16 + 4 header, 20 tables, 20 u32, ceil(5/32)*8 = 8 bits, 15 -> 16 triples, 10 -> 12 ids,
       20 owner */
    EXPECT_EQ(a.headerSize(), 20u);
    EXPECT_EQ(a.data().size(), 20u + 20 + 20 + 8 + 16 + 12 + 20);
    EXPECT_EQ(a.partition().offsets(), (std::vector<std::uint64_t>{0, 20, 30, 40, 60, 68, 84, 96}));
    SparseArrayHeader h;
    std::memcpy(&h, a.data().data(), sizeof h);
    EXPECT_EQ(h.totalSize, a.data().size());
    EXPECT_EQ(h.capacity, 5);
    EXPECT_EQ(h.padding, 0);

    /* The bool column reserves twice the words it needs: 33 slots -> ceil(1.03) * 8 = 16 bytes */
    EXPECT_EQ(SparseLayer<bool>::blockSize(33), 16u);
    EXPECT_EQ(SparseLayer<bool>::blockSize(32), 8u);
    EXPECT_EQ(SparseLayer<bool>::blockSize(0), 0u);
    EXPECT_EQ(a.initCount, 1);
}

TEST(SparseArrayTest, addRemoveReuse) {
    TestArray a{5};
    for(int i = 0; i != 5; ++i) EXPECT_EQ(a.add(), Id(std::uint16_t(i)));
    for(std::uint16_t i = 0; i != 5; ++i) {
        EXPECT_EQ(a.indexOf(i), i);
        a.values()[i] = 100 + i;
        a.floats()[i] = float(i);
        if(i % 2) a.flags().set(i);
    }
    EXPECT_FALSE(a.isDeleted(2));
    a.remove(2);
    /* The former last element fills the hole, the removed id waits at index 4 */
    EXPECT_EQ(a.size(), 4);
    EXPECT_EQ(a.idOf(2), Id(4));
    EXPECT_EQ(a.indexOf(4), 2);
    EXPECT_EQ(a.values()[2], 104u);
    EXPECT_EQ(a.floats()[2], 4.0f);
    EXPECT_FALSE(a.flags()[2]);
    EXPECT_EQ(a.destroyed, std::vector<SparseArray::IndexType>{4});
    EXPECT_TRUE(a.isDeleted(2));
    EXPECT_FALSE(a.isDeleted(4));

    /* The removed id comes back at index 4 with defaults in every column, own allocation too */
    a.flags().set(4);
    EXPECT_EQ(a.add(), Id(2));
    EXPECT_EQ(a.indexOf(2), 4);
    EXPECT_EQ(a.values()[4], 7u);
    EXPECT_EQ(a.floats()[4], 2.5f);
    EXPECT_FALSE(a.flags()[4]);
    EXPECT_FALSE(a.isDeleted(2));

    /* Equal arguments do nothing */
    const std::vector<char> before(a.data().begin(), a.data().end());
    a.swap(1, 1);
    a.copy(1, 1);
    a.move(1, 1);
    EXPECT_EQ(std::vector<char>(a.data().begin(), a.data().end()), before);
}

TEST(SparseArrayTest, neverUsedIdIsNotDeleted) {
    TestArray a{4};
    a.add();
    EXPECT_FALSE(a.isDeleted(3));
}

TEST(SparseArrayTest, onTheFlyGrowth) {
    TestArray a{2};
    a.add();
    a.add();
    a.values()[1] = 42;
    std::ostringstream out;
    {
        Warning redirect{&out};
        EXPECT_EQ(a.add(), Id(2));
    }
    EXPECT_EQ(out.str(), "SparseArray::add(): On the fly allocation was required\n");
    EXPECT_EQ(a.capacity(), 34);
    EXPECT_EQ(a.values()[1], 42u);
    EXPECT_EQ(a.size(), 3);
}

TEST(SparseArrayTest, allocateKeepsValuesAndZeroesNewSlots) {
    TestArray a{3};
    for(int i = 0; i != 3; ++i) a.add();
    a.remove(0);
    for(std::uint16_t i = 0; i != 3; ++i) {
        a.values()[i] = 10 + i;
        a.triples()[i] = Pair3{std::uint8_t(i), 1, 2};
        a.owners()[i] = Id(std::uint16_t(50 + i));
        a.extra()[i] = 90 + i;
    }
    a.flags().set(1);
    a.allocate(40);
    EXPECT_EQ(a.capacity(), 40);
    EXPECT_EQ(a.size(), 2);
    EXPECT_EQ(a.initializedCount(), 3);
    EXPECT_EQ(a.idOf(0), Id(2));
    EXPECT_EQ(a.indexOf(2), 0);
    for(std::uint16_t i = 0; i != 3; ++i) {
        EXPECT_EQ(a.values()[i], 10u + i);
        EXPECT_EQ(a.triples()[i].a, i);
        EXPECT_EQ(a.owners()[i], Id(std::uint16_t(50 + i)));
        EXPECT_EQ(a.extra()[i], 90u + i);
    }
    EXPECT_TRUE(a.flags()[1]);
    for(std::uint16_t i = 3; i != 40; ++i) {
        EXPECT_EQ(a.values()[i], 7u);
        EXPECT_EQ(a.triples()[i].c, 0);
        EXPECT_EQ(a.owners()[i], Id(0));
        EXPECT_EQ(a.extra()[i], 0u);
        EXPECT_FALSE(a.flags()[i]);
        EXPECT_EQ(a.floats()[i], 2.5f);
        EXPECT_EQ(a.indirection()[i], 0);
        EXPECT_EQ(a.indirectionReverse()[i], Id(0));
    }
    /* Continues where it stopped */
    EXPECT_EQ(a.add(), Id(0));
    EXPECT_EQ(a.add(), Id(3));
}

TEST(SparseArrayTest, copyMoveAndSkippedColumns) {
    TestArray a{6};
    for(int i = 0; i != 6; ++i) a.add();
    for(std::uint16_t i = 0; i != 6; ++i) {
        a.values()[i] = i;
        a.owners()[i] = Id(std::uint16_t(20 + i));
        a.extra()[i] = i;
    }
    a.flags().set(0);
    a.copy(0, 3);
    EXPECT_EQ(a.values()[3], 0u);
    EXPECT_TRUE(a.flags()[3]);
    /* The owner id column never takes part in copy; the owner's hook does its own thing */
    EXPECT_EQ(a.owners()[3], Id(23));
    EXPECT_EQ(a.extra()[3], 1000u);

    /* Move shifts the values between, owner ids included, and leaves the tables alone */
    a.move(0, 6);
    EXPECT_EQ(a.values()[5], 0u);
    EXPECT_EQ(a.values()[0], 1u);
    EXPECT_EQ(a.owners()[5], Id(20));
    EXPECT_TRUE(a.flags()[5]);
    EXPECT_TRUE(a.flags()[2]);
    EXPECT_EQ(a.indexOf(0), 0);
    a.move(5, 0);
    EXPECT_EQ(a.values()[0], 0u);
    EXPECT_EQ(a.owners()[0], Id(20));
}

TEST(SparseArrayTest, append) {
    TestArray a{4}, b{3};
    for(int i = 0; i != 3; ++i) a.add();
    a.remove(1);
    for(std::uint16_t i = 0; i != 3; ++i) {
        b.add();
        b.values()[i] = 70 + i;
        b.owners()[i] = Id(std::uint16_t(5 + i));
        b.extra()[i] = 30 + i;
    }
    b.flags().set(2);

    /* Without data only the id mapping is prepared: free ids first, then fresh ones */
    a.append(b, false);
    EXPECT_EQ(a.size(), 2);
    EXPECT_EQ(a.capacity(), 5);
    EXPECT_EQ(a.initializedCount(), 5);
    EXPECT_EQ(a.idOf(2), Id(1));
    EXPECT_EQ(a.idOf(3), Id(3));
    EXPECT_EQ(a.idOf(4), Id(4));
    EXPECT_EQ(a.indexOf(4), 4);

    TestArray c{2};
    c.add();
    c.values()[0] = 1;
    c.append(b, true);
    EXPECT_EQ(c.size(), 4);
    EXPECT_EQ(c.capacity(), 4);
    for(std::uint16_t i = 0; i != 3; ++i) {
        EXPECT_EQ(c.values()[1 + i], 70u + i);
        EXPECT_EQ(c.owners()[1 + i], Id(std::uint16_t(5 + i)));
        EXPECT_EQ(c.extra()[1 + i], 30u + i);
        EXPECT_EQ(c.idOf(std::uint16_t(1 + i)), Id(std::uint16_t(1 + i)));
    }
    EXPECT_TRUE(c.flags()[3]);
    EXPECT_EQ(c.values()[0], 1u);
}

TEST(SparseArrayTest, createFromBytes) {
    TestArray a{9};
    for(int i = 0; i != 7; ++i) a.add();
    a.remove(3);
    for(std::uint16_t i = 0; i != a.size(); ++i) a.values()[i] = 3*i;
    a.flags().set(4);

    std::vector<char> bytes(a.data().begin(), a.data().end());
    TestArray b;
    b.create(std::move(bytes));
    EXPECT_EQ(std::vector<char>(b.data().begin(), b.data().end()), std::vector<char>(a.data().begin(), a.data().end()));
    EXPECT_EQ(b.capacity(), 9);
    EXPECT_EQ(b.size(), 6);
    EXPECT_EQ(b.initializedCount(), 7);
    EXPECT_TRUE(b.flags()[4]);
    EXPECT_EQ(b.values()[5], 15u);
    EXPECT_EQ(b.add(), Id(3));
    EXPECT_EQ(b.floats().size(), 9u);
}

/* An owner-sized column (two elements per slot here) and a separately allocated bit column */
class SizedArray: public SparseArray {
    public:
        explicit SizedArray(IndexType capacity): SparseArray{0}, _layout{*this} {
            _layout.get<2>().setDefaultValue(true);
            setLayout(&_layout);
            allocate(capacity);
        }
        std::span<std::uint16_t> ranges() { return _layout.get<0>().view(); }
        std::span<Id> owners() { return _layout.get<1>().view(); }
        Utils::BitSetView bits() { return _layout.get<2>().view(); }

        std::size_t layerFlaggedCount(IndexType capacity) const { return 2*std::size_t{capacity}; }
        void layerCopy(IndexType from, IndexType to) { ranges()[to] = std::uint16_t(ranges()[from] + 1); }

    private:
        SparseArrayStaticLayout<SparseLayer<std::uint16_t, SparseLayerFlag::OwnerSized>,
            SparseLayer<Id, SparseLayerFlag::ObjectId>, SparseLayerAlloc<bool>, SparseLayerOwner<SizedArray>> _layout;
};

TEST(SparseArrayTest, ownerSizedAndAllocatedBits) {
    SizedArray a{3};
    /* 16 header, 12 tables, 6 × 2 bytes of owner-sized column, 3 × 2 -> 8 of ids */
    EXPECT_EQ(a.data().size(), 16u + 12 + 12 + 8);
    EXPECT_EQ(a.ranges().size(), 6u);
    for(int i = 0; i != 3; ++i) a.add();
    a.ranges()[0] = 40;
    a.ranges()[1] = 50;
    a.owners()[0] = Id(9);
    /* Copy leaves owner-sized columns to the owner, and never touches owner ids */
    a.copy(0, 1);
    EXPECT_EQ(a.ranges()[1], 41);
    EXPECT_EQ(a.owners()[1], Id(0));
    /* Append leaves owner-sized columns to the owner as well */
    SizedArray b{4};
    b.add();
    b.ranges()[1] = 77;
    b.append(a, true);
    EXPECT_EQ(b.size(), 4);
    EXPECT_EQ(b.ranges()[1], 77);
    EXPECT_EQ(b.owners()[1], Id(9));

    /* A reused slot gets the default of its separately allocated bits back */
    EXPECT_TRUE(a.bits()[2]);
    a.bits().reset(2);
    a.remove(2);
    EXPECT_FALSE(a.bits()[2]);
    EXPECT_EQ(a.add(), Id(2));
    EXPECT_TRUE(a.bits()[2]);
    a.allocate(40);
    EXPECT_TRUE(a.bits()[39]);
}

TEST(SparseArrayTest, printsFlags) {
    std::ostringstream out;
    Debug{&out} << SparseLayerFlag::Plain << SparseLayerFlag::OwnerSized << SparseLayerFlag::ObjectId << SparseLayerFlag(2);
    EXPECT_EQ(out.str(), "SparseLayerFlag::Plain SparseLayerFlag::OwnerSized SparseLayerFlag::ObjectId SparseLayerFlag(0x2)\n");
}

TEST(SparseArrayDeathTest, misuse) {
    TestArray a{2};
    a.add();
    EXPECT_DEATH(static_cast<void>(a.isDeleted(2)), "^Assertion IndexType\\(id\\) < capacity\\(\\) failed at Data/SparseArray:277\n$");
    EXPECT_DEATH(a.remove(1), "^SparseArray::remove\\(\\): index 1 out of range for 1 elements\n$");

    std::vector<char> bytes(a.data().begin(), a.data().end());
    bytes.pop_back();
    TestArray b;
    EXPECT_DEATH(b.create(std::move(bytes)), "^SparseArray::create\\(\\): block of 63 bytes does not match its header's 64 bytes and the 64 bytes of its layout\n$");
}

TEST(SparseArrayDeathTest, brokenFreshSlot) {
    TestArray a{3};
    a.add();
    /* A fresh slot whose table entry is not zero means the block was corrupted */
    std::vector<char> bytes(a.data().begin(), a.data().end());
    bytes[20 + 2] = 5;
    TestArray b;
    b.create(std::move(bytes));
    EXPECT_DEATH(b.add(), "^Assertion _indirection\\[index\\] == 0 failed at Data/SparseArray:88\n$");

    std::vector<char> reverse(a.data().begin(), a.data().end());
    reverse[20 + 6 + 2] = 5;
    TestArray c;
    c.create(std::move(reverse));
    EXPECT_DEATH(c.add(), "^Assertion _indirectionReverse\\[index\\] == Data::Id\\(0\\) failed at Data/SparseArray:89\n$");
}

}}}
