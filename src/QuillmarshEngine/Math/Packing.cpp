#include "QuillmarshEngine/Math/Packing.h"

#include <bit>

namespace QuillmarshEngine { namespace Math {

std::uint16_t packHalf(const float value) {
    /* Work on the magnitude and put the sign back at the end */
    std::uint32_t bits = std::bit_cast<std::uint32_t>(value);
    const std::uint32_t sign = bits & 0x80000000u;
    bits ^= sign;

    std::uint16_t out;
    constexpr std::uint32_t FloatInfinity = 255u << 23;
    if(bits >= FloatInfinity) out = bits > FloatInfinity ? 0x7e00 : 0x7c00;
    else {
        /* Drop the mantissa bits below the rounding bit, rebias the exponent from 127 to 15 by
           multiplying with 2^-112 (which also shifts values that become subnormal halves into
           place), then add half a half-ULP: a carry out of the rounding bit rounds the magnitude
           up, so exact ties go away from zero. Anything that lands above the half exponent
           range is infinity. */
        bits &= ~0xfffu;
        bits = std::bit_cast<std::uint32_t>(std::bit_cast<float>(bits)*std::bit_cast<float>(15u << 23));
        bits += 0x1000;
        constexpr std::uint32_t HalfInfinity = 31u << 23;
        if(bits > HalfInfinity) bits = HalfInfinity;
        out = std::uint16_t(bits >> 13);
    }
    return std::uint16_t(out | (sign >> 16));
}

float unpackHalf(const std::uint16_t value) {
    constexpr std::uint32_t ShiftedExponent = 0x7c00u << 13;
    std::uint32_t bits = std::uint32_t(value & 0x7fff) << 13;
    const std::uint32_t exponent = bits & ShiftedExponent;
    /* Rebias the exponent from 15 to 127 */
    bits += (127u - 15u) << 23;
    if(exponent == ShiftedExponent) {
        /* Infinity or NaN: move the exponent all the way up */
        bits += (128u - 16u) << 23;
    } else if(exponent == 0) {
        /* Zero or subnormal: add the implicit one and subtract it again as a float, which
           normalizes the value exactly */
        bits += 1u << 23;
        bits = std::bit_cast<std::uint32_t>(std::bit_cast<float>(bits) - std::bit_cast<float>(113u << 23));
    }
    return std::bit_cast<float>(bits | (std::uint32_t(value & 0x8000) << 16));
}

}}
