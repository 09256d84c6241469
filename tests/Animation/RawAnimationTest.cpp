#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <limits>

#include "QuillmarshEngine/Animation/Offline/RawAnimation.h"

namespace QuillmarshEngine { namespace Animation { namespace Offline { namespace {

constexpr float NaN = std::numeric_limits<float>::quiet_NaN();
constexpr float Inf = std::numeric_limits<float>::infinity();

/* Records copy keys as they lie in memory, so the layout is part of the file format */
static_assert(offsetof(TranslationKey, time) == 0 && offsetof(TranslationKey, value) == 4);
static_assert(offsetof(RotationKey, time) == 0 && offsetof(RotationKey, value) == 4);
static_assert(offsetof(ScaleKey, time) == 0 && offsetof(ScaleKey, value) == 4);

TEST(RawAnimationTest, defaults) {
    const RawAnimation raw;
    EXPECT_EQ(raw.duration, 1.0f);
    EXPECT_EQ(raw.numTracks(), 0);
    EXPECT_TRUE(raw.name.empty());
    EXPECT_TRUE(raw.Validate());
    EXPECT_EQ(TranslationKey::identity(), Vector3{});
    EXPECT_EQ(RotationKey::identity(), Quaternion{});
    EXPECT_EQ(ScaleKey::identity(), Vector3{1.0f});
}

TEST(RawAnimationTest, validateDuration) {
    RawAnimation raw;
    for(const float duration: {0.0f, -0.0f, -1.0f, -Inf}) {
        raw.duration = duration;
        EXPECT_FALSE(raw.Validate()) << duration;
    }
    /* Plain comparisons: NaN and infinity pass */
    for(const float duration: {1.0e-30f, 2.0f, Inf, NaN}) {
        raw.duration = duration;
        EXPECT_TRUE(raw.Validate()) << duration;
    }
}

TEST(RawAnimationTest, validateTrackCount) {
    RawAnimation raw;
    raw.tracks.resize(MaxTracks);
    EXPECT_TRUE(raw.Validate());
    raw.tracks.resize(MaxTracks + 1);
    EXPECT_FALSE(raw.Validate());
}

TEST(RawAnimationTest, validateKeyTimes) {
    struct Case { const char* name; std::vector<float> times; bool valid; };
    const Case cases[]{
        {"empty", {}, true},
        {"at both ends", {0.0f, 2.0f}, true},
        {"negative zero", {-0.0f, 1.0f}, true},
        {"before the start", {-0.001f, 1.0f}, false},
        {"after the end", {0.0f, std::nextafter(2.0f, 3.0f)}, false},
        {"equal times", {0.5f, 0.5f}, false},
        {"decreasing", {1.0f, 0.5f}, false},
        /* A NaN passes and, as the previous time, turns off the order test of the next key */
        {"NaN", {0.5f, NaN, 0.2f}, true},
        {"order after NaN resumes", {0.5f, NaN, 0.2f, 0.1f}, false},
    };
    for(const Case& c: cases) {
        /* Every channel is checked on its own, with the same rules */
        for(int channel = 0; channel != 3; ++channel) {
            RawAnimation raw;
            raw.duration = 2.0f;
            raw.tracks.resize(2);
            JointTrack& track = raw.tracks[1];
            for(const float time: c.times) {
                if(channel == 0) track.translations.push_back({time, Vector3{}});
                if(channel == 1) track.rotations.push_back({time, Quaternion{}});
                if(channel == 2) track.scales.push_back({time, Vector3{1.0f}});
            }
            /* The other channels may have their own, unrelated times */
            if(channel != 0) track.translations = {{0.1f, {}}, {1.9f, {}}};
            EXPECT_EQ(raw.Validate(), c.valid) << c.name << " in channel " << channel;
            EXPECT_EQ(track.Validate(2.0f), c.valid) << c.name << " in channel " << channel;
        }
    }
}

TEST(RawAnimationTest, validateValuesNotChecked) {
    RawAnimation raw;
    raw.tracks.resize(1);
    raw.tracks[0].translations = {{0.0f, Vector3{NaN}}};
    raw.tracks[0].rotations = {{0.0f, Quaternion{{0.0f, 0.0f, 0.0f}, 0.0f}}, {0.5f, Quaternion{{3.0f, 0.0f, 0.0f}, 1.0f}}};
    raw.tracks[0].scales = {{1.0f, Vector3{-1.0f}}};
    EXPECT_TRUE(raw.Validate());
}

TEST(RawAnimationTest, trackValidateInfiniteDurationChecksOrderOnly) {
    JointTrack track;
    track.rotations = {{0.0f, {}}, {1.0e30f, {}}};
    EXPECT_TRUE(track.Validate(Inf));
    EXPECT_FALSE(track.Validate(1.0f));
    track.rotations.push_back({5.0f, {}});
    EXPECT_FALSE(track.Validate(Inf));
}

TEST(RawAnimationTest, size) {
    RawAnimation raw;
    const std::size_t empty = raw.size();
    raw.tracks.resize(2);
    raw.tracks[1].rotations.resize(3);
    raw.tracks[0].scales.resize(1);
    raw.name = "walk";
    EXPECT_EQ(raw.size(), empty + 2*sizeof(JointTrack) + 3*20 + 16 + 4);
}

}}}}
