#include "Renderer.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#define GL_GLEXT_PROTOTYPES
#include <GL/glcorearb.h>

#include "GLContext.h"
#include "QuillmarshEngine/Data/LightManager.h"
#include "QuillmarshEngine/Data/MeshData.h"
#include "QuillmarshEngine/Data/MeshManager.h"
#include "QuillmarshEngine/Data/SceneGraph.h"
#include "QuillmarshEngine/Data/ViewManager.h"
#include "QuillmarshEngine/Math/Quaternion.h"
#include "QuillmarshEngine/Tools/MeshFormat.h"
#include "QuillmarshEngine/Utils/BitSet.h"
#include "QuillmarshEngine/Trade/MeshData.h"
#include "QuillmarshEngine/Utils/Preprocessor.h"
#include "QuillmarshEngine/Utils/Resource.h"
#include "QuillmarshEngine/Utils/ShaderTools.h"

namespace QuillmarshRenderer {

namespace {

constexpr const char* ShaderGroup = "QuillmarshEngineShaders";
constexpr GLuint LightsBinding = 0, ShadowsBinding = 1, SkinBinding = 2, MaterialsBinding = 3;
constexpr GLint ShadowMapUnit = 0, BaseColorTextureUnit = 1;
constexpr GLuint InstanceRealLocation = 11, InstanceDualLocation = 12, InstanceScalingLocation = 13;
constexpr GLsizei InstanceStride = 32;

/* How OpenGL reads one vertex format: the numbering of the format enum runs through the same
   thirteen component types for scalars and for two-, three- and four-component vectors */
struct AttributeFormat {
    GLint components;
    GLenum type;
    GLboolean normalized;
    bool integer;
    GLint componentSize;
};

std::optional<AttributeFormat> attributeFormat(const Trade::VertexFormat format) {
    const std::uint32_t value = std::uint32_t(format);
    if(value < 1 || value > 52) return {};
    const GLint components = GLint((value - 1)/13 + 1);
    switch((value - 1) % 13) {
        case 0: return AttributeFormat{components, GL_FLOAT, GL_FALSE, false, 4};
        case 1: return AttributeFormat{components, GL_HALF_FLOAT, GL_FALSE, false, 2};
        case 2: return {}; /* doubles */
        case 3: return AttributeFormat{components, GL_UNSIGNED_BYTE, GL_FALSE, true, 1};
        case 4: return AttributeFormat{components, GL_UNSIGNED_BYTE, GL_TRUE, false, 1};
        case 5: return AttributeFormat{components, GL_BYTE, GL_FALSE, true, 1};
        case 6: return AttributeFormat{components, GL_BYTE, GL_TRUE, false, 1};
        case 7: return AttributeFormat{components, GL_UNSIGNED_SHORT, GL_FALSE, true, 2};
        case 8: return AttributeFormat{components, GL_UNSIGNED_SHORT, GL_TRUE, false, 2};
        case 9: return AttributeFormat{components, GL_SHORT, GL_FALSE, true, 2};
        case 10: return AttributeFormat{components, GL_SHORT, GL_TRUE, false, 2};
        case 11: return AttributeFormat{components, GL_UNSIGNED_INT, GL_FALSE, true, 4};
        case 12: return AttributeFormat{components, GL_INT, GL_FALSE, true, 4};
    }
    return {};
}

bool isNormalized(const Trade::VertexFormat format) {
    const std::optional<AttributeFormat> f = attributeFormat(format);
    return f && f->normalized;
}

GLuint compile(const GLenum stage, const std::string& text, const std::string& what) {
    const GLuint shader = glCreateShader(stage);
    const char* source = text.c_str();
    glShaderSource(shader, 1, &source, nullptr);
    glCompileShader(shader);
    GLint ok = GL_FALSE;
    glGetShaderiv(shader, GL_COMPILE_STATUS, &ok);
    if(!ok) {
        char log[4096];
        glGetShaderInfoLog(shader, sizeof(log), nullptr, log);
        /* The shaders ship with the library: failing to compile one is a fault of this program */
        std::fprintf(stderr, "Renderer: %s does not compile:\n%s\n", what.c_str(), log);
        std::abort();
    }
    return shader;
}

/* A shader of the group with the defines put in place of its defines tag, its includes inlined
   and the preprocessor run over it with expansion */
std::string assemble(const char* file, const std::string& defines) {
    const std::string_view source = Utils::Resource{ShaderGroup}.getString(file);
    const std::string inlined = Utils::inlineIncludes({std::string{"resource:"} + ShaderGroup}, source, true);
    const std::pair<std::string_view, std::string_view> tags[]{{"defines", defines}};
    Utils::Preprocessor preprocessor{true};
    preprocessor << Utils::replaceTagsShader(inlined, tags, true);
    if(!preprocessor.isValid()) {
        std::fprintf(stderr, "Renderer: %s with\n%sdoes not preprocess\n", file, defines.c_str());
        std::abort();
    }
    return std::string{preprocessor.output()};
}

}

struct Renderer::Mesh {
    GLuint vao{}, vertexBuffer{}, indexBuffer{};
    GLenum indexType{};
    GLsizei count{};
    bool indexed{};
    bool skinning{}, eightJoints{};
    /* Defines of the attributes, in the shader group's names */
    std::string defines;
    /* Programs by variant, see variantIndex() */
    Program* programs[12]{};
};

struct Renderer::Program {
    GLuint id{};
    GLint viewProjection{-1}, paraboloidView{-1}, ambientColor{-1};
};

Renderer::Renderer() = default;

std::unique_ptr<Renderer> Renderer::create(std::string& error) {
    std::unique_ptr<GLContext> context = GLContext::create(error);
    if(!context) return nullptr;
    std::unique_ptr<Renderer> out{new Renderer};
    out->_context = std::move(context);
    out->_skinBlock.reset(new SkinBlock{});

    glGenBuffers(1, &out->_instanceBuffer);
    glGenBuffers(1, &out->_lightBuffer);
    glBindBuffer(GL_UNIFORM_BUFFER, out->_lightBuffer);
    glBufferData(GL_UNIFORM_BUFFER, sizeof(LightBlock), nullptr, GL_DYNAMIC_DRAW);
    glGenBuffers(1, &out->_shadowBuffer);
    glBindBuffer(GL_UNIFORM_BUFFER, out->_shadowBuffer);
    glBufferData(GL_UNIFORM_BUFFER, sizeof(ShadowBlock), nullptr, GL_DYNAMIC_DRAW);
    glGenBuffers(1, &out->_skinBuffer);
    glBindBuffer(GL_UNIFORM_BUFFER, out->_skinBuffer);
    glBufferData(GL_UNIFORM_BUFFER, sizeof(SkinBlock), nullptr, GL_DYNAMIC_DRAW);
    glBindBufferBase(GL_UNIFORM_BUFFER, LightsBinding, out->_lightBuffer);
    glBindBufferBase(GL_UNIFORM_BUFFER, ShadowsBinding, out->_shadowBuffer);
    glBindBufferBase(GL_UNIFORM_BUFFER, SkinBinding, out->_skinBuffer);
    /* Every material light grey until set */
    out->_materials.assign(MaxMaterials, Color4{0.8f, 0.8f, 0.8f, 1.0f});
    glGenBuffers(1, &out->_materialBuffer);
    glBindBuffer(GL_UNIFORM_BUFFER, out->_materialBuffer);
    glBufferData(GL_UNIFORM_BUFFER, GLsizeiptr(MaxMaterials*sizeof(Color4)), out->_materials.data(), GL_DYNAMIC_DRAW);
    glBindBufferBase(GL_UNIFORM_BUFFER, MaterialsBinding, out->_materialBuffer);

    /* Meshes with texture coordinates sample a white texture: the base colour stays as it is */
    glGenTextures(1, &out->_whiteTexture);
    glActiveTexture(GL_TEXTURE0 + BaseColorTextureUnit);
    glBindTexture(GL_TEXTURE_2D, out->_whiteTexture);
    const std::uint8_t white[4]{255, 255, 255, 255};
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, 1, 1, 0, GL_RGBA, GL_UNSIGNED_BYTE, white);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);

    glGenFramebuffers(1, &out->_shadowFramebuffer);
    glGenTextures(1, &out->_shadowMaps);
    return out;
}

