// Every chroma export that moves, drops, weaves or filters samples between
// the 8-bit layouts (repacking, rate conversion, the field-aware and plane
// resamplers, the four-tap upsampler) against one model of its rule, as
// whole buffers with canaries, over widths and heights around every
// block/tail split, negative, zero and back-to-back steps; worked values.
// Statuses, check order and errors that write nothing: tests/robust.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "celcc.h"
#include "common/chroma_layout.h"
#include "common/export_list.h"

namespace {

using namespace celtest;
using namespace celtest::shapes;

// Copy: samples moved (CopyOdd: an odd width warns); A..F: rate rules;
// Down422/Up420: field weights; From*/To*: plane resamplers; Taps: four-tap.
enum class Rule { Copy, CopyOdd, A, B, C, D, E, F, Down422, Up420, From1620, From411, To1620, To411, Taps };
using Fn = LayoutFn<Rule>;

constexpr Samp S420 = Samp::S420, S422 = Samp::S422, S411 = Samp::S411, S1620 = Samp::S1620;
constexpr Kind YUY2 = Kind::YUY2, UYVY = Kind::UYVY, YVYU = Kind::YVYU, P3 = Kind::P3CbCr, P3Cr = Kind::P3CrCb,
               P2 = Kind::P2CbCr, P2Cr = Kind::P2CrCb;

#define L(fn, sk, ss, dk, ds, rule, shape, ...) Fn{#fn, sk, ss, dk, ds, Rule::rule, via##shape<fn>, __VA_ARGS__}
const Fn kFns[] = {
    L(celiYCbCr422_8u_C2P3R, YUY2, S422, P3, S422, Copy, C2P3, 2, 1),
    L(celiYCrCb422ToYCbCr422_8u_C2P3R, YVYU, S422, P3, S422, Copy, C2P3, 2, 1),
    L(celiCbYCr422ToYCbCr422_8u_C2P3R, UYVY, S422, P3, S422, Copy, C2P3, 2, 1),
    L(celiYCbCr422_8u_P3C2R, P3, S422, YUY2, S422, Copy, P3C2, 2, 1),
    L(celiYCbCr422ToCbYCr422_8u_P3C2R, P3, S422, UYVY, S422, CopyOdd, P3C2, 2, 1),
    L(celiYCbCr422ToYCrCb422_8u_P3C2R, P3, S422, YVYU, S422, Copy, P3C2, 2, 0),
    L(celiCbYCr422ToYCbCr422_8u_C2R, UYVY, S422, YUY2, S422, Copy, C2C2, 2, 1),
    L(celiYCbCr422ToCbYCr422_8u_C2R, YUY2, S422, UYVY, S422, Copy, C2C2, 2, 1),
    L(celiYCbCr422ToYCrCb422_8u_C2R, YUY2, S422, YVYU, S422, Copy, C2C2, 2, 0),
    L(celiYCbCr420_8u_P2P3R, P2, S420, P3, S420, Copy, P2P3, 2, 2),
    L(celiYCbCr420_8u_P3P2R, P3, S420, P2, S420, Copy, P3P2, 2, 2),
    // the first byte of a pair goes to dst[1]: modelled as Cb planes
    L(celiYCbCr420ToYCrCb420_8u_P2P3R, P2, S420, P3, S420, Copy, P2P3, 2, 2),
    L(celiYCrCb420ToYCbCr420_8u_P3P2R, P3Cr, S420, P2, S420, Copy, P3P2, 2, 2),
    L(celiYCbCr411_8u_P2P3R, P2, S411, P3, S411, Copy, P2P3, 4, 0),
    L(celiYCbCr411_8u_P3P2R, P3, S411, P2, S411, Copy, P3P2, 4, 0),
    L(celiYCbCr420ToYCbCr422_8u_P3R, P3, S420, P3, S422, A, P3P3, 2, 2),
    L(celiYCrCb420ToYCbCr422_8u_P3R, P3Cr, S420, P3, S422, A, P3P3, 2, 2),
    L(celiYCbCr420ToYCbCr422_8u_P2P3R, P2, S420, P3, S422, A, P2P3, 2, 2),
    L(celiYCbCr420ToYCbCr422_8u_P2C2R, P2, S420, YUY2, S422, A, P2C2, 2, 2),
    L(celiYCbCr420ToCbYCr422_8u_P2C2R, P2, S420, UYVY, S422, A, P2C2, 2, 2),
    L(celiYCrCb420ToYCbCr422_8u_P3C2R, P3Cr, S420, YUY2, S422, A, P3C2, 2, 2),
    L(celiYCrCb420ToCbYCr422_8u_P3C2R, P3Cr, S420, UYVY, S422, A, P3C2, 2, 2),
    L(celiYCbCr422ToYCbCr420_8u_P3R, P3, S422, P3, S420, B, P3P3, 2, 2),
    L(celiYCbCr422ToYCbCr420_8u_P3P2R, P3, S422, P2, S420, B, P3P2, 2, 2),
    L(celiYCbCr422ToYCbCr420_8u_C2P3R, YUY2, S422, P3, S420, B, C2P3, 2, 2),
    L(celiYCrCb422ToYCbCr420_8u_C2P3R, YVYU, S422, P3, S420, B, C2P3, 2, 2),
    L(celiYCbCr422ToYCbCr420_8u_C2P2R, YUY2, S422, P2, S420, B, C2P2, 2, 2),
    L(celiYCbCr422ToYCrCb420_8u_C2P2R, YUY2, S422, P2Cr, S420, B, C2P2, 2, 2),
    L(celiYCbCr422ToYCrCb420_8u_C2P3R, YUY2, S422, P3Cr, S420, B, C2P3, 2, 2),
    L(celiCbYCr422ToYCbCr420_8u_C2P2R, UYVY, S422, P2, S420, B, C2P2, 2, 2),
    L(celiCbYCr422ToYCbCr420_8u_C2P3R, UYVY, S422, P3, S420, B, C2P3, 2, 2),
    L(celiCbYCr422ToYCrCb420_8u_C2P3R, UYVY, S422, P3Cr, S420, B, C2P3, 2, 2),
    L(celiYCbCr422ToYCbCr411_8u_P3R, P3, S422, P3, S411, C, P3P3, 4, 0),
    L(celiYCbCr422ToYCbCr411_8u_P3P2R, P3, S422, P2, S411, C, P3P2, 4, 0),
    L(celiYCbCr422ToYCbCr411_8u_C2P3R, YUY2, S422, P3, S411, C, C2P3, 4, 1),
    L(celiYCrCb422ToYCbCr411_8u_C2P3R, YVYU, S422, P3, S411, C, C2P3, 4, 0),
    L(celiYCbCr422ToYCbCr411_8u_C2P2R, YUY2, S422, P2, S411, C, C2P2, 4, 0),
    L(celiCbYCr422ToYCbCr411_8u_C2P3R, UYVY, S422, P3, S411, C, C2P3, 4, 0),
    L(celiYCbCr411ToYCbCr422_8u_P3R, P3, S411, P3, S422, D, P3P3, 4, 0),
    L(celiYCbCr411ToYCrCb422_8u_P3R, P3, S411, P3Cr, S422, D, P3P3, 4, 0),
    L(celiYCbCr411ToYCbCr422_8u_P2P3R, P2, S411, P3, S422, D, P2P3, 4, 0),
    L(celiYCbCr411ToYCbCr422_8u_P2C2R, P2, S411, YUY2, S422, D, P2C2, 4, 0),
    L(celiYCbCr411ToYCbCr422_8u_P3C2R, P3, S411, YUY2, S422, D, P3C2, 4, 0),
    L(celiYCbCr411ToYCrCb422_8u_P3C2R, P3, S411, YVYU, S422, D, P3C2, 4, 0),
    L(celiYCbCr411ToYCbCr420_8u_P3R, P3, S411, P3, S420, E, P3P3, 4, 2),
    L(celiYCbCr411ToYCbCr420_8u_P3P2R, P3, S411, P2, S420, E, P3P2, 4, 2),
    L(celiYCbCr411ToYCbCr420_8u_P2P3R, P2, S411, P3, S420, E, P2P3, 4, 2),
    L(celiYCbCr411ToYCrCb420_8u_P2P3R, P2, S411, P3Cr, S420, E, P2P3, 4, 2),
    L(celiYCbCr420ToYCbCr411_8u_P2P3R, P2, S420, P3, S411, F, P2P3, 4, 2),
    L(celiYCbCr420ToYCbCr411_8u_P3P2R, P3, S420, P2, S411, F, P3P2, 4, 2),
    L(celiYCrCb420ToYCbCr411_8u_P3P2R, P3Cr, S420, P2, S411, F, P3P2, 4, 2),
    L(celiYCbCr422To420_Interlace_8u_P3R, P3, S422, P3, S420, Down422, P3P3),
    L(celiCbYCr422ToYCbCr420_Interlace_8u_C2P3R, UYVY, S422, P3, S420, Down422, C2P3),
    L(celiYCbCr420To422_Interlace_8u_P3R, P3, S420, P3, S422, Up420, P3P3),
    L(celiYCbCr420ToCbYCr422_Interlace_8u_P3C2R, P3, S420, UYVY, S422, Up420, P3C2),
    L(celiYCbCr1620To420_8u_P3R, P3, S1620, P3, S420, From1620, P3P3),
    L(celiYCbCr411To420_8u_P3R, P3, S411, P3, S420, From411, P3P3),
    L(celiYCbCr420To1620_8u_P3R, P3, S420, P3, S1620, To1620, P3P3),
    L(celiYCbCr420To411_8u_P3R, P3, S420, P3, S411, To411, P3P3),
    L(celiYCbCr420ToYCbCr422_Filter_8u_P3R, P3, S420, P3, S422, Taps, P3P3),
    L(celiYCrCb420ToYCbCr422_Filter_8u_P3R, P3Cr, S420, P3, S422, Taps, P3P3),
    L(celiYCbCr420ToYCbCr422_Filter_8u_P2P3R, P2, S420, P3, S422, Taps, P2P3),
};
#undef L
const Fn& named(const std::string& n) { return rowNamed(kFns, n); }

bool interlaced(Rule r) { return r == Rule::Down422 || r == Rule::Up420; }
bool resampler(Rule r) { return r >= Rule::Down422 && r <= Rule::To411; }

CelStatus statusOf(Rule r, int w, int h) {
    if (r == Rule::CopyOdd) return w & 1 ? celStatusOddSize : celStatusOk;
    if (r == Rule::Taps) return w < 2 || h < 8 ? celStatusBadSize : celStatusOk;
    if (interlaced(r)) return w < 2 || h < 4 ? celStatusBadSize : (w % 2) || (h % 4) ? celStatusOddSize : celStatusOk;
    if (!resampler(r)) return celStatusOk;
    const bool hOk = r == Rule::To411 ? h >= 2 && h % 2 == 0 : h >= 4 && h % 4 == 0;
    return w >= 4 && w % 4 == 0 && hOk ? celStatusOk : celStatusBadSize;
}

int weigh(int wa, int a, int wb, int b) { return (wa * a + wb * b + (wa + wb) / 2) / (wa + wb); }  // to nearest
int up(int a, int b) { return (a + b + 1) / 2; }
int down(int a, int b) { return (a + b) / 2; }
// Where the vector blocks of a row of n samples end: blocks of `big`, then of 16, while more remain.
int blocksEnd(int n, int big) {
    int i = 0;
    while (n - i > big) i += big;
    while (n - i > 16) i += 16;
    return i;
}

// The resamplers: luma copied, chroma by field weights per row parity (first
// and last rows copied), or pair means rounding up in the vector blocks and
// down after them.
void resampleModel(Rule rule, ChromaLayout& s, ChromaLayout& e) {
    const int w = interlaced(rule) ? s.w & ~1 : s.w, h = interlaced(rule) ? s.h & ~3 : s.h, n = w / 4;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) e.at(0, x, y) = s.at(0, x, y);
    for (int c = 1; c <= 2; ++c) {
        const auto S = [&](int x, int y) { return int(s.at(c, x, y)); };
        const auto E = [&](int x, int y, int v) { e.at(c, x, y) = uint8_t(v); };
        if (rule == Rule::Down422)
            for (int k = 0; k < h / 4; ++k)
                for (int x = 0; x < w / 2; ++x) {
                    E(x, 2 * k, weigh(3, S(x, 4 * k), 1, S(x, 4 * k + 2)));
                    E(x, 2 * k + 1, weigh(1, S(x, 4 * k + 1), 3, S(x, 4 * k + 3)));
                }
        if (rule == Rule::Up420)
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w / 2; ++x) {
                    if (y < 2 || y >= h - 2) {
                        E(x, y, S(x, y < 2 ? y : h / 2 - (h - y)));
                        continue;
                    }
                    const int g = (y - 2) / 4, s0 = S(x, 2 * g), s1 = S(x, 2 * g + 1), s2 = S(x, 2 * g + 2),
                              s3 = S(x, 2 * g + 3);
                    const int v[4] = {weigh(5, s0, 3, s2), weigh(7, s1, 1, s3), weigh(1, s0, 7, s2), weigh(3, s1, 5, s3)};
                    E(x, y, v[(y - 2) % 4]);
                }
        if (rule == Rule::From411 || rule == Rule::From1620) {
            const bool from411 = rule == Rule::From411;
            const int rows = from411 ? h / 2 : h / 4, V = blocksEnd(n, from411 ? 64 : 32);
            for (int r = 0; r < rows; ++r) {
                const int sr = from411 ? 2 * r : r, tr = r + 1 < rows ? r + 1 : -1;
                for (int i = 0; i < n; ++i) {
                    const bool last = i == n - 1, vec = i < V;
                    const int a = S(i, sr), a1 = last ? a : S(i + 1, sr), u = last ? a : vec ? up(a, a1) : down(a, a1);
                    E(2 * i, from411 ? r : 2 * r, a), E(2 * i + 1, from411 ? r : 2 * r, u);
                    if (from411) continue;
                    if (tr < 0) {  // the last source row: its samples doubled
                        E(2 * i, 2 * r + 1, a), E(2 * i + 1, 2 * r + 1, a);
                        continue;
                    }
                    const int b = S(i, tr), b1 = last ? b : S(i + 1, tr);
                    E(2 * i, 2 * r + 1, vec ? up(a, b) : down(a, b));
                    E(2 * i + 1, 2 * r + 1, last ? down(a, b) : vec ? up(up(a, a1), up(b, b1)) : down(down(a, a1), down(b, b1)));
                }
            }
        }
        if (rule == Rule::To1620)
            for (int d = 0; d < h / 4; ++d)
                for (int i = 0; i < n; ++i) E(i, d, S(2 * i, 2 * d));
        if (rule == Rule::To411)
            for (int r = 0; r < h / 2; ++r)
                for (int i = 0; i < n; ++i) {
                    const int a = S(2 * i, r), b = S(2 * i, r + 1 < h / 2 ? r + 1 : r);
                    E(i, 2 * r, a), E(i, 2 * r + 1, i < (n & ~31) ? up(a, b) : down(a, b));
                }
    }
}

