#ifndef QuillmarshEngine_StridedArrayView_h
#define QuillmarshEngine_StridedArrayView_h

/** @file
 * @brief Class @ref QuillmarshEngine::StridedArrayView1D, @ref QuillmarshEngine::StridedArrayView2D
 */

#include <cstddef>
#include <span>
#include <type_traits>

namespace QuillmarshEngine {

/**
 * @brief One-dimensional view with a byte stride
 *
 * Element `i` lives at `data() + i*stride()` bytes. The stride may be zero or negative. The view
 * owns nothing. Out-of-range access is the caller's concern; @ref operator[] does not check.
 */
template<class T> class StridedArrayView1D {
    public:
        typedef std::conditional_t<std::is_const_v<T>, const char, char> ByteType;

        constexpr StridedArrayView1D() noexcept = default;

        /** @brief View @p size elements starting at @p data, @p stride bytes apart */
        constexpr explicit StridedArrayView1D(T* data, std::size_t size, std::ptrdiff_t stride) noexcept: _data{reinterpret_cast<ByteType*>(data)}, _size{size}, _stride{stride} {}

        /** @brief Contiguous view of a span */
        constexpr /*implicit*/ StridedArrayView1D(std::span<T> data) noexcept: _data{reinterpret_cast<ByteType*>(data.data())}, _size{data.size()}, _stride{std::ptrdiff_t(sizeof(T))} {}

        /** @brief Conversion to a view of const elements */
        template<class U, class = std::enable_if_t<std::is_same_v<const U, T> && !std::is_same_v<U, T>>> constexpr /*implicit*/ StridedArrayView1D(const StridedArrayView1D<U>& other) noexcept: _data{reinterpret_cast<ByteType*>(other.data())}, _size{other.size()}, _stride{other.stride()} {}

        constexpr T* data() const { return reinterpret_cast<T*>(_data); }
        constexpr std::size_t size() const { return _size; }
        constexpr std::ptrdiff_t stride() const { return _stride; }
        constexpr bool isEmpty() const { return !_size; }
        /** @brief Whether the elements follow each other without gaps */
        constexpr bool isContiguous() const { return _stride == std::ptrdiff_t(sizeof(T)); }

        T& operator[](std::size_t i) const { return *reinterpret_cast<T*>(_data + std::ptrdiff_t(i)*_stride); }

    private:
        ByteType* _data{};
        std::size_t _size{};
        std::ptrdiff_t _stride{};
};

/**
 * @brief Two-dimensional view with a byte stride per dimension
 *
 * Element `(i, j)` lives at `data() + i*stride()[0] + j*stride()[1]` bytes. A vertex attribute is
 * typically viewed as vertex × component (or vertex × byte). Row `i` is a @ref StridedArrayView1D.
 */
template<class T> class StridedArrayView2D {
    public:
        typedef std::conditional_t<std::is_const_v<T>, const char, char> ByteType;

        struct Size { std::size_t rows, columns; };
        struct Stride { std::ptrdiff_t rows, columns; };

        constexpr StridedArrayView2D() noexcept = default;

        /** @brief View @p size elements of @p data with @p stride */
        constexpr explicit StridedArrayView2D(T* data, Size size, Stride stride) noexcept: _data{reinterpret_cast<ByteType*>(data)}, _size{size}, _stride{stride} {}

        template<class U, class = std::enable_if_t<std::is_same_v<const U, T> && !std::is_same_v<U, T>>> constexpr /*implicit*/ StridedArrayView2D(const StridedArrayView2D<U>& other) noexcept: _data{reinterpret_cast<ByteType*>(other.data())}, _size{other.size().rows, other.size().columns}, _stride{other.stride().rows, other.stride().columns} {}

        constexpr T* data() const { return reinterpret_cast<T*>(_data); }
        constexpr Size size() const { return _size; }
        constexpr Stride stride() const { return _stride; }
        constexpr bool isEmpty() const { return !_size.rows || !_size.columns; }
        /** @brief Whether the elements of each row follow each other without gaps */
        constexpr bool isRowContiguous() const { return _stride.columns == std::ptrdiff_t(sizeof(T)); }

        /** @brief Row @p i */
        StridedArrayView1D<T> operator[](std::size_t i) const {
            return StridedArrayView1D<T>{reinterpret_cast<T*>(_data + std::ptrdiff_t(i)*_stride.rows), _size.columns, _stride.columns};
        }

    private:
        ByteType* _data{};
        Size _size{};
        Stride _stride{};
};

/**
 * @brief Reinterpret a byte view of @p columns bytes per row as elements of @p U
 *
 * The row's byte count must be a multiple of `sizeof(U)`; each row then holds
 * `columns/sizeof(U)` elements. Expects a row-contiguous @p bytes.
 */
template<class U, class Byte> StridedArrayView2D<U> arrayCast(const StridedArrayView2D<Byte>& bytes) {
    static_assert(sizeof(Byte) == 1, "arrayCast() expects a byte view");
    return StridedArrayView2D<U>{reinterpret_cast<U*>(bytes.data()), {bytes.size().rows, bytes.size().columns/sizeof(U)}, {bytes.stride().rows, std::ptrdiff_t(sizeof(U))}};
}

}

#endif
