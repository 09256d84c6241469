#ifndef QuillmarshEngine_Data_SkinData_h
#define QuillmarshEngine_Data_SkinData_h

/** @file
 * @brief Function @ref QuillmarshEngine::Data::createSkinData()
 */

#include <span>
#include <vector>

#include "QuillmarshEngine/Data/Id.h"
#include "QuillmarshEngine/Math/Types.h"
#include "QuillmarshEngine/visibility.h"

namespace QuillmarshEngine { namespace Data {

/**
 * @brief Build a skin record
 *
 * Joint count, then the joint transforms (8 floats each: real x, y, z, w, dual x, y, z, w), the
 * scalings (3 floats each) and the joint object ids (16 bits each). Expects three lists of the same
 * length.
 */
QUILLMARSH_EXPORT std::vector<char> createSkinData(std::span<const DualQuaternion> transforms, std::span<const Vector3> scalings, std::span<const Id> joints);

}}

#endif
