// Bayer demosaicing (bilinear, VNG, AHD): one independent model per
// algorithm from its formulas, compared sample for sample with the library
// on raw frames of several kinds of content, every grid, regions inside the
// frame and on its rim, both step signs, a canvas of random pixels around
// each destination region; worked values; what the guard-page sweep of
// tests/robust cannot draw (sizes and steps beyond 32 bits, a null scratch).
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "celcc.h"
#include "common/model_canvas.h"

namespace {

using celtest::Canvas;
using celtest::checkCanvas;

// ==== Shared: grids and raw frames (destination canvases: common/model_canvas.h)

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

inline std::string describe(int W, int H, int grid, int64_t x, int64_t y, int64_t w, int64_t h) {
    return "frame " + std::to_string(W) + "x" + std::to_string(H) + " grid " + std::to_string(grid) + " roi (" +
           std::to_string(x) + "," + std::to_string(y) + "," + std::to_string(w) + "," + std::to_string(h) + ")";
}

// ==== Bilinear ==============================================================
// The interior and rim rules; frequent ties, smallest frames, odd 16-bit steps.
namespace bilinear {
template <class T>
struct Model {
    const Frame<T>& f;
    int grid;
    int P(int r, int c) const {  // mirrored about the edge sample
        r = r < 0 ? -r : (r >= f.H ? 2 * (f.H - 1) - r : r);
        c = c < 0 ? -c : (c >= f.W ? 2 * (f.W - 1) - c : c);
        return f.at(r, c);
    }
    int colour(int r, int c) const { return colourAt(grid, r, c); }
    static int A(int a, int b) { return (a + b + 1) >> 1; }
    static int Q(int a, int b, int c, int d) { return (a + b + c + d + 2) >> 2; }

