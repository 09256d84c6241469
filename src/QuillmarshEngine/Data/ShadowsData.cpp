#include "QuillmarshEngine/Data/ShadowsData.h"

#include <cmath>

#include "QuillmarshEngine/Assert.h"
#include "QuillmarshEngine/Data/ViewManager.h"
#include "QuillmarshEngine/Debug.h"

namespace QuillmarshEngine { namespace Data {

Debug& operator<<(Debug& debug, const ShadowKind value) {
    switch(value) {
        case ShadowKind::Spot: return QuillmarshEngine::Implementation::printEnumValue(debug, "ShadowKind", "Spot");
        case ShadowKind::Sun: return QuillmarshEngine::Implementation::printEnumValue(debug, "ShadowKind", "Sun");
        case ShadowKind::Point: return QuillmarshEngine::Implementation::printEnumValue(debug, "ShadowKind", "Point");
    }
    return QuillmarshEngine::Implementation::printUnknownEnum(debug, "ShadowKind", std::uint32_t(value));
}

ViewParams ViewParams::from(const ViewManager& views, const SparseArray::IndexType index) {
    QUILLMARSH_ASSERT(index < views.size(),
        "ViewParams::from(): index" << index << "out of range for" << views.size() << "views", {});
    const Matrix4& p = views.projectionMatrices()[index];
    const Vector4& params = views.projectionParams()[index];
    ViewParams out;
    out.cameraMatrix = views.viewTransforms()[index].inverted().toMatrix();
    out.near = params[0];
    out.far = params[1];
    out.orthographic = p[2][3] == 0.0f || std::abs(p[2][3]) < 1.0e-05f;
    if(out.orthographic) {
        out.left = (1.0f + p[3][0])/p[0][0];
        out.right = (1.0f - p[3][0])/p[0][0];
        out.bottom = (1.0f + p[3][1])/p[1][1];
        out.top = (1.0f - p[3][1])/p[1][1];
    } else {
        out.left = (1.0f - p[2][0])/p[0][0];
        out.right = (1.0f + p[2][0])/p[0][0];
        out.bottom = (1.0f - p[2][1])/p[1][1];
        out.top = (1.0f + p[2][1])/p[1][1];
    }
    return out;
}

std::int32_t ShadowCameraSplits::cascadeCount(const float value) {
    /* Converting NaN or an out-of-range float to an integer is undefined, so both are decided
       before the truncation */
    if(!(value >= 1.0f)) return 0;
    if(value >= 2147483648.0f) return 2147483647;
    return std::int32_t(value);
}

float ShadowCameraSplits::distance(const std::int32_t k) const {
    const float p = float(k + 1)/float(count);
    const float uniform = near + p*(far - near);
    /* The logarithmic term is undefined unless 0 < near < far */
    if(!(near > 0.0f && near < far)) return uniform;
    return 0.5f*uniform + 0.5f*(near*std::pow(far/near, p));
}

void ShadowsData::clear() {
    _owners.clear();
    _parameters.clear();
    _splits.clear();
    _views.clear();
    _projections.clear();
    _cameraSlices.clear();
    _lightSlices.clear();
}

void ShadowsData::reserveShadows(const unsigned int count) {
    _owners.reserve(count);
    _parameters.reserve(count);
    _splits.reserve(std::size_t{count}*SplitsPerShadow);
    _views.reserve(count);
    _projections.reserve(count);
    _cameraSlices.reserve(count);
    _lightSlices.reserve(count);
}

unsigned int ShadowsData::addShadow() {
    const unsigned int index = count();
    _owners.push_back(0);
    _parameters.push_back(ShadowParameters{});
    _splits.insert(_splits.end(), SplitsPerShadow, 0.0f);
    _views.emplace_back();
    _projections.emplace_back();
    _cameraSlices.push_back(ShadowCameraSlice{});
    _lightSlices.push_back(ShadowLightSlice{});
    return index;
}

void ShadowsData::setMapSize(const unsigned int size) {
    QUILLMARSH_ASSERT(size >= 2,
        "ShadowsData::setMapSize(): expected at least 2 texels, got" << size, );
    _mapSize = size;
}

}}
