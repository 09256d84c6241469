#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <sstream>
#include <vector>

#include <gtest/gtest.h>
#include <glm/glm.hpp>
#include <glm/gtc/matrix_transform.hpp>
#include <glm/gtc/quaternion.hpp>

#include "QuillmarshEngine/Data/SceneGraph.h"
#include "QuillmarshEngine/Data/ViewManager.h"
#include "QuillmarshEngine/Debug.h"
#include "QuillmarshEngine/Math/Quaternion.h"
#include "../Math/Printers.h"

namespace QuillmarshEngine { namespace Data { namespace {

typedef SparseArray::IndexType IndexType;
constexpr float Infinity = std::numeric_limits<float>::infinity();

struct Scene {
    std::ostringstream quiet;
    Debug debug{&quiet};
    SceneGraph graph{8, 1, 8};
    ViewManager views{4};

    Scene() {
        graph.setComponentManager(0, "view", &views);
        graph.activate();
    }

    /* A view on a new object placed at the given world transformation */
    Id addView(const DualQuaternion& transformation) {
        const Id object = graph.addObject(Id{0});
        graph.setLocalTransformation(graph.indexOf(object), transformation);
        graph.setDirty(graph.indexOf(object));
        graph.computeAbsoluteTransformations();
        const Id view = views.addComponent(object);
        views.activate(views.indexOf(view));
        return view;
    }
};

glm::mat4 toGlm(const Matrix4& m) {
    glm::mat4 out;
    for(int c = 0; c != 4; ++c) for(int r = 0; r != 4; ++r) out[c][r] = m[c][r];
    return out;
}

/* Every entry within a relative tolerance of the larger magnitude of the two */
::testing::AssertionResult matricesNear(const Matrix4& actual, const glm::mat4& expected, float tolerance) {
    for(int c = 0; c != 4; ++c) for(int r = 0; r != 4; ++r) {
        const float a = actual[c][r], e = expected[c][r];
        if(!(std::abs(a - e) <= tolerance*std::max({1.0f, std::abs(a), std::abs(e)})))
            return ::testing::AssertionFailure() << "m[" << c << "][" << r << "] is " << a << ", expected " << e;
    }
    return ::testing::AssertionSuccess();
}

TEST(ViewManagerTest, construct) {
    ViewManager views{2};
    EXPECT_STREQ(views.name(), "view");
    EXPECT_EQ(views.capacity(), 2);
    EXPECT_EQ(views.projectionParams()[1], (Vector4{0.1f, 1000.0f, 90.0f, 10.0f}));
    EXPECT_EQ(views.projectionTypes()[1], ViewManager::Perspective);
    EXPECT_EQ(views.projectionMatrices()[1], Matrix4{});
}

TEST(ViewManagerTest, updateStoresTheGeneralInverse) {
    Scene scene;
    const DualQuaternion unit = DualQuaternion::from(Quaternion::rotation(0.9f, Vector3{0.6f, 0.0f, 0.8f}), Vector3{3.0f, -1.0f, 2.0f});
    /* Not of unit length: the conjugate would be off by the squared length */
    const DualQuaternion scaled{unit.real()*2.0f, unit.dual()*2.0f};
    const Id a = scene.addView(unit);
    const Id b = scene.addView(scaled);
    scene.views.update(0.016);
    for(const Id id: {a, b}) {
        const IndexType i = scene.views.indexOf(id);
        const DualQuaternion& world = scene.graph.worldTransformation(scene.graph.indexOf(scene.views.owner(i)));
        EXPECT_EQ(world*scene.views.viewTransforms()[i], DualQuaternion{}) << id.value;
    }
    /* The view matrix takes the camera's own position to the origin */
    const Matrix4 view = scene.views.viewTransforms()[scene.views.indexOf(a)].toMatrix();
    EXPECT_EQ(view.transformPoint(Vector3{3.0f, -1.0f, 2.0f}), Vector3{});
}

TEST(ViewManagerTest, projectionMatrixAgainstGlm) {
    ViewManager views{1};
    const float near = 0.25f, far = 300.0f;
    views.add();
    views.viewports()[0] = Vector4i{10, 20, 1600, 900};
    const float aspect = 1600.0f/900.0f;

    for(const float fov: {30.0f, 90.0f, 120.0f, 170.0f}) {
        views.projectionParams()[0] = Vector4{near, far, fov, 0.0f};
        /* The field of view is horizontal: GLM takes the vertical one */
        const float t = std::tan(fov*3.1415927f/180.0f*0.5f);
        const float fovy = 2.0f*std::atan(t/aspect);
        EXPECT_TRUE(matricesNear(views.generateProjectionMatrix(0), glm::perspective(fovy, aspect, near, far), 1.0e-5f)) << fov;
        views.projectionParams()[0][1] = Infinity;
        const Matrix4 infinite = views.generateProjectionMatrix(0);
        EXPECT_TRUE(matricesNear(infinite, glm::infinitePerspective(fovy, aspect, near), 1.0e-5f)) << fov;
        EXPECT_EQ(infinite[2][2], -1.0f);
        EXPECT_EQ(infinite[3][2], -2.0f*near);
        /* The inverse recovers the stored angle */
        EXPECT_NEAR(ViewManager::fovFromProjectionMatrix(infinite), fov, 1.0e-3f*fov);
    }

    views.projectionTypes()[0] = ViewManager::Orthographic;
    views.projectionParams()[0] = Vector4{near, far, 0.0f, 16.0f};
    EXPECT_TRUE(matricesNear(views.generateProjectionMatrix(0), glm::ortho(-8.0f, 8.0f, -4.5f, 4.5f, near, far), 1.0e-6f));
    views.projectionParams()[0] = Vector4{-5.0f, 5.0f, 0.0f, 16.0f};
    EXPECT_TRUE(matricesNear(views.generateProjectionMatrix(0), glm::ortho(-8.0f, 8.0f, -4.5f, 4.5f, -5.0f, 5.0f), 1.0e-6f));
}

TEST(ViewManagerTest, emptyViewportSidesAreClampedSeparately) {
    ViewManager views{1};
    views.add();
    views.projectionParams()[0] = Vector4{1.0f, 10.0f, 90.0f, 4.0f};
    views.viewports()[0] = Vector4i{0, 0, 0, 0};
    Matrix4 m = views.generateProjectionMatrix(0);
    EXPECT_FLOAT_EQ(m[0][0], 1.0f);
    EXPECT_FLOAT_EQ(m[1][1], 1.0f);
    /* Only the width is clamped: aspect 1/4 */
    views.viewports()[0] = Vector4i{0, 0, -3, 4};
    m = views.generateProjectionMatrix(0);
    EXPECT_FLOAT_EQ(m[1][1]/m[0][0], 0.25f);
    views.projectionTypes()[0] = ViewManager::Orthographic;
    views.viewports()[0] = Vector4i{0, 0, 8, 0};
    m = views.generateProjectionMatrix(0);
    EXPECT_FLOAT_EQ(m[0][0], 0.5f);
    EXPECT_FLOAT_EQ(m[1][1], 4.0f);
}

TEST(ViewManagerTest, viewProjectionMatrix) {
    Scene scene;
    const Quaternion rotation = Quaternion::rotation(-0.4f, Vector3{0.0f, 1.0f, 0.0f});
    const Id view = scene.addView(DualQuaternion::from(rotation, Vector3{1.0f, 2.0f, 3.0f}));
    const IndexType i = scene.views.indexOf(view);
    scene.views.viewports()[i] = Vector4i{0, 0, 640, 480};
    scene.views.projectionMatrices()[i] = scene.views.generateProjectionMatrix(i);
    scene.views.update(0.016);
    const glm::mat4 camera = glm::translate(glm::mat4{1.0f}, glm::vec3{1.0f, 2.0f, 3.0f})*
        glm::mat4_cast(glm::quat{rotation.scalar(), rotation.x(), rotation.y(), rotation.z()});
    EXPECT_TRUE(matricesNear(scene.views.viewProjectionMatrix(i), toGlm(scene.views.projectionMatrices()[i])*glm::inverse(camera), 1.0e-5f));
    /* The same view twice is just its view-projection matrix, bit for bit */
    const Matrix4 culling = scene.views.cullingMatrix(view, view);
    const Matrix4 expected = scene.views.viewProjectionMatrix(i);
    EXPECT_EQ(std::memcmp(&culling, &expected, sizeof(Matrix4)), 0);
}

/* Two eyes: frustum tangents (left, right, bottom, top) at unit distance, so that the frustum
   spans x from -left z to right z at depth z */
struct Eye { float left, right, bottom, top; };

struct StereoCase {
    const char* name;
    Eye a, b;
    float near, far;
};

Matrix4 frustum(const Eye& e, float near, float far) {
    const glm::mat4 g = glm::frustum(-e.left*near, e.right*near, -e.bottom*near, e.top*near, near, far == Infinity ? 1.0f : far);
    Matrix4 m;
    for(int c = 0; c != 4; ++c) for(int r = 0; r != 4; ++r) m[c][r] = g[c][r];
    if(far == Infinity) {
        m[2][2] = -1.0f;
        m[3][2] = -2.0f*near;
    }
    return m;
}

TEST(ViewManagerTest, cullingMatrixContainsBothEyes) {
    const StereoCase cases[]{
        {"symmetric", {1.0f, 1.0f, 0.8f, 0.8f}, {1.0f, 1.0f, 0.8f, 0.8f}, 0.1f, 100.0f},
        /* Headset eyes: the outer edges wider than the inner ones, mirror images */
        {"headset", {1.3f, 0.9f, 1.2f, 1.0f}, {0.9f, 1.3f, 1.1f, 1.05f}, 0.05f, 500.0f},
        /* Inner edges wider than the outer ones: taking the left edge from the left eye alone
           lets the right eye leak */
        {"inner wider", {0.7f, 1.4f, 0.9f, 0.9f}, {1.5f, 0.6f, 0.9f, 0.9f}, 0.1f, 50.0f},
        /* Both frusta entirely above, then entirely below eye level */
        {"above eye level", {1.0f, 1.0f, -0.2f, 1.1f}, {1.0f, 1.0f, -0.3f, 1.0f}, 0.2f, 40.0f},
        {"below eye level", {1.0f, 1.0f, 1.2f, -0.1f}, {1.0f, 1.0f, 1.0f, -0.25f}, 0.2f, 40.0f},
        {"infinite far", {1.2f, 0.9f, 1.0f, 1.0f}, {0.9f, 1.2f, 1.0f, 1.0f}, 0.1f, Infinity},
    };
    const float distances[]{0.064f, 0.5f};
    std::mt19937 rng{5};
    std::uniform_real_distribution<float> unit{0.0f, 1.0f};

    for(const StereoCase& c: cases) for(const float d: distances) {
        SCOPED_TRACE(c.name);
        SCOPED_TRACE(d);
        Scene scene;
        const Quaternion rotation = Quaternion::rotation(0.8f, Vector3{0.48f, 0.6f, 0.64f});
        const Vector3 position{2.0f, 1.5f, -3.0f};
        const Vector3 shift = rotation.transformVector(Vector3{d, 0.0f, 0.0f});
        const Id a = scene.addView(DualQuaternion::from(rotation, position));
        const Id b = scene.addView(DualQuaternion::from(rotation, position + shift));
        scene.views.projectionMatrices()[scene.views.indexOf(a)] = frustum(c.a, c.near, c.far);
        scene.views.projectionMatrices()[scene.views.indexOf(b)] = frustum(c.b, c.near, c.far);
        scene.views.update(0.016);
        const Matrix4 culling = scene.views.cullingMatrix(a, b);
        if(c.far == Infinity) {
            /* The combined projection stays infinite */
            const Matrix4 inverseView = scene.views.viewTransforms()[scene.views.indexOf(a)].inverted().toMatrix();
            const Matrix4 projection = culling*inverseView;
            EXPECT_FLOAT_EQ(projection[2][2], -1.0f);
        }

        for(const auto& [eye, offset]: {std::pair<Eye, Vector3>{c.a, position}, std::pair<Eye, Vector3>{c.b, position + shift}}) {
            const float far = c.far == Infinity ? 1.0e4f : c.far;
            for(int k = 0; k != 400; ++k) {
                /* Corners first, then points spread through the volume */
                const float z = k < 8 ? (k & 4 ? far : c.near) : c.near + (far - c.near)*unit(rng)*unit(rng);
                const float u = k < 8 ? float(k & 1) : unit(rng);
                const float v = k < 8 ? float((k >> 1) & 1) : unit(rng);
                const Vector3 local{(-eye.left + u*(eye.left + eye.right))*z, (-eye.bottom + v*(eye.bottom + eye.top))*z, -z};
                const Vector3 world = rotation.transformVector(local) + offset;
                const Vector4 clip = culling*Vector4{world, 1.0f};
                const float w = clip[3]*(1.0f + 2.0e-4f) + 1.0e-6f;
                ASSERT_GT(clip[3], 0.0f) << k;
                ASSERT_LE(std::abs(clip[0]), w) << k << " x, local " << local[0] << " " << local[1] << " " << local[2];
                ASSERT_LE(std::abs(clip[1]), w) << k << " y, local " << local[0] << " " << local[1] << " " << local[2];
                ASSERT_LE(std::abs(clip[2]), w) << k << " z, local " << local[0] << " " << local[1] << " " << local[2];
            }
        }
    }
}

TEST(ViewManagerTest, cullingMatrixOfSymmetricEyesSitsOnTheMidline) {
    Scene scene;
    const Quaternion rotation = Quaternion::rotation(1.1f, Vector3{0.0f, 0.0f, 1.0f});
    const Vector3 position{1.0f, 0.0f, 4.0f};
    const float d = 0.07f;
    const Id a = scene.addView(DualQuaternion::from(rotation, position));
    const Id b = scene.addView(DualQuaternion::from(rotation, position + rotation.transformVector(Vector3{d, 0.0f, 0.0f})));
    const Eye left{1.4f, 1.0f, 1.0f, 1.0f}, right{1.0f, 1.4f, 1.0f, 1.0f};
    scene.views.projectionMatrices()[scene.views.indexOf(a)] = frustum(left, 0.1f, 20.0f);
    scene.views.projectionMatrices()[scene.views.indexOf(b)] = frustum(right, 0.1f, 20.0f);
    scene.views.update(0.016);
    const glm::mat4 m = toGlm(scene.views.cullingMatrix(a, b));
    /* The apex is where clip x, y and w vanish */
    const glm::mat3 rows{m[0][0], m[0][1], m[0][3], m[1][0], m[1][1], m[1][3], m[2][0], m[2][1], m[2][3]};
    const glm::vec3 apex = glm::inverse(rows)*-glm::vec3{m[3][0], m[3][1], m[3][3]};
    const float r = d/(1.4f + 1.4f);
    const Vector3 expected = position + rotation.transformVector(Vector3{0.5f*d, 0.0f, r});
    EXPECT_NEAR(apex.x, expected.x(), 1.0e-4f);
    EXPECT_NEAR(apex.y, expected.y(), 1.0e-4f);
    EXPECT_NEAR(apex.z, expected.z(), 1.0e-4f);
}

TEST(ViewManagerDeathTest, invalid) {
    Scene scene;
    const Id a = scene.addView(DualQuaternion{});
    const Id b = scene.addView(DualQuaternion::translation(Vector3{0.1f, 0.0f, 0.0f}));
    scene.views.projectionMatrices()[scene.views.indexOf(a)] = frustum({1.0f, 1.0f, 1.0f, 1.0f}, 0.1f, 10.0f);
    /* b keeps its identity matrix, which is not perspective */
    EXPECT_DEATH(scene.views.cullingMatrix(a, b), "^ViewManager::cullingMatrix\\(\\): expected two perspective projection matrices\n$");
    EXPECT_DEATH(scene.views.cullingMatrix(b, a), "^ViewManager::cullingMatrix\\(\\): expected two perspective projection matrices\n$");
    EXPECT_DEATH(scene.views.cullingMatrix(a, Id{3}), "^ViewManager::cullingMatrix\\(\\): view Id\\(3\\) is not alive\n$");
    EXPECT_DEATH(ViewManager::fovFromProjectionMatrix(Matrix4::orthographicProjection(Vector2{2.0f, 2.0f}, 0.1f, 10.0f)),
        "^ViewManager::fovFromProjectionMatrix\\(\\): expected a perspective projection matrix\n$");
    Matrix4 almost = frustum({1.0f, 1.0f, 1.0f, 1.0f}, 0.1f, 10.0f);
    almost[2][3] = -0.9e-05f;
    EXPECT_DEATH(ViewManager::fovFromProjectionMatrix(almost), "^ViewManager::fovFromProjectionMatrix\\(\\): expected a perspective projection matrix\n$");
    scene.views.projectionTypes()[0] = 2;
    EXPECT_DEATH(scene.views.generateProjectionMatrix(0), "^Reached unreachable code at Data/ViewManager:174\n$");
    EXPECT_DEATH(scene.views.viewProjectionMatrix(3), "^ViewManager::viewProjectionMatrix\\(\\): index 3 out of range for 2 views\n$");
    EXPECT_DEATH(scene.views.generateProjectionMatrix(2), "^ViewManager::generateProjectionMatrix\\(\\): index 2 out of range for 2 views\n$");
}

}}}
