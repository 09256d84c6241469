#ifndef QuillmarshEngine_Data_SceneGraph_h
#define QuillmarshEngine_Data_SceneGraph_h

/** @file
 * @brief Class @ref QuillmarshEngine::Data::SceneGraph
 */

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "QuillmarshEngine/Assert.h"
#include "QuillmarshEngine/Data/ObjectData.h"
#include "QuillmarshEngine/Data/SparseLayer.h"
#include "QuillmarshEngine/Function.h"
#include "QuillmarshEngine/Math/DualQuaternion.h"
#include "QuillmarshEngine/Math/Vector3.h"
#include "QuillmarshEngine/Utils/BitSet.h"
#include "QuillmarshEngine/Utils/Result.h"

namespace QuillmarshEngine { namespace Data {

class ComponentManager;

/**
 * @brief Objects of one scene: hierarchy, transformations and component lists
 *
 * A @ref SparseArray whose elements are objects. Objects are kept in depth-first pre-order:
 * index 0 is the root (id 0), a parent's index is below its descendants', and the subtree of the
 * object at index i is exactly [i, i + descendants(i)]. World transformations are therefore
 * computed for all dirty objects in one forward pass (@ref computeAbsoluteTransformations()),
 * with no child lists and no recursion.
 *
 * Columns per object: @ref ObjectData, dirty and changed bits, local transformation and scaling
 * (in the block), world transformation and scaling (own allocations). The block also holds the
 * names of the component-manager slots, per object id the run of its components in the
 * component list (`[componentsOffsets[id], componentsOffsets[id + 1])`) and the list itself
 * (component id and manager slot of each entry).
 *
 * World transformations compose scaled dual quaternions (@ref concatenate()): an object whose
 * parent is the root takes its local transformation and scaling as they are; otherwise, when the
 * parent's world scaling is (1, 1, 1) (each component equal to 1, or within a relative 1e-5 of
 * it: |s - 1|/(|s| + 1) < 1e-5), world = parent world × local and world scaling = local scaling.
 * Else the child's translation t = 2 × dual × conjugate(real) is scaled component-wise by the
 * parent's world scaling, the child is rebuilt with the same rotation and dual part
 * ½ · (t, 0) × real, world = parent world × rebuilt child, and world scaling = parent world
 * scaling × local scaling component-wise. Scaling never enters the rotation: a non-uniform parent
 * scaling stretches the offsets of its children, not their orientation.
 *
 * Ids are stable; indices change with @ref addObject(), @ref reparent() and
 * @ref deleteObjects(). Views and references into columns die with the next growth. Misuse
 * (invalid ids, exhausted capacity of the unsafe form, moving the root) prints the reason and
 * aborts; growth on demand prints a warning. The index accessors of the hot paths (hierarchy
 * fields, flags, transformations) are unchecked in release builds and check the index against
 * @ref size() in debug builds (see @ref QUILLMARSH_DEBUG_ASSERT). Not thread-safe: one thread
 * drives a scene.
 */
class QUILLMARSH_EXPORT SceneGraph: public SparseArray {
    public:
        /** @brief Hierarchy record of one object */
        typedef Data::ObjectData ObjectData;

        /** @brief Most objects, and most listed components, a scene graph holds: both are counted in 16 bits */
        static constexpr std::uint32_t MaxCapacity = 65535;

        /** @brief Called for every component @ref deleteObjects() deletes, with (manager slot, component id) */
        typedef Function<void(std::uint8_t, Id)> ComponentDeletedCallback;

        /** @brief Called once per @ref deleteObjects() with the ids of all deleted objects */
        typedef Function<void(std::span<const Id>)> ObjectsDeletedCallback;

        /**
         * @brief Scene graph for @p objectCapacity objects, @p managerCount manager slots and
         *      @p componentCapacity listed components
         *
         * Holds only the root afterwards. Expects @p objectCapacity to be at least 1 and
         * @p managerCount at most 256.
         */
        explicit SceneGraph(IndexType objectCapacity, std::uint16_t managerCount, std::uint16_t componentCapacity);

        /**
         * @brief Adopt a complete scene-graph block built elsewhere
         *
         * The block must be 4-byte aligned and in the scene graph's layout, for example the bytes
         * of another graph's @ref data(). World transformations are not part of the block: every
         * object is marked dirty, so the next @ref computeAbsoluteTransformations() restores them.
         * Manager slots start empty.
         */
        explicit SceneGraph(std::vector<char>&& block);

