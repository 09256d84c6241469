#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "QuillmarshEngine/Tools/AnimationTools.h"

namespace QuillmarshEngine { namespace Tools { namespace {

/* Owns the keys and values of the tracks it hands to an animation */
struct Tracks {
    std::vector<std::vector<float>> keys;
    std::vector<std::vector<Vector3>> vectors;
    std::vector<std::vector<Quaternion>> rotations;
    std::vector<Trade::AnimationTrackData> tracks;

    Tracks() {
        /* Views into these stay valid as tracks are added */
        keys.reserve(16);
        vectors.reserve(16);
        rotations.reserve(16);
    }

    void add(std::vector<float> times, std::vector<Vector3> values, Animation::Interpolation interpolation = Animation::Interpolation::Linear, std::uint64_t target = 1) {
        keys.push_back(std::move(times));
        vectors.push_back(std::move(values));
        tracks.emplace_back(Trade::AnimationTrackTarget::Translation3D, target, std::span<const float>{keys.back()}, std::span<const Vector3>{vectors.back()}, interpolation);
    }

    void add(std::vector<float> times, std::vector<Quaternion> values) {
        keys.push_back(std::move(times));
        rotations.push_back(std::move(values));
        tracks.emplace_back(Trade::AnimationTrackTarget::Rotation3D, 2, std::span<const float>{keys.back()}, std::span<const Quaternion>{rotations.back()}, Animation::Interpolation::Linear);
    }

