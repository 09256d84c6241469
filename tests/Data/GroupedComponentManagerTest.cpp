#include <algorithm>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "QuillmarshEngine/Data/GroupedComponentManager.h"
#include "QuillmarshEngine/Data/SceneGraph.h"
#include "QuillmarshEngine/Data/SparseLayer.h"
#include "QuillmarshEngine/Debug.h"
#include "../OutputCapture.h"

namespace QuillmarshEngine { namespace Data { namespace {

typedef SparseArray::IndexType IndexType;

using Testing::Quiet;

struct TestManager: GroupedComponentManager {
    explicit TestManager(IndexType capacity, std::uint16_t groups, std::uint16_t subgroups): GroupedComponentManager{4, groups, subgroups}, _layout{*this} {
        setLayout(&_layout);
        allocate(capacity);
    }

    const char* name() const override { return "grouped"; }
    void updateComponent(IndexType) override {}
    void doActivate(IndexType index) override { activated.push_back(index); }

    int& value(IndexType index) { return _layout.get<2>()[index]; }
    std::uint32_t& tailWord() { return *reinterpret_cast<std::uint32_t*>(managerHeaderTail()); }
    std::vector<int> offsets() const { return {grouped().groupOffsets().begin(), grouped().groupOffsets().end()}; }

    std::vector<IndexType> activated;
    SparseArrayStaticLayout<SparseLayer<Id, SparseLayerFlag::ObjectId>, SparseLayerOwner<GroupedComponentManager>, SparseLayer<int>> _layout;
};

struct Scene {
    Quiet quiet;
    SceneGraph graph{8, 2, 8};
    Id object;
    Scene() { object = graph.addObject(Id{0}); }
};

std::vector<int> changedGroups(const TestManager& manager) {
    std::vector<int> out;
    for(std::uint16_t g = 0; g != manager.grouped().groupsCount(); ++g)
        if(manager.grouped().isGroupChanged(g)) out.push_back(g);
    return out;
}

/* Ids and both tables consistent for every initialized slot */
void expectTablesConsistent(const TestManager& manager) {
    for(IndexType i = 0; i != manager.initializedCount(); ++i)
        EXPECT_EQ(manager.indexOf(manager.idOf(i)), i) << "index " << i;
}

TEST(GroupedComponentManagerTest, construct) {
    TestManager manager{5, 2, 3};
    EXPECT_EQ(manager.grouped().groupsCount(), 2);
    EXPECT_EQ(manager.grouped().subGroupsCount(), 3);
    EXPECT_EQ(manager.offsets(), std::vector<int>(7, 0));
    /* 16 + 4 of the base + 8 of the grouped manager + the subclass's 4 */
    EXPECT_EQ(manager.headerSize(), 32u);
    std::uint16_t counts[2];
    std::memcpy(counts, manager.data().data() + 20, 4);
    EXPECT_EQ(counts[0], 2);
    EXPECT_EQ(counts[1], 3);
    manager.tailWord() = 0xffffffffu;
    EXPECT_EQ(manager.grouped().groupsCount(), 2);
    /* Block: header, tables, owner column, offsets and slot column, the int column */
    EXPECT_EQ(manager.data().size(), 32u + 4*5 + 12 + 16 + 12 + 20);

    TestManager single{2, 1, 1};
    EXPECT_EQ(single.offsets(), (std::vector<int>{0, 0}));
}

TEST(GroupedComponentManagerTest, documentedExample) {
    Scene scene;
    TestManager manager{8, 2, 2};
    scene.graph.setComponentManager(0, "grouped", &manager);
    /* Active components in slots (0, 0, 1, 3) */
    const std::uint16_t slots[]{0, 0, 1, 3};
    Id ids[4];
    for(int i = 0; i != 4; ++i) {
        ids[i] = manager.addComponent(scene.object);
        manager.value(manager.indexOf(ids[i])) = i;
        EXPECT_EQ(manager.setGroup(manager.indexOf(ids[i]), slots[i]/2, slots[i] % 2), manager.indexOf(ids[i]));
    }
    /* Setting the key of an inactive component only stores it */
    EXPECT_EQ(manager.offsets(), (std::vector<int>{0, 0, 0, 0, 0}));
    EXPECT_EQ(manager.grouped().slot(3), 3);
    for(int i = 0; i != 4; ++i) manager.activate(manager.indexOf(ids[i]));
    EXPECT_EQ(manager.offsets(), (std::vector<int>{0, 2, 3, 3, 4}));
    for(int i = 0; i != 4; ++i) EXPECT_EQ(manager.indexOf(ids[i]), i);

    manager.grouped().resetChangedGroups();
    EXPECT_EQ(manager.setGroup(3, 0, 1), 3);
    EXPECT_EQ(manager.offsets(), (std::vector<int>{0, 2, 4, 4, 4}));
    EXPECT_EQ(manager.grouped().slot(3), 1);
    EXPECT_EQ(manager.idOf(3), ids[3]);
    EXPECT_EQ(changedGroups(manager), (std::vector<int>{0, 1}));

    /* The same key again changes and marks nothing */
    manager.grouped().resetChangedGroups();
    EXPECT_EQ(manager.setGroup(3, 0, 1), 3);
    EXPECT_TRUE(changedGroups(manager).empty());

    /* Moving the first component backwards to slot 1 puts it at the end of that slot */
    EXPECT_EQ(manager.setGroup(0, 0, 1), 3);
    EXPECT_EQ(manager.offsets(), (std::vector<int>{0, 1, 4, 4, 4}));
    EXPECT_EQ(manager.idOf(3), ids[0]);
    EXPECT_EQ(manager.value(3), 0);
    EXPECT_EQ(manager.idOf(0), ids[1]);
    expectTablesConsistent(manager);

    /* Deactivating the only component of slot 0 leaves it empty */
    EXPECT_EQ(manager.deactivate(0), 3);
    EXPECT_EQ(manager.offsets(), (std::vector<int>{0, 0, 3, 3, 3}));
    EXPECT_EQ(manager.idOf(3), ids[1]);
    expectTablesConsistent(manager);
}

TEST(GroupedComponentManagerTest, activateIntoLastSlotAndBack) {
    /* No inactive or removed component behind the active ones, the table full: a move that
       rewrote the entry at its target would clobber id 0 or read past the table */
    Scene scene;
    TestManager manager{1, 2, 2};
    scene.graph.setComponentManager(0, "grouped", &manager);
    const Id id = manager.addComponent(scene.object);
    EXPECT_EQ(manager.activate(0), 0);
    EXPECT_EQ(manager.offsets(), (std::vector<int>{0, 1, 1, 1, 1}));
    EXPECT_EQ(manager.deactivate(0), 0);
    EXPECT_EQ(manager.offsets(), (std::vector<int>{0, 0, 0, 0, 0}));
    EXPECT_EQ(manager.indexOf(id), 0);
    EXPECT_EQ(manager.idOf(0), id);

    TestManager two{2, 2, 2};
    scene.graph.setComponentManager(1, "grouped", &two);
    const Id a = two.addComponent(scene.object);
    const Id b = two.addComponent(scene.object);
    two.setGroup(1, 1, 1);
    EXPECT_EQ(two.activate(1), 0);
    EXPECT_EQ(two.activate(1), 0);
    EXPECT_EQ(two.idOf(0), a);
    EXPECT_EQ(two.idOf(1), b);
    EXPECT_EQ(two.offsets(), (std::vector<int>{0, 1, 1, 1, 2}));
    EXPECT_EQ(two.deactivate(0), 1);
    EXPECT_EQ(two.offsets(), (std::vector<int>{0, 0, 0, 0, 1}));
    EXPECT_EQ(two.idOf(0), b);
    EXPECT_EQ(two.idOf(1), a);
    expectTablesConsistent(two);
}

TEST(GroupedComponentManagerTest, copySortsTargetIntoKey) {
    Scene scene;
    TestManager manager{8, 3, 1};
    scene.graph.setComponentManager(0, "grouped", &manager);
    Id ids[3];
    for(int i = 0; i != 3; ++i) {
        ids[i] = manager.addComponent(scene.object);
        manager.setGroup(manager.indexOf(ids[i]), std::uint16_t(i), 0);
        manager.value(manager.indexOf(ids[i])) = 10*i;
        manager.activate(manager.indexOf(ids[i]));
    }
    EXPECT_EQ(manager.offsets(), (std::vector<int>{0, 1, 2, 3}));
    /* Copy the group-2 component onto the group-0 one: it moves to the end of group 2 and
       keeps its owner */
    manager.copy(manager.indexOf(ids[2]), manager.indexOf(ids[0]));
    EXPECT_EQ(manager.offsets(), (std::vector<int>{0, 0, 1, 3}));
    EXPECT_EQ(manager.indexOf(ids[0]), 2);
    EXPECT_EQ(manager.value(2), 20);
    EXPECT_EQ(manager.grouped().slot(2), 2);
    EXPECT_EQ(manager.owner(2), scene.object);
    expectTablesConsistent(manager);
}

TEST(GroupedComponentManagerTest, addGroups) {
    Scene scene;
    TestManager manager{4, 1, 2};
    scene.graph.setComponentManager(0, "grouped", &manager);
    for(int i = 0; i != 3; ++i) {
        const Id id = manager.addComponent(scene.object);
        manager.setGroup(manager.indexOf(id), 0, std::uint16_t(i % 2));
        manager.value(manager.indexOf(id)) = i;
        manager.activate(manager.indexOf(id));
    }
    const Id inactive = manager.addComponent(scene.object);
    manager.value(manager.indexOf(inactive)) = 3;
    EXPECT_EQ(manager.offsets(), (std::vector<int>{0, 2, 3}));
    manager.grouped().resetChangedGroups();

    manager.addGroups(2);
    EXPECT_EQ(manager.grouped().groupsCount(), 3);
    EXPECT_EQ(manager.offsets(), (std::vector<int>{0, 2, 3, 3, 3, 3, 3}));
    EXPECT_EQ(changedGroups(manager), (std::vector<int>{0, 1, 2}));
    /* Everything else survived the rebuild */
    EXPECT_EQ(manager.capacity(), 4);
    for(IndexType i = 0; i != 4; ++i) EXPECT_EQ(manager.owner(i), scene.object);
    EXPECT_EQ(manager.value(3), 3);
    expectTablesConsistent(manager);

    manager.setGroup(manager.indexOf(inactive), 2, 1);
    EXPECT_EQ(manager.activate(manager.indexOf(inactive)), 3);
    EXPECT_EQ(manager.offsets(), (std::vector<int>{0, 2, 3, 3, 3, 3, 4}));
}

TEST(GroupedComponentManagerTest, growthKeepsChangedGroups) {
    Scene scene;
    TestManager manager{1, 40, 1};
    scene.graph.setComponentManager(0, "grouped", &manager);
    const Id id = manager.addComponent(scene.object);
    manager.setGroup(0, 35, 0);
    manager.activate(0);
    manager.grouped().resetChangedGroups();
    manager.setGroup(0, 33, 0);
    EXPECT_EQ(changedGroups(manager), (std::vector<int>{33, 35}));
    /* Growth rebuilds the block and the grouping; unread changes stay */
    manager.addComponent(scene.object);
    EXPECT_EQ(manager.capacity(), 33);
    EXPECT_EQ(changedGroups(manager), (std::vector<int>{33, 35}));
    EXPECT_EQ(manager.grouped().slot(manager.indexOf(id)), 33);
    EXPECT_EQ(manager.grouped().groupRange(33), (Utils::IndexRange{0, 1}));
}

TEST(GroupedComponentManagerTest, deleteAndReuseResetsSlot) {
    Scene scene;
    TestManager manager{4, 2, 1};
    scene.graph.setComponentManager(0, "grouped", &manager);
    const Id a = manager.addComponent(scene.object);
    const Id b = manager.addComponent(scene.object);
    manager.setGroup(manager.indexOf(a), 1, 0);
    manager.activate(manager.indexOf(a));
    manager.activate(manager.indexOf(b));
    EXPECT_EQ(manager.offsets(), (std::vector<int>{0, 1, 2}));
    scene.graph.deleteComponent(scene.object, 0, a);
    EXPECT_EQ(manager.offsets(), (std::vector<int>{0, 1, 1}));
    EXPECT_EQ(manager.size(), 1);
    const Id again = manager.addComponent(scene.object);
    EXPECT_EQ(again, a);
    EXPECT_EQ(manager.grouped().slot(manager.indexOf(again)), 0);
    manager.activate(manager.indexOf(again));
    EXPECT_EQ(manager.offsets(), (std::vector<int>{0, 2, 2}));
}

/* Plain model of the manager and its scene graph, checked after every step */
struct ModelComponent {
    Id owner;
    int value;
    std::uint16_t slot;
    bool active;
};

struct Model {
    std::map<std::uint16_t, ModelComponent> components;

