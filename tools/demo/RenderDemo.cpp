#include "DemoArguments.h"
#include "RenderDemo.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "DemoScene.h"
#include "PngFile.h"
#include "Renderer.h"
#include "QuillmarshEngine/Data/AnimationManager.h"
#include "QuillmarshEngine/Data/MeshData.h"
#include "QuillmarshEngine/Data/Scene.h"
#include "QuillmarshEngine/Debug.h"
#include "QuillmarshEngine/Math/Matrix4.h"
#include "QuillmarshEngine/Math/Quaternion.h"
#include "QuillmarshEngine/Utils/Clock.h"

using namespace QuillmarshEngine;
using namespace QuillmarshRenderer;

namespace {

constexpr const char* Usage =
    "Usage: quillmarsh-demo --render DIR [--width W] [--height H] [--frames N] [--instances N] [--stereo] [--scene FILE]\n"
    "\n"
    "Renders the demo scene headless with the reference renderer (OpenGL 3.3 core through EGL; Mesa's\n"
    "software rasterizer does when there is no GPU) and writes frame-0001.png, frame-0002.png, ... into\n"
    "DIR, which is created when missing. The scene: a ground plane, a grid of cubes and spheres of which\n"
    "every fourth spins, a skinned arm played by the animation manager, a sun with cascaded shadows, a\n"
    "spot and a point light with shadows. Frames are 1/60 s apart.\n"
    "\n"
    "  --width W       image width in pixels, 16 to 8192 (default 640)\n"
    "  --height H      image height in pixels, 16 to 8192 (default 360)\n"
    "  --frames N      number of frames, 1 to 10000 (default 1)\n"
    "  --instances N   cubes and spheres in the grid, 0 to 65000 (default 120)\n"
    "  --stereo        both eyes of a stereo pair side by side\n"
    "  --scene FILE    render the scene of a packed data file instead (quillmarsh-asset pack writes\n"
    "                  them): from its first view, or its first two with --stereo\n";

using DemoArguments::parseNumber;

struct Options {
    std::string directory;
    std::string scene;
    std::uint32_t width = 640, height = 360, frames = 1, instances = 120;
    bool stereo = false;
};

/* Writes frame number `frame` of the image; false after saying why */
bool writeFrame(const Options& options, const std::uint32_t frame, const std::vector<std::uint8_t>& image) {
    char name[32];
    std::snprintf(name, sizeof(name), "frame-%04u.png", frame);
    const std::string path = (std::filesystem::path{options.directory}/name).string();
    if(writePng(path, options.width, options.height, image)) return true;
    std::fprintf(stderr, "quillmarsh-demo: cannot write %s\n", path.c_str());
    return false;
}

/* A camera framing a scene's mesh instances and a sun with shadows, in a scene graph of their
   own, for scenes that bring no view or no light */
struct Studio {
    Data::SceneGraph graph{8, 2, 8};
    Data::ViewManager views{3};
    Data::LightManager lights{1};
    Data::Id eyes[2];

