#include "QuillmarshEngine/Utils/Clock.h"

#include <chrono>

namespace QuillmarshEngine { namespace Utils {

std::uint64_t Clock::now() {
    return std::uint64_t(std::chrono::duration_cast<std::chrono::nanoseconds>(
        std::chrono::steady_clock::now().time_since_epoch()).count());
}

std::int64_t Clock::wallNow() {
    return std::int64_t(std::chrono::duration_cast<std::chrono::nanoseconds>(
        std::chrono::system_clock::now().time_since_epoch()).count());
}

float Clock::tick() {
    const std::uint64_t time = now();
    const std::uint64_t delta = time - _lastTick;
    _lastTick = time;
    return float(double(delta)*1.0e-9);
}

}}
