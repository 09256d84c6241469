#include <gtest/gtest.h>

#include "QuillmarshEngine/Data/LanguageData.h"
#include "RecordTestHelpers.h"

namespace QuillmarshEngine { namespace Data { namespace {

using namespace Test;

TEST(LanguageDataTest, language) {
    StringArray strings{"hello", "hallo", "bye", "tschüss"};
    const std::vector<char> record = createLanguageData("Deutsch", "de", 2, strings.view());
    Bytes expected;
    expected.field("Deutsch", 64).field("de", 32).u32(2).text("hello").zeros(1).text("hallo").zeros(1).text("bye").zeros(1).text("tschüss").zeros(1);
    EXPECT_EQ(str(record), expected.data);

    const LanguageData view{record};
    EXPECT_EQ(view.name(), "Deutsch");
    EXPECT_EQ(view.code(), "de");
    EXPECT_EQ(view.pairCount(), 2u);
    EXPECT_EQ(view.term(1), "bye");
    EXPECT_EQ(view.translation(1), "tschüss");
}

TEST(LanguageDataTest, read) {
    const StringArray strings{"hello", "hallo", "", "leer"};
    const std::vector<char> record = createLanguageData("Deutsch", "de", 2, strings.view());
    const Utils::Result<LanguageData> language = readLanguageData(record);
    ASSERT_TRUE(language) << language.error();
    EXPECT_EQ(language->name(), "Deutsch");
    EXPECT_EQ(language->term(1), "");
    EXPECT_EQ(language->translation(1), "leer");

    expectCutsRefused(readLanguageData, record);
    EXPECT_EQ(patchedError(readLanguageData, record, 96, 3), "offset 100: language record: expected 6 strings, found 4");
    /* A count whose string count does not fit 32 bits */
    EXPECT_EQ(patchedError(readLanguageData, record, 96, 0xffffffffu), "offset 100: language record: expected 8589934590 strings, found 4");
    EXPECT_EQ(readExact(readLanguageData, std::span<const char>{record}.first(99)).error(), "offset 0: language record of 99 bytes is smaller than its 100 byte head");
    std::vector<char> unterminated = record;
    std::fill_n(unterminated.begin(), 64, 'n');
    EXPECT_EQ(readExact(readLanguageData, unterminated).error(), "offset 0: language name or code is not terminated");
}

TEST(LanguageDataDeathTest, names) {
    EXPECT_DEATH(createLanguageData(std::string(64, 'l'), "de", 0, StringArrayView{}), "^createLanguageData\\(\\): Language name too long.\n$");
    EXPECT_DEATH(createLanguageData("l", std::string(32, 'c'), 0, StringArrayView{}), "^createLanguageData\\(\\): Language code too long.\n$");
}

}}}
