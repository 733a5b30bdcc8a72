// RGB/BGR to 4:2:0, 4:1:1 and 4:2:2 (YCbCr, and analogue-video YUV at 4:2:2
// and 4:2:0): one table of the encoders, each with its source layout,
// destination layout (common/chroma_layout.h) and recipes.
// The models are written from the formulas (independent of the library's
// recipe headers): luma by pixel, chroma from the sums of a block (2 x 2,
// 4 x 1) or a pair, vector or scalar by the block's place in the row; the
// filtered and gamma 4:2:2 forms have their own.  The expected image, built
// in a second layout, is compared whole with the destination (canaries
// included) over widths that hit body only, tail only and both, odd sizes,
// negative and zero steps; every colour as a uniform block through body and
// tail; worked values; the aligned twins; round trips; the YUV forms without
// R against the R forms.  The kernels chosen by alignment are in the model
// (the two YUV 4:2:2 C3P3R kernels differ by a step); rows of 32 and 1920
// pixels hit them.  Statuses, check order and errors that write nothing: the
// robustness table's rows (tests/robust).
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <functional>
#include <stdexcept>
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
using celtest::ImageBuffer;
using celtest::ycc::hiu;
using celtest::ycc::his;
using celtest::ycc::rnd;
using celtest::ycc::S16;
using celtest::ycc::sat16;
using celtest::ycc::yuvDifference;
using Px = std::array<int, 3>;  // R, G, B
using Rgb = celtest::ycc::Rgb;

// ---- Models --------------------------------------------------------------------------------
uint8_t sat8(int v) { return uint8_t(v < 0 ? 0 : v > 255 ? 255 : v); }
int hold(int v) { return v < 1 ? 1 : v > 254 ? 254 : v; }  // BT.709 full scale: every byte in 1..254

// Vector recipes: rounded lanes (Q14) with luma addend 1026 or 1056, chroma
// addend 8194 (8224 for the 4:2:2 pairs); late offsets; unsigned high words
// (Q16) with the BT.601, BT.709 studio or full-scale set.
// Own: the analogue-video YUV forms, with a model of their own.
enum class Rc { Lane1026, Lane1056, LanePair, Late, UHigh, Csc709, Hdtv709, Filtered, Gamma, Own };

int vecLuma(Rc rc, const Px& p) {
    const int r = p[0] * 128, g = p[1] * 128, b = p[2] * 128, R = p[0] * 256, G = p[1] * 256, B = p[2] * 256;
    const int lane = rnd(4211, r) + rnd(8258, g) + rnd(1606, b);
    switch (rc) {
        case Rc::Lane1026: return sat8((lane + 1026) >> 6);
        case Rc::Late: return sat8((lane >> 6) + 16);
        case Rc::UHigh: return sat8((hiu(8422, R) + hiu(16515, G) + hiu(3212, B) + 2112) >> 7);
        case Rc::Csc709: return sat8((hiu(5997, R) + hiu(20120, G) + hiu(2032, B) + 2112) >> 7);
        case Rc::Hdtv709: return hold(sat8((hiu(6980, R) + hiu(23429, G) + hiu(2359, B) + 64) >> 7));
        default: return sat8((lane + 1056) >> 6);
    }
}

// Chroma from the block's mean << 7 (sums << 5 of four pixels, << 6 of two).
std::array<int, 2> vecChroma(Rc rc, int sr, int sg, int sb) {
    const int cbL = rnd(7193, sb) - rnd(4768, sg) - rnd(2425, sr), crL = rnd(7193, sr) - rnd(6029, sg) - rnd(1163, sb);
    switch (rc) {
        case Rc::Late: return {sat8((cbL >> 6) + 128), sat8((crL >> 6) + 128)};
        case Rc::LanePair: return {sat8((cbL + 8224) >> 6), sat8((crL + 8224) >> 6)};
        case Rc::UHigh:
            return {sat8((hiu(28770, sb) - (hiu(9699, sr) + hiu(19071, sg)) + 16400) >> 7),
                    sat8((hiu(28770, sr) - (hiu(24117, sg) + hiu(4653, sb)) + 16400) >> 7)};
        case Rc::Csc709:
            return {sat8((hiu(28770, sb) - (hiu(6619, sr) + hiu(22151, sg)) + 16400) >> 7),
                    sat8((hiu(28770, sr) - (hiu(26149, sg) + hiu(2621, sb)) + 16400) >> 7)};
        case Rc::Hdtv709:
            return {hold(sat8((hiu(16744, sb) - hiu(3834, sr) - hiu(12911, sg) + 8224) >> 6)),
                    hold(sat8((hiu(16744, sr) - hiu(15204, sg) - hiu(1540, sb) + 8224) >> 6))};
        default: return {sat8((cbL + 8194) >> 6), sat8((crL + 8194) >> 6)};
    }
}

// Scalar blocks and pairs: Q16 luma (the second pixel of a pair may take its
// own addend), chroma from the plain sums in Q18 (blocks of four) or Q17 (pairs).
struct Scalar {
    int yr, yg, yb, yAdd, cbr, cbg, cbb, crr, crg, crb;
    bool hold;
};
constexpr Scalar k601{16843, 33030, 6423, 0x108000, -9699, -19071, 28770, 28770, -24117, -4653, false};
constexpr Scalar k709{11993, 40239, 4063, 0x108000, -6619, -22151, 28770, 28770, -26149, -2621, false};
constexpr Scalar kHdtv{13959, 46858, 4719, 32768, -7668, -25821, 33489, 33489, -30409, -3080, true};
struct Tail {
    const Scalar* k;
    int cbAdd, crAdd, y1Add = 0;  // y1Add: the second luma of a pair (0: the set's)
};
constexpr Tail kBlock601{&k601, 33587200, 33587200}, kBlock709{&k709, 33587200, 33587200},
    kBlockHdtv{&kHdtv, 33587200, 33587200};
constexpr Tail kPairFirst{&k601, 0x1010000, 0x1010000, 0x100000};  // first group: second luma truncated
constexpr Tail kPairSecond{&k601, 0x1004000, 0x1004000}, kPairCbFirst{&k601, 0x1010000, 0x100FFFE},
    kPairHdtv{&kHdtv, 16842752, 16842750};

int q16Luma(const Scalar& k, const Px& p, int add) {
    const int v = (k.yr * p[0] + k.yg * p[1] + k.yb * p[2] + add) >> 16;
    return k.hold ? hold(v) : v;
}

// ---- Analogue-video YUV: 4:2:2 pairs and 4:2:0 blocks --------------------------------------
int s16(const Px& p) { return S16(p[0], p[1], p[2]); }

