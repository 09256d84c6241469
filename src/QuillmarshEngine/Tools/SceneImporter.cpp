#include "QuillmarshEngine/Tools/SceneImporter.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>

#include <assimp/Importer.hpp>
#include <assimp/postprocess.h>
#include <assimp/scene.h>

#include "QuillmarshEngine/Animation/Offline/RawAnimation.h"
#include "QuillmarshEngine/Data/AnimationData.h"
#include "QuillmarshEngine/Data/AnimationManager.h"
#include "QuillmarshEngine/Data/AssetData.h"
#include "QuillmarshEngine/Data/ImageData.h"
#include "QuillmarshEngine/Data/LightManager.h"
#include "QuillmarshEngine/Data/MeshManager.h"
#include "QuillmarshEngine/Data/NameManager.h"
#include "QuillmarshEngine/Data/PipelineData.h"
#include "QuillmarshEngine/Data/Scene.h"
#include "QuillmarshEngine/Data/SceneGraph.h"
#include "QuillmarshEngine/Data/SkinData.h"
#include "QuillmarshEngine/Data/ViewManager.h"
#include "QuillmarshEngine/Debug.h"
#include "QuillmarshEngine/Math/BoundingSphere.h"
#include "QuillmarshEngine/Math/DualQuaternion.h"
#include "QuillmarshEngine/Tools/ImageTools.h"
#include "QuillmarshEngine/Tools/MeshFormat.h"
#include "QuillmarshEngine/Tools/MeshTools.h"
#include "QuillmarshEngine/Trade/TextureData.h"

