#include "AllocationCounter.h"

#include <atomic>
#include <cstdlib>
#include <new>

/* In a file of its own: where the compiler sees these bodies beside the allocations it inlines,
   it takes the free() below for a mismatched deallocation */

namespace {

std::atomic<std::size_t> count{0};

}

void* operator new(std::size_t size) {
    ++count;
    if(void* p = std::malloc(size ? size : 1)) return p;
    throw std::bad_alloc{};
}

void* operator new[](std::size_t size) { return operator new(size); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }

namespace QuillmarshEngine { namespace Test {

std::size_t allocationCount() { return count; }

}}
