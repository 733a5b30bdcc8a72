// Bayer mosaic -> four-channel B, G, R, A by threshold-based variable number
// of gradients, 8u and 16u, with 64-bit sizes and steps.
//
// For each pixel whose 5x5 neighbourhood lies in the frame:
//   1. eight directional gradients N, E, S, W, NE, SE, NW, SW (integers; the
//      diagonal ones differ between green and red/blue sites);
//   2. threshold T = gmin + max(gmax >> 1, 1);
//   3. the directions with a gradient strictly below T take part (N of them,
//      1 to 8);
//   4. each taking direction adds three entries, twice its estimate of each
//      colour, to three sums: S0 for the site's own colour, S1 and S2 for the
//      two others (at a red/blue site green and the opposite colour, at a
//      green site the row colour and the column colour);
//   5. each of the two missing colours is P0 + rint(float(S - S0) / float(2N))
//      in single precision, ties to even, saturated to 0..M; the site's own
//      colour is P0 itself;
//   6. optional gains for B, G, R: rint(float(v) * gain), saturated, applied
//      last and only when some gain differs from 1.0 (a NaN does);
//   7. B, G, R stored, the destination's fourth sample kept.
// The frame's two-pixel rim is not interpolated: it gets copies of the
// nearest computed column and row.
//
// The kernel walks two rows a pass (six source rows) and a last odd row
// alone.  The arithmetic of steps 1 to 5 is written once (vngColours) and
// runs in integer lanes: 16-bit for 8u, 32-bit for 16u.  The body of a pair
// of rows takes 16 (8u) or 8 (16u) pixels a pass, loads each of the 30
// neighbour offsets once for both rows and splits it into its even and odd
// pixels, so that each vector holds one site type; the rest of the row goes
// 8 (8u only), 4, 2, then 1 pixels a step, and the last odd row 2, then 1,
// with both site types in alternating lanes blended by a mask set up once
// per call from the phase.  All of it is SSE4.2 code on full or partial
// loads, and the result of a pixel does not depend on the step that
// computed it.
#include <smmintrin.h>

#include <cstdint>
#include <cstring>

#include "demosaic/lanes.h"
#include "frame/rowprim.h"
#include "frame/status.h"
#include "frame/tier.h"

