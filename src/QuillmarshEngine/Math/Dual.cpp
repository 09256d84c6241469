#include "QuillmarshEngine/Math/Dual.h"

#include "QuillmarshEngine/Debug.h"

namespace QuillmarshEngine { namespace Math {

template<class T> Debug& operator<<(Debug& debug, const Dual<T>& value) {
    return debug << "Dual(" << Debug::nospace << value.real() << Debug::nospace << ","
        << value.dual() << Debug::nospace << ")";
}

template Debug& operator<<(Debug&, const Dual<float>&);
template Debug& operator<<(Debug&, const Dual<double>&);

}}
