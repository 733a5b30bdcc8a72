// The arithmetic of the filtered chroma family, each recipe as a scalar
// helper and its vector twin.  Everything else in chroma/ moves bytes.
//
// Four-tap interpolation of a missing chroma row between rows b and c:
//   (9 * (b + c) - a - d + 8) >> 4, arithmetic shift, saturated to 0..255.
//   Taps -1, 9, 9, -1 sum to 16; the offset 8 rounds.  Body and tail give
//   the same integers.
// Deinterlace low-pass.  The vector twins average bytes with rounding up,
//   avg(a, b) = (a + b + 1) >> 1; the scalar twins use plain sums and a
//   shift plus an offset `round` (0 in the slice kernels, 4 in the
//   whole-picture ones), so body and tail may differ by one code.
//   edge  (row 0, mirrored for the last row): vector avg(b, avg(c, b)),
//         scalar (3 * b + c + round) >> 2, b the row itself, c its neighbour;
//   inner: vector avg(avg(a, b), avg(b, c)), scalar (a + 2 * b + c + round) >> 2;
//   chroma: vector avg(p, q), scalar (p + q) >> 1.
//   The whole-picture packed kernel's inner tail writes, per pixel pair,
//   ((((a + c) >> 1) + b) >> 1) + 1 for the even pixel (saturated) and the
//   inner scalar rule with round 4 for the odd one.
#pragma once

#include <smmintrin.h>

#include <cstdint>

#include "tables/chop.h"

namespace cel::chroma {

// ---- Four-tap interpolation ----------------------------------------------------------------------
inline constexpr int kTapOuter = 1, kTapInner = 9, kTapShift = 4, kTapRound = 1 << (kTapShift - 1);
static_assert(2 * kTapInner - 2 * kTapOuter == 1 << kTapShift, "the taps sum to one");

inline uint8_t fourTap_px(int a, int b, int c, int d) {
    return _CHOP_ARRAY[(kTapInner * (b + c) - kTapOuter * (a + d) + kTapRound) >> kTapShift];
}

// 16 samples of each row; 16-bit lanes cannot overflow (|sum| < 2^13).
inline __m128i fourTap_v(__m128i a, __m128i b, __m128i c, __m128i d) {
    const __m128i zero = _mm_setzero_si128(), inner = _mm_set1_epi16(kTapInner), rnd = _mm_set1_epi16(kTapRound);
    const auto half = [&](__m128i va, __m128i vb, __m128i vc, __m128i vd) {
        const __m128i bc = _mm_mullo_epi16(_mm_add_epi16(vb, vc), inner);
        const __m128i ad = _mm_add_epi16(va, vd);
        return _mm_srai_epi16(_mm_add_epi16(_mm_sub_epi16(bc, ad), rnd), kTapShift);
    };
    const __m128i lo = half(_mm_unpacklo_epi8(a, zero), _mm_unpacklo_epi8(b, zero), _mm_unpacklo_epi8(c, zero),
                            _mm_unpacklo_epi8(d, zero));
    const __m128i hi = half(_mm_unpackhi_epi8(a, zero), _mm_unpackhi_epi8(b, zero), _mm_unpackhi_epi8(c, zero),
                            _mm_unpackhi_epi8(d, zero));
    return _mm_packus_epi16(lo, hi);  // saturation as the table's
}

// ---- Deinterlace low-pass ------------------------------------------------------------------------
inline uint8_t edgeLuma_px(int b, int c, int round) { return _CHOP_ARRAY[(3 * b + c + round) >> 2]; }
inline __m128i edgeLuma_v(__m128i b, __m128i c) { return _mm_avg_epu8(b, _mm_avg_epu8(c, b)); }

inline uint8_t innerLuma_px(int a, int b, int c, int round) { return _CHOP_ARRAY[(a + 2 * b + c + round) >> 2]; }
inline __m128i innerLuma_v(__m128i a, __m128i b, __m128i c) {
    return _mm_avg_epu8(_mm_avg_epu8(a, b), _mm_avg_epu8(b, c));
}
// Even pixel of a pair in the whole-picture packed kernel's inner tail.
inline uint8_t innerLumaAllEven_px(int a, int b, int c) { return _CHOP_ARRAY[((((a + c) >> 1) + b) >> 1) + 1]; }

inline uint8_t chroma_px(int p, int q) { return _CHOP_ARRAY[(p + q) >> 1]; }
inline __m128i chroma_v(__m128i p, __m128i q) { return _mm_avg_epu8(p, q); }

}  // namespace cel::chroma
