#include "QuillmarshEngine/Data/SparseArrayGrouped.h"

#include <algorithm>
#include <cstring>

#include "QuillmarshEngine/Assert.h"

namespace QuillmarshEngine { namespace Data {

namespace {

/* Both counts sit at the start of the tail behind the active count, read and written bytewise
   since the tail is only 2-byte aligned */
std::uint16_t readCount(const char* const tail, const std::size_t which) {
    std::uint16_t value;
    std::memcpy(&value, tail + which*2, 2);
    return value;
}

}

SparseArrayGrouped::SparseArrayGrouped(SparseArrayActive& array, const std::uint16_t groups, const std::uint16_t subgroups): _array{array} {
    QUILLMARSH_ASSERT(groups && subgroups,
        "SparseArrayGrouped::SparseArrayGrouped(): At least one item group and subgroup is required", );
    std::memcpy(_array.ownerHeaderTail(), &groups, 2);
    std::memcpy(_array.ownerHeaderTail() + 2, &subgroups, 2);
}

std::uint16_t SparseArrayGrouped::groupsCount() const { return readCount(_array.ownerHeaderTail(), 0); }

std::uint16_t SparseArrayGrouped::subGroupsCount() const { return readCount(_array.ownerHeaderTail(), 1); }

std::size_t SparseArrayGrouped::layerSize(const IndexType capacity) const {
    return ((std::size_t{slotCount() + 1}*2 + 3) & ~std::size_t{3}) +
           ((std::size_t{capacity}*2 + 3) & ~std::size_t{3});
}

void SparseArrayGrouped::init() {
    Utils::MemoryPartition& partition = _array._partition;
    const std::size_t first = partition.usedRegionCount();
    partition.reserveRegions(2);
    partition.addRegion<std::uint16_t>(slotCount() + 1, false).alignOffset();
    partition.addRegion<std::uint16_t>(_array.capacity(), true).alignOffset();
    _groupOffsets = partition.region<std::uint16_t>(first, _array._data, false);
    _slots = partition.region<std::uint16_t>(first + 1, _array._data, true);
    /* Growth rebuilds the partition; bits nobody has read yet survive it */
    _changedGroups.resize(groupsCount());
}

void SparseArrayGrouped::addGroups(const std::uint16_t count) {
    const std::uint32_t firstNew = std::uint32_t(groupsCount() - count)*subGroupsCount();
    QUILLMARSH_ASSERT(count <= groupsCount() && _groupOffsets.size() == slotCount() + 1,
        "SparseArrayGrouped::addGroups(): raise the group count and rebuild the block first", );
    std::fill(_groupOffsets.begin() + firstNew + 1, _groupOffsets.end(), _groupOffsets[firstNew]);
    _changedGroups.resize(groupsCount());
    _changedGroups.view().setRange(0, groupsCount());
}

SparseArrayGrouped::IndexType SparseArrayGrouped::setGroup(const IndexType index, const std::uint16_t group, const std::uint16_t subGroup) {
    QUILLMARSH_ASSERT(index < _array.size(),
        "SparseArrayGrouped::setGroup(): index" << index << "out of range for" << _array.size() << "elements", {});
    QUILLMARSH_INTERNAL_ASSERT(subGroup < subGroupsCount());
    const std::uint32_t g = std::uint32_t(group)*subGroupsCount() + subGroup;
    /* Checked in 32 bits so that a huge group cannot wrap into range */
    if(g + 1 >= _groupOffsets.size()) [[unlikely]]
        ::QuillmarshEngine::Implementation::internalAssertionFailed("IndexType(g + 1) < _groupOffsets.size()", __FILE__, __LINE__);
    const std::uint16_t old = _slots[index];
    if(old == g) return index;
    _slots[index] = std::uint16_t(g);
    if(index >= _array.activeCount()) return index;
    return moveToGroup(index, old, g);
}

SparseArrayGrouped::IndexType SparseArrayGrouped::moveToGroup(const IndexType index, const std::uint32_t from, const std::uint32_t to) {
    const IndexType target = _groupOffsets[to + 1];
    const std::span<Id> reverse = _array._indirectionReverse;
    Utils::moveDataRange({reinterpret_cast<char*>(reverse.data()), reverse.size_bytes()},
        std::size_t{index}*sizeof(Id), sizeof(Id), std::size_t{target}*sizeof(Id));
    _array.move(index, target);

    if(to > from) for(std::uint32_t k = from; k != to; ++k) --_groupOffsets[k + 1];
    else if(to < from) for(std::uint32_t k = to; k != from; ++k) ++_groupOffsets[k + 1];

    const std::uint16_t subgroups = subGroupsCount();
    _changedGroups.set(from/subgroups);
    _changedGroups.set(to/subgroups);

    const IndexType newIndex = target > index ? IndexType(target - 1) : target;
    /* Only the entries whose contents moved: a forward move leaves target itself alone (it may
       be a fresh slot, or lie past the end of the table) */
    const IndexType low = std::min(index, newIndex);
    const IndexType high = std::max(index, newIndex);
    for(std::uint32_t i = low; i <= high; ++i)
        _array._indirection[reverse[i]] = IndexType(i);
    return newIndex;
}

void SparseArrayGrouped::moveSlot(const IndexType from, const IndexType to) {
    Utils::moveDataRange({reinterpret_cast<char*>(_slots.data()), _slots.size_bytes()},
        std::size_t{from}*2, 2, std::size_t{to}*2);
}

void SparseArrayGrouped::appendSlots(const SparseArrayGrouped& other, const IndexType at) {
    const IndexType count = other._array.size();
    QUILLMARSH_ASSERT(other.subGroupsCount() == subGroupsCount() && other.groupsCount() <= groupsCount(),
        "SparseArrayGrouped::appendSlots(): cannot append" << other.groupsCount() << "x" << other.subGroupsCount() << "slots to" << groupsCount() << "x" << subGroupsCount(), );
    std::copy_n(other._slots.begin(), count, _slots.begin() + at);
}

}}
