// Fixed-point recipes of the 8-bit RGB -> YCbCr encoders (BT.601 studio
// range: Y 16..235, Cb and Cr 16..240 around 128).
//
// The library has no single encoder recipe.  A kernel picks one recipe for
// its vector body and usually another for the pixels at the end of the row;
// they differ by at most one and the difference is the library's result, so
// the recipes are kept apart and each lives here exactly once:
//
//   rounded-lane  Q14 coefficients on 16-bit lanes holding value << 7; every
//                 product rounded by itself (pmulhrsw); luma rounded, chroma
//                 almost truncated (addend 8194 = 128 * 64 + 2).
//   high-word     Q16 coefficients; luma from unsigned multiply-high of the
//                 byte in the high half of a lane, chroma from signed
//                 multiply-high of value << 7.
//   scalar Q16    32-bit integers, one pixel at a time; the tails use it.
//
// All three express the matrix 0.257 0.504 0.098 / -0.148 -0.291 0.439 /
// 0.439 -0.368 -0.071, rounded to the nearest step of their Q format.
#pragma once

#include <smmintrin.h>

#include <cstdint>

#include "frame/simd.h"
#include "lumachroma/matrices.h"

namespace cel::enc {

// Nearest fixed-point step of a coefficient (positive coefficients only).
constexpr int fix(double k, int fracBits) { return static_cast<int>(k * (1 << fracBits) + 0.5); }

// ---- Rounded-lane recipe, Q14 ---------------------------------------------
inline constexpr int16_t kLaneYR = 4211, kLaneYG = 8258, kLaneYB = 1606;
inline constexpr int16_t kLaneCbB = 7193, kLaneCbG = 4768, kLaneCbR = 2425;
inline constexpr int16_t kLaneCrR = 7193, kLaneCrG = 6029, kLaneCrB = 1163;
inline constexpr int16_t kLaneYAdd = 1056;   // 16 * 64 + 32: offset 16 and rounding
inline constexpr int16_t kLaneCAdd = 8194;   // 128 * 64 + 2: offset 128, nearly truncated
static_assert(kLaneYR == fix(0.257, 14) && kLaneYG == fix(0.504, 14) && kLaneYB == fix(0.098, 14));
static_assert(kLaneCbB == fix(0.439, 14) && kLaneCbG == fix(0.291, 14) && kLaneCbR == fix(0.148, 14));
static_assert(kLaneCrR == fix(0.439, 14) && kLaneCrG == fix(0.368, 14) && kLaneCrB == fix(0.071, 14));

// Luma of eight pixels; lanes hold R << 7, G << 7, B << 7.  `add` is the
// offset-and-rounding addend (1056; the 4:2:0 encoders that name 1026 use
// it in its place).  With M = 2 the lanes hold value << 6 and the
// coefficients are doubled: every product 2k * (v << 6) is k * (v << 7), so
// each rounded product, and the result, are the same.
template <int M = 1>
inline __m128i lumaLaneM_v(__m128i r, __m128i g, __m128i b, int16_t add) {
    static_assert(M == 1 || (M == 2 && kLaneYG * 2 < 32768), "coefficients stay within int16");
    const __m128i yr = _mm_mulhrs_epi16(_mm_set1_epi16(int16_t(kLaneYR * M)), r);
    const __m128i yg = _mm_mulhrs_epi16(_mm_set1_epi16(int16_t(kLaneYG * M)), g);
    const __m128i yb = _mm_mulhrs_epi16(_mm_set1_epi16(int16_t(kLaneYB * M)), b);
    return _mm_srai_epi16(_mm_add_epi16(_mm_add_epi16(_mm_add_epi16(yr, yg), yb), _mm_set1_epi16(add)), 6);
}
inline __m128i lumaLane_v(__m128i r, __m128i g, __m128i b, int16_t add = kLaneYAdd) {
    return lumaLaneM_v<1>(r, g, b, add);
}

using simd::EvenOdd64;
using simd::evenOdd64;
using simd::blockSum5;

// Luma of sixteen pixels as bytes from the even and odd lanes of R, G, B.
// Every result lies within 16..235 for the addends used (1026, 1056), so
// the even and odd results join as the low and high bytes of a lane, as
// the saturating pack would leave them.
inline __m128i lumaLaneBytes64_v(const EvenOdd64& r, const EvenOdd64& g, const EvenOdd64& b, int16_t add) {
    const __m128i ye = lumaLaneM_v<2>(r.even, g.even, b.even, add);
    const __m128i yo = lumaLaneM_v<2>(r.odd, g.odd, b.odd, add);
    return simd::joinEvenOdd(ye, yo);
}

// The same from byte vectors of R, G, B in pixel order by shifts and masks:
// the lanes of value << 7 of the even pixels are a lane shifted left by 7
// with the odd byte's bits masked off, of the odd pixels a lane shifted
// right by 1 and masked.  Where the channel split itself is heavy on the
// multiply ports (three-byte pixels, by byte blends) this beats the byte
// multiply-adds.
inline __m128i lumaLaneBytes_v(__m128i r, __m128i g, __m128i b, int16_t add = kLaneYAdd) {
    const __m128i m = _mm_set1_epi16(0x7F80);
    const auto even = [m](__m128i v) { return _mm_and_si128(_mm_slli_epi16(v, 7), m); };
    const auto odd = [m](__m128i v) { return _mm_and_si128(_mm_srli_epi16(v, 1), m); };
    return simd::joinEvenOdd(lumaLane_v(even(r), even(g), even(b), add), lumaLane_v(odd(r), odd(g), odd(b), add));
}

// Chroma of eight lanes holding R, G, B << 7 (one pixel each) or the sums
// of a block's four samples << 5 (the block mean << 7): the same formula.
// `add` is the offset-and-rounding addend (8194; the 4:2:2 pair recipe,
// which rounds its chroma, uses 8224 = 128.5 * 64).
inline void chromaLane_v(__m128i r, __m128i g, __m128i b, __m128i& cb, __m128i& cr, int16_t add = kLaneCAdd) {
    const __m128i cbb = _mm_mulhrs_epi16(_mm_set1_epi16(kLaneCbB), b);
    const __m128i cbg = _mm_mulhrs_epi16(_mm_set1_epi16(kLaneCbG), g);
    const __m128i cbr = _mm_mulhrs_epi16(_mm_set1_epi16(kLaneCbR), r);
    cb = _mm_srai_epi16(_mm_add_epi16(_mm_sub_epi16(_mm_sub_epi16(cbb, cbg), cbr), _mm_set1_epi16(add)), 6);

    const __m128i crr = _mm_mulhrs_epi16(_mm_set1_epi16(kLaneCrR), r);
    const __m128i crg = _mm_mulhrs_epi16(_mm_set1_epi16(kLaneCrG), g);
    const __m128i crb = _mm_mulhrs_epi16(_mm_set1_epi16(kLaneCrB), b);
    cr = _mm_srai_epi16(_mm_add_epi16(_mm_sub_epi16(_mm_sub_epi16(crr, crg), crb), _mm_set1_epi16(add)), 6);
}

// Input lanes hold R << 7, G << 7, B << 7 (eight pixels); output lanes hold
// Y, Cb, Cr before the saturating pack to bytes.
inline void rgbToYCbCrLane_v(__m128i r, __m128i g, __m128i b, __m128i& y, __m128i& cb, __m128i& cr) {
    y = lumaLane_v(r, g, b);
    chromaLane_v(r, g, b, cb, cr);
}

// ---- Late-offset variant of the rounded-lane recipe ---------------------------
// The same products with no addend ahead of the shift; the offsets 16 and
// 128 come after it.
inline __m128i lumaLaneLate_v(__m128i r, __m128i g, __m128i b) {
    const __m128i s = _mm_add_epi16(_mm_add_epi16(_mm_mulhrs_epi16(_mm_set1_epi16(kLaneYR), r),
                                                  _mm_mulhrs_epi16(_mm_set1_epi16(kLaneYG), g)),
                                    _mm_mulhrs_epi16(_mm_set1_epi16(kLaneYB), b));
    return _mm_add_epi16(_mm_srai_epi16(s, 6), _mm_set1_epi16(16));
}

inline void chromaLaneLate_v(__m128i r, __m128i g, __m128i b, __m128i& cb, __m128i& cr) {
    const __m128i c128 = _mm_set1_epi16(128);
    cb = _mm_sub_epi16(_mm_sub_epi16(_mm_mulhrs_epi16(_mm_set1_epi16(kLaneCbB), b),
                                     _mm_mulhrs_epi16(_mm_set1_epi16(kLaneCbG), g)),
                       _mm_mulhrs_epi16(_mm_set1_epi16(kLaneCbR), r));
    cb = _mm_add_epi16(_mm_srai_epi16(cb, 6), c128);
    cr = _mm_sub_epi16(_mm_sub_epi16(_mm_mulhrs_epi16(_mm_set1_epi16(kLaneCrR), r),
                                     _mm_mulhrs_epi16(_mm_set1_epi16(kLaneCrG), g)),
                       _mm_mulhrs_epi16(_mm_set1_epi16(kLaneCrB), b));
    cr = _mm_add_epi16(_mm_srai_epi16(cr, 6), c128);
}

// ---- High-word recipe, Q16 -------------------------------------------------
inline constexpr int kHiYR = 16843, kHiYG = 33030, kHiYB = 6423;  // unsigned multiply-high
inline constexpr int16_t kHiCbR = -9699, kHiCbG = -19071, kHiCbB = 28770;
inline constexpr int16_t kHiCrR = 28770, kHiCrG = -24117, kHiCrB = -4653;
static_assert(kHiYR == fix(0.257, 16) && kHiYG == fix(0.504, 16) && kHiYB == fix(0.098, 16));
static_assert(-kHiCbR == fix(0.148, 16) && -kHiCbG == fix(0.291, 16) && kHiCbB == fix(0.439, 16));
static_assert(kHiCrR == fix(0.439, 16) && -kHiCrG == fix(0.368, 16) && -kHiCrB == fix(0.071, 16));

// Input lanes hold R << 8, G << 8, B << 8 (the byte in the high half of the
// lane); output lanes hold Y, Cb, Cr before the saturating pack.
inline void rgbToYCbCrHigh_v(__m128i r8, __m128i g8, __m128i b8, __m128i& y, __m128i& cb, __m128i& cr) {
    __m128i s = _mm_adds_epu16(_mm_mulhi_epu16(r8, _mm_set1_epi16(static_cast<int16_t>(kHiYR))),
                               _mm_mulhi_epu16(g8, _mm_set1_epi16(static_cast<int16_t>(kHiYG))));
    s = _mm_adds_epu16(s, _mm_mulhi_epu16(b8, _mm_set1_epi16(static_cast<int16_t>(kHiYB))));
    y = _mm_add_epi16(_mm_srli_epi16(_mm_adds_epu16(s, _mm_set1_epi16(128)), 8), _mm_set1_epi16(16));

    const __m128i r = _mm_srli_epi16(r8, 1);
    const __m128i g = _mm_srli_epi16(g8, 1);
    const __m128i b = _mm_srli_epi16(b8, 1);
    __m128i c = _mm_adds_epi16(_mm_mulhi_epi16(r, _mm_set1_epi16(kHiCbR)), _mm_mulhi_epi16(g, _mm_set1_epi16(kHiCbG)));
    c = _mm_adds_epi16(c, _mm_mulhi_epi16(b, _mm_set1_epi16(kHiCbB)));
    cb = _mm_add_epi16(_mm_srai_epi16(_mm_adds_epi16(c, _mm_set1_epi16(64)), 7), _mm_set1_epi16(128));

    c = _mm_adds_epi16(_mm_mulhi_epi16(r, _mm_set1_epi16(kHiCrR)), _mm_mulhi_epi16(g, _mm_set1_epi16(kHiCrG)));
    c = _mm_adds_epi16(c, _mm_mulhi_epi16(b, _mm_set1_epi16(kHiCrB)));
    cr = _mm_add_epi16(_mm_srai_epi16(_mm_adds_epi16(c, _mm_set1_epi16(64)), 7), _mm_set1_epi16(128));
}

// ---- Scalar Q16 recipe -----------------------------------------------------
// Same coefficients as the high-word recipe.  The chroma rows sum to zero,
// so every result lies in 16..240 and no clamp is needed.
inline constexpr int kQ16YAdd = 0x108000;  // 16.5 in Q16: offset and rounding
inline constexpr int kQ16CAdd = 0x808000;  // 128.5 in Q16
static_assert(kHiCbR + kHiCbG + kHiCbB == 0 && kHiCrR + kHiCrG + kHiCrB == 0);

inline void rgbToYCbCrQ16_px(int r, int g, int b, uint8_t& y, uint8_t& cb, uint8_t& cr) {
    y = static_cast<uint8_t>((kHiYR * r + kHiYG * g + kHiYB * b + kQ16YAdd) >> 16);
    cb = static_cast<uint8_t>((kHiCbR * r + kHiCbG * g + kHiCbB * b + kQ16CAdd) >> 16);
    cr = static_cast<uint8_t>((kHiCrR * r + kHiCrG * g + kHiCrB * b + kQ16CAdd) >> 16);
}

// ---- Unsigned-high block recipe and scalar block recipe, per coefficient set -----------
// A block encoder's set: the vector body works on lanes of byte << 8 (luma)
// and on block sums << 5 (chroma) with unsigned multiply-high; the scalar
// blocks in Q16 (luma) and Q18 (chroma from the plain sums).  `clamp` holds
// every result within 1..254 (byte minimum and maximum in the body,
// comparisons in the scalar blocks).
struct BlockSet {
    int yR, yG, yB, yAdd;                   // (hiu(yR, R8) + hiu(yG, G8) + hiu(yB, B8) + yAdd) >> 7
    int cMax, cbR, cbG, crG, crB, cAdd, cShift;  // Cb = (hiu(cMax, sb) - hiu(cbR, sr) - hiu(cbG, sg) + cAdd) >> cShift
    int qyR, qyG, qyB, qyAdd;               // (qyR R + qyG G + qyB B + qyAdd) >> 16
    int qcbR, qcbG, qcbB, qcrR, qcrG, qcrB;  // (qcbR SR + qcbG SG + qcbB SB + kQ18CAdd) >> 18, likewise Cr
    bool clamp;
};

inline constexpr int kQ18CAdd = 0x2008000;  // 128.125 in units of 2^18

// BT.601: Q15 luma is the Q16 coefficients halved, halves rounded up.
inline constexpr int kUHiYR = 8422, kUHiYG = 16515, kUHiYB = 3212;
static_assert(kUHiYR == (kHiYR + 1) / 2 && kUHiYG == (kHiYG + 1) / 2 && kUHiYB == (kHiYB + 1) / 2);
static_assert(kHiYR == mat::fix(mat::kEnc601.yR, 16) && kHiCbG == mat::fix(mat::kEnc601.cbG, 16) &&
              kHiCrB == mat::fix(mat::kEnc601.crB, 16), "BT.601 Q16 set as derived from Kr and Kb");
inline constexpr BlockSet kBlock601{kUHiYR, kUHiYG, kUHiYB, 2112,  // 2112: 16.5 * 128
                                    kHiCbB, -kHiCbR, -kHiCbG, -kHiCrG, -kHiCrB, 16400, 7,  // 16400: 128.125 * 128
                                    kHiYR, kHiYG, kHiYB, kQ16YAdd,
                                    kHiCbR, kHiCbG, kHiCbB, kHiCrR, kHiCrG, kHiCrB, false};

// BT.709 from the derived matrices: luma in Q15 for the body, Q16 for the
// scalar blocks; chroma of the body in Q(chromaBits), shifted by
// chromaBits - 9 (the sums carry five bits and the products drop sixteen).
constexpr BlockSet blockSet(const mat::Encoder& m, int yAdd, int chromaBits, int cAdd, int qyAdd, bool clamp) {
    const auto q = [](int t, int bits) { return mat::fix(t, bits); };
    return {q(m.yR, 15), q(m.yG, 15), q(m.yB, 15), yAdd,
            q(m.cbB, chromaBits), q(-m.cbR, chromaBits), q(-m.cbG, chromaBits), q(-m.crG, chromaBits),
            q(-m.crB, chromaBits), cAdd, chromaBits - 9,
            q(m.yR, 16), q(m.yG, 16), q(m.yB, 16), qyAdd,
            q(m.cbR, 16), q(m.cbG, 16), q(m.cbB, 16), q(m.crR, 16), q(m.crG, 16), q(m.crB, 16), clamp};
}
// Studio range: offset 16.5 and 128.125 as in BT.601.
inline constexpr BlockSet kBlock709Csc = blockSet(mat::kEnc709Csc, 2112, 16, 16400, kQ16YAdd, false);
// Full-scale luma (64: one half), chroma 128.5 * 64, all held in 1..254.
inline constexpr BlockSet kBlock709Hdtv = blockSet(mat::kEnc709Hdtv, 64, 15, 8224, 0x8000, true);
static_assert(kBlock709Hdtv.qyR + kBlock709Hdtv.qyG + kBlock709Hdtv.qyB == 1 << 16, "full-scale luma weights sum to 1");

inline __m128i u16(int v) { return _mm_set1_epi16(static_cast<int16_t>(v)); }

// Luma of eight pixels; lanes hold R << 8, G << 8, B << 8.
template <const BlockSet& S>
inline __m128i lumaUHigh_v(__m128i r8, __m128i g8, __m128i b8) {
    __m128i s = _mm_adds_epu16(_mm_mulhi_epu16(r8, u16(S.yR)), _mm_mulhi_epu16(g8, u16(S.yG)));
    s = _mm_adds_epu16(_mm_adds_epu16(s, _mm_mulhi_epu16(b8, u16(S.yB))), u16(S.yAdd));
    return _mm_srli_epi16(s, 7);
}

// Bytes held within 1..254 if the set says so (byte minimum and maximum).
template <const BlockSet& S>
inline __m128i holdBytes_v(__m128i p) {
    if constexpr (S.clamp) return _mm_min_epu8(_mm_max_epu8(p, _mm_set1_epi8(1)), _mm_set1_epi8(static_cast<char>(254)));
    return p;
}

// Luma of eight pixels before the offset, within 0..255; lanes hold R << 8,
// G << 8, B << 8.  The sums stay below the top of the signed range (the
// weights add up to at most 1 << 15 and each product is below weight *
// 255 / 256), so they add plainly, and (s + yAdd) >> 7 with yAdd = 128 k +
// 64 is ((s + 64) >> 7) + k: the rounding multiply by 256 takes the first
// part, a byte addition (lumaUHighOffset_v) the offset k after the results
// are bytes.
template <const BlockSet& S>
inline __m128i lumaUHighRounded_v(__m128i r8, __m128i g8, __m128i b8) {
    static_assert(S.yAdd % 128 == 64 && S.yR + S.yG + S.yB <= 1 << 15, "addend: an offset and one half");
    const __m128i s = _mm_add_epi16(_mm_add_epi16(_mm_mulhi_epu16(r8, u16(S.yR)), _mm_mulhi_epu16(g8, u16(S.yG))),
                                    _mm_mulhi_epu16(b8, u16(S.yB)));
    return _mm_mulhrs_epi16(s, _mm_set1_epi16(256));
}

// Bytes of lumaUHighRounded_v's results to luma: the offset k (16 at studio
// range, none at full scale), then the 1..254 hold where the set has it.
template <const BlockSet& S>
inline __m128i lumaUHighOffset_v(__m128i p) {
    if constexpr (S.yAdd / 128 != 0) return holdBytes_v<S>(_mm_add_epi8(p, _mm_set1_epi8(S.yAdd / 128)));
    return holdBytes_v<S>(p);
}

// Luma of sixteen four-byte pixels as bytes from their channel pairs
// (simd::split4x16Pairs: [c0 | c1] and [c2 | c3] of each group of eight,
// c0 blue and c2 red when Bgr): the lanes of value << 8 are the pairs'
// halves unpacked against zero, and the rounded parts of the two groups
// join by one pack before the offset.
template <const BlockSet& S, bool Bgr>
inline __m128i lumaUHighPairs_v(const __m128i (&h)[4]) {
    const __m128i z = _mm_setzero_si128();
    const auto group = [z](__m128i c01, __m128i c23) {
        const __m128i c0 = _mm_unpacklo_epi8(z, c01), c1 = _mm_unpackhi_epi8(z, c01);
        const __m128i c2 = _mm_unpacklo_epi8(z, c23);
        return Bgr ? lumaUHighRounded_v<S>(c2, c1, c0) : lumaUHighRounded_v<S>(c0, c1, c2);
    };
    return lumaUHighOffset_v<S>(_mm_packus_epi16(group(h[0], h[1]), group(h[2], h[3])));
}

// Luma of sixteen pixels as bytes, from byte vectors of R, G, B in pixel
// order.  A 16-bit lane of such a vector holds an even pixel in its low
// byte and the next odd pixel in its high byte, so value << 8 of the odd
// pixels is the lane with its low byte cleared and of the even pixels the
// lane shifted left by 8: no unpacking.  The rounded parts (0..255) of the
// even and odd pixels join as the low and high bytes of a lane with no pack.
template <const BlockSet& S>
inline __m128i lumaUHighBytes_v(__m128i r, __m128i g, __m128i b) {
    const __m128i high = u16(0xFF00);
    const __m128i even = lumaUHighRounded_v<S>(_mm_slli_epi16(r, 8), _mm_slli_epi16(g, 8), _mm_slli_epi16(b, 8));
    const __m128i odd =
        lumaUHighRounded_v<S>(_mm_and_si128(r, high), _mm_and_si128(g, high), _mm_and_si128(b, high));
    return lumaUHighOffset_v<S>(_mm_or_si128(even, _mm_slli_epi16(odd, 8)));
}

// Chroma from block sums << 5.  The addend goes in before the negative
// products are taken off; an unsigned step that would go below zero stops
// at zero, which the pack and the 1..254 clamp treat as any negative value.
template <const BlockSet& S>
inline void chromaUHigh_v(__m128i sr, __m128i sg, __m128i sb, __m128i& cb, __m128i& cr) {
    const __m128i cbPos = _mm_adds_epu16(_mm_mulhi_epu16(sb, u16(S.cMax)), u16(S.cAdd));
    const __m128i cbNeg = _mm_adds_epu16(_mm_mulhi_epu16(sr, u16(S.cbR)), _mm_mulhi_epu16(sg, u16(S.cbG)));
    cb = _mm_srli_epi16(_mm_subs_epu16(cbPos, cbNeg), S.cShift);
    const __m128i crPos = _mm_adds_epu16(_mm_mulhi_epu16(sr, u16(S.cMax)), u16(S.cAdd));
    const __m128i crNeg = _mm_adds_epu16(_mm_mulhi_epu16(sg, u16(S.crG)), _mm_mulhi_epu16(sb, u16(S.crB)));
    cr = _mm_srli_epi16(_mm_subs_epu16(crPos, crNeg), S.cShift);
}

// Sixteen-bit results to bytes: the saturating pack, then 1..254 if the set says so.
template <const BlockSet& S>
inline __m128i packUHigh_v(__m128i lo, __m128i hi) {
    return holdBytes_v<S>(_mm_packus_epi16(lo, hi));
}

template <const BlockSet& S>
inline uint8_t clampBlock(int v) {
    if constexpr (S.clamp) return static_cast<uint8_t>(v < 1 ? 1 : (v > 254 ? 254 : v));
    return static_cast<uint8_t>(v);  // the studio sets stay within 16..240
}

// Scalar block recipe: luma per pixel in Q16; chroma from the plain sums of
// a block's four samples (0..1020) in Q18 with a rounding part of one eighth.
template <const BlockSet& S = kBlock601>
inline uint8_t lumaQ16_px(int r, int g, int b) {
    return clampBlock<S>((S.qyR * r + S.qyG * g + S.qyB * b + S.qyAdd) >> 16);
}

template <const BlockSet& S = kBlock601>
inline void chromaBlockQ18_px(int sr, int sg, int sb, uint8_t& cb, uint8_t& cr) {
    cb = clampBlock<S>((S.qcbR * sr + S.qcbG * sg + S.qcbB * sb + kQ18CAdd) >> 18);
    cr = clampBlock<S>((S.qcrR * sr + S.qcrG * sg + S.qcrB * sb + kQ18CAdd) >> 18);
}

// ---- 4:2:2 pair recipes --------------------------------------------------------
// One chroma pair serves two horizontal neighbours and comes from the sums
// of their channels, SR = R0 + R1 (0..510).  The vector body takes the sums
// << 6 (the pair mean << 7) through chromaLane_v with the rounding addend
// 8224; the scalar pair works on the plain sums in Q17.
inline constexpr int16_t kLanePairCAdd = 8224;  // 128.5 * 64: pair chroma is rounded

// Scalar pair: luma of each pixel in Q16 with its own addend, chroma from
// the sums with a shift of 17, each row with its own addend.  Results land
// in 16..240, so the low byte is the value.
struct PairQ17 {
    int yAdd0, yAdd1;  // luma of the first and second pixel
    int cbAdd, crAdd;
};
// RGB-named kernels to packed output or from planes: the second luma is
// truncated (16.0) while the first is rounded (16.5); chroma 128.5.
inline constexpr PairQ17 kPairFirstGroup{kQ16YAdd, 0x100000, 0x1010000, 0x1010000};
// BGR-named kernels and the planar-output RGB kernel: chroma 128.125.
inline constexpr PairQ17 kPairSecondGroup{kQ16YAdd, kQ16YAdd, 0x1004000, 0x1004000};
// The Cb-first BGRA kernel: Cr two below Cb.
inline constexpr PairQ17 kPairCbFirst{kQ16YAdd, kQ16YAdd, 0x1010000, 0x100FFFE};
// Its full-scale BT.709 twins: the same chroma addends, luma rounded with no offset.
inline constexpr PairQ17 kPairCbFirstFull{kBlock709Hdtv.qyAdd, kBlock709Hdtv.qyAdd, kPairCbFirst.cbAdd,
                                          kPairCbFirst.crAdd};

// The Q16 coefficients and the 1..254 hold come from the block set M (the
// BT.601 set's are the high-word ones; its results stay within 16..240).
template <const PairQ17& S, const BlockSet& M = kBlock601>
inline void pairQ17_px(const int (&p0)[3], const int (&p1)[3], uint8_t& y0, uint8_t& y1, uint8_t& cb, uint8_t& cr) {
    y0 = clampBlock<M>((M.qyR * p0[0] + M.qyG * p0[1] + M.qyB * p0[2] + S.yAdd0) >> 16);
    y1 = clampBlock<M>((M.qyR * p1[0] + M.qyG * p1[1] + M.qyB * p1[2] + S.yAdd1) >> 16);
    const int sr = p0[0] + p1[0], sg = p0[1] + p1[1], sb = p0[2] + p1[2];
    cb = clampBlock<M>((M.qcbR * sr + M.qcbG * sg + M.qcbB * sb + S.cbAdd) >> 17);
    cr = clampBlock<M>((M.qcrR * sr + M.qcrG * sg + M.qcrB * sb + S.crAdd) >> 17);
}

// ---- Filtered 4:2:2 chroma (the Cb-first RGB encoder) ----------------------------
// Chroma of pair i is centred on the even pixel 2i and takes in both odd
// neighbours: weights 1/4, 1/2, 1/4.  Each pixel contributes a term: the
// rounded-lane chroma products at an even pixel, the halved coefficients
// at an odd one; a pair's value is (t(2i-1) + t(2i) + t(2i+1) + 16448) >> 7.
inline constexpr int16_t kHalfCbB = 3596, kHalfCbG = 2384, kHalfCbR = 1212;
inline constexpr int16_t kHalfCrR = 3596, kHalfCrG = 3015, kHalfCrB = 582;
inline constexpr int16_t kFilterCAdd = 16448;  // 128.5 * 128
static_assert(kHalfCbB == kLaneCbB / 2 && kHalfCbG == kLaneCbG / 2 && kHalfCbR == kLaneCbR / 2);
static_assert(kHalfCrR == kLaneCrR / 2 && kHalfCrG == (kLaneCrG + 1) / 2 && kHalfCrB == (kLaneCrB + 1) / 2);

// Terms of eight pixels (lanes hold value << 7); Half picks the odd weights.
template <bool Half>
inline void filterTerms_v(__m128i r, __m128i g, __m128i b, __m128i& tcb, __m128i& tcr) {
    const auto m = [](int16_t k, __m128i v) { return _mm_mulhrs_epi16(_mm_set1_epi16(k), v); };
    tcb = _mm_sub_epi16(_mm_sub_epi16(m(Half ? kHalfCbB : kLaneCbB, b), m(Half ? kHalfCbG : kLaneCbG, g)),
                        m(Half ? kHalfCbR : kLaneCbR, r));
    tcr = _mm_sub_epi16(_mm_sub_epi16(m(Half ? kHalfCrR : kLaneCrR, r), m(Half ? kHalfCrG : kLaneCrG, g)),
                        m(Half ? kHalfCrB : kLaneCrB, b));
}

// Chroma bytes' lanes from the three terms of each pair (no overflow: the
// sums stay within 2118..30778, so 16-bit lanes hold the 32-bit values).
inline __m128i filterChroma_v(__m128i left, __m128i even, __m128i right) {
    return _mm_srai_epi16(_mm_add_epi16(_mm_add_epi16(_mm_add_epi16(left, even), right), _mm_set1_epi16(kFilterCAdd)), 7);
}

// Scalar twin in Q16.  pcb/pcr are a pixel's full products; a pair's value
// is ((P(2i) >> 1) + carry + (P(2i+1) >> 2) + 0x807FFF) >> 16 with carry =
// P(2i-1) >> 2; a vector term carried into the scalar pairs is << 9.
inline constexpr int kFilterQ16CAdd = 0x807FFF;  // one below 128.5
inline constexpr int kFilterCarryShift = 9;
inline int filterPCb_px(int r, int g, int b) { return kHiCbR * r + kHiCbG * g + kHiCbB * b; }
inline int filterPCr_px(int r, int g, int b) { return kHiCrR * r + kHiCrG * g + kHiCrB * b; }
inline uint8_t filterChroma_px(int pEven, int carry, int pOdd) {
    return static_cast<uint8_t>(((pEven >> 1) + carry + (pOdd >> 2) + kFilterQ16CAdd) >> 16);
}

// ---- Gamma 4:2:2 encoder, Q15 on multiply-add pairs ----------------------------------
// Luma per pixel (8422 R + 16515 G + 3212 B + 0x84000) >> 15; chroma of a
// pair centred on its even pixel: full weights there, halved weights at the
// odd neighbours on both sides, addend 0x403FFF (just below 128.5), >> 15.
// Terms are 32-bit lanes, one pixel each; inputs are 16-bit lanes of
// (R, G) pairs and (B, 0) pairs.
inline constexpr int kGammaYAdd = 0x84000;   // 16.5 in Q15
inline constexpr int kGammaCAdd = 0x403FFF;  // just below 128.5 in Q15
static_assert(kUHiYR == 8422 && kUHiYG == 16515 && kUHiYB == 3212);

// A 32-bit lane holding the 16-bit weights lo (low half) and hi.
inline int w2bits(int lo, int hi) {
    return static_cast<int>((static_cast<uint32_t>(hi) << 16) | (static_cast<uint32_t>(lo) & 0xFFFF));
}
inline __m128i w2(int lo, int hi) { return _mm_set1_epi32(w2bits(lo, hi)); }
// Per-pixel weights alternating even, odd over four 32-bit lanes.
inline __m128i w2EvenOdd(int lo, int hi, int loOdd, int hiOdd) {
    return _mm_setr_epi32(w2bits(lo, hi), w2bits(loOdd, hiOdd), w2bits(lo, hi), w2bits(loOdd, hiOdd));
}

inline __m128i gammaLuma_v(__m128i rg, __m128i b0) {
    const __m128i s = _mm_add_epi32(_mm_madd_epi16(rg, w2(kUHiYR, kUHiYG)), _mm_madd_epi16(b0, w2(kUHiYB, 0)));
    return _mm_srai_epi32(_mm_add_epi32(s, _mm_set1_epi32(kGammaYAdd)), 15);
}

// Chroma terms of four pixels (even, odd, even, odd).
inline void gammaTerms_v(__m128i rg, __m128i b0, __m128i& tcb, __m128i& tcr) {
    tcb = _mm_add_epi32(_mm_madd_epi16(rg, w2EvenOdd(-2426, -4769, -1213, -2385)),
                        _mm_madd_epi16(b0, w2EvenOdd(7193, 0, 3596, 0)));
    tcr = _mm_add_epi32(_mm_madd_epi16(rg, w2EvenOdd(7193, -6030, 3596, -3015)),
                        _mm_madd_epi16(b0, w2EvenOdd(-1164, 0, -582, 0)));
}

inline __m128i gammaChroma_v(__m128i left, __m128i even, __m128i right) {
    return _mm_srai_epi32(_mm_add_epi32(_mm_add_epi32(_mm_add_epi32(left, even), right), _mm_set1_epi32(kGammaCAdd)), 15);
}

}  // namespace cel::enc