// ---- Model: 4:2:2 encoders, one pair (Y0, Y1, U, V) ---------------------------------
using Pair = std::array<uint8_t, 4>;
int lumaQ14(const Px& p) { return rnd(4899, p[0] * 128) + rnd(9617, p[1] * 128) + rnd(1868, p[2] * 128); }
int lumaMadd(const Px& p) { return ((9798 * p[0] + 19235 * p[1]) >> 14) + ((3736 * p[2]) >> 14); }
Pair pairMadd(const Px& a, const Px& b) {
    const int l0 = lumaMadd(a), l1 = lumaMadd(b), P = (l0 + l1) >> 1;
    return {sat8(l0 >> 1), sat8(l1 >> 1), sat8(his(16121, sat16(a[2] + b[2] - P)) + 128),
            sat8(his(28737, sat16(a[0] + b[0] - P)) + 128)};
}
Pair pairQ14(const Px& a, const Px& b) {
    const int l0 = lumaQ14(a), l1 = lumaQ14(b), sl = l0 + l1;
    return {sat8(l0 >> 6), sat8(l1 >> 6), sat8((rnd(8061, (a[2] + b[2]) * 64 - sl) >> 6) + 128),
            sat8((rnd(14369, (a[0] + b[0]) * 64 - sl) >> 6) + 128)};
}
int dup(int v) { return (v * 257) >> 6; }
int lumaDup(const Px& p) { return his(9798, dup(p[0])) + his(19235, dup(p[1])) + his(3736, dup(p[2])); }
Pair pairDup(const Px& a, const Px& b) {
    const int l0 = lumaDup(a), l1 = lumaDup(b), P = l0 + l1;
    const int mr = (dup(a[0]) + dup(b[0])) >> 1, mb = (dup(a[2]) + dup(b[2])) >> 1;
    return {sat8(l0 >> 1), sat8(l1 >> 1), sat8((his(16121, sat16(mb - P)) >> 1) + 128),
            sat8((his(28737, sat16(mr - P)) >> 1) + 128)};
}
template <bool Rounded>
Pair pairQ16(const Px& a, const Px& b) {
    const int s0 = s16(a), s1 = s16(b), t = s0 + s1, add = Rounded ? 32768 : 65535, ya = Rounded ? 32768 : 0;
    const int du = (((a[2] + b[2]) << 16) - t + add) >> 16, dv = (((a[0] + b[0]) << 16) - t + add) >> 16;
    return {uint8_t((s0 + ya) >> 16), uint8_t((s1 + ya) >> 16), uint8_t(((du * 32244) >> 17) + 128),
            sat8(((dv * 57475) >> 17) + 128)};
}
Rgb loneQ15(const Px& p) {
    const int a = 9798 * p[0] + 19235 * p[1] + 3736 * p[2];
    return {uint8_t(a >> 15), uint8_t(((((p[2] << 15) - a) >> 15) * 16121 >> 15) + 128),
            sat8(((((p[0] << 15) - a) >> 15) * 28737 >> 15) + 128)};
}

// ---- Model: 4:2:0 encoders, one block (Y of 4 pixels in row order, U, V) --------------
using Block = std::array<uint8_t, 6>;
using Quad = std::array<Px, 4>;
Block blockQ14Vector(const Quad& q) {
    Block o{};
    int sl = 0, sr = 0, sb = 0;
    for (int k = 0; k < 4; ++k) {
        const int l = lumaQ14(q[k]);
        o[k] = sat8(l >> 6);
        sl += l, sr += q[k][0], sb += q[k][2];
    }
    sl >>= 1;
    o[4] = sat8((rnd(8061, sb * 32 - sl) >> 6) + 128);
    o[5] = sat8((rnd(14369, sr * 32 - sl) >> 6) + 128);
    return o;
}
Block blockQ14Scalar(const Quad& q) {
    Block o{};
    int s[3] = {0, 0, 0};
    for (int k = 0; k < 4; ++k) {
        o[k] = uint8_t((4899 * q[k][0] + 9617 * q[k][1] + 1868 * q[k][2]) >> 14);
        for (int c = 0; c < 3; ++c) s[c] += q[k][c];
    }
    const int ls = (4899 * s[0] + 9617 * s[1] + 1868 * s[2]) >> 14;
    o[4] = sat8(((8061 * (s[2] - ls)) >> 16) + 128);
    o[5] = sat8(((14369 * (s[0] - ls)) >> 16) + 128);
    return o;
}
Block blockQ16(const Quad& q) {
    Block o{};
    int t = 0, sr = 0, sb = 0;
    for (int k = 0; k < 4; ++k) {
        o[k] = uint8_t(s16(q[k]) >> 16);
        t += s16(q[k]), sr += q[k][0], sb += q[k][2];
    }
    const int du = ((sb << 16) - t) >> 16, dv = ((sr << 16) - t) >> 16;
    o[4] = uint8_t(((du * 32244) >> 18) + 128);
    o[5] = sat8(((dv * 57475) >> 18) + 128);
    return o;
}

// ---- Models of whole forms -------------------------------------------------------------
// A model writes the expected bytes of a call into e (a copy of the destination).
using Model = std::function<void(ChromaLayout& s, ChromaLayout& e)>;

Px rgbAt(ChromaLayout& m, int x, int y, bool bgr = false) {
    Px p{m.at(0, x, y), m.at(1, x, y), m.at(2, x, y)};
    if (bgr) std::swap(p[0], p[2]);
    return p;
}

// Every pointer and step the call is handed is a multiple of 16.
bool allAligned(ChromaLayout& s, ChromaLayout& e) {
    Args a = celtest::argsOf(s, e);
    bool al = true;
    for (int i = 0; i < 4; ++i)
        al = al && reinterpret_cast<uintptr_t>(a.sp[i]) % 16 == 0 && reinterpret_cast<uintptr_t>(a.dp[i]) % 16 == 0 &&
             a.ss[i] % 16 == 0 && a.ds[i] % 16 == 0;
    return al;
}

// 4:2:2 encoders: `body` pairs over the width rounded down to 16 (`alignedBody`
// where every pointer and step is aligned), scalar pairs, then a lone pixel
// (packed: Y and U only).
Model enc422Model(bool packed, Pair (*body)(const Px&, const Px&), Pair (*alignedBody)(const Px&, const Px&) = nullptr) {
    return [=](ChromaLayout& s, ChromaLayout& e) {
        const int w = s.w;
        const bool al = alignedBody && allAligned(s, e);
        for (int y = 0; y < s.h; ++y) {
            int x = 0;
            for (; x + 1 < w; x += 2) {
                const Px a = rgbAt(s, x, y), b = rgbAt(s, x + 1, y);
                const Pair o = x < w / 16 * 16 ? (al ? alignedBody : body)(a, b) : packed ? pairQ16<true>(a, b) : pairQ16<false>(a, b);
                e.at(0, x, y) = o[0], e.at(0, x + 1, y) = o[1], e.at(1, x / 2, y) = o[2], e.at(2, x / 2, y) = o[3];
            }
            if (x < w) {
                const Rgb o = packed ? yuvDifference(s.at(0, x, y), s.at(1, x, y), s.at(2, x, y)) : loneQ15(rgbAt(s, x, y));
                e.at(0, x, y) = o[0], e.at(1, x / 2, y) = o[1];
                if (!packed) e.at(2, x / 2, y) = o[2];
            }
        }
    };
}

