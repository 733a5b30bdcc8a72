// RGB <-> HLS (hexcone), RGB order, 8u, 16u, 16s (offset binary) and 32f,
// in C3 and AC4 (alpha untouched), on the shared colour-space frame.
//
//   form          body (4 px)                        tail
//   8u fwd        reciprocal approx, nearest          Newton-refined reciprocal, nearest
//   16u/16s fwd   reciprocal approx, nearest          Newton-refined reciprocal, truncation
//   32f fwd       true division, same bits as tail   true division
//   8u rev        x 0.016666668, nearest              / 60, truncation
//   16u/16s rev   x 0.016666668, nearest              x 0.016666668, nearest
//   32f rev       x 0.016666668                       / 60
//
// Body and tail differ where the table says so: a pixel's result depends
// on its place in the row.
#include <smmintrin.h>

#include <cstdint>
#include <type_traits>

#include "colorspaces/frame.h"
#include "colorspaces/hls_recipes.h"
#include "frame/tier.h"

namespace {

using cel::cs::rowLoop;
using cel::hls::Div;

enum class Round { Nearest, Trunc };

// ---- Integer depths: samples <-> floats in 0..full --------------------------------------------
template <class T>
struct Depth {
    static constexpr int kFull = sizeof(T) == 1 ? 255 : 65535;
    static constexpr int kOffset = std::is_same_v<T, int16_t> ? 32768 : 0;
    static int in(T v) { return int(v) + kOffset; }
    static int conv(float f, Round r) { return r == Round::Nearest ? _mm_cvtss_si32(_mm_set_ss(f)) : _mm_cvttss_si32(_mm_set_ss(f)); }
    // limited to 0..full, then back to the sample's coding
    static T out(int v) { return static_cast<T>((v < 0 ? 0 : (v > kFull ? kFull : v)) - kOffset); }

