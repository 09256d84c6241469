#ifndef QuillmarshEngine_Data_Implementation_ColliderSweep_h
#define QuillmarshEngine_Data_Implementation_ColliderSweep_h

/* Brute-force passes of the collision manager over its colliders. Internal: the manager, its
   tests and its benchmark call them; hosts use CollisionManager::rayCast() and
   CollisionManager::queryOverlaps(). */

#include <cstdint>

#include "QuillmarshEngine/visibility.h"

namespace QuillmarshEngine { namespace Data { namespace Implementation {

/* The passes handle this many colliders at a time; the columns are padded to a multiple */
constexpr std::uint32_t ColliderLanes = 8;

/* Bits of a collider's tag: its groups in the low byte (0 for a type the queries ignore, so
   no mask matches it), and this bit for the box types, which the ray pass only pre-tests */
constexpr std::uint32_t ColliderTagBox = 0x100;

/*
 * World-space collider data in structure-of-arrays form, as the collision manager derives it
 * from the world transformations. Every array holds count rounded up to a multiple of
 * ColliderLanes entries; the entries past count have tag 0 and finite values.
 */
struct ColliderColumns {
    const float* centreX;
    const float* centreY;
    const float* centreZ;
    /* r*r of a sphere; R*R with R = |half-extents| of a box, the bounding sphere of the ray
       pre-test */
    const float* boundSquared;
    /* Bounding radius plus a margin that covers the rounding of the exact overlap tests, see
       overlapCandidates() */
    const float* reach;
    const std::uint32_t* tags;
    std::uint32_t count;
};

/*
 * Ray pass. For every collider i < count, in index order, whose tag shares a bit with
 * groupMask, with o = origin, d = direction, v = o - c, b = (dx*vx + dy*vy) + dz*vz,
 * vv = (vx*vx + vy*vy) + vz*vz, q = b*b - (vv - boundSquared) and t = -b - sqrt(q):
 * - a sphere is written when q >= 0, t >= 0 and t <= maxDistance (a complete hit at t);
 * - a box is written when q is not NaN and either q >= 0 and t >= 0 (the ray enters the
 *   bounding sphere ahead) or boundSquared >= vv (the origin is inside it), leaving the exact
 *   test to the caller.
 * Writes the index and t of each, returns how many. Every variant computes exactly these
 * single-precision operations, so all give bit-identical results.
 */
QUILLMARSH_EXPORT std::uint32_t rayCandidates(const ColliderColumns& columns, const float* origin, const float* direction, std::uint32_t groupMask, float maxDistance, std::uint16_t* indices, float* distances);

/* Plain scalar version of rayCandidates(), the reference the tests compare with */
QUILLMARSH_EXPORT std::uint32_t rayCandidatesReference(const ColliderColumns& columns, const float* origin, const float* direction, std::uint32_t groupMask, float maxDistance, std::uint16_t* indices, float* distances);

/*
 * Overlap pass. Writes, in index order, every collider i < count whose tag shares a bit with
 * groupMask and whose centre is within reach[i] + reach of centre:
 * (dx*dx + dy*dy) + dz*dz <= s*s with d = c[i] - centre and s = reach[i] + reach. The query
 * collider itself is among them when it matches. Returns how many.
 *
 * Conservative for the exact tests of every pair of types: each of them only reports an
 * overlap when the centres are mathematically within the sum of the bounding radii, and the
 * reach exceeds the bounding radius by 2^-16 of the radius plus the largest centre coordinate,
 * far more than the rounding of those tests.
 */
QUILLMARSH_EXPORT std::uint32_t overlapCandidates(const ColliderColumns& columns, const float* centre, float reach, std::uint32_t groupMask, std::uint16_t* indices);

/* Plain scalar version of overlapCandidates() */
QUILLMARSH_EXPORT std::uint32_t overlapCandidatesReference(const ColliderColumns& columns, const float* centre, float reach, std::uint32_t groupMask, std::uint16_t* indices);

/* Which variant rayCandidates() and overlapCandidates() run */
enum class ColliderSweepVariant: std::uint8_t {
    Best,       /* the widest the processor has, the default */
    Reference,  /* the plain scalar loops */
    Sse2,       /* x86-64 only */
    Avx2        /* x86-64 only, where colliderSweepAvx2Supported() */
};

/* Make the passes run another variant, for tests and benchmarks; process-wide, so not while
   another thread queries. A variant the processor lacks falls back to Best. */
QUILLMARSH_EXPORT void setColliderSweepVariant(ColliderSweepVariant variant);

#if defined(__x86_64__)
/* The variants the passes choose from, exposed so that tests and benchmarks run every one the
   processor has: SSE2, the x86-64 baseline, and AVX2, which expects colliderSweepAvx2Supported()
   to be true. Best is chosen once at run time. */
QUILLMARSH_EXPORT std::uint32_t rayCandidatesSse2(const ColliderColumns& columns, const float* origin, const float* direction, std::uint32_t groupMask, float maxDistance, std::uint16_t* indices, float* distances);
QUILLMARSH_EXPORT std::uint32_t rayCandidatesAvx2(const ColliderColumns& columns, const float* origin, const float* direction, std::uint32_t groupMask, float maxDistance, std::uint16_t* indices, float* distances);
QUILLMARSH_EXPORT std::uint32_t overlapCandidatesSse2(const ColliderColumns& columns, const float* centre, float reach, std::uint32_t groupMask, std::uint16_t* indices);
QUILLMARSH_EXPORT std::uint32_t overlapCandidatesAvx2(const ColliderColumns& columns, const float* centre, float reach, std::uint32_t groupMask, std::uint16_t* indices);
QUILLMARSH_EXPORT bool colliderSweepAvx2Supported();
#endif

}}}

#endif
