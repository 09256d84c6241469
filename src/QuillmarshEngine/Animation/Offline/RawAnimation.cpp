#include "QuillmarshEngine/Animation/Offline/RawAnimation.h"

namespace QuillmarshEngine { namespace Animation { namespace Offline {

namespace {

/* Written as plain comparisons on purpose: a NaN time passes them and, as the previous time,
   turns off the order check of the key after it */
template<class Key> bool validateChannel(const std::vector<Key>& keys, const float duration) {
    float previous = -1.0f;
    for(const Key& key: keys) {
        const float time = key.time;
        if(time < 0.0f || time > duration) return false;
        if(time <= previous) return false;
        previous = time;
    }
    return true;
}

}

bool JointTrack::Validate(const float duration) const {
    return validateChannel(translations, duration) && validateChannel(rotations, duration) && validateChannel(scales, duration);
}

RawAnimation::RawAnimation(): duration{1.0f} {}

bool RawAnimation::Validate() const {
    if(duration <= 0.0f) return false;
    if(tracks.size() > std::size_t(MaxTracks)) return false;
    for(const JointTrack& track: tracks)
        if(!track.Validate(duration)) return false;
    return true;
}

std::size_t RawAnimation::size() const {
    std::size_t size = sizeof(RawAnimation) + tracks.size()*sizeof(JointTrack) + name.size();
    for(const JointTrack& track: tracks)
        size += track.translations.size()*sizeof(TranslationKey) + track.rotations.size()*sizeof(RotationKey) + track.scales.size()*sizeof(ScaleKey);
    return size;
}

}}}
