#include "QuillmarshEngine/Tools/AnimationTools.h"

#include <cstring>

#include "QuillmarshEngine/Animation/Interpolation.h"

namespace QuillmarshEngine { namespace Tools { namespace AnimationTools {

namespace {

bool isThinned(const Trade::AnimationTrackData& track) {
    return track.interpolation() == Animation::Interpolation::Linear &&
        (track.type() == Trade::AnimationTrackType::Vector3 || track.type() == Trade::AnimationTrackType::Quaternion);
}

/* Indices of the keys to keep. `values` are what the interpolation works on (normalized
   rotations); a candidate is dropped only when the segment from the last kept key to the key after
   it reproduces the candidate and every key dropped since the last kept one. */
template<class T> std::vector<std::size_t> keptKeys(const StridedArrayView1D<const float>& times, const std::vector<T>& values) {
    const std::size_t count = values.size();
    std::vector<std::size_t> kept;
    if(!count) return kept;
    kept.push_back(0);
    if(count == 1) return kept;
    std::size_t last = 0;
    for(std::size_t i = 1; i + 1 < count; ++i) {
        const float span = times[i + 1] - times[last];
        bool redundant = true;
        for(std::size_t j = last + 1; j <= i && redundant; ++j) {
            const float t = (times[j] - times[last])/span;
            redundant = Animation::interpolateLinear(values[last], values[i + 1], t) == values[j];
        }
        if(!redundant) {
            kept.push_back(i);
            last = i;
        }
    }
    kept.push_back(count - 1);
    return kept;
}

std::vector<std::size_t> keptKeys(const Trade::AnimationTrackData& track) {
    if(track.type() == Trade::AnimationTrackType::Vector3) {
        const StridedArrayView1D<const Vector3> input = track.values<Vector3>();
        std::vector<Vector3> values(input.size());
        for(std::size_t i = 0; i != values.size(); ++i) values[i] = input[i];
        return keptKeys(track.keys(), values);
    }
    const StridedArrayView1D<const Quaternion> input = track.values<Quaternion>();
    std::vector<Quaternion> values(input.size());
    for(std::size_t i = 0; i != values.size(); ++i) values[i] = input[i].normalized();
    return keptKeys(track.keys(), values);
}

}

Trade::AnimationData removeLinearlyRedundantKeyframes(const Trade::AnimationData& animation) {
    /* Which keys of each track survive, then one block holding keys and values track by track */
    std::vector<std::vector<std::size_t>> kept(animation.trackCount());
    std::size_t size = 0;
    for(std::uint32_t i = 0; i != animation.trackCount(); ++i) {
        const Trade::AnimationTrackData& track = animation.track(i);
        if(isThinned(track)) kept[i] = keptKeys(track);
        else for(std::size_t k = 0; k != track.size(); ++k) kept[i].push_back(k);
        /* Values of any type are copied in 4-byte multiples, so keys stay aligned */
        size += kept[i].size()*(4 + ((Trade::animationTrackTypeSize(track.type()) + 3) & ~std::size_t{3}));
    }

    std::vector<char> data(size);
    std::vector<Trade::AnimationTrackData> tracks;
    char* at = data.data();
    for(std::uint32_t i = 0; i != animation.trackCount(); ++i) {
        const Trade::AnimationTrackData& track = animation.track(i);
        const std::size_t count = kept[i].size();
        const std::size_t valueSize = Trade::animationTrackTypeSize(track.type());
        const std::size_t stride = (valueSize + 3) & ~std::size_t{3};
        float* const keys = reinterpret_cast<float*>(at);
        char* const values = at + 4*count;
        for(std::size_t k = 0; k != count; ++k) {
            keys[k] = track.keys()[kept[i][k]];
            std::memcpy(values + stride*k, &track.values()[kept[i][k]], valueSize);
        }
        tracks.emplace_back(track.type(), track.targetName(), track.target(), StridedArrayView1D<const float>{keys, count, 4},
            StridedArrayView1D<const char>{values, count, std::ptrdiff_t(stride)}, track.interpolation());
        at = values + stride*count;
    }
    return Trade::AnimationData{std::move(data), std::move(tracks), animation.duration()};
}

}}}
