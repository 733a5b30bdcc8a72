// Fixed-point recipes of the 8-bit YCbCr -> RGB decoders (BT.601 studio
// range), shared by every decoder, full resolution or upsampling.
//
// Vector recipes work on 16-bit lanes prepared as y = (Y - 16) << 7,
// cb = (Cb - 128) << 7, cr = (Cr - 128) << 7, with signed multiply-high
// (his) and a saturating pack to bytes:
//
//   narrow  Q12 coefficients, final shift 3, rounding addend 4
//   wide    Q13 coefficients, final shift 4, rounding addend 8
//   plain   wide coefficients with Y 9536 and Cb->G -3203, no rounding at
//           all: Y 235 with neutral chroma decodes to 254, by design
//
// Scalar recipes work in 32-bit integers on one pixel with two coefficient
// sets (A and B, Q16) and a rounding addend of 32768 or 0, clamped through
// the shared clamp table or by comparisons (same bytes).
//
// All sums stay far inside 16 bits, so wrapping and saturating additions
// are interchangeable here.
#pragma once

#include <smmintrin.h>

#include <cstdint>

#include "tables/chop.h"

namespace cel::dec {

// ---- Lane preparation ------------------------------------------------------
// Lanes holding Y << 8 (byte in the high half) -> (Y - 16) << 7; likewise
// for chroma around 128.
inline __m128i lumaFromHigh(__m128i v8) { return _mm_sub_epi16(_mm_srli_epi16(v8, 1), _mm_set1_epi16(16 << 7)); }
inline __m128i chromaFromHigh(__m128i v8) {
    return _mm_sub_epi16(_mm_srli_epi16(v8, 1), _mm_set1_epi16(128 << 7));
}

// Sixteen bytes straight to lanes, the even pixels (0, 2, .., 14) in one
// vector and the odd ones in another, by byte multiply-adds: chroma lanes
// hold (C - 128) << 7 as above; luma lanes hold the negated value
// -((Y - 16) << 7) = -128 Y + 2048, for the recipes' NegLuma forms.
// Odd selects the odd pixels.
template <bool Odd>
inline __m128i lumaNegFromBytes(__m128i y) {
    const __m128i k = _mm_set1_epi16(Odd ? static_cast<int16_t>(0x8000) : 0x0080);  // bytes -128 and 0
    return _mm_add_epi16(_mm_maddubs_epi16(y, k), _mm_set1_epi16(16 << 7));
}
// c holds C ^ 0x80, the signed byte C - 128.
template <bool Odd>
inline __m128i chromaFromSignedBytes(__m128i c) {
    const __m128i k = _mm_set1_epi16(Odd ? 0x0080 << 8 : 0x0080);  // unsigned bytes 128 and 0
    return _mm_maddubs_epi16(k, c);
}
inline __m128i signedChroma(__m128i c) { return _mm_xor_si128(c, _mm_set1_epi8(-128)); }
// The low eight signed bytes C - 128 as lanes (C - 128) << 7.
inline __m128i chromaFromSignedLow8(__m128i c) {
    return _mm_srai_epi16(_mm_unpacklo_epi8(_mm_setzero_si128(), c), 1);
}

// ---- Narrow recipe (Q12, shift 3) -----------------------------------------
inline constexpr int16_t kNarrowY = 4769, kNarrowCrR = 6537, kNarrowCbG = 1605, kNarrowCrG = 3330, kNarrowCbB = 8263;

// Round: the addend of 4 ahead of the shift (the filtered 4:2:0 decoder
// runs the recipe without it).  NegLuma: y holds the negated luma lanes and
// is multiplied by the negated coefficient, the same product.  KY and KCbB:
// the truncating form of a packed 4:2:2 decoder has both two below the
// narrow ones and no addend.
template <bool Round = true, bool NegLuma = false, int16_t KY = kNarrowY, int16_t KCbB = kNarrowCbB>
inline void narrow_v(__m128i y, __m128i cb, __m128i cr, __m128i& r, __m128i& g, __m128i& b) {
    // the addend joins the luma term once (wrapping additions: same sums)
    const __m128i t = _mm_mulhi_epi16(y, _mm_set1_epi16(NegLuma ? -KY : KY));
    const __m128i t4 = Round ? _mm_add_epi16(t, _mm_set1_epi16(4)) : t;
    r = _mm_srai_epi16(_mm_add_epi16(t4, _mm_mulhi_epi16(cr, _mm_set1_epi16(kNarrowCrR))), 3);
    const __m128i gc = _mm_add_epi16(_mm_mulhi_epi16(cb, _mm_set1_epi16(kNarrowCbG)),
                                     _mm_mulhi_epi16(cr, _mm_set1_epi16(kNarrowCrG)));
    g = _mm_srai_epi16(_mm_sub_epi16(t4, gc), 3);
    b = _mm_srai_epi16(_mm_add_epi16(t4, _mm_mulhi_epi16(cb, _mm_set1_epi16(KCbB))), 3);
}

// Sixteen pixels by the narrow recipe from their luma bytes and the chroma
// lanes of the even and of the odd pixels; results packed to bytes in
// even/odd order (pixels 0, 2, .., 14, then 1, 3, .., 15).
inline void narrowEvenOdd_v(__m128i y, __m128i cbE, __m128i crE, __m128i cbO, __m128i crO, __m128i& r, __m128i& g,
                            __m128i& b) {
    __m128i re, ge, be, ro, go, bo;
    narrow_v<true, true>(lumaNegFromBytes<false>(y), cbE, crE, re, ge, be);
    narrow_v<true, true>(lumaNegFromBytes<true>(y), cbO, crO, ro, go, bo);
    r = _mm_packus_epi16(re, ro);
    g = _mm_packus_epi16(ge, go);
    b = _mm_packus_epi16(be, bo);
}

// Truncating narrow form (a packed 4:2:2 decoder): no rounding addend, and
// the coefficients of Y and of Cb to B two below the narrow ones.
inline constexpr int16_t kTruncY = 4767, kTruncCbB = 8261;
inline constexpr auto narrowTrunc_v = narrow_v<false, false, kTruncY, kTruncCbB>;

// ---- Wide recipe (Q13, shift 4) --------------------------------------------
inline constexpr int16_t kWideY = 9535, kWideCrR = 13074, kWideCrG = 6660, kWideCbG = 3211, kWideCbB = 16523;

inline void wide_v(__m128i y, __m128i cb, __m128i cr, __m128i& r, __m128i& g, __m128i& b) {
    const __m128i t8 = _mm_add_epi16(_mm_mulhi_epi16(y, _mm_set1_epi16(kWideY)), _mm_set1_epi16(8));
    r = _mm_srai_epi16(_mm_add_epi16(t8, _mm_mulhi_epi16(cr, _mm_set1_epi16(kWideCrR))), 4);
    g = _mm_sub_epi16(_mm_sub_epi16(t8, _mm_mulhi_epi16(cr, _mm_set1_epi16(kWideCrG))),
                      _mm_mulhi_epi16(cb, _mm_set1_epi16(kWideCbG)));
    g = _mm_srai_epi16(g, 4);
    b = _mm_srai_epi16(_mm_add_epi16(t8, _mm_mulhi_epi16(cb, _mm_set1_epi16(kWideCbB))), 4);
}

// ---- Plain recipe (wide coefficients, two of them different, no rounding) --
inline constexpr int16_t kPlainY = 9536, kPlainCrR = 13074, kPlainCrG = -6660, kPlainCbG = -3203, kPlainCbB = 16523;

inline void plain_v(__m128i y, __m128i cb, __m128i cr, __m128i& r, __m128i& g, __m128i& b) {
    const __m128i t = _mm_mulhi_epi16(y, _mm_set1_epi16(kPlainY));
    r = _mm_srai_epi16(_mm_add_epi16(t, _mm_mulhi_epi16(cr, _mm_set1_epi16(kPlainCrR))), 4);
    g = _mm_add_epi16(_mm_add_epi16(t, _mm_mulhi_epi16(cr, _mm_set1_epi16(kPlainCrG))),
                      _mm_mulhi_epi16(cb, _mm_set1_epi16(kPlainCbG)));
    g = _mm_srai_epi16(g, 4);
    b = _mm_srai_epi16(_mm_add_epi16(t, _mm_mulhi_epi16(cb, _mm_set1_epi16(kPlainCbB))), 4);
}

// ---- Scalar sets (Q16) -------------------------------------------------------
struct ScalarSet {
    int y, crR, cbG, crG, cbB;
};
inline constexpr ScalarSet kSetA{76282, 104593, -25689, -53279, 132184};
inline constexpr ScalarSet kSetB{76284, 104595, -25690, -53281, 132186};
inline constexpr ScalarSet kSetC{76294, 104595, -25625, -53281, 132186};  // the 4:1:1 decoders

// How a scalar result is brought into 0..255: through the clamp table or by
// comparisons.  Both give the same bytes; kernels use the one they name.
enum class Clamp { Table, Compare };

template <Clamp C>
inline uint8_t clamp8(int v) {
    if constexpr (C == Clamp::Table)
        return cel::_CHOP_ARRAY[v];
    else
        return static_cast<uint8_t>(v < 0 ? 0 : (v > 255 ? 255 : v));
}

// One pixel by a scalar set; Round is the addend (32768 or 0).
template <const ScalarSet& S, int Round, Clamp C>
inline void scalar_px(int Y, int Cb, int Cr, uint8_t& r, uint8_t& g, uint8_t& b) {
    static_assert(Round == 0 || Round == 32768);
    const int yd = Y - 16, cbd = Cb - 128, crd = Cr - 128;
    const int t = S.y * yd + Round;
    r = clamp8<C>((t + S.crR * crd) >> 16);
    g = clamp8<C>((t + S.cbG * cbd + S.crG * crd) >> 16);
    b = clamp8<C>((t + S.cbB * cbd) >> 16);
}

// ---- Folded recipe (4:2:0 decoders) ------------------------------------------------
// The offsets are folded into the chroma terms, worked out once per chroma
// sample; samples enter as value << 7 and the rounding addend 4 lives in
// the constants cB, 1779 and cG.
inline constexpr int16_t kFoldedCrR = 6537, kFoldedCR = 1779, kFoldedCrG = 3330;
struct FoldedSet {
    int16_t kY, kB, cB, kG, cG;
    int16_t cR = kFoldedCR;  // offset of the red term
};
inline constexpr FoldedSet kFoldedYCbCr{4769, 8263, 2211, 1605, 1089};
inline constexpr FoldedSet kFoldedYCrCb{4768, 8262, 2210, 1606, 1084};
// The packed 4:2:2 decoders: the offsets are the exact offset terms with no
// rounding part, so their vector results are truncated.
inline constexpr FoldedSet kFolded422{4768, 8262, 2214, 1606, 1085, 1783};

struct FoldedTerms {
    __m128i bt, rt, gt;
};

// Chroma terms of eight samples (lanes hold Cb << 7, Cr << 7).
template <const FoldedSet& S>
inline FoldedTerms foldedTerms_v(__m128i cb7, __m128i cr7) {
    FoldedTerms t;
    t.bt = _mm_sub_epi16(_mm_mulhi_epi16(cb7, _mm_set1_epi16(S.kB)), _mm_set1_epi16(S.cB));
    t.rt = _mm_sub_epi16(_mm_mulhi_epi16(cr7, _mm_set1_epi16(kFoldedCrR)), _mm_set1_epi16(S.cR));
    t.gt = _mm_sub_epi16(_mm_add_epi16(_mm_mulhi_epi16(cb7, _mm_set1_epi16(S.kG)),
                                       _mm_mulhi_epi16(cr7, _mm_set1_epi16(kFoldedCrG))),
                         _mm_set1_epi16(S.cG));
    return t;
}

// Eight pixels (lanes hold Y << 7) with their chroma terms.
template <const FoldedSet& S>
inline void foldedPixels_v(__m128i y7, const FoldedTerms& t, __m128i& r, __m128i& g, __m128i& b) {
    const __m128i yv = _mm_mulhi_epi16(y7, _mm_set1_epi16(S.kY));
    b = _mm_srai_epi16(_mm_adds_epi16(yv, t.bt), 3);
    g = _mm_srai_epi16(_mm_subs_epi16(yv, t.gt), 3);
    r = _mm_srai_epi16(_mm_adds_epi16(yv, t.rt), 3);
}

// The same recipe on one pixel.
template <const FoldedSet& S>
inline void folded_px(int Y, int Cb, int Cr, uint8_t& r, uint8_t& g, uint8_t& b) {
    const auto his = [](int x, int k) { return (x * k) >> 16; };
    const int yv = his(Y * 128, S.kY);
    const int bt = his(Cb * 128, S.kB) - S.cB;
    const int rt = his(Cr * 128, kFoldedCrR) - S.cR;
    const int gt = his(Cb * 128, S.kG) + his(Cr * 128, kFoldedCrG) - S.cG;
    b = clamp8<Clamp::Compare>((yv + bt) >> 3);
    g = clamp8<Clamp::Compare>((yv - gt) >> 3);
    r = clamp8<Clamp::Compare>((yv + rt) >> 3);
}

// ---- Q12 scalar recipe (filtered 4:2:0 decoder) --------------------------------------
inline void q12_px(int Y, int Cb, int Cr, uint8_t& r, uint8_t& g, uint8_t& b) {
    const int yd = 4769 * (Y - 16);
    r = clamp8<Clamp::Compare>((yd + kNarrowCrR * (Cr - 128)) >> 12);
    g = clamp8<Clamp::Compare>((yd - kNarrowCbG * (Cb - 128) - kNarrowCrG * (Cr - 128)) >> 12);
    b = clamp8<Clamp::Compare>((yd + kNarrowCbB * (Cb - 128)) >> 12);
}

// ---- Recipe adapters for the upsampling decoders ------------------------------------
// A decoder's row kernel sees a recipe through four members: terms() (the
// chroma work of eight samples, lanes hold value << 7), dup() (samples 0-3
// or 4-7 of the terms, each lane twice: eight pixels), pixels() (eight
// pixels, 16-bit results before the pack) and px() (the scalar tail's rule).
// Recipes that work on differences: luma - 16 and chroma - 128, all << 7.
template <void (*Vec)(__m128i, __m128i, __m128i, __m128i&, __m128i&, __m128i&),
          void (*Px)(int, int, int, uint8_t&, uint8_t&, uint8_t&)>
struct DiffRecipe {
    static constexpr bool kEvenOdd = false;  // no even/odd-lane form (see the 4:2:0 narrow decoder)
    struct Terms {
        __m128i cb, cr;
    };
    static Terms terms(__m128i cb7, __m128i cr7) {
        const __m128i c = _mm_set1_epi16(128 << 7);
        return {_mm_sub_epi16(cb7, c), _mm_sub_epi16(cr7, c)};
    }
    static Terms dup(const Terms& t, bool hi) {
        return hi ? Terms{_mm_unpackhi_epi16(t.cb, t.cb), _mm_unpackhi_epi16(t.cr, t.cr)}
                  : Terms{_mm_unpacklo_epi16(t.cb, t.cb), _mm_unpacklo_epi16(t.cr, t.cr)};
    }
    static void pixels(__m128i y7, const Terms& t, __m128i& r, __m128i& g, __m128i& b) {
        Vec(_mm_sub_epi16(y7, _mm_set1_epi16(16 << 7)), t.cb, t.cr, r, g, b);
    }
    static void px(int Y, int Cb, int Cr, uint8_t& r, uint8_t& g, uint8_t& b) { Px(Y, Cb, Cr, r, g, b); }
};

// The folded recipe: offsets inside the chroma terms, worked out once a chroma sample.
template <const FoldedSet& S, void (*Px)(int, int, int, uint8_t&, uint8_t&, uint8_t&)>
struct FoldedRecipe {
    static constexpr bool kEvenOdd = false;
    using Terms = FoldedTerms;
    static Terms terms(__m128i cb7, __m128i cr7) { return foldedTerms_v<S>(cb7, cr7); }
    static Terms dup(const Terms& t, bool hi) {
        const auto d = [hi](__m128i v) { return hi ? _mm_unpackhi_epi16(v, v) : _mm_unpacklo_epi16(v, v); };
        return {d(t.bt), d(t.rt), d(t.gt)};
    }
    static void pixels(__m128i y7, const Terms& t, __m128i& r, __m128i& g, __m128i& b) {
        foldedPixels_v<S>(y7, t, r, g, b);
    }
    static void px(int Y, int Cb, int Cr, uint8_t& r, uint8_t& g, uint8_t& b) { Px(Y, Cb, Cr, r, g, b); }
};

}  // namespace cel::dec
