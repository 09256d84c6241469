#ifndef QuillmarshEngine_Data_MeshManager_h
#define QuillmarshEngine_Data_MeshManager_h

/** @file
 * @brief Class @ref QuillmarshEngine::Data::MeshManager
 */

#include <span>
#include <vector>

#include "QuillmarshEngine/Data/GroupedComponentManager.h"
#include "QuillmarshEngine/Data/ScalingPadded.h"
#include "QuillmarshEngine/Data/SparseLayer.h"
#include "QuillmarshEngine/Math/Matrix4.h"
#include "QuillmarshEngine/Math/Range.h"
#include "QuillmarshEngine/Utils/BitSet.h"

namespace QuillmarshEngine { namespace Data {

namespace Implementation {
    /* The instance flag column: allocated, swapped, moved and copied like any separately
       allocated bit column, but appended components start with the flag cleared instead of
       taking the other manager's */
    struct InstanceFlagColumn: SparseLayerAlloc<bool> {
        InstanceFlagColumn() = default;
        void layerAppend(const InstanceFlagColumn&, std::size_t at, std::size_t count) {
            layerConstruct(at, at + count);
        }
    };
}

/**
 * @brief Manager of the "mesh" component
 *
 * Every component makes the object that owns it draw one mesh with one material. A
 * @ref GroupedComponentManager with the given number of groups, each split into two subgroups:
 * active components are sorted by (group, subgroup), so a renderer draws one group as one index
 * range. The manager only maintains the columns; the renderer reads them directly, by index:
 *
 * | column | type | meaning |
 * |---|---|---|
 * | @ref materials() | u16 | material index, published as a float in the value lane of @ref scalings() |
 * | @ref meshes() | u16 | mesh asset index |
 * | @ref skins() | u16 | skin index, 0 for none; nonzero in subgroup 1 makes the instance transform the identity |
 * | @ref morphTargets() | u16 | morph target set index |
 * | @ref morphTargetWeights() | @ref Range1Dus | the component's slice [begin, end) of @ref weights() |
 * | @ref transforms() | @ref DualQuaternion | world rotation and translation, written by @ref doUpdate() |
 * | @ref scalings() | @ref ScalingPadded | world scaling and the material value lane, written by @ref doUpdate() |
 * | @ref instanceValues() | float | one value per component, kept for the renderer and copied on append |
 * | @ref instanceFlags() | bit | one flag per component, kept for the renderer; cleared on append |
 *
 * @ref transforms() and @ref scalings() have the same 32-byte stride (@ref ScalingPadded), and
 * @ref absoluteTransformationAsMatrix() gives the column-major 4x4 matrix of one instance.
 *
 * Morph-target weights live in one pool of floats, a region of the manager's block sized by the
 * pool capacity. Each component owns the contiguous slice its range names; the slices of all live
 * components never overlap and together tile [0, @ref morphTargetWeightsInUse()). The block's
 * header tail holds two u32: the weights in use, then the pool capacity. The pool never shrinks;
 * when it must grow it grows to exactly the weights in use, reallocating the whole block (weight
 * counts change when meshes are assigned, not per frame). Ranges are 16-bit, so at most 65535
 * weights can be in use.
 *
 * Copying a component (@ref copy(), @ref cloneComponent()) gives the target a slice of its own
 * with the same weights; deleting a component releases its slice; appending a manager re-packs
 * the other manager's slices into this pool.
 *
 * A bit set with one bit per mesh asset index records meshes whose data changed
 * (@ref markMeshDirty()); the renderer reads and clears it. Growth of the block keeps its bits and
 * the changed-group bits of the grouped base.
 *
 * Views returned by the accessors die with the next growth of the block (adding a component to a
 * full manager, growing a weight slice beyond the pool). Not thread-safe.
 */
class QUILLMARSH_EXPORT MeshManager: public GroupedComponentManager {
    public:
        /** @brief Bytes of the header tail: the weights in use and the pool capacity, two u32 */
        static constexpr std::uint32_t HeaderTailSize = 8;

