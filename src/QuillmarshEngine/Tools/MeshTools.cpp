#include "QuillmarshEngine/Tools/MeshTools.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <optional>
#include <vector>

#include <meshoptimizer.h>

#include "QuillmarshEngine/Assert.h"
#include "QuillmarshEngine/Tools/Implementation/Message.h"
#include "QuillmarshEngine/Tools/Implementation/VertexConversion.h"

namespace QuillmarshEngine { namespace Tools {

using Trade::MeshAttribute;
using Trade::VertexFormat;
using Implementation::message;

namespace {

/* Angle between two edges leaving a corner; atan2 stays accurate for thin triangles where acos
   of the normalized dot product does not, and gives 0 for a zero-length edge */
float cornerAngle(const Vector3& a, const Vector3& b) {
    return std::atan2(Math::cross(a, b).length(), Math::dot(a, b));
}

/* Any unit vector orthogonal to the unit vector n */
Vector3 orthogonal(const Vector3& n) {
    const Vector3 axis = std::abs(n.x()) < 0.9f ? Vector3::xAxis() : Vector3::yAxis();
    return Math::cross(n, axis).normalized();
}

}

void generateNormalsInto(const std::span<const Vector3> positions, const std::span<const std::uint32_t> indices, const std::span<Vector3> normals) {
    QUILLMARSH_ASSERT(indices.size() % 3 == 0, "Tools::generateNormalsInto(): expected a multiple of three indices, got" << indices.size(), );
    QUILLMARSH_ASSERT(normals.size() == positions.size(), "Tools::generateNormalsInto(): expected" << positions.size() << "normals, got" << normals.size(), );
    std::fill(normals.begin(), normals.end(), Vector3{0.0f});
    for(std::size_t i = 0; i < indices.size(); i += 3) {
        const std::uint32_t v[3]{indices[i], indices[i + 1], indices[i + 2]};
        QUILLMARSH_ASSERT(v[0] < positions.size() && v[1] < positions.size() && v[2] < positions.size(),
            "Tools::generateNormalsInto(): index out of range for" << positions.size() << "vertices in triangle" << i/3, );
        const Vector3 p[3]{positions[v[0]], positions[v[1]], positions[v[2]]};
        /* Twice the area long: the area weight comes with it */
        const Vector3 face = Math::cross(p[1] - p[0], p[2] - p[0]);
        for(std::size_t c = 0; c != 3; ++c)
            normals[v[c]] += face*cornerAngle(p[(c + 1) % 3] - p[c], p[(c + 2) % 3] - p[c]);
    }
    for(Vector3& n: normals) {
        const float length = n.length();
        n = length > 0.0f && std::isfinite(length) ? n/length : Vector3::zAxis();
    }
}

void generateTangentsInto(const std::span<const Vector3> positions, const std::span<const Vector3> normals, const std::span<const Vector2> textureCoordinates, const std::span<const std::uint32_t> indices, const std::span<Vector4> tangents) {
    QUILLMARSH_ASSERT(indices.size() % 3 == 0, "Tools::generateTangentsInto(): expected a multiple of three indices, got" << indices.size(), );
    QUILLMARSH_ASSERT(normals.size() == positions.size() && textureCoordinates.size() == positions.size() && tangents.size() == positions.size(),
        "Tools::generateTangentsInto(): expected" << positions.size() << "normals, texture coordinates and tangents, got" << normals.size() << Debug::nospace << "," << textureCoordinates.size() << "and" << tangents.size(), );

    std::vector<Vector3> uDirections(positions.size(), Vector3{0.0f});
    std::vector<Vector3> vDirections(positions.size(), Vector3{0.0f});
    for(std::size_t i = 0; i < indices.size(); i += 3) {
        const std::uint32_t v[3]{indices[i], indices[i + 1], indices[i + 2]};
        QUILLMARSH_ASSERT(v[0] < positions.size() && v[1] < positions.size() && v[2] < positions.size(),
            "Tools::generateTangentsInto(): index out of range for" << positions.size() << "vertices in triangle" << i/3, );
        const Vector3 p[3]{positions[v[0]], positions[v[1]], positions[v[2]]};
        const Vector2 t[3]{textureCoordinates[v[0]], textureCoordinates[v[1]], textureCoordinates[v[2]]};
        /* Solve e = du*U + dv*V for the two edges: U and V are the position derivatives along u
           and v. Only their directions are kept, so a triangle's texel density does not outweigh
           its neighbours'. */
        const Vector3 e1 = p[1] - p[0], e2 = p[2] - p[0];
        const Vector2 d1 = t[1] - t[0], d2 = t[2] - t[0];
        const float determinant = d1.x()*d2.y() - d2.x()*d1.y();
        if(determinant == 0.0f || !std::isfinite(determinant)) continue;
        const Vector3 u = (e1*d2.y() - e2*d1.y())/determinant;
        const Vector3 w = (e2*d1.x() - e1*d2.x())/determinant;
        const float uLength = u.length(), wLength = w.length();
        if(!(uLength > 0.0f) || !(wLength > 0.0f) || !std::isfinite(uLength) || !std::isfinite(wLength)) continue;
        for(std::size_t c = 0; c != 3; ++c) {
            const float angle = cornerAngle(p[(c + 1) % 3] - p[c], p[(c + 2) % 3] - p[c]);
            uDirections[v[c]] += u*(angle/uLength);
            vDirections[v[c]] += w*(angle/wLength);
        }
    }

    for(std::size_t i = 0; i != positions.size(); ++i) {
        const Vector3& n = normals[i];
        /* Gram-Schmidt: remove the part along the normal */
        Vector3 tangent = uDirections[i] - n*Math::dot(n, uDirections[i]);
        const float length = tangent.length();
        if(!(length > 1.0e-6f) || !std::isfinite(length)) {
            tangents[i] = {orthogonal(n), 1.0f};
            continue;
        }
        tangent /= length;
        const float handedness = Math::dot(Math::cross(n, tangent), vDirections[i]) < 0.0f ? -1.0f : 1.0f;
        tangents[i] = {tangent, handedness};
    }
}

namespace {

typedef Utils::Result<Trade::MeshData> MeshResult;

/* The indices of a triangle list, implicit ones for a non-indexed mesh, checked against the
   vertex count */
Utils::Result<std::vector<std::uint32_t>> triangleIndices(const Trade::MeshData& mesh, const char* function) {
    typedef Utils::Result<std::vector<std::uint32_t>> Result;
    if(mesh.primitive() != Trade::MeshPrimitive::Triangles)
        return Result::fail(message(function, Debug::nospace, "(): expected a triangle mesh, got", mesh.primitive()));
    std::vector<std::uint32_t> indices;
    if(mesh.isIndexed()) {
        indices = mesh.indicesAsArray();
        for(std::size_t i = 0; i != indices.size(); ++i) if(indices[i] >= mesh.vertexCount())
            return Result::fail(message(function, Debug::nospace, "(): index", i, "is", indices[i], "but the mesh has", mesh.vertexCount(), "vertices"));
    } else {
        indices.resize(mesh.vertexCount());
        for(std::uint32_t i = 0; i != mesh.vertexCount(); ++i) indices[i] = i;
    }
    if(indices.size() % 3)
        return Result::fail(message(function, Debug::nospace, "(): expected a multiple of three indices, got", indices.size()));
    return indices;
}

/* Attribute `name` read into `count` floats a vertex (missing components 0), through the column
   kernels, which read every format whose components are floats, halves or 8- and 16-bit
   integers */
template<class T> Utils::Result<std::vector<T>> floats(const Trade::MeshData& mesh, MeshAttribute name, const char* function) {
    typedef Utils::Result<std::vector<T>> Result;
    constexpr std::uint32_t count = sizeof(T)/4;
    const std::optional<std::uint32_t> id = mesh.findAttributeId(name);
    if(!id) return Result::fail(message(function, Debug::nospace, "(): the mesh has no", name, "attribute"));
    const VertexFormat format = mesh.attributeFormat(*id);
    const bool readable = Trade::isVertexFormatKnown(format) && Trade::vertexFormatVectorCount(format) == 1 && !mesh.attributeArraySize(*id) &&
        Implementation::isRowFormatSupported(Trade::vertexFormat(Trade::vertexFormatComponentFormat(format), 1, Trade::isVertexFormatNormalized(format)));
    if(!readable) return Result::fail(message(function, Debug::nospace, "(): can't read", name, "of", format));
    std::vector<T> out(mesh.vertexCount());
    const StridedArrayView2D<const char> column = mesh.attribute(*id);
    Implementation::convertRows({Trade::vertexFormat(Trade::vertexFormatComponentFormat(format), 1, Trade::isVertexFormatNormalized(format)),
        std::min(Trade::vertexFormatComponentCount(format), count), VertexFormat::Float, count, false},
        column.data(), column.stride().rows, reinterpret_cast<char*>(out.data()), sizeof(T), out.size());
    return out;
}

/* One attribute of a rebuilt mesh: from the source (source set) or from a new column */
struct Column {
    MeshAttribute name;
    VertexFormat format;
    std::uint16_t arraySize;
    std::int8_t morphTargetId;
    std::optional<std::uint32_t> source;
    std::span<const char> data;
};

/* A new mesh holding, for each new vertex j, the source attributes of vertex order[j] (or j
   without an order) and the new columns, interleaved at 4-byte-aligned offsets; a new column
   replaces the first source attribute of its name */
MeshResult rebuild(const Trade::MeshData& mesh, const char* function, const std::vector<std::uint32_t>* order, std::uint32_t vertexCount, std::optional<std::vector<std::uint32_t>> indices, std::initializer_list<Column> added) {
    std::vector<Column> columns;
    for(std::uint32_t i = 0; i != mesh.attributeCount(); ++i) {
        const MeshAttribute name = mesh.attributeName(i);
        const VertexFormat format = mesh.attributeFormat(i);
        if(!Trade::isVertexFormatKnown(format))
            return MeshResult::fail(message(function, Debug::nospace, "(): can't copy attribute", i, "of", format));
        const auto replacement = std::find_if(added.begin(), added.end(), [&](const Column& c) { return c.name == name; });
        if(replacement != added.end() && mesh.attributeMorphTargetId(i) == -1 && mesh.findAttributeId(name) == i) {
            columns.push_back(*replacement);
            continue;
        }
        columns.push_back({name, format, mesh.attributeArraySize(i), mesh.attributeMorphTargetId(i), i, {}});
    }
    for(const Column& c: added)
        if(!mesh.hasAttribute(c.name)) columns.push_back(c);

    std::vector<std::size_t> offsets;
    std::size_t stride = 0;
    for(const Column& c: columns) {
        offsets.push_back(stride);
        stride += (std::size_t(Trade::vertexFormatSize(c.format))*std::max<std::size_t>(c.arraySize, 1) + 3) & ~std::size_t{3};
    }
    if(stride > 32767) return MeshResult::fail(message(function, Debug::nospace, "(): a vertex of", stride, "bytes is too large"));

    std::vector<char> vertexData(stride*vertexCount);
    std::vector<Trade::MeshAttributeData> attributes;
    for(std::size_t a = 0; a != columns.size(); ++a) {
        const Column& c = columns[a];
        const std::size_t size = std::size_t(Trade::vertexFormatSize(c.format))*std::max<std::size_t>(c.arraySize, 1);
        char* out = vertexData.data() + offsets[a];
        if(c.source) {
            const StridedArrayView2D<const char> in = mesh.attribute(*c.source);
            for(std::uint32_t j = 0; j != vertexCount; ++j)
                std::memcpy(out + j*stride, &in[order ? (*order)[j] : j][0], size);
        } else for(std::uint32_t j = 0; j != vertexCount; ++j)
            std::memcpy(out + j*stride, c.data.data() + std::size_t(order ? (*order)[j] : j)*size, size);
        attributes.emplace_back(c.name, c.format, offsets[a], vertexCount, std::ptrdiff_t(stride), c.arraySize, c.morphTargetId);
    }

    if(!indices) return Trade::MeshData{mesh.primitive(), std::move(vertexData), std::move(attributes), vertexCount};
    std::vector<char> indexData(indices->size()*4);
    if(!indices->empty()) std::memcpy(indexData.data(), indices->data(), indexData.size());
    const Trade::MeshIndexData indexView{Trade::MeshIndexType::UnsignedInt, indexData};
    return Trade::MeshData{mesh.primitive(), std::move(indexData), indexView, std::move(vertexData), std::move(attributes), vertexCount};
}

std::optional<std::vector<std::uint32_t>> keptIndices(const Trade::MeshData& mesh, std::vector<std::uint32_t>&& indices) {
    if(!mesh.isIndexed()) return {};
    return std::move(indices);
}

}

MeshResult generateNormals(const Trade::MeshData& mesh) {
    auto indices = triangleIndices(mesh, "Tools::generateNormals");
    if(!indices) return MeshResult::fail(indices.error());
    const auto positions = floats<Vector3>(mesh, MeshAttribute::Position, "Tools::generateNormals");
    if(!positions) return MeshResult::fail(positions.error());
    std::vector<Vector3> normals(mesh.vertexCount());
    generateNormalsInto(*positions, *indices, normals);
    const std::span<const char> bytes{reinterpret_cast<const char*>(normals.data()), normals.size()*sizeof(Vector3)};
    return rebuild(mesh, "Tools::generateNormals", nullptr, mesh.vertexCount(), keptIndices(mesh, std::move(*indices)),
        {{MeshAttribute::Normal, VertexFormat::Vector3, 0, -1, {}, bytes}});
}

MeshResult generateTangents(const Trade::MeshData& mesh) {
    auto indices = triangleIndices(mesh, "Tools::generateTangents");
    if(!indices) return MeshResult::fail(indices.error());
    const auto positions = floats<Vector3>(mesh, MeshAttribute::Position, "Tools::generateTangents");
    if(!positions) return MeshResult::fail(positions.error());
    const auto textureCoordinates = floats<Vector2>(mesh, MeshAttribute::TextureCoordinates, "Tools::generateTangents");
    if(!textureCoordinates) return MeshResult::fail(textureCoordinates.error());
    std::vector<Vector3> normals(mesh.vertexCount());
    if(mesh.hasAttribute(MeshAttribute::Normal)) {
        auto read = floats<Vector3>(mesh, MeshAttribute::Normal, "Tools::generateTangents");
        if(!read) return MeshResult::fail(read.error());
        normals = std::move(*read);
        /* Stored normals may be quantized or unnormalized; Gram-Schmidt needs unit ones */
        for(Vector3& n: normals) {
            const float length = n.length();
            n = length > 0.0f && std::isfinite(length) ? n/length : Vector3::zAxis();
        }
    } else generateNormalsInto(*positions, *indices, normals);

    std::vector<Vector4> tangents(mesh.vertexCount());
    generateTangentsInto(*positions, normals, *textureCoordinates, *indices, tangents);
    const std::span<const char> bytes{reinterpret_cast<const char*>(tangents.data()), tangents.size()*sizeof(Vector4)};
    return rebuild(mesh, "Tools::generateTangents", nullptr, mesh.vertexCount(), keptIndices(mesh, std::move(*indices)),
        {{MeshAttribute::Tangent, VertexFormat::Vector4, 0, -1, {}, bytes}});
}

MeshResult optimizeMesh(const Trade::MeshData& mesh) {
    const Trade::MeshPrimitive primitive = mesh.primitive();
    if(primitive != Trade::MeshPrimitive::Triangles && primitive != Trade::MeshPrimitive::Lines && primitive != Trade::MeshPrimitive::Points)
        return MeshResult::fail(message("Tools::optimizeMesh(): expected triangles, lines or points, got", primitive));
    const std::size_t vertexCount = mesh.vertexCount();
    for(std::uint32_t i = 0; i != mesh.attributeCount(); ++i) if(!Trade::isVertexFormatKnown(mesh.attributeFormat(i)))
        return MeshResult::fail(message("Tools::optimizeMesh(): can't compare attribute", i, "of", mesh.attributeFormat(i)));

    /* Indices into a set of distinct vertices, and which source vertex each of those is */
    std::vector<std::uint32_t> indices;
    std::vector<std::uint32_t> distinct;
    std::size_t distinctCount = vertexCount;
    if(mesh.isIndexed()) {
        indices = mesh.indicesAsArray();
        for(std::size_t i = 0; i != indices.size(); ++i) if(indices[i] >= vertexCount)
            return MeshResult::fail(message("Tools::optimizeMesh(): index", i, "is", indices[i], "but the mesh has", vertexCount, "vertices"));
        distinct.resize(vertexCount);
        for(std::uint32_t i = 0; i != vertexCount; ++i) distinct[i] = i;
    } else {
        /* Index a plain list by merging vertices equal in every attribute */
        std::vector<meshopt_Stream> streams;
        for(std::uint32_t i = 0; i != mesh.attributeCount(); ++i) {
            const StridedArrayView2D<const char> column = mesh.attribute(i);
            /* meshoptimizer reads each stream forward with a positive stride */
            if(column.stride().rows <= 0 && vertexCount > 1)
                return MeshResult::fail(message("Tools::optimizeMesh(): can't index attribute", i, "with a stride of", column.stride().rows));
            streams.push_back({column.data(), column.size().columns, std::size_t(std::max<std::ptrdiff_t>(column.stride().rows, 1))});
        }
        indices.resize(vertexCount);
        if(streams.empty()) for(std::uint32_t i = 0; i != vertexCount; ++i) indices[i] = i;
        else distinctCount = meshopt_generateVertexRemapMulti(indices.data(), nullptr, vertexCount, vertexCount, streams.data(), streams.size());
        distinct.resize(distinctCount);
        for(std::uint32_t i = vertexCount; i-- != 0; ) distinct[indices[i]] = i;
    }
    if(primitive == Trade::MeshPrimitive::Triangles && indices.size() % 3)
        return MeshResult::fail(message("Tools::optimizeMesh(): expected a multiple of three indices, got", indices.size()));
    if(primitive == Trade::MeshPrimitive::Lines && indices.size() % 2)
        return MeshResult::fail(message("Tools::optimizeMesh(): expected an even number of indices, got", indices.size()));

    if(primitive == Trade::MeshPrimitive::Triangles && !indices.empty())
        meshopt_optimizeVertexCache(indices.data(), indices.data(), indices.size(), distinctCount);

    /* remap[old] = new in first-use order, ~0 for unused vertices; order maps back to the
       source vertices */
    std::vector<std::uint32_t> remap(distinctCount);
    const std::size_t used = meshopt_optimizeVertexFetchRemap(remap.data(), indices.data(), indices.size(), distinctCount);
    std::vector<std::uint32_t> order(used);
    for(std::uint32_t i = 0; i != distinctCount; ++i) if(remap[i] != ~std::uint32_t{}) order[remap[i]] = distinct[i];
    meshopt_remapIndexBuffer(indices.data(), indices.data(), indices.size(), remap.data());
    return rebuild(mesh, "Tools::optimizeMesh", &order, std::uint32_t(used), std::move(indices), {});
}

}}
