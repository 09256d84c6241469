/* Preprocessor throughput on a generated multi-megabyte shader, with define expansion off and on,
   beside glslangValidator -E and GCC's cpp -P on the same file in the same run. The peers' times
   are measured around the whole process, as the processor time (user + system) it used, so that
   they compare with the processor time of the in-process runs also on a loaded machine. Prints
   the throughput ratios at the end. */

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

#include <sys/resource.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include "QuillmarshEngine/Debug.h"
#include "QuillmarshEngine/Utils/Clock.h"
#include "QuillmarshEngine/Utils/Preprocessor.h"

using namespace QuillmarshEngine;

namespace {

/* GLSL-like code: functions behind feature switches, nested conditionals, comments, a few
   defines used in the text and many words that are not defined */
std::string generateShader(std::size_t targetSize) {
    std::string out =
        "#version 330 core\n"
        "#define LIGHT_COUNT 4\n"
        "#define USE_FOG 1\n"
        "#define FEATURE_0\n#define FEATURE_2\n#define FEATURE_5\n"
        "#define SHADOW_SAMPLES 8u\n"
        "#define TINT vec3(0.9, 0.8, 0.7)\n"
        "uniform vec3 fogColor;\nuniform float fogAmount;\n";
    for(int i = 0; out.size() < targetSize; ++i) {
        const std::string n = std::to_string(i);
        out += "// Block " + n + ": shades one more layer of the material stack\n"
            "/* The weight is premultiplied; the colour is linear and the result\n"
            "   is clamped by the caller, not here. */\n"
            "#ifdef FEATURE_" + std::to_string(i % 8) + "\n"
            "vec4 layer" + n + "(vec4 color, float weight, vec3 normal, vec3 lightDirection) {\n"
            "    vec4 result = color*weight + vec4(float(LIGHT_COUNT));\n"
            "    float diffuse = max(dot(normal, lightDirection), 0.0);\n"
            "    #if USE_FOG && LIGHT_COUNT > 2\n"
            "    result.rgb = mix(result.rgb*TINT, fogColor, fogAmount)*diffuse;\n"
            "    #elif defined(SHADOW_SAMPLES)\n"
            "    result.rgb *= float(SHADOW_SAMPLES);\n"
            "    #else\n"
            "    result.a = 1.0;\n"
            "    #endif\n"
            "    for(int sampleIndex = 0; sampleIndex != 4; ++sampleIndex)\n"
            "        result.rgb += vec3(0.01*float(sampleIndex));\n"
            "    return result;\n"
            "}\n"
            "#else\n"
            "vec4 layer" + n + "(vec4 color, float weight, vec3 normal, vec3 lightDirection) { return color; }\n"
            "#endif\n\n";
    }
    out += "void main() {}\n";
    return out;
}

const std::string& shader() {
    static const std::string source = generateShader(std::size_t{4} << 20);
    return source;
}

const std::string& shaderFile() {
    static const std::string path = [] {
        const std::string file = (std::filesystem::temp_directory_path()/("quillmarsh-bench-" + std::to_string(getpid()) + ".frag")).string();
        std::ofstream{file, std::ios::binary} << shader();
        return file;
    }();
    return path;
}

void preprocess(benchmark::State& state, bool expand) {
    const std::string& source = shader();
    for(auto _: state) {
        Utils::Preprocessor preprocessor{expand};
        preprocessor << std::string_view{source};
        if(!preprocessor.isValid()) state.SkipWithError("preprocessing failed");
        benchmark::DoNotOptimize(preprocessor.output().data());
    }
    state.SetBytesProcessed(std::int64_t(state.iterations())*std::int64_t(source.size()));
}

void PreprocessorExpandOff(benchmark::State& state) { preprocess(state, false); }
void PreprocessorExpandOn(benchmark::State& state) { preprocess(state, true); }

/* Processor time used by finished child processes so far, in seconds */
double childrenTime() {
    rusage usage;
    getrusage(RUSAGE_CHILDREN, &usage);
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) + double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec)*1.0e-6;
}

void runProcess(benchmark::State& state, const std::string& command) {
    shaderFile();
    double wall = 0.0;
    for(auto _: state) {
        const Utils::Clock clock;
        const double before = childrenTime();
        /* A failing peer still processed the whole file (cpp reports #version as an error) */
        const int status = std::system(command.c_str());
        benchmark::DoNotOptimize(status);
        state.SetIterationTime(childrenTime() - before);
        wall += clock.elapsed();
    }
    state.counters["wall_seconds"] = benchmark::Counter{wall, benchmark::Counter::kAvgIterations};
    state.SetBytesProcessed(std::int64_t(state.iterations())*std::int64_t(shader().size()));
}

