#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <sstream>
#include <string>

#define STB_IMAGE_WRITE_IMPLEMENTATION
#define STB_IMAGE_WRITE_STATIC
#include <stb/stb_image_write.h>

#include "QuillmarshEngine/Data/ImageData.h"
#include "QuillmarshEngine/Math/Packing.h"
#include "QuillmarshEngine/Tools/ImageTools.h"

namespace QuillmarshEngine { namespace Tools { namespace {

using Trade::PixelFormat;

template<class T> std::string print(const T& value) {
    std::ostringstream out;
    Debug{&out, Debug::Flag::NoNewlineAtTheEnd} << value;
    return out.str();
}

/* A PNG written by hand: stored (uncompressed) deflate blocks, so 16-bit images and broken
   files can be made without an encoder */
struct PngWriter {
    std::string data;

    static std::uint32_t crc(const std::string& bytes) {
        std::uint32_t c = 0xffffffffu;
        for(const char b: bytes) {
            c ^= std::uint8_t(b);
            for(int k = 0; k != 8; ++k) c = c & 1 ? 0xedb88320u ^ (c >> 1) : c >> 1;
        }
        return ~c;
    }
    static std::string u32(std::uint32_t v) {
        return {char(v >> 24), char(v >> 16), char(v >> 8), char(v)};
    }
    void chunk(const std::string& type, const std::string& payload) {
        data += u32(std::uint32_t(payload.size())) + type + payload + u32(crc(type + payload));
    }

