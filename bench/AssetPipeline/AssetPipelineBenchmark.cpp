/* Packing models into data files beside gltfpack (Debian's gltfpack, run as a child process on
   the same inputs in the same run): the time one packing takes and the bytes of mesh data it
   writes, both with quantization and compression on (gltfpack -cc). The inputs are the largest
   models of Debian's assimp-testmodels that both read and that have no textures, so gltfpack's
   binary chunk holds mesh data alone. */

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/wait.h>
#include <spawn.h>

#include "QuillmarshEngine/Debug.h"
#include "QuillmarshEngine/Tools/SceneImporter.h"

extern char** environ;

using namespace QuillmarshEngine;

namespace {

const char* const Models[]{
    "/usr/share/assimp/models/glTF2/2CylinderEngine-glTF-Binary/2CylinderEngine.glb",
    "/usr/share/assimp/models/OBJ/WusonOBJ.obj",
    "/usr/share/assimp/models/OBJ/regr01.obj",
};

std::string outputPath() {
    return (std::filesystem::temp_directory_path()/"quillmarsh-bench-gltfpack.glb").string();
}

/* Runs gltfpack -cc on the model; false when it is missing or fails */
bool runGltfpack(const char* model) {
    const std::string out = outputPath();
    const char* const argv[]{"gltfpack", "-i", model, "-o", out.c_str(), "-cc", nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    pid_t pid;
    const int spawned = posix_spawnp(&pid, "gltfpack", &actions, nullptr, const_cast<char* const*>(argv), environ);
    posix_spawn_file_actions_destroy(&actions);
    if(spawned != 0) return false;
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

/* Bytes of the binary chunk of the GLB gltfpack wrote, 0 when there is none */
std::uint64_t gltfpackMeshBytes() {
    std::ifstream in{outputPath(), std::ios::binary};
    std::vector<char> data{std::istreambuf_iterator<char>{in}, std::istreambuf_iterator<char>{}};
    std::size_t at = 12;
    while(at + 8 <= data.size()) {
        std::uint32_t length, type;
        std::memcpy(&length, data.data() + at, 4);
        std::memcpy(&type, data.data() + at + 4, 4);
        if(type == 0x004e4942) return length;   /* "BIN\0" */
        at += 8 + std::size_t(length);
    }
    return 0;
}

bool packOwn(const char* model, Tools::SceneImportSummary& summary) {
    Debug silence{nullptr};
    Warning silenceWarnings{nullptr};
    Utils::Result<std::vector<char>> data = Tools::importScene(model, Tools::SceneImportFlag::Quantize|Tools::SceneImportFlag::Compress, &summary);
    return bool(data);
}

void own(benchmark::State& state) {
    const char* const model = Models[state.range(0)];
    if(!std::filesystem::exists(model)) return state.SkipWithError("the assimp-testmodels package is not installed");
    Tools::SceneImportSummary summary;
    for(auto _: state) {
        summary = {};
        if(!packOwn(model, summary)) return state.SkipWithError("the model does not import");
    }
    state.counters["mesh bytes"] = double(summary.meshBytesAfter);
    state.SetLabel(std::filesystem::path{model}.filename().string());
}
BENCHMARK(own)->DenseRange(0, 2)->Unit(benchmark::kMillisecond)->UseRealTime();

void gltfpack(benchmark::State& state) {
    const char* const model = Models[state.range(0)];
    if(!std::filesystem::exists(model)) return state.SkipWithError("the assimp-testmodels package is not installed");
    for(auto _: state)
        if(!runGltfpack(model)) return state.SkipWithError("gltfpack is not installed or fails on the model");
    state.counters["mesh bytes"] = double(gltfpackMeshBytes());
    state.SetLabel(std::filesystem::path{model}.filename().string());
}
BENCHMARK(gltfpack)->DenseRange(0, 2)->Unit(benchmark::kMillisecond)->UseRealTime();

/* Median wall time of `runs` calls */
template<class F> double medianMilliseconds(F&& f, int runs) {
    std::vector<double> times;
    for(int i = 0; i != runs; ++i) {
        const auto start = std::chrono::steady_clock::now();
        f();
        times.push_back(std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
    }
    std::sort(times.begin(), times.end());
    return times[times.size()/2];
}

}

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();

    /* The ratios, measured once more side by side: medians of seven runs each */
    std::printf("\n%-22s %12s %12s %8s %10s %10s %8s\n", "model", "own bytes", "gltfpack", "ratio", "own ms", "gltfpack", "ratio");
    for(const char* model: Models) {
        if(!std::filesystem::exists(model)) {
            std::printf("%s: missing (install assimp-testmodels)\n", model);
            continue;
        }
        Tools::SceneImportSummary summary;
        bool ok = true, peer = true;
        const double ownTime = medianMilliseconds([&] { summary = {}; ok = packOwn(model, summary) && ok; }, 7);
        const double peerTime = medianMilliseconds([&] { peer = runGltfpack(model) && peer; }, 7);
        if(!ok || !peer) {
            std::printf("%s: %s\n", model, ok ? "gltfpack is not installed or fails" : "does not import");
            continue;
        }
        const std::uint64_t peerBytes = gltfpackMeshBytes();
        std::printf("%-22s %12llu %12llu %7.2fx %10.1f %10.1f %7.2fx\n", std::filesystem::path{model}.filename().string().c_str(),
            (unsigned long long)summary.meshBytesAfter, (unsigned long long)peerBytes, double(summary.meshBytesAfter)/double(peerBytes),
            ownTime, peerTime, ownTime/peerTime);
    }
    std::filesystem::remove(outputPath());
}
