// RGB -> YCbCr at full resolution: worked values, a scalar reference model
// of the three recipes compared byte for byte, canaries.  Statuses: the robustness table's rows (tests/robust).
//
// The model below is written from the formulas, independently of the
// library's recipe helpers, and models body versus tail by pixel position.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "celcc.h"
#include "common/layout_image.h"
#include "common/sweep24.h"

namespace {

using celtest::ImageBuffer;
using Px = std::array<uint8_t, 3>;

// ---- Reference model ---------------------------------------------------------
int rnd(int c, int x) { return (c * x + 16384) >> 15; }
int hiu(int c, int x) { return static_cast<int>((static_cast<uint32_t>(c) * static_cast<uint32_t>(x)) >> 16); }
int his(int c, int x) { return (c * x) >> 16; }  // both signed; >> floors
uint8_t sat8(int v) { return static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v); }

Px roundedLane(int R, int G, int B) {
    const int r = R * 128, g = G * 128, b = B * 128;
    return {sat8((rnd(4211, r) + rnd(8258, g) + rnd(1606, b) + 1056) >> 6),
            sat8((rnd(7193, b) - rnd(4768, g) - rnd(2425, r) + 8194) >> 6),
            sat8((rnd(7193, r) - rnd(6029, g) - rnd(1163, b) + 8194) >> 6)};
}

Px highWord(int R, int G, int B) {
    const int r = R * 128, g = G * 128, b = B * 128;
    return {sat8(((hiu(16843, R * 256) + hiu(33030, G * 256) + hiu(6423, B * 256) + 128) >> 8) + 16),
            sat8(((his(-9699, r) + his(-19071, g) + his(28770, b) + 64) >> 7) + 128),
            sat8(((his(28770, r) + his(-24117, g) + his(-4653, b) + 64) >> 7) + 128)};
}

Px scalarQ16(int R, int G, int B) {
    return {static_cast<uint8_t>((16843 * R + 33030 * G + 6423 * B + 1081344) >> 16),
            static_cast<uint8_t>((-9699 * R - 19071 * G + 28770 * B + 8421376) >> 16),
            static_cast<uint8_t>((28770 * R - 24117 * G - 4653 * B + 8421376) >> 16)};
}

// ---- The five functions, described for a common harness --------------------
enum class Lay { C3, AC4, P3 };

struct Fn {
    const char* name;
    Lay src, dst;
    int body;                      // pixels per vector iteration
    Px (*bodyRecipe)(int, int, int);
};

const Fn kFns[] = {
    {"C3R", Lay::C3, Lay::C3, 16, roundedLane},
    {"AC4R", Lay::AC4, Lay::AC4, 16, roundedLane},
    {"C3P3R", Lay::C3, Lay::P3, 8, highWord},
    {"AC4P3R", Lay::AC4, Lay::P3, 8, highWord},
    {"P3R", Lay::P3, Lay::P3, 8, highWord},
};

void PrintTo(const Fn& f, std::ostream* os) { *os << f.name; }

int channels(Lay l) { return l == Lay::AC4 ? 4 : 3; }

// An image in the layout l (interleaved or three planes).
struct Img : celtest::LayoutImage {
    Lay lay;
    Img(Lay l, int w, int h, uint8_t fill = 0x5A)
        : LayoutImage(l == Lay::P3 ? 3 : 1, channels(l), w, h, fill), lay(l) {}
};

// Calls the library's function; rowSign -1 passes the bottom row and a
// negative step, 0 passes a zero source step.
CelStatus run(const Fn& fn, Img& s, Img& d, int srcSign = 1, int dstSign = 1) {
    const int sy = srcSign < 0 ? s.height - 1 : 0, dy = dstSign < 0 ? d.height - 1 : 0;
    const int ss = s.step() * srcSign, ds = d.step() * dstSign;
    const CelSize roi{s.width, s.height};
    const std::string n = fn.name;
    if (n == "C3R") return celiRGBToYCbCr_8u_C3R(s.bufs[0].row(sy), ss, d.bufs[0].row(dy), ds, roi);
    if (n == "AC4R") return celiRGBToYCbCr_8u_AC4R(s.bufs[0].row(sy), ss, d.bufs[0].row(dy), ds, roi);
    uint8_t* dp[3] = {d.bufs[0].row(dy), d.bufs[1].row(dy), d.bufs[2].row(dy)};
    if (n == "C3P3R") return celiRGBToYCbCr_8u_C3P3R(s.bufs[0].row(sy), ss, dp, ds, roi);
    if (n == "AC4P3R") return celiRGBToYCbCr_8u_AC4P3R(s.bufs[0].row(sy), ss, dp, ds, roi);
    const uint8_t* sp[3] = {s.bufs[0].row(sy), s.bufs[1].row(sy), s.bufs[2].row(sy)};
    return celiRGBToYCbCr_8u_P3R(sp, ss, dp, ds, roi);
}

