#ifndef QuillmarshEngine_Data_Implementation_TransformSweep_h
#define QuillmarshEngine_Data_Implementation_TransformSweep_h

/* World-transformation kernels of the scene graph. Internal: the scene graph, its tests and its
   benchmark call them; hosts use SceneGraph::computeAbsoluteTransformations(). */

#include <cstdint>

#include "QuillmarshEngine/Data/ObjectData.h"
#include "QuillmarshEngine/Math/Types.h"
#include "QuillmarshEngine/visibility.h"

namespace QuillmarshEngine { namespace Data { namespace Implementation {

/*
 * Scaled dual-quaternion composition. If parentScaling is (1, 1, 1) under fuzzy comparison,
 * out = parent × child and outScaling = childScaling. Otherwise the child's translation is scaled
 * component-wise by parentScaling before the product and outScaling = parentScaling × childScaling.
 * Scaling never enters the rotation. out may alias neither input.
 */
QUILLMARSH_EXPORT void concatenate(const DualQuaternion& parent, const Vector3& parentScaling, const DualQuaternion& child, const Vector3& childScaling, DualQuaternion& out, Vector3& outScaling);

/* The same composition without the unit-scaling shortcut; the results agree */
QUILLMARSH_EXPORT void concatenateScaled(const DualQuaternion& parent, const Vector3& parentScaling, const DualQuaternion& child, const Vector3& childScaling, DualQuaternion& out, Vector3& outScaling);

/*
 * For every set bit i < objectCount of dirtyWords, in index order: if objects[i].parent is 0,
 * world[i] = local[i] and worldScaling[i] = localScaling[i]; otherwise
 * concatenate(world[parent], worldScaling[parent], local[i], localScaling[i]). Parents precede
 * their children, so one forward pass suffices. Clears the words covering [0, objectCount)
 * afterwards; clean words are skipped whole. Vectorized: SSE2 on x86-64, AVX2 with FMA where the
 * processor has them (chosen once at run time), the reference elsewhere.
 */
QUILLMARSH_EXPORT void sweepTransforms(std::uint32_t* dirtyWords, std::uint32_t objectCount, const ObjectData* objects, const DualQuaternion* local, const Vector3* localScaling, DualQuaternion* world, Vector3* worldScaling);

/* Plain scalar version of sweepTransforms(), the reference the tests compare against */
QUILLMARSH_EXPORT void sweepTransformsReference(std::uint32_t* dirtyWords, std::uint32_t objectCount, const ObjectData* objects, const DualQuaternion* local, const Vector3* localScaling, DualQuaternion* world, Vector3* worldScaling);

#if defined(__x86_64__)
/* The variants sweepTransforms() chooses from, exposed so that tests run every one the processor
   has: SSE2, the x86-64 baseline, and AVX2 with FMA, which expects sweepTransformsAvx2Supported()
   (processor and operating system) to be true. They agree with the reference to a relative 1e-5. */
void sweepTransformsSse2(std::uint32_t* dirtyWords, std::uint32_t objectCount, const ObjectData* objects, const DualQuaternion* local, const Vector3* localScaling, DualQuaternion* world, Vector3* worldScaling);
void sweepTransformsAvx2(std::uint32_t* dirtyWords, std::uint32_t objectCount, const ObjectData* objects, const DualQuaternion* local, const Vector3* localScaling, DualQuaternion* world, Vector3* worldScaling);
bool sweepTransformsAvx2Supported();
#endif

}}}

#endif
