#include "RenderingPart.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <sstream>
#include <string>

#include "QuillmarshEngine/Debug.h"
#include "QuillmarshEngine/Math/Quaternion.h"
#include "QuillmarshEngine/Utils/Clock.h"

using namespace QuillmarshEngine;

namespace {

constexpr std::uint32_t MaxMeshes = 4096;
constexpr std::uint16_t MeshGroups = 8;
/* One sun of four cascades, two point lights and two spot lights; the budget takes the sun and
   both point lights, and refuses the spot lights */
constexpr Data::LightType LightTypes[]{Data::LightType::Sun, Data::LightType::Point, Data::LightType::Point, Data::LightType::Spot, Data::LightType::Spot};
constexpr std::uint32_t Lights = sizeof(LightTypes)/sizeof(LightTypes[0]);
constexpr unsigned int ShadowBudget = 8;

double median(std::vector<double> values) {
    if(values.empty()) return 0.0;
    std::sort(values.begin(), values.end());
    const std::size_t n = values.size();
    return n % 2 ? values[n/2] : (values[n/2 - 1] + values[n/2])/2.0;
}

}

std::uint32_t RenderingPart::components(const std::uint32_t room) {
    /* The camera, the lights and at least a few meshes */
    if(room < 1 + Lights + 8) return 0;
    return std::min<std::uint32_t>(room, 1 + Lights + MaxMeshes);
}

RenderingPart::RenderingPart(Data::SceneGraph& graph, const std::uint16_t firstSlot, const std::span<const Data::Id> objects, const std::uint32_t components):
    _graph{graph},
    _meshes{Data::SceneGraph::IndexType(components ? components - 1 - Lights : 0), MeshGroups},
    _views{1}, _lights{Data::SceneGraph::IndexType(Lights)},
    _enabled{components != 0 && objects.size() > 1}
{
    if(!_enabled) return;
    graph.setComponentManager(firstSlot, "mesh", &_meshes);
    graph.setComponentManager(firstSlot + 1, "view", &_views);
    graph.setComponentManager(firstSlot + 2, "light", &_lights);
    const std::size_t count = objects.size() - 1;
    const auto object = [&](std::size_t k) { return objects[1 + k % count]; };

    /* The camera rides on the first object, which the host animates */
    _camera = _views.addComponent(object(0));
    const Data::SceneGraph::IndexType view = _views.activate(_views.indexOf(_camera));
    _views.viewports()[view] = Vector4i{0, 0, 1280, 720};
    _views.projectionParams()[view] = Vector4{0.1f, 400.0f, 90.0f, 0.0f};

    for(std::uint32_t k = 0; k != Lights; ++k) {
        const Data::Id light = _lights.addComponent(object(1 + k));
        Data::SparseArray::IndexType i = _lights.setLightType(_lights.indexOf(light), LightTypes[k]);
        i = _lights.activate(i);
        _lights.colors()[i] = Color4{1.0f, 0.9f, 0.8f, 1.0f};
        _lights.parameters()[i] = Vector4{50.0f, 35.0f, 1.0f, LightTypes[k] == Data::LightType::Sun ? 120.0f : 25.0f};
        _lights.shadowParameters()[i][3] = 4.0f;
        _lightIds.push_back(light);
    }

    /* Meshes spread over the objects and groups; every tenth one skinned and every fifth in
       subgroup 1, where only the skinned ones take the identity; a few with morph weights */
    const std::uint32_t meshes = components - 1 - Lights;
    for(std::uint32_t k = 0; k != meshes; ++k) {
        const Data::Id id = _meshes.addComponent(object(k));
        Data::SparseArray::IndexType i = _meshes.indexOf(id);
        _meshes.meshes()[i] = std::uint16_t(k % 64);
        _meshes.materials()[i] = std::uint16_t(k % 13);
        _meshes.skins()[i] = k % 10 == 0 ? 1 : 0;
        if(k % 16 == 0) {
            const float weights[]{0.25f, 0.5f, 0.125f, float(k % 7)/7.0f};
            _meshes.setMorphTargetWeights(i, weights);
        }
        i = _meshes.setGroup(i, std::uint16_t(k % MeshGroups), std::uint16_t(k % 5 == 0 ? 1 : 0));
        _meshes.activate(i);
    }
}

void RenderingPart::frame(const double dt) {
    if(!_enabled) return;
    /* Refused lights warn every frame; the summary counts them and shows the first */
    std::ostringstream warnings;
    {
        Warning redirect{&warnings};
        const Utils::Clock clock;
        _meshes.update(dt);
        _views.update(dt);
        const Data::SparseArray::IndexType view = _views.indexOf(_camera);
        _views.projectionMatrices()[view] = _views.generateProjectionMatrix(view);
        _lights.update(dt);
        _lights.setupShadows(_graph, _views, _camera, ShadowBudget);
        _frameTimes.push_back(clock.elapsedMicroseconds());
    }
    const std::string text = warnings.str();
    _warningCount += std::uint32_t(std::count(text.begin(), text.end(), '\n'));
    if(_firstWarning.empty() && !text.empty()) _firstWarning = text.substr(0, text.find('\n'));
    ++_frames;
}