// Expected Y, Cb, Cr of pixel x of a row of `width` pixels.
Px expected(const Fn& fn, int x, int width, int R, int G, int B) {
    const int bodyEnd = width - width % fn.body;
    return x < bodyEnd ? fn.bodyRecipe(R, G, B) : scalarQ16(R, G, B);
}

// Compares every destination byte with the model; srcRowOf maps an output row
// to the source row it reads.
void expectMatchesModel(const Fn& fn, Img& s, Img& d, const std::function<int(int)>& srcRowOf,
                        const std::string& what) {
    for (int y = 0; y < d.height; ++y)
        for (int x = 0; x < d.width; ++x) {
            const int sy = srcRowOf(y);
            const int R = s.at(x, sy, 0), G = s.at(x, sy, 1), B = s.at(x, sy, 2);
            const Px e = expected(fn, x, d.width, R, G, B);
            for (int c = 0; c < 3; ++c)
                ASSERT_EQ(d.at(x, y, c), e[c]) << fn.name << " " << what << " w=" << d.width << " h=" << d.height
                                               << " at (" << x << "," << y << ") channel " << c << " src (" << R << ","
                                               << G << "," << B << ")";
        }
}

class RgbToYCbCr : public ::testing::TestWithParam<Fn> {};

// ---- Worked values ------------------------------------------------------------
struct Worked {
    int R, G, B;
    Px lane, high, q16;
};
const Worked kWorked[] = {
    {0, 0, 0, {16, 128, 128}, {16, 128, 128}, {16, 128, 128}},
    {255, 255, 255, {235, 128, 128}, {235, 128, 128}, {235, 128, 128}},
    {255, 0, 0, {82, 90, 239}, {82, 90, 240}, {82, 90, 240}},
    {0, 255, 0, {145, 53, 34}, {145, 54, 34}, {145, 54, 34}},
    {0, 0, 255, {41, 239, 109}, {41, 240, 110}, {41, 240, 110}},
    {1, 2, 3, {18, 128, 127}, {18, 129, 127}, {18, 129, 127}},
};

TEST(RgbToYCbCrModel, ModelReproducesTheRecipeTable) {
    for (const auto& w : kWorked) {
        EXPECT_EQ(roundedLane(w.R, w.G, w.B), w.lane);
        EXPECT_EQ(highWord(w.R, w.G, w.B), w.high);
        EXPECT_EQ(scalarQ16(w.R, w.G, w.B), w.q16);
    }
}

// Each function run on a row of the body's width gives the body recipe's
// column of the table; on a row narrower than the body, the scalar column.
TEST_P(RgbToYCbCr, WorkedValuesOfBodyAndTail) {
    const Fn fn = GetParam();
    for (const auto& w : kWorked) {
        for (int width : {fn.body, fn.body - 1}) {
            Img s(fn.src, width, 1), d(fn.dst, width, 1);
            for (int x = 0; x < width; ++x) {
                s.at(x, 0, 0) = static_cast<uint8_t>(w.R);
                s.at(x, 0, 1) = static_cast<uint8_t>(w.G);
                s.at(x, 0, 2) = static_cast<uint8_t>(w.B);
            }
            ASSERT_EQ(run(fn, s, d), celStatusOk);
            const Px want = width == fn.body ? (fn.bodyRecipe == roundedLane ? w.lane : w.high) : w.q16;
            for (int x = 0; x < width; ++x)
                for (int c = 0; c < 3; ++c)
                    EXPECT_EQ(d.at(x, 0, c), want[c])
                        << fn.name << " width " << width << " input " << w.R << "," << w.G << "," << w.B;
        }
    }
}

