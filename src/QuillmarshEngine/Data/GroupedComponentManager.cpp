#include "QuillmarshEngine/Data/GroupedComponentManager.h"

#include <cstring>

#include "QuillmarshEngine/Assert.h"

namespace QuillmarshEngine { namespace Data {

GroupedComponentManager::GroupedComponentManager(const std::uint32_t headerTailSize): GroupedComponentManager{headerTailSize, 1, 1} {}

GroupedComponentManager::GroupedComponentManager(const std::uint32_t headerTailSize, const std::uint16_t groups, const std::uint16_t subgroups): ComponentManager{GroupedHeaderTailSize + headerTailSize}, _grouped{*this, groups, subgroups} {
    _reservedTailSize = GroupedHeaderTailSize;
}

GroupedComponentManager::~GroupedComponentManager() = default;

void GroupedComponentManager::swap(const IndexType a, const IndexType b) {
    if(a == b) return;
    ComponentManager::swap(a, b);
    _grouped.swapSlots(a, b);
}

void GroupedComponentManager::move(const IndexType from, const IndexType to) {
    if(from == to) return;
    ComponentManager::move(from, to);
    _grouped.moveSlot(from, to);
}

void GroupedComponentManager::copy(const IndexType from, const IndexType to) {
    if(from == to) return;
    ComponentManager::copy(from, to);
    const std::uint16_t slot = _grouped.slot(from);
    const std::uint16_t subgroups = _grouped.subGroupsCount();
    _grouped.setGroup(to, slot/subgroups, slot % subgroups);
}

SparseArray::IndexType GroupedComponentManager::activate(const IndexType index) {
    if(index < activeCount()) return index;
    const IndexType n = ComponentManager::activate(index);
    /* The component is now the last active one, so it lies in the last slot */
    const std::uint32_t last = _grouped.slotCount() - 1;
    _grouped.setLastActiveSlotEnd(std::uint16_t(_grouped.groupOffsets()[last + 1] + 1));
    return _grouped.moveToGroup(n, last, _grouped.slot(n));
}

SparseArray::IndexType GroupedComponentManager::deactivate(const IndexType index) {
    if(index >= activeCount()) return ComponentManager::deactivate(index);
    const std::uint32_t last = _grouped.slotCount() - 1;
    const IndexType n = _grouped.moveToGroup(index, _grouped.slot(index), last);
    _grouped.setLastActiveSlotEnd(std::uint16_t(_grouped.groupOffsets()[last + 1] - 1));
    return ComponentManager::deactivate(n);
}

void GroupedComponentManager::addGroups(const std::uint16_t count) {
    if(!count) return;
    const std::uint32_t groups = std::uint32_t(_grouped.groupsCount()) + count;
    QUILLMARSH_ASSERT(groups*_grouped.subGroupsCount() < 0xffffu,
        "GroupedComponentManager::addGroups():" << groups << "groups of" << _grouped.subGroupsCount() << "subgroups exceed 65534 slots", );
    const std::uint16_t newGroups = std::uint16_t(groups);
    std::memcpy(ownerHeaderTail(), &newGroups, 2);
    /* Rebuild the block at the same capacity: the group offsets grow, the regions behind them
       move and the new entries read zero until addGroups() fills them */
    allocate(capacity());
    _grouped.addGroups(count);
}

std::string GroupedComponentManager::checkAdoptedBlock() const {
    std::string reason = ComponentManager::checkAdoptedBlock();
    if(!reason.empty()) return reason;
    if(_grouped.groupsCount() == 0 || _grouped.subGroupsCount() == 0)
        return "group counts " + std::to_string(_grouped.groupsCount()) + " and " + std::to_string(_grouped.subGroupsCount()) + " must be nonzero";
    const std::uint32_t slots = _grouped.slotCount();
    const std::span<const std::uint16_t> offsets = _grouped.groupOffsets();
    if(offsets.size() < std::size_t{slots} + 1) return "group offsets are cut short";
    if(offsets[0] != 0 || offsets[slots] != activeCount())
        return "group offsets run from " + std::to_string(offsets[0]) + " to " + std::to_string(offsets[slots]) + ", not from 0 to the active count " + std::to_string(activeCount());
    for(std::uint32_t g = 0; g != slots; ++g)
        if(offsets[g] > offsets[g + 1])
            return "group offset " + std::to_string(g + 1) + " lies before the previous one";
    for(IndexType i = 0; i != size(); ++i) {
        const std::uint16_t slot = _grouped.slot(i);
        if(slot >= slots)
            return "component at " + std::to_string(i) + " has slot " + std::to_string(slot) + " of " + std::to_string(slots);
        if(i < activeCount() && !(offsets[slot] <= i && i < offsets[slot + 1]))
            return "active component at " + std::to_string(i) + " lies outside the range of its slot " + std::to_string(slot);
    }
    return {};
}

}}
