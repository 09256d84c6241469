#ifndef QuillmarshEngine_Data_ShadowsData_h
#define QuillmarshEngine_Data_ShadowsData_h

/** @file
 * @brief Class @ref QuillmarshEngine::Data::ShadowsData, structs
 *      @ref QuillmarshEngine::Data::ShadowParameters, @ref QuillmarshEngine::Data::ViewParams,
 *      @ref QuillmarshEngine::Data::ShadowCameraSplits, @ref QuillmarshEngine::Data::ShadowCameraSlice,
 *      @ref QuillmarshEngine::Data::ShadowLightSlice, enum @ref QuillmarshEngine::Data::ShadowKind
 */

#include <cstdint>
#include <span>
#include <vector>

#include "QuillmarshEngine/Data/SparseArray.h"
#include "QuillmarshEngine/Math/Matrix4.h"
#include "QuillmarshEngine/Math/Vector3.h"

namespace QuillmarshEngine { namespace Data {

class ViewManager;

/** @brief Kind of a shadow record, stored as a u32 in @ref ShadowParameters */
enum class ShadowKind: std::uint32_t {
    Spot = 0,   /**< One perspective shadow map of a spot light */
    Sun = 1,    /**< One cascade of a sun light */
    Point = 2   /**< One hemisphere of a point light */
};

/** @brief Prints `ShadowKind::Sun` etc., `ShadowKind(0x7)` for unknown values */
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, ShadowKind value);

/** @brief Five-word parameter record of one shadow */
struct ShadowParameters {
    ShadowKind kind;        /**< What the record shadows */
    float near;             /**< Near distance of the light's projection, always 0.1 */
    float range;            /**< The light's shadow range; for a sun the far end of its cascades */
    float coneAngle;        /**< Full cone angle in radians for a spot light, 0 otherwise */
    std::uint32_t reserved; /**< Always 0 */
};

static_assert(sizeof(ShadowParameters) == 20, "Data::ShadowParameters is a five-word record");

/**
 * @brief What the shadow fitting needs of the camera it fits to
 *
 * Taken once per fit from one view of a @ref ViewManager: its camera-to-world matrix (the inverse
 * of the view transform), the near and far distances of its projection parameters, and the shape
 * of its frustum read from its projection matrix. For a perspective matrix the four values are
 * the tangents of the frustum edges: at view depth z > 0 the frustum spans x from −left·z to
 * right·z and y from −bottom·z to top·z. For an orthographic one they are the half extents: x
 * from −left to right, y from −bottom to top, at any depth.
 */
struct QUILLMARSH_EXPORT ViewParams {
    Matrix4 cameraMatrix;   /**< View space to world space, rigid */
    float near;             /**< Near distance of the view */
    float far;              /**< Far distance of the view, may be +infinity */
    float left;             /**< Left edge, see above */
    float right;            /**< Right edge */
    float bottom;           /**< Bottom edge */
    float top;              /**< Top edge */
    bool orthographic;      /**< Whether the projection matrix is orthographic */

    /**
     * @brief Parameters of the view at @p index of @p views
     *
     * A projection matrix whose `m[2][3]` has a magnitude of at least 1e-05 counts as
     * perspective, any other as orthographic. Expects a live index.
     */
    static ViewParams from(const ViewManager& views, SparseArray::IndexType index);
};

/**
 * @brief Split scheme of the cascades of one sun
 *
 * Cascade k covers view depths from split k − 1 (the view's near distance for k = 0) to split k.
 * Split k is an equal blend of the uniform and the logarithmic scheme,
 * `0.5 (near + p (far − near)) + 0.5 near (far/near)^p` with `p = (k + 1)/count`, so that the
 * last split is `far`. The logarithmic term needs 0 < near < far; otherwise (an orthographic view
 * with near 0, or near not below far) the uniform term is used alone.
 */
struct QUILLMARSH_EXPORT ShadowCameraSplits {
    float near;             /**< Near distance of the view */
    float far;              /**< The sun's shadow range */
    std::int32_t count;     /**< Number of cascades; 0 or less means none */

    /**
     * @brief Cascade count from a sun's `shadowParameters` w
     *
     * Truncated towards zero and read as a signed integer: NaN, negative values and values below
     * 1 give 0, values beyond the 32-bit range the largest signed 32-bit integer.
     */
    static std::int32_t cascadeCount(float value);

