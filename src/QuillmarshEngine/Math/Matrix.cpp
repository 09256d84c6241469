#include "QuillmarshEngine/Math/Matrix.h"

#include "QuillmarshEngine/Debug.h"

namespace QuillmarshEngine { namespace Math {

template<std::size_t size, class T> Debug& operator<<(Debug& debug, const Matrix<size, T>& value) {
    /* Row by row; the newline plus six spaces and the automatic separator line the following rows
       up under the first value after "Matrix(" */
    debug << "Matrix(" << Debug::nospace;
    for(std::size_t row = 0; row != size; ++row) {
        if(row != 0) debug << Debug::nospace << ",\n      ";
        for(std::size_t column = 0; column != size; ++column) {
            if(column != 0) debug << Debug::nospace << ",";
            debug << value[column][row];
        }
    }
    return debug << Debug::nospace << ")";
}

template Debug& operator<<(Debug&, const Matrix<2, float>&);
template Debug& operator<<(Debug&, const Matrix<3, float>&);
template Debug& operator<<(Debug&, const Matrix<4, float>&);
template Debug& operator<<(Debug&, const Matrix<2, double>&);
template Debug& operator<<(Debug&, const Matrix<3, double>&);
template Debug& operator<<(Debug&, const Matrix<4, double>&);

}}