// 4:2:0 encoders: `unit8` blocks by the vector recipe (then one group of 4 if
// `four`), the scalar block recipe after; whole blocks only.
Model enc420Model(bool bgr, int unit8, bool four, Block (*body)(const Quad&), Block (*tail)(const Quad&)) {
    return [=](ChromaLayout& s, ChromaLayout& e) {
        const int n = s.w / 2;
        int bodyEnd = unit8 ? n / unit8 * unit8 : 0;
        if (four && n - bodyEnd >= 4) bodyEnd += 4;
        for (int j = 0; j < s.h / 2; ++j)
            for (int i = 0; i < n; ++i) {
                Quad q;
                for (int k = 0; k < 4; ++k) q[k] = rgbAt(s, 2 * i + k % 2, 2 * j + k / 2, bgr);
                const Block o = (i < bodyEnd ? body : tail)(q);
                for (int k = 0; k < 4; ++k) e.at(0, 2 * i + k % 2, 2 * j + k / 2) = o[k];
                e.at(1, i, j) = o[4], e.at(2, i, j) = o[5];
            }
    };
}

// ---- The exports -----------------------------------------------------------------------------
#define CALL(expr) [](Args & a, CelSize r) -> CelStatus { return expr; }
#define P3(f) CALL(f(a.sp[0], a.ss[0], a.dp, a.ds, r))
#define P2(f) CALL(f(a.sp[0], a.ss[0], a.dp[0], a.ds[0], a.dp[1], a.ds[1], r))
#define C2(f) CALL(f(a.sp[0], a.ss[0], a.dp[0], a.ds[0], r))

struct Fn {
    const char* name;
    int srcBytes;  // 3, 4, or 0: planes R, G, B with one step
    bool bgr;
    Kind dstKind;
    Samp dstSamp;
    Rc rc;
    const Tail* tail;
    int vecMultiple;  // vector blocks: the block count of a row rounded down to this
    CelStatus (*call)(Args&, CelSize);
    int minW = 1;
    Model model = nullptr;  // the YUV forms' own model
    Kind srcKind = srcBytes == 3 ? Kind::C3 : srcBytes == 4 ? Kind::C4 : Kind::Px3;
    static constexpr Samp srcSamp = Samp::S444;
};
void PrintTo(const Fn& f, std::ostream* os) { *os << f.name; }

