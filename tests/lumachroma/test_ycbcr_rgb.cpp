// YCbCr -> RGB/BGR at full resolution: worked values, an independent model
// of the decoder recipes compared byte for byte by pixel position, round
// trips, canaries.  Statuses and check order: the robustness table's rows (tests/robust).
#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "celcc.h"
#include "common/layout_image.h"
#include "common/sweep24.h"
#include "common/ycbcr_model.h"

namespace {

using celtest::ImageBuffer;

using namespace celtest::ycc;

// ---- The seven functions for a common harness ---------------------------------
enum class Lay { C3, AC4, P3, C4 };
using Model = Rgb (*)(int, int, int);

struct Fn {
    const char* name;
    Lay src, dst;
    bool bgr;
    Model body, tail;
    int bodyMultiple;  // pixels below width rounded down to this take the body recipe
    bool bt709 = false;
};

void PrintTo(const Fn& f, std::ostream* os) { *os << f.name; }

const Fn kFns[] = {
    {"RGB_C3R", Lay::C3, Lay::C3, false, narrow, setARounded, 8},
    {"RGB_P3C3R", Lay::P3, Lay::C3, false, narrow, setARounded, 8},
    {"BGR_P3C3R", Lay::P3, Lay::C3, true, narrow, setARounded, 8},
    {"RGB_P3C4R", Lay::P3, Lay::C4, false, wide, setARounded, 8},
    {"BGR_P3C4R", Lay::P3, Lay::C4, true, wide, wide, 1},
    {"RGB_P3R", Lay::P3, Lay::P3, false, plain, setBRounded, 4},
    {"RGB_AC4R", Lay::AC4, Lay::AC4, false, setBPlain, setBPlain, 1},
    {"BGR_709CSC_P3C3R", Lay::P3, Lay::C3, true, wide709, set709Rounded, 16, true},
    {"BGR_709CSC_P3C4R", Lay::P3, Lay::C4, true, wide709, wide709, 1, true},
};

int channels(Lay l) { return l == Lay::C3 ? 3 : (l == Lay::P3 ? 1 : 4); }

// An image in the layout l (interleaved or three planes).
struct Img : celtest::LayoutImage {
    Lay lay;
    Img(Lay l, int w, int h, uint8_t fill = 0x5A)
        : LayoutImage(l == Lay::P3 ? 3 : 1, channels(l), w, h, fill), lay(l) {}
};

constexpr uint8_t kAlpha = 0xC7;

constexpr CelSize kWhole{INT32_MIN, INT32_MIN};

CelStatus run(const Fn& fn, Img& s, Img& d, int srcSign = 1, int dstSign = 1, CelSize roi = kWhole) {
    if (roi.width == kWhole.width) roi = {s.width, s.height};
    const int sy = srcSign < 0 ? s.height - 1 : 0, dy = dstSign < 0 ? d.height - 1 : 0;
    const int ss = s.step() * srcSign, ds = d.step() * dstSign;
    const std::string n = fn.name;
    if (n == "RGB_C3R") return celiYCbCrToRGB_8u_C3R(s.bufs[0].row(sy), ss, d.bufs[0].row(dy), ds, roi);
    if (n == "RGB_AC4R") return celiYCbCrToRGB_8u_AC4R(s.bufs[0].row(sy), ss, d.bufs[0].row(dy), ds, roi);
    const uint8_t* sp[3] = {s.bufs[0].row(sy), s.bufs[1].row(sy), s.bufs[2].row(sy)};
    uint8_t* d0 = d.bufs[0].row(dy);
    if (n == "RGB_P3C3R") return celiYCbCrToRGB_8u_P3C3R(sp, ss, d0, ds, roi);
    if (n == "BGR_P3C3R") return celiYCbCrToBGR_8u_P3C3R(sp, ss, d0, ds, roi);
    if (n == "RGB_P3C4R") return celiYCbCrToRGB_8u_P3C4R(sp, ss, d0, ds, roi, kAlpha);
    if (n == "BGR_P3C4R") return celiYCbCrToBGR_8u_P3C4R(sp, ss, d0, ds, roi, kAlpha);
    if (n == "BGR_709CSC_P3C3R") return celiYCbCrToBGR_709CSC_8u_P3C3R(sp, ss, d0, ds, roi);
    if (n == "BGR_709CSC_P3C4R") return celiYCbCrToBGR_709CSC_8u_P3C4R(sp, ss, d0, ds, roi, kAlpha);
    uint8_t* dp[3] = {d.bufs[0].row(dy), d.bufs[1].row(dy), d.bufs[2].row(dy)};
    return celiYCbCrToRGB_8u_P3R(sp, ss, dp, ds, roi);
}

Rgb expectedAt(const Fn& fn, int x, int width, int Y, int Cb, int Cr) {
    const int bodyEnd = width - width % fn.bodyMultiple;
    return x < bodyEnd ? fn.body(Y, Cb, Cr) : fn.tail(Y, Cb, Cr);
}

// Checks every destination byte; `before` is the destination's fill value
// (for the fourth byte of AC4R, which is never written).
void expectMatchesModel(const Fn& fn, Img& s, Img& d, const std::function<int(int)>& srcRowOf, uint8_t before,
                        const std::string& what) {
    for (int y = 0; y < d.height; ++y)
        for (int x = 0; x < d.width; ++x) {
            const int sy = srcRowOf(y);
            const int Y = s.at(x, sy, 0), Cb = s.at(x, sy, 1), Cr = s.at(x, sy, 2);
            const Rgb e = expectedAt(fn, x, d.width, Y, Cb, Cr);
            const Rgb want = fn.bgr ? Rgb{e[2], e[1], e[0]} : e;
            for (int c = 0; c < 3; ++c)
                ASSERT_EQ(d.at(x, y, c), want[c]) << fn.name << " " << what << " w=" << d.width << " at (" << x << ","
                                                  << y << ") channel " << c << " src (" << Y << "," << Cb << "," << Cr
                                                  << ")";
            if (fn.dst == Lay::C4) ASSERT_EQ(d.at(x, y, 3), kAlpha) << fn.name << " alpha at " << x;
            if (fn.dst == Lay::AC4) ASSERT_EQ(d.at(x, y, 3), before) << fn.name << " fourth byte written at " << x;
        }
}

class YCbCrToRgb : public ::testing::TestWithParam<Fn> {};

// Every (Y, Cb, Cr) through the vector body (rows a multiple of it wide) and
// through the scalar tail (rows one pixel short of it, where there is one).
TEST_P(YCbCrToRgb, EveryInputThroughBodyAndTail) {
    const Fn fn = GetParam();
    for (int w : {16, fn.bodyMultiple - 1}) {
        if (w < 1) continue;
        const int h = celtest::sweep24Rows(w);
        Img s(fn.src, w, h), d(fn.dst, w, h, 0x3C);
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                int Y, Cb, Cr;
                celtest::sweep24Input(int64_t(y) * w + x, Y, Cb, Cr);
                s.at(x, y, 0) = uint8_t(Y), s.at(x, y, 1) = uint8_t(Cb), s.at(x, y, 2) = uint8_t(Cr);
            }
        ASSERT_EQ(run(fn, s, d), celStatusOk);
        expectMatchesModel(fn, s, d, [](int y) { return y; }, 0x3C, w == 16 ? "body sweep" : "tail sweep");
    }
}