    // Four pixels -> three vectors of floats in 0..full.
    template <int N>
    static void load4(const T* p, __m128& c0, __m128& c1, __m128& c2) {
        __m128i a, b, c;
        if constexpr (sizeof(T) == 1)
            cel::cs::split8x4<N>(p, a, b, c);
        else
            cel::cs::split16x4<N, false>(reinterpret_cast<const uint16_t*>(p), a, b, c);
        // 16s read without sign: adding 32768 is the same as flipping the top bit
        const __m128i flip = _mm_set1_epi32(kOffset);
        c0 = _mm_cvtepi32_ps(_mm_xor_si128(a, flip));
        c1 = _mm_cvtepi32_ps(_mm_xor_si128(b, flip));
        c2 = _mm_cvtepi32_ps(_mm_xor_si128(c, flip));
    }
    static __m128i conv4(__m128 f, Round r) {
        const __m128i v = r == Round::Nearest ? _mm_cvtps_epi32(f) : _mm_cvttps_epi32(f);
        return _mm_min_epi32(_mm_max_epi32(v, _mm_setzero_si128()), _mm_set1_epi32(kFull));
    }
    // Three vectors of 0..full in 32-bit lanes -> four pixels.
    template <int N>
    static void store4(T* p, __m128i c0, __m128i c1, __m128i c2) {
        if constexpr (sizeof(T) == 1) {
            cel::cs::join8x4<N>(p, c0, c1, c2);
        } else {
            const __m128i flip = _mm_set1_epi16(static_cast<int16_t>(kOffset));
            const auto w = [&](__m128i v) { return _mm_xor_si128(_mm_packus_epi32(v, v), flip); };
            cel::cs::join16x4<N>(reinterpret_cast<uint16_t*>(p), w(c0), w(c1), w(c2));
        }
    }
};

// ---- Forward ---------------------------------------------------------------------------------
template <class T, int N, Round TailRound>
void rgbToHlsRow(const T* s, T* d, int width) {
    using D = Depth<T>;
    constexpr int F = D::kFull;
    int x = 0;
    // body: reciprocal approximation, nearest, 4 pixels
    for (; x + 4 <= width; x += 4) {
        __m128 r, g, b, h, l, sat;
        D::template load4<N>(s + N * x, r, g, b);
        cel::hls::rgbToHls<F>(r, g, b, h, l, sat);
        D::template store4<N>(d + N * x, D::conv4(h, Round::Nearest), D::conv4(l, Round::Nearest),
                              D::conv4(sat, Round::Nearest));
    }
    // tail: Newton-refined reciprocal, the depth's rounding
    for (; x < width; ++x) {
        const T* p = s + N * x;
        float h, l, sat;
        cel::hls::rgbToHls<F, Div::Newton>(float(D::in(p[0])), float(D::in(p[1])), float(D::in(p[2])), h, l, sat);
        T* q = d + N * x;
        q[0] = D::out(D::conv(h, TailRound)), q[1] = D::out(D::conv(l, TailRound)), q[2] = D::out(D::conv(sat, TailRound));
    }
}

template <class T, Round TailRound>
void rgbToHlsKernel(const T* s, T* d, int width, int channels) {
    if (channels == 4)
        rgbToHlsRow<T, 4, TailRound>(s, d, width);
    else
        rgbToHlsRow<T, 3, TailRound>(s, d, width);
}

void y8_innerRGBToHLS_8u_C3R(const uint8_t* s, uint8_t* d, int w, int c) { rgbToHlsKernel<uint8_t, Round::Nearest>(s, d, w, c); }
void y8_innerRGBToHLS_16u_C3R(const uint16_t* s, uint16_t* d, int w, int c) { rgbToHlsKernel<uint16_t, Round::Trunc>(s, d, w, c); }
void y8_innerRGBToHLS_16s_C3R(const int16_t* s, int16_t* d, int w, int c) { rgbToHlsKernel<int16_t, Round::Trunc>(s, d, w, c); }

// 32f forward: true divisions, four pixels a step in the body; the body is
// the tail's operations lane by lane, so every pixel gets the same bits.
template <int N>
void rgbToHls32fRow(const float* s, float* d, int width) {
    cel::cs::laneRow<N>(
        s, d, width,
        [](__m128 r, __m128 g, __m128 b, __m128& h, __m128& l, __m128& sat) { cel::hls::rgbToHlsExact(r, g, b, h, l, sat); },
        [](const float* p, float* q) {
            float h, l, sat;
            cel::hls::rgbToHls<1, Div::Exact>(p[0], p[1], p[2], h, l, sat);
            q[0] = h, q[1] = l, q[2] = sat;
        });
}

void y8_innerRGBToHLS_32f_C3R(const float* s, float* d, int width, int channels) {
    if (channels == 4)
        rgbToHls32fRow<4>(s, d, width);
    else
        rgbToHls32fRow<3>(s, d, width);
}

// ---- Reverse ---------------------------------------------------------------------------------
template <class T, int N, bool TailMul60, Round TailRound>
void hlsToRgbRow(const T* s, T* d, int width) {
    using D = Depth<T>;
    constexpr int F = D::kFull;
    const __m128 full = _mm_set1_ps(float(F));
    int x = 0;
    // body: x 0.016666668, nearest, 4 pixels
    for (; x + 4 <= width; x += 4) {
        __m128 h, l, sat, r, g, b;
        D::template load4<N>(s + N * x, h, l, sat);
        cel::hls::hlsToRgb<F>(h, l, sat, r, g, b);
        // S of 0: every channel L (8u: scaled and truncated; 16-bit: the sample)
        const __m128i gray = _mm_castps_si128(_mm_cmpeq_ps(sat, _mm_setzero_ps()));
        const __m128i lv = sizeof(T) == 1
                               ? _mm_cvttps_epi32(_mm_mul_ps(_mm_mul_ps(l, _mm_set1_ps(cel::hls::Scale<F>::kUnit)), full))
                               : _mm_cvttps_epi32(l);
        const auto ch = [&](__m128 v) { return _mm_blendv_epi8(D::conv4(_mm_mul_ps(v, full), Round::Nearest), lv, gray); };
        D::template store4<N>(d + N * x, ch(r), ch(g), ch(b));
    }
    // tail: the depth's step of 60 degrees and rounding
    for (; x < width; ++x) {
        const T* p = s + N * x;
        T* q = d + N * x;
        const int H = D::in(p[0]), L = D::in(p[1]), S = D::in(p[2]);
        if (S == 0) {
            const T v = sizeof(T) == 1 ? D::out(_mm_cvttss_si32(_mm_set_ss(float(L) * cel::hls::Scale<F>::kUnit * float(F))))
                                       : p[1];
            q[0] = q[1] = q[2] = v;
            continue;
        }
        float o[3];
        cel::hls::hlsToRgb<F, TailMul60>(float(H), float(L), float(S), o);
        for (int k = 0; k < 3; ++k) q[k] = D::out(D::conv(o[k] * float(F), TailRound));
    }
}

template <class T, bool TailMul60, Round TailRound>
void hlsToRgbKernel(const T* s, T* d, int width, int channels) {
    if (channels == 4)
        hlsToRgbRow<T, 4, TailMul60, TailRound>(s, d, width);
    else
        hlsToRgbRow<T, 3, TailMul60, TailRound>(s, d, width);
}

void y8_innerHLSToRGB_8u_C3R(const uint8_t* s, uint8_t* d, int w, int c) { hlsToRgbKernel<uint8_t, false, Round::Trunc>(s, d, w, c); }
void y8_innerHLSToRGB_16u_C3R(const uint16_t* s, uint16_t* d, int w, int c) { hlsToRgbKernel<uint16_t, true, Round::Nearest>(s, d, w, c); }
void y8_innerHLSToRGB_16s_C3R(const int16_t* s, int16_t* d, int w, int c) { hlsToRgbKernel<int16_t, true, Round::Nearest>(s, d, w, c); }

// 32f reverse: groups of four, x 0.016666668; the tail divides by 60.
template <int N>
void hlsToRgb32fRow(const float* s, float* d, int width) {
    cel::cs::laneRow<N>(
        s, d, width,
        // body: x 0.016666668, 4 pixels
        [](__m128 h, __m128 l, __m128 sat, __m128& r, __m128& g, __m128& b) {
            cel::hls::hlsToRgb<1>(h, l, sat, r, g, b);
            const __m128 gray = _mm_cmpeq_ps(sat, _mm_setzero_ps());
            r = _mm_blendv_ps(r, l, gray), g = _mm_blendv_ps(g, l, gray), b = _mm_blendv_ps(b, l, gray);
        },
        // tail: / 60
        [](const float* p, float* q) {
            if (p[2] == 0.0f) {
                q[0] = q[1] = q[2] = p[1];
                return;
            }
            float o[3];
            cel::hls::hlsToRgb<1, false>(p[0], p[1], p[2], o);
            q[0] = o[0], q[1] = o[1], q[2] = o[2];
        });
}

void y8_innerHLSToRGB_32f_AC4R(const float* s, float* d, int width, int) { hlsToRgb32fRow<4>(s, d, width); }
void y8_innerHLSToRGB_32f_C3R(const float* s, float* d, int width, int channels) {
    if (channels == 4) return y8_innerHLSToRGB_32f_AC4R(s, d, width, channels);
    hlsToRgb32fRow<3>(s, d, width);
}

constexpr auto y8_myRGBToHLS_8u_C3R = rowLoop<uint8_t, y8_innerRGBToHLS_8u_C3R>;
constexpr auto y8_myHLSToRGB_8u_C3R = rowLoop<uint8_t, y8_innerHLSToRGB_8u_C3R>;
constexpr auto y8_myRGBToHLS_16u_C3R = rowLoop<uint16_t, y8_innerRGBToHLS_16u_C3R>;
constexpr auto y8_myHLSToRGB_16u_C3R = rowLoop<uint16_t, y8_innerHLSToRGB_16u_C3R>;
constexpr auto y8_myRGBToHLS_16s_C3R = rowLoop<int16_t, y8_innerRGBToHLS_16s_C3R>;
constexpr auto y8_myHLSToRGB_16s_C3R = rowLoop<int16_t, y8_innerHLSToRGB_16s_C3R>;
constexpr auto y8_myRGBToHLS_32f_C3R = rowLoop<float, y8_innerRGBToHLS_32f_C3R>;
constexpr auto y8_myHLSToRGB_32f_C3R = rowLoop<float, y8_innerHLSToRGB_32f_C3R>;

}  // namespace

// ---- Entry functions -----------------------------------------------------------------
CEL_CS_ENTRIES(RGBToHLS, 8u, uint8_t)
CEL_CS_ENTRIES(HLSToRGB, 8u, uint8_t)
CEL_CS_ENTRIES(RGBToHLS, 16u, uint16_t)
CEL_CS_ENTRIES(HLSToRGB, 16u, uint16_t)
CEL_CS_ENTRIES(RGBToHLS, 16s, int16_t)
CEL_CS_ENTRIES(HLSToRGB, 16s, int16_t)
CEL_CS_ENTRIES(RGBToHLS, 32f, float)
CEL_CS_ENTRIES(HLSToRGB, 32f, float)

