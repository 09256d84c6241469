#ifndef QuillmarshEngine_Data_CollisionManager_h
#define QuillmarshEngine_Data_CollisionManager_h

/** @file
 * @brief Class @ref QuillmarshEngine::Data::CollisionManager, struct
 *      @ref QuillmarshEngine::Data::RayHit, enum @ref QuillmarshEngine::Data::ColliderType
 */

#include <span>
#include <vector>

#include "QuillmarshEngine/Data/ComponentManager.h"
#include "QuillmarshEngine/Data/SparseLayer.h"
#include "QuillmarshEngine/Math/Matrix.h"
#include "QuillmarshEngine/Math/Vector3.h"

namespace QuillmarshEngine { namespace Data {

/**
 * @brief Shape of a collider
 *
 * Stored in the collider column; the values are fixed. Queries ignore any other value.
 */
enum class ColliderType: std::uint8_t {
    /** Sphere of radius `extents.x()` around the owner's world position */
    Sphere = 0,

    /**
     * Box with half-extents `extents` around the owner's world position, aligned with the world
     * axes whatever the owner's rotation
     */
    AxisAlignedBox = 1,

    /** Box with half-extents `extents`, oriented by the owner's world rotation */
    Box = 2
};

/** @brief Prints `ColliderType::Sphere` etc., unknown values as `ColliderType(0x7)` */
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, ColliderType value);

/**
 * @brief Up to four hits of a ray, nearest first
 *
 * Filled by @ref CollisionManager::rayCast(). Entries [0, @ref hitCount) are valid and sorted by
 * distance; equal distances keep the order in which the colliders were visited.
 */
struct RayHit {
    Vector3 locations[4];   /**< World hit points, origin + direction × distance */
    /**
     * Outward surface normals at the hit points, written only by
     * @ref CollisionManager::rayCastWithNormals(); @ref CollisionManager::rayCast() leaves them
     * as they are apart from moving them along with their entries
     */
    Vector3 normals[4];
    float distances[4]{};   /**< Distances along the ray */
    Id objects[4]{};        /**< Objects owning the hit colliders */
    std::uint32_t hitCount{};   /**< Number of valid entries, 0 to 4 */

    /** @brief Exchange entries @p i and @p j of all four arrays; expects both in [0, 4) */
    QUILLMARSH_EXPORT void swap(int i, int j);
};

/**
 * @brief Simple collision shapes of scene-graph objects, with ray casts and overlap queries
 *
 * The "collision" component: a sphere, an axis-aligned box or an oriented box per component,
 * placed by the owning object's world transformation (its translation, and for @ref ColliderType::Box
 * its rotation; scaling never applies). Columns after the owner: `extents` (@ref Vector3),
 * `colliders` (@ref ColliderType) and `groups` (8 bits; a query and a collider interact when
 * they share a bit). New components are spheres of radius 0 in no group. Every live component
 * takes part in the queries, active or not; colliders have no per-frame work.
 *
 * There is no broad phase: every query visits every collider in index order, which suits the
 * small collider counts of the scenes this targets. The world-space data of all colliders is
 * kept in cached structure-of-arrays columns, rebuilt by the first query after a change (of a
 * column, of the components, or of any transformation in the scene graph, as
 * @ref SceneGraph::transformGeneration() tells), so repeated queries in an unchanged scene cost
 * one vectorized pass (SSE2, or AVX2 where the processor has it) plus the exact tests of the
 * few candidates it leaves. A rebuild brings every collider's owner up to date with
 * @ref SceneGraph::computeAbsoluteTransformation() and costs O(n); it allocates only after the
 * manager grew.
 *
 * Misuse (queries of an unregistered manager, a direction that is not unit length, an index or
 * id out of range) prints the reason and aborts. Not thread-safe, also not for queries alone.
 */
class QUILLMARSH_EXPORT CollisionManager: public ComponentManager {
    public:
        /** @brief Manager with room for @p capacity colliders */
        explicit CollisionManager(IndexType capacity = 0);

        /**
         * @brief Manager adopting a block built by another collision manager
         *
         * Takes @p block (for example the bytes of another manager's @ref data()) with its
         * columns, ids and active count. A block whose sizes disagree with the layout aborts.
         */
        explicit CollisionManager(std::vector<char>&& block);

        ~CollisionManager() override;

        /** @brief `"collision"` */
        const char* name() const override;

        /** @brief Colliders have no per-frame work: the update loop is skipped entirely */
        void doUpdate() override;

        /** @brief Nothing to do per frame */
        void updateComponent(IndexType index) override;

        /** @brief Rebuild the partition and bind the columns */
        void init() override;

        /** @brief Half-extents of the boxes, `x()` is the radius of a sphere; capacity entries, invalidated by growth */
        std::span<const Vector3> extents() const { return _extents; }

        /** @brief Shape of every collider; capacity entries, invalidated by growth */
        std::span<const ColliderType> colliders() const { return _colliders; }

