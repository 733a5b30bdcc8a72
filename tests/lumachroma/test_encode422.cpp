// RGB/BGR -> 4:2:2: an independent model of every recipe by pixel position,
// compared byte for byte with the canaries around every row (the expected
// image is built in a second layout and the two are compared whole); every
// colour as a uniform pair through body and tail; the gamma form against
// the gamma export applied first; worked values; round trips.  Statuses, check order and errors that write
// nothing: the robustness table's rows (tests/robust).
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

#include "celcc.h"
#include "common/chroma_layout.h"
#include "common/image_buffer.h"
#include "common/sweep24.h"

namespace {

using celtest::ChromaLayout;
using celtest::ImageBuffer;
using celtest::Kind;
using celtest::RowWalk;
using celtest::Samp;

// ---- Model --------------------------------------------------------------------------------
int rnd(int c, int x) { return (c * x + 16384) >> 15; }
int hiu(int c, int x) { return int((uint32_t(c) * uint32_t(x)) >> 16); }
uint8_t sat8(int v) { return uint8_t(v < 0 ? 0 : v > 255 ? 255 : v); }
using Px = std::array<int, 3>;  // R, G, B

enum class Recipe { LaneFirst, LaneSecond, UHighCbFirst, Filtered, Gamma, Hdtv709 };

uint8_t laneLuma(const Px& p) { return sat8((rnd(4211, p[0] * 128) + rnd(8258, p[1] * 128) + rnd(1606, p[2] * 128) + 1056) >> 6); }
uint8_t q16Luma(const Px& p, int add = 0x108000) { return uint8_t((16843 * p[0] + 33030 * p[1] + 6423 * p[2] + add) >> 16); }
int pcb(const Px& p) { return -9699 * p[0] - 19071 * p[1] + 28770 * p[2]; }
int pcr(const Px& p) { return 28770 * p[0] - 24117 * p[1] - 4653 * p[2]; }

// BT.709, full-scale luma: Q15 body, Q16/Q17 scalar pairs, every byte held in 1..254.
uint8_t hold(int v) { return uint8_t(v < 1 ? 1 : v > 254 ? 254 : v); }
std::array<uint8_t, 4> hdtvPair(bool vec, const Px& a, const Px& b) {
    const int SR = a[0] + b[0], SG = a[1] + b[1], SB = a[2] + b[2];
    if (!vec) {
        const auto y = [](const Px& p) { return hold((13959 * p[0] + 46858 * p[1] + 4719 * p[2] + 32768) >> 16); };
        return {y(a), y(b), hold((-7668 * SR - 25821 * SG + 33489 * SB + 16842752) >> 17),
                hold((33489 * SR - 30409 * SG - 3080 * SB + 16842750) >> 17)};
    }
    const auto y = [](const Px& p) {
        return hold(sat8((hiu(6980, p[0] * 256) + hiu(23429, p[1] * 256) + hiu(2359, p[2] * 256) + 64) >> 7));
    };
    const int sr = SR * 64, sg = SG * 64, sb = SB * 64;
    return {y(a), y(b), hold(sat8((hiu(16744, sb) - (hiu(3834, sr) + hiu(12911, sg)) + 8224) >> 6)),
            hold(sat8((hiu(16744, sr) - (hiu(15204, sg) + hiu(1540, sb)) + 8224) >> 6))};
}

// Y0, Y1, Cb, Cr of a pair.
std::array<uint8_t, 4> pairModel(Recipe rc, bool vec, const Px& a, const Px& b) {
    if (rc == Recipe::Hdtv709) return hdtvPair(vec, a, b);
    const int SR = a[0] + b[0], SG = a[1] + b[1], SB = a[2] + b[2];
    if (!vec) {
        const bool first = rc == Recipe::LaneFirst;
        const int cbAdd = rc == Recipe::LaneSecond ? 0x1004000 : 0x1010000;
        const int crAdd = rc == Recipe::LaneSecond ? 0x1004000 : rc == Recipe::UHighCbFirst ? 0x100FFFE : 0x1010000;
        return {q16Luma(a), q16Luma(b, first ? 0x100000 : 0x108000), uint8_t((-9699 * SR - 19071 * SG + 28770 * SB + cbAdd) >> 17),
                uint8_t((28770 * SR - 24117 * SG - 4653 * SB + crAdd) >> 17)};
    }
    if (rc == Recipe::UHighCbFirst) {
        const auto y = [](const Px& p) { return sat8((hiu(8422, p[0] * 256) + hiu(16515, p[1] * 256) + hiu(3212, p[2] * 256) + 2112) >> 7); };
        const int sr = SR * 64, sg = SG * 64, sb = SB * 64;
        return {y(a), y(b), sat8((hiu(28770, sb) - (hiu(9699, sr) + hiu(19071, sg)) + 16400) >> 7),
                sat8((hiu(28770, sr) - (hiu(24117, sg) + hiu(4653, sb)) + 16400) >> 7)};
    }
    const int sr = SR * 64, sg = SG * 64, sb = SB * 64;
    return {laneLuma(a), laneLuma(b), sat8((rnd(7193, sb) - rnd(4768, sg) - rnd(2425, sr) + 8224) >> 6),
            sat8((rnd(7193, sr) - rnd(6029, sg) - rnd(1163, sb) + 8224) >> 6)};
}

// ---- The functions --------------------------------------------------------------------------
struct Fn {
    const char* name;
    int srcBytes;  // 3, 4, or 0: planes R, G, B with one step
    bool bgr;
    Kind out;
    Recipe recipe;
    int minW;
};
void PrintTo(const Fn& f, std::ostream* os) { *os << f.name; }

const Fn kFns[] = {
    {"RGBToYCbCr422_P3C2R", 0, false, Kind::YUY2, Recipe::LaneFirst, 1},
    {"RGBToYCrCb422_P3C2R", 0, false, Kind::YVYU, Recipe::LaneFirst, 1},
    {"RGBToYCbCr422_C3C2R", 3, false, Kind::YUY2, Recipe::LaneFirst, 1},
    {"RGBToYCrCb422_C3C2R", 3, false, Kind::YVYU, Recipe::LaneFirst, 1},
    {"RGBToYCbCr422_C3P3R", 3, false, Kind::P3CbCr, Recipe::LaneSecond, 2},
    {"BGRToYCbCr422_C3C2R", 3, true, Kind::YUY2, Recipe::LaneSecond, 2},
    {"BGRToYCbCr422_AC4C2R", 4, true, Kind::YUY2, Recipe::LaneSecond, 2},
    {"BGRToYCbCr422_C3P3R", 3, true, Kind::P3CbCr, Recipe::LaneSecond, 2},
    {"BGRToYCbCr422_AC4P3R", 4, true, Kind::P3CbCr, Recipe::LaneSecond, 2},
    {"RGBToCbYCr422_C3C2R", 3, false, Kind::UYVY, Recipe::Filtered, 1},
    {"BGRToCbYCr422_AC4C2R", 4, true, Kind::UYVY, Recipe::UHighCbFirst, 1},
    {"RGBToCbYCr422Gamma_C3C2R", 3, false, Kind::UYVY, Recipe::Gamma, 1},
    {"BGRToCbYCr422_709HDTV_C3C2R", 3, true, Kind::UYVY, Recipe::Hdtv709, 1},
    {"BGRToCbYCr422_709HDTV_AC4C2R", 4, true, Kind::UYVY, Recipe::Hdtv709, 1},
};

// Source pixels: one interleaved buffer or three planes, walked like the destination.
struct Source {
    std::vector<ImageBuffer> b;
    int bytes, w, h;
    RowWalk walk;
    Source(const Fn& fn, int w_, int h_, RowWalk walk_ = RowWalk::Down) : bytes(fn.srcBytes), w(w_), h(h_), walk(walk_) {
        for (int i = 0; i < (bytes ? 1 : 3); ++i) b.emplace_back(std::max(w, 1) * (bytes ? bytes : 1), std::max(h, 1));
    }
    uint8_t* rowOf(int i, int y) { return b[i].row(walk == RowWalk::Up ? h - 1 - y : walk == RowWalk::Same ? 0 : y); }
    uint8_t& at(int x, int y, int c) { return bytes ? rowOf(0, y)[bytes * x + c] : rowOf(c, y)[x]; }
    // R, G, B of pixel x (which may lie past the row: the gamma form reads there)
    Px px(const Fn& fn, int x, int y) {
        const int r = at(x, y, fn.bgr ? 2 : 0), g = at(x, y, 1), bl = at(x, y, fn.bgr ? 0 : 2);
        return {r, g, bl};
    }
    uint8_t* base(int i) { return walk == RowWalk::Up ? b[i].lastRow() : b[i].row(0); }
    int step() const { return walk == RowWalk::Up ? -b[0].step() : walk == RowWalk::Same ? 0 : b[0].step(); }
};

CelStatus call(const Fn& fn, Source& s, ChromaLayout& d, CelSize roi) {
    uint8_t* dp[3];
    int ds[3];
    d.planes(dp, ds);
    const std::string n = fn.name;
    const uint8_t* src = s.base(0);
    const int ss = s.step();
    if (fn.srcBytes == 0) {
        const uint8_t* p[3] = {s.base(0), s.base(1), s.base(2)};
        return n == "RGBToYCbCr422_P3C2R" ? celiRGBToYCbCr422_8u_P3C2R(p, ss, dp[0], ds[0], roi)
                                          : celiRGBToYCrCb422_8u_P3C2R(p, ss, dp[0], ds[0], roi);
    }
    if (n == "RGBToYCbCr422_C3C2R") return celiRGBToYCbCr422_8u_C3C2R(src, ss, dp[0], ds[0], roi);
    if (n == "RGBToYCrCb422_C3C2R") return celiRGBToYCrCb422_8u_C3C2R(src, ss, dp[0], ds[0], roi);
    if (n == "RGBToYCbCr422_C3P3R") return celiRGBToYCbCr422_8u_C3P3R(src, ss, dp, ds, roi);
    if (n == "BGRToYCbCr422_C3C2R") return celiBGRToYCbCr422_8u_C3C2R(src, ss, dp[0], ds[0], roi);
    if (n == "BGRToYCbCr422_AC4C2R") return celiBGRToYCbCr422_8u_AC4C2R(src, ss, dp[0], ds[0], roi);
    if (n == "BGRToYCbCr422_C3P3R") return celiBGRToYCbCr422_8u_C3P3R(src, ss, dp, ds, roi);
    if (n == "BGRToYCbCr422_AC4P3R") return celiBGRToYCbCr422_8u_AC4P3R(src, ss, dp, ds, roi);
    if (n == "RGBToCbYCr422_C3C2R") return celiRGBToCbYCr422_8u_C3C2R(src, ss, dp[0], ds[0], roi);
    if (n == "BGRToCbYCr422_AC4C2R") return celiBGRToCbYCr422_8u_AC4C2R(src, ss, dp[0], ds[0], roi);
    if (n == "BGRToCbYCr422_709HDTV_C3C2R") return celiBGRToCbYCr422_709HDTV_8u_C3C2R(src, ss, dp[0], ds[0], roi);
    if (n == "BGRToCbYCr422_709HDTV_AC4C2R") return celiBGRToCbYCr422_709HDTV_8u_AC4C2R(src, ss, dp[0], ds[0], roi);
    return celiRGBToCbYCr422Gamma_8u_C3C2R(src, ss, dp[0], ds[0], roi);
}

// The gamma form's model reads the source after the gamma export.
Px gammaPx(const Px& p) {
    uint8_t v[3] = {uint8_t(p[0]), uint8_t(p[1]), uint8_t(p[2])}, t[3];
    EXPECT_EQ(celiGammaFwd_8u_C3R(v, 3, t, 3, {1, 1}), celStatusOk);
    return {t[0], t[1], t[2]};
}

// Writes what the function must write into `e` (a layout of the same kind
// filled like the destination).
void buildExpected(const Fn& fn, Source& s, ChromaLayout& e, int w, int h) {
    for (int y = 0; y < h; ++y) {
        const auto put = [&](int x, uint8_t y0, uint8_t y1, uint8_t cb, uint8_t cr) {
            e.at(0, x, y) = y0, e.at(0, x + 1, y) = y1, e.at(1, x / 2, y) = cb, e.at(2, x / 2, y) = cr;
        };
        if (fn.recipe == Recipe::Filtered || fn.recipe == Recipe::Gamma) {
            const bool gamma = fn.recipe == Recipe::Gamma;
            const auto P = [&](int x) { return gamma ? gammaPx(s.px(fn, x, y)) : s.px(fn, x, y); };
            // per-pixel chroma terms, body (vector) form
            const auto term = [&](int x, bool cr) {
                const Px p = P(x);
                const bool odd = x & 1;
                if (gamma) {
                    return cr ? (odd ? 3596 * p[0] - 3015 * p[1] - 582 * p[2] : 7193 * p[0] - 6030 * p[1] - 1164 * p[2])
                              : (odd ? -1213 * p[0] - 2385 * p[1] + 3596 * p[2] : -2426 * p[0] - 4769 * p[1] + 7193 * p[2]);
                }
                const int r = p[0] * 128, g = p[1] * 128, b = p[2] * 128;
                return cr ? (odd ? rnd(3596, r) - rnd(3015, g) - rnd(582, b) : rnd(7193, r) - rnd(6029, g) - rnd(1163, b))
                          : (odd ? rnd(3596, b) - rnd(2384, g) - rnd(1212, r) : rnd(7193, b) - rnd(4768, g) - rnd(2425, r));
            };
            const int vecPairs = gamma ? w / 2 : (w / 2) & ~3;
            for (int i = 0; i < w / 2; ++i) {
                const int x = 2 * i;
                uint8_t c[2];
                for (int k = 0; k < 2; ++k) {
                    if (i < vecPairs) {
                        const int sum = (i ? term(x - 1, k) : 0) + term(x, k) + term(x + 1, k);
                        c[k] = gamma ? sat8((sum + 0x403FFF) >> 15) : sat8((sum + 16448) >> 7);
                    } else {
                        const auto pc = [&](int at) { return k ? pcr(P(at)) : pcb(P(at)); };
                        const int carry = i == 0 ? 0 : i == vecPairs ? term(x - 1, k) * 512 : pc(x - 1) >> 2;
                        c[k] = uint8_t(((pc(x) >> 1) + carry + (pc(x + 1) >> 2) + 0x807FFF) >> 16);
                    }
                }
                const auto luma = [&](int at) {
                    const Px p = P(at);
                    if (gamma) return sat8((8422 * p[0] + 16515 * p[1] + 3212 * p[2] + 0x84000) >> 15);
                    return i < vecPairs ? laneLuma(p) : q16Luma(p);
                };
                put(x, luma(x), luma(x + 1), c[0], c[1]);
            }
            // the single pixel: the last one, or (gamma, width % 4 == 2) one past the row
            const int lone = gamma ? ((w & 3) ? (w & ~3) + (w & 2) : -1) : ((w & 1) ? w - 1 : -1);
            if (lone >= 0) {
                const Px p = P(lone);
                uint8_t* row = &e.at(1, 0, y);  // Cb Y0 Cr Y1: the row starts with Cb
                row[2 * lone] = uint8_t((pcb(p) + 0x808000) >> 16);
                row[2 * lone + 1] = q16Luma(p);
            }
            continue;
        }
        const int vecEnd = w & ~7;
        for (int x = 0; x + 1 < w; x += 2) {
            const auto v = pairModel(fn.recipe, x < vecEnd, s.px(fn, x, y), s.px(fn, x + 1, y));
            put(x, v[0], v[1], v[2], v[3]);
        }
    }
}

void runAndCompare(const Fn& fn, Source& s, int w, int h, RowWalk walk) {
    ChromaLayout d(fn.out, Samp::S422, w, h, walk), e(fn.out, Samp::S422, w, h, walk);
    ASSERT_EQ(call(fn, s, d, {w, h}), celStatusOk) << fn.name << " " << w << "x" << h;
    buildExpected(fn, s, e, w, h);
    if (d.snapshot() == e.snapshot()) return;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            for (int c = 0; c < 3; ++c) {
                const int i = c ? x / 2 : x;
                ASSERT_EQ(d.at(c, i, y), e.at(c, i, y)) << fn.name << " " << w << "x" << h << " component " << c << " at "
                                                        << i << "," << y;
            }
    FAIL() << fn.name << " " << w << "x" << h << ": a byte outside the region differs";
}

class Encode422 : public ::testing::TestWithParam<Fn> {};

TEST_P(Encode422, MatchesModelAcrossWidthsHeightsAndSteps) {
    const Fn fn = GetParam();
    uint32_t seed = 11;
    for (RowWalk walk : {RowWalk::Down, RowWalk::Up, RowWalk::Same})
        for (int h : {1, 2, 3})
            for (int w : {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 14, 15, 16, 17, 18, 23, 24, 25, 26, 31, 32, 33, 40, 47, 101}) {
                if (w < fn.minW) continue;
                Source s(fn, w, h, walk);
                for (auto& b : s.b) b.randomize(seed += 5);
                runAndCompare(fn, s, w, h, walk);
                if (HasFatalFailure()) return;
            }
}

// Every RGB colour as a uniform pair, through the body (rows of 32 pixels)
// and through the scalar pairs (rows of 6): luma sees every colour, chroma
// every pair sum of two equal pixels.  The filtered forms mix neighbours and
// are left to the random images; of the rest, one member per recipe runs.
TEST_P(Encode422, EveryColourAsAUniformPairThroughBodyAndTail) {
    const Fn fn = GetParam();
    if (fn.recipe == Recipe::Filtered || fn.recipe == Recipe::Gamma) GTEST_SKIP() << "filtered chroma";
    for (const Fn& other : kFns) {
        if (std::string(other.name) == fn.name) break;
        if (other.recipe == fn.recipe) GTEST_SKIP() << "recipe swept by " << other.name;
    }
    for (int w : {32, 6}) {
        const int pairs = w / 2, h = int((celtest::sweep24Count() + pairs - 1) / pairs);
        Source s(fn, w, h);
        for (int y = 0; y < h; ++y)
            for (int i = 0; i < pairs; ++i) {
                int r, g, b;
                celtest::sweep24Input(int64_t(y) * pairs + i, r, g, b);
                for (int k = 0; k < 2; ++k)
                    s.at(2 * i + k, y, fn.bgr ? 2 : 0) = uint8_t(r), s.at(2 * i + k, y, 1) = uint8_t(g),
                                       s.at(2 * i + k, y, fn.bgr ? 0 : 2) = uint8_t(b);
            }
        runAndCompare(fn, s, w, h, RowWalk::Down);
        if (HasFatalFailure()) return;
    }
}

INSTANTIATE_TEST_SUITE_P(AllForms, Encode422, ::testing::ValuesIn(kFns),
                         [](const ::testing::TestParamInfo<Fn>& i) { return std::string(i.param.name); });

// ---- Worked values -------------------------------------------------------------------------------
const Fn& byName(const char* n) {
    for (const Fn& f : kFns)
        if (std::string(f.name) == n) return f;
    throw std::runtime_error(n);
}

TEST(Encode422Worked, WidthThreeWhiteConvertsOnePairAndLeavesTheThird) {
    const Fn& fn = byName("RGBToYCbCr422_P3C2R");
    Source s(fn, 3, 1);
    for (auto& b : s.b) b.fill(255);
    ChromaLayout d(fn.out, Samp::S422, 3, 1);
    ASSERT_EQ(call(fn, s, d, {3, 1}), celStatusOk);
    EXPECT_EQ(d.at(0, 0, 0), 235);
    EXPECT_EQ(d.at(1, 0, 0), 128);
    EXPECT_EQ(d.at(2, 0, 0), 128);
    EXPECT_EQ(d.at(0, 2, 0), 0x5A);  // the third pixel stays unwritten
}

TEST(Encode422Worked, FirstGroupTruncatesTheSecondLumaOfAScalarPair) {
    // Two equal pixels, width 2 (all scalar): some grey gives Y0 one above Y1.
    const Fn& fn = byName("RGBToYCbCr422_C3C2R");
    int found = -1;
    for (int v = 0; v < 256 && found < 0; ++v)
        if (q16Luma({v, v, v}) != q16Luma({v, v, v}, 0x100000)) found = v;
    ASSERT_GE(found, 0);
    Source s(fn, 2, 1);
    s.b[0].fill(uint8_t(found));
    ChromaLayout d(fn.out, Samp::S422, 2, 1);
    ASSERT_EQ(call(fn, s, d, {2, 1}), celStatusOk);
    EXPECT_EQ(d.at(0, 0, 0), d.at(0, 1, 0) + 1);
}

TEST(Encode422Worked, YCrCbIsYCbCrWithBytesOneAndThreeExchanged) {
    const Fn &a = byName("RGBToYCbCr422_C3C2R"), &b = byName("RGBToYCrCb422_C3C2R");
    Source s(a, 37, 2);
    s.b[0].randomize(4);
    ChromaLayout da(a.out, Samp::S422, 37, 2), db(b.out, Samp::S422, 37, 2);
    ASSERT_EQ(call(a, s, da, {37, 2}), celStatusOk);
    ASSERT_EQ(call(b, s, db, {37, 2}), celStatusOk);
    for (int y = 0; y < 2; ++y)
        for (int i = 0; i < 18; ++i) {
            const uint8_t* p = da.b[0].row(y) + 4 * i;
            const uint8_t* q = db.b[0].row(y) + 4 * i;
            const int swapped[4] = {0, 3, 2, 1};
            for (int k = 0; k < 4; ++k) EXPECT_EQ(p[k], q[swapped[k]]);
        }
}

TEST(Encode422Worked, FilteredFirstPairStandsThreeQuartersOfTheWay) {
    const Fn& fn = byName("RGBToCbYCr422_C3C2R");
    Source s(fn, 32, 1);
    for (int x = 0; x < 32; ++x) s.at(x, 0, 0) = 0, s.at(x, 0, 1) = 0, s.at(x, 0, 2) = 255;  // blue
    ChromaLayout d(fn.out, Samp::S422, 32, 1);
    ASSERT_EQ(call(fn, s, d, {32, 1}), celStatusOk);
    const int first = d.at(1, 0, 0), other = d.at(1, 5, 0);
    EXPECT_EQ(other, 240);
    EXPECT_NEAR(first - 128, 0.75 * (other - 128), 1.0);
    for (int i = 1; i < 16; ++i) EXPECT_EQ(d.at(1, i, 0), other);
}

TEST(Encode422Worked, GammaWidthSixWritesTwoBytesPastTheRowFromPixelSix) {
    const Fn& fn = byName("RGBToCbYCr422Gamma_C3C2R");
    std::vector<uint8_t> src(3 * 7), dst(14, 0x33);
    for (int x = 0; x < 7; ++x) src[3 * x] = 0, src[3 * x + 1] = 0, src[3 * x + 2] = uint8_t(x == 6 ? 255 : 0);
    ASSERT_EQ(celiRGBToCbYCr422Gamma_8u_C3C2R(src.data(), 21, dst.data(), 14, {6, 1}), celStatusOk);
    EXPECT_EQ(dst[12], 240);  // Cb of pure blue through the single-pixel recipe
    EXPECT_EQ(dst[13], 41);
    EXPECT_EQ(dst[1], 16);
    (void)fn;
}

// The aligned twins (pointers and steps multiples of 16) against the model,
// and against the general path on the same pixels one byte off.
TEST(Encode422Worked, AlignedTwinsMatchTheModelAndTheGeneralPath) {
    for (const char* name : {"BGRToCbYCr422_AC4C2R", "BGRToCbYCr422_709HDTV_AC4C2R"}) {
        const Fn& fn = byName(name);
        const int w = 45, h = 3, sStep = 192, dStep = 96;
        alignas(16) static uint8_t src[h * sStep + 16], a[h * dStep], b[h * dStep + 16];
        for (int i = 0; i < h * sStep + 16; ++i) src[i] = uint8_t(i * 97 + (i >> 7) * 13);
        std::fill(a, a + sizeof a, uint8_t(0x5A)), std::fill(b, b + sizeof b, uint8_t(0x5A));
        for (int off : {0, 1}) {
            uint8_t* d = off ? b + 1 : a;
            const CelStatus st = fn.recipe == Recipe::Hdtv709
                                     ? celiBGRToCbYCr422_709HDTV_8u_AC4C2R(src + off, sStep, d, dStep, {w, h})
                                     : celiBGRToCbYCr422_8u_AC4C2R(src + off, sStep, d, dStep, {w, h});
            ASSERT_EQ(st, celStatusOk);
            for (int y = 0; y < h; ++y)
                for (int x = 0; x + 1 < w; x += 2) {
                    const auto p = [&](int at) {
                        const uint8_t* q = src + off + y * sStep + 4 * at;
                        return Px{q[2], q[1], q[0]};
                    };
                    const auto e = pairModel(fn.recipe, x < (w & ~7), p(x), p(x + 1));
                    const uint8_t* o = d + y * dStep + 2 * x;
                    ASSERT_EQ((std::array<uint8_t, 4>{o[1], o[3], o[0], o[2]}), e) << name << " offset " << off << " at " << x;
                }
        }
        for (int y = 0; y < h; ++y) ASSERT_EQ(a[y * dStep + 2 * w - 1], 0x5A) << name << ": odd last pixel untouched";
    }
}

// ---- Round trips ------------------------------------------------------------------------------
// Smooth content (gradients with mild noise) through an encoder and the
// matching decoder; subsampling and the two fixed-point recipes together
// stay within a few steps.
TEST(Encode422RoundTrip, GradientsComeBackClose) {
    const int w = 320, h = 48;
    std::vector<uint8_t> rgb(size_t(3) * w * h), yuy2(size_t(2) * w * h), back(rgb.size());
    uint32_t noise = 1;
    for (int j = 0; j < h; ++j)
        for (int i = 0; i < w; ++i) {
            noise = noise * 1103515245u + 12345u;
            uint8_t* p = &rgb[(size_t(j) * w + i) * 3];
            const int n = int(noise >> 30) - 1;
            p[0] = uint8_t(std::clamp(i * 255 / (w - 1) + n, 0, 255));
            p[1] = uint8_t(std::clamp(j * 255 / (h - 1) + n, 0, 255));
            p[2] = uint8_t(std::clamp(200 - i / 4 + n, 0, 255));
        }
    int worst = 0;
    ASSERT_EQ(celiRGBToYCbCr422_8u_C3C2R(rgb.data(), 3 * w, yuy2.data(), 2 * w, {w, h}), celStatusOk);
    ASSERT_EQ(celiYCbCr422ToRGB_8u_C2C3R(yuy2.data(), 2 * w, back.data(), 3 * w, {w, h}), celStatusOk);
    for (size_t i = 0; i < rgb.size(); ++i) worst = std::max(worst, std::abs(rgb[i] - back[i]));
    EXPECT_LE(worst, 6);
    RecordProperty("max_error_yuy2", worst);
    ASSERT_EQ(celiRGBToCbYCr422_8u_C3C2R(rgb.data(), 3 * w, yuy2.data(), 2 * w, {w, h}), celStatusOk);
    ASSERT_EQ(celiCbYCr422ToRGB_8u_C2C3R(yuy2.data(), 2 * w, back.data(), 3 * w, {w, h}), celStatusOk);
    worst = 0;
    for (int j = 0; j < h; ++j)  // the first pair of a row lacks its left term: skip it
        for (int i = 3 * 2; i < 3 * w; ++i) worst = std::max(worst, std::abs(rgb[size_t(j) * 3 * w + i] - back[size_t(j) * 3 * w + i]));
    EXPECT_LE(worst, 6);
    RecordProperty("max_error_uyvy", worst);
}

}  // namespace
