/* Cost of the two operations the scene graph's transform sweep is made of: the dual-quaternion
   product and the scaled composition (the child's translation stretched by the parent's scaling,
   then the product). GLM's dual quaternion product runs in the same process as a reference. */

#include <cstdio>
#include <map>
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#define GLM_ENABLE_EXPERIMENTAL
#include <glm/gtx/dual_quaternion.hpp>

#include "QuillmarshEngine/Data/Implementation/TransformSweep.h"
#include "QuillmarshEngine/Math/DualQuaternion.h"

using namespace QuillmarshEngine;

namespace {

constexpr std::size_t Count = 1024;

/* The scene graph's composition rule, the library's own: with a unit parent scaling a plain
   product, otherwise the child's translation is scaled component-wise before the product */
using Data::Implementation::concatenate;

struct Columns {
    std::vector<DualQuaternion> a, b, out;
    std::vector<Vector3> scalingA, scalingB, outScaling;
    std::vector<glm::dualquat> glmA, glmB, glmOut;

    explicit Columns(bool unitScaling) {
        std::mt19937 rng{1};
        std::uniform_real_distribution<float> value{-1.0f, 1.0f};
        std::uniform_real_distribution<float> scale{0.5f, 2.0f};
        for(std::size_t i = 0; i != Count; ++i) {
            for(std::vector<DualQuaternion>* v: {&a, &b}) {
                const Vector3 axis = Vector3{value(rng), value(rng), value(rng) + 2.0f}.normalized();
                v->push_back(DualQuaternion::fromTranslation({value(rng), value(rng), value(rng)})*
                    DualQuaternion::rotation(value(rng)*3.0f, axis));
            }
            scalingA.push_back(unitScaling ? Vector3{1.0f} : Vector3{scale(rng), scale(rng), scale(rng)});
            scalingB.push_back(Vector3{scale(rng), scale(rng), scale(rng)});
            for(auto [from, to]: {std::pair{&a, &glmA}, std::pair{&b, &glmB}}) {
                const DualQuaternion& d = from->back();
                to->push_back(glm::dualquat{glm::quat{d.real().w(), d.real().x(), d.real().y(), d.real().z()},
                    glm::quat{d.dual().w(), d.dual().x(), d.dual().y(), d.dual().z()}});
            }
        }
        out.resize(Count);
        outScaling.resize(Count);
        glmOut.resize(Count);
    }
};

void setPerOperation(benchmark::State& state) {
    state.SetItemsProcessed(std::int64_t(state.iterations()*Count));
    /* Seconds per operation; the console shows it with a unit prefix, e.g. 4.7ns */
    state.counters["time/op"] = benchmark::Counter(double(state.iterations()*Count),
        benchmark::Counter::kIsRate|benchmark::Counter::kInvert);
}

void DualQuaternionProduct(benchmark::State& state) {
    Columns data{true};
    for(auto _: state) {
        for(std::size_t i = 0; i != Count; ++i) data.out[i] = data.a[i]*data.b[i];
        benchmark::DoNotOptimize(data.out.data());
        benchmark::ClobberMemory();
    }
    setPerOperation(state);
}

void GlmDualQuaternionProduct(benchmark::State& state) {
    Columns data{true};
    for(auto _: state) {
        for(std::size_t i = 0; i != Count; ++i) data.glmOut[i] = data.glmA[i]*data.glmB[i];
        benchmark::DoNotOptimize(data.glmOut.data());
        benchmark::ClobberMemory();
    }
    setPerOperation(state);
}

void ConcatenateUnitScaling(benchmark::State& state) {
    Columns data{true};
    for(auto _: state) {
        for(std::size_t i = 0; i != Count; ++i)
            concatenate(data.a[i], data.scalingA[i], data.b[i], data.scalingB[i], data.out[i], data.outScaling[i]);
        benchmark::DoNotOptimize(data.out.data());
        benchmark::DoNotOptimize(data.outScaling.data());
        benchmark::ClobberMemory();
    }
    setPerOperation(state);
}

void ConcatenateScaled(benchmark::State& state) {
    Columns data{false};
    for(auto _: state) {
        for(std::size_t i = 0; i != Count; ++i)
            concatenate(data.a[i], data.scalingA[i], data.b[i], data.scalingB[i], data.out[i], data.outScaling[i]);
        benchmark::DoNotOptimize(data.out.data());
        benchmark::DoNotOptimize(data.outScaling.data());
        benchmark::ClobberMemory();
    }
    setPerOperation(state);
}

BENCHMARK(DualQuaternionProduct);
BENCHMARK(GlmDualQuaternionProduct);
BENCHMARK(ConcatenateUnitScaling);
BENCHMARK(ConcatenateScaled);

/* Prints as usual and keeps the time per operation of every run for the ratios at the end */
class RatioReporter: public benchmark::ConsoleReporter {
    public:
        void ReportRuns(const std::vector<Run>& runs) override {
            ConsoleReporter::ReportRuns(runs);
            for(const Run& run: runs) {
                const auto found = run.counters.find("time/op");
                if(found != run.counters.end()) nsPerOp[run.benchmark_name()] = found->second.value*1.0e9;
            }
        }

        std::map<std::string, double> nsPerOp;
};

}

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();

    const auto& t = reporter.nsPerOp;
    if(t.count("DualQuaternionProduct") && t.count("GlmDualQuaternionProduct"))
        std::printf("DualQuaternion product: %.2f ns/op, GLM dualquat product: %.2f ns/op, ratio ours/GLM: %.2f\n",
            t.at("DualQuaternionProduct"), t.at("GlmDualQuaternionProduct"),
            t.at("DualQuaternionProduct")/t.at("GlmDualQuaternionProduct"));
    if(t.count("ConcatenateUnitScaling") && t.count("ConcatenateScaled") && t.count("DualQuaternionProduct"))
        std::printf("concatenate: %.2f ns/op with unit parent scaling, %.2f ns/op scaled (%.2fx the bare product)\n",
            t.at("ConcatenateUnitScaling"), t.at("ConcatenateScaled"),
            t.at("ConcatenateScaled")/t.at("DualQuaternionProduct"));
}
