#include "QuillmarshEngine/Data/ViewManager.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "QuillmarshEngine/Assert.h"
#include "QuillmarshEngine/Data/SceneGraph.h"

namespace QuillmarshEngine { namespace Data {

namespace {
    bool isPerspective(const Matrix4& m) {
        return m[2][3] != 0.0f && !(std::abs(m[2][3]) < 1.0e-05f);
    }
}

ViewManager::ViewManager(const IndexType capacity): ComponentManager{0}, _layout{*this} {
    _layout.get<1>().setDefaultValue(Vector4{0.1f, 1000.0f, 90.0f, 10.0f});
    setLayout(&_layout);
    allocate(capacity);
}

ViewManager::~ViewManager() = default;

const char* ViewManager::name() const { return "view"; }

void ViewManager::requireIndex(const IndexType index, const char* const function) const {
    QUILLMARSH_ASSERT(index < size(),
        function << Debug::nospace << ": index" << index << "out of range for" << size() << "views", );
}

SparseArray::IndexType ViewManager::liveIndex(const Id id, const char* const function) const {
    QUILLMARSH_ASSERT(IndexType(id) < capacity() && indexOf(id) < size() && idOf(indexOf(id)) == id,
        function << Debug::nospace << ": view" << id << "is not alive", {});
    return indexOf(id);
}

void ViewManager::updateComponent(const IndexType index) {
    const SceneGraph& graph = *sceneGraph();
    _layout.get<3>()[index] = graph.worldTransformation(graph.indexOf(owner(index))).inverted();
}

Matrix4 ViewManager::generateProjectionMatrix(const IndexType index) const {
    requireIndex(index, "ViewManager::generateProjectionMatrix()");
    const Vector4& params = projectionParams()[index];
    const Vector4i& viewport = viewports()[index];
    const float width = std::max(float(viewport[2]), 1.0f);
    const float height = std::max(float(viewport[3]), 1.0f);
    const float aspect = width/height;
    const float near = params[0];
    const float far = params[1];

    Matrix4 m{Math::ZeroInit};
    switch(projectionTypes()[index]) {
        case Perspective: {
            const float t = std::tan(params[2]*3.1415927f/180.0f*0.5f);
            m[0][0] = 1.0f/t;
            m[1][1] = aspect/t;
            m[2][3] = -1.0f;
            if(far >= std::numeric_limits<float>::infinity()) {
                m[2][2] = -1.0f;
                m[3][2] = -2.0f*near;
            } else {
                m[2][2] = (near + far)/(near - far);
                m[3][2] = 2.0f*far*near/(near - far);
            }
            return m;
        }
        case Orthographic: {
            const float extent = params[3];
            const float zScale = 2.0f/(near - far);
            m[0][0] = 2.0f/extent;
            m[1][1] = 2.0f/(extent/aspect);
            m[2][2] = zScale;
            m[3][2] = near*zScale - 1.0f;
            m[3][3] = 1.0f;
            return m;
        }
    }
    /* The location of this report is part of the manager's documented behaviour */
    QUILLMARSH_INTERNAL_ASSERT_UNREACHABLE_AT_LINE(174);
}

Matrix4 ViewManager::viewProjectionMatrix(const IndexType index) const {
    requireIndex(index, "ViewManager::viewProjectionMatrix()");
    return projectionMatrices()[index]*viewTransforms()[index].toMatrix();
}

float ViewManager::fovFromProjectionMatrix(const Matrix4& matrix) {
    QUILLMARSH_ASSERT(isPerspective(matrix),
        "ViewManager::fovFromProjectionMatrix(): expected a perspective projection matrix", {});
    return 2.0f*(std::atan(1.0f/matrix[0][0])*180.0f/3.1415927f);
}

Matrix4 ViewManager::cullingMatrix(const Id a, const Id b) const {
    const IndexType ia = liveIndex(a, "ViewManager::cullingMatrix()");
    const IndexType ib = liveIndex(b, "ViewManager::cullingMatrix()");
    if(a == b) return viewProjectionMatrix(ia);

    const Matrix4& A = projectionMatrices()[ia];
    const Matrix4& B = projectionMatrices()[ib];
    QUILLMARSH_ASSERT(isPerspective(A) && isPerspective(B),
        "ViewManager::cullingMatrix(): expected two perspective projection matrices", {});

    const DualQuaternion& viewA = viewTransforms()[ia];
    const float d = (viewA.inverted().translation() - viewTransforms()[ib].inverted().translation()).length();

    /* Both eyes share near and far; they are taken from the left eye */
    const float far = std::abs(A[3][2]/(A[2][2] + 1.0f));
    const float near = A[3][2]/(A[2][2] - 1.0f);

    /* Tangents of the frustum edges at unit distance. Each side takes the wider eye: taking the
       left edge from the left eye alone lets the right eye's frustum leak out when its inner
       edge is the wider one. */
    const float left = std::max((1.0f - A[2][0])/A[0][0], (1.0f - B[2][0])/B[0][0]);
    const float right = std::max((1.0f + A[2][0])/A[0][0], (1.0f + B[2][0])/B[0][0]);
    const float bottom = std::min((B[2][1] - 1.0f)/B[1][1], (A[2][1] - 1.0f)/A[1][1]);
    const float top = std::max((A[2][1] + 1.0f)/A[1][1], (B[2][1] + 1.0f)/B[1][1]);

    /* The combined eye sits where the outer edges meet, r behind the left eye and left*r to
       its right */
    const float r = d/(left + right);
    const DualQuaternion combined = DualQuaternion::translation(Vector3{-left*r, 0.0f, -r})*viewA;
    const float nearCombined = near + r;
    const float farCombined = far + r;

    const float L = -left*near - left*r;
    const float R = right*near + d - left*r;
    /* Seen from further back, an edge above eye level is tightest at the far plane and one
       below it at the near plane; the near plane here is the eyes' own, since the combined
       near plane would leave the eyes' near corners outside */
    const float k = far == std::numeric_limits<float>::infinity() ? nearCombined : far/farCombined*nearCombined;
    const float T = top*(top >= 0.0f ? k : near);
    const float Bt = bottom*(bottom <= 0.0f ? k : near);

    Matrix4 p{Math::ZeroInit};
    p[0][0] = 2.0f*nearCombined/(R - L);
    p[1][1] = 2.0f*nearCombined/(T - Bt);
    p[2][0] = (R + L)/(R - L);
    p[2][1] = (T + Bt)/(T - Bt);
    p[2][3] = -1.0f;
    if(farCombined < std::numeric_limits<float>::infinity()) {
        p[2][2] = (nearCombined + farCombined)/(nearCombined - farCombined);
        p[3][2] = 2.0f*farCombined*nearCombined/(nearCombined - farCombined);
    } else {
        p[2][2] = -1.0f;
        p[3][2] = -2.0f*nearCombined;
    }
    return p*combined.toMatrix();
}

}}
