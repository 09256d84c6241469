#include "QuillmarshEngine/Data/Implementation/TransformSweep.h"

#include <bit>
#include <cmath>
#include <cstring>

#include "QuillmarshEngine/Math/DualQuaternion.h"
#include "QuillmarshEngine/Math/Vector3.h"

#if defined(__x86_64__)
#include "QuillmarshEngine/Data/Implementation/TransformSweepLoop.h"
#define QUILLMARSH_SWEEP_X86
#endif

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

/* ----------------------------------------------------------------------------------------------
   Vectorized composition. A quaternion product a*b is written as
     aw*b + ax*(bw, -bz, by, -bx) + ay*(bz, bw, -bx, -by) + az*(-by, bx, bw, -bz)
   with the three sign-flipped shuffles of b computed once per right-hand side and reused for both
   products of the dual part. */
#ifdef QUILLMARSH_SWEEP_X86

#define QUILLMARSH_SPLAT(v, i) _mm_shuffle_ps(v, v, _MM_SHUFFLE(i, i, i, i))

struct Shuffled { __m128 b0, b1, b2, b3; };

inline Shuffled shuffled(const __m128 b) {
    const __m128 s1 = _mm_castsi128_ps(_mm_set_epi32(int(0x80000000), 0, int(0x80000000), 0));
    const __m128 s2 = _mm_castsi128_ps(_mm_set_epi32(int(0x80000000), int(0x80000000), 0, 0));
    const __m128 s3 = _mm_castsi128_ps(_mm_set_epi32(int(0x80000000), 0, 0, int(0x80000000)));
    return {b,
        _mm_xor_ps(_mm_shuffle_ps(b, b, _MM_SHUFFLE(0, 1, 2, 3)), s1),
        _mm_xor_ps(_mm_shuffle_ps(b, b, _MM_SHUFFLE(1, 0, 3, 2)), s2),
        _mm_xor_ps(_mm_shuffle_ps(b, b, _MM_SHUFFLE(2, 3, 0, 1)), s3)};
}

inline __m128 product(const __m128 a, const Shuffled& b) {
    return _mm_add_ps(
        _mm_add_ps(_mm_mul_ps(QUILLMARSH_SPLAT(a, 3), b.b0), _mm_mul_ps(QUILLMARSH_SPLAT(a, 0), b.b1)),
        _mm_add_ps(_mm_mul_ps(QUILLMARSH_SPLAT(a, 1), b.b2), _mm_mul_ps(QUILLMARSH_SPLAT(a, 2), b.b3)));
}

inline void concatenateSse2(const float* parent, const float* parentScaling, const float* child, const float* childScaling, float* out, float* outScaling) {
    const __m128 p0 = _mm_loadu_ps(parent);
    const __m128 pe = _mm_loadu_ps(parent + 4);
    const __m128 c0 = _mm_loadu_ps(child);
    __m128 ce = _mm_loadu_ps(child + 4);
    const __m128 ps = load3(parentScaling);
    const __m128 cs = load3(childScaling);
    const Shuffled c0s = shuffled(c0);
    if(isUnitScaling(ps)) {
        store3(outScaling, cs);
    } else {
        /* (dual*conjugate(real)).xyz is half the translation; scaled and multiplied by the real
           part again it is the rebuilt dual part. The factors 2 and 1/2 cancel exactly. */
        const __m128 conjugate = _mm_xor_ps(c0, _mm_castsi128_ps(_mm_set_epi32(0, int(0x80000000), int(0x80000000), int(0x80000000))));
        const __m128 halfTranslation = product(ce, shuffled(conjugate));
        /* ps has a zero w lane, so the product is a pure vector quaternion */
        ce = product(_mm_mul_ps(halfTranslation, ps), c0s);
        store3(outScaling, _mm_mul_ps(ps, cs));
    }
    const Shuffled ces = shuffled(ce);
    _mm_storeu_ps(out, product(p0, c0s));
    _mm_storeu_ps(out + 4, _mm_add_ps(product(p0, ces), product(pe, c0s)));
}

#undef QUILLMARSH_SPLAT

#endif

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

#ifdef QUILLMARSH_SWEEP_X86
void sweepTransformsSse2(std::uint32_t* const dirtyWords, const std::uint32_t objectCount, const ObjectData* const objects, const DualQuaternion* const local, const Vector3* const localScaling, DualQuaternion* const world, Vector3* const worldScaling) {
    sweepLoop<concatenateSse2>(dirtyWords, objectCount, objects, reinterpret_cast<const float*>(local), reinterpret_cast<const float*>(localScaling), reinterpret_cast<float*>(world), reinterpret_cast<float*>(worldScaling));
}

bool sweepTransformsAvx2Supported() {
    /* Checks the operating system's support for the AVX register state as well */
    return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
}
#endif

void sweepTransforms(std::uint32_t* const dirtyWords, const std::uint32_t objectCount, const ObjectData* const objects, const DualQuaternion* const local, const Vector3* const localScaling, DualQuaternion* const world, Vector3* const worldScaling) {
    #ifdef QUILLMARSH_SWEEP_X86
    /* Chosen once: the library is built for the x86-64 baseline and runs wider code only where
       the processor has it */
    static const auto kernel = sweepTransformsAvx2Supported() ? sweepTransformsAvx2 : sweepTransformsSse2;
    kernel(dirtyWords, objectCount, objects, local, localScaling, world, worldScaling);
    #else
    sweepTransformsReference(dirtyWords, objectCount, objects, local, localScaling, world, worldScaling);
    #endif
}

}}}