    void pixel(int r, int c, T* out) const {
        const bool interior = r >= 2 && r <= f.H - 3 && c >= 2 && c <= f.W - 3;
        const int site = colour(r, c);
        if (site == 1) {
            out[1] = T(P(r, c));
            out[colour(r, c + 1)] = T(A(P(r, c - 1), P(r, c + 1)));
            out[colour(r + 1, c)] = T(A(P(r - 1, c), P(r + 1, c)));
            return;
        }
        out[site] = T(P(r, c));
        out[2 - site] = T(Q(P(r - 1, c - 1), P(r - 1, c + 1), P(r + 1, c - 1), P(r + 1, c + 1)));
        // the direction test only reads inside the frame, so only the interior has it
        const int dV = interior ? std::abs(P(r - 2, c) - P(r + 2, c)) : 0;
        const int dH = interior ? std::abs(P(r, c - 2) - P(r, c + 2)) : 0;
        if (interior && dV != dH)
            out[1] = T(dV < dH ? A(P(r - 1, c), P(r + 1, c)) : A(P(r, c - 1), P(r, c + 1)));
        else
            out[1] = T(Q(P(r - 1, c), P(r, c - 1), P(r, c + 1), P(r + 1, c)));
    }
};

// The library on a region of a frame: the clamped region's pixels are the
// model's, everything else on the canvas keeps its value; odd 16-bit steps
// act as the even ones below them.
template <class T>
void checkRegion(int W, int H, int grid, CelRect roi, Content content, uint32_t seed, bool flip = false) {
    const Frame<T> f(W, H, content, seed, flip);
    const Model<T> m{f, grid};
    Canvas<T> cv(3, roi.width, roi.height, 2, seed, flip);
    const int odd = oddStep<T>(flip, seed);
    checkCanvas(
        cv,
        [&](Canvas<T>& d) {
            return byDepth<T>(celiCFAToRGB_8u_C1C3R, celiCFAToRGB_16u_C1C3R)(
                f.origin(), roi, {W, H}, f.step() + odd, d.base(), int(d.step()) + odd, CelBayerGrid(grid));
        },
        [&](Canvas<T>& e) {
            for (int y = 0; y < std::min(roi.height, H - roi.y); ++y)
                for (int x = 0; x < std::min(roi.width, W - roi.x); ++x) m.pixel(roi.y + y, roi.x + x, e.at(y, x));
        },
        describe(W, H, grid, roi.x, roi.y, roi.width, roi.height));
}

template <class T>
class CfaBilinear : public ::testing::Test {};
TYPED_TEST_SUITE(CfaBilinear, SampleTypes);

// Full frames from the smallest, every grid, both step signs; values 0..2
// make ties (dV == dH) frequent, so the tie repair of the vector pass runs
// everywhere.  Regions inside, on the rim, reaching beyond the frame
// (clamped), of every origin parity.
TYPED_TEST(CfaBilinear, FramesAndRegionsOfEveryGridMatchTheModel) {
    const CelRect rois[] = {
        {0, 0, 45, 14}, {3, 3, 20, 5}, {2, 2, 41, 10}, {1, 1, 43, 12}, {5, 4, 17, 3}, {0, 0, 45, 2},
        {0, 12, 45, 2}, {0, 0, 2, 14}, {43, 0, 2, 14}, {7, 1, 30, 1},  {30, 9, 40, 20}, {44, 13, 1, 1},
        {2, 2, 1, 1},   {1, 2, 36, 9}, {6, 0, 33, 14},
    };
    uint32_t seed = 1;
    for (int grid = 0; grid < 4; ++grid) {
        for (auto [W, H] : {std::pair{2, 2}, {3, 3}, {2, 5}, {5, 2}, {4, 4}, {5, 5}, {6, 7}, {21, 9}, {37, 6},
                            {40, 11}, {100, 5}})
            checkRegion<TypeParam>(W, H, grid, {0, 0, W, H}, Content::Random, seed++, (W + grid) % 3 == 0);
        checkRegion<TypeParam>(53, 12, grid, {0, 0, 53, 12}, Content::Tiny, 77 + grid, grid & 1);
        for (const CelRect& roi : rois)
            checkRegion<TypeParam>(45, 14, grid, roi, Content::Random, 100 + seed++, (roi.x + grid) % 4 == 1);
    }
}

// Worked values.  A vertical edge through red sites: inside the frame green
// comes from above and below; on the rim there is no direction test.  On a
// 5x5 frame only (2, 2) takes the directional rule.
TEST(CfaBilinearWorked, DirectionalGreenInsideOnly) {
    const int W = 9, H = 9;
    std::vector<uint8_t> src(W * H), dst(3 * W * H);
    for (int r = 0; r < H; ++r)
        for (int c = 0; c < W; ++c) src[r * W + c] = c < 4 ? 10 : 200;
    ASSERT_EQ(celiCFAToRGB_8u_C1C3R(src.data(), {0, 0, W, H}, {W, H}, W, dst.data(), 3 * W, celBayerRGGB), celStatusOk);
    // (4, 4) is a red site on RGGB; dV = 0, dH = |10 - 200|: green from above and below = 200.
    EXPECT_EQ(dst[(4 * W + 4) * 3 + 1], 200);
    // (0, 4) is a red site on the rim: Q of left 10, right 200, and the mirrored below twice (200): (10+200+400+2)>>2.
    EXPECT_EQ(dst[(0 * W + 4) * 3 + 1], (10 + 200 + 2 * 200 + 2) >> 2);
    std::vector<uint8_t> five(25, 50);
    five[2 * 5 + 0] = 0, five[2 * 5 + 4] = 250;  // left and right, two away
    five[1 * 5 + 2] = 90, five[3 * 5 + 2] = 100;  // above and below
    ASSERT_EQ(celiCFAToRGB_8u_C1C3R(five.data(), {0, 0, 5, 5}, {5, 5}, 5, dst.data(), 15, celBayerBGGR), celStatusOk);
    // (2, 2) on BGGR is a blue site; dV 0 < dH 250: G = A(90, 100) = 95.
    EXPECT_EQ(dst[(2 * 5 + 2) * 3 + 1], 95);
}

// Statuses, check order and errors that write nothing: the robustness
// table's rows (tests/robust).  The grid crosses the interface as a 32-bit
// integer: in C++ that is the enumeration's fixed underlying type, so an
// out-of-range grid is a value of the type.
static_assert(std::is_same_v<std::underlying_type_t<CelBayerGrid>, int32_t>, "CelBayerGrid is a 32-bit integer");

}  // namespace bilinear

// ==== VNG ===================================================================
// To BGRA: gradients from direction vectors, entries as data, the rim as its
// copies; every content and gain; 64-bit sizes and steps beyond 32 bits.
namespace vng {

enum { kR = 0, kG = 1, kB = 2 };

struct Step {
    int r, c;
};
Step operator+(Step a, Step b) { return {a.r + b.r, a.c + b.c}; }
Step operator-(Step a, Step b) { return {a.r - b.r, a.c - b.c}; }
Step operator-(Step a) { return {-a.r, -a.c}; }
Step operator*(int k, Step a) { return {k * a.r, k * a.c}; }

// N, E, S, W, NE, SE, NW, SW
const Step kDirs[8] = {{-1, 0}, {0, 1}, {1, 0}, {0, -1}, {-1, 1}, {1, 1}, {-1, -1}, {1, -1}};

// One table entry: the sum of coef * P(a, b) over its terms, halved (floor)
// if `half`.
struct Term {
    int coef, a, b;
};
struct Entry {
    std::vector<Term> terms;
    bool half;
};

// Entries at a red or blue site: own colour, green, other colour.
const Entry kRedBlue[8][3] = {
    {{{{1, -2, 0}, {1, 0, 0}}, false}, {{{2, -1, 0}}, false}, {{{1, -1, -1}, {1, -1, 1}}, false}},
    {{{{1, 0, 2}, {1, 0, 0}}, false}, {{{2, 0, 1}}, false}, {{{1, -1, 1}, {1, 1, 1}}, false}},
    {{{{1, 2, 0}, {1, 0, 0}}, false}, {{{2, 1, 0}}, false}, {{{1, 1, -1}, {1, 1, 1}}, false}},
    {{{{1, 0, -2}, {1, 0, 0}}, false}, {{{2, 0, -1}}, false}, {{{1, -1, -1}, {1, 1, -1}}, false}},
    {{{{1, -2, 2}, {1, 0, 0}}, false}, {{{1, -2, 1}, {1, -1, 0}, {1, -1, 2}, {1, 0, 1}}, true}, {{{2, -1, 1}}, false}},
    {{{{1, 2, 2}, {1, 0, 0}}, false}, {{{1, 0, 1}, {1, 1, 0}, {1, 2, 1}, {1, 1, 2}}, true}, {{{2, 1, 1}}, false}},
    {{{{1, -2, -2}, {1, 0, 0}}, false}, {{{1, -2, -1}, {1, -1, -2}, {1, -1, 0}, {1, 0, -1}}, true}, {{{2, -1, -1}}, false}},
    {{{{1, 2, -2}, {1, 0, 0}}, false}, {{{1, 0, -1}, {1, 1, -2}, {1, 2, -1}, {1, 1, 0}}, true}, {{{2, 1, -1}}, false}},
};
// Entries at a green site: green, row colour, column colour.
const Entry kGreen[8][3] = {
    {{{{1, -2, 0}, {1, 0, 0}}, false}, {{{1, -2, -1}, {1, -2, 1}}, false}, {{{2, -1, 0}}, false}},
    {{{{1, 0, 2}, {1, 0, 0}}, false}, {{{2, 0, 1}}, false}, {{{1, -1, 2}, {1, 1, 2}}, false}},
    {{{{1, 2, 0}, {1, 0, 0}}, false}, {{{1, 2, -1}, {1, 2, 1}}, false}, {{{2, 1, 0}}, false}},
    {{{{1, 0, -2}, {1, 0, 0}}, false}, {{{2, 0, -1}}, false}, {{{1, -1, -2}, {1, 1, -2}}, false}},
    {{{{2, -1, 1}}, false}, {{{1, -2, 1}, {1, 0, 1}}, false}, {{{1, -1, 0}, {1, -1, 2}}, false}},
    {{{{2, 1, 1}}, false}, {{{1, 0, 1}, {1, 2, 1}}, false}, {{{1, 1, 0}, {1, 1, 2}}, false}},
    {{{{2, -1, -1}}, false}, {{{1, -2, -1}, {1, 0, -1}}, false}, {{{1, -1, -2}, {1, -1, 0}}, false}},
    {{{{2, 1, -1}}, false}, {{{1, 0, -1}, {1, 2, -1}}, false}, {{{1, 1, -2}, {1, 1, 0}}, false}},
};

// What the processor's float-to-integer conversion gives: nearest, ties to
// even, and the integer indefinite for NaN and out-of-range values.
int convert(float v) {
    if (!(v >= -2147483648.0f && v < 2147483648.0f)) return INT_MIN;
    return static_cast<int>(std::nearbyint(v));
}

template <class T>
struct Model {
    const Frame<T>& f;
    int grid;
    static constexpr int M = maxOf<T>();
    static int sat(int v) { return v < 0 ? 0 : (v > M ? M : v); }

