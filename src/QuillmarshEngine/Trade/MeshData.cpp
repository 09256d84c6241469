#include "QuillmarshEngine/Trade/MeshData.h"

#include <algorithm>
#include <cstring>

#include "QuillmarshEngine/Assert.h"

namespace QuillmarshEngine { namespace Trade {

/* The small enums of the mesh headers print from here, next to their only heavy user */

MeshAttribute meshAttributeCustom(std::uint16_t id) {
    QUILLMARSH_ASSERT(id < MeshAttributeCustomBegin, "Trade::meshAttributeCustom(): index" << id << "too large", {});
    return MeshAttribute(MeshAttributeCustomBegin + id);
}

std::uint16_t meshAttributeCustom(MeshAttribute name) {
    QUILLMARSH_ASSERT(isMeshAttributeCustom(name), "Trade::meshAttributeCustom():" << name << "is not custom", {});
    return std::uint16_t(name) - MeshAttributeCustomBegin;
}

Debug& operator<<(Debug& debug, MeshAttribute value) {
    if(isMeshAttributeCustom(value))
        return debug << "Trade::MeshAttribute::Custom(" << Debug::nospace << meshAttributeCustom(value) << Debug::nospace << ")";
    const char* name = nullptr;
    switch(value) {
        case MeshAttribute::Position: name = "Position"; break;
        case MeshAttribute::Tangent: name = "Tangent"; break;
        case MeshAttribute::Bitangent: name = "Bitangent"; break;
        case MeshAttribute::Normal: name = "Normal"; break;
        case MeshAttribute::TextureCoordinates: name = "TextureCoordinates"; break;
        case MeshAttribute::Color: name = "Color"; break;
        case MeshAttribute::JointIds: name = "JointIds"; break;
        case MeshAttribute::Weights: name = "Weights"; break;
        case MeshAttribute::ObjectId: name = "ObjectId"; break;
    }
    if(name) return Implementation::printEnumValue(debug, "Trade::MeshAttribute", name);
    return Implementation::printUnknownEnum(debug, "Trade::MeshAttribute", std::uint16_t(value));
}

std::uint32_t meshIndexTypeSize(MeshIndexType type) {
    switch(type) {
        case MeshIndexType::UnsignedByte: return 1;
        case MeshIndexType::UnsignedShort: return 2;
        case MeshIndexType::UnsignedInt: return 4;
    }
    QUILLMARSH_ASSERT(false, "Trade::meshIndexTypeSize(): invalid type" << type, {});
    return 0;
}

Debug& operator<<(Debug& debug, MeshIndexType value) {
    switch(value) {
        case MeshIndexType::UnsignedByte: return Implementation::printEnumValue(debug, "MeshIndexType", "UnsignedByte");
        case MeshIndexType::UnsignedShort: return Implementation::printEnumValue(debug, "MeshIndexType", "UnsignedShort");
        case MeshIndexType::UnsignedInt: return Implementation::printEnumValue(debug, "MeshIndexType", "UnsignedInt");
    }
    return Implementation::printUnknownEnum(debug, "MeshIndexType", std::uint32_t(value));
}

Debug& operator<<(Debug& debug, MeshPrimitive value) {
    if(std::uint32_t(value) & 0x80000000u)
        return debug << "MeshPrimitive::ImplementationSpecific(" << Debug::nospace << Debug::hex << (std::uint32_t(value) & 0x7fffffffu) << Debug::nospace << ")";
    const char* name = nullptr;
    switch(value) {
        case MeshPrimitive::Points: name = "Points"; break;
        case MeshPrimitive::Lines: name = "Lines"; break;
        case MeshPrimitive::LineLoop: name = "LineLoop"; break;
        case MeshPrimitive::LineStrip: name = "LineStrip"; break;
        case MeshPrimitive::Triangles: name = "Triangles"; break;
        case MeshPrimitive::TriangleStrip: name = "TriangleStrip"; break;
        case MeshPrimitive::TriangleFan: name = "TriangleFan"; break;
        case MeshPrimitive::Instances: name = "Instances"; break;
        case MeshPrimitive::Faces: name = "Faces"; break;
        case MeshPrimitive::Edges: name = "Edges"; break;
        case MeshPrimitive::Meshlets: name = "Meshlets"; break;
    }
    if(name) return Implementation::printEnumValue(debug, "MeshPrimitive", name);
    return Implementation::printUnknownEnum(debug, "MeshPrimitive", std::uint32_t(value));
}

Debug& operator<<(Debug& debug, DataFlag value) {
    switch(value) {
        case DataFlag::Owned: return Implementation::printEnumValue(debug, "Trade::DataFlag", "Owned");
        case DataFlag::Mutable: return Implementation::printEnumValue(debug, "Trade::DataFlag", "Mutable");
        case DataFlag::ExternallyOwned: return Implementation::printEnumValue(debug, "Trade::DataFlag", "ExternallyOwned");
        case DataFlag::Global: return Implementation::printEnumValue(debug, "Trade::DataFlag", "Global");
    }
    return Implementation::printUnknownEnum(debug, "Trade::DataFlag", std::uint8_t(value));
}

Debug& operator<<(Debug& debug, DataFlags value) {
    return Implementation::enumSetDebugOutput(debug, value, "Trade::DataFlags{}", {DataFlag::Owned, DataFlag::Mutable, DataFlag::ExternallyOwned, DataFlag::Global});
}

MeshIndexData::MeshIndexData(MeshIndexType type, std::span<const char> data): _type{type}, _data{data} {
    const std::uint32_t size = meshIndexTypeSize(type);
    QUILLMARSH_ASSERT(data.size() % size == 0, "Trade::MeshIndexData: view size" << data.size() << "does not correspond to" << type, );
}

namespace {

void checkAttribute(MeshAttribute name, std::uint16_t arraySize, std::int32_t morphTargetId, bool requireArray) {
    const bool arrayName = name == MeshAttribute::JointIds || name == MeshAttribute::Weights;
    QUILLMARSH_ASSERT(!arraySize || arrayName || isMeshAttributeCustom(name),
        "Trade::MeshAttributeData:" << name << "can't be an array attribute", );
    QUILLMARSH_ASSERT(!requireArray || !arrayName || arraySize,
        "Trade::MeshAttributeData:" << name << "has to be an array attribute", );
    QUILLMARSH_ASSERT(morphTargetId >= -1 && morphTargetId < 128,
        "Trade::MeshAttributeData: expected morph target ID to be either -1 or less than 128 but got" << morphTargetId, );
    QUILLMARSH_ASSERT(morphTargetId == -1 || !(arrayName || name == MeshAttribute::ObjectId),
        "Trade::MeshAttributeData: morph target not allowed for" << name, );
}

}

MeshAttributeData::MeshAttributeData(MeshAttribute name, VertexFormat format, StridedArrayView1D<const char> data, std::uint16_t arraySize, std::int32_t morphTargetId): _format{format}, _name{name}, _isOffsetOnly{false}, _morphTargetId{std::int8_t(morphTargetId)}, _vertexCount{std::uint32_t(data.size())}, _stride{std::int16_t(data.stride())}, _arraySize{arraySize}, _data{} {
    QUILLMARSH_ASSERT(data.size() <= 0xffffffffu, "Trade::MeshAttributeData: expected vertex count to fit into 32 bits but got" << data.size(), );
    QUILLMARSH_ASSERT(data.stride() >= -32768 && data.stride() <= 32767, "Trade::MeshAttributeData: expected stride to fit into 16 bits but got" << data.stride(), );
    checkAttribute(name, arraySize, morphTargetId, true);
    _data.pointer = data.data();
}

MeshAttributeData::MeshAttributeData(MeshAttribute name, VertexFormat format, std::size_t offset, std::uint32_t vertexCount, std::ptrdiff_t stride, std::uint16_t arraySize, std::int32_t morphTargetId): _format{format}, _name{name}, _isOffsetOnly{true}, _morphTargetId{std::int8_t(morphTargetId)}, _vertexCount{vertexCount}, _stride{std::int16_t(stride)}, _arraySize{arraySize}, _data{} {
    QUILLMARSH_ASSERT(stride >= -32768 && stride <= 32767, "Trade::MeshAttributeData: expected stride to fit into 16 bits but got" << stride, );
    checkAttribute(name, arraySize, morphTargetId, false);
    _data.offset = offset;
}

std::size_t MeshAttributeData::offset(std::span<const char> vertexData) const {
    return _isOffsetOnly ? _data.offset : std::size_t(_data.pointer - vertexData.data());
}

StridedArrayView1D<const char> MeshAttributeData::data() const {
    QUILLMARSH_ASSERT(!_isOffsetOnly, "Trade::MeshAttributeData::data(): the attribute is offset-only, supply a data array", {});
    return StridedArrayView1D<const char>{_data.pointer, _vertexCount, _stride};
}

StridedArrayView1D<const char> MeshAttributeData::data(std::span<const char> vertexData) const {
    return StridedArrayView1D<const char>{_isOffsetOnly ? vertexData.data() + _data.offset : _data.pointer, _vertexCount, _stride};
}

static_assert(sizeof(MeshAttributeData) == 24, "MeshAttributeData is laid out like its on-disk twin plus a pointer");

MeshData::MeshData(MeshPrimitive primitive, std::vector<char>&& indexData, const MeshIndexData& indices, std::vector<char>&& vertexData, std::vector<MeshAttributeData>&& attributes, std::uint32_t vertexCount): _primitive{primitive}, _indexDataFlags{DataFlag::Owned|DataFlag::Mutable}, _vertexDataFlags{DataFlag::Owned|DataFlag::Mutable}, _indexType{indices._type}, _vertexCount{vertexCount}, _indexStorage{std::move(indexData)}, _vertexStorage{std::move(vertexData)}, _indexData{_indexStorage}, _vertexData{_vertexStorage}, _attributes{std::move(attributes)} {
    if(isIndexed()) {
        _indexCount = std::uint32_t(indices._data.size()/meshIndexTypeSize(_indexType));
        /* Zero indices may come from any empty view; they sit at the start */
        _indexOffset = indices._data.empty() ? 0 : std::size_t(indices._data.data() - _indexData.data());
        QUILLMARSH_ASSERT(indices._data.empty() || (indices._data.data() >= _indexData.data() && indices._data.data() + indices._data.size() <= _indexData.data() + _indexData.size()),
            "Trade::MeshData: indices are not contained in passed indexData array", );
    }
    validate();
}

MeshData::MeshData(MeshPrimitive primitive, std::vector<char>&& vertexData, std::vector<MeshAttributeData>&& attributes, std::uint32_t vertexCount): MeshData{primitive, {}, MeshIndexData{}, std::move(vertexData), std::move(attributes), vertexCount} {}

MeshData::MeshData(MeshPrimitive primitive, DataFlags indexDataFlags, std::span<const char> indexData, const MeshIndexData& indices, DataFlags vertexDataFlags, std::span<const char> vertexData, std::vector<MeshAttributeData>&& attributes, std::uint32_t vertexCount): _primitive{primitive}, _indexDataFlags{indexDataFlags}, _vertexDataFlags{vertexDataFlags}, _indexType{indices._type}, _vertexCount{vertexCount}, _indexData{indexData}, _vertexData{vertexData}, _attributes{std::move(attributes)} {
    QUILLMARSH_ASSERT(!(indexDataFlags & DataFlag::Owned), "Trade::MeshData: can't construct with non-owned index data but" << indexDataFlags, );
    QUILLMARSH_ASSERT(!(vertexDataFlags & DataFlag::Owned), "Trade::MeshData: can't construct with non-owned vertex data but" << vertexDataFlags, );
    if(isIndexed()) {
        _indexCount = std::uint32_t(indices._data.size()/meshIndexTypeSize(_indexType));
        /* Zero indices may come from any empty view; they sit at the start */
        _indexOffset = indices._data.empty() ? 0 : std::size_t(indices._data.data() - _indexData.data());
        QUILLMARSH_ASSERT(indices._data.empty() || (indices._data.data() >= _indexData.data() && indices._data.data() + indices._data.size() <= _indexData.data() + _indexData.size()),
            "Trade::MeshData: indices are not contained in passed indexData array", );
    }
    validate();
}

void MeshData::validate() {
    QUILLMARSH_ASSERT(isIndexed() || _indexData.empty(), "Trade::MeshData: indexData passed for a non-indexed mesh", );
    if(_vertexCount == ImplicitVertexCount) {
        QUILLMARSH_ASSERT(!_attributes.empty(), "Trade::MeshData: vertex count can't be implicit if there are no attributes", );
        _vertexCount = _attributes[0].vertexCount();
    }

    std::uint32_t jointCount = 0, weightCount = 0;
    for(std::size_t i = 0; i != _attributes.size(); ++i) {
        const MeshAttributeData& a = _attributes[i];
        QUILLMARSH_ASSERT(a.format() != VertexFormat{}, "Trade::MeshData: attribute" << i << "doesn't specify anything", );
        QUILLMARSH_ASSERT(a.vertexCount() == _vertexCount, "Trade::MeshData: attribute" << i << "has" << a.vertexCount() << "vertices but" << _vertexCount << "expected", );
        QUILLMARSH_ASSERT(isVertexFormatImplementationSpecific(a.format()) || isVertexFormatKnown(a.format()), "Trade::MeshData: attribute" << i << "has an invalid format" << a.format(), );
        if(!_vertexCount) continue;

        /* Bounds of the attribute's bytes in signed 64-bit so negative strides work */
        const std::int64_t size = isVertexFormatImplementationSpecific(a.format()) ? 0 :
            std::int64_t(vertexFormatSize(a.format()))*std::max<std::int64_t>(a.arraySize(), 1);
        const std::int64_t span = std::int64_t(_vertexCount - 1)*a.stride();
        if(a.isOffsetOnly()) {
            const std::int64_t end = std::int64_t(a.offset(_vertexData)) + size + std::max<std::int64_t>(0, span);
            QUILLMARSH_ASSERT(end <= std::int64_t(_vertexData.size()),
                "Trade::MeshData: offset-only attribute" << i << "spans" << end << "bytes but passed vertexData array has only" << _vertexData.size(), );
        } else {
            const char* base = a.data().data();
            const char* begin = base + std::min<std::int64_t>(0, span);
            const char* end = base + size + std::max<std::int64_t>(0, span);
            QUILLMARSH_ASSERT(begin >= _vertexData.data() && end <= _vertexData.data() + _vertexData.size(),
                "Trade::MeshData: attribute" << i << "is not contained in passed vertexData array", );
        }
    }
    for(const MeshAttributeData& a: _attributes) {
        if(a.name() == MeshAttribute::JointIds) ++jointCount;
        if(a.name() == MeshAttribute::Weights) ++weightCount;
    }
    QUILLMARSH_ASSERT(jointCount == weightCount, "Trade::MeshData: expected" << jointCount << "weight attributes to match joint IDs but got" << weightCount, );
    for(std::uint32_t i = 0; i != jointCount; ++i) {
        const MeshAttributeData& joints = _attributes[*findAttributeId(MeshAttribute::JointIds, i)];
        const MeshAttributeData& weights = _attributes[*findAttributeId(MeshAttribute::Weights, i)];
        QUILLMARSH_ASSERT(joints.arraySize() == weights.arraySize(), "Trade::MeshData: expected" << joints.arraySize() << "array items for weight attribute" << i << "to match joint IDs but got" << weights.arraySize(), );
    }
}

std::span<char> MeshData::mutableIndexData() {
    QUILLMARSH_ASSERT(_indexDataFlags & DataFlag::Mutable, "Trade::MeshData::mutableIndexData(): index data not mutable", {});
    return {const_cast<char*>(_indexData.data()), _indexData.size()};
}

std::span<char> MeshData::mutableVertexData() {
    QUILLMARSH_ASSERT(_vertexDataFlags & DataFlag::Mutable, "Trade::MeshData::mutableVertexData(): vertex data not mutable", {});
    return {const_cast<char*>(_vertexData.data()), _vertexData.size()};
}

MeshIndexType MeshData::indexType() const {
    QUILLMARSH_ASSERT(isIndexed(), "Trade::MeshData::indexType(): the mesh is not indexed", {});
    return _indexType;
}

std::uint32_t MeshData::indexCount() const {
    QUILLMARSH_ASSERT(isIndexed(), "Trade::MeshData::indexCount(): the mesh is not indexed", {});
    return _indexCount;
}

std::size_t MeshData::indexOffset() const {
    QUILLMARSH_ASSERT(isIndexed(), "Trade::MeshData::indexOffset(): the mesh is not indexed", {});
    return _indexOffset;
}

StridedArrayView2D<const char> MeshData::indices() const {
    QUILLMARSH_ASSERT(isIndexed(), "Trade::MeshData::indices(): the mesh is not indexed", {});
    const std::size_t size = meshIndexTypeSize(_indexType);
    return StridedArrayView2D<const char>{_indexData.data() + _indexOffset, {_indexCount, size}, {std::ptrdiff_t(size), 1}};
}

std::vector<std::uint32_t> MeshData::indicesAsArray() const {
    QUILLMARSH_ASSERT(isIndexed(), "Trade::MeshData::indicesAsArray(): the mesh is not indexed", {});
    std::vector<std::uint32_t> out(_indexCount);
    const char* data = _indexData.data() + _indexOffset;
    for(std::uint32_t i = 0; i != _indexCount; ++i) {
        switch(_indexType) {
            case MeshIndexType::UnsignedByte: out[i] = std::uint8_t(data[i]); break;
            case MeshIndexType::UnsignedShort: { std::uint16_t v; std::memcpy(&v, data + 2*i, 2); out[i] = v; } break;
            case MeshIndexType::UnsignedInt: std::memcpy(&out[i], data + 4*i, 4); break;
        }
    }
    return out;
}

std::uint32_t MeshData::attributeCount(std::int32_t morphTargetId) const {
    std::uint32_t count = 0;
    for(const MeshAttributeData& a: _attributes) if(a.morphTargetId() == morphTargetId) ++count;
    return count;
}

std::uint32_t MeshData::attributeCount(MeshAttribute name, std::int32_t morphTargetId) const {
    std::uint32_t count = 0;
    for(const MeshAttributeData& a: _attributes) if(a.name() == name && a.morphTargetId() == morphTargetId) ++count;
    return count;
}

std::optional<std::uint32_t> MeshData::findAttributeId(MeshAttribute name, std::uint32_t id, std::int32_t morphTargetId) const {
    for(std::uint32_t i = 0; i != _attributes.size(); ++i) {
        if(_attributes[i].name() != name || _attributes[i].morphTargetId() != morphTargetId) continue;
        if(id-- == 0) return i;
    }
    return std::nullopt;
}

std::uint32_t MeshData::attributeId(MeshAttribute name, std::uint32_t id, std::int32_t morphTargetId) const {
    const std::optional<std::uint32_t> found = findAttributeId(name, id, morphTargetId);
    QUILLMARSH_ASSERT(found, "Trade::MeshData::attributeId(): index" << id << "out of range for" << attributeCount(name, morphTargetId) << name << "attributes", {});
    return *found;
}

const MeshAttributeData& MeshData::checkedAttribute(std::uint32_t i, const char* function) const {
    QUILLMARSH_ASSERT(i < _attributes.size(), function << "index" << i << "out of range for" << _attributes.size() << "attributes", _attributes[0]);
    return _attributes[i];
}

MeshAttributeData MeshData::attributeData(std::uint32_t i) const {
    const MeshAttributeData& a = checkedAttribute(i, "Trade::MeshData::attributeData():");
    return MeshAttributeData{a.name(), a.format(), a.data(_vertexData), a.arraySize(), a.morphTargetId()};
}

MeshAttribute MeshData::attributeName(std::uint32_t i) const { return checkedAttribute(i, "Trade::MeshData::attributeName():").name(); }
VertexFormat MeshData::attributeFormat(std::uint32_t i) const { return checkedAttribute(i, "Trade::MeshData::attributeFormat():").format(); }
std::size_t MeshData::attributeOffset(std::uint32_t i) const { return checkedAttribute(i, "Trade::MeshData::attributeOffset():").offset(_vertexData); }
std::int16_t MeshData::attributeStride(std::uint32_t i) const { return checkedAttribute(i, "Trade::MeshData::attributeStride():").stride(); }
std::uint16_t MeshData::attributeArraySize(std::uint32_t i) const { return checkedAttribute(i, "Trade::MeshData::attributeArraySize():").arraySize(); }
std::int8_t MeshData::attributeMorphTargetId(std::uint32_t i) const { return checkedAttribute(i, "Trade::MeshData::attributeMorphTargetId():").morphTargetId(); }

StridedArrayView2D<const char> MeshData::attribute(std::uint32_t i) const {
    const MeshAttributeData& a = checkedAttribute(i, "Trade::MeshData::attribute():");
    QUILLMARSH_ASSERT(!isVertexFormatImplementationSpecific(a.format()), "Trade::MeshData::attribute(): can't create a view of an implementation-specific format", {});
    const std::size_t size = std::size_t(vertexFormatSize(a.format()))*std::max<std::size_t>(a.arraySize(), 1);
    const StridedArrayView1D<const char> data = a.data(_vertexData);
    return StridedArrayView2D<const char>{data.data(), {_vertexCount, size}, {data.stride(), 1}};
}

StridedArrayView2D<char> MeshData::mutableAttribute(std::uint32_t i) {
    QUILLMARSH_ASSERT(_vertexDataFlags & DataFlag::Mutable, "Trade::MeshData::mutableAttribute(): vertex data not mutable", {});
    const StridedArrayView2D<const char> view = attribute(i);
    return StridedArrayView2D<char>{const_cast<char*>(view.data()), {view.size().rows, view.size().columns}, {view.stride().rows, view.stride().columns}};
}

}}
