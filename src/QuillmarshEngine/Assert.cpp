#include "QuillmarshEngine/Assert.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string_view>

namespace QuillmarshEngine { namespace Implementation {

std::string_view sourcePath(const char* file) {
    static constexpr char Root[] = "QuillmarshEngine/";
    const char* found = nullptr;
    for(const char* at = std::strstr(file, Root); at; at = std::strstr(at + 1, Root))
        found = at;
    std::string_view path = found ? found + sizeof(Root) - 1 : file;
    /* Drop the extension: the last dot of the file name, not of a directory */
    const std::size_t slash = path.rfind('/');
    const std::size_t dot = path.rfind('.');
    if(dot != std::string_view::npos && dot != 0 && (slash == std::string_view::npos || dot > slash + 1))
        path = path.substr(0, dot);
    return path;
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
