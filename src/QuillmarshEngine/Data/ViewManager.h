#ifndef QuillmarshEngine_Data_ViewManager_h
#define QuillmarshEngine_Data_ViewManager_h

/** @file
 * @brief Class @ref QuillmarshEngine::Data::ViewManager
 */

#include <span>

#include "QuillmarshEngine/Data/ComponentManager.h"
#include "QuillmarshEngine/Data/SparseLayer.h"
#include "QuillmarshEngine/Math/DualQuaternion.h"
#include "QuillmarshEngine/Math/Matrix4.h"
#include "QuillmarshEngine/Math/Vector4.h"

namespace QuillmarshEngine { namespace Data {

/**
 * @brief Manager of the "view" component: cameras
 *
 * Every component is a camera attached to the object that owns it. Columns, by component index:
 *
 * | column | type | meaning |
 * |---|---|---|
 * | @ref projectionParams() | @ref Vector4 | x near distance, y far distance (may be +infinity), z horizontal field of view in degrees, w orthographic extent (full horizontal width) |
 * | @ref projectionTypes() | u8 | 0 perspective, 1 orthographic |
 * | @ref viewTransforms() | @ref DualQuaternion | world-to-view transform, written by @ref updateComponent() |
 * | @ref projectionMatrices() | @ref Matrix4 | the projection used by @ref viewProjectionMatrix() and @ref cullingMatrix(), filled by the owner of the view |
 * | @ref viewports() | @ref Vector4i | x, y, width, height in pixels |
 *
 * New views are perspective with near 0.1, far 1000, a field of view of 90 degrees, an
 * orthographic extent of 10, an identity projection matrix and an empty viewport.
 *
 * Matrices are column-major (`m[column][row]`) and follow the OpenGL conventions: the camera looks
 * down -Z, right-handed, clip-space Z in [-1, 1]. Fields of view are horizontal: the vertical
 * extent follows from the viewport's aspect ratio. Angles are stored in degrees.
 *
 * Preconditions that are not checked: a perspective field of view strictly between 0 and 180
 * degrees, near below far, and a finite far plane for an orthographic view.
 */
class QUILLMARSH_EXPORT ViewManager: public ComponentManager {
    public:
        /** @brief Projection types of @ref projectionTypes() */
        enum: std::uint8_t {
            Perspective = 0,    /**< Perspective projection from the field of view */
            Orthographic = 1    /**< Orthographic projection from the extent */
        };

        /** @brief Manager with room for @p capacity views */
        explicit ViewManager(IndexType capacity = 0);

        ~ViewManager() override;

        /** @brief `"view"` */
        const char* name() const override;

        /**
         * @brief Store the world-to-view transform of the view at @p index
         *
         * The general inverse of the owning object's world dual quaternion (the real part divided
         * by its squared length, the dual part corrected accordingly), so a world transform that
         * is not exactly unit still inverts correctly. Called for every active view once a frame
         * after world transformations are current.
         */
        void updateComponent(IndexType index) override;

        /**
         * @brief Projection matrix from the parameters of the view at @p index
         *
         * Aspect ratio = viewport width / height, each clamped to at least 1 (an empty viewport
         * gives 1). Perspective: `m[0][0] = 1/t`, `m[1][1] = aspect/t` with
         * `t = tan(fov/2)`, `m[2][3] = -1`; an infinite far plane gives `m[2][2] = -1` and
         * `m[3][2] = -2 near`, a finite one `(near + far)/(near - far)` and
         * `2 far near/(near - far)`. Orthographic: a box `extent` wide and `extent/aspect` high,
         * `m[2][2] = 2/(near - far)`, `m[3][2] = (near + far)/(near - far)`. A projection type
         * other than 0 and 1 is fatal ("Reached unreachable code at ..."). Expects a live index.
         */
        Matrix4 generateProjectionMatrix(IndexType index) const;

        /**
         * @brief Projection times view matrix of the view at @p index
         *
         * @ref projectionMatrices() times the rigid matrix of @ref viewTransforms(). Expects a
         * live index.
         */
        Matrix4 viewProjectionMatrix(IndexType index) const;

        /**
         * @brief One view-projection matrix whose frustum contains both eye frusta
         *
         * For stereo rendering: @p a is the left eye, @p b the right one; both are component ids.
         * Expects @p b to be @p a shifted along @p a's x axis (towards +x) with the same rotation,
         * both eyes to share near and far, and both projections to be perspective (else fatal:
         * "ViewManager::cullingMatrix(): expected two perspective projection matrices"). The
         * combined eye sits behind both where the outer frustum edges meet; its horizontal edges
         * take the wider of the eyes' tangents on each side, its vertical extents are widened so
         * that every point of either frustum between near and far stays inside, whether the
         * frustum straddles eye level or lies entirely above or below it. An infinite far plane
         * stays infinite. With @p a equal to @p b the result is @ref viewProjectionMatrix() of
         * @p a. Expects live ids.
         */
        Matrix4 cullingMatrix(Id a, Id b) const;

        /**
         * @brief Horizontal field of view in degrees of a perspective projection matrix
         *
         * `2 atan(1/m[0][0])`, the inverse of @ref generateProjectionMatrix(). A matrix with
         * `m[2][3]` of magnitude below 1e-05 is not perspective and is fatal
         * ("ViewManager::fovFromProjectionMatrix(): expected a perspective projection matrix").
         */
        static float fovFromProjectionMatrix(const Matrix4& matrix);

        /** @name Columns
         * Capacity entries each, indexed by component index; invalidated by growth.
         */
        /** @{ */
        std::span<Vector4> projectionParams() { return _layout.get<1>().view(); }
        std::span<const Vector4> projectionParams() const { return _layout.get<1>().view(); } /**< @overload */
        std::span<std::uint8_t> projectionTypes() { return _layout.get<2>().view(); }
        std::span<const std::uint8_t> projectionTypes() const { return _layout.get<2>().view(); } /**< @overload */
        std::span<const DualQuaternion> viewTransforms() const { return _layout.get<3>().view(); }
        std::span<Matrix4> projectionMatrices() { return _layout.get<4>().view(); }
        std::span<const Matrix4> projectionMatrices() const { return _layout.get<4>().view(); } /**< @overload */
        std::span<Vector4i> viewports() { return _layout.get<5>().view(); }
        std::span<const Vector4i> viewports() const { return _layout.get<5>().view(); } /**< @overload */
        /** @} */

        /** @brief Index of the live view @p id; aborts with @p function in the message otherwise */
        IndexType liveIndex(Id id, const char* function) const;

    private:
        void requireIndex(IndexType index, const char* function) const;

        SparseArrayStaticLayout<
            SparseLayer<Id, SparseLayerFlag::ObjectId>,
            SparseLayer<Vector4>,           /* projection parameters */
            SparseLayer<std::uint8_t>,      /* projection type */
            SparseLayer<DualQuaternion>,    /* view transform */
            SparseLayer<Matrix4>,           /* projection matrix */
            SparseLayer<Vector4i>> _layout; /* viewport */
};

}}

#endif
