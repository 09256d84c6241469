#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <array>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include <assimp/Importer.hpp>
#include <assimp/postprocess.h>
#include <assimp/scene.h>

#include "QuillmarshEngine/Data/AnimationData.h"
#include "QuillmarshEngine/Data/AnimationManager.h"
#include "QuillmarshEngine/Data/LightManager.h"
#include "QuillmarshEngine/Data/MeshData.h"
#include "QuillmarshEngine/Data/MeshManager.h"
#include "QuillmarshEngine/Data/NameManager.h"
#include "QuillmarshEngine/Data/Scene.h"
#include "QuillmarshEngine/Data/ViewManager.h"
#include "QuillmarshEngine/Math/DualQuaternion.h"
#include "QuillmarshEngine/Tools/MeshFormat.h"
#include "QuillmarshEngine/Tools/SceneImporter.h"

namespace QuillmarshEngine { namespace Tools { namespace {

namespace fs = std::filesystem;

/* Debian's assimp-testmodels package */
const fs::path Models = "/usr/share/assimp/models";

#define REQUIRE_MODELS() \
    if(!fs::is_directory(Models)) GTEST_SKIP() << "the assimp-testmodels package is not installed (" << Models << " is missing)"

std::vector<fs::path> modelsUnder(const fs::path& directory, std::initializer_list<const char*> extensions) {
    std::vector<fs::path> out;
    if(!fs::is_directory(directory)) return out;
    for(const fs::directory_entry& entry: fs::recursive_directory_iterator{directory}) {
        std::string extension = entry.path().extension().string();
        std::transform(extension.begin(), extension.end(), extension.begin(), [](char c) { return char(std::tolower(c)); });
        for(const char* e: extensions) if(extension == e) out.push_back(entry.path());
    }
    std::sort(out.begin(), out.end());
    return out;
}

typedef std::array<Vector3, 3> Triangle;

/* Whether the two triangle lists hold the same triangles with the same winding, up to a
   rotation of their corners and within `tolerance` per coordinate, each matched once */
bool sameTriangles(std::vector<Triangle> expected, const std::vector<Triangle>& actual, float tolerance) {
    if(expected.size() != actual.size()) return false;
    const auto centroidX = [](const Triangle& t) { return (t[0].x() + t[1].x() + t[2].x())/3.0f; };
    std::sort(expected.begin(), expected.end(), [&](const Triangle& a, const Triangle& b) { return centroidX(a) < centroidX(b); });
    std::vector<float> keys;
    for(const Triangle& t: expected) keys.push_back(centroidX(t));
    std::vector<bool> matched(expected.size());
    const auto close = [&](const Vector3& a, const Vector3& b) {
        return std::abs(a.x() - b.x()) <= tolerance && std::abs(a.y() - b.y()) <= tolerance && std::abs(a.z() - b.z()) <= tolerance;
    };
    for(const Triangle& t: actual) {
        const float x = centroidX(t);
        bool found = false;
        for(std::size_t i = std::size_t(std::lower_bound(keys.begin(), keys.end(), x - tolerance - 1e-6f*std::abs(x)) - keys.begin());
            i != keys.size() && keys[i] <= x + tolerance + 1e-6f*std::abs(x) && !found; ++i) {
            if(matched[i]) continue;
            for(std::size_t r = 0; r != 3 && !found; ++r)
                if(close(t[0], expected[i][r]) && close(t[1], expected[i][(r + 1) % 3]) && close(t[2], expected[i][(r + 2) % 3]))
                    found = matched[i] = true;
        }
        if(!found) return false;
    }
    return true;
}

Vector3 vec(const aiVector3D& v) { return {v.x, v.y, v.z}; }

struct Imported {
    std::unique_ptr<Data::Scene> scene;
    SceneImportSummary summary;
    std::string warnings;
};

/* Imports, and loads the result through the validating path */
Imported importAndLoad(const fs::path& path, SceneImportFlags flags) {
    Imported out;
    std::ostringstream warnings, quiet;
    Warning redirectWarnings{&warnings};
    Debug silence{&quiet};
    Utils::Result<std::vector<char>> data = importScene(path.string(), flags, &out.summary);
    out.warnings = warnings.str();
    if(!data) {
        ADD_FAILURE() << path << ": " << data.error();
        return out;
    }
    Utils::Result<std::unique_ptr<Data::Scene>> scene = Data::Scene::load(std::move(*data));
    if(!scene) {
        ADD_FAILURE() << path << ": " << scene.error();
        return out;
    }
    out.scene = std::move(*scene);
    return out;
}

/* Pre-order list of the nodes with the index of their parent (-1 for the root) */
void preOrder(const aiNode& node, std::int32_t parent, std::vector<std::pair<const aiNode*, std::int32_t>>& out) {
    const std::int32_t self = std::int32_t(out.size());
    out.emplace_back(&node, parent);
    for(unsigned c = 0; c != node.mNumChildren; ++c) preOrder(*node.mChildren[c], self, out);
}

/* Compares the packed scene with what assimp reads from the same file */
void checkAgainstAssimp(const fs::path& path, SceneImportFlags flags) {
    SCOPED_TRACE(path.string());
    Assimp::Importer importer;
    const aiScene* const model = importer.ReadFile(path.string(), aiProcess_Triangulate|aiProcess_SortByPType|aiProcess_JoinIdenticalVertices|aiProcess_ValidateDataStructure);
    ASSERT_TRUE(model && model->mRootNode);
    const Imported imported = importAndLoad(path, flags);
    ASSERT_TRUE(imported.scene);
    const Data::Scene& scene = *imported.scene;
    const Data::SceneGraph& graph = scene.sceneGraph();

    /* Meshes: every triangle mesh became the next mesh record, with its triangles intact */
    const std::vector<std::span<const char>> meshRecords = scene.records(Data::Magic::Mesh);
    std::vector<std::int32_t> recordOf(model->mNumMeshes, -1);
    std::size_t record = 0;
    for(unsigned m = 0; m != model->mNumMeshes; ++m) {
        const aiMesh& mesh = *model->mMeshes[m];
        std::vector<Triangle> expected;
        std::set<unsigned> used;
        for(unsigned f = 0; f != mesh.mNumFaces; ++f) {
            const aiFace& face = mesh.mFaces[f];
            if(face.mNumIndices != 3) continue;
            expected.push_back({vec(mesh.mVertices[face.mIndices[0]]), vec(mesh.mVertices[face.mIndices[1]]), vec(mesh.mVertices[face.mIndices[2]])});
            used.insert(face.mIndices, face.mIndices + 3);
        }
        bool finite = true;
        for(unsigned v = 0; v != mesh.mNumVertices; ++v)
            finite = finite && std::isfinite(mesh.mVertices[v].x) && std::isfinite(mesh.mVertices[v].y) && std::isfinite(mesh.mVertices[v].z);
        /* What can't be stored is left out, and named */
        if(!(mesh.mPrimitiveTypes & aiPrimitiveType_TRIANGLE) || expected.empty() || !finite) {
            EXPECT_NE(imported.warnings.find("[SceneLoader] mesh " + std::string{mesh.mName.C_Str()}), std::string::npos) << imported.warnings;
            continue;
        }
        ASSERT_LT(record, meshRecords.size());
        recordOf[m] = std::int32_t(record);
        Utils::Result<Trade::MeshData> decoded = decompressMesh(Data::MeshData{meshRecords[record++]});
        ASSERT_TRUE(decoded) << decoded.error();
        EXPECT_EQ(decoded->indexCount(), 3*expected.size());
        EXPECT_EQ(decoded->vertexCount(), used.size());
        /* Positions are stored as 32-bit floats in every layout: exact, or with quantization
           within 2^-14 of the mesh's largest coordinate magnitude */
        float largest = 0.0f;
        for(unsigned v = 0; v != mesh.mNumVertices; ++v)
            largest = std::max({largest, std::abs(mesh.mVertices[v].x), std::abs(mesh.mVertices[v].y), std::abs(mesh.mVertices[v].z)});
        const float tolerance = flags & SceneImportFlag::Quantize ? std::ldexp(largest, -14) : 0.0f;
        const std::uint32_t position = decoded->attributeId(Trade::MeshAttribute::Position);
        ASSERT_EQ(decoded->attributeFormat(position), Trade::VertexFormat::Vector3);
        const auto positionAt = [&](std::uint32_t v) {
            Vector3 p;
            std::memcpy(&p, decoded->vertexData().data() + decoded->attributeOffset(position) + std::size_t(v)*decoded->attributeStride(position), sizeof p);
            return p;
        };
        const std::vector<std::uint32_t> indices = decoded->indicesAsArray();
        std::vector<Triangle> actual;
        for(std::size_t i = 0; i + 2 < indices.size(); i += 3)
            actual.push_back({positionAt(indices[i]), positionAt(indices[i + 1]), positionAt(indices[i + 2])});
        EXPECT_TRUE(sameTriangles(expected, actual, tolerance)) << "mesh " << m << ": triangles differ beyond " << tolerance;
        /* Normals are always there, and tangents with texture coordinates */
        EXPECT_TRUE(decoded->hasAttribute(Trade::MeshAttribute::Normal));
        if(mesh.HasTextureCoords(0)) {
            EXPECT_TRUE(decoded->hasAttribute(Trade::MeshAttribute::Tangent));
        }
    }
    EXPECT_EQ(record, meshRecords.size());

    /* Hierarchy: node k of the pre-order walk is object Id(k + 1), under its parent's object,
       with the node's transformation and its meshes */
    std::vector<std::pair<const aiNode*, std::int32_t>> nodes;
    preOrder(*model->mRootNode, -1, nodes);
    const Data::MeshManager& meshes = *scene.manager<Data::MeshManager>();
    for(std::size_t k = 0; k != nodes.size(); ++k) {
        const aiNode& node = *nodes[k].first;
        SCOPED_TRACE(node.mName.C_Str());
        const Data::Id id{std::uint16_t(k + 1)};
        ASSERT_TRUE(graph.isAlive(id));
        const Data::SceneGraph::IndexType index = graph.indexOf(id);
        EXPECT_EQ(graph.idOf(graph.objects()[index].parent), Data::Id{std::uint16_t(nodes[k].second + 1)});

        /* The stored rotation, translation and scaling rebuild the node's matrix */
        const DualQuaternion& local = graph.localTransformations()[index];
        const Vector3& scaling = graph.localScalings()[index];
        const Matrix4 rigid = local.toMatrix();
        const aiMatrix4x4& m = node.mTransformation;
        float largest = 1.0f, error = 0.0f;
        for(std::size_t row = 0; row != 3; ++row) for(std::size_t column = 0; column != 4; ++column) {
            const float actual = column == 3 ? rigid[3][row] : rigid[column][row]*scaling[column];
            largest = std::max(largest, std::abs(m[row][column]));
            error = std::max(error, std::abs(actual - m[row][column]));
        }
        if(imported.warnings.find("node " + std::string{node.mName.C_Str()} + ": the transformation has shear") == std::string::npos) {
            EXPECT_LE(error, 1e-4f*largest);
        }

        std::multiset<std::pair<std::int32_t, std::uint32_t>> expectedMeshes, actualMeshes;
        for(unsigned i = 0; i != node.mNumMeshes; ++i)
            if(recordOf[node.mMeshes[i]] >= 0)
                expectedMeshes.emplace(recordOf[node.mMeshes[i]], model->mMeshes[node.mMeshes[i]]->mMaterialIndex);
        const std::span<const Data::Id> components = graph.componentIds(id);
        const std::span<const std::uint8_t> slots = graph.componentManagerIndices(id);
        for(std::size_t c = 0; c != components.size(); ++c) {
            if(graph.componentManager(slots[c]) != &meshes) continue;
            const Data::SparseArray::IndexType i = meshes.indexOf(components[c]);
            actualMeshes.emplace(meshes.meshes()[i], meshes.materials()[i]);
            EXPECT_TRUE(meshes.isActive(i));
        }
        EXPECT_TRUE(actualMeshes == expectedMeshes);
    }
    EXPECT_EQ(scene.records(Data::Magic::Material).size(), model->mNumMaterials);
    EXPECT_EQ(imported.summary.objects, graph.size() - 1u);
}

TEST(SceneImporter, EveryGltfAndObjModelAssimpLoads) {
    REQUIRE_MODELS();
    std::vector<fs::path> models = modelsUnder(Models/"glTF2", {".gltf", ".glb"});
    for(const fs::path& p: modelsUnder(Models/"glTF", {".gltf", ".glb"})) models.push_back(p);
    for(const fs::path& p: modelsUnder(Models/"OBJ", {".obj"})) models.push_back(p);
    std::size_t checked = 0;
    for(const fs::path& path: models) {
        Assimp::Importer importer;
        if(!importer.ReadFile(path.string(), aiProcess_Triangulate|aiProcess_SortByPType|aiProcess_JoinIdenticalVertices|aiProcess_ValidateDataStructure))
            continue;
        checkAgainstAssimp(path, SceneImportFlag::Quantize|SceneImportFlag::Compress);
        ++checked;
    }
    /* The package holds dozens; most of them load */
    EXPECT_GE(checked, 40u);
}

TEST(SceneImporter, FbxModels) {
    REQUIRE_MODELS();
    for(const char* name: {"FBX/box.fbx", "FBX/cubes_with_names.fbx", "FBX/huesitos.fbx", "FBX/spider.fbx", "FBX/phong_cube.fbx", "FBX/animation_with_skeleton.fbx"}) {
        if(!fs::exists(Models/name)) continue;
        checkAgainstAssimp(Models/name, {});
    }
}

TEST(SceneImporter, PlainLayoutKeepsFloats) {
    REQUIRE_MODELS();
    const Imported imported = importAndLoad(Models/"glTF2/BoxTextured-glTF/BoxTextured.gltf", {});
    ASSERT_TRUE(imported.scene);
    const Data::MeshData mesh{imported.scene->records(Data::Magic::Mesh).at(0)};
    EXPECT_FALSE(mesh.isVertexDataCompressed());
    EXPECT_FALSE(mesh.isIndexDataCompressed());
    const Trade::MeshData data = mesh.meshCopy();
    EXPECT_EQ(data.attributeFormat(data.attributeId(Trade::MeshAttribute::Normal)), Trade::VertexFormat::Vector3);
    /* The texture was read, with its mip chain, and the material points at it */
    EXPECT_EQ(imported.summary.images, 1u);
    EXPECT_EQ(imported.scene->records(Data::Magic::Texture).size(), 1u);
    const std::span<const char> material = imported.scene->records(Data::Magic::Material).at(0);
    ASSERT_EQ(material.size(), 20 + SceneMaterialParametersSize);
    std::int32_t baseColorTexture;
    std::memcpy(&baseColorTexture, material.data() + 20 + 40, 4);
    EXPECT_EQ(baseColorTexture, 0);

    const Imported quantized = importAndLoad(Models/"glTF2/BoxTextured-glTF/BoxTextured.gltf", SceneImportFlag::Quantize|SceneImportFlag::Compress);
    ASSERT_TRUE(quantized.scene);
    EXPECT_LT(quantized.summary.meshBytesAfter, imported.summary.meshBytesAfter);
    const Data::MeshData small{quantized.scene->records(Data::Magic::Mesh).at(0)};
    EXPECT_TRUE(small.isVertexDataCompressed());
    Utils::Result<Trade::MeshData> decoded = decompressMesh(small);
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->attributeFormat(decoded->attributeId(Trade::MeshAttribute::Normal)), Trade::VertexFormat::Vector3sNormalized);
}

TEST(SceneImporter, SkinsAnimationsAndCameras) {
    REQUIRE_MODELS();
    {
        SCOPED_TRACE("simple_skin");
        const Imported imported = importAndLoad(Models/"glTF2/simple_skin/simple_skin.gltf", {});
        ASSERT_TRUE(imported.scene);
        const Data::Scene& scene = *imported.scene;
        ASSERT_EQ(scene.records(Data::Magic::Skin).size(), 1u);
        const Data::MeshManager& meshes = *scene.manager<Data::MeshManager>();
        ASSERT_EQ(meshes.size(), 1);
        EXPECT_EQ(meshes.skins()[0], 1);
        EXPECT_EQ(meshes.grouped().slot(0), 1);
        /* The skin's joints are the objects of the joint nodes */
        const std::span<const char> skin = scene.records(Data::Magic::Skin)[0];
        std::uint32_t joints;
        std::memcpy(&joints, skin.data(), 4);
        ASSERT_EQ(joints, 2u);
        const Data::NameManager& names = *scene.manager<Data::NameManager>();
        for(std::uint32_t j = 0; j != joints; ++j) {
            Data::Id joint;
            std::memcpy(&joint, skin.data() + 4 + 44*joints + 2*j, 2);
            EXPECT_FALSE(names.objectName(joint).empty());
        }
        /* Its animation drives the second joint, and plays */
        ASSERT_EQ(scene.records(Data::Magic::Animation).size(), 1u);
        const Data::AnimationTargetsData targets{scene.records(Data::Magic::AnimationTargets).at(0)};
        EXPECT_EQ(targets.animation(), 0);
        ASSERT_GE(targets.targetCount(), 1);
        Data::AnimationManager& animations = *scene.manager<Data::AnimationManager>();
        EXPECT_EQ(animations.animationCount(), 1);
        EXPECT_EQ(animations.state(animations.idOf(0)), Data::AnimationState::Playing);
    }
    {
        SCOPED_TRACE("Cameras");
        const Imported imported = importAndLoad(Models/"glTF2/cameras/Cameras.gltf", {});
        ASSERT_TRUE(imported.scene);
        const Data::ViewManager& views = *imported.scene->manager<Data::ViewManager>();
        ASSERT_EQ(views.size(), 2);
        EXPECT_EQ(imported.summary.views, 2u);
        /* One perspective camera with a horizontal field of view in degrees, one orthographic */
        std::set<std::uint8_t> types;
        for(Data::SparseArray::IndexType i = 0; i != views.size(); ++i) {
            types.insert(views.projectionTypes()[i]);
            if(views.projectionTypes()[i] == 0) {
                EXPECT_GT(views.projectionParams()[i].z(), 1.0f);
                EXPECT_LT(views.projectionParams()[i].z(), 180.0f);
            }
        }
        EXPECT_EQ(types, (std::set<std::uint8_t>{0, 1}));
    }
}

TEST(SceneImporter, LightsShineWhereTheModelSays) {
    REQUIRE_MODELS();
    const fs::path path = Models/"Collada/lights.dae";
    Assimp::Importer importer;
    const aiScene* const model = importer.ReadFile(path.string(), aiProcess_Triangulate|aiProcess_SortByPType|aiProcess_JoinIdenticalVertices|aiProcess_ValidateDataStructure);
    ASSERT_TRUE(model);
    Imported imported = importAndLoad(path, {});
    ASSERT_TRUE(imported.scene);
    Data::SceneGraph& graph = imported.scene->sceneGraph();
    Data::LightManager& lights = *imported.scene->manager<Data::LightManager>();
    const Data::NameManager& names = *imported.scene->manager<Data::NameManager>();
    graph.computeAbsoluteTransformations();
    lights.update(0.0);

    std::size_t representable = 0;
    for(unsigned l = 0; l != model->mNumLights; ++l) {
        const aiLight& light = *model->mLights[l];
        if(light.mType == aiLightSource_DIRECTIONAL || light.mType == aiLightSource_POINT || light.mType == aiLightSource_SPOT) ++representable;
        else EXPECT_NE(imported.warnings.find("[SceneLoader] light " + std::string{light.mName.C_Str()} + ": ambient, area and undefined lights are not supported"), std::string::npos);
    }
    ASSERT_EQ(lights.size(), representable);
    ASSERT_GT(representable, 0u);
    for(Data::SparseArray::IndexType i = 0; i != lights.size(); ++i) {
        std::string name{names.objectName(lights.owner(i))};
        if(name.ends_with(".light")) name.resize(name.size() - 6);
        SCOPED_TRACE(name);
        const aiLight* light = nullptr;
        for(unsigned l = 0; l != model->mNumLights; ++l) if(name == model->mLights[l]->mName.C_Str()) light = model->mLights[l];
        ASSERT_TRUE(light);
        /* The node's global matrix, composed up the hierarchy */
        aiMatrix4x4 global;
        for(const aiNode* node = model->mRootNode->FindNode(light->mName); node; node = node->mParent) global = node->mTransformation*global;
        const aiVector3D position = global*light->mPosition;
        const Vector4& p = lights.positions()[i];
        EXPECT_NEAR(p.x(), position.x, 1e-3f*(1.0f + std::abs(position.x)));
        EXPECT_NEAR(p.y(), position.y, 1e-3f*(1.0f + std::abs(position.y)));
        EXPECT_NEAR(p.z(), position.z, 1e-3f*(1.0f + std::abs(position.z)));
        if(light->mType == aiLightSource_POINT) continue;
        aiVector3D direction = aiMatrix3x3{global}*light->mDirection;
        direction.Normalize();
        const Vector4& d = lights.directions()[i];
        EXPECT_NEAR(d.x(), direction.x, 1e-4f);
        EXPECT_NEAR(d.y(), direction.y, 1e-4f);
        EXPECT_NEAR(d.z(), direction.z, 1e-4f);
        if(light->mType == aiLightSource_SPOT) {
            EXPECT_EQ(lights.lightType(i), Data::LightType::Spot);
            EXPECT_NEAR(lights.parameters()[i].x(), 2.0f*light->mAngleOuterCone*180.0f/3.1415927f, 1e-3f);
        }
    }
}

TEST(SceneImporter, CamerasLookWhereTheModelSays) {
    REQUIRE_MODELS();
    const fs::path path = Models/"BLEND/TorusLightsCams_250_compressed.blend";
    Assimp::Importer importer;
    const aiScene* const model = importer.ReadFile(path.string(), aiProcess_Triangulate|aiProcess_SortByPType|aiProcess_JoinIdenticalVertices|aiProcess_ValidateDataStructure);
    ASSERT_TRUE(model);
    Imported imported = importAndLoad(path, {});
    ASSERT_TRUE(imported.scene);
    Data::SceneGraph& graph = imported.scene->sceneGraph();
    const Data::ViewManager& views = *imported.scene->manager<Data::ViewManager>();
    const Data::NameManager& names = *imported.scene->manager<Data::NameManager>();
    graph.computeAbsoluteTransformations();
    ASSERT_EQ(views.size(), model->mNumCameras);
    ASSERT_GT(views.size(), 0);
    for(Data::SparseArray::IndexType i = 0; i != views.size(); ++i) {
        std::string name{names.objectName(views.owner(i))};
        if(name.ends_with(".camera")) name.resize(name.size() - 7);
        SCOPED_TRACE(name);
        const aiCamera* camera = nullptr;
        for(unsigned c = 0; c != model->mNumCameras; ++c) if(name == model->mCameras[c]->mName.C_Str()) camera = model->mCameras[c];
        ASSERT_TRUE(camera);
        aiMatrix4x4 global;
        for(const aiNode* node = model->mRootNode->FindNode(camera->mName); node; node = node->mParent) global = node->mTransformation*global;
        /* The view looks down its object's -Z with +Y up */
        aiVector3D look = aiMatrix3x3{global}*camera->mLookAt, up = aiMatrix3x3{global}*camera->mUp;
        look.Normalize();
        const Quaternion rotation = graph.worldTransformations()[graph.indexOf(views.owner(i))].rotation();
        const Vector3 forward = rotation.transformVector({0.0f, 0.0f, -1.0f});
        EXPECT_NEAR(forward.x(), look.x, 1e-4f);
        EXPECT_NEAR(forward.y(), look.y, 1e-4f);
        EXPECT_NEAR(forward.z(), look.z, 1e-4f);
        /* Up lies in the plane of the model's up and the look direction */
        const Vector3 upward = rotation.transformVector({0.0f, 1.0f, 0.0f});
        EXPECT_GT(Math::dot(upward, Vector3{up.x, up.y, up.z}), 0.0f);
        EXPECT_NEAR(views.projectionParams()[i].z(), 2.0f*camera->mHorizontalFOV*180.0f/3.1415927f, 1e-3f);
    }
}

TEST(SceneImporter, ReportsWhatItCannotRepresent) {
    REQUIRE_MODELS();
    /* Lines and points are named and left out */
    const Imported lines = importAndLoad(Models/"glTF2/glTF-Asset-Generator/Mesh_PrimitiveMode/Mesh_PrimitiveMode_01.gltf", {});
    ASSERT_TRUE(lines.scene);
    EXPECT_NE(lines.warnings.find("[SceneLoader] mesh "), std::string::npos);
    EXPECT_NE(lines.warnings.find("points and lines are not supported, the mesh is left out"), std::string::npos);
    EXPECT_GE(lines.summary.warnings, 1u);
    /* Morph targets keep the base shape, with a warning naming the mesh */
    const Imported morph = importAndLoad(Models/"glTF2/glTF-Sample-Models/AnimatedMorphCube-glTF/AnimatedMorphCube.gltf", {});
    ASSERT_TRUE(morph.scene);
    EXPECT_NE(morph.warnings.find("morph targets are not supported, the base shape is kept"), std::string::npos) << morph.warnings;
    /* A texture file that isn't there is named with its material, and the material stays */
    const Imported missing = importAndLoad(Models/"FBX/maxPbrMaterial_metalRough.fbx", {});
    ASSERT_TRUE(missing.scene);
    EXPECT_NE(missing.warnings.find("[SceneLoader] material PBR Material: texture Textures\\albedo.png can't be read: the file can't be opened; it is left out"), std::string::npos) << missing.warnings;
    EXPECT_EQ(missing.scene->records(Data::Magic::Material).size(), missing.summary.materials);
}

TEST(SceneImporter, CorruptFilesGiveErrors) {
    REQUIRE_MODELS();
    std::ostringstream quiet;
    Warning silence{&quiet};
    Utils::Result<std::vector<char>> malformed = importScene((Models/"invalid/malformed.obj").string(), {});
    ASSERT_FALSE(malformed);
    EXPECT_NE(malformed.error().find("malformed.obj: "), std::string::npos) << malformed.error();

    /* A GLB cut in half */
    std::ifstream in{Models/"glTF2/BoxTextured-glTF-Binary/BoxTextured.glb", std::ios::binary};
    std::vector<char> bytes{std::istreambuf_iterator<char>{in}, std::istreambuf_iterator<char>{}};
    ASSERT_GT(bytes.size(), 100u);
    const fs::path cut = fs::temp_directory_path()/"quillmarsh-cut.glb";
    std::ofstream{cut, std::ios::binary}.write(bytes.data(), std::streamsize(bytes.size()/2));
    Utils::Result<std::vector<char>> truncated = importScene(cut.string(), {});
    fs::remove(cut);
    ASSERT_FALSE(truncated);
    EXPECT_EQ(truncated.error().rfind(cut.string() + ": ", 0), 0u) << truncated.error();

    Utils::Result<std::vector<char>> none = importScene("/nonexistent/model.gltf", {});
    ASSERT_FALSE(none);
    EXPECT_EQ(none.error().rfind("/nonexistent/model.gltf: ", 0), 0u);
}

}}}