const Fn kFns[] = {
    {"RGBToYCbCr420_C3P3R", 3, false, Kind::P3CbCr, Samp::S420, Rc::Lane1026, &kBlock601, 4, P3(celiRGBToYCbCr420_8u_C3P3R)},
    {"BGRToYCbCr420_C3P3R", 3, true, Kind::P3CbCr, Samp::S420, Rc::Lane1056, &kBlock601, 4, P3(celiBGRToYCbCr420_8u_C3P3R), 2},
    {"BGRToYCbCr420_AC4P3R", 4, true, Kind::P3CbCr, Samp::S420, Rc::UHigh, &kBlock601, 4, P3(celiBGRToYCbCr420_8u_AC4P3R), 2},
    {"BGRToYCrCb420_C3P3R", 3, true, Kind::P3CrCb, Samp::S420, Rc::Lane1056, &kBlock601, 4, P3(celiBGRToYCrCb420_8u_C3P3R), 2},
    {"BGRToYCrCb420_AC4P3R", 4, true, Kind::P3CrCb, Samp::S420, Rc::UHigh, &kBlock601, 4, P3(celiBGRToYCrCb420_8u_AC4P3R), 2},
    {"RGBToYCrCb420_AC4P3R", 4, false, Kind::P3CrCb, Samp::S420, Rc::UHigh, &kBlock601, 4, P3(celiRGBToYCrCb420_8u_AC4P3R), 2},
    {"BGRToYCbCr420_C3P2R", 3, true, Kind::P2CbCr, Samp::S420, Rc::Lane1026, &kBlock601, 4, P2(celiBGRToYCbCr420_8u_C3P2R)},
    {"BGRToYCbCr420_AC4P2R", 4, true, Kind::P2CbCr, Samp::S420, Rc::Lane1026, &kBlock601, 4, P2(celiBGRToYCbCr420_8u_AC4P2R)},
    {"RGBToYCbCr420_C3P2R", 3, false, Kind::P2CbCr, Samp::S420, Rc::Lane1026, &kBlock601, 4, P2(celiRGBToYCbCr420_8u_C3P2R)},
    {"RGBToYCbCr420_C4P2R", 4, false, Kind::P2CbCr, Samp::S420, Rc::Lane1026, &kBlock601, 4, P2(celiRGBToYCbCr420_8u_C4P2R)},
    {"BGRToYCbCr411_C3P3R", 3, true, Kind::P3CbCr, Samp::S411, Rc::Late, &kBlock601, 4, P3(celiBGRToYCbCr411_8u_C3P3R), 4},
    {"BGRToYCbCr411_AC4P3R", 4, true, Kind::P3CbCr, Samp::S411, Rc::UHigh, &kBlock601, 2, P3(celiBGRToYCbCr411_8u_AC4P3R), 4},
    {"BGRToYCbCr420_709CSC_C3P3R", 3, true, Kind::P3CbCr, Samp::S420, Rc::Csc709, &kBlock709, 4,
     P3(celiBGRToYCbCr420_709CSC_8u_C3P3R), 2},
    {"BGRToYCbCr420_709CSC_AC4P3R", 4, true, Kind::P3CbCr, Samp::S420, Rc::Csc709, &kBlock709, 4,
     P3(celiBGRToYCbCr420_709CSC_8u_AC4P3R), 2},
    {"BGRToYCbCr420_709CSC_C3P2R", 3, true, Kind::P2CbCr, Samp::S420, Rc::Csc709, &kBlock709, 4,
     P2(celiBGRToYCbCr420_709CSC_8u_C3P2R), 2},
    {"BGRToYCbCr420_709CSC_AC4P2R", 4, true, Kind::P2CbCr, Samp::S420, Rc::Csc709, &kBlock709, 4,
     P2(celiBGRToYCbCr420_709CSC_8u_AC4P2R), 2},
    {"BGRToYCrCb420_709CSC_C3P3R", 3, true, Kind::P3CrCb, Samp::S420, Rc::Csc709, &kBlock709, 4,
     P3(celiBGRToYCrCb420_709CSC_8u_C3P3R), 2},
    {"BGRToYCrCb420_709CSC_AC4P3R", 4, true, Kind::P3CrCb, Samp::S420, Rc::Csc709, &kBlock709, 4,
     P3(celiBGRToYCrCb420_709CSC_8u_AC4P3R), 2},
    {"BGRToYCbCr420_709HDTV_AC4P3R", 4, true, Kind::P3CbCr, Samp::S420, Rc::Hdtv709, &kBlockHdtv, 4,
     P3(celiBGRToYCbCr420_709HDTV_8u_AC4P3R), 2},
    {"RGBToYCbCr422_P3C2R", 0, false, Kind::YUY2, Samp::S422, Rc::LanePair, &kPairFirst, 4,
     CALL(celiRGBToYCbCr422_8u_P3C2R(a.sp, a.ss[0], a.dp[0], a.ds[0], r))},
    {"RGBToYCrCb422_P3C2R", 0, false, Kind::YVYU, Samp::S422, Rc::LanePair, &kPairFirst, 4,
     CALL(celiRGBToYCrCb422_8u_P3C2R(a.sp, a.ss[0], a.dp[0], a.ds[0], r))},
    {"RGBToYCbCr422_C3C2R", 3, false, Kind::YUY2, Samp::S422, Rc::LanePair, &kPairFirst, 4, C2(celiRGBToYCbCr422_8u_C3C2R)},
    {"RGBToYCrCb422_C3C2R", 3, false, Kind::YVYU, Samp::S422, Rc::LanePair, &kPairFirst, 4, C2(celiRGBToYCrCb422_8u_C3C2R)},
    {"RGBToYCbCr422_C3P3R", 3, false, Kind::P3CbCr, Samp::S422, Rc::LanePair, &kPairSecond, 4,
     P3(celiRGBToYCbCr422_8u_C3P3R), 2},
    {"BGRToYCbCr422_C3C2R", 3, true, Kind::YUY2, Samp::S422, Rc::LanePair, &kPairSecond, 4, C2(celiBGRToYCbCr422_8u_C3C2R), 2},
    {"BGRToYCbCr422_AC4C2R", 4, true, Kind::YUY2, Samp::S422, Rc::LanePair, &kPairSecond, 4, C2(celiBGRToYCbCr422_8u_AC4C2R), 2},
    {"BGRToYCbCr422_C3P3R", 3, true, Kind::P3CbCr, Samp::S422, Rc::LanePair, &kPairSecond, 4, P3(celiBGRToYCbCr422_8u_C3P3R), 2},
    {"BGRToYCbCr422_AC4P3R", 4, true, Kind::P3CbCr, Samp::S422, Rc::LanePair, &kPairSecond, 4,
     P3(celiBGRToYCbCr422_8u_AC4P3R), 2},
    {"RGBToCbYCr422_C3C2R", 3, false, Kind::UYVY, Samp::S422, Rc::Filtered, nullptr, 4, C2(celiRGBToCbYCr422_8u_C3C2R)},
    {"BGRToCbYCr422_AC4C2R", 4, true, Kind::UYVY, Samp::S422, Rc::UHigh, &kPairCbFirst, 4, C2(celiBGRToCbYCr422_8u_AC4C2R)},
    {"RGBToCbYCr422Gamma_C3C2R", 3, false, Kind::UYVY, Samp::S422, Rc::Gamma, nullptr, 4,
     C2(celiRGBToCbYCr422Gamma_8u_C3C2R)},
    {"BGRToCbYCr422_709HDTV_C3C2R", 3, true, Kind::UYVY, Samp::S422, Rc::Hdtv709, &kPairHdtv, 4,
     C2(celiBGRToCbYCr422_709HDTV_8u_C3C2R)},
    {"BGRToCbYCr422_709HDTV_AC4C2R", 4, true, Kind::UYVY, Samp::S422, Rc::Hdtv709, &kPairHdtv, 4,
     C2(celiBGRToCbYCr422_709HDTV_8u_AC4C2R)},
    // analogue-video YUV
    {"RGBToYUV422_C3C2R", 3, false, Kind::YUY2, Samp::S422, Rc::Own, nullptr, 4,
     C2(celiRGBToYUV422_8u_C3C2R), 1, enc422Model(true, pairMadd)},
    {"RGBToYUV422_C3P3R", 3, false, Kind::P3CbCr, Samp::S422, Rc::Own, nullptr, 4, P3(celiRGBToYUV422_8u_C3P3R), 1,
     enc422Model(false, pairMadd, pairQ14)},
    {"RGBToYUV422_P3R", 0, false, Kind::P3CbCr, Samp::S422, Rc::Own, nullptr, 4,
     CALL(celiRGBToYUV422_8u_P3R(a.sp, a.ss[0], a.dp, a.ds, r)), 1, enc422Model(false, pairDup)},
    {"RGBToYUV420_C3P3R", 3, false, Kind::P3CbCr, Samp::S420, Rc::Own, nullptr, 4, P3(celiRGBToYUV420_8u_C3P3R), 1,
     enc420Model(false, 8, true, blockQ14Vector, blockQ14Scalar)},
    {"RGBToYUV420_P3R", 0, false, Kind::P3CbCr, Samp::S420, Rc::Own, nullptr, 4,
     CALL(celiRGBToYUV420_8u_P3R(a.sp, a.ss[0], a.dp, a.ds, r)), 1, enc420Model(false, 0, false, blockQ16, blockQ16)},
    {"BGRToYUV420_AC4P3R", 4, false, Kind::P3CbCr, Samp::S420, Rc::Own, nullptr, 4, P3(celiBGRToYUV420_8u_AC4P3R), 1,
     enc420Model(true, 8, false, blockQ14Vector, blockQ14Scalar)},
};

const Fn& byName(const std::string& n) { return celtest::rowNamed(kFns, n); }

// R, G, B of pixel x (which may lie past the row: the gamma form reads there).
Px px(const Fn& fn, ChromaLayout& s, int x, int y) { return {s.at(fn.bgr ? 2 : 0, x, y), s.at(1, x, y), s.at(fn.bgr ? 0 : 2, x, y)}; }

// The gamma form's model reads the source after the gamma export.
Px gammaPx(const Px& p) {
    uint8_t v[3] = {uint8_t(p[0]), uint8_t(p[1]), uint8_t(p[2])}, t[3];
    EXPECT_EQ(celiGammaFwd_8u_C3R(v, 3, t, 3, {1, 1}), celStatusOk);
    return {t[0], t[1], t[2]};
}
int pcb(const Px& p) { return -9699 * p[0] - 19071 * p[1] + 28770 * p[2]; }
int pcr(const Px& p) { return 28770 * p[0] - 24117 * p[1] - 4653 * p[2]; }

