#ifndef QuillmarshEngine_Data_ScalingPadded_h
#define QuillmarshEngine_Data_ScalingPadded_h

/** @file
 * @brief Struct @ref QuillmarshEngine::Data::ScalingPadded
 */

#include <type_traits>

#include "QuillmarshEngine/Math/DualQuaternion.h"
#include "QuillmarshEngine/Math/Vector3.h"

namespace QuillmarshEngine { namespace Data {

/**
 * @brief Per-instance scaling record of an instance column
 *
 * Three floats of scaling, one float value lane and 16 bytes of padding: 32 bytes, the stride of
 * a @ref DualQuaternion instance transform, so that a renderer can upload both columns with the
 * same stride and address instance i at the same offset in either. Default-constructed it is a
 * unit scaling with a zero value.
 */
struct ScalingPadded {
    Vector3 scaling{1.0f, 1.0f, 1.0f}; /**< Scaling along x, y and z */
    float value{};                     /**< Value lane, for example a material index as a float */
    float padding[4]{};                /**< Keeps the 32-byte stride; always zero */
};

static_assert(sizeof(ScalingPadded) == 32 && sizeof(ScalingPadded) == sizeof(DualQuaternion),
    "Data::ScalingPadded must keep the stride of an instance transform");
static_assert(std::is_trivially_copyable_v<ScalingPadded> && std::is_standard_layout_v<ScalingPadded>,
    "Data::ScalingPadded is uploaded as bytes");

}}

#endif