namespace {

// The grid as seen from a pixel of another phase, indexed by
// (column parity) + 2 (row parity).
constexpr int8_t _tblGrid[4][4] = {
    {0, 2, 3, 1},  // celBayerBGGR
    {1, 3, 2, 0},  // celBayerRGGB
    {2, 0, 1, 3},  // celBayerGBRG
    {3, 1, 0, 2},  // celBayerGRBG
};

// Whether the first pixel of row 0 and row 1 of a phase is green, and
// whether the red-or-blue colour of those rows is blue.
constexpr bool kGreenFirst[4][2] = {{false, true}, {false, true}, {true, false}, {true, false}};
constexpr bool kRowIsBlue[4][2] = {{true, false}, {false, true}, {true, false}, {false, true}};

// ---------------------------------------------------------------------------
// Lane types.  Each gives the integer lane arithmetic of its sample width,
// partial loads and stores of N pixels, the division of step 5 and the gain
// of step 6.

template <class T>
inline T loadScalar(const void* p) {
    T v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

// What both widths share: the full load of a wide pass, and the stores of
// B, G, R into four-sample pixels, the fourth sample read and kept.  A sample takes half a lane, so one
// byte-width interleave (epi8 or epi16) joins B and G or R and zero, and one
// lane-width interleave (epi16 or epi32) makes whole pixels.
template <class T>
struct VngLanes : cel::demosaic::WideLanes<T> {
    using W = cel::demosaic::WideLanes<T>;
    static __m128i keepFourth() {
        return W::k16 ? _mm_set1_epi32(static_cast<int>(0xFF000000u))
                      : _mm_set1_epi64x(static_cast<long long>(0xFFFF000000000000ull));
    }
    static __m128i sampleLo(__m128i a, __m128i b) {
        return W::k16 ? _mm_unpacklo_epi8(a, b) : _mm_unpacklo_epi16(a, b);
    }
    static __m128i sampleHi(__m128i a, __m128i b) {
        return W::k16 ? _mm_unpackhi_epi8(a, b) : _mm_unpackhi_epi16(a, b);
    }
    static __m128i pixelLo(__m128i a, __m128i b) {
        return W::k16 ? _mm_unpacklo_epi16(a, b) : _mm_unpacklo_epi32(a, b);
    }
    static __m128i pixelHi(__m128i a, __m128i b) {
        return W::k16 ? _mm_unpackhi_epi16(a, b) : _mm_unpackhi_epi32(a, b);
    }
    static __m128i kept(__m128i old, __m128i px) { return _mm_or_si128(_mm_and_si128(old, keepFourth()), px); }

    // A wide pass: 16 bytes of samples, split by lo() and hi() into the even and the odd ones.
    static __m128i loadFull(const T* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }

    // A wide pass: the pixels from B, G, R of the even and of the odd ones.
    static void storeSplit(T* d, const __m128i even[3], const __m128i odd[3]) {
        const __m128i zero = _mm_setzero_si128();
        // one sample a pixel, in pixel order
        const __m128i b = W::join(even[0], odd[0]), g = W::join(even[1], odd[1]), r = W::join(even[2], odd[2]);
        const __m128i bgLo = sampleLo(b, g), bgHi = sampleHi(b, g);
        const __m128i rLo = sampleLo(r, zero), rHi = sampleHi(r, zero);
        const __m128i px[4] = {pixelLo(bgLo, rLo), pixelHi(bgLo, rLo), pixelLo(bgHi, rHi), pixelHi(bgHi, rHi)};
        __m128i* q = reinterpret_cast<__m128i*>(d);
        for (int k = 0; k < 4; ++k) _mm_storeu_si128(q + k, kept(_mm_loadu_si128(q + k), px[k]));
    }

    // N pixels from lanes of B, G, R: 32, 16, 8 or 4 bytes.
    template <int N>
    static void store(T* d, __m128i b, __m128i g, __m128i r) {
        constexpr int kBytes = N * 4 * int(sizeof(T));
        const __m128i bg = W::join(b, g);
        const __m128i lo = pixelLo(bg, r);
        __m128i* q = reinterpret_cast<__m128i*>(d);
        if constexpr (kBytes == 32) {
            const __m128i hi = pixelHi(bg, r);
            const __m128i d0 = _mm_loadu_si128(q), d1 = _mm_loadu_si128(q + 1);
            _mm_storeu_si128(q, kept(d0, lo));
            _mm_storeu_si128(q + 1, kept(d1, hi));
        } else if constexpr (kBytes == 16) {
            _mm_storeu_si128(q, kept(_mm_loadu_si128(q), lo));
        } else if constexpr (kBytes == 8) {
            _mm_storel_epi64(q, kept(_mm_loadl_epi64(q), lo));
        } else {
            static_assert(kBytes == 4, "one 8u pixel");
            const uint32_t px = (loadScalar<uint32_t>(d) & 0xFF000000u) | static_cast<uint32_t>(_mm_cvtsi128_si32(lo));
            std::memcpy(d, &px, sizeof px);
        }
    }
};

// 8u: 16-bit lanes, 8 pixels a vector.
struct Lanes8u : VngLanes<uint8_t> {
    using Sample = uint8_t;
    static constexpr int kPixels = 8;

    template <int N>
    static __m128i load(const uint8_t* p) {
        if constexpr (N == 8) return _mm_cvtepu8_epi16(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)));
        if constexpr (N == 4) return _mm_cvtepu8_epi16(_mm_cvtsi32_si128(static_cast<int>(loadScalar<uint32_t>(p))));
        if constexpr (N == 2) return _mm_cvtepu8_epi16(_mm_cvtsi32_si128(loadScalar<uint16_t>(p)));
        if constexpr (N == 1) return _mm_cvtsi32_si128(*p);
    }
    // Lanes of the even pixels of a vector.
    static __m128i evenLanes() { return _mm_set1_epi32(0x0000FFFF); }

