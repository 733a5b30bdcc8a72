// Gray conversions: an independent model per depth (8u Q7 body against the
// Q15 scalar rule by position, float orders, the 64f pair order), caller
// weights including over-unity and negative ones, alpha, replication,
// canaries, statuses.
#include <gtest/gtest.h>
#include <xmmintrin.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "celcc.h"
#include "common/model_canvas.h"
#include "common/sweep24.h"

namespace {

using celtest::Canvas;
using celtest::checkCanvas;

float fbits(uint32_t b) {
    float f;
    std::memcpy(&f, &b, 4);
    return f;
}
const float kDef[3] = {fbits(0x3E991687u), fbits(0x3F1645A2u), fbits(0x3DE978D5u)};

// ---- 8u model
struct Q15 {
    int w[3];
};
Q15 q15(const float* c) {
    if (!c) return {{9798, 19235, 3736}};
    Q15 q;
    for (int i = 0; i < 3; ++i) q.w[i] = static_cast<uint16_t>(static_cast<int32_t>(double(c[i]) * 32768.0 + 0.5));
    return q;
}
int body8(const uint8_t* p, const Q15& q) {
    int s = 0;
    for (int i = 0; i < 3; ++i) s = std::min(65535, s + int((int64_t(p[i]) * 256 * q.w[i]) >> 16));
    s = std::min(65535, s + 64);
    const int v = static_cast<int16_t>(s) >> 7;
    return v < 0 ? 0 : v > 255 ? 255 : v;
}
int scalar8(const uint8_t* p, const Q15& q) { return ((p[0] * q.w[0] + p[1] * q.w[1] + p[2] * q.w[2] + 16384) >> 15) & 0xFF; }

// The gray exports of a depth: the fixed weights (RGBToGray) or the caller's (ColorToGray).
template <class T>
CelStatus gray(bool ac4, bool fixed, const T* s, T* d, int ds, CelSize roi, const float* c) {
    const int ss = (ac4 ? 4 : 3) * roi.width * int(sizeof(T));
#define CEL_GRAY(dp)                                                                                                  \
    return fixed ? (ac4 ? celiRGBToGray_##dp##_AC4C1R(s, ss, d, ds, roi) : celiRGBToGray_##dp##_C3C1R(s, ss, d, ds, roi)) \
                 : (ac4 ? celiColorToGray_##dp##_AC4C1R(s, ss, d, ds, roi, c)                                          \
                        : celiColorToGray_##dp##_C3C1R(s, ss, d, ds, roi, c))
    if constexpr (std::is_same_v<T, uint8_t>) CEL_GRAY(8u);
    else if constexpr (std::is_same_v<T, uint16_t>) CEL_GRAY(16u);
    else if constexpr (std::is_same_v<T, int16_t>) CEL_GRAY(16s);
    else CEL_GRAY(32f);
#undef CEL_GRAY
}

// A random w x h image (floats in -2..2) through one export onto a canvas
// (every other run walked upward): each gray sample for which model(x,
// pixel, &expected) holds has the expected bits, nothing else changes.
template <class T, class Model>
void checkGray(bool ac4, int w, int h, const float* c, bool fixed, uint32_t seed, Model model) {
    const int n = ac4 ? 4 : 3;
    std::mt19937 rng(seed);
    std::vector<T> src(size_t(n) * w * h);
    for (auto& v : src) v = std::is_same_v<T, float> ? T(std::uniform_real_distribution<float>(-2, 2)(rng)) : T(rng());
    Canvas<T> dst(1, w, h, 2, seed, seed % 2);
    checkCanvas(
        dst, [&](Canvas<T>& d) { return gray<T>(ac4, fixed, src.data(), d.base(), int(d.step()), {w, h}, c); },
        [&](Canvas<T>& e) {
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x)
                    if (!model(x, &src[size_t(y) * n * w + size_t(n) * x], *e.at(y, x))) *e.at(y, x) = *dst.at(y, x);
        },
        std::string(ac4 ? "AC4" : "C3") + (fixed ? " fixed" : " weights") + " w " + std::to_string(w));
}

TEST(Gray8u, MatchesModelWithDefaultAndCallerWeights) {
    const float mine[3] = {0.2f, 0.5f, 0.3f}, over[3] = {1.0f, 1.0f, 0.0f}, neg[3] = {-0.25f, 0.75f, 0.5f},
                big[3] = {2.5f, 0.1f, 0.1f};
    const float* const weights[] = {nullptr, nullptr, mine, over, neg, big};  // the fixed export first
    uint32_t seed = 1;
    for (bool ac4 : {false, true})
        for (int w : {1, 3, 4, 5, 7, 8, 9, 12, 13, 15, 16, 17, 33, 100})
            for (int h : {1, 2})
                for (int i = 0; i < 6; ++i) {
                    const float* c = weights[i];
                    const bool fixed = i == 0;
                    const Q15 q = q15(c);
                    const int bodyEnd = ac4 ? w - w % 8 : w - w % 4;
                    checkGray<uint8_t>(ac4, w, h, c, fixed, seed++, [&](int x, const uint8_t* p, uint8_t& e) {
                        e = uint8_t(x < bodyEnd ? body8(p, q) : scalar8(p, q));
                        return true;
                    });
                }
}

// Every RGB colour through the body (rows of 16) and the tail (rows of 3 or
// 7, one short of the body), default weights and the caller's: sums below
// 32704 (0.2, 0.5, 0.3) and sums that pass it and saturate (1, 1, 0).
TEST(Gray8u, EveryColourThroughBodyAndTail) {
    const float mine[3] = {0.2f, 0.5f, 0.3f}, over[3] = {1.0f, 1.0f, 0.0f};
    for (bool ac4 : {false, true})
        for (const float* c : {static_cast<const float*>(nullptr), mine, over})
            for (int w : {16, ac4 ? 7 : 3}) {
                const int n = ac4 ? 4 : 3, h = celtest::sweep24Rows(w), bodyEnd = w - w % (ac4 ? 8 : 4);
                std::vector<uint8_t> src(size_t(n) * w * h), dst(size_t(w) * h);
                for (int64_t i = 0; i < int64_t(w) * h; ++i) {
                    int r, g, b;
                    celtest::sweep24Input(i, r, g, b);
                    uint8_t* p = &src[size_t(i) * n];
                    p[0] = uint8_t(r), p[1] = uint8_t(g), p[2] = uint8_t(b);
                }
                ASSERT_EQ(gray<uint8_t>(ac4, c == nullptr, src.data(), dst.data(), w, {w, h}, c), celStatusOk);
                const Q15 q = q15(c);
                for (int64_t i = 0; i < int64_t(w) * h; ++i) {
                    const uint8_t* p = &src[size_t(i) * n];
                    const int e = i % w < bodyEnd ? body8(p, q) : scalar8(p, q);
                    ASSERT_EQ(dst[size_t(i)], e) << (ac4 ? "AC4" : "C3") << " w " << w << " colour " << int(p[0]) << ","
                                                 << int(p[1]) << "," << int(p[2]);
                }
            }
}

// One channel's weight at the two Q15 values around the largest sum of 32703
// (32832: 255 gives 32703; 32833: 32704, which turns black): every sample
// through rows of 16.
TEST(Gray8u, SumsEitherSideOf32704) {
    for (int q : {32832, 32833}) {
        const float c[3] = {0.0f, float(q) / 32768.0f, 0.0f};
        std::vector<uint8_t> src(size_t(3) * 256, 0), dst(256);
        for (int v = 0; v < 256; ++v) src[size_t(3) * v + 1] = uint8_t(v);
        ASSERT_EQ(celiColorToGray_8u_C3C1R(src.data(), 48, dst.data(), 16, {16, 16}, c), celStatusOk);
        for (int v = 0; v < 256; ++v) ASSERT_EQ(dst[size_t(v)], body8(&src[size_t(3) * v], q15(c))) << q << " " << v;
        EXPECT_EQ(dst[255], q == 32832 ? 255 : 0);
    }
}

// White through the fixed weights and red's (body and tail); (1, 1, 0) on
// (255, 255, 0): the body turns black, the scalar rule wraps to 254.
TEST(Gray8u, WorkedValues) {
    const float red[3] = {1.0f, 0.0f, 0.0f}, over[3] = {1.0f, 1.0f, 0.0f};
    const struct {
        uint8_t rgb[3];
        const float* c;
        int w, want;
    } cases[] = {{{255, 255, 255}, nullptr, 8, 255}, {{255, 255, 255}, nullptr, 1, 255}, {{255, 255, 255}, red, 8, 255},
                 {{255, 255, 0}, over, 8, 0},        {{255, 255, 0}, over, 1, 254}};
    for (const auto& k : cases) {
        uint8_t src[24], out[8];
        for (int i = 0; i < 24; ++i) src[i] = k.rgb[i % 3];
        ASSERT_EQ(gray<uint8_t>(false, k.c == nullptr, src, out, k.w, {k.w, 1}, k.c), celStatusOk);
        EXPECT_EQ(out[0], k.want) << &k - cases;
    }
}

// ---- 16-bit and float models
float dotF(const float* w, float r, float g, float b) {
    volatile float p0 = r * w[0], p1 = g * w[1], p2 = b * w[2];
    volatile float s = p0 + p1;
    return s + p2;
}

// The 16-bit forms, their default weights and the caller's: the float dot
// product rounded to nearest (signed samples offset by 32768); the tail
// keeps the low 16 bits of a negative result (checked there alone).  The
// 32f forms: the dot product itself.
TEST(Gray16And32f, MatchModelInRangeAndTailWithNegativeWeights) {
    const float mine[3] = {0.25f, 0.5f, 0.25f}, neg[3] = {-0.5f, 0.2f, 0.1f}, mine32[3] = {0.3f, -0.7f, 1.9f};
    uint32_t seed = 50;
    const auto run = [&](auto zero, bool ac4, int w, int h, const float* c, bool fixed, bool tailOnly) {
        using T = decltype(zero);
        const int off = std::is_same_v<T, int16_t> ? 32768 : 0;
        const float* wt = fixed ? kDef : c;
        checkGray<T>(ac4, w, h, c, fixed, seed++, [&](int x, const T* p, T& e) {
            const float f = dotF(wt, float(p[0] + off), float(p[1] + off), float(p[2] + off));
            if constexpr (std::is_same_v<T, float>) e = f;
            else e = T(static_cast<uint32_t>(static_cast<int32_t>(std::nearbyint(f)) - off));
            return !tailOnly || x >= w - w % 4;
        });
    };
    for (bool ac4 : {false, true})
        for (int w : {1, 3, 4, 5, 7, 8, 9, 11, 12, 15, 17, 33, 100})
            for (bool fixed : {true, false})
                run(uint16_t(), ac4, w, 2, mine, fixed, false), run(int16_t(), ac4, w, 2, mine, fixed, false),
                    run(0.0f, ac4, w, 2, mine32, fixed, false);
    for (int w : {1, 2, 3, 7}) run(uint16_t(), false, w, 1, neg, false, true), run(int16_t(), false, w, 1, neg, false, true);
}

// ---- 64f
double dotD(const double* w, double r, double g, double b, bool reversed) {
    volatile double p0 = r * w[0], p1 = g * w[1], p2 = b * w[2];
    if (reversed) {
        volatile double s = p2 + p1;
        return s + p0;
    }
    volatile double s = p0 + p1;
    return s + p2;
}

TEST(Gray64f, PairStepSumsTheOddPixelTheOtherWay) {
    const double wts[3] = {0.1234567891, 0.7654321987, 0.3333333333};
    std::mt19937 rng(12);
    for (bool ac4 : {false, true})
        for (int offset : {0, 1})  // destination 16-byte aligned or not
            for (int w : {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 14, 15, 16, 17}) {
                const int n = ac4 ? 4 : 3;
                std::vector<double> src(size_t(n) * w * 2);
                alignas(16) static double dstMem[64];
                for (auto& v : src) v = std::uniform_real_distribution<double>(-3, 3)(rng);
                double* dst = dstMem + offset;
                ASSERT_EQ(ac4 ? celiColorToGray_64f_AC4C1R(src.data(), 8 * n * w, dst, 8 * 40, {w, 1}, wts)
                              : celiColorToGray_64f_C3C1R(src.data(), 8 * n * w, dst, 8 * 40, {w, 1}, wts),
                          celStatusOk);
                // positions: one single pixel if unaligned, then 8s, one 4, one pair, one single
                int x = offset ? 1 : 0;
                x += (w - x) / 8 * 8;
                if (w - x >= 4) x += 4;
                const int pairOdd = (!ac4 && w - x >= 2) ? x + 1 : -1;
                for (int i = 0; i < w; ++i) {
                    const double* p = &src[size_t(n) * i];
                    const double e = dotD(wts, p[0], p[1], p[2], i == pairOdd);
                    ASSERT_EQ(0, std::memcmp(&dst[i], &e, 8)) << (ac4 ? "AC4" : "C3") << " w " << w << " i " << i;
                }
            }
}

TEST(Gray64f, NullWeightsTakeTheWidenedDefaults) {
    const double px[3] = {0.5, 0.25, 1.0};
    double out = 0;
    ASSERT_EQ(celiColorToGray_64f_C3C1R(px, 24, &out, 8, {1, 1}, nullptr), celStatusOk);
    const double w[3] = {kDef[0], kDef[1], kDef[2]};
    EXPECT_EQ(out, dotD(w, 0.5, 0.25, 1.0, false));
    float f = 0;
    const float pf[4] = {0.5f, 0.25f, 1.0f, 7.0f};
    EXPECT_EQ(celiColorToGray_32f_AC4C1R(pf, 16, &f, 4, {1, 1}, nullptr), celStatusOk);
    EXPECT_EQ(f, dotF(kDef, 0.5f, 0.25f, 1.0f));
}

// Each gray sample into three channels, or three and the caller's alpha;
// nothing after the row.
template <class T>
void checkReplicate(int w, T alpha, CelStatus (*f3)(const T*, int, T*, int, CelSize),
                    CelStatus (*f4)(const T*, int, T*, int, CelSize, T)) {
    const int z = int(sizeof(T));
    std::vector<T> src(w), d3(size_t(3) * w + 4, T(7)), d4(size_t(4) * w + 4, T(7));
    for (int i = 0; i < w; ++i) src[i] = T(i * 37 + 1);
    ASSERT_EQ(f3(src.data(), z * w, d3.data(), 3 * z * w, {w, 1}), celStatusOk);
    ASSERT_EQ(f4(src.data(), z * w, d4.data(), 4 * z * w, {w, 1}, alpha), celStatusOk);
    for (int i = 0; i < w; ++i)
        for (int c = 0; c < 4; ++c) {
            if (c < 3) ASSERT_EQ(d3[3 * i + c], src[i]) << w;
            ASSERT_EQ(d4[4 * i + c], c < 3 ? src[i] : alpha) << w;
        }
    for (int k = 0; k < 4; ++k) ASSERT_TRUE(d3[3 * w + k] == T(7) && d4[4 * w + k] == T(7)) << "wrote past the row, w " << w;
}

TEST(GrayToRgb, ReplicatesEveryDepthAndWidth) {
    for (int w : {1, 2, 3, 4, 5, 7, 8, 9, 12, 13, 16, 17, 31, 48, 61}) {
        checkReplicate<uint8_t>(w, 200, celiGrayToRGB_8u_C1C3R, celiGrayToRGB_8u_C1C4R);
        checkReplicate<uint16_t>(w, 60000, celiGrayToRGB_16u_C1C3R, celiGrayToRGB_16u_C1C4R);
        checkReplicate<float>(w, 0.75f, celiGrayToRGB_32f_C1C3R, celiGrayToRGB_32f_C1C4R);
    }
}

}  // namespace
