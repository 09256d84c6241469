#include <gtest/gtest.h>

#include <chrono>
#include <ctime>
#include <thread>

#include "QuillmarshEngine/Utils/Clock.h"

namespace QuillmarshEngine { namespace Utils { namespace {

TEST(ClockTest, nowIsMonotonic) {
    std::uint64_t previous = Clock::now();
    for(int i = 0; i != 1000; ++i) {
        const std::uint64_t time = Clock::now();
        ASSERT_GE(time, previous);
        previous = time;
    }
}

TEST(ClockTest, wallNowIsUnixTime) {
    const std::int64_t seconds = std::int64_t(std::time(nullptr));
    const std::int64_t wall = Clock::wallNow()/1000000000;
    EXPECT_LE(std::abs(wall - seconds), 1);
}

TEST(ClockTest, elapsedAndTick) {
    Clock clock;
    std::this_thread::sleep_for(std::chrono::milliseconds{5});
    /* Sleeping lasts at least as long as asked; how much longer depends on the machine */
    EXPECT_GE(clock.elapsedNanoseconds(), 5000000u);
    EXPECT_GE(clock.elapsed(), 0.005);
    EXPECT_GE(clock.elapsedMicroseconds(), 5000.0);

    const float first = clock.tick();
    EXPECT_GE(first, 0.005f);
    std::this_thread::sleep_for(std::chrono::milliseconds{2});
    const float second = clock.tick();
    /* A tick measures from the previous one, not from the start */
    EXPECT_GE(second, 0.002f);
    EXPECT_LT(second, float(clock.elapsed()));

    clock.restart();
    EXPECT_LT(clock.elapsed(), 0.005);
    EXPECT_LT(clock.tick(), float(clock.elapsed()) + 1.0e-3f);
}

}}}
