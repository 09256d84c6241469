#include "QuillmarshEngine/Utils/IndexRange.h"

#include "QuillmarshEngine/Debug.h"

namespace QuillmarshEngine { namespace Utils {

Debug& operator<<(Debug& debug, const IndexRange& value) {
    return debug << "IndexRange(" << Debug::nospace << value.begin << Debug::nospace << "," << value.end << Debug::nospace << ")";
}

}}
