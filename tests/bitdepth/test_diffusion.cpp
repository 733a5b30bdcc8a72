// Error diffusion of celiReduceBits_* (Floyd-Steinberg, Jarvis-Judice-Ninke,
// Stucki, with and without noise) against a model written from the
// formulas: every type form and channel form, level counts, widths that hit
// the four-sample passes, their tails and both, heights, negative steps;
// canaries around every row, the untouched alpha of AC4, the scratch
// contract; worked values and statuses.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "celcc.h"
#include "common/reduce_bits_model.h"

namespace {

using namespace rbmodel;

// ---- Model ------------------------------------------------------------------------
// The whole picture, channel after channel, each channel's rows top to
// bottom, left to right, with the error rows as plain arrays with two zero
// guards at either end.
template <class F>
struct Diffuse {
    using S = typename F::Src;
    using D = typename F::Dst;
    static constexpr bool sigSrc = std::is_same_v<S, int16_t>;

    static float top() { return F::fsrc ? 1.0f : (sizeof(S) == 1 ? 255.0f : 65535.0f); }
    static int satTop() { return F::dsig ? 32767 : (F::d8 ? 255 : 65535); }
    static int satBottom() { return F::dsig ? -32768 : 0; }

    // Output of grid value b: mode 1 rounds by half a code in the float
    // forms and 16s8u; stored in the element's low bits.
    static D out(float b, int mode) {
        const bool fs = mode == 1;
        const float M = F::d8 ? 255.0f : 65535.0f;
        int32_t t;
        if (F::fsrc)
            t = ti(fs ? b * M + 0.5f : b * M);
        else if (sizeof(S) == 2 && F::d8)
            t = ti(fs && sigSrc ? b + 0.5f : b) >> 8;
        else
            t = ti(b);
        if (F::dsig) t -= 32768;
        return static_cast<D>(t);
    }

