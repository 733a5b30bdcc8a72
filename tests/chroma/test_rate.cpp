// Chroma rate conversion: every export against a layout model (a logical
// Y, Cb, Cr image read from the source layout, the rate rule applied to the
// chroma, the result written into the destination layout), compared as
// whole buffers with canaries over widths and heights that hit every
// body/tail split, odd sizes, negative and zero steps; the worked cases of
// the rules.  Statuses, check order, sizes below the minimum and heights
// that are not tested: the robustness table's rows (tests/robust).
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string>
#include <vector>

#include "celcc.h"
#include "common/chroma_layout.h"

namespace {

using celtest::Args;
using celtest::ChromaLayout;
using celtest::Kind;
using celtest::RowWalk;
using celtest::Samp;
using namespace celtest::shapes;

enum class Rule { A, B, C, D, E, F };

using Fn = celtest::LayoutFn<Rule>;

constexpr Samp S420 = Samp::S420, S422 = Samp::S422, S411 = Samp::S411;
constexpr Kind YUY2 = Kind::YUY2, UYVY = Kind::UYVY, YVYU = Kind::YVYU, P3 = Kind::P3CbCr, P3Cr = Kind::P3CrCb,
               P2 = Kind::P2CbCr, P2Cr = Kind::P2CrCb;

const Fn kFns[] = {
    {"celiYCbCr420ToYCbCr422_8u_P3R", P3, S420, P3, S422, Rule::A, viaP3P3<celiYCbCr420ToYCbCr422_8u_P3R>, 2, 2},
    {"celiYCrCb420ToYCbCr422_8u_P3R", P3Cr, S420, P3, S422, Rule::A, viaP3P3<celiYCrCb420ToYCbCr422_8u_P3R>, 2, 2},
    {"celiYCbCr420ToYCbCr422_8u_P2P3R", P2, S420, P3, S422, Rule::A, viaP2P3<celiYCbCr420ToYCbCr422_8u_P2P3R>, 2, 2},
    {"celiYCbCr420ToYCbCr422_8u_P2C2R", P2, S420, YUY2, S422, Rule::A, viaP2C2<celiYCbCr420ToYCbCr422_8u_P2C2R>, 2, 2},
    {"celiYCbCr420ToCbYCr422_8u_P2C2R", P2, S420, UYVY, S422, Rule::A, viaP2C2<celiYCbCr420ToCbYCr422_8u_P2C2R>, 2, 2},
    {"celiYCrCb420ToYCbCr422_8u_P3C2R", P3Cr, S420, YUY2, S422, Rule::A,
     viaP3C2<celiYCrCb420ToYCbCr422_8u_P3C2R>, 2, 2},
    {"celiYCrCb420ToCbYCr422_8u_P3C2R", P3Cr, S420, UYVY, S422, Rule::A,
     viaP3C2<celiYCrCb420ToCbYCr422_8u_P3C2R>, 2, 2},
    {"celiYCbCr422ToYCbCr420_8u_P3R", P3, S422, P3, S420, Rule::B, viaP3P3<celiYCbCr422ToYCbCr420_8u_P3R>, 2, 2},
    {"celiYCbCr422ToYCbCr420_8u_P3P2R", P3, S422, P2, S420, Rule::B, viaP3P2<celiYCbCr422ToYCbCr420_8u_P3P2R>, 2, 2},
    {"celiYCbCr422ToYCbCr420_8u_C2P3R", YUY2, S422, P3, S420, Rule::B, viaC2P3<celiYCbCr422ToYCbCr420_8u_C2P3R>, 2, 2},
    {"celiYCrCb422ToYCbCr420_8u_C2P3R", YVYU, S422, P3, S420, Rule::B, viaC2P3<celiYCrCb422ToYCbCr420_8u_C2P3R>, 2, 2},
    {"celiYCbCr422ToYCbCr420_8u_C2P2R", YUY2, S422, P2, S420, Rule::B, viaC2P2<celiYCbCr422ToYCbCr420_8u_C2P2R>, 2, 2},
    {"celiYCbCr422ToYCrCb420_8u_C2P2R", YUY2, S422, P2Cr, S420, Rule::B,
     viaC2P2<celiYCbCr422ToYCrCb420_8u_C2P2R>, 2, 2},
    {"celiYCbCr422ToYCrCb420_8u_C2P3R", YUY2, S422, P3Cr, S420, Rule::B,
     viaC2P3<celiYCbCr422ToYCrCb420_8u_C2P3R>, 2, 2},
    {"celiCbYCr422ToYCbCr420_8u_C2P2R", UYVY, S422, P2, S420, Rule::B, viaC2P2<celiCbYCr422ToYCbCr420_8u_C2P2R>, 2, 2},
    {"celiCbYCr422ToYCbCr420_8u_C2P3R", UYVY, S422, P3, S420, Rule::B, viaC2P3<celiCbYCr422ToYCbCr420_8u_C2P3R>, 2, 2},
    {"celiCbYCr422ToYCrCb420_8u_C2P3R", UYVY, S422, P3Cr, S420, Rule::B,
     viaC2P3<celiCbYCr422ToYCrCb420_8u_C2P3R>, 2, 2},
    {"celiYCbCr422ToYCbCr411_8u_P3R", P3, S422, P3, S411, Rule::C, viaP3P3<celiYCbCr422ToYCbCr411_8u_P3R>, 4, 0},
    {"celiYCbCr422ToYCbCr411_8u_P3P2R", P3, S422, P2, S411, Rule::C, viaP3P2<celiYCbCr422ToYCbCr411_8u_P3P2R>, 4, 0},
    {"celiYCbCr422ToYCbCr411_8u_C2P3R", YUY2, S422, P3, S411, Rule::C, viaC2P3<celiYCbCr422ToYCbCr411_8u_C2P3R>, 4, 1},
    {"celiYCrCb422ToYCbCr411_8u_C2P3R", YVYU, S422, P3, S411, Rule::C, viaC2P3<celiYCrCb422ToYCbCr411_8u_C2P3R>, 4, 0},
    {"celiYCbCr422ToYCbCr411_8u_C2P2R", YUY2, S422, P2, S411, Rule::C, viaC2P2<celiYCbCr422ToYCbCr411_8u_C2P2R>, 4, 0},
    {"celiCbYCr422ToYCbCr411_8u_C2P3R", UYVY, S422, P3, S411, Rule::C, viaC2P3<celiCbYCr422ToYCbCr411_8u_C2P3R>, 4, 0},
    {"celiYCbCr411ToYCbCr422_8u_P3R", P3, S411, P3, S422, Rule::D, viaP3P3<celiYCbCr411ToYCbCr422_8u_P3R>, 4, 0},
    {"celiYCbCr411ToYCrCb422_8u_P3R", P3, S411, P3Cr, S422, Rule::D, viaP3P3<celiYCbCr411ToYCrCb422_8u_P3R>, 4, 0},
    {"celiYCbCr411ToYCbCr422_8u_P2P3R", P2, S411, P3, S422, Rule::D, viaP2P3<celiYCbCr411ToYCbCr422_8u_P2P3R>, 4, 0},
    {"celiYCbCr411ToYCbCr422_8u_P2C2R", P2, S411, YUY2, S422, Rule::D, viaP2C2<celiYCbCr411ToYCbCr422_8u_P2C2R>, 4, 0},
    {"celiYCbCr411ToYCbCr422_8u_P3C2R", P3, S411, YUY2, S422, Rule::D, viaP3C2<celiYCbCr411ToYCbCr422_8u_P3C2R>, 4, 0},
    {"celiYCbCr411ToYCrCb422_8u_P3C2R", P3, S411, YVYU, S422, Rule::D, viaP3C2<celiYCbCr411ToYCrCb422_8u_P3C2R>, 4, 0},
    {"celiYCbCr411ToYCbCr420_8u_P3R", P3, S411, P3, S420, Rule::E, viaP3P3<celiYCbCr411ToYCbCr420_8u_P3R>, 4, 2},
    {"celiYCbCr411ToYCbCr420_8u_P3P2R", P3, S411, P2, S420, Rule::E, viaP3P2<celiYCbCr411ToYCbCr420_8u_P3P2R>, 4, 2},
    {"celiYCbCr411ToYCbCr420_8u_P2P3R", P2, S411, P3, S420, Rule::E, viaP2P3<celiYCbCr411ToYCbCr420_8u_P2P3R>, 4, 2},
    {"celiYCbCr411ToYCrCb420_8u_P2P3R", P2, S411, P3Cr, S420, Rule::E, viaP2P3<celiYCbCr411ToYCrCb420_8u_P2P3R>, 4, 2},
    {"celiYCbCr420ToYCbCr411_8u_P2P3R", P2, S420, P3, S411, Rule::F, viaP2P3<celiYCbCr420ToYCbCr411_8u_P2P3R>, 4, 2},
    {"celiYCbCr420ToYCbCr411_8u_P3P2R", P3, S420, P2, S411, Rule::F, viaP3P2<celiYCbCr420ToYCbCr411_8u_P3P2R>, 4, 2},
    {"celiYCrCb420ToYCbCr411_8u_P3P2R", P3Cr, S420, P2, S411, Rule::F, viaP3P2<celiYCrCb420ToYCbCr411_8u_P3P2R>, 4, 2},
};

// The rounded region of the expected destination, written from the source
// by the function's rule.
void model(const Fn& f, ChromaLayout& s, ChromaLayout& e) {
    celtest::moveSamples(s, e, [&](int c, int x, int y) -> uint8_t {
        switch (f.rule) {
            case Rule::A: return s.at(c, x, y / 2);  // each source row serves two rows
            case Rule::B: return s.at(c, x, 2 * y);  // even rows only
            case Rule::C: return s.at(c, 2 * x, y);  // even columns only
            case Rule::D: return s.at(c, x / 2, y);  // each sample serves two pairs
            case Rule::E: return s.at(c, x / 2, 2 * y + (x & 1));  // two rows woven into one
            case Rule::F: return s.at(c, 2 * x + (y & 1), y / 2);  // one row unwoven into two
        }
        return 0;
    });
}

void expectModel(const Fn& f, int w, int h, RowWalk srcWalk, RowWalk dstWalk, uint32_t seed) {
    celtest::expectLayoutModel(f, w, h, srcWalk, dstWalk, seed, celStatusOk,
                               [&](ChromaLayout& s, ChromaLayout& e) { model(f, s, e); });
}

class Rate : public ::testing::TestWithParam<Fn> {};

// Widths around every block of every kernel (8 and 16 pairs, 16 and 32
// pixels, 8 and 16 columns of 4:1:1) and heights with odd rows.
TEST_P(Rate, EveryByteFollowsTheRuleAcrossBodyAndTail) {
    const Fn f = GetParam();
    uint32_t seed = 11;
    for (int h : {1, 2, 3, 4, 5, 7})
        for (int w : {2,  3,  4,  5,  6,  7,  8,  9,  12, 15, 16, 17, 18,  20,  31,  32,
                      33, 34, 36, 40, 47, 48, 63, 64, 65, 66, 68, 96, 100, 128, 132, 140}) {
            if (w < f.minW || h < f.minH) continue;
            expectModel(f, w, h, RowWalk::Down, RowWalk::Down, seed++);
        }
}

// Negative steps, a zero source step, and rows back to back (a luma plane
// copied as one row).
TEST_P(Rate, NegativeZeroAndBackToBackSteps) {
    const Fn f = GetParam();
    celtest::everyWalk({{36, 5}, {100, 4}, {140, 7}}, 77, [&](auto... a) { expectModel(f, a...); });
    for (CelSize z : {CelSize{64, 6}, CelSize{132, 4}, CelSize{66, 5}})
        expectModel(f, z.width, z.height, RowWalk::Tight, RowWalk::Tight, 91);
}

INSTANTIATE_TEST_SUITE_P(AllForms, Rate, ::testing::ValuesIn(kFns),
                         [](const ::testing::TestParamInfo<Fn>& i) { return std::string(i.param.name + 4); });

// Sizes that take the streaming paths (traffic above the thresholds, every
// pointer and step 16-byte aligned) give the same bytes: the members that
// have such a path, streaming C2 stores or a streaming luma copy.
TEST(RateStreaming, LargeFramesGiveTheModelsBytes) {
    const std::string streams[] = {"celiYCrCb420ToCbYCr422_8u_P3C2R", "celiYCbCr411ToYCbCr422_8u_P2C2R",
                                   "celiYCbCr411ToYCbCr422_8u_P3C2R", "celiYCbCr411ToYCrCb422_8u_P3C2R",
                                   "celiYCbCr422ToYCbCr411_8u_C2P2R", "celiYCbCr411ToYCbCr420_8u_P3P2R",
                                   "celiYCbCr411ToYCbCr422_8u_P2P3R", "celiYCbCr422ToYCbCr420_8u_P3R",
                                   "celiYCbCr422ToYCbCr411_8u_P3R"};
    int run = 0;
    for (const Fn& f : kFns)
        if (std::find(std::begin(streams), std::end(streams), f.name) != std::end(streams)) {
            expectModel(f, 1280, 448, RowWalk::Down, RowWalk::Down, 5);
            expectModel(f, 1280, 448, RowWalk::Tight, RowWalk::Tight, 6);
            ++run;
        }
    EXPECT_EQ(run, 9);
}

// ---- Worked cases -----------------------------------------------------------------------------------

TEST(RateWorked, FourTwoZeroToFourTwoTwoWithHeightThreeLeavesRowTwo) {
    // 6 x 3, 4:2:0 planes: rows 0 and 1 written, three chroma pairs per row, row 2 untouched
    uint8_t y[3][6], cb[2][3] = {{10, 11, 12}, {90, 91, 92}}, cr[2][3] = {{20, 21, 22}, {80, 81, 82}};
    for (int r = 0; r < 3; ++r)
        for (int x = 0; x < 6; ++x) y[r][x] = uint8_t(16 * r + x);
    uint8_t dy[3][6], dcb[3][3], dcr[3][3];
    std::memset(dy, 0xEE, sizeof dy), std::memset(dcb, 0xEE, sizeof dcb), std::memset(dcr, 0xEE, sizeof dcr);
    const uint8_t* src[3] = {&y[0][0], &cb[0][0], &cr[0][0]};
    int ss[3] = {6, 3, 3}, ds[3] = {6, 3, 3};
    uint8_t* dst[3] = {&dy[0][0], &dcb[0][0], &dcr[0][0]};
    ASSERT_EQ(celiYCbCr420ToYCbCr422_8u_P3R(src, ss, dst, ds, {6, 3}), celStatusOk);
    for (int r = 0; r < 2; ++r) {
        EXPECT_EQ(0, std::memcmp(dy[r], y[r], 6));
        EXPECT_EQ(0, std::memcmp(dcb[r], cb[0], 3));  // both rows carry source row 0
        EXPECT_EQ(0, std::memcmp(dcr[r], cr[0], 3));
    }
    for (int x = 0; x < 6; ++x) EXPECT_EQ(dy[2][x], 0xEE);
    for (int x = 0; x < 3; ++x) {
        EXPECT_EQ(dcb[2][x], 0xEE);
        EXPECT_EQ(dcr[2][x], 0xEE);
    }
}

TEST(RateWorked, WidthFiveInRuleCDoesFourColumnsAndOneChromaSample) {
    // YCbCr422 packed, 5 x 1 (three pairs in memory): groups of four keep the first pair's chroma
    const uint8_t src[12] = {1, 100, 2, 200, 3, 101, 4, 201, 5, 102, 6, 202};
    uint8_t y[8], cb[4], cr[4];
    std::memset(y, 0xEE, 8), std::memset(cb, 0xEE, 4), std::memset(cr, 0xEE, 4);
    uint8_t* dst[3] = {y, cb, cr};
    int ds[3] = {8, 4, 4};
    ASSERT_EQ(celiYCbCr422ToYCbCr411_8u_C2P3R(src, 12, dst, ds, {5, 1}), celStatusOk);
    const uint8_t wantY[8] = {1, 2, 3, 4, 0xEE, 0xEE, 0xEE, 0xEE};
    EXPECT_EQ(0, std::memcmp(y, wantY, 8));
    EXPECT_EQ(cb[0], 100);
    EXPECT_EQ(cr[0], 200);
    EXPECT_EQ(cb[1], 0xEE);
    EXPECT_EQ(cr[1], 0xEE);
}

TEST(RateWorked, WeavingTwoFourOneOneRowsAndBack) {
    // 4 x 4, 4:1:1: four chroma rows of one sample become two rows of two, and F brings them back
    const uint8_t y[16] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
    const uint8_t cb[4] = {1, 2, 3, 4}, cr[4] = {5, 6, 7, 8};
    uint8_t y420[16], cb420[4], cr420[4];
    const uint8_t* src[3] = {y, cb, cr};
    int ss[3] = {4, 1, 1}, ds[3] = {4, 2, 2};
    uint8_t* dst[3] = {y420, cb420, cr420};
    ASSERT_EQ(celiYCbCr411ToYCbCr420_8u_P3R(src, ss, dst, ds, {4, 4}), celStatusOk);
    const uint8_t wantCb[4] = {1, 2, 3, 4}, wantCr[4] = {5, 6, 7, 8};  // row j: rows 2j and 2j+1 side by side
    EXPECT_EQ(0, std::memcmp(cb420, wantCb, 4));
    EXPECT_EQ(0, std::memcmp(cr420, wantCr, 4));
    // to two-plane 4:2:0 through the planes, then back to 4:1:1 planes through F
    uint8_t pairs[8], y2[16];
    const uint8_t* p420[3] = {y420, cb420, cr420};
    ASSERT_EQ(celiYCbCr420_8u_P3P2R(p420, ds, y2, 4, pairs, 4, {4, 4}), celStatusOk);
    const uint8_t wantPairs[8] = {1, 5, 2, 6, 3, 7, 4, 8};
    EXPECT_EQ(0, std::memcmp(pairs, wantPairs, 8));
    uint8_t y411[16], cbBack[4], crBack[4];
    uint8_t* d411[3] = {y411, cbBack, crBack};
    int s411[3] = {4, 1, 1};
    ASSERT_EQ(celiYCbCr420ToYCbCr411_8u_P2P3R(y2, 4, pairs, 4, d411, s411, {4, 4}), celStatusOk);
    EXPECT_EQ(0, std::memcmp(cbBack, cb, 4));
    EXPECT_EQ(0, std::memcmp(crBack, cr, 4));
    EXPECT_EQ(0, std::memcmp(y411, y, 16));
}

TEST(RateWorked, EThenFReturnsTheInputAndBThenADoesNot) {
    const int w = 68, h = 6;
    ChromaLayout s(P3, S411, w, h);
    s.randomize(9);
    ChromaLayout mid(P2, S420, w, h), back(P3, S411, w, h);
    Args a = argsOf(s, mid);
    ASSERT_EQ(celiYCbCr411ToYCbCr420_8u_P3P2R(const_cast<const uint8_t* const*>(a.sp), a.ss, a.dp[0], a.ds[0], a.dp[1],
                                              a.ds[1], {w, h}),
              celStatusOk);
    Args b = argsOf(mid, back);
    ASSERT_EQ(celiYCbCr420ToYCbCr411_8u_P2P3R(b.sp[0], b.ss[0], b.sp[1], b.ss[1], b.dp, b.ds, {w, h}), celStatusOk);
    EXPECT_EQ(back.snapshot(), s.snapshot());

    // 4:2:2 -> 4:2:0 -> 4:2:2: odd rows come back as copies of even rows
    ChromaLayout p422(P3, S422, 8, 4), p420(P3, S420, 8, 4), again(P3, S422, 8, 4);
    p422.randomize(10);
    Args c = argsOf(p422, p420);
    ASSERT_EQ(celiYCbCr422ToYCbCr420_8u_P3R(const_cast<const uint8_t* const*>(c.sp), c.ss, c.dp, c.ds, {8, 4}),
              celStatusOk);
    Args d = argsOf(p420, again);
    ASSERT_EQ(celiYCbCr420ToYCbCr422_8u_P3R(const_cast<const uint8_t* const*>(d.sp), d.ss, d.dp, d.ds, {8, 4}),
              celStatusOk);
    bool allEqual = true;
    for (int ch = 1; ch <= 2; ++ch)
        for (int y = 0; y < 4; ++y)
            for (int x = 0; x < 4; ++x) {
                EXPECT_EQ(again.at(ch, x, y), p422.at(ch, x, y & ~1)) << ch << " " << x << "," << y;
                allEqual = allEqual && again.at(ch, x, y) == p422.at(ch, x, y);
            }
    EXPECT_FALSE(allEqual);  // random odd rows differ from their even neighbours somewhere
}

TEST(RateWorked, ChromaPlaneExchangeOfTheFlaggedForms) {
    // one four-pixel group, 4:1:1 planes Y {1,2,3,4}, Cb 50, Cr 60
    const uint8_t y[4] = {1, 2, 3, 4}, cb[1] = {50}, cr[1] = {60};
    const uint8_t* src[3] = {y, cb, cr};
    int ss[3] = {4, 1, 1};
    uint8_t c2[8];
    ASSERT_EQ(celiYCbCr411ToYCrCb422_8u_P3C2R(src, ss, c2, 8, {4, 1}), celStatusOk);
    const uint8_t wantYVYU[8] = {1, 60, 2, 50, 3, 60, 4, 50};  // Y0 Cr Y1 Cb, both pairs
    EXPECT_EQ(0, std::memcmp(c2, wantYVYU, 8));
    ASSERT_EQ(celiYCbCr411ToYCbCr422_8u_P3C2R(src, ss, c2, 8, {4, 1}), celStatusOk);
    const uint8_t wantYUY2[8] = {1, 50, 2, 60, 3, 50, 4, 60};
    EXPECT_EQ(0, std::memcmp(c2, wantYUY2, 8));
    // YCrCb 4:2:0 planes and YCbCr 4:2:0 planes to 4:1:1 pairs: the output is Cb, Cr either way
    const uint8_t y4[16] = {}, u[2] = {7, 8}, v[2] = {9, 10};
    const uint8_t* i420[3] = {y4, u, v};
    const uint8_t* yv12[3] = {y4, v, u};
    int s420[3] = {4, 2, 2};
    uint8_t ya[8], pa[4], yb[8], pb[4];
    ASSERT_EQ(celiYCbCr420ToYCbCr411_8u_P3P2R(i420, s420, ya, 4, pa, 2, {4, 2}), celStatusOk);
    ASSERT_EQ(celiYCrCb420ToYCbCr411_8u_P3P2R(yv12, s420, yb, 4, pb, 2, {4, 2}), celStatusOk);
    const uint8_t wantPairs[4] = {7, 9, 8, 10};  // row 0: column 0; row 1: column 1
    EXPECT_EQ(0, std::memcmp(pa, wantPairs, 4));
    EXPECT_EQ(0, std::memcmp(pb, wantPairs, 4));
}

}  // namespace