    /* Rows top to bottom, each with filter byte 0 */
    PngWriter(std::uint32_t width, std::uint32_t height, std::uint8_t bits, std::uint8_t colourType, const std::string& rows) {
        data = "\x89PNG\r\n\x1a\n";
        chunk("IHDR", u32(width) + u32(height) + std::string{char(bits), char(colourType), 0, 0, 0});
        std::string zlib = "\x78\x01";
        std::uint32_t a = 1, b = 0;
        for(const char c: rows) { a = (a + std::uint8_t(c)) % 65521; b = (b + a) % 65521; }
        for(std::size_t i = 0; i < rows.size() || i == 0; i += 65535) {
            const std::size_t n = std::min<std::size_t>(65535, rows.size() - i);
            const bool last = i + n >= rows.size();
            zlib += std::string{char(last), char(n & 0xff), char(n >> 8), char(~n & 0xff), char((~n >> 8) & 0xff)} + rows.substr(i, n);
            if(last) break;
        }
        zlib += u32((b << 16) | a);
        chunk("IDAT", zlib);
        chunk("IEND", "");
    }
};

void appendToString(void* context, void* data, int size) {
    static_cast<std::string*>(context)->append(static_cast<const char*>(data), std::size_t(size));
}

template<class T> T pixelAt(const Image2D& image, std::int32_t x, std::int32_t y) {
    T value;
    std::memcpy(&value, image.pixel(x, y).data(), sizeof(T));
    return value;
}

TEST(ImageToolsTest, decodePngRowsBottomUp) {
    /* Two rows in the file: red on top, blue below; the image's first row is the bottom one */
    const std::string rows{"\x00\xff\x00\x00\xff\xff\x00\x00\x80\x00\x00\x00\xff\xff\x00\x00\xff\x40", 18};
    const PngWriter png{2, 2, 8, 6, rows};
    const Utils::Result<Image2D> image = decodeImage(png.data);
    ASSERT_TRUE(image) << image.error();
    EXPECT_EQ(image->format(), PixelFormat::RGBA8Unorm);
    EXPECT_EQ(image->size(), (Vector2i{2, 2}));
    EXPECT_EQ(pixelAt<std::uint32_t>(*image, 0, 0), 0xffff0000u);
    EXPECT_EQ(pixelAt<std::uint32_t>(*image, 1, 0), 0x40ff0000u);
    EXPECT_EQ(pixelAt<std::uint32_t>(*image, 1, 1), 0x800000ffu);

    /* Asked for one channel, or labelled sRGB */
    const Utils::Result<Image2D> grey = decodeImage(png.data, 1);
    ASSERT_TRUE(grey);
    EXPECT_EQ(grey->format(), PixelFormat::R8Unorm);
    const Utils::Result<Image2D> srgb = decodeImage(png.data, 3, ImageDecodeFlag::Srgb);
    ASSERT_TRUE(srgb);
    EXPECT_EQ(srgb->format(), PixelFormat::RGB8Srgb);
}

TEST(ImageToolsTest, decodeGreyAndSixteenBitPng) {
    /* Grey with alpha stays two channels unless it is sRGB colour, which has no such format */
    const PngWriter greyAlpha{1, 1, 8, 4, std::string{"\x00\x80\x40", 3}};
    const Utils::Result<Image2D> linear = decodeImage(greyAlpha.data);
    ASSERT_TRUE(linear) << linear.error();
    EXPECT_EQ(linear->format(), PixelFormat::RG8Unorm);
    const Utils::Result<Image2D> srgb = decodeImage(greyAlpha.data, 0, ImageDecodeFlag::Srgb);
    ASSERT_TRUE(srgb);
    EXPECT_EQ(srgb->format(), PixelFormat::RGBA8Srgb);
    EXPECT_EQ(pixelAt<std::uint32_t>(*srgb, 0, 0), 0x40808080u);

    /* 16-bit samples are big-endian in the file */
    const PngWriter sixteen{1, 1, 16, 2, std::string{"\x00\x12\x34\xff\xff\x00\x00", 7}};
    const Utils::Result<Image2D> wide = decodeImage(sixteen.data);
    ASSERT_TRUE(wide) << wide.error();
    EXPECT_EQ(wide->format(), PixelFormat::RGB16Unorm);
    EXPECT_EQ(pixelAt<std::uint16_t>(*wide, 0, 0), 0x1234);
    /* As sRGB colour it becomes linear half floats: 0xffff is 1 either way */
    const Utils::Result<Image2D> half = decodeImage(sixteen.data, 0, ImageDecodeFlag::Srgb);
    ASSERT_TRUE(half);
    EXPECT_EQ(half->format(), PixelFormat::RGB16F);
    std::uint16_t channels[3];
    std::memcpy(channels, half->pixel(0, 0).data(), 6);
    EXPECT_EQ(Math::unpackHalf(channels[1]), 1.0f);
    EXPECT_EQ(Math::unpackHalf(channels[2]), 0.0f);
    EXPECT_NEAR(Math::unpackHalf(channels[0]), std::pow((0x1234/65535.0 + 0.055)/1.055, 2.4), 1.0e-4);
}

TEST(ImageToolsTest, decodeJpegTgaHdr) {
    /* A 16×8 gradient through the other encoders of the stb package */
    std::vector<std::uint8_t> rgb(16*8*3);
    std::vector<float> hdr(16*8*3);
    for(std::size_t i = 0; i != rgb.size(); ++i) {
        rgb[i] = std::uint8_t(i*7 % 256);
        hdr[i] = float(i)*0.25f;
    }
    std::string jpeg, tga, radiance;
    ASSERT_TRUE(stbi_write_jpg_to_func(appendToString, &jpeg, 16, 8, 3, rgb.data(), 95));
    ASSERT_TRUE(stbi_write_tga_to_func(appendToString, &tga, 16, 8, 3, rgb.data()));
    ASSERT_TRUE(stbi_write_hdr_to_func(appendToString, &radiance, 16, 8, 3, hdr.data()));

    const Utils::Result<Image2D> fromJpeg = decodeImage(jpeg);
    ASSERT_TRUE(fromJpeg) << fromJpeg.error();
    EXPECT_EQ(fromJpeg->format(), PixelFormat::RGB8Unorm);
    EXPECT_EQ(fromJpeg->size(), (Vector2i{16, 8}));

    /* TGA is lossless: the top row of the file is the last row here */
    const Utils::Result<Image2D> fromTga = decodeImage(tga);
    ASSERT_TRUE(fromTga) << fromTga.error();
    EXPECT_EQ(fromTga->format(), PixelFormat::RGB8Unorm);
    EXPECT_EQ(std::memcmp(fromTga->pixel(0, 7).data(), rgb.data(), 16*3), 0);
    EXPECT_EQ(std::memcmp(fromTga->pixel(0, 0).data(), rgb.data() + 7*16*3, 16*3), 0);

    /* Radiance keeps about 1% with its shared exponent */
    const Utils::Result<Image2D> fromHdr = decodeImage(radiance, 4);
    ASSERT_TRUE(fromHdr) << fromHdr.error();
    EXPECT_EQ(fromHdr->format(), PixelFormat::RGBA32F);
    float top[4];
    std::memcpy(top, fromHdr->pixel(5, 7).data(), 16);
    EXPECT_NEAR(top[1], hdr[5*3 + 1], hdr[5*3 + 1]*0.01f);
    EXPECT_EQ(top[3], 1.0f);
}

TEST(ImageToolsTest, decodeCorruptInput) {
    /* Nothing here may crash; each gives an error */
    std::string rows;
    for(int y = 0; y != 4; ++y) rows += std::string(1, '\0') + std::string(12, '\x10');
    const PngWriter png{4, 4, 8, 2, rows};
    EXPECT_EQ(decodeImage({}).error(), "Tools::decodeImage(): not a PNG, JPEG, TGA or HDR image");
    EXPECT_EQ(decodeImage(std::string{"hello, no image here at all"}).error(), "Tools::decodeImage(): not a PNG, JPEG, TGA or HDR image");
    EXPECT_FALSE(decodeImage(std::string_view{png.data}.substr(0, png.data.size() - 30)));
    EXPECT_FALSE(decodeImage(std::string_view{png.data}.substr(0, 40)));
    EXPECT_EQ(decodeImage(png.data, 5).error(), "Tools::decodeImage(): expected 0 to 4 channels, got 5");

    /* A header claiming more than the limit is refused before anything is allocated */
    const PngWriter huge{20000, 2, 8, 0, std::string(3, '\0')};
    EXPECT_FALSE(decodeImage(huge.data));
    const PngWriter large{16384, 16384, 8, 6, std::string(3, '\0')};
    EXPECT_EQ(decodeImage(large.data).error(), "Tools::decodeImage(): an image of 16384 by 16384 would take more than 268435456 bytes");

    /* A JPEG Huffman table with more codes than symbols fit (found by fuzzing): the system's
       decoder would write past its tables */
    std::vector<std::uint8_t> rgb(8*8*3, 100);
    std::string jpeg;
    ASSERT_TRUE(stbi_write_jpg_to_func(appendToString, &jpeg, 8, 8, 3, rgb.data(), 90));
    ASSERT_TRUE(decodeImage(jpeg));
    const std::size_t table = jpeg.find("\xff\xc4");
    ASSERT_NE(table, std::string::npos);
    jpeg[table + 5 + 14] = jpeg[table + 5 + 15] = char(0xff);
    EXPECT_EQ(decodeImage(jpeg).error(), "Tools::decodeImage(): a JPEG Huffman table has more than 256 codes");
    /* Also behind fill bytes before the start of image, which the decoder skips */
    EXPECT_EQ(decodeImage(std::string(40, char(0xff)) + jpeg).error(), "Tools::decodeImage(): a JPEG Huffman table has more than 256 codes");

    /* Radiance run-length data cut short (found by fuzzing): the system's decoder would spin */
    std::vector<float> hdr(16*8*3, 0.5f);
    std::string radiance;
    ASSERT_TRUE(stbi_write_hdr_to_func(appendToString, &radiance, 16, 8, 3, hdr.data()));
    ASSERT_TRUE(decodeImage(radiance));
    EXPECT_EQ(decodeImage(std::string_view{radiance}.substr(0, radiance.size() - 7)).error(), "Tools::decodeImage(): the HDR run-length data ends inside a scanline");

    /* Flipped bits all over a valid file */
    std::mt19937 rng{5};
    for(int i = 0; i != 200; ++i) {
        std::string broken = png.data;
        for(int k = 0; k != 4; ++k) broken[rng() % broken.size()] ^= char(1 << (rng() % 8));
        const Utils::Result<Image2D> result = decodeImage(broken);
        if(result) {
            EXPECT_EQ(result->data().size(), std::size_t(result->size().x())*std::size_t(result->size().y())*result->pixelSize());
        }
    }
}

TEST(ImageToolsTest, convertRoundTrips) {
    /* Every byte value of the narrower format survives the trip through the wider one */
    struct Case { PixelFormat narrow, wide; };
    const Case cases[]{
        {PixelFormat::RGBA8Unorm, PixelFormat::RGBA16Unorm}, {PixelFormat::RGBA8Unorm, PixelFormat::RGBA32F},
        {PixelFormat::RGBA8Unorm, PixelFormat::RGBA16F}, {PixelFormat::RGBA8Srgb, PixelFormat::RGBA16F},
        {PixelFormat::RGBA8Srgb, PixelFormat::RGBA32F}, {PixelFormat::RGBA8Snorm, PixelFormat::RGBA16Snorm},
        {PixelFormat::RGBA8UI, PixelFormat::RGBA32UI}, {PixelFormat::RGBA8I, PixelFormat::RGBA16I},
        {PixelFormat::RGBA16I, PixelFormat::RGBA32F}, {PixelFormat::RGBA16Unorm, PixelFormat::RGBA32F}};
    for(const Case& c: cases) {
        SCOPED_TRACE(print(c.narrow) + " " + print(c.wide));
        const std::uint32_t size = Trade::pixelFormatSize(c.narrow);
        std::vector<char> bytes(256*size);
        for(std::size_t i = 0; i != bytes.size(); ++i) bytes[i] = char(i*(size == 8 ? 97 : 1) + i/size);
        const Trade::ImageData2D image{c.narrow, {256, 1}, bytes};
        const Utils::Result<Image2D> wide = convertImage(image, c.wide);
        ASSERT_TRUE(wide) << wide.error();
        const Utils::Result<Image2D> back = convertImage(wide->view(), c.narrow);
        ASSERT_TRUE(back);
        /* -128 has no normalized value of its own: it reads as -1 like -127 */
        if(c.narrow == PixelFormat::RGBA8Snorm) {
            for(std::size_t i = 0; i != bytes.size(); ++i) if(bytes[i] == char(-128)) bytes[i] = char(-127);
        }
        EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), back->data().begin()));
    }
}

