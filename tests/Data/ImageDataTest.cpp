#include <gtest/gtest.h>

#include "QuillmarshEngine/Data/ImageData.h"
#include "RecordTestHelpers.h"

namespace QuillmarshEngine { namespace Data { namespace {

using namespace std::string_view_literals;
using namespace Test;

TEST(ImageDataTest, image) {
    const std::vector<char> path = createImageData({4, 2, 1}, "a.png");
    Bytes expected;
    expected.u32(0).u8(0).zeros(3).u32(4).u32(2).u32(1).text("a.png").zeros(1);
    ASSERT_EQ(path.size(), 26u);
    EXPECT_EQ(str(path), expected.data);
    EXPECT_EQ(ImageData{path}.path(), "a.png");

    const std::string h1(32, 'a'), h2(32, 'b');
    const std::string_view hashes[]{h1, h2};
    const std::vector<char> list = createImageData({1, 1, 1}, hashes);
    Bytes expectedList;
    expectedList.u32(2).u8(1).zeros(3).u32(1).u32(1).u32(1).text(h1).text(h2);
    EXPECT_EQ(str(list), expectedList.data);
    const ImageData view{list};
    EXPECT_EQ(view.kind(), ImageData::Kind::Hashes);
    EXPECT_EQ(view.hash(1), h2);
}

TEST(ImageDataTest, imageTile) {
    std::vector<char> out;
    const std::string hash(32, 'h');
    const AssetChunk chunk = createImageTileChunk(hash, "tile!"sv, true, 0xabcdef, out);
    Bytes expected;
    expected.text("QMEt").u32(45).text(hash).u32(0xabcdef).u8(1).zeros(3).text("tile!").zeros(3);
    EXPECT_EQ(str(out), expected.data);
    EXPECT_EQ(out.size(), calulateAssetChunkSizePadded(45));
    EXPECT_EQ(chunk.view.magic(), Magic::ImageTile);
}

TEST(ImageDataTest, texture) {
    const std::vector<char> record = createTextureData(0x1234, 7, Trade::SamplerFilter::Linear, Trade::SamplerFilter::Nearest, Trade::SamplerMipmap::Linear,
        {Trade::SamplerWrapping::ClampToEdge, Trade::SamplerWrapping::Repeat, Trade::SamplerWrapping::MirrorClampToEdge});
    Bytes expected;
    expected.u16(0x1234).u16(7).u32(1).u32(0).u32(2).u32(2).u32(0).u32(4).u8(2).zeros(3);
    EXPECT_EQ(str(record), expected.data);

    const Trade::TextureData texture{Trade::SamplerFilter::Nearest, Trade::SamplerFilter::Linear, Trade::SamplerMipmap::Base,
        {Trade::SamplerWrapping::Repeat, Trade::SamplerWrapping::Repeat, Trade::SamplerWrapping::ClampToBorder}, 65535};
    Bytes fromData;
    fromData.u16(0xffff).u16(0).u32(0).u32(1).u32(0).u32(0).u32(0).u32(3).u8(2).zeros(3);
    EXPECT_EQ(str(createTextureData(texture)), fromData.data);
}

TEST(ImageDataTest, probe) {
    const char first[]{1, 2, 3, 4, 5, 6, 7, 8};
    const char second[]{9, 10, 11};
    const Trade::ImageData2D images[]{
        {Trade::PixelFormat::RG8Unorm, {2, 2}, first},
        {Trade::PixelFormat::R8Unorm, {3, 1}, second}};
    Bytes expected;
    expected.u32(2).u32(2).u32(2).text(std::string_view{first, 8}).text(std::string_view{second, 3});
    EXPECT_EQ(str(createProbeData(images)), expected.data);
    EXPECT_EQ(Trade::pixelFormatSize(Trade::PixelFormat::RGBA32F), 16u);
    EXPECT_EQ(print(Trade::PixelFormat::RGBA8Srgb), "PixelFormat::RGBA8Srgb\n");
}

TEST(ImageDataTest, enumPrinting) {
    EXPECT_EQ(print(Trade::SamplerWrapping::ClampToEdge), "SamplerWrapping::ClampToEdge\n");
    EXPECT_EQ(print(Trade::SamplerWrapping(0xde)), "SamplerWrapping(0xde)\n");
    EXPECT_EQ(print(Trade::SamplerMipmap::Base), "SamplerMipmap::Base\n");
    EXPECT_EQ(print(Trade::SamplerFilter::Linear), "SamplerFilter::Linear\n");
    EXPECT_EQ(print(ImageData::Kind::Hashes), "ImageData::Kind::Hashes\n");
    EXPECT_EQ(print(ImageData::Kind(7)), "ImageData::Kind(0x7)\n");
}

TEST(ImageDataDeathTest, builders) {
    const std::string_view hashes[]{"short"};
    EXPECT_DEATH(createImageData({1, 1, 1}, hashes), "^Assertion hash.size\\(\\) == ImageData::HashSize failed at Data/AssetData:348\n$");
    std::vector<char> out;
    EXPECT_DEATH(createImageTileChunk("short", {}, false, 0, out), "^createImageTileChunk\\(\\): expected hash string of length 32\n$");
    EXPECT_DEATH(createProbeData({}), "^Assertion images.size\\(\\) failed at Data/AssetData:1266\n$");
    EXPECT_DEATH(createTextureData(Trade::TextureData{{}, {}, {}, {}, 65536}), "^createTextureData\\(\\): image index 65536 does not fit 16 bits\n$");
}

}}}