    // rint(float(diff) / float(twoN)) for N pixels; the quotient is small, so
    // packing it back to 16 bits loses nothing.
    template <int N>
    static __m128i divide(__m128i diff, __m128i twoN) {
        const __m128 qLo = _mm_div_ps(_mm_cvtepi32_ps(_mm_cvtepi16_epi32(diff)), _mm_cvtepi32_ps(_mm_cvtepi16_epi32(twoN)));
        if constexpr (N <= 4) return _mm_packs_epi32(_mm_cvtps_epi32(qLo), _mm_setzero_si128());
        const __m128 qHi = _mm_div_ps(_mm_cvtepi32_ps(_mm_cvtepi16_epi32(_mm_srli_si128(diff, 8))),
                                      _mm_cvtepi32_ps(_mm_cvtepi16_epi32(_mm_srli_si128(twoN, 8))));
        return _mm_packs_epi32(_mm_cvtps_epi32(qLo), _mm_cvtps_epi32(qHi));
    }
    // rint(float(v) * gain) saturated to 0..255; the 16-bit pack saturates
    // first, which keeps the order and both bounds.
    template <int N>
    static __m128i gain(__m128i v, __m128 g) {
        const __m128i lo = _mm_cvtps_epi32(_mm_mul_ps(_mm_cvtepi32_ps(_mm_cvtepu16_epi32(v)), g));
        __m128i hi = _mm_setzero_si128();
        if constexpr (N > 4)
            hi = _mm_cvtps_epi32(_mm_mul_ps(_mm_cvtepi32_ps(_mm_cvtepu16_epi32(_mm_srli_si128(v, 8))), g));
        return clamp(_mm_packs_epi32(lo, hi));
    }
};

// 16u: 32-bit lanes, 4 pixels a vector.
struct Lanes16u : VngLanes<uint16_t> {
    using Sample = uint16_t;
    static constexpr int kPixels = 4;

    template <int N>
    static __m128i load(const uint16_t* p) {
        if constexpr (N == 4) return _mm_cvtepu16_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)));
        if constexpr (N == 2) return _mm_cvtepu16_epi32(_mm_cvtsi32_si128(static_cast<int>(loadScalar<uint32_t>(p))));
        if constexpr (N == 1) return _mm_cvtsi32_si128(loadScalar<uint16_t>(p));
    }
    static __m128i evenLanes() { return _mm_set1_epi64x(0x00000000FFFFFFFFll); }

    template <int N>
    static __m128i divide(__m128i diff, __m128i twoN) {
        return _mm_cvtps_epi32(_mm_div_ps(_mm_cvtepi32_ps(diff), _mm_cvtepi32_ps(twoN)));
    }
    template <int N>
    static __m128i gain(__m128i v, __m128 g) {
        return clamp(_mm_cvtps_epi32(_mm_mul_ps(_mm_cvtepi32_ps(v), g)));
    }
};

// What a row of the rectangle needs beyond its samples: the lanes holding
// green sites (pixels at even offsets from the row start and so on) and
// whether the row's red-or-blue colour is blue (all lanes set) or red.
struct RowMasks {
    __m128i green;
    __m128i blue;
};

template <class V>
RowMasks rowMasks(int phase, int rowParity) {
    const __m128i even = V::evenLanes(), all = _mm_set1_epi32(-1);
    return {kGreenFirst[phase][rowParity] ? even : _mm_andnot_si128(even, all),
            kRowIsBlue[phase][rowParity] ? all : _mm_setzero_si128()};
}

// Gains of step 6, one vector per channel.
struct Gains {
    __m128 b, g, r;
};

// Which site types a vector holds: both, alternating lane by lane (the
// blend picks per lane), or one type in every lane (a vector of the even
// or the odd pixels of a row), where the other type's arithmetic drops out.
enum class Site { Both, Green, RedBlue };

