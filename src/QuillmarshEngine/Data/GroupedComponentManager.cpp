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

}}
