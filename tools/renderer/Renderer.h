#ifndef QuillmarshRenderer_Renderer_h
#define QuillmarshRenderer_Renderer_h

/* The reference renderer: draws what the library's managers hold, with OpenGL 3.3 core on a
   headless context (GLContext).

   - Meshes are packed mesh records, uploaded as they are: one vertex buffer, one index buffer and
     the attributes of the packed layout at the locations of its table; quantized formats are bound
     normalized and half floats as half floats, so nothing is converted on the CPU.
   - Shaders are the library's Mesh.vert and Mesh.frag, assembled by its include inlining, tag
     replacement (the defines tag) and preprocessor, one variant per set of defines chosen from a
     mesh's flags and formats and from the pass.
   - Per frame the mesh manager's transforms and scalings columns go into one buffer in one upload
     and are read as instanced attributes; the active instances are drawn in runs (FramePlan) per
     group and mesh, culled by the view manager's culling matrix. Each instance's material index
     (the value lane of its scaling) picks its base colour from a table of MaxMaterials.
   - Both eyes of a stereo pair are drawn side by side, left eye on the left.
   - Lights come from the light manager, shadows from its shadow records: one layer of a depth
     texture array per record, drawn from the record's matrices (dual paraboloids for point lights).
   - Instances in subgroup 1 with a nonzero skin are skinned by the joints of their skin record
     (added with addSkin()), placed by the joints' world transformations.

   Contract violations of the host (a mesh or skin record that does not decode) are reported by
   the adding functions; rendering itself does not fail. Not thread-safe: one thread, the one the
   context is current on. */

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

#include "FramePlan.h"
#include "QuillmarshEngine/Data/Id.h"
#include "QuillmarshEngine/Math/Color3.h"
#include "QuillmarshEngine/Math/Color4.h"
#include "QuillmarshEngine/Math/DualQuaternion.h"

namespace QuillmarshEngine {
    namespace Data {
        class LightManager;
        class MeshData;
        class MeshManager;
        class SceneGraph;
        class ViewManager;
    }
    namespace Trade { class MeshData; }
}

namespace QuillmarshRenderer {

class GLContext;

/* What one frame draws; the managers are read, never written */
struct Frame {
    const Data::SceneGraph* graph{};
    const Data::MeshManager* meshes{};
    const Data::ViewManager* views{};
    /* Component ids of the views; with two, eyes[0] is the left eye */
    Data::Id eyes[2]{};
    std::uint32_t eyeCount{1};
    /* nullptr draws with the ambient light alone */
    const Data::LightManager* lights{};
    /* The view the light manager fitted its shadow records to, for the choice of sun cascades */
    Data::Id shadowView{};
    /* Leave out instances outside the culling matrix's frustum */
    bool cull{true};
};

class Renderer {
    public:
        /* A renderer on a new headless context, or nullptr with the reason in error */
        static std::unique_ptr<Renderer> create(std::string& error);

        ~Renderer();
        Renderer(const Renderer&) = delete;
        Renderer& operator=(const Renderer&) = delete;

        /* Driver renderer and version */
        std::string description() const;

        /* Upload a mesh in the packed layout; returns its index, the value the mesh manager's
           mesh column names it by. Attributes the layout does not place (text rows, the normal
           filler) are not bound. Expects a triangle mesh with a Vector3 position. */
        std::uint16_t addMesh(const Trade::MeshData& mesh, const MeshBounds& bounds);

        /* Upload the mesh of a mesh record, decompressed first when it is compressed, with the
           record's bounding sphere; nothing and a reason when the record does not decode */
        std::optional<std::uint16_t> addMesh(const Data::MeshData& record, std::string& error);

        std::uint32_t meshCount() const { return std::uint32_t(_meshes.size()); }

        /* Upload another mesh under an existing index; false for an index not uploaded yet */
        bool replaceMesh(std::uint16_t index, const Trade::MeshData& mesh, const MeshBounds& bounds);

