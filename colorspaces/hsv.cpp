// RGB <-> HSV (hexcone), 8u and 16u, in C3 and AC4 (alpha untouched), on the
// shared colour-space frame.
//
//   form        body                                       tail
//   8u  fwd     4 px, float with reciprocal approximations  the same arithmetic, one pixel
//   16u fwd     none                                       per-pixel loop, true division
//   8u/16u rev  4 px, float, sextant chosen by masks        the same arithmetic, one pixel
//
// Hue: 8u is the sextant times 42.5 (a full circle is 255), 16u the sextant
// times 65535 / 6.  Forward, when several channels share the maximum, blue
// wins over green and green over red.
#include <smmintrin.h>

#include <cstdint>

#include "colorspaces/frame.h"
#include "frame/tier.h"

namespace {

using cel::cs::split8x4;
using cel::cs::rowLoop;
using cel::cs::join8x4;

// ---- Constants ----------------------------------------------------------------------
constexpr float kHue8 = 42.5f;                 // 255 / 6: one sextant in hue codes
constexpr float kFromHue8 = 1.4117647f;        // 360 / 255: hue code -> degrees
constexpr float kFromHue16 = 0.005493248f;     // 360 / 65535
constexpr float kPerSextant = 0.016666668f;    // 1 / 60: degrees -> sextants
constexpr float kUnit8 = 0.003921569f;         // 1 / 255
constexpr float kUnit16 = 1.5259022e-5f;       // 1 / 65535
constexpr float kHueEps16 = 1.1920929e-7f;     // float epsilon: the 16u wrap threshold

inline float rcp(float v) { return _mm_cvtss_f32(_mm_rcp_ss(_mm_set_ss(v))); }
inline int nearest(float v) { return _mm_cvtss_si32(_mm_set_ss(v)); }

// ---- 8u forward: reciprocal approximations, last test wins ----------------------------
struct Hsv8 {
    int h, s, v;
};

// Scalar twin.
inline Hsv8 rgbToHsv8(int R, int G, int B) {
    const int M = R > G ? (R > B ? R : B) : (G > B ? G : B);
    const int m = R < G ? (R < B ? R : B) : (G < B ? G : B);
    if (M == m) return {0, 0, M};  // M of 0 or D of 0: gray
    const float fM = float(M), D = float(M - m), r1 = rcp(D);
    const int S = nearest(rcp(fM) * D * 255.0f);
    const float a = float(M - R) * r1, b = float(M - G) * r1, c = float(M - B) * r1;
    float h = 0.0f;
    if (M == R) h = c - b;
    if (M == G) h = (a - c) + 2.0f;
    if (M == B) h = (b - a) + 4.0f;
    h *= kHue8;
    if (h < 0.0f) h += 255.0f;
    return {nearest(h), S, M};
}

// Vector twin: four pixels as 32-bit lanes (0..255); H, S, V as 32-bit lanes.
inline void rgbToHsv8(__m128i R, __m128i G, __m128i B, __m128i& H, __m128i& S, __m128i& V) {
    const __m128i M = _mm_max_epi32(_mm_max_epi32(R, G), B), m = _mm_min_epi32(_mm_min_epi32(R, G), B);
    const __m128i gray = _mm_cmpeq_epi32(M, m);
    const __m128 fM = _mm_cvtepi32_ps(M), D = _mm_cvtepi32_ps(_mm_sub_epi32(M, m)), r1 = _mm_rcp_ps(D);
    const __m128i s = _mm_cvtps_epi32(_mm_mul_ps(_mm_mul_ps(_mm_rcp_ps(fM), D), _mm_set1_ps(255.0f)));
    const __m128 a = _mm_mul_ps(_mm_cvtepi32_ps(_mm_sub_epi32(M, R)), r1);
    const __m128 b = _mm_mul_ps(_mm_cvtepi32_ps(_mm_sub_epi32(M, G)), r1);
    const __m128 c = _mm_mul_ps(_mm_cvtepi32_ps(_mm_sub_epi32(M, B)), r1);
    __m128 h = _mm_sub_ps(c, b);
    h = _mm_blendv_ps(h, _mm_add_ps(_mm_sub_ps(a, c), _mm_set1_ps(2.0f)), _mm_castsi128_ps(_mm_cmpeq_epi32(M, G)));
    h = _mm_blendv_ps(h, _mm_add_ps(_mm_sub_ps(b, a), _mm_set1_ps(4.0f)), _mm_castsi128_ps(_mm_cmpeq_epi32(M, B)));
    h = _mm_mul_ps(h, _mm_set1_ps(kHue8));
    h = _mm_add_ps(h, _mm_and_ps(_mm_cmplt_ps(h, _mm_setzero_ps()), _mm_set1_ps(255.0f)));
    H = _mm_andnot_si128(gray, _mm_cvtps_epi32(h));
    S = _mm_andnot_si128(gray, s);
    V = M;
}

// ---- 16u forward: a true division, per pixel ------------------------------------------
inline void rgbToHsv16(int R, int G, int B, uint16_t* q) {
    const int M = R > G ? (R > B ? R : B) : (G > B ? G : B);
    const int m = R < G ? (R < B ? R : B) : (G < B ? G : B);
    float h = 0.0f;
    int S = 0;
    if (M != 0 && M != m) {
        const float D = float(M - m), qd = 1.0f / D;
        S = static_cast<int>(D / float(M) * 65535.0f + 0.5f);
        const float a = float(M - R) * qd, b = float(M - G) * qd, c = float(M - B) * qd;
        if (M == B)
            h = (4.0f - a) + b;
        else if (M == G)
            h = (a + 2.0f) - c;
        else
            h = c - b;
        if (h + kHueEps16 < 0.0f) h += 6.0f;
    }
    q[0] = static_cast<uint16_t>(static_cast<int>(h * 65535.0f / 6.0f + 0.5f));
    q[1] = static_cast<uint16_t>(S);
    q[2] = static_cast<uint16_t>(M);
}

// ---- Reverse: sextant i, fraction f, w = V * S / full ----------------------------------
template <int Full>
struct Rev {
    // hue code -> sextants, in the depth's order of multiplication
    static float sextant(float H) { return Full == 255 ? H * kFromHue8 * kPerSextant : H * kPerSextant * kFromHue16; }
    static __m128 sextant(__m128 H) {
        return Full == 255 ? _mm_mul_ps(_mm_mul_ps(H, _mm_set1_ps(kFromHue8)), _mm_set1_ps(kPerSextant))
                           : _mm_mul_ps(_mm_mul_ps(H, _mm_set1_ps(kPerSextant)), _mm_set1_ps(kFromHue16));
    }
    static constexpr float kUnit = Full == 255 ? kUnit8 : kUnit16;

