#ifndef QuillmarshEngine_Data_AnimationManager_h
#define QuillmarshEngine_Data_AnimationManager_h

/** @file
 * @brief Class @ref QuillmarshEngine::Data::AnimationManager, enum @ref QuillmarshEngine::Data::AnimationState
 */

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "QuillmarshEngine/Animation/Animation.h"
#include "QuillmarshEngine/Animation/SamplingJob.h"
#include "QuillmarshEngine/Data/ComponentManager.h"
#include "QuillmarshEngine/Data/SparseLayer.h"

namespace QuillmarshEngine { namespace Data {

class AnimationData;
class AnimationTargetsData;

/** @brief Playback state of an animation component; stored in 8 bits */
enum class AnimationState: std::uint8_t {
    Stopped = 0,    /**< Not advancing; @ref AnimationManager::play() continues from the playback time */
    Playing = 1,    /**< Advancing every update and writing the pose */
    Paused = 2,     /**< Not advancing; @ref AnimationManager::play() resumes */
    Finished = 3    /**< Played its loop count and holds the last pose; @ref AnimationManager::play() starts over */
};

/** @brief Prints `AnimationState::Playing` or `AnimationState(0x..)` */
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, AnimationState value);

/**
 * @brief Plays animations on scene-graph objects
 *
 * The manager holds a list of runtime animations shared by its components (@ref addAnimation(),
 * from a runtime animation or an animation record). A component, owned by any object (typically
 * the root of a character), binds one of them to a list of target objects: track i of the
 * animation drives the local transformation of target i, as an animation-targets record
 * describes (@ref addAnimationComponent()). Targets that are the invalid id 65535 or no longer
 * alive are skipped, tracks without a target too.
 *
 * Each component plays independently: @ref play(), @ref pause(), @ref stop(), a speed (negative
 * plays backward), a loop count (0 loops forever) and a playback time in seconds. A second
 * animation of the same track count can be faded in with @ref crossFade() and a weight the host
 * sets each frame (@ref setBlendWeight()); the two are blended by @ref Animation::BlendingJob.
 * @ref finishCrossFade() then makes the second the only one.
 *
 * Per frame, call @ref update() before @ref SceneGraph::computeAbsoluteTransformations(): every
 * active playing component advances by the time step times its speed, samples its animation
 * (@ref Animation::SamplingJob, one cached context per component and layer) and writes the local
 * transformation (rotation and translation) and scaling of each target, marking it dirty. A
 * component that is not playing writes only once after a change that moves its pose (playback
 * time, cross-fade, weight), so that scrubbing a paused animation shows. Nothing is allocated per
 * frame: contexts are made when a component is bound, scratch poses when an animation is added.
 *
 * Targets are object ids without generations: after deleting a target object, rebind the
 * component before its id is handed out again. Cloning a component copies its targets; appending
 * a scene graph (@ref SceneGraph::append()) maps them to the appended objects, as it maps the
 * owners, and keeps the animation indices: add the same animations in the same order here; a
 * component whose index names no animation does nothing. The type name is "animation". Misuse (an unknown
 * component or animation, mismatched track counts of a cross-fade, a non-finite speed or time)
 * prints the reason and aborts. Not thread-safe.
 */
class QUILLMARSH_EXPORT AnimationManager: public ComponentManager {
    public:
        /** @brief Animation index of a component or blend layer without one */
        static constexpr std::uint16_t NoAnimation = 0xffff;

        /** @brief Target id that drives nothing */
        static constexpr std::uint16_t NoTarget = 0xffff;

        /** @brief Manager with room for @p capacity components */
        explicit AnimationManager(IndexType capacity = 0);

        ~AnimationManager() override;

        /** @brief Check an adopted block: finite times, speeds and weights, known states */
        [[nodiscard]] std::string checkAdoptedBlock() const override;

        /**
         * @brief Append the targets of every live component, in index order
         *
         * Animations are not part of the state: add the same animations in the same order
         * before loading it, since loading checks the cross-fades against them.
         */
        void saveExternalState(std::vector<char>& out) const override;

        /** @brief Restore what @ref saveExternalState() wrote; see @ref ComponentManager::loadExternalState() */
        [[nodiscard]] std::string loadExternalState(std::span<const char> data) override;

        /** @brief `"animation"` */
        const char* name() const override;

        /** @name Animations */
        /** @{ */

        /**
         * @brief Add a runtime animation, shared by all components
         *
         * Returns its index, the number animation-targets records refer to. Expects a non-null
         * animation and fewer than 65535 animations.
         */
        std::uint16_t addAnimation(std::unique_ptr<Animation::Animation> animation);

        /**
         * @brief Build and add the animation of a record
         *
         * Returns nothing when the record doesn't build (@ref AnimationData::animation() prints
         * why). Expects a record the library wrote or one that passed @ref validateAssetData().
         */
        std::optional<std::uint16_t> addAnimation(const AnimationData& record);

        /** @brief Number of animations */
        std::uint16_t animationCount() const { return std::uint16_t(_animations.size()); }

        /** @brief Animation @p index; expects @p index below @ref animationCount() */
        const Animation::Animation& animation(std::uint16_t index) const;

        /** @} */

        /** @name Components */
        /** @{ */

        /**
         * @brief Add an active, stopped component of @p object playing @p animation on @p targets
         *
         * Speed 1, endless looping, playback time 0. Expects a known animation, the manager to be
         * registered and @p object to be alive. Returns the component id.
         */
        Id addAnimationComponent(Id object, std::uint16_t animation, std::span<const Id> targets);

