#include "QuillmarshEngine/Tools/MeshFormat.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <string>

#include <meshoptimizer.h>
#include <sys/mman.h>

#include "QuillmarshEngine/Data/MeshData.h"
#include "QuillmarshEngine/Math/Packing.h"
#include "QuillmarshEngine/Tools/Implementation/VertexConversion.h"

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
    if(name) return QuillmarshEngine::Implementation::printEnumValue(debug, "MeshDataFlag", name);
    return QuillmarshEngine::Implementation::printUnknownEnum(debug, "MeshDataFlag", std::uint32_t(value));
}

Debug& operator<<(Debug& debug, MeshIndexCompression value) {
    const char* name = nullptr;
    switch(value) {
        case MeshIndexCompression::Sequence: name = "Sequence"; break;
        case MeshIndexCompression::Triangles: name = "Triangles"; break;
    }
    if(name) return QuillmarshEngine::Implementation::printEnumValue(debug, "MeshIndexCompression", name);
    return QuillmarshEngine::Implementation::printUnknownEnum(debug, "MeshIndexCompression", std::uint32_t(value));
}

Debug& operator<<(Debug& debug, MeshDataFlags value) {
    return QuillmarshEngine::Implementation::enumSetDebugOutput(debug, value, "MeshDataFlags{}", {
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

/* Capacity for size bytes, size 0. Large buffers ask for transparent huge pages before they are
   first touched: the page faults of a fresh buffer otherwise cost more than packing into it. */
std::vector<char> reservedStorage(std::size_t size) {
    std::vector<char> out;
    out.reserve(size);
    #ifdef MADV_HUGEPAGE
    constexpr std::uintptr_t HugePage = std::uintptr_t(2) << 20;
    if(size >= 2*HugePage) {
        const std::uintptr_t begin = (std::uintptr_t(out.data()) + HugePage - 1) & ~(HugePage - 1);
        const std::uintptr_t end = (std::uintptr_t(out.data()) + size) & ~(HugePage - 1);
        /* Only a hint: where the system has no huge pages nothing changes */
        if(end > begin) madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE);
    }
    #endif
    return out;
}

Trade::MeshData cloneWithLayout(const std::vector<Trade::MeshAttributeData>& layout, const Trade::MeshData& mesh) {
    const std::size_t stride = std::size_t(layout.front().stride());
    std::vector<char> vertexData = reservedStorage(stride*mesh.vertexCount());
    vertexData.resize(stride*mesh.vertexCount());
    std::vector<Trade::MeshAttributeData> attributes = layout;
    if(!mesh.isIndexed())
        return Trade::MeshData{mesh.primitive(), std::move(vertexData), std::move(attributes), mesh.vertexCount()};
    std::vector<char> indexData(std::size_t(mesh.indexCount())*4, '\0');
    const Trade::MeshIndexData indices{Trade::MeshIndexType::UnsignedInt, indexData};
    return Trade::MeshData{mesh.primitive(), std::move(indexData), indices, std::move(vertexData), std::move(attributes), mesh.vertexCount()};
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

/* The row conversion of an attribute when the column kernels handle its pair of formats: vectors
   of float, half or 8- and 16-bit components, as single elements or as arrays of equal vectors,
   at most eight scalars a row */
std::optional<Implementation::RowConversion> rowConversion(MeshAttribute name, VertexFormat srcFormat, std::uint16_t srcArraySize, VertexFormat dstFormat, std::uint16_t dstArraySize) {
    if(!isVectorFormat(srcFormat) || !isVectorFormat(dstFormat)) return {};
    const VertexFormat srcComponent = Trade::vertexFormatComponentFormat(srcFormat);
    const VertexFormat dstComponent = Trade::vertexFormatComponentFormat(dstFormat);
    if(!Implementation::isRowFormatSupported(Trade::vertexFormat(srcComponent, 1, Trade::isVertexFormatNormalized(srcFormat))) ||
       !Implementation::isRowFormatSupported(Trade::vertexFormat(dstComponent, 1, Trade::isVertexFormatNormalized(dstFormat))))
        return {};
    const std::uint32_t srcComponents = Trade::vertexFormatComponentCount(srcFormat);
    const std::uint32_t dstComponents = Trade::vertexFormatComponentCount(dstFormat);
    const std::uint32_t srcElements = std::max<std::uint32_t>(srcArraySize, 1);
    const std::uint32_t dstElements = std::max<std::uint32_t>(dstArraySize, 1);
    /* Arrays flatten into one row of scalars only when their vectors agree */
    const bool single = srcElements == 1 && dstElements == 1;
    if(!single && srcComponents != dstComponents) return {};
    if(srcElements*srcComponents > 8 || dstElements*dstComponents > 8) return {};
    return Implementation::RowConversion{
        Trade::vertexFormat(srcComponent, 1, Trade::isVertexFormatNormalized(srcFormat)), srcElements*srcComponents,
        Trade::vertexFormat(dstComponent, 1, Trade::isVertexFormatNormalized(dstFormat)), dstElements*dstComponents,
        single && (name == MeshAttribute::Color || name == MeshAttribute::Tangent)};
}

/* Rows [begin, begin + count) of a view */
template<class T> StridedArrayView2D<T> rows(const StridedArrayView2D<T>& view, std::size_t begin, std::size_t count) {
    return StridedArrayView2D<T>{reinterpret_cast<T*>(reinterpret_cast<typename StridedArrayView2D<T>::ByteType*>(view.data()) + std::ptrdiff_t(begin)*view.stride().rows),
        {count, view.size().columns}, view.stride()};
}

/* A mesh in the interleaved layout with every attribute of it that src has copied or converted,
   by name and instance. Each attribute is one job over its column: a byte copy (neighbours that
   sit next to each other in both meshes merge into one), a row conversion by the column kernels,
   or the general element-by-element conversion. Vertices go in blocks, every job of a block
   before the next block, so that the interleaved source and target stay in cache instead of
   being read from memory once per attribute (whole columns one after the other measured two to
   three times slower on a mesh of a million vertices). The vertex storage grows one block at a
   time as well: it is zeroed in cache right before the jobs write it, rather than in a pass of
   its own over memory ahead of them. */
Trade::MeshData convertWithLayout(const std::vector<Trade::MeshAttributeData>& layout, const Trade::MeshData& src) {
    enum class Kind { Copy, Rows, Convert };
    struct Job {
        Kind kind;
        MeshAttribute name;
        VertexFormat srcFormat, dstFormat;
        std::uint16_t srcArraySize, dstArraySize;
        StridedArrayView2D<const char> in;
        StridedArrayView2D<char> out;
        Implementation::RowConversion conversion;
    };

    const std::size_t stride = std::size_t(layout.front().stride());
    const std::size_t vertexCount = src.vertexCount();
    std::vector<char> vertexData = reservedStorage(stride*vertexCount);

    std::vector<Job> jobs;
    for(std::size_t i = 0; i != layout.size(); ++i) {
        const MeshAttribute name = layout[i].name();
        if(name == meshAttributeNormalFiller()) continue;
        std::uint32_t instance = 0;
        for(std::size_t j = 0; j != i; ++j) if(layout[j].name() == name) ++instance;
        const std::optional<std::uint32_t> id = src.findAttributeId(name, instance);
        if(!id) continue;

        const VertexFormat srcFormat = src.attributeFormat(*id);
        const VertexFormat dstFormat = layout[i].format();
        const std::uint16_t srcArraySize = src.attributeArraySize(*id);
        const std::uint16_t dstArraySize = layout[i].arraySize();
        if(Trade::isVertexFormatImplementationSpecific(srcFormat)) continue;

        /* The storage has its capacity already; each block is sized before it is written */
        const StridedArrayView2D<char> out{vertexData.data() + layout[i].offset({}),
            {vertexCount, Trade::vertexFormatSize(dstFormat)*std::max<std::size_t>(dstArraySize, 1)}, {std::ptrdiff_t(stride), 1}};
        Job job{Kind::Convert, name, srcFormat, dstFormat, srcArraySize, dstArraySize, src.attribute(*id), out, {}};
        if(srcFormat == dstFormat && srcArraySize == dstArraySize) job.kind = Kind::Copy;
        else if(const std::optional<Implementation::RowConversion> conversion = rowConversion(name, srcFormat, srcArraySize, dstFormat, dstArraySize)) {
            job.kind = Kind::Rows;
            job.conversion = *conversion;
        }

        /* A copy that continues the previous copy in both meshes widens it */
        if(job.kind == Kind::Copy && !jobs.empty() && jobs.back().kind == Kind::Copy) {
            Job& last = jobs.back();
            const std::size_t lastSize = last.in.size().columns;
            if(last.in.stride().rows == job.in.stride().rows && last.in.stride().columns == 1 && job.in.stride().columns == 1 &&
               last.in.data() + lastSize == job.in.data() && last.out.data() + lastSize == job.out.data() &&
               last.out.size().columns == lastSize && job.in.size().columns == job.out.size().columns) {
                const std::size_t size = lastSize + job.in.size().columns;
                last.in = StridedArrayView2D<const char>{last.in.data(), {last.in.size().rows, size}, last.in.stride()};
                last.out = StridedArrayView2D<char>{last.out.data(), {last.out.size().rows, size}, last.out.stride()};
                continue;
            }
        }
        jobs.push_back(job);
    }

    constexpr std::size_t BlockSize = 1024;
    for(std::size_t begin = 0; begin < vertexCount; begin += BlockSize) {
        const std::size_t count = std::min(BlockSize, vertexCount - begin);
        vertexData.resize((begin + count)*stride);
        for(const Job& job: jobs) {
            const StridedArrayView2D<const char> in = rows(job.in, begin, count);
            const StridedArrayView2D<char> out = rows(job.out, begin, count);
            switch(job.kind) {
                case Kind::Copy: copyRows(in, out); break;
                case Kind::Rows: Implementation::convertRows(job.conversion, in.data(), in.stride().rows, out.data(), out.stride().rows, count); break;
                case Kind::Convert: convertAttribute(job.name, job.srcFormat, job.srcArraySize, in, job.dstFormat, job.dstArraySize, out); break;
            }
        }
    }

    std::vector<Trade::MeshAttributeData> attributes = layout;
    if(!src.isIndexed())
        return Trade::MeshData{src.primitive(), std::move(vertexData), std::move(attributes), src.vertexCount()};
    std::vector<char> indexData(std::size_t(src.indexCount())*4);
    const std::vector<std::uint32_t> indices = src.indicesAsArray();
    if(!indices.empty()) std::memcpy(indexData.data(), indices.data(), indices.size()*4);
    const Trade::MeshIndexData indexView{Trade::MeshIndexType::UnsignedInt, indexData};
    return Trade::MeshData{src.primitive(), std::move(indexData), indexView, std::move(vertexData), std::move(attributes), src.vertexCount()};
}

}

Trade::MeshData cloneMeshDataUninitialized(MeshDataFlags layoutFlags, MeshDataFlags quantizedFlags, const Trade::MeshData& mesh) {
    return cloneWithLayout(getLayout(layoutFlags, quantizedFlags, mesh.vertexCount()), mesh);
}

Trade::MeshData cloneMeshData(MeshDataFlags layoutFlags, const Trade::MeshData& mesh) {
    return convertWithLayout(getLayout(layoutFlags, {}, mesh.vertexCount()), mesh);
}

Trade::MeshData packMesh(MeshDataFlags layoutFlags, MeshDataFlags quantizedFlags, const Trade::MeshData& mesh) {
    return convertWithLayout(getLayout(layoutFlags, expandQuantized(quantizedFlags), mesh.vertexCount()), mesh);
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
    return convertWithLayout(layoutOf(targetLayout, unpackFormats(targetLayout, unpackFlags, mesh), mesh.vertexCount()), mesh);
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

namespace {

/* Bytes of each row next to each other, as the column kernels read and write them */
bool isContiguousRows(const StridedArrayView2D<const char>& src, const StridedArrayView2D<char>& dst) {
    return src.stride().columns == 1 && dst.stride().columns == 1;
}

}

void packMeshAttributeDataInto(MeshAttribute attribute, const StridedArrayView2D<const char>& src, const StridedArrayView2D<char>& dst) {
    QUILLMARSH_ASSERT(src.size().rows == dst.size().rows, "Tools::packMeshAttributeDataInto(): expected" << src.size().rows << "destination rows, got" << dst.size().rows, );
    const bool toSigned = isFloatToSigned(attribute);
    if(!toSigned && !isFloatToUnsigned(attribute)) return copyRows(src, dst);

    const std::size_t count = std::min(src.size().columns/4, dst.size().columns/2);
    const std::size_t rest = dst.size().columns - count*2;
    /* Rows of up to eight values that fill the destination go through the column kernels */
    if(!rest && count && count <= 8 && isContiguousRows(src, dst))
        return Implementation::convertRows({VertexFormat::Float, std::uint32_t(count), toSigned ? VertexFormat::ShortNormalized : VertexFormat::UnsignedShortNormalized, std::uint32_t(count), false},
            src.data(), src.stride().rows, dst.data(), dst.stride().rows, src.size().rows);
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
    if(!rest && count && count <= 8 && isContiguousRows(src, dst))
        return Implementation::convertRows({fromSigned ? VertexFormat::ShortNormalized : VertexFormat::UnsignedShortNormalized, std::uint32_t(count), VertexFormat::Float, std::uint32_t(count), false},
            src.data(), src.stride().rows, dst.data(), dst.stride().rows, src.size().rows);
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

std::vector<char> compressMeshIndexData(const Trade::MeshData& mesh, const MeshIndexCompression compression) {
    QUILLMARSH_ASSERT(mesh.isIndexed(), "Tools::compressMeshIndexData(): the mesh is not indexed", {});
    QUILLMARSH_ASSERT(mesh.indexType() != Trade::MeshIndexType::UnsignedByte, "Tools::compressMeshIndexData(): expected 16- or 32-bit indices, got" << mesh.indexType(), {});
    QUILLMARSH_ASSERT(compression == MeshIndexCompression::Sequence || compression == MeshIndexCompression::Triangles,
        "Tools::compressMeshIndexData(): unknown" << compression, {});
    QUILLMARSH_ASSERT(compression != MeshIndexCompression::Triangles || mesh.indexCount() % 3 == 0,
        "Tools::compressMeshIndexData(): the triangle codec expects a multiple of three indices, got" << mesh.indexCount(), {});
    const std::vector<std::uint32_t> indices = mesh.indicesAsArray();
    const std::size_t vertexBound = std::max<std::size_t>(mesh.vertexCount(), 1);
    std::vector<char> out(compression == MeshIndexCompression::Triangles ?
        meshopt_encodeIndexBufferBound(indices.size(), vertexBound) :
        meshopt_encodeIndexSequenceBound(indices.size(), vertexBound));
    /* The bounds assume indices below the vertex count; leave room for any value */
    out.resize(out.size() + indices.size()*5 + 32);
    unsigned char* const to = reinterpret_cast<unsigned char*>(out.data());
    const std::size_t size = compression == MeshIndexCompression::Triangles ?
        meshopt_encodeIndexBuffer(to, out.size(), indices.data(), indices.size()) :
        meshopt_encodeIndexSequence(to, out.size(), indices.data(), indices.size());
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
        /* The codecs' first bytes differ: 0xe0 and up for triangles, 0xd0 and up for sequences */
        int status = -1;
        if(!compressed.empty() && (in[0] & 0xf0) == 0xe0) {
            if(indexCount % 3) return Result::fail("triangle-coded index data for " + std::to_string(indexCount) + " indices, not a multiple of three");
            status = meshopt_decodeIndexBuffer(indices.data(), indexCount, indexSize, in, compressed.size());
        } else status = meshopt_decodeIndexSequence(indices.data(), indexCount, indexSize, in, compressed.size());
        if(status != 0) return Result::fail("index data does not decode");
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
