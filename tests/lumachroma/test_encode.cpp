// RGB/BGR to 4:2:0, 4:1:1 and 4:2:2: one table of the encoders, each with its
// source layout, destination layout (common/chroma_layout.h) and recipes.
// The models are written from the formulas (independent of the library's
// recipe headers): luma by pixel, chroma from the sums of a block (2 x 2,
// 4 x 1) or a pair, vector or scalar by the block's place in the row; the
// filtered and gamma 4:2:2 forms have their own.  The expected image, built
// in a second layout, is compared whole with the destination (canaries
// included) over widths that hit body only, tail only and both, odd sizes,
// negative and zero steps; every colour as a uniform block through body and
// tail; worked values; the aligned twins; round trips.  Statuses, check order
// and errors that write nothing: the robustness table's rows (tests/robust).
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

#include "celcc.h"
#include "common/chroma_layout.h"
#include "common/export_list.h"
#include "common/image_buffer.h"
#include "common/sweep24.h"

namespace {

using celtest::ChromaLayout;
using celtest::ImageBuffer;
using celtest::Kind;
using celtest::RowWalk;
using celtest::Samp;
using Px = std::array<int, 3>;  // R, G, B

// ---- Models --------------------------------------------------------------------------------
int rnd(int c, int x) { return (c * x + 16384) >> 15; }
int hiu(int c, int x) { return int((uint32_t(c) * uint32_t(x)) >> 16); }
int sat8(int v) { return v < 0 ? 0 : v > 255 ? 255 : v; }
int hold(int v) { return v < 1 ? 1 : v > 254 ? 254 : v; }  // BT.709 full scale: every byte in 1..254

// Vector recipes: rounded lanes (Q14) with luma addend 1026 or 1056, chroma
// addend 8194 (8224 for the 4:2:2 pairs); late offsets; unsigned high words
// (Q16) with the BT.601, BT.709 studio or full-scale set.
enum class Rc { Lane1026, Lane1056, LanePair, Late, UHigh, Csc709, Hdtv709, Filtered, Gamma };

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

// ---- The exports -----------------------------------------------------------------------------
using Call = CelStatus (*)(const uint8_t* const* s, int ss, uint8_t** d, int* ds, CelSize r);
#define CALL(expr) [](const uint8_t* const* s, int ss, uint8_t** d, int* ds, CelSize r) -> CelStatus { return expr; }
#define P3(f) CALL(f(s[0], ss, d, ds, r))
#define P2(f) CALL(f(s[0], ss, d[0], ds[0], d[1], ds[1], r))
#define C2(f) CALL(f(s[0], ss, d[0], ds[0], r))

struct Fn {
    const char* name;
    int srcBytes;  // 3, 4, or 0: planes R, G, B with one step
    bool bgr;
    Kind out;
    Samp samp;
    Rc rc;
    const Tail* tail;
    int vecMultiple;  // vector blocks: the block count of a row rounded down to this
    Call call;
    int minW = 1;
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
     CALL(celiRGBToYCbCr422_8u_P3C2R(s, ss, d[0], ds[0], r))},
    {"RGBToYCrCb422_P3C2R", 0, false, Kind::YVYU, Samp::S422, Rc::LanePair, &kPairFirst, 4,
     CALL(celiRGBToYCrCb422_8u_P3C2R(s, ss, d[0], ds[0], r))},
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
};

const Fn& byName(const std::string& n) { return celtest::rowNamed(kFns, n); }

