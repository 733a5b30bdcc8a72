// RGB <-> YCbCr at full resolution (the encoders and the decoders, BT.601 and
// the BT.709 studio decoders): worked values, scalar reference models written
// from the formulas (not from the library's recipe headers) applied by pixel
// position (vector body, scalar tail) and compared byte for byte with the
// canaries around every row, every input through body and tail, negative and
// zero steps, in place, the aligned paths, a round trip.  Statuses and check
// order: the robustness table's rows (tests/robust).
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "celcc.h"
#include "common/layout_image.h"
#include "common/sweep24.h"
#include "common/ycbcr_model.h"

namespace {

using celtest::ycc::Rgb;
using namespace celtest::ycc;
using Model = Rgb (*)(int, int, int);

// ---- Encoder models (R, G, B -> Y, Cb, Cr) ----------------------------------------------
int rnd(int c, int x) { return (c * x + 16384) >> 15; }
int hiu(int c, int x) { return int((uint32_t(c) * uint32_t(x)) >> 16); }

Rgb roundedLane(int R, int G, int B) {
    const int r = R * 128, g = G * 128, b = B * 128;
    return {sat8((rnd(4211, r) + rnd(8258, g) + rnd(1606, b) + 1056) >> 6),
            sat8((rnd(7193, b) - rnd(4768, g) - rnd(2425, r) + 8194) >> 6),
            sat8((rnd(7193, r) - rnd(6029, g) - rnd(1163, b) + 8194) >> 6)};
}
Rgb highWord(int R, int G, int B) {
    const int r = R * 128, g = G * 128, b = B * 128;
    return {sat8(((hiu(16843, R * 256) + hiu(33030, G * 256) + hiu(6423, B * 256) + 128) >> 8) + 16),
            sat8(((his(-9699, r) + his(-19071, g) + his(28770, b) + 64) >> 7) + 128),
            sat8(((his(28770, r) + his(-24117, g) + his(-4653, b) + 64) >> 7) + 128)};
}
Rgb scalarQ16(int R, int G, int B) {
    return {uint8_t((16843 * R + 33030 * G + 6423 * B + 1081344) >> 16),
            uint8_t((-9699 * R - 19071 * G + 28770 * B + 8421376) >> 16),
            uint8_t((28770 * R - 24117 * G - 4653 * B + 8421376) >> 16)};
}

// ---- The exports ----------------------------------------------------------------------------
enum class Lay { C3, AC4, C4, P3 };
// The fourth destination byte: untouched, zero in the body and untouched in the tail, alphaValue.
enum class Fourth { Keep, BodyZero, Alpha };
constexpr uint8_t kAlpha = 0xC7, kFill = 0x5A;

using Call = CelStatus (*)(const uint8_t* const* s, int ss, uint8_t** d, int ds, CelSize r);
#define CALL(expr) [](const uint8_t* const* s, int ss, uint8_t** d, int ds, CelSize r) -> CelStatus { return expr; }

struct Fn {
    const char* name;
    Lay src, dst;
    Model body, tail;
    int unit;  // pixels below the width rounded down to this take the body recipe
    bool bgr;  // the colour bytes land in reverse order
    Fourth fourth;
    Call call;
};
void PrintTo(const Fn& f, std::ostream* os) { *os << f.name; }

const Fn kFns[] = {
    {"RGBToYCbCr_C3R", Lay::C3, Lay::C3, roundedLane, scalarQ16, 16, false, Fourth::Keep,
     CALL(celiRGBToYCbCr_8u_C3R(s[0], ss, d[0], ds, r))},
    {"RGBToYCbCr_AC4R", Lay::AC4, Lay::AC4, roundedLane, scalarQ16, 16, false, Fourth::BodyZero,
     CALL(celiRGBToYCbCr_8u_AC4R(s[0], ss, d[0], ds, r))},
    {"RGBToYCbCr_C3P3R", Lay::C3, Lay::P3, highWord, scalarQ16, 8, false, Fourth::Keep,
     CALL(celiRGBToYCbCr_8u_C3P3R(s[0], ss, d, ds, r))},
    {"RGBToYCbCr_AC4P3R", Lay::AC4, Lay::P3, highWord, scalarQ16, 8, false, Fourth::Keep,
     CALL(celiRGBToYCbCr_8u_AC4P3R(s[0], ss, d, ds, r))},
    {"RGBToYCbCr_P3R", Lay::P3, Lay::P3, highWord, scalarQ16, 8, false, Fourth::Keep,
     CALL(celiRGBToYCbCr_8u_P3R(s, ss, d, ds, r))},
    {"YCbCrToRGB_C3R", Lay::C3, Lay::C3, narrow, setARounded, 8, false, Fourth::Keep,
     CALL(celiYCbCrToRGB_8u_C3R(s[0], ss, d[0], ds, r))},
    {"YCbCrToRGB_P3C3R", Lay::P3, Lay::C3, narrow, setARounded, 8, false, Fourth::Keep,
     CALL(celiYCbCrToRGB_8u_P3C3R(s, ss, d[0], ds, r))},
    {"YCbCrToBGR_P3C3R", Lay::P3, Lay::C3, narrow, setARounded, 8, true, Fourth::Keep,
     CALL(celiYCbCrToBGR_8u_P3C3R(s, ss, d[0], ds, r))},
    {"YCbCrToRGB_P3C4R", Lay::P3, Lay::C4, wide, setARounded, 8, false, Fourth::Alpha,
     CALL(celiYCbCrToRGB_8u_P3C4R(s, ss, d[0], ds, r, kAlpha))},
    {"YCbCrToBGR_P3C4R", Lay::P3, Lay::C4, wide, wide, 1, true, Fourth::Alpha,
     CALL(celiYCbCrToBGR_8u_P3C4R(s, ss, d[0], ds, r, kAlpha))},
    {"YCbCrToRGB_P3R", Lay::P3, Lay::P3, plain, setBRounded, 4, false, Fourth::Keep,
     CALL(celiYCbCrToRGB_8u_P3R(s, ss, d, ds, r))},
    {"YCbCrToRGB_AC4R", Lay::AC4, Lay::AC4, setBPlain, setBPlain, 1, false, Fourth::Keep,
     CALL(celiYCbCrToRGB_8u_AC4R(s[0], ss, d[0], ds, r))},
    {"YCbCrToBGR_709CSC_P3C3R", Lay::P3, Lay::C3, wide709, set709Rounded, 16, true, Fourth::Keep,
     CALL(celiYCbCrToBGR_709CSC_8u_P3C3R(s, ss, d[0], ds, r))},
    {"YCbCrToBGR_709CSC_P3C4R", Lay::P3, Lay::C4, wide709, wide709, 1, true, Fourth::Alpha,
     CALL(celiYCbCrToBGR_709CSC_8u_P3C4R(s, ss, d[0], ds, r, kAlpha))},
};

// ---- Images and the check against the model --------------------------------------------------
struct Img : celtest::LayoutImage {
    Img(Lay l, int w, int h) : LayoutImage(l == Lay::P3 ? 3 : 1, l == Lay::C3 ? 3 : l == Lay::P3 ? 1 : 4, w, h, kFill) {}
};

// How the function walks a side's rows: 1 down, -1 up (negative step), 0 the first row again.
int bufRow(int walk, int y, int h) { return walk < 0 ? h - 1 - y : walk == 0 ? 0 : y; }

CelStatus run(const Fn& fn, Img& s, Img& d, int sw = 1, int dw = 1) {
    const uint8_t* sp[3];
    uint8_t* dp[3];
    for (int i = 0; i < 3; ++i) {
        sp[i] = s.row(int(std::min<size_t>(i, s.bufs.size() - 1)), bufRow(sw, 0, s.height));
        dp[i] = d.row(int(std::min<size_t>(i, d.bufs.size() - 1)), bufRow(dw, 0, d.height));
    }
    return fn.call(sp, s.step() * sw, dp, d.step() * dw, {s.width, s.height});
}

// Runs fn (rows walked as given) and compares every destination byte with the
// model by pixel position; the guards keep their canaries.
void check(const Fn& fn, Img& s, int sw, int dw, const char* what) {
    const int w = s.width, h = s.height;
    Img d(fn.dst, w, h);
    ASSERT_EQ(run(fn, s, d, sw, dw), celStatusOk) << fn.name;
    const int bodyEnd = w - w % fn.unit;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const int sy = bufRow(sw, y, h), dy = bufRow(dw, y, h);
            const int a = s.at(x, sy, 0), b = s.at(x, sy, 1), c = s.at(x, sy, 2);
            const Rgb e = (x < bodyEnd ? fn.body : fn.tail)(a, b, c);
            for (int k = 0; k < 3; ++k)
                ASSERT_EQ(d.at(x, dy, fn.bgr ? 2 - k : k), e[k]) << fn.name << " " << what << " " << w << "x" << h << " at ("
                                                                 << x << "," << y << ") channel " << k << " input " << a
                                                                 << "," << b << "," << c;
            if (fn.dst == Lay::AC4 || fn.dst == Lay::C4) {
                const int want = fn.fourth == Fourth::Alpha ? kAlpha : fn.fourth == Fourth::BodyZero && x < bodyEnd ? 0 : kFill;
                ASSERT_EQ(d.at(x, dy, 3), want) << fn.name << " " << what << " fourth byte at " << x;
            }
        }
    ASSERT_TRUE(d.intact()) << fn.name << " " << what << " wrote outside the region, " << w << "x" << h;
}

