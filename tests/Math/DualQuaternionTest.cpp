#include <random>
#include <sstream>

#include <gtest/gtest.h>
#include <glm/glm.hpp>
#include <glm/gtc/matrix_transform.hpp>

#include "QuillmarshEngine/Debug.h"
#include "Printers.h"
#include "QuillmarshEngine/Math/Constants.h"
#include "QuillmarshEngine/Math/DualQuaternion.h"

namespace QuillmarshEngine { namespace {

Vector3 randomVector(std::mt19937& rng, float range = 10.0f) {
    std::uniform_real_distribution<float> value{-range, range};
    return {value(rng), value(rng), value(rng)};
}

struct RigidTransform {
    float angle;
    Vector3 axis;
    Vector3 translation;

    DualQuaternion dualQuaternion() const {
        return DualQuaternion::fromTranslation(translation)*DualQuaternion::rotation(angle, axis);
    }
    /* The same transformation built independently, with GLM */
    glm::mat4 matrix() const {
        return glm::rotate(glm::translate(glm::mat4{1.0f}, {translation.x(), translation.y(), translation.z()}),
            angle, {axis.x(), axis.y(), axis.z()});
    }
};

RigidTransform randomRigid(std::mt19937& rng) {
    std::uniform_real_distribution<float> angle{-6.0f, 6.0f};
    return {angle(rng), randomVector(rng).normalized(), randomVector(rng)};
}

::testing::AssertionResult near(const Matrix4& a, const glm::mat4& b, float tolerance) {
    for(int c = 0; c != 4; ++c)
        for(int r = 0; r != 4; ++r)
            if(!(std::abs(a[c][r] - b[c][r]) <= tolerance))
                return ::testing::AssertionFailure() << "m[" << c << "][" << r << "]: " << a[c][r] << " vs " << b[c][r];
    return ::testing::AssertionSuccess();
}

TEST(DualQuaternionTest, construct) {
    constexpr DualQuaternion identity;
    static_assert(identity.real().w() == 1.0f && identity.dual().w() == 0.0f);
    const DualQuaternion d{{{1.0f, 2.0f, 3.0f}, 4.0f}, {{5.0f, 6.0f, 7.0f}, 8.0f}};
    /* Real part first, then the dual part, x y z w each */
    EXPECT_EQ(d.data()[3], 4.0f);
    EXPECT_EQ(d.data()[4], 5.0f);
    EXPECT_EQ(d.data()[7], 8.0f);
    EXPECT_EQ(DualQuaternion{Math::DualQuaternion<double>{d}}, d);
    EXPECT_EQ(DualQuaternion{Math::ZeroInit}.real().w(), 0.0f);
    /* translation(t) = [0, 0, 0, 1] + E[t/2, 0] */
    EXPECT_EQ(DualQuaternion::fromTranslation({2.0f, 4.0f, -6.0f}), (DualQuaternion{{}, {{1.0f, 2.0f, -3.0f}, 0.0f}}));
    EXPECT_EQ(DualQuaternion::translation({2.0f, 4.0f, -6.0f}), DualQuaternion::fromTranslation({2.0f, 4.0f, -6.0f}));
}

TEST(DualQuaternionTest, compositionMatchesMatrices) {
    std::mt19937 rng{3};
    for(int i = 0; i != 200; ++i) {
        const RigidTransform a = randomRigid(rng);
        const RigidTransform b = randomRigid(rng);
        const DualQuaternion product = a.dualQuaternion()*b.dualQuaternion();
        EXPECT_TRUE(near(product.toMatrix(), a.matrix()*b.matrix(), 2e-5f*40.0f)) << i;
        EXPECT_TRUE(product.isNormalized());
        /* Points: rotation and translation; vectors: rotation only */
        const Vector3 p = randomVector(rng);
        const glm::vec4 gp = a.matrix()*b.matrix()*glm::vec4{p.x(), p.y(), p.z(), 1.0f};
        const glm::vec4 gv = a.matrix()*b.matrix()*glm::vec4{p.x(), p.y(), p.z(), 0.0f};
        EXPECT_TRUE(Math::abs(product.transformPointNormalized(p) - Vector3{gp.x, gp.y, gp.z}).max() < 1e-3f) << i;
        EXPECT_TRUE(Math::abs(product.transformPoint(p) - Vector3{gp.x, gp.y, gp.z}).max() < 1e-3f) << i;
        EXPECT_TRUE(Math::abs(product.transformVectorNormalized(p) - Vector3{gv.x, gv.y, gv.z}).max() < 1e-4f) << i;
        EXPECT_TRUE(Math::abs(product.transformVector(p) - Vector3{gv.x, gv.y, gv.z}).max() < 1e-4f) << i;
    }
}

TEST(DualQuaternionTest, translationAndRotation) {
    std::mt19937 rng{9};
    for(int i = 0; i != 100; ++i) {
        const RigidTransform t = randomRigid(rng);
        const Quaternion r = Quaternion::rotation(t.angle, t.axis);
        const DualQuaternion d = DualQuaternion::fromTranslation(t.translation)*DualQuaternion::fromRotation(r);
        EXPECT_EQ(d.translation(), t.translation);
        EXPECT_EQ(d.rotation(), r);
        EXPECT_EQ(DualQuaternion::from(r, t.translation), d);
        /* Matrix round trip, up to the sign of the whole dual quaternion */
        const DualQuaternion back = DualQuaternion::fromMatrix(d.toMatrix());
        EXPECT_TRUE(back == d || back == -d) << i;
    }
    /* The other order rotates the translation */
    const DualQuaternion rotatedFirst = DualQuaternion::rotation(Math::Constants<float>::pi()/2.0f, Vector3::zAxis())*
        DualQuaternion::fromTranslation({1.0f, 0.0f, 0.0f});
    EXPECT_EQ(rotatedFirst.translation(), (Vector3{0.0f, 1.0f, 0.0f}));
}

TEST(DualQuaternionTest, inverse) {
    std::mt19937 rng{21};
    for(int i = 0; i != 100; ++i) {
        const DualQuaternion unit = randomRigid(rng).dualQuaternion();
        EXPECT_EQ(unit*unit.inverted(), DualQuaternion{});
        EXPECT_EQ(unit.inverted()*unit, DualQuaternion{});
        EXPECT_EQ(unit*unit.invertedNormalized(), DualQuaternion{});
        EXPECT_EQ(unit.inverted(), unit.invertedNormalized());

        /* A non-unit one (a scaled real part, like an object transform that was not
           renormalized): only the general inverse gives the identity */
        const DualQuaternion scaled = unit*1.7f;
        EXPECT_FALSE(scaled.isNormalized());
        EXPECT_EQ(scaled*scaled.inverted(), DualQuaternion{}) << i;
        EXPECT_EQ(scaled.inverted()*scaled, DualQuaternion{}) << i;
        EXPECT_NE(scaled*scaled.invertedNormalized(), DualQuaternion{});
        /* ... and one whose dual part is not perpendicular to the real part */
        const DualQuaternion skewed{unit.real(), unit.dual() + unit.real()*0.25f};
        EXPECT_FALSE(skewed.isNormalized());
        EXPECT_EQ(skewed*skewed.inverted(), DualQuaternion{}) << i;

        /* Normalizing recovers a unit dual quaternion; the scaled one gets the original back */
        EXPECT_EQ(scaled.normalized(), unit);
        EXPECT_TRUE(skewed.normalized().isNormalized());
        /* The general point transformation does not care about the length */
        const Vector3 p = randomVector(rng);
        EXPECT_TRUE(Math::abs(scaled.transformPoint(p) - unit.transformPointNormalized(p)).max() < 1e-3f) << i;
    }
}

TEST(DualQuaternionTest, conjugatesAndLength) {
    const DualQuaternion d{{{1.0f, 2.0f, 3.0f}, 4.0f}, {{5.0f, 6.0f, 7.0f}, 8.0f}};
    EXPECT_EQ(d.quaternionConjugated(), (DualQuaternion{{{-1.0f, -2.0f, -3.0f}, 4.0f}, {{-5.0f, -6.0f, -7.0f}, 8.0f}}));
    EXPECT_EQ(d.dualConjugated(), (DualQuaternion{{{1.0f, 2.0f, 3.0f}, 4.0f}, {{-5.0f, -6.0f, -7.0f}, -8.0f}}));
    EXPECT_EQ(d.conjugated(), (DualQuaternion{{{-1.0f, -2.0f, -3.0f}, 4.0f}, {{5.0f, 6.0f, 7.0f}, -8.0f}}));
    /* (q0.q0) + E 2(q0.qe) = 30 + E 2*70 */
    EXPECT_EQ(d.lengthSquared(), (Math::Dual<float>{30.0f, 140.0f}));
    EXPECT_EQ(d.length()*d.length(), d.lengthSquared());
    /* Dual numbers: E*E = 0 */
    EXPECT_EQ((Math::Dual<float>{0.0f, 1.0f}*Math::Dual<float>{0.0f, 1.0f}), Math::Dual<float>{});
    const Math::Dual<float> a{3.0f, 2.0f}, b{2.0f, 1.0f};
    EXPECT_EQ((a/b)*b, a);
}

TEST(DualQuaternionTest, screwInterpolation) {
    const float pi = Math::Constants<float>::pi();
    /* Half a screw: half the rotation and half the advance along the axis */
    const DualQuaternion screw = DualQuaternion::fromTranslation({0.0f, 0.0f, 4.0f})*DualQuaternion::rotation(pi/2.0f, Vector3::zAxis());
    EXPECT_EQ(Math::sclerp(DualQuaternion{}, screw, 0.5f),
        DualQuaternion::fromTranslation({0.0f, 0.0f, 2.0f})*DualQuaternion::rotation(pi/4.0f, Vector3::zAxis()));
    /* A rotation around an axis through (1, 0, 0): the point on the axis stays, the origin moves
       along the arc, not along the chord */
    const DualQuaternion aroundPoint = DualQuaternion::fromTranslation({1.0f, 0.0f, 0.0f})*
        DualQuaternion::rotation(pi, Vector3::zAxis())*DualQuaternion::fromTranslation({-1.0f, 0.0f, 0.0f});
    const DualQuaternion half = Math::sclerp(DualQuaternion{}, aroundPoint, 0.5f);
    EXPECT_EQ(half.transformPointNormalized({1.0f, 0.0f, 0.0f}), (Vector3{1.0f, 0.0f, 0.0f}));
    EXPECT_EQ(half.transformPointNormalized({}), (Vector3{1.0f, -1.0f, 0.0f}));

    std::mt19937 rng{31};
    for(int i = 0; i != 50; ++i) {
        const DualQuaternion a = randomRigid(rng).dualQuaternion();
        DualQuaternion b = randomRigid(rng).dualQuaternion();
        if(Math::dot(a.real(), b.real()) < 0.0f) b = -b;
        EXPECT_EQ(Math::sclerp(a, b, 0.0f), a) << i;
        EXPECT_EQ(Math::sclerp(a, b, 1.0f), b) << i;
        /* The rotation follows slerp */
        const DualQuaternion c = Math::sclerp(a, b, 0.3f);
        EXPECT_TRUE(c.isNormalized());
        EXPECT_EQ(c.real(), Math::slerp(a.real(), b.real(), 0.3f)) << i;
        /* B and -B are the same transformation; the shortest path does not care which is given */
        EXPECT_EQ(Math::sclerpShortestPath(a, -b, 0.3f), c) << i;
    }
    /* Parallel rotations: the translation is interpolated linearly */
    const DualQuaternion r = DualQuaternion::rotation(0.7f, Vector3::yAxis());
    EXPECT_EQ(Math::sclerp(DualQuaternion::fromTranslation({2.0f, 0.0f, 0.0f})*r, DualQuaternion::fromTranslation({4.0f, 2.0f, 0.0f})*r, 0.25f),
        DualQuaternion::fromTranslation({2.5f, 0.5f, 0.0f})*r);
}

TEST(DualQuaternionTest, debugOutput) {
    std::ostringstream out;
    Debug{&out} << DualQuaternion{{{1.0f, 2.0f, 3.0f}, 4.0f}, {{0.5f, -6.0f, 7.0f}, 8.0f}};
    EXPECT_EQ(out.str(), "DualQuaternion({{1, 2, 3}, 4}, {{0.5, -6, 7}, 8})\n");
}

TEST(DualQuaternionDeathTest, fromMatrixNotRigid) {
    EXPECT_DEATH(DualQuaternion::fromMatrix(Matrix4::scaling({1.0f, 2.0f, 1.0f})),
        "^Math::DualQuaternion::fromMatrix\\(\\): the matrix doesn't represent a rigid transformation\n$");
}

}}