    int colour(int r, int c) const { return colourAt(grid, r, c); }

    // B, G, R of the interior pixel (r, c) before the gains.
    void pixel(int r, int c, int bgr[3]) const {
        const auto P = [&](Step s) { return f.at(r + s.r, c + s.c); };
        const auto D = [&](Step a, Step b) { return std::abs(P(a) - P(b)); };
        const Step z{0, 0};
        const int site = colour(r, c);
        const bool green = site == kG;
        int g[8];
        for (int k = 0; k < 4; ++k) {
            const Step d = kDirs[k], e{d.c, d.r};  // e at right angles to d
            g[k] = 2 * (D(d, -d) + D(2 * d, z)) + D(d + e, -d + e) + D(d - e, -d - e) + D(2 * d + e, e) +
                   D(2 * d - e, -e);
        }
        for (int k = 4; k < 8; ++k) {
            const Step d = kDirs[k], u{d.r, 0}, v{0, d.c};
            if (green)
                g[k] = 2 * (D(-d, d) + D(z, 2 * d) + D(-u, 2 * d - u) + D(-v, 2 * d - v));
            else
                g[k] = 2 * (D(2 * d, z) + D(d, -d)) + D(u, -v) + D(v, -u) + D(u + d, u) + D(v + d, v);
        }
        int gmin = g[0], gmax = g[0];
        for (int k = 1; k < 8; ++k) gmin = std::min(gmin, g[k]), gmax = std::max(gmax, g[k]);
        const int thr = gmin + std::max(gmax >> 1, 1);

        // The three sums by colour.
        int colours[3];
        if (green) {
            colours[0] = kG, colours[1] = colour(r, c + 1), colours[2] = colour(r + 1, c);
        } else {
            colours[0] = site, colours[1] = kG, colours[2] = site == kR ? kB : kR;
        }
        int sum[3] = {0, 0, 0}, n = 0;
        for (int k = 0; k < 8; ++k) {
            if (!(g[k] < thr)) continue;
            ++n;
            for (int j = 0; j < 3; ++j) {
                const Entry& en = green ? kGreen[k][j] : kRedBlue[k][j];
                int s = 0;
                for (const Term& t : en.terms) s += t.coef * P({t.a, t.b});
                sum[colours[j]] += en.half ? s >> 1 : s;
            }
        }
        const int own = sum[colours[0]], p0 = P(z);
        int rgb[3];
        for (int col = 0; col < 3; ++col) {
            if (col == colours[0]) {
                rgb[col] = p0;
                continue;
            }
            const float q = static_cast<float>(sum[col] - own) / static_cast<float>(2 * n);
            rgb[col] = sat(convert(q) + p0);
        }
        bgr[0] = rgb[kB], bgr[1] = rgb[kG], bgr[2] = rgb[kR];
    }
};

// The whole function on a canvas: the rectangle, then the rim copies.
template <class T>
void modelCall(const Model<T>& m, const float* scale, CelRectL roi, Canvas<T>& cv) {
    const int64_t W = m.f.W, H = m.f.H, x = roi.x, y = roi.y;
    const int64_t c0 = std::max<int64_t>(x, 2), r0 = std::max<int64_t>(y, 2);
    const int64_t c1 = x + roi.width < W - 2 ? x + roi.width - 1 : W - 3;
    const int64_t r1 = y + roi.height < H - 2 ? y + roi.height - 1 : H - 3;
    const bool gains = scale && !(scale[0] == 1.0f && scale[1] == 1.0f && scale[2] == 1.0f);
    for (int64_t r = r0; r <= r1; ++r)
        for (int64_t c = c0; c <= c1; ++c) {
            int v[3];
            m.pixel(int(r), int(c), v);
            T* d = cv.at(r - y, c - x);
            for (int k = 0; k < 3; ++k) d[k] = static_cast<T>(gains ? Model<T>::sat(convert(float(v[k]) * scale[k])) : v[k]);
        }
    const int64_t rh = r1 - r0 + 1;
    const auto copyColumn = [&](int64_t from, int64_t to) {
        for (int64_t i = 0; i < rh; ++i) std::copy_n(cv.at(r0 - y + i, from - x), 4, cv.at(r0 - y + i, to - x));
    };
    const auto copyRow = [&](int64_t from, int64_t to) {
        for (int64_t i = 0; i < roi.width; ++i) std::copy_n(cv.at(from - y, i), 4, cv.at(to - y, i));
    };
    if (x == 0) copyColumn(c0, c0 - 2);
    if (x < 2) copyColumn(c0, c0 - 1);
    if (W - 2 <= x + roi.width) copyColumn(c1, c1 + 1);
    if (W - 1 <= x + roi.width) copyColumn(c1, c1 + 2);
    if (y == 0) copyRow(r0, r0 - 2);
    if (y < 2) copyRow(r0, r0 - 1);
    if (H - 2 <= y + roi.height) copyRow(r1, r1 + 1);
    if (H - 1 <= y + roi.height) copyRow(r1, r1 + 2);
}

template <class T>
CelStatus call(const T* src, CelSizeL size, int64_t srcStep, const float* scale, T* dst, CelRectL roi,
               int64_t dstStep, int grid) {
    return byDepth<T>(celiCFAToBGRA_VNG_8u_C1C4R_L, celiCFAToBGRA_VNG_16u_C1C4R_L)(src, size, srcStep, scale, dst, roi,
                                                                                 dstStep, CelBayerGrid(grid));
}

// Runs the library and the model on the same canvas (random pixels, alpha
// included, `margin` of them around the region) and compares every sample.
template <class T>
void check(int W, int H, Content content, int grid, CelRectL roi, const float* scale, uint32_t seed, int64_t margin = 4,
           bool flip = false) {
    const Frame<T> f(W, H, content, seed, flip);
    Canvas<T> cv(4, roi.width, roi.height, margin, seed, flip);
    checkCanvas(
        cv,
        [&](Canvas<T>& d) { return call<T>(f.origin(), {W, H}, f.step(), scale, d.base(), roi, d.step(), grid); },
        [&](Canvas<T>& e) { modelCall(Model<T>{f, grid}, scale, roi, e); },
        describe(W, H, grid, roi.x, roi.y, roi.width, roi.height));
}

template <class T>
class CfaVng : public ::testing::Test {};
TYPED_TEST_SUITE(CfaVng, SampleTypes);

// Rectangle widths W - 4 from 1 to 26 hit every residue of the 8- and
// 4-pixel steps; odd and even heights take the single last row or not;
// every other one walked with negative steps.  Few distinct values make
// gradients tie with each other and with the threshold (the selection at
// its boundary); gains, NaN, negative, zero and huge ones included; larger frames.
TYPED_TEST(CfaVng, FramesTiesAndGainsMatchTheModel) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float gainSets[][3] = {
        {1.0f, 1.0f, 1.0f}, {2.0f, 0.5f, 1.3f},  {1.0f, 1.0f, 2.0f},  {0.7f, 1.0f, 1.0f},
        {1.0f, nan, 1.0f},  {-1.0f, 1.5f, 0.0f}, {1e10f, 1.0f, 3.3f}, {1.0000001f, 0.25f, 1.75f},
    };
    uint32_t seed = 1;
    for (int grid = 0; grid < 4; ++grid) {
        for (int W = 5; W <= 30; ++W, ++seed)
            check<TypeParam>(W, 5 + (W % 4), Content::Random, grid, {0, 0, W, 5 + (W % 4)}, nullptr, seed, 4, W % 2);
        check<TypeParam>(77 + grid, 22 + grid, Content::Random, grid, {0, 0, 77 + grid, 22 + grid}, nullptr, 40 + grid);
        for (Content kind : {Content::Tiny, Content::Flat, Content::Edges, Content::Checker, Content::HotPixel})
            for (auto [W, H] : {std::pair{5, 5}, {14, 9}, {31, 12}})
                check<TypeParam>(W, H, kind, grid, {0, 0, W, H}, nullptr, 500 + seed++);
        for (const auto& g : gainSets)
            check<TypeParam>(23 + grid, 8 + grid, Content::Random, grid, {0, 0, 23 + grid, 8 + grid}, g, 900 + seed++);
    }
}

// Regions inside the frame, on its rim, past its end and degenerate ones
// (a region inside the rim moves what the destination holds there), of
// every origin parity.
TYPED_TEST(CfaVng, RegionsMatchTheModel) {
    const CelRectL rois[] = {
        {0, 0, 29, 16}, {3, 3, 20, 7},  {2, 2, 25, 12}, {1, 1, 27, 14}, {5, 4, 17, 3},  {0, 0, 29, 3},
        {0, 12, 29, 4}, {0, 0, 3, 16},  {26, 0, 3, 16}, {7, 1, 13, 1},  {20, 9, 15, 12}, {4, 5, 22, 8},
        {4, 5, 23, 9},  {4, 5, 24, 10}, {3, 2, 26, 14}, {1, 0, 9, 2},   {0, 0, 1, 1},    {27, 14, 2, 2},
        {2, 2, 1, 1},   {6, 3, 1, 9},   {5, 7, 9, 1},
    };
    const float gains[3] = {1.5f, 0.9f, 1.1f};
    uint32_t seed = 1300;
    for (int grid = 0; grid < 4; ++grid)
        for (const CelRectL& roi : rois) {
            check<TypeParam>(29, 16, Content::Random, grid, roi, (seed & 1) ? gains : nullptr, seed, 6, seed % 3 == 0);
            ++seed;
        }
}

// A hot red sample at (4, 4) of a flat RGGB frame of 10s, seen from the
// blue site (5, 5): N, E, S and W each have one term through it (190), SE
// and NW have it doubled (380), NE and SW none (0).  T = 0 + (380 >> 1) =
// 190, so only NE and SW (strictly below) take part; their entries are all
// 2 * 10 and B, G, R come out 10.  With all eight directions R would be
// 10 + rint((920 - 160) / 16.0f) = 58.
TEST(CfaVngWorked, HotSampleFallsOut) {
    const int W = 10, H = 10;
    std::vector<uint8_t> src(W * H, 10), dst(4 * W * H, 0);
    src[4 * W + 4] = 200;
    ASSERT_EQ(celiCFAToBGRA_VNG_8u_C1C4R_L(src.data(), {W, H}, W, nullptr, dst.data(), {0, 0, W, H}, 4 * W, celBayerRGGB),
              celStatusOk);
    const uint8_t* p = &dst[4 * (5 * W + 5)];
    EXPECT_EQ(std::vector<int>(p, p + 3), (std::vector<int>{10, 10, 10}));  // B is the raw sample
    EXPECT_EQ(dst[4 * (4 * W + 4) + 2], 200);  // the hot site keeps its raw red
}

// A gain of two on red saturates; alpha as it was.
TEST(CfaVngWorked, GainOfTwoOnRedSaturates) {
    std::vector<uint8_t> src(8 * 8, 200), dst(4 * 64, 0);
    const float gains[3] = {1.0f, 1.0f, 2.0f};
    ASSERT_EQ(celiCFAToBGRA_VNG_8u_C1C4R_L(src.data(), {8, 8}, 8, gains, dst.data(), {0, 0, 8, 8}, 32, celBayerBGGR),
              celStatusOk);
    for (int i = 0; i < 64; ++i) EXPECT_EQ(std::vector<int>(&dst[4 * i], &dst[4 * i + 4]), (std::vector<int>{200, 200, 255, 0}));
}

// Steps beyond 2^32 bytes: each row sits in its own page of a large
// reserved range, so a step cut to 32 bits would read and write elsewhere.
TEST(CfaVngSteps, StepsBeyondFourGigabytes) {
    const int W = 12, H = 7;
    const int64_t step = (int64_t(1) << 32) + 4096;
    const size_t span = size_t(step) * (H - 1) + 4096;
    const int flags = MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE;
    void* srcMem = mmap(nullptr, span, PROT_READ | PROT_WRITE, flags, -1, 0);
    void* dstMem = srcMem == MAP_FAILED ? MAP_FAILED : mmap(nullptr, span, PROT_READ | PROT_WRITE, flags, -1, 0);
    if (dstMem == MAP_FAILED) {
        if (srcMem != MAP_FAILED) munmap(srcMem, span);
        GTEST_SKIP() << "no address space for a 24 GiB reservation";
    }
    const Frame<uint8_t> f(W, H, Content::Random, 21);
    auto* s = static_cast<uint8_t*>(srcMem);
    auto* d = static_cast<uint8_t*>(dstMem);
    for (int r = 0; r < H; ++r) std::memcpy(s + r * step, f.origin() + r * f.stepElems, W);
    std::vector<uint8_t> want(4 * W * H, 0);
    ASSERT_EQ(celiCFAToBGRA_VNG_8u_C1C4R_L(f.origin(), {W, H}, f.step(), nullptr, want.data(), {0, 0, W, H}, 4 * W,
                                           celBayerBGGR),
              celStatusOk);
    ASSERT_EQ(celiCFAToBGRA_VNG_8u_C1C4R_L(s, {W, H}, step, nullptr, d, {0, 0, W, H}, step, celBayerBGGR), celStatusOk);
    for (int r = 0; r < H; ++r) {
        ASSERT_EQ(std::memcmp(d + r * step, &want[size_t(r) * 4 * W], 4 * W), 0) << "row " << r;
        for (int k = 4 * W; k < 4096; ++k) ASSERT_EQ(d[r * step + k], 0) << "row " << r;  // nothing beyond the row
    }
    munmap(srcMem, span);
    munmap(dstMem, span);
}

// The rest of the statuses and their order (the 5x5 minimum, the grid,
// empty regions, pointers with a size of 0): the robustness table's rows
// (tests/robust), which draw no size beyond the 32-bit range.
TYPED_TEST(CfaVng, SizesOf2To31AndBeyondInOrderAndNothingWritten) {
    using T = TypeParam;
    const int64_t big = int64_t(1) << 31;
    std::vector<T> src(64, T(3));
    Canvas<T> canvas(4, 8, 8, 2, 11);
    const auto before = canvas.mem;
    T* dst = canvas.base();
    const int64_t s = 8 * sizeof(T), d = canvas.step();
    const float gains[3] = {2, 2, 2};
    const auto run = [&](const T* sp, CelSizeL size, T* dp, CelRectL roi, int grid) {
        return call<T>(sp, size, s, gains, dp, roi, d, grid);
    };
    // pointers first, even with every other argument wrong
    EXPECT_EQ(run(nullptr, {big, 1}, dst, {0, 0, big, 0}, 9), celStatusNullPointer);
    EXPECT_EQ(run(src.data(), {big, 1}, nullptr, {0, 0, big, 0}, 9), celStatusNullPointer);
    // 2^31 in any of the four sizes, ahead of the 5x5 minimum and the grid
    EXPECT_EQ(run(src.data(), {1, 1}, dst, {0, 0, big, 8}, 9), celStatusSizeTooLarge);
    EXPECT_EQ(run(src.data(), {1, 1}, dst, {0, 0, 8, big}, 9), celStatusSizeTooLarge);
    EXPECT_EQ(run(src.data(), {big, 8}, dst, {0, 0, 8, 8}, 9), celStatusSizeTooLarge);
    EXPECT_EQ(run(src.data(), {8, big}, dst, {0, 0, 8, 8}, 9), celStatusSizeTooLarge);
    EXPECT_EQ(run(src.data(), {8, 8}, dst, {0, 0, int64_t(1) << 40, 8}, 0), celStatusSizeTooLarge);
    // x and y are not tested: huge or negative, the next check decides
    EXPECT_EQ(run(src.data(), {4, 8}, dst, {int64_t(1) << 40, -(int64_t(1) << 40), 8, 8}, 0), celStatusBadSize);
    // just below 2^31 passes the size test
    EXPECT_EQ(run(src.data(), {big - 1, 4}, dst, {0, 0, big - 1, 8}, 0), celStatusBadSize);
    // an empty region succeeds with nothing written, x and y unused
    EXPECT_EQ(run(src.data(), {8, 8}, dst, {int64_t(1) << 50, 3, -5, 8}, 1), celStatusOk);
    EXPECT_EQ(run(src.data(), {8, 8}, dst, {0, 0, 8, -(int64_t(1) << 40)}, 1), celStatusOk);
    EXPECT_EQ(canvas.mem, before);
}

}  // namespace vng