// Source pixels: one interleaved buffer or three planes, walked as given.
struct Source {
    std::vector<ImageBuffer> b;
    int bytes, w, h;
    RowWalk walk;
    Source(const Fn& fn, int w_, int h_, RowWalk walk_ = RowWalk::Down) : bytes(fn.srcBytes), w(w_), h(h_), walk(walk_) {
        for (int i = 0; i < (bytes ? 1 : 3); ++i) b.emplace_back(w * (bytes ? bytes : 1), h);
    }
    uint8_t* rowOf(int i, int y) { return b[i].row(walk == RowWalk::Up ? h - 1 - y : walk == RowWalk::Same ? 0 : y); }
    uint8_t& at(int x, int y, int c) { return bytes ? rowOf(0, y)[bytes * x + c] : rowOf(c, y)[x]; }
    // R, G, B of pixel x (which may lie past the row: the gamma form reads there)
    Px px(const Fn& fn, int x, int y) { return {at(x, y, fn.bgr ? 2 : 0), at(x, y, 1), at(x, y, fn.bgr ? 0 : 2)}; }
    void set(const Fn& fn, int x, int y, int r, int g, int bl) {
        at(x, y, fn.bgr ? 2 : 0) = uint8_t(r), at(x, y, 1) = uint8_t(g), at(x, y, fn.bgr ? 0 : 2) = uint8_t(bl);
    }
};