// Four taps: luma copied; chroma row 2j is source row j, row 2j + 1 the taps
// -1 9 9 -1 over source rows j-1 .. j+2 with the borders repeated.
void tapModel(ChromaLayout& s, ChromaLayout& e) {
    const int w = s.w & ~1, h = s.h & ~7, half = h / 2;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) e.at(0, x, y) = s.at(0, x, y);
    for (int c = 1; c <= 2; ++c)
        for (int m = 0; m < w / 2; ++m)
            for (int j = 0; j < half; ++j) {
                const auto at = [&](int k) { return int(s.at(c, m, k)); };
                e.at(c, m, 2 * j) = uint8_t(at(j));
                int cm = j - 1, c1 = j + 1, c2 = j + 2;
                if (j == 0) cm = 0;                     // row 1
                if (j == half - 2) c2 = half - 1;       // row h-3
                if (j == half - 1) c1 = c2 = half - 1;  // row h-1
                const int v = 9 * (at(j) + at(c1)) - at(cm) - at(c2) + 8;
                e.at(c, m, 2 * j + 1) = uint8_t(std::clamp(v >= 0 ? v / 16 : -((-v + 15) / 16), 0, 255));
            }
}

void model(const Fn& f, ChromaLayout& s, ChromaLayout& e) {
    if (f.rule == Rule::Taps) return tapModel(s, e);
    if (resampler(f.rule)) return resampleModel(f.rule, s, e);
    moveSamples(s, e, [&](int c, int x, int y) -> uint8_t {
        switch (f.rule) {
            case Rule::A: return s.at(c, x, y / 2);                 // each source row serves two rows
            case Rule::B: return s.at(c, x, 2 * y);                 // even rows only
            case Rule::C: return s.at(c, 2 * x, y);                 // even columns only
            case Rule::D: return s.at(c, x / 2, y);                 // each sample serves two pairs
            case Rule::E: return s.at(c, x / 2, 2 * y + (x & 1));   // two rows woven into one
            case Rule::F: return s.at(c, 2 * x + (y & 1), y / 2);   // one row unwoven into two
            default: return s.at(c, x, y);                          // repacking
        }
    });
}

