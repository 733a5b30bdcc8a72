// 4:2:2, 4:2:0 and 4:1:1 to RGB/BGR: one table of the decoders, each with its
// source layout, body and tail recipes (scalar models from the formulas in
// common/ycbcr_model.h, independent of the library's recipe headers) applied
// by pixel position; every destination byte compared with the canaries around
// every row, over widths that hit body only, tail only and both, odd sizes
// (4:2:0 decodes whole 2 x 2 blocks only and warns), negative and zero source
// steps; every (Y, Cb, Cr) through body and tail; worked values; the aligned
// twins; a round trip.  Statuses and check order: the robustness table's rows
// (tests/robust).
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

#include "celcc.h"
#include "common/chroma_layout.h"
#include "common/export_list.h"
#include "common/image_buffer.h"
#include "common/sweep24.h"
#include "common/ycbcr_model.h"

namespace {

using celtest::ChromaLayout;
using celtest::ImageBuffer;
using celtest::Kind;
using celtest::RowWalk;
using celtest::Samp;
using namespace celtest::ycc;

const celtest::FirstCheck kFc1("celiYCrCb420ToBGR_8u_P2C4R", celStatusBadSize);
const celtest::FirstCheck kFc2("celiYCrCb420ToRGB_8u_P2C4R", celStatusBadSize);

constexpr uint8_t kAlpha = 0xD3, kFill = 0x5A;
using Model = Rgb (*)(int, int, int);
using Call = CelStatus (*)(const uint8_t* const* s, int* ss, uint8_t** d, int ds, CelSize r);
#define CALL(expr) [](const uint8_t* const* s, int* ss, uint8_t** d, int ds, CelSize r) -> CelStatus { return expr; }
#define P2(f) CALL(f(s[0], ss[0], s[1], ss[1], d[0], ds, r))
#define P2A(f) CALL(f(s[0], ss[0], s[1], ss[1], d[0], ds, r, kAlpha))

struct Fn {
    const char* name;
    Kind src;
    Samp samp;
    int bytes;  // destination bytes per pixel; 0: planes R, G, B
    bool bgr;
    Model body, tail;
    int unit;     // decoded pixels below the decoded width rounded down to this take the body
    bool filter;  // odd pixels take the mean of their sample and the next (4:2:0 filtered)
    Call call;
    int minW = 1;
};
void PrintTo(const Fn& f, std::ostream* os) { *os << f.name; }

const Fn kFns[] = {
    {"YCbCr422ToRGB_C2C3R", Kind::YUY2, Samp::S422, 3, false, narrow, setARounded, 8, false,
     CALL(celiYCbCr422ToRGB_8u_C2C3R(s[0], ss[0], d[0], ds, r))},
    {"YCbCr422ToBGR_C2C3R", Kind::YUY2, Samp::S422, 3, true, narrow, setARounded, 8, false,
     CALL(celiYCbCr422ToBGR_8u_C2C3R(s[0], ss[0], d[0], ds, r)), 2},
    {"CbYCr422ToRGB_C2C3R", Kind::UYVY, Samp::S422, 3, false, narrow, setARounded, 8, false,
     CALL(celiCbYCr422ToRGB_8u_C2C3R(s[0], ss[0], d[0], ds, r))},
    {"YCbCr422ToRGB_P3C3R", Kind::P3CbCr, Samp::S422, 3, false, narrow, setBRounded, 8, false,
     CALL(celiYCbCr422ToRGB_8u_P3C3R(s, ss, d[0], ds, r)), 2},
    {"YCbCr422ToBGR_P3C3R", Kind::P3CbCr, Samp::S422, 3, true, narrow, setBRounded, 8, false,
     CALL(celiYCbCr422ToBGR_8u_P3C3R(s, ss, d[0], ds, r)), 2},
    {"YCbCr422ToRGB_C2C4R", Kind::YUY2, Samp::S422, 4, false, folded422, setBRounded, 8, false,
     CALL(celiYCbCr422ToRGB_8u_C2C4R(s[0], ss[0], d[0], ds, r, kAlpha))},
    {"YCbCr422ToBGR_C2C4R", Kind::YUY2, Samp::S422, 4, true, narrowTruncating, setBRounded, 16, false,
     CALL(celiYCbCr422ToBGR_8u_C2C4R(s[0], ss[0], d[0], ds, r, kAlpha)), 2},
    {"CbYCr422ToBGR_C2C4R", Kind::UYVY, Samp::S422, 4, true, wide, setARounded, 8, false,
     CALL(celiCbYCr422ToBGR_8u_C2C4R(s[0], ss[0], d[0], ds, r, kAlpha))},
    {"YCrCb422ToRGB_C2C3R", Kind::YVYU, Samp::S422, 3, false, folded422, setBRounded, 8, false,
     CALL(celiYCrCb422ToRGB_8u_C2C3R(s[0], ss[0], d[0], ds, r))},
    {"YCrCb422ToBGR_C2C3R", Kind::YVYU, Samp::S422, 3, true, folded422, setBRounded, 8, false,
     CALL(celiYCrCb422ToBGR_8u_C2C3R(s[0], ss[0], d[0], ds, r))},
    {"YCrCb422ToRGB_C2C4R", Kind::YVYU, Samp::S422, 4, false, folded422, setBRounded, 8, false,
     CALL(celiYCrCb422ToRGB_8u_C2C4R(s[0], ss[0], d[0], ds, r, kAlpha))},
    {"YCrCb422ToBGR_C2C4R", Kind::YVYU, Samp::S422, 4, true, folded422, setBRounded, 8, false,
     CALL(celiYCrCb422ToBGR_8u_C2C4R(s[0], ss[0], d[0], ds, r, kAlpha))},
    {"YCbCr422ToRGB_C2P3R", Kind::YUY2, Samp::S422, 0, false, plain, setBRounded, 8, false,
     CALL(celiYCbCr422ToRGB_8u_C2P3R(s[0], ss[0], d, ds, r))},
    {"YCrCb422ToRGB_C2P3R", Kind::YVYU, Samp::S422, 0, false, plain, setBRounded, 8, false,
     CALL(celiYCrCb422ToRGB_8u_C2P3R(s[0], ss[0], d, ds, r))},
    {"CbYCr422ToBGR_709HDTV_C2C3R", Kind::UYVY, Samp::S422, 3, true, hdtv709, hdtv709Scalar, 8, false,
     CALL(celiCbYCr422ToBGR_709HDTV_8u_C2C3R(s[0], ss[0], d[0], ds, r))},
    {"CbYCr422ToBGR_709HDTV_C2C4R", Kind::UYVY, Samp::S422, 4, true, hdtv709, hdtv709Scalar, 8, false,
     CALL(celiCbYCr422ToBGR_709HDTV_8u_C2C4R(s[0], ss[0], d[0], ds, r, kAlpha))},
    {"YCbCr420ToBGR_P3C4R", Kind::P3CbCr, Samp::S420, 4, true, foldedYCbCr, foldedYCbCr, 8, false,
     CALL(celiYCbCr420ToBGR_8u_P3C4R(s, ss, d[0], ds, r, kAlpha))},
    {"YCbCr420ToBGR_P3C3R", Kind::P3CbCr, Samp::S420, 3, true, narrow, setBRounded, 8, false,
     CALL(celiYCbCr420ToBGR_8u_P3C3R(s, ss, d[0], ds, r))},
    {"YCbCr420ToRGB_P3C3R", Kind::P3CbCr, Samp::S420, 3, false, narrow, setBRounded, 8, false,
     CALL(celiYCbCr420ToRGB_8u_P3C3R(s, ss, d[0], ds, r))},
    {"YCrCb420ToRGB_P3C4R", Kind::P3CrCb, Samp::S420, 4, false, wide, setBRounded, 8, false,
     CALL(celiYCrCb420ToRGB_8u_P3C4R(s, ss, d[0], ds, r, kAlpha))},
    {"YCbCr420ToBGR_P2C3R", Kind::P2CbCr, Samp::S420, 3, true, foldedYCbCr, foldedYCbCr, 8, false,
     P2(celiYCbCr420ToBGR_8u_P2C3R)},
    {"YCbCr420ToRGB_P2C3R", Kind::P2CbCr, Samp::S420, 3, false, foldedYCbCr, foldedYCbCr, 8, false,
     P2(celiYCbCr420ToRGB_8u_P2C3R)},
    {"YCbCr420ToBGR_P2C4R", Kind::P2CbCr, Samp::S420, 4, true, foldedYCbCr, foldedYCbCr, 8, false,
     P2A(celiYCbCr420ToBGR_8u_P2C4R)},
    {"YCbCr420ToRGB_P2C4R", Kind::P2CbCr, Samp::S420, 4, false, foldedYCbCr, foldedYCbCr, 8, false,
     P2A(celiYCbCr420ToRGB_8u_P2C4R)},
    {"YCrCb420ToBGR_P2C3R", Kind::P2CrCb, Samp::S420, 3, true, foldedYCrCb, foldedYCrCb, 8, false,
     P2(celiYCrCb420ToBGR_8u_P2C3R)},
    {"YCrCb420ToRGB_P2C3R", Kind::P2CrCb, Samp::S420, 3, false, foldedYCrCb, foldedYCrCb, 8, false,
     P2(celiYCrCb420ToRGB_8u_P2C3R)},
    {"YCrCb420ToBGR_P2C4R", Kind::P2CrCb, Samp::S420, 4, true, foldedYCrCb, foldedYCrCb, 8, false,
     P2A(celiYCrCb420ToBGR_8u_P2C4R)},
    {"YCrCb420ToRGB_P2C4R", Kind::P2CrCb, Samp::S420, 4, false, foldedYCrCb, foldedYCrCb, 8, false,
     P2A(celiYCrCb420ToRGB_8u_P2C4R)},
    // alphaValue is an int here: its low byte is the alpha.
    {"YCrCb420ToBGR_Filter_P3C4R", Kind::P3CrCb, Samp::S420, 4, true, narrowNoAddend, q12, 16, true,
     CALL(celiYCrCb420ToBGR_Filter_8u_P3C4R(s, ss, d[0], ds, r, 0x100 | kAlpha))},
    {"YCbCr411ToBGR_P3C3R", Kind::P3CbCr, Samp::S411, 3, true, narrow, setC, 4, false,
     CALL(celiYCbCr411ToBGR_8u_P3C3R(s, ss, d[0], ds, r)), 4},
    {"YCbCr411ToBGR_P3C4R", Kind::P3CbCr, Samp::S411, 4, true, narrow, setC, 4, false,
     CALL(celiYCbCr411ToBGR_8u_P3C4R(s, ss, d[0], ds, r, kAlpha)), 4},
    {"YCbCr420ToBGR_709CSC_P3C3R", Kind::P3CbCr, Samp::S420, 3, true, wide709, set709Rounded, 8, false,
     CALL(celiYCbCr420ToBGR_709CSC_8u_P3C3R(s, ss, d[0], ds, r))},
    {"YCbCr420ToBGR_709HDTV_P3C4R", Kind::P3CbCr, Samp::S420, 4, true, hdtv709, hdtv709Scalar, 8, false,
     CALL(celiYCbCr420ToBGR_709HDTV_8u_P3C4R(s, ss, d[0], ds, r, kAlpha))},
};

const Fn& byName(const std::string& n) { return celtest::rowNamed(kFns, n); }

// Destination: one interleaved buffer, or three planes sharing one step.
struct Dest {
    std::vector<ImageBuffer> b;
    int bytes;
    Dest(int bytes_, int w, int h) : bytes(bytes_) {
        for (int i = 0; i < (bytes ? 1 : 3); ++i) b.emplace_back(w * (bytes ? bytes : 1), h);
        for (auto& x : b) x.fill(kFill);
    }
    uint8_t& at(int x, int y, int c) { return bytes ? b[0].row(y)[bytes * x + c] : b[c].row(y)[x]; }
};

CelStatus run(const Fn& fn, ChromaLayout& s, Dest& d) {
    uint8_t* sp[3];
    int ss[3];
    s.planes(sp, ss);
    uint8_t* dp[3] = {d.b[0].row(0), d.bytes ? nullptr : d.b[1].row(0), d.bytes ? nullptr : d.b[2].row(0)};
    return fn.call(sp, ss, dp, d.b[0].step(), {s.w, s.h});
}

// Runs fn and compares every destination byte with the model: the decoded
// region (4:2:0: whole 2 x 2 blocks) by pixel position, the rest and the
// guards untouched.
void check(const Fn& fn, ChromaLayout& s, const char* what) {
    const int w = s.w, h = s.h;
    const bool b420 = fn.samp == Samp::S420;
    Dest d(fn.bytes, w, h);
    ASSERT_EQ(run(fn, s, d), b420 && ((w | h) & 1) ? celStatusOddSize : celStatusOk) << fn.name << " " << w << "x" << h;
    const int dw = b420 ? w & ~1 : w, dh = b420 && h < 2 ? 0 : b420 ? h & ~1 : h, per = fn.samp == Samp::S411 ? 4 : 2;
    const int bodyEnd = fn.filter ? 2 * ((dw / 2 - 1) / 8 * 8) : dw - dw % fn.unit;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            if (x >= dw || y >= dh) {
                for (int c = 0; c < std::max(fn.bytes, 3); ++c)
                    ASSERT_EQ(d.at(x, y, c), kFill) << fn.name << " wrote pixel " << x << "," << y;
                continue;
            }
            const int i = x / per, j = b420 ? y / 2 : y;
            int cb = s.at(1, i, j), cr = s.at(2, i, j);
            if (fn.filter && (x & 1) && i + 1 < dw / 2)
                cb = (cb + s.at(1, i + 1, j) + 1) >> 1, cr = (cr + s.at(2, i + 1, j) + 1) >> 1;
            const Rgb e = (x < bodyEnd ? fn.body : fn.tail)(s.at(0, x, y), cb, cr);
            for (int c = 0; c < 3; ++c)
                ASSERT_EQ(d.at(x, y, fn.bgr ? 2 - c : c), e[c]) << fn.name << " " << what << " " << w << "x" << h
                                                                << " pixel " << x << "," << y << " channel " << c
                                                                << " input " << int(s.at(0, x, y)) << "," << cb << "," << cr;
            if (fn.bytes == 4) ASSERT_EQ(d.at(x, y, 3), kAlpha) << fn.name << " alpha at " << x;
        }
    ASSERT_TRUE(celtest::allIntact(d.b)) << fn.name << " " << what << " wrote outside the region";
}