    /** @brief Split distance @p k, for @p k in [0, count) */
    float distance(std::int32_t k) const;
};

/**
 * @brief Part of the view frustum one sun cascade covers
 *
 * The view depths [near, far] of the cascade and a sphere around that slice of the frustum. The
 * sphere depends only on the view's projection and the depths, not on where the camera looks, so
 * it keeps its size while the camera turns; only its centre follows the camera.
 */
struct ShadowCameraSlice {
    float near;             /**< View depth where the cascade starts */
    float far;              /**< View depth where it ends */
    Vector3 center;         /**< Centre of the bounding sphere in world space */
    float radius;           /**< Radius of the bounding sphere */
};

/**
 * @brief Light-space box of one shadow record
 *
 * For a sun cascade: the light-space origin (the centre of the slice's bounding sphere, snapped
 * to whole texels across the light direction), the half width and height of the orthographic
 * box, the world size of one texel, and the depth range of the orthographic projection (negative
 * near reaches towards the light, for casters outside the slice). For spot and point records the
 * light's position, its range as the half extent, a texel size of 0 and the depth range
 * [0.1, range].
 */
struct ShadowLightSlice {
    Vector3 origin;         /**< Origin of the light space in world space */
    float halfExtent;       /**< Half width and height of the box */
    float texelSize;        /**< World size of one shadow-map texel, 0 where it varies */
    float near;             /**< Near end of the depth range */
    float far;              /**< Far end of the depth range */
};

/**
 * @brief Shadow records of one frame
 *
 * Parallel arrays indexed by shadow index, filled by @ref LightManager::setupShadows():
 *
 * | array | per record |
 * |---|---|
 * | @ref owners() | component index of the light, as of the last setup |
 * | @ref parameters() | @ref ShadowParameters |
 * | @ref splitDistances() | four floats; split k of a sun whose first record is f is float 4f + k |
 * | @ref viewMatrices() | world to light space, rigid, column-major |
 * | @ref projectionMatrices() | light space to clip space, column-major, OpenGL clip convention (z in [−1, 1]) |
 * | @ref cameraSlices() | for sun cascades the frustum slice, zero otherwise |
 * | @ref lightSlices() | @ref ShadowLightSlice |
 *
 * A light's records are consecutive. Spot and sun records are ordinary shadow-map cameras: clip =
 * projection × view × world position, looking down −Z of light space. A point light has two
 * records, a dual paraboloid pair: record f looks along the light's +Y axis (its pointing
 * axis), record f + 1 along −Y. Each covers the hemisphere in front of it (light-space z ≤ 0) and
 * is not a linear projection; a shader maps a world position `P` as
 *
 *      vec4 p = view*vec4(P, 1.0);               // light space, the light at the origin
 *      float d = length(p.xyz);
 *      vec2 uv = p.xy/(d - p.z);                  // the hemisphere onto the unit disc
 *      gl_Position = projection*vec4(uv, -d, 1.0); // depth 2(d - 0.1)/(range - 0.1) - 1, w = 1
 *      gl_ClipDistance[0] = -p.z;                 // keep this hemisphere
 *
 * and a lookup picks record f when `p.z <= 0` in record f's light space, f + 1 otherwise.
 *
 * Every array is reserved to the shadow budget, so records are added without allocating once the
 * budget was reached before. Views die with the next @ref addShadow() beyond the reserve.
 */
class QUILLMARSH_EXPORT ShadowsData {
    public:
        /** @brief Split distances kept per record */
        static constexpr std::uint32_t SplitsPerShadow = 4;

        /** @brief Remove every record, keeping the reserved capacity */
        void clear();

        /** @brief Reserve every array for @p count records */
        void reserveShadows(unsigned int count);

        /**
         * @brief Append one empty record to every array
         *
         * Owner 0, a zero parameter record, zero split distances and slices, identity matrices.
         * Returns its shadow index.
         */
        unsigned int addShadow();

        /** @brief Number of records */
        unsigned int count() const { return unsigned(_owners.size()); }

        /** @name Records */
        /** @{ */
        std::span<std::uint16_t> owners() { return _owners; }
        std::span<const std::uint16_t> owners() const { return _owners; } /**< @overload */
        std::span<ShadowParameters> parameters() { return _parameters; }
        std::span<const ShadowParameters> parameters() const { return _parameters; } /**< @overload */
        std::span<float> splitDistances() { return _splits; }
        std::span<const float> splitDistances() const { return _splits; } /**< @overload */
        std::span<Matrix4> viewMatrices() { return _views; }
        std::span<const Matrix4> viewMatrices() const { return _views; } /**< @overload */
        std::span<Matrix4> projectionMatrices() { return _projections; }
        std::span<const Matrix4> projectionMatrices() const { return _projections; } /**< @overload */
        std::span<ShadowCameraSlice> cameraSlices() { return _cameraSlices; }
        std::span<const ShadowCameraSlice> cameraSlices() const { return _cameraSlices; } /**< @overload */
        std::span<ShadowLightSlice> lightSlices() { return _lightSlices; }
        std::span<const ShadowLightSlice> lightSlices() const { return _lightSlices; } /**< @overload */
        /** @} */

        /** @brief Width and height of a shadow map in texels, 2048 unless set */
        unsigned int mapSize() const { return _mapSize; }

        /**
         * @brief Set the width and height of a shadow map in texels
         *
         * Sun cascades are snapped to whole texels of this size. Expects at least 2.
         */
        void setMapSize(unsigned int size);

    private:
        std::vector<std::uint16_t> _owners;
        std::vector<ShadowParameters> _parameters;
        std::vector<float> _splits;
        std::vector<Matrix4> _views;
        std::vector<Matrix4> _projections;
        std::vector<ShadowCameraSlice> _cameraSlices;
        std::vector<ShadowLightSlice> _lightSlices;
        unsigned int _mapSize{2048};
};

}}

#endif
