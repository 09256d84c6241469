#ifndef QuillmarshEngine_Data_SparseArrayGrouped_h
#define QuillmarshEngine_Data_SparseArrayGrouped_h

/** @file
 * @brief Class @ref QuillmarshEngine::Data::SparseArrayGrouped
 */

#include "QuillmarshEngine/Data/SparseArrayActive.h"
#include <utility>

#include "QuillmarshEngine/Utils/BitSet.h"

namespace QuillmarshEngine { namespace Data {

/**
 * @brief Keeps the active part of a @ref SparseArrayActive sorted by group and subgroup
 *
 * Every element has a slot number g = group × @ref subGroupsCount() + subgroup. The active
 * elements are kept sorted by slot: slot g covers the active indices
 * [@ref groupOffsets()[g], @ref groupOffsets()[g + 1]), the first offset is 0 and the last equals
 * the active count, so a consumer walks all elements of one key as one index range. The inactive
 * and removed parts are not sorted. A bit per group records that an element entered or left any
 * slot of the group; consumers read it with @ref changedGroups() and clear it with
 * @ref resetChangedGroups().
 *
 * The group and subgroup counts live in the array's header tail (the 4 bytes behind the active
 * count). The group offsets and the slot column are two regions of the array's block added by
 * @ref init(), so they move and grow with it; the array's owner calls @ref init() from its
 * `layerInit()` and keeps the slot column in step with its swaps, moves and removals
 * (@ref GroupedComponentManager does all of this).
 *
 * Changing a key costs one element move across the slots in between and one counter update per
 * slot boundary passed; nothing is ever re-sorted.
 */
class QUILLMARSH_EXPORT SparseArrayGrouped {
    public:
        typedef SparseArray::IndexType IndexType;

        /**
         * @brief Grouping for @p array with @p groups groups of @p subgroups subgroups
         *
         * Writes both counts into the array's header tail. Expects both to be nonzero.
         */
        explicit SparseArrayGrouped(SparseArrayActive& array, std::uint16_t groups, std::uint16_t subgroups);

        SparseArrayGrouped(const SparseArrayGrouped&) = delete;
        SparseArrayGrouped& operator=(const SparseArrayGrouped&) = delete;

        /** @brief Number of groups */
        std::uint16_t groupsCount() const;

        /** @brief Number of subgroups per group */
        std::uint16_t subGroupsCount() const;

        /** @brief Number of slots, groups × subgroups */
        std::uint32_t slotCount() const { return std::uint32_t(groupsCount())*subGroupsCount(); }

        /** @brief Block bytes of the group offsets and the slot column for @p capacity */
        std::size_t layerSize(IndexType capacity) const;

        /**
         * @brief Add the group offsets and the slot column to the array's partition
         *
         * Called from the owner's `layerInit()` whenever the block is built or rebuilt. Changed
         * group bits already set are kept.
         */
        void init();

        /**
         * @brief Make room for @p count new groups
         *
         * To be called after the header's group count has been raised by @p count and the block
         * rebuilt for it: the new slots start empty at the end of the active part, and every
         * group is marked changed.
         */
        void addGroups(std::uint16_t count);

        /**
         * @brief Give the element at @p index the key (@p group, @p subgroup)
         *
         * An active element moves to the end of its new slot; an inactive one only stores the
         * key and is sorted in when activated. Returns the element's new index. Expects
         * @p subgroup below @ref subGroupsCount() and @p group below @ref groupsCount().
         */
        IndexType setGroup(IndexType index, std::uint16_t group, std::uint16_t subgroup);

        /**
         * @brief Move the active element at @p index from slot @p from to the end of slot @p to
         *
         * The elements in between shift by one and only the slot boundaries between @p from and
         * @p to move; the groups of both slots are marked changed. Returns the new index. The
         * element's stored slot is the caller's.
         */
        IndexType moveToGroup(IndexType index, std::uint32_t from, std::uint32_t to);

        /** @brief Activate through the array, see @ref SparseArrayActive::activate() */
        IndexType activate(IndexType index) { return _array.activate(index); }

        /** @brief Deactivate through the array, see @ref SparseArrayActive::deactivate() */
        IndexType deactivate(IndexType index) { return _array.deactivate(index); }

        /** @brief Slot number of the element at @p index; not checked */
        std::uint16_t slot(IndexType index) const { return _slots[index]; }

        /** @brief Slot column, capacity entries; invalidated by growth */
        std::span<const std::uint16_t> slots() const { return _slots; }

        /** @brief Slot boundaries, @ref slotCount() + 1 entries; invalidated by growth */
        std::span<const std::uint16_t> groupOffsets() const { return _groupOffsets; }

        /** @brief Active index range of (@p group, @p subgroup); not checked */
        Utils::IndexRange slotRange(std::uint16_t group, std::uint16_t subgroup) const {
            const std::uint32_t g = std::uint32_t(group)*subGroupsCount() + subgroup;
            return {_groupOffsets[g], _groupOffsets[g + 1]};
        }

        /** @brief Active index range of all subgroups of @p group; not checked */
        Utils::IndexRange groupRange(std::uint16_t group) const {
            const std::uint32_t g = std::uint32_t(group)*subGroupsCount();
            return {_groupOffsets[g], _groupOffsets[g + subGroupsCount()]};
        }

        /** @brief Changed-group bits, one per group */
        const Utils::BitSet& changedGroups() const { return _changedGroups; }

        /** @brief Whether @p group changed since the bits were last reset */
        bool isGroupChanged(std::uint16_t group) const { return _changedGroups[group]; }

        /** @brief Clear every changed-group bit */
        void resetChangedGroups() { _changedGroups.resetAll(); }

        /** @brief Mark every group changed, for data shared by all groups (such as a mesh) */
        void markAllGroupsChanged() { _changedGroups.view().setRange(0, groupsCount()); }

        /* Upkeep of the slot column, called by the owner next to the array's own operations */
        void swapSlots(IndexType a, IndexType b) { std::swap(_slots[a], _slots[b]); }
        void moveSlot(IndexType from, IndexType to);
        void resetSlot(IndexType index) { _slots[index] = 0; }
        void appendSlots(const SparseArrayGrouped& other, IndexType at);
        void setLastActiveSlotEnd(std::uint16_t value) { _groupOffsets[slotCount()] = value; }

    private:
        SparseArrayActive& _array;
        std::span<std::uint16_t> _groupOffsets;
        std::span<std::uint16_t> _slots;
        Utils::BitSet _changedGroups;
};

}}

#endif
