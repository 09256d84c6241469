#ifndef QuillmarshEngine_Math_Matrix_h
#define QuillmarshEngine_Math_Matrix_h

/** @file
 * @brief Class @ref QuillmarshEngine::Math::Matrix
 */

#include "QuillmarshEngine/Math/Vector4.h"

namespace QuillmarshEngine { namespace Math {

namespace Implementation {
    template<std::size_t size, class T> struct MatrixColumn { typedef Vector<size, T> Type; };
    template<class T> struct MatrixColumn<2, T> { typedef Vector2<T> Type; };
    template<class T> struct MatrixColumn<3, T> { typedef Vector3<T> Type; };
    template<class T> struct MatrixColumn<4, T> { typedef Vector4<T> Type; };
}

/**
 * @brief Square matrix, column-major
 *
 * @p size columns of @p size rows, stored column after column: `m[column][row]`, and
 * `data()[column*size + row]`, the OpenGL layout (a `Matrix<4, float>` is 64 bytes). Constructors
 * take columns. Default-constructed it is the identity; @ref ZeroInit and @ref NoInit give a zero
 * or an uninitialized matrix. Comparison with `==` is fuzzy, column by column.
 *
 * @ref Matrix3 and @ref Matrix4 add the 2D and 3D transformations.
 */
template<std::size_t size, class T> class Matrix {
    public:
        typedef T Type;                 /**< @brief Component type */
        /** @brief Column type, @ref Vector2, @ref Vector3 or @ref Vector4 for sizes 2 to 4 */
        typedef typename Implementation::MatrixColumn<size, T>::Type ColumnType;
        enum: std::size_t { Size = size /**< @brief Column and row count */ };

        /** @brief Reinterpret `size*size` values at @p data as a matrix */
        static Matrix<size, T>& from(T* data) { return *reinterpret_cast<Matrix<size, T>*>(data); }
        /** @overload */
        static const Matrix<size, T>& from(const T* data) { return *reinterpret_cast<const Matrix<size, T>*>(data); }

        /** @brief Diagonal matrix */
        static constexpr Matrix<size, T> fromDiagonal(const Vector<size, T>& diagonal) {
            Matrix<size, T> out{ZeroInit};
            for(std::size_t i = 0; i != size; ++i) out._data[i][i] = diagonal[i];
            return out;
        }

        /** @brief Identity */
        constexpr Matrix() noexcept: Matrix{IdentityInit} {}
        /** @brief Identity multiplied by @p value */
        constexpr explicit Matrix(IdentityInitT, T value = T(1)) noexcept: _data{} {
            for(std::size_t i = 0; i != size; ++i) _data[i][i] = value;
        }
        /** @brief Zero matrix */
        constexpr explicit Matrix(ZeroInitT) noexcept: _data{} {}
        /** @brief Uninitialized */
        explicit Matrix(NoInitT) noexcept {}
        /** @brief Every component set to @p value */
        constexpr explicit Matrix(T value) noexcept: _data{} {
            for(std::size_t i = 0; i != size; ++i) _data[i] = ColumnType(value);
        }

        /** @brief Construct from columns */
        constexpr /*implicit*/ Matrix(const ColumnType& c0, const ColumnType& c1) noexcept requires(size == 2): _data{c0, c1} {}
        /** @brief Construct from columns */
        constexpr /*implicit*/ Matrix(const ColumnType& c0, const ColumnType& c1, const ColumnType& c2) noexcept requires(size == 3): _data{c0, c1, c2} {}
        /** @brief Construct from columns */
        constexpr /*implicit*/ Matrix(const ColumnType& c0, const ColumnType& c1, const ColumnType& c2, const ColumnType& c3) noexcept requires(size == 4): _data{c0, c1, c2, c3} {}
        /** @brief Construct from columns */
        template<class ...U> requires(sizeof...(U) + 1 == size && (size == 1 || size > 4))
        constexpr /*implicit*/ Matrix(const Vector<size, T>& first, const U&... next) noexcept: _data{ColumnType(first), ColumnType(next)...} {}

        /** @brief Convert from a matrix of another component type */
        template<class U> constexpr explicit Matrix(const Matrix<size, U>& other) noexcept: _data{} {
            for(std::size_t i = 0; i != size; ++i) _data[i] = ColumnType(other[i]);
        }

        /** @brief Raw data, `size*size` values, column-major */
        T* data() { return _data[0].data(); }
        constexpr const T* data() const { return _data[0].data(); } /**< @overload */

        /** @brief Column @p column, expects it to be < @p size */
        constexpr ColumnType& operator[](std::size_t column) { return _data[column]; }
        constexpr const ColumnType& operator[](std::size_t column) const { return _data[column]; } /**< @overload */

        /** @brief Row @p row */
        constexpr Vector<size, T> row(std::size_t row) const {
            Vector<size, T> out;
            for(std::size_t i = 0; i != size; ++i) out[i] = _data[i][row];
            return out;
        }
        /** @brief Set row @p row */
        constexpr void setRow(std::size_t row, const Vector<size, T>& value) {
            for(std::size_t i = 0; i != size; ++i) _data[i][row] = value[i];
        }

        /** @brief Fuzzy equality of every column */
        friend constexpr bool operator==(const Matrix<size, T>& a, const Matrix<size, T>& b) {
            for(std::size_t i = 0; i != size; ++i)
                if(!(a._data[i] == b._data[i])) return false;
            return true;
        }

        /** @brief Diagonal */
        constexpr Vector<size, T> diagonal() const {
            Vector<size, T> out;
            for(std::size_t i = 0; i != size; ++i) out[i] = _data[i][i];
            return out;
        }

        /** @brief Sum of the diagonal */
        constexpr T trace() const { return diagonal().sum(); }

        /** @brief Transposed matrix */
        constexpr Matrix<size, T> transposed() const {
            Matrix<size, T> out{NoInit};
            for(std::size_t c = 0; c != size; ++c)
                for(std::size_t r = 0; r != size; ++r)
                    out._data[r][c] = _data[c][r];
            return out;
        }

        /** @brief Matrix without column @p skipColumn and row @p skipRow */
        constexpr Matrix<size - 1, T> ij(std::size_t skipColumn, std::size_t skipRow) const requires(size > 1) {
            Matrix<size - 1, T> out{NoInit};
            for(std::size_t c = 0, oc = 0; c != size; ++c) {
                if(c == skipColumn) continue;
                for(std::size_t r = 0, orow = 0; r != size; ++r) {
                    if(r == skipRow) continue;
                    out[oc][orow++] = _data[c][r];
                }
                ++oc;
            }
            return out;
        }

        /**
         * @brief Determinant
         *
         * Closed forms for sizes 1 to 3, Laplace expansion along the first column above.
         */
        constexpr T determinant() const {
            if constexpr(size == 1) return _data[0][0];
            else if constexpr(size == 2) return _data[0][0]*_data[1][1] - _data[1][0]*_data[0][1];
            else if constexpr(size == 3) {
                return _data[0][0]*(_data[1][1]*_data[2][2] - _data[2][1]*_data[1][2])
                     - _data[1][0]*(_data[0][1]*_data[2][2] - _data[2][1]*_data[0][2])
                     + _data[2][0]*(_data[0][1]*_data[1][2] - _data[1][1]*_data[0][2]);
            } else {
                T out{};
                for(std::size_t r = 0; r != size; ++r) {
                    const T minor = _data[0][r]*ij(0, r).determinant();
                    out += (r & 1) ? -minor : minor;
                }
                return out;
            }
        }

        /** @brief Matrix of cofactors */
        constexpr Matrix<size, T> comatrix() const requires(size > 1) {
            Matrix<size, T> out{NoInit};
            for(std::size_t c = 0; c != size; ++c)
                for(std::size_t r = 0; r != size; ++r) {
                    const T minor = ij(c, r).determinant();
                    out._data[c][r] = ((c + r) & 1) ? -minor : minor;
                }
            return out;
        }

        /**
         * @brief General inverse, the transposed cofactor matrix divided by the determinant
         *
         * A singular matrix gives infinities or NaNs; use @ref invertedOrthogonal() or the rigid
         * inverses of @ref Matrix3 and @ref Matrix4 where they apply.
         */
        constexpr Matrix<size, T> inverted() const requires(size > 1) {
            const T det = determinant();
            Matrix<size, T> out = comatrix().transposed();
            for(std::size_t i = 0; i != size; ++i) out._data[i] /= det;
            return out;
        }

        /** @brief Inverse of an orthogonal matrix, its transpose */
        constexpr Matrix<size, T> invertedOrthogonal() const { return transposed(); }

        /** @brief Whether the columns are normalized and mutually perpendicular */
        bool isOrthogonal() const {
            for(std::size_t i = 0; i != size; ++i) {
                if(!_data[i].isNormalized()) return false;
                for(std::size_t j = i + 1; j != size; ++j)
                    if(!TypeTraits<T>::equals(dot(_data[i], _data[j]), T(0))) return false;
            }
            return true;
        }

        /** @brief Add component-wise */
        constexpr Matrix<size, T>& operator+=(const Matrix<size, T>& other) {
            for(std::size_t i = 0; i != size; ++i) _data[i] += other._data[i];
            return *this;
        }
        /** @brief Subtract component-wise */
        constexpr Matrix<size, T>& operator-=(const Matrix<size, T>& other) {
            for(std::size_t i = 0; i != size; ++i) _data[i] -= other._data[i];
            return *this;
        }
        /** @brief Multiply every component by a number */
        constexpr Matrix<size, T>& operator*=(T scalar) {
            for(std::size_t i = 0; i != size; ++i) _data[i] *= scalar;
            return *this;
        }
        /** @brief Divide every component by a number */
        constexpr Matrix<size, T>& operator/=(T scalar) {
            for(std::size_t i = 0; i != size; ++i) _data[i] /= scalar;
            return *this;
        }

    private:
        ColumnType _data[size];
};

namespace Implementation {
    /* Matrix or one of its named subclasses */
    template<class M> concept MatrixLike = requires {
        M::Size;
        typename M::Type;
        typename M::ColumnType;
    } && std::is_base_of_v<Matrix<M::Size, typename M::Type>, M>;

