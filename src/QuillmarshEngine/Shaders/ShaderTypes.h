#ifndef QuillmarshEngine_Shaders_ShaderTypes_h
#define QuillmarshEngine_Shaders_ShaderTypes_h

/** @file
 * @brief Enums @ref QuillmarshEngine::Shaders::ShaderStage, @ref QuillmarshEngine::Shaders::ShaderType, @ref QuillmarshEngine::Shaders::ShaderProgramFlag, struct @ref QuillmarshEngine::Shaders::AlphaMaterial
 *
 * The small shader descriptions stored in shader and material records. Values are stored in
 * files and never renumbered; 0 is reserved as invalid.
 */

#include <cstdint>

#include "QuillmarshEngine/EnumSet.h"

namespace QuillmarshEngine { namespace Shaders {

/** @brief Pipeline stage a shader source is compiled for (8 bits in the shader record) */
enum class ShaderStage: std::uint8_t {
    Vertex = 1,
    Fragment = 2,
    Compute = 3,
    Geometry = 4,
    TessellationControl = 5,
    TessellationEvaluation = 6
};

/** @brief Language of a shader source (8 bits in the shader record) */
enum class ShaderType: std::uint8_t {
    Glsl = 1,       /**< Desktop GLSL text */
    GlslEs = 2,     /**< GLSL ES text */
    SpirV = 3       /**< SPIR-V binary */
};

/** @brief Feature a shader program was built with (16 bits in the shader record) */
enum class ShaderProgramFlag: std::uint16_t {
    Skinning = 1 << 0,
    Morphing = 1 << 1,
    Instancing = 1 << 2,
    VertexColors = 1 << 3,
    Textured = 1 << 4,
    Lit = 1 << 5,
    Shadows = 1 << 6,
    AlphaMask = 1 << 7,
    Text = 1 << 8,
    Multiview = 1 << 9
};

/** @brief Set of @ref ShaderProgramFlag */
typedef EnumSet<ShaderProgramFlag> ShaderProgramFlags;
QUILLMARSH_ENUMSET_OPERATORS(ShaderProgramFlags)

/** @brief How a material's alpha is used */
enum class AlphaMode: std::uint32_t {
    Opaque = 0,
    Mask = 1,
    Blend = 2
};

/**
 * @brief Alpha description of a material record, 16 bytes
 */
struct AlphaMaterial {
    AlphaMode mode;             /**< Alpha mode */
    float maskThreshold;        /**< Alpha below which fragments are discarded, for @ref AlphaMode::Mask */
    float opacity;              /**< Opacity multiplier */
    std::uint32_t flags;        /**< Reserved for alpha-related switches, 0 */
};

static_assert(sizeof(AlphaMaterial) == 16, "the alpha material is 16 bytes in material records");

QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, ShaderStage value);
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, ShaderType value);
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, ShaderProgramFlag value);
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, ShaderProgramFlags value);
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, AlphaMode value);

}}

#endif
