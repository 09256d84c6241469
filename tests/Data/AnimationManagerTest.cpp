#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <sstream>

#include "QuillmarshEngine/Animation/Offline/AnimationBuilder.h"
#include "QuillmarshEngine/Animation/SamplingJob.h"
#include "QuillmarshEngine/Data/AnimationData.h"
#include "QuillmarshEngine/Data/AnimationManager.h"
#include "QuillmarshEngine/Data/SceneGraph.h"
#include "QuillmarshEngine/Math/DualQuaternion.h"

namespace QuillmarshEngine { namespace Data { namespace {

using Animation::Offline::RawAnimation;

template<class T> std::string print(const T& value) {
    std::ostringstream out;
    Debug{&out, Debug::Flag::NoNewlineAtTheEnd} << value;
    return out.str();
}

/* Three tracks over two seconds: a slide along X, a quarter turn about Z, a growth from 1 to 3;
   `offset` shifts every value so that a second animation differs */
RawAnimation chainAnimation(float offset = 0.0f) {
    RawAnimation raw;
    raw.duration = 2.0f;
    raw.tracks.resize(3);
    raw.tracks[0].translations = {{0.0f, Vector3{offset, 1.0f, 0.0f}}, {2.0f, Vector3{2.0f + offset, 1.0f, 0.0f}}};
    raw.tracks[1].rotations = {{0.0f, Quaternion::rotation(offset, Vector3::zAxis())}, {1.0f, Quaternion::rotation(offset + 0.785f, Vector3::zAxis())}, {2.0f, Quaternion::rotation(offset + 1.571f, Vector3::zAxis())}};
    raw.tracks[1].translations = {{0.0f, Vector3{0.0f, 1.0f, 0.0f}}};
    raw.tracks[2].scales = {{0.5f, Vector3{1.0f + offset}}, {1.5f, Vector3{3.0f + offset}}};
    raw.tracks[2].translations = {{0.0f, Vector3{0.0f, 0.5f, 0.0f}}};
    return raw;
}

/* The pose of the animation at a time, sampled with a context of its own */
Animation::Transform expected(const Animation::Animation& animation, float time, std::size_t track) {
    Animation::SamplingJob::Context context{animation.numTracks()};
    Animation::SoaTransform output[1];
    Animation::SamplingJob job;
    job.animation = &animation;
    job.context = &context;
    job.ratio = time/animation.duration();
    job.output = output;
    EXPECT_TRUE(job.Run());
    return Animation::transformAt(output, track);
}

/* A root with a chain of three objects and an animation component on the root driving them */
struct Chain {
    std::ostringstream quiet;
    Warning silence{&quiet};
    SceneGraph graph{16, 2, 16};
    AnimationManager animations{2};
    Id objects[3];
    Id component;

    Chain() {
        graph.setComponentManager(1, "animation", &animations);
        objects[0] = graph.addObject(Id{0});
        objects[1] = graph.addObject(objects[0]);
        objects[2] = graph.addObject(objects[1]);
        const std::vector<char> record = createAnimationData(chainAnimation(), {}, StringArrayView{}, false);
        EXPECT_EQ(animations.addAnimation(AnimationData{record}), std::optional<std::uint16_t>{0});
        const std::vector<char> targets = createAnimationTargetsData(0, objects);
        component = animations.addAnimationComponent(Id{0}, AnimationTargetsData{targets});
        graph.activate();
        graph.computeAbsoluteTransformations();
    }

    const Animation::Animation& animation() const { return animations.animation(animations.componentAnimation(component)); }

    bool dirty(std::size_t i) const { return graph.isDirty(graph.indexOf(objects[i])); }

