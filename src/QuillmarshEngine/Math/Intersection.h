#ifndef QuillmarshEngine_Math_Intersection_h
#define QuillmarshEngine_Math_Intersection_h

/** @file
 * @brief Namespace @ref QuillmarshEngine::Math::Intersection
 */

#include "QuillmarshEngine/Math/DualQuaternion.h"
#include "QuillmarshEngine/Math/Range.h"
#include "QuillmarshEngine/visibility.h"

/**
 * @brief Ray and shape tests of simple colliders
 *
 * Boxes are given by half-extents (expected non-negative) around a centre; oriented boxes
 * either by a unit dual quaternion (rotation and translation, no scaling) or by a centre and
 * the rotation matrix whose columns are the box axes in world space. The dual-quaternion forms
 * compute `translation()` and `rotation().toMatrix()` and call the matrix forms, so both give
 * identical results. Each test returns true on contact; the ray tests write the entry distance
 * (and the normal overloads the entry face's normal) only on a hit. Plain single-precision code,
 * no allocation, thread-safe.
 */
namespace QuillmarshEngine { namespace Math { namespace Intersection {

/**
 * @brief Ray against an axis-aligned box, by the slab method
 * @param origin        Ray origin relative to the box centre
 * @param direction     Ray direction; distances are in multiples of its length
 * @param halfExtents   Half-extents of the box
 * @param[out] distance Entry distance, written only on a hit
 *
 * Per axis `t1 = (e - o)/d` and `t2 = (-e - o)/d`; a zero direction component gives infinities.
 * An axis where `t1` or `t2` is NaN (zero component, origin exactly on a slab plane) is left out
 * whole, so a ray lying in a face plane can hit. Hits when `tNear` (largest per-axis minimum) is
 * ≥ 0 and strictly below `tFar` (smallest per-axis maximum): a ray starting inside misses, and
 * a ray that only grazes an edge or a corner (`tNear == tFar`) misses too.
 */
QUILLMARSH_EXPORT bool lineAABB(const Vector3<float>& origin, const Vector3<float>& direction, const Vector3<float>& halfExtents, float& distance);

/**
 * @brief Ray against an axis-aligned box, with the normal of the entry face
 *
 * Same hits and distances as the overload without @p normal.
 * @p normal gets the outward unit normal of the face the ray enters through: the axis that gave
 * `tNear` (the first one when several tie, as on an edge), pointing against the direction.
 */
QUILLMARSH_EXPORT bool lineAABB(const Vector3<float>& origin, const Vector3<float>& direction, const Vector3<float>& halfExtents, float& distance, Vector3<float>& normal);

/**
 * @brief Ray against an oriented box
 *
 * Moves the ray into the box frame, `o' = Rᵀ(o - c)` and `d' = Rᵀd`, and runs
 * @ref lineAABB() there; a rotation keeps distances, so the distance is the world one.
 */
QUILLMARSH_EXPORT bool lineBox(const Vector3<float>& origin, const Vector3<float>& direction, const Vector3<float>& halfExtents, const Vector3<float>& boxCentre, const Matrix3x3<float>& boxRotation, float& distance);

/** @brief Ray against an oriented box given by a unit dual quaternion */
QUILLMARSH_EXPORT bool lineBox(const Vector3<float>& origin, const Vector3<float>& direction, const Vector3<float>& halfExtents, const DualQuaternion<float>& boxTransform, float& distance);

/**
 * @brief Ray against an oriented box, with the world normal of the entry face
 *
 * Same hits and distances as the overload without @p normal, which gets the box-frame normal of
 * @ref lineAABB() rotated into world space (a column of @p boxRotation or its negative).
 */
QUILLMARSH_EXPORT bool lineBox(const Vector3<float>& origin, const Vector3<float>& direction, const Vector3<float>& halfExtents, const Vector3<float>& boxCentre, const Matrix3x3<float>& boxRotation, float& distance, Vector3<float>& normal);

/**
 * @brief Whether two spheres overlap
 *
 * `|c1 - c2|² < (r1 + r2)²`: strict, spheres that only touch do not overlap.
 */
QUILLMARSH_EXPORT bool sphereSphere(const Vector3<float>& centreA, float radiusA, const Vector3<float>& centreB, float radiusB);

/**
 * @brief Whether a sphere touches or overlaps an axis-aligned box
 *
 * The squared distance from @p centre to the closest point of the box is compared with
 * `radius²`; touching counts (≤).
 */
QUILLMARSH_EXPORT bool sphereAABB(const Vector3<float>& centre, float radius, const Vector3<float>& boxCentre, const Vector3<float>& halfExtents);

/**
 * @brief Whether two axis-aligned boxes overlap
 *
 * On every axis `|c1 - c2| - (e1 + e2) < 0`: strict, boxes that only touch do not overlap.
 */
QUILLMARSH_EXPORT bool aabbAABB(const Vector3<float>& centreA, const Vector3<float>& halfExtentsA, const Vector3<float>& centreB, const Vector3<float>& halfExtentsB);

/**
 * @brief Whether a sphere touches or overlaps an oriented box
 *
 * The squared distance from @p centre to the closest point of the box is compared with
 * `radius²`; touching counts (≤).
 */
QUILLMARSH_EXPORT bool sphereBox(const Vector3<float>& centre, float radius, const Vector3<float>& boxCentre, const Matrix3x3<float>& boxRotation, const Vector3<float>& halfExtents);

/** @brief Sphere against an oriented box given by a unit dual quaternion */
QUILLMARSH_EXPORT bool sphereBox(const Vector3<float>& centre, float radius, const DualQuaternion<float>& boxTransform, const Vector3<float>& halfExtents);

/**
 * @brief Whether two oriented boxes intersect, by the separating-axis test
 *
 * Tests the three face axes of each box and the nine cross products of their axes, skipping
 * cross products whose squared length is below `1e-6` (nearly parallel edges, covered by the
 * face axes). Reports an overlap unless some axis shows a strictly positive gap between the
 * projections, measured from the centre of @p a, so touching boxes overlap. Symmetric:
 * exchanging the boxes gives the same answer.
 */
QUILLMARSH_EXPORT bool boxBox(const Vector3<float>& centreA, const Matrix3x3<float>& rotationA, const Vector3<float>& halfExtentsA, const Vector3<float>& centreB, const Matrix3x3<float>& rotationB, const Vector3<float>& halfExtentsB);

/** @brief Two oriented boxes given by unit dual quaternions */
QUILLMARSH_EXPORT bool boxBox(const DualQuaternion<float>& a, const Vector3<float>& halfExtentsA, const DualQuaternion<float>& b, const Vector3<float>& halfExtentsB);

/**
 * @brief Projection of an oriented box on an axis
 *
 * `{c·L - r, c·L + r}` with `r = Σ |e_k (R_k·L)|` over the box axes `R_k`. @p axis need not be
 * normalized; the interval is then scaled by its length.
 */
QUILLMARSH_EXPORT Range1D<float> interval(const Vector3<float>& centre, const Matrix3x3<float>& rotation, const Vector3<float>& halfExtents, const Vector3<float>& axis);

/** @brief Projection of an oriented box given by a unit dual quaternion */
QUILLMARSH_EXPORT Range1D<float> interval(const DualQuaternion<float>& box, const Vector3<float>& halfExtents, const Vector3<float>& axis);

}}}

#endif
