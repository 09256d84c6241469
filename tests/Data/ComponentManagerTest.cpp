#include <algorithm>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "QuillmarshEngine/Data/ComponentManager.h"
#include "QuillmarshEngine/Data/SceneGraph.h"
#include "QuillmarshEngine/Data/SparseLayer.h"
#include "QuillmarshEngine/Debug.h"
#include "../OutputCapture.h"

namespace QuillmarshEngine { namespace Data { namespace {

typedef SparseArray::IndexType IndexType;

/* Silences the scene graph's growth line and the on-the-fly warnings */
using Testing::Quiet;

/* A manager with one int column that records every hook it receives */
struct TestManager: ComponentManager {
    explicit TestManager(IndexType capacity, const char* typeName = "test"): ComponentManager{4}, _typeName{typeName}, _layout{*this} {
        setLayout(&_layout);
        allocate(capacity);
    }

    const char* name() const override { return _typeName; }
    std::uint32_t flags() const override { return inSceneHooks ? FlagInSceneHooks : 0; }
    void preUpdate() override { calls.push_back("pre"); }
    void postUpdate() override { calls.push_back("post"); }
    void updateComponent(IndexType index) override {
        ++value(index);
        calls.push_back("update " + std::to_string(std::uint16_t(idOf(index))));
    }
    void doActivate(IndexType index) override { calls.push_back("activate " + std::to_string(index)); }
    void doDeactivate(IndexType index) override { calls.push_back("deactivate " + std::to_string(index)); }
    void doActivateInScene(IndexType index) override { calls.push_back("activateInScene " + std::to_string(index)); }
    void doDeactivateInScene(IndexType index) override { calls.push_back("deactivateInScene " + std::to_string(index)); }

    int& value(IndexType index) { return _layout.get<1>()[index]; }
    int valueOf(Id id) { return value(indexOf(id)); }
    std::uint32_t& tailWord() { return *reinterpret_cast<std::uint32_t*>(managerHeaderTail()); }