Renderer::~Renderer() {
    for(const std::unique_ptr<Mesh>& mesh: _meshes) destroy(*mesh);
    for(const auto& program: _programs) glDeleteProgram(program.second->id);
    const GLuint buffers[]{_instanceBuffer, _lightBuffer, _shadowBuffer, _skinBuffer, _materialBuffer};
    glDeleteBuffers(5, buffers);
    const GLuint textures[]{_whiteTexture, _shadowMaps};
    glDeleteTextures(2, textures);
    const GLuint framebuffers[]{_framebuffer, _shadowFramebuffer};
    glDeleteFramebuffers(2, framebuffers);
    const GLuint renderbuffers[]{_colorBuffer, _depthBuffer};
    glDeleteRenderbuffers(2, renderbuffers);
}

std::string Renderer::description() const { return _context->description(); }

std::uint16_t Renderer::addMesh(const Trade::MeshData& mesh, const MeshBounds& bounds) {
    _meshes.push_back(upload(mesh));
    _bounds.push_back(bounds);
    return std::uint16_t(_meshes.size() - 1);
}

void Renderer::destroy(Mesh& mesh) {
    glDeleteVertexArrays(1, &mesh.vao);
    glDeleteBuffers(1, &mesh.vertexBuffer);
    if(mesh.indexBuffer) glDeleteBuffers(1, &mesh.indexBuffer);
}

