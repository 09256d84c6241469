#include <cstring>
#include <sstream>

#include <gtest/gtest.h>

#include "QuillmarshEngine/Data/InputManager.h"
#include "QuillmarshEngine/Data/SceneGraph.h"
#include "QuillmarshEngine/Debug.h"
#include "QuillmarshEngine/Math/Quaternion.h"
#include "QuillmarshEngine/Math/Vector3.h"

#include "../Math/Printers.h"
#include "../OutputCapture.h"

namespace QuillmarshEngine { namespace Data { namespace {

typedef SparseArray::IndexType IndexType;

using Testing::Quiet;
using Testing::print;

DualQuaternion poseOf(const float k) {
    return DualQuaternion::from(Quaternion::rotation(0.1f*k, Vector3{0.0f, 1.0f, 0.0f}), Vector3{k, 2.0f*k, -k});
}

/* A rig at (10, 0, 0) with one child per input type and a grandchild below the first */
struct Rig {
    Quiet quiet;
    SceneGraph graph{16, 1, 16};
    InputManager input{8};
    Id rig, objects[7], grandchild;

    Rig() {
        graph.setComponentManager(0, "input", &input);
        rig = graph.addObject(Id{0});
        graph.setLocalTransformation(graph.indexOf(rig), DualQuaternion::translation(Vector3{10.0f, 0.0f, 0.0f}));
        for(Id& object: objects) object = graph.addObject(rig);
        grandchild = graph.addObject(objects[0]);
        graph.setLocalTransformation(graph.indexOf(grandchild), DualQuaternion::translation(Vector3{0.0f, 0.0f, 1.0f}));
        graph.activate();
        graph.setDirty(0);
        graph.computeAbsoluteTransformations();
    }

