#ifndef QuillmarshEngine_Data_PipelineData_h
#define QuillmarshEngine_Data_PipelineData_h

/** @file
 * @brief Structs @ref QuillmarshEngine::Data::Pipeline, @ref QuillmarshEngine::Data::Draw and the builders of the pipeline, draw and material records
 *
 * The render-state records of the asset format: what a pipeline binds, what one draw of the
 * renderer names, and a material's parameters.
 */

#include <array>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "QuillmarshEngine/Data/AssetData.h"
#include "QuillmarshEngine/Shaders/ShaderTypes.h"
#include "QuillmarshEngine/StringArray.h"

namespace QuillmarshEngine { namespace Data {

/**
 * @brief Render state of a pipeline, seventeen 32-bit words in the pipeline record
 */
struct Pipeline {
    std::uint32_t vertexShader;         /**< Index of the vertex shader record */
    std::uint32_t fragmentShader;       /**< Index of the fragment shader record */
    std::uint32_t flags;                /**< Pipeline switches of the renderer */
    std::uint32_t blendSourceRgb;
    std::uint32_t blendDestinationRgb;
    std::uint32_t blendSourceAlpha;
    std::uint32_t blendDestinationAlpha;
    std::uint32_t blendEquationRgb;
    std::uint32_t blendEquationAlpha;
    std::uint32_t depthFunction;
    std::uint32_t depthWrite;           /**< 0 or 1 */
    std::uint32_t cullFace;
    std::uint32_t frontFace;
    float polygonOffsetFactor;
    float polygonOffsetUnits;
    std::uint32_t viewMask;             /**< Views the pipeline renders to */
    std::uint32_t materialDefinition;   /**< Index of the material parameter layout */
};

static_assert(sizeof(Pipeline) == 68, "a pipeline is seventeen 32-bit words");

/**
 * @brief One draw of the renderer, stored as it is in a @ref Magic::Draw record (88 bytes)
 */
struct Draw {
    static constexpr Magic AssetMagic = Magic::Draw;

    std::uint32_t mesh;                 /**< Mesh index */
    std::uint32_t material;             /**< Material index */
    std::uint32_t pipeline;             /**< Pipeline index */
    std::uint16_t object;               /**< Object id */
    std::uint16_t skin;                 /**< Skin index, 0 for none */
    std::uint32_t flags;                /**< Draw switches of the renderer */
    std::uint32_t instanceCount;        /**< Instances drawn */
    std::array<float, 4> boundingSphere; /**< Center x, y, z and radius, in object space */
    std::array<float, 8> transformation; /**< Dual quaternion, real x, y, z, w then dual x, y, z, w */
    std::uint32_t layer;                /**< Render layer */
    std::array<float, 3> scaling;       /**< Object scaling */
};

static_assert(sizeof(Draw) == 88, "a draw is 88 bytes");

/**
 * @brief Build a pipeline record
 *
 * @p first and @p second are the caller's two integers; @p features are stored as their string
 * array bytes. Expects a name of at most 63 characters.
 */
QUILLMARSH_EXPORT std::vector<char> createPipelineData(std::string_view name, const Pipeline& pipeline, std::int32_t first, const StringArrayView& features, std::int32_t second);

/** @brief Build a draw record: @p draw as it is */
QUILLMARSH_EXPORT std::vector<char> createDrawData(const Draw& draw);

/** @brief Build a material record: pipeline index, @p alphaMaterial, then the parameter bytes */
QUILLMARSH_EXPORT std::vector<char> createMaterialData(std::int32_t pipeline, const Shaders::AlphaMaterial& alphaMaterial, std::span<const char> material);

}}

#endif
