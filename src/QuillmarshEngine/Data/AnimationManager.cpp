#include "QuillmarshEngine/Data/AnimationManager.h"

#include "QuillmarshEngine/Data/Implementation/StateStream.h"

#include <algorithm>
#include <cmath>

#include "QuillmarshEngine/Animation/BlendingJob.h"
#include "QuillmarshEngine/Assert.h"
#include "QuillmarshEngine/Data/AnimationData.h"
#include "QuillmarshEngine/Data/SceneGraph.h"
#include "QuillmarshEngine/Math/DualQuaternion.h"

namespace QuillmarshEngine { namespace Data {

namespace {

enum Column: std::size_t {
    Time = 1, Speed, BlendTime, BlendWeight, AnimationIndex, BlendAnimation, LoopCount, CompletedLoops, State, PosePending
};

/* Wraps a time into [0, duration); the number of wraps (negative going backward) goes to `wraps` */
float wrapTime(const float time, const float duration, float& wraps) {
    wraps = std::floor(time/duration);
    const float wrapped = time - wraps*duration;
    /* Rounding can land exactly on the duration or a hair below 0 */
    return wrapped < duration && wrapped >= 0.0f ? wrapped : 0.0f;
}

}

Debug& operator<<(Debug& debug, const AnimationState value) {
    switch(value) {
        case AnimationState::Stopped: return QuillmarshEngine::Implementation::printEnumValue(debug, "AnimationState", "Stopped");
        case AnimationState::Playing: return QuillmarshEngine::Implementation::printEnumValue(debug, "AnimationState", "Playing");
        case AnimationState::Paused: return QuillmarshEngine::Implementation::printEnumValue(debug, "AnimationState", "Paused");
        case AnimationState::Finished: return QuillmarshEngine::Implementation::printEnumValue(debug, "AnimationState", "Finished");
    }
    return QuillmarshEngine::Implementation::printUnknownEnum(debug, "AnimationState", std::uint8_t(value));
}

AnimationManager::AnimationManager(const IndexType capacity): ComponentManager{0}, _layout{*this} {
    _layout.get<Speed>().setDefaultValue(1.0f);
    _layout.get<AnimationIndex>().setDefaultValue(NoAnimation);
    _layout.get<BlendAnimation>().setDefaultValue(NoAnimation);
    setLayout(&_layout);
    allocate(capacity);
}

AnimationManager::~AnimationManager() = default;

const char* AnimationManager::name() const { return "animation"; }

void AnimationManager::layerInit() {
    /* Bindings are kept per id; growth only adds empty ones */
    if(_bindings.size() < capacity()) _bindings.resize(capacity());
}

void AnimationManager::copyBinding(const Binding& from, Binding& to) const {
    to.targets = from.targets;
    for(std::size_t layer = 0; layer != 2; ++layer) {
        if(!from.contexts[layer]) to.contexts[layer] = nullptr;
        else {
            if(!to.contexts[layer]) to.contexts[layer].reset(new Animation::SamplingJob::Context);
            to.contexts[layer]->resize(from.contexts[layer]->maxTracks());
        }
    }
}

void AnimationManager::layerCopy(const IndexType from, const IndexType to) {
    copyBinding(_bindings[idOf(from)], _bindings[idOf(to)]);
}

void AnimationManager::layerAppend(const AnimationManager& other) {
    /* Appending a scene graph puts the other graph's object at index i (but its root) at
       i + offset here, where offset is the difference of the sizes once the objects are in; the
       targets move with their objects, like the owners do */
    const SceneGraph* const graph = sceneGraph();
    const SceneGraph* const otherGraph = other.sceneGraph();
    const std::uint32_t offset = graph && otherGraph && graph->size() >= otherGraph->size() ? graph->size() - otherGraph->size() : 0;
    const IndexType at = size();
    for(IndexType k = 0; k != other.size(); ++k) {
        Binding& binding = _bindings[idOf(IndexType(at + k))];
        copyBinding(other._bindings[other.idOf(k)], binding);
        if(!graph || !otherGraph) continue;
        for(Id& target: binding.targets) {
            if(target == Id{NoTarget} || !otherGraph->isAlive(target)) {
                target = Id{NoTarget};
                continue;
            }
            const IndexType otherIndex = otherGraph->indexOf(target);
            const std::uint32_t index = otherIndex ? otherIndex + offset : 0;
            target = index < graph->size() ? graph->idOf(IndexType(index)) : Id{NoTarget};
        }
    }
}

void AnimationManager::layerDestroy(const IndexType index) {
    Binding& binding = _bindings[idOf(index)];
    std::vector<Id>{}.swap(binding.targets);
    binding.contexts[0] = nullptr;
    binding.contexts[1] = nullptr;
}

std::uint16_t AnimationManager::addAnimation(std::unique_ptr<Animation::Animation> animation) {
    QUILLMARSH_ASSERT(animation, "AnimationManager::addAnimation(): the animation is null", {});
    QUILLMARSH_ASSERT(_animations.size() < NoAnimation, "AnimationManager::addAnimation(): too many animations", {});
    /* Scratch poses as large as the largest animation, so that updates never allocate */
    const std::size_t soaTracks = std::size_t(animation->numSoaTracks());
    if(_restPose.size() < soaTracks) {
        for(std::vector<Animation::SoaTransform>& pose: _poses) pose.resize(soaTracks);
        _restPose.resize(soaTracks, Animation::SoaTransform::identity());
    }
    _animations.push_back(std::move(animation));
    return std::uint16_t(_animations.size() - 1);
}

std::optional<std::uint16_t> AnimationManager::addAnimation(const AnimationData& record) {
    std::unique_ptr<Animation::Animation> animation = record.animation();
    if(!animation) return {};
    return addAnimation(std::move(animation));
}

const Animation::Animation& AnimationManager::animation(const std::uint16_t index) const {
    requireAnimation(index, "AnimationManager::animation()");
    return *_animations[index];
}

void AnimationManager::requireAnimation(const std::uint16_t animation, const char* const function) const {
    QUILLMARSH_ASSERT(animation < _animations.size(),
        function << Debug::nospace << ": animation" << animation << "out of range for" << _animations.size() << "animations", );
}

void AnimationManager::ensureContext(std::unique_ptr<Animation::SamplingJob::Context>& context, const Animation::Animation& animation) {
    if(!context) context.reset(new Animation::SamplingJob::Context{animation.numTracks()});
    else if(context->maxTracks() < animation.numTracks()) context->resize(animation.numTracks());
    else context->invalidate();
}

Id AnimationManager::addAnimationComponent(const Id object, const std::uint16_t animation, const std::span<const Id> targets) {
    requireAnimation(animation, "AnimationManager::addAnimationComponent()");
    const Id component = addComponent(object);
    setAnimation(component, animation, targets);
    activate(indexOf(component));
    return component;
}

Id AnimationManager::addAnimationComponent(const Id object, const AnimationTargetsData& targets) {
    return addAnimationComponent(object, targets.animation(), targets.targets());
}

void AnimationManager::setAnimation(const Id component, const std::uint16_t animation, const std::span<const Id> targets) {
    const IndexType index = aliveIndex(component, "AnimationManager::setAnimation()");
    requireAnimation(animation, "AnimationManager::setAnimation()");
    Binding& binding = _bindings[component];
    binding.targets.assign(targets.begin(), targets.end());
    ensureContext(binding.contexts[0], *_animations[animation]);
    _layout.get<AnimationIndex>()[index] = animation;
    _layout.get<BlendAnimation>()[index] = NoAnimation;
    _layout.get<BlendWeight>()[index] = 0.0f;
    _layout.get<BlendTime>()[index] = 0.0f;
    _layout.get<Time>()[index] = 0.0f;
    _layout.get<CompletedLoops>()[index] = 0;
    _layout.get<State>()[index] = AnimationState::Stopped;
    _layout.get<PosePending>().view().set(index, false);
}

std::uint16_t AnimationManager::componentAnimation(const Id component) const {
    return _layout.get<AnimationIndex>()[aliveIndex(component, "AnimationManager::componentAnimation()")];
}

std::span<const Id> AnimationManager::targets(const Id component) const {
    aliveIndex(component, "AnimationManager::targets()");
    return _bindings[component].targets;
}

float AnimationManager::durationOf(const std::uint16_t animation) const {
    return animation < _animations.size() ? _animations[animation]->duration() : 0.0f;
}

void AnimationManager::rewind(const IndexType index) {
    const float duration = durationOf(_layout.get<AnimationIndex>()[index]);
    _layout.get<Time>()[index] = _layout.get<Speed>()[index] < 0.0f ? duration : 0.0f;
    _layout.get<CompletedLoops>()[index] = 0;
}

void AnimationManager::play(const Id component) {
    const IndexType index = aliveIndex(component, "AnimationManager::play()");
    AnimationState& state = _layout.get<State>()[index];
    if(state == AnimationState::Finished) rewind(index);
    state = AnimationState::Playing;
}

void AnimationManager::pause(const Id component) {
    const IndexType index = aliveIndex(component, "AnimationManager::pause()");
    AnimationState& state = _layout.get<State>()[index];
    if(state == AnimationState::Playing) state = AnimationState::Paused;
}

void AnimationManager::stop(const Id component) {
    const IndexType index = aliveIndex(component, "AnimationManager::stop()");
    _layout.get<State>()[index] = AnimationState::Stopped;
    rewind(index);
}

AnimationState AnimationManager::state(const Id component) const {
    return _layout.get<State>()[aliveIndex(component, "AnimationManager::state()")];
}

void AnimationManager::setSpeed(const Id component, const float speed) {
    const IndexType index = aliveIndex(component, "AnimationManager::setSpeed()");
    QUILLMARSH_ASSERT(std::isfinite(speed), "AnimationManager::setSpeed(): expected a finite speed, got" << speed, );
    _layout.get<Speed>()[index] = speed;
}

float AnimationManager::speed(const Id component) const {
    return _layout.get<Speed>()[aliveIndex(component, "AnimationManager::speed()")];
}

void AnimationManager::setLoopCount(const Id component, const std::uint16_t count) {
    _layout.get<LoopCount>()[aliveIndex(component, "AnimationManager::setLoopCount()")] = count;
}

std::uint16_t AnimationManager::loopCount(const Id component) const {
    return _layout.get<LoopCount>()[aliveIndex(component, "AnimationManager::loopCount()")];
}

std::uint16_t AnimationManager::completedLoops(const Id component) const {
    return _layout.get<CompletedLoops>()[aliveIndex(component, "AnimationManager::completedLoops()")];
}

void AnimationManager::setPlaybackTime(const Id component, const float time) {
    const IndexType index = aliveIndex(component, "AnimationManager::setPlaybackTime()");
    QUILLMARSH_ASSERT(std::isfinite(time), "AnimationManager::setPlaybackTime(): expected a finite time, got" << time, );
    _layout.get<Time>()[index] = std::clamp(time, 0.0f, durationOf(_layout.get<AnimationIndex>()[index]));
    _layout.get<PosePending>().view().set(index, true);
}

float AnimationManager::playbackTime(const Id component) const {
    return _layout.get<Time>()[aliveIndex(component, "AnimationManager::playbackTime()")];
}

void AnimationManager::crossFade(const Id component, const std::uint16_t animation, const float startTime) {
    const IndexType index = aliveIndex(component, "AnimationManager::crossFade()");
    requireAnimation(animation, "AnimationManager::crossFade()");
    QUILLMARSH_ASSERT(std::isfinite(startTime), "AnimationManager::crossFade(): expected a finite start time, got" << startTime, );
    const std::uint16_t current = _layout.get<AnimationIndex>()[index];
    QUILLMARSH_ASSERT(current < _animations.size(), "AnimationManager::crossFade(): component" << component << "has no animation", );
    const Animation::Animation& second = *_animations[animation];
    QUILLMARSH_ASSERT(second.numTracks() == _animations[current]->numTracks(),
        "AnimationManager::crossFade(): animation" << animation << "has" << second.numTracks() << "tracks, the component's animation" << _animations[current]->numTracks(), );
    ensureContext(_bindings[component].contexts[1], second);
    float wraps;
    _layout.get<BlendAnimation>()[index] = animation;
    _layout.get<BlendTime>()[index] = second.duration() > 0.0f ? wrapTime(startTime, second.duration(), wraps) : 0.0f;
    _layout.get<BlendWeight>()[index] = 0.0f;
    _layout.get<PosePending>().view().set(index, true);
}

void AnimationManager::setBlendWeight(const Id component, const float weight) {
    const IndexType index = aliveIndex(component, "AnimationManager::setBlendWeight()");
    QUILLMARSH_ASSERT(std::isfinite(weight), "AnimationManager::setBlendWeight(): expected a finite weight, got" << weight, );
    _layout.get<BlendWeight>()[index] = std::clamp(weight, 0.0f, 1.0f);
    _layout.get<PosePending>().view().set(index, true);
}

float AnimationManager::blendWeight(const Id component) const {
    return _layout.get<BlendWeight>()[aliveIndex(component, "AnimationManager::blendWeight()")];
}

std::uint16_t AnimationManager::blendAnimation(const Id component) const {
    return _layout.get<BlendAnimation>()[aliveIndex(component, "AnimationManager::blendAnimation()")];
}

float AnimationManager::blendTime(const Id component) const {
    return _layout.get<BlendTime>()[aliveIndex(component, "AnimationManager::blendTime()")];
}

void AnimationManager::finishCrossFade(const Id component) {
    const IndexType index = aliveIndex(component, "AnimationManager::finishCrossFade()");
    std::uint16_t& second = _layout.get<BlendAnimation>()[index];
    if(second == NoAnimation) return;
    _layout.get<AnimationIndex>()[index] = second;
    _layout.get<Time>()[index] = _layout.get<BlendTime>()[index];
    _layout.get<CompletedLoops>()[index] = 0;
    Binding& binding = _bindings[component];
    std::swap(binding.contexts[0], binding.contexts[1]);
    second = NoAnimation;
    _layout.get<BlendWeight>()[index] = 0.0f;
    _layout.get<PosePending>().view().set(index, true);
}

void AnimationManager::cancelCrossFade(const Id component) {
    const IndexType index = aliveIndex(component, "AnimationManager::cancelCrossFade()");
    _layout.get<BlendAnimation>()[index] = NoAnimation;
    _layout.get<BlendWeight>()[index] = 0.0f;
    _layout.get<PosePending>().view().set(index, true);
}

void AnimationManager::advance(const IndexType index, const float dt) {
    const float speed = _layout.get<Speed>()[index];
    const float duration = _animations[_layout.get<AnimationIndex>()[index]]->duration();
    float& time = _layout.get<Time>()[index];
    const float t = time + dt*speed;
    if(!(duration > 0.0f)) time = 0.0f;
    else if(t >= 0.0f && t < duration) time = t;
    else {
        float wraps;
        const float wrapped = wrapTime(t, duration, wraps);
        std::uint16_t& completed = _layout.get<CompletedLoops>()[index];
        const std::uint16_t count = _layout.get<LoopCount>()[index];
        completed = std::uint16_t(std::min(float(completed) + std::abs(wraps), 65535.0f));
        if(count && completed >= count) {
            /* Hold the end the playback ran into */
            completed = count;
            time = wraps > 0.0f ? duration : 0.0f;
            _layout.get<State>()[index] = AnimationState::Finished;
        } else time = wrapped;
    }

    const std::uint16_t second = _layout.get<BlendAnimation>()[index];
    if(second < _animations.size()) {
        const float secondDuration = _animations[second]->duration();
        float& blendTime = _layout.get<BlendTime>()[index];
        float wraps;
        blendTime = secondDuration > 0.0f ? wrapTime(blendTime + dt*speed, secondDuration, wraps) : 0.0f;
    }
}

void AnimationManager::writePose(const IndexType index) {
    const Animation::Animation& first = *_animations[_layout.get<AnimationIndex>()[index]];
    const std::size_t soaTracks = std::size_t(first.numSoaTracks());
    if(!soaTracks) return;
    Binding& binding = _bindings[idOf(index)];

    const auto sample = [&](const Animation::Animation& animation, std::unique_ptr<Animation::SamplingJob::Context>& context, float time, std::vector<Animation::SoaTransform>& out) {
        /* Only a component appended from another manager, whose animation indices name other
           animations here, can lack a context of the right size */
        if(!context || context->maxTracks() < animation.numTracks()) [[unlikely]] ensureContext(context, animation);
        Animation::SamplingJob job;
        job.animation = &animation;
        job.context = context.get();
        job.ratio = animation.duration() > 0.0f ? time/animation.duration() : 0.0f;
        job.output = {out.data(), soaTracks};
        QUILLMARSH_INTERNAL_ASSERT_OUTPUT(job.Run());
    };

    const std::uint16_t secondIndex = _layout.get<BlendAnimation>()[index];
    const float weight = secondIndex < _animations.size() ? _layout.get<BlendWeight>()[index] : 0.0f;
    const std::vector<Animation::SoaTransform>* pose = &_poses[0];
    if(weight < 1.0f) sample(first, binding.contexts[0], _layout.get<Time>()[index], _poses[0]);
    if(weight > 0.0f) {
        const Animation::Animation& second = *_animations[secondIndex];
        sample(second, binding.contexts[1], _layout.get<BlendTime>()[index], _poses[1]);
        pose = &_poses[1];
        if(weight < 1.0f) {
            const Animation::BlendingJob::Layer layers[2]{
                {1.0f - weight, {_poses[0].data(), soaTracks}, {}},
                {weight, {_poses[1].data(), soaTracks}, {}}};
            Animation::BlendingJob job;
            job.layers = layers;
            job.restPose = {_restPose.data(), soaTracks};
            job.output = {_poses[2].data(), soaTracks};
            QUILLMARSH_INTERNAL_ASSERT_OUTPUT(job.Run());
            pose = &_poses[2];
        }
    }

    SceneGraph& graph = *sceneGraph();
    const std::size_t count = std::min(std::size_t(first.numTracks()), binding.targets.size());
    for(std::size_t track = 0; track != count; ++track) {
        const Id target = binding.targets[track];
        if(target == Id{NoTarget} || !graph.isAlive(target)) continue;
        const SceneGraph::IndexType object = graph.indexOf(target);
        const Animation::Transform transform = Animation::transformAt(*pose, track);
        graph.setLocalTransformation(object, DualQuaternion::from(transform.rotation, transform.translation));
        graph.setLocalScaling(object, transform.scale);
        graph.setDirty(object);
    }
}

void AnimationManager::updateComponent(const IndexType index) {
    /* Unbound, or appended with an index this manager doesn't have */
    if(_layout.get<AnimationIndex>()[index] >= _animations.size()) return;
    const Utils::BitSetView pending = _layout.get<PosePending>().view();
    bool write = pending[index];
    pending.set(index, false);
    if(_layout.get<State>()[index] == AnimationState::Playing) {
        advance(index, float(lastTimeStep()));
        write = true;
    }
    if(write) writePose(index);
}


std::string AnimationManager::checkAdoptedBlock() const {
    std::string reason = ComponentManager::checkAdoptedBlock();
    if(!reason.empty()) return reason;
    for(IndexType i = 0; i != size(); ++i) {
        if(!std::isfinite(_layout.get<Time>()[i]) || !std::isfinite(_layout.get<Speed>()[i]) ||
           !std::isfinite(_layout.get<BlendTime>()[i]) || !std::isfinite(_layout.get<BlendWeight>()[i]))
            return "component at " + std::to_string(i) + " has a time, speed or weight that is not finite";
        if(std::uint8_t(_layout.get<State>()[i]) > std::uint8_t(AnimationState::Finished))
            return "component at " + std::to_string(i) + " has an unknown state";
    }
    return {};
}

void AnimationManager::saveExternalState(std::vector<char>& out) const {
    Implementation::StateWriter writer{out};
    for(IndexType i = 0; i != size(); ++i) {
        const std::vector<Id>& targets = _bindings[idOf(i)].targets;
        writer.put(std::uint32_t(targets.size()));
        for(const Id target: targets) writer.put(target);
    }
}

std::string AnimationManager::loadExternalState(const std::span<const char> data) {
    Implementation::StateReader reader{data};
    std::vector<std::vector<Id>> targets(size());
    for(IndexType i = 0; i != size() && !reader.failed; ++i) {
        const std::uint32_t count = reader.get<std::uint32_t>();
        if(reader.failed || count > (data.size() - reader.position)/sizeof(Id))
            return "targets of the component at " + std::to_string(i) + " run past the end of the external state";
        targets[i].resize(count);
        for(Id& target: targets[i]) target = reader.get<Id>();
    }
    if(!reader.finished()) return "targets do not fill the external state exactly";
    /* A cross-fade blends poses of the first animation's track count; the animations are
       known by now (they are added before the state is loaded) */
    for(IndexType i = 0; i != size(); ++i) {
        const std::uint16_t first = _layout.get<AnimationIndex>()[i], second = _layout.get<BlendAnimation>()[i];
        if(first < _animations.size() && second < _animations.size() &&
           _animations[first]->numTracks() != _animations[second]->numTracks())
            return "component at " + std::to_string(i) + " cross-fades animations of different track counts";
    }
    /* Sampling contexts are made on the first update that needs them */
    for(IndexType i = 0; i != size(); ++i) _bindings[idOf(i)].targets = std::move(targets[i]);
    return {};
}

}}
