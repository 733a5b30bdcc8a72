// VNG demosaicing to BGRA: a model from the formulas (gradients from
// direction vectors, entries as data, the rim as its copies) against the
// library on a canvas around the region, every grid, content, region, gain
// and step sign; 64-bit sizes and steps beyond the 32-bit range.
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "celcc.h"
#include "demosaic/bayer_frames.h"

namespace {

using namespace bayertest;

// ---- The model -----------------------------------------------------------------

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
// larger frames; every other frame walked with negative steps.
TYPED_TEST(CfaVng, FullFramesOfEveryGridMatchTheModel) {
    uint32_t seed = 1;
    for (int grid = 0; grid < 4; ++grid) {
        for (int W = 5; W <= 30; ++W, ++seed)
            check<TypeParam>(W, 5 + (W % 4), Content::Random, grid, {0, 0, W, 5 + (W % 4)}, nullptr, seed, 4, W % 2);
        check<TypeParam>(77 + grid, 22 + grid, Content::Random, grid, {0, 0, 77 + grid, 22 + grid}, nullptr, 40 + grid);
    }
}

// Few distinct values: gradients tie with each other and with the
// threshold, and the selection is exercised at its boundary.
TYPED_TEST(CfaVng, TiesFlatsAndEdgesMatchTheModel) {
    uint32_t seed = 500;
    for (Content kind : {Content::Tiny, Content::Flat, Content::Edges, Content::Checker, Content::HotPixel})
        for (int grid = 0; grid < 4; ++grid)
            for (auto [W, H] : {std::pair{5, 5}, {14, 9}, {31, 12}})
                check<TypeParam>(W, H, kind, grid, {0, 0, W, H}, nullptr, seed++);
}

TYPED_TEST(CfaVng, GainsMatchTheModel) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float gainSets[][3] = {
        {1.0f, 1.0f, 1.0f}, {2.0f, 0.5f, 1.3f},  {1.0f, 1.0f, 2.0f},  {0.7f, 1.0f, 1.0f},
        {1.0f, nan, 1.0f},  {-1.0f, 1.5f, 0.0f}, {1e10f, 1.0f, 3.3f}, {1.0000001f, 0.25f, 1.75f},
    };
    uint32_t seed = 900;
    for (const auto& s : gainSets)
        for (int grid = 0; grid < 4; ++grid, ++seed)
            check<TypeParam>(23 + grid, 8 + grid, Content::Random, grid, {0, 0, 23 + grid, 8 + grid}, s, seed);
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

// ---- Worked values -------------------------------------------
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

// ---- Steps and sizes beyond 32 bits ------------------------------------------------
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

}  // namespace
