#ifndef QuillmarshEngine_Tools_Implementation_VertexConversion_h
#define QuillmarshEngine_Tools_Implementation_VertexConversion_h

/* Column kernels of the mesh packer. Internal: MeshFormat, its tests and its benchmark call them;
   hosts use Tools::packMesh() and friends. */

#include <cstddef>
#include <cstdint>

#include "QuillmarshEngine/Trade/VertexFormat.h"
#include "QuillmarshEngine/visibility.h"

namespace QuillmarshEngine { namespace Tools { namespace Implementation {

/*
 * One conversion of rows of scalars. Each source row holds srcCount scalars of srcFormat, each
 * destination row receives dstCount scalars of dstFormat (both counts 1 to 8, both formats scalar
 * formats for which isRowFormatSupported() holds). Scalar i comes from source scalar i; where the
 * source has fewer it is 0, except scalar 3, which is 1 with oneForFourth (a missing alpha or
 * bitangent sign). Values pass through float, which holds every one of these formats exactly:
 * Math::unpackHalf() and Math::unpack() read, Math::packHalf() and Math::pack() write, and the
 * integer formats take the value rounded half away from zero, clamped to their range, with NaN
 * becoming the range's low end. Float to float copies the bits.
 */
struct RowConversion {
    Trade::VertexFormat srcFormat;
    std::uint32_t srcCount;
    Trade::VertexFormat dstFormat;
    std::uint32_t dstCount;
    bool oneForFourth;
};

/* Float, Half and the 8- and 16-bit integer scalars, normalized or not */
QUILLMARSH_EXPORT bool isRowFormatSupported(Trade::VertexFormat scalar);

/* Runs the conversion over rows; the fastest variant the processor has, the same bytes as the
   reference */
QUILLMARSH_EXPORT void convertRows(const RowConversion& conversion, const char* src, std::ptrdiff_t srcStride, char* dst, std::ptrdiff_t dstStride, std::size_t rows);

/* Plain scalar version of convertRows(), the reference the tests compare against */
QUILLMARSH_EXPORT void convertRowsReference(const RowConversion& conversion, const char* src, std::ptrdiff_t srcStride, char* dst, std::ptrdiff_t dstStride, std::size_t rows);

#if defined(__x86_64__)
/* AVX2 with F16C, which expects convertRowsAvx2Supported() (processor and operating system) to be
   true; exposed so that the tests compare it with the reference on every processor that has it */
void convertRowsAvx2(const RowConversion& conversion, const char* src, std::ptrdiff_t srcStride, char* dst, std::ptrdiff_t dstStride, std::size_t rows);
bool convertRowsAvx2Supported();
#endif

}}}

#endif
