// VNG demosaicing to BGRA: an independent model written from the formulas
// (gradients from direction vectors, entries transcribed as data, the rim
// as its sequence of copies) compared sample for sample with the library on
// a canvas around the destination, so that every byte outside what the
// function may write is checked too.  Random, flat, sharp-edged and
// small-range frames of every grid; rectangles of every width residue and
// odd and even heights; regions inside, on the rim, past the frame and
// degenerate; gains including NaN, negative and huge; 64-bit sizes past the 32-bit
// range refused with nothing written; 64-bit steps beyond 2^32.
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

namespace {

// ---- The model -----------------------------------------------------------------

enum { kR = 0, kG = 1, kB = 2 };
// Colours of the top-left 2x2 block of each grid, row by row.
const int kGridColours[4][2][2] = {
    {{kB, kG}, {kG, kR}}, {{kR, kG}, {kG, kB}}, {{kG, kB}, {kR, kG}}, {{kG, kR}, {kB, kG}}};

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
    const std::vector<T>& frame;  // W x H, row by row
    int W, H, grid;
    static constexpr int M = sizeof(T) == 1 ? 255 : 65535;
    static int sat(int v) { return v < 0 ? 0 : (v > M ? M : v); }

    int colour(int r, int c) const { return kGridColours[grid][r & 1][c & 1]; }

