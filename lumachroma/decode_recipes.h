// Fixed-point recipes of the 8-bit YCbCr -> RGB decoders (BT.601 studio
// range, and the BT.709 sets of the wide and scalar recipes), shared by
// every decoder, full resolution or upsampling.
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

#include "lumachroma/matrices.h"
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
// D is the lane's offset (-128 Y + D): 16 << 7 as above, or one that carries
// a rounding addend (see negLumaOffset).
template <bool Odd, int16_t D = 16 << 7>
inline __m128i lumaNegFromBytes(__m128i y) {
    const __m128i k = _mm_set1_epi16(Odd ? static_cast<int16_t>(0x8000) : 0x0080);  // bytes -128 and 0
    return _mm_add_epi16(_mm_maddubs_epi16(y, k), _mm_set1_epi16(D));
}

// The signed multiply-high of one lane, floor(a k / 65536), in constant
// expressions.
constexpr int hisFloor(int a, int k) {
    const long long p = static_cast<long long>(a) * k;
    return static_cast<int>(p >= 0 ? p / 65536 : -((-p + 65535) / 65536));
}

// An offset D for the negated luma lanes such that his(-128 Y + D, -ky)
// equals his(-((Y - 16) << 7), ky) + addend for every byte Y, so that the
// addend rides on the lane's offset with no addition of its own; 0 when no
// offset near 16 << 7 does it (the recipe then adds the addend).
constexpr int16_t negLumaOffset(int ky, int addend) {
    for (int d = 16 << 7; d >= (16 << 7) - 1024; --d) {
        bool all = true;
        for (int y = 0; y < 256 && all; ++y)
            all = hisFloor(-128 * y + d, -ky) == hisFloor((y - 16) * 128, ky) + addend;
        if (all) return static_cast<int16_t>(d);
    }
    return 0;
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

// The chroma terms of a recipe for R, G and B (G's to be taken off): they
// depend on the chroma alone, so an upsampling decoder forms them once per
// chroma sample and duplicates them.
struct ChromaTerms {
    __m128i r, g, b;
};

// ---- Narrow recipe (Q12, shift 3) -----------------------------------------
inline constexpr int16_t kNarrowY = 4769, kNarrowCrR = 6537, kNarrowCbG = 1605, kNarrowCrG = 3330, kNarrowCbB = 8263;

// Round: the addend of 4 ahead of the shift (the filtered 4:2:0 decoder
// runs the recipe without it).  NegLuma: y holds the negated luma lanes and
// is multiplied by the negated coefficient, the same product.  KY and KCbB:
// the truncating form of a packed 4:2:2 decoder has both two below the
// narrow ones and no addend.  In two stages, the chroma terms
// his(cr, 6537), his(cb, 1605) + his(cr, 3330), his(cb, KCbB), then the
// pixels (the addend joins the luma term once: wrapping additions, same sums).
template <int16_t KCbB = kNarrowCbB>
inline ChromaTerms narrowTerms_v(__m128i cb, __m128i cr) {
    return {_mm_mulhi_epi16(cr, _mm_set1_epi16(kNarrowCrR)),
            _mm_add_epi16(_mm_mulhi_epi16(cb, _mm_set1_epi16(kNarrowCbG)), _mm_mulhi_epi16(cr, _mm_set1_epi16(kNarrowCrG))),
            _mm_mulhi_epi16(cb, _mm_set1_epi16(KCbB))};
}

template <bool Round = true, bool NegLuma = false, int16_t KY = kNarrowY>
inline void narrowPixels_v(__m128i y, const ChromaTerms& t, __m128i& r, __m128i& g, __m128i& b) {
    const __m128i ty = _mm_mulhi_epi16(y, _mm_set1_epi16(NegLuma ? -KY : KY));
    const __m128i t4 = Round ? _mm_add_epi16(ty, _mm_set1_epi16(4)) : ty;
    r = _mm_srai_epi16(_mm_add_epi16(t4, t.r), 3);
    g = _mm_srai_epi16(_mm_sub_epi16(t4, t.g), 3);
    b = _mm_srai_epi16(_mm_add_epi16(t4, t.b), 3);
}

template <bool Round = true, bool NegLuma = false, int16_t KY = kNarrowY, int16_t KCbB = kNarrowCbB>
inline void narrow_v(__m128i y, __m128i cb, __m128i cr, __m128i& r, __m128i& g, __m128i& b) {
    narrowPixels_v<Round, NegLuma, KY>(y, narrowTerms_v<KCbB>(cb, cr), r, g, b);
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

// ---- Wide recipe (Q13, shift 4), per coefficient set ---------------------------
// Magnitudes; G takes both chroma terms off.  A luma coefficient of 1 (the
// full-scale BT.709 set) means y holds Y << 7 with no offset taken off, and
// the luma term is Y * 16, formed by a shift.
struct WideSet {
    int16_t y, crR, crG, cbG, cbB;
};
inline constexpr WideSet kWide601{9535, 13074, 6660, 3211, 16523};

constexpr WideSet wideSet(const mat::Decoder& d) {
    const auto q = [](int t) { return static_cast<int16_t>(mat::fix(t, 13)); };
    return {q(d.y), q(d.crR), q(d.crG), q(d.cbG), q(d.cbB)};
}
inline constexpr WideSet kWide709Csc = wideSet(mat::kDec709Csc);
inline constexpr WideSet kWide709Hdtv = wideSet(mat::kDec709Hdtv);
static_assert(kWide709Hdtv.y == 1 << 13);

// The recipe in two stages: the chroma terms, which depend on the chroma
// alone, and the pixels, which add them to the luma term.  The sums wrap
// without overflow, so G's two terms may be added first and the rounding
// addend 8 may ride on the terms: his(cr, crR) + 8, his(cr, crG) +
// his(cb, cbG) - 8, his(cb, cbB) + 8.
using WideTerms = ChromaTerms;

// Addend false leaves the 8 out of the terms: the luma term carries it then.
template <const WideSet& S, bool Addend = true>
inline WideTerms wideTerms_v(__m128i cb, __m128i cr) {
    const __m128i eight = _mm_set1_epi16(Addend ? 8 : 0);
    const __m128i g = _mm_add_epi16(_mm_mulhi_epi16(cr, _mm_set1_epi16(S.crG)), _mm_mulhi_epi16(cb, _mm_set1_epi16(S.cbG)));
    return {_mm_add_epi16(_mm_mulhi_epi16(cr, _mm_set1_epi16(S.crR)), eight), _mm_sub_epi16(g, eight),
            _mm_add_epi16(_mm_mulhi_epi16(cb, _mm_set1_epi16(S.cbB)), eight)};
}

// The pixels from their luma term ty and the chroma terms.
inline void wideFromLumaTerm_v(__m128i ty, const WideTerms& t, __m128i& r, __m128i& g, __m128i& b) {
    r = _mm_srai_epi16(_mm_add_epi16(ty, t.r), 4);
    g = _mm_srai_epi16(_mm_sub_epi16(ty, t.g), 4);
    b = _mm_srai_epi16(_mm_add_epi16(ty, t.b), 4);
}

// The luma term his(y, S.y), or Y * 16 by a shift for full-scale luma.
template <const WideSet& S>
inline void widePixels_v(__m128i y, const WideTerms& t, __m128i& r, __m128i& g, __m128i& b) {
    const __m128i ty = S.y == 1 << 13 ? _mm_srai_epi16(y, 3) : _mm_mulhi_epi16(y, _mm_set1_epi16(S.y));
    wideFromLumaTerm_v(ty, t, r, g, b);
}

// The luma term of the even (Odd false) or odd pixels of sixteen luma
// bytes: the studio sets' product from the negated lanes, or, for
// full-scale luma, Y * 16 straight from a byte multiply-add.
template <const WideSet& S, bool Odd>
inline __m128i wideLumaTermFromBytes(__m128i y) {
    if constexpr (S.y == 1 << 13)
        return _mm_maddubs_epi16(y, _mm_set1_epi16(Odd ? 16 << 8 : 16));
    else
        return _mm_mulhi_epi16(lumaNegFromBytes<Odd>(y), _mm_set1_epi16(static_cast<int16_t>(-S.y)));
}

// Sixteen pixels of a row whose neighbours 2i and 2i + 1 share the chroma
// terms of lane i (4:2:0, 4:2:2), from their luma bytes; results packed in
// even/odd order.
template <const WideSet& S>
inline void wideEvenOddShared_v(__m128i y, const WideTerms& t, __m128i& r, __m128i& g, __m128i& b) {
    __m128i re, ge, be, ro, go, bo;
    wideFromLumaTerm_v(wideLumaTermFromBytes<S, false>(y), t, re, ge, be);
    wideFromLumaTerm_v(wideLumaTermFromBytes<S, true>(y), t, ro, go, bo);
    r = _mm_packus_epi16(re, ro);
    g = _mm_packus_epi16(ge, go);
    b = _mm_packus_epi16(be, bo);
}

template <const WideSet& S>
inline void wideSet_v(__m128i y, __m128i cb, __m128i cr, __m128i& r, __m128i& g, __m128i& b) {
    widePixels_v<S>(y, wideTerms_v<S>(cb, cr), r, g, b);
}

// Sixteen pixels by the wide recipe from their luma bytes and the chroma
// lanes of the even and of the odd pixels; results packed to bytes in
// even/odd order, as narrowEvenOdd_v leaves them.
// The addend 8 rides on the luma lanes' offset (the studio sets' luma
// coefficient 9535 has one), so the luma term comes with it.
template <const WideSet& S>
inline void wideEvenOdd_v(__m128i y, __m128i cbE, __m128i crE, __m128i cbO, __m128i crO, __m128i& r, __m128i& g,
                          __m128i& b) {
    constexpr int16_t d = negLumaOffset(S.y, 8);
    static_assert(d != 0, "a luma offset that carries the addend");
    const __m128i ky = _mm_set1_epi16(static_cast<int16_t>(-S.y));
    // one parity: G takes its two terms off one after the other (no term
    // is shared at full resolution)
    const auto pixels = [](__m128i t, __m128i cb, __m128i cr, __m128i& r, __m128i& g, __m128i& b) {
        r = _mm_srai_epi16(_mm_add_epi16(_mm_mulhi_epi16(cr, _mm_set1_epi16(S.crR)), t), 4);
        b = _mm_srai_epi16(_mm_add_epi16(_mm_mulhi_epi16(cb, _mm_set1_epi16(S.cbB)), t), 4);
        g = _mm_srai_epi16(_mm_sub_epi16(_mm_sub_epi16(t, _mm_mulhi_epi16(cr, _mm_set1_epi16(S.crG))),
                                         _mm_mulhi_epi16(cb, _mm_set1_epi16(S.cbG))),
                           4);
    };
    __m128i re, ge, be, ro, go, bo;
    pixels(_mm_mulhi_epi16(lumaNegFromBytes<false, d>(y), ky), cbE, crE, re, ge, be);
    pixels(_mm_mulhi_epi16(lumaNegFromBytes<true, d>(y), ky), cbO, crO, ro, go, bo);
    r = _mm_packus_epi16(re, ro);
    g = _mm_packus_epi16(ge, go);
    b = _mm_packus_epi16(be, bo);
}

inline void wide_v(__m128i y, __m128i cb, __m128i cr, __m128i& r, __m128i& g, __m128i& b) {
    wideSet_v<kWide601>(y, cb, cr, r, g, b);
}

// ---- Paired lanes (packed 4:2:2) ----------------------------------------------
// Sixteen bytes of four pixel pairs as they lie in a packed row: each 16-bit
// lane holds one luma byte (low or high half: YLow) and one chroma byte, the
// pair's first sample in lane 2i and its second in lane 2i + 1.  Luma and
// chroma lanes come straight from the bytes by byte multiply-adds: the luma
// lanes are the pixels in order; the chroma lanes hold -((C - 128) << 7)
// side by side, so one multiply-high by alternating negated coefficients
// (the same products) forms a pair's B and R terms once, another G's two
// parts, and byte shuffles spread them over the pair's two lanes.  The sums
// are the recipe's own, the addend riding on the luma term.
//
// A form: luma coefficient KY (1 << 13 with Shift 4: full-scale luma,
// Y * 16 without an offset), the magnitudes of the four chroma
// coefficients (G takes both of its terms off), the final shift and the
// addend 2^(Shift-1) (Round).
template <int16_t KY, int16_t KCrR, int16_t KCrG, int16_t KCbG, int16_t KCbB, int Shift, bool Round>
struct PairedForm {
    static_assert(Shift == 3 || Shift == 4);
    static constexpr bool kFullScale = KY == 1 << 13 && Shift == 4;

    // Coefficient k0 for lane 2i, k1 for lane 2i + 1.
    static __m128i alternate(int16_t k0, int16_t k1) {
        return _mm_set1_epi32(static_cast<int32_t>(static_cast<uint16_t>(k0) |
                                                   (static_cast<uint32_t>(static_cast<uint16_t>(k1)) << 16)));
    }
    // The luma term of eight pixels with the addend: his((Y - 16) << 7, KY)
    // from the negated lanes (the same product), or Y * 16.
    template <bool YLow>
    static __m128i lumaTerm(__m128i v) {
        // the addend on the lanes' offset where one carries it
        constexpr int16_t folded = kFullScale || !Round ? 0 : negLumaOffset(KY, 1 << (Shift - 1));
        __m128i t;
        if constexpr (kFullScale) {
            t = _mm_maddubs_epi16(v, _mm_set1_epi16(YLow ? 16 : 16 << 8));
        } else {
            const __m128i neg = _mm_add_epi16(_mm_maddubs_epi16(v, _mm_set1_epi16(YLow ? 0x0080 : static_cast<int16_t>(0x8000))),
                                              _mm_set1_epi16(folded ? folded : 16 << 7));
            t = _mm_mulhi_epi16(neg, _mm_set1_epi16(static_cast<int16_t>(-KY)));
        }
        return Round && !folded ? _mm_add_epi16(t, _mm_set1_epi16(1 << (Shift - 1))) : t;
    }
    // The terms of eight pixels from the sixteen bytes v of four pairs
    // (CbFirst: Cb is the pair's first chroma sample): the luma term with the
    // addend, each pair's B and R terms side by side in the order of its
    // chroma samples, and G's two terms summed over the pair, in both lanes.
    static __m128i swapPairs() { return _mm_setr_epi8(2, 3, 0, 1, 6, 7, 4, 5, 10, 11, 8, 9, 14, 15, 12, 13); }
    template <bool YLow, bool CbFirst>
    static void terms(__m128i v, __m128i& ty, __m128i& br, __m128i& gt) {
        ty = lumaTerm<YLow>(v);
        const __m128i c = _mm_add_epi16(_mm_maddubs_epi16(v, _mm_set1_epi16(YLow ? static_cast<int16_t>(0x8000) : 0x0080)),
                                        _mm_set1_epi16(128 << 7));
        br = _mm_mulhi_epi16(c, CbFirst ? alternate(-KCbB, -KCrR) : alternate(-KCrR, -KCbB));
        const __m128i gp = _mm_mulhi_epi16(c, CbFirst ? alternate(-KCbG, -KCrG) : alternate(-KCrG, -KCbG));
        gt = _mm_add_epi16(gp, _mm_shuffle_epi8(gp, swapPairs()));
    }
    // Eight pixels (16-bit results before the pack).
    template <bool YLow, bool CbFirst>
    static void pixels(__m128i v, __m128i& r, __m128i& g, __m128i& b) {
        __m128i ty, br, gt;
        terms<YLow, CbFirst>(v, ty, br, gt);
        const __m128i first = _mm_setr_epi8(0, 1, 0, 1, 4, 5, 4, 5, 8, 9, 8, 9, 12, 13, 12, 13);
        const __m128i second = _mm_setr_epi8(2, 3, 2, 3, 6, 7, 6, 7, 10, 11, 10, 11, 14, 15, 14, 15);
        r = _mm_srai_epi16(_mm_add_epi16(ty, _mm_shuffle_epi8(br, CbFirst ? second : first)), Shift);
        g = _mm_srai_epi16(_mm_sub_epi16(ty, gt), Shift);
        b = _mm_srai_epi16(_mm_add_epi16(ty, _mm_shuffle_epi8(br, CbFirst ? first : second)), Shift);
    }
    // The same eight pixels with B and R left where the pair's terms fall
    // (one byte shuffle instead of two): u = ty + br holds, for the pair's
    // first pixel, the channel of the first chroma sample (B when Cb comes
    // first) and, for its second pixel, the other channel; w = ty + the
    // swapped terms holds the remaining two.  A join sorts the bytes.
    template <bool YLow, bool CbFirst>
    static void pixelsUnspread(__m128i v, __m128i& u, __m128i& g, __m128i& w) {
        __m128i ty, br, gt;
        terms<YLow, CbFirst>(v, ty, br, gt);
        u = _mm_srai_epi16(_mm_add_epi16(ty, br), Shift);
        g = _mm_srai_epi16(_mm_sub_epi16(ty, gt), Shift);
        w = _mm_srai_epi16(_mm_add_epi16(ty, _mm_shuffle_epi8(br, swapPairs())), Shift);
    }
};

// The wide recipe of a coefficient set, and the narrow one (Round, KY and
// KCbB as narrow_v's), on paired lanes.
template <const WideSet& S>
using WidePaired = PairedForm<S.y, S.crR, S.crG, S.cbG, S.cbB, 4, true>;
template <bool Round, int16_t KY, int16_t KCbB>
using NarrowPaired = PairedForm<KY, kNarrowCrR, kNarrowCrG, kNarrowCbG, KCbB, 3, Round>;

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
// yOff is the luma offset taken off before the product (16 at studio
// range, 0 for full-scale luma).
struct ScalarSet {
    int y, crR, cbG, crG, cbB;
    int yOff = 16;
};
inline constexpr ScalarSet kSetA{76282, 104593, -25689, -53279, 132184};
inline constexpr ScalarSet kSetB{76284, 104595, -25690, -53281, 132186};
inline constexpr ScalarSet kSetC{76294, 104595, -25625, -53281, 132186};  // the 4:1:1 decoders

constexpr ScalarSet scalarSet(const mat::Decoder& d, int yOff) {
    const auto q = [](int t) { return mat::fix(t, 16); };
    return {q(d.y), q(d.crR), -q(d.cbG), -q(d.crG), q(d.cbB), yOff};
}
// BT.709: studio range, and full-scale luma (Y << 16, no offset)
inline constexpr ScalarSet kSet709Csc = scalarSet(mat::kDec709Csc, 16);
inline constexpr ScalarSet kSet709Hdtv = scalarSet(mat::kDec709Hdtv, 0);
static_assert(kSet709Hdtv.y == 1 << 16);

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
    const int yd = Y - S.yOff, cbd = Cb - 128, crd = Cr - 128;
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

// A recipe in two stages (chroma terms, then pixels) as an adapter: the
// terms once per chroma sample, duplicated to the pixels that share it; luma
// minus YOff (none for full-scale luma); Px the scalar tail's rule.
template <ChromaTerms (*TermsV)(__m128i, __m128i), void (*PixelsV)(__m128i, const ChromaTerms&, __m128i&, __m128i&, __m128i&),
          int YOff, void (*Px)(int, int, int, uint8_t&, uint8_t&, uint8_t&)>
struct StagedRecipe {
    static constexpr bool kEvenOdd = false;
    using Terms = ChromaTerms;
    static Terms terms(__m128i cb7, __m128i cr7) {
        const __m128i c = _mm_set1_epi16(128 << 7);
        return TermsV(_mm_sub_epi16(cb7, c), _mm_sub_epi16(cr7, c));
    }
    static Terms dup(const Terms& t, bool hi) {
        const auto d = [hi](__m128i v) { return hi ? _mm_unpackhi_epi16(v, v) : _mm_unpacklo_epi16(v, v); };
        return {d(t.r), d(t.g), d(t.b)};
    }
    static void pixels(__m128i y7, const Terms& t, __m128i& r, __m128i& g, __m128i& b) {
        PixelsV(YOff ? _mm_sub_epi16(y7, _mm_set1_epi16(static_cast<int16_t>(YOff << 7))) : y7, t, r, g, b);
    }
    static void px(int Y, int Cb, int Cr, uint8_t& r, uint8_t& g, uint8_t& b) { Px(Y, Cb, Cr, r, g, b); }
};

// The wide recipe with a coefficient set (the BT.709 decoders, 4:2:0 and
// 4:2:2, and the BT.601 Cb-first 4:2:2 one), the tail set rounded, clamped
// through the table.
template <const WideSet& S, const ScalarSet& Tail>
using WideRecipe = StagedRecipe<wideTerms_v<S>, widePixels_v<S>, Tail.yOff, scalar_px<Tail, 32768, Clamp::Table>>;

// The narrow recipe (Round and KY, KCbB as narrow_v's) with a scalar tail rule.
template <bool Round, int16_t KY, int16_t KCbB, void (*Px)(int, int, int, uint8_t&, uint8_t&, uint8_t&)>
using NarrowRecipe = StagedRecipe<narrowTerms_v<KCbB>, narrowPixels_v<Round, false, KY>, 16, Px>;

}  // namespace cel::dec