// The filtered Cb-first 4:2:2 forms (plain and gamma): chroma of a pair from
// the terms of its pixels and the odd pixel before; a lone last pixel (gamma:
// one past the row when width % 4 == 2) takes its own recipe.
void filteredRow(const Fn& fn, ChromaLayout& s, ChromaLayout& e, int w, int y) {
    const bool gamma = fn.rc == Rc::Gamma;
    const auto P = [&](int x) { return gamma ? gammaPx(px(fn, s, x, y)) : px(fn, s, x, y); };
    const auto term = [&](int x, bool cr) {
        const Px p = P(x);
        const bool odd = x & 1;
        if (gamma)
            return cr ? (odd ? 3596 * p[0] - 3015 * p[1] - 582 * p[2] : 7193 * p[0] - 6030 * p[1] - 1164 * p[2])
                      : (odd ? -1213 * p[0] - 2385 * p[1] + 3596 * p[2] : -2426 * p[0] - 4769 * p[1] + 7193 * p[2]);
        const int r = p[0] * 128, g = p[1] * 128, b = p[2] * 128;
        return cr ? (odd ? rnd(3596, r) - rnd(3015, g) - rnd(582, b) : rnd(7193, r) - rnd(6029, g) - rnd(1163, b))
                  : (odd ? rnd(3596, b) - rnd(2384, g) - rnd(1212, r) : rnd(7193, b) - rnd(4768, g) - rnd(2425, r));
    };
    const int vecPairs = gamma ? w / 2 : (w / 2) & ~3;
    for (int i = 0; i < w / 2; ++i) {
        const int x = 2 * i;
        for (int k = 0; k < 2; ++k) {
            int c;
            if (i < vecPairs) {
                const int sum = (i ? term(x - 1, k) : 0) + term(x, k) + term(x + 1, k);
                c = gamma ? sat8((sum + 0x403FFF) >> 15) : sat8((sum + 16448) >> 7);
            } else {
                const auto pc = [&](int at) { return k ? pcr(P(at)) : pcb(P(at)); };
                const int carry = i == 0 ? 0 : i == vecPairs ? term(x - 1, k) * 512 : pc(x - 1) >> 2;
                c = uint8_t(((pc(x) >> 1) + carry + (pc(x + 1) >> 2) + 0x807FFF) >> 16);
            }
            e.at(1 + k, i, y) = uint8_t(c);
        }
        for (int at = x; at < x + 2; ++at) {
            const Px p = P(at);
            e.at(0, at, y) = uint8_t(gamma ? sat8((8422 * p[0] + 16515 * p[1] + 3212 * p[2] + 0x84000) >> 15)
                                           : i < vecPairs ? vecLuma(Rc::Lane1056, p) : q16Luma(k601, p, 0x108000));
        }
    }
    const int lone = gamma ? ((w & 3) ? (w & ~3) + (w & 2) : -1) : ((w & 1) ? w - 1 : -1);
    if (lone >= 0) {
        const Px p = P(lone);
        uint8_t* row = &e.at(1, 0, y);  // Cb Y0 Cr Y1: the row starts with Cb
        row[2 * lone] = uint8_t((pcb(p) + 0x808000) >> 16);
        row[2 * lone + 1] = uint8_t(q16Luma(k601, p, 0x108000));
    }
}

// Writes what the function must write into e (a layout like the destination).
void buildExpected(const Fn& fn, ChromaLayout& s, ChromaLayout& e) {
    if (fn.model) return fn.model(s, e);
    const int w = s.w, h = s.h;
    if (fn.rc == Rc::Filtered || fn.rc == Rc::Gamma) {
        for (int y = 0; y < h; ++y) filteredRow(fn, s, e, w, y);
        return;
    }
    const bool s411 = fn.dstSamp == Samp::S411, s420 = fn.dstSamp == Samp::S420;
    const int bw = s411 ? 4 : 2, bh = s420 ? 2 : 1, n = bw * bh, nbx = w / bw;
    const int vecBlocks = nbx - nbx % fn.vecMultiple;
    for (int by = 0; by < h / bh; ++by)
        for (int bx = 0; bx < nbx; ++bx) {
            const bool vec = bx < vecBlocks;
            const Scalar& k = *fn.tail->k;
            int S[3] = {0, 0, 0};
            for (int q = 0; q < n; ++q) {
                const int x = bx * bw + q % bw, y = by * bh + q / bw;
                const Px p = px(fn, s, x, y);
                for (int c = 0; c < 3; ++c) S[c] += p[c];
                e.at(0, x, y) = uint8_t(vec ? vecLuma(fn.rc, p) : q16Luma(k, p, q && fn.tail->y1Add ? fn.tail->y1Add : k.yAdd));
            }
            const int m = 128 / n, shift = n == 4 ? 18 : 17;
            std::array<int, 2> c = vec ? vecChroma(fn.rc, S[0] * m, S[1] * m, S[2] * m)
                                       : std::array<int, 2>{(k.cbr * S[0] + k.cbg * S[1] + k.cbb * S[2] + fn.tail->cbAdd) >> shift,
                                                            (k.crr * S[0] + k.crg * S[1] + k.crb * S[2] + fn.tail->crAdd) >> shift};
            if (!vec && k.hold) c = {hold(c[0]), hold(c[1])};
            e.at(1, bx, by) = uint8_t(c[0]), e.at(2, bx, by) = uint8_t(c[1]);
        }
}

CelStatus statusAt(const Fn& fn, int w, int h) {
    const bool odd = fn.dstSamp == Samp::S420 ? (w | h) & 1 : fn.dstSamp == Samp::S411 ? w & 3 : 0;
    return odd ? celStatusOddSize : celStatusOk;
}
void check(const Fn& fn, ChromaLayout& s, RowWalk dstWalk, const char* what) {
    ChromaLayout d(fn.dstKind, fn.dstSamp, s.w, s.h, dstWalk);
    celtest::expectModelOn(fn, s, d, statusAt(fn, s.w, s.h),
                           [&](ChromaLayout& in, ChromaLayout& e) { buildExpected(fn, in, e); }, what);
}

class Encode : public ::testing::TestWithParam<Fn> {};

TEST_P(Encode, MatchesModelAcrossWidthsHeightsAndSteps) {
    const Fn fn = GetParam();
    uint32_t seed = 11;
    for (RowWalk walk : {RowWalk::Down, RowWalk::Up, RowWalk::Same})
        for (int h : {1, 2, 3, 4, 7})
            for (int w : {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 14, 15, 16, 17, 18, 23, 24, 25, 26, 31, 32, 33, 40, 47, 48,
                          64, 71, 101}) {
                if (w < fn.minW || h < (fn.dstSamp == Samp::S420 ? fn.minW : 1) || (walk != RowWalk::Down && h > 4)) continue;
                ChromaLayout s(fn.srcKind, Samp::S444, w, h, walk);
                s.randomize(seed += 5);
                // 4:2:0 into one row again and again would overwrite the block's other row
                check(fn, s, walk == RowWalk::Same && fn.dstSamp == Samp::S420 ? RowWalk::Down : walk, "random");
                if (HasFatalFailure()) return;
            }
    for (int w : {1920, 256 * 3 + 15}) {  // a video row; every byte value in every channel, body and tail
        ChromaLayout s(fn.srcKind, Samp::S444, w, w == 1920 ? 3 : 2);
        for (auto& b : s.b)
            for (int y = 0; y < b.rows(); ++y)
                for (int x = 0; x < b.rowBytes(); ++x) b.row(y)[x] = uint8_t(x * 37 + y * 101);
        check(fn, s, RowWalk::Down, "pattern");
    }
}