    // src, dst: first row; steps in elements.  lastErr receives the error
    // row of the last row worked.
    static void run(Ch ch, const S* src, std::ptrdiff_t sStep, D* dst, std::ptrdiff_t dStep, int W, int H, int mode,
                    int noise, int levels, std::vector<float>* lastErr = nullptr) {
        const float L = float(levels - 1);
        float s, f;
        F::sf(L, s, f);
        const int nch = ch == C1 ? 1 : (ch == C4 ? 4 : 3), E = stride(ch);
        const NoiseTables nt(float(50 - noise) * s / 100.0f, float(50 + noise) * s / 100.0f);
        const bool alt = F::fsrc || (sigSrc && F::d8);
        const float floor = (mode == 1 && F::fsrc) ? 1.1920929e-7f : 0.0f;
        const bool stucki = mode == 3;
        const float w2[5] = {1, stucki ? 2.0f : 3.0f, stucki ? 4.0f : 5.0f, stucki ? 2.0f : 3.0f, 1};
        const float w1[5] = {stucki ? 2.0f : 3.0f, stucki ? 4.0f : 5.0f, stucki ? 8.0f : 7.0f, stucki ? 4.0f : 5.0f,
                             stucki ? 2.0f : 3.0f};
        const float w0[2] = {stucki ? 4.0f : 5.0f, stucki ? 8.0f : 7.0f};
        const float inv = stucki ? 0.023809524f : 0.020833334f;
        std::vector<float> e2(W + 4, 0.0f), e1(W + 4, 0.0f), cur(W + 4, 0.0f);  // index x + 2
        for (int c = 0; c < nch; ++c)
            for (int y = 0; y < H; ++y) {
                for (int x = 0; x < W; ++x) {
                    const float v = F::v(src[y * sStep + x * E + c]);
                    float e;
                    if (mode == 1) {
                        const float p1 = e1[x + 3], p0 = e1[x + 2], pm1 = e1[x + 1], cm1 = cur[x + 1];
                        const float sum = alt ? ((p1 * 3.0f + p0 * 5.0f) + pm1) + cm1 * 7.0f
                                              : ((p1 * 3.0f + pm1) + p0 * 5.0f) + cm1 * 7.0f;
                        e = sum * 0.0625f;
                    } else {
                        float t[4];
                        for (int k = 0; k < 4; ++k)
                            t[k] = (k < 2 ? cur[x + k] * w0[k] : 0.0f) + (e2[x + k] * w2[k] + e1[x + k] * w1[k]);
                        const float sum = (((t[0] + t[2]) + (t[1] + t[3])) + e2[x + 4]) + e1[x + 4] * w1[4];
                        e = sum * inv;
                    }
                    const float a = v + e;
                    D& o = dst[y * dStep + x * E + c];
                    if (a >= top()) {
                        o = static_cast<D>(satTop());
                        cur[x + 2] = 0.0f;
                    } else if (a < floor) {
                        o = static_cast<D>(satBottom());
                        cur[x + 2] = 0.0f;
                    } else {
                        float b = tr(a * f) * s;
                        const float th = noise ? nt.N[nt.index(x, y)] : 0.5f * s;
                        if (th < a - b) b = b + s;
                        cur[x + 2] = a - b;
                        o = out(b, mode);
                    }
                }
                if (mode == 1) {
                    std::swap(e1, cur);
                } else {
                    std::swap(e2, e1);  // e2 = previous y-1
                    std::swap(e1, cur); // e1 = this row, cur = old y-2
                }
            }
        if (lastErr) *lastErr = std::vector<float>(e1.begin() + 2, e1.end() - 2);
    }
};

template <class S>
std::vector<S> samples(size_t n, uint32_t seed) {
    std::mt19937 rng(seed);
    std::vector<S> v(n);
    for (auto& x : v) {
        const uint32_t r = rng();
        if constexpr (std::is_same_v<S, float>) {
            x = float(r >> 8) * (1.1f / 16777216.0f) - 0.05f;  // -0.05 .. 1.05
            if ((r & 15) == 0) x = (r & 16) ? 1.0f : 0.0f;
        } else {
            x = static_cast<S>(r);
            if ((r & 0x70000) == 0) x = (r & 0x80000) ? std::numeric_limits<S>::max() : std::numeric_limits<S>::min();
        }
    }
    return v;
}

// True if one of the error rows left in the scratch holds exactly the
// model's last row (bit for bit: the order of additions shows here long
// before it flips an output).
bool lastRowInScratch(const uint8_t* scratch, int W, int mode, int noise, const std::vector<float>& last) {
    const uint8_t* base =
        reinterpret_cast<const uint8_t*>((reinterpret_cast<uintptr_t>(scratch) + 63) & ~uintptr_t(63)) +
        (noise ? 6256 : 0);
    const int rowLen = mode == 1 ? W + 2 : W + 4, guard = mode == 1 ? 1 : 2, nRows = mode == 1 ? 2 : 3;
    for (int r = 0; r < nRows; ++r)
        if (std::memcmp(base + 4 * (r * rowLen + guard), last.data(), 4 * size_t(W)) == 0) return true;
    return false;
}

int scratchSize(Ch ch, int W, int noise, int mode) {
    int size = -1;
    const int code = ch == C1 ? 1 : ch == C3 ? 3 : ch == C4 ? 4 : 9;
    EXPECT_EQ(celiReduceBitsGetBufferSize(code, {W, 1}, noise, CelDitherMode(mode), &size), celStatusOk);
    return size;
}

// One configuration: the library against the model, element by element,
// with canaries after each row, AC4 alpha, and the bytes around the scratch
// block checked.  `flip` runs both images bottom-up with negative steps.
template <class F>
void check(Ch ch, int W, int H, int mode, int noise, int levels, uint32_t seed, bool flip = false) {
    using S = typename F::Src;
    using D = typename F::Dst;
    const int E = stride(ch);
    const int sStep = W * E + 2, dStep = W * E + 3;
    const auto src = samples<S>(size_t(sStep) * H, seed);
    const D fill = static_cast<D>(0x5A);
    std::vector<D> got(size_t(dStep) * H, fill), want(got);

    // the scratch, at every alignment, with NaN bytes inside and canaries around
    const int size = scratchSize(ch, W, noise, mode);
    const int lead = 64 + int(seed % 64);
    std::vector<uint8_t> block(size_t(lead) + size + 64, 0xFF);
    std::fill(block.begin(), block.begin() + lead, 0xC3);
    std::fill(block.begin() + lead + size, block.end(), 0xC3);

    const S* s0 = flip ? src.data() + size_t(H - 1) * sStep : src.data();
    D* d0 = flip ? got.data() + size_t(H - 1) * dStep : got.data();
    const int sgn = flip ? -1 : 1;
    ASSERT_EQ(call<F>(ch, s0, sgn * sStep * int(sizeof(S)), d0, sgn * dStep * int(sizeof(D)), {W, H}, noise, mode,
                      levels, block.data() + lead),
              celStatusOk);
    std::vector<float> last;
    Diffuse<F>::run(ch, flip ? s0 : src.data(), sgn * sStep, flip ? want.data() + size_t(H - 1) * dStep : want.data(),
                    sgn * dStep, W, H, mode, noise, levels, &last);

    for (size_t i = 0; i < got.size(); ++i) {
        if (got[i] == want[i]) continue;
        const int y = int(i / dStep), k = int(i % dStep);
        FAIL() << kChNames[ch] << " mode " << mode << " noise " << noise << " levels " << levels << " " << W << "x"
               << H << (flip ? " flipped" : "") << ": element " << k << " (pixel " << k / E << ", channel " << k % E
               << ") of row " << y << ": expected " << double(want[i]) << ", got " << double(got[i]);
    }
    ASSERT_TRUE(lastRowInScratch(block.data() + lead, W, mode, noise, last))
        << kChNames[ch] << " mode " << mode << " noise " << noise << " levels " << levels << " " << W << "x" << H
        << ": the error rows differ from the model's";
    for (int i = 0; i < lead; ++i) ASSERT_EQ(block[i], 0xC3) << "scratch written before its start";
    for (size_t i = size_t(lead) + size; i < block.size(); ++i) ASSERT_EQ(block[i], 0xC3) << "scratch overrun";
}

struct Shape {
    int w, h;
};
// Widths around the four-sample passes: body only, tail only, both.
const Shape kShapes[] = {{1, 1}, {1, 5}, {2, 3}, {3, 2}, {4, 4}, {5, 3}, {6, 1}, {7, 2},
                         {8, 3}, {9, 2}, {12, 1}, {13, 3}, {17, 2}, {33, 3}, {67, 5}};

template <class F>
class ErrorDiffusion : public ::testing::Test {};
using Forms = ::testing::Types<F8u, F16u, F16s, F16u8u, F16s8u, F32f8u, F32f16u, F32f16s>;
TYPED_TEST_SUITE(ErrorDiffusion, Forms);

TYPED_TEST(ErrorDiffusion, MatchesModelWithoutNoise) {
    const int levels[] = {2, 3, 7, 42, 200, TypeParam::maxLevels};
    uint32_t seed = 1;
    for (int mode : {1, 2, 3})
        for (Ch ch : {C1, C3, AC4, C4})
            for (const Shape& sh : kShapes) {
                check<TypeParam>(ch, sh.w, sh.h, mode, 0, levels[seed % 6], seed, seed % 5 == 0);
                if (::testing::Test::HasFatalFailure()) return;
                ++seed;
            }
}

TYPED_TEST(ErrorDiffusion, MatchesModelWithNoise) {
    const int levels[] = {2, 5, 17, TypeParam::maxLevels};
    uint32_t seed = 1000;
    for (int mode : {1, 2, 3})
        for (Ch ch : {C1, C3, AC4, C4})
            for (int noise : {1, 30, 100})
                for (const Shape& sh : kShapes) {
                    check<TypeParam>(ch, sh.w, sh.h, mode, noise, levels[seed % 4], seed, seed % 7 == 0);
                    if (::testing::Test::HasFatalFailure()) return;
                    ++seed;
                }
}

// Pictures with enough rows (of all channels together) and wide enough rows
// for several rows to be worked side by side, with rows left over, narrow
// and wide, every channel form.
const Shape kTallShapes[] = {{8, 16}, {12, 9}, {16, 16}, {17, 13}, {23, 25}, {40, 7}, {61, 30}, {130, 11}};

TYPED_TEST(ErrorDiffusion, ManyRowsMatchModel) {
    const int levels[] = {2, 6, 33, TypeParam::maxLevels};
    uint32_t seed = 3000;
    for (int mode : {1, 2, 3})
        for (Ch ch : {C1, C3, AC4, C4})
            for (int noise : {0, 45})
                for (const Shape& sh : kTallShapes) {
                    check<TypeParam>(ch, sh.w, sh.h, mode, noise, levels[seed % 4], seed, seed % 3 == 0);
                    if (::testing::Test::HasFatalFailure()) return;
                    ++seed;
                }
}

// Rows wider than the noise tables, so the position index wraps.
TYPED_TEST(ErrorDiffusion, WideRowsWithNoise) {
    for (int mode : {1, 3}) check<TypeParam>(C3, 1100, 3, mode, 60, 6, 77 + mode);
}

// A step that is no multiple of the element size loses its remainder.
TEST(ErrorDiffusionSteps, RemainderOfAStepIsDropped) {
    const int W = 9, H = 4;
    const auto src = samples<uint16_t>(size_t(W + 3) * H, 5);
    std::vector<uint16_t> a(size_t(W + 5) * H, 1), b(a);
    std::vector<uint8_t> scratch(scratchSize(C1, W, 0, 2));
    for (int mode : {1, 2}) {
        ASSERT_EQ(celiReduceBits_16u_C1R(src.data(), 2 * (W + 3), a.data(), 2 * (W + 5), {W, H}, 0,
                                         CelDitherMode(mode), 9, scratch.data()),
                  celStatusOk);
        ASSERT_EQ(celiReduceBits_16u_C1R(src.data(), 2 * (W + 3) + 1, b.data(), 2 * (W + 5) + 1, {W, H}, 0,
                                         CelDitherMode(mode), 9, scratch.data()),
                  celStatusOk);
        EXPECT_EQ(a, b);
    }
}

// ---- Worked values -----------------------------------------------------------------
// Width 1, mode 1: the error goes straight down through p[x] alone (5/16).
// 100, then 100 + 100*5/16 = 131.25 up to 255 (error -123.75), then
// 100 - 38.671875 = 61.33 down, 119.17 down, 137.24 up.
TEST(ErrorDiffusionWorked, WidthOneColumnPassesFiveSixteenthsDown) {
    std::vector<uint8_t> src(5, 100), dst(5, 7);
    std::vector<uint8_t> scratch(256);
    ASSERT_EQ(celiReduceBits_8u_C1R(src.data(), 1, dst.data(), 1, {1, 5}, 0, celDitherFloydSteinberg, 2, scratch.data()),
              celStatusOk);
    EXPECT_EQ(dst, (std::vector<uint8_t>{0, 255, 0, 0, 255}));
}

// Flat mid-grey at two levels: the first sample (no error yet) has
// remainder 128 over a threshold of 127.5 and goes up; the density follows
// the input in every mode, up to what leaves at the picture's edges.
TEST(ErrorDiffusionWorked, FlatFieldsKeepTheirMean) {
    const int W = 128, H = 128;
    std::vector<uint8_t> dst(W * H), scratch(4000);
    for (int mode : {1, 2, 3})
        for (int grey : {128, 64, 200, 13}) {
            std::vector<uint8_t> src(W * H, uint8_t(grey));
            ASSERT_EQ(celiReduceBits_8u_C1R(src.data(), W, dst.data(), W, {W, H}, 0, CelDitherMode(mode), 2,
                                            scratch.data()),
                      celStatusOk);
            if (grey == 128) EXPECT_EQ(dst[0], 255);
            const double mean = std::accumulate(dst.begin(), dst.end(), 0.0) / dst.size();
            EXPECT_NEAR(mean, grey, mode == 1 ? 0.5 : 1.5) << "mode " << mode << " grey " << grey;
            for (uint8_t v : dst) ASSERT_TRUE(v == 0 || v == 255);
        }
}

// Saturated inputs write the destination's extremes in every form and mode.
template <class S, class D>
void expectExtremes(CelStatus (*fn)(const S*, int, D*, int, CelSize, int, CelDitherMode, int, uint8_t*), S hi, S lo,
                    D topOut, D bottomOut) {
    const int W = 11;
    std::vector<uint8_t> scratch(8000);
    for (int mode : {1, 2, 3})
        for (int noise : {0, 100}) {
            std::vector<S> src(W * 3, hi);
            std::vector<D> dst(W * 3);
            ASSERT_EQ(fn(src.data(), int(W * sizeof(S)), dst.data(), int(W * sizeof(D)), {W, 3}, noise,
                         CelDitherMode(mode), 5, scratch.data()),
                      celStatusOk);
            for (D v : dst) ASSERT_EQ(v, topOut) << "mode " << mode << " noise " << noise;
            std::fill(src.begin(), src.end(), lo);
            ASSERT_EQ(fn(src.data(), int(W * sizeof(S)), dst.data(), int(W * sizeof(D)), {W, 3}, noise,
                         CelDitherMode(mode), 5, scratch.data()),
                      celStatusOk);
            if (noise == 0)  // noise 100 may push a zero remainder up
                for (D v : dst) ASSERT_EQ(v, bottomOut) << "mode " << mode;
        }
}

TEST(ErrorDiffusionWorked, SaturatedInputsWriteTheExtremes) {
    expectExtremes<uint8_t, uint8_t>(celiReduceBits_8u_C1R, 255, 0, 255, 0);
    expectExtremes<uint16_t, uint16_t>(celiReduceBits_16u_C1R, 65535, 0, 65535, 0);
    expectExtremes<int16_t, int16_t>(celiReduceBits_16s_C1R, 32767, -32768, 32767, -32768);
    expectExtremes<uint16_t, uint8_t>(celiReduceBits_16u8u_C1R, 65535, 0, 255, 0);
    expectExtremes<int16_t, uint8_t>(celiReduceBits_16s8u_C1R, 32767, -32768, 255, 0);
    expectExtremes<float, uint8_t>(celiReduceBits_32f8u_C1R, 2.0f, -1.0f, 255, 0);
    expectExtremes<float, uint16_t>(celiReduceBits_32f16u_C1R, 1.0f, -0.5f, 65535, 0);
    expectExtremes<float, int16_t>(celiReduceBits_32f16s_C1R, 1.5f, 0.0f, 32767, -32768);
}

// 32f8u: a sum of 1e-8 is bottom with no error under Floyd-Steinberg (the
// floor is one float epsilon); Jarvis-Judice-Ninke quantises it, and with
// noise 100 thresholds below 1e-8 push some samples up.
TEST(ErrorDiffusionWorked, FloatFloorOfFloydSteinberg) {
    const int W = 40, H = 20;
    std::vector<float> src(W * H, 1e-8f);
    std::vector<uint8_t> dst(W * H), scratch(16000);
    ASSERT_EQ(celiReduceBits_32f8u_C1R(src.data(), W * 4, dst.data(), W, {W, H}, 100, celDitherFloydSteinberg, 2,
                                       scratch.data()),
              celStatusOk);
    EXPECT_EQ(std::count(dst.begin(), dst.end(), 0), W * H);
    ASSERT_EQ(celiReduceBits_32f8u_C1R(src.data(), W * 4, dst.data(), W, {W, H}, 100, celDitherJarvisJudiceNinke, 2,
                                       scratch.data()),
              celStatusOk);
    EXPECT_GT(std::count(dst.begin(), dst.end(), 255), 0);
}

// Noise 100 spreads the threshold over -50% .. 150% of a step: a flat field
// on the grid keeps no sample up without noise, some with it.
TEST(ErrorDiffusionWorked, NoiseHundredMovesSamplesOnTheGrid) {
    const int W = 32, H = 8;
    std::vector<uint8_t> src(W * H, 0), dst(W * H), scratch(16000);
    for (int mode : {1, 2, 3}) {
        ASSERT_EQ(celiReduceBits_8u_C1R(src.data(), W, dst.data(), W, {W, H}, 0, CelDitherMode(mode), 4, scratch.data()),
                  celStatusOk);
        EXPECT_EQ(std::count(dst.begin(), dst.end(), 0), W * H);
        ASSERT_EQ(celiReduceBits_8u_C1R(src.data(), W, dst.data(), W, {W, H}, 100, CelDitherMode(mode), 4,
                                        scratch.data()),
                  celStatusOk);
        EXPECT_GT(std::count(dst.begin(), dst.end(), 85), 0) << "mode " << mode;
    }
}

// Channels share the error rows: channel 1 starts where channel 0 ended.
// With channel 0 on grid values the rows are zero and channel 1 comes out as
// if alone; otherwise its first rows differ.
TEST(ErrorDiffusionWorked, ChannelsContinueTheErrorRows) {
    const int W = 23, H = 6;
    auto rgb = samples<uint8_t>(W * H * 3, 9);
    std::vector<uint8_t> plane(W * H), alone(W * H), out(W * H * 3), scratch(16000);
    for (int i = 0; i < W * H; ++i) plane[i] = rgb[3 * i + 1];
    for (int mode : {1, 2, 3}) {
        ASSERT_EQ(celiReduceBits_8u_C1R(plane.data(), W, alone.data(), W, {W, H}, 0, CelDitherMode(mode), 2,
                                        scratch.data()),
                  celStatusOk);
        for (int i = 0; i < W * H; ++i) rgb[3 * i] = (i & 1) ? 255 : 0;
        ASSERT_EQ(celiReduceBits_8u_C3R(rgb.data(), 3 * W, out.data(), 3 * W, {W, H}, 0, CelDitherMode(mode), 2,
                                        scratch.data()),
                  celStatusOk);
        int same = 0;
        for (int i = 0; i < W * H; ++i) same += out[3 * i + 1] == alone[i];
        EXPECT_EQ(same, W * H) << "mode " << mode;
        for (int i = 0; i < W * H; ++i) rgb[3 * i] = 100;
        ASSERT_EQ(celiReduceBits_8u_C3R(rgb.data(), 3 * W, out.data(), 3 * W, {W, H}, 0, CelDitherMode(mode), 2,
                                        scratch.data()),
                  celStatusOk);
        same = 0;
        for (int i = 0; i < W * H; ++i) same += out[3 * i + 1] == alone[i];
        EXPECT_LT(same, W * H) << "mode " << mode;
    }
}

// Modes 2 and 3 differ (divisor 48 against 42), and equal arguments give
// equal pictures whatever the scratch held and wherever it sits.
TEST(ErrorDiffusionWorked, ModesDifferAndCallsRepeat) {
    const int W = 37, H = 9;
    const auto src = samples<uint16_t>(W * H * 4, 12);
    std::vector<uint8_t> a(W * H * 4), b(a.size()), c(a.size());
    std::vector<uint8_t> s1(20000, 0x00), s2(20000, 0xFF);
    for (int noise : {0, 25}) {
        ASSERT_EQ(celiReduceBits_16u8u_C4R(src.data(), W * 8, a.data(), W * 4, {W, H}, noise, celDitherJarvisJudiceNinke,
                                           6, s1.data()),
                  celStatusOk);
        ASSERT_EQ(celiReduceBits_16u8u_C4R(src.data(), W * 8, b.data(), W * 4, {W, H}, noise, celDitherStucki, 6,
                                           s1.data() + 5),
                  celStatusOk);
        ASSERT_EQ(celiReduceBits_16u8u_C4R(src.data(), W * 8, c.data(), W * 4, {W, H}, noise, celDitherJarvisJudiceNinke,
                                           6, s2.data() + 17),
                  celStatusOk);
        EXPECT_NE(a, b);
        EXPECT_EQ(a, c);
    }
}

// The scratch holds what its layout says: from the 64-byte aligned base the
// noise table, the position table, and at 6256 the error rows with their
// guards still zero; the last row's errors are in one of the rows.
TEST(ErrorDiffusionScratch, LayoutFollowsTheContract) {
    const int W = 10, H = 3, levels = 6, noise = 40;
    const auto src = samples<uint8_t>(W * H, 31);
    std::vector<uint8_t> dst(W * H), want(W * H);
    for (int mode : {1, 3}) {
        std::vector<uint8_t> block(scratchSize(C1, W, noise, mode) + 64, 0xFF);
        uint8_t* scratch = block.data() + 3;
        ASSERT_EQ(celiReduceBits_8u_C1R(src.data(), W, dst.data(), W, {W, H}, noise, CelDitherMode(mode), levels,
                                        scratch),
                  celStatusOk);
        std::vector<float> last;
        Diffuse<F8u>::run(C1, src.data(), W, want.data(), W, W, H, mode, noise, levels, &last);
        ASSERT_EQ(dst, want);
        const uint8_t* base =
            reinterpret_cast<const uint8_t*>((reinterpret_cast<uintptr_t>(scratch) + 63) & ~uintptr_t(63));
        float s, f;
        F8u::sf(float(levels - 1), s, f);
        const NoiseTables nt(float(50 - noise) * s / 100.0f, float(50 + noise) * s / 100.0f);
        for (int i = 0; i < 1024; ++i) {
            float n;
            uint16_t p;
            std::memcpy(&n, base + 4 * i, 4);
            std::memcpy(&p, base + 4096 + 2 * i, 2);
            ASSERT_EQ(n, nt.N[i]);
            ASSERT_EQ(int(p), nt.P[i]);
        }
        const int rowLen = mode == 1 ? W + 2 : W + 4, guard = mode == 1 ? 1 : 2, nRows = mode == 1 ? 2 : 3;
        std::vector<float> rows(nRows * rowLen);
        std::memcpy(rows.data(), base + 6256, rows.size() * 4);
        int found = 0;
        for (int r = 0; r < nRows; ++r) {
            const float* row = rows.data() + r * rowLen;
            for (int g = 0; g < guard; ++g) {
                EXPECT_EQ(row[g], 0.0f);
                EXPECT_EQ(row[rowLen - 1 - g], 0.0f);
            }
            found += std::equal(last.begin(), last.end(), row + guard);
        }
        EXPECT_EQ(found, 1) << "mode " << mode;
    }
}

// ---- Statuses ----------------------------------------------------------------------
TEST(ErrorDiffusionChecks, NullScratchFailsBeforeAnyRowInEveryVariant) {
    const int W = 8, H = 2;
    std::vector<float> src(W * H * 4, 0.5f);
    std::vector<int16_t> dst(W * H * 4, 0x1234);
    for (int mode : {1, 2, 3})
        for (int noise : {0, 1, 100}) {
            EXPECT_EQ(celiReduceBits_32f16s_C4R(src.data(), W * 16, dst.data(), W * 8, {W, H}, noise,
                                                CelDitherMode(mode), 3, nullptr),
                      celStatusNullPointer);
            EXPECT_EQ(celiReduceBits_32f16s_AC4R(src.data(), W * 16, dst.data(), W * 8, {W, H}, noise,
                                                 CelDitherMode(mode), 3, nullptr),
                      celStatusNullPointer);
        }
    for (int16_t v : dst) ASSERT_EQ(v, 0x1234);
}

TEST(ErrorDiffusionChecks, FrameChecksComeFirst) {
    uint8_t src[8] = {}, dst[8];
    std::memset(dst, 0x33, sizeof dst);
    uint8_t scratch[512];
    const CelSize ok{8, 1};
    EXPECT_EQ(celiReduceBits_8u_C1R(src, 8, dst, 8, ok, 101, celDitherStucki, 2, nullptr), celStatusBadNoise);
    EXPECT_EQ(celiReduceBits_8u_C1R(src, 8, dst, 8, ok, 0, celDitherStucki, 1, nullptr), celStatusBadLevels);
    EXPECT_EQ(celiReduceBits_8u_C1R(src, 8, dst, 8, {8, 0}, 0, celDitherFloydSteinberg, 2, nullptr), celStatusBadSize);
    EXPECT_EQ(celiReduceBits_8u_C1R(nullptr, 8, dst, 8, ok, 0, celDitherFloydSteinberg, 2, scratch),
              celStatusNullPointer);
    for (uint8_t v : dst) EXPECT_EQ(v, 0x33);
    EXPECT_EQ(celiReduceBits_8u_C1R(src, 8, dst, 8, ok, 0, celDitherFloydSteinberg, 2, scratch), celStatusOk);
}

}  // namespace