    Trade::AnimationData animation() {
        return Trade::AnimationData{Trade::DataFlag::ExternallyOwned, {}, std::vector<Trade::AnimationTrackData>{tracks}, Range1D{0.0f, 10.0f}};
    }
};

std::vector<float> keysOf(const Trade::AnimationData& animation, std::uint32_t track) {
    std::vector<float> out;
    for(std::size_t i = 0; i != animation.track(track).size(); ++i) out.push_back(animation.trackKeys(track)[i]);
    return out;
}

std::vector<Vector3> xs(std::initializer_list<float> values) {
    std::vector<Vector3> out;
    for(const float v: values) out.push_back(Vector3{v, 0.0f, 0.0f});
    return out;
}

TEST(AnimationToolsTest, vectorTracks) {
    Tracks tracks;
    tracks.add({}, std::vector<Vector3>{});
    tracks.add({0.5f}, xs({1.0f}));
    tracks.add({0.0f, 1.0f}, xs({1.0f, 1.0f}));
    /* On one line from time 0: first and last remain */
    tracks.add({0.0f, 1.0f, 2.0f, 4.0f}, {Vector3{0.0f, 1.0f, 2.0f}, Vector3{1.0f, 2.0f, 2.0f}, Vector3{2.0f, 3.0f, 2.0f}, Vector3{4.0f, 5.0f, 2.0f}});
    /* The same from time 1 */
    tracks.add({1.0f, 2.0f, 3.0f, 4.0f}, xs({1.0f, 2.0f, 3.0f, 4.0f}));
    /* 0 at 1, 3 at 2 and 3: the middle key is a corner and stays */
    tracks.add({1.0f, 2.0f, 3.0f}, xs({0.0f, 3.0f, 3.0f}));
    /* A plateau between two ramps keeps its corners */
    tracks.add({0.0f, 1.0f, 2.0f, 3.0f, 4.0f, 5.0f}, xs({0.0f, 1.0f, 1.0f, 1.0f, 1.0f, 0.0f}));
    const Trade::AnimationData animation = tracks.animation();
    const Trade::AnimationData out = AnimationTools::removeLinearlyRedundantKeyframes(animation);

    EXPECT_EQ(out.dataFlags(), Trade::DataFlag::Owned|Trade::DataFlag::Mutable);
    EXPECT_EQ(out.duration(), (Range1D{0.0f, 10.0f}));
    ASSERT_EQ(out.trackCount(), 7u);
    EXPECT_EQ(out.track(0).size(), 0u);
    EXPECT_EQ(keysOf(out, 1), std::vector<float>{0.5f});
    EXPECT_EQ(keysOf(out, 2), (std::vector<float>{0.0f, 1.0f}));
    EXPECT_EQ(keysOf(out, 3), (std::vector<float>{0.0f, 4.0f}));
    EXPECT_EQ(out.trackValues<Vector3>(3)[1], (Vector3{4.0f, 5.0f, 2.0f}));
    EXPECT_EQ(keysOf(out, 4), (std::vector<float>{1.0f, 4.0f}));
    EXPECT_EQ(keysOf(out, 5), (std::vector<float>{1.0f, 2.0f, 3.0f}));
    EXPECT_EQ(keysOf(out, 6), (std::vector<float>{0.0f, 1.0f, 4.0f, 5.0f}));
    EXPECT_EQ(out.trackTarget(6), 1u);
    EXPECT_EQ(out.trackTargetName(6), Trade::AnimationTrackTarget::Translation3D);
}

TEST(AnimationToolsTest, errorsDoNotAccumulate) {
    /* A gentle curve: each key is within the tolerance of a line through its neighbours, but a
       long line through the ends misses the middle by far more. Whatever is dropped, every
       original key must be reproduced by the kept ones. */
    std::vector<float> times;
    std::vector<Vector3> values;
    for(int i = 0; i <= 200; ++i) {
        times.push_back(float(i));
        const float d = float(i - 100)/100.0f;
        values.push_back(Vector3{100.0f + 0.05f*d*d, 0.0f, 0.0f});
    }
    Tracks tracks;
    tracks.add(times, values);
    const Trade::AnimationData out = AnimationTools::removeLinearlyRedundantKeyframes(tracks.animation());
    const std::vector<float> kept = keysOf(out, 0);
    EXPECT_LT(kept.size(), times.size()/2);
    EXPECT_GT(kept.size(), 2u);
    std::size_t segment = 0;
    for(std::size_t i = 0; i != times.size(); ++i) {
        while(kept[segment + 1] < times[i]) ++segment;
        const float t = (times[i] - kept[segment])/(kept[segment + 1] - kept[segment]);
        const Vector3 a = out.trackValues<Vector3>(0)[segment], b = out.trackValues<Vector3>(0)[segment + 1];
        EXPECT_EQ(a*(1.0f - t) + b*t, values[i]) << i;
    }
}

TEST(AnimationToolsTest, rotationTracks) {
    /* Constant angular speed about one axis: spherical interpolation reproduces the inner keys
       (a normalized lerp would not, and the keys are not normalized either) */
    std::vector<Quaternion> turning;
    for(int i = 0; i != 5; ++i) turning.push_back(Quaternion::rotation(0.6f*float(i), Vector3::yAxis())*(i == 2 ? 3.0f : 1.0f));
    Tracks tracks;
    tracks.add({0.0f, 1.0f, 2.0f, 3.0f, 4.0f}, turning);
    /* A change of axis is a corner */
    tracks.add({0.0f, 1.0f, 2.0f}, {Quaternion{}, Quaternion::rotation(0.5f, Vector3::xAxis()), Quaternion::rotation(0.5f, Vector3::xAxis())*Quaternion::rotation(0.5f, Vector3::yAxis())});
    /* The short path from the identity to a key held in the other hemisphere passes the middle
       rotation with the opposite sign; the comparison is the quaternions' own, sign included, so
       the key stays: nothing is lost, only less is dropped */
    tracks.add({0.0f, 1.0f, 2.0f}, {Quaternion{}, Quaternion::rotation(0.4f, Vector3::zAxis()), -Quaternion::rotation(0.8f, Vector3::zAxis())});
    const Trade::AnimationData out = AnimationTools::removeLinearlyRedundantKeyframes(tracks.animation());
    EXPECT_EQ(keysOf(out, 0), (std::vector<float>{0.0f, 4.0f}));
    EXPECT_EQ(out.trackValues<Quaternion>(0)[1], Quaternion::rotation(2.4f, Vector3::yAxis()));
    EXPECT_EQ(keysOf(out, 1), (std::vector<float>{0.0f, 1.0f, 2.0f}));
    EXPECT_EQ(keysOf(out, 2), (std::vector<float>{0.0f, 1.0f, 2.0f}));
    /* Kept keys keep their values as they were, unnormalized or negated */
    EXPECT_EQ(out.trackValues<Quaternion>(2)[2], -Quaternion::rotation(0.8f, Vector3::zAxis()));
}

TEST(AnimationToolsTest, otherTracksPassThrough) {
    Tracks tracks;
    /* Constant interpolation: a step function, linear reproduction says nothing */
    tracks.add({0.0f, 1.0f, 2.0f}, xs({0.0f, 1.0f, 2.0f}), Animation::Interpolation::Constant, 9);
    const float floatKeys[]{0.0f, 1.0f, 2.0f};
    const float floats[]{0.0f, 1.0f, 2.0f};
    tracks.tracks.emplace_back(Trade::AnimationTrackType::Float, Trade::animationTrackTargetCustom(1), 3, std::span<const float>{floatKeys},
        StridedArrayView1D<const char>{reinterpret_cast<const char*>(floats), 3, 4}, Animation::Interpolation::Linear);
    const std::uint8_t bools[]{1, 0, 1};
    tracks.tracks.emplace_back(Trade::AnimationTrackType::Bool, Trade::animationTrackTargetCustom(2), 4, std::span<const float>{floatKeys},
        StridedArrayView1D<const char>{reinterpret_cast<const char*>(bools), 3, 1}, Animation::Interpolation::Constant);
    const Trade::AnimationData out = AnimationTools::removeLinearlyRedundantKeyframes(tracks.animation());
    ASSERT_EQ(out.trackCount(), 3u);
    EXPECT_EQ(keysOf(out, 0), (std::vector<float>{0.0f, 1.0f, 2.0f}));
    EXPECT_EQ(out.trackTarget(0), 9u);
    EXPECT_EQ(out.track(0).interpolation(), Animation::Interpolation::Constant);
    EXPECT_EQ(out.trackType(1), Trade::AnimationTrackType::Float);
    EXPECT_EQ(keysOf(out, 1), (std::vector<float>{0.0f, 1.0f, 2.0f}));
    float value;
    std::memcpy(&value, &out.track(1).values()[2], 4);
    EXPECT_EQ(value, 2.0f);
    /* Copied into the result, not viewed */
    EXPECT_NE(static_cast<const void*>(&out.track(1).values()[0]), static_cast<const void*>(floats));
    EXPECT_EQ(out.track(2).values()[0], 1);
    EXPECT_EQ(out.track(2).values()[1], 0);
    EXPECT_EQ(out.trackTargetName(2), Trade::animationTrackTargetCustom(2));
}

}}}
