/* The CPU side of a frame: draw runs, culling and the uniform block records */

#include <gtest/gtest.h>

#include "FramePlan.h"
#include "QuillmarshEngine/Data/LightManager.h"
#include "QuillmarshEngine/Data/MeshManager.h"
#include "QuillmarshEngine/Data/SceneGraph.h"
#include "QuillmarshEngine/Data/ViewManager.h"
#include "QuillmarshEngine/Math/Matrix4.h"

namespace QuillmarshRenderer { namespace {

typedef Data::SparseArray::IndexType IndexType;

struct Instance {
    float x;
    std::uint16_t mesh, material, skin, group, subgroup;
};

/* Instances along X in front of a camera at the origin looking down -Z */
struct Scene {
    Data::SceneGraph graph{32, 2, 64};
    Data::MeshManager meshes{16, 3};
    Data::LightManager lights{20};

    explicit Scene(std::initializer_list<Instance> instances) {
        graph.setComponentManager(0, "mesh", &meshes);
        graph.setComponentManager(1, "light", &lights);
        graph.activate();
        for(const Instance& instance: instances) {
            const Data::Id object = graph.addObject();
            graph.setLocalTransformation(graph.indexOf(object), DualQuaternion::translation(Vector3{instance.x, 0.0f, -5.0f}));
            IndexType i = meshes.indexOf(meshes.addComponent(object));
            meshes.meshes()[i] = instance.mesh;
            meshes.materials()[i] = instance.material;
            meshes.skins()[i] = instance.skin;
            i = meshes.setGroup(i, instance.group, instance.subgroup);
            meshes.activate(i);
        }
        graph.setDirty(0);
        graph.computeAbsoluteTransformations();
        meshes.update(0.0);
    }
};

const Matrix4 Culling = Matrix4::perspectiveProjection(Vector2{2.0f, 2.0f}, 1.0f, 100.0f);
const MeshBounds Bounds[]{{{}, 0.5f}, {{}, 0.5f}};

TEST(FramePlanTest, runsSplitAtMeshSkinAndGroup) {
    Scene scene{
        /* Materials come with the instances and do not split runs */
        {0.0f, 0, 0, 0, 0, 0}, {0.1f, 0, 3, 0, 0, 0}, {0.2f, 1, 0, 0, 0, 0}, {0.3f, 1, 2, 0, 0, 0},
        {0.4f, 1, 2, 0, 1, 0},
        /* Skinned: one draw each, even for the same skin */
        {0.5f, 0, 0, 1, 2, 1}, {0.6f, 0, 0, 1, 2, 1},
        /* A skin outside subgroup 1 is no skin */
        {0.7f, 0, 0, 3, 2, 0}, {0.8f, 0, 0, 0, 2, 0}};
    FramePlan plan;
    plan.planDraws(scene.meshes, Bounds, Culling, true);
    std::vector<std::tuple<std::uint16_t, std::uint16_t, std::uint32_t>> runs;
    for(const DrawRun& run: plan.runs()) runs.emplace_back(run.mesh, run.skin, run.count);
    const std::vector<std::tuple<std::uint16_t, std::uint16_t, std::uint32_t>> expected{
        {0, 0, 2}, {1, 0, 2}, {1, 0, 1}, {0, 0, 2}, {0, 1, 1}, {0, 1, 1}};
    EXPECT_EQ(runs, expected);
    EXPECT_EQ(plan.drawnInstances(), 9u);
    /* Runs cover consecutive instances of the columns */
    for(std::size_t r = 1; r != plan.runs().size(); ++r)
        EXPECT_EQ(plan.runs()[r].first, plan.runs()[r - 1].first + plan.runs()[r - 1].count);
}

TEST(FramePlanTest, cullingLeavesOutInstancesOutsideAndBreaksRuns) {
    Scene scene{
        {-1.0f, 0, 0, 0, 0, 0}, {40.0f, 0, 0, 0, 0, 0}, {1.0f, 0, 0, 0, 0, 0},
        /* Just touching the frustum's side at depth 5, x = 5: the side's plane is at 45
           degrees, so the sphere's centre may be up to radius*sqrt(2) beyond it */
        {5.7f, 0, 0, 0, 0, 0}, {5.72f, 0, 0, 0, 0, 0},
        /* Unknown mesh */
        {0.0f, 7, 0, 0, 0, 0},
        /* Skinned instances are drawn wherever their object is */
        {-40.0f, 1, 0, 1, 0, 1}};
    FramePlan plan;
    plan.planDraws(scene.meshes, Bounds, Culling, true);
    EXPECT_EQ(plan.drawnInstances(), 4u);
    EXPECT_EQ(plan.culledInstances(), 2u);
    EXPECT_EQ(plan.missingMeshInstances(), 1u);
    ASSERT_EQ(plan.runs().size(), 3u);
    EXPECT_EQ(plan.runs()[0].count, 1u);
    EXPECT_EQ(plan.runs()[1].count, 2u);

    plan.planDraws(scene.meshes, Bounds, Culling, false);
    EXPECT_EQ(plan.drawnInstances(), 6u);
    EXPECT_EQ(plan.culledInstances(), 0u);
}

TEST(FramePlanTest, frustumOfAnInfiniteProjection) {
    /* The far plane of an infinite projection has no normal and keeps everything */
    Matrix4 infinite = Culling;
    infinite[2][2] = -1.0f;
    infinite[3][2] = -2.0f;
    const Frustum frustum = Frustum::fromMatrix(infinite);
    EXPECT_TRUE(frustum.intersects(Vector3{0.0f, 0.0f, -1.0e6f}, 1.0f));
    EXPECT_FALSE(frustum.intersects(Vector3{0.0f, 0.0f, 2.0f}, 1.0f));
    /* Reaching through the near plane at 1 */
    EXPECT_TRUE(frustum.intersects(Vector3{0.0f, 0.0f, -0.5f}, 0.6f));
    EXPECT_FALSE(frustum.intersects(Vector3{0.0f, 0.0f, -0.3f}, 0.6f));
}

TEST(FramePlanTest, lightsInGroupOrderAndShadowsBeyondTheBlockDropped) {
    Scene scene{};
    const Data::LightType types[]{Data::LightType::Sun, Data::LightType::Point, Data::LightType::Spot, Data::LightType::Point, Data::LightType::Sun};
    for(const Data::LightType type: types) {
        const Data::Id object = scene.graph.addObject();
        IndexType i = scene.lights.setLightType(scene.lights.indexOf(scene.lights.addComponent(object)), type);
        i = scene.lights.activate(i);
        scene.lights.parameters()[i] = Vector4{40.0f, 30.0f, 1.0f, 10.0f};
        /* Two suns of 4 and 6 cascades: 4 + 2 + 2 + 1 + 6 = 15 records, the last sun crosses
           the 16 of the block only if the spot's record comes before it */
        scene.lights.shadowParameters()[i] = Vector4{0.0f, 0.0f, 0.0f, type == Data::LightType::Sun ? float(4 + 2*(i % 2)) : 0.0f};
    }
    Data::ViewManager views{1};
    scene.graph.setDirty(0);
    scene.graph.computeAbsoluteTransformations();
    scene.lights.update(0.0);
    /* Records assigned by hand: the sun at 14 would need 14 + its cascades > 16 */
    FramePlan plan;
    EXPECT_EQ(plan.packLights(scene.lights), 0u);
    const LightBlock& block = plan.lightBlock();
    EXPECT_EQ(block.groupOffsets[0], 2u);
    EXPECT_EQ(block.groupOffsets[1], 3u);
    EXPECT_EQ(block.groupOffsets[2], 5u);
    for(std::uint32_t i = 0; i != 5; ++i)
        EXPECT_EQ(block.lights[i].parameters, scene.lights.parameters()[i]);
}

}}
