#include "QuillmarshEngine/Data/MeshData.h"

#include <algorithm>
#include <cstring>

namespace QuillmarshEngine { namespace Data {

namespace {

std::uint64_t fourByteAlign(std::uint64_t size) { return (size + 3) & ~std::uint64_t{3}; }

/* Clips [offset, offset + size) to the viewed bytes */
std::span<const char> clip(std::span<const char> data, std::uint64_t offset, std::uint64_t size) {
    if(offset >= data.size()) return {};
    return data.subspan(std::size_t(offset), std::size_t(std::min<std::uint64_t>(size, data.size() - offset)));
}

}

MeshData::MeshData(std::span<const char> data): _data{data} {
    QUILLMARSH_ASSERT(data.size() >= HeaderSize, "Data::MeshData: expected at least" << HeaderSize << "bytes, got" << data.size(), );
}

std::uint32_t MeshData::field(std::size_t offset) const {
    std::uint32_t value;
    std::memcpy(&value, _data.data() + offset, 4);
    return value;
}

BoundingSphere MeshData::boundingSphere() const {
    float values[4];
    std::memcpy(values, _data.data() + 36, 16);
    return BoundingSphere{Vector3{values[0], values[1], values[2]}, values[3]};
}

MeshData::MeshAttributeData32 MeshData::attribute(std::uint32_t i) const {
    const std::uint64_t offset = HeaderSize + std::uint64_t(i)*sizeof(MeshAttributeData32);
    QUILLMARSH_ASSERT(offset + sizeof(MeshAttributeData32) <= _data.size(), "Data::MeshData::attribute(): record" << i << "lies outside the" << _data.size() << "bytes of data", {});
    MeshAttributeData32 out;
    std::memcpy(&out, _data.data() + offset, sizeof(out));
    return out;
}

std::span<const char> MeshData::vertexData() const {
    return clip(_data, std::uint64_t(HeaderSize) + attributeTableSize(), vertexDataSize());
}

std::span<const char> MeshData::indexData() const {
    return clip(_data, std::uint64_t(HeaderSize) + attributeTableSize() + fourByteAlign(vertexDataSize()), indexDataSize());
}

std::vector<Trade::MeshAttributeData> MeshData::attributeDataCopy() const {
    std::vector<Trade::MeshAttributeData> out;
    out.reserve(attributeCount());
    for(std::uint32_t i = 0; i != attributeCount(); ++i) {
        const MeshAttributeData32 a = attribute(i);
        /* The stored morph target id is deliberately not restored */
        out.emplace_back(Trade::MeshAttribute(a.name), Trade::VertexFormat(a.format), std::size_t(a.offset), a.vertexCount, a.stride, a.arraySize, -1);
    }
    return out;
}

Trade::MeshData MeshData::mesh() const {
    QUILLMARSH_ASSERT(!compressionFlags(), "Vertex or index data are compressed, decompress them first", (Trade::MeshData{Trade::MeshPrimitive::Triangles, {}, {}, 0}));
    if(!indexCount())
        return Trade::MeshData{Trade::MeshPrimitive::Triangles, {}, {}, Trade::MeshIndexData{}, {}, vertexData(), attributeDataCopy(), vertexCount()};
    const std::span<const char> indices = indexData();
    const Trade::MeshIndexData indexView{indexType(), indices.first(std::min<std::size_t>(indices.size(), std::size_t(indexCount())*Trade::meshIndexTypeSize(indexType())))};
    return Trade::MeshData{Trade::MeshPrimitive::Triangles, {}, indices, indexView, {}, vertexData(), attributeDataCopy(), vertexCount()};
}

Trade::MeshData MeshData::meshCopy() const {
    QUILLMARSH_ASSERT(!compressionFlags(), "Vertex or index data are compressed, decompress them first", (Trade::MeshData{Trade::MeshPrimitive::Triangles, {}, {}, 0}));
    const std::span<const char> vertices = vertexData();
    std::vector<char> vertexCopy(vertices.begin(), vertices.end());
    if(!indexCount())
        return Trade::MeshData{Trade::MeshPrimitive::Triangles, std::move(vertexCopy), attributeDataCopy(), vertexCount()};
    const std::span<const char> indices = indexData();
    std::vector<char> indexCopy(indices.begin(), indices.begin() + std::min<std::size_t>(indices.size(), std::size_t(indexCount())*Trade::meshIndexTypeSize(indexType())));
    const Trade::MeshIndexData indexView{indexType(), indexCopy};
    return Trade::MeshData{Trade::MeshPrimitive::Triangles, std::move(indexCopy), indexView, std::move(vertexCopy), attributeDataCopy(), vertexCount()};
}

}}
