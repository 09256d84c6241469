#include <array>
#include <cmath>
#include <cstring>
#include <map>
#include <random>
#include <sstream>
#include <vector>

#include <gtest/gtest.h>

#include "QuillmarshEngine/Data/ComponentManager.h"
#include "QuillmarshEngine/Data/Implementation/TransformSweep.h"
#include "QuillmarshEngine/Data/SceneGraph.h"
#include "QuillmarshEngine/Data/SparseLayer.h"
#include "QuillmarshEngine/Debug.h"
#include "../AllocationCounter.h"

namespace QuillmarshEngine { namespace Data { namespace {

using IndexType = SparseArray::IndexType;

/* A manager with only the owner column that records what the scene graph asks of it: the ids
   it deletes (in order, from the layout's destroy hook, which runs once the element is out of
   the live range, so that onDelete may re-enter the scene graph) and the scene activations */
struct TestManager: ComponentManager {
    explicit TestManager(IndexType capacity = 8): ComponentManager{0}, _layout{*this} {
        setLayout(&_layout);
        allocate(capacity);
    }

    const char* name() const override { return "test"; }
    void updateComponent(IndexType) override {}
    void activateInScene(Utils::IndexRange range) override {
        ++activations;
        ComponentManager::activateInScene(range);
    }
    void deactivateInScene(Utils::IndexRange range) override {
        ++deactivations;
        ComponentManager::deactivateInScene(range);
    }

    /* Owner hooks, called by the layout */
    void layerDestroy(IndexType index) {
        const Id id = idOf(index);
        deleted.push_back(id);
        if(onDelete) onDelete(id);
    }

