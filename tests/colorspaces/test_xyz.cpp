// RGB <-> XYZ in every depth and layout: an independent model (float products
// in the stated order, the two 8u integer matrices by position), worked values,
// alpha kept, canaries (statuses: the robustness table's rows).
#include <gtest/gtest.h>
#include <xmmintrin.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "celcc.h"
#include "colorspaces/interleaved_check.h"

namespace {

// ---- Model -------------------------------------------------------------------------------
const float kF[3][3] = {{0.412453f, 0.35758f, 0.180423f}, {0.212671f, 0.71516f, 0.072169f}, {0.019334f, 0.119193f, 0.950227f}};
const float kR[3][3] = {{3.240479f, -1.53715f, -0.498535f}, {-0.969256f, 1.875991f, 0.041556f}, {0.055648f, -0.204043f, 1.057311f}};
const int kF15[3][3] = {{13515, 11717, 5912}, {6969, 23434, 2365}, {634, 3906, 31137}};
const int kF16[3][3] = {{27030, 23434, 11824}, {13937, 46868, 4729}, {1267, 7811, 62274}};
const int kR13[3][3] = {{26546, -12591, -4083}, {-7939, 15368, 340}, {456, -1671, 8661}};
const int kR16[3][3] = {{212368, -100738, -32671}, {-63521, 122944, 2723}, {3646, -13372, 69291}};

float dot(const float (&m)[3], float a, float b, float c) {
    volatile float p0 = m[0] * a, p1 = m[1] * b, p2 = m[2] * c;  // each product rounded by itself
    volatile float s = p0 + p1;
    return s + p2;
}
int32_t trunc32(float f) { return _mm_cvttss_si32(_mm_set_ss(f)); }
int clampi(int v, int lo, int hi) { return v < lo ? lo : v > hi ? hi : v; }

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
    if (fwd) {
        out[0] = dot(kF[0], p[0], p[1], p[2]);
        out[1] = dot(kF[1], p[0], p[1], p[2]);
        const float z = dot(kF[2], p[0], p[1], p[2]);
        const float low = z > 0.0f ? z : 0.0f;  // NaN and -0 become 0
        out[2] = low < 1.0f ? low : 1.0f;
    } else {
        const float X = p[0], Y = p[1], Z = p[2];
        volatile float r1 = 3.240479f * X, r2 = 1.53715f * Y, r3 = 0.498535f * Z;
        volatile float g1 = -0.969256f * X, g2 = 1.875991f * Y, g3 = 0.041556f * Z;
        volatile float b1 = 0.055648f * X, b2 = 0.204043f * Y, b3 = 1.057311f * Z;
        volatile float r = r1 - r2, g = g1 + g2, b = b1 - b2;
        const float o[3] = {r - r3, g + g3, b + b3};
        for (int k = 0; k < 3; ++k) out[k] = o[k] < 0.0f ? 0.0f : (o[k] > 1.0f ? 1.0f : o[k]);
    }
}

// ---- Random images against the model ----------------------------------------------------
template <class T>
T randomSample(std::mt19937& rng) {
    if constexpr (std::is_same_v<T, float>)
        return std::uniform_real_distribution<float>(-0.2f, 1.3f)(rng);
    else
        return static_cast<T>(rng());
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

template <class T>
cstest::Export<T, T> xyzExport(bool fwd, bool ac4) {
#define CEL_XYZ(depth) return fwd ? (ac4 ? celiRGBToXYZ_##depth##_AC4R : celiRGBToXYZ_##depth##_C3R) \
                              : (ac4 ? celiXYZToRGB_##depth##_AC4R : celiXYZToRGB_##depth##_C3R);
    if constexpr (std::is_same_v<T, uint8_t>) { CEL_XYZ(8u) }
    else if constexpr (std::is_same_v<T, uint16_t>) { CEL_XYZ(16u) }
    else if constexpr (std::is_same_v<T, int16_t>) { CEL_XYZ(16s) }
    else { CEL_XYZ(32f) }
#undef CEL_XYZ
}

template <class T>
class Xyz : public ::testing::Test {};
using Depths = ::testing::Types<uint8_t, uint16_t, int16_t, float>;
TYPED_TEST_SUITE(Xyz, Depths);

TYPED_TEST(Xyz, MatchesModelEveryForm) {
    using T = TypeParam;
    uint32_t seed = 1;
    for (bool fwd : {true, false})
        for (bool ac4 : {false, true}) {
            const std::string name = std::string(fwd ? "RGBToXYZ" : "XYZToRGB") + (ac4 ? "_AC4R" : "_C3R");
            cstest::checkEveryWidth<T, T>(name, xyzExport<T>(fwd, ac4), ac4, seed,
                                          [](std::mt19937& rng, int) { return randomSample<T>(rng); },
                                          [&](int x, int w, const T* p, T* e) { expected(fwd, ac4, x, w, p, e); });
            seed += 100;
        }
}

// Every 8u input through the body (rows of 16) and the tail (rows one short
// of the body: 7 in C3, 3 in AC4), both directions.
TEST(Xyz8u, EveryInputThroughBodyAndTail) {
    for (bool fwd : {true, false})
        for (bool ac4 : {false, true})
            cstest::sweepEvery8u(fwd ? "RGBToXYZ" : "XYZToRGB", xyzExport<uint8_t>(fwd, ac4), ac4 ? 4 : 3, 16, ac4 ? 3 : 7,
                                 [&](int x, int w, const uint8_t* p, uint8_t* e) { expected(fwd, ac4, x, w, p, e); });
}

// ---- Worked values ---------------------------------------------------------------------------
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

// 32f both ways over the dense float sweep (every 8-bit-valued colour, then
// out-of-range, signed zero, infinite, NaN and random-bit samples): rows of
// 16 (body) and 3 (tail), each against the model bit for bit (a NaN result
// only as a NaN: which operand's NaN survives is the compiler's choice).
TEST(XyzSweep, Float32DenseBodyAndTail) {
    for (bool fwd : {true, false})
        cstest::sweepFloat(fwd ? "RGBToXYZ_32f_C3R" : "XYZToRGB_32f_C3R", fwd ? celiRGBToXYZ_32f_C3R : celiXYZToRGB_32f_C3R,
                           cstest::denseFloatCount(), 16, 3, false, cstest::denseFloatInput,
                           [&](int, int, const float* p, float* e) { model32f(fwd, p, e); });
}

}  // namespace
