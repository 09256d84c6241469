#include "QuillmarshEngine/Data/AnimationData.h"

#include <cmath>
#include <cstring>

#include "QuillmarshEngine/Animation/Offline/AnimationBuilder.h"
#include "QuillmarshEngine/Assert.h"
#include "QuillmarshEngine/Math/Packing.h"

/* This file is compiled without floating-point contraction: the codecs below must give the same
   bytes on every build, so each expression is evaluated as written, left to right, in float */

namespace QuillmarshEngine { namespace Data {

namespace {

template<class T> T read(const char* at) {
    T value;
    std::memcpy(&value, at, sizeof(T));
    return value;
}

template<class T> char* write(char* at, const T& value) {
    std::memcpy(at, &value, sizeof(T));
    return at + sizeof(T);
}

constexpr float RotationOffset = 0.707107f;
constexpr float RotationRange = 1.414214f;
constexpr float RotationCodeMax = 1023.0f;

void printInvalid() {
    Error{} << "createAnimationData(): animation is empty or contains invalid key values.";
}

/* One compressed key of a translation or scale channel: three halves and the time code */
struct PackedVectorKey {
    std::uint16_t x, y, z, time;
};

struct PackedRotationKey {
    std::uint32_t value;
    std::uint16_t time;
};

struct PackedTrack {
    std::vector<PackedVectorKey> translations, scales;
    std::vector<PackedRotationKey> rotations;
};

/* Appends a key to a channel of codes. Codes grow with time; a key whose decoded time is not after
   the decoded time of the key before would make the decoded channel fail validation, so the later
   key replaces it. Returns whether it did. Different codes decode to different times unless the
   products with the duration become subnormal, so only equal codes or tiny durations need the
   decoded times. */
template<class Key> bool appendMerging(std::vector<Key>& keys, const Key& key, const float duration) {
    if(!keys.empty() && (key.time == keys.back().time || (duration < 1.0e-30f &&
       !(AnimationData::unpackTime(key.time, duration) > AnimationData::unpackTime(keys.back().time, duration))))) {
        keys.back() = key;
        return true;
    }
    keys.push_back(key);
    return false;
}

template<class Key> bool packVectorChannel(const std::vector<Key>& keys, const float duration, std::vector<PackedVectorKey>& out, std::uint32_t& merged) {
    out.reserve(keys.size());
    for(const Key& key: keys) {
        if(std::isnan(key.time)) return false;
        const PackedVectorKey packed{Math::packHalf(key.value.x()), Math::packHalf(key.value.y()), Math::packHalf(key.value.z()), AnimationData::packTime(key.time, duration)};
        merged += appendMerging(out, packed, duration);
    }
    return true;
}

bool packTrack(const Animation::Offline::JointTrack& track, const float duration, PackedTrack& out, std::uint32_t& merged) {
    if(!packVectorChannel(track.translations, duration, out.translations, merged) ||
       !packVectorChannel(track.scales, duration, out.scales, merged)) return false;
    out.rotations.reserve(track.rotations.size());
    for(const Animation::Offline::RotationKey& key: track.rotations) {
        const std::optional<std::uint32_t> value = AnimationData::packRotation(key.value);
        if(!value || std::isnan(key.time)) return false;
        merged += appendMerging(out.rotations, PackedRotationKey{*value, AnimationData::packTime(key.time, duration)}, duration);
    }
    return true;
}

char* writeVectorKeys(char* at, const std::vector<PackedVectorKey>& keys) {
    for(const PackedVectorKey& key: keys) {
        at = write(at, key.x);
        at = write(at, key.y);
        at = write(at, key.z);
        at = write(at, key.time);
    }
    return at;
}

template<class Key> char* writePlainKeys(char* at, const std::vector<Key>& keys) {
    if(!keys.empty()) std::memcpy(at, keys.data(), keys.size()*sizeof(Key));
    return at + keys.size()*sizeof(Key);
}

template<class Key> const char* readPlainKeys(const char* at, const std::uint32_t count, std::vector<Key>& keys) {
    keys.resize(count);
    if(count) std::memcpy(keys.data(), at, std::size_t(count)*sizeof(Key));
    return at + std::size_t(count)*sizeof(Key);
}

template<class Key> const char* readVectorKeys(const char* at, const std::uint32_t count, const float duration, std::vector<Key>& keys) {
    keys.resize(count);
    for(Key& key: keys) {
        key.value = Vector3{Math::unpackHalf(read<std::uint16_t>(at)), Math::unpackHalf(read<std::uint16_t>(at + 2)), Math::unpackHalf(read<std::uint16_t>(at + 4))};
        key.time = AnimationData::unpackTime(read<std::uint16_t>(at + 6), duration);
        at += 8;
    }
    return at;
}

}

std::uint64_t AnimationData::trackDataSize(const TrackHeader& track, const bool compressed) {
    const std::uint64_t vectors = std::uint64_t(track.translationCount) + track.scaleCount;
    return compressed ?
        8*vectors + 6*std::uint64_t(track.rotationCount) + (track.rotationCount & 1 ? 2 : 0) :
        16*vectors + 20*std::uint64_t(track.rotationCount);
}

std::uint16_t AnimationData::packTime(const float time, const float duration) {
    /* NaN, which the callers never pass, gives 0 rather than an undefined conversion */
    const float code = std::round((time/duration)*65535.0f);
    return std::uint16_t(code > 0.0f ? (code < 65535.0f ? code : 65535.0f) : 0.0f);
}

float AnimationData::unpackTime(const std::uint16_t code, const float duration) {
    return (float(code)/65535.0f)*duration;
}

std::optional<std::uint32_t> AnimationData::packRotation(const Quaternion& rotation) {
    float q[4]{rotation.x(), rotation.y(), rotation.z(), rotation.w()};
    for(const float c: q) if(!std::isfinite(c)) return {};

    float lengthSquared = ((q[0]*q[0] + q[1]*q[1]) + q[2]*q[2]) + q[3]*q[3];
    if(lengthSquared == 0.0f || !std::isnormal(lengthSquared)) {
        /* The squares underflowed or overflowed: bring the largest magnitude to 1 first, which
           puts the squared length in [1, 4] */
        float largest = 0.0f;
        for(const float c: q) largest = std::max(largest, std::abs(c));
        if(largest == 0.0f) {
            q[0] = q[1] = q[2] = 0.0f;
            q[3] = 1.0f;
        } else for(float& c: q) c = c/largest;
        lengthSquared = ((q[0]*q[0] + q[1]*q[1]) + q[2]*q[2]) + q[3]*q[3];
    }
    const float length = std::sqrt(lengthSquared);
    for(float& c: q) c = c/length;

    std::uint32_t index = 0;
    for(std::uint32_t i = 1; i != 4; ++i)
        if(std::abs(q[i]) > std::abs(q[index])) index = i;
    const bool negate = q[index] < 0.0f;
    std::swap(q[index], q[3]);

    std::uint32_t packed = index << 30;
    for(std::uint32_t i = 0; i != 3; ++i) {
        const float value = negate ? -q[i] : q[i];
        const float code = std::round(((value + RotationOffset)/RotationRange)*RotationCodeMax);
        packed |= std::uint32_t(code > 0.0f ? (code < RotationCodeMax ? code : RotationCodeMax) : 0.0f) << (10*i);
    }
    return packed;
}

std::optional<Quaternion> AnimationData::tryUnpackRotation(const std::uint32_t packed) {
    float q[4];
    for(std::uint32_t i = 0; i != 3; ++i)
        q[i] = (float((packed >> (10*i)) & 1023u)/RotationCodeMax)*RotationRange - RotationOffset;
    q[3] = std::sqrt(((1.0f - q[0]*q[0]) - q[1]*q[1]) - q[2]*q[2]);
    /* The reconstructed component belongs to the slot of the index, whose stored value is w */
    std::swap(q[packed >> 30], q[3]);
    const float lengthSquared = ((q[0]*q[0] + q[1]*q[1]) + q[2]*q[2]) + q[3]*q[3];
    if(!(std::abs(lengthSquared - 1.0f) < 1.0e-6f)) return {};
    return Quaternion{{q[0], q[1], q[2]}, q[3]};
}

Quaternion AnimationData::unpackRotation(const std::uint32_t packed) {
    const std::optional<Quaternion> rotation = tryUnpackRotation(packed);
    if(!rotation) {
        /* Decode again for the message: the failure path of a record the library wrote itself */
        float q[4];
        for(std::uint32_t i = 0; i != 3; ++i)
            q[i] = (float((packed >> (10*i)) & 1023u)/RotationCodeMax)*RotationRange - RotationOffset;
        q[3] = std::sqrt(((1.0f - q[0]*q[0]) - q[1]*q[1]) - q[2]*q[2]);
        const float length = std::sqrt(((q[0]*q[0] + q[1]*q[1]) + q[2]*q[2]) + q[3]*q[3]);
        QUILLMARSH_ASSERT_UNREACHABLE("Quat not normalized, length is" << length, {});
    }
    return *rotation;
}

AnimationData::AnimationData(const std::span<const char> data): _data{data} {
    QUILLMARSH_ASSERT(data.size() >= HeaderSize, "Data::AnimationData: expected at least" << HeaderSize << "bytes, got" << data.size(), );
}

AnimationData::Header AnimationData::header() const {
    return read<Header>(_data.data());
}

AnimationData::TrackHeader AnimationData::trackHeader(const std::uint32_t i) const {
    QUILLMARSH_ASSERT(i < trackCount(), "Data::AnimationData::trackHeader(): index" << i << "out of range for" << trackCount() << "tracks", {});
    return read<TrackHeader>(_data.data() + HeaderSize + TrackHeaderSize*i);
}

std::span<const char> AnimationData::keyData() const {
    return _data.subspan(HeaderSize + TrackHeaderSize*trackCount(), keyDataSize());
}

float AnimationData::eventKey(const std::uint32_t i) const {
    QUILLMARSH_ASSERT(i < eventCount(), "Data::AnimationData::eventKey(): index" << i << "out of range for" << eventCount() << "events", {});
    return read<float>(keyData().data() + keyDataSize() + 4*std::size_t(i));
}

std::vector<float> AnimationData::eventKeys() const {
    std::vector<float> keys(eventCount());
    if(!keys.empty()) std::memcpy(keys.data(), keyData().data() + keyDataSize(), 4*keys.size());
    return keys;
}

StringArrayView AnimationData::eventNames() const {
    const std::size_t offset = HeaderSize + TrackHeaderSize*trackCount() + keyDataSize() + 4*std::size_t(eventCount());
    return StringArrayView{_data.subspan(offset), eventCount()};
}

Animation::Offline::RawAnimation AnimationData::rawAnimation() const {
    const Header head = header();
    Animation::Offline::RawAnimation raw;
    raw.duration = head.duration;
    raw.tracks.resize(head.trackCount);
    const char* const keys = _data.data() + HeaderSize + TrackHeaderSize*head.trackCount;
    for(std::uint32_t i = 0; i != head.trackCount; ++i) {
        const TrackHeader track = trackHeader(i);
        Animation::Offline::JointTrack& out = raw.tracks[i];
        const char* at = keys + track.offset;
        if(!head.compressed) {
            at = readPlainKeys(at, track.translationCount, out.translations);
            at = readPlainKeys(at, track.rotationCount, out.rotations);
            readPlainKeys(at, track.scaleCount, out.scales);
        } else {
            at = readVectorKeys(at, track.translationCount, head.duration, out.translations);
            at = readVectorKeys(at, track.scaleCount, head.duration, out.scales);
            out.rotations.resize(track.rotationCount);
            const char* const times = at + 4*std::size_t(track.rotationCount);
            for(std::uint32_t k = 0; k != track.rotationCount; ++k) {
                out.rotations[k].value = unpackRotation(read<std::uint32_t>(at + 4*std::size_t(k)));
                out.rotations[k].time = unpackTime(read<std::uint16_t>(times + 2*std::size_t(k)), head.duration);
            }
        }
    }
    return raw;
}

std::unique_ptr<Animation::Animation> AnimationData::animation() const {
    std::unique_ptr<Animation::Animation> animation = Animation::Offline::AnimationBuilder{}(rawAnimation());
    if(!animation) Error{} << "Failed to build runtime animation.";
    return animation;
}

std::vector<char> createAnimationData(const Animation::Offline::RawAnimation& animation, const std::span<const float> eventKeys, const StringArrayView& eventNames, const bool compressed) {
    if(!animation.Validate() || eventNames.size() != eventKeys.size() || (compressed && !std::isfinite(animation.duration))) {
        printInvalid();
        return {};
    }

    const std::size_t trackCount = animation.tracks.size();
    std::vector<PackedTrack> packed(compressed ? trackCount : 0);
    std::vector<AnimationData::TrackHeader> headers(trackCount);
    std::uint64_t keyDataSize = 0;
    for(std::size_t i = 0; i != trackCount; ++i) {
        const Animation::Offline::JointTrack& track = animation.tracks[i];
        AnimationData::TrackHeader& header = headers[i];
        if(compressed) {
            std::uint32_t merged = 0;
            if(!packTrack(track, animation.duration, packed[i], merged)) {
                printInvalid();
                return {};
            }
            if(merged)
                Warning{} << "createAnimationData(): merged" << merged << "keys of track" << i << "whose times collide after quantization";
            header.translationCount = std::uint32_t(packed[i].translations.size());
            header.rotationCount = std::uint32_t(packed[i].rotations.size());
            header.scaleCount = std::uint32_t(packed[i].scales.size());
        } else {
            header.translationCount = std::uint32_t(track.translations.size());
            header.rotationCount = std::uint32_t(track.rotations.size());
            header.scaleCount = std::uint32_t(track.scales.size());
        }
        header.offset = std::uint32_t(keyDataSize);
        keyDataSize += AnimationData::trackDataSize(header, compressed);
    }
    QUILLMARSH_ASSERT(keyDataSize <= 0xffffffffu, "createAnimationData(): key data of" << keyDataSize << "bytes does not fit 32 bits", {});

    const std::size_t nameBytes = std::size_t(eventNames.usedSize());
    const std::size_t headersSize = AnimationData::HeaderSize + AnimationData::TrackHeaderSize*trackCount;
    std::vector<char> out(headersSize + std::size_t(keyDataSize) + 4*eventKeys.size() + nameBytes);
    char* at = out.data();
    at = write(at, AnimationData::Header{animation.duration, std::uint16_t(compressed), std::uint16_t(trackCount), std::uint32_t(keyDataSize), std::uint32_t(eventKeys.size())});
    for(const AnimationData::TrackHeader& header: headers) at = write(at, header);

    for(std::size_t i = 0; i != trackCount; ++i) {
        if(!compressed) {
            const Animation::Offline::JointTrack& track = animation.tracks[i];
            at = writePlainKeys(at, track.translations);
            at = writePlainKeys(at, track.rotations);
            at = writePlainKeys(at, track.scales);
        } else {
            const PackedTrack& track = packed[i];
            at = writeVectorKeys(at, track.translations);
            at = writeVectorKeys(at, track.scales);
            for(const PackedRotationKey& key: track.rotations) at = write(at, key.value);
            for(const PackedRotationKey& key: track.rotations) at = write(at, key.time);
            /* The zero padding after an odd number of rotations is already there */
            if(track.rotations.size() & 1) at += 2;
        }
    }

    if(!eventKeys.empty()) std::memcpy(at, eventKeys.data(), 4*eventKeys.size());
    at += 4*eventKeys.size();
    if(nameBytes) std::memcpy(at, eventNames.data().data(), nameBytes);
    return out;
}

std::vector<char> createAnimationData() {
    return createAnimationData(Animation::Offline::RawAnimation{}, {}, StringArrayView{}, true);
}

AnimationTargetsData::AnimationTargetsData(const std::span<const char> data): _data{data} {
    QUILLMARSH_ASSERT(data.size() >= HeaderSize, "Data::AnimationTargetsData: expected at least" << HeaderSize << "bytes, got" << data.size(), );
}

std::uint16_t AnimationTargetsData::animation() const { return read<std::uint16_t>(_data.data()); }

std::uint16_t AnimationTargetsData::targetCount() const { return read<std::uint16_t>(_data.data() + 2); }

std::span<const Id> AnimationTargetsData::targets() const {
    return {reinterpret_cast<const Id*>(_data.data() + HeaderSize), targetCount()};
}

Id AnimationTargetsData::target(const std::uint16_t i) const {
    QUILLMARSH_ASSERT(i < targetCount(), "Data::AnimationTargetsData::target(): index" << i << "out of range for" << targetCount() << "targets", {});
    return read<std::uint16_t>(_data.data() + HeaderSize + 2*std::size_t(i));
}

std::vector<char> createAnimationTargetsData(const std::uint16_t animation, const std::span<const Id> targets) {
    QUILLMARSH_ASSERT(targets.size() <= 0xffff, "createAnimationTargetsData(): too many targets", {});
    std::vector<char> out(AnimationTargetsData::HeaderSize + 2*targets.size());
    char* at = write(out.data(), animation);
    at = write(at, std::uint16_t(targets.size()));
    for(const Id id: targets) at = write(at, id.value);
    return out;
}

Trade::AnimationData retargetAnimation(const Trade::AnimationData& animation, const std::span<const Id> newTargets) {
    QUILLMARSH_ASSERT(newTargets.size() == animation.trackCount(),
        "retargetAnimation(): newTargets is required to have an element per track: Got" << newTargets.size() << "but expected" << animation.trackCount(), {});
    std::vector<Trade::AnimationTrackData> tracks;
    for(std::uint32_t i = 0; i != animation.trackCount(); ++i) {
        const Trade::AnimationTrackData& track = animation.track(i);
        if(newTargets[i] == Id{0xffff}) continue;
        if(track.type() != Trade::AnimationTrackType::Vector3 && track.type() != Trade::AnimationTrackType::Quaternion) continue;
        tracks.emplace_back(track.type(), track.targetName(), std::uint64_t(newTargets[i].value), track.keys(), track.values(), track.interpolation());
    }
    return Trade::AnimationData{Trade::DataFlags{}, animation.data(), std::move(tracks), animation.duration()};
}

Trade::AnimationData convertToAdditiveAnimation(const Trade::AnimationData& animation, const std::span<const Quaternion> bindPose) {
    QUILLMARSH_ASSERT(bindPose.size() == animation.trackCount(),
        "retargetAnimation(): bindPose is required to have an element per track: Got" << bindPose.size() << "but expected" << animation.trackCount(), {});

    /* Keys, then values, per kept track, all 4-byte sized */
    std::size_t size = 0;
    for(const Trade::AnimationTrackData& track: animation.tracks()) {
        if(track.type() == Trade::AnimationTrackType::Vector3) size += track.size()*(4 + sizeof(Vector3));
        else if(track.type() == Trade::AnimationTrackType::Quaternion) size += track.size()*(4 + sizeof(Quaternion));
    }
    std::vector<char> data(size);
    std::vector<Trade::AnimationTrackData> tracks;
    char* at = data.data();
    for(std::uint32_t i = 0; i != animation.trackCount(); ++i) {
        const Trade::AnimationTrackData& track = animation.track(i);
        const bool isVector = track.type() == Trade::AnimationTrackType::Vector3;
        if(!isVector && track.type() != Trade::AnimationTrackType::Quaternion) continue;

        const std::size_t count = track.size();
        float* const keys = reinterpret_cast<float*>(at);
        for(std::size_t k = 0; k != count; ++k) keys[k] = track.keys()[k];
        at += 4*count;
        const Quaternion& b = bindPose[i];
        if(isVector) {
            Vector3* const values = reinterpret_cast<Vector3*>(at);
            const StridedArrayView1D<const Vector3> input = track.values<Vector3>();
            if(track.targetName() == Trade::AnimationTrackTarget::Scaling3D) {
                const Vector3 bind = b.vector();
                bool zero = false;
                for(std::size_t k = 0; k != count; ++k) {
                    Vector3 v = input[k];
                    for(std::size_t c = 0; c != 3; ++c) {
                        if(bind[c] == 0.0f) zero = true;
                        else v[c] = v[c]/bind[c];
                    }
                    values[k] = v;
                }
                if(zero && count)
                    Warning{} << "convertToAdditiveAnimation(): the bind scaling of track" << i << "has a zero component, keys of that component stay absolute";
            } else for(std::size_t k = 0; k != count; ++k) values[k] = input[k] - b.vector();
            tracks.emplace_back(track.targetName(), track.target(), StridedArrayView1D<const float>{keys, count, 4},
                StridedArrayView1D<const Vector3>{values, count, sizeof(Vector3)}, track.interpolation());
            at += sizeof(Vector3)*count;
        } else {
            Quaternion* const values = reinterpret_cast<Quaternion*>(at);
            const StridedArrayView1D<const Quaternion> input = track.values<Quaternion>();
            const Quaternion inverse = b.conjugated();
            for(std::size_t k = 0; k != count; ++k) values[k] = inverse*input[k];
            tracks.emplace_back(track.targetName(), track.target(), StridedArrayView1D<const float>{keys, count, 4},
                StridedArrayView1D<const Quaternion>{values, count, sizeof(Quaternion)}, track.interpolation());
            at += sizeof(Quaternion)*count;
        }
    }
    return Trade::AnimationData{std::move(data), std::move(tracks), animation.duration()};
}

}}