// Every RGB colour as a uniform block (2 x 2, 4 x 1 or a pair) through the
// vector blocks (rows of two vector multiples) and the scalar blocks (rows
// one block short of a multiple), in chunks of 2^20 colours: luma sees every
// colour, chroma every sum of equal pixels (which reaches the exact halves
// of the YUV 4:2:2 rounded pair; every YUV form runs, each has its own recipe).  The filtered forms mix
// neighbours and are left to the random images; the members that share
// their recipes differ only in layout, which random images cover, so the
// first member of each runs the sweep.
TEST_P(Encode, EveryColourAsAUniformBlockThroughBodyAndTail) {
    const Fn fn = GetParam();
    if (fn.rc == Rc::Filtered || fn.rc == Rc::Gamma) GTEST_SKIP() << "filtered chroma";
    for (const Fn* o = kFns; o->name != fn.name && fn.rc != Rc::Own; ++o)
        if (o->rc == fn.rc && o->tail == fn.tail && o->dstSamp == fn.dstSamp) GTEST_SKIP() << "recipes swept by " << o->name;
    const int bw = fn.dstSamp == Samp::S411 ? 4 : 2, bh = fn.dstSamp == Samp::S420 ? 2 : 1;
    for (int blocksPerRow : {2 * fn.vecMultiple, fn.vecMultiple - 1})
        celtest::sweepBlocks(fn.srcKind, blocksPerRow, bw, bh, [&](ChromaLayout& s) {
            check(fn, s, RowWalk::Down, blocksPerRow < fn.vecMultiple ? "scalar sweep" : "vector sweep");
        });
}

INSTANTIATE_TEST_SUITE_P(AllForms, Encode, ::testing::ValuesIn(kFns),
                         [](const ::testing::TestParamInfo<Fn>& i) { return std::string(i.param.name); });

// ---- Worked values ------------------------------------------------------------------------------
// A uniform w x 2 image of one colour: Y at every pixel, Cb and Cr of every block but the first
// (the filtered form's first pair lacks its left term).
struct Worked {
    const char* fn;
    int w;
    Px rgb;
    std::array<int, 3> ycbcr;
};
std::vector<Worked> workedValues() {
    std::vector<Worked> v = {
        {"BGRToYCbCr420_C3P3R", 4, {255, 0, 0}, {82, 90, 240}},  // red: scalar blocks
        {"BGRToYCbCr420_C3P3R", 16, {255, 0, 0}, {82, 90, 239}},  // vector blocks
        {"RGBToYCbCr422_P3C2R", 3, {255, 255, 255}, {235, 128, 128}},
        {"RGBToCbYCr422_C3C2R", 32, {0, 0, 255}, {41, 240, 110}},
    };
    // BT.709: studio range; full scale in the vector body, in the 4:2:0 scalar block (chroma
    // 128.125 in Q18) and in the 4:2:2 scalar pair (chroma 128.5 in Q17, Cr two below).
    struct Colour {
        Px rgb;
        std::array<int, 3> csc, hdBody, hdBlock, hdPair;
    };
    const Colour colours[] = {
        {{255, 0, 0}, {63, 102, 240}, {54, 98, 254}, {54, 98, 254}, {54, 98, 254}},
        {{0, 255, 0}, {173, 41, 26}, {182, 28, 10}, {182, 27, 9}, {182, 28, 10}},
        {{0, 0, 255}, {32, 240, 117}, {18, 254, 116}, {18, 254, 116}, {18, 254, 116}},
        {{255, 255, 255}, {235, 128, 128}, {254, 128, 128}, {254, 128, 128}, {254, 128, 128}},
        {{0, 0, 0}, {16, 128, 128}, {1, 128, 128}, {1, 128, 128}, {1, 128, 128}},
    };
    for (const Colour& c : colours) {
        for (int w : {16, 2}) v.push_back({"BGRToYCbCr420_709CSC_C3P3R", w, c.rgb, c.csc});
        v.push_back({"BGRToYCbCr420_709HDTV_AC4P3R", 16, c.rgb, c.hdBody});
        v.push_back({"BGRToYCbCr420_709HDTV_AC4P3R", 2, c.rgb, c.hdBlock});
        for (const char* f : {"BGRToCbYCr422_709HDTV_C3C2R", "BGRToCbYCr422_709HDTV_AC4C2R"}) {
            v.push_back({f, 16, c.rgb, c.hdBody});
            v.push_back({f, 2, c.rgb, c.hdPair});
        }
    }
    return v;
}

TEST(EncodeWorked, UniformImages) {
    for (const Worked& k : workedValues()) {
        const Fn& fn = byName(k.fn);
        ChromaLayout s(fn.srcKind, Samp::S444, k.w, 2), d(fn.dstKind, fn.dstSamp, k.w, 2);
        for (int y = 0; y < 2; ++y)
            for (int x = 0; x < k.w; ++x)
                for (int c = 0; c < 3; ++c) s.at(fn.bgr ? 2 - c : c, x, y) = uint8_t(k.rgb[c]);
        Args a = celtest::argsOf(s, d);
        ASSERT_EQ(fn.call(a, {k.w, 2}), celStatusOk) << k.fn;
        const int cw = celtest::chromaW(fn.dstSamp, k.w & ~1);
        for (int y = 0; y < 2; ++y) {
            for (int x = 0; x < (k.w & ~1); ++x) EXPECT_EQ(d.at(0, x, y), k.ycbcr[0]) << k.fn << " width " << k.w;
            for (int i = cw > 1 ? 1 : 0; i < cw && y < celtest::chromaH(fn.dstSamp, 2); ++i)
                for (int c = 1; c < 3; ++c) EXPECT_EQ(d.at(c, i, y), k.ycbcr[c]) << k.fn << " width " << k.w << " block " << i;
        }
    }
}

TEST(EncodeWorked, GammaWidthSixWritesTwoBytesPastTheRowFromPixelSix) {
    std::vector<uint8_t> src(3 * 7), dst(14, 0x33);
    for (int x = 0; x < 7; ++x) src[3 * x] = 0, src[3 * x + 1] = 0, src[3 * x + 2] = uint8_t(x == 6 ? 255 : 0);
    ASSERT_EQ(celiRGBToCbYCr422Gamma_8u_C3C2R(src.data(), 21, dst.data(), 14, {6, 1}), celStatusOk);
    EXPECT_EQ(dst[12], 240);  // Cb of pure blue through the single-pixel recipe
    EXPECT_EQ(dst[13], 41);
    EXPECT_EQ(dst[1], 16);
}

