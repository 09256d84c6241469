#ifndef QuillmarshEngine_Tools_MeshFormat_h
#define QuillmarshEngine_Tools_MeshFormat_h

/** @file
 * @brief The packed, interleaved vertex layout of mesh chunks: @ref QuillmarshEngine::Tools::MeshDataFlag, @ref QuillmarshEngine::Tools::meshAttributes, @ref QuillmarshEngine::Tools::packMesh(), @ref QuillmarshEngine::Tools::createMeshChunk()
 */

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "QuillmarshEngine/Data/AssetData.h"
#include "QuillmarshEngine/EnumSet.h"
#include "QuillmarshEngine/Math/BoundingSphere.h"
#include "QuillmarshEngine/Trade/MeshData.h"
#include "QuillmarshEngine/Utils/Result.h"

namespace QuillmarshEngine {

namespace Data { class MeshData; }

namespace Tools {

/**
 * @brief Selects the attributes of the packed vertex layout
 *
 * @ref Quantized is a shorthand for "quantize every attribute that has a quantized format".
 */
enum class MeshDataFlag: std::uint32_t {
    Position = 0x1,                     /**< Position */
    TextureCoordinates = 0x2,           /**< First texture coordinate set */
    Normal = 0x4,                       /**< Normal, plus a 2-byte filler when quantized */
    Tangent = 0x8,                      /**< Tangent with bitangent sign */
    ObjectIds = 0x10,                   /**< Per-vertex object id */
    Skinning = 0x20,                    /**< Four joint ids and weights per vertex */
    EightJoints = 0x40,                 /**< Eight joint ids and weights (with @ref Skinning) */
    Color = 0x80,                       /**< Vertex colour */
    SecondTextureCoordinates = 0x100,   /**< Second texture coordinate set */
    Slug = 0x200,                       /**< The six text-rendering attributes */
    Quantized = 0x400                   /**< Quantize every attribute that can be */
};

/** @brief Set of @ref MeshDataFlag */
typedef EnumSet<MeshDataFlag> MeshDataFlags;
QUILLMARSH_ENUMSET_OPERATORS(MeshDataFlags)

/** @brief Prints `MeshDataFlag::Normal` or `MeshDataFlag(0x..)` */
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, MeshDataFlag value);
/** @brief Prints `MeshDataFlag::Position|MeshDataFlag::Normal` or `MeshDataFlags{}` */
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, MeshDataFlags value);

/**
 * @brief One row of the packed layout
 *
 * A format of `VertexFormat{}` means the row is skipped in that mode. @ref arraySize 0 is not an
 * array.
 */
struct MeshAttributeEntry {
    std::uint32_t location;                 /**< Attribute slot the renderer binds */
    MeshDataFlag flag;                      /**< Flag that enables the row */
    Trade::MeshAttribute name;              /**< Attribute name */
    Trade::VertexFormat format;             /**< Format when not quantized */
    Trade::VertexFormat quantizedFormat;    /**< Format when quantized */
    std::uint32_t instance;                 /**< Which attribute of that name (texture coordinate sets) */
    std::uint16_t arraySize;                /**< Array size, 0 for none */
    std::uint16_t arraySizeEightJoints;     /**< Array size with @ref MeshDataFlag::EightJoints */
};

/** @brief Number of rows of @ref meshAttributes */
constexpr std::size_t MeshAttributeCount = 16;

/**
 * @brief The packed layout: rows in the order of the attributes inside a vertex
 */
QUILLMARSH_EXPORT extern const std::array<MeshAttributeEntry, MeshAttributeCount> meshAttributes;

/** @brief Name of the attribute that pads a quantized normal to 8 bytes */
QUILLMARSH_EXPORT Trade::MeshAttribute meshAttributeNormalFiller();

/**
 * @brief Attribute descriptions of the packed layout
 *
 * Offset-only attributes over interleaved vertices of @p vertexCount, in table order, with the
 * quantized format for rows whose flag is in @p quantizedFlags (all of them when it holds
 * @ref MeshDataFlag::Quantized). An empty @p layoutFlags means position alone. Aborts when the
 * flags select nothing.
 */
QUILLMARSH_EXPORT std::vector<Trade::MeshAttributeData> getLayout(MeshDataFlags layoutFlags, MeshDataFlags quantizedFlags, std::uint32_t vertexCount);

/**
 * @brief Attribute descriptions, quantizing everything when @p layoutFlags holds @ref MeshDataFlag::Quantized
 */
QUILLMARSH_EXPORT std::vector<Trade::MeshAttributeData> getLayout(MeshDataFlags layoutFlags, std::uint32_t vertexCount);

/**
 * @brief Flags whose attributes @p mesh fully has
 *
 * A flag shared by several rows (skinning, text) is set only when every one of them is present;
 * @ref MeshDataFlag::EightJoints when joint arrays exceed four elements.
 */
QUILLMARSH_EXPORT MeshDataFlags getMeshFlags(const Trade::MeshData& mesh);

/**
 * @brief Empty mesh in the packed layout
 *
 * Same primitive and vertex count as @p mesh, zero-filled interleaved vertices, and when @p mesh is
 * indexed room for as many 32-bit indices.
 */
QUILLMARSH_EXPORT Trade::MeshData cloneMeshDataUninitialized(MeshDataFlags layoutFlags, MeshDataFlags quantizedFlags, const Trade::MeshData& mesh);

