#include <gtest/gtest.h>

#include <cstring>
#include <limits>

#include "QuillmarshEngine/Animation/Offline/AnimationBuilder.h"
#include "QuillmarshEngine/Animation/SamplingJob.h"

#include "AnimationTestHelpers.h"

namespace QuillmarshEngine { namespace Animation { namespace {

std::unique_ptr<Animation> build(const Offline::RawAnimation& raw) {
    std::unique_ptr<Animation> animation = Offline::AnimationBuilder{}(raw);
    EXPECT_TRUE(animation);
    return animation;
}

/* Two tracks: 0 moves from (0, 0, 0) at 1 s to (4, 8, -4) at 3 s and turns from the identity to a
   half turn about Z between 0 and 4 s; 1 scales from 1 to 3 between 2 and 4 s. Four seconds. */
Offline::RawAnimation twoTracks() {
    Offline::RawAnimation raw;
    raw.duration = 4.0f;
    raw.tracks.resize(2);
    raw.tracks[0].translations = {{1.0f, Vector3{}}, {3.0f, Vector3{4.0f, 8.0f, -4.0f}}};
    raw.tracks[0].rotations = {{0.0f, Quaternion{}}, {4.0f, Quaternion{{0.0f, 0.0f, 1.0f}, 0.0f}}};
    raw.tracks[1].scales = {{2.0f, Vector3{1.0f}}, {4.0f, Vector3{3.0f}}};
    return raw;
}

Transform sample(const Animation& animation, SamplingJob::Context& context, float ratio, std::size_t track) {
    SoaTransform output[1];
    SamplingJob job;
    job.animation = &animation;
    job.context = &context;
    job.ratio = ratio;
    job.output = output;
    EXPECT_TRUE(job.Run());
    return transformAt(output, track);
}

TEST(SamplingJobTest, validate) {
    const std::unique_ptr<Animation> animation = build(twoTracks());
    SamplingJob::Context context{2};
    SoaTransform output[1];
    SamplingJob job;
    EXPECT_FALSE(job.Validate());
    job.animation = animation.get();
    job.output = output;
    EXPECT_FALSE(job.Validate());
    job.context = &context;
    EXPECT_TRUE(job.Validate());
    job.output = {};
    EXPECT_FALSE(job.Validate());
    EXPECT_FALSE(job.Run());

    /* Context capacity counts groups of four */
    job.output = output;
    SamplingJob::Context empty;
    EXPECT_EQ(empty.maxTracks(), 0);
    job.context = &empty;
    EXPECT_FALSE(job.Validate());
    empty.resize(1);
    EXPECT_EQ(empty.maxTracks(), 4);
    EXPECT_EQ(empty.maxSoaTracks(), 1);
    EXPECT_TRUE(job.Validate());
    empty.resize(-3);
    EXPECT_EQ(empty.maxTracks(), 0);

    Offline::RawAnimation five;
    five.tracks.resize(5);
    const std::unique_ptr<Animation> larger = build(five);
    job.animation = larger.get();
    job.context = &context;
    EXPECT_FALSE(job.Validate());
    SamplingJob::Context eight{8};
    job.context = &eight;
    EXPECT_TRUE(job.Validate());
}

TEST(SamplingJobTest, noTracks) {
    const std::unique_ptr<Animation> animation = build(Offline::RawAnimation{});
    SamplingJob::Context context;
    SoaTransform output[1];
    std::memset(output, 0x5a, sizeof(output));
    SamplingJob job;
    job.animation = animation.get();
    job.context = &context;
    job.output = output;
    EXPECT_TRUE(job.Run());
    EXPECT_EQ(reinterpret_cast<unsigned char*>(output)[17], 0x5a);
}

TEST(SamplingJobTest, keysAndBetween) {
    const std::unique_ptr<Animation> animation = build(twoTracks());
    SamplingJob::Context context{2};

    /* Held before the first and after the last key */
    EXPECT_EQ(sample(*animation, context, 0.0f, 0).translation, Vector3{});
    EXPECT_EQ(sample(*animation, context, 0.25f, 0).translation, Vector3{});
    EXPECT_EQ(sample(*animation, context, 0.75f, 0).translation, (Vector3{4.0f, 8.0f, -4.0f}));
    EXPECT_EQ(sample(*animation, context, 1.0f, 0).translation, (Vector3{4.0f, 8.0f, -4.0f}));
    /* A quarter of the way from 1 s to 3 s */
    EXPECT_EQ(sample(*animation, context, 0.375f, 0).translation, (Vector3{1.0f, 2.0f, -1.0f}));

    /* nlerp, not slerp: halfway between the identity and a half turn is a quarter turn, a quarter
       of the way is the normalized (0, 0, 0.25, 0.75) */
    EXPECT_EQ(sample(*animation, context, 0.5f, 0).rotation, Quaternion::rotation(1.5707963f, Vector3::zAxis()));
    EXPECT_EQ(sample(*animation, context, 0.25f, 0).rotation, (Quaternion{{0.0f, 0.0f, 0.25f}, 0.75f}.normalized()));
    EXPECT_EQ(sample(*animation, context, 1.0f, 0).rotation, (Quaternion{{0.0f, 0.0f, 1.0f}, 0.0f}));

    EXPECT_EQ(sample(*animation, context, 0.25f, 1).scale, Vector3{1.0f});
    EXPECT_EQ(sample(*animation, context, 0.875f, 1).scale, Vector3{2.5f});
    /* Channels without keys give the identity, as do the padding lanes */
    EXPECT_EQ(sample(*animation, context, 0.6f, 1).translation, Vector3{});
    EXPECT_EQ(sample(*animation, context, 0.6f, 0).scale, Vector3{1.0f});
    const Transform padding = sample(*animation, context, 0.6f, 3);
    EXPECT_EQ(padding.translation, Vector3{});
    EXPECT_EQ(padding.rotation, Quaternion{});
    EXPECT_EQ(padding.scale, Vector3{1.0f});
}

TEST(SamplingJobTest, exactlyOnInteriorKeys) {
    Offline::RawAnimation raw;
    raw.duration = 3.0f;
    raw.tracks.resize(1);
    raw.tracks[0].translations = {{0.0f, Vector3{0.1f}}, {1.0f, Vector3{0.7f, -2.0f, 1.0e-3f}}, {2.0f, Vector3{1.0f/3.0f}}, {3.0f, Vector3{9.0f}}};
    const std::unique_ptr<Animation> animation = build(raw);
    SamplingJob::Context context{1};
    for(const Offline::TranslationKey& key: raw.tracks[0].translations) {
        const Vector3 value = sample(*animation, context, key.time/3.0f, 0).translation;
        /* Bit for bit: alpha is 0 on the key */
        EXPECT_EQ(std::memcmp(&value, &key.value, sizeof(Vector3)), 0) << key.time;
    }
}

TEST(SamplingJobTest, ratioClamped) {
    const std::unique_ptr<Animation> animation = build(twoTracks());
    SamplingJob::Context context{2};
    const Vector3 start = sample(*animation, context, 0.0f, 1).scale;
    const Vector3 end = sample(*animation, context, 1.0f, 1).scale;
    EXPECT_EQ(sample(*animation, context, -0.5f, 1).scale, start);
    EXPECT_EQ(sample(*animation, context, 7.0f, 1).scale, end);
    EXPECT_EQ(sample(*animation, context, std::numeric_limits<float>::quiet_NaN(), 1).scale, end);
    EXPECT_EQ(sample(*animation, context, -std::numeric_limits<float>::infinity(), 1).scale, start);
}

TEST(SamplingJobTest, outputSize) {
    Offline::RawAnimation raw;
    raw.tracks.resize(6);
    for(std::size_t i = 0; i != 6; ++i) raw.tracks[i].translations = {{0.0f, Vector3{float(i)}}};
    const std::unique_ptr<Animation> animation = build(raw);
    SamplingJob::Context context{6};

    SoaTransform output[3];
    std::memset(output, 0x5a, sizeof(output));
    SamplingJob job;
    job.animation = animation.get();
    job.context = &context;
    /* A smaller output gets what fits, a larger one keeps its extra elements */
    job.output = {output, 1};
    EXPECT_TRUE(job.Run());
    EXPECT_EQ(transformAt(output, 3).translation, Vector3{3.0f});
    EXPECT_EQ(reinterpret_cast<unsigned char*>(&output[1])[0], 0x5a);
    job.output = output;
    EXPECT_TRUE(job.Run());
    EXPECT_EQ(transformAt(output, 5).translation, Vector3{5.0f});
    EXPECT_EQ(transformAt(output, 7).translation, Vector3{});
    EXPECT_EQ(reinterpret_cast<unsigned char*>(&output[2])[159], 0x5a);
}

TEST(SamplingJobTest, againstReferenceSampler) {
    std::mt19937 rng{17};
    std::uniform_real_distribution<float> unit{0.0f, 1.0f};
    for(int round = 0; round != 20; ++round) {
        const Offline::RawAnimation raw = TestSupport::randomAnimation(rng, 1 + int(rng() % 9), 0.5f + 4.0f*unit(rng), 12);
        const std::unique_ptr<Animation> animation = build(raw);
        SamplingJob::Context context{raw.numTracks()};
        std::vector<SoaTransform> output(std::size_t(animation->numSoaTracks()));
        SamplingJob job;
        job.animation = animation.get();
        job.context = &context;
        job.output = output;
        /* Forward, then jumping around */
        for(int s = 0; s != 200; ++s) {
            job.ratio = s < 100 ? s/99.0f : unit(rng);
            ASSERT_TRUE(job.Run());
            for(int t = 0; t != raw.numTracks(); ++t) {
                const Transform expected = TestSupport::referenceSample(raw.tracks[t], job.ratio*raw.duration);
                const Transform actual = transformAt(output, std::size_t(t));
                EXPECT_LT(TestSupport::maxDifference(actual.translation, expected.translation), 1.0e-4f) << round << " " << s << " " << t;
                EXPECT_LT(TestSupport::maxDifference(actual.scale, expected.scale), 1.0e-4f) << round << " " << s << " " << t;
                EXPECT_LT(TestSupport::angleBetween(actual.rotation, expected.rotation), 1.0e-5) << round << " " << s << " " << t;
                EXPECT_TRUE(actual.rotation.isNormalized());
            }
        }
    }
}

TEST(SamplingJobTest, contextIsOnlyACache) {
    std::mt19937 rng{5};
    std::uniform_real_distribution<float> unit{0.0f, 1.0f};
    const Offline::RawAnimation rawA = TestSupport::randomAnimation(rng, 7, 3.0f, 20);
    const Offline::RawAnimation rawB = TestSupport::randomAnimation(rng, 3, 1.0f, 20);
    const std::unique_ptr<Animation> a = build(rawA), b = build(rawB);

    SamplingJob::Context shared{8};
    std::vector<float> ratios;
    for(int i = 0; i != 60; ++i) ratios.push_back(i/59.0f);
    for(int i = 60; i-- > 0; ) ratios.push_back(i/59.0f);
    for(int i = 0; i != 60; ++i) ratios.push_back(unit(rng));

    for(std::size_t i = 0; i != ratios.size(); ++i) {
        /* The shared context switches animations now and then */
        const Animation& animation = i % 7 == 3 ? *b : *a;
        SoaTransform cached[2], fresh[2];
        SamplingJob job;
        job.animation = &animation;
        job.ratio = ratios[i];
        job.context = &shared;
        job.output = cached;
        ASSERT_TRUE(job.Run());
        SamplingJob::Context context{8};
        job.context = &context;
        job.output = fresh;
        ASSERT_TRUE(job.Run());
        EXPECT_EQ(std::memcmp(cached, fresh, sizeof(SoaTransform)*std::size_t(animation.numSoaTracks())), 0) << i;
    }
}

TEST(SamplingJobTest, invalidateForgetsTheAnimation) {
    /* Two animations at the same address: only invalidate() tells the context */
    Offline::RawAnimation raw = twoTracks();
    std::unique_ptr<Animation> animation = build(raw);
    SamplingJob::Context context{2};
    EXPECT_EQ(sample(*animation, context, 0.875f, 1).scale, Vector3{2.5f});
    raw.tracks[1].scales[1].value = Vector3{5.0f};
    *animation = std::move(*build(raw));
    context.invalidate();
    EXPECT_EQ(sample(*animation, context, 0.875f, 1).scale, Vector3{4.0f});
}

}}}
