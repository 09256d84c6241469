#ifndef QuillmarshEngine_Data_Implementation_TransformSweepLoop_h
#define QuillmarshEngine_Data_Implementation_TransformSweepLoop_h

/* The sweep loop and the SSE helpers of the vectorized kernels, written once for
   TransformSweep.cpp (SSE2) and TransformSweepAvx2.cpp (AVX2 + FMA) and included only by them.
   Everything is in an anonymous namespace so that each file compiles its own copy with its own
   instruction set: only the AVX2 file is built with -mavx2 -mfma, and a shared inline function
   could be merged by the linker with the AVX2 copy and then run on a processor without AVX2
   (hence also the compiler builtin for the bit scan rather than the standard template). */

#include <cstdint>
#include <cstring>
#include <immintrin.h>

#include "QuillmarshEngine/Data/ObjectData.h"

namespace QuillmarshEngine { namespace Data { namespace Implementation { namespace {

/* Three floats in, (x, y, z, 0); never touches memory past the third float */
inline __m128 load3(const float* v) {
    return _mm_movelh_ps(_mm_loadl_pi(_mm_setzero_ps(), reinterpret_cast<const __m64*>(v)), _mm_load_ss(v + 2));
}

inline void store3(float* v, const __m128 a) {
    _mm_storel_pi(reinterpret_cast<__m64*>(v), a);
    _mm_store_ss(v + 2, _mm_movehl_ps(a, a));
}

/* Fuzzy s == 1 in lanes x, y, z, as the scalar composition tests it: equal, or
   |s - 1|/(|s| + 1) below 1e-5 */
inline bool isUnitScaling(const __m128 s) {
    const __m128 one = _mm_set1_ps(1.0f);
    const __m128 signMask = _mm_set1_ps(-0.0f);
    const __m128 difference = _mm_andnot_ps(signMask, _mm_sub_ps(s, one));
    const __m128 relative = _mm_div_ps(difference, _mm_add_ps(_mm_andnot_ps(signMask, s), one));
    const __m128 equal = _mm_or_ps(_mm_cmpeq_ps(s, one), _mm_cmplt_ps(relative, _mm_set1_ps(1.0e-5f)));
    return (_mm_movemask_ps(equal) & 7) == 7;
}

/* Composes a parent's world (8 floats) and world scaling (3 floats) with a child's local values
   into the child's world values */
typedef void(*Compose)(const float* parent, const float* parentScaling, const float* child, const float* childScaling, float* out, float* outScaling);

/* The sweep over the dirty words, in index order, clearing each word it visits. A fully dirty
   word, the common case after a subtree was marked, runs as a plain loop without the bit scan. */
template<Compose compose> inline void sweepLoop(std::uint32_t* const dirtyWords, const std::uint32_t objectCount, const ObjectData* const objects, const float* const local, const float* const localScaling, float* const world, float* const worldScaling) {
    const std::uint32_t wordCount = (objectCount + 31)/32;
    const auto one = [&](const std::uint32_t i) {
        const std::uint32_t parent = objects[i].parent;
        if(parent == 0) {
            std::memcpy(world + 8*i, local + 8*i, 8*sizeof(float));
            std::memcpy(worldScaling + 3*i, localScaling + 3*i, 3*sizeof(float));
        } else compose(world + 8*parent, worldScaling + 3*parent, local + 8*i, localScaling + 3*i, world + 8*i, worldScaling + 3*i);
    };
    for(std::uint32_t w = 0; w != wordCount; ++w) {
        std::uint32_t bits = dirtyWords[w];
        if(!bits) continue;
        dirtyWords[w] = 0;
        /* Bits past the object count belong to removed slots */
        if(w + 1 == wordCount && objectCount % 32) bits &= (1u << (objectCount % 32)) - 1u;
        if(bits == ~0u) {
            for(std::uint32_t i = w*32, end = i + 32; i != end; ++i) one(i);
        } else while(bits) {
            one(w*32 + std::uint32_t(__builtin_ctz(bits)));
            bits &= bits - 1;
        }
    }
}

}}}}

#endif
