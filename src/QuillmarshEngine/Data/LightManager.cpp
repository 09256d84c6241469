#include "QuillmarshEngine/Data/LightManager.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "QuillmarshEngine/Assert.h"
#include "QuillmarshEngine/Data/SceneGraph.h"
#include "QuillmarshEngine/Data/ViewManager.h"
#include "QuillmarshEngine/Debug.h"

namespace QuillmarshEngine { namespace Data {

namespace {
    constexpr float Pi = 3.1415927f;
    constexpr float ShadowNear = 0.1f;

    /* Light space looks down its -Z; the light object points along its +Y. A quarter turn about
       X takes -Z onto +Y (and +Y onto +Z). */
    const Quaternion TowardsPlusY{Vector3{0.7071067811865476f, 0.0f, 0.0f}, 0.7071067811865476f};
    const Quaternion TowardsMinusY{Vector3{-0.7071067811865476f, 0.0f, 0.0f}, 0.7071067811865476f};

    /* World to light space for a light space rotated by orientation and placed at origin */
    Matrix4 lightViewMatrix(const Quaternion& orientation, const Vector3& origin) {
        const Matrix3x3 inverse = orientation.toMatrix().transposed();
        return Matrix4::from(inverse, inverse*-origin);
    }

    /* A far distance the projections can use: beyond the near distance (an empty or NaN range
       gives a frustum one near distance deep) */
    float usableRange(const float range) {
        return range > ShadowNear ? range : 2.0f*ShadowNear;
    }
}

Debug& operator<<(Debug& debug, const LightType value) {
    switch(value) {
        case LightType::Point: return QuillmarshEngine::Implementation::printEnumValue(debug, "LightType", "Point");
        case LightType::Spot: return QuillmarshEngine::Implementation::printEnumValue(debug, "LightType", "Spot");
        case LightType::Sun: return QuillmarshEngine::Implementation::printEnumValue(debug, "LightType", "Sun");
    }
    return QuillmarshEngine::Implementation::printUnknownEnum(debug, "LightType", std::uint8_t(value));
}

LightManager::LightManager(const IndexType capacity): GroupedComponentManager{0, 3, 1}, _layout{*this} {
    _layout.get<2>().setDefaultValue(Color4{1.0f, 1.0f, 1.0f, 1.0f});
    _layout.get<4>().setDefaultValue(Vector4{0.0f, 1.0f, 0.0f, 0.0f});
    _layout.get<5>().setDefaultValue(Vector4{45.0f, 30.0f, 0.0f, 100.0f});
    setLayout(&_layout);
    allocate(capacity);
}

LightManager::~LightManager() = default;

const char* LightManager::name() const { return "light"; }

void LightManager::updateComponent(IndexType) {}

SparseArray::IndexType LightManager::setLightType(const IndexType index, const LightType type) {
    QUILLMARSH_ASSERT(std::uint8_t(type) <= std::uint8_t(LightType::Sun),
        "LightManager::setLightType(): invalid type" << type, {});
    return setGroup(index, std::uint8_t(type), 0);
}

void LightManager::doUpdate() {
    const SceneGraph* const graph = sceneGraph();
    QUILLMARSH_ASSERT(graph, "LightManager::doUpdate(): the manager is not registered with a scene graph", );
    const std::span<const std::uint16_t> objectIndex = graph->indirection();
    const std::span<const DualQuaternion> world = graph->worldTransformations();
    const std::span<const Id> owner = owners();
    const std::span<Vector4> position = positions();
    const std::span<Vector4> direction = directions();
    for(IndexType i = 0; i != size(); ++i) {
        const DualQuaternion& transformation = world[objectIndex[owner[i]]];
        position[i].xyz() = transformation.translation();
        direction[i].xyz() = transformation.real().transformVector(Vector3{0.0f, 1.0f, 0.0f});
    }

    const std::span<const Vector4> parameter = parameters();
    const std::span<Vector4> derivedValues = _layout.get<7>().view();
    const Utils::IndexRange spots = _grouped.groupRange(std::uint8_t(LightType::Spot));
    for(IndexType i = spots.begin; i < spots.end; ++i) {
        derivedValues[i][0] = std::cos(parameter[i][0]*0.5f*3.1415927f/180.0f);
        derivedValues[i][1] = std::cos(parameter[i][1]*0.5f*3.1415927f/180.0f);
    }
}

void LightManager::setupShadows(SceneGraph& sceneGraph, ViewManager& views, const Id view, const unsigned int maxShadows) {
    views.liveIndex(view, "LightManager::setupShadows()");
    _shadows.clear();
    _shadows.reserveShadows(maxShadows);
    const std::span<Vector4> derivedValues = _layout.get<7>().view();
    for(IndexType i = 0; i != size(); ++i) derivedValues[i][2] = 0.0f;

    const std::span<const Vector4> parameter = parameters();
    const std::span<const Vector4> shadowParameter = shadowParameters();
    /* The priority under the budget */
    constexpr LightType Order[]{LightType::Sun, LightType::Point, LightType::Spot};
    for(const LightType type: Order) {
        const Utils::IndexRange range = _grouped.groupRange(std::uint8_t(type));
        for(IndexType i = range.begin; i < range.end; ++i) {
            if(parameter[i][2] == 0.0f) continue;
            const std::int64_t requested =
                type == LightType::Sun ? ShadowCameraSplits::cascadeCount(shadowParameter[i][3]) :
                type == LightType::Point ? 2 : 1;
            if(std::int64_t{_shadows.count()} + requested > std::int64_t{maxShadows}) {
                QUILLMARSH_WARNING("Max number of shadows" << maxShadows << "exceeded, ignoring shadows for light" << i);
                continue;
            }
            derivedValues[i][2] = 1.0f;
            if(!requested) continue;

            const ShadowParameters record{
                type == LightType::Sun ? ShadowKind::Sun : type == LightType::Point ? ShadowKind::Point : ShadowKind::Spot,
                ShadowNear, parameter[i][3],
                type == LightType::Spot ? parameter[i][0]*3.1415927f/180.0f : 0.0f, 0};
            const unsigned int first = _shadows.count();
            for(std::int64_t k = 0; k != requested; ++k) {
                const unsigned int shadow = _shadows.addShadow();
                _shadows.owners()[shadow] = i;
                _shadows.parameters()[shadow] = record;
            }
            derivedValues[i][3] = float(first);
            if(type == LightType::Sun) setupShadowSplits(views, view, first);
        }
    }

    updateShadows(sceneGraph, views, view, true);
}

namespace {
    /* Number of records of the light whose records start at first */
    unsigned int recordsOf(const ShadowsData& shadows, const unsigned int first) {
        unsigned int end = first + 1;
        while(end < shadows.count() && shadows.owners()[end] == shadows.owners()[first] &&
              shadows.parameters()[end].kind == shadows.parameters()[first].kind) ++end;
        return end - first;
    }
}

void LightManager::setupShadowSplits(ViewManager& views, const Id view, const unsigned int firstShadow) {
    const IndexType viewIndex = views.liveIndex(view, "LightManager::setupShadowSplits()");
    QUILLMARSH_ASSERT(firstShadow < _shadows.count() && _shadows.parameters()[firstShadow].kind == ShadowKind::Sun &&
        (firstShadow == 0 || _shadows.owners()[firstShadow - 1] != _shadows.owners()[firstShadow] ||
         _shadows.parameters()[firstShadow - 1].kind != ShadowKind::Sun),
        "LightManager::setupShadowSplits(): shadow" << firstShadow << "is not the first record of a sun", );
    const unsigned int count = recordsOf(_shadows, firstShadow);
    const ShadowCameraSplits splits{views.projectionParams()[viewIndex][0],
        _shadows.parameters()[firstShadow].range, std::int32_t(count)};
    /* Split k of the sun goes to float 4 first + k: within the 4 count floats its records own,
       whatever the count */
    const std::span<float> out = _shadows.splitDistances().subspan(std::size_t{firstShadow}*ShadowsData::SplitsPerShadow, std::size_t{count}*ShadowsData::SplitsPerShadow);
    std::fill(out.begin(), out.end(), 0.0f);
    for(std::int32_t k = 0; k != std::int32_t(count); ++k) out[k] = splits.distance(k);
}

void LightManager::updateShadowSplits(const ViewParams& view, const std::span<const float> distances, const std::span<ShadowCameraSlice> slices) {
    QUILLMARSH_ASSERT(slices.size() == distances.size(),
        "LightManager::updateShadowSplits(): expected" << distances.size() << "slices, got" << slices.size(), );
    /* Centre offset and half size of the frustum's cross-section, per unit depth for a
       perspective view, absolute for an orthographic one */
    const float cx = 0.5f*(view.right - view.left);
    const float cy = 0.5f*(view.top - view.bottom);
    const float hx = 0.5f*(view.right + view.left);
    const float hy = 0.5f*(view.top + view.bottom);
    const float a = hx*hx + hy*hy;
    const float b = hx*std::abs(cx) + hy*std::abs(cy);
    const float w = cx*cx + cy*cy + 1.0f;

    for(std::size_t k = 0; k != distances.size(); ++k) {
        const float n = k ? distances[k - 1] : view.near;
        const float f = distances[k];
        Vector3 center;
        float radiusSquared;
        if(view.orthographic) {
            center = Vector3{cx, cy, -0.5f*(n + f)};
            radiusSquared = 0.25f*(f - n)*(f - n) + a;
        } else {
            /* Centre t (cx, cy, -1) on the line through the rectangles' centres. The farthest
               near corner is sqrt(Dn(t)) away, the farthest far corner sqrt(Df(t)); Dn grows and
               Df shrinks with t, so the smallest sphere of this family has them equal. */
            const float denominator = 2.0f*w*(f - n) + 2.0f*b*(n + f);
            float t = denominator > 0.0f ? ((w + a)*(f*f - n*n) + 2.0f*b*(n*n + f*f))/denominator : n;
            t = std::min(std::max(t, n), f);
            const float dn = (t - n)*(t - n)*w + 2.0f*(t - n)*n*b + n*n*a;
            const float df = (f - t)*(f - t)*w + 2.0f*(f - t)*f*b + f*f*a;
            center = Vector3{cx*t, cy*t, -t};
            radiusSquared = std::max(dn, df);
        }
        /* A hair larger, so that corners transformed to world space and back stay inside */
        slices[k] = ShadowCameraSlice{n, f, view.cameraMatrix.transformPoint(center), std::sqrt(radiusSquared)*(1.0f + 1.0e-5f)};
    }
}

ShadowLightSlice LightManager::updateLightSliceProjection(const ShadowCameraSlice& slice, const Quaternion& lightOrientation, const float casterDistance, const unsigned int mapSize, const bool snapToTexels, Matrix4& viewMatrix, Matrix4& projectionMatrix) {
    const Matrix3x3 rotation = lightOrientation.toMatrix();
    const Matrix3x3 inverse = rotation.transposed();
    const float size = float(std::max(mapSize, 2u));
    /* mapSize texels span the sphere plus half a texel on each side, room for the snapping */
    const float texel = 2.0f*slice.radius/(size - 1.0f);
    const float halfExtent = 0.5f*texel*size;

    Vector3 center = inverse*slice.center;
    if(snapToTexels && texel > 0.0f) {
        center[0] = std::floor(center[0]/texel + 0.5f)*texel;
        center[1] = std::floor(center[1]/texel + 0.5f)*texel;
    }
    const float near = -(slice.radius + casterDistance);
    const float far = slice.radius;

    viewMatrix = Matrix4::from(inverse, -center);
    projectionMatrix = Matrix4{Math::ZeroInit};
    projectionMatrix[0][0] = 1.0f/halfExtent;
    projectionMatrix[1][1] = 1.0f/halfExtent;
    projectionMatrix[2][2] = 2.0f/(near - far);
    projectionMatrix[3][2] = (near + far)/(near - far);
    projectionMatrix[3][3] = 1.0f;
    return ShadowLightSlice{rotation*center, halfExtent, texel, near, far};
}

void LightManager::updateShadows(SceneGraph& sceneGraph, ViewManager& views, const Id view, const bool snapToTexels) {
    const ViewParams params = ViewParams::from(views, views.liveIndex(view, "LightManager::updateShadows()"));
    const std::span<const std::uint16_t> objectIndex = sceneGraph.indirection();
    const std::span<const DualQuaternion> world = sceneGraph.worldTransformations();
    const std::span<const Id> owner = owners();
    const std::span<const Vector4> parameter = parameters();
    const unsigned int count = _shadows.count();

    for(unsigned int first = 0; first < count; ) {
        const IndexType light = _shadows.owners()[first];
        QUILLMARSH_ASSERT(light < size(),
            "LightManager::updateShadows(): shadow" << first << "belongs to light" << light << "but there are" << size() << "lights", );
        const DualQuaternion& transformation = world[objectIndex[owner[light]]];
        const Quaternion rotation = transformation.real().normalized();
        const Vector3 position = transformation.translation();
        const ShadowParameters& record = _shadows.parameters()[first];
        const unsigned int records = recordsOf(_shadows, first);
        const float range = usableRange(record.range);

        switch(record.kind) {
            case ShadowKind::Spot: {
                /* One perspective frustum whose square cross-section contains the cone */
                float angle = parameter[light][0];
                if(!(angle > 1.0e-3f)) angle = 1.0e-3f;
                if(!(angle < 179.0f)) angle = 179.0f;
                const float t = std::tan(angle*0.5f*Pi/180.0f);
                for(unsigned int s = first; s != first + records; ++s) {
                    _shadows.viewMatrices()[s] = lightViewMatrix(rotation*TowardsPlusY, position);
                    Matrix4 projection{Math::ZeroInit};
                    projection[0][0] = 1.0f/t;
                    projection[1][1] = 1.0f/t;
                    projection[2][3] = -1.0f;
                    if(range == std::numeric_limits<float>::infinity()) {
                        projection[2][2] = -1.0f;
                        projection[3][2] = -2.0f*ShadowNear;
                    } else {
                        projection[2][2] = (ShadowNear + range)/(ShadowNear - range);
                        projection[3][2] = 2.0f*range*ShadowNear/(ShadowNear - range);
                    }
                    _shadows.projectionMatrices()[s] = projection;
                    _shadows.cameraSlices()[s] = ShadowCameraSlice{};
                    _shadows.lightSlices()[s] = ShadowLightSlice{position, range, 0.0f, ShadowNear, range};
                }
            } break;

            case ShadowKind::Point: {
                /* A dual paraboloid pair; the projection maps (uv, -distance) to depth. An
                   infinite range cannot be mapped to depth, the largest float stands in. */
                const float far = std::min(range, std::numeric_limits<float>::max());
                const Matrix4 projection = Matrix4::orthographicProjection(Vector2{2.0f, 2.0f}, ShadowNear, far);
                for(unsigned int s = first; s != first + records; ++s) {
                    const Quaternion& towards = (s - first) % 2 ? TowardsMinusY : TowardsPlusY;
                    _shadows.viewMatrices()[s] = lightViewMatrix(rotation*towards, position);
                    _shadows.projectionMatrices()[s] = projection;
                    _shadows.cameraSlices()[s] = ShadowCameraSlice{};
                    _shadows.lightSlices()[s] = ShadowLightSlice{position, far, 0.0f, ShadowNear, far};
                }
            } break;

            case ShadowKind::Sun: {
                /* Split k of the sun is float 4 first + k, so its distances are one run */
                const std::span<ShadowCameraSlice> slices = _shadows.cameraSlices().subspan(first, records);
                updateShadowSplits(params, std::span<const float>{_shadows.splitDistances()}.subspan(std::size_t{first}*ShadowsData::SplitsPerShadow, records), slices);
                const Quaternion orientation = rotation*TowardsPlusY;
                const bool finiteRange = record.range > 0.0f && record.range < std::numeric_limits<float>::infinity();
                for(unsigned int k = 0; k != records; ++k) {
                    const unsigned int s = first + k;
                    _shadows.lightSlices()[s] = updateLightSliceProjection(slices[k], orientation,
                        finiteRange ? record.range : slices[k].radius,
                        _shadows.mapSize(), snapToTexels, _shadows.viewMatrices()[s], _shadows.projectionMatrices()[s]);
                }
            } break;
        }
        first += records;
    }
}


std::string LightManager::checkAdoptedBlock() const {
    std::string reason = GroupedComponentManager::checkAdoptedBlock();
    if(!reason.empty()) return reason;
    if(_grouped.groupsCount() != 3 || _grouped.subGroupsCount() != 1)
        return std::to_string(_grouped.groupsCount()) + " groups of " + std::to_string(_grouped.subGroupsCount()) + " subgroups, a light manager has 3 of 1";
    return {};
}

}}