TEST(ImageToolsTest, convertChannelsAndValues) {
    /* Missing channels read as 0 and alpha as 1; sRGB 188 is linear 0.5 to two decimals; values
       clamp and round half away from zero */
    const std::uint8_t rg[]{188, 255};
    const Utils::Result<Image2D> wide = convertImage({PixelFormat::RG8Srgb, {1, 1}, {reinterpret_cast<const char*>(rg), 2}}, PixelFormat::RGBA32F);
    ASSERT_TRUE(wide);
    float values[4];
    std::memcpy(values, wide->data().data(), 16);
    EXPECT_NEAR(values[0], 0.5029f, 1.0e-4f);
    EXPECT_EQ(values[1], 1.0f);
    EXPECT_EQ(values[2], 0.0f);
    EXPECT_EQ(values[3], 1.0f);

    const float floats[]{-3.5f, 300.0f, 2.5f, NAN};
    const Utils::Result<Image2D> bytes = convertImage({PixelFormat::RGBA32F, {1, 1}, {reinterpret_cast<const char*>(floats), 16}}, PixelFormat::RGBA8I);
    ASSERT_TRUE(bytes);
    EXPECT_EQ(pixelAt<std::uint32_t>(*bytes, 0, 0), 0x00037ffcu);
}

TEST(ImageToolsTest, convertRefusesWhatItCannot) {
    const char pixels[16]{};
    EXPECT_FALSE(isPixelFormatConvertible(PixelFormat(53)));
    EXPECT_FALSE(isPixelFormatConvertible(PixelFormat{}));
    EXPECT_EQ(convertImage({PixelFormat(0x1234), {1, 1}, pixels}, PixelFormat::R8Unorm).error(), "Tools::convertImage(): can't convert PixelFormat(0x1234)");
    EXPECT_EQ(convertImage({PixelFormat::R8Unorm, {1, 1}, pixels}, PixelFormat(0x1234)).error(), "Tools::convertImage(): can't convert to PixelFormat(0x1234)");
    EXPECT_EQ(convertImage({PixelFormat::RGBA32F, {2, 1}, pixels}, PixelFormat::R8Unorm).error(), "Tools::convertImage(): an image of 2 by 1 needs 32 bytes but has 16");
    EXPECT_EQ(generateMipLevels({PixelFormat::RGBA8Unorm, {-1, 1}, pixels}).error(), "Tools::generateMipLevels(): invalid size -1 by 1");
}