    template<class A, class B> concept SameMatrixShape = MatrixLike<A> && MatrixLike<B> &&
        std::size_t(A::Size) == std::size_t(B::Size) && std::is_same_v<typename A::Type, typename B::Type>;
}

/**
 * @brief Matrix product, of the type of @p a
 *
 * `(a*b)[c][r]` is the sum of `a[k][r]*b[c][k]` accumulated from zero with k ascending.
 */
template<class A, class B> requires Implementation::SameMatrixShape<A, B>
constexpr A operator*(const A& a, const B& b) {
    A out{NoInit};
    for(std::size_t c = 0; c != A::Size; ++c)
        for(std::size_t r = 0; r != A::Size; ++r) {
            typename A::Type sum{};
            for(std::size_t k = 0; k != A::Size; ++k) sum += a[k][r]*b[c][k];
            out[c][r] = sum;
        }
    return out;
}

/** @brief Matrix times column vector, each row summed from zero in column order */
template<Implementation::MatrixLike M> constexpr typename M::ColumnType operator*(const M& a, const Vector<M::Size, typename M::Type>& b) {
    typename M::ColumnType out{NoInit};
    for(std::size_t r = 0; r != M::Size; ++r) {
        typename M::Type sum{};
        for(std::size_t k = 0; k != M::Size; ++k) sum += a[k][r]*b[k];
        out[r] = sum;
    }
    return out;
}

/** @brief Component-wise sum */
template<class A, class B> requires Implementation::SameMatrixShape<A, B>
constexpr A operator+(const A& a, const B& b) {
    A out = a;
    out += b;
    return out;
}
/** @brief Component-wise difference */
template<class A, class B> requires Implementation::SameMatrixShape<A, B>
constexpr A operator-(const A& a, const B& b) {
    A out = a;
    out -= b;
    return out;
}
/** @brief Negated matrix */
template<Implementation::MatrixLike M> constexpr M operator-(const M& a) {
    M out = a;
    out *= typename M::Type(-1);
    return out;
}
/** @brief Matrix multiplied by a number */
template<Implementation::MatrixLike M> constexpr M operator*(const M& a, typename M::Type b) {
    M out = a;
    out *= b;
    return out;
}
/** @brief Matrix multiplied by a number */
template<Implementation::MatrixLike M> constexpr M operator*(typename M::Type a, const M& b) {
    M out = b;
    out *= a;
    return out;
}
/** @brief Matrix divided by a number */
template<Implementation::MatrixLike M> constexpr M operator/(const M& a, typename M::Type b) {
    M out = a;
    out /= b;
    return out;
}

/**
 * @brief Prints the rows: `Matrix(1, 0,\n       0, 1)`
 *
 * Following rows are indented to align under the first. Instantiated in the library for sizes
 * 2 to 4 and float and double.
 */
template<std::size_t size, class T> QUILLMARSH_EXPORT Debug& operator<<(Debug& debug, const Matrix<size, T>& value);

}}

#endif
