// Bayer mosaic -> interleaved RGB by bilinear interpolation, 8u and 16u.
//
// Every output pixel is a function of its frame position alone:
//   interior (2 <= r <= H-3, 2 <= c <= W-3): at a green site, the colour to
//     the left and right is A(left, right) and the colour above and below is
//     A(up, down); at a red or blue site, the opposite colour is Q of the
//     four diagonals and green is edge-directed: from above/below when the
//     vertical difference of the site's own colour (two rows away) is
//     smaller, from left/right when the horizontal one is, Q of the four
//     neighbours on a tie;
//   rim (the two outermost rows and columns): the same, but green at a red
//     or blue site is always Q of the four neighbours, and a neighbour
//     outside the frame is its mirror image about the edge sample.
// A(a, b) = (a + b + 1) >> 1, Q(a, b, c, d) = (a + b + c + d + 2) >> 2, both
// computed wider than the sample.
//
// The interior kernels, one per phase of their first pixel, make an SSE4.2
// pass over 16 (8u) or 8 (16u) pixels at a time and a scalar tail that
// computes the same values; the rim is scalar.
#include <smmintrin.h>

#include <cstdint>
#include <cstdlib>

#include "demosaic/lanes.h"
#include "frame/image.h"
#include "frame/simd.h"
#include "frame/status.h"
#include "frame/tier.h"

