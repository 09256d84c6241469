#include <memory>

#include <gtest/gtest.h>

#include "QuillmarshEngine/Function.h"

namespace QuillmarshEngine { namespace {

/* Counts live instances, so that every construction is matched by exactly one destruction */
struct Tracked {
    static int alive;
    static int destroyed;
    Tracked() { ++alive; }
    Tracked(const Tracked&) { ++alive; }
    Tracked(Tracked&&) noexcept { ++alive; }
    ~Tracked() { --alive; ++destroyed; }
};
int Tracked::alive = 0;
int Tracked::destroyed = 0;

template<std::size_t Size> struct Callable {
    Tracked tracked;
    unsigned char padding[Size];
    int operator()(int a) { return a + int(sizeof(padding)); }
};

int twice(int a) { return 2*a; }

TEST(FunctionTest, empty) {
    Function<int(int)> a;
    Function<int(int)> b{nullptr};
    Function<int(int)> c{static_cast<int(*)(int)>(nullptr)};
    EXPECT_FALSE(a);
    EXPECT_FALSE(b);
    EXPECT_FALSE(c);
    EXPECT_FALSE(a.isAllocated());
}

TEST(FunctionTest, smallCallableIsInline) {
    Tracked::alive = 0;
    {
        int captured = 3;
        Function<int(int)> f = [captured](int a) { return a*captured; };
        EXPECT_TRUE(f);
        EXPECT_FALSE(f.isAllocated());
        EXPECT_EQ(f(4), 12);
        Function<int(int)> g{twice};
        EXPECT_EQ(g(5), 10);

        Function<int(int)> h{Callable<40>{}};
        EXPECT_FALSE(h.isAllocated());
        EXPECT_EQ(h(1), 41);
        EXPECT_EQ(Tracked::alive, 1);
    }
    EXPECT_EQ(Tracked::alive, 0);
}

TEST(FunctionTest, largeCallableIsOnTheHeap) {
    Tracked::alive = 0;
    Tracked::destroyed = 0;
    {
        Function<int(int)> f{Callable<100>{}};
        EXPECT_TRUE(f.isAllocated());
        EXPECT_EQ(f(1), 101);
        const int destroyedBefore = Tracked::destroyed;
        Function<int(int)> g{std::move(f)};
        /* Moving a heap callable moves the pointer, nothing is destroyed */
        EXPECT_EQ(Tracked::destroyed, destroyedBefore);
        EXPECT_FALSE(f);
        EXPECT_EQ(g(2), 102);
        EXPECT_EQ(Tracked::alive, 1);
    }
    EXPECT_EQ(Tracked::alive, 0);
}

TEST(FunctionTest, moveOnlyCallable) {
    auto p = std::make_unique<int>(7);
    Function<int()> f = [p = std::move(p)]() { return *p; };
    EXPECT_EQ(f(), 7);
    Function<int()> g;
    g = std::move(f);
    EXPECT_FALSE(f);
    EXPECT_EQ(g(), 7);
}

TEST(FunctionTest, moveAssignDestroysThePreviousCallableOnce) {
    Tracked::alive = 0;
    {
        Function<int(int)> a{Callable<8>{}};
        Function<int(int)> b{Callable<200>{}};
        EXPECT_EQ(Tracked::alive, 2);
        a = std::move(b);
        EXPECT_EQ(Tracked::alive, 1);
        EXPECT_EQ(a(0), 200);
        /* Self-assignment through an alias keeps the callable */
        Function<int(int)>& alias = a;
        a = std::move(alias);
        EXPECT_EQ(Tracked::alive, 1);
        a.reset();
        EXPECT_EQ(Tracked::alive, 0);
        EXPECT_FALSE(a);
    }
    EXPECT_EQ(Tracked::alive, 0);
}

TEST(FunctionTest, referenceArgumentsAndVoid) {
    int counter = 0;
    Function<void(int&)> f = [](int& x) { ++x; };
    f(counter);
    f(counter);
    EXPECT_EQ(counter, 2);
}

TEST(FunctionDeathTest, callEmpty) {
    Function<void()> f;
    EXPECT_DEATH(f(), "^Function::operator\\(\\)\\(\\): the function is empty\n$");
}

}}
