#ifndef QuillmarshEngine_Math_Dual_h
#define QuillmarshEngine_Math_Dual_h

/** @file
 * @brief Class @ref QuillmarshEngine::Math::Dual
 */

#include <cmath>

#include "QuillmarshEngine/visibility.h"
#include "QuillmarshEngine/Math/Tags.h"
#include "QuillmarshEngine/Math/TypeTraits.h"
#include "QuillmarshEngine/Math/Types.h"

namespace QuillmarshEngine {

class Debug;

namespace Math {

/**
 * @brief Dual number `a + E*b` with `E*E = 0`
 *
 * Stored real part, then dual part. The length of a @ref DualQuaternion is one. Default-constructed
 * it is zero.
 */
template<class T> class Dual {
    public:
        typedef T Type; /**< @brief Component type */

        /** @brief Zero */
        constexpr Dual() noexcept: _real{}, _dual{} {}
        /** @brief Zero */
        constexpr explicit Dual(ZeroInitT) noexcept: _real{}, _dual{} {}
        /** @brief Construct from the real and the dual part */
        constexpr /*implicit*/ Dual(T real, T dual = T(0)) noexcept: _real{real}, _dual{dual} {}

        /** @brief Real part */
        constexpr T real() const { return _real; }
        /** @brief Dual part */
        constexpr T dual() const { return _dual; }

        /** @brief Fuzzy equality of both parts */
        friend constexpr bool operator==(const Dual<T>& a, const Dual<T>& b) {
            return TypeTraits<T>::equals(a._real, b._real) && TypeTraits<T>::equals(a._dual, b._dual);
        }

        /** @brief Sum */
        constexpr Dual<T> operator+(const Dual<T>& other) const { return {_real + other._real, _dual + other._dual}; }
        /** @brief Difference */
        constexpr Dual<T> operator-(const Dual<T>& other) const { return {_real - other._real, _dual - other._dual}; }
        /** @brief Negation */
        constexpr Dual<T> operator-() const { return {-_real, -_dual}; }
        /** @brief Product, `(a0*b0, a0*be + ae*b0)` */
        constexpr Dual<T> operator*(const Dual<T>& other) const {
            return {_real*other._real, _real*other._dual + _dual*other._real};
        }
        /** @brief Quotient, `(a0/b0, (ae*b0 - a0*be)/(b0*b0))` */
        constexpr Dual<T> operator/(const Dual<T>& other) const {
            return {_real/other._real, (_dual*other._real - _real*other._dual)/(other._real*other._real)};
        }
        /** @brief Dual conjugate `(a0, -ae)` */
        constexpr Dual<T> conjugated() const { return {_real, -_dual}; }

    private:
        T _real, _dual;
};

/** @brief Square root, `(sqrt(a0), ae/(2*sqrt(a0)))` */
template<class T> Dual<T> sqrt(const Dual<T>& value) {
    const T root = T(std::sqrt(value.real()));
    return {root, value.dual()/(T(2)*root)};
}

/** @brief Prints `Dual(real, dual)`; instantiated for float and double */
template<class T> QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, const Dual<T>& value);

}}

#endif
