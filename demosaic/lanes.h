// Integer lanes twice as wide as a sample, for the demosaicing kernels:
// 16-bit lanes for 8u samples, 32-bit lanes for 16u, so that sums and
// differences of a few samples fit.  A kernel writes its arithmetic once on
// WideLanes<T> and gets the width of its sample type.
//
// Sixteen loaded bytes hold samples at even positions in the low halves of
// the lanes and samples at odd positions in the high halves: lo() and hi()
// take them apart, join() puts them back.
#pragma once

#include <smmintrin.h>

#include <cstdint>

namespace cel::demosaic {

template <class T>
struct WideLanes {
    static_assert(sizeof(T) == 1 || sizeof(T) == 2, "8u or 16u samples");
    static constexpr bool k16 = sizeof(T) == 1;  // 16-bit lanes (8u samples), else 32-bit
    static constexpr int kBits = 8 * int(sizeof(T));
    static constexpr int kMax = k16 ? 255 : 65535;

    static __m128i set1(int v) { return k16 ? _mm_set1_epi16(static_cast<int16_t>(v)) : _mm_set1_epi32(v); }
    static __m128i add(__m128i a, __m128i b) { return k16 ? _mm_add_epi16(a, b) : _mm_add_epi32(a, b); }
    static __m128i sub(__m128i a, __m128i b) { return k16 ? _mm_sub_epi16(a, b) : _mm_sub_epi32(a, b); }
    static __m128i min(__m128i a, __m128i b) { return k16 ? _mm_min_epi16(a, b) : _mm_min_epi32(a, b); }
    static __m128i max(__m128i a, __m128i b) { return k16 ? _mm_max_epi16(a, b) : _mm_max_epi32(a, b); }
    static __m128i less(__m128i a, __m128i b) { return k16 ? _mm_cmplt_epi16(a, b) : _mm_cmplt_epi32(a, b); }  // signed
    static __m128i absd(__m128i a, __m128i b) { return k16 ? _mm_abs_epi16(sub(a, b)) : _mm_abs_epi32(sub(a, b)); }
    template <int n>
    static __m128i sra(__m128i a) { return k16 ? _mm_srai_epi16(a, n) : _mm_srai_epi32(a, n); }
    template <int n>
    static __m128i srl(__m128i a) { return k16 ? _mm_srli_epi16(a, n) : _mm_srli_epi32(a, n); }
    template <int n>
    static __m128i sll(__m128i a) { return k16 ? _mm_slli_epi16(a, n) : _mm_slli_epi32(a, n); }
    static __m128i twice(__m128i a) { return add(a, a); }
    static __m128i half(__m128i a) { return srl<1>(a); }
    static __m128i one() { return set1(1); }
    // Limited to 0..kMax.
    static __m128i clamp(__m128i v) { return min(max(v, _mm_setzero_si128()), set1(kMax)); }

    static __m128i lo(__m128i v) { return _mm_and_si128(v, set1(kMax)); }
    static __m128i hi(__m128i v) { return srl<kBits>(v); }
    static __m128i join(__m128i lo, __m128i hi) { return _mm_or_si128(lo, sll<kBits>(hi)); }
};

}  // namespace cel::demosaic
