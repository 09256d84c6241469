#include <sstream>
#include <type_traits>

#include <gtest/gtest.h>

#include "QuillmarshEngine/Data/Id.h"
#include "QuillmarshEngine/Debug.h"
#include "QuillmarshEngine/Utils/IndexRange.h"

namespace QuillmarshEngine { namespace Data { namespace {

static_assert(std::is_standard_layout_v<Id> && std::is_trivially_copyable_v<Id>);

TEST(IdTest, indexesAndPrints) {
    const int column[]{10, 20, 30};
    Id id{2};
    EXPECT_EQ(column[id], 30);
    EXPECT_EQ(Id{}, 0);
    EXPECT_TRUE(Id{5} == Id{5});
    std::ostringstream out;
    Debug{&out} << Id{5} << Id{65535} << Utils::IndexRange{3, 9};
    EXPECT_EQ(out.str(), "Id(5) Id(65535) IndexRange(3, 9)\n");
}

TEST(IdTest, indexRange) {
    constexpr Utils::IndexRange r{4, 10};
    static_assert(r.size() == 6);
    EXPECT_TRUE(r.contains(4));
    EXPECT_FALSE(r.contains(10));
    EXPECT_TRUE((Utils::IndexRange{5, 5}).isEmpty());
    EXPECT_EQ((Utils::IndexRange{7, 2}).size(), 0);
}

}}}
