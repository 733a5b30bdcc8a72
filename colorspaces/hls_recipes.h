// RGB <-> HLS (hexcone) recipes, scalar and vector twins side by side, in
// 32-bit float at every depth.  The RGB-order family (hls.cpp) and the
// BGR-order family with planes (hls_bgr.cpp) both take them from here.
//
// Full is the sample's full scale: 1 (32f), 255 (8u), 65535 (16u and 16s,
// the latter offset by 32768 before and after).
//
// Forward, the three ways of dividing stand side by side on purpose:
//   Exact   a true division (32f);
//   Approx  the processor's reciprocal approximation, uncorrected (integer
//           vector bodies);
//   Newton  the reciprocal approximation q refined once, (q + q) - d q q
//           (integer scalar tails, the BGR tails).
// Reverse, a hue step of 60 degrees is a division in the tails of 32f and
// RGB 8u, a multiplication by 0.016666668 everywhere else.
#pragma once

#include <smmintrin.h>

#include <cstdint>

namespace cel::hls {

enum class Div { Exact, Approx, Newton };

// ---- Constants: broadcast floats, nothing else -------------------------------------------
constexpr float kGrayEps32f = 1.1920929e-7f;  // 32f: a difference at or below it is gray
constexpr float kSixtieth = 0.016666668f;     // 1 / 60
template <int Full>
struct Scale;
template <>
struct Scale<1> {
    static constexpr float kToDeg = 360.0f, kUnit = 1.0f;
};
template <>
struct Scale<255> {
    static constexpr float kToCode = 0.7083333f, kToDeg = 1.4117647f, kUnit = 0.003921569f;  // 255/360, 360/255, 1/255
};
template <>
struct Scale<65535> {
    static constexpr float kToCode = 182.04167f, kToDeg = 0.005493248f, kUnit = 1.5259022e-5f;  // 65535/360, 360/65535
};

// ---- Division ------------------------------------------------------------------------------
template <Div K>
inline float over(float num, float den) {
    if constexpr (K == Div::Exact) {
        return num / den;
    } else {
        const float q = _mm_cvtss_f32(_mm_rcp_ss(_mm_set_ss(den)));
        if constexpr (K == Div::Approx) return num * q;
        return num * ((q + q) - den * q * q);
    }
}
inline __m128 overApprox(__m128 num, __m128 den) { return _mm_mul_ps(num, _mm_rcp_ps(den)); }

// ---- Forward: R, G, B as floats in sample units -> H code, L, S -----------------------------
// Gray (D of 0; 32f D at or below the float epsilon) gives H 0, S 0.
// Scalar twin.
template <int Full, Div K>
inline void rgbToHls(float R, float G, float B, float& h, float& l, float& s) {
    const float M = R > G ? (R > B ? R : B) : (G > B ? G : B);
    const float m = R < G ? (R < B ? R : B) : (G < B ? G : B);
    const float sum = M + m, D = M - m;
    l = sum / 2.0f;
    if (Full == 1 ? D <= kGrayEps32f : D == 0.0f) {
        h = 0.0f, s = 0.0f;
        return;
    }
    s = over<K>(D, l <= float(Full) / 2.0f ? sum : 2.0f * float(Full) - sum);
    if constexpr (Full != 1) s *= float(Full);
    float deg;
    if (R == M)
        deg = over<K>(60.0f * (G - B), D);
    else if (G == M)
        deg = 120.0f + over<K>(60.0f * (B - R), D);
    else
        deg = 240.0f + over<K>(60.0f * (R - G), D);
    if (deg < 0.0f) deg += 360.0f;
    if constexpr (Full == 1)
        h = deg / 360.0f;
    else
        h = deg * Scale<Full>::kToCode;
}

// Vector twin (integer depths): the uncorrected reciprocal, the three hue
// formulas selected by masks, R over G over B.
template <int Full>
inline void rgbToHls(__m128 R, __m128 G, __m128 B, __m128& h, __m128& l, __m128& s) {
    const __m128 M = _mm_max_ps(_mm_max_ps(R, G), B), m = _mm_min_ps(_mm_min_ps(R, G), B);
    const __m128 sum = _mm_add_ps(M, m), D = _mm_sub_ps(M, m);
    l = _mm_div_ps(sum, _mm_set1_ps(2.0f));
    const __m128 gray = _mm_cmpeq_ps(D, _mm_setzero_ps());
    const __m128 low = _mm_cmple_ps(l, _mm_set1_ps(float(Full) / 2.0f));
    const __m128 den = _mm_blendv_ps(_mm_sub_ps(_mm_set1_ps(2.0f * float(Full)), sum), sum, low);
    s = _mm_mul_ps(overApprox(D, den), _mm_set1_ps(float(Full)));
    const __m128 r = _mm_rcp_ps(D), k60 = _mm_set1_ps(60.0f);
    const __m128 isR = _mm_cmpeq_ps(R, M), isG = _mm_andnot_ps(isR, _mm_cmpeq_ps(G, M));
    __m128 deg = _mm_add_ps(_mm_set1_ps(240.0f), _mm_mul_ps(_mm_mul_ps(k60, _mm_sub_ps(R, G)), r));
    deg = _mm_blendv_ps(deg, _mm_add_ps(_mm_set1_ps(120.0f), _mm_mul_ps(_mm_mul_ps(k60, _mm_sub_ps(B, R)), r)), isG);
    deg = _mm_blendv_ps(deg, _mm_mul_ps(_mm_mul_ps(k60, _mm_sub_ps(G, B)), r), isR);
    deg = _mm_add_ps(deg, _mm_and_ps(_mm_cmplt_ps(deg, _mm_setzero_ps()), _mm_set1_ps(360.0f)));
    h = _mm_andnot_ps(gray, _mm_mul_ps(deg, _mm_set1_ps(Scale<Full>::kToCode)));
    s = _mm_andnot_ps(gray, s);
}

// Vector twin of the 32f scalar twin (true divisions): the same float
// operations in the same order over four lanes, so the same bits.  The max
// and min nestings are the scalar ternaries; one division serves the three
// hue formulas, whose differences and offsets are chosen by masks, R over G
// over B.  The R formula adds -0, which leaves every quotient as it is (a
// negative zero included).  Lanes that are gray divide by a tiny or zero D
// and are then discarded.
inline void rgbToHlsExact(__m128 R, __m128 G, __m128 B, __m128& h, __m128& l, __m128& s) {
    const __m128 M = _mm_max_ps(_mm_max_ps(R, G), B), m = _mm_min_ps(_mm_min_ps(R, G), B);
    const __m128 sum = _mm_add_ps(M, m), D = _mm_sub_ps(M, m);
    l = _mm_div_ps(sum, _mm_set1_ps(2.0f));
    const __m128 gray = _mm_cmple_ps(D, _mm_set1_ps(kGrayEps32f));
    const __m128 low = _mm_cmple_ps(l, _mm_set1_ps(0.5f));
    s = _mm_div_ps(D, _mm_blendv_ps(_mm_sub_ps(_mm_set1_ps(2.0f), sum), sum, low));
    const __m128 isR = _mm_cmpeq_ps(R, M), isG = _mm_cmpeq_ps(G, M);
    __m128 diff = _mm_blendv_ps(_mm_sub_ps(R, G), _mm_sub_ps(B, R), isG);
    diff = _mm_blendv_ps(diff, _mm_sub_ps(G, B), isR);
    __m128 add = _mm_blendv_ps(_mm_set1_ps(240.0f), _mm_set1_ps(120.0f), isG);
    add = _mm_blendv_ps(add, _mm_set1_ps(-0.0f), isR);
    __m128 deg = _mm_add_ps(add, _mm_div_ps(_mm_mul_ps(_mm_set1_ps(60.0f), diff), D));
    deg = _mm_blendv_ps(deg, _mm_add_ps(deg, _mm_set1_ps(360.0f)), _mm_cmplt_ps(deg, _mm_setzero_ps()));
    h = _mm_andnot_ps(gray, _mm_div_ps(deg, _mm_set1_ps(360.0f)));
    s = _mm_andnot_ps(gray, s);
}

// ---- Reverse: H, L, S as floats in sample units -> R, G, B in 0..1 --------------------------
// The caller treats S of 0 (every channel L) as its depth requires.
// One channel of the hexcone: h in degrees.
template <bool Mul60>
inline float hueChannel(float m1, float m2, float h) {
    const auto step = [](float v) { return Mul60 ? v * kSixtieth : v / 60.0f; };
    if (h < 60.0f) return m1 + step((m2 - m1) * h);
    if (h < 180.0f) return m2;
    if (h < 240.0f) return m1 + step((m2 - m1) * (240.0f - h));
    return m1;
}

// Scalar twin.
template <int Full, bool Mul60>
inline void hlsToRgb(float H, float L, float S, float out[3]) {
    const float deg = H * Scale<Full>::kToDeg, l = L * Scale<Full>::kUnit, s = S * Scale<Full>::kUnit;
    float m2;
    if (l <= 0.5f)
        m2 = Full == 1 ? (1.0f + s) * l : l + l * s;
    else
        m2 = (l + s) - s * l;
    const float m1 = 2.0f * l - m2;
    float hr = deg + 120.0f, hb = deg - 120.0f;
    if (hr > 360.0f) hr -= 360.0f;
    if (hb < 0.0f) hb += 360.0f;
    out[0] = hueChannel<Mul60>(m1, m2, hr);
    out[1] = hueChannel<Mul60>(m1, m2, deg);
    out[2] = hueChannel<Mul60>(m1, m2, hb);
}

// Vector twin: always the multiplication by 0.016666668.  The rising and
// the falling ramp are one ramp over h or 240 - h, chosen before it; the
// ramp below 240, then m2 from 60 to below 180 (a NaN hue fails every
// comparison and keeps m1, as the scalar twin).
inline __m128 hueChannel(__m128 m1, __m128 m2, __m128 d, __m128 h) {
    const __m128 below60 = _mm_cmplt_ps(h, _mm_set1_ps(60.0f));
    const __m128 t = _mm_blendv_ps(_mm_sub_ps(_mm_set1_ps(240.0f), h), h, below60);
    const __m128 ramp = _mm_add_ps(m1, _mm_mul_ps(_mm_mul_ps(d, t), _mm_set1_ps(kSixtieth)));
    const __m128 v = _mm_blendv_ps(m1, ramp, _mm_cmplt_ps(h, _mm_set1_ps(240.0f)));
    return _mm_blendv_ps(v, m2, _mm_andnot_ps(below60, _mm_cmplt_ps(h, _mm_set1_ps(180.0f))));
}

template <int Full>
inline void hlsToRgb(__m128 H, __m128 L, __m128 S, __m128& r, __m128& g, __m128& b) {
    const __m128 deg = _mm_mul_ps(H, _mm_set1_ps(Scale<Full>::kToDeg));
    const __m128 l = _mm_mul_ps(L, _mm_set1_ps(Scale<Full>::kUnit)), s = _mm_mul_ps(S, _mm_set1_ps(Scale<Full>::kUnit));
    const __m128 lowM2 = Full == 1 ? _mm_mul_ps(_mm_add_ps(_mm_set1_ps(1.0f), s), l) : _mm_add_ps(l, _mm_mul_ps(l, s));
    const __m128 highM2 = _mm_sub_ps(_mm_add_ps(l, s), _mm_mul_ps(s, l));
    const __m128 m2 = _mm_blendv_ps(highM2, lowM2, _mm_cmple_ps(l, _mm_set1_ps(0.5f)));
    const __m128 m1 = _mm_sub_ps(_mm_mul_ps(_mm_set1_ps(2.0f), l), m2);
    const __m128 k360 = _mm_set1_ps(360.0f);
    __m128 hr = _mm_add_ps(deg, _mm_set1_ps(120.0f)), hb = _mm_sub_ps(deg, _mm_set1_ps(120.0f));
    hr = _mm_sub_ps(hr, _mm_and_ps(_mm_cmpgt_ps(hr, k360), k360));
    hb = _mm_add_ps(hb, _mm_and_ps(_mm_cmplt_ps(hb, _mm_setzero_ps()), k360));
    const __m128 d = _mm_sub_ps(m2, m1);
    r = hueChannel(m1, m2, d, hr);
    g = hueChannel(m1, m2, d, deg);
    b = hueChannel(m1, m2, d, hb);
}

}  // namespace cel::hls
