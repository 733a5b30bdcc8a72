// Adaptive homogeneity-directed demosaicing: the interior kernels, 8u and 16u.
//
// The interior rectangle starts on a red sample, has even width and height,
// and every raw sample it reads lies inside the frame, so each stage is a
// loop over a whole ring row with no phase or coordinate tests:
//
//   stages 1, 2  (green estimates, colour planes) 16 samples (8u) or 8 (16u)
//                a step, the samples at even and odd positions of a row in
//                the low and high halves of double-width lanes;
//   stages 3, 4  (luma-chroma, homogeneity) 8u: four pixels a step by
//                multiply-adds of lane pairs, the window's three columns
//                kept by moving one column along; 16u: luma-chroma eight
//                pixels a step from 16-bit low and high products, the
//                homogeneity count in scalar code;
//   stage 5      (selection) 8u: 16 pixels a step, 3x3 sums in 16-bit lanes,
//                ties passed on lane by lane as a byte mask; 16u: scalar.
//
// Every stage ends its row with the scalar form of demosaic/ahd_rows.h, which
// computes the same values: the split of a row changes no pixel.
#include <smmintrin.h>

#include <cstdint>
#include <cstring>

#include "demosaic/ahd_recipes.h"
#include "demosaic/ahd_rows.h"
#include "frame/image.h"
#include "frame/simd.h"

namespace {

using namespace cel::ahd;

template <class T>
struct Interior {
    using L = Lanes<T>;
    static constexpr int kS = L::kSamples;
    const DirectSource<T>& src;
    Scratch<T> s;
    int x, y, w;
    const RowStages<T, DirectSource<T>>& scalar;

    int ring(int r) const { return r - y + 3; }
    // Row r from ring column 0 (frame column x - 3) on.
    const T* raw(int r) const { return src.row(r) + (x - 3); }

    // Stage 1 on row r, a red row (R G R G ..., the red samples at odd ring
    // columns) or a blue one (B G B G ... from ring column 0).
    template <bool RedRow>
    void green(int r) const {
        const T *p = raw(r), *pu1 = raw(r - 1), *pd1 = raw(r + 1), *pu2 = raw(r - 2), *pd2 = raw(r + 2);
        const int k = ring(r);
        T *gv = s.green(k, 0), *gh = s.green(k, 1);
        int j = 0;
        if (RedRow) {  // ring column 0 is a green site
            scalar.green(r, 0, 1);
            j = 1;
        }
        // body: the red or blue samples in the low halves, green in the high
        for (; j + kS <= w + 6; j += kS) {
            const __m128i c0 = L::load(p + j), cl = L::load(p + j - 2), cr = L::load(p + j + 2);
            const __m128i site = L::lo(c0), gsite = L::hi(c0);
            const __m128i eh = greenV<T>(site, L::lo(cl), L::lo(cr), L::hi(cl), gsite);
            const __m128i ev = greenV<T>(site, L::lo(L::load(pu2 + j)), L::lo(L::load(pd2 + j)),
                                         L::lo(L::load(pu1 + j)), L::lo(L::load(pd1 + j)));
            L::store(gh + j, L::join(eh, gsite));
            L::store(gv + j, L::join(ev, gsite));
        }
        // tail: the same recipe, sample by sample
        scalar.green(r, j, w + 6);
    }