bool Renderer::replaceMesh(const std::uint16_t index, const Trade::MeshData& mesh, const MeshBounds& bounds) {
    if(index >= _meshes.size()) return false;
    destroy(*_meshes[index]);
    _meshes[index] = upload(mesh);
    _bounds[index] = bounds;
    return true;
}

std::uint32_t Renderer::refreshDirtyMeshes(Data::MeshManager& meshes, const std::function<const Trade::MeshData*(std::uint16_t, MeshBounds&)>& source) {
    Utils::BitSet& dirty = meshes.dirtyMeshes();
    std::uint32_t uploaded = 0;
    for(std::size_t m = 0; m != dirty.bitCount(); ++m) {
        if(!dirty[m]) continue;
        dirty.reset(m);
        if(m >= _meshes.size()) continue;
        MeshBounds bounds = _bounds[m];
        if(const Trade::MeshData* const mesh = source(std::uint16_t(m), bounds)) {
            replaceMesh(std::uint16_t(m), *mesh, bounds);
            ++uploaded;
        }
    }
    return uploaded;
}

std::unique_ptr<Renderer::Mesh> Renderer::upload(const Trade::MeshData& mesh) {
    std::unique_ptr<Mesh> out{new Mesh};
    glGenVertexArrays(1, &out->vao);
    glBindVertexArray(out->vao);
    glGenBuffers(1, &out->vertexBuffer);
    glBindBuffer(GL_ARRAY_BUFFER, out->vertexBuffer);
    glBufferData(GL_ARRAY_BUFFER, GLsizeiptr(mesh.vertexData().size()), mesh.vertexData().data(), GL_STATIC_DRAW);

    std::string defines;
    const auto define = [&](const char* name) { defines += std::string{"#define "} + name + "\n"; };
    std::uint32_t seen[64]{};
    for(std::uint32_t i = 0; i != mesh.attributeCount(); ++i) {
        const Trade::MeshAttribute name = mesh.attributeName(i);
        const Trade::VertexFormat format = mesh.attributeFormat(i);
        const std::uint32_t instance = std::uint16_t(name) < 64 ? seen[std::uint16_t(name)]++ : 0;
        /* Only the rows of the layout itself are bound; custom attributes (text rows, the
           normal filler) belong to other shaders or to nothing */
        if(Trade::isMeshAttributeCustom(name)) continue;
        const auto row = std::find_if(Tools::meshAttributes.begin(), Tools::meshAttributes.end(),
            [&](const Tools::MeshAttributeEntry& entry) { return entry.name == name && entry.instance == instance; });
        const std::optional<AttributeFormat> f = attributeFormat(format);
        if(row == Tools::meshAttributes.end() || !f) continue;

        /* Arrays (joint ids and weights) take four components per location; the second four
           of eight joints take locations 8 and 9 */
        const std::uint32_t elements = std::max<std::uint32_t>(1, mesh.attributeArraySize(i));
        const GLsizei stride = mesh.attributeStride(i);
        for(std::uint32_t part = 0; part != (elements > 4 ? 2u : 1u); ++part) {
            const GLuint location = row->location + 2*part;
            const GLint components = elements > 1 ? GLint(std::min<std::uint32_t>(4, elements - 4*part)) : f->components;
            const void* const offset = reinterpret_cast<const void*>(mesh.attributeOffset(i) + 4*part*std::size_t(f->componentSize));
            glEnableVertexAttribArray(location);
            if(f->integer) glVertexAttribIPointer(location, components, f->type, stride, offset);
            else glVertexAttribPointer(location, components, f->type, f->normalized, stride, offset);
        }

        switch(name) {
            case Trade::MeshAttribute::Normal:
                define("NORMAL");
                if(isNormalized(format)) define("QUANTIZED_NORMAL");
                break;
            case Trade::MeshAttribute::Tangent:
                define("TANGENT");
                if(isNormalized(format)) define("QUANTIZED_TANGENT");
                break;
            case Trade::MeshAttribute::TextureCoordinates:
                define(instance ? "SECOND_TEXTURE_COORDINATES" : "TEXTURE_COORDINATES");
                break;
            case Trade::MeshAttribute::Color:
                define("COLOR");
                if(isNormalized(format)) define("QUANTIZED_COLOR");
                break;
            case Trade::MeshAttribute::ObjectId:
                define("OBJECT_IDS");
                break;
            case Trade::MeshAttribute::JointIds:
                out->skinning = true;
                out->eightJoints = elements > 4;
                break;
            default:
                break;
        }
    }
    /* Skinning needs both joint ids and weights */
    if(out->skinning && !mesh.hasAttribute(Trade::MeshAttribute::Weights)) out->skinning = false;
    out->defines = defines;

    /* The instance columns: real and dual part of the transform, then the scaling record, one
       element per instance; their buffer and offsets are set per draw */
    for(const GLuint location: {InstanceRealLocation, InstanceDualLocation, InstanceScalingLocation}) {
        glEnableVertexAttribArray(location);
        glVertexAttribDivisor(location, 1);
    }

    if(mesh.isIndexed()) {
        glGenBuffers(1, &out->indexBuffer);
        glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, out->indexBuffer);
        /* Indices may start past the beginning of the index bytes */
        glBufferData(GL_ELEMENT_ARRAY_BUFFER, GLsizeiptr(mesh.indexData().size() - mesh.indexOffset()), mesh.indexData().data() + mesh.indexOffset(), GL_STATIC_DRAW);
        out->indexed = true;
        out->count = GLsizei(mesh.indexCount());
        switch(mesh.indexType()) {
            case Trade::MeshIndexType::UnsignedByte: out->indexType = GL_UNSIGNED_BYTE; break;
            case Trade::MeshIndexType::UnsignedShort: out->indexType = GL_UNSIGNED_SHORT; break;
            default: out->indexType = GL_UNSIGNED_INT; break;
        }
    } else {
        out->count = GLsizei(mesh.vertexCount());
    }
    glBindVertexArray(0);
    return out;
}

