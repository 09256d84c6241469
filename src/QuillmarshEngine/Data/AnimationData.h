#ifndef QuillmarshEngine_Data_AnimationData_h
#define QuillmarshEngine_Data_AnimationData_h

/** @file
 * @brief Class @ref QuillmarshEngine::Data::AnimationData, @ref QuillmarshEngine::Data::AnimationTargetsData,
 *      their builders @ref QuillmarshEngine::Data::createAnimationData(), @ref QuillmarshEngine::Data::createAnimationTargetsData(),
 *      and the tools @ref QuillmarshEngine::Data::retargetAnimation(), @ref QuillmarshEngine::Data::convertToAdditiveAnimation()
 *
 * An animation record is one flat, position-independent block, the payload of a
 * @ref Magic::Animation chunk; little-endian throughout:
 *
 * 1. A 16-byte header (@ref AnimationData::Header): duration (float), compressed flag (u16),
 *    track count (u16), size of the key data block (u32), event count (u32).
 * 2. One 16-byte @ref AnimationData::TrackHeader per track: offset of the track's keys in the key
 *    data block, then its translation, rotation and scale key counts (u32 each).
 * 3. The key data block, track after track. Plain records hold per track the translation keys
 *    (16 bytes: time, x, y, z), the rotation keys (20 bytes: time, x, y, z, w) and the scale keys
 *    (16 bytes), exactly as @ref Animation::Offline::TranslationKey and its siblings lay them out.
 *    Compressed records hold per track the translation keys and then the scale keys, 8 bytes each
 *    (x, y, z as half floats, then a u16 time code), then the track's packed rotations (u32 each,
 *    @ref AnimationData::packRotation()), then their u16 time codes, then two zero bytes when the
 *    rotation count is odd, so that the next track stays 4-byte aligned.
 * 4. The event times, one float each.
 * 5. The event names: the characters of a string array, each name followed by a zero byte.
 *
 * A track takes 16 × (translations + scales) + 20 × rotations bytes plain, 8 × (translations +
 * scales) + 6 × rotations (+2 when the rotation count is odd) compressed.
 *
 * Compressed time codes are `round(time/duration*65535)` and decode as `code/65535*duration`;
 * decoded times lie within duration/131070 of the originals, plus the rounding of float arithmetic
 * (a few units in the last place of the duration). Translations and scales keep the
 * precision of half floats (a relative error of at most 2^-11 in the normal range, rounded to
 * nearest, ties away from zero). Unit rotations round-trip within 0.002 of each component (up to
 * the sign of the whole quaternion) and within 0.0045 rad of rotation angle (the largest error
 * measured over 20 million random rotations was 0.00436 rad). The
 * arithmetic of both directions is done in 32-bit floats, left to right as written, and the
 * source is compiled without fused multiply-add contraction, so that every build writes and reads
 * the same bytes.
 *
 * The animation-targets record (payload of a @ref Magic::AnimationTargets chunk) is a u16
 * animation index, a u16 target count and one u16 object id per target, 4 + 2 × count bytes.
 *
 * Trust: the builders check their input. The views trust their record: on a record from outside
 * the process, call @ref validateAssetData() first, which checks every count, offset and size
 * against the chunk and decodes every compressed rotation; @ref AnimationData::rawAnimation() and
 * @ref AnimationData::animation() on an unchecked record may read past it or abort.
 */

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "QuillmarshEngine/Animation/Animation.h"
#include "QuillmarshEngine/Animation/Offline/RawAnimation.h"
#include "QuillmarshEngine/Data/AssetData.h"
#include "QuillmarshEngine/Data/Id.h"
#include "QuillmarshEngine/StringArray.h"
#include "QuillmarshEngine/Trade/AnimationData.h"

namespace QuillmarshEngine { namespace Data {

/**
 * @brief View of an animation record
 *
 * The header accessors need the 16 header bytes only; everything else trusts the record (see the
 * file documentation). Cheap to copy; does not own the bytes.
 */
class QUILLMARSH_EXPORT AnimationData {
    public:
        static constexpr Magic AssetMagic = Magic::Animation;

        /** @brief Bytes of the record header */
        static constexpr std::size_t HeaderSize = 16;

        /** @brief Bytes of one track header */
        static constexpr std::size_t TrackHeaderSize = 16;

        /** @brief Largest time code, which stands for the duration */
        static constexpr std::uint16_t MaxTimeCode = 65535;

        /** @brief Record header */
        struct Header {
            float duration;             /**< Duration of the animation in seconds */
            std::uint16_t compressed;   /**< 1 for compressed keys, 0 for plain floats */
            std::uint16_t trackCount;   /**< Number of tracks */
            std::uint32_t keyDataSize;  /**< Bytes of the key data block */
            std::uint32_t eventCount;   /**< Number of events */
        };

