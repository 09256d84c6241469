#ifndef QuillmarshEngine_Trade_ImageData_h
#define QuillmarshEngine_Trade_ImageData_h

/** @file
 * @brief Class @ref QuillmarshEngine::Trade::ImageData2D, enum @ref QuillmarshEngine::Trade::PixelFormat
 */

#include <array>
#include <cstdint>
#include <span>

#include "QuillmarshEngine/visibility.h"

namespace QuillmarshEngine {

class Debug;

namespace Trade {

/**
 * @brief Format of one pixel
 *
 * Values are stored in probe records and never renumbered; 0 is invalid. Channels R, RG, RGB,
 * RGBA of each component type follow each other.
 */
enum class PixelFormat: std::uint32_t {
    R8Unorm = 1,
    RG8Unorm = 2,
    RGB8Unorm = 3,
    RGBA8Unorm = 4,
    R8Snorm = 5,
    RG8Snorm = 6,
    RGB8Snorm = 7,
    RGBA8Snorm = 8,
    R8Srgb = 9,
    RG8Srgb = 10,
    RGB8Srgb = 11,
    RGBA8Srgb = 12,
    R8UI = 13,
    RG8UI = 14,
    RGB8UI = 15,
    RGBA8UI = 16,
    R8I = 17,
    RG8I = 18,
    RGB8I = 19,
    RGBA8I = 20,
    R16Unorm = 21,
    RG16Unorm = 22,
    RGB16Unorm = 23,
    RGBA16Unorm = 24,
    R16Snorm = 25,
    RG16Snorm = 26,
    RGB16Snorm = 27,
    RGBA16Snorm = 28,
    R16UI = 29,
    RG16UI = 30,
    RGB16UI = 31,
    RGBA16UI = 32,
    R16I = 33,
    RG16I = 34,
    RGB16I = 35,
    RGBA16I = 36,
    R32UI = 37,
    RG32UI = 38,
    RGB32UI = 39,
    RGBA32UI = 40,
    R32I = 41,
    RG32I = 42,
    RGB32I = 43,
    RGBA32I = 44,
    R16F = 45,
    RG16F = 46,
    RGB16F = 47,
    RGBA16F = 48,
    R32F = 49,
    RG32F = 50,
    RGB32F = 51,
    RGBA32F = 52
};

/** @brief Bytes per pixel; expects a valid format */
QUILLMARSH_EXPORT std::uint32_t pixelFormatSize(PixelFormat format);

/** @brief Prints `PixelFormat::RGBA8Unorm` or `PixelFormat(0x..)` */
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, PixelFormat value);

/**
 * @brief Two-dimensional image: format, size and a view of tightly packed pixel rows
 *
 * Does not own the pixels.
 */
struct ImageData2D {
    PixelFormat format;             /**< Pixel format */
    std::array<std::int32_t, 2> size; /**< Width and height */
    std::span<const char> data;     /**< Pixels, rows bottom to top, no row padding */

    /** @brief Bytes the pixels take: width × height × pixel size */
    QUILLMARSH_EXPORT std::size_t dataSize() const;
};

}}

#endif
