#ifndef QuillmarshEngine_Trade_AnimationData_h
#define QuillmarshEngine_Trade_AnimationData_h

/** @file
 * @brief Class @ref QuillmarshEngine::Trade::AnimationData, @ref QuillmarshEngine::Trade::AnimationTrackData,
 *      enums @ref QuillmarshEngine::Trade::AnimationTrackType, @ref QuillmarshEngine::Trade::AnimationTrackTarget
 */

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "QuillmarshEngine/Animation/Interpolation.h"
#include "QuillmarshEngine/Math/Range.h"
#include "QuillmarshEngine/StridedArrayView.h"
#include "QuillmarshEngine/Trade/MeshData.h"

namespace QuillmarshEngine { namespace Trade {

/**
 * @brief Value type of an animation track
 *
 * Numeric values are those of the importer's data (0 is invalid) and never change.
 */
enum class AnimationTrackType: std::uint8_t {
    Bool = 1,
    Float = 2,
    UnsignedInt = 3,
    Int = 4,
    BitVector2 = 5,
    BitVector3 = 6,
    BitVector4 = 7,
    Vector2 = 8,
    Vector2ui = 9,
    Vector2i = 10,
    Vector3 = 11,
    Vector3ui = 12,
    Vector3i = 13,
    Vector4 = 14,
    Vector4ui = 15,
    Vector4i = 16,
    Complex = 17,
    Quaternion = 18,
    DualQuaternion = 19,
    CubicHermite1D = 20,
    CubicHermite2D = 21,
    CubicHermite3D = 22,
    CubicHermiteComplex = 23,
    CubicHermiteQuaternion = 24
};

/** @brief Bytes of one value of @p type; expects a known type */
QUILLMARSH_EXPORT std::uint32_t animationTrackTypeSize(AnimationTrackType type);

/** @brief Prints `Trade::AnimationTrackType::Vector3` or `Trade::AnimationTrackType(0x..)` */
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, AnimationTrackType value);

/**
 * @brief What property of its target object a track animates
 *
 * Values of 32768 and above are custom targets, see @ref animationTrackTargetCustom().
 */
enum class AnimationTrackTarget: std::uint16_t {
    Translation2D = 1,
    Translation3D = 2,
    Rotation2D = 3,
    Rotation3D = 4,
    Scaling2D = 5,
    Scaling3D = 6
};

/** @brief First custom target */
constexpr std::uint16_t AnimationTrackTargetCustomBegin = 32768;

/** @brief Whether @p target is custom */
constexpr bool isAnimationTrackTargetCustom(AnimationTrackTarget target) {
    return std::uint16_t(target) >= AnimationTrackTargetCustomBegin;
}

/** @brief Custom target number @p id; expects @p id below 32768 */
QUILLMARSH_EXPORT AnimationTrackTarget animationTrackTargetCustom(std::uint16_t id);

/** @brief Number of custom target @p target; expects a custom target */
QUILLMARSH_EXPORT std::uint16_t animationTrackTargetCustom(AnimationTrackTarget target);

/** @brief Prints `Trade::AnimationTrackTarget::Rotation3D`, `Trade::AnimationTrackTarget::Custom(5)` or `Trade::AnimationTrackTarget(0x..)` */
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, AnimationTrackTarget value);

/**
 * @brief Description of one animation track
 *
 * The value type, the animated property and the id of the target object, the interpolation, and
 * views of the key times (seconds) and the values. The views point at memory the track does not
 * own, usually the data of an @ref AnimationData.
 */
class QUILLMARSH_EXPORT AnimationTrackData {
    public:
        /** @brief Empty track */
        constexpr AnimationTrackData() noexcept = default;

        /**
         * @brief Track of any value type
         *
         * Element `i` of @p values is where the value of key `i` starts. Expects @p keys and
         * @p values of the same size.
         */
        explicit AnimationTrackData(AnimationTrackType type, AnimationTrackTarget targetName, std::uint64_t target, StridedArrayView1D<const float> keys, StridedArrayView1D<const char> values, Animation::Interpolation interpolation);

        /** @brief Track of @ref Vector3 values; expects @p keys and @p values of the same size */
        explicit AnimationTrackData(AnimationTrackTarget targetName, std::uint64_t target, StridedArrayView1D<const float> keys, StridedArrayView1D<const Vector3> values, Animation::Interpolation interpolation);

        /** @brief Track of @ref Quaternion values; expects @p keys and @p values of the same size */
        explicit AnimationTrackData(AnimationTrackTarget targetName, std::uint64_t target, StridedArrayView1D<const float> keys, StridedArrayView1D<const Quaternion> values, Animation::Interpolation interpolation);

        /** @brief Value type */
        AnimationTrackType type() const { return _type; }

        /** @brief Animated property */
        AnimationTrackTarget targetName() const { return _targetName; }

