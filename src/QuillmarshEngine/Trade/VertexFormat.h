#ifndef QuillmarshEngine_Trade_VertexFormat_h
#define QuillmarshEngine_Trade_VertexFormat_h

/** @file
 * @brief Enum @ref QuillmarshEngine::Trade::VertexFormat and its queries
 */

#include <cstdint>

#include "QuillmarshEngine/visibility.h"

namespace QuillmarshEngine {

class Debug;

namespace Trade {

/**
 * @brief Format of one vertex attribute element
 *
 * The numeric values are stored in asset files and never change. 0 is reserved as invalid. Values
 * with bit 31 set wrap an implementation-specific format, see @ref vertexFormatWrap(); the queries
 * below expect a known, unwrapped value and abort otherwise.
 */
enum class VertexFormat: std::uint32_t {
    Float = 1,
    Half = 2,
    Double = 3,
    UnsignedByte = 4,
    UnsignedByteNormalized = 5,
    Byte = 6,
    ByteNormalized = 7,
    UnsignedShort = 8,
    UnsignedShortNormalized = 9,
    Short = 10,
    ShortNormalized = 11,
    UnsignedInt = 12,
    Int = 13,
    Vector2 = 14,
    Vector2h = 15,
    Vector2d = 16,
    Vector2ub = 17,
    Vector2ubNormalized = 18,
    Vector2b = 19,
    Vector2bNormalized = 20,
    Vector2us = 21,
    Vector2usNormalized = 22,
    Vector2s = 23,
    Vector2sNormalized = 24,
    Vector2ui = 25,
    Vector2i = 26,
    Vector3 = 27,
    Vector3h = 28,
    Vector3d = 29,
    Vector3ub = 30,
    Vector3ubNormalized = 31,
    Vector3b = 32,
    Vector3bNormalized = 33,
    Vector3us = 34,
    Vector3usNormalized = 35,
    Vector3s = 36,
    Vector3sNormalized = 37,
    Vector3ui = 38,
    Vector3i = 39,
    Vector4 = 40,
    Vector4h = 41,
    Vector4d = 42,
    Vector4ub = 43,
    Vector4ubNormalized = 44,
    Vector4b = 45,
    Vector4bNormalized = 46,
    Vector4us = 47,
    Vector4usNormalized = 48,
    Vector4s = 49,
    Vector4sNormalized = 50,
    Vector4ui = 51,
    Vector4i = 52,
    Matrix2x2 = 53,
    Matrix2x2h = 54,
    Matrix2x2d = 55,
    Matrix2x2bNormalized = 56,
    Matrix2x2sNormalized = 57,
    Matrix2x3 = 58,
    Matrix2x3h = 59,
    Matrix2x3d = 60,
    Matrix2x3bNormalized = 61,
    Matrix2x3sNormalized = 62,
    Matrix2x4 = 63,
    Matrix2x4h = 64,
    Matrix2x4d = 65,
    Matrix2x4bNormalized = 66,
    Matrix2x4sNormalized = 67,
    Matrix2x2bNormalizedAligned = 68,
    Matrix2x3hAligned = 69,
    Matrix2x3bNormalizedAligned = 70,
    Matrix2x3sNormalizedAligned = 71,
    Matrix3x2 = 72,
    Matrix3x2h = 73,
    Matrix3x2d = 74,
    Matrix3x2bNormalized = 75,
    Matrix3x2sNormalized = 76,
    Matrix3x3 = 77,
    Matrix3x3h = 78,
    Matrix3x3d = 79,
    Matrix3x3bNormalized = 80,
    Matrix3x3sNormalized = 81,
    Matrix3x4 = 82,
    Matrix3x4h = 83,
    Matrix3x4d = 84,
    Matrix3x4bNormalized = 85,
    Matrix3x4sNormalized = 86,
    Matrix3x2bNormalizedAligned = 87,
    Matrix3x3hAligned = 88,
    Matrix3x3bNormalizedAligned = 89,
    Matrix3x3sNormalizedAligned = 90,
    Matrix4x2 = 91,
    Matrix4x2h = 92,
    Matrix4x2d = 93,
    Matrix4x2bNormalized = 94,
    Matrix4x2sNormalized = 95,
    Matrix4x3 = 96,
    Matrix4x3h = 97,
    Matrix4x3d = 98,
    Matrix4x3bNormalized = 99,
    Matrix4x3sNormalized = 100,
    Matrix4x4 = 101,
    Matrix4x4h = 102,
    Matrix4x4d = 103,
    Matrix4x4bNormalized = 104,
    Matrix4x4sNormalized = 105,
    Matrix4x2bNormalizedAligned = 106,
    Matrix4x3hAligned = 107,
    Matrix4x3bNormalizedAligned = 108,
    Matrix4x3sNormalizedAligned = 109
};

/** @brief Whether @p format is one of the named values (not 0, not wrapped) */
QUILLMARSH_EXPORT bool isVertexFormatKnown(VertexFormat format);

/** @brief Whether bit 31 of @p format marks an implementation-specific value */
constexpr bool isVertexFormatImplementationSpecific(VertexFormat format) {
    return std::uint32_t(format) & 0x80000000u;
}

/** @brief Wrap an implementation-specific format; expects @p value below 2^31 */
QUILLMARSH_EXPORT VertexFormat vertexFormatWrap(std::uint32_t value);

/** @brief Unwrap an implementation-specific format; expects bit 31 set */
QUILLMARSH_EXPORT std::uint32_t vertexFormatUnwrap(VertexFormat format);

/** @brief Size of one element in bytes; expects a known format */
QUILLMARSH_EXPORT std::uint32_t vertexFormatSize(VertexFormat format);

/** @brief Components per vector (rows for matrices); expects a known format */
QUILLMARSH_EXPORT std::uint32_t vertexFormatComponentCount(VertexFormat format);

/** @brief Scalar, non-normalized format of one component; expects a known format */
QUILLMARSH_EXPORT VertexFormat vertexFormatComponentFormat(VertexFormat format);

/** @brief Number of vectors (columns for matrices, 1 otherwise); expects a known format */
QUILLMARSH_EXPORT std::uint32_t vertexFormatVectorCount(VertexFormat format);

/** @brief Bytes per vector, including alignment padding; expects a known format */
QUILLMARSH_EXPORT std::uint32_t vertexFormatVectorStride(VertexFormat format);

/** @brief Whether the integer components are normalized; expects a known format */
QUILLMARSH_EXPORT bool isVertexFormatNormalized(VertexFormat format);

/**
 * @brief Vector format of @p componentCount components of @p format
 *
 * @p format is a scalar format (e.g. `Short`), @p componentCount 1 to 4, @p normalized only for
 * integer formats. Aborts otherwise.
 */
QUILLMARSH_EXPORT VertexFormat vertexFormat(VertexFormat format, std::uint32_t componentCount, bool normalized);

/** @brief Prints `VertexFormat::Vector3`, `VertexFormat::ImplementationSpecific(0x..)` or `VertexFormat(0x..)` */
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, VertexFormat value);

}}

#endif