        /** @brief Add a component as an animation-targets record describes it */
        Id addAnimationComponent(Id object, const AnimationTargetsData& targets);

        /**
         * @brief Bind @p component to another animation and targets
         *
         * Stops it at time 0 and drops a cross-fade. Expects a known animation.
         */
        void setAnimation(Id component, std::uint16_t animation, std::span<const Id> targets);

        /** @brief Animation of @p component, @ref NoAnimation when unbound */
        std::uint16_t componentAnimation(Id component) const;

        /** @brief Targets of @p component, one per track */
        std::span<const Id> targets(Id component) const;

        /** @} */

        /** @name Playback */
        /** @{ */

        /**
         * @brief Start or resume playing
         *
         * A finished component starts over from the beginning: time 0, or the end when the speed
         * is negative, with no loops completed.
         */
        void play(Id component);

        /** @brief Pause a playing component; others are left as they are */
        void pause(Id component);

        /**
         * @brief Stop and rewind to the beginning
         *
         * Time 0 (the end with a negative speed), no loops completed. The targets keep their
         * pose until the component writes again.
         */
        void stop(Id component);

        /** @brief State of @p component */
        AnimationState state(Id component) const;

        /** @brief Set the speed, 1 by default; negative plays backward. Expects a finite value. */
        void setSpeed(Id component, float speed);

        /** @brief Speed of @p component */
        float speed(Id component) const;

        /**
         * @brief Set how many times the animation plays before it finishes, 0 for ever
         *
         * A finishing component holds the pose at the end it ran into and becomes
         * @ref AnimationState::Finished.
         */
        void setLoopCount(Id component, std::uint16_t count);

        /** @brief Loop count of @p component */
        std::uint16_t loopCount(Id component) const;

        /** @brief Times the playback wrapped around or ran into an end since it started */
        std::uint16_t completedLoops(Id component) const;

        /**
         * @brief Set the playback time in seconds
         *
         * Clamped to [0, duration]. The pose at that time is written at the next update even
         * when the component is not playing. Expects a finite time.
         */
        void setPlaybackTime(Id component, float time);

        /** @brief Playback time of @p component in seconds, in [0, duration] */
        float playbackTime(Id component) const;

        /** @} */

        /** @name Cross-fading */
        /** @{ */

        /**
         * @brief Fade in a second animation on the same targets
         *
         * The second animation starts at @p startTime (wrapped into its duration) with weight 0,
         * advances with the component's speed and always loops. Expects a known animation with
         * as many tracks as the component's.
         */
        void crossFade(Id component, std::uint16_t animation, float startTime = 0.0f);

        /**
         * @brief Set the weight of the second animation
         *
         * Clamped to [0, 1]: 0 shows the first animation alone, 1 the second alone, values
         * between blend translations and scales linearly and rotations by normalized weighted
         * sums. Expects a finite weight.
         */
        void setBlendWeight(Id component, float weight);

        /** @brief Weight of the second animation of @p component */
        float blendWeight(Id component) const;

        /** @brief Second animation of @p component, @ref NoAnimation without a cross-fade */
        std::uint16_t blendAnimation(Id component) const;

        /** @brief Playback time of the second animation in seconds */
        float blendTime(Id component) const;

        /**
         * @brief Make the second animation the only one
         *
         * It keeps its time; the loop count starts again. Does nothing without a cross-fade.
         */
        void finishCrossFade(Id component);

        /** @brief Drop the second animation */
        void cancelCrossFade(Id component);

        /** @} */

        /** @brief Advance, sample and write the component at @p index, see the class documentation */
        void updateComponent(IndexType index) override;

        /* Hooks of the owner pseudo-column, called by the layout */
        void layerInit();
        void layerCopy(IndexType from, IndexType to);
        void layerAppend(const AnimationManager& other);
        void layerDestroy(IndexType index);

    private:
        /* What a component holds outside the block, by component id */
        struct Binding {
            std::vector<Id> targets;
            std::unique_ptr<Animation::SamplingJob::Context> contexts[2];
        };

        void requireAnimation(std::uint16_t animation, const char* function) const;
        void copyBinding(const Binding& from, Binding& to) const;
        static void ensureContext(std::unique_ptr<Animation::SamplingJob::Context>& context, const Animation::Animation& animation);
        float durationOf(std::uint16_t animation) const;
        void rewind(IndexType index);
        void advance(IndexType index, float dt);
        void writePose(IndexType index);

        /* Owner, time, speed, blend time, blend weight, animation, blend animation, loop count,
           completed loops, state, pose pending */
        SparseArrayStaticLayout<SparseLayer<Id, SparseLayerFlag::ObjectId>, SparseLayer<float>, SparseLayer<float>,
            SparseLayer<float>, SparseLayer<float>, SparseLayer<std::uint16_t>, SparseLayer<std::uint16_t>,
            SparseLayer<std::uint16_t>, SparseLayer<std::uint16_t>, SparseLayer<AnimationState>, SparseLayer<bool>,
            SparseLayerOwner<AnimationManager>> _layout;
        std::vector<Binding> _bindings;
        std::vector<std::unique_ptr<Animation::Animation>> _animations;
        /* Scratch poses for the two layers and their blend, and the identity rest pose, each as
           large as the largest animation */
        std::vector<Animation::SoaTransform> _poses[3];
        std::vector<Animation::SoaTransform> _restPose;
};

}}

#endif
