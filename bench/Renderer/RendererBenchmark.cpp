/* The library's share of one frame of the demo scene at 10,000 instances, as the reference
   renderer drives it: the animation manager, the world-transform sweep, the mesh, view and light
   managers' updates, the shadow setup and fitting, and the preparation of the upload (culled
   draw runs, light and shadow records, the two instance columns copied as the mapping of the
   instance buffer receives them). The host's own animation of the scene is outside the timing,
   and so is OpenGL: these are the microseconds a frame costs before the driver sees it. */

#include <cstring>
#include <sstream>
#include <vector>

#include <benchmark/benchmark.h>

#include "DemoScene.h"
#include "FramePlan.h"
#include "QuillmarshEngine/Debug.h"
#include "QuillmarshEngine/Utils/Clock.h"

using namespace QuillmarshEngine;
using namespace QuillmarshRenderer;

namespace {

void DemoSceneFrame(benchmark::State& state) {
    std::ostringstream quiet;
    Debug redirect{&quiet};
    DemoScene scene{std::uint32_t(state.range(0)), state.range(1) != 0, 1280, 720};
    FramePlan plan;
    std::vector<char> staging;
    const Frame frame = scene.renderFrame();
    double parts[7]{};
    for(auto _: state) {
        scene.animate(1.0/60.0);
        const std::uint64_t start = Utils::Clock::now();
        DemoScene::LibraryTimes times;
        scene.updateLibrary(1.0/60.0, &times);

        const std::uint64_t prepare = Utils::Clock::now();
        const Data::ViewManager& views = *frame.views;
        const Matrix4 culling = frame.eyeCount == 2 ? views.cullingMatrix(frame.eyes[0], frame.eyes[1]) :
            views.viewProjectionMatrix(views.indexOf(frame.eyes[0]));
        plan.planDraws(*frame.meshes, scene.bounds(), culling, true);
        plan.packLights(*frame.lights);
        plan.packShadows(frame.lights->shadows(), views, frame.shadowView);
        const std::uint64_t planned = Utils::Clock::now();
        const std::size_t count = frame.meshes->activeCount();
        staging.resize(64*count);
        std::memcpy(staging.data(), frame.meshes->transforms().data(), 32*count);
        std::memcpy(staging.data() + 32*count, frame.meshes->scalings().data(), 32*count);
        benchmark::DoNotOptimize(staging.data());
        const std::uint64_t end = Utils::Clock::now();

        state.SetIterationTime(double(end - start)*1.0e-9);
        parts[0] += double(times.animation);
        parts[1] += double(times.transformations);
        parts[2] += double(times.managers);
        parts[3] += double(times.shadows);
        parts[4] += double(planned - prepare);
        parts[5] += double(end - planned);
        parts[6] += double(end - start);
    }
    const double n = double(state.iterations())*1.0e3;
    const char* const names[]{"animation_us", "sweep_us", "managers_us", "shadows_us", "plan_us", "copy_us", "us/frame"};
    for(int k = 0; k != 7; ++k) state.counters[names[k]] = parts[k]/n;
    state.counters["drawn"] = plan.drawnInstances();
    state.counters["draws"] = double(plan.runs().size());
}

}

BENCHMARK(DemoSceneFrame)->ArgNames({"instances", "stereo"})->Args({10000, 0})->Args({10000, 1})->Args({1000, 0})
    ->UseManualTime()->Unit(benchmark::kMicrosecond);

BENCHMARK_MAIN();
