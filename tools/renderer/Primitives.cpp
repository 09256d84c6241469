#include "Primitives.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "QuillmarshEngine/Math/Vector3.h"

namespace QuillmarshRenderer {

namespace {

struct Vertex {
    Vector3 position;
    Vector3 normal;
};

struct SkinnedVertex {
    Vector3 position;
    Vector3 normal;
    std::uint16_t joints[4];
    float weights[4];
};

template<class V> Trade::MeshData meshOf(const std::vector<V>& vertices, const std::vector<std::uint32_t>& indices, const bool skinned) {
    std::vector<char> vertexData(vertices.size()*sizeof(V));
    std::memcpy(vertexData.data(), vertices.data(), vertexData.size());
    std::vector<char> indexData(indices.size()*4);
    std::memcpy(indexData.data(), indices.data(), indexData.size());
    const std::uint32_t count = std::uint32_t(vertices.size());
    std::vector<Trade::MeshAttributeData> attributes{
        Trade::MeshAttributeData{Trade::MeshAttribute::Position, Trade::VertexFormat::Vector3, 0, count, sizeof(V)},
        Trade::MeshAttributeData{Trade::MeshAttribute::Normal, Trade::VertexFormat::Vector3, 12, count, sizeof(V)}};
    if(skinned) {
        attributes.emplace_back(Trade::MeshAttribute::JointIds, Trade::VertexFormat::UnsignedShort, 24, count, sizeof(V), 4);
        attributes.emplace_back(Trade::MeshAttribute::Weights, Trade::VertexFormat::Float, 32, count, sizeof(V), 4);
    }
    const Trade::MeshIndexData indexView{Trade::MeshIndexType::UnsignedInt, indexData};
    return Trade::MeshData{Trade::MeshPrimitive::Triangles, std::move(indexData), indexView, std::move(vertexData), std::move(attributes), count};
}

/* Two triangles of the quad a, b, c, d, counter-clockwise */
void quad(std::vector<std::uint32_t>& indices, std::uint32_t a, std::uint32_t b, std::uint32_t c, std::uint32_t d) {
    indices.insert(indices.end(), {a, b, c, a, c, d});
}

}

Trade::MeshData cubeMesh() {
    std::vector<Vertex> vertices;
    std::vector<std::uint32_t> indices;
    for(int axis = 0; axis != 3; ++axis) for(const float sign: {1.0f, -1.0f}) {
        Vector3 normal, u, v;
        normal[axis] = sign;
        /* u × v = normal, so the corners below run counter-clockwise seen from outside */
        u[(axis + 1) % 3] = 1.0f;
        v[(axis + 2) % 3] = sign;
        const std::uint32_t first = std::uint32_t(vertices.size());
        for(const auto& [a, b]: {std::pair{-1.0f, -1.0f}, {1.0f, -1.0f}, {1.0f, 1.0f}, {-1.0f, 1.0f}})
            vertices.push_back(Vertex{(normal + u*a + v*b)*0.5f, normal});
        quad(indices, first, first + 1, first + 2, first + 3);
    }
    return meshOf(vertices, indices, false);
}

Trade::MeshData sphereMesh(const std::uint32_t rings, const std::uint32_t segments) {
    std::vector<Vertex> vertices;
    std::vector<std::uint32_t> indices;
    const float pi = 3.14159265f;
    for(std::uint32_t r = 0; r <= rings; ++r) {
        const float theta = pi*float(r)/float(rings);
        for(std::uint32_t s = 0; s <= segments; ++s) {
            const float phi = 2.0f*pi*float(s)/float(segments);
            /* From the south pole up, counter-clockwise about +Y seen from above */
            const Vector3 p{-std::sin(theta)*std::sin(phi), -std::cos(theta), -std::sin(theta)*std::cos(phi)};
            vertices.push_back(Vertex{p, p});
        }
    }
    for(std::uint32_t r = 0; r != rings; ++r) for(std::uint32_t s = 0; s != segments; ++s) {
        const std::uint32_t a = r*(segments + 1) + s, b = a + 1, c = a + segments + 2, d = a + segments + 1;
        quad(indices, a, b, c, d);
    }
    return meshOf(vertices, indices, false);
}

Trade::MeshData planeMesh() {
    const std::vector<Vertex> vertices{
        {{-1.0f, 0.0f, 1.0f}, {0.0f, 1.0f, 0.0f}}, {{1.0f, 0.0f, 1.0f}, {0.0f, 1.0f, 0.0f}},
        {{1.0f, 0.0f, -1.0f}, {0.0f, 1.0f, 0.0f}}, {{-1.0f, 0.0f, -1.0f}, {0.0f, 1.0f, 0.0f}}};
    std::vector<std::uint32_t> indices;
    quad(indices, 0, 1, 2, 3);
    return meshOf(vertices, indices, false);
}

Trade::MeshData skinnedBarMesh(const std::uint32_t joints, const std::uint32_t rings) {
    std::vector<SkinnedVertex> vertices;
    std::vector<std::uint32_t> indices;
    const std::uint32_t steps = joints*rings;
    const float h = 0.25f;
    /* Four sides, each its own strip of vertices so that the normals stay flat */
    const Vector3 corners[4]{{-h, 0.0f, h}, {h, 0.0f, h}, {h, 0.0f, -h}, {-h, 0.0f, -h}};
    for(int side = 0; side != 4; ++side) {
        const Vector3 a = corners[side], b = corners[(side + 1) % 4];
        const Vector3 normal = ((a + b)*0.5f).normalized();
        const std::uint32_t first = std::uint32_t(vertices.size());
        for(std::uint32_t k = 0; k <= steps; ++k) {
            const float y = float(k)/float(rings);
            const std::uint32_t joint = std::min(std::uint32_t(y), joints - 1);
            const float blend = joint + 1 < joints ? std::clamp((y - float(joint) - 0.5f)*2.0f, 0.0f, 1.0f) : 0.0f;
            for(const Vector3& corner: {a, b}) {
                SkinnedVertex v{corner + Vector3{0.0f, y, 0.0f}, normal, {std::uint16_t(joint), std::uint16_t(std::min(joint + 1, joints - 1)), 0, 0}, {1.0f - blend, blend, 0.0f, 0.0f}};
                vertices.push_back(v);
            }
        }
        for(std::uint32_t k = 0; k != steps; ++k) {
            const std::uint32_t i = first + 2*k;
            quad(indices, i, i + 1, i + 3, i + 2);
        }
    }
    /* Caps */
    for(const float y: {0.0f, float(joints)}) {
        const bool top = y != 0.0f;
        const Vector3 normal{0.0f, top ? 1.0f : -1.0f, 0.0f};
        const std::uint16_t joint = std::uint16_t(top ? joints - 1 : 0);
        const std::uint32_t first = std::uint32_t(vertices.size());
        for(const Vector3& corner: corners)
            vertices.push_back(SkinnedVertex{corner + Vector3{0.0f, y, 0.0f}, normal, {joint, joint, 0, 0}, {1.0f, 0.0f, 0.0f, 0.0f}});
        if(top) quad(indices, first, first + 1, first + 2, first + 3);
        else quad(indices, first, first + 3, first + 2, first + 1);
    }
    return meshOf(vertices, indices, true);
}

}
