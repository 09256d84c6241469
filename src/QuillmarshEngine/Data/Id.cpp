#include "QuillmarshEngine/Data/Id.h"

#include "QuillmarshEngine/Debug.h"

namespace QuillmarshEngine { namespace Data {

Debug& operator<<(Debug& debug, Id value) {
    return debug << "Id(" << Debug::nospace << value.value << Debug::nospace << ")";
}

}}