        /**
         * @brief Manager with room for @p capacity components in @p groupCapacity groups
         *
         * Every group has two subgroups. Expects @p groupCapacity to be nonzero. The weight pool
         * starts empty.
         */
        explicit MeshManager(IndexType capacity, std::uint16_t groupCapacity);

        /**
         * @brief Manager over the bytes of another mesh manager's @ref data()
         *
         * Adopts the block as it is: components, groups, ranges and the weight pool. The
         * separately allocated columns (@ref transforms(), @ref scalings(), @ref instanceValues(),
         * @ref instanceFlags()) are not part of the block and start in their default state; the
         * next @ref doUpdate() restores the first two. A block of another layout aborts.
         */
        explicit MeshManager(std::vector<char>&& data);

        ~MeshManager() override;

        /** @brief `"mesh"` */
        const char* name() const override;

        /** @brief Check an adopted block: two subgroups, the weights in use within the pool and the slices of the live components tiling them */
        [[nodiscard]] std::string checkAdoptedBlock() const override;

        /** @brief Append the instance value and flag of every live component, in index order */
        void saveExternalState(std::vector<char>& out) const override;

        /** @brief Restore what @ref saveExternalState() wrote; see @ref ComponentManager::loadExternalState() */
        [[nodiscard]] std::string loadExternalState(std::span<const char> data) override;

        /**
         * @brief Copy world transformations into the instance columns
         *
         * For every group g, subgroup 0 of g and subgroup 1 of g in turn: each component gets the
         * world dual quaternion of its owning object in @ref transforms() and the world scaling
         * in @ref scalings(); in subgroup 1 a component with a nonzero skin gets the identity
         * transform and a unit scaling instead, since its joints place it. Every active
         * component's value lane is set to its material index as a float. Run once a frame after
         * the scene graph has computed world transformations; inactive components keep what they
         * held. Expects the manager to be registered with a scene graph.
         */
        void doUpdate() override;

        /** @brief Nothing: @ref doUpdate() does all the work */
        void updateComponent(IndexType index) override;

        /**
         * @brief Resize the weight slice of the component at @p index to @p count weights
         *
         * A component without a slice gets [in use, in use + count) at the end of the pool; the
         * new weights are not cleared. A growing slice keeps its weights and gets @p count minus
         * the old count zeros at its end; a shrinking slice loses its last weights; a count of 0
         * leaves the range (0, 0). The slices behind it move with the pool's tail. Grows the pool
         * (and reallocates the block) when the weights in use exceed its capacity. Expects a live
         * @p index and at most 65535 weights in use afterwards.
         */
        void setMorphTargetWeightsCount(IndexType index, std::size_t count);

        /**
         * @brief Set the weights of the component at @p index
         *
         * Resizes its slice to the size of @p weights (see @ref setMorphTargetWeightsCount()),
         * then copies them in.
         */
        void setMorphTargetWeights(IndexType index, std::span<const float> weights);

        /** @brief Weights of the component at @p index, its slice of the pool; not checked */
        std::span<float> morphTargetWeightsOf(IndexType index) {
            const Range1Dus r = morphTargetWeights()[index];
            return _weights.subspan(r.min(), r.max() - r.min());
        }
        std::span<const float> morphTargetWeightsOf(IndexType index) const { /**< @overload */
            const Range1Dus r = morphTargetWeights()[index];
            return std::span<const float>{_weights}.subspan(r.min(), r.max() - r.min());
        }

        /**
         * @brief Mark the mesh with asset index @p mesh as changed
         *
         * Grows the dirty-mesh bit set when @p mesh lies beyond it, sets the mesh's bit and marks
         * every group of the grouped base changed.
         */
        void markMeshDirty(std::uint16_t mesh);

        /** @brief Whether the mesh with asset index @p mesh is marked changed */
        bool isMeshDirty(std::uint16_t mesh) const { return _dirtyMeshes[mesh]; }

        /** @brief Dirty-mesh bits, one per mesh asset index; the renderer reads and clears them */
        Utils::BitSet& dirtyMeshes() { return _dirtyMeshes; }
        const Utils::BitSet& dirtyMeshes() const { return _dirtyMeshes; } /**< @overload */

