#include <sstream>
#include <type_traits>

#include <gtest/gtest.h>

#include "QuillmarshEngine/Debug.h"
#include "QuillmarshEngine/Math/Color4.h"
#include "QuillmarshEngine/Math/DualQuaternion.h"
#include "QuillmarshEngine/Math/Matrix3.h"
#include "QuillmarshEngine/Math/Matrix4.h"

namespace QuillmarshEngine { namespace {

/* The layouts are stored in columns and files */
static_assert(sizeof(QuillmarshEngine::Vector2) == 8);
static_assert(sizeof(QuillmarshEngine::Vector3) == 12);
static_assert(sizeof(QuillmarshEngine::Vector4) == 16);
static_assert(sizeof(QuillmarshEngine::Vector3us) == 6);
static_assert(sizeof(QuillmarshEngine::Vector4ub) == 4);
static_assert(sizeof(QuillmarshEngine::Color4) == 16);
static_assert(sizeof(QuillmarshEngine::Matrix3) == 36);
static_assert(sizeof(QuillmarshEngine::Matrix4) == 64);
static_assert(sizeof(QuillmarshEngine::Quaternion) == 16);
static_assert(sizeof(QuillmarshEngine::DualQuaternion) == 32);
static_assert(std::is_standard_layout_v<QuillmarshEngine::Vector3> && std::is_trivially_copyable_v<QuillmarshEngine::Vector3>);
static_assert(std::is_standard_layout_v<QuillmarshEngine::Color4> && std::is_trivially_copyable_v<QuillmarshEngine::Color4>);
static_assert(std::is_standard_layout_v<QuillmarshEngine::Matrix4> && std::is_trivially_copyable_v<QuillmarshEngine::Matrix4>);
static_assert(std::is_standard_layout_v<QuillmarshEngine::Quaternion> && std::is_trivially_copyable_v<QuillmarshEngine::Quaternion>);
static_assert(std::is_standard_layout_v<QuillmarshEngine::DualQuaternion> && std::is_trivially_copyable_v<QuillmarshEngine::DualQuaternion>);

TEST(TypesTest, debugOutput) {
    std::ostringstream out;
    Debug{&out} << Vector3{3.0f, 6.0f, 0.1f} << Color4{0.5f, 0.25f, 1.0f} << Vector2ui{7, 8}
        << Vector4ub{255, 0, 1, 2} << Quaternion{{1.0f, 2.0f, 3.0f}, 4.0f} << DualQuaternion{}
        << Math::Dual<float>{1.5f, -2.0f};
    EXPECT_EQ(out.str(), "Vector(3, 6, 0.1) Vector(0.5, 0.25, 1, 1) Vector(7, 8) Vector(255, 0, 1, 2) "
        "Quaternion({1, 2, 3}, 4) DualQuaternion({{0, 0, 0}, 1}, {{0, 0, 0}, 0}) Dual(1.5, -2)\n");

    std::ostringstream matrix;
    Debug{&matrix} << "m:" << Matrix3{{1.0f, 2.0f, 3.0f}, {4.0f, 5.0f, 6.0f}, {7.0f, 8.0f, 9.5f}} << "end";
    /* Printed by rows; continuation rows start with seven spaces, the width of "Matrix(" */
    EXPECT_EQ(matrix.str(), "m: Matrix(1, 4, 7,\n"
                            "       2, 5, 8,\n"
                            "       3, 6, 9.5) end\n");
}

}}