    Studio(const Vector3& center, const float radius, const Options& options) {
        graph.setComponentManager(0, "view", &views);
        graph.setComponentManager(1, "light", &lights);
        graph.activate();
        const std::uint32_t eyeCount = options.stereo ? 2 : 1;
        const float aspect = float(options.width/eyeCount)/float(options.height);
        /* Far enough that the sphere fits the vertical field of view of the 60-degree horizontal one */
        const float vertical = 2.0f*std::atan(std::tan(30.0f*3.1415927f/180.0f)/aspect);
        const float distance = radius/std::sin(0.5f*std::min(vertical, 60.0f*3.1415927f/180.0f))*1.1f;
        const Vector3 eye = center + Vector3{0.5f, 0.45f, 1.0f}.normalized()*distance;
        const Data::Id head = graph.addObject();
        graph.setLocalTransformation(graph.indexOf(head), DualQuaternion::fromMatrix(Matrix4::lookAt(eye, center, Vector3::yAxis())));
        for(std::uint32_t e = 0; e != eyeCount; ++e) {
            const Data::Id object = graph.addObject(head);
            const float offset = eyeCount == 2 ? (e ? 0.015f : -0.015f)*distance : 0.0f;
            graph.setLocalTransformation(graph.indexOf(object), DualQuaternion::translation(Vector3{offset, 0.0f, 0.0f}));
            eyes[e] = views.addComponent(object);
            const Data::SparseArray::IndexType i = views.activate(views.indexOf(eyes[e]));
            views.viewports()[i] = Vector4i{std::int32_t(e*options.width/eyeCount), 0, std::int32_t(options.width/eyeCount), std::int32_t(options.height)};
            views.projectionParams()[i] = Vector4{std::max(distance - 2.0f*radius, distance*0.02f), distance + 4.0f*radius, 60.0f, 0.0f};
        }
        const Data::Id sun = graph.addObject();
        graph.setLocalTransformation(graph.indexOf(sun), DualQuaternion::fromRotation(
            Quaternion::rotation(Vector3::yAxis(), Vector3{-0.4f, -1.0f, -0.3f}.normalized())));
        Data::SparseArray::IndexType i = lights.setLightType(lights.indexOf(lights.addComponent(sun)), Data::LightType::Sun);
        i = lights.activate(i);
        lights.colors()[i] = Color4{1.0f, 0.97f, 0.9f, 0.8f};
        lights.parameters()[i] = Vector4{0.0f, 0.0f, 1.0f, distance + 4.0f*radius};
        lights.shadowParameters()[i] = Vector4{0.0f, 0.0f, 0.0f, 2.0f};
        lights.shadows().setMapSize(1024);
        graph.setDirty(0);
        graph.computeAbsoluteTransformations();
        views.update(0.0);
        lights.update(0.0);
        for(Data::SparseArray::IndexType v = 0; v != views.activeCount(); ++v) views.projectionMatrices()[v] = views.generateProjectionMatrix(v);
    }
};

/* Renders the scene of a packed data file: its mesh and skin records, from its first view (its
   first two with --stereo), lit by its lights; materials get colours of a fixed palette by
   index, as the file's material records are not read here. A scene without views is framed by
   a camera of the demo's own, a scene without lights lit by a sun of the demo's own. */
int renderSceneFile(const Options& options, Renderer& renderer) {
    Utils::Result<std::unique_ptr<Data::Scene>> loaded = [&] {
        /* Adopting blocks prints a line per block */
        Debug silence{nullptr};
        return Data::Scene::loadFile(options.scene);
    }();
    if(!loaded) {
        std::fprintf(stderr, "quillmarsh-demo: cannot render the scene of %s: %s\n", options.scene.c_str(), loaded.error().c_str());
        return 1;
    }
    Data::Scene& scene = **loaded;
    Data::SceneGraph& graph = scene.sceneGraph();
    if(!graph.activated()) graph.activate();
    Data::AnimationManager* const animations = scene.manager<Data::AnimationManager>();
    Data::MeshManager* const meshes = scene.manager<Data::MeshManager>();
    Data::ViewManager* const views = scene.manager<Data::ViewManager>();
    Data::LightManager* const lights = scene.manager<Data::LightManager>();
    const std::uint32_t eyes = options.stereo ? 2 : 1;
    if(!meshes) {
        std::fprintf(stderr, "quillmarsh-demo: %s has no meshes to render\n", options.scene.c_str());
        return 1;
    }

    std::string reason;
    std::size_t k = 0;
    std::vector<BoundingSphere> bounds;
    for(const std::span<const char> payload: scene.records(Data::Magic::Mesh)) {
        bounds.push_back(Data::MeshData{payload}.boundingSphere());
        if(!renderer.addMesh(Data::MeshData{payload}, reason)) {
            std::fprintf(stderr, "quillmarsh-demo: mesh record %zu of %s is refused: %s\n", k, options.scene.c_str(), reason.c_str());
            return 1;
        }
        ++k;
    }
    k = 0;
    for(const std::span<const char> payload: scene.records(Data::Magic::Skin)) {
        if(!renderer.addSkin(payload, reason)) {
            std::fprintf(stderr, "quillmarsh-demo: skin record %zu of %s is refused: %s\n", k, options.scene.c_str(), reason.c_str());
            return 1;
        }
        ++k;
    }
    const Color4 palette[]{{0.8f, 0.8f, 0.8f, 1.0f}, {0.9f, 0.35f, 0.3f, 1.0f}, {0.3f, 0.6f, 0.9f, 1.0f}, {0.95f, 0.8f, 0.35f, 1.0f},
        {0.45f, 0.8f, 0.5f, 1.0f}, {0.75f, 0.5f, 0.85f, 1.0f}, {0.95f, 0.6f, 0.3f, 1.0f}, {0.5f, 0.8f, 0.8f, 1.0f}};
    for(std::uint32_t m = 0; m != MaxMaterials; ++m) renderer.setMaterial(std::uint16_t(m), palette[m % 8]);
    /* The first frame's instance columns place the sphere a camera of the demo's own frames */
    if(animations) animations->update(0.0);
    graph.setDirty(0);
    graph.computeAbsoluteTransformations();
    meshes->update(0.0);
    Vector3 low{1.0e30f, 1.0e30f, 1.0e30f}, high{-1.0e30f, -1.0e30f, -1.0e30f};
    for(Data::SparseArray::IndexType i = 0; i != meshes->activeCount(); ++i) {
        const std::uint16_t mesh = meshes->meshes()[i];
        if(mesh >= bounds.size()) continue;
        const Vector3& scaling = meshes->scalings()[i].scaling;
        const Vector3 center = meshes->transforms()[i].transformPointNormalized(scaling*bounds[mesh].center());
        const float radius = bounds[mesh].radius()*std::max({std::abs(scaling.x()), std::abs(scaling.y()), std::abs(scaling.z())});
        for(int c = 0; c != 3; ++c) {
            low[c] = std::min(low[c], center[c] - radius);
            high[c] = std::max(high[c], center[c] + radius);
        }
    }
    const bool empty = low.x() > high.x();
    const Vector3 center = empty ? Vector3{} : (low + high)*0.5f;
    const float radius = empty ? 1.0f : std::max(0.5f*(high - low).length(), 1.0e-3f);
    const bool ownViews = !views || views->activeCount() < eyes;
    const bool ownLights = !lights || !lights->activeCount();
    Studio studio{center, radius, options};

    Data::ViewManager* const shown = ownViews ? &studio.views : views;
    Frame frame;
    frame.graph = &graph;
    frame.meshes = meshes;
    frame.views = shown;
    frame.lights = ownLights ? &studio.lights : lights;
    frame.eyeCount = eyes;
    for(std::uint32_t e = 0; e != eyes; ++e) {
        if(ownViews) {
            frame.eyes[e] = studio.eyes[e];
        } else {
            frame.eyes[e] = views->idOf(Data::SparseArray::IndexType(e));
            views->viewports()[e] = Vector4i{std::int32_t(e*options.width/eyes), 0, std::int32_t(options.width/eyes), std::int32_t(options.height)};
        }
    }
    frame.shadowView = frame.eyes[0];
    if(!ownLights) lights->shadows().setMapSize(1024);

    std::vector<std::uint8_t> image;
    for(std::uint32_t f = 1; f <= options.frames; ++f) {
        /* The host's frame: animations, world transformations, every manager, shadows */
        if(animations) animations->update(1.0/60.0);
        graph.computeAbsoluteTransformations();
        for(std::uint16_t slot = 0; slot != graph.managerCount(); ++slot) {
            Data::ComponentManager* const m = graph.componentManager(slot);
            if(m && m != animations) m->update(1.0/60.0);
        }
        if(!ownViews) for(std::uint32_t e = 0; e != eyes; ++e)
            views->projectionMatrices()[e] = views->generateProjectionMatrix(Data::SparseArray::IndexType(e));
        if(ownLights) studio.lights.setupShadows(studio.graph, *shown, frame.shadowView, DemoScene::ShadowBudget);
        else lights->setupShadows(graph, *shown, frame.shadowView, DemoScene::ShadowBudget);
        renderer.render(frame, options.width, options.height, image);
        if(!writeFrame(options, f, image)) return 1;
    }
    const FramePlan& plan = renderer.plan();
    std::printf("QuillmarshEngine demo host, rendering %s\n", options.scene.c_str());
    std::printf("  driver:     %s\n", renderer.description().c_str());
    std::printf("  scene:      %u objects, %u mesh records, %u mesh instances, %u lights, %u shadow maps\n", graph.size() - 1u,
        renderer.meshCount(), std::uint32_t(meshes->activeCount()), lights ? std::uint32_t(lights->activeCount()) : 0u, renderer.shadowMapsDrawn());
    if(ownViews || ownLights) std::printf("              %s of the demo's own\n",
        ownViews && ownLights ? "a camera and a sun" : ownViews ? "a camera" : "a sun");
    std::printf("  last frame: %u instances drawn in %zu instanced draws, %u culled\n", plan.drawnInstances(), plan.runs().size(), plan.culledInstances());
    std::printf("  frames:     %u of %ux%u written to %s\n", options.frames, options.width, options.height, options.directory.c_str());
    return 0;
}

}

