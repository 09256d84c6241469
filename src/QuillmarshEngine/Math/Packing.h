#ifndef QuillmarshEngine_Math_Packing_h
#define QuillmarshEngine_Math_Packing_h

/** @file
 * @brief Half-float and normalized-integer packing: @ref QuillmarshEngine::Math::packHalf(),
 *      @ref QuillmarshEngine::Math::unpackHalf(), @ref QuillmarshEngine::Math::pack(),
 *      @ref QuillmarshEngine::Math::unpack()
 *
 * These conversions produce the bytes of vertex and animation records, which other programs read,
 * so their rounding is fixed exactly as documented here.
 */

#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>

#include "QuillmarshEngine/visibility.h"
#include "QuillmarshEngine/Math/Vector.h"

namespace QuillmarshEngine { namespace Math {

/**
 * @brief Float to IEEE half-precision bits
 *
 * Rounds to the nearest half; a float exactly halfway between two halves rounds away from zero
 * (not to even). Magnitudes of 65520 and above become infinity (65504 is the largest finite half),
 * magnitudes below 2^-25 become zero and exactly 2^-25 the smallest subnormal; subnormal halves are
 * produced with gradual underflow. Any NaN becomes the quiet NaN `0x7e00` (payload dropped). The
 * sign is always kept, so -0.0f gives `0x8000`.
 */
QUILLMARSH_EXPORT std::uint16_t packHalf(float value);

/**
 * @brief IEEE half-precision bits to float
 *
 * Exact for every half, subnormals included; infinities stay infinities and NaNs stay NaN with the
 * payload moved to the high mantissa bits.
 */
QUILLMARSH_EXPORT float unpackHalf(std::uint16_t value);

/** @brief @ref packHalf() of every component */
template<std::size_t size> Vector<size, std::uint16_t> packHalf(const Vector<size, float>& value) {
    Vector<size, std::uint16_t> out{NoInit};
    for(std::size_t i = 0; i != size; ++i) out[i] = packHalf(value[i]);
    return out;
}

/** @brief @ref unpackHalf() of every component */
template<std::size_t size> Vector<size, float> unpackHalf(const Vector<size, std::uint16_t>& value) {
    Vector<size, float> out{NoInit};
    for(std::size_t i = 0; i != size; ++i) out[i] = unpackHalf(value[i]);
    return out;
}

/**
 * @brief Largest value of a normalized integer type
 *
 * 255 for unsigned 8-bit, 127 for signed 8-bit, 65535 and 32767 for 16-bit, and so on: the integer
 * that represents 1.0.
 */
template<class Integral> constexpr Integral bitMax() {
    static_assert(std::is_integral_v<Integral>, "Math::bitMax(): only integer types are normalized");
    return std::numeric_limits<Integral>::max();
}

/**
 * @brief Normalized integer to floating point
 *
 * Unsigned: `x/bitMax`, so 0 gives 0 and the maximum gives 1. Signed: `max(x/bitMax, -1)`, so both
 * the minimum and the minimum + 1 give -1 (-32768 and -32767 for 16-bit). The division is done in
 * @p FloatingPoint. @p Integral may be a scalar or a @ref Vector, @p FloatingPoint likewise.
 */
template<class FloatingPoint, class Integral> FloatingPoint unpack(const Integral& value) {
    if constexpr(std::is_arithmetic_v<Integral>) {
        static_assert(std::is_floating_point_v<FloatingPoint> && std::is_integral_v<Integral>,
            "Math::unpack(): converts an integer to a floating-point value");
        const FloatingPoint out = FloatingPoint(value)/FloatingPoint(bitMax<Integral>());
        if constexpr(std::is_signed_v<Integral>)
            return out < FloatingPoint(-1) ? FloatingPoint(-1) : out;
        else return out;
    } else {
        static_assert(std::size_t(FloatingPoint::Size) == std::size_t(Integral::Size),
            "Math::unpack(): the vectors differ in size");
        FloatingPoint out{NoInit};
        for(std::size_t i = 0; i != Integral::Size; ++i)
            out[i] = unpack<typename FloatingPoint::Type>(value[i]);
        return out;
    }
}

/**
 * @brief Floating point to normalized integer
 *
 * `Integral(round(value*bitMax))`, the product in @p FloatingPoint and `round` rounding half away
 * from zero: 0.5 packs to 128 as unsigned 8-bit and to 32768 as unsigned 16-bit, -1 to -32767 as
 * signed 16-bit (never -32768). Input outside the representable range, [0, 1] for unsigned and
 * [-1, 1] for signed types, is clamped to it first; NaN packs to 0. @p Integral may be a scalar
 * or a @ref Vector, @p FloatingPoint likewise.
 */
template<class Integral, class FloatingPoint> Integral pack(const FloatingPoint& value) {
    if constexpr(std::is_arithmetic_v<FloatingPoint>) {
        static_assert(std::is_floating_point_v<FloatingPoint> && std::is_integral_v<Integral>,
            "Math::pack(): converts a floating-point value to an integer");
        constexpr FloatingPoint low = std::is_signed_v<Integral> ? FloatingPoint(-1) : FloatingPoint(0);
        if(!(value == value)) return Integral(0);
        const FloatingPoint clamped = value < low ? low : (FloatingPoint(1) < value ? FloatingPoint(1) : value);
        const FloatingPoint rounded = std::round(clamped*FloatingPoint(bitMax<Integral>()));
        /* A 32-bit maximum is not representable in float and rounds up past the integer range */
        return rounded >= FloatingPoint(bitMax<Integral>()) ? bitMax<Integral>() : Integral(rounded);
    } else {
        static_assert(std::size_t(FloatingPoint::Size) == std::size_t(Integral::Size),
            "Math::pack(): the vectors differ in size");
        Integral out{NoInit};
        for(std::size_t i = 0; i != FloatingPoint::Size; ++i)
            out[i] = pack<typename Integral::Type>(value[i]);
        return out;
    }
}

}}

#endif
