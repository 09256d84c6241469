#include "QuillmarshEngine/Math/Vector.h"

#include "QuillmarshEngine/Debug.h"

namespace QuillmarshEngine { namespace Math {

template<std::size_t size, class T> Debug& operator<<(Debug& debug, const Vector<size, T>& value) {
    debug << "Vector(" << Debug::nospace;
    for(std::size_t i = 0; i != size; ++i) {
        if(i != 0) debug << Debug::nospace << ",";
        debug << value[i];
    }
    return debug << Debug::nospace << ")";
}

template Debug& operator<<(Debug&, const Vector<1, float>&);
template Debug& operator<<(Debug&, const Vector<2, float>&);
template Debug& operator<<(Debug&, const Vector<3, float>&);
template Debug& operator<<(Debug&, const Vector<4, float>&);
template Debug& operator<<(Debug&, const Vector<1, double>&);
template Debug& operator<<(Debug&, const Vector<2, double>&);
template Debug& operator<<(Debug&, const Vector<3, double>&);
template Debug& operator<<(Debug&, const Vector<4, double>&);
template Debug& operator<<(Debug&, const Vector<1, std::int8_t>&);
template Debug& operator<<(Debug&, const Vector<2, std::int8_t>&);
template Debug& operator<<(Debug&, const Vector<3, std::int8_t>&);
template Debug& operator<<(Debug&, const Vector<4, std::int8_t>&);
template Debug& operator<<(Debug&, const Vector<1, std::uint8_t>&);
template Debug& operator<<(Debug&, const Vector<2, std::uint8_t>&);
template Debug& operator<<(Debug&, const Vector<3, std::uint8_t>&);
template Debug& operator<<(Debug&, const Vector<4, std::uint8_t>&);
template Debug& operator<<(Debug&, const Vector<1, std::int16_t>&);
template Debug& operator<<(Debug&, const Vector<2, std::int16_t>&);
template Debug& operator<<(Debug&, const Vector<3, std::int16_t>&);
template Debug& operator<<(Debug&, const Vector<4, std::int16_t>&);
template Debug& operator<<(Debug&, const Vector<1, std::uint16_t>&);
template Debug& operator<<(Debug&, const Vector<2, std::uint16_t>&);
template Debug& operator<<(Debug&, const Vector<3, std::uint16_t>&);
template Debug& operator<<(Debug&, const Vector<4, std::uint16_t>&);
template Debug& operator<<(Debug&, const Vector<1, std::int32_t>&);
template Debug& operator<<(Debug&, const Vector<2, std::int32_t>&);
template Debug& operator<<(Debug&, const Vector<3, std::int32_t>&);
template Debug& operator<<(Debug&, const Vector<4, std::int32_t>&);
template Debug& operator<<(Debug&, const Vector<1, std::uint32_t>&);
template Debug& operator<<(Debug&, const Vector<2, std::uint32_t>&);
template Debug& operator<<(Debug&, const Vector<3, std::uint32_t>&);
template Debug& operator<<(Debug&, const Vector<4, std::uint32_t>&);

}}
