#include <random>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "QuillmarshEngine/Utils/Preprocessor.h"

namespace QuillmarshEngine { namespace Utils { namespace {

struct Outcome {
    std::string output, warnings, errors;
    bool valid;
};

/* Processes the sources in order with one preprocessor and captures both streams */
Outcome run(std::initializer_list<std::string_view> sources, bool expand = false) {
    std::ostringstream warnings, errors;
    Warning redirectWarnings{&warnings};
    Error redirectErrors{&errors};
    Preprocessor p{expand};
    for(std::string_view source: sources) p << source;
    return {std::string{p.output()}, warnings.str(), errors.str(), p.isValid()};
}

std::string process(std::string_view source, bool expand = false) {
    const Outcome r = run({source}, expand);
    EXPECT_TRUE(r.valid) << r.errors;
    EXPECT_EQ(r.errors, "");
    return r.output;
}

/* Whether the body of "#if <expression>" is kept */
bool taken(std::string_view definitions, std::string_view expression, bool expand = false) {
    const Outcome r = run({definitions, std::string{"#if "} + std::string{expression} + "\nyes\n#endif\n"}, expand);
    EXPECT_TRUE(r.valid) << r.errors;
    EXPECT_EQ(r.warnings, "") << expression;
    return r.output == "yes\n";
}

std::string warningOf(std::string_view source) {
    const Outcome r = run({source});
    EXPECT_TRUE(r.valid);
    return r.warnings;
}

TEST(PreprocessorTest, numberHelpers) {
    EXPECT_FALSE(isGLSLNumber(""));
    for(const char* text: {"0", "42", "4u", "7i", "-3", "-3u", "u", "i", "-", "-u"})
        EXPECT_TRUE(isGLSLNumber(text)) << text;
    for(const char* text: {"4uu", "x", "1.0", "0x10", "4U", "--1", "1-", "u4"})
        EXPECT_FALSE(isGLSLNumber(text)) << text;

    EXPECT_EQ(parseNumberSafe<int>(""), 0);
    EXPECT_EQ(parseNumberSafe<int>("123"), 123);
    EXPECT_EQ(parseNumberSafe<int>("-45"), -45);
    EXPECT_EQ(parseNumberSafe<int>("-"), 0);
    EXPECT_EQ(parseNumberSafe<int>("12a"), 0);
    EXPECT_EQ(parseNumberSafe<int>("4u"), 0);
    /* Wraps instead of overflowing */
    EXPECT_EQ(parseNumberSafe<int>("4294967297"), 1);
    EXPECT_EQ(parseNumberSafe<int>("-2147483648"), -2147483647 - 1);
}

TEST(PreprocessorTest, comparators) {
    EXPECT_EQ(*evalComparator("<", -1, 0), 1);
    EXPECT_EQ(*evalComparator(">=", -1, 0), 0);
    EXPECT_EQ(*evalComparator("<=", 3, 3), 1);
    EXPECT_EQ(*evalComparator("!=", 3, 3), 0);
    const Result<std::int32_t> unsupported = evalComparator("=<", 1, 2);
    ASSERT_FALSE(unsupported);
    EXPECT_EQ(unsupported.error(), "Unsupported operator =<");
}

TEST(PreprocessorTest, textAndCommentsPassUnchanged) {
    const char* source =
        "\tvec4 a = b*c; // comment #if\r\n"
        "/* block\n#endif\n */ float x;\n"
        "x = y / z;\n";
    EXPECT_EQ(process(source), source);
    EXPECT_EQ(process(source, true), source);
    EXPECT_EQ(process(""), "");
}

TEST(PreprocessorTest, otherDirectivesPassUnchanged) {
    const char* source =
        "#version 300 es\n"
        "#extension GL_OES_standard_derivatives : enable\n"
        "  #pragma optimize(on) /* a\nb */ x\n"
        "#undef X\n"
        "#line 7 \"file\"\n"
        "#include \"a.glsl\"\n"
        "# error a##b\n";
    EXPECT_EQ(process(source), source);

    /* Defined names inside passed directives are not expanded */
    const Outcome r = run({"#define X 1\n#undef X\n#pragma X\nX\n"}, true);
    EXPECT_EQ(r.output, "#undef X\n#pragma X\n1\n");
}

TEST(PreprocessorTest, functionLikeDefinePassesThrough) {
    const Outcome r = run({"#define F(x) x##1\nF(2)\n#ifdef F\ndefined\n#endif\n"}, true);
    EXPECT_TRUE(r.valid);
    EXPECT_EQ(r.output, "#define F(x) x##1\nF(2)\n");
    /* With whitespace before the parenthesis it is an object-like define */
    EXPECT_EQ(process("#define G (x)\nG\n", true), "(x)\n");
}

TEST(PreprocessorTest, handledDirectivesLeaveNoLine) {
    EXPECT_EQ(process("a\n#define A 1 /* spans\nlines */\nb\n#ifdef A // c\nc\n#endif\nd"), "a\nb\nc\nd");
    /* A hash anywhere opens a directive; the rest of its line goes with it */
    EXPECT_EQ(process("a #define B 2\nB\n", true), "a 2\n");
    EXPECT_EQ(process("#if 1\nx #else\ny\n#endif\nz\n"), "x z\n");
}

TEST(PreprocessorTest, branches) {
    EXPECT_EQ(process("#if 0\na\n#elif 1\nb\n#else\nc\n#endif\n"), "b\n");
    EXPECT_EQ(process("#if 1\na\n#elif 1\nb\n#endif\n"), "a\n");
    EXPECT_EQ(process("#if 1\na\n#elif 0\nb\n#elif 1\nc\n#else\nd\n#endif\n"), "a\n");
    EXPECT_EQ(process("#if 0\na\n#elif 0\nb\n#else\nc\n#endif\n"), "c\n");
    EXPECT_EQ(process("#ifndef A\na\n#else\nb\n#endif\n"), "a\n");
    /* A second #else toggles again; it is not an error */
    EXPECT_EQ(process("#if 0\na\n#else\nb\n#else\nc\n#endif\n"), "b\n");
    EXPECT_EQ(process("#if 1\na\n#else\nb\n#else\nc\n#endif\n"), "a\nc\n");
    EXPECT_EQ(process("#if 0\na\n#elif 1\nb\n#else\nc\n#else\nd\n#endif\n"), "b\nd\n");
    /* A branch taken before an #elif keeps the rest of the group dead, #else or not */
    EXPECT_EQ(process("#if 1\na\n#elif 1\nb\n#else\nc\n#else\nd\n#endif\n"), "a\n");
    /* Conditionals inside a dead branch stay dead, whatever their own state */
    EXPECT_EQ(process("#ifdef A\n#if 1\nin\n#endif\nout\n#endif\nend\n"), "end\n");
    EXPECT_EQ(process("#if 0\n#if 0\n#else\nx\n#endif\n#elif 1\ny\n#endif\n"), "y\n");
    EXPECT_EQ(process("#if 1\n#if 0\n#elif 1\nx\n#else\ny\n#endif\n#else\nz\n#endif\n"), "x\n");
    /* Defines inside dead branches are not recorded */
    EXPECT_EQ(process("#if 0\n#define A 1\n#endif\n#ifdef A\nx\n#endif\n"), "");
    /* An open conditional at the end is a warning; the output stays what was processed */
    for(const char* source: {"#if 1\na\n", "#if 1\na\n#ifdef X\nb\n#endif\n", "#ifndef X\na\n#else\n"}) {
        const Outcome r = run({source});
        EXPECT_TRUE(r.valid);
        EXPECT_EQ(r.output, "a\n") << source;
        EXPECT_EQ(r.warnings, "Preprocessor: unterminated #if at end of source\n") << source;
    }
}

TEST(PreprocessorTest, branchDepth) {
    std::string source;
    for(int i = 0; i != 31; ++i) source += "#ifndef X\n";
    source += "deep\n";
    for(int i = 0; i != 31; ++i) source += "#endif\n";
    EXPECT_EQ(process(source), "deep\n");

    source = "";
    for(int i = 0; i != 32; ++i) source += "#ifdef X\n";
    const Outcome r = run({source});
    EXPECT_FALSE(r.valid);
    EXPECT_EQ(r.errors, "Preprocessor: exceeding max branch depth of 32\n");
}

TEST(PreprocessorTest, expressions) {
    const char* defines = "#define N 4u\n#define S N\n#define Z 0\n#define E\n";
    for(bool expand: {false, true}) {
        SCOPED_TRACE(expand);
        EXPECT_FALSE(taken(defines, "2 == 2 && 3 < 1", expand));
        EXPECT_TRUE(taken(defines, "0 || 4", expand));
        EXPECT_TRUE(taken(defines, "S == 4", expand));
        EXPECT_TRUE(taken(defines, "N >= 4 && N <= 4 && N != 5 && N > 3", expand));
        EXPECT_FALSE(taken(defines, "UNDEFINED", expand));
        EXPECT_TRUE(taken(defines, "!UNDEFINED", expand));
        EXPECT_TRUE(taken(defines, "defined(N) && defined S && !defined(Q)", expand));
        EXPECT_TRUE(taken(defines, "defined E", expand));
        EXPECT_TRUE(taken(defines, "-N == -4", expand));
        EXPECT_TRUE(taken(defines, "!Z", expand));
        EXPECT_TRUE(taken(defines, "(((1)))", expand));
        EXPECT_TRUE(taken(defines, "1 /* comment */ && 1 // trailing", expand));
        /* Equal precedence, grouping to the right: 1 || (0 && 0) */
        EXPECT_TRUE(taken(defines, "1 || 0 && 0", expand));
        /* 0 && (0 || 1) is 0, where C would say (0 && 0) || 1 */
        EXPECT_FALSE(taken(defines, "0 && 0 || 1", expand));
        /* A skipped right side keeps the left value, an evaluated one reduces to 0 or 1 */
        EXPECT_TRUE(taken(defines, "(5 || 0) == 5", expand));
        EXPECT_TRUE(taken(defines, "(1 && 5) == 1", expand));
        EXPECT_TRUE(taken(defines, "(0 || 7) == 1", expand));
        EXPECT_TRUE(taken(defines, "(-3 || x) == -3", expand));
        /* The right side is skipped without being parsed, up to an unmatched parenthesis */
        EXPECT_TRUE(taken(defines, "5 || (", expand));
        EXPECT_TRUE(taken(defines, "(1 || ((+ ))) == 1", expand));
    }
}

TEST(PreprocessorTest, expressionWarnings) {
    auto message = [](const char* directive, const char* error) {
        return std::string{"Preprocessor: failed to parse #"} + directive + ". " + error + ". Skipping evaluation.\n";
    };
    EXPECT_EQ(warningOf("#if (1\nx\n#endif\n"), message("if", "Expected closing parenthesis in expression"));
    EXPECT_EQ(warningOf("#if 1 )\n#endif\n"), message("if", "Unexpected token )"));
    EXPECT_EQ(warningOf("#if\n#endif\n"), message("if", "Unexpected token \\n"));
    EXPECT_EQ(warningOf("#if 1 == "), message("if", "Unexpected token ") + "Preprocessor: unterminated #if at end of source\n");
    EXPECT_EQ(warningOf("#if +1\n#endif\n"), message("if", "Unexpected token +"));
    EXPECT_EQ(warningOf("#if defined\n#endif\n"), message("if", "Expected an identifier in defined"));
    EXPECT_EQ(warningOf("#if defined(A\n#endif\n"), message("if", "Expected closing parenthesis in defined(id)"));
    EXPECT_EQ(warningOf("#if 0\n#elif 1 1\n#endif\n"), message("elif", "Unexpected token 1"));
    EXPECT_EQ(warningOf("#define TWO 1 2\n#if TWO\n#endif\n"), message("if", "Unexpected token 2"));
    EXPECT_EQ(warningOf("#define EMPTY\n#if EMPTY\n#endif\n"), message("if", "Unexpected token "));
    /* Also evaluated inside a dead branch */
    EXPECT_EQ(warningOf("#if 0\n#if (\n#endif\n#endif\n"), message("if", "Unexpected token \\n"));

    /* The branch is not taken and processing goes on */
    const Outcome r = run({"#if (1\na\n#else\nb\n#endif\nc\n"});
    EXPECT_TRUE(r.valid);
    EXPECT_EQ(r.output, "b\nc\n");
}

TEST(PreprocessorTest, expressionNesting) {
    auto nested = [](int depth, const char* open, const char* close) {
        std::string expression;
        for(int i = 0; i != depth; ++i) expression += open;
        expression += "1";
        for(int i = 0; i != depth; ++i) expression += close;
        return expression;
    };
    const std::string tooDeep = "Preprocessor: failed to parse #if. Expression nested too deeply. Skipping evaluation.\n";

    EXPECT_TRUE(taken("", nested(100, "(", ")")));
    EXPECT_EQ(warningOf("#if " + nested(100000, "(", ")") + "\n#endif\n"), tooDeep);
    EXPECT_TRUE(taken("", nested(100, "!!", "")));
    EXPECT_EQ(warningOf("#if " + nested(100000, "- ", "") + "\n#endif\n"), tooDeep);

    /* Long chains are loops, not recursion */
    std::string chain = "1";
    for(int i = 0; i != 100000; ++i) chain += " && 1";
    EXPECT_TRUE(taken("", chain));

    /* A long chain of defines */
    for(bool expand: {false, true}) {
        std::string defines;
        for(int i = 0; i != 100; ++i) defines += "#define D" + std::to_string(i) + " D" + std::to_string(i + 1) + "\n";
        defines += "#define D100 3\n";
        EXPECT_TRUE(taken(defines, "D0 == 3", expand));
        for(int i = 100; i != 1000; ++i) defines += "#define D" + std::to_string(i) + " D" + std::to_string(i + 1) + "\n";
        const Outcome r = run({defines, "#if D0\n#endif\n"}, expand);
        EXPECT_EQ(r.warnings, tooDeep);
    }
}

TEST(PreprocessorTest, expressionTooComplex) {
    /* Each level doubles the work of evaluating A0 */
    std::string defines;
    for(int i = 0; i != 40; ++i) defines += "#define A" + std::to_string(i) + " (A" + std::to_string(i + 1) + " && A" + std::to_string(i + 1) + ")\n";
    defines += "#define A40 1\n";
    for(bool expand: {false, true}) {
        const Outcome r = run({defines, "#if A0\n#endif\n"}, expand);
        EXPECT_TRUE(r.valid);
        EXPECT_EQ(r.warnings, "Preprocessor: failed to parse #if. Expression too complex. Skipping evaluation.\n");
    }
}

TEST(PreprocessorTest, cyclesCountAsUndefined) {
    for(bool expand: {false, true}) {
        SCOPED_TRACE(expand);
        EXPECT_FALSE(taken("#define A B\n#define B A\n", "A", expand));
        EXPECT_FALSE(taken("#define A A\n", "A", expand));
        EXPECT_TRUE(taken("#define A A\n", "defined(A) && !A", expand));
        /* As in C: the inner A is not expanded again, counts as 0, and 0 || 1 is 1 */
        EXPECT_TRUE(taken("#define A (B)\n#define B (A || 1)\n", "A", expand));
    }
}

TEST(PreprocessorTest, defines) {
    Preprocessor p;
    p << "#define N 4u\n#define I 7i\n#define S N\n#define E\n#define V a + b\n#define X 1 // c\n";
    ASSERT_TRUE(p.isValid());
    ASSERT_TRUE(p.symbol("N"));
    EXPECT_TRUE(p.symbol("N")->hasNumber);
    EXPECT_EQ(p.symbol("N")->number, 4);
    EXPECT_EQ(p.symbol("N")->value, "4u");
    EXPECT_EQ(p.symbol("I")->number, 7);
    EXPECT_FALSE(p.symbol("S")->hasNumber);
    EXPECT_EQ(p.symbol("S")->value, "N");
    EXPECT_EQ(p.symbol("E")->value, "");
    EXPECT_FALSE(p.symbol("E")->hasNumber);
    EXPECT_EQ(p.symbol("V")->value, "a + b");
    EXPECT_EQ(p.symbol("X")->value, "1");
    EXPECT_TRUE(p.isDefined("V"));
    EXPECT_FALSE(p.isDefined("Y"));

    EXPECT_EQ(p.resolveValue("N"), 4);
    EXPECT_EQ(p.resolveValue("S"), 4);
    EXPECT_EQ(p.resolveValue("12u"), 12);
    EXPECT_EQ(p.resolveValue("Y"), std::nullopt);
    EXPECT_EQ(p.resolveValue("V"), std::nullopt);

    /* Redefinition replaces silently; symbols stay for later sources */
    p << "#define N 5\n";
    EXPECT_EQ(p.resolveValue("N"), 5);
    EXPECT_EQ(p.resolveValue("S"), 5);
    EXPECT_EQ(p.output(), "");
}

TEST(PreprocessorTest, expandIdentifier) {
    Preprocessor off{false};
    off << "#define A B  +  C\n#define B 1\n#define C (B)\n";
    EXPECT_EQ(off.expandIdentifier("A"), "B  +  C");
    EXPECT_EQ(off.expandIdentifier("Q"), "Q");

    Preprocessor on{true};
    on << "#define A B  +C\n#define B 1\n#define C (B)\n#define R x R y\n#define P Q\n#define Q P\n";
    /* One space where the value had whitespace after the earlier token, none otherwise */
    EXPECT_EQ(on.expandIdentifier("A"), "1 +(1)");
    EXPECT_EQ(on.expandIdentifier("R"), "x R y");
    EXPECT_EQ(on.expandIdentifier("P"), "P");
    EXPECT_EQ(on.expandIdentifier("Q"), "Q");
    EXPECT_EQ(on.expandIdentifier("Z"), "Z");
}

TEST(PreprocessorTest, expansionInText) {
    EXPECT_EQ(process(
        "#define COUNT 4\n#define TYPE vec4\n#define ARRAY TYPE[COUNT]\n#define E\n"
        "ARRAY values; TYPE.x E;COUNT\n", true),
        "vec4[4] values; vec4.x ;4\n");
    /* Without expansion the text is left alone */
    EXPECT_EQ(process("#define A 1\nA\n"), "A\n");
    /* Cycles stop as in C */
    EXPECT_EQ(process("#define A B\n#define B A\nA B\n#define S S + 1\nS\n", true), "A B\nS + 1\n");
    /* Comments are not expanded */
    EXPECT_EQ(process("#define A 1\nA // A\n/* A */ A\n", true), "1 // A\n/* A */ 1\n");
}

TEST(PreprocessorTest, expansionLimits) {
    std::string defines;
    for(int i = 0; i != 300; ++i) defines += "#define D" + std::to_string(i) + " D" + std::to_string(i + 1) + "\n";
    Outcome r = run({defines + "D0\n"}, true);
    EXPECT_FALSE(r.valid);
    EXPECT_EQ(r.errors, "Preprocessor: expansion of D0 nested too deeply\n");

    defines = "#define A0 x\n";
    for(int i = 1; i != 60; ++i) defines += "#define A" + std::to_string(i) + " A" + std::to_string(i - 1) + " A" + std::to_string(i - 1) + "\n";
    r = run({defines + "A59\n"}, true);
    EXPECT_FALSE(r.valid);
    EXPECT_EQ(r.errors, "Preprocessor: expansion of A59 is too large\n");
}

TEST(PreprocessorTest, errors) {
    const struct {
        const char* source;
        const char* message;
        std::uint32_t line;
    } cases[] {
        {"a /* open", "Preprocess: found unclosed multiline comment\n", 1},
        {"#if 0\n/* open", "Preprocess: found unclosed multiline comment\n", 2},
        {"#pragma x /* open\n", "Preprocess: found unclosed multiline comment\n", 1},
        /* Only the error, no warning about the expression before it */
        {"a\nb\n#if 1 /* open\n", "Preprocess: found unclosed multiline comment\n", 3},
        {"#if 0\n#elif 1 == /* open\n", "Preprocess: found unclosed multiline comment\n", 2},
        {"#ifdef /* open\n", "Preprocess: found unclosed multiline comment\n", 1},
        {"#\n", "Preprocessor: no identifier found after #\n", 1},
        {"# (\n", "Preprocessor: no identifier found after #\n", 1},
        {"#else\n", "Preprocessor: found #else without #if or #ifdef\n", 1},
        {"#endif\n", "Preprocessor: found #endif without #if or #ifdef\n", 1},
        {"#if 1\n#endif\n\n#endif\n", "Preprocessor: found #endif without #if or #ifdef\n", 4},
        {"x\r\n#elif 1\n", "Preprocessor: found #elif without #if or #ifdef\n", 2},
        {"#ifdef\n", "Preprocessor: expected an identifier after #ifdef\n", 1},
        {"#ifndef (X)\n", "Preprocessor: expected an identifier after #ifndef\n", 1},
        {"/* two\nlines */ #define\n", "Preprocessor: expected an identifier after #define\n", 2},
        {"#define \"x\"\n", "Preprocessor: expected an identifier after #define\n", 1},
    };
    for(const auto& c: cases) {
        SCOPED_TRACE(c.source);
        std::ostringstream warnings, errors;
        Warning redirectWarnings{&warnings};
        Error redirectErrors{&errors};
        Preprocessor p;
        p << "first\n";
        EXPECT_EQ(p.errorLine(), 0u);
        p << c.source << "third\n";
        EXPECT_FALSE(p.isValid());
        EXPECT_EQ(errors.str(), c.message);
        EXPECT_EQ(warnings.str(), "");
        EXPECT_EQ(p.errorLine(), c.line);
        /* The output of the last good source stays, later sources are ignored */
        EXPECT_EQ(p.output(), "first\n");
    }

    /* Processing stops at the first error: later defines are not recorded */
    std::ostringstream errors;
    Error redirect{&errors};
    Preprocessor p;
    p << "#define A 1\n#endif\n#define B 2\n";
    EXPECT_TRUE(p.isDefined("A"));
    EXPECT_FALSE(p.isDefined("B"));
    EXPECT_EQ(p.errorLine(), 2u);
    p.setInvalid("custom message");
    EXPECT_EQ(errors.str(), "Preprocessor: found #endif without #if or #ifdef\ncustom message\n");
    /* The first error keeps its line */
    EXPECT_EQ(p.errorLine(), 2u);

    /* An expansion that fails in the text has the line of its word */
    std::string defines;
    for(int i = 0; i != 300; ++i) defines += "#define D" + std::to_string(i) + " D" + std::to_string(i + 1) + "\n";
    Preprocessor q{true};
    q << defines + "x\n  D0\n";
    EXPECT_FALSE(q.isValid());
    EXPECT_EQ(q.errorLine(), 302u);
}

TEST(PreprocessorTest, sourceIsAView) {
    /* Nothing past the view is read: not the value, not the comment end */
    const std::string buffer = "#define A 12#define B 3\n/* x */";
    Preprocessor p;
    p << std::string_view{buffer.data(), 11};
    EXPECT_EQ(p.symbol("A")->value, "1");
    EXPECT_TRUE(p.symbol("A")->hasNumber);

    std::ostringstream errors;
    Error redirect{&errors};
    Preprocessor q;
    q << std::string_view{buffer.data() + 24, 6};
    EXPECT_EQ(errors.str(), "Preprocess: found unclosed multiline comment\n");

    /* A zero byte ends the input */
    EXPECT_EQ(process(std::string_view{"a\0#endif\n", 9}), "a");
}

TEST(PreprocessorTest, ownedSourcesStayAlive) {
    Preprocessor p{true};
    {
        std::string shortSource = "#define S 1\n";
        std::string longSource = "#define L a_rather_long_value_that_does_not_fit_a_short_string\n";
        p << std::move(shortSource) << std::move(longSource);
    }
    /* Many more sources, so the list of owned inputs grows and moves */
    for(int i = 0; i != 100; ++i) p << std::string{"#define X" + std::to_string(i) + " S\n"};
    p << std::string{"S L X7\n"};
    EXPECT_EQ(p.output(), "1 a_rather_long_value_that_does_not_fit_a_short_string 1\n");
}

TEST(PreprocessorTest, lineEnds) {
    /* "\r\n" ends directive lines; a lone "\r" does not */
    EXPECT_EQ(process("#ifdef X\r\na\r\n#else\r\nb\r\n#endif\r\nc"), "b\r\nc");
    EXPECT_EQ(process("#define A 1\r\nA\r\n", true), "1\r\n");
    EXPECT_EQ(process("#if 0\ra\n#endif\n"), "");
}

}}}