// ---- Worked values -----------------------------------------------------------------
struct Worked {
    int Y, Cb, Cr;
    Rgb rounded, plainV, setBUnrounded;
};
const Worked kWorked[] = {
    {16, 128, 128, {0, 0, 0}, {0, 0, 0}, {0, 0, 0}},
    {235, 128, 128, {255, 255, 255}, {254, 254, 254}, {254, 254, 254}},
    {126, 128, 128, {128, 128, 128}, {128, 128, 128}, {128, 128, 128}},
    {82, 90, 240, {255, 1, 0}, {255, 0, 0}, {255, 0, 0}},
    {41, 240, 110, {0, 0, 255}, {0, 0, 254}, {0, 0, 255}},
    {100, 120, 140, {117, 91, 82}, {116, 91, 81}, {116, 91, 81}},
};

TEST(YCbCrToRgbModel, ModelReproducesTheCheckTable) {
    for (const auto& w : kWorked) {
        for (Model m : {narrow, wide, setARounded, setBRounded}) EXPECT_EQ(m(w.Y, w.Cb, w.Cr), w.rounded) << w.Y;
        EXPECT_EQ(plain(w.Y, w.Cb, w.Cr), w.plainV) << w.Y;
        EXPECT_EQ(setBPlain(w.Y, w.Cb, w.Cr), w.setBUnrounded) << w.Y;
    }
}

