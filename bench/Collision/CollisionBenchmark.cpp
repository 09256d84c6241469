/* Ray casts and overlap queries of the collision manager beside Bullet's btCollisionWorld on the
   same scene: 64, 512 and 4096 colliders, half spheres and half boxes (of those half
   axis-aligned, half oriented at random), spread at constant density, and rays from random
   points inside the scene in random directions, as long as the scene is wide. The library's
   rayCast() is timed with the processor's best pass and with the SSE2 baseline alone, and
   against Bullet's closest-hit and all-hits callbacks. */

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <map>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "QuillmarshEngine/Data/CollisionManager.h"
#include "QuillmarshEngine/Data/Implementation/ColliderSweep.h"
#include "QuillmarshEngine/Data/Implementation/CollisionReference.h"
#include "QuillmarshEngine/Data/SceneGraph.h"
#include "QuillmarshEngine/Debug.h"
#include "QuillmarshEngine/Math/DualQuaternion.h"

#include "BulletContender.h"

using namespace QuillmarshEngine;

namespace {

constexpr std::uint32_t RayCount = 1024;
constexpr std::uint32_t Sizes[]{64, 512, 4096};

struct Ray {
    Vector3 origin, direction;
    float length;
};

/* The scene of one size, built once for every contender */
struct Scene {
    explicit Scene(std::uint32_t count);

