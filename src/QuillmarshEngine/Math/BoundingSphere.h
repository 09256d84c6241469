#ifndef QuillmarshEngine_Math_BoundingSphere_h
#define QuillmarshEngine_Math_BoundingSphere_h

/** @file
 * @brief Class @ref QuillmarshEngine::Math::BoundingSphere
 */

#include <span>

#include "QuillmarshEngine/Math/Range.h"

namespace QuillmarshEngine { namespace Math {

/**
 * @brief Sphere enclosing a set of points
 *
 * Centre then radius, stored as four values (16 bytes for float, the layout of the bounding sphere
 * of a mesh record). Default-constructed it is a point at the origin (radius zero). A negative
 * radius is not rejected; such a sphere contains nothing.
 */
template<class T> class BoundingSphere {
    public:
        typedef T Type; /**< @brief Component type */

        /**
         * @brief Sphere around @p points
         *
         * Centred at the middle of the points' axis-aligned bounds, with the radius reaching the
         * farthest point: not the minimal sphere, but never more than `sqrt(3)` times its radius
         * and stable under reordering of the points. An empty list gives a default-constructed
         * sphere.
         */
        static BoundingSphere<T> fromPoints(std::span<const Vector3<T>> points) {
            if(points.empty()) return {};
            Vector3<T> low = points[0], high = points[0];
            for(const Vector3<T>& p: points) {
                low = Math::min(low, p);
                high = Math::max(high, p);
            }
            const Vector3<T> center = (low + high)*T(0.5);
            T radiusSquared{};
            for(const Vector3<T>& p: points)
                radiusSquared = Math::max(radiusSquared, (p - center).dot());
            return {center, T(std::sqrt(radiusSquared))};
        }

        /** @brief Sphere around a range, centred in it and reaching its corners */
        static BoundingSphere<T> fromRange(const Range<3, T>& range) {
            return {range.center(), range.halfSize().length()};
        }

        /** @brief Point at the origin */
        constexpr BoundingSphere() noexcept: _center{}, _radius{} {}
        /** @brief Construct from the centre and the radius */
        constexpr /*implicit*/ BoundingSphere(const Vector3<T>& center, T radius) noexcept: _center{center}, _radius{radius} {}

        /** @brief Centre */
        Vector3<T>& center() { return _center; }
        constexpr const Vector3<T>& center() const { return _center; } /**< @overload */
        /** @brief Radius */
        T& radius() { return _radius; }
        constexpr T radius() const { return _radius; } /**< @overload */

        /** @brief Fuzzy equality of the centres and the radii */
        friend constexpr bool operator==(const BoundingSphere<T>& a, const BoundingSphere<T>& b) {
            return a._center == b._center && TypeTraits<T>::equals(a._radius, b._radius);
        }

        /** @brief Whether @p point lies inside or on the surface */
        constexpr bool contains(const Vector3<T>& point) const {
            return (point - _center).dot() <= _radius*_radius && !(_radius < T(0));
        }
        /** @brief Whether two spheres overlap or touch */
        constexpr bool intersects(const BoundingSphere<T>& other) const {
            const T radii = _radius + other._radius;
            return (other._center - _center).dot() <= radii*radii && !(_radius < T(0)) && !(other._radius < T(0));
        }

    private:
        Vector3<T> _center;
        T _radius;
};

/** @brief Prints `BoundingSphere({x, y, z}, radius)`; instantiated for float and double */
template<class T> QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, const BoundingSphere<T>& value);

}}

#endif
