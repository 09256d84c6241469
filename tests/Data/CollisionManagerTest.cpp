#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <sstream>

#include <gtest/gtest.h>

#include "QuillmarshEngine/Data/CollisionManager.h"
#include "QuillmarshEngine/Data/Implementation/ColliderSweep.h"
#include "QuillmarshEngine/Data/Implementation/CollisionReference.h"
#include "QuillmarshEngine/Data/SceneGraph.h"
#include "QuillmarshEngine/Debug.h"
#include "QuillmarshEngine/Math/DualQuaternion.h"
#include "QuillmarshEngine/Math/Intersection.h"
#include "../Math/Printers.h"
#include "../OutputCapture.h"

namespace QuillmarshEngine { namespace Data { namespace {

constexpr float Inf = std::numeric_limits<float>::infinity();

using Testing::Quiet;

/* A scene graph with a collision manager in slot 0 */
struct Scene {
    explicit Scene(const std::uint16_t capacity): graph{capacity, 1, capacity}, collision{capacity} {
        graph.setComponentManager(0, "collision", &collision);
    }

    /* An object under parent with a collider; returns the component id */
    Id add(const DualQuaternion& transform, const ColliderType type, const Vector3& extents, const std::uint8_t groups = 0xff, const Id parent = Id{}) {
        const Id object = graph.addObject(parent);
        graph.setLocalTransformation(graph.indexOf(object), transform);
        graph.setDirty(graph.indexOf(object));
        const Id component = collision.addComponent(object);
        const SparseArray::IndexType index = collision.indexOf(component);
        collision.setCollider(index, type);
        collision.setExtents(index, extents);
        collision.setGroups(index, groups);
        return component;
    }

    Id objectOf(const Id component) const { return collision.owner(collision.indexOf(component)); }

