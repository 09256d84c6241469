#include "QuillmarshEngine/Animation/SoaTransform.h"

namespace QuillmarshEngine { namespace Animation {

Debug& operator<<(Debug& debug, const Transform& value) {
    return debug << "Transform(" << Debug::nospace << value.translation << Debug::nospace << ","
        << value.rotation << Debug::nospace << "," << value.scale << Debug::nospace << ")";
}

}}