namespace {

enum Colour : int { kR = 0, kG = 1, kB = 2 };

// Colours of the top-left 2x2 block of each grid, row by row.
constexpr Colour kGridColours[4][2][2] = {
    {{kB, kG}, {kG, kR}},  // celBayerBGGR
    {{kR, kG}, {kG, kB}},  // celBayerRGGB
    {{kG, kB}, {kR, kG}},  // celBayerGBRG
    {{kG, kR}, {kB, kG}},  // celBayerGRBG
};

constexpr Colour colourAt(int grid, int r, int c) { return kGridColours[grid][r & 1][c & 1]; }

// The grid as seen from frame position (r, c): the 2x2 block with its
// columns exchanged if c is odd and its rows if r is odd.
constexpr int gridAt(int grid, int r, int c) {
    const Colour a = colourAt(grid, r, c), b = colourAt(grid, r, c + 1), d = colourAt(grid, r + 1, c);
    for (int g = 0; g < 4; ++g)
        if (kGridColours[g][0][0] == a && kGridColours[g][0][1] == b && kGridColours[g][1][0] == d) return g;
    return -1;
}
static_assert(gridAt(celBayerBGGR, 0, 1) == celBayerGBRG && gridAt(celBayerBGGR, 1, 0) == celBayerGRBG &&
              gridAt(celBayerBGGR, 1, 1) == celBayerRGGB && gridAt(celBayerGBRG, 1, 1) == celBayerGRBG);

inline int avg2(int a, int b) { return (a + b + 1) >> 1; }
inline int avg4(int a, int b, int c, int d) { return (a + b + c + d + 2) >> 2; }

// A view of the frame in samples; row steps in elements.
template <class T>
struct Frame {
    const T* base;
    int step;  // elements
    int W, H;
    const T* row(int r) const { return base + cel::rowOffset(r, step); }
    int at(int r, int c) const { return row(r)[c]; }
    // Mirror about the edge sample: -1 reads 1, W reads W-2.
    int mirrored(int r, int c) const {
        r = r < 0 ? -r : (r >= H ? 2 * (H - 1) - r : r);
        c = c < 0 ? -c : (c >= W ? 2 * (W - 1) - c : c);
        return at(r, c);
    }
};

// One pixel from a sample accessor; DirectionalGreen selects the interior
// rule for green at red and blue sites.
template <bool DirectionalGreen, class Get>
inline void bayerPixel(const Get& P, Colour site, Colour rowOther, Colour colOther, int r, int c, int out[3]) {
    const int p = P(r, c);
    if (site == kG) {
        out[kG] = p;
        out[rowOther] = avg2(P(r, c - 1), P(r, c + 1));
        out[colOther] = avg2(P(r - 1, c), P(r + 1, c));
        return;
    }
    out[site] = p;
    out[site == kR ? kB : kR] = avg4(P(r - 1, c - 1), P(r - 1, c + 1), P(r + 1, c - 1), P(r + 1, c + 1));
    const int up = P(r - 1, c), down = P(r + 1, c), left = P(r, c - 1), right = P(r, c + 1);
    if (DirectionalGreen) {
        const int dV = std::abs(P(r - 2, c) - P(r + 2, c)), dH = std::abs(P(r, c - 2) - P(r, c + 2));
        if (dV < dH) {
            out[kG] = avg2(up, down);
            return;
        }
        if (dV > dH) {
            out[kG] = avg2(left, right);
            return;
        }
    }
    out[kG] = avg4(up, left, right, down);
}

template <class T>
inline void storeRgb(T* d, const int v[3]) {
    d[0] = static_cast<T>(v[0]);
    d[1] = static_cast<T>(v[1]);
    d[2] = static_cast<T>(v[2]);
}

// A rim pixel of the frame, neighbours mirrored at the frame's edges.
template <class T>
inline void rimPixel(const Frame<T>& f, int grid, int r, int c, T* d) {
    const auto P = [&f](int rr, int cc) { return f.mirrored(rr, cc); };
    int v[3];
    bayerPixel<false>(P, colourAt(grid, r, c), colourAt(grid, r, c + 1), colourAt(grid, r + 1, c), r, c, v);
    storeRgb(d, v);
}

// ---------------------------------------------------------------------------
// Rim: the frame's two outermost rows across the whole region width, then
// its two outermost columns over frame rows 2..H-3.

// One frame row r across region columns x .. x+width-1.
template <class T>
void rimRow(const Frame<T>& f, int grid, int r, int x, int width, T* dst) {
    for (int i = 0; i < width; ++i) rimPixel(f, grid, r, x + i, dst + 3 * i);
}

// One frame column c over frame rows r0 .. r1 (dst at row r0 of that column).
template <class T>
void rimColumn(const Frame<T>& f, int grid, int c, int r0, int r1, T* dst, int dstStep) {
    for (int r = r0; r <= r1; ++r) rimPixel(f, grid, r, c, cel::rowAt(dst, r - r0, dstStep));
}

template <class T>
void y8_ownBayerBorder(const Frame<T>& f, int grid, int x, int y, int width, int height, T* dst, int dstStep) {
    const int W = f.W, H = f.H;
    // frame rows 0, 1, H-2, H-1 that the region holds, across its whole width
    for (int r = y; r < y + height; ++r)
        if (r <= 1 || r >= H - 2) rimRow(f, grid, r, x, width, cel::rowAt(dst, r - y, dstStep));
    // frame columns 0, 1, W-2, W-1 that the region holds, over rows 2..H-3
    const int r0 = y > 2 ? y : 2, r1 = (y + height - 1) < (H - 3) ? (y + height - 1) : (H - 3);
    if (r0 > r1) return;
    for (int c = x; c < x + width; ++c) {
        if (c > 1 && c < W - 2) c = W - 2 > c ? W - 2 : c;  // jump over the interior columns
        if (c >= x + width) break;
        if (c <= 1 || c >= W - 2) rimColumn(f, grid, c, r0, r1, cel::rowAt(dst, r0 - y, dstStep) + 3 * (c - x), dstStep);
    }
}

// ---------------------------------------------------------------------------
// Interior kernels.  Per-sample-width vector operations: rounding average,
// unsigned absolute difference, unsigned compares, and the four-term Q in
// double-width lanes.
template <class T>
struct Vec;

// Q of the samples in the even positions of a, b, c, d, computed in lanes
// twice the sample width; the result sits in the low half of each lane.
template <class T>
__m128i q4Even(__m128i a, __m128i b, __m128i c, __m128i d) {
    using W = cel::demosaic::WideLanes<T>;
    const __m128i sum = W::add(W::add(W::lo(a), W::lo(b)), W::add(W::lo(c), W::lo(d)));
    return W::template srl<2>(W::add(sum, W::set1(2)));
}

template <>
struct Vec<uint8_t> {
    static constexpr int kLanes = 16;
    static __m128i load(const uint8_t* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
    static __m128i avg(__m128i a, __m128i b) { return _mm_avg_epu8(a, b); }
    static __m128i absdiff(__m128i a, __m128i b) { return _mm_or_si128(_mm_subs_epu8(a, b), _mm_subs_epu8(b, a)); }
    // a <= b, unsigned
    static __m128i le(__m128i a, __m128i b) { return _mm_cmpeq_epi8(_mm_subs_epu8(a, b), _mm_setzero_si128()); }
    static __m128i eq(__m128i a, __m128i b) { return _mm_cmpeq_epi8(a, b); }
    static int eqBits(__m128i m) { return _mm_movemask_epi8(m); }
    // Mask of lanes whose column parity (relative to the block start) is odd.
    static __m128i oddLanes() { return _mm_set1_epi16(static_cast<int16_t>(0xFF00)); }
    static void storeRgb(uint8_t* d, __m128i r, __m128i g, __m128i b) { cel::simd::join3x16(d, r, g, b); }
};

template <>
struct Vec<uint16_t> {
    static constexpr int kLanes = 8;
    static __m128i load(const uint16_t* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
    static __m128i avg(__m128i a, __m128i b) { return _mm_avg_epu16(a, b); }
    static __m128i absdiff(__m128i a, __m128i b) { return _mm_or_si128(_mm_subs_epu16(a, b), _mm_subs_epu16(b, a)); }
    static __m128i le(__m128i a, __m128i b) { return _mm_cmpeq_epi16(_mm_subs_epu16(a, b), _mm_setzero_si128()); }
    static __m128i eq(__m128i a, __m128i b) { return _mm_cmpeq_epi16(a, b); }
    // one bit per 16-bit lane
    static int eqBits(__m128i m) { return _mm_movemask_epi8(_mm_packs_epi16(m, _mm_setzero_si128())); }
    static __m128i oddLanes() { return _mm_set1_epi32(static_cast<int32_t>(0xFFFF0000u)); }
    static void storeRgb(uint16_t* d, __m128i r, __m128i g, __m128i b) { cel::simd::join3x8u16(d, r, g, b); }
};

// One interior row: `grid` is the pattern as seen from the row's first pixel.
template <class T, int Grid>
void interiorRow(const Frame<T>& f, int r, int c0, int width, T* dst) {
    using V = Vec<T>;
    constexpr Colour first = kGridColours[Grid][0][0], second = kGridColours[Grid][0][1];
    constexpr bool greenFirst = first == kG;
    constexpr Colour own = greenFirst ? second : first;  // the row's red or blue
    constexpr Colour colOther = own == kR ? kB : kR;  // above and below a green site
    static_assert(own != kG && colOther != kG && own != colOther);
    const T* up2 = f.row(r - 2) + c0;
    const T* up1 = f.row(r - 1) + c0;
    const T* mid = f.row(r) + c0;
    const T* dn1 = f.row(r + 1) + c0;
    const T* dn2 = f.row(r + 2) + c0;
    // lanes holding green sites; S is the column parity of the red or blue sites
    constexpr int S = greenFirst ? 1 : 0;
    using W = cel::demosaic::WideLanes<T>;
    const auto place = [](__m128i v) { return S ? W::template sll<W::kBits>(v) : v; };
    const __m128i greenLanes = greenFirst ? _mm_xor_si128(V::oddLanes(), _mm_set1_epi8(-1)) : V::oddLanes();
    int x = 0;
    // body: vector pass, exact A by rounding average, Q in double-width lanes
    for (; x + V::kLanes <= width; x += V::kLanes) {
        const __m128i p = V::load(mid + x), left = V::load(mid + x - 1), right = V::load(mid + x + 1);
        const __m128i up = V::load(up1 + x), down = V::load(dn1 + x);
        const __m128i ah = V::avg(left, right), av = V::avg(up, down);
        // Q of the diagonals, only at the red or blue sites: the sites of
        // parity S sit in the even positions of loads moved by S.
        const int xs = x + S;
        const __m128i qd = place(q4Even<T>(V::load(up1 + xs - 1), V::load(up1 + xs + 1), V::load(dn1 + xs - 1),
                                            V::load(dn1 + xs + 1)));
        const __m128i dV = V::absdiff(V::load(up2 + x), V::load(dn2 + x));
        const __m128i dH = V::absdiff(V::load(mid + x - 2), V::load(mid + x + 2));
        // horizontal average where dV is above dH, vertical elsewhere
        __m128i g = _mm_blendv_epi8(ah, av, V::le(dV, dH));
        g = _mm_blendv_epi8(g, p, greenLanes);
        // ties at red or blue sites take Q of the four neighbours: computed
        // for every block and selected by mask, as real sensor data ties in
        // most blocks and a branch on them mispredicts
        const __m128i tieMask = _mm_andnot_si128(greenLanes, V::eq(dV, dH));
        g = _mm_blendv_epi8(
            g, place(q4Even<T>(V::load(up1 + xs), V::load(mid + xs - 1), V::load(mid + xs + 1), V::load(dn1 + xs))),
            tieMask);
        const __m128i ownV = _mm_blendv_epi8(p, ah, greenLanes);   // the row's red or blue
        const __m128i otherV = _mm_blendv_epi8(qd, av, greenLanes);  // the other one
        if (own == kR)
            V::storeRgb(dst + 3 * x, ownV, g, otherV);
        else
            V::storeRgb(dst + 3 * x, otherV, g, ownV);
    }
    // tail: the same formulas, one pixel at a time
    const auto P = [&f](int rr, int cc) { return f.at(rr, cc); };
    for (; x < width; ++x) {
        int v[3];
        const int c = c0 + x;
        const bool green = ((x & 1) == 0) == greenFirst;
        bayerPixel<true>(P, green ? kG : own, green ? own : kG, green ? colOther : kG, r, c, v);
        storeRgb(dst + 3 * x, v);
    }
}

// Interior rectangle, two rows at a time, then a last single row with the
// first row's phase.
template <class T, int Grid>
void y8_owncnBayerRect(const Frame<T>& f, int r0, int c0, int width, int height, T* dst, int dstStep) {
    constexpr int nextGrid = Grid == celBayerBGGR ? celBayerGRBG
                           : Grid == celBayerRGGB ? celBayerGBRG
                           : Grid == celBayerGBRG ? celBayerRGGB
                                                  : celBayerBGGR;
    int j = 0;
    for (; j + 2 <= height; j += 2) {
        interiorRow<T, Grid>(f, r0 + j, c0, width, cel::rowAt(dst, j, dstStep));
        interiorRow<T, nextGrid>(f, r0 + j + 1, c0, width, cel::rowAt(dst, j + 1, dstStep));
    }
    if (j < height) interiorRow<T, Grid>(f, r0 + j, c0, width, cel::rowAt(dst, j, dstStep));
}

template <class T>
CelStatus cfaToRgb(const T* src, CelRect srcRoi, CelSize srcSize, int srcStep, T* dst, int dstStep, int grid) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (srcSize.width < 2 || srcSize.height < 2) return celStatusBadSize;
    if (grid < 0 || grid > 3) return celStatusBadArgument;
    const int W = srcSize.width, H = srcSize.height;
    int x = srcRoi.x, y = srcRoi.y, width = srcRoi.width, height = srcRoi.height;
    if (x + width > W) width = W - x;
    if (y + height > H) height = H - y;

