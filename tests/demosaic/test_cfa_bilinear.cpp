// Bilinear Bayer demosaicing: an independent model of the interior and rim
// rules compared sample for sample on random frames of every grid, regions
// inside and on the rim, smallest frames, flat fields, 16-bit steps.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "celcc.h"

namespace {


// Colours of the top-left 2x2 block per grid: 0 R, 1 G, 2 B.
const int kGrid[4][2][2] = {{{2, 1}, {1, 0}}, {{0, 1}, {1, 2}}, {{1, 2}, {0, 1}}, {{1, 0}, {2, 1}}};

template <class T>
struct Model {
    const std::vector<T>& frame;
    int W, H, grid;
    int P(int r, int c) const {  // mirrored about the edge sample
        if (r < 0) r = -r;
        if (r >= H) r = 2 * (H - 1) - r;
        if (c < 0) c = -c;
        if (c >= W) c = 2 * (W - 1) - c;
        return frame[static_cast<size_t>(r) * W + c];
    }
    int colour(int r, int c) const { return kGrid[grid][r & 1][c & 1]; }
    static int A(int a, int b) { return (a + b + 1) >> 1; }
    static int Q(int a, int b, int c, int d) { return (a + b + c + d + 2) >> 2; }

    void pixel(int r, int c, int out[3]) const {
        const bool interior = r >= 2 && r <= H - 3 && c >= 2 && c <= W - 3;
        const int site = colour(r, c);
        if (site == 1) {
            out[1] = P(r, c);
            out[colour(r, c + 1)] = A(P(r, c - 1), P(r, c + 1));
            out[colour(r + 1, c)] = A(P(r - 1, c), P(r + 1, c));
            return;
        }
        out[site] = P(r, c);
        out[2 - site] = Q(P(r - 1, c - 1), P(r - 1, c + 1), P(r + 1, c - 1), P(r + 1, c + 1));
        // the direction test only reads inside the frame, so only the interior has it
        const int dV = interior ? std::abs(P(r - 2, c) - P(r + 2, c)) : 0;
        const int dH = interior ? std::abs(P(r, c - 2) - P(r, c + 2)) : 0;
        if (interior && dV < dH)
            out[1] = A(P(r - 1, c), P(r + 1, c));
        else if (interior && dV > dH)
            out[1] = A(P(r, c - 1), P(r, c + 1));
        else
            out[1] = Q(P(r - 1, c), P(r, c - 1), P(r, c + 1), P(r + 1, c));
    }
};

template <class T>
CelStatus call(const T* src, CelRect roi, CelSize size, int srcStep, T* dst, int dstStep, int grid) {
    if constexpr (sizeof(T) == 1)
        return celiCFAToRGB_8u_C1C3R(src, roi, size, srcStep, dst, dstStep, static_cast<CelBayerGrid>(grid));
    else
        return celiCFAToRGB_16u_C1C3R(src, roi, size, srcStep, dst, dstStep, static_cast<CelBayerGrid>(grid));
}

constexpr int kPad = 5;  // canary samples on each side of each destination row

// Runs the library on a region of a random frame and compares every
// destination sample with the model; guards around the region stay intact.
template <class T>
void checkRegion(int W, int H, int grid, CelRect roi, uint32_t seed, int maxValue, const std::string& what) {
    std::mt19937 rng(seed);
    std::vector<T> frame(static_cast<size_t>(W) * H);
    for (auto& v : frame) v = static_cast<T>(rng() % (maxValue + 1));
    // A source row step larger than the row, in bytes.
    const int srcStepElems = W + 3;
    std::vector<T> src(static_cast<size_t>(srcStepElems) * H, T(0x5A));
    for (int r = 0; r < H; ++r)
        for (int c = 0; c < W; ++c) src[static_cast<size_t>(r) * srcStepElems + c] = frame[static_cast<size_t>(r) * W + c];

    const int cw = std::min(roi.width, W - roi.x), ch = std::min(roi.height, H - roi.y);  // clamped region
    const int dstStepElems = 3 * roi.width + 2 * kPad;
    const T canary = static_cast<T>(0xA5A5);
    std::vector<T> dst(static_cast<size_t>(dstStepElems) * (roi.height + 2), canary);
    T* d0 = dst.data() + dstStepElems + kPad;
    ASSERT_EQ(call<T>(src.data(), roi, {W, H}, srcStepElems * int(sizeof(T)), d0, dstStepElems * int(sizeof(T)), grid),
              celStatusOk)
        << what;

    const Model<T> m{frame, W, H, grid};
    for (int y = 0; y < roi.height + 2; ++y)
        for (int x = 0; x < dstStepElems; ++x) {
            const int ry = y - 1, rx = x - kPad;
            const T got = dst[static_cast<size_t>(y) * dstStepElems + x];
            if (ry >= 0 && ry < ch && rx >= 0 && rx < 3 * cw) {
                int e[3];
                m.pixel(roi.y + ry, roi.x + rx / 3, e);
                ASSERT_EQ(got, e[rx % 3]) << what << " frame " << W << "x" << H << " grid " << grid << " roi ("
                                          << roi.x << "," << roi.y << "," << roi.width << "," << roi.height
                                          << ") at frame (" << roi.y + ry << "," << roi.x + rx / 3 << ") channel "
                                          << rx % 3;
            } else {
                ASSERT_EQ(got, canary) << what << " wrote outside the region at dst row " << ry << " element " << rx;
            }
        }
}

template <class T>
class CfaBilinear : public ::testing::Test {};
using SampleTypes = ::testing::Types<uint8_t, uint16_t>;
TYPED_TEST_SUITE(CfaBilinear, SampleTypes);

template <class T>
int maxSample() {
    return sizeof(T) == 1 ? 255 : 65535;
}

TYPED_TEST(CfaBilinear, FullFramesOfEveryGridMatchTheModel) {
    uint32_t seed = 1;
    for (int grid = 0; grid < 4; ++grid)
        for (auto [W, H] : {std::pair{2, 2}, {3, 3}, {2, 5}, {5, 2}, {4, 4}, {5, 5}, {6, 7}, {21, 9}, {37, 6},
                            {40, 11}, {100, 5}})
            checkRegion<TypeParam>(W, H, grid, {0, 0, W, H}, seed++, maxSample<TypeParam>(), "full frame");
}

// Small sample values make ties (dV == dH) frequent, so the tie repair of
// the vector pass is exercised everywhere.
TYPED_TEST(CfaBilinear, FrequentTiesMatchTheModel) {
    for (int grid = 0; grid < 4; ++grid) checkRegion<TypeParam>(53, 12, grid, {0, 0, 53, 12}, 77 + grid, 2, "ties");
}

TYPED_TEST(CfaBilinear, RegionsInsideAndOnTheRimMatchTheModel) {
    const int W = 45, H = 14;
    uint32_t seed = 100;
    const CelRect rois[] = {
        {0, 0, 45, 14},  {3, 3, 20, 5},  {2, 2, 41, 10}, {1, 1, 43, 12}, {5, 4, 17, 3},   {0, 0, 45, 2},
        {0, 12, 45, 2},  {0, 0, 2, 14},  {43, 0, 2, 14}, {7, 1, 30, 1},  {30, 9, 40, 20},  // reaches beyond: clamped
        {44, 13, 1, 1},  {2, 2, 1, 1},   {1, 2, 36, 9},  {6, 0, 33, 14},
    };
    for (int grid = 0; grid < 4; ++grid)
        for (const CelRect& roi : rois) checkRegion<TypeParam>(W, H, grid, roi, seed++, maxSample<TypeParam>(), "roi");
}

// A region's pixels equal those of the full-frame call at the same places,
// whatever the parity of its origin.
TYPED_TEST(CfaBilinear, RegionPixelsEqualFullFramePixels) {
    using T = TypeParam;
    const int W = 40, H = 12;
    std::mt19937 rng(9);
    std::vector<T> src(static_cast<size_t>(W) * H);
    for (auto& v : src) v = static_cast<T>(rng());
    for (int grid = 0; grid < 4; ++grid) {
        std::vector<T> full(static_cast<size_t>(3) * W * H);
        ASSERT_EQ(call<T>(src.data(), {0, 0, W, H}, {W, H}, W * int(sizeof(T)), full.data(), 3 * W * int(sizeof(T)), grid),
                  celStatusOk);
        for (int oy = 0; oy < 4; ++oy)
            for (int ox = 0; ox < 4; ++ox) {
                const int rw = W - 2 * ox - 1, rh = H - 2 * oy - 1;
                std::vector<T> part(static_cast<size_t>(3) * rw * rh);
                ASSERT_EQ(call<T>(src.data(), {ox, oy, rw, rh}, {W, H}, W * int(sizeof(T)), part.data(),
                                  3 * rw * int(sizeof(T)), grid),
                          celStatusOk);
                for (int y = 0; y < rh; ++y)
                    for (int x = 0; x < 3 * rw; ++x)
                        ASSERT_EQ(part[static_cast<size_t>(y) * 3 * rw + x],
                                  full[static_cast<size_t>(y + oy) * 3 * W + 3 * ox + x])
                            << "grid " << grid << " origin " << ox << "," << oy;
            }
    }
}

TYPED_TEST(CfaBilinear, FlatFieldStaysFlat) {
    using T = TypeParam;
    const int W = 37, H = 9;
    for (int grid = 0; grid < 4; ++grid)
        for (int value : {0, 1, 77, maxSample<T>()}) {
            std::vector<T> src(static_cast<size_t>(W) * H, static_cast<T>(value)), dst(static_cast<size_t>(3) * W * H);
            ASSERT_EQ(call<T>(src.data(), {0, 0, W, H}, {W, H}, W * int(sizeof(T)), dst.data(), 3 * W * int(sizeof(T)),
                              grid),
                      celStatusOk);
            for (T v : dst) ASSERT_EQ(v, value) << "grid " << grid;
        }
}

// A vertical edge through red sites: inside the frame green comes from
// above and below; on the rim there is no direction test.
TEST(CfaBilinearWorked, VerticalEdgeTakesGreenFromAboveAndBelow) {
    const int W = 9, H = 9;
    std::vector<uint8_t> src(W * H);
    for (int r = 0; r < H; ++r)
        for (int c = 0; c < W; ++c) src[r * W + c] = c < 4 ? 10 : 200;
    std::vector<uint8_t> dst(3 * W * H);
    ASSERT_EQ(celiCFAToRGB_8u_C1C3R(src.data(), {0, 0, W, H}, {W, H}, W, dst.data(), 3 * W, celBayerRGGB), celStatusOk);
    // (4, 4) is a red site on RGGB; dV = 0, dH = |10 - 200|: green from above and below = 200.
    EXPECT_EQ(dst[(4 * W + 4) * 3 + 1], 200);
    // (0, 4) is a red site on the rim: Q of left 10, right 200, and the mirrored below twice (200): (10+200+400+2)>>2.
    EXPECT_EQ(dst[(0 * W + 4) * 3 + 1], (10 + 200 + 2 * 200 + 2) >> 2);
}

TEST(CfaBilinearWorked, FiveByFiveHasOneInteriorPixel) {
    // Only (2, 2) takes the directional rule: make its vertical difference
    // smaller than the horizontal one and check green there.
    std::vector<uint8_t> src(25, 50);
    src[2 * 5 + 0] = 0;    // left, two away
    src[2 * 5 + 4] = 250;  // right, two away
    src[1 * 5 + 2] = 90;   // above
    src[3 * 5 + 2] = 100;  // below
    std::vector<uint8_t> dst(75);
    ASSERT_EQ(celiCFAToRGB_8u_C1C3R(src.data(), {0, 0, 5, 5}, {5, 5}, 5, dst.data(), 15, celBayerBGGR), celStatusOk);
    // (2, 2) on BGGR is a blue site; dV 0 < dH 250: G = A(90, 100) = 95.
    EXPECT_EQ(dst[(2 * 5 + 2) * 3 + 1], 95);
}

// ---- The grid and the steps -----------------------------------------------------
// Statuses, check order and errors that write nothing: the robustness table's
// rows (tests/robust).
// The grid crosses the interface as a 32-bit integer; in C++ the enumeration
// has that as its fixed underlying type, so an out-of-range grid is a value
// of the type and the range check runs on defined ground (with an unfixed
// type, loading -1 or 4 was undefined and a sanitizer stopped on it).
static_assert(std::is_same_v<std::underlying_type_t<CelBayerGrid>, int32_t>, "CelBayerGrid is a 32-bit integer");

TEST(CfaBilinearChecks, SixteenBitStepsLoseTheirLowBit) {
    // An odd byte step behaves as the even one below it.
    const int W = 12, H = 6;
    std::vector<uint16_t> src(static_cast<size_t>(W) * H);
    std::mt19937 rng(3);
    for (auto& v : src) v = static_cast<uint16_t>(rng());
    std::vector<uint16_t> a(3 * W * H), b(3 * W * H);
    ASSERT_EQ(celiCFAToRGB_16u_C1C3R(src.data(), {0, 0, W, H}, {W, H}, 2 * W, a.data(), 6 * W, celBayerGBRG), celStatusOk);
    ASSERT_EQ(celiCFAToRGB_16u_C1C3R(src.data(), {0, 0, W, H}, {W, H}, 2 * W + 1, b.data(), 6 * W + 1, celBayerGBRG),
              celStatusOk);
    EXPECT_EQ(a, b);
}

}  // namespace
