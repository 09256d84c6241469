#ifndef QuillmarshEngine_Math_Color4_h
#define QuillmarshEngine_Math_Color4_h

/** @file
 * @brief Class @ref QuillmarshEngine::Math::Color4
 */

#include "QuillmarshEngine/Math/Color3.h"
#include "QuillmarshEngine/Math/Vector4.h"

namespace QuillmarshEngine { namespace Math {

/**
 * @brief Red, green, blue and alpha
 *
 * A @ref Vector4 with colour names; same layout (16 bytes for float). Default-constructed every
 * channel, alpha included, is zero; the constructors that take colour channels default alpha to
 * @ref fullChannel() (opaque).
 */
template<class T> class Color4: public Vector4<T> {
    public:
        /** @brief Every channel zero, transparent black */
        constexpr Color4() noexcept = default;
        /** @brief Every channel zero */
        constexpr explicit Color4(ZeroInitT) noexcept: Vector4<T>{ZeroInit} {}
        /** @brief Uninitialized components */
        explicit Color4(NoInitT) noexcept: Vector4<T>{NoInit} {}
        /** @brief Grey with every colour channel @p rgb */
        constexpr explicit Color4(T rgb, T alpha = fullChannel<T>()) noexcept: Vector4<T>(rgb, rgb, rgb, alpha) {}
        /** @brief Construct from channels */
        constexpr /*implicit*/ Color4(T r, T g, T b, T a = fullChannel<T>()) noexcept: Vector4<T>(r, g, b, a) {}
        /** @brief Construct from a colour and alpha */
        constexpr /*implicit*/ Color4(const Vector<3, T>& rgb, T a = fullChannel<T>()) noexcept: Vector4<T>(rgb, a) {}
        /** @brief Convert from a colour of another channel type, with `static_cast` per channel */
        template<class U> constexpr explicit Color4(const Vector<4, U>& other) noexcept: Vector4<T>(other) {}
        /** @brief From the generic vector */
        constexpr /*implicit*/ Color4(const Vector<4, T>& other) noexcept: Vector4<T>(other) {}

        /** @brief Red, green and blue */
        Color3<T>& rgb() { return *reinterpret_cast<Color3<T>*>(this->data()); }
        constexpr Color3<T> rgb() const { return {(*this)[0], (*this)[1], (*this)[2]}; } /**< @overload */
};

}}

#endif
