#include <algorithm>
#include <cstring>
#include <map>
#include <optional>
#include <random>
#include <sstream>
#include <vector>

#include <gtest/gtest.h>
#include <glm/glm.hpp>
#include <glm/gtc/quaternion.hpp>
#include <glm/gtc/matrix_transform.hpp>

#include "QuillmarshEngine/Data/MeshManager.h"
#include "QuillmarshEngine/Data/SceneGraph.h"
#include "QuillmarshEngine/Debug.h"
#include "QuillmarshEngine/Math/Quaternion.h"
#include "../Math/Printers.h"
#include "../OutputCapture.h"

namespace QuillmarshEngine { namespace Data { namespace {

typedef SparseArray::IndexType IndexType;

using Testing::Quiet;

/* A scene graph with a few objects and a mesh manager registered in slot 0 */
struct Scene {
    Quiet quiet;
    SceneGraph graph{16, 2, 64};
    MeshManager meshes;
    std::vector<Id> objects;

    explicit Scene(IndexType capacity = 8, std::uint16_t groups = 2): meshes{capacity, groups} {
        graph.setComponentManager(0, "mesh", &meshes);
        for(int i = 0; i != 4; ++i) objects.push_back(graph.addObject(Id{0}));
    }

    IndexType add(std::uint16_t group = 0, std::uint16_t subgroup = 0, bool active = true) {
        const Id id = meshes.addComponent(objects[meshes.size() % objects.size()]);
        IndexType index = meshes.setGroup(meshes.indexOf(id), group, subgroup);
        if(active) index = meshes.activate(index);
        return index;
    }
};

std::vector<float> weightsOf(const MeshManager& meshes, IndexType index) {
    const std::span<const float> w = meshes.morphTargetWeightsOf(index);
    return {w.begin(), w.end()};
}

std::vector<float> range(float first, std::size_t count) {
    std::vector<float> out(count);
    for(std::size_t i = 0; i != count; ++i) out[i] = first + float(i);
    return out;
}

/* Slices of live components never overlap and tile [0, in use); other slots hold (0, 0) */
void expectPoolConsistent(const MeshManager& meshes) {
    std::vector<std::pair<int, int>> slices;
    for(IndexType i = 0; i != meshes.capacity(); ++i) {
        const Range1Dus r = meshes.morphTargetWeights()[i];
        if(i >= meshes.size()) {
            EXPECT_EQ(r, Range1Dus{}) << "slot " << i;
            continue;
        }
        EXPECT_LE(r.min(), r.max()) << "index " << i;
        if(r.min() != r.max()) slices.emplace_back(r.min(), r.max());
        else EXPECT_EQ(r, Range1Dus{}) << "index " << i;
    }
    std::sort(slices.begin(), slices.end());
    int next = 0;
    for(const auto& s: slices) {
        EXPECT_EQ(s.first, next) << "slices overlap or leave a hole";
        next = s.second;
    }
    EXPECT_EQ(std::uint32_t(next), meshes.morphTargetWeightsInUse());
    EXPECT_LE(meshes.morphTargetWeightsInUse(), meshes.morphTargetWeightsCapacity());
    EXPECT_EQ(meshes.weights().size(), meshes.morphTargetWeightsCapacity());
}

TEST(MeshManagerTest, construct) {
    MeshManager meshes{5, 3};
    EXPECT_STREQ(meshes.name(), "mesh");
    EXPECT_EQ(meshes.grouped().groupsCount(), 3);
    EXPECT_EQ(meshes.grouped().subGroupsCount(), 2);
    /* 16 + 4 of the component manager + 8 of the grouped one + the two pool counters */
    EXPECT_EQ(meshes.headerSize(), 36u);
    EXPECT_EQ(meshes.morphTargetWeightsInUse(), 0u);
    EXPECT_EQ(meshes.morphTargetWeightsCapacity(), 0u);
    EXPECT_EQ(meshes.capacity(), 5);
    /* One bit per mesh, capacity bits rounded to a word */
    EXPECT_EQ(meshes.dirtyMeshes().bitCount(), 32u);
    MeshManager empty{0, 1};
    EXPECT_EQ(empty.dirtyMeshes().wordCount(), 0u);
    /* Instance columns share one stride */
    EXPECT_EQ(sizeof(meshes.transforms()[0]), sizeof(meshes.scalings()[0]));
}

TEST(MeshManagerTest, morphWeightSlices) {
    Scene scene;
    MeshManager& meshes = scene.meshes;
    const IndexType a = scene.add(), b = scene.add(), c = scene.add();

    /* An empty slice grows at the end of the pool; the pool grows to exactly what is used */
    meshes.setMorphTargetWeights(a, range(1.0f, 3));
    meshes.setMorphTargetWeights(b, range(10.0f, 2));
    meshes.setMorphTargetWeights(c, range(20.0f, 4));
    EXPECT_EQ(meshes.morphTargetWeights()[a], (Range1Dus{0, 3}));
    EXPECT_EQ(meshes.morphTargetWeights()[b], (Range1Dus{3, 5}));
    EXPECT_EQ(meshes.morphTargetWeights()[c], (Range1Dus{5, 9}));
    EXPECT_EQ(meshes.morphTargetWeightsCapacity(), 9u);
    expectPoolConsistent(meshes);

    /* Growing a slice in the middle shifts those behind it and zero-fills its new weights */
    meshes.setMorphTargetWeightsCount(b, 4);
    EXPECT_EQ(meshes.morphTargetWeights()[a], (Range1Dus{0, 3}));
    EXPECT_EQ(meshes.morphTargetWeights()[b], (Range1Dus{3, 7}));
    EXPECT_EQ(meshes.morphTargetWeights()[c], (Range1Dus{7, 11}));
    EXPECT_EQ(weightsOf(meshes, b), (std::vector<float>{10.0f, 11.0f, 0.0f, 0.0f}));
    EXPECT_EQ(weightsOf(meshes, c), range(20.0f, 4));
    EXPECT_EQ(meshes.morphTargetWeightsCapacity(), 11u);

    /* Shrinking keeps the first weights; the same count changes nothing */
    meshes.setMorphTargetWeightsCount(c, 2);
    meshes.setMorphTargetWeightsCount(c, 2);
    EXPECT_EQ(weightsOf(meshes, c), range(20.0f, 2));

    /* A count of 0 leaves (0, 0) and moves the slices behind down; capacity never shrinks */
    meshes.setMorphTargetWeightsCount(a, 0);
    EXPECT_EQ(meshes.morphTargetWeights()[a], Range1Dus{});
    EXPECT_EQ(meshes.morphTargetWeights()[b], (Range1Dus{0, 4}));
    EXPECT_EQ(meshes.morphTargetWeights()[c], (Range1Dus{4, 6}));
    EXPECT_EQ(weightsOf(meshes, b), (std::vector<float>{10.0f, 11.0f, 0.0f, 0.0f}));
    EXPECT_EQ(meshes.morphTargetWeightsInUse(), 6u);
    EXPECT_EQ(meshes.morphTargetWeightsCapacity(), 11u);
    expectPoolConsistent(meshes);

    /* Growing an empty slice within the capacity does not clear what the pool held there */
    const std::vector<float> tail{meshes.weights().begin() + 6, meshes.weights().begin() + 8};
    meshes.setMorphTargetWeightsCount(a, 2);
    EXPECT_EQ(meshes.morphTargetWeights()[a], (Range1Dus{6, 8}));
    EXPECT_EQ(meshes.morphTargetWeightsCapacity(), 11u);
    EXPECT_EQ(weightsOf(meshes, a), tail);
    expectPoolConsistent(meshes);
}

TEST(MeshManagerTest, copyGivesTargetASliceOfItsOwn) {
    Scene scene;
    MeshManager& meshes = scene.meshes;
    const IndexType a = scene.add(), b = scene.add();
    meshes.setMorphTargetWeights(a, range(1.0f, 3));
    meshes.setMorphTargetWeights(b, range(10.0f, 1));
    meshes.meshes()[a] = 7;
    meshes.copy(a, b);
    /* The target's own slice, resized and filled; the source keeps its own */
    EXPECT_NE(meshes.morphTargetWeights()[a], meshes.morphTargetWeights()[b]);
    EXPECT_EQ(weightsOf(meshes, a), range(1.0f, 3));
    EXPECT_EQ(weightsOf(meshes, b), range(1.0f, 3));
    EXPECT_EQ(meshes.meshes()[b], 7);
    EXPECT_EQ(meshes.morphTargetWeightsInUse(), 6u);
    expectPoolConsistent(meshes);

    /* Writing one copy leaves the other alone */
    meshes.morphTargetWeightsOf(b)[0] = 99.0f;
    EXPECT_EQ(weightsOf(meshes, a), range(1.0f, 3));

    /* A clone through the scene graph gets its own slice too */
    const Id clone = scene.graph.cloneObject(scene.objects[0], Id{0});
    const IndexType cloned = meshes.indexOf(scene.graph.componentIds(clone)[0]);
    EXPECT_EQ(weightsOf(meshes, cloned), range(1.0f, 3));
    EXPECT_EQ(meshes.morphTargetWeightsInUse(), 9u);
    expectPoolConsistent(meshes);
}

TEST(MeshManagerTest, copyReadsTheSourceAfterResizingTheTarget) {
    Scene scene;
    MeshManager& meshes = scene.meshes;
    const IndexType a = scene.add(), b = scene.add();
    /* The target's slice lies before the source's: growing it moves the source */
    meshes.setMorphTargetWeights(a, range(1.0f, 1));
    meshes.setMorphTargetWeights(b, range(5.0f, 3));
    meshes.copy(b, a);
    EXPECT_EQ(weightsOf(meshes, a), range(5.0f, 3));
    EXPECT_EQ(weightsOf(meshes, b), range(5.0f, 3));
    /* And shrinking it moves the source the other way */
    meshes.setMorphTargetWeights(b, range(40.0f, 1));
    meshes.copy(b, a);
    EXPECT_EQ(weightsOf(meshes, a), range(40.0f, 1));
    EXPECT_EQ(weightsOf(meshes, b), range(40.0f, 1));
    expectPoolConsistent(meshes);
}

TEST(MeshManagerTest, removalReleasesTheSlice) {
    Scene scene;
    MeshManager& meshes = scene.meshes;
    const IndexType a = scene.add(), b = scene.add();
    const Id idA = meshes.idOf(a), idB = meshes.idOf(b);
    meshes.setMorphTargetWeights(a, range(1.0f, 3));
    meshes.setMorphTargetWeights(b, range(10.0f, 2));
    scene.graph.deleteComponent(meshes.owner(a), 0, idA);
    EXPECT_EQ(meshes.morphTargetWeightsInUse(), 2u);
    EXPECT_EQ(weightsOf(meshes, meshes.indexOf(idB)), range(10.0f, 2));
    expectPoolConsistent(meshes);

    /* The reused slot starts without weights, and the pool does not grow for what was freed */
    const IndexType again = scene.add();
    EXPECT_EQ(meshes.idOf(again), idA);
    EXPECT_EQ(meshes.morphTargetWeights()[again], Range1Dus{});
    meshes.setMorphTargetWeights(again, range(30.0f, 3));
    EXPECT_EQ(meshes.morphTargetWeightsCapacity(), 5u);
    expectPoolConsistent(meshes);

    /* Deleting whole objects releases their slices as well */
    scene.graph.deleteObjects(scene.objects[0]);
    scene.graph.deleteObjects(scene.objects[1]);
    EXPECT_EQ(meshes.size(), 0);
    EXPECT_EQ(meshes.morphTargetWeightsInUse(), 0u);
    expectPoolConsistent(meshes);
}

TEST(MeshManagerTest, growthKeepsDirtyMeshesAndChangedGroups) {
    Scene scene{2, 40};
    MeshManager& meshes = scene.meshes;
    const IndexType a = scene.add(33, 1);
    meshes.markMeshDirty(3);
    meshes.markMeshDirty(40);
    EXPECT_EQ(meshes.dirtyMeshes().bitCount(), 64u);
    for(std::uint16_t g = 0; g != 40; ++g) EXPECT_TRUE(meshes.grouped().isGroupChanged(g)) << g;
    meshes.grouped().resetChangedGroups();
    const Id id = meshes.idOf(meshes.setGroup(a, 35, 0));

    /* Growing the pool reallocates the block */
    meshes.setMorphTargetWeights(meshes.indexOf(id), range(1.0f, 4));
    EXPECT_EQ(meshes.morphTargetWeightsCapacity(), 4u);
    /* So does growing the component capacity */
    scene.add(0, 0, false);
    scene.add(0, 0, false);
    EXPECT_GT(meshes.capacity(), 2);

    std::vector<int> dirty, changed;
    for(std::size_t m = 0; m != meshes.dirtyMeshes().bitCount(); ++m) if(meshes.isMeshDirty(std::uint16_t(m))) dirty.push_back(int(m));
    for(std::uint16_t g = 0; g != 40; ++g) if(meshes.grouped().isGroupChanged(g)) changed.push_back(g);
    EXPECT_EQ(dirty, (std::vector<int>{3, 40}));
    EXPECT_EQ(changed, (std::vector<int>{33, 35}));
    EXPECT_EQ(weightsOf(meshes, meshes.indexOf(id)), range(1.0f, 4));
}

TEST(MeshManagerTest, markMeshDirtyGrowsAndMarksEveryGroup) {
    MeshManager meshes{4, 3};
    EXPECT_FALSE(meshes.isMeshDirty(31));
    meshes.markMeshDirty(31);
    EXPECT_EQ(meshes.dirtyMeshes().bitCount(), 32u);
    meshes.grouped().resetChangedGroups();
    meshes.markMeshDirty(100);
    EXPECT_EQ(meshes.dirtyMeshes().bitCount(), 128u);
    EXPECT_TRUE(meshes.isMeshDirty(31));
    EXPECT_TRUE(meshes.isMeshDirty(100));
    EXPECT_FALSE(meshes.isMeshDirty(99));
    for(std::uint16_t g = 0; g != 3; ++g) EXPECT_TRUE(meshes.grouped().isGroupChanged(g));
}

glm::mat4 glmMatrix(const DualQuaternion& transform, const Vector3& scaling) {
    const Quaternion r = transform.rotation();
    const Vector3 t = transform.translation();
    return glm::translate(glm::mat4{1.0f}, glm::vec3{t.x(), t.y(), t.z()})*
        glm::mat4_cast(glm::quat{r.scalar(), r.x(), r.y(), r.z()})*
        glm::scale(glm::mat4{1.0f}, glm::vec3{scaling.x(), scaling.y(), scaling.z()});
}

TEST(MeshManagerTest, doUpdateCopiesWorldTransformsWithTheSkinRule) {
    Scene scene{8, 2};
    MeshManager& meshes = scene.meshes;
    SceneGraph& graph = scene.graph;
    /* A parent with a rotation, translation and uneven scaling, and a child below it */
    const Id parent = scene.objects[0];
    const Id child = graph.addObject(parent);
    graph.setLocalTransformation(graph.indexOf(parent), DualQuaternion::from(Quaternion::rotation(0.7f, Vector3{0.0f, 0.6f, 0.8f}), Vector3{1.0f, -2.0f, 3.0f}));
    graph.setLocalScaling(graph.indexOf(parent), Vector3{2.0f, 0.5f, 1.5f});
    graph.setLocalTransformation(graph.indexOf(child), DualQuaternion::from(Quaternion::rotation(-1.1f, Vector3{1.0f, 0.0f, 0.0f}), Vector3{0.5f, 0.25f, -4.0f}));
    graph.setLocalScaling(graph.indexOf(child), Vector3{1.0f, 3.0f, 1.0f});
    graph.activate();
    graph.setDirty(0);
    graph.computeAbsoluteTransformations();

    struct Setup { std::uint16_t group, subgroup, skin, material; Id owner; bool active; };
    const Setup setups[]{
        {1, 1, 0, 11, child, true},     /* subgroup 1 without a skin: copied */
        {0, 0, 3, 12, child, true},     /* skinned in subgroup 0: still copied */
        {0, 1, 5, 13, parent, true},    /* skinned in subgroup 1: identity */
        {1, 0, 0, 14, parent, true},
        {0, 0, 0, 15, parent, false},   /* inactive: untouched */
    };
    std::vector<Id> ids;
    for(const Setup& s: setups) {
        const Id id = meshes.addComponent(s.owner);
        meshes.skins()[meshes.indexOf(id)] = s.skin;
        meshes.materials()[meshes.indexOf(id)] = s.material;
        meshes.setGroup(meshes.indexOf(id), s.group, s.subgroup);
        if(s.active) meshes.activate(meshes.indexOf(id));
        ids.push_back(id);
    }
    meshes.update(0.016);

    for(std::size_t k = 0; k != ids.size(); ++k) {
        SCOPED_TRACE(k);
        const IndexType i = meshes.indexOf(ids[k]);
        const Setup& s = setups[k];
        const IndexType o = graph.indexOf(s.owner);
        const ScalingPadded& scaling = meshes.scalings()[i];
        if(!s.active) {
            EXPECT_EQ(meshes.transforms()[i], DualQuaternion{});
            EXPECT_EQ(scaling.value, 0.0f);
            continue;
        }
        EXPECT_EQ(scaling.value, float(s.material));
        if(s.subgroup == 1 && s.skin) {
            EXPECT_EQ(meshes.transforms()[i], DualQuaternion{});
            EXPECT_EQ(scaling.scaling, (Vector3{1.0f, 1.0f, 1.0f}));
        } else {
            EXPECT_EQ(std::memcmp(&meshes.transforms()[i], &graph.worldTransformation(o), sizeof(DualQuaternion)), 0);
            EXPECT_EQ(std::memcmp(&scaling.scaling, &graph.worldScaling(o), sizeof(Vector3)), 0);
        }
        for(float p: scaling.padding) EXPECT_EQ(p, 0.0f);

        /* The instance matrix against an independent composition */
        const Matrix4 m = meshes.absoluteTransformationAsMatrix(i);
        const glm::mat4 expected = glmMatrix(meshes.transforms()[i], scaling.scaling);
        for(int c = 0; c != 4; ++c) for(int r = 0; r != 4; ++r)
            EXPECT_NEAR(m[c][r], expected[c][r], 1.0e-5f) << c << " " << r;
    }

    /* The value lane follows material changes on the next frame, in every subgroup */
    for(const Id id: ids) meshes.materials()[meshes.indexOf(id)] = 42;
    meshes.update(0.016);
    for(std::size_t k = 0; k != ids.size(); ++k)
        EXPECT_EQ(meshes.scalings()[meshes.indexOf(ids[k])].value, setups[k].active ? 42.0f : 0.0f);
}

TEST(MeshManagerTest, appendRepacksSlices) {
    Quiet quiet;
    SceneGraph target{8, 1, 16}, source{8, 1, 16};
    MeshManager targetMeshes{4, 2}, sourceMeshes{4, 2};
    target.setComponentManager(0, "mesh", &targetMeshes);
    source.setComponentManager(0, "mesh", &sourceMeshes);
    const Id t = target.addObject(Id{0});
    const Id s = source.addObject(Id{0});

    const Id existing = targetMeshes.addComponent(t);
    targetMeshes.setMorphTargetWeights(targetMeshes.indexOf(existing), range(1.0f, 2));
    targetMeshes.activate(targetMeshes.indexOf(existing));
    Id sourceIds[3];
    for(int k = 0; k != 3; ++k) {
        sourceIds[k] = sourceMeshes.addComponent(s);
        const IndexType i = sourceMeshes.indexOf(sourceIds[k]);
        sourceMeshes.meshes()[i] = std::uint16_t(100 + k);
        sourceMeshes.instanceValues()[i] = 0.5f*float(k + 1);
        sourceMeshes.instanceFlags().set(i);
    }
    /* Source slices out of index order in its own pool */
    sourceMeshes.setMorphTargetWeights(sourceMeshes.indexOf(sourceIds[2]), range(30.0f, 3));
    sourceMeshes.setMorphTargetWeights(sourceMeshes.indexOf(sourceIds[0]), range(10.0f, 1));
    sourceMeshes.activate(sourceMeshes.indexOf(sourceIds[1]));
    sourceMeshes.setGroup(sourceMeshes.indexOf(sourceIds[1]), 1, 1);

    target.append(source);
    ASSERT_EQ(targetMeshes.size(), 4);
    expectPoolConsistent(targetMeshes);
    EXPECT_EQ(targetMeshes.morphTargetWeightsInUse(), 6u);
    EXPECT_EQ(weightsOf(targetMeshes, targetMeshes.indexOf(existing)), range(1.0f, 2));
    std::map<int, std::vector<float>> byMesh;
    for(IndexType i = 0; i != 4; ++i) {
        if(targetMeshes.idOf(i) == existing) continue;
        const int mesh = targetMeshes.meshes()[i];
        byMesh[mesh] = weightsOf(targetMeshes, i);
        EXPECT_EQ(targetMeshes.instanceValues()[i], 0.5f*float(mesh - 99));
        /* The flag is not carried over */
        EXPECT_FALSE(targetMeshes.instanceFlags()[i]);
    }
    EXPECT_EQ(byMesh[100], range(10.0f, 1));
    EXPECT_EQ(byMesh[101], std::vector<float>{});
    EXPECT_EQ(byMesh[102], range(30.0f, 3));
    /* The source pool is untouched */
    EXPECT_EQ(weightsOf(sourceMeshes, sourceMeshes.indexOf(sourceIds[2])), range(30.0f, 3));
    EXPECT_EQ(target.checkInvariants(), "");
}

TEST(MeshManagerTest, adoptBlock) {
    Scene scene{4, 3};
    MeshManager& meshes = scene.meshes;
    const Id a = meshes.idOf(scene.add(2, 1));
    const Id b = meshes.idOf(scene.add(0, 0));
    meshes.setMorphTargetWeights(meshes.indexOf(a), range(1.0f, 3));
    meshes.setMorphTargetWeights(meshes.indexOf(b), range(7.0f, 2));
    meshes.materials()[meshes.indexOf(b)] = 9;
    std::vector<char> bytes{meshes.data().begin(), meshes.data().end()};

    MeshManager copy{std::move(bytes)};
    EXPECT_EQ(copy.size(), 2);
    EXPECT_EQ(copy.activeCount(), 2);
    EXPECT_EQ(copy.grouped().groupsCount(), 3);
    EXPECT_EQ(copy.grouped().groupRange(2), (Utils::IndexRange{1, 2}));
    EXPECT_EQ(copy.indexOf(a), 1);
    EXPECT_EQ(copy.morphTargetWeightsCapacity(), 5u);
    EXPECT_EQ(weightsOf(copy, copy.indexOf(a)), range(1.0f, 3));
    EXPECT_EQ(weightsOf(copy, copy.indexOf(b)), range(7.0f, 2));
    EXPECT_EQ(copy.materials()[copy.indexOf(b)], 9);
    EXPECT_EQ(copy.transforms()[0], DualQuaternion{});
    expectPoolConsistent(copy);
}

/* The pool against a plain model: per component id its weights, an empty optional standing for
   a weight whose value is unspecified (an empty slice grown within the capacity) */
typedef std::map<std::uint16_t, std::vector<std::optional<float>>> WeightModel;

void checkAgainstModel(const MeshManager& meshes, const WeightModel& model) {
    expectPoolConsistent(meshes);
    ASSERT_EQ(meshes.size(), model.size());
    std::uint32_t total = 0;
    for(IndexType i = 0; i != meshes.size(); ++i) {
        const auto found = model.find(meshes.idOf(i));
        ASSERT_NE(found, model.end());
        const std::vector<float> actual = weightsOf(meshes, i);
        ASSERT_EQ(actual.size(), found->second.size()) << "id " << meshes.idOf(i).value;
        for(std::size_t k = 0; k != actual.size(); ++k)
            if(found->second[k]) {
                ASSERT_EQ(actual[k], *found->second[k]) << "id " << meshes.idOf(i).value << " weight " << k;
            }
        total += std::uint32_t(actual.size());
    }
    ASSERT_EQ(total, meshes.morphTargetWeightsInUse());
}

void runRandomized(const unsigned seed) {
    SCOPED_TRACE(seed);
    Quiet quiet;
    std::mt19937 rng{seed};
    auto pick = [&](std::uint32_t n) { return std::uint32_t(rng() % n); };
    SceneGraph graph{8, 1, 8};
    MeshManager meshes{2, 2};
    graph.setComponentManager(0, "mesh", &meshes);
    for(int i = 0; i != 3; ++i) graph.addObject(Id{0});
    WeightModel model;
    float next = 1.0f;
    auto fresh = [&](std::size_t count) {
        std::vector<float> out(count);
        for(float& w: out) w = next++;
        return out;
    };
    auto liveObject = [&] { return graph.idOf(IndexType(1 + pick(graph.size() - 1))); };

    for(int step = 0; step != 300; ++step) {
        SCOPED_TRACE(step);
        const std::uint32_t op = pick(100);
        if(op < 15 || meshes.size() == 0) {
            const Id id = meshes.addComponent(liveObject());
            model[id] = {};
        } else if(op < 35) {
            const IndexType i = IndexType(pick(meshes.size()));
            const std::vector<float> w = fresh(pick(6));
            meshes.setMorphTargetWeights(i, w);
            model[meshes.idOf(i)].assign(w.begin(), w.end());
        } else if(op < 50) {
            const IndexType i = IndexType(pick(meshes.size()));
            const std::size_t count = pick(7);
            auto& m = model[meshes.idOf(i)];
            meshes.setMorphTargetWeightsCount(i, count);
            /* A growing slice zero-fills, a slice grown from nothing keeps what the pool held */
            if(m.empty()) m.assign(count, std::nullopt);
            else m.resize(count, 0.0f);
        } else if(op < 62) {
            const IndexType from = IndexType(pick(meshes.size()));
            const IndexType to = IndexType(pick(meshes.size()));
            /* The copy re-sorts the target into the source's group: hold ids */
            const Id fromId = meshes.idOf(from), toId = meshes.idOf(to);
            meshes.copy(from, to);
            if(from != to) model[toId] = model[fromId];
        } else if(op < 70) {
            const Id id = meshes.idOf(IndexType(pick(meshes.size())));
            graph.deleteComponent(meshes.owner(meshes.indexOf(id)), 0, id);
            model.erase(id);
        } else if(op < 80) {
            const IndexType i = IndexType(pick(meshes.size()));
            if(pick(2)) meshes.activate(i);
            else meshes.deactivate(i);
        } else if(op < 88) {
            meshes.setGroup(IndexType(pick(meshes.size())), std::uint16_t(pick(2)), std::uint16_t(pick(2)));
        } else if(op < 94) {
            /* Another scene's meshes appended behind these */
            SceneGraph other{4, 1, 8};
            MeshManager otherMeshes{3, 2};
            other.setComponentManager(0, "mesh", &otherMeshes);
            const Id o = other.addObject(Id{0});
            std::vector<std::vector<float>> appended;
            for(std::uint32_t k = 0, n = 1 + pick(3); k != n; ++k) {
                const Id id = otherMeshes.addComponent(o);
                appended.push_back(fresh(pick(4)));
                otherMeshes.setMorphTargetWeights(otherMeshes.indexOf(id), appended.back());
                if(pick(2)) otherMeshes.activate(otherMeshes.indexOf(id));
            }
            const IndexType before = meshes.size();
            std::vector<std::vector<float>> byIndex;
            for(IndexType k = 0; k != otherMeshes.size(); ++k) byIndex.push_back(weightsOf(otherMeshes, k));
            graph.append(other);
            /* Appended components keep their relative order of the other manager until
               activation sorts them; match them by content, which is unique */
            for(IndexType i = 0; i != meshes.size(); ++i) {
                if(model.count(meshes.idOf(i))) continue;
                const std::vector<float> w = weightsOf(meshes, i);
                const auto found = std::find(byIndex.begin(), byIndex.end(), w);
                ASSERT_NE(found, byIndex.end());
                model[meshes.idOf(i)].assign(w.begin(), w.end());
                byIndex.erase(found);
            }
            ASSERT_TRUE(byIndex.empty());
            ASSERT_GT(meshes.size(), before);
        } else {
            const Id object = liveObject();
            const Id copy = graph.cloneObject(object, Id{0});
            const std::span<const Id> originals = graph.componentIds(object);
            const std::span<const Id> copies = graph.componentIds(copy);
            ASSERT_EQ(originals.size(), copies.size());
            for(std::size_t k = 0; k != copies.size(); ++k) model[copies[k]] = model[originals[k]];
        }
        checkAgainstModel(meshes, model);
        if(::testing::Test::HasFatalFailure()) return;
    }
}

TEST(MeshManagerTest, randomizedPoolAgainstModel) {
    for(unsigned seed = 1; seed != 25; ++seed) {
        runRandomized(seed);
        if(HasFatalFailure()) return;
    }
}

TEST(MeshManagerDeathTest, invalid) {
    Scene scene;
    scene.add();
    EXPECT_DEATH(scene.meshes.setMorphTargetWeightsCount(1, 3), "^MeshManager::setMorphTargetWeightsCount\\(\\): index 1 out of range for 1 components\n$");
    EXPECT_DEATH(scene.meshes.absoluteTransformationAsMatrix(2), "^MeshManager::absoluteTransformationAsMatrix\\(\\): index 2 out of range for 1 components\n$");
    scene.add();
    scene.meshes.setMorphTargetWeightsCount(0, 65000);
    EXPECT_DEATH(scene.meshes.setMorphTargetWeightsCount(1, 536), "^MeshManager::setMorphTargetWeightsCount\\(\\): 65536 weights in use exceed the 65535 a pool can address\n$");
    scene.meshes.setMorphTargetWeightsCount(1, 535);
    EXPECT_EQ(scene.meshes.morphTargetWeights()[1], (Range1Dus{65000, 65535}));
    MeshManager unregistered{1, 1};
    EXPECT_DEATH(unregistered.doUpdate(), "^MeshManager::doUpdate\\(\\): the manager is not registered with a scene graph\n$");
    EXPECT_DEATH((MeshManager{4, 0}), "^SparseArrayGrouped::SparseArrayGrouped\\(\\): At least one item group and subgroup is required\n$");
}

}}}