    /* The targets hold the pose of `animation` at `time` */
    void expectPose(const Animation::Animation& animation, float time) const {
        for(std::size_t i = 0; i != 3; ++i) {
            const Animation::Transform pose = expected(animation, time, i);
            const SceneGraph::IndexType index = graph.indexOf(objects[i]);
            EXPECT_EQ(graph.localTransformation(index), DualQuaternion::from(pose.rotation, pose.translation)) << time << " " << i;
            EXPECT_EQ(graph.localScaling(index), pose.scale) << time << " " << i;
        }
    }
};

TEST(AnimationManagerTest, construct) {
    AnimationManager animations{3};
    EXPECT_STREQ(animations.name(), "animation");
    EXPECT_EQ(animations.capacity(), 3);
    EXPECT_EQ(animations.animationCount(), 0);
    EXPECT_EQ(print(AnimationState::Finished), "AnimationState::Finished");
    EXPECT_EQ(print(AnimationState(9)), "AnimationState(0x9)");
}

TEST(AnimationManagerTest, bind) {
    Chain chain;
    AnimationManager& animations = chain.animations;
    EXPECT_EQ(animations.animationCount(), 1);
    EXPECT_EQ(animations.animation(0).numTracks(), 3);
    EXPECT_EQ(animations.size(), 1);
    EXPECT_EQ(animations.activeCount(), 1);
    EXPECT_EQ(animations.owner(0), Id{0});
    EXPECT_EQ(animations.componentAnimation(chain.component), 0);
    ASSERT_EQ(animations.targets(chain.component).size(), 3u);
    EXPECT_EQ(animations.targets(chain.component)[2], chain.objects[2]);
    EXPECT_EQ(animations.state(chain.component), AnimationState::Stopped);
    EXPECT_EQ(animations.speed(chain.component), 1.0f);
    EXPECT_EQ(animations.loopCount(chain.component), 0);
    EXPECT_EQ(animations.playbackTime(chain.component), 0.0f);
    EXPECT_EQ(animations.blendAnimation(chain.component), AnimationManager::NoAnimation);

    /* A stopped component writes nothing */
    animations.update(0.5);
    EXPECT_FALSE(chain.dirty(0));
    EXPECT_EQ(chain.graph.localTransformation(chain.graph.indexOf(chain.objects[0])), DualQuaternion{});

    /* A record that doesn't build adds nothing */
    RawAnimation broken = chainAnimation();
    std::vector<char> record = createAnimationData(broken, {}, StringArrayView{}, false);
    const float late = 5.0f;
    std::memcpy(record.data() + 16 + 48, &late, 4);
    std::ostringstream out;
    Error redirect{&out};
    EXPECT_FALSE(animations.addAnimation(AnimationData{record}));
    EXPECT_EQ(out.str(), "Failed to build runtime animation.\n");
    EXPECT_EQ(animations.animationCount(), 1);
}

TEST(AnimationManagerTest, playLoops) {
    Chain chain;
    AnimationManager& animations = chain.animations;
    animations.play(chain.component);
    EXPECT_EQ(animations.state(chain.component), AnimationState::Playing);
    animations.update(0.5);
    EXPECT_EQ(animations.playbackTime(chain.component), 0.5f);
    chain.expectPose(chain.animation(), 0.5f);
    /* Written transformations are marked for the sweep, which then clears them */
    EXPECT_TRUE(chain.dirty(0) && chain.dirty(1) && chain.dirty(2));
    chain.graph.computeAbsoluteTransformations();
    EXPECT_FALSE(chain.dirty(2));
    const Animation::Transform first = expected(chain.animation(), 0.5f, 0);
    EXPECT_EQ(chain.graph.worldTransformation(chain.graph.indexOf(chain.objects[0])).translation(), first.translation);

    animations.update(1.0);
    EXPECT_EQ(animations.playbackTime(chain.component), 1.5f);
    chain.expectPose(chain.animation(), 1.5f);
    /* Past the end: wrapped around, one loop done */
    animations.update(1.0);
    EXPECT_EQ(animations.playbackTime(chain.component), 0.5f);
    EXPECT_EQ(animations.completedLoops(chain.component), 1);
    chain.expectPose(chain.animation(), 0.5f);
    /* Several loops in one long step */
    animations.update(7.0);
    EXPECT_EQ(animations.playbackTime(chain.component), 1.5f);
    EXPECT_EQ(animations.completedLoops(chain.component), 4);
    EXPECT_EQ(animations.state(chain.component), AnimationState::Playing);
}

TEST(AnimationManagerTest, speed) {
    Chain chain;
    AnimationManager& animations = chain.animations;
    animations.play(chain.component);
    animations.setSpeed(chain.component, 2.0f);
    animations.update(0.25);
    EXPECT_EQ(animations.playbackTime(chain.component), 0.5f);
    chain.expectPose(chain.animation(), 0.5f);

    /* Backward, wrapping around the start */
    animations.setSpeed(chain.component, -1.0f);
    animations.update(0.75);
    EXPECT_EQ(animations.playbackTime(chain.component), 1.75f);
    EXPECT_EQ(animations.completedLoops(chain.component), 1);
    chain.expectPose(chain.animation(), 1.75f);
}

TEST(AnimationManagerTest, pauseStopAndScrub) {
    Chain chain;
    AnimationManager& animations = chain.animations;
    animations.play(chain.component);
    animations.update(0.5);
    chain.graph.computeAbsoluteTransformations();

    animations.pause(chain.component);
    EXPECT_EQ(animations.state(chain.component), AnimationState::Paused);
    animations.update(0.5);
    EXPECT_EQ(animations.playbackTime(chain.component), 0.5f);
    EXPECT_FALSE(chain.dirty(0));

    /* Scrubbing a paused component shows its pose once */
    animations.setPlaybackTime(chain.component, 1.25f);
    animations.update(0.5);
    EXPECT_EQ(animations.playbackTime(chain.component), 1.25f);
    chain.expectPose(chain.animation(), 1.25f);
    EXPECT_TRUE(chain.dirty(1));
    chain.graph.computeAbsoluteTransformations();
    animations.update(0.5);
    EXPECT_FALSE(chain.dirty(1));
    /* Clamped to the animation */
    animations.setPlaybackTime(chain.component, 9.0f);
    EXPECT_EQ(animations.playbackTime(chain.component), 2.0f);
    animations.setPlaybackTime(chain.component, -1.0f);
    EXPECT_EQ(animations.playbackTime(chain.component), 0.0f);

    /* Resumes where it was */
    animations.setPlaybackTime(chain.component, 1.25f);
    animations.play(chain.component);
    animations.update(0.25);
    EXPECT_EQ(animations.playbackTime(chain.component), 1.5f);

    /* Stop rewinds and writes nothing */
    chain.graph.computeAbsoluteTransformations();
    animations.stop(chain.component);
    EXPECT_EQ(animations.state(chain.component), AnimationState::Stopped);
    EXPECT_EQ(animations.playbackTime(chain.component), 0.0f);
    animations.update(0.25);
    EXPECT_FALSE(chain.dirty(0));
    chain.expectPose(chain.animation(), 1.5f);
    /* Pausing a stopped component leaves it stopped */
    animations.pause(chain.component);
    EXPECT_EQ(animations.state(chain.component), AnimationState::Stopped);
}

TEST(AnimationManagerTest, loopCount) {
    Chain chain;
    AnimationManager& animations = chain.animations;
    animations.setLoopCount(chain.component, 2);
    EXPECT_EQ(animations.loopCount(chain.component), 2);
    animations.play(chain.component);
    animations.update(3.0);
    EXPECT_EQ(animations.playbackTime(chain.component), 1.0f);
    EXPECT_EQ(animations.completedLoops(chain.component), 1);
    EXPECT_EQ(animations.state(chain.component), AnimationState::Playing);
    /* The second loop ends: the last pose is held */
    animations.update(1.5);
    EXPECT_EQ(animations.state(chain.component), AnimationState::Finished);
    EXPECT_EQ(animations.playbackTime(chain.component), 2.0f);
    EXPECT_EQ(animations.completedLoops(chain.component), 2);
    chain.expectPose(chain.animation(), 2.0f);
    chain.graph.computeAbsoluteTransformations();
    animations.update(1.0);
    EXPECT_FALSE(chain.dirty(0));

    /* Playing again starts over */
    animations.play(chain.component);
    EXPECT_EQ(animations.playbackTime(chain.component), 0.0f);
    EXPECT_EQ(animations.completedLoops(chain.component), 0);
    animations.update(0.5);
    chain.expectPose(chain.animation(), 0.5f);

    /* Backward, a single loop runs into the start and holds it; playing again starts at the end */
    animations.stop(chain.component);
    animations.setLoopCount(chain.component, 1);
    animations.setSpeed(chain.component, -1.0f);
    animations.stop(chain.component);
    EXPECT_EQ(animations.playbackTime(chain.component), 2.0f);
    animations.play(chain.component);
    animations.update(2.5);
    EXPECT_EQ(animations.state(chain.component), AnimationState::Finished);
    EXPECT_EQ(animations.playbackTime(chain.component), 0.0f);
    chain.expectPose(chain.animation(), 0.0f);
    animations.play(chain.component);
    EXPECT_EQ(animations.playbackTime(chain.component), 2.0f);
}

TEST(AnimationManagerTest, crossFade) {
    Chain chain;
    AnimationManager& animations = chain.animations;
    const std::uint16_t second = animations.addAnimation(Animation::Offline::AnimationBuilder{}(chainAnimation(0.5f)));
    EXPECT_EQ(second, 1);
    animations.play(chain.component);
    animations.update(0.5);
    animations.crossFade(chain.component, second, 1.0f);
    EXPECT_EQ(animations.blendAnimation(chain.component), second);
    EXPECT_EQ(animations.blendTime(chain.component), 1.0f);
    EXPECT_EQ(animations.blendWeight(chain.component), 0.0f);

    /* Weight 0: the first animation alone; both advance */
    animations.update(0.25);
    EXPECT_EQ(animations.blendTime(chain.component), 1.25f);
    chain.expectPose(chain.animation(), 0.75f);

    animations.setBlendWeight(chain.component, 0.25f);
    animations.update(0.25);
    EXPECT_EQ(animations.playbackTime(chain.component), 1.0f);
    EXPECT_EQ(animations.blendTime(chain.component), 1.5f);
    for(std::size_t i = 0; i != 3; ++i) {
        const Animation::Transform a = expected(animations.animation(0), 1.0f, i);
        const Animation::Transform b = expected(animations.animation(second), 1.5f, i);
        const SceneGraph::IndexType index = chain.graph.indexOf(chain.objects[i]);
        const DualQuaternion local = chain.graph.localTransformation(index);
        EXPECT_EQ(local.translation(), a.translation*0.75f + b.translation*0.25f) << i;
        EXPECT_EQ(chain.graph.localScaling(index), a.scale*0.75f + b.scale*0.25f) << i;
        const Quaternion flipped = Math::dot(a.rotation, b.rotation) < 0.0f ? -b.rotation : b.rotation;
        EXPECT_EQ(local.rotation(), (a.rotation*0.75f + flipped*0.25f).normalized()) << i;
    }

    /* Weight 1 and beyond: the second alone, the second wraps around on its own */
    animations.setBlendWeight(chain.component, 7.0f);
    EXPECT_EQ(animations.blendWeight(chain.component), 1.0f);
    animations.update(0.75);
    EXPECT_EQ(animations.blendTime(chain.component), 0.25f);
    chain.expectPose(animations.animation(second), 0.25f);

    /* The second becomes the only one, keeping its time */
    animations.finishCrossFade(chain.component);
    EXPECT_EQ(animations.componentAnimation(chain.component), second);
    EXPECT_EQ(animations.blendAnimation(chain.component), AnimationManager::NoAnimation);
    EXPECT_EQ(animations.playbackTime(chain.component), 0.25f);
    animations.update(0.5);
    chain.expectPose(animations.animation(second), 0.75f);
    animations.finishCrossFade(chain.component);
    EXPECT_EQ(animations.componentAnimation(chain.component), second);

    /* Cancelled: the first alone again, shown even while paused */
    animations.crossFade(chain.component, 0);
    animations.setBlendWeight(chain.component, 0.5f);
    animations.pause(chain.component);
    animations.cancelCrossFade(chain.component);
    animations.update(0.5);
    chain.expectPose(animations.animation(second), 0.75f);
}

TEST(AnimationManagerTest, targets) {
    Chain chain;
    AnimationManager& animations = chain.animations;
    /* Track 0 drives nothing, track 2 has no target: only object 1 moves */
    const Id targets[]{Id{AnimationManager::NoTarget}, chain.objects[1]};
    animations.setAnimation(chain.component, 0, targets);
    animations.play(chain.component);
    animations.update(0.5);
    EXPECT_FALSE(chain.dirty(0));
    EXPECT_TRUE(chain.dirty(1));
    EXPECT_EQ(chain.graph.localScaling(chain.graph.indexOf(chain.objects[2])), Vector3{1.0f});
    EXPECT_EQ(chain.graph.localTransformation(chain.graph.indexOf(chain.objects[0])), DualQuaternion{});

    /* Deleted targets (object 1 and with it object 2) are skipped */
    animations.setAnimation(chain.component, 0, chain.objects);
    animations.play(chain.component);
    chain.graph.deleteObjects(chain.objects[1]);
    EXPECT_EQ(chain.graph.size(), 2);
    animations.update(0.5);
    chain.graph.computeAbsoluteTransformations();
    const Animation::Transform pose = expected(chain.animation(), 0.5f, 0);
    EXPECT_EQ(chain.graph.localTransformation(chain.graph.indexOf(chain.objects[0])), DualQuaternion::from(pose.rotation, pose.translation));
    EXPECT_EQ(chain.graph.checkInvariants(), "");
}

TEST(AnimationManagerTest, cloneGrowAndDelete) {
    Chain chain;
    AnimationManager& animations = chain.animations;
    animations.setSpeed(chain.component, 0.5f);
    animations.play(chain.component);
    animations.update(1.0);
    const Id owner = chain.graph.addObject(Id{0});
    const Id clone = animations.cloneComponent(chain.component, owner);
    EXPECT_EQ(animations.speed(clone), 0.5f);
    EXPECT_EQ(animations.playbackTime(clone), 0.5f);
    EXPECT_EQ(animations.state(clone), AnimationState::Playing);
    ASSERT_EQ(animations.targets(clone).size(), 3u);
    EXPECT_EQ(animations.targets(clone)[1], chain.objects[1]);
    EXPECT_EQ(animations.activeCount(), 2);

    /* The clone drives a chain of its own, backward, with its own context */
    Id others[3];
    others[0] = chain.graph.addObject(owner);
    others[1] = chain.graph.addObject(others[0]);
    others[2] = chain.graph.addObject(others[1]);
    animations.setAnimation(clone, 0, others);
    animations.setSpeed(clone, -1.0f);
    animations.play(clone);
    /* More components than the capacity of 2: the manager grows, bindings stay */
    Id more[3];
    for(Id& id: more) id = animations.addAnimationComponent(owner, 0, {});
    EXPECT_GE(animations.capacity(), 5);
    EXPECT_EQ(animations.targets(clone)[2], others[2]);

    for(int frame = 0; frame != 5; ++frame) animations.update(0.3);
    chain.expectPose(chain.animation(), 1.25f);
    const float cloneTime = animations.playbackTime(clone);
    EXPECT_NEAR(cloneTime, 0.5f, 1.0e-5f);
    for(std::size_t i = 0; i != 3; ++i) {
        const Animation::Transform pose = expected(chain.animation(), cloneTime, i);
        EXPECT_EQ(chain.graph.localTransformation(chain.graph.indexOf(others[i])), DualQuaternion::from(pose.rotation, pose.translation)) << i;
    }

    /* Deleting the owner deletes its components, the others play on */
    chain.graph.deleteObjects(owner);
    EXPECT_EQ(animations.size(), 1);
    EXPECT_EQ(animations.idOf(0), chain.component);
    animations.update(0.3);
    EXPECT_EQ(chain.graph.checkInvariants(), "");
}

TEST(AnimationManagerTest, appendSceneGraph) {
    /* A scene with two objects of its own takes in the chain's scene */
    Chain chain;
    chain.animations.setSpeed(chain.component, 2.0f);
    chain.animations.play(chain.component);
    SceneGraph graph{16, 2, 16};
    AnimationManager animations{2};
    graph.setComponentManager(1, "animation", &animations);
    graph.addObject(graph.addObject(Id{0}));
    std::vector<Id> appended;
    graph.append(chain.graph, [&](Id, Id id) { appended.push_back(id); });
    ASSERT_EQ(appended.size(), 3u);
    ASSERT_EQ(animations.size(), 1);
    const Id component = animations.idOf(0);
    EXPECT_EQ(animations.owner(0), Id{0});
    EXPECT_EQ(animations.speed(component), 2.0f);
    EXPECT_EQ(animations.state(component), AnimationState::Playing);
    ASSERT_EQ(animations.targets(component).size(), 3u);
    for(std::size_t i = 0; i != 3; ++i) EXPECT_EQ(animations.targets(component)[i], appended[i]) << i;

    /* The appended component does nothing until the animation under its index is here */
    graph.activate();
    graph.computeAbsoluteTransformations();
    animations.update(0.25);
    EXPECT_FALSE(graph.isDirty(graph.indexOf(appended[2])));
    animations.addAnimation(Animation::Offline::AnimationBuilder{}(chainAnimation()));
    animations.setPlaybackTime(component, 0.75f);
    animations.update(0.25);
    EXPECT_EQ(animations.playbackTime(component), 1.25f);
    const Animation::Transform pose = expected(animations.animation(0), 1.25f, 2);
    EXPECT_EQ(graph.localScaling(graph.indexOf(appended[2])), pose.scale);
    EXPECT_EQ(graph.localScaling(1), Vector3{1.0f});
}

TEST(AnimationManagerDeathTest, misuse) {
    Chain chain;
    AnimationManager& animations = chain.animations;
    EXPECT_DEATH(animations.play(Id{7}), "^AnimationManager::play\\(\\): component Id\\(7\\) is not alive\n$");
    EXPECT_DEATH(animations.addAnimationComponent(Id{0}, 3, {}), "^AnimationManager::addAnimationComponent\\(\\): animation 3 out of range for 1 animations\n$");
    EXPECT_DEATH(animations.animation(1), "^AnimationManager::animation\\(\\): animation 1 out of range for 1 animations\n$");
    EXPECT_DEATH(animations.setSpeed(chain.component, std::numeric_limits<float>::quiet_NaN()), "^AnimationManager::setSpeed\\(\\): expected a finite speed, got nan\n$");
    EXPECT_DEATH(animations.setPlaybackTime(chain.component, std::numeric_limits<float>::infinity()), "^AnimationManager::setPlaybackTime\\(\\): expected a finite time, got inf\n$");
    EXPECT_DEATH(animations.addAnimation(nullptr), "^AnimationManager::addAnimation\\(\\): the animation is null\n$");
    RawAnimation two;
    two.tracks.resize(2);
    const std::uint16_t other = animations.addAnimation(Animation::Offline::AnimationBuilder{}(two));
    EXPECT_DEATH(animations.crossFade(chain.component, other), "^AnimationManager::crossFade\\(\\): animation 1 has 2 tracks, the component's animation 3\n$");
}

}}}
