// The matrix spaces in every depth and layout against models (float
// products and sums rounded one at a time in the stated order; the 8u forms
// by the pixel's place in the row): RGB <-> XYZ (the two 8u integer
// matrices, the dense float sweep) and RGB <-> photo YCC (the 8u body's
// 16-bit lane operations one by one, the tail in 32-bit integers; zero
// source steps); every 8u input through body and tail, worked values.
#include <gtest/gtest.h>
#include <xmmintrin.h>

#include <cmath>
#include <cstring>
#include <random>

#include "celcc.h"
#include "colorspaces/interleaved_check.h"

namespace {

int clampi(int v, int lo, int hi) { return v < lo ? lo : v > hi ? hi : v; }
int32_t trunc32(float f) { return _mm_cvttss_si32(_mm_set_ss(f)); }
// Products and sums rounded to float one at a time.
float mul(float a, float b) {
    volatile float p = a * b;
    return p;
}
float add(float a, float b) {
    volatile float s = a + b;
    return s;
}

// ---- XYZ ----------------------------------------------------------------------------------------------
namespace xyz {
const float kF[3][3] = {{0.412453f, 0.35758f, 0.180423f}, {0.212671f, 0.71516f, 0.072169f}, {0.019334f, 0.119193f, 0.950227f}};
const float kR[3][3] = {{3.240479f, -1.53715f, -0.498535f}, {-0.969256f, 1.875991f, 0.041556f}, {0.055648f, -0.204043f, 1.057311f}};
const int kF15[3][3] = {{13515, 11717, 5912}, {6969, 23434, 2365}, {634, 3906, 31137}};
const int kF16[3][3] = {{27030, 23434, 11824}, {13937, 46868, 4729}, {1267, 7811, 62274}};
const int kR13[3][3] = {{26546, -12591, -4083}, {-7939, 15368, 340}, {456, -1671, 8661}};
const int kR16[3][3] = {{212368, -100738, -32671}, {-63521, 122944, 2723}, {3646, -13372, 69291}};

float dot(const float (&m)[3], float a, float b, float c) { return add(add(mul(m[0], a), mul(m[1], b)), mul(m[2], c)); }

// Expected outputs of one pixel; x is its position, w the row width.
void model8u(bool fwd, bool ac4, int x, int w, const uint8_t* p, int out[3]) {
    const int bodyEnd = ac4 ? w - w % 4 : w - w % 8;
    for (int k = 0; k < 3; ++k) {
        if (x < bodyEnd) {
            const auto& m = fwd ? kF15 : kR13;
            out[k] = clampi((m[k][0] * p[0] + m[k][1] * p[1] + m[k][2] * p[2]) >> (fwd ? 15 : 13), 0, 255);
        } else {
            const auto& m = fwd ? kF16 : kR16;
            const int v = (m[k][0] * p[0] + m[k][1] * p[1] + m[k][2] * p[2]) >> 16;
            out[k] = fwd ? (k == 2 ? std::min(v, 255) : v & 0xFF) : clampi(v, 0, 255);
        }
    }
}

template <class T>
void model16(bool fwd, const T* p, int out[3]) {
    const bool sgn = std::is_same_v<T, int16_t>;
    const float a = float(p[0] + (sgn ? 32768 : 0)), b = float(p[1] + (sgn ? 32768 : 0)), c = float(p[2] + (sgn ? 32768 : 0));
    for (int k = 0; k < 3; ++k) {
        const int t = clampi(trunc32(dot(fwd ? kF[k] : kR[k], a, b, c)) - 32768, -32768, 32767);
        out[k] = sgn ? t : t + 32768;
    }
}

void model32f(bool fwd, const float* p, float out[3]) {
    for (int k = 0; k < 3; ++k) {
        const float v = dot(fwd ? kF[k] : kR[k], p[0], p[1], p[2]);
        const float low = v > 0.0f ? v : 0.0f;  // forward Z: NaN and -0 become 0; the reverse keeps them
        out[k] = fwd ? (k < 2 ? v : low < 1.0f ? low : 1.0f) : v < 0.0f ? 0.0f : v > 1.0f ? 1.0f : v;
    }
}

// The model's results of the pixel at column x of a row of width w.
template <class T>
void expected(bool fwd, bool ac4, int x, int w, const T* p, T e[3]) {
    if constexpr (std::is_same_v<T, float>) {
        model32f(fwd, p, e);
    } else {
        int o[3];
        if constexpr (std::is_same_v<T, uint8_t>)
            model8u(fwd, ac4, x, w, p, o);
        else
            model16<T>(fwd, p, o);
        for (int k = 0; k < 3; ++k) e[k] = static_cast<T>(o[k]);
    }
}

CSTEST_FORMS_BY_DEPTH(RGBToXYZ, XYZToRGB)

template <class T>
class Xyz : public ::testing::Test {};
TYPED_TEST_SUITE(Xyz, cstest::AllDepths);

// Random images, floats a little out of range.
TYPED_TEST(Xyz, MatchesModelEveryForm) {
    using T = TypeParam;
    cstest::checkForms(forms<T>(), [](std::mt19937& rng, int) { return cstest::randomSample<T>(rng, -0.2f, 1.3f); },
                       [](const auto& f, int x, int w, const T* p, T* e) { expected(f.fwd, f.ac4, x, w, p, e); });
}

// Every 8u input through the body (rows of 16) and the tail (rows one short
// of the body: 7 in C3, 3 in AC4), both directions.
TEST(Xyz8u, EveryInputThroughBodyAndTail) {
    for (const auto& f : forms<uint8_t>())
        cstest::sweepEvery8u(f.name, f.fn, f.ac4 ? 4 : 3, 16, f.ac4 ? 3 : 7,
                             [&](int x, int w, const uint8_t* p, uint8_t* e) { expected(f.fwd, f.ac4, x, w, p, e); });
}

// White on 8u differs between the body's Q15 matrix and the tail's Q16 one
// (rows of 8 or 4 all body, of 7 or 3 all tail); the 16-bit extremes pack
// to the ends; 32f forward limits Z alone (NaN and -0 to 0), the reverse
// limits every channel and keeps a NaN.
TEST(XyzWorked, DocumentedValues) {
    const auto any = cstest::kAny, nan = std::nan("");
    cstest::expectWorked<uint8_t, uint8_t>({
        {"RGBToXYZ_8u_C3R", celiRGBToXYZ_8u_C3R, false, {8}, {255, 255, 255}, {242, 255, 255}},
        {"RGBToXYZ_8u_C3R", celiRGBToXYZ_8u_C3R, false, {7}, {255, 255, 255}, {242, 254, 255}},
        {"RGBToXYZ_8u_AC4R", celiRGBToXYZ_8u_AC4R, true, {4}, {255, 255, 255}, {242, 255, 255}},
        {"RGBToXYZ_8u_AC4R", celiRGBToXYZ_8u_AC4R, true, {3}, {255, 255, 255}, {242, 254, 255}},
    });
    cstest::expectWorked<uint16_t, uint16_t>(
        {{"RGBToXYZ_16u_C3R", celiRGBToXYZ_16u_C3R, false, {1}, {65535, 65535, 65535}, {any, any, 65535}}});
    cstest::expectWorked<int16_t, int16_t>({
        {"RGBToXYZ_16s_C3R", celiRGBToXYZ_16s_C3R, false, {1}, {-32768, -32768, -32768}, {-32768, -32768, -32768}},
        {"RGBToXYZ_16s_C3R", celiRGBToXYZ_16s_C3R, false, {1}, {32767, 32767, 32767}, {any, any, 32767}},
        {"XYZToRGB_16s_C3R", celiXYZToRGB_16s_C3R, false, {1}, {-32768, -32768, -32768}, {-32768, any, any}},
    });
    cstest::expectWorked<float, float>({
        {"RGBToXYZ_32f_C3R", celiRGBToXYZ_32f_C3R, false, {4, 1}, {2, 2, 2}, {1.900912, 2.0, 1.0}, 1e-5},
        {"XYZToRGB_32f_C3R", celiXYZToRGB_32f_C3R, false, {1}, {0, 1, 0}, {0, 1, 0}},
        {"RGBToXYZ_32f_C3R", celiRGBToXYZ_32f_C3R, false, {4, 1}, {NAN, 0, 0}, {nan, nan, 0}},
        {"XYZToRGB_32f_C3R", celiXYZToRGB_32f_C3R, false, {4, 1}, {NAN, 0, 0}, {nan, any, any}},
    });
}

// 32f both ways over the dense float sweep, rows of 16 (body) and 3 (tail),
// each against the model (a NaN result only as a NaN).
TEST(XyzSweep, Float32DenseBodyAndTail) {
    for (bool fwd : {true, false})
        cstest::sweep<float, float>(fwd ? "RGBToXYZ_32f_C3R" : "XYZToRGB_32f_C3R", fwd ? celiRGBToXYZ_32f_C3R : celiXYZToRGB_32f_C3R, 3,
                           cstest::denseFloatCount(), 16, 3, false, cstest::denseFloatInput,
                           [&](int, int, const float* p, float* e) { model32f(fwd, p, e); });
}
}  // namespace xyz

// ---- Photo YCC ----------------------------------------------------------------------------------------
namespace ycc {
float lumaOf(float r, float g, float b) { return add(add(mul(0.299f, r), mul(0.587f, g)), mul(0.114f, b)); }

// 16-bit lane operations of the 8u body.
int mulhiU(int a, int b) { return int((uint32_t(uint16_t(a)) * uint32_t(uint16_t(b))) >> 16); }
int mulhiS(int a, int b) { return (int32_t(int16_t(a)) * int32_t(int16_t(b))) >> 16; }
int satS(int v) { return clampi(v, -32768, 32767); }
int satU(int v) { return clampi(v, 0, 65535); }

void model8u(bool fwd, bool body, const uint8_t* p, int out[3]) {
    const int a = p[0], b = p[1], c = p[2];
    if (fwd && body) {
        const int y6 = satU(satU(mulhiU(a << 8, 4898) + mulhiU(b << 8, 9617)) + mulhiU(c << 8, 1867));
        const int d2 = satS((a << 6) - y6), d1 = satS((c << 6) - y6);
        out[0] = mulhiS(y6, 2921) >> 2;
        out[1] = satS(mulhiS(d1, 1789) + 624) >> 2;
        out[2] = satS(mulhiS(d2, 2178) + 548) >> 2;
        for (int k = 0; k < 3; ++k) out[k] = clampi(out[k], 0, 255);
    } else if (fwd) {
        const int t = 4898 * a + 9617 * b + 1867 * c;
        out[0] = ((t >> 10) * 2921) >> 16;
        out[1] = (((((c << 14) - t) >> 10) * 1789 >> 16) + 156) & 0xFF;
        out[2] = (((((a << 14) - t) >> 10) * 2178 >> 16) + 137) & 0xFF;
    } else if (body) {
        const int y4 = mulhiU(a << 8, 5563);
        const int e1 = int16_t(satS(b - 156) * 128), e2 = int16_t(satS(c - 137) * 128);
        const int q1 = mulhiS(e1, 18168), q2 = mulhiS(e2, 14921);
        out[0] = clampi(satS(y4 + q2) >> 4, 0, 255);
        out[1] = clampi(satS(satS((y4 >> 1) + mulhiS(q1, -6357)) + mulhiS(q2, -16679)) >> 3, 0, 255);
        out[2] = clampi(satS(y4 + q1) >> 4, 0, 255);
    } else {
        const int y = 5564 * a, u = 9084 * b - 156 * 9084, v = 7460 * c - 137 * 7460;
        out[0] = clampi((y + v) >> 12, 0, 255);
        out[1] = clampi((y * 16 + (u >> 8) * -794 + (v >> 8) * -2084) >> 16, 0, 255);
        out[2] = clampi((y + u) >> 12, 0, 255);
    }
}

// 16u and 16s: integer results (16s as signed values).
template <class T>
void model16(bool fwd, const T* p, int out[3]) {
    const bool sgn = std::is_same_v<T, int16_t>;
    const int off = sgn ? 32768 : 0;
    const float a = float(p[0] + off), b = float(p[1] + off), c = float(p[2] + off);
    float o[3];
    if (fwd && !sgn) {
        o[0] = add(add(add(mul(0.213267f, a), 0.49999f), mul(0.418688f, b)), mul(0.0813124f, c));
        o[1] = add(add(add(mul(-0.130621f, a), 40092.5f), -mul(0.256437f, b)), mul(0.387058f, c));
        o[2] = add(add(add(mul(0.372876f, a), 35209.5f), -mul(0.312237f, b)), -mul(0.0606389f, c));
    } else if (fwd) {
        const float l = lumaOf(a, b, c);
        o[0] = add(mul(0.7132668f, l), 0.49999f);
        o[1] = add(mul(add(c, -l), 0.4368627f), 40092.5f);
        o[2] = add(mul(add(a, -l), 0.5319216f), 35209.5f);
    } else if (!sgn) {
        const float y = add(mul(a, 1.3584f), 0.49999f), c1 = float(p[1] - 40092), c2 = float(p[2] - 35209);
        o[0] = add(mul(1.8215f, c2), y);
        o[1] = add(add(y, -mul(0.4302726f, c1)), -mul(0.92714345f, c2));
        o[2] = add(y, mul(c1, 2.2179f));
    } else {
        const float y = mul(a, 1.3584f), c1 = mul(float(p[1] - 7324), 2.2179f), c2 = mul(float(p[2] - 2441), 1.8215f);
        o[0] = add(y, c2);
        o[1] = add(add(y, -mul(c1, 0.194f)), -mul(c2, 0.509f));
        o[2] = add(y, c1);
    }
    for (int k = 0; k < 3; ++k) out[k] = clampi(trunc32(o[k]), 0, 65535) - off;
}

float limit01(float v) { return v < 0.0f ? 0.0f : (v > 1.0f ? 1.0f : v); }

void model32f(bool fwd, const float* p, float out[3]) {
    if (fwd) {
        const float l = lumaOf(p[0], p[1], p[2]);
        out[0] = mul(0.7132668f, l);
        out[1] = add(mul(add(p[2], -l), 0.4368627f), 0.6117647f);
        out[2] = add(mul(add(p[0], -l), 0.53192f), 0.5372549f);
    } else {
        const float y = mul(p[0], 1.3584f), c1 = mul(add(p[1], -0.6117647f), 2.2179f), c2 = mul(add(p[2], -0.5372549f), 1.8215f);
        out[0] = limit01(add(y, c2));
        out[1] = limit01(add(add(y, -mul(0.194f, c1)), -mul(c2, 0.509f)));
        out[2] = limit01(add(y, c1));
    }
}

CSTEST_FORMS_BY_DEPTH(RGBToYCC, YCCToRGB)

// The model's results of the pixel at column x of a row of width w.
template <class T>
void expected(const cstest::Form<T>& f, int x, int w, const T* p, T e[3]) {
    if constexpr (std::is_same_v<T, float>) {
        model32f(f.fwd, p, e);
    } else {
        int o[3];
        if constexpr (std::is_same_v<T, uint8_t>)
            model8u(f.fwd, x < w - w % 8, p, o);
        else
            model16<T>(f.fwd, p, o);
        for (int k = 0; k < 3; ++k) e[k] = static_cast<T>(o[k]);
    }
}
template <class T>
T sample(std::mt19937& rng, int = 0) { return cstest::randomSample<T>(rng, -0.3f, 1.4f); }

template <class T>
class Ycc : public ::testing::Test {};
TYPED_TEST_SUITE(Ycc, cstest::AllDepths);

TYPED_TEST(Ycc, MatchesModelEveryForm) {
    using T = TypeParam;
    cstest::checkForms(forms<T>(), sample<T>, [](const auto& f, int x, int w, const T* p, T* e) { expected(f, x, w, p, e); });
}

// A zero source step converts the first row into every row.
TYPED_TEST(Ycc, ZeroSourceStepRepeatsTheRow) {
    using T = TypeParam;
    const int w = 21, h = 4, step = 3 * w, bs = step * int(sizeof(T));
    std::mt19937 rng(4);
    std::vector<T> src(static_cast<size_t>(step)), a(src.size()), b(size_t(step) * h);
    for (auto& v : src) v = sample<T>(rng);
    for (const auto& f : forms<T>()) {
        if (f.ac4) continue;
        ASSERT_EQ(f.fn(src.data(), bs, a.data(), bs, {w, 1}), celStatusOk);
        ASSERT_EQ(f.fn(src.data(), 0, b.data(), bs, {w, h}), celStatusOk);
        for (int y = 0; y < h; ++y) EXPECT_EQ(0, std::memcmp(a.data(), b.data() + size_t(step) * y, size_t(bs))) << f.name;
    }
}

// Every 8u triple through the body (rows of 16) and through the tail (rows of 7).
TEST(Ycc8u, EveryTripleInBodyAndTail) {
    for (const auto& f : forms<uint8_t>())
        if (!f.ac4)
            cstest::sweepEvery8u(f.name, f.fn, 3, 16, 7, [&](int x, int w, const uint8_t* p, uint8_t* e) { expected(f, x, w, p, e); });
}

// 8u black and white through body (rows of 8) and tail (rows of 7), t of
// white 255 * 16382; the tail's 5564 against the body's 5563 (and Q12
// against Q4): a neutral Y of 187 decodes to 253 in the body, 254 in the
// tail; 16-bit black; 32f forward unlimited (0.7132668 * 2), the reverse
// limited (a neutral 2.7168 before the limit, C1 and C2 far below their
// biases).
TEST(YccWorked, DocumentedValues) {
    using W8 = cstest::Worked<uint8_t>;
    const auto any = cstest::kAny;
    cstest::expectWorked<uint8_t, uint8_t>({
        W8{"RGBToYCC_8u_C3R", celiRGBToYCC_8u_C3R, false, {8, 7}, {0, 0, 0}, {0, 156, 137}},
        W8{"YCCToRGB_8u_C3R", celiYCCToRGB_8u_C3R, false, {8, 7}, {0, 156, 137}, {0, 0, 0}},
        W8{"RGBToYCC_8u_C3R", celiRGBToYCC_8u_C3R, false, {8, 7}, {255, 255, 255}, {181, 156, 137}},
        W8{"YCCToRGB_8u_C3R", celiYCCToRGB_8u_C3R, false, {8}, {187, 156, 137}, {253, 253, 253}},
        W8{"YCCToRGB_8u_C3R", celiYCCToRGB_8u_C3R, false, {7}, {187, 156, 137}, {254, 254, 254}},
    });
    cstest::expectWorked<uint16_t, uint16_t>({
        {"RGBToYCC_16u_C3R", celiRGBToYCC_16u_C3R, false, {1}, {0, 0, 0}, {0, 40092, 35209}},
        {"YCCToRGB_16u_C3R", celiYCCToRGB_16u_C3R, false, {1}, {0, 40092, 35209}, {0, 0, 0}},
    });
    cstest::expectWorked<int16_t, int16_t>({
        {"RGBToYCC_16s_C3R", celiRGBToYCC_16s_C3R, false, {1}, {-32768, -32768, -32768}, {-32768, 7324, 2441}},
        {"YCCToRGB_16s_C3R", celiYCCToRGB_16s_C3R, false, {1}, {-32768, 7324, 2441}, {-32768, -32768, -32768}},
    });
    cstest::expectWorked<float, float>({
        {"RGBToYCC_32f_C3R", celiRGBToYCC_32f_C3R, false, {4, 1}, {2, 2, 2}, {1.4265336, 0.6117647, any}, 1e-6},
        {"YCCToRGB_32f_C3R", celiYCCToRGB_32f_C3R, false, {4, 1}, {2, 0.6117647f, 0.5372549f}, {1, 1, 1}},
        {"YCCToRGB_32f_C3R", celiYCCToRGB_32f_C3R, false, {1}, {0, 0, 0}, {0, any, 0}},
    });
}
}  // namespace ycc

}  // namespace
