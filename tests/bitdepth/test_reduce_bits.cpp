// Bit-depth reduction: the path without dither and ordered dither (with
// and without noise) against an independent model, for every type form and
// channel form; scratch sizes and when the scratch is needed.  Statuses and
// check order: the robustness table's rows (tests/robust).
#include <gtest/gtest.h>
#include <xmmintrin.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "celcc.h"
#include "common/reduce_bits_model.h"

namespace {

using namespace rbmodel;

const float kBayer[4][4] = {{0 / 15.f, 8 / 15.f, 2 / 15.f, 10 / 15.f},
                            {12 / 15.f, 4 / 15.f, 14 / 15.f, 6 / 15.f},
                            {3 / 15.f, 11 / 15.f, 1 / 15.f, 9 / 15.f},
                            {15 / 15.f, 7 / 15.f, 13 / 15.f, 5 / 15.f}};

// Expected destination element for channel c of pixel (x, y).
template <class F>
int expectOrdered(Ch ch, typename F::Src sample, int x, int y, int c, int width, float L, int noise,
                  const NoiseTables* nt) {
    float s, f;
    F::sf(L, s, f);
    const float v = F::v(sample);
    float t;
    const bool c4Tail = ch == C4 && noise && x >= width - width % 4;
    if (!noise) {
        t = kBayer[y & 3][x & 3] * s;
    } else if (c4Tail) {
        t = (sizeof(typename F::Src) == 1 || c == 0) ? kBayer[y & 3][x & 3] : 0.0f;
    } else {
        t = (nt->N[nt->index(x, y)] + kBayer[y & 3][x & 3]) * s;
    }
    float b = tr(v * f) * s;
    if (t < v - b) b = b + s;
    return F::out(b, noise && ch != C4);
}

template <class T>
std::vector<T> randomSamples(size_t n, uint32_t seed) {
    std::mt19937 rng(seed);
    std::vector<T> v(n);
    for (auto& x : v) {
        if constexpr (std::is_same_v<T, float>)
            x = std::uniform_real_distribution<float>(-0.05f, 1.05f)(rng);
        else
            x = static_cast<T>(rng());
    }
    return v;
}

// Runs one configuration and compares every element (and the untouched
// alpha of AC4, and the guard elements after each row).
template <class F>
void check(Ch ch, int width, int height, int mode, int noise, int levels, uint32_t seed) {
    using S = typename F::Src;
    using D = typename F::Dst;
    const int E = stride(ch), pad = 3;
    const int sStep = width * E + pad, dStep = width * E + pad;
    auto src = randomSamples<S>(size_t(sStep) * height, seed);
    const D fill = static_cast<D>(0x5A);
    std::vector<D> dst(size_t(dStep) * height, fill);
    std::vector<uint8_t> scratch(8000, 0xEE);
    ASSERT_EQ(call<F>(ch, src.data(), sStep * int(sizeof(S)), dst.data(), dStep * int(sizeof(D)), {width, height}, noise,
                      mode, levels, scratch.data()),
              celStatusOk);
    const NoiseTables nt(float(-noise) / 100.0f, float(noise) / 100.0f);
    const float L = float(levels - 1);
    for (int y = 0; y < height; ++y)
        for (int i = 0; i < dStep; ++i) {
            const D got = dst[size_t(y) * dStep + i];
            const int x = i / E, c = i % E;
            if (i >= width * E || (ch == AC4 && c == 3)) {
                ASSERT_EQ(got, fill) << kChNames[ch] << " wrote a guard or alpha element at " << i;
                continue;
            }
            const S sample = src[size_t(y) * sStep + i];
            const int want = mode == 0 ? F::plain(sample, L) : expectOrdered<F>(ch, sample, x, y, c, width, L, noise, &nt);
            ASSERT_EQ(int(got), want) << kChNames[ch] << " mode " << mode << " noise " << noise << " levels " << levels
                                      << " w " << width << " at (" << x << "," << y << ") channel " << c;
        }
}

template <class F>
class ReduceBits : public ::testing::Test {};
using Forms = ::testing::Types<F8u, F16u, F16s, F16u8u, F16s8u, F32f8u, F32f16u, F32f16s>;
TYPED_TEST_SUITE(ReduceBits, Forms);

TYPED_TEST(ReduceBits, NoDitherMatchesModel) {
    uint32_t seed = 1;
    for (Ch ch : {C1, C3, AC4, C4})
        for (int levels : {2, 3, 42, 200, TypeParam::maxLevels})
            for (int w : {1, 3, 7, 8, 9, 17})
                check<TypeParam>(ch, w, 2, celDitherOff, levels == 42 ? 100 : 0, levels, seed++);
}

TYPED_TEST(ReduceBits, OrderedWithoutNoiseMatchesModel) {
    uint32_t seed = 500;
    for (Ch ch : {C1, C3, AC4, C4})
        for (int levels : {2, 5, 42, TypeParam::maxLevels})
            for (int w : {1, 3, 4, 5, 8, 9, 13, 16, 23})
                check<TypeParam>(ch, w, 5, celDitherOrdered, 0, levels, seed++);
}

TYPED_TEST(ReduceBits, OrderedWithNoiseMatchesModel) {
    uint32_t seed = 900;
    for (Ch ch : {C1, C3, AC4, C4})
        for (int noise : {1, 37, 100})
            for (int w : {1, 3, 4, 5, 8, 9, 13, 23})
                check<TypeParam>(ch, w, 5, celDitherOrdered, noise, noise == 37 ? 6 : 17, seed++);
}

// ---- Worked values -----------------------------------------------------------------
TEST(ReduceBitsWorked, Byte255WithoutDitherFallsTo254ForThirtyEightLevelCounts) {
    std::vector<int> hits;
    for (int L = 1; L <= 255; ++L) {
        const uint8_t src = 255;
        uint8_t dst = 0;
        ASSERT_EQ(celiReduceBits_8u_C1R(&src, 1, &dst, 1, {1, 1}, 0, celDitherOff, L + 1, nullptr), celStatusOk);
        if (dst == 254) hits.push_back(L);
        uint16_t w = 65535;
        uint8_t d8 = 0;
        ASSERT_EQ(celiReduceBits_16u8u_C1R(&w, 2, &d8, 1, {1, 1}, 0, celDitherOff, L + 1, nullptr), celStatusOk);
        EXPECT_EQ(d8, dst) << "16u8u follows 8u for L " << L;
    }
    EXPECT_EQ(hits.size(), 38u);
    for (int L : {41, 47, 55, 61, 82}) EXPECT_NE(std::find(hits.begin(), hits.end(), L), hits.end()) << L;
}

TEST(ReduceBitsWorked, LevelsTwoGivesBottomAndTopAndLevels256IsExact) {
    std::vector<uint8_t> src(256), dst(256);
    for (int i = 0; i < 256; ++i) src[i] = uint8_t(i);
    ASSERT_EQ(celiReduceBits_8u_C1R(src.data(), 256, dst.data(), 256, {256, 1}, 0, celDitherOff, 256, nullptr),
              celStatusOk);
    EXPECT_EQ(src, dst);
    ASSERT_EQ(celiReduceBits_8u_C1R(src.data(), 256, dst.data(), 256, {256, 1}, 0, celDitherOff, 2, nullptr),
              celStatusOk);
    for (int i = 0; i < 256; ++i) EXPECT_TRUE(dst[i] == 0 || dst[i] == 255);
    EXPECT_EQ(dst[0], 0);
    EXPECT_EQ(dst[255], 255);
}

TEST(ReduceBitsWorked, OrderedGridValuesNeverRoundUpWithoutNoise) {
    // A source on the grid has remainder 0: no position rounds up, (0, 0) included.
    std::vector<uint8_t> src(64, 255), dst(64);
    ASSERT_EQ(celiReduceBits_8u_C1R(src.data(), 8, dst.data(), 8, {8, 8}, 0, celDitherOrdered, 2, nullptr), celStatusOk);
    for (uint8_t v : dst) EXPECT_EQ(v, 255);
    std::fill(src.begin(), src.end(), 0);
    ASSERT_EQ(celiReduceBits_8u_C1R(src.data(), 8, dst.data(), 8, {8, 8}, 0, celDitherOrdered, 2, nullptr), celStatusOk);
    for (uint8_t v : dst) EXPECT_EQ(v, 0);
}

TEST(ReduceBitsWorked, NoiseHundredWithoutDitherEqualsNoiseZeroAndNeedsNoScratch) {
    auto src = randomSamples<uint16_t>(3 * 20 * 3, 4);
    std::vector<uint16_t> a(src.size()), b(src.size());
    ASSERT_EQ(celiReduceBits_16u_C3R(src.data(), 120, a.data(), 120, {20, 3}, 0, celDitherOff, 9, nullptr), celStatusOk);
    ASSERT_EQ(celiReduceBits_16u_C3R(src.data(), 120, b.data(), 120, {20, 3}, 100, celDitherOff, 9, nullptr), celStatusOk);
    EXPECT_EQ(a, b);
}

// ---- Scratch size -------------------------------------------------------------------
TEST(ReduceBitsBufferSize, SizesPerMode) {
    int size = -1;
    for (int code : {1, 3, 4, 9})
        for (int w : {1, 17, 1920}) {
            ASSERT_EQ(celiReduceBitsGetBufferSize(code, {w, 0}, 0, celDitherOff, &size), celStatusOk);
            EXPECT_EQ(size, 0);
            ASSERT_EQ(celiReduceBitsGetBufferSize(code, {w, 0}, 100, celDitherOff, &size), celStatusOk);
            EXPECT_EQ(size, 0);
            ASSERT_EQ(celiReduceBitsGetBufferSize(code, {w, 5}, 0, celDitherOrdered, &size), celStatusOk);
            EXPECT_EQ(size, 0);
            ASSERT_EQ(celiReduceBitsGetBufferSize(code, {w, 5}, 1, celDitherOrdered, &size), celStatusOk);
            EXPECT_EQ(size, 6336);
            ASSERT_EQ(celiReduceBitsGetBufferSize(code, {w, 5}, 0, celDitherFloydSteinberg, &size), celStatusOk);
            EXPECT_EQ(size, 4 * (2 * w + 4) + 64);
            ASSERT_EQ(celiReduceBitsGetBufferSize(code, {w, 5}, 3, celDitherFloydSteinberg, &size), celStatusOk);
            EXPECT_EQ(size, 4 * (2 * w + 4) + 6336);
            for (int m : {2, 3}) {
                ASSERT_EQ(celiReduceBitsGetBufferSize(code, {w, 5}, 0, CelDitherMode(m), &size), celStatusOk);
                EXPECT_EQ(size, 4 * (3 * w + 12) + 64);
                ASSERT_EQ(celiReduceBitsGetBufferSize(code, {w, 5}, 50, CelDitherMode(m), &size), celStatusOk);
                EXPECT_EQ(size, 4 * (3 * w + 12) + 6336);
            }
        }
}

// The dither mode crosses the interface as a 32-bit integer; in C++ the
// enumeration has that as its fixed underlying type, so an unknown mode is a
// value of the type and the mode check runs on defined ground (with an
// unfixed type, loading -1 was undefined and a sanitizer stopped on it).
static_assert(std::is_same_v<std::underlying_type_t<CelDitherMode>, int32_t>, "CelDitherMode is a 32-bit integer");

// The size is a 32-bit count worked out in unsigned 32-bit arithmetic:
// the widest widths wrap as a 32-bit product and are not undefined (the
// error-diffusion rows of a width of 2^31 - 1 overflowed a signed int, which
// the sanitizer build of the guard-page sweep stopped on).
TEST(ReduceBitsBufferSize, WidestWidthsWrapAsThirtyTwoBitCounts) {
    int s = 0;
    ASSERT_EQ(celiReduceBitsGetBufferSize(1, {1, 1}, 1, celDitherOrdered, &s), celStatusOk);
    const uint32_t noiseBlock = static_cast<uint32_t>(s) - 64u;  // 6144 + both generator states
    for (int32_t w : {178956967, 178956968, 268435453, 268435454, 1 << 30, INT32_MAX}) {
        const uint32_t uw = static_cast<uint32_t>(w);
        const uint32_t fs = 4u * (2u * uw + 4u), jj = 4u * (3u * uw + 12u);
        for (int noise : {0, 1}) {
            const uint32_t tail = noise ? noiseBlock + 64u : 64u;
            int size = -1;
            ASSERT_EQ(celiReduceBitsGetBufferSize(4, {w, 0}, noise, celDitherFloydSteinberg, &size), celStatusOk);
            EXPECT_EQ(static_cast<uint32_t>(size), fs + tail) << w;
            for (CelDitherMode m : {celDitherJarvisJudiceNinke, celDitherStucki}) {
                ASSERT_EQ(celiReduceBitsGetBufferSize(9, {w, -5}, noise, m, &size), celStatusOk);
                EXPECT_EQ(static_cast<uint32_t>(size), jj + tail) << w;
            }
        }
    }
}

// ---- The scratch ---------------------------------------------------------------------------
// Statuses and their order otherwise (pointers, size, noise, levels, mode;
// the buffer-size query's channel code, noise and mode): the robustness
// table's rows (tests/robust), which always pass the scratch.
TEST(ReduceBitsChecks, ScratchIsNeededForNoiseAndErrorDiffusionOnly) {
    uint8_t src[16] = {}, dst[16];
    std::memset(dst, 0x77, sizeof dst);
    const CelSize ok{4, 1};
    // ordered with noise needs the scratch; without noise it does not
    EXPECT_EQ(celiReduceBits_8u_C1R(src, 4, dst, 4, ok, 1, celDitherOrdered, 2, nullptr), celStatusNullPointer);
    // error diffusion needs the scratch before anything else
    EXPECT_EQ(celiReduceBits_8u_C1R(src, 4, dst, 4, ok, 0, celDitherFloydSteinberg, 2, nullptr), celStatusNullPointer);
    for (uint8_t v : dst) EXPECT_EQ(v, 0x77);
    EXPECT_EQ(celiReduceBits_8u_C1R(src, 4, dst, 4, ok, 0, celDitherOrdered, 2, nullptr), celStatusOk);
}

}  // namespace
