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
 * Values are stored in texture and probe records and never renumbered; 0 is invalid. Channels
 * R, RG, RGB, RGBA of each component type follow each other, then the depth and stencil formats.
 * The numbers are the math library's own.
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
    RGBA32F = 52,
    Depth16Unorm = 53,
    Depth24Unorm = 54,
    Depth32F = 55,
    Stencil8UI = 56,
    Depth16UnormStencil8UI = 57,
    Depth24UnormStencil8UI = 58,
    Depth32FStencil8UI = 59
};

/** @brief Whether @p format is one of the named formats */
QUILLMARSH_EXPORT bool isPixelFormatKnown(PixelFormat format);

/** @brief Bytes per pixel; expects a known format */
QUILLMARSH_EXPORT std::uint32_t pixelFormatSize(PixelFormat format);

/** @brief Prints `PixelFormat::RGBA8Unorm` or `PixelFormat(0x..)` */
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, PixelFormat value);

/**
 * @brief Format of a block-compressed image
 *
 * Values are stored in records and never renumbered; 0 is invalid. BC1 to BC7, EAC and ETC2,
 * ASTC in 2D and 3D block sizes (each as RGBA unorm, sRGB and float), then PVRTC; the numbers
 * are the math library's own.
 */
enum class CompressedPixelFormat: std::uint32_t {
    Bc1RGBUnorm = 1,
    Bc1RGBSrgb = 2,
    Bc1RGBAUnorm = 3,
    Bc1RGBASrgb = 4,
    Bc2RGBAUnorm = 5,
    Bc2RGBASrgb = 6,
    Bc3RGBAUnorm = 7,
    Bc3RGBASrgb = 8,
    Bc4RUnorm = 9,
    Bc4RSnorm = 10,
    Bc5RGUnorm = 11,
    Bc5RGSnorm = 12,
    Bc6hRGBUfloat = 13,
    Bc6hRGBSfloat = 14,
    Bc7RGBAUnorm = 15,
    Bc7RGBASrgb = 16,
    EacR11Unorm = 17,
    EacR11Snorm = 18,
    EacRG11Unorm = 19,
    EacRG11Snorm = 20,
    Etc2RGB8Unorm = 21,
    Etc2RGB8Srgb = 22,
    Etc2RGB8A1Unorm = 23,
    Etc2RGB8A1Srgb = 24,
    Etc2RGBA8Unorm = 25,
    Etc2RGBA8Srgb = 26,
    Astc4x4RGBAUnorm = 27,
    Astc4x4RGBASrgb = 28,
    Astc4x4RGBAF = 29,
    Astc5x4RGBAUnorm = 30,
    Astc5x4RGBASrgb = 31,
    Astc5x4RGBAF = 32,
    Astc5x5RGBAUnorm = 33,
    Astc5x5RGBASrgb = 34,
    Astc5x5RGBAF = 35,
    Astc6x5RGBAUnorm = 36,
    Astc6x5RGBASrgb = 37,
    Astc6x5RGBAF = 38,
    Astc6x6RGBAUnorm = 39,
    Astc6x6RGBASrgb = 40,
    Astc6x6RGBAF = 41,
    Astc8x5RGBAUnorm = 42,
    Astc8x5RGBASrgb = 43,
    Astc8x5RGBAF = 44,
    Astc8x6RGBAUnorm = 45,
    Astc8x6RGBASrgb = 46,
    Astc8x6RGBAF = 47,
    Astc8x8RGBAUnorm = 48,
    Astc8x8RGBASrgb = 49,
    Astc8x8RGBAF = 50,
    Astc10x5RGBAUnorm = 51,
    Astc10x5RGBASrgb = 52,
    Astc10x5RGBAF = 53,
    Astc10x6RGBAUnorm = 54,
    Astc10x6RGBASrgb = 55,
    Astc10x6RGBAF = 56,
    Astc10x8RGBAUnorm = 57,
    Astc10x8RGBASrgb = 58,
    Astc10x8RGBAF = 59,
    Astc10x10RGBAUnorm = 60,
    Astc10x10RGBASrgb = 61,
    Astc10x10RGBAF = 62,
    Astc12x10RGBAUnorm = 63,
    Astc12x10RGBASrgb = 64,
    Astc12x10RGBAF = 65,
    Astc12x12RGBAUnorm = 66,
    Astc12x12RGBASrgb = 67,
    Astc12x12RGBAF = 68,
    Astc3x3x3RGBAUnorm = 69,
    Astc3x3x3RGBASrgb = 70,
    Astc3x3x3RGBAF = 71,
    Astc4x3x3RGBAUnorm = 72,
    Astc4x3x3RGBASrgb = 73,
    Astc4x3x3RGBAF = 74,
    Astc4x4x3RGBAUnorm = 75,
    Astc4x4x3RGBASrgb = 76,
    Astc4x4x3RGBAF = 77,
    Astc4x4x4RGBAUnorm = 78,
    Astc4x4x4RGBASrgb = 79,
    Astc4x4x4RGBAF = 80,
    Astc5x4x4RGBAUnorm = 81,
    Astc5x4x4RGBASrgb = 82,
    Astc5x4x4RGBAF = 83,
    Astc5x5x4RGBAUnorm = 84,
    Astc5x5x4RGBASrgb = 85,
    Astc5x5x4RGBAF = 86,
    Astc5x5x5RGBAUnorm = 87,
    Astc5x5x5RGBASrgb = 88,
    Astc5x5x5RGBAF = 89,
    Astc6x5x5RGBAUnorm = 90,
    Astc6x5x5RGBASrgb = 91,
    Astc6x5x5RGBAF = 92,
    Astc6x6x5RGBAUnorm = 93,
    Astc6x6x5RGBASrgb = 94,
    Astc6x6x5RGBAF = 95,
    Astc6x6x6RGBAUnorm = 96,
    Astc6x6x6RGBASrgb = 97,
    Astc6x6x6RGBAF = 98,
    PvrtcRGB2bppUnorm = 99,
    PvrtcRGB2bppSrgb = 100,
    PvrtcRGBA2bppUnorm = 101,
    PvrtcRGBA2bppSrgb = 102,
    PvrtcRGB4bppUnorm = 103,
    PvrtcRGB4bppSrgb = 104,
    PvrtcRGBA4bppUnorm = 105,
    PvrtcRGBA4bppSrgb = 106
};

/** @brief Whether @p format is one of the named formats */
QUILLMARSH_EXPORT bool isCompressedPixelFormatKnown(CompressedPixelFormat format);

/** @brief Pixels of one block in x, y and z; expects a known format */
QUILLMARSH_EXPORT std::array<std::int32_t, 3> compressedPixelFormatBlockSize(CompressedPixelFormat format);

/** @brief Bytes of one block; expects a known format */
QUILLMARSH_EXPORT std::uint32_t compressedPixelFormatBlockDataSize(CompressedPixelFormat format);

/** @brief Prints `CompressedPixelFormat::Bc1RGBUnorm` or `CompressedPixelFormat(0x..)` */
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, CompressedPixelFormat value);

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
