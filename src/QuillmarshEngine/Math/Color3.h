#ifndef QuillmarshEngine_Math_Color3_h
#define QuillmarshEngine_Math_Color3_h

/** @file
 * @brief Class @ref QuillmarshEngine::Math::Color3, function @ref QuillmarshEngine::Math::fullChannel()
 */

#include <limits>

#include "QuillmarshEngine/Math/Vector3.h"

namespace QuillmarshEngine { namespace Math {

/** @brief Value of a fully saturated channel: 1 for floating-point types, the maximum for integers */
template<class T> constexpr T fullChannel() {
    if constexpr(std::is_floating_point_v<T>) return T(1);
    else return std::numeric_limits<T>::max();
}

/**
 * @brief Red, green and blue
 *
 * A @ref Vector3 with colour names; same layout. Default-constructed it is black.
 */
template<class T> class Color3: public Vector3<T> {
    public:
        /** @brief Black */
        constexpr Color3() noexcept = default;
        /** @brief Black */
        constexpr explicit Color3(ZeroInitT) noexcept: Vector3<T>{ZeroInit} {}
        /** @brief Uninitialized components */
        explicit Color3(NoInitT) noexcept: Vector3<T>{NoInit} {}
        /** @brief Grey with every channel @p rgb */
        constexpr explicit Color3(T rgb) noexcept: Vector3<T>(rgb) {}
        /** @brief Construct from channels */
        constexpr /*implicit*/ Color3(T r, T g, T b) noexcept: Vector3<T>(r, g, b) {}
        /** @brief Convert from a colour of another channel type, with `static_cast` per channel */
        template<class U> constexpr explicit Color3(const Vector<3, U>& other) noexcept: Vector3<T>(other) {}
        /** @brief From the generic vector */
        constexpr /*implicit*/ Color3(const Vector<3, T>& other) noexcept: Vector3<T>(other) {}
};

}}

#endif
