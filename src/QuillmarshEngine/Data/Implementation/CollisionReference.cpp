#include "CollisionReference.h"

#include <cmath>

#include "QuillmarshEngine/Data/SceneGraph.h"
#include "QuillmarshEngine/Math/DualQuaternion.h"
#include "QuillmarshEngine/Math/Intersection.h"

namespace QuillmarshEngine { namespace Data { namespace Implementation {

namespace {

/* The owner's world transformation, made current first */
const DualQuaternion& worldOf(const CollisionManager& manager, const SparseArray::IndexType index) {
    SceneGraph& graph = *manager.sceneGraph();
    const SparseArray::IndexType object = graph.indexOf(manager.owner(index));
    graph.computeAbsoluteTransformation(object);
    return graph.worldTransformation(object);
}

/* The sphere quadratic for a unit direction: b = d·(o - c), q = b² - (|o - c|² - r²), entry
   t = -b - sqrt(q); false when q is negative or NaN */
bool quadratic(const Vector3& origin, const Vector3& direction, const Vector3& centre, const float radiusSquared, float& q, float& t, float& originDistanceSquared) {
    const Vector3 v = origin - centre;
    const float b = direction.x()*v.x() + direction.y()*v.y() + direction.z()*v.z();
    originDistanceSquared = v.x()*v.x() + v.y()*v.y() + v.z()*v.z();
    q = b*b - (originDistanceSquared - radiusSquared);
    t = -b - std::sqrt(q);
    return q >= 0.0f;
}

}

std::uint32_t rayCastReference(const CollisionManager& manager, const Vector3& origin, const Vector3& direction, const std::uint8_t groupMask, const float maxDistance, RayHit& hit, const bool normals) {
    hit.hitCount = 0;
    for(SparseArray::IndexType i = 0; i != manager.size(); ++i) {
        if(!(manager.groups()[i] & groupMask)) continue;
        const ColliderType type = manager.colliders()[i];
        const Vector3& extents = manager.extents()[i];
        const DualQuaternion& world = worldOf(manager, i);
        const Vector3 centre = world.translation();
        float t, q, originDistanceSquared;
        Vector3 normal;
        if(type == ColliderType::Sphere) {
            if(!quadratic(origin, direction, centre, extents.x()*extents.x(), q, t, originDistanceSquared) || !(t >= 0.0f)) continue;
            const Vector3 outward = origin + direction*t - centre;
            normal = outward.isZero() ? -direction : outward.normalized();
        } else if(type == ColliderType::AxisAlignedBox || type == ColliderType::Box) {
            /* The bounding sphere first: entered ahead, or containing the origin */
            const float bound = extents.length();
            if(quadratic(origin, direction, centre, bound*bound, q, t, originDistanceSquared)) {
                if(!(t >= 0.0f) && !(bound*bound >= originDistanceSquared)) continue;
            } else if(q < 0.0f) {
                if(!(bound*bound >= originDistanceSquared)) continue;
            } else continue;
            bool entered;
            if(type == ColliderType::AxisAlignedBox)
                entered = normals ?
                    Math::Intersection::lineAABB(origin - centre, direction, extents, t, normal) :
                    Math::Intersection::lineAABB(origin - centre, direction, extents, t);
            else if(normals)
                entered = Math::Intersection::lineBox(origin, direction, extents, centre, world.rotation().toMatrix(), t, normal);
            else entered = Math::Intersection::lineBox(origin, direction, extents, world, t);
            if(!entered) continue;
        } else continue;

        if(!(t <= maxDistance)) continue;
        if(hit.hitCount == 4 && !(t < hit.distances[3])) continue;
        std::uint32_t slot = hit.hitCount < 4 ? hit.hitCount : 3;
        hit.distances[slot] = t;
        hit.locations[slot] = origin + direction*t;
        hit.objects[slot] = manager.owner(i);
        if(normals) hit.normals[slot] = normal;
        if(hit.hitCount < 4) ++hit.hitCount;
        while(slot > 0 && hit.distances[slot - 1] > hit.distances[slot]) {
            hit.swap(int(slot) - 1, int(slot));
            --slot;
        }
    }
    return hit.hitCount;
}

std::vector<Id> queryOverlapsReference(const CollisionManager& manager, const Id collision) {
    std::vector<Id> out;
    const SparseArray::IndexType query = manager.indexOf(collision);
    const ColliderType queryType = manager.colliders()[query];
    const Vector3& queryExtents = manager.extents()[query];
    const std::uint8_t queryGroups = manager.groups()[query];
    const DualQuaternion queryWorld = worldOf(manager, query);
    const Vector3 queryCentre = queryWorld.translation();
    for(SparseArray::IndexType i = 0; i != manager.size(); ++i) {
        if(i == query || !(manager.groups()[i] & queryGroups)) continue;
        const ColliderType type = manager.colliders()[i];
        const Vector3& extents = manager.extents()[i];
        const DualQuaternion& world = worldOf(manager, i);
        const Vector3 centre = world.translation();
        using namespace Math::Intersection;
        bool overlaps = false;
        if(queryType == ColliderType::Sphere) {
            if(type == ColliderType::Sphere) overlaps = sphereSphere(queryCentre, queryExtents.x(), centre, extents.x());
            else if(type == ColliderType::AxisAlignedBox) overlaps = sphereAABB(queryCentre, queryExtents.x(), centre, extents);
            else if(type == ColliderType::Box) overlaps = sphereBox(queryCentre, queryExtents.x(), world, extents);
        } else if(queryType == ColliderType::AxisAlignedBox) {
            if(type == ColliderType::Sphere) overlaps = sphereAABB(centre, extents.x(), queryCentre, queryExtents);
            else if(type == ColliderType::AxisAlignedBox) overlaps = aabbAABB(queryCentre, queryExtents, centre, extents);
        } else if(queryType == ColliderType::Box) {
            if(type == ColliderType::Sphere) overlaps = sphereBox(centre, extents.x(), queryWorld, queryExtents);
            else if(type == ColliderType::Box) {
                const float reach = queryExtents.length() + extents.length();
                overlaps = (queryCentre - centre).dot() < reach*reach && boxBox(queryWorld, queryExtents, world, extents);
            }
        }
        if(overlaps) out.push_back(manager.idOf(i));
    }
    return out;
}

}}}
