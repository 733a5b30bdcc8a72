// Colour twist in every depth and layout against a model written from the
// formulas (integer forms round to nearest even in any caller's mode, float
// forms compute in it), guards and alpha untouched; every 8u input through
// body and tail; the 32f C3R and C4R paths; a null matrix refused.
#include <gtest/gtest.h>
#include <xmmintrin.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <type_traits>
#include <vector>

#include "celcc.h"
#include "common/sweep24.h"
#include "tone/tone_forms.h"

namespace {

using namespace tonetest;
using Mat = float[3][4];

template <class T>
FormFns<T, const float (*)[4]> twistFns() {
    if constexpr (std::is_same_v<T, uint8_t>) return TONE_FORM_FNS(celiColorTwist32f_8u);
    else if constexpr (std::is_same_v<T, uint16_t>) return TONE_FORM_FNS(celiColorTwist32f_16u);
    else if constexpr (std::is_same_v<T, int16_t>) return TONE_FORM_FNS(celiColorTwist32f_16s);
    else return TONE_FORM_FNS(celiColorTwist_32f);
}

// ---- The model -----------------------------------------------------------------------------------
template <class T>
constexpr bool kFloat = std::is_same_v<T, float>;

// The limits of a depth, and rounding to nearest with ties to even in
// double (exact for every float), whatever the processor's mode.
template <class T>
double upper() {
    return std::is_same_v<T, uint8_t> ? 255.0 : std::is_same_v<T, uint16_t> ? 65535.0 : 32767.0;
}
template <class T>
double lower() {
    return std::is_same_v<T, int16_t> ? -32768.0 : 0.0;
}
double nearestEven(double v) {
    const double f = std::floor(v), frac = v - f;
    if (frac != 0.5) return frac > 0.5 ? f + 1 : f;
    return std::fmod(f, 2.0) == 0.0 ? f : f + 1;
}

// Output r of the sample triple, then (integer depths) limited: NaN and
// anything not below the upper limit give the upper limit.
template <class T>
T modelOut(const Mat m, int r, float s0, float s1, float s2) {
    const float p0 = s0 * m[r][0], p1 = s1 * m[r][1], p2 = s2 * m[r][2];
    const float v = (m[r][3] + p0) + (p2 + p1);
    if constexpr (kFloat<T>) {
        return v;
    } else {
        double x = v < float(upper<T>()) ? double(v) : upper<T>();
        return static_cast<T>(nearestEven(x > lower<T>() ? x : lower<T>()));
    }
}

template <class T>
T randomSample(std::mt19937& rng) {
    if constexpr (kFloat<T>) {
        switch (rng() % 40) {
            case 0: return std::numeric_limits<float>::quiet_NaN();
            case 1: return std::numeric_limits<float>::infinity();
            case 2: return -0.0f;
            default: return std::uniform_real_distribution<float>(-2.0f, 300.0f)(rng);
        }
    } else {
        return static_cast<T>(rng());
    }
}

// Matrices: identity, a channel swap, random ones of growing size, exact
// halves (ties), random ones with a tiny factor (which takes the 8u forms
// off their path for bounded matrices).
void makeMatrix(int kind, std::mt19937& rng, Mat m) {
    std::uniform_real_distribution<float> small(-2.0f, 2.0f), offset(-300.0f, 300.0f), big(-1000.0f, 1000.0f);
    for (int r = 0; r < 3; ++r)
        for (int k = 0; k < 4; ++k) {
            switch (kind) {
                case 0: m[r][k] = (r == k) ? 1.0f : 0.0f; break;
                case 1: m[r][k] = (k == 2 - r) ? 1.0f : 0.0f; break;
                case 2: m[r][k] = k == 3 ? offset(rng) : small(rng); break;
                case 3: m[r][k] = big(rng); break;
                case 4: m[r][k] = k == 3 ? 0.5f : float(int(rng() % 5) - 2) * 0.5f; break;
                default: m[r][k] = k == 3 ? offset(rng) : (r == k ? 1e-35f : small(rng)); break;
            }
        }
}

// Form f on a random w x h image with matrix m against the model; the
// integer model computes in round-to-nearest, the float one in the caller's mode.
template <class T>
void checkTwist(Form f, int w, int h, const Mat m, std::mt19937& rng) {
    checkForm<T>(
        "twist", f, w, h, [&] { return randomSample<T>(rng); },
        [&](T* s, int ss, T* d, int ds, T** sp, T** dp) { return twistFns<T>()(f, s, ss, d, ds, sp, dp, {w, h}, m); },
        [&](int r, const T* px) {
            const unsigned caller = _mm_getcsr();
            if constexpr (!kFloat<T>) _mm_setcsr(caller & ~0x6000u);
            const T v = modelOut<T>(m, r, float(px[0]), float(px[1]), float(px[2]));
            _mm_setcsr(caller);
            return v;
        });
}

template <class T>
class Twist : public ::testing::Test {};
using Depths = ::testing::Types<uint8_t, uint16_t, int16_t, float>;
TYPED_TEST_SUITE(Twist, Depths);

TYPED_TEST(Twist, EveryFormMatchesTheModel) {
    std::mt19937 rng(24);
    Mat m;
    for (int kind = 0; kind < 6; ++kind)
        for (Form f : kForms)
            for (int h : {1, 3})
                for (int w : {1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 33, 100}) {
                    makeMatrix(kind, rng, m);
                    checkTwist<TypeParam>(f, w, h, m, rng);
                    if (::testing::Test::HasFatalFailure()) return;
                }
    // A NaN factor: the integer forms give the upper limit, the float forms
    // NaN; infinite factors (NaN on zero samples) and a huge negative offset
    // go to the limits.
    const float inf = std::numeric_limits<float>::infinity();
    const Mat nan = {{1, 0, 0, 0}, {0, std::numeric_limits<float>::quiet_NaN(), 0, 0}, {0, 0, 1, 0}};
    const Mat edges = {{-inf, 0, 0, 0}, {0, inf, 0, 0}, {0, 0, 1, -1e30f}};
    for (Form f : kForms) checkTwist<TypeParam>(f, 21, 2, nan, rng), checkTwist<TypeParam>(f, 21, 2, edges, rng);
}

// The caller's rounding mode: the integer forms round to nearest even in
// every mode and give it back; the float forms compute in it and keep it;
// an error return changes nothing either.
TYPED_TEST(Twist, CallersRoundingModeKeptAndRestored) {
    using T = TypeParam;
    const unsigned saved = _mm_getcsr();
    std::mt19937 rng(7);
    Mat m;
    for (unsigned mode : {0x0000u, 0x2000u, 0x4000u, 0x6000u}) {
        _mm_setcsr((saved & ~0x6000u) | mode);
        for (Form f : kForms)
            for (int w : {3, 6}) {
                makeMatrix(w == 3 ? 4 : 2, rng, m);
                checkTwist<T>(f, w, 2, m, rng);
            }
        T s[3] = {};
        const CelStatus st = twistFns<T>()(Form::C3R, s, 3, nullptr, 3, nullptr, nullptr, {1, 1}, m);
        const unsigned after = _mm_getcsr();
        _mm_setcsr(saved);
        ASSERT_EQ(st, celStatusNullPointer);
        ASSERT_EQ(after & ~0x3Fu, ((saved & ~0x6000u) | mode) & ~0x3Fu);
        if (::testing::Test::HasFatalFailure()) return;
    }
}

// The matrix is a pointer as well: null is refused ahead of the sizes and
// writes nothing.  The order of pointers, sizes and steps, and errors that
// write nothing, are the robustness table's rows (tests/robust), which never
// pass a null matrix.
TYPED_TEST(Twist, NullMatrixRefusedFirst) {
    using T = TypeParam;
    for (Form f : kForms) {
        T s[64] = {}, d[64];
        for (size_t i = 0; i < 64; ++i) d[i] = guard<T>(i);
        T* sp[3] = {s, s + 16, s + 32};
        T* dp[3] = {d, d + 16, d + 32};
        for (CelSize roi : {CelSize{1, 1}, CelSize{0, 1}})
            EXPECT_EQ(twistFns<T>()(f, s, 16, d, 16, sp, dp, roi, nullptr), celStatusNullPointer) << name(f);
        for (size_t i = 0; i < 64; ++i) ASSERT_TRUE(same(d[i], guard<T>(i))) << name(f) << " wrote " << i;
    }
    float s4[16] = {}, d4[16] = {};
    for (CelSize roi : {CelSize{1, 1}, CelSize{0, 0}})
        EXPECT_EQ(celiColorTwist_32f_C4R(s4, 16, d4, 16, roi, nullptr), celStatusNullPointer);
}

// ---- Every 8u input ------------------------------------------------------------------------------
// All 2^24 colours through the C3, AC4 and planar 8u forms, as tall images
// of narrow rows: 16 (C3 only) and 4 pixels wide (vector bodies only) and 3
// wide (the scalar tail alone), with matrices of exact halves (ties both ways),
// offsets that saturate at both limits, and a colour matrix whose sums are
// rarely exact.  AC4 alpha keeps its old value.
TEST(TwistSweep, Every8uInputThroughBodyAndTail) {
    const Mat mats[] = {{{0.5f, 0.25f, 0.25f, 0.5f}, {0.5f, -0.5f, 0.5f, 127.5f}, {-0.25f, 0.75f, 0.5f, 0.0f}},
                        {{1.5f, -0.75f, 0.5f, -20.25f}, {-1.0f, 2.0f, 0.5f, 10.5f}, {0.125f, 0.5f, 1.25f, -100.0f}},
                        {{1.6809f, -0.5729f, -0.1080f, 0.0f}, {-0.1848f, 1.4321f, -0.2473f, 0.31f},
                         {0.0257f, -0.5062f, 1.4805f, -0.5f}}};
    const int64_t count = celtest::sweep24Count();
    std::vector<uint8_t> want(size_t(count) * 3);
    for (const auto& m : mats) {
        for (int64_t i = 0; i < count; ++i) {
            int c[3];
            celtest::sweep24Input(i, c[0], c[1], c[2]);
            for (int k = 0; k < 3; ++k) want[size_t(i) * 3 + k] = modelOut<uint8_t>(m, k, float(c[0]), float(c[1]), float(c[2]));
        }
        for (auto [f, w] : {std::pair{Form::C3R, 16}, {Form::C3R, 4}, {Form::C3R, 3}, {Form::AC4R, 4}, {Form::AC4R, 3},
                            {Form::P3R, 4}, {Form::P3R, 3}}) {
            const int ch = channels(f), planes = planar(f) ? 3 : 1, h = celtest::sweep24Rows(w);
            const size_t n = size_t(w) * h;
            std::vector<std::vector<uint8_t>> src(planes), dst(planes);
            for (int k = 0; k < planes; ++k) src[k].resize(n * ch), dst[k].assign(n * ch, 0x5A);
            const auto at = [&](std::vector<std::vector<uint8_t>>& img, size_t i, int k) -> uint8_t& {
                return planes == 3 ? img[k][i] : img[0][i * ch + k];
            };
            for (size_t i = 0; i < n; ++i) {
                int c[3];
                celtest::sweep24Input(int64_t(i) % count, c[0], c[1], c[2]);
                for (int k = 0; k < 3; ++k) at(src, i, k) = uint8_t(c[k]);
            }
            uint8_t* sp[3] = {src[0].data(), src[planes / 3].data(), src[2 * planes / 3].data()};
            uint8_t* dp[3] = {dst[0].data(), dst[planes / 3].data(), dst[2 * planes / 3].data()};
            ASSERT_EQ(twistFns<uint8_t>()(f, sp[0], w * ch, dp[0], w * ch, sp, dp, {w, h}, m), celStatusOk);
            for (size_t i = 0; i < n; ++i)
                for (int k = 0; k < ch; ++k) {
                    const uint8_t got = at(dst, i, k), e = k == 3 ? 0x5A : want[size_t(int64_t(i) % count) * 3 + k];
                    if (got != e)
                        FAIL() << name(f) << " w " << w << " colour " << int(at(src, i, 0)) << "," << int(at(src, i, 1))
                               << "," << int(at(src, i, 2)) << " channel " << k << ": got " << int(got) << " want "
                               << int(e);
                }
        }
    }
}

// ---- Worked values -----------------------------------------------------------------------------------
// Halves (0.5, 1.5, 2.5) round to even, 0, 2, 2, in every mode of the caller, which is kept.
TEST(TwistWorked, HalvesRoundToEvenInEveryMode) {
    const unsigned saved = _mm_getcsr();
    const Mat half = {{0.5f, 0, 0, 0}, {0, 0.5f, 0, 0}, {0, 0, 0.5f, 0}};
    const uint8_t s[3] = {1, 3, 5};
    for (unsigned mode : {0x0000u, 0x2000u, 0x4000u, 0x6000u}) {
        uint8_t d[3] = {9, 9, 9};
        _mm_setcsr((saved & ~0x6000u) | mode);
        const CelStatus st = celiColorTwist32f_8u_C3R(s, 3, d, 3, {1, 1}, half);
        const unsigned after = _mm_getcsr();
        _mm_setcsr(saved);
        ASSERT_EQ(st, celStatusOk);
        EXPECT_EQ(std::vector<int>(d, d + 3), (std::vector<int>{0, 2, 2})) << mode;
        EXPECT_EQ(after & 0x6000u, mode);
    }
}

// ---- The 32f paths ----------------------------------------------------------------------------------
// One call of a 32f form of n channels (3 or 4) on a w x h image, rows of
// w * n samples plus `gap`, source and destination `lead` and `dlead`
// samples past a 16-byte boundary; every sample of the destination against
// model(source pixel, channel), the gaps and what lies around keep `fill`.
template <class Call, class Model>
void checkFloatPath(int n, CelSize sz, int gap, int lead, int dlead, std::mt19937& rng, Call call, Model model) {
    const int stepF = sz.width * n + gap;
    std::vector<float> src(size_t(stepF) * sz.height + 8), dst(src.size(), -9.0f);
    for (float& v : src) v = randomSample<float>(rng);
    ASSERT_EQ(call(src.data() + lead, stepF * 4, dst.data() + dlead, stepF * 4, sz), celStatusOk);
    for (size_t i = 0; i < dst.size(); ++i) {
        const long rel = long(i) - dlead, y = rel / stepF, x = rel % stepF;
        const bool inside = rel >= 0 && y < sz.height && x < sz.width * n;
        const float want = inside ? model(&src[size_t(lead + y * stepF + x - x % n)], int(x % n)) : -9.0f;
        ASSERT_TRUE(same(dst[i], want)) << sz.width << "x" << sz.height << " gap " << gap << " lead " << lead << " at " << i;
    }
}

// 32f C3R: gap-free images as one row (34992 and 34995 samples: the
// non-temporal path from 34993 on), small and large images row by row,
// sources not 16-byte aligned.
TEST(TwistPaths, Float3x4Paths) {
    std::mt19937 rng(3);
    Mat m;
    makeMatrix(2, rng, m);
    for (CelSize sz : {CelSize{11664, 1}, CelSize{11665, 1}, CelSize{5, 7}, CelSize{1000, 12}, CelSize{3, 2}})
        for (int gap : {0, 4})
            for (int lead : {0, 1, 2, 3})
                checkFloatPath(
                    3, sz, gap, lead, lead, rng,
                    [&](const float* s, int ss, float* d, int ds, CelSize r) { return celiColorTwist_32f_C3R(s, ss, d, ds, r, m); },
                    [&](const float* p, int c) { return modelOut<float>(m, c, p[0], p[1], p[2]); });
}

// 4x4 on four channels: every path (aligned pairs, 8-byte moves, scalar),
// all four channels rewritten; sources 16-, 4-, 8- and 12-byte past a
// 16-byte boundary (the destination too where the source is 4 past); steps
// of width * 16 plus a gap go row by row, steps of width * 4 make the image
// one row of width * height pixels.
TEST(TwistPaths, FourByFour) {
    std::mt19937 rng(44);
    float m[4][4];
    for (auto& row : m)
        for (float& v : row) v = std::uniform_real_distribution<float>(-2, 2)(rng);
    const auto call = [&](const float* s, int ss, float* d, int ds, CelSize r) { return celiColorTwist_32f_C4R(s, ss, d, ds, r, m); };
    const auto model = [&](const float* s, int r) {
        return s[3] * m[r][3] + (s[2] * m[r][2] + (s[0] * m[r][0] + s[1] * m[r][1]));
    };
    for (int lead : {0, 1, 2, 3})
        for (int w : {1, 2, 3, 8, 17}) checkFloatPath(4, {w, 3}, 4, lead, lead == 1 ? 1 : 0, rng, call, model);
    const int w = 3, h = 4;
    std::vector<float> src(size_t(w) * h * 4), dst(src.size() + 4, -9.0f);
    for (float& v : src) v = randomSample<float>(rng);
    ASSERT_EQ(call(src.data(), w * 4, dst.data(), w * 4, {w, h}), celStatusOk);
    for (size_t i = 0; i < dst.size(); ++i)
        ASSERT_TRUE(same(dst[i], i < src.size() ? model(&src[i - i % 4], int(i % 4)) : -9.0f)) << "one row, at " << i;
}

}  // namespace
