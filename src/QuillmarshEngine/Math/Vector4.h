#ifndef QuillmarshEngine_Math_Vector4_h
#define QuillmarshEngine_Math_Vector4_h

/** @file
 * @brief Class @ref QuillmarshEngine::Math::Vector4
 */

#include "QuillmarshEngine/Math/Vector3.h"

namespace QuillmarshEngine { namespace Math {

/**
 * @brief Four-component vector
 *
 * A @ref Vector of four components (16 bytes for float). Default-constructed it is zero.
 */
template<class T> class Vector4: public Vector<4, T> {
    public:
        /** @brief Zero vector */
        constexpr Vector4() noexcept = default;
        /** @brief Zero vector */
        constexpr explicit Vector4(ZeroInitT) noexcept: Vector<4, T>{ZeroInit} {}
        /** @brief Uninitialized components */
        explicit Vector4(NoInitT) noexcept: Vector<4, T>{NoInit} {}
        /** @brief Every component set to @p value */
        constexpr explicit Vector4(T value) noexcept: Vector<4, T>(value) {}
        /** @brief Construct from components */
        constexpr /*implicit*/ Vector4(T x, T y, T z, T w) noexcept: Vector<4, T>(x, y, z, w) {}
        /** @brief Construct from a three-component vector and W */
        constexpr /*implicit*/ Vector4(const Vector<3, T>& xyz, T w) noexcept: Vector<4, T>(xyz[0], xyz[1], xyz[2], w) {}
        /** @brief Convert from a vector of another component type */
        template<class U> constexpr explicit Vector4(const Vector<4, U>& other) noexcept: Vector<4, T>(other) {}
        /** @brief From the generic vector */
        constexpr /*implicit*/ Vector4(const Vector<4, T>& other) noexcept: Vector<4, T>(other) {}

        /** @brief Red component, same as X */
        constexpr T& r() { return this->x(); }
        constexpr T r() const { return this->x(); } /**< @overload */
        /** @brief Green component, same as Y */
        constexpr T& g() { return this->y(); }
        constexpr T g() const { return this->y(); } /**< @overload */
        /** @brief Blue component, same as Z */
        constexpr T& b() { return this->z(); }
        constexpr T b() const { return this->z(); } /**< @overload */
        /** @brief Alpha component, same as W */
        constexpr T& a() { return this->w(); }
        constexpr T a() const { return this->w(); } /**< @overload */

        /** @brief First three components */
        Vector3<T>& xyz() { return *reinterpret_cast<Vector3<T>*>(this->data()); }
        constexpr Vector3<T> xyz() const { return {(*this)[0], (*this)[1], (*this)[2]}; } /**< @overload */
        /** @brief Red, green and blue, same as @ref xyz() */
        Vector3<T>& rgb() { return xyz(); }
        constexpr Vector3<T> rgb() const { return xyz(); } /**< @overload */
        /** @brief First two components */
        Vector2<T>& xy() { return *reinterpret_cast<Vector2<T>*>(this->data()); }
        constexpr Vector2<T> xy() const { return {(*this)[0], (*this)[1]}; } /**< @overload */

        /** @copydoc Vector::normalized() */
        Vector4<T> normalized() const { return Vector<4, T>::normalized(); }
        /** @copydoc Vector::resized() */
        Vector4<T> resized(T length) const { return Vector<4, T>::resized(length); }
        /** @copydoc Vector::projected() */
        Vector4<T> projected(const Vector<4, T>& line) const { return Vector<4, T>::projected(line); }
};

}}

#endif
