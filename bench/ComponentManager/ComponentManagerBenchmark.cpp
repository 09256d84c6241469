/* Per-operation costs of the component-manager base classes at 65,535 components: the update
   loop (one virtual updateComponent() per active component, beside a plain loop doing the same
   work on the same column), activation and deactivation, and changing group keys of a grouped
   manager with every component active. */

#include <cstdio>
#include <random>
#include <sstream>
#include <vector>

#include <benchmark/benchmark.h>

#include "QuillmarshEngine/Data/GroupedComponentManager.h"
#include "QuillmarshEngine/Data/SceneGraph.h"
#include "QuillmarshEngine/Data/SparseLayer.h"
#include "QuillmarshEngine/Debug.h"

using namespace QuillmarshEngine;
using namespace QuillmarshEngine::Data;

namespace {

typedef SparseArray::IndexType IndexType;
constexpr IndexType Count = 65535;

struct FloatManager: ComponentManager {
    explicit FloatManager(IndexType capacity): ComponentManager{0}, _layout{*this} {
        setLayout(&_layout);
        allocate(capacity);
    }
    const char* name() const override { return "float"; }
    void updateComponent(IndexType index) override { _layout.get<1>()[index] += float(lastTimeStep()); }
    std::span<float> values() { return _layout.get<1>().view(); }
    SparseArrayStaticLayout<SparseLayer<Id, SparseLayerFlag::ObjectId>, SparseLayer<float>> _layout;
};

struct GroupedManager: GroupedComponentManager {
    explicit GroupedManager(IndexType capacity, std::uint16_t groups, std::uint16_t subgroups): GroupedComponentManager{0, groups, subgroups}, _layout{*this} {
        setLayout(&_layout);
        allocate(capacity);
    }
    const char* name() const override { return "grouped"; }
    void updateComponent(IndexType) override {}
    /* A mesh-like payload: 12 bytes of ids and a transform-sized record */
    SparseArrayStaticLayout<SparseLayer<Id, SparseLayerFlag::ObjectId>, SparseLayerOwner<GroupedComponentManager>,
        SparseLayer<std::uint16_t>, SparseLayer<std::uint16_t>, SparseLayer<float>> _layout;
};

/* A scene with one object owning every component */
struct Scene {
    std::ostringstream quiet;
    Debug redirect{&quiet};
    SceneGraph graph{2, 1, Count};
    Id object = graph.addObject(Id{0});
};

template<class Manager> void fill(Scene& scene, Manager& manager, bool active) {
    scene.graph.setComponentManager(0, "bench", &manager);
    for(IndexType i = 0; i != Count; ++i) manager.addComponent(scene.object);
    if(active) manager.activate(Utils::IndexRange{0, Count});
}

void update(benchmark::State& state) {
    Scene scene;
    FloatManager manager{Count};
    fill(scene, manager, true);
    scene.graph.activate();
    for(auto _: state) {
        manager.update(0.016);
        benchmark::DoNotOptimize(manager.values().data());
    }
    state.counters["per component"] = benchmark::Counter(Count, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

/* The same work without the manager: the floor the base loop is measured against */
void updatePlainLoop(benchmark::State& state) {
    std::vector<float> values(Count);
    double dt = 0.016;
    for(auto _: state) {
        benchmark::DoNotOptimize(dt);
        for(IndexType i = 0; i != Count; ++i) values[i] += float(dt);
        benchmark::DoNotOptimize(values.data());
    }
    state.counters["per component"] = benchmark::Counter(Count, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void activateDeactivateRange(benchmark::State& state) {
    Scene scene;
    FloatManager manager{Count};
    fill(scene, manager, false);
    for(auto _: state) {
        manager.activate(Utils::IndexRange{0, Count});
        manager.deactivate(Utils::IndexRange{0, Count});
    }
    state.counters["per operation"] = benchmark::Counter(2.0*Count, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

/* One random active component out, one random inactive component in, half of all active */
template<class Manager, class ...Args> void activateDeactivateRandom(benchmark::State& state, Args... args) {
    Scene scene;
    Manager manager{Count, args...};
    fill(scene, manager, false);
    std::mt19937 rng{7};
    if constexpr(std::is_same_v<Manager, GroupedManager>) {
        for(IndexType i = 0; i != Count; ++i)
            manager.setGroup(i, std::uint16_t(rng() % manager.grouped().groupsCount()), std::uint16_t(rng() % manager.grouped().subGroupsCount()));
    }
    manager.activate(Utils::IndexRange{0, Count/2});
    std::vector<IndexType> picks(4096);
    for(IndexType& p: picks) p = IndexType(rng() % (Count/2));
    std::size_t k = 0;
    for(auto _: state) {
        manager.deactivate(picks[k]);
        manager.activate(IndexType(Count/2 + picks[(k + 1) & 4095] % (Count - Count/2)));
        k = (k + 2) & 4095;
    }
    state.counters["per operation"] = benchmark::Counter(2.0, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void activateDeactivateRandomPlain(benchmark::State& state) {
    activateDeactivateRandom<FloatManager>(state);
}

void activateDeactivateRandomGrouped(benchmark::State& state) {
    activateDeactivateRandom<GroupedManager>(state, std::uint16_t(state.range(0)), std::uint16_t(4));
}

void setGroup(benchmark::State& state) {
    Scene scene;
    GroupedManager manager{Count, std::uint16_t(state.range(0)), 4};
    fill(scene, manager, true);
    std::mt19937 rng{11};
    struct Change { IndexType index; std::uint16_t group, subgroup; };
    std::vector<Change> changes(4096);
    for(Change& c: changes) c = {IndexType(rng() % Count), std::uint16_t(rng() % state.range(0)), std::uint16_t(rng() % 4)};
    std::size_t k = 0;
    for(auto _: state) {
        const Change& c = changes[k];
        benchmark::DoNotOptimize(manager.setGroup(c.index, c.group, c.subgroup));
        k = (k + 1) & 4095;
    }
    state.counters["per operation"] = benchmark::Counter(1.0, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

}

BENCHMARK(update)->Unit(benchmark::kMicrosecond);
BENCHMARK(updatePlainLoop)->Unit(benchmark::kMicrosecond);
BENCHMARK(activateDeactivateRange)->Unit(benchmark::kMicrosecond);
BENCHMARK(activateDeactivateRandomPlain);
BENCHMARK(activateDeactivateRandomGrouped)->Arg(1)->Arg(16)->Arg(256);
BENCHMARK(setGroup)->Arg(1)->Arg(16)->Arg(256);

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if(benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