        /**
         * @brief Adopt a block from outside the process, refusing a broken one
         *
         * The validating twin of @ref SceneGraph(std::vector<char>&&): checks the alignment,
         * the header, every size against the layout and then every invariant
         * (@ref checkInvariants()), and returns the reason instead of aborting. Never reads out
         * of the block.
         */
        static Utils::Result<std::unique_ptr<SceneGraph>> adopt(std::vector<char>&& block);

        ~SceneGraph() override;

        /** @name Objects */
        /** @{ */

        /**
         * @brief Add an object as the last child of @p parent
         *
         * Grows by 64 objects with the warning "SceneGraph::addObject(): on the fly allocation
         * was required" when full, by less when that would pass 65535 objects; a full graph of
         * 65535 objects aborts before growing. The new object sits directly after the parent's
         * previous subtree; later indices shift by one. Expects a live @p parent.
         */
        Id addObject(Id parent = Id{});

        /**
         * @brief Append an object at the last index under the parent at @p parentIndex
         *
         * Never grows and never reorders: the caller guarantees the pre-order, for example by
         * building a graph parent by parent in pre-order. Children of the root are not marked
         * dirty (their world equals their local transformation, identity in both); others are.
         */
        Id addObjectUnsafe(IndexType parentIndex);

        /**
         * @brief Make @p object the last child of @p newParent
         *
         * Moves the object's subtree directly behind the new parent's previous subtree and
         * returns the object's new index. Transformations are not marked dirty. Expects neither
         * the root nor a @p newParent inside the object's own subtree.
         */
        IndexType reparent(Id object, Id newParent);

        /**
         * @brief Delete @p object with its whole subtree
         *
         * Deletes every component of every deleted object in its manager (last to first per
         * object) and from the object's run, calling the component-deleted callback for each,
         * then calls the objects-deleted callback. Callbacks may delete further objects; deleting
         * an object whose deletion is already under way, or has finished and whose id was not
         * handed out again, returns at once. The freed ids are reused first.
         */
        void deleteObjects(Id object);

        /**
         * @brief Copy @p object and its subtree under @p parent
         *
         * The copies get fresh ids, the same shape and the local transformations and scalings
         * of the originals, and are marked dirty. Every component of the originals is copied
         * in its manager onto a new component of the copy (active when the original is), in
         * run order. Returns the id of the copy of @p object.
         */
        Id cloneObject(Id object, Id parent);

        /**
         * @brief Append all objects of @p other under this graph's root
         *
         * The children of the other root become children of this root, in order, with fresh
         * ids and the same local transformations, marked dirty. The components of every manager
         * slot registered in both graphs are appended to this graph's manager (see
         * @ref ComponentManager::append(); those of the other root go to this root); components
         * of a slot empty here are dropped with a warning. The optional @p callback gets (other's
         * id, new id) for every appended object.
         */
        void append(const SceneGraph& other, Function<void(Id, Id)> callback = {});

        /**
         * @brief Move the objects [from, from + count) so that they start before @p to
         *
         * Moves every column and both indirection tables; parent fields are the caller's.
         * Expects neither @p from nor @p to to be 0.
         */
        void moveObjectIndexRange(IndexType from, IndexType count, IndexType to);

        /** @brief Exchange the objects at two indices; refuses the root */
        void swap(IndexType a, IndexType b) override;

        /** @brief Grow to @p capacity objects, see @ref SparseArray::allocate() */
        void allocate(IndexType capacity) override;

        /** @brief Hierarchy records of all slots */
        [[nodiscard]] std::span<const ObjectData> objects() const { return _objects; }

        /** @brief Index of the parent of the object at @p index; unchecked in release builds */
        [[nodiscard]] IndexType parentIndex(IndexType index) const {
            QUILLMARSH_DEBUG_ASSERT(index < size(), "SceneGraph::parentIndex(): index" << index << "out of range for" << size() << "objects", {});
            return _objects[index].parent;
        }

        /** @brief Number of direct children of the object at @p index; unchecked in release builds */
        [[nodiscard]] IndexType childrenCount(IndexType index) const {
            QUILLMARSH_DEBUG_ASSERT(index < size(), "SceneGraph::childrenCount(): index" << index << "out of range for" << size() << "objects", {});
            return _objects[index].children;
        }