    std::size_t activeCount() const {
        return std::count_if(components.begin(), components.end(), [](const auto& c) { return c.second.active; });
    }
};

void checkModel(const TestManager& manager, const SceneGraph& graph, const Model& model) {
    ASSERT_EQ(graph.checkInvariants(), "");
    ASSERT_EQ(manager.size(), model.components.size());
    ASSERT_EQ(manager.activeCount(), model.activeCount());
    for(IndexType i = 0; i != manager.size(); ++i) {
        const Id id = manager.idOf(i);
        ASSERT_EQ(manager.indexOf(id), i);
        const auto found = model.components.find(id);
        ASSERT_NE(found, model.components.end()) << "index " << i;
        const ModelComponent& c = found->second;
        ASSERT_EQ(manager.isActive(i), c.active) << "index " << i;
        ASSERT_EQ(manager.grouped().slot(i), c.slot) << "index " << i;
        ASSERT_EQ(manager.owner(i), c.owner) << "index " << i;
        ASSERT_EQ(const_cast<TestManager&>(manager).value(i), c.value) << "index " << i;
    }
    for(IndexType i = manager.size(); i != manager.initializedCount(); ++i)
        ASSERT_EQ(manager.indexOf(manager.idOf(i)), i);

    const std::vector<int> offsets = manager.offsets();
    ASSERT_EQ(offsets.size(), manager.grouped().slotCount() + 1);
    ASSERT_EQ(offsets.front(), 0);
    ASSERT_EQ(offsets.back(), manager.activeCount());
    ASSERT_TRUE(std::is_sorted(offsets.begin(), offsets.end()));
    for(IndexType i = 0; i != manager.activeCount(); ++i) {
        const std::uint16_t slot = manager.grouped().slot(i);
        ASSERT_LE(offsets[slot], i);
        ASSERT_LT(i, offsets[slot + 1]);
    }

    /* Every live object's run lists exactly its components */
    std::size_t listed = 0;
    for(IndexType o = 0; o != graph.size(); ++o) {
        const Id object = graph.idOf(o);
        std::vector<std::uint16_t> fromRun, fromModel;
        for(std::size_t k = 0; k != graph.componentIds(object).size(); ++k)
            if(graph.componentManagerIndices(object)[k] == manager.managerIndex())
                fromRun.push_back(graph.componentIds(object)[k]);
        for(const auto& [id, c]: model.components) if(c.owner == object) fromModel.push_back(id);
        std::sort(fromRun.begin(), fromRun.end());
        ASSERT_EQ(fromRun, fromModel) << "object " << object.value;
        listed += fromRun.size();
    }
    ASSERT_EQ(listed, model.components.size());
}

void runRandomized(const unsigned seed, const std::uint16_t groups, const std::uint16_t subgroups) {
    SCOPED_TRACE(seed);
    Quiet quiet;
    std::mt19937 rng{seed};
    auto pick = [&](std::uint32_t n) { return std::uint32_t(rng() % n); };
    SceneGraph graph{4, 2, 4};
    TestManager manager{3, groups, subgroups};
    graph.setComponentManager(1, "grouped", &manager);
    Model model;
    int nextValue = 1;

    auto liveObject = [&] { return graph.idOf(IndexType(pick(graph.size()))); };
    auto randomIndex = [&] { return IndexType(pick(manager.size())); };

    for(int step = 0; step != 400; ++step) {
        SCOPED_TRACE(step);
        const std::uint32_t op = pick(100);
        if(op < 10 || graph.size() < 3) {
            graph.addObject(liveObject());
        } else if(op < 30 || manager.size() == 0) {
            const Id owner = liveObject();
            const Id id = manager.addComponent(owner);
            manager.value(manager.indexOf(id)) = nextValue;
            model.components[id] = {owner, nextValue++, 0, false};
        } else if(op < 50 && op >= 45 + 3) {
            /* Ranges: exactly the components at the indices at call time change state */
            const IndexType begin = randomIndex();
            const IndexType end = IndexType(begin + 1 + pick(manager.size() - begin));
            std::vector<Id> ids;
            for(IndexType i = begin; i != end; ++i) ids.push_back(manager.idOf(i));
            const bool activate = op == 49;
            if(activate) manager.activate(Utils::IndexRange{begin, end});
            else manager.deactivate(Utils::IndexRange{begin, end});
            for(const Id id: ids) {
                ASSERT_EQ(manager.isActive(manager.indexOf(id)), activate);
                model.components[id].active = activate;
            }
        } else if(op < 45) {
            const IndexType index = randomIndex();
            const Id id = manager.idOf(index);
            const bool wasActive = manager.isActive(index);
            manager.grouped().resetChangedGroups();
            const IndexType result = manager.activate(index);
            ASSERT_EQ(manager.idOf(result), id);
            if(wasActive) ASSERT_EQ(result, index);
            else ASSERT_TRUE(manager.grouped().isGroupChanged(model.components[id].slot/subgroups));
            model.components[id].active = true;
        } else if(op < 57) {
            const IndexType index = randomIndex();
            const Id id = manager.idOf(index);
            const bool wasActive = manager.isActive(index);
            const IndexType active = manager.activeCount();
            manager.grouped().resetChangedGroups();
            const IndexType result = manager.deactivate(index);
            if(wasActive) {
                ASSERT_EQ(result, active - 1);
                ASSERT_EQ(manager.idOf(result), id);
                ASSERT_TRUE(manager.grouped().isGroupChanged(model.components[id].slot/subgroups));
            } else ASSERT_EQ(result, active);
            model.components[id].active = false;
        } else if(op < 72) {
            const IndexType index = randomIndex();
            const Id id = manager.idOf(index);
            const std::uint16_t group = std::uint16_t(pick(manager.grouped().groupsCount()));
            const std::uint16_t subgroup = std::uint16_t(pick(subgroups));
            const std::uint16_t old = model.components[id].slot;
            const std::uint16_t slot = std::uint16_t(group*subgroups + subgroup);
            manager.grouped().resetChangedGroups();
            ASSERT_EQ(manager.idOf(manager.setGroup(index, group, subgroup)), id);
            if(model.components[id].active && old != slot) {
                ASSERT_TRUE(manager.grouped().isGroupChanged(old/subgroups));
                ASSERT_TRUE(manager.grouped().isGroupChanged(group));
            } else ASSERT_TRUE(changedGroups(manager).empty());
            model.components[id].slot = slot;
        } else if(op < 80) {
            const IndexType from = randomIndex();
            const IndexType to = randomIndex();
            const Id fromId = manager.idOf(from);
            const Id toId = manager.idOf(to);
            manager.copy(from, to);
            if(from != to) {
                model.components[toId].value = model.components[fromId].value;
                model.components[toId].slot = model.components[fromId].slot;
            }
        } else if(op < 88) {
            const Id id = manager.idOf(randomIndex());
            graph.deleteComponent(model.components[id].owner, 1, id);
            model.components.erase(id);
        } else if(op < 93) {
            const IndexType index = IndexType(1 + pick(graph.size() - 1));
            const IndexType last = IndexType(index + graph.descendantsCount(index));
            std::vector<Id> doomed;
            for(IndexType i = index; i <= last; ++i) doomed.push_back(graph.idOf(i));
            graph.deleteObjects(graph.idOf(index));
            std::erase_if(model.components, [&](const auto& c) {
                return std::find(doomed.begin(), doomed.end(), c.second.owner) != doomed.end();
            });
        } else if(op < 98) {
            const IndexType index = IndexType(1 + pick(graph.size() - 1));
            const Id object = graph.idOf(index);
            Id parent = liveObject();
            if(graph.isAncestor(index, graph.indexOf(parent)) || parent == object) parent = Id{0};
            const Id copy = graph.cloneObject(object, parent);
            /* Pair originals and copies by their pre-order position */
            const IndexType n = IndexType(graph.descendantsCount(graph.indexOf(object)) + 1);
            std::map<std::uint16_t, std::uint16_t> copyOf;
            for(IndexType k = 0; k != n; ++k)
                copyOf[graph.idOf(IndexType(graph.indexOf(object) + k))] = graph.idOf(IndexType(graph.indexOf(copy) + k));
            std::map<std::uint16_t, std::vector<std::tuple<int, int, bool>>> expected, got;
            for(const auto& [id, c]: model.components)
                if(copyOf.count(c.owner)) expected[copyOf[c.owner]].emplace_back(c.value, c.slot, c.active);
            for(IndexType i = 0; i != manager.size(); ++i) {
                const Id id = manager.idOf(i);
                if(model.components.count(id)) continue;
                const ModelComponent c{manager.owner(i), manager.value(i), manager.grouped().slot(i), manager.isActive(i)};
                got[c.owner].emplace_back(c.value, c.slot, c.active);
                model.components[id] = c;
            }
            for(auto& e: expected) std::sort(e.second.begin(), e.second.end());
            for(auto& g: got) std::sort(g.second.begin(), g.second.end());
            ASSERT_EQ(got, expected);
        } else if(manager.grouped().slotCount() + subgroups < 200) {
            manager.addGroups(1);
            ASSERT_EQ(changedGroups(manager).size(), manager.grouped().groupsCount());
        }
        checkModel(manager, graph, model);
        if(::testing::Test::HasFatalFailure()) return;
    }
}

TEST(GroupedComponentManagerTest, randomizedAgainstModel) {
    for(unsigned seed = 1; seed != 13; ++seed) {
        runRandomized(seed, 2, 2);
        if(HasFatalFailure()) return;
        runRandomized(seed*7919, 3, 1);
        if(HasFatalFailure()) return;
        runRandomized(seed*104729, 1, 1);
        if(HasFatalFailure()) return;
    }
}

TEST(GroupedComponentManagerTest, appendKeepsKeys) {
    Quiet quiet;
    SceneGraph target{4, 1, 4};
    SceneGraph source{4, 1, 4};
    TestManager targetManager{2, 2, 1};
    TestManager sourceManager{2, 2, 1};
    target.setComponentManager(0, "grouped", &targetManager);
    source.setComponentManager(0, "grouped", &sourceManager);
    const Id t = target.addObject(Id{0});
    const Id existing = targetManager.addComponent(t);
    targetManager.setGroup(0, 1, 0);
    targetManager.activate(0);
    const Id s = source.addObject(Id{0});
    for(int i = 0; i != 3; ++i) {
        const Id id = sourceManager.addComponent(s);
        sourceManager.value(sourceManager.indexOf(id)) = i + 1;
        sourceManager.setGroup(sourceManager.indexOf(id), std::uint16_t(i % 2), 0);
        if(i != 2) sourceManager.activate(sourceManager.indexOf(id));
    }
    target.append(source);
    EXPECT_EQ(targetManager.size(), 4);
    EXPECT_EQ(targetManager.activeCount(), 3);
    /* Group 0 holds the appended value 1, group 1 the existing component and value 2 */
    EXPECT_EQ(targetManager.offsets(), (std::vector<int>{0, 1, 3}));
    EXPECT_EQ(targetManager.value(0), 1);
    EXPECT_EQ(targetManager.idOf(1), existing);
    EXPECT_EQ(targetManager.value(2), 2);
    EXPECT_EQ(targetManager.value(3), 3);
    EXPECT_EQ(targetManager.grouped().slot(3), 0);
    expectTablesConsistent(targetManager);
    EXPECT_EQ(target.checkInvariants(), "");
}

TEST(GroupedComponentManagerDeathTest, invalid) {
    EXPECT_DEATH((TestManager{2, 0, 1}), "^SparseArrayGrouped::SparseArrayGrouped\\(\\): At least one item group and subgroup is required\n$");
    EXPECT_DEATH((TestManager{2, 1, 0}), "^SparseArrayGrouped::SparseArrayGrouped\\(\\): At least one item group and subgroup is required\n$");
    Scene scene;
    TestManager manager{4, 2, 2};
    scene.graph.setComponentManager(0, "grouped", &manager);
    manager.addComponent(scene.object);
    EXPECT_DEATH(manager.setGroup(0, 0, 2), "^Assertion subGroup < subGroupsCount\\(\\) failed at Data/SparseArrayGrouped:[0-9]+\n$");
    EXPECT_DEATH(manager.setGroup(0, 2, 0), "^Assertion IndexType\\(g \\+ 1\\) < _groupOffsets.size\\(\\) failed at Data/SparseArrayGrouped:[0-9]+\n$");
    EXPECT_DEATH(manager.setGroup(1, 0, 0), "^SparseArrayGrouped::setGroup\\(\\): index 1 out of range for 1 elements\n$");
    EXPECT_DEATH(manager.setGroup(0, 40000, 1), "^Assertion IndexType\\(g \\+ 1\\) < _groupOffsets.size\\(\\) failed at Data/SparseArrayGrouped:[0-9]+\n$");
    EXPECT_DEATH(manager.addGroups(40000), "^GroupedComponentManager::addGroups\\(\\): 40002 groups of 2 subgroups exceed 65534 slots\n$");
}

TEST(GroupedComponentManagerDeathTest, appendDifferentGrouping) {
    Quiet quiet;
    SceneGraph target{4, 1, 4};
    SceneGraph source{4, 1, 4};
    TestManager targetManager{2, 2, 2};
    TestManager sourceManager{2, 2, 1};
    target.setComponentManager(0, "grouped", &targetManager);
    source.setComponentManager(0, "grouped", &sourceManager);
    sourceManager.addComponent(source.addObject(Id{0}));
    EXPECT_DEATH(target.append(source), "^SparseArrayGrouped::appendSlots\\(\\): cannot append 2 x 1 slots to 2 x 2\n$");
}

}}}
