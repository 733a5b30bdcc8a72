// Linear RGB <-> CIE XYZ (D65), 8u, 16u, 16s (offset binary) and 32f, in
// C3 and AC4 (alpha untouched), on the shared colour-space frame.
//
//   depth   body                                         tail
//   32f     4 px, float matrix (both directions)          same products, same bits
//   16u/16s 4 px, float matrix, truncation, 16-bit pack  same arithmetic, same bits
//   8u      C3 8 px / AC4 4 px, 16-bit multiply-add,     Q16 integer matrix
//           Q15 forward / Q13 reverse, no rounding
//
// The 8u body and tail use different integer matrices on purpose: the same
// pixel can convert differently according to its place in the row.
#include <smmintrin.h>

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "colorspaces/d65.h"
#include "colorspaces/frame.h"
#include "frame/simd.h"
#include "frame/tier.h"

namespace {

using cel::cs::rowLoop;

// ---- Matrices --------------------------------------------------------------------------
using cel::cs::dot3;
using cel::cs::kRGBToXYZ;
using cel::cs::kXYZToRGB;

// 8u integer matrices, literal tables (not recomputed from the float ones).
constexpr int16_t kRGBToXYZ_Q15[3][3] = {{13515, 11717, 5912}, {6969, 23434, 2365}, {634, 3906, 31137}};
constexpr int32_t kRGBToXYZ_Q16[3][3] = {{27030, 23434, 11824}, {13937, 46868, 4729}, {1267, 7811, 62274}};
constexpr int16_t kXYZToRGB_Q13[3][3] = {{26546, -12591, -4083}, {-7939, 15368, 340}, {456, -1671, 8661}};
constexpr int32_t kXYZToRGB_Q16[3][3] = {{212368, -100738, -32671}, {-63521, 122944, 2723}, {3646, -13372, 69291}};

// Forward Z: maximum with 0 first (a NaN becomes 0), then minimum with 1.
inline float limitZ(float z) { return _mm_cvtss_f32(_mm_min_ss(_mm_max_ss(_mm_set_ss(z), _mm_setzero_ps()), _mm_set_ss(1.0f))); }
inline __m128 limitZ(__m128 z) { return _mm_min_ps(_mm_max_ps(z, _mm_setzero_ps()), _mm_set1_ps(1.0f)); }

// Reverse outputs: below 0 gives 0, otherwise the minimum with 1 (NaN stays
// NaN, -0 stays -0).  The vector twin takes the minimum with the NaN in the
// second operand and the maximum the same way, which keeps both.
inline float limitRGB(float v) { return v < 0.0f ? 0.0f : (v > 1.0f ? 1.0f : v); }
inline __m128 limitRGB(__m128 v) { return _mm_max_ps(_mm_setzero_ps(), _mm_min_ps(_mm_set1_ps(1.0f), v)); }

// ---------------------------------------------------------------------------------------
// 32f forward: four pixels an iteration, then the same products one pixel at a time.
template <int N>
void rgbToXyz32fRow(const float* s, float* d, int width) {
    cel::cs::laneRow<N>(
        s, d, width,
        [](__m128 r, __m128 g, __m128 b, __m128& X, __m128& Y, __m128& Z) {
            X = dot3(kRGBToXYZ[0], r, g, b), Y = dot3(kRGBToXYZ[1], r, g, b);
            Z = limitZ(dot3(kRGBToXYZ[2], r, g, b));
        },
        [](const float* p, float* q) {
            const float X = dot3(kRGBToXYZ[0], p[0], p[1], p[2]), Y = dot3(kRGBToXYZ[1], p[0], p[1], p[2]);
            const float Z = limitZ(dot3(kRGBToXYZ[2], p[0], p[1], p[2]));
            q[0] = X, q[1] = Y, q[2] = Z;
        });
}
void y8_innerRGBToXYZ_32f_C3R(const float* s, float* d, int width, int channels) {
    if (channels == 4)
        rgbToXyz32fRow<4>(s, d, width);
    else
        rgbToXyz32fRow<3>(s, d, width);
}

// 32f reverse: the products of the per-pixel rule, in its order, four
// pixels at a time (a - b Y is a + (-b) Y exactly), then one at a time.
// Every output is limited alike, so C3 rows compute the outputs in store
// order, each lane with its own matrix row; AC4 rows by channel vectors.
inline void xyzToRgb32fPixel(const float* p, float* q) {
    q[0] = limitRGB(dot3(kXYZToRGB[0], p[0], p[1], p[2]));
    q[1] = limitRGB(dot3(kXYZToRGB[1], p[0], p[1], p[2]));
    q[2] = limitRGB(dot3(kXYZToRGB[2], p[0], p[1], p[2]));
}
constexpr cel::cs::StoreOrderMatrix kXYZToRGBStoreOrder = cel::cs::storeOrder(kXYZToRGB);

void y8_innerXYZToRGB_32f_C3R(const float* s, float* d, int width, int channels) {
    if (channels == 4) {
        cel::cs::laneRow<4>(
            s, d, width,
            [](__m128 X, __m128 Y, __m128 Z, __m128& R, __m128& G, __m128& B) {
                R = limitRGB(dot3(kXYZToRGB[0], X, Y, Z)), G = limitRGB(dot3(kXYZToRGB[1], X, Y, Z));
                B = limitRGB(dot3(kXYZToRGB[2], X, Y, Z));
            },
            xyzToRgb32fPixel);
        return;
    }
    cel::cs::storeOrderRow3f(
        s, d, width,
        [](int k, __m128 X, __m128 Y, __m128 Z) {
            const auto& m = kXYZToRGBStoreOrder.at[k];
            return limitRGB(dot3(_mm_load_ps(m[0]), _mm_load_ps(m[1]), _mm_load_ps(m[2]), X, Y, Z));
        },
        xyzToRgb32fPixel);
}

// ---------------------------------------------------------------------------------------
// 16u and 16s: the float matrix on samples widened to 32 bits (16s with
// 32768 added), truncation toward zero, then the 16-bit pack of the depth.
template <class T>
struct Depth16 {
    static constexpr bool kSigned = std::is_same_v<T, int16_t>;
    static float in(T v) { return static_cast<float>(static_cast<int32_t>(v) + (kSigned ? 32768 : 0)); }
    // Four widened samples (32-bit lanes) -> floats in the offset domain.
    static __m128 in4(__m128i v) {
        return _mm_cvtepi32_ps(kSigned ? _mm_add_epi32(v, _mm_set1_epi32(32768)) : v);
    }
    // truncate, subtract 32768, saturate to signed 16 bits (16u: add 32768 back)
    static T out(float f) {
        const int32_t t = _mm_cvttss_si32(_mm_set_ss(f));
        int32_t u = static_cast<int32_t>(static_cast<uint32_t>(t) - 32768u);
        u = u < -32768 ? -32768 : (u > 32767 ? 32767 : u);
        return kSigned ? static_cast<T>(u) : static_cast<T>(static_cast<uint16_t>(u + 32768));
    }
    static __m128i out4(__m128 f) {
        __m128i v = _mm_sub_epi32(_mm_cvttps_epi32(f), _mm_set1_epi32(32768));
        v = _mm_packs_epi32(v, v);
        return kSigned ? v : _mm_add_epi16(v, _mm_set1_epi16(static_cast<int16_t>(-32768)));
    }
};

template <class T, bool Forward>
void kernel16(const T* s, T* d, int width, int channels) {
    using D = Depth16<T>;
    const auto& m = Forward ? kRGBToXYZ : kXYZToRGB;
    const int n = channels == 4 ? 4 : 3;
    int x = 0;
    // body: float matrix, 4 pixels
    for (; x + 4 <= width; x += 4) {
        __m128i c0, c1, c2;
        const auto* p = reinterpret_cast<const uint16_t*>(s + n * x);
        if (n == 4)
            cel::cs::split16x4<4, D::kSigned>(p, c0, c1, c2);
        else
            cel::cs::split16x4<3, D::kSigned>(p, c0, c1, c2);
        const __m128 a = D::in4(c0), b = D::in4(c1), c = D::in4(c2);
        const __m128i o0 = D::out4(dot3(m[0], a, b, c)), o1 = D::out4(dot3(m[1], a, b, c)), o2 = D::out4(dot3(m[2], a, b, c));
        auto* q = reinterpret_cast<uint16_t*>(d + n * x);
        if (n == 4)
            cel::cs::join16x4<4>(q, o0, o1, o2);
        else
            cel::cs::join16x4<3>(q, o0, o1, o2);
    }
    // tail: the same arithmetic one pixel at a time
    for (; x < width; ++x) {
        const T* p = s + n * x;
        const float a = D::in(p[0]), b = D::in(p[1]), c = D::in(p[2]);
        for (int k = 0; k < 3; ++k) d[n * x + k] = D::out(dot3(m[k], a, b, c));
    }
}

void y8_innerRGBToXYZ_16u_C3R(const uint16_t* s, uint16_t* d, int w, int c) { kernel16<uint16_t, true>(s, d, w, c); }
void y8_innerXYZToRGB_16u_C3R(const uint16_t* s, uint16_t* d, int w, int c) { kernel16<uint16_t, false>(s, d, w, c); }
void y8_innerRGBToXYZ_16s_C3R(const int16_t* s, int16_t* d, int w, int c) { kernel16<int16_t, true>(s, d, w, c); }
void y8_innerXYZToRGB_16s_C3R(const int16_t* s, int16_t* d, int w, int c) { kernel16<int16_t, false>(s, d, w, c); }

// ---------------------------------------------------------------------------------------
// 8u: exact 32-bit sums of 16-bit products by multiply-add; a pixel's four
// lanes meet a matrix row whose fourth entry is 0.
template <int Shift>
struct Int8 {
    // Rows of the body matrix as [m0 m1 m2 0] twice.
    __m128i row[3];
    explicit Int8(const int16_t (&m)[3][3]) {
        for (int k = 0; k < 3; ++k) row[k] = _mm_setr_epi16(m[k][0], m[k][1], m[k][2], 0, m[k][0], m[k][1], m[k][2], 0);
    }
    // Four pixels given as two vectors of two pixels' 16-bit lanes -> the
    // four results of output k as 16-bit lanes (shifted, saturated to 16 bits).
    __m128i out4(__m128i v01, __m128i v23, int k) const {
        const __m128i s = _mm_hadd_epi32(_mm_madd_epi16(v01, row[k]), _mm_madd_epi16(v23, row[k]));
        return _mm_srai_epi32(s, Shift);
    }
};

// Shuffles: eight C3 pixels (bytes 0..15 and the window 8..23) to four
// vectors of two pixels, each pixel [c0 c1 c2 0] in 16-bit lanes.
constexpr int8_t kPx(int byte, int from) { return static_cast<int8_t>(byte - from); }
#define CEL_PAIR(b0, from)                                                                                  \
    _mm_setr_epi8(kPx(b0, from), -128, kPx(b0 + 1, from), -128, kPx(b0 + 2, from), -128, -128, -128,       \
                  kPx(b0 + 3, from), -128, kPx(b0 + 4, from), -128, kPx(b0 + 5, from), -128, -128, -128)

template <bool Forward>
void kernel8u(const uint8_t* s, uint8_t* d, int width, int channels) {
    const Int8<Forward ? 15 : 13> body(Forward ? kRGBToXYZ_Q15 : kXYZToRGB_Q13);
    const auto& tail = Forward ? kRGBToXYZ_Q16 : kXYZToRGB_Q16;
    int x = 0;
    if (channels == 4) {
        // body: 16-bit multiply-add, 4 pixels
        const __m128i keep = _mm_set1_epi32(0x00FFFFFF);
        for (; x + 4 <= width; x += 4) {
            const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 4 * x));
            const __m128i v01 = _mm_cvtepu8_epi16(v), v23 = _mm_unpackhi_epi8(v, _mm_setzero_si128());
            __m128i o[3];
            for (int k = 0; k < 3; ++k) {
                const __m128i w = _mm_packs_epi32(body.out4(v01, v23, k), _mm_setzero_si128());
                o[k] = _mm_packus_epi16(w, w);
            }
            const __m128i px = _mm_unpacklo_epi16(_mm_unpacklo_epi8(o[0], o[1]), _mm_unpacklo_epi8(o[2], _mm_setzero_si128()));
            uint8_t* q = d + 4 * x;
            const __m128i old = _mm_loadu_si128(reinterpret_cast<const __m128i*>(q));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(q), _mm_blendv_epi8(old, px, keep));
        }
    } else {
        // body: 16-bit multiply-add, 8 pixels
        const __m128i p01 = CEL_PAIR(0, 0), p23 = CEL_PAIR(6, 0), p45 = CEL_PAIR(12, 8), p67 = CEL_PAIR(18, 8);
        for (; x + 8 <= width; x += 8) {
            const uint8_t* p = s + 3 * x;
            const __m128i lo = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
            const __m128i win = _mm_alignr_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p + 16)), lo, 8);
            const __m128i v01 = _mm_shuffle_epi8(lo, p01), v23 = _mm_shuffle_epi8(lo, p23);
            const __m128i v45 = _mm_shuffle_epi8(win, p45), v67 = _mm_shuffle_epi8(win, p67);
            __m128i o[3];
            for (int k = 0; k < 3; ++k) {
                const __m128i w = _mm_packs_epi32(body.out4(v01, v23, k), body.out4(v45, v67, k));
                o[k] = _mm_packus_epi16(w, w);
            }
            cel::simd::join3x8(d + 3 * x, o[0], o[1], o[2]);
        }
    }
    // tail: Q16 matrix, shifted by 16 with no rounding
    const int n = channels == 4 ? 4 : 3;
    for (; x < width; ++x) {
        const uint8_t* p = s + n * x;
        uint8_t* q = d + n * x;
        for (int k = 0; k < 3; ++k) {
            const int32_t sum = tail[k][0] * p[0] + tail[k][1] * p[1] + tail[k][2] * p[2];
            int32_t v = sum >> 16;
            if (Forward) {
                if (k == 2 && v > 255) v = 255;  // only Z can exceed the byte
            } else {
                v = v < 0 ? 0 : (v > 255 ? 255 : v);
            }
            q[k] = static_cast<uint8_t>(v);
        }
    }
}
#undef CEL_PAIR

