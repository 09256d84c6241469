#ifndef QuillmarshEngine_Math_Vector_h
#define QuillmarshEngine_Math_Vector_h

/** @file
 * @brief Class @ref QuillmarshEngine::Math::Vector, the component-wise vector operations
 */

#include <cmath>
#include <cstddef>
#include <type_traits>

#include "QuillmarshEngine/visibility.h"
#include "QuillmarshEngine/Math/Tags.h"
#include "QuillmarshEngine/Math/TypeTraits.h"
#include "QuillmarshEngine/Math/Types.h"

namespace QuillmarshEngine {

class Debug;

namespace Math {

/**
 * @brief Vector of @p size components of type @p T
 *
 * Plain storage of exactly @p size values of @p T, in order, with no padding: the layout is part
 * of the file formats (a `Vector3<float>` is 12 bytes). Default-constructed vectors are zero;
 * @ref NoInit leaves the components uninitialized. Comparison with `==` is fuzzy for floating-point
 * types (see @ref TypeTraits) and exact for integers.
 *
 * Arithmetic operators are component-wise and keep the type of the left operand, so a sum of two
 * @ref Vector3 is a @ref Vector3 and a @ref Color4 scaled by a number stays a @ref Color4.
 * The subclasses @ref Vector2, @ref Vector3, @ref Vector4, @ref Color3 and @ref Color4 add named
 * accessors and constructors only.
 */
template<std::size_t size, class T> class Vector {
    static_assert(size != 0, "Math::Vector: a vector needs at least one component");

    public:
        typedef T Type;                 /**< @brief Component type */
        enum: std::size_t { Size = size /**< @brief Component count */ };

        /** @brief Reinterpret @p size values at @p data as a vector */
        static Vector<size, T>& from(T* data) { return *reinterpret_cast<Vector<size, T>*>(data); }
        /** @overload */
        static const Vector<size, T>& from(const T* data) { return *reinterpret_cast<const Vector<size, T>*>(data); }

        /** @brief Zero vector */
        constexpr Vector() noexcept: _data{} {}
        /** @brief Zero vector */
        constexpr explicit Vector(ZeroInitT) noexcept: _data{} {}
        /** @brief Uninitialized components */
        explicit Vector(NoInitT) noexcept {}

        /** @brief Construct from components */
        template<class ...U> requires(sizeof...(U) + 1 == size)
        constexpr /*implicit*/ Vector(T first, U... next) noexcept: _data{first, T(next)...} {}

        /** @brief Every component set to @p value */
        constexpr explicit Vector(T value) noexcept requires(size > 1): _data{} {
            for(std::size_t i = 0; i != size; ++i) _data[i] = value;
        }

        /** @brief Convert from a vector of another component type, with `static_cast` per component */
        template<class U> constexpr explicit Vector(const Vector<size, U>& other) noexcept: _data{} {
            for(std::size_t i = 0; i != size; ++i) _data[i] = T(other[i]);
        }

        /** @brief Raw data, @p size values */
        T* data() { return _data; }
        constexpr const T* data() const { return _data; } /**< @overload */

        /** @brief Component at @p i, expects @p i < @p size */
        constexpr T& operator[](std::size_t i) { return _data[i]; }
        constexpr T operator[](std::size_t i) const { return _data[i]; } /**< @overload */

        /** @brief Fuzzy (floating-point) or exact (integer) equality of every component */
        friend constexpr bool operator==(const Vector<size, T>& a, const Vector<size, T>& b) {
            for(std::size_t i = 0; i != size; ++i)
                if(!TypeTraits<T>::equals(a._data[i], b._data[i])) return false;
            return true;
        }

        /** @brief Whether every component equals zero, fuzzily for floating-point types */
        constexpr bool isZero() const {
            for(std::size_t i = 0; i != size; ++i)
                if(!TypeTraits<T>::equals(_data[i], T(0))) return false;
            return true;
        }

        /** @brief Whether the squared length is 1 within twice the epsilon */
        bool isNormalized() const {
            const T d = dot() - T(1);
            return (d < T(0) ? -d : d) < T(2)*TypeTraits<T>::epsilon();
        }

        /** @brief Dot product with itself, summed in component order from zero */
        constexpr T dot() const {
            T out{};
            for(std::size_t i = 0; i != size; ++i) out += _data[i]*_data[i];
            return out;
        }

        /** @brief Squared length */
        constexpr T lengthSquared() const { return dot(); }

        /** @brief Length, `sqrt(dot())` */
        T length() const { return T(std::sqrt(dot())); }

        /** @brief Reciprocal of the length */
        T lengthInverted() const { return T(1)/length(); }

        /** @brief Vector of unit length in the same direction, `*this*(1/length())` */
        Vector<size, T> normalized() const { return *this*lengthInverted(); }

        /** @brief Vector in the same direction with length @p length */
        Vector<size, T> resized(T length) const { return *this*(length*lengthInverted()); }

        /** @brief Projection onto @p line */
        Vector<size, T> projected(const Vector<size, T>& line) const;

        /** @brief Sum of the components */
        constexpr T sum() const {
            T out = _data[0];
            for(std::size_t i = 1; i != size; ++i) out += _data[i];
            return out;
        }

        /** @brief Product of the components */
        constexpr T product() const {
            T out = _data[0];
            for(std::size_t i = 1; i != size; ++i) out *= _data[i];
            return out;
        }

        /** @brief Smallest component */
        constexpr T min() const {
            T out = _data[0];
            for(std::size_t i = 1; i != size; ++i) if(_data[i] < out) out = _data[i];
            return out;
        }

        /** @brief Largest component */
        constexpr T max() const {
            T out = _data[0];
            for(std::size_t i = 1; i != size; ++i) if(out < _data[i]) out = _data[i];
            return out;
        }

        /** @brief Add component-wise */
        constexpr Vector<size, T>& operator+=(const Vector<size, T>& other) {
            for(std::size_t i = 0; i != size; ++i) _data[i] += other._data[i];
            return *this;
        }
        /** @brief Subtract component-wise */
        constexpr Vector<size, T>& operator-=(const Vector<size, T>& other) {
            for(std::size_t i = 0; i != size; ++i) _data[i] -= other._data[i];
            return *this;
        }
        /** @brief Multiply component-wise */
        constexpr Vector<size, T>& operator*=(const Vector<size, T>& other) {
            for(std::size_t i = 0; i != size; ++i) _data[i] *= other._data[i];
            return *this;
        }
        /** @brief Divide component-wise */
        constexpr Vector<size, T>& operator/=(const Vector<size, T>& other) {
            for(std::size_t i = 0; i != size; ++i) _data[i] /= other._data[i];
            return *this;
        }
        /** @brief Multiply by a number */
        constexpr Vector<size, T>& operator*=(T scalar) {
            for(std::size_t i = 0; i != size; ++i) _data[i] *= scalar;
            return *this;
        }
        /** @brief Divide by a number */
        constexpr Vector<size, T>& operator/=(T scalar) {
            for(std::size_t i = 0; i != size; ++i) _data[i] /= scalar;
            return *this;
        }

        /* Named components, for the sizes that have them. The subclasses only add constructors
           and helpers on top of these. */

        /** @brief First component */
        constexpr T& x() { return _data[0]; }
        constexpr T x() const { return _data[0]; } /**< @overload */
        /** @brief Second component */
        constexpr T& y() requires(size >= 2) { return _data[1]; }
        constexpr T y() const requires(size >= 2) { return _data[1]; } /**< @overload */
        /** @brief Third component */
        constexpr T& z() requires(size >= 3) { return _data[2]; }
        constexpr T z() const requires(size >= 3) { return _data[2]; } /**< @overload */
        /** @brief Fourth component */
        constexpr T& w() requires(size >= 4) { return _data[3]; }
        constexpr T w() const requires(size >= 4) { return _data[3]; } /**< @overload */

        /** @brief First two components */
        Vector<2, T>& xy() requires(size >= 3) { return Vector<2, T>::from(_data); }
        constexpr Vector<2, T> xy() const requires(size >= 3) { return {_data[0], _data[1]}; } /**< @overload */
        /** @brief First three components */
        Vector<3, T>& xyz() requires(size >= 4) { return Vector<3, T>::from(_data); }
        constexpr Vector<3, T> xyz() const requires(size >= 4) { return {_data[0], _data[1], _data[2]}; } /**< @overload */

    private:
        T _data[size];
};

namespace Implementation {
    /* Vector or one of its named subclasses */
    template<class V> concept VectorLike = requires {
        V::Size;
        typename V::Type;
    } && std::is_base_of_v<Vector<V::Size, typename V::Type>, V>;

