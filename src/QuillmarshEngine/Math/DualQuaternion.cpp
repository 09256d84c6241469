#include "QuillmarshEngine/Math/DualQuaternion.h"

#include "QuillmarshEngine/Debug.h"

namespace QuillmarshEngine { namespace Math {

template<class T> Debug& operator<<(Debug& debug, const DualQuaternion<T>& value) {
    const Quaternion<T>& r = value.real();
    const Quaternion<T>& d = value.dual();
    return debug << "DualQuaternion({{" << Debug::nospace
        << r.x() << Debug::nospace << "," << r.y() << Debug::nospace << "," << r.z() << Debug::nospace << "},"
        << r.w() << Debug::nospace << "}, {{" << Debug::nospace
        << d.x() << Debug::nospace << "," << d.y() << Debug::nospace << "," << d.z() << Debug::nospace << "},"
        << d.w() << Debug::nospace << "})";
}

template Debug& operator<<(Debug&, const DualQuaternion<float>&);
template Debug& operator<<(Debug&, const DualQuaternion<double>&);

}}