CelStatus run(const Fn& fn, Source& s, ChromaLayout& d) {
    uint8_t* dp[4];
    int ds[4];
    d.planes(dp, ds);
    const uint8_t* sp[3];
    for (int i = 0; i < 3; ++i) sp[i] = s.rowOf(s.bytes ? 0 : i, 0);
    const int ss = s.walk == RowWalk::Up ? -s.b[0].step() : s.walk == RowWalk::Same ? 0 : s.b[0].step();
    return fn.call(sp, ss, dp, ds, {s.w, s.h});
}

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
void filteredRow(const Fn& fn, Source& s, ChromaLayout& e, int w, int y) {
    const bool gamma = fn.rc == Rc::Gamma;
    const auto P = [&](int x) { return gamma ? gammaPx(s.px(fn, x, y)) : s.px(fn, x, y); };
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
void buildExpected(const Fn& fn, Source& s, ChromaLayout& e) {
    const int w = s.w, h = s.h;
    if (fn.rc == Rc::Filtered || fn.rc == Rc::Gamma) {
        for (int y = 0; y < h; ++y) filteredRow(fn, s, e, w, y);
        return;
    }
    const bool s411 = fn.samp == Samp::S411, s420 = fn.samp == Samp::S420;
    const int bw = s411 ? 4 : 2, bh = s420 ? 2 : 1, n = bw * bh, nbx = w / bw;
    const int vecBlocks = nbx - nbx % fn.vecMultiple;
    for (int by = 0; by < h / bh; ++by)
        for (int bx = 0; bx < nbx; ++bx) {
            const bool vec = bx < vecBlocks;
            const Scalar& k = *fn.tail->k;
            int S[3] = {0, 0, 0};
            for (int q = 0; q < n; ++q) {
                const int x = bx * bw + q % bw, y = by * bh + q / bw;
                const Px p = s.px(fn, x, y);
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

// Runs fn and compares the destination, canaries included, with the model.
void check(const Fn& fn, Source& s, RowWalk dstWalk, const char* what) {
    const int w = s.w, h = s.h;
    ChromaLayout d(fn.out, fn.samp, w, h, dstWalk), e = d;
    const bool odd = fn.samp == Samp::S420 ? (w | h) & 1 : fn.samp == Samp::S411 ? w & 3 : 0;
    ASSERT_EQ(run(fn, s, d), odd ? celStatusOddSize : celStatusOk) << fn.name << " " << w << "x" << h;
    buildExpected(fn, s, e);
    for (size_t i = 0; i < d.b.size(); ++i) {
        if (d.b[i].raw() == e.b[i].raw()) continue;
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
                for (int c = 0; c < 3; ++c) {
                    const int cx = c ? x / (fn.samp == Samp::S411 ? 4 : 2) : x, cy = c && fn.samp == Samp::S420 ? y / 2 : y;
                    ASSERT_EQ(int(d.at(c, cx, cy)), int(e.at(c, cx, cy)))
                        << fn.name << " " << what << " " << w << "x" << h << " component " << c << " at " << cx << "," << cy;
                }
        FAIL() << fn.name << " " << what << " " << w << "x" << h << ": a byte outside the region differs";
    }
}

class Encode : public ::testing::TestWithParam<Fn> {};

TEST_P(Encode, MatchesModelAcrossWidthsHeightsAndSteps) {
    const Fn fn = GetParam();
    uint32_t seed = 11;
    for (RowWalk walk : {RowWalk::Down, RowWalk::Up, RowWalk::Same})
        for (int h : {1, 2, 3, 4, 7})
            for (int w : {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 14, 15, 16, 17, 18, 23, 24, 25, 26, 31, 32, 33, 40, 47, 48,
                          64, 71, 101}) {
                if (w < fn.minW || h < (fn.samp == Samp::S420 ? fn.minW : 1) || (walk != RowWalk::Down && h > 4)) continue;
                Source s(fn, w, h, walk);
                for (auto& b : s.b) b.randomize(seed += 5);
                // 4:2:0 into one row again and again would overwrite the block's other row
                check(fn, s, walk == RowWalk::Same && fn.samp == Samp::S420 ? RowWalk::Down : walk, "random");
                if (HasFatalFailure()) return;
            }
}

// Every RGB colour as a uniform block (2 x 2, 4 x 1 or a pair) through the
// vector blocks (rows of two vector multiples) and the scalar blocks (rows
// one block short of a multiple), in chunks of 2^20 colours: luma sees every
// colour, chroma every sum of equal pixels.  The filtered forms mix
// neighbours and are left to the random images; the members that share
// their recipes differ only in layout, which random images cover, so the
// first member of each runs the sweep.
TEST_P(Encode, EveryColourAsAUniformBlockThroughBodyAndTail) {
    const Fn fn = GetParam();
    if (fn.rc == Rc::Filtered || fn.rc == Rc::Gamma) GTEST_SKIP() << "filtered chroma";
    for (const Fn* o = kFns; o->name != fn.name; ++o)
        if (o->rc == fn.rc && o->tail == fn.tail && o->samp == fn.samp) GTEST_SKIP() << "recipes swept by " << o->name;
    const int bw = fn.samp == Samp::S411 ? 4 : 2, bh = fn.samp == Samp::S420 ? 2 : 1;
    constexpr int64_t kChunk = int64_t(1) << 20;
    for (int blocksPerRow : {2 * fn.vecMultiple, fn.vecMultiple - 1}) {
        const int w = blocksPerRow * bw, h = int(kChunk / blocksPerRow + 1) * bh;
        for (int64_t first = 0; first < celtest::sweep24Count(); first += kChunk) {
            Source s(fn, w, h);
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x) {
                    int r, g, b;
                    celtest::sweep24Input(first + int64_t(y / bh) * blocksPerRow + x / bw, r, g, b);
                    s.set(fn, x, y, r, g, b);
                }
            check(fn, s, RowWalk::Down, blocksPerRow < fn.vecMultiple ? "scalar sweep" : "vector sweep");
            if (HasFatalFailure()) return;
        }
    }
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
        Source s(fn, k.w, 2);
        for (int y = 0; y < 2; ++y)
            for (int x = 0; x < k.w; ++x) s.set(fn, x, y, k.rgb[0], k.rgb[1], k.rgb[2]);
        ChromaLayout d(fn.out, fn.samp, k.w, 2);
        ASSERT_EQ(run(fn, s, d), celStatusOk) << k.fn;
        const int cw = celtest::chromaW(fn.samp, k.w & ~1);
        for (int y = 0; y < 2; ++y) {
            for (int x = 0; x < (k.w & ~1); ++x) EXPECT_EQ(d.at(0, x, y), k.ycbcr[0]) << k.fn << " width " << k.w;
            for (int i = cw > 1 ? 1 : 0; i < cw && y < celtest::chromaH(fn.samp, 2); ++i)
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
            Source s(fn, w, h);
            ChromaLayout e(fn.out, fn.samp, w, h);
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < 4 * w; ++x) s.b[0].row(y)[x] = src[y * sStep + x + off];
            buildExpected(fn, s, e);
            uint8_t* d = off ? b + 1 : a;
            const uint8_t* sp[1] = {src + off};
            int ds[1] = {dStep};
            ASSERT_EQ(fn.call(sp, sStep, &d, ds, {w, h}), celStatusOk);
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

}  // namespace
