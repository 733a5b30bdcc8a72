// RGB to analogue-video YUV at 4:2:2 and 4:2:0 (the full-rate forms and the
// decoders are in test_pixelwise.cpp): a reference model of every recipe
// written from the formulas (independent of the library's recipe header),
// by pair or block and by its place in the row; every destination byte,
// canaries included, compared with the model over widths that hit body only,
// tail only and both, odd heights, negative and zero steps; every colour as a
// uniform block through the 4:2:0 encoders' body and scalar blocks; the
// contiguous forms against the R forms with derived steps.  The kernels
// chosen by alignment are in the model (the two 4:2:2 C3P3R kernels differ by
// a step); rows of 32 and 1920 pixels hit them.  Statuses, check order and
// errors that write nothing: the robustness table's rows (tests/robust).
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>
#include <string>
#include <vector>

#include "celcc.h"
#include "common/chroma_layout.h"
#include "common/ycbcr_model.h"

namespace {

using celtest::Args;
using celtest::ChromaLayout;
using celtest::ImageBuffer;
using celtest::Kind;
using celtest::RowWalk;
using celtest::Samp;
using namespace celtest::ycc;
using Tri = std::array<int, 3>;  // R, G, B

int s16(const Tri& p) { return S16(p[0], p[1], p[2]); }

// ---- Model: 4:2:2 encoders, one pair (Y0, Y1, U, V) ---------------------------------
using Pair = std::array<uint8_t, 4>;
int lumaQ14(const Tri& p) { return rnd(4899, p[0] * 128) + rnd(9617, p[1] * 128) + rnd(1868, p[2] * 128); }
int lumaMadd(const Tri& p) { return ((9798 * p[0] + 19235 * p[1]) >> 14) + ((3736 * p[2]) >> 14); }
Pair pairMadd(const Tri& a, const Tri& b) {
    const int l0 = lumaMadd(a), l1 = lumaMadd(b), P = (l0 + l1) >> 1;
    return {sat8(l0 >> 1), sat8(l1 >> 1), sat8(his(16121, sat16(a[2] + b[2] - P)) + 128),
            sat8(his(28737, sat16(a[0] + b[0] - P)) + 128)};
}
Pair pairQ14(const Tri& a, const Tri& b) {
    const int l0 = lumaQ14(a), l1 = lumaQ14(b), sl = l0 + l1;
    return {sat8(l0 >> 6), sat8(l1 >> 6), sat8((rnd(8061, (a[2] + b[2]) * 64 - sl) >> 6) + 128),
            sat8((rnd(14369, (a[0] + b[0]) * 64 - sl) >> 6) + 128)};
}
int dup(int v) { return (v * 257) >> 6; }
int lumaDup(const Tri& p) { return his(9798, dup(p[0])) + his(19235, dup(p[1])) + his(3736, dup(p[2])); }
Pair pairDup(const Tri& a, const Tri& b) {
    const int l0 = lumaDup(a), l1 = lumaDup(b), P = l0 + l1;
    const int mr = (dup(a[0]) + dup(b[0])) >> 1, mb = (dup(a[2]) + dup(b[2])) >> 1;
    return {sat8(l0 >> 1), sat8(l1 >> 1), sat8((his(16121, sat16(mb - P)) >> 1) + 128),
            sat8((his(28737, sat16(mr - P)) >> 1) + 128)};
}
template <bool Rounded>
Pair pairQ16(const Tri& a, const Tri& b) {
    const int s0 = s16(a), s1 = s16(b), t = s0 + s1, add = Rounded ? 32768 : 65535, ya = Rounded ? 32768 : 0;
    const int du = (((a[2] + b[2]) << 16) - t + add) >> 16, dv = (((a[0] + b[0]) << 16) - t + add) >> 16;
    return {uint8_t((s0 + ya) >> 16), uint8_t((s1 + ya) >> 16), uint8_t(((du * 32244) >> 17) + 128),
            sat8(((dv * 57475) >> 17) + 128)};
}
Rgb loneQ15(const Tri& p) {
    const int a = 9798 * p[0] + 19235 * p[1] + 3736 * p[2];
    return {uint8_t(a >> 15), uint8_t(((((p[2] << 15) - a) >> 15) * 16121 >> 15) + 128),
            sat8(((((p[0] << 15) - a) >> 15) * 28737 >> 15) + 128)};
}

// ---- Model: 4:2:0 encoders, one block (Y of 4 pixels in row order, U, V) --------------
using Block = std::array<uint8_t, 6>;
using Quad = std::array<Tri, 4>;
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

Tri rgbAt(ChromaLayout& m, int x, int y, bool bgr = false) {
    Tri p{m.at(0, x, y), m.at(1, x, y), m.at(2, x, y)};
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
Model enc422Model(bool packed, Pair (*body)(const Tri&, const Tri&), Pair (*alignedBody)(const Tri&, const Tri&) = nullptr) {
    return [=](ChromaLayout& s, ChromaLayout& e) {
        const int w = s.w;
        const bool al = alignedBody && allAligned(s, e);
        for (int y = 0; y < s.h; ++y) {
            int x = 0;
            for (; x + 1 < w; x += 2) {
                const Tri a = rgbAt(s, x, y), b = rgbAt(s, x + 1, y);
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

using Fn = celtest::LayoutFn<Model>;
#define CALL(expr) [](Args & a, CelSize r) -> CelStatus { return expr; }
constexpr Kind C3 = Kind::C3, P3 = Kind::P3CbCr;
constexpr Samp S444 = Samp::S444, S422 = Samp::S422, S420 = Samp::S420;

const Fn kFns[] = {
    {"RGBToYUV422_C3C2R", C3, S444, Kind::YUY2, S422, enc422Model(true, pairMadd),
     CALL(celiRGBToYUV422_8u_C3C2R(a.sp[0], a.ss[0], a.dp[0], a.ds[0], r))},
    {"RGBToYUV422_C3P3R", C3, S444, P3, S422, enc422Model(false, pairMadd, pairQ14),
     CALL(celiRGBToYUV422_8u_C3P3R(a.sp[0], a.ss[0], a.dp, a.ds, r))},
    {"RGBToYUV422_P3R", Kind::Px3, S444, P3, S422, enc422Model(false, pairDup),
     CALL(celiRGBToYUV422_8u_P3R(a.sp, a.ss[0], a.dp, a.ds, r))},
    {"RGBToYUV420_C3P3R", C3, S444, P3, S420, enc420Model(false, 8, true, blockQ14Vector, blockQ14Scalar),
     CALL(celiRGBToYUV420_8u_C3P3R(a.sp[0], a.ss[0], a.dp, a.ds, r))},
    {"RGBToYUV420_P3R", Kind::Px3, S444, P3, S420, enc420Model(false, 0, false, blockQ16, blockQ16),
     CALL(celiRGBToYUV420_8u_P3R(a.sp, a.ss[0], a.dp, a.ds, r))},
    {"BGRToYUV420_AC4P3R", Kind::C4, S444, P3, S420, enc420Model(true, 8, false, blockQ14Vector, blockQ14Scalar),
     CALL(celiBGRToYUV420_8u_AC4P3R(a.sp[0], a.ss[0], a.dp, a.ds, r))},
};

CelStatus statusAt(const Fn& fn, int w, int h) { return fn.dstSamp == S420 && ((w | h) & 1) ? celStatusOddSize : celStatusOk; }

class Yuv : public ::testing::TestWithParam<Fn> {};

TEST_P(Yuv, MatchesModelAcrossWidthsHeightsAndSteps) {
    const Fn fn = GetParam();
    uint32_t seed = 1;
    const auto run = [&](int w, int h, RowWalk sw, RowWalk dw) {
        celtest::expectLayoutModel(fn, w, h, sw, dw, seed++, statusAt(fn, w, h), fn.rule);
    };
    for (int h : celtest::testHeights())
        for (int w : celtest::testWidths()) run(w, h, RowWalk::Down, RowWalk::Down);
    run(1920, 3, RowWalk::Down, RowWalk::Down);
    for (int w : {5, 16, 33})
        for (int h : {4, 5}) {
            run(w, h, RowWalk::Up, RowWalk::Down);
            run(w, h, RowWalk::Up, RowWalk::Up);
            run(w, h, RowWalk::Same, RowWalk::Down);
        }
    // every byte value in every channel, body and tail
    ChromaLayout s(fn.srcKind, S444, 256 * 3 + 15, 2), d(fn.dstKind, fn.dstSamp, s.w, 2);
    for (auto& b : s.b)
        for (int y = 0; y < b.rows(); ++y)
            for (int x = 0; x < b.rowBytes(); ++x) b.row(y)[x] = uint8_t(x * 37 + y * 101);
    celtest::expectModelOn(fn, s, d, statusAt(fn, s.w, 2), fn.rule, "pattern");
}

// Every colour (2^24) as a uniform 2 x 2 block of the 4:2:0 encoders from
// pixels, through the vector body (rows of sixteen blocks) and through the
// scalar blocks (rows of three): luma and chroma see every colour (chroma as
// the sum of four equal pixels).
TEST_P(Yuv, Encoder420EveryColourAsAUniformBlockThroughBodyAndTail) {
    const Fn fn = GetParam();
    if (fn.dstSamp != S420 || fn.srcKind == Kind::Px3) GTEST_SKIP() << "no 4:2:0 encoder from pixels";
    for (int blocksPerRow : {16, 3})
        celtest::sweepBlocks(fn.srcKind, blocksPerRow, 2, 2, [&](ChromaLayout& s) {
            ChromaLayout d(fn.dstKind, fn.dstSamp, s.w, s.h);
            celtest::expectModelOn(fn, s, d, celStatusOk, fn.rule, "sweep");
        });
}

INSTANTIATE_TEST_SUITE_P(AllForms, Yuv, ::testing::ValuesIn(kFns),
                         [](const ::testing::TestParamInfo<Fn>& i) { return std::string(i.param.name); });

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
