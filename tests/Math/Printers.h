#ifndef QuillmarshEngine_Tests_Math_Printers_h
#define QuillmarshEngine_Tests_Math_Printers_h

/* Lets GoogleTest print math values in failure messages the way Debug prints them */

#include <ostream>

#include "QuillmarshEngine/Debug.h"
#include "QuillmarshEngine/Math/Types.h"

namespace QuillmarshEngine { namespace Math {

template<std::size_t size, class T> std::ostream& operator<<(std::ostream& out, const Vector<size, T>& value) {
    Debug{&out, Debug::Flag::NoNewlineAtTheEnd} << value;
    return out;
}
template<std::size_t size, class T> std::ostream& operator<<(std::ostream& out, const Matrix<size, T>& value) {
    Debug{&out, Debug::Flag::NoNewlineAtTheEnd} << value;
    return out;
}
template<class T> std::ostream& operator<<(std::ostream& out, const Quaternion<T>& value) {
    Debug{&out, Debug::Flag::NoNewlineAtTheEnd} << value;
    return out;
}
template<class T> std::ostream& operator<<(std::ostream& out, const DualQuaternion<T>& value) {
    Debug{&out, Debug::Flag::NoNewlineAtTheEnd} << value;
    return out;
}
template<std::size_t dimensions, class T> std::ostream& operator<<(std::ostream& out, const Range<dimensions, T>& value) {
    Debug{&out, Debug::Flag::NoNewlineAtTheEnd} << value;
    return out;
}

}}

#endif
