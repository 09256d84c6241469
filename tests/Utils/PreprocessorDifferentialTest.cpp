#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include <unistd.h>

#include <gtest/gtest.h>

#include "QuillmarshEngine/Utils/Preprocessor.h"

/* Compares the preprocessor with GCC's on random sources that stay inside what both agree on:
   conditionals, object-like defines, comments and ordinary lines. Where the two differ by design
   the generator keeps out: && and || are not mixed without parentheses (equal precedence here),
   the value of an && / || chain is only used for its truth (a skipped right side keeps the left
   value here), define values used in conditions hold no && / || and there is no arithmetic,
   numbers have no suffixes (unsigned arithmetic in C) and no leading zeros (octal in C). */

namespace QuillmarshEngine { namespace Utils { namespace {

class Generator {
    public:
        explicit Generator(unsigned seed): _random{seed} {}

        std::string source() {
            _out.clear();
            _marker = 0;
            block(0);
            return _out;
        }

    private:
        int pick(int n) { return std::uniform_int_distribution<int>{0, n - 1}(_random); }

        std::string name() { return std::string(1, char('A' + pick(6))); }
        std::string number() { return std::to_string(pick(4) ? pick(4) : pick(100)); }

        std::string atom() {
            switch(pick(6)) {
                case 0: case 1: return number();
                case 2: case 3: return name();
                case 4: return "defined(" + name() + ")";
                default: return "defined " + name();
            }
        }

        std::string comparison() {
            static const char* const comparators[] {"==", "!=", "<", ">", "<=", ">="};
            return atom() + " " + comparators[pick(6)] + " " + atom();
        }

        /* A value whose use as a number agrees in both: no logical operators */
        std::string value() {
            switch(pick(6)) {
                case 0: case 1: return number();
                case 2: return name();
                case 3: return "(" + comparison() + ")";
                case 4: return "(!" + atom() + ")";
                default: return "-" + atom();
            }
        }

        /* An expression used only for its truth */
        std::string condition(int depth) {
            const int parts = 1 + pick(3);
            const char* op = pick(2) ? " && " : " || ";
            std::string out;
            for(int i = 0; i != parts; ++i) {
                if(i) out += op;
                switch(depth < 3 ? pick(6) : pick(3)) {
                    case 0: out += atom(); break;
                    case 1: out += comparison(); break;
                    case 2: out += "!" + atom(); break;
                    case 3: out += "(" + condition(depth + 1) + ")"; break;
                    case 4: out += "!(" + condition(depth + 1) + ")"; break;
                    default: out += "-(" + condition(depth + 1) + ")"; break;
                }
            }
            return out;
        }

        std::string comment() {
            switch(pick(4)) {
                case 0: return " // #endif";
                case 1: return " /* #else */";
                default: return "";
            }
        }

        void line() {
            static const char* const words[] {"T1", "T2", "T3", "A", "B", "x", "+", "(y)", ";", "vec4"};
            _out += "L" + std::to_string(_marker++);
            for(int i = pick(4); i; --i) {
                _out += ' ';
                _out += words[pick(10)];
            }
            _out += comment() + "\n";
        }

        void block(int depth) {
            for(int items = 1 + pick(5); items; --items) {
                switch(pick(10)) {
                    case 0: case 1:
                        _out += "#define " + name() + " " + value() + comment() + "\n";
                        break;
                    case 2: {
                        static const char* const texts[] {"#define T1 x + y\n", "#define T2 T1 * T1\n", "#define T3 T3 w\n", "#define T1 T2\n"};
                        _out += texts[pick(4)];
                        break;
                    }
                    case 3:
                        _out += pick(2) ? "// #if 0\n" : "/* #if 0\n#endif\n */\n";
                        break;
                    case 4: case 5:
                        if(depth < 4) {
                            switch(pick(3)) {
                                case 0: _out += "#if " + condition(0) + comment() + "\n"; break;
                                case 1: _out += "#ifdef " + name() + comment() + "\n"; break;
                                default: _out += "#ifndef " + name() + "\n"; break;
                            }
                            block(depth + 1);
                            for(int elifs = pick(3); elifs; --elifs) {
                                _out += "#elif " + condition(0) + "\n";
                                block(depth + 1);
                            }
                            if(pick(2)) {
                                _out += "#else" + comment() + "\n";
                                block(depth + 1);
                            }
                            _out += "#endif\n";
                            break;
                        }
                        [[fallthrough]];
                    default:
                        line();
                }
            }
        }