bool renderDemoRequested(const int argc, char** const argv) {
    for(int i = 1; i < argc; ++i) if(std::string{argv[i]} == "--render") return true;
    return false;
}

int renderDemo(const int argc, char** const argv) {
    Options options;
    for(int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const bool hasValue = i + 1 < argc;
        const auto number = [&](const char* name, std::uint32_t min, std::uint32_t max, std::uint32_t& out) {
            if(parseNumber(argv[++i], min, max, out)) return true;
            std::fprintf(stderr, "quillmarsh-demo: %s expects a number from %u to %u, got %s\n", name, min, max, argv[i]);
            return false;
        };
        if(arg == "--help" || arg == "-h") {
            std::fputs(Usage, stdout);
            return 0;
        } else if(arg == "--render" && hasValue) {
            options.directory = argv[++i];
        } else if(arg == "--scene" && hasValue) {
            options.scene = argv[++i];
        } else if(arg == "--width" && hasValue) {
            if(!number("--width", 16, 8192, options.width)) return 1;
        } else if(arg == "--height" && hasValue) {
            if(!number("--height", 16, 8192, options.height)) return 1;
        } else if(arg == "--frames" && hasValue) {
            if(!number("--frames", 1, 10000, options.frames)) return 1;
        } else if(arg == "--instances" && hasValue) {
            if(!number("--instances", 0, DemoScene::MaxInstances, options.instances)) return 1;
        } else if(arg == "--stereo") {
            options.stereo = true;
        } else {
            std::fprintf(stderr, "quillmarsh-demo: unknown or incomplete argument %s\n\n%s", arg.c_str(), Usage);
            return 1;
        }
    }
    std::error_code error;
    std::filesystem::create_directories(options.directory, error);
    if(error || !std::filesystem::is_directory(options.directory)) {
        std::fprintf(stderr, "quillmarsh-demo: cannot create the output directory %s%s%s\n", options.directory.c_str(),
            error ? ": " : "", error ? error.message().c_str() : "");
        return 1;
    }

    std::string reason;
    const std::unique_ptr<Renderer> renderer = Renderer::create(reason);
    if(!renderer) {
        std::fprintf(stderr, "quillmarsh-demo: cannot render: no OpenGL 3.3 core context could be made (%s)\n", reason.c_str());
        return 1;
    }

    renderer->setClearColor(Color4{0.62f, 0.72f, 0.85f, 1.0f});
    if(!options.scene.empty()) return renderSceneFile(options, *renderer);

    DemoScene scene{options.instances, options.stereo, options.width, options.height};
    for(const Trade::MeshData& mesh: scene.meshes())
        renderer->addMesh(mesh, scene.bounds()[renderer->meshCount()]);
    for(const std::vector<char>& skin: scene.skins()) {
        if(!renderer->addSkin(skin, reason)) {
            std::fprintf(stderr, "quillmarsh-demo: the scene's skin record is refused: %s\n", reason.c_str());
            return 1;
        }
    }
    for(std::size_t m = 0; m != scene.materials().size(); ++m) renderer->setMaterial(std::uint16_t(m), scene.materials()[m]);

    std::vector<std::uint8_t> image;
    std::vector<double> times;
    for(std::uint32_t frame = 1; frame <= options.frames; ++frame) {
        const Utils::Clock clock;
        scene.frame(1.0/60.0);
        renderer->render(scene.renderFrame(), options.width, options.height, image);
        times.push_back(clock.elapsedMicroseconds()*1.0e-3);
        if(!writeFrame(options, frame, image)) return 1;
    }
    std::sort(times.begin(), times.end());
    const FramePlan& plan = renderer->plan();
    std::printf("QuillmarshEngine demo host, rendering\n");
    std::printf("  driver:     %s\n", renderer->description().c_str());
    std::printf("  scene:      %u instances and a skinned arm, %s, %u shadow maps of %u texels\n", scene.instanceCount(),
        options.stereo ? "two eyes side by side" : "one view", renderer->shadowMapsDrawn(), scene.lightManager().shadows().mapSize());
    std::printf("  last frame: %u instances drawn in %zu instanced draws, %u culled\n", plan.drawnInstances(), plan.runs().size(), plan.culledInstances());
    std::printf("  frames:     %u of %ux%u written to %s, median %.1f ms per frame\n", options.frames, options.width, options.height,
        options.directory.c_str(), times[times.size()/2]);
    return 0;
}
