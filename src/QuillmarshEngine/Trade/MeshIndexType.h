#ifndef QuillmarshEngine_Trade_MeshIndexType_h
#define QuillmarshEngine_Trade_MeshIndexType_h

/** @file
 * @brief Enum @ref QuillmarshEngine::Trade::MeshIndexType
 */

#include <cstdint>

#include "QuillmarshEngine/visibility.h"

namespace QuillmarshEngine {

class Debug;

namespace Trade {

/**
 * @brief Type of mesh indices
 *
 * The numeric values are stored in asset files and never change; 0 is invalid.
 */
enum class MeshIndexType: std::uint32_t {
    UnsignedByte = 1,   /**< 8-bit indices */
    UnsignedShort = 2,  /**< 16-bit indices */
    UnsignedInt = 3     /**< 32-bit indices */
};

/** @brief Size of one index in bytes; expects a valid type */
QUILLMARSH_EXPORT std::uint32_t meshIndexTypeSize(MeshIndexType type);

/** @brief Prints `MeshIndexType::UnsignedShort` or `MeshIndexType(0x..)` */
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, MeshIndexType value);

}}

#endif
