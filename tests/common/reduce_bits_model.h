// The bit-depth reduction family described for the tests, from its
// definitions and independent of the library's own recipes: the random
// source, the type forms (sample domain, grid step and factor), the path
// without dither, and a caller that reaches every form and channel layout.
#pragma once

#include <xmmintrin.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <type_traits>
#include <vector>

#include "celcc.h"

namespace rbmodel {

inline float tr(float x) { return static_cast<float>(_mm_cvttss_si32(_mm_set_ss(x))); }
inline int32_t ti(float x) { return _mm_cvttss_si32(_mm_set_ss(x)); }
inline int32_t clampi(int64_t v, int64_t lo, int64_t hi) { return static_cast<int32_t>(v < lo ? lo : v > hi ? hi : v); }

// The generator, from its definition: lagged subtract-with-borrow plus a
// congruential word; float and 16-bit outputs.
struct Gen {
    uint32_t a = 1131199209, b = 0, c, d;
    int32_t carry = -1;
    double mid, scale;
    Gen(double m, double s) : mid(m), scale(s) {
        c = 1013904243u;
        d = c * 69069u + 1013904243u;
    }
    double next() {
        const int32_t t = static_cast<int32_t>(static_cast<uint32_t>(carry) + c - d);
        const uint32_t u = t < 0 ? static_cast<uint32_t>(t) - 18u : static_cast<uint32_t>(t);
        carry = t < 0 ? -1 : 0;
        d = c, c = b, b = u;
        a = a * 69069u + 1013904243u;
        return double(static_cast<int32_t>(u + a)) * scale + mid;
    }
};

// The position table (0..1024) and a noise table uniform in lo..hi, both
// from seed 0.
struct NoiseTables {
    std::vector<float> N;
    std::vector<int> P;
    NoiseTables(float lo, float hi) {
        Gen gp(512.0, 1024.0 * std::ldexp(1.0, -32));
        for (int i = 0; i < 1024; ++i) P.push_back(static_cast<int>(std::nearbyint(gp.next())));
        Gen gn(double(lo + hi) * 0.5, double(hi - lo) * std::ldexp(1.0, -32));
        for (int i = 0; i < 1024; ++i) N.push_back(static_cast<float>(gn.next()));
    }
    int index(int x, int y) const { return (P[x & 1023] + 2 * y + x) & 1023; }
};

enum Ch { C1, C3, AC4, C4 };
inline const char* const kChNames[] = {"C1R", "C3R", "AC4R", "C4R"};
inline int stride(Ch c) { return c == C1 ? 1 : c == C3 ? 3 : 4; }

// A type form described for the model.
template <class S, class D>
struct TF {
    using Src = S;
    using Dst = D;
    static constexpr bool fsrc = std::is_same_v<S, float>;
    static constexpr bool d8 = sizeof(D) == 1, dsig = std::is_same_v<D, int16_t>;
    static constexpr int maxLevels = d8 ? 256 : 65536;
    static float v(S x) { return fsrc ? float(x) : float(int(x) + (std::is_same_v<S, int16_t> ? 32768 : 0)); }
    static void sf(float L, float& s, float& f) {
        if (fsrc)
            s = 1.0f / L, f = L;
        else if (sizeof(S) == 1)
            s = (65280.0f / L) * 0.00390625f, f = L / 255.0f;
        else
            s = 65535.0f / L, f = L / 65535.0f;
    }
    static float norm(S x) {
        if (fsrc) return float(x);
        uint32_t bits = sizeof(S) == 1 ? 0x3B808081u : 0x37800080u;
        float k;
        std::memcpy(&k, &bits, 4);
        return v(x) * k;
    }
    // Path without dither.
    static int plain(S x, float L) {
        const float xn = norm(x), inv = 1.0f / L, half = 0.5f / L;
        float b = tr(L * xn) * inv;
        if (xn - b > half) b = b + inv;
        const int32_t t = ti(b * (d8 ? 255.0f : 65535.0f));
        if (dsig) return clampi(int64_t(static_cast<int32_t>(static_cast<uint32_t>(t) - 32768u)), -32768, 32767);
        return clampi(t, 0, d8 ? 255 : 65535);
    }
    // Ordered output of B.
    static int out(float B, bool half) {
        int32_t t;
        if (fsrc)
            t = ti(half ? B * (d8 ? 255.0f : 65535.0f) + 0.5f : B * (d8 ? 255.0f : 65535.0f));
        else
            t = ti(B);
        if (!fsrc && sizeof(S) == 2 && d8) t >>= 8;
        t = clampi(t, 0, d8 ? 255 : 65535);
        return dsig ? t - 32768 : t;
    }
};

using F8u = TF<uint8_t, uint8_t>;
using F16u = TF<uint16_t, uint16_t>;
using F16s = TF<int16_t, int16_t>;
using F16u8u = TF<uint16_t, uint8_t>;
using F16s8u = TF<int16_t, uint8_t>;
using F32f8u = TF<float, uint8_t>;
using F32f16u = TF<float, uint16_t>;
using F32f16s = TF<float, int16_t>;

// The library's function for a form and channel layout.
template <class F>
CelStatus call(Ch ch, const typename F::Src* s, int ss, typename F::Dst* d, int ds, CelSize roi, int noise, int mode,
               int levels, uint8_t* scratch) {
#define CEL_CALL(tok)                                                                                         \
    switch (ch) {                                                                                             \
        case C1: return celiReduceBits_##tok##_C1R(s, ss, d, ds, roi, noise, CelDitherMode(mode), levels, scratch); \
        case C3: return celiReduceBits_##tok##_C3R(s, ss, d, ds, roi, noise, CelDitherMode(mode), levels, scratch); \
        case AC4: return celiReduceBits_##tok##_AC4R(s, ss, d, ds, roi, noise, CelDitherMode(mode), levels, scratch); \
        default: return celiReduceBits_##tok##_C4R(s, ss, d, ds, roi, noise, CelDitherMode(mode), levels, scratch); \
    }
    if constexpr (std::is_same_v<F, F8u>) CEL_CALL(8u)
    else if constexpr (std::is_same_v<F, F16u>) CEL_CALL(16u)
    else if constexpr (std::is_same_v<F, F16s>) CEL_CALL(16s)
    else if constexpr (std::is_same_v<F, F16u8u>) CEL_CALL(16u8u)
    else if constexpr (std::is_same_v<F, F16s8u>) CEL_CALL(16s8u)
    else if constexpr (std::is_same_v<F, F32f8u>) CEL_CALL(32f8u)
    else if constexpr (std::is_same_v<F, F32f16u>) CEL_CALL(32f16u)
    else CEL_CALL(32f16s)
#undef CEL_CALL
}

}  // namespace rbmodel