        /** @brief Id of the animated object */
        std::uint64_t target() const { return _target; }

        /** @brief Interpolation between keys */
        Animation::Interpolation interpolation() const { return _interpolation; }

        /** @brief Number of keys */
        std::size_t size() const { return _keys.size(); }

        /** @brief Key times in seconds */
        StridedArrayView1D<const float> keys() const { return _keys; }

        /** @brief Values as bytes: element `i` is where value `i` starts */
        StridedArrayView1D<const char> values() const { return _values; }

        /**
         * @brief Values as @p T
         *
         * Expects @p T to match @ref type(): @ref Vector3 for @ref AnimationTrackType::Vector3,
         * @ref Quaternion for @ref AnimationTrackType::Quaternion.
         */
        template<class T> StridedArrayView1D<const T> values() const;

    private:
        AnimationTrackType _type{};
        Animation::Interpolation _interpolation{};
        AnimationTrackTarget _targetName{};
        std::uint64_t _target{};
        StridedArrayView1D<const float> _keys;
        StridedArrayView1D<const char> _values;
};

template<> QUILLMARSH_EXPORT StridedArrayView1D<const Vector3> AnimationTrackData::values<Vector3>() const;
template<> QUILLMARSH_EXPORT StridedArrayView1D<const Quaternion> AnimationTrackData::values<Quaternion>() const;

/**
 * @brief Animation as importers and animation tools hand it around
 *
 * A block of key and value bytes and a list of tracks whose views point into it (or into memory
 * kept alive elsewhere), and the time range the animation covers. The block is either owned
 * (moved in as `std::vector<char>`, whose storage does not move with the animation) or viewed
 * (a span, with flags saying who keeps it alive). Move-only. Nothing is checked about where the
 * tracks point; they must stay valid as long as the animation is used.
 */
class QUILLMARSH_EXPORT AnimationData {
    public:
        /** @brief Animation owning @p data, covering @p duration */
        explicit AnimationData(std::vector<char>&& data, std::vector<AnimationTrackData>&& tracks, const Range1D& duration);

        /**
         * @brief Animation owning @p data, covering its keys
         *
         * The duration spans from the earliest first key to the latest last key of all tracks,
         * zero without keys.
         */
        explicit AnimationData(std::vector<char>&& data, std::vector<AnimationTrackData>&& tracks);

        /**
         * @brief Animation viewing data it does not own
         *
         * @p dataFlags may hold @ref DataFlag::Mutable, @ref DataFlag::ExternallyOwned and
         * @ref DataFlag::Global, never @ref DataFlag::Owned.
         */
        explicit AnimationData(DataFlags dataFlags, std::span<const char> data, std::vector<AnimationTrackData>&& tracks, const Range1D& duration);

        /** @brief Animation viewing data it does not own, covering its keys */
        explicit AnimationData(DataFlags dataFlags, std::span<const char> data, std::vector<AnimationTrackData>&& tracks);

        AnimationData(const AnimationData&) = delete;
        AnimationData(AnimationData&&) noexcept = default;
        AnimationData& operator=(const AnimationData&) = delete;
        AnimationData& operator=(AnimationData&&) noexcept = default;

        /** @brief How the data is held */
        DataFlags dataFlags() const { return _dataFlags; }

        /** @brief The key and value bytes */
        std::span<const char> data() const { return _data; }

        /** @brief Time range covered, in seconds */
        Range1D duration() const { return _duration; }

        /** @brief Number of tracks */
        std::uint32_t trackCount() const { return std::uint32_t(_tracks.size()); }

        /** @brief All track descriptions */
        std::span<const AnimationTrackData> tracks() const { return _tracks; }

        /** @brief Track @p i; expects @p i below @ref trackCount() */
        const AnimationTrackData& track(std::uint32_t i) const;

        /** @brief Value type of track @p i */
        AnimationTrackType trackType(std::uint32_t i) const { return track(i).type(); }

        /** @brief Animated property of track @p i */
        AnimationTrackTarget trackTargetName(std::uint32_t i) const { return track(i).targetName(); }

        /** @brief Id of the object track @p i animates */
        std::uint64_t trackTarget(std::uint32_t i) const { return track(i).target(); }

        /** @brief Key times of track @p i */
        StridedArrayView1D<const float> trackKeys(std::uint32_t i) const { return track(i).keys(); }

        /** @brief Values of track @p i as @p T, see @ref AnimationTrackData::values() */
        template<class T> StridedArrayView1D<const T> trackValues(std::uint32_t i) const { return track(i).values<T>(); }

    private:
        DataFlags _dataFlags;
        std::vector<char> _storage;
        std::span<const char> _data;
        std::vector<AnimationTrackData> _tracks;
        Range1D _duration;
};

}}

#endif