class Decode : public ::testing::TestWithParam<Fn> {};

TEST_P(Decode, MatchesModelAcrossWidthsHeightsAndSteps) {
    const Fn fn = GetParam();
    uint32_t seed = 7;
    for (RowWalk walk : {RowWalk::Down, RowWalk::Up, RowWalk::Same})
        for (int h : {1, 2, 3, 4, 5})
            for (int w : {1, 2, 3, 4, 5, 6, 7, 8, 9, 14, 15, 16, 17, 18, 19, 23, 24, 25, 31, 32, 33, 34, 40, 47, 50, 64, 101}) {
                if (w < fn.minW || (walk != RowWalk::Down && h > 3)) continue;
                ChromaLayout s(fn.src, fn.samp, w, h, walk);
                s.randomize(seed += 3);
                check(fn, s, walk == RowWalk::Down ? "down" : walk == RowWalk::Up ? "source up" : "zero source step");
                if (HasFatalFailure()) return;
            }
}

// Every (Y, Cb, Cr) through the body (rows of 32 pixels) and through the tail
// (rows below one vector; 4:1:1: one body group and a three-pixel tail
// group): each chroma sample takes one (Cb, Cr), the pixels that share it
// successive Y values, so 2^16 pairs times 256 / (pixels a sample) samples
// cover all 2^24 inputs (every 61st pair under the sanitizers).  The 4:2:2
// members that share a recipe differ only in layout, which the random images
// cover: the first member of each sweeps it.  The filtered decoder mixes
// neighbouring samples and is left to the random images.
TEST_P(Decode, EveryInputThroughBodyAndTail) {
    const Fn fn = GetParam();
    if (fn.filter) GTEST_SKIP() << "mixes neighbouring chroma samples";
    bool bodySwept = false, tailSwept = fn.body == fn.tail;
    for (const Fn* o = kFns; fn.samp == Samp::S422 && o->name != fn.name; ++o) {
        bodySwept |= o->body == fn.body;
        tailSwept |= o->tail == fn.tail;
    }
    const bool s411 = fn.samp == Samp::S411, s420 = fn.samp == Samp::S420;
    for (int w : {32, s411 ? 7 : fn.unit - 2}) {
        if (w == 32 ? bodySwept : tailSwept) continue;
        const bool rowWise = s411 && w % 4;  // one tail group a row carries the sweep
        const int ys = rowWise ? w % 4 : s411 || s420 ? 4 : 2, perPair = (256 + ys - 1) / ys;
        const int cw = celtest::chromaW(fn.samp, w);
        const int64_t samples = 65536 / celtest::kSweep24Stride * perPair;
        const int ch = int(rowWise ? samples : (samples + cw - 1) / cw);
        ChromaLayout s(fn.src, fn.samp, w, s420 ? 2 * ch : ch);
        const auto k = [&](int i, int j) { return rowWise ? int64_t(j) : int64_t(j) * cw + i; };
        for (int j = 0; j < ch; ++j)
            for (int i = 0; i < cw; ++i) {
                const uint32_t pair = uint32_t((k(i, j) / perPair) * celtest::kSweep24Stride) & 0xFFFF;
                s.at(1, i, j) = uint8_t(pair >> 8), s.at(2, i, j) = uint8_t(pair);
            }
        for (int y = 0; y < s.h; ++y)
            for (int x = 0; x < w; ++x) {
                const int p = s411 ? x % 4 : s420 ? (x & 1) + 2 * (y & 1) : x & 1;
                const int64_t kk = k(s411 ? x / 4 : x / 2, s420 ? y / 2 : y);
                s.at(0, x, y) = uint8_t((kk % perPair) * ys + p % ys);
            }
        check(fn, s, w == 32 ? "body sweep" : "tail sweep");
        if (HasFatalFailure()) return;
    }
}

