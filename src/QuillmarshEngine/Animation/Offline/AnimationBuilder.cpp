#include "QuillmarshEngine/Animation/Offline/AnimationBuilder.h"

#include <algorithm>
#include <cmath>
#include <type_traits>

namespace QuillmarshEngine { namespace Animation { namespace Offline {

namespace {

template<class V> struct CompletedKey {
    float time;
    V value;
};

/* A channel of one track with keys at exactly 0 and exactly the duration; padding tracks, which
   have no raw keys, get the identity */
template<class Key> void completeChannel(const std::vector<Key>* keys, const float duration, std::vector<CompletedKey<typename Key::Value>>& out) {
    out.clear();
    if(!keys || keys->empty()) {
        out.push_back({0.0f, Key::identity()});
        out.push_back({duration, Key::identity()});
    } else if(keys->size() == 1) {
        out.push_back({0.0f, keys->front().value});
        out.push_back({duration, keys->front().value});
    } else {
        if(keys->front().time != 0.0f) out.push_back({0.0f, keys->front().value});
        for(const Key& key: *keys) out.push_back({key.time, key.value});
        if(keys->back().time != duration) out.push_back({duration, keys->back().value});
    }
}

/* Normalized, and each key in the hemisphere of the one before it */
void fixRotations(std::vector<CompletedKey<Quaternion>>& keys) {
    for(std::size_t i = 0; i != keys.size(); ++i) {
        Quaternion& q = keys[i].value;
        const float lengthSquared = q.dot();
        q = lengthSquared == 0.0f ? Quaternion{} : q/std::sqrt(lengthSquared);
        if(i == 0 ? q.w() < 0.0f : Math::dot(keys[i - 1].value, q) < 0.0f) q = -q;
    }
}

template<class V> struct SortEntry {
    float previousTime;
    std::uint16_t track;
    float time;
    V value;
};

template<class Key> const std::vector<Key>& channelOf(const JointTrack& track);
template<> const std::vector<TranslationKey>& channelOf(const JointTrack& track) { return track.translations; }
template<> const std::vector<RotationKey>& channelOf(const JointTrack& track) { return track.rotations; }
template<> const std::vector<ScaleKey>& channelOf(const JointTrack& track) { return track.scales; }

/* Completes every track of one channel, adds the key times to `times` and fills `out` in the
   playback order: by the time of the key before in the same track (-1 for first keys), then by
   track. Every track starts at 0, so that puts all first keys first and all second keys next. */
template<class Key> void buildChannel(const RawAnimation& raw, const int paddedTracks, std::vector<float>& times, AnimationKeys<typename Key::Value>& out) {
    typedef typename Key::Value V;
    std::vector<SortEntry<V>> entries;
    std::vector<CompletedKey<V>> completed;
    for(int t = 0; t != paddedTracks; ++t) {
        completeChannel<Key>(t < raw.numTracks() ? &channelOf<Key>(raw.tracks[t]) : nullptr, raw.duration, completed);
        if constexpr(std::is_same_v<V, Quaternion>) fixRotations(completed);
        for(std::size_t k = 0; k != completed.size(); ++k) {
            entries.push_back({k ? completed[k - 1].time : -1.0f, std::uint16_t(t), completed[k].time, completed[k].value});
            times.push_back(completed[k].time);
        }
    }
    std::sort(entries.begin(), entries.end(), [](const SortEntry<V>& a, const SortEntry<V>& b) {
        return a.previousTime < b.previousTime || (a.previousTime == b.previousTime && a.track < b.track);
    });
    out.ratios.resize(entries.size());
    out.tracks.resize(entries.size());
    out.values.resize(entries.size());
    for(std::size_t k = 0; k != entries.size(); ++k) {
        out.ratios[k] = entries[k].time/raw.duration;
        out.tracks[k] = entries[k].track;
        out.values[k] = entries[k].value;
    }
}

template<class Key> bool hasNanTime(const std::vector<Key>& keys) {
    for(const Key& key: keys) if(std::isnan(key.time)) return true;
    return false;
}

}

std::unique_ptr<Animation> AnimationBuilder::operator()(const RawAnimation& raw) const {
    if(!raw.Validate() || !std::isfinite(raw.duration)) return nullptr;
    for(const JointTrack& track: raw.tracks)
        if(hasNanTime(track.translations) || hasNanTime(track.rotations) || hasNanTime(track.scales)) return nullptr;

    std::unique_ptr<Animation> animation{new Animation};
    animation->_duration = raw.duration;
    animation->_numTracks = raw.numTracks();
    animation->_name = raw.name;
    const int paddedTracks = (raw.numTracks() + 3) & ~3;
    std::vector<float> times;
    buildChannel<TranslationKey>(raw, paddedTracks, times, animation->_translations);
    buildChannel<RotationKey>(raw, paddedTracks, times, animation->_rotations);
    buildChannel<ScaleKey>(raw, paddedTracks, times, animation->_scales);

    std::sort(times.begin(), times.end());
    if(std::size_t(std::unique(times.begin(), times.end()) - times.begin()) > MaxKeyTimes) return nullptr;
    return animation;
}

}}}
