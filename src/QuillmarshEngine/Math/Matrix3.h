#ifndef QuillmarshEngine_Math_Matrix3_h
#define QuillmarshEngine_Math_Matrix3_h

/** @file
 * @brief Class @ref QuillmarshEngine::Math::Matrix3
 */

#include "QuillmarshEngine/Assert.h"
#include "QuillmarshEngine/Math/Matrix.h"

namespace QuillmarshEngine { namespace Math {

/**
 * @brief 3x3 matrix, a two-dimensional homogeneous transformation
 *
 * A @ref Matrix of size 3 with the 2D transformation constructors: columns 0 and 1 hold the
 * rotation and scaling, column 2 the translation. Default-constructed it is the identity.
 */
template<class T> class Matrix3: public Matrix<3, T> {
    public:
        /** @brief Translation by @p vector */
        static constexpr Matrix3<T> translation(const Vector<2, T>& vector) {
            return {{T(1), T(0), T(0)}, {T(0), T(1), T(0)}, {vector[0], vector[1], T(1)}};
        }
        /** @brief Scaling by @p vector */
        static constexpr Matrix3<T> scaling(const Vector<2, T>& vector) {
            return {{vector[0], T(0), T(0)}, {T(0), vector[1], T(0)}, {T(0), T(0), T(1)}};
        }
        /** @brief Counter-clockwise rotation by @p angle radians */
        static Matrix3<T> rotation(T angle) {
            const T s = T(std::sin(angle));
            const T c = T(std::cos(angle));
            return {{c, s, T(0)}, {-s, c, T(0)}, {T(0), T(0), T(1)}};
        }
        /** @brief Transformation from a 2x2 rotation and scaling part and a translation */
        static constexpr Matrix3<T> from(const Matrix<2, T>& rotationScaling, const Vector<2, T>& translation) {
            return {{rotationScaling[0], T(0)}, {rotationScaling[1], T(0)}, {translation, T(1)}};
        }
        /** @brief 2D orthographic projection of a rectangle of @p size centred at the origin */
        static constexpr Matrix3<T> projection(const Vector<2, T>& size) {
            return scaling(Vector2<T>{T(2)/size[0], T(2)/size[1]});
        }

        /** @brief Identity */
        constexpr Matrix3() noexcept = default;
        /** @brief Identity multiplied by @p value */
        constexpr explicit Matrix3(IdentityInitT, T value = T(1)) noexcept: Matrix<3, T>{IdentityInit, value} {}
        /** @brief Zero matrix */
        constexpr explicit Matrix3(ZeroInitT) noexcept: Matrix<3, T>{ZeroInit} {}
        /** @brief Uninitialized */
        explicit Matrix3(NoInitT) noexcept: Matrix<3, T>{NoInit} {}
        /** @brief Construct from columns */
        constexpr /*implicit*/ Matrix3(const Vector3<T>& c0, const Vector3<T>& c1, const Vector3<T>& c2) noexcept: Matrix<3, T>(c0, c1, c2) {}
        /** @brief Convert from a matrix of another component type */
        template<class U> constexpr explicit Matrix3(const Matrix<3, U>& other) noexcept: Matrix<3, T>(other) {}
        /** @brief From the generic matrix */
        constexpr /*implicit*/ Matrix3(const Matrix<3, T>& other) noexcept: Matrix<3, T>(other) {}

        /** @brief Upper-left 2x2 part, rotation and scaling */
        constexpr Matrix<2, T> rotationScaling() const {
            return {(*this)[0].xy(), (*this)[1].xy()};
        }
        /** @brief Scaling of each axis, the lengths of the first two columns */
        Vector2<T> scaling() const { return {(*this)[0].xy().length(), (*this)[1].xy().length()}; }
        /** @brief Translation part */
        Vector2<T>& translation() { return (*this)[2].xy(); }
        constexpr Vector2<T> translation() const { return (*this)[2].xy(); } /**< @overload */

        /** @brief Whether the bottom row is (0, 0, 1) and the rotation part is orthogonal */
        bool isRigidTransformation() const {
            return rotationScaling().isOrthogonal() && this->row(2) == Vector3<T>{T(0), T(0), T(1)};
        }

        /**
         * @brief Inverse of a rigid transformation
         *
         * Transposes the rotation and rotates the negated translation. Expects
         * @ref isRigidTransformation(), aborts otherwise.
         */
        Matrix3<T> invertedRigid() const {
            QUILLMARSH_ASSERT(isRigidTransformation(), "Math::Matrix3::invertedRigid(): the matrix doesn't represent a rigid transformation", {});
            const Matrix<2, T> inverseRotation = rotationScaling().transposed();
            return from(inverseRotation, inverseRotation*-translation());
        }

        /** @brief Vector transformed without translation, `(m*(v, 0)).xy` */
        constexpr Vector2<T> transformVector(const Vector<2, T>& vector) const {
            return ((*this)*Vector3<T>{vector, T(0)}).xy();
        }
        /** @brief Point transformed with translation, `(m*(p, 1)).xy` */
        constexpr Vector2<T> transformPoint(const Vector<2, T>& point) const {
            return ((*this)*Vector3<T>{point, T(1)}).xy();
        }

        /** @copydoc Matrix::transposed() */
        constexpr Matrix3<T> transposed() const { return Matrix<3, T>::transposed(); }
        /** @copydoc Matrix::inverted() */
        constexpr Matrix3<T> inverted() const { return Matrix<3, T>::inverted(); }
        /** @copydoc Matrix::invertedOrthogonal() */
        constexpr Matrix3<T> invertedOrthogonal() const { return Matrix<3, T>::invertedOrthogonal(); }
};

}}

#endif