/**
 * @brief @p mesh in the packed layout of @p layoutFlags, without quantization
 */
QUILLMARSH_EXPORT Trade::MeshData cloneMeshData(MeshDataFlags layoutFlags, const Trade::MeshData& mesh);

/**
 * @brief Convert @p mesh into the packed layout
 *
 * Each attribute is converted from the source's actual format (any component type, fewer or more
 * components, arrays of any size: what fits is copied, the rest zeroed; a missing alpha or
 * bitangent sign becomes 1). Attributes whose flag is in @p quantizedFlags get their quantized
 * format. Attributes the source lacks stay zero. Indices become 32-bit.
 */
QUILLMARSH_EXPORT Trade::MeshData packMesh(MeshDataFlags layoutFlags, MeshDataFlags quantizedFlags, const Trade::MeshData& mesh);

/** @brief @ref packMesh() with the layout of @ref getMeshFlags() */
QUILLMARSH_EXPORT Trade::MeshData packMesh(MeshDataFlags quantizedFlags, const Trade::MeshData& mesh);

/**
 * @brief Convert a packed mesh back to floats for the attributes whose flag is in @p unpackFlags
 *
 * Other attributes keep the source's format when it is the row's plain or quantized format.
 * Expects @p targetLayout without @ref MeshDataFlag::Quantized.
 */
QUILLMARSH_EXPORT Trade::MeshData unpackMesh(MeshDataFlags targetLayout, MeshDataFlags unpackFlags, const Trade::MeshData& mesh);

/** @brief @ref unpackMesh() with the layout of @ref getMeshFlags() */
QUILLMARSH_EXPORT Trade::MeshData unpackMesh(MeshDataFlags unpackFlags, const Trade::MeshData& mesh);

/**
 * @brief Pack one attribute, vertex × byte views
 *
 * Tangent and Normal go from floats to signed 16-bit normalized, Color and Weights to unsigned
 * 16-bit normalized (clamped first); each row of @p src holds 4-byte floats and each row of @p dst
 * must have room for half as many bytes. Every other attribute copies the bytes that fit and zeroes
 * the rest. Expects as many rows in @p dst as in @p src.
 */
QUILLMARSH_EXPORT void packMeshAttributeDataInto(Trade::MeshAttribute attribute, const StridedArrayView2D<const char>& src, const StridedArrayView2D<char>& dst);

/** @brief Inverse of @ref packMeshAttributeDataInto() */
QUILLMARSH_EXPORT void unpackMeshAttributeDataInto(Trade::MeshAttribute attribute, const StridedArrayView2D<const char>& src, const StridedArrayView2D<char>& dst);

/**
 * @brief Append a @ref Data::Magic::Mesh chunk for @p mesh to @p out
 *
 * Non-empty @p compressedVertexData or @p compressedIndexData replace the mesh's bytes and set the
 * matching compression flag. Expects a mesh with
 * attributes of the same stride over one vertex buffer, and a payload that fits 32 bits.
 */
QUILLMARSH_EXPORT Data::AssetChunk createMeshChunk(const Trade::MeshData& mesh, std::span<const char> compressedVertexData, std::span<const char> compressedIndexData, const BoundingSphere& boundingSphere, std::vector<char>& out);

/**
 * @brief Compress the vertex bytes of an interleaved mesh with meshoptimizer's vertex codec
 *
 * Expects vertex data of exactly vertex count × stride bytes, a stride that is a multiple of 4 and
 * at most 256, shared by every attribute.
 */
QUILLMARSH_EXPORT std::vector<char> compressMeshVertexData(const Trade::MeshData& mesh);

/**
 * @brief Codec of @ref compressMeshIndexData()
 *
 * Both are meshoptimizer's; the first byte of the compressed data tells them apart, so
 * @ref decompressMesh() reads either without a flag in the record.
 */
enum class MeshIndexCompression: std::uint8_t {
    /** The index sequence codec: every index stays in place, decompression gives back the exact
        indices */
    Sequence = 0,

    /**
     * The triangle codec: about half the bytes of the sequence codec on a vertex-cache-optimized
     * triangle list. It may rotate the three indices of a triangle (the winding stays), so the
     * triangles come back as they were but not necessarily from the same first vertex. Needs a
     * multiple of three indices.
     */
    Triangles = 1
};

/** @brief Prints `MeshIndexCompression::Sequence` etc., unknown values as `MeshIndexCompression(0x7)` */
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, MeshIndexCompression value);

/**
 * @brief Compress the indices of @p mesh with one of meshoptimizer's index codecs
 *
 * Expects an indexed mesh with 16- or 32-bit indices, and for
 * @ref MeshIndexCompression::Triangles an index count divisible by three.
 */
QUILLMARSH_EXPORT std::vector<char> compressMeshIndexData(const Trade::MeshData& mesh, MeshIndexCompression compression = MeshIndexCompression::Sequence);

/**
 * @brief Owned mesh from a mesh chunk payload, decompressing what its flags say is compressed
 *
 * Untrusted input: a record that does not decode, whose attributes do not fit the decoded
 * vertices or whose indices name vertices past the vertex count gives an error naming the fault
 * instead of aborting. Check the chunk with
 * @ref Data::validateAssetData() first for the other fields.
 */
QUILLMARSH_EXPORT Utils::Result<Trade::MeshData> decompressMesh(const Data::MeshData& data);

}}

#endif
