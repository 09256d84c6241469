#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <sstream>

#include <gtest/gtest.h>
#include <glm/glm.hpp>
#include <glm/gtc/matrix_transform.hpp>

#include "QuillmarshEngine/Debug.h"
#include "Printers.h"
#include "QuillmarshEngine/Math/Constants.h"
#include "QuillmarshEngine/Math/Matrix3.h"
#include "QuillmarshEngine/Math/Matrix4.h"

namespace QuillmarshEngine { namespace {

/* GLM is the independent oracle; it is column-major with m[column][row] too */
Matrix4 fromGlm(const glm::mat4& m) {
    Matrix4 out{Math::NoInit};
    for(int c = 0; c != 4; ++c)
        for(int r = 0; r != 4; ++r) out[c][r] = m[c][r];
    return out;
}
glm::mat4 toGlm(const Matrix4& m) {
    glm::mat4 out;
    for(int c = 0; c != 4; ++c)
        for(int r = 0; r != 4; ++r) out[c][r] = m[c][r];
    return out;
}

/* Element-wise comparison with an absolute tolerance, reporting the first difference */
::testing::AssertionResult near(const Matrix4& a, const Matrix4& b, float tolerance) {
    for(int c = 0; c != 4; ++c)
        for(int r = 0; r != 4; ++r)
            if(!(std::abs(a[c][r] - b[c][r]) <= tolerance))
                return ::testing::AssertionFailure() << "m[" << c << "][" << r << "]: " << a[c][r] << " vs " << b[c][r];
    return ::testing::AssertionSuccess();
}

Matrix4 randomMatrix(std::mt19937& rng) {
    std::uniform_real_distribution<float> value{-2.0f, 2.0f};
    Matrix4 m{Math::NoInit};
    for(int c = 0; c != 4; ++c)
        for(int r = 0; r != 4; ++r) m[c][r] = value(rng);
    return m;
}

TEST(MatrixTest, constructAndAccess) {
    constexpr Matrix4 identity;
    static_assert(identity[2][2] == 1.0f && identity[2][1] == 0.0f);
    EXPECT_EQ(Matrix4{Math::ZeroInit}.trace(), 0.0f);
    EXPECT_EQ((Matrix3{Math::IdentityInit, 2.0f}).diagonal(), Vector3{2.0f});

    const Matrix4 m{{1.0f, 2.0f, 3.0f, 4.0f}, {5.0f, 6.0f, 7.0f, 8.0f}, {9.0f, 10.0f, 11.0f, 12.0f}, {13.0f, 14.0f, 15.0f, 16.0f}};
    /* Column-major: data() walks the columns */
    EXPECT_EQ(m.data()[4], 5.0f);
    EXPECT_EQ(m.data()[7*1 + 7], 15.0f);
    EXPECT_EQ(m.row(1), (Vector4{2.0f, 6.0f, 10.0f, 14.0f}));
    EXPECT_EQ(m.transposed()[1], m.row(1));
    EXPECT_EQ(m.translation(), (Vector3{13.0f, 14.0f, 15.0f}));
    EXPECT_EQ(m.trace(), 34.0f);
    EXPECT_EQ(Matrix4::from(m.rotationScaling(), m.translation()).row(3), (Vector4{0.0f, 0.0f, 0.0f, 1.0f}));
    EXPECT_EQ((Matrix4{Math::Matrix4<double>{m}}), m);
    EXPECT_EQ(m + m, m*2.0f);
    EXPECT_EQ(m - m, Matrix4{Math::ZeroInit});
}

TEST(MatrixTest, productAndInverseAgainstGlm) {
    std::mt19937 rng{17};
    for(int i = 0; i != 200; ++i) {
        const Matrix4 a = randomMatrix(rng);
        const Matrix4 b = randomMatrix(rng);
        EXPECT_TRUE(near(a*b, fromGlm(toGlm(a)*toGlm(b)), 1e-5f));
        const Vector4 v{0.5f, -1.5f, 2.0f, 1.0f};
        const glm::vec4 gv = toGlm(a)*glm::vec4{0.5f, -1.5f, 2.0f, 1.0f};
        EXPECT_EQ(a*v, (Vector4{gv.x, gv.y, gv.z, gv.w}));
        EXPECT_NEAR(a.determinant(), glm::determinant(toGlm(a)), 1e-4f);

        /* Skip badly conditioned draws, where neither inverse is meaningful in float */
        if(std::abs(a.determinant()) < 0.1f) continue;
        EXPECT_TRUE(near(a.inverted(), fromGlm(glm::inverse(toGlm(a))), 1e-3f*std::max(1.0f, 1.0f/std::abs(a.determinant()))));
        EXPECT_TRUE(near(a*a.inverted(), Matrix4{}, 1e-4f));
        EXPECT_TRUE(near(a.inverted()*a, Matrix4{}, 1e-4f));
    }
    /* A 3x3 and a 2x2 inverse too */
    const Matrix3x3 m3{Vector3{2.0f, 0.0f, 1.0f}, Vector3{1.0f, 3.0f, 0.0f}, Vector3{0.0f, 1.0f, 4.0f}};
    EXPECT_EQ(m3.determinant(), 25.0f);
    EXPECT_EQ(m3*m3.inverted(), Matrix3x3{});
    const Matrix2x2 m2{Vector2{4.0f, 2.0f}, Vector2{7.0f, 6.0f}};
    EXPECT_EQ(m2.inverted(), (Matrix2x2{Vector2{0.6f, -0.2f}, Vector2{-0.7f, 0.4f}}));
}

TEST(MatrixTest, transformationsAgainstGlm) {
    const Vector3 axis = Vector3{1.0f, -2.0f, 0.5f}.normalized();
    const float angle = 1.2345f;
    EXPECT_TRUE(near(Matrix4::rotation(angle, axis),
        fromGlm(glm::rotate(glm::mat4{1.0f}, angle, glm::vec3{axis.x(), axis.y(), axis.z()})), 1e-6f));
    EXPECT_TRUE(near(Matrix4::rotationX(angle), Matrix4::rotation(angle, Vector3::xAxis()), 1e-6f));
    EXPECT_TRUE(near(Matrix4::rotationY(angle), Matrix4::rotation(angle, Vector3::yAxis()), 1e-6f));
    EXPECT_TRUE(near(Matrix4::rotationZ(angle), Matrix4::rotation(angle, Vector3::zAxis()), 1e-6f));
    EXPECT_TRUE(near(Matrix4::translation({1.0f, 2.0f, 3.0f}), fromGlm(glm::translate(glm::mat4{1.0f}, {1.0f, 2.0f, 3.0f})), 0.0f));
    EXPECT_TRUE(near(Matrix4::scaling({1.0f, 2.0f, 3.0f}), fromGlm(glm::scale(glm::mat4{1.0f}, {1.0f, 2.0f, 3.0f})), 0.0f));

    /* Counter-clockwise: a quarter turn around Z takes X to Y */
    EXPECT_EQ(Matrix4::rotationZ(Math::Constants<float>::pi()/2.0f).transformVector(Vector3::xAxis()), Vector3::yAxis());

    const Matrix4 rigid = Matrix4::translation({4.0f, -5.0f, 6.0f})*Matrix4::rotation(angle, axis);
    EXPECT_TRUE(rigid.isRigidTransformation());
    EXPECT_TRUE(near(rigid.invertedRigid(), rigid.inverted(), 1e-5f));
    EXPECT_EQ(rigid.transformPoint(rigid.invertedRigid().transformPoint({1.0f, 2.0f, 3.0f})), (Vector3{1.0f, 2.0f, 3.0f}));
    /* Vectors ignore the translation, points do not */
    EXPECT_EQ(Matrix4::translation({1.0f, 0.0f, 0.0f}).transformVector({0.0f, 1.0f, 0.0f}), (Vector3{0.0f, 1.0f, 0.0f}));
    EXPECT_EQ(Matrix4::translation({1.0f, 0.0f, 0.0f}).transformPoint({0.0f, 1.0f, 0.0f}), (Vector3{1.0f, 1.0f, 0.0f}));
    /* transformPoint divides by w */
    EXPECT_EQ(Matrix4::scaling({1.0f, 1.0f, 1.0f}).transformPoint({2.0f, 4.0f, 6.0f}), (Vector3{2.0f, 4.0f, 6.0f}));
    Matrix4 projective;
    projective[3][3] = 2.0f;
    EXPECT_EQ(projective.transformPoint({2.0f, 4.0f, 6.0f}), (Vector3{1.0f, 2.0f, 3.0f}));

    const Matrix4 scaled = rigid*Matrix4::scaling({2.0f, 3.0f, 4.0f});
    EXPECT_FALSE(scaled.isRigidTransformation());
    EXPECT_EQ(scaled.scaling(), (Vector3{2.0f, 3.0f, 4.0f}));
    EXPECT_TRUE(near(Matrix4::from(scaled.rotation(), {}), Matrix4::rotation(angle, axis), 1e-6f));

    /* lookAt is the object transform; its inverse is GLM's view matrix */
    const Vector3 eye{3.0f, 4.0f, 5.0f}, target{-1.0f, 0.5f, 0.0f}, up{0.0f, 1.0f, 0.0f};
    const Matrix4 object = Matrix4::lookAt(eye, target, up);
    EXPECT_TRUE(near(object.invertedRigid(), fromGlm(glm::lookAt(glm::vec3{3.0f, 4.0f, 5.0f}, glm::vec3{-1.0f, 0.5f, 0.0f}, glm::vec3{0.0f, 1.0f, 0.0f})), 1e-5f));
    EXPECT_EQ(object.translation(), eye);
    EXPECT_EQ(-object.backward(), (target - eye).normalized());

    /* 2D */
    const Matrix3 m2d = Matrix3::translation({1.0f, 2.0f})*Matrix3::rotation(Math::Constants<float>::pi()/2.0f);
    EXPECT_EQ(m2d.transformPoint({1.0f, 0.0f}), (Vector2{1.0f, 3.0f}));
    EXPECT_EQ(m2d.transformVector({1.0f, 0.0f}), (Vector2{0.0f, 1.0f}));
    EXPECT_EQ(m2d.invertedRigid()*m2d, Matrix3{});
    EXPECT_EQ((Matrix3::scaling({2.0f, 3.0f})).scaling(), (Vector2{2.0f, 3.0f}));
}

TEST(MatrixTest, projectionsAgainstGlm) {
    /* Perspective from the near-plane size equals GLM's symmetric frustum */
    EXPECT_TRUE(near(Matrix4::perspectiveProjection(Vector2{4.0f, 3.0f}, 0.5f, 100.0f),
        fromGlm(glm::frustum(-2.0f, 2.0f, -1.5f, 1.5f, 0.5f, 100.0f)), 1e-6f));
    /* Off-centre */
    EXPECT_TRUE(near(Matrix4::perspectiveProjection(Vector2{-1.0f, -2.0f}, Vector2{3.0f, 1.0f}, 0.5f, 50.0f),
        fromGlm(glm::frustum(-1.0f, 3.0f, -2.0f, 1.0f, 0.5f, 50.0f)), 1e-6f));
    /* The field of view is horizontal: GLM's vertical one is derived from it */
    const float fov = 1.4f, aspect = 16.0f/9.0f;
    const float verticalFov = 2.0f*std::atan(std::tan(fov*0.5f)/aspect);
    EXPECT_TRUE(near(Matrix4::perspectiveProjection(fov, aspect, 0.1f, 1000.0f),
        fromGlm(glm::perspective(verticalFov, aspect, 0.1f, 1000.0f)), 1e-4f));
    /* Infinite far plane */
    const Matrix4 infinite = Matrix4::perspectiveProjection(fov, aspect, 0.1f, std::numeric_limits<float>::infinity());
    EXPECT_EQ(infinite[2][2], -1.0f);
    EXPECT_EQ(infinite[3][2], -0.2f);
    EXPECT_EQ(infinite[2][3], -1.0f);
    EXPECT_TRUE(near(infinite, fromGlm(glm::infinitePerspective(verticalFov, aspect, 0.1f)), 1e-4f));
    /* Near and far planes map to -1 and +1 */
    const Matrix4 p = Matrix4::perspectiveProjection(Vector2{2.0f, 2.0f}, 1.0f, 10.0f);
    EXPECT_NEAR(p.transformPoint({0.0f, 0.0f, -1.0f}).z(), -1.0f, 1e-6f);
    EXPECT_NEAR(p.transformPoint({0.0f, 0.0f, -10.0f}).z(), 1.0f, 1e-6f);

    EXPECT_TRUE(near(Matrix4::orthographicProjection(Vector2{4.0f, 3.0f}, 0.5f, 100.0f),
        fromGlm(glm::ortho(-2.0f, 2.0f, -1.5f, 1.5f, 0.5f, 100.0f)), 1e-6f));
    EXPECT_TRUE(near(Matrix4::orthographicProjection(Vector2{-1.0f, -2.0f}, Vector2{3.0f, 1.0f}, -5.0f, 50.0f),
        fromGlm(glm::ortho(-1.0f, 3.0f, -2.0f, 1.0f, -5.0f, 50.0f)), 1e-6f));
    /* m[3][2] is computed as near*2/(near - far) - 1 */
    EXPECT_EQ(Matrix4::orthographicProjection(Vector2{2.0f, 2.0f}, 1.0f, 3.0f)[3][2], -2.0f);
}

TEST(MatrixTest, perspectiveProjectionIsBitExact) {
    /* Bit patterns of the math library's results, whose order of operations is
       size = 2*near*tan(fov/2)*(1, 1/aspect) and the z terms through zScale = 1/(near - far).
       Dividing by the aspect ratio or by near - far instead is one ulp off in each of these. */
    const struct {
        float fov, aspect, near, far;
        std::uint32_t m00, m11, m22, m32;
    } cases[]{
        {1.4f, 16.0f/9.0f, 0.1f, 1000.0f, 0x3f97f78b, 0x400714ed, 0xbf80068d, 0xbe4cd20a},
        {0.9f, 1.6f, 0.7f, 123.4f, 0x40047d76, 0x4053fbef, 0xbf8175e1, 0xbfb438ea},
        {1.4f, 16.0f/9.0f, 0.05f, 333.0f, 0x3f97f78b, 0x400714ed, 0xbf8009d7, 0xbdccd4ab},
        {1.1f, 1.5f, 0.25f, 60.0f, 0x3fd0c5f7, 0x401c9479, 0xbf811235, 0xbf00891b},
    };
    const auto bits = [](float value) {
        std::uint32_t out;
        std::memcpy(&out, &value, 4);
        return out;
    };
    for(const auto& c: cases) {
        SCOPED_TRACE(c.near);
        const Matrix4 m = Matrix4::perspectiveProjection(c.fov, c.aspect, c.near, c.far);
        EXPECT_EQ(bits(m[0][0]), c.m00);
        EXPECT_EQ(bits(m[1][1]), c.m11);
        EXPECT_EQ(bits(m[2][2]), c.m22);
        EXPECT_EQ(bits(m[3][2]), c.m32);
        /* The off-centre form of a symmetric plane gives the same z terms */
        const Matrix4 offCentre = Matrix4::perspectiveProjection(Vector2{-1.0f, -1.0f}, Vector2{1.0f, 1.0f}, c.near, c.far);
        EXPECT_EQ(bits(offCentre[2][2]), c.m22);
        EXPECT_EQ(bits(offCentre[3][2]), c.m32);
    }
}

TEST(MatrixDeathTest, invertedRigidInvalid) {
    EXPECT_DEATH(Matrix4::scaling({2.0f, 1.0f, 1.0f}).invertedRigid(),
        "^Math::Matrix4::invertedRigid\\(\\): the matrix doesn't represent a rigid transformation\n$");
    EXPECT_DEATH(Matrix3::scaling({2.0f, 1.0f}).invertedRigid(),
        "^Math::Matrix3::invertedRigid\\(\\): the matrix doesn't represent a rigid transformation\n$");
    EXPECT_DEATH(Matrix4::rotation(1.0f, {1.0f, 1.0f, 0.0f}),
        "^Math::Matrix4::rotation\\(\\): axis Vector\\(1, 1, 0\\) is not normalized\n$");
}

}}