namespace QuillmarshEngine { namespace Tools {

Debug& operator<<(Debug& debug, const SceneImportFlag value) {
    switch(value) {
        case SceneImportFlag::Quantize: return QuillmarshEngine::Implementation::printEnumValue(debug, "SceneImportFlag", "Quantize");
        case SceneImportFlag::Compress: return QuillmarshEngine::Implementation::printEnumValue(debug, "SceneImportFlag", "Compress");
    }
    return QuillmarshEngine::Implementation::printUnknownEnum(debug, "SceneImportFlag", std::uint32_t(value));
}

Debug& operator<<(Debug& debug, const SceneImportFlags value) {
    return QuillmarshEngine::Implementation::enumSetDebugOutput(debug, value, "SceneImportFlags{}", {
        SceneImportFlag::Quantize, SceneImportFlag::Compress});
}

namespace {

using Data::Id;

constexpr float DegreesPerRadian = 180.0f/3.1415927f;

/* The slots of the managers an imported scene has */
enum Slot: std::uint8_t { MeshSlot, ViewSlot, LightSlot, AnimationSlot, NameSlot, SlotCount };

template<class T> std::vector<char> bytesOf(const std::vector<T>& values) {
    std::vector<char> out(values.size()*sizeof(T));
    if(!out.empty()) std::memcpy(out.data(), values.data(), out.size());
    return out;
}

Vector3 vec(const aiVector3D& v) { return {v.x, v.y, v.z}; }

std::string nameOf(const aiString& name, const char* what, std::size_t index) {
    if(name.length) return std::string{name.C_Str()};
    return std::string{what} + " " + std::to_string(index);
}

/* Rotation taking +Y to the unit vector d */
Quaternion rotationFromY(const Vector3& d) {
    const Vector3 y{0.0f, 1.0f, 0.0f};
    const float c = Math::dot(y, d);
    if(c < -0.999999f) return Quaternion{Vector3{1.0f, 0.0f, 0.0f}, 0.0f};
    const Vector3 axis = Math::cross(y, d);
    return Quaternion{axis, 1.0f + c}.normalized();
}

/* Rotation whose columns are the orthonormal basis x, y, z */
Quaternion rotationFromBasis(const Vector3& x, const Vector3& y, const Vector3& z) {
    const float trace = x.x() + y.y() + z.z();
    Quaternion q;
    if(trace > 0.0f) {
        const float s = 0.5f/std::sqrt(trace + 1.0f);
        q = Quaternion{{(y.z() - z.y())*s, (z.x() - x.z())*s, (x.y() - y.x())*s}, 0.25f/s};
    } else if(x.x() > y.y() && x.x() > z.z()) {
        const float s = 2.0f*std::sqrt(1.0f + x.x() - y.y() - z.z());
        q = Quaternion{{0.25f*s, (y.x() + x.y())/s, (z.x() + x.z())/s}, (y.z() - z.y())/s};
    } else if(y.y() > z.z()) {
        const float s = 2.0f*std::sqrt(1.0f + y.y() - x.x() - z.z());
        q = Quaternion{{(y.x() + x.y())/s, 0.25f*s, (z.y() + y.z())/s}, (z.x() - x.z())/s};
    } else {
        const float s = 2.0f*std::sqrt(1.0f + z.z() - x.x() - y.y());
        q = Quaternion{{(z.x() + x.z())/s, (z.y() + y.z())/s, 0.25f*s}, (x.y() - y.x())/s};
    }
    return q.normalized();
}

struct Decomposed {
    DualQuaternion transformation;
    Vector3 scaling;
    bool exact;     /* false when the matrix had shear or projection that got lost */
};

Decomposed decompose(const aiMatrix4x4& m) {
    aiVector3D scaling, position;
    aiQuaternion rotation;
    m.Decompose(scaling, rotation, position);
    Quaternion q{{rotation.x, rotation.y, rotation.z}, rotation.w};
    /* A singular matrix (a zero scaling) has no rotation to find */
    if(!(std::isfinite(q.scalar()) && std::isfinite(q.vector().x()) && std::isfinite(q.vector().y()) && std::isfinite(q.vector().z())) || q.dot() == 0.0f)
        q = Quaternion{};
    Decomposed out{DualQuaternion::from(q.normalized(), vec(position)), vec(scaling), true};
    /* Rebuild and compare: anything the decomposition can't express shows as a difference */
    const aiMatrix4x4 rebuilt{scaling, rotation, position};
    float largest = 1.0f, error = 0.0f;
    for(unsigned r = 0; r != 4; ++r) for(unsigned c = 0; c != 4; ++c) {
        largest = std::max(largest, std::abs(m[r][c]));
        error = std::max(error, std::abs(m[r][c] - rebuilt[r][c]));
    }
    out.exact = error <= 1e-4f*largest;
    return out;
}

/* Bits of precision kept with SceneImportFlag::Quantize, see the header */
constexpr int PositionBits = 14, TextureCoordinateBits = 12;

/* Rounds every value of a float column to a multiple of a power of two that leaves `bits` bits
   for the largest magnitude, so that the low mantissa bits become zero: the vertex codec then
   finds whole byte columns of zeros. The error is at most half that step. */
void snapFloats(const StridedArrayView2D<char>& column, std::size_t components, int bits) {
    float largest = 0.0f;
    for(std::size_t v = 0; v != column.size().rows; ++v) for(std::size_t c = 0; c != components; ++c) {
        float x;
        std::memcpy(&x, &column[v][4*c], 4);
        largest = std::max(largest, std::abs(x));
    }
    if(!(largest > 0.0f) || !std::isfinite(largest)) return;
    int exponent;
    std::frexp(largest, &exponent);
    const float step = std::ldexp(1.0f, exponent - bits);
    for(std::size_t v = 0; v != column.size().rows; ++v) for(std::size_t c = 0; c != components; ++c) {
        float x;
        std::memcpy(&x, &column[v][4*c], 4);
        x = std::round(x/step)*step;
        std::memcpy(&column[v][4*c], &x, 4);
    }
}

/* Rounds 16-bit normalized components to 8 bits of precision, keeping the low byte zero */
void snapShorts(const StridedArrayView2D<char>& column, std::size_t components, bool isSigned) {
    for(std::size_t v = 0; v != column.size().rows; ++v) for(std::size_t c = 0; c != components; ++c) {
        if(isSigned) {
            std::int16_t x;
            std::memcpy(&x, &column[v][2*c], 2);
            x = std::int16_t(std::clamp(std::lround(float(x)/256.0f)*256, -32768l, 32512l));
            std::memcpy(&column[v][2*c], &x, 2);
        } else {
            std::uint16_t x;
            std::memcpy(&x, &column[v][2*c], 2);
            x = std::uint16_t(std::min(std::lround(float(x)/256.0f)*256, 65280l));
            std::memcpy(&column[v][2*c], &x, 2);
        }
    }
}

void reducePrecision(Trade::MeshData& mesh) {
    for(std::uint32_t i = 0; i != mesh.attributeCount(); ++i) {
        const Trade::MeshAttribute name = mesh.attributeName(i);
        const Trade::VertexFormat format = mesh.attributeFormat(i);
        const StridedArrayView2D<char> column = mesh.mutableAttribute(i);
        if(name == Trade::MeshAttribute::Position && format == Trade::VertexFormat::Vector3)
            snapFloats(column, 3, PositionBits);
        else if(name == Trade::MeshAttribute::TextureCoordinates && format == Trade::VertexFormat::Vector2)
            snapFloats(column, 2, TextureCoordinateBits);
        else if(name == Trade::MeshAttribute::Normal && format == Trade::VertexFormat::Vector3sNormalized)
            snapShorts(column, 3, true);
        /* The tangent's fourth component is the handedness sign, kept as it is */
        else if(name == Trade::MeshAttribute::Tangent && format == Trade::VertexFormat::Vector4sNormalized)
            snapShorts(column, 3, true);
        else if(name == Trade::MeshAttribute::Color && format == Trade::VertexFormat::Vector4usNormalized)
            snapShorts(column, 4, false);
    }
}

class SceneConverter {
    public:
        explicit SceneConverter(const aiScene& scene, std::string directory, SceneImportFlags flags, SceneImportSummary& summary, SceneImportProgress& progress):
            _scene{scene}, _directory{std::move(directory)}, _flags{flags}, _summary{summary}, _progress{progress} {}

        std::vector<char> run();

    private:
        void warn(const std::string& message) {
            Warning{} << "[SceneLoader]" << message;
            ++_summary.warnings;
        }
        void step() {
            ++_stepsDone;
            if(_progress) _progress(_stepsDone, _stepCount);
        }

        void countObjects(const aiNode& node);
        void writeMesh(std::uint32_t index);
        std::int32_t texture(const aiMaterial& material, std::initializer_list<aiTextureType> types, bool srgb, const std::string& materialName);
        void writeMaterial(std::uint32_t index);
        void addNode(const aiNode& node, Id parent);
        Id objectOfNode(const std::string& name) const;
        void writeSkin(std::uint32_t mesh);
        void writeAnimation(std::uint32_t index);
        void addCamera(const aiCamera& camera);
        void addLight(const aiLight& light);

        const aiScene& _scene;
        std::string _directory;
        SceneImportFlags _flags;
        SceneImportSummary& _summary;
        SceneImportProgress& _progress;
        std::size_t _stepCount{}, _stepsDone{};

        std::vector<char> _out;
        std::uint32_t _objectCount{};
        /* Mesh record index of every model mesh, -1 when it wasn't written */
        std::vector<std::int32_t> _meshRecord;
        /* Skin index + 1 of every model mesh, 0 without bones */
        std::vector<std::uint16_t> _meshSkin;
        std::map<std::string, std::int32_t> _imageOfPath;
        std::uint32_t _imageCount{};
        std::vector<std::vector<char>> _textureRecords;
        std::vector<std::vector<char>> _materialRecords;
        std::map<std::string, Id> _objectOfName;