        /* Upload again the meshes that meshes marks dirty (MeshManager::markMeshDirty()) and clear
           their bits, as the renderer is the one to clear them. source gives the new mesh of an
           index, and may change the bounds it is handed (the old ones); nullptr keeps the upload
           as it is. Bits of indices never uploaded are cleared too. Returns the number of meshes
           uploaded again. */
        std::uint32_t refreshDirtyMeshes(Data::MeshManager& meshes, const std::function<const Trade::MeshData*(std::uint16_t, MeshBounds&)>& source);

        /* Register a skin record; returns its skin index, counted from 1 (0 means no skin in the
           mesh manager's skin column); nothing and a reason when the record is too short or has
           more than MaxJoints joints. A joint's transform and scaling in the record take a vertex
           from mesh space into the joint's space (the inverse bind pose). */
        std::optional<std::uint16_t> addSkin(std::span<const char> record, std::string& error);

        /* Base colour of a material index; unset materials are light grey. False for an index
           not below MaxMaterials. */
        bool setMaterial(std::uint16_t material, const Color4& color);
        void setAmbient(const Color3& color) { _ambient = color; }
        void setClearColor(const Color4& color) { _clearColor = color; }

        /* Draw a frame into a width × height image and read it back as RGBA8 rows, top row first.
           With two eyes each gets half the width. Expects the managers and views of frame to be
           set and updated for this frame (and setupShadows() called when lights are given). */
        void render(const Frame& frame, std::uint32_t width, std::uint32_t height, std::vector<std::uint8_t>& rgba);

        /* The draws of the last render()'s main pass */
        const FramePlan& plan() const { return _plan; }
        /* Shadow records drawn by the last render() */
        std::uint32_t shadowMapsDrawn() const { return _shadowMapsDrawn; }
        /* The first OpenGL error the last render() left, 0 for none */
        std::uint32_t glError() const { return _glError; }

    private:
        struct Mesh;
        struct Program;
        struct Skin {
            std::vector<DualQuaternion> transforms;
            std::vector<Vector3> scalings;
            std::vector<Data::Id> joints;
        };
        struct SkinBlock {
            Vector4 real[MaxJoints];
            Vector4 dual[MaxJoints];
            Vector4 scaling[MaxJoints];
        };
        enum class Pass { Main, Depth, Paraboloid };

        Renderer();

        std::unique_ptr<Mesh> upload(const Trade::MeshData& mesh);
        void destroy(Mesh& mesh);
        Program& program(Mesh& mesh, bool skinned, bool shadows, Pass pass);
        Program& program(const std::string& meshDefines, bool skinned, bool eightJoints, bool shadows, Pass pass);
        void ensureFramebuffer(std::uint32_t width, std::uint32_t height);
        void uploadInstances(const Data::MeshManager& meshes);
        void uploadSkin(const Data::SceneGraph& graph, std::uint16_t skin);
        void drawShadowMaps(const Frame& frame);
        void drawRuns(const Frame& frame, const FramePlan& plan, const Matrix4& viewProjection, bool shadows, Pass pass, const Matrix4& paraboloidView);

        std::unique_ptr<GLContext> _context;
        std::vector<std::unique_ptr<Mesh>> _meshes;
        std::vector<MeshBounds> _bounds;
        std::vector<Skin> _skins;
        std::vector<Color4> _materials;
        std::unordered_map<std::string, std::unique_ptr<Program>> _programs;
        Color3 _ambient{0.12f, 0.12f, 0.14f};
        Color4 _clearColor{0.0f, 0.0f, 0.0f, 1.0f};

        FramePlan _plan, _shadowPlan;
        std::unique_ptr<SkinBlock> _skinBlock;
        std::uint32_t _shadowMapsDrawn{};
        std::uint32_t _glError{};
        std::vector<std::uint8_t> _rowScratch;

        /* OpenGL names */
        unsigned int _framebuffer{}, _colorBuffer{}, _depthBuffer{};
        std::uint32_t _width{}, _height{};
        unsigned int _instanceBuffer{};
        std::size_t _instanceCapacity{}, _scalingsOffset{};
        unsigned int _lightBuffer{}, _shadowBuffer{}, _skinBuffer{}, _materialBuffer{};
        unsigned int _shadowFramebuffer{}, _shadowMaps{};
        std::uint32_t _shadowMapSize{}, _shadowMapLayers{};
        unsigned int _whiteTexture{};
};

}

#endif