TEST(ImageToolsTest, fillAndCopy) {
    Image2D image{PixelFormat::RGBA8Srgb, {4, 3}};
    fillImage(image, Color4{0.5f, 1.0f, 0.0f, 0.5f});
    EXPECT_EQ(pixelAt<std::uint32_t>(image, 3, 2), 0x8000ffbcu);
    fillImage(image, Range2Di{{2, 1}, {9, 9}}, Color4{0.0f, 0.0f, 1.0f, 1.0f});
    EXPECT_EQ(pixelAt<std::uint32_t>(image, 1, 2), 0x8000ffbcu);
    EXPECT_EQ(pixelAt<std::uint32_t>(image, 3, 2), 0xffff0000u);
    EXPECT_EQ(pixelAt<std::uint32_t>(image, 2, 0), 0x8000ffbcu);

    /* Copy a 2×2 image so that it hangs over the left edge */
    const std::uint32_t small[]{1, 2, 3, 4};
    copyImage({PixelFormat::RGBA8Srgb, {2, 2}, {reinterpret_cast<const char*>(small), 16}}, image, {-1, 1});
    EXPECT_EQ(pixelAt<std::uint32_t>(image, 0, 1), 2u);
    EXPECT_EQ(pixelAt<std::uint32_t>(image, 0, 2), 4u);
    EXPECT_EQ(pixelAt<std::uint32_t>(image, 1, 1), 0x8000ffbcu);
}

