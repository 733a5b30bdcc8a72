// Bilinear Bayer demosaicing: an independent model of the interior and rim
// rules compared sample for sample on random frames of every grid, with
// frequent ties, regions inside and on the rim (the rest of the canvas
// untouched), smallest frames, both step signs, odd 16-bit steps; worked values.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <type_traits>
#include <vector>

#include "celcc.h"
#include "demosaic/bayer_frames.h"

namespace {

using namespace bayertest;

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
// make ties (dV == dH) frequent, so the tie repair of the vector pass runs everywhere.
TYPED_TEST(CfaBilinear, FullFramesOfEveryGridMatchTheModel) {
    uint32_t seed = 1;
    for (int grid = 0; grid < 4; ++grid) {
        for (auto [W, H] : {std::pair{2, 2}, {3, 3}, {2, 5}, {5, 2}, {4, 4}, {5, 5}, {6, 7}, {21, 9}, {37, 6},
                            {40, 11}, {100, 5}})
            checkRegion<TypeParam>(W, H, grid, {0, 0, W, H}, Content::Random, seed++, (W + grid) % 3 == 0);
        checkRegion<TypeParam>(53, 12, grid, {0, 0, 53, 12}, Content::Tiny, 77 + grid, grid & 1);
    }
}

// Regions inside, on the rim, reaching beyond the frame (clamped), of every
// origin parity.
TYPED_TEST(CfaBilinear, RegionsInsideAndOnTheRimMatchTheModel) {
    uint32_t seed = 100;
    const CelRect rois[] = {
        {0, 0, 45, 14}, {3, 3, 20, 5}, {2, 2, 41, 10}, {1, 1, 43, 12}, {5, 4, 17, 3}, {0, 0, 45, 2},
        {0, 12, 45, 2}, {0, 0, 2, 14}, {43, 0, 2, 14}, {7, 1, 30, 1},  {30, 9, 40, 20}, {44, 13, 1, 1},
        {2, 2, 1, 1},   {1, 2, 36, 9}, {6, 0, 33, 14},
    };
    for (int grid = 0; grid < 4; ++grid)
        for (const CelRect& roi : rois)
            checkRegion<TypeParam>(45, 14, grid, roi, Content::Random, seed++, (roi.x + grid) % 4 == 1);
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

}  // namespace
