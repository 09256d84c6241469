#ifndef QuillmarshEngine_Tools_AnimationTools_h
#define QuillmarshEngine_Tools_AnimationTools_h

/** @file
 * @brief Function @ref QuillmarshEngine::Tools::AnimationTools::removeLinearlyRedundantKeyframes()
 */

#include "QuillmarshEngine/Trade/AnimationData.h"

namespace QuillmarshEngine { namespace Tools {

/** @brief Tools that transform imported animations before they are converted */
namespace AnimationTools {

/**
 * @brief Drop the keys that linear interpolation of their neighbours reproduces
 *
 * Per linearly interpolated @ref Trade::AnimationTrackType::Vector3 and
 * @ref Trade::AnimationTrackType::Quaternion track: the first and the last key are kept; a key in
 * between is dropped when interpolating from the last kept key to the key after it, at
 * `t = (time[i] - time[last])/(time[i+1] - time[last])`, gives its value, and gives the value of
 * every key dropped since the last kept one as well, so that errors never add up beyond the
 * tolerance. Values compare with the fuzzy equality of the math library (1e-5, absolute near zero,
 * relative otherwise). Vectors interpolate as `a*(1 - t) + b*t`, rotations along the shortest
 * spherical path, on keys normalized first; kept keys keep their values as they are.
 *
 * Tracks of other types or other interpolations, where a linear reproduction says nothing about
 * the key, pass through unchanged. The result owns its data and keeps the input's duration,
 * targets and track order.
 */
QUILLMARSH_EXPORT Trade::AnimationData removeLinearlyRedundantKeyframes(const Trade::AnimationData& animation);

}

}}

#endif
