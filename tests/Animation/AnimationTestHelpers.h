#ifndef QuillmarshEngine_tests_Animation_AnimationTestHelpers_h
#define QuillmarshEngine_tests_Animation_AnimationTestHelpers_h

/* Shared by the animation tests: random raw animations and a reference sampler that works on the
   raw keys directly, in double precision, independently of the builder and the sampling job */

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "QuillmarshEngine/Animation/Offline/RawAnimation.h"
#include "QuillmarshEngine/Animation/SoaTransform.h"

namespace QuillmarshEngine { namespace Animation { namespace TestSupport {

/* Strictly increasing times in [0, duration], sometimes starting after 0 or ending before the end.
   On a grid of 1/64 of the duration: samplers interpolate in ratios of the duration, whose rounding
   is amplified by keys very close to each other. */
inline std::vector<float> randomTimes(std::mt19937& rng, const float duration, const int count) {
    std::vector<float> times;
    for(int i = 0; i != count; ++i) times.push_back(float(rng() % 65)/64.0f*duration);
    if(count > 1 && rng() % 2) times[0] = 0.0f;
    if(count > 2 && rng() % 2) times[1] = duration;
    std::sort(times.begin(), times.end());
    times.erase(std::unique(times.begin(), times.end()), times.end());
    return times;
}

inline Quaternion randomRotation(std::mt19937& rng) {
    std::normal_distribution<float> normal;
    Quaternion q{{normal(rng), normal(rng), normal(rng)}, normal(rng)};
    return q.dot() > 1.0e-6f ? q.normalized() : Quaternion{};
}

inline Offline::RawAnimation randomAnimation(std::mt19937& rng, const int tracks, const float duration, const int maxKeys) {
    std::uniform_real_distribution<float> value{-5.0f, 5.0f}, positive{0.25f, 3.0f};
    Offline::RawAnimation raw;
    raw.duration = duration;
    raw.tracks.resize(tracks);
    for(Offline::JointTrack& track: raw.tracks) {
        for(const float time: randomTimes(rng, duration, int(rng() % (maxKeys + 1))))
            track.translations.push_back({time, Vector3{value(rng), value(rng), value(rng)}});
        for(const float time: randomTimes(rng, duration, int(rng() % (maxKeys + 1))))
            track.rotations.push_back({time, randomRotation(rng)});
        for(const float time: randomTimes(rng, duration, int(rng() % (maxKeys + 1))))
            track.scales.push_back({time, Vector3{positive(rng), positive(rng), positive(rng)}});
    }
    return raw;
}

/* The keys around `time`: held before the first and after the last key */
template<class Key, class F> auto sampleChannel(const std::vector<Key>& keys, const float time, const typename Key::Value& identity, F interpolate) -> typename Key::Value {
    if(keys.empty()) return identity;
    if(time <= keys.front().time) return keys.front().value;
    if(time >= keys.back().time) return keys.back().value;
    std::size_t right = 1;
    while(keys[right].time < time) ++right;
    const Key& a = keys[right - 1];
    const Key& b = keys[right];
    const double alpha = (double(time) - a.time)/(double(b.time) - a.time);
    return interpolate(a.value, b.value, alpha);
}

/* Linear interpolation of vectors; normalized linear interpolation along the short arc of rotations */
inline Transform referenceSample(const Offline::JointTrack& track, const float time) {
    const auto lerp = [](const Vector3& a, const Vector3& b, const double alpha) {
        Vector3 out;
        for(std::size_t i = 0; i != 3; ++i) out[i] = float(a[i] + (double(b[i]) - a[i])*alpha);
        return out;
    };
    const auto nlerp = [](const Quaternion& a, const Quaternion& b, const double alpha) {
        const Quaternion na = a.normalized();
        Quaternion nb = b.normalized();
        if(Math::dot(na, nb) < 0.0f) nb = -nb;
        double q[4];
        for(std::size_t i = 0; i != 4; ++i) q[i] = na.data()[i] + (double(nb.data()[i]) - na.data()[i])*alpha;
        const double length = std::sqrt(q[0]*q[0] + q[1]*q[1] + q[2]*q[2] + q[3]*q[3]);
        return Quaternion{{float(q[0]/length), float(q[1]/length), float(q[2]/length)}, float(q[3]/length)};
    };
    Transform out;
    out.translation = sampleChannel(track.translations, time, Vector3{}, lerp);
    Quaternion rotation = sampleChannel(track.rotations, time, Quaternion{}, nlerp);
    out.rotation = rotation.dot() > 0.0f ? rotation.normalized() : Quaternion{};
    out.scale = sampleChannel(track.scales, time, Vector3{1.0f}, lerp);
    return out;
}

/* Rotation angle between two unit quaternions, either sign, in double precision: the angle of
   conjugate(a)*b, from its vector part and scalar, which stays accurate for tiny angles */
inline double angleBetween(const Quaternion& a, const Quaternion& b) {
    const Math::Quaternion<double> r = Math::Quaternion<double>{a}.conjugated()*Math::Quaternion<double>{b};
    return 2.0*std::atan2(r.vector().length(), std::abs(r.scalar()));
}

inline float maxDifference(const Vector3& a, const Vector3& b) {
    return std::max({std::abs(a.x() - b.x()), std::abs(a.y() - b.y()), std::abs(a.z() - b.z())});
}

}}}

#endif
