#include "QuillmarshEngine/Data/Implementation/TransformSweep.h"

#include <bit>
#include <cmath>
#include <cstring>

#include "QuillmarshEngine/Math/DualQuaternion.h"
#include "QuillmarshEngine/Math/Vector3.h"

namespace QuillmarshEngine { namespace Data { namespace Implementation {

/* The kernels work on the memory layout of the math types: a dual quaternion is the real part
   then the dual part, each x, y, z, w; a vector is x, y, z */
static_assert(sizeof(DualQuaternion) == 8*sizeof(float), "dual quaternion is eight floats");
static_assert(sizeof(Vector3) == 3*sizeof(float), "vector is three floats");

namespace {

struct Q { float x, y, z, w; };

inline Q mul(const Q& a, const Q& b) {
    return {
        a.w*b.x + b.w*a.x + (a.y*b.z - b.y*a.z),
        a.w*b.y + b.w*a.y + (a.z*b.x - b.z*a.x),
        a.w*b.z + b.w*a.z + (a.x*b.y - b.x*a.y),
        a.w*b.w - (a.x*b.x + a.y*b.y + a.z*b.z)
    };
}

inline Q add(const Q& a, const Q& b) { return {a.x + b.x, a.y + b.y, a.z + b.z, a.w + b.w}; }

inline const Q* real(const DualQuaternion& d) { return reinterpret_cast<const Q*>(&d); }
inline const Q* dual(const DualQuaternion& d) { return reinterpret_cast<const Q*>(&d) + 1; }
inline const float* xyz(const Vector3& v) { return reinterpret_cast<const float*>(&v); }

inline void store(DualQuaternion& out, const Q& r, const Q& d) {
    Q* o = reinterpret_cast<Q*>(&out);
    o[0] = r;
    o[1] = d;
}

inline void storeVector(Vector3& out, float x, float y, float z) {
    float* o = reinterpret_cast<float*>(&out);
    o[0] = x;
    o[1] = y;
    o[2] = z;
}

/* Fuzzy equality of one component with 1: exact, or a relative difference below 1e-5 */
inline bool isOne(float s) {
    if(s == 1.0f) return true;
    if(s == 0.0f) return false;
    return std::abs(s - 1.0f)/(std::abs(s) + 1.0f) < 1.0e-5f;
}

inline void product(const DualQuaternion& parent, const Q& childReal, const Q& childDual, DualQuaternion& out) {
    const Q& pr = *real(parent);
    const Q& pd = *dual(parent);
    store(out, mul(pr, childReal), add(mul(pr, childDual), mul(pd, childReal)));
}

inline void scaledProduct(const DualQuaternion& parent, const Vector3& parentScaling, const DualQuaternion& child, const Vector3& childScaling, DualQuaternion& out, Vector3& outScaling) {
    const Q& cr = *real(child);
    const Q& cd = *dual(child);
    /* The translation is t = 2 × dual × conjugate(real); the rebuilt dual part is
       ½ · (t scaled, 0) × real. Factors of two are exact in floating point, so ½ · 2 cancels
       without changing the result. */
    const Q halfT = mul(cd, Q{-cr.x, -cr.y, -cr.z, cr.w});
    const float* s = xyz(parentScaling);
    const Q halfScaled{halfT.x*s[0], halfT.y*s[1], halfT.z*s[2], 0.0f};
    product(parent, cr, mul(halfScaled, cr), out);
    const float* c = xyz(childScaling);
    storeVector(outScaling, s[0]*c[0], s[1]*c[1], s[2]*c[2]);
}

}

void concatenate(const DualQuaternion& parent, const Vector3& parentScaling, const DualQuaternion& child, const Vector3& childScaling, DualQuaternion& out, Vector3& outScaling) {
    const float* s = xyz(parentScaling);
    if(isOne(s[0]) && isOne(s[1]) && isOne(s[2])) {
        product(parent, *real(child), *dual(child), out);
        outScaling = childScaling;
        return;
    }
    scaledProduct(parent, parentScaling, child, childScaling, out, outScaling);
}

void concatenateScaled(const DualQuaternion& parent, const Vector3& parentScaling, const DualQuaternion& child, const Vector3& childScaling, DualQuaternion& out, Vector3& outScaling) {
    scaledProduct(parent, parentScaling, child, childScaling, out, outScaling);
}

void sweepTransformsReference(std::uint32_t* const dirtyWords, const std::uint32_t objectCount, const ObjectData* const objects, const DualQuaternion* const local, const Vector3* const localScaling, DualQuaternion* const world, Vector3* const worldScaling) {
    const std::uint32_t wordCount = (objectCount + 31)/32;
    for(std::uint32_t w = 0; w != wordCount; ++w) {
        std::uint32_t bits = dirtyWords[w];
        if(!bits) continue;
        /* Bits past the object count belong to removed slots */
        if(w == wordCount - 1 && objectCount % 32) bits &= (1u << (objectCount % 32)) - 1u;
        while(bits) {
            const std::uint32_t i = w*32 + std::uint32_t(std::countr_zero(bits));
            bits &= bits - 1;
            const std::uint16_t parent = objects[i].parent;
            if(parent == 0) {
                world[i] = local[i];
                worldScaling[i] = localScaling[i];
            } else concatenate(world[parent], worldScaling[parent], local[i], localScaling[i], world[i], worldScaling[i]);
        }
    }
    if(wordCount) std::memset(dirtyWords, 0, wordCount*sizeof(std::uint32_t));
}

void sweepTransforms(std::uint32_t* const dirtyWords, const std::uint32_t objectCount, const ObjectData* const objects, const DualQuaternion* const local, const Vector3* const localScaling, DualQuaternion* const world, Vector3* const worldScaling) {
    sweepTransformsReference(dirtyWords, objectCount, objects, local, localScaling, world, worldScaling);
}

}}}