    // Scalar twin.
    static void px(int H, int S, int V, int out[3]) {
        if (S == 0) {
            out[0] = out[1] = out[2] = V;
            return;
        }
        const float h = H == Full ? 0.0f : sextant(float(H));
        const int i = static_cast<int>(h);
        const float f = h - float(i), fV = float(V), w = fV * (float(S) * kUnit);
        const int p = nearest(fV - w), q = nearest(fV - f * w), t = nearest((fV - w) + f * w);
        switch (i) {
            case 0: out[0] = V, out[1] = t, out[2] = p; break;
            case 1: out[0] = q, out[1] = V, out[2] = p; break;
            case 2: out[0] = p, out[1] = V, out[2] = t; break;
            case 3: out[0] = p, out[1] = q, out[2] = V; break;
            case 4: out[0] = t, out[1] = p, out[2] = V; break;
            default: out[0] = V, out[1] = p, out[2] = q; break;
        }
    }

    // Vector twin: four pixels as 32-bit lanes.  S of 0 needs no case of its
    // own here: w is 0 and every entry of the table is V.
    static void v4(__m128i H, __m128i S, __m128i V, __m128i& R, __m128i& G, __m128i& B) {
        const __m128 h = _mm_andnot_ps(_mm_castsi128_ps(_mm_cmpeq_epi32(H, _mm_set1_epi32(Full))),
                                       sextant(_mm_cvtepi32_ps(H)));
        const __m128i i = _mm_cvttps_epi32(h);
        const __m128 f = _mm_sub_ps(h, _mm_cvtepi32_ps(i)), fV = _mm_cvtepi32_ps(V);
        const __m128 w = _mm_mul_ps(fV, _mm_mul_ps(_mm_cvtepi32_ps(S), _mm_set1_ps(kUnit)));
        const __m128 fw = _mm_mul_ps(f, w), vw = _mm_sub_ps(fV, w);
        const __m128i p = _mm_cvtps_epi32(vw), q = _mm_cvtps_epi32(_mm_sub_ps(fV, fw));
        const __m128i t = _mm_cvtps_epi32(_mm_add_ps(vw, fw));
        __m128i is[6];
        for (int k = 0; k < 6; ++k) is[k] = _mm_cmpeq_epi32(i, _mm_set1_epi32(k));
        auto pick = [](__m128i dflt, __m128i mask, __m128i v) { return _mm_blendv_epi8(dflt, v, mask); };
        // R: V in 0 and 5, q in 1, p in 2 and 3, t in 4
        R = pick(pick(pick(V, is[1], q), _mm_or_si128(is[2], is[3]), p), is[4], t);
        // G: t in 0, V in 1 and 2, q in 3, p in 4 and 5
        G = pick(pick(pick(p, is[0], t), _mm_or_si128(is[1], is[2]), V), is[3], q);
        // B: p in 0 and 1, t in 2, V in 3 and 4, q in 5
        B = pick(pick(pick(p, is[2], t), _mm_or_si128(is[3], is[4]), V), is[5], q);
    }
};

inline __m128i sat8(__m128i v) { return _mm_min_epi32(_mm_max_epi32(v, _mm_setzero_si128()), _mm_set1_epi32(255)); }
inline int sat(int v, int hi) { return v < 0 ? 0 : (v > hi ? hi : v); }

// ---------------------------------------------------------------------------------------
template <int N>
void rgbToHsv8Row(const uint8_t* s, uint8_t* d, int width) {
    int x = 0;
    // body: reciprocal approximations, 4 pixels
    for (; x + 4 <= width; x += 4) {
        __m128i r, g, b, h, sv, v;
        split8x4<N>(s + N * x, r, g, b);
        rgbToHsv8(r, g, b, h, sv, v);
        join8x4<N>(d + N * x, sat8(h), sat8(sv), v);
    }
    // tail: the same arithmetic, one pixel
    for (; x < width; ++x) {
        const uint8_t* p = s + N * x;
        const Hsv8 o = rgbToHsv8(p[0], p[1], p[2]);
        uint8_t* q = d + N * x;
        q[0] = static_cast<uint8_t>(sat(o.h, 255)), q[1] = static_cast<uint8_t>(sat(o.s, 255)), q[2] = static_cast<uint8_t>(o.v);
    }
}

void y8_innerRGBToHSV_8u_C3R(const uint8_t* s, uint8_t* d, int width, int channels) {
    if (channels == 4)
        rgbToHsv8Row<4>(s, d, width);
    else
        rgbToHsv8Row<3>(s, d, width);
}

// 16u forward: one plain per-pixel loop.
void y8_innerRGBToHSV_16u_C3R(const uint16_t* s, uint16_t* d, int width, int channels) {
    const int n = channels == 4 ? 4 : 3;
    for (int x = 0; x < width; ++x) rgbToHsv16(s[n * x], s[n * x + 1], s[n * x + 2], d + n * x);
}

template <int N>
void hsvToRgb8Row(const uint8_t* s, uint8_t* d, int width) {
    int x = 0;
    // body: sextant by masks, 4 pixels
    for (; x + 4 <= width; x += 4) {
        __m128i h, sv, v, r, g, b;
        split8x4<N>(s + N * x, h, sv, v);
        Rev<255>::v4(h, sv, v, r, g, b);
        join8x4<N>(d + N * x, sat8(r), sat8(g), sat8(b));
    }
    // tail: the same arithmetic, one pixel
    for (; x < width; ++x) {
        const uint8_t* p = s + N * x;
        int o[3];
        Rev<255>::px(p[0], p[1], p[2], o);
        for (int k = 0; k < 3; ++k) d[N * x + k] = static_cast<uint8_t>(sat(o[k], 255));
    }
}

template <int N>
void hsvToRgb16Row(const uint16_t* s, uint16_t* d, int width) {
    int x = 0;
    // body: sextant by masks, 4 pixels
    for (; x + 4 <= width; x += 4) {
        __m128i h, sv, v, r, g, b;
        cel::cs::split16x4<N, false>(s + N * x, h, sv, v);
        Rev<65535>::v4(h, sv, v, r, g, b);
        const __m128i z = _mm_setzero_si128();
        cel::cs::join16x4<N>(d + N * x, _mm_packus_epi32(r, z), _mm_packus_epi32(g, z), _mm_packus_epi32(b, z));
    }
    // tail: the same arithmetic, one pixel
    for (; x < width; ++x) {
        const uint16_t* p = s + N * x;
        int o[3];
        Rev<65535>::px(p[0], p[1], p[2], o);
        for (int k = 0; k < 3; ++k) d[N * x + k] = static_cast<uint16_t>(sat(o[k], 65535));
    }
}

void y8_innerHSVToRGB_8u_AC4R(const uint8_t* s, uint8_t* d, int width, int) { hsvToRgb8Row<4>(s, d, width); }
void y8_innerHSVToRGB_8u_C3R(const uint8_t* s, uint8_t* d, int width, int channels) {
    if (channels == 4) return y8_innerHSVToRGB_8u_AC4R(s, d, width, channels);
    hsvToRgb8Row<3>(s, d, width);
}
void y8_innerHSVToRGB_16u_AC4R(const uint16_t* s, uint16_t* d, int width, int) { hsvToRgb16Row<4>(s, d, width); }
void y8_innerHSVToRGB_16u_C3R(const uint16_t* s, uint16_t* d, int width, int channels) {
    if (channels == 4) return y8_innerHSVToRGB_16u_AC4R(s, d, width, channels);
    hsvToRgb16Row<3>(s, d, width);
}

constexpr auto y8_myRGBToHSV_8u_C3R = rowLoop<uint8_t, y8_innerRGBToHSV_8u_C3R>;
constexpr auto y8_myHSVToRGB_8u_C3R = rowLoop<uint8_t, y8_innerHSVToRGB_8u_C3R>;
constexpr auto y8_myRGBToHSV_16u_C3R = rowLoop<uint16_t, y8_innerRGBToHSV_16u_C3R>;
constexpr auto y8_myHSVToRGB_16u_C3R = rowLoop<uint16_t, y8_innerHSVToRGB_16u_C3R>;

}  // namespace

// ---- Entry functions -----------------------------------------------------------------
CEL_CS_ENTRIES(RGBToHSV, 8u, uint8_t)
CEL_CS_ENTRIES(HSVToRGB, 8u, uint8_t)
CEL_CS_ENTRIES(RGBToHSV, 16u, uint16_t)
CEL_CS_ENTRIES(HSVToRGB, 16u, uint16_t)

