/* Headless renders of small scenes on the software rasterizer, checked against what geometry
   predicts: coverage of a projected cube, lit and unlit faces, shadow regions of a sphere over a
   plane, and renders that must agree with each other */

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Primitives.h"
#include "Renderer.h"
#include "QuillmarshEngine/Data/LightManager.h"
#include "QuillmarshEngine/Data/MeshManager.h"
#include "QuillmarshEngine/Data/SceneGraph.h"
#include "QuillmarshEngine/Data/SkinData.h"
#include "QuillmarshEngine/Data/ViewManager.h"
#include "QuillmarshEngine/Math/Packing.h"
#include "QuillmarshEngine/Math/Matrix4.h"
#include "QuillmarshEngine/Math/Quaternion.h"
#include "QuillmarshEngine/Tools/MeshFormat.h"

namespace QuillmarshRenderer { namespace {

typedef Data::SparseArray::IndexType IndexType;

/* One renderer for the whole run: a context is made once per process */
Renderer& renderer() {
    static std::unique_ptr<Renderer> instance = [] {
        std::string error;
        std::unique_ptr<Renderer> r = Renderer::create(error);
        if(!r) ADD_FAILURE() << "no OpenGL context: " << error;
        return r;
    }();
    return *instance;
}

/* The float sphere with half-float normals, as another writer of mesh records could store it */
Trade::MeshData halfNormalSphere() {
    const Trade::MeshData sphere = Tools::packMesh(Tools::MeshDataFlags{}, sphereMesh(24, 32));
    const std::uint32_t count = sphere.vertexCount();
    constexpr std::size_t Stride = 20;
    std::vector<char> vertices(count*Stride);
    const std::uint32_t position = sphere.attributeId(Trade::MeshAttribute::Position), normal = sphere.attributeId(Trade::MeshAttribute::Normal);
    for(std::uint32_t i = 0; i != count; ++i) {
        const char* const from = sphere.vertexData().data() + i*std::size_t(sphere.attributeStride(position));
        std::memcpy(vertices.data() + i*Stride, from + sphere.attributeOffset(position), 12);
        float n[3];
        std::memcpy(n, from + sphere.attributeOffset(normal), 12);
        for(int c = 0; c != 3; ++c) {
            const std::uint16_t half = Math::packHalf(n[c]);
            std::memcpy(vertices.data() + i*Stride + 12 + 2*c, &half, 2);
        }
    }
    std::vector<char> indices{sphere.indexData().begin(), sphere.indexData().end()};
    const Trade::MeshIndexData indexView{sphere.indexType(), indices};
    return Trade::MeshData{Trade::MeshPrimitive::Triangles, std::move(indices), indexView, std::move(vertices), {
        Trade::MeshAttributeData{Trade::MeshAttribute::Position, Trade::VertexFormat::Vector3, 0, count, Stride},
        Trade::MeshAttributeData{Trade::MeshAttribute::Normal, Trade::VertexFormat::Vector3h, 12, count, Stride}}, count};
}

/* The skinned bar with eight joint slots per vertex, its joints and weights in the second four
   and zero weights in the first: drawn right only when both halves are bound where they are */
Trade::MeshData eightJointBar(const Trade::MeshData& bar) {
    const std::uint32_t count = bar.vertexCount();
    constexpr std::size_t Stride = 24 + 16 + 32;
    std::vector<char> vertices(count*Stride, '\0');
    const std::uint32_t ids[]{bar.attributeId(Trade::MeshAttribute::Position), bar.attributeId(Trade::MeshAttribute::Normal),
        bar.attributeId(Trade::MeshAttribute::JointIds), bar.attributeId(Trade::MeshAttribute::Weights)};
    for(std::uint32_t i = 0; i != count; ++i) {
        const char* const from = bar.vertexData().data() + i*std::size_t(bar.attributeStride(ids[0]));
        char* const to = vertices.data() + i*Stride;
        std::memcpy(to, from + bar.attributeOffset(ids[0]), 12);
        std::memcpy(to + 12, from + bar.attributeOffset(ids[1]), 12);
        /* The same joints in both halves, so that the blend's reference joint is the same */
        std::memcpy(to + 24, from + bar.attributeOffset(ids[2]), 8);
        std::memcpy(to + 32, from + bar.attributeOffset(ids[2]), 8);
        std::memcpy(to + 40 + 16, from + bar.attributeOffset(ids[3]), 16);
    }
    std::vector<char> indices{bar.indexData().begin(), bar.indexData().end()};
    const Trade::MeshIndexData indexView{bar.indexType(), indices};
    return Trade::MeshData{Trade::MeshPrimitive::Triangles, std::move(indices), indexView, std::move(vertices), {
        Trade::MeshAttributeData{Trade::MeshAttribute::Position, Trade::VertexFormat::Vector3, 0, count, Stride},
        Trade::MeshAttributeData{Trade::MeshAttribute::Normal, Trade::VertexFormat::Vector3, 12, count, Stride},
        Trade::MeshAttributeData{Trade::MeshAttribute::JointIds, Trade::VertexFormat::UnsignedShort, 24, count, Stride, 8},
        Trade::MeshAttributeData{Trade::MeshAttribute::Weights, Trade::VertexFormat::Float, 40, count, Stride, 8}}, count};
}

/* Mesh indices in the renderer, uploaded once */
struct Meshes {
    std::uint16_t cube, sphere, sphereQuantized, sphereHalf, plane, bar, barQuantized, barEightJoints, barUnskinned;
};
const Meshes& meshes() {
    static const Meshes m = [] {
        Renderer& r = renderer();
        Meshes out;
        out.cube = r.addMesh(Tools::packMesh(Tools::MeshDataFlags{}, cubeMesh()), MeshBounds{{}, 0.87f});
        out.sphere = r.addMesh(Tools::packMesh(Tools::MeshDataFlags{}, sphereMesh(24, 32)), MeshBounds{{}, 1.0f});
        out.sphereQuantized = r.addMesh(Tools::packMesh(Tools::MeshDataFlag::Quantized, sphereMesh(24, 32)), MeshBounds{{}, 1.0f});
        out.sphereHalf = r.addMesh(halfNormalSphere(), MeshBounds{{}, 1.0f});
        out.plane = r.addMesh(Tools::packMesh(Tools::MeshDataFlags{}, planeMesh()), MeshBounds{{}, 1.42f});
        const Trade::MeshData bar = skinnedBarMesh(3, 4);
        out.bar = r.addMesh(Tools::packMesh(Tools::MeshDataFlags{}, bar), MeshBounds{{0.0f, 1.5f, 0.0f}, 1.6f});
        out.barQuantized = r.addMesh(Tools::packMesh(Tools::MeshDataFlag::Quantized, bar), MeshBounds{{0.0f, 1.5f, 0.0f}, 1.6f});
        out.barEightJoints = r.addMesh(eightJointBar(Tools::packMesh(Tools::MeshDataFlags{}, bar)), MeshBounds{{0.0f, 1.5f, 0.0f}, 1.6f});
        out.barUnskinned = r.addMesh(Tools::packMesh(Tools::MeshDataFlag::Position|Tools::MeshDataFlag::Normal, Tools::MeshDataFlags{}, bar), MeshBounds{{0.0f, 1.5f, 0.0f}, 1.6f});
        r.setMaterial(0, Color4{1.0f, 1.0f, 1.0f, 1.0f});
        r.setAmbient(Color3{0.1f, 0.1f, 0.1f});
        return out;
    }();
    return m;
}

/* A scene of the library's managers, updated in the host's frame order */
struct Scene {
    Data::SceneGraph graph{64, 3, 128};
    Data::MeshManager meshes{32, 4};
    Data::ViewManager views{4};
    Data::LightManager lights{4};