        /** @brief Where the keys of one track are and how many there are */
        struct TrackHeader {
            std::uint32_t offset;               /**< Offset from the start of the key data block */
            std::uint32_t translationCount;     /**< Translation keys */
            std::uint32_t rotationCount;        /**< Rotation keys */
            std::uint32_t scaleCount;           /**< Scale keys */
        };

        /**
         * @brief Bytes the keys of @p track take
         *
         * Computed in 64 bits, so that counts read from a file can't overflow it.
         */
        static std::uint64_t trackDataSize(const TrackHeader& track, bool compressed);

        /**
         * @brief Time code of @p time in an animation of @p duration seconds
         *
         * `round(time/duration*65535)`, rounding halves away from zero. Expects a time in
         * [0, duration] and a finite duration greater than 0; anything else is not checked.
         */
        static std::uint16_t packTime(float time, float duration);

        /** @brief Time of a code, `code/65535*duration` */
        static float unpackTime(std::uint16_t code, float duration);

        /**
         * @brief Pack a rotation into 32 bits
         *
         * The quaternion is normalized first by dividing each component by the length; where the
         * squared length is 0 or not a normal float, every component is divided by the largest
         * magnitude first, and a quaternion of four zeros becomes the identity. The component of
         * largest magnitude is left out (the first of equal ones: a later one must be strictly
         * larger), its index stored in bits 30-31 (0 = x ... 3 = w); w takes its slot, and the
         * three values are negated when the left-out one is negative. Each value v is stored as
         * `round((v + 0.707107)/1.414214*1023)`, clamped to 0..1023, in bits 0-9, 10-19 and
         * 20-29. Returns nothing for a quaternion with a NaN or infinite component.
         */
        static std::optional<std::uint32_t> packRotation(const Quaternion& rotation);

        /**
         * @brief Unpack a rotation, refusing a corrupt one
         *
         * Each stored value decodes as `code/1023*1.414214 - 0.707107`; the left-out component
         * is `sqrt(1 - c0² - c1² - c2²)`, and the slot named by the index is exchanged with w.
         * Returns nothing unless the squared length is within 1e-6 of 1 (so NaN fails too).
         */
        static std::optional<Quaternion> tryUnpackRotation(std::uint32_t packed);

        /**
         * @brief Unpack a rotation the library packed itself
         *
         * Like @ref tryUnpackRotation(), but a corrupt value prints `Quat not normalized, length
         * is` and the length as an error and aborts.
         */
        static Quaternion unpackRotation(std::uint32_t packed);

        /** @brief View @p data; expects at least @ref HeaderSize bytes */
        explicit AnimationData(std::span<const char> data);

        /** @brief The viewed bytes */
        std::span<const char> data() const { return _data; }

        /** @brief The record header */
        Header header() const;

        /** @brief Duration in seconds */
        float duration() const { return header().duration; }

        /** @brief Whether the keys are compressed */
        bool isCompressed() const { return header().compressed != 0; }

        /** @brief Number of tracks */
        std::uint16_t trackCount() const { return header().trackCount; }

        /** @brief Bytes of the key data block */
        std::uint32_t keyDataSize() const { return header().keyDataSize; }

        /** @brief Number of events */
        std::uint32_t eventCount() const { return header().eventCount; }

        /** @brief Header of track @p i; expects @p i below @ref trackCount() */
        TrackHeader trackHeader(std::uint32_t i) const;

        /** @brief The key data block */
        std::span<const char> keyData() const;

        /** @brief Time of event @p i in seconds; expects @p i below @ref eventCount() */
        float eventKey(std::uint32_t i) const;

        /** @brief Times of all events in seconds */
        std::vector<float> eventKeys() const;

        /**
         * @brief Names of the events
         *
         * Exactly @ref eventCount() strings, empty ones included.
         */
        StringArrayView eventNames() const;

        /**
         * @brief Decode the keys into a raw animation
         *
         * One track per track header with the header's duration. Plain keys are copied as they
         * are; compressed ones decoded, a corrupt rotation aborting (see @ref unpackRotation()).
         */
        Animation::Offline::RawAnimation rawAnimation() const;

        /**
         * @brief Decode and build the runtime animation
         *
         * @ref rawAnimation() compiled by @ref Animation::Offline::AnimationBuilder. When the
         * builder refuses it, prints `Failed to build runtime animation.` as an error and returns
         * null.
         */
        std::unique_ptr<Animation::Animation> animation() const;

