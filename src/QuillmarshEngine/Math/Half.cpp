#include "QuillmarshEngine/Math/Half.h"

#include <cstdio>

#include "QuillmarshEngine/Debug.h"

namespace QuillmarshEngine { namespace Math {

Debug& operator<<(Debug& debug, const Half value) {
    char text[32];
    std::snprintf(text, sizeof(text), "%.4g", double(float(value)));
    return debug.print(text);
}

}}
