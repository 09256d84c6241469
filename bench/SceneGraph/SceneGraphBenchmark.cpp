/* World-transform sweep of a 65,535-object random tree: the library beside a naive pointer-based
   scene graph with 4x4 matrices, the Ogre 1.12 SceneNode hierarchy and a flat pre-order loop over
   plain arrays (the reference limit). Every contender updates the same tree with every object dirty. */

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <emmintrin.h>
#include <glm/glm.hpp>
#include <glm/gtc/quaternion.hpp>

#include "QuillmarshEngine/Debug.h"
#include "QuillmarshEngine/Data/Implementation/TransformSweep.h"
#include "QuillmarshEngine/Data/SceneGraph.h"
#include "QuillmarshEngine/Math/DualQuaternion.h"
#include "QuillmarshEngine/Math/Vector3.h"

#include "OgreContender.h"

using namespace QuillmarshEngine;

namespace {

constexpr std::uint32_t TreeSize = 65535;

/* Plain columns shared by the flat loop and the library kernel: a dual quaternion is eight floats,
   real xyzw then dual xyzw */
struct Dq { float r[4]; float d[4]; };
struct V3 { float x, y, z; };

/* A random tree: each object's parent is a random earlier object, local transforms are random
   rotations and translations. Scalings are unit unless asked otherwise. */
struct Tree {
    std::vector<std::uint32_t> parents;
    std::vector<float> positions;   /* xyz per object */
    std::vector<float> rotations;   /* xyzw per object */
    std::vector<float> scalings;    /* xyz per object */
};

Tree makeTree(const std::uint32_t count, const bool scaled) {
    Tree tree;
    tree.parents.resize(count);
    tree.positions.assign(3*count, 0.0f);
    tree.rotations.assign(4*count, 0.0f);
    tree.scalings.assign(3*count, 1.0f);
    tree.rotations[3] = 1.0f;
    std::mt19937 rng{1234};
    std::uniform_real_distribution<float> unit{-1.0f, 1.0f};
    std::uniform_real_distribution<float> scale{0.5f, 2.0f};
    for(std::uint32_t i = 1; i != count; ++i) {
        tree.parents[i] = std::uniform_int_distribution<std::uint32_t>{0, i - 1}(rng);
        for(int k = 0; k != 3; ++k) tree.positions[3*i + k] = 4.0f*unit(rng);
        float q[4]{unit(rng), unit(rng), unit(rng), unit(rng)};
        const float length = std::sqrt(q[0]*q[0] + q[1]*q[1] + q[2]*q[2] + q[3]*q[3]);
        for(int k = 0; k != 4; ++k) tree.rotations[4*i + k] = q[k]/length;
        if(scaled && i % 3 == 0)
            for(int k = 0; k != 3; ++k) tree.scalings[3*i + k] = scale(rng);
    }
    return tree;
}

/* ---------------------------------------------------------------------------------------------- */
/* Quaternion helpers shared by the setup code */

void quatMul(const float* a, const float* b, float* out) {
    out[0] = a[3]*b[0] + b[3]*a[0] + (a[1]*b[2] - b[1]*a[2]);
    out[1] = a[3]*b[1] + b[3]*a[1] + (a[2]*b[0] - b[2]*a[0]);
    out[2] = a[3]*b[2] + b[3]*a[2] + (a[0]*b[1] - b[0]*a[1]);
    out[3] = a[3]*b[3] - (a[0]*b[0] + a[1]*b[1] + a[2]*b[2]);
}

Dq dualFrom(const float* rotation, const float* translation) {
    Dq out;
    std::memcpy(out.r, rotation, 16);
    const float t[4]{translation[0]*0.5f, translation[1]*0.5f, translation[2]*0.5f, 0.0f};
    quatMul(t, rotation, out.d);
    return out;
}

void dualTranslation(const Dq& q, float* out) {
    const float conj[4]{-q.r[0], -q.r[1], -q.r[2], q.r[3]};
    float t[4];
    quatMul(q.d, conj, t);
    for(int k = 0; k != 3; ++k) out[k] = 2.0f*t[k];
}

/* Pre-order of the tree with children in creation order, which is the order the scene graph keeps
   when objects are added under their parents one after another */
std::vector<std::uint32_t> preOrder(const Tree& tree) {
    const std::uint32_t count = std::uint32_t(tree.parents.size());
    std::vector<std::uint32_t> firstChild(count, 0), nextSibling(count, 0), lastChild(count, 0);
    for(std::uint32_t i = 1; i != count; ++i) {
        const std::uint32_t p = tree.parents[i];
        if(!firstChild[p]) firstChild[p] = i;
        else nextSibling[lastChild[p]] = i;
        lastChild[p] = i;
    }
    std::vector<std::uint32_t> order;
    order.reserve(count);
    std::vector<std::uint32_t> stack{0};
    while(!stack.empty()) {
        const std::uint32_t i = stack.back();
        stack.pop_back();
        order.push_back(i);
        /* Push children in reverse so the first child is visited first */
        std::vector<std::uint32_t> children;
        for(std::uint32_t c = firstChild[i]; c; c = nextSibling[c]) children.push_back(c);
        for(auto it = children.rbegin(); it != children.rend(); ++it) stack.push_back(*it);
    }
    return order;
}

/* ---------------------------------------------------------------------------------------------- */
/* (c) Flat pre-order loop over plain arrays with an SSE dual-quaternion compose */

struct FlatScene {
    std::vector<std::uint16_t> parent;
    std::vector<Dq> local, world;
    std::vector<V3> localScaling, worldScaling;
};

FlatScene makeFlat(const Tree& tree, const std::vector<std::uint32_t>& order) {
    const std::uint32_t count = std::uint32_t(order.size());
    std::vector<std::uint32_t> newIndex(count);
    for(std::uint32_t i = 0; i != count; ++i) newIndex[order[i]] = i;
    FlatScene flat;
    flat.parent.resize(count);
    flat.local.resize(count);
    flat.world.resize(count);
    flat.localScaling.resize(count);
    flat.worldScaling.resize(count);
    for(std::uint32_t i = 0; i != count; ++i) {
        const std::uint32_t o = order[i];
        flat.parent[i] = std::uint16_t(newIndex[tree.parents[o]]);
        flat.local[i] = dualFrom(&tree.rotations[4*o], &tree.positions[3*o]);
        flat.localScaling[i] = {tree.scalings[3*o + 0], tree.scalings[3*o + 1], tree.scalings[3*o + 2]};
    }
    flat.world = flat.local;
    flat.worldScaling = flat.localScaling;
    return flat;
}

#define SPLAT(v, i) _mm_shuffle_ps(v, v, _MM_SHUFFLE(i, i, i, i))

/* The three sign-flipped shuffles of b used by a*b = aw*b + ax*b1 + ay*b2 + az*b3 */
struct Terms { __m128 b0, b1, b2, b3; };

inline Terms terms(const __m128 b) {
    const __m128 s1 = _mm_castsi128_ps(_mm_set_epi32(int(0x80000000), 0, int(0x80000000), 0));
    const __m128 s2 = _mm_castsi128_ps(_mm_set_epi32(int(0x80000000), int(0x80000000), 0, 0));
    const __m128 s3 = _mm_castsi128_ps(_mm_set_epi32(int(0x80000000), 0, 0, int(0x80000000)));
    return {b,
        _mm_xor_ps(_mm_shuffle_ps(b, b, _MM_SHUFFLE(0, 1, 2, 3)), s1),
        _mm_xor_ps(_mm_shuffle_ps(b, b, _MM_SHUFFLE(1, 0, 3, 2)), s2),
        _mm_xor_ps(_mm_shuffle_ps(b, b, _MM_SHUFFLE(2, 3, 0, 1)), s3)};
}

inline __m128 mulTerms(const __m128 a, const Terms& t) {
    return _mm_add_ps(
        _mm_add_ps(_mm_mul_ps(SPLAT(a, 3), t.b0), _mm_mul_ps(SPLAT(a, 0), t.b1)),
        _mm_add_ps(_mm_mul_ps(SPLAT(a, 1), t.b2), _mm_mul_ps(SPLAT(a, 2), t.b3)));
}

inline __m128 load3(const V3& v) {
    return _mm_movelh_ps(_mm_loadl_pi(_mm_setzero_ps(), reinterpret_cast<const __m64*>(&v)), _mm_load_ss(&v.z));
}

inline void store3(V3& v, const __m128 a) {
    _mm_storel_pi(reinterpret_cast<__m64*>(&v), a);
    _mm_store_ss(&v.z, _mm_movehl_ps(a, a));
}

inline void composeSse(const Dq& parent, const V3& parentScaling, const Dq& child, const V3& childScaling, Dq& out, V3& outScaling) {
    const __m128 p0 = _mm_loadu_ps(parent.r), pe = _mm_loadu_ps(parent.d);
    const __m128 c0 = _mm_loadu_ps(child.r);
    __m128 ce = _mm_loadu_ps(child.d);
    const __m128 ps = load3(parentScaling), cs = load3(childScaling);
    const __m128 one = _mm_set1_ps(1.0f);
    const __m128 diff = _mm_andnot_ps(_mm_set1_ps(-0.0f), _mm_sub_ps(ps, one));
    const __m128 unit = _mm_or_ps(_mm_cmpeq_ps(ps, one),
        _mm_cmplt_ps(_mm_div_ps(diff, _mm_add_ps(_mm_andnot_ps(_mm_set1_ps(-0.0f), ps), one)), _mm_set1_ps(1.0e-5f)));
    const Terms c0t = terms(c0);
    if((_mm_movemask_ps(unit) & 7) == 7) {
        store3(outScaling, cs);
    } else {
        /* Translation of the child (halved), scaled by the parent, put back */
        const __m128 conj = _mm_xor_ps(c0, _mm_castsi128_ps(_mm_set_epi32(0, int(0x80000000), int(0x80000000), int(0x80000000))));
        const __m128 half = mulTerms(ce, terms(conj));
        ce = mulTerms(_mm_mul_ps(half, ps), c0t);
        store3(outScaling, _mm_mul_ps(ps, cs));
    }
    const Terms cet = terms(ce);
    _mm_storeu_ps(out.r, mulTerms(p0, c0t));
    _mm_storeu_ps(out.d, _mm_add_ps(mulTerms(p0, cet), mulTerms(pe, c0t)));
}

void flatUpdate(FlatScene& s) {
    const std::uint32_t count = std::uint32_t(s.parent.size());
    const std::uint16_t* const parent = s.parent.data();
    const Dq* const local = s.local.data();
    const V3* const localScaling = s.localScaling.data();
    Dq* const world = s.world.data();
    V3* const worldScaling = s.worldScaling.data();
    for(std::uint32_t i = 1; i != count; ++i) {
        const std::uint32_t p = parent[i];
        if(p == 0) {
            world[i] = local[i];
            worldScaling[i] = localScaling[i];
        } else composeSse(world[p], worldScaling[p], local[i], localScaling[i], world[i], worldScaling[i]);
    }
}

/* ---------------------------------------------------------------------------------------------- */
/* (a) Naive pointer-based recursive scene graph with 4x4 matrices */

struct NaiveNode {
    NaiveNode* parent{};
    std::vector<NaiveNode*> children;
    glm::mat4 local{1.0f}, world{1.0f};
};

struct NaiveScene {
    std::vector<std::unique_ptr<NaiveNode>> nodes;
};

NaiveScene makeNaive(const Tree& tree) {
    NaiveScene scene;
    const std::uint32_t count = std::uint32_t(tree.parents.size());
    scene.nodes.reserve(count);
    for(std::uint32_t i = 0; i != count; ++i) {
        auto node = std::make_unique<NaiveNode>();
        if(i) {
            node->parent = scene.nodes[tree.parents[i]].get();
            node->parent->children.push_back(node.get());
            const glm::quat q{tree.rotations[4*i + 3], tree.rotations[4*i + 0], tree.rotations[4*i + 1], tree.rotations[4*i + 2]};
            glm::mat4 m = glm::mat4_cast(q);
            for(int k = 0; k != 3; ++k) {
                m[k] *= tree.scalings[3*i + k];
                m[3][k] = tree.positions[3*i + k];
            }
            node->local = m;
        }
        scene.nodes.push_back(std::move(node));
    }
    return scene;
}

void naiveUpdate(NaiveNode& node, const glm::mat4& parentWorld) {
    node.world = parentWorld*node.local;
    for(NaiveNode* child: node.children) naiveUpdate(*child, node.world);
}

/* ---------------------------------------------------------------------------------------------- */
/* The library's sweep on raw columns laid out as the scene graph keeps them */

struct KernelScene {
    std::vector<Data::ObjectData> objects;
    std::vector<std::uint32_t> dirty;
    std::vector<DualQuaternion> local, world;
    std::vector<Vector3> localScaling, worldScaling;
};

KernelScene makeKernel(const Tree& tree, const std::vector<std::uint32_t>& order) {
    const FlatScene flat = makeFlat(tree, order);
    const std::uint32_t count = std::uint32_t(order.size());
    KernelScene scene;
    scene.objects.resize(count);
    scene.local.resize(count);
    scene.world.resize(count);
    scene.localScaling.resize(count);
    scene.worldScaling.resize(count);
    for(std::uint32_t i = 0; i != count; ++i) scene.objects[i] = {flat.parent[i], 0, 0, 0};
    static_assert(sizeof(DualQuaternion) == sizeof(Dq) && sizeof(Vector3) == sizeof(V3));
    std::memcpy(static_cast<void*>(scene.local.data()), flat.local.data(), count*sizeof(Dq));
    std::memcpy(static_cast<void*>(scene.localScaling.data()), flat.localScaling.data(), count*sizeof(V3));
    scene.world = scene.local;
    scene.worldScaling = scene.localScaling;
    scene.dirty.assign((count + 31)/32, 0);
    return scene;
}

typedef void(*Sweep)(std::uint32_t*, std::uint32_t, const Data::ObjectData*, const DualQuaternion*, const Vector3*, DualQuaternion*, Vector3*);

void kernelUpdate(KernelScene& s, Sweep sweep = Data::Implementation::sweepTransforms) {
    /* What marking the root's subtree dirty amounts to */
    std::fill(s.dirty.begin(), s.dirty.end(), ~0u);
    sweep(s.dirty.data(), std::uint32_t(s.objects.size()), s.objects.data(), s.local.data(),
        s.localScaling.data(), s.world.data(), s.worldScaling.data());
}

/* ---------------------------------------------------------------------------------------------- */

/* The library's scene graph holding the tree: added parent by parent in pre-order with
   addObjectUnsafe(), which appends, so the indices equal the flat loop's */
std::unique_ptr<Data::SceneGraph> makeGraph(const Tree& tree, const std::vector<std::uint32_t>& order, const std::uint32_t spare = 0) {
    const std::uint32_t count = std::uint32_t(order.size());
    std::vector<std::uint32_t> newIndex(count);
    for(std::uint32_t i = 0; i != count; ++i) newIndex[order[i]] = i;
    /* The scene graph reports its block size on construction; keep the benchmark output clean */
    Debug silence{nullptr};
    auto graph = std::make_unique<Data::SceneGraph>(Data::SceneGraph::IndexType(count + spare), 0, 0);
    for(std::uint32_t i = 1; i != count; ++i) {
        const std::uint32_t o = order[i];
        graph->addObjectUnsafe(Data::SceneGraph::IndexType(newIndex[tree.parents[o]]));
        const Dq local = dualFrom(&tree.rotations[4*o], &tree.positions[3*o]);
        DualQuaternion transformation;
        std::memcpy(static_cast<void*>(&transformation), &local, sizeof(Dq));
        graph->setLocalTransformation(Data::SceneGraph::IndexType(i), transformation);
        graph->setLocalScaling(Data::SceneGraph::IndexType(i), Vector3{tree.scalings[3*o + 0], tree.scalings[3*o + 1], tree.scalings[3*o + 2]});
    }
    return graph;
}

const Tree& tree(bool scaled) {
    static const Tree unitTree = makeTree(TreeSize, false);
    static const Tree scaledTree = makeTree(TreeSize, true);
    return scaled ? scaledTree : unitTree;
}

const std::vector<std::uint32_t>& order(bool scaled) {
    static const std::vector<std::uint32_t> unitOrder = preOrder(tree(false));
    static const std::vector<std::uint32_t> scaledOrder = preOrder(tree(true));
    return scaled ? scaledOrder : unitOrder;
}

void perObject(benchmark::State& state, std::uint32_t count) {
    state.SetItemsProcessed(std::int64_t(state.iterations())*count);
    state.counters["ns/object"] = benchmark::Counter(double(state.iterations())*count,
        benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void FlatLoop(benchmark::State& state) {
    const bool scaled = state.range(0);
    FlatScene s = makeFlat(tree(scaled), order(scaled));
    for(auto _: state) {
        flatUpdate(s);
        benchmark::DoNotOptimize(s.world.data());
        benchmark::ClobberMemory();
    }
    perObject(state, TreeSize);
}

void LibraryKernel(benchmark::State& state) {
    const bool scaled = state.range(0);
    KernelScene s = makeKernel(tree(scaled), order(scaled));
    for(auto _: state) {
        kernelUpdate(s);
        benchmark::DoNotOptimize(s.world.data());
        benchmark::ClobberMemory();
    }
    perObject(state, TreeSize);
}

/* The baseline variant alone, for processors without AVX2 */
void LibraryKernelSse2(benchmark::State& state) {
    const bool scaled = state.range(0);
    KernelScene s = makeKernel(tree(scaled), order(scaled));
    for(auto _: state) {
        kernelUpdate(s, Data::Implementation::sweepTransformsSse2);
        benchmark::DoNotOptimize(s.world.data());
        benchmark::ClobberMemory();
    }
    perObject(state, TreeSize);
}

/* The library: mark the whole scene dirty from the root, compute */
void SceneGraphCompute(benchmark::State& state) {
    const bool scaled = state.range(0);
    const std::unique_ptr<Data::SceneGraph> graph = makeGraph(tree(scaled), order(scaled));
    for(auto _: state) {
        graph->setDirty(0);
        graph->computeAbsoluteTransformations();
        benchmark::ClobberMemory();
    }
    perObject(state, TreeSize);
}

/* Hierarchy edits at a given scene size: a random tree of that many objects with 256 spare
   slots, edited at random places */
constexpr std::uint32_t EditSpare = 256;

std::unique_ptr<Data::SceneGraph> makeEditGraph(const std::uint32_t count) {
    const Tree t = makeTree(count, false);
    return makeGraph(t, preOrder(t), EditSpare);
}

void SceneGraphAddObject(benchmark::State& state) {
    const std::unique_ptr<Data::SceneGraph> graph = makeEditGraph(std::uint32_t(state.range(0)));
    std::mt19937 rng{5};
    std::vector<Data::Id> added;
    added.reserve(EditSpare);
    for(auto _: state) {
        if(added.size() == EditSpare) {
            /* Back to the starting size, children before their parents */
            state.PauseTiming();
            for(auto it = added.rbegin(); it != added.rend(); ++it) graph->deleteObjects(*it);
            added.clear();
            state.ResumeTiming();
        }
        added.push_back(graph->addObject(graph->idOf(Data::SceneGraph::IndexType(rng() % graph->size()))));
    }
}

void SceneGraphReparent(benchmark::State& state) {
    const std::unique_ptr<Data::SceneGraph> graph = makeEditGraph(std::uint32_t(state.range(0)));
    std::mt19937 rng{6};
    for(auto _: state) {
        /* A random object under a random new parent outside its own subtree */
        Data::SceneGraph::IndexType object, parent;
        do {
            object = Data::SceneGraph::IndexType(1 + rng() % (graph->size() - 1));
            parent = Data::SceneGraph::IndexType(rng() % graph->size());
        } while(parent >= object && parent <= object + graph->descendantsCount(object));
        benchmark::DoNotOptimize(graph->reparent(graph->idOf(object), graph->idOf(parent)));
    }
}

void SceneGraphDeleteObjects(benchmark::State& state) {
    const std::unique_ptr<Data::SceneGraph> graph = makeEditGraph(std::uint32_t(state.range(0)));
    std::mt19937 rng{7};
    std::vector<Data::Id> added;
    added.reserve(EditSpare);
    for(auto _: state) {
        if(added.empty()) {
            /* Objects to delete, added under random parents */
            state.PauseTiming();
            for(std::uint32_t i = 0; i != EditSpare; ++i)
                added.push_back(graph->addObject(graph->idOf(Data::SceneGraph::IndexType(rng() % graph->size()))));
            state.ResumeTiming();
        }
        /* Latest first, so that children go before their parents */
        graph->deleteObjects(added.back());
        added.pop_back();
    }
}

void NaiveMatrixTree(benchmark::State& state) {
    NaiveScene s = makeNaive(tree(false));
    for(auto _: state) {
        naiveUpdate(*s.nodes[0], glm::mat4{1.0f});
        benchmark::ClobberMemory();
    }
    perObject(state, TreeSize);
}

void OgreSceneNodes(benchmark::State& state) {
    const Tree& t = tree(false);
    OgreTree s{TreeSize, t.parents.data(), t.positions.data(), t.rotations.data(), t.scalings.data()};
    for(auto _: state) {
        s.update();
        benchmark::ClobberMemory();
    }
    perObject(state, TreeSize);
}

}

BENCHMARK(SceneGraphCompute)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(FlatLoop)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(LibraryKernel)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(LibraryKernelSse2)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(NaiveMatrixTree)->Unit(benchmark::kMicrosecond);
BENCHMARK(OgreSceneNodes)->Unit(benchmark::kMicrosecond);
/* 1k and 65k objects; the larger leaves room for the 256 spare slots within 65535 */
BENCHMARK(SceneGraphAddObject)->Arg(1024)->Arg(65535 - EditSpare)->Unit(benchmark::kMicrosecond);
BENCHMARK(SceneGraphReparent)->Arg(1024)->Arg(65535 - EditSpare)->Unit(benchmark::kMicrosecond);
BENCHMARK(SceneGraphDeleteObjects)->Arg(1024)->Arg(65535 - EditSpare)->Unit(benchmark::kMicrosecond);

namespace {

/* Collects ns per object of every run so the ratios can be printed after all benchmarks */
class RatioReporter: public benchmark::ConsoleReporter {
    public:
        void ReportRuns(const std::vector<Run>& runs) override {
            for(const Run& run: runs) {
                if(run.run_type != Run::RT_Iteration || run.error_occurred) continue;
                auto found = run.counters.find("ns/object");
                if(found != run.counters.end()) nsPerObject[run.benchmark_name()] = found->second.value*1.0e9;
                if(run.iterations) nsPerIteration[run.benchmark_name()] = run.cpu_accumulated_time*1.0e9/double(run.iterations);
            }
            ConsoleReporter::ReportRuns(runs);
        }

        std::map<std::string, double> nsPerObject, nsPerIteration;
};

/* Every contender has to compute the same world positions, else the comparison means nothing */
bool contendersAgree() {
    const Tree& t = tree(false);
    const std::vector<std::uint32_t>& o = order(false);
    FlatScene flat = makeFlat(t, o);
    flatUpdate(flat);
    KernelScene kernel = makeKernel(t, o);
    kernelUpdate(kernel);
    NaiveScene naive = makeNaive(t);
    naiveUpdate(*naive.nodes[0], glm::mat4{1.0f});
    OgreTree ogre{TreeSize, t.parents.data(), t.positions.data(), t.rotations.data(), t.scalings.data()};
    ogre.update();
    const std::unique_ptr<Data::SceneGraph> graph = makeGraph(t, o);
    graph->setDirty(0);
    graph->computeAbsoluteTransformations();

    bool agree = true;
    for(std::uint32_t i = 0; i < TreeSize; i += 997) {
        const std::uint32_t original = o[i];
        float a[3], b[3], c[3], e[3];
        dualTranslation(flat.world[i], a);
        dualTranslation(reinterpret_cast<const Dq&>(kernel.world[i]), b);
        const Vector3 g = graph->worldTransformation(Data::SceneGraph::IndexType(i)).translation();
        for(int k = 0; k != 3; ++k) e[k] = g[k];
        ogre.worldPosition(original, c);
        const glm::vec4& d = naive.nodes[original]->world[3];
        for(int k = 0; k != 3; ++k) {
            const float tolerance = 1.0e-3f*(1.0f + std::abs(a[k]));
            if(std::abs(a[k] - b[k]) > tolerance || std::abs(a[k] - c[k]) > tolerance || std::abs(a[k] - d[k]) > tolerance || std::abs(a[k] - e[k]) > tolerance) {
                std::printf("object %u disagrees: flat %g, kernel %g, scene graph %g, Ogre %g, naive %g\n", original, a[k], b[k], e[k], c[k], d[k]);
                agree = false;
            }
        }
    }
    return agree;
}

}

int main(int argc, char** argv) {
    if(!contendersAgree()) return 1;
    benchmark::Initialize(&argc, argv);
    if(benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();

    const auto get = [&](const char* name) {
        auto found = reporter.nsPerObject.find(name);
        return found == reporter.nsPerObject.end() ? 0.0 : found->second;
    };
    const double library = get("SceneGraphCompute/0"), flat = get("FlatLoop/0");
    const double naive = get("NaiveMatrixTree"), ogre = get("OgreSceneNodes");
    /* CPU time throughout: on a shared machine the wall clock also counts time spent descheduled */
    std::printf("\ncomputeAbsoluteTransformations() on %u objects, all dirty, CPU ns per object: library %.2f, flat loop %.2f, naive %.2f, Ogre %.2f\n",
        TreeSize, library, flat, naive, ogre);
    if(library > 0.0) {
        if(flat > 0.0) std::printf("  library / flat loop: %.3fx (target <= 1.15x)\n", library/flat);
        if(ogre > 0.0) std::printf("  Ogre / library:      %.2fx faster (target >= 8x)\n", ogre/library);
        if(naive > 0.0) std::printf("  naive / library:     %.2fx faster (target >= 1.6x)\n", naive/library);
    }
    const double kernel = get("LibraryKernel/0"), sse2 = get("LibraryKernelSse2/0");
    if(kernel > 0.0 && sse2 > 0.0 && flat > 0.0)
        std::printf("  sweep kernel on raw columns: dispatched %.2f ns (%.3fx the flat loop), SSE2 alone %.2f ns (%.3fx)\n",
            kernel, kernel/flat, sse2, sse2/flat);
    const double libraryScaled = get("SceneGraphCompute/1"), flatScaled = get("FlatLoop/1");
    if(libraryScaled > 0.0 && flatScaled > 0.0)
        std::printf("  with non-uniform scalings on a third of the objects: library %.2f, flat loop %.2f, ratio %.3fx\n",
            libraryScaled, flatScaled, libraryScaled/flatScaled);

    const auto edit = [&](const char* name, const char* label) {
        const auto small = reporter.nsPerIteration.find(std::string{name} + "/1024");
        const auto large = reporter.nsPerIteration.find(std::string{name} + "/" + std::to_string(65535 - EditSpare));
        if(small == reporter.nsPerIteration.end() || large == reporter.nsPerIteration.end()) return;
        std::printf("  %-15s %8.2f us at 1k objects, %8.2f us at 65k objects\n", label, small->second/1000.0, large->second/1000.0);
    };
    std::printf("\nHierarchy edits, CPU time per call:\n");
    edit("SceneGraphAddObject", "addObject()");
    edit("SceneGraphReparent", "reparent()");
    edit("SceneGraphDeleteObjects", "deleteObjects()");
}