    std::vector<ColliderDescription> colliders;
    std::vector<Ray> rays;
    std::unique_ptr<Data::SceneGraph> graph;
    std::unique_ptr<Data::CollisionManager> collision;
    std::unique_ptr<BulletWorld> bullet;
};

Scene::Scene(const std::uint32_t count) {
    std::mt19937 rng{count};
    std::uniform_real_distribution<float> unit{-1.0f, 1.0f};
    std::normal_distribution<float> normal;
    /* Constant density: a ray meets between a third of a collider (64) and more than one (4096)
       on average */
    const float side = 2.5f*std::cbrt(float(count));
    for(std::uint32_t i = 0; i != count; ++i) {
        ColliderDescription c{};
        c.shape = i % 2 ? ColliderDescription::Sphere : i % 4 ? ColliderDescription::Box : ColliderDescription::AxisAlignedBox;
        for(float& p: c.position) p = 0.5f*side*unit(rng);
        Quaternion rotation{{normal(rng), normal(rng), normal(rng)}, normal(rng)};
        rotation = rotation/rotation.length();
        c.rotation[0] = rotation.vector().x();
        c.rotation[1] = rotation.vector().y();
        c.rotation[2] = rotation.vector().z();
        c.rotation[3] = rotation.scalar();
        if(c.shape == ColliderDescription::Sphere) c.extents[0] = c.extents[1] = c.extents[2] = 0.3f + 0.4f*std::abs(unit(rng));
        else for(float& e: c.extents) e = 0.2f + 0.6f*std::abs(unit(rng));
        colliders.push_back(c);
    }
    for(std::uint32_t i = 0; i != RayCount; ++i) {
        Ray ray;
        ray.origin = Vector3{unit(rng), unit(rng), unit(rng)}*(0.5f*side);
        ray.direction = Vector3{normal(rng), normal(rng), normal(rng)}.normalized();
        ray.length = side;
        rays.push_back(ray);
    }

    graph.reset(new Data::SceneGraph{Data::SceneGraph::IndexType(count + 1), 1, std::uint16_t(count + 1)});
    collision.reset(new Data::CollisionManager{Data::SceneGraph::IndexType(count)});
    graph->setComponentManager(0, "collision", collision.get());
    for(const ColliderDescription& c: colliders) {
        const Data::Id object = graph->addObjectUnsafe(0);
        const Data::SceneGraph::IndexType index = graph->indexOf(object);
        graph->setLocalTransformation(index, DualQuaternion::from(
            Quaternion{{c.rotation[0], c.rotation[1], c.rotation[2]}, c.rotation[3]},
            {c.position[0], c.position[1], c.position[2]}));
        graph->setDirty(index);
        const Data::Id component = collision->addComponent(object);
        const Data::SparseArray::IndexType at = collision->indexOf(component);
        collision->setCollider(at, c.shape == ColliderDescription::Sphere ? Data::ColliderType::Sphere :
            c.shape == ColliderDescription::Box ? Data::ColliderType::Box : Data::ColliderType::AxisAlignedBox);
        collision->setExtents(at, {c.extents[0], c.extents[1], c.extents[2]});
        collision->setGroups(at, 0xff);
        collision->activate(at);
    }
    graph->computeAbsoluteTransformations();
    bullet.reset(new BulletWorld{colliders});
}

Scene& scene(const std::uint32_t count) {
    static std::map<std::uint32_t, std::unique_ptr<Scene>> scenes;
    std::unique_ptr<Scene>& s = scenes[count];
    if(!s) {
        /* The scene graph reports its creation */
        std::ostringstream quiet;
        Debug silence{&quiet};
        s.reset(new Scene{count});
    }
    return *s;
}

/* Casts every ray of the scene once per iteration with cast(ray), which returns the number of
   hits; items are rays */
template<class Cast> void castAll(benchmark::State& state, const Scene& s, Cast cast) {
    std::uint32_t hits = 0;
    for(auto _: state) {
        for(const Ray& ray: s.rays) hits += cast(ray);
        benchmark::DoNotOptimize(hits);
    }
    state.SetItemsProcessed(std::int64_t(state.iterations())*RayCount);
    state.counters["hits/ray"] = double(hits)/double(state.iterations()*RayCount);
}

void rays(benchmark::State& state, const Data::Implementation::ColliderSweepVariant variant) {
    const Scene& s = scene(std::uint32_t(state.range(0)));
    Data::Implementation::setColliderSweepVariant(variant);
    Data::RayHit hit;
    castAll(state, s, [&](const Ray& ray) { return s.collision->rayCast(ray.origin, ray.direction, 0xff, ray.length, hit); });
    Data::Implementation::setColliderSweepVariant(Data::Implementation::ColliderSweepVariant::Best);
}

void LibraryRayCast(benchmark::State& state) { rays(state, Data::Implementation::ColliderSweepVariant::Best); }
void LibraryRayCastSse2(benchmark::State& state) { rays(state, Data::Implementation::ColliderSweepVariant::Sse2); }
void LibraryRayCastScalar(benchmark::State& state) { rays(state, Data::Implementation::ColliderSweepVariant::Reference); }

/* The plain loop over the columns and world transformations, without the cache */
void LibraryRayCastUncached(benchmark::State& state) {
    const Scene& s = scene(std::uint32_t(state.range(0)));
    Data::RayHit hit;
    castAll(state, s, [&](const Ray& ray) { return Data::Implementation::rayCastReference(*s.collision, ray.origin, ray.direction, 0xff, ray.length, hit, false); });
}

void LibraryRayCastWithNormals(benchmark::State& state) {
    const Scene& s = scene(std::uint32_t(state.range(0)));
    Data::RayHit hit;
    castAll(state, s, [&](const Ray& ray) { return s.collision->rayCastWithNormals(ray.origin, ray.direction, 0xff, ray.length, hit); });
}

/* One object moves before every ray: every ray pays the rebuild of the cache */
void LibraryRayCastAfterMove(benchmark::State& state) {
    Scene& s = scene(std::uint32_t(state.range(0)));
    Data::RayHit hit;
    std::uint32_t hits = 0, k = 0;
    for(auto _: state) {
        const Data::SceneGraph::IndexType index = Data::SceneGraph::IndexType(1 + k % s.colliders.size());
        s.graph->setDirty(index);
        const Ray& ray = s.rays[k++ % RayCount];
        hits += s.collision->rayCast(ray.origin, ray.direction, 0xff, ray.length, hit);
        benchmark::DoNotOptimize(hits);
    }
    state.SetItemsProcessed(std::int64_t(state.iterations()));
}

void BulletClosest(benchmark::State& state) {
    const Scene& s = scene(std::uint32_t(state.range(0)));
    castAll(state, s, [&](const Ray& ray) {
        const Vector3 to = ray.origin + ray.direction*ray.length;
        std::uint32_t index;
        float distance;
        return std::uint32_t(s.bullet->closest(ray.origin.data(), to.data(), index, distance));
    });
}

void BulletAllHits(benchmark::State& state) {
    const Scene& s = scene(std::uint32_t(state.range(0)));
    castAll(state, s, [&](const Ray& ray) {
        const Vector3 to = ray.origin + ray.direction*ray.length;
        return s.bullet->all(ray.origin.data(), to.data());
    });
}

void overlaps(benchmark::State& state, const Data::Implementation::ColliderSweepVariant variant) {
    Scene& s = scene(std::uint32_t(state.range(0)));
    Data::Implementation::setColliderSweepVariant(variant);
    std::vector<Data::Id> out;
    std::size_t found = 0;
    const std::uint32_t count = std::uint32_t(s.collision->size());
    for(auto _: state) {
        for(std::uint32_t i = 0; i != count; ++i) {
            s.collision->queryOverlaps(s.collision->idOf(Data::SparseArray::IndexType(i)), out);
            found += out.size();
        }
        benchmark::DoNotOptimize(found);
    }
    Data::Implementation::setColliderSweepVariant(Data::Implementation::ColliderSweepVariant::Best);
    state.SetItemsProcessed(std::int64_t(state.iterations())*count);
    state.counters["overlaps/query"] = double(found)/double(state.iterations()*count);
}

void LibraryQueryOverlaps(benchmark::State& state) { overlaps(state, Data::Implementation::ColliderSweepVariant::Best); }
void LibraryQueryOverlapsSse2(benchmark::State& state) { overlaps(state, Data::Implementation::ColliderSweepVariant::Sse2); }

void sizes(benchmark::internal::Benchmark* b) {
    for(const std::uint32_t size: Sizes) b->Arg(size);
    b->Unit(benchmark::kMicrosecond);
}

}

