#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <sstream>

#include "QuillmarshEngine/Animation/BlendingJob.h"
#include "QuillmarshEngine/Animation/Offline/AnimationBuilder.h"
#include "QuillmarshEngine/Data/AnimationData.h"
#include "QuillmarshEngine/Math/Packing.h"

#include "../Animation/AnimationTestHelpers.h"

namespace QuillmarshEngine { namespace Data { namespace {

using Animation::Offline::RawAnimation;
using Animation::Offline::JointTrack;

constexpr float NaN = std::numeric_limits<float>::quiet_NaN();
constexpr float Inf = std::numeric_limits<float>::infinity();

/* Little-endian byte assembly for expected records, independent of the builders */
struct Bytes {
    std::string data;
    Bytes& u8(std::uint8_t v) { data.push_back(char(v)); return *this; }
    Bytes& u16(std::uint16_t v) { return u8(v & 0xff).u8(v >> 8); }
    Bytes& u32(std::uint32_t v) { return u16(v & 0xffff).u16(v >> 16); }
    Bytes& f32(float v) { std::uint32_t b; std::memcpy(&b, &v, 4); return u32(b); }
    Bytes& text(std::string_view v) { data += v; return *this; }
    Bytes& zeros(std::size_t n) { data.append(n, '\0'); return *this; }
};

std::string str(const std::vector<char>& v) { return {v.data(), v.size()}; }

/* Two tracks of two seconds: track 0 with keys in every channel, track 1 with one rotation */
RawAnimation small() {
    RawAnimation raw;
    raw.duration = 2.0f;
    raw.tracks.resize(2);
    raw.tracks[0].translations = {{0.0f, Vector3{1.0f, 2.0f, 3.0f}}};
    raw.tracks[0].rotations = {{0.5f, Quaternion{}}, {1.5f, Quaternion{{0.0f, 0.0f, 1.0f}, 0.0f}}};
    raw.tracks[0].scales = {{2.0f, Vector3{2.0f}}};
    raw.tracks[1].rotations = {{1.0f, Quaternion{{0.0f, -1.0f, 0.0f}, 0.0f}}};
    return raw;
}

const float SmallEventKeys[]{0.25f, 1.75f};

/* The test's own reading of a packed rotation: three 10-bit codes, the left-out index on top */
std::uint32_t codeOf(std::uint32_t packed, std::uint32_t slot) { return (packed >> (10*slot)) & 1023u; }

template<class Key> bool sameKeys(const std::vector<Key>& a, const std::vector<Key>& b) {
    return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size()*sizeof(Key)) == 0);
}

TEST(AnimationDataTest, emptyRecord) {
    /* An empty raw animation lasts one second; the record says so, compressed, in 16 bytes */
    Bytes expected;
    expected.f32(1.0f).u16(1).u16(0).u32(0).u32(0);
    const std::vector<char> record = createAnimationData();
    EXPECT_EQ(str(record), expected.data);
    const AnimationData view{record};
    EXPECT_TRUE(view.isCompressed());
    EXPECT_EQ(view.duration(), 1.0f);
    EXPECT_EQ(view.rawAnimation().numTracks(), 0);
    EXPECT_TRUE(view.eventNames().isEmpty());
    const std::unique_ptr<Animation::Animation> animation = view.animation();
    ASSERT_TRUE(animation);
    EXPECT_EQ(animation->numTracks(), 0);
}

TEST(AnimationDataTest, plainLayout) {
    StringArray names{"step", ""};
    const std::vector<char> record = createAnimationData(small(), SmallEventKeys, names.view(), false);
    Bytes expected;
    expected.f32(2.0f).u16(0).u16(2).u32(92).u32(2)
        .u32(0).u32(1).u32(2).u32(1)
        .u32(72).u32(0).u32(1).u32(0)
        .f32(0.0f).f32(1.0f).f32(2.0f).f32(3.0f)
        .f32(0.5f).f32(0.0f).f32(0.0f).f32(0.0f).f32(1.0f)
        .f32(1.5f).f32(0.0f).f32(0.0f).f32(1.0f).f32(0.0f)
        .f32(2.0f).f32(2.0f).f32(2.0f).f32(2.0f)
        .f32(1.0f).f32(0.0f).f32(-1.0f).f32(0.0f).f32(0.0f)
        .f32(0.25f).f32(1.75f)
        .text("step").zeros(2);
    EXPECT_EQ(str(record), expected.data);

    const AnimationData view{record};
    EXPECT_FALSE(view.isCompressed());
    EXPECT_EQ(view.trackCount(), 2);
    EXPECT_EQ(view.keyDataSize(), 92u);
    EXPECT_EQ(view.keyData().size(), 92u);
    EXPECT_EQ(view.trackHeader(1).offset, 72u);
    EXPECT_EQ(view.trackHeader(1).rotationCount, 1u);
    EXPECT_EQ(view.eventKeys(), (std::vector<float>{0.25f, 1.75f}));
    EXPECT_EQ(view.eventKey(1), 1.75f);
    ASSERT_EQ(view.eventNames().size(), 2u);
    EXPECT_EQ(view.eventNames()[0], "step");
    EXPECT_EQ(view.eventNames()[1], "");
}

TEST(AnimationDataTest, compressedLayout) {
    StringArray names{"step", ""};
    const std::vector<char> record = createAnimationData(small(), SmallEventKeys, names.view(), true);
    /* Identity: w left out, three zeros coded 512 (0.5*1023 rounds away from zero); a pure Z turn
       leaves out z; -Y leaves out y and negates the (zero) rest. Time codes: 0.5/2*65535 rounds
       up to 16384, 1.5/2*65535 down to 49151, 1/2*65535 = 32767.5 away from zero to 32768. */
    Bytes expected;
    expected.f32(2.0f).u16(1).u16(2).u32(36).u32(2)
        .u32(0).u32(1).u32(2).u32(1)
        .u32(28).u32(0).u32(1).u32(0)
        .u16(0x3c00).u16(0x4000).u16(0x4200).u16(0)
        .u16(0x4000).u16(0x4000).u16(0x4000).u16(65535)
        .u32(0xe0080200).u32(0xa0080200)
        .u16(16384).u16(49151)
        .u32(0x60080200).u16(32768).u16(0)
        .f32(0.25f).f32(1.75f)
        .text("step").zeros(2);
    EXPECT_EQ(str(record), expected.data);

    const RawAnimation raw = AnimationData{record}.rawAnimation();
    ASSERT_EQ(raw.numTracks(), 2);
    EXPECT_EQ(raw.duration, 2.0f);
    EXPECT_EQ(raw.tracks[0].translations[0].value, (Vector3{1.0f, 2.0f, 3.0f}));
    EXPECT_EQ(raw.tracks[0].translations[0].time, 0.0f);
    EXPECT_EQ(raw.tracks[0].scales[0].time, 2.0f);
    EXPECT_EQ(raw.tracks[1].rotations[0].time, AnimationData::unpackTime(32768, 2.0f));
    EXPECT_LT(Animation::TestSupport::angleBetween(raw.tracks[1].rotations[0].value, Quaternion{{0.0f, -1.0f, 0.0f}, 0.0f}), 0.0045);
    EXPECT_TRUE(raw.Validate());
}

TEST(AnimationDataTest, timeCodes) {
    EXPECT_EQ(AnimationData::packTime(0.0f, 3.0f), 0);
    EXPECT_EQ(AnimationData::packTime(-0.0f, 3.0f), 0);
    EXPECT_EQ(AnimationData::packTime(3.0f, 3.0f), 65535);
    EXPECT_EQ(AnimationData::unpackTime(0, 3.0f), 0.0f);
    EXPECT_EQ(AnimationData::unpackTime(65535, 3.0f), 3.0f);
    EXPECT_EQ(AnimationData::packTime(1.5f, 3.0f), 32768);
    EXPECT_EQ(AnimationData::packTime(NaN, 3.0f), 0);
}

TEST(AnimationDataTest, rotationPacking) {
    /* All four magnitudes equal: x is left out, w takes its slot */
    const std::uint32_t equal = *AnimationData::packRotation(Quaternion{{0.5f, -0.5f, 0.5f, }, -0.5f});
    EXPECT_EQ(equal >> 30, 0u);
    /* Kept: w, y, z = -0.5, -0.5, 0.5, not negated as x is positive */
    EXPECT_LT(codeOf(equal, 0), 512u);
    EXPECT_LT(codeOf(equal, 1), 512u);
    EXPECT_GT(codeOf(equal, 2), 512u);
    /* A later component must be strictly larger to be left out instead */
    EXPECT_EQ(*AnimationData::packRotation(Quaternion{{0.0f, 0.6f, -0.6f}, 0.5f}) >> 30, 1u);

    /* w largest and negative: stored negated, decoded with a positive w, the same rotation */
    const Quaternion negative = Quaternion{{0.1f, -0.2f, 0.3f}, -0.9f}.normalized();
    const Quaternion decoded = AnimationData::unpackRotation(*AnimationData::packRotation(negative));
    EXPECT_GT(decoded.w(), 0.0f);
    EXPECT_LT(Animation::TestSupport::angleBetween(decoded, negative), 0.0045);
    EXPECT_NEAR(decoded.x(), -negative.x(), 0.002f);

    /* The left-out slot takes the reconstructed value and its stored value moves to w, for
       every index: decoding must not overwrite before it moves */
    for(std::uint32_t index = 0; index != 4; ++index) {
        float c[4]{0.3f, -0.2f, 0.1f, 0.4f};
        c[index] = 0.85f;
        const Quaternion q = Quaternion{{c[0], c[1], c[2]}, c[3]}.normalized();
        const std::uint32_t packed = *AnimationData::packRotation(q);
        EXPECT_EQ(packed >> 30, index);
        const Quaternion back = AnimationData::unpackRotation(packed);
        for(std::size_t k = 0; k != 4; ++k) EXPECT_NEAR(back.data()[k], q.data()[k], 0.002f) << index << " " << k;
    }
}

TEST(AnimationDataTest, rotationNormalization) {
    const Quaternion unit = Quaternion{{0.2f, -0.4f, 0.1f}, 0.7f}.normalized();
    const std::uint32_t code = *AnimationData::packRotation(unit);
    /* Scaled rotations pack like the unit one, also where the squares underflow or overflow */
    for(const float scale: {3.0f, 0.01f, 1.0e-30f, 1.0e-40f, 1.0e25f, 3.0e38f})
        EXPECT_EQ(AnimationData::packRotation(Quaternion{unit.vector()*scale, unit.w()*scale}), code) << scale;
    /* Four zeros are the identity */
    EXPECT_EQ(AnimationData::packRotation(Quaternion{{0.0f, 0.0f, 0.0f}, 0.0f}), 0xe0080200u);
    EXPECT_EQ(AnimationData::packRotation(Quaternion{}), 0xe0080200u);
    for(const float bad: {NaN, Inf, -Inf})
        EXPECT_FALSE(AnimationData::packRotation(Quaternion{{0.1f, bad, 0.0f}, 1.0f})) << bad;

    /* Normalizing divides by the length; multiplying by its reciprocal rounds differently and
       changes the code of some rotations. Find such rotations and check the division's code,
       computed here step by step as the format describes it. */
    const auto reference = [](const float (&q)[4]) {
        std::uint32_t index = 0;
        for(std::uint32_t i = 1; i != 4; ++i) if(std::abs(q[i]) > std::abs(q[index])) index = i;
        float slots[4]{q[0], q[1], q[2], q[3]};
        std::swap(slots[index], slots[3]);
        std::uint32_t packed = index << 30;
        for(std::uint32_t i = 0; i != 3; ++i) {
            volatile float v = q[index] < 0.0f ? -slots[i] : slots[i];
            v = v + 0.707107f;
            v = v/1.414214f;
            v = v*1023.0f;
            packed |= std::uint32_t(std::round(float(v))) << (10*i);
        }
        return packed;
    };
    std::mt19937 rng{3};
    std::uniform_real_distribution<float> unitRange{-1.0f, 1.0f};
    int differing = 0;
    for(int i = 0; i != 200000 && differing < 5; ++i) {
        const float c[4]{unitRange(rng), unitRange(rng), unitRange(rng), unitRange(rng)};
        volatile float lengthSquared = c[0]*c[0];
        lengthSquared = lengthSquared + c[1]*c[1];
        lengthSquared = lengthSquared + c[2]*c[2];
        lengthSquared = lengthSquared + c[3]*c[3];
        const float length = std::sqrt(float(lengthSquared));
        const volatile float reciprocal = 1.0f/length;
        const float divided[4]{c[0]/length, c[1]/length, c[2]/length, c[3]/length};
        const float multiplied[4]{c[0]*reciprocal, c[1]*reciprocal, c[2]*reciprocal, c[3]*reciprocal};
        const std::uint32_t packed = *AnimationData::packRotation(Quaternion{{c[0], c[1], c[2]}, c[3]});
        EXPECT_EQ(packed, reference(divided)) << i;
        if(reference(divided) != reference(multiplied)) ++differing;
    }
    EXPECT_GT(differing, 0);
}

TEST(AnimationDataTest, corruptRotation) {
    /* Three codes of 1023 give squares summing to 1.5: the root is NaN */
    EXPECT_FALSE(AnimationData::tryUnpackRotation(0x3fffffffu));
    EXPECT_FALSE(AnimationData::tryUnpackRotation(0xffffffffu));
    EXPECT_TRUE(AnimationData::tryUnpackRotation(0xe0080200u));
    /* Codes 1023, 1023, 0: 0.5 + 0.5 + 0.5 again, whatever the index */
    EXPECT_FALSE(AnimationData::tryUnpackRotation(0x800ffc00u | 1023u));
}

TEST(AnimationDataTest, roundTripPlain) {
    std::mt19937 rng{11};
    for(int round = 0; round != 20; ++round) {
        RawAnimation raw = Animation::TestSupport::randomAnimation(rng, 1 + int(rng() % 6), 0.1f + float(rng() % 100), 15);
        /* Plain records keep even values the builder would normalize */
        if(!raw.tracks[0].rotations.empty()) raw.tracks[0].rotations[0].value = Quaternion{{0.0f, 0.0f, 0.0f}, -7.0f};
        const float keys[]{0.0f, raw.duration};
        StringArray names{"a", "b"};
        const std::vector<char> record = createAnimationData(raw, keys, names.view(), false);
        ASSERT_FALSE(record.empty());
        const AnimationData view{record};
        const RawAnimation back = view.rawAnimation();
        EXPECT_EQ(back.duration, raw.duration);
        ASSERT_EQ(back.numTracks(), raw.numTracks());
        for(int t = 0; t != raw.numTracks(); ++t) {
            EXPECT_TRUE(sameKeys(back.tracks[t].translations, raw.tracks[t].translations));
            EXPECT_TRUE(sameKeys(back.tracks[t].rotations, raw.tracks[t].rotations));
            EXPECT_TRUE(sameKeys(back.tracks[t].scales, raw.tracks[t].scales));
        }
        EXPECT_EQ(view.eventKeys(), (std::vector<float>{0.0f, raw.duration}));
        EXPECT_EQ(view.eventNames()[1], "b");
    }

    /* Plain records take any duration validation takes */
    RawAnimation infinite;
    infinite.duration = Inf;
    EXPECT_EQ(AnimationData{createAnimationData(infinite, {}, StringArrayView{}, false)}.duration(), Inf);
}

TEST(AnimationDataTest, roundTripCompressed) {
    std::mt19937 rng{13};
    double worstAngle = 0.0;
    for(int round = 0; round != 40; ++round) {
        const RawAnimation raw = Animation::TestSupport::randomAnimation(rng, 1 + int(rng() % 6), 0.1f + float(rng() % 100), 15);
        const std::vector<char> record = createAnimationData(raw, {}, StringArrayView{}, true);
        ASSERT_FALSE(record.empty());
        const RawAnimation back = AnimationData{record}.rawAnimation();
        ASSERT_TRUE(back.Validate());
        ASSERT_EQ(back.numTracks(), raw.numTracks());
        /* Half a code, and float rounding of a few units in the last place of the duration */
        const float timeBound = raw.duration/131070.0f + raw.duration*5.0e-7f;
        const auto checkVectors = [&](const auto& a, const auto& b) {
            ASSERT_EQ(a.size(), b.size());
            for(std::size_t k = 0; k != a.size(); ++k) {
                EXPECT_LE(std::abs(a[k].time - b[k].time), timeBound);
                for(std::size_t c = 0; c != 3; ++c) {
                    /* Half floats keep 11 significant bits, rounded to nearest */
                    EXPECT_LE(std::abs(a[k].value[c] - b[k].value[c]), std::abs(a[k].value[c])*0.00049f);
                    EXPECT_EQ(b[k].value[c], Math::unpackHalf(Math::packHalf(a[k].value[c])));
                }
            }
        };
        for(int t = 0; t != raw.numTracks(); ++t) {
            checkVectors(raw.tracks[t].translations, back.tracks[t].translations);
            checkVectors(raw.tracks[t].scales, back.tracks[t].scales);
            ASSERT_EQ(raw.tracks[t].rotations.size(), back.tracks[t].rotations.size());
            for(std::size_t k = 0; k != raw.tracks[t].rotations.size(); ++k) {
                EXPECT_LE(std::abs(raw.tracks[t].rotations[k].time - back.tracks[t].rotations[k].time), timeBound);
                const double angle = Animation::TestSupport::angleBetween(raw.tracks[t].rotations[k].value, back.tracks[t].rotations[k].value);
                worstAngle = std::max(worstAngle, angle);
            }
        }
        /* Decoded records build */
        EXPECT_TRUE(AnimationData{record}.animation());
    }
    EXPECT_LT(worstAngle, 0.0045);
}

TEST(AnimationDataTest, oddRotationCountPadding) {
    RawAnimation raw;
    raw.tracks.resize(2);
    raw.tracks[0].rotations = {{0.0f, Quaternion{}}, {0.5f, Quaternion{}}, {1.0f, Quaternion{}}};
    raw.tracks[1].rotations = {{0.0f, Quaternion{}}};
    raw.tracks[1].translations = {{0.0f, Vector3{}}};
    const std::vector<char> compressed = createAnimationData(raw, {}, StringArrayView{}, true);
    const AnimationData view{compressed};
    /* 18 bytes of rotations and two of padding keep the next track 4-byte aligned */
    EXPECT_EQ(view.trackHeader(1).offset, 20u);
    EXPECT_EQ(view.keyDataSize(), 20u + 8u + 6u + 2u);
    EXPECT_EQ(compressed.size(), 16u + 32u + 36u);
    EXPECT_EQ(compressed[16 + 32 + 18], 0);
    EXPECT_EQ(compressed[16 + 32 + 19], 0);
    EXPECT_EQ(compressed.back(), 0);
    EXPECT_EQ(compressed[compressed.size() - 2], 0);

    /* Plain records have no padding */
    const std::vector<char> plainRecord = createAnimationData(raw, {}, StringArrayView{}, false);
    const AnimationData plain{plainRecord};
    EXPECT_EQ(plain.trackHeader(1).offset, 60u);
    EXPECT_EQ(plain.keyDataSize(), 60u + 20u + 16u);
}

TEST(AnimationDataTest, collidingTimesMerged) {
    RawAnimation raw;
    raw.tracks.resize(3);
    /* 0.5 and 0.500001 both code 32768 */
    raw.tracks[0].translations = {{0.0f, Vector3{0.0f}}, {0.5f, Vector3{1.0f}}, {0.500001f, Vector3{2.0f}}, {1.0f, Vector3{3.0f}}};
    raw.tracks[2].rotations = {{0.2f, Quaternion{}}, {0.2000001f, Quaternion{}}, {0.2000002f, Quaternion::rotation(0.5f, Vector3::xAxis())}};
    raw.tracks[2].scales = {{0.9999999f, Vector3{1.0f}}, {1.0f, Vector3{4.0f}}};
    std::ostringstream out;
    std::vector<char> record;
    {
        Warning redirect{&out};
        record = createAnimationData(raw, {}, StringArrayView{}, true);
    }
    EXPECT_EQ(out.str(),
        "createAnimationData(): merged 1 keys of track 0 whose times collide after quantization\n"
        "createAnimationData(): merged 3 keys of track 2 whose times collide after quantization\n");
    const AnimationData view{record};
    EXPECT_EQ(view.trackHeader(0).translationCount, 3u);
    EXPECT_EQ(view.trackHeader(2).rotationCount, 1u);
    EXPECT_EQ(view.trackHeader(2).scaleCount, 1u);
    const RawAnimation back = view.rawAnimation();
    EXPECT_TRUE(back.Validate());
    /* The later key is kept */
    EXPECT_EQ(back.tracks[0].translations[1].value, Vector3{2.0f});
    EXPECT_EQ(back.tracks[2].scales[0].value, Vector3{4.0f});
    EXPECT_EQ(back.tracks[2].scales[0].time, 1.0f);
    EXPECT_LT(Animation::TestSupport::angleBetween(back.tracks[2].rotations[0].value, Quaternion::rotation(0.5f, Vector3::xAxis())), 0.0045);
    EXPECT_TRUE(view.animation());

    /* Durations so small that times are subnormal floats still decode to valid channels */
    RawAnimation tiny;
    tiny.duration = std::numeric_limits<float>::denorm_min()*9.0f;
    tiny.tracks.resize(1);
    for(int i = 0; i != 10; ++i) tiny.tracks[0].rotations.push_back({std::numeric_limits<float>::denorm_min()*float(i), Quaternion{}});
    const std::vector<char> tinyRecord = createAnimationData(tiny, {}, StringArrayView{}, true);
    EXPECT_EQ(AnimationData{tinyRecord}.trackHeader(0).rotationCount, 10u);
    EXPECT_TRUE(AnimationData{tinyRecord}.rawAnimation().Validate());

    /* Plain records keep every key */
    std::ostringstream none;
    Warning redirect{&none};
    EXPECT_EQ(AnimationData{createAnimationData(raw, {}, StringArrayView{}, false)}.trackHeader(0).translationCount, 4u);
    EXPECT_EQ(none.str(), "");
}

TEST(AnimationDataTest, invalidInput) {
    const auto refused = [](const RawAnimation& raw, std::span<const float> keys, const StringArrayView& names, bool compressed) {
        std::ostringstream out;
        Error redirect{&out};
        const std::vector<char> record = createAnimationData(raw, keys, names, compressed);
        return record.empty() && out.str() == "createAnimationData(): animation is empty or contains invalid key values.\n";
    };
    RawAnimation raw = small();
    StringArray two{"a", "b"}, one{"a"};
    EXPECT_FALSE(refused(raw, SmallEventKeys, two.view(), true));

    /* Names and times must pair up */
    EXPECT_TRUE(refused(raw, SmallEventKeys, one.view(), false));
    EXPECT_TRUE(refused(raw, {}, one.view(), true));

    RawAnimation invalid = raw;
    invalid.duration = 0.0f;
    EXPECT_TRUE(refused(invalid, {}, StringArrayView{}, false));
    invalid = raw;
    invalid.tracks[0].rotations[1].time = 0.5f;
    EXPECT_TRUE(refused(invalid, {}, StringArrayView{}, true));

    /* What compressing can't encode */
    for(const float duration: {NaN, Inf}) {
        invalid = raw;
        invalid.duration = duration;
        EXPECT_TRUE(refused(invalid, {}, StringArrayView{}, true)) << duration;
        EXPECT_FALSE(refused(invalid, {}, StringArrayView{}, false)) << duration;
    }
    invalid = raw;
    invalid.tracks[1].rotations[0].value = Quaternion{{NaN, 0.0f, 0.0f}, 1.0f};
    EXPECT_TRUE(refused(invalid, {}, StringArrayView{}, true));
    EXPECT_FALSE(refused(invalid, {}, StringArrayView{}, false));
    invalid = raw;
    invalid.tracks[0].translations[0].time = NaN;
    EXPECT_TRUE(refused(invalid, {}, StringArrayView{}, true));
}

TEST(AnimationDataTest, eventNamesEmptyAllowed) {
    const float keys[]{0.1f, 0.2f, 0.3f};
    StringArray names{"", "b", ""};
    const std::vector<char> record = createAnimationData(RawAnimation{}, keys, names.view(), true);
    EXPECT_EQ(record.size(), 16u + 12u + 4u);
    const StringArrayView read = AnimationData{record}.eventNames();
    ASSERT_EQ(read.size(), 3u);
    EXPECT_EQ(read[0], "");
    EXPECT_EQ(read[1], "b");
    EXPECT_EQ(read[2], "");
}

TEST(AnimationDataTest, runtimeAnimation) {
    const std::vector<char> record = createAnimationData(small(), {}, StringArrayView{}, false);
    const std::unique_ptr<Animation::Animation> animation = AnimationData{record}.animation();
    ASSERT_TRUE(animation);
    EXPECT_EQ(animation->numTracks(), 2);
    EXPECT_EQ(animation->duration(), 2.0f);

    /* A record whose keys no longer validate: the second rotation of track 0 before the first */
    std::vector<char> broken = record;
    const float early = 0.25f;
    std::memcpy(broken.data() + 16 + 32 + 16 + 20, &early, 4);
    std::ostringstream out;
    Error redirect{&out};
    EXPECT_FALSE(AnimationData{broken}.animation());
    EXPECT_EQ(out.str(), "Failed to build runtime animation.\n");
}

TEST(AnimationDataTest, targetsRecord) {
    const Id ids[]{Id{3}, Id{0x1234}, Id{0xffff}};
    const std::vector<char> record = createAnimationTargetsData(7, ids);
    Bytes expected;
    expected.u16(7).u16(3).u16(3).u16(0x1234).u16(0xffff);
    EXPECT_EQ(str(record), expected.data);
    EXPECT_EQ(record.size(), 10u);
    const AnimationTargetsData view{record};
    EXPECT_EQ(view.animation(), 7);
    EXPECT_EQ(view.targetCount(), 3);
    EXPECT_EQ(view.target(1), Id{0x1234});
    EXPECT_EQ(view.targets()[2], Id{0xffff});
    EXPECT_EQ(createAnimationTargetsData(1, {}).size(), 4u);
}

/* An imported animation: translation, rotation and scaling of object 5, a float track of object 6 */
struct Imported {
    std::vector<float> keys{0.0f, 1.0f, 2.0f};
    std::vector<Vector3> translations{Vector3{1.0f, 2.0f, 3.0f}, Vector3{2.0f, 2.0f, 2.0f}, Vector3{0.0f, -1.0f, 5.0f}};
    std::vector<Quaternion> rotations{Quaternion{}, Quaternion::rotation(1.0f, Vector3::yAxis()), Quaternion::rotation(2.0f, Vector3{0.6f, 0.0f, 0.8f})};
    std::vector<Vector3> scalings{Vector3{1.0f}, Vector3{2.0f, 3.0f, 4.0f}, Vector3{0.5f}};
    std::vector<float> floats{1.0f, 2.0f, 3.0f};

