/* The AVX2 + F16C row conversions. This file alone is compiled with -mavx2 -mf16c and
   convertRows() calls it only after checking the processor, so everything in it stays in an
   anonymous namespace or is an intrinsic: an inline function shared with other files could
   otherwise be merged with their copies by the linker and run AVX instructions on a processor
   without them.

   Rows go through a small staging block of eight floats per row: one pass reads a block of
   source rows into floats, a second writes them out in the destination format, so each pass is
   one tight loop whatever the pair of formats. Every conversion gives the bytes of the scalar
   reference; where a hardware instruction rounds differently (F16C rounds float to half to
   even, the reference away from zero) the reference's own steps are done on eight lanes. */

#include "VertexConversion.h"

#include <algorithm>
#include <cstring>
#include <immintrin.h>

namespace QuillmarshEngine { namespace Tools { namespace Implementation {

using Trade::VertexFormat;

namespace {

alignas(32) const std::int32_t LaneMasks[16]{-1, -1, -1, -1, -1, -1, -1, -1, 0, 0, 0, 0, 0, 0, 0, 0};

/* The first `count` lanes set */
inline __m256i laneMask(const std::uint32_t count) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(LaneMasks + 8 - count));
}

/* Up to 16 bytes into the low bytes of a register, the rest zero; never reads past them */
inline __m128i loadBytes(const char* p, const std::uint32_t size) {
    std::int32_t a;
    std::uint16_t b;
    switch(size) {
        case 16: return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        case 12: std::memcpy(&a, p + 8, 4); return _mm_insert_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)), a, 2);
        case 8: return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p));
        case 6: std::memcpy(&a, p, 4); std::memcpy(&b, p + 4, 2); return _mm_insert_epi16(_mm_cvtsi32_si128(a), b, 2);
        case 4: std::memcpy(&a, p, 4); return _mm_cvtsi32_si128(a);
        case 2: std::memcpy(&b, p, 2); return _mm_cvtsi32_si128(b);
    }
    alignas(16) char bytes[16]{};
    std::memcpy(bytes, p, size);
    return _mm_load_si128(reinterpret_cast<const __m128i*>(bytes));
}

/* The low `size` bytes of a register; never writes past them */
inline void storeBytes(char* p, const __m128i v, const std::uint32_t size) {
    std::int32_t a;
    std::uint16_t b;
    switch(size) {
        case 16: return _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v);
        case 12: a = _mm_extract_epi32(v, 2); _mm_storel_epi64(reinterpret_cast<__m128i*>(p), v); std::memcpy(p + 8, &a, 4); return;
        case 8: return _mm_storel_epi64(reinterpret_cast<__m128i*>(p), v);
        case 6: a = _mm_cvtsi128_si32(v); b = std::uint16_t(_mm_extract_epi16(v, 2)); std::memcpy(p, &a, 4); std::memcpy(p + 4, &b, 2); return;
        case 4: a = _mm_cvtsi128_si32(v); std::memcpy(p, &a, 4); return;
        case 2: b = std::uint16_t(_mm_cvtsi128_si32(v)); std::memcpy(p, &b, 2); return;
    }
    alignas(16) char bytes[16];
    _mm_store_si128(reinterpret_cast<__m128i*>(bytes), v);
    std::memcpy(p, bytes, size);
}

/* Half bits to float: F16C is exact for every number; NaNs are redone by hand because the
   instruction quiets a signalling NaN while the reference keeps the payload as it is */
inline __m256 unpackHalf(const __m128i h) {
    const __m256 converted = _mm256_cvtph_ps(h);
    const __m256i h32 = _mm256_cvtepu16_epi32(h);
    const __m256i isNaN = _mm256_cmpgt_epi32(_mm256_and_si256(h32, _mm256_set1_epi32(0x7fff)), _mm256_set1_epi32(0x7c00));
    const __m256i nan = _mm256_or_si256(_mm256_or_si256(
        _mm256_slli_epi32(_mm256_and_si256(h32, _mm256_set1_epi32(0x8000)), 16), _mm256_set1_epi32(0x7f800000)),
        _mm256_slli_epi32(_mm256_and_si256(h32, _mm256_set1_epi32(0x3ff)), 13));
    return _mm256_blendv_ps(converted, _mm256_castsi256_ps(nan), _mm256_castsi256_ps(isNaN));
}

/* The reference's float-to-half steps on eight lanes: drop the mantissa bits below the rounding
   bit, rebias by multiplying with 2^-112, add half a half-ULP, saturate to infinity */