BENCHMARK(LibraryRayCast)->Apply(sizes);
BENCHMARK(LibraryRayCastSse2)->Apply(sizes);
BENCHMARK(LibraryRayCastScalar)->Apply(sizes);
BENCHMARK(LibraryRayCastUncached)->Apply(sizes);
BENCHMARK(LibraryRayCastWithNormals)->Apply(sizes);
BENCHMARK(BulletClosest)->Apply(sizes);
BENCHMARK(BulletAllHits)->Apply(sizes);
BENCHMARK(LibraryRayCastAfterMove)->Arg(64)->Arg(512)->Arg(4096)->Unit(benchmark::kNanosecond);
BENCHMARK(LibraryQueryOverlaps)->Apply(sizes);
BENCHMARK(LibraryQueryOverlapsSse2)->Apply(sizes);

namespace {

/* Collects the items per second of every run so the ratios can be printed after all
   benchmarks; CPU time throughout, since on a shared machine the wall clock also counts time
   spent descheduled */
class RatioReporter: public benchmark::ConsoleReporter {
    public:
        void ReportRuns(const std::vector<Run>& runs) override {
            for(const Run& run: runs) {
                if(run.run_type != Run::RT_Iteration || run.error_occurred) continue;
                const auto found = run.counters.find("items_per_second");
                if(found != run.counters.end()) rate[run.benchmark_name()] = found->second.value;
            }
            ConsoleReporter::ReportRuns(runs);
        }

        double get(const std::string& name, const std::uint32_t size) const {
            const auto found = rate.find(name + "/" + std::to_string(size));
            return found == rate.end() ? 0.0 : found->second;
        }

        std::map<std::string, double> rate;
};

/* Both contenders have to find the same nearest hits, else the comparison means nothing.
   Bullet's boxes have rounded edges (the collision margin) and it reports rays starting inside
   a shape, so a few rays differ; the rest agree on the collider and the distance. */
bool contendersAgree() {
    bool agree = true;
    for(const std::uint32_t size: Sizes) {
        Scene& s = scene(size);
        std::uint32_t same = 0, hits = 0;
        for(const Ray& ray: s.rays) {
            Data::RayHit hit;
            s.collision->rayCast(ray.origin, ray.direction, 0xff, ray.length, hit);
            const Vector3 to = ray.origin + ray.direction*ray.length;
            std::uint32_t index = 0;
            float distance = 0.0f;
            const bool bullet = s.bullet->closest(ray.origin.data(), to.data(), index, distance);
            hits += hit.hitCount != 0;
            if(!bullet && !hit.hitCount) ++same;
            else if(bullet && hit.hitCount && s.collision->owner(Data::SparseArray::IndexType(index)) == hit.objects[0] &&
                    std::abs(distance - hit.distances[0]) < 0.05f) ++same;
        }
        std::printf("%u colliders: %u of %u rays hit something, Bullet agrees on the nearest hit of %u\n", size, hits, RayCount, same);
        if(same < RayCount*95/100) agree = false;
    }
    return agree;
}

}

int main(int argc, char** argv) {
    if(!contendersAgree()) {
        std::printf("the contenders disagree on too many rays\n");
        return 1;
    }
    benchmark::Initialize(&argc, argv);
    if(benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();

    std::printf("\nRays per second (millions), CPU time; the library's rayCast() keeps the nearest four hits\n");
    std::printf("%8s %10s %10s %10s %10s %10s %14s %14s %14s\n", "colliders", "library", "SSE2", "scalar", "Bullet 1st", "Bullet all",
        "lib/closest", "SSE2/closest", "lib/all");
    for(const std::uint32_t size: Sizes) {
        const double library = reporter.get("LibraryRayCast", size), sse2 = reporter.get("LibraryRayCastSse2", size);
        const double scalar = reporter.get("LibraryRayCastScalar", size);
        const double closest = reporter.get("BulletClosest", size), all = reporter.get("BulletAllHits", size);
        if(!library || !closest || !all) continue;
        std::printf("%8u %10.2f %10.2f %10.2f %10.2f %10.2f %13.2fx %13.2fx %13.2fx\n", size, library*1e-6, sse2*1e-6, scalar*1e-6,
            closest*1e-6, all*1e-6, library/closest, sse2/closest, library/all);
    }
    std::printf("  goals: at least 2x Bullet at 64 colliders, at least 1x at 512\n");
    std::printf("\nqueryOverlaps() per query, CPU time\n");
    for(const std::uint32_t size: Sizes) {
        const double best = reporter.get("LibraryQueryOverlaps", size), sse2 = reporter.get("LibraryQueryOverlapsSse2", size);
        if(!best) continue;
        std::printf("%8u colliders: %8.3f us (SSE2 alone %8.3f us)\n", size, 1e6/best, sse2 ? 1e6/sse2 : 0.0);
    }
    std::printf("\nA ray after one object moved (the cache is rebuilt), CPU time\n");
    for(const std::uint32_t size: Sizes) {
        const double rate = reporter.get("LibraryRayCastAfterMove", size);
        if(rate) std::printf("%8u colliders: %8.3f us\n", size, 1e6/rate);
    }
}
