// Fixed-point recipes of the analogue-video YUV family: full-range luma
// with the weights 0.299, 0.587, 0.114, and colour differences B - Y and
// R - Y scaled by 0.492 (U) and 0.877 (V), both centred on 128.  No offset
// of 16 anywhere.
//
// As with YCbCr, the library has no single recipe: the vector bodies and
// the scalar tails use different ones, and the difference between them is
// the library's result.  Each recipe is written here once, scalar and
// vector twins side by side where both exist.
//
// Notation: hiu/his are the unsigned/signed 16-bit multiply-high
// (floor(c * x / 65536)), rnd the rounding one (floor((c * x + 16384) /
// 32768)), sat8 the saturating pack to a byte.
//
// Encoders
//   difference     scalar Q16: S = 19595 R + 38470 G + 7471 B; Y rounded;
//                  U, V from the rounded differences B - Y, R - Y in Q16
//   high-word      vector Q16: luma by hiu on value << 8 (G weight 38469),
//                  chroma by his on value << 7, shift 6
//   rounded-weight vector rnd on value << 7: luma L per pixel, chroma from
//                  rnd(k, channel - luma); Q14 (4:2:0, 4:2:2 aligned) and
//                  Q15 (AC4 to four planes)
//   pair forms     4:2:2 encoders: multiply-add on plain lanes, or
//                  duplicated bytes (b * 257) >> 6; scalar pairs in Q16 and
//                  a lone last pixel in Q15
// Decoders
//   scalar sets    Q16 integers, clamp through the shared clamp table:
//                  74711, 25821, 38076, 133169 (R and B rounded, or nothing
//                  rounded), and the set one lower, never rounded
//   shift-free     vector, u, v = (U - 128) * 8, no shift and no rounding
//   doubled-luma   vector, (2Y + terms) >> 1, two constant sets
//   sixteen-fold   vector, (16Y + terms + 8) >> 4
//   eight-fold     vector, (8Y + terms + 4) >> 3
#pragma once

#include <smmintrin.h>

#include <cstdint>

#include "tables/chop.h"

