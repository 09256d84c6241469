#include <random>
#include <sstream>

#include <gtest/gtest.h>
#include <glm/glm.hpp>
#include <glm/gtc/quaternion.hpp>

#include "QuillmarshEngine/Debug.h"
#include "Printers.h"
#include "QuillmarshEngine/Math/Constants.h"
#include "QuillmarshEngine/Math/Quaternion.h"

namespace QuillmarshEngine { namespace {

/* GLM stores w first and constructs quat(w, x, y, z) */
glm::quat toGlm(const Quaternion& q) { return glm::quat{q.w(), q.x(), q.y(), q.z()}; }
Quaternion fromGlm(const glm::quat& q) { return {{q.x, q.y, q.z}, q.w}; }

Vector3 randomVector(std::mt19937& rng) {
    std::uniform_real_distribution<float> value{-10.0f, 10.0f};
    return {value(rng), value(rng), value(rng)};
}
Quaternion randomRotation(std::mt19937& rng) {
    std::uniform_real_distribution<float> angle{-6.0f, 6.0f};
    return Quaternion::rotation(angle(rng), randomVector(rng).normalized());
}

TEST(QuaternionTest, construct) {
    constexpr Quaternion identity;
    static_assert(identity.w() == 1.0f && identity.x() == 0.0f);
    EXPECT_EQ(Quaternion{Math::ZeroInit}.dot(), 0.0f);
    const Quaternion q{{1.0f, 2.0f, 3.0f}, 4.0f};
    /* Stored x, y, z, w */
    EXPECT_EQ(q.data()[0], 1.0f);
    EXPECT_EQ(q.data()[3], 4.0f);
    EXPECT_EQ(Quaternion{Math::Quaternion<double>{q}}, q);
    EXPECT_EQ((Quaternion{Vector3{1.0f, 2.0f, 3.0f}}).w(), 0.0f);
    EXPECT_NE(q, (Quaternion{{1.0f, 2.0f, 3.0f}, 4.001f}));
}

TEST(QuaternionTest, productAgainstGlm) {
    std::mt19937 rng{5};
    for(int i = 0; i != 100; ++i) {
        /* Non-unit ones too: the product is bilinear */
        const Quaternion a = randomRotation(rng)*2.5f;
        const Quaternion b = randomRotation(rng);
        EXPECT_EQ(a*b, fromGlm(toGlm(a)*toGlm(b)));
        EXPECT_TRUE(Math::equals(Math::dot(a, b), glm::dot(toGlm(a), toGlm(b))));
    }
}

TEST(QuaternionTest, rotationMatchesMatrix) {
    std::mt19937 rng{7};
    for(int i = 0; i != 200; ++i) {
        const Quaternion q = randomRotation(rng);
        const Vector3 v = randomVector(rng);
        const Matrix3x3 m = q.toMatrix();
        EXPECT_EQ(q.transformVectorNormalized(v), m*v);
        EXPECT_EQ(q.transformVector(v), m*v);
        /* The general version also handles non-unit quaternions */
        EXPECT_EQ((q*3.0f).transformVector(v), m*v);

        const glm::mat3 gm = glm::mat3_cast(toGlm(q));
        for(int c = 0; c != 3; ++c)
            EXPECT_EQ(m[c], (Vector3{gm[c][0], gm[c][1], gm[c][2]}));

        /* Back from the matrix, up to the sign */
        const Quaternion back = Quaternion::fromMatrix(m);
        EXPECT_TRUE(back == q || back == -q) << i;
    }
    /* Every branch of the extraction: trace > 0 and each largest diagonal element */
    for(const Vector3& axis: {Vector3::xAxis(), Vector3::yAxis(), Vector3::zAxis()}) {
        const Quaternion q = Quaternion::rotation(3.0f, axis);
        EXPECT_EQ(Quaternion::fromMatrix(q.toMatrix()), q);
    }
}

TEST(QuaternionTest, axisAngle) {
    const float pi = Math::Constants<float>::pi();
    const Quaternion q = Quaternion::rotation(pi/2.0f, Vector3::zAxis());
    EXPECT_EQ(q, (Quaternion{{0.0f, 0.0f, Math::Constants<float>::sqrtHalf()}, Math::Constants<float>::sqrtHalf()}));
    EXPECT_EQ(q.transformVectorNormalized(Vector3::xAxis()), Vector3::yAxis());
    EXPECT_NEAR(q.angle(), pi/2.0f, 1e-6f);
    EXPECT_EQ(q.axis(), Vector3::zAxis());
    const glm::quat g = glm::angleAxis(1.0f, glm::vec3{0.0f, 0.6f, 0.8f});
    EXPECT_EQ(Quaternion::rotation(1.0f, {0.0f, 0.6f, 0.8f}), fromGlm(g));
}

TEST(QuaternionTest, inverse) {
    std::mt19937 rng{11};
    for(int i = 0; i != 50; ++i) {
        const Quaternion unit = randomRotation(rng);
        EXPECT_EQ(unit*unit.inverted(), Quaternion{});
        EXPECT_EQ(unit*unit.invertedNormalized(), Quaternion{});
        EXPECT_EQ(unit.inverted(), unit.conjugated());
        /* A non-unit quaternion needs the general inverse; the conjugate is off by the squared length */
        const Quaternion scaled = unit*0.3f;
        EXPECT_EQ(scaled*scaled.inverted(), Quaternion{});
        EXPECT_EQ(scaled.inverted()*scaled, Quaternion{});
        EXPECT_NE(scaled*scaled.conjugated(), Quaternion{});
        EXPECT_EQ(scaled.normalized(), unit);
        EXPECT_TRUE(scaled.normalized().isNormalized());
        EXPECT_FALSE(scaled.isNormalized());
    }
}

TEST(QuaternionTest, rotationBetweenVectors) {
    std::mt19937 rng{13};
    for(int i = 0; i != 50; ++i) {
        const Vector3 from = randomVector(rng).normalized();
        const Vector3 to = randomVector(rng).normalized();
        /* Close to opposite directions, 1 + cos(angle) loses most of its precision in float */
        if(Math::dot(from, to) < -0.99f) continue;
        const Quaternion q = Quaternion::rotation(from, to);
        EXPECT_TRUE(q.isNormalized());
        EXPECT_EQ(q.transformVectorNormalized(from), to);
    }
    EXPECT_EQ(Quaternion::rotation(Vector3::xAxis(), Vector3::xAxis()), Quaternion{});
    /* Opposite vectors: a half turn around an axis perpendicular to them */
    for(const Vector3& from: {Vector3::xAxis(), Vector3::yAxis(), Vector3{0.0f, 0.6f, -0.8f}}) {
        const Quaternion q = Quaternion::rotation(from, -from);
        EXPECT_EQ(q.w(), 0.0f);
        EXPECT_EQ(q.transformVectorNormalized(from), -from);
    }
}

TEST(QuaternionTest, interpolation) {
    const Quaternion a = Quaternion::rotation(0.2f, Vector3::xAxis());
    const Quaternion b = Quaternion::rotation(1.4f, Vector3{0.0f, 0.6f, 0.8f});
    for(const float t: {0.0f, 0.25f, 0.5f, 0.9f, 1.0f}) {
        /* GLM's slerp takes the shortest path, and so does ours for a positive dot product */
        EXPECT_EQ(Math::slerp(a, b, t), fromGlm(glm::slerp(toGlm(a), toGlm(b), t))) << t;
        EXPECT_EQ(Math::slerpShortestPath(a, b, t), fromGlm(glm::slerp(toGlm(a), toGlm(b), t))) << t;
        EXPECT_EQ(Math::lerp(a, b, t), fromGlm(glm::normalize(glm::lerp(toGlm(a), toGlm(b), t)))) << t;
        EXPECT_TRUE(Math::slerp(a, b, t).isNormalized());
    }
    EXPECT_EQ(Math::slerp(a, b, 0.0f), a);
    EXPECT_EQ(Math::slerp(a, b, 1.0f), b);
    /* Halfway along a single axis is the half angle */
    EXPECT_EQ(Math::slerp(a, Quaternion::rotation(1.0f, Vector3::xAxis()), 0.5f), Quaternion::rotation(0.6f, Vector3::xAxis()));

    /* With a negative dot product the plain versions take the long way, the shortest-path ones
       negate a: the results describe different rotations */
    const Quaternion negB = -b;
    EXPECT_EQ(Math::slerpShortestPath(a, negB, 0.5f), -Math::slerp(a, b, 0.5f));
    EXPECT_NE(Math::slerp(a, negB, 0.5f), Math::slerp(a, b, 0.5f));
    EXPECT_NE(Math::slerp(a, negB, 0.5f), -Math::slerp(a, b, 0.5f));
    EXPECT_EQ(Math::lerpShortestPath(a, negB, 0.5f), -Math::lerp(a, b, 0.5f));
    EXPECT_NE(Math::lerp(a, negB, 0.5f), -Math::lerp(a, b, 0.5f));

    /* Nearly parallel: the linear fallback, no normalization */
    const Quaternion c = Quaternion::rotation(0.2f + 1.0e-4f, Vector3::xAxis());
    EXPECT_EQ(Math::slerp(a, c, 0.5f), a*0.5f + c*0.5f);
    EXPECT_EQ(Math::slerp(a, -a, 0.5f), -a);
    EXPECT_NEAR(Math::halfAngle(a, b), std::acos(Math::dot(a, b)), 1e-6f);
    EXPECT_EQ(Math::halfAngle(a, a), 0.0f);
}

TEST(QuaternionTest, debugOutput) {
    std::ostringstream out;
    Debug{&out} << Quaternion{{1.0f, -2.5f, 0.0f}, 0.125f};
    EXPECT_EQ(out.str(), "Quaternion({1, -2.5, 0}, 0.125)\n");
}

TEST(QuaternionDeathTest, notNormalized) {
    EXPECT_DEATH(Quaternion::rotation(1.0f, {0.0f, 2.0f, 0.0f}),
        "^Math::Quaternion::rotation\\(\\): axis Vector\\(0, 2, 0\\) is not normalized\n$");
    EXPECT_DEATH(Math::slerp(Quaternion{}, Quaternion{}*2.0f, 0.5f),
        "^Math::slerp\\(\\): quaternions Quaternion\\(\\{0, 0, 0\\}, 1\\) and Quaternion\\(\\{0, 0, 0\\}, 2\\) are not normalized\n$");
    EXPECT_DEATH(Math::lerp(Quaternion{}*2.0f, Quaternion{}, 0.5f), "^Math::lerp\\(\\): quaternions");
    EXPECT_DEATH(Quaternion::fromMatrix(Matrix3x3{Math::IdentityInit, 2.0f}),
        "^Math::Quaternion::fromMatrix\\(\\): the matrix is not a rotation, determinant 8\n$");
}

}}
