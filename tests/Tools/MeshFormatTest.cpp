#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <sstream>

#include "QuillmarshEngine/Data/MeshData.h"
#include "QuillmarshEngine/Math/Packing.h"
#include "QuillmarshEngine/Tools/MeshFormat.h"
#include "../OutputCapture.h"

namespace QuillmarshEngine { namespace Tools { namespace {

using Trade::MeshAttribute;
using Trade::VertexFormat;

/* Little-endian byte assembly for expected chunk contents, independent of the writers */
struct Bytes {
    std::string data;
    Bytes& u8(std::uint8_t v) { data.push_back(char(v)); return *this; }
    Bytes& u16(std::uint16_t v) { return u8(v & 0xff).u8(v >> 8); }
    Bytes& u32(std::uint32_t v) { return u16(v & 0xffff).u16(v >> 16); }
    Bytes& f32(float v) { std::uint32_t b; std::memcpy(&b, &v, 4); return u32(b); }
    Bytes& text(std::string_view v) { data += v; return *this; }
    Bytes& zeros(std::size_t n) { data.append(n, '\0'); return *this; }
};

using Testing::print;

MeshAttribute custom(std::uint16_t id) { return Trade::meshAttributeCustom(id); }

struct ExpectedAttribute {
    MeshAttribute name;
    VertexFormat format;
    std::size_t offset;
    std::uint16_t arraySize;
};

void expectLayout(const std::vector<Trade::MeshAttributeData>& layout, std::int16_t stride, std::initializer_list<ExpectedAttribute> expected) {
    ASSERT_EQ(layout.size(), expected.size());
    std::size_t i = 0;
    for(const ExpectedAttribute& e: expected) {
        SCOPED_TRACE(i);
        EXPECT_EQ(layout[i].name(), e.name);
        EXPECT_EQ(layout[i].format(), e.format);
        EXPECT_TRUE(layout[i].isOffsetOnly());
        EXPECT_EQ(layout[i].offset({}), e.offset);
        EXPECT_EQ(layout[i].stride(), stride);
        EXPECT_EQ(layout[i].arraySize(), e.arraySize);
        EXPECT_EQ(layout[i].morphTargetId(), -1);
        EXPECT_EQ(layout[i].vertexCount(), 7u);
        ++i;
    }
}

TEST(MeshFormatTest, flagPrinting) {
    EXPECT_EQ(print(MeshDataFlag::SecondTextureCoordinates), "MeshDataFlag::SecondTextureCoordinates\n");
    EXPECT_EQ(print(MeshDataFlag(0x800)), "MeshDataFlag(0x800)\n");
    EXPECT_EQ(print(MeshDataFlag::Position|MeshDataFlag::Quantized), "MeshDataFlag::Position|MeshDataFlag::Quantized\n");
    EXPECT_EQ(print(MeshDataFlags{}), "MeshDataFlags{}\n");
}

TEST(MeshFormatTest, tableRows) {
    ASSERT_EQ(meshAttributes.size(), 16u);
    EXPECT_EQ(meshAttributes[2].location, 10u);
    EXPECT_EQ(meshAttributes[2].instance, 1u);
    EXPECT_EQ(meshAttributes[7].name, custom(42));
    EXPECT_EQ(meshAttributes[7].format, VertexFormat{});
    EXPECT_EQ(meshAttributes[9].arraySizeEightJoints, 8);
    EXPECT_EQ(meshAttributes[15].format, VertexFormat::Vector4ubNormalized);
}

TEST(MeshFormatTest, layoutEmptyIsPosition) {
    expectLayout(getLayout({}, {}, 7), 12, {{MeshAttribute::Position, VertexFormat::Vector3, 0, 0}});
    expectLayout(getLayout({}, 7), 12, {{MeshAttribute::Position, VertexFormat::Vector3, 0, 0}});
}

TEST(MeshFormatTest, layoutNormalFiller) {
    const MeshDataFlags flags = MeshDataFlag::Position|MeshDataFlag::TextureCoordinates|MeshDataFlag::Normal;
    expectLayout(getLayout(flags, {}, 7), 32, {
        {MeshAttribute::Position, VertexFormat::Vector3, 0, 0},
        {MeshAttribute::TextureCoordinates, VertexFormat::Vector2, 12, 0},
        {MeshAttribute::Normal, VertexFormat::Vector3, 20, 0}});
    expectLayout(getLayout(flags|MeshDataFlag::Quantized, 7), 28, {
        {MeshAttribute::Position, VertexFormat::Vector3, 0, 0},
        {MeshAttribute::TextureCoordinates, VertexFormat::Vector2, 12, 0},
        {MeshAttribute::Normal, VertexFormat::Vector3sNormalized, 20, 0},
        {custom(42), VertexFormat::UnsignedShort, 26, 0}});
    /* Only Normal quantized */
    EXPECT_EQ(getLayout(flags, MeshDataFlag::Normal, 7).size(), 4u);
    EXPECT_EQ(getLayout(flags, MeshDataFlag::Color, 7).size(), 3u);
}

TEST(MeshFormatTest, layoutVertexSizes) {
    const MeshDataFlags base = MeshDataFlag::Position|MeshDataFlag::TextureCoordinates|MeshDataFlag::Normal;
    const MeshDataFlags sets[]{MeshDataFlag::Position, base, base|MeshDataFlag::Tangent,
        base|MeshDataFlag::Tangent|MeshDataFlag::Skinning,
        base|MeshDataFlag::Tangent|MeshDataFlag::Skinning|MeshDataFlag::Color};
    const std::int16_t plain[]{12, 32, 48, 72, 88};
    const std::int16_t quantized[]{12, 28, 36, 52, 60};
    for(std::size_t i = 0; i != 5; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(getLayout(sets[i], 1).front().stride(), plain[i]);
        EXPECT_EQ(getLayout(sets[i]|MeshDataFlag::Quantized, 1).front().stride(), quantized[i]);
        /* Quantized in the quantized set means everything */
        EXPECT_EQ(getLayout(sets[i], MeshDataFlag::Quantized, 1).front().stride(), quantized[i]);
    }
}

TEST(MeshFormatTest, layoutEightJoints) {
    const MeshDataFlags flags = MeshDataFlag::Skinning|MeshDataFlag::EightJoints;
    expectLayout(getLayout(flags, {}, 7), 48, {
        {MeshAttribute::JointIds, VertexFormat::UnsignedShort, 0, 8},
        {MeshAttribute::Weights, VertexFormat::Float, 16, 8}});
    expectLayout(getLayout(flags, MeshDataFlag::Skinning, 7), 32, {
        {MeshAttribute::JointIds, VertexFormat::UnsignedShort, 0, 8},
        {MeshAttribute::Weights, VertexFormat::UnsignedShortNormalized, 16, 8}});
}

TEST(MeshFormatTest, layoutOrderAndSlug) {
    const std::vector<Trade::MeshAttributeData> all = getLayout(~MeshDataFlags{MeshDataFlag::Slug}, 7);
    /* Quantized: the normal brings its filler */
    ASSERT_EQ(all.size(), 10u);
    EXPECT_EQ(all[7].name(), custom(42));
    EXPECT_EQ(all[2].name(), MeshAttribute::TextureCoordinates);
    EXPECT_EQ(all[3].name(), MeshAttribute::Color);
    EXPECT_EQ(all[5].name(), MeshAttribute::ObjectId);
    /* Slug with Position is fine: the superset test needs every other bit too */
    const std::vector<Trade::MeshAttributeData> slug = getLayout(MeshDataFlag::Slug|MeshDataFlag::Position, 7);
    ASSERT_EQ(slug.size(), 7u);
    EXPECT_EQ(slug[6].name(), custom(9));
    EXPECT_EQ(slug[6].offset({}), 12u + 8 + 8 + 16*3);
}

/* A mesh with attributes of given formats; values filled by the caller through mutableAttribute() */
struct MeshBuilder {
    struct Attribute { MeshAttribute name; VertexFormat format; std::uint16_t arraySize; };
    static Trade::MeshData make(std::uint32_t vertexCount, std::initializer_list<Attribute> attributes, std::vector<std::uint32_t> indices = {}) {
        std::size_t stride = 0;
        for(const Attribute& a: attributes) stride += Trade::vertexFormatSize(a.format)*std::max<std::size_t>(a.arraySize, 1);
        std::vector<char> vertexData(stride*vertexCount);
        std::vector<Trade::MeshAttributeData> out;
        std::size_t offset = 0;
        for(const Attribute& a: attributes) {
            out.emplace_back(a.name, a.format, StridedArrayView1D<const char>{vertexData.data() + offset, vertexCount, std::ptrdiff_t(stride)}, a.arraySize);
            offset += Trade::vertexFormatSize(a.format)*std::max<std::size_t>(a.arraySize, 1);
        }
        if(indices.empty())
            return Trade::MeshData{Trade::MeshPrimitive::Triangles, std::move(vertexData), std::move(out)};
        std::vector<char> indexData(indices.size()*4);
        std::memcpy(indexData.data(), indices.data(), indexData.size());
        const Trade::MeshIndexData indexView{Trade::MeshIndexType::UnsignedInt, indexData};
        return Trade::MeshData{Trade::MeshPrimitive::Triangles, std::move(indexData), indexView, std::move(vertexData), std::move(out)};
    }
};

template<class T> T* element(Trade::MeshData& mesh, std::uint32_t attribute, std::uint32_t vertex) {
    return reinterpret_cast<T*>(&mesh.mutableAttribute(attribute)[vertex][0]);
}
template<class T> T value(const Trade::MeshData& mesh, std::uint32_t attribute, std::uint32_t vertex, std::uint32_t component) {
    T out;
    std::memcpy(&out, &mesh.attribute(attribute)[vertex][0] + component*sizeof(T), sizeof(T));
    return out;
}

TEST(MeshFormatTest, meshFlags) {
    EXPECT_EQ(getMeshFlags(MeshBuilder::make(1, {{MeshAttribute::Position, VertexFormat::Vector3, 0}, {MeshAttribute::Normal, VertexFormat::Vector3, 0}})),
        MeshDataFlag::Position|MeshDataFlag::Normal);
    /* Two texture coordinate sets */
    EXPECT_EQ(getMeshFlags(MeshBuilder::make(1, {{MeshAttribute::TextureCoordinates, VertexFormat::Vector2, 0}, {MeshAttribute::TextureCoordinates, VertexFormat::Vector2, 0}})),
        MeshDataFlag::TextureCoordinates|MeshDataFlag::SecondTextureCoordinates);
    /* Joint ids without weights: no skinning (and a mesh can't even hold them unpaired, so use
       a custom stand-in for the weights) */
    EXPECT_EQ(getMeshFlags(MeshBuilder::make(1, {{MeshAttribute::Position, VertexFormat::Vector3, 0}, {custom(1), VertexFormat::Float, 4}})), MeshDataFlag::Position);
    /* Five to eight joints */
    EXPECT_EQ(getMeshFlags(MeshBuilder::make(1, {{MeshAttribute::JointIds, VertexFormat::UnsignedByte, 5}, {MeshAttribute::Weights, VertexFormat::Float, 5}})),
        MeshDataFlag::Skinning|MeshDataFlag::EightJoints);
    EXPECT_EQ(getMeshFlags(MeshBuilder::make(1, {{MeshAttribute::JointIds, VertexFormat::UnsignedShort, 4}, {MeshAttribute::Weights, VertexFormat::Float, 4}})),
        MeshDataFlag::Skinning);
    /* Slug needs all six */
    EXPECT_EQ(getMeshFlags(MeshBuilder::make(1, {{custom(4), VertexFormat::Vector2, 0}, {custom(5), VertexFormat::Vector2, 0}})), MeshDataFlags{});
}

/* Random mesh with every attribute of the layout, in float formats */
Trade::MeshData randomMesh(std::uint32_t vertexCount, std::uint32_t seed, bool eightJoints = false) {
    const std::uint16_t joints = eightJoints ? 8 : 4;
    std::vector<std::uint32_t> indices;
    for(std::uint32_t i = 0; i != vertexCount*3; ++i) indices.push_back((i*7919u) % vertexCount);
    Trade::MeshData mesh = MeshBuilder::make(vertexCount, {
        {MeshAttribute::Position, VertexFormat::Vector3, 0},
        {MeshAttribute::Normal, VertexFormat::Vector3, 0},
        {MeshAttribute::Tangent, VertexFormat::Vector4, 0},
        {MeshAttribute::TextureCoordinates, VertexFormat::Vector2, 0},
        {MeshAttribute::TextureCoordinates, VertexFormat::Vector2, 0},
        {MeshAttribute::Color, VertexFormat::Vector4, 0},
        {MeshAttribute::ObjectId, VertexFormat::UnsignedInt, 0},
        {MeshAttribute::JointIds, VertexFormat::UnsignedShort, joints},
        {MeshAttribute::Weights, VertexFormat::Float, joints}}, indices);
    std::mt19937 rng{seed};
    std::uniform_real_distribution<float> signedUnit{-1.0f, 1.0f}, unit{0.0f, 1.0f}, wide{-100.0f, 100.0f};
    for(std::uint32_t v = 0; v != vertexCount; ++v) {
        for(std::uint32_t c = 0; c != 3; ++c) element<float>(mesh, 0, v)[c] = wide(rng);
        for(std::uint32_t c = 0; c != 3; ++c) element<float>(mesh, 1, v)[c] = signedUnit(rng);
        for(std::uint32_t c = 0; c != 4; ++c) element<float>(mesh, 2, v)[c] = signedUnit(rng);
        for(std::uint32_t c = 0; c != 2; ++c) element<float>(mesh, 3, v)[c] = wide(rng);
        for(std::uint32_t c = 0; c != 2; ++c) element<float>(mesh, 4, v)[c] = wide(rng);
        for(std::uint32_t c = 0; c != 4; ++c) element<float>(mesh, 5, v)[c] = unit(rng);
        *element<std::uint32_t>(mesh, 6, v) = std::uint32_t(rng());
        for(std::uint32_t c = 0; c != joints; ++c) element<std::uint16_t>(mesh, 7, v)[c] = std::uint16_t(rng());
        for(std::uint32_t c = 0; c != joints; ++c) element<float>(mesh, 8, v)[c] = unit(rng);
    }
    return mesh;
}

/* Compares every attribute of `a` with the same-named one of `b` as floats within `epsilon`
   for the given names and exactly otherwise */
void expectSameValues(const Trade::MeshData& original, const Trade::MeshData& result, float snormError, float unormError) {
    const MeshAttribute names[]{MeshAttribute::Position, MeshAttribute::Normal, MeshAttribute::Tangent, MeshAttribute::TextureCoordinates, MeshAttribute::Color, MeshAttribute::Weights};
    const std::uint32_t components[]{3, 3, 4, 2, 4, 0};
    for(std::size_t n = 0; n != 6; ++n) {
        for(std::uint32_t instance = 0; instance != original.attributeCount(names[n]); ++instance) {
            const std::uint32_t a = original.attributeId(names[n], instance);
            const std::uint32_t b = result.attributeId(names[n], instance);
            ASSERT_EQ(result.attributeFormat(b), original.attributeFormat(a));
            const std::uint32_t count = components[n] ? components[n] : original.attributeArraySize(a);
            const float error = names[n] == MeshAttribute::Normal || names[n] == MeshAttribute::Tangent ? snormError :
                names[n] == MeshAttribute::Color || names[n] == MeshAttribute::Weights ? unormError : 0.0f;
            for(std::uint32_t v = 0; v != original.vertexCount(); ++v)
                for(std::uint32_t c = 0; c != count; ++c)
                    ASSERT_NEAR(value<float>(result, b, v, c), value<float>(original, a, v, c), error) << std::uint16_t(names[n]) << " " << v << " " << c;
        }
    }
    for(const MeshAttribute name: {MeshAttribute::ObjectId, MeshAttribute::JointIds}) {
        const std::uint32_t a = original.attributeId(name), b = result.attributeId(name);
        ASSERT_EQ(result.attribute(b).size().columns, original.attribute(a).size().columns);
        for(std::uint32_t v = 0; v != original.vertexCount(); ++v)
            ASSERT_EQ(std::memcmp(&result.attribute(b)[v][0], &original.attribute(a)[v][0], original.attribute(a).size().columns), 0);
    }
    EXPECT_EQ(result.indicesAsArray(), original.indicesAsArray());
}

TEST(MeshFormatTest, packUnpackRoundTrip) {
    for(const bool eight: {false, true}) {
        SCOPED_TRACE(eight);
        const Trade::MeshData mesh = randomMesh(200, eight ? 7 : 3, eight);
        const MeshDataFlags flags = getMeshFlags(mesh);
        EXPECT_EQ(flags, MeshDataFlag::Position|MeshDataFlag::Normal|MeshDataFlag::Tangent|MeshDataFlag::TextureCoordinates|MeshDataFlag::SecondTextureCoordinates|MeshDataFlag::Color|MeshDataFlag::ObjectIds|MeshDataFlag::Skinning|(eight ? MeshDataFlag::EightJoints : MeshDataFlags{}));

        /* Unquantized: exact */
        const Trade::MeshData packed = packMesh({}, mesh);
        EXPECT_EQ(packed.attributeStride(0), eight ? 124 : 100);
        expectSameValues(mesh, packed, 0.0f, 0.0f);

        /* Quantized: within half a step of each 16-bit format */
        const Trade::MeshData quantized = packMesh(MeshDataFlag::Quantized, mesh);
        EXPECT_EQ(quantized.attributeFormat(quantized.attributeId(MeshAttribute::Normal)), VertexFormat::Vector3sNormalized);
        EXPECT_EQ(quantized.attributeFormat(quantized.attributeId(MeshAttribute::Weights)), VertexFormat::UnsignedShortNormalized);
        const Trade::MeshData unpacked = unpackMesh(MeshDataFlag::Quantized, quantized);
        EXPECT_EQ(unpacked.attributeStride(0), packed.attributeStride(0));
        expectSameValues(mesh, unpacked, 0.5f/32767.0f + 1e-6f, 0.5f/65535.0f + 1e-6f);
    }
}

TEST(MeshFormatTest, packQuantizedValues) {
    Trade::MeshData mesh = MeshBuilder::make(1, {{MeshAttribute::Normal, VertexFormat::Vector3, 0}, {MeshAttribute::Color, VertexFormat::Vector4, 0}});
    const float normal[]{1.0f, -1.0f, 0.5f};
    const float color[]{0.5f, 2.0f, -1.0f, 1.0f};
    std::memcpy(element<float>(mesh, 0, 0), normal, 12);
    std::memcpy(element<float>(mesh, 1, 0), color, 16);
    const Trade::MeshData packed = packMesh(MeshDataFlag::Normal|MeshDataFlag::Color, MeshDataFlag::Quantized, mesh);
    /* Color first in the table, then the normal and its filler */
    ASSERT_EQ(packed.attributeCount(), 3u);
    EXPECT_EQ(value<std::uint16_t>(packed, 0, 0, 0), 32768);
    /* Clamped before packing */
    EXPECT_EQ(value<std::uint16_t>(packed, 0, 0, 1), 65535);
    EXPECT_EQ(value<std::uint16_t>(packed, 0, 0, 2), 0);
    EXPECT_EQ(value<std::int16_t>(packed, 1, 0, 0), 32767);
    EXPECT_EQ(value<std::int16_t>(packed, 1, 0, 1), -32767);
    EXPECT_EQ(value<std::int16_t>(packed, 1, 0, 2), 16384);
    EXPECT_EQ(value<std::uint16_t>(packed, 2, 0, 0), 0);
}

TEST(MeshFormatTest, packConvertsSourceFormats) {
    /* RGB colours, three-component tangents, 8-bit joints of 3, already quantized normals */
    Trade::MeshData mesh = MeshBuilder::make(2, {
        {MeshAttribute::Color, VertexFormat::Vector3ubNormalized, 0},
        {MeshAttribute::Tangent, VertexFormat::Vector3, 0},
        {MeshAttribute::Normal, VertexFormat::Vector3sNormalized, 0},
        {MeshAttribute::JointIds, VertexFormat::UnsignedByte, 3},
        {MeshAttribute::Weights, VertexFormat::UnsignedByteNormalized, 3}});
    const std::uint8_t rgb[]{255, 0, 51};
    const float tangent[]{0.0f, 1.0f, 0.0f};
    const std::int16_t normal[]{32767, 0, -32767};
    const std::uint8_t joints[]{1, 2, 250};
    const std::uint8_t weights[]{255, 0, 128};
    for(std::uint32_t v = 0; v != 2; ++v) {
        std::memcpy(element<char>(mesh, 0, v), rgb, 3);
        std::memcpy(element<char>(mesh, 1, v), tangent, 12);
        std::memcpy(element<char>(mesh, 2, v), normal, 6);
        std::memcpy(element<char>(mesh, 3, v), joints, 3);
        std::memcpy(element<char>(mesh, 4, v), weights, 3);
    }
    const MeshDataFlags layout = MeshDataFlag::Color|MeshDataFlag::Tangent|MeshDataFlag::Normal|MeshDataFlag::Skinning|MeshDataFlag::EightJoints;
    for(const MeshDataFlags quantized: {MeshDataFlags{}, MeshDataFlags{MeshDataFlag::Quantized}}) {
        SCOPED_TRACE(bool(quantized));
        const Trade::MeshData packed = packMesh(layout, quantized, mesh);
        const std::uint32_t c = packed.attributeId(MeshAttribute::Color);
        const std::uint32_t t = packed.attributeId(MeshAttribute::Tangent);
        const std::uint32_t n = packed.attributeId(MeshAttribute::Normal);
        const std::uint32_t j = packed.attributeId(MeshAttribute::JointIds);
        const std::uint32_t w = packed.attributeId(MeshAttribute::Weights);
        for(std::uint32_t v = 0; v != 2; ++v) {
            if(!quantized) {
                EXPECT_FLOAT_EQ(value<float>(packed, c, v, 0), 1.0f);
                EXPECT_FLOAT_EQ(value<float>(packed, c, v, 2), 0.2f);
                /* Missing alpha and bitangent sign become one */
                EXPECT_FLOAT_EQ(value<float>(packed, c, v, 3), 1.0f);
                EXPECT_FLOAT_EQ(value<float>(packed, t, v, 3), 1.0f);
                EXPECT_FLOAT_EQ(value<float>(packed, n, v, 2), -1.0f);
                EXPECT_FLOAT_EQ(value<float>(packed, w, v, 0), 1.0f);
                EXPECT_FLOAT_EQ(value<float>(packed, w, v, 3), 0.0f);
                EXPECT_FLOAT_EQ(value<float>(packed, w, v, 7), 0.0f);
            } else {
                EXPECT_EQ(value<std::uint16_t>(packed, c, v, 0), 65535);
                EXPECT_EQ(value<std::uint16_t>(packed, c, v, 3), 65535);
                EXPECT_EQ(value<std::int16_t>(packed, t, v, 1), 32767);
                EXPECT_EQ(value<std::int16_t>(packed, t, v, 3), 32767);
                /* Already quantized: kept bit-exact */
                EXPECT_EQ(value<std::int16_t>(packed, n, v, 2), -32767);
                EXPECT_EQ(value<std::uint16_t>(packed, w, v, 0), 65535);
                EXPECT_EQ(value<std::uint16_t>(packed, w, v, 7), 0);
            }
            /* Three joints fit into eight; the rest zero */
            EXPECT_EQ(value<std::uint16_t>(packed, j, v, 2), 250);
            EXPECT_EQ(value<std::uint16_t>(packed, j, v, 3), 0);
            EXPECT_EQ(value<std::uint16_t>(packed, j, v, 7), 0);
        }
    }

    /* Ten joints into four: the first four are kept */
    Trade::MeshData many = MeshBuilder::make(1, {{MeshAttribute::JointIds, VertexFormat::UnsignedInt, 10}, {MeshAttribute::Weights, VertexFormat::Float, 10}});
    for(std::uint32_t i = 0; i != 10; ++i) element<std::uint32_t>(many, 0, 0)[i] = 100 + i;
    const Trade::MeshData four = packMesh(MeshDataFlag::Skinning, {}, many);
    EXPECT_EQ(four.attributeArraySize(0), 4);
    EXPECT_EQ(value<std::uint16_t>(four, 0, 0, 3), 103);
}

TEST(MeshFormatTest, unpackKeepsUnquantizedSource) {
    const Trade::MeshData mesh = randomMesh(10, 5);
    /* Never quantized, nothing unpacked: every attribute keeps its float format */
    const Trade::MeshData same = unpackMesh(MeshDataFlags{}, mesh);
    EXPECT_EQ(same.attributeStride(0), 100);
    expectSameValues(mesh, same, 0.0f, 0.0f);
    /* Quantized, only normals unpacked: the others stay quantized, the filler goes */
    const Trade::MeshData quantized = packMesh(MeshDataFlag::Quantized, mesh);
    const Trade::MeshData partly = unpackMesh(MeshDataFlag::Normal, quantized);
    EXPECT_EQ(partly.attributeFormat(partly.attributeId(MeshAttribute::Normal)), VertexFormat::Vector3);
    EXPECT_EQ(partly.attributeFormat(partly.attributeId(MeshAttribute::Color)), VertexFormat::Vector4usNormalized);
    EXPECT_FALSE(partly.hasAttribute(meshAttributeNormalFiller()));
    const Trade::MeshData noNormal = unpackMesh(MeshDataFlag::Color, quantized);
    EXPECT_TRUE(noNormal.hasAttribute(meshAttributeNormalFiller()));
    EXPECT_EQ(quantized.attributeStride(0), 72);
    EXPECT_EQ(noNormal.attributeStride(0), 72 + 8);
}

TEST(MeshFormatTest, attributePackers) {
    const float src[2][4]{{1.0f, -1.0f, 0.0f, 0.25f}, {-0.5f, 0.5f, 2.0f, -2.0f}};
    std::int16_t dst[2][4]{};
    packMeshAttributeDataInto(MeshAttribute::Tangent,
        StridedArrayView2D<const char>{reinterpret_cast<const char*>(src), {2, 16}, {16, 1}},
        StridedArrayView2D<char>{reinterpret_cast<char*>(dst), {2, 8}, {8, 1}});
    EXPECT_EQ(dst[0][0], 32767);
    EXPECT_EQ(dst[0][1], -32767);
    EXPECT_EQ(dst[0][3], 8192);
    EXPECT_EQ(dst[1][2], 32767);
    EXPECT_EQ(dst[1][3], -32767);
    float back[2][4]{};
    unpackMeshAttributeDataInto(MeshAttribute::Tangent,
        StridedArrayView2D<const char>{reinterpret_cast<const char*>(dst), {2, 8}, {8, 1}},
        StridedArrayView2D<char>{reinterpret_cast<char*>(back), {2, 16}, {16, 1}});
    EXPECT_FLOAT_EQ(back[0][1], -1.0f);
    EXPECT_NEAR(back[1][0], -0.5f, 1.0f/32767);

    /* Other names copy bytes */
    const char bytes[]{1, 2, 3, 4};
    char out[6]{9, 9, 9, 9, 9, 9};
    packMeshAttributeDataInto(MeshAttribute::ObjectId, StridedArrayView2D<const char>{bytes, {1, 4}, {4, 1}}, StridedArrayView2D<char>{out, {1, 6}, {6, 1}});
    EXPECT_EQ(std::string_view(out, 6), std::string_view("\1\2\3\4\0\0", 6));
}

TEST(MeshFormatTest, attributePackersMatchMathPacking) {
    /* The packers' fast rows must give exactly what the math library's packing gives: exact
       steps, the half-way points between them and their float neighbours, out-of-range values */
    std::vector<float> values{0.0f, -0.0f, 1.0f, -1.0f, 2.0f, -2.0f, 1e-30f, -1e-30f,
        std::numeric_limits<float>::infinity(), -std::numeric_limits<float>::infinity(), std::numeric_limits<float>::quiet_NaN()};
    for(int i = 0; i <= 65535; i += 7) {
        for(const float max: {65535.0f, 32767.0f}) {
            const float half = (float(i) + 0.5f)/max;
            for(const float v: {float(i)/max, half, std::nextafter(half, 0.0f), std::nextafter(half, 2.0f)}) {
                values.push_back(v);
                values.push_back(-v);
            }
        }
    }
    std::mt19937 rng{9};
    std::uniform_real_distribution<float> range{-1.5f, 1.5f};
    for(int i = 0; i != 10000; ++i) values.push_back(range(rng));
    while(values.size() % 8) values.push_back(0.5f);

    for(const std::size_t components: {3u, 4u, 8u}) {
        const std::size_t rows = values.size()/components;
        std::vector<std::int16_t> snorm(rows*components);
        std::vector<std::uint16_t> unorm(rows*components);
        const StridedArrayView2D<const char> src{reinterpret_cast<const char*>(values.data()), {rows, components*4}, {std::ptrdiff_t(components*4), 1}};
        packMeshAttributeDataInto(MeshAttribute::Normal, src, StridedArrayView2D<char>{reinterpret_cast<char*>(snorm.data()), {rows, components*2}, {std::ptrdiff_t(components*2), 1}});
        packMeshAttributeDataInto(MeshAttribute::Weights, src, StridedArrayView2D<char>{reinterpret_cast<char*>(unorm.data()), {rows, components*2}, {std::ptrdiff_t(components*2), 1}});
        for(std::size_t i = 0; i != rows*components; ++i) {
            ASSERT_EQ(snorm[i], Math::pack<std::int16_t>(values[i])) << values[i] << " " << components;
            ASSERT_EQ(unorm[i], Math::pack<std::uint16_t>(values[i])) << values[i] << " " << components;
        }
    }
}

TEST(MeshFormatTest, meshChunkBytes) {
    /* Two positions, three 16-bit indices */
    std::vector<char> vertexData(24);
    const float positions[]{1.0f, 2.0f, 3.0f, 4.0f, 5.0f, 6.0f};
    std::memcpy(vertexData.data(), positions, 24);
    std::vector<char> indexData(6);
    const std::uint16_t indices[]{0, 1, 1};
    std::memcpy(indexData.data(), indices, 6);
    std::vector<Trade::MeshAttributeData> attributes;
    attributes.emplace_back(MeshAttribute::Position, VertexFormat::Vector3, 0, 2, 12, 0, 3);
    const Trade::MeshIndexData indexView{Trade::MeshIndexType::UnsignedShort, indexData};
    const Trade::MeshData mesh{Trade::MeshPrimitive::Triangles, std::move(indexData), indexView, std::move(vertexData), std::move(attributes)};

    std::vector<char> out{'a', 'b', 'c', 'd'};
    createMeshChunk(mesh, {}, {}, BoundingSphere{{0.5f, 1.5f, 2.5f}, 4.0f}, out);
    Bytes expected;
    expected.text("abcd").text("QMEM").u32(104)
        .u32(104).u32(20).u32(24).u32(6).u32(2).u32(3).u32(1).u32(2).u8(0).zeros(3)
        .f32(0.5f).f32(1.5f).f32(2.5f).f32(4.0f)
        /* format, name, marker, morph target, vertex count, stride, array size, offset */
        .u32(27).u16(1).u8(1).u8(3).u32(2).u16(12).u16(0).u32(0);
    for(const float p: positions) expected.f32(p);
    expected.u16(0).u16(1).u16(1).zeros(2);
    EXPECT_EQ(std::string(out.data(), out.size()), expected.data);

    /* Read back: the morph target is not restored */
    const Data::AssetChunkView view{std::span<const char>{out}.subspan(4)};
    const Data::MeshData data = view.as<Data::MeshData>();
    EXPECT_EQ(data.boundingSphere().radius(), 4.0f);
    EXPECT_EQ(data.boundingSphere().center()[1], 1.5f);
    const Trade::MeshData back = data.mesh();
    EXPECT_EQ(back.primitive(), Trade::MeshPrimitive::Triangles);
    EXPECT_EQ(back.indexType(), Trade::MeshIndexType::UnsignedShort);
    EXPECT_EQ(back.indicesAsArray(), (std::vector<std::uint32_t>{0, 1, 1}));
    EXPECT_EQ(back.attributeMorphTargetId(0), -1);
    EXPECT_EQ(back.vertexData().data(), out.data() + 4 + 8 + 72);
    EXPECT_EQ(value<float>(back, 0, 1, 2), 6.0f);
    const Trade::MeshData copy = data.meshCopy();
    EXPECT_NE(copy.vertexData().data(), back.vertexData().data());
    EXPECT_EQ(copy.indexDataFlags(), Trade::DataFlag::Owned|Trade::DataFlag::Mutable);
    EXPECT_EQ(value<float>(copy, 0, 1, 0), 4.0f);
    EXPECT_EQ(data.attributeDataCopy().size(), 1u);
}

TEST(MeshFormatTest, meshChunkNonIndexed) {
    Trade::MeshData mesh = MeshBuilder::make(1, {{MeshAttribute::ObjectId, VertexFormat::UnsignedShort, 0}});
    *element<std::uint16_t>(mesh, 0, 0) = 0xabcd;
    std::vector<char> out;
    createMeshChunk(mesh, {}, {}, {}, out);
    Bytes expected;
    expected.text("QMEM").u32(76)
        .u32(76).u32(20).u32(2).u32(0).u32(1).u32(0).u32(1).u32(3).u8(0).zeros(3).zeros(16)
        .u32(8).u16(9).u8(1).u8(0xff).u32(1).u16(2).u16(0).u32(0)
        .u16(0xabcd).zeros(2);
    EXPECT_EQ(std::string(out.data(), out.size()), expected.data);
    const Trade::MeshData back = Data::AssetChunkView{out}.as<Data::MeshData>().mesh();
    EXPECT_FALSE(back.isIndexed());
    EXPECT_EQ(value<std::uint16_t>(back, 0, 0, 0), 0xabcd);
}

TEST(MeshFormatTest, meshChunkZeroIndicesIsNonIndexed) {
    /* Indexed with no indices is a distinct mesh, but the chunk stores count 0 for both */
    std::vector<char> vertexData(12);
    std::vector<Trade::MeshAttributeData> attributes;
    attributes.emplace_back(MeshAttribute::Position, VertexFormat::Vector3, 0, 1, 12);
    const Trade::MeshData mesh{Trade::MeshPrimitive::Triangles, std::vector<char>{}, Trade::MeshIndexData{Trade::MeshIndexType::UnsignedShort, {}}, std::move(vertexData), std::move(attributes)};
    ASSERT_TRUE(mesh.isIndexed());
    EXPECT_EQ(mesh.indexCount(), 0u);
    std::vector<char> out;
    createMeshChunk(mesh, {}, {}, {}, out);
    const Data::MeshData data = Data::AssetChunkView{out}.as<Data::MeshData>();
    EXPECT_EQ(data.indexCount(), 0u);
    EXPECT_EQ(data.indexType(), Trade::MeshIndexType::UnsignedShort);
    EXPECT_FALSE(data.mesh().isIndexed());
    EXPECT_FALSE(data.meshCopy().isIndexed());
}

TEST(MeshFormatTest, compressedChunkRoundTrip) {
    for(const std::uint32_t count: {0u, 1u, 300u}) {
        SCOPED_TRACE(count);
        const Trade::MeshData packed = packMesh(MeshDataFlag::Quantized, randomMesh(count ? count : 1, count));
        const std::vector<char> vertices = compressMeshVertexData(packed);
        const std::vector<char> indices = compressMeshIndexData(packed);
        std::vector<char> out;
        createMeshChunk(packed, vertices, indices, BoundingSphere{{1.0f, 2.0f, 3.0f}, 4.0f}, out);
        const Data::MeshData data = Data::AssetChunkView{out}.as<Data::MeshData>();
        EXPECT_TRUE(data.isVertexDataCompressed());
        EXPECT_TRUE(data.isIndexDataCompressed());
        EXPECT_EQ(data.compressionFlags(), 3);
        EXPECT_EQ(data.vertexDataSize(), vertices.size());
        Utils::Result<Trade::MeshData> back = decompressMesh(data);
        ASSERT_TRUE(back) << back.error();
        EXPECT_EQ(std::string_view(back->vertexData().data(), back->vertexData().size()), std::string_view(packed.vertexData().data(), packed.vertexData().size()));
        EXPECT_EQ(back->indicesAsArray(), packed.indicesAsArray());
        EXPECT_EQ(back->attributeCount(), packed.attributeCount());
    }

    /* Index counts that are not triangle lists, only indices compressed */
    Trade::MeshData strip = MeshBuilder::make(4, {{MeshAttribute::Position, VertexFormat::Vector3, 0}}, {0, 1, 2, 3});
    std::vector<char> out;
    createMeshChunk(strip, {}, compressMeshIndexData(strip), {}, out);
    Utils::Result<Trade::MeshData> back = decompressMesh(Data::AssetChunkView{out}.as<Data::MeshData>());
    ASSERT_TRUE(back);
    EXPECT_EQ(back->indicesAsArray(), (std::vector<std::uint32_t>{0, 1, 2, 3}));

    /* Corrupt compressed bytes are reported, not decoded */
    std::vector<char> broken;
    const Trade::MeshData packed = packMesh({}, randomMesh(64, 1));
    createMeshChunk(packed, compressMeshVertexData(packed), {}, {}, broken);
    broken[8 + 52 + 20*packed.attributeCount()] ^= 0x55;
    EXPECT_FALSE(decompressMesh(Data::AssetChunkView{broken}.as<Data::MeshData>()));
}

TEST(MeshFormatTest, triangleCodec) {
    EXPECT_EQ(print(MeshIndexCompression::Triangles), "MeshIndexCompression::Triangles\n");
    EXPECT_EQ(print(MeshIndexCompression(7)), "MeshIndexCompression(0x7)\n");

    /* A 40 x 40 grid of quads in row order, as a vertex-cache-optimized mesh roughly is */
    constexpr std::uint32_t Side = 41;
    std::vector<std::uint32_t> grid;
    for(std::uint32_t y = 0; y + 1 != Side; ++y) for(std::uint32_t x = 0; x + 1 != Side; ++x) {
        const std::uint32_t a = y*Side + x, b = a + 1, c = a + Side, d = c + 1;
        grid.insert(grid.end(), {a, b, c, c, b, d});
    }
    const Trade::MeshData mesh = MeshBuilder::make(Side*Side, {{MeshAttribute::Position, VertexFormat::Vector3, 0}}, grid);
    const std::vector<char> sequence = compressMeshIndexData(mesh);
    const std::vector<char> triangles = compressMeshIndexData(mesh, MeshIndexCompression::Triangles);
    EXPECT_LT(triangles.size()*3, sequence.size()*2) << triangles.size() << " vs " << sequence.size();

    /* Read back by the first byte alone: the same triangles with the same winding, each maybe
       starting at another corner */
    std::vector<char> out;
    createMeshChunk(mesh, {}, triangles, {}, out);
    const Utils::Result<Trade::MeshData> back = decompressMesh(Data::AssetChunkView{out}.as<Data::MeshData>());
    ASSERT_TRUE(back) << back.error();
    const std::vector<std::uint32_t> decoded = back->indicesAsArray();
    ASSERT_EQ(decoded.size(), grid.size());
    for(std::size_t i = 0; i != grid.size(); i += 3) {
        bool same = false;
        for(std::size_t r = 0; r != 3; ++r)
            same = same || (decoded[i] == grid[i + r] && decoded[i + 1] == grid[i + (r + 1) % 3] && decoded[i + 2] == grid[i + (r + 2) % 3]);
        EXPECT_TRUE(same) << "triangle " << i/3;
    }
    /* The sequence codec gives back every index where it was */
    out.clear();
    createMeshChunk(mesh, {}, sequence, {}, out);
    EXPECT_EQ(decompressMesh(Data::AssetChunkView{out}.as<Data::MeshData>())->indicesAsArray(), grid);

    /* Triangle-coded bytes in a record whose index count is not a multiple of three */
    const Trade::MeshData strip = MeshBuilder::make(4, {{MeshAttribute::Position, VertexFormat::Vector3, 0}}, {0, 1, 2, 3});
    const Trade::MeshData triangle = MeshBuilder::make(4, {{MeshAttribute::Position, VertexFormat::Vector3, 0}}, {0, 1, 2});
    out.clear();
    createMeshChunk(strip, {}, compressMeshIndexData(triangle, MeshIndexCompression::Triangles), {}, out);
    const Utils::Result<Trade::MeshData> mismatched = decompressMesh(Data::AssetChunkView{out}.as<Data::MeshData>());
    ASSERT_FALSE(mismatched);
    EXPECT_EQ(mismatched.error(), "triangle-coded index data for 4 indices, not a multiple of three");
}

TEST(MeshFormatDeathTest, layoutInvalid) {
    EXPECT_DEATH(getLayout(~MeshDataFlags{MeshDataFlag::ObjectIds}, {}, 1),
        "^Assertion !\\(layoutFlags >= MeshDataFlag::Slug && layoutFlags >= ~\\(MeshDataFlag::Slug \\| MeshDataFlag::ObjectIds\\)\\) failed at Tools/MeshFormat:34\n$");
    /* Only the filler's flag bit with quantization off selects nothing */
    EXPECT_DEATH(getLayout(MeshDataFlag::EightJoints, {}, 1), "^Assertion vertexSize > 0 failed at Tools/MeshFormat:77\n$");
    EXPECT_DEATH(unpackMesh(MeshDataFlag::Position|MeshDataFlag::Quantized, {}, MeshBuilder::make(1, {{MeshAttribute::Position, VertexFormat::Vector3, 0}})),
        "^Assertion !\\(targetLayout >= MeshDataFlag::Quantized\\) failed at Tools/MeshFormat:188\n$");
}

TEST(MeshFormatDeathTest, meshChunkTooLarge) {
    /* Only the sizes are looked at before the check; the bytes behind the view are never read */
    const char byte{};
    const std::span<const char> huge{&byte, std::size_t{0xfffffff0}};
    std::vector<char> out;
    EXPECT_DEATH(Data::createMeshDataChunk(Data::MeshDataChunkHeader{}, {}, huge, huge, out),
        "^Assertion offset \\+ Utils::fourByteAlign\\(size\\) == header.totalSize failed at Data/AssetData:374\n$");
}

TEST(MeshFormatDeathTest, triangleCodecNeedsTriangles) {
    const Trade::MeshData strip = MeshBuilder::make(4, {{MeshAttribute::Position, VertexFormat::Vector3, 0}}, {0, 1, 2, 3});
    EXPECT_DEATH(compressMeshIndexData(strip, MeshIndexCompression::Triangles),
        "^Tools::compressMeshIndexData\\(\\): the triangle codec expects a multiple of three indices, got 4\n$");
}

TEST(MeshFormatDeathTest, compressedMeshView) {
    const Trade::MeshData packed = packMesh({}, randomMesh(4, 1));
    std::vector<char> out;
    createMeshChunk(packed, compressMeshVertexData(packed), {}, {}, out);
    const Data::MeshData data = Data::AssetChunkView{out}.as<Data::MeshData>();
    EXPECT_DEATH(data.mesh(), "^Vertex or index data are compressed, decompress them first\n$");
    EXPECT_DEATH(data.meshCopy(), "^Vertex or index data are compressed, decompress them first\n$");
}

}}}