void y8_innerRGBToXYZ_8u_C3R(const uint8_t* s, uint8_t* d, int w, int c) { kernel8u<true>(s, d, w, c); }
void y8_innerXYZToRGB_8u_C3R(const uint8_t* s, uint8_t* d, int w, int c) { kernel8u<false>(s, d, w, c); }

// Row loops, one per family and depth, for both layouts.
constexpr auto y8_myRGBToXYZ_8u_C3R = rowLoop<uint8_t, y8_innerRGBToXYZ_8u_C3R>;
constexpr auto y8_myXYZToRGB_8u_C3R = rowLoop<uint8_t, y8_innerXYZToRGB_8u_C3R>;
constexpr auto y8_myRGBToXYZ_16u_C3R = rowLoop<uint16_t, y8_innerRGBToXYZ_16u_C3R>;
constexpr auto y8_myXYZToRGB_16u_C3R = rowLoop<uint16_t, y8_innerXYZToRGB_16u_C3R>;
constexpr auto y8_myRGBToXYZ_16s_C3R = rowLoop<int16_t, y8_innerRGBToXYZ_16s_C3R>;
constexpr auto y8_myXYZToRGB_16s_C3R = rowLoop<int16_t, y8_innerXYZToRGB_16s_C3R>;
constexpr auto y8_myRGBToXYZ_32f_C3R = rowLoop<float, y8_innerRGBToXYZ_32f_C3R>;
constexpr auto y8_myXYZToRGB_32f_C3R = rowLoop<float, y8_innerXYZToRGB_32f_C3R>;

}  // namespace

// ---- Entry functions -----------------------------------------------------------------
CEL_CS_ENTRIES(RGBToXYZ, 8u, uint8_t)
CEL_CS_ENTRIES(XYZToRGB, 8u, uint8_t)
CEL_CS_ENTRIES(RGBToXYZ, 16u, uint16_t)
CEL_CS_ENTRIES(XYZToRGB, 16u, uint16_t)
CEL_CS_ENTRIES(RGBToXYZ, 16s, int16_t)
CEL_CS_ENTRIES(XYZToRGB, 16s, int16_t)
CEL_CS_ENTRIES(RGBToXYZ, 32f, float)
CEL_CS_ENTRIES(XYZToRGB, 32f, float)

