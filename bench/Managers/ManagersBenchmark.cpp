/* Per-frame costs of the feature managers: MeshManager::doUpdate() over 65,535 instances beside a
   plain loop that copies the same bytes in the same order, and the light manager's frame
   (doUpdate(), then setupShadows() with the cascade fitting) for 1,000 lights. */

#include <algorithm>
#include <cstdio>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "QuillmarshEngine/Data/LightManager.h"
#include "QuillmarshEngine/Data/MeshManager.h"
#include "QuillmarshEngine/Data/SceneGraph.h"
#include "QuillmarshEngine/Data/ViewManager.h"
#include "QuillmarshEngine/Debug.h"
#include "QuillmarshEngine/Math/Quaternion.h"

using namespace QuillmarshEngine;
using namespace QuillmarshEngine::Data;

namespace {

typedef SparseArray::IndexType IndexType;
constexpr IndexType Instances = 65535;
constexpr std::uint16_t Groups = 16;
constexpr IndexType Lights = 1000;

/* A scene graph full of objects with world transformations computed once; mesh instance k is
   owned by object k % objects + 1, so the instance walk reads world transforms out of order
   once the grouping has sorted the instances */
struct MeshScene {
    std::ostringstream quiet;
    Debug redirect{&quiet};
    SceneGraph graph{65535, 1, 65535};
    MeshManager meshes{Instances, Groups};

