#ifndef quillmarsh_demo_DemoArguments_h
#define quillmarsh_demo_DemoArguments_h

/* Command-line helpers shared by the demo host's parts */

#include <cstdint>
#include <cstdlib>

namespace DemoArguments {

/* Parses a whole decimal number from min to max into out; false (out untouched) on anything else:
   an empty text, a sign, trailing characters, a value out of range */
inline bool parseNumber(const char* const text, const std::uint32_t min, const std::uint32_t max, std::uint32_t& out) {
    char* end = nullptr;
    const unsigned long long value = std::strtoull(text, &end, 10);
    if(!*text || *end || text[0] == '-' || value < min || value > max) return false;
    out = std::uint32_t(value);
    return true;
}

}

#endif