inline __m128i packHalf(const __m256 v) {
    const __m256i bits = _mm256_castps_si256(v);
    const __m256i sign = _mm256_and_si256(bits, _mm256_set1_epi32(std::int32_t(0x80000000u)));
    const __m256i magnitude = _mm256_xor_si256(bits, sign);
    const __m256i isSpecial = _mm256_cmpgt_epi32(magnitude, _mm256_set1_epi32(0x7f7fffff));
    const __m256i special = _mm256_blendv_epi8(_mm256_set1_epi32(0x7c00), _mm256_set1_epi32(0x7e00),
        _mm256_cmpgt_epi32(magnitude, _mm256_set1_epi32(0x7f800000)));
    const __m256 truncated = _mm256_castsi256_ps(_mm256_and_si256(magnitude, _mm256_set1_epi32(~0xfff)));
    __m256i out = _mm256_castps_si256(_mm256_mul_ps(truncated, _mm256_castsi256_ps(_mm256_set1_epi32(15 << 23))));
    out = _mm256_min_epi32(_mm256_add_epi32(out, _mm256_set1_epi32(0x1000)), _mm256_set1_epi32(31 << 23));
    out = _mm256_blendv_epi8(_mm256_srli_epi32(out, 13), special, isSpecial);
    out = _mm256_or_si256(out, _mm256_srli_epi32(sign, 16));
    return _mm_packus_epi32(_mm256_castsi256_si128(out), _mm256_extracti128_si256(out, 1));
}

/* Round half away from zero: the processor rounds to even, and a result exactly 0.5 away from
   the value was a tie rounded towards zero, which moves one further out */
inline __m256i roundAway(const __m256 v) {
    const __m256i rounded = _mm256_cvtps_epi32(v);
    const __m256 difference = _mm256_sub_ps(v, _mm256_cvtepi32_ps(rounded));
    const __m256 up = _mm256_and_ps(_mm256_cmp_ps(difference, _mm256_set1_ps(0.5f), _CMP_EQ_OQ), _mm256_cmp_ps(v, _mm256_setzero_ps(), _CMP_GT_OQ));
    const __m256 down = _mm256_and_ps(_mm256_cmp_ps(difference, _mm256_set1_ps(-0.5f), _CMP_EQ_OQ), _mm256_cmp_ps(v, _mm256_setzero_ps(), _CMP_LT_OQ));
    return _mm256_add_epi32(_mm256_sub_epi32(rounded, _mm256_castps_si256(up)), _mm256_castps_si256(down));
}

/* The same for values known to lie in [-32767, 32767] (a product of the clamped value), with
   fewer steps: the truncated value moves one further out where the rest is at least a half */
inline __m256i roundAwaySmall(const __m256 v) {
    const __m256i truncated = _mm256_cvttps_epi32(v);
    const __m256 rest = _mm256_sub_ps(v, _mm256_cvtepi32_ps(truncated));
    const __m256 up = _mm256_cmp_ps(rest, _mm256_set1_ps(0.5f), _CMP_GE_OQ);
    const __m256 down = _mm256_cmp_ps(rest, _mm256_set1_ps(-0.5f), _CMP_LE_OQ);
    return _mm256_add_epi32(_mm256_sub_epi32(truncated, _mm256_castps_si256(up)), _mm256_castps_si256(down));
}

/* Math::pack(): NaN to 0, clamp to [low, 1], scale, round half away from zero */
inline __m256i packNormalized(const __m256 v, const float low, const float max) {
    __m256 clamped = _mm256_min_ps(_mm256_max_ps(v, _mm256_set1_ps(low)), _mm256_set1_ps(1.0f));
    clamped = _mm256_and_ps(clamped, _mm256_cmp_ps(v, v, _CMP_ORD_Q));
    return roundAwaySmall(_mm256_mul_ps(clamped, _mm256_set1_ps(max)));
}

/* Integer formats: NaN to the low end (the maximum instruction returns its second operand for
   NaN), clamp, round half away from zero */
inline __m256i packInteger(const __m256 v, const float low, const float high) {
    return roundAway(_mm256_min_ps(_mm256_max_ps(v, _mm256_set1_ps(low)), _mm256_set1_ps(high)));
}

inline __m128i narrowSigned16(const __m256i v) {
    return _mm_packs_epi32(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1));
}

inline __m128i narrowUnsigned16(const __m256i v) {
    return _mm_packus_epi32(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1));
}

inline __m128i narrowSigned8(const __m256i v) {
    const __m128i shorts = narrowSigned16(v);
    return _mm_packs_epi16(shorts, shorts);
}

inline __m128i narrowUnsigned8(const __m256i v) {
    const __m128i shorts = narrowSigned16(v);
    return _mm_packus_epi16(shorts, shorts);
}

