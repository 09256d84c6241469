#ifndef QuillmarshEngine_Math_Constants_h
#define QuillmarshEngine_Math_Constants_h

/** @file
 * @brief Struct @ref QuillmarshEngine::Math::Constants, angle conversions
 */

namespace QuillmarshEngine { namespace Math {

/** @brief Mathematical constants */
template<class T> struct Constants {
    /** @brief Pi */
    static constexpr T pi() { return T(3.141592653589793238462643383279502884L); }
    /** @brief Two times pi */
    static constexpr T tau() { return T(6.283185307179586476925286766559005768L); }
    /** @brief Square root of two */
    static constexpr T sqrt2() { return T(1.414213562373095048801688724209698079L); }
    /** @brief Square root of a half */
    static constexpr T sqrtHalf() { return T(0.707106781186547524400844362104849039L); }
};

/**
 * @brief Degrees to radians
 *
 * Multiplies by 3.1415927/180 in @p T, the conversion the stored angles of the scene data expect.
 */
template<class T> constexpr T radians(T degrees) { return degrees*(Constants<T>::pi()/T(180)); }

/** @brief Radians to degrees */
template<class T> constexpr T degrees(T radians) { return radians*(T(180)/Constants<T>::pi()); }

}}

#endif