std::optional<std::uint16_t> Renderer::addMesh(const Data::MeshData& record, std::string& error) {
    Utils::Result<Trade::MeshData> mesh = Tools::decompressMesh(record);
    if(!mesh) {
        error = mesh.error();
        return {};
    }
    const BoundingSphere sphere = record.boundingSphere();
    return addMesh(*mesh, MeshBounds{sphere.center(), sphere.radius()});
}

std::optional<std::uint16_t> Renderer::addSkin(const std::span<const char> record, std::string& error) {
    if(record.size() < 4) {
        error = "a skin record needs at least 4 bytes, got " + std::to_string(record.size());
        return {};
    }
    std::uint32_t n;
    std::memcpy(&n, record.data(), 4);
    if(record.size() < 4 + 46ull*n) {
        error = "a skin record of " + std::to_string(n) + " joints needs " + std::to_string(4 + 46ull*n) + " bytes, got " + std::to_string(record.size());
        return {};
    }
    if(n > MaxJoints) {
        error = "a skin of " + std::to_string(n) + " joints exceeds the " + std::to_string(MaxJoints) + " joints of the shaders";
        return {};
    }
    Skin skin;
    skin.transforms.resize(n);
    skin.scalings.resize(n);
    skin.joints.resize(n);
    std::memcpy(skin.transforms.data(), record.data() + 4, 32*n);
    std::memcpy(skin.scalings.data(), record.data() + 4 + 32*n, 12*n);
    std::memcpy(skin.joints.data(), record.data() + 4 + 44*n, 2*n);
    _skins.push_back(std::move(skin));
    return std::uint16_t(_skins.size());
}

