#include "DemoScene.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "Primitives.h"
#include "QuillmarshEngine/Animation/Offline/AnimationBuilder.h"
#include "QuillmarshEngine/Animation/Offline/RawAnimation.h"
#include "QuillmarshEngine/Data/SkinData.h"
#include "QuillmarshEngine/Math/Matrix4.h"
#include "QuillmarshEngine/Math/Quaternion.h"
#include "QuillmarshEngine/Tools/MeshFormat.h"
#include "QuillmarshEngine/Utils/Clock.h"

namespace QuillmarshRenderer {

namespace {

constexpr std::uint32_t ArmJoints = 3;
constexpr float Spacing = 1.6f;

/* Rotation that turns the +Y axis, the pointing axis of a light, to direction */
Quaternion pointing(const Vector3& direction) {
    return Quaternion::rotation(Vector3{0.0f, 1.0f, 0.0f}, direction.normalized());
}

MeshBounds boundsOf(const Trade::MeshData& mesh) {
    const std::uint32_t id = mesh.attributeId(Trade::MeshAttribute::Position);
    const std::size_t offset = mesh.attributeOffset(id);
    const std::size_t stride = std::size_t(mesh.attributeStride(id));
    std::vector<Vector3> positions(mesh.vertexCount());
    for(std::uint32_t i = 0; i != mesh.vertexCount(); ++i)
        std::memcpy(&positions[i], mesh.vertexData().data() + offset + i*stride, sizeof(Vector3));
    const BoundingSphere sphere = BoundingSphere::fromPoints(positions);
    return MeshBounds{sphere.center(), sphere.radius()};
}

}

DemoScene::DemoScene(const std::uint32_t instances, const bool stereo, const std::uint32_t width, const std::uint32_t height):
    _meshManager{Data::SparseArray::IndexType(std::min(instances, MaxInstances) + 2), 4},
    _views{3}, _lights{3}, _animations{1},
    _stereo{stereo}, _instanceCount{std::min(instances, MaxInstances)}
{
    /* Root, ground, arm base and joints, head and eyes, lights, instances */
    const std::uint32_t objects = 1 + 1 + 1 + ArmJoints + 3 + 3 + _instanceCount;
    const std::uint32_t components = objects + 4;
    _graph.reset(new Data::SceneGraph{Data::SceneGraph::IndexType(objects), 4, std::uint16_t(std::min<std::uint32_t>(components, 65535))});
    _graph->setComponentManager(0, "mesh", &_meshManager);
    _graph->setComponentManager(1, "view", &_views);
    _graph->setComponentManager(2, "light", &_lights);
    _graph->setComponentManager(3, "animation", &_animations);

    /* Meshes: the sphere quantized, the others as floats */
    _packed.push_back(Tools::packMesh(Tools::MeshDataFlags{}, planeMesh()));
    _packed.push_back(Tools::packMesh(Tools::MeshDataFlags{}, cubeMesh()));
    _packed.push_back(Tools::packMesh(Tools::MeshDataFlag::Quantized, sphereMesh(16, 24)));
    _packed.push_back(Tools::packMesh(Tools::MeshDataFlags{}, skinnedBarMesh(ArmJoints, 6)));
    for(const Trade::MeshData& mesh: _packed) _bounds.push_back(boundsOf(mesh));
    _materials = {Color4{0.55f, 0.6f, 0.5f, 1.0f}, Color4{0.9f, 0.3f, 0.25f, 1.0f}, Color4{0.25f, 0.55f, 0.9f, 1.0f},
        Color4{0.95f, 0.8f, 0.3f, 1.0f}, Color4{0.4f, 0.8f, 0.45f, 1.0f}, Color4{0.85f, 0.85f, 0.85f, 1.0f}, Color4{0.95f, 0.55f, 0.2f, 1.0f}};

    /* The grid, around a free centre where the arm stands */
    const std::uint32_t side = std::uint32_t(std::ceil(std::sqrt(double(_instanceCount) + 16.0)));
    const float half = 0.5f*float(side - 1);
    const Data::Id ground = addObject(Data::Id{0}, DualQuaternion{});
    const float extent = Spacing*(half + 2.0f);
    _graph->setLocalScaling(_graph->indexOf(ground), Vector3{extent, 1.0f, extent});
    addInstance(ground, Plane, 0, 0);
    std::uint32_t placed = 0;
    for(std::uint32_t cell = 0; placed != _instanceCount; ++cell) {
        const float x = (float(cell % side) - half)*Spacing, z = (float(cell/side) - half)*Spacing;
        if(std::abs(x) < 2.5f && std::abs(z) < 2.5f) continue;
        const Vector3 position{x, 0.3f, z};
        const Data::Id object = addObject(Data::Id{0}, DualQuaternion::translation(position));
        _graph->setLocalScaling(_graph->indexOf(object), Vector3{0.6f, 0.6f, 0.6f});
        if(placed % 4 == 0) _spinners.push_back(Spinner{object, position, 0.5f + 0.1f*float(placed % 7)});
        const std::uint16_t mesh = placed % 2 ? Sphere : Cube;
        if(mesh == Sphere) _graph->setLocalScaling(_graph->indexOf(object), Vector3{0.3f, 0.3f, 0.3f});
        addInstance(object, mesh, std::uint16_t(1 + placed % 5), 0);
        ++placed;
    }

    /* The arm: a chain of joints, one unit apart, skinned with the inverse of their bind pose */
    const Data::Id base = addObject(Data::Id{0}, DualQuaternion{});
    std::vector<Data::Id> joints;
    std::vector<DualQuaternion> inverseBind;
    for(std::uint32_t j = 0; j != ArmJoints; ++j) {
        joints.push_back(addObject(j ? joints.back() : base, DualQuaternion::translation(Vector3{0.0f, j ? 1.0f : 0.0f, 0.0f})));
        inverseBind.push_back(DualQuaternion::translation(Vector3{0.0f, -float(j), 0.0f}));
    }
    const std::vector<Vector3> unitScalings(ArmJoints, Vector3{1.0f, 1.0f, 1.0f});
    _skins.push_back(Data::createSkinData(inverseBind, unitScalings, joints));
    addInstance(base, Arm, 6, 1);

    Animation::Offline::RawAnimation raw;
    raw.duration = 4.0f;
    raw.tracks.resize(ArmJoints);
    for(std::uint32_t j = 0; j != ArmJoints; ++j) {
        raw.tracks[j].translations = {{0.0f, Vector3{0.0f, j ? 1.0f : 0.0f, 0.0f}}};
        for(std::uint32_t k = 0; k != 17; ++k) {
            const float t = raw.duration*float(k)/16.0f;
            const float angle = 0.45f*std::sin(2.0f*3.14159265f*t/raw.duration + float(j)*0.9f);
            raw.tracks[j].rotations.push_back({t, Quaternion::rotation(angle, j % 2 ? Vector3::xAxis() : Vector3::zAxis())});
        }
    }
    const std::uint16_t animation = _animations.addAnimation(Animation::Offline::AnimationBuilder{}(raw));
    const Data::Id player = _animations.addAnimationComponent(base, animation, joints);

    /* Camera: a head with the mono view, two eyes beside it for stereo */
    const Vector3 eye{0.0f, 6.5f, 12.0f};
    _head = addObject(Data::Id{0}, DualQuaternion::fromMatrix(Matrix4::lookAt(eye, Vector3{0.0f, 0.8f, 0.0f}, Vector3::yAxis())));
    const std::int32_t w = std::int32_t(width), h = std::int32_t(height);
    const Data::Id headView = addView(_head, 0, stereo ? w/2 : w, h);
    if(stereo) {
        _eyes[0] = addView(addObject(_head, DualQuaternion::translation(Vector3{-0.06f, 0.0f, 0.0f})), 0, w/2, h);
        _eyes[1] = addView(addObject(_head, DualQuaternion::translation(Vector3{0.06f, 0.0f, 0.0f})), w/2, w/2, h);
    } else {
        _eyes[0] = _eyes[1] = headView;
    }
    _head = headView;

    /* Lights: a sun of three cascades, a spot and a point light, all with shadows */
    struct LightSetup {
        Data::LightType type;
        Vector3 position, direction;
        Color4 color;
        Vector4 parameters;
    };
    const LightSetup setups[]{
        {Data::LightType::Sun, {0.0f, 10.0f, 0.0f}, {-0.45f, -1.0f, -0.35f}, {1.0f, 0.95f, 0.85f, 0.85f}, {0.0f, 0.0f, 1.0f, 40.0f}},
        {Data::LightType::Spot, {-5.0f, 6.0f, 3.0f}, {0.55f, -1.0f, -0.35f}, {1.0f, 0.85f, 0.6f, 45.0f}, {55.0f, 35.0f, 1.0f, 25.0f}},
        {Data::LightType::Point, {4.0f, 2.5f, -1.5f}, {0.0f, 1.0f, 0.0f}, {0.5f, 0.7f, 1.0f, 10.0f}, {0.0f, 0.0f, 1.0f, 15.0f}}};
    for(const LightSetup& setup: setups) {
        const Data::Id object = addObject(Data::Id{0}, DualQuaternion::from(pointing(setup.direction), setup.position));
        const Data::Id light = _lights.addComponent(object);
        Data::SparseArray::IndexType i = _lights.setLightType(_lights.indexOf(light), setup.type);
        i = _lights.activate(i);
        _lights.colors()[i] = setup.color;
        _lights.parameters()[i] = setup.parameters;
        _lights.shadowParameters()[i] = Vector4{0.0f, 0.0f, 0.0f, setup.type == Data::LightType::Sun ? 3.0f : 0.0f};
    }
    _lights.shadows().setMapSize(1024);

    _graph->activate();
    _animations.play(player);
    _graph->setDirty(0);
    frame(0.0);
}

Data::Id DemoScene::addObject(const Data::Id parent, const DualQuaternion& local) {
    const Data::Id object = _graph->addObjectUnsafe(_graph->indexOf(parent));
    _graph->setLocalTransformation(_graph->indexOf(object), local);
    return object;
}

Data::Id DemoScene::addView(const Data::Id object, const std::int32_t x, const std::int32_t width, const std::int32_t height) {
    const Data::Id view = _views.addComponent(object);
    const Data::SparseArray::IndexType i = _views.activate(_views.indexOf(view));
    _views.viewports()[i] = Vector4i{x, 0, width, height};
    _views.projectionParams()[i] = Vector4{0.1f, 100.0f, 70.0f, 0.0f};
    return view;
}

void DemoScene::addInstance(const Data::Id object, const std::uint16_t mesh, const std::uint16_t material, const std::uint16_t skin) {
    const Data::Id id = _meshManager.addComponent(object);
    Data::SparseArray::IndexType i = _meshManager.indexOf(id);
    _meshManager.meshes()[i] = mesh;
    _meshManager.materials()[i] = material;
    _meshManager.skins()[i] = skin;
    /* One group per mesh; skinned instances in subgroup 1, where the manager leaves the
       placement to the joints */
    i = _meshManager.setGroup(i, mesh, skin ? 1 : 0);
    _meshManager.activate(i);
}

void DemoScene::frame(const double dt) {
    animate(dt);
    updateLibrary(dt);
}

void DemoScene::animate(const double dt) {
    _time += dt;
    for(const Spinner& spinner: _spinners) {
        const Data::SceneGraph::IndexType index = _graph->indexOf(spinner.object);
        const float angle = float(_time)*spinner.speed;
        const Vector3 position = spinner.position + Vector3{0.0f, 0.15f*std::sin(2.0f*angle), 0.0f};
        _graph->setLocalTransformation(index, DualQuaternion::from(Quaternion::rotation(angle, Vector3::yAxis()), position));
        _graph->setDirty(index);
    }
}

void DemoScene::updateLibrary(const double dt, LibraryTimes* const times) {
    const std::uint64_t start = Utils::Clock::now();
    _animations.update(dt);
    const std::uint64_t animated = Utils::Clock::now();
    _graph->computeAbsoluteTransformations();
    const std::uint64_t swept = Utils::Clock::now();
    _meshManager.update(dt);
    _views.update(dt);
    for(Data::SparseArray::IndexType i = 0; i != _views.activeCount(); ++i)
        _views.projectionMatrices()[i] = _views.generateProjectionMatrix(i);
    _lights.update(dt);
    const std::uint64_t updated = Utils::Clock::now();
    _lights.setupShadows(*_graph, _views, _head, ShadowBudget);
    if(times) *times = LibraryTimes{animated - start, swept - animated, updated - swept, Utils::Clock::now() - updated};
}

Frame DemoScene::renderFrame() const {
    Frame frame;
    frame.graph = _graph.get();
    frame.meshes = &_meshManager;
    frame.views = &_views;
    frame.eyes[0] = _eyes[0];
    frame.eyes[1] = _eyes[1];
    frame.eyeCount = _stereo ? 2 : 1;
    frame.lights = &_lights;
    frame.shadowView = _head;
    return frame;
}

}
