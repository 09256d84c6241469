/* The AVX2 passes. This file alone is compiled with -mavx2, and the passes are only called
   after checking the processor, so everything here is either an intrinsic or local to this
   file: an inline function shared with other files could be merged with their copies by the
   linker and run AVX instructions on a processor without them. No FMA, so that the results
   are bit-identical to the other variants. */

#include "ColliderSweep.h"

#include <immintrin.h>

namespace QuillmarshEngine { namespace Data { namespace Implementation {

std::uint32_t rayCandidatesAvx2(const ColliderColumns& columns, const float* const origin, const float* const direction, const std::uint32_t groupMask, const float maxDistance, std::uint16_t* const indices, float* const distances) {
    const __m256 ox = _mm256_set1_ps(origin[0]), oy = _mm256_set1_ps(origin[1]), oz = _mm256_set1_ps(origin[2]);
    const __m256 dx = _mm256_set1_ps(direction[0]), dy = _mm256_set1_ps(direction[1]), dz = _mm256_set1_ps(direction[2]);
    const __m256 limit = _mm256_set1_ps(maxDistance);
    const __m256 zero = _mm256_setzero_ps();
    const __m256 sign = _mm256_set1_ps(-0.0f);
    const __m256i mask = _mm256_set1_epi32(int(groupMask));
    const __m256i boxBit = _mm256_set1_epi32(int(ColliderTagBox));
    const __m256i zeroInt = _mm256_setzero_si256();
    std::uint32_t found = 0;
    for(std::uint32_t i = 0; i < columns.count; i += 8) {
        const __m256i tags = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(columns.tags + i));
        const __m256i skipped = _mm256_cmpeq_epi32(_mm256_and_si256(tags, mask), zeroInt);
        if(_mm256_movemask_epi8(skipped) == -1) continue;
        const __m256 vx = _mm256_sub_ps(ox, _mm256_loadu_ps(columns.centreX + i));
        const __m256 vy = _mm256_sub_ps(oy, _mm256_loadu_ps(columns.centreY + i));
        const __m256 vz = _mm256_sub_ps(oz, _mm256_loadu_ps(columns.centreZ + i));
        const __m256 bound = _mm256_loadu_ps(columns.boundSquared + i);
        const __m256 b = _mm256_add_ps(_mm256_add_ps(_mm256_mul_ps(dx, vx), _mm256_mul_ps(dy, vy)), _mm256_mul_ps(dz, vz));
        const __m256 vv = _mm256_add_ps(_mm256_add_ps(_mm256_mul_ps(vx, vx), _mm256_mul_ps(vy, vy)), _mm256_mul_ps(vz, vz));
        const __m256 q = _mm256_sub_ps(_mm256_mul_ps(b, b), _mm256_sub_ps(vv, bound));
        const __m256 t = _mm256_sub_ps(_mm256_xor_ps(b, sign), _mm256_sqrt_ps(q));
        const __m256 ahead = _mm256_and_ps(_mm256_cmp_ps(q, zero, _CMP_GE_OQ), _mm256_cmp_ps(t, zero, _CMP_GE_OQ));
        const __m256 sphere = _mm256_and_ps(ahead, _mm256_cmp_ps(t, limit, _CMP_LE_OQ));
        const __m256 box = _mm256_and_ps(_mm256_cmp_ps(q, q, _CMP_ORD_Q),
            _mm256_or_ps(ahead, _mm256_cmp_ps(bound, vv, _CMP_GE_OQ)));
        const __m256 isBox = _mm256_castsi256_ps(_mm256_cmpeq_epi32(_mm256_and_si256(tags, boxBit), boxBit));
        const __m256 candidate = _mm256_andnot_ps(_mm256_castsi256_ps(skipped), _mm256_blendv_ps(sphere, box, isBox));
        unsigned bits = unsigned(_mm256_movemask_ps(candidate));
        if(!bits) continue;
        alignas(32) float ts[8];
        _mm256_store_ps(ts, t);
        do {
            const unsigned k = unsigned(__builtin_ctz(bits));
            indices[found] = std::uint16_t(i + k);
            distances[found] = ts[k];
            ++found;
            bits &= bits - 1;
        } while(bits);
    }
    return found;
}

std::uint32_t overlapCandidatesAvx2(const ColliderColumns& columns, const float* const centre, const float reach, const std::uint32_t groupMask, std::uint16_t* const indices) {
    const __m256 qx = _mm256_set1_ps(centre[0]), qy = _mm256_set1_ps(centre[1]), qz = _mm256_set1_ps(centre[2]);
    const __m256 queryReach = _mm256_set1_ps(reach);
    const __m256i mask = _mm256_set1_epi32(int(groupMask));
    const __m256i zeroInt = _mm256_setzero_si256();
    std::uint32_t found = 0;
    for(std::uint32_t i = 0; i < columns.count; i += 8) {
        const __m256i tags = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(columns.tags + i));
        const __m256i skipped = _mm256_cmpeq_epi32(_mm256_and_si256(tags, mask), zeroInt);
        if(_mm256_movemask_epi8(skipped) == -1) continue;
        const __m256 dx = _mm256_sub_ps(_mm256_loadu_ps(columns.centreX + i), qx);
        const __m256 dy = _mm256_sub_ps(_mm256_loadu_ps(columns.centreY + i), qy);
        const __m256 dz = _mm256_sub_ps(_mm256_loadu_ps(columns.centreZ + i), qz);
        const __m256 s = _mm256_add_ps(_mm256_loadu_ps(columns.reach + i), queryReach);
        const __m256 dd = _mm256_add_ps(_mm256_add_ps(_mm256_mul_ps(dx, dx), _mm256_mul_ps(dy, dy)), _mm256_mul_ps(dz, dz));
        const __m256 near = _mm256_andnot_ps(_mm256_castsi256_ps(skipped), _mm256_cmp_ps(dd, _mm256_mul_ps(s, s), _CMP_LE_OQ));
        for(unsigned bits = unsigned(_mm256_movemask_ps(near)); bits; bits &= bits - 1)
            indices[found++] = std::uint16_t(i + unsigned(__builtin_ctz(bits)));
    }
    return found;
}

}}}