// Steps 1 to 5 on a window of vectors: w[a + 2][b + 2] holds P(a, b) of
// each lane.  Returns the colour from the second and the third sums (c1,
// c2); the first colour is P(0, 0) itself.  N is the number of lanes in use.
template <class V, Site S, int N>
inline void vngColours(const __m128i (*w)[5], __m128i greenLanes, __m128i& c1, __m128i& c2) {
    const auto P = [w](int a, int b) { return w[a + 2][b + 2]; };
    const auto absd = [](__m128i a, __m128i b) { return V::absd(a, b); };
    const auto add = [](__m128i a, __m128i b) { return V::add(a, b); };
    const auto twice = [](__m128i a) { return V::twice(a); };
    const auto pick = [greenLanes](__m128i atRedBlue, __m128i atGreen) {
        if constexpr (S == Site::Both) return _mm_blendv_epi8(atRedBlue, atGreen, greenLanes);
        if constexpr (S == Site::Green) return atGreen;
        if constexpr (S == Site::RedBlue) return atRedBlue;
    };

    const __m128i p00 = P(0, 0);
    const __m128i n1 = P(-1, 0), s1 = P(1, 0), w1 = P(0, -1), e1 = P(0, 1);
    const __m128i nw = P(-1, -1), ne = P(-1, 1), sw = P(1, -1), se = P(1, 1);
    const __m128i n2 = P(-2, 0), s2 = P(2, 0), w2 = P(0, -2), e2 = P(0, 2);
    const __m128i n2w1 = P(-2, -1), n2e1 = P(-2, 1), s2w1 = P(2, -1), s2e1 = P(2, 1);
    const __m128i n1w2 = P(-1, -2), n1e2 = P(-1, 2), s1w2 = P(1, -2), s1e2 = P(1, 2);
    const __m128i n2w2 = P(-2, -2), n2e2 = P(-2, 2), s2w2 = P(2, -2), s2e2 = P(2, 2);

    // Step 1: gradients, in the order N, E, S, W, NE, SE, NW, SW.
    __m128i g[8];
    {
        const __m128i vMid = absd(n1, s1), vSides = add(absd(ne, se), absd(nw, sw));
        g[0] = add(add(twice(add(vMid, absd(n2, p00))), vSides), add(absd(n2e1, e1), absd(n2w1, w1)));
        g[2] = add(add(twice(add(vMid, absd(s2, p00))), vSides), add(absd(s2e1, e1), absd(s2w1, w1)));
        const __m128i hMid = absd(w1, e1), hSides = add(absd(se, sw), absd(ne, nw));
        g[1] = add(add(twice(add(hMid, absd(e2, p00))), hSides), add(absd(s1e2, s1), absd(n1e2, n1)));
        g[3] = add(add(twice(add(hMid, absd(w2, p00))), hSides), add(absd(s1w2, s1), absd(n1w2, n1)));
        // Diagonals: 2 (|P(d) - P(-d)| + |P(2d) - P0|) at both site types,
        // plus a part of the site's own.
        const __m128i dRise = absd(ne, sw), dFall = absd(nw, se);
        // red or blue site: |P(u) - P(-v)| + |P(v) - P(-u)| + |P(u + d) - P(u)| + |P(v + d) - P(v)|
        const __m128i rbRise = add(absd(n1, w1), absd(e1, s1)), rbFall = add(absd(s1, w1), absd(e1, n1));
        const __m128i rbNE = add(rbRise, add(absd(n2e1, n1), absd(n1e2, e1)));
        const __m128i rbSE = add(rbFall, add(absd(s2e1, s1), absd(s1e2, e1)));
        const __m128i rbNW = add(rbFall, add(absd(n2w1, n1), absd(n1w2, w1)));
        const __m128i rbSW = add(rbRise, add(absd(s2w1, s1), absd(s1w2, w1)));
        // green site: 2 (|P(-u) - P(2d - u)| + |P(-v) - P(2d - v)|)
        const __m128i gNE = twice(add(absd(s1, n1e2), absd(w1, n2e1)));
        const __m128i gSE = twice(add(absd(n1, s1e2), absd(w1, s2e1)));
        const __m128i gNW = twice(add(absd(s1, n1w2), absd(e1, n2w1)));
        const __m128i gSW = twice(add(absd(n1, s1w2), absd(e1, s2w1)));
        g[4] = add(twice(add(dRise, absd(n2e2, p00))), pick(rbNE, gNE));
        g[5] = add(twice(add(dFall, absd(s2e2, p00))), pick(rbSE, gSE));
        g[6] = add(twice(add(dFall, absd(n2w2, p00))), pick(rbNW, gNW));
        g[7] = add(twice(add(dRise, absd(s2w2, p00))), pick(rbSW, gSW));
    }

    // Step 2: the threshold.
    __m128i gmin = g[0], gmax = g[0];
    for (int k = 1; k < 8; ++k) {
        gmin = V::min(gmin, g[k]);
        gmax = V::max(gmax, g[k]);
    }
    const __m128i thr = add(gmin, V::max(V::half(gmax), V::one()));

    // Step 4's entries, direction by direction: e[k][0] the site's own
    // colour, e[k][1] green or the row colour, e[k][2] the opposite or the
    // column colour.
    __m128i e[8][3];
    e[0][0] = add(n2, p00);
    e[0][1] = pick(twice(n1), add(n2w1, n2e1));
    e[0][2] = pick(add(nw, ne), twice(n1));
    e[1][0] = add(e2, p00);
    e[1][1] = twice(e1);
    e[1][2] = pick(add(ne, se), add(n1e2, s1e2));
    e[2][0] = add(s2, p00);
    e[2][1] = pick(twice(s1), add(s2w1, s2e1));
    e[2][2] = pick(add(sw, se), twice(s1));
    e[3][0] = add(w2, p00);
    e[3][1] = twice(w1);
    e[3][2] = pick(add(nw, sw), add(n1w2, s1w2));
    e[4][0] = pick(add(n2e2, p00), twice(ne));
    e[4][1] = pick(V::half(add(add(n2e1, n1), add(n1e2, e1))), add(n2e1, e1));
    e[4][2] = pick(twice(ne), add(n1, n1e2));
    e[5][0] = pick(add(s2e2, p00), twice(se));
    e[5][1] = pick(V::half(add(add(e1, s1), add(s2e1, s1e2))), add(e1, s2e1));
    e[5][2] = pick(twice(se), add(s1, s1e2));
    e[6][0] = pick(add(n2w2, p00), twice(nw));
    e[6][1] = pick(V::half(add(add(n2w1, n1w2), add(n1, w1))), add(n2w1, w1));
    e[6][2] = pick(twice(nw), add(n1w2, n1));
    e[7][0] = pick(add(s2w2, p00), twice(sw));
    e[7][1] = pick(V::half(add(add(w1, s1w2), add(s2w1, s1))), add(w1, s2w1));
    e[7][2] = pick(twice(sw), add(s1w2, s1));

    // Steps 3 and 4: eight rounds adding the entries of the directions below
    // the threshold, and counting them (a set mask is -1).
    __m128i sum0 = _mm_setzero_si128(), sum1 = sum0, sum2 = sum0, count = sum0;
    for (int k = 0; k < 8; ++k) {
        const __m128i take = V::less(g[k], thr);
        sum0 = add(sum0, _mm_and_si128(take, e[k][0]));
        sum1 = add(sum1, _mm_and_si128(take, e[k][1]));
        sum2 = add(sum2, _mm_and_si128(take, e[k][2]));
        count = V::sub(count, take);
    }

    // Step 5: the two missing colours.
    const __m128i twoN = twice(count);
    c1 = V::clamp(add(V::template divide<N>(V::sub(sum1, sum0), twoN), p00));
    c2 = V::clamp(add(V::template divide<N>(V::sub(sum2, sum0), twoN), p00));
}

