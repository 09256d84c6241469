#ifndef QuillmarshEngine_Animation_Interpolation_h
#define QuillmarshEngine_Animation_Interpolation_h

/** @file
 * @brief Enum @ref QuillmarshEngine::Animation::Interpolation, functions @ref QuillmarshEngine::Animation::interpolateLinear()
 */

#include <cstdint>

#include "QuillmarshEngine/Math/Quaternion.h"
#include "QuillmarshEngine/Math/Vector3.h"

namespace QuillmarshEngine { namespace Animation {

/**
 * @brief How values between two keys of an imported track are found
 *
 * Stored in 8 bits with the numeric values of the importer's data, so they never change.
 */
enum class Interpolation: std::uint8_t {
    Constant = 0,   /**< The value of the key before */
    Linear = 1,     /**< Linear interpolation of the two keys */
    Spline = 2,     /**< Spline through the keys (cubic Hermite tangents stored with the values) */
    Custom = 3      /**< Interpolated by a function of the user's */
};

/** @brief Prints `Animation::Interpolation::Linear` or `Animation::Interpolation(0x..)` */
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, Interpolation value);

/**
 * @brief Linear interpolation of two vector keys
 *
 * `a*(1 - t) + b*t`, evaluated in that order, so that t = 0 and t = 1 give the keys exactly.
 */
inline Vector3 interpolateLinear(const Vector3& a, const Vector3& b, float t) {
    return a*(1.0f - t) + b*t;
}

/**
 * @brief Linear interpolation of two rotation keys
 *
 * The spherical interpolation along the shortest path, @ref Math::slerpShortestPath(), which is
 * what linear interpolation of an imported rotation track means. Expects normalized keys.
 */
inline Quaternion interpolateLinear(const Quaternion& normalizedA, const Quaternion& normalizedB, float t) {
    return Math::slerpShortestPath(normalizedA, normalizedB, t);
}

}}

#endif
