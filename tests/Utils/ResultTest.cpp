#include <gtest/gtest.h>

#include "QuillmarshEngine/Utils/Result.h"

namespace QuillmarshEngine { namespace Utils { namespace {

Result<int> parseDigit(char c) {
    if(c < '0' || c > '9') return Result<int>::fail(std::string{"not a digit: "} + c);
    return c - '0';
}

TEST(ResultTest, valueAndError) {
    Result<int> a = parseDigit('7');
    ASSERT_TRUE(a);
    EXPECT_EQ(*a, 7);
    EXPECT_EQ(a.value(), 7);

    Result<int> b = parseDigit('x');
    ASSERT_FALSE(b.isValid());
    EXPECT_EQ(b.error(), "not a digit: x");
}

TEST(ResultTest, moveOnlyValue) {
    Result<std::unique_ptr<int>> r{std::make_unique<int>(3)};
    std::unique_ptr<int> p = std::move(r).value();
    EXPECT_EQ(*p, 3);
}

Result<void> checkEven(int value) {
    if(value % 2) return Result<void>::fail("odd: " + std::to_string(value));
    return {};
}

TEST(ResultTest, voidResult) {
    EXPECT_TRUE(checkEven(4));
    EXPECT_TRUE(Result<void>{}.isValid());
    const Result<void> odd = checkEven(3);
    ASSERT_FALSE(odd);
    EXPECT_EQ(odd.error(), "odd: 3");
}

TEST(ResultDeathTest, accessValueOfError) {
    Result<int> r = parseDigit('?');
    EXPECT_DEATH(static_cast<void>(*r), "^Result::\\*\\(\\): Accessed value of invalid result\n$");
    EXPECT_DEATH(static_cast<void>(r.value()), "^Result::\\*\\(\\): Accessed value of invalid result\n$");
}

TEST(ResultDeathTest, accessErrorOfValue) {
    Result<int> r = parseDigit('1');
    EXPECT_DEATH(static_cast<void>(r.error()), "^Result::error\\(\\): Accessed error of valid result\n$");
    EXPECT_DEATH(static_cast<void>(checkEven(2).error()), "^Result::error\\(\\): Accessed error of valid result\n$");
}

}}}
