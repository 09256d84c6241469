#ifndef QuillmarshEngine_Data_GroupedComponentManager_h
#define QuillmarshEngine_Data_GroupedComponentManager_h

/** @file
 * @brief Class @ref QuillmarshEngine::Data::GroupedComponentManager
 */

#include "QuillmarshEngine/Data/ComponentManager.h"
#include "QuillmarshEngine/Data/SparseArrayGrouped.h"

namespace QuillmarshEngine { namespace Data {

/**
 * @brief Component manager whose active components are sorted by group and subgroup
 *
 * Owns a @ref SparseArrayGrouped and keeps its order through activation, deactivation, copying,
 * deletion and appending: an activated component goes to the end of its slot, a deactivated one
 * leaves its slot, so the active components of one (group, subgroup) key are always one index
 * range (@ref grouped()). See @ref SparseArrayGrouped for the data.
 *
 * Subclasses put `SparseLayerOwner<GroupedComponentManager>` in their layout right after the
 * owner column; it adds the group offsets and the slot column to the block. A subclass that
 * also stands in its layout as its own owner pseudo-column must declare its own `layerSize()`,
 * `layerInit()`, `layerAppend()` and `layerDestroy()` hooks (calling nothing of these): it
 * would otherwise inherit these and the layout would run them twice.
 *
 * The header tail holds, behind the 4 bytes of @ref ComponentManager, 8 bytes of this class
 * (group count, subgroup count, 4 reserved bytes) in front of the subclass's tail.
 */
class QUILLMARSH_EXPORT GroupedComponentManager: public ComponentManager {
    public:
        /** @brief Bytes this class keeps in the header tail */
        static constexpr std::uint32_t GroupedHeaderTailSize = 8;

        /** @brief Manager with one group of one subgroup */
        explicit GroupedComponentManager(std::uint32_t headerTailSize);

        /**
         * @brief Manager with @p groups groups of @p subgroups subgroups
         *
         * Expects both counts to be nonzero.
         */
        explicit GroupedComponentManager(std::uint32_t headerTailSize, std::uint16_t groups, std::uint16_t subgroups);

        ~GroupedComponentManager() override;

        /**
         * @brief Check an adopted block: nonzero counts, slot boundaries from 0 to the active
         *      count without going back, every active component inside its slot's range and
         *      every live one with a slot below the slot count
         */
        [[nodiscard]] std::string checkAdoptedBlock() const override;

        /** @brief Exchange two components, their slots included */
        void swap(IndexType a, IndexType b) override;

        /** @brief Copy the columns of @p from onto @p to and sort @p to into the key of @p from */
        void copy(IndexType from, IndexType to) override;

        /** @brief Move a component, its slot included, see @ref SparseArray::move() */
        void move(IndexType from, IndexType to) override;

        using ComponentManager::activate;
        using ComponentManager::deactivate;

        /**
         * @brief Activate the component at @p index into its slot
         *
         * Returns its new index, the last of its slot; an active component keeps its index.
         */
        IndexType activate(IndexType index) override;

        /**
         * @brief Deactivate the component at @p index, taking it out of its slot
         *
         * Returns its new index, the first inactive one; for an inactive component the active
         * count, as @ref SparseArrayActive::deactivate().
         */
        IndexType deactivate(IndexType index) override;

        /**
         * @brief Give the component at @p index the key (@p group, @p subgroup)
         *
         * See @ref SparseArrayGrouped::setGroup(). Returns the component's new index.
         */
        IndexType setGroup(IndexType index, std::uint16_t group, std::uint16_t subgroup) {
            return _grouped.setGroup(index, group, subgroup);
        }

        /**
         * @brief Add @p count empty groups behind the existing ones
         *
         * Grows the block for the new slots; every group is then marked changed. Expects the
         * total to stay below 65535 slots.
         */
        void addGroups(std::uint16_t count);

        /** @brief The grouping: counts, offsets, slots and changed groups */
        SparseArrayGrouped& grouped() { return _grouped; }
        const SparseArrayGrouped& grouped() const { return _grouped; }

        /* Hooks of the owner pseudo-column, called by the layout */
        std::size_t layerSize(IndexType capacity) const { return _grouped.layerSize(capacity); }
        void layerInit() { _grouped.init(); }
        void layerAppend(const GroupedComponentManager& other) { _grouped.appendSlots(other._grouped, size()); }
        void layerDestroy(IndexType index) { _grouped.resetSlot(index); }

    protected:
        SparseArrayGrouped _grouped;
};

}}

#endif
