#ifndef QuillmarshEngine_Math_Range_h
#define QuillmarshEngine_Math_Range_h

/** @file
 * @brief Class @ref QuillmarshEngine::Math::Range, functions @ref QuillmarshEngine::Math::join(),
 *      @ref QuillmarshEngine::Math::intersect(), @ref QuillmarshEngine::Math::intersects()
 */

#include "QuillmarshEngine/Math/Vector3.h"

namespace QuillmarshEngine { namespace Math {

namespace Implementation {
    template<std::size_t dimensions, class T> struct RangeTraits;
    template<class T> struct RangeTraits<1, T> { typedef T Type; };
    template<class T> struct RangeTraits<2, T> { typedef Vector2<T> Type; };
    template<class T> struct RangeTraits<3, T> { typedef Vector3<T> Type; };

    template<class T> constexpr const T& component(const T& value, std::size_t) requires std::is_arithmetic_v<T> { return value; }
    template<class T> constexpr T& component(T& value, std::size_t) requires std::is_arithmetic_v<T> { return value; }
    template<std::size_t size, class T> constexpr T component(const Vector<size, T>& value, std::size_t i) { return value[i]; }
    template<std::size_t size, class T> constexpr T& component(Vector<size, T>& value, std::size_t i) { return value[i]; }
}

/**
 * @brief Axis-aligned range in one, two or three dimensions
 *
 * A minimum corner and a maximum corner, stored in that order: a scalar pair for one dimension
 * (`Range<1, std::uint16_t>` is two 16-bit values, begin then end, 4 bytes), two @ref Vector2 or
 * two @ref Vector3 above. The range is half-open: it contains `min` and excludes `max`. Nothing
 * keeps `min <= max`; a range with any `max < min` is inverted and contains no point.
 * Default-constructed both corners are zero (an empty range at the origin).
 */
template<std::size_t dimensions, class T> class Range {
    static_assert(dimensions >= 1 && dimensions <= 3, "Math::Range: only one to three dimensions");

    public:
        typedef T Type; /**< @brief Component type */
        /** @brief Corner type: `T` in one dimension, @ref Vector2 or @ref Vector3 above */
        typedef typename Implementation::RangeTraits<dimensions, T>::Type VectorType;
        enum: std::size_t { Dimensions = dimensions /**< @brief Dimension count */ };

        /** @brief Range from @p min spanning @p size */
        static constexpr Range<dimensions, T> fromSize(const VectorType& min, const VectorType& size) {
            return {min, VectorType(min + size)};
        }
        /** @brief Range around @p center reaching @p halfSize to each side */
        static constexpr Range<dimensions, T> fromCenter(const VectorType& center, const VectorType& halfSize) {
            return {VectorType(center - halfSize), VectorType(center + halfSize)};
        }

        /** @brief Zero range at the origin */
        constexpr Range() noexcept: _min{}, _max{} {}
        /** @brief Zero range at the origin */
        constexpr explicit Range(ZeroInitT) noexcept: _min{}, _max{} {}
        /** @brief Construct from the corners */
        constexpr /*implicit*/ Range(const VectorType& min, const VectorType& max) noexcept: _min{min}, _max{max} {}
        /** @brief Convert from a range of another component type, with `static_cast` per component */
        template<class U> constexpr explicit Range(const Range<dimensions, U>& other) noexcept: _min(other.min()), _max(other.max()) {}

        /** @brief Raw data, the minimum then the maximum corner */
        T* data() { return reinterpret_cast<T*>(this); }
        const T* data() const { return reinterpret_cast<const T*>(this); } /**< @overload */

        /** @brief Exact (integer) or fuzzy (floating-point) equality of both corners */
        friend constexpr bool operator==(const Range<dimensions, T>& a, const Range<dimensions, T>& b) {
            for(std::size_t i = 0; i != dimensions; ++i)
                if(!TypeTraits<T>::equals(Implementation::component(a._min, i), Implementation::component(b._min, i)) ||
                   !TypeTraits<T>::equals(Implementation::component(a._max, i), Implementation::component(b._max, i)))
                    return false;
            return true;
        }

        /** @brief Minimum corner, included */
        VectorType& min() { return _min; }
        constexpr const VectorType& min() const { return _min; } /**< @overload */
        /** @brief Maximum corner, excluded */
        VectorType& max() { return _max; }
        constexpr const VectorType& max() const { return _max; } /**< @overload */

        /** @brief Size, `max - min` (negative or wrapped around for an inverted range) */
        constexpr VectorType size() const { return VectorType(_max - _min); }
        /** @brief Half of the size */
        constexpr VectorType halfSize() const { return VectorType(size()/T(2)); }
        /** @brief Centre, `(min + max)/2` */
        constexpr VectorType center() const { return VectorType((_min + _max)/T(2)); }

        /** @brief Whether the range is empty or inverted in any dimension */
        constexpr bool isEmpty() const {
            for(std::size_t i = 0; i != dimensions; ++i)
                if(!(Implementation::component(_min, i) < Implementation::component(_max, i))) return true;
            return false;
        }

        /** @brief Whether @p point lies inside: `min <= point < max` in every dimension */
        constexpr bool contains(const VectorType& point) const {
            for(std::size_t i = 0; i != dimensions; ++i) {
                const T p = Implementation::component(point, i);
                if(p < Implementation::component(_min, i) || !(p < Implementation::component(_max, i))) return false;
            }
            return true;
        }
        /** @brief Whether @p other lies completely inside */
        constexpr bool contains(const Range<dimensions, T>& other) const {
            for(std::size_t i = 0; i != dimensions; ++i)
                if(Implementation::component(other._min, i) < Implementation::component(_min, i) ||
                   Implementation::component(_max, i) < Implementation::component(other._max, i)) return false;
            return true;
        }

        /** @brief Range moved by @p offset */
        constexpr Range<dimensions, T> translated(const VectorType& offset) const {
            return {VectorType(_min + offset), VectorType(_max + offset)};
        }
        /** @brief Range grown by @p padding on every side */
        constexpr Range<dimensions, T> padded(const VectorType& padding) const {
            return {VectorType(_min - padding), VectorType(_max + padding)};
        }
        /** @brief Both corners multiplied by @p scaling */
        constexpr Range<dimensions, T> scaled(const VectorType& scaling) const {
            return {VectorType(_min*scaling), VectorType(_max*scaling)};
        }

    private:
        VectorType _min, _max;
};

/** @brief Smallest range containing both, an empty range is ignored */
template<std::size_t dimensions, class T> constexpr Range<dimensions, T> join(const Range<dimensions, T>& a, const Range<dimensions, T>& b) {
    if(a.isEmpty()) return b;
    if(b.isEmpty()) return a;
    return {min(a.min(), b.min()), max(a.max(), b.max())};
}

/** @brief Overlap of two ranges, a default-constructed range when they do not intersect */
template<std::size_t dimensions, class T> constexpr Range<dimensions, T> intersect(const Range<dimensions, T>& a, const Range<dimensions, T>& b);

/** @brief Whether two ranges overlap: `a.max > b.min` and `a.min < b.max` in every dimension */
template<std::size_t dimensions, class T> constexpr bool intersects(const Range<dimensions, T>& a, const Range<dimensions, T>& b) {
    for(std::size_t i = 0; i != dimensions; ++i)
        if(!(Implementation::component(b.min(), i) < Implementation::component(a.max(), i)) ||
           !(Implementation::component(a.min(), i) < Implementation::component(b.max(), i))) return false;
    return true;
}

template<std::size_t dimensions, class T> constexpr Range<dimensions, T> intersect(const Range<dimensions, T>& a, const Range<dimensions, T>& b) {
    if(!intersects(a, b)) return {};
    return {max(a.min(), b.min()), min(a.max(), b.max())};
}

/**
 * @brief Prints `Range(1, 3)` in one dimension, `Range({1, 2}, {3, 4})` above
 *
 * Instantiated for float, double and the 16- and 32-bit integer types.
 */
template<std::size_t dimensions, class T> QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, const Range<dimensions, T>& value);

}}

#endif
