#ifndef QuillmarshEngine_Animation_SamplingJob_h
#define QuillmarshEngine_Animation_SamplingJob_h

/** @file
 * @brief Struct @ref QuillmarshEngine::Animation::SamplingJob
 */

#include <memory>
#include <span>

#include "QuillmarshEngine/Animation/Animation.h"
#include "QuillmarshEngine/Animation/SoaTransform.h"

namespace QuillmarshEngine { namespace Animation {

/**
 * @brief Samples an animation at one point of its timeline into a local pose
 *
 * Set the fields and call @ref Run(). The point is given as a ratio, time divided by the
 * duration: below 0 it counts as 0, above 1 and NaN as 1. For each track and channel the sampler
 * takes the last key whose ratio is at most the ratio and the key after it, and interpolates with
 * `alpha = (ratio - left)/(right - left)` (an exact division): translations and scales by
 * `a + (b - a)*alpha` per component, rotations by the same lerp renormalized (nlerp). Sampling
 * exactly at an interior key returns that key's value, at ratio 1 the last key's.
 *
 * The @ref Context keeps, per track, the two keys in use and their values in the form the
 * interpolation wants, so that a sampler moving forward only touches the keys it passes. It is a
 * speed device only: any sequence of ratios, forward, backward or jumping, samples exactly what a
 * fresh context would.
 */
struct QUILLMARSH_EXPORT SamplingJob {
    /**
     * @brief Per-sampler cache
     *
     * Sized for a number of tracks at construction or by @ref resize(), the only times it
     * allocates. Remembers the animation and ratio of the last run and starts over when the
     * animation changes or the ratio goes back. It recognizes the animation by its address: after
     * destroying an animation and creating another at the same address, call @ref invalidate().
     * Neither copyable nor movable; one context per sampler that runs at a time.
     */
    class QUILLMARSH_EXPORT Context {
        public:
            /** @brief Context for no tracks */
            Context();

            /** @brief Context for up to @p maxTracks tracks */
            explicit Context(int maxTracks);

            ~Context();

            Context(const Context&) = delete;
            Context(Context&&) = delete;
            Context& operator=(const Context&) = delete;
            Context& operator=(Context&&) = delete;

            /** @brief Reallocate for @p maxTracks tracks (negative counts as 0) and invalidate */
            void resize(int maxTracks);

            /** @brief Forget the last animation, so that the next run starts over */
            void invalidate();

            /** @brief Tracks the context holds, @ref maxSoaTracks() times 4 */
            int maxTracks() const { return 4*_maxSoaTracks; }

            /** @brief Groups of four tracks the context holds */
            int maxSoaTracks() const { return _maxSoaTracks; }

        private:
            friend SamplingJob;
            struct State;

            int _maxSoaTracks{};
            std::unique_ptr<State> _state;
    };

    /** @brief Where to sample: time divided by the duration, clamped to [0, 1] */
    float ratio = 0.0f;

    /** @brief Animation to sample */
    const Animation* animation = nullptr;

    /** @brief Cache of this sampler, holding at least the animation's tracks */
    Context* context = nullptr;

    /**
     * @brief Where the pose goes
     *
     * Its size is not checked against the animation: only the first
     * min(`output.size()`, @ref Animation::numSoaTracks()) elements are written, others are left
     * alone. Padding lanes of the last element get the identity.
     */
    std::span<SoaTransform> output;

    /**
     * @brief Whether the job can run
     *
     * False without an animation or a context, with an empty output, or when the context holds
     * fewer groups of four tracks than the animation has.
     */
    bool Validate() const;

    /**
     * @brief Sample
     *
     * Returns false, touching nothing, when @ref Validate() fails. An animation without tracks
     * writes nothing and succeeds. Never allocates.
     */
    bool Run() const;
};

}}

#endif