INSTANTIATE_TEST_SUITE_P(AllForms, Decode, ::testing::ValuesIn(kFns),
                         [](const ::testing::TestParamInfo<Fn>& i) { return std::string(i.param.name); });

// ---- Worked values ----------------------------------------------------------------------------
// A uniform two-row image of one (Y, Cb, Cr) gives `out` at every pixel.
struct Worked {
    const char* fn;
    std::vector<int> widths;
    int Y, Cb, Cr;
    Rgb out;
};
const Worked kWorked[] = {
    // the plain body truncates white to 254, the rounded scalar set gives 255
    {"YCbCr422ToRGB_C2P3R", {8}, 235, 128, 128, {254, 254, 254}},
    {"YCbCr422ToRGB_C2P3R", {2}, 235, 128, 128, {255, 255, 255}},
    // narrow body, set A tail
    {"YCbCr422ToRGB_C2C3R", {16}, 82, 90, 240, {255, 1, 0}},
    {"YCbCr422ToRGB_C2C3R", {2}, 100, 120, 140, {117, 91, 82}},
    {"CbYCr422ToBGR_C2C4R", {8}, 126, 128, 128, {128, 128, 128}},
    // folded 4:2:2 truncates: white comes out 254 in R and B of the body, 255 in the tail
    {"YCrCb422ToRGB_C2C4R", {16}, 235, 128, 128, {254, 255, 254}},
    {"YCrCb422ToRGB_C2C4R", {2}, 235, 128, 128, {255, 255, 255}},
    {"YCbCr422ToBGR_C2C4R", {16}, 16, 128, 128, {0, 0, 0}},
    // the folded 4:2:0 constants carry the rounding: white is 255 in body and tail
    {"YCbCr420ToBGR_P2C3R", {16, 2}, 235, 128, 128, {255, 255, 255}},
    // BT.709 full scale: luma Y * 16 with no offset and no 1..254 hold
    {"YCbCr420ToBGR_709HDTV_P3C4R", {8, 2}, 0, 128, 128, {0, 0, 0}},
    {"YCbCr420ToBGR_709HDTV_P3C4R", {8, 2}, 255, 128, 128, {255, 255, 255}},
    {"CbYCr422ToBGR_709HDTV_C2C3R", {16, 2}, 0, 128, 128, {0, 0, 0}},
    {"CbYCr422ToBGR_709HDTV_C2C3R", {16, 2}, 255, 128, 128, {255, 255, 255}},
    {"CbYCr422ToBGR_709HDTV_C2C4R", {16, 2}, 0, 128, 128, {0, 0, 0}},
    {"CbYCr422ToBGR_709HDTV_C2C4R", {16, 2}, 255, 128, 128, {255, 255, 255}},
    // BT.709 studio range: white, black and the primaries its encoder makes
    {"YCbCr420ToBGR_709CSC_P3C3R", {16, 2}, 235, 128, 128, {255, 255, 255}},
    {"YCbCr420ToBGR_709CSC_P3C3R", {16, 2}, 16, 128, 128, {0, 0, 0}},
    {"YCbCr420ToBGR_709CSC_P3C3R", {16, 2}, 63, 102, 240, {255, 0, 0}},
    {"YCbCr420ToBGR_709CSC_P3C3R", {16, 2}, 173, 41, 26, {0, 255, 0}},
    {"YCbCr420ToBGR_709CSC_P3C3R", {16, 2}, 32, 240, 117, {0, 1, 255}},
};

