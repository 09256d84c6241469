#include <gtest/gtest.h>

#include <cstring>
#include <sstream>

#include "QuillmarshEngine/Trade/MeshData.h"
#include "../OutputCapture.h"

namespace QuillmarshEngine { namespace Trade { namespace {

using Testing::print;

TEST(MeshDataTest, vertexFormatValuesAndQueries) {
    /* Values are stored in files */
    EXPECT_EQ(std::uint32_t(VertexFormat::Float), 1u);
    EXPECT_EQ(std::uint32_t(VertexFormat::Vector3), 27u);
    EXPECT_EQ(std::uint32_t(VertexFormat::Vector3sNormalized), 37u);
    EXPECT_EQ(std::uint32_t(VertexFormat::Vector4usNormalized), 48u);
    EXPECT_EQ(std::uint32_t(VertexFormat::Matrix2x2), 53u);
    EXPECT_EQ(std::uint32_t(VertexFormat::Matrix4x3sNormalizedAligned), 109u);

    EXPECT_EQ(vertexFormatSize(VertexFormat::Vector3sNormalized), 6u);
    EXPECT_EQ(vertexFormatSize(VertexFormat::Matrix3x3bNormalizedAligned), 12u);
    EXPECT_EQ(vertexFormatComponentFormat(VertexFormat::Vector4ubNormalized), VertexFormat::UnsignedByte);
    EXPECT_EQ(vertexFormatComponentCount(VertexFormat::Matrix3x4), 4u);
    EXPECT_EQ(vertexFormatVectorCount(VertexFormat::Matrix3x4), 3u);
    EXPECT_EQ(vertexFormatVectorStride(VertexFormat::Matrix2x3hAligned), 8u);
    EXPECT_TRUE(isVertexFormatNormalized(VertexFormat::ShortNormalized));
    EXPECT_FALSE(isVertexFormatNormalized(VertexFormat::Half));
    /* Size is vector count × vector stride for every format */
    for(std::uint32_t i = 1; i <= 109; ++i)
        EXPECT_EQ(vertexFormatSize(VertexFormat(i)), vertexFormatVectorCount(VertexFormat(i))*vertexFormatVectorStride(VertexFormat(i))) << i;

    EXPECT_EQ(vertexFormat(VertexFormat::Short, 3, true), VertexFormat::Vector3sNormalized);
    EXPECT_EQ(vertexFormat(VertexFormat::Float, 1, false), VertexFormat::Float);
    EXPECT_EQ(vertexFormat(VertexFormat::UnsignedByte, 4, false), VertexFormat::Vector4ub);
    EXPECT_EQ(vertexFormatUnwrap(vertexFormatWrap(0x1234)), 0x1234u);
}

TEST(MeshDataTest, enumPrinting) {
    EXPECT_EQ(print(VertexFormat::Vector3), "VertexFormat::Vector3\n");
    EXPECT_EQ(print(VertexFormat(0x6e)), "VertexFormat(0x6e)\n");
    EXPECT_EQ(print(vertexFormatWrap(0xdead)), "VertexFormat::ImplementationSpecific(0xdead)\n");
    EXPECT_EQ(print(MeshAttribute::Weights), "Trade::MeshAttribute::Weights\n");
    EXPECT_EQ(print(meshAttributeCustom(5)), "Trade::MeshAttribute::Custom(5)\n");
    EXPECT_EQ(print(MeshAttribute(0x73)), "Trade::MeshAttribute(0x73)\n");
    EXPECT_EQ(print(MeshIndexType::UnsignedShort), "MeshIndexType::UnsignedShort\n");
    EXPECT_EQ(print(MeshPrimitive::Triangles), "MeshPrimitive::Triangles\n");
    EXPECT_EQ(print(MeshPrimitive(0xdead)), "MeshPrimitive(0xdead)\n");
    EXPECT_EQ(print(DataFlag::Owned|DataFlag::Mutable), "Trade::DataFlag::Owned|Trade::DataFlag::Mutable\n");
    EXPECT_EQ(print(DataFlags{}), "Trade::DataFlags{}\n");
}

TEST(MeshDataTest, attributeData) {
    EXPECT_EQ(MeshAttributeData{}.morphTargetId(), -1);
    const MeshAttributeData offsetOnly{MeshAttribute::Position, VertexFormat::Vector3, 24, 5, -12, 0, 3};
    EXPECT_TRUE(offsetOnly.isOffsetOnly());
    EXPECT_EQ(offsetOnly.offset({}), 24u);
    EXPECT_EQ(offsetOnly.stride(), -12);
    EXPECT_EQ(offsetOnly.morphTargetId(), 3);
    const char data[16]{};
    const MeshAttributeData pointer{MeshAttribute::JointIds, VertexFormat::UnsignedByte, StridedArrayView1D<const char>{data + 4, 3, 4}, 4};
    EXPECT_FALSE(pointer.isOffsetOnly());
    EXPECT_EQ(pointer.offset(data), 4u);
    EXPECT_EQ(pointer.vertexCount(), 3u);
    EXPECT_EQ(pointer.data().data(), data + 4);
}

TEST(MeshDataTest, construct) {
    std::vector<char> vertexData(3*8);
    for(std::size_t i = 0; i != vertexData.size(); ++i) vertexData[i] = char(i);
    std::vector<char> indexData(2 + 3*2);
    const std::uint16_t indices[]{2, 0, 1};
    std::memcpy(indexData.data() + 2, indices, 6);
    const char* vertexPointer = vertexData.data();
    std::vector<MeshAttributeData> attributes;
    attributes.emplace_back(MeshAttribute::TextureCoordinates, VertexFormat::Vector2h, StridedArrayView1D<const char>{vertexPointer, 3, 8});
    attributes.emplace_back(MeshAttribute::ObjectId, VertexFormat::UnsignedInt, 4, 3, 8);
    const MeshIndexData indexView{MeshIndexType::UnsignedShort, std::span<const char>{indexData}.subspan(2)};
    MeshData mesh{MeshPrimitive::Lines, std::move(indexData), indexView, std::move(vertexData), std::move(attributes)};

    EXPECT_EQ(mesh.primitive(), MeshPrimitive::Lines);
    EXPECT_EQ(mesh.vertexCount(), 3u);
    EXPECT_EQ(mesh.indexCount(), 3u);
    EXPECT_EQ(mesh.indexOffset(), 2u);
    EXPECT_EQ(mesh.indicesAsArray(), (std::vector<std::uint32_t>{2, 0, 1}));
    EXPECT_EQ(mesh.vertexData().data(), vertexPointer);
    EXPECT_EQ(mesh.attributeOffset(1), 4u);
    EXPECT_EQ(mesh.attribute(1)[2][0], char(20));
    EXPECT_EQ(mesh.attribute(0).size().columns, 4u);
    EXPECT_FALSE(mesh.attributeData(1).isOffsetOnly());
    EXPECT_EQ(mesh.findAttributeId(MeshAttribute::ObjectId), 1u);
    EXPECT_FALSE(mesh.findAttributeId(MeshAttribute::ObjectId, 1));
    EXPECT_EQ(mesh.attributeCount(-1), 2u);
    mesh.mutableAttribute(1)[0][0] = 'z';
    EXPECT_EQ(mesh.vertexData()[4], 'z');

    /* Moving keeps the views valid */
    MeshData moved = std::move(mesh);
    EXPECT_EQ(moved.attribute(1)[0][0], 'z');

    /* Viewed, immutable */
    const char bytes[8]{};
    std::vector<MeshAttributeData> one;
    one.emplace_back(MeshAttribute::Position, VertexFormat::Vector2, 0, 1, 8);
    MeshData viewed{MeshPrimitive::Points, {}, {}, MeshIndexData{}, DataFlag::ExternallyOwned, bytes, std::move(one)};
    EXPECT_FALSE(viewed.isIndexed());
    EXPECT_EQ(viewed.vertexDataFlags(), DataFlag::ExternallyOwned);
}

TEST(MeshDataDeathTest, constructInvalid) {
    std::vector<MeshAttributeData> outside;
    outside.emplace_back(MeshAttribute::Position, VertexFormat::Vector3, 4, 2, 12);
    EXPECT_DEATH((MeshData{MeshPrimitive::Points, std::vector<char>(24), std::move(outside)}),
        "^Trade::MeshData: offset-only attribute 0 spans 28 bytes but passed vertexData array has only 24\n$");

    std::vector<MeshAttributeData> counts;
    counts.emplace_back(MeshAttribute::Position, VertexFormat::Vector3, 0, 2, 12);
    counts.emplace_back(MeshAttribute::Normal, VertexFormat::Vector3, 0, 1, 12);
    EXPECT_DEATH((MeshData{MeshPrimitive::Points, std::vector<char>(24), std::move(counts)}), "^Trade::MeshData: attribute 1 has 1 vertices but 2 expected\n$");

    std::vector<MeshAttributeData> unpaired;
    unpaired.emplace_back(MeshAttribute::JointIds, VertexFormat::UnsignedByte, 0, 1, 4, 4);
    EXPECT_DEATH((MeshData{MeshPrimitive::Points, std::vector<char>(4), std::move(unpaired)}), "^Trade::MeshData: expected 1 weight attributes to match joint IDs but got 0\n$");

    EXPECT_DEATH((MeshAttributeData{MeshAttribute::Position, VertexFormat::Vector3, 0, 1, 12, 2}), "^Trade::MeshAttributeData: Trade::MeshAttribute::Position can't be an array attribute\n$");
    const char data[4]{};
    EXPECT_DEATH((MeshAttributeData{MeshAttribute::Weights, VertexFormat::Float, StridedArrayView1D<const char>{data, 1, 4}}), "^Trade::MeshAttributeData: Trade::MeshAttribute::Weights has to be an array attribute\n$");
    EXPECT_DEATH((MeshAttributeData{MeshAttribute::Position, VertexFormat::Vector3, 0, 1, 40000}), "^Trade::MeshAttributeData: expected stride to fit into 16 bits but got 40000\n$");
    EXPECT_DEATH(vertexFormatSize(VertexFormat{}), "^Trade::vertexFormatSize\\(\\): invalid format VertexFormat\\(0x0\\)\n$");

    const MeshData nonIndexed{MeshPrimitive::Points, std::vector<char>{}, {}, 0};
    EXPECT_DEATH(nonIndexed.indexCount(), "^Trade::MeshData::indexCount\\(\\): the mesh is not indexed\n$");
    EXPECT_DEATH(nonIndexed.attributeName(0), "^Trade::MeshData::attributeName\\(\\): index 0 out of range for 0 attributes\n$");
}

TEST(MeshDataTest, stridedViews) {
    int values[6]{0, 1, 2, 3, 4, 5};
    const StridedArrayView1D<int> every{std::span<int>{values}};
    EXPECT_TRUE(every.isContiguous());
    const StridedArrayView1D<const int> odd{values + 1, 3, 8};
    EXPECT_EQ(odd[2], 5);
    const StridedArrayView1D<const int> backwards{values + 5, 3, -4};
    EXPECT_EQ(backwards[2], 3);
    const StridedArrayView2D<int> grid{values, {2, 3}, {12, 4}};
    EXPECT_EQ(grid[1][2], 5);
    grid[0][1] = 9;
    EXPECT_EQ(values[1], 9);
    const StridedArrayView2D<const char> bytes{reinterpret_cast<const char*>(values), {2, 12}, {12, 1}};
    EXPECT_EQ(arrayCast<const int>(bytes)[1][0], 3);
}

}}}
