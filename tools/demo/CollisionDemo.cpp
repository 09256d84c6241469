#include "CollisionDemo.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "QuillmarshEngine/Data/CollisionManager.h"
#include "QuillmarshEngine/Data/Implementation/CollisionReference.h"
#include "QuillmarshEngine/Data/SceneGraph.h"
#include "QuillmarshEngine/Debug.h"
#include "QuillmarshEngine/Math/DualQuaternion.h"

using namespace QuillmarshEngine;

namespace {

/* Collision groups of the room */
constexpr std::uint8_t Walls = 0x01, Props = 0x02, Hand = 0x04;

/* What the controller casts each frame: a pointer straight ahead (with normals, as for
   picking), a ray down to the floor (as for a teleport target) and one to the left */
constexpr const char* RayNames[]{"pointer", "down", "left"};

}

struct CollisionDemo::State {
    std::ostringstream quiet;
    std::unique_ptr<Data::SceneGraph> graph;
    std::unique_ptr<Data::CollisionManager> collision;
    Data::Id rig, controller, handCollider;
    std::vector<std::string> names;  /* per object id */
    std::uint32_t frames = 0, rays = 0, mismatches = 0;
    std::uint32_t hits[3]{}, overlapFrames = 0;
    std::vector<std::uint32_t> hitsPerObject;  /* per object id, nearest hits of all rays */
    std::vector<double> microseconds;
    Data::RayHit last[3];
    Vector3 lastOrigin;
};

CollisionDemo::CollisionDemo(const std::uint32_t seed): _state{new State} {
    State& s = *_state;
    /* The scene graph reports its creation */
    Debug silence{&s.quiet};
    s.graph.reset(new Data::SceneGraph{64, 1, 64});
    s.collision.reset(new Data::CollisionManager{48});
    s.graph->setComponentManager(0, "collision", s.collision.get());
    s.names.assign(64, {});

    const auto add = [&](const char* name, const Data::Id parent, const DualQuaternion& transform, const Data::ColliderType type, const Vector3& extents, const std::uint8_t groups) {
        const Data::Id object = s.graph->addObject(parent);
        const Data::SceneGraph::IndexType index = s.graph->indexOf(object);
        s.graph->setLocalTransformation(index, transform);
        s.graph->setDirty(index);
        s.names[object] = name;
        const Data::Id component = s.collision->addComponent(object);
        const Data::SparseArray::IndexType at = s.collision->indexOf(component);
        s.collision->setCollider(at, type);
        s.collision->setExtents(at, extents);
        s.collision->setGroups(at, groups);
        s.collision->activate(at);
        return component;
    };

    /* A 12 x 12 room, 4 high, with a floor, four walls and a few props, some turned */
    add("floor", Data::Id{}, DualQuaternion::translation({0.0f, -0.1f, 0.0f}), Data::ColliderType::AxisAlignedBox, {6.0f, 0.1f, 6.0f}, Walls);
    add("north wall", Data::Id{}, DualQuaternion::translation({0.0f, 2.0f, -6.1f}), Data::ColliderType::AxisAlignedBox, {6.0f, 2.0f, 0.1f}, Walls);
    add("south wall", Data::Id{}, DualQuaternion::translation({0.0f, 2.0f, 6.1f}), Data::ColliderType::AxisAlignedBox, {6.0f, 2.0f, 0.1f}, Walls);
    add("east wall", Data::Id{}, DualQuaternion::translation({6.1f, 2.0f, 0.0f}), Data::ColliderType::AxisAlignedBox, {0.1f, 2.0f, 6.0f}, Walls);
    add("west wall", Data::Id{}, DualQuaternion::translation({-6.1f, 2.0f, 0.0f}), Data::ColliderType::AxisAlignedBox, {0.1f, 2.0f, 6.0f}, Walls);
    std::mt19937 rng{seed};
    std::uniform_real_distribution<float> unit{-1.0f, 1.0f};
    static const char* const PropNames[]{"ball", "crate", "barrel", "lamp", "box", "stool", "globe", "chest"};
    for(std::uint32_t k = 0; k != 8; ++k) {
        const bool sphere = k % 2 == 0;
        const float size = 0.3f + 0.3f*std::abs(unit(rng));
        const Vector3 position{4.5f*unit(rng), sphere ? 0.5f + 1.5f*std::abs(unit(rng)) : size, 4.5f*unit(rng)};
        const DualQuaternion transform = DualQuaternion::from(Quaternion::rotation(3.0f*unit(rng), {0.0f, 1.0f, 0.0f}), position);
        add(PropNames[k], Data::Id{}, transform, sphere ? Data::ColliderType::Sphere : Data::ColliderType::Box,
            sphere ? Vector3{size} : Vector3{size, size, 0.7f*size}, Props);
    }

    /* A shelf on the hand's path, which it brushes past early on every round */
    add("shelf", Data::Id{}, DualQuaternion::from(Quaternion::rotation(0.6f, {0.0f, 1.0f, 0.0f}), {0.45f, 1.25f, 2.7f}),
        Data::ColliderType::Box, {0.15f, 0.1f, 0.15f}, Props);

    /* The player rig walks, the controller is its child, a hand with a small sphere */
    s.rig = s.graph->addObject();
    s.names[s.rig] = "rig";
    /* The hand is in the props' group too, so that its overlap query finds them; its own rays
       start inside its sphere, which a ray never reports */
    s.handCollider = add("hand", s.rig, DualQuaternion::translation({0.25f, 1.2f, -0.3f}), Data::ColliderType::Sphere, Vector3{0.15f}, Hand | Props);
    s.controller = s.collision->owner(s.collision->indexOf(s.handCollider));
    s.hitsPerObject.assign(64, 0);
}

