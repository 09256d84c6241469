#include <gtest/gtest.h>

#include <cstring>
#include <limits>

#include "QuillmarshEngine/Animation/BlendingJob.h"

namespace QuillmarshEngine { namespace Animation { namespace {

SoaTransform pose(const Transform& transform) {
    SoaTransform out = SoaTransform::identity();
    for(std::size_t i = 0; i != 4; ++i) setTransformAt({&out, 1}, i, transform);
    return out;
}

const Transform A{Vector3{1.0f, 2.0f, 3.0f}, Quaternion::rotation(0.8f, Vector3::xAxis()), Vector3{2.0f, 2.0f, 2.0f}};
const Transform B{Vector3{-3.0f, 0.0f, 1.0f}, Quaternion::rotation(-0.4f, Vector3::yAxis()), Vector3{1.0f, 4.0f, 0.5f}};
const Transform Rest{Vector3{0.0f, 10.0f, 0.0f}, Quaternion::rotation(1.0f, Vector3::zAxis()), Vector3{1.0f}};

/* Normalized weighted sum, the hemisphere of b flipped to a's */
Quaternion blended(const Quaternion& a, float wa, Quaternion b, float wb) {
    if(Math::dot(a, b) < 0.0f) b = -b;
    return (a*wa + b*wb).normalized();
}

struct Blend {
    SoaTransform a = pose(A), b = pose(B), rest = pose(Rest);
    SoaTransform output[2];
    BlendingJob::Layer layers[2];
    BlendingJob job;

    Blend() {
        std::memset(output, 0x5a, sizeof(output));
        layers[0].transform = {&a, 1};
        layers[1].transform = {&b, 1};
        job.restPose = {&rest, 1};
        job.output = output;
    }

