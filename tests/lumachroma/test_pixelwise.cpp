// The luma-chroma forms whose every output pixel comes from one input triple:
// RGB <-> YCbCr and RGB <-> YUV at full rate, and the 4:2:2, 4:2:0 and 4:1:1
// decoders (luma at the pixel, chroma of its sample).  One table: source and
// destination layouts (common/chroma_layout.h), body and tail recipes (scalar
// models from the formulas in common/ycbcr_model.h, independent of the
// library's recipe headers) applied by pixel position.  Every destination
// byte, canaries included, compared with the model over widths that hit body
// only, tail only and both, odd sizes (4:2:0 decodes whole 2 x 2 blocks only
// and warns), negative and zero steps; every input through body and tail;
// worked values; in place; the aligned paths.  Statuses and check order: the
// robustness table's rows (tests/robust).
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "celcc.h"
#include "common/chroma_layout.h"
#include "common/export_list.h"
#include "common/ycbcr_model.h"

namespace {

using celtest::Args;
using celtest::ChromaLayout;
using celtest::Kind;
using celtest::RowWalk;
using celtest::Samp;
using namespace celtest::ycc;

const celtest::FirstCheck kFc1("celiYCrCb420ToBGR_8u_P2C4R", celStatusBadSize);
const celtest::FirstCheck kFc2("celiYCrCb420ToRGB_8u_P2C4R", celStatusBadSize);

constexpr uint8_t kAlpha = 0xD3;
using Model = Rgb (*)(int, int, int);
// The destination's fourth byte: untouched, zero in the body only, zero, alphaValue, the source's.
enum class Fourth { Keep, BodyZero, Zero, Alpha, Copy };

#define CALL(expr) [](Args & a, CelSize r) -> CelStatus { return expr; }
#define II(f, ...) CALL(f(a.sp[0], a.ss[0], a.dp[0], a.ds[0], r, ##__VA_ARGS__))
#define IP(f) CALL(f(a.sp[0], a.ss[0], a.dp, a.ds[0], r))
#define PI(f, ...) CALL(f(a.sp, a.ss, a.dp[0], a.ds[0], r, ##__VA_ARGS__))
#define PI1(f, ...) CALL(f(a.sp, a.ss[0], a.dp[0], a.ds[0], r, ##__VA_ARGS__))
#define PP(f) CALL(f(a.sp, a.ss, a.dp, a.ds[0], r))
#define PP1(f) CALL(f(a.sp, a.ss[0], a.dp, a.ds[0], r))
#define P2(f, ...) CALL(f(a.sp[0], a.ss[0], a.sp[1], a.ss[1], a.dp[0], a.ds[0], r, ##__VA_ARGS__))

struct Fn {
    const char* name;
    Kind srcKind;
    Samp srcSamp;
    Kind dstKind;
    Model body, tail;
    int unit;  // decoded pixels below the decoded width rounded down to this take the body (0: none)
    bool bgr;  // the colour bytes land in reverse order
    Fourth fourth;
    CelStatus (*call)(Args&, CelSize);
    int minW = 1, minH = 1;
    bool filter = false;  // odd pixels take the mean of their sample and the next (4:2:0 filtered)
    bool lone = false;    // a lone last pixel of a packed row takes the chroma of the pair before
    static constexpr Samp dstSamp = Samp::S444;
};
void PrintTo(const Fn& f, std::ostream* os) { *os << f.name; }

constexpr Kind C3 = Kind::C3, C4 = Kind::C4, Px3 = Kind::Px3, Px4 = Kind::Px4, YUY2 = Kind::YUY2, UYVY = Kind::UYVY,
               YVYU = Kind::YVYU, P3CbCr = Kind::P3CbCr, P3CrCb = Kind::P3CrCb, P2CbCr = Kind::P2CbCr,
               P2CrCb = Kind::P2CrCb;
constexpr Samp S444 = Samp::S444, S422 = Samp::S422, S420 = Samp::S420, S411 = Samp::S411;
constexpr Fourth Keep = Fourth::Keep, Alpha = Fourth::Alpha, Zero = Fourth::Zero;

const Fn kFns[] = {
    // BT.601 at full rate
    {"RGBToYCbCr_C3R", C3, S444, C3, roundedLane, scalarQ16, 16, false, Keep, II(celiRGBToYCbCr_8u_C3R)},
    {"RGBToYCbCr_AC4R", C4, S444, C4, roundedLane, scalarQ16, 16, false, Fourth::BodyZero,
     II(celiRGBToYCbCr_8u_AC4R)},
    {"RGBToYCbCr_C3P3R", C3, S444, Px3, highWord, scalarQ16, 8, false, Keep, IP(celiRGBToYCbCr_8u_C3P3R)},
    {"RGBToYCbCr_AC4P3R", C4, S444, Px3, highWord, scalarQ16, 8, false, Keep, IP(celiRGBToYCbCr_8u_AC4P3R)},
    {"RGBToYCbCr_P3R", Px3, S444, Px3, highWord, scalarQ16, 8, false, Keep, PP1(celiRGBToYCbCr_8u_P3R)},
    {"YCbCrToRGB_C3R", C3, S444, C3, narrow, setARounded, 8, false, Keep, II(celiYCbCrToRGB_8u_C3R)},
    {"YCbCrToRGB_P3C3R", Px3, S444, C3, narrow, setARounded, 8, false, Keep, PI1(celiYCbCrToRGB_8u_P3C3R)},
    {"YCbCrToBGR_P3C3R", Px3, S444, C3, narrow, setARounded, 8, true, Keep, PI1(celiYCbCrToBGR_8u_P3C3R)},
    {"YCbCrToRGB_P3C4R", Px3, S444, C4, wide, setARounded, 8, false, Alpha, PI1(celiYCbCrToRGB_8u_P3C4R, kAlpha)},
    {"YCbCrToBGR_P3C4R", Px3, S444, C4, wide, wide, 1, true, Alpha, PI1(celiYCbCrToBGR_8u_P3C4R, kAlpha)},
    {"YCbCrToRGB_P3R", Px3, S444, Px3, plain, setBRounded, 4, false, Keep, PP1(celiYCbCrToRGB_8u_P3R)},
    {"YCbCrToRGB_AC4R", C4, S444, C4, setBPlain, setBPlain, 1, false, Keep, II(celiYCbCrToRGB_8u_AC4R)},
    {"YCbCrToBGR_709CSC_P3C3R", Px3, S444, C3, wide709, set709Rounded, 16, true, Keep,
     PI1(celiYCbCrToBGR_709CSC_8u_P3C3R)},
    {"YCbCrToBGR_709CSC_P3C4R", Px3, S444, C4, wide709, wide709, 1, true, Alpha,
     PI1(celiYCbCrToBGR_709CSC_8u_P3C4R, kAlpha)},
    // Analogue-video YUV at full rate
    {"RGBToYUV_C3R", C3, S444, C3, yuvHighWord, yuvDifference, 16, false, Keep, II(celiRGBToYUV_8u_C3R)},
    {"RGBToYUV_C3P3R", C3, S444, Px3, yuvHighWord, yuvDifference, 8, false, Keep, IP(celiRGBToYUV_8u_C3P3R)},
    {"RGBToYUV_P3R", Px3, S444, Px3, yuvHighWord, yuvHighWord, 1, false, Keep, PP1(celiRGBToYUV_8u_P3R)},
    {"RGBToYUV_AC4R", C4, S444, C4, yuvDifference, yuvDifference, 0, false, Keep, II(celiRGBToYUV_8u_AC4R)},
    {"RGBToYUV_AC4P4R", C4, S444, Px4, yuvRoundedQ15, yuvDifference, 8, false, Fourth::Copy,
     IP(celiRGBToYUV_8u_AC4P4R)},
    {"YUVToRGB_C3R", C3, S444, C3, shiftFree, invRounded, 8, false, Keep, II(celiYUVToRGB_8u_C3R)},
    {"YUVToRGB_C3C4R", C3, S444, C4, eightFold, invRounded, 8, false, Alpha, II(celiYUVToRGB_8u_C3C4R, kAlpha)},
    {"YUVToRGB_P3C3R", Px3, S444, C3, doubledA, invPlain, 16, false, Keep, PI1(celiYUVToRGB_8u_P3C3R)},
    {"YUVToRGB_P3R", Px3, S444, Px3, invPlain, invPlain, 0, false, Keep, PP1(celiYUVToRGB_8u_P3R)},
    {"YUVToRGB_AC4R", C4, S444, C4, invRounded, invRounded, 0, false, Keep, II(celiYUVToRGB_8u_AC4R)},
    // YCbCr 4:2:2 decoders
    {"YCbCr422ToRGB_C2C3R", YUY2, S422, C3, narrow, setARounded, 8, false, Keep, II(celiYCbCr422ToRGB_8u_C2C3R)},
    {"YCbCr422ToBGR_C2C3R", YUY2, S422, C3, narrow, setARounded, 8, true, Keep, II(celiYCbCr422ToBGR_8u_C2C3R), 2},
    {"CbYCr422ToRGB_C2C3R", UYVY, S422, C3, narrow, setARounded, 8, false, Keep, II(celiCbYCr422ToRGB_8u_C2C3R)},
    {"YCbCr422ToRGB_P3C3R", P3CbCr, S422, C3, narrow, setBRounded, 8, false, Keep, PI(celiYCbCr422ToRGB_8u_P3C3R), 2},
    {"YCbCr422ToBGR_P3C3R", P3CbCr, S422, C3, narrow, setBRounded, 8, true, Keep, PI(celiYCbCr422ToBGR_8u_P3C3R), 2},
    {"YCbCr422ToRGB_C2C4R", YUY2, S422, C4, folded422, setBRounded, 8, false, Alpha,
     II(celiYCbCr422ToRGB_8u_C2C4R, kAlpha)},
    {"YCbCr422ToBGR_C2C4R", YUY2, S422, C4, narrowTruncating, setBRounded, 16, true, Alpha,
     II(celiYCbCr422ToBGR_8u_C2C4R, kAlpha), 2},
    {"CbYCr422ToBGR_C2C4R", UYVY, S422, C4, wide, setARounded, 8, true, Alpha, II(celiCbYCr422ToBGR_8u_C2C4R, kAlpha)},
    {"YCrCb422ToRGB_C2C3R", YVYU, S422, C3, folded422, setBRounded, 8, false, Keep, II(celiYCrCb422ToRGB_8u_C2C3R)},
    {"YCrCb422ToBGR_C2C3R", YVYU, S422, C3, folded422, setBRounded, 8, true, Keep, II(celiYCrCb422ToBGR_8u_C2C3R)},
    {"YCrCb422ToRGB_C2C4R", YVYU, S422, C4, folded422, setBRounded, 8, false, Alpha,
     II(celiYCrCb422ToRGB_8u_C2C4R, kAlpha)},
    {"YCrCb422ToBGR_C2C4R", YVYU, S422, C4, folded422, setBRounded, 8, true, Alpha,
     II(celiYCrCb422ToBGR_8u_C2C4R, kAlpha)},
    {"YCbCr422ToRGB_C2P3R", YUY2, S422, Px3, plain, setBRounded, 8, false, Keep, IP(celiYCbCr422ToRGB_8u_C2P3R)},
    {"YCrCb422ToRGB_C2P3R", YVYU, S422, Px3, plain, setBRounded, 8, false, Keep, IP(celiYCrCb422ToRGB_8u_C2P3R)},
    {"CbYCr422ToBGR_709HDTV_C2C3R", UYVY, S422, C3, hdtv709, hdtv709Scalar, 8, true, Keep,
     II(celiCbYCr422ToBGR_709HDTV_8u_C2C3R)},
    {"CbYCr422ToBGR_709HDTV_C2C4R", UYVY, S422, C4, hdtv709, hdtv709Scalar, 8, true, Alpha,
     II(celiCbYCr422ToBGR_709HDTV_8u_C2C4R, kAlpha)},
    // YCbCr 4:2:0 and 4:1:1 decoders
    {"YCbCr420ToBGR_P3C4R", P3CbCr, S420, C4, foldedYCbCr, foldedYCbCr, 8, true, Alpha,
     PI(celiYCbCr420ToBGR_8u_P3C4R, kAlpha)},
    {"YCbCr420ToBGR_P3C3R", P3CbCr, S420, C3, narrow, setBRounded, 8, true, Keep, PI(celiYCbCr420ToBGR_8u_P3C3R)},
    {"YCbCr420ToRGB_P3C3R", P3CbCr, S420, C3, narrow, setBRounded, 8, false, Keep, PI(celiYCbCr420ToRGB_8u_P3C3R)},
    {"YCrCb420ToRGB_P3C4R", P3CrCb, S420, C4, wide, setBRounded, 8, false, Alpha,
     PI(celiYCrCb420ToRGB_8u_P3C4R, kAlpha)},
    {"YCbCr420ToBGR_P2C3R", P2CbCr, S420, C3, foldedYCbCr, foldedYCbCr, 8, true, Keep, P2(celiYCbCr420ToBGR_8u_P2C3R)},
    {"YCbCr420ToRGB_P2C3R", P2CbCr, S420, C3, foldedYCbCr, foldedYCbCr, 8, false, Keep,
     P2(celiYCbCr420ToRGB_8u_P2C3R)},
    {"YCbCr420ToBGR_P2C4R", P2CbCr, S420, C4, foldedYCbCr, foldedYCbCr, 8, true, Alpha,
     P2(celiYCbCr420ToBGR_8u_P2C4R, kAlpha)},
    {"YCbCr420ToRGB_P2C4R", P2CbCr, S420, C4, foldedYCbCr, foldedYCbCr, 8, false, Alpha,
     P2(celiYCbCr420ToRGB_8u_P2C4R, kAlpha)},
    {"YCrCb420ToBGR_P2C3R", P2CrCb, S420, C3, foldedYCrCb, foldedYCrCb, 8, true, Keep, P2(celiYCrCb420ToBGR_8u_P2C3R)},
    {"YCrCb420ToRGB_P2C3R", P2CrCb, S420, C3, foldedYCrCb, foldedYCrCb, 8, false, Keep,
     P2(celiYCrCb420ToRGB_8u_P2C3R)},
    {"YCrCb420ToBGR_P2C4R", P2CrCb, S420, C4, foldedYCrCb, foldedYCrCb, 8, true, Alpha,
     P2(celiYCrCb420ToBGR_8u_P2C4R, kAlpha)},
    {"YCrCb420ToRGB_P2C4R", P2CrCb, S420, C4, foldedYCrCb, foldedYCrCb, 8, false, Alpha,
     P2(celiYCrCb420ToRGB_8u_P2C4R, kAlpha)},
    // alphaValue is an int here: its low byte is the alpha.
    {"YCrCb420ToBGR_Filter_P3C4R", P3CrCb, S420, C4, narrowNoAddend, q12, 16, true, Alpha,
     PI(celiYCrCb420ToBGR_Filter_8u_P3C4R, 0x100 | kAlpha), 1, 1, true},
    {"YCbCr411ToBGR_P3C3R", P3CbCr, S411, C3, narrow, setC, 4, true, Keep, PI(celiYCbCr411ToBGR_8u_P3C3R), 4},
    {"YCbCr411ToBGR_P3C4R", P3CbCr, S411, C4, narrow, setC, 4, true, Alpha, PI(celiYCbCr411ToBGR_8u_P3C4R, kAlpha), 4},
    {"YCbCr420ToBGR_709CSC_P3C3R", P3CbCr, S420, C3, wide709, set709Rounded, 8, true, Keep,
     PI(celiYCbCr420ToBGR_709CSC_8u_P3C3R)},
    {"YCbCr420ToBGR_709HDTV_P3C4R", P3CbCr, S420, C4, hdtv709, hdtv709Scalar, 8, true, Alpha,
     PI(celiYCbCr420ToBGR_709HDTV_8u_P3C4R, kAlpha)},
    // YUV 4:2:2 and 4:2:0 decoders (the packed form's lone last pixel: Y and U only)
    {"YUV422ToRGB_C2C3R", YUY2, S422, C3, doubledA, invRounded, 16, false, Keep, II(celiYUV422ToRGB_8u_C2C3R), 1, 1,
     false, true},
    {"YUV422ToRGB_P3C3R", P3CbCr, S422, C3, doubledA, invRounded, 16, false, Keep, PI(celiYUV422ToRGB_8u_P3C3R)},
    {"YUV422ToRGB_P3R", P3CbCr, S422, Px3, doubledA, invRounded, 16, false, Keep, PP(celiYUV422ToRGB_8u_P3R)},
    {"YUV422ToRGB_P3AC4R", P3CbCr, S422, C4, sixteen, invRounded, 16, false, Zero, PI(celiYUV422ToRGB_8u_P3AC4R)},
    {"YUV420ToRGB_P3C3R", P3CbCr, S420, C3, doubledA, doubledA, 2, false, Keep, PI(celiYUV420ToRGB_8u_P3C3R)},
    {"YUV420ToBGR_P3C3R", P3CbCr, S420, C3, doubledB, doubledB, 2, true, Keep, PI(celiYUV420ToBGR_8u_P3C3R), 2, 2},
    {"YUV420ToRGB_P3R", P3CbCr, S420, Px3, invBlock, invBlock, 0, false, Keep, PP(celiYUV420ToRGB_8u_P3R)},
    {"YUV420ToRGB_P3AC4R", P3CbCr, S420, C4, sixteen, invBlock, 16, false, Zero, PI(celiYUV420ToRGB_8u_P3AC4R)},
};

// Pixels decoded: 4:2:0 whole 2 x 2 blocks only.
int decodedW(const Fn& fn, int w) { return fn.srcSamp == S420 ? w & ~1 : w; }
int decodedH(const Fn& fn, int h) { return fn.srcSamp == S420 ? h & ~1 : h; }
// Pixels of a row of w that take the body recipe.
int bodyEnd(const Fn& fn, int w) {
    const int dw = decodedW(fn, w);
    return fn.filter ? 2 * ((dw / 2 - 1) / 8 * 8) : fn.unit ? dw - dw % fn.unit : 0;
}
CelStatus statusAt(const Fn& fn, int w, int h) {
    return fn.srcSamp == S420 && ((w | h) & 1) ? celStatusOddSize : celStatusOk;
}

// Writes what fn must write into e: each decoded pixel through the recipe of its place in the row.
void model(const Fn& fn, ChromaLayout& s, ChromaLayout& e) {
    const int dw = decodedW(fn, s.w), be = bodyEnd(fn, s.w);
    const int per = fn.srcSamp == S444 ? 1 : fn.srcSamp == S411 ? 4 : 2;
    for (int y = 0; y < decodedH(fn, s.h); ++y)
        for (int x = 0; x < dw; ++x) {
            const int i = x / per, j = fn.srcSamp == S420 ? y / 2 : y;
            int cb = s.at(1, i, j), cr = s.at(2, i, j);
            if (fn.filter && (x & 1) && i + 1 < dw / 2)
                cb = (cb + s.at(1, i + 1, j) + 1) >> 1, cr = (cr + s.at(2, i + 1, j) + 1) >> 1;
            if (fn.lone && x == s.w - 1 && (x & 1) == 0)
                cb = x ? s.at(1, i - 1, j) : cb, cr = x ? s.at(2, i - 1, j) : 128;
            const Rgb o = (x < be ? fn.body : fn.tail)(s.at(0, x, y), cb, cr);
            for (int c = 0; c < 3; ++c) e.at(fn.bgr ? 2 - c : c, x, y) = o[c];
            if (fn.fourth == Alpha) e.at(3, x, y) = kAlpha;
            if (fn.fourth == Zero || (fn.fourth == Fourth::BodyZero && x < be)) e.at(3, x, y) = 0;
            if (fn.fourth == Fourth::Copy) e.at(3, x, y) = s.at(3, x, y);
        }
}

void check(const Fn& fn, ChromaLayout& s, ChromaLayout& d, const std::string& what) {
    celtest::expectModelOn(fn, s, d, statusAt(fn, s.w, s.h), [&](ChromaLayout& in, ChromaLayout& e) { model(fn, in, e); },
                           what);
}

class Pixelwise : public ::testing::TestWithParam<Fn> {};

TEST_P(Pixelwise, MatchesModelAcrossWidthsHeightsAndSteps) {
    const Fn fn = GetParam();
    uint32_t seed = 7;
    const auto run = [&](int w, int h, RowWalk sw, RowWalk dw) {
        if (w >= fn.minW && h >= fn.minH)
            celtest::expectLayoutModel(fn, w, h, sw, dw, seed++, statusAt(fn, w, h),
                                       [&](ChromaLayout& s, ChromaLayout& e) { model(fn, s, e); });
    };
    for (int w : {1, 2, 3, 4, 5, 6, 7, 8, 9, 12, 14, 15, 16, 17, 18, 19, 20, 23, 24, 25, 28, 31, 32, 33, 34, 40, 47, 50,
                  64, 100, 101}) {
        for (int h : {1, 2, 3, 4, 5, 7}) run(w, h, RowWalk::Down, RowWalk::Down);
        for (int h : {2, 5}) {
            run(w, h, RowWalk::Up, RowWalk::Down);
            run(w, h, RowWalk::Up, RowWalk::Up);
            run(w, h, RowWalk::Same, RowWalk::Down);
        }
        if (HasFatalFailure()) return;
    }
    run(1920, 3, RowWalk::Down, RowWalk::Down);
}

// Every input through the body and through the tail.  Full rate: every
// triple (common/sweep24.h) through rows of 16 and rows one short of the
// unit.  Subsampled (rows of 32, and rows below one vector; 4:1:1: one body
// group and a three-pixel tail group): each chroma sample takes one (Cb, Cr),
// the pixels that share it successive Y values, so 2^16 pairs times 256 /
// (pixels a sample) samples cover all 2^24 inputs (every 61st pair under the
// sanitizers).  The 4:2:2 members that share a recipe differ only in layout,
// which the random images cover: the first member of each sweeps it.  The
// filtered decoder mixes neighbouring samples and is left to the random images.
TEST_P(Pixelwise, EveryInputThroughBodyAndTail) {
    const Fn fn = GetParam();
    if (fn.filter) GTEST_SKIP() << "mixes neighbouring chroma samples";
    if (fn.srcSamp == S444) {
        for (int w : {16, fn.unit - 1})
            if (w > 0)
                celtest::sweepBlocks(fn.srcKind, w, 1, 1, [&](ChromaLayout& s) {
                    ChromaLayout d(fn.dstKind, S444, s.w, s.h);
                    check(fn, s, d, w == 16 ? "body sweep" : "tail sweep");
                });
        return;
    }
    bool bodySwept = false, tailSwept = fn.body == fn.tail;
    for (const Fn* o = kFns; fn.srcSamp == S422 && o->name != fn.name; ++o) {
        bodySwept |= o->srcSamp == S422 && o->body == fn.body;
        tailSwept |= o->srcSamp == S422 && o->tail == fn.tail;
    }
    const bool s411 = fn.srcSamp == S411, s420 = fn.srcSamp == S420;
    for (int w : {32, s411 ? 7 : std::max(fn.unit, 8) - 2}) {
        if (w == 32 ? bodySwept : tailSwept) continue;
        const bool rowWise = s411 && w % 4;  // one tail group a row carries the sweep
        const int ys = rowWise ? w % 4 : s411 || s420 ? 4 : 2, perPair = (256 + ys - 1) / ys;
        const int cw = celtest::chromaW(fn.srcSamp, w);
        const int64_t samples = 65536 / celtest::kSweep24Stride * perPair, perRow = rowWise ? 1 : cw;
        for (int64_t first = 0; first < samples; first += int64_t(1) << 20) {  // in chunks of 2^20 samples
            const int ch = int((std::min(int64_t(1) << 20, samples - first) + perRow - 1) / perRow);
            ChromaLayout s(fn.srcKind, fn.srcSamp, w, s420 ? 2 * ch : ch), d(fn.dstKind, S444, w, s.h);
            const auto k = [&](int i, int j) { return first + (rowWise ? int64_t(j) : int64_t(j) * cw + i); };
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
            check(fn, s, d, w == 32 ? "body sweep" : "tail sweep");
            if (HasFatalFailure()) return;
        }
    }
}

// Every combination of extreme and mid values at full rate (the sanitizer
// build, whose sweep is thinned, catches a read outside a clamp table here).
TEST_P(Pixelwise, ExtremeInputs) {
    const Fn fn = GetParam();
    if (fn.srcSamp != S444) GTEST_SKIP() << "full-rate forms only";
    static const int vals[] = {0, 1, 16, 128, 235, 240, 254, 255};
    for (int w : {512, 3}) {
        ChromaLayout s(fn.srcKind, S444, w, 1), d(fn.dstKind, S444, w, 1);
        for (int x = 0, k = w == 512 ? 0 : 511; x < w; ++x, k += w == 512 ? 1 : -1)
            s.at(0, x, 0) = uint8_t(vals[k % 8]), s.at(1, x, 0) = uint8_t(vals[k / 8 % 8]), s.at(2, x, 0) = uint8_t(vals[k / 64]);
        check(fn, s, d, "extremes");
    }
}

// In place (interleaved forms with the same layout on both sides): the bytes of separate buffers.
TEST(PixelwisePaths, InPlaceEqualsSeparateBuffers) {
    for (const Fn& fn : kFns)
        for (int w : {1, 7, 15, 16, 17, 24, 41}) {
            if (fn.srcKind != fn.dstKind || (fn.srcKind != C3 && fn.srcKind != C4)) continue;
            ChromaLayout s(fn.srcKind, S444, w, 3);
            s.randomize(90 + w);
            ChromaLayout ref = s, inplace = s;
            Args a = celtest::argsOf(s, ref), b = celtest::argsOf(inplace, inplace);
            ASSERT_EQ(fn.call(a, {w, 3}), celStatusOk);
            ASSERT_EQ(fn.call(b, {w, 3}), celStatusOk);
            EXPECT_EQ(inplace.snapshot(), ref.snapshot()) << fn.name << " w=" << w;
        }
}

// Full-rate planar forms: every pointer and step a multiple of 16 (the
// 16-pixel loops) and the destination one byte off (the general loops), both
// against the model.
TEST(PixelwisePaths, AlignedAndUnalignedPlanes) {
    const int h = 3, step = 64;
    alignas(16) static uint8_t mem[6][step * h + 32];
    std::mt19937 rng(5);
    for (auto& plane : mem)
        for (auto& v : plane) v = uint8_t(rng());
    for (const Fn& fn : kFns)
        for (int w : {48, 45})
            for (int off = 0; off < 2 && fn.srcKind == Px3 && fn.dstKind == Px3; ++off) {
                Args a = {{mem[0], mem[1], mem[2]}, {step, step, step}, {mem[3] + off, mem[4] + off, mem[5] + off},
                          {step, step, step}};
                ASSERT_EQ(fn.call(a, {w, h}), celStatusOk);
                for (int y = 0; y < h; ++y)
                    for (int x = 0; x < w; ++x) {
                        const int i = y * step + x;
                        const Rgb e = (x < bodyEnd(fn, w) ? fn.body : fn.tail)(mem[0][i], mem[1][i], mem[2][i]);
                        for (int c = 0; c < 3; ++c)
                            ASSERT_EQ(a.dp[c][i], e[c]) << fn.name << " width " << w << " offset " << off << " at " << x;
                    }
            }
}

// The aligned twins (pointers and steps multiples of 16) give the bytes of the general path.
TEST(PixelwisePaths, AlignedTwinMatchesUnalignedPath) {
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
    {{16, 128, 128}, {0, 0, 0}, {narrow, wide, setARounded, setBRounded, plain, setBPlain, narrowTruncating}},
    // the plain body truncates white to 254, the rounded scalar sets give 255
    {{235, 128, 128}, {255, 255, 255}, {narrow, wide, setARounded, setBRounded, foldedYCbCr}},
    {{235, 128, 128}, {254, 254, 254}, {plain, setBPlain}},
    {{235, 128, 128}, {254, 255, 254}, {folded422}},  // folded 4:2:2 truncates
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
    // BT.709 full scale: luma Y * 16 with no offset and no 1..254 hold
    {{0, 128, 128}, {0, 0, 0}, {hdtv709, hdtv709Scalar}},
    {{255, 128, 128}, {255, 255, 255}, {hdtv709, hdtv709Scalar}},
    // YUV: pure red leaves the byte range and is clamped; mid gray decodes to 128
    {{255, 0, 0}, {76, 90, 255}, {yuvDifference}},
    {{128, 128, 128}, {128, 128, 128}, {invPlain}},
};

TEST(PixelwiseModel, ReproducesTheWorkedValues) {
    for (const Worked& k : kWorked)
        for (Model m : k.models) EXPECT_EQ(m(k.in[0], k.in[1], k.in[2]), k.out) << int(k.in[0]) << "," << int(k.in[1]);
}

// Each export on uniform images that are all body (16, 24 where the unit
// allows) and all tail (two short of the unit) gives, at every decoded pixel,
// the worked value of the recipe it runs there.
TEST_P(Pixelwise, WorkedValuesOfBodyAndTail) {
    const Fn fn = GetParam();
    for (const Worked& k : kWorked)
        for (int w : {16, 24, fn.unit - 2}) {
            const auto listed = [&](int x) {
                const Model m = x < bodyEnd(fn, w) ? fn.body : fn.tail;
                return std::find(k.models.begin(), k.models.end(), m) != k.models.end();
            };
            if (w < fn.minW || !(listed(0) || listed(w - 1))) continue;
            ChromaLayout s(fn.srcKind, fn.srcSamp, w, 2), d(fn.dstKind, S444, w, 2);
            for (int y = 0; y < 2; ++y)
                for (int x = 0; x < w; ++x) s.at(0, x, y) = k.in[0];
            for (int j = 0; j < celtest::chromaH(fn.srcSamp, 2); ++j)
                for (int i = 0; i < celtest::chromaW(fn.srcSamp, w); ++i) s.at(1, i, j) = k.in[1], s.at(2, i, j) = k.in[2];
            Args a = celtest::argsOf(s, d);
            ASSERT_EQ(fn.call(a, {w, 2}), celStatusOk) << fn.name;
            for (int y = 0; y < 2; ++y)
                for (int x = 0; x < w; ++x)
                    for (int c = 0; c < 3 && listed(x); ++c)
                        EXPECT_EQ(d.at(fn.bgr ? 2 - c : c, x, y), k.out[c])
                            << fn.name << " width " << w << " x " << x << " input " << int(k.in[0]) << ","
                            << int(k.in[1]) << "," << int(k.in[2]);
        }
}

INSTANTIATE_TEST_SUITE_P(AllForms, Pixelwise, ::testing::ValuesIn(kFns),
                         [](const ::testing::TestParamInfo<Fn>& i) { return std::string(i.param.name); });

}  // namespace