void expectModel(const Fn& f, int w, int h, RowWalk srcWalk, RowWalk dstWalk, uint32_t seed) {
    if (w < f.minW || h < f.minH) return;
    expectLayoutModel(f, w, h, srcWalk, dstWalk, seed, statusOf(f.rule, w, h),
                      [&](ChromaLayout& s, ChromaLayout& e) { model(f, s, e); });
}

// The sizes of a kind of rule: widths around every block of its kernels
// (8/16 pairs, 16/32 pixels, 8/16 columns of 4:1:1; 16/32 chroma samples of
// the field kernels, 8..64 of the resamplers, 16-sample taps), heights with
// odd rows and whole or partial field groups, the walks of every size, the
// sizes walked upward and from one row, and the back-to-back sizes.
struct Sizes {
    std::vector<int> widths, heights;
    std::vector<RowWalk> walks;
    std::vector<CelSize> upward, tight;
};
const Sizes& sizesOf(Rule r) {
    static const Sizes copy{{2, 3, 4, 5, 6, 7, 8, 9, 12, 15, 16, 17, 18, 31, 32, 33, 34, 40, 50, 64, 66},
                            {1, 2, 3, 4, 5}, {RowWalk::Down, RowWalk::Tight}, {{34, 5}, {66, 4}}, {}};
    static const Sizes rate{{2, 3, 4, 5, 6, 7, 8, 9, 12, 15, 16, 17, 18, 20, 31, 32,
                             33, 34, 36, 40, 47, 48, 63, 64, 65, 66, 68, 96, 100, 128, 132, 140},
                            {1, 2, 3, 4, 5, 7}, {RowWalk::Down}, {{36, 5}, {100, 4}, {140, 7}}, {{64, 6}, {132, 4}, {66, 5}}};
    static const Sizes resample{{1, 2, 3, 4, 6, 8, 12, 16, 30, 32, 33, 34, 60, 62, 64,
                                 66, 68, 96, 124, 128, 132, 160, 164, 252, 256, 260, 264, 288, 292},
                                {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 12, 16}, {RowWalk::Down},
                                {{36, 8}, {132, 12}, {260, 4}, {66, 7}}, {}};
    static const Sizes taps{{1, 2, 3, 4, 7, 16, 17, 31, 32, 33, 34, 35, 47, 64, 66, 100},
                            {7, 8, 9, 15, 16, 17, 24, 31, 40}, {RowWalk::Down}, {{34, 16}, {66, 17}, {100, 40}, {7, 24}}, {}};
    return r == Rule::Taps ? taps : resampler(r) ? resample : r <= Rule::CopyOdd ? copy : rate;
}

