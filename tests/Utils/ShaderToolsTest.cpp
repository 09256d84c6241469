#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include <unistd.h>

#include <gtest/gtest.h>

#include "QuillmarshEngine/Utils/Resource.h"
#include "QuillmarshEngine/Utils/ShaderTools.h"

namespace QuillmarshEngine { namespace Utils { namespace {

using Paths = std::vector<std::string>;

/* Captures warnings and errors of one call */
struct Streams {
    std::ostringstream warnings, errors;
    Warning redirectWarnings{&warnings};
    Error redirectErrors{&errors};
};

TEST(ShaderToolsTest, includesList) {
    const Result<Paths> paths = getIncludesList(
        "#version 330\n"
        "#include \"a.glsl\"\n"
        "  #  include \"dir/b.glsl\" // trailing\n"
        "// #include \"commented.glsl\"\n"
        "/* #include \"block.glsl\"\n #include \"block2.glsl\" */\n"
        "#includes \"not-an-include\"\n"
        "x = 1; #include \"c.glsl\"\n"
        "#include \"a.glsl\"\n"
        "/* unclosed #include \"d.glsl\"\n");
    ASSERT_TRUE(paths);
    EXPECT_EQ(*paths, (Paths{"a.glsl", "dir/b.glsl", "c.glsl", "a.glsl"}));

    const Result<Paths> noOpening = getIncludesList("#include <a.glsl>\n");
    ASSERT_FALSE(noOpening);
    EXPECT_EQ(noOpening.error(), "Missing opening double quote after #include");
    /* The path must close on its own line */
    const Result<Paths> noClosing = getIncludesList("#include \"a.glsl\n\"\n");
    ASSERT_FALSE(noClosing);
    EXPECT_EQ(noClosing.error(), "Missing closing double quote after #include");
    EXPECT_FALSE(getIncludesList(std::string_view{"#include \"a", 11}));
}

TEST(ShaderToolsTest, inlineFromMap) {
    const IncludeMap includes{{"a.glsl", "float a;\n"}, {"b.glsl", "float b; // no line end"}, {"nested.glsl", "#include \"a.glsl\"\n"}};
    EXPECT_EQ(inlineIncludes("x\n  #include \"a.glsl\" // a\ny\n", includes, false), "x\nfloat a;\n // a\ny\n");
    EXPECT_EQ(inlineIncludes("#include\t\"b.glsl\"", includes, false), "float b; // no line end");
    /* An include in an included file stays as it is */
    EXPECT_EQ(inlineIncludes("#include \"nested.glsl\"\n", includes, false), "#include \"a.glsl\"\n\n");
}

TEST(ShaderToolsTest, inlineWithLineDirectives) {
    const IncludeMap includes{{"a.glsl", "float a;\nfloat a2;\n"}, {"b.glsl", "float b;"}};
    EXPECT_EQ(inlineIncludes("1\n2\n3\n4\n5\n6\n#include \"a.glsl\"\n8\n", includes, true),
        "1\n2\n3\n4\n5\n6\n#line 1\nfloat a;\nfloat a2;\n#line 7\n\n8\n");
    /* The directive after a text without a final line end gets a line of its own */
    EXPECT_EQ(inlineIncludes("#include \"b.glsl\"\r\nx", includes, true), "#line 1\nfloat b;\n#line 1\n\r\nx");
    /* Lines end with "\n", "\r\n" or a lone "\r" */
    EXPECT_EQ(inlineIncludes("a\rb\r\nc\n#include \"b.glsl\"\n", includes, true), "a\rb\r\nc\n#line 1\nfloat b;\n#line 4\n\n");
}

TEST(ShaderToolsTest, inlineSkipsComments) {
    const IncludeMap includes{{"a.glsl", "float a;\n"}};
    Streams streams;
    const char* source =
        "// #include \"missing.glsl\"\n"
        "   // #include \"missing.glsl\"\n"
        "/* #include \"missing.glsl\"\n"
        "#include \"missing.glsl\"\n"
        "*/ x = 1;\n"
        "y = 2; // #include \"missing.glsl\"\n"
        "#include \"a.glsl\" /* a comment\n"
        "#include \"missing.glsl\" */\n";
    EXPECT_EQ(inlineIncludes(source, includes, false),
        "// #include \"missing.glsl\"\n"
        "   // #include \"missing.glsl\"\n"
        "/* #include \"missing.glsl\"\n"
        "#include \"missing.glsl\"\n"
        "*/ x = 1;\n"
        "y = 2; // #include \"missing.glsl\"\n"
        "float a;\n /* a comment\n"
        "#include \"missing.glsl\" */\n");
    EXPECT_EQ(streams.warnings.str(), "");
    EXPECT_EQ(streams.errors.str(), "");
}

TEST(ShaderToolsTest, inlineIgnoresIncludeAfterText) {
    const IncludeMap includes{{"a.glsl", "float a;\n"}};
    Streams streams;
    EXPECT_EQ(inlineIncludes("x; #include \"a.glsl\"\n#include \"a.glsl\"\n", includes, false), "x; #include \"a.glsl\"\nfloat a;\n\n");
    EXPECT_EQ(streams.warnings.str(), "#include preceded by non whitespace character are ignored\n");
}

TEST(ShaderToolsTest, inlineFailures) {
    const IncludeMap includes{{"a.glsl", "float a;\n"}};
    const struct {
        const char* source;
        const char* error;
    } cases[] {
        {"x\n#include a.glsl\n", "Expected path string after #include\n"},
        {"#include\n", "Expected path string after #include\n"},
        {"#include \"a.glsl\n", "Unterminated string after #include\n"},
        {"#include \"/usr/a.glsl\"\n", "Absolute path in #include: /usr/a.glsl\n"},
        {"#include \"a.glsl\"\n#include \"missing.glsl\"\n", "Could not find included file: missing.glsl\n"},
    };
    for(const auto& c: cases) {
        SCOPED_TRACE(c.source);
        Streams streams;
        EXPECT_EQ(inlineIncludes(c.source, includes, true), c.source);
        EXPECT_EQ(streams.errors.str(), c.error);
    }
}

class ShaderToolsDirectoryTest: public testing::Test {
    protected:
        void SetUp() override {
            _root = std::filesystem::temp_directory_path()/("quillmarsh-includes-" + std::to_string(getpid()));
            std::filesystem::create_directories(_root/"first"/"sub");
            std::filesystem::create_directories(_root/"second");
            write("first/sub/a.glsl", "first a\n");
            write("first/empty.glsl", "");
            write("second/a.glsl", "second a\n");
            write("second/empty.glsl", "second empty\n");
            write("second/b.glsl", "second b\n");
        }
        void TearDown() override { std::filesystem::remove_all(_root); }