// Each function on a row that is all body and on a row that is all tail
// gives the check table's column for the recipe it uses there.
TEST_P(YCbCrToRgb, WorkedValuesOfBodyAndTail) {
    const Fn fn = GetParam();
    if (fn.bt709) GTEST_SKIP() << "BT.601 check table; the BT.709 values are in test_bt709";
    for (const auto& w : kWorked) {
        for (int width : {16, 24, 3}) {
            Img s(fn.src, width, 1), d(fn.dst, width, 1);
            for (int x = 0; x < width; ++x) {
                s.at(x, 0, 0) = static_cast<uint8_t>(w.Y);
                s.at(x, 0, 1) = static_cast<uint8_t>(w.Cb);
                s.at(x, 0, 2) = static_cast<uint8_t>(w.Cr);
            }
            ASSERT_EQ(run(fn, s, d), celStatusOk);
            for (int x = 0; x < width; ++x) {
                const bool body = x < width - width % fn.bodyMultiple;
                const Model m = body ? fn.body : fn.tail;
                const Rgb want = m == plain ? w.plainV : (m == setBPlain ? w.setBUnrounded : w.rounded);
                for (int c = 0; c < 3; ++c)
                    EXPECT_EQ(d.at(x, 0, fn.bgr ? 2 - c : c), want[c])
                        << fn.name << " width " << width << " x " << x << " input " << w.Y << "," << w.Cb << "," << w.Cr;
            }
        }
    }
}

TEST(YCbCrToRgbWorked, P3RWhiteIs254InTheBodyAnd255InTheTail) {
    const Fn fn = kFns[5];
    for (int width : {8, 3}) {
        Img s(Lay::P3, width, 1), d(Lay::P3, width, 1);
        for (int x = 0; x < width; ++x) s.at(x, 0, 0) = 235, s.at(x, 0, 1) = 128, s.at(x, 0, 2) = 128;
        ASSERT_EQ(run(fn, s, d), celStatusOk);
        for (int x = 0; x < width; ++x)
            for (int c = 0; c < 3; ++c) EXPECT_EQ(d.at(x, 0, c), width == 8 ? 254 : 255);
    }
}

TEST(YCbCrToRgbWorked, AC4RWhiteIs254EverywhereAndKeepsTheFourthByte) {
    const Fn fn = kFns[6];
    for (int width : {1, 5, 16, 37}) {
        Img s(Lay::AC4, width, 1), d(Lay::AC4, width, 1, 0x3C);
        for (int x = 0; x < width; ++x) s.at(x, 0, 0) = 235, s.at(x, 0, 1) = 128, s.at(x, 0, 2) = 128, s.at(x, 0, 3) = 9;
        ASSERT_EQ(run(fn, s, d), celStatusOk);
        for (int x = 0; x < width; ++x) {
            for (int c = 0; c < 3; ++c) EXPECT_EQ(d.at(x, 0, c), 254);
            EXPECT_EQ(d.at(x, 0, 3), 0x3C);
        }
    }
}

TEST(YCbCrToRgbWorked, C4FormsDifferAtWidthOneButBothCarryAlpha) {
    // 41,240,110: the wide recipe gives 0,0,255 like set A; 82,90,240 gives
    // 255,1,0 in both.  Pick a value where the wide recipe and set A differ.
    int found = 0;
    for (int Y = 16; Y <= 235 && !found; ++Y)
        for (int Cb = 16; Cb <= 240 && !found; Cb += 7)
            for (int Cr = 16; Cr <= 240 && !found; Cr += 5)
                if (wide(Y, Cb, Cr) != setARounded(Y, Cb, Cr)) {
                    found = 1;
                    Img s(Lay::P3, 1, 1), rgba(Lay::C4, 1, 1), bgra(Lay::C4, 1, 1);
                    s.at(0, 0, 0) = uint8_t(Y), s.at(0, 0, 1) = uint8_t(Cb), s.at(0, 0, 2) = uint8_t(Cr);
                    ASSERT_EQ(run(kFns[3], s, rgba), celStatusOk);
                    ASSERT_EQ(run(kFns[4], s, bgra), celStatusOk);
                    const Rgb a = setARounded(Y, Cb, Cr), w = wide(Y, Cb, Cr);
                    for (int c = 0; c < 3; ++c) {
                        EXPECT_EQ(rgba.at(0, 0, c), a[c]);
                        EXPECT_EQ(bgra.at(0, 0, 2 - c), w[c]);
                    }
                    EXPECT_EQ(rgba.at(0, 0, 3), kAlpha);
                    EXPECT_EQ(bgra.at(0, 0, 3), kAlpha);
                }
    EXPECT_TRUE(found);
}