    // Stage 2 on row r, both candidates: the row's own colour is the raw
    // sample at its sites and the left-right difference at the green sites;
    // the other colour is the diagonal difference at the row's sites and
    // the up-down difference at the green sites.
    template <bool RedRow>
    void colours(int r) const {
        constexpr Colour own = RedRow ? kR : kB, other = RedRow ? kB : kR;
        const T *p = raw(r), *pu = raw(r - 1), *pd = raw(r + 1);
        const int k = ring(r), end = w + 5;
        int j = 1;
        if (!RedRow) {  // ring column 1 is a green site
            scalar.colours(r, 1, 2);
            j = 2;
        }
        // body: sites of the row's colour at even offsets from j
        for (; j + kS <= end; j += kS) {
            const __m128i c0 = L::load(p + j);
            const __m128i site = L::lo(c0), gsite = L::hi(c0), site2 = L::lo(L::load(p + j + 2));
            const __m128i ua = L::lo(L::load(pu + j - 1)), ub = L::lo(L::load(pu + j + 1));
            const __m128i da = L::lo(L::load(pd + j - 1)), db = L::lo(L::load(pd + j + 1));
            for (int dir = 0; dir < 2; ++dir) {
                const T *g = s.green(k, dir), *gu = s.green(k - 1, dir), *gd = s.green(k + 1, dir);
                const __m128i g0 = L::lo(L::load(g + j));
                const __m128i dua = L::sub(ua, L::lo(L::load(gu + j - 1))), dub = L::sub(ub, L::lo(L::load(gu + j + 1)));
                const __m128i dda = L::sub(da, L::lo(L::load(gd + j - 1))), ddb = L::sub(db, L::lo(L::load(gd + j + 1)));
                const __m128i lr = colour2V<T>(gsite, L::sub(site, g0), L::sub(site2, L::lo(L::load(g + j + 2))));
                const __m128i ud = colour2V<T>(gsite, dub, ddb);
                const __m128i opp = colour4V<T>(g0, dua, dub, dda, ddb);
                L::store(s.plane(k, own, dir) + j, L::join(site, lr));
                L::store(s.plane(k, other, dir) + j, L::join(opp, ud));
            }
        }
        // tail: the same recipes, sample by sample
        scalar.colours(r, j, end);
    }
};

// ---- 8u: stages 3 to 5 ------------------------------------------------------

inline __m128i load4u8(const uint8_t* p) {
    int32_t v;
    std::memcpy(&v, p, 4);
    return _mm_cvtepu8_epi16(_mm_cvtsi32_si128(v));
}

struct Interior8 : Interior<uint8_t> {
    Ycc4 ycc(int k, int dir, int j) const {
        return ycc4V(load4u8(s.plane(k, kR, dir) + j), load4u8(s.green(k, dir) + j), load4u8(s.plane(k, kB, dir) + j));
    }

    void homogeneity2(int r) const {
        homogeneity(r);
        homogeneity(r + 1);
    }

    // Stages 3 and 4 on row r: four pixels a step.
    void homogeneity(int r) const {
        const int k = ring(r), end = w + 4;
        int8_t* d = s.diff(k);
        int j = 2;
        if (j + 4 <= end) {
            // the window's three columns of row r: the pixel on the left of
            // the first one waits in lane 3
            const auto last = [](Ycc4 v) { return Ycc4{_mm_slli_si128(v.y, 12), _mm_slli_si128(v.cbcr, 12)}; };
            Ycc4 prev[2] = {last(ycc(k, 0, j - 1)), last(ycc(k, 1, j - 1))};
            Ycc4 cur[2] = {ycc(k, 0, j), ycc(k, 1, j)};
            // body: lanes are columns j .. j + 3
            for (; j + 4 <= end; j += 4) {
                Ycc4 n[2][4];
                for (int dir = 0; dir < 2; ++dir) {
                    const Ycc4 next = ycc(k, dir, j + 4);
                    n[dir][0] = {_mm_alignr_epi8(cur[dir].y, prev[dir].y, 12),
                                 _mm_alignr_epi8(cur[dir].cbcr, prev[dir].cbcr, 12)};
                    n[dir][1] = {_mm_alignr_epi8(next.y, cur[dir].y, 4), _mm_alignr_epi8(next.cbcr, cur[dir].cbcr, 4)};
                    n[dir][2] = ycc(k - 1, dir, j);
                    n[dir][3] = ycc(k + 1, dir, j);
                    prev[dir] = cur[dir];
                    cur[dir] = next;
                }
                const __m128i dv = homogeneityV(prev[1], n[1], prev[0], n[0]);
                const __m128i packed = _mm_packs_epi16(_mm_packs_epi32(dv, dv), _mm_setzero_si128());
                const int32_t four = _mm_cvtsi128_si32(packed);
                std::memcpy(d + j, &four, 4);
            }
        }
        // tail: the same recipe, pixel by pixel
        scalar.homogeneity(r, j, end);
    }