    std::vector<Id> deleted;
    int activations = 0, deactivations = 0;
    Function<void(Id)> onDelete;
    SparseArrayStaticLayout<SparseLayer<Id, SparseLayerFlag::ObjectId>, SparseLayerOwner<TestManager>> _layout;
};

/* Plain rotation + translation + scaling, the reference form the tests compute with; it shares
   no code with the library's dual-quaternion composition */
struct Quat { float x, y, z, w; };
struct Vec { float x, y, z; };
struct Rts { Quat r; Vec t; Vec s; };

Quat mul(const Quat& a, const Quat& b) {
    return {a.w*b.x + a.x*b.w + a.y*b.z - a.z*b.y,
            a.w*b.y - a.x*b.z + a.y*b.w + a.z*b.x,
            a.w*b.z + a.x*b.y - a.y*b.x + a.z*b.w,
            a.w*b.w - a.x*b.x - a.y*b.y - a.z*b.z};
}
Quat conj(const Quat& q) { return {-q.x, -q.y, -q.z, q.w}; }
Vec rotate(const Quat& q, const Vec& v) {
    const Quat r = mul(mul(q, Quat{v.x, v.y, v.z, 0}), conj(q));
    return {r.x, r.y, r.z};
}

DualQuaternion toDq(const Quat& r, const Vec& t) {
    const Quat d = mul(Quat{t.x*0.5f, t.y*0.5f, t.z*0.5f, 0}, r);
    DualQuaternion out;
    float f[8]{r.x, r.y, r.z, r.w, d.x, d.y, d.z, d.w};
    std::memcpy(&out, f, sizeof f);
    return out;
}
void fromDq(const DualQuaternion& dq, Quat& r, Vec& t) {
    float f[8];
    std::memcpy(f, &dq, sizeof f);
    r = {f[0], f[1], f[2], f[3]};
    const Quat tt = mul(Quat{f[4]*2, f[5]*2, f[6]*2, f[7]*2}, conj(r));
    t = {tt.x, tt.y, tt.z};
}
Vector3 toV(const Vec& v) { return Vector3{v.x, v.y, v.z}; }
Vec fromV(const Vector3& v) {
    Vec out;
    std::memcpy(&out, &v, sizeof out);
    return out;
}

Quat axisAngle(float ax, float ay, float az, float angle) {
    const float l = std::sqrt(ax*ax + ay*ay + az*az);
    const float s = std::sin(angle*0.5f)/l;
    return {ax*s, ay*s, az*s, std::cos(angle*0.5f)};
}

/* World of a child from its parent's world: rotations compose, the parent's scaling stretches
   the child's offset but not its orientation */
Rts compose(const Rts& p, const Rts& c) {
    const Vec st{c.t.x*p.s.x, c.t.y*p.s.y, c.t.z*p.s.z};
    const Vec rt = rotate(p.r, st);
    return {mul(p.r, c.r), {p.t.x + rt.x, p.t.y + rt.y, p.t.z + rt.z}, {p.s.x*c.s.x, p.s.y*c.s.y, p.s.z*c.s.z}};
}

::testing::AssertionResult near(float a, float b, float tolerance = 2e-4f) {
    if(std::abs(a - b) <= tolerance*std::max(1.0f, std::max(std::abs(a), std::abs(b)))) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << a << " vs " << b;
}

::testing::AssertionResult worldMatches(const SceneGraph& g, IndexType index, const Rts& expected) {
    Quat r;
    Vec t;
    fromDq(g.worldTransformation(index), r, t);
    const Vec s = fromV(g.worldScaling(index));
    const float got[]{r.x, r.y, r.z, r.w, t.x, t.y, t.z, s.x, s.y, s.z};
    const float want[]{expected.r.x, expected.r.y, expected.r.z, expected.r.w, expected.t.x, expected.t.y, expected.t.z, expected.s.x, expected.s.y, expected.s.z};
    for(int i = 0; i != 10; ++i) if(!near(got[i], want[i]))
        return ::testing::AssertionFailure() << "index " << index << " component " << i << ": " << got[i] << " vs " << want[i];
    return ::testing::AssertionSuccess();
}

/* Silences the debug line printed after every growth, and growth warnings the test does not
   look at */
struct Quiet {
    std::ostringstream out, warnings;
    Debug redirect{&out};
    Warning redirectWarnings{&warnings};
};

std::size_t expectedBlockSize(std::size_t capacity, std::size_t managers, std::size_t components) {
    return 24 + 4*capacity + 52*capacity + 12*managers + ((2*capacity + 5) & ~std::size_t{3}) + 3*components;
}

TEST(SceneGraphTest, construct) {
    std::ostringstream out;
    {
        Debug redirect{&out};
        SceneGraph g{10, 3, 7};
        EXPECT_EQ(g.size(), 1);
        EXPECT_EQ(g.capacity(), 10);
        EXPECT_EQ(g.idOf(0), Id(0));
        EXPECT_EQ(g.descendantsCount(0), 0);
        EXPECT_EQ(g.managerCount(), 3);
        EXPECT_EQ(g.componentCapacity(), 7);
        EXPECT_EQ(g.componentCount(), 0);
        EXPECT_EQ(g.data().size(), expectedBlockSize(10, 3, 7));
        EXPECT_EQ(g.checkInvariants(), "");
        /* Header tail at offset 16 */
        std::uint16_t tail[4];
        std::memcpy(tail, g.data().data() + 16, 8);
        EXPECT_EQ(tail[0], 3);
        EXPECT_EQ(tail[1], 0);
        EXPECT_EQ(tail[2], 7);
        EXPECT_EQ(tail[3], 0);
        EXPECT_EQ(g.headerSize(), 24u);
        /* Identity everywhere, unit scalings; free slots are read through the columns, the
           index accessors expect live objects */
        EXPECT_EQ(std::memcmp(&g.worldTransformations()[5], &g.worldTransformation(0), sizeof(DualQuaternion)), 0);
        EXPECT_TRUE(worldMatches(g, 0, Rts{{0, 0, 0, 1}, {0, 0, 0}, {1, 1, 1}}));
        EXPECT_EQ(fromV(g.localScalings()[9]).z, 1.0f);

        SceneGraph one{1, 0, 0};
        EXPECT_EQ(one.capacity(), 1);
        EXPECT_EQ(one.size(), 1);
        EXPECT_EQ(one.checkInvariants(), "");
    }
    EXPECT_EQ(out.str(), "Create scenegraph with 0 / 10 objects, " + std::to_string(expectedBlockSize(10, 3, 7)) + " bytes\n"
        "Create scenegraph with 0 / 1 objects, " + std::to_string(expectedBlockSize(1, 0, 0)) + " bytes\n");
}

TEST(SceneGraphTest, addObjectKeepsPreOrder) {
    Quiet quiet;
    SceneGraph g{16, 0, 0};
    const Id a = g.addObject(0);
    EXPECT_EQ(g.descendantsCount(0), 1);
    EXPECT_EQ(g.childrenCount(0), 1);
    /* A direct child of the root is changed but not dirty, a grandchild is dirty */
    EXPECT_FALSE(g.isDirty(g.indexOf(a)));
    EXPECT_TRUE(g.isChanged(g.indexOf(a)));
    const Id b = g.addObject(0);
    const Id a1 = g.addObject(a);
    EXPECT_TRUE(g.isDirty(g.indexOf(a1)));
    const Id a2 = g.addObject(a);
    const Id a11 = g.addObject(a1);
    /* Pre-order: root, a, a1, a11, a2, b */
    const Id expected[]{0, a, a1, a11, a2, b};
    for(IndexType i = 0; i != 6; ++i) EXPECT_EQ(g.idOf(i), expected[i]) << i;
    EXPECT_EQ(g.parentIndex(g.indexOf(a11)), g.indexOf(a1));
    EXPECT_EQ(g.parentIndex(g.indexOf(a2)), g.indexOf(a));
    EXPECT_EQ(g.parentIndex(g.indexOf(b)), 0);
    EXPECT_EQ(g.descendantsCount(g.indexOf(a)), 3);
    EXPECT_EQ(g.childrenCount(g.indexOf(a)), 2);
    EXPECT_EQ(g.checkInvariants(), "");

    EXPECT_TRUE(g.isParent(a, a1));
    EXPECT_FALSE(g.isParent(a, a11));
    EXPECT_TRUE(g.isAncestor(a, a11));
    EXPECT_FALSE(g.isAncestor(a11, a11));
    EXPECT_FALSE(g.isAncestor(a1, a2));
    for(IndexType k = 1; k != g.size(); ++k) EXPECT_TRUE(g.isAncestor(IndexType(0), k));
}

TEST(SceneGraphTest, isParentReadsTheParentField) {
    Quiet quiet;
    SceneGraph g{4, 0, 0};
    const Id a = g.addObject(0);
    const Id a1 = g.addObject(a);
    /* The root's parent field is 0, so the root is its own parent by this test */
    EXPECT_TRUE(g.isParent(Id(0), Id(0)));
    EXPECT_TRUE(g.isParent(IndexType(0), IndexType(0)));
    EXPECT_TRUE(g.isParent(Id(0), a));
    EXPECT_FALSE(g.isParent(a, Id(0)));
    EXPECT_FALSE(g.isParent(Id(0), a1));
    EXPECT_TRUE(g.isParent(a, a1));
}

TEST(SceneGraphTest, addObjectUnsafeInPreOrder) {
    Quiet quiet;
    SceneGraph g{8, 0, 0};
    const Id a = g.addObjectUnsafe(0);
    const Id a1 = g.addObjectUnsafe(1);
    const Id a11 = g.addObjectUnsafe(2);
    const Id b = g.addObjectUnsafe(0);
    EXPECT_EQ(g.indexOf(b), 4);
    EXPECT_EQ(g.descendantsCount(g.indexOf(a)), 2);
    EXPECT_EQ(g.descendantsCount(0), 4);
    EXPECT_TRUE(g.isParent(a1, a11));
    EXPECT_EQ(g.checkInvariants(), "");
}

TEST(SceneGraphTest, addObjectGrowsAndKeepsComponentRuns) {
    Quiet quiet;
    SceneGraph g{2, 1, 4};
    const Id a = g.addObject(0);
    g.addComponent(a, 0, 11);
    g.addComponent(0, 0, 10);
    std::ostringstream warnings;
    Id b;
    {
        Warning redirect{&warnings};
        b = g.addObject(a);
    }
    EXPECT_EQ(warnings.str(), "SceneGraph::addObject(): on the fly allocation was required\n");
    EXPECT_EQ(g.capacity(), 2 + 64);
    EXPECT_EQ(g.componentCapacity(), 4);
    EXPECT_EQ(g.checkInvariants(), "");
    /* A fresh id gets an empty run at the end of the list, not one inside another's */
    EXPECT_TRUE(g.componentIds(b).empty());
    g.addComponent(b, 0, 12);
    EXPECT_EQ(std::vector<Id>(g.componentIds(a).begin(), g.componentIds(a).end()), std::vector<Id>{11});
    EXPECT_EQ(std::vector<Id>(g.componentIds(b).begin(), g.componentIds(b).end()), std::vector<Id>{12});
    EXPECT_EQ(std::vector<Id>(g.componentIds(0).begin(), g.componentIds(0).end()), std::vector<Id>{10});
    EXPECT_EQ(g.checkInvariants(), "");
}

TEST(SceneGraphTest, componentList) {
    Quiet quiet;
    SceneGraph g{4, 2, 2};
    const Id a = g.addObject(0), b = g.addObject(0);
    g.addComponent(b, 1, 5);
    g.addComponent(a, 0, 6);
    std::ostringstream warnings;
    {
        Warning redirect{&warnings};
        g.addComponent(a, 1, 7);
    }
    EXPECT_EQ(warnings.str(), "SceneGraph::addComponent(): on the fly allocation was required\n");
    EXPECT_EQ(g.componentCount(), 3);
    EXPECT_EQ(std::vector<Id>(g.componentIds(a).begin(), g.componentIds(a).end()), (std::vector<Id>{6, 7}));
    EXPECT_EQ(std::vector<std::uint8_t>(g.componentManagerIndices(a).begin(), g.componentManagerIndices(a).end()), (std::vector<std::uint8_t>{0, 1}));
    /* Growth on demand: the edge case of a full list leaves 63 spare after the insertion, and
       64 spare objects */
    EXPECT_EQ(g.componentCapacity(), 2 + 64);
    EXPECT_EQ(g.componentCapacity() - g.componentCount(), 63);
    EXPECT_EQ(g.capacity() - g.size(), 64);
    EXPECT_EQ(g.checkInvariants(), "");
    /* Ids the growth created start with empty runs at the end of the list */
    const Id fresh = g.addObject(b);
    EXPECT_TRUE(g.componentIds(fresh).empty());
    g.addComponent(fresh, 0, 9);
    EXPECT_EQ(std::vector<Id>(g.componentIds(fresh).begin(), g.componentIds(fresh).end()), (std::vector<Id>{9}));
    EXPECT_EQ(std::vector<Id>(g.componentIds(b).begin(), g.componentIds(b).end()), (std::vector<Id>{5}));
    EXPECT_TRUE(g.removeComponent(fresh, 0, 9));
    EXPECT_EQ(g.checkInvariants(), "");

    EXPECT_FALSE(g.removeComponent(a, 0, 7));
    EXPECT_TRUE(g.removeComponent(a, 0, 6));
    EXPECT_EQ(std::vector<Id>(g.componentIds(a).begin(), g.componentIds(a).end()), (std::vector<Id>{7}));
    EXPECT_EQ(std::vector<Id>(g.componentIds(b).begin(), g.componentIds(b).end()), (std::vector<Id>{5}));
    g.addComponent(a, 0, 8);
    g.deleteComponents(1);
    EXPECT_EQ(g.componentCount(), 1);
    EXPECT_TRUE(g.componentIds(b).empty());
    EXPECT_EQ(std::vector<Id>(g.componentIds(a).begin(), g.componentIds(a).end()), (std::vector<Id>{8}));
    EXPECT_EQ(g.checkInvariants(), "");

    /* Spare room in both lists: nothing changes even though 64 exceeds the spare counts */
    const std::size_t bytes = g.data().size();
    g.ensureAdditionalCapacityOf(0, 0, 64);
    g.ensureAdditionalCapacityOf(3, 3, 64);
    EXPECT_EQ(g.data().size(), bytes);
    /* Requests are spare counts after the call */
    g.ensureAdditionalCapacityOf(100, 0, 10);
    EXPECT_EQ(g.capacity() - g.size(), 100);
    EXPECT_EQ(g.componentCapacity() - g.componentCount(), 65);
    EXPECT_EQ(g.data().size(), expectedBlockSize(g.capacity(), 2, g.componentCapacity()));
    EXPECT_EQ(std::vector<Id>(g.componentIds(a).begin(), g.componentIds(a).end()), (std::vector<Id>{8}));
    EXPECT_EQ(g.checkInvariants(), "");
}

TEST(SceneGraphTest, managersAndActivation) {
    Quiet quiet;
    SceneGraph g{4, 3, 4};
    TestManager first, second;
    g.setComponentManager(0, "elevenchars", &first);
    g.setComponentManager(2, "mesh", &second);
    EXPECT_EQ(g.componentManagerName(0), "elevenchars");
    EXPECT_EQ(g.componentManagerName(1), "");
    EXPECT_EQ(g.componentManager(2), &second);
    EXPECT_EQ(first.sceneGraph(), &g);
    EXPECT_EQ(second.sceneGraph(), &g);
    EXPECT_EQ(second.managerIndex(), 2);
    /* Replacing detaches the previous manager */
    TestManager third;
    g.setComponentManager(0, {}, &third);
    EXPECT_EQ(first.sceneGraph(), nullptr);
    EXPECT_EQ(third.sceneGraph(), &g);
    EXPECT_EQ(third.managerIndex(), 0);
    EXPECT_EQ(g.componentManagerName(0), "elevenchars");

    EXPECT_FALSE(g.activated());
    g.activate();
    EXPECT_TRUE(g.activated());
    EXPECT_EQ(third.activations, 1);
    EXPECT_EQ(second.activations, 1);
    EXPECT_EQ(first.activations, 0);
    g.deactivate();
    EXPECT_FALSE(g.activated());
    EXPECT_EQ(second.deactivations, 1);

    /* Names live in the block */
    std::vector<char> bytes(g.data().begin(), g.data().end());
    SceneGraph copy{std::move(bytes)};
    EXPECT_EQ(copy.componentManagerName(2), "mesh");
    EXPECT_EQ(copy.componentManager(2), nullptr);
}

TEST(SceneGraphTest, reparent) {
    Quiet quiet;
    SceneGraph g{16, 0, 0};
    const Id a = g.addObject(0), b = g.addObject(0);
    const Id a1 = g.addObject(a), a2 = g.addObject(a), a3 = g.addObject(a);
    const Id a11 = g.addObject(a1);

    /* To the current parent: counts stay, the subtree goes behind its last sibling */
    const IndexType sameParentIndex = g.reparent(a1, a);
    EXPECT_EQ(sameParentIndex, g.indexOf(a1));
    EXPECT_EQ(g.checkInvariants(), "");
    EXPECT_EQ(g.idOf(IndexType(g.indexOf(a3) + 1)), a1);
    EXPECT_EQ(g.idOf(IndexType(g.indexOf(a1) + 1)), a11);
    EXPECT_EQ(g.descendantsCount(g.indexOf(a)), 4);
    EXPECT_EQ(g.childrenCount(g.indexOf(a)), 3);

    /* Between branches under a common ancestor: the ancestor keeps its count */
    const IndexType newIndex = g.reparent(a1, a2);
    EXPECT_EQ(g.checkInvariants(), "");
    EXPECT_EQ(newIndex, g.indexOf(a1));
    EXPECT_TRUE(g.isParent(a2, a1));
    EXPECT_EQ(g.descendantsCount(g.indexOf(a)), 4);
    EXPECT_EQ(g.descendantsCount(g.indexOf(a2)), 2);

    /* Forward across the tree, then back up to the root */
    g.reparent(a2, b);
    EXPECT_EQ(g.checkInvariants(), "");
    EXPECT_EQ(g.descendantsCount(g.indexOf(b)), 3);
    EXPECT_EQ(g.descendantsCount(g.indexOf(a)), 1);
    EXPECT_TRUE(g.isAncestor(b, a11));
    g.reparent(a11, 0);
    EXPECT_EQ(g.checkInvariants(), "");
    EXPECT_EQ(g.indexOf(a11), g.size() - 1);
    EXPECT_EQ(g.parentIndex(g.indexOf(a11)), 0);
}

TEST(SceneGraphTest, deleteObjects) {
    Quiet quiet;
    SceneGraph g{16, 2, 8};
    TestManager meshes, lights;
    g.setComponentManager(0, "mesh", &meshes);
    g.setComponentManager(1, "light", &lights);
    const Id a = g.addObject(0), b = g.addObject(0);
    const Id a1 = g.addObject(a), a2 = g.addObject(a);
    const Id b1 = g.addObject(b);
    const Id meshA = meshes.addComponent(a);
    const Id lightA = lights.addComponent(a);
    const Id meshA2 = meshes.addComponent(a2);
    const Id meshB1 = meshes.addComponent(b1);

    std::vector<std::pair<int, int>> deletedComponents;
    std::vector<Id> deletedObjects;
    g.setComponentDeletedCallback([&](std::uint8_t manager, Id component) { deletedComponents.push_back({manager, component}); });
    g.setObjectsDeletedCallback([&](std::span<const Id> ids) { deletedObjects.assign(ids.begin(), ids.end()); });

    g.deleteObjects(a);
    EXPECT_EQ(g.checkInvariants(), "");
    EXPECT_EQ(g.size(), 3);
    /* In index order, each object's components last to first */
    EXPECT_EQ(deletedComponents, (std::vector<std::pair<int, int>>{{1, lightA}, {0, meshA}, {0, meshA2}}));
    EXPECT_EQ(meshes.deleted, (std::vector<Id>{meshA, meshA2}));
    EXPECT_EQ(lights.deleted, (std::vector<Id>{lightA}));
    EXPECT_EQ(meshes.size(), 1);
    EXPECT_EQ(lights.size(), 0);
    EXPECT_EQ(meshes.owner(meshes.indexOf(meshB1)), b1);
    EXPECT_EQ(deletedObjects, (std::vector<Id>{a, a1, a2}));
    EXPECT_EQ(g.componentCount(), 1);
    EXPECT_EQ(std::vector<Id>(g.componentIds(b1).begin(), g.componentIds(b1).end()), std::vector<Id>{meshB1});
    EXPECT_EQ(g.descendantsCount(0), 2);
    EXPECT_EQ(g.parentIndex(g.indexOf(b1)), g.indexOf(b));
    EXPECT_TRUE(g.isDeleted(a));
    EXPECT_TRUE(g.isDeleted(a2));

    /* Deleting again returns at once: the deleted bits stay until the id is reused */
    deletedObjects.clear();
    g.deleteObjects(a1);
    EXPECT_TRUE(deletedObjects.empty());

    /* Freed ids come back first, their columns reset */
    g.setLocalTransformation(g.indexOf(b1), toDq(axisAngle(0, 1, 0, 1.0f), {1, 2, 3}));
    const Id c = g.addObject(b1);
    EXPECT_TRUE(c == a || c == a1 || c == a2);
    EXPECT_FALSE(g.isDeleted(c));
    EXPECT_TRUE(worldMatches(g, g.indexOf(c), Rts{{0, 0, 0, 1}, {0, 0, 0}, {1, 1, 1}}));
    Quat r;
    Vec t;
    fromDq(g.localTransformation(g.indexOf(c)), r, t);
    EXPECT_EQ(r.w, 1.0f);
    EXPECT_EQ(t.x, 0.0f);
    EXPECT_EQ(g.checkInvariants(), "");
    /* The reused id can be deleted again */
    g.deleteObjects(c);
    EXPECT_EQ(g.checkInvariants(), "");
}

TEST(SceneGraphTest, deleteObjectsReentrant) {
    Quiet quiet;
    SceneGraph g{16, 1, 8};
    TestManager scripts;
    g.setComponentManager(0, "script", &scripts);
    const Id a = g.addObject(0), b = g.addObject(0);
    const Id a1 = g.addObject(a), a11 = g.addObject(a1);
    const Id scriptA1 = scripts.addComponent(a1);
    const Id scriptA11 = scripts.addComponent(a11);
    const Id scriptB = scripts.addComponent(b);
    /* Deleting a component of a1 deletes b, elsewhere in the graph, and then a1's parent: the
       outer call must stop once its parent is gone */
    scripts.onDelete = [&](Id component) {
        if(component == scriptA1) {
            g.deleteObjects(b);
            g.deleteObjects(a);
        }
    };
    g.deleteObjects(a1);
    EXPECT_EQ(g.checkInvariants(), "");
    EXPECT_EQ(g.size(), 1);
    EXPECT_EQ(g.componentCount(), 0);
    EXPECT_EQ(scripts.deleted, (std::vector<Id>{scriptA1, scriptB, scriptA11}));
    EXPECT_EQ(scripts.size(), 0);
}

TEST(SceneGraphTest, flags) {
    Quiet quiet;
    SceneGraph g{80, 0, 0};
    /* A chain deep enough to cross word boundaries */
    Id last = 0;
    for(int i = 0; i != 70; ++i) last = g.addObject(last);
    g.computeAbsoluteTransformations();
    g.resetChanged();
    EXPECT_EQ(g.dirtyBits().count(), 0u);
    g.setChildrenDirty(3);
    for(IndexType i = 0; i != 71; ++i) {
        EXPECT_EQ(g.isDirty(i), i > 3) << i;
        EXPECT_EQ(g.isChanged(i), i > 3) << i;
    }
    g.computeAbsoluteTransformations();
    g.resetChanged();
    g.setDirty(40);
    EXPECT_EQ(g.dirtyBits().count(), 31u);
    EXPECT_FALSE(g.isDirty(39));
    g.computeAbsoluteTransformations();
    EXPECT_EQ(g.dirtyBits().count(), 0u);
    g.resetChanged();
    g.setChanged(33);
    EXPECT_EQ(g.changedBits().count(), 38u);
    EXPECT_EQ(g.dirtyBits().count(), 0u);
}

TEST(SceneGraphTest, transformations) {
    Quiet quiet;
    SceneGraph g{8, 0, 0};
    const Id p = g.addObject(0);
    const Id c = g.addObject(p);
    const Rts parent{axisAngle(0, 0, 1, 0.5f), {3, 4, 5}, {2, 1, 1}};
    const Rts child{axisAngle(1, 0, 0, 0.25f), {1, 0, 0}, {1, 3, 1}};
    g.setLocalTransformation(g.indexOf(p), toDq(parent.r, parent.t));
    g.setLocalScaling(g.indexOf(p), toV(parent.s));
    g.setLocalTransformation(g.indexOf(c), toDq(child.r, child.t));
    g.setLocalScaling(g.indexOf(c), toV(child.s));
    g.setDirty(g.indexOf(p));
    g.computeAbsoluteTransformations();
    EXPECT_TRUE(worldMatches(g, g.indexOf(p), parent));
    /* (2, 1, 1) stretches the child's offset to (2, 0, 0) before the parent's rotation */
    const Vec offset = rotate(parent.r, Vec{2, 0, 0});
    EXPECT_TRUE(worldMatches(g, g.indexOf(c), Rts{mul(parent.r, child.r), {3 + offset.x, 4 + offset.y, 5 + offset.z}, {2, 3, 1}}));
    EXPECT_EQ(g.dirtyBits().count(), 0u);

    /* One object on demand, through its dirty parent */
    g.setLocalTransformation(g.indexOf(p), toDq(parent.r, {0, 0, 0}));
    g.setDirty(g.indexOf(p));
    g.computeAbsoluteTransformation(g.indexOf(c));
    EXPECT_FALSE(g.isDirty(g.indexOf(c)));
    EXPECT_FALSE(g.isDirty(g.indexOf(p)));
    EXPECT_TRUE(worldMatches(g, g.indexOf(c), Rts{mul(parent.r, child.r), offset, {2, 3, 1}}));

    /* copyObjectTransform copies local values only */
    const Id d = g.addObject(0);
    g.copyObjectTransform(c, d);
    EXPECT_EQ(std::memcmp(&g.localTransformation(g.indexOf(d)), &g.localTransformation(g.indexOf(c)), sizeof(DualQuaternion)), 0);
    EXPECT_EQ(fromV(g.localScaling(g.indexOf(d))).y, 3.0f);
}

TEST(SceneGraphTest, computeOneObjectPastEarlierSiblings) {
    Quiet quiet;
    SceneGraph g{16, 0, 0};
    /* root - a - a1 - a11, a12
                - a2 - a21
                - a3 - a31 - a311 */
    const Id a = g.addObject(0);
    const Id a1 = g.addObject(a), a11 = g.addObject(a1), a12 = g.addObject(a1);
    const Id a2 = g.addObject(a), a21 = g.addObject(a2);
    const Id a3 = g.addObject(a), a31 = g.addObject(a3), a311 = g.addObject(a31);
    std::uint16_t n = 1;
    for(const Id id: {a, a1, a11, a12, a2, a21, a3, a31, a311}) {
        g.setLocalTransformation(g.indexOf(id), toDq(axisAngle(1, float(n), 0, 0.2f*n), {float(n), 1, -float(n)}));
        g.setLocalScaling(g.indexOf(id), Vector3{1.0f + 0.1f*n, 1, 2});
        ++n;
    }
    g.setDirty(g.indexOf(a));

    /* The expected worlds from a whole sweep over a copy */
    std::vector<char> bytes(g.data().begin(), g.data().end());
    SceneGraph reference{std::move(bytes)};
    reference.computeAbsoluteTransformations();

    /* The way down from a to a311 steps over the subtrees of a1 and a2; then a is clean, and
       the chain of a21 starts at a2 */
    const std::size_t before = QuillmarshEngine::Test::allocationCount();
    g.computeAbsoluteTransformation(g.indexOf(a311));
    EXPECT_TRUE(g.isDirty(g.indexOf(a2)));
    g.computeAbsoluteTransformation(g.indexOf(a21));
    EXPECT_EQ(QuillmarshEngine::Test::allocationCount() - before, 0u);
    for(const Id id: {a, a2, a21, a3, a31, a311}) {
        EXPECT_FALSE(g.isDirty(g.indexOf(id))) << id;
        float got[11], want[11];
        std::memcpy(got, &g.worldTransformation(g.indexOf(id)), 32);
        std::memcpy(got + 8, &g.worldScaling(g.indexOf(id)), 12);
        std::memcpy(want, &reference.worldTransformation(reference.indexOf(id)), 32);
        std::memcpy(want + 8, &reference.worldScaling(reference.indexOf(id)), 12);
        for(int k = 0; k != 11; ++k) EXPECT_TRUE(near(got[k], want[k], 1e-5f)) << id << " " << k;
    }
    for(const Id id: {a1, a11, a12}) EXPECT_TRUE(g.isDirty(g.indexOf(id))) << id;
}

TEST(SceneGraphTest, growthStopsAtTheLimit) {
    Quiet quiet;
    SceneGraph g{65500, 1, 1};
    while(g.size() != g.capacity()) g.addObjectUnsafe(0);
    /* Less than 64 objects are left below the limit: growth takes what is left */
    std::ostringstream warnings;
    {
        Warning redirect{&warnings};
        g.addObject(0);
    }
    EXPECT_EQ(warnings.str(), "SceneGraph::addObject(): on the fly allocation was required\n");
    EXPECT_EQ(g.capacity(), 65535);
    while(g.size() != g.capacity()) g.addObjectUnsafe(0);
    EXPECT_EQ(g.checkInvariants(), "");

    /* A full component list grows although no object is left to grow by */
    const Id last = g.idOf(IndexType(g.size() - 1));
    g.addComponent(last, 0, 7);
    g.addComponent(last, 0, 8);
    EXPECT_EQ(g.capacity(), 65535);
    EXPECT_GE(g.componentCapacity(), 2);
    EXPECT_EQ(g.componentIds(last).size(), 2u);
}

TEST(SceneGraphTest, worldTransformsMoveWithTheirObjects) {
    Quiet quiet;
    SceneGraph g{16, 0, 0};
    const Id a = g.addObject(0), b = g.addObject(0), c = g.addObject(0);
    const Id b1 = g.addObject(b);
    for(const Id id: {a, b, c, b1}) {
        g.setLocalTransformation(g.indexOf(id), toDq(axisAngle(0, 1, 0, 0.1f*id), {float(id), 0, 0}));
        g.setDirty(g.indexOf(id));
    }
    g.computeAbsoluteTransformations();
    std::map<std::uint16_t, std::vector<char>> before;
    for(const Id id: {a, b, c, b1}) {
        const char* w = reinterpret_cast<const char*>(&g.worldTransformation(g.indexOf(id)));
        before[id] = std::vector<char>(w, w + sizeof(DualQuaternion));
    }
    const auto unchanged = [&](Id id) {
        const char* w = reinterpret_cast<const char*>(&g.worldTransformation(g.indexOf(id)));
        return std::vector<char>(w, w + sizeof(DualQuaternion)) == before[id];
    };
    /* Re-parenting to the same parent moves b and b1 behind c without marking anything dirty:
       their world values travel with them */
    g.reparent(b, 0);
    EXPECT_EQ(g.dirtyBits().count(), 0u);
    for(const Id id: {a, b, c, b1}) EXPECT_TRUE(unchanged(id)) << id;
    /* Deleting a moves every later object down by one, world values included */
    g.deleteObjects(a);
    for(const Id id: {b, c, b1}) EXPECT_TRUE(unchanged(id)) << id;
}

TEST(SceneGraphTest, concatenateShortcutAgrees) {
    const DualQuaternion parent = toDq(axisAngle(1, 2, 3, 0.7f), {1, -2, 0.5f});
    const DualQuaternion child = toDq(axisAngle(-1, 0, 2, 1.3f), {0.25f, 4, -1});
    for(const float s: {1.0f, 1.000001f, 0.999999f}) {
        DualQuaternion a, b;
        Vector3 sa, sb;
        Implementation::concatenate(parent, Vector3{s, s, s}, child, Vector3{1, 2, 3}, a, sa);
        Implementation::concatenateScaled(parent, Vector3{s, s, s}, child, Vector3{1, 2, 3}, b, sb);
        float fa[8], fb[8];
        std::memcpy(fa, &a, 32);
        std::memcpy(fb, &b, 32);
        for(int i = 0; i != 8; ++i) EXPECT_TRUE(near(fa[i], fb[i], 1e-5f)) << s << i;
    }
}

TEST(SceneGraphTest, sweepMatchesReference) {
    /* Random tree, every object dirty, both kernels on copies of the same columns */
    std::mt19937 rng{11};
    std::uniform_real_distribution<float> u{-1.0f, 1.0f};
    const std::uint32_t n = 1000;
    std::vector<ObjectData> objects(n, ObjectData{0, 0, 0, 0});
    std::vector<DualQuaternion> local(n);
    std::vector<Vector3> scaling(n, Vector3{1, 1, 1});
    for(std::uint32_t i = 1; i != n; ++i) {
        objects[i].parent = std::uint16_t(rng() % i);
        local[i] = toDq(axisAngle(u(rng), u(rng), u(rng) + 2.0f, u(rng)), {u(rng), u(rng), u(rng)});
        if(i % 3 == 0) scaling[i] = Vector3{1.0f + 0.2f*u(rng), 1.0f, 1.0f + 0.2f*u(rng)};
    }
    std::vector<std::uint32_t> dirtyA((n + 31)/32, ~0u), dirtyB = dirtyA;
    dirtyA[5] = 0;
    dirtyB[5] = 0;
    std::vector<DualQuaternion> worldA(n), worldB(n);
    std::vector<Vector3> wsA(n, Vector3{1, 1, 1}), wsB = wsA;
    Implementation::sweepTransforms(dirtyA.data(), n, objects.data(), local.data(), scaling.data(), worldA.data(), wsA.data());
    Implementation::sweepTransformsReference(dirtyB.data(), n, objects.data(), local.data(), scaling.data(), worldB.data(), wsB.data());
    for(std::uint32_t w: dirtyA) EXPECT_EQ(w, 0u);
    for(std::uint32_t i = 0; i != n; ++i) {
        float a[11], b[11];
        std::memcpy(a, &worldA[i], 32);
        std::memcpy(a + 8, &wsA[i], 12);
        std::memcpy(b, &worldB[i], 32);
        std::memcpy(b + 8, &wsB[i], 12);
        for(int k = 0; k != 11; ++k) ASSERT_TRUE(near(a[k], b[k], 1e-4f)) << i << " " << k;
    }
    /* A clean word was skipped: its objects still hold identity */
    float f[8];
    std::memcpy(f, &worldA[5*32 + 3], 32);
    EXPECT_EQ(f[3], 1.0f);
    EXPECT_EQ(f[4], 0.0f);
}

TEST(SceneGraphTest, createFromBytes) {
    Quiet quiet;
    SceneGraph g{20, 2, 6};
    const Id a = g.addObject(0), b = g.addObject(a);
    g.addObject(0);
    g.deleteObjects(g.addObject(b));
    g.addComponent(b, 1, 9);
    g.setComponentManager(1, "names", nullptr);
    g.setLocalTransformation(g.indexOf(a), toDq(axisAngle(0, 1, 0, 0.3f), {1, 1, 1}));
    g.setLocalScaling(g.indexOf(b), Vector3{2, 2, 2});
    g.setDirty(g.indexOf(a));
    g.computeAbsoluteTransformations();

    std::vector<char> bytes(g.data().begin(), g.data().end());
    SceneGraph copy{std::move(bytes)};
    EXPECT_EQ(std::vector<char>(copy.data().begin(), copy.data().end()), std::vector<char>(g.data().begin(), g.data().end()));
    EXPECT_EQ(copy.checkInvariants(), "");
    EXPECT_EQ(copy.size(), g.size());
    EXPECT_EQ(copy.initializedCount(), g.initializedCount());
    EXPECT_EQ(copy.componentManagerName(1), "names");
    EXPECT_EQ(std::vector<Id>(copy.componentIds(b).begin(), copy.componentIds(b).end()), std::vector<Id>{9});
    copy.computeAbsoluteTransformations();
    for(IndexType i = 0; i != g.size(); ++i)
        EXPECT_EQ(std::memcmp(&copy.worldTransformation(i), &g.worldTransformation(i), sizeof(DualQuaternion)), 0) << i;
    /* The removed id is handed out first in the copy as well */
    const Id reused = g.addObject(0);
    EXPECT_EQ(copy.addObject(0), reused);
}

TEST(SceneGraphTest, adoptRefusesBrokenBlocks) {
    Quiet quiet;
    SceneGraph g{6, 1, 2};
    const Id a = g.addObject(0);
    g.addObject(a);
    g.addComponent(a, 0, 4);
    const std::vector<char> good(g.data().begin(), g.data().end());

    auto adopted = SceneGraph::adopt(std::vector<char>(good));
    ASSERT_TRUE(adopted);
    EXPECT_EQ(adopted.value()->size(), 3);

    const auto reason = [&](std::size_t offset, char value, std::size_t length) {
        std::vector<char> bad = good;
        bad.resize(length);
        if(offset < bad.size()) bad[offset] = value;
        auto result = SceneGraph::adopt(std::move(bad));
        return result ? std::string{} : result.error();
    };
    EXPECT_EQ(reason(0, 0, 10), "SceneGraph::adopt(): block of 10 bytes is too small for a header");
    EXPECT_EQ(reason(0, 20, good.size()), "SceneGraph::adopt(): header size 20 is not 24");
    EXPECT_EQ(reason(10, 9, good.size()), "SceneGraph::adopt(): inconsistent counts: size 9, initialized 3, capacity 6");
    EXPECT_EQ(reason(0, 24, good.size() - 1), "SceneGraph::adopt(): block of " + std::to_string(good.size() - 1) + " bytes, its header says " + std::to_string(good.size()) + " and its counts need " + std::to_string(good.size()));
    /* Index 1 mapped to id 2 breaks the tables */
    EXPECT_EQ(reason(24 + 12 + 2, 2, good.size()), "SceneGraph::adopt(): indirection: index 1 maps to id 2, which maps to index 2");
    /* Descendants of the object at index 1 (columns start at 24 + 4 × 6) */
    EXPECT_EQ(reason(48 + 8 + 4, 0, good.size()), "SceneGraph::adopt(): object at 2 is a child of 0 but has parent 1");
}

TEST(SceneGraphTest, cloneAndAppend) {
    Quiet quiet;
    SceneGraph g{4, 1, 4};
    const Id a = g.addObject(0);
    const Id a1 = g.addObject(a);
    const Id a2 = g.addObject(a);
    const Id a11 = g.addObject(a1);
    g.addComponent(a1, 0, 3);
    g.setLocalTransformation(g.indexOf(a11), toDq(axisAngle(0, 0, 1, 1.0f), {0, 2, 0}));
    g.setLocalScaling(g.indexOf(a1), Vector3{1, 2, 1});

    /* Into its own subtree: the copy is taken of the original shape */
    const Id copy = g.cloneObject(a, a2);
    EXPECT_EQ(g.checkInvariants(), "");
    EXPECT_EQ(g.size(), 9);
    EXPECT_TRUE(g.isParent(a2, copy));
    const IndexType ci = g.indexOf(copy);
    EXPECT_EQ(g.descendantsCount(ci), 3);
    EXPECT_EQ(g.childrenCount(ci), 2);
    const IndexType c1 = IndexType(ci + 1);
    EXPECT_EQ(fromV(g.localScaling(c1)).y, 2.0f);
    EXPECT_TRUE(g.componentIds(g.idOf(c1)).empty());
    EXPECT_EQ(std::memcmp(&g.localTransformation(IndexType(ci + 2)), &g.localTransformation(g.indexOf(a11)), sizeof(DualQuaternion)), 0);
    for(IndexType i = ci; i != ci + 4; ++i) EXPECT_TRUE(g.isDirty(i));

    SceneGraph other{8, 1, 0};
    const Id x = other.addObject(0);
    const Id x1 = other.addObject(x);
    const Id y = other.addObject(0);
    other.setLocalTransformation(other.indexOf(x1), toDq(axisAngle(1, 0, 0, 0.5f), {5, 0, 0}));
    std::vector<std::pair<Id, Id>> mapping;
    g.append(other, [&](Id from, Id to) { mapping.push_back({from, to}); });
    EXPECT_EQ(g.checkInvariants(), "");
    EXPECT_EQ(g.size(), 12);
    ASSERT_EQ(mapping.size(), 3u);
    EXPECT_EQ(mapping[0].first, x);
    EXPECT_EQ(mapping[1].first, x1);
    EXPECT_EQ(mapping[2].first, y);
    EXPECT_TRUE(g.isParent(Id(0), mapping[0].second));
    EXPECT_TRUE(g.isParent(mapping[0].second, mapping[1].second));
    EXPECT_TRUE(g.isParent(Id(0), mapping[2].second));
    EXPECT_EQ(std::memcmp(&g.localTransformation(g.indexOf(mapping[1].second)), &other.localTransformation(other.indexOf(x1)), sizeof(DualQuaternion)), 0);
}

/* Naive model of the hierarchy: ordered child lists per id, local values per id */
struct Model {
    std::map<std::uint16_t, std::vector<std::uint16_t>> children;
    std::map<std::uint16_t, std::uint16_t> parent;
    std::map<std::uint16_t, Rts> local;

