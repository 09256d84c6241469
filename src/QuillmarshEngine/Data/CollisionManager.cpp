#include "QuillmarshEngine/Data/CollisionManager.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "QuillmarshEngine/Assert.h"
#include "QuillmarshEngine/Data/Implementation/ColliderSweep.h"
#include "QuillmarshEngine/Data/SceneGraph.h"
#include "QuillmarshEngine/Math/DualQuaternion.h"
#include "QuillmarshEngine/Math/Intersection.h"

namespace QuillmarshEngine { namespace Data {

namespace {

/* Relative margin of the overlap pass's reach, see Implementation::overlapCandidates() */
constexpr float ReachMargin = 1.0f/65536.0f;

bool isKnown(const ColliderType type) {
    return type == ColliderType::Sphere || type == ColliderType::AxisAlignedBox || type == ColliderType::Box;
}

/* Insertion of one hit into the sorted four: a hit beyond maxDistance or, with four stored,
   not nearer than the fourth is dropped; otherwise it takes the first free slot (the fourth
   when full) and moves forward past strictly farther entries only, so equal distances keep the
   order of visiting. Returns the slot it ended in, -1 when dropped. */
int insertHit(RayHit& hit, const float distance, const Vector3& origin, const Vector3& direction, const Id object, const float maxDistance) {
    if(!(distance <= maxDistance)) return -1;
    if(hit.hitCount == 4 && !(distance < hit.distances[3])) return -1;
    int slot = int(std::min<std::uint32_t>(hit.hitCount, 3));
    hit.distances[slot] = distance;
    hit.locations[slot] = origin + direction*distance;
    hit.objects[slot] = object;
    hit.hitCount = std::min<std::uint32_t>(hit.hitCount + 1, 4);
    for(; slot > 0 && hit.distances[slot - 1] > hit.distances[slot]; --slot)
        hit.swap(slot - 1, slot);
    return slot;
}

}

Debug& operator<<(Debug& debug, const ColliderType value) {
    switch(value) {
        case ColliderType::Sphere: return QuillmarshEngine::Implementation::printEnumValue(debug, "ColliderType", "Sphere");
        case ColliderType::AxisAlignedBox: return QuillmarshEngine::Implementation::printEnumValue(debug, "ColliderType", "AxisAlignedBox");
        case ColliderType::Box: return QuillmarshEngine::Implementation::printEnumValue(debug, "ColliderType", "Box");
    }
    return QuillmarshEngine::Implementation::printUnknownEnum(debug, "ColliderType", std::uint8_t(value));
}

void RayHit::swap(const int i, const int j) {
    QUILLMARSH_ASSERT(i >= 0 && i < 4 && j >= 0 && j < 4,
        "RayHit::swap(): entries" << i << "and" << j << "out of range for 4 entries", );
    std::swap(locations[i], locations[j]);
    std::swap(normals[i], normals[j]);
    std::swap(distances[i], distances[j]);
    std::swap(objects[i], objects[j]);
}

void CollisionManager::Layout::doInit() {
    ColumnLayout::doInit();
    ++_owner._contentGeneration;
}

void CollisionManager::Layout::doConstruct(const IndexType first, const IndexType last) {
    ColumnLayout::doConstruct(first, last);
    ++_owner._contentGeneration;
}

void CollisionManager::Layout::doSwap(const IndexType a, const IndexType b) {
    ColumnLayout::doSwap(a, b);
    ++_owner._contentGeneration;
}

void CollisionManager::Layout::doCopy(const IndexType from, const IndexType to) {
    ColumnLayout::doCopy(from, to);
    ++_owner._contentGeneration;
}

void CollisionManager::Layout::doMove(const IndexType from, const IndexType to) {
    ColumnLayout::doMove(from, to);
    ++_owner._contentGeneration;
}

void CollisionManager::Layout::doDelete(const IndexType index) {
    ColumnLayout::doDelete(index);
    ++_owner._contentGeneration;
}

void CollisionManager::Layout::doAppend(const SparseArray& other) {
    ColumnLayout::doAppend(other);
    ++_owner._contentGeneration;
}

CollisionManager::CollisionManager(const IndexType capacity): ComponentManager{0}, _layout{*this} {
    setLayout(&_layout);
    allocate(capacity);
}

CollisionManager::CollisionManager(std::vector<char>&& block): ComponentManager{0}, _layout{*this} {
    setLayout(&_layout);
    create(std::move(block));
}

CollisionManager::~CollisionManager() = default;

const char* CollisionManager::name() const { return "collision"; }

void CollisionManager::doUpdate() {}

void CollisionManager::updateComponent(IndexType) {}

void CollisionManager::init() {
    ComponentManager::init();
    _extents = _layout.get<1>().view();
    _colliders = _layout.get<2>().view();
    _groups = _layout.get<3>().view();
}

void CollisionManager::requireIndex(const char* const function, const IndexType index) const {
    QUILLMARSH_ASSERT(index < size(),
        "CollisionManager::" << Debug::nospace << function << Debug::nospace << "(): index" << index << "out of range for" << size() << "colliders", );
}

void CollisionManager::setExtents(const IndexType index, const Vector3& extents) {
    requireIndex("setExtents", index);
    _extents[index] = extents;
    ++_contentGeneration;
}

void CollisionManager::setCollider(const IndexType index, const ColliderType type) {
    requireIndex("setCollider", index);
    _colliders[index] = type;
    ++_contentGeneration;
}

void CollisionManager::setGroups(const IndexType index, const std::uint8_t groups) {
    requireIndex("setGroups", index);
    _groups[index] = groups;
    ++_contentGeneration;
}

void CollisionManager::updateCache(const char* const function) const {
    SceneGraph* const graph = sceneGraph();
    QUILLMARSH_ASSERT(graph,
        "CollisionManager::" << Debug::nospace << function << Debug::nospace << "(): the manager is not registered with a scene graph", );
    const IndexType count = size();
    if(_cacheValid && _cachedGraph == graph && _cachedTransformGeneration == graph->transformGeneration() &&
       _cachedContentGeneration == _contentGeneration && _cachedSize == count) [[likely]] return;

    /* Sized for the capacity, padded to whole passes, and never shrunk: a rebuild allocates
       only after the manager grew */
    const std::size_t padded = (std::size_t{capacity()} + Implementation::ColliderLanes - 1)/Implementation::ColliderLanes*Implementation::ColliderLanes;
    if(_tags.size() < padded) {
        for(std::vector<float>* column: {&_centreX, &_centreY, &_centreZ, &_boundSquared, &_reach, &_candidateDistances})
            column->resize(padded);
        _tags.resize(padded);
        _rotations.resize(padded);
        _candidates.resize(padded);
    }

    for(IndexType i = 0; i != count; ++i) {
        const Id object = owner(i);
        QUILLMARSH_ASSERT(graph->isAlive(object),
            "CollisionManager::" << Debug::nospace << function << Debug::nospace << "(): collider" << i << "is owned by" << object << "which is not an object of the scene graph", );
        const IndexType objectIndex = graph->indexOf(object);
        graph->computeAbsoluteTransformation(objectIndex);
        const DualQuaternion& world = graph->worldTransformation(objectIndex);
        const Vector3 centre = world.translation();
        const ColliderType type = _colliders[i];
        const Vector3& extents = _extents[i];
        _centreX[i] = centre.x();
        _centreY[i] = centre.y();
        _centreZ[i] = centre.z();
        float radius;
        if(type == ColliderType::Sphere) {
            radius = std::abs(extents.x());
            _boundSquared[i] = extents.x()*extents.x();
        } else {
            radius = extents.length();
            _boundSquared[i] = radius*radius;
            if(type == ColliderType::Box) _rotations[i] = world.rotation().toMatrix();
        }
        const float magnitude = std::max({std::abs(centre.x()), std::abs(centre.y()), std::abs(centre.z())});
        _reach[i] = radius + ReachMargin*(radius + magnitude);
        _tags[i] = isKnown(type) ? _groups[i] | (type == ColliderType::Sphere ? 0u : Implementation::ColliderTagBox) : 0u;
    }
    /* The padding lanes match no group and hold finite values */
    for(std::size_t i = count; i < padded; ++i) {
        _centreX[i] = _centreY[i] = _centreZ[i] = _boundSquared[i] = _reach[i] = 0.0f;
        _tags[i] = 0;
    }

    /* Taken after the loop: bringing owners up to date marks nothing dirty, so the counter
       read here is the one later queries compare with */
    _cachedGraph = graph;
    _cachedTransformGeneration = graph->transformGeneration();
    _cachedContentGeneration = _contentGeneration;
    _cachedSize = count;
    _cacheValid = true;
}

template<bool normals> std::uint32_t CollisionManager::castRay(const char* const function, const Vector3& origin, const Vector3& direction, const std::uint8_t groupMask, const float maxDistance, RayHit& hit) const {
    QUILLMARSH_ASSERT(direction.isNormalized(),
        "CollisionManager::" << Debug::nospace << function << Debug::nospace << "(): direction" << direction << "is not normalized", {});
    hit.hitCount = 0;
    updateCache(function);
    const Implementation::ColliderColumns columns{_centreX.data(), _centreY.data(), _centreZ.data(),
        _boundSquared.data(), _reach.data(), _tags.data(), size()};
    const std::uint32_t found = Implementation::rayCandidates(columns, origin.data(), direction.data(),
        groupMask, maxDistance, _candidates.data(), _candidateDistances.data());

    /* Candidates come in index order: spheres complete with their distance, boxes that still
       need the exact test */
    for(std::uint32_t k = 0; k != found; ++k) {
        const IndexType i = _candidates[k];
        const Vector3 centre{_centreX[i], _centreY[i], _centreZ[i]};
        const ColliderType type = _colliders[i];
        float distance = _candidateDistances[k];
        Vector3 normal;
        if(type == ColliderType::AxisAlignedBox) {
            bool entered;
            if constexpr(normals) entered = Math::Intersection::lineAABB(origin - centre, direction, _extents[i], distance, normal);
            else entered = Math::Intersection::lineAABB(origin - centre, direction, _extents[i], distance);
            if(!entered) continue;
        } else if(type == ColliderType::Box) {
            bool entered;
            if constexpr(normals) entered = Math::Intersection::lineBox(origin, direction, _extents[i], centre, _rotations[i], distance, normal);
            else entered = Math::Intersection::lineBox(origin, direction, _extents[i], centre, _rotations[i], distance);
            if(!entered) continue;
        }
        const int slot = insertHit(hit, distance, origin, direction, owner(i), maxDistance);
        if constexpr(normals) {
            if(slot < 0) continue;
            if(type == ColliderType::Sphere) {
                const Vector3 outward = hit.locations[slot] - centre;
                /* A sphere of radius 0 is hit in its centre, where no normal exists: face the ray */
                hit.normals[slot] = outward.isZero() ? -direction : outward.normalized();
            } else hit.normals[slot] = normal;
        }
    }
    return hit.hitCount;
}

std::uint32_t CollisionManager::rayCast(const Vector3& origin, const Vector3& direction, const std::uint8_t groupMask, const float maxDistance, RayHit& hit) const {
    return castRay<false>("rayCast", origin, direction, groupMask, maxDistance, hit);
}

std::uint32_t CollisionManager::rayCastWithNormals(const Vector3& origin, const Vector3& direction, const std::uint8_t groupMask, const float maxDistance, RayHit& hit) const {
    return castRay<true>("rayCastWithNormals", origin, direction, groupMask, maxDistance, hit);
}

std::vector<Id> CollisionManager::queryOverlaps(const Id collision) const {
    std::vector<Id> out;
    queryOverlaps(collision, out);
    return out;
}

void CollisionManager::queryOverlaps(const Id collision, std::vector<Id>& out) const {
    out.clear();
    const IndexType query = aliveIndex(collision, "CollisionManager::queryOverlaps()");
    updateCache("queryOverlaps");
    const ColliderType queryType = _colliders[query];
    if(!isKnown(queryType)) return;

    const Vector3 queryCentre{_centreX[query], _centreY[query], _centreZ[query]};
    const Vector3& queryExtents = _extents[query];
    const Implementation::ColliderColumns columns{_centreX.data(), _centreY.data(), _centreZ.data(),
        _boundSquared.data(), _reach.data(), _tags.data(), size()};
    const std::uint32_t found = Implementation::overlapCandidates(columns, queryCentre.data(), _reach[query],
        _groups[query], _candidates.data());

    for(std::uint32_t k = 0; k != found; ++k) {
        const IndexType i = _candidates[k];
        if(i == query) continue;
        const ColliderType type = _colliders[i];
        const Vector3 centre{_centreX[i], _centreY[i], _centreZ[i]};
        const Vector3& extents = _extents[i];
        bool overlaps = false;
        if(queryType == ColliderType::Sphere) {
            if(type == ColliderType::Sphere)
                overlaps = Math::Intersection::sphereSphere(queryCentre, queryExtents.x(), centre, extents.x());
            else if(type == ColliderType::AxisAlignedBox)
                overlaps = Math::Intersection::sphereAABB(queryCentre, queryExtents.x(), centre, extents);
            else overlaps = Math::Intersection::sphereBox(queryCentre, queryExtents.x(), centre, _rotations[i], extents);
        } else if(queryType == ColliderType::AxisAlignedBox) {
            if(type == ColliderType::Sphere)
                overlaps = Math::Intersection::sphereAABB(centre, extents.x(), queryCentre, queryExtents);
            else if(type == ColliderType::AxisAlignedBox)
                overlaps = Math::Intersection::aabbAABB(queryCentre, queryExtents, centre, extents);
            /* An axis-aligned box against an oriented one is deliberately not tested */
        } else {
            if(type == ColliderType::Sphere)
                overlaps = Math::Intersection::sphereBox(centre, extents.x(), queryCentre, _rotations[query], queryExtents);
            else if(type == ColliderType::Box) {
                const float reach = queryExtents.length() + extents.length();
                overlaps = (queryCentre - centre).dot() < reach*reach &&
                    Math::Intersection::boxBox(queryCentre, _rotations[query], queryExtents, centre, _rotations[i], extents);
            }
        }
        if(overlaps) out.push_back(idOf(i));
    }
}

}}
