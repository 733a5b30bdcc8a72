// Recipes of adaptive homogeneity-directed demosaicing, each as a scalar
// helper and, where a kernel runs it on vectors, its SSE4.2 twin beside it.
//
//   green estimate   e = ((s - a + s - b) >> 2) + ((l + t) >> 1), limited to
//                    [min(l, t), max(l, t)]: s the site, a and b the samples of
//                    its own colour two away, l and t the green neighbours;
//   colour planes    G + ((sum of (P - G) over two neighbours) >> 1), or over
//                    the four diagonals >> 2, clamped to the sample range;
//   luma-chroma      fixed-point BT.601 without offsets, rounding by +128 >> 8;
//   homogeneity      D = cnt_H - cnt_V, from luma and chroma distances to the
//                    four neighbours against limits built crosswise;
//   selection        the sign of the 3x3 sum of D; a zero takes the decision
//                    of the pixel on the left (H at a piece's left end).
//
// All shifts are arithmetic and have no rounding term unless stated.  The
// vector twins give the scalar helpers' values exactly: kernels may split a
// row between them anywhere.
#pragma once

#include <smmintrin.h>

#include <cstdint>

#include "demosaic/lanes.h"

namespace cel::ahd {

// ---- Green estimate along one direction ------------------------------------
inline int greenPx(int s, int a, int b, int l, int t) {
    const int e = ((s - a + s - b) >> 2) + ((l + t) >> 1);
    const int lo = l < t ? l : t, hi = l < t ? t : l;
    return e < lo ? lo : (e > hi ? hi : e);
}

// ---- Colour from green and colour differences ------------------------------
template <int MaxValue>
inline int clampSample(int v) {
    return v < 0 ? 0 : (v > MaxValue ? MaxValue : v);
}
// two neighbours: clamp(g + ((d0 + d1) >> 1))
template <int MaxValue>
inline int colour2Px(int g, int d0, int d1) {
    return clampSample<MaxValue>(g + ((d0 + d1) >> 1));
}
// four diagonals: clamp(g + ((d0 + d1 + d2 + d3) >> 2))
template <int MaxValue>
inline int colour4Px(int g, int d0, int d1, int d2, int d3) {
    return clampSample<MaxValue>(g + ((d0 + d1 + d2 + d3) >> 2));
}

// ---- Luma and chroma --------------------------------------------------------
// Y = (66 R + 129 G + 25 B + 128) >> 8, Cb = (-38 R - 74 G + 112 B + 128) >> 8,
// Cr = (112 R - 94 G - 18 B + 128) >> 8 (studio-range BT.601 in 8.8 fixed
// point; the offsets of 16 and 128 are left out, only differences are used).
struct YccCoeffs {
    int yr, yg, yb, cbr, cbg, cbb, crr, crg, crb;
};
inline constexpr YccCoeffs kYcc{66, 129, 25, -38, -74, 112, 112, -94, -18};
inline constexpr int kYccRound = 128;
static_assert(kYcc.cbr + kYcc.cbg + kYcc.cbb == 0 && kYcc.crr + kYcc.crg + kYcc.crb == 0,
              "chroma of a gray pixel is zero");

struct Ycc {
    int32_t y, cb, cr;
};
inline Ycc yccPx(int r, int g, int b) {
    return {(kYcc.yr * r + kYcc.yg * g + kYcc.yb * b + kYccRound) >> 8,
            (kYcc.cbr * r + kYcc.cbg * g + kYcc.cbb * b + kYccRound) >> 8,
            (kYcc.crr * r + kYcc.crg * g + kYcc.crb * b + kYccRound) >> 8};
}

// ---- Homogeneity difference -------------------------------------------------
// Luma distance |dY| and chroma distance dCb^2 + dCr^2 in 32-bit signed
// arithmetic; with 16-bit samples the chroma distance can pass 2^31 and
// wraps, and the comparisons stay signed.
inline int32_t lumaDist(const Ycc& n, const Ycc& c) {
    const int32_t d = n.y - c.y;
    return d < 0 ? -d : d;
}
inline int32_t chromaDist(const Ycc& n, const Ycc& c) {
    const uint32_t db = static_cast<uint32_t>(n.cb - c.cb), dr = static_cast<uint32_t>(n.cr - c.cr);
    return static_cast<int32_t>(db * db + dr * dr);
}
inline int32_t max32(int32_t a, int32_t b) { return a < b ? b : a; }
inline int32_t min32(int32_t a, int32_t b) { return a < b ? a : b; }

// From the distances of a pixel to its neighbours n = left, right, up, down
// in each candidate (luma l, chroma c): cnt_H - cnt_V, counting the
// neighbours not above both limits.
inline int homogeneityCountPx(const int32_t (&lH)[4], const int32_t (&cH)[4], const int32_t (&lV)[4],
                              const int32_t (&cV)[4]) {
    // limits, crosswise: H along the row, V along the column
    const int32_t eL = min32(max32(lH[0], lH[1]), max32(lV[2], lV[3]));
    const int32_t eC = min32(max32(cH[0], cH[1]), max32(cV[2], cV[3]));
    int cnt = 0;
    for (int i = 0; i < 4; ++i)
        cnt += static_cast<int>((lH[i] <= eL) & (cH[i] <= eC)) - static_cast<int>((lV[i] <= eL) & (cV[i] <= eC));
    return cnt;
}

// n[0..3]: left, right, up, down; c: the pixel.  Returns cnt_H - cnt_V.
inline int homogeneityPx(const Ycc& cH, const Ycc (&nH)[4], const Ycc& cV, const Ycc (&nV)[4]) {
    int32_t lH[4], kH[4], lV[4], kV[4];
    for (int i = 0; i < 4; ++i) {
        lH[i] = lumaDist(nH[i], cH);
        kH[i] = chromaDist(nH[i], cH);
        lV[i] = lumaDist(nV[i], cV);
        kV[i] = chromaDist(nV[i], cV);
    }
    return homogeneityCountPx(lH, kH, lV, kV);
}

// ---- Selection ----------------------------------------------------------------
// The running decision: true takes the H candidate.  S of zero keeps it.
inline bool selectPx(int s, bool carry) { return (s > 0) | ((s == 0) & carry); }

// ---- Vector twins -------------------------------------------------------------
// Lanes<T>: a row of samples loaded 16 bytes at a time on the wide lanes of
// demosaic/lanes.h, samples at even positions in the low half and those at
// odd positions in the high half of each lane.
template <class T>
struct Lanes : cel::demosaic::WideLanes<T> {
    static constexpr int kSamples = 16 / int(sizeof(T));
    static __m128i load(const T* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
    static void store(T* p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }
};

// greenPx on the lanes (values in the sample range, in double-width lanes).
template <class T>
inline __m128i greenV(__m128i s, __m128i a, __m128i b, __m128i l, __m128i t) {
    using L = Lanes<T>;
    const __m128i e = L::add(L::template sra<2>(L::sub(L::sub(L::add(s, s), a), b)), L::template srl<1>(L::add(l, t)));
    return L::min(L::max(e, L::min(l, t)), L::max(l, t));
}

// colour2Px and colour4Px on the lanes.
template <class T>
inline __m128i colour2V(__m128i g, __m128i d0, __m128i d1) {
    using L = Lanes<T>;
    return L::clamp(L::add(g, L::template sra<1>(L::add(d0, d1))));
}
template <class T>
inline __m128i colour4V(__m128i g, __m128i d0, __m128i d1, __m128i d2, __m128i d3) {
    using L = Lanes<T>;
    return L::clamp(L::add(g, L::template sra<2>(L::add(L::add(d0, d1), L::add(d2, d3)))));
}

// yccPx for four 8-bit pixels: r, g, b hold the samples in 16-bit lanes 0-3.
// The multiply-add of lane pairs takes (R, G) against (66, 129) and (B, 1)
// against (25, 128), so the rounding term costs no add; likewise for Cb and
// Cr.  Y in 32-bit lanes; Cb and Cr interleaved as 16-bit pairs (Cb low),
// ready for the squared distance by one more multiply-add.
struct Ycc4 {
    __m128i y, cbcr;
};
inline Ycc4 ycc4V(__m128i r, __m128i g, __m128i b) {
    const __m128i rg = _mm_unpacklo_epi16(r, g);
    const __m128i b1 = _mm_unpacklo_epi16(b, _mm_set1_epi16(1));
    const auto pair = [](int lo, int hi) { return _mm_set1_epi32(static_cast<int32_t>(uint32_t(uint16_t(lo)) | (uint32_t(uint16_t(hi)) << 16))); };
    const __m128i y = _mm_srai_epi32(_mm_add_epi32(_mm_madd_epi16(rg, pair(kYcc.yr, kYcc.yg)),
                                                   _mm_madd_epi16(b1, pair(kYcc.yb, kYccRound))), 8);
    const __m128i cb = _mm_srai_epi32(_mm_add_epi32(_mm_madd_epi16(rg, pair(kYcc.cbr, kYcc.cbg)),
                                                    _mm_madd_epi16(b1, pair(kYcc.cbb, kYccRound))), 8);
    const __m128i cr = _mm_srai_epi32(_mm_add_epi32(_mm_madd_epi16(rg, pair(kYcc.crr, kYcc.crg)),
                                                    _mm_madd_epi16(b1, pair(kYcc.crb, kYccRound))), 8);
    return {y, _mm_blend_epi16(cb, _mm_slli_epi32(cr, 16), 0xAA)};
}

// Distances of a neighbour n to the pixel c for four 8-bit pixels:
// |dY| and dCb^2 + dCr^2 in 32-bit lanes.
inline __m128i lumaDistV(const Ycc4& n, const Ycc4& c) { return _mm_abs_epi32(_mm_sub_epi32(n.y, c.y)); }
inline __m128i chromaDistV(const Ycc4& n, const Ycc4& c) {
    const __m128i d = _mm_sub_epi16(n.cbcr, c.cbcr);
    return _mm_madd_epi16(d, d);
}

// homogeneityPx for four 8-bit pixels, D in 32-bit lanes.  The comparison
// masks are summed as -1 values, and the limits get 1 added so that a signed
// greater-than tests "not above".
inline __m128i homogeneityV(const Ycc4& cH, const Ycc4 (&nH)[4], const Ycc4& cV, const Ycc4 (&nV)[4]) {
    __m128i lH[4], kH[4], lV[4], kV[4];
    for (int i = 0; i < 4; ++i) {
        lH[i] = lumaDistV(nH[i], cH);
        kH[i] = chromaDistV(nH[i], cH);
        lV[i] = lumaDistV(nV[i], cV);
        kV[i] = chromaDistV(nV[i], cV);
    }
    const __m128i one = _mm_set1_epi32(1);
    const __m128i eL = _mm_add_epi32(_mm_min_epi32(_mm_max_epi32(lH[0], lH[1]), _mm_max_epi32(lV[2], lV[3])), one);
    const __m128i eC = _mm_add_epi32(_mm_min_epi32(_mm_max_epi32(kH[0], kH[1]), _mm_max_epi32(kV[2], kV[3])), one);
    __m128i d = _mm_setzero_si128();
    for (int i = 0; i < 4; ++i) {
        d = _mm_sub_epi32(d, _mm_and_si128(_mm_cmpgt_epi32(eL, lH[i]), _mm_cmpgt_epi32(eC, kH[i])));
        d = _mm_add_epi32(d, _mm_and_si128(_mm_cmpgt_epi32(eL, lV[i]), _mm_cmpgt_epi32(eC, kV[i])));
    }
    return d;
}

// selectPx for eight 16-bit sums s: returns 0xFFFF in the lanes that take H.
// `carry` holds the decision before lane 0 in its lane 0 (other lanes zero);
// the left-neighbour rule passes each decision on to the tied lanes on its
// right, one lane per round.
inline __m128i select8V(__m128i s, __m128i carry) {
    const __m128i zero = _mm_setzero_si128();
    __m128i m = _mm_cmpgt_epi16(s, zero);
    const __m128i tie = _mm_cmpeq_epi16(s, zero);
    if (_mm_testz_si128(tie, tie)) return m;
    for (int k = 0; k < 8; ++k) m = _mm_blendv_epi8(m, _mm_or_si128(_mm_slli_si128(m, 2), carry), tie);
    return m;
}

}  // namespace cel::ahd