        std::mt19937 _random;
        std::string _out;
        int _marker = 0;
};

/* Text without comments, then its non-empty lines as the first word, "|" and the whole line
   with all whitespace removed */
std::vector<std::string> normalizedLines(std::string_view text) {
    std::string stripped;
    for(std::size_t i = 0; i < text.size(); ++i) {
        if(text.substr(i, 2) == "//") {
            while(i < text.size() && text[i] != '\n') ++i;
            stripped += '\n';
        } else if(text.substr(i, 2) == "/*") {
            const std::size_t close = text.find("*/", i + 2);
            i = close + 1;
            stripped += ' ';
        } else stripped += text[i];
    }
    std::vector<std::string> lines;
    std::istringstream in{stripped};
    for(std::string line; std::getline(in, line); ) {
        std::string compact;
        for(const char c: line) if(c != ' ' && c != '\t' && c != '\r') compact += c;
        if(compact.empty()) continue;
        std::istringstream words{line};
        std::string first;
        words >> first;
        lines.push_back(first + "|" + compact);
    }
    return lines;
}

/* Only the line markers, for the comparison without expansion */
std::vector<std::string> markers(const std::vector<std::string>& lines) {
    std::vector<std::string> out;
    for(const std::string& line: lines) {
        out.push_back(line.substr(0, line.find('|')));
    }
    return out;
}

/* Number of ordinary lines of a generated source */
std::size_t textLines(std::string_view source) {
    std::size_t count = source.starts_with('L');
    for(std::size_t i = source.find("\nL"); i != std::string_view::npos; i = source.find("\nL", i + 1)) ++count;
    return count;
}

bool runCpp(const std::string& source, std::string& output) {
    const std::string base = (std::filesystem::temp_directory_path()/("quillmarsh-cpp-" + std::to_string(getpid()))).string();
    std::ofstream{base + ".c", std::ios::binary} << source;
    const std::string command = "cpp -P -undef -nostdinc -x c " + base + ".c -o " + base + ".i 2>" + base + ".log";
    const int status = std::system(command.c_str());
    std::ifstream in{base + ".i"};
    output.assign(std::istreambuf_iterator<char>{in}, std::istreambuf_iterator<char>{});
    std::remove((base + ".c").c_str());
    std::remove((base + ".i").c_str());
    std::remove((base + ".log").c_str());
    return status == 0;
}

TEST(PreprocessorDifferentialTest, keptLinesMatchGccCpp) {
    if(std::system("cpp --version > /dev/null 2>&1") != 0) GTEST_SKIP() << "cpp is not installed";

    Generator generator{2026};
    int keptSomething = 0, droppedSomething = 0;
    for(int i = 0; i != 150; ++i) {
        const std::string source = generator.source();
        std::string expected;
        ASSERT_TRUE(runCpp(source, expected)) << source;
        const std::vector<std::string> expectedLines = normalizedLines(expected);

        for(bool expand: {false, true}) {
            std::ostringstream diagnostics;
            Warning redirectWarnings{&diagnostics};
            Error redirectErrors{&diagnostics};
            Preprocessor preprocessor{expand};
            preprocessor << source;
            ASSERT_TRUE(preprocessor.isValid()) << source;
            EXPECT_EQ(diagnostics.str(), "") << source;
            const std::vector<std::string> lines = normalizedLines(preprocessor.output());
            if(expand) EXPECT_EQ(lines, expectedLines) << source;
            else EXPECT_EQ(markers(lines), markers(expectedLines)) << source;
            if(!testing::Test::HasFailure()) {
                keptSomething += !lines.empty();
                droppedSomething += lines.size() < textLines(source);
            }
        }
        if(testing::Test::HasFailure()) break;
    }
    /* The generated sources exercise both outcomes */
    EXPECT_GT(keptSomething, 100);
    EXPECT_GT(droppedSomething, 50);
}

}}}