class LayoutRule : public ::testing::TestWithParam<Fn> {};

TEST_P(LayoutRule, EveryByteFollowsItsRule) {
    const Fn& f = GetParam();
    const Sizes& z = sizesOf(f.rule);
    uint32_t seed = 11;
    for (int h : z.heights)
        for (int w : z.widths)
            for (RowWalk walk : z.walks) expectModel(f, w, h, walk, walk, seed++);
    for (CelSize u : z.upward) {
        expectModel(f, u.width, u.height, RowWalk::Up, RowWalk::Up, seed++);
        expectModel(f, u.width, u.height, RowWalk::Same, RowWalk::Down, seed++);
    }
    for (CelSize t : z.tight) expectModel(f, t.width, t.height, RowWalk::Tight, RowWalk::Tight, seed++);
}

INSTANTIATE_TEST_SUITE_P(AllForms, LayoutRule, ::testing::ValuesIn(kFns),
                         [](const ::testing::TestParamInfo<Fn>& i) { return std::string(i.param.name + 4); });

// The streaming paths (traffic above the thresholds, every pointer and step
// 16-byte aligned: streaming C2 stores or a streaming luma copy) give the
// model's bytes.
TEST(LayoutRuleStreaming, LargeFramesGiveTheModelsBytes) {
    for (const char* n : {"celiYCrCb420ToCbYCr422_8u_P3C2R", "celiYCbCr411ToYCbCr422_8u_P2C2R", "celiYCbCr411ToYCbCr422_8u_P3C2R",
                          "celiYCbCr411ToYCrCb422_8u_P3C2R", "celiYCbCr422ToYCbCr411_8u_C2P2R", "celiYCbCr411ToYCbCr420_8u_P3P2R",
                          "celiYCbCr411ToYCbCr422_8u_P2P3R", "celiYCbCr422ToYCbCr420_8u_P3R", "celiYCbCr422ToYCbCr411_8u_P3R"}) {
        expectModel(named(n), 1280, 448, RowWalk::Down, RowWalk::Down, 5);
        expectModel(named(n), 1280, 448, RowWalk::Tight, RowWalk::Tight, 6);
    }
}

