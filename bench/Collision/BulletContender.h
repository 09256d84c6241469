#ifndef QuillmarshEngine_bench_Collision_BulletContender_h
#define QuillmarshEngine_bench_Collision_BulletContender_h

#include <cstdint>
#include <memory>
#include <vector>

/* One collider of the benchmark scene, as both contenders build it: a sphere (radius in
   extents[0]), an axis-aligned box or an oriented box, at a position with a rotation (quaternion
   x, y, z, w; the axis-aligned box ignores it) */
struct ColliderDescription {
    enum Shape: std::uint8_t { Sphere, AxisAlignedBox, Box };
    Shape shape;
    float position[3];
    float rotation[4];
    float extents[3];
};

/* Bullet's btCollisionWorld with its default dynamic-tree broad phase as a contender, holding
   btSphereShape and btBoxShape objects. Kept behind this small interface so that the Bullet
   headers stay in one translation unit of the benchmark. */
class BulletWorld {
    public:
        explicit BulletWorld(const std::vector<ColliderDescription>& colliders);
        ~BulletWorld();

        /* btCollisionWorld::rayTest() with ClosestRayResultCallback from `from` to `to`; the
           collider index and the distance from `from` of the closest hit */
        bool closest(const float* from, const float* to, std::uint32_t& index, float& distance) const;

        /* btCollisionWorld::rayTest() with AllHitsRayResultCallback; the number of hits */
        std::uint32_t all(const float* from, const float* to) const;

    private:
        struct State;
        std::unique_ptr<State> _state;
};

#endif
