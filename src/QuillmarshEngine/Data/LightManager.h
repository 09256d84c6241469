#ifndef QuillmarshEngine_Data_LightManager_h
#define QuillmarshEngine_Data_LightManager_h

/** @file
 * @brief Class @ref QuillmarshEngine::Data::LightManager, enum @ref QuillmarshEngine::Data::LightType
 */

#include <span>

#include "QuillmarshEngine/Data/GroupedComponentManager.h"
#include "QuillmarshEngine/Data/ShadowsData.h"
#include "QuillmarshEngine/Data/SparseLayer.h"
#include "QuillmarshEngine/Math/Color4.h"
#include "QuillmarshEngine/Math/Quaternion.h"
#include "QuillmarshEngine/Math/Vector4.h"

namespace QuillmarshEngine { namespace Data {

class SceneGraph;
class ViewManager;

/** @brief Type of a light, which is also its group in the @ref LightManager */
enum class LightType: std::uint8_t {
    Point = 0,  /**< Shines in every direction from its position */
    Spot = 1,   /**< Shines in a cone around its direction */
    Sun = 2     /**< Shines along its direction from infinitely far away */
};

/** @brief Prints `LightType::Point` etc., `LightType(0x7)` for unknown values */
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, LightType value);

/**
 * @brief Manager of the "light" component
 *
 * A @ref GroupedComponentManager with three groups of one subgroup: the group of a light is its
 * @ref LightType (@ref setLightType()), so the active lights of one type are one index range.
 * Columns, by component index:
 *
 * | column | type | meaning |
 * |---|---|---|
 * | @ref colors() | @ref Color4 | colour, read by the renderer |
 * | @ref positions() | @ref Vector4 | xyz world position, written by @ref doUpdate() (w untouched) |
 * | @ref directions() | @ref Vector4 | xyz world direction, the object's +Y axis, written by @ref doUpdate() (w untouched) |
 * | @ref parameters() | @ref Vector4 | x spot outer cone angle, y spot inner cone angle (full angles in degrees), z shadows enabled (anything but 0, NaN included), w shadow range (for a sun, the far end of its cascades) |
 * | @ref shadowParameters() | @ref Vector4 | w number of cascades of a sun (truncated); x, y, z are the renderer's |
 * | @ref derived() | @ref Vector4 | x cos(outer/2) and y cos(inner/2) of spot lights, z 1 when shadows were assigned this frame else 0, w index of the light's first shadow record |
 *
 * Once a frame, after world transformations and @ref doUpdate() (through @ref update()), the host
 * calls @ref setupShadows() with the view to fit shadows to; the renderer then reads the columns
 * and @ref shadows(). Views returned by the accessors die with the next growth. Not thread-safe.
 */
class QUILLMARSH_EXPORT LightManager: public GroupedComponentManager {
    public:
        /** @brief Manager with room for @p capacity lights */
        explicit LightManager(IndexType capacity = 0);

        ~LightManager() override;

        /** @brief Check an adopted block: three groups (the light types) of one subgroup */
        [[nodiscard]] std::string checkAdoptedBlock() const override;

        /** @brief `"light"` */
        const char* name() const override;

        /**
         * @brief Derive world positions, directions and spot cone cosines
         *
         * For every live light, active or not: the position is the translation of the owning
         * object's world transformation and the direction its rotation applied to the +Y axis.
         * For every active spot light: `derived` x and y become the cosines of half the outer and
         * half the inner cone angle; other lights keep theirs. Expects the manager to be
         * registered with a scene graph whose world transformations are current.
         */
        void doUpdate() override;

        /** @brief Nothing: @ref doUpdate() does all the work */
        void updateComponent(IndexType index) override;

        /**
         * @brief Make the light at @p index a light of @p type
         *
         * Moves an active light into the group of its new type; returns its new index.
         */
        IndexType setLightType(IndexType index, LightType type);

        /** @brief Type of the light at @p index; not checked */
        LightType lightType(IndexType index) const { return LightType(_grouped.slot(index)); }

        /** @name Columns
         * Capacity entries each, indexed by component index; invalidated by growth.
         */
        /** @{ */
        std::span<Color4> colors() { return _layout.get<2>().view(); }
        std::span<const Color4> colors() const { return _layout.get<2>().view(); } /**< @overload */
        std::span<Vector4> positions() { return _layout.get<3>().view(); }
        std::span<const Vector4> positions() const { return _layout.get<3>().view(); } /**< @overload */
        std::span<Vector4> directions() { return _layout.get<4>().view(); }
        std::span<const Vector4> directions() const { return _layout.get<4>().view(); } /**< @overload */
        std::span<Vector4> parameters() { return _layout.get<5>().view(); }
        std::span<const Vector4> parameters() const { return _layout.get<5>().view(); } /**< @overload */
        std::span<Vector4> shadowParameters() { return _layout.get<6>().view(); }
        std::span<const Vector4> shadowParameters() const { return _layout.get<6>().view(); } /**< @overload */
        std::span<const Vector4> derived() const { return _layout.get<7>().view(); }
        /** @} */

        /** @brief Shadow records of the last @ref setupShadows() */
        ShadowsData& shadows() { return _shadows; }
        const ShadowsData& shadows() const { return _shadows; } /**< @overload */

