#include "QuillmarshEngine/Math/BoundingSphere.h"

#include "QuillmarshEngine/Debug.h"

namespace QuillmarshEngine { namespace Math {

template<class T> Debug& operator<<(Debug& debug, const BoundingSphere<T>& value) {
    const Vector3<T>& c = value.center();
    return debug << "BoundingSphere({" << Debug::nospace << c[0] << Debug::nospace << "," << c[1]
        << Debug::nospace << "," << c[2] << Debug::nospace << "}," << value.radius() << Debug::nospace << ")";
}

template Debug& operator<<(Debug&, const BoundingSphere<float>&);
template Debug& operator<<(Debug&, const BoundingSphere<double>&);

}}
