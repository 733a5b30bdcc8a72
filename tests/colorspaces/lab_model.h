// The test's own model of the float Lab recipes, written from the formulas
// (shared by the interleaved and planar Lab tests and the LUV test): the
// cube-root table rebuilt from its rule, the series, the D65 matrices, the
// branches, rounding by the current mode.  Nothing here comes from the
// library's headers.
#pragma once

#include <xmmintrin.h>
#include <emmintrin.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstdint>
#include <type_traits>
#include <vector>

namespace lab_model {

// ---- Cube-root table, rebuilt from its rule -------------------------------------------
// t is cbrt((k + 1.013) / 128) to six decimals, r = 1 / t^3 to seven
// significant digits; entries 0, 1 and 127 are the documented pairs.
struct Pair {
    float t, r;
};
inline std::vector<Pair> buildTable() {
    std::vector<Pair> tab(128);
    for (int k = 0; k < 128; ++k) {
        char tb[32], rb[32];
        std::snprintf(tb, sizeof tb, "%.6f", std::cbrt((k + 1.013) / 128.0));
        const double t = std::strtod(tb, nullptr);
        std::snprintf(rb, sizeof rb, "%.7g", 1.0 / std::pow(t, 3.0));
        tab[k] = {std::strtof(tb, nullptr), std::strtof(rb, nullptr)};
    }
    tab[0] = {0.199269f, 126.3804f};
    tab[1] = {0.250533f, 63.59204f};
    tab[127] = {1.000038f, 0.999885f};
    return tab;
}
inline const std::vector<Pair> kTab = buildTable();

inline const float kSer[8] = {0.33333334f, -0.11111111f, 0.061728396f, -0.041152265f,
                       0.030178327f, -0.023472032f, 0.01900117f, -0.015834307f};
inline const float kSerLuv8u[4] = {0.33333334f, -0.11111111f, 0.061728396f, -0.030178327f};

inline float cbrtModel(float v, int terms, const float* c) {
    int k = _mm_cvttss_si32(_mm_set_ss(v * 127.99805f));
    k = k < 0 ? 0 : (k > 127 ? 127 : k);
    const float t = kTab[k].t, r = kTab[k].r;
    const float d = (v - t * t * t) * r;
    float s = 1.0f + c[0] * d, p = d;
    for (int i = 1; i < terms; ++i) {
        p = p * d;
        s = s + c[i] * p;
    }
    return t * s;
}

inline const float kM[3][3] = {{0.412453f, 0.35758f, 0.180423f}, {0.212671f, 0.71516f, 0.072169f}, {0.019334f, 0.119193f, 0.950227f}};
inline const float kI[3][3] = {{3.240479f, -1.53715f, -0.498535f}, {-0.969256f, 1.875991f, 0.041556f}, {0.055648f, -0.204043f, 1.057311f}};
inline float mat(const float (&m)[3], float a, float b, float c) { return (m[0] * a + m[1] * b) + m[2] * c; }
inline float rcpA(float a) { return _mm_cvtss_f32(_mm_rcp_ss(_mm_set_ss(a))); }
inline int rnd(float f) { return _mm_cvtss_si32(_mm_set_ss(f)); }
inline int trn(float f) { return _mm_cvttss_si32(_mm_set_ss(f)); }
inline int clampi(int v, int lo, int hi) { return v < lo ? lo : (v > hi ? hi : v); }

// ---- Lab model ------------------------------------------------------------------------
template <class S, class D>
void labForwardModel(const S* p, bool bgr, bool body, D* q) {
    const bool f32 = std::is_same_v<S, float>;
    const float c[3] = {float(p[bgr ? 2 : 0]), float(p[1]), float(p[bgr ? 0 : 2])};
    const float w[3] = {f32 ? 1.0521265f : 0.0041259914f, f32 ? 1.0f : 0.003921569f, f32 ? 0.9184812f : 0.0036018905f};
    const int terms = std::is_same_v<D, uint8_t> ? 4 : 8;
    float v[3], f[3], cr[3];
    for (int k = 0; k < 3; ++k) {
        v[k] = mat(kM[k], c[0], c[1], c[2]) * w[k];
        cr[k] = cbrtModel(v[k], terms, kSer);
        f[k] = v[k] <= 0.008856f ? 7.787f * v[k] + 0.13793103f : cr[k];
    }
    const float L = v[1] <= 0.008856f ? 903.3f * v[1] : 116.0f * cr[1] - 16.0f;
    const float a = 500.0f * (f[0] - f[1]), b = 200.0f * (f[1] - f[2]);
    if constexpr (std::is_same_v<D, float>) {
        q[0] = L, q[1] = a, q[2] = b;
    } else {
        const bool b8 = std::is_same_v<D, uint8_t>;
        const int e[3] = {rnd(b8 ? L * 2.55f : L * 655.35f), rnd(b8 ? a + 128.0f : (a + 128.0f) * 255.0f),
                          rnd(b8 ? b + 128.0f : (b + 128.0f) * 255.0f)};
        const int hi = b8 ? 255 : 65535;
        for (int k = 0; k < 3; ++k) q[k] = D(body ? clampi(e[k], 0, hi) : (e[k] & hi));
    }
}

template <class S, class D>
void labReverseModel(const S* p, bool bgr, D* q) {
    float L = float(p[0]), a = float(p[1]), b = float(p[2]);
    if (std::is_same_v<S, uint8_t>) L = L * 0.39215687f, a = a - 128.0f, b = b - 128.0f;
    if (std::is_same_v<S, uint16_t>) L = L * 0.0015259022f, a = a * 0.003921569f - 128.0f, b = b * 0.003921569f - 128.0f;
    const bool f32 = std::is_same_v<D, float>;
    const float fy = (L + 16.0f) * 0.00862069f, fx = fy + a * 0.002f, fz = fy - b * 0.005f;
    const float X = fx * fx * fx * (f32 ? 0.950456f : 242.366f), Y = fy * fy * fy * (f32 ? 1.0f : 255.0f);
    const float Z = fz * fz * fz * (f32 ? 1.0887539f : 277.632f);
    for (int k = 0; k < 3; ++k) {
        const float s = mat(kI[k], X, Y, Z);
        D o;
        if constexpr (std::is_same_v<D, float>)
            o = s;
        else
            o = D(clampi(rnd(s), 0, 255));
        q[bgr ? 2 - k : k] = o;
    }
}

}  // namespace lab_model
