#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <map>
#include <random>

#include <meshoptimizer.h>

#include "QuillmarshEngine/Math/Packing.h"
#include "QuillmarshEngine/Tools/MeshTools.h"

namespace QuillmarshEngine { namespace Tools { namespace {

using Trade::MeshAttribute;
using Trade::VertexFormat;

void expectNear(const Vector3& actual, const Vector3& expected, float epsilon) {
    EXPECT_NEAR(actual.x(), expected.x(), epsilon);
    EXPECT_NEAR(actual.y(), expected.y(), epsilon);
    EXPECT_NEAR(actual.z(), expected.z(), epsilon);
}

/* A mesh owning one float column per attribute, back to back, and 32-bit indices */
template<class T> std::vector<char> bytesOf(const std::vector<T>& values) {
    std::vector<char> out(values.size()*sizeof(T));
    if(!out.empty()) std::memcpy(out.data(), values.data(), out.size());
    return out;
}

Trade::MeshData makeMesh(const std::vector<Vector3>& positions, const std::vector<std::uint32_t>& indices, const std::vector<Vector2>& textureCoordinates = {}) {
    std::vector<char> vertexData = bytesOf(positions);
    std::vector<Trade::MeshAttributeData> attributes{Trade::MeshAttributeData{MeshAttribute::Position, VertexFormat::Vector3, 0, std::uint32_t(positions.size()), 12}};
    if(!textureCoordinates.empty()) {
        const std::size_t offset = vertexData.size();
        const std::vector<char> more = bytesOf(textureCoordinates);
        vertexData.insert(vertexData.end(), more.begin(), more.end());
        attributes.emplace_back(MeshAttribute::TextureCoordinates, VertexFormat::Vector2, offset, std::uint32_t(positions.size()), 8);
    }
    std::vector<char> indexData = bytesOf(indices);
    const Trade::MeshIndexData indexView{Trade::MeshIndexType::UnsignedInt, indexData};
    return Trade::MeshData{Trade::MeshPrimitive::Triangles, std::move(indexData), indexView, std::move(vertexData), std::move(attributes), std::uint32_t(positions.size())};
}

template<class T> std::vector<T> column(const Trade::MeshData& mesh, MeshAttribute name) {
    const StridedArrayView2D<const char> view = mesh.attribute(mesh.attributeId(name));
    std::vector<T> out(mesh.vertexCount());
    for(std::size_t i = 0; i != out.size(); ++i) std::memcpy(&out[i], &view[i][0], sizeof(T));
    return out;
}

TEST(MeshToolsTest, normalsOfACubeIgnoreTheTriangulation) {
    /* Eight shared corners: each normal points away from the centre, whichever diagonal cuts
       each face, because a face counts by area times the angle it has at the corner */
    std::vector<Vector3> positions;
    for(int i = 0; i != 8; ++i) positions.push_back({float(i & 1), float((i >> 1) & 1), float((i >> 2) & 1)});
    const std::uint32_t faces[6][4]{{0, 2, 3, 1}, {4, 5, 7, 6}, {0, 1, 5, 4}, {2, 6, 7, 3}, {0, 4, 6, 2}, {1, 3, 7, 5}};
    for(int diagonals = 0; diagonals < 64; diagonals += 21) {
        std::vector<std::uint32_t> indices;
        for(int f = 0; f != 6; ++f) {
            const std::uint32_t* q = faces[f];
            if(diagonals & (1 << f)) indices.insert(indices.end(), {q[0], q[1], q[2], q[0], q[2], q[3]});
            else indices.insert(indices.end(), {q[0], q[1], q[3], q[1], q[2], q[3]});
        }
        std::vector<Vector3> normals(8);
        generateNormalsInto(positions, indices, normals);
        for(std::size_t i = 0; i != 8; ++i) {
            SCOPED_TRACE(i);
            expectNear(normals[i], (positions[i] - Vector3{0.5f}).normalized(), 1.0e-6f);
        }
    }
}

TEST(MeshToolsTest, normalsWeightFacesByAreaAndAngle) {
    /* A ridge vertex between a 1×1 and a 1×2 rectangle, each with a right angle there: the
       normal is the sum of the unit face normals weighted 1 and 2. Both rectangles are cut by
       a diagonal through the vertex, so it has two corners in each, of 45° and 45° in the
       first and of about 54.7° and 35.3° in the second. */
    const float s = std::sqrt(0.5f);
    const Vector3 a{-s, 0.0f, s}, b{s, 0.0f, s};         /* unit normals of the two faces */
    const std::vector<Vector3> positions{
        {0.0f, 0.0f, 0.0f},                               /* the ridge vertex */
        {0.0f, 1.0f, 0.0f}, {-s, 1.0f, -s}, {-s, 0.0f, -s},  /* face A, 1 × 1 */
        {2*s, 0.0f, -2*s}, {2*s, 1.0f, -2*s}};            /* face B, 1 × 2 */
    const std::vector<std::uint32_t> indices{0, 1, 2, 0, 2, 3, 0, 5, 1, 0, 4, 5};
    std::vector<Vector3> normals(positions.size());
    generateNormalsInto(positions, indices, normals);
    expectNear(normals[0], (a*1.0f + b*2.0f).normalized(), 1.0e-6f);
    /* Face A's far corner has face A alone */
    expectNear(normals[2], a, 1.0e-6f);
}

TEST(MeshToolsTest, normalsOfUntouchedVertices) {
    /* A vertex no triangle uses and the vertices of a degenerate triangle get +Z */
    const std::vector<Vector3> positions{{0.0f, 0.0f, 0.0f}, {1.0f, 0.0f, 0.0f}, {0.0f, 1.0f, 0.0f}, {5.0f, 5.0f, 5.0f}, {2.0f, 2.0f, 2.0f}, {3.0f, 3.0f, 3.0f}};
    const std::vector<std::uint32_t> indices{0, 2, 1, 4, 5, 4};
    std::vector<Vector3> normals(positions.size());
    generateNormalsInto(positions, indices, normals);
    expectNear(normals[0], {0.0f, 0.0f, -1.0f}, 0.0f);
    expectNear(normals[3], Vector3::zAxis(), 0.0f);
    expectNear(normals[4], Vector3::zAxis(), 0.0f);
}

TEST(MeshToolsTest, tangentsOfPlanes) {
    /* On the XY plane with u = x the tangent is +X with w = +1; a mirrored u gives -X, and v
       still grows along +Y, so w = -1; v growing along -Y flips w alone */
    const std::vector<Vector3> positions{{0.0f, 0.0f, 0.0f}, {2.0f, 0.0f, 0.0f}, {2.0f, 1.0f, 0.0f}, {0.0f, 1.0f, 0.0f}};
    const std::vector<Vector3> normals(4, Vector3::zAxis());
    const std::vector<std::uint32_t> indices{0, 1, 2, 0, 2, 3};
    struct Case { float uScale, vScale; Vector4 expected; };
    for(const Case& c: {Case{1.0f, 1.0f, {1.0f, 0.0f, 0.0f, 1.0f}}, Case{-1.0f, 1.0f, {-1.0f, 0.0f, 0.0f, -1.0f}}, Case{0.25f, -3.0f, {1.0f, 0.0f, 0.0f, -1.0f}}}) {
        std::vector<Vector2> uv;
        for(const Vector3& p: positions) uv.push_back({p.x()*c.uScale, p.y()*c.vScale});
        std::vector<Vector4> tangents(4);
        generateTangentsInto(positions, normals, uv, indices, tangents);
        for(const Vector4& t: tangents) {
            expectNear(t.xyz(), c.expected.xyz(), 1.0e-6f);
            EXPECT_EQ(t.w(), c.expected.w());
        }
    }
}

TEST(MeshToolsTest, tangentsOfASphereFollowTheParametrization) {
    /* A UV sphere: u runs with the longitude φ, v with the colatitude θ. The tangent is the unit
       derivative along φ, (-sin φ, cos φ, 0); with the outward normal, cross(n, t) points to
       the north pole, against growing θ: w = -1 */
    constexpr int Rings = 48, Segments = 96;
    std::vector<Vector3> positions, normals;
    std::vector<Vector2> uv;
    for(int r = 0; r <= Rings; ++r) for(int s = 0; s <= Segments; ++s) {
        const float theta = 3.14159265f*float(r)/Rings, phi = 2*3.14159265f*float(s)/Segments;
        const Vector3 p{std::sin(theta)*std::cos(phi), std::sin(theta)*std::sin(phi), std::cos(theta)};
        positions.push_back(p);
        normals.push_back(p);
        uv.push_back({float(s)/Segments, float(r)/Rings});
    }
    std::vector<std::uint32_t> indices;
    for(int r = 0; r != Rings; ++r) for(int s = 0; s != Segments; ++s) {
        const std::uint32_t i = r*(Segments + 1) + s;
        indices.insert(indices.end(), {i, i + Segments + 1, i + 1, i + 1, i + Segments + 1, i + Segments + 2});
    }
    std::vector<Vector4> tangents(positions.size());
    generateTangentsInto(positions, normals, uv, indices, tangents);
    for(int r = 1; r != Rings; ++r) for(int s = 0; s <= Segments; ++s) {
        const std::size_t i = r*(Segments + 1) + s;
        const float phi = 2*3.14159265f*float(s)/Segments;
        SCOPED_TRACE(i);
        /* On the seam a vertex has triangles on one side only, which lean by half a segment */
        const bool seam = s == 0 || s == Segments;
        expectNear(tangents[i].xyz(), {-std::sin(phi), std::cos(phi), 0.0f}, seam ? 3.14159265f/Segments + 1.0e-3f : 1.0e-4f);
        EXPECT_EQ(tangents[i].w(), -1.0f);
    }
}

TEST(MeshToolsTest, tangentsAreOrthogonalToTheNormal) {
    /* A normal leaning away from the face: Gram-Schmidt keeps the tangent orthogonal and unit.
       A triangle whose texture coordinates span no area adds nothing: its vertices fall back to
       some unit vector orthogonal to the normal. */
    const std::vector<Vector3> positions{{0.0f, 0.0f, 0.0f}, {1.0f, 0.0f, 0.0f}, {0.0f, 1.0f, 0.0f}, {0.0f, 0.0f, 1.0f}, {1.0f, 0.0f, 1.0f}, {0.0f, 1.0f, 1.0f}};
    const Vector3 leaning = Vector3{0.6f, 0.0f, 0.8f};
    const std::vector<Vector3> normals{leaning, leaning, leaning, Vector3::xAxis(), Vector3::xAxis(), Vector3::xAxis()};
    const std::vector<Vector2> uv{{0.0f, 0.0f}, {1.0f, 0.0f}, {0.0f, 1.0f}, {0.5f, 0.5f}, {0.5f, 0.5f}, {0.5f, 0.5f}};
    std::vector<Vector4> tangents(6);
    const std::vector<std::uint32_t> indices{0, 1, 2, 3, 4, 5};
    generateTangentsInto(positions, normals, uv, indices, tangents);
    for(std::size_t i = 0; i != 6; ++i) {
        SCOPED_TRACE(i);
        EXPECT_NEAR(tangents[i].xyz().length(), 1.0f, 1.0e-6f);
        EXPECT_NEAR(Math::dot(tangents[i].xyz(), normals[i]), 0.0f, 1.0e-6f);
    }
    expectNear(tangents[0].xyz(), {0.8f, 0.0f, -0.6f}, 1.0e-6f);
    EXPECT_EQ(tangents[3].w(), 1.0f);
}

TEST(MeshToolsTest, generateNormalsOnAMesh) {
    /* Half-float positions with 16-bit indices and a colour: the normals are added as floats,
       everything else comes through byte for byte */
    const std::uint16_t half0 = Math::packHalf(0.0f), half1 = Math::packHalf(1.0f);
    struct Vertex { std::uint16_t position[3]; std::uint8_t colour[4]; };
    const Vertex vertices[]{{{half0, half0, half0}, {1, 2, 3, 4}}, {{half1, half0, half0}, {5, 6, 7, 8}}, {{half0, half1, half0}, {9, 10, 11, 12}}};
    std::vector<char> vertexData(sizeof(vertices));
    std::memcpy(vertexData.data(), vertices, sizeof(vertices));
    const std::uint16_t indices[]{0, 1, 2};
    std::vector<char> indexData(sizeof(indices));
    std::memcpy(indexData.data(), indices, sizeof(indices));
    const Trade::MeshIndexData indexView{Trade::MeshIndexType::UnsignedShort, indexData};
    const Trade::MeshData mesh{Trade::MeshPrimitive::Triangles, std::move(indexData), indexView, std::move(vertexData), {
        Trade::MeshAttributeData{MeshAttribute::Position, VertexFormat::Vector3h, 0, 3, sizeof(Vertex)},
        Trade::MeshAttributeData{MeshAttribute::Color, VertexFormat::Vector4ubNormalized, 6, 3, sizeof(Vertex)}}};

    const Utils::Result<Trade::MeshData> result = generateNormals(mesh);
    ASSERT_TRUE(result) << result.error();
    ASSERT_EQ(result->attributeCount(), 3u);
    EXPECT_EQ(result->attributeFormat(result->attributeId(MeshAttribute::Position)), VertexFormat::Vector3h);
    for(const Vector3& n: column<Vector3>(*result, MeshAttribute::Normal)) expectNear(n, Vector3::zAxis(), 0.0f);
    const std::vector<std::array<std::uint8_t, 4>> colours = column<std::array<std::uint8_t, 4>>(*result, MeshAttribute::Color);
    EXPECT_EQ(colours[2], (std::array<std::uint8_t, 4>{9, 10, 11, 12}));
    EXPECT_EQ(result->indicesAsArray(), (std::vector<std::uint32_t>{0, 1, 2}));

    /* Done again, the normals are replaced, not added */
    const Utils::Result<Trade::MeshData> again = generateNormals(*result);
    ASSERT_TRUE(again);
    EXPECT_EQ(again->attributeCount(MeshAttribute::Normal), 1u);
    EXPECT_EQ(again->attributeCount(), 3u);
}

TEST(MeshToolsTest, generateTangentsOnAMesh) {
    /* Without normals they are computed on the way and not added */
    const Trade::MeshData mesh = makeMesh({{0.0f, 0.0f, 0.0f}, {1.0f, 0.0f, 0.0f}, {0.0f, 1.0f, 0.0f}}, {0, 1, 2}, {{0.0f, 0.0f}, {0.0f, 1.0f}, {-1.0f, 0.0f}});
    const Utils::Result<Trade::MeshData> result = generateTangents(mesh);
    ASSERT_TRUE(result) << result.error();
    EXPECT_FALSE(result->hasAttribute(MeshAttribute::Normal));
    for(const Vector4& t: column<Vector4>(*result, MeshAttribute::Tangent)) {
        expectNear(t.xyz(), {0.0f, -1.0f, 0.0f}, 1.0e-6f);
        EXPECT_EQ(t.w(), 1.0f);
    }
}

TEST(MeshToolsTest, meshFormsRefuseBadMeshes) {
    const Trade::MeshData outOfRange = makeMesh({{0.0f, 0.0f, 0.0f}, {1.0f, 0.0f, 0.0f}, {0.0f, 1.0f, 0.0f}}, {0, 1, 3});
    EXPECT_EQ(generateNormals(outOfRange).error(), "Tools::generateNormals(): index 2 is 3 but the mesh has 3 vertices");
    EXPECT_EQ(optimizeMesh(outOfRange).error(), "Tools::optimizeMesh(): index 2 is 3 but the mesh has 3 vertices");
    const Trade::MeshData notTriangles = makeMesh({{0.0f, 0.0f, 0.0f}, {1.0f, 0.0f, 0.0f}}, {0, 1, 1, 0});
    EXPECT_EQ(generateNormals(notTriangles).error(), "Tools::generateNormals(): expected a multiple of three indices, got 4");
    EXPECT_EQ(generateTangents(makeMesh({{0.0f, 0.0f, 0.0f}}, {0, 0, 0})).error(), "Tools::generateTangents(): the mesh has no Trade::MeshAttribute::TextureCoordinates attribute");

    std::vector<char> lineData(24);
    const Trade::MeshData lines{Trade::MeshPrimitive::LineStrip, std::move(lineData), {Trade::MeshAttributeData{MeshAttribute::Position, VertexFormat::Vector3, 0, 2, 12}}};
    EXPECT_EQ(generateNormals(lines).error(), "Tools::generateNormals(): expected a triangle mesh, got MeshPrimitive::LineStrip");
    EXPECT_EQ(optimizeMesh(lines).error(), "Tools::optimizeMesh(): expected triangles, lines or points, got MeshPrimitive::LineStrip");

    std::vector<char> doubles(72);
    const Trade::MeshData doublePositions{Trade::MeshPrimitive::Triangles, std::move(doubles), {Trade::MeshAttributeData{MeshAttribute::Position, VertexFormat::Vector3d, 0, 3, 24}}};
    EXPECT_EQ(generateNormals(doublePositions).error(), "Tools::generateNormals(): can't read Trade::MeshAttribute::Position of VertexFormat::Vector3d");
}

/* Triangles as sorted position triples, rotated so that the smallest comes first: the same set
   whatever the vertex order and the triangle order */
std::vector<std::array<float, 9>> triangleSet(const Trade::MeshData& mesh) {
    const std::vector<Vector3> positions = column<Vector3>(mesh, MeshAttribute::Position);
    const std::vector<std::uint32_t> indices = mesh.isIndexed() ? mesh.indicesAsArray() : [&] {
        std::vector<std::uint32_t> out(mesh.vertexCount());
        for(std::uint32_t i = 0; i != out.size(); ++i) out[i] = i;
        return out;
    }();
    std::vector<std::array<float, 9>> out;
    for(std::size_t i = 0; i < indices.size(); i += 3) {
        std::array<std::array<float, 3>, 3> corners;
        for(int c = 0; c != 3; ++c) corners[c] = {positions[indices[i + c]].x(), positions[indices[i + c]].y(), positions[indices[i + c]].z()};
        std::rotate(corners.begin(), std::min_element(corners.begin(), corners.end()), corners.end());
        std::array<float, 9> flat;
        for(int c = 0; c != 9; ++c) flat[c] = corners[c/3][c % 3];
        out.push_back(flat);
    }
    std::sort(out.begin(), out.end());
    return out;
}

TEST(MeshToolsTest, optimizeMeshKeepsTheTrianglesAndImprovesTheCache) {
    /* A 40×40 grid of quads with its triangles shuffled, and one vertex nothing uses */
    constexpr std::uint32_t Size = 41;
    std::vector<Vector3> positions;
    for(std::uint32_t y = 0; y != Size; ++y) for(std::uint32_t x = 0; x != Size; ++x) positions.push_back({float(x), float(y), float(x*y % 7)});
    positions.push_back({-1.0f, -1.0f, -1.0f});
    std::vector<std::array<std::uint32_t, 3>> triangles;
    for(std::uint32_t y = 0; y + 1 != Size; ++y) for(std::uint32_t x = 0; x + 1 != Size; ++x) {
        const std::uint32_t i = y*Size + x;
        triangles.push_back({i, i + 1, i + Size + 1});
        triangles.push_back({i, i + Size + 1, i + Size});
    }
    std::shuffle(triangles.begin(), triangles.end(), std::mt19937{3});
    std::vector<std::uint32_t> indices;
    for(const auto& t: triangles) indices.insert(indices.end(), t.begin(), t.end());
    const Trade::MeshData mesh = makeMesh(positions, indices);

    const Utils::Result<Trade::MeshData> result = optimizeMesh(mesh);
    ASSERT_TRUE(result) << result.error();
    EXPECT_EQ(result->vertexCount(), Size*Size);
    EXPECT_EQ(triangleSet(*result), triangleSet(mesh));

    /* Vertices come in the order the indices first use them */
    const std::vector<std::uint32_t> optimized = result->indicesAsArray();
    std::uint32_t next = 0;
    for(const std::uint32_t i: optimized) {
        ASSERT_LE(i, next);
        if(i == next) ++next;
    }
    const float before = meshopt_analyzeVertexCache(indices.data(), indices.size(), positions.size(), 16, 0, 0).acmr;
    const float after = meshopt_analyzeVertexCache(optimized.data(), optimized.size(), result->vertexCount(), 16, 0, 0).acmr;
    EXPECT_LT(after, 0.75f*before);
}

TEST(MeshToolsTest, optimizeMeshIndexesATriangleSoup) {
    /* Every corner of a 2×2 quad grid written out: equal vertices merge into nine */
    std::vector<Vector3> soup;
    for(std::uint32_t y = 0; y != 2; ++y) for(std::uint32_t x = 0; x != 2; ++x) {
        const Vector3 p{float(x), float(y), 0.0f};
        for(const Vector3& c: {p, p + Vector3{1.0f, 0.0f, 0.0f}, p + Vector3{1.0f, 1.0f, 0.0f}, p, p + Vector3{1.0f, 1.0f, 0.0f}, p + Vector3{0.0f, 1.0f, 0.0f}}) soup.push_back(c);
    }
    std::vector<char> vertexData = bytesOf(soup);
    const Trade::MeshData mesh{Trade::MeshPrimitive::Triangles, std::move(vertexData), {Trade::MeshAttributeData{MeshAttribute::Position, VertexFormat::Vector3, 0, std::uint32_t(soup.size()), 12}}};
    const Utils::Result<Trade::MeshData> result = optimizeMesh(mesh);
    ASSERT_TRUE(result) << result.error();
    EXPECT_TRUE(result->isIndexed());
    EXPECT_EQ(result->vertexCount(), 9u);
    EXPECT_EQ(result->indexCount(), 24u);
    EXPECT_EQ(triangleSet(*result), triangleSet(mesh));
}

TEST(MeshToolsDeathTest, spanFormsInvalid) {
    const std::vector<Vector3> positions(3);
    std::vector<Vector3> normals(3), tooFew(2);
    const std::vector<std::uint32_t> two{0, 1}, triangle{0, 1, 2}, outOfRange{0, 1, 3};
    EXPECT_DEATH(generateNormalsInto(positions, two, normals), "Tools::generateNormalsInto\\(\\): expected a multiple of three indices, got 2");
    EXPECT_DEATH(generateNormalsInto(positions, triangle, tooFew), "Tools::generateNormalsInto\\(\\): expected 3 normals, got 2");
    EXPECT_DEATH(generateNormalsInto(positions, outOfRange, normals), "Tools::generateNormalsInto\\(\\): index out of range for 3 vertices in triangle 0");
    std::vector<Vector4> tangents(3);
    const std::vector<Vector2> uv(2);
    EXPECT_DEATH(generateTangentsInto(positions, normals, uv, triangle, tangents), "Tools::generateTangentsInto\\(\\): expected 3 normals, texture coordinates and tangents, got 3, 2 and 3");
}

}}}
