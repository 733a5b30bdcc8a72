// Bit-depth reduction (celiReduceBits_*): every form against a model from
// the formulas (tests/common/reduce_bits_model.h), the path without dither
// over whole input spaces, and the one-bit form against its own model.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "celcc.h"
#include "common/image_buffer.h"
#include "common/model_canvas.h"
#include "common/reduce_bits_model.h"

namespace {

using namespace rbmodel;
using celtest::Canvas;
using celtest::checkCanvas;
using celtest::ImageBuffer;

// ==== Every form and mode =====================================================
// celiReduceBits_* against a model from the formulas: no dither, ordered
// dither and the three diffusions, with and without noise, every type and
// channel form, level counts, width classes, heights, both step signs,
// steps with a remainder;
// canaries, AC4 alpha, the scratch contract; worked values; the statuses
// the robustness rows cannot draw (they never pass a null scratch).
const float kBayer[4][4] = {{0 / 15.f, 8 / 15.f, 2 / 15.f, 10 / 15.f},
                            {12 / 15.f, 4 / 15.f, 14 / 15.f, 6 / 15.f},
                            {3 / 15.f, 11 / 15.f, 1 / 15.f, 9 / 15.f},
                            {15 / 15.f, 7 / 15.f, 13 / 15.f, 5 / 15.f}};

// The whole picture, channel after channel, each channel's rows top to
// bottom, left to right; the diffusion's error rows are plain arrays with
// two zero guards at either end.
template <class F>
struct Reduce {
    using S = typename F::Src;
    using D = typename F::Dst;
    static constexpr bool sigSrc = std::is_same_v<S, int16_t>;

    static float top() { return F::fsrc ? 1.0f : (sizeof(S) == 1 ? 255.0f : 65535.0f); }
    static int satTop() { return F::dsig ? 32767 : (F::d8 ? 255 : 65535); }
    static int satBottom() { return F::dsig ? -32768 : 0; }

    // Diffusion output of grid value b: mode 1 rounds by half a code in the
    // float forms and 16s8u; stored in the element's low bits.
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

    // Ordered dither of channel c of pixel (x, y); C4 with noise takes the
    // matrix alone (first channel only, but for bytes) in the last partial group.
    static int ordered(Ch ch, S sample, int x, int y, int c, int width, float s, float f, int noise,
                       const NoiseTables& nt) {
        const float v = F::v(sample), m = kBayer[y & 3][x & 3];
        float t = m * s;
        if (noise && ch == C4 && x >= width - width % 4)
            t = (sizeof(S) == 1 || c == 0) ? m : 0.0f;
        else if (noise)
            t = (nt.N[nt.index(x, y)] + m) * s;
        float b = tr(v * f) * s;
        if (t < v - b) b = b + s;
        return F::out(b, noise && ch != C4);
    }

