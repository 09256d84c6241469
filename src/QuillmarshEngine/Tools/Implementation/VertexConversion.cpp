#include "VertexConversion.h"

#include <cmath>
#include <cstring>
#include <limits>

#if defined(__x86_64__)
#include <cpuid.h>
#endif

#include "QuillmarshEngine/Assert.h"
#include "QuillmarshEngine/Math/Packing.h"

namespace QuillmarshEngine { namespace Tools { namespace Implementation {

using Trade::VertexFormat;

bool isRowFormatSupported(const VertexFormat scalar) {
    switch(scalar) {
        case VertexFormat::Float:
        case VertexFormat::Half:
        case VertexFormat::UnsignedByte:
        case VertexFormat::UnsignedByteNormalized:
        case VertexFormat::Byte:
        case VertexFormat::ByteNormalized:
        case VertexFormat::UnsignedShort:
        case VertexFormat::UnsignedShortNormalized:
        case VertexFormat::Short:
        case VertexFormat::ShortNormalized:
            return true;
        default:
            return false;
    }
}

namespace {

template<class T> T load(const char* at) {
    T value;
    std::memcpy(&value, at, sizeof(T));
    return value;
}

template<class T> void store(char* at, T value) {
    std::memcpy(at, &value, sizeof(T));
}

/* Every value here is an integer of at most 16 bits, so float rounds it exactly as double would */
template<class T> T packInteger(const float value) {
    constexpr float low = float(std::numeric_limits<T>::min());
    constexpr float high = float(std::numeric_limits<T>::max());
    return T(value >= low ? (value <= high ? std::round(value) : high) : low);
}

float read(const VertexFormat format, const char* at) {
    switch(format) {
        case VertexFormat::Float: return load<float>(at);
        case VertexFormat::Half: return Math::unpackHalf(load<std::uint16_t>(at));
        case VertexFormat::UnsignedByte: return load<std::uint8_t>(at);
        case VertexFormat::UnsignedByteNormalized: return Math::unpack<float>(load<std::uint8_t>(at));
        case VertexFormat::Byte: return load<std::int8_t>(at);
        case VertexFormat::ByteNormalized: return Math::unpack<float>(load<std::int8_t>(at));
        case VertexFormat::UnsignedShort: return load<std::uint16_t>(at);
        case VertexFormat::UnsignedShortNormalized: return Math::unpack<float>(load<std::uint16_t>(at));
        case VertexFormat::Short: return load<std::int16_t>(at);
        case VertexFormat::ShortNormalized: return Math::unpack<float>(load<std::int16_t>(at));
        default: break;
    }
    QUILLMARSH_INTERNAL_ASSERT_UNREACHABLE();
}

void write(const VertexFormat format, char* at, const float value) {
    switch(format) {
        case VertexFormat::Float: return store(at, value);
        case VertexFormat::Half: return store(at, Math::packHalf(value));
        case VertexFormat::UnsignedByte: return store(at, packInteger<std::uint8_t>(value));
        case VertexFormat::UnsignedByteNormalized: return store(at, Math::pack<std::uint8_t>(value));
        case VertexFormat::Byte: return store(at, packInteger<std::int8_t>(value));
        case VertexFormat::ByteNormalized: return store(at, Math::pack<std::int8_t>(value));
        case VertexFormat::UnsignedShort: return store(at, packInteger<std::uint16_t>(value));
        case VertexFormat::UnsignedShortNormalized: return store(at, Math::pack<std::uint16_t>(value));
        case VertexFormat::Short: return store(at, packInteger<std::int16_t>(value));
        case VertexFormat::ShortNormalized: return store(at, Math::pack<std::int16_t>(value));
        default: break;
    }
    QUILLMARSH_INTERNAL_ASSERT_UNREACHABLE();
}

}

void convertRowsReference(const RowConversion& conversion, const char* src, const std::ptrdiff_t srcStride, char* dst, const std::ptrdiff_t dstStride, const std::size_t rows) {
    const std::uint32_t srcSize = Trade::vertexFormatSize(conversion.srcFormat);
    const std::uint32_t dstSize = Trade::vertexFormatSize(conversion.dstFormat);
    const bool copyBits = conversion.srcFormat == VertexFormat::Float && conversion.dstFormat == VertexFormat::Float;
    for(std::size_t r = 0; r != rows; ++r, src += srcStride, dst += dstStride) {
        for(std::uint32_t i = 0; i != conversion.dstCount; ++i) {
            if(i < conversion.srcCount && copyBits) std::memcpy(dst + i*4, src + i*4, 4);
            else if(i < conversion.srcCount) write(conversion.dstFormat, dst + i*dstSize, read(conversion.srcFormat, src + i*srcSize));
            else write(conversion.dstFormat, dst + i*dstSize, i == 3 && conversion.oneForFourth ? 1.0f : 0.0f);
        }
    }
}

#if defined(__x86_64__)
bool convertRowsAvx2Supported() {
    /* The AVX2 test checks the operating system's support for the AVX register state as well,
       which F16C needs too; not every compiler's builtin knows F16C, the processor's own flag
       (leaf 1, ECX bit 29) does */
    unsigned int a, b, c, d;
    return __builtin_cpu_supports("avx2") && __get_cpuid(1, &a, &b, &c, &d) && (c & bit_F16C);
}
#endif

void convertRows(const RowConversion& conversion, const char* src, const std::ptrdiff_t srcStride, char* dst, const std::ptrdiff_t dstStride, const std::size_t rows) {
    QUILLMARSH_INTERNAL_ASSERT(conversion.srcCount - 1 < 8 && conversion.dstCount - 1 < 8 && isRowFormatSupported(conversion.srcFormat) && isRowFormatSupported(conversion.dstFormat));
    #if defined(__x86_64__)
    /* Chosen once: the library is built for the x86-64 baseline and runs wider code only where
       the processor has it */
    static const auto kernel = convertRowsAvx2Supported() ? convertRowsAvx2 : convertRowsReference;
    kernel(conversion, src, srcStride, dst, dstStride, rows);
    #else
    convertRowsReference(conversion, src, srcStride, dst, dstStride, rows);
    #endif
}

}}}
