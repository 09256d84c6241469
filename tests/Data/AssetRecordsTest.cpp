#include <gtest/gtest.h>

#include <cstring>
#include <sstream>

#include "QuillmarshEngine/Data/AssetRecords.h"
#include "QuillmarshEngine/Math/DualQuaternion.h"

namespace QuillmarshEngine { namespace Data { namespace {

using namespace std::string_view_literals;

/* Little-endian byte assembly for expected records, independent of the builders */
struct Bytes {
    std::string data;
    Bytes& u8(std::uint8_t v) { data.push_back(char(v)); return *this; }
    Bytes& u16(std::uint16_t v) { return u8(v & 0xff).u8(v >> 8); }
    Bytes& u32(std::uint32_t v) { return u16(v & 0xffff).u16(v >> 16); }
    Bytes& f32(float v) { std::uint32_t b; std::memcpy(&b, &v, 4); return u32(b); }
    Bytes& text(std::string_view v) { data += v; return *this; }
    Bytes& zeros(std::size_t n) { data.append(n, '\0'); return *this; }
    /* A zero-terminated name in a field of `size` bytes */
    Bytes& field(std::string_view v, std::size_t size) { return text(v).zeros(size - v.size()); }
};

std::string str(const std::vector<char>& v) { return {v.data(), v.size()}; }

template<class T> std::string print(const T& value) {
    std::ostringstream out;
    Debug{&out} << value;
    return out.str();
}

TEST(AssetRecordsTest, shader) {
    const std::string_view sources[]{"void main() {}", "x"};
    const std::vector<char> one = createShaderData("basic", sources, Shaders::ShaderProgramFlag::Skinning|Shaders::ShaderProgramFlag::Lit, Shaders::ShaderType::GlslEs, Shaders::ShaderStage::Fragment, false, "ignored");
    Bytes expected;
    expected.u8(2).u8(2).u16(0x21).u16(15).u16(0).field("basic", 128).zeros(128).text("void main() {}").zeros(1);
    EXPECT_EQ(str(one), expected.data);

    const std::vector<char> two = createShaderData("a", sources, {}, Shaders::ShaderType::Glsl, Shaders::ShaderStage::Vertex, true, "b");
    Bytes expectedTwo;
    expectedTwo.u8(1).u8(1).u16(0).u16(15).u16(2).field("a", 128).field("b", 128).text("void main() {}").zeros(1).text("x").zeros(1);
    EXPECT_EQ(str(two), expectedTwo.data);

    const ShaderData view{two};
    EXPECT_EQ(view.stage(), Shaders::ShaderStage::Vertex);
    EXPECT_EQ(view.name(), "a");
    EXPECT_EQ(view.secondName(), "b");
    EXPECT_EQ(view.source(), "void main() {}");
    EXPECT_EQ(view.secondSource(), "x");
    EXPECT_FALSE(ShaderData{one}.hasSecond());

    /* 126 characters fit */
    EXPECT_EQ(createShaderData(std::string(126, 'n'), sources, {}, Shaders::ShaderType::Glsl, Shaders::ShaderStage::Vertex, false, {})[8 + 125], 'n');
}

TEST(AssetRecordsTest, pipeline) {
    Pipeline pipeline{};
    pipeline.vertexShader = 3;
    pipeline.materialDefinition = 9;
    pipeline.polygonOffsetFactor = 1.5f;
    StringArray features{"SKIN", "", "LIT"};
    const std::vector<char> record = createPipelineData("Phong", pipeline, -2, features.view(), 77);
    Bytes expected;
    expected.u32(0xfffffffe).u32(3).field("Phong", 64).u32(77)
        .u32(3).zeros(12*4).f32(1.5f).zeros(8).u32(9)
        .text("SKIN").zeros(2).text("LIT").zeros(1);
    EXPECT_EQ(str(record), expected.data);
}

TEST(AssetRecordsTest, draw) {
    Draw draw{};
    draw.mesh = 1;
    draw.object = 0x0203;
    draw.skin = 4;
    draw.scaling = {1.0f, 2.0f, 3.0f};
    Bytes expected;
    expected.u32(1).u32(0).u32(0).u16(0x0203).u16(4).zeros(8).zeros(16).zeros(32).u32(0).f32(1.0f).f32(2.0f).f32(3.0f);
    EXPECT_EQ(str(createDrawData(draw)), expected.data);
}

TEST(AssetRecordsTest, texture) {
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

TEST(AssetRecordsTest, material) {
    const Shaders::AlphaMaterial alpha{Shaders::AlphaMode::Mask, 0.5f, 1.0f, 0};
    const std::vector<char> record = createMaterialData(6, alpha, "param"sv);
    Bytes expected;
    expected.u32(6).u32(1).f32(0.5f).f32(1.0f).u32(0).text("param");
    EXPECT_EQ(str(record), expected.data);
}

TEST(AssetRecordsTest, image) {
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

TEST(AssetRecordsTest, imageTile) {
    std::vector<char> out;
    const std::string hash(32, 'h');
    const AssetChunk chunk = createImageTileChunk(hash, "tile!"sv, true, 0xabcdef, out);
    Bytes expected;
    expected.text("QMEt").u32(45).text(hash).u32(0xabcdef).u8(1).zeros(3).text("tile!").zeros(3);
    EXPECT_EQ(str(out), expected.data);
    EXPECT_EQ(out.size(), calulateAssetChunkSizePadded(45));
    EXPECT_EQ(chunk.view.magic(), Magic::ImageTile);
}

TEST(AssetRecordsTest, probe) {
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

TEST(AssetRecordsTest, physxAndFont) {
    const std::vector<char> record = createPhysXData(PhysXData::Type::Box, 7, "cooked"sv);
    Bytes expected;
    expected.u16(3).u16(7).text("cooked");
    EXPECT_EQ(str(record), expected.data);
    EXPECT_EQ(print(PhysXData::Type::Box), "PhysXData::Type::Box\n");
    EXPECT_EQ(str(createFontData("ttf"sv)), "ttf");
}

TEST(AssetRecordsTest, language) {
    StringArray strings{"hello", "hallo", "bye", "tschüss"};
    const std::vector<char> record = createLanguageData("Deutsch", "de", 2, strings.view());
    Bytes expected;
    expected.field("Deutsch", 64).field("de", 32).u32(2).text("hello").zeros(1).text("hallo").zeros(1).text("bye").zeros(1).text("tschüss").zeros(1);
    EXPECT_EQ(str(record), expected.data);

    const LanguageData view{record};
    EXPECT_EQ(view.name(), "Deutsch");
    EXPECT_EQ(view.code(), "de");
    EXPECT_EQ(view.pairCount(), 2u);
    EXPECT_EQ(view.term(1), "bye");
    EXPECT_EQ(view.translation(1), "tschüss");
}

TEST(AssetRecordsTest, skin) {
    const DualQuaternion transforms[]{
        {Quaternion{{1.0f, 2.0f, 3.0f}, 4.0f}, Quaternion{{5.0f, 6.0f, 7.0f}, 8.0f}},
        DualQuaternion{}};
    const Vector3 scalings[]{Vector3{1.0f}, Vector3{2.0f, 3.0f, 4.0f}};
    const Id joints[]{Id(5), Id(0x0102)};
    Bytes expected;
    expected.u32(2);
    for(const float f: {1.0f, 2.0f, 3.0f, 4.0f, 5.0f, 6.0f, 7.0f, 8.0f, 0.0f, 0.0f, 0.0f, 1.0f, 0.0f, 0.0f, 0.0f, 0.0f}) expected.f32(f);
    for(const float f: {1.0f, 1.0f, 1.0f, 2.0f, 3.0f, 4.0f}) expected.f32(f);
    expected.u16(5).u16(0x0102);
    EXPECT_EQ(str(createSkinData(transforms, scalings, joints)), expected.data);
    EXPECT_EQ(str(createSkinData({}, {}, {})), std::string("\0\0\0\0", 4));
}

TEST(AssetRecordsTest, locale) {
    const std::pair<std::string_view, std::string_view> pairs[]{{"a", "b"}, {"c", ""}};
    const std::string_view extras[]{"x", "y"};
    const std::string_view terms[]{"greeting"};
    const LocaleLinkHeader links[]{{0x0011, 2, 5}};
    const std::vector<char> record = createLocaleData(pairs, extras, terms, links);
    Bytes expected;
    expected.u32(2).u32(1).u16(0x0011).u16(2).u32(5)
        .text("a").zeros(1).text("b").zeros(1).text("x").zeros(1)
        .text("c").zeros(1).zeros(1).text("y").zeros(1)
        .text("greeting").zeros(1);
    EXPECT_EQ(str(record), expected.data);

    /* Read back the way term links are loaded: type in the upper half of word 2 + 2i */
    std::uint32_t word;
    std::memcpy(&word, record.data() + 8, 4);
    EXPECT_EQ(word >> 16, 2u);
    EXPECT_EQ(word & 0xffff, 0x11u);
    const LocaleData view{record};
    EXPECT_EQ(view.linkCount(), 1u);
    EXPECT_EQ(view.link(0).parameter, 5u);
    EXPECT_EQ(view.pairSecond(1), "");
    EXPECT_EQ(view.pairExtra(1), "y");
    EXPECT_EQ(view.linkTerm(0), "greeting");
}

TEST(AssetRecordsTest, enumPrinting) {
    EXPECT_EQ(print(Shaders::ShaderStage::TessellationControl), "Shaders::ShaderStage::TessellationControl\n");
    EXPECT_EQ(print(Shaders::ShaderStage(9)), "Shaders::ShaderStage(0x9)\n");
    EXPECT_EQ(print(Shaders::ShaderType::SpirV), "Shaders::ShaderType::SpirV\n");
    EXPECT_EQ(print(Shaders::ShaderProgramFlag::Skinning|Shaders::ShaderProgramFlag::Text), "Shaders::ShaderProgramFlag::Skinning|Shaders::ShaderProgramFlag::Text\n");
    EXPECT_EQ(print(Shaders::AlphaMode::Blend), "Shaders::AlphaMode::Blend\n");
    EXPECT_EQ(print(Trade::SamplerWrapping::ClampToEdge), "SamplerWrapping::ClampToEdge\n");
    EXPECT_EQ(print(Trade::SamplerWrapping(0xde)), "SamplerWrapping(0xde)\n");
    EXPECT_EQ(print(Trade::SamplerMipmap::Base), "SamplerMipmap::Base\n");
    EXPECT_EQ(print(Trade::SamplerFilter::Linear), "SamplerFilter::Linear\n");
    EXPECT_EQ(print(ImageData::Kind::Hashes), "ImageData::Kind::Hashes\n");
    EXPECT_EQ(print(ImageData::Kind(7)), "ImageData::Kind(0x7)\n");
}

TEST(AssetRecordsDeathTest, names) {
    const std::string_view sources[]{"s", "t"};
    EXPECT_DEATH(createShaderData(std::string(127, 'n'), sources, {}, Shaders::ShaderType::Glsl, Shaders::ShaderStage::Vertex, false, {}), "^createShaderData\\(\\): Shader name too long.\n$");
    EXPECT_DEATH(createShaderData("n", sources, {}, Shaders::ShaderType::Glsl, Shaders::ShaderStage::Vertex, true, std::string(127, 'n')), "^createShaderData\\(\\): Shader name too long.\n$");
    const std::string longSource(65535, 's');
    const std::string_view tooLong[]{longSource};
    EXPECT_DEATH(createShaderData("n", tooLong, {}, Shaders::ShaderType::Glsl, Shaders::ShaderStage::Vertex, false, {}), "^createShaderData\\(\\): Shader source too long.\n$");
    EXPECT_DEATH(createPipelineData(std::string(64, 'p'), Pipeline{}, 0, StringArrayView{}, 0), "^createShaderData\\(\\): Shader name too long.\n$");
    EXPECT_DEATH(createLanguageData(std::string(64, 'l'), "de", 0, StringArrayView{}), "^createLanguageData\\(\\): Language name too long.\n$");
    EXPECT_DEATH(createLanguageData("l", std::string(32, 'c'), 0, StringArrayView{}), "^createLanguageData\\(\\): Language code too long.\n$");
}

TEST(AssetRecordsDeathTest, imagesAndLists) {
    const std::string_view hashes[]{"short"};
    EXPECT_DEATH(createImageData({1, 1, 1}, hashes), "^Assertion hash.size\\(\\) == ImageData::HashSize failed at Data/AssetData:[0-9]+\n$");
    std::vector<char> out;
    EXPECT_DEATH(createImageTileChunk("short", {}, false, 0, out), "^createImageTileChunk\\(\\): expected hash string of length 32\n$");
    EXPECT_DEATH(createProbeData({}), "^Assertion images.size\\(\\) failed at Data/AssetData:1266\n$");
    EXPECT_DEATH(createTextureData(Trade::TextureData{{}, {}, {}, {}, 65536}), "^createTextureData\\(\\): image index 65536 does not fit 16 bits\n$");
    EXPECT_DEATH(createPhysXData(PhysXData::Type(0x10000), 0, {}), "^createPhysXData\\(\\): type 65536 does not fit 16 bits\n$");
    const DualQuaternion transforms[1]{};
    const Id joints[2]{};
    EXPECT_DEATH(createSkinData(transforms, {}, joints), "^createSkinData\\(\\): expected lists of the same length, got 1 transforms, 0 scalings and 2 joints\n$");
    const std::string_view terms[]{"a", "b"};
    const LocaleLinkHeader links[1]{};
    EXPECT_DEATH(createLocaleData({}, {}, terms, links), "^createLocaleData\\(\\): expected one string per link, 1 links but 2 strings\n$");
}

}}}
