#include <sstream>
#include <thread>

#include <gtest/gtest.h>

#include "QuillmarshEngine/Debug.h"

namespace QuillmarshEngine { namespace {

enum class Fruit: std::uint8_t { Apple = 1, Pear = 2 };

Debug& operator<<(Debug& debug, Fruit value) {
    switch(value) {
        case Fruit::Apple: return Implementation::printEnumValue(debug, "Fruit", "Apple");
        case Fruit::Pear: return Implementation::printEnumValue(debug, "Fruit", "Pear");
    }
    return Implementation::printUnknownEnum(debug, "Fruit", std::uint8_t(value));
}

TEST(DebugTest, spacingAndNewline) {
    std::ostringstream out;
    Debug{&out} << "a" << 5 << 2.5f;
    Debug{&out} << "b" << Debug::nospace << "c" << Debug::nospace << 1 << "d";
    Debug{&out} << "x" << Debug::newline << 16;
    Debug{&out} << "p" << Debug::space << "q";
    Debug{&out};
    EXPECT_EQ(out.str(), "a 5 2.5\nbc1 d\nx\n16\np q\n");
}

TEST(DebugTest, flags) {
    std::ostringstream out;
    Debug{&out, Debug::Flag::NoNewlineAtTheEnd} << "a" << "b";
    Debug{&out, Debug::Flag::NoSpace} << "c" << "d";
    EXPECT_EQ(out.str(), "a bcd\n");
}

TEST(DebugTest, scalars) {
    std::ostringstream out;
    Debug{&out} << true << false << 'a' << (unsigned char)200 << (signed char)-3 << short(-7) << (unsigned short)65535;
    Debug{&out} << -2147483647 - 1 << 4294967295u << -9223372036854775807ll << 18446744073709551615ull;
    Debug{&out} << 1.0f << 0.1f << 3.14159265f << 1e8f << 123456789.0 << 0.5l;
    Debug{&out} << nullptr << static_cast<const char*>(nullptr) << "end";
    Debug{&out} << Debug::hex << 0xc0ffee << 12 << Debug::hex << -1;
    Debug{&out} << reinterpret_cast<const void*>(0x1234) << reinterpret_cast<int*>(0xbeef);
    Debug{&out} << std::string{"str"} << std::string_view{"view"};
    EXPECT_EQ(out.str(),
        "true false 97 200 -3 -7 65535\n"
        "-2147483648 4294967295 -9223372036854775807 18446744073709551615\n"
        "1 0.1 3.14159 1e+08 123456789 0.5\n"
        "nullptr end\n"
        "0xc0ffee 12 0xffffffff\n"
        "0x1234 0xbeef\n"
        "str view\n");
}

TEST(DebugTest, enums) {
    std::ostringstream out;
    Debug{&out} << Fruit::Apple << Fruit::Pear << Fruit(0xbe);
    Debug{&out} << Debug::Flag::Hex << Debug::Flag(0x40);
    EXPECT_EQ(out.str(), "Fruit::Apple Fruit::Pear Fruit(0xbe)\nDebug::Flag::Hex Debug::Flag(0x40)\n");
}

TEST(DebugTest, redirectionNestsAndRestores) {
    std::ostringstream outer, inner;
    EXPECT_EQ(Debug::output(), Debug::defaultOutput());
    {
        Debug redirectOuter{&outer};
        Debug{} << "one";
        {
            Debug redirectInner{&inner};
            Debug{} << "two";
            EXPECT_EQ(Debug::output(), &inner);
        }
        Debug{} << "three";
        {
            Debug silence{nullptr};
            EXPECT_EQ(Debug::output(), nullptr);
            Debug{} << "silenced";
        }
        EXPECT_EQ(Debug::output(), &outer);
    }
    EXPECT_EQ(Debug::output(), Debug::defaultOutput());
    EXPECT_EQ(outer.str(), "one\nthree\n");
    EXPECT_EQ(inner.str(), "two\n");
}

TEST(DebugTest, kindsRedirectIndependently) {
    std::ostringstream debug, warning, error;
    EXPECT_EQ(Warning::defaultOutput(), Error::defaultOutput());
    EXPECT_NE(Debug::defaultOutput(), Warning::defaultOutput());
    Debug d{&debug};
    Warning w{&warning};
    Error e{&error};
    Debug{} << "d";
    Warning{} << "w";
    Error{} << "e";
    EXPECT_EQ(debug.str(), "d\n");
    EXPECT_EQ(warning.str(), "w\n");
    EXPECT_EQ(error.str(), "e\n");
}

TEST(DebugTest, redirectionIsPerThread) {
    /* Each thread redirects to its own stream and prints many lines; none may land elsewhere */
    constexpr int Lines = 2000;
    std::ostringstream outs[2];
    std::atomic<int> ready{0};
    auto body = [&](int t) {
        Debug redirect{&outs[t]};
        Warning redirectWarning{&outs[t]};
        ready.fetch_add(1);
        while(ready.load() != 2) {}
        for(int i = 0; i != Lines; ++i) {
            Debug{} << "thread" << t;
            Warning{} << "warning" << t;
        }
    };
    std::thread a{body, 0}, b{body, 1};
    a.join();
    b.join();
    for(int t = 0; t != 2; ++t) {
        std::istringstream in{outs[t].str()};
        std::string line;
        int count = 0;
        while(std::getline(in, line)) {
            ASSERT_TRUE(line == "thread " + std::to_string(t) || line == "warning " + std::to_string(t)) << line;
            ++count;
        }
        EXPECT_EQ(count, 2*Lines);
    }
    /* The main thread was never redirected */
    EXPECT_EQ(Debug::output(), Debug::defaultOutput());
}

}}