// Repacking never passes a null step array through the robustness rows.
TEST(LayoutRuleChecks, NullStepArray) {
    uint8_t a[64] = {}, b[64] = {}, c[64] = {};
    uint8_t* dst[3] = {a, b, c};
    EXPECT_EQ(celiYCbCr422_8u_C2P3R(a, 16, dst, nullptr, {8, 1}), celStatusNullPointer);
}

// ---- Worked values ---------------------------------------------------------------------------------
// Flat chroma comes back flat through the field weights: (3 v + v + 2) >> 2
// and (5 v + 3 v + 4) >> 3 are v.
TEST(LayoutRuleWorked, FlatChromaStaysFlatThroughFields) {
    for (const Fn& f : kFns)
        for (int v : {0, 1, 127, 254, 255}) {
            if (!interlaced(f.rule)) continue;
            ChromaLayout s(f.srcKind, f.srcSamp, 66, 12), d(f.dstKind, f.dstSamp, 66, 12);
            s.randomize(1);
            for (int y = 0; y < chromaH(f.srcSamp, 12); ++y)
                for (int x = 0; x < 33; ++x) s.at(1, x, y) = s.at(2, x, y) = uint8_t(v);
            Args a = argsOf(s, d);
            ASSERT_EQ(f.call(a, {66, 12}), celStatusOk) << f.name;
            for (int c = 1; c <= 2; ++c)
                for (int y = 0; y < chromaH(f.dstSamp, 12); ++y)
                    for (int x = 0; x < 33; ++x) ASSERT_EQ(d.at(c, x, y), v) << f.name << " " << x << "," << y;
        }
}