        /** @brief Number of all descendants of the object at @p index; unchecked in release builds */
        [[nodiscard]] IndexType descendantsCount(IndexType index) const {
            QUILLMARSH_DEBUG_ASSERT(index < size(), "SceneGraph::descendantsCount(): index" << index << "out of range for" << size() << "objects", {});
            return _objects[index].descendants;
        }

        /**
         * @brief Whether the parent field of @p child is @p parent
         *
         * Exactly the parent field: the root's is 0, so `isParent(0, 0)` is true. Ask
         * `child != 0 && isParent(parent, child)` for a real child.
         */
        [[nodiscard]] bool isParent(Id parent, Id child) const;
        /** @brief Whether the parent field of the object at @p child is @p parent; unchecked in release builds */
        [[nodiscard]] bool isParent(IndexType parent, IndexType child) const;

        /** @brief Whether @p ancestor is above @p object (never for the object itself) */
        [[nodiscard]] bool isAncestor(Id ancestor, Id object) const;
        /** @brief Whether a < b ≤ a + descendants(a); unchecked in release builds */
        [[nodiscard]] bool isAncestor(IndexType a, IndexType b) const;

        /** @brief Whether @p id names a live object */
        [[nodiscard]] bool isAlive(Id id) const { return id < capacity() && indexOf(id) < size() && idOf(indexOf(id)) == id; }

        /** @} */

        /** @name Flags */
        /** @{ */

        /** @brief Whether the world transformation of the object at @p index is out of date; unchecked in release builds */
        [[nodiscard]] bool isDirty(IndexType index) const {
            QUILLMARSH_DEBUG_ASSERT(index < size(), "SceneGraph::isDirty(): index" << index << "out of range for" << size() << "objects", {});
            return _dirty[index];
        }

        /** @brief Mark the object at @p index and its subtree dirty and changed; unchecked in release builds */
        void setDirty(IndexType index);

        /** @brief Mark the subtree below the object at @p index dirty and changed; unchecked in release builds */
        void setChildrenDirty(IndexType index);

        /** @brief Whether the object at @p index changed since @ref resetChanged(); unchecked in release builds */
        [[nodiscard]] bool isChanged(IndexType index) const {
            QUILLMARSH_DEBUG_ASSERT(index < size(), "SceneGraph::isChanged(): index" << index << "out of range for" << size() << "objects", {});
            return _changed[index];
        }

        /** @brief Mark the object at @p index and its subtree changed; unchecked in release builds */
        void setChanged(IndexType index);

        /** @brief Clear every changed bit */
        void resetChanged();

        /** @brief Dirty bits, one per index; invalidated by growth */
        [[nodiscard]] Utils::BitSetView dirtyBits() const { return _dirty; }

        /** @brief Changed bits, one per index; invalidated by growth */
        [[nodiscard]] Utils::BitSetView changedBits() const { return _changed; }

        /** @} */

        /** @name Transformations */
        /** @{ */

        /** @brief Local transformation of the object at @p index; unchecked in release builds */
        [[nodiscard]] const DualQuaternion& localTransformation(IndexType index) const {
            QUILLMARSH_DEBUG_ASSERT(index < size(), "SceneGraph::localTransformation(): index" << index << "out of range for" << size() << "objects", _local[0]);
            return _local[index];
        }

        /**
         * @brief Set the local transformation of the object at @p index
         *
         * Does not mark the object dirty; call @ref setDirty() once after changing an object.
         * Unchecked in release builds.
         */
        void setLocalTransformation(IndexType index, const DualQuaternion& transformation) {
            QUILLMARSH_DEBUG_ASSERT(index < size(), "SceneGraph::setLocalTransformation(): index" << index << "out of range for" << size() << "objects", );
            _local[index] = transformation;
        }

        /** @brief Local scaling of the object at @p index; unchecked in release builds */
        [[nodiscard]] const Vector3& localScaling(IndexType index) const {
            QUILLMARSH_DEBUG_ASSERT(index < size(), "SceneGraph::localScaling(): index" << index << "out of range for" << size() << "objects", _localScaling[0]);
            return _localScaling[index];
        }