        /**
         * @brief 4x4 matrix of the instance transform of the component at @p index
         *
         * The rotation of the dual quaternion in @ref transforms() with its columns 0, 1 and 2
         * multiplied by the x, y and z of the scaling in @ref scalings(), and its translation in
         * column 3. Reflects the last @ref doUpdate(). Expects a live @p index.
         */
        Matrix4 absoluteTransformationAsMatrix(IndexType index) const;

        /** @name Columns
         * Capacity entries each, indexed by component index; invalidated by growth.
         */
        /** @{ */
        std::span<std::uint16_t> materials() { return _layout.get<2>().view(); }
        std::span<const std::uint16_t> materials() const { return _layout.get<2>().view(); } /**< @overload */
        std::span<std::uint16_t> meshes() { return _layout.get<3>().view(); }
        std::span<const std::uint16_t> meshes() const { return _layout.get<3>().view(); } /**< @overload */
        std::span<std::uint16_t> skins() { return _layout.get<4>().view(); }
        std::span<const std::uint16_t> skins() const { return _layout.get<4>().view(); } /**< @overload */
        std::span<std::uint16_t> morphTargets() { return _layout.get<5>().view(); }
        std::span<const std::uint16_t> morphTargets() const { return _layout.get<5>().view(); } /**< @overload */
        /** @brief Weight slices; change them only through @ref setMorphTargetWeightsCount() */
        std::span<const Range1Dus> morphTargetWeights() const { return _layout.get<6>().view(); }
        std::span<const DualQuaternion> transforms() const { return _layout.get<7>().view(); }
        std::span<const ScalingPadded> scalings() const { return _layout.get<8>().view(); }
        std::span<float> instanceValues() { return _layout.get<9>().view(); }
        std::span<const float> instanceValues() const { return _layout.get<9>().view(); } /**< @overload */
        Utils::BitSetView instanceFlags() { return _layout.get<10>().view(); }
        /** @} */

        /** @brief The whole weight pool, @ref morphTargetWeightsCapacity() floats */
        std::span<const float> weights() const { return _weights; }

        /** @brief Number of weights in use, the sum of all slice sizes */
        std::uint32_t morphTargetWeightsInUse() const;

        /** @brief Number of weights the pool holds without growing */
        std::uint32_t morphTargetWeightsCapacity() const;

        /* Hooks of the owner pseudo-column, called by the layout. Declared here so that the
           grouped base's hooks, which its own pseudo-column runs, do not run twice. */
        std::size_t layerSize(IndexType capacity) const;
        void layerInit();
        void layerCopy(IndexType from, IndexType to);
        void layerDestroy(IndexType index);
        void layerAppend(const MeshManager& other);

    private:
        /* setMorphTargetWeightsCount() without the index check, for the hooks, which also
           resize slices of components at or past size() */
        void resizeWeights(IndexType index, std::size_t count);
        void setCounter(std::size_t which, std::uint32_t value);

        SparseArrayStaticLayout<
            SparseLayer<Id, SparseLayerFlag::ObjectId>,
            SparseLayerOwner<GroupedComponentManager>,
            SparseLayer<std::uint16_t>,                         /* material */
            SparseLayer<std::uint16_t>,                         /* mesh */
            SparseLayer<std::uint16_t>,                         /* skin */
            SparseLayer<std::uint16_t>,                         /* morph targets */
            SparseLayer<Range1Dus, SparseLayerFlag::OwnerSized>,/* weight slice, re-packed by the hooks */
            SparseLayerAlloc<DualQuaternion>,                   /* transforms */
            SparseLayerAlloc<ScalingPadded>,                    /* scalings */
            SparseLayerAlloc<float>,                            /* instance value */
            Implementation::InstanceFlagColumn,                 /* instance flag */
            SparseLayerOwner<MeshManager>> _layout;
        std::span<float> _weights;
        Utils::BitSet _dirtyMeshes;
};

}}

#endif