// Samples 1, 2: the mean is 2 in a vector block and 1 in the row's tail;
// width 4: one sample a row, out[0] and out[1] equal it.
TEST(LayoutRuleWorked, PairMeanRoundsUpInBlocksAndDownInTheTail) {
    const Fn& f = named("celiYCbCr411To420_8u_P3R");
    const int W = 4 * 40;  // 40 samples: vector up to 32, scalar 32 .. 38, sample 39 doubled
    ChromaLayout s(f.srcKind, f.srcSamp, W, 4), d(f.dstKind, f.dstSamp, W, 4);
    for (int i = 0; i < 40; ++i) s.at(1, i, 0) = s.at(2, i, 0) = uint8_t(1 + i % 2);
    Args a = argsOf(s, d);
    ASSERT_EQ(f.call(a, {W, 4}), celStatusOk);
    EXPECT_EQ(d.at(1, 1, 0), 2);   // (1 + 2 + 1) >> 1
    EXPECT_EQ(d.at(1, 65, 0), 1);  // (1 + 2) >> 1
    EXPECT_EQ(d.at(1, 78, 0), 2);
    EXPECT_EQ(d.at(1, 79, 0), 2);
    ChromaLayout s4(f.srcKind, f.srcSamp, 4, 4), d4(f.dstKind, f.dstSamp, 4, 4);
    s4.randomize(9);
    Args a4 = argsOf(s4, d4);
    ASSERT_EQ(f.call(a4, {4, 4}), celStatusOk);
    for (int y = 0; y < 2; ++y) {
        EXPECT_EQ(d4.at(2, 0, y), s4.at(2, 0, 2 * y));
        EXPECT_EQ(d4.at(2, 1, y), s4.at(2, 0, 2 * y));
    }
}