    template<class A, class B> concept SameVectorShape = VectorLike<A> && VectorLike<B> &&
        std::size_t(A::Size) == std::size_t(B::Size) && std::is_same_v<typename A::Type, typename B::Type>;

    template<class V> using VectorBase = Vector<V::Size, typename V::Type>;
}

/** @brief Negated vector */
template<Implementation::VectorLike V> constexpr V operator-(const V& a) {
    V out{NoInit};
    for(std::size_t i = 0; i != V::Size; ++i) out[i] = -a[i];
    return out;
}

/** @brief Component-wise sum, of the type of @p a */
template<class A, class B> requires Implementation::SameVectorShape<A, B>
constexpr A operator+(const A& a, const B& b) {
    A out = a;
    out += b;
    return out;
}
/** @brief Component-wise difference, of the type of @p a */
template<class A, class B> requires Implementation::SameVectorShape<A, B>
constexpr A operator-(const A& a, const B& b) {
    A out = a;
    out -= b;
    return out;
}
/** @brief Component-wise product, of the type of @p a */
template<class A, class B> requires Implementation::SameVectorShape<A, B>
constexpr A operator*(const A& a, const B& b) {
    A out = a;
    out *= b;
    return out;
}
/** @brief Component-wise quotient, of the type of @p a */
template<class A, class B> requires Implementation::SameVectorShape<A, B>
constexpr A operator/(const A& a, const B& b) {
    A out = a;
    out /= b;
    return out;
}
/** @brief Vector multiplied by a number */
template<Implementation::VectorLike V> constexpr V operator*(const V& a, typename V::Type b) {
    V out = a;
    out *= b;
    return out;
}
/** @brief Vector multiplied by a number */
template<Implementation::VectorLike V> constexpr V operator*(typename V::Type a, const V& b) {
    V out = b;
    out *= a;
    return out;
}
/** @brief Vector divided by a number */
template<Implementation::VectorLike V> constexpr V operator/(const V& a, typename V::Type b) {
    V out = a;
    out /= b;
    return out;
}
/** @brief Number divided by every component */
template<Implementation::VectorLike V> constexpr V operator/(typename V::Type a, const V& b) {
    V out{NoInit};
    for(std::size_t i = 0; i != V::Size; ++i) out[i] = a/b[i];
    return out;
}

/** @brief Dot product, summed in component order from zero: `((0 + a0*b0) + a1*b1) + ...` */
template<std::size_t size, class T> constexpr T dot(const Vector<size, T>& a, const Vector<size, T>& b) {
    T out{};
    for(std::size_t i = 0; i != size; ++i) out += a[i]*b[i];
    return out;
}

template<std::size_t size, class T> inline Vector<size, T> Vector<size, T>::projected(const Vector<size, T>& line) const {
    return line*(Math::dot(*this, line)/line.dot());
}

/** @brief Angle in radians between two normalized vectors, `acos(clamp(dot, -1, 1))` */
template<std::size_t size, class T> T angle(const Vector<size, T>& normalizedA, const Vector<size, T>& normalizedB) {
    T d = dot(normalizedA, normalizedB);
    d = d < T(-1) ? T(-1) : (T(1) < d ? T(1) : d);
    return T(std::acos(d));
}

/** @brief Component-wise minimum */
template<Implementation::VectorLike V> constexpr V min(const V& a, const V& b) {
    V out{NoInit};
    for(std::size_t i = 0; i != V::Size; ++i) out[i] = b[i] < a[i] ? b[i] : a[i];
    return out;
}
/** @brief Component-wise maximum */
template<Implementation::VectorLike V> constexpr V max(const V& a, const V& b) {
    V out{NoInit};
    for(std::size_t i = 0; i != V::Size; ++i) out[i] = a[i] < b[i] ? b[i] : a[i];
    return out;
}
/** @brief Component-wise clamp of @p value into [@p min, @p max] */
template<Implementation::VectorLike V> constexpr V clamp(const V& value, const V& min, const V& max) {
    V out{NoInit};
    for(std::size_t i = 0; i != V::Size; ++i)
        out[i] = value[i] < min[i] ? min[i] : (max[i] < value[i] ? max[i] : value[i]);
    return out;
}
/** @brief Every component clamped into [@p min, @p max] */
template<Implementation::VectorLike V> constexpr V clamp(const V& value, typename V::Type min, typename V::Type max) {
    V out{NoInit};
    for(std::size_t i = 0; i != V::Size; ++i)
        out[i] = value[i] < min ? min : (max < value[i] ? max : value[i]);
    return out;
}
/** @brief Component-wise absolute value */
template<Implementation::VectorLike V> constexpr V abs(const V& a) {
    V out{NoInit};
    for(std::size_t i = 0; i != V::Size; ++i) out[i] = a[i] < typename V::Type(0) ? -a[i] : a[i];
    return out;
}

/** @brief Scalar linear interpolation, `(1 - t)*a + t*b`, exact at t = 0 and t = 1 */
template<class T, class U> constexpr T lerp(const T& a, const T& b, U t) requires std::is_arithmetic_v<T> {
    return T((U(1) - t)*a + t*b);
}

/** @brief Component-wise linear interpolation, `(1 - t)*a + t*b` */
template<Implementation::VectorLike V, class U> constexpr V lerp(const V& a, const V& b, U t) requires std::is_floating_point_v<U> {
    V out{NoInit};
    for(std::size_t i = 0; i != V::Size; ++i)
        out[i] = typename V::Type((U(1) - t)*a[i] + t*b[i]);
    return out;
}

/** @brief Scalar minimum */
template<class T> constexpr T min(T a, T b) requires std::is_arithmetic_v<T> { return b < a ? b : a; }
/** @brief Scalar maximum */
template<class T> constexpr T max(T a, T b) requires std::is_arithmetic_v<T> { return a < b ? b : a; }
/** @brief Scalar clamp into [@p min, @p max] */
template<class T> constexpr T clamp(T value, T min, T max) requires std::is_arithmetic_v<T> {
    return value < min ? min : (max < value ? max : value);
}

/**
 * @brief Prints `Vector(1, 2, 3)`
 *
 * Instantiated in the library for sizes 1 to 4 and the float, double and 8-, 16- and 32-bit
 * integer component types.
 */
template<std::size_t size, class T> QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, const Vector<size, T>& value);

}}

#endif