        /** @brief Collision groups of every collider; capacity entries, invalidated by growth */
        std::span<const std::uint8_t> groups() const { return _groups; }

        /** @brief Set the half-extents (or radius in `x()`) of the collider at @p index */
        void setExtents(IndexType index, const Vector3& extents);

        /** @brief Set the shape of the collider at @p index */
        void setCollider(IndexType index, ColliderType type);

        /** @brief Set the collision groups of the collider at @p index */
        void setGroups(IndexType index, std::uint8_t groups);

        /**
         * @brief Cast a ray against every collider
         * @param origin        Ray origin in world space
         * @param direction     Unit direction (checked with `isNormalized()`)
         * @param groupMask     Only colliders sharing a bit with it are tested
         * @param maxDistance   Farthest distance that counts, included
         * @param[out] hit      The nearest four hits, sorted; @ref RayHit::hitCount is reset
         *
         * Returns the number of hits. Reports owning object ids, not component ids. A collider
         * that contains the origin is not hit (spheres and both box types alike); a ray tangent
         * to a sphere hits it, one that only grazes a box edge or corner does not. Equal
         * distances keep index order, and of more than four hits the first four nearest survive.
         * Leaves @ref RayHit::normals unset. Expects the manager to be registered.
         */
        std::uint32_t rayCast(const Vector3& origin, const Vector3& direction, std::uint8_t groupMask, float maxDistance, RayHit& hit) const;

        /**
         * @brief Cast a ray and also write the surface normals
         *
         * The same hits as @ref rayCast(), plus in @ref RayHit::normals the outward unit normal
         * at each hit: from the centre for a sphere, the entered face's world normal for a box.
         * For picking, decals and teleport arcs; @ref rayCast() does none of this work.
         */
        std::uint32_t rayCastWithNormals(const Vector3& origin, const Vector3& direction, std::uint8_t groupMask, float maxDistance, RayHit& hit) const;

        /**
         * @brief Colliders overlapping the collider @p collision
         *
         * Returns component ids (not object ids) in index order, without @p collision itself.
         * Only colliders sharing a group bit with it count. By the pair of shapes: two spheres
         * overlap when strictly closer than their radii; a sphere and either box when the
         * closest point of the box is within the radius (touching counts); two axis-aligned
         * boxes when they strictly overlap on every axis; two oriented boxes when their centres
         * are strictly closer than `|e1| + |e2|` and the separating-axis test finds no gap. An
         * axis-aligned box and an oriented box never overlap: the pair is deliberately not
         * tested. A collider of another type overlaps nothing. Expects a live @p collision.
         */
        std::vector<Id> queryOverlaps(Id collision) const;

        /** @brief Same as @ref queryOverlaps(Id) const, into @p out (cleared first), which keeps its capacity */
        void queryOverlaps(Id collision, std::vector<Id>& out) const;

    private:
        typedef SparseArrayStaticLayout<SparseLayer<Id, SparseLayerFlag::ObjectId>, SparseLayer<Vector3>,
            SparseLayer<ColliderType>, SparseLayer<std::uint8_t>> ColumnLayout;

        /* The column layout, counting every change of the columns so that the cache knows when
           to rebuild */
        class Layout: public ColumnLayout {
            public:
                explicit Layout(CollisionManager& owner): ColumnLayout{owner}, _owner{owner} {}
                void doInit() override;
                void doConstruct(IndexType first, IndexType last) override;
                void doSwap(IndexType a, IndexType b) override;
                void doCopy(IndexType from, IndexType to) override;
                void doMove(IndexType from, IndexType to) override;
                void doDelete(IndexType index) override;
                void doAppend(const SparseArray& other) override;

            private:
                CollisionManager& _owner;
        };

        template<bool normals> std::uint32_t castRay(const char* function, const Vector3& origin, const Vector3& direction, std::uint8_t groupMask, float maxDistance, RayHit& hit) const;
        void requireIndex(const char* function, IndexType index) const;
        void updateCache(const char* function) const;

        Layout _layout;
        std::span<Vector3> _extents;
        std::span<ColliderType> _colliders;
        std::span<std::uint8_t> _groups;
        /* Bumped by every change of the columns */
        std::uint64_t _contentGeneration{};

        /* World-space cache, see Implementation::ColliderColumns; valid while the scene graph,
           its transformation counter, the content counter and the size are the recorded ones.
           A fresh add() changes only the size, every other change of the components goes
           through the layout. */
        mutable std::vector<float> _centreX, _centreY, _centreZ, _boundSquared, _reach;
        mutable std::vector<std::uint32_t> _tags;
        mutable std::vector<Math::Matrix3x3<float>> _rotations;
        mutable std::vector<std::uint16_t> _candidates;
        mutable std::vector<float> _candidateDistances;
        mutable const SceneGraph* _cachedGraph{};
        mutable std::uint64_t _cachedTransformGeneration{};
        mutable std::uint64_t _cachedContentGeneration{};
        mutable IndexType _cachedSize{};
        mutable bool _cacheValid{};
};

}}

#endif