    const DualQuaternion& local(Id object) const { return graph.localTransformation(graph.indexOf(object)); }
    const DualQuaternion& world(Id object) const { return graph.worldTransformation(graph.indexOf(object)); }
};

TEST(InputManagerTest, construct) {
    const InputManager input{4};
    EXPECT_STREQ(input.name(), "input");
    EXPECT_EQ(input.capacity(), 4);
    EXPECT_EQ(input.flags(), 0u);
    /* Header, the base's 4 tail bytes, seven poses, both tables, owners and types */
    EXPECT_EQ(input.headerSize(), 16u + 4 + 7*32);
    EXPECT_EQ(input.data().size(), 16u + 4 + 7*32 + 4*4 + 8 + 4);
    for(const DualQuaternion& pose: input.poses()) EXPECT_EQ(pose, DualQuaternion{});
}

TEST(InputManagerTest, printType) {
    EXPECT_EQ(print(InputType::Head), "InputType::Head\n");
    EXPECT_EQ(print(InputType::EyeLeft), "InputType::EyeLeft\n");
    EXPECT_EQ(print(InputType::EyeRight), "InputType::EyeRight\n");
    EXPECT_EQ(print(InputType::ControllerLeft), "InputType::ControllerLeft\n");
    EXPECT_EQ(print(InputType::ControllerRight), "InputType::ControllerRight\n");
    EXPECT_EQ(print(InputType::RayLeft), "InputType::RayLeft\n");
    EXPECT_EQ(print(InputType::RayRight), "InputType::RayRight\n");
    EXPECT_EQ(print(InputType(7)), "InputType(0x7)\n");
}

TEST(InputManagerTest, updateCopiesPosesIntoWorld) {
    Rig rig;
    Id components[7];
    for(std::uint8_t t = 0; t != 7; ++t) {
        components[t] = rig.input.addComponent(rig.objects[t]);
        rig.input.setInputType(rig.input.indexOf(components[t]), InputType(t));
        rig.input.setPose(InputType(t), poseOf(t + 1.0f));
    }
    /* Activated in reverse, so that types must follow their components through the swaps */
    for(std::uint8_t t = 7; t-- != 0; ) rig.input.activate(rig.input.indexOf(components[t]));
    rig.input.deactivate(rig.input.indexOf(components[6]));
    const Vector3 scaling{1.0f, 2.0f, 3.0f};
    rig.graph.setLocalScaling(rig.graph.indexOf(rig.objects[2]), scaling);

    rig.input.update(0.016);
    for(std::uint8_t t = 0; t != 6; ++t) {
        EXPECT_EQ(rig.local(rig.objects[t]), poseOf(t + 1.0f)) << int(t);
        EXPECT_TRUE(rig.graph.isDirty(rig.graph.indexOf(rig.objects[t])));
    }
    /* The inactive component does nothing; the pose replaces rotation and translation only */
    EXPECT_EQ(rig.local(rig.objects[6]), DualQuaternion{});
    EXPECT_FALSE(rig.graph.isDirty(rig.graph.indexOf(rig.objects[6])));
    EXPECT_EQ(rig.graph.localScaling(rig.graph.indexOf(rig.objects[2])), scaling);
    /* The subtree below a posed object is dirty too */
    EXPECT_TRUE(rig.graph.isDirty(rig.graph.indexOf(rig.grandchild)));

    /* The sweep carries the pose to world space: an EyeRight object sits at rig * pose 2 */
    rig.graph.computeAbsoluteTransformations();
    const DualQuaternion rigWorld = DualQuaternion::translation(Vector3{10.0f, 0.0f, 0.0f});
    EXPECT_EQ(rig.world(rig.objects[2]), rigWorld*poseOf(3.0f));
    EXPECT_EQ(rig.world(rig.grandchild), rigWorld*poseOf(1.0f)*DualQuaternion::translation(Vector3{0.0f, 0.0f, 1.0f}));

    /* A new pose next frame moves the object again */
    rig.input.setPose(InputType::EyeRight, poseOf(9.0f));
    rig.input.update(0.016);
    rig.graph.computeAbsoluteTransformations();
    EXPECT_EQ(rig.world(rig.objects[2]), rigWorld*poseOf(9.0f));
}

TEST(InputManagerTest, unknownTypeLeftAlone) {
    Rig rig;
    const DualQuaternion before = DualQuaternion::translation(Vector3{0.0f, 5.0f, 0.0f});
    rig.graph.setLocalTransformation(rig.graph.indexOf(rig.objects[0]), before);
    rig.graph.setLocalTransformation(rig.graph.indexOf(rig.objects[1]), before);
    rig.graph.setDirty(0);
    rig.graph.computeAbsoluteTransformations();
    const Id seven = rig.input.addComponent(rig.objects[0]);
    const Id large = rig.input.addComponent(rig.objects[1]);
    rig.input.setInputType(rig.input.indexOf(seven), InputType(7));
    rig.input.setInputType(rig.input.indexOf(large), InputType(255));
    rig.input.activate(rig.input.indexOf(seven));
    rig.input.activate(rig.input.indexOf(large));
    for(std::uint8_t t = 0; t != 7; ++t) rig.input.setPose(InputType(t), poseOf(t + 1.0f));

    rig.input.update(0.016);
    /* Neither reads past the seven poses, nothing is copied and nothing is marked */
    EXPECT_EQ(rig.local(rig.objects[0]), before);
    EXPECT_EQ(rig.local(rig.objects[1]), before);
    EXPECT_FALSE(rig.graph.isDirty(rig.graph.indexOf(rig.objects[0])));
    EXPECT_FALSE(rig.graph.isDirty(rig.graph.indexOf(rig.objects[1])));
    EXPECT_EQ(rig.input.inputType(rig.input.indexOf(large)), InputType(255));
}

TEST(InputManagerTest, posesLiveInTheBlock) {
    Quiet quiet;
    InputManager input{2};
    const DualQuaternion poses[7]{poseOf(1), poseOf(2), poseOf(3), poseOf(4), poseOf(5), poseOf(6), poseOf(7)};
    input.setPoses(poses);
    input.setPose(InputType::RayLeft, poseOf(50));
    EXPECT_EQ(input.pose(InputType::ControllerLeft), poseOf(4));
    EXPECT_EQ(input.pose(InputType::RayLeft), poseOf(50));

    /* Growing the block keeps them */
    input.allocate(40);
    EXPECT_EQ(input.pose(InputType::Head), poseOf(1));
    EXPECT_EQ(input.pose(InputType::RayLeft), poseOf(50));
    EXPECT_EQ(input.pose(InputType::RayRight), poseOf(7));

    /* A manager adopting the block takes the poses with it */
    InputManager adopted;
    std::vector<char> block{input.data().begin(), input.data().end()};
    adopted.create(std::move(block));
    EXPECT_EQ(adopted.capacity(), 40);
    EXPECT_EQ(adopted.pose(InputType::RayLeft), poseOf(50));
    EXPECT_EQ(std::memcmp(adopted.poses().data(), input.poses().data(), 7*sizeof(DualQuaternion)), 0);
}

TEST(InputManagerDeathTest, invalid) {
    InputManager input{2};
    EXPECT_DEATH((void)input.pose(InputType(7)), "^InputManager::pose\\(\\): invalid type InputType\\(0x7\\)\n$");
    EXPECT_DEATH(input.setPose(InputType(9), {}), "^InputManager::setPose\\(\\): invalid type InputType\\(0x9\\)\n$");
    EXPECT_DEATH(input.setInputType(0, InputType::Head), "^InputManager::setInputType\\(\\): index 0 out of range for 0 components\n$");
}

}}}
