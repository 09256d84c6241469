#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "QuillmarshEngine/Animation/Offline/AnimationBuilder.h"

namespace QuillmarshEngine { namespace Animation { namespace Offline { namespace {

/* The keys of one track in one channel, in playback order */
template<class V> std::vector<std::pair<float, V>> keysOf(const AnimationKeys<V>& keys, std::uint16_t track) {
    std::vector<std::pair<float, V>> out;
    for(std::size_t k = 0; k != keys.size(); ++k)
        if(keys.tracks[k] == track) out.emplace_back(keys.ratios[k], keys.values[k]);
    return out;
}

TEST(AnimationBuilderTest, refusesInvalid) {
    RawAnimation raw;
    raw.duration = 0.0f;
    EXPECT_FALSE(AnimationBuilder{}(raw));

    /* Validation lets a NaN duration or key time through, the builder doesn't */
    raw.duration = std::numeric_limits<float>::quiet_NaN();
    EXPECT_TRUE(raw.Validate());
    EXPECT_FALSE(AnimationBuilder{}(raw));
    raw.duration = std::numeric_limits<float>::infinity();
    EXPECT_FALSE(AnimationBuilder{}(raw));
    raw.duration = 1.0f;
    raw.tracks.resize(1);
    raw.tracks[0].scales = {{0.5f, Vector3{1.0f}}, {std::numeric_limits<float>::quiet_NaN(), Vector3{2.0f}}};
    EXPECT_TRUE(raw.Validate());
    EXPECT_FALSE(AnimationBuilder{}(raw));
}

TEST(AnimationBuilderTest, empty) {
    const std::unique_ptr<Animation> animation = AnimationBuilder{}(RawAnimation{});
    ASSERT_TRUE(animation);
    EXPECT_EQ(animation->duration(), 1.0f);
    EXPECT_EQ(animation->numTracks(), 0);
    EXPECT_EQ(animation->numSoaTracks(), 0);
    EXPECT_STREQ(animation->name(), "");
    EXPECT_EQ(animation->translations().size(), 0u);

    const Animation defaultConstructed;
    EXPECT_EQ(defaultConstructed.duration(), 0.0f);
    EXPECT_EQ(defaultConstructed.numTracks(), 0);
    EXPECT_STREQ(defaultConstructed.name(), "");
}

TEST(AnimationBuilderTest, completesChannels) {
    RawAnimation raw;
    raw.duration = 4.0f;
    raw.name = "wave";
    raw.tracks.resize(3);
    /* Track 0: no keys at all. Track 1: one key in the middle, in every channel. Track 2: keys
       inside, neither at 0 nor at the end; and keys exactly at both ends. */
    raw.tracks[1].translations = {{1.0f, Vector3{1.0f, 2.0f, 3.0f}}};
    raw.tracks[1].rotations = {{3.0f, Quaternion::rotation(0.5f, Vector3::xAxis())}};
    raw.tracks[1].scales = {{2.0f, Vector3{2.0f}}};
    raw.tracks[2].translations = {{1.0f, Vector3{1.0f}}, {3.0f, Vector3{3.0f}}};
    raw.tracks[2].scales = {{0.0f, Vector3{1.0f}}, {2.0f, Vector3{2.0f}}, {4.0f, Vector3{4.0f}}};

    const std::unique_ptr<Animation> animation = AnimationBuilder{}(raw);
    ASSERT_TRUE(animation);
    EXPECT_EQ(animation->duration(), 4.0f);
    EXPECT_EQ(animation->numTracks(), 3);
    EXPECT_EQ(animation->numSoaTracks(), 1);
    EXPECT_STREQ(animation->name(), "wave");

    typedef std::vector<std::pair<float, Vector3>> Vectors;
    EXPECT_EQ(keysOf(animation->translations(), 0), (Vectors{{0.0f, Vector3{}}, {1.0f, Vector3{}}}));
    EXPECT_EQ(keysOf(animation->scales(), 0), (Vectors{{0.0f, Vector3{1.0f}}, {1.0f, Vector3{1.0f}}}));
    EXPECT_EQ(keysOf(animation->translations(), 1), (Vectors{{0.0f, Vector3{1.0f, 2.0f, 3.0f}}, {1.0f, Vector3{1.0f, 2.0f, 3.0f}}}));
    EXPECT_EQ(keysOf(animation->scales(), 1), (Vectors{{0.0f, Vector3{2.0f}}, {1.0f, Vector3{2.0f}}}));
    EXPECT_EQ(keysOf(animation->translations(), 2), (Vectors{{0.0f, Vector3{1.0f}}, {0.25f, Vector3{1.0f}}, {0.75f, Vector3{3.0f}}, {1.0f, Vector3{3.0f}}}));
    /* Nothing added where the keys already are at both ends */
    EXPECT_EQ(keysOf(animation->scales(), 2), (Vectors{{0.0f, Vector3{1.0f}}, {0.5f, Vector3{2.0f}}, {1.0f, Vector3{4.0f}}}));

    typedef std::vector<std::pair<float, Quaternion>> Rotations;
    EXPECT_EQ(keysOf(animation->rotations(), 0), (Rotations{{0.0f, Quaternion{}}, {1.0f, Quaternion{}}}));
    EXPECT_EQ(keysOf(animation->rotations(), 1), (Rotations{{0.0f, Quaternion::rotation(0.5f, Vector3::xAxis())}, {1.0f, Quaternion::rotation(0.5f, Vector3::xAxis())}}));
    /* The padding track that fills the group of four holds the identity */
    EXPECT_EQ(keysOf(animation->translations(), 3), (Vectors{{0.0f, Vector3{}}, {1.0f, Vector3{}}}));
    EXPECT_EQ(keysOf(animation->rotations(), 3), (Rotations{{0.0f, Quaternion{}}, {1.0f, Quaternion{}}}));
    EXPECT_EQ(keysOf(animation->scales(), 3), (Vectors{{0.0f, Vector3{1.0f}}, {1.0f, Vector3{1.0f}}}));
    EXPECT_EQ(animation->translations().size(), 2u + 2u + 4u + 2u);
}

TEST(AnimationBuilderTest, lastRatioIsOne) {
    /* Ratios are divisions, so the key at the duration lands on 1 even where multiplying by the
       reciprocal would give 0.99999994 */
    for(const float duration: {41.0f, 47.0f, 55.0f, 61.0f, 82.0f, 83.0f, 0.3f, 1.0e-20f}) {
        RawAnimation raw;
        raw.duration = duration;
        raw.tracks.resize(1);
        raw.tracks[0].translations = {{0.0f, {}}, {duration*0.5f, Vector3{1.0f}}, {duration, Vector3{2.0f}}};
        const std::unique_ptr<Animation> animation = AnimationBuilder{}(raw);
        ASSERT_TRUE(animation);
        const auto keys = keysOf(animation->translations(), 0);
        EXPECT_EQ(keys.back().first, 1.0f) << duration;
    }
}

TEST(AnimationBuilderTest, rotationsNormalizedInOneHemisphere) {
    RawAnimation raw;
    raw.tracks.resize(1);
    const Quaternion a = Quaternion::rotation(0.3f, Vector3::yAxis());
    const Quaternion b = Quaternion::rotation(0.6f, Vector3::yAxis());
    const Quaternion c = Quaternion::rotation(0.9f, Vector3::yAxis());
    raw.tracks[0].rotations = {
        {0.0f, -a*3.0f},                                /* w < 0 at first: negated, normalized */
        {0.2f, -b},                                     /* opposite to the fixed first: negated */
        {0.4f, c*0.5f},                                 /* same side: only normalized */
        {0.6f, Quaternion{{0.0f, 0.0f, 0.0f}, 0.0f}},   /* zero: the identity */
        {0.8f, Quaternion{{0.0f, 0.0f, 1.0f}, 0.0f}},   /* dot 0 with the identity: left alone */
        {1.0f, Quaternion{{0.0f, 0.0f, -1.0f}, 0.0f}},  /* opposite to the key before: negated */
    };
    const std::unique_ptr<Animation> animation = AnimationBuilder{}(raw);
    ASSERT_TRUE(animation);
    const auto keys = keysOf(animation->rotations(), 0);
    ASSERT_EQ(keys.size(), 6u);
    EXPECT_EQ(keys[0].second, a);
    EXPECT_EQ(keys[1].second, b);
    EXPECT_EQ(keys[2].second, c);
    EXPECT_EQ(keys[3].second, Quaternion{});
    EXPECT_EQ(keys[4].second, (Quaternion{{0.0f, 0.0f, 1.0f}, 0.0f}));
    EXPECT_EQ(keys[5].second, (Quaternion{{0.0f, 0.0f, 1.0f}, 0.0f}));
    for(const auto& key: keys) EXPECT_TRUE(key.second.isNormalized());
}

TEST(AnimationBuilderTest, playbackOrder) {
    RawAnimation raw;
    raw.duration = 10.0f;
    raw.tracks.resize(2);
    raw.tracks[0].translations = {{0.0f, Vector3{0.0f}}, {1.0f, Vector3{1.0f}}, {2.0f, Vector3{2.0f}}, {10.0f, Vector3{3.0f}}};
    raw.tracks[1].translations = {{0.0f, Vector3{4.0f}}, {5.0f, Vector3{5.0f}}, {7.0f, Vector3{6.0f}}, {10.0f, Vector3{7.0f}}};
    const std::unique_ptr<Animation> animation = AnimationBuilder{}(raw);
    ASSERT_TRUE(animation);
    const AnimationKeys<Vector3>& keys = animation->translations();

    /* First keys of all four tracks, second keys of all four, then by the time of the key before:
       track 0 after 1 s (its key at 2), after 2 s (at 10), track 1 after 5 s (at 7), after 7 s */
    const std::vector<std::uint16_t> tracks{0, 1, 2, 3, 0, 1, 2, 3, 0, 0, 1, 1};
    const std::vector<float> ratios{0.0f, 0.0f, 0.0f, 0.0f, 0.1f, 0.5f, 1.0f, 1.0f, 0.2f, 1.0f, 0.7f, 1.0f};
    EXPECT_EQ(keys.tracks, tracks);
    EXPECT_EQ(keys.ratios, ratios);
    EXPECT_EQ(keys.values[9], Vector3{3.0f});
    EXPECT_EQ(keys.values[10], Vector3{6.0f});
}

TEST(AnimationBuilderTest, distinctKeyTimeLimit) {
    /* 65535 distinct times in one channel build, the added end keys count too */
    RawAnimation raw;
    raw.duration = 65534.0f;
    raw.tracks.resize(1);
    for(int i = 0; i != 65535; ++i) raw.tracks[0].scales.push_back({float(i), Vector3{1.0f}});
    EXPECT_TRUE(AnimationBuilder{}(raw));

    /* Shared times count once, across tracks and channels */
    raw.tracks.resize(2);
    raw.tracks[1].rotations.push_back({3.0f, Quaternion{}});
    raw.tracks[1].translations.push_back({65534.0f, Vector3{}});
    EXPECT_TRUE(AnimationBuilder{}(raw));

    raw.tracks[1].rotations.push_back({3.5f, Quaternion{}});
    EXPECT_FALSE(AnimationBuilder{}(raw));

    /* 65534 inner keys and the two the builder adds make 65536 */
    RawAnimation inner;
    inner.duration = 65535.0f;
    inner.tracks.resize(1);
    for(int i = 1; i != 65535; ++i) inner.tracks[0].translations.push_back({float(i), Vector3{}});
    EXPECT_FALSE(AnimationBuilder{}(inner));
    inner.tracks[0].translations.pop_back();
    EXPECT_TRUE(AnimationBuilder{}(inner));
}

TEST(AnimationBuilderTest, move) {
    RawAnimation raw;
    raw.tracks.resize(5);
    std::unique_ptr<Animation> built = AnimationBuilder{}(raw);
    ASSERT_TRUE(built);
    Animation moved{std::move(*built)};
    EXPECT_EQ(moved.numTracks(), 5);
    EXPECT_EQ(moved.numSoaTracks(), 2);
    EXPECT_EQ(moved.translations().size(), 16u);
    EXPECT_GT(moved.size(), 16u*(4 + 2 + 12));
    Animation assigned;
    assigned = std::move(moved);
    EXPECT_EQ(assigned.numTracks(), 5);
}

}}}}