// ==== AHD ===================================================================
// Both candidates, homogeneity map, 3x3 sums, the tie rule along each
// piece's rows, the cut into interior and strips; scratch bounds, odd 16-bit
// steps.
namespace ahd {
// ---- The model, from the formulas
template <class T>
struct Model {
    const Frame<T>& f;
    int grid;
    static constexpr int M = maxOf<T>();
    // Planes over frame rows and columns -4 .. size + 4.
    static constexpr int kOff = 4;
    int PW, PH;
    std::vector<int> gH, gV, rH, rV, bH, bV, dMap;

    int idx(int r, int c) const { return (r + kOff) * PW + (c + kOff); }
    int P(int r, int c) const {  // mirrored once about the first and last samples
        const int W1 = f.W - 1, H1 = f.H - 1;
        r = r < 0 ? -r : (r > H1 ? 2 * H1 - r : r);
        c = c < 0 ? -c : (c > W1 ? 2 * W1 - c : c);
        return f.at(r, c);
    }
    int colour(int r, int c) const { return colourAt(grid, r, c); }
    static int clampS(int v) { return v < 0 ? 0 : (v > M ? M : v); }
    static int limit(int e, int l, int t) { return std::min(std::max(e, std::min(l, t)), std::max(l, t)); }

    Model(const Frame<T>& frame, int g) : f(frame), grid(g) {
        PW = f.W + 2 * kOff + 1;
        PH = f.H + 2 * kOff + 1;
        const size_t n = static_cast<size_t>(PW) * PH;
        gH.assign(n, 0), gV.assign(n, 0), rH.assign(n, 0), rV.assign(n, 0), bH.assign(n, 0), bV.assign(n, 0);
        dMap.assign(n, 0);
        // stage 1: green along rows and along columns
        for (int r = -3; r <= f.H + 3; ++r)
            for (int c = -3; c <= f.W + 3; ++c) {
                const int s = P(r, c);
                if (colour(r, c) == 1) {
                    gH[idx(r, c)] = gV[idx(r, c)] = s;
                    continue;
                }
                const int l = P(r, c - 1), t = P(r, c + 1), u = P(r - 1, c), d = P(r + 1, c);
                gH[idx(r, c)] = limit(((s - P(r, c - 2) + s - P(r, c + 2)) >> 2) + ((l + t) >> 1), l, t);
                gV[idx(r, c)] = limit(((s - P(r - 2, c) + s - P(r + 2, c)) >> 2) + ((u + d) >> 1), u, d);
            }
        // stage 2: colour planes of each candidate against its own green
        for (int dir = 0; dir < 2; ++dir) {
            const std::vector<int>& g = dir ? gH : gV;
            std::vector<int>& R = dir ? rH : rV;
            std::vector<int>& B = dir ? bH : bV;
            const auto diff = [&](int r, int c) { return P(r, c) - g[idx(r, c)]; };
            for (int r = -2; r <= f.H + 2; ++r)
                for (int c = -2; c <= f.W + 2; ++c) {
                    const int site = colour(r, c), i = idx(r, c);
                    if (site == 1) {
                        const int lr = clampS(P(r, c) + ((diff(r, c - 1) + diff(r, c + 1)) >> 1));
                        const int ud = clampS(P(r, c) + ((diff(r - 1, c) + diff(r + 1, c)) >> 1));
                        (colour(r, c + 1) == 0 ? R : B)[i] = lr;
                        (colour(r + 1, c) == 0 ? R : B)[i] = ud;
                    } else {
                        const int opp = clampS(g[i] + ((diff(r - 1, c - 1) + diff(r - 1, c + 1) + diff(r + 1, c - 1) +
                                                        diff(r + 1, c + 1)) >> 2));
                        (site == 0 ? R : B)[i] = P(r, c);
                        (site == 0 ? B : R)[i] = opp;
                    }
                }
        }
        // stages 3 and 4: homogeneity difference
        for (int r = -1; r <= f.H + 1; ++r)
            for (int c = -1; c <= f.W + 1; ++c) dMap[idx(r, c)] = homogeneity(r, c);
    }

