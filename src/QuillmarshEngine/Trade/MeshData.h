#ifndef QuillmarshEngine_Trade_MeshData_h
#define QuillmarshEngine_Trade_MeshData_h

/** @file
 * @brief Class @ref QuillmarshEngine::Trade::MeshData, @ref QuillmarshEngine::Trade::MeshAttributeData, @ref QuillmarshEngine::Trade::MeshIndexData
 */

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "QuillmarshEngine/EnumSet.h"
#include "QuillmarshEngine/StridedArrayView.h"
#include "QuillmarshEngine/Trade/MeshAttribute.h"
#include "QuillmarshEngine/Trade/MeshIndexType.h"
#include "QuillmarshEngine/Trade/MeshPrimitive.h"
#include "QuillmarshEngine/Trade/VertexFormat.h"

namespace QuillmarshEngine { namespace Trade {

/** @brief How a @ref MeshData holds its index or vertex bytes */
enum class DataFlag: std::uint8_t {
    Owned = 1 << 0,             /**< The mesh owns the bytes */
    Mutable = 1 << 2,           /**< The bytes may be written through the mesh */
    ExternallyOwned = 1 << 3,   /**< Someone else owns the bytes and keeps them alive */
    Global = 1 << 4             /**< The bytes live for the whole program */
};

/** @brief Set of @ref DataFlag */
typedef EnumSet<DataFlag> DataFlags;
QUILLMARSH_ENUMSET_OPERATORS(DataFlags)

/** @brief Prints `Trade::DataFlag::Owned` or `Trade::DataFlag(0x..)` */
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, DataFlag value);
/** @brief Prints `Trade::DataFlag::Owned|Trade::DataFlag::Mutable` or `Trade::DataFlags{}` */
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, DataFlags value);

/**
 * @brief Index description of a mesh
 *
 * A default-constructed instance describes a non-indexed mesh. Otherwise a type and a contiguous
 * byte view whose size is a multiple of the type size; an indexed mesh with zero indices is
 * distinct from a non-indexed one.
 */
class QUILLMARSH_EXPORT MeshIndexData {
    public:
        /** @brief Non-indexed */
        constexpr MeshIndexData() noexcept = default;

        /** @brief Indices of @p type in @p data; expects a size that is a multiple of the type size */
        explicit MeshIndexData(MeshIndexType type, std::span<const char> data);

        MeshIndexType type() const { return _type; }
        std::span<const char> data() const { return _data; }

    private:
        friend class MeshData;
        MeshIndexType _type{};
        std::span<const char> _data;
};

/**
 * @brief Description of one vertex attribute
 *
 * Either points at its first element (@ref isOffsetOnly() is false) or holds a byte offset into
 * vertex data that a @ref MeshData supplies later. Memory layout (24 bytes): format, name,
 * offset-only marker, morph target id, vertex count, 16-bit stride, array size, pointer or offset.
 * Built-in names other than @ref MeshAttribute::JointIds and @ref MeshAttribute::Weights can't be
 * arrays; those two must be arrays when built from a view. Morph target ids are -1 (none) or
 * 0 to 127 and are refused for joint ids, weights and object ids. Violations abort.
 */
class QUILLMARSH_EXPORT MeshAttributeData {
    public:
        /** @brief Empty description: everything zero, morph target id -1 */
        constexpr MeshAttributeData() noexcept: _format{}, _name{}, _isOffsetOnly{}, _morphTargetId{-1}, _vertexCount{}, _stride{}, _arraySize{}, _data{} {}

        /**
         * @brief Attribute viewing @p data
         *
         * Element `i` of @p data is where vertex `i`'s value starts. Expects a stride that fits 16
         * bits and a vertex count that fits 32 bits.
         */
        explicit MeshAttributeData(MeshAttribute name, VertexFormat format, StridedArrayView1D<const char> data, std::uint16_t arraySize = 0, std::int32_t morphTargetId = -1);

        /** @brief Offset-only attribute, resolved against the vertex data of a @ref MeshData */
        explicit MeshAttributeData(MeshAttribute name, VertexFormat format, std::size_t offset, std::uint32_t vertexCount, std::ptrdiff_t stride, std::uint16_t arraySize = 0, std::int32_t morphTargetId = -1);

        VertexFormat format() const { return _format; }
        MeshAttribute name() const { return _name; }
        bool isOffsetOnly() const { return _isOffsetOnly; }
        std::int8_t morphTargetId() const { return _morphTargetId; }
        std::uint32_t vertexCount() const { return _vertexCount; }
        std::int16_t stride() const { return _stride; }
        std::uint16_t arraySize() const { return _arraySize; }

        /** @brief Byte offset into @p vertexData (the stored offset for offset-only attributes) */
        std::size_t offset(std::span<const char> vertexData) const;

        /** @brief Viewed elements; expects a pointer-based attribute */
        StridedArrayView1D<const char> data() const;

        /** @brief Viewed elements resolved against @p vertexData */
        StridedArrayView1D<const char> data(std::span<const char> vertexData) const;

    private:
        VertexFormat _format;
        MeshAttribute _name;
        bool _isOffsetOnly;
        std::int8_t _morphTargetId;
        std::uint32_t _vertexCount;
        std::int16_t _stride;
        std::uint16_t _arraySize;
        union {
            const char* pointer;
            std::size_t offset;
        } _data;
};

/**
 * @brief Mesh as importers and mesh tools hand it around
 *
 * Index bytes, vertex bytes and a list of attribute descriptions, each either owned (moved in as
 * `std::vector<char>`) or viewed (a span, with flags saying who keeps it alive). The constructor
 * checks that every attribute has a format and lies inside the vertex data, that every attribute
 * has the mesh's vertex count, that indices lie inside the index data, and that joint id and
 * weight attributes pair up with equal array sizes; violations abort. Move-only.
 */
