#include "QuillmarshEngine/Math/Intersection.h"

#include <cmath>
#include <limits>

namespace QuillmarshEngine { namespace Math { namespace Intersection {

namespace {

typedef Math::Vector3<float> V3;
typedef Math::Matrix3x3<float> M3;

/* The slab method; returns the axis that gave tNear (the first of equal ones) on a hit, -1 on
   a miss, and writes the distance only on a hit */
int slabs(const V3& origin, const V3& direction, const V3& halfExtents, float& distance) {
    float tNear = -std::numeric_limits<float>::infinity();
    float tFar = std::numeric_limits<float>::infinity();
    int axis = -1;
    for(int k = 0; k != 3; ++k) {
        const float t1 = (halfExtents[k] - origin[k])/direction[k];
        const float t2 = (-halfExtents[k] - origin[k])/direction[k];
        /* 0/0: the origin lies on a slab plane of an axis the ray runs parallel to. Leaving
           out only the NaN value would make such a ray always miss; the axis says nothing
           about where the ray enters, so it is left out whole */
        if(std::isnan(t1) || std::isnan(t2)) continue;
        const float low = t1 < t2 ? t1 : t2;
        const float high = t1 < t2 ? t2 : t1;
        if(low > tNear) {
            tNear = low;
            axis = k;
        }
        if(high < tFar) tFar = high;
    }
    /* Strict: a ray that touches only an edge or a corner (tNear == tFar) misses */
    if(!(tNear >= 0.0f && tNear < tFar)) return -1;
    distance = tNear;
    return axis;
}

/* The ray in the box frame: o' = R^T (o - c), d' = R^T d */
void toBoxFrame(const V3& origin, const V3& direction, const V3& boxCentre, const M3& boxRotation, V3& localOrigin, V3& localDirection) {
    const V3 relative = origin - boxCentre;
    localOrigin = V3{dot(boxRotation[0], relative), dot(boxRotation[1], relative), dot(boxRotation[2], relative)};
    localDirection = V3{dot(boxRotation[0], direction), dot(boxRotation[1], direction), dot(boxRotation[2], direction)};
}

/* Half-width of the projection of a box on an unnormalized axis */
float projectedRadius(const M3& rotation, const V3& halfExtents, const V3& axis) {
    return std::abs(halfExtents[0]*dot(rotation[0], axis)) +
           std::abs(halfExtents[1]*dot(rotation[1], axis)) +
           std::abs(halfExtents[2]*dot(rotation[2], axis));
}

/* Squared distance from a point in the box frame to the box */
float squaredDistanceOutside(const V3& point, const V3& halfExtents) {
    float out = 0.0f;
    for(int k = 0; k != 3; ++k) {
        const float p = point[k];
        const float e = halfExtents[k];
        const float closest = p < -e ? -e : (e < p ? e : p);
        const float difference = p - closest;
        out += difference*difference;
    }
    return out;
}

}

bool lineAABB(const V3& origin, const V3& direction, const V3& halfExtents, float& distance) {
    return slabs(origin, direction, halfExtents, distance) >= 0;
}

bool lineAABB(const V3& origin, const V3& direction, const V3& halfExtents, float& distance, V3& normal) {
    const int axis = slabs(origin, direction, halfExtents, distance);
    if(axis < 0) return false;
    normal = V3{};
    normal[axis] = direction[axis] > 0.0f ? -1.0f : 1.0f;
    return true;
}

bool lineBox(const V3& origin, const V3& direction, const V3& halfExtents, const V3& boxCentre, const M3& boxRotation, float& distance) {
    V3 localOrigin, localDirection;
    toBoxFrame(origin, direction, boxCentre, boxRotation, localOrigin, localDirection);
    return slabs(localOrigin, localDirection, halfExtents, distance) >= 0;
}

bool lineBox(const V3& origin, const V3& direction, const V3& halfExtents, const DualQuaternion<float>& boxTransform, float& distance) {
    return lineBox(origin, direction, halfExtents, boxTransform.translation(), boxTransform.rotation().toMatrix(), distance);
}

bool lineBox(const V3& origin, const V3& direction, const V3& halfExtents, const V3& boxCentre, const M3& boxRotation, float& distance, V3& normal) {
    V3 localOrigin, localDirection;
    toBoxFrame(origin, direction, boxCentre, boxRotation, localOrigin, localDirection);
    const int axis = slabs(localOrigin, localDirection, halfExtents, distance);
    if(axis < 0) return false;
    normal = localDirection[axis] > 0.0f ? -V3{boxRotation[axis]} : V3{boxRotation[axis]};
    return true;
}

bool sphereSphere(const V3& centreA, const float radiusA, const V3& centreB, const float radiusB) {
    const float reach = radiusA + radiusB;
    return (centreA - centreB).dot() < reach*reach;
}

bool sphereAABB(const V3& centre, const float radius, const V3& boxCentre, const V3& halfExtents) {
    return squaredDistanceOutside(centre - boxCentre, halfExtents) <= radius*radius;
}

bool aabbAABB(const V3& centreA, const V3& halfExtentsA, const V3& centreB, const V3& halfExtentsB) {
    for(int k = 0; k != 3; ++k)
        if(!(std::abs(centreA[k] - centreB[k]) - (halfExtentsA[k] + halfExtentsB[k]) < 0.0f)) return false;
    return true;
}

bool sphereBox(const V3& centre, const float radius, const V3& boxCentre, const M3& boxRotation, const V3& halfExtents) {
    const V3 relative = centre - boxCentre;
    const V3 local{dot(boxRotation[0], relative), dot(boxRotation[1], relative), dot(boxRotation[2], relative)};
    return squaredDistanceOutside(local, halfExtents) <= radius*radius;
}

bool sphereBox(const V3& centre, const float radius, const DualQuaternion<float>& boxTransform, const V3& halfExtents) {
    return sphereBox(centre, radius, boxTransform.translation(), boxTransform.rotation().toMatrix(), halfExtents);
}

bool boxBox(const V3& centreA, const M3& rotationA, const V3& halfExtentsA, const V3& centreB, const M3& rotationB, const V3& halfExtentsB) {
    /* Projections are measured from the centre of A, which keeps them precise for boxes far
       from the origin. |p| against the sum of both half-widths is the same number with the
       boxes exchanged (the offset and the cross products only change sign), so the test is
       exactly symmetric. */
    const V3 offset = centreB - centreA;
    const auto separates = [&](const V3& axis) {
        const float reach = projectedRadius(rotationA, halfExtentsA, axis) + projectedRadius(rotationB, halfExtentsB, axis);
        return std::abs(dot(offset, axis)) > reach;
    };
    for(int k = 0; k != 3; ++k)
        if(separates(rotationA[k]) || separates(rotationB[k])) return false;
    /* Edge against edge. Nearly parallel edges give a short cross product whose direction is
       mostly rounding noise; the face axes already cover that case */
    for(int i = 0; i != 3; ++i) {
        for(int j = 0; j != 3; ++j) {
            const V3 axis = cross(rotationA[i], rotationB[j]);
            if(axis.dot() < 1.0e-6f) continue;
            if(separates(axis)) return false;
        }
    }
    return true;
}

bool boxBox(const DualQuaternion<float>& a, const V3& halfExtentsA, const DualQuaternion<float>& b, const V3& halfExtentsB) {
    return boxBox(a.translation(), a.rotation().toMatrix(), halfExtentsA, b.translation(), b.rotation().toMatrix(), halfExtentsB);
}

Range1D<float> interval(const V3& centre, const M3& rotation, const V3& halfExtents, const V3& axis) {
    const float middle = dot(centre, axis);
    const float radius = projectedRadius(rotation, halfExtents, axis);
    return {middle - radius, middle + radius};
}

Range1D<float> interval(const DualQuaternion<float>& box, const V3& halfExtents, const V3& axis) {
    return interval(box.translation(), box.rotation().toMatrix(), halfExtents, axis);
}

}}}
