#ifndef QuillmarshEngine_Animation_Animation_h
#define QuillmarshEngine_Animation_Animation_h

/** @file
 * @brief Class @ref QuillmarshEngine::Animation::Animation, struct @ref QuillmarshEngine::Animation::AnimationKeys
 */

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "QuillmarshEngine/Math/Quaternion.h"
#include "QuillmarshEngine/Math/Vector3.h"

namespace QuillmarshEngine {

/**
 * @brief Skeletal and object animation: runtime animations, sampling and blending
 *
 * The runtime side (@ref Animation, @ref SamplingJob, @ref BlendingJob) is separate from the
 * editable side in @ref Offline, whose @ref Offline::AnimationBuilder compiles an
 * @ref Offline::RawAnimation into an @ref Animation. Jobs are plain structs of inputs and outputs
 * with a `Validate()` that refuses bad input and a `Run()` that validates first and never
 * allocates; both keep the verbs of the animation library this module stands in for.
 */
namespace Animation {

namespace Offline { class AnimationBuilder; }

/** @brief Most tracks an animation may have */
constexpr int MaxTracks = 1024;

/** @brief Most groups of four tracks a pose may have, @ref MaxTracks / 4 */
constexpr int MaxSoaTracks = MaxTracks/4;

/**
 * @brief Keys of one channel of a runtime animation, as parallel arrays
 *
 * Key `k` belongs to track `tracks[k]`, lies at `ratios[k]` (its time divided by the duration, in
 * [0, 1]) and holds `values[k]`.
 */
template<class V> struct AnimationKeys {
    std::vector<float> ratios;          /**< Time of each key divided by the duration */
    std::vector<std::uint16_t> tracks;  /**< Track of each key */
    std::vector<V> values;              /**< Value of each key */

    /** @brief Number of keys */
    std::size_t size() const { return ratios.size(); }
};

/**
 * @brief Animation compiled for sampling
 *
 * Made by @ref Offline::AnimationBuilder; immutable afterwards, move-only. Tracks are grouped by
 * four, as the poses are (@ref SoaTransform): the last group is filled up with padding tracks
 * whose keys hold the identity. Every track, padding included, has a key at ratio 0 and one at
 * ratio 1 in each of its three channels.
 *
 * Each channel is one array of keys sorted for forward playback: first the key at ratio 0 of
 * every track in track order, then every track's second key, then the remaining keys by the time
 * of the key before them in their own track, ties by track. A sampler playing forward therefore
 * meets the keys it needs next in array order and walks each array once per playthrough (see
 * @ref SamplingJob). Values are stored as full floats; rotations are normalized and every key lies
 * in the same hemisphere as the key before it, so interpolation needs no sign test.
 */
class QUILLMARSH_EXPORT Animation {
    public:
        /** @brief Empty animation: duration 0, no tracks, name "" */
        Animation();

        Animation(const Animation&) = delete;
        Animation(Animation&&) noexcept;
        Animation& operator=(const Animation&) = delete;
        Animation& operator=(Animation&&) noexcept;
        ~Animation();

        /** @brief Duration in seconds */
        float duration() const { return _duration; }

        /** @brief Number of tracks, without the padding ones */
        int numTracks() const { return _numTracks; }

        /** @brief Number of groups of four tracks, `(numTracks() + 3)/4` */
        int numSoaTracks() const { return (_numTracks + 3)/4; }

        /** @brief Name, never null; "" when unnamed */
        const char* name() const { return _name.c_str(); }

        /** @brief Translation keys, sorted for playback */
        const AnimationKeys<Vector3>& translations() const { return _translations; }

        /** @brief Rotation keys, sorted for playback */
        const AnimationKeys<Quaternion>& rotations() const { return _rotations; }

        /** @brief Scale keys, sorted for playback */
        const AnimationKeys<Vector3>& scales() const { return _scales; }

        /** @brief Bytes taken by the animation and its keys */
        std::size_t size() const;

    private:
        friend Offline::AnimationBuilder;

        float _duration{};
        int _numTracks{};
        std::string _name;
        AnimationKeys<Vector3> _translations;
        AnimationKeys<Quaternion> _rotations;
        AnimationKeys<Vector3> _scales;
};

}}

#endif
