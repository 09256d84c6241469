#include "RenderDemo.h"

#include <algorithm>
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
    "  --scene FILE    render the scene of a packed data file instead\n";

bool parseNumber(const char* text, const std::uint32_t min, const std::uint32_t max, std::uint32_t& out) {
    char* end = nullptr;
    const unsigned long long value = std::strtoull(text, &end, 10);
    if(!*text || *end || text[0] == '-' || value < min || value > max) return false;
    out = std::uint32_t(value);
    return true;
}

struct Options {
    std::string directory;
    std::string scene;
    std::uint32_t width = 640, height = 360, frames = 1, instances = 120;
    bool stereo = false;
};

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
    if(!options.scene.empty()) {
        std::fprintf(stderr, "quillmarsh-demo: --scene is not available yet: this build has no reader for packed scene files\n");
        return 1;
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
    renderer->setClearColor(Color4{0.62f, 0.72f, 0.85f, 1.0f});

    std::vector<std::uint8_t> image;
    std::vector<double> times;
    for(std::uint32_t frame = 1; frame <= options.frames; ++frame) {
        const Utils::Clock clock;
        scene.frame(1.0/60.0);
        renderer->render(scene.renderFrame(), options.width, options.height, image);
        times.push_back(clock.elapsedMicroseconds()*1.0e-3);
        char name[32];
        std::snprintf(name, sizeof(name), "frame-%04u.png", frame);
        const std::string path = (std::filesystem::path{options.directory}/name).string();
        if(!writePng(path, options.width, options.height, image)) {
            std::fprintf(stderr, "quillmarsh-demo: cannot write %s\n", path.c_str());
            return 1;
        }
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
