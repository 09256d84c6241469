#include <gtest/gtest.h>

#include "QuillmarshEngine/StringArray.h"

namespace QuillmarshEngine { namespace {

using namespace std::string_view_literals;

TEST(StringArrayTest, exactCountScanKeepsEmptyStrings) {
    constexpr char data[] = "ab\0\0cde\0tail";
    StringArrayView view{std::span<const char>{data, sizeof(data) - 1}, 3};
    ASSERT_EQ(view.size(), 3u);
    EXPECT_EQ(view[0], "ab");
    EXPECT_EQ(view[1], "");
    EXPECT_EQ(view[2], "cde");
    /* Every string is null-terminated in place */
    EXPECT_EQ(view[2].data()[3], '\0');
    EXPECT_EQ(view.usedSize(), 8u);
    const std::uint64_t expected[]{0, 3, 4, 8};
    EXPECT_TRUE(std::equal(view.offsets().begin(), view.offsets().end(), std::begin(expected), std::end(expected)));
    EXPECT_EQ(view.find("cde"), 2);
    EXPECT_EQ(view.find("x"), -1);
}

TEST(StringArrayTest, blockScanStopsAtFirstEmptyString) {
    constexpr char data[] = "one\0two\0\0three\0";
    StringArrayView view{std::span<const char>{data, sizeof(data) - 1}};
    ASSERT_EQ(view.size(), 2u);
    EXPECT_EQ(view[1], "two");

    /* An unterminated tail is not a string */
    constexpr char tail[] = "one\0tw";
    EXPECT_EQ(StringArrayView{std::span<const char>(tail, sizeof(tail) - 1)}.size(), 1u);
    EXPECT_EQ(StringArrayView{std::span<const char>{}}.size(), 0u);
    EXPECT_TRUE(StringArrayView{}.isEmpty());
}

TEST(StringArrayTest, zeroCountOnEmptyBlock) {
    StringArrayView view{std::span<const char>{}, 0};
    EXPECT_TRUE(view.isEmpty());
    EXPECT_EQ(view.offsets().size(), 1u);
}

TEST(StringArrayTest, mutableAddUntilExhausted) {
    char block[10]{};
    MutableStringArrayView view{block};
    EXPECT_EQ(view.unusedCapacity(), 10u);
    EXPECT_EQ(view.add("abc"), 0u);
    EXPECT_EQ(view.add(""), 1u);
    EXPECT_EQ(view.unusedCapacity(), 5u);
    /* Exactly fills the block: length + 1 bytes */
    EXPECT_EQ(view.add("wxyz"), 2u);
    EXPECT_EQ(view.unusedCapacity(), 0u);
    EXPECT_EQ(std::string_view(block, 10), "abc\0\0wxyz\0"sv);
    /* The block read back with a count sees the same strings */
    StringArrayView again{std::span<const char>{block}, 3};
    EXPECT_EQ(again[2], "wxyz");
}

TEST(StringArrayTest, mutableViewOverExistingStrings) {
    char block[12] = "a\0b";
    MutableStringArrayView view{block, 2};
    EXPECT_EQ(view.unusedCapacity(), 8u);
    view.add("cc");
    EXPECT_EQ(view[2], "cc");
}

TEST(StringArrayTest, owning) {
    StringArray array{"first", "", "third"};
    EXPECT_EQ(array.size(), 3u);
    EXPECT_EQ(array[0], "first");
    EXPECT_EQ(array[1], "");
    EXPECT_EQ(array.add("fourth"), 3u);
    EXPECT_EQ(array.data().size(), 20u);
    StringArrayView view = array.view();
    EXPECT_EQ(view[3], "fourth");
    StringArray copy{view};
    EXPECT_EQ(copy[2], "third");
    EXPECT_EQ(copy.size(), 4u);
}

TEST(StringArrayDeathTest, dataTooSmall) {
    constexpr char data[] = "a\0";
    EXPECT_DEATH((StringArrayView{std::span<const char>{data, 2}, 3}),
        "^StringArrayView\\(\\): data too small to hold existing element count\n$");
}

TEST(StringArrayDeathTest, fewerStringsThanCount) {
    constexpr char data[] = "abc\0def";
    EXPECT_DEATH((StringArrayView{std::span<const char>{data, 7}, 2}),
        "^StringArrayView\\(\\): data did not contain 2 existing elements values\n$");
}

TEST(StringArrayDeathTest, invalidIndex) {
    StringArray array{"a", "b"};
    EXPECT_DEATH(array.get(2), "^StringArrayView::get\\(\\): invalid index 2 for size 2\n$");
    EXPECT_DEATH(array.view()[5], "^StringArrayView::get\\(\\): invalid index 5 for size 2\n$");
}

TEST(StringArrayDeathTest, capacityExhausted) {
    char block[4]{};
    MutableStringArrayView view{block};
    view.add("ab");
    EXPECT_DEATH(view.add("c"), "^MutableStringArrayView::add\\(\\): Capacity exhausted\n$");
}

}}