        void write(const char* path, const char* contents) {
            std::ofstream{_root/path, std::ios::binary} << contents;
        }
        std::string location(const char* name) const { return (_root/name).string(); }

        std::filesystem::path _root;
};

TEST_F(ShaderToolsDirectoryTest, searchOrder) {
    Streams streams;
    const std::string source = "#include \"sub/a.glsl\"\n#include \"a.glsl\"\n#include \"empty.glsl\"\n#include \"b.glsl\"\n";
    /* The first location with a non-empty text wins; a trailing slash is fine */
    EXPECT_EQ(inlineIncludes({location("first"), location("second") + "/"}, source, false),
        "first a\n\nsecond a\n\nsecond empty\n\nsecond b\n\n");
    EXPECT_EQ(inlineIncludes({location("second"), location("first")}, "#include \"a.glsl\"\n", false), "second a\n\n");
    EXPECT_EQ(streams.errors.str(), "");

    EXPECT_EQ(inlineIncludes({location("first")}, source, false), source);
    EXPECT_EQ(streams.errors.str(), "Could not find included file: a.glsl\n");
}

TEST_F(ShaderToolsDirectoryTest, resourceGroups) {
    Streams streams;
    const std::string_view quantization = Resource{"QuillmarshEngineShaders"}.getString("Quantization.glsl");
    /* Unknown groups are ignored with a warning; directories and groups mix */
    EXPECT_EQ(inlineIncludes({"resource:NoSuchGroup", "resource:QuillmarshEngineShaders", location("second")},
        "#include \"Quantization.glsl\"\n#include \"b.glsl\"\n", false),
        std::string{quantization} + "\nsecond b\n\n");
    EXPECT_EQ(streams.warnings.str(), "Including from unknown resource group NoSuchGroup\n");
    EXPECT_EQ(streams.errors.str(), "");
}

TEST_F(ShaderToolsDirectoryTest, listingFailure) {
    Streams streams;
    EXPECT_EQ(inlineIncludes({location("first")}, "#include <a.glsl>\n", false), "#include <a.glsl>\n");
    EXPECT_EQ(streams.errors.str(), "Failed to inline includes: Missing opening double quote after #include\n");
}

using Tags = std::vector<std::pair<std::string_view, std::string_view>>;

TEST(ShaderToolsTest, replaceTags) {
    const Tags tags{{"A", "alpha"}, {"B", "{{B}}"}, {"EMPTY", ""}};
    EXPECT_EQ(replaceTagsShader("x {{A}} y\n{{ A }}{{\tB }}{{EMPTY}}!\n", tags, false), "x alpha y\nalpha{{B}}!\n");
    /* Unknown tags and unclosed or multi-line braces stay */
    EXPECT_EQ(replaceTagsShader("{{C}} {{A\n}} {{A}}\n", tags, false), "{{C}} {{A\n}} alpha\n");
    EXPECT_EQ(replaceTagsShader("{{ {{A}}\r\n{{A}}", tags, false), "{{ {{A}}\r\nalpha");
    EXPECT_EQ(replaceTagsShader("", tags, false), "");
}

TEST(ShaderToolsTest, replaceTagsWithLineDirectives) {
    const Tags tags{{"DEFINES", "#define A\n#define B\n"}, {"X", "x"}};
    EXPECT_EQ(replaceTagsShader("#version 330\n{{DEFINES}}\nline 3\nv = {{X}};\nline 5", tags, true),
        "#version 330\n#define A\n#define B\n#line 3\nline 3\nv = x;\n#line 5\nline 5");
    /* A replacement ending its line, followed by blanks or by more text */
    EXPECT_EQ(replaceTagsShader("{{DEFINES}}  \r\n{{DEFINES}}x\n", tags, true),
        "#define A\n#define B\n#line 2  \r\n#define A\n#define B\nx\n#line 3\n");
    /* "#line" lines of the source reset the count, also to 0 when the number is missing */
    EXPECT_EQ(replaceTagsShader("#line 100\n{{X}}\n#line x\n{{X}}\n#line 20 \"file\"\n{{X}}", tags, true),
        "#line 100\nx\n#line 101\n#line x\nx\n#line 1\n#line 20 \"file\"\nx\n#line 21\n");
    /* Without line directives, "#line" lines are plain text */
    EXPECT_EQ(replaceTagsShader("#line 100\n{{X}}\n", tags, false), "#line 100\nx\n");
}

}}}
