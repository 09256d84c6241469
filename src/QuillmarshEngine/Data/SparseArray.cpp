#include "QuillmarshEngine/Data/SparseArray.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>

#include "QuillmarshEngine/Assert.h"
#include "QuillmarshEngine/Debug.h"

namespace QuillmarshEngine { namespace Data {

Debug& operator<<(Debug& debug, const SparseLayerFlag value) {
    switch(value) {
        case SparseLayerFlag::Plain: return Implementation::printEnumValue(debug, "SparseLayerFlag", "Plain");
        case SparseLayerFlag::OwnerSized: return Implementation::printEnumValue(debug, "SparseLayerFlag", "OwnerSized");
        case SparseLayerFlag::ObjectId: return Implementation::printEnumValue(debug, "SparseLayerFlag", "ObjectId");
    }
    return Implementation::printUnknownEnum(debug, "SparseLayerFlag", std::uint8_t(value));
}

SparseArray::Layout::~Layout() = default;

SparseArray::SparseArray(const std::uint32_t headerTailSize): _data(sizeof(SparseArrayHeader) + headerTailSize, '\0') {
    header().headerSize = std::uint32_t(_data.size());
    header().totalSize = std::uint32_t(_data.size());
}

SparseArray::~SparseArray() = default;

std::size_t SparseArray::indexDataSize(const IndexType capacity) const {
    return std::size_t{4}*capacity;
}

void SparseArray::init() {
    const IndexType cap = capacity();
    _partition = Utils::MemoryPartition{};
    _partition.reserveRegions(3);
    _partition
        .addRegionBytes(headerSize(), false)
        .addRegion<std::uint16_t>(cap, false)
        .addRegion<Id>(cap, false);
    _indirection = _partition.region<std::uint16_t>(1, _data, false);
    _indirectionReverse = _partition.region<Id>(2, _data, false);
    const std::size_t columnStart = std::min<std::size_t>(headerSize() + indexDataSize(cap), _data.size());
    _columnData = std::span<char>{_data}.subspan(columnStart);
    if(_layout) _layout->doInit();
}

void SparseArray::create(std::vector<char>&& block) {
    QUILLMARSH_ASSERT(block.size() >= sizeof(SparseArrayHeader),
        "SparseArray::create(): block of" << block.size() << "bytes is too small for a header", );
    SparseArrayHeader h;
    std::memcpy(&h, block.data(), sizeof(SparseArrayHeader));
    QUILLMARSH_ASSERT(h.headerSize == headerSize(),
        "SparseArray::create(): header size" << h.headerSize << "does not match the expected" << headerSize(), );
    /* Owners size their regions from counts kept in the header tail (group counts, pool sizes),
       so the layout has to see the block's tail, not this array's */
    if(block.size() >= h.headerSize)
        std::memcpy(headerTail(), block.data() + sizeof(SparseArrayHeader), h.headerSize - sizeof(SparseArrayHeader));
    const std::size_t expected = h.headerSize + indexDataSize(h.capacity) + (_layout ? _layout->dataSize(h.capacity) : 0);
    QUILLMARSH_ASSERT(h.totalSize == block.size() && expected == block.size(),
        "SparseArray::create(): block of" << block.size() << "bytes does not match its header's" << h.totalSize << "bytes and the" << expected << "bytes of its layout", );
    QUILLMARSH_ASSERT(h.size <= h.initializedCount && h.initializedCount <= h.capacity,
        "SparseArray::create(): inconsistent counts" << h.size << h.initializedCount << h.capacity, );
    std::swap(_data, block);
    init();
}

std::string SparseArray::adoptBlock(std::vector<char>& block) {
    if(reinterpret_cast<std::uintptr_t>(block.data()) % 4 != 0)
        return "block is not 4-byte aligned";
    if(block.size() < sizeof(SparseArrayHeader))
        return "block of " + std::to_string(block.size()) + " bytes is too small for a header";
    SparseArrayHeader h;
    std::memcpy(&h, block.data(), sizeof(SparseArrayHeader));
    if(h.headerSize != headerSize())
        return "header size " + std::to_string(h.headerSize) + " is not the expected " + std::to_string(headerSize());
    if(block.size() < h.headerSize)
        return "block of " + std::to_string(block.size()) + " bytes is too small for its header";
    if(!(h.size <= h.initializedCount && h.initializedCount <= h.capacity))
        return "inconsistent counts: size " + std::to_string(h.size) + ", initialized " + std::to_string(h.initializedCount) + ", capacity " + std::to_string(h.capacity);
    /* The layout sizes owner regions from counts in the header tail, so it has to see the
       block's tail; the own tail is put back when the block is refused */
    const std::vector<char> previousTail(headerTail(), headerTail() + (headerSize() - sizeof(SparseArrayHeader)));
    std::memcpy(headerTail(), block.data() + sizeof(SparseArrayHeader), h.headerSize - sizeof(SparseArrayHeader));
    const std::size_t expected = h.headerSize + indexDataSize(h.capacity) + (_layout ? _layout->dataSize(h.capacity) : 0);
    if(!previousTail.empty()) std::memcpy(headerTail(), previousTail.data(), previousTail.size());
    if(h.totalSize != block.size() || expected != block.size())
        return "block of " + std::to_string(block.size()) + " bytes, its header says " + std::to_string(h.totalSize) + " and its layout needs " + std::to_string(expected);

    /* Id tables: index -> id -> index round trips over the initialized slots, zeros past them */
    const std::size_t cap = h.capacity;
    std::vector<std::uint16_t> forward(cap), reverse(cap);
    if(cap) {
        std::memcpy(forward.data(), block.data() + h.headerSize, 2*cap);
        std::memcpy(reverse.data(), block.data() + h.headerSize + 2*cap, 2*cap);
    }
    for(std::size_t i = 0; i != h.initializedCount; ++i) {
        const std::uint16_t id = reverse[i];
        if(id >= cap || forward[id] != i)
            return "id tables: index " + std::to_string(i) + " maps to id " + std::to_string(id) + ", which does not map back";
    }
    for(std::size_t i = h.initializedCount; i != cap; ++i)
        if(forward[i] != 0 || reverse[i] != 0)
            return "id tables: uninitialized slot " + std::to_string(i) + " has non-zero entries";

    std::swap(_data, block);
    init();
    std::string reason = checkAdoptedBlock();
    if(!reason.empty()) {
        std::swap(_data, block);
        init();
    }
    return reason;
}

std::string SparseArray::checkAdoptedBlock() const { return {}; }

void SparseArray::allocate(const IndexType newCapacity) {
    const IndexType oldCapacity = capacity();
    const std::size_t total = headerSize() + indexDataSize(newCapacity) + (_layout ? _layout->dataSize(newCapacity) : 0);
    /* vector::resize() value-initializes, so every byte past the old length reads zero */
    _data.resize(total, '\0');
    header().capacity = newCapacity;
    header().totalSize = std::uint32_t(total);

    const Utils::MemoryPartition old = _partition;
    init();
    /* The views bound by init() already point at the new offsets; carry the contents there */
    if(old.usedRegionCount()) Utils::moveRegions(old, _partition, _data);
    if(newCapacity > oldCapacity && _layout)
        _layout->doConstruct(oldCapacity, newCapacity);
}

Id SparseArray::add() {
    if(size() >= capacity()) {
        QUILLMARSH_WARNING("SparseArray::add(): On the fly allocation was required");
        allocate(IndexType(size() + 32));
    }
    const IndexType index = size();
    setSize(IndexType(index + 1));
    if(index < initializedCount()) {
        const Id id = _indirectionReverse[index];
        if(_layout) _layout->doConstruct(index, IndexType(index + 1));
        return id;
    }
    QUILLMARSH_INTERNAL_ASSERT_AT_LINE(_indirection[index] == 0, 88);
    QUILLMARSH_INTERNAL_ASSERT_AT_LINE(_indirectionReverse[index] == Data::Id(0), 89);
    _indirection[index] = index;
    _indirectionReverse[index] = Id{index};
    setInitializedCount(size());
    return Id{index};
}

void SparseArray::remove(const IndexType index) {
    QUILLMARSH_ASSERT(index < size(),
        "SparseArray::remove(): index" << index << "out of range for" << size() << "elements", );
    setSize(IndexType(size() - 1));
    swap(index, size());
    if(_layout) _layout->doDelete(size());
}

void SparseArray::swap(const IndexType a, const IndexType b) {
    if(a == b) return;
    const Id idA = _indirectionReverse[a];
    const Id idB = _indirectionReverse[b];
    std::swap(_indirection[idA], _indirection[idB]);
    std::swap(_indirectionReverse[a], _indirectionReverse[b]);
    if(_layout) _layout->doSwap(a, b);
}

void SparseArray::copy(const IndexType from, const IndexType to) {
    if(from == to) return;
    if(_layout) _layout->doCopy(from, to);
}

void SparseArray::move(const IndexType from, const IndexType to) {
    if(from == to) return;
    if(_layout) _layout->doMove(from, to);
}

void SparseArray::construct(const IndexType first, const IndexType last) {
    if(_layout) _layout->doConstruct(first, last);
}

void SparseArray::append(const SparseArray& other, const bool appendData) {
    const IndexType newSize = IndexType(std::uint32_t(size()) + other.size());
    QUILLMARSH_ASSERT(std::uint32_t(size()) + other.size() <= 0xffffu,
        "SparseArray::append(): combined size" << std::uint32_t(size()) + other.size() << "exceeds 65535 elements", );
    if(capacity() < newSize) allocate(newSize);
    for(std::uint32_t i = size(); i < newSize; ++i) {
        const Id id = i < initializedCount() ? _indirectionReverse[i] : Id{IndexType(i)};
        _indirectionReverse[i] = id;
        _indirection[id] = IndexType(i);
    }
    setInitializedCount(std::max(initializedCount(), newSize));
    if(appendData) {
        if(_layout) _layout->doAppend(other);
        setSize(newSize);
    }
}

bool SparseArray::isDeleted(const Id id) const {
    QUILLMARSH_INTERNAL_ASSERT_AT_LINE(IndexType(id) < capacity(), 277);
    const IndexType index = _indirection[id];
    if(index < size()) return false;
    return index < initializedCount();
}

}}