void GlslangValidatorE(benchmark::State& state) {
    if(std::system("glslangValidator --version > /dev/null 2>&1") != 0) {
        state.SkipWithError("glslangValidator is not installed");
        for(auto _: state) {}
        return;
    }
    runProcess(state, "glslangValidator -E " + shaderFile() + " > /dev/null 2>&1");
}

void GccCppP(benchmark::State& state) {
    if(std::system("cpp --version > /dev/null 2>&1") != 0) {
        state.SkipWithError("cpp is not installed");
        for(auto _: state) {}
        return;
    }
    runProcess(state, "cpp -P -undef -x c " + shaderFile() + " > /dev/null 2>&1");
}

BENCHMARK(PreprocessorExpandOff)->Unit(benchmark::kMillisecond);
BENCHMARK(PreprocessorExpandOn)->Unit(benchmark::kMillisecond);
BENCHMARK(GlslangValidatorE)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(5);
BENCHMARK(GccCppP)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(5);

/* Remembers the throughput of every benchmark for the ratios */
class Reporter: public benchmark::ConsoleReporter {
    public:
        void ReportRuns(const std::vector<Run>& runs) override {
            for(const Run& run: runs) {
                if(run.error_occurred || !run.iterations) continue;
                const auto found = run.counters.find("bytes_per_second");
                if(found != run.counters.end()) throughput[run.benchmark_name()] = found->second.value;
                /* Wall-clock seconds per iteration: measured by hand for the peers */
                const auto wallFound = run.counters.find("wall_seconds");
                wall[run.benchmark_name()] = wallFound != run.counters.end() ? wallFound->second.value :
                    run.real_accumulated_time/double(run.iterations);
            }
            ConsoleReporter::ReportRuns(runs);
        }

        std::map<std::string, double> throughput, wall;
};

}

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    std::printf("Input: %.2f MB generated shader\n", double(shader().size())/1.0e6);
    Reporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);

    auto get = [&](const char* name) {
        const auto found = reporter.throughput.find(name);
        return found == reporter.throughput.end() ? 0.0 : found->second;
    };
    const double off = get("PreprocessorExpandOff"), on = get("PreprocessorExpandOn");
    const double glslang = get("GlslangValidatorE/iterations:5/manual_time"), cpp = get("GccCppP/iterations:5/manual_time");
    std::printf("\nThroughput (processor time): expansion off %.1f MB/s, expansion on %.1f MB/s, glslangValidator -E %.1f MB/s, cpp -P %.1f MB/s\n",
        off/1.0e6, on/1.0e6, glslang/1.0e6, cpp/1.0e6);
    if(glslang > 0.0) std::printf("Ratio to glslangValidator -E: expansion off %.1fx (goal 8x), expansion on %.1fx\n", off/glslang, on/glslang);
    if(cpp > 0.0) std::printf("Ratio to cpp -P: expansion off %.1fx (goal 3x), expansion on %.1fx\n", off/cpp, on/cpp);
    std::printf("Expansion on: %.1f MB/s (goal 50 MB/s)\n", on/1.0e6);

    /* The same from wall-clock time, which a busy machine inflates for every contender */
    auto wallRate = [&](const char* name) {
        const auto found = reporter.wall.find(name);
        return found == reporter.wall.end() || found->second <= 0.0 ? 0.0 : double(shader().size())/found->second;
    };
    const double offWall = wallRate("PreprocessorExpandOff"), onWall = wallRate("PreprocessorExpandOn");
    const double glslangWall = wallRate("GlslangValidatorE/iterations:5/manual_time"), cppWall = wallRate("GccCppP/iterations:5/manual_time");
    std::printf("Throughput (wall clock): expansion off %.1f MB/s, expansion on %.1f MB/s, glslangValidator -E %.1f MB/s, cpp -P %.1f MB/s\n",
        offWall/1.0e6, onWall/1.0e6, glslangWall/1.0e6, cppWall/1.0e6);
    if(glslangWall > 0.0 && cppWall > 0.0)
        std::printf("Wall-clock ratios: to glslangValidator -E %.1fx / %.1fx, to cpp -P %.1fx / %.1fx (expansion off / on)\n",
            offWall/glslangWall, onWall/glslangWall, offWall/cppWall, onWall/cppWall);

    std::remove(shaderFile().c_str());
    benchmark::Shutdown();
    return 0;
}
