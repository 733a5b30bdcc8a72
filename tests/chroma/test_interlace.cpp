// Interlace-aware 4:2:2 <-> 4:2:0 and the plane resamplers among 4:2:0,
// 4:1:1 and 1620: every export against a model written here from the
// formulas (field weights per row parity, copied first and last rows; pair
// means rounding up in the vector blocks and down after them, by position in
// the row), compared as whole buffers with canaries over widths and heights
// that hit every block/tail split and the field structure, negative and zero
// steps, the statuses of the sizes; worked values (check order and errors
// that write nothing: the robustness table's rows, tests/robust).
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "celcc.h"
#include "common/chroma_layout.h"

namespace {

using namespace celtest;
using namespace celtest::shapes;

enum class Op { Down422, Up420, From1620, From411, To1620, To411 };

using Fn = LayoutFn<Op>;

constexpr Kind P3 = Kind::P3CbCr, UYVY = Kind::UYVY;
constexpr Samp S420 = Samp::S420, S422 = Samp::S422, S411 = Samp::S411, S1620 = Samp::S1620;

const Fn kFns[] = {
    {"celiYCbCr422To420_Interlace_8u_P3R", P3, S422, P3, S420, Op::Down422,
     viaP3P3<celiYCbCr422To420_Interlace_8u_P3R>},
    {"celiCbYCr422ToYCbCr420_Interlace_8u_C2P3R", UYVY, S422, P3, S420, Op::Down422,
     viaC2P3<celiCbYCr422ToYCbCr420_Interlace_8u_C2P3R>},
    {"celiYCbCr420To422_Interlace_8u_P3R", P3, S420, P3, S422, Op::Up420, viaP3P3<celiYCbCr420To422_Interlace_8u_P3R>},
    {"celiYCbCr420ToCbYCr422_Interlace_8u_P3C2R", P3, S420, UYVY, S422, Op::Up420,
     viaP3C2<celiYCbCr420ToCbYCr422_Interlace_8u_P3C2R>},
    {"celiYCbCr1620To420_8u_P3R", P3, S1620, P3, S420, Op::From1620, viaP3P3<celiYCbCr1620To420_8u_P3R>},
    {"celiYCbCr411To420_8u_P3R", P3, S411, P3, S420, Op::From411, viaP3P3<celiYCbCr411To420_8u_P3R>},
    {"celiYCbCr420To1620_8u_P3R", P3, S420, P3, S1620, Op::To1620, viaP3P3<celiYCbCr420To1620_8u_P3R>},
    {"celiYCbCr420To411_8u_P3R", P3, S420, P3, S411, Op::To411, viaP3P3<celiYCbCr420To411_8u_P3R>},
};

bool interlaced(Op o) { return o == Op::Down422 || o == Op::Up420; }

CelStatus expectedStatus(Op o, int w, int h) {
    if (interlaced(o)) {
        if (w < 2 || h < 4) return celStatusBadSize;
        return (w % 2) || (h % 4) ? celStatusOddSize : celStatusOk;
    }
    const bool wOk = w >= 4 && w % 4 == 0;
    const bool hOk = o == Op::To411 ? h >= 2 && h % 2 == 0 : h >= 4 && h % 4 == 0;
    return wOk && hOk ? celStatusOk : celStatusBadSize;
}

int weigh(int wa, int a, int wb, int b) {  // weights summing to 4 or 8, rounded to nearest
    const int sum = wa + wb;
    return (wa * a + wb * b + sum / 2) / sum;
}
int up(int a, int b) { return (a + b + 1) / 2; }
int down(int a, int b) { return (a + b) / 2; }

// Where the vector blocks of a row of n samples end: blocks of `big`, then
// of 16, while more than that many samples remain.
int blocksEnd(int n, int big) {
    int i = 0;
    while (n - i > big) i += big;
    while (n - i > 16) i += 16;
    return i;
}

// The expected destination: what it held, with the region written.
void model(const Fn& f, ChromaLayout& s, ChromaLayout& e) {
    const int W = s.w, H = s.h;
    const int w = interlaced(f.rule) ? W & ~1 : W, h = interlaced(f.rule) ? H & ~3 : H;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) e.at(0, x, y) = s.at(0, x, y);
    for (int c = 1; c <= 2; ++c) {
        const auto S = [&](int x, int y) { return int(s.at(c, x, y)); };
        const auto E = [&](int x, int y, int v) { e.at(c, x, y) = uint8_t(v); };
        const int n = w / 4;
        switch (f.rule) {
            case Op::Down422:
                for (int k = 0; k < h / 4; ++k)
                    for (int x = 0; x < w / 2; ++x) {
                        E(x, 2 * k, weigh(3, S(x, 4 * k), 1, S(x, 4 * k + 2)));
                        E(x, 2 * k + 1, weigh(1, S(x, 4 * k + 1), 3, S(x, 4 * k + 3)));
                    }
                break;
            case Op::Up420:
                for (int y = 0; y < h; ++y)
                    for (int x = 0; x < w / 2; ++x) {
                        if (y < 2 || y >= h - 2) {
                            E(x, y, S(x, y < 2 ? y : h / 2 - (h - y)));
                            continue;
                        }
                        const int g = (y - 2) / 4, q = (y - 2) % 4, s0 = S(x, 2 * g), s1 = S(x, 2 * g + 1),
                                  s2 = S(x, 2 * g + 2), s3 = S(x, 2 * g + 3);
                        const int v[4] = {weigh(5, s0, 3, s2), weigh(7, s1, 1, s3), weigh(1, s0, 7, s2),
                                          weigh(3, s1, 5, s3)};
                        E(x, y, v[q]);
                    }
                break;
            case Op::From411:
            case Op::From1620: {
                const bool from411 = f.rule == Op::From411;
                const int rows = from411 ? h / 2 : h / 4, V = blocksEnd(n, from411 ? 64 : 32);
                for (int r = 0; r < rows; ++r) {
                    const int sr = from411 ? 2 * r : r, tr = r + 1 < rows ? r + 1 : -1;
                    for (int i = 0; i < n; ++i) {
                        const bool last = i == n - 1, vec = i < V;
                        const int a = S(i, sr), a1 = last ? a : S(i + 1, sr);
                        const int u = last ? a : vec ? up(a, a1) : down(a, a1);
                        E(2 * i, from411 ? r : 2 * r, a), E(2 * i + 1, from411 ? r : 2 * r, u);
                        if (from411) continue;
                        if (tr < 0) {  // the last source row: its samples doubled
                            E(2 * i, 2 * r + 1, a), E(2 * i + 1, 2 * r + 1, a);
                            continue;
                        }
                        const int b = S(i, tr), b1 = last ? b : S(i + 1, tr);
                        E(2 * i, 2 * r + 1, vec ? up(a, b) : down(a, b));
                        E(2 * i + 1, 2 * r + 1,
                          last ? down(a, b) : vec ? up(up(a, a1), up(b, b1)) : down(down(a, a1), down(b, b1)));
                    }
                }
                break;
            }
            case Op::To1620:
                for (int d = 0; d < h / 4; ++d)
                    for (int i = 0; i < n; ++i) E(i, d, S(2 * i, 2 * d));
                break;
            case Op::To411:
                for (int r = 0; r < h / 2; ++r)
                    for (int i = 0; i < n; ++i) {
                        const int a = S(2 * i, r), b = S(2 * i, r + 1 < h / 2 ? r + 1 : r);
                        E(i, 2 * r, a), E(i, 2 * r + 1, i < (n & ~31) ? up(a, b) : down(a, b));
                    }
                break;
        }
    }
}

