#include "QuillmarshEngine/Tools/MeshFormat.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>

#include <meshoptimizer.h>

#include "QuillmarshEngine/Data/MeshData.h"
#include "QuillmarshEngine/Math/Packing.h"

namespace QuillmarshEngine { namespace Tools {

using Trade::MeshAttribute;
using Trade::VertexFormat;

Debug& operator<<(Debug& debug, MeshDataFlag value) {
    const char* name = nullptr;
    switch(value) {
        case MeshDataFlag::Position: name = "Position"; break;
        case MeshDataFlag::TextureCoordinates: name = "TextureCoordinates"; break;
        case MeshDataFlag::Normal: name = "Normal"; break;
        case MeshDataFlag::Tangent: name = "Tangent"; break;
        case MeshDataFlag::ObjectIds: name = "ObjectIds"; break;
        case MeshDataFlag::Skinning: name = "Skinning"; break;
        case MeshDataFlag::EightJoints: name = "EightJoints"; break;
        case MeshDataFlag::Color: name = "Color"; break;
        case MeshDataFlag::SecondTextureCoordinates: name = "SecondTextureCoordinates"; break;
        case MeshDataFlag::Slug: name = "Slug"; break;
        case MeshDataFlag::Quantized: name = "Quantized"; break;
    }
    if(name) return Implementation::printEnumValue(debug, "MeshDataFlag", name);
    return Implementation::printUnknownEnum(debug, "MeshDataFlag", std::uint32_t(value));
}

Debug& operator<<(Debug& debug, MeshDataFlags value) {
    return Implementation::enumSetDebugOutput(debug, value, "MeshDataFlags{}", {
        MeshDataFlag::Position, MeshDataFlag::TextureCoordinates, MeshDataFlag::Normal,
        MeshDataFlag::Tangent, MeshDataFlag::ObjectIds, MeshDataFlag::Skinning,
        MeshDataFlag::EightJoints, MeshDataFlag::Color, MeshDataFlag::SecondTextureCoordinates,
        MeshDataFlag::Slug, MeshDataFlag::Quantized});
}

namespace {

constexpr MeshAttribute custom(std::uint16_t id) {
    return MeshAttribute(Trade::MeshAttributeCustomBegin + id);
}

constexpr std::size_t NormalRow = 6;
constexpr std::size_t FillerRow = 7;

}

const std::array<MeshAttributeEntry, MeshAttributeCount> meshAttributes{{
    {0, MeshDataFlag::Position, MeshAttribute::Position, VertexFormat::Vector3, VertexFormat::Vector3, 0, 0, 0},
    {1, MeshDataFlag::TextureCoordinates, MeshAttribute::TextureCoordinates, VertexFormat::Vector2, VertexFormat::Vector2, 0, 0, 0},
    {10, MeshDataFlag::SecondTextureCoordinates, MeshAttribute::TextureCoordinates, VertexFormat::Vector2, VertexFormat::Vector2, 1, 0, 0},
    {2, MeshDataFlag::Color, MeshAttribute::Color, VertexFormat::Vector4, VertexFormat::Vector4usNormalized, 0, 0, 0},
    {3, MeshDataFlag::Tangent, MeshAttribute::Tangent, VertexFormat::Vector4, VertexFormat::Vector4sNormalized, 0, 0, 0},
    {4, MeshDataFlag::ObjectIds, MeshAttribute::ObjectId, VertexFormat::UnsignedInt, VertexFormat::UnsignedInt, 0, 0, 0},
    {5, MeshDataFlag::Normal, MeshAttribute::Normal, VertexFormat::Vector3, VertexFormat::Vector3sNormalized, 0, 0, 0},
    {5, MeshDataFlag::Normal, custom(42), VertexFormat{}, VertexFormat::UnsignedShort, 0, 0, 0},
    {6, MeshDataFlag::Skinning, MeshAttribute::JointIds, VertexFormat::UnsignedShort, VertexFormat::UnsignedShort, 0, 4, 8},
    {7, MeshDataFlag::Skinning, MeshAttribute::Weights, VertexFormat::Float, VertexFormat::UnsignedShortNormalized, 0, 4, 8},
    {0, MeshDataFlag::Slug, custom(4), VertexFormat::Vector2, VertexFormat::Vector2, 0, 0, 0},
    {11, MeshDataFlag::Slug, custom(5), VertexFormat::Vector2, VertexFormat::Vector2, 0, 0, 0},
    {12, MeshDataFlag::Slug, custom(6), VertexFormat::Vector4, VertexFormat::Vector4, 0, 0, 0},
    {13, MeshDataFlag::Slug, custom(7), VertexFormat::Vector4, VertexFormat::Vector4, 0, 0, 0},
    {14, MeshDataFlag::Slug, custom(8), VertexFormat::Vector4, VertexFormat::Vector4, 0, 0, 0},
    {2, MeshDataFlag::Slug, custom(9), VertexFormat::Vector4ubNormalized, VertexFormat::Vector4ubNormalized, 0, 0, 0}
}};

MeshAttribute meshAttributeNormalFiller() { return custom(42); }

namespace {

typedef std::array<VertexFormat, MeshAttributeCount> RowFormats;

MeshDataFlags expandQuantized(MeshDataFlags flags) {
    return flags >= MeshDataFlag::Quantized ? ~MeshDataFlags{} : flags;
}

/* Format of every row for a layout and quantization; VertexFormat{} marks a row not taken */
RowFormats rowFormats(MeshDataFlags layoutFlags, MeshDataFlags quantizedFlags) {
    quantizedFlags = expandQuantized(quantizedFlags);
    RowFormats formats{};
    for(std::size_t i = 0; i != MeshAttributeCount; ++i) {
        const MeshAttributeEntry& row = meshAttributes[i];
        if(!(layoutFlags >= row.flag)) continue;
        formats[i] = quantizedFlags >= row.flag ? row.quantizedFormat : row.format;
    }
    return formats;
}

MeshDataFlags defaultLayout(MeshDataFlags layoutFlags) {
    if(!(layoutFlags >= MeshDataFlag::Slug) && !layoutFlags) return MeshDataFlag::Position;
    return layoutFlags;
}

std::uint16_t rowArraySize(const MeshAttributeEntry& row, MeshDataFlags layoutFlags) {
    return layoutFlags >= MeshDataFlag::EightJoints && row.arraySizeEightJoints ? row.arraySizeEightJoints : row.arraySize;
}

}

/* Keep the two layout assertions below on the lines they report */
namespace {

std::vector<Trade::MeshAttributeData> layoutOf(MeshDataFlags layoutFlags, const RowFormats& formats, std::uint32_t vertexCount);

}

std::vector<Trade::MeshAttributeData> getLayout(MeshDataFlags layoutFlags, MeshDataFlags quantizedFlags, std::uint32_t vertexCount) {
    QUILLMARSH_INTERNAL_ASSERT_AT_LINE(!(layoutFlags >= MeshDataFlag::Slug && layoutFlags >= ~(MeshDataFlag::Slug | MeshDataFlag::ObjectIds)), 34);
    layoutFlags = defaultLayout(layoutFlags);
    return layoutOf(layoutFlags, rowFormats(layoutFlags, quantizedFlags), vertexCount);
}

namespace {

std::vector<Trade::MeshAttributeData> layoutOf(MeshDataFlags layoutFlags, const RowFormats& formats, std::uint32_t vertexCount) {
    /* First pass: the vertex size */
    std::uint32_t vertexSize = 0;
    for(std::size_t i = 0; i != MeshAttributeCount; ++i) {
        if(formats[i] == VertexFormat{}) continue;
        vertexSize += Trade::vertexFormatSize(formats[i])*std::max<std::uint32_t>(rowArraySize(meshAttributes[i], layoutFlags), 1);
    }

    /* Second pass: one offset-only attribute per taken row */
    std::vector<Trade::MeshAttributeData> attributes;
    std::uint32_t offset = 0;
    for(std::size_t i = 0; i != MeshAttributeCount; ++i) {
        if(formats[i] == VertexFormat{}) continue;
        const std::uint16_t arraySize = rowArraySize(meshAttributes[i], layoutFlags);
        attributes.emplace_back(meshAttributes[i].name, formats[i], offset, vertexCount, std::ptrdiff_t(vertexSize), arraySize, -1);
        offset += Trade::vertexFormatSize(formats[i])*std::max<std::uint32_t>(arraySize, 1);
    }
    QUILLMARSH_INTERNAL_ASSERT_AT_LINE(vertexSize > 0, 77);
    QUILLMARSH_INTERNAL_ASSERT_AT_LINE(offset > 0, 78);
    return attributes;
}

}

std::vector<Trade::MeshAttributeData> getLayout(MeshDataFlags layoutFlags, std::uint32_t vertexCount) {
    const MeshDataFlags quantizedFlags = layoutFlags >= MeshDataFlag::Quantized ? layoutFlags : MeshDataFlags{};
    return getLayout(layoutFlags & ~MeshDataFlags{MeshDataFlag::Quantized}, quantizedFlags, vertexCount);
}

MeshDataFlags getMeshFlags(const Trade::MeshData& mesh) {
    MeshDataFlags added, missing;
    for(const MeshAttributeEntry& row: meshAttributes) {
        if(row.format == VertexFormat{}) continue;
        const std::optional<std::uint32_t> id = mesh.findAttributeId(row.name, row.instance);
        if(id) {
            added |= row.flag;
            /* Only the joint rows grow with EightJoints; an array in another row (a custom
               attribute) says nothing about joints */
            if(row.arraySizeEightJoints && mesh.attributeArraySize(*id) > row.arraySize) added |= MeshDataFlag::EightJoints;
        } else {
            missing |= row.flag;
            /* Only the joint rows have an eight-joint size; missing either drops it too */
            if(row.arraySizeEightJoints) missing |= MeshDataFlag::EightJoints;
        }
    }
    return added & ~missing;
}

namespace {

Trade::MeshData cloneWithLayout(const std::vector<Trade::MeshAttributeData>& layout, const Trade::MeshData& mesh) {
    const std::size_t stride = std::size_t(layout.front().stride());
    std::vector<char> vertexData(stride*mesh.vertexCount(), '\0');
    std::vector<Trade::MeshAttributeData> attributes = layout;
    if(!mesh.isIndexed())
        return Trade::MeshData{mesh.primitive(), std::move(vertexData), std::move(attributes), mesh.vertexCount()};
    std::vector<char> indexData(std::size_t(mesh.indexCount())*4, '\0');
    const Trade::MeshIndexData indices{Trade::MeshIndexType::UnsignedInt, indexData};
    return Trade::MeshData{mesh.primitive(), std::move(indexData), indices, std::move(vertexData), std::move(attributes), mesh.vertexCount()};
}

void copyIndices(const Trade::MeshData& src, Trade::MeshData& dst) {
    if(!src.isIndexed()) return;
    const std::vector<std::uint32_t> indices = src.indicesAsArray();
    if(!indices.empty()) std::memcpy(dst.mutableIndexData().data(), indices.data(), indices.size()*4);
}

/* Scalar conversions go through the math library's half and normalized packing: packing
   clamps first and rounds half away from zero, unpacking divides by the largest value and clamps
   signed results at -1 */
template<class T> T packNormalized(double value) {
    return Math::pack<T>(float(value));
}

template<class T> double unpackNormalized(T value) {
    return Math::unpack<float>(value);
}

template<class T> T load(const char* at) {
    T value;
    std::memcpy(&value, at, sizeof(T));
    return value;
}

template<class T> void store(char* at, T value) {
    std::memcpy(at, &value, sizeof(T));
}

template<class T> T packInteger(double value) {
    const double low = double(std::numeric_limits<T>::min());
    const double high = double(std::numeric_limits<T>::max());
    return T(value >= low ? (value <= high ? std::round(value) : high) : low);
}

double readComponent(VertexFormat component, bool normalized, const char* at) {
    switch(component) {
        case VertexFormat::Float: return load<float>(at);
        case VertexFormat::Half: return Math::unpackHalf(load<std::uint16_t>(at));
        case VertexFormat::Double: return load<double>(at);
        case VertexFormat::UnsignedByte: return normalized ? unpackNormalized(load<std::uint8_t>(at)) : load<std::uint8_t>(at);
        case VertexFormat::Byte: return normalized ? unpackNormalized(load<std::int8_t>(at)) : load<std::int8_t>(at);
        case VertexFormat::UnsignedShort: return normalized ? unpackNormalized(load<std::uint16_t>(at)) : load<std::uint16_t>(at);
        case VertexFormat::Short: return normalized ? unpackNormalized(load<std::int16_t>(at)) : load<std::int16_t>(at);
        case VertexFormat::UnsignedInt: return load<std::uint32_t>(at);
        case VertexFormat::Int: return load<std::int32_t>(at);
        default: break;
    }
    QUILLMARSH_INTERNAL_ASSERT_UNREACHABLE();
}

void writeComponent(VertexFormat component, bool normalized, char* at, double value) {
    switch(component) {
        case VertexFormat::Float: return store(at, float(value));
        case VertexFormat::Half: return store(at, Math::packHalf(float(value)));
        case VertexFormat::Double: return store(at, value);
        case VertexFormat::UnsignedByte: return store(at, normalized ? packNormalized<std::uint8_t>(value) : packInteger<std::uint8_t>(value));
        case VertexFormat::Byte: return store(at, normalized ? packNormalized<std::int8_t>(value) : packInteger<std::int8_t>(value));
        case VertexFormat::UnsignedShort: return store(at, normalized ? packNormalized<std::uint16_t>(value) : packInteger<std::uint16_t>(value));
        case VertexFormat::Short: return store(at, normalized ? packNormalized<std::int16_t>(value) : packInteger<std::int16_t>(value));
        case VertexFormat::UnsignedInt: return store(at, packInteger<std::uint32_t>(value));
        case VertexFormat::Int: return store(at, packInteger<std::int32_t>(value));
        default: break;
    }
    QUILLMARSH_INTERNAL_ASSERT_UNREACHABLE();
}

bool isVectorFormat(VertexFormat format) {
    return Trade::isVertexFormatKnown(format) && Trade::vertexFormatVectorCount(format) == 1;
}

/* Rows of a size known at compile time: the copy becomes a plain load and store */
template<std::size_t size> void copyRowsFixed(const StridedArrayView2D<const char>& src, const StridedArrayView2D<char>& dst) {
    const char* in = src.data();
    char* out = dst.data();
    const std::ptrdiff_t inStride = src.stride().rows, outStride = dst.stride().rows;
    for(std::size_t i = 0; i != src.size().rows; ++i, in += inStride, out += outStride)
        std::memcpy(out, in, size);
}

void copyRows(const StridedArrayView2D<const char>& src, const StridedArrayView2D<char>& dst) {
    const std::size_t size = std::min(src.size().columns, dst.size().columns);
    const std::size_t rest = dst.size().columns - size;
    if(!rest) switch(size) {
        case 2: return copyRowsFixed<2>(src, dst);
        case 4: return copyRowsFixed<4>(src, dst);
        case 8: return copyRowsFixed<8>(src, dst);
        case 12: return copyRowsFixed<12>(src, dst);
        case 16: return copyRowsFixed<16>(src, dst);
        case 32: return copyRowsFixed<32>(src, dst);
    }
    for(std::size_t i = 0; i != src.size().rows; ++i) {
        char* out = &dst[i][0];
        std::memcpy(out, &src[i][0], size);
        if(rest) std::memset(out + size, 0, rest);
    }
}

/* Same result as Math::pack<T>() for every float, which the tests check: the product is taken in
   float as there, and rounding half away from zero is exact in double at these magnitudes, so
   truncating the shifted value replaces the libm round() call of the hot loop */
template<class T> inline T packNormalizedFast(float value) {
    constexpr float low = std::is_signed_v<T> ? -1.0f : 0.0f;
    /* NaN fails both comparisons and packs to 0 */
    const float clamped = value >= low ? (value <= 1.0f ? value : 1.0f) : (value < low ? low : 0.0f);
    const float product = clamped*float(std::numeric_limits<T>::max());
    return T(double(product) + (product < 0.0f ? -0.5 : 0.5));
}

template<class T, std::size_t count> void packRowsFixed(const StridedArrayView2D<const char>& src, const StridedArrayView2D<char>& dst) {
    const char* in = src.data();
    char* out = dst.data();
    const std::ptrdiff_t inStride = src.stride().rows, outStride = dst.stride().rows;
    for(std::size_t v = 0; v != src.size().rows; ++v, in += inStride, out += outStride) {
        float values[count];
        T packed[count];
        std::memcpy(values, in, sizeof(values));
        for(std::size_t c = 0; c != count; ++c) packed[c] = packNormalizedFast<T>(values[c]);
        std::memcpy(out, packed, sizeof(packed));
    }
}

/* Converts one attribute between any two scalar/vector formats and array sizes, element by
   element and component by component; what does not fit is dropped, what is missing is zero
   (or one for the alpha of a colour and the bitangent sign of a tangent) */
void convertAttribute(MeshAttribute name, VertexFormat srcFormat, std::uint16_t srcArraySize, const StridedArrayView2D<const char>& src, VertexFormat dstFormat, std::uint16_t dstArraySize, const StridedArrayView2D<char>& dst) {
    if(srcFormat == dstFormat && srcArraySize == dstArraySize) return copyRows(src, dst);
    if(!isVectorFormat(srcFormat) || !isVectorFormat(dstFormat)) return copyRows(src, dst);

    const VertexFormat srcComponent = Trade::vertexFormatComponentFormat(srcFormat);
    const VertexFormat dstComponent = Trade::vertexFormatComponentFormat(dstFormat);
    const bool srcNormalized = Trade::isVertexFormatNormalized(srcFormat);
    const bool dstNormalized = Trade::isVertexFormatNormalized(dstFormat);
    const std::uint32_t srcComponents = Trade::vertexFormatComponentCount(srcFormat);
    const std::uint32_t dstComponents = Trade::vertexFormatComponentCount(dstFormat);
    const std::uint32_t srcComponentSize = Trade::vertexFormatSize(srcComponent);
    const std::uint32_t dstComponentSize = Trade::vertexFormatSize(dstComponent);
    const std::uint32_t srcElementSize = Trade::vertexFormatSize(srcFormat);
    const std::uint32_t dstElementSize = Trade::vertexFormatSize(dstFormat);
    const std::uint32_t srcElements = std::max<std::uint32_t>(srcArraySize, 1);
    const std::uint32_t dstElements = std::max<std::uint32_t>(dstArraySize, 1);
    const bool oneForFourth = name == MeshAttribute::Color || name == MeshAttribute::Tangent;

    for(std::size_t v = 0; v != src.size().rows; ++v) {
        const char* in = &src[v][0];
        char* out = &dst[v][0];
        for(std::uint32_t e = 0; e != dstElements; ++e) {
            for(std::uint32_t c = 0; c != dstComponents; ++c) {
                double value = 0.0;
                if(e < srcElements && c < srcComponents)
                    value = readComponent(srcComponent, srcNormalized, in + e*srcElementSize + c*srcComponentSize);
                else if(e < srcElements && c == 3 && oneForFourth)
                    value = 1.0;
                writeComponent(dstComponent, dstNormalized, out + e*dstElementSize + c*dstComponentSize, value);
            }
        }
    }
}

bool isFloatToSigned(MeshAttribute name) { return name == MeshAttribute::Normal || name == MeshAttribute::Tangent; }
bool isFloatToUnsigned(MeshAttribute name) { return name == MeshAttribute::Color || name == MeshAttribute::Weights; }

/* Copies or converts every attribute of dst that src has, by name and instance */
/* Rows [begin, begin + count) of a view */
template<class T> StridedArrayView2D<T> rows(const StridedArrayView2D<T>& view, std::size_t begin, std::size_t count) {
    return StridedArrayView2D<T>{reinterpret_cast<T*>(reinterpret_cast<typename StridedArrayView2D<T>::ByteType*>(view.data()) + std::ptrdiff_t(begin)*view.stride().rows),
        {count, view.size().columns}, view.stride()};
}

/* Copies or converts every attribute of dst that src has, by name and instance. Vertices are
   done in blocks, every attribute of a block before the next, so that interleaved source and
   target stay in cache instead of being streamed from memory once per attribute. */
void convertAttributes(const Trade::MeshData& src, Trade::MeshData& dst) {
    enum class Kind { Pack, Unpack, Convert };
    struct Job {
        Kind kind;
        MeshAttribute name;
        VertexFormat srcFormat, dstFormat;
        std::uint16_t srcArraySize, dstArraySize;
        StridedArrayView2D<const char> in;
        StridedArrayView2D<char> out;
    };
    std::vector<Job> jobs;
    for(std::uint32_t i = 0; i != dst.attributeCount(); ++i) {
        const MeshAttribute name = dst.attributeName(i);
        if(name == meshAttributeNormalFiller()) continue;
        std::uint32_t instance = 0;
        for(std::uint32_t j = 0; j != i; ++j) if(dst.attributeName(j) == name) ++instance;
        const std::optional<std::uint32_t> id = src.findAttributeId(name, instance);
        if(!id) continue;

        const VertexFormat srcFormat = src.attributeFormat(*id);
        const VertexFormat dstFormat = dst.attributeFormat(i);
        const std::uint16_t srcArraySize = src.attributeArraySize(*id);
        const std::uint16_t dstArraySize = dst.attributeArraySize(i);
        if(Trade::isVertexFormatImplementationSpecific(srcFormat)) continue;

        /* The common cases of the table go through the batch packers */
        Kind kind = Kind::Convert;
        if(srcArraySize == dstArraySize && Trade::isVertexFormatKnown(srcFormat)) {
            const VertexFormat srcComponent = Trade::vertexFormatComponentFormat(srcFormat);
            const VertexFormat dstComponent = Trade::vertexFormatComponentFormat(dstFormat);
            const bool sameCount = Trade::vertexFormatComponentCount(srcFormat) == Trade::vertexFormatComponentCount(dstFormat);
            const bool floatToPacked = srcComponent == VertexFormat::Float && Trade::isVertexFormatNormalized(dstFormat) &&
                ((isFloatToSigned(name) && dstComponent == VertexFormat::Short) || (isFloatToUnsigned(name) && dstComponent == VertexFormat::UnsignedShort));
            const bool packedToFloat = dstComponent == VertexFormat::Float && Trade::isVertexFormatNormalized(srcFormat) &&
                ((isFloatToSigned(name) && srcComponent == VertexFormat::Short) || (isFloatToUnsigned(name) && srcComponent == VertexFormat::UnsignedShort));
            if(sameCount && floatToPacked) kind = Kind::Pack;
            else if(sameCount && packedToFloat) kind = Kind::Unpack;
        }
        jobs.push_back({kind, name, srcFormat, dstFormat, srcArraySize, dstArraySize, src.attribute(*id), dst.mutableAttribute(i)});
    }

    constexpr std::size_t BlockSize = 1024;
    const std::size_t vertexCount = dst.vertexCount();
    for(std::size_t begin = 0; begin < vertexCount; begin += BlockSize) {
        const std::size_t count = std::min(BlockSize, vertexCount - begin);
        for(const Job& job: jobs) {
            const StridedArrayView2D<const char> in = rows(job.in, begin, count);
            const StridedArrayView2D<char> out = rows(job.out, begin, count);
            switch(job.kind) {
                case Kind::Pack: packMeshAttributeDataInto(job.name, in, out); break;
                case Kind::Unpack: unpackMeshAttributeDataInto(job.name, in, out); break;
                case Kind::Convert: convertAttribute(job.name, job.srcFormat, job.srcArraySize, in, job.dstFormat, job.dstArraySize, out); break;
            }
        }
    }
}

}

Trade::MeshData cloneMeshDataUninitialized(MeshDataFlags layoutFlags, MeshDataFlags quantizedFlags, const Trade::MeshData& mesh) {
    return cloneWithLayout(getLayout(layoutFlags, quantizedFlags, mesh.vertexCount()), mesh);
}

Trade::MeshData cloneMeshData(MeshDataFlags layoutFlags, const Trade::MeshData& mesh) {
    Trade::MeshData out = cloneMeshDataUninitialized(layoutFlags, {}, mesh);
    copyIndices(mesh, out);
    convertAttributes(mesh, out);
    return out;
}

Trade::MeshData packMesh(MeshDataFlags layoutFlags, MeshDataFlags quantizedFlags, const Trade::MeshData& mesh) {
    Trade::MeshData out = cloneMeshDataUninitialized(layoutFlags, expandQuantized(quantizedFlags), mesh);
    copyIndices(mesh, out);
    convertAttributes(mesh, out);
    return out;
}

Trade::MeshData packMesh(MeshDataFlags quantizedFlags, const Trade::MeshData& mesh) {
    return packMesh(getMeshFlags(mesh), quantizedFlags, mesh);
}

/* Keep the unpack assertion below on the line it reports */
namespace {

RowFormats unpackFormats(MeshDataFlags targetLayout, MeshDataFlags unpackFlags, const Trade::MeshData& mesh);

}

Trade::MeshData unpackMesh(MeshDataFlags targetLayout, MeshDataFlags unpackFlags, const Trade::MeshData& mesh) {
    QUILLMARSH_INTERNAL_ASSERT_AT_LINE(!(targetLayout >= MeshDataFlag::Quantized), 188);
    targetLayout = defaultLayout(targetLayout);
    Trade::MeshData out = cloneWithLayout(layoutOf(targetLayout, unpackFormats(targetLayout, unpackFlags, mesh), mesh.vertexCount()), mesh);
    copyIndices(mesh, out);
    convertAttributes(mesh, out);
    return out;
}

namespace {

RowFormats unpackFormats(MeshDataFlags targetLayout, MeshDataFlags unpackFlags, const Trade::MeshData& mesh) {
    unpackFlags = expandQuantized(unpackFlags);
    /* Attributes not unpacked stay quantized, except where the source holds the plain format:
       a mesh that was never quantized keeps its floats. The complement must not carry the
       Quantized shorthand, which would quantize everything. */
    RowFormats formats = rowFormats(targetLayout, ~unpackFlags & ~MeshDataFlags{MeshDataFlag::Quantized});
    for(std::size_t i = 0; i != MeshAttributeCount; ++i) {
        const MeshAttributeEntry& row = meshAttributes[i];
        if(formats[i] == VertexFormat{} || unpackFlags >= row.flag || i == FillerRow) continue;
        const std::optional<std::uint32_t> id = mesh.findAttributeId(row.name, row.instance);
        if(id && mesh.attributeFormat(*id) == row.format) formats[i] = row.format;
    }
    /* The filler only pads a quantized normal */
    if(formats[NormalRow] != meshAttributes[NormalRow].quantizedFormat || meshAttributes[NormalRow].quantizedFormat == meshAttributes[NormalRow].format)
        formats[FillerRow] = VertexFormat{};
    return formats;
}

}

Trade::MeshData unpackMesh(MeshDataFlags unpackFlags, const Trade::MeshData& mesh) {
    return unpackMesh(getMeshFlags(mesh), unpackFlags, mesh);
}

void packMeshAttributeDataInto(MeshAttribute attribute, const StridedArrayView2D<const char>& src, const StridedArrayView2D<char>& dst) {
    QUILLMARSH_ASSERT(src.size().rows == dst.size().rows, "Tools::packMeshAttributeDataInto(): expected" << src.size().rows << "destination rows, got" << dst.size().rows, );
    const bool toSigned = isFloatToSigned(attribute);
    if(!toSigned && !isFloatToUnsigned(attribute)) return copyRows(src, dst);

    const std::size_t count = std::min(src.size().columns/4, dst.size().columns/2);
    const std::size_t rest = dst.size().columns - count*2;
    /* The layout's own cases: three or four components, or four weights, filling the row */
    if(!rest && count == 3 && toSigned) return packRowsFixed<std::int16_t, 3>(src, dst);
    if(!rest && count == 4 && toSigned) return packRowsFixed<std::int16_t, 4>(src, dst);
    if(!rest && count == 4 && !toSigned) return packRowsFixed<std::uint16_t, 4>(src, dst);
    if(!rest && count == 8 && !toSigned) return packRowsFixed<std::uint16_t, 8>(src, dst);
    for(std::size_t v = 0; v != src.size().rows; ++v) {
        const char* in = &src[v][0];
        char* out = &dst[v][0];
        if(toSigned) for(std::size_t c = 0; c != count; ++c)
            store(out + 2*c, packNormalized<std::int16_t>(load<float>(in + 4*c)));
        else for(std::size_t c = 0; c != count; ++c)
            store(out + 2*c, packNormalized<std::uint16_t>(load<float>(in + 4*c)));
        if(rest) std::memset(out + count*2, 0, rest);
    }
}

void unpackMeshAttributeDataInto(MeshAttribute attribute, const StridedArrayView2D<const char>& src, const StridedArrayView2D<char>& dst) {
    QUILLMARSH_ASSERT(src.size().rows == dst.size().rows, "Tools::unpackMeshAttributeDataInto(): expected" << src.size().rows << "destination rows, got" << dst.size().rows, );
    const bool fromSigned = isFloatToSigned(attribute);
    if(!fromSigned && !isFloatToUnsigned(attribute)) return copyRows(src, dst);

    const std::size_t count = std::min(src.size().columns/2, dst.size().columns/4);
    const std::size_t rest = dst.size().columns - count*4;
    for(std::size_t v = 0; v != src.size().rows; ++v) {
        const char* in = &src[v][0];
        char* out = &dst[v][0];
        if(fromSigned) for(std::size_t c = 0; c != count; ++c)
            store(out + 4*c, float(unpackNormalized(load<std::int16_t>(in + 2*c))));
        else for(std::size_t c = 0; c != count; ++c)
            store(out + 4*c, float(unpackNormalized(load<std::uint16_t>(in + 2*c))));
        if(rest) std::memset(out + count*4, 0, rest);
    }
}

Data::AssetChunk createMeshChunk(const Trade::MeshData& mesh, std::span<const char> compressedVertexData, std::span<const char> compressedIndexData, const BoundingSphere& boundingSphere, std::vector<char>& out) {
    std::vector<Data::MeshData::MeshAttributeData32> attributes(mesh.attributeCount());
    for(std::uint32_t i = 0; i != mesh.attributeCount(); ++i) {
        const std::size_t offset = mesh.attributeOffset(i);
        QUILLMARSH_ASSERT(offset <= 0xffffffffu && !Trade::isVertexFormatImplementationSpecific(mesh.attributeFormat(i)),
            "Tools::createMeshChunk(): attribute" << i << "can't be stored", {});
        attributes[i] = {std::uint32_t(mesh.attributeFormat(i)), std::uint16_t(mesh.attributeName(i)), 1,
            mesh.attributeMorphTargetId(i), mesh.vertexCount(), mesh.attributeStride(i),
            mesh.attributeArraySize(i), std::uint32_t(offset)};
    }

    std::span<const char> indexData;
    if(mesh.isIndexed())
        indexData = mesh.indexData().subspan(mesh.indexOffset(), std::size_t(mesh.indexCount())*Trade::meshIndexTypeSize(mesh.indexType()));

    Data::MeshDataChunkHeader header{};
    header.vertexCount = mesh.vertexCount();
    header.indexCount = mesh.isIndexed() ? mesh.indexCount() : 0;
    header.indexType = mesh.isIndexed() ? mesh.indexType() : Trade::MeshIndexType::UnsignedInt;
    header.compressionFlags = (compressedVertexData.empty() ? 0 : Data::MeshData::VertexDataCompressed) |
        (compressedIndexData.empty() ? 0 : Data::MeshData::IndexDataCompressed);
    header.boundingSphere = boundingSphere;
    return Data::createMeshDataChunk(header, attributes,
        compressedVertexData.empty() ? mesh.vertexData() : compressedVertexData,
        compressedIndexData.empty() ? indexData : compressedIndexData, out);
}

std::vector<char> compressMeshVertexData(const Trade::MeshData& mesh) {
    QUILLMARSH_ASSERT(mesh.attributeCount(), "Tools::compressMeshVertexData(): the mesh has no attributes", {});
    const std::int32_t stride = mesh.attributeStride(0);
    for(std::uint32_t i = 1; i != mesh.attributeCount(); ++i)
        QUILLMARSH_ASSERT(mesh.attributeStride(i) == stride, "Tools::compressMeshVertexData(): attribute" << i << "has stride" << mesh.attributeStride(i) << "instead of" << stride, {});
    QUILLMARSH_ASSERT(stride > 0 && stride <= 256 && stride % 4 == 0, "Tools::compressMeshVertexData(): expected a stride divisible by 4 and at most 256, got" << stride, {});
    QUILLMARSH_ASSERT(mesh.vertexData().size() == std::size_t(stride)*mesh.vertexCount(),
        "Tools::compressMeshVertexData(): expected" << std::size_t(stride)*mesh.vertexCount() << "bytes of vertex data, got" << mesh.vertexData().size(), {});
    std::vector<char> out(meshopt_encodeVertexBufferBound(mesh.vertexCount(), std::size_t(stride)));
    const std::size_t size = meshopt_encodeVertexBuffer(reinterpret_cast<unsigned char*>(out.data()), out.size(), mesh.vertexData().data(), mesh.vertexCount(), std::size_t(stride));
    QUILLMARSH_INTERNAL_ASSERT(size);
    out.resize(size);
    return out;
}

std::vector<char> compressMeshIndexData(const Trade::MeshData& mesh) {
    QUILLMARSH_ASSERT(mesh.isIndexed(), "Tools::compressMeshIndexData(): the mesh is not indexed", {});
    QUILLMARSH_ASSERT(mesh.indexType() != Trade::MeshIndexType::UnsignedByte, "Tools::compressMeshIndexData(): expected 16- or 32-bit indices, got" << mesh.indexType(), {});
    const std::vector<std::uint32_t> indices = mesh.indicesAsArray();
    /* The sequence codec keeps every index where it was; the index buffer codec would rotate
       triangles, and a chunk has to give back exactly what was stored */
    std::vector<char> out(meshopt_encodeIndexSequenceBound(indices.size(), std::max<std::size_t>(mesh.vertexCount(), 1)));
    /* The bound assumes indices below the vertex count; leave room for any value */
    out.resize(out.size() + indices.size()*5 + 32);
    const std::size_t size = meshopt_encodeIndexSequence(reinterpret_cast<unsigned char*>(out.data()), out.size(), indices.data(), indices.size());
    QUILLMARSH_INTERNAL_ASSERT(size);
    out.resize(size);
    return out;
}

Utils::Result<Trade::MeshData> decompressMesh(const Data::MeshData& data) {
    typedef Utils::Result<Trade::MeshData> Result;
    const std::uint32_t vertexCount = data.vertexCount();
    const std::uint32_t attributeCount = data.attributeCount();
    if(std::uint64_t(Data::MeshData::HeaderSize) + std::uint64_t(attributeCount)*20 > data.data().size())
        return Result::fail("attribute table outside the record");

    /* Vertex bytes: the stride shared by all attributes tells the decoded size */
    std::vector<char> vertices;
    if(data.isVertexDataCompressed()) {
        if(!attributeCount) return Result::fail("compressed vertex data without attributes");
        const std::int32_t stride = data.attribute(0).stride;
        for(std::uint32_t i = 1; i != attributeCount; ++i)
            if(data.attribute(i).stride != stride) return Result::fail("compressed vertex data with attributes of different strides");
        if(stride <= 0 || stride > 256 || stride % 4)
            return Result::fail("compressed vertex data with a stride of " + std::to_string(stride));
        const std::span<const char> compressed = data.vertexData();
        /* The codec spends at least one byte per 64 decoded bytes; a larger claim is corrupt and
           must not make us allocate it */
        const std::uint64_t decodedSize = std::uint64_t(vertexCount)*std::uint64_t(stride);
        if(decodedSize > 64*std::uint64_t(compressed.size()))
            return Result::fail("compressed vertex data of " + std::to_string(compressed.size()) + " bytes can't hold " + std::to_string(vertexCount) + " vertices");
        vertices.resize(std::size_t(decodedSize));
        if(meshopt_decodeVertexBuffer(vertices.data(), vertexCount, std::size_t(stride), reinterpret_cast<const unsigned char*>(compressed.data()), compressed.size()) != 0)
            return Result::fail("vertex data does not decode");
    } else {
        const std::span<const char> stored = data.vertexData();
        vertices.assign(stored.begin(), stored.end());
    }

    std::vector<Trade::MeshAttributeData> attributes = data.attributeDataCopy();
    for(std::uint32_t i = 0; i != attributeCount; ++i) {
        const Trade::MeshAttributeData& a = attributes[i];
        if(!Trade::isVertexFormatKnown(a.format()) || a.vertexCount() != vertexCount)
            return Result::fail("attribute " + std::to_string(i) + " is invalid");
        if(!vertexCount) continue;
        const std::int64_t size = std::int64_t(Trade::vertexFormatSize(a.format()))*std::max<std::int64_t>(a.arraySize(), 1);
        const std::int64_t span = std::int64_t(vertexCount - 1)*a.stride();
        const std::int64_t begin = std::int64_t(a.offset({})) + std::min<std::int64_t>(span, 0);
        const std::int64_t end = std::int64_t(a.offset({})) + size + std::max<std::int64_t>(span, 0);
        if(begin < 0 || end > std::int64_t(vertices.size()))
            return Result::fail("attribute " + std::to_string(i) + " lies outside the vertex data");
    }

    const std::uint32_t indexCount = data.indexCount();
    if(!indexCount) {
        if(data.isIndexDataCompressed() && !data.indexData().empty())
            return Result::fail("compressed index data for a non-indexed mesh");
        return Trade::MeshData{Trade::MeshPrimitive::Triangles, std::move(vertices), std::move(attributes), vertexCount};
    }

    const Trade::MeshIndexType indexType = data.indexType();
    if(indexType != Trade::MeshIndexType::UnsignedByte && indexType != Trade::MeshIndexType::UnsignedShort && indexType != Trade::MeshIndexType::UnsignedInt)
        return Result::fail("invalid index type " + std::to_string(std::uint32_t(indexType)));
    const std::size_t indexSize = Trade::meshIndexTypeSize(indexType);
    std::vector<char> indices;
    if(data.isIndexDataCompressed()) {
        if(indexSize == 1) return Result::fail("compressed 8-bit indices");
        const std::span<const char> compressed = data.indexData();
        if(std::uint64_t(indexCount)*indexSize > 64*std::uint64_t(compressed.size()))
            return Result::fail("compressed index data of " + std::to_string(compressed.size()) + " bytes can't hold " + std::to_string(indexCount) + " indices");
        indices.resize(std::size_t(indexCount)*indexSize);
        const unsigned char* in = reinterpret_cast<const unsigned char*>(compressed.data());
        if(meshopt_decodeIndexSequence(indices.data(), indexCount, indexSize, in, compressed.size()) != 0) return Result::fail("index data does not decode");
    } else {
        const std::span<const char> stored = data.indexData();
        if(std::uint64_t(indexCount)*indexSize > stored.size())
            return Result::fail("index data too small for " + std::to_string(indexCount) + " indices");
        indices.assign(stored.begin(), stored.begin() + std::ptrdiff_t(indexCount*indexSize));
    }
    /* A renderer reads the vertex an index names without checking */
    for(std::uint32_t i = 0; i != indexCount; ++i) {
        std::uint32_t value = 0;
        std::memcpy(&value, indices.data() + std::size_t(i)*indexSize, indexSize);
        if(value >= vertexCount)
            return Result::fail("index " + std::to_string(i) + " of value " + std::to_string(value) + " points past the " + std::to_string(vertexCount) + " vertices");
    }
    const Trade::MeshIndexData indexView{indexType, indices};
    return Trade::MeshData{Trade::MeshPrimitive::Triangles, std::move(indices), indexView, std::move(vertices), std::move(attributes), vertexCount};
}

}}