    MeshScene() {
        graph.setComponentManager(0, "mesh", &meshes);
        std::mt19937 rng{1};
        std::uniform_real_distribution<float> unit{-1.0f, 1.0f};
        for(IndexType i = 1; i != graph.capacity(); ++i) {
            const Id object = graph.addObjectUnsafe(0);
            graph.setLocalTransformation(graph.indexOf(object), DualQuaternion::from(
                Quaternion::rotation(3.0f*unit(rng), Vector3{unit(rng), unit(rng), unit(rng)}.normalized()),
                Vector3{10.0f*unit(rng), 10.0f*unit(rng), 10.0f*unit(rng)}));
            graph.setLocalScaling(graph.indexOf(object), Vector3{1.0f + 0.5f*unit(rng), 1.0f, 1.0f});
        }
        graph.activate();
        graph.setDirty(0);
        graph.computeAbsoluteTransformations();
        /* Added in key order, so that activating them in turn appends each to the end of its
           slot instead of moving it across the others; owners in a shuffled order */
        const IndexType objects = IndexType(graph.size() - 1);
        std::vector<IndexType> owners(objects);
        for(IndexType o = 0; o != objects; ++o) owners[o] = IndexType(o + 1);
        std::shuffle(owners.begin(), owners.end(), rng);
        std::vector<std::uint16_t> slots(Instances);
        for(std::uint16_t& slot: slots) slot = std::uint16_t(rng() % (2*Groups));
        std::sort(slots.begin(), slots.end());
        for(IndexType k = 0; k != Instances; ++k) {
            const Id id = meshes.addComponent(graph.idOf(owners[k % objects]));
            const IndexType i = meshes.indexOf(id);
            meshes.materials()[i] = std::uint16_t(rng() % 200);
            meshes.setGroup(i, std::uint16_t(slots[k]/2), std::uint16_t(slots[k] % 2));
        }
        meshes.activate(Utils::IndexRange{0, Instances});
    }
};

MeshScene& meshScene() {
    static MeshScene scene;
    return scene;
}

void setPerInstance(benchmark::State& state, double count) {
    state.counters["ns/instance"] = benchmark::Counter(count, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void MeshManagerDoUpdate(benchmark::State& state) {
    MeshScene& scene = meshScene();
    for(auto _: state) {
        scene.meshes.doUpdate();
        benchmark::DoNotOptimize(scene.meshes.transforms().data());
        benchmark::ClobberMemory();
    }
    setPerInstance(state, Instances);
}

/* The same bytes without the manager: for every instance in index order, look the owner up,
   copy its 32-byte world transform and 12-byte scaling, and write the material as a float */
void PlainLoop(benchmark::State& state) {
    MeshScene& scene = meshScene();
    const std::vector<Id> owners{scene.meshes.owners().begin(), scene.meshes.owners().begin() + Instances};
    const std::vector<std::uint16_t> materials{scene.meshes.materials().begin(), scene.meshes.materials().begin() + Instances};
    const std::span<const std::uint16_t> indirection = scene.graph.indirection();
    const std::span<const DualQuaternion> world = scene.graph.worldTransformations();
    const std::span<const Vector3> worldScaling = scene.graph.worldScalings();
    std::vector<DualQuaternion> transforms(Instances);
    std::vector<ScalingPadded> scalings(Instances);
    for(auto _: state) {
        for(IndexType i = 0; i != Instances; ++i) {
            const IndexType o = indirection[owners[i]];
            transforms[i] = world[o];
            scalings[i].scaling = worldScaling[o];
            scalings[i].value = float(materials[i]);
        }
        benchmark::DoNotOptimize(transforms.data());
        benchmark::DoNotOptimize(scalings.data());
        benchmark::ClobberMemory();
    }
    setPerInstance(state, Instances);
}

/* 1,000 lights: suns with 4 cascades only, or a third of each type */
struct LightScene {
    std::ostringstream quiet;
    Debug redirect{&quiet};
    Warning redirectWarnings{&quiet};
    SceneGraph graph{2048, 2, 2048};
    LightManager lights{Lights};
    ViewManager views{1};
    Id camera;
    unsigned int records{};

    explicit LightScene(bool onlySuns) {
        graph.setComponentManager(0, "light", &lights);
        graph.setComponentManager(1, "view", &views);
        graph.activate();
        std::mt19937 rng{2};
        std::uniform_real_distribution<float> unit{-1.0f, 1.0f};
        const Id cameraObject = graph.addObject(Id{0});
        graph.setLocalTransformation(graph.indexOf(cameraObject), DualQuaternion::from(
            Quaternion::rotation(0.4f, Vector3{0.0f, 1.0f, 0.0f}), Vector3{3.0f, 1.7f, 8.0f}));
        camera = views.addComponent(cameraObject);
        views.activate(views.indexOf(camera));
        views.viewports()[0] = Vector4i{0, 0, 1920, 1080};
        views.projectionParams()[0] = Vector4{0.1f, 500.0f, 90.0f, 0.0f};
        views.projectionMatrices()[0] = views.generateProjectionMatrix(0);
        for(IndexType k = 0; k != Lights; ++k) {
            const Id object = graph.addObject(Id{0});
            graph.setLocalTransformation(graph.indexOf(object), DualQuaternion::from(
                Quaternion::rotation(3.0f*unit(rng), Vector3{unit(rng), unit(rng), unit(rng)}.normalized()),
                Vector3{50.0f*unit(rng), 10.0f*unit(rng), 50.0f*unit(rng)}));
            const Id light = lights.addComponent(object);
            const LightType type = onlySuns ? LightType::Sun : LightType(k % 3);
            const IndexType i = lights.setLightType(lights.indexOf(light), type);
            lights.parameters()[i] = Vector4{50.0f, 35.0f, 1.0f, type == LightType::Sun ? 150.0f : 20.0f};
            lights.shadowParameters()[i][3] = 4.0f;
            records += type == LightType::Sun ? 4 : type == LightType::Point ? 2 : 1;
        }
        lights.activate(Utils::IndexRange{0, Lights});
        graph.setDirty(0);
        graph.computeAbsoluteTransformations();
        views.update(0.016);
    }
};

void setPerLight(benchmark::State& state) {
    state.counters["ns/light"] = benchmark::Counter(Lights, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

/* doUpdate() and setupShadows() with the fitting, as a frame runs them */
void LightFrame(benchmark::State& state) {
    LightScene scene{state.range(0) == 1};
    for(auto _: state) {
        scene.lights.doUpdate();
        scene.lights.setupShadows(scene.graph, scene.views, scene.camera, scene.records);
        benchmark::DoNotOptimize(scene.lights.shadows().projectionMatrices().data());
    }
    if(scene.lights.shadows().count() != scene.records) state.SkipWithError("not every light got its shadows");
    setPerLight(state);
}

/* The parts alone */
void LightDoUpdate(benchmark::State& state) {
    LightScene scene{state.range(0) == 1};
    for(auto _: state) {
        scene.lights.doUpdate();
        benchmark::DoNotOptimize(scene.lights.positions().data());
    }
    setPerLight(state);
}

void LightRefit(benchmark::State& state) {
    LightScene scene{state.range(0) == 1};
    scene.lights.setupShadows(scene.graph, scene.views, scene.camera, scene.records);
    for(auto _: state) {
        scene.lights.updateShadows(scene.graph, scene.views, scene.camera, true);
        benchmark::DoNotOptimize(scene.lights.shadows().projectionMatrices().data());
    }
    setPerLight(state);
}

}

BENCHMARK(MeshManagerDoUpdate)->Unit(benchmark::kMicrosecond);
BENCHMARK(PlainLoop)->Unit(benchmark::kMicrosecond);
/* Argument 1: 1,000 suns of 4 cascades; 0: a third each of points, spots and 4-cascade suns */
BENCHMARK(LightFrame)->Arg(1)->Arg(0)->Unit(benchmark::kMicrosecond);
BENCHMARK(LightDoUpdate)->Arg(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(LightRefit)->Arg(1)->Arg(0)->Unit(benchmark::kMicrosecond);

namespace {

/* Collects the per-item counters of every run so the ratios can be printed at the end */
class RatioReporter: public benchmark::ConsoleReporter {
    public:
        void ReportRuns(const std::vector<Run>& runs) override {
            for(const Run& run: runs) {
                if(run.run_type != Run::RT_Iteration || run.error_occurred) continue;
                for(const char* counter: {"ns/instance", "ns/light"}) {
                    const auto found = run.counters.find(counter);
                    if(found != run.counters.end()) perItem[run.benchmark_name()] = found->second.value*1.0e9;
                }
            }
            ConsoleReporter::ReportRuns(runs);
        }

        double get(const std::string& name) const {
            const auto found = perItem.find(name);
            return found == perItem.end() ? 0.0 : found->second;
        }

        std::map<std::string, double> perItem;
};

}

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if(benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();

    /* CPU time throughout: on a shared machine the wall clock also counts time spent descheduled */
    const double mesh = reporter.get("MeshManagerDoUpdate"), plain = reporter.get("PlainLoop");
    if(mesh > 0.0 && plain > 0.0)
        std::printf("\nMeshManager::doUpdate() over %u instances: %.2f ns per instance, plain loop %.2f ns, ratio %.3fx (goal <= 1.3x)\n",
            Instances, mesh, plain, mesh/plain);
    const double suns = reporter.get("LightFrame/1"), mixed = reporter.get("LightFrame/0");
    if(suns > 0.0)
        std::printf("Light frame (doUpdate + setupShadows with fitting), %u suns of 4 cascades: %.1f ns per light (goal < 1000 ns)\n", Lights, suns);
    if(mixed > 0.0)
        std::printf("Light frame, %u lights, a third each of points, spots and 4-cascade suns: %.1f ns per light (goal < 1000 ns)\n", Lights, mixed);
}