template<class F> inline void loadRows(const char* src, const std::ptrdiff_t stride, float* stage, const std::size_t rows, F load) {
    for(std::size_t r = 0; r != rows; ++r, src += stride)
        _mm256_store_ps(stage + 8*r, load(src));
}

template<class F> inline void storeRows(const float* stage, char* dst, const std::ptrdiff_t stride, const std::size_t rows, F store) {
    for(std::size_t r = 0; r != rows; ++r, dst += stride)
        store(dst, _mm256_load_ps(stage + 8*r));
}

void load(const RowConversion& c, const char* src, const std::ptrdiff_t stride, float* stage, const std::size_t rows) {
    const std::uint32_t n = c.srcCount;
    switch(c.srcFormat) {
        case VertexFormat::Float: {
            const __m256i mask = laneMask(n);
            return loadRows(src, stride, stage, rows, [mask](const char* p) {
                return _mm256_maskload_ps(reinterpret_cast<const float*>(p), mask);
            });
        }
        case VertexFormat::Half:
            return loadRows(src, stride, stage, rows, [n](const char* p) {
                return unpackHalf(loadBytes(p, 2*n));
            });
        case VertexFormat::UnsignedByte:
            return loadRows(src, stride, stage, rows, [n](const char* p) {
                return _mm256_cvtepi32_ps(_mm256_cvtepu8_epi32(loadBytes(p, n)));
            });
        case VertexFormat::UnsignedByteNormalized:
            return loadRows(src, stride, stage, rows, [n](const char* p) {
                return _mm256_div_ps(_mm256_cvtepi32_ps(_mm256_cvtepu8_epi32(loadBytes(p, n))), _mm256_set1_ps(255.0f));
            });
        case VertexFormat::Byte:
            return loadRows(src, stride, stage, rows, [n](const char* p) {
                return _mm256_cvtepi32_ps(_mm256_cvtepi8_epi32(loadBytes(p, n)));
            });
        case VertexFormat::ByteNormalized:
            return loadRows(src, stride, stage, rows, [n](const char* p) {
                return _mm256_max_ps(_mm256_div_ps(_mm256_cvtepi32_ps(_mm256_cvtepi8_epi32(loadBytes(p, n))), _mm256_set1_ps(127.0f)), _mm256_set1_ps(-1.0f));
            });
        case VertexFormat::UnsignedShort:
            return loadRows(src, stride, stage, rows, [n](const char* p) {
                return _mm256_cvtepi32_ps(_mm256_cvtepu16_epi32(loadBytes(p, 2*n)));
            });
        case VertexFormat::UnsignedShortNormalized:
            return loadRows(src, stride, stage, rows, [n](const char* p) {
                return _mm256_div_ps(_mm256_cvtepi32_ps(_mm256_cvtepu16_epi32(loadBytes(p, 2*n))), _mm256_set1_ps(65535.0f));
            });
        case VertexFormat::Short:
            return loadRows(src, stride, stage, rows, [n](const char* p) {
                return _mm256_cvtepi32_ps(_mm256_cvtepi16_epi32(loadBytes(p, 2*n)));
            });
        case VertexFormat::ShortNormalized:
            return loadRows(src, stride, stage, rows, [n](const char* p) {
                return _mm256_max_ps(_mm256_div_ps(_mm256_cvtepi32_ps(_mm256_cvtepi16_epi32(loadBytes(p, 2*n))), _mm256_set1_ps(32767.0f)), _mm256_set1_ps(-1.0f));
            });
        default: return;
    }
}