TEST(YCbCrToRgbWorked, C3RWidth24RunsOneSixteenAndOneEightGroupWithNoScalarPixel) {
    // With pure narrow values everywhere, no pixel may show set A's result.
    std::mt19937 rng(11);
    Img s(Lay::C3, 24, 1), d(Lay::C3, 24, 1);
    s.bufs[0].randomize(12);
    ASSERT_EQ(run(kFns[0], s, d), celStatusOk);
    for (int x = 0; x < 24; ++x) {
        const Rgb e = narrow(s.at(x, 0, 0), s.at(x, 0, 1), s.at(x, 0, 2));
        for (int c = 0; c < 3; ++c) ASSERT_EQ(d.at(x, 0, c), e[c]) << x;
    }
}

// ---- Model on random images ----------------------------------------------------------
TEST_P(YCbCrToRgb, MatchesModelAcrossWidthsAndHeights) {
    const Fn fn = GetParam();
    uint32_t seed = 1;
    for (int h : {1, 2, 3}) {
        for (int w : {1, 3, 4, 5, 7, 8, 9, 12, 15, 16, 17, 20, 23, 24, 28, 31, 32, 33, 100}) {
            Img s(fn.src, w, h), d(fn.dst, w, h);
            s.randomize(seed++);
            ASSERT_EQ(run(fn, s, d), celStatusOk);
            expectMatchesModel(fn, s, d, [](int y) { return y; }, 0x5A, "positive steps");
            ASSERT_TRUE(d.intact()) << fn.name << " wrote outside the region, w=" << w << " h=" << h;
        }
    }
}

TEST_P(YCbCrToRgb, NegativeAndZeroSteps) {
    const Fn fn = GetParam();
    for (int w : {5, 16, 29}) {
        const int h = 4;
        Img s(fn.src, w, h);
        s.randomize(300 + w);
        Img d1(fn.dst, w, h), d2(fn.dst, w, h), d3(fn.dst, w, h);
        ASSERT_EQ(run(fn, s, d1, -1, 1), celStatusOk);
        expectMatchesModel(fn, s, d1, [h](int y) { return h - 1 - y; }, 0x5A, "negative source step");
        ASSERT_EQ(run(fn, s, d2, -1, -1), celStatusOk);
        expectMatchesModel(fn, s, d2, [](int y) { return y; }, 0x5A, "both steps negative");
        ASSERT_EQ(run(fn, s, d3, 0, 1), celStatusOk);
        expectMatchesModel(fn, s, d3, [](int) { return 0; }, 0x5A, "zero source step");
        ASSERT_TRUE(d1.intact() && d2.intact() && d3.intact());
    }
}

// Every combination of extreme and mid values stays inside the clamp
// table's range (the sanitizer build catches a read outside it).
TEST_P(YCbCrToRgb, ExtremeInputsMatchModel) {
    const Fn fn = GetParam();
    const int vals[] = {0, 1, 16, 128, 235, 240, 254, 255};
    const int n = 8 * 8 * 8;
    for (int width : {n, 3}) {
        Img s(fn.src, width, 1), d(fn.dst, width, 1);
        for (int i = 0; i < width; ++i) {
            const int k = width == n ? i : 511 - i;
            s.at(i, 0, 0) = uint8_t(vals[k % 8]), s.at(i, 0, 1) = uint8_t(vals[k / 8 % 8]),
                       s.at(i, 0, 2) = uint8_t(vals[k / 64]);
        }
        ASSERT_EQ(run(fn, s, d), celStatusOk);
        expectMatchesModel(fn, s, d, [](int y) { return y; }, 0x5A, "extremes");
    }
}

