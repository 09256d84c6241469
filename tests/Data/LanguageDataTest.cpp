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

TEST(LanguageDataDeathTest, names) {
    EXPECT_DEATH(createLanguageData(std::string(64, 'l'), "de", 0, StringArrayView{}), "^createLanguageData\\(\\): Language name too long.\n$");
    EXPECT_DEATH(createLanguageData("l", std::string(32, 'c'), 0, StringArrayView{}), "^createLanguageData\\(\\): Language code too long.\n$");
}

}}}
