#include <sstream>

#include <gtest/gtest.h>

#include "QuillmarshEngine/Debug.h"
#include "QuillmarshEngine/Trade/ImageData.h"
#include "../OutputCapture.h"

namespace QuillmarshEngine { namespace Trade { namespace {

using Testing::print;

/* The values are stored in records: they are the math library's numbers, pinned here one by one
   at the ends of each family */
TEST(ImageDataTest, pixelFormatNumbers) {
    EXPECT_EQ(std::uint32_t(PixelFormat::R8Unorm), 1u);
    EXPECT_EQ(std::uint32_t(PixelFormat::RGBA8Srgb), 12u);
    EXPECT_EQ(std::uint32_t(PixelFormat::RGBA16I), 36u);
    EXPECT_EQ(std::uint32_t(PixelFormat::RGBA32F), 52u);
    EXPECT_EQ(std::uint32_t(PixelFormat::Depth16Unorm), 53u);
    EXPECT_EQ(std::uint32_t(PixelFormat::Depth24Unorm), 54u);
    EXPECT_EQ(std::uint32_t(PixelFormat::Depth32F), 55u);
    EXPECT_EQ(std::uint32_t(PixelFormat::Stencil8UI), 56u);
    EXPECT_EQ(std::uint32_t(PixelFormat::Depth16UnormStencil8UI), 57u);
    EXPECT_EQ(std::uint32_t(PixelFormat::Depth24UnormStencil8UI), 58u);
    EXPECT_EQ(std::uint32_t(PixelFormat::Depth32FStencil8UI), 59u);
}

TEST(ImageDataTest, pixelFormatSizes) {
    EXPECT_EQ(pixelFormatSize(PixelFormat::RGB8Snorm), 3u);
    EXPECT_EQ(pixelFormatSize(PixelFormat::RGB16F), 6u);
    EXPECT_EQ(pixelFormatSize(PixelFormat::RGBA32F), 16u);
    EXPECT_EQ(pixelFormatSize(PixelFormat::Stencil8UI), 1u);
    EXPECT_EQ(pixelFormatSize(PixelFormat::Depth16Unorm), 2u);
    EXPECT_EQ(pixelFormatSize(PixelFormat::Depth24Unorm), 4u);
    EXPECT_EQ(pixelFormatSize(PixelFormat::Depth32F), 4u);
    EXPECT_EQ(pixelFormatSize(PixelFormat::Depth16UnormStencil8UI), 4u);
    EXPECT_EQ(pixelFormatSize(PixelFormat::Depth24UnormStencil8UI), 4u);
    EXPECT_EQ(pixelFormatSize(PixelFormat::Depth32FStencil8UI), 8u);
    EXPECT_FALSE(isPixelFormatKnown(PixelFormat(0)));
    EXPECT_TRUE(isPixelFormatKnown(PixelFormat(59)));
    EXPECT_FALSE(isPixelFormatKnown(PixelFormat(60)));

    const ImageData2D depth{PixelFormat::Depth32FStencil8UI, {3, 2}, {}};
    EXPECT_EQ(depth.dataSize(), 48u);
}

TEST(ImageDataTest, compressedPixelFormatNumbers) {
    EXPECT_EQ(std::uint32_t(CompressedPixelFormat::Bc1RGBUnorm), 1u);
    EXPECT_EQ(std::uint32_t(CompressedPixelFormat::Bc6hRGBSfloat), 14u);
    EXPECT_EQ(std::uint32_t(CompressedPixelFormat::Bc7RGBASrgb), 16u);
    EXPECT_EQ(std::uint32_t(CompressedPixelFormat::EacR11Unorm), 17u);
    EXPECT_EQ(std::uint32_t(CompressedPixelFormat::Etc2RGBA8Srgb), 26u);
    EXPECT_EQ(std::uint32_t(CompressedPixelFormat::Astc4x4RGBAUnorm), 27u);
    EXPECT_EQ(std::uint32_t(CompressedPixelFormat::Astc5x4RGBASrgb), 31u);
    EXPECT_EQ(std::uint32_t(CompressedPixelFormat::Astc12x12RGBAF), 68u);
    EXPECT_EQ(std::uint32_t(CompressedPixelFormat::Astc3x3x3RGBAUnorm), 69u);
    EXPECT_EQ(std::uint32_t(CompressedPixelFormat::Astc6x6x6RGBAF), 98u);
    EXPECT_EQ(std::uint32_t(CompressedPixelFormat::PvrtcRGB2bppUnorm), 99u);
    EXPECT_EQ(std::uint32_t(CompressedPixelFormat::PvrtcRGBA4bppSrgb), 106u);
}

TEST(ImageDataTest, compressedBlocks) {
    using A = std::array<std::int32_t, 3>;
    EXPECT_EQ(compressedPixelFormatBlockSize(CompressedPixelFormat::Bc1RGBASrgb), (A{4, 4, 1}));
    EXPECT_EQ(compressedPixelFormatBlockDataSize(CompressedPixelFormat::Bc1RGBASrgb), 8u);
    EXPECT_EQ(compressedPixelFormatBlockDataSize(CompressedPixelFormat::Bc4RSnorm), 8u);
    EXPECT_EQ(compressedPixelFormatBlockDataSize(CompressedPixelFormat::Bc5RGUnorm), 16u);
    EXPECT_EQ(compressedPixelFormatBlockDataSize(CompressedPixelFormat::Bc7RGBAUnorm), 16u);
    EXPECT_EQ(compressedPixelFormatBlockDataSize(CompressedPixelFormat::EacR11Snorm), 8u);
    EXPECT_EQ(compressedPixelFormatBlockDataSize(CompressedPixelFormat::EacRG11Unorm), 16u);
    EXPECT_EQ(compressedPixelFormatBlockDataSize(CompressedPixelFormat::Etc2RGB8A1Srgb), 8u);
    EXPECT_EQ(compressedPixelFormatBlockDataSize(CompressedPixelFormat::Etc2RGBA8Unorm), 16u);
    EXPECT_EQ(compressedPixelFormatBlockSize(CompressedPixelFormat::Astc10x5RGBASrgb), (A{10, 5, 1}));
    EXPECT_EQ(compressedPixelFormatBlockSize(CompressedPixelFormat::Astc12x10RGBAF), (A{12, 10, 1}));
    EXPECT_EQ(compressedPixelFormatBlockSize(CompressedPixelFormat::Astc4x4x3RGBAUnorm), (A{4, 4, 3}));
    EXPECT_EQ(compressedPixelFormatBlockSize(CompressedPixelFormat::Astc6x6x6RGBAF), (A{6, 6, 6}));
    EXPECT_EQ(compressedPixelFormatBlockDataSize(CompressedPixelFormat::Astc8x6RGBAF), 16u);
    EXPECT_EQ(compressedPixelFormatBlockSize(CompressedPixelFormat::PvrtcRGBA2bppSrgb), (A{8, 4, 1}));
    EXPECT_EQ(compressedPixelFormatBlockSize(CompressedPixelFormat::PvrtcRGB4bppUnorm), (A{4, 4, 1}));
    EXPECT_EQ(compressedPixelFormatBlockDataSize(CompressedPixelFormat::PvrtcRGB2bppUnorm), 8u);
    EXPECT_EQ(compressedPixelFormatBlockDataSize(CompressedPixelFormat::PvrtcRGBA4bppSrgb), 8u);
    EXPECT_FALSE(isCompressedPixelFormatKnown(CompressedPixelFormat(0)));
    EXPECT_FALSE(isCompressedPixelFormatKnown(CompressedPixelFormat(107)));
}

TEST(ImageDataTest, printing) {
    EXPECT_EQ(print(PixelFormat::RGBA8Srgb), "PixelFormat::RGBA8Srgb\n");
    EXPECT_EQ(print(PixelFormat::Depth24UnormStencil8UI), "PixelFormat::Depth24UnormStencil8UI\n");
    EXPECT_EQ(print(PixelFormat(60)), "PixelFormat(0x3c)\n");
    EXPECT_EQ(print(CompressedPixelFormat::Bc6hRGBUfloat), "CompressedPixelFormat::Bc6hRGBUfloat\n");
    EXPECT_EQ(print(CompressedPixelFormat::Astc5x5x4RGBASrgb), "CompressedPixelFormat::Astc5x5x4RGBASrgb\n");
    EXPECT_EQ(print(CompressedPixelFormat::PvrtcRGBA2bppUnorm), "CompressedPixelFormat::PvrtcRGBA2bppUnorm\n");
    EXPECT_EQ(print(CompressedPixelFormat(0)), "CompressedPixelFormat(0x0)\n");
}

TEST(ImageDataDeathTest, unknownFormats) {
    EXPECT_DEATH(static_cast<void>(pixelFormatSize(PixelFormat(0))), "^Trade::pixelFormatSize\\(\\): invalid format PixelFormat\\(0x0\\)\n$");
    EXPECT_DEATH(static_cast<void>(compressedPixelFormatBlockSize(CompressedPixelFormat(107))), "^Trade::compressedPixelFormatBlockSize\\(\\): invalid format CompressedPixelFormat\\(0x6b\\)\n$");
    EXPECT_DEATH(static_cast<void>(compressedPixelFormatBlockDataSize(CompressedPixelFormat(0))), "^Trade::compressedPixelFormatBlockDataSize\\(\\): invalid format CompressedPixelFormat\\(0x0\\)\n$");
}

}}}