TEST(YCbCrToRgbInPlace, C3RAndAC4RInPlaceEqualSeparateBuffers) {
    for (const Fn& fn : {kFns[0], kFns[6]}) {
        for (int w : {1, 7, 8, 16, 24, 41}) {
            Img s(fn.src, w, 2);
            s.bufs[0].randomize(90 + w);
            Img ref = s;
            ASSERT_EQ(run(fn, s, ref), celStatusOk);
            Img inplace = s;
            uint8_t* p = inplace.bufs[0].row(0);
            const int step = inplace.step();
            const CelSize roi{w, 2};
            ASSERT_EQ(fn.src == Lay::C3 ? celiYCbCrToRGB_8u_C3R(p, step, p, step, roi)
                                        : celiYCbCrToRGB_8u_AC4R(p, step, p, step, roi),
                      celStatusOk);
            EXPECT_EQ(inplace.snapshot(), ref.snapshot()) << fn.name << " w=" << w;
        }
    }
}

TEST(YCbCrToRgbP3R, SixteenPixelLoopChangesNoByte) {
    // Aligned planes and steps select the 16-pixel loop; shifting the Cr
    // plane alone must not change the choice or the bytes, shifting a
    // destination plane turns it off, and the results are equal.
    const int w = 45, h = 3, step = 64;
    alignas(16) static uint8_t mem[7][step * h + 32];
    std::mt19937 rng(5);
    for (int i = 0; i < 3; ++i)
        for (auto& v : mem[i]) v = static_cast<uint8_t>(rng());
    const uint8_t* src[3] = {mem[0], mem[1], mem[2] + 1};
    uint8_t* dstA[3] = {mem[3], mem[4], mem[5]};
    ASSERT_EQ(celiYCbCrToRGB_8u_P3R(src, step, dstA, step, {w, h}), celStatusOk);
    std::vector<uint8_t> other(3 * step * h + 8);
    uint8_t* dstU[3] = {&other[1], &other[1 + step * h], &other[1 + 2 * step * h]};
    ASSERT_EQ(celiYCbCrToRGB_8u_P3R(src, step, dstU, step, {w, h}), celStatusOk);
    for (int c = 0; c < 3; ++c)
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                const int i = y * step + x;
                const Rgb e = x < 44 ? plain(src[0][i], src[1][i], src[2][i]) : setBRounded(src[0][i], src[1][i], src[2][i]);
                ASSERT_EQ(dstA[c][i], e[c]) << "16-pixel path at " << x << "," << y;
                ASSERT_EQ(dstU[c][i], e[c]) << "8-pixel path at " << x << "," << y;
            }
}

// ---- Round trip ---------------------------------------------------------------------------
// RGB -> YCbCr (C3R) -> RGB (C3R) over a lattice of colours, in body and
// tail positions: the decoders are the encoders' inverse in meaning, and
// the error stays within a few steps.
TEST(YCbCrToRgbRoundTrip, ErrorStaysSmall) {
    int worstBody = 0, worstTail = 0;
    for (int width : {16, 7}) {
        std::vector<uint8_t> rgb, ycc, back;
        for (int r = 0; r < 256; r += 5)
            for (int g = 0; g < 256; g += 5)
                for (int b = 0; b < 256; b += 5) rgb.insert(rgb.end(), {uint8_t(r), uint8_t(g), uint8_t(b)});
        const int pixels = static_cast<int>(rgb.size() / 3), rows = pixels / width;
        ycc.resize(rgb.size());
        back.resize(rgb.size());
        ASSERT_EQ(celiRGBToYCbCr_8u_C3R(rgb.data(), 3 * width, ycc.data(), 3 * width, {width, rows}), celStatusOk);
        ASSERT_EQ(celiYCbCrToRGB_8u_C3R(ycc.data(), 3 * width, back.data(), 3 * width, {width, rows}), celStatusOk);
        int& worst = width == 16 ? worstBody : worstTail;
        for (int i = 0; i < rows * width * 3; ++i) worst = std::max(worst, std::abs(rgb[i] - back[i]));
    }
    RecordProperty("max_error_body", worstBody);
    RecordProperty("max_error_tail", worstTail);
    // Measured: 3 where both directions take the vector recipes, 2 where
    // both take the scalar ones.
    EXPECT_LE(worstBody, 3);
    EXPECT_LE(worstTail, 2);
}

INSTANTIATE_TEST_SUITE_P(AllForms, YCbCrToRgb, ::testing::ValuesIn(kFns),
                         [](const ::testing::TestParamInfo<Fn>& i) { return std::string(i.param.name); });

}  // namespace