bool Renderer::setMaterial(const std::uint16_t material, const Color4& color) {
    if(material >= MaxMaterials) return false;
    _materials[material] = color;
    glBindBuffer(GL_UNIFORM_BUFFER, _materialBuffer);
    glBufferSubData(GL_UNIFORM_BUFFER, GLintptr(material*sizeof(Color4)), sizeof(Color4), &color);
    return true;
}

Renderer::Program& Renderer::program(Mesh& mesh, const bool skinned, const bool shadows, const Pass pass) {
    /* Looked up by string once per mesh and variant, then taken from the mesh */
    Program*& cached = mesh.programs[(skinned ? 6 : 0) + (shadows ? 3 : 0) + std::size_t(pass)];
    if(!cached) cached = &program(mesh.defines, skinned && mesh.skinning, skinned && mesh.eightJoints, shadows, pass);
    return *cached;
}

Renderer::Program& Renderer::program(const std::string& meshDefines, const bool skinned, const bool eightJoints, const bool shadows, const Pass pass) {
    std::string defines = "#define MAX_LIGHTS " + std::to_string(MaxLights) + "\n#define MAX_SHADOWS " + std::to_string(MaxShadows) +
        "\n#define MAX_JOINTS " + std::to_string(MaxJoints) + "\n#define MAX_MATERIALS " + std::to_string(MaxMaterials) + "\n" + meshDefines;
    if(skinned) defines += eightJoints ? "#define SKINNING\n#define EIGHT_JOINTS\n" : "#define SKINNING\n";
    if(pass != Pass::Main) defines += "#define DEPTH_ONLY\n";
    if(pass == Pass::Paraboloid) defines += "#define PARABOLOID\n";
    if(shadows && pass == Pass::Main) defines += "#define SHADOWS\n";

    std::unique_ptr<Program>& found = _programs[defines];
    if(found) return *found;

    const GLuint vertex = compile(GL_VERTEX_SHADER, assemble("Mesh.vert", defines), "Mesh.vert with\n" + defines);
    const GLuint fragment = compile(GL_FRAGMENT_SHADER, assemble("Mesh.frag", defines), "Mesh.frag with\n" + defines);
    found.reset(new Program);
    Program& p = *found;
    p.id = glCreateProgram();
    glAttachShader(p.id, vertex);
    glAttachShader(p.id, fragment);
    glBindFragDataLocation(p.id, 0, "fragmentColor");
    glLinkProgram(p.id);
    glDeleteShader(vertex);
    glDeleteShader(fragment);
    GLint ok = GL_FALSE;
    glGetProgramiv(p.id, GL_LINK_STATUS, &ok);
    if(!ok) {
        char log[4096];
        glGetProgramInfoLog(p.id, sizeof(log), nullptr, log);
        std::fprintf(stderr, "Renderer: the mesh shaders with\n%sdo not link:\n%s\n", defines.c_str(), log);
        std::abort();
    }
    p.viewProjection = glGetUniformLocation(p.id, "viewProjection");
    p.paraboloidView = glGetUniformLocation(p.id, "paraboloidView");
    p.ambientColor = glGetUniformLocation(p.id, "ambientColor");
    glUseProgram(p.id);
    for(const auto& [block, binding]: {std::pair<const char*, GLuint>{"Lights", LightsBinding}, {"Shadows", ShadowsBinding}, {"Skin", SkinBinding}, {"Materials", MaterialsBinding}}) {
        const GLuint index = glGetUniformBlockIndex(p.id, block);
        if(index != GL_INVALID_INDEX) glUniformBlockBinding(p.id, index, binding);
    }
    if(const GLint location = glGetUniformLocation(p.id, "shadowMaps"); location >= 0) glUniform1i(location, ShadowMapUnit);
    if(const GLint location = glGetUniformLocation(p.id, "baseColorTexture"); location >= 0) glUniform1i(location, BaseColorTextureUnit);
    return p;
}

