#ifndef QuillmarshEngine_Math_DualQuaternion_h
#define QuillmarshEngine_Math_DualQuaternion_h

/** @file
 * @brief Class @ref QuillmarshEngine::Math::DualQuaternion
 */

#include "QuillmarshEngine/Math/Dual.h"
#include "QuillmarshEngine/Math/Matrix4.h"
#include "QuillmarshEngine/Math/Quaternion.h"

namespace QuillmarshEngine { namespace Math {

/**
 * @brief Dual quaternion `q0 + E*qe`, a rotation and a translation
 *
 * Stored real quaternion then dual quaternion, x, y, z, w each (32 bytes for float; this layout is
 * stored in columns and files). A unit dual quaternion with unit real part `r` and translation `t`
 * is `r + E*([t/2, 0]*r)`. Default-constructed it is the identity `[0, 0, 0, 1] + E*[0, 0, 0, 0]`.
 * Functions named `*Normalized()` rely on unit length for speed; their general twins work for any
 * dual quaternion with a non-zero real part. `==` is fuzzy on both parts.
 */
template<class T> class DualQuaternion {
    public:
        typedef T Type; /**< @brief Component type */

        /** @brief Rotation by @p angle radians around @p normalizedAxis, with zero translation */
        static DualQuaternion<T> rotation(T angle, const Vector<3, T>& normalizedAxis) {
            return DualQuaternion<T>{Quaternion<T>::rotation(angle, normalizedAxis)};
        }
        /** @brief Pure rotation, `rotation + E*[0, 0, 0, 0]` */
        static constexpr DualQuaternion<T> fromRotation(const Quaternion<T>& rotation) {
            return DualQuaternion<T>{rotation};
        }
        /** @brief Pure translation, `[0, 0, 0, 1] + E*[vector/2, 0]` */
        static constexpr DualQuaternion<T> translation(const Vector<3, T>& vector) {
            return {{}, {Vector3<T>{vector}/T(2), T(0)}};
        }
        /** @brief Same as @ref translation(const Vector<3, T>&) */
        static constexpr DualQuaternion<T> fromTranslation(const Vector<3, T>& vector) { return translation(vector); }
        /**
         * @brief Rotation followed by translation, `rotation + E*([translation/2, 0]*rotation)`
         *
         * Equals `fromTranslation(translation)*fromRotation(rotation)`.
         */
        static constexpr DualQuaternion<T> from(const Quaternion<T>& rotation, const Vector<3, T>& translation) {
            return {rotation, Quaternion<T>{Vector3<T>{translation}/T(2), T(0)}*rotation};
        }
        /**
         * @brief From a rigid transformation matrix
         *
         * Expects @ref Matrix4::isRigidTransformation(), aborts otherwise.
         */
        static DualQuaternion<T> fromMatrix(const Matrix4<T>& matrix);

        /** @brief Identity */
        constexpr DualQuaternion() noexcept: _real{}, _dual{ZeroInit} {}
        /** @brief Identity */
        constexpr explicit DualQuaternion(IdentityInitT) noexcept: _real{}, _dual{ZeroInit} {}
        /** @brief Every component zero */
        constexpr explicit DualQuaternion(ZeroInitT) noexcept: _real{ZeroInit}, _dual{ZeroInit} {}
        /** @brief Uninitialized */
        explicit DualQuaternion(NoInitT) noexcept: _real{NoInit}, _dual{NoInit} {}
        /** @brief Construct from the real and the dual part */
        constexpr /*implicit*/ DualQuaternion(const Quaternion<T>& real, const Quaternion<T>& dual) noexcept: _real{real}, _dual{dual} {}
        /** @brief Real part @p real, dual part zero */
        constexpr explicit DualQuaternion(const Quaternion<T>& real) noexcept: _real{real}, _dual{ZeroInit} {}
        /** @brief Pure vector `[0, 0, 0, 1] + E*[vector, 0]`, the form of a point being transformed */
        constexpr explicit DualQuaternion(const Vector<3, T>& vector) noexcept: _real{}, _dual{vector, T(0)} {}
        /** @brief Convert from a dual quaternion of another component type */
        template<class U> constexpr explicit DualQuaternion(const DualQuaternion<U>& other) noexcept: _real{Quaternion<T>{other.real()}}, _dual{Quaternion<T>{other.dual()}} {}

        /** @brief Raw data, real x, y, z, w then dual x, y, z, w */
        T* data() { return _real.data(); }
        constexpr const T* data() const { return _real.data(); } /**< @overload */

        /** @brief Real part */
        Quaternion<T>& real() { return _real; }
        constexpr const Quaternion<T>& real() const { return _real; } /**< @overload */
        /** @brief Dual part */
        Quaternion<T>& dual() { return _dual; }
        constexpr const Quaternion<T>& dual() const { return _dual; } /**< @overload */

        /** @brief Fuzzy equality of both parts */
        friend constexpr bool operator==(const DualQuaternion<T>& a, const DualQuaternion<T>& b) {
            return a._real == b._real && a._dual == b._dual;
        }

        /** @brief Squared length, the dual number `dot(q0, q0) + E*2*dot(q0, qe)` */
        constexpr Dual<T> lengthSquared() const {
            return {_real.dot(), T(2)*Math::dot(_real, _dual)};
        }
        /** @brief Length, the dual square root of @ref lengthSquared() */
        Dual<T> length() const { return Math::sqrt(lengthSquared()); }

        /**
         * @brief Whether this is a unit dual quaternion
         *
         * The real part of @ref lengthSquared() is 1 within twice the epsilon and its dual part is
         * zero relative to the largest component of the dual quaternion part.
         */
        bool isNormalized() const;

        /** @brief Unit dual quaternion, `q0/l0 + E*(qe*l0 - q0*le)/(l0*l0)` with `(l0, le) = length()` */
        DualQuaternion<T> normalized() const {
            const Dual<T> l = length();
            return {_real/l.real(), (_dual*l.real() - _real*l.dual())/(l.real()*l.real())};
        }

        /** @brief Quaternion conjugate of both parts, `conj(q0) + E*conj(qe)` */
        constexpr DualQuaternion<T> quaternionConjugated() const { return {_real.conjugated(), _dual.conjugated()}; }
        /** @brief Dual conjugate, `q0 - E*qe` */
        constexpr DualQuaternion<T> dualConjugated() const { return {_real, -_dual}; }
        /** @brief Both conjugates, `conj(q0) + E*[qe.v, -qe.w]` */
        constexpr DualQuaternion<T> conjugated() const { return {_real.conjugated(), {_dual.vector(), -_dual.scalar()}}; }

        /**
         * @brief Inverse of any dual quaternion with a non-zero real part
         *
         * `quaternionConjugated()/lengthSquared()`: with `a = dot(q0, q0)` and `b = 2*dot(q0, qe)`,
         * `conj(q0)/a + E*(conj(qe)*a - conj(q0)*b)/(a*a)`. For unit dual quaternions
         * @ref invertedNormalized() gives the same faster.
         */
        constexpr DualQuaternion<T> inverted() const {
            const T a = _real.dot();
            const T b = T(2)*Math::dot(_real, _dual);
            const Quaternion<T> realConjugate = _real.conjugated();
            return {realConjugate/a, (_dual.conjugated()*a - realConjugate*b)/(a*a)};
        }
        /** @brief Inverse of a unit dual quaternion, @ref quaternionConjugated(); not checked */
        constexpr DualQuaternion<T> invertedNormalized() const { return quaternionConjugated(); }

        /** @brief Rotation part, the real quaternion as it is (not normalized) */
        constexpr Quaternion<T> rotation() const { return _real; }
        /** @brief Translation part of a unit dual quaternion, `2*(qe*conj(q0)).v` */
        constexpr Vector3<T> translation() const { return (_dual*_real.conjugated()).vector()*T(2); }

        /** @brief Transformation matrix, `Matrix4::from(q0.toMatrix(), translation())` */
        constexpr Matrix4<T> toMatrix() const { return Matrix4<T>::from(_real.toMatrix(), translation()); }

        /** @brief Vector rotated (without translation) by any non-zero real part */
        constexpr Vector3<T> transformVector(const Vector<3, T>& vector) const { return _real.transformVector(vector); }
        /** @brief Vector rotated (without translation) by a unit real part; not checked */
        constexpr Vector3<T> transformVectorNormalized(const Vector<3, T>& vector) const { return _real.transformVectorNormalized(vector); }

        /**
         * @brief Point rotated and translated
         *
         * The vector part of the dual part of `Q*([0, 0, 0, 1] + E*[p, 0])*dualConjugated(Q.inverted())`;
         * works for non-unit dual quaternions.
         */
        constexpr Vector3<T> transformPoint(const Vector<3, T>& point) const {
            return ((*this)*DualQuaternion<T>{point}*inverted().dualConjugated()).dual().vector();
        }
        /** @brief Point rotated and translated by a unit dual quaternion, using @ref conjugated(); not checked */
        constexpr Vector3<T> transformPointNormalized(const Vector<3, T>& point) const {
            return ((*this)*DualQuaternion<T>{point}*conjugated()).dual().vector();
        }

        /** @brief Sum */
        constexpr DualQuaternion<T> operator+(const DualQuaternion<T>& other) const { return {_real + other._real, _dual + other._dual}; }
        /** @brief Difference */
        constexpr DualQuaternion<T> operator-(const DualQuaternion<T>& other) const { return {_real - other._real, _dual - other._dual}; }
        /** @brief Negation */
        constexpr DualQuaternion<T> operator-() const { return {-_real, -_dual}; }
        /** @brief Both parts multiplied by a number */
        constexpr DualQuaternion<T> operator*(T scalar) const { return {_real*scalar, _dual*scalar}; }
        /** @brief Both parts divided by a number */
        constexpr DualQuaternion<T> operator/(T scalar) const { return {_real/scalar, _dual/scalar}; }

        /**
         * @brief Product, `q0*p0 + E*(q0*pe + qe*p0)`
         *
         * Applying the result transforms by @p other first, then by this.
         */
        constexpr DualQuaternion<T> operator*(const DualQuaternion<T>& other) const {
            return {_real*other._real, _real*other._dual + _dual*other._real};
        }

    private:
        Quaternion<T> _real;
        Quaternion<T> _dual;
};

/** @brief Number times dual quaternion */
template<class T> constexpr DualQuaternion<T> operator*(T scalar, const DualQuaternion<T>& value) { return value*scalar; }

template<class T> bool DualQuaternion<T>::isNormalized() const {
    const Dual<T> l = lengthSquared();
    const T realDifference = l.real() - T(1);
    const Vector4<T> dualAbs = abs(Vector4<T>{_dual.x(), _dual.y(), _dual.z(), _dual.w()});
    return (realDifference < T(0) ? -realDifference : realDifference) < T(2)*TypeTraits<T>::epsilon() &&
        TypeTraits<T>::equalsZero(l.dual(), dualAbs.max());
}

template<class T> DualQuaternion<T> DualQuaternion<T>::fromMatrix(const Matrix4<T>& matrix) {
    QUILLMARSH_ASSERT(matrix.isRigidTransformation(),
        "Math::DualQuaternion::fromMatrix(): the matrix doesn't represent a rigid transformation", {});
    const Quaternion<T> rotation = Quaternion<T>::fromMatrix(matrix.rotationScaling());
    return {rotation, Quaternion<T>{matrix.translation()/T(2), T(0)}*rotation};
}

/** @brief Prints `DualQuaternion({{x, y, z}, w}, {{x, y, z}, w})`; instantiated for float and double */
template<class T> QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, const DualQuaternion<T>& value);

}}

#endif
