// Adaptive homogeneity-directed demosaicing: what the frame, the strip
// kernels and the interior kernels share.
//
// A piece (the interior rectangle or a strip) of width w and height h at
// frame position (x, y) is computed row by row through the caller's scratch,
// 30 rows of `bufferStep` bytes:
//
//   rows 0, 2, 4, 6, 8      ring of 5 rows of G_V
//   rows 1, 3, 5, 7, 9      ring of 5 rows of G_H
//   row 10 + 5k .. 14 + 5k  slot k (0..3) of a ring of 4: R_V, R_H, B_V, B_H
//                           and the homogeneity difference D
//
// Sample j of a ring row belongs to frame column x - 3 + j.  Green is made
// for columns x - 3 .. x + w + 2 (j in [0, w + 6)), the colour planes for
// x - 2 .. x + w + 1 ([1, w + 5)), D for x - 1 .. x + w ([2, w + 4)), and the
// output for x .. x + w - 1 ([3, w + 3)).  Rows likewise: green from y - 3,
// colours from y - 2, D from y - 1.  A row r lives in ring position
// (r - y + 3) modulo the ring's length.
//
// The schedule, one source row at a time: green of row r, then the colour
// planes of row r - 1 (green rows r - 2 .. r), then D of row r - 2 (colour
// rows r - 3 .. r - 1), then the output of row r - 3 (D rows r - 4 .. r - 2).
// At each point the rows still needed fit in the rings.
#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "celcc.h"
#include "demosaic/ahd_recipes.h"
#include "frame/image.h"

namespace cel::ahd {

enum Colour : int { kR = 0, kG = 1, kB = 2 };

// Pattern numbers of the strip kernels: 0 RGGB, 1 GBRG, 2 BGGR, 3 GRBG;
// colours of the 2x2 block at the pattern's origin, row by row.
inline constexpr Colour kPattern[4][2][2] = {
    {{kR, kG}, {kG, kB}},
    {{kG, kB}, {kR, kG}},
    {{kB, kG}, {kG, kR}},
    {{kG, kR}, {kB, kG}},
};
// CelBayerGrid value -> pattern number.
inline constexpr int kPatternOfGrid[4] = {2, 0, 1, 3};
// The pattern seen one column, or one row, further on.
constexpr int patternColumnMove(int p) { return p ^ 3; }
constexpr int patternRowMove(int p) { return p + 1 - 2 * (p & 1); }
constexpr int patternAt(int p, int c, int r) {
    if (c & 1) p = patternColumnMove(p);
    if (r & 1) p = patternRowMove(p);
    return p;
}
static_assert(kPattern[patternColumnMove(0)][0][0] == kPattern[0][0][1] &&
              kPattern[patternRowMove(0)][0][0] == kPattern[0][1][0] &&
              kPattern[patternRowMove(2)][0][1] == kPattern[2][1][1] &&
              kPattern[patternColumnMove(1)][1][0] == kPattern[1][1][1]);

// The homogeneity difference is stored as a signed value of the sample width.
template <class T>
using Diff = std::conditional_t<sizeof(T) == 1, int8_t, int16_t>;

inline constexpr int kScratchRows = 30;

// The caller's scratch as rows of samples.  `step` is the row step in
// samples (bufferStep for 8u, bufferStep halved for 16u).
template <class T>
struct Scratch {
    T* base;
    int step;
    T* row(int i) const { return base + static_cast<std::ptrdiff_t>(i) * step; }
    // k: ring position of the row (r - y + 3 >= 0)
    T* green(int k, int dir) const { return row(2 * (k % 5) + dir); }  // dir 0: V, 1: H
    T* plane(int k, int colour, int dir) const { return row(10 + 5 * (k % 4) + (colour == kR ? 0 : 2) + dir); }
    Diff<T>* diff(int k) const { return reinterpret_cast<Diff<T>*>(row(14 + 5 * (k % 4))); }
};

template <class T>
inline int loadSample(const T* p) {
    T v;
    std::memcpy(&v, p, sizeof v);  // 16-bit rows may sit at odd byte steps
    return v;
}

// Raw samples of the frame with every coordinate mirrored once about the
// frame's first and last samples (strips).
template <class T>
struct MirroredSource {
    const T* origin;
    int step;  // bytes
    int lastColumn, lastRow;
    const T* row(int r) const {
        r = r < 0 ? -r : (r > lastRow ? 2 * lastRow - r : r);
        return rowAt(origin, r, step);
    }
    static int column(int c, int last) { return c < 0 ? -c : (c > last ? 2 * last - c : c); }
    int at(const T* row, int c) const { return loadSample(row + column(c, lastColumn)); }
};

// Raw samples of the frame read where they are (the interior, whose reads
// all lie inside the frame).
template <class T>
struct DirectSource {
    const T* origin;
    int step;  // bytes
    const T* row(int r) const { return rowAt(origin, r, step); }
    int at(const T* row, int c) const { return loadSample(row + c); }
};

// The scalar form of every stage on one row of a piece, for columns j0 to
// j1 - 1 of the rings.  Strip kernels run whole rows through it; the
// interior kernels run their row ends through it.
template <class T, class Source>
struct RowStages {
    static constexpr int kMax = sizeof(T) == 1 ? 255 : 65535;
    const Source& src;
    Scratch<T> s;
    int x, y, pattern;