void expectModel(const Fn& f, int w, int h, RowWalk srcWalk, RowWalk dstWalk, uint32_t seed) {
    expectLayoutModel(f, w, h, srcWalk, dstWalk, seed, expectedStatus(f.rule, w, h),
                      [&](ChromaLayout& s, ChromaLayout& e) { model(f, s, e); });
}

class Resample : public ::testing::TestWithParam<Fn> {};

// Widths around every block (16 and 32 chroma samples of the field kernels;
// 8, 16, 32, 64 of the resamplers), odd and not multiples of 4; heights
// with and without whole groups of four rows (fields' first and last rows).
TEST_P(Resample, EveryByteMatchesTheModel) {
    const Fn f = GetParam();
    uint32_t seed = 5;
    for (int h : {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 12, 16})
        for (int w : {1,  2,  3,  4,  6,  8,   12,  16,  30,  32,  33,  34,  60,  62,  64,
                      66, 68, 96, 124, 128, 132, 160, 164, 252, 256, 260, 264, 288, 292})
            expectModel(f, w, h, RowWalk::Down, RowWalk::Down, seed++);
}

TEST_P(Resample, NegativeAndZeroSourceSteps) {
    const Fn f = GetParam();
    everyWalk({{36, 8}, {132, 12}, {260, 4}, {66, 7}}, 90, [&](auto... a) { expectModel(f, a...); });
}

INSTANTIATE_TEST_SUITE_P(AllForms, Resample, ::testing::ValuesIn(kFns),
                         [](const ::testing::TestParamInfo<Fn>& i) { return std::string(i.param.name + 4); });

// ---- Worked values ---------------------------------------------------------------------------------

// Flat chroma comes back flat through the field weights: (3 v + v + 2) >> 2
// and (5 v + 3 v + 4) >> 3 are v.
TEST(InterlaceWorked, FlatChromaStaysFlat) {
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

// Samples 1, 2: the mean is 2 in a vector block and 1 in the row's tail.
TEST(ResampleWorked, PairMeanRoundsUpInBlocksAndDownInTheTail) {
    const Fn& f = kFns[5];  // 4:1:1 -> 4:2:0
    const int W = 4 * 40;   // 40 samples: vector up to 32, scalar 32 .. 38, sample 39 doubled
    ChromaLayout s(f.srcKind, f.srcSamp, W, 4), d(f.dstKind, f.dstSamp, W, 4);
    for (int i = 0; i < 40; ++i) s.at(1, i, 0) = s.at(2, i, 0) = uint8_t(1 + i % 2);
    Args a = argsOf(s, d);
    ASSERT_EQ(f.call(a, {W, 4}), celStatusOk);
    EXPECT_EQ(d.at(1, 1, 0), 2);   // (1 + 2 + 1) >> 1
    EXPECT_EQ(d.at(1, 65, 0), 1);  // (1 + 2) >> 1
    EXPECT_EQ(d.at(1, 78, 0), 2);
    EXPECT_EQ(d.at(1, 79, 0), 2);
    // width 4: one sample a row, out[0] and out[1] equal it
    ChromaLayout s4(f.srcKind, f.srcSamp, 4, 4), d4(f.dstKind, f.dstSamp, 4, 4);
    s4.randomize(9);
    Args a4 = argsOf(s4, d4);
    ASSERT_EQ(f.call(a4, {4, 4}), celStatusOk);
    for (int y = 0; y < 2; ++y) {
        EXPECT_EQ(d4.at(2, 0, y), s4.at(2, 0, 2 * y));
        EXPECT_EQ(d4.at(2, 1, y), s4.at(2, 0, 2 * y));
    }
}

}  // namespace