TEST(ImageToolsTest, extendEdges) {
    /* A 2×2 rectangle at (2, 2) in 7×6 R8 pixels, padded by 1 and then by 9 (clipped) */
    Image2D image{PixelFormat::R8Unorm, {7, 6}};
    const char values[]{'a', 'b', 'c', 'd'};
    copyImage({PixelFormat::R8Unorm, {2, 2}, values}, image, {2, 2});
    extendEdges(image, Range2Di{{2, 2}, {4, 4}}, 1);
    const char* expected =
        "\0\0\0\0\0\0\0"
        "\0aabb\0\0"
        "\0aabb\0\0"
        "\0ccdd\0\0"
        "\0ccdd\0\0"
        "\0\0\0\0\0\0\0";
    EXPECT_EQ(std::string(image.data().data(), 42), std::string(expected, 42));
    extendEdges(image, Range2Di{{2, 2}, {4, 4}}, 9);
    EXPECT_EQ(std::string(image.data().data(), 7), "aaabbbb");
    EXPECT_EQ(std::string(image.data().data() + 35, 7), "cccdddd");
}

TEST(ImageToolsTest, mipLevelsOfKnownImages) {
    /* A 4×4 checkerboard averages to grey on every level */
    std::vector<std::uint8_t> checker(16);
    for(std::size_t i = 0; i != 16; ++i) checker[i] = (i/4 + i % 4) % 2 ? 255 : 0;
    const auto levels = generateMipLevels({PixelFormat::R8Unorm, {4, 4}, {reinterpret_cast<const char*>(checker.data()), 16}});
    ASSERT_TRUE(levels) << levels.error();
    ASSERT_EQ(levels->size(), 2u);
    EXPECT_EQ((*levels)[0].size(), (Vector2i{2, 2}));
    EXPECT_EQ(std::string((*levels)[0].data().data(), 4), "\x80\x80\x80\x80");
    EXPECT_EQ(std::string((*levels)[1].data().data(), 1), "\x80");

    /* sRGB black and white average in linear light: 0.5 is sRGB 188, not 128 */
    const std::uint8_t blackWhite[]{0, 0, 0, 255, 255, 255, 255, 255};
    const auto srgb = generateMipLevels({PixelFormat::RGBA8Srgb, {2, 1}, {reinterpret_cast<const char*>(blackWhite), 8}});
    ASSERT_TRUE(srgb);
    EXPECT_EQ(pixelAt<std::uint32_t>((*srgb)[0], 0, 0), 0xffbcbcbcu);

    /* Odd sizes: 5 → 2 weighs 0.4, 0.4, 0.2 and 0.2, 0.4, 0.4; 3 → 1 weighs a third each */
    const float row[]{10.0f, 20.0f, 30.0f, 40.0f, 50.0f};
    const auto five = generateMipLevels({PixelFormat::R32F, {5, 1}, {reinterpret_cast<const char*>(row), 20}});
    ASSERT_TRUE(five);
    ASSERT_EQ(five->size(), 2u);
    EXPECT_FLOAT_EQ(pixelAt<float>((*five)[0], 0, 0), 0.4f*10 + 0.4f*20 + 0.2f*30);
    EXPECT_FLOAT_EQ(pixelAt<float>((*five)[0], 1, 0), 0.2f*30 + 0.4f*40 + 0.4f*50);
    EXPECT_FLOAT_EQ(pixelAt<float>((*five)[1], 0, 0), 30.0f);
    const std::uint8_t dot[]{0, 0, 0, 0, 255, 0, 0, 0, 0};
    const auto nine = generateMipLevels({PixelFormat::R8Unorm, {3, 3}, {reinterpret_cast<const char*>(dot), 9}});
    ASSERT_TRUE(nine);
    EXPECT_EQ(std::uint8_t((*nine)[0].data()[0]), 28); /* 255/9 */

    /* Level sizes of a 5×3 image, and an empty image has none */
    const std::vector<char> pixels(5*3*8);
    const auto chain = generateMipLevels({PixelFormat::RGBA16F, {5, 3}, pixels});
    ASSERT_TRUE(chain);
    ASSERT_EQ(chain->size(), 2u);
    EXPECT_EQ((*chain)[0].size(), (Vector2i{2, 1}));
    EXPECT_EQ((*chain)[1].size(), (Vector2i{1, 1}));
    EXPECT_TRUE(generateMipLevels({PixelFormat::R8Unorm, {0, 7}, {}})->empty());
}