    struct Ycc {
        int32_t y, cb, cr;
    };
    Ycc ycc(int dir, int r, int c) const {
        const int i = idx(r, c);
        const int R = dir ? rH[i] : rV[i], G = dir ? gH[i] : gV[i], B = dir ? bH[i] : bV[i];
        return {(66 * R + 129 * G + 25 * B + 128) >> 8, (-38 * R - 74 * G + 112 * B + 128) >> 8,
                (112 * R - 94 * G - 18 * B + 128) >> 8};
    }
    int homogeneity(int r, int c) const {
        const int dr[4] = {0, 0, -1, 1}, dc[4] = {-1, 1, 0, 0};  // left, right, up, down
        int64_t L[2][4], C[2][4];
        for (int dir = 0; dir < 2; ++dir) {
            const Ycc o = ycc(dir, r, c);
            for (int n = 0; n < 4; ++n) {
                const Ycc v = ycc(dir, r + dr[n], c + dc[n]);
                L[dir][n] = std::abs(v.y - o.y);
                const int64_t sq = int64_t(v.cb - o.cb) * (v.cb - o.cb) + int64_t(v.cr - o.cr) * (v.cr - o.cr);
                C[dir][n] = static_cast<int32_t>(static_cast<uint32_t>(sq));  // 32-bit signed: wraps past 2^31
            }
        }
        const int64_t eL = std::min(std::max(L[1][0], L[1][1]), std::max(L[0][2], L[0][3]));
        const int64_t eC = std::min(std::max(C[1][0], C[1][1]), std::max(C[0][2], C[0][3]));
        int cnt[2] = {0, 0};
        for (int dir = 0; dir < 2; ++dir)
            for (int n = 0; n < 4; ++n) cnt[dir] += (L[dir][n] <= eL && C[dir][n] <= eC) ? 1 : 0;
        return cnt[1] - cnt[0];
    }
    int S(int r, int c) const {
        int s = 0;
        for (int i = -1; i <= 1; ++i)
            for (int j = -1; j <= 1; ++j) s += dMap[idx(r + i, c + j)];
        return s;
    }
    // The pixel of the chosen candidate.
    void pixel(bool h, int r, int c, int out[3]) const {
        const int i = idx(r, c);
        out[0] = h ? rH[i] : rV[i];
        out[1] = h ? gH[i] : gV[i];
        out[2] = h ? bH[i] : bV[i];
    }
};

// ---- The cut, from the frame's rules
struct Piece {
    int x, y, w, h;
};
struct Cut {
    int x = 0, y = 0, w = 0, h = 0;  // clamped region
    bool empty = true;
    std::vector<Piece> pieces;  // in the order they run
};

// Pattern numbers 0 RGGB, 1 GBRG, 2 BGGR, 3 GRBG; from the grid.
int patternAt(int grid, int c, int r) {
    static const int fromGrid[4] = {2, 0, 1, 3};
    int p = fromGrid[grid];
    if (c & 1) p ^= 3;
    if (r & 1) p = p + 1 - 2 * (p & 1);
    return p;
}

Cut cutRegion(CelRect roi, int W, int H, int grid) {
    Cut k;
    k.x = std::max(roi.x, 0), k.y = std::max(roi.y, 0);
    k.w = std::min(roi.width, W - k.x), k.h = std::min(roi.height, H - k.y);
    if (k.w < 1 || k.h < 1) return k;
    k.empty = false;
    const int x = k.x, y = k.y, w = k.w, h = k.h;
    int xi = std::max(x, 5), yi = std::max(y, 5);
    int wi = std::max(0, std::min(W - 5, x + w) - xi), hi = std::max(0, std::min(H - 5, y + h) - yi);
    int q = patternAt(grid, xi, yi);
    if (q == 2 || q == 3) ++xi, --wi, q = (q ^ 3) & 3;
    wi &= ~1;
    if (q != 0) ++yi, --hi;
    hi &= ~1;
    if (wi >= 1 && hi >= 1) k.pieces.push_back({xi, yi, wi, hi});
    if (yi - y >= 1) k.pieces.push_back({x, y, w, yi - y});
    const int yb = yi + hi;
    if (y + h - yb >= 1) k.pieces.push_back({x, yb, w, y + h - yb});
    if (xi - x >= 1 && hi >= 1) k.pieces.push_back({x, yi, xi - x, hi});
    const int xr = xi + wi;
    if (x + w - xr >= 1 && hi >= 1) k.pieces.push_back({xr, yi, x + w - xr, hi});
    return k;
}

// Expected writes on a canvas whose pixel (0, 0) is the region's origin:
// the samples the pieces leave at every frame pixel at or after it.  The
// tie rule runs along each row of each piece from its left end.
template <class T>
void expected(const Model<T>& m, const Cut& k, Canvas<T>& e) {
    for (const Piece& p : k.pieces)
        for (int r = p.y; r < p.y + p.h; ++r) {
            bool h = true;
            for (int c = p.x; c < p.x + p.w; ++c) {
                const int s = m.S(r, c);
                h = s > 0 ? true : (s < 0 ? false : h);
                if (r < k.y || r >= m.f.H || c < k.x || c >= m.f.W) continue;  // outside the frame or before the region
                int px[3];
                m.pixel(h, r, c, px);
                std::copy(px, px + 3, e.at(r - k.y, c - k.x));
            }
        }
}

// The documented scratch row: max(width, 5) + 6 samples plus 16 bytes.
template <class T>
int minScratchStep(int clampedWidth) {
    return static_cast<int>(sizeof(T)) * (std::max(clampedWidth, 5) + 6) + 16;
}

constexpr int kScratchGuard = 64;

// One call on a region of frame f; the destination canvas covers the frame
// from the region's origin to its end with 3 pixels around, every sample of
// it compared with the model's writes; the 30 scratch rows of the
// documented minimum sit between guards that must keep their canary (the
// guard-page sweep of tests/robust gives the scratch no byte to spare).
// 16-bit destination and scratch steps are halved toward zero: an odd one
// acts as the even one below it.
template <class T>
void checkFrame(const Frame<T>& f, int grid, CelRect roi, uint32_t seed, bool flip = false) {
    const Cut k = cutRegion(roi, f.W, f.H, grid);
    ASSERT_FALSE(k.empty);
    const Model<T> m(f, grid);
    const int bufStep = minScratchStep<T>(k.w);
    std::vector<uint8_t> scratch(static_cast<size_t>(30) * bufStep + 2 * kScratchGuard, 0x5C);
    T* buf = reinterpret_cast<T*>(scratch.data() + kScratchGuard);
    Canvas<T> cv(3, f.W - k.x, f.H - k.y, 3, seed, flip);
    const std::string what = describe(f.W, f.H, grid, roi.x, roi.y, roi.width, roi.height);
    const int odd = oddStep<T>(flip, seed);
    checkCanvas(
        cv,
        [&](Canvas<T>& d) {
            return byDepth<T>(celiDemosaicAHD_8u_C1C3R, celiDemosaicAHD_16u_C1C3R)(
                f.origin(), roi, {f.W, f.H}, f.step(), d.base(), int(d.step()) + odd, CelBayerGrid(grid), buf,
                bufStep + odd);
        },
        [&](Canvas<T>& e) { expected(m, k, e); }, what);
    for (int i = 0; i < kScratchGuard; ++i) {
        ASSERT_EQ(scratch[i], 0x5C) << what << ": scratch written before its first row";
        ASSERT_EQ(scratch[scratch.size() - 1 - i], 0x5C) << what << ": scratch written past its 30 rows";
    }
}

template <class T>
void checkRegion(int W, int H, int grid, CelRect roi, Content content, uint32_t seed, bool flip = false) {
    checkFrame(Frame<T>(W, H, content, seed, flip), grid, roi, seed, flip);
}

template <class T>
class Ahd : public ::testing::Test {};
TYPED_TEST_SUITE(Ahd, SampleTypes);

// Full frames, from the smallest accepted (5x5, strips only) to frames with
// an interior wide enough for several vector steps and a tail; every other
// one walked with negative steps.
TYPED_TEST(Ahd, FullFramesOfEveryGridMatchTheModel) {
    uint32_t seed = 1;
    const std::pair<int, int> sizes[] = {{5, 5},   {6, 5},   {5, 7},   {6, 6},   {11, 11}, {12, 12}, {13, 12},
                                         {16, 17}, {23, 14}, {40, 15}, {57, 20}, {64, 13}, {101, 16}};
    for (int grid = 0; grid < 4; ++grid)
        for (auto [W, H] : sizes)
            for (Content c : {Content::Random, Content::Smooth}) {
                checkRegion<TypeParam>(W, H, grid, {0, 0, W, H}, c, seed, seed % 2 == 0);
                ++seed;
            }
}

// Values 0..2 make the 3x3 sums zero often: the tie rule and its carry
// across vector steps run everywhere.
TYPED_TEST(Ahd, FrequentTiesMatchTheModel) {
    for (int grid = 0; grid < 4; ++grid)
        for (auto [W, H] : {std::pair{70, 14}, {37, 12}}) {
            // a repeated tile whose frame holds ties with differing
            // candidates at the first column of the interior's rows and
            // further along
            uint32_t seed = 50;
            for (;; ++seed) {
                ASSERT_LT(seed, 400u) << "no tile with ties found";
                const Frame<TypeParam> f(W, H, Content::Tile, seed);
                const Model<TypeParam> m(f, grid);
                const Piece in = cutRegion({0, 0, W, H}, W, H, grid).pieces[0];
                int first = 0, inner = 0;
                for (int r = in.y; r < in.y + in.h; ++r)
                    for (int c = in.x; c < in.x + in.w; ++c) {
                        int h[3], v[3];
                        m.pixel(true, r, c, h);
                        m.pixel(false, r, c, v);
                        if (m.S(r, c) == 0 && !std::equal(h, h + 3, v)) (c == in.x ? first : inner)++;
                    }
                if (first > 0 && inner > 10) break;
            }
            checkRegion<TypeParam>(W, H, grid, {0, 0, W, H}, Content::Tile, seed);
            checkRegion<TypeParam>(W, H, grid, {0, 0, W, H}, Content::Tiny, seed, true);
            checkRegion<TypeParam>(W, H, grid, {0, 0, W, H}, Content::Diagonal, seed);
        }
}

// Regions: inside the margin, touching each border, with odd origins on
// every grid, interior only, strips only, clamped, negative origins (moved
// to 0 without moving dst or narrowing the region), and short regions near
// the top whose top strip runs past their height; frames of 5 to 12 whose
// interior is empty or a single 2x2 block.
TYPED_TEST(Ahd, RegionsMatchTheModel) {
    const CelRect rois[] = {
        {5, 5, 30, 14},  {6, 6, 30, 14},  {7, 5, 29, 13},  {6, 7, 33, 11},  {0, 0, 20, 9},   {3, 2, 40, 22},
        {10, 0, 20, 26}, {0, 9, 47, 8},   {30, 12, 17, 14}, {40, 20, 7, 6}, {42, 3, 5, 20},  {8, 21, 30, 5},
        {0, 0, 47, 3},   {1, 1, 2, 2},    {0, 2, 3, 20},    {20, 10, 1, 1}, {25, 11, 60, 60}, {-3, -2, 15, 12},
        {44, 0, 9, 30},  {9, 9, 4, 4},    {6, 6, 16, 8},    {5, 6, 17, 9},  {0, 4, 47, 1},    {12, 22, 1, 4},
        {4, 1, 20, 2},   // top strip through frame row yi - 1, past the region's height
    };
    uint32_t seed = 200;
    for (int grid = 0; grid < 4; ++grid)
        for (const CelRect& roi : rois)
            for (Content c : {Content::Random, Content::Smooth}) {
                checkRegion<TypeParam>(47, 26, grid, roi, c, seed, seed % 5 == 0);
                ++seed;
            }
    for (int grid = 0; grid < 4; ++grid)
        for (int W : {5, 7, 12})
            for (int H : {5, 8, 12})
                for (const CelRect roi : {CelRect{0, 0, W, H}, CelRect{1, 2, W, H}, CelRect{W - 1, H - 2, 3, 3},
                                          CelRect{2, 0, 1, 1}})
                    checkRegion<TypeParam>(W, H, grid, roi, Content::Random, seed++);
}

// Worked values of the green limit and of the colour clamp: red site
// (10, 10) on RGGB whose own colour two away is dark, so the
// second-derivative term is large; G_H stays within [left, right]:
// e = ((255 - 0 + 255 - 0) >> 2) + ((90 + 110) >> 1) = 127 + 100 = 227 -> 110.
TEST(AhdWorked, GreenStaysBetweenItsNeighboursAndColoursClamp) {
    const int W = 20, H = 20;
    Frame<uint8_t> f(W, H, Content::Flat, 1);
    for (int r = 0; r < H; ++r)
        for (int c = 0; c < W; ++c) f.set(r, c, 100);
    f.set(10, 8, 0), f.set(10, 12, 0), f.set(8, 10, 0), f.set(12, 10, 0);
    f.set(10, 9, 90), f.set(10, 11, 110), f.set(10, 10, 255);
    const Model<uint8_t> m(f, celBayerRGGB);
    EXPECT_EQ(m.gH[m.idx(10, 10)], 110);
    std::vector<uint8_t> dst(3 * W * H), buf(30 * minScratchStep<uint8_t>(W));
    ASSERT_EQ(celiDemosaicAHD_8u_C1C3R(f.origin(), {0, 0, W, H}, {W, H}, f.step(), dst.data(), 3 * W, celBayerRGGB,
                                       buf.data(), minScratchStep<uint8_t>(W)),
              celStatusOk);
    EXPECT_EQ(dst[(10 * W + 10) * 3 + 0], 255);  // the red site keeps its own sample
    EXPECT_LE(dst[(10 * W + 10) * 3 + 1], 110);
    EXPECT_GE(dst[(10 * W + 10) * 3 + 1], 90);
}

// Saturated 16-bit colours side by side (samples at 0 or full scale): the
// chroma distance passes 2^31 and wraps; the model keeps the 32-bit signed
// comparison.  The seed moves until a candidate holds a wrapping pair.
TEST(AhdWorked, SixteenBitChromaDistanceWraps) {
    const int W = 24, H = 14;
    Frame<uint16_t> f(W, H, Content::Random, 5);
    bool wrapped = false;
    for (uint32_t seed = 1; seed < 40 && !wrapped; ++seed) {
        std::mt19937 rng(seed);
        for (int r = 0; r < H; ++r)
            for (int c = 0; c < W; ++c) f.set(r, c, (rng() & 1) ? 65535 : 0);
        const Model<uint16_t> probe(f, celBayerBGGR);
        for (int dir = 0; dir < 2; ++dir)
            for (int r = 0; r < H; ++r)
                for (int c = 1; c < W; ++c) {
                    const auto a = probe.ycc(dir, r, c), b = probe.ycc(dir, r, c - 1);
                    wrapped |= int64_t(a.cb - b.cb) * (a.cb - b.cb) + int64_t(a.cr - b.cr) * (a.cr - b.cr) > INT32_MAX;
                }
    }
    ASSERT_TRUE(wrapped) << "the frame should hold a wrapping chroma distance";
    checkFrame(f, celBayerBGGR, {0, 0, W, H}, 5);
}

// Statuses and their order otherwise: the robustness table's rows
// (tests/robust), which never pass a null scratch.  A null buffer gives the
// status of the checks behind it, and a region that clamps to nothing
// succeeds and touches nothing, not even the scratch.
TEST(AhdChecks, NullScratchIsNotTestedAndEmptyRegionsWriteNothing) {
    std::vector<uint8_t> src(100, 1), dst(300, 7);
    const auto before = dst;
    const auto call = [&](CelRect roi, CelSize size, int grid) {
        return celiDemosaicAHD_8u_C1C3R(src.data(), roi, size, 10, dst.data(), 30, static_cast<CelBayerGrid>(grid),
                                        nullptr, 0);
    };
    EXPECT_EQ(call({0, 0, 8, 8}, {4, 8}, 9), celStatusBadSize);
    EXPECT_EQ(call({0, 0, 8, 8}, {5, 5}, 4), celStatusBadArgument);
    for (const CelRect roi : {CelRect{10, 0, 4, 4}, CelRect{0, 10, 4, 4}, CelRect{0, 0, 0, 5}, CelRect{2, 2, 5, -1},
                              CelRect{-4, 0, 3, 0}})
        EXPECT_EQ(call(roi, {10, 10}, celBayerRGGB), celStatusOk);
    EXPECT_EQ(dst, before);
}

}  // namespace ahd

}  // namespace