TEST(DecodeWorked, UniformImages) {
    for (const Worked& k : kWorked)
        for (int w : k.widths) {
            const Fn& fn = byName(k.fn);
            ChromaLayout s(fn.src, fn.samp, w, 2);
            for (int y = 0; y < 2; ++y)
                for (int x = 0; x < w; ++x) {
                    const int i = x / (fn.samp == Samp::S411 ? 4 : 2), j = fn.samp == Samp::S420 ? y / 2 : y;
                    s.at(0, x, y) = uint8_t(k.Y), s.at(1, i, j) = uint8_t(k.Cb), s.at(2, i, j) = uint8_t(k.Cr);
                }
            Dest d(fn.bytes, w, 2);
            ASSERT_EQ(run(fn, s, d), celStatusOk) << k.fn;
            for (int y = 0; y < 2; ++y)
                for (int x = 0; x < w; ++x)
                    for (int c = 0; c < 3; ++c)
                        EXPECT_EQ(d.at(x, y, fn.bgr ? 2 - c : c), k.out[c]) << k.fn << " width " << w << " input " << k.Y
                                                                            << "," << k.Cb << "," << k.Cr;
        }
}

// The aligned twins (pointers and steps multiples of 16) give the bytes of the general path.
TEST(DecodeWorked, AlignedTwinMatchesUnalignedPath) {
    for (auto f : {celiCbYCr422ToBGR_8u_C2C4R, celiCbYCr422ToBGR_709HDTV_8u_C2C4R}) {
        const int w = 37, h = 3;
        alignas(16) static uint8_t src[h][96], a[h][160], b[h][160 + 1];
        for (int y = 0; y < h; ++y)
            for (int i = 0; i < 96; ++i) src[y][i] = uint8_t(i * 37 + y * 11);
        ASSERT_EQ(f(&src[0][0], 96, &a[0][0], 160, {w, h}, 9), celStatusOk);
        ASSERT_EQ(f(&src[0][0], 96, &b[0][0] + 1, 161, {w, h}, 9), celStatusOk);
        for (int y = 0; y < h; ++y)
            for (int i = 0; i < 4 * w; ++i) ASSERT_EQ(a[y][i], (&b[0][0] + 1)[y * 161 + i]);
    }
}