// Four taps: one chroma column through a P3 call of height 8 (4 source rows).
// 0, 255, 255, 0: row 3 = (9 * 510 + 8) >> 4 = 287, stored 255; row 1 uses
// c[0] above: (9 * 255 - 0 - 255 + 8) >> 4 = 128; row 5 uses c[3] below:
// 128; row 7 = (18*0 - 255 - 0 + 8) >> 4 < 0.  Width 64: the 16-sample body.
TEST(LayoutRuleWorked, FourTapBordersAndSaturation) {
    const auto column = [](std::vector<int> rows, int w) {
        const Fn& f = named("celiYCbCr420ToYCbCr422_Filter_8u_P3R");
        ChromaLayout s(f.srcKind, f.srcSamp, w, 8), d(f.dstKind, f.dstSamp, w, 8);
        s.randomize(1);
        for (int j = 0; j < 4; ++j)
            for (int m = 0; m < w / 2; ++m) s.at(1, m, j) = s.at(2, m, j) = uint8_t(rows[j]);
        Args a = argsOf(s, d);
        EXPECT_EQ(f.call(a, {w, 8}), celStatusOk);
        std::vector<int> out;
        for (int y = 0; y < 8; ++y) out.push_back(d.at(1, 0, y));
        for (int m = 0; m < w / 2; ++m)
            for (int y = 0; y < 8; ++y) EXPECT_EQ(d.at(2, m, y), out[y]);
        return out;
    };
    EXPECT_EQ(column({0, 255, 255, 0}, 2), (std::vector<int>{0, 128, 255, 255, 255, 128, 0, 0}));
    EXPECT_EQ(column({255, 0, 0, 255}, 2), (std::vector<int>{255, 128, 0, 0, 0, 128, 255, 255}));
    EXPECT_EQ(column({0, 255, 255, 0}, 64), (std::vector<int>{0, 128, 255, 255, 255, 128, 0, 0}));
}

}  // namespace