    private:
        std::span<const char> _data;
};

static_assert(sizeof(AnimationData::Header) == AnimationData::HeaderSize && sizeof(AnimationData::TrackHeader) == AnimationData::TrackHeaderSize,
    "the record and track headers are 16 bytes each");

/**
 * @brief Write the record of @p animation
 *
 * @p eventKeys are the event times in seconds and @p eventNames their names, one per time, empty
 * names allowed. With @p compressed the keys are encoded as the file documentation says: keys of
 * one channel whose times collide after quantization are merged, the later kept, with the warning
 * `createAnimationData(): merged <n> keys of track <i> whose times collide after quantization`
 * once per track (n counts the keys dropped; the track header counts the keys written).
 *
 * Prints `createAnimationData(): animation is empty or contains invalid key values.` as an error
 * and returns an empty array when @ref Animation::Offline::RawAnimation::Validate() fails, when
 * @p eventNames doesn't hold exactly as many names as @p eventKeys has times, and, compressed,
 * when the duration is not finite, a key time is NaN or a rotation has a NaN or infinite
 * component. The record is written in one allocation of its exact size.
 */
QUILLMARSH_EXPORT std::vector<char> createAnimationData(const Animation::Offline::RawAnimation& animation, std::span<const float> eventKeys, const StringArrayView& eventNames, bool compressed);

/** @brief The record of an empty raw animation without events, compressed */
QUILLMARSH_EXPORT std::vector<char> createAnimationData();

/**
 * @brief View of an animation-targets record
 *
 * Which animation (an index into the host's list) drives which objects: track i of the animation
 * drives object `target(i)`. Trusts the record beyond its 4-byte head.
 */
class QUILLMARSH_EXPORT AnimationTargetsData {
    public:
        static constexpr Magic AssetMagic = Magic::AnimationTargets;

        /** @brief Bytes of the head: animation index and target count */
        static constexpr std::size_t HeaderSize = 4;

        /** @brief View @p data; expects at least @ref HeaderSize bytes */
        explicit AnimationTargetsData(std::span<const char> data);

        /** @brief Index of the animation */
        std::uint16_t animation() const;

        /** @brief Number of targets */
        std::uint16_t targetCount() const;

        /** @brief All targets; expects the record to hold them and to be 2-byte aligned */
        std::span<const Id> targets() const;

        /** @brief Target @p i; expects @p i below @ref targetCount() */
        Id target(std::uint16_t i) const;

    private:
        std::span<const char> _data;
};

/**
 * @brief Write an animation-targets record
 *
 * @p animation, the number of targets, then @p targets in order: 4 + 2 × count bytes, no padding.
 * Expects at most 65535 targets, aborts with `createAnimationTargetsData(): too many targets`
 * otherwise.
 */
QUILLMARSH_EXPORT std::vector<char> createAnimationTargetsData(std::uint16_t animation, std::span<const Id> targets);

/**
 * @brief Rebind the tracks of an imported animation to other objects
 *
 * Track i is bound to `newTargets[i]`, or dropped when that is the invalid id 65535 (-1 as a
 * signed 16-bit value); tracks of types other than @ref Trade::AnimationTrackType::Vector3 and
 * @ref Trade::AnimationTrackType::Quaternion are dropped without a message. Kept tracks keep their
 * order, target property, keys, values and interpolation. The result views the input's data (it
 * neither owns nor copies it), so it must not outlive @p animation's data, and keeps its duration.
 * Expects one new target per track; aborts otherwise with `retargetAnimation(): newTargets is
 * required to have an element per track: Got <n> but expected <tracks>`.
 */
QUILLMARSH_EXPORT Trade::AnimationData retargetAnimation(const Trade::AnimationData& animation, std::span<const Id> newTargets);

/**
 * @brief Make the keys of an imported animation relative to a bind pose
 *
 * Copies the @ref Trade::AnimationTrackType::Vector3 and @ref Trade::AnimationTrackType::Quaternion
 * tracks (others are left out) into an animation that owns its data, keeping targets,
 * interpolation and the input's duration. Track i of the input, with `b = bindPose[i]`, changes
 * so that @ref Animation::BlendingJob, which applies an additive layer on the right of the pose
 * and multiplies scales, reproduces the original on the bind pose: a rotation key q becomes
 * `conjugate(b)*q`; a key of a @ref Trade::AnimationTrackTarget::Scaling3D track becomes v / b
 * per component (b's x, y, z), keeping a component whose bind value is 0, with one warning per
 * such track; any other vector key becomes v − (b.x, b.y, b.z). Expects one bind entry per track
 * of the input; aborts otherwise with `retargetAnimation(): bindPose is required to have an
 * element per track: Got <n> but expected <tracks>` (the function name in the message is
 * deliberate).
 */
QUILLMARSH_EXPORT Trade::AnimationData convertToAdditiveAnimation(const Trade::AnimationData& animation, std::span<const Quaternion> bindPose);

}}

#endif
