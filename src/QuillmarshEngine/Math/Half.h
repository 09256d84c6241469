#ifndef QuillmarshEngine_Math_Half_h
#define QuillmarshEngine_Math_Half_h

/** @file
 * @brief Class @ref QuillmarshEngine::Math::Half
 */

#include <cstdint>

#include "QuillmarshEngine/Math/Packing.h"

namespace QuillmarshEngine { namespace Math {

/**
 * @brief IEEE half-precision float, for storage
 *
 * Holds the 16 bits and converts with @ref packHalf() and @ref unpackHalf(); no arithmetic.
 * Comparison is exact on the bits, except that a NaN equals nothing: +0 and -0 differ as halves.
 * Default-constructed it is +0.
 */
class Half {
    public:
        /** @brief Positive zero */
        constexpr Half() noexcept: _data{} {}
        /** @brief From the raw bits */
        constexpr explicit Half(std::uint16_t data) noexcept: _data{data} {}
        /** @brief From a float, rounded as @ref packHalf() does */
        explicit Half(float value) noexcept: _data{packHalf(value)} {}

        /** @brief Raw bits */
        constexpr std::uint16_t data() const { return _data; }
        /** @brief Value as a float, exact */
        explicit operator float() const { return unpackHalf(_data); }

        /** @brief Bitwise equality; false when either is a NaN */
        friend constexpr bool operator==(Half a, Half b) {
            return !a.isNan() && !b.isNan() && a._data == b._data;
        }

        /** @brief Same value with the sign flipped */
        constexpr Half operator-() const { return Half{std::uint16_t(_data ^ 0x8000)}; }

    private:
        constexpr bool isNan() const { return (_data & 0x7c00) == 0x7c00 && (_data & 0x03ff) != 0; }

        std::uint16_t _data;
};

/** @brief Prints the value as a float with four significant digits */
QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, Half value);

}}

#endif