void Renderer::ensureFramebuffer(const std::uint32_t width, const std::uint32_t height) {
    if(_framebuffer && width == _width && height == _height) return;
    if(!_framebuffer) {
        glGenFramebuffers(1, &_framebuffer);
        glGenRenderbuffers(1, &_colorBuffer);
        glGenRenderbuffers(1, &_depthBuffer);
    }
    glBindRenderbuffer(GL_RENDERBUFFER, _colorBuffer);
    glRenderbufferStorage(GL_RENDERBUFFER, GL_RGBA8, GLsizei(width), GLsizei(height));
    glBindRenderbuffer(GL_RENDERBUFFER, _depthBuffer);
    glRenderbufferStorage(GL_RENDERBUFFER, GL_DEPTH_COMPONENT24, GLsizei(width), GLsizei(height));
    glBindFramebuffer(GL_FRAMEBUFFER, _framebuffer);
    glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, _colorBuffer);
    glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_DEPTH_ATTACHMENT, GL_RENDERBUFFER, _depthBuffer);
    _width = width;
    _height = height;
}

void Renderer::uploadInstances(const Data::MeshManager& meshes) {
    /* Both columns of the active instances, as they are, in one mapping of one buffer: the
       transforms first, the scalings behind them */
    const std::size_t count = meshes.activeCount();
    const std::size_t size = 2*InstanceStride*std::max<std::size_t>(count, 1);
    glBindBuffer(GL_ARRAY_BUFFER, _instanceBuffer);
    if(size > _instanceCapacity) {
        glBufferData(GL_ARRAY_BUFFER, GLsizeiptr(size), nullptr, GL_STREAM_DRAW);
        _instanceCapacity = size;
    }
    _scalingsOffset = InstanceStride*count;
    if(!count) return;
    char* const data = static_cast<char*>(glMapBufferRange(GL_ARRAY_BUFFER, 0, GLsizeiptr(size), GL_MAP_WRITE_BIT | GL_MAP_INVALIDATE_BUFFER_BIT));
    std::memcpy(data, meshes.transforms().data(), InstanceStride*count);
    std::memcpy(data + _scalingsOffset, meshes.scalings().data(), InstanceStride*count);
    glUnmapBuffer(GL_ARRAY_BUFFER);
}

void Renderer::uploadSkin(const Data::SceneGraph& graph, const std::uint16_t skinIndex) {
    const Skin& skin = _skins[skinIndex - 1];
    SkinBlock& block = *_skinBlock;
    for(std::size_t j = 0; j != skin.joints.size(); ++j) {
        DualQuaternion transform;
        Vector3 scaling{1.0f, 1.0f, 1.0f};
        const Data::Id joint = skin.joints[j];
        if(graph.isAlive(joint)) {
            /* The joint's world transformation after the record's inverse bind transformation,
               composed as the scene graph composes a child with its parent */
            const Data::SceneGraph::IndexType index = graph.indexOf(joint);
            const DualQuaternion& world = graph.worldTransformation(index);
            const Vector3& worldScaling = graph.worldScaling(index);
            transform = DualQuaternion::from(world.rotation()*skin.transforms[j].rotation(),
                world.transformPointNormalized(worldScaling*skin.transforms[j].translation()));
            scaling = worldScaling*skin.scalings[j];
        }
        block.real[j] = Vector4{transform.real().vector(), transform.real().scalar()};
        block.dual[j] = Vector4{transform.dual().vector(), transform.dual().scalar()};
        block.scaling[j] = Vector4{scaling, 0.0f};
    }
    glBindBuffer(GL_UNIFORM_BUFFER, _skinBuffer);
    glBufferSubData(GL_UNIFORM_BUFFER, 0, sizeof(SkinBlock), &block);
}