    // src, dst: first row; steps in elements.  lastErr receives the error
    // row of the last row worked.
    static void run(Ch ch, const S* src, std::ptrdiff_t sStep, D* dst, std::ptrdiff_t dStep, int W, int H, int mode,
                    int noise, int levels, std::vector<float>* lastErr = nullptr) {
        const float L = float(levels - 1);
        float s, f;
        F::sf(L, s, f);
        const int nch = ch == C1 ? 1 : (ch == C4 ? 4 : 3), E = stride(ch);
        if (mode == 0 || mode == 4) {
            const NoiseTables nt(float(-noise) / 100.0f, float(noise) / 100.0f);
            for (int y = 0; y < H; ++y)
                for (int x = 0; x < W; ++x)
                    for (int c = 0; c < nch; ++c) {
                        const S v = src[y * sStep + x * E + c];
                        dst[y * dStep + x * E + c] =
                            D(mode == 0 ? F::plain(v, L) : ordered(ch, v, x, y, c, W, s, f, noise, nt));
                    }
            return;
        }
        const NoiseTables nt(float(50 - noise) * s / 100.0f, float(50 + noise) * s / 100.0f);
        const bool alt = F::fsrc || (sigSrc && F::d8);
        const float floor = (mode == 1 && F::fsrc) ? 1.1920929e-7f : 0.0f;
        const bool st = mode == 3;  // Stucki, else Jarvis-Judice-Ninke
        const float w2[5] = {1, st ? 2.0f : 3.0f, st ? 4.0f : 5.0f, st ? 2.0f : 3.0f, 1};
        const float w1[5] = {st ? 2.0f : 3.0f, st ? 4.0f : 5.0f, st ? 8.0f : 7.0f, st ? 4.0f : 5.0f, st ? 2.0f : 3.0f};
        const float w0[2] = {st ? 4.0f : 5.0f, st ? 8.0f : 7.0f};
        const float inv = st ? 0.023809524f : 0.020833334f;
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
                        e = ((((t[0] + t[2]) + (t[1] + t[3])) + e2[x + 4]) + e1[x + 4] * w1[4]) * inv;
                    }
                    const float a = v + e;
                    D& o = dst[y * dStep + x * E + c];
                    cur[x + 2] = 0.0f;
                    if (a >= top()) {
                        o = static_cast<D>(satTop());
                    } else if (a < floor) {
                        o = static_cast<D>(satBottom());
                    } else {
                        float b = tr(a * f) * s;
                        const float th = noise ? nt.N[nt.index(x, y)] : 0.5f * s;
                        if (th < a - b) b = b + s;
                        cur[x + 2] = a - b;
                        o = out(b, mode);
                    }
                }
                if (mode != 1) std::swap(e2, e1);  // e2: the row above the one just done
                std::swap(e1, cur);
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

int scratchSize(Ch ch, int W, int noise, int mode) {
    int size = -1;
    const int code = ch == C1 ? 1 : ch == C3 ? 3 : ch == C4 ? 4 : 9;
    EXPECT_EQ(celiReduceBitsGetBufferSize(code, {W, 1}, noise, CelDitherMode(mode), &size), celStatusOk);
    return size;
}

// The error rows in the scratch: from the 64-byte aligned base, past the
// noise block (6256 bytes) where there is noise; rows of W plus guards.
const float* errorRows(const uint8_t* scratch, int noise) {
    const auto base = (reinterpret_cast<uintptr_t>(scratch) + 63) & ~uintptr_t(63);
    return reinterpret_cast<const float*>(base + (noise ? 6256 : 0));
}

// One configuration: the library against the model, element by element, on
// a canvas around the region, AC4 alpha, the bytes around the scratch block
// and (diffusion) the last error row in the scratch bit for bit: the order
// of additions shows there long before it flips an output.  `flip` runs both
// images bottom-up with negative steps.
template <class F>
void check(Ch ch, int W, int H, int mode, int noise, int levels, uint32_t seed, bool flip = false) {
    using S = typename F::Src;
    using D = typename F::Dst;
    const int E = stride(ch), sStep = W * E + 2;
    const auto src = samples<S>(size_t(sStep) * H, seed);
    // the scratch, at every alignment, with NaN bytes inside and canaries around
    const int size = scratchSize(ch, W, noise, mode), lead = 64 + int(seed % 64);
    std::vector<uint8_t> block(size_t(lead) + size + 64, 0xFF);
    std::fill(block.begin(), block.begin() + lead, 0xC3);
    std::fill(block.begin() + lead + size, block.end(), 0xC3);
    const S* s0 = src.data() + (flip ? size_t(H - 1) * sStep : 0);
    const int sgn = flip ? -1 : 1;
    // the diffusions and the ordered dither but for C4 drop the remainder of
    // a step that is no multiple of the element size
    const bool drops = !flip && ((mode >= 1 && mode <= 3) || (mode == 4 && ch != C4));
    const int rs = drops ? int(seed % sizeof(S)) : 0, rd = drops ? int(seed / 2 % sizeof(D)) : 0;
    const std::string where = std::string(kChNames[ch]) + " mode " + std::to_string(mode) + " noise " +
                              std::to_string(noise) + " levels " + std::to_string(levels) + " " + std::to_string(W) +
                              "x" + std::to_string(H);
    std::vector<float> last;
    Canvas<D> dst(E, W, H, 1, seed, flip);
    checkCanvas(
        dst,
        [&](Canvas<D>& d) {
            return call<F>(ch, s0, sgn * sStep * int(sizeof(S)) + rs, d.base(), int(d.step()) + rd, {W, H}, noise,
                           mode, levels, block.data() + lead);
        },
        [&](Canvas<D>& e) {
            Reduce<F>::run(ch, s0, sgn * sStep, e.base(), e.step() / int(sizeof(D)), W, H, mode, noise, levels, &last);
        },
        where);
    if (::testing::Test::HasFatalFailure()) return;
    if (mode >= 1 && mode <= 3) {
        const float* rows = errorRows(block.data() + lead, noise);
        const int rowLen = mode == 1 ? W + 2 : W + 4, guard = mode == 1 ? 1 : 2;
        bool found = false;
        for (int r = 0; r < (mode == 1 ? 2 : 3); ++r)
            found |= std::memcmp(rows + r * rowLen + guard, last.data(), 4 * size_t(W)) == 0;
        ASSERT_TRUE(found) << where << ": the error rows differ from the model's";
    }
    for (int i = 0; i < lead; ++i) ASSERT_EQ(block[i], 0xC3) << "scratch written before its start";
    for (size_t i = size_t(lead) + size; i < block.size(); ++i) ASSERT_EQ(block[i], 0xC3) << "scratch overrun";
}

struct Shape {
    int w, h;
};
// Widths around the four- and sixteen-element passes: body only, tail only, both.
const Shape kShapes[] = {{1, 1}, {1, 5}, {2, 3}, {3, 2}, {4, 4},  {5, 3},  {6, 1},  {7, 2}, {8, 3},
                         {9, 2}, {12, 1}, {13, 3}, {16, 5}, {17, 2}, {23, 5}, {33, 3}, {67, 5}};
// Enough rows (of all channels together) and wide enough rows for several
// rows to be diffused side by side, with rows left over.
const Shape kTallShapes[] = {{8, 16}, {12, 9}, {16, 16}, {17, 13}, {23, 25}, {40, 7}, {61, 30}, {130, 11}};

template <class F>
class ReduceBits : public ::testing::Test {};
using Forms = ::testing::Types<F8u, F16u, F16s, F16u8u, F16s8u, F32f8u, F32f16u, F32f16s>;
TYPED_TEST_SUITE(ReduceBits, Forms);

// Modes 0 (no dither: noise ignored), 4 (ordered), 1 to 3 (diffusion).
TYPED_TEST(ReduceBits, EveryModeMatchesTheModel) {
    const int levels[] = {2, 3, 5, 7, 17, 42, 200, TypeParam::maxLevels};
    uint32_t seed = 1;
    for (int mode : {0, 4, 1, 2, 3})
        for (Ch ch : {C1, C3, AC4, C4})
            for (int noise : {0, 1, 37, 100})
                for (const Shape& sh : kShapes) {
                    check<TypeParam>(ch, sh.w, sh.h, mode, noise, levels[seed % 8], seed, seed % 5 == 0);
                    if (::testing::Test::HasFatalFailure()) return;
                    ++seed;
                }
    for (int mode : {1, 2, 3})
        for (Ch ch : {C1, C3, AC4, C4})
            for (int noise : {0, 45})
                for (const Shape& sh : kTallShapes) {
                    check<TypeParam>(ch, sh.w, sh.h, mode, noise, levels[seed % 8], seed, seed % 3 == 0);
                    if (::testing::Test::HasFatalFailure()) return;
                    ++seed;
                }
    // rows wider than the noise tables: the position index wraps
    for (int mode : {1, 3, 4}) check<TypeParam>(C3, 1100, 3, mode, 60, 6, 77 + mode);
}

// ---- Worked values
TEST(ReduceBitsWorked, Byte255WithoutDitherFallsTo254ForThirtyEightLevelCounts) {
    std::vector<int> hits;
    for (int L = 1; L <= 255; ++L) {
        const uint8_t b = 255;
        const uint16_t w = 65535;
        uint8_t d = 0, d8 = 0;
        ASSERT_EQ(celiReduceBits_8u_C1R(&b, 1, &d, 1, {1, 1}, 0, celDitherOff, L + 1, nullptr), celStatusOk);
        ASSERT_EQ(celiReduceBits_16u8u_C1R(&w, 2, &d8, 1, {1, 1}, 0, celDitherOff, L + 1, nullptr), celStatusOk);
        if (d == 254) hits.push_back(L);
        EXPECT_EQ(d8, d) << "16u8u follows 8u for L " << L;
    }
    EXPECT_EQ(hits.size(), 38u);
    for (int L : {41, 47, 55, 61, 82}) EXPECT_NE(std::find(hits.begin(), hits.end(), L), hits.end()) << L;
}

// Width 1, mode 1: the error goes straight down through p[x] alone (5/16).
// 100, then 100 + 100*5/16 = 131.25 up to 255 (error -123.75), then
// 100 - 38.671875 = 61.33 down, 119.17 down, 137.24 up.
TEST(ReduceBitsWorked, WidthOneColumnPassesFiveSixteenthsDown) {
    std::vector<uint8_t> src(5, 100), dst(5, 7), scratch(256);
    ASSERT_EQ(celiReduceBits_8u_C1R(src.data(), 1, dst.data(), 1, {1, 5}, 0, celDitherFloydSteinberg, 2, scratch.data()),
              celStatusOk);
    EXPECT_EQ(dst, (std::vector<uint8_t>{0, 255, 0, 0, 255}));
}

// Flat mid-grey at two levels: the first sample (no error yet) has
// remainder 128 over a threshold of 127.5 and goes up, in every mode.
TEST(ReduceBitsWorked, FlatGreyFirstSampleGoesUp) {
    std::vector<uint8_t> src(64, 128), dst(64), scratch(4000);
    for (int mode : {1, 2, 3}) {
        ASSERT_EQ(celiReduceBits_8u_C1R(src.data(), 8, dst.data(), 8, {8, 8}, 0, CelDitherMode(mode), 2, scratch.data()),
                  celStatusOk);
        EXPECT_EQ(dst[0], 255) << "mode " << mode;
    }
}

// 32f8u: a sum of 1e-8 is bottom with no error under Floyd-Steinberg (the
// floor is one float epsilon); Jarvis-Judice-Ninke quantises it, and with
// noise 100 thresholds below 1e-8 push some samples up.
TEST(ReduceBitsWorked, FloatFloorOfFloydSteinberg) {
    const int W = 40, H = 20;
    std::vector<float> src(W * H, 1e-8f);
    std::vector<uint8_t> dst(W * H), scratch(16000);
    for (CelDitherMode m : {celDitherFloydSteinberg, celDitherJarvisJudiceNinke}) {
        ASSERT_EQ(celiReduceBits_32f8u_C1R(src.data(), W * 4, dst.data(), W, {W, H}, 100, m, 2, scratch.data()),
                  celStatusOk);
        if (m == celDitherFloydSteinberg)
            EXPECT_EQ(std::count(dst.begin(), dst.end(), 0), W * H);
        else
            EXPECT_GT(std::count(dst.begin(), dst.end(), 255), 0);
    }
}

// The scratch holds what its layout says: from the 64-byte aligned base the
// noise table, the position table, and at 6256 the error rows with their
// guards still zero (the last row's errors are checked with every model run).
TEST(ReduceBitsScratch, LayoutFollowsTheContract) {
    const int W = 10, H = 3, levels = 6, noise = 40;
    const auto src = samples<uint8_t>(W * H, 31);
    std::vector<uint8_t> dst(W * H);
    for (int mode : {1, 3}) {
        std::vector<uint8_t> block(scratchSize(C1, W, noise, mode) + 64, 0xFF);
        uint8_t* scratch = block.data() + 3;
        ASSERT_EQ(celiReduceBits_8u_C1R(src.data(), W, dst.data(), W, {W, H}, noise, CelDitherMode(mode), levels,
                                        scratch),
                  celStatusOk);
        const auto* base = reinterpret_cast<const uint8_t*>(errorRows(scratch, 0));
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
        const int rowLen = mode == 1 ? W + 2 : W + 4, guard = mode == 1 ? 1 : 2;
        const float* rows = errorRows(scratch, noise);
        for (int r = 0; r < (mode == 1 ? 2 : 3); ++r)
            for (int g = 0; g < guard; ++g) {
                EXPECT_EQ(rows[r * rowLen + g], 0.0f);
                EXPECT_EQ(rows[r * rowLen + rowLen - 1 - g], 0.0f);
            }
    }
}

// 0 without noise or diffusion, 6336 for the noise block, error rows of 2W + 4
// (Floyd-Steinberg) or 3W + 12 floats; the widest widths wrap as 32-bit
// counts in unsigned arithmetic (a signed product overflowed there).
TEST(ReduceBitsBufferSize, SizesPerModeAndWidth) {
    int size = -1;
    const auto sizeOf = [&](int code, CelSize roi, int noise, int mode) {
        EXPECT_EQ(celiReduceBitsGetBufferSize(code, roi, noise, CelDitherMode(mode), &size), celStatusOk);
        return uint32_t(size);
    };
    for (int code : {1, 3, 4, 9})
        for (int w : {1, 17, 1920})
            for (int noise : {0, 1, 3, 50, 100})
                for (int mode : {0, 1, 2, 3, 4}) {
                    const uint32_t noiseBlock = noise ? 6336 : 64;
                    const uint32_t want = mode == 0 ? 0 : mode == 4 ? (noise ? 6336 : 0)
                                        : mode == 1 ? 4 * (2 * w + 4) + noiseBlock
                                                    : 4 * (3 * w + 12) + noiseBlock;
                    EXPECT_EQ(sizeOf(code, {w, mode == 0 ? 0 : 5}, noise, mode), want)
                        << code << " w " << w << " noise " << noise << " mode " << mode;
                }
    for (int32_t w : {178956967, 178956968, 268435453, 268435454, 1 << 30, INT32_MAX})
        for (int noise : {0, 1}) {
            const uint32_t uw = static_cast<uint32_t>(w), tail = noise ? 6336u : 64u;
            EXPECT_EQ(sizeOf(4, {w, 0}, noise, 1), 4u * (2u * uw + 4u) + tail) << w;
            for (int m : {2, 3}) EXPECT_EQ(sizeOf(9, {w, -5}, noise, m), 4u * (3u * uw + 12u) + tail) << w;
        }
}

// The dither mode crosses the interface as a 32-bit integer; in C++ the
// enumeration has that as its fixed underlying type, so an unknown mode is a
// value of the type and the mode check runs on defined ground.
static_assert(std::is_same_v<std::underlying_type_t<CelDitherMode>, int32_t>, "CelDitherMode is a 32-bit integer");

// Noise, levels and size come before the scratch; the scratch is needed for
// noise and error diffusion only, and its absence writes nothing in any form.
TEST(ReduceBitsChecks, ScratchIsNeededForNoiseAndErrorDiffusionOnly) {
    uint8_t src[8] = {}, dst[8], scratch[512];
    std::memset(dst, 0x33, sizeof dst);
    const auto r8 = [&](CelSize roi, int noise, CelDitherMode m, int levels, uint8_t* sc) {
        return celiReduceBits_8u_C1R(src, 8, dst, 8, roi, noise, m, levels, sc);
    };
    EXPECT_EQ(r8({8, 1}, 101, celDitherStucki, 2, nullptr), celStatusBadNoise);
    EXPECT_EQ(r8({8, 1}, 0, celDitherStucki, 1, nullptr), celStatusBadLevels);
    EXPECT_EQ(r8({8, 0}, 0, celDitherFloydSteinberg, 2, nullptr), celStatusBadSize);
    EXPECT_EQ(celiReduceBits_8u_C1R(nullptr, 8, dst, 8, {8, 1}, 0, celDitherFloydSteinberg, 2, scratch),
              celStatusNullPointer);
    EXPECT_EQ(r8({4, 1}, 1, celDitherOrdered, 2, nullptr), celStatusNullPointer);
    EXPECT_EQ(r8({4, 1}, 0, celDitherFloydSteinberg, 2, nullptr), celStatusNullPointer);
    for (uint8_t v : dst) ASSERT_EQ(v, 0x33);
    EXPECT_EQ(r8({4, 1}, 0, celDitherOrdered, 2, nullptr), celStatusOk);
    EXPECT_EQ(r8({4, 1}, 100, celDitherOff, 2, nullptr), celStatusOk);
    EXPECT_EQ(r8({8, 1}, 0, celDitherFloydSteinberg, 2, scratch), celStatusOk);
    std::vector<float> fsrc(8 * 2 * 4, 0.5f);
    std::vector<int16_t> fdst(8 * 2 * 4, 0x1234);
    for (int mode : {1, 2, 3})
        for (int noise : {0, 1, 100}) {
            EXPECT_EQ(celiReduceBits_32f16s_C4R(fsrc.data(), 128, fdst.data(), 64, {8, 2}, noise, CelDitherMode(mode),
                                                3, nullptr),
                      celStatusNullPointer);
            EXPECT_EQ(celiReduceBits_32f16s_AC4R(fsrc.data(), 128, fdst.data(), 64, {8, 2}, noise, CelDitherMode(mode),
                                                 3, nullptr),
                      celStatusNullPointer);
        }
    for (int16_t v : fdst) ASSERT_EQ(v, 0x1234);
}

// ==== Whole input spaces without dither =======================================
// The path without dither on whole input spaces: every 8- and 16-bit source
// value for every byte level count (a spread for 16-bit destinations), every
// float near each grid and half-grid point and the special values, through
// the sixteen-wide body, the groups of four and the tail.
namespace sweep {
// 16 + 16 + 4 + 4 + 2 elements a row: two sixteen-wide steps, two groups
// of four and a tail of two (C3: 14 pixels).
constexpr int kRow = 42;

// Runs `samples` through the C1 and C3 forms as rows of kRow elements and
// fails at the first mismatch.
template <class F>
void sweep(const std::vector<typename F::Src>& samples, int levels) {
    using S = typename F::Src;
    using D = typename F::Dst;
    const size_t n = samples.size();
    std::vector<int> want(n);
    for (size_t i = 0; i < n; ++i) want[i] = F::plain(samples[i], float(levels - 1));
    for (Ch ch : {C1, C3}) {
        const int w = kRow / stride(ch), per = w * stride(ch), rows = int((n + per - 1) / per);
        std::vector<S> src(size_t(rows) * per);
        for (size_t i = 0; i < src.size(); ++i) src[i] = samples[i % n];
        std::vector<D> dst(src.size() + 1, D(0x5A));
        ASSERT_EQ(call<F>(ch, src.data(), per * int(sizeof(S)), dst.data(), per * int(sizeof(D)), {w, rows}, 0, 0,
                          levels, nullptr),
                  celStatusOk);
        for (size_t i = 0; i < src.size(); ++i)
            if (int(dst[i]) != want[i % n])
                FAIL() << kChNames[ch] << " levels " << levels << " element " << i << " got " << int(dst[i])
                       << " want " << want[i % n];
        ASSERT_EQ(dst.back(), D(0x5A)) << "wrote past the image";
    }
}

template <class S>
std::vector<S> everyValue() {
    std::vector<S> v;
    for (int64_t i = std::numeric_limits<S>::min(); i <= std::numeric_limits<S>::max(); ++i) v.push_back(S(i));
    return v;
}

std::vector<int> byteLevels() {
    std::vector<int> v;
    for (int l = 2; l <= 256; ++l) v.push_back(l);
    return v;
}
template <class F>
void sweepLevels(const std::vector<int>& levelList) {
    const auto values = everyValue<typename F::Src>();
    for (int levels : levelList) {
        sweep<F>(values, levels);
        if (::testing::Test::HasFatalFailure()) return;
    }
}

TEST(ReduceBitsSweep, EveryByteForEveryLevelCount) { sweepLevels<F8u>(byteLevels()); }
TEST(ReduceBitsSweep, Every16uValueToBytesForEveryLevelCount) { sweepLevels<F16u8u>(byteLevels()); }
TEST(ReduceBitsSweep, Every16sValueToBytesForEveryLevelCount) { sweepLevels<F16s8u>(byteLevels()); }
TEST(ReduceBitsSweep, Every16bitValueTo16bitForSpreadLevelCounts) {
    sweepLevels<F16u>({2, 3, 17, 256, 257, 1000, 1024, 4096, 40000, 65535, 65536});
    sweepLevels<F16s>({2, 3, 17, 256, 257, 1000, 1024, 4096, 40000, 65535, 65536});
}

// Floats within 40 steps of each grid point k / L and half-grid point
// (k + 0.5) / L for k in -1 .. L + 1 and of the points where L * x or the
// byte scaling leaves the 32-bit integers, and the special values.
std::vector<float> floatsNearGrid(int L) {
    using lim = std::numeric_limits<float>;
    std::vector<float> v = {0.0f, -0.0f, lim::infinity(), -lim::infinity(), lim::quiet_NaN(), -lim::quiet_NaN(),
                            lim::denorm_min(), -lim::denorm_min(), lim::max(), -lim::max(), 3e9f, -3e9f, 1e5f, -1e5f};
    std::vector<float> centres = {2147483648.0f / float(L), -2147483648.0f / float(L), 2147483648.0f / 255.0f};
    for (int k = -1; k <= L + 1; ++k) centres.push_back(float(k) / float(L)), centres.push_back((float(k) + 0.5f) / float(L));
    for (float c : centres) {
        float f = c;
        for (int i = 0; i < 40; ++i) f = std::nextafter(f, -lim::infinity());
        for (int i = 0; i < 81; ++i, f = std::nextafter(f, lim::infinity())) v.push_back(f);
    }
    return v;
}

TEST(ReduceBitsSweep, FloatsAroundEveryGridPointToBytesForEveryLevelCount) {
    for (int levels : byteLevels()) {
        sweep<F32f8u>(floatsNearGrid(levels - 1), levels);
        if (HasFatalFailure()) return;
    }
}

TEST(ReduceBitsSweep, FloatsAroundEveryGridPointTo16bitForSpreadLevelCounts) {
    for (int levels : {2, 3, 256, 1000, 4096}) {
        sweep<F32f16u>(floatsNearGrid(levels - 1), levels);
        sweep<F32f16s>(floatsNearGrid(levels - 1), levels);
    }
}

}  // namespace sweep

// ==== One-bit output ==========================================================
// One-bit output (celiReduceBits_8u1u_C1R): both modes against a model
// (threshold; integer Stucki on a plain error array) at every bit offset and
// width class, both step signs, the bits and bytes around the region; the
// whole (sample, threshold) space of mode 0; worked cases; the scratch.
namespace onebit {
// Bits of the region, row by row, first pixel first.
std::vector<uint8_t> modelBits(const std::vector<uint8_t>& src, int w, int h, int mode, uint8_t threshold) {
    std::vector<uint8_t> bits(size_t(w) * h);
    std::vector<int64_t> err(size_t(w) * h, 0);
    auto e = [&](int y, int x) -> int64_t { return (y < 0 || x < 0 || x >= w) ? 0 : err[size_t(y) * w + x]; };
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const int s = src[size_t(y) * w + x];
            if (mode == 0) {
                bits[size_t(y) * w + x] = s > threshold;
                continue;
            }
            const int64_t sum = e(y - 2, x - 2) + e(y - 2, x + 2) + 8 * (e(y - 1, x) + e(y, x - 1)) +
                                4 * (e(y - 2, x) + e(y - 1, x - 1) + e(y - 1, x + 1) + e(y, x - 2)) +
                                2 * (e(y - 2, x - 1) + e(y - 2, x + 1) + e(y - 1, x - 2) + e(y - 1, x + 2));
            const int64_t a = (int64_t(s) << 13) + sum * 23;
            int64_t q = a >> 10;
            const bool set = a > int64_t(threshold) * 8192;
            if (set) q -= 2047;
            err[size_t(y) * w + x] = q;
            bits[size_t(y) * w + x] = set;
        }
    return bits;
}

// The destination row after placing `bits` at bit offset o (0..7) over `old`.
void modelPlace(uint8_t* row, const uint8_t* bits, int w, int o) {
    for (int i = 0; i < w; ++i) {
        const int pos = o + i;
        const uint8_t m = uint8_t(128 >> (pos & 7));
        row[pos >> 3] = bits[i] ? (row[pos >> 3] | m) : (row[pos >> 3] & ~m);
    }
    if (o != 0 && w < 8 - o) row[0] &= uint8_t(~((1u << (8 - o - w)) - 1u));  // head byte's rest cleared
}

struct Run {
    int w, h, offset, mode;
    uint8_t threshold;
    bool negSrc, negDst;
    int srcShift;
};

// Runs one call over src (w x h, tight rows; rows given bottom-up with
// negative steps) and compares every byte of the destination region and its guards.
void check(const Run& r, const std::vector<uint8_t>& src) {
    const int o = r.offset & 7;
    ImageBuffer in(r.w + r.srcShift, r.h);
    for (int y = 0; y < r.h; ++y)
        std::copy_n(&src[size_t(y) * r.w], r.w, in.row(r.negSrc ? r.h - 1 - y : y) + r.srcShift);
    const auto bits = modelBits(src, r.w, r.h, r.mode, r.threshold);
    int scratchSize = 0;
    ASSERT_EQ(celiReduceBitsGetBufferSize(1, {r.w, r.h}, 0, celDitherStucki, &scratchSize), celStatusOk);
    std::vector<uint8_t> scratch(size_t(scratchSize) + 1, 0x77);
    Canvas<uint8_t> out((o + r.w + 7) / 8, 1, r.h, 4, uint32_t(r.w * 131 + r.h * 7 + r.offset), r.negDst);
    checkCanvas(
        out,
        [&](Canvas<uint8_t>& d) {
            return celiReduceBits_8u1u_C1R((r.negSrc ? in.lastRow() : in.data()) + r.srcShift,
                                           r.negSrc ? -in.step() : in.step(), d.base(), int(d.step()), r.offset,
                                           {r.w, r.h}, 12345, -1, CelDitherMode(r.mode), r.threshold, scratch.data() + 1);
        },
        [&](Canvas<uint8_t>& e) {
            for (int y = 0; y < r.h; ++y) modelPlace(e.at(y, 0), &bits[size_t(y) * r.w], r.w, o);
        },
        "mode " + std::to_string(r.mode) + " threshold " + std::to_string(r.threshold) + " w " + std::to_string(r.w) +
            " h " + std::to_string(r.h) + " offset " + std::to_string(r.offset));
}

TEST(OneBit, BothModesMatchTheModelAtEveryOffsetAndWidth) {
    uint32_t seed = 1;
    const int widths[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 12, 15, 16, 17, 23, 31, 32, 33, 40, 47, 48, 63, 64, 65, 100};
    for (int mode : {0, 3})
        for (int offset = 0; offset < 16; ++offset)
            for (int w : widths)
                for (int h : {1, 2, 3, 7}) {
                    const bool negSrc = (w + offset) % 3 == 0, negDst = (w + offset) % 4 == 1;
                    const int t0[] = {0, 1, 127, 254, 255}, t3[] = {0, 128, 200};
                    const uint8_t t = uint8_t(mode == 0 ? t0[seed % 5] : t3[seed % 3]);
                    std::mt19937 rng(seed);
                    std::vector<uint8_t> src(size_t(w) * h);  // grays near the middle, or anything
                    for (auto& b : src) b = mode == 3 && seed % 2 ? uint8_t(96 + rng() % 64) : uint8_t(rng());
                    check({w, h, offset, mode, t, negSrc, negDst, int(seed % 4)}, src);
                    if (HasFatalFailure()) return;
                    ++seed;
                }
}

// Every sample against every threshold, each sample once in the 32-sample
// body, once in the 16-sample body and once in the byte tail.
TEST(OneBit, ThresholdSweepOfTheWholeInputSpace) {
    const int w = 256 + 16 + 13;
    std::vector<uint8_t> src(size_t(w) * 2);
    for (int i = 0; i < w; ++i) src[i] = uint8_t(i), src[w + i] = uint8_t(i + 13);
    for (int t = 0; t < 256; ++t)
        for (int offset : {0, 5}) check({w, 2, offset, 0, uint8_t(t), false, false, 0}, src);
}

// Worked cases without dither, one row into two bytes: placement at a bit
// offset (the head byte's other bits kept before and cleared after the
// region, nothing after it), offsets taken modulo 8, the strict threshold.
TEST(OneBitWorked, PlacementAndStrictThreshold) {
    const struct {
        int w, offset;
        uint8_t old[2];
        std::vector<uint8_t> src;
        uint8_t threshold, want[2];
    } cases[] = {
        {2, 3, {0xFF, 0xFF}, {255, 0}, 127, {0xE0 | 0x10, 0xFF}},  // bits 16, 8; 128, 64, 32 kept; 4, 2, 1 cleared
        {2, 3, {0x00, 0x00}, {0, 255}, 127, {0x08, 0x00}},
        {2, 11, {0xFF, 0xFF}, {255, 0}, 127, {0xF0, 0xFF}},  // 11 acts as 3, at the same byte
        {5, 3, {0xAA, 0x5C}, {0, 255, 0, 255, 255}, 127, {0xA0 | 0x0B, 0x5C}},
        {12, 0, {0x33, 0x3C}, {255, 0, 255, 0, 255, 0, 255, 0, 255, 255, 0, 0}, 0, {0xAA, 0xC0 | 0x0C}},
        {1, 0, {0x00, 0x00}, {255}, 255, {0x00, 0x00}},
        {1, 0, {0x00, 0x00}, {255}, 254, {0x80, 0x00}},
    };
    for (const auto& c : cases) {
        uint8_t d[2] = {c.old[0], c.old[1]};
        ASSERT_EQ(celiReduceBits_8u1u_C1R(c.src.data(), c.w, d, 2, c.offset, {c.w, 1}, 0, 0, celDitherOff, c.threshold,
                                          nullptr),
                  celStatusOk);
        EXPECT_EQ(d[0], c.want[0]) << &c - cases;
        EXPECT_EQ(d[1], c.want[1]) << &c - cases;
    }
}

// Flat 128 at threshold 128 under Stucki: a of the first pixel is 128 * 8192, not above.
TEST(OneBitWorked, FirstStuckiPixel) {
    std::vector<uint8_t> flat(8, 128), scratch(4 * (3 * 8 + 12) + 64);
    uint8_t d = 0xFF;
    ASSERT_EQ(celiReduceBits_8u1u_C1R(flat.data(), 8, &d, 1, 0, {8, 1}, 0, 0, celDitherStucki, 128, scratch.data()),
              celStatusOk);
    EXPECT_EQ(d & 0x80, 0);
}

// Statuses and their order otherwise (pointers, size, bit offset, mode):
// the robustness table's row (tests/robust), which always passes the scratch.
TEST(OneBitStatus, ScratchOnlyForStucki) {
    const uint8_t src[16] = {200, 10, 200, 10};
    uint8_t dst[4] = {0x5A, 0x5A, 0x5A, 0x5A}, scratch[256];
    auto call = [&](int mode, uint8_t* sc) {
        return celiReduceBits_8u1u_C1R(src, 16, dst, 4, 0, {4, 1}, 0, 0, CelDitherMode(mode), 100, sc);
    };
    EXPECT_EQ(call(3, nullptr), celStatusNullPointer);
    for (uint8_t b : dst) EXPECT_EQ(b, 0x5A);
    EXPECT_EQ(call(0, nullptr), celStatusOk);  // mode 0 needs no scratch
    EXPECT_EQ(dst[0], 0xA0 | 0x0A);
    EXPECT_EQ(call(3, scratch), celStatusOk);
}

}  // namespace onebit

}  // namespace
