#ifndef QuillmarshEngine_Animation_Offline_RawAnimation_h
#define QuillmarshEngine_Animation_Offline_RawAnimation_h

/** @file
 * @brief Struct @ref QuillmarshEngine::Animation::Offline::RawAnimation, its tracks and keys
 */

#include <cstddef>
#include <string>
#include <vector>

#include "QuillmarshEngine/Animation/Animation.h"
#include "QuillmarshEngine/Math/Quaternion.h"
#include "QuillmarshEngine/Math/Vector3.h"

namespace QuillmarshEngine { namespace Animation {

/**
 * @brief The editable side of animations: raw keyframes and the builder that compiles them
 *
 * Nothing here is needed at run time; runtime headers never include these.
 */
namespace Offline {

/**
 * @brief Translation key: time in seconds, then the translation
 *
 * 16 bytes, no padding; the layout is stored as it is in plain animation records.
 */
struct TranslationKey {
    typedef Vector3 Value;      /**< @brief Value type */

    float time;                 /**< Time in seconds from the start of the animation */
    Vector3 value;              /**< Translation */

    /** @brief Value of a channel without keys: zero */
    static Vector3 identity() { return Vector3{}; }
};

/**
 * @brief Rotation key: time in seconds, then the rotation as x, y, z, w
 *
 * 20 bytes, no padding; stored as it is in plain animation records. Rotations need not be
 * normalized here: the builder normalizes them.
 */
struct RotationKey {
    typedef Quaternion Value;   /**< @brief Value type */

    float time;                 /**< Time in seconds from the start of the animation */
    Quaternion value;           /**< Rotation */

    /** @brief Value of a channel without keys: the identity rotation */
    static Quaternion identity() { return Quaternion{}; }
};

/**
 * @brief Scale key: time in seconds, then the scale
 *
 * 16 bytes, no padding; stored as it is in plain animation records.
 */
struct ScaleKey {
    typedef Vector3 Value;      /**< @brief Value type */

    float time;                 /**< Time in seconds from the start of the animation */
    Vector3 value;              /**< Scale */

    /** @brief Value of a channel without keys: unit scale */
    static Vector3 identity() { return Vector3{1.0f}; }
};

static_assert(sizeof(TranslationKey) == 16 && sizeof(RotationKey) == 20 && sizeof(ScaleKey) == 16,
    "keys are a float time followed by the value, without padding");

/**
 * @brief Keys of one track: three independent channels
 *
 * Each channel has its own key times and count; an empty channel holds the identity value.
 */
struct JointTrack {
    std::vector<TranslationKey> translations;   /**< Translation keys, by increasing time */
    std::vector<RotationKey> rotations;         /**< Rotation keys, by increasing time */
    std::vector<ScaleKey> scales;               /**< Scale keys, by increasing time */

    /**
     * @brief Whether the keys are valid for an animation of @p duration seconds
     *
     * In each channel every time lies in [0, @p duration] and is strictly greater than the one
     * before. An infinite @p duration checks the order alone. Values are not checked.
     */
    bool Validate(float duration) const;
};

/**
 * @brief Editable animation: tracks of keyframes and a duration
 *
 * Track `i` animates joint or target `i`. Keys are absolute times in seconds, not ratios. Default
 * duration is one second. Compile it into a runtime @ref Animation::Animation with
 * @ref AnimationBuilder; the builder validates it first.
 */
struct QUILLMARSH_EXPORT RawAnimation {
    /** @brief Animation of no tracks lasting one second */
    RawAnimation();

    std::vector<JointTrack> tracks;     /**< One track per joint or target */
    float duration;                     /**< Duration in seconds, 1 by default */
    std::string name;                   /**< Name, empty by default */

    /**
     * @brief Whether the animation can be built
     *
     * False when the duration is not greater than zero (0, -0 and negatives fail; a NaN or
     * infinite duration passes, as a plain comparison lets it), when there are more than
     * @ref MaxTracks tracks, or when a channel of any track fails @ref JointTrack::Validate().
     * Values, NaN times and the normalization of rotations are not checked.
     */
    bool Validate() const;

    /** @brief Number of tracks */
    int numTracks() const { return int(tracks.size()); }

    /** @brief Estimated bytes taken: this struct, the tracks, their keys and the name */
    std::size_t size() const;
};

}

}}

#endif