// The aligned twins (pointers and steps multiples of 16) against the model,
// and the general path on the same pixels one byte off.
TEST(EncodeWorked, AlignedTwinsMatchTheModelAndTheGeneralPath) {
    for (const char* name : {"BGRToCbYCr422_AC4C2R", "BGRToCbYCr422_709HDTV_AC4C2R"}) {
        const Fn& fn = byName(name);
        const int w = 45, h = 3, sStep = 192, dStep = 96;
        alignas(16) static uint8_t src[h * sStep + 16], a[h * dStep], b[h * dStep + 16];
        for (int i = 0; i < h * sStep + 16; ++i) src[i] = uint8_t(i * 97 + (i >> 7) * 13);
        std::fill(a, a + sizeof a, uint8_t(0x5A)), std::fill(b, b + sizeof b, uint8_t(0x5A));
        for (int off : {0, 1}) {
            ChromaLayout s(fn.srcKind, Samp::S444, w, h), e(fn.dstKind, fn.dstSamp, w, h);
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < 4 * w; ++x) s.b[0].row(y)[x] = src[y * sStep + x + off];
            buildExpected(fn, s, e);
            uint8_t* d = off ? b + 1 : a;
            Args args = {{src + off}, {sStep}, {d}, {dStep}};
            ASSERT_EQ(fn.call(args, {w, h}), celStatusOk);
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < 2 * (w & ~1); ++x)
                    ASSERT_EQ(d[y * dStep + x], e.b[0].row(y)[x]) << name << " offset " << off << " byte " << x << " row " << y;
        }
        for (int y = 0; y < h; ++y) ASSERT_EQ(a[y * dStep + 2 * w - 1], 0x5A) << name << ": odd last pixel untouched";
    }
}

// ---- Round trips -------------------------------------------------------------------------------
// Smooth content (gradients with mild noise) through an encoder and the
// matching decoder: subsampling and the fixed-point recipes together stay
// within a few steps (measured: 6 for 4:2:2, 6 for BT.709 studio 4:2:0, 8 for
// full scale, where the hold at 254 clips the strongest red chroma).
std::vector<uint8_t> gradient(int w, int h, int bpp) {
    std::vector<uint8_t> v(size_t(bpp) * w * h, 0);
    uint32_t seed = 7;
    for (int j = 0; j < h; ++j)
        for (int i = 0; i < w; ++i) {
            uint8_t* p = &v[(size_t(j) * w + i) * bpp];
            seed = seed * 1664525u + 1013904223u;
            const int n = int(seed >> 30) - 1;
            p[0] = uint8_t(std::clamp(i * 255 / (w - 1) + n, 0, 255));
            p[1] = uint8_t(std::clamp(j * 255 / (h - 1) + n, 0, 255));
            p[2] = uint8_t(std::clamp(200 - i / 8 + n, 0, 255));
        }
    return v;
}
int worstOf(const std::vector<uint8_t>& a, int abpp, const std::vector<uint8_t>& b, int bbpp, int skipFirst = 0, int w = 1) {
    int e = 0;
    for (size_t k = 0; k < a.size() / abpp; ++k)
        for (int c = 0; c < 3 && int(k % w) >= skipFirst; ++c) e = std::max(e, std::abs(a[abpp * k + c] - b[bbpp * k + c]));
    return e;
}

TEST(EncodeRoundTrip, GradientsComeBackClose) {
    const int w = 320, h = 48;
    const auto rgb = gradient(w, h, 3);
    std::vector<uint8_t> yuy2(size_t(2) * w * h), back(rgb.size());
    ASSERT_EQ(celiRGBToYCbCr422_8u_C3C2R(rgb.data(), 3 * w, yuy2.data(), 2 * w, {w, h}), celStatusOk);
    ASSERT_EQ(celiYCbCr422ToRGB_8u_C2C3R(yuy2.data(), 2 * w, back.data(), 3 * w, {w, h}), celStatusOk);
    EXPECT_LE(worstOf(rgb, 3, back, 3), 6);
    ASSERT_EQ(celiRGBToCbYCr422_8u_C3C2R(rgb.data(), 3 * w, yuy2.data(), 2 * w, {w, h}), celStatusOk);
    ASSERT_EQ(celiCbYCr422ToRGB_8u_C2C3R(yuy2.data(), 2 * w, back.data(), 3 * w, {w, h}), celStatusOk);
    EXPECT_LE(worstOf(rgb, 3, back, 3, 2, w), 6);  // the first pair of a row lacks its left term
}

TEST(EncodeRoundTrip, Bt709BothRangesOnAVideoFrame) {
    const int w = 1920, h = 1080;
    const auto bgra = gradient(w, h, 4);
    std::vector<uint8_t> y(size_t(w) * h), cb(size_t(w / 2) * (h / 2)), cr(cb.size()), bgr(size_t(3) * w * h),
        back(bgra.size()), uyvy(size_t(2) * w * h);
    uint8_t* planes[3] = {y.data(), cb.data(), cr.data()};
    const uint8_t* in[3] = {y.data(), cb.data(), cr.data()};
    int steps[3] = {w, w / 2, w / 2};
    ASSERT_EQ(celiBGRToYCbCr420_709CSC_8u_AC4P3R(bgra.data(), 4 * w, planes, steps, {w, h}), celStatusOk);
    ASSERT_EQ(celiYCbCr420ToBGR_709CSC_8u_P3C3R(in, steps, bgr.data(), 3 * w, {w, h}), celStatusOk);
    EXPECT_LE(worstOf(bgra, 4, bgr, 3), 6);
    ASSERT_EQ(celiBGRToYCbCr420_709HDTV_8u_AC4P3R(bgra.data(), 4 * w, planes, steps, {w, h}), celStatusOk);
    ASSERT_EQ(celiYCbCr420ToBGR_709HDTV_8u_P3C4R(in, steps, back.data(), 4 * w, {w, h}, 0), celStatusOk);
    EXPECT_LE(worstOf(bgra, 4, back, 4), 8);
    ASSERT_EQ(celiBGRToCbYCr422_709HDTV_8u_AC4C2R(bgra.data(), 4 * w, uyvy.data(), 2 * w, {w, h}), celStatusOk);
    ASSERT_EQ(celiCbYCr422ToBGR_709HDTV_8u_C2C4R(uyvy.data(), 2 * w, back.data(), 4 * w, {w, h}, 0), celStatusOk);
    EXPECT_LE(worstOf(bgra, 4, back, 4), 8);
}

// RGB -> YCbCr -> RGB at full rate over a lattice of colours, in body and
// tail positions (measured: 3 where both take the vector recipes, 2 where
// both take the scalar ones).
TEST(EncodeRoundTrip, FullRateLatticeComesBackClose) {
    for (int w : {16, 7}) {
        std::vector<uint8_t> rgb;
        for (int r = 0; r < 256; r += 5)
            for (int g = 0; g < 256; g += 5)
                for (int b = 0; b < 256; b += 5) rgb.insert(rgb.end(), {uint8_t(r), uint8_t(g), uint8_t(b)});
        const int h = int(rgb.size() / 3) / w;
        rgb.resize(size_t(3) * w * h);
        std::vector<uint8_t> ycc(rgb.size()), back(rgb.size());
        ASSERT_EQ(celiRGBToYCbCr_8u_C3R(rgb.data(), 3 * w, ycc.data(), 3 * w, {w, h}), celStatusOk);
        ASSERT_EQ(celiYCbCrToRGB_8u_C3R(ycc.data(), 3 * w, back.data(), 3 * w, {w, h}), celStatusOk);
        EXPECT_LE(worstOf(rgb, 3, back, 3), w == 16 ? 3 : 2);
    }
}