namespace QuillmarshEngine { namespace Utils { namespace {

/* Processing runs of text at once must give what handling it one character or word at a time
   gives, output, validity and diagnostics alike */
TEST(PreprocessorTest, runsMatchTheCharacterwiseReference) {
    const std::string_view pieces[] {
        "#define A 1\n", "#define B A x\n", "#define C(x) x\n", "#if A\n", "#ifdef B\n", "#ifndef Q\n",
        "#elif 0\n", "#else\n", "#endif\n", "#pragma A\n", "# if", "#", "A", "B", "C", "word", " ", "\t",
        "\n", "\r\n", "\r", "/", "*", "//", "/*", "*/", "(", ")", "&&", "||", "!", "-", "+", "==", "<",
        "\"", ",", ".", ";", "{", "}", "1", "4u", "defined", std::string_view{"\0", 1}};
    std::mt19937 random{7};
    for(int i = 0; i != 3000; ++i) {
        std::string source;
        for(int n = std::uniform_int_distribution<int>{0, 40}(random); n; --n) {
            const std::size_t piece = std::uniform_int_distribution<std::size_t>{0, std::size(pieces) - 1}(random);
            source += pieces[piece];
        }
        for(bool expand: {false, true}) {
            std::ostringstream fast, reference;
            Preprocessor a{expand}, b{expand};
            {
                Warning redirectWarnings{&fast};
                Error redirectErrors{&fast};
                a << std::string_view{source};
            } {
                Warning redirectWarnings{&reference};
                Error redirectErrors{&reference};
                b.processReference(source);
            }
            ASSERT_EQ(a.isValid(), b.isValid()) << source;
            ASSERT_EQ(a.output(), b.output()) << source;
            ASSERT_EQ(fast.str(), reference.str()) << source;
            ASSERT_EQ(a.errorLine(), b.errorLine()) << source;
        }
    }
}

}}}
