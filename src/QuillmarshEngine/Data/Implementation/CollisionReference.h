#ifndef QuillmarshEngine_Data_Implementation_CollisionReference_h
#define QuillmarshEngine_Data_Implementation_CollisionReference_h

/* Plain versions of the collision manager's queries: one loop over the colliders written
   straight from the contracts, reading the columns and the scene graph's world transformations
   directly, with no cache and no vector pass. The reference the tests and the benchmark
   compare CollisionManager::rayCast(), rayCastWithNormals() and queryOverlaps() with; the
   results agree exactly, bit for bit. */

#include <cstdint>
#include <vector>

#include "QuillmarshEngine/Data/CollisionManager.h"

namespace QuillmarshEngine { namespace Data { namespace Implementation {

/* CollisionManager::rayCast(), or rayCastWithNormals() when normals is true */
QUILLMARSH_EXPORT std::uint32_t rayCastReference(const CollisionManager& manager, const Vector3& origin, const Vector3& direction, std::uint8_t groupMask, float maxDistance, RayHit& hit, bool normals);

/* CollisionManager::queryOverlaps() */
QUILLMARSH_EXPORT std::vector<Id> queryOverlapsReference(const CollisionManager& manager, Id collision);

}}}

#endif
