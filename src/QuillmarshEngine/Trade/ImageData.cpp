#include "QuillmarshEngine/Trade/ImageData.h"

#include <iterator>

#include "QuillmarshEngine/Assert.h"
#include "QuillmarshEngine/Trade/TextureData.h"

namespace QuillmarshEngine { namespace Trade {

namespace {

/* Indexed by the format's value minus 1 */
constexpr struct {
    const char* name;
    std::uint32_t size;
} PixelFormats[]{
    {"R8Unorm", 1},
    {"RG8Unorm", 2},
    {"RGB8Unorm", 3},
    {"RGBA8Unorm", 4},
    {"R8Snorm", 1},
    {"RG8Snorm", 2},
    {"RGB8Snorm", 3},
    {"RGBA8Snorm", 4},
    {"R8Srgb", 1},
    {"RG8Srgb", 2},
    {"RGB8Srgb", 3},
    {"RGBA8Srgb", 4},
    {"R8UI", 1},
    {"RG8UI", 2},
    {"RGB8UI", 3},
    {"RGBA8UI", 4},
    {"R8I", 1},
    {"RG8I", 2},
    {"RGB8I", 3},
    {"RGBA8I", 4},
    {"R16Unorm", 2},
    {"RG16Unorm", 4},
    {"RGB16Unorm", 6},
    {"RGBA16Unorm", 8},
    {"R16Snorm", 2},
    {"RG16Snorm", 4},
    {"RGB16Snorm", 6},
    {"RGBA16Snorm", 8},
    {"R16UI", 2},
    {"RG16UI", 4},
    {"RGB16UI", 6},
    {"RGBA16UI", 8},
    {"R16I", 2},
    {"RG16I", 4},
    {"RGB16I", 6},
    {"RGBA16I", 8},
    {"R32UI", 4},
    {"RG32UI", 8},
    {"RGB32UI", 12},
    {"RGBA32UI", 16},
    {"R32I", 4},
    {"RG32I", 8},
    {"RGB32I", 12},
    {"RGBA32I", 16},
    {"R16F", 2},
    {"RG16F", 4},
    {"RGB16F", 6},
    {"RGBA16F", 8},
    {"R32F", 4},
    {"RG32F", 8},
    {"RGB32F", 12},
    {"RGBA32F", 16},
    {"Depth16Unorm", 2},
    {"Depth24Unorm", 4},
    {"Depth32F", 4},
    {"Stencil8UI", 1},
    {"Depth16UnormStencil8UI", 4},
    {"Depth24UnormStencil8UI", 4},
    {"Depth32FStencil8UI", 8},
};

constexpr struct {
    const char* name;
    std::array<std::int32_t, 3> blockSize;
    std::uint32_t blockDataSize;
} CompressedPixelFormats[]{
    {"Bc1RGBUnorm", {4, 4, 1}, 8},
    {"Bc1RGBSrgb", {4, 4, 1}, 8},
    {"Bc1RGBAUnorm", {4, 4, 1}, 8},
    {"Bc1RGBASrgb", {4, 4, 1}, 8},
    {"Bc2RGBAUnorm", {4, 4, 1}, 16},
    {"Bc2RGBASrgb", {4, 4, 1}, 16},
    {"Bc3RGBAUnorm", {4, 4, 1}, 16},
    {"Bc3RGBASrgb", {4, 4, 1}, 16},
    {"Bc4RUnorm", {4, 4, 1}, 8},
    {"Bc4RSnorm", {4, 4, 1}, 8},
    {"Bc5RGUnorm", {4, 4, 1}, 16},
    {"Bc5RGSnorm", {4, 4, 1}, 16},
    {"Bc6hRGBUfloat", {4, 4, 1}, 16},
    {"Bc6hRGBSfloat", {4, 4, 1}, 16},
    {"Bc7RGBAUnorm", {4, 4, 1}, 16},
    {"Bc7RGBASrgb", {4, 4, 1}, 16},
    {"EacR11Unorm", {4, 4, 1}, 8},
    {"EacR11Snorm", {4, 4, 1}, 8},
    {"EacRG11Unorm", {4, 4, 1}, 16},
    {"EacRG11Snorm", {4, 4, 1}, 16},
    {"Etc2RGB8Unorm", {4, 4, 1}, 8},
    {"Etc2RGB8Srgb", {4, 4, 1}, 8},
    {"Etc2RGB8A1Unorm", {4, 4, 1}, 8},
    {"Etc2RGB8A1Srgb", {4, 4, 1}, 8},
    {"Etc2RGBA8Unorm", {4, 4, 1}, 16},
    {"Etc2RGBA8Srgb", {4, 4, 1}, 16},
    {"Astc4x4RGBAUnorm", {4, 4, 1}, 16},
    {"Astc4x4RGBASrgb", {4, 4, 1}, 16},
    {"Astc4x4RGBAF", {4, 4, 1}, 16},
    {"Astc5x4RGBAUnorm", {5, 4, 1}, 16},
    {"Astc5x4RGBASrgb", {5, 4, 1}, 16},
    {"Astc5x4RGBAF", {5, 4, 1}, 16},
    {"Astc5x5RGBAUnorm", {5, 5, 1}, 16},
    {"Astc5x5RGBASrgb", {5, 5, 1}, 16},
    {"Astc5x5RGBAF", {5, 5, 1}, 16},
    {"Astc6x5RGBAUnorm", {6, 5, 1}, 16},
    {"Astc6x5RGBASrgb", {6, 5, 1}, 16},
    {"Astc6x5RGBAF", {6, 5, 1}, 16},
    {"Astc6x6RGBAUnorm", {6, 6, 1}, 16},
    {"Astc6x6RGBASrgb", {6, 6, 1}, 16},
    {"Astc6x6RGBAF", {6, 6, 1}, 16},
    {"Astc8x5RGBAUnorm", {8, 5, 1}, 16},
    {"Astc8x5RGBASrgb", {8, 5, 1}, 16},
    {"Astc8x5RGBAF", {8, 5, 1}, 16},
    {"Astc8x6RGBAUnorm", {8, 6, 1}, 16},
    {"Astc8x6RGBASrgb", {8, 6, 1}, 16},
    {"Astc8x6RGBAF", {8, 6, 1}, 16},
    {"Astc8x8RGBAUnorm", {8, 8, 1}, 16},
    {"Astc8x8RGBASrgb", {8, 8, 1}, 16},
    {"Astc8x8RGBAF", {8, 8, 1}, 16},
    {"Astc10x5RGBAUnorm", {10, 5, 1}, 16},
    {"Astc10x5RGBASrgb", {10, 5, 1}, 16},
    {"Astc10x5RGBAF", {10, 5, 1}, 16},
    {"Astc10x6RGBAUnorm", {10, 6, 1}, 16},
    {"Astc10x6RGBASrgb", {10, 6, 1}, 16},
    {"Astc10x6RGBAF", {10, 6, 1}, 16},
    {"Astc10x8RGBAUnorm", {10, 8, 1}, 16},
    {"Astc10x8RGBASrgb", {10, 8, 1}, 16},
    {"Astc10x8RGBAF", {10, 8, 1}, 16},
    {"Astc10x10RGBAUnorm", {10, 10, 1}, 16},
    {"Astc10x10RGBASrgb", {10, 10, 1}, 16},
    {"Astc10x10RGBAF", {10, 10, 1}, 16},
    {"Astc12x10RGBAUnorm", {12, 10, 1}, 16},
    {"Astc12x10RGBASrgb", {12, 10, 1}, 16},
    {"Astc12x10RGBAF", {12, 10, 1}, 16},
    {"Astc12x12RGBAUnorm", {12, 12, 1}, 16},
    {"Astc12x12RGBASrgb", {12, 12, 1}, 16},
    {"Astc12x12RGBAF", {12, 12, 1}, 16},
    {"Astc3x3x3RGBAUnorm", {3, 3, 3}, 16},
    {"Astc3x3x3RGBASrgb", {3, 3, 3}, 16},
    {"Astc3x3x3RGBAF", {3, 3, 3}, 16},
    {"Astc4x3x3RGBAUnorm", {4, 3, 3}, 16},
    {"Astc4x3x3RGBASrgb", {4, 3, 3}, 16},
    {"Astc4x3x3RGBAF", {4, 3, 3}, 16},
    {"Astc4x4x3RGBAUnorm", {4, 4, 3}, 16},
    {"Astc4x4x3RGBASrgb", {4, 4, 3}, 16},
    {"Astc4x4x3RGBAF", {4, 4, 3}, 16},
    {"Astc4x4x4RGBAUnorm", {4, 4, 4}, 16},
    {"Astc4x4x4RGBASrgb", {4, 4, 4}, 16},
    {"Astc4x4x4RGBAF", {4, 4, 4}, 16},
    {"Astc5x4x4RGBAUnorm", {5, 4, 4}, 16},
    {"Astc5x4x4RGBASrgb", {5, 4, 4}, 16},
    {"Astc5x4x4RGBAF", {5, 4, 4}, 16},
    {"Astc5x5x4RGBAUnorm", {5, 5, 4}, 16},
    {"Astc5x5x4RGBASrgb", {5, 5, 4}, 16},
    {"Astc5x5x4RGBAF", {5, 5, 4}, 16},
    {"Astc5x5x5RGBAUnorm", {5, 5, 5}, 16},
    {"Astc5x5x5RGBASrgb", {5, 5, 5}, 16},
    {"Astc5x5x5RGBAF", {5, 5, 5}, 16},
    {"Astc6x5x5RGBAUnorm", {6, 5, 5}, 16},
    {"Astc6x5x5RGBASrgb", {6, 5, 5}, 16},
    {"Astc6x5x5RGBAF", {6, 5, 5}, 16},
    {"Astc6x6x5RGBAUnorm", {6, 6, 5}, 16},
    {"Astc6x6x5RGBASrgb", {6, 6, 5}, 16},
    {"Astc6x6x5RGBAF", {6, 6, 5}, 16},
    {"Astc6x6x6RGBAUnorm", {6, 6, 6}, 16},
    {"Astc6x6x6RGBASrgb", {6, 6, 6}, 16},
    {"Astc6x6x6RGBAF", {6, 6, 6}, 16},
    {"PvrtcRGB2bppUnorm", {8, 4, 1}, 8},
    {"PvrtcRGB2bppSrgb", {8, 4, 1}, 8},
    {"PvrtcRGBA2bppUnorm", {8, 4, 1}, 8},
    {"PvrtcRGBA2bppSrgb", {8, 4, 1}, 8},
    {"PvrtcRGB4bppUnorm", {4, 4, 1}, 8},
    {"PvrtcRGB4bppSrgb", {4, 4, 1}, 8},
    {"PvrtcRGBA4bppUnorm", {4, 4, 1}, 8},
    {"PvrtcRGBA4bppSrgb", {4, 4, 1}, 8},
};

static_assert(std::size(PixelFormats) == std::size_t(PixelFormat::Depth32FStencil8UI), "one row per pixel format");
static_assert(std::size(CompressedPixelFormats) == std::size_t(CompressedPixelFormat::PvrtcRGBA4bppSrgb), "one row per compressed pixel format");

}

bool isPixelFormatKnown(const PixelFormat format) {
    return std::uint32_t(format) - 1 < std::size(PixelFormats);
}

std::uint32_t pixelFormatSize(const PixelFormat format) {
    QUILLMARSH_ASSERT(isPixelFormatKnown(format), "Trade::pixelFormatSize(): invalid format" << format, {});
    return PixelFormats[std::uint32_t(format) - 1].size;
}

Debug& operator<<(Debug& debug, const PixelFormat value) {
    if(!isPixelFormatKnown(value))
        return Implementation::printUnknownEnum(debug, "PixelFormat", std::uint32_t(value));
    return Implementation::printEnumValue(debug, "PixelFormat", PixelFormats[std::uint32_t(value) - 1].name);
}

bool isCompressedPixelFormatKnown(const CompressedPixelFormat format) {
    return std::uint32_t(format) - 1 < std::size(CompressedPixelFormats);
}

std::array<std::int32_t, 3> compressedPixelFormatBlockSize(const CompressedPixelFormat format) {
    QUILLMARSH_ASSERT(isCompressedPixelFormatKnown(format), "Trade::compressedPixelFormatBlockSize(): invalid format" << format, {});
    return CompressedPixelFormats[std::uint32_t(format) - 1].blockSize;
}

std::uint32_t compressedPixelFormatBlockDataSize(const CompressedPixelFormat format) {
    QUILLMARSH_ASSERT(isCompressedPixelFormatKnown(format), "Trade::compressedPixelFormatBlockDataSize(): invalid format" << format, {});
    return CompressedPixelFormats[std::uint32_t(format) - 1].blockDataSize;
}

Debug& operator<<(Debug& debug, const CompressedPixelFormat value) {
    if(!isCompressedPixelFormatKnown(value))
        return Implementation::printUnknownEnum(debug, "CompressedPixelFormat", std::uint32_t(value));
    return Implementation::printEnumValue(debug, "CompressedPixelFormat", CompressedPixelFormats[std::uint32_t(value) - 1].name);
}

std::size_t ImageData2D::dataSize() const {
    QUILLMARSH_ASSERT(size[0] >= 0 && size[1] >= 0, "Trade::ImageData2D::dataSize(): negative size" << size[0] << size[1], {});
    return std::size_t(size[0])*std::size_t(size[1])*pixelFormatSize(format);
}

/* The sampler enums of TextureData.h print from here */

Debug& operator<<(Debug& debug, SamplerFilter value) {
    switch(value) {
        case SamplerFilter::Nearest: return Implementation::printEnumValue(debug, "SamplerFilter", "Nearest");
        case SamplerFilter::Linear: return Implementation::printEnumValue(debug, "SamplerFilter", "Linear");
    }
    return Implementation::printUnknownEnum(debug, "SamplerFilter", std::uint32_t(value));
}

Debug& operator<<(Debug& debug, SamplerMipmap value) {
    switch(value) {
        case SamplerMipmap::Base: return Implementation::printEnumValue(debug, "SamplerMipmap", "Base");
        case SamplerMipmap::Nearest: return Implementation::printEnumValue(debug, "SamplerMipmap", "Nearest");
        case SamplerMipmap::Linear: return Implementation::printEnumValue(debug, "SamplerMipmap", "Linear");
    }
    return Implementation::printUnknownEnum(debug, "SamplerMipmap", std::uint32_t(value));
}

Debug& operator<<(Debug& debug, SamplerWrapping value) {
    switch(value) {
        case SamplerWrapping::Repeat: return Implementation::printEnumValue(debug, "SamplerWrapping", "Repeat");
        case SamplerWrapping::MirroredRepeat: return Implementation::printEnumValue(debug, "SamplerWrapping", "MirroredRepeat");
        case SamplerWrapping::ClampToEdge: return Implementation::printEnumValue(debug, "SamplerWrapping", "ClampToEdge");
        case SamplerWrapping::ClampToBorder: return Implementation::printEnumValue(debug, "SamplerWrapping", "ClampToBorder");
        case SamplerWrapping::MirrorClampToEdge: return Implementation::printEnumValue(debug, "SamplerWrapping", "MirrorClampToEdge");
    }
    return Implementation::printUnknownEnum(debug, "SamplerWrapping", std::uint32_t(value));
}

}}