    // Stage 5 on row r: 16 pixels a step, written from `out` (the pixel of
    // frame column x).
    void select(int r, uint8_t* out) const {
        const int k = ring(r), end = w + 3;
        const int8_t *du = s.diff(k - 1), *d = s.diff(k), *dd = s.diff(k + 1);
        // column sums of the three D rows, in 16-bit lanes, of the eight
        // columns from q on (and of the eight after them, in `high`)
        const auto colSums = [&](int q, __m128i& high) {
            const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(du + q));
            const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(d + q));
            const __m128i c = _mm_loadu_si128(reinterpret_cast<const __m128i*>(dd + q));
            const auto sum8 = [](__m128i u, __m128i v, __m128i t) {
                return _mm_add_epi16(_mm_add_epi16(_mm_cvtepi8_epi16(u), _mm_cvtepi8_epi16(v)), _mm_cvtepi8_epi16(t));
            };
            high = sum8(_mm_srli_si128(a, 8), _mm_srli_si128(b, 8), _mm_srli_si128(c, 8));
            return sum8(a, b, c);
        };
        __m128i carry = _mm_cvtsi32_si128(0xFFFF);  // each row starts on H
        int j = 3;
        if (j + 16 <= end) {
            __m128i b;
            __m128i a = colSums(j - 1, b);  // columns j-1 .. j+6 and j+7 .. j+14
            // body: S is the sum of three column sums side by side
            for (; j + 16 <= end; j += 16) {
                __m128i cHigh;
                const __m128i c = colSums(j + 15, cHigh);  // columns j+15 .. j+22
                const __m128i sLo = _mm_add_epi16(_mm_add_epi16(a, _mm_alignr_epi8(b, a, 2)), _mm_alignr_epi8(b, a, 4));
                const __m128i sHi = _mm_add_epi16(_mm_add_epi16(b, _mm_alignr_epi8(c, b, 2)), _mm_alignr_epi8(c, b, 4));
                const __m128i mLo = select8V(sLo, carry);
                carry = _mm_srli_si128(mLo, 14);
                const __m128i mHi = select8V(sHi, carry);
                carry = _mm_srli_si128(mHi, 14);
                const __m128i takeH = _mm_packs_epi16(mLo, mHi);
                const auto pick = [&](const uint8_t* v, const uint8_t* h) {
                    return _mm_blendv_epi8(L::load(v + j), L::load(h + j), takeH);
                };
                cel::simd::join3x16(out + 3 * (j - 3), pick(s.plane(k, kR, 0), s.plane(k, kR, 1)),
                                    pick(s.green(k, 0), s.green(k, 1)), pick(s.plane(k, kB, 0), s.plane(k, kB, 1)));
                a = c;
                b = cHigh;
            }
        }
        // tail: the same rule, pixel by pixel, from the carried decision
        scalar.select(r, j, end, _mm_cvtsi128_si32(carry) != 0, out + 3 * (j - 3), j, end);
    }
};

// ---- 16u: stages 3 to 5 -----------------------------------------------------

