#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <limits>
#include <random>
#include <sstream>

#include "QuillmarshEngine/Animation/SamplingJob.h"
#include "QuillmarshEngine/Data/AnimationData.h"
#include "QuillmarshEngine/Data/AssetRecords.h"
#include "QuillmarshEngine/Data/AssetValidation.h"
#include "QuillmarshEngine/Data/MeshManager.h"
#include "QuillmarshEngine/Data/Scene.h"
#include "QuillmarshEngine/Data/MeshData.h"
#include "QuillmarshEngine/Math/DualQuaternion.h"
#include "QuillmarshEngine/Tools/MeshFormat.h"

namespace QuillmarshEngine { namespace Data { namespace {

using namespace std::string_view_literals;

void append(std::vector<char>& out, Magic magic, const std::vector<char>& record) {
    const std::span<const char> pieces[]{record};
    AssetChunk::create(magic, pieces, out);
}

Trade::MeshData sampleMesh(std::uint32_t lastIndex = 2) {
    std::vector<char> vertexData(3*12);
    const float positions[]{0, 0, 0, 1, 0, 0, 0, 1, 0};
    std::memcpy(vertexData.data(), positions, sizeof(positions));
    std::vector<char> indexData(12);
    const std::uint32_t indices[]{0, 1, lastIndex};
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
    /* A scene record is checked by loading it: a graph with a mesh component */
    SceneGraph graph{4, 1, 4};
    MeshManager meshes{2, 1};
    graph.setComponentManager(0, "mesh", &meshes);
    meshes.addComponent(graph.addObject(Id{0}));
    append(out, Magic::Scene, createSceneData(graph));
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

    /* What would make a renderer read past the vertices or draw garbage: indices at 140 */
    EXPECT_EQ(validate(patched(148, 65535)), "offset 148: index 2 of value 65535 points past the 3 vertices");
    EXPECT_EQ(validate(patched(140, 3)), "offset 140: index 0 of value 3 points past the 3 vertices");
    /* The bounding sphere at 68: center, then radius */
    EXPECT_EQ(validate(patched(68, 0x7fc00000)), "offset 68: mesh bounding sphere is not finite");
    EXPECT_EQ(validate(patched(76, 0xff800000)), "offset 68: mesh bounding sphere is not finite");
    EXPECT_EQ(validate(patched(80, 0x7f800000)), "offset 68: mesh bounding sphere is not finite");
    EXPECT_EQ(validate(patched(80, 0xbf800000)), "offset 68: mesh bounding sphere is not finite");
}

TEST(AssetValidationTest, compressedIndicesAreCheckedWhenDecoded) {
    /* The validating reader can't see compressed indices; decompressing refuses them */
    const Trade::MeshData mesh = sampleMesh(7);
    std::vector<char> file;
    appendHeaderData(file);
    Tools::createMeshChunk(mesh, {}, Tools::compressMeshIndexData(mesh), {}, file);
    updateHeaderData(file);
    const Utils::Result<std::vector<AssetChunkEntry>> chunks = validateAssetData(file);
    ASSERT_TRUE(chunks) << chunks.error();
    const AssetChunkView view{std::span<const char>{file}.subspan(std::size_t((*chunks)[1].offset))};
    const Utils::Result<Trade::MeshData> decoded = Tools::decompressMesh(view.as<MeshData>());
    ASSERT_FALSE(decoded);
    EXPECT_EQ(decoded.error(), "index 2 of value 7 points past the 3 vertices");
}

TEST(AssetValidationTest, transformsAndScalingsAreFinite) {
    const auto fileWith = [](Magic magic, const std::vector<char>& record) {
        std::vector<char> out;
        appendHeaderData(out);
        append(out, magic, record);
        updateHeaderData(out);
        return out;
    };
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float inf = std::numeric_limits<float>::infinity();
    Draw draw{};
    draw.transformation[7] = nan;
    EXPECT_EQ(validate(fileWith(Magic::Draw, createDrawData(draw))), "offset 72: draw transformation is not finite");
    draw = Draw{};
    draw.boundingSphere[3] = inf;
    EXPECT_EQ(validate(fileWith(Magic::Draw, createDrawData(draw))), "offset 56: draw bounding sphere is not finite");
    draw = Draw{};
    draw.scaling[0] = -inf;
    EXPECT_EQ(validate(fileWith(Magic::Draw, createDrawData(draw))), "offset 108: draw scaling is not finite");
    EXPECT_EQ(validate(fileWith(Magic::Draw, std::vector<char>(80))), "offset 32: draw record of 80 bytes, expected at least 88");

    DualQuaternion transforms[2]{};
    Vector3 scalings[2]{Vector3{1.0f}, Vector3{1.0f}};
    const Id joints[2]{};
    EXPECT_EQ(validate(fileWith(Magic::Skin, createSkinData(transforms, scalings, joints))), "");
    scalings[1] = Vector3{1.0f, nan, 1.0f};
    EXPECT_EQ(validate(fileWith(Magic::Skin, createSkinData(transforms, scalings, joints))), "offset 100: skin joint scalings are not finite");
    scalings[1] = Vector3{1.0f};
    transforms[1] = DualQuaternion{Quaternion{{inf, 0.0f, 0.0f}, 1.0f}, Quaternion{}};
    EXPECT_EQ(validate(fileWith(Magic::Skin, createSkinData(transforms, scalings, joints))), "offset 36: skin joint transformations are not finite");
}

TEST(AssetValidationTest, unknownTagIsAWarning) {
    std::vector<char> file;
    appendHeaderData(file);
    append(file, Magic(0x7a454d51u), std::vector<char>(4, 'z'));
    append(file, Magic::Font, std::vector<char>(4, 'f'));
    updateHeaderData(file);
    std::ostringstream warnings;
    Warning redirect{&warnings};
    const Utils::Result<std::vector<AssetChunkEntry>> result = validateAssetData(file);
    ASSERT_TRUE(result) << result.error();
    EXPECT_EQ(result->size(), 3u);
    EXPECT_EQ(warnings.str(), "validateAssetData(): offset 24: unknown chunk tag Magic(QMEz), not checked\n");
}

/* Animation records: two tracks with an odd number of rotations, events with an empty name */
std::vector<char> animationRecord(bool compressed) {
    Animation::Offline::RawAnimation raw;
    raw.duration = 2.0f;
    raw.tracks.resize(2);
    raw.tracks[0].translations = {{0.0f, Vector3{1.0f}}, {2.0f, Vector3{2.0f}}};
    raw.tracks[0].rotations = {{0.5f, Quaternion{}}, {1.0f, Quaternion::rotation(1.0f, Vector3::yAxis())}, {1.5f, Quaternion{}}};
    raw.tracks[1].scales = {{1.0f, Vector3{3.0f}}};
    const float keys[]{0.5f, 1.0f};
    StringArray names{"", "hit"};
    return createAnimationData(raw, keys, names.view(), compressed);
}

std::vector<char> fileWithRecord(Magic magic, std::span<const char> record) {
    std::vector<char> out;
    appendHeaderData(out);
    const std::span<const char> pieces[]{record};
    AssetChunk::create(magic, pieces, out);
    updateHeaderData(out);
    return out;
}

/* Reads a validated animation or targets chunk the way a loader would, sampling the animation */
void readAnimationChunk(const std::vector<char>& file) {
    const AssetChunkView view{std::span<const char>{file}.subspan(24)};
    if(view.magic() == Magic::AnimationTargets) {
        const AnimationTargetsData targets = view.as<AnimationTargetsData>();
        for(const Id id: targets.targets()) (void)id;
        return;
    }
    const AnimationData animation = view.as<AnimationData>();
    (void)animation.eventKeys();
    for(const std::string_view name: animation.eventNames()) (void)name;
    std::ostringstream silence;
    Error redirect{&silence};
    const std::unique_ptr<Animation::Animation> runtime = animation.animation();
    if(!runtime) return;
    Animation::SamplingJob::Context context{runtime->numTracks()};
    std::vector<Animation::SoaTransform> output(std::size_t(runtime->numSoaTracks()) + 1);
    Animation::SamplingJob job;
    job.animation = runtime.get();
    job.context = &context;
    job.output = output;
    for(const float ratio: {0.0f, 0.3f, 1.0f}) {
        job.ratio = ratio;
        EXPECT_TRUE(job.Run());
    }
}

TEST(AssetValidationTest, animationRecords) {
    const Id ids[]{Id{1}, Id{2}};
    for(const std::vector<char>& record: {animationRecord(false), animationRecord(true), createAnimationTargetsData(0, ids)}) {
        const Magic magic = record.size() == 8 ? Magic::AnimationTargets : Magic::Animation;
        const std::vector<char> file = fileWithRecord(magic, record);
        const Utils::Result<std::vector<AssetChunkEntry>> result = validateAssetData(file);
        ASSERT_TRUE(result) << result.error();
        readAnimationChunk(file);

        /* Every byte of the record is accounted for: each cut is refused */
        for(std::size_t size = 0; size != record.size(); ++size)
            EXPECT_FALSE(validateAssetData(fileWithRecord(magic, std::span<const char>{record}.first(size)))) << size;

        /* Every flipped bit is either refused or reads safely */
        std::size_t rejected = 0;
        for(std::size_t bit = 0; bit != record.size()*8; ++bit) {
            std::vector<char> flipped = record;
            flipped[bit/8] ^= char(1 << (bit % 8));
            const std::vector<char> flippedFile = fileWithRecord(magic, flipped);
            if(!validateAssetData(flippedFile)) {
                ++rejected;
                continue;
            }
            readAnimationChunk(flippedFile);
        }
        EXPECT_GT(rejected, magic == Magic::Animation ? 100u : 3u);
    }
}

TEST(AssetValidationTest, animationFaults) {
    const auto fault = [](Magic magic, const std::vector<char>& record) { return validate(fileWithRecord(magic, record)); };
    EXPECT_EQ(fault(Magic::Animation, std::vector<char>(12)), "offset 32: animation record of 12 bytes is smaller than its 16 byte header");

    std::vector<char> record = animationRecord(true);
    std::vector<char> broken = record;
    broken[4] = 2;
    EXPECT_EQ(fault(Magic::Animation, broken), "offset 36: unknown animation compression 2");
    broken = record;
    broken[6] = 9;
    EXPECT_EQ(fault(Magic::Animation, broken), "offset 38: 9 animation track headers exceed the " + std::to_string(record.size()) + " byte record");
    broken = record;
    broken[8] = 60;
    EXPECT_EQ(fault(Magic::Animation, broken), "offset 40: animation key data of 60 bytes exceeds the " + std::to_string(record.size()) + " byte record");
    /* Track 0 takes 16 bytes of translations, 12 of rotations, 6 of times and 2 of padding; track
       1 moved from there past the 44 bytes of key data */
    broken = record;
    broken[32] = 40;
    EXPECT_EQ(fault(Magic::Animation, broken), "offset 64: animation track 1 takes bytes 40 to 48 of 44 bytes of key data");
    /* The second rotation of track 0, after its two translation keys */
    broken = record;
    const std::uint32_t corrupt = 0x3fffffffu;
    std::memcpy(broken.data() + 48 + 16 + 4, &corrupt, 4);
    EXPECT_EQ(fault(Magic::Animation, broken), "offset 100: animation track 0 rotation 1 is not a unit quaternion");
    broken = record;
    broken[12] = 3;
    EXPECT_EQ(fault(Magic::Animation, broken), "offset 136: animation event names: expected 3 strings, found 1");
    broken[12] = 4;
    EXPECT_EQ(fault(Magic::Animation, broken), "offset 44: 4 animation events exceed the " + std::to_string(record.size()) + " byte record");
    broken = record;
    broken.back() = 'x';
    EXPECT_EQ(fault(Magic::Animation, broken), "offset " + std::to_string(32 + record.size() - 4) + ": animation event names: string 1 is not terminated");

    EXPECT_EQ(fault(Magic::AnimationTargets, {1, 0, 5}), "offset 32: animation targets record of 3 bytes can't hold its head");
    EXPECT_EQ(fault(Magic::AnimationTargets, {1, 0, 2, 0, 7, 0}), "offset 34: 2 animation targets exceed the 6 byte record");
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
