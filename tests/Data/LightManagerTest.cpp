#include <cmath>
#include <limits>
#include <random>
#include <sstream>
#include <vector>

#include <gtest/gtest.h>

#include "QuillmarshEngine/Data/LightManager.h"
#include "QuillmarshEngine/Data/SceneGraph.h"
#include "QuillmarshEngine/Data/ViewManager.h"
#include "QuillmarshEngine/Debug.h"
#include "QuillmarshEngine/Math/Quaternion.h"
#include "../Math/Printers.h"

namespace QuillmarshEngine { namespace Data { namespace {

typedef SparseArray::IndexType IndexType;
constexpr float NaN = std::numeric_limits<float>::quiet_NaN();

/* A scene with a light manager in slot 0, a view manager in slot 1 and one camera */
struct Scene {
    std::ostringstream info, out;
    Debug debug{&info};
    Warning warning{&out};
    SceneGraph graph{64, 2, 64};
    LightManager lights{8};
    ViewManager views{2};
    Id camera, cameraObject;

    Scene() {
        graph.setComponentManager(0, "light", &lights);
        graph.setComponentManager(1, "view", &views);
        graph.activate();
        cameraObject = graph.addObject(Id{0});
        camera = views.addComponent(cameraObject);
        views.activate(views.indexOf(camera));
        const IndexType v = views.indexOf(camera);
        views.viewports()[v] = Vector4i{0, 0, 1280, 720};
        views.projectionParams()[v] = Vector4{0.5f, 200.0f, 100.0f, 0.0f};
        views.projectionMatrices()[v] = views.generateProjectionMatrix(v);
    }

    Id addLight(LightType type, const DualQuaternion& transformation = {}, bool active = true) {
        const Id object = graph.addObject(Id{0});
        graph.setLocalTransformation(graph.indexOf(object), transformation);
        graph.setDirty(graph.indexOf(object));
        const Id light = lights.addComponent(object);
        lights.setLightType(lights.indexOf(light), type);
        if(active) lights.activate(lights.indexOf(light));
        return light;
    }

    Vector4& parameters(Id light) { return lights.parameters()[lights.indexOf(light)]; }
    const Vector4& derived(Id light) { return lights.derived()[lights.indexOf(light)]; }

    void placeCamera(const DualQuaternion& transformation) {
        graph.setLocalTransformation(graph.indexOf(cameraObject), transformation);
        graph.setDirty(graph.indexOf(cameraObject));
    }

