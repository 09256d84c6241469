/* quillmarsh-demo: a host that builds a scene graph, animates it frame by frame and reports how
   long the world-transform update takes, checking a few objects against a recursive computation */

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "DemoArguments.h"
#include "AnimationDemo.h"
#include "QuillmarshEngine/Data/NameManager.h"
#include "QuillmarshEngine/Data/SceneGraph.h"
#include "QuillmarshEngine/Data/SparseLayer.h"
#include "QuillmarshEngine/Math/DualQuaternion.h"
#include "QuillmarshEngine/Math/Quaternion.h"
#include "QuillmarshEngine/Math/Vector3.h"
#include "QuillmarshEngine/Utils/Clock.h"
#include "RenderingPart.h"
#include "RenderDemo.h"

#include "DemoFrameCapture.h"
#include "InputTranslationDemo.h"
#include "CollisionDemo.h"
#include "SceneDemo.h"

using namespace QuillmarshEngine;

namespace {

constexpr const char* Usage =
    "Usage: quillmarsh-demo [--objects N] [--frames N] [--seed N] [--capture-frame N] [--scene FILE] [--render DIR] [--help]\n"
    "\n"
    "Builds a scene of N objects (default 4000, at most 65534) in a generated hierarchy of varied\n"
    "depth, changes the local transformations of every fourth object each frame for the given number\n"
    "of frames (default 300), computes the world transformations, and reports the median time per\n"
    "frame. A few objects' world positions are then checked against a recursive computation.\n"
    "Every object gets a name (name manager), and up to 16 extra objects spin about Y, driven by a\n"
    "manager of the host's own; both managers are updated every frame and checked at the end.\n"
    "An XR rig of its own follows head and controller poses through the input manager, and its\n"
    "label and menu texts switch from English to German halfway through the run.\n"
    "In a room of colliders of its own, a hand controller casts three rays every frame.\n"
    "\n"
    "  --objects N   number of objects below the scene root, 1 to 65534\n"
    "  --frames N    number of frames to run, 1 to 1000000\n"
    "  --seed N      seed of the generated hierarchy and motion, 0 to 4294967295 (default 1)\n"
    "  --capture-frame N        capture frame N with RenderDoc, if it is there\n"
    "  --capture-library PATH   the RenderDoc library to load (default librenderdoc.so)\n"
    "  --render DIR  render the demo scene to PNG files in DIR instead (--render DIR --help tells more)\n"
    "  --scene FILE  load a packed scene (quillmarsh-asset pack) and run the frames on it instead\n"
    "  --help        print this text\n";

/* One object as the host describes it, independently of the library: its parent (by creation
   number, 0 is the root), its motion and its scaling */
struct ObjectDescription {
    std::uint32_t parent;
    double axis[3];
    double angle, speed;
    double offset[3];
    double scaling[3];
    bool animated;
};

struct Options {
    std::uint32_t objects = 4000;
    std::uint32_t frames = 300;
    std::uint32_t seed = 1;
    std::uint32_t captureFrame = 0;
    const char* captureLibrary = QuillmarshEngine::FrameCapture::DefaultLibrary;
    const char* scene = nullptr;
};

using DemoArguments::parseNumber;

/* Returns 0 to go on, 1 on bad arguments, 2 after --help */
int parseOptions(const int argc, char** const argv, Options& options) {
    for(int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if(arg == "--help" || arg == "-h") {
            std::fputs(Usage, stdout);
            return 2;
        }
        const bool hasValue = i + 1 < argc;
        if(arg == "--objects" && hasValue) {
            if(!parseNumber(argv[++i], 1, 65534, options.objects)) {
                std::fprintf(stderr, "quillmarsh-demo: --objects expects a number from 1 to 65534, got %s\n", argv[i]);
                return 1;
            }
        } else if(arg == "--frames" && hasValue) {
            if(!parseNumber(argv[++i], 1, 1000000, options.frames)) {
                std::fprintf(stderr, "quillmarsh-demo: --frames expects a number from 1 to 1000000, got %s\n", argv[i]);
                return 1;
            }
        } else if(arg == "--seed" && hasValue) {
            if(!parseNumber(argv[++i], 0, 4294967295u, options.seed)) {
                std::fprintf(stderr, "quillmarsh-demo: --seed expects a number from 0 to 4294967295, got %s\n", argv[i]);
                return 1;
            }
        } else if(arg == "--capture-frame" && hasValue) {
            if(!parseNumber(argv[++i], 1, 1000000, options.captureFrame)) {
                std::fprintf(stderr, "quillmarsh-demo: --capture-frame expects a frame number from 1, got %s\n", argv[i]);
                return 1;
            }
        } else if(arg == "--capture-library" && hasValue) {
            options.captureLibrary = argv[++i];
        } else if(arg == "--scene" && hasValue) {
            options.scene = argv[++i];
        } else {
            std::fprintf(stderr, "quillmarsh-demo: unknown or incomplete argument %s\n\n%s", arg.c_str(), Usage);
            return 1;
        }
    }
    return 0;
}

/* Varied depth: an object continues the chain of the one before it half of the time (limbs,
   chains), hangs below any earlier object otherwise (props on bodies), and now and then starts
   a new top-level object */
std::vector<ObjectDescription> generate(const std::uint32_t count, const std::uint32_t seed) {
    std::mt19937 rng{seed};
    std::uniform_real_distribution<double> unit{-1.0, 1.0};
    std::vector<ObjectDescription> objects(count + 1);
    for(std::uint32_t i = 1; i <= count; ++i) {
        ObjectDescription& o = objects[i];
        const double choice = 0.5*(unit(rng) + 1.0);
        o.parent = i == 1 || choice < 0.04 ? 0 : choice < 0.54 ? i - 1 : std::uint32_t(rng() % i);
        double length = 0.0;
        for(double& c: o.axis) { c = unit(rng); length += c*c; }
        length = std::sqrt(length);
        for(double& c: o.axis) c = length > 1e-6 ? c/length : 0.0;
        if(length <= 1e-6) o.axis[2] = 1.0;
        o.angle = 3.0*unit(rng);
        o.speed = 2.0*unit(rng);
        for(double& c: o.offset) c = 2.0*unit(rng);
        /* Every seventh object is stretched unevenly, which its subtree's offsets inherit */
        for(int k = 0; k != 3; ++k) o.scaling[k] = i % 7 ? 1.0 : 1.0 + 0.25*k;
        o.animated = i % 4 == 1;
    }
    return objects;
}

double angleAt(const ObjectDescription& o, const std::uint32_t frame) {
    return o.animated ? o.angle + o.speed*frame/60.0 : o.angle;
}

/* Recursive world position in double precision: the parent's world rotation, scaling and
   position, with the object's offset stretched by the parent's scaling */
struct WorldD { double q[4]; double scaling[3]; double position[3]; };

void multiply(const double* a, const double* b, double* out) {
    const double r[4]{
        a[3]*b[0] + b[3]*a[0] + a[1]*b[2] - a[2]*b[1],
        a[3]*b[1] + b[3]*a[1] + a[2]*b[0] - a[0]*b[2],
        a[3]*b[2] + b[3]*a[2] + a[0]*b[1] - a[1]*b[0],
        a[3]*b[3] - a[0]*b[0] - a[1]*b[1] - a[2]*b[2]};
    std::memcpy(out, r, sizeof(r));
}

WorldD worldOf(const std::vector<ObjectDescription>& objects, const std::uint32_t i, const std::uint32_t frame) {
    if(i == 0) return WorldD{{0.0, 0.0, 0.0, 1.0}, {1.0, 1.0, 1.0}, {0.0, 0.0, 0.0}};
    const ObjectDescription& o = objects[i];
    const WorldD parent = worldOf(objects, o.parent, frame);
    const double half = angleAt(o, frame)/2.0;
    const double own[4]{o.axis[0]*std::sin(half), o.axis[1]*std::sin(half), o.axis[2]*std::sin(half), std::cos(half)};
    WorldD out;
    multiply(parent.q, own, out.q);
    const double stretched[4]{o.offset[0]*parent.scaling[0], o.offset[1]*parent.scaling[1], o.offset[2]*parent.scaling[2], 0.0};
    const double conjugate[4]{-parent.q[0], -parent.q[1], -parent.q[2], parent.q[3]};
    double a[4], b[4];
    multiply(parent.q, stretched, a);
    multiply(a, conjugate, b);
    for(int k = 0; k != 3; ++k) {
        out.position[k] = parent.position[k] + b[k];
        out.scaling[k] = parent.scaling[k]*o.scaling[k];
    }
    return out;
}

std::uint32_t depthOf(const std::vector<ObjectDescription>& objects, std::uint32_t i) {
    std::uint32_t depth = 0;
    for(; i; i = objects[i].parent) ++depth;
    return depth;
}

/* Objects in depth-first pre-order, children in creation order, the root left out */
std::vector<std::uint32_t> preOrder(const std::vector<ObjectDescription>& objects) {
    const std::uint32_t count = std::uint32_t(objects.size());
    std::vector<std::uint32_t> childStart(count + 1, 0), children(count);
    for(std::uint32_t i = 1; i < count; ++i) ++childStart[objects[i].parent + 1];
    for(std::uint32_t i = 0; i < count; ++i) childStart[i + 1] += childStart[i];
    std::vector<std::uint32_t> fill(childStart.begin(), childStart.end() - 1);
    for(std::uint32_t i = 1; i < count; ++i) children[fill[objects[i].parent]++] = i;

    std::vector<std::uint32_t> order, stack{0};
    order.reserve(count);
    while(!stack.empty()) {
        const std::uint32_t i = stack.back();
        stack.pop_back();
        if(i) order.push_back(i);
        for(std::uint32_t c = childStart[i + 1]; c-- > childStart[i]; ) stack.push_back(children[c]);
    }
    return order;
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const std::size_t n = values.size();
    return n % 2 ? values[n/2] : (values[n/2 - 1] + values[n/2])/2.0;
}

}

