#ifndef QuillmarshEngine_Trade_MeshPrimitive_h
#define QuillmarshEngine_Trade_MeshPrimitive_h

/** @file
 * @brief Enum @ref QuillmarshEngine::Trade::MeshPrimitive
 */

#include <cstdint>

#include "QuillmarshEngine/visibility.h"

namespace QuillmarshEngine {

class Debug;

namespace Trade {

/**
 * @brief Mesh primitive type
 *
 * The numeric values never change; 0 is invalid. Bit 31 marks an implementation-specific value.
 */
enum class MeshPrimitive: std::uint32_t {
    Points = 1,
    Lines = 2,
    LineLoop = 3,
    LineStrip = 4,
    Triangles = 5,
    TriangleStrip = 6,
    TriangleFan = 7,
    Instances = 8,  /**< Per-instance data */
    Faces = 9,      /**< Per-face data */
    Edges = 10,     /**< Per-edge data */
    Meshlets = 11   /**< Per-meshlet data */
};

/** @brief Prints `MeshPrimitive::Triangles`, `MeshPrimitive::ImplementationSpecific(0x..)` or `MeshPrimitive(0x..)` */
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, MeshPrimitive value);

}}

#endif