// yccPx for n pixels of three 16-bit planes into 32-bit rows.  Body: eight
// pixels a step, each product of a sample and a coefficient made of its
// 16-bit low and high halves.
void yccRow16(const uint16_t* r, const uint16_t* g, const uint16_t* b, int n, int32_t* Y, int32_t* Cb, int32_t* Cr) {
    const auto product = [](__m128i v, int coeff, __m128i& lo, __m128i& hi) {
        const __m128i c = _mm_set1_epi16(static_cast<int16_t>(coeff));
        const __m128i pl = _mm_mullo_epi16(v, c), ph = _mm_mulhi_epu16(v, c);
        lo = _mm_unpacklo_epi16(pl, ph);
        hi = _mm_unpackhi_epi16(pl, ph);
    };
    // a signed combination of three products: sign * |coeff| * sample
    const auto combine = [&](__m128i vr, __m128i vg, __m128i vb, int cr, int cg, int cb, __m128i& lo, __m128i& hi) {
        __m128i rl, rh, gl, gh, bl, bh;
        product(vr, cr < 0 ? -cr : cr, rl, rh);
        product(vg, cg < 0 ? -cg : cg, gl, gh);
        product(vb, cb < 0 ? -cb : cb, bl, bh);
        const __m128i round = _mm_set1_epi32(kYccRound);
        lo = round;
        hi = round;
        lo = cr < 0 ? _mm_sub_epi32(lo, rl) : _mm_add_epi32(lo, rl);
        hi = cr < 0 ? _mm_sub_epi32(hi, rh) : _mm_add_epi32(hi, rh);
        lo = cg < 0 ? _mm_sub_epi32(lo, gl) : _mm_add_epi32(lo, gl);
        hi = cg < 0 ? _mm_sub_epi32(hi, gh) : _mm_add_epi32(hi, gh);
        lo = cb < 0 ? _mm_sub_epi32(lo, bl) : _mm_add_epi32(lo, bl);
        hi = cb < 0 ? _mm_sub_epi32(hi, bh) : _mm_add_epi32(hi, bh);
        lo = _mm_srai_epi32(lo, 8);
        hi = _mm_srai_epi32(hi, 8);
    };
    const auto store2 = [](int32_t* p, __m128i lo, __m128i hi) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p), lo);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p + 4), hi);
    };
    using L = Lanes<uint16_t>;
    int i = 0;
    for (; i + 8 <= n; i += 8) {
        const __m128i vr = L::load(r + i), vg = L::load(g + i), vb = L::load(b + i);
        __m128i lo, hi;
        combine(vr, vg, vb, kYcc.yr, kYcc.yg, kYcc.yb, lo, hi);
        store2(Y + i, lo, hi);
        combine(vr, vg, vb, kYcc.cbr, kYcc.cbg, kYcc.cbb, lo, hi);
        store2(Cb + i, lo, hi);
        combine(vr, vg, vb, kYcc.crr, kYcc.crg, kYcc.crb, lo, hi);
        store2(Cr + i, lo, hi);
    }
    for (; i < n; ++i) {
        const Ycc v = yccPx(r[i], g[i], b[i]);
        Y[i] = v.y;
        Cb[i] = v.cb;
        Cr[i] = v.cr;
    }
}

