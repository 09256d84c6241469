#ifndef QuillmarshEngine_Trade_MeshAttribute_h
#define QuillmarshEngine_Trade_MeshAttribute_h

/** @file
 * @brief Enum @ref QuillmarshEngine::Trade::MeshAttribute
 */

#include <cstdint>

#include "QuillmarshEngine/visibility.h"

namespace QuillmarshEngine {

class Debug;

namespace Trade {

/**
 * @brief Name of a mesh attribute
 *
 * The numeric values are stored in asset files and never change; 0 is invalid. Values from 32768
 * up are custom attributes, see @ref meshAttributeCustom().
 */
enum class MeshAttribute: std::uint16_t {
    Position = 1,           /**< Vector2 or Vector3 formats */
    Tangent = 2,            /**< Three or four components, the fourth the bitangent sign */
    Bitangent = 3,          /**< Three components */
    Normal = 4,             /**< Three components */
    TextureCoordinates = 5, /**< Two components */
    Color = 6,              /**< Three or four components */
    JointIds = 7,           /**< Array of joint indices */
    Weights = 8,            /**< Array of joint weights, paired with @ref JointIds */
    ObjectId = 9            /**< Scalar integer */
};

/** @brief First value of the custom attribute range */
constexpr std::uint16_t MeshAttributeCustomBegin = 32768;

/** @brief Whether @p name is a custom attribute */
constexpr bool isMeshAttributeCustom(MeshAttribute name) {
    return std::uint16_t(name) >= MeshAttributeCustomBegin;
}

/** @brief Custom attribute number @p id; expects @p id below 32768 */
QUILLMARSH_EXPORT MeshAttribute meshAttributeCustom(std::uint16_t id);

/** @brief Number of a custom attribute; expects @ref isMeshAttributeCustom() */
QUILLMARSH_EXPORT std::uint16_t meshAttributeCustom(MeshAttribute name);

/** @brief Whether @p name is one of the named built-in attributes */
constexpr bool isMeshAttributeBuiltin(MeshAttribute name) {
    return std::uint16_t(name) >= 1 && std::uint16_t(name) <= 9;
}

/** @brief Prints `Trade::MeshAttribute::Position`, `Trade::MeshAttribute::Custom(5)` or `Trade::MeshAttribute(0x..)` */
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, MeshAttribute value);

}}

#endif