/* The host's own manager: objects that spin about the Y axis at their own speed, driven by the
   accumulated time of the manager's update */
struct SpinManager: Data::ComponentManager {
    explicit SpinManager(IndexType capacity): Data::ComponentManager{0}, _layout{*this} {
        setLayout(&_layout);
        allocate(capacity);
    }
    const char* name() const override { return "spin"; }
    void updateComponent(const IndexType index) override {
        Data::SceneGraph& graph = *sceneGraph();
        const Data::SceneGraph::IndexType object = graph.indexOf(owner(index));
        const float angle = float(accumulatedTime())*speed(index);
        graph.setLocalTransformation(object, DualQuaternion::from(Quaternion::rotation(angle, Vector3{0.0f, 1.0f, 0.0f}),
            graph.localTransformation(object).translation()));
        graph.setDirty(object);
    }
    float& speed(const IndexType index) { return _layout.get<1>()[index]; }

    Data::SparseArrayStaticLayout<Data::SparseLayer<Data::Id, Data::SparseLayerFlag::ObjectId>, Data::SparseLayer<float>> _layout;
};

int main(int argc, char** argv) {
    if(renderDemoRequested(argc, argv)) return renderDemo(argc, argv);
    Options options;
    if(const int result = parseOptions(argc, argv, options)) return result == 2 ? 0 : 1;
    if(options.scene) return sceneDemo(options.scene, options.frames) ? 1 : 0;

    const std::vector<ObjectDescription> objects = generate(options.objects, options.seed);
    std::uint32_t maxDepth = 0;
    double depthSum = 0.0;
    std::uint32_t deepest = 1;
    for(std::uint32_t i = 1; i < objects.size(); ++i) {
        const std::uint32_t depth = depthOf(objects, i);
        depthSum += depth;
        if(depth > maxDepth) {
            maxDepth = depth;
            deepest = i;
        }
    }

    /* The scene graph: exactly as many slots as objects, so it never grows */
    const std::uint32_t count = options.objects;
    /* Plus a few spinning objects of the host's own manager, and a name for every object */
    const std::uint32_t Spinners = std::min<std::uint32_t>(16, (65534 - count)/2);
    const std::uint32_t renderingComponents = RenderingPart::components(65535 - (count + 1 + 2*Spinners));
    Data::SceneGraph graph{Data::SceneGraph::IndexType(count + 1 + Spinners), 2 + RenderingPart::Managers, std::uint16_t(count + 1 + 2*Spinners + renderingComponents)};
    Data::NameManager names{Data::SceneGraph::IndexType(count + 1 + Spinners)};
    SpinManager spin{Data::SceneGraph::IndexType(Spinners)};
    graph.setComponentManager(0, "name", &names);
    graph.setComponentManager(1, "spin", &spin);
    std::vector<Data::Id> ids(count + 1, Data::Id{});
    /* Added parent by parent in pre-order, so that every object lands at the end and nothing
       moves: addObjectUnsafe() appends in constant time, where addObject() in creation order
       would shift every later index and the build would take time quadratic in the count */
    const std::vector<std::uint32_t> order = preOrder(objects);
    const Utils::Clock buildClock;
    for(const std::uint32_t i: order)
        ids[i] = graph.addObjectUnsafe(graph.indexOf(ids[objects[i].parent]));
    const double buildMicroseconds = buildClock.elapsedMicroseconds();

    /* Indices are final once the hierarchy is built; ids would survive later changes too */
    const auto localOf = [&](const std::uint32_t i, const std::uint32_t frame) {
        const ObjectDescription& o = objects[i];
        const Vector3 axis{float(o.axis[0]), float(o.axis[1]), float(o.axis[2])};
        const Vector3 offset{float(o.offset[0]), float(o.offset[1]), float(o.offset[2])};
        return DualQuaternion::from(Quaternion::rotation(float(angleAt(o, frame)), axis), offset);
    };
    std::vector<std::uint32_t> animated;
    for(std::uint32_t i = 1; i <= count; ++i) {
        const Data::SceneGraph::IndexType index = graph.indexOf(ids[i]);
        graph.setLocalTransformation(index, localOf(i, 0));
        graph.setLocalScaling(index, Vector3{float(objects[i].scaling[0]), float(objects[i].scaling[1]), float(objects[i].scaling[2])});
        if(objects[i].animated) animated.push_back(i);
    }
    std::vector<Data::Id> spinners;
    for(std::uint32_t k = 0; k != Spinners; ++k) {
        spinners.push_back(graph.addObjectUnsafe(0));
        graph.setLocalTransformation(graph.indexOf(spinners.back()), DualQuaternion::translation(Vector3{float(k), 0.0f, 0.0f}));
        const Data::Id component = spin.addComponent(spinners.back());
        spin.speed(spin.indexOf(component)) = 0.5f + 0.25f*float(k);
        spin.activate(spin.indexOf(component));
        names.setObjectName(spinners.back(), "spinner " + std::to_string(k));
    }
    for(std::uint32_t i = 1; i <= count; ++i) names.setObjectName(ids[i], "object " + std::to_string(i));
    names.setObjectName(Data::Id{0}, "root");
    RenderingPart rendering{graph, 2, ids, renderingComponents};
    graph.activate();
    graph.setDirty(0);
    graph.computeAbsoluteTransformations();

    /* How many world transformations one frame recomputes: the animated objects' subtrees */
    for(const std::uint32_t i: animated) graph.setDirty(graph.indexOf(ids[i]));
    std::uint32_t recomputed = 0;
    for(std::uint32_t index = 0; index != graph.size(); ++index) recomputed += graph.isDirty(Data::SceneGraph::IndexType(index));
    graph.computeAbsoluteTransformations();

    InputTranslationDemo xr{options.frames};
    CollisionDemo collisionDemo{options.seed};
    DemoFrameCapture capture{options.captureFrame, options.captureLibrary};
    std::vector<double> frameTimes, sweepTimes, managerTimes;
    frameTimes.reserve(options.frames);
    sweepTimes.reserve(options.frames);
    for(std::uint32_t frame = 1; frame <= options.frames; ++frame) {
        capture.beginFrame(frame);
        const std::uint64_t start = Utils::Clock::now();
        for(const std::uint32_t i: animated) {
            const Data::SceneGraph::IndexType index = graph.indexOf(ids[i]);
            graph.setLocalTransformation(index, localOf(i, frame));
            graph.setDirty(index);
        }
        const std::uint64_t managersStart = Utils::Clock::now();
        spin.update(1.0/60.0);
        names.update(1.0/60.0);
        const std::uint64_t sweepStart = Utils::Clock::now();
        graph.computeAbsoluteTransformations();
        const std::uint64_t end = Utils::Clock::now();
        managerTimes.push_back(double(sweepStart - managersStart)*1.0e-3);
        frameTimes.push_back(double(end - start)*1.0e-3);
        sweepTimes.push_back(double(end - sweepStart)*1.0e-3);
        xr.frame(frame);
        rendering.frame(1.0/60.0);
        collisionDemo.frame(frame);
        capture.endFrame(frame);
    }

    std::printf("\nQuillmarshEngine demo host\n");
    std::printf("  scene:      %u objects below the root, depth up to %u (mean %.1f), every 7th object scaled unevenly\n",
        count, maxDepth, depthSum/count);
    std::printf("  built in:   %.1f us (%u addObjectUnsafe calls in pre-order)\n", buildMicroseconds, count);
    std::printf("  frames:     %u, %zu animated objects each, %u world transformations recomputed per frame\n",
        options.frames, animated.size(), recomputed);
    const double sweepMedian = median(sweepTimes);
    std::printf("  per frame:  median %.1f us (local updates and dirty marking included), of which world transformations %.1f us (%.2f ns per object)\n",
        median(frameTimes), sweepMedian, recomputed ? 1000.0*sweepMedian/recomputed : 0.0);
    std::printf("              fastest frame %.1f us, slowest %.1f us\n",
        *std::min_element(frameTimes.begin(), frameTimes.end()), *std::max_element(frameTimes.begin(), frameTimes.end()));
    std::printf("  managers:   %u names, %u spinning objects; their updates take a median %.1f us per frame\n",
        std::uint32_t(names.size()), std::uint32_t(spin.size()), median(managerTimes));
    capture.report();

    /* Names resolve back to their objects, and each spinner turned by its speed times the time
       the manager accumulated */
    std::uint32_t failed = 0;
    const std::optional<Data::Id> named = names.findObject("object " + std::to_string(count));
    const bool nameOk = named && *named == ids[count] && names.objectName(ids[count]) == "object " + std::to_string(count);
    failed += !nameOk;
    std::printf("  name lookup: \"object %u\" -> %s\n", count, nameOk ? "ok" : "MISMATCH");
    for(const std::uint32_t k: {0u, Spinners - 1}) {
        if(k >= Spinners) break;
        const Quaternion rotation = graph.worldTransformation(graph.indexOf(spinners[k])).rotation();
        const double expected = std::fmod(spin.accumulatedTime()*(0.5 + 0.25*k), 2.0*3.14159265358979);
        const double actual = std::fmod(2.0*std::atan2(double(rotation.vector().y()), double(rotation.scalar())) + 4.0*3.14159265358979, 2.0*3.14159265358979);
        const double error = std::min(std::abs(actual - expected), 2.0*3.14159265358979 - std::abs(actual - expected));
        const bool ok = error < 1.0e-2;
        failed += !ok;
        std::printf("  spinner %2u: angle %.4f rad, expected %.4f  %s\n", k, actual, expected, ok ? "ok" : "MISMATCH");
    }

    failed += xr.report();
    failed += rendering.report();
    failed += collisionDemo.report();
    /* An arm of its own scene, played from animation records */
    failed += animationDemo(options.frames);

    /* The deepest object, the first and last created, and a few others, against the recursive
       computation in double precision at the last frame */
    std::vector<std::uint32_t> checked{deepest, 1, count};
    std::mt19937 rng{options.seed + 1};
    for(int k = 0; k != 4; ++k) checked.push_back(1 + std::uint32_t(rng() % count));
    std::sort(checked.begin(), checked.end());
    checked.erase(std::unique(checked.begin(), checked.end()), checked.end());
    std::printf("  check against a recursive computation, frame %u:\n", options.frames);
    for(const std::uint32_t i: checked) {
        const WorldD expected = worldOf(objects, i, options.frames);
        const Vector3 actual = graph.worldTransformation(graph.indexOf(ids[i])).translation();
        double error = 0.0, magnitude = 1.0;
        for(int k = 0; k != 3; ++k) {
            error = std::max(error, std::abs(double(actual[k]) - expected.position[k]));
            magnitude = std::max(magnitude, std::abs(expected.position[k]));
        }
        const bool ok = error <= 1.0e-4*magnitude;
        failed += !ok;
        std::printf("    object %5u  depth %3u  world position (%9.3f, %9.3f, %9.3f)  expected (%9.3f, %9.3f, %9.3f)  error %.1e  %s\n",
            i, depthOf(objects, i), double(actual[0]), double(actual[1]), double(actual[2]),
            expected.position[0], expected.position[1], expected.position[2], error, ok ? "ok" : "MISMATCH");
    }
    if(failed) {
        std::printf("  %u of %zu checked objects disagree with the recursive computation\n", failed, checked.size());
        return 1;
    }
    std::printf("  all %zu checked objects agree with the recursive computation\n", checked.size());
    return 0;
}