TEST(RgbToYCbCrWorked, PureRedWidth17SplitsBodyAndTail) {
    const Fn fn = kFns[0];
    Img s(Lay::C3, 17, 1), d(Lay::C3, 17, 1);
    for (int x = 0; x < 17; ++x) {
        s.at(x, 0, 0) = 255;
        s.at(x, 0, 1) = 0;
        s.at(x, 0, 2) = 0;
    }
    ASSERT_EQ(run(fn, s, d), celStatusOk);
    for (int x = 0; x < 16; ++x) EXPECT_EQ(d.at(x, 0, 2), 239) << x;
    EXPECT_EQ(d.at(16, 0, 2), 240);
}

TEST(RgbToYCbCrWorked, C3P3RWidth8RedIs240WhereC3RWidth16Is239) {
    Img s8(Lay::C3, 8, 1), d8(Lay::P3, 8, 1), s16(Lay::C3, 16, 1), d16(Lay::C3, 16, 1);
    for (Img* s : {&s8, &s16})
        for (int x = 0; x < s->width; ++x) {
            s->at(x, 0, 0) = 255;
            s->at(x, 0, 1) = 0;
            s->at(x, 0, 2) = 0;
        }
    ASSERT_EQ(run(kFns[2], s8, d8), celStatusOk);
    ASSERT_EQ(run(kFns[0], s16, d16), celStatusOk);
    for (int x = 0; x < 8; ++x) EXPECT_EQ(d8.at(x, 0, 2), 240);
    for (int x = 0; x < 16; ++x) EXPECT_EQ(d16.at(x, 0, 2), 239);
}

TEST(RgbToYCbCrWorked, AC4RClearsAlphaInBodyAndKeepsItInTail) {
    const Fn fn = kFns[1];
    Img s(Lay::AC4, 17, 1), d(Lay::AC4, 17, 1);
    d.bufs[0].fill(0xAA);
    std::mt19937 rng(7);
    for (int x = 0; x < 17; ++x)
        for (int c = 0; c < 4; ++c) s.at(x, 0, c) = static_cast<uint8_t>(rng());
    ASSERT_EQ(run(fn, s, d), celStatusOk);
    for (int x = 0; x < 16; ++x) EXPECT_EQ(d.at(x, 0, 3), 0) << x;
    EXPECT_EQ(d.at(16, 0, 3), 0xAA);
    // The source's alpha has no effect anywhere.
    Img s2 = s, d2(Lay::AC4, 17, 1);
    for (int x = 0; x < 17; ++x) s2.at(x, 0, 3) = static_cast<uint8_t>(~s.at(x, 0, 3));
    ASSERT_EQ(run(fn, s2, d2), celStatusOk);
    for (int x = 0; x < 17; ++x)
        for (int c = 0; c < 3; ++c) EXPECT_EQ(d2.at(x, 0, c), d.at(x, 0, c));
}

// ---- Reference model on random images ---------------------------------------
TEST_P(RgbToYCbCr, MatchesModelAcrossWidthsAndHeights) {
    const Fn fn = GetParam();
    uint32_t seed = 1;
    for (int h : {1, 2, 3, 5}) {
        for (int w : {1, 7, 8, 9, 15, 16, 17, 31, 32, 33, 100}) {
            Img s(fn.src, w, h), d(fn.dst, w, h);
            s.randomize(seed++);
            ASSERT_EQ(run(fn, s, d), celStatusOk);
            expectMatchesModel(fn, s, d, [](int y) { return y; }, "positive steps");
            ASSERT_TRUE(d.intact()) << fn.name << " wrote outside the region, w=" << w << " h=" << h;
        }
    }
}

// Every RGB colour through the vector body (rows a multiple of the body
// wide) and through the scalar tail (rows one pixel short of it).
TEST_P(RgbToYCbCr, EveryColourThroughBodyAndTail) {
    const Fn fn = GetParam();
    for (int w : {2 * fn.body, fn.body - 1}) {
        const int h = celtest::sweep24Rows(w);
        Img s(fn.src, w, h), d(fn.dst, w, h);
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                int r, g, b;
                celtest::sweep24Input(int64_t(y) * w + x, r, g, b);
                s.at(x, y, 0) = uint8_t(r), s.at(x, y, 1) = uint8_t(g), s.at(x, y, 2) = uint8_t(b);
            }
        ASSERT_EQ(run(fn, s, d), celStatusOk);
        expectMatchesModel(fn, s, d, [](int y) { return y; }, w == fn.body - 1 ? "tail sweep" : "body sweep");
    }
}

