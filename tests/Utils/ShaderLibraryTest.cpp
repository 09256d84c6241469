#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include <unistd.h>

#include <gtest/gtest.h>

#include "QuillmarshEngine/Utils/Preprocessor.h"
#include "QuillmarshEngine/Utils/Resource.h"
#include "QuillmarshEngine/Utils/ShaderTools.h"

namespace QuillmarshEngine { namespace Utils { namespace {

const char* const Group = "QuillmarshEngineShaders";

TEST(ShaderLibraryTest, groupContents) {
    ASSERT_TRUE(Resource::hasGroup(Group));
    const Resource resource{Group};
    EXPECT_EQ(resource.group(), Group);
    const std::vector<std::string_view> files = resource.list();
    EXPECT_TRUE(std::is_sorted(files.begin(), files.end()));
    for(const char* name: {"Mesh.vert", "Mesh.frag", "VertexAttributes.glsl", "Quantization.glsl", "DualQuaternion.glsl", "Skinning.glsl", "Lights.glsl"}) {
        EXPECT_TRUE(resource.hasFile(name)) << name;
        const std::string_view text = resource.getString(name);
        EXPECT_FALSE(text.empty()) << name;
        /* Compiled in with a terminating zero */
        EXPECT_EQ(text.data()[text.size()], '\0');
    }
    EXPECT_FALSE(resource.hasFile("Missing.glsl"));
    EXPECT_EQ(resource.getString("Missing.glsl"), "");
}

TEST(ResourceDeathTest, unknownGroup) {
    EXPECT_FALSE(Resource::hasGroup("NoSuchGroup"));
    EXPECT_DEATH(Resource{"NoSuchGroup"}, "^Utils::Resource::Resource\\(\\): group NoSuchGroup was not found\n$");
}

/* Inlines the includes of a library shader, puts the given defines in place of its defines tag,
   preprocesses it and returns the text for the driver */
std::string assemble(const char* file, const std::string& defines) {
    const std::string_view source = Resource{Group}.getString(file);
    const std::string inlined = inlineIncludes({std::string{"resource:"} + Group}, source, true);
    const std::pair<std::string_view, std::string_view> tags[]{{"defines", defines}};
    Preprocessor preprocessor{true};
    preprocessor << replaceTagsShader(inlined, tags, true);
    EXPECT_TRUE(preprocessor.isValid());
    return std::string{preprocessor.output()};
}

/* Exit status of glslangValidator on text, with its messages */
int validate(const std::string& text, const char* stage, std::string& log) {
    const std::filesystem::path directory = std::filesystem::temp_directory_path();
    const std::string base = (directory/("quillmarsh-shader-" + std::to_string(getpid()))).string();
    const std::string path = base + "." + stage;
    std::ofstream{path, std::ios::binary} << text;
    const std::string command = std::string{GLSLANG_VALIDATOR} + " " + path + " > " + base + ".log 2>&1";
    const int status = std::system(command.c_str());
    std::ifstream in{base + ".log"};
    log.assign(std::istreambuf_iterator<char>{in}, std::istreambuf_iterator<char>{});
    std::remove(path.c_str());
    std::remove((base + ".log").c_str());
    return status;
}

TEST(ShaderLibraryTest, compilesWithGlslang) {
    if(!std::filesystem::exists(GLSLANG_VALIDATOR)) GTEST_SKIP() << "glslangValidator is not installed";

    const char* const defineSets[] {
        "",
        "#define NORMAL\n#define TEXTURE_COORDINATES\n",
        "#define NORMAL\n#define TANGENT\n#define TEXTURE_COORDINATES\n#define SECOND_TEXTURE_COORDINATES\n#define COLOR\n#define OBJECT_IDS\n",
        "#define NORMAL\n#define TANGENT\n#define COLOR\n#define QUANTIZED_NORMAL\n#define QUANTIZED_TANGENT\n#define QUANTIZED_COLOR\n",
        "#define NORMAL\n#define SKINNING\n#define MAX_JOINTS 64\n",
        "#define NORMAL\n#define TANGENT\n#define SKINNING\n#define EIGHT_JOINTS\n#define QUANTIZED_WEIGHTS\n#define QUANTIZED_NORMAL\n",
        "#define NORMAL\n#define SHADOWS\n#define MAX_LIGHTS 8\n#define MAX_SHADOWS 4\n",
        "#define NORMAL\n#define DEPTH_ONLY\n",
        "#define NORMAL\n#define SKINNING\n#define DEPTH_ONLY\n#define PARABOLOID\n",
    };
    for(const char* defines: defineSets) {
        for(const char* stage: {"vert", "frag"}) {
            SCOPED_TRACE(std::string{stage} + " with\n" + defines);
            const std::string text = assemble(stage == std::string_view{"vert"} ? "Mesh.vert" : "Mesh.frag", defines);
            /* Everything was inlined and decided */
            EXPECT_EQ(text.find("#include"), std::string::npos);
            EXPECT_EQ(text.find("#if"), std::string::npos);
            EXPECT_EQ(text.find("MAX_"), std::string::npos);
            EXPECT_EQ(text.find("{{"), std::string::npos);
            EXPECT_EQ(text.rfind("#version 330 core\n", 0), 0u);
            std::string log;
            EXPECT_EQ(validate(text, stage, log), 0) << log << "\n" << text;
        }
    }
}

TEST(ShaderLibraryTest, glslangReportsBrokenShaders) {
    /* The check above would pass vacuously if the validator accepted anything */
    if(!std::filesystem::exists(GLSLANG_VALIDATOR)) GTEST_SKIP() << "glslangValidator is not installed";
    std::string log;
    EXPECT_NE(validate("#version 330 core\nvoid main() { undefinedFunction(); }\n", "frag", log), 0);
}

TEST(ShaderLibraryTest, attributeLocationsFollowTheLayout) {
    const std::string text = assemble("Mesh.vert",
        "#define NORMAL\n#define TANGENT\n#define TEXTURE_COORDINATES\n#define SECOND_TEXTURE_COORDINATES\n"
        "#define COLOR\n#define OBJECT_IDS\n#define SKINNING\n#define EIGHT_JOINTS\n");
    for(const char* declaration: {
        "layout(location = 0) in vec3 position;",
        "layout(location = 1) in vec2 textureCoordinates;",
        "layout(location = 10) in vec2 secondTextureCoordinates;",
        "layout(location = 2) in vec4 color;",
        "layout(location = 3) in vec4 tangent;",
        "layout(location = 4) in uint objectId;",
        "layout(location = 5) in vec3 normal;",
        "layout(location = 6) in uvec4 jointIds;",
        "layout(location = 7) in vec4 weights;",
        "layout(location = 8) in uvec4 secondJointIds;",
        "layout(location = 9) in vec4 secondWeights;",
        /* The instance columns, where only text meshes have attributes */
        "layout(location = 11) in vec4 instanceReal;",
        "layout(location = 12) in vec4 instanceDual;",
        "layout(location = 13) in vec4 instanceScaling;"})
        EXPECT_NE(text.find(declaration), std::string::npos) << declaration;

    /* Quantized formats are bound normalized: the shader still reads floats */
    const std::string quantized = assemble("Mesh.vert",
        "#define NORMAL\n#define TANGENT\n#define COLOR\n#define SKINNING\n"
        "#define QUANTIZED_NORMAL\n#define QUANTIZED_TANGENT\n#define QUANTIZED_COLOR\n#define QUANTIZED_WEIGHTS\n");
    for(const char* declaration: {
        "layout(location = 2) in vec4 color;",
        "layout(location = 3) in vec4 tangent;",
        "layout(location = 5) in vec3 normal;",
        "layout(location = 7) in vec4 weights;"})
        EXPECT_NE(quantized.find(declaration), std::string::npos) << declaration;
}

}}}
