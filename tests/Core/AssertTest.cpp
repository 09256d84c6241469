#include <sstream>

#include <gtest/gtest.h>

#include "QuillmarshEngine/Assert.h"

namespace QuillmarshEngine { namespace {

int checkedDivide(int a, int b) {
    QUILLMARSH_ASSERT(b != 0, "Math::divide(): division by zero for" << a, {});
    return a/b;
}

int internalCheck(int a) {
    QUILLMARSH_INTERNAL_ASSERT(a > 0 && a < 10);
    return a;
}

int pick(int a) {
    switch(a) {
        case 0: return 10;
        case 1: return 11;
    }
    QUILLMARSH_INTERNAL_ASSERT_UNREACHABLE();
}

TEST(AssertTest, passingChecksHaveNoEffect) {
    EXPECT_EQ(checkedDivide(6, 3), 2);
    EXPECT_EQ(internalCheck(5), 5);
    EXPECT_EQ(pick(1), 11);
}

TEST(AssertTest, sourcePathIsRelativeToTheLibraryRoot) {
    /* Relative to the last QuillmarshEngine/ of the path, without the file extension */
    EXPECT_EQ(Implementation::sourcePath("/home/x/src/QuillmarshEngine/Data/SceneGraph.cpp"), "Data/SceneGraph");
    EXPECT_EQ(Implementation::sourcePath("/QuillmarshEngine/src/QuillmarshEngine/Debug.cpp"), "Debug");
    EXPECT_EQ(Implementation::sourcePath("elsewhere/File.cpp"), "elsewhere/File");
    /* Only the file name's extension goes, never a dot of a directory */
    EXPECT_EQ(Implementation::sourcePath("/a.b/QuillmarshEngine/Math/Half"), "Math/Half");
    EXPECT_EQ(Implementation::sourcePath("/x/QuillmarshEngine/v1.2/Matrix4.h"), "v1.2/Matrix4");
    EXPECT_EQ(Implementation::sourcePath("/x/QuillmarshEngine/.hidden"), ".hidden");
}

TEST(AssertTest, warningContinuesOnTheCurrentTarget) {
    std::ostringstream out;
    Warning redirect{&out};
    QUILLMARSH_WARNING("SparseArray::add(): On the fly allocation was required");
    EXPECT_EQ(out.str(), "SparseArray::add(): On the fly allocation was required\n");
}

TEST(AssertDeathTest, userAssertionPrintsTheMessage) {
    EXPECT_DEATH(checkedDivide(7, 0), "^Math::divide\\(\\): division by zero for 7\n$");
}

TEST(AssertDeathTest, userAssertionIgnoresRedirection) {
    /* A redirected Error stream must not swallow the reason of an abort */
    EXPECT_DEATH({
        std::ostringstream out;
        Error redirect{&out};
        checkedDivide(1, 0);
    }, "division by zero for 1");
}

TEST(AssertDeathTest, internalAssertionNamesExpressionAndPlace) {
    EXPECT_DEATH(internalCheck(12), "^Assertion a > 0 && a < 10 failed at .*AssertTest:15\n$");
}

TEST(AssertDeathTest, unreachable) {
    EXPECT_DEATH(pick(3), "^Reached unreachable code at .*AssertTest:24\n$");
}

}}
