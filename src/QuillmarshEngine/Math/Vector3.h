#ifndef QuillmarshEngine_Math_Vector3_h
#define QuillmarshEngine_Math_Vector3_h

/** @file
 * @brief Class @ref QuillmarshEngine::Math::Vector3, function @ref QuillmarshEngine::Math::cross()
 */

#include "QuillmarshEngine/Math/Vector2.h"

namespace QuillmarshEngine { namespace Math {

/**
 * @brief Three-component vector
 *
 * A @ref Vector of three components (12 bytes for float, no padding) with named constructors.
 * Default-constructed it is zero.
 */
template<class T> class Vector3: public Vector<3, T> {
    public:
        /** @brief Vector along X of length @p length */
        static constexpr Vector3<T> xAxis(T length = T(1)) { return {length, T(0), T(0)}; }
        /** @brief Vector along Y of length @p length */
        static constexpr Vector3<T> yAxis(T length = T(1)) { return {T(0), length, T(0)}; }
        /** @brief Vector along Z of length @p length */
        static constexpr Vector3<T> zAxis(T length = T(1)) { return {T(0), T(0), length}; }
        /** @brief Scaling vector that scales only X */
        static constexpr Vector3<T> xScale(T scale) { return {scale, T(1), T(1)}; }
        /** @brief Scaling vector that scales only Y */
        static constexpr Vector3<T> yScale(T scale) { return {T(1), scale, T(1)}; }
        /** @brief Scaling vector that scales only Z */
        static constexpr Vector3<T> zScale(T scale) { return {T(1), T(1), scale}; }

        /** @brief Zero vector */
        constexpr Vector3() noexcept = default;
        /** @brief Zero vector */
        constexpr explicit Vector3(ZeroInitT) noexcept: Vector<3, T>{ZeroInit} {}
        /** @brief Uninitialized components */
        explicit Vector3(NoInitT) noexcept: Vector<3, T>{NoInit} {}
        /** @brief Every component set to @p value */
        constexpr explicit Vector3(T value) noexcept: Vector<3, T>(value) {}
        /** @brief Construct from components */
        constexpr /*implicit*/ Vector3(T x, T y, T z) noexcept: Vector<3, T>(x, y, z) {}
        /** @brief Construct from a two-component vector and Z */
        constexpr /*implicit*/ Vector3(const Vector<2, T>& xy, T z) noexcept: Vector<3, T>(xy[0], xy[1], z) {}
        /** @brief Convert from a vector of another component type */
        template<class U> constexpr explicit Vector3(const Vector<3, U>& other) noexcept: Vector<3, T>(other) {}
        /** @brief From the generic vector */
        constexpr /*implicit*/ Vector3(const Vector<3, T>& other) noexcept: Vector<3, T>(other) {}

        /** @brief Red component, same as X */
        constexpr T& r() { return this->x(); }
        constexpr T r() const { return this->x(); } /**< @overload */
        /** @brief Green component, same as Y */
        constexpr T& g() { return this->y(); }
        constexpr T g() const { return this->y(); } /**< @overload */
        /** @brief Blue component, same as Z */
        constexpr T& b() { return this->z(); }
        constexpr T b() const { return this->z(); } /**< @overload */

        /** @brief First two components */
        Vector2<T>& xy() { return *reinterpret_cast<Vector2<T>*>(this->data()); }
        constexpr Vector2<T> xy() const { return {(*this)[0], (*this)[1]}; } /**< @overload */

        /** @copydoc Vector::normalized() */
        Vector3<T> normalized() const { return Vector<3, T>::normalized(); }
        /** @copydoc Vector::resized() */
        Vector3<T> resized(T length) const { return Vector<3, T>::resized(length); }
        /** @copydoc Vector::projected() */
        Vector3<T> projected(const Vector<3, T>& line) const { return Vector<3, T>::projected(line); }
};

/**
 * @brief Cross product
 *
 * `(a.y*b.z - b.y*a.z, a.z*b.x - b.z*a.x, a.x*b.y - b.x*a.y)`; right-handed.
 */
template<class T> constexpr Vector3<T> cross(const Vector<3, T>& a, const Vector<3, T>& b) {
    return {a[1]*b[2] - b[1]*a[2],
            a[2]*b[0] - b[2]*a[0],
            a[0]*b[1] - b[0]*a[1]};
}

}}

#endif
