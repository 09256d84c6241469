/* SHA-256 throughput of a 256 MiB file, hashed by Tools::sha256File() and by coreutils'
   sha256sum on the same file in the same run, and of the same bytes in memory. Times are
   processor time (user + system) of this thread or of the child process, so that they compare
   also on a loaded machine; the wall-clock figures are printed beside them. Prints the ratio to
   sha256sum at the end and checks that both agree on the digest. */

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include <sys/resource.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include "QuillmarshEngine/Tools/Cryptography.h"
#include "QuillmarshEngine/Utils/Clock.h"
#include "QuillmarshEngine/Utils/Path.h"

using namespace QuillmarshEngine;

namespace {

constexpr std::size_t FileSize = std::size_t{256} << 20;

const std::vector<char>& contents() {
    static const std::vector<char> data = [] {
        std::vector<char> out(FileSize);
        std::uint64_t state = 0x9e3779b97f4a7c15ull;
        for(std::size_t i = 0; i != out.size(); i += 8) {
            state ^= state << 13; state ^= state >> 7; state ^= state << 17;
            for(std::size_t k = 0; k != 8; ++k) out[i + k] = char(state >> 8*k);
        }
        return out;
    }();
    return data;
}

const std::string& file() {
    static const std::string path = [] {
        const std::string out = (std::filesystem::temp_directory_path()/("quillmarsh-sha256-" + std::to_string(getpid()) + ".bin")).string();
        if(!Utils::Path::write(out, contents())) std::abort();
        return out;
    }();
    return path;
}

double seconds(const timeval& t) { return double(t.tv_sec) + double(t.tv_usec)*1.0e-6; }

double threadTime() {
    rusage usage;
    getrusage(RUSAGE_THREAD, &usage);
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

double childrenTime() {
    rusage usage;
    getrusage(RUSAGE_CHILDREN, &usage);
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

/* Runs body once per iteration, reporting processor time as the iteration time and keeping the
   wall clock aside */
template<class Body> void measure(benchmark::State& state, double(*time)(), Body body) {
    double wall = 0.0;
    for(auto _: state) {
        const Utils::Clock clock;
        const double before = time();
        body();
        state.SetIterationTime(time() - before);
        wall += clock.elapsed();
    }
    state.counters["wall_seconds"] = benchmark::Counter{wall, benchmark::Counter::kAvgIterations};
    state.SetBytesProcessed(std::int64_t(state.iterations())*std::int64_t(FileSize));
}

void Sha256Memory(benchmark::State& state) {
    contents();
    measure(state, threadTime, [&] { benchmark::DoNotOptimize(Tools::sha256(contents())); });
}

void Sha256File(benchmark::State& state) {
    file();
    measure(state, threadTime, [&] {
        const Utils::Result<Tools::Sha256Digest> digest = Tools::sha256File(file());
        if(!digest) state.SkipWithError(digest.error().c_str());
        benchmark::DoNotOptimize(digest);
    });
}

void Sha256sum(benchmark::State& state) {
    if(std::system("sha256sum --version > /dev/null 2>&1") != 0) {
        state.SkipWithError("sha256sum is not installed");
        for(auto _: state) {}
        return;
    }
    const std::string command = "sha256sum " + file() + " > /dev/null";
    measure(state, childrenTime, [&] {
        if(std::system(command.c_str()) != 0) state.SkipWithError("sha256sum failed");
    });
}

BENCHMARK(Sha256Memory)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(3);
BENCHMARK(Sha256File)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(3);
BENCHMARK(Sha256sum)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(3);

class Reporter: public benchmark::ConsoleReporter {
    public:
        void ReportRuns(const std::vector<Run>& runs) override {
            for(const Run& run: runs) {
                if(run.error_occurred || !run.iterations) continue;
                const std::string name = run.benchmark_name().substr(0, run.benchmark_name().find('/'));
                time[name] = run.real_accumulated_time/double(run.iterations);
                const auto wallFound = run.counters.find("wall_seconds");
                if(wallFound != run.counters.end()) wall[name] = wallFound->second.value;
            }
            ConsoleReporter::ReportRuns(runs);
        }

        std::map<std::string, double> time, wall;
};

/* The digest sha256sum prints for the file */
std::string peerDigest() {
    std::FILE* const pipe = popen(("sha256sum " + file()).c_str(), "r");
    if(!pipe) return {};
    char text[65]{};
    const std::size_t read = std::fread(text, 1, 64, pipe);
    pclose(pipe);
    return std::string(text, read);
}

}

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    std::printf("Input: %zu MiB file\n", FileSize >> 20);
    Reporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);

    const auto rate = [](const std::map<std::string, double>& times, const char* name) {
        const auto found = times.find(name);
        return found == times.end() || found->second <= 0.0 ? 0.0 : double(FileSize)/found->second/1.0e6;
    };
    const double memory = rate(reporter.time, "Sha256Memory"), ours = rate(reporter.time, "Sha256File"), peer = rate(reporter.time, "Sha256sum");
    std::printf("\nThroughput (processor time): sha256File %.1f MB/s, in memory %.1f MB/s, sha256sum %.1f MB/s\n", ours, memory, peer);
    if(peer > 0.0) std::printf("Ratio to sha256sum: %.2fx (goal 0.8x)\n", ours/peer);
    const double oursWall = rate(reporter.wall, "Sha256File"), peerWall = rate(reporter.wall, "Sha256sum");
    std::printf("Throughput (wall clock): sha256File %.1f MB/s, sha256sum %.1f MB/s", oursWall, peerWall);
    if(peerWall > 0.0) std::printf(", ratio %.2fx", oursWall/peerWall);
    std::printf("\n");

    const Utils::Result<Tools::Sha256Digest> digest = Tools::sha256File(file());
    const std::string peerText = peerDigest();
    if(!peerText.empty())
        std::printf("Digests %s: %s\n", digest && digest->hex() == peerText ? "agree" : "DIFFER", peerText.c_str());

    std::remove(file().c_str());
    benchmark::Shutdown();
    return 0;
}