        /**
         * @brief Assign this frame's shadow records and fit them to a view
         *
         * Clears @ref shadows() and reserves it for @p maxShadows records, sets `derived` z of
         * every light to 0, then visits the active lights with shadows enabled (`parameters` z
         * not exactly 0) by priority: suns, then point lights, then spot lights, each type in
         * component order. A sun asks for one record per cascade, a point light for two, a spot
         * light for one. A light whose records fit the budget gets them (consecutive, owner and
         * @ref ShadowParameters filled), `derived` z = 1 and `derived` w = its first record; a sun
         * also gets its split distances (@ref setupShadowSplits()). A light that does not fit gets
         * nothing and the warning "Max number of shadows N exceeded, ignoring shadows for light
         * I"; later lights are still tried. A sun with no cascades is marked shadowed but gets no
         * record. Finally every record is fitted to @p view (@ref updateShadows() with texel
         * snapping), which reads world transformations from @p sceneGraph.
         *
         * @p view is a component id of @p views. Expects a live view.
         */
        void setupShadows(SceneGraph& sceneGraph, ViewManager& views, Id view, unsigned int maxShadows);

        /**
         * @brief Fill the split distances of the sun whose first record is @p firstShadow
         *
         * With the near distance of @p view (`projectionParams` x) and the sun's range, for each
         * of its consecutive records, as @ref ShadowCameraSplits describes; split k goes to float
         * 4 @p firstShadow + k of @ref ShadowsData::splitDistances(), the other floats of the
         * sun's records are zeroed. Expects @p firstShadow to be the first record of a sun.
         */
        void setupShadowSplits(ViewManager& views, Id view, unsigned int firstShadow);

        /**
         * @brief Fit every shadow record of this frame to @p view
         *
         * Fills, per record, the light-space view matrix, the projection matrix and the slices:
         *
         * - spot: a perspective projection from the light's position along its direction whose
         *   square frustum contains the cone (the full outer angle, clamped to at most 179
         *   degrees), near 0.1 and the range as the far distance;
         * - point: the dual paraboloid pair described in @ref ShadowsData, depth from 0.1 to the
         *   range;
         * - sun: per cascade (@ref updateShadowSplits(), @ref updateLightSliceProjection()) an
         *   orthographic projection along the light direction around the bounding sphere of the
         *   cascade's slice of the view frustum, reaching the sun's range (or the sphere's radius
         *   for an infinite range) towards the light for casters outside the slice; with
         *   @p snapToTexels its origin moves in whole texels of @ref ShadowsData::mapSize(), so
         *   the shadow map does not shimmer while the camera moves.
         *
         * Light space looks down −Z, which is the light object's +Y axis (−Y for the second
         * point record); light-space +Y is the object's +Z axis (−Z for the second point
         * record). A range not beyond the near distance 0.1 gives a frustum
         * 0.1 deep. Called by @ref setupShadows(); call it again to refit the same records, for
         * example after moving the camera. Expects a live view and the lights, their owners and
         * their order unchanged since @ref setupShadows().
         */
        void updateShadows(SceneGraph& sceneGraph, ViewManager& views, Id view, bool snapToTexels);

        /**
         * @brief Fit the frustum slices of one sun's cascades
         *
         * Slice k spans view depths from @p distances [k − 1] (the view's near distance for
         * k = 0) to @p distances [k]; its sphere's centre lies on the line through the centres of
         * the slice's near and far rectangles, where the farthest near corner and the farthest
         * far corner are equally far (clamped to the slice). Expects @p slices to be as long as
         * @p distances.
         */
        static void updateShadowSplits(const ViewParams& view, std::span<const float> distances, std::span<ShadowCameraSlice> slices);

        /**
         * @brief Orthographic light-space box around one frustum slice
         *
         * @p lightOrientation rotates light space into world space; the light looks down its −Z.
         * The box is `mapSize` texels wide, a texel being `2 radius/(mapSize − 1)`, so that it
         * contains the sphere even after its centre moved by up to half a texel; with
         * @p snapToTexels the centre moves to the nearest whole texel across the light direction.
         * Depths reach from @p casterDistance + radius towards the light to radius away from it.
         * Writes @p viewMatrix (world to light space) and @p projectionMatrix and returns the
         * box.
         */
        static ShadowLightSlice updateLightSliceProjection(const ShadowCameraSlice& slice, const Quaternion& lightOrientation, float casterDistance, unsigned int mapSize, bool snapToTexels, Matrix4& viewMatrix, Matrix4& projectionMatrix);

    private:
        SparseArrayStaticLayout<
            SparseLayer<Id, SparseLayerFlag::ObjectId>,
            SparseLayerOwner<GroupedComponentManager>,
            SparseLayer<Color4>,            /* colour */
            SparseLayer<Vector4>,           /* position */
            SparseLayer<Vector4>,           /* direction */
            SparseLayer<Vector4>,           /* parameters */
            SparseLayer<Vector4>,           /* shadow parameters */
            SparseLayerAlloc<Vector4>> _layout; /* derived */
        ShadowsData _shadows;
};

}}

#endif
