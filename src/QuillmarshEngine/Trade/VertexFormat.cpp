#include "QuillmarshEngine/Trade/VertexFormat.h"

#include "QuillmarshEngine/Assert.h"

namespace QuillmarshEngine { namespace Trade {

namespace {

struct FormatInfo {
    std::uint8_t size;
    std::uint8_t componentCount;
    std::uint8_t componentFormat;
    std::uint8_t vectorCount;
    std::uint8_t vectorStride;
    bool normalized;
};

/* Indexed by value - 1 */
constexpr FormatInfo FormatInfos[]{
    {4, 1, 1, 1, 4, false}, /* Float */
    {2, 1, 2, 1, 2, false}, /* Half */
    {8, 1, 3, 1, 8, false}, /* Double */
    {1, 1, 4, 1, 1, false}, /* UnsignedByte */
    {1, 1, 4, 1, 1, true}, /* UnsignedByteNormalized */
    {1, 1, 6, 1, 1, false}, /* Byte */
    {1, 1, 6, 1, 1, true}, /* ByteNormalized */
    {2, 1, 8, 1, 2, false}, /* UnsignedShort */
    {2, 1, 8, 1, 2, true}, /* UnsignedShortNormalized */
    {2, 1, 10, 1, 2, false}, /* Short */
    {2, 1, 10, 1, 2, true}, /* ShortNormalized */
    {4, 1, 12, 1, 4, false}, /* UnsignedInt */
    {4, 1, 13, 1, 4, false}, /* Int */
    {8, 2, 1, 1, 8, false}, /* Vector2 */
    {4, 2, 2, 1, 4, false}, /* Vector2h */
    {16, 2, 3, 1, 16, false}, /* Vector2d */
    {2, 2, 4, 1, 2, false}, /* Vector2ub */
    {2, 2, 4, 1, 2, true}, /* Vector2ubNormalized */
    {2, 2, 6, 1, 2, false}, /* Vector2b */
    {2, 2, 6, 1, 2, true}, /* Vector2bNormalized */
    {4, 2, 8, 1, 4, false}, /* Vector2us */
    {4, 2, 8, 1, 4, true}, /* Vector2usNormalized */
    {4, 2, 10, 1, 4, false}, /* Vector2s */
    {4, 2, 10, 1, 4, true}, /* Vector2sNormalized */
    {8, 2, 12, 1, 8, false}, /* Vector2ui */
    {8, 2, 13, 1, 8, false}, /* Vector2i */
    {12, 3, 1, 1, 12, false}, /* Vector3 */
    {6, 3, 2, 1, 6, false}, /* Vector3h */
    {24, 3, 3, 1, 24, false}, /* Vector3d */
    {3, 3, 4, 1, 3, false}, /* Vector3ub */
    {3, 3, 4, 1, 3, true}, /* Vector3ubNormalized */
    {3, 3, 6, 1, 3, false}, /* Vector3b */
    {3, 3, 6, 1, 3, true}, /* Vector3bNormalized */
    {6, 3, 8, 1, 6, false}, /* Vector3us */
    {6, 3, 8, 1, 6, true}, /* Vector3usNormalized */
    {6, 3, 10, 1, 6, false}, /* Vector3s */
    {6, 3, 10, 1, 6, true}, /* Vector3sNormalized */
    {12, 3, 12, 1, 12, false}, /* Vector3ui */
    {12, 3, 13, 1, 12, false}, /* Vector3i */
    {16, 4, 1, 1, 16, false}, /* Vector4 */
    {8, 4, 2, 1, 8, false}, /* Vector4h */
    {32, 4, 3, 1, 32, false}, /* Vector4d */
    {4, 4, 4, 1, 4, false}, /* Vector4ub */
    {4, 4, 4, 1, 4, true}, /* Vector4ubNormalized */
    {4, 4, 6, 1, 4, false}, /* Vector4b */
    {4, 4, 6, 1, 4, true}, /* Vector4bNormalized */
    {8, 4, 8, 1, 8, false}, /* Vector4us */
    {8, 4, 8, 1, 8, true}, /* Vector4usNormalized */
    {8, 4, 10, 1, 8, false}, /* Vector4s */
    {8, 4, 10, 1, 8, true}, /* Vector4sNormalized */
    {16, 4, 12, 1, 16, false}, /* Vector4ui */
    {16, 4, 13, 1, 16, false}, /* Vector4i */
    {16, 2, 1, 2, 8, false}, /* Matrix2x2 */
    {8, 2, 2, 2, 4, false}, /* Matrix2x2h */
    {32, 2, 3, 2, 16, false}, /* Matrix2x2d */
    {4, 2, 6, 2, 2, true}, /* Matrix2x2bNormalized */
    {8, 2, 10, 2, 4, true}, /* Matrix2x2sNormalized */
    {24, 3, 1, 2, 12, false}, /* Matrix2x3 */
    {12, 3, 2, 2, 6, false}, /* Matrix2x3h */
    {48, 3, 3, 2, 24, false}, /* Matrix2x3d */
    {6, 3, 6, 2, 3, true}, /* Matrix2x3bNormalized */
    {12, 3, 10, 2, 6, true}, /* Matrix2x3sNormalized */
    {32, 4, 1, 2, 16, false}, /* Matrix2x4 */
    {16, 4, 2, 2, 8, false}, /* Matrix2x4h */
    {64, 4, 3, 2, 32, false}, /* Matrix2x4d */
    {8, 4, 6, 2, 4, true}, /* Matrix2x4bNormalized */
    {16, 4, 10, 2, 8, true}, /* Matrix2x4sNormalized */
    {8, 2, 6, 2, 4, true}, /* Matrix2x2bNormalizedAligned */
    {16, 3, 2, 2, 8, false}, /* Matrix2x3hAligned */
    {8, 3, 6, 2, 4, true}, /* Matrix2x3bNormalizedAligned */
    {16, 3, 10, 2, 8, true}, /* Matrix2x3sNormalizedAligned */
    {24, 2, 1, 3, 8, false}, /* Matrix3x2 */
    {12, 2, 2, 3, 4, false}, /* Matrix3x2h */
    {48, 2, 3, 3, 16, false}, /* Matrix3x2d */
    {6, 2, 6, 3, 2, true}, /* Matrix3x2bNormalized */
    {12, 2, 10, 3, 4, true}, /* Matrix3x2sNormalized */
    {36, 3, 1, 3, 12, false}, /* Matrix3x3 */
    {18, 3, 2, 3, 6, false}, /* Matrix3x3h */
    {72, 3, 3, 3, 24, false}, /* Matrix3x3d */
    {9, 3, 6, 3, 3, true}, /* Matrix3x3bNormalized */
    {18, 3, 10, 3, 6, true}, /* Matrix3x3sNormalized */
    {48, 4, 1, 3, 16, false}, /* Matrix3x4 */
    {24, 4, 2, 3, 8, false}, /* Matrix3x4h */
    {96, 4, 3, 3, 32, false}, /* Matrix3x4d */
    {12, 4, 6, 3, 4, true}, /* Matrix3x4bNormalized */
    {24, 4, 10, 3, 8, true}, /* Matrix3x4sNormalized */
    {12, 2, 6, 3, 4, true}, /* Matrix3x2bNormalizedAligned */
    {24, 3, 2, 3, 8, false}, /* Matrix3x3hAligned */
    {12, 3, 6, 3, 4, true}, /* Matrix3x3bNormalizedAligned */
    {24, 3, 10, 3, 8, true}, /* Matrix3x3sNormalizedAligned */
    {32, 2, 1, 4, 8, false}, /* Matrix4x2 */
    {16, 2, 2, 4, 4, false}, /* Matrix4x2h */
    {64, 2, 3, 4, 16, false}, /* Matrix4x2d */
    {8, 2, 6, 4, 2, true}, /* Matrix4x2bNormalized */
    {16, 2, 10, 4, 4, true}, /* Matrix4x2sNormalized */
    {48, 3, 1, 4, 12, false}, /* Matrix4x3 */
    {24, 3, 2, 4, 6, false}, /* Matrix4x3h */
    {96, 3, 3, 4, 24, false}, /* Matrix4x3d */
    {12, 3, 6, 4, 3, true}, /* Matrix4x3bNormalized */
    {24, 3, 10, 4, 6, true}, /* Matrix4x3sNormalized */
    {64, 4, 1, 4, 16, false}, /* Matrix4x4 */
    {32, 4, 2, 4, 8, false}, /* Matrix4x4h */
    {128, 4, 3, 4, 32, false}, /* Matrix4x4d */
    {16, 4, 6, 4, 4, true}, /* Matrix4x4bNormalized */
    {32, 4, 10, 4, 8, true}, /* Matrix4x4sNormalized */
    {16, 2, 6, 4, 4, true}, /* Matrix4x2bNormalizedAligned */
    {32, 3, 2, 4, 8, false}, /* Matrix4x3hAligned */
    {16, 3, 6, 4, 4, true}, /* Matrix4x3bNormalizedAligned */
    {32, 3, 10, 4, 8, true}, /* Matrix4x3sNormalizedAligned */
};

constexpr std::uint32_t FormatCount = sizeof(FormatInfos)/sizeof(FormatInfos[0]);
static_assert(FormatCount == 109, "every named vertex format has a row");

const FormatInfo& info(VertexFormat format, const char* function) {
    QUILLMARSH_ASSERT(!isVertexFormatImplementationSpecific(format),
        function << "can't be used with implementation-specific format" << Debug::hex << vertexFormatUnwrap(format), {});
    QUILLMARSH_ASSERT(isVertexFormatKnown(format), function << "invalid format" << format, {});
    return FormatInfos[std::uint32_t(format) - 1];
}

const char* name(VertexFormat value) {
    switch(value) {
        case VertexFormat::Float: return "Float";
        case VertexFormat::Half: return "Half";
        case VertexFormat::Double: return "Double";
        case VertexFormat::UnsignedByte: return "UnsignedByte";
        case VertexFormat::UnsignedByteNormalized: return "UnsignedByteNormalized";
        case VertexFormat::Byte: return "Byte";
        case VertexFormat::ByteNormalized: return "ByteNormalized";
        case VertexFormat::UnsignedShort: return "UnsignedShort";
        case VertexFormat::UnsignedShortNormalized: return "UnsignedShortNormalized";
        case VertexFormat::Short: return "Short";
        case VertexFormat::ShortNormalized: return "ShortNormalized";
        case VertexFormat::UnsignedInt: return "UnsignedInt";
        case VertexFormat::Int: return "Int";
        case VertexFormat::Vector2: return "Vector2";
        case VertexFormat::Vector2h: return "Vector2h";
        case VertexFormat::Vector2d: return "Vector2d";
        case VertexFormat::Vector2ub: return "Vector2ub";
        case VertexFormat::Vector2ubNormalized: return "Vector2ubNormalized";
        case VertexFormat::Vector2b: return "Vector2b";
        case VertexFormat::Vector2bNormalized: return "Vector2bNormalized";
        case VertexFormat::Vector2us: return "Vector2us";
        case VertexFormat::Vector2usNormalized: return "Vector2usNormalized";
        case VertexFormat::Vector2s: return "Vector2s";
        case VertexFormat::Vector2sNormalized: return "Vector2sNormalized";
        case VertexFormat::Vector2ui: return "Vector2ui";
        case VertexFormat::Vector2i: return "Vector2i";
        case VertexFormat::Vector3: return "Vector3";
        case VertexFormat::Vector3h: return "Vector3h";
        case VertexFormat::Vector3d: return "Vector3d";
        case VertexFormat::Vector3ub: return "Vector3ub";
        case VertexFormat::Vector3ubNormalized: return "Vector3ubNormalized";
        case VertexFormat::Vector3b: return "Vector3b";
        case VertexFormat::Vector3bNormalized: return "Vector3bNormalized";
        case VertexFormat::Vector3us: return "Vector3us";
        case VertexFormat::Vector3usNormalized: return "Vector3usNormalized";
        case VertexFormat::Vector3s: return "Vector3s";
        case VertexFormat::Vector3sNormalized: return "Vector3sNormalized";
        case VertexFormat::Vector3ui: return "Vector3ui";
        case VertexFormat::Vector3i: return "Vector3i";
        case VertexFormat::Vector4: return "Vector4";
        case VertexFormat::Vector4h: return "Vector4h";
        case VertexFormat::Vector4d: return "Vector4d";
        case VertexFormat::Vector4ub: return "Vector4ub";
        case VertexFormat::Vector4ubNormalized: return "Vector4ubNormalized";
        case VertexFormat::Vector4b: return "Vector4b";
        case VertexFormat::Vector4bNormalized: return "Vector4bNormalized";
        case VertexFormat::Vector4us: return "Vector4us";
        case VertexFormat::Vector4usNormalized: return "Vector4usNormalized";
        case VertexFormat::Vector4s: return "Vector4s";
        case VertexFormat::Vector4sNormalized: return "Vector4sNormalized";
        case VertexFormat::Vector4ui: return "Vector4ui";
        case VertexFormat::Vector4i: return "Vector4i";
        case VertexFormat::Matrix2x2: return "Matrix2x2";
        case VertexFormat::Matrix2x2h: return "Matrix2x2h";
        case VertexFormat::Matrix2x2d: return "Matrix2x2d";
        case VertexFormat::Matrix2x2bNormalized: return "Matrix2x2bNormalized";
        case VertexFormat::Matrix2x2sNormalized: return "Matrix2x2sNormalized";
        case VertexFormat::Matrix2x3: return "Matrix2x3";
        case VertexFormat::Matrix2x3h: return "Matrix2x3h";
        case VertexFormat::Matrix2x3d: return "Matrix2x3d";
        case VertexFormat::Matrix2x3bNormalized: return "Matrix2x3bNormalized";
        case VertexFormat::Matrix2x3sNormalized: return "Matrix2x3sNormalized";
        case VertexFormat::Matrix2x4: return "Matrix2x4";
        case VertexFormat::Matrix2x4h: return "Matrix2x4h";
        case VertexFormat::Matrix2x4d: return "Matrix2x4d";
        case VertexFormat::Matrix2x4bNormalized: return "Matrix2x4bNormalized";
        case VertexFormat::Matrix2x4sNormalized: return "Matrix2x4sNormalized";
        case VertexFormat::Matrix2x2bNormalizedAligned: return "Matrix2x2bNormalizedAligned";
        case VertexFormat::Matrix2x3hAligned: return "Matrix2x3hAligned";
        case VertexFormat::Matrix2x3bNormalizedAligned: return "Matrix2x3bNormalizedAligned";
        case VertexFormat::Matrix2x3sNormalizedAligned: return "Matrix2x3sNormalizedAligned";
        case VertexFormat::Matrix3x2: return "Matrix3x2";
        case VertexFormat::Matrix3x2h: return "Matrix3x2h";
        case VertexFormat::Matrix3x2d: return "Matrix3x2d";
        case VertexFormat::Matrix3x2bNormalized: return "Matrix3x2bNormalized";
        case VertexFormat::Matrix3x2sNormalized: return "Matrix3x2sNormalized";
        case VertexFormat::Matrix3x3: return "Matrix3x3";
        case VertexFormat::Matrix3x3h: return "Matrix3x3h";
        case VertexFormat::Matrix3x3d: return "Matrix3x3d";
        case VertexFormat::Matrix3x3bNormalized: return "Matrix3x3bNormalized";
        case VertexFormat::Matrix3x3sNormalized: return "Matrix3x3sNormalized";
        case VertexFormat::Matrix3x4: return "Matrix3x4";
        case VertexFormat::Matrix3x4h: return "Matrix3x4h";
        case VertexFormat::Matrix3x4d: return "Matrix3x4d";
        case VertexFormat::Matrix3x4bNormalized: return "Matrix3x4bNormalized";
        case VertexFormat::Matrix3x4sNormalized: return "Matrix3x4sNormalized";
        case VertexFormat::Matrix3x2bNormalizedAligned: return "Matrix3x2bNormalizedAligned";
        case VertexFormat::Matrix3x3hAligned: return "Matrix3x3hAligned";
        case VertexFormat::Matrix3x3bNormalizedAligned: return "Matrix3x3bNormalizedAligned";
        case VertexFormat::Matrix3x3sNormalizedAligned: return "Matrix3x3sNormalizedAligned";
        case VertexFormat::Matrix4x2: return "Matrix4x2";
        case VertexFormat::Matrix4x2h: return "Matrix4x2h";
        case VertexFormat::Matrix4x2d: return "Matrix4x2d";
        case VertexFormat::Matrix4x2bNormalized: return "Matrix4x2bNormalized";
        case VertexFormat::Matrix4x2sNormalized: return "Matrix4x2sNormalized";
        case VertexFormat::Matrix4x3: return "Matrix4x3";
        case VertexFormat::Matrix4x3h: return "Matrix4x3h";
        case VertexFormat::Matrix4x3d: return "Matrix4x3d";
        case VertexFormat::Matrix4x3bNormalized: return "Matrix4x3bNormalized";
        case VertexFormat::Matrix4x3sNormalized: return "Matrix4x3sNormalized";
        case VertexFormat::Matrix4x4: return "Matrix4x4";
        case VertexFormat::Matrix4x4h: return "Matrix4x4h";
        case VertexFormat::Matrix4x4d: return "Matrix4x4d";
        case VertexFormat::Matrix4x4bNormalized: return "Matrix4x4bNormalized";
        case VertexFormat::Matrix4x4sNormalized: return "Matrix4x4sNormalized";
        case VertexFormat::Matrix4x2bNormalizedAligned: return "Matrix4x2bNormalizedAligned";
        case VertexFormat::Matrix4x3hAligned: return "Matrix4x3hAligned";
        case VertexFormat::Matrix4x3bNormalizedAligned: return "Matrix4x3bNormalizedAligned";
        case VertexFormat::Matrix4x3sNormalizedAligned: return "Matrix4x3sNormalizedAligned";
    }
    return nullptr;
}

}

bool isVertexFormatKnown(VertexFormat format) {
    return std::uint32_t(format) >= 1 && std::uint32_t(format) <= FormatCount;
}

VertexFormat vertexFormatWrap(std::uint32_t value) {
    QUILLMARSH_ASSERT(!(value & 0x80000000u), "Trade::vertexFormatWrap(): implementation-specific value" << Debug::hex << value << "already wrapped or too large", {});
    return VertexFormat(0x80000000u|value);
}

std::uint32_t vertexFormatUnwrap(VertexFormat format) {
    QUILLMARSH_ASSERT(isVertexFormatImplementationSpecific(format), "Trade::vertexFormatUnwrap():" << format << "isn't a wrapped implementation-specific value", {});
    return std::uint32_t(format) & 0x7fffffffu;
}

std::uint32_t vertexFormatSize(VertexFormat format) {
    return info(format, "Trade::vertexFormatSize():").size;
}

std::uint32_t vertexFormatComponentCount(VertexFormat format) {
    return info(format, "Trade::vertexFormatComponentCount():").componentCount;
}

VertexFormat vertexFormatComponentFormat(VertexFormat format) {
    return VertexFormat(info(format, "Trade::vertexFormatComponentFormat():").componentFormat);
}

std::uint32_t vertexFormatVectorCount(VertexFormat format) {
    return info(format, "Trade::vertexFormatVectorCount():").vectorCount;
}

std::uint32_t vertexFormatVectorStride(VertexFormat format) {
    return info(format, "Trade::vertexFormatVectorStride():").vectorStride;
}

bool isVertexFormatNormalized(VertexFormat format) {
    return info(format, "Trade::isVertexFormatNormalized():").normalized;
}

VertexFormat vertexFormat(VertexFormat format, std::uint32_t componentCount, bool normalized) {
    const std::uint32_t scalar = std::uint32_t(format);
    QUILLMARSH_ASSERT(scalar >= 1 && scalar <= 13, "Trade::vertexFormat(): expected a scalar format, got" << format, {});
    QUILLMARSH_ASSERT(componentCount >= 1 && componentCount <= 4, "Trade::vertexFormat(): invalid component count" << componentCount, {});
    /* Normalized integer formats directly follow their plain twins */
    const bool normalizable = format == VertexFormat::UnsignedByte || format == VertexFormat::Byte ||
        format == VertexFormat::UnsignedShort || format == VertexFormat::Short;
    QUILLMARSH_ASSERT(!normalized || normalizable, "Trade::vertexFormat():" << format << "can't be made normalized", {});
    const std::uint32_t base = componentCount == 1 ? 0 : 14 + 13*(componentCount - 2) - 1;
    return VertexFormat(base + scalar + (normalized ? 1 : 0));
}

Debug& operator<<(Debug& debug, VertexFormat value) {
    if(isVertexFormatImplementationSpecific(value)) {
        debug << "VertexFormat::ImplementationSpecific(" << Debug::nospace << Debug::hex << (std::uint32_t(value) & 0x7fffffffu) << Debug::nospace << ")";
        return debug;
    }
    if(const char* n = name(value)) return Implementation::printEnumValue(debug, "VertexFormat", n);
    return Implementation::printUnknownEnum(debug, "VertexFormat", std::uint32_t(value));
}

}}
