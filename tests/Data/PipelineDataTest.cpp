#include <gtest/gtest.h>

#include "QuillmarshEngine/Data/PipelineData.h"
#include "RecordTestHelpers.h"

namespace QuillmarshEngine { namespace Data { namespace {

using namespace std::string_view_literals;
using namespace Test;

TEST(PipelineDataTest, pipeline) {
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

TEST(PipelineDataTest, draw) {
    Draw draw{};
    draw.mesh = 1;
    draw.object = 0x0203;
    draw.skin = 4;
    draw.scaling = {1.0f, 2.0f, 3.0f};
    Bytes expected;
    expected.u32(1).u32(0).u32(0).u16(0x0203).u16(4).zeros(8).zeros(16).zeros(32).u32(0).f32(1.0f).f32(2.0f).f32(3.0f);
    EXPECT_EQ(str(createDrawData(draw)), expected.data);
}

TEST(PipelineDataTest, material) {
    const Shaders::AlphaMaterial alpha{Shaders::AlphaMode::Mask, 0.5f, 1.0f, 0};
    const std::vector<char> record = createMaterialData(6, alpha, "param"sv);
    Bytes expected;
    expected.u32(6).u32(1).f32(0.5f).f32(1.0f).u32(0).text("param");
    EXPECT_EQ(str(record), expected.data);
}

TEST(PipelineDataDeathTest, name) {
    EXPECT_DEATH(createPipelineData(std::string(64, 'p'), Pipeline{}, 0, StringArrayView{}, 0), "^createShaderData\\(\\): Shader name too long.\n$");
}

}}}