TEST_P(RgbToYCbCr, NegativeStepsWalkUpward) {
    const Fn fn = GetParam();
    for (int w : {5, 16, 33}) {
        const int h = 5;
        Img s(fn.src, w, h), d(fn.dst, w, h);
        s.randomize(100 + w);
        // Source walked upward, destination downward: output row y reads source row h-1-y.
        ASSERT_EQ(run(fn, s, d, -1, 1), celStatusOk);
        expectMatchesModel(fn, s, d, [h](int y) { return h - 1 - y; }, "negative source step");
        ASSERT_TRUE(d.intact());
        // Both walked upward: row y still reads row y.
        Img d2(fn.dst, w, h);
        ASSERT_EQ(run(fn, s, d2, -1, -1), celStatusOk);
        expectMatchesModel(fn, s, d2, [](int y) { return y; }, "both steps negative");
        ASSERT_TRUE(d2.intact());
    }
}

TEST_P(RgbToYCbCr, ZeroSourceStepRepeatsTheFirstRow) {
    const Fn fn = GetParam();
    const int w = 21, h = 4;
    Img s(fn.src, w, h), d(fn.dst, w, h);
    s.randomize(55);
    ASSERT_EQ(run(fn, s, d, 0, 1), celStatusOk);
    expectMatchesModel(fn, s, d, [](int) { return 0; }, "zero source step");
    ASSERT_TRUE(d.intact());
}

// ---- In place -------------------------------------------------------------------
TEST(RgbToYCbCrInPlace, C3RAndAC4RInPlaceEqualSeparateBuffers) {
    for (const Fn& fn : {kFns[0], kFns[1]}) {
        for (int w : {1, 15, 16, 17, 40}) {
            Img s(fn.src, w, 3), ref(fn.dst, w, 3);
            s.bufs[0].randomize(9 + w);
            ref.bufs[0] = s.bufs[0];  // same alpha bytes as the in-place buffer has
            ASSERT_EQ(run(fn, s, ref), celStatusOk);
            Img inplace = s;
            const CelSize roi{w, 3};
            uint8_t* p = inplace.bufs[0].row(0);
            const int step = inplace.step();
            const CelStatus st = fn.dst == Lay::C3 ? celiRGBToYCbCr_8u_C3R(p, step, p, step, roi)
                                                   : celiRGBToYCbCr_8u_AC4R(p, step, p, step, roi);
            ASSERT_EQ(st, celStatusOk);
            EXPECT_EQ(inplace.snapshot(), ref.snapshot()) << fn.name << " w=" << w;
        }
    }
}

// ---- P3R: the aligned 16-pixel path gives the same bytes ----------------------
TEST(RgbToYCbCrP3R, AlignedAndUnalignedPathsAgree) {
    const int w = 64, h = 3, step = 80;
    alignas(16) static uint8_t planes[6][step * h + 16];
    std::mt19937 rng(3);
    for (int i = 0; i < 3; ++i)
        for (auto& v : planes[i]) v = static_cast<uint8_t>(rng());
    const CelSize roi{w, h};
    // Aligned: every pointer, step and the width are multiples of 16.
    const uint8_t* src[3] = {planes[0], planes[1], planes[2]};
    uint8_t* dst[3] = {planes[3], planes[4], planes[5]};
    ASSERT_EQ(celiRGBToYCbCr_8u_P3R(src, step, dst, step, roi), celStatusOk);
    // Unaligned: destination planes moved by one byte.
    std::vector<uint8_t> other(3 * (step * h + 1));
    uint8_t* dst2[3] = {&other[1], &other[1 + step * h], &other[1 + 2 * step * h]};
    ASSERT_EQ(celiRGBToYCbCr_8u_P3R(src, step, dst2, step, roi), celStatusOk);
    for (int c = 0; c < 3; ++c)
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                const Px e = highWord(planes[0][y * step + x], planes[1][y * step + x], planes[2][y * step + x]);
                ASSERT_EQ(dst[c][y * step + x], e[c]) << "aligned path at " << x << "," << y;
                ASSERT_EQ(dst2[c][y * step + x], e[c]) << "general path at " << x << "," << y;
            }
}

INSTANTIATE_TEST_SUITE_P(AllForms, RgbToYCbCr, ::testing::ValuesIn(kFns),
                         [](const ::testing::TestParamInfo<Fn>& i) { return std::string(i.param.name); });

}  // namespace
