#include "SceneDemo.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <vector>

#include <QuillmarshEngine/Data/AnimationManager.h>
#include <QuillmarshEngine/Data/LightManager.h>
#include <QuillmarshEngine/Data/MeshManager.h>
#include <QuillmarshEngine/Data/Scene.h>
#include <QuillmarshEngine/Data/ViewManager.h>
#include <QuillmarshEngine/Math/DualQuaternion.h>

using namespace QuillmarshEngine;

std::uint32_t sceneDemo(const char* const path, const std::uint32_t frames) {
    Utils::Result<std::unique_ptr<Data::Scene>> loaded = [&] {
        /* Adopting blocks prints a line per block; the summary below says it better */
        Debug silence{nullptr};
        return Data::Scene::loadFile(path);
    }();
    if(!loaded) {
        std::fprintf(stderr, "quillmarsh-demo: %s\n", loaded.error().c_str());
        return 1;
    }
    Data::Scene& scene = **loaded;
    Data::SceneGraph& graph = scene.sceneGraph();
    if(!graph.activated()) graph.activate();

    std::printf("scene %s: %u objects, %zu mesh records, %zu materials, %zu textures, %zu animations\n", path,
        graph.size() - 1u, scene.records(Data::Magic::Mesh).size(), scene.records(Data::Magic::Material).size(),
        scene.records(Data::Magic::Texture).size(), scene.records(Data::Magic::Animation).size());
    for(std::uint16_t slot = 0; slot != graph.managerCount(); ++slot)
        if(const Data::ComponentManager* const m = graph.componentManager(slot))
            std::printf("  slot %u %-11s %5u components, %u active\n", slot, m->name(), m->size(), m->activeCount());

    Data::AnimationManager* const animations = scene.manager<Data::AnimationManager>();
    Data::MeshManager* const meshes = scene.manager<Data::MeshManager>();
    Data::ViewManager* const views = scene.manager<Data::ViewManager>();
    Data::LightManager* const lights = scene.manager<Data::LightManager>();

    std::vector<double> times;
    times.reserve(frames);
    for(std::uint32_t frame = 0; frame != frames; ++frame) {
        const auto start = std::chrono::steady_clock::now();
        /* Animations write local transformations before the sweep; the rest read world ones */
        if(animations) animations->update(1.0/60.0);
        graph.computeAbsoluteTransformations();
        for(std::uint16_t slot = 0; slot != graph.managerCount(); ++slot) {
            Data::ComponentManager* const m = graph.componentManager(slot);
            if(m && m != animations) m->update(1.0/60.0);
        }
        if(views && lights && views->size()) lights->setupShadows(graph, *views, views->idOf(0), 8);
        times.push_back(std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count());
    }
    std::sort(times.begin(), times.end());
    std::printf("  frames:     %u, median %.1f us per frame\n", frames, times.empty() ? 0.0 : times[times.size()/2]);

    /* Every mesh instance sits where its object is */
    std::uint32_t failed = 0;
    if(meshes) for(Data::SparseArray::IndexType i = 0; i != meshes->activeCount(); ++i) {
        const Data::SceneGraph::IndexType object = graph.indexOf(meshes->owner(i));
        const DualQuaternion& expected = graph.worldTransformations()[object];
        const DualQuaternion& actual = meshes->transforms()[i];
        const Vector3 a = actual.translation(), e = expected.translation();
        if(!(std::abs(a.x() - e.x()) <= 1e-4f*(1.0f + std::abs(e.x())) && std::abs(a.y() - e.y()) <= 1e-4f*(1.0f + std::abs(e.y())) &&
             std::abs(a.z() - e.z()) <= 1e-4f*(1.0f + std::abs(e.z()))) && meshes->skins()[i] == 0) {
            if(failed < 5) std::printf("  mesh instance %u is not at its object's position\n", i);
            ++failed;
        }
    }
    std::printf("  %s\n", failed ? "mesh instances disagree with their objects" : "every mesh instance sits at its object");
    return failed;
}