    Trade::AnimationData animation() const {
        std::vector<Trade::AnimationTrackData> tracks;
        tracks.emplace_back(Trade::AnimationTrackTarget::Translation3D, 5, std::span<const float>{keys}, std::span<const Vector3>{translations}, Animation::Interpolation::Linear);
        tracks.emplace_back(Trade::AnimationTrackType::Float, Trade::animationTrackTargetCustom(0), 6, std::span<const float>{keys},
            StridedArrayView1D<const char>{reinterpret_cast<const char*>(floats.data()), 3, 4}, Animation::Interpolation::Linear);
        tracks.emplace_back(Trade::AnimationTrackTarget::Rotation3D, 5, std::span<const float>{keys}, std::span<const Quaternion>{rotations}, Animation::Interpolation::Constant);
        tracks.emplace_back(Trade::AnimationTrackTarget::Scaling3D, 5, std::span<const float>{keys}, std::span<const Vector3>{scalings}, Animation::Interpolation::Linear);
        return Trade::AnimationData{Trade::DataFlag::ExternallyOwned, {}, std::move(tracks), Range1D{-1.0f, 4.0f}};
    }
};

TEST(AnimationDataTest, retarget) {
    const Imported imported;
    const Trade::AnimationData animation = imported.animation();
    const Id targets[]{Id{10}, Id{11}, Id{0xffff}, Id{12}};
    const Trade::AnimationData out = retargetAnimation(animation, targets);
    EXPECT_EQ(out.duration(), (Range1D{-1.0f, 4.0f}));
    EXPECT_EQ(out.dataFlags(), Trade::DataFlags{});
    ASSERT_EQ(out.trackCount(), 2u);
    EXPECT_EQ(out.trackTarget(0), 10u);
    EXPECT_EQ(out.trackTargetName(0), Trade::AnimationTrackTarget::Translation3D);
    EXPECT_EQ(out.trackTarget(1), 12u);
    EXPECT_EQ(out.trackTargetName(1), Trade::AnimationTrackTarget::Scaling3D);
    EXPECT_EQ(out.track(1).interpolation(), Animation::Interpolation::Linear);
    /* Neither owned nor copied */
    EXPECT_EQ(out.trackValues<Vector3>(0).data(), imported.translations.data());
    EXPECT_EQ(out.trackKeys(1).data(), imported.keys.data());

    const Id none[]{Id{0xffff}, Id{0xffff}, Id{0xffff}, Id{0xffff}};
    const Trade::AnimationData empty = retargetAnimation(animation, none);
    EXPECT_EQ(empty.trackCount(), 0u);
    EXPECT_EQ(empty.duration(), (Range1D{-1.0f, 4.0f}));
}

TEST(AnimationDataTest, additive) {
    const Imported imported;
    const Trade::AnimationData animation = imported.animation();
    const Quaternion bindRotation = Quaternion::rotation(0.7f, Vector3{0.0f, 0.6f, 0.8f});
    /* Indexed by the input's tracks: entry 1 belongs to the float track and is not used */
    const Quaternion bindPose[]{Quaternion{{0.5f, 1.0f, -2.0f}, 9.0f}, Quaternion{{9.0f, 9.0f, 9.0f}, 9.0f}, bindRotation, Quaternion{{2.0f, 0.5f, 4.0f}, 9.0f}};
    const Trade::AnimationData additive = convertToAdditiveAnimation(animation, bindPose);
    EXPECT_EQ(additive.dataFlags(), Trade::DataFlag::Owned|Trade::DataFlag::Mutable);
    EXPECT_EQ(additive.duration(), (Range1D{-1.0f, 4.0f}));
    ASSERT_EQ(additive.trackCount(), 3u);
    EXPECT_EQ(additive.trackTarget(2), 5u);
    EXPECT_EQ(additive.track(1).interpolation(), Animation::Interpolation::Constant);
    EXPECT_EQ(additive.trackKeys(2)[2], 2.0f);
    EXPECT_EQ(additive.trackValues<Vector3>(0)[0], (Vector3{0.5f, 1.0f, 5.0f}));
    EXPECT_EQ(additive.trackValues<Vector3>(2)[1], (Vector3{1.0f, 6.0f, 1.0f}));
    /* A bind rotation equal to a key makes it the identity */
    const Quaternion keyPose[]{Quaternion{}, Quaternion{}, imported.rotations[1], Quaternion{{1.0f, 1.0f, 1.0f}, 0.0f}};
    EXPECT_EQ(convertToAdditiveAnimation(animation, keyPose).trackValues<Quaternion>(1)[1], Quaternion{});

    /* Applying the additive keys on the bind pose through the blending job gives the keys back */
    Animation::Transform bind;
    bind.translation = bindPose[0].vector();
    bind.rotation = bindRotation;
    bind.scale = bindPose[3].vector();
    for(std::size_t k = 0; k != 3; ++k) {
        Animation::Transform delta;
        delta.translation = additive.trackValues<Vector3>(0)[k];
        delta.rotation = additive.trackValues<Quaternion>(1)[k];
        delta.scale = additive.trackValues<Vector3>(2)[k];
        Animation::SoaTransform rest = Animation::SoaTransform::identity(), layer = Animation::SoaTransform::identity(), output[1];
        Animation::setTransformAt({&rest, 1}, 2, bind);
        Animation::setTransformAt({&layer, 1}, 2, delta);
        Animation::BlendingJob::Layer additiveLayer;
        additiveLayer.weight = 1.0f;
        additiveLayer.transform = {&layer, 1};
        Animation::BlendingJob job;
        job.restPose = {&rest, 1};
        job.additiveLayers = {&additiveLayer, 1};
        job.output = output;
        ASSERT_TRUE(job.Run());
        const Animation::Transform out = Animation::transformAt(output, 2);
        EXPECT_EQ(out.translation, imported.translations[k]) << k;
        EXPECT_LT(Animation::TestSupport::angleBetween(out.rotation, imported.rotations[k]), 1.0e-5) << k;
        EXPECT_EQ(out.scale, imported.scalings[k]) << k;
    }
}

TEST(AnimationDataTest, additiveZeroBindScaling) {
    const Imported imported;
    const Quaternion bindPose[]{Quaternion{}, Quaternion{}, Quaternion{}, Quaternion{{0.0f, 2.0f, 0.0f}, 1.0f}};
    std::ostringstream out;
    Warning redirect{&out};
    const Trade::AnimationData additive = convertToAdditiveAnimation(imported.animation(), bindPose);
    EXPECT_EQ(out.str(), "convertToAdditiveAnimation(): the bind scaling of track 3 has a zero component, keys of that component stay absolute\n");
    EXPECT_EQ(additive.trackValues<Vector3>(2)[1], (Vector3{2.0f, 1.5f, 4.0f}));
}

TEST(AnimationDataDeathTest, misuse) {
    const Imported imported;
    const Trade::AnimationData animation = imported.animation();
    const Id targets[]{Id{1}};
    EXPECT_DEATH(retargetAnimation(animation, targets),
        "^retargetAnimation\\(\\): newTargets is required to have an element per track: Got 1 but expected 4\n$");
    const Quaternion bindPose[]{Quaternion{}, Quaternion{}};
    EXPECT_DEATH(convertToAdditiveAnimation(animation, bindPose),
        "^retargetAnimation\\(\\): bindPose is required to have an element per track: Got 2 but expected 4\n$");
    const std::vector<Id> many(65536);
    EXPECT_DEATH(createAnimationTargetsData(0, many), "^createAnimationTargetsData\\(\\): too many targets\n$");
    EXPECT_DEATH(AnimationData::unpackRotation(0x3fffffffu), "^Quat not normalized, length is -?nan\n$");

    /* A compressed record with a corrupt rotation is the library's own fault: fatal */
    std::vector<char> record = createAnimationData(small(), {}, StringArrayView{}, true);
    const std::uint32_t corrupt = 0xffffffffu;
    std::memcpy(record.data() + 16 + 32 + 16, &corrupt, 4);
    EXPECT_DEATH(AnimationData{record}.rawAnimation(), "^Quat not normalized, length is -?nan\n$");
    EXPECT_DEATH((AnimationData{std::span<const char>{record.data(), 15}}), "^Data::AnimationData: expected at least 16 bytes, got 15\n$");
}

}}}
