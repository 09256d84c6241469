#include "ColliderSweep.h"

#include <cmath>

#if defined(__x86_64__)
#include <emmintrin.h>
#endif

namespace QuillmarshEngine { namespace Data { namespace Implementation {

std::uint32_t rayCandidatesReference(const ColliderColumns& columns, const float* const origin, const float* const direction, const std::uint32_t groupMask, const float maxDistance, std::uint16_t* const indices, float* const distances) {
    std::uint32_t found = 0;
    for(std::uint32_t i = 0; i != columns.count; ++i) {
        const std::uint32_t tag = columns.tags[i];
        if(!(tag & groupMask)) continue;
        const float vx = origin[0] - columns.centreX[i];
        const float vy = origin[1] - columns.centreY[i];
        const float vz = origin[2] - columns.centreZ[i];
        const float b = direction[0]*vx + direction[1]*vy + direction[2]*vz;
        const float vv = vx*vx + vy*vy + vz*vz;
        const float q = b*b - (vv - columns.boundSquared[i]);
        const float t = -b - std::sqrt(q);
        const bool ahead = q >= 0.0f && t >= 0.0f;
        const bool candidate = tag & ColliderTagBox ?
            !std::isnan(q) && (ahead || columns.boundSquared[i] >= vv) :
            ahead && t <= maxDistance;
        if(!candidate) continue;
        indices[found] = std::uint16_t(i);
        distances[found] = t;
        ++found;
    }
    return found;
}

std::uint32_t overlapCandidatesReference(const ColliderColumns& columns, const float* const centre, const float reach, const std::uint32_t groupMask, std::uint16_t* const indices) {
    std::uint32_t found = 0;
    for(std::uint32_t i = 0; i != columns.count; ++i) {
        if(!(columns.tags[i] & groupMask)) continue;
        const float dx = columns.centreX[i] - centre[0];
        const float dy = columns.centreY[i] - centre[1];
        const float dz = columns.centreZ[i] - centre[2];
        const float s = columns.reach[i] + reach;
        if(dx*dx + dy*dy + dz*dz <= s*s) indices[found++] = std::uint16_t(i);
    }
    return found;
}

#if defined(__x86_64__)
std::uint32_t rayCandidatesSse2(const ColliderColumns& columns, const float* const origin, const float* const direction, const std::uint32_t groupMask, const float maxDistance, std::uint16_t* const indices, float* const distances) {
    const __m128 ox = _mm_set1_ps(origin[0]), oy = _mm_set1_ps(origin[1]), oz = _mm_set1_ps(origin[2]);
    const __m128 dx = _mm_set1_ps(direction[0]), dy = _mm_set1_ps(direction[1]), dz = _mm_set1_ps(direction[2]);
    const __m128 limit = _mm_set1_ps(maxDistance);
    const __m128 zero = _mm_setzero_ps();
    const __m128 sign = _mm_set1_ps(-0.0f);
    const __m128i mask = _mm_set1_epi32(int(groupMask));
    const __m128i boxBit = _mm_set1_epi32(int(ColliderTagBox));
    const __m128i zeroInt = _mm_setzero_si128();
    std::uint32_t found = 0;
    for(std::uint32_t i = 0; i < columns.count; i += 4) {
        const __m128i tags = _mm_loadu_si128(reinterpret_cast<const __m128i*>(columns.tags + i));
        const __m128i skipped = _mm_cmpeq_epi32(_mm_and_si128(tags, mask), zeroInt);
        /* All four out of the groups: nothing to compute. Common with selective masks */
        if(_mm_movemask_epi8(skipped) == 0xffff) continue;
        const __m128 vx = _mm_sub_ps(ox, _mm_loadu_ps(columns.centreX + i));
        const __m128 vy = _mm_sub_ps(oy, _mm_loadu_ps(columns.centreY + i));
        const __m128 vz = _mm_sub_ps(oz, _mm_loadu_ps(columns.centreZ + i));
        const __m128 bound = _mm_loadu_ps(columns.boundSquared + i);
        const __m128 b = _mm_add_ps(_mm_add_ps(_mm_mul_ps(dx, vx), _mm_mul_ps(dy, vy)), _mm_mul_ps(dz, vz));
        const __m128 vv = _mm_add_ps(_mm_add_ps(_mm_mul_ps(vx, vx), _mm_mul_ps(vy, vy)), _mm_mul_ps(vz, vz));
        const __m128 q = _mm_sub_ps(_mm_mul_ps(b, b), _mm_sub_ps(vv, bound));
        const __m128 t = _mm_sub_ps(_mm_xor_ps(b, sign), _mm_sqrt_ps(q));
        const __m128 ahead = _mm_and_ps(_mm_cmpge_ps(q, zero), _mm_cmpge_ps(t, zero));
        const __m128 sphere = _mm_and_ps(ahead, _mm_cmple_ps(t, limit));
        const __m128 box = _mm_and_ps(_mm_cmpord_ps(q, q), _mm_or_ps(ahead, _mm_cmpge_ps(bound, vv)));
        const __m128 isBox = _mm_castsi128_ps(_mm_cmpeq_epi32(_mm_and_si128(tags, boxBit), boxBit));
        const __m128 candidate = _mm_andnot_ps(_mm_castsi128_ps(skipped),
            _mm_or_ps(_mm_and_ps(isBox, box), _mm_andnot_ps(isBox, sphere)));
        unsigned bits = unsigned(_mm_movemask_ps(candidate));
        if(!bits) continue;
        alignas(16) float ts[4];
        _mm_store_ps(ts, t);
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

std::uint32_t overlapCandidatesSse2(const ColliderColumns& columns, const float* const centre, const float reach, const std::uint32_t groupMask, std::uint16_t* const indices) {
    const __m128 qx = _mm_set1_ps(centre[0]), qy = _mm_set1_ps(centre[1]), qz = _mm_set1_ps(centre[2]);
    const __m128 queryReach = _mm_set1_ps(reach);
    const __m128i mask = _mm_set1_epi32(int(groupMask));
    const __m128i zeroInt = _mm_setzero_si128();
    std::uint32_t found = 0;
    for(std::uint32_t i = 0; i < columns.count; i += 4) {
        const __m128i tags = _mm_loadu_si128(reinterpret_cast<const __m128i*>(columns.tags + i));
        const __m128i skipped = _mm_cmpeq_epi32(_mm_and_si128(tags, mask), zeroInt);
        if(_mm_movemask_epi8(skipped) == 0xffff) continue;
        const __m128 dx = _mm_sub_ps(_mm_loadu_ps(columns.centreX + i), qx);
        const __m128 dy = _mm_sub_ps(_mm_loadu_ps(columns.centreY + i), qy);
        const __m128 dz = _mm_sub_ps(_mm_loadu_ps(columns.centreZ + i), qz);
        const __m128 s = _mm_add_ps(_mm_loadu_ps(columns.reach + i), queryReach);
        const __m128 dd = _mm_add_ps(_mm_add_ps(_mm_mul_ps(dx, dx), _mm_mul_ps(dy, dy)), _mm_mul_ps(dz, dz));
        const __m128 near = _mm_andnot_ps(_mm_castsi128_ps(skipped), _mm_cmple_ps(dd, _mm_mul_ps(s, s)));
        for(unsigned bits = unsigned(_mm_movemask_ps(near)); bits; bits &= bits - 1)
            indices[found++] = std::uint16_t(i + unsigned(__builtin_ctz(bits)));
    }
    return found;
}

bool colliderSweepAvx2Supported() {
    /* Checks the operating system's support for the AVX register state as well */
    return __builtin_cpu_supports("avx2");
}
#endif

namespace {

typedef std::uint32_t(*RayPass)(const ColliderColumns&, const float*, const float*, std::uint32_t, float, std::uint16_t*, float*);
typedef std::uint32_t(*OverlapPass)(const ColliderColumns&, const float*, float, std::uint32_t, std::uint16_t*);

struct Passes {
    RayPass ray;
    OverlapPass overlap;
};

Passes best() {
    #if defined(__x86_64__)
    /* The library is built for the x86-64 baseline and runs wider code only where the
       processor has it */
    if(colliderSweepAvx2Supported()) return {rayCandidatesAvx2, overlapCandidatesAvx2};
    return {rayCandidatesSse2, overlapCandidatesSse2};
    #else
    return {rayCandidatesReference, overlapCandidatesReference};
    #endif
}

Passes& passes() {
    static Passes chosen = best();
    return chosen;
}

}

void setColliderSweepVariant(const ColliderSweepVariant variant) {
    Passes& chosen = passes();
    chosen = best();
    if(variant == ColliderSweepVariant::Reference) chosen = {rayCandidatesReference, overlapCandidatesReference};
    #if defined(__x86_64__)
    else if(variant == ColliderSweepVariant::Sse2) chosen = {rayCandidatesSse2, overlapCandidatesSse2};
    else if(variant == ColliderSweepVariant::Avx2 && colliderSweepAvx2Supported()) chosen = {rayCandidatesAvx2, overlapCandidatesAvx2};
    #endif
}

std::uint32_t rayCandidates(const ColliderColumns& columns, const float* const origin, const float* const direction, const std::uint32_t groupMask, const float maxDistance, std::uint16_t* const indices, float* const distances) {
    return passes().ray(columns, origin, direction, groupMask, maxDistance, indices, distances);
}

std::uint32_t overlapCandidates(const ColliderColumns& columns, const float* const centre, const float reach, const std::uint32_t groupMask, std::uint16_t* const indices) {
    return passes().overlap(columns, centre, reach, groupMask, indices);
}

}}}
