// What the demosaicing tests share: the colours of each Bayer grid, raw
// frames of several kinds of content in memory with margins (stored
// top-down, or bottom-up for negative steps), and a destination canvas of
// random pixels around the region, on which the library's call and a
// model's expected writes are compared sample for sample.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "celcc.h"

namespace bayertest {

// Colours of the top-left 2x2 block per CelBayerGrid: 0 R, 1 G, 2 B.
inline const int kGrid[4][2][2] = {{{2, 1}, {1, 0}}, {{0, 1}, {1, 2}}, {{1, 2}, {0, 1}}, {{1, 0}, {2, 1}}};
inline int colourAt(int grid, int r, int c) { return kGrid[grid][r & 1][c & 1]; }

template <class T>
constexpr int maxOf() {
    return sizeof(T) == 1 ? 255 : 65535;
}
using SampleTypes = ::testing::Types<uint8_t, uint16_t>;
// The 8-bit or the 16-bit form of an export, by sample type.
template <class T, class F8, class F16>
constexpr auto byDepth(F8 f8, F16 f16) {
    if constexpr (sizeof(T) == 1) return f8;
    else return f16;
}
// 16-bit forms drop the low bit of an odd byte step: runs that are not
// flipped add one to each step that does (`odd`, 0 or 1).
template <class T>
int oddStep(bool flip, int seed) {
    return sizeof(T) == 2 && !flip && seed % 2 ? 1 : 0;
}

// Tiny: values 0..2 (ties everywhere); Edges, Checker: sharp blocks, many
// ties; Smooth: gradients with a vertical and a diagonal edge, a colour
// cast by site and a little noise; Diagonal: stripes alike along rows and
// columns; Tile: one random 4x4 tile repeated (the same sums on every row).
enum class Content { Random, Tiny, Flat, Edges, Checker, HotPixel, Smooth, Diagonal, Tile };

// A W x H frame with margins on every side holding random samples (a 5-wide
// or 5-high frame is read one sample into them).  `flip` stores the rows
// bottom-up: origin() is then frame row 0 and step() negative.
template <class T>
struct Frame {
    static constexpr int kMarginRows = 2, kMarginCols = 8;
    int W, H, stepElems;
    bool flip;
    std::vector<T> mem;
    Frame(int w, int h, Content content, uint32_t seed, bool flipped = false)
        : W(w), H(h), stepElems(w + 2 * kMarginCols + 1), flip(flipped),
          mem(static_cast<size_t>(stepElems) * (h + 2 * kMarginRows)) {
        std::mt19937 rng(seed);
        const int M = maxOf<T>();
        for (auto& v : mem) v = static_cast<T>(rng() % (M + 1));
        if (content == Content::Random) return;
        int tile[4][4];
        for (auto& row : tile)
            for (int& v : row) v = static_cast<int>(rng() % 4) * (M / 3);
        for (int r = 0; r < H; ++r)
            for (int c = 0; c < W; ++c) {
                int v = 0;
                switch (content) {
                    case Content::Tiny: v = int(rng() % 3); break;
                    case Content::Flat: v = M / 3; break;
                    case Content::Edges: v = ((r / 3 + c / 4) & 1) ? M : 0; break;
                    case Content::Checker: v = ((r + c) & 1) ? M : 0; break;
                    case Content::HotPixel: v = (r == H / 2 && c == W / 2) ? M : M / 5; break;
                    case Content::Tile: v = tile[r & 3][c & 3]; break;
                    case Content::Diagonal: v = ((r + c) % 6 < 3 ? M / 5 : M - M / 4) + int(rng() % 3); break;
                    default: {
                        const double base = 0.3 * M * (1.0 + 0.5 * std::sin(0.21 * c + 0.13 * r));
                        const double edge = (c > W / 3 ? 0.35 * M : 0.0) + (r + c > W / 2 + H / 2 ? 0.2 * M : 0.0);
                        const double cast = (r & 1) ? 0.8 : ((c & 1) ? 1.0 : 0.6);
                        v = std::min(M, int((base + edge) * cast) + int(rng() % (M / 64 + 1)));
                    }
                }
                set(r, c, v);
            }
    }
    T* origin() { return mem.data() + (kMarginRows + (flip ? H - 1 : 0)) * stepElems + kMarginCols; }
    const T* origin() const { return const_cast<Frame*>(this)->origin(); }
    int step() const { return (flip ? -stepElems : stepElems) * int(sizeof(T)); }
    // any position within the margins
    int at(int r, int c) const { return origin()[ptrdiff_t(r) * (flip ? -stepElems : stepElems) + c]; }
    void set(int r, int c, int v) { origin()[ptrdiff_t(r) * (flip ? -stepElems : stepElems) + c] = static_cast<T>(v); }
};

// A destination canvas: w x h pixels of n samples with `margin` pixels all
// round, random before the call.  `flip` hands the region to the library
// bottom-up: base() is its first row and step() negative.
template <class T>
struct Canvas {
    int n;
    int64_t width, height, margin;
    bool flip;
    std::vector<T> mem;
    Canvas(int n_, int64_t w, int64_t h, int64_t m, uint32_t seed, bool flipped = false)
        : n(n_), width(w), height(h), margin(m), flip(flipped), mem(size_t(n_ * (w + 2 * m) * (h + 2 * m))) {
        std::mt19937 rng(seed);
        for (auto& v : mem) v = static_cast<T>(rng());
    }
    int64_t stepElems() const { return n * (width + 2 * margin); }
    // Pixel (row, col) of the region as the library sees it.
    T* at(int64_t row, int64_t col) {
        return mem.data() + ((flip ? height - 1 - row : row) + margin) * stepElems() + n * (col + margin);
    }
    T* base() { return at(0, 0); }
    int64_t step() const { return (flip ? -stepElems() : stepElems()) * int64_t(sizeof(T)); }
};

// Runs call(got) (the library on the canvas) and model(want) (its expected
// writes on a copy of the canvas as it was), then compares every sample of
// the region and its margin.
template <class T, class Call, class Model>
void checkCanvas(Canvas<T>& got, Call call, Model model, const std::string& what) {
    Canvas<T> want = got;
    ASSERT_EQ(call(got), celStatusOk) << what;
    model(want);
    for (int64_t row = -got.margin; row < got.height + got.margin; ++row)
        for (int64_t col = -got.margin; col < got.width + got.margin; ++col)
            for (int k = 0; k < got.n; ++k)
                if (got.at(row, col)[k] != want.at(row, col)[k])
                    FAIL() << what << (got.flip ? " (negative steps)" : "") << ": dst (" << row << "," << col
                           << ") sample " << k << ": got " << int(got.at(row, col)[k]) << ", want "
                           << int(want.at(row, col)[k]) << (row < 0 || col < 0 || row >= got.height || col >= got.width
                                                                ? " (outside the region)"
                                                                : "");
}

inline std::string describe(int W, int H, int grid, int64_t x, int64_t y, int64_t w, int64_t h) {
    return "frame " + std::to_string(W) + "x" + std::to_string(H) + " grid " + std::to_string(grid) + " roi (" +
           std::to_string(x) + "," + std::to_string(y) + "," + std::to_string(w) + "," + std::to_string(h) + ")";
}

}  // namespace bayertest
