// Recipes of the RGB <-> photo YCC family.  Y' = 0.299 R + 0.587 G + 0.114 B;
// Y = 0.7132668 Y', C1 = 0.4368627 (B - Y') + bias 1, C2 = 0.53192 (R - Y') +
// bias 2, the biases 156 and 137 at 8 bits (x 257 at 16 bits, 0.6117647 and
// 0.5372549 in float).
//
// The float recipes (32f, 16u, 16s) are written once over T = float (tails)
// or F4 (four-pixel bodies), so body and tail give the same bits.  The 8u
// forms have two arithmetics each, and both are here: the body in 16-bit
// lanes by multiply-high (Q6 forward, Q4 reverse) and the tail in 32-bit
// integers.  They differ on purpose; a kernel keeps each in its place.
#pragma once

#include <smmintrin.h>

#include <cstdint>

#include "colorspaces/luvlab_recipes.h"

namespace cel::cs::ycc {

using ll::F4;

// ---- Float forms ---------------------------------------------------------------------
// Y' left to right, each product rounded by itself.
template <class T>
inline T luma(T r, T g, T b) {
    return (T(0.299f) * r + T(0.587f) * g) + T(0.114f) * b;
}

// 32f forward: no limits.
template <class T>
inline void fwd32f(T r, T g, T b, T& y, T& c1, T& c2) {
    const T l = luma(r, g, b);
    y = T(0.7132668f) * l;
    c1 = (b - l) * T(0.4368627f) + T(0.6117647f);
    c2 = (r - l) * T(0.53192f) + T(0.5372549f);
}

// 32f reverse: each output below 0 gives 0, otherwise the minimum with 1.
template <class T>
inline void rev32f(T Y, T C1, T C2, T& r, T& g, T& b) {
    const T y = Y * T(1.3584f), c1 = (C1 - T(0.6117647f)) * T(2.2179f), c2 = (C2 - T(0.5372549f)) * T(1.8215f);
    r = ll::limit01(y + c2);
    g = ll::limit01((y - T(0.194f) * c1) - c2 * T(0.509f));
    b = ll::limit01(y + c1);
}

// 16u forward, the coefficients folded (0.49999, 40092.5 and 35209.5 make the
// truncation that follows round).  Results before truncation.
template <class T>
inline void fwd16u(T r, T g, T b, T& y, T& c1, T& c2) {
    y = ((T(0.213267f) * r + T(0.49999f)) + T(0.418688f) * g) + T(0.0813124f) * b;
    c1 = ((T(-0.130621f) * r + T(40092.5f)) - T(0.256437f) * g) + T(0.387058f) * b;
    c2 = ((T(0.372876f) * r + T(35209.5f)) - T(0.312237f) * g) - T(0.0606389f) * b;
}

// 16s forward on offset samples (s + 32768); results before truncation, in
// the offset domain.  C2's factor is 0.5319216 here, not the float 0.53192.
template <class T>
inline void fwd16s(T r, T g, T b, T& y, T& c1, T& c2) {
    const T l = luma(r, g, b);
    y = T(0.7132668f) * l + T(0.49999f);
    c1 = (b - l) * T(0.4368627f) + T(40092.5f);
    c2 = (r - l) * T(0.5319216f) + T(35209.5f);
}

// 16u reverse; results before truncation.  The colour differences are
// integers (C1 - 40092, C2 - 35209), exact in float.
template <class T>
inline void rev16u(T Y, T C1, T C2, T& r, T& g, T& b) {
    const T y = Y * T(1.3584f) + T(0.49999f), c1 = C1 - T(40092.0f), c2 = C2 - T(35209.0f);
    r = T(1.8215f) * c2 + y;
    g = (y - T(0.4302726f) * c1) - T(0.92714345f) * c2;
    b = y + c1 * T(2.2179f);
}

// 16s reverse on offset samples: C1 - 7324 and C2 - 2441 in 16s numbers are
// the offset samples less 40092 and 35209.  No half added before truncation.
template <class T>
inline void rev16s(T Y, T C1, T C2, T& r, T& g, T& b) {
    const T y = Y * T(1.3584f), c1 = (C1 - T(40092.0f)) * T(2.2179f), c2 = (C2 - T(35209.0f)) * T(1.8215f);
    r = y + c2;
    g = (y - c1 * T(0.194f)) - c2 * T(0.509f);
    b = y + c1;
}

// ---- 8u forward --------------------------------------------------------------------------
// Q14 luma weights: 4898 + 9617 + 1867 = 16382.  Scales of Y, C1, C2 from Y'
// and the differences: 2921, 1789 and 2178 over 2^16 (at Q6 in, Q2 out in
// the body; at Q4 in, Q0 out in the tail).
inline constexpr int kWr = 4898, kWg = 9617, kWb = 1867;
inline constexpr int kSy = 2921, kS1 = 1789, kS2 = 2178;
static_assert(kWr + kWg + kWb == 16382, "luma weights at Q14");

// Body: lanes hold sample << 8.  Multiply-high by the weights gives Q6
// products, truncated, summed with unsigned saturation; the differences take
// the samples at Q6 (lane >> 2).  Biases at Q2: 624 = 156 * 4, 548 = 137 * 4.
// Results as 16-bit lanes, still to be packed with unsigned saturation.
inline void fwd8uBody(__m128i r, __m128i g, __m128i b, __m128i& y, __m128i& c1, __m128i& c2) {
    const __m128i y6 = _mm_adds_epu16(_mm_adds_epu16(_mm_mulhi_epu16(r, _mm_set1_epi16(kWr)), _mm_mulhi_epu16(g, _mm_set1_epi16(kWg))),
                                      _mm_mulhi_epu16(b, _mm_set1_epi16(kWb)));
    const __m128i d2 = _mm_subs_epi16(_mm_srli_epi16(r, 2), y6), d1 = _mm_subs_epi16(_mm_srli_epi16(b, 2), y6);
    y = _mm_srai_epi16(_mm_mulhi_epi16(y6, _mm_set1_epi16(kSy)), 2);
    c1 = _mm_srai_epi16(_mm_adds_epi16(_mm_mulhi_epi16(d1, _mm_set1_epi16(kS1)), _mm_set1_epi16(156 * 4)), 2);
    c2 = _mm_srai_epi16(_mm_adds_epi16(_mm_mulhi_epi16(d2, _mm_set1_epi16(kS2)), _mm_set1_epi16(137 * 4)), 2);
}

// Tail: 32-bit integers, Y' at Q14 brought to Q4, arithmetic shifts; the
// biases are added after the shift and only the low 8 bits are kept (they
// wrap, they do not saturate).
inline void fwd8uTail(int32_t r, int32_t g, int32_t b, uint8_t& y, uint8_t& c1, uint8_t& c2) {
    const int32_t t = kWr * r + kWg * g + kWb * b;
    y = static_cast<uint8_t>(((t >> 10) * kSy) >> 16);
    c1 = static_cast<uint8_t>(((((b << 14) - t) >> 10) * kS1 >> 16) + 156);
    c2 = static_cast<uint8_t>(((((r << 14) - t) >> 10) * kS2 >> 16) + 137);
}

// ---- 8u reverse --------------------------------------------------------------------------
// Body: Y stands in the high byte of its lane (y4 = Y * 1.3584 at Q4 by
// multiply-high with 5563); C1, C2 are plain 16-bit lanes.  e = (C - bias)
// << 7; q1 = C1 part of B, q2 = C2 part of R, both at Q4; G at Q3 with
// -0.194 / 2 and -0.509 / 2 at Q16.  Additions saturate, shifts are
// arithmetic; results as 16-bit lanes still to be packed.
inline void rev8uBody(__m128i yHigh, __m128i c1, __m128i c2, __m128i& r, __m128i& g, __m128i& b) {
    const __m128i y4 = _mm_mulhi_epu16(yHigh, _mm_set1_epi16(5563));
    const __m128i e1 = _mm_slli_epi16(_mm_subs_epi16(c1, _mm_set1_epi16(156)), 7);
    const __m128i e2 = _mm_slli_epi16(_mm_subs_epi16(c2, _mm_set1_epi16(137)), 7);
    const __m128i q1 = _mm_mulhi_epi16(e1, _mm_set1_epi16(18168)), q2 = _mm_mulhi_epi16(e2, _mm_set1_epi16(14921));
    r = _mm_srai_epi16(_mm_adds_epi16(y4, q2), 4);
    b = _mm_srai_epi16(_mm_adds_epi16(y4, q1), 4);
    const __m128i g3 = _mm_adds_epi16(_mm_adds_epi16(_mm_srai_epi16(y4, 1), _mm_mulhi_epi16(q1, _mm_set1_epi16(-6357))),
                                      _mm_mulhi_epi16(q2, _mm_set1_epi16(-16679)));
    g = _mm_srai_epi16(g3, 3);
}

// Tail: 32-bit integers at Q12 (Y by 5564, not the body's 5563), G at Q16;
// 1417104 = 156 * 9084 and 1022020 = 137 * 7460.  Each limited to 0..255.
inline void rev8uTail(int32_t Y, int32_t C1, int32_t C2, uint8_t& r, uint8_t& g, uint8_t& b) {
    const int32_t a = 5564 * Y, pb = 9084 * C1 - 1417104, pr = 7460 * C2 - 1022020;
    r = static_cast<uint8_t>(ll::clampi((a + pr) >> 12, 0, 255));
    b = static_cast<uint8_t>(ll::clampi((a + pb) >> 12, 0, 255));
    g = static_cast<uint8_t>(ll::clampi(((a << 4) + (pb >> 8) * -794 + (pr >> 8) * -2084) >> 16, 0, 255));
}

}  // namespace cel::cs::ycc