namespace cel::yuv {

// Nearest fixed-point step of a weight.
constexpr int fix(double k, int fracBits) { return static_cast<int>(k * (1 << fracBits) + 0.5); }

inline __m128i k16(int v) { return _mm_set1_epi16(static_cast<int16_t>(v)); }

// ---- Scalar difference recipe (Q16) -------------------------------------------
inline constexpr int kYR = 19595, kYG = 38470, kYB = 7471;  // 0.299, 0.587, 0.114
inline constexpr int kU16 = 32244, kV16 = 57475;             // 0.492, 0.877
static_assert(kYR == fix(0.299, 16) && kYG == fix(0.587, 16) && kYB == fix(0.114, 16));
static_assert(kYR + kYG + kYB == 1 << 16);
static_assert(kU16 == fix(0.492, 16) && kV16 == fix(0.877, 16));

inline int lumaSum_px(int r, int g, int b) { return kYR * r + kYG * g + kYB * b; }

// U cannot leave the byte range and is stored as it falls; V can and is
// clamped.
inline void difference_px(int r, int g, int b, uint8_t& y, uint8_t& u, uint8_t& v) {
    const int s = lumaSum_px(r, g, b);
    y = static_cast<uint8_t>((s + 32768) >> 16);
    u = static_cast<uint8_t>(((((b << 16) - s + 32768) >> 16) * kU16 >> 16) + 128);
    v = _CHOP_ARRAY[((((r << 16) - s + 32768) >> 16) * kV16 >> 16) + 128];
}

// ---- High-word recipe (vector Q16, chroma Q15 on value << 7) --------------------
inline constexpr int kHiYR = 19595, kHiYG = 38469, kHiYB = 7471;  // G one lower than the scalar weight
inline constexpr int kHiUR = -4816, kHiUG = -9469, kHiUB = 14286;
inline constexpr int kHiVR = 20152, kHiVG = -16875, kHiVB = -3276;
static_assert(kHiUR + kHiUG + kHiUB == 1 && kHiVR + kHiVG + kHiVB == 1);  // chroma rows sum to (almost) zero

// Lanes hold R << 8, G << 8, B << 8; out: Y, U, V lanes before the pack.
inline void highWord_v(__m128i r8, __m128i g8, __m128i b8, __m128i& y, __m128i& u, __m128i& v) {
    __m128i s = _mm_adds_epu16(_mm_mulhi_epu16(r8, k16(kHiYR)), _mm_mulhi_epu16(g8, k16(kHiYG)));
    s = _mm_adds_epu16(s, _mm_mulhi_epu16(b8, k16(kHiYB)));
    y = _mm_srli_epi16(s, 8);
    const __m128i r = _mm_srli_epi16(r8, 1), g = _mm_srli_epi16(g8, 1), b = _mm_srli_epi16(b8, 1);
    const __m128i c128 = k16(128);
    __m128i c = _mm_adds_epi16(_mm_mulhi_epi16(r, k16(kHiUR)), _mm_mulhi_epi16(g, k16(kHiUG)));
    c = _mm_adds_epi16(c, _mm_mulhi_epi16(b, k16(kHiUB)));
    u = _mm_add_epi16(_mm_srai_epi16(c, 6), c128);
    c = _mm_adds_epi16(_mm_mulhi_epi16(r, k16(kHiVR)), _mm_mulhi_epi16(g, k16(kHiVG)));
    c = _mm_adds_epi16(c, _mm_mulhi_epi16(b, k16(kHiVB)));
    v = _mm_add_epi16(_mm_srai_epi16(c, 6), c128);
}

// The same constants in scalar integers (the tail of the planar encoder).
inline void highWord_px(int r, int g, int b, uint8_t& y, uint8_t& u, uint8_t& v) {
    const auto hiu = [](int k, int x) { return static_cast<int>((static_cast<int64_t>(k) * x) >> 16); };
    const auto sat8 = [](int x) { return static_cast<uint8_t>(x < 0 ? 0 : x > 255 ? 255 : x); };
    y = sat8((hiu(kHiYR, r << 8) + hiu(kHiYG, g << 8) + hiu(kHiYB, b << 8)) >> 8);
    const int rr = r << 7, gg = g << 7, bb = b << 7;
    u = sat8(((hiu(kHiUR, rr) + hiu(kHiUG, gg) + hiu(kHiUB, bb)) >> 6) + 128);
    v = sat8(((hiu(kHiVR, rr) + hiu(kHiVG, gg) + hiu(kHiVB, bb)) >> 6) + 128);
}

// ---- Rounded-weight recipe (vector, rnd on value << 7) --------------------------
// Luma L = rnd(wR, r) + rnd(wG, g) + rnd(wB, b) is luma << (shift); chroma is
// sat8((rnd(wU, c - l) >> shift) + 128) where c and l are a channel and the
// luma at the same scale (one pixel, or a block's means << 7).
struct RoundedSet {
    int16_t yR, yG, yB, u, v;
    int shift;
};
inline constexpr RoundedSet kQ14{4899, 9617, 1868, 8061, 14369, 6};    // 4:2:0 and aligned 4:2:2
inline constexpr RoundedSet kQ15{9798, 19235, 3736, 16121, 28737, 7};  // AC4 to four planes
static_assert(kQ14.yR == fix(0.299, 14) && kQ14.yG == fix(0.587, 14) && kQ14.yB == fix(0.114, 14));
static_assert(kQ15.yR == fix(0.299, 15) && kQ15.yG == fix(0.587, 15) && kQ15.yB == fix(0.114, 15));
// The Q15 chroma weights are truncated, not rounded; the Q14 ones are their halves rounded up.
static_assert(kQ15.u == static_cast<int>(0.492 * 32768) && kQ15.v == static_cast<int>(0.877 * 32768));
static_assert(kQ14.u == (kQ15.u + 1) / 2 && kQ14.v == (kQ15.v + 1) / 2);

// The Q14 luma weights doubled, for lanes of value << 6: every product
// 2w * (v << 6) is w * (v << 7), so the rounded products are the same.
inline constexpr RoundedSet kQ14Doubled{2 * kQ14.yR, 2 * kQ14.yG, 2 * kQ14.yB, kQ14.u, kQ14.v, kQ14.shift};
static_assert(2 * kQ14.yG < 32768, "doubled weights stay within int16");

template <const RoundedSet& S>
inline __m128i roundedLuma_v(__m128i r, __m128i g, __m128i b) {
    return _mm_add_epi16(_mm_add_epi16(_mm_mulhrs_epi16(k16(S.yR), r), _mm_mulhrs_epi16(k16(S.yG), g)),
                         _mm_mulhrs_epi16(k16(S.yB), b));
}

template <const RoundedSet& S>
inline __m128i roundedY_v(__m128i l) {
    return _mm_srai_epi16(l, S.shift);
}

template <const RoundedSet& S>
inline void roundedChroma_v(__m128i sr, __m128i sb, __m128i sl, __m128i& u, __m128i& v) {
    u = _mm_add_epi16(_mm_srai_epi16(_mm_mulhrs_epi16(k16(S.u), _mm_sub_epi16(sb, sl)), S.shift), k16(128));
    v = _mm_add_epi16(_mm_srai_epi16(_mm_mulhrs_epi16(k16(S.v), _mm_sub_epi16(sr, sl)), S.shift), k16(128));
}

// Scalar block recipe in Q14 (the tail of the 4:2:0 encoders): luma per
// pixel (4899 R + 9617 G + 1868 B) >> 14; chroma from the block's channel
// sums SR, SG, SB (four samples each) and the luma of those sums, scaled
// by 8061 and 14369 with a shift of 16.
inline uint8_t q14Luma_px(int r, int g, int b) { return static_cast<uint8_t>((kQ14.yR * r + kQ14.yG * g + kQ14.yB * b) >> 14); }

inline void q14Block_px(int sr, int sg, int sb, uint8_t& u, uint8_t& v) {
    const int ls = (kQ14.yR * sr + kQ14.yG * sg + kQ14.yB * sb) >> 14;
    u = _CHOP_ARRAY[((kQ14.u * (sb - ls)) >> 16) + 128];
    v = _CHOP_ARRAY[((kQ14.v * (sr - ls)) >> 16) + 128];
}

// Scalar block recipe in Q16 (the planar 4:2:0 encoder, which has no vector
// body): luma S >> 16 with no rounding; the differences of the channel sums
// and the sum T of the four S values in Q16, scaled with a shift of 18.
inline void q16Block_px(int sr, int sb, int t, uint8_t& u, uint8_t& v) {
    const int du = ((sb << 16) - t) >> 16, dv = ((sr << 16) - t) >> 16;
    u = static_cast<uint8_t>(((du * kU16) >> 18) + 128);
    v = _CHOP_ARRAY[((dv * kV16) >> 18) + 128];
}

// ---- 4:2:2 pair recipes -------------------------------------------------------------
inline constexpr int kPairYR = 9798, kPairYG = 19235, kPairYB = 3736;  // Q15 luma; doubled in Q14
inline constexpr int kPairU = 16121, kPairV = 28737;                   // 0.492, 0.877 in Q15
static_assert(kPairYR == kQ15.yR && kPairYG == kQ15.yG && kPairYB == kQ15.yB);
static_assert(kPairU == kQ15.u && kPairV == kQ15.v);

// Multiply-add form.  Lanes hold plain samples (0..255) of eight pixels.
// Luma in doubled units: ((9798 R + 19235 G) >> 14) + ((3736 B) >> 14),
// each partial sum a 32-bit product of one multiply-add, shifted by itself.
inline __m128i maddLuma_v(__m128i r, __m128i g, __m128i b) {
    const __m128i wrg = _mm_set1_epi32((kPairYG << 16) | kPairYR), wb = _mm_set1_epi32(kPairYB);
    const __m128i z = _mm_setzero_si128();
    const __m128i lo = _mm_add_epi32(_mm_srai_epi32(_mm_madd_epi16(_mm_unpacklo_epi16(r, g), wrg), 14),
                                     _mm_srai_epi32(_mm_madd_epi16(_mm_unpacklo_epi16(b, z), wb), 14));
    const __m128i hi = _mm_add_epi32(_mm_srai_epi32(_mm_madd_epi16(_mm_unpackhi_epi16(r, g), wrg), 14),
                                     _mm_srai_epi32(_mm_madd_epi16(_mm_unpackhi_epi16(b, z), wb), 14));
    return _mm_packs_epi32(lo, hi);
}

// Chroma of eight pairs: lumas of 16 pixels in two vectors (pixel order),
// pair sums of B and R in plain units.  P = (L0 + L1) >> 1;
// U = sat8(his(16121, (B0 + B1) - P) + 128), the subtraction saturating.
inline void maddChroma_v(__m128i l0, __m128i l1, __m128i sumB, __m128i sumR, __m128i& u, __m128i& v) {
    const __m128i p = _mm_srai_epi16(_mm_hadd_epi16(l0, l1), 1);
    u = _mm_adds_epi16(_mm_mulhi_epi16(k16(kPairU), _mm_subs_epi16(sumB, p)), k16(128));
    v = _mm_adds_epi16(_mm_mulhi_epi16(k16(kPairV), _mm_subs_epi16(sumR, p)), k16(128));
}

// Duplicated-byte form.  Each byte fills both halves of a lane, shifted
// right by 6: s = (byte * 257) >> 6.  Luma in doubled units by his.
inline __m128i dupBytesLo(__m128i v) { return _mm_srli_epi16(_mm_unpacklo_epi8(v, v), 6); }
inline __m128i dupBytesHi(__m128i v) { return _mm_srli_epi16(_mm_unpackhi_epi8(v, v), 6); }

inline __m128i dupLuma_v(__m128i r, __m128i g, __m128i b) {
    return _mm_add_epi16(_mm_add_epi16(_mm_mulhi_epi16(k16(kPairYR), r), _mm_mulhi_epi16(k16(kPairYG), g)),
                         _mm_mulhi_epi16(k16(kPairYB), b));
}

// P = L0 + L1, mr = (r0 + r1) >> 1; V = sat8((his(28737, mr - P) >> 1) + 128).
inline void dupChroma_v(__m128i l0, __m128i l1, __m128i r0, __m128i r1, __m128i b0, __m128i b1, __m128i& u,
                        __m128i& v) {
    const __m128i p = _mm_hadd_epi16(l0, l1);
    const __m128i mr = _mm_srli_epi16(_mm_hadd_epi16(r0, r1), 1), mb = _mm_srli_epi16(_mm_hadd_epi16(b0, b1), 1);
    u = _mm_add_epi16(_mm_srai_epi16(_mm_mulhi_epi16(k16(kPairU), _mm_subs_epi16(mb, p)), 1), k16(128));
    v = _mm_add_epi16(_mm_srai_epi16(_mm_mulhi_epi16(k16(kPairV), _mm_subs_epi16(mr, p)), 1), k16(128));
}

// Scalar pair in Q16.  Rounded: Y with the addend 32768 and the chroma
// addend 32768; otherwise Y truncated and the chroma addend 65535.  The
// shift of 17 halves the pair's total.
template <bool Rounded>
inline void pair_px(const int (&rgb0)[3], const int (&rgb1)[3], uint8_t& y0, uint8_t& y1, uint8_t& u, uint8_t& v) {
    const int s0 = lumaSum_px(rgb0[0], rgb0[1], rgb0[2]), s1 = lumaSum_px(rgb1[0], rgb1[1], rgb1[2]);
    const int ya = Rounded ? 32768 : 0, a = Rounded ? 32768 : 65535;
    y0 = static_cast<uint8_t>((s0 + ya) >> 16);
    y1 = static_cast<uint8_t>((s1 + ya) >> 16);
    const int t = s0 + s1;
    const int du = (((rgb0[2] + rgb1[2]) << 16) - t + a) >> 16;
    const int dv = (((rgb0[0] + rgb1[0]) << 16) - t + a) >> 16;
    u = static_cast<uint8_t>(((du * kU16) >> 17) + 128);
    v = _CHOP_ARRAY[((dv * kV16) >> 17) + 128];
}

// A lone last pixel in Q15, nothing rounded.
inline void loneQ15_px(int r, int g, int b, uint8_t& y, uint8_t& u, uint8_t& v) {
    const int a = kPairYR * r + kPairYG * g + kPairYB * b;
    y = static_cast<uint8_t>(a >> 15);
    u = static_cast<uint8_t>(((((b << 15) - a) >> 15) * kPairU >> 15) + 128);
    v = _CHOP_ARRAY[((((r << 15) - a) >> 15) * kPairV >> 15) + 128];
}

// ---- Scalar decoders (Q16) -------------------------------------------------------
struct InvSet {
    int vR, uG, vG, uB;  // V to R, U to G, V to G, U to B (the G terms are subtracted)
    int roundRB, roundG;
};
inline constexpr InvSet kInvRounded{74711, 25821, 38076, 133169, 32768, 0};  // R and B rounded
inline constexpr InvSet kInvPlain{74710, 25820, 38075, 133168, 0, 0};        // one lower, nothing rounded
inline constexpr InvSet kInvBlock{74711, 25821, 38076, 133169, 0, 0};        // 4:2:0 planar, nothing rounded
static_assert(kInvRounded.vR == fix(1.140, 16) && kInvRounded.uB == fix(2.032, 16));

// Chroma terms of one sample, added to Y << 16 of each pixel it serves.
struct InvTerms {
    int r, g, b;
};

template <const InvSet& S>
inline InvTerms invTerms(int u, int v) {
    const int ud = u - 128, vd = v - 128;
    return {S.vR * vd + S.roundRB, -S.uG * ud - S.vG * vd + S.roundG, S.uB * ud + S.roundRB};
}

inline void invPixel(int y, const InvTerms& t, uint8_t& r, uint8_t& g, uint8_t& b) {
    const int yq = y << 16;
    r = _CHOP_ARRAY[(yq + t.r) >> 16];
    g = _CHOP_ARRAY[(yq + t.g) >> 16];
    b = _CHOP_ARRAY[(yq + t.b) >> 16];
}

template <const InvSet& S>
inline void inv_px(int y, int u, int v, uint8_t& r, uint8_t& g, uint8_t& b) {
    invPixel(y, invTerms<S>(u, v), r, g, b);
}

// ---- Vector decoders -----------------------------------------------------------------
// Chroma terms of eight samples, to be added to the luma of the pixels
// they serve (duplicated for 4:2:x).  Lanes hold the centred samples
// scaled as each form says.
struct VecTerms {
    __m128i r, g, b;
};

// Shift-free form: u = (U - 128) * 8; R = sat8(Y + his(v, 9339)),
// G = sat8((Y + his(u, -3228)) + his(v, -4760)), B = sat8(Y + his(u, 16646)).
inline void shiftFree_v(__m128i y, __m128i u8, __m128i v8, __m128i& r, __m128i& g, __m128i& b) {
    r = _mm_adds_epi16(y, _mm_mulhi_epi16(v8, k16(9339)));
    g = _mm_adds_epi16(_mm_adds_epi16(y, _mm_mulhi_epi16(u8, k16(-3228))), _mm_mulhi_epi16(v8, k16(-4760)));
    b = _mm_adds_epi16(y, _mm_mulhi_epi16(u8, k16(16646)));
}

// Doubled-luma form: u = (U - 128) * 16; R = sat8((2Y + his(v, kR)) >> 1), ...
struct DoubledSet {
    int16_t r, u, v, b;
};
inline constexpr DoubledSet kDoubled{9338, -3227, -4759, 16645};     // most kernels
inline constexpr DoubledSet kDoubledBgr{9339, -3228, -4760, 16646};  // the 4:2:0 to BGR worker

template <const DoubledSet& S>
inline VecTerms doubledTerms_v(__m128i u16, __m128i v16) {
    return {_mm_mulhi_epi16(v16, k16(S.r)), _mm_mulhi_epi16(u16, k16(S.u)), _mm_mulhi_epi16(u16, k16(S.b))};
}

// Lanes of y hold Y; t from doubledTerms_v, its G term still without the V part (vg).
template <const DoubledSet& S>
inline void doubledPixels_v(__m128i y, const VecTerms& t, __m128i vg, __m128i& r, __m128i& g, __m128i& b) {
    const __m128i y2 = _mm_add_epi16(y, y);
    r = _mm_srai_epi16(_mm_adds_epi16(y2, t.r), 1);
    g = _mm_srai_epi16(_mm_adds_epi16(_mm_adds_epi16(y2, t.g), vg), 1);
    b = _mm_srai_epi16(_mm_adds_epi16(y2, t.b), 1);
}

template <const DoubledSet& S>
inline __m128i doubledVG_v(__m128i v16) {
    return _mm_mulhi_epi16(v16, k16(S.v));
}

// Sixteen-fold form: u = (U - 128) * 128; terms formed once per chroma
// sample; R = sat8((16 Y + his(v, 9338) + 8) >> 4),
// G = sat8((16 Y - (his(u, 3227) + his(v, 4759)) + 8) >> 4),
// B = sat8((16 Y + his(u, 16646) + 8) >> 4).
inline VecTerms sixteenTerms_v(__m128i u128, __m128i v128) {
    return {_mm_mulhi_epi16(v128, k16(9338)),
            _mm_adds_epi16(_mm_mulhi_epi16(u128, k16(3227)), _mm_mulhi_epi16(v128, k16(4759))),
            _mm_mulhi_epi16(u128, k16(16646))};
}

inline void sixteenPixels_v(__m128i y, const VecTerms& t, __m128i& r, __m128i& g, __m128i& b) {
    const __m128i y16 = _mm_add_epi16(_mm_slli_epi16(y, 4), k16(8));
    r = _mm_srai_epi16(_mm_adds_epi16(y16, t.r), 4);
    g = _mm_srai_epi16(_mm_subs_epi16(y16, t.g), 4);
    b = _mm_srai_epi16(_mm_adds_epi16(y16, t.b), 4);
}

// Eight-fold form: u = (U - 128) * 128; R = sat8((8 Y + his(v, 4669) + 4) >> 3),
// G = sat8((8 Y - his(v, 2380) - his(u, 1614) + 4) >> 3), B = sat8((8 Y + his(u, 8323) + 4) >> 3).
inline void eightFold_v(__m128i y8, __m128i u128, __m128i v128, __m128i& r, __m128i& g, __m128i& b) {
    const __m128i four = k16(4);
    r = _mm_srai_epi16(_mm_adds_epi16(_mm_adds_epi16(y8, _mm_mulhi_epi16(v128, k16(4669))), four), 3);
    g = _mm_subs_epi16(_mm_subs_epi16(y8, _mm_mulhi_epi16(v128, k16(2380))), _mm_mulhi_epi16(u128, k16(1614)));
    g = _mm_srai_epi16(_mm_adds_epi16(g, four), 3);
    b = _mm_srai_epi16(_mm_adds_epi16(_mm_adds_epi16(y8, _mm_mulhi_epi16(u128, k16(8323))), four), 3);
}

// ---- Sixteen pixels served by eight chroma samples (4:2:x decoders) ----------------
// The chroma terms are formed once per sample on eight lanes and each lane
// is then duplicated to cover its two pixels.
struct PairedTerms {
    VecTerms lo, hi;   // pixels 0-7 and 8-15
    __m128i vgLo, vgHi;  // doubled-luma form: the V part of G, added last
};

inline __m128i dupLanesLo(__m128i v) { return _mm_unpacklo_epi16(v, v); }
inline __m128i dupLanesHi(__m128i v) { return _mm_unpackhi_epi16(v, v); }
inline VecTerms dupTermsLo(const VecTerms& t) { return {dupLanesLo(t.r), dupLanesLo(t.g), dupLanesLo(t.b)}; }
inline VecTerms dupTermsHi(const VecTerms& t) { return {dupLanesHi(t.r), dupLanesHi(t.g), dupLanesHi(t.b)}; }

// u, v: eight chroma bytes in the low half.
template <const DoubledSet& S>
inline PairedTerms doubledPaired_v(__m128i u, __m128i v) {
    const __m128i z = _mm_setzero_si128(), off = k16(128 * 16);
    const __m128i u16 = _mm_sub_epi16(_mm_slli_epi16(_mm_unpacklo_epi8(u, z), 4), off);
    const __m128i v16 = _mm_sub_epi16(_mm_slli_epi16(_mm_unpacklo_epi8(v, z), 4), off);
    const VecTerms t = doubledTerms_v<S>(u16, v16);
    const __m128i vg = doubledVG_v<S>(v16);
    return {dupTermsLo(t), dupTermsHi(t), dupLanesLo(vg), dupLanesHi(vg)};
}

// Sixteen luma bytes -> sixteen R, G, B bytes.
template <const DoubledSet& S>
inline void doubledRow16_v(__m128i y, const PairedTerms& t, __m128i& r, __m128i& g, __m128i& b) {
    const __m128i z = _mm_setzero_si128();
    __m128i r0, g0, b0, r1, g1, b1;
    doubledPixels_v<S>(_mm_unpacklo_epi8(y, z), t.lo, t.vgLo, r0, g0, b0);
    doubledPixels_v<S>(_mm_unpackhi_epi8(y, z), t.hi, t.vgHi, r1, g1, b1);
    r = _mm_packus_epi16(r0, r1);
    g = _mm_packus_epi16(g0, g1);
    b = _mm_packus_epi16(b0, b1);
}

inline PairedTerms sixteenPaired_v(__m128i u, __m128i v) {
    const __m128i z = _mm_setzero_si128(), off = k16(128 * 128);
    const __m128i u128 = _mm_sub_epi16(_mm_slli_epi16(_mm_unpacklo_epi8(u, z), 7), off);
    const __m128i v128 = _mm_sub_epi16(_mm_slli_epi16(_mm_unpacklo_epi8(v, z), 7), off);
    const VecTerms t = sixteenTerms_v(u128, v128);
    return {dupTermsLo(t), dupTermsHi(t), z, z};
}

inline void sixteenRow16_v(__m128i y, const PairedTerms& t, __m128i& r, __m128i& g, __m128i& b) {
    const __m128i z = _mm_setzero_si128();
    __m128i r0, g0, b0, r1, g1, b1;
    sixteenPixels_v(_mm_unpacklo_epi8(y, z), t.lo, r0, g0, b0);
    sixteenPixels_v(_mm_unpackhi_epi8(y, z), t.hi, r1, g1, b1);
    r = _mm_packus_epi16(r0, r1);
    g = _mm_packus_epi16(g0, g1);
    b = _mm_packus_epi16(b0, b1);
}

}  // namespace cel::yuv
