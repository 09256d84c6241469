#include "QuillmarshEngine/Assert.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>

namespace QuillmarshEngine { namespace Implementation {

const char* sourcePath(const char* file) {
    static constexpr char Root[] = "QuillmarshEngine/";
    const char* found = nullptr;
    for(const char* at = std::strstr(file, Root); at; at = std::strstr(at + 1, Root))
        found = at;
    return found ? found + sizeof(Root) - 1 : file;
}

void abort() {
    std::cout.flush();
    std::cerr.flush();
    std::fflush(nullptr);
    std::abort();
}

void internalAssertionFailed(const char* expression, const char* file, int line) {
    {
        Error e{Error::defaultOutput()};
        e << "Assertion" << expression << "failed at" << sourcePath(file) << Debug::nospace << ":" << Debug::nospace << line;
    }
    abort();
}

void unreachable(const char* file, int line) {
    {
        Error e{Error::defaultOutput()};
        e << "Reached unreachable code at" << sourcePath(file) << Debug::nospace << ":" << Debug::nospace << line;
    }
    abort();
}

}}
