#ifndef QuillmarshEngine_Tools_SceneImporter_h
#define QuillmarshEngine_Tools_SceneImporter_h

/** @file
 * @brief Function @ref QuillmarshEngine::Tools::importScene(), struct
 *      @ref QuillmarshEngine::Tools::SceneImportSummary, enum @ref QuillmarshEngine::Tools::SceneImportFlag
 *
 * The importer is built on assimp and lives in its own library, `QuillmarshEngineSceneImporter`,
 * so that the engine library itself does not depend on assimp; this header includes nothing of
 * assimp.
 */

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "QuillmarshEngine/EnumSet.h"
#include "QuillmarshEngine/Function.h"
#include "QuillmarshEngine/Utils/Result.h"

namespace QuillmarshEngine { namespace Tools {

/** @brief What @ref importScene() does beyond the plain conversion */
enum class SceneImportFlag: std::uint32_t {
    /**
     * Store normals, tangents, colours and skin weights in their quantized formats, and keep
     * only the precision a renderer needs, so that compression finds zero bytes: positions are
     * rounded to a multiple of 2^(e − 14) and texture coordinates of 2^(e − 12), where 2^e is
     * the smallest power of two above the mesh's largest coordinate magnitude (an error of at
     * most 2^(e − 15) resp. 2^(e − 13)), normals, tangent directions and colours to 8 bits
     * within their 16-bit storage (an error of at most 128/32767 resp. 128/65535)
     */
    Quantize = 1 << 0,
    /** Compress vertices and indices with meshoptimizer's codecs */
    Compress = 1 << 1
};

/** @brief Set of @ref SceneImportFlag */
typedef EnumSet<SceneImportFlag> SceneImportFlags;
QUILLMARSH_ENUMSET_OPERATORS(SceneImportFlags)

/** @brief Prints `SceneImportFlag::Quantize` or `SceneImportFlag(0x..)` */
Debug& operator<<(Debug& debug, SceneImportFlag value);
/** @brief Prints `SceneImportFlag::Quantize|SceneImportFlag::Compress` or `SceneImportFlags{}` */
Debug& operator<<(Debug& debug, SceneImportFlags value);

/** @brief Counts of what @ref importScene() wrote */
struct SceneImportSummary {
    std::uint32_t objects{};        /**< Scene-graph objects, the root excluded */
    std::uint32_t meshes{};         /**< Mesh records */
    std::uint64_t vertices{};       /**< Vertices over all mesh records */
    std::uint64_t indices{};        /**< Indices over all mesh records */
    std::uint32_t materials{};      /**< Material records */
    std::uint32_t textures{};       /**< Texture records */
    std::uint32_t images{};         /**< Image records */
    std::uint32_t views{};          /**< View components (cameras) */
    std::uint32_t lights{};         /**< Light components */
    std::uint32_t skins{};          /**< Skin records */
    std::uint32_t animations{};     /**< Animation records */
    std::uint32_t warnings{};       /**< "[SceneLoader]" warnings printed */
    std::uint64_t meshBytesBefore{};/**< Vertex and index bytes of the meshes as imported, 32-bit floats and indices */
    std::uint64_t meshBytesAfter{}; /**< Bytes of the mesh records written */
    std::uint64_t bytesAfter{};     /**< Bytes of the whole data file */
};

/** @brief Called with (steps done, all steps) while importing: one step per mesh, material (with its textures) and animation */
typedef Function<void(std::size_t, std::size_t)> SceneImportProgress;

/**
 * @brief Import a model file into one data file
 *
 * Reads anything assimp reads (glTF 2.0 and GLB, OBJ, FBX, COLLADA, ...), triangulated, and
 * writes a complete data file (@ref Data::appendHeaderData() first,
 * @ref Data::updateHeaderData() at the end) holding, in this order:
 *
 * - a @ref Data::Magic::Mesh record per triangle mesh, in the model's mesh order, with
 *   positions, normals (generated when missing), tangents (generated when missing and texture
 *   coordinates exist), up to two texture coordinate sets, a colour and up to four joints per
 *   vertex for skinned meshes; reordered for the vertex cache and vertex fetch before packing,
 *   with 32-bit indices;
 * - image tiles and a @ref Data::Magic::Image record per texture file used, with its mip
 *   levels; a @ref Data::Magic::Texture record per image (repeat wrapping, linear filtering);
 * - a @ref Data::Magic::Material record per material: pipeline 0, the alpha mode, then the
 *   parameter block described below;
 * - a @ref Data::Magic::Skin record per skinned mesh: the inverse bind transformation and
 *   scaling of every joint and the joints' object ids;
 * - a @ref Data::Magic::Animation and a @ref Data::Magic::AnimationTargets record per
 *   animation, with a track per animated node;
 * - the @ref Data::Magic::Scene record: one object per node (below the scene root, in the
 *   model's hierarchy, local transformations decomposed with their scaling), a "name" manager
 *   with the node names, a "mesh" manager with one active component per mesh of a node (mesh
 *   and material index; skinned meshes in subgroup 1 with their skin index + 1), a "view"
 *   manager for cameras, a "light" manager for lights and an "animation" manager with one
 *   component per animation on the first object, the first one playing.
 *
 * Cameras and lights whose position or direction within their node differ from the engine's
 * conventions (a camera looks down -Z with +Y up, a light shines along +Y) get a child object
 * carrying the difference. What cannot be represented (points and lines, morph targets,
 * more than four joint weights per vertex, ambient and area lights, shear in a transformation,
 * textures that cannot be read, morph and mesh animations) is reported with a warning starting
 * with "[SceneLoader]" that names the node, mesh, material or animation, and is left out or
 * approximated as the warning says; nothing is dropped silently.
 *
 * The material parameter block, 64 bytes, little-endian: base colour factor (4 × f32), emissive
 * factor (3 × f32), metallic factor (f32), roughness factor (f32), alpha cutoff (f32), then the
 * texture indices of base colour, normal, metallic-roughness, occlusion and emissive (5 × i32,
 * -1 for none), and one reserved i32.
 *
 * Returns the data file, or an error naming the file when assimp cannot read it or it holds no
 * scene. Fills @p summary when given.
 */
Utils::Result<std::vector<char>> importScene(const std::string& path, SceneImportFlags flags, SceneImportSummary* summary = nullptr, SceneImportProgress progress = {});

/** @brief Bytes of the material parameter block @ref importScene() writes */
constexpr std::size_t SceneMaterialParametersSize = 64;

}}

#endif
