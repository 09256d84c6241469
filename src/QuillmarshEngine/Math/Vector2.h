#ifndef QuillmarshEngine_Math_Vector2_h
#define QuillmarshEngine_Math_Vector2_h

/** @file
 * @brief Class @ref QuillmarshEngine::Math::Vector2
 */

#include "QuillmarshEngine/Math/Vector.h"

namespace QuillmarshEngine { namespace Math {

/**
 * @brief Two-component vector
 *
 * A @ref Vector of two components (8 bytes for float) with named constructors. Default-constructed
 * it is zero.
 */
template<class T> class Vector2: public Vector<2, T> {
    public:
        /** @brief Vector along X of length @p length */
        static constexpr Vector2<T> xAxis(T length = T(1)) { return {length, T(0)}; }
        /** @brief Vector along Y of length @p length */
        static constexpr Vector2<T> yAxis(T length = T(1)) { return {T(0), length}; }
        /** @brief Scaling vector that scales only X */
        static constexpr Vector2<T> xScale(T scale) { return {scale, T(1)}; }
        /** @brief Scaling vector that scales only Y */
        static constexpr Vector2<T> yScale(T scale) { return {T(1), scale}; }

        /** @brief Zero vector */
        constexpr Vector2() noexcept = default;
        /** @brief Zero vector */
        constexpr explicit Vector2(ZeroInitT) noexcept: Vector<2, T>{ZeroInit} {}
        /** @brief Uninitialized components */
        explicit Vector2(NoInitT) noexcept: Vector<2, T>{NoInit} {}
        /** @brief Both components set to @p value */
        constexpr explicit Vector2(T value) noexcept: Vector<2, T>(value) {}
        /** @brief Construct from components */
        constexpr /*implicit*/ Vector2(T x, T y) noexcept: Vector<2, T>(x, y) {}
        /** @brief Convert from a vector of another component type */
        template<class U> constexpr explicit Vector2(const Vector<2, U>& other) noexcept: Vector<2, T>(other) {}
        /** @brief From the generic vector */
        constexpr /*implicit*/ Vector2(const Vector<2, T>& other) noexcept: Vector<2, T>(other) {}

        /** @brief Vector rotated by 90 degrees counter-clockwise, `(-y, x)` */
        constexpr Vector2<T> perpendicular() const { return {-this->y(), this->x()}; }
        /** @brief Ratio `x/y` */
        constexpr T aspectRatio() const { return this->x()/this->y(); }

        /** @copydoc Vector::normalized() */
        Vector2<T> normalized() const { return Vector<2, T>::normalized(); }
        /** @copydoc Vector::resized() */
        Vector2<T> resized(T length) const { return Vector<2, T>::resized(length); }
        /** @copydoc Vector::projected() */
        Vector2<T> projected(const Vector<2, T>& line) const { return Vector<2, T>::projected(line); }
};

/** @brief Two-dimensional cross product, `a.x*b.y - a.y*b.x` */
template<class T> constexpr T cross(const Vector<2, T>& a, const Vector<2, T>& b) {
    return a[0]*b[1] - a[1]*b[0];
}

}}

#endif
