// Chroma rate conversion: every export against a layout model (a logical
// Y, Cb, Cr image read from the source layout, the rate rule applied to the
// chroma, the result written into the destination layout), compared as
// whole buffers with canaries over widths and heights that hit every
// body/tail split, odd sizes, negative and zero steps; rule E undone by F.  Statuses, check order, sizes below the minimum and heights
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
using celtest::argsOf;
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

// Rule E then rule F gives back the 4:1:1 chroma exactly: a rearrangement,
// not a resampling.  (The documented edge sizes, height 3 from 4:2:0 to
// 4:2:2, width 5 in rule C, width 6 in rule A, 4 x 4 in rule E, are among
// the sizes of the model test above.)
TEST(RateWorked, EThenFReturnsTheInput) {
    const auto named = [](const char* n) { return *std::find_if(std::begin(kFns), std::end(kFns), [&](const Fn& f) { return f.name == std::string(n); }); };
    const Fn e = named("celiYCbCr411ToYCbCr420_8u_P3P2R"), f = named("celiYCbCr420ToYCbCr411_8u_P2P3R");
    ChromaLayout s(P3, S411, 68, 6), mid(P2, S420, 68, 6), back(P3, S411, 68, 6);
    s.randomize(9);
    Args a = argsOf(s, mid), b = argsOf(mid, back);
    ASSERT_EQ(e.call(a, {68, 6}), celStatusOk);
    ASSERT_EQ(f.call(b, {68, 6}), celStatusOk);
    EXPECT_EQ(back.snapshot(), s.snapshot());
}

}  // namespace
