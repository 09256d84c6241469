#ifndef QuillmarshEngine_Animation_Offline_AnimationBuilder_h
#define QuillmarshEngine_Animation_Offline_AnimationBuilder_h

/** @file
 * @brief Class @ref QuillmarshEngine::Animation::Offline::AnimationBuilder
 */

#include <memory>

#include "QuillmarshEngine/Animation/Animation.h"
#include "QuillmarshEngine/Animation/Offline/RawAnimation.h"

namespace QuillmarshEngine { namespace Animation { namespace Offline {

/**
 * @brief Compiles a raw animation into a runtime animation
 *
 * Per track and channel the keys are completed so that every channel has a key at exactly 0 and
 * exactly the duration: an empty channel gets two identity keys, a channel of one key two copies
 * of it (its own time is dropped), a longer channel a copy of its first value at 0 and of its last
 * value at the duration where it has none. Values are therefore held before the first and after
 * the last raw key; nothing loops or extrapolates. Rotations are normalized (a zero quaternion
 * becomes the identity, NaN stays NaN); the first key of a track is negated when its w is
 * negative, every later key when its dot product with the key before (as already fixed) is
 * negative, so interpolation takes the short arc. Key times become ratios, time divided by the
 * duration, so a key at the duration has ratio 1 exactly. Keys are then sorted as
 * @ref Animation describes. No key is removed.
 *
 * Stateless; building does not change the raw animation.
 */
class QUILLMARSH_EXPORT AnimationBuilder {
    public:
        /** @brief Most distinct key times an animation may have */
        static constexpr std::size_t MaxKeyTimes = 65535;

        /**
         * @brief Build @p raw
         *
         * Returns null when @ref RawAnimation::Validate() fails, when the duration is not finite
         * or a key time is NaN (which validation lets through but which can't be ordered), or when
         * the keys of all tracks and channels, completed as above, lie at more than
         * @ref MaxKeyTimes distinct times.
         */
        std::unique_ptr<Animation> operator()(const RawAnimation& raw) const;
};

}}}

#endif
