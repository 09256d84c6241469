#ifndef QuillmarshEngine_Animation_SoaTransform_h
#define QuillmarshEngine_Animation_SoaTransform_h

/** @file
 * @brief Structs @ref QuillmarshEngine::Animation::SoaFloat3, @ref QuillmarshEngine::Animation::SoaQuaternion,
 *      @ref QuillmarshEngine::Animation::SoaTransform, @ref QuillmarshEngine::Animation::Transform
 */

#include <cstddef>
#include <span>

#include "QuillmarshEngine/Math/Quaternion.h"
#include "QuillmarshEngine/Math/Vector3.h"

namespace QuillmarshEngine { namespace Animation {

/**
 * @brief Four three-component vectors, one per lane, stored component by component
 *
 * Lane `i` is `(x[i], y[i], z[i])`. Sampling and blending work on four tracks at once in this form.
 */
struct alignas(16) SoaFloat3 {
    float x[4];
    float y[4];
    float z[4];

    /** @brief Vector of lane @p i */
    Vector3 lane(std::size_t i) const { return {x[i], y[i], z[i]}; }

    /** @brief Set lane @p i */
    void setLane(std::size_t i, const Vector3& value) {
        x[i] = value.x();
        y[i] = value.y();
        z[i] = value.z();
    }

    /** @brief @p value in every lane */
    static SoaFloat3 splat(const Vector3& value) {
        SoaFloat3 out;
        for(std::size_t i = 0; i != 4; ++i) out.setLane(i, value);
        return out;
    }
};

/**
 * @brief Four quaternions, one per lane, stored component by component
 *
 * Lane `i` is `({x[i], y[i], z[i]}, w[i])`.
 */
struct alignas(16) SoaQuaternion {
    float x[4];
    float y[4];
    float z[4];
    float w[4];

    /** @brief Quaternion of lane @p i */
    Quaternion lane(std::size_t i) const { return {{x[i], y[i], z[i]}, w[i]}; }

    /** @brief Set lane @p i */
    void setLane(std::size_t i, const Quaternion& value) {
        x[i] = value.x();
        y[i] = value.y();
        z[i] = value.z();
        w[i] = value.w();
    }

    /** @brief @p value in every lane */
    static SoaQuaternion splat(const Quaternion& value) {
        SoaQuaternion out;
        for(std::size_t i = 0; i != 4; ++i) out.setLane(i, value);
        return out;
    }
};

/**
 * @brief Local transformations of four tracks: translation, rotation and scale
 *
 * Track `j` of a pose lives in element `j/4`, lane `j%4`; a pose of `n` tracks takes `(n + 3)/4`
 * elements. 160 bytes, 16-byte aligned.
 */
struct alignas(16) SoaTransform {
    SoaFloat3 translation;      /**< Translations */
    SoaQuaternion rotation;     /**< Rotations */
    SoaFloat3 scale;            /**< Scales */

    /** @brief Zero translation, identity rotation and unit scale in every lane */
    static SoaTransform identity() {
        return {SoaFloat3::splat(Vector3{}), SoaQuaternion::splat(Quaternion{}), SoaFloat3::splat(Vector3{1.0f})};
    }
};

static_assert(sizeof(SoaTransform) == 160 && alignof(SoaTransform) == 16, "a SoA transform is ten aligned groups of four floats");

/**
 * @brief Local transformation of one track
 *
 * Default-constructed it is the identity: zero translation, identity rotation, unit scale.
 */
struct Transform {
    Vector3 translation;            /**< Translation */
    Quaternion rotation;            /**< Rotation */
    Vector3 scale{1.0f};            /**< Scale */
};

/** @brief Transformation of track @p track of @p pose; expects the track inside the pose */
inline Transform transformAt(std::span<const SoaTransform> pose, std::size_t track) {
    const SoaTransform& soa = pose[track/4];
    const std::size_t lane = track%4;
    return {soa.translation.lane(lane), soa.rotation.lane(lane), soa.scale.lane(lane)};
}

/** @brief Set track @p track of @p pose; expects the track inside the pose */
inline void setTransformAt(std::span<SoaTransform> pose, std::size_t track, const Transform& transform) {
    SoaTransform& soa = pose[track/4];
    const std::size_t lane = track%4;
    soa.translation.setLane(lane, transform.translation);
    soa.rotation.setLane(lane, transform.rotation);
    soa.scale.setLane(lane, transform.scale);
}

/** @brief Prints `Transform(Vector(x, y, z), Quaternion({x, y, z}, w), Vector(x, y, z))` */
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, const Transform& value);

}}

#endif