template <class F>
void fill(Img& s, F value) {
    for (int y = 0; y < s.height; ++y)
        for (int x = 0; x < s.width; ++x) {
            int v[3];
            value(x, y, v);
            for (int k = 0; k < 3; ++k) s.at(x, y, k) = uint8_t(v[k]);
        }
}

class FullRes : public ::testing::TestWithParam<Fn> {};

TEST_P(FullRes, MatchesModelAcrossWidthsHeightsAndSteps) {
    const Fn fn = GetParam();
    uint32_t seed = 1;
    for (int h : {1, 2, 3, 5})
        for (int w : {1, 3, 4, 5, 7, 8, 9, 12, 15, 16, 17, 20, 23, 24, 28, 31, 32, 33, 100}) {
            Img s(fn.src, w, h);
            s.randomize(seed++);
            check(fn, s, 1, 1, "down");
            if (HasFatalFailure()) return;
        }
    for (int w : {5, 16, 21, 33}) {
        Img s(fn.src, w, 4);
        s.randomize(seed++);
        check(fn, s, -1, 1, "source up");
        check(fn, s, -1, -1, "both up");
        check(fn, s, 0, 1, "zero source step");
        if (HasFatalFailure()) return;
    }
}

// Every input through the vector body (rows of 16) and through the scalar tail
// (rows one pixel short of the body's unit, where there is a tail).
TEST_P(FullRes, EveryInputThroughBodyAndTail) {
    const Fn fn = GetParam();
    for (int w : {16, fn.unit - 1}) {
        if (w < 1) continue;
        Img s(fn.src, w, celtest::sweep24Rows(w));
        fill(s, [w](int x, int y, int* v) { celtest::sweep24Input(int64_t(y) * w + x, v[0], v[1], v[2]); });
        check(fn, s, 1, 1, w == 16 ? "body sweep" : "tail sweep");
        if (HasFatalFailure()) return;
    }
}

