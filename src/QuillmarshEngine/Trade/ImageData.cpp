#include "QuillmarshEngine/Trade/ImageData.h"

#include "QuillmarshEngine/Assert.h"
#include "QuillmarshEngine/Trade/TextureData.h"

namespace QuillmarshEngine { namespace Trade {

std::uint32_t pixelFormatSize(PixelFormat format) {
    switch(format) {
        case PixelFormat::R8Unorm: return 1;
        case PixelFormat::RG8Unorm: return 2;
        case PixelFormat::RGB8Unorm: return 3;
        case PixelFormat::RGBA8Unorm: return 4;
        case PixelFormat::R8Snorm: return 1;
        case PixelFormat::RG8Snorm: return 2;
        case PixelFormat::RGB8Snorm: return 3;
        case PixelFormat::RGBA8Snorm: return 4;
        case PixelFormat::R8Srgb: return 1;
        case PixelFormat::RG8Srgb: return 2;
        case PixelFormat::RGB8Srgb: return 3;
        case PixelFormat::RGBA8Srgb: return 4;
        case PixelFormat::R8UI: return 1;
        case PixelFormat::RG8UI: return 2;
        case PixelFormat::RGB8UI: return 3;
        case PixelFormat::RGBA8UI: return 4;
        case PixelFormat::R8I: return 1;
        case PixelFormat::RG8I: return 2;
        case PixelFormat::RGB8I: return 3;
        case PixelFormat::RGBA8I: return 4;
        case PixelFormat::R16Unorm: return 2;
        case PixelFormat::RG16Unorm: return 4;
        case PixelFormat::RGB16Unorm: return 6;
        case PixelFormat::RGBA16Unorm: return 8;
        case PixelFormat::R16Snorm: return 2;
        case PixelFormat::RG16Snorm: return 4;
        case PixelFormat::RGB16Snorm: return 6;
        case PixelFormat::RGBA16Snorm: return 8;
        case PixelFormat::R16UI: return 2;
        case PixelFormat::RG16UI: return 4;
        case PixelFormat::RGB16UI: return 6;
        case PixelFormat::RGBA16UI: return 8;
        case PixelFormat::R16I: return 2;
        case PixelFormat::RG16I: return 4;
        case PixelFormat::RGB16I: return 6;
        case PixelFormat::RGBA16I: return 8;
        case PixelFormat::R32UI: return 4;
        case PixelFormat::RG32UI: return 8;
        case PixelFormat::RGB32UI: return 12;
        case PixelFormat::RGBA32UI: return 16;
        case PixelFormat::R32I: return 4;
        case PixelFormat::RG32I: return 8;
        case PixelFormat::RGB32I: return 12;
        case PixelFormat::RGBA32I: return 16;
        case PixelFormat::R16F: return 2;
        case PixelFormat::RG16F: return 4;
        case PixelFormat::RGB16F: return 6;
        case PixelFormat::RGBA16F: return 8;
        case PixelFormat::R32F: return 4;
        case PixelFormat::RG32F: return 8;
        case PixelFormat::RGB32F: return 12;
        case PixelFormat::RGBA32F: return 16;
    }
    QUILLMARSH_ASSERT(false, "Trade::pixelFormatSize(): invalid format" << format, {});
    return 0;
}

Debug& operator<<(Debug& debug, PixelFormat value) {
    switch(value) {
        case PixelFormat::R8Unorm: return Implementation::printEnumValue(debug, "PixelFormat", "R8Unorm");
        case PixelFormat::RG8Unorm: return Implementation::printEnumValue(debug, "PixelFormat", "RG8Unorm");
        case PixelFormat::RGB8Unorm: return Implementation::printEnumValue(debug, "PixelFormat", "RGB8Unorm");
        case PixelFormat::RGBA8Unorm: return Implementation::printEnumValue(debug, "PixelFormat", "RGBA8Unorm");
        case PixelFormat::R8Snorm: return Implementation::printEnumValue(debug, "PixelFormat", "R8Snorm");
        case PixelFormat::RG8Snorm: return Implementation::printEnumValue(debug, "PixelFormat", "RG8Snorm");
        case PixelFormat::RGB8Snorm: return Implementation::printEnumValue(debug, "PixelFormat", "RGB8Snorm");
        case PixelFormat::RGBA8Snorm: return Implementation::printEnumValue(debug, "PixelFormat", "RGBA8Snorm");
        case PixelFormat::R8Srgb: return Implementation::printEnumValue(debug, "PixelFormat", "R8Srgb");
        case PixelFormat::RG8Srgb: return Implementation::printEnumValue(debug, "PixelFormat", "RG8Srgb");
        case PixelFormat::RGB8Srgb: return Implementation::printEnumValue(debug, "PixelFormat", "RGB8Srgb");
        case PixelFormat::RGBA8Srgb: return Implementation::printEnumValue(debug, "PixelFormat", "RGBA8Srgb");
        case PixelFormat::R8UI: return Implementation::printEnumValue(debug, "PixelFormat", "R8UI");
        case PixelFormat::RG8UI: return Implementation::printEnumValue(debug, "PixelFormat", "RG8UI");
        case PixelFormat::RGB8UI: return Implementation::printEnumValue(debug, "PixelFormat", "RGB8UI");
        case PixelFormat::RGBA8UI: return Implementation::printEnumValue(debug, "PixelFormat", "RGBA8UI");
        case PixelFormat::R8I: return Implementation::printEnumValue(debug, "PixelFormat", "R8I");
        case PixelFormat::RG8I: return Implementation::printEnumValue(debug, "PixelFormat", "RG8I");
        case PixelFormat::RGB8I: return Implementation::printEnumValue(debug, "PixelFormat", "RGB8I");
        case PixelFormat::RGBA8I: return Implementation::printEnumValue(debug, "PixelFormat", "RGBA8I");
        case PixelFormat::R16Unorm: return Implementation::printEnumValue(debug, "PixelFormat", "R16Unorm");
        case PixelFormat::RG16Unorm: return Implementation::printEnumValue(debug, "PixelFormat", "RG16Unorm");
        case PixelFormat::RGB16Unorm: return Implementation::printEnumValue(debug, "PixelFormat", "RGB16Unorm");
        case PixelFormat::RGBA16Unorm: return Implementation::printEnumValue(debug, "PixelFormat", "RGBA16Unorm");
        case PixelFormat::R16Snorm: return Implementation::printEnumValue(debug, "PixelFormat", "R16Snorm");
        case PixelFormat::RG16Snorm: return Implementation::printEnumValue(debug, "PixelFormat", "RG16Snorm");
        case PixelFormat::RGB16Snorm: return Implementation::printEnumValue(debug, "PixelFormat", "RGB16Snorm");
        case PixelFormat::RGBA16Snorm: return Implementation::printEnumValue(debug, "PixelFormat", "RGBA16Snorm");
        case PixelFormat::R16UI: return Implementation::printEnumValue(debug, "PixelFormat", "R16UI");
        case PixelFormat::RG16UI: return Implementation::printEnumValue(debug, "PixelFormat", "RG16UI");
        case PixelFormat::RGB16UI: return Implementation::printEnumValue(debug, "PixelFormat", "RGB16UI");
        case PixelFormat::RGBA16UI: return Implementation::printEnumValue(debug, "PixelFormat", "RGBA16UI");
        case PixelFormat::R16I: return Implementation::printEnumValue(debug, "PixelFormat", "R16I");
        case PixelFormat::RG16I: return Implementation::printEnumValue(debug, "PixelFormat", "RG16I");
        case PixelFormat::RGB16I: return Implementation::printEnumValue(debug, "PixelFormat", "RGB16I");
        case PixelFormat::RGBA16I: return Implementation::printEnumValue(debug, "PixelFormat", "RGBA16I");
        case PixelFormat::R32UI: return Implementation::printEnumValue(debug, "PixelFormat", "R32UI");
        case PixelFormat::RG32UI: return Implementation::printEnumValue(debug, "PixelFormat", "RG32UI");
        case PixelFormat::RGB32UI: return Implementation::printEnumValue(debug, "PixelFormat", "RGB32UI");
        case PixelFormat::RGBA32UI: return Implementation::printEnumValue(debug, "PixelFormat", "RGBA32UI");
        case PixelFormat::R32I: return Implementation::printEnumValue(debug, "PixelFormat", "R32I");
        case PixelFormat::RG32I: return Implementation::printEnumValue(debug, "PixelFormat", "RG32I");
        case PixelFormat::RGB32I: return Implementation::printEnumValue(debug, "PixelFormat", "RGB32I");
        case PixelFormat::RGBA32I: return Implementation::printEnumValue(debug, "PixelFormat", "RGBA32I");
        case PixelFormat::R16F: return Implementation::printEnumValue(debug, "PixelFormat", "R16F");
        case PixelFormat::RG16F: return Implementation::printEnumValue(debug, "PixelFormat", "RG16F");
        case PixelFormat::RGB16F: return Implementation::printEnumValue(debug, "PixelFormat", "RGB16F");
        case PixelFormat::RGBA16F: return Implementation::printEnumValue(debug, "PixelFormat", "RGBA16F");
        case PixelFormat::R32F: return Implementation::printEnumValue(debug, "PixelFormat", "R32F");
        case PixelFormat::RG32F: return Implementation::printEnumValue(debug, "PixelFormat", "RG32F");
        case PixelFormat::RGB32F: return Implementation::printEnumValue(debug, "PixelFormat", "RGB32F");
        case PixelFormat::RGBA32F: return Implementation::printEnumValue(debug, "PixelFormat", "RGBA32F");
    }
    return Implementation::printUnknownEnum(debug, "PixelFormat", std::uint32_t(value));
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