        /** @brief Set the local scaling of the object at @p index; does not mark it dirty, unchecked in release builds */
        void setLocalScaling(IndexType index, const Vector3& scaling) {
            QUILLMARSH_DEBUG_ASSERT(index < size(), "SceneGraph::setLocalScaling(): index" << index << "out of range for" << size() << "objects", );
            _localScaling[index] = scaling;
        }

        /** @brief World transformation of the object at @p index, as of the last computation; unchecked in release builds */
        [[nodiscard]] const DualQuaternion& worldTransformation(IndexType index) const {
            QUILLMARSH_DEBUG_ASSERT(index < size(), "SceneGraph::worldTransformation(): index" << index << "out of range for" << size() << "objects", _world[0]);
            return _world[index];
        }

        /** @brief World scaling of the object at @p index, as of the last computation; unchecked in release builds */
        [[nodiscard]] const Vector3& worldScaling(IndexType index) const {
            QUILLMARSH_DEBUG_ASSERT(index < size(), "SceneGraph::worldScaling(): index" << index << "out of range for" << size() << "objects", _worldScaling[0]);
            return _worldScaling[index];
        }

        /** @brief Local transformations of all slots; invalidated by growth */
        [[nodiscard]] std::span<DualQuaternion> localTransformations() { return _local; }
        [[nodiscard]] std::span<const DualQuaternion> localTransformations() const { return _local; }

        /** @brief Local scalings of all slots; invalidated by growth */
        [[nodiscard]] std::span<Vector3> localScalings() { return _localScaling; }
        [[nodiscard]] std::span<const Vector3> localScalings() const { return _localScaling; }

        /** @brief World transformations of all slots; invalidated by growth */
        [[nodiscard]] std::span<const DualQuaternion> worldTransformations() const { return _world; }

        /** @brief World scalings of all slots; invalidated by growth */
        [[nodiscard]] std::span<const Vector3> worldScalings() const { return _worldScaling; }

        /**
         * @brief Bring every dirty object's world transformation up to date
         *
         * One forward pass over the dirty words in index order, then every dirty bit is clear.
         */
        void computeAbsoluteTransformations();

        /**
         * @brief Bring one object's world transformation up to date, with its dirty ancestors
         *
         * Walks up to the highest dirty ancestor whose parent is clean or the root and then back
         * down, computing and clearing each object on the way; allocates nothing. Unchecked in
         * release builds.
         */
        void computeAbsoluteTransformation(IndexType index);

        /**
         * @brief Scaled dual-quaternion composition
         *
         * With @p parentScaling (1, 1, 1) under the fuzzy comparison of the class documentation,
         * @p out = @p parent × @p child and @p outScaling = @p childScaling. Otherwise the child's
         * translation is scaled component-wise by @p parentScaling before the product and
         * @p outScaling = @p parentScaling × @p childScaling. The rotation is never scaled.
         * @p out may alias neither input.
         */
        static void concatenate(const DualQuaternion& parent, const Vector3& parentScaling, const DualQuaternion& child, const Vector3& childScaling, DualQuaternion& out, Vector3& outScaling);

        /** @brief Copy the local transformation and scaling of @p from to @p to; marks nothing dirty */
        void copyObjectTransform(Id from, Id to);

        /** @} */

        /** @name Components */
        /** @{ */

        /** @brief Number of manager slots */
        [[nodiscard]] std::uint16_t managerCount() const;

        /** @brief Entries of the component list in use */
        [[nodiscard]] std::uint16_t componentCount() const;

        /** @brief Entries the component list can hold */
        [[nodiscard]] std::uint16_t componentCapacity() const;

        /**
         * @brief Register @p manager in slot @p index under @p name
         *
         * An empty @p name keeps the slot's name. A manager previously in the slot is detached.
         * Expects @p index below @ref managerCount() and @p name of at most 11 characters.
         */
        void setComponentManager(std::uint16_t index, std::string_view name, ComponentManager* manager);

        /** @brief Manager in slot @p index, or `nullptr` */
        [[nodiscard]] ComponentManager* componentManager(std::uint16_t index) const;

        /** @brief Name of slot @p index, empty when none was given */
        [[nodiscard]] std::string_view componentManagerName(std::uint16_t index) const;

        /**
         * @brief List a component at the end of @p object's run
         *
         * A full list grows with the warning "SceneGraph::addComponent(): on the fly allocation
         * was required", leaving at least 64 spare entries and 64 spare objects.
         */
        void addComponent(Id object, std::uint8_t managerIndex, Id component);

