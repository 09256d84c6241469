#ifndef QuillmarshEngine_tests_AllocationCounter_h
#define QuillmarshEngine_tests_AllocationCounter_h

/* Link AllocationCounter.cpp into a test to replace the global operator new with one that
   counts, so that the test can tell that a call allocated nothing */

#include <cstddef>

namespace QuillmarshEngine { namespace Test {

/* Allocations through operator new so far, on every thread */
std::size_t allocationCount();

}}

#endif