void Renderer::drawRuns(const Frame& frame, const FramePlan& plan, const Matrix4& viewProjection, const bool shadows, const Pass pass, const Matrix4& paraboloidView) {
    for(const DrawRun& run: plan.runs()) {
        Mesh& mesh = *_meshes[run.mesh];
        const bool skinned = run.skin && mesh.skinning && run.skin <= _skins.size();
        Program& p = program(mesh, skinned, shadows, pass);
        glUseProgram(p.id);
        glUniformMatrix4fv(p.viewProjection, 1, GL_FALSE, viewProjection.data());
        if(pass == Pass::Paraboloid) glUniformMatrix4fv(p.paraboloidView, 1, GL_FALSE, paraboloidView.data());
        if(pass == Pass::Main) {
            glUniform3fv(p.ambientColor, 1, _ambient.data());
        }
        if(skinned) uploadSkin(*frame.graph, run.skin);

        glBindVertexArray(mesh.vao);
        glBindBuffer(GL_ARRAY_BUFFER, _instanceBuffer);
        const std::size_t transform = std::size_t(InstanceStride)*run.first;
        glVertexAttribPointer(InstanceRealLocation, 4, GL_FLOAT, GL_FALSE, InstanceStride, reinterpret_cast<const void*>(transform));
        glVertexAttribPointer(InstanceDualLocation, 4, GL_FLOAT, GL_FALSE, InstanceStride, reinterpret_cast<const void*>(transform + 16));
        glVertexAttribPointer(InstanceScalingLocation, 4, GL_FLOAT, GL_FALSE, InstanceStride, reinterpret_cast<const void*>(_scalingsOffset + transform));
        if(mesh.indexed) glDrawElementsInstanced(GL_TRIANGLES, mesh.count, mesh.indexType, nullptr, GLsizei(run.count));
        else glDrawArraysInstanced(GL_TRIANGLES, 0, mesh.count, GLsizei(run.count));
    }
    glBindVertexArray(0);
}

