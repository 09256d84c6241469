#include <gtest/gtest.h>

#include "QuillmarshEngine/Utils/StringWriter.h"

namespace QuillmarshEngine { namespace Utils { namespace {

TEST(StringWriterTest, growth) {
    StringWriter w{11};
    EXPECT_EQ(w.capacity(), 11u);
    w.append("0123456789");
    /* Ten bytes leave one free: no growth yet */
    EXPECT_EQ(w.capacity(), 11u);
    EXPECT_EQ(w.available(), 1u);
    /* Growth to 1.5 times the capacity... */
    w.append('x');
    EXPECT_EQ(w.capacity(), 16u);
    /* ...or to the needed size when that is larger */
    w.append(std::string(40, 'y'));
    EXPECT_EQ(w.capacity(), 52u);
    EXPECT_EQ(w.size(), 51u);
    EXPECT_EQ(w.view(), "0123456789x" + std::string(40, 'y'));

    StringWriter empty;
    EXPECT_EQ(empty.capacity(), 0u);
    empty.append("ab", 2);
    EXPECT_EQ(empty.capacity(), 3u);
    EXPECT_EQ(empty.toString(), "ab");
    empty.clear();
    EXPECT_EQ(empty.view(), "");
    EXPECT_EQ(empty.capacity(), 3u);
}

TEST(StringWriterTest, writeWithinCapacity) {
    StringWriter w{4};
    w.write("abc");
    EXPECT_EQ(w.view(), "abc");
    /* Empty views without any data are fine, also into a buffer that has none yet */
    w.write(std::string_view{});
    w.append(std::string_view{});
    StringWriter none;
    none.append(std::string_view{});
    EXPECT_EQ(none.size(), 0u);
    StringWriter moved = std::move(w);
    EXPECT_EQ(moved.view(), "abc");
    EXPECT_EQ(w.size(), 0u);
}

TEST(StringWriterDeathTest, writeOverrun) {
    StringWriter w{4};
    w.write("ab");
    EXPECT_DEATH(w.write("cd"), "^Assertion available\\(\\) > bytes failed at Utils/StringWriter:85\n$");
}

}}}
