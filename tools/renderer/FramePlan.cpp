#include "FramePlan.h"

#include <algorithm>
#include <cmath>

#include "QuillmarshEngine/Data/LightManager.h"
#include "QuillmarshEngine/Data/MeshManager.h"
#include "QuillmarshEngine/Data/ShadowsData.h"
#include "QuillmarshEngine/Data/ViewManager.h"
#include "QuillmarshEngine/Math/DualQuaternion.h"

namespace QuillmarshRenderer {

Frustum Frustum::fromMatrix(const Matrix4& clip) {
    /* A point is inside when -w <= x, y, z <= w: each bound is one plane of the rows */
    const Vector4 x = clip.row(0), y = clip.row(1), z = clip.row(2), w = clip.row(3);
    Frustum frustum;
    frustum.planes[0] = w + x;
    frustum.planes[1] = w - x;
    frustum.planes[2] = w + y;
    frustum.planes[3] = w - y;
    frustum.planes[4] = w + z;
    frustum.planes[5] = w - z;
    /* Unit normals, so that a plane's value at a point is its distance. An infinite far plane
       has no normal; it becomes one that cuts nothing away. */
    for(Vector4& plane: frustum.planes) {
        const float length = plane.xyz().length();
        plane = length == 0.0f ? Vector4{0.0f, 0.0f, 0.0f, 1.0f} : plane*(1.0f/length);
    }
    return frustum;
}

bool Frustum::intersects(const Vector3& center, const float radius) const {
    for(const Vector4& plane: planes)
        if(Math::dot(plane.xyz(), center) + plane.w() < -radius) return false;
    return true;
}

namespace {

/* A point moved by a unit dual quaternion, as the shader group's DualQuaternion.glsl does it:
   the rotation of the real part, then the translation 2 dual conjugate(real) */
inline Vector3 transformPoint(const DualQuaternion& transform, const Vector3& point) {
    const Vector3 r = transform.real().vector(), d = transform.dual().vector();
    const float rw = transform.real().scalar(), dw = transform.dual().scalar();
    const Vector3 rotated = point + Math::cross(r, Math::cross(r, point) + point*rw)*2.0f;
    return rotated + (d*rw - r*dw + Math::cross(r, d))*2.0f;
}

}

void FramePlan::planDraws(const Data::MeshManager& meshes, const std::span<const MeshBounds> bounds, const Matrix4& culling, const bool cull) {
    _runs.clear();
    _drawn = _culled = _missing = 0;
    const Frustum frustum = Frustum::fromMatrix(culling);
    const std::span<const std::uint16_t> offsets = meshes.grouped().groupOffsets();
    const std::uint32_t subgroups = meshes.grouped().subGroupsCount();
    const std::span<const DualQuaternion> transforms = meshes.transforms();
    const std::span<const Data::ScalingPadded> scalings = meshes.scalings();
    const std::span<const std::uint16_t> meshIndices = meshes.meshes(), skins = meshes.skins();

    for(std::uint32_t slot = 0; slot + 1 < offsets.size(); ++slot) {
        const bool skinnedSubgroup = slot % subgroups == 1;
        /* A run never spans two slots, so that a draw stays inside one group */
        bool open = false;
        for(std::uint32_t i = offsets[slot]; i != offsets[slot + 1]; ++i) {
            const std::uint16_t mesh = meshIndices[i];
            if(mesh >= bounds.size()) {
                ++_missing;
                open = false;
                continue;
            }
            const std::uint16_t skin = skinnedSubgroup ? skins[i] : 0;
            if(cull && !skin) {
                const Vector3& scaling = scalings[i].scaling;
                const Vector3 center = transformPoint(transforms[i], scaling*bounds[mesh].center);
                const float radius = bounds[mesh].radius*std::max({std::abs(scaling.x()), std::abs(scaling.y()), std::abs(scaling.z())});
                if(!frustum.intersects(center, radius)) {
                    ++_culled;
                    open = false;
                    continue;
                }
            }
            ++_drawn;
            if(open) {
                DrawRun& last = _runs.back();
                if(last.mesh == mesh && !last.skin && !skin) {
                    ++last.count;
                    continue;
                }
            }
            _runs.push_back(DrawRun{mesh, skin, i, 1});
            open = true;
        }
    }
}

std::uint32_t FramePlan::packLights(const Data::LightManager& lights) {
    const std::uint32_t active = lights.activeCount();
    const std::uint32_t count = std::min(active, MaxLights);
    for(std::uint32_t i = 0; i != count; ++i) {
        LightRecord& record = _lights.lights[i];
        record.color = lights.colors()[i];
        record.position = lights.positions()[i];
        record.direction = lights.directions()[i];
        record.parameters = lights.parameters()[i];
        record.shadowParameters = lights.shadowParameters()[i];
        record.derived = lights.derived()[i];
        /* Records are consecutive per light: a sun has one per cascade, a point light two */
        if(record.derived.z() != 0.0f) {
            const Data::LightType type = lights.lightType(Data::SparseArray::IndexType(i));
            const float records = type == Data::LightType::Sun ? std::max(0.0f, std::trunc(record.shadowParameters.w())) :
                type == Data::LightType::Point ? 2.0f : 1.0f;
            if(records == 0.0f || record.derived.w() + records > float(MaxShadows)) record.derived.z() = 0.0f;
        }
    }
    /* Group offsets of the grouped base: point [0, 1), spot [1, 2), sun [2, 3) */
    const std::span<const std::uint16_t> offsets = lights.grouped().groupOffsets();
    for(std::uint32_t g = 0; g != 3; ++g)
        _lights.groupOffsets[g] = std::min<std::uint32_t>(offsets[g + 1], count);
    _lights.groupOffsets[3] = 0;
    return active - count;
}

std::uint32_t FramePlan::packShadows(const Data::ShadowsData& shadows, const Data::ViewManager& views, const Data::Id fittedView) {
    const std::uint32_t count = std::min(shadows.count(), MaxShadows);
    for(std::uint32_t s = 0; s != count; ++s) {
        _shadows.views[s] = shadows.viewMatrices()[s];
        _shadows.projections[s] = shadows.projectionMatrices()[s];
        _shadows.records[s] = Vector4{float(std::uint32_t(shadows.parameters()[s].kind)), shadows.cameraSlices()[s].far, 0.0f, 0.0f};
    }
    /* Depth in the fitted view is -z of the view transform's image */
    const Matrix4 view = views.viewTransforms()[views.indexOf(fittedView)].toMatrix();
    _shadows.depthRow = -view.row(2);
    return count;
}

}
