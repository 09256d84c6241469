#ifndef QuillmarshEngine_Math_TypeTraits_h
#define QuillmarshEngine_Math_TypeTraits_h

/** @file
 * @brief Class @ref QuillmarshEngine::Math::TypeTraits, fuzzy comparison of scalars
 */

#include <cmath>
#include <type_traits>

namespace QuillmarshEngine { namespace Math {

/**
 * @brief Comparison traits of a scalar type
 *
 * Floating-point values compare fuzzily: `equals(a, b)` is true when `a == b` (so infinities of
 * the same sign and +0 / -0 are equal); otherwise with `d = |a - b|` it is `d < epsilon()` when
 * either value is zero or the difference is already below epsilon (an absolute test), else
 * `d/(|a| + |b|) < epsilon()` (a relative test; the denominator is the sum of the magnitudes).
 * NaN never equals anything. Epsilon is 1e-5 for `float`, 1e-14 for `double` and 1e-17 for an
 * 80-bit `long double`. Integers compare exactly and have epsilon 1.
 */
template<class T> struct TypeTraits {
    static_assert(std::is_arithmetic_v<T>, "Math::TypeTraits: only scalar types have comparison traits");

    /** @brief Comparison epsilon */
    static constexpr T epsilon() {
        if constexpr(std::is_same_v<T, float>) return 1.0e-5f;
        else if constexpr(std::is_same_v<T, double>) return 1.0e-14;
        else if constexpr(std::is_same_v<T, long double>) return sizeof(long double) == sizeof(double) ? 1.0e-14l : 1.0e-17l;
        else return T(1);
    }

    /** @brief Fuzzy equality for floating-point types, exact for integers */
    static constexpr bool equals(T a, T b) {
        if constexpr(std::is_floating_point_v<T>) {
            if(a == b) return true;
            const T absA = a < T(0) ? -a : a;
            const T absB = b < T(0) ? -b : b;
            const T difference = a - b < T(0) ? b - a : a - b;
            if(a == T(0) || b == T(0) || difference < epsilon())
                return difference < epsilon();
            return difference/(absA + absB) < epsilon();
        } else return a == b;
    }

    /**
     * @brief Whether @p a is zero relative to @p magnitude
     *
     * True when @p a is zero or below epsilon, or when `|a|*0.5/magnitude` is below epsilon.
     */
    static constexpr bool equalsZero(T a, T magnitude) {
        if constexpr(std::is_floating_point_v<T>) {
            if(a == T(0)) return true;
            const T absA = a < T(0) ? -a : a;
            if(absA < epsilon()) return true;
            return absA*T(0.5)/magnitude < epsilon();
        } else {
            static_cast<void>(magnitude);
            return a == T(0);
        }
    }
};

/** @brief Fuzzy equality of two scalars, see @ref TypeTraits::equals() */
template<class T> constexpr bool equals(T a, T b) { return TypeTraits<T>::equals(a, b); }

}}

#endif