// Every combination of extreme and mid values (the sanitizer build, whose
// sweep is thinned, catches a read outside a clamp table here).
TEST_P(FullRes, ExtremeInputs) {
    const Fn fn = GetParam();
    static const int vals[] = {0, 1, 16, 128, 235, 240, 254, 255};
    for (int w : {512, 3}) {
        Img s(fn.src, w, 1);
        fill(s, [w](int x, int, int* v) {
            const int k = w == 512 ? x : 511 - x;
            v[0] = vals[k % 8], v[1] = vals[k / 8 % 8], v[2] = vals[k / 64];
        });
        check(fn, s, 1, 1, "extremes");
    }
}

// In place (interleaved forms with the same layout on both sides): the bytes of separate buffers.
TEST(FullResPaths, InPlaceEqualsSeparateBuffers) {
    for (const Fn& fn : kFns)
        for (int w : {1, 7, 15, 16, 17, 24, 41}) {
            if (fn.src != fn.dst || fn.src == Lay::P3) continue;
            Img s(fn.src, w, 3);
            s.randomize(90 + w);
            Img ref = s, inplace = s;
            ASSERT_EQ(run(fn, s, ref), celStatusOk);
            ASSERT_EQ(run(fn, inplace, inplace), celStatusOk);
            EXPECT_EQ(inplace.snapshot(), ref.snapshot()) << fn.name << " w=" << w;
        }
}