// Steps 6 and 7's order: the row's red or blue, green and the opposite
// colour of each lane become B, G, R (`blue` set: the row's colour is
// blue), then the gains.
template <class V, int N, bool WithGains>
inline void toBgr(__m128i rowColour, __m128i green, __m128i opposite, __m128i blue, const Gains& gains,
                  __m128i bgr[3]) {
    bgr[0] = _mm_blendv_epi8(opposite, rowColour, blue);
    bgr[1] = green;
    bgr[2] = _mm_blendv_epi8(rowColour, opposite, blue);
    if constexpr (WithGains) {
        bgr[0] = V::template gain<N>(bgr[0], gains.b);
        bgr[1] = V::template gain<N>(bgr[1], gains.g);
        bgr[2] = V::template gain<N>(bgr[2], gains.r);
    }
}

// N pixels of one row from x on, both site types in alternating lanes:
// `rows` are the five source rows around it (rows[2] is the row itself),
// each pointing at the rectangle's first column.
template <class V, int N, bool WithGains>
inline void vngPixels(const typename V::Sample* const* rows, int x, typename V::Sample* d, const RowMasks& m,
                      const Gains& gains) {
    __m128i w[5][5];
    for (int a = 0; a < 5; ++a)
        for (int b = 0; b < 5; ++b) w[a][b] = V::template load<N>(rows[a] + x + b - 2);
    __m128i c1, c2;
    vngColours<V, Site::Both, N>(w, m.green, c1, c2);
    // the row's red or blue: raw at its own sites, c1 at green sites; green
    // the other way round; the opposite colour is c2 at both
    const __m128i p00 = w[2][2];
    __m128i bgr[3];
    toBgr<V, N, WithGains>(_mm_blendv_epi8(p00, c1, m.green), _mm_blendv_epi8(c1, p00, m.green), c2, m.blue, gains,
                           bgr);
    V::template store<N>(d + 4 * x, bgr[0], bgr[1], bgr[2]);
}