CollisionDemo::~CollisionDemo() = default;

void CollisionDemo::frame(const std::uint32_t frame) {
    State& s = *_state;
    const auto start = std::chrono::steady_clock::now();

    /* The rig circles the room, the hand sweeps up and down and from side to side */
    const float time = float(frame)/60.0f;
    const Data::SceneGraph::IndexType rig = s.graph->indexOf(s.rig), hand = s.graph->indexOf(s.controller);
    s.graph->setLocalTransformation(rig, DualQuaternion::from(Quaternion::rotation(0.4f*time, {0.0f, 1.0f, 0.0f}),
        {3.0f*std::sin(0.4f*time), 0.0f, 3.0f*std::cos(0.4f*time)}));
    s.graph->setLocalTransformation(hand, DualQuaternion::from(
        Quaternion::rotation(0.6f*std::sin(1.3f*time), {0.0f, 1.0f, 0.0f})*Quaternion::rotation(0.4f*std::sin(0.7f*time), {1.0f, 0.0f, 0.0f}),
        {0.25f, 1.2f, -0.3f}));
    s.graph->setDirty(rig);

    /* The queries make the hand's world transformation current themselves; read it after */
    const Vector3 forward{0.0f, 0.0f, -1.0f}, down{0.0f, -1.0f, 0.0f}, left{-1.0f, 0.0f, 0.0f};
    Data::RayHit hits[3];
    std::vector<Data::Id> touching;
    s.collision->queryOverlaps(s.handCollider, touching);
    const DualQuaternion& pose = s.graph->worldTransformation(hand);
    const Vector3 origin = pose.translation();
    const Vector3 directions[3]{pose.transformVectorNormalized(forward).normalized(), down, pose.transformVectorNormalized(left).normalized()};
    constexpr std::uint8_t Mask = Walls | Props;
    s.collision->rayCastWithNormals(origin, directions[0], Mask, 20.0f, hits[0]);
    s.collision->rayCast(origin, directions[1], Mask, 20.0f, hits[1]);
    s.collision->rayCast(origin, directions[2], Mask, 20.0f, hits[2]);
    s.microseconds.push_back(std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count());

    /* Every answer against the reference queries, which have no cache and no vector pass */
    for(int r = 0; r != 3; ++r) {
        Data::RayHit expected;
        Data::Implementation::rayCastReference(*s.collision, origin, directions[r], Mask, 20.0f, expected, r == 0);
        bool same = expected.hitCount == hits[r].hitCount;
        for(std::uint32_t k = 0; same && k != expected.hitCount; ++k)
            same = expected.objects[k] == hits[r].objects[k] && expected.distances[k] == hits[r].distances[k] &&
                (r != 0 || std::memcmp(&expected.normals[k], &hits[r].normals[k], sizeof(Vector3)) == 0);
        s.mismatches += !same;
        if(hits[r].hitCount) {
            ++s.hits[r];
            ++s.hitsPerObject[hits[r].objects[0]];
        }
        s.last[r] = hits[r];
    }
    s.mismatches += touching != Data::Implementation::queryOverlapsReference(*s.collision, s.handCollider);
    s.overlapFrames += !touching.empty();
    s.lastOrigin = origin;
    s.rays += 3;
    ++s.frames;
}

std::uint32_t CollisionDemo::report() const {
    const State& s = *_state;
    std::vector<double> times = s.microseconds;
    std::sort(times.begin(), times.end());
    const double median = times.empty() ? 0.0 : times[times.size()/2];
    std::printf("  collisions: %u colliders, a hand controller casting %u rays in %u frames (median %.1f us per frame)\n",
        std::uint32_t(s.collision->size()), s.rays, s.frames, median);
    for(int r = 0; r != 3; ++r)
        std::printf("              %-7s ray hit something in %u of %u frames\n", RayNames[r], s.hits[r], s.frames);
    std::printf("              the hand touched a prop in %u frames\n", s.overlapFrames);
    std::printf("              nearest hits by object:");
    const char* separator = " ";
    for(std::size_t id = 0; id != s.hitsPerObject.size(); ++id) {
        if(!s.hitsPerObject[id]) continue;
        std::printf("%s%s %u", separator, s.names[id].c_str(), s.hitsPerObject[id]);
        separator = ", ";
    }
    std::printf("\n              last frame, from (%.2f, %.2f, %.2f):\n", double(s.lastOrigin.x()), double(s.lastOrigin.y()), double(s.lastOrigin.z()));
    for(int r = 0; r != 3; ++r) {
        const Data::RayHit& hit = s.last[r];
        if(!hit.hitCount) {
            std::printf("                %-7s no hit\n", RayNames[r]);
            continue;
        }
        std::printf("                %-7s %u hit%s:", RayNames[r], hit.hitCount, hit.hitCount == 1 ? "" : "s");
        for(std::uint32_t k = 0; k != hit.hitCount; ++k) {
            std::printf(" %s at %.3f", s.names[hit.objects[k]].c_str(), double(hit.distances[k]));
            if(r == 0) std::printf(" (normal %.2f, %.2f, %.2f)", double(hit.normals[k].x()), double(hit.normals[k].y()), double(hit.normals[k].z()));
            std::printf(k + 1 == hit.hitCount ? "\n" : ",");
        }
    }
    if(s.mismatches) {
        std::printf("              %u queries disagree with the reference queries  MISMATCH\n", s.mismatches);
        return s.mismatches;
    }
    std::printf("              all %u ray casts and %u overlap queries agree with the reference queries\n", s.rays, s.frames);
    return 0;
}