// Planar forms: every pointer and step a multiple of 16 (the 16-pixel loops)
// and the destination one byte off (the general loops), both against the model.
TEST(FullResPaths, AlignedAndUnalignedPlanes) {
    const int h = 3, step = 64;
    alignas(16) static uint8_t mem[6][step * h + 32];
    std::mt19937 rng(5);
    for (auto& plane : mem)
        for (auto& v : plane) v = uint8_t(rng());
    const uint8_t* src[3] = {mem[0], mem[1], mem[2]};
    for (const Fn& fn : kFns)
        for (int w : {48, 45})
            for (int off = 0; off < 2 && fn.src == Lay::P3 && fn.dst == Lay::P3; ++off) {
                uint8_t* dst[3] = {mem[3] + off, mem[4] + off, mem[5] + off};
                ASSERT_EQ(fn.call(src, step, dst, step, {w, h}), celStatusOk);
                for (int y = 0; y < h; ++y)
                    for (int x = 0; x < w; ++x) {
                        const int i = y * step + x;
                        const Rgb e = (x < w - w % fn.unit ? fn.body : fn.tail)(src[0][i], src[1][i], src[2][i]);
                        for (int c = 0; c < 3; ++c)
                            ASSERT_EQ(dst[c][i], e[c]) << fn.name << " width " << w << " offset " << off << " at " << x;
                    }
            }
}

// ---- Worked values ------------------------------------------------------------------------------
struct Worked {
    Rgb in, out;
    std::vector<Model> models;
};
const Worked kWorked[] = {
    {{0, 0, 0}, {16, 128, 128}, {roundedLane, highWord, scalarQ16}},
    {{255, 255, 255}, {235, 128, 128}, {roundedLane, highWord, scalarQ16}},
    {{255, 0, 0}, {82, 90, 239}, {roundedLane}},
    {{255, 0, 0}, {82, 90, 240}, {highWord, scalarQ16}},
    {{0, 255, 0}, {145, 53, 34}, {roundedLane}},
    {{0, 255, 0}, {145, 54, 34}, {highWord, scalarQ16}},
    {{0, 0, 255}, {41, 239, 109}, {roundedLane}},
    {{0, 0, 255}, {41, 240, 110}, {highWord, scalarQ16}},
    {{1, 2, 3}, {18, 128, 127}, {roundedLane}},
    {{1, 2, 3}, {18, 129, 127}, {highWord, scalarQ16}},
    {{16, 128, 128}, {0, 0, 0}, {narrow, wide, setARounded, setBRounded, plain, setBPlain}},
    {{235, 128, 128}, {255, 255, 255}, {narrow, wide, setARounded, setBRounded}},
    {{235, 128, 128}, {254, 254, 254}, {plain, setBPlain}},
    {{126, 128, 128}, {128, 128, 128}, {narrow, wide, setARounded, setBRounded, plain, setBPlain}},
    {{82, 90, 240}, {255, 1, 0}, {narrow, wide, setARounded, setBRounded}},
    {{82, 90, 240}, {255, 0, 0}, {plain, setBPlain}},
    {{41, 240, 110}, {0, 0, 255}, {narrow, wide, setARounded, setBRounded, setBPlain}},
    {{41, 240, 110}, {0, 0, 254}, {plain}},
    {{100, 120, 140}, {117, 91, 82}, {narrow, wide, setARounded, setBRounded}},
    {{100, 120, 140}, {116, 91, 81}, {plain, setBPlain}},
    // BT.709 studio range: white, black and the primaries its encoder makes.
    {{235, 128, 128}, {255, 255, 255}, {wide709, set709Rounded}},
    {{16, 128, 128}, {0, 0, 0}, {wide709, set709Rounded}},
    {{63, 102, 240}, {255, 0, 0}, {wide709, set709Rounded}},
    {{173, 41, 26}, {0, 255, 0}, {wide709, set709Rounded}},
    {{32, 240, 117}, {0, 1, 255}, {wide709, set709Rounded}},
};

