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

TEST(LocaleDataTest, read) {
    /* Empty strings among the pairs: the link terms are found by count, not by a scan that
       would stop at the first empty string */
    const std::pair<std::string_view, std::string_view> pairs[]{{"a", ""}, {"", ""}};
    const std::string_view extras[]{"", "x"};
    const std::string_view terms[]{"greeting", ""};
    const LocaleLinkHeader links[]{{3, 2, 0}, {4, 3, 1}};
    const std::vector<char> record = createLocaleData(pairs, extras, terms, links);
    const Utils::Result<LocaleData> locale = readLocaleData(record);
    ASSERT_TRUE(locale) << locale.error();
    EXPECT_EQ(locale->linkCount(), 2u);
    EXPECT_EQ(locale->linkTerm(0), "greeting");
    EXPECT_EQ(locale->linkTerm(1), "");
    EXPECT_EQ(locale->link(1).component, 4);

    expectCutsRefused(readLocaleData, record);
    EXPECT_EQ(patchedError(readLocaleData, record, 4, 5), "offset 4: 5 locale links exceed the 42 byte record");
    EXPECT_EQ(patchedError(readLocaleData, record, 0, 3), "offset 24: locale record: expected 11 strings, found 8");
    /* Three strings per pair overflow 32 bits here; the count is taken in 64 */
    EXPECT_EQ(patchedError(readLocaleData, record, 0, 0x55555556u), "offset 24: locale record: expected 4294967300 strings, found 8");
    EXPECT_EQ(readExact(readLocaleData, std::vector<char>(7)).error(), "offset 0: locale record of 7 bytes can't hold its counts");
}

TEST(LocaleDataDeathTest, lists) {
    const std::string_view terms[]{"a", "b"};
    const LocaleLinkHeader links[1]{};
    EXPECT_DEATH(createLocaleData({}, {}, terms, links), "^createLocaleData\\(\\): expected one string per link, 1 links but 2 strings\n$");
}

}}}