// One row of a wide pass: `ev` and `od` are windows of the even and the odd
// pixels, each holding one site type.
template <class V, bool WithGains>
inline void vngSplitRow(const __m128i (*ev)[5], const __m128i (*od)[5], bool greenEven, __m128i blue,
                        const Gains& gains, typename V::Sample* d) {
    constexpr int N = V::kPixels;
    const __m128i (*gw)[5] = greenEven ? ev : od;
    const __m128i (*rw)[5] = greenEven ? od : ev;
    const __m128i none = _mm_setzero_si128();
    __m128i gc1, gc2, rc1, rc2, atGreen[3], atRedBlue[3];
    vngColours<V, Site::Green, N>(gw, none, gc1, gc2);
    vngColours<V, Site::RedBlue, N>(rw, none, rc1, rc2);
    toBgr<V, N, WithGains>(gc1, gw[2][2], gc2, blue, gains, atGreen);
    toBgr<V, N, WithGains>(rw[2][2], rc1, rc2, blue, gains, atRedBlue);
    if (greenEven)
        V::storeSplit(d, atGreen, atRedBlue);
    else
        V::storeSplit(d, atRedBlue, atGreen);
}

// A wide pass over 2 * kPixels pixels of two rows: six source rows loaded
// once, split into even and odd pixels, so that each vector holds one site
// type and computes only its own arithmetic.
template <class V, bool WithGains>
inline void vngSplitPass(const typename V::Sample* const* rows, int x, typename V::Sample* d0, typename V::Sample* d1,
                         bool greenEven0, const RowMasks& m0, const RowMasks& m1, const Gains& gains) {
    __m128i ev[6][5], od[6][5];
    for (int a = 0; a < 6; ++a)
        for (int b = 0; b < 5; ++b) {
            const __m128i v = V::loadFull(rows[a] + x + b - 2);
            ev[a][b] = V::lo(v);
            od[a][b] = V::hi(v);
        }
    vngSplitRow<V, WithGains>(ev, od, greenEven0, m0.blue, gains, d0 + 4 * x);
    vngSplitRow<V, WithGains>(ev + 1, od + 1, !greenEven0, m1.blue, gains, d1 + 4 * x);
}

// A pair of rows: wide passes, then the ladder kPixels, kPixels / 2, ..., 1
// with both site types in alternating lanes.
template <class V, bool WithGains, int N = V::kPixels>
inline void vngLadder(const typename V::Sample* const* rows, int& x, int width, typename V::Sample* d0,
                      typename V::Sample* d1, const RowMasks& m0, const RowMasks& m1, const Gains& gains) {
    if (x + N <= width) {
        vngPixels<V, N, WithGains>(rows, x, d0, m0, gains);
        vngPixels<V, N, WithGains>(rows + 1, x, d1, m1, gains);
        x += N;
    }
    if constexpr (N > 1) vngLadder<V, WithGains, N / 2>(rows, x, width, d0, d1, m0, m1, gains);
}

template <class V, bool WithGains>
inline void vngPairRows(const typename V::Sample* const* rows, int width, typename V::Sample* d0,
                        typename V::Sample* d1, bool greenEven0, const RowMasks& m0, const RowMasks& m1,
                        const Gains& gains) {
    constexpr int S = 2 * V::kPixels;
    int x = 0;
    for (; x + S <= width; x += S) vngSplitPass<V, WithGains>(rows, x, d0, d1, greenEven0, m0, m1, gains);
    vngLadder<V, WithGains>(rows, x, width, d0, d1, m0, m1, gains);
}

// The last odd row: pairs of pixels, then one.
template <class V, bool WithGains>
inline void vngLastRow(const typename V::Sample* const* rows, int width, typename V::Sample* d, const RowMasks& m,
                       const Gains& gains) {
    int x = 0;
    for (; x + 2 <= width; x += 2) vngPixels<V, 2, WithGains>(rows, x, d, m, gains);
    if (x < width) vngPixels<V, 1, WithGains>(rows, x, d, m, gains);
}

