#include <sstream>

#include <gtest/gtest.h>

#include "QuillmarshEngine/Data/NameManager.h"
#include "QuillmarshEngine/Data/SceneGraph.h"
#include "QuillmarshEngine/Debug.h"
#include "../OutputCapture.h"

namespace QuillmarshEngine { namespace Data { namespace {

using Testing::Quiet;

TEST(NameManagerTest, construct) {
    NameManager names{4};
    EXPECT_STREQ(names.name(), "name");
    EXPECT_EQ(names.capacity(), 4);
    EXPECT_EQ(names.flags(), 0u);
    /* Only the owner column lives in the block */
    EXPECT_EQ(names.data().size(), 20u + 4*4 + 8);
}

TEST(NameManagerTest, setReadFind) {
    Quiet quiet;
    SceneGraph graph{8, 2, 8};
    NameManager names{2};
    graph.setComponentManager(1, "name", &names);
    const Id a = graph.addObject(Id{0});
    const Id b = graph.addObject(a);
    const Id c = graph.addObject(Id{0});

    EXPECT_EQ(names.objectName(a), "");
    EXPECT_FALSE(names.findObject("a"));
    const Id na = names.setObjectName(a, "alpha");
    names.setObjectName(b, "beta");
    names.setObjectName(Id{0}, "root");
    EXPECT_EQ(names.objectName(a), "alpha");
    EXPECT_EQ(names.objectName(b), "beta");
    EXPECT_EQ(names.objectName(Id{0}), "root");
    EXPECT_EQ(names.objectName(c), "");
    /* Renaming keeps the component */
    EXPECT_EQ(names.setObjectName(a, "a long name that no small-string buffer holds"), na);
    EXPECT_EQ(names.size(), 3);
    EXPECT_EQ(names.activeCount(), 3);
    EXPECT_EQ(names.objectName(a), "a long name that no small-string buffer holds");
    EXPECT_EQ(names.findObject("beta"), b);
    EXPECT_EQ(names.findObject("root"), Id{0});
    EXPECT_FALSE(names.findObject("alpha"));
    EXPECT_EQ(names.nameComponent(a), na);
    EXPECT_EQ(graph.componentIds(a).size(), 1);
    EXPECT_EQ(graph.checkInvariants(), "");
}

TEST(NameManagerTest, namesFollowIdsAndAreReleased) {
    Quiet quiet;
    SceneGraph graph{8, 1, 8};
    NameManager names{2};
    graph.setComponentManager(0, "name", &names);
    const Id a = graph.addObject(Id{0});
    const Id b = graph.addObject(a);
    const Id c = graph.addObject(Id{0});
    names.setObjectName(a, "a");
    names.setObjectName(b, "b");
    names.setObjectName(c, "c");
    /* Growth happened on the way; names stay put through swaps of removal */
    EXPECT_EQ(names.capacity(), 34);
    EXPECT_TRUE(names.removeObjectName(a));
    EXPECT_FALSE(names.removeObjectName(a));
    EXPECT_EQ(names.objectName(b), "b");
    EXPECT_EQ(names.objectName(c), "c");
    EXPECT_EQ(names.size(), 2);

    graph.deleteObjects(c);
    EXPECT_EQ(names.size(), 1);
    EXPECT_FALSE(names.findObject("c"));
    /* The reused component starts without the old name */
    const Id d = graph.addObject(Id{0});
    const Id reused = names.addComponent(d);
    EXPECT_EQ(names.componentName(names.indexOf(reused)), "");
    EXPECT_EQ(graph.checkInvariants(), "");
}

TEST(NameManagerTest, cloneAndAppend) {
    Quiet quiet;
    SceneGraph graph{8, 1, 8};
    NameManager names{4};
    graph.setComponentManager(0, "name", &names);
    const Id a = graph.addObject(Id{0});
    const Id b = graph.addObject(a);
    names.setObjectName(a, "parent");
    names.setObjectName(b, "child");
    const Id copy = graph.cloneObject(a, Id{0});
    EXPECT_EQ(names.objectName(copy), "parent");
    EXPECT_EQ(names.objectName(graph.idOf(SparseArray::IndexType(graph.indexOf(copy) + 1))), "child");

    SceneGraph other{4, 1, 4};
    NameManager otherNames{4};
    other.setComponentManager(0, "name", &otherNames);
    const Id x = other.addObject(Id{0});
    otherNames.setObjectName(x, "appended");
    graph.append(other);
    const std::optional<Id> found = names.findObject("appended");
    ASSERT_TRUE(found);
    EXPECT_EQ(graph.indexOf(*found), graph.size() - 1);
    EXPECT_EQ(names.objectName(*found), "appended");
    EXPECT_EQ(graph.checkInvariants(), "");
}

TEST(NameManagerTest, appendRootOnly) {
    Quiet quiet;
    SceneGraph graph{4, 1, 4};
    NameManager names{4};
    graph.setComponentManager(0, "name", &names);
    SceneGraph other{1, 1, 4};
    NameManager otherNames{4};
    other.setComponentManager(0, "name", &otherNames);
    otherNames.setObjectName(Id{0}, "other root");
    /* No object to append, but the other root's components still come along to this root */
    graph.append(other);
    EXPECT_EQ(graph.size(), 1);
    EXPECT_EQ(names.objectName(Id{0}), "other root");
    EXPECT_EQ(graph.checkInvariants(), "");
}

TEST(NameManagerDeathTest, unregistered) {
    NameManager names{4};
    EXPECT_DEATH(names.setObjectName(Id{0}, "x"), "^ComponentManager::addComponent\\(\\): the manager is not registered with a scene graph\n$");
}

}}}
