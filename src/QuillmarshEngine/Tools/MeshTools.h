#ifndef QuillmarshEngine_Tools_MeshTools_h
#define QuillmarshEngine_Tools_MeshTools_h

/** @file
 * @brief Mesh preparation before packing: @ref QuillmarshEngine::Tools::generateNormals(),
 *      @ref QuillmarshEngine::Tools::generateTangents(), @ref QuillmarshEngine::Tools::optimizeMesh()
 *
 * The span forms compute into caller-provided columns and abort on misuse. The mesh forms take
 * what an importer made of a file, check it, and return a new mesh or an error naming the
 * fault; they never abort on the contents of the mesh. Their result interleaves the source's
 * attributes (each at a 4-byte-aligned offset) with 32-bit indices where the source is indexed;
 * @ref packMesh() brings it into the packed layout afterwards.
 */

#include <cstdint>
#include <span>

#include "QuillmarshEngine/Math/Types.h"
#include "QuillmarshEngine/Math/Vector2.h"
#include "QuillmarshEngine/Math/Vector3.h"
#include "QuillmarshEngine/Math/Vector4.h"
#include "QuillmarshEngine/Trade/MeshData.h"
#include "QuillmarshEngine/Utils/Result.h"

namespace QuillmarshEngine { namespace Tools {

/**
 * @brief Normals of a triangle list, smooth across shared vertices
 *
 * Each triangle adds its face normal to its three vertices, weighted by its area and by its angle
 * at the vertex, so that the result does not depend on how a polygon was cut into triangles.
 * Only vertices shared by index are smoothed: a vertex split at a crease keeps a hard edge. A
 * vertex that no triangle of nonzero area touches gets +Z. Expects a multiple of three indices,
 * each below the position count, and as many normals as positions.
 */
QUILLMARSH_EXPORT void generateNormalsInto(std::span<const Vector3> positions, std::span<const std::uint32_t> indices, std::span<Vector3> normals);

/**
 * @brief Tangents of a triangle list from its texture coordinates
 *
 * Per triangle, the directions in which the texture coordinates u and v grow follow from their
 * derivatives; each vertex sums them over its triangles, weighted by the angle at the vertex.
 * The sum of the u directions is made orthogonal to the vertex's normal (Gram-Schmidt) and
 * normalized into xyz; w is the handedness, +1 or -1, such that `cross(normal, xyz)*w` points
 * along growing v. Triangles whose texture coordinates span no area add nothing; a vertex left
 * without a direction gets a unit vector orthogonal to its normal, w = +1. Expects unit normals,
 * a multiple of three indices below the vertex count and columns of equal length.
 */
QUILLMARSH_EXPORT void generateTangentsInto(std::span<const Vector3> positions, std::span<const Vector3> normals, std::span<const Vector2> textureCoordinates, std::span<const std::uint32_t> indices, std::span<Vector4> tangents);

/**
 * @brief @p mesh with normals computed by @ref generateNormalsInto()
 *
 * An existing normal attribute is replaced, everything else kept. The mesh must be a triangle
 * list with positions; an error names what is wrong otherwise (another primitive, no or
 * unreadable positions, an index out of range, an index count not divisible by three).
 */
QUILLMARSH_EXPORT Utils::Result<Trade::MeshData> generateNormals(const Trade::MeshData& mesh);

/**
 * @brief @p mesh with tangents computed by @ref generateTangentsInto()
 *
 * From the first texture coordinate set and the mesh's normals, or normals computed on the way
 * when it has none (they are not added). An existing tangent attribute is replaced. Errors as
 * @ref generateNormals(), and when the mesh has no texture coordinates.
 */
QUILLMARSH_EXPORT Utils::Result<Trade::MeshData> generateTangents(const Trade::MeshData& mesh);

/**
 * @brief @p mesh reordered for the vertex cache, then for vertex fetch
 *
 * Triangles are reordered with meshoptimizer's vertex cache optimizer, then vertices are put in
 * the order the indices first use them, and vertices no index uses are dropped. A non-indexed
 * mesh is indexed first, merging vertices whose attributes are equal byte for byte. Lines and
 * points get the fetch order only. Errors as @ref generateNormals() for the indices, and for
 * strips, fans and loops, which have no index order of their own to change.
 */
QUILLMARSH_EXPORT Utils::Result<Trade::MeshData> optimizeMesh(const Trade::MeshData& mesh);

}}

#endif