template <class V, bool WithGains>
void vngRect(const typename V::Sample* src, int64_t srcStep, int width, int height, const Gains& gains,
             typename V::Sample* dst, int64_t dstStep, int phase) {
    using T = typename V::Sample;
    const auto srcRow = [src, srcStep](int64_t j) {
        return reinterpret_cast<const T*>(reinterpret_cast<const uint8_t*>(src) + j * srcStep);
    };
    const auto dstRow = [dst, dstStep](int64_t j) { return reinterpret_cast<T*>(reinterpret_cast<uint8_t*>(dst) + j * dstStep); };
    const RowMasks m0 = rowMasks<V>(phase, 0), m1 = rowMasks<V>(phase, 1);
    int j = 0;
    for (; j + 2 <= height; j += 2) {
        const T* rows[6];
        for (int k = 0; k < 6; ++k) rows[k] = srcRow(j + k - 2);
        vngPairRows<V, WithGains>(rows, width, dstRow(j), dstRow(j + 1), kGreenFirst[phase][0], m0, m1, gains);
    }
    if (j < height) {
        const T* rows[5];
        for (int k = 0; k < 5; ++k) rows[k] = srcRow(j + k - 2);
        vngLastRow<V, WithGains>(rows, width, dstRow(j), m0, gains);
    }
}

// The kernel: the rectangle whose neighbourhoods lie in the frame.  `src`
// and `dst` address its first pixel; `phase` is the grid seen from there.
template <class V>
void vngKernel(const typename V::Sample* src, int64_t srcStep, int width, int height, const float* scale,
               typename V::Sample* dst, int64_t dstStep, int phase) {
    if (width < 1 || height < 1) return;
    // A NaN compares unequal, so it counts as a gain.
    if (scale != nullptr && !(scale[0] == 1.0f && scale[1] == 1.0f && scale[2] == 1.0f)) {
        const Gains gains{_mm_set1_ps(scale[0]), _mm_set1_ps(scale[1]), _mm_set1_ps(scale[2])};
        vngRect<V, true>(src, srcStep, width, height, gains, dst, dstStep, phase);
    } else {
        const Gains none{};
        vngRect<V, false>(src, srcStep, width, height, none, dst, dstStep, phase);
    }
}

void y8_ownCFAToBGRA_VNG_8u_C1C4R_L(const uint8_t* src, int64_t srcStep, int width, int height, const float* scale,
                                    uint8_t* dst, int64_t dstStep, int phase) {
    vngKernel<Lanes8u>(src, srcStep, width, height, scale, dst, dstStep, phase);
}
void y8_ownCFAToBGRA_VNG_16u_C1C4R_L(const uint16_t* src, int64_t srcStep, int width, int height, const float* scale,
                                     uint16_t* dst, int64_t dstStep, int phase) {
    vngKernel<Lanes16u>(src, srcStep, width, height, scale, dst, dstStep, phase);
}

