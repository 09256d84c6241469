#ifndef QuillmarshEngine_Data_MeshData_h
#define QuillmarshEngine_Data_MeshData_h

/** @file
 * @brief Class @ref QuillmarshEngine::Data::MeshData
 */

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "QuillmarshEngine/Data/AssetData.h"
#include "QuillmarshEngine/Math/BoundingSphere.h"
#include "QuillmarshEngine/Trade/MeshData.h"

namespace QuillmarshEngine { namespace Data {

/**
 * @brief View over the payload of a @ref Magic::Mesh chunk
 *
 * Payload layout (little-endian, 4-byte aligned): a 52-byte header (total size, attribute table
 * size, vertex data size, index data size, vertex count, index count, attribute count, index type,
 * compression flags, three padding bytes, bounding sphere), then one @ref MeshAttributeData32 per
 * attribute, the vertex bytes padded to 4 and the index bytes padded to 4. Owns nothing. The
 * accessors read only inside the viewed bytes; @ref mesh() and @ref meshCopy() trust the record's
 * internal sizes, so check untrusted chunks with @ref validateAssetData() first.
 */
class QUILLMARSH_EXPORT MeshData {
    public:
        static constexpr Magic AssetMagic = Magic::Mesh;

        /** @brief Size of the fixed header */
        static constexpr std::uint32_t HeaderSize = 52;

        /** @brief Bit of @ref compressionFlags() set when the vertex bytes are compressed */
        static constexpr std::uint8_t VertexDataCompressed = 1 << 0;
        /** @brief Bit of @ref compressionFlags() set when the index bytes are compressed */
        static constexpr std::uint8_t IndexDataCompressed = 1 << 1;

        /** @brief One attribute record, 20 bytes */
        struct MeshAttributeData32 {
            std::uint32_t format;           /**< @ref Trade::VertexFormat value */
            std::uint16_t name;             /**< @ref Trade::MeshAttribute value */
            std::uint8_t offsetOnly;        /**< Always 1 */
            std::int8_t morphTargetId;      /**< -1 for none; not restored by @ref mesh() */
            std::uint32_t vertexCount;      /**< The mesh's vertex count */
            std::int16_t stride;            /**< Bytes between vertices */
            std::uint16_t arraySize;        /**< 0 for non-arrays */
            std::uint32_t offset;           /**< Offset of the first element in the vertex bytes */
        };
        static_assert(sizeof(MeshAttributeData32) == 20, "attribute records are 20 bytes");

        /** @brief View the payload @p data; expects at least @ref HeaderSize bytes */
        explicit MeshData(std::span<const char> data);

        /** @brief The viewed payload */
        std::span<const char> data() const { return _data; }

        std::uint32_t totalSize() const { return field(0); }
        std::uint32_t attributeTableSize() const { return field(4); }
        /** @brief Stored (possibly compressed) vertex byte count */
        std::uint32_t vertexDataSize() const { return field(8); }
        /** @brief Stored (possibly compressed) index byte count */
        std::uint32_t indexDataSize() const { return field(12); }
        std::uint32_t vertexCount() const { return field(16); }
        /** @brief Index count, 0 for a non-indexed mesh */
        std::uint32_t indexCount() const { return field(20); }
        std::uint32_t attributeCount() const { return field(24); }
        /** @brief Stored index type, @ref Trade::MeshIndexType::UnsignedInt for a non-indexed mesh */
        Trade::MeshIndexType indexType() const { return Trade::MeshIndexType(field(28)); }
        std::uint8_t compressionFlags() const { return std::uint8_t(_data[32]); }
        bool isVertexDataCompressed() const { return compressionFlags() & VertexDataCompressed; }
        bool isIndexDataCompressed() const { return compressionFlags() & IndexDataCompressed; }
        /** @brief Bounding sphere of the vertex positions */
        BoundingSphere boundingSphere() const;

        /** @brief Attribute record @p i; expects it inside the viewed bytes */
        MeshAttributeData32 attribute(std::uint32_t i) const;

        /** @brief Stored vertex bytes, clipped to the viewed bytes */
        std::span<const char> vertexData() const;
        /** @brief Stored index bytes, clipped to the viewed bytes */
        std::span<const char> indexData() const;

        /**
         * @brief Mesh viewing the chunk's bytes
         *
         * Triangles; offset-only attributes rebuilt from the records, each with morph target id -1;
         * a non-indexed mesh when the index count is 0. Aborts with `Vertex or index data are
         * compressed, decompress them first` when either compression bit is set.
         */
        Trade::MeshData mesh() const;

        /** @brief Like @ref mesh() with the index and vertex bytes copied into owned arrays */
        Trade::MeshData meshCopy() const;

        /** @brief The rebuilt offset-only attribute descriptions as an owned array */
        std::vector<Trade::MeshAttributeData> attributeDataCopy() const;

    private:
        std::uint32_t field(std::size_t offset) const;

        std::span<const char> _data;
};

/**
 * @brief Header fields of a mesh chunk that @ref createMeshDataChunk() does not derive
 */
struct MeshDataChunkHeader {
    std::uint32_t vertexCount;          /**< Vertex count */
    std::uint32_t indexCount;           /**< Index count, 0 for a non-indexed mesh */
    Trade::MeshIndexType indexType;     /**< Index type, UnsignedInt for a non-indexed mesh */
    std::uint8_t compressionFlags;      /**< @ref MeshData::VertexDataCompressed, @ref MeshData::IndexDataCompressed */
    BoundingSphere boundingSphere;      /**< Stored as center x, y, z and radius */
};

/**
 * @brief Append a mesh chunk with the given header, attribute records and bytes to @p out
 *
 * Writes the layout described at @ref MeshData; the sizes come from the views. The chunk is
 * reserved with the size-only form of @ref AssetChunk::create() on a zero-filled tail, so the
 * stored size is the total payload size. Aborts when the payload does not fit 32 bits.
 */
QUILLMARSH_EXPORT AssetChunk createMeshDataChunk(const MeshDataChunkHeader& header, std::span<const MeshData::MeshAttributeData32> attributes, std::span<const char> vertexData, std::span<const char> indexData, std::vector<char>& out);

}}

#endif
