#include "QuillmarshEngine/Trade/AnimationData.h"

#include <algorithm>

#include "QuillmarshEngine/Assert.h"
#include "QuillmarshEngine/Math/Quaternion.h"

namespace QuillmarshEngine { namespace Trade {

std::uint32_t animationTrackTypeSize(const AnimationTrackType type) {
    switch(type) {
        case AnimationTrackType::Bool: return 1;
        case AnimationTrackType::BitVector2:
        case AnimationTrackType::BitVector3:
        case AnimationTrackType::BitVector4: return 1;
        case AnimationTrackType::Float:
        case AnimationTrackType::UnsignedInt:
        case AnimationTrackType::Int: return 4;
        case AnimationTrackType::Vector2:
        case AnimationTrackType::Vector2ui:
        case AnimationTrackType::Vector2i:
        case AnimationTrackType::Complex: return 8;
        case AnimationTrackType::Vector3:
        case AnimationTrackType::Vector3ui:
        case AnimationTrackType::Vector3i:
        case AnimationTrackType::CubicHermite1D: return 12;
        case AnimationTrackType::Vector4:
        case AnimationTrackType::Vector4ui:
        case AnimationTrackType::Vector4i:
        case AnimationTrackType::Quaternion: return 16;
        case AnimationTrackType::DualQuaternion:
        case AnimationTrackType::CubicHermiteComplex: return 32;
        case AnimationTrackType::CubicHermite2D: return 24;
        case AnimationTrackType::CubicHermite3D: return 36;
        case AnimationTrackType::CubicHermiteQuaternion: return 48;
    }
    QUILLMARSH_ASSERT(false, "Trade::animationTrackTypeSize(): invalid type" << type, {});
    return 0;
}

Debug& operator<<(Debug& debug, const AnimationTrackType value) {
    const char* name = nullptr;
    switch(value) {
        #define _c(value) case AnimationTrackType::value: name = #value; break;
        _c(Bool) _c(Float) _c(UnsignedInt) _c(Int) _c(BitVector2) _c(BitVector3) _c(BitVector4)
        _c(Vector2) _c(Vector2ui) _c(Vector2i) _c(Vector3) _c(Vector3ui) _c(Vector3i) _c(Vector4)
        _c(Vector4ui) _c(Vector4i) _c(Complex) _c(Quaternion) _c(DualQuaternion) _c(CubicHermite1D)
        _c(CubicHermite2D) _c(CubicHermite3D) _c(CubicHermiteComplex) _c(CubicHermiteQuaternion)
        #undef _c
    }
    if(name) return Implementation::printEnumValue(debug, "Trade::AnimationTrackType", name);
    return Implementation::printUnknownEnum(debug, "Trade::AnimationTrackType", std::uint8_t(value));
}

AnimationTrackTarget animationTrackTargetCustom(const std::uint16_t id) {
    QUILLMARSH_ASSERT(id < AnimationTrackTargetCustomBegin, "Trade::animationTrackTargetCustom(): index" << id << "too large", {});
    return AnimationTrackTarget(AnimationTrackTargetCustomBegin + id);
}

std::uint16_t animationTrackTargetCustom(const AnimationTrackTarget target) {
    QUILLMARSH_ASSERT(isAnimationTrackTargetCustom(target), "Trade::animationTrackTargetCustom():" << target << "is not custom", {});
    return std::uint16_t(std::uint16_t(target) - AnimationTrackTargetCustomBegin);
}

Debug& operator<<(Debug& debug, const AnimationTrackTarget value) {
    if(isAnimationTrackTargetCustom(value))
        return debug << "Trade::AnimationTrackTarget::Custom(" << Debug::nospace << animationTrackTargetCustom(value) << Debug::nospace << ")";
    const char* name = nullptr;
    switch(value) {
        case AnimationTrackTarget::Translation2D: name = "Translation2D"; break;
        case AnimationTrackTarget::Translation3D: name = "Translation3D"; break;
        case AnimationTrackTarget::Rotation2D: name = "Rotation2D"; break;
        case AnimationTrackTarget::Rotation3D: name = "Rotation3D"; break;
        case AnimationTrackTarget::Scaling2D: name = "Scaling2D"; break;
        case AnimationTrackTarget::Scaling3D: name = "Scaling3D"; break;
    }
    if(name) return Implementation::printEnumValue(debug, "Trade::AnimationTrackTarget", name);
    return Implementation::printUnknownEnum(debug, "Trade::AnimationTrackTarget", std::uint16_t(value));
}

AnimationTrackData::AnimationTrackData(const AnimationTrackType type, const AnimationTrackTarget targetName, const std::uint64_t target, const StridedArrayView1D<const float> keys, const StridedArrayView1D<const char> values, const Animation::Interpolation interpolation): _type{type}, _interpolation{interpolation}, _targetName{targetName}, _target{target}, _keys{keys}, _values{values} {
    QUILLMARSH_ASSERT(keys.size() == values.size(),
        "Trade::AnimationTrackData: expected key and value view to have the same size but got" << keys.size() << "and" << values.size(), );
}

AnimationTrackData::AnimationTrackData(const AnimationTrackTarget targetName, const std::uint64_t target, const StridedArrayView1D<const float> keys, const StridedArrayView1D<const Vector3> values, const Animation::Interpolation interpolation): AnimationTrackData{AnimationTrackType::Vector3, targetName, target, keys, StridedArrayView1D<const char>{reinterpret_cast<const char*>(values.data()), values.size(), values.stride()}, interpolation} {}

AnimationTrackData::AnimationTrackData(const AnimationTrackTarget targetName, const std::uint64_t target, const StridedArrayView1D<const float> keys, const StridedArrayView1D<const Quaternion> values, const Animation::Interpolation interpolation): AnimationTrackData{AnimationTrackType::Quaternion, targetName, target, keys, StridedArrayView1D<const char>{reinterpret_cast<const char*>(values.data()), values.size(), values.stride()}, interpolation} {}

template<> StridedArrayView1D<const Vector3> AnimationTrackData::values<Vector3>() const {
    QUILLMARSH_ASSERT(_type == AnimationTrackType::Vector3, "Trade::AnimationTrackData::values(): improper type requested for" << _type, {});
    return StridedArrayView1D<const Vector3>{reinterpret_cast<const Vector3*>(_values.data()), _values.size(), _values.stride()};
}

template<> StridedArrayView1D<const Quaternion> AnimationTrackData::values<Quaternion>() const {
    QUILLMARSH_ASSERT(_type == AnimationTrackType::Quaternion, "Trade::AnimationTrackData::values(): improper type requested for" << _type, {});
    return StridedArrayView1D<const Quaternion>{reinterpret_cast<const Quaternion*>(_values.data()), _values.size(), _values.stride()};
}

namespace {

Range1D keyRange(const std::vector<AnimationTrackData>& tracks) {
    bool any = false;
    Range1D range;
    for(const AnimationTrackData& track: tracks) {
        if(!track.size()) continue;
        const float first = track.keys()[0], last = track.keys()[track.size() - 1];
        range = any ? Range1D{std::min(range.min(), first), std::max(range.max(), last)} : Range1D{first, last};
        any = true;
    }
    return range;
}

}

AnimationData::AnimationData(std::vector<char>&& data, std::vector<AnimationTrackData>&& tracks, const Range1D& duration): _dataFlags{DataFlag::Owned|DataFlag::Mutable}, _storage{std::move(data)}, _data{_storage}, _tracks{std::move(tracks)}, _duration{duration} {}

AnimationData::AnimationData(std::vector<char>&& data, std::vector<AnimationTrackData>&& tracks): AnimationData{std::move(data), std::move(tracks), Range1D{}} {
    _duration = keyRange(_tracks);
}

AnimationData::AnimationData(const DataFlags dataFlags, const std::span<const char> data, std::vector<AnimationTrackData>&& tracks, const Range1D& duration): _dataFlags{dataFlags}, _data{data}, _tracks{std::move(tracks)}, _duration{duration} {
    QUILLMARSH_ASSERT(!(dataFlags & DataFlag::Owned),
        "Trade::AnimationData: can't construct a non-owned instance with" << dataFlags, );
}

AnimationData::AnimationData(const DataFlags dataFlags, const std::span<const char> data, std::vector<AnimationTrackData>&& tracks): AnimationData{dataFlags, data, std::move(tracks), Range1D{}} {
    _duration = keyRange(_tracks);
}

const AnimationTrackData& AnimationData::track(const std::uint32_t i) const {
    QUILLMARSH_ASSERT(i < _tracks.size(), "Trade::AnimationData::track(): index" << i << "out of range for" << _tracks.size() << "tracks", _tracks[0]);
    return _tracks[i];
}

}}