// Rectangle, kernel, then the rim copies, all in 64-bit arithmetic.  The
// rectangle ends before the frame's last two columns and rows; the rim
// copies test against the region's x + width and y + height.
template <class V>
void y8_myCFAToBGRA_VNG(const typename V::Sample* src, CelSizeL srcSize, int64_t srcStep, const float* scale,
                        typename V::Sample* dst, CelRectL roi, int64_t dstStep, int grid) {
    using T = typename V::Sample;
    const int64_t W = srcSize.width, H = srcSize.height;
    const int64_t x = roi.x, y = roi.y, xEnd = roi.x + roi.width, yEnd = roi.y + roi.height;
    const int64_t c0 = x > 2 ? x : 2, r0 = y > 2 ? y : 2;
    const int64_t c1 = xEnd < W - 2 ? xEnd - 1 : W - 3, r1 = yEnd < H - 2 ? yEnd - 1 : H - 3;
    const int width = static_cast<int>(c1 - c0 + 1), height = static_cast<int>(r1 - r0 + 1);
    const int phase = _tblGrid[grid][(c0 & 1) + 2 * (r0 & 1)];

    constexpr int64_t px = 4 * sizeof(T);  // bytes of a destination pixel
    const uint8_t* s = reinterpret_cast<const uint8_t*>(src) + r0 * srcStep + c0 * int64_t(sizeof(T));
    uint8_t* d = reinterpret_cast<uint8_t*>(dst);
    uint8_t* rect = d + (r0 - y) * dstStep + (c0 - x) * px;
    if constexpr (sizeof(T) == 1)
        y8_ownCFAToBGRA_VNG_8u_C1C4R_L(s, srcStep, width, height, scale, rect, dstStep, phase);
    else
        y8_ownCFAToBGRA_VNG_16u_C1C4R_L(reinterpret_cast<const T*>(s), srcStep, width, height, scale,
                                        reinterpret_cast<T*>(rect), dstStep, phase);

    // The rim: whole-pixel copies, columns first so that the rows carry the
    // corners.  A copy of a height below 1 does nothing.
    uint8_t* lastCol = rect + (width - int64_t(1)) * px;
    if (x == 0) y8_celiCopy_8u_C1R_L(rect, dstStep, rect - 2 * px, dstStep, px, height);
    if (x < 2) y8_celiCopy_8u_C1R_L(rect, dstStep, rect - px, dstStep, px, height);
    if (W - 2 <= xEnd) y8_celiCopy_8u_C1R_L(lastCol, dstStep, lastCol + px, dstStep, px, height);
    if (W - 1 <= xEnd) y8_celiCopy_8u_C1R_L(lastCol, dstStep, lastCol + 2 * px, dstStep, px, height);
    const int64_t rowBytes = roi.width * px;
    uint8_t* firstRow = d + (r0 - y) * dstStep;
    uint8_t* lastRow = d + (r1 - y) * dstStep;
    if (y == 0) y8_celiCopy_8u_C1R_L(firstRow, dstStep, firstRow - 2 * dstStep, dstStep, rowBytes, 1);
    if (y < 2) y8_celiCopy_8u_C1R_L(firstRow, dstStep, firstRow - dstStep, dstStep, rowBytes, 1);
    if (H - 2 <= yEnd) y8_celiCopy_8u_C1R_L(lastRow, dstStep, lastRow + dstStep, dstStep, rowBytes, 1);
    if (H - 1 <= yEnd) y8_celiCopy_8u_C1R_L(lastRow, dstStep, lastRow + 2 * dstStep, dstStep, rowBytes, 1);
}

// Checks, in order: pointers; a region or frame size at or above 2^31
// (x and y are never tested); a frame below 5x5; the grid; an empty region
// succeeds with nothing written.
template <class T>
CelStatus checkVng(const T* src, CelSizeL srcSize, const T* dst, CelRectL roi, int grid) {
    constexpr int64_t kLimit = int64_t(1) << 31;
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (roi.width >= kLimit || roi.height >= kLimit || srcSize.width >= kLimit || srcSize.height >= kLimit)
        return celStatusSizeTooLarge;
    if (srcSize.width < 5 || srcSize.height < 5) return celStatusBadSize;
    if (grid < 0 || grid > 3) return celStatusBadArgument;
    return celStatusOk;
}

}  // namespace

extern "C" CelStatus y8_celiCFAToBGRA_VNG_8u_C1C4R_L(const uint8_t* src, CelSizeL srcSize, int64_t srcStep,
                                                    const float* scale, uint8_t* dst, CelRectL srcRoi,
                                                    int64_t dstStep, CelBayerGrid grid) {
    const CelStatus st = checkVng(src, srcSize, dst, srcRoi, static_cast<int>(grid));
    if (st != celStatusOk || srcRoi.width < 1 || srcRoi.height < 1) return st;
    y8_myCFAToBGRA_VNG<Lanes8u>(src, srcSize, srcStep, scale, dst, srcRoi, dstStep, static_cast<int>(grid));
    return celStatusOk;
}

extern "C" CelStatus y8_celiCFAToBGRA_VNG_16u_C1C4R_L(const uint16_t* src, CelSizeL srcSize, int64_t srcStep,
                                                     const float* scale, uint16_t* dst, CelRectL srcRoi,
                                                     int64_t dstStep, CelBayerGrid grid) {
    const CelStatus st = checkVng(src, srcSize, dst, srcRoi, static_cast<int>(grid));
    if (st != celStatusOk || srcRoi.width < 1 || srcRoi.height < 1) return st;
    y8_myCFAToBGRA_VNG<Lanes16u>(src, srcSize, srcStep, scale, dst, srcRoi, dstStep, static_cast<int>(grid));
    return celStatusOk;
}
