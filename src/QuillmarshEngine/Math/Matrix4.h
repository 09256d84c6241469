#ifndef QuillmarshEngine_Math_Matrix4_h
#define QuillmarshEngine_Math_Matrix4_h

/** @file
 * @brief Class @ref QuillmarshEngine::Math::Matrix4
 */

#include <limits>

#include "QuillmarshEngine/Assert.h"
#include "QuillmarshEngine/Math/Matrix.h"

namespace QuillmarshEngine { namespace Math {

/**
 * @brief 4x4 matrix, a three-dimensional homogeneous transformation or projection
 *
 * A @ref Matrix of size 4 (64 bytes for float, column-major, `m[column][row]`) with the 3D
 * transformation and projection constructors. Columns 0 to 2 hold rotation and scaling, column 3
 * the translation. Projections are right-handed with the camera looking down -Z and clip-space Z in
 * [-1, 1] (the OpenGL convention). Default-constructed it is the identity.
 */
template<class T> class Matrix4: public Matrix<4, T> {
    public:
        /** @brief Translation by @p vector: identity with column 3 set to `(vector, 1)` */
        static constexpr Matrix4<T> translation(const Vector<3, T>& vector) {
            return {{T(1), T(0), T(0), T(0)}, {T(0), T(1), T(0), T(0)}, {T(0), T(0), T(1), T(0)}, {vector, T(1)}};
        }
        /** @brief Scaling by @p vector: `diag(x, y, z, 1)` */
        static constexpr Matrix4<T> scaling(const Vector<3, T>& vector) {
            return {{vector[0], T(0), T(0), T(0)}, {T(0), vector[1], T(0), T(0)}, {T(0), T(0), vector[2], T(0)}, {T(0), T(0), T(0), T(1)}};
        }
        /**
         * @brief Rotation by @p angle radians counter-clockwise around @p normalizedAxis
         *
         * Expects the axis to be normalized, aborts otherwise.
         */
        static Matrix4<T> rotation(T angle, const Vector<3, T>& normalizedAxis) {
            QUILLMARSH_ASSERT(normalizedAxis.isNormalized(), "Math::Matrix4::rotation(): axis" << normalizedAxis << "is not normalized", {});
            const T s = T(std::sin(angle));
            const T c = T(std::cos(angle));
            const T oneMinusC = T(1) - c;
            const T x = normalizedAxis[0], y = normalizedAxis[1], z = normalizedAxis[2];
            const T xx = x*x, yy = y*y, zz = z*z, xy = x*y, xz = x*z, yz = y*z;
            return {{c + xx*oneMinusC, xy*oneMinusC + z*s, xz*oneMinusC - y*s, T(0)},
                    {xy*oneMinusC - z*s, c + yy*oneMinusC, yz*oneMinusC + x*s, T(0)},
                    {xz*oneMinusC + y*s, yz*oneMinusC - x*s, c + zz*oneMinusC, T(0)},
                    {T(0), T(0), T(0), T(1)}};
        }
        /** @brief Rotation by @p angle radians around X */
        static Matrix4<T> rotationX(T angle) {
            const T s = T(std::sin(angle)), c = T(std::cos(angle));
            return {{T(1), T(0), T(0), T(0)}, {T(0), c, s, T(0)}, {T(0), -s, c, T(0)}, {T(0), T(0), T(0), T(1)}};
        }
        /** @brief Rotation by @p angle radians around Y */
        static Matrix4<T> rotationY(T angle) {
            const T s = T(std::sin(angle)), c = T(std::cos(angle));
            return {{c, T(0), -s, T(0)}, {T(0), T(1), T(0), T(0)}, {s, T(0), c, T(0)}, {T(0), T(0), T(0), T(1)}};
        }
        /** @brief Rotation by @p angle radians around Z */
        static Matrix4<T> rotationZ(T angle) {
            const T s = T(std::sin(angle)), c = T(std::cos(angle));
            return {{c, s, T(0), T(0)}, {-s, c, T(0), T(0)}, {T(0), T(0), T(1), T(0)}, {T(0), T(0), T(0), T(1)}};
        }
        /** @brief Transformation from a 3x3 rotation and scaling part and a translation */
        static constexpr Matrix4<T> from(const Matrix<3, T>& rotationScaling, const Vector<3, T>& translation) {
            return {{rotationScaling[0], T(0)}, {rotationScaling[1], T(0)}, {rotationScaling[2], T(0)}, {translation, T(1)}};
        }

        /**
         * @brief Object transformation at @p eye facing @p target
         *
         * Not a view matrix (invert it for one): the local -Z axis points at @p target and the
         * local Y axis is as close to @p up as possible. `b = normalize(eye - target)`,
         * `r = normalize(cross(up, b))`, `u = cross(b, r)`, result `from({r, u, b}, eye)`.
         */
        static Matrix4<T> lookAt(const Vector<3, T>& eye, const Vector<3, T>& target, const Vector<3, T>& up) {
            const Vector3<T> backward = Vector3<T>{eye - target}.normalized();
            const Vector3<T> right = cross(up, backward).normalized();
            const Vector3<T> realUp = cross(backward, right);
            return from(Matrix<3, T>{right, realUp, backward}, eye);
        }

        /**
         * @brief Orthographic projection of a box of @p size centred on the -Z axis
         *
         * Columns `(2/size.x, 0, 0, 0)`, `(0, 2/size.y, 0, 0)`, `(0, 0, 2/(near - far), 0)`,
         * `(0, 0, near*2/(near - far) - 1, 1)`.
         */
        static constexpr Matrix4<T> orthographicProjection(const Vector<2, T>& size, T near, T far) {
            const T xScale = T(2)/size[0];
            const T yScale = T(2)/size[1];
            const T zScale = T(2)/(near - far);
            return {{xScale, T(0), T(0), T(0)}, {T(0), yScale, T(0), T(0)}, {T(0), T(0), zScale, T(0)},
                    {T(0), T(0), near*zScale - T(1), T(1)}};
        }
        /** @brief Off-centre orthographic projection of the box from @p bottomLeft to @p topRight */
        static constexpr Matrix4<T> orthographicProjection(const Vector<2, T>& bottomLeft, const Vector<2, T>& topRight, T near, T far) {
            const Vector3<T> difference{topRight[0] - bottomLeft[0], topRight[1] - bottomLeft[1], near - far};
            const Vector3<T> scale = T(2)/difference;
            const Vector3<T> offset = Vector3<T>{topRight[0] + bottomLeft[0], topRight[1] + bottomLeft[1], near + far}/difference;
            return {{scale[0], T(0), T(0), T(0)}, {T(0), scale[1], T(0), T(0)}, {T(0), T(0), scale[2], T(0)},
                    {-offset[0], -offset[1], offset[2], T(1)}};
        }

        /**
         * @brief Perspective projection from the @p size of the near plane
         *
         * `far` may be infinite, giving `m[2][2] = -1` and `m[3][2] = -2*near`; otherwise
         * `m[2][2] = (far + near)*zScale` and `m[3][2] = 2*far*near*zScale` with
         * `zScale = 1/(near - far)`, the math library's order of operations.
         */
        static Matrix4<T> perspectiveProjection(const Vector<2, T>& size, T near, T far) {
            const Vector2<T> xyScale = T(2)*near/Vector2<T>{size};
            return perspectiveProjectionFrom(xyScale, Vector2<T>{}, near, far);
        }
        /**
         * @brief Perspective projection from a horizontal field of view
         *
         * @p fov is the horizontal angle in radians, @p aspectRatio width over height; the near
         * plane is `2*near*tan(fov/2)*(1, 1/aspectRatio)` in size, computed in this order and
         * with the reciprocal of the aspect ratio, so that the results are bit-identical to the
         * math library's.
         */
        static Matrix4<T> perspectiveProjection(T fov, T aspectRatio, T near, T far) {
            const T size = T(2)*near*T(std::tan(fov*T(0.5)));
            return perspectiveProjection(Vector2<T>{size, size*(T(1)/aspectRatio)}, near, far);
        }
        /** @brief Off-centre perspective projection with the near plane from @p bottomLeft to @p topRight */
        static Matrix4<T> perspectiveProjection(const Vector<2, T>& bottomLeft, const Vector<2, T>& topRight, T near, T far) {
            const Vector2<T> difference = Vector2<T>{topRight} - bottomLeft;
            return perspectiveProjectionFrom(T(2)*near/difference, (Vector2<T>{topRight} + bottomLeft)/difference, near, far);
        }

        /** @brief Identity */
        constexpr Matrix4() noexcept = default;
        /** @brief Identity multiplied by @p value */
        constexpr explicit Matrix4(IdentityInitT, T value = T(1)) noexcept: Matrix<4, T>{IdentityInit, value} {}
        /** @brief Zero matrix */
        constexpr explicit Matrix4(ZeroInitT) noexcept: Matrix<4, T>{ZeroInit} {}
        /** @brief Uninitialized */
        explicit Matrix4(NoInitT) noexcept: Matrix<4, T>{NoInit} {}
        /** @brief Construct from columns */
        constexpr /*implicit*/ Matrix4(const Vector4<T>& c0, const Vector4<T>& c1, const Vector4<T>& c2, const Vector4<T>& c3) noexcept: Matrix<4, T>(c0, c1, c2, c3) {}
        /** @brief Convert from a matrix of another component type */
        template<class U> constexpr explicit Matrix4(const Matrix<4, U>& other) noexcept: Matrix<4, T>(other) {}
        /** @brief From the generic matrix */
        constexpr /*implicit*/ Matrix4(const Matrix<4, T>& other) noexcept: Matrix<4, T>(other) {}

        /** @brief Upper-left 3x3 part, rotation and scaling */
        constexpr Matrix<3, T> rotationScaling() const {
            return {(*this)[0].xyz(), (*this)[1].xyz(), (*this)[2].xyz()};
        }
        /** @brief Rotation part with the scaling removed: the first three columns normalized */
        Matrix<3, T> rotation() const {
            return {(*this)[0].xyz().normalized(), (*this)[1].xyz().normalized(), (*this)[2].xyz().normalized()};
        }
        /** @brief Squared scaling of each axis */
        constexpr Vector3<T> scalingSquared() const {
            return {(*this)[0].xyz().dot(), (*this)[1].xyz().dot(), (*this)[2].xyz().dot()};
        }
        /** @brief Scaling of each axis, the lengths of the first three columns */
        Vector3<T> scaling() const {
            return {(*this)[0].xyz().length(), (*this)[1].xyz().length(), (*this)[2].xyz().length()};
        }
        /** @brief Right-pointing (X) axis, column 0 */
        Vector3<T>& right() { return (*this)[0].xyz(); }
        constexpr Vector3<T> right() const { return (*this)[0].xyz(); } /**< @overload */
        /** @brief Up-pointing (Y) axis, column 1 */
        Vector3<T>& up() { return (*this)[1].xyz(); }
        constexpr Vector3<T> up() const { return (*this)[1].xyz(); } /**< @overload */
        /** @brief Backward-pointing (Z) axis, column 2 */
        Vector3<T>& backward() { return (*this)[2].xyz(); }
        constexpr Vector3<T> backward() const { return (*this)[2].xyz(); } /**< @overload */
        /** @brief Translation part, column 3 */
        Vector3<T>& translation() { return (*this)[3].xyz(); }
        constexpr Vector3<T> translation() const { return (*this)[3].xyz(); } /**< @overload */

        /** @brief Whether the bottom row is (0, 0, 0, 1) and the rotation part is orthogonal */
        bool isRigidTransformation() const {
            return rotationScaling().isOrthogonal() && this->row(3) == Vector4<T>{T(0), T(0), T(0), T(1)};
        }

        /**
         * @brief Inverse of a rigid transformation
         *
         * `Rt = transpose(rotation)`, result `from(Rt, Rt*-translation)`. Expects
         * @ref isRigidTransformation(), aborts otherwise.
         */
        Matrix4<T> invertedRigid() const {
            QUILLMARSH_ASSERT(isRigidTransformation(), "Math::Matrix4::invertedRigid(): the matrix doesn't represent a rigid transformation", {});
            const Matrix<3, T> inverseRotation = rotationScaling().transposed();
            return from(inverseRotation, inverseRotation*-translation());
        }

        /** @brief Vector transformed without translation, `(m*(v, 0)).xyz` */
        constexpr Vector3<T> transformVector(const Vector<3, T>& vector) const {
            return ((*this)*Vector4<T>{vector, T(0)}).xyz();
        }
        /** @brief Point transformed with translation and perspective division, `r = m*(p, 1)`, `r.xyz/r.w` */
        constexpr Vector3<T> transformPoint(const Vector<3, T>& point) const {
            const Vector4<T> transformed = (*this)*Vector4<T>{point, T(1)};
            return transformed.xyz()/transformed.w();
        }

        /** @copydoc Matrix::transposed() */
        constexpr Matrix4<T> transposed() const { return Matrix<4, T>::transposed(); }
        /** @copydoc Matrix::inverted() */
        constexpr Matrix4<T> inverted() const { return Matrix<4, T>::inverted(); }
        /** @copydoc Matrix::invertedOrthogonal() */
        constexpr Matrix4<T> invertedOrthogonal() const { return Matrix<4, T>::invertedOrthogonal(); }

    private:
        static Matrix4<T> perspectiveProjectionFrom(const Vector2<T>& xyScale, const Vector2<T>& offset, T near, T far) {
            T m22, m32;
            if(far == std::numeric_limits<T>::infinity()) {
                m22 = T(-1);
                m32 = T(-2)*near;
            } else {
                /* Through the reciprocal, as the math library does: dividing twice would differ
                   from its results in the last bit */
                const T zScale = T(1)/(near - far);
                m22 = (far + near)*zScale;
                m32 = T(2)*far*near*zScale;
            }
            return {{xyScale[0], T(0), T(0), T(0)}, {T(0), xyScale[1], T(0), T(0)},
                    {offset[0], offset[1], m22, T(-1)}, {T(0), T(0), m32, T(0)}};
        }
};

static_assert(sizeof(Matrix4<float>) == 64, "Math::Matrix4: the layout is stored in columns and files");

}}

#endif