    // 16-bit samples: steps become element counts (an odd byte step loses its low bit).
    const int elemShift = sizeof(T) == 2 ? 1 : 0;
    const Frame<T> f{src, srcStep >> elemShift, W, H};
    const int dStep = (dstStep >> elemShift) * static_cast<int>(sizeof(T));

    const int c0 = x > 2 ? x : 2, r0 = y > 2 ? y : 2;
    const int c1 = (x + width - 1) < (W - 3) ? (x + width - 1) : (W - 3);
    const int r1 = (y + height - 1) < (H - 3) ? (y + height - 1) : (H - 3);
    y8_ownBayerBorder(f, grid, x, y, width, height, dst, dStep);
    if (c1 - c0 + 1 < 1 || r1 - r0 + 1 < 1) return celStatusOk;

    T* d = cel::rowAt(dst, r0 - y, dStep) + 3 * (c0 - x);
    switch (gridAt(grid, r0, c0)) {
        case celBayerBGGR: y8_owncnBayerRect<T, celBayerBGGR>(f, r0, c0, c1 - c0 + 1, r1 - r0 + 1, d, dStep); break;
        case celBayerRGGB: y8_owncnBayerRect<T, celBayerRGGB>(f, r0, c0, c1 - c0 + 1, r1 - r0 + 1, d, dStep); break;
        case celBayerGBRG: y8_owncnBayerRect<T, celBayerGBRG>(f, r0, c0, c1 - c0 + 1, r1 - r0 + 1, d, dStep); break;
        default: y8_owncnBayerRect<T, celBayerGRBG>(f, r0, c0, c1 - c0 + 1, r1 - r0 + 1, d, dStep); break;
    }
    return celStatusOk;
}

}  // namespace

// Checks: pointers, frame width then height below 2, grid; then the region
// is clamped to the frame.
extern "C" CelStatus y8_celiCFAToRGB_8u_C1C3R(const uint8_t* src, CelRect srcRoi, CelSize srcSize, int srcStep,
                                             uint8_t* dst, int dstStep, CelBayerGrid grid) {
    return cfaToRgb<uint8_t>(src, srcRoi, srcSize, srcStep, dst, dstStep, static_cast<int>(grid));
}

extern "C" CelStatus y8_celiCFAToRGB_16u_C1C3R(const uint16_t* src, CelRect srcRoi, CelSize srcSize, int srcStep,
                                              uint16_t* dst, int dstStep, CelBayerGrid grid) {
    return cfaToRgb<uint16_t>(src, srcRoi, srcSize, srcStep, dst, dstStep, static_cast<int>(grid));
}
