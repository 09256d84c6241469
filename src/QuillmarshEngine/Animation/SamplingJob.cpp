#include "QuillmarshEngine/Animation/SamplingJob.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

namespace QuillmarshEngine { namespace Animation {

namespace {

/* The two keys of each lane of a group of four tracks, as the interpolation reads them */
template<class Soa> struct CachedPair {
    float ratio[2][4];
    Soa value[2];
};

/* Per channel: for each track the index of its left and right key in the channel's key array,
   the next key the playback has not reached, and per group of four the lanes whose pair changed
   since it was last copied into `pairs` (one bit per lane) */
template<class Soa> struct ChannelCache {
    std::vector<std::uint32_t> left, right;
    std::vector<std::uint8_t> outdated;
    std::vector<CachedPair<Soa>> pairs;
    std::uint32_t cursor{};

    void resize(const std::size_t soaTracks) {
        left.assign(4*soaTracks, 0);
        right.assign(4*soaTracks, 0);
        outdated.assign(soaTracks, 0);
        pairs.resize(soaTracks);
        cursor = 0;
    }
};

/* Moves every track's key pair forward to `ratio`. Keys are sorted by the time of the key before
   them in their track, so the key at the cursor is the next one of its track and is due exactly
   when that track's current right key is at or before the ratio; the first key not due ends the
   walk, as every later key is due later still. */
template<class V, class Soa> void updateChannel(const AnimationKeys<V>& keys, ChannelCache<Soa>& cache, const float ratio, const std::size_t soaTracks, const bool restart) {
    const std::uint32_t tracks = std::uint32_t(4*soaTracks);
    if(restart) {
        /* The first key of every track comes first, the second keys follow, both in track order */
        for(std::uint32_t t = 0; t != tracks; ++t) {
            cache.left[t] = t;
            cache.right[t] = tracks + t;
        }
        cache.cursor = 2*tracks;
        std::fill_n(cache.outdated.begin(), soaTracks, std::uint8_t(0xf));
    }

    const float* const ratios = keys.ratios.data();
    const std::uint16_t* const keyTracks = keys.tracks.data();
    const std::uint32_t count = std::uint32_t(keys.size());
    std::uint32_t cursor = cache.cursor;
    while(cursor < count) {
        const std::uint16_t track = keyTracks[cursor];
        if(!(ratios[cache.right[track]] <= ratio)) break;
        cache.left[track] = cache.right[track];
        cache.right[track] = cursor;
        cache.outdated[track >> 2] |= std::uint8_t(1u << (track & 3));
        ++cursor;
    }
    cache.cursor = cursor;

    for(std::size_t soa = 0; soa != soaTracks; ++soa) {
        const std::uint8_t outdated = cache.outdated[soa];
        if(!outdated) continue;
        CachedPair<Soa>& pair = cache.pairs[soa];
        for(std::size_t lane = 0; lane != 4; ++lane) {
            if(!(outdated & (1u << lane))) continue;
            const std::uint32_t left = cache.left[4*soa + lane], right = cache.right[4*soa + lane];
            pair.ratio[0][lane] = ratios[left];
            pair.ratio[1][lane] = ratios[right];
            pair.value[0].setLane(lane, keys.values[left]);
            pair.value[1].setLane(lane, keys.values[right]);
        }
        cache.outdated[soa] = 0;
    }
}

/* Interpolation factor of each lane; two keys at the same ratio give the left one */
void alphas(const float (&ratios)[2][4], const float ratio, float (&alpha)[4]) {
    for(std::size_t i = 0; i != 4; ++i) {
        const float span = ratios[1][i] - ratios[0][i];
        alpha[i] = span > 0.0f ? (ratio - ratios[0][i])/span : 0.0f;
    }
}

void lerpLanes(const float (&a)[4], const float (&b)[4], const float (&alpha)[4], float (&out)[4]) {
    for(std::size_t i = 0; i != 4; ++i) out[i] = a[i] + (b[i] - a[i])*alpha[i];
}

void interpolate(const CachedPair<SoaFloat3>& pair, const float ratio, SoaFloat3& out) {
    float alpha[4];
    alphas(pair.ratio, ratio, alpha);
    lerpLanes(pair.value[0].x, pair.value[1].x, alpha, out.x);
    lerpLanes(pair.value[0].y, pair.value[1].y, alpha, out.y);
    lerpLanes(pair.value[0].z, pair.value[1].z, alpha, out.z);
}

void interpolate(const CachedPair<SoaQuaternion>& pair, const float ratio, SoaQuaternion& out) {
    float alpha[4];
    alphas(pair.ratio, ratio, alpha);
    lerpLanes(pair.value[0].x, pair.value[1].x, alpha, out.x);
    lerpLanes(pair.value[0].y, pair.value[1].y, alpha, out.y);
    lerpLanes(pair.value[0].z, pair.value[1].z, alpha, out.z);
    lerpLanes(pair.value[0].w, pair.value[1].w, alpha, out.w);
    for(std::size_t i = 0; i != 4; ++i) {
        const float inverseLength = 1.0f/std::sqrt(out.x[i]*out.x[i] + out.y[i]*out.y[i] + out.z[i]*out.z[i] + out.w[i]*out.w[i]);
        out.x[i] *= inverseLength;
        out.y[i] *= inverseLength;
        out.z[i] *= inverseLength;
        out.w[i] *= inverseLength;
    }
}

}

struct SamplingJob::Context::State {
    ChannelCache<SoaFloat3> translations, scales;
    ChannelCache<SoaQuaternion> rotations;
    const Animation* animation{};
    float ratio{};
};

SamplingJob::Context::Context(): Context{0} {}

SamplingJob::Context::Context(const int maxTracks): _state{new State} {
    resize(maxTracks);
}

SamplingJob::Context::~Context() = default;

void SamplingJob::Context::resize(const int maxTracks) {
    _maxSoaTracks = (std::max(maxTracks, 0) + 3)/4;
    _state->translations.resize(std::size_t(_maxSoaTracks));
    _state->rotations.resize(std::size_t(_maxSoaTracks));
    _state->scales.resize(std::size_t(_maxSoaTracks));
    invalidate();
}

void SamplingJob::Context::invalidate() {
    _state->animation = nullptr;
    _state->ratio = 0.0f;
}

bool SamplingJob::Validate() const {
    return animation && context && !output.empty() && context->maxSoaTracks() >= animation->numSoaTracks();
}

bool SamplingJob::Run() const {
    if(!Validate()) return false;
    const std::size_t soaTracks = std::size_t(animation->numSoaTracks());
    if(!soaTracks) return true;

    /* NaN fails the first test and counts as 1 */
    float r = ratio;
    if(!(r < 1.0f)) r = 1.0f;
    else if(r < 0.0f) r = 0.0f;

    Context::State& state = *context->_state;
    const bool restart = state.animation != animation || r < state.ratio;
    state.animation = animation;
    state.ratio = r;
    updateChannel(animation->translations(), state.translations, r, soaTracks, restart);
    updateChannel(animation->rotations(), state.rotations, r, soaTracks, restart);
    updateChannel(animation->scales(), state.scales, r, soaTracks, restart);

    const std::size_t count = std::min(output.size(), soaTracks);
    for(std::size_t soa = 0; soa != count; ++soa) {
        SoaTransform& out = output[soa];
        interpolate(state.translations.pairs[soa], r, out.translation);
        interpolate(state.rotations.pairs[soa], r, out.rotation);
        interpolate(state.scales.pairs[soa], r, out.scale);
    }
    return true;
}

}}