        /** @brief Remove a listed component from @p object's run; false when it is not listed */
        bool removeComponent(Id object, std::uint8_t managerIndex, Id component);

        /** @brief Delete a component in its manager and remove it from @p object's run */
        void deleteComponent(Id object, std::uint8_t managerIndex, Id component);

        /** @brief Remove every listed component of manager slot @p managerIndex from all runs */
        void deleteComponents(std::uint8_t managerIndex);

        /** @brief Component ids in @p object's run */
        [[nodiscard]] std::span<const Id> componentIds(Id object) const;

        /** @brief Manager slots in @p object's run, parallel to @ref componentIds() */
        [[nodiscard]] std::span<const std::uint8_t> componentManagerIndices(Id object) const;

        /** @brief Run starts per object id, capacity + 1 entries */
        [[nodiscard]] std::span<const std::uint16_t> componentsOffsets() const { return _componentsOffsets; }

        /**
         * @brief Make sure of spare room for @p objects objects and @p components components
         *
         * Does nothing when both fit; otherwise grows both lists to at least @p minimumGrowth
         * spare entries each.
         */
        void ensureAdditionalCapacityOf(std::uint16_t objects, std::uint16_t components, std::uint16_t minimumGrowth);

        /**
         * @brief Grow to @p spareObjects spare objects and @p spareComponents spare components
         *
         * Requests are counts of spare slots after the call. Shrinking aborts.
         */
        void reallocateCapacity(std::uint32_t spareObjects, std::uint32_t spareComponents);

        /** @brief Set the callback for components deleted by @ref deleteObjects() */
        void setComponentDeletedCallback(ComponentDeletedCallback callback) { _componentDeleted = std::move(callback); }

        /** @brief Set the callback for objects deleted by @ref deleteObjects() */
        void setObjectsDeletedCallback(ObjectsDeletedCallback callback) { _objectsDeleted = std::move(callback); }

        /** @} */

        /** @name Activation */
        /** @{ */

        /** @brief Switch the scene on and activate every registered manager in it */
        void activate();

        /** @brief Deactivate every registered manager in the scene and switch it off */
        void deactivate();

        /** @brief Whether the scene is active */
        [[nodiscard]] bool activated() const { return _active; }

        /** @} */

        /**
         * @brief Check every invariant of the graph
         *
         * Pre-order, parent, children and descendants fields, both indirection tables and the
         * component runs. Returns an empty string when all hold, else a description of the first
         * violation.
         */
        [[nodiscard]] std::string checkInvariants() const;

        /* Hooks of the owner pseudo-column, called by the layout */
        std::size_t layerSize(IndexType capacity) const;
        void layerInit();

    private:
        struct Tail {
            std::uint16_t managerCount;
            std::uint16_t componentsInUse;
            std::uint16_t componentCapacity;
            std::uint16_t zero;
        };

        Tail& tail();
        const Tail& tail() const;
        void setFlagRange(Utils::BitSetView bits, std::uint32_t first, std::uint32_t last);
        void recomputeParents(std::uint32_t first);
        void requireAlive(Id id, const char* function) const;

        SparseArrayStaticLayout<SparseLayer<ObjectData>, SparseLayerAlloc<bool>, SparseLayerAlloc<bool>,
            SparseLayer<DualQuaternion>, SparseLayer<Vector3>, SparseLayerAlloc<DualQuaternion>,
            SparseLayerAlloc<Vector3>, SparseLayerOwner<SceneGraph>> _layout;

        std::span<ObjectData> _objects;
        Utils::BitSetView _dirty, _changed;
        std::span<DualQuaternion> _local;
        std::span<Vector3> _localScaling;
        std::span<DualQuaternion> _world;
        std::span<Vector3> _worldScaling;

        std::span<char[12]> _managerNames;
        std::span<std::uint16_t> _componentsOffsets;
        std::span<Id> _componentIds;
        std::span<std::uint8_t> _componentManagers;

        std::vector<ComponentManager*> _managers;
        Utils::BitSet _deletedObjects;
        ComponentDeletedCallback _componentDeleted;
        ObjectsDeletedCallback _objectsDeleted;
        bool _active{};
};

}}

#endif