void store(const RowConversion& c, const float* stage, char* dst, const std::ptrdiff_t stride, const std::size_t rows) {
    const std::uint32_t n = c.dstCount;
    switch(c.dstFormat) {
        case VertexFormat::Float: {
            const __m256i mask = laneMask(n);
            return storeRows(stage, dst, stride, rows, [mask](char* p, const __m256 v) {
                _mm256_maskstore_ps(reinterpret_cast<float*>(p), mask, v);
            });
        }
        case VertexFormat::Half:
            return storeRows(stage, dst, stride, rows, [n](char* p, const __m256 v) {
                storeBytes(p, packHalf(v), 2*n);
            });
        case VertexFormat::UnsignedByte:
            return storeRows(stage, dst, stride, rows, [n](char* p, const __m256 v) {
                storeBytes(p, narrowUnsigned8(packInteger(v, 0.0f, 255.0f)), n);
            });
        case VertexFormat::UnsignedByteNormalized:
            return storeRows(stage, dst, stride, rows, [n](char* p, const __m256 v) {
                storeBytes(p, narrowUnsigned8(packNormalized(v, 0.0f, 255.0f)), n);
            });
        case VertexFormat::Byte:
            return storeRows(stage, dst, stride, rows, [n](char* p, const __m256 v) {
                storeBytes(p, narrowSigned8(packInteger(v, -128.0f, 127.0f)), n);
            });
        case VertexFormat::ByteNormalized:
            return storeRows(stage, dst, stride, rows, [n](char* p, const __m256 v) {
                storeBytes(p, narrowSigned8(packNormalized(v, -1.0f, 127.0f)), n);
            });
        case VertexFormat::UnsignedShort:
            return storeRows(stage, dst, stride, rows, [n](char* p, const __m256 v) {
                storeBytes(p, narrowUnsigned16(packInteger(v, 0.0f, 65535.0f)), 2*n);
            });
        case VertexFormat::UnsignedShortNormalized:
            return storeRows(stage, dst, stride, rows, [n](char* p, const __m256 v) {
                storeBytes(p, narrowUnsigned16(packNormalized(v, 0.0f, 65535.0f)), 2*n);
            });
        case VertexFormat::Short:
            return storeRows(stage, dst, stride, rows, [n](char* p, const __m256 v) {
                storeBytes(p, narrowSigned16(packInteger(v, -32768.0f, 32767.0f)), 2*n);
            });
        case VertexFormat::ShortNormalized:
            return storeRows(stage, dst, stride, rows, [n](char* p, const __m256 v) {
                storeBytes(p, narrowSigned16(packNormalized(v, -1.0f, 32767.0f)), 2*n);
            });
        default: return;
    }
}

/* The packer's hot case, floats to 16-bit normalized values of the same count, without the
   staging block: two rows of up to four values share one register */
template<bool isSigned> void packNormalizedRows(const std::uint32_t n, const char* src, const std::ptrdiff_t srcStride, char* dst, const std::ptrdiff_t dstStride, const std::size_t rows) {
    constexpr float low = isSigned ? -1.0f : 0.0f;
    constexpr float max = isSigned ? 32767.0f : 65535.0f;
    const auto narrow = [](const __m256i v) { return isSigned ? narrowSigned16(v) : narrowUnsigned16(v); };
    std::size_t r = 0;
    if(n <= 4) {
        const __m128i mask = _mm256_castsi256_si128(laneMask(n));
        for(; r + 2 <= rows; r += 2, src += 2*srcStride, dst += 2*dstStride) {
            const __m256 v = _mm256_set_m128(_mm_maskload_ps(reinterpret_cast<const float*>(src + srcStride), mask), _mm_maskload_ps(reinterpret_cast<const float*>(src), mask));
            const __m128i packed = narrow(packNormalized(v, low, max));
            storeBytes(dst, packed, 2*n);
            storeBytes(dst + dstStride, _mm_srli_si128(packed, 8), 2*n);
        }
    }
    const __m256i mask = laneMask(n);
    for(; r != rows; ++r, src += srcStride, dst += dstStride)
        storeBytes(dst, narrow(packNormalized(_mm256_maskload_ps(reinterpret_cast<const float*>(src), mask), low, max)), 2*n);
}

}

void convertRowsAvx2(const RowConversion& conversion, const char* src, const std::ptrdiff_t srcStride, char* dst, const std::ptrdiff_t dstStride, const std::size_t rows) {
    if(conversion.srcFormat == VertexFormat::Float && conversion.srcCount == conversion.dstCount) {
        if(conversion.dstFormat == VertexFormat::ShortNormalized)
            return packNormalizedRows<true>(conversion.dstCount, src, srcStride, dst, dstStride, rows);
        if(conversion.dstFormat == VertexFormat::UnsignedShortNormalized)
            return packNormalizedRows<false>(conversion.dstCount, src, srcStride, dst, dstStride, rows);
    }

    constexpr std::size_t Block = 64;
    alignas(32) float stage[Block*8];
    /* Lanes past the source's count are zero after loading; a missing fourth becomes one */
    const bool fillFourth = conversion.oneForFourth && conversion.srcCount <= 3 && conversion.dstCount >= 4;
    for(std::size_t begin = 0; begin < rows; begin += Block) {
        const std::size_t count = std::min(Block, rows - begin);
        load(conversion, src + std::ptrdiff_t(begin)*srcStride, srcStride, stage, count);
        if(fillFourth) for(std::size_t r = 0; r != count; ++r) stage[8*r + 3] = 1.0f;
        store(conversion, stage, dst + std::ptrdiff_t(begin)*dstStride, dstStride, count);
    }
}

}}}
