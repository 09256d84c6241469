#include <gtest/gtest.h>

#include "QuillmarshEngine/Data/ShaderData.h"
#include "RecordTestHelpers.h"

namespace QuillmarshEngine { namespace Data { namespace {

using namespace Test;

TEST(ShaderDataTest, shader) {
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

TEST(ShaderDataTest, enumPrinting) {
    EXPECT_EQ(print(Shaders::ShaderStage::TessellationControl), "Shaders::ShaderStage::TessellationControl\n");
    EXPECT_EQ(print(Shaders::ShaderStage(9)), "Shaders::ShaderStage(0x9)\n");
    EXPECT_EQ(print(Shaders::ShaderType::SpirV), "Shaders::ShaderType::SpirV\n");
    EXPECT_EQ(print(Shaders::ShaderProgramFlag::Skinning|Shaders::ShaderProgramFlag::Text), "Shaders::ShaderProgramFlag::Skinning|Shaders::ShaderProgramFlag::Text\n");
    EXPECT_EQ(print(Shaders::AlphaMode::Blend), "Shaders::AlphaMode::Blend\n");
}

TEST(ShaderDataDeathTest, names) {
    const std::string_view sources[]{"s", "t"};
    EXPECT_DEATH(createShaderData(std::string(127, 'n'), sources, {}, Shaders::ShaderType::Glsl, Shaders::ShaderStage::Vertex, false, {}), "^createShaderData\\(\\): Shader name too long.\n$");
    EXPECT_DEATH(createShaderData("n", sources, {}, Shaders::ShaderType::Glsl, Shaders::ShaderStage::Vertex, true, std::string(127, 'n')), "^createShaderData\\(\\): Shader name too long.\n$");
    const std::string longSource(65535, 's');
    const std::string_view tooLong[]{longSource};
    EXPECT_DEATH(createShaderData("n", tooLong, {}, Shaders::ShaderType::Glsl, Shaders::ShaderStage::Vertex, false, {}), "^createShaderData\\(\\): Shader source too long.\n$");
}

}}}
