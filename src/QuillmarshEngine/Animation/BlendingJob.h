#ifndef QuillmarshEngine_Animation_BlendingJob_h
#define QuillmarshEngine_Animation_BlendingJob_h

/** @file
 * @brief Struct @ref QuillmarshEngine::Animation::BlendingJob
 */

#include <span>

#include "QuillmarshEngine/Animation/Animation.h"
#include "QuillmarshEngine/Animation/SoaTransform.h"
#include "QuillmarshEngine/Math/Vector4.h"

namespace QuillmarshEngine { namespace Animation {

/**
 * @brief Blends local poses into one
 *
 * Sizes count groups of four tracks (@ref SoaTransform); the rest pose decides how many are
 * processed, the rest of the output is left alone. Four stages:
 *
 * 1. Normal @ref layers in order. A layer with a weight of 0 or less is skipped. The weight of
 *    track j is the layer's weight, times `max(0, mask_j)` when the layer has
 *    @ref Layer::jointWeights. The first contributing layer sets the output to its pose times the
 *    weight (translation, rotation and scale alike); later ones add theirs, a rotation negated
 *    first when its dot product with the output's is negative, so that the sum takes the short
 *    arc. Weights are summed per track and in total.
 * 2. The rest pose fills what the layers leave below @ref threshold. Without masked layers: with
 *    `bp = threshold - total` above 0, the output becomes an exact copy of the rest pose when no
 *    layer contributed (and the total 1), else the rest pose is added with weight bp (and the
 *    total becomes the threshold). With masked layers the same happens per track with
 *    `max(0, threshold - sum_j)`, and each sum becomes at least the threshold.
 * 3. Normalization: translations and scales are divided by the total (or per-track sum), so the
 *    result is a weighted mean and the weights need not add up to 1; rotations are normalized.
 * 4. Additive @ref additiveLayers in order, on top: a layer with weight w_j > 0 adds its
 *    translation times w_j, multiplies the scale by `in*w_j + (1 - w_j)` and multiplies the
 *    rotation on the right by the rotation interpolated from the identity to the layer's
 *    (its w made non-negative first) by w_j and normalized; a negative weight does the inverse
 *    with |w_j| (subtracts, divides by the scale factor, multiplies by the conjugate). Additive
 *    weights are not clamped and don't count toward the threshold.
 */
struct QUILLMARSH_EXPORT BlendingJob {
    /** @brief One input pose */
    struct Layer {
        /** @brief Weight; a normal layer of weight 0 or less is skipped, an additive one of weight 0 */
        float weight = 0.0f;

        /** @brief The pose, at least as many groups of four tracks as the rest pose */
        std::span<const SoaTransform> transform;

        /**
         * @brief Optional weight of each track, four per group of four tracks
         *
         * Empty for none; otherwise at least as many as the rest pose has groups. Negative
         * values count as 0.
         */
        std::span<const Vector4> jointWeights;
    };

    /** @brief Weight below which the rest pose fills in; must be greater than 0 */
    float threshold = 0.1f;

    /** @brief Normal layers, possibly none */
    std::span<const Layer> layers;

    /** @brief Additive layers, possibly none */
    std::span<const Layer> additiveLayers;

    /** @brief Rest pose; its size is the number of groups processed, at most @ref MaxSoaTracks */
    std::span<const SoaTransform> restPose;

    /** @brief Where the blended pose goes; at least as large as the rest pose */
    std::span<SoaTransform> output;

    /**
     * @brief Whether the job can run
     *
     * False when the threshold is not greater than 0 (NaN included), when the rest pose is empty
     * or longer than @ref MaxSoaTracks groups, when the output is shorter than the rest pose, or
     * when any layer's pose, or its non-empty joint weights, is shorter than the rest pose.
     */
    bool Validate() const;

    /** @brief Blend; returns false, touching nothing, when @ref Validate() fails. Never allocates. */
    bool Run() const;
};

}}

#endif