    Scene() {
        graph.setComponentManager(0, "mesh", &meshes);
        graph.setComponentManager(1, "view", &views);
        graph.setComponentManager(2, "light", &lights);
        graph.activate();
    }

    Data::Id object(const DualQuaternion& local, const Vector3& scaling = Vector3{1.0f, 1.0f, 1.0f}, Data::Id parent = Data::Id{}) {
        const Data::Id id = graph.addObject(parent);
        graph.setLocalTransformation(graph.indexOf(id), local);
        graph.setLocalScaling(graph.indexOf(id), scaling);
        return id;
    }
    void instance(Data::Id owner, std::uint16_t mesh, std::uint16_t skin = 0, std::uint16_t material = 0) {
        const Data::Id id = meshes.addComponent(owner);
        IndexType i = meshes.indexOf(id);
        meshes.meshes()[i] = mesh;
        meshes.skins()[i] = skin;
        meshes.materials()[i] = material;
        i = meshes.setGroup(i, 0, skin ? 1 : 0);
        meshes.activate(i);
    }
    /* A view on owner, perspective of a horizontal field of view or orthographic of an extent */
    Data::Id view(Data::Id owner, std::int32_t width, std::int32_t height, float fov, float extent = 0.0f) {
        const Data::Id id = views.addComponent(owner);
        const IndexType i = views.activate(views.indexOf(id));
        views.viewports()[i] = Vector4i{0, 0, width, height};
        views.projectionParams()[i] = Vector4{0.1f, 50.0f, fov, extent};
        views.projectionTypes()[i] = extent > 0.0f ? 1 : 0;
        return id;
    }
    void light(Data::LightType type, const Vector3& position, const Vector3& direction, const Color4& color, const Vector4& parameters, float cascades = 0.0f) {
        const Data::Id owner = object(DualQuaternion::from(Quaternion::rotation(Vector3::yAxis(), direction.normalized()), position));
        IndexType i = lights.setLightType(lights.indexOf(lights.addComponent(owner)), type);
        i = lights.activate(i);
        lights.colors()[i] = color;
        lights.parameters()[i] = parameters;
        lights.shadowParameters()[i] = Vector4{0.0f, 0.0f, 0.0f, cascades};
    }
    void update(Data::Id shadowView) {
        graph.setDirty(0);
        graph.computeAbsoluteTransformations();
        meshes.update(0.0);
        views.update(0.0);
        for(IndexType i = 0; i != views.activeCount(); ++i) views.projectionMatrices()[i] = views.generateProjectionMatrix(i);
        lights.update(0.0);
        lights.shadows().setMapSize(1024);
        lights.setupShadows(graph, views, shadowView, 16);
    }
    std::vector<std::uint8_t> render(Data::Id eye, std::uint32_t width, std::uint32_t height, bool lit = true) {
        Frame frame;
        frame.graph = &graph;
        frame.meshes = &meshes;
        frame.views = &views;
        frame.eyes[0] = eye;
        frame.lights = lit ? &lights : nullptr;
        frame.shadowView = eye;
        std::vector<std::uint8_t> out;
        renderer().render(frame, width, height, out);
        EXPECT_EQ(renderer().glError(), 0u);
        return out;
    }
};

/* A camera at eye looking at target */
DualQuaternion camera(const Vector3& eye, const Vector3& target, const Vector3& up = Vector3::yAxis()) {
    return DualQuaternion::fromMatrix(Matrix4::lookAt(eye, target, up));
}

int red(const std::vector<std::uint8_t>& image, std::uint32_t width, std::uint32_t x, std::uint32_t y) {
    return image[(std::size_t(y)*width + x)*4];
}

/* Distance from p to the segment a b */
double segmentDistance(double px, double py, double ax, double ay, double bx, double by) {
    const double dx = bx - ax, dy = by - ay;
    const double t = std::clamp(((px - ax)*dx + (py - ay)*dy)/(dx*dx + dy*dy), 0.0, 1.0);
    return std::hypot(px - ax - t*dx, py - ay - t*dy);
}

TEST(RendererTest, cubeCoversItsAnalyticProjection) {
    constexpr std::uint32_t W = 160, H = 120;
    const double Fov = 60.0;
    Scene scene;
    /* Camera at the origin looking down -Z; the cube turned about a slanted axis */
    const Data::Id eye = scene.view(scene.object(DualQuaternion{}), W, H, float(Fov));
    const Quaternion rotation = Quaternion::rotation(0.6f, Vector3{1.0f, 1.0f, 0.3f}.normalized());
    const Vector3 position{0.4f, -0.25f, -4.0f};
    scene.instance(scene.object(DualQuaternion::from(rotation, position), Vector3{1.2f, 0.8f, 1.0f}), meshes().cube);
    scene.update(eye);
    const std::vector<std::uint8_t> image = scene.render(eye, W, H, false);

    /* Corners through a pinhole of the horizontal field of view, to pixels with y down */
    const double t = std::tan(Fov*3.14159265358979/360.0), aspect = double(W)/H;
    std::vector<std::pair<double, double>> points;
    for(int k = 0; k != 8; ++k) {
        const Vector3 local{(k & 1 ? 0.5f : -0.5f)*1.2f, (k & 2 ? 0.5f : -0.5f)*0.8f, k & 4 ? 0.5f : -0.5f};
        const Vector3 p = DualQuaternion::from(rotation, position).transformPointNormalized(local);
        const double x = p.x()/(-p.z()*t), y = p.y()*aspect/(-p.z()*t);
        points.emplace_back((x + 1.0)*0.5*W, (1.0 - y)*0.5*H);
    }
    /* Convex hull, counter-clockwise in image coordinates (monotone chain) */
    std::sort(points.begin(), points.end());
    std::vector<std::pair<double, double>> hull;
    const auto cross = [](auto o, auto a, auto b) { return (a.first - o.first)*(b.second - o.second) - (a.second - o.second)*(b.first - o.first); };
    for(int pass = 0; pass != 2; ++pass) {
        const std::size_t start = hull.size();
        for(const auto& p: points) {
            while(hull.size() >= start + 2 && cross(hull[hull.size() - 2], hull.back(), p) <= 0) hull.pop_back();
            hull.push_back(p);
        }
        hull.pop_back();
        std::reverse(points.begin(), points.end());
    }

    std::uint32_t inside = 0, mismatches = 0, checked = 0;
    for(std::uint32_t y = 0; y != H; ++y) for(std::uint32_t x = 0; x != W; ++x) {
        const double px = x + 0.5, py = y + 0.5;
        bool in = true;
        double distance = 1.0e9;
        for(std::size_t i = 0; i != hull.size(); ++i) {
            const auto& a = hull[i];
            const auto& b = hull[(i + 1) % hull.size()];
            if(cross(a, b, std::pair{px, py}) < 0) in = false;
            distance = std::min(distance, segmentDistance(px, py, a.first, a.second, b.first, b.second));
        }
        inside += in;
        /* Within one pixel of the border either answer is right */
        if(distance <= 1.0) continue;
        ++checked;
        if(in != (red(image, W, x, y) > 8)) ++mismatches;
    }
    EXPECT_GT(inside, 1500u);
    EXPECT_GT(checked, W*H*9/10);
    EXPECT_EQ(mismatches, 0u);
}

TEST(RendererTest, litFaceIsBrighterThanTheFaceTurnedAway) {
    constexpr std::uint32_t W = 128, H = 96;
    Scene scene;
    const Data::Id eye = scene.view(scene.object(camera({0.0f, 0.0f, 5.0f}, {})), W, H, 50.0f);
    /* Turned 45 degrees about Y: the +X face shows on the right, the +Z face on the left */
    scene.instance(scene.object(DualQuaternion::rotation(0.7853982f, Vector3::yAxis()), Vector3{2.0f, 2.0f, 2.0f}), meshes().cube);
    /* A sun shining towards -X, without shadows */
    scene.light(Data::LightType::Sun, {5.0f, 0.0f, 0.0f}, {-1.0f, 0.0f, 0.0f}, {1.0f, 1.0f, 1.0f, 0.8f}, {0.0f, 0.0f, 0.0f, 20.0f});
    scene.update(eye);
    const std::vector<std::uint8_t> image = scene.render(eye, W, H);

    /* Sample a patch inside each face, away from the middle edge */
    const auto mean = [&](std::uint32_t x0) {
        double sum = 0.0;
        for(std::uint32_t y = H/2 - 5; y != H/2 + 5; ++y) for(std::uint32_t x = x0; x != x0 + 10; ++x) sum += red(image, W, x, y);
        return sum/100.0;
    };
    const double left = mean(W/2 - 22), right = mean(W/2 + 12);
    /* The +X face takes cos 45 of the light on top of the ambient, the +Z face none of it */
    EXPECT_NEAR(right, 255.0*(0.1 + 0.8*0.7071), 4.0);
    EXPECT_NEAR(left, 255.0*0.1, 2.0);
}

/* A unit sphere at (0, 2, 0) over a plane, seen from straight above by an orthographic camera;
   every pixel maps to a point of the plane. The expectation is the plane point's ray towards the
   light: shadowed when it passes the sphere, lit when it misses by a margin. */
void checkShadow(Data::LightType type, const Vector3& lightPosition, const Vector3& direction, const Color4& color, const Vector4& parameters, float cascades) {
    constexpr std::uint32_t S = 160;
    constexpr float Extent = 12.0f;
    const Vector3 center{0.0f, 2.0f, 0.0f};
    std::vector<std::uint8_t> images[2];
    for(int shadows = 0; shadows != 2; ++shadows) {
        Scene scene;
        const Data::Id eye = scene.view(scene.object(camera({0.0f, 12.0f, 0.0f}, {}, {0.0f, 0.0f, -1.0f})), S, S, 0.0f, Extent);
        scene.instance(scene.object(DualQuaternion{}, Vector3{8.0f, 1.0f, 8.0f}), meshes().plane);
        scene.instance(scene.object(DualQuaternion::translation(center)), meshes().sphere);
        Vector4 p = parameters;
        p.z() = float(shadows);
        scene.light(type, lightPosition, direction, color, p, cascades);
        scene.update(eye);
        images[shadows] = scene.render(eye, S, S);
        if(shadows) {
            EXPECT_GT(renderer().shadowMapsDrawn(), 0u);
        }
    }

    const double Margin = 0.25;
    std::uint32_t shadowed = 0, lit = 0;
    for(std::uint32_t y = 0; y != S; ++y) for(std::uint32_t x = 0; x != S; ++x) {
        /* Image right is +X, image down is +Z */
        const Vector3 plane{(float(x) + 0.5f)/S*Extent - Extent/2, 0.0f, (float(y) + 0.5f)/S*Extent - Extent/2};
        /* The sphere hides the plane beneath it */
        if(std::hypot(plane.x(), plane.z()) < 1.0 + Margin) continue;
        Vector3 toLight = type == Data::LightType::Sun ? -direction.normalized() : (lightPosition - plane).normalized();
        const float reach = type == Data::LightType::Sun ? 1.0e9f : (lightPosition - plane).length();
        const float along = Math::dot(center - plane, toLight);
        const double miss = along < 0.0f || along > reach ? 1.0e9 : (center - plane - toLight*along).length();
        if(type == Data::LightType::Spot) {
            /* Keep away from the cone's soft edge */
            const float cosine = Math::dot(-toLight, direction.normalized());
            if(cosine < std::cos(parameters.y()*0.5f*3.14159265f/180.0f) + 0.02f) continue;
        }
        const int with = red(images[1], S, x, y), without = red(images[0], S, x, y);
        if(miss < 1.0 - Margin) {
            ++shadowed;
            /* Only the ambient light is left */
            EXPECT_NEAR(with, 255.0*0.1, 3.0) << "at pixel " << x << ", " << y;
        } else if(miss > 1.0 + Margin) {
            ++lit;
            EXPECT_NEAR(with, without, 3.0) << "at pixel " << x << ", " << y;
            EXPECT_GT(without, 255.0*0.1 + 20.0) << "at pixel " << x << ", " << y;
        }
    }
    EXPECT_GT(shadowed, 300u);
    EXPECT_GT(lit, 3000u);
}

TEST(RendererTest, sunShadowOfASphere) {
    checkShadow(Data::LightType::Sun, {0.0f, 10.0f, 0.0f}, {1.0f, -1.0f, 0.3f}, {1.0f, 1.0f, 1.0f, 0.7f}, {0.0f, 0.0f, 1.0f, 30.0f}, 2.0f);
}

TEST(RendererTest, spotShadowOfASphere) {
    checkShadow(Data::LightType::Spot, {-3.0f, 6.0f, 1.0f}, {3.5f, -6.0f, -1.0f}, {1.0f, 1.0f, 1.0f, 30.0f}, {100.0f, 80.0f, 1.0f, 20.0f}, 0.0f);
}

TEST(RendererTest, pointShadowOfASphere) {
    checkShadow(Data::LightType::Point, {-2.0f, 5.0f, 0.5f}, {0.0f, 1.0f, 0.0f}, {1.0f, 1.0f, 1.0f, 25.0f}, {0.0f, 0.0f, 1.0f, 20.0f}, 0.0f);
}

/* Fraction of pixels whose channels differ by more than tolerance, and the largest difference */
std::pair<double, int> difference(const std::vector<std::uint8_t>& a, const std::vector<std::uint8_t>& b, int tolerance) {
    std::size_t differing = 0;
    int largest = 0;
    for(std::size_t i = 0; i < a.size(); i += 4) {
        int d = 0;
        for(int c = 0; c != 3; ++c) d = std::max(d, std::abs(int(a[i + c]) - int(b[i + c])));
        largest = std::max(largest, d);
        differing += d > tolerance;
    }
    return {double(differing)/double(a.size()/4), largest};
}

TEST(RendererTest, quantizedAndHalfFloatMeshesRenderLikeTheFloatOne) {
    constexpr std::uint32_t W = 128, H = 128;
    std::vector<std::uint8_t> images[3];
    const std::uint16_t variants[]{meshes().sphere, meshes().sphereQuantized, meshes().sphereHalf};
    for(int v = 0; v != 3; ++v) {
        Scene scene;
        const Data::Id eye = scene.view(scene.object(camera({0.0f, 1.0f, 4.0f}, {})), W, H, 50.0f);
        scene.instance(scene.object(DualQuaternion{}), variants[v]);
        scene.light(Data::LightType::Sun, {}, {-0.5f, -0.7f, -1.0f}, {1.0f, 1.0f, 1.0f, 0.9f}, {0.0f, 0.0f, 0.0f, 10.0f});
        scene.update(eye);
        images[v] = scene.render(eye, W, H);
    }
    for(int v = 1; v != 3; ++v) {
        const auto [fraction, largest] = difference(images[0], images[v], 2);
        EXPECT_EQ(fraction, 0.0) << "variant " << v;
        EXPECT_LE(largest, 2) << "variant " << v;
    }
    /* Not vacuously: the sphere is there and shaded */
    EXPECT_GT(red(images[0], W, W/2, H/2), 100);
    EXPECT_LT(red(images[0], W, W/2, H/2 + 40), red(images[0], W, W/2, H/2) - 20);
}

TEST(RendererTest, skinnedBindPoseRendersLikeTheUnskinnedMesh) {
    constexpr std::uint32_t W = 128, H = 128;
    const DualQuaternion placement = DualQuaternion::from(Quaternion::rotation(0.4f, Vector3::zAxis()), Vector3{0.3f, -1.2f, 0.0f});
    std::vector<std::uint8_t> images[2];
    for(int skinned = 0; skinned != 2; ++skinned) {
        Scene scene;
        const Data::Id eye = scene.view(scene.object(camera({0.0f, 0.5f, 6.0f}, {})), W, H, 60.0f);
        scene.light(Data::LightType::Sun, {}, {-0.5f, -0.7f, -1.0f}, {1.0f, 1.0f, 1.0f, 0.9f}, {0.0f, 0.0f, 0.0f, 10.0f});
        if(skinned) {
            /* Joints wherever their chain puts them; each inverse bind pose takes the mesh from
               the placement into its joint, so the bind pose is the placement itself */
            std::vector<Data::Id> joints;
            std::vector<DualQuaternion> inverseBind;
            for(int j = 0; j != 3; ++j) joints.push_back(scene.object(DualQuaternion::from(
                Quaternion::rotation(0.3f + 0.2f*float(j), Vector3{0.2f, 1.0f, 0.4f}.normalized()), Vector3{0.5f, 1.0f, -0.2f}), Vector3{1.0f, 1.0f, 1.0f}, j ? joints.back() : Data::Id{}));
            scene.update(eye);
            for(int j = 0; j != 3; ++j) inverseBind.push_back(scene.graph.worldTransformation(scene.graph.indexOf(joints[std::size_t(j)])).inverted()*placement);
            const std::vector<Vector3> scalings(3, Vector3{1.0f, 1.0f, 1.0f});
            std::string error;
            const std::optional<std::uint16_t> skin = renderer().addSkin(Data::createSkinData(inverseBind, scalings, joints), error);
            ASSERT_TRUE(skin) << error;
            scene.instance(scene.object(DualQuaternion::translation(Vector3{9.0f, 9.0f, 9.0f})), meshes().bar, *skin);
        } else {
            scene.instance(scene.object(placement), meshes().barUnskinned);
        }
        scene.update(eye);
        images[skinned] = scene.render(eye, W, H);
    }
    const auto [fraction, largest] = difference(images[0], images[1], 8);
    EXPECT_LT(fraction, 0.002);
    /* The bar is in the picture */
    std::size_t covered = 0;
    for(std::size_t i = 0; i < images[0].size(); i += 4) covered += images[0][i] > 8;
    EXPECT_GT(covered, 400u);
}

TEST(RendererTest, posedJointsMoveTheirVertices) {
    constexpr std::uint32_t S = 120;
    constexpr float Extent = 6.0f;
    std::vector<std::uint8_t> images[3];
    const std::uint16_t variants[]{meshes().bar, meshes().barQuantized, meshes().barEightJoints};
    for(int v = 0; v != 3; ++v) {
        SCOPED_TRACE(v);
        Scene scene;
        /* Orthographic, looking down -Z at the square [-3, 3] around (0, 1.5) */
        const Data::Id eye = scene.view(scene.object(DualQuaternion::translation(Vector3{0.0f, 1.5f, 10.0f})), S, S, 0.0f, Extent);
        /* The bar stands on the origin, a joint per unit; the top joint turns a quarter clockwise
           about Z at its pivot (0, 2, 0), so the top unit, which follows it alone, lies along +X */
        std::vector<Data::Id> joints;
        std::vector<DualQuaternion> inverseBind;
        for(int j = 0; j != 3; ++j) {
            const Quaternion turn = j == 2 ? Quaternion::rotation(-1.5707963f, Vector3::zAxis()) : Quaternion{};
            joints.push_back(scene.object(DualQuaternion::from(turn, Vector3{0.0f, j ? 1.0f : 0.0f, 0.0f}), Vector3{1.0f, 1.0f, 1.0f}, j ? joints.back() : Data::Id{}));
            inverseBind.push_back(DualQuaternion::translation(Vector3{0.0f, -float(j), 0.0f}));
        }
        std::string error;
        const std::optional<std::uint16_t> skin = renderer().addSkin(Data::createSkinData(inverseBind, std::vector<Vector3>(3, Vector3{1.0f, 1.0f, 1.0f}), joints), error);
        ASSERT_TRUE(skin) << error;
        scene.instance(scene.object(DualQuaternion{}), variants[v], *skin);
        scene.update(eye);
        images[v] = scene.render(eye, S, S, false);
    }
    const std::vector<std::uint8_t>& image = images[0];

    const auto covered = [&](float x, float y) {
        const std::uint32_t px = std::uint32_t((x + Extent/2)/Extent*S), py = std::uint32_t((1.5f + Extent/2 - y)/Extent*S);
        return red(image, S, px, py) > 8;
    };
    /* The lower units stay, the top one moved from above the pivot to its right */
    EXPECT_TRUE(covered(0.0f, 0.5f));
    EXPECT_TRUE(covered(0.0f, 1.2f));
    EXPECT_TRUE(covered(0.6f, 2.0f));
    EXPECT_TRUE(covered(0.9f, 2.1f));
    EXPECT_FALSE(covered(0.0f, 2.8f));
    EXPECT_FALSE(covered(-0.6f, 2.0f));
    /* Quantized weights and eight joint slots pose alike */
    for(int v = 1; v != 3; ++v) EXPECT_LT(difference(images[0], images[v], 8).first, 0.002) << "variant " << v;

    /* Records too short for their joints are refused with the reason */
    std::string refused;
    EXPECT_FALSE(renderer().addSkin(std::vector<char>(3), refused));
    EXPECT_EQ(refused, "a skin record needs at least 4 bytes, got 3");
    const Data::Id someJoints[]{Data::Id{1}, Data::Id{2}, Data::Id{3}};
    std::vector<char> truncated = Data::createSkinData(std::vector<DualQuaternion>(3), std::vector<Vector3>(3, Vector3{1.0f, 1.0f, 1.0f}), someJoints);
    truncated.pop_back();
    EXPECT_FALSE(renderer().addSkin(truncated, refused));
    EXPECT_EQ(refused, "a skin record of 3 joints needs 142 bytes, got 141");
}

TEST(RendererTest, materialsComeWithEachInstance) {
    constexpr std::uint32_t W = 96, H = 64;
    Scene scene;
    const Data::Id eye = scene.view(scene.object(camera({0.0f, 0.0f, 5.0f}, {})), W, H, 60.0f);
    renderer().setMaterial(1, Color4{1.0f, 0.0f, 0.0f, 1.0f});
    renderer().setMaterial(2, Color4{0.0f, 1.0f, 0.0f, 1.0f});
    EXPECT_FALSE(renderer().setMaterial(std::uint16_t(MaxMaterials), Color4{}));
    scene.instance(scene.object(DualQuaternion::translation(Vector3{-1.0f, 0.0f, 0.0f})), meshes().cube, 0, 1);
    scene.instance(scene.object(DualQuaternion::translation(Vector3{1.0f, 0.0f, 0.0f})), meshes().cube, 0, 2);
    scene.update(eye);
    const std::vector<std::uint8_t> image = scene.render(eye, W, H, false);
    /* One instanced draw for both */
    EXPECT_EQ(renderer().plan().runs().size(), 1u);
    const std::uint8_t* left = image.data() + (std::size_t(H/2)*W + W/2 - 15)*4;
    const std::uint8_t* right = image.data() + (std::size_t(H/2)*W + W/2 + 15)*4;
    EXPECT_GT(left[0], 20);
    EXPECT_EQ(left[1], 0);
    EXPECT_EQ(right[0], 0);
    EXPECT_GT(right[1], 20);
}

TEST(RendererTest, dirtyMeshesAreUploadedAgain) {
    constexpr std::uint32_t W = 64, H = 64;
    /* A mesh of the renderer's own, so that the other tests keep theirs */
    const std::uint16_t mesh = renderer().addMesh(Tools::packMesh(Tools::MeshDataFlags{}, cubeMesh()), MeshBounds{{}, 0.87f});
    Scene scene;
    const Data::Id eye = scene.view(scene.object(camera({0.0f, 0.0f, 4.0f}, {})), W, H, 60.0f);
    scene.instance(scene.object(DualQuaternion{}), mesh);
    scene.update(eye);
    const auto coverage = [&] {
        const std::vector<std::uint8_t> image = scene.render(eye, W, H, false);
        std::size_t covered = 0;
        for(std::size_t i = 0; i < image.size(); i += 4) covered += image[i] > 8;
        return covered;
    };
    const std::size_t cube = coverage();

    /* Marked dirty, the mesh is taken again from the source, here a sphere of radius 1 (the
       cube's half side is 0.5, so it grows); an index past the uploads is only cleared */
    const Trade::MeshData sphere = Tools::packMesh(Tools::MeshDataFlags{}, sphereMesh(16, 24));
    scene.meshes.markMeshDirty(mesh);
    scene.meshes.markMeshDirty(std::uint16_t(mesh + 5));
    std::vector<std::uint16_t> asked;
    EXPECT_EQ(renderer().refreshDirtyMeshes(scene.meshes, [&](std::uint16_t index, MeshBounds& bounds) -> const Trade::MeshData* {
        asked.push_back(index);
        bounds.radius = 1.0f;
        return &sphere;
    }), 1u);
    EXPECT_EQ(asked, std::vector<std::uint16_t>{mesh});
    EXPECT_FALSE(scene.meshes.isMeshDirty(mesh));
    EXPECT_FALSE(scene.meshes.isMeshDirty(std::uint16_t(mesh + 5)));
    const std::size_t grown = coverage();
    EXPECT_GT(grown, cube*2);

    /* Nothing dirty, nothing asked */
    EXPECT_EQ(renderer().refreshDirtyMeshes(scene.meshes, [&](std::uint16_t, MeshBounds&) -> const Trade::MeshData* {
        ADD_FAILURE();
        return nullptr;
    }), 0u);
    EXPECT_FALSE(renderer().replaceMesh(std::uint16_t(renderer().meshCount()), sphere, MeshBounds{}));
}

TEST(RendererTest, stereoPairMatchesTwoSingleEyeRenders) {
    constexpr std::uint32_t W = 96, H = 80;
    Scene scene;
    const Data::Id head = scene.object(camera({0.5f, 2.0f, 6.0f}, {0.0f, 0.5f, 0.0f}));
    const Data::Id left = scene.view(scene.object(DualQuaternion::translation(Vector3{-0.1f, 0.0f, 0.0f}), Vector3{1.0f, 1.0f, 1.0f}, head), W, H, 70.0f);
    const Data::Id right = scene.view(scene.object(DualQuaternion::translation(Vector3{0.1f, 0.0f, 0.0f}), Vector3{1.0f, 1.0f, 1.0f}, head), W, H, 70.0f);
    scene.instance(scene.object(DualQuaternion{}, Vector3{6.0f, 1.0f, 6.0f}), meshes().plane);
    for(int k = 0; k != 5; ++k)
        scene.instance(scene.object(DualQuaternion::translation(Vector3{-2.0f + float(k), 0.5f, -float(k % 3)})), k % 2 ? meshes().cube : meshes().sphereQuantized);
    scene.light(Data::LightType::Sun, {}, {-0.4f, -1.0f, -0.3f}, {1.0f, 1.0f, 1.0f, 0.8f}, {0.0f, 0.0f, 1.0f, 20.0f}, 2.0f);
    scene.update(left);

    Frame frame;
    frame.graph = &scene.graph;
    frame.meshes = &scene.meshes;
    frame.views = &scene.views;
    frame.lights = &scene.lights;
    frame.shadowView = left;
    frame.eyes[0] = left;
    frame.eyes[1] = right;
    frame.eyeCount = 2;
    std::vector<std::uint8_t> pair, single[2];
    renderer().render(frame, 2*W, H, pair);
    for(int e = 0; e != 2; ++e) {
        frame.eyeCount = 1;
        frame.eyes[0] = e ? right : left;
        renderer().render(frame, W, H, single[e]);
    }
    for(int e = 0; e != 2; ++e) {
        std::vector<std::uint8_t> half(std::size_t(W)*H*4);
        for(std::uint32_t y = 0; y != H; ++y)
            std::copy_n(pair.begin() + (std::size_t(y)*2*W + e*W)*4, W*4, half.begin() + std::size_t(y)*W*4);
        const auto [fraction, largest] = difference(half, single[e], 0);
        EXPECT_EQ(fraction, 0.0) << "eye " << e << ", largest difference " << largest;
    }
    /* The eyes see different pictures */
    EXPECT_GT(difference(single[0], single[1], 8).first, 0.01);

    /* With an orthographic eye there is no combined frustum: the pair is drawn unculled and
       still matches */
    scene.views.projectionTypes()[scene.views.indexOf(right)] = 1;
    scene.views.projectionParams()[scene.views.indexOf(right)].w() = 8.0f;
    scene.update(left);
    frame.eyes[0] = left;
    frame.eyeCount = 2;
    renderer().render(frame, 2*W, H, pair);
    EXPECT_EQ(renderer().plan().culledInstances(), 0u);
    frame.eyeCount = 1;
    frame.eyes[0] = right;
    renderer().render(frame, W, H, single[1]);
    std::vector<std::uint8_t> half(std::size_t(W)*H*4);
    for(std::uint32_t y = 0; y != H; ++y)
        std::copy_n(pair.begin() + (std::size_t(y)*2*W + W)*4, W*4, half.begin() + std::size_t(y)*W*4);
    EXPECT_EQ(difference(half, single[1], 0).first, 0.0);
}

}}
