#include <gtest/gtest.h>

#include "QuillmarshEngine/Data/LocaleData.h"
#include "RecordTestHelpers.h"

namespace QuillmarshEngine { namespace Data { namespace {

using namespace Test;

TEST(LocaleDataTest, locale) {
    const std::pair<std::string_view, std::string_view> pairs[]{{"a", "b"}, {"c", ""}};
    const std::string_view extras[]{"x", "y"};
    const std::string_view terms[]{"greeting"};
    const LocaleLinkHeader links[]{{0x0011, 2, 5}};
    const std::vector<char> record = createLocaleData(pairs, extras, terms, links);
    Bytes expected;
    expected.u32(2).u32(1).u16(0x0011).u16(2).u32(5)
        .text("a").zeros(1).text("b").zeros(1).text("x").zeros(1)
        .text("c").zeros(1).zeros(1).text("y").zeros(1)
        .text("greeting").zeros(1);
    EXPECT_EQ(str(record), expected.data);

    /* Read back the way term links are loaded: type in the upper half of word 2 + 2i */
    std::uint32_t word;
    std::memcpy(&word, record.data() + 8, 4);
    EXPECT_EQ(word >> 16, 2u);
    EXPECT_EQ(word & 0xffff, 0x11u);
    const LocaleData view{record};
    EXPECT_EQ(view.linkCount(), 1u);
    EXPECT_EQ(view.link(0).parameter, 5u);
    EXPECT_EQ(view.pairSecond(1), "");
    EXPECT_EQ(view.pairExtra(1), "y");
    EXPECT_EQ(view.linkTerm(0), "greeting");
}

TEST(LocaleDataDeathTest, lists) {
    const std::string_view terms[]{"a", "b"};
    const LocaleLinkHeader links[1]{};
    EXPECT_DEATH(createLocaleData({}, {}, terms, links), "^createLocaleData\\(\\): expected one string per link, 1 links but 2 strings\n$");
}

}}}
