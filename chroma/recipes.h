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
// Field weights of the interlace-aware 4:2:2 <-> 4:2:0 conversions, each
//   output sample (wa * a + wb * b + half) >> shift from two rows of one
//   field, wa + wb = 1 << shift.  The vector twin multiplies byte pairs and
//   adds the same offset, so body and tail agree.
//   4:2:2 -> 4:2:0, rows s0 .. s3 of a group of four:  (3 s0 + s2) / 4,
//   (s1 + 3 s3) / 4;  4:2:0 -> 4:2:2, source rows s0 .. s3 of a group:
//   (5 s0 + 3 s2) / 8, (7 s1 + s3) / 8, (s0 + 7 s2) / 8, (3 s1 + 5 s3) / 8
//   (the weights follow each field's chroma siting, not a symmetry).
// Pair means of the plane resamplers: vector bodies by the byte average
//   rounding up (chroma_v), scalar tails truncating (chroma_px); the 8-output
//   blocks of 4:2:0 -> 4:1:1 truncate in 16-bit lanes (meanDown16_v).
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

// Truncating mean of 16-bit lanes holding bytes: a saturating add and an
// arithmetic shift, (a + b) >> 1 like chroma_px.
inline __m128i meanDown16_v(__m128i a, __m128i b) { return _mm_srai_epi16(_mm_adds_epi16(a, b), 1); }

// ---- Field weights -------------------------------------------------------------------------------
template <int WA, int WB>
struct FieldTap {
    static constexpr int kShift = WA + WB == 4 ? 2 : 3;
    static constexpr int kRound = 1 << (kShift - 1);
    static_assert(WA + WB == 1 << kShift, "the two weights sum to a power of two");
};

template <int WA, int WB>
inline uint8_t fieldTap_px(int a, int b) {
    using T = FieldTap<WA, WB>;
    return static_cast<uint8_t>((WA * a + WB * b + T::kRound) >> T::kShift);
}

// 16 samples of each row; the byte-pair products stay below 2^11.
template <int WA, int WB>
inline __m128i fieldTap_v(__m128i a, __m128i b) {
    using T = FieldTap<WA, WB>;
    const __m128i w = _mm_set1_epi16(static_cast<int16_t>(WB << 8 | WA)), rnd = _mm_set1_epi16(T::kRound);
    const __m128i lo = _mm_srli_epi16(_mm_add_epi16(_mm_maddubs_epi16(_mm_unpacklo_epi8(a, b), w), rnd), T::kShift);
    const __m128i hi = _mm_srli_epi16(_mm_add_epi16(_mm_maddubs_epi16(_mm_unpackhi_epi8(a, b), w), rnd), T::kShift);
    return _mm_packus_epi16(lo, hi);
}

// 4:2:2 -> 4:2:0: chroma rows s[0..3] of a group of four to the group's two rows.
inline void fieldsDown_v(const __m128i s[4], __m128i d[2]) {
    d[0] = fieldTap_v<3, 1>(s[0], s[2]), d[1] = fieldTap_v<1, 3>(s[1], s[3]);
}
inline void fieldsDown_px(const int s[4], uint8_t d[2]) {
    d[0] = fieldTap_px<3, 1>(s[0], s[2]), d[1] = fieldTap_px<1, 3>(s[1], s[3]);
}

// 4:2:0 -> 4:2:2: source chroma rows s[0..3] (rows 2g .. 2g+3) to destination
// rows 4g+2 .. 4g+5.
inline void fieldsUp_v(const __m128i s[4], __m128i d[4]) {
    d[0] = fieldTap_v<5, 3>(s[0], s[2]), d[1] = fieldTap_v<7, 1>(s[1], s[3]);
    d[2] = fieldTap_v<1, 7>(s[0], s[2]), d[3] = fieldTap_v<3, 5>(s[1], s[3]);
}
inline void fieldsUp_px(const int s[4], uint8_t d[4]) {
    d[0] = fieldTap_px<5, 3>(s[0], s[2]), d[1] = fieldTap_px<7, 1>(s[1], s[3]);
    d[2] = fieldTap_px<1, 7>(s[0], s[2]), d[3] = fieldTap_px<3, 5>(s[1], s[3]);
}

}  // namespace cel::chroma
