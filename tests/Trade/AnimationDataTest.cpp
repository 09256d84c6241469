#include <gtest/gtest.h>

#include <sstream>

#include "QuillmarshEngine/Trade/AnimationData.h"

namespace QuillmarshEngine { namespace Trade { namespace {

template<class T> std::string print(const T& value) {
    std::ostringstream out;
    Debug{&out, Debug::Flag::NoNewlineAtTheEnd} << value;
    return out.str();
}

template<class T, std::size_t size> StridedArrayView1D<const T> view(const T (&array)[size]) {
    return std::span<const T>{array};
}

/* Interleaved key, translation, rotation records, as an importer might hand them over */
struct Keyframe {
    float time;
    Vector3 translation;
    Quaternion rotation;
};

std::vector<char> keyframes() {
    const Keyframe frames[]{
        {0.5f, Vector3{1.0f, 2.0f, 3.0f}, Quaternion{}},
        {1.0f, Vector3{4.0f, 5.0f, 6.0f}, Quaternion::rotation(0.5f, Vector3::xAxis())},
        {2.5f, Vector3{7.0f, 8.0f, 9.0f}, Quaternion::rotation(1.0f, Vector3::xAxis())},
    };
    const char* bytes = reinterpret_cast<const char*>(frames);
    return {bytes, bytes + sizeof(frames)};
}

std::vector<AnimationTrackData> tracksOf(const char* data) {
    const Keyframe* frames = reinterpret_cast<const Keyframe*>(data);
    const StridedArrayView1D<const float> keys{&frames[0].time, 3, sizeof(Keyframe)};
    std::vector<AnimationTrackData> tracks;
    tracks.emplace_back(AnimationTrackTarget::Translation3D, 7, keys, StridedArrayView1D<const Vector3>{&frames[0].translation, 3, sizeof(Keyframe)}, Animation::Interpolation::Linear);
    tracks.emplace_back(AnimationTrackTarget::Rotation3D, 8, StridedArrayView1D<const float>{&frames[1].time, 2, sizeof(Keyframe)},
        StridedArrayView1D<const Quaternion>{&frames[1].rotation, 2, sizeof(Keyframe)}, Animation::Interpolation::Constant);
    return tracks;
}

TEST(AnimationDataTest, owning) {
    std::vector<char> data = keyframes();
    const char* pointer = data.data();
    std::vector<AnimationTrackData> tracks = tracksOf(pointer);
    AnimationData animation{std::move(data), std::move(tracks), Range1D{0.0f, 3.0f}};
    EXPECT_EQ(animation.dataFlags(), DataFlag::Owned|DataFlag::Mutable);
    EXPECT_EQ(animation.data().data(), pointer);
    EXPECT_EQ(animation.duration(), (Range1D{0.0f, 3.0f}));
    ASSERT_EQ(animation.trackCount(), 2u);
    EXPECT_EQ(animation.trackType(0), AnimationTrackType::Vector3);
    EXPECT_EQ(animation.trackType(1), AnimationTrackType::Quaternion);
    EXPECT_EQ(animation.trackTargetName(1), AnimationTrackTarget::Rotation3D);
    EXPECT_EQ(animation.trackTarget(0), 7u);
    EXPECT_EQ(animation.track(1).interpolation(), Animation::Interpolation::Constant);
    EXPECT_EQ(animation.track(1).size(), 2u);
    EXPECT_EQ(animation.trackKeys(0)[2], 2.5f);
    EXPECT_EQ(animation.trackValues<Vector3>(0)[1], (Vector3{4.0f, 5.0f, 6.0f}));
    EXPECT_EQ(animation.trackValues<Quaternion>(1)[1], Quaternion::rotation(1.0f, Vector3::xAxis()));

    /* Moving keeps the views valid: the owned block doesn't move */
    AnimationData moved{std::move(animation)};
    EXPECT_EQ(moved.data().data(), pointer);
    EXPECT_EQ(moved.trackValues<Vector3>(0)[2], (Vector3{7.0f, 8.0f, 9.0f}));
}

TEST(AnimationDataTest, durationFromKeys) {
    std::vector<char> data = keyframes();
    std::vector<AnimationTrackData> tracks = tracksOf(data.data());
    const AnimationData animation{std::move(data), std::move(tracks)};
    EXPECT_EQ(animation.duration(), (Range1D{0.5f, 2.5f}));

    const AnimationData empty{std::vector<char>{}, std::vector<AnimationTrackData>{}};
    EXPECT_EQ(empty.duration(), (Range1D{0.0f, 0.0f}));
}

TEST(AnimationDataTest, viewing) {
    const std::vector<char> data = keyframes();
    const AnimationData animation{DataFlag::ExternallyOwned, data, tracksOf(data.data())};
    EXPECT_EQ(animation.dataFlags(), DataFlag::ExternallyOwned);
    EXPECT_EQ(animation.data().data(), data.data());
    EXPECT_EQ(animation.duration(), (Range1D{0.5f, 2.5f}));
    EXPECT_EQ(animation.trackValues<Vector3>(0)[0], (Vector3{1.0f, 2.0f, 3.0f}));
}

TEST(AnimationDataTest, typeErasedTrack) {
    const std::uint8_t values[]{1, 0, 1};
    const float keys[]{0.0f, 1.0f, 2.0f};
    const AnimationTrackData track{AnimationTrackType::Bool, animationTrackTargetCustom(3), 1, view(keys),
        StridedArrayView1D<const char>{reinterpret_cast<const char*>(values), 3, 1}, Animation::Interpolation::Constant};
    EXPECT_EQ(track.type(), AnimationTrackType::Bool);
    EXPECT_EQ(animationTrackTargetCustom(track.targetName()), 3);
    EXPECT_EQ(track.values()[2], 1);
    EXPECT_EQ(animationTrackTypeSize(AnimationTrackType::Bool), 1u);
    EXPECT_EQ(animationTrackTypeSize(AnimationTrackType::Vector3), 12u);
    EXPECT_EQ(animationTrackTypeSize(AnimationTrackType::Quaternion), 16u);
    EXPECT_EQ(animationTrackTypeSize(AnimationTrackType::CubicHermiteQuaternion), 48u);
}

TEST(AnimationDataTest, debug) {
    EXPECT_EQ(print(AnimationTrackType::Quaternion), "Trade::AnimationTrackType::Quaternion");
    EXPECT_EQ(print(AnimationTrackType(0xde)), "Trade::AnimationTrackType(0xde)");
    EXPECT_EQ(print(AnimationTrackTarget::Scaling3D), "Trade::AnimationTrackTarget::Scaling3D");
    EXPECT_EQ(print(animationTrackTargetCustom(5)), "Trade::AnimationTrackTarget::Custom(5)");
    EXPECT_EQ(print(AnimationTrackTarget(0)), "Trade::AnimationTrackTarget(0x0)");
    EXPECT_EQ(print(Animation::Interpolation::Spline), "Animation::Interpolation::Spline");
    EXPECT_EQ(print(Animation::Interpolation(7)), "Animation::Interpolation(0x7)");
}

TEST(AnimationDataDeathTest, invalid) {
    const float keys[2]{};
    const Vector3 values[3]{};
    EXPECT_DEATH((AnimationTrackData{AnimationTrackTarget::Translation3D, 0, view(keys), view(values), Animation::Interpolation::Linear}),
        "^Trade::AnimationTrackData: expected key and value view to have the same size but got 2 and 3\n$");
    const AnimationTrackData track{AnimationTrackTarget::Translation3D, 0, view(keys), std::span<const Vector3>{values, 2}, Animation::Interpolation::Linear};
    EXPECT_DEATH(track.values<Quaternion>(), "^Trade::AnimationTrackData::values\\(\\): improper type requested for Trade::AnimationTrackType::Vector3\n$");
    const AnimationData empty{std::vector<char>{}, std::vector<AnimationTrackData>{}};
    EXPECT_DEATH(empty.track(0), "^Trade::AnimationData::track\\(\\): index 0 out of range for 0 tracks\n$");
    EXPECT_DEATH((AnimationData{DataFlag::Owned, {}, {}}), "^Trade::AnimationData: can't construct a non-owned instance with Trade::DataFlag::Owned\n$");
    EXPECT_DEATH(animationTrackTargetCustom(32768), "^Trade::animationTrackTargetCustom\\(\\): index 32768 too large\n$");
    EXPECT_DEATH(animationTrackTypeSize(AnimationTrackType(0)), "^Trade::animationTrackTypeSize\\(\\): invalid type Trade::AnimationTrackType\\(0x0\\)\n$");
}

}}}