struct Interior16 : Interior<uint16_t> {
    // Stages 3 and 4 on rows r and r + 1, in blocks of columns: luma-chroma
    // of the block's four rows into stack rows, then the count pixel by pixel.
    void homogeneity2(int r) const {
        constexpr int kBlock = 62;  // with the columns on both sides, 64: whole vector steps
        const int k = ring(r), end = w + 4;
        int16_t* d[2] = {s.diff(k), s.diff(k + 1)};
        // [candidate V, H][rows r - 1 .. r + 2][column j0 - 1 + i]
        alignas(16) int32_t Y[2][4][kBlock + 2], Cb[2][4][kBlock + 2], Cr[2][4][kBlock + 2];
        for (int j0 = 2; j0 < end; j0 += kBlock) {
            const int n = end - j0 < kBlock ? end - j0 : kBlock;
            for (int dir = 0; dir < 2; ++dir)
                for (int i = 0; i < 4; ++i) {
                    const int kk = k - 1 + i, first = j0 - 1;
                    yccRow16(s.plane(kk, kR, dir) + first, s.green(kk, dir) + first, s.plane(kk, kB, dir) + first,
                             n + 2, Y[dir][i], Cb[dir][i], Cr[dir][i]);
                }
            // distances between neighbours, each pair once: along rows r and
            // r + 1 (between columns i and i + 1), and between the four rows
            alignas(16) int32_t hl[2][2][kBlock + 1], hc[2][2][kBlock + 1];  // [dir][row][i]
            alignas(16) int32_t vl[2][3][kBlock + 2], vc[2][3][kBlock + 2];  // [dir][rows p, p + 1][i]
            for (int dir = 0; dir < 2; ++dir) {
                const auto at = [&](int rr, int col) { return Ycc{Y[dir][rr][col], Cb[dir][rr][col], Cr[dir][rr][col]}; };
                for (int row = 0; row < 2; ++row)
                    for (int i = 0; i <= n; ++i) {
                        hl[dir][row][i] = lumaDist(at(row + 1, i + 1), at(row + 1, i));
                        hc[dir][row][i] = chromaDist(at(row + 1, i + 1), at(row + 1, i));
                    }
                for (int p = 0; p < 3; ++p)
                    for (int i = 1; i <= n; ++i) {
                        vl[dir][p][i] = lumaDist(at(p + 1, i), at(p, i));
                        vc[dir][p][i] = chromaDist(at(p + 1, i), at(p, i));
                    }
            }
            // count: each pixel's distances to its four neighbours in both
            // candidates, against the limits built crosswise
            for (int row = 0; row < 2; ++row)
                for (int i = 1; i <= n; ++i) {
                    const int32_t lH[4] = {hl[1][row][i - 1], hl[1][row][i], vl[1][row][i], vl[1][row + 1][i]};
                    const int32_t cH[4] = {hc[1][row][i - 1], hc[1][row][i], vc[1][row][i], vc[1][row + 1][i]};
                    const int32_t lV[4] = {hl[0][row][i - 1], hl[0][row][i], vl[0][row][i], vl[0][row + 1][i]};
                    const int32_t cV[4] = {hc[0][row][i - 1], hc[0][row][i], vc[0][row][i], vc[0][row + 1][i]};
                    d[row][j0 + i - 1] = static_cast<int16_t>(homogeneityCountPx(lH, cH, lV, cV));
                }
        }
    }

    void select(int r, uint16_t* out) const { scalar.select(r, 3, w + 3, true, out, 3, w + 3); }
};

// The schedule of demosaic/ahd_rows.h, two source rows a pass so that each
// row's phase is known at compile time: at ring positions k and k + 1 (k
// even) the green of rows y - 3 + k and the next (a blue row, then a red
// one), the colours of the two rows before each, D of the two rows before
// those, and the output of the rows three before.  Every row's inputs are
// complete when it is made, and the rings still hold them.
template <class Kernel, class T>
void runInterior(const Kernel& in, int h, T* dst, int dstStep) {
    const auto out = [&](int r) { return cel::rowAt(dst, r - in.y, dstStep * static_cast<int>(sizeof(T))); };
    for (int k = 0; k < h + 6; k += 2) {
        const int r = in.y - 3 + k;
        in.template green<false>(r);
        in.template green<true>(r + 1);
        if (k >= 2) {
            in.template colours<true>(r - 1);
            in.template colours<false>(r);
        }
        if (k >= 4) in.homogeneity2(r - 2);
        if (k >= 6) {
            in.select(r - 3, out(r - 3));
            in.select(r - 2, out(r - 2));
        }
    }
}

}  // namespace

void y8_localIntAHD_8u(const uint8_t* src, int srcStep, int x, int y, int width, int height, uint8_t* dst, int dstStep,
                       uint8_t* buffer, int bufferStep) {
    const DirectSource<uint8_t> source{src, srcStep};
    const Scratch<uint8_t> scratch{buffer, bufferStep};
    const RowStages<uint8_t, DirectSource<uint8_t>> scalar{source, scratch, x, y, 0};
    const Interior8 in{{source, scratch, x, y, width, scalar}};
    runInterior(in, height, dst, dstStep);
}

void y8_localIntAHD_16u(const uint16_t* src, int srcStep, int x, int y, int width, int height, uint16_t* dst,
                        int dstStep, uint16_t* buffer, int bufferStep) {
    const DirectSource<uint16_t> source{src, srcStep};
    const Scratch<uint16_t> scratch{buffer, bufferStep};
    const RowStages<uint16_t, DirectSource<uint16_t>> scalar{source, scratch, x, y, 0};
    const Interior16 in{{source, scratch, x, y, width, scalar}};
    runInterior(in, height, dst, dstStep);
}