    int ring(int r) const { return r - y + 3; }
    Colour colour(int r, int c) const { return kPattern[pattern][(r - y) & 1][(c - x) & 1]; }

    // Stage 1: G_H and G_V of row r.
    void green(int r, int j0, int j1) const {
        const T *p = src.row(r), *pu1 = src.row(r - 1), *pd1 = src.row(r + 1), *pu2 = src.row(r - 2),
                *pd2 = src.row(r + 2);
        T* gv = s.green(ring(r), 0);
        T* gh = s.green(ring(r), 1);
        for (int j = j0; j < j1; ++j) {
            const int c = x - 3 + j;
            const int v = src.at(p, c);
            if (colour(r, c) == kG) {
                gv[j] = gh[j] = static_cast<T>(v);
                continue;
            }
            gh[j] = static_cast<T>(greenPx(v, src.at(p, c - 2), src.at(p, c + 2), src.at(p, c - 1), src.at(p, c + 1)));
            gv[j] = static_cast<T>(greenPx(v, src.at(pu2, c), src.at(pd2, c), src.at(pu1, c), src.at(pd1, c)));
        }
    }

    // Stage 2: R and B of both candidates on row r, from green rows r-1..r+1.
    void colours(int r, int j0, int j1) const {
        const T *p = src.row(r), *pu = src.row(r - 1), *pd = src.row(r + 1);
        const int k = ring(r);
        for (int dir = 0; dir < 2; ++dir) {
            const T *g = s.green(k, dir), *gu = s.green(k - 1, dir), *gd = s.green(k + 1, dir);
            T *pr = s.plane(k, kR, dir), *pb = s.plane(k, kB, dir);
            for (int j = j0; j < j1; ++j) {
                const int c = x - 3 + j;
                const int v = src.at(p, c);
                const Colour site = colour(r, c);
                int rv, bv;
                if (site == kG) {
                    const int lr = colour2Px<kMax>(v, src.at(p, c - 1) - g[j - 1], src.at(p, c + 1) - g[j + 1]);
                    const int ud = colour2Px<kMax>(v, src.at(pu, c) - gu[j], src.at(pd, c) - gd[j]);
                    const bool redLeftRight = colour(r, c + 1) == kR;
                    rv = redLeftRight ? lr : ud;
                    bv = redLeftRight ? ud : lr;
                } else {
                    const int opp = colour4Px<kMax>(g[j], src.at(pu, c - 1) - gu[j - 1], src.at(pu, c + 1) - gu[j + 1],
                                                    src.at(pd, c - 1) - gd[j - 1], src.at(pd, c + 1) - gd[j + 1]);
                    rv = site == kR ? v : opp;
                    bv = site == kR ? opp : v;
                }
                pr[j] = static_cast<T>(rv);
                pb[j] = static_cast<T>(bv);
            }
        }
    }

