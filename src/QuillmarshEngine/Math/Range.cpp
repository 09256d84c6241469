#include "QuillmarshEngine/Math/Range.h"

#include "QuillmarshEngine/Debug.h"

namespace QuillmarshEngine { namespace Math {

template<std::size_t dimensions, class T> Debug& operator<<(Debug& debug, const Range<dimensions, T>& value) {
    if constexpr(dimensions == 1)
        return debug << "Range(" << Debug::nospace << value.min() << Debug::nospace << ","
            << value.max() << Debug::nospace << ")";
    else {
        debug << "Range({" << Debug::nospace;
        for(std::size_t i = 0; i != dimensions; ++i) {
            if(i != 0) debug << Debug::nospace << ",";
            debug << value.min()[i];
        }
        debug << Debug::nospace << "}, {" << Debug::nospace;
        for(std::size_t i = 0; i != dimensions; ++i) {
            if(i != 0) debug << Debug::nospace << ",";
            debug << value.max()[i];
        }
        return debug << Debug::nospace << "})";
    }
}

template Debug& operator<<(Debug&, const Range<1, float>&);
template Debug& operator<<(Debug&, const Range<2, float>&);
template Debug& operator<<(Debug&, const Range<3, float>&);
template Debug& operator<<(Debug&, const Range<1, double>&);
template Debug& operator<<(Debug&, const Range<2, double>&);
template Debug& operator<<(Debug&, const Range<3, double>&);
template Debug& operator<<(Debug&, const Range<1, std::int16_t>&);
template Debug& operator<<(Debug&, const Range<1, std::uint16_t>&);
template Debug& operator<<(Debug&, const Range<1, std::int32_t>&);
template Debug& operator<<(Debug&, const Range<2, std::int32_t>&);
template Debug& operator<<(Debug&, const Range<3, std::int32_t>&);
template Debug& operator<<(Debug&, const Range<1, std::uint32_t>&);
template Debug& operator<<(Debug&, const Range<2, std::uint32_t>&);
template Debug& operator<<(Debug&, const Range<3, std::uint32_t>&);

}}
