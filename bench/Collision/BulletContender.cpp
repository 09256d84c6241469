#include "BulletContender.h"

#include <btBulletCollisionCommon.h>

struct BulletWorld::State {
    btDefaultCollisionConfiguration configuration;
    btCollisionDispatcher dispatcher{&configuration};
    btDbvtBroadphase broadphase;
    btCollisionWorld world{&dispatcher, &broadphase, &configuration};
    std::vector<std::unique_ptr<btCollisionShape>> shapes;
    std::vector<std::unique_ptr<btCollisionObject>> objects;
};

BulletWorld::BulletWorld(const std::vector<ColliderDescription>& colliders): _state{new State} {
    for(std::size_t i = 0; i != colliders.size(); ++i) {
        const ColliderDescription& c = colliders[i];
        std::unique_ptr<btCollisionShape> shape;
        if(c.shape == ColliderDescription::Sphere) shape.reset(new btSphereShape{c.extents[0]});
        else shape.reset(new btBoxShape{btVector3{c.extents[0], c.extents[1], c.extents[2]}});
        const btQuaternion rotation = c.shape == ColliderDescription::Box ?
            btQuaternion{c.rotation[0], c.rotation[1], c.rotation[2], c.rotation[3]} : btQuaternion::getIdentity();
        std::unique_ptr<btCollisionObject> object{new btCollisionObject};
        object->setCollisionShape(shape.get());
        object->setWorldTransform(btTransform{rotation, btVector3{c.position[0], c.position[1], c.position[2]}});
        object->setUserIndex(int(i));
        _state->world.addCollisionObject(object.get());
        _state->shapes.push_back(std::move(shape));
        _state->objects.push_back(std::move(object));
    }
    _state->world.updateAabbs();
}

BulletWorld::~BulletWorld() {
    for(const auto& object: _state->objects) _state->world.removeCollisionObject(object.get());
}

bool BulletWorld::closest(const float* const from, const float* const to, std::uint32_t& index, float& distance) const {
    const btVector3 a{from[0], from[1], from[2]}, b{to[0], to[1], to[2]};
    btCollisionWorld::ClosestRayResultCallback callback{a, b};
    _state->world.rayTest(a, b, callback);
    if(!callback.hasHit()) return false;
    index = std::uint32_t(callback.m_collisionObject->getUserIndex());
    distance = float(callback.m_closestHitFraction*(b - a).length());
    return true;
}

std::uint32_t BulletWorld::all(const float* const from, const float* const to) const {
    const btVector3 a{from[0], from[1], from[2]}, b{to[0], to[1], to[2]};
    btCollisionWorld::AllHitsRayResultCallback callback{a, b};
    _state->world.rayTest(a, b, callback);
    return std::uint32_t(callback.m_collisionObjects.size());
}