class QUILLMARSH_EXPORT MeshData {
    public:
        /** @brief Take the vertex count from the first attribute */
        static constexpr std::uint32_t ImplicitVertexCount = ~std::uint32_t{};

        /** @brief Mesh owning its index and vertex data */
        explicit MeshData(MeshPrimitive primitive, std::vector<char>&& indexData, const MeshIndexData& indices, std::vector<char>&& vertexData, std::vector<MeshAttributeData>&& attributes, std::uint32_t vertexCount = ImplicitVertexCount);

        /** @brief Non-indexed mesh owning its vertex data */
        explicit MeshData(MeshPrimitive primitive, std::vector<char>&& vertexData, std::vector<MeshAttributeData>&& attributes, std::uint32_t vertexCount = ImplicitVertexCount);

        /**
         * @brief Mesh viewing data it does not own
         *
         * The flags may hold @ref DataFlag::Mutable, @ref DataFlag::ExternallyOwned and
         * @ref DataFlag::Global, never @ref DataFlag::Owned. With @ref DataFlag::Mutable the caller
         * promises the viewed bytes are writable.
         */
        explicit MeshData(MeshPrimitive primitive, DataFlags indexDataFlags, std::span<const char> indexData, const MeshIndexData& indices, DataFlags vertexDataFlags, std::span<const char> vertexData, std::vector<MeshAttributeData>&& attributes, std::uint32_t vertexCount = ImplicitVertexCount);

        MeshData(const MeshData&) = delete;
        MeshData(MeshData&&) noexcept = default;
        MeshData& operator=(const MeshData&) = delete;
        MeshData& operator=(MeshData&&) noexcept = default;

        MeshPrimitive primitive() const { return _primitive; }
        DataFlags indexDataFlags() const { return _indexDataFlags; }
        DataFlags vertexDataFlags() const { return _vertexDataFlags; }

        std::span<const char> indexData() const { return _indexData; }
        /** @brief Writable index bytes; expects @ref DataFlag::Mutable */
        std::span<char> mutableIndexData();
        std::span<const char> vertexData() const { return _vertexData; }
        /** @brief Writable vertex bytes; expects @ref DataFlag::Mutable */
        std::span<char> mutableVertexData();

        bool isIndexed() const { return _indexType != MeshIndexType{}; }
        /** @brief Index type; expects an indexed mesh */
        MeshIndexType indexType() const;
        /** @brief Index count; expects an indexed mesh */
        std::uint32_t indexCount() const;
        /** @brief Offset of the first index in @ref indexData(); expects an indexed mesh */
        std::size_t indexOffset() const;
        /** @brief Indices as index count × index size bytes; expects an indexed mesh */
        StridedArrayView2D<const char> indices() const;
        /** @brief Indices widened to 32 bits; expects an indexed mesh */
        std::vector<std::uint32_t> indicesAsArray() const;

        std::uint32_t vertexCount() const { return _vertexCount; }

        /** @brief All attribute descriptions as stored (possibly offset-only) */
        std::span<const MeshAttributeData> attributeData() const { return _attributes; }
        /** @brief Number of attributes */
        std::uint32_t attributeCount() const { return std::uint32_t(_attributes.size()); }
        /** @brief Number of attributes of morph target @p morphTargetId (-1 = base attributes) */
        std::uint32_t attributeCount(std::int32_t morphTargetId) const;
        /** @brief Number of attributes named @p name in morph target @p morphTargetId */
        std::uint32_t attributeCount(MeshAttribute name, std::int32_t morphTargetId = -1) const;
        bool hasAttribute(MeshAttribute name, std::int32_t morphTargetId = -1) const { return attributeCount(name, morphTargetId) != 0; }
        /** @brief Index of the @p id-th attribute named @p name, or nothing */
        std::optional<std::uint32_t> findAttributeId(MeshAttribute name, std::uint32_t id = 0, std::int32_t morphTargetId = -1) const;
        /** @brief Index of the @p id-th attribute named @p name; expects it to exist */
        std::uint32_t attributeId(MeshAttribute name, std::uint32_t id = 0, std::int32_t morphTargetId = -1) const;

        /** @brief Pointer-based copy of attribute @p i; expects @p i in range */
        MeshAttributeData attributeData(std::uint32_t i) const;
        MeshAttribute attributeName(std::uint32_t i) const;
        VertexFormat attributeFormat(std::uint32_t i) const;
        std::size_t attributeOffset(std::uint32_t i) const;
        std::int16_t attributeStride(std::uint32_t i) const;
        std::uint16_t attributeArraySize(std::uint32_t i) const;
        std::int8_t attributeMorphTargetId(std::uint32_t i) const;

        /**
         * @brief Attribute @p i as vertex count × bytes
         *
         * Each row holds the element size × max(array size, 1) bytes of one vertex. Expects a
         * format whose size is known.
         */
        StridedArrayView2D<const char> attribute(std::uint32_t i) const;
        /** @brief Writable twin of @ref attribute(); expects @ref DataFlag::Mutable vertex data */
        StridedArrayView2D<char> mutableAttribute(std::uint32_t i);

    private:
        void validate();
        const MeshAttributeData& checkedAttribute(std::uint32_t i, const char* function) const;

        MeshPrimitive _primitive;
        DataFlags _indexDataFlags, _vertexDataFlags;
        MeshIndexType _indexType{};
        std::uint32_t _vertexCount;
        std::uint32_t _indexCount{};
        std::size_t _indexOffset{};
        std::vector<char> _indexStorage, _vertexStorage;
        std::span<const char> _indexData, _vertexData;
        std::vector<MeshAttributeData> _attributes;
};

}}

#endif
