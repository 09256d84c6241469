/* The AVX2 + FMA sweep. This file alone is compiled with -mavx2 -mfma and sweepTransforms() calls
   it only after checking the processor, so everything in it stays in an anonymous namespace or
   is an intrinsic: an inline function shared with other files could otherwise be merged with
   their copies by the linker and run AVX instructions on a processor without them. */

#include "TransformSweep.h"

#include <immintrin.h>

#include "QuillmarshEngine/Data/Implementation/TransformSweepLoop.h"

namespace QuillmarshEngine { namespace Data { namespace Implementation {

namespace {

/* A quaternion product a*b is aw*b + ax*(bw, -bz, by, -bx) + ay*(bz, bw, -bx, -by)
   + az*(-by, bx, bw, -bz). With b the whole child dual quaternion [real | dual] in one 256-bit
   register, the in-lane shuffles give the terms of both halves at once, and a = [p0 | p0]
   yields [p0*c0 | p0*ce] in one pass; pe*c0 is added to the upper half. */
struct Shuffled8 { __m256 b0, b1, b2, b3; };

inline Shuffled8 shuffled(const __m256 b) {
    const __m256 s1 = _mm256_castsi256_ps(_mm256_set_epi32(int(0x80000000), 0, int(0x80000000), 0, int(0x80000000), 0, int(0x80000000), 0));
    const __m256 s2 = _mm256_castsi256_ps(_mm256_set_epi32(int(0x80000000), int(0x80000000), 0, 0, int(0x80000000), int(0x80000000), 0, 0));
    const __m256 s3 = _mm256_castsi256_ps(_mm256_set_epi32(int(0x80000000), 0, 0, int(0x80000000), int(0x80000000), 0, 0, int(0x80000000)));
    return {b,
        _mm256_xor_ps(_mm256_permute_ps(b, _MM_SHUFFLE(0, 1, 2, 3)), s1),
        _mm256_xor_ps(_mm256_permute_ps(b, _MM_SHUFFLE(1, 0, 3, 2)), s2),
        _mm256_xor_ps(_mm256_permute_ps(b, _MM_SHUFFLE(2, 3, 0, 1)), s3)};
}

inline __m256 product(const __m256 a, const Shuffled8& b) {
    const __m256 first = _mm256_fmadd_ps(_mm256_permute_ps(a, _MM_SHUFFLE(0, 0, 0, 0)), b.b1, _mm256_mul_ps(_mm256_permute_ps(a, _MM_SHUFFLE(3, 3, 3, 3)), b.b0));
    const __m256 second = _mm256_fmadd_ps(_mm256_permute_ps(a, _MM_SHUFFLE(2, 2, 2, 2)), b.b3, _mm256_mul_ps(_mm256_permute_ps(a, _MM_SHUFFLE(1, 1, 1, 1)), b.b2));
    return _mm256_add_ps(first, second);
}

/* The same on one quaternion, with the terms of b given as the lower halves */
inline __m128 product(const __m128 a, const __m128 b0, const __m128 b1, const __m128 b2, const __m128 b3) {
    const __m128 first = _mm_fmadd_ps(_mm_permute_ps(a, _MM_SHUFFLE(0, 0, 0, 0)), b1, _mm_mul_ps(_mm_permute_ps(a, _MM_SHUFFLE(3, 3, 3, 3)), b0));
    const __m128 second = _mm_fmadd_ps(_mm_permute_ps(a, _MM_SHUFFLE(2, 2, 2, 2)), b3, _mm_mul_ps(_mm_permute_ps(a, _MM_SHUFFLE(1, 1, 1, 1)), b2));
    return _mm_add_ps(first, second);
}

inline __m128 product(const __m128 a, const __m128 b) {
    const __m128 s1 = _mm_castsi128_ps(_mm_set_epi32(int(0x80000000), 0, int(0x80000000), 0));
    const __m128 s2 = _mm_castsi128_ps(_mm_set_epi32(int(0x80000000), int(0x80000000), 0, 0));
    const __m128 s3 = _mm_castsi128_ps(_mm_set_epi32(int(0x80000000), 0, 0, int(0x80000000)));
    return product(a, b,
        _mm_xor_ps(_mm_permute_ps(b, _MM_SHUFFLE(0, 1, 2, 3)), s1),
        _mm_xor_ps(_mm_permute_ps(b, _MM_SHUFFLE(1, 0, 3, 2)), s2),
        _mm_xor_ps(_mm_permute_ps(b, _MM_SHUFFLE(2, 3, 0, 1)), s3));
}

inline void concatenate(const float* parent, const float* parentScaling, const float* child, const float* childScaling, float* out, float* outScaling) {
    const __m128 p0 = _mm_loadu_ps(parent);
    const __m128 pe = _mm_loadu_ps(parent + 4);
    __m256 c = _mm256_loadu_ps(child);
    const __m128 ps = load3(parentScaling);
    const __m128 cs = load3(childScaling);
    if(isUnitScaling(ps)) {
        store3(outScaling, cs);
    } else {
        /* (dual*conjugate(real)).xyz is half the translation; scaled, and multiplied by the real
           part again, it is the rebuilt dual part. The factors 2 and 1/2 cancel exactly. */
        const __m128 c0 = _mm256_castps256_ps128(c);
        const __m128 conjugate = _mm_xor_ps(c0, _mm_castsi128_ps(_mm_set_epi32(0, int(0x80000000), int(0x80000000), int(0x80000000))));
        const __m128 halfTranslation = product(_mm256_extractf128_ps(c, 1), conjugate);
        /* ps has a zero w lane, so the left side is a pure vector quaternion */
        c = _mm256_insertf128_ps(c, product(_mm_mul_ps(halfTranslation, ps), c0), 1);
        store3(outScaling, _mm_mul_ps(ps, cs));
    }
    const Shuffled8 cs8 = shuffled(c);
    /* [p0*c0 | p0*ce] + [0 | pe*c0] */
    const __m256 both = product(_mm256_set_m128(p0, p0), cs8);
    const __m128 dual = product(pe, _mm256_castps256_ps128(cs8.b0), _mm256_castps256_ps128(cs8.b1), _mm256_castps256_ps128(cs8.b2), _mm256_castps256_ps128(cs8.b3));
    _mm256_storeu_ps(out, _mm256_add_ps(both, _mm256_set_m128(dual, _mm_setzero_ps())));
}

}

void sweepTransformsAvx2(std::uint32_t* const dirtyWords, const std::uint32_t objectCount, const ObjectData* const objects, const DualQuaternion* const local, const Vector3* const localScaling, DualQuaternion* const world, Vector3* const worldScaling) {
    sweepLoop<concatenate>(dirtyWords, objectCount, objects, reinterpret_cast<const float*>(local), reinterpret_cast<const float*>(localScaling), reinterpret_cast<float*>(world), reinterpret_cast<float*>(worldScaling));
}

}}}