    Ycc ycc(int k, int dir, int j) const {
        return yccPx(s.plane(k, kR, dir)[j], s.green(k, dir)[j], s.plane(k, kB, dir)[j]);
    }

    // Stages 3 and 4: D of row r from colour rows r-1..r+1.  The pixels of
    // row r move along, each made once.
    void homogeneity(int r, int j0, int j1) const {
        const int k = ring(r);
        Diff<T>* d = s.diff(k);
        Ycc left[2] = {ycc(k, 0, j0 - 1), ycc(k, 1, j0 - 1)}, mid[2] = {ycc(k, 0, j0), ycc(k, 1, j0)};
        for (int j = j0; j < j1; ++j) {
            const Ycc right[2] = {ycc(k, 0, j + 1), ycc(k, 1, j + 1)};
            const Ycc nV[4] = {left[0], right[0], ycc(k - 1, 0, j), ycc(k + 1, 0, j)};
            const Ycc nH[4] = {left[1], right[1], ycc(k - 1, 1, j), ycc(k + 1, 1, j)};
            d[j] = static_cast<Diff<T>>(homogeneityPx(mid[1], nH, mid[0], nV));
            for (int dir = 0; dir < 2; ++dir) {
                left[dir] = mid[dir];
                mid[dir] = right[dir];
            }
        }
    }

    // Stage 5: the decisions of row r over ring columns j0..j1-1, starting
    // from `carry`; the pixels of columns jw0..jw1-1 are written from `out`
    // on (the pixel of column jw0).  Returns the running decision.
    bool select(int r, int j0, int j1, bool carry, T* out, int jw0, int jw1) const {
        const int k = ring(r);
        const Diff<T> *du = s.diff(k - 1), *d = s.diff(k), *dd = s.diff(k + 1);
        const T* cand[2][3] = {{s.plane(k, kR, 0), s.green(k, 0), s.plane(k, kB, 0)},
                               {s.plane(k, kR, 1), s.green(k, 1), s.plane(k, kB, 1)}};
        // the 3x3 sum as three column sums moving along
        int left = du[j0 - 1] + d[j0 - 1] + dd[j0 - 1], mid = du[j0] + d[j0] + dd[j0];
        const auto next = [&](int j) {
            const int right = du[j + 1] + d[j + 1] + dd[j + 1];
            carry = selectPx(left + mid + right, carry);
            left = mid;
            mid = right;
        };
        int j = j0;
        for (; j < jw0; ++j) next(j);  // columns before the written ones
        for (T* o = out; j < jw1; ++j, o += 3) {
            next(j);
            const T* const* c = cand[carry ? 1 : 0];
            o[0] = c[0][j];
            o[1] = c[1][j];
            o[2] = c[2][j];
        }
        for (; j < j1; ++j) next(j);
        return carry;
    }
};

}  // namespace cel::ahd

// The interior kernels (RGGB at the piece's origin, even width and height,
// every read inside the frame).  The source step in bytes, the destination
// and scratch steps in samples.
__attribute__((visibility("hidden"))) void y8_localIntAHD_8u(const uint8_t* src, int srcStep, int x, int y, int width,
                                                             int height, uint8_t* dst, int dstStep, uint8_t* buffer,
                                                             int bufferStep);
__attribute__((visibility("hidden"))) void y8_localIntAHD_16u(const uint16_t* src, int srcStep, int x, int y,
                                                              int width, int height, uint16_t* dst, int dstStep,
                                                              uint16_t* buffer, int bufferStep);