// A full video frame with an odd height through 4:2:0 and back: both
// directions warn, the last row stays unwritten, the rest comes back close
// (measured: 4).
TEST(EncodeRoundTrip, VideoFrame1920x1081) {
    const int w = 1920, h = 1081;
    std::vector<uint8_t> rgb(size_t(3) * w * h), back(rgb.size(), 0x5A), y(size_t(w) * h), cb(size_t(w / 2) * (h / 2)),
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
    const size_t done = size_t(3) * w * (h - 1);
    EXPECT_LE(worstOf({rgb.begin(), rgb.begin() + done}, 3, back, 3), 4);
    for (size_t i = done; i < back.size(); ++i) ASSERT_EQ(back[i], 0x5A);
}

// ---- Forms without R: derived steps ----------------------------------------------------
// Plane kinds: 'C' 3w x h, 'Y' w x h, '2' (w/2 + (w&1)) x h, '0' (w/2) x ceil(h/2).
struct Contig {
    const char* name;
    const char* srcKinds;
    const char* dstKinds;
    bool longRow;  // the 4:2:2 encoders: even width and w*h >= 256 run as one row
    CelStatus (*whole)(const uint8_t* const* s, uint8_t* const* d, CelSize);
    CelStatus (*rForm)(const uint8_t* const* s, const int* ss, uint8_t* const* d, const int* ds, CelSize);
};
void PrintTo(const Contig& c, std::ostream* os) { *os << c.name; }

int kindBytes(char k, int w) { return k == 'C' ? 3 * w : k == 'Y' ? w : k == '2' ? w / 2 + (w & 1) : w / 2; }
int kindRows(char k, int h) { return k == '0' ? (h + 1) / 2 : h; }

#define WHOLE(expr) [](const uint8_t* const* s, uint8_t* const* d, CelSize sz) -> CelStatus { return expr; }
#define RFORM(expr) \
    [](const uint8_t* const* s, const int* ss, uint8_t* const* d, const int* ds, CelSize sz) -> CelStatus { return expr; }
#define P3S const_cast<const uint8_t* const*>(s)
#define P3D const_cast<uint8_t**>(d)

const Contig kContig[] = {
    {"RGBToYUV422_C3P3", "C", "Y22", true, WHOLE(celiRGBToYUV422_8u_C3P3(s[0], P3D, sz)),
     RFORM(celiRGBToYUV422_8u_C3P3R(s[0], ss[0], P3D, const_cast<int*>(ds), sz))},
    {"RGBToYUV422_P3", "YYY", "Y22", true, WHOLE(celiRGBToYUV422_8u_P3(P3S, P3D, sz)),
     RFORM(celiRGBToYUV422_8u_P3R(P3S, ss[0], P3D, const_cast<int*>(ds), sz))},
    {"RGBToYUV420_C3P3", "C", "Y00", false, WHOLE(celiRGBToYUV420_8u_C3P3(s[0], P3D, sz)),
     RFORM(celiRGBToYUV420_8u_C3P3R(s[0], ss[0], P3D, const_cast<int*>(ds), sz))},
    {"RGBToYUV420_P3", "YYY", "Y00", false, WHOLE(celiRGBToYUV420_8u_P3(P3S, P3D, sz)),
     RFORM(celiRGBToYUV420_8u_P3R(P3S, ss[0], P3D, const_cast<int*>(ds), sz))},
    {"YUV420ToRGB_P3C3", "Y00", "C", false, WHOLE(celiYUV420ToRGB_8u_P3C3(P3S, d[0], sz)),
     RFORM(celiYUV420ToRGB_8u_P3C3R(P3S, const_cast<int*>(ss), d[0], ds[0], sz))},
    {"YUV420ToRGB_P3", "Y00", "YYY", false, WHOLE(celiYUV420ToRGB_8u_P3(P3S, P3D, sz)),
     RFORM(celiYUV420ToRGB_8u_P3R(P3S, const_cast<int*>(ss), P3D, ds[0], sz))},
    {"YUV422ToRGB_P3C3", "Y22", "C", false, WHOLE(celiYUV422ToRGB_8u_P3C3(P3S, d[0], sz)),
     RFORM(celiYUV422ToRGB_8u_P3C3R(P3S, const_cast<int*>(ss), d[0], ds[0], sz))},
    {"YUV422ToRGB_P3", "Y22", "YYY", false, WHOLE(celiYUV422ToRGB_8u_P3(P3S, P3D, sz)),
     RFORM(celiYUV422ToRGB_8u_P3R(P3S, const_cast<int*>(ss), P3D, ds[0], sz))},
};

class YuvContiguous : public ::testing::TestWithParam<Contig> {};

// Tight planes (step = row bytes, canary rows above and below).
std::vector<ImageBuffer> tight(const char* kinds, int w, int h) {
    std::vector<ImageBuffer> v;
    for (const char* k = kinds; *k; ++k) v.emplace_back(std::max(1, kindBytes(*k, w)), kindRows(*k, h), 0);
    for (auto& b : v) b.fill(0x5A);
    return v;
}

TEST_P(YuvContiguous, MatchesTheRFormWithDerivedSteps) {
    const Contig c = GetParam();
    for (CelSize sz : {CelSize{1, 1}, CelSize{2, 2}, CelSize{7, 3}, CelSize{15, 17}, CelSize{16, 16}, CelSize{32, 8},
                       CelSize{34, 9}, CelSize{33, 20}, CelSize{40, 1}, CelSize{300, 1}}) {
        const int w = sz.width, h = sz.height;
        auto src = tight(c.srcKinds, w, h), dst = tight(c.dstKinds, w, h), ref = dst;
        for (size_t i = 0; i < src.size(); ++i) src[i].randomize(w * 31 + h + static_cast<int>(i));
        const uint8_t* s[3];
        uint8_t *d[3], *r[3];
        int ss[3], ds[3];
        for (size_t i = 0; i < src.size(); ++i) s[i] = src[i].row(0), ss[i] = kindBytes(c.srcKinds[i], w);
        for (size_t i = 0; i < dst.size(); ++i)
            d[i] = dst[i].row(0), r[i] = ref[i].row(0), ds[i] = kindBytes(c.dstKinds[i], w);
        const CelStatus got = c.whole(s, d, sz);
        // One long row: the R form on a single row of w * h pixels with the general kernel.
        const bool longRow = c.longRow && w % 2 == 0 && w * h >= 256;
        const int one[3] = {1, 1, 1};
        const CelStatus want = longRow ? c.rForm(s, one, r, one, {w * h, 1}) : c.rForm(s, ss, r, ds, sz);
        EXPECT_EQ(got, want) << c.name << " " << w << "x" << h;
        for (size_t i = 0; i < dst.size(); ++i)
            ASSERT_EQ(dst[i].raw(), ref[i].raw()) << c.name << " " << w << "x" << h << " plane " << i;
    }
}

INSTANTIATE_TEST_SUITE_P(AllForms, YuvContiguous, ::testing::ValuesIn(kContig),
                         [](const ::testing::TestParamInfo<Contig>& i) { return std::string(i.param.name); });

}  // namespace