// A full video frame with an odd height through 4:2:0 and back: both
// directions warn, the last row stays unwritten, the rest comes back close.
TEST(DecodeRoundTrip, VideoFrame1920x1081) {
    const int w = 1920, h = 1081;
    std::vector<uint8_t> rgb(size_t(3) * w * h), back(rgb.size(), kFill), y(size_t(w) * h), cb(size_t(w / 2) * (h / 2)),
        cr(cb.size());
    for (int j = 0; j < h; ++j)
        for (int i = 0; i < w; ++i) {
            uint8_t* p = &rgb[(size_t(j) * w + i) * 3];
            p[0] = uint8_t(i * 255 / (w - 1)), p[1] = uint8_t(j * 255 / (h - 1)), p[2] = uint8_t(255 - p[0] / 2);
        }
    uint8_t* planes[3] = {y.data(), cb.data(), cr.data()};
    int steps[3] = {w, w / 2, w / 2};
    ASSERT_EQ(celiRGBToYCbCr420_8u_C3P3R(rgb.data(), 3 * w, planes, steps, {w, h}), celStatusOddSize);
    const uint8_t* in[3] = {y.data(), cb.data(), cr.data()};
    ASSERT_EQ(celiYCbCr420ToRGB_8u_P3C3R(in, steps, back.data(), 3 * w, {w, h}), celStatusOddSize);
    int worst = 0;
    for (size_t i = 0; i < size_t(3) * w * (h - 1); ++i) worst = std::max(worst, std::abs(rgb[i] - back[i]));
    for (size_t i = size_t(3) * w * (h - 1); i < back.size(); ++i) ASSERT_EQ(back[i], kFill);
    EXPECT_LE(worst, 4);  // measured: 4
}

}  // namespace
