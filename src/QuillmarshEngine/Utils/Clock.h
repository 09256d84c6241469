#ifndef QuillmarshEngine_Utils_Clock_h
#define QuillmarshEngine_Utils_Clock_h

/** @file
 * @brief Class @ref QuillmarshEngine::Utils::Clock
 */

#include <cstdint>

#include "QuillmarshEngine/visibility.h"

namespace QuillmarshEngine { namespace Utils {

/**
 * @brief Monotonic time for frames and measurements
 *
 * A clock remembers when it was started and when it last ticked. @ref elapsed() measures a span
 * of work; @ref tick() gives the time since the previous tick, which is what a host passes as
 * `dt` to the managers' updates once per frame. Reads the system's monotonic clock, which never
 * goes back and does not follow changes of the wall time. Costs one clock read per call and holds
 * no resources; a clock object is not thread-safe, the static functions are.
 */
class QUILLMARSH_EXPORT Clock {
    public:
        /** @brief Monotonic nanoseconds since an unspecified point in the past */
        [[nodiscard]] static std::uint64_t now();

        /** @brief Wall-clock nanoseconds since 1970-01-01 00:00 UTC; may jump when the system time is set */
        [[nodiscard]] static std::int64_t wallNow();

        /** @brief A clock started now */
        Clock(): _start{now()}, _lastTick{_start} {}

        /** @brief Start again from now; the next @ref tick() measures from now too */
        void restart() { _start = _lastTick = now(); }

        /** @brief Nanoseconds since construction or the last @ref restart() */
        [[nodiscard]] std::uint64_t elapsedNanoseconds() const { return now() - _start; }

        /** @brief Seconds since construction or the last @ref restart() */
        [[nodiscard]] double elapsed() const { return double(elapsedNanoseconds())*1.0e-9; }

        /** @brief Microseconds since construction or the last @ref restart() */
        [[nodiscard]] double elapsedMicroseconds() const { return double(elapsedNanoseconds())*1.0e-3; }

        /**
         * @brief Seconds since the previous tick
         *
         * The first tick measures from construction or the last @ref restart().
         */
        float tick();

    private:
        std::uint64_t _start;
        std::uint64_t _lastTick;
};

}}

#endif