    void add(std::uint16_t id, std::uint16_t p) {
        children[p].push_back(id);
        children[id];
        parent[id] = p;
        local[id] = Rts{{0, 0, 0, 1}, {0, 0, 0}, {1, 1, 1}};
    }
    void detach(std::uint16_t id) {
        auto& list = children[parent[id]];
        list.erase(std::find(list.begin(), list.end(), id));
    }
    void erase(std::uint16_t id) {
        for(std::uint16_t c: std::vector<std::uint16_t>(children[id])) erase(c);
        detach(id);
        children.erase(id);
        parent.erase(id);
        local.erase(id);
    }
    void preOrder(std::uint16_t id, std::vector<std::uint16_t>& out) const {
        out.push_back(id);
        for(std::uint16_t c: children.at(id)) preOrder(c, out);
    }
    bool inSubtree(std::uint16_t root, std::uint16_t id) const {
        for(std::uint16_t k = id; ; k = parent.at(k)) {
            if(k == root) return true;
            if(k == 0) return false;
        }
    }
    /* Recursive world computation from the root down */
    void worlds(std::uint16_t id, const Rts& parentWorld, std::map<std::uint16_t, Rts>& out) const {
        for(std::uint16_t c: children.at(id)) {
            out[c] = id == 0 ? local.at(c) : compose(parentWorld, local.at(c));
            worlds(c, out[c], out);
        }
    }
};

void randomized(std::uint32_t seed, bool nonUniform) {
    Quiet quiet;
    std::ostringstream warnings;
    Warning redirectWarnings{&warnings};
    std::mt19937 rng{seed};
    std::uniform_real_distribution<float> u{-1.0f, 1.0f};
    SceneGraph g{8, 1, 8};
    Model model;
    model.children[0];
    model.parent[0] = 0;
    model.local[0] = Rts{{0, 0, 0, 1}, {0, 0, 0}, {1, 1, 1}};

    const auto randomLive = [&](bool allowRoot) {
        const IndexType index = IndexType(allowRoot ? rng() % g.size() : 1 + rng() % (g.size() - 1));
        return std::uint16_t(g.idOf(index));
    };
    const auto randomLocal = [&]() {
        Rts r{axisAngle(u(rng), u(rng), u(rng) + 2.5f, 2.0f*u(rng)), {u(rng), u(rng), u(rng)}, {1, 1, 1}};
        if(nonUniform && rng() % 2) r.s = Vec{1.0f + 0.25f*u(rng), 1.0f + 0.25f*u(rng), 1.0f + 0.25f*u(rng)};
        return r;
    };

    for(int step = 0; step != 400; ++step) {
        const unsigned op = rng() % 100;
        if(op < 30 || g.size() < 3) {
            const std::uint16_t p = randomLive(true);
            model.add(g.addObject(p), p);
        } else if(op < 40) {
            /* Unsafe form along the last path of the pre-order, the only valid parents */
            if(g.size() == g.capacity()) g.ensureAdditionalCapacityOf(8, 0, 0);
            std::vector<std::uint16_t> path{0};
            while(!model.children[path.back()].empty()) path.push_back(model.children[path.back()].back());
            const std::uint16_t p = path[rng() % path.size()];
            model.add(g.addObjectUnsafe(g.indexOf(p)), p);
        } else if(op < 55) {
            const std::uint16_t object = randomLive(false);
            const std::uint16_t p = randomLive(true);
            if(model.inSubtree(object, p)) continue;
            g.reparent(object, p);
            g.setDirty(g.indexOf(object));
            model.detach(object);
            model.children[p].push_back(object);
            model.parent[object] = p;
        } else if(op < 67) {
            const std::uint16_t object = randomLive(false);
            g.deleteObjects(object);
            model.erase(object);
        } else if(op < 75) {
            const std::uint16_t object = randomLive(false);
            const std::uint16_t p = randomLive(true);
            std::vector<std::uint16_t> source;
            model.preOrder(object, source);
            if(g.size() + source.size() > 2000) continue;
            const Id copy = g.cloneObject(object, p);
            /* The copy's pre-order pairs up with the source's */
            for(std::size_t k = 0; k != source.size(); ++k) {
                const std::uint16_t id = g.idOf(IndexType(g.indexOf(copy) + k));
                const std::uint16_t parentId = k == 0 ? p : std::uint16_t(g.idOf(g.parentIndex(g.indexOf(id))));
                model.add(id, parentId);
                model.local[id] = model.local[source[k]];
            }
        } else if(op < 80) {
            const std::uint16_t object = randomLive(false);
            g.addComponent(object, 0, Id(std::uint16_t(step)));
        } else {
            const std::uint16_t object = randomLive(false);
            const Rts r = randomLocal();
            model.local[object] = r;
            g.setLocalTransformation(g.indexOf(object), toDq(r.r, r.t));
            g.setLocalScaling(g.indexOf(object), toV(r.s));
            g.setDirty(g.indexOf(object));
        }
        ASSERT_EQ(g.checkInvariants(), "") << "step " << step << " op " << op;

        /* Same hierarchy in the same pre-order */
        std::vector<std::uint16_t> order;
        model.preOrder(0, order);
        ASSERT_EQ(order.size(), g.size()) << step;
        for(IndexType i = 0; i != g.size(); ++i) ASSERT_EQ(g.idOf(i), Id(order[i])) << "step " << step << " index " << i;

        if(step % 7 == 0) {
            const IndexType index = IndexType(rng() % g.size());
            g.computeAbsoluteTransformation(index);
            std::map<std::uint16_t, Rts> worlds;
            model.worlds(0, model.local[0], worlds);
            if(index) {
                ASSERT_TRUE(worldMatches(g, index, worlds[g.idOf(index)])) << "step " << step;
            }
        }
        if(step % 5 == 0) {
            g.computeAbsoluteTransformations();
            for(IndexType i = 0; i != g.size(); ++i) ASSERT_FALSE(g.isDirty(i));
            std::map<std::uint16_t, Rts> worlds;
            model.worlds(0, model.local[0], worlds);
            for(IndexType i = 1; i != g.size(); ++i)
                ASSERT_TRUE(worldMatches(g, i, worlds[g.idOf(i)])) << "step " << step;
        }
    }
}

TEST(SceneGraphTest, randomizedUnitScaling) {
    for(std::uint32_t seed = 1; seed != 6; ++seed) {
        randomized(seed, false);
        if(HasFatalFailure()) return;
    }
}

TEST(SceneGraphTest, randomizedNonUniformScaling) {
    for(std::uint32_t seed = 100; seed != 105; ++seed) {
        randomized(seed, true);
        if(HasFatalFailure()) return;
    }
}

TEST(SceneGraphDeathTest, objects) {
    Quiet quiet;
    SceneGraph g{3, 1, 1};
    const Id a = g.addObject(0);
    const Id a1 = g.addObject(a);
    EXPECT_DEATH(g.addObjectUnsafe(0), "^SceneGraph::addObjectUnsafe\\(\\): capacity exhausted\n$");
    SceneGraph roomy{8, 0, 0};
    roomy.addObject(0);
    EXPECT_DEATH(roomy.addObject(7), "^SceneGraph::addObject\\(\\): parent was not valid\n$");
    EXPECT_DEATH(roomy.addObject(1000), "^SceneGraph::addObject\\(\\): parent was not valid\n$");
    EXPECT_DEATH(g.moveObjectIndexRange(0, 1, 2), "^SceneGraph::moveObjectIndexRange\\(\\): Cannot move root\n$");
    EXPECT_DEATH(g.moveObjectIndexRange(1, 1, 0), "^SceneGraph::moveObjectIndexRange\\(\\): Cannot move root\n$");
    EXPECT_DEATH(g.swap(0, 1), "^SceneGraph::swap\\(\\): Root should never be swapped\n$");
    EXPECT_DEATH(g.deleteObjects(0), "^Deleting root is forbidden\n$");
    EXPECT_DEATH(g.reparent(a, a1), "^SceneGraph::reparent\\(\\): cannot move object Id\\(1\\) under its own subtree\n$");
    EXPECT_DEATH(g.reparent(0, a), "^SceneGraph::reparent\\(\\): Cannot reparent root\n$");
    EXPECT_DEATH(g.reparent(a, 9), "^SceneGraph::reparent\\(\\): object Id\\(9\\) is not alive\n$");
    EXPECT_DEATH((SceneGraph{0, 0, 0}), "^SceneGraph::SceneGraph\\(\\): object capacity has to be at least 1 for the root\n$");

    /* A deleted id adopted from bytes has no deletion record: deleting it is a caller error */
    g.deleteObjects(a1);
    std::vector<char> bytes(g.data().begin(), g.data().end());
    SceneGraph copy{std::move(bytes)};
    EXPECT_DEATH(copy.deleteObjects(a1), "^Deleting already deleted object\n$");
}

TEST(SceneGraphDeathTest, capacityLimit) {
    /* Only the debug line is silenced: the abort has to come without a growth warning first */
    std::ostringstream out;
    Debug redirect{&out};
    SceneGraph g{65535, 1, 65535};
    while(g.size() != g.capacity()) g.addObjectUnsafe(0);
    EXPECT_DEATH(g.addObject(0), "^SceneGraph::addObject\\(\\): capacity exhausted, a scene graph holds at most 65535 objects\n$");
    /* The last object's run ends the list, so appending to it moves nothing */
    const Id last = g.idOf(IndexType(g.size() - 1));
    for(std::uint32_t i = 0; i != 65535; ++i) g.addComponent(last, 0, Id(std::uint16_t(i)));
    EXPECT_DEATH(g.addComponent(last, 0, 0), "^SceneGraph::addComponent\\(\\): capacity exhausted, a scene graph lists at most 65535 components\n$");
}

TEST(SceneGraphDeathTest, indexAccessors) {
    if(!QUILLMARSH_DEBUG_ASSERTS_ENABLED) GTEST_SKIP() << "index accessors are unchecked in release builds";
    Quiet quiet;
    SceneGraph g{8, 0, 0};
    g.addObject(0);
    g.addObject(0);
    EXPECT_DEATH(static_cast<void>(g.localTransformation(3)), "^SceneGraph::localTransformation\\(\\): index 3 out of range for 3 objects\n$");
    EXPECT_DEATH(g.setLocalTransformation(3, {}), "^SceneGraph::setLocalTransformation\\(\\): index 3 out of range for 3 objects\n$");
    EXPECT_DEATH(static_cast<void>(g.localScaling(7)), "^SceneGraph::localScaling\\(\\): index 7 out of range for 3 objects\n$");
    EXPECT_DEATH(g.setLocalScaling(3, {}), "^SceneGraph::setLocalScaling\\(\\): index 3 out of range for 3 objects\n$");
    EXPECT_DEATH(static_cast<void>(g.worldTransformation(3)), "^SceneGraph::worldTransformation\\(\\): index 3 out of range for 3 objects\n$");
    EXPECT_DEATH(static_cast<void>(g.worldScaling(3)), "^SceneGraph::worldScaling\\(\\): index 3 out of range for 3 objects\n$");
    EXPECT_DEATH(static_cast<void>(g.parentIndex(3)), "^SceneGraph::parentIndex\\(\\): index 3 out of range for 3 objects\n$");
    EXPECT_DEATH(static_cast<void>(g.isDirty(3)), "^SceneGraph::isDirty\\(\\): index 3 out of range for 3 objects\n$");
    EXPECT_DEATH(g.setDirty(3), "^SceneGraph::setDirty\\(\\): index 3 out of range for 3 objects\n$");
    EXPECT_DEATH(g.computeAbsoluteTransformation(3), "^SceneGraph::computeAbsoluteTransformation\\(\\): index 3 out of range for 3 objects\n$");
    EXPECT_DEATH(static_cast<void>(g.indexOf(Id(8))), "^SparseArray::indexOf\\(\\): id 8 out of range for a capacity of 8\n$");
    EXPECT_DEATH(static_cast<void>(g.idOf(8)), "^SparseArray::idOf\\(\\): index 8 out of range for a capacity of 8\n$");
}

TEST(SceneGraphDeathTest, storage) {
    Quiet quiet;
    SceneGraph g{3, 2, 1};
    EXPECT_DEATH(g.setComponentManager(2, "x", nullptr), "^SceneGraph::setComponentManager\\(\\): index larger than allocated component manager count\n$");
    EXPECT_DEATH(g.setComponentManager(0, "twelve chars", nullptr), "^SceneGraph::setComponentManager\\(\\): name twelve chars longer than limit of 11 characters\n$");
    EXPECT_DEATH(g.reallocateCapacity(1, 1), "^SceneGraph::reallocateCapacity\\(\\): shrinking memory is not implemented\n$");
    EXPECT_DEATH(g.reallocateCapacity(2, 0), "^SceneGraph::reallocateCapacity\\(\\): shrinking memory for components is not implemented\n$");
    EXPECT_DEATH(g.deactivate(), "^scene graph is already inactive\n$");
    g.activate();
    EXPECT_DEATH(g.activate(), "^scene graph is already active\n$");
    EXPECT_DEATH((SceneGraph{std::vector<char>(20)}), "^SceneGraph::header\\(\\): Header not initialized.\n$");

    /* A block without objects has no root */
    std::vector<char> empty(g.data().begin(), g.data().end());
    empty[10] = 0;
    EXPECT_DEATH((SceneGraph{std::move(empty)}), "^SceneGraph::addObjectUnsafe\\(\\): There should always be a scene root\n$");
}

}}}
