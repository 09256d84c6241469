#ifndef QuillmarshRenderer_FramePlan_h
#define QuillmarshRenderer_FramePlan_h

/* The part of a frame the reference renderer prepares on the CPU, without OpenGL: the instanced
   draws of the mesh manager's active instances, culled against a view's culling matrix, and the
   light and shadow records in the layouts of the shader group's uniform blocks. Nothing is
   allocated once the plan has seen the largest frame. */

#include <cstdint>
#include <span>
#include <vector>

#include "QuillmarshEngine/Data/Id.h"
#include "QuillmarshEngine/Math/Matrix4.h"
#include "QuillmarshEngine/Math/Vector4.h"

namespace QuillmarshEngine { namespace Data {
    class LightManager;
    class MeshManager;
    class ShadowsData;
    class ViewManager;
}}

namespace QuillmarshRenderer {

using namespace QuillmarshEngine;

/* Lights and shadow records the shader variants are compiled for */
constexpr std::uint32_t MaxLights = 64;
constexpr std::uint32_t MaxShadows = 16;
constexpr std::uint32_t MaxJoints = 128;
constexpr std::uint32_t MaxMaterials = 64;

/* Bounding sphere of a mesh in its own space */
struct MeshBounds {
    Vector3 center;
    float radius;
};

/* One instanced draw: instances [first, first + count) of the mesh manager's columns, all of one
   group and mesh (the material comes with each instance's scaling record); a skinned instance
   (subgroup 1, nonzero skin) is a draw of its own */
struct DrawRun {
    std::uint16_t mesh;
    std::uint16_t skin;         /* 0 when not skinned */
    std::uint32_t first;
    std::uint32_t count;
};

/* One light as the Lights uniform block holds it (std140, 96 bytes) */
struct LightRecord {
    Vector4 color, position, direction, parameters, shadowParameters, derived;
};
static_assert(sizeof(LightRecord) == 96, "a light record is six vec4s");

struct LightBlock {
    LightRecord lights[MaxLights];
    /* x first spot light, y first sun, z end */
    std::uint32_t groupOffsets[4];
};

/* The Shadows uniform block (std140): per record the light-space matrix, the projection and
   (kind, end depth of a sun cascade, 0, 0), then the row that gives the depth in the fitted view */
struct ShadowBlock {
    Matrix4 views[MaxShadows];
    Matrix4 projections[MaxShadows];
    Vector4 records[MaxShadows];
    Vector4 depthRow;
};

/* Planes of the frustum of a clip matrix, each (normal, distance), inside where dot + w >= 0 */
struct Frustum {
    Vector4 planes[6];

    static Frustum fromMatrix(const Matrix4& clip);
    /* Whether a sphere lies at least partly inside */
    bool intersects(const Vector3& center, float radius) const;
};

class FramePlan {
    public:
        /* Splits the active instances of meshes, in index order, into runs of one group and mesh,
           skinned instances alone, leaving out instances whose mesh index has no entry in bounds and, when
           cull is set, instances whose bounding sphere is outside the frustum of culling.
           Skinned instances are not culled: their joints, not their columns, place them. */
        void planDraws(const Data::MeshManager& meshes, std::span<const MeshBounds> bounds, const Matrix4& culling, bool cull);

        std::span<const DrawRun> runs() const { return _runs; }
        std::uint32_t drawnInstances() const { return _drawn; }
        std::uint32_t culledInstances() const { return _culled; }
        std::uint32_t missingMeshInstances() const { return _missing; }

        /* The active lights in index order, which is point, spot, sun by the manager's groups, at
           most MaxLights of them. A light whose shadow records do not all fit MaxShadows is
           written unshadowed. Returns the number of lights left out. */
        std::uint32_t packLights(const Data::LightManager& lights);
        const LightBlock& lightBlock() const { return _lights; }
        /* No lights at all */
        void clearLights() { _lights.groupOffsets[0] = _lights.groupOffsets[1] = _lights.groupOffsets[2] = 0; }

        /* The shadow records (the first MaxShadows) and the depth row of the view they were
           fitted to. Returns the number of records packed. */
        std::uint32_t packShadows(const Data::ShadowsData& shadows, const Data::ViewManager& views, Data::Id fittedView);
        const ShadowBlock& shadowBlock() const { return _shadows; }

    private:
        std::vector<DrawRun> _runs;
        std::uint32_t _drawn{}, _culled{}, _missing{};
        LightBlock _lights{};
        ShadowBlock _shadows{};
};

}

#endif