void Renderer::drawShadowMaps(const Frame& frame) {
    const Data::ShadowsData& shadows = frame.lights->shadows();
    const std::uint32_t records = _plan.packShadows(shadows, *frame.views, frame.shadowView);
    glBindBuffer(GL_UNIFORM_BUFFER, _shadowBuffer);
    glBufferSubData(GL_UNIFORM_BUFFER, 0, sizeof(ShadowBlock), &_plan.shadowBlock());

    const std::uint32_t size = shadows.mapSize();
    glActiveTexture(GL_TEXTURE0 + ShadowMapUnit);
    glBindTexture(GL_TEXTURE_2D_ARRAY, _shadowMaps);
    if(size != _shadowMapSize || records > _shadowMapLayers) {
        glTexImage3D(GL_TEXTURE_2D_ARRAY, 0, GL_DEPTH_COMPONENT24, GLsizei(size), GLsizei(size), GLsizei(records), 0, GL_DEPTH_COMPONENT, GL_UNSIGNED_INT, nullptr);
        glTexParameteri(GL_TEXTURE_2D_ARRAY, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
        glTexParameteri(GL_TEXTURE_2D_ARRAY, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
        glTexParameteri(GL_TEXTURE_2D_ARRAY, GL_TEXTURE_COMPARE_MODE, GL_COMPARE_REF_TO_TEXTURE);
        glTexParameteri(GL_TEXTURE_2D_ARRAY, GL_TEXTURE_COMPARE_FUNC, GL_LEQUAL);
        /* Outside the map nothing is shadowed */
        glTexParameteri(GL_TEXTURE_2D_ARRAY, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_BORDER);
        glTexParameteri(GL_TEXTURE_2D_ARRAY, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_BORDER);
        const float border[4]{1.0f, 1.0f, 1.0f, 1.0f};
        glTexParameterfv(GL_TEXTURE_2D_ARRAY, GL_TEXTURE_BORDER_COLOR, border);
        _shadowMapSize = size;
        _shadowMapLayers = records;
    }

    glBindFramebuffer(GL_FRAMEBUFFER, _shadowFramebuffer);
    glDrawBuffer(GL_NONE);
    glReadBuffer(GL_NONE);
    glViewport(0, 0, GLsizei(size), GLsizei(size));
    glDisable(GL_CULL_FACE);
    glEnable(GL_POLYGON_OFFSET_FILL);
    glPolygonOffset(1.5f, 4.0f);
    for(std::uint32_t s = 0; s != records; ++s) {
        glFramebufferTextureLayer(GL_FRAMEBUFFER, GL_DEPTH_ATTACHMENT, _shadowMaps, 0, GLint(s));
        glClear(GL_DEPTH_BUFFER_BIT);
        const bool paraboloid = shadows.parameters()[s].kind == Data::ShadowKind::Point;
        const Matrix4 clip = shadows.projectionMatrices()[s]*shadows.viewMatrices()[s];
        /* Casters outside the camera's view still shadow what is in it: each record culls by
           its own frustum, a paraboloid half not at all */
        _shadowPlan.planDraws(*frame.meshes, _bounds, clip, !paraboloid);
        if(paraboloid) glEnable(GL_CLIP_DISTANCE0);
        drawRuns(frame, _shadowPlan, paraboloid ? shadows.projectionMatrices()[s] : clip, false,
            paraboloid ? Pass::Paraboloid : Pass::Depth, shadows.viewMatrices()[s]);
        if(paraboloid) glDisable(GL_CLIP_DISTANCE0);
    }
    glDisable(GL_POLYGON_OFFSET_FILL);
    _shadowMapsDrawn = records;
}

void Renderer::render(const Frame& frame, const std::uint32_t width, const std::uint32_t height, std::vector<std::uint8_t>& rgba) {
    const Data::ViewManager& views = *frame.views;
    const std::uint32_t eyes = frame.eyeCount == 2 ? 2 : 1;
    /* One frustum holds both eyes only when both are perspective; a pair with an orthographic
       eye is drawn unculled rather than culled by one eye alone */
    const auto perspective = [&](Data::Id eye) {
        const float m23 = views.projectionMatrices()[views.indexOf(eye)][2][3];
        return m23 != 0.0f && std::abs(m23) >= 1.0e-05f;
    };
    const bool combined = eyes == 1 || (perspective(frame.eyes[0]) && perspective(frame.eyes[1]));
    const Matrix4 culling = eyes == 1 ? views.viewProjectionMatrix(views.indexOf(frame.eyes[0])) :
        combined ? views.cullingMatrix(frame.eyes[0], frame.eyes[1]) : Matrix4{};
    _plan.planDraws(*frame.meshes, _bounds, culling, frame.cull && combined);
    uploadInstances(*frame.meshes);

    /* Errors of earlier calls are not this frame's */
    while(glGetError() != GL_NO_ERROR) {}
    glEnable(GL_DEPTH_TEST);
    glDepthFunc(GL_LESS);
    _shadowMapsDrawn = 0;
    bool shadows = false;
    if(frame.lights) {
        _plan.packLights(*frame.lights);
        if(frame.lights->shadows().count()) {
            drawShadowMaps(frame);
            shadows = true;
        }
    } else {
        _plan.clearLights();
    }
    glBindBuffer(GL_UNIFORM_BUFFER, _lightBuffer);
    glBufferSubData(GL_UNIFORM_BUFFER, 0, sizeof(LightBlock), &_plan.lightBlock());

    ensureFramebuffer(width, height);
    glBindFramebuffer(GL_FRAMEBUFFER, _framebuffer);
    glDrawBuffer(GL_COLOR_ATTACHMENT0);
    glReadBuffer(GL_COLOR_ATTACHMENT0);
    glViewport(0, 0, GLsizei(width), GLsizei(height));
    glClearColor(_clearColor.r(), _clearColor.g(), _clearColor.b(), _clearColor.a());
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    glEnable(GL_CULL_FACE);
    glCullFace(GL_BACK);
    glFrontFace(GL_CCW);

    const std::uint32_t eyeWidth = width/eyes;
    for(std::uint32_t e = 0; e != eyes; ++e) {
        glViewport(GLint(e*eyeWidth), 0, GLsizei(eyeWidth), GLsizei(height));
        drawRuns(frame, _plan, views.viewProjectionMatrix(views.indexOf(frame.eyes[e])), shadows, Pass::Main, Matrix4{});
    }

    /* Read back with the top row first */
    rgba.resize(std::size_t(width)*height*4);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glReadPixels(0, 0, GLsizei(width), GLsizei(height), GL_RGBA, GL_UNSIGNED_BYTE, rgba.data());
    const std::size_t row = std::size_t(width)*4;
    _rowScratch.resize(row);
    for(std::uint32_t y = 0; y < height/2; ++y) {
        std::uint8_t* const a = rgba.data() + y*row;
        std::uint8_t* const b = rgba.data() + (height - 1 - y)*row;
        std::memcpy(_rowScratch.data(), a, row);
        std::memcpy(a, b, row);
        std::memcpy(b, _rowScratch.data(), row);
    }
    _glError = glGetError();
}

}