    Transform run(std::size_t lane = 0) {
        EXPECT_TRUE(job.Run());
        return transformAt(output, lane);
    }
};

TEST(BlendingJobTest, validate) {
    Blend blend;
    EXPECT_TRUE(blend.job.Validate());
    for(const float threshold: {0.0f, -1.0f, std::numeric_limits<float>::quiet_NaN()}) {
        blend.job.threshold = threshold;
        EXPECT_FALSE(blend.job.Validate()) << threshold;
    }
    blend.job.threshold = 0.1f;

    blend.job.layers = blend.layers;
    EXPECT_TRUE(blend.job.Validate());
    blend.layers[1].transform = {};
    EXPECT_FALSE(blend.job.Validate());
    blend.job.layers = {blend.layers, 1};
    blend.job.additiveLayers = {blend.layers + 1, 1};
    EXPECT_FALSE(blend.job.Validate());
    blend.layers[1].transform = {&blend.b, 1};
    EXPECT_TRUE(blend.job.Validate());
    /* Joint weights are optional, but not short */
    Vector4 weights[1]{};
    blend.layers[0].jointWeights = {weights, 1};
    EXPECT_TRUE(blend.job.Validate());
    blend.layers[0].jointWeights = {weights, 0};
    EXPECT_TRUE(blend.job.Validate());
    SoaTransform rest[2]{blend.rest, blend.rest};
    blend.job.restPose = rest;
    EXPECT_FALSE(blend.job.Validate());
    blend.job.restPose = {};
    EXPECT_FALSE(blend.job.Validate());
    blend.job.restPose = {&blend.rest, 1};
    blend.job.output = {blend.output, 0};
    EXPECT_FALSE(blend.job.Validate());

    /* More groups than the per-track weight sums have room for */
    std::vector<SoaTransform> large(MaxSoaTracks + 1, blend.rest);
    blend.job = BlendingJob{};
    blend.job.restPose = large;
    blend.job.output = large;
    EXPECT_FALSE(blend.job.Validate());
    blend.job.restPose = {large.data(), std::size_t(MaxSoaTracks)};
    EXPECT_TRUE(blend.job.Validate());
    EXPECT_TRUE(blend.job.Run());
}

TEST(BlendingJobTest, invalidTouchesNothing) {
    Blend blend;
    blend.job.threshold = 0.0f;
    EXPECT_FALSE(blend.job.Run());
    EXPECT_EQ(reinterpret_cast<unsigned char*>(blend.output)[0], 0x5a);
}

TEST(BlendingJobTest, restPoseOnly) {
    Blend blend;
    /* Not normalized: the copy is normalized like any other result */
    blend.rest.rotation = SoaQuaternion::splat(Rest.rotation*2.0f);
    const Transform out = blend.run(2);
    EXPECT_EQ(out.translation, Rest.translation);
    EXPECT_EQ(out.rotation, Rest.rotation);
    EXPECT_EQ(out.scale, Rest.scale);
    /* Only the rest pose's size is processed */
    EXPECT_EQ(reinterpret_cast<unsigned char*>(&blend.output[1])[0], 0x5a);

    /* Layers that don't contribute change nothing */
    blend.layers[0].weight = 0.0f;
    blend.layers[1].weight = -2.0f;
    blend.job.layers = blend.layers;
    EXPECT_EQ(blend.run().translation, Rest.translation);
}

TEST(BlendingJobTest, weightedMean) {
    Blend blend;
    blend.job.layers = blend.layers;
    blend.layers[0].weight = 2.0f;
    blend.layers[1].weight = 3.0f;
    const Transform out = blend.run(1);
    EXPECT_EQ(out.translation, A.translation*0.4f + B.translation*0.6f);
    EXPECT_EQ(out.scale, A.scale*0.4f + B.scale*0.6f);
    EXPECT_EQ(out.rotation, blended(A.rotation, 0.4f, B.rotation, 0.6f));

    /* A layer's rotation in the other hemisphere is the same rotation */
    blend.b.rotation = SoaQuaternion::splat(-B.rotation);
    EXPECT_EQ(blend.run(1).rotation, blended(A.rotation, 0.4f, B.rotation, 0.6f));

    /* One layer alone is itself, whatever its weight */
    blend.layers[1].weight = 0.0f;
    const Transform single = blend.run(3);
    EXPECT_EQ(single.translation, A.translation);
    EXPECT_EQ(single.rotation, A.rotation);
    EXPECT_EQ(single.scale, A.scale);
}

TEST(BlendingJobTest, threshold) {
    Blend blend;
    blend.job.layers = {blend.layers, 1};
    /* Half the threshold: the rest pose takes the other half */
    blend.layers[0].weight = 0.05f;
    Transform out = blend.run();
    EXPECT_EQ(out.translation, A.translation*0.5f + Rest.translation*0.5f);
    EXPECT_EQ(out.scale, A.scale*0.5f + Rest.scale*0.5f);
    EXPECT_EQ(out.rotation, blended(A.rotation, 0.5f, Rest.rotation, 0.5f));
    /* At the threshold the layer is all there is */
    blend.layers[0].weight = 0.1f;
    out = blend.run();
    EXPECT_EQ(out.translation, A.translation);
    blend.job.threshold = 0.4f;
    blend.layers[0].weight = 0.1f;
    EXPECT_EQ(blend.run().translation, A.translation*0.25f + Rest.translation*0.75f);
}

TEST(BlendingJobTest, jointWeights) {
    Blend blend;
    blend.job.layers = blend.layers;
    blend.layers[0].weight = 1.0f;
    blend.layers[1].weight = 1.0f;
    /* Lane 0 only A, lane 1 only B, lane 2 A and B alike, lane 3 neither (negative counts as 0) */
    const Vector4 maskA[1]{Vector4{1.0f, 0.0f, 0.5f, 0.0f}};
    const Vector4 maskB[1]{Vector4{0.0f, 1.0f, 0.5f, -1.0f}};
    blend.layers[0].jointWeights = maskA;
    blend.layers[1].jointWeights = maskB;
    EXPECT_EQ(blend.run(0).translation, A.translation);
    EXPECT_EQ(blend.run(0).rotation, A.rotation);
    EXPECT_EQ(blend.run(1).translation, B.translation);
    EXPECT_EQ(blend.run(1).scale, B.scale);
    EXPECT_EQ(blend.run(2).translation, A.translation*0.5f + B.translation*0.5f);
    EXPECT_EQ(blend.run(2).rotation, blended(A.rotation, 0.5f, B.rotation, 0.5f));
    const Transform rest = blend.run(3);
    EXPECT_EQ(rest.translation, Rest.translation);
    EXPECT_EQ(rest.rotation, Rest.rotation);
    EXPECT_EQ(rest.scale, Rest.scale);

    /* A masked layer below the threshold on one lane mixes in the rest pose there only */
    const Vector4 small[1]{Vector4{0.05f, 1.0f, 1.0f, 1.0f}};
    blend.layers[0].jointWeights = small;
    blend.job.layers = {blend.layers, 1};
    EXPECT_EQ(blend.run(0).translation, A.translation*0.5f + Rest.translation*0.5f);
    EXPECT_EQ(blend.run(1).translation, A.translation);
}

TEST(BlendingJobTest, additive) {
    Blend blend;
    blend.job.layers = {blend.layers, 1};
    blend.layers[0].weight = 1.0f;
    BlendingJob::Layer additive[1];
    additive[0].transform = {&blend.b, 1};
    additive[0].weight = 1.0f;
    blend.job.additiveLayers = additive;
    Transform out = blend.run();
    EXPECT_EQ(out.translation, A.translation + B.translation);
    EXPECT_EQ(out.scale, A.scale*B.scale);
    /* The delta applies on the right of the pose */
    EXPECT_EQ(out.rotation, A.rotation*B.rotation);
    EXPECT_FALSE(out.rotation == B.rotation*A.rotation);

    /* Half a layer: half the translation, the scale factor halfway from 1, the rotation halfway
       from the identity by normalized lerp */
    additive[0].weight = 0.5f;
    out = blend.run();
    EXPECT_EQ(out.translation, A.translation + B.translation*0.5f);
    EXPECT_EQ(out.scale, A.scale*(B.scale*0.5f + Vector3{0.5f}));
    EXPECT_EQ(out.rotation, A.rotation*(Quaternion{B.rotation.vector()*0.5f, (B.rotation.w() - 1.0f)*0.5f + 1.0f}.normalized()));

    /* A delta with negative w is taken in the other hemisphere */
    blend.b.rotation = SoaQuaternion::splat(-B.rotation);
    EXPECT_EQ(blend.run().rotation, out.rotation);

    /* A negative weight undoes a positive one */
    additive[0].weight = 0.7f;
    BlendingJob::Layer both[2]{additive[0], additive[0]};
    both[1].weight = -0.7f;
    blend.job.additiveLayers = both;
    out = blend.run();
    EXPECT_EQ(out.translation, A.translation);
    EXPECT_EQ(out.rotation, A.rotation);
    EXPECT_EQ(out.scale, A.scale);

    /* On the rest pose when no normal layer contributes; weight 0 is skipped */
    blend.job.layers = {};
    both[1].weight = 0.0f;
    both[0].weight = 1.0f;
    out = blend.run();
    EXPECT_EQ(out.translation, Rest.translation + B.translation);
    EXPECT_EQ(out.rotation, Rest.rotation*B.rotation);

    /* Masked per track */
    const Vector4 mask[1]{Vector4{1.0f, 0.0f, 0.0f, 0.0f}};
    both[0].jointWeights = mask;
    EXPECT_EQ(blend.run(0).translation, Rest.translation + B.translation);
    EXPECT_EQ(blend.run(1).translation, Rest.translation);
    EXPECT_EQ(blend.run(1).rotation, Rest.rotation);
}

}}}
