#ifndef QuillmarshEngine_Math_Quaternion_h
#define QuillmarshEngine_Math_Quaternion_h

/** @file
 * @brief Class @ref QuillmarshEngine::Math::Quaternion, quaternion interpolation
 */

#include "QuillmarshEngine/Assert.h"
#include "QuillmarshEngine/Math/Matrix.h"

namespace QuillmarshEngine { namespace Math {

/**
 * @brief Quaternion `[v, w]`
 *
 * Stored x, y, z, w: the vector part then the scalar part (16 bytes for float). Default-constructed
 * it is the identity rotation `[0, 0, 0, 1]`. Unit quaternions represent rotations; functions named
 * `*Normalized()` rely on unit length for speed and give wrong results otherwise, their general
 * twins work for any non-zero quaternion. `==` compares the vector part and the scalar fuzzily.
 */
template<class T> class Quaternion {
    public:
        typedef T Type; /**< @brief Component type */

        /**
         * @brief Rotation by @p angle radians counter-clockwise around @p normalizedAxis
         *
         * `[axis*sin(angle/2), cos(angle/2)]`. Expects the axis to be normalized, aborts otherwise.
         */
        static Quaternion<T> rotation(T angle, const Vector<3, T>& normalizedAxis) {
            QUILLMARSH_ASSERT(normalizedAxis.isNormalized(), "Math::Quaternion::rotation(): axis" << normalizedAxis << "is not normalized", {});
            return {Vector3<T>{normalizedAxis}*T(std::sin(angle*T(0.5))), T(std::cos(angle*T(0.5)))};
        }

        /**
         * @brief Shortest rotation taking @p normalizedFrom to @p normalizedTo
         *
         * Identity for (nearly) equal directions; for opposite directions a half turn around an
         * axis perpendicular to @p normalizedFrom. Expects both vectors normalized, aborts otherwise.
         */
        static Quaternion<T> rotation(const Vector<3, T>& normalizedFrom, const Vector<3, T>& normalizedTo);

        /**
         * @brief Rotation quaternion of a rotation matrix
         *
         * Expects @p matrix to be a rotation (determinant 1 within three epsilons), aborts otherwise.
         */
        static Quaternion<T> fromMatrix(const Matrix<3, T>& matrix);

        /** @brief Identity rotation `[0, 0, 0, 1]` */
        constexpr Quaternion() noexcept: _vector{}, _scalar{T(1)} {}
        /** @brief Identity rotation */
        constexpr explicit Quaternion(IdentityInitT) noexcept: _vector{}, _scalar{T(1)} {}
        /** @brief Zero quaternion `[0, 0, 0, 0]` */
        constexpr explicit Quaternion(ZeroInitT) noexcept: _vector{}, _scalar{} {}
        /** @brief Uninitialized */
        explicit Quaternion(NoInitT) noexcept: _vector{NoInit} {}
        /** @brief Construct from the vector and the scalar part */
        constexpr /*implicit*/ Quaternion(const Vector<3, T>& vector, T scalar) noexcept: _vector{vector}, _scalar{scalar} {}
        /** @brief Pure quaternion `[vector, 0]` */
        constexpr explicit Quaternion(const Vector<3, T>& vector) noexcept: _vector{vector}, _scalar{T(0)} {}
        /** @brief Convert from a quaternion of another component type */
        template<class U> constexpr explicit Quaternion(const Quaternion<U>& other) noexcept: _vector{Vector3<T>{other.vector()}}, _scalar{T(other.scalar())} {}

        /** @brief Raw data, x, y, z, w */
        T* data() { return _vector.data(); }
        constexpr const T* data() const { return _vector.data(); } /**< @overload */

        /** @brief Vector part */
        Vector3<T>& vector() { return _vector; }
        constexpr const Vector3<T>& vector() const { return _vector; } /**< @overload */
        /** @brief Scalar part */
        T& scalar() { return _scalar; }
        constexpr T scalar() const { return _scalar; } /**< @overload */
        /** @brief X of the vector part */
        constexpr T x() const { return _vector[0]; }
        /** @brief Y of the vector part */
        constexpr T y() const { return _vector[1]; }
        /** @brief Z of the vector part */
        constexpr T z() const { return _vector[2]; }
        /** @brief Scalar part */
        constexpr T w() const { return _scalar; }

        /** @brief Fuzzy equality of the vector parts and the scalars */
        friend constexpr bool operator==(const Quaternion<T>& a, const Quaternion<T>& b) {
            return a._vector == b._vector && TypeTraits<T>::equals(a._scalar, b._scalar);
        }

        /** @brief Whether the squared length is 1 within twice the epsilon */
        bool isNormalized() const {
            const T d = dot() - T(1);
            return (d < T(0) ? -d : d) < T(2)*TypeTraits<T>::epsilon();
        }

        /** @brief Dot product with itself, `dot(v, v) + w*w` */
        constexpr T dot() const { return _vector.dot() + _scalar*_scalar; }
        /** @brief Length */
        T length() const { return T(std::sqrt(dot())); }
        /** @brief Unit quaternion, the quaternion divided by its length */
        Quaternion<T> normalized() const { return *this/length(); }

        /** @brief Conjugate `[-v, w]` */
        constexpr Quaternion<T> conjugated() const { return {-_vector, _scalar}; }
        /** @brief Inverse of any non-zero quaternion, `conjugated()/dot()` */
        constexpr Quaternion<T> inverted() const { return conjugated()/dot(); }
        /** @brief Inverse of a unit quaternion, its conjugate */
        constexpr Quaternion<T> invertedNormalized() const { return conjugated(); }

        /** @brief Rotation angle of a unit quaternion in radians, `2*acos(w)` */
        T angle() const { return T(2)*T(std::acos(_scalar)); }
        /** @brief Rotation axis of a unit quaternion, `v/sqrt(1 - w*w)`; NaN for the identity */
        Vector3<T> axis() const { return _vector/T(std::sqrt(T(1) - _scalar*_scalar)); }

        /**
         * @brief Rotation matrix
         *
         * Column-major 3x3 matrix; no normalization is done, so a non-unit quaternion gives a
         * matrix that is not a rotation.
         */
        constexpr Matrix<3, T> toMatrix() const {
            const T x = _vector[0], y = _vector[1], z = _vector[2], w = _scalar;
            return {Vector3<T>{T(1) - T(2)*y*y - T(2)*z*z, T(2)*x*y + T(2)*z*w, T(2)*x*z - T(2)*y*w},
                    Vector3<T>{T(2)*x*y - T(2)*z*w, T(1) - T(2)*x*x - T(2)*z*z, T(2)*y*z + T(2)*x*w},
                    Vector3<T>{T(2)*x*z + T(2)*y*w, T(2)*y*z - T(2)*x*w, T(1) - T(2)*x*x - T(2)*y*y}};
        }

        /** @brief Vector rotated by any non-zero quaternion, `(q*[v, 0]*q.inverted()).v` */
        constexpr Vector3<T> transformVector(const Vector<3, T>& vector) const;

        /**
         * @brief Vector rotated by a unit quaternion
         *
         * `t = 2*cross(v, x)`, result `x + w*t + cross(v, t)`. Faster than
         * @ref transformVector(); expects a unit quaternion, which is not checked.
         */
        constexpr Vector3<T> transformVectorNormalized(const Vector<3, T>& vector) const;

        /** @brief Add component-wise */
        constexpr Quaternion<T>& operator+=(const Quaternion<T>& other) {
            _vector += other._vector;
            _scalar += other._scalar;
            return *this;
        }
        /** @brief Subtract component-wise */
        constexpr Quaternion<T>& operator-=(const Quaternion<T>& other) {
            _vector -= other._vector;
            _scalar -= other._scalar;
            return *this;
        }
        /** @brief Multiply by a number */
        constexpr Quaternion<T>& operator*=(T scalar) {
            _vector *= scalar;
            _scalar *= scalar;
            return *this;
        }
        /** @brief Divide by a number */
        constexpr Quaternion<T>& operator/=(T scalar) {
            _vector /= scalar;
            _scalar /= scalar;
            return *this;
        }

        /** @brief Sum */
        constexpr Quaternion<T> operator+(const Quaternion<T>& other) const { return Quaternion<T>{*this} += other; }
        /** @brief Difference */
        constexpr Quaternion<T> operator-(const Quaternion<T>& other) const { return Quaternion<T>{*this} -= other; }
        /** @brief Negated quaternion */
        constexpr Quaternion<T> operator-() const { return {-_vector, -_scalar}; }
        /** @brief Multiplied by a number */
        constexpr Quaternion<T> operator*(T scalar) const { return Quaternion<T>{*this} *= scalar; }
        /** @brief Divided by a number */
        constexpr Quaternion<T> operator/(T scalar) const { return Quaternion<T>{*this} /= scalar; }

        /**
         * @brief Hamilton product
         *
         * `[p.w*q.v + q.w*p.v + cross(p.v, q.v), p.w*q.w - dot(p.v, q.v)]`; applying the result
         * rotates by @p other first, then by this.
         */
        constexpr Quaternion<T> operator*(const Quaternion<T>& other) const {
            return {(_scalar*other._vector + other._scalar*_vector) + cross(_vector, other._vector),
                    _scalar*other._scalar - Math::dot(_vector, other._vector)};
        }

    private:
        Vector3<T> _vector;
        T _scalar;
};

/** @brief Number times quaternion */
template<class T> constexpr Quaternion<T> operator*(T scalar, const Quaternion<T>& quaternion) { return quaternion*scalar; }
/** @brief Number divided by every component */
template<class T> constexpr Quaternion<T> operator/(T scalar, const Quaternion<T>& quaternion) {
    return {scalar/quaternion.vector(), scalar/quaternion.scalar()};
}

/** @brief Dot product, `dot(p.v, q.v) + p.w*q.w` */
template<class T> constexpr T dot(const Quaternion<T>& a, const Quaternion<T>& b) {
    return dot(a.vector(), b.vector()) + a.scalar()*b.scalar();
}

template<class T> constexpr Vector3<T> Quaternion<T>::transformVector(const Vector<3, T>& vector) const {
    return ((*this)*Quaternion<T>{vector}*inverted()).vector();
}

template<class T> constexpr Vector3<T> Quaternion<T>::transformVectorNormalized(const Vector<3, T>& vector) const {
    const Vector3<T> t = T(2)*cross(_vector, vector);
    return (Vector3<T>{vector} + _scalar*t) + cross(_vector, t);
}

/**
 * @brief Angle between two unit quaternions, `acos(clamp(dot(a, b), -1, 1))`
 *
 * Half of the rotation angle between them.
 */
template<class T> T halfAngle(const Quaternion<T>& normalizedA, const Quaternion<T>& normalizedB) {
    return T(std::acos(clamp(dot(normalizedA, normalizedB), T(-1), T(1))));
}

/**
 * @brief Normalized linear interpolation
 *
 * `normalize((1 - t)*a + t*b)`. Not along the shortest path: see @ref lerpShortestPath().
 * Expects both quaternions normalized, aborts otherwise.
 */
template<class T> Quaternion<T> lerp(const Quaternion<T>& normalizedA, const Quaternion<T>& normalizedB, T t);

/** @brief Normalized linear interpolation along the shortest path: @p normalizedA is negated first when the dot product is negative */
template<class T> Quaternion<T> lerpShortestPath(const Quaternion<T>& normalizedA, const Quaternion<T>& normalizedB, T t);

/**
 * @brief Spherical linear interpolation
 *
 * With `d = dot(a, b)`: when `|d| > 1 - epsilon/2` the quaternions are nearly parallel and the
 * result is `(1 - t)*a' + t*b`, unnormalized, where `a'` is `a` negated if `d < 0`; otherwise with
 * `angle = acos(d)` it is `(sin((1 - t)*angle)*a + sin(t*angle)*b)/sin(angle)`, not along the
 * shortest path. Expects both quaternions normalized, aborts otherwise.
 */
template<class T> Quaternion<T> slerp(const Quaternion<T>& normalizedA, const Quaternion<T>& normalizedB, T t);

/**
 * @brief Spherical linear interpolation along the shortest path
 *
 * `a` is negated when the dot product is negative; when the absolute dot product is at least
 * `1 - epsilon` the result is the unnormalized linear interpolation. Expects both quaternions
 * normalized, aborts otherwise.
 */
template<class T> Quaternion<T> slerpShortestPath(const Quaternion<T>& normalizedA, const Quaternion<T>& normalizedB, T t);

template<class T> Quaternion<T> Quaternion<T>::rotation(const Vector<3, T>& normalizedFrom, const Vector<3, T>& normalizedTo) {
    QUILLMARSH_ASSERT(normalizedFrom.isNormalized() && normalizedTo.isNormalized(),
        "Math::Quaternion::rotation(): vectors" << normalizedFrom << "and" << normalizedTo << "are not normalized", {});
    const T cosine = Math::dot(normalizedFrom, normalizedTo);
    if(cosine > T(1) - TypeTraits<T>::epsilon()) return {};
    if(cosine < T(-1) + TypeTraits<T>::epsilon()) {
        Vector3<T> axis = cross(Vector3<T>::yAxis(), normalizedFrom);
        if(axis.dot() < TypeTraits<T>::epsilon()) axis = cross(Vector3<T>::xAxis(), normalizedFrom);
        return {axis.normalized(), T(0)};
    }
    const T s = T(std::sqrt(T(2)*(T(1) + cosine)));
    return {cross(normalizedFrom, normalizedTo)/s, T(0.5)*s};
}

template<class T> Quaternion<T> Quaternion<T>::fromMatrix(const Matrix<3, T>& matrix) {
    const T det = matrix.determinant();
    QUILLMARSH_ASSERT((det - T(1) < T(0) ? T(1) - det : det - T(1)) < T(3)*TypeTraits<T>::epsilon(),
        "Math::Quaternion::fromMatrix(): the matrix is not a rotation, determinant" << det, {});
    const T trace = matrix[0][0] + matrix[1][1] + matrix[2][2];
    if(trace > T(0)) {
        const T s = T(std::sqrt(trace + T(1)));
        const T t = T(0.5)/s;
        return {Vector3<T>{matrix[1][2] - matrix[2][1], matrix[2][0] - matrix[0][2], matrix[0][1] - matrix[1][0]}*t, T(0.5)*s};
    }
    /* The largest diagonal element, ties keep the lower index */
    std::size_t i = 0;
    if(matrix[1][1] > matrix[0][0]) i = 1;
    if(matrix[2][2] > matrix[i][i]) i = 2;
    const std::size_t j = (i + 1) % 3;
    const std::size_t k = (i + 2) % 3;
    const T s = T(std::sqrt(matrix[i][i] - matrix[j][j] - matrix[k][k] + T(1)));
    const T t = s == T(0) ? T(0) : T(0.5)/s;
    Vector3<T> vector{NoInit};
    vector[i] = T(0.5)*s;
    vector[j] = (matrix[i][j] + matrix[j][i])*t;
    vector[k] = (matrix[i][k] + matrix[k][i])*t;
    return {vector, (matrix[j][k] - matrix[k][j])*t};
}

template<class T> Quaternion<T> lerp(const Quaternion<T>& normalizedA, const Quaternion<T>& normalizedB, const T t) {
    QUILLMARSH_ASSERT(normalizedA.isNormalized() && normalizedB.isNormalized(),
        "Math::lerp(): quaternions" << normalizedA << "and" << normalizedB << "are not normalized", {});
    return ((T(1) - t)*normalizedA + t*normalizedB).normalized();
}

template<class T> Quaternion<T> lerpShortestPath(const Quaternion<T>& normalizedA, const Quaternion<T>& normalizedB, const T t) {
    return lerp(dot(normalizedA, normalizedB) < T(0) ? -normalizedA : normalizedA, normalizedB, t);
}

template<class T> Quaternion<T> slerp(const Quaternion<T>& normalizedA, const Quaternion<T>& normalizedB, const T t) {
    QUILLMARSH_ASSERT(normalizedA.isNormalized() && normalizedB.isNormalized(),
        "Math::slerp(): quaternions" << normalizedA << "and" << normalizedB << "are not normalized", {});
    const T cosHalfAngle = dot(normalizedA, normalizedB);
    /* Nearly parallel: the sine below would be close to zero */
    if((cosHalfAngle < T(0) ? -cosHalfAngle : cosHalfAngle) > T(1) - T(0.5)*TypeTraits<T>::epsilon()) {
        const Quaternion<T> a = cosHalfAngle < T(0) ? -normalizedA : normalizedA;
        return (T(1) - t)*a + t*normalizedB;
    }
    const T halfAngle = T(std::acos(cosHalfAngle));
    return (T(std::sin((T(1) - t)*halfAngle))*normalizedA + T(std::sin(t*halfAngle))*normalizedB)/T(std::sin(halfAngle));
}

template<class T> Quaternion<T> slerpShortestPath(const Quaternion<T>& normalizedA, const Quaternion<T>& normalizedB, const T t) {
    QUILLMARSH_ASSERT(normalizedA.isNormalized() && normalizedB.isNormalized(),
        "Math::slerpShortestPath(): quaternions" << normalizedA << "and" << normalizedB << "are not normalized", {});
    const T cosHalfAngle = dot(normalizedA, normalizedB);
    const Quaternion<T> a = cosHalfAngle < T(0) ? -normalizedA : normalizedA;
    const T absCos = cosHalfAngle < T(0) ? -cosHalfAngle : cosHalfAngle;
    if(absCos >= T(1) - TypeTraits<T>::epsilon())
        return (T(1) - t)*a + t*normalizedB;
    const T halfAngle = T(std::acos(absCos));
    return (T(std::sin((T(1) - t)*halfAngle))*a + T(std::sin(t*halfAngle))*normalizedB)/T(std::sin(halfAngle));
}

/** @brief Prints `Quaternion({x, y, z}, w)`; instantiated for float and double */
template<class T> QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, const Quaternion<T>& value);

}}

#endif
