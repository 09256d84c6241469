#ifndef QuillmarshEngine_tests_OutputCapture_h
#define QuillmarshEngine_tests_OutputCapture_h

/* What the tests use to look at the library's printed output */

#include <sstream>
#include <string>

#include "QuillmarshEngine/Debug.h"

namespace QuillmarshEngine { namespace Testing {

/* Collects the debug and warning output of its scope instead of printing it */
struct Quiet {
    std::ostringstream out;
    Debug debug{&out};
    Warning warning{&out};
};

/* The text that printing a value to a debug stream gives, newline included */
template<class T> std::string print(const T& value) {
    std::ostringstream out;
    Debug{&out} << value;
    return out.str();
}

}}

#endif