    void frame(unsigned int maxShadows) {
        graph.computeAbsoluteTransformations();
        lights.update(0.016);
        views.update(0.016);
        lights.setupShadows(graph, views, camera, maxShadows);
    }
};

TEST(LightManagerTest, debug) {
    std::ostringstream out;
    Debug{&out} << LightType::Point << LightType::Spot << LightType::Sun << LightType(7);
    Debug{&out} << ShadowKind::Spot << ShadowKind::Sun << ShadowKind::Point << ShadowKind(0xa);
    EXPECT_EQ(out.str(), "LightType::Point LightType::Spot LightType::Sun LightType(0x7)\n"
                         "ShadowKind::Spot ShadowKind::Sun ShadowKind::Point ShadowKind(0xa)\n");
}

TEST(LightManagerTest, construct) {
    LightManager lights{3};
    EXPECT_STREQ(lights.name(), "light");
    EXPECT_EQ(lights.grouped().groupsCount(), 3);
    EXPECT_EQ(lights.grouped().subGroupsCount(), 1);
    EXPECT_EQ(lights.headerSize(), 28u);
    EXPECT_EQ(lights.capacity(), 3);
}

TEST(LightManagerTest, doUpdateDerivesFromWorldTransforms) {
    Scene scene;
    const Quaternion rotation = Quaternion::rotation(0.6f, Vector3{0.0f, 0.6f, 0.8f});
    const Id spot = scene.addLight(LightType::Spot, DualQuaternion::from(rotation, Vector3{1.0f, 2.0f, 3.0f}));
    const Id point = scene.addLight(LightType::Point, DualQuaternion::translation(Vector3{-4.0f, 0.0f, 0.5f}));
    /* Inactive lights still get positions and directions */
    const Id inactive = scene.addLight(LightType::Sun, DualQuaternion::from(Quaternion::rotation(1.5707963f, Vector3{1.0f, 0.0f, 0.0f}), Vector3{}), false);
    scene.parameters(spot) = Vector4{60.0f, 30.0f, 0.0f, 10.0f};
    scene.parameters(point) = Vector4{60.0f, 30.0f, 0.0f, 10.0f};
    scene.lights.positions()[scene.lights.indexOf(spot)][3] = 7.0f;
    scene.frame(0);

    const IndexType s = scene.lights.indexOf(spot);
    EXPECT_EQ(scene.lights.positions()[s], (Vector4{1.0f, 2.0f, 3.0f, 7.0f}));
    EXPECT_EQ(scene.lights.directions()[s].xyz(), rotation.transformVector(Vector3{0.0f, 1.0f, 0.0f}));
    EXPECT_FLOAT_EQ(scene.derived(spot)[0], std::cos(30.0f*3.1415927f/180.0f));
    EXPECT_FLOAT_EQ(scene.derived(spot)[1], std::cos(15.0f*3.1415927f/180.0f));
    EXPECT_EQ(scene.lights.positions()[scene.lights.indexOf(point)].xyz(), (Vector3{-4.0f, 0.0f, 0.5f}));
    EXPECT_EQ(scene.lights.directions()[scene.lights.indexOf(point)].xyz(), (Vector3{0.0f, 1.0f, 0.0f}));
    /* Only spot lights get cone cosines */
    EXPECT_EQ(scene.derived(point)[0], 0.0f);
    EXPECT_EQ(scene.lights.directions()[scene.lights.indexOf(inactive)].xyz(), (Vector3{0.0f, 0.0f, 1.0f}));

    /* A spot light turned into a point light moves groups and keeps its last cosines */
    const float before = scene.derived(spot)[0];
    scene.lights.setLightType(scene.lights.indexOf(spot), LightType::Point);
    EXPECT_EQ(scene.lights.lightType(scene.lights.indexOf(spot)), LightType::Point);
    EXPECT_EQ(scene.lights.grouped().groupRange(0).size(), 2);
    scene.parameters(spot)[0] = 120.0f;
    scene.frame(0);
    EXPECT_EQ(scene.derived(spot)[0], before);
}

std::string shadowWarnings(Scene& scene) {
    std::string s = scene.out.str();
    scene.out.str({});
    return s;
}

TEST(LightManagerTest, setupShadowsBudget) {
    Scene scene;
    /* The documented example: a budget of 3, a sun with 4 cascades refused, a point light and
       a spot light that still fit */
    const Id spot = scene.addLight(LightType::Spot);
    const Id point = scene.addLight(LightType::Point);
    const Id sun = scene.addLight(LightType::Sun);
    for(const Id light: {spot, point, sun}) scene.parameters(light) = Vector4{40.0f, 20.0f, 1.0f, 25.0f};
    scene.lights.shadowParameters()[scene.lights.indexOf(sun)][3] = 4.0f;
    scene.frame(3);
    EXPECT_EQ(shadowWarnings(scene), "Max number of shadows 3 exceeded, ignoring shadows for light " + std::to_string(scene.lights.indexOf(sun)) + "\n");
    EXPECT_EQ(scene.derived(sun)[2], 0.0f);
    EXPECT_EQ(scene.derived(point)[2], 1.0f);
    EXPECT_EQ(scene.derived(spot)[2], 1.0f);
    EXPECT_EQ(scene.derived(point)[3], 0.0f);
    EXPECT_EQ(scene.derived(spot)[3], 2.0f);

    const ShadowsData& shadows = scene.lights.shadows();
    ASSERT_EQ(shadows.count(), 3u);
    EXPECT_EQ(shadows.owners()[0], scene.lights.indexOf(point));
    EXPECT_EQ(shadows.owners()[1], scene.lights.indexOf(point));
    EXPECT_EQ(shadows.owners()[2], scene.lights.indexOf(spot));
    EXPECT_EQ(shadows.parameters()[1].kind, ShadowKind::Point);
    EXPECT_EQ(shadows.parameters()[1].near, 0.1f);
    EXPECT_EQ(shadows.parameters()[1].range, 25.0f);
    EXPECT_EQ(shadows.parameters()[1].coneAngle, 0.0f);
    EXPECT_EQ(shadows.parameters()[2].kind, ShadowKind::Spot);
    EXPECT_FLOAT_EQ(shadows.parameters()[2].coneAngle, 40.0f*3.1415927f/180.0f);
    EXPECT_EQ(shadows.parameters()[2].reserved, 0u);
    EXPECT_EQ(shadows.splitDistances().size(), 12u);

    /* With room for everything the sun comes first, whatever the component order */
    scene.frame(10);
    EXPECT_EQ(shadowWarnings(scene), "");
    ASSERT_EQ(shadows.count(), 7u);
    for(unsigned s = 0; s != 4; ++s) EXPECT_EQ(shadows.parameters()[s].kind, ShadowKind::Sun);
    EXPECT_EQ(shadows.parameters()[4].kind, ShadowKind::Point);
    EXPECT_EQ(shadows.parameters()[6].kind, ShadowKind::Spot);
    EXPECT_EQ(scene.derived(sun)[3], 0.0f);
    EXPECT_EQ(scene.derived(point)[3], 4.0f);
    EXPECT_EQ(scene.derived(spot)[3], 6.0f);

    /* Disabled and inactive lights take nothing; NaN enables */
    const Id second = scene.addLight(LightType::Point);
    const Id third = scene.addLight(LightType::Spot, {}, false);
    scene.parameters(second) = Vector4{0.0f, 0.0f, NaN, 10.0f};
    scene.parameters(third) = Vector4{0.0f, 0.0f, 1.0f, 10.0f};
    scene.parameters(point)[2] = 0.0f;
    scene.frame(7);
    EXPECT_EQ(shadowWarnings(scene), "");
    EXPECT_EQ(shadows.count(), 7u);
    EXPECT_EQ(scene.derived(point)[2], 0.0f);
    EXPECT_EQ(scene.derived(second)[2], 1.0f);
    EXPECT_EQ(scene.derived(third)[2], 0.0f);
    EXPECT_EQ(scene.derived(spot)[2], 1.0f);

    /* Refusing one light does not stop the later ones */
    scene.frame(5);
    EXPECT_EQ(shadowWarnings(scene), "Max number of shadows 5 exceeded, ignoring shadows for light " + std::to_string(scene.lights.indexOf(second)) + "\n");
    EXPECT_EQ(scene.derived(second)[2], 0.0f);
    EXPECT_EQ(scene.derived(spot)[2], 1.0f);
    ASSERT_EQ(shadows.count(), 5u);
    EXPECT_EQ(shadows.owners()[4], scene.lights.indexOf(spot));
}

float blended(float near, float far, int k, int n) {
    const double p = double(k + 1)/n;
    return float(0.5*(near + p*(far - near)) + 0.5*near*std::pow(double(far)/near, p));
}

TEST(LightManagerTest, splitDistances) {
    Scene scene;
    const Id sun = scene.addLight(LightType::Sun);
    scene.parameters(sun) = Vector4{0.0f, 0.0f, 1.0f, 150.0f};
    Vector4& cascades = scene.lights.shadowParameters()[scene.lights.indexOf(sun)];
    const ShadowsData& shadows = scene.lights.shadows();
    const float near = 0.5f, far = 150.0f;

    cascades[3] = 1.9f;
    scene.frame(8);
    ASSERT_EQ(shadows.count(), 1u);
    EXPECT_NEAR(shadows.splitDistances()[0], far, 1.0e-5f*far);
    EXPECT_EQ(shadows.splitDistances()[1], 0.0f);

    cascades[3] = 2.0f;
    scene.frame(8);
    EXPECT_NEAR(shadows.splitDistances()[0], 0.5f*(near + (far - near)/2.0f) + 0.5f*std::sqrt(near*far), 1.0e-5f*far);
    EXPECT_NEAR(shadows.splitDistances()[1], far, 1.0e-5f*far);

    cascades[3] = 4.0f;
    scene.frame(8);
    for(int k = 0; k != 4; ++k) EXPECT_NEAR(shadows.splitDistances()[k], blended(near, far, k, 4), 1.0e-5f*far) << k;
    for(int k = 4; k != 16; ++k) EXPECT_EQ(shadows.splitDistances()[k], 0.0f) << k;

    /* More than four cascades stay inside the sun's own records */
    const Id later = scene.addLight(LightType::Sun);
    scene.parameters(later) = Vector4{0.0f, 0.0f, 1.0f, 40.0f};
    scene.lights.shadowParameters()[scene.lights.indexOf(later)][3] = 2.0f;
    cascades[3] = 6.0f;
    scene.frame(8);
    ASSERT_EQ(shadows.count(), 8u);
    ASSERT_EQ(shadows.splitDistances().size(), 32u);
    for(int k = 0; k != 6; ++k) EXPECT_NEAR(shadows.splitDistances()[k], blended(near, far, k, 6), 1.0e-5f*far) << k;
    for(int k = 6; k != 24; ++k) EXPECT_EQ(shadows.splitDistances()[k], 0.0f) << k;
    EXPECT_NEAR(shadows.splitDistances()[24], blended(near, 40.0f, 0, 2), 1.0e-5f*40.0f);
    EXPECT_NEAR(shadows.splitDistances()[25], 40.0f, 1.0e-5f*40.0f);

    /* No, negative or NaN cascades: shadowed, but no record and no first index */
    for(const float count: {0.0f, 0.9f, -3.0f, NaN}) {
        scene.lights.shadowParameters()[scene.lights.indexOf(later)][3] = 0.0f;
        cascades[3] = count;
        scene.lights.setupShadows(scene.graph, scene.views, scene.camera, 8);
        EXPECT_EQ(shadows.count(), 0u) << count;
        EXPECT_EQ(scene.derived(sun)[2], 1.0f) << count;
        EXPECT_EQ(scene.derived(sun)[3], 0.0f) << count;
    }
    EXPECT_EQ(shadowWarnings(scene), "");
}

TEST(LightManagerTest, splitDistancesWithoutALogarithmicTerm) {
    /* Near 0 (orthographic views) and near not below far use the uniform term alone */
    for(const auto& [near, far]: {std::pair<float, float>{0.0f, 100.0f}, {50.0f, 50.0f}, {80.0f, 20.0f}, {-1.0f, 10.0f}}) {
        const ShadowCameraSplits splits{near, far, 3};
        for(int k = 0; k != 3; ++k) {
            const float d = splits.distance(k);
            EXPECT_FALSE(std::isnan(d));
            EXPECT_FLOAT_EQ(d, near + float(k + 1)/3.0f*(far - near)) << near << " " << far << " " << k;
        }
    }
    EXPECT_EQ(ShadowCameraSplits::cascadeCount(3.99f), 3);
    EXPECT_EQ(ShadowCameraSplits::cascadeCount(-2.5f), 0);
    EXPECT_EQ(ShadowCameraSplits::cascadeCount(NaN), 0);
    EXPECT_EQ(ShadowCameraSplits::cascadeCount(1.0e12f), 2147483647);
    EXPECT_EQ(ShadowCameraSplits::cascadeCount(std::numeric_limits<float>::infinity()), 2147483647);

    /* Through the manager: an orthographic camera with near 0 */
    Scene scene;
    const IndexType v = scene.views.indexOf(scene.camera);
    scene.views.projectionTypes()[v] = ViewManager::Orthographic;
    scene.views.projectionParams()[v] = Vector4{0.0f, 100.0f, 0.0f, 30.0f};
    scene.views.projectionMatrices()[v] = scene.views.generateProjectionMatrix(v);
    const Id sun = scene.addLight(LightType::Sun);
    scene.parameters(sun) = Vector4{0.0f, 0.0f, 1.0f, 90.0f};
    scene.lights.shadowParameters()[scene.lights.indexOf(sun)][3] = 3.0f;
    scene.frame(4);
    for(int k = 0; k != 3; ++k) EXPECT_FLOAT_EQ(scene.lights.shadows().splitDistances()[k], 30.0f*float(k + 1));
    for(unsigned s = 0; s != 3; ++s) {
        const Matrix4& m = scene.lights.shadows().projectionMatrices()[s];
        for(int c = 0; c != 4; ++c) for(int r = 0; r != 4; ++r) EXPECT_FALSE(std::isnan(m[c][r]));
    }
}

/* Corners of the slice [near, far] of the view frustum, in world space */
std::vector<Vector3> sliceCorners(const ViewParams& view, float near, float far) {
    std::vector<Vector3> out;
    for(const float z: {near, far}) for(int k = 0; k != 4; ++k) {
        const float scale = view.orthographic ? 1.0f : z;
        const float x = (k & 1 ? view.right : -view.left)*scale;
        const float y = (k & 2 ? view.top : -view.bottom)*scale;
        out.push_back(view.cameraMatrix.transformPoint(Vector3{x, y, -z}));
    }
    return out;
}

::testing::AssertionResult insideClip(const Matrix4& projection, const Matrix4& view, const Vector3& world, float tolerance = 1.0e-4f) {
    const Vector4 clip = projection*(view*Vector4{world, 1.0f});
    const float w = clip[3];
    if(w > 0.0f && std::abs(clip[0]) <= w*(1.0f + tolerance) && std::abs(clip[1]) <= w*(1.0f + tolerance) && std::abs(clip[2]) <= w*(1.0f + tolerance))
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "clip " << clip[0] << " " << clip[1] << " " << clip[2] << " " << clip[3];
}

TEST(LightManagerTest, sunCascadesContainTheirSlices) {
    for(const bool orthographic: {false, true}) {
        SCOPED_TRACE(orthographic);
        Scene scene;
        const IndexType v = scene.views.indexOf(scene.camera);
        if(orthographic) {
            scene.views.projectionTypes()[v] = ViewManager::Orthographic;
            scene.views.projectionParams()[v] = Vector4{0.0f, 100.0f, 0.0f, 30.0f};
            scene.views.projectionMatrices()[v] = scene.views.generateProjectionMatrix(v);
        } else {
            /* An off-centre projection, as an XR runtime hands out */
            Matrix4 m{Math::ZeroInit};
            const float l = -0.6f, r = 0.4f, b = -0.3f, t = 0.5f, n = 0.5f, f = 200.0f;
            m[0][0] = 2.0f*n/(r - l);
            m[1][1] = 2.0f*n/(t - b);
            m[2][0] = (r + l)/(r - l);
            m[2][1] = (t + b)/(t - b);
            m[2][2] = (n + f)/(n - f);
            m[2][3] = -1.0f;
            m[3][2] = 2.0f*f*n/(n - f);
            scene.views.projectionMatrices()[v] = m;
        }
        scene.placeCamera(DualQuaternion::from(Quaternion::rotation(2.1f, Vector3{0.36f, 0.48f, 0.8f}), Vector3{30.0f, 4.0f, -12.0f}));
        const Id sun = scene.addLight(LightType::Sun, DualQuaternion::rotation(0.9f, Vector3{0.8f, 0.0f, 0.6f}));
        scene.parameters(sun) = Vector4{0.0f, 0.0f, 1.0f, 120.0f};
        scene.lights.shadowParameters()[scene.lights.indexOf(sun)][3] = 4.0f;
        scene.frame(4);

        const ShadowsData& shadows = scene.lights.shadows();
        const ViewParams view = ViewParams::from(scene.views, v);
        ASSERT_EQ(shadows.count(), 4u);
        float previous = orthographic ? 0.0f : 0.5f;
        for(unsigned s = 0; s != 4; ++s) {
            SCOPED_TRACE(s);
            const ShadowCameraSlice& slice = shadows.cameraSlices()[s];
            /* Consecutive slices between the split distances */
            EXPECT_EQ(slice.near, previous);
            EXPECT_EQ(slice.far, shadows.splitDistances()[s]);
            previous = slice.far;
            for(const Vector3& corner: sliceCorners(view, slice.near, slice.far)) {
                EXPECT_LE((corner - slice.center).length(), slice.radius);
                EXPECT_TRUE(insideClip(shadows.projectionMatrices()[s], shadows.viewMatrices()[s], corner));
            }
            /* The light looks along its +Y axis, and the view matrix is rigid */
            const Vector3 lightDirection = scene.lights.directions()[scene.lights.indexOf(sun)].xyz();
            EXPECT_EQ(shadows.viewMatrices()[s].transformVector(lightDirection), (Vector3{0.0f, 0.0f, -1.0f}));
            EXPECT_TRUE(shadows.viewMatrices()[s].isRigidTransformation());
            /* Casters up to the sun's range towards the light are still inside */
            const Vector3 caster = slice.center - lightDirection*(slice.radius + 119.0f);
            EXPECT_TRUE(insideClip(shadows.projectionMatrices()[s], shadows.viewMatrices()[s], caster));
        }
    }
}

TEST(LightManagerTest, sunCascadesAreStableUnderCameraMotion) {
    Scene scene;
    const Id sun = scene.addLight(LightType::Sun, DualQuaternion::rotation(0.7f, Vector3{0.0f, 0.6f, 0.8f}));
    scene.parameters(sun) = Vector4{0.0f, 0.0f, 1.0f, 80.0f};
    scene.lights.shadowParameters()[scene.lights.indexOf(sun)][3] = 3.0f;
    scene.lights.shadows().setMapSize(1024);
    const Quaternion rotation = Quaternion::rotation(0.3f, Vector3{0.0f, 1.0f, 0.0f});
    const Vector3 position{5.0f, 2.0f, 7.0f};
    scene.placeCamera(DualQuaternion::from(rotation, position));
    scene.frame(4);
    const ShadowsData& shadows = scene.lights.shadows();
    std::vector<ShadowLightSlice> before{shadows.lightSlices().begin(), shadows.lightSlices().end()};
    std::vector<Matrix4> projections{shadows.projectionMatrices().begin(), shadows.projectionMatrices().end()};
    std::vector<Matrix4> viewMatrices{shadows.viewMatrices().begin(), shadows.viewMatrices().end()};
    std::vector<float> radii;
    for(const ShadowCameraSlice& s: shadows.cameraSlices()) radii.push_back(s.radius);

    /* Texel coordinates of a few fixed world points, each in every cascade */
    const Vector3 points[]{{0.0f, 0.0f, 0.0f}, {3.3f, -1.2f, 9.9f}, {-7.5f, 4.25f, 2.0f}};
    auto texel = [&](const Matrix4& projection, const Matrix4& view, const Vector3& p, int axis) {
        const Vector4 clip = projection*(view*Vector4{p, 1.0f});
        return (clip[axis]/clip[3] + 1.0f)*0.5f*1024.0f;
    };

    std::mt19937 rng{3};
    std::uniform_real_distribution<float> unit{-1.0f, 1.0f};
    for(int step = 0; step != 20; ++step) {
        SCOPED_TRACE(step);
        /* Less than a texel of the finest cascade, in any direction */
        const Vector3 motion = Vector3{unit(rng), unit(rng), unit(rng)}.normalized()*(0.9f*before[0].texelSize*unit(rng));
        scene.placeCamera(DualQuaternion::from(rotation, position + motion));
        scene.frame(4);
        for(unsigned s = 0; s != 3; ++s) {
            const ShadowLightSlice& now = shadows.lightSlices()[s];
            EXPECT_EQ(now.texelSize, before[s].texelSize);
            EXPECT_EQ(now.halfExtent, before[s].halfExtent);
            /* The origin moved by whole texels across the light, and the grid stayed */
            const Vector3 across = viewMatrices[s].transformVector(now.origin - before[s].origin);
            EXPECT_NEAR(across[0]/now.texelSize, std::round(across[0]/now.texelSize), 1.0e-3f);
            EXPECT_NEAR(across[1]/now.texelSize, std::round(across[1]/now.texelSize), 1.0e-3f);
            for(const Vector3& p: points) for(int axis: {0, 1}) {
                const float a = texel(projections[s], viewMatrices[s], p, axis);
                const float b = texel(shadows.projectionMatrices()[s], shadows.viewMatrices()[s], p, axis);
                /* Same fraction of a texel, across the wrap from 0.999 to 0.001 too */
                const float difference = (a - std::floor(a)) - (b - std::floor(b));
                EXPECT_NEAR(difference - std::round(difference), 0.0f, 2.0e-3f) << s << " " << axis;
            }
        }
    }

    /* Turning the camera moves the spheres but keeps their size */
    scene.placeCamera(DualQuaternion::from(Quaternion::rotation(2.5f, Vector3{0.6f, 0.0f, 0.8f}), position));
    scene.frame(4);
    for(unsigned s = 0; s != 3; ++s) {
        EXPECT_FLOAT_EQ(shadows.cameraSlices()[s].radius, radii[s]);
        EXPECT_EQ(shadows.lightSlices()[s].texelSize, before[s].texelSize);
    }

    /* Without snapping the origin follows the camera exactly */
    scene.lights.updateShadows(scene.graph, scene.views, scene.camera, false);
    const Vector3 center = shadows.cameraSlices()[0].center;
    EXPECT_LT((shadows.lightSlices()[0].origin - center).length(), 1.0e-4f*center.length() + 1.0e-5f);
}

TEST(LightManagerTest, spotProjectionContainsTheCone) {
    Scene scene;
    const Quaternion rotation = Quaternion::rotation(-1.2f, Vector3{0.48f, 0.6f, 0.64f});
    const Vector3 position{-3.0f, 6.0f, 2.0f};
    const Id spot = scene.addLight(LightType::Spot, DualQuaternion::from(rotation, position));
    scene.parameters(spot) = Vector4{70.0f, 50.0f, 1.0f, 30.0f};
    scene.frame(1);
    const ShadowsData& shadows = scene.lights.shadows();
    ASSERT_EQ(shadows.count(), 1u);
    const Vector3 axis = rotation.transformVector(Vector3{0.0f, 1.0f, 0.0f});
    const Vector3 side = rotation.transformVector(Vector3{1.0f, 0.0f, 0.0f});
    const Vector3 up = rotation.transformVector(Vector3{0.0f, 0.0f, 1.0f});
    const float half = 35.0f*3.1415927f/180.0f;
    std::mt19937 rng{9};
    std::uniform_real_distribution<float> unit{0.0f, 1.0f};
    for(int k = 0; k != 500; ++k) {
        /* On and inside the cone's surface, from just past the near plane to the range */
        const float angle = k < 100 ? half : half*unit(rng);
        const float around = 6.2831853f*unit(rng);
        const float along = k % 2 ? 30.0f*unit(rng) : (k % 4 ? 30.0f : 0.1f);
        const float distance = std::max(along, 0.1001f)/std::cos(angle);
        const Vector3 direction = axis*std::cos(angle) + (side*std::cos(around) + up*std::sin(around))*std::sin(angle);
        ASSERT_TRUE(insideClip(shadows.projectionMatrices()[0], shadows.viewMatrices()[0], position + direction*distance)) << k;
    }
    /* ... and no further: a point on the cone in the light's local x direction lies on the
       frustum's side */
    const Vector4 edge = shadows.projectionMatrices()[0]*(shadows.viewMatrices()[0]*Vector4{position + (axis*std::cos(half) + side*std::sin(half))*10.0f, 1.0f});
    EXPECT_NEAR(std::max(std::abs(edge[0]), std::abs(edge[1]))/edge[3], 1.0f, 1.0e-4f);
    /* The frustum reaches exactly to the range */
    const Vector4 clip = shadows.projectionMatrices()[0]*(shadows.viewMatrices()[0]*Vector4{position + axis*30.0f, 1.0f});
    EXPECT_NEAR(clip[2]/clip[3], 1.0f, 1.0e-4f);
    EXPECT_EQ(shadows.lightSlices()[0].origin, position);
}

TEST(LightManagerTest, pointPairCoversTheSphere) {
    Scene scene;
    const Quaternion rotation = Quaternion::rotation(0.5f, Vector3{0.0f, 0.0f, 1.0f});
    const Vector3 position{1.0f, -2.0f, 3.0f};
    const Id point = scene.addLight(LightType::Point, DualQuaternion::from(rotation, position));
    scene.parameters(point) = Vector4{0.0f, 0.0f, 1.0f, 12.0f};
    scene.frame(2);
    const ShadowsData& shadows = scene.lights.shadows();
    ASSERT_EQ(shadows.count(), 2u);
    /* The first record looks along the light's axis */
    EXPECT_EQ(shadows.viewMatrices()[0].transformVector(rotation.transformVector(Vector3{0.0f, 1.0f, 0.0f})), (Vector3{0.0f, 0.0f, -1.0f}));
    EXPECT_EQ(shadows.viewMatrices()[1].transformVector(rotation.transformVector(Vector3{0.0f, -1.0f, 0.0f})), (Vector3{0.0f, 0.0f, -1.0f}));

    /* The mapping the header documents for shaders */
    struct Mapped { bool inHemisphere; Vector3 ndc; };
    auto map = [&](unsigned s, const Vector3& world) {
        const Vector4 p = shadows.viewMatrices()[s]*Vector4{world, 1.0f};
        const float d = p.xyz().length();
        const Vector4 clip = shadows.projectionMatrices()[s]*Vector4{p[0]/(d - p[2]), p[1]/(d - p[2]), -d, 1.0f};
        return Mapped{p[2] <= 0.0f, clip.xyz()/clip[3]};
    };
    std::mt19937 rng{4};
    std::normal_distribution<float> normal;
    std::uniform_real_distribution<float> unit{0.0f, 1.0f};
    for(int k = 0; k != 1000; ++k) {
        const Vector3 direction = Vector3{normal(rng), normal(rng), normal(rng)}.normalized();
        const float distance = 0.1f + (12.0f - 0.1f)*unit(rng);
        const Vector3 world = position + direction*distance;
        const Mapped a = map(0, world), b = map(1, world);
        /* Exactly one hemisphere owns each direction (the rim belongs to both) */
        ASSERT_TRUE(a.inHemisphere || b.inHemisphere) << k;
        const Mapped& owner = a.inHemisphere ? a : b;
        ASSERT_LE(owner.ndc.xy().length(), 1.0f + 1.0e-5f) << k;
        ASSERT_LE(std::abs(owner.ndc[2]), 1.0f + 1.0e-4f) << k;
        /* Depth grows with the distance */
        ASSERT_NEAR(owner.ndc[2], 2.0f*(distance - 0.1f)/(12.0f - 0.1f) - 1.0f, 1.0e-3f) << k;
    }
}

TEST(LightManagerTest, fitFollowsTheLightsNotTheirOrder) {
    /* Records of several lights of each kind fitted in one pass; each record is fitted to its
       own light */
    Scene scene;
    std::vector<Id> ids;
    for(int k = 0; k != 6; ++k) {
        const LightType type = LightType(k % 3);
        ids.push_back(scene.addLight(type, DualQuaternion::translation(Vector3{float(k), 0.0f, 0.0f})));
        scene.parameters(ids.back()) = Vector4{50.0f, 30.0f, 1.0f, 20.0f + float(k)};
        if(type == LightType::Sun) scene.lights.shadowParameters()[scene.lights.indexOf(ids.back())][3] = 2.0f;
    }
    scene.frame(64);
    const ShadowsData& shadows = scene.lights.shadows();
    ASSERT_EQ(shadows.count(), 2u*2 + 2*2 + 2*1);
    for(unsigned s = 0; s != shadows.count(); ++s) {
        const IndexType light = shadows.owners()[s];
        EXPECT_EQ(shadows.parameters()[s].range, scene.lights.parameters()[light][3]);
        if(shadows.parameters()[s].kind != ShadowKind::Sun) {
            EXPECT_EQ(shadows.lightSlices()[s].origin, scene.lights.positions()[light].xyz()) << s;
        }
    }
}

TEST(LightManagerDeathTest, invalid) {
    Scene scene;
    const Id light = scene.addLight(LightType::Point);
    EXPECT_DEATH(scene.lights.setLightType(scene.lights.indexOf(light), LightType(3)), "^LightManager::setLightType\\(\\): invalid type LightType\\(0x3\\)\n$");
    EXPECT_DEATH(scene.lights.setupShadows(scene.graph, scene.views, Id{1}, 4), "^LightManager::setupShadows\\(\\): view Id\\(1\\) is not alive\n$");
    scene.parameters(light)[2] = 1.0f;
    scene.frame(4);
    EXPECT_DEATH(scene.lights.setupShadowSplits(scene.views, scene.camera, 0), "^LightManager::setupShadowSplits\\(\\): shadow 0 is not the first record of a sun\n$");
    EXPECT_DEATH(scene.lights.shadows().setMapSize(1), "^ShadowsData::setMapSize\\(\\): expected at least 2 texels, got 1\n$");
    ShadowCameraSlice slices[2];
    const float distances[]{1.0f, 2.0f, 3.0f};
    EXPECT_DEATH(LightManager::updateShadowSplits(ViewParams::from(scene.views, 0), distances, slices), "^LightManager::updateShadowSplits\\(\\): expected 3 slices, got 2\n$");
    EXPECT_DEATH(ViewParams::from(scene.views, 1), "^ViewParams::from\\(\\): index 1 out of range for 1 views\n$");
    /* Records of a light deleted since they were set up */
    scene.graph.deleteComponent(scene.lights.owner(0), 0, scene.lights.idOf(0));
    EXPECT_DEATH(scene.lights.updateShadows(scene.graph, scene.views, scene.camera, true), "^LightManager::updateShadows\\(\\): shadow 0 belongs to light 0 but there are 0 lights\n$");
    LightManager unregistered{1};
    EXPECT_DEATH(unregistered.doUpdate(), "^LightManager::doUpdate\\(\\): the manager is not registered with a scene graph\n$");
}

}}}