        std::unique_ptr<Data::SceneGraph> _graph;
        std::unique_ptr<Data::MeshManager> _meshes;
        std::unique_ptr<Data::ViewManager> _views;
        std::unique_ptr<Data::LightManager> _lights;
        std::unique_ptr<Data::AnimationManager> _animations;
        std::unique_ptr<Data::NameManager> _names;
};

void SceneConverter::countObjects(const aiNode& node) {
    ++_objectCount;
    for(unsigned i = 0; i != node.mNumChildren; ++i) countObjects(*node.mChildren[i]);
}

void SceneConverter::writeMesh(const std::uint32_t index) {
    const aiMesh& mesh = *_scene.mMeshes[index];
    const std::string name = nameOf(mesh.mName, "mesh", index);
    _meshRecord[index] = -1;
    if(!(mesh.mPrimitiveTypes & aiPrimitiveType_TRIANGLE) || (mesh.mPrimitiveTypes & ~(aiPrimitiveType_TRIANGLE|aiPrimitiveType_NGONEncodingFlag))) {
        warn("mesh " + name + ": points and lines are not supported, the mesh is left out");
        return;
    }
    if(mesh.mNumAnimMeshes)
        warn("mesh " + name + ": " + std::to_string(mesh.mNumAnimMeshes) + " morph targets are not supported, the base shape is kept");
    const std::uint32_t n = mesh.mNumVertices;

    std::vector<char> vertexData;
    std::vector<Trade::MeshAttributeData> attributes;
    std::uint64_t floatBytes = 0;
    const auto add = [&](Trade::MeshAttribute attribute, Trade::VertexFormat format, std::vector<char>&& column, std::size_t stride, std::uint16_t arraySize = 0) {
        const std::size_t offset = vertexData.size();
        vertexData.insert(vertexData.end(), column.begin(), column.end());
        attributes.emplace_back(attribute, format, offset, n, std::ptrdiff_t(stride), arraySize);
        floatBytes += column.size();
    };

    std::vector<Vector3> positions(n);
    for(std::uint32_t v = 0; v != n; ++v) {
        positions[v] = vec(mesh.mVertices[v]);
        if(!std::isfinite(positions[v].x()) || !std::isfinite(positions[v].y()) || !std::isfinite(positions[v].z())) {
            warn("mesh " + name + ": vertex " + std::to_string(v) + " has a position that is not finite, the mesh is left out");
            return;
        }
    }
    add(Trade::MeshAttribute::Position, Trade::VertexFormat::Vector3, bytesOf(positions), 12);
    if(mesh.HasNormals()) {
        std::vector<Vector3> normals(n);
        for(std::uint32_t v = 0; v != n; ++v) normals[v] = vec(mesh.mNormals[v]);
        add(Trade::MeshAttribute::Normal, Trade::VertexFormat::Vector3, bytesOf(normals), 12);
    }
    if(mesh.HasTangentsAndBitangents() && mesh.HasNormals()) {
        std::vector<Vector4> tangents(n);
        for(std::uint32_t v = 0; v != n; ++v) {
            const Vector3 t = vec(mesh.mTangents[v]), b = vec(mesh.mBitangents[v]), nn = vec(mesh.mNormals[v]);
            tangents[v] = Vector4{t, Math::dot(Math::cross(nn, t), b) < 0.0f ? -1.0f : 1.0f};
        }
        add(Trade::MeshAttribute::Tangent, Trade::VertexFormat::Vector4, bytesOf(tangents), 16);
    }
    for(unsigned set = 0; set != AI_MAX_NUMBER_OF_TEXTURECOORDS; ++set) {
        if(!mesh.HasTextureCoords(set)) continue;
        if(set >= 2) {
            warn("mesh " + name + ": texture coordinate set " + std::to_string(set) + " is left out, two sets are supported");
            continue;
        }
        std::vector<Vector2> coordinates(n);
        for(std::uint32_t v = 0; v != n; ++v) coordinates[v] = {mesh.mTextureCoords[set][v].x, mesh.mTextureCoords[set][v].y};
        add(Trade::MeshAttribute::TextureCoordinates, Trade::VertexFormat::Vector2, bytesOf(coordinates), 8);
    }
    for(unsigned set = 0; set != AI_MAX_NUMBER_OF_COLOR_SETS; ++set) {
        if(!mesh.HasVertexColors(set)) continue;
        if(set >= 1) {
            warn("mesh " + name + ": vertex colour set " + std::to_string(set) + " is left out, one set is supported");
            continue;
        }
        std::vector<Vector4> colors(n);
        for(std::uint32_t v = 0; v != n; ++v) {
            const aiColor4D& c = mesh.mColors[set][v];
            colors[v] = {c.r, c.g, c.b, c.a};
        }
        add(Trade::MeshAttribute::Color, Trade::VertexFormat::Vector4, bytesOf(colors), 16);
    }
    if(mesh.HasBones()) {
        /* Keep the four largest weights of every vertex and renormalize them */
        std::vector<std::vector<std::pair<float, std::uint16_t>>> influences(n);
        for(unsigned b = 0; b != mesh.mNumBones; ++b) {
            const aiBone& bone = *mesh.mBones[b];
            for(unsigned w = 0; w != bone.mNumWeights; ++w)
                if(bone.mWeights[w].mVertexId < n && bone.mWeights[w].mWeight > 0.0f)
                    influences[bone.mWeights[w].mVertexId].emplace_back(bone.mWeights[w].mWeight, std::uint16_t(b));
        }
        std::vector<std::uint16_t> joints(4*std::size_t{n});
        std::vector<float> weights(4*std::size_t{n});
        std::uint32_t truncated = 0;
        for(std::uint32_t v = 0; v != n; ++v) {
            auto& list = influences[v];
            std::sort(list.begin(), list.end(), [](const auto& a, const auto& b) { return a.first > b.first; });
            if(list.size() > 4) {
                ++truncated;
                list.resize(4);
            }
            float sum = 0.0f;
            for(const auto& i: list) sum += i.first;
            for(std::size_t k = 0; k != list.size(); ++k) {
                joints[4*v + k] = list[k].second;
                weights[4*v + k] = list[k].first/sum;
            }
        }
        if(truncated)
            warn("mesh " + name + ": " + std::to_string(truncated) + " vertices have more than four joint weights, the four largest are kept");
        add(Trade::MeshAttribute::JointIds, Trade::VertexFormat::UnsignedShort, bytesOf(joints), 8, 4);
        add(Trade::MeshAttribute::Weights, Trade::VertexFormat::Float, bytesOf(weights), 16, 4);
    }

    std::vector<std::uint32_t> indices;
    indices.reserve(std::size_t{mesh.mNumFaces}*3);
    std::uint32_t skipped = 0;
    for(unsigned f = 0; f != mesh.mNumFaces; ++f) {
        const aiFace& face = mesh.mFaces[f];
        if(face.mNumIndices != 3) {
            ++skipped;
            continue;
        }
        bool inRange = true;
        for(unsigned k = 0; k != 3; ++k) inRange = inRange && face.mIndices[k] < n;
        if(!inRange) {
            ++skipped;
            continue;
        }
        indices.insert(indices.end(), face.mIndices, face.mIndices + 3);
    }
    if(skipped)
        warn("mesh " + name + ": " + std::to_string(skipped) + " faces that are not triangles or index past the vertices are left out");
    if(indices.empty() || n == 0) {
        warn("mesh " + name + ": no triangles, the mesh is left out");
        return;
    }
    _summary.meshBytesBefore += floatBytes + 4*indices.size();

    std::vector<char> indexData = bytesOf(indices);
    const Trade::MeshIndexData indexView{Trade::MeshIndexType::UnsignedInt, indexData};
    Trade::MeshData data{Trade::MeshPrimitive::Triangles, std::move(indexData), indexView, std::move(vertexData), std::move(attributes), n};

    if(!mesh.HasNormals()) {
        Utils::Result<Trade::MeshData> withNormals = generateNormals(data);
        if(!withNormals) {
            warn("mesh " + name + ": normals could not be generated: " + withNormals.error() + "; the mesh is left out");
            return;
        }
        data = std::move(*withNormals);
    }
    if(!(mesh.HasTangentsAndBitangents() && mesh.HasNormals()) && mesh.HasTextureCoords(0)) {
        Utils::Result<Trade::MeshData> withTangents = generateTangents(data);
        if(withTangents) data = std::move(*withTangents);
        else warn("mesh " + name + ": tangents could not be generated: " + withTangents.error());
    }
    Utils::Result<Trade::MeshData> optimized = optimizeMesh(data);
    if(optimized) data = std::move(*optimized);
    else warn("mesh " + name + ": not optimized: " + optimized.error());

    const MeshDataFlags quantized = _flags & SceneImportFlag::Quantize ? MeshDataFlags{MeshDataFlag::Quantized} : MeshDataFlags{};
    Trade::MeshData packed = packMesh(quantized, data);
    if(_flags & SceneImportFlag::Quantize) reducePrecision(packed);
    /* Optimization only drops unused vertices, so the imported positions bound the mesh */
    const BoundingSphere sphere = BoundingSphere::fromPoints(positions);
    std::vector<char> compressedVertices, compressedIndices;
    if(_flags & SceneImportFlag::Compress) {
        compressedVertices = compressMeshVertexData(packed);
        /* Triangle lists: the triangle codec, which may start a triangle at another of its
           vertices, takes about half the bytes */
        compressedIndices = compressMeshIndexData(packed, packed.indexCount() % 3 ? MeshIndexCompression::Sequence : MeshIndexCompression::Triangles);
    }
    const std::size_t before = _out.size();
    createMeshChunk(packed, compressedVertices, compressedIndices, sphere, _out);
    _summary.meshBytesAfter += _out.size() - before;
    _summary.vertices += packed.vertexCount();
    _summary.indices += packed.indexCount();
    _meshRecord[index] = std::int32_t(_summary.meshes++);
}

std::int32_t SceneConverter::texture(const aiMaterial& material, std::initializer_list<aiTextureType> types, const bool srgb, const std::string& materialName) {
    aiString path;
    bool found = false;
    for(const aiTextureType type: types)
        if(material.GetTextureCount(type) && material.GetTexture(type, 0, &path) == AI_SUCCESS) {
            found = true;
            break;
        }
    if(!found) return -1;
    const std::string key = path.C_Str();
    const auto known = _imageOfPath.find(key);
    if(known != _imageOfPath.end()) return known->second;

    std::vector<char> file;
    Utils::Result<Image2D> image = Utils::Result<Image2D>::fail("nothing read");
    if(const aiTexture* const embedded = _scene.GetEmbeddedTexture(path.C_Str())) {
        if(embedded->mHeight == 0) {
            image = decodeImage({reinterpret_cast<const char*>(embedded->pcData), embedded->mWidth}, 0, srgb ? ImageDecodeFlags{ImageDecodeFlag::Srgb} : ImageDecodeFlags{});
        } else {
            /* Uncompressed BGRA texels, top row first */
            const Vector2i size{std::int32_t(embedded->mWidth), std::int32_t(embedded->mHeight)};
            std::vector<char> pixels(std::size_t(size.x())*size.y()*4);
            for(std::int32_t y = 0; y != size.y(); ++y) for(std::int32_t x = 0; x != size.x(); ++x) {
                const aiTexel& t = embedded->pcData[std::size_t(size.y() - 1 - y)*size.x() + x];
                char* const p = pixels.data() + (std::size_t(y)*size.x() + x)*4;
                p[0] = char(t.r); p[1] = char(t.g); p[2] = char(t.b); p[3] = char(t.a);
            }
            image = Image2D{srgb ? Trade::PixelFormat::RGBA8Srgb : Trade::PixelFormat::RGBA8Unorm, size, std::move(pixels)};
        }
    } else {
        std::string relative = key;
        std::replace(relative.begin(), relative.end(), '\\', '/');
        std::ifstream in{_directory + relative, std::ios::binary};
        if(in) {
            file.assign(std::istreambuf_iterator<char>{in}, std::istreambuf_iterator<char>{});
            image = decodeImage(file, 0, srgb ? ImageDecodeFlags{ImageDecodeFlag::Srgb} : ImageDecodeFlags{});
        } else image = Utils::Result<Image2D>::fail("the file can't be opened");
    }
    std::int32_t result = -1;
    if(!image) {
        warn("material " + materialName + ": texture " + key + " can't be read: " + image.error() + "; it is left out");
    } else {
        Utils::Result<std::vector<Image2D>> levels = generateMipLevels(image->view());
        std::vector<Trade::ImageData2D> views;
        if(levels) for(const Image2D& level: *levels) views.push_back(level.view());
        else {
            warn("material " + materialName + ": texture " + key + " gets no mip levels: " + levels.error());
            views.push_back(image->view());
        }
        const std::vector<char> record = createImageRecord(views, _out);
        const std::span<const char> pieces[]{record};
        Data::AssetChunk::create(Data::Magic::Image, pieces, _out);
        result = std::int32_t(_imageCount++);
        _textureRecords.push_back(Data::createTextureData(std::uint16_t(result), 0, Trade::SamplerFilter::Linear, Trade::SamplerFilter::Linear, Trade::SamplerMipmap::Linear,
            {Trade::SamplerWrapping::Repeat, Trade::SamplerWrapping::Repeat, Trade::SamplerWrapping::Repeat}));
    }
    _imageOfPath.emplace(key, result);
    return result;
}

void SceneConverter::writeMaterial(const std::uint32_t index) {
    const aiMaterial& material = *_scene.mMaterials[index];
    aiString aiName;
    material.Get(AI_MATKEY_NAME, aiName);
    const std::string name = nameOf(aiName, "material", index);

    struct Parameters {
        float baseColor[4]{1.0f, 1.0f, 1.0f, 1.0f};
        float emissive[3]{};
        float metallic{1.0f}, roughness{1.0f}, alphaCutoff{0.5f};
        std::int32_t textures[5]{-1, -1, -1, -1, -1};
        std::int32_t reserved{};
    } p;
    static_assert(sizeof(Parameters) == SceneMaterialParametersSize, "the material parameter block is 64 bytes");
    aiColor4D color;
    if(material.Get(AI_MATKEY_BASE_COLOR, color) == AI_SUCCESS || material.Get(AI_MATKEY_COLOR_DIFFUSE, color) == AI_SUCCESS) {
        p.baseColor[0] = color.r; p.baseColor[1] = color.g; p.baseColor[2] = color.b; p.baseColor[3] = color.a;
    }
    if(material.Get(AI_MATKEY_COLOR_EMISSIVE, color) == AI_SUCCESS) {
        p.emissive[0] = color.r; p.emissive[1] = color.g; p.emissive[2] = color.b;
    }
    float value;
    if(material.Get(AI_MATKEY_METALLIC_FACTOR, value) == AI_SUCCESS) p.metallic = value;
    if(material.Get(AI_MATKEY_ROUGHNESS_FACTOR, value) == AI_SUCCESS) p.roughness = value;
    if(material.Get("$mat.gltf.alphaCutoff", 0, 0, value) == AI_SUCCESS) p.alphaCutoff = value;
    float opacity = 1.0f;
    if(material.Get(AI_MATKEY_OPACITY, value) == AI_SUCCESS) opacity = value;

    Shaders::AlphaMaterial alpha{Shaders::AlphaMode::Opaque, p.alphaCutoff, opacity, 0};
    aiString mode;
    if(material.Get("$mat.gltf.alphaMode", 0, 0, mode) == AI_SUCCESS) {
        if(std::strcmp(mode.C_Str(), "MASK") == 0) alpha.mode = Shaders::AlphaMode::Mask;
        else if(std::strcmp(mode.C_Str(), "BLEND") == 0) alpha.mode = Shaders::AlphaMode::Blend;
    } else if(opacity < 1.0f) alpha.mode = Shaders::AlphaMode::Blend;

    p.textures[0] = texture(material, {aiTextureType_BASE_COLOR, aiTextureType_DIFFUSE}, true, name);
    p.textures[1] = texture(material, {aiTextureType_NORMALS, aiTextureType_HEIGHT}, false, name);
    p.textures[2] = texture(material, {aiTextureType_METALNESS, aiTextureType_DIFFUSE_ROUGHNESS, aiTextureType_UNKNOWN}, false, name);
    p.textures[3] = texture(material, {aiTextureType_AMBIENT_OCCLUSION, aiTextureType_LIGHTMAP}, false, name);
    p.textures[4] = texture(material, {aiTextureType_EMISSIVE}, true, name);

    std::vector<char> parameters(sizeof(Parameters));
    std::memcpy(parameters.data(), &p, sizeof(Parameters));
    _materialRecords.push_back(Data::createMaterialData(0, alpha, parameters));
}

void SceneConverter::addNode(const aiNode& node, const Id parent) {
    const Id object = _graph->addObject(parent);
    const std::string name = node.mName.C_Str();
    if(!name.empty()) {
        _names->setObjectName(object, name);
        _objectOfName.emplace(name, object);
    }
    const Decomposed d = decompose(node.mTransformation);
    if(!d.exact) warn("node " + name + ": the transformation has shear or projection, which is left out");
    const Data::SceneGraph::IndexType index = _graph->indexOf(object);
    _graph->setLocalTransformation(index, d.transformation);
    _graph->setLocalScaling(index, d.scaling);
    _graph->setDirty(index);

    for(unsigned m = 0; m != node.mNumMeshes; ++m) {
        const unsigned meshIndex = node.mMeshes[m];
        if(meshIndex >= _scene.mNumMeshes || _meshRecord[meshIndex] < 0) {
            if(meshIndex >= _scene.mNumMeshes) warn("node " + name + ": mesh " + std::to_string(meshIndex) + " does not exist");
            continue;
        }
        const aiMesh& mesh = *_scene.mMeshes[meshIndex];
        const Id component = _meshes->addComponent(object);
        Data::SparseArray::IndexType i = _meshes->indexOf(component);
        _meshes->meshes()[i] = std::uint16_t(_meshRecord[meshIndex]);
        _meshes->materials()[i] = std::uint16_t(mesh.mMaterialIndex);
        _meshes->activate(i);
    }
    for(unsigned c = 0; c != node.mNumChildren; ++c) addNode(*node.mChildren[c], object);
}

Id SceneConverter::objectOfNode(const std::string& name) const {
    const auto found = _objectOfName.find(name);
    return found == _objectOfName.end() ? Id{Data::AnimationManager::NoTarget} : found->second;
}

void SceneConverter::writeSkin(const std::uint32_t index) {
    const aiMesh& mesh = *_scene.mMeshes[index];
    const std::string name = nameOf(mesh.mName, "mesh", index);
    std::vector<DualQuaternion> transforms;
    std::vector<Vector3> scalings;
    std::vector<Id> joints;
    for(unsigned b = 0; b != mesh.mNumBones; ++b) {
        const aiBone& bone = *mesh.mBones[b];
        const Decomposed d = decompose(bone.mOffsetMatrix);
        if(!d.exact) warn("mesh " + name + ": the inverse bind matrix of joint " + bone.mName.C_Str() + " has shear, which is left out");
        transforms.push_back(d.transformation);
        scalings.push_back(d.scaling);
        Id joint = objectOfNode(bone.mName.C_Str());
        if(joint == Id{Data::AnimationManager::NoTarget}) {
            warn("mesh " + name + ": joint " + std::string{bone.mName.C_Str()} + " names no node, it is bound to the scene root");
            joint = Id{0};
        }
        joints.push_back(joint);
    }
    const std::vector<char> record = Data::createSkinData(transforms, scalings, joints);
    const std::span<const char> pieces[]{record};
    Data::AssetChunk::create(Data::Magic::Skin, pieces, _out);
    _meshSkin[index] = std::uint16_t(++_summary.skins);
}

void SceneConverter::writeAnimation(const std::uint32_t index) {
    const aiAnimation& animation = *_scene.mAnimations[index];
    const std::string name = nameOf(animation.mName, "animation", index);
    if(animation.mNumMeshChannels || animation.mNumMorphMeshChannels)
        warn("animation " + name + ": mesh and morph channels are not supported, they are left out");
    const double ticks = animation.mTicksPerSecond > 0.0 ? animation.mTicksPerSecond : 25.0;
    Animation::Offline::RawAnimation raw;
    raw.name = name;
    raw.duration = float(animation.mDuration/ticks);
    if(!(raw.duration > 0.0f)) raw.duration = 1.0f/float(ticks);
    std::vector<Id> targets;
    /* Times in seconds inside [0, duration], strictly increasing: later duplicates are dropped */
    const auto keys = [&](auto& out, const auto* in, unsigned count, auto convert) {
        float last = -1.0f;
        for(unsigned k = 0; k != count; ++k) {
            const float time = std::clamp(float(in[k].mTime/ticks), 0.0f, raw.duration);
            if(!(time > last)) continue;
            out.push_back({time, convert(in[k].mValue)});
            last = time;
        }
    };
    for(unsigned c = 0; c != animation.mNumChannels; ++c) {
        const aiNodeAnim& channel = *animation.mChannels[c];
        Animation::Offline::JointTrack track;
        keys(track.translations, channel.mPositionKeys, channel.mNumPositionKeys, [](const aiVector3D& v) { return vec(v); });
        keys(track.rotations, channel.mRotationKeys, channel.mNumRotationKeys, [](const aiQuaternion& q) { return Quaternion{{q.x, q.y, q.z}, q.w}.normalized(); });
        keys(track.scales, channel.mScalingKeys, channel.mNumScalingKeys, [](const aiVector3D& v) { return vec(v); });
        raw.tracks.push_back(std::move(track));
        const Id target = objectOfNode(channel.mNodeName.C_Str());
        if(target == Id{Data::AnimationManager::NoTarget})
            warn("animation " + name + ": channel for node " + std::string{channel.mNodeName.C_Str()} + ", which does not exist, drives nothing");
        targets.push_back(target);
    }
    const std::vector<char> record = Data::createAnimationData(raw, {}, StringArrayView{}, bool(_flags & SceneImportFlag::Compress));
    step();
    if(record.empty()) {
        warn("animation " + name + ": its keys don't form a valid animation, it is left out");
        return;
    }
    const std::uint16_t animationIndex = std::uint16_t(_summary.animations++);
    {
        const std::span<const char> pieces[]{record};
        Data::AssetChunk::create(Data::Magic::Animation, pieces, _out);
    }
    const std::vector<char> targetRecord = Data::createAnimationTargetsData(animationIndex, targets);
    const std::span<const char> pieces[]{targetRecord};
    Data::AssetChunk::create(Data::Magic::AnimationTargets, pieces, _out);
    const std::optional<std::uint16_t> added = _animations->addAnimation(Data::AnimationData{record});
    if(added && _graph->size() > 1) {
        const Id component = _animations->addAnimationComponent(_graph->idOf(1), *added, targets);
        if(*added == 0) _animations->play(component);
        else _animations->deactivate(_animations->indexOf(component));
    }
}

void SceneConverter::addCamera(const aiCamera& camera) {
    const std::string name = camera.mName.C_Str();
    Id object = objectOfNode(name);
    if(object == Id{Data::AnimationManager::NoTarget}) {
        warn("camera " + name + ": no node of that name, the camera is left out");
        return;
    }
    const Vector3 position = vec(camera.mPosition);
    Vector3 look = vec(camera.mLookAt), up = vec(camera.mUp);
    /* Degenerate directions fall back to the engine's own */
    if(!(look.dot() > 0.0f)) look = Vector3{0.0f, 0.0f, -1.0f};
    look = look.normalized();
    if(!(Math::cross(up, look).dot() > 1e-12f)) up = std::abs(look.y()) < 0.9f ? Vector3{0.0f, 1.0f, 0.0f} : Vector3{0.0f, 0.0f, 1.0f};
    up = up.normalized();
    if(position.dot() > 1e-12f || (look - Vector3{0.0f, 0.0f, -1.0f}).dot() > 1e-8f || (up - Vector3{0.0f, 1.0f, 0.0f}).dot() > 1e-8f) {
        /* A child carrying the camera's own frame: -Z along the look direction, +Y up */
        const Vector3 z = -look;
        const Vector3 x = Math::cross(up, z).normalized();
        const Vector3 y = Math::cross(z, x);
        object = _graph->addObject(object);
        _names->setObjectName(object, name + ".camera");
        const Data::SceneGraph::IndexType index = _graph->indexOf(object);
        _graph->setLocalTransformation(index, DualQuaternion::from(rotationFromBasis(x, y, z), position));
        _graph->setDirty(index);
    }
    const Id view = _views->addComponent(object);
    const Data::SparseArray::IndexType index = _views->indexOf(view);
    const bool orthographic = camera.mOrthographicWidth > 0.0f;
    _views->projectionParams()[index] = Vector4{camera.mClipPlaneNear, camera.mClipPlaneFar,
        2.0f*camera.mHorizontalFOV*DegreesPerRadian, orthographic ? 2.0f*camera.mOrthographicWidth : 10.0f};
    _views->projectionTypes()[index] = orthographic ? 1 : 0;
    _views->activate(index);
    ++_summary.views;
}

void SceneConverter::addLight(const aiLight& light) {
    const std::string name = light.mName.C_Str();
    Data::LightType type;
    switch(light.mType) {
        case aiLightSource_DIRECTIONAL: type = Data::LightType::Sun; break;
        case aiLightSource_POINT: type = Data::LightType::Point; break;
        case aiLightSource_SPOT: type = Data::LightType::Spot; break;
        default:
            warn("light " + name + ": ambient, area and undefined lights are not supported, the light is left out");
            return;
    }
    Id object = objectOfNode(name);
    if(object == Id{Data::AnimationManager::NoTarget}) {
        warn("light " + name + ": no node of that name, the light is left out");
        return;
    }
    const Vector3 position = vec(light.mPosition);
    Vector3 direction = vec(light.mDirection);
    if(type == Data::LightType::Point || direction.dot() == 0.0f) direction = Vector3{0.0f, 1.0f, 0.0f};
    direction = direction.normalized();
    if(position.dot() > 1e-12f || (direction - Vector3{0.0f, 1.0f, 0.0f}).dot() > 1e-8f) {
        object = _graph->addObject(object);
        _names->setObjectName(object, name + ".light");
        const Data::SceneGraph::IndexType index = _graph->indexOf(object);
        _graph->setLocalTransformation(index, DualQuaternion::from(rotationFromY(direction), position));
        _graph->setDirty(index);
    }
    const Id component = _lights->addComponent(object);
    const Data::SparseArray::IndexType index = _lights->setLightType(_lights->indexOf(component), type);
    _lights->colors()[index] = Color4{light.mColorDiffuse.r, light.mColorDiffuse.g, light.mColorDiffuse.b, 1.0f};
    if(type == Data::LightType::Spot) {
        Vector4& parameters = _lights->parameters()[index];
        parameters.x() = 2.0f*light.mAngleOuterCone*DegreesPerRadian;
        parameters.y() = 2.0f*std::min(light.mAngleInnerCone, light.mAngleOuterCone)*DegreesPerRadian;
    }
    _lights->activate(index);
    ++_summary.lights;
}

std::vector<char> SceneConverter::run() {
    Data::appendHeaderData(_out);
    _stepCount = _scene.mNumMeshes + _scene.mNumMaterials + _scene.mNumAnimations;

    _meshRecord.assign(_scene.mNumMeshes, -1);
    _meshSkin.assign(_scene.mNumMeshes, 0);
    for(std::uint32_t m = 0; m != _scene.mNumMeshes; ++m) {
        writeMesh(m);
        step();
    }
    for(std::uint32_t m = 0; m != _scene.mNumMaterials; ++m) {
        writeMaterial(m);
        step();
    }
    for(const std::vector<char>& record: _textureRecords) {
        const std::span<const char> pieces[]{record};
        Data::AssetChunk::create(Data::Magic::Texture, pieces, _out);
    }
    for(const std::vector<char>& record: _materialRecords) {
        const std::span<const char> pieces[]{record};
        Data::AssetChunk::create(Data::Magic::Material, pieces, _out);
    }
    _summary.materials = std::uint32_t(_materialRecords.size());
    _summary.textures = std::uint32_t(_textureRecords.size());
    _summary.images = _imageCount;

    /* Objects: every node, and room for a child per camera and light */
    countObjects(*_scene.mRootNode);
    const std::uint32_t objectCapacity = std::min<std::uint32_t>(_objectCount + _scene.mNumCameras + _scene.mNumLights + 1, Data::SceneGraph::MaxCapacity);
    std::uint32_t meshComponents = 0;
    const auto countMeshes = [&](const aiNode& node, auto& self) -> void {
        meshComponents += node.mNumMeshes;
        for(unsigned c = 0; c != node.mNumChildren; ++c) self(*node.mChildren[c], self);
    };
    countMeshes(*_scene.mRootNode, countMeshes);
    const std::uint32_t componentCapacity = std::min<std::uint32_t>(meshComponents + 2*objectCapacity + _scene.mNumAnimations + 16, 65535);
    _graph = std::make_unique<Data::SceneGraph>(Data::SceneGraph::IndexType(objectCapacity), std::uint16_t(SlotCount), std::uint16_t(componentCapacity));
    _meshes = std::make_unique<Data::MeshManager>(Data::SparseArray::IndexType(std::min<std::uint32_t>(meshComponents + 1, 65535)), 1);
    _views = std::make_unique<Data::ViewManager>(Data::SparseArray::IndexType(_scene.mNumCameras));
    _lights = std::make_unique<Data::LightManager>(Data::SparseArray::IndexType(_scene.mNumLights));
    _animations = std::make_unique<Data::AnimationManager>(Data::SparseArray::IndexType(_scene.mNumAnimations));
    _names = std::make_unique<Data::NameManager>(Data::SparseArray::IndexType(objectCapacity));
    _graph->setComponentManager(MeshSlot, "mesh", _meshes.get());
    _graph->setComponentManager(ViewSlot, "view", _views.get());
    _graph->setComponentManager(LightSlot, "light", _lights.get());
    _graph->setComponentManager(AnimationSlot, "animation", _animations.get());
    _graph->setComponentManager(NameSlot, "name", _names.get());

    /* Skins before the hierarchy, which needs their indices, but joints are objects: name the
       objects first by walking the hierarchy, then write the skins */
    addNode(*_scene.mRootNode, Id{0});
    for(std::uint32_t m = 0; m != _scene.mNumMeshes; ++m)
        if(_meshRecord[m] >= 0 && _scene.mMeshes[m]->HasBones()) writeSkin(m);
    if(_summary.skins) {
        /* Mesh components were added before their skins were known: set them now, by id, as
           moving a component into subgroup 1 changes indices */
        std::vector<std::uint16_t> skinOfRecord(_summary.meshes, 0);
        for(std::uint32_t m = 0; m != _scene.mNumMeshes; ++m)
            if(_meshRecord[m] >= 0) skinOfRecord[std::size_t(_meshRecord[m])] = _meshSkin[m];
        std::vector<Id> components;
        for(Data::SparseArray::IndexType i = 0; i != _meshes->size(); ++i) components.push_back(_meshes->idOf(i));
        for(const Id component: components) {
            const Data::SparseArray::IndexType i = _meshes->indexOf(component);
            const std::uint16_t skin = skinOfRecord[_meshes->meshes()[i]];
            if(!skin) continue;
            _meshes->skins()[i] = skin;
            _meshes->setGroup(i, 0, 1);
        }
    }
    for(unsigned c = 0; c != _scene.mNumCameras; ++c) addCamera(*_scene.mCameras[c]);
    for(unsigned l = 0; l != _scene.mNumLights; ++l) addLight(*_scene.mLights[l]);
    for(std::uint32_t a = 0; a != _scene.mNumAnimations; ++a) writeAnimation(a);
    _summary.objects = _graph->size() - 1u;

    _graph->activate();
    const std::vector<char> scene = Data::createSceneData(*_graph);
    const std::span<const char> pieces[]{scene};
    Data::AssetChunk::create(Data::Magic::Scene, pieces, _out);
    Data::updateHeaderData(_out);
    _summary.bytesAfter = _out.size();
    /* Unregister before the graph goes: the managers are members declared after it */
    _meshes.reset(); _views.reset(); _lights.reset(); _animations.reset(); _names.reset();
    return std::move(_out);
}

}

Utils::Result<std::vector<char>> importScene(const std::string& path, const SceneImportFlags flags, SceneImportSummary* const summary, SceneImportProgress progress) {
    typedef Utils::Result<std::vector<char>> R;
    Assimp::Importer importer;
    /* Lines and points are reported by the converter, not dropped by assimp */
    const aiScene* const scene = importer.ReadFile(path, aiProcess_Triangulate|aiProcess_SortByPType|
        aiProcess_JoinIdenticalVertices|aiProcess_ValidateDataStructure);
    if(!scene) return R::fail(path + ": " + importer.GetErrorString());
    if(!scene->mRootNode) return R::fail(path + ": the file holds no scene");
    const std::size_t slash = path.find_last_of('/');
    SceneImportSummary local;
    SceneConverter run{*scene, slash == std::string::npos ? std::string{} : path.substr(0, slash + 1), flags, summary ? *summary : local, progress};
    return R{run.run()};
}

}}