TEST(FullResModel, ReproducesTheWorkedValues) {
    for (const Worked& k : kWorked)
        for (Model m : k.models) EXPECT_EQ(m(k.in[0], k.in[1], k.in[2]), k.out) << int(k.in[0]) << "," << int(k.in[1]);
}

// Each export on uniform rows that are all body (16, 24 where the unit allows)
// and all tail (one short of the unit) gives, at every pixel, the worked
// value of the recipe it runs there.
TEST_P(FullRes, WorkedValuesOfBodyAndTail) {
    const Fn fn = GetParam();
    for (const Worked& k : kWorked)
        for (int w : {16, 24, fn.unit - 1}) {
            const auto listed = [&](int x) {
                const Model m = x < w - w % fn.unit ? fn.body : fn.tail;
                return std::find(k.models.begin(), k.models.end(), m) != k.models.end();
            };
            if (w < 1 || !(listed(0) || listed(w - 1))) continue;
            Img s(fn.src, w, 1), d(fn.dst, w, 1);
            fill(s, [&](int, int, int* v) { v[0] = k.in[0], v[1] = k.in[1], v[2] = k.in[2]; });
            ASSERT_EQ(run(fn, s, d), celStatusOk);
            for (int x = 0; x < w; ++x)
                for (int c = 0; c < 3 && listed(x); ++c)
                    EXPECT_EQ(d.at(x, 0, fn.bgr ? 2 - c : c), k.out[c]) << fn.name << " width " << w << " x " << x
                                                                        << " input " << int(k.in[0]) << ","
                                                                        << int(k.in[1]) << "," << int(k.in[2]);
        }
}

INSTANTIATE_TEST_SUITE_P(AllForms, FullRes, ::testing::ValuesIn(kFns),
                         [](const ::testing::TestParamInfo<Fn>& i) { return std::string(i.param.name); });

// RGB -> YCbCr -> RGB over a lattice of colours, in body and tail positions:
// the decoders are the encoders' inverse in meaning (measured: 3 where both
// take the vector recipes, 2 where both take the scalar ones).
TEST(FullResRoundTrip, ErrorStaysSmall) {
    for (int width : {16, 7}) {
        std::vector<uint8_t> rgb;
        for (int r = 0; r < 256; r += 5)
            for (int g = 0; g < 256; g += 5)
                for (int b = 0; b < 256; b += 5) rgb.insert(rgb.end(), {uint8_t(r), uint8_t(g), uint8_t(b)});
        const int rows = int(rgb.size() / 3) / width;
        std::vector<uint8_t> ycc(rgb.size()), back(rgb.size());
        ASSERT_EQ(celiRGBToYCbCr_8u_C3R(rgb.data(), 3 * width, ycc.data(), 3 * width, {width, rows}), celStatusOk);
        ASSERT_EQ(celiYCbCrToRGB_8u_C3R(ycc.data(), 3 * width, back.data(), 3 * width, {width, rows}), celStatusOk);
        int worst = 0;
        for (int i = 0; i < rows * width * 3; ++i) worst = std::max(worst, std::abs(rgb[i] - back[i]));
        EXPECT_LE(worst, width == 16 ? 3 : 2);
    }
}

}  // namespace