    Quiet quiet;
    SceneGraph graph;
    CollisionManager collision;
};

DualQuaternion at(const Vector3& position) { return DualQuaternion::translation(position); }

const Vector3 X{1.0f, 0.0f, 0.0f};

/* Bit-exact equality of two hit records, normals included when asked */
void expectSameHits(const RayHit& a, const RayHit& b, const bool normals) {
    ASSERT_EQ(a.hitCount, b.hitCount);
    for(std::uint32_t k = 0; k != a.hitCount; ++k) {
        EXPECT_EQ(a.objects[k], b.objects[k]) << k;
        EXPECT_EQ(std::memcmp(&a.distances[k], &b.distances[k], sizeof(float)), 0) << k << ": " << a.distances[k] << " " << b.distances[k];
        EXPECT_EQ(std::memcmp(&a.locations[k], &b.locations[k], sizeof(Vector3)), 0) << k;
        if(normals) {
            EXPECT_EQ(std::memcmp(&a.normals[k], &b.normals[k], sizeof(Vector3)), 0) << k;
        }
    }
}

TEST(CollisionManagerTest, construct) {
    CollisionManager collision{4};
    EXPECT_STREQ(collision.name(), "collision");
    EXPECT_EQ(collision.capacity(), 4);
    EXPECT_EQ(collision.flags(), 0u);
    /* Header and tail, both tables, owners, extents, types and groups, each 4-byte aligned */
    EXPECT_EQ(collision.data().size(), 20u + 16 + 8 + 48 + 4 + 4);
    EXPECT_EQ(collision.extents().size(), 4);
    EXPECT_EQ(collision.colliders().size(), 4);
    EXPECT_EQ(collision.groups().size(), 4);
}

TEST(CollisionManagerTest, colliderTypePrints) {
    std::ostringstream out;
    Debug{&out} << ColliderType::Sphere << ColliderType::AxisAlignedBox << ColliderType::Box << ColliderType(7);
    EXPECT_EQ(out.str(), "ColliderType::Sphere ColliderType::AxisAlignedBox ColliderType::Box ColliderType(0x7)\n");
}

TEST(CollisionManagerTest, rayHitSwap) {
    RayHit hit;
    for(int k = 0; k != 4; ++k) {
        hit.locations[k] = Vector3{float(k)};
        hit.normals[k] = Vector3{float(10 + k)};
        hit.distances[k] = float(20 + k);
        hit.objects[k] = Id(30 + k);
    }
    hit.swap(1, 3);
    EXPECT_EQ(hit.locations[1], Vector3{3.0f});
    EXPECT_EQ(hit.normals[1], Vector3{13.0f});
    EXPECT_EQ(hit.distances[1], 23.0f);
    EXPECT_EQ(hit.objects[1], Id(33));
    EXPECT_EQ(hit.locations[3], Vector3{1.0f});
    EXPECT_EQ(hit.normals[3], Vector3{11.0f});
    EXPECT_EQ(hit.distances[3], 21.0f);
    EXPECT_EQ(hit.objects[3], Id(31));
    EXPECT_EQ(hit.distances[0], 20.0f);
    hit.swap(2, 2);
    EXPECT_EQ(hit.distances[2], 22.0f);
}

TEST(CollisionManagerTest, addedCollidersAndTheirColumns) {
    Scene scene{8};
    const Id object = scene.graph.addObject();
    const Id component = scene.collision.addComponent(object);
    const SparseArray::IndexType index = scene.collision.indexOf(component);
    /* A sphere of radius 0 in no group */
    EXPECT_EQ(scene.collision.colliders()[index], ColliderType::Sphere);
    EXPECT_EQ(scene.collision.extents()[index], Vector3{});
    EXPECT_EQ(scene.collision.groups()[index], 0);
    scene.collision.setCollider(index, ColliderType::Box);
    scene.collision.setExtents(index, {1.0f, 2.0f, 3.0f});
    scene.collision.setGroups(index, 0x81);
    EXPECT_EQ(scene.collision.colliders()[index], ColliderType::Box);
    EXPECT_EQ(scene.collision.extents()[index], (Vector3{1.0f, 2.0f, 3.0f}));
    EXPECT_EQ(scene.collision.groups()[index], 0x81);
    /* Nothing to do per frame, for active colliders neither */
    scene.collision.activate(index);
    scene.graph.activate();
    scene.collision.update(0.016);
    EXPECT_EQ(scene.collision.accumulatedTime(), 0.016);
}

TEST(CollisionManagerTest, constructFromBlock) {
    Scene scene{8};
    const Id a = scene.add(at({1.0f, 0.0f, 0.0f}), ColliderType::Box, {1.0f, 2.0f, 3.0f}, 0x05);
    const Id b = scene.add(at({5.0f, 0.0f, 0.0f}), ColliderType::AxisAlignedBox, {0.5f, 0.5f, 0.5f}, 0x02);
    scene.collision.activate(scene.collision.indexOf(b));

    std::vector<char> block{scene.collision.data().begin(), scene.collision.data().end()};
    CollisionManager copy{std::move(block)};
    EXPECT_EQ(copy.capacity(), 8);
    EXPECT_EQ(copy.size(), 2);
    EXPECT_EQ(copy.activeCount(), 1);
    for(const Id id: {a, b}) {
        const SparseArray::IndexType i = scene.collision.indexOf(id);
        EXPECT_EQ(copy.indexOf(id), i);
        EXPECT_EQ(copy.owner(i), scene.collision.owner(i));
        EXPECT_EQ(copy.colliders()[i], scene.collision.colliders()[i]);
        EXPECT_EQ(copy.extents()[i], scene.collision.extents()[i]);
        EXPECT_EQ(copy.groups()[i], scene.collision.groups()[i]);
    }
    /* Registered in place of the original it answers the same queries */
    scene.graph.setComponentManager(0, {}, &copy);
    RayHit hit;
    ASSERT_EQ(copy.rayCast({-10.0f, 0.0f, 0.0f}, X, 0xff, Inf, hit), 2u);
    EXPECT_EQ(hit.distances[0], 10.0f);
    EXPECT_EQ(hit.distances[1], 14.5f);
    EXPECT_EQ(hit.objects[1], scene.objectOf(b));
}

/* Ray casts: shapes */

TEST(CollisionManagerTest, rayCastSphere) {
    Scene scene{8};
    scene.graph.addObject();  /* object ids differ from component ids */
    const Id sphere = scene.add(at({10.0f, 1.0f, 0.0f}), ColliderType::Sphere, {2.0f, 99.0f, 99.0f});
    RayHit hit;
    /* y and z of the extents are ignored */
    ASSERT_EQ(scene.collision.rayCast({0.0f, 1.0f, 0.0f}, X, 0xff, Inf, hit), 1u);
    EXPECT_EQ(hit.hitCount, 1u);
    EXPECT_EQ(hit.distances[0], 8.0f);
    EXPECT_EQ(hit.locations[0], (Vector3{8.0f, 1.0f, 0.0f}));
    EXPECT_EQ(hit.objects[0], scene.objectOf(sphere));
    EXPECT_NE(hit.objects[0], sphere);
    /* Tangent: q is exactly 0, which hits */
    ASSERT_EQ(scene.collision.rayCast({0.0f, 3.0f, 0.0f}, X, 0xff, Inf, hit), 1u);
    EXPECT_EQ(hit.distances[0], 10.0f);
    EXPECT_EQ(scene.collision.rayCast({0.0f, 3.001f, 0.0f}, X, 0xff, Inf, hit), 0u);
    /* From inside, and from behind it, nothing */
    EXPECT_EQ(scene.collision.rayCast({10.5f, 1.0f, 0.0f}, X, 0xff, Inf, hit), 0u);
    EXPECT_EQ(scene.collision.rayCast({13.0f, 1.0f, 0.0f}, X, 0xff, Inf, hit), 0u);
    /* From exactly on the surface inwards: distance 0 */
    ASSERT_EQ(scene.collision.rayCast({8.0f, 1.0f, 0.0f}, X, 0xff, Inf, hit), 1u);
    EXPECT_EQ(hit.distances[0], 0.0f);
    /* The farthest distance counts, included */
    EXPECT_EQ(scene.collision.rayCast({0.0f, 1.0f, 0.0f}, X, 0xff, 8.0f, hit), 1u);
    EXPECT_EQ(scene.collision.rayCast({0.0f, 1.0f, 0.0f}, X, 0xff, 7.999f, hit), 0u);
    EXPECT_EQ(scene.collision.rayCast({0.0f, 1.0f, 0.0f}, X, 0xff, -1.0f, hit), 0u);
}

TEST(CollisionManagerTest, rayCastAxisAlignedBox) {
    Scene scene{8};
    /* Turned 45 degrees about z: an oriented box would reach out to sqrt(2), the axis-aligned
       one stays a unit cube */
    const DualQuaternion turned = DualQuaternion::from(Quaternion::rotation(0.7853982f, {0.0f, 0.0f, 1.0f}), {0.0f, 0.0f, 0.0f});
    const Id box = scene.add(turned, ColliderType::AxisAlignedBox, {1.0f, 1.0f, 1.0f});
    RayHit hit;
    ASSERT_EQ(scene.collision.rayCast({-5.0f, 0.9f, 0.0f}, X, 0xff, Inf, hit), 1u);
    EXPECT_EQ(hit.distances[0], 4.0f);
    EXPECT_EQ(hit.objects[0], scene.objectOf(box));
    EXPECT_EQ(scene.collision.rayCast({-5.0f, 1.2f, 0.0f}, X, 0xff, Inf, hit), 0u);
    /* Containing the origin: not reported */
    EXPECT_EQ(scene.collision.rayCast({0.5f, 0.5f, 0.5f}, X, 0xff, Inf, hit), 0u);
    /* Outside the box but inside its bounding sphere (radius sqrt(3)): the containment rule
       still sends it to the exact test, which hits ahead... */
    ASSERT_EQ(scene.collision.rayCast({1.5f, 0.0f, 0.0f}, -X, 0xff, Inf, hit), 1u);
    EXPECT_EQ(hit.distances[0], 0.5f);
    /* ...and not behind */
    EXPECT_EQ(scene.collision.rayCast({1.5f, 0.0f, 0.0f}, X, 0xff, Inf, hit), 0u);
    /* Lying in the top face's plane: the face counts */
    ASSERT_EQ(scene.collision.rayCast({-5.0f, 1.0f, 0.0f}, X, 0xff, Inf, hit), 1u);
    EXPECT_EQ(hit.distances[0], 4.0f);
    /* Grazing an edge diagonally misses */
    const float s = std::sqrt(0.5f);
    EXPECT_EQ(scene.collision.rayCast({2.0f, 0.0f, 0.0f}, {-s, s, 0.0f}, 0xff, Inf, hit), 0u);
}

TEST(CollisionManagerTest, rayCastBox) {
    Scene scene{8};
    const DualQuaternion turned = DualQuaternion::from(Quaternion::rotation(0.7853982f, {0.0f, 0.0f, 1.0f}), {0.0f, 0.0f, 0.0f});
    /* Scaling of the object does not apply */
    const Id box = scene.add(turned, ColliderType::Box, {1.0f, 1.0f, 1.0f});
    scene.graph.setLocalScaling(scene.graph.indexOf(scene.objectOf(box)), Vector3{3.0f});
    RayHit hit;
    /* In through the vertical edge at x = -sqrt(2) */
    ASSERT_EQ(scene.collision.rayCast({-5.0f, 0.0f, 0.0f}, X, 0xff, Inf, hit), 1u);
    EXPECT_NEAR(hit.distances[0], 5.0f - std::sqrt(2.0f), 1.0e-5f);
    EXPECT_EQ(scene.collision.rayCast({-5.0f, 1.2f, 0.0f}, X, 0xff, Inf, hit), 1u);
    EXPECT_EQ(scene.collision.rayCast({-5.0f, 1.5f, 0.0f}, X, 0xff, Inf, hit), 0u);
    /* Containing the origin */
    EXPECT_EQ(scene.collision.rayCast({0.2f, -0.3f, 0.1f}, X, 0xff, Inf, hit), 0u);
    /* Outside the box (its edge is at x = sqrt(2)) but inside its bounding sphere (radius
       sqrt(3)): exact test, hit ahead, none behind */
    ASSERT_EQ(scene.collision.rayCast({1.6f, 0.0f, 0.0f}, -X, 0xff, Inf, hit), 1u);
    EXPECT_NEAR(hit.distances[0], 1.6f - std::sqrt(2.0f), 1.0e-5f);
    EXPECT_EQ(scene.collision.rayCast({1.6f, 0.0f, 0.0f}, X, 0xff, Inf, hit), 0u);
}

/* Ray casts: filtering and order */

TEST(CollisionManagerTest, rayCastGroups) {
    Scene scene{8};
    const Id a = scene.add(at({3.0f, 0.0f, 0.0f}), ColliderType::Sphere, {1.0f, 0.0f, 0.0f}, 0x01);
    const Id b = scene.add(at({6.0f, 0.0f, 0.0f}), ColliderType::AxisAlignedBox, {1.0f, 1.0f, 1.0f}, 0x06);
    scene.add(at({9.0f, 0.0f, 0.0f}), ColliderType::Box, {1.0f, 1.0f, 1.0f}, 0x00);
    RayHit hit;
    EXPECT_EQ(scene.collision.rayCast({}, X, 0x00, Inf, hit), 0u);
    ASSERT_EQ(scene.collision.rayCast({}, X, 0x01, Inf, hit), 1u);
    EXPECT_EQ(hit.objects[0], scene.objectOf(a));
    ASSERT_EQ(scene.collision.rayCast({}, X, 0x04, Inf, hit), 1u);
    EXPECT_EQ(hit.objects[0], scene.objectOf(b));
    /* A collider in no group is never found */
    EXPECT_EQ(scene.collision.rayCast({}, X, 0xff, Inf, hit), 2u);
}

TEST(CollisionManagerTest, rayCastKeepsTheNearestFour) {
    /* Five colliders on one ray, added farthest first: the nearest four, sorted */
    Scene scene{8};
    Id components[5];
    for(int k = 0; k != 5; ++k)
        components[k] = scene.add(at({float(10 - 2*k), 0.0f, 0.0f}), k % 2 ? ColliderType::Sphere : ColliderType::AxisAlignedBox, Vector3{0.5f});
    RayHit hit;
    ASSERT_EQ(scene.collision.rayCast({-1.0f, 0.0f, 0.0f}, X, 0xff, Inf, hit), 4u);
    EXPECT_EQ(hit.hitCount, 4u);
    for(int k = 0; k != 4; ++k) {
        EXPECT_EQ(hit.distances[k], float(2*k + 2) + 0.5f) << k;
        EXPECT_EQ(hit.objects[k], scene.objectOf(components[4 - k])) << k;
        EXPECT_EQ(hit.locations[k], (Vector3{float(2*k + 1) + 0.5f, 0.0f, 0.0f})) << k;
    }
    /* Within 7 only three of them */
    EXPECT_EQ(scene.collision.rayCast({-1.0f, 0.0f, 0.0f}, X, 0xff, 7.0f, hit), 3u);
}

TEST(CollisionManagerTest, rayCastEqualDistancesKeepIndexOrder) {
    /* Six colliders at the same place, then one nearer: the nearer one first, then the first
       three of the six in index order */
    Scene scene{8};
    Id components[7];
    for(int k = 0; k != 6; ++k)
        components[k] = scene.add(at({5.0f, 0.0f, 0.0f}), k % 3 == 1 ? ColliderType::Sphere : k % 3 ? ColliderType::Box : ColliderType::AxisAlignedBox, Vector3{1.0f});
    components[6] = scene.add(at({2.0f, 0.0f, 0.0f}), ColliderType::Sphere, Vector3{1.0f});
    RayHit hit;
    ASSERT_EQ(scene.collision.rayCast({}, X, 0xff, Inf, hit), 4u);
    EXPECT_EQ(hit.objects[0], scene.objectOf(components[6]));
    for(int k = 1; k != 4; ++k) {
        EXPECT_EQ(hit.distances[k], 4.0f);
        EXPECT_EQ(hit.objects[k], scene.objectOf(components[k - 1])) << k;
    }
    /* Without the nearer one, the first four of the six */
    scene.collision.setGroups(scene.collision.indexOf(components[6]), 0x00);
    ASSERT_EQ(scene.collision.rayCast({}, X, 0xff, Inf, hit), 4u);
    for(int k = 0; k != 4; ++k) EXPECT_EQ(hit.objects[k], scene.objectOf(components[k])) << k;
}

TEST(CollisionManagerTest, unknownTypesAreIgnored) {
    Scene scene{8};
    const Id odd = scene.add(at({3.0f, 0.0f, 0.0f}), ColliderType(7), Vector3{1.0f});
    const Id sphere = scene.add(at({3.5f, 0.0f, 0.0f}), ColliderType::Sphere, Vector3{1.0f});
    RayHit hit;
    ASSERT_EQ(scene.collision.rayCast({}, X, 0xff, Inf, hit), 1u);
    EXPECT_EQ(hit.objects[0], scene.objectOf(sphere));
    EXPECT_EQ(scene.collision.queryOverlaps(odd), std::vector<Id>{});
    EXPECT_EQ(scene.collision.queryOverlaps(sphere), std::vector<Id>{});
}

TEST(CollisionManagerTest, rayCastLeavesNormalsAlone) {
    Scene scene{8};
    scene.add(at({3.0f, 0.0f, 0.0f}), ColliderType::Sphere, Vector3{1.0f});
    scene.add(at({6.0f, 0.0f, 0.0f}), ColliderType::Box, Vector3{1.0f});
    RayHit hit;
    for(Vector3& normal: hit.normals) normal = Vector3{7.0f};
    ASSERT_EQ(scene.collision.rayCast({}, X, 0xff, Inf, hit), 2u);
    for(const Vector3& normal: hit.normals) EXPECT_EQ(normal, Vector3{7.0f});
    ASSERT_EQ(scene.collision.rayCastWithNormals({}, X, 0xff, Inf, hit), 2u);
    EXPECT_EQ(hit.normals[0], -X);
    EXPECT_EQ(hit.normals[1], -X);
    EXPECT_EQ(hit.normals[2], Vector3{7.0f});
}

/* World transformations and the cache */

TEST(CollisionManagerTest, queriesBringOwnersUpToDate) {
    Scene scene{8};
    const Id parent = scene.graph.addObject();
    const Id child = scene.add(at({0.0f, 0.0f, 5.0f}), ColliderType::Sphere, Vector3{1.0f}, 0xff, parent);
    RayHit hit;
    ASSERT_EQ(scene.collision.rayCast({0.0f, 0.0f, -10.0f}, {0.0f, 0.0f, 1.0f}, 0xff, Inf, hit), 1u);
    EXPECT_EQ(hit.distances[0], 14.0f);
    /* Moving the parent without computing anything: the query does it */
    const SparseArray::IndexType parentIndex = scene.graph.indexOf(parent);
    scene.graph.setLocalTransformation(parentIndex, at({0.0f, 0.0f, 3.0f}));
    scene.graph.setDirty(parentIndex);
    ASSERT_EQ(scene.collision.rayCast({0.0f, 0.0f, -10.0f}, {0.0f, 0.0f, 1.0f}, 0xff, Inf, hit), 1u);
    EXPECT_EQ(hit.distances[0], 17.0f);
    EXPECT_FALSE(scene.graph.isDirty(scene.graph.indexOf(scene.objectOf(child))));
    /* A local change without marking it dirty is not seen, like in the rest of the scene */
    scene.graph.setLocalTransformation(parentIndex, at({0.0f, 0.0f, 0.0f}));
    ASSERT_EQ(scene.collision.rayCast({0.0f, 0.0f, -10.0f}, {0.0f, 0.0f, 1.0f}, 0xff, Inf, hit), 1u);
    EXPECT_EQ(hit.distances[0], 17.0f);
    /* computeAbsoluteTransformations() after marking it dirty is seen as well */
    scene.graph.setDirty(parentIndex);
    scene.graph.computeAbsoluteTransformations();
    ASSERT_EQ(scene.collision.rayCast({0.0f, 0.0f, -10.0f}, {0.0f, 0.0f, 1.0f}, 0xff, Inf, hit), 1u);
    EXPECT_EQ(hit.distances[0], 14.0f);
}

TEST(CollisionManagerTest, queriesFollowEveryChange) {
    /* After each change the queries agree with the reference, which has no cache */
    Scene scene{4};
    Id ids[6];
    for(int k = 0; k != 4; ++k)
        ids[k] = scene.add(at({float(3*k + 3), 0.0f, 0.0f}), ColliderType::Sphere, Vector3{1.0f});
    const auto check = [&](const char* what) {
        SCOPED_TRACE(what);
        RayHit hit, expected;
        scene.collision.rayCast({}, X, 0xff, Inf, hit);
        Implementation::rayCastReference(scene.collision, {}, X, 0xff, Inf, expected, false);
        expectSameHits(hit, expected, false);
        for(SparseArray::IndexType i = 0; i != scene.collision.size(); ++i) {
            const Id id = scene.collision.idOf(i);
            EXPECT_EQ(scene.collision.queryOverlaps(id), Implementation::queryOverlapsReference(scene.collision, id));
        }
        return hit;
    };
    EXPECT_EQ(check("start").hitCount, 4u);
    scene.collision.setExtents(scene.collision.indexOf(ids[0]), Vector3{2.5f});
    EXPECT_EQ(check("extents").distances[0], 0.5f);
    scene.collision.setCollider(scene.collision.indexOf(ids[1]), ColliderType::AxisAlignedBox);
    check("type");
    scene.collision.setGroups(scene.collision.indexOf(ids[2]), 0);
    EXPECT_EQ(check("groups").hitCount, 3u);
    scene.collision.activate(scene.collision.indexOf(ids[3]));
    scene.collision.activate(scene.collision.indexOf(ids[1]));
    check("activation");
    scene.collision.deleteComponent(scene.collision.indexOf(ids[0]));
    EXPECT_EQ(check("deletion").hitCount, 2u);
    /* Reuses the deleted slot, then grows past the capacity */
    ids[4] = scene.add(at({1.5f, 0.0f, 0.0f}), ColliderType::Box, Vector3{0.5f});
    EXPECT_EQ(check("reused slot").distances[0], 1.0f);
    ids[5] = scene.add(at({0.0f, 0.0f, 0.0f}), ColliderType::Sphere, Vector3{0.5f});
    EXPECT_GT(scene.collision.capacity(), 4);
    check("growth");
    scene.graph.deleteObjects(scene.objectOf(ids[4]));
    check("object deleted");
    const Id object = scene.objectOf(ids[3]);
    scene.graph.setLocalTransformation(scene.graph.indexOf(object), at({0.0f, 5.0f, 0.0f}));
    scene.graph.setDirty(scene.graph.indexOf(object));
    check("moved");
    scene.graph.cloneObject(scene.objectOf(ids[1]), Id{0});
    check("cloned");

    /* Registered with another scene graph, whose objects sit elsewhere */
    SceneGraph other{16, 1, 16};
    for(int k = 0; k != 8; ++k) {
        const Id id = other.addObject();
        other.setLocalTransformation(other.indexOf(id), at({0.0f, 0.0f, float(k)}));
        other.setDirty(other.indexOf(id));
    }
    scene.graph.setComponentManager(0, {}, nullptr);
    other.setComponentManager(0, "collision", &scene.collision);
    check("other graph");
    other.setComponentManager(0, {}, nullptr);
}

TEST(CollisionManagerTest, appendedColliders) {
    Scene scene{8}, other{8};
    scene.add(at({3.0f, 0.0f, 0.0f}), ColliderType::Sphere, Vector3{1.0f});
    other.add(at({6.0f, 0.0f, 0.0f}), ColliderType::Box, Vector3{1.0f});
    other.add(at({9.0f, 0.0f, 0.0f}), ColliderType::AxisAlignedBox, Vector3{1.0f}, 0x10);
    RayHit hit;
    ASSERT_EQ(scene.collision.rayCast({}, X, 0xff, Inf, hit), 1u);
    scene.graph.append(other.graph);
    ASSERT_EQ(scene.collision.size(), 3);
    ASSERT_EQ(scene.collision.rayCast({}, X, 0xff, Inf, hit), 3u);
    EXPECT_EQ(hit.distances[2], 8.0f);
    /* The appended colliders are owned by the appended objects */
    EXPECT_EQ(scene.graph.worldTransformation(scene.graph.indexOf(hit.objects[2])).translation(), (Vector3{9.0f, 0.0f, 0.0f}));
    EXPECT_EQ(scene.collision.groups()[scene.collision.indexOf(scene.graph.componentIds(hit.objects[2])[0])], 0x10);
}

/* Overlaps */

TEST(CollisionManagerTest, queryOverlapsTable) {
    Scene scene{32};
    scene.graph.addObject();  /* object ids differ from component ids */
    const auto collider = [&](const Vector3& position, const ColliderType type, const Vector3& extents, const DualQuaternion& rotation = {}) {
        return scene.add(at(position)*rotation, type, extents);
    };
    const auto overlaps = [&](const Id a, const Id b) {
        const std::vector<Id> ab = scene.collision.queryOverlaps(a), ba = scene.collision.queryOverlaps(b);
        const bool forward = std::find(ab.begin(), ab.end(), b) != ab.end();
        const bool backward = std::find(ba.begin(), ba.end(), a) != ba.end();
        EXPECT_EQ(forward, backward) << "the table is symmetric";
        return forward;
    };
    const auto remove = [&](std::initializer_list<Id> ids) {
        for(const Id id: ids) scene.graph.deleteObjects(scene.objectOf(id));
    };
    {
        /* Spheres: strict */
        const Id a = collider({0.0f, 0.0f, 0.0f}, ColliderType::Sphere, Vector3{1.0f});
        const Id b = collider({3.0f, 0.0f, 0.0f}, ColliderType::Sphere, Vector3{2.0f});
        const Id c = collider({-2.9f, 0.0f, 0.0f}, ColliderType::Sphere, Vector3{2.0f});
        EXPECT_FALSE(overlaps(a, b));
        EXPECT_TRUE(overlaps(a, c));
        /* Component ids, not object ids */
        EXPECT_EQ(scene.collision.queryOverlaps(a), std::vector<Id>{c});
        remove({a, b, c});
    } {
        /* Sphere and axis-aligned box: touching counts, 3-4-5 to the edge */
        const Id box = collider({0.0f, 0.0f, 0.0f}, ColliderType::AxisAlignedBox, {1.0f, 2.0f, 1.0f}, DualQuaternion::rotation(0.5f, X));
        const Id touching = collider({4.0f, 6.0f, 0.0f}, ColliderType::Sphere, Vector3{5.0f});
        const Id apart = collider({4.0f, 6.0f, 1.5f}, ColliderType::Sphere, Vector3{5.0f});
        EXPECT_TRUE(overlaps(box, touching));
        EXPECT_FALSE(overlaps(box, apart));
        remove({box, touching, apart});
    } {
        /* Sphere and oriented box: touching counts */
        const DualQuaternion turned = DualQuaternion::rotation(0.7853982f, {0.0f, 0.0f, 1.0f});
        const Id box = collider({0.0f, 0.0f, 0.0f}, ColliderType::Box, {1.0f, 1.0f, 1.0f}, turned);
        const Id touching = collider({0.0f, 0.0f, 3.0f}, ColliderType::Sphere, Vector3{2.0f});
        const Id corner = collider({2.0f, 0.0f, 0.0f}, ColliderType::Sphere, Vector3{0.6f});
        const Id apart = collider({2.0f, 0.0f, 0.0f}, ColliderType::Sphere, Vector3{0.55f});
        EXPECT_TRUE(overlaps(box, touching));
        EXPECT_TRUE(overlaps(box, corner));  /* 2 - sqrt(2) = 0.586 */
        EXPECT_FALSE(overlaps(box, apart));
        remove({box, touching, corner, apart});
    } {
        /* Axis-aligned boxes: strict on every axis */
        const Id a = collider({0.0f, 0.0f, 0.0f}, ColliderType::AxisAlignedBox, {1.0f, 1.0f, 1.0f});
        const Id touching = collider({3.0f, 0.5f, 0.0f}, ColliderType::AxisAlignedBox, {2.0f, 1.0f, 1.0f});
        const Id overlapping = collider({-2.5f, 1.5f, -1.5f}, ColliderType::AxisAlignedBox, {2.0f, 1.0f, 1.0f});
        EXPECT_FALSE(overlaps(a, touching));
        EXPECT_TRUE(overlaps(a, overlapping));
        remove({a, touching, overlapping});
    } {
        /* Oriented boxes: the strict pre-test on |e1| + |e2| = 14 keeps two boxes touching at
           a corner apart, though the separating-axis test alone finds no gap */
        const Id a = collider({0.0f, 0.0f, 0.0f}, ColliderType::Box, {2.0f, 3.0f, 6.0f});
        const Id corner = collider({4.0f, 6.0f, 12.0f}, ColliderType::Box, {2.0f, 3.0f, 6.0f});
        EXPECT_TRUE(Math::Intersection::boxBox(DualQuaternion{}, {2.0f, 3.0f, 6.0f}, at({4.0f, 6.0f, 12.0f}), {2.0f, 3.0f, 6.0f}));
        EXPECT_FALSE(overlaps(a, corner));
        const Id closer = collider({3.9f, 5.85f, 11.7f}, ColliderType::Box, {2.0f, 3.0f, 6.0f});
        EXPECT_TRUE(overlaps(a, closer));
        remove({a, corner, closer});
    } {
        /* Axis-aligned against oriented: never, even fully inside each other */
        const Id aligned = collider({0.0f, 0.0f, 0.0f}, ColliderType::AxisAlignedBox, {2.0f, 2.0f, 2.0f});
        const Id oriented = collider({0.5f, 0.0f, 0.0f}, ColliderType::Box, {1.0f, 1.0f, 1.0f}, DualQuaternion::rotation(0.3f, X));
        EXPECT_FALSE(overlaps(aligned, oriented));
        remove({aligned, oriented});
    } {
        /* Groups, and the query itself is never listed */
        const Id a = collider({0.0f, 0.0f, 0.0f}, ColliderType::Sphere, Vector3{1.0f});
        const Id b = collider({0.5f, 0.0f, 0.0f}, ColliderType::Sphere, Vector3{1.0f});
        const Id c = collider({0.0f, 0.5f, 0.0f}, ColliderType::AxisAlignedBox, Vector3{1.0f});
        scene.collision.setGroups(scene.collision.indexOf(a), 0x03);
        scene.collision.setGroups(scene.collision.indexOf(b), 0x02);
        scene.collision.setGroups(scene.collision.indexOf(c), 0x04);
        EXPECT_EQ(scene.collision.queryOverlaps(a), std::vector<Id>{b});
        EXPECT_EQ(scene.collision.queryOverlaps(c), std::vector<Id>{});
        scene.collision.setGroups(scene.collision.indexOf(a), 0x00);
        EXPECT_EQ(scene.collision.queryOverlaps(a), std::vector<Id>{});
        EXPECT_EQ(scene.collision.queryOverlaps(b), std::vector<Id>{});
    }
    /* The output form reuses its vector */
    std::vector<Id> out{Id{9}, Id{9}};
    scene.collision.queryOverlaps(scene.collision.idOf(0), out);
    EXPECT_TRUE(out.empty());
}

/* Random scenes against the reference */

/* A hierarchy of objects with rotations, translations and now and then a scaling, carrying
   colliders of every type (and an unknown one) in random groups, some active */
void randomScene(Scene& scene, std::mt19937& rng, const int count) {
    std::uniform_real_distribution<float> unit{-1.0f, 1.0f};
    std::normal_distribution<float> normal;
    std::vector<Id> objects{Id{0}};
    for(int k = 0; k != count; ++k) {
        const Id parent = rng() % 3 ? Id{0} : objects[rng() % objects.size()];
        Quaternion rotation{{normal(rng), normal(rng), normal(rng)}, normal(rng)};
        rotation = rng() % 4 ? rotation/rotation.length() : Quaternion{};
        const DualQuaternion transform = DualQuaternion::from(rotation, Vector3{unit(rng), unit(rng), unit(rng)}*(parent == Id{0} ? 15.0f : 3.0f));
        const unsigned pick = rng() % 16;
        const ColliderType type = pick == 15 ? ColliderType(3 + rng() % 200) : ColliderType(pick % 3);
        Vector3 extents{0.2f + 2.0f*std::abs(unit(rng)), 0.1f + 2.0f*std::abs(unit(rng)), 0.1f + 2.0f*std::abs(unit(rng))};
        if(rng() % 10 == 0) extents[rng() % 3] = 1.0e-3f;
        const std::uint8_t groups = rng() % 8 ? std::uint8_t(rng()) : 0;
        const Id component = scene.add(transform, type, extents, groups, parent);
        objects.push_back(scene.objectOf(component));
        if(rng() % 5 == 0) scene.graph.setLocalScaling(scene.graph.indexOf(objects.back()), Vector3{0.5f + std::abs(unit(rng))});
        if(rng() % 2) scene.collision.activate(scene.collision.indexOf(component));
    }
}

/* Every variant of the passes the processor has */
std::vector<Implementation::ColliderSweepVariant> variants() {
    std::vector<Implementation::ColliderSweepVariant> out{Implementation::ColliderSweepVariant::Best, Implementation::ColliderSweepVariant::Reference};
    #if defined(__x86_64__)
    out.push_back(Implementation::ColliderSweepVariant::Sse2);
    if(Implementation::colliderSweepAvx2Supported()) out.push_back(Implementation::ColliderSweepVariant::Avx2);
    #endif
    return out;
}

/* Runs the queries with one variant of the passes, back to the best one afterwards */
struct Variant {
    explicit Variant(const Implementation::ColliderSweepVariant variant) { Implementation::setColliderSweepVariant(variant); }
    ~Variant() { Implementation::setColliderSweepVariant(Implementation::ColliderSweepVariant::Best); }
};

TEST(CollisionManagerTest, rayCastMatchesReference) {
    for(const Implementation::ColliderSweepVariant variant: variants()) {
        SCOPED_TRACE(int(variant));
        Variant use{variant};
        std::mt19937 rng{1977};
        std::uniform_real_distribution<float> unit{-1.0f, 1.0f};
        std::normal_distribution<float> normal;
        int hits[5]{};
        for(int sceneIndex = 0; sceneIndex != 12; ++sceneIndex) {
            const int count = sceneIndex < 4 ? 5 + sceneIndex : 20*sceneIndex;
            Scene scene{std::uint16_t(count + 1)};
            randomScene(scene, rng, count);
            scene.graph.computeAbsoluteTransformations();
            for(int r = 0; r != 400; ++r) {
                Vector3 origin = Vector3{unit(rng), unit(rng), unit(rng)}*20.0f;
                /* Now and then from a collider's centre */
                if(r % 8 == 0) origin = scene.graph.worldTransformation(scene.graph.indexOf(scene.collision.owner(SparseArray::IndexType(rng() % count)))).translation();
                Vector3 direction{normal(rng), normal(rng), normal(rng)};
                if(r % 5 == 0) direction[rng() % 3] = 0.0f;
                if(r % 10 == 0) direction = Vector3{0.0f};
                if(r % 10 == 0) direction[rng() % 3] = rng() % 2 ? 1.0f : -1.0f;
                direction = direction.normalized();
                const float maxDistance = r % 3 ? Inf : 30.0f*std::abs(unit(rng));
                const std::uint8_t mask = r % 4 ? 0xff : std::uint8_t(rng());
                for(const bool normals: {false, true}) {
                    RayHit hit, expected;
                    const std::uint32_t found = normals ?
                        scene.collision.rayCastWithNormals(origin, direction, mask, maxDistance, hit) :
                        scene.collision.rayCast(origin, direction, mask, maxDistance, hit);
                    EXPECT_EQ(found, hit.hitCount);
                    Implementation::rayCastReference(scene.collision, origin, direction, mask, maxDistance, expected, normals);
                    expectSameHits(hit, expected, normals);
                    ++hits[hit.hitCount];
                }
                if(::testing::Test::HasFailure()) return;
            }
        }
        /* Every hit count occurs */
        for(const int h: hits) EXPECT_GT(h, 20);
    }
}

TEST(CollisionManagerTest, queryOverlapsMatchesReferenceAndIsSymmetric) {
    for(const Implementation::ColliderSweepVariant variant: variants()) {
        SCOPED_TRACE(int(variant));
        Variant use{variant};
        std::mt19937 rng{1989};
        int total = 0;
        for(int sceneIndex = 0; sceneIndex != 6; ++sceneIndex) {
            const int count = 40 + 40*sceneIndex;
            Scene scene{std::uint16_t(count)};
            randomScene(scene, rng, count);
            std::vector<std::vector<Id>> results(scene.collision.capacity());
            for(SparseArray::IndexType i = 0; i != scene.collision.size(); ++i) {
                const Id id = scene.collision.idOf(i);
                results[id] = scene.collision.queryOverlaps(id);
                EXPECT_EQ(results[id], Implementation::queryOverlapsReference(scene.collision, id));
                total += int(results[id].size());
            }
            /* Every cell of the table is symmetric */
            for(SparseArray::IndexType i = 0; i != scene.collision.size(); ++i) {
                const Id a = scene.collision.idOf(i);
                for(const Id b: results[a])
                    EXPECT_NE(std::find(results[b].begin(), results[b].end(), a), results[b].end()) << a << " " << b;
            }
        }
        EXPECT_GT(total, 300);
    }
}

TEST(CollisionManagerTest, passesAgree) {
    /* Every variant of both passes writes the same candidates, bit for bit, including lanes
       with NaN and infinite values */
    std::mt19937 rng{3};
    std::uniform_real_distribution<float> unit{-1.0f, 1.0f};
    for(int round = 0; round != 200; ++round) {
        const std::uint32_t count = 1 + rng() % 100;
        const std::uint32_t padded = (count + 7)/8*8;
        std::vector<float> x(padded, 0.0f), y(padded, 0.0f), z(padded, 0.0f), bound(padded, 0.0f), reach(padded, 0.0f);
        std::vector<std::uint32_t> tags(padded, 0);
        for(std::uint32_t i = 0; i != count; ++i) {
            x[i] = 10.0f*unit(rng);
            y[i] = 10.0f*unit(rng);
            z[i] = 10.0f*unit(rng);
            bound[i] = 9.0f*std::abs(unit(rng));
            reach[i] = std::sqrt(bound[i]);
            tags[i] = (rng() & 0xff) | (rng() % 2 ? Implementation::ColliderTagBox : 0);
            if(rng() % 50 == 0) x[i] = rng() % 2 ? Inf : std::numeric_limits<float>::quiet_NaN();
        }
        const Implementation::ColliderColumns columns{x.data(), y.data(), z.data(), bound.data(), reach.data(), tags.data(), count};
        const Vector3 origin = Vector3{unit(rng), unit(rng), unit(rng)}*12.0f;
        const Vector3 direction = Vector3{unit(rng), unit(rng), unit(rng)}.normalized();
        const std::uint32_t mask = rng() & 0xff;
        const float maxDistance = 20.0f*std::abs(unit(rng));

        std::vector<std::uint16_t> expectedIndices(padded), indices(padded);
        std::vector<float> expectedDistances(padded), distances(padded);
        const std::uint32_t expected = Implementation::rayCandidatesReference(columns, origin.data(), direction.data(), mask, maxDistance, expectedIndices.data(), expectedDistances.data());
        const std::uint32_t expectedOverlaps = Implementation::overlapCandidatesReference(columns, origin.data(), 1.5f, mask, expectedIndices.data() + 0);
        std::vector<std::uint16_t> overlapIndices(expectedIndices.begin(), expectedIndices.begin() + expectedOverlaps);
        /* The ray candidates were overwritten by the overlap pass above; compute them again */
        Implementation::rayCandidatesReference(columns, origin.data(), direction.data(), mask, maxDistance, expectedIndices.data(), expectedDistances.data());

        using RayPass = std::uint32_t(*)(const Implementation::ColliderColumns&, const float*, const float*, std::uint32_t, float, std::uint16_t*, float*);
        using OverlapPass = std::uint32_t(*)(const Implementation::ColliderColumns&, const float*, float, std::uint32_t, std::uint16_t*);
        std::vector<std::pair<RayPass, OverlapPass>> variants{{Implementation::rayCandidates, Implementation::overlapCandidates}};
        #if defined(__x86_64__)
        variants.emplace_back(Implementation::rayCandidatesSse2, Implementation::overlapCandidatesSse2);
        if(Implementation::colliderSweepAvx2Supported())
            variants.emplace_back(Implementation::rayCandidatesAvx2, Implementation::overlapCandidatesAvx2);
        #endif
        for(const auto& [rayPass, overlapPass]: variants) {
            const std::uint32_t found = rayPass(columns, origin.data(), direction.data(), mask, maxDistance, indices.data(), distances.data());
            ASSERT_EQ(found, expected);
            for(std::uint32_t k = 0; k != found; ++k) {
                EXPECT_EQ(indices[k], expectedIndices[k]);
                EXPECT_EQ(std::memcmp(&distances[k], &expectedDistances[k], sizeof(float)), 0);
            }
            const std::uint32_t overlaps = overlapPass(columns, origin.data(), 1.5f, mask, indices.data());
            ASSERT_EQ(overlaps, expectedOverlaps);
            EXPECT_TRUE(std::equal(overlapIndices.begin(), overlapIndices.end(), indices.begin()));
        }
    }
}

TEST(CollisionManagerTest, normalsAgainstFiniteDifferences) {
    /* Two neighbouring rays hit the same collider near the first hit; the three points span
       the surface there, whose normal their cross product estimates. Box hits near an edge,
       where the neighbours may land on another face, are left out. */
    std::mt19937 rng{11};
    std::uniform_real_distribution<float> unit{-1.0f, 1.0f};
    Scene scene{64};
    randomScene(scene, rng, 60);
    scene.graph.computeAbsoluteTransformations();
    int checked = 0;
    for(int r = 0; r != 3000; ++r) {
        const SparseArray::IndexType target = SparseArray::IndexType(rng() % scene.collision.size());
        const Vector3 aim = scene.graph.worldTransformation(scene.graph.indexOf(scene.collision.owner(target))).translation();
        const Vector3 origin = aim + Vector3{unit(rng), unit(rng), unit(rng)}.normalized()*8.0f;
        const Vector3 direction = (aim + Vector3{unit(rng), unit(rng), unit(rng)}*0.3f - origin).normalized();
        RayHit hit, left, right;
        if(!scene.collision.rayCastWithNormals(origin, direction, 0xff, Inf, hit)) continue;

        /* Every object of the scene has one collider */
        SparseArray::IndexType index = 0;
        while(scene.collision.owner(index) != hit.objects[0]) ++index;
        const DualQuaternion& world = scene.graph.worldTransformation(scene.graph.indexOf(hit.objects[0]));
        const ColliderType type = scene.collision.colliders()[index];
        if(type != ColliderType::Sphere) {
            const Matrix3x3 rotation = type == ColliderType::Box ? world.rotation().toMatrix() : Matrix3x3{};
            const Vector3 local = rotation.transposed()*(hit.locations[0] - world.translation());
            const Vector3& e = scene.collision.extents()[index];
            int near = 0;
            for(int k = 0; k != 3; ++k) near += std::abs(std::abs(local[k]) - e[k]) < 1.0e-2f;
            if(near > 1) continue;
        }

        Vector3 u = cross(direction, Vector3{0.0f, 0.0f, 1.0f});
        if(u.dot() < 1.0e-3f) u = cross(direction, X);
        u = u.normalized();
        const Vector3 v = cross(direction, u);
        const float h = 1.0e-3f;
        ASSERT_TRUE(scene.collision.rayCast(origin + u*h, direction, 0xff, Inf, left));
        ASSERT_TRUE(scene.collision.rayCast(origin + v*h, direction, 0xff, Inf, right));
        if(left.objects[0] != hit.objects[0] || right.objects[0] != hit.objects[0]) continue;
        /* Near the silhouette of a sphere the neighbours' distances change too fast for a
           first-order estimate */
        if(dot(hit.normals[0], direction) > -0.2f) continue;
        Vector3 estimate = cross(left.locations[0] - hit.locations[0], right.locations[0] - hit.locations[0]).normalized();
        if(dot(estimate, direction) > 0.0f) estimate = -estimate;
        EXPECT_NEAR(dot(estimate, hit.normals[0]), 1.0f, 2.0e-3f) << int(type) << " at " << hit.locations[0] << ": " << estimate << " against " << hit.normals[0];
        EXPECT_NEAR(hit.normals[0].length(), 1.0f, 1.0e-5f);
        EXPECT_LT(dot(hit.normals[0], direction), 0.0f);
        ++checked;
    }
    EXPECT_GT(checked, 1000);
}

/* Misuse */

TEST(CollisionManagerDeathTest, unregistered) {
    CollisionManager collision{4};
    RayHit hit;
    EXPECT_DEATH(collision.rayCast({}, X, 0xff, Inf, hit), "^CollisionManager::rayCast\\(\\): the manager is not registered with a scene graph\n$");
    EXPECT_DEATH(collision.rayCastWithNormals({}, X, 0xff, Inf, hit), "^CollisionManager::rayCastWithNormals\\(\\): the manager is not registered with a scene graph\n$");
}

TEST(CollisionManagerDeathTest, invalid) {
    Scene scene{4};
    const Id component = scene.add({}, ColliderType::Sphere, Vector3{1.0f});
    RayHit hit;
    EXPECT_DEATH(scene.collision.rayCast({}, {1.0f, 1.0f, 0.0f}, 0xff, Inf, hit), "^CollisionManager::rayCast\\(\\): direction Vector\\(1, 1, 0\\) is not normalized\n$");
    EXPECT_DEATH(scene.collision.rayCastWithNormals({}, {}, 0xff, Inf, hit), "^CollisionManager::rayCastWithNormals\\(\\): direction Vector\\(0, 0, 0\\) is not normalized\n$");
    EXPECT_DEATH(scene.collision.queryOverlaps(Id{3}), "^CollisionManager::queryOverlaps\\(\\): component Id\\(3\\) is not alive\n$");
    EXPECT_DEATH(scene.collision.queryOverlaps(Id{9}), "^CollisionManager::queryOverlaps\\(\\): component Id\\(9\\) is not alive\n$");
    scene.collision.deleteComponent(scene.collision.indexOf(component));
    EXPECT_DEATH(scene.collision.queryOverlaps(component), "^CollisionManager::queryOverlaps\\(\\): component Id\\(0\\) is not alive\n$");
    EXPECT_DEATH(scene.collision.setExtents(0, {}), "^CollisionManager::setExtents\\(\\): index 0 out of range for 0 colliders\n$");
    EXPECT_DEATH(scene.collision.setCollider(1, ColliderType::Box), "^CollisionManager::setCollider\\(\\): index 1 out of range for 0 colliders\n$");
    EXPECT_DEATH(scene.collision.setGroups(2, 1), "^CollisionManager::setGroups\\(\\): index 2 out of range for 0 colliders\n$");
    EXPECT_DEATH(hit.swap(0, 4), "^RayHit::swap\\(\\): entries 0 and 4 out of range for 4 entries\n$");
    EXPECT_DEATH(hit.swap(-1, 2), "^RayHit::swap\\(\\): entries -1 and 2 out of range for 4 entries\n$");
}

TEST(CollisionManagerDeathTest, ownerNotInTheSceneGraph) {
    /* Colliders adopted from elsewhere, registered with a scene graph that lacks their owners */
    Scene scene{8};
    scene.graph.addObject();
    scene.graph.addObject();
    scene.add({}, ColliderType::Sphere, Vector3{1.0f});
    std::vector<char> block{scene.collision.data().begin(), scene.collision.data().end()};
    CollisionManager adopted{std::move(block)};
    Quiet quiet;
    SceneGraph graph{8, 1, 8};
    graph.setComponentManager(0, "collision", &adopted);
    RayHit hit;
    EXPECT_DEATH(adopted.rayCast({}, X, 0xff, Inf, hit), "^CollisionManager::rayCast\\(\\): collider 0 is owned by Id\\(3\\) which is not an object of the scene graph\n$");
    graph.setComponentManager(0, {}, nullptr);
}

TEST(CollisionManagerDeathTest, brokenBlock) {
    CollisionManager collision{4};
    std::vector<char> block{collision.data().begin(), collision.data().end()};
    block.pop_back();
    EXPECT_DEATH(CollisionManager{std::move(block)}, "^SparseArray::create\\(\\): block of 99 bytes does not match its header's 100 bytes and the 100 bytes of its layout\n$");
}

}}}