std::uint32_t RenderingPart::report() const {
    if(!_enabled) {
        std::printf("  rendering:  skipped, the scene graph has no room for its components\n");
        return 0;
    }
    const Data::ShadowsData& shadows = _lights.shadows();
    std::printf("  rendering:  %u mesh instances in %u groups, 1 camera, %u lights; mesh, view and light updates with the shadow setup take a median %.1f us per frame\n",
        std::uint32_t(_meshes.activeCount()), std::uint32_t(MeshGroups), Lights, median(_frameTimes));

    /* The shadow records of the last frame against the budget */
    std::uint32_t assigned[3]{}, refused[3]{};
    for(const Data::Id light: _lightIds) {
        const Data::SparseArray::IndexType i = _lights.indexOf(light);
        const std::uint8_t type = std::uint8_t(_lights.lightType(i));
        (_lights.derived()[i][2] == 1.0f ? assigned : refused)[type] += 1;
    }
    std::printf("  shadows:    %u of a budget of %u records: %u sun (%u cascades), %u point lights (2 each), %u spot lights; refused %u sun, %u point, %u spot lights\n",
        shadows.count(), ShadowBudget, assigned[2], assigned[2] ? std::uint32_t(_lights.shadowParameters()[_lights.indexOf(_lightIds[0])][3]) : 0u,
        assigned[0], assigned[1], refused[2], refused[0], refused[1]);
    std::string splits;
    for(unsigned int s = 0; s != shadows.count(); ++s) {
        if(shadows.parameters()[s].kind != Data::ShadowKind::Sun) continue;
        /* Split k of the sun whose first record is s is float 4 s + k */
        for(unsigned int k = 0; s + k != shadows.count() && shadows.owners()[s + k] == shadows.owners()[s]; ++k) {
            char buffer[32];
            std::snprintf(buffer, sizeof(buffer), " %.2f", double(shadows.splitDistances()[4*s + k]));
            splits += buffer;
        }
        break;
    }
    std::printf("              sun cascade splits:%s; %u warnings over %u frames, the first: \"%s\"\n",
        splits.c_str(), _warningCount, _frames, _firstWarning.c_str());

    /* Checks: instances against their objects' world transformations, and every cascade's
       frustum slice inside its clip volume */
    std::uint32_t failed = 0, instanceMismatches = 0;
    for(Data::SparseArray::IndexType i = 0; i != _meshes.activeCount(); ++i) {
        const Data::SparseArray::IndexType o = _graph.indexOf(_meshes.owner(i));
        const bool identity = _meshes.grouped().slot(i) % 2 == 1 && _meshes.skins()[i];
        const DualQuaternion expected = identity ? DualQuaternion{} : _graph.worldTransformation(o);
        if(!(_meshes.transforms()[i] == expected)) ++instanceMismatches;
    }
    failed += instanceMismatches != 0;
    std::printf("  check:      %u of %u mesh instances disagree with their objects' world transformations  %s\n",
        instanceMismatches, std::uint32_t(_meshes.activeCount()), instanceMismatches ? "MISMATCH" : "ok");

    const Data::ViewParams view = Data::ViewParams::from(_views, _views.indexOf(_camera));
    std::uint32_t outside = 0, corners = 0;
    for(unsigned int s = 0; s != shadows.count(); ++s) {
        if(shadows.parameters()[s].kind != Data::ShadowKind::Sun) continue;
        const Data::ShadowCameraSlice& slice = shadows.cameraSlices()[s];
        for(const float z: {slice.near, slice.far}) for(int k = 0; k != 4; ++k) {
            const float scale = view.orthographic ? 1.0f : z;
            const Vector3 local{(k & 1 ? view.right : -view.left)*scale, (k & 2 ? view.top : -view.bottom)*scale, -z};
            const Vector4 clip = shadows.projectionMatrices()[s]*(shadows.viewMatrices()[s]*Vector4{view.cameraMatrix.transformPoint(local), 1.0f});
            const float w = clip[3]*1.0001f;
            outside += !(std::abs(clip[0]) <= w && std::abs(clip[1]) <= w && std::abs(clip[2]) <= w);
            ++corners;
        }
    }
    failed += outside != 0;
    std::printf("  check:      %u of %u cascade frustum corners outside their shadow maps  %s\n",
        outside, corners, outside ? "MISMATCH" : "ok");
    return failed;
}