    // B, G, R of the interior pixel (r, c) before the gains.
    void pixel(int r, int c, int bgr[3]) const {
        const auto P = [&](Step s) { return static_cast<int>(frame[size_t(r + s.r) * W + (c + s.c)]); };
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

// A destination canvas: the region with `margin` pixels all around, filled
// with random samples (alpha included) before the call.
template <class T>
struct Canvas {
    int64_t width, height, margin;
    std::vector<T> mem;
    int64_t stepElems() const { return 4 * (width + 2 * margin); }
    T* at(int64_t row, int64_t col) { return mem.data() + (row + margin) * stepElems() + 4 * (col + margin); }
    Canvas(int64_t w, int64_t h, int64_t m, uint32_t seed) : width(w), height(h), margin(m) {
        mem.resize(size_t(stepElems() * (h + 2 * m)));
        std::mt19937 rng(seed);
        for (auto& v : mem) v = static_cast<T>(rng());
    }
    void copyPixel(int64_t fr, int64_t fc, int64_t tr, int64_t tc) {
        const T tmp[4] = {at(fr, fc)[0], at(fr, fc)[1], at(fr, fc)[2], at(fr, fc)[3]};
        std::memcpy(at(tr, tc), tmp, sizeof tmp);
    }
};

// The whole function on a canvas: the rectangle, then the rim copies.
template <class T>
void modelCall(const Model<T>& m, const float* scale, CelRectL roi, Canvas<T>& cv) {
    const int64_t W = m.W, H = m.H, x = roi.x, y = roi.y;
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
        for (int64_t i = 0; i < rh; ++i) cv.copyPixel(r0 - y + i, from - x, r0 - y + i, to - x);
    };
    const auto copyRow = [&](int64_t from, int64_t to) {
        for (int64_t i = 0; i < roi.width; ++i) cv.copyPixel(from - y, i, to - y, i);
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
    if constexpr (sizeof(T) == 1)
        return celiCFAToBGRA_VNG_8u_C1C4R_L(src, size, srcStep, scale, dst, roi, dstStep, CelBayerGrid(grid));
    else
        return celiCFAToBGRA_VNG_16u_C1C4R_L(src, size, srcStep, scale, dst, roi, dstStep, CelBayerGrid(grid));
}

template <class T>
constexpr int maxSample() {
    return sizeof(T) == 1 ? 255 : 65535;
}

// Kinds of content.
enum class Content { Random, SmallRange, Flat, Edges, Checker, HotPixel };

template <class T>
std::vector<T> makeFrame(int W, int H, Content kind, uint32_t seed) {
    std::mt19937 rng(seed);
    const int M = maxSample<T>();
    std::vector<T> f(size_t(W) * H);
    for (int r = 0; r < H; ++r)
        for (int c = 0; c < W; ++c) {
            int v = 0;
            switch (kind) {
                case Content::Random: v = int(rng() % (M + 1)); break;
                case Content::SmallRange: v = int(rng() % 3); break;
                case Content::Flat: v = M / 3; break;
                case Content::Edges: v = ((r / 3 + c / 4) & 1) ? M : 0; break;  // sharp blocks: many ties
                case Content::Checker: v = ((r + c) & 1) ? M : 0; break;
                case Content::HotPixel: v = (r == H / 2 && c == W / 2) ? M : M / 5; break;
            }
            f[size_t(r) * W + c] = static_cast<T>(v);
        }
    return f;
}

// Runs the library and the model on the same canvas and compares every
// sample of it.
template <class T>
void check(const std::vector<T>& frame, int W, int H, int grid, CelRectL roi, const float* scale, uint32_t seed,
           const std::string& what, int64_t margin = 4) {
    // Source with a row step larger than the row.
    const int64_t srcStepElems = W + 5;
    std::vector<T> src(size_t(srcStepElems * H), T(0x5A));
    for (int r = 0; r < H; ++r)
        for (int c = 0; c < W; ++c) src[size_t(r * srcStepElems + c)] = frame[size_t(r) * W + c];

    Canvas<T> got(roi.width, roi.height, margin, seed), want = got;
    const Model<T> m{frame, W, H, grid};
    ASSERT_EQ(call<T>(src.data(), {W, H}, srcStepElems * int64_t(sizeof(T)), scale, got.at(0, 0), roi,
                      got.stepElems() * int64_t(sizeof(T)), grid),
              celStatusOk)
        << what;
    modelCall(m, scale, roi, want);
    for (int64_t row = -margin; row < roi.height + margin; ++row)
        for (int64_t col = -margin; col < roi.width + margin; ++col)
            for (int k = 0; k < 4; ++k) {
                const int g = got.at(row, col)[k], w = want.at(row, col)[k];
                if (g != w) {
                    const bool inFrame = row + roi.y >= 0 && row + roi.y < H && col + roi.x >= 0 && col + roi.x < W;
                    FAIL() << what << ": frame " << W << "x" << H << " grid " << grid << " roi (" << roi.x << ","
                           << roi.y << "," << roi.width << "," << roi.height << ") dst (" << row << "," << col
                           << ") sample " << k << " (frame position " << row + roi.y << "," << col + roi.x
                           << (inFrame ? "" : ", outside the frame") << "): got " << g << ", want " << w;
                }
            }
}

template <class T>
class CfaVng : public ::testing::Test {};
using SampleTypes = ::testing::Types<uint8_t, uint16_t>;
TYPED_TEST_SUITE(CfaVng, SampleTypes);

// Rectangle widths W - 4 from 1 to 26 hit every residue of the 8- and
// 4-pixel steps; odd and even heights take the single last row or not.
TYPED_TEST(CfaVng, FullFramesOfEveryGridMatchTheModel) {
    using T = TypeParam;
    uint32_t seed = 1;
    for (int grid = 0; grid < 4; ++grid)
        for (int W = 5; W <= 30; ++W) {
            const int H = 5 + (W % 4);
            const auto f = makeFrame<T>(W, H, Content::Random, seed);
            check<T>(f, W, H, grid, {0, 0, W, H}, nullptr, seed++, "random");
        }
}

TYPED_TEST(CfaVng, LargerFramesMatchTheModel) {
    using T = TypeParam;
    for (int grid = 0; grid < 4; ++grid) {
        const int W = 77 + grid, H = 22 + grid;
        check<T>(makeFrame<T>(W, H, Content::Random, 40 + grid), W, H, grid, {0, 0, W, H}, nullptr, 9, "large");
    }
}

// Few distinct values: gradients tie with each other and with the
// threshold, and the selection is exercised at its boundary.
TYPED_TEST(CfaVng, TiesFlatsAndEdgesMatchTheModel) {
    using T = TypeParam;
    uint32_t seed = 500;
    for (Content kind : {Content::SmallRange, Content::Flat, Content::Edges, Content::Checker, Content::HotPixel})
        for (int grid = 0; grid < 4; ++grid)
            for (auto [W, H] : {std::pair{5, 5}, {14, 9}, {31, 12}}) {
                check<T>(makeFrame<T>(W, H, kind, seed), W, H, grid, {0, 0, W, H}, nullptr, seed, "content");
                ++seed;
            }
}

TYPED_TEST(CfaVng, GainsMatchTheModel) {
    using T = TypeParam;
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float gainSets[][3] = {
        {1.0f, 1.0f, 1.0f},     {2.0f, 0.5f, 1.3f},  {1.0f, 1.0f, 2.0f}, {0.7f, 1.0f, 1.0f},
        {1.0f, nan, 1.0f},      {-1.0f, 1.5f, 0.0f}, {1e10f, 1.0f, 3.3f}, {1.0000001f, 0.25f, 1.75f},
    };
    uint32_t seed = 900;
    for (const auto& s : gainSets)
        for (int grid = 0; grid < 4; ++grid) {
            const int W = 23 + grid, H = 8 + grid;
            check<T>(makeFrame<T>(W, H, Content::Random, seed), W, H, grid, {0, 0, W, H}, s, seed, "gains");
            ++seed;
        }
}

// Regions inside the frame, on its rim, past its end and degenerate ones
// (a region inside the rim moves what the destination holds there).
TYPED_TEST(CfaVng, RegionsMatchTheModel) {
    using T = TypeParam;
    const int W = 29, H = 16;
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
            const auto f = makeFrame<T>(W, H, Content::Random, seed);
            check<T>(f, W, H, grid, roi, (seed & 1) ? gains : nullptr, seed, "roi", 6);
            ++seed;
        }
}

// A region's rectangle pixels equal the full-frame call's, whatever the
// parity of its origin.
TYPED_TEST(CfaVng, RegionPixelsEqualFullFramePixels) {
    using T = TypeParam;
    const int W = 36, H = 14;
    const auto f = makeFrame<T>(W, H, Content::Random, 77);
    for (int grid = 0; grid < 4; ++grid) {
        std::vector<T> full(size_t(4) * W * H, T(1));
        ASSERT_EQ(call<T>(f.data(), {W, H}, W * int64_t(sizeof(T)), nullptr, full.data(), {0, 0, W, H},
                          4 * W * int64_t(sizeof(T)), grid),
                  celStatusOk);
        for (int oy = 2; oy < 6; ++oy)
            for (int ox = 2; ox < 6; ++ox) {
                const int rw = W - 2 * ox - 1, rh = H - 2 * oy - 1;  // ends before the rim copies
                std::vector<T> part(size_t(4) * rw * rh, T(1));
                ASSERT_EQ(call<T>(f.data(), {W, H}, W * int64_t(sizeof(T)), nullptr, part.data(), {ox, oy, rw, rh},
                                  4 * rw * int64_t(sizeof(T)), grid),
                          celStatusOk);
                for (int yy = 0; yy < rh; ++yy)
                    for (int xx = 0; xx < 4 * rw; ++xx)
                        ASSERT_EQ(part[size_t(yy) * 4 * rw + xx], full[size_t(yy + oy) * 4 * W + 4 * ox + xx])
                            << "grid " << grid << " origin " << ox << "," << oy;
            }
    }
}

// ---- Worked values and properties -------------------------------------------

// On a full-frame call the rim is a pure replicate of the nearest computed
// pixel, alpha included; alpha inside the rectangle is the caller's.
TYPED_TEST(CfaVng, RimReplicatesNearestPixelAndAlphaIsKept) {
    using T = TypeParam;
    const int W = 19, H = 11;
    const auto f = makeFrame<T>(W, H, Content::Random, 5);
    std::vector<T> dst(size_t(4) * W * H);
    for (size_t i = 0; i < dst.size(); ++i) dst[i] = static_cast<T>(i * 7 + 3);
    const auto before = dst;
    ASSERT_EQ(call<T>(f.data(), {W, H}, W * int64_t(sizeof(T)), nullptr, dst.data(), {0, 0, W, H},
                      4 * W * int64_t(sizeof(T)), celBayerGRBG),
              celStatusOk);
    for (int r = 0; r < H; ++r)
        for (int c = 0; c < W; ++c) {
            const int nr = std::clamp(r, 2, H - 3), nc = std::clamp(c, 2, W - 3);
            for (int k = 0; k < 4; ++k)
                ASSERT_EQ(dst[size_t(r * W + c) * 4 + k], dst[size_t(nr * W + nc) * 4 + k]) << r << "," << c;
            if (r == nr && c == nc) ASSERT_EQ(dst[size_t(r * W + c) * 4 + 3], before[size_t(r * W + c) * 4 + 3]);
        }
}

TEST(CfaVngWorked, FiveByFiveIsOnePixelEverywhere) {
    std::mt19937 rng(3);
    std::vector<uint8_t> src(25);
    for (auto& v : src) v = static_cast<uint8_t>(rng());
    std::vector<uint8_t> dst(100);
    for (size_t i = 0; i < dst.size(); ++i) dst[i] = static_cast<uint8_t>(i);
    ASSERT_EQ(celiCFAToBGRA_VNG_8u_C1C4R_L(src.data(), {5, 5}, 5, nullptr, dst.data(), {0, 0, 5, 5}, 20, celBayerRGGB),
              celStatusOk);
    for (int i = 0; i < 25; ++i)
        for (int k = 0; k < 4; ++k) ASSERT_EQ(dst[4 * i + k], dst[4 * 12 + k]) << i;
    EXPECT_EQ(dst[4 * 12 + 3], 4 * 12 + 3);  // alpha of (2, 2) as it was
    EXPECT_EQ(dst[4 * 12 + 2], src[12]);     // (2, 2) is a red site on RGGB: R is the raw sample
}

TEST(CfaVngWorked, FlatFrameGivesTheSampleEverywhere) {
    std::vector<uint16_t> src(9 * 7, 1234), dst(4 * 9 * 7, 0xBEEF);
    ASSERT_EQ(celiCFAToBGRA_VNG_16u_C1C4R_L(src.data(), {9, 7}, 18, nullptr, dst.data(), {0, 0, 9, 7}, 72, celBayerGBRG),
              celStatusOk);
    for (size_t i = 0; i < dst.size(); ++i) ASSERT_EQ(dst[i], i % 4 == 3 ? 0xBEEF : 1234) << i;
}

// A hot red sample at (4, 4) of a flat RGGB frame of 10s, seen from the
// blue site (5, 5): N, E, S and W each have one term through it (190), SE
// and NW have it doubled (380), NE and SW none (0).  T = 0 + (380 >> 1) =
// 190, so only NE and SW (strictly below) take part; their entries are all
// 2 * 10 and B, G, R come out 10.  With all eight directions R would be
// 10 + rint((920 - 160) / 16.0f) = 58.
TEST(CfaVngWorked, HotSampleFallsOut) {
    const int W = 10, H = 10;
    std::vector<uint8_t> src(W * H, 10);
    src[4 * W + 4] = 200;
    std::vector<uint8_t> dst(4 * W * H, 0);
    ASSERT_EQ(celiCFAToBGRA_VNG_8u_C1C4R_L(src.data(), {W, H}, W, nullptr, dst.data(), {0, 0, W, H}, 4 * W, celBayerRGGB),
              celStatusOk);
    const uint8_t* p = &dst[4 * (5 * W + 5)];
    EXPECT_EQ(p[0], 10);  // B, the raw sample
    EXPECT_EQ(p[1], 10);
    EXPECT_EQ(p[2], 10);
    // The hot site itself keeps its raw red.
    EXPECT_EQ(dst[4 * (4 * W + 4) + 2], 200);
}

TEST(CfaVngWorked, GainOfTwoOnRedSaturates) {
    std::vector<uint8_t> src(8 * 8, 200), dst(4 * 64, 0);
    const float gains[3] = {1.0f, 1.0f, 2.0f};
    ASSERT_EQ(celiCFAToBGRA_VNG_8u_C1C4R_L(src.data(), {8, 8}, 8, gains, dst.data(), {0, 0, 8, 8}, 32, celBayerBGGR),
              celStatusOk);
    for (int i = 0; i < 64; ++i) {
        EXPECT_EQ(dst[4 * i + 0], 200);
        EXPECT_EQ(dst[4 * i + 1], 200);
        EXPECT_EQ(dst[4 * i + 2], 255);
        EXPECT_EQ(dst[4 * i + 3], 0);
    }
}

// ---- Steps -------------------------------------------------------------------------

// Negative steps on both sides walk the buffers upwards.
TYPED_TEST(CfaVng, NegativeStepsMatchTheFlippedCall) {
    using T = TypeParam;
    const int W = 21, H = 9;
    const auto f = makeFrame<T>(W, H, Content::Random, 8);
    std::vector<T> flipped(f.size());
    for (int r = 0; r < H; ++r) std::memcpy(&flipped[size_t(r) * W], &f[size_t(H - 1 - r) * W], W * sizeof(T));
    std::vector<T> a(size_t(4) * W * H, T(9)), b = a;
    const int64_t s = W * int64_t(sizeof(T)), d = 4 * s;
    // Frame rows bottom to top, destination rows bottom to top: the same
    // image as the plain call on the flipped frame.
    ASSERT_EQ(call<T>(&f[size_t(H - 1) * W], {W, H}, -s, nullptr, &a[size_t(4) * W * (H - 1)], {0, 0, W, H}, -d,
                      celBayerGRBG),
              celStatusOk);
    ASSERT_EQ(call<T>(flipped.data(), {W, H}, s, nullptr, b.data(), {0, 0, W, H}, d, celBayerGRBG), celStatusOk);
    for (int r = 0; r < H; ++r)
        for (int x = 0; x < 4 * W; ++x)
            ASSERT_EQ(a[size_t(r) * 4 * W + x], b[size_t(H - 1 - r) * 4 * W + x]) << r << "," << x;
}

// Steps beyond 2^32 bytes: each row sits in its own page of a large
// reserved range, so a step cut to 32 bits would read and write elsewhere.
TEST(CfaVngSteps, StepsBeyondFourGigabytes) {
    const int W = 12, H = 7;
    const int64_t step = (int64_t(1) << 32) + 4096;
    const size_t span = size_t(step) * (H - 1) + 4096;
    void* srcMem = mmap(nullptr, span, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (srcMem == MAP_FAILED) GTEST_SKIP() << "no address space for a 24 GiB reservation";
    void* dstMem = mmap(nullptr, span, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (dstMem == MAP_FAILED) {
        munmap(srcMem, span);
        GTEST_SKIP() << "no address space for a 24 GiB reservation";
    }
    const auto f = makeFrame<uint8_t>(W, H, Content::Random, 21);
    auto* s = static_cast<uint8_t*>(srcMem);
    auto* d = static_cast<uint8_t*>(dstMem);
    for (int r = 0; r < H; ++r) std::memcpy(s + r * step, &f[size_t(r) * W], W);
    std::vector<uint8_t> want(4 * W * H, 0);
    ASSERT_EQ(celiCFAToBGRA_VNG_8u_C1C4R_L(f.data(), {W, H}, W, nullptr, want.data(), {0, 0, W, H}, 4 * W, celBayerBGGR),
              celStatusOk);
    ASSERT_EQ(celiCFAToBGRA_VNG_8u_C1C4R_L(s, {W, H}, step, nullptr, d, {0, 0, W, H}, step, celBayerBGGR), celStatusOk);
    for (int r = 0; r < H; ++r) {
        ASSERT_EQ(std::memcmp(d + r * step, &want[size_t(r) * 4 * W], 4 * W), 0) << "row " << r;
        // nothing beyond the row in its page
        for (int k = 4 * W; k < 4096; ++k) ASSERT_EQ(d[r * step + k], 0) << "row " << r;
    }
    munmap(srcMem, span);
    munmap(dstMem, span);
}

// ---- Sizes of 2^31 and beyond ---------------------------------------------------
// The rest of the statuses and their order (the 5x5 minimum, the grid,
// empty regions, pointers with a size of 0): the robustness table's rows
// (tests/robust), which draw no size beyond the 32-bit range.

template <class T>
void checkStatuses() {
    const int64_t big = int64_t(1) << 31;
    std::vector<T> src(64, T(3));
    Canvas<T> canvas(8, 8, 2, 11);
    const auto before = canvas.mem;
    T* dst = canvas.at(0, 0);
    const int64_t s = 8 * sizeof(T), d = canvas.stepElems() * int64_t(sizeof(T));
    const CelRectL roi{0, 0, 8, 8};
    const CelSizeL size{8, 8};
    const float gains[3] = {2, 2, 2};
    // pointers first, even with every other argument wrong
    EXPECT_EQ(call<T>(nullptr, {big, 1}, s, gains, dst, {0, 0, big, 0}, d, 9), celStatusNullPointer);
    EXPECT_EQ(call<T>(src.data(), {big, 1}, s, gains, nullptr, {0, 0, big, 0}, d, 9), celStatusNullPointer);
    // 2^31 in any of the four sizes, ahead of the 5x5 minimum and the grid
    EXPECT_EQ(call<T>(src.data(), {1, 1}, s, gains, dst, {0, 0, big, 8}, d, 9), celStatusSizeTooLarge);
    EXPECT_EQ(call<T>(src.data(), {1, 1}, s, gains, dst, {0, 0, 8, big}, d, 9), celStatusSizeTooLarge);
    EXPECT_EQ(call<T>(src.data(), {big, 8}, s, gains, dst, roi, d, 9), celStatusSizeTooLarge);
    EXPECT_EQ(call<T>(src.data(), {8, big}, s, gains, dst, roi, d, 9), celStatusSizeTooLarge);
    EXPECT_EQ(call<T>(src.data(), {8, 8}, s, gains, dst, {0, 0, int64_t(1) << 40, 8}, d, 0), celStatusSizeTooLarge);
    // x and y are not tested: huge or negative, the next check decides
    EXPECT_EQ(call<T>(src.data(), {4, 8}, s, gains, dst, {int64_t(1) << 40, -(int64_t(1) << 40), 8, 8}, d, 0),
              celStatusBadSize);
    // just below 2^31 passes the size test
    EXPECT_EQ(call<T>(src.data(), {big - 1, 4}, s, gains, dst, {0, 0, big - 1, 8}, d, 0), celStatusBadSize);
    // an empty region succeeds with nothing written, x and y unused
    EXPECT_EQ(call<T>(src.data(), size, s, gains, dst, {int64_t(1) << 50, 3, -5, 8}, d, 1), celStatusOk);
    EXPECT_EQ(call<T>(src.data(), size, s, gains, dst, {0, 0, 8, -(int64_t(1) << 40)}, d, 1), celStatusOk);
    EXPECT_EQ(canvas.mem, before);
}

TEST(CfaVngChecks, OrderAndNothingWritten8u) { checkStatuses<uint8_t>(); }
TEST(CfaVngChecks, OrderAndNothingWritten16u) { checkStatuses<uint16_t>(); }

}  // namespace