TEST(ImageToolsTest, imageRecords) {
    /* Hashes cover format, size and pixels; the expected values are the first 32 digits of
       sha256sum of those bytes */
    const char twoPixels[]{1, 2};
    const char onePixel[]{7};
    const Trade::ImageData2D base{PixelFormat::R8Unorm, {2, 1}, twoPixels};
    const Trade::ImageData2D level{PixelFormat::R8Unorm, {1, 1}, onePixel};
    EXPECT_EQ(imageContentHash(base), "b8c39688bb2c1036cedc7601d31bf22c");
    EXPECT_EQ(imageContentHash(level), "a0f7614183393389ce4b99c8a7aeb237");
    EXPECT_NE(imageContentHash({PixelFormat::R8Unorm, {1, 2}, twoPixels}), imageContentHash(base));

    /* A level repeated is stored once and listed twice */
    std::vector<char> out;
    const Trade::ImageData2D levels[]{base, level, level};
    const std::vector<char> record = createImageRecord(levels, out);
    const Data::ImageData view{record};
    EXPECT_EQ(view.kind(), Data::ImageData::Kind::Hashes);
    ASSERT_EQ(view.hashCount(), 3u);
    EXPECT_EQ(view.size(), (std::array<std::int32_t, 3>{2, 1, 1}));
    EXPECT_EQ(view.hash(0), "b8c39688bb2c1036cedc7601d31bf22c");
    EXPECT_EQ(view.hash(2), "a0f7614183393389ce4b99c8a7aeb237");
    /* Two tiles: 8-byte chunk head, 40-byte tile head, pixels, padding */
    ASSERT_EQ(out.size(), 52u + 52u);
    EXPECT_EQ(std::string(out.data(), 4), "QMEt");
    EXPECT_EQ(std::string(out.data() + 8, 32), "b8c39688bb2c1036cedc7601d31bf22c");
    EXPECT_EQ(out[8 + 32], char(PixelFormat::R8Unorm));
    EXPECT_EQ(std::string(out.data() + 48, 2), std::string(twoPixels, 2));
    EXPECT_EQ(std::string(out.data() + 52 + 8, 32), "a0f7614183393389ce4b99c8a7aeb237");
}

TEST(ImageToolsTest, flagPrinting) {
    EXPECT_EQ(print(ImageDecodeFlag::Srgb), "ImageDecodeFlag::Srgb");
    EXPECT_EQ(print(ImageDecodeFlag(0x80)), "ImageDecodeFlag(0x80)");
    EXPECT_EQ(print(ImageDecodeFlags{}), "ImageDecodeFlags{}");
}

TEST(ImageToolsDeathTest, editingInvalid) {
    Image2D image{PixelFormat::R8Unorm, {4, 4}};
    EXPECT_DEATH(extendEdges(image, Range2Di{{2, 2}, {5, 4}}, 1), "Tools::extendEdges\\(\\): rectangle 2 2 5 4 is empty or outside the image of 4 by 4");
    EXPECT_DEATH(extendEdges(image, Range2Di{{2, 2}, {3, 3}}, -1), "Tools::extendEdges\\(\\): negative padding -1");
    const char pixels[4]{};
    EXPECT_DEATH(copyImage({PixelFormat::RG8Unorm, {1, 1}, pixels}, image, {0, 0}), "Tools::copyImage\\(\\): can't copy PixelFormat::RG8Unorm into PixelFormat::R8Unorm");
    EXPECT_DEATH((Image2D{PixelFormat::RG8Unorm, {2, 2}, std::vector<char>(7)}), "Tools::Image2D: expected 8 bytes of pixels, got 7");
}

}}}
