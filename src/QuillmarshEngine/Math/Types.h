#ifndef QuillmarshEngine_Math_Types_h
#define QuillmarshEngine_Math_Types_h

/** @file
 * @brief Forward declarations of the math types and the short float typedefs
 *
 * Cheap to include: declares the class templates of @ref QuillmarshEngine::Math and the usual
 * short names in @ref QuillmarshEngine (`Vector3` = `Math::Vector3<float>`, `Vector3i` =
 * `Math::Vector3<std::int32_t>`, `Vector2ui`, `Vector4us`, `Matrix4`, `Quaternion`,
 * `DualQuaternion`, `Color4`, `Range1Dus`, ...). Suffixes: none = float, `d` = double, `i` = 32-bit
 * signed, `ui` = 32-bit unsigned, `s` / `us` = 16-bit, `b` / `ub` = 8-bit.
 */

#include <cstddef>
#include <cstdint>

namespace QuillmarshEngine {

namespace Math {

template<std::size_t size, class T> class Vector;
template<class T> class Vector2;
template<class T> class Vector3;
template<class T> class Vector4;
template<class T> class Color3;
template<class T> class Color4;
template<std::size_t size, class T> class Matrix;
template<class T> class Matrix3;
template<class T> class Matrix4;
template<class T> class Quaternion;
template<class T> class Dual;
template<class T> class DualQuaternion;
template<std::size_t dimensions, class T> class Range;
template<class T> class BoundingSphere;

template<class T> using Matrix2x2 = Matrix<2, T>;
template<class T> using Matrix3x3 = Matrix<3, T>;
template<class T> using Matrix4x4 = Matrix<4, T>;
template<class T> using Range1D = Range<1, T>;
template<class T> using Range2D = Range<2, T>;
template<class T> using Range3D = Range<3, T>;

}

typedef Math::Vector2<float> Vector2;
typedef Math::Vector3<float> Vector3;
typedef Math::Vector4<float> Vector4;
typedef Math::Vector2<double> Vector2d;
typedef Math::Vector3<double> Vector3d;
typedef Math::Vector4<double> Vector4d;
typedef Math::Vector2<std::int32_t> Vector2i;
typedef Math::Vector3<std::int32_t> Vector3i;
typedef Math::Vector4<std::int32_t> Vector4i;
typedef Math::Vector2<std::uint32_t> Vector2ui;
typedef Math::Vector3<std::uint32_t> Vector3ui;
typedef Math::Vector4<std::uint32_t> Vector4ui;
typedef Math::Vector2<std::int16_t> Vector2s;
typedef Math::Vector3<std::int16_t> Vector3s;
typedef Math::Vector4<std::int16_t> Vector4s;
typedef Math::Vector2<std::uint16_t> Vector2us;
typedef Math::Vector3<std::uint16_t> Vector3us;
typedef Math::Vector4<std::uint16_t> Vector4us;
typedef Math::Vector2<std::int8_t> Vector2b;
typedef Math::Vector3<std::int8_t> Vector3b;
typedef Math::Vector4<std::int8_t> Vector4b;
typedef Math::Vector2<std::uint8_t> Vector2ub;
typedef Math::Vector3<std::uint8_t> Vector3ub;
typedef Math::Vector4<std::uint8_t> Vector4ub;

typedef Math::Color3<float> Color3;
typedef Math::Color4<float> Color4;
typedef Math::Color3<std::uint8_t> Color3ub;
typedef Math::Color4<std::uint8_t> Color4ub;
typedef Math::Color3<std::uint16_t> Color3us;
typedef Math::Color4<std::uint16_t> Color4us;

typedef Math::Matrix2x2<float> Matrix2x2;
typedef Math::Matrix3x3<float> Matrix3x3;
typedef Math::Matrix4x4<float> Matrix4x4;
typedef Math::Matrix3<float> Matrix3;
typedef Math::Matrix4<float> Matrix4;
typedef Math::Matrix3<double> Matrix3d;
typedef Math::Matrix4<double> Matrix4d;

typedef Math::Quaternion<float> Quaternion;
typedef Math::Quaternion<double> Quaterniond;
typedef Math::DualQuaternion<float> DualQuaternion;
typedef Math::DualQuaternion<double> DualQuaterniond;

typedef Math::Range1D<float> Range1D;
typedef Math::Range2D<float> Range2D;
typedef Math::Range3D<float> Range3D;
typedef Math::Range1D<std::int32_t> Range1Di;
typedef Math::Range2D<std::int32_t> Range2Di;
typedef Math::Range3D<std::int32_t> Range3Di;
typedef Math::Range1D<std::uint32_t> Range1Dui;
typedef Math::Range1D<std::uint16_t> Range1Dus;

typedef Math::BoundingSphere<float> BoundingSphere;

}

#endif
