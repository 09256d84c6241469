#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <random>

#include "QuillmarshEngine/Data/AssetRecords.h"
#include "QuillmarshEngine/Data/AssetValidation.h"
#include "QuillmarshEngine/Data/MeshData.h"
#include "QuillmarshEngine/Math/DualQuaternion.h"
#include "QuillmarshEngine/Tools/MeshFormat.h"

namespace QuillmarshEngine { namespace Data { namespace {

using namespace std::string_view_literals;

void append(std::vector<char>& out, Magic magic, const std::vector<char>& record) {
    const std::span<const char> pieces[]{record};
    AssetChunk::create(magic, pieces, out);
}

Trade::MeshData sampleMesh() {
    std::vector<char> vertexData(3*12);
    const float positions[]{0, 0, 0, 1, 0, 0, 0, 1, 0};
    std::memcpy(vertexData.data(), positions, sizeof(positions));
    std::vector<char> indexData(12);
    const std::uint32_t indices[]{0, 1, 2};
    std::memcpy(indexData.data(), indices, 12);
    std::vector<Trade::MeshAttributeData> attributes;
    attributes.emplace_back(Trade::MeshAttribute::Position, Trade::VertexFormat::Vector3, 0, 3, 12);
    const Trade::MeshIndexData indexView{Trade::MeshIndexType::UnsignedInt, indexData};
    return Trade::MeshData{Trade::MeshPrimitive::Triangles, std::move(indexData), indexView, std::move(vertexData), std::move(attributes)};
}

/* One file with a chunk of every record type the reader knows */
std::vector<char> sampleFile() {
    std::vector<char> out;
    appendHeaderData(out);
    const Trade::MeshData mesh = sampleMesh();
    Tools::createMeshChunk(mesh, {}, {}, BoundingSphere{{}, 1.0f}, out);
    const Trade::MeshData packed = Tools::packMesh(Tools::MeshDataFlag::Quantized, mesh);
    Tools::createMeshChunk(packed, Tools::compressMeshVertexData(packed), Tools::compressMeshIndexData(packed), BoundingSphere{{}, 1.0f}, out);
    const std::string_view sources[]{"void main() {}"};
    append(out, Magic::Shader, createShaderData("s", sources, {}, Shaders::ShaderType::Glsl, Shaders::ShaderStage::Vertex, false, {}));
    append(out, Magic::Image, createImageData({1, 1, 1}, "a.png"));
    const std::string hash(32, 'f');
    const std::string_view hashes[]{hash};
    append(out, Magic::Image, createImageData({1, 1, 1}, hashes));
    StringArray terms{"hello", "hallo"};
    append(out, Magic::Language, createLanguageData("Deutsch", "de", 1, terms.view()));
    const std::pair<std::string_view, std::string_view> pairs[]{{"a", "b"}};
    const std::string_view extras[]{"c"};
    const std::string_view linkTerms[]{"hello"};
    const LocaleLinkHeader links[]{{1, 2, 0}};
    append(out, Magic::Locale, createLocaleData(pairs, extras, linkTerms, links));
    StringArray features{"LIT"};
    append(out, Magic::Pipeline, createPipelineData("p", Pipeline{}, 0, features.view(), 0));
    append(out, Magic::Texture, createTextureData(0, 0, {}, {}, {}, {}));
    append(out, Magic::Draw, createDrawData(Draw{}));
    createImageTileChunk(hash, "tile"sv, false, 1, out);
    append(out, Magic::PhysX, createPhysXData(PhysXData::Type::Sphere, 1, "x"sv));
    const char pixel[]{1, 2, 3, 4};
    const Trade::ImageData2D images[]{{Trade::PixelFormat::RGBA8Unorm, {1, 1}, pixel}};
    append(out, Magic::Probe, createProbeData(images));
    const DualQuaternion transforms[1]{};
    const Vector3 scalings[1]{};
    const Id joints[1]{};
    append(out, Magic::Skin, createSkinData(transforms, scalings, joints));
    createExternalBinChunk("data.bin", out);
    append(out, Magic::Scene, std::vector<char>(5, 's'));
    updateHeaderData(out);
    return out;
}

std::string validate(const std::vector<char>& data) {
    const Utils::Result<std::vector<AssetChunkEntry>> result = validateAssetData(data);
    return result ? std::string{} : result.error();
}

TEST(AssetValidationTest, acceptsWrittenFile) {
    const std::vector<char> file = sampleFile();
    const Utils::Result<std::vector<AssetChunkEntry>> result = validateAssetData(file);
    ASSERT_TRUE(result) << result.error();
    ASSERT_EQ(result->size(), 17u);
    EXPECT_EQ((*result)[1].magic, Magic::Mesh);
    EXPECT_EQ((*result)[1].offset, 24u);
    EXPECT_EQ(listAssetChunks(file).size(), 17u);

    /* Every record reads back through its view after validation */
    const AssetChunkView compressed{std::span<const char>{file}.subspan(std::size_t((*result)[2].offset))};
    EXPECT_TRUE(Tools::decompressMesh(compressed.as<MeshData>()));

    /* Samples for the command-line tool's tests and the fuzzer corpus */
    if(const char* dir = std::getenv("QUILLMARSH_ASSET_SAMPLES")) {
        std::ofstream{std::string{dir} + "/valid.qme", std::ios::binary}.write(file.data(), std::streamsize(file.size()));
        std::ofstream{std::string{dir} + "/truncated.qme", std::ios::binary}.write(file.data(), std::streamsize(file.size() - 3));
    }
}

TEST(AssetValidationTest, rejectsEveryTruncation) {
    const std::vector<char> file = sampleFile();
    for(std::size_t size = 0; size != file.size(); ++size) {
        const std::vector<char> cut{file.begin(), file.begin() + std::ptrdiff_t(size)};
        EXPECT_FALSE(validateAssetData(cut)) << size;
    }
}

TEST(AssetValidationTest, survivesBitFlips) {
    const std::vector<char> file = sampleFile();
    std::mt19937 rng{42};
    std::size_t rejected = 0;
    for(std::size_t i = 0; i != 4000; ++i) {
        std::vector<char> flipped = file;
        const std::size_t bit = rng() % (flipped.size()*8);
        flipped[bit/8] ^= char(1 << (bit % 8));
        const Utils::Result<std::vector<AssetChunkEntry>> result = validateAssetData(flipped);
        if(!result) { ++rejected; continue; }
        /* Whatever passes must be safe to read */
        for(const AssetChunkEntry& chunk: *result) {
            const AssetChunkView view{std::span<const char>{flipped}.subspan(std::size_t(chunk.offset))};
            if(chunk.magic == Magic::Mesh) {
                const MeshData mesh = view.as<MeshData>();
                if(mesh.compressionFlags()) (void)Tools::decompressMesh(mesh);
                else (void)Tools::packMesh(Tools::MeshDataFlag::Quantized, mesh.mesh());
            } else if(chunk.magic == Magic::Language) {
                const LanguageData language = view.as<LanguageData>();
                for(std::uint32_t t = 0; t != language.pairCount(); ++t) (void)language.translation(t);
            } else if(chunk.magic == Magic::Locale) {
                const LocaleData locale = view.as<LocaleData>();
                for(std::uint32_t l = 0; l != locale.linkCount(); ++l) (void)locale.linkTerm(l);
            } else if(chunk.magic == Magic::Shader) {
                (void)view.as<ShaderData>().source();
            }
        }
    }
    /* Flips in sizes, counts, tags and format words are caught; flips in plain payload bytes
       can't be */
    EXPECT_GT(rejected, 500u);
}

TEST(AssetValidationTest, misaligned) {
    const std::vector<char> file = sampleFile();
    std::vector<char> shifted(file.size() + 1);
    std::memcpy(shifted.data() + 1, file.data(), file.size());
    const Utils::Result<std::vector<AssetChunkEntry>> result = validateAssetData(std::span<const char>{shifted}.subspan(1));
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error(), "offset 0: data is not 4-byte aligned");
}

TEST(AssetValidationTest, headerFaults) {
    std::vector<char> header;
    appendHeaderData(header);
    updateHeaderData(header);
    EXPECT_EQ(validate(header), "");

    EXPECT_EQ(validate({header.begin(), header.begin() + 20}), "offset 0: 20 bytes can't hold the 24-byte header chunk");
    std::vector<char> wrongMagic = header;
    wrongMagic[3] = 'M';
    EXPECT_EQ(validate(wrongMagic), "offset 0: expected a header chunk, got Magic::Mesh");
    std::vector<char> small = header;
    small[4] = 8;
    EXPECT_EQ(validate(small), "offset 4: header chunk size 8, expected 16");
    std::vector<char> version = header;
    version[12] = 4;
    EXPECT_EQ(validate(version), "offset 8: unknown format words 0x30001 0x4");
    std::vector<char> count = header;
    count[20] = 2;
    EXPECT_EQ(validate(count), "offset 20: chunk count field 2, counted 1");
    std::vector<char> largest = header;
    largest[16] = 28;
    EXPECT_EQ(validate(largest), "offset 16: largest chunk size field 28, the largest chunk takes 24");
}

TEST(AssetValidationTest, chunkFaults) {
    std::vector<char> file;
    appendHeaderData(file);
    append(file, Magic::Font, std::vector<char>(4, 'f'));
    updateHeaderData(file);
    EXPECT_EQ(validate(file), "");

    for(std::size_t stray = 1; stray != 8; ++stray) {
        std::vector<char> tail = file;
        tail.resize(tail.size() + stray);
        EXPECT_EQ(validate(tail), "offset 36: " + std::to_string(stray) + " stray bytes after the last chunk");
    }
    std::vector<char> huge = file;
    const char size[]{'\xf8', '\xff', '\xff', '\xff'};
    std::memcpy(huge.data() + 28, size, 4);
    EXPECT_EQ(validate(huge), "offset 28: chunk size 4294967288 does not fit 32 bits when padded");
    std::vector<char> past = file;
    past[28] = 9;
    EXPECT_EQ(validate(past), "offset 28: Magic::Font chunk of 20 bytes ends past the end of the data at 36");
    std::vector<char> tag = file;
    tag[24] = 'X';
    EXPECT_EQ(validate(tag), "offset 24: not a chunk tag: Magic(XMEF)");
    std::vector<char> second = file;
    second[27] = 'V';
    EXPECT_EQ(validate(second), "offset 24: a second header chunk");
}

TEST(AssetValidationTest, recordFaults) {
    const auto fileWith = [](Magic magic, const std::vector<char>& record) {
        std::vector<char> out;
        appendHeaderData(out);
        append(out, magic, record);
        updateHeaderData(out);
        return out;
    };
    const std::string_view sources[]{"abc"};
    std::vector<char> shader = createShaderData("s", sources, {}, Shaders::ShaderType::Glsl, Shaders::ShaderStage::Vertex, false, {});
    shader[4] = 9;
    EXPECT_EQ(validate(fileWith(Magic::Shader, shader)), "offset 36: shader texts of 9 bytes exceed the 268 byte record");
    EXPECT_EQ(validate(fileWith(Magic::Shader, std::vector<char>(10))), "offset 32: shader record of 10 bytes is smaller than its 264 byte head");

    StringArray terms{"a", "b"};
    std::vector<char> language = createLanguageData("L", "l", 2, terms.view());
    EXPECT_EQ(validate(fileWith(Magic::Language, language)), "offset 132: language record: expected 4 strings, found 2");

    const std::string_view linkTerms[]{"t"};
    const LocaleLinkHeader links[]{{1, 2, 0}};
    std::vector<char> locale = createLocaleData({}, {}, linkTerms, links);
    locale[4] = 100;
    EXPECT_EQ(validate(fileWith(Magic::Locale, locale)), "offset 36: 100 locale links exceed the 18 byte record");
    locale[4] = 1;
    locale.back() = 'x';
    EXPECT_EQ(validate(fileWith(Magic::Locale, locale)), "offset 48: locale record: string 0 is not terminated");

    std::vector<char> image = createImageData({1, 1, 1}, "a.png");
    image[4] = 1;
    image[0] = 1;
    EXPECT_EQ(validate(fileWith(Magic::Image, image)), "offset 32: 1 image hashes exceed the 26 byte record");

    EXPECT_EQ(validate(fileWith(Magic::External, {'a'})), "offset 32: external file name is not terminated");
}

TEST(AssetValidationTest, meshFaults) {
    std::vector<char> file;
    appendHeaderData(file);
    Tools::createMeshChunk(sampleMesh(), {}, {}, {}, file);
    updateHeaderData(file);
    ASSERT_EQ(validate(file), "");
    /* Payload at 32; attribute record at 84 */
    const auto patched = [&](std::size_t offset, std::uint32_t value) {
        std::vector<char> out = file;
        std::memcpy(out.data() + offset, &value, 4);
        return out;
    };
    EXPECT_EQ(validate(patched(32, 200)), "offset 32: mesh total size 200 does not fit the 120 byte record");
    EXPECT_EQ(validate(patched(36, 40)), "offset 36: attribute table of 40 bytes for 1 attributes");
    EXPECT_EQ(validate(patched(40, 40)), "offset 32: mesh total size 120 but its parts take 124");
    EXPECT_EQ(validate(patched(52, 4)), "offset 44: 12 bytes of index data for 4 indices of 4 bytes");
    EXPECT_EQ(validate(patched(60, 7)), "offset 60: invalid index type 7");
    EXPECT_EQ(validate(patched(64, 4)), "offset 64: unknown compression flags 0x4");
    EXPECT_EQ(validate(patched(84, 0)), "offset 84: attribute 0 has an invalid format 0");
    EXPECT_EQ(validate(patched(84, 40)), "offset 100: attribute 0 spans bytes 0 to 40 outside the 36 bytes of vertex data");
    EXPECT_EQ(validate(patched(100, 1)), "offset 100: attribute 0 spans bytes 1 to 37 outside the 36 bytes of vertex data");
    EXPECT_EQ(validate(patched(92, 2)), "offset 92: attribute 0 has 2 vertices instead of 3");
    /* A negative stride reaching before the vertex data */
    EXPECT_EQ(validate(patched(96, 0xfff4)), "offset 100: attribute 0 spans bytes -24 to 12 outside the 36 bytes of vertex data");
    EXPECT_EQ(validate(patched(96, 0x1000c)), "offset 98: attribute 0 can't be an array");
    EXPECT_EQ(validate(patched(88, 0x1ff0000)), "offset 88: attribute 0 has an invalid name 0");
}

TEST(AssetValidationTest, validateAssetRecord) {
    /* The checks of a whole file, with offsets from the start of the record */
    const std::string_view sources[]{"abc"};
    std::vector<char> shader = createShaderData("s", sources, {}, Shaders::ShaderType::Glsl, Shaders::ShaderStage::Vertex, false, {});
    const Utils::Result<std::span<const char>> valid = validateAssetRecord(Magic::Shader, shader);
    ASSERT_TRUE(valid);
    EXPECT_EQ(valid->data(), shader.data());
    EXPECT_EQ(valid->size(), shader.size());
    shader[4] = 9;
    EXPECT_EQ(validateAssetRecord(Magic::Shader, shader).error(), "offset 4: shader texts of 9 bytes exceed the 268 byte record");
    EXPECT_EQ(validateAssetRecord(Magic::Skin, std::vector<char>(2)).error(), "offset 0: skin record of 2 bytes, expected at least 4");
    /* Types without record checks pass */
    EXPECT_TRUE(validateAssetRecord(Magic::Font, {}));
}

}}}
