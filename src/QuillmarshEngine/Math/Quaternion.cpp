#include "QuillmarshEngine/Math/Quaternion.h"

#include "QuillmarshEngine/Debug.h"

namespace QuillmarshEngine { namespace Math {

template<class T> Debug& operator<<(Debug& debug, const Quaternion<T>& value) {
    return debug << "Quaternion({" << Debug::nospace << value.x() << Debug::nospace << ","
        << value.y() << Debug::nospace << "," << value.z() << Debug::nospace << "},"
        << value.w() << Debug::nospace << ")";
}

template Debug& operator<<(Debug&, const Quaternion<float>&);
template Debug& operator<<(Debug&, const Quaternion<double>&);

}}