    const char* _typeName;
    bool inSceneHooks = false;
    std::vector<std::string> calls;
    SparseArrayStaticLayout<SparseLayer<Id, SparseLayerFlag::ObjectId>, SparseLayer<int>> _layout;
};

/* A graph with a root and objects 1..n as children of the root */
struct Scene {
    Quiet quiet;
    SceneGraph graph;
    explicit Scene(IndexType objects, std::uint16_t managers = 2): graph{IndexType(objects + 1), managers, 16} {
        for(IndexType i = 0; i != objects; ++i) graph.addObject(Id{0});
    }
};

/* Sorted (manager slot, component id) pairs of an object's run */
std::vector<std::pair<int, int>> run(const SceneGraph& graph, Id object) {
    std::vector<std::pair<int, int>> out;
    for(std::size_t i = 0; i != graph.componentIds(object).size(); ++i)
        out.emplace_back(graph.componentManagerIndices(object)[i], std::uint16_t(graph.componentIds(object)[i]));
    std::sort(out.begin(), out.end());
    return out;
}

TEST(ComponentManagerTest, constructAndRegister) {
    Scene scene{2};
    TestManager manager{8};
    EXPECT_EQ(manager.sceneGraph(), nullptr);
    EXPECT_EQ(manager.capacity(), 8);
    EXPECT_EQ(manager.activeCount(), 0);
    EXPECT_EQ(manager.lastTimeStep(), 0.0);
    EXPECT_EQ(manager.accumulatedTime(), 0.0);
    /* 16 + active count + 2 reserved + the subclass's 4 */
    EXPECT_EQ(manager.headerSize(), 24u);
    manager.tailWord() = 0xdeadbeef;
    EXPECT_EQ(manager.activeCount(), 0);

    scene.graph.setComponentManager(1, "test", &manager);
    EXPECT_EQ(manager.sceneGraph(), &scene.graph);
    EXPECT_EQ(manager.managerIndex(), 1);
    EXPECT_EQ(scene.graph.componentManagerName(1), "test");
}

TEST(ComponentManagerTest, addComponentListsItInactive) {
    Scene scene{2};
    TestManager manager{8};
    scene.graph.setComponentManager(1, "test", &manager);
    const Id a = manager.addComponent(Id{1});
    const Id b = manager.addComponent(Id{2});
    const Id c = manager.addComponent(Id{1});
    EXPECT_EQ(manager.size(), 3);
    EXPECT_EQ(manager.activeCount(), 0);
    EXPECT_EQ(manager.owner(manager.indexOf(a)), Id{1});
    EXPECT_EQ(manager.owner(manager.indexOf(b)), Id{2});
    EXPECT_EQ((run(scene.graph, Id{1})), (std::vector<std::pair<int, int>>{{1, int(std::uint16_t(a))}, {1, int(std::uint16_t(c))}}));
    EXPECT_EQ((run(scene.graph, Id{2})), (std::vector<std::pair<int, int>>{{1, int(std::uint16_t(b))}}));
    EXPECT_EQ(scene.graph.checkInvariants(), "");
}

TEST(ComponentManagerTest, activateDeactivate) {
    Scene scene{1};
    TestManager manager{8};
    scene.graph.setComponentManager(0, "test", &manager);
    Id ids[6];
    for(Id& id: ids) id = manager.addComponent(Id{1});
    manager.activate(Utils::IndexRange{0, 3});
    manager.calls.clear();
    ASSERT_EQ(manager.activeCount(), 3);

    /* 3 active, 2 inactive: a new component lands at index 5, inactive; activating it swaps it
       with index 3 */
    EXPECT_EQ(manager.indexOf(ids[5]), 5);
    const Id atThree = manager.idOf(3);
    EXPECT_EQ(manager.activate(5), 3);
    EXPECT_EQ(manager.activeCount(), 4);
    EXPECT_EQ(manager.indexOf(ids[5]), 3);
    EXPECT_EQ(manager.indexOf(atThree), 5);
    EXPECT_EQ(manager.calls, std::vector<std::string>{"activate 3"});

    /* Activating an active index returns it and calls nothing; deactivating an inactive one
       returns the active count */
    manager.calls.clear();
    EXPECT_EQ(manager.activate(1), 1);
    EXPECT_EQ(manager.deactivate(5), 4);
    EXPECT_TRUE(manager.calls.empty());

    /* Deactivating index 0 swaps it with the last active one */
    const Id first = manager.idOf(0);
    const Id lastActive = manager.idOf(3);
    EXPECT_EQ(manager.deactivate(0), 3);
    EXPECT_EQ(manager.indexOf(first), 3);
    EXPECT_EQ(manager.indexOf(lastActive), 0);
    EXPECT_EQ(manager.activeCount(), 3);
    EXPECT_EQ(manager.calls, std::vector<std::string>{"deactivate 3"});

    /* Ids and indices stay consistent throughout */
    for(IndexType i = 0; i != manager.size(); ++i) EXPECT_EQ(manager.indexOf(manager.idOf(i)), i);
}

TEST(ComponentManagerTest, activateRangeUsesIndicesAtCallTime) {
    Scene scene{1};
    TestManager manager{8};
    scene.graph.setComponentManager(0, "test", &manager);
    for(int i = 0; i != 5; ++i) manager.value(manager.indexOf(manager.addComponent(Id{1}))) = 10 + i;
    /* Index 2 swaps to 0, then index 3 swaps to 1: components 12 and 13 become active */
    manager.activate(Utils::IndexRange{2, 4});
    EXPECT_EQ(manager.activeCount(), 2);
    EXPECT_EQ(manager.value(0), 12);
    EXPECT_EQ(manager.value(1), 13);
    /* Deactivating a range leaves exactly the components at its indices inactive */
    manager.activate(Utils::IndexRange{2, 5});
    ASSERT_EQ(manager.activeCount(), 5);
    const Id atOne = manager.idOf(1), atTwo = manager.idOf(2), atThree = manager.idOf(3);
    manager.deactivate(Utils::IndexRange{1, 4});
    EXPECT_EQ(manager.activeCount(), 2);
    EXPECT_FALSE(manager.isActive(manager.indexOf(atOne)));
    EXPECT_FALSE(manager.isActive(manager.indexOf(atTwo)));
    EXPECT_FALSE(manager.isActive(manager.indexOf(atThree)));
    manager.deactivate(Utils::IndexRange{0, 2});
    EXPECT_EQ(manager.activeCount(), 0);
    /* Deactivating the only active component leaves it at index 0 */
    manager.activate(4);
    const Id only = manager.idOf(0);
    EXPECT_EQ(manager.deactivate(0), 0);
    EXPECT_EQ(manager.activeCount(), 0);
    EXPECT_EQ(manager.indexOf(only), 0);
}

TEST(ComponentManagerTest, deleteComponent) {
    Scene scene{1};
    TestManager manager{8};
    scene.graph.setComponentManager(0, "test", &manager);
    Id ids[4];
    for(int i = 0; i != 4; ++i) {
        ids[i] = manager.addComponent(Id{1});
        manager.value(manager.indexOf(ids[i])) = i;
    }
    manager.activate(Utils::IndexRange{0, 2});
    manager.calls.clear();

    /* An active component is deactivated first (hook), then removed; the last live component
       fills its slot */
    manager.deleteComponent(manager.indexOf(ids[0]));
    EXPECT_EQ(manager.calls, std::vector<std::string>{"deactivate 1"});
    EXPECT_EQ(manager.size(), 3);
    EXPECT_EQ(manager.activeCount(), 1);
    EXPECT_TRUE(manager.isDeleted(ids[0]));
    EXPECT_EQ(manager.valueOf(ids[1]), 1);
    EXPECT_EQ(manager.valueOf(ids[2]), 2);
    EXPECT_EQ(manager.valueOf(ids[3]), 3);
    EXPECT_EQ(manager.indexOf(ids[3]), 1);

    /* The manager alone does not touch the object's run */
    EXPECT_EQ(scene.graph.componentIds(Id{1}).size(), 4);

    /* The host call deletes from both */
    scene.graph.deleteComponent(Id{1}, 0, ids[3]);
    EXPECT_EQ(manager.size(), 2);
    EXPECT_EQ(scene.graph.componentIds(Id{1}).size(), 3);
    for(const Id id: scene.graph.componentIds(Id{1})) EXPECT_NE(id, ids[3]);

    /* The id most recently removed comes back first, with default values */
    const Id again = manager.addComponent(Id{1});
    EXPECT_EQ(again, ids[3]);
    EXPECT_EQ(manager.valueOf(again), 0);
}

TEST(ComponentManagerTest, update) {
    Scene scene{1};
    TestManager manager{8};
    scene.graph.setComponentManager(0, "test", &manager);
    const Id a = manager.addComponent(Id{1});
    const Id b = manager.addComponent(Id{1});
    manager.addComponent(Id{1});
    manager.activate(manager.indexOf(b));
    manager.activate(manager.indexOf(a));
    scene.graph.activate();
    manager.calls.clear();

    manager.update(0.016);
    manager.update(0.016);
    EXPECT_DOUBLE_EQ(manager.lastTimeStep(), 0.016);
    EXPECT_DOUBLE_EQ(manager.accumulatedTime(), 0.032);
    /* Active components only, in index order, between pre and post */
    const std::string ua = "update " + std::to_string(std::uint16_t(a));
    const std::string ub = "update " + std::to_string(std::uint16_t(b));
    EXPECT_EQ(manager.calls, (std::vector<std::string>{"pre", ub, ua, "post", "pre", ub, ua, "post"}));
    EXPECT_EQ(manager.valueOf(a), 2);
    EXPECT_EQ(manager.value(2), 0);
}

TEST(ComponentManagerTest, inSceneHooks) {
    Scene scene{1};
    TestManager silent{8};
    TestManager hooked{8, "hooked"};
    hooked.inSceneHooks = true;
    scene.graph.setComponentManager(0, "silent", &silent);
    scene.graph.setComponentManager(1, "hooked", &hooked);
    for(TestManager* m: {&silent, &hooked}) {
        for(int i = 0; i != 3; ++i) m->addComponent(Id{1});
        m->activate(Utils::IndexRange{0, 2});
        m->calls.clear();
    }
    scene.graph.activate();
    EXPECT_TRUE(silent.calls.empty());
    EXPECT_EQ(hooked.calls, (std::vector<std::string>{"activateInScene 0", "activateInScene 1"}));
    hooked.calls.clear();
    scene.graph.deactivate();
    EXPECT_TRUE(silent.calls.empty());
    EXPECT_EQ(hooked.calls, (std::vector<std::string>{"deactivateInScene 0", "deactivateInScene 1"}));
}

TEST(ComponentManagerTest, growthKeepsComponents) {
    Scene scene{1};
    TestManager manager{2};
    scene.graph.setComponentManager(0, "test", &manager);
    std::ostringstream warnings;
    std::vector<Id> ids;
    {
        Warning redirect{&warnings};
        for(int i = 0; i != 5; ++i) {
            ids.push_back(manager.addComponent(Id{1}));
            manager.value(manager.indexOf(ids.back())) = 100 + i;
            manager.activate(manager.indexOf(ids.back()));
        }
    }
    EXPECT_EQ(warnings.str(), "SparseArray::add(): On the fly allocation was required\n");
    EXPECT_EQ(manager.capacity(), 34);
    EXPECT_EQ(manager.activeCount(), 5);
    for(int i = 0; i != 5; ++i) {
        EXPECT_EQ(manager.valueOf(ids[i]), 100 + i);
        EXPECT_EQ(manager.owner(manager.indexOf(ids[i])), Id{1});
    }
}

TEST(ComponentManagerTest, deleteObjectsDeletesComponents) {
    Scene scene{0};
    TestManager manager{8};
    scene.graph.setComponentManager(0, "test", &manager);
    const Id parent = scene.graph.addObject(Id{0});
    const Id child = scene.graph.addObject(parent);
    const Id other = scene.graph.addObject(Id{0});
    const Id p1 = manager.addComponent(parent);
    const Id c1 = manager.addComponent(child);
    const Id o1 = manager.addComponent(other);
    const Id p2 = manager.addComponent(parent);
    manager.activate(Utils::IndexRange{0, 4});
    std::vector<std::pair<int, int>> deleted;
    scene.graph.setComponentDeletedCallback([&](std::uint8_t slot, Id id) { deleted.emplace_back(slot, std::uint16_t(id)); });

    scene.graph.deleteObjects(parent);
    /* Last to first per object, objects in index order */
    EXPECT_EQ(deleted, (std::vector<std::pair<int, int>>{{0, std::uint16_t(p2)}, {0, std::uint16_t(p1)}, {0, std::uint16_t(c1)}}));
    EXPECT_EQ(manager.size(), 1);
    EXPECT_EQ(manager.activeCount(), 1);
    EXPECT_EQ(manager.idOf(0), o1);
    EXPECT_EQ(scene.graph.componentCount(), 1);
    EXPECT_EQ(scene.graph.checkInvariants(), "");
}

TEST(ComponentManagerTest, cloneObjectCarriesComponents) {
    Scene scene{0};
    TestManager manager{8};
    scene.graph.setComponentManager(0, "test", &manager);
    const Id parent = scene.graph.addObject(Id{0});
    const Id child = scene.graph.addObject(parent);
    const Id a = manager.addComponent(parent);
    const Id b = manager.addComponent(child);
    manager.value(manager.indexOf(a)) = 7;
    manager.value(manager.indexOf(b)) = 9;
    manager.activate(manager.indexOf(b));

    const Id copy = scene.graph.cloneObject(parent, Id{0});
    const Id childCopy = scene.graph.idOf(IndexType(scene.graph.indexOf(copy) + 1));
    ASSERT_EQ(scene.graph.componentIds(copy).size(), 1);
    ASSERT_EQ(scene.graph.componentIds(childCopy).size(), 1);
    const Id ac = scene.graph.componentIds(copy)[0];
    const Id bc = scene.graph.componentIds(childCopy)[0];
    EXPECT_EQ(manager.valueOf(ac), 7);
    EXPECT_EQ(manager.valueOf(bc), 9);
    EXPECT_EQ(manager.owner(manager.indexOf(ac)), copy);
    EXPECT_EQ(manager.owner(manager.indexOf(bc)), childCopy);
    EXPECT_FALSE(manager.isActive(manager.indexOf(ac)));
    EXPECT_TRUE(manager.isActive(manager.indexOf(bc)));
    EXPECT_EQ(manager.size(), 4);
    EXPECT_EQ(scene.graph.checkInvariants(), "");
}

TEST(ComponentManagerTest, appendTranslatesOwners) {
    Quiet quiet;
    SceneGraph target{8, 2, 8};
    SceneGraph source{8, 2, 8};
    TestManager targetManager{4};
    TestManager sourceManager{4};
    target.setComponentManager(0, "test", &targetManager);
    source.setComponentManager(0, "test", &sourceManager);

    const Id t1 = target.addObject(Id{0});
    const Id existing = targetManager.addComponent(t1);
    targetManager.value(0) = -1;

    /* Source objects with ids that differ from their indices */
    const Id s1 = source.addObject(Id{0});
    const Id s2 = source.addObject(Id{0});
    const Id s3 = source.addObject(s1);
    source.deleteObjects(s2);
    const Id s4 = source.addObject(s3);
    ASSERT_NE(std::uint16_t(source.indexOf(s4)), std::uint16_t(s4));
    const Id onS4 = sourceManager.addComponent(s4);
    const Id onS1 = sourceManager.addComponent(s1);
    const Id onRoot = sourceManager.addComponent(Id{0});
    sourceManager.value(sourceManager.indexOf(onS4)) = 4;
    sourceManager.value(sourceManager.indexOf(onS1)) = 1;
    sourceManager.value(sourceManager.indexOf(onRoot)) = 100;
    sourceManager.activate(sourceManager.indexOf(onS1));

    std::vector<std::pair<Id, Id>> mapping;
    target.append(source, [&](Id from, Id to) { mapping.emplace_back(from, to); });
    auto mapped = [&](Id from) {
        for(const auto& m: mapping) if(m.first == from) return m.second;
        return Id{0xffff};
    };
    EXPECT_EQ(target.checkInvariants(), "");
    EXPECT_EQ(targetManager.size(), 4);
    EXPECT_EQ(targetManager.valueOf(existing), -1);
    /* Every appended component sits on the translated object and is listed in its run */
    for(IndexType i = 0; i != targetManager.size(); ++i) {
        const Id id = targetManager.idOf(i);
        if(id == existing) continue;
        const int value = targetManager.value(i);
        const Id expectedOwner = value == 4 ? mapped(s4) : value == 1 ? mapped(s1) : Id{0};
        EXPECT_EQ(targetManager.owner(i), expectedOwner) << value;
        bool listed = false;
        for(const Id c: target.componentIds(expectedOwner)) listed = listed || c == id;
        EXPECT_TRUE(listed) << value;
        /* The active state comes along */
        EXPECT_EQ(targetManager.isActive(i), value == 1) << value;
    }
    EXPECT_EQ(target.componentCount(), 4);
}

TEST(ComponentManagerTest, destructionDetaches) {
    Quiet quiet;
    auto graph = std::make_unique<SceneGraph>(4, 2, 4);
    const Id object = graph->addObject(Id{0});
    {
        TestManager manager{4};
        graph->setComponentManager(1, "test", &manager);
        manager.addComponent(object);
        manager.addComponent(object);
    }
    /* The manager's components left the runs with it */
    EXPECT_EQ(graph->componentManager(1), nullptr);
    EXPECT_EQ(graph->componentCount(), 0);
    EXPECT_EQ(graph->checkInvariants(), "");

    TestManager manager{4};
    graph->setComponentManager(0, "test", &manager);
    graph.reset();
    EXPECT_EQ(manager.sceneGraph(), nullptr);
}

TEST(ComponentManagerDeathTest, updateInactiveScene) {
    Scene scene{1};
    TestManager manager{4};
    scene.graph.setComponentManager(0, "test", &manager);
    EXPECT_DEATH(manager.update(0.1), "^Assertion _sceneGraph->activated\\(\\) failed at Data/ComponentManager:30\n$");
}

TEST(ComponentManagerDeathTest, unregistered) {
    TestManager manager{4};
    EXPECT_DEATH(manager.update(0.1), "^ComponentManager::update\\(\\): the manager is not registered with a scene graph\n$");
    EXPECT_DEATH(manager.addComponent(Id{0}), "^ComponentManager::addComponent\\(\\): the manager is not registered with a scene graph\n$");
}

TEST(ComponentManagerDeathTest, invalidIndices) {
    Scene scene{1};
    TestManager manager{4};
    scene.graph.setComponentManager(0, "test", &manager);
    manager.addComponent(Id{1});
    EXPECT_DEATH(manager.addComponent(Id{3}), "^ComponentManager::addComponent\\(\\): object Id\\(3\\) is not alive\n$");
    EXPECT_DEATH(manager.activate(1), "^SparseArrayActive::activate\\(\\): index 1 out of range for 1 elements\n$");
    EXPECT_DEATH(manager.deactivate(2), "^SparseArrayActive::deactivate\\(\\): index 2 out of range for 1 elements\n$");
    EXPECT_DEATH(manager.deleteComponent(1), "^ComponentManager::deleteComponent\\(\\): index 1 out of range for 1 components\n$");
}

TEST(ComponentManagerTest, appendDropsComponentsWithoutManager) {
    Quiet quiet;
    SceneGraph target{4, 2, 4};
    SceneGraph source{4, 2, 4};
    TestManager sourceManager{4};
    source.setComponentManager(1, "test", &sourceManager);
    sourceManager.addComponent(source.addObject(Id{0}));
    std::ostringstream warnings;
    {
        Warning redirect{&warnings};
        target.append(source);
    }
    EXPECT_EQ(warnings.str(), "SceneGraph::append(): components of manager slot 1 dropped, this scene graph has no manager there\n");
    EXPECT_EQ(target.size(), 2);
    EXPECT_EQ(target.componentCount(), 0);
}

/* A manager whose layout does not start with the owner column */
struct BadLayoutManager: ComponentManager {
    BadLayoutManager(): ComponentManager{0}, _layout{*this} {
        setLayout(&_layout);
        allocate(4);
    }
    const char* name() const override { return "bad"; }
    void updateComponent(IndexType) override {}
    SparseArrayStaticLayout<SparseLayer<float>, SparseLayer<Id, SparseLayerFlag::ObjectId>> _layout;
};

TEST(ComponentManagerDeathTest, layoutWithoutOwnerColumnFirst) {
    EXPECT_DEATH(BadLayoutManager{}, "^ComponentManager::init\\(\\): the first column of the layout is not the owner column\n$");
}

TEST(ComponentManagerDeathTest, appendInvalid) {
    Scene scene{1};
    TestManager a{4};
    TestManager unregistered{4};
    scene.graph.setComponentManager(0, "a", &a);
    EXPECT_DEATH(a.append(unregistered, 0), "^ComponentManager::append\\(\\): the manager is not registered with a scene graph\n$");
    EXPECT_DEATH(a.append(a, 0), "^ComponentManager::append\\(\\): cannot append a manager to itself\n$");
    EXPECT_DEATH(a.cloneComponent(Id{2}, Id{1}), "^ComponentManager::cloneComponent\\(\\): component Id\\(2\\) is not alive\n$");
}

TEST(ComponentManagerDeathTest, appendDifferentType) {
    Scene scene{1};
    TestManager a{4, "a"};
    TestManager b{4, "b"};
    scene.graph.setComponentManager(0, "a", &a);
    scene.graph.setComponentManager(1, "b", &b);
    EXPECT_DEATH(a.append(b, 0), "^ComponentManager::append\\(\\): Cannot append component from manager of different type\n$");
}

}}}
