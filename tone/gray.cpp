// Colour -> gray with fixed (celiRGBToGray) or caller's (celiColorToGray)
// weights, and gray -> RGB replication (celiGrayToRGB).
//
// RGBToGray and ColorToGray share one row loop and one row kernel per
// depth; the entry functions differ only in the weight pointer they pass
// (null: the default weights 0.299, 0.587, 0.114).
//
//   8u   body: products truncated to Q7 by unsigned multiply-high against
//        rotated weight vectors, saturating sums, +64, arithmetic >> 7 (C3
//        rows of 16 for weights whose sums stay below 32704: one rounding
//        multiply-high by 256, the same bytes);
//        tail: full 32-bit Q15 sum, low 8 bits (the two differ on purpose)
//   16u, 16s   float weights, (R w0 + G w1) + B w2, rounding conversion;
//              C3 body eight pixels a step (word blends, byte shuffles)
//   32f  float weights, no limit;  64f  own frame, double weights
#include <smmintrin.h>

#include <cstdint>
#include <cstring>

#include "colorspaces/frame.h"
#include "frame/image.h"
#include "frame/simd.h"
#include "frame/status.h"
#include "frame/tier.h"

namespace {

// ---- Weights ---------------------------------------------------------------------------
constexpr uint16_t kDefaultQ15[3] = {9798, 19235, 3736};

float bitsF(uint32_t b) {
    float f;
    std::memcpy(&f, &b, 4);
    return f;
}
// 0.299, 0.587, 0.114 as the floats the library holds.
const float kDefaultF[3] = {bitsF(0x3E991687u), bitsF(0x3F1645A2u), bitsF(0x3DE978D5u)};

// Caller's float weight -> Q15: widened, * 32768 + 0.5, truncated, low 16 bits.
inline uint16_t toQ15(float w) {
    return static_cast<uint16_t>(_mm_cvttsd_si32(_mm_set_sd(static_cast<double>(w) * 32768.0 + 0.5)));
}

// ---- 8u ------------------------------------------------------------------------------------
struct W8 {
    uint16_t w[3];
    __m128i rot[3];  // C3: (w0 w1 w2 w0 ...), (w2 w0 w1 ...), (w1 w2 w0 ...)
    __m128i ac4;     // (w0 w1 w2 w0 w0 w1 w2 w0)
    __m128i each[3];  // w0, w1, w2 in every lane
    bool below;       // every pixel's Q7 sum stays below kRoundLimit (see sum8)
};

// Q7 sums below this take the shorter finish of sum8 with the same result.
constexpr int kRoundLimit = 32768 - 64;

W8 weights8u(const float* coeffs) {
    W8 k{};
    for (int i = 0; i < 3; ++i) k.w[i] = coeffs ? toQ15(coeffs[i]) : kDefaultQ15[i];
    for (int r = 0; r < 3; ++r) {
        alignas(16) uint16_t lanes[8];
        for (int j = 0; j < 8; ++j) lanes[j] = k.w[(8 * r + j) % 3];
        k.rot[r] = _mm_load_si128(reinterpret_cast<const __m128i*>(lanes));
    }
    k.ac4 = _mm_setr_epi16(static_cast<int16_t>(k.w[0]), static_cast<int16_t>(k.w[1]), static_cast<int16_t>(k.w[2]),
                           static_cast<int16_t>(k.w[0]), static_cast<int16_t>(k.w[0]), static_cast<int16_t>(k.w[1]),
                           static_cast<int16_t>(k.w[2]), static_cast<int16_t>(k.w[0]));
    for (int i = 0; i < 3; ++i) k.each[i] = _mm_set1_epi16(static_cast<int16_t>(k.w[i]));
    // the largest Q7 sum: every channel's largest product (sample 255)
    int top = 0;
    for (int i = 0; i < 3; ++i) top += static_cast<int>((uint32_t{255 * 256} * k.w[i]) >> 16);
    k.below = top < kRoundLimit;
    return k;
}

// Scalar rule: full Q15 sum, + 16384, >> 15, the low 8 bits.
inline uint8_t gray8Scalar(const uint8_t* p, const W8& k) {
    return static_cast<uint8_t>((p[0] * k.w[0] + p[1] * k.w[1] + p[2] * k.w[2] + 16384) >> 15);
}

// Q7 sum of a pixel's three truncated products, saturating in this order,
// -> gray values in 16-bit lanes; finish8 packs them to bytes (low 8 lanes).
// Where every sum stays below kRoundLimit nothing saturates and S + 64 is
// positive as a signed lane, so (S + 64) >> 7 is the rounding multiply-high
// by 256, (256 S + 2^14) >> 15: one operation instead of two.
template <bool Below = false>
inline __m128i sum8(__m128i c0, __m128i c1, __m128i c2) {
    if constexpr (Below)
        return _mm_mulhrs_epi16(_mm_add_epi16(_mm_add_epi16(c0, c1), c2), _mm_set1_epi16(256));
    return _mm_srai_epi16(_mm_adds_epu16(_mm_adds_epu16(_mm_adds_epu16(c0, c1), c2), _mm_set1_epi16(64)), 7);
}
inline __m128i finish8(__m128i c0, __m128i c1, __m128i c2) {
    const __m128i v = sum8(c0, c1, c2);
    return _mm_packus_epi16(v, v);
}

namespace detail16 {
// Grouping of 24 16-bit products (three vectors) by channel, as the byte
// split of three-channel pixels but on 16-bit elements.
struct Tables {
    alignas(16) int8_t mask[3][3][16];
    alignas(16) int8_t gather[3][16];
};
constexpr Tables make() {
    Tables t{};
    for (int c = 0; c < 3; ++c) {
        for (int k = 0; k < 3; ++k)
            for (int q = 0; q < 8; ++q) t.mask[c][k][2 * q] = t.mask[c][k][2 * q + 1] = ((8 * k + q) % 3 == c) ? -1 : 0;
        for (int j = 0; j < 8; ++j) {
            const int q = (3 * j + c) % 8;
            t.gather[c][2 * j] = static_cast<int8_t>(2 * q);
            t.gather[c][2 * j + 1] = static_cast<int8_t>(2 * q + 1);
        }
    }
    return t;
}
inline constexpr Tables kT = make();
inline __m128i ld(const int8_t* p) { return _mm_load_si128(reinterpret_cast<const __m128i*>(p)); }
template <int c>
inline __m128i channel(__m128i a, __m128i b, __m128i d) {
    const __m128i ab = _mm_blendv_epi8(a, b, ld(kT.mask[c][1]));
    return _mm_shuffle_epi8(_mm_blendv_epi8(ab, d, ld(kT.mask[c][2])), ld(kT.gather[c]));
}
}  // namespace detail16

// Eight C3 pixels (24 bytes) -> eight gray bytes in the low half.
inline __m128i gray8C3x8(const uint8_t* p, const W8& k) {
    const __m128i z = _mm_setzero_si128();
    const __m128i lo = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    const __m128i hi = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p + 16));
    // each sample in the high byte of a lane; multiply-high against the rotated weights
    const __m128i a = _mm_mulhi_epu16(_mm_unpacklo_epi8(z, lo), k.rot[0]);
    const __m128i b = _mm_mulhi_epu16(_mm_unpackhi_epi8(z, lo), k.rot[1]);
    const __m128i d = _mm_mulhi_epu16(_mm_unpacklo_epi8(z, hi), k.rot[2]);
    return finish8(detail16::channel<0>(a, b, d), detail16::channel<1>(a, b, d), detail16::channel<2>(a, b, d));
}

// Sixteen C3 pixels (48 bytes) -> sixteen gray bytes: the channels split
// first (each sample in the high byte of a lane), then the same Q7 products
// and sums as gray8C3x8 (Below: the weights keep every sum below kRoundLimit).
template <bool Below>
inline __m128i gray8C3x16(const uint8_t* p, const W8& k) {
    __m128i c0[2], c1[2], c2[2];
    cel::simd::split3x16High(p, c0, c1, c2);
    __m128i v[2];
    for (int h = 0; h < 2; ++h) {
        const __m128i a = _mm_mulhi_epu16(c0[h], k.each[0]), b = _mm_mulhi_epu16(c1[h], k.each[1]);
        const __m128i d = _mm_mulhi_epu16(c2[h], k.each[2]);
        v[h] = sum8<Below>(a, b, d);
    }
    return _mm_packus_epi16(v[0], v[1]);
}

// Four AC4 pixels (16 bytes) -> the three products of each, grouped: R, G, B
// of pixels 0-3 in the low halves of r/g/b.
inline void products8AC4x4(const uint8_t* p, const W8& k, __m128i& r, __m128i& g, __m128i& b) {
    const __m128i z = _mm_setzero_si128();
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    const __m128i p01 = _mm_mulhi_epu16(_mm_unpacklo_epi8(z, v), k.ac4);  // r0 g0 b0 a0 r1 g1 b1 a1
    const __m128i p23 = _mm_mulhi_epu16(_mm_unpackhi_epi8(z, v), k.ac4);
    const __m128i t0 = _mm_unpacklo_epi16(p01, p23), t1 = _mm_unpackhi_epi16(p01, p23);
    const __m128i rg = _mm_unpacklo_epi16(t0, t1);  // r0-3 g0-3
    r = rg;
    g = _mm_srli_si128(rg, 8);
    b = _mm_unpackhi_epi16(t0, t1);  // b0-3, alpha products dropped
}

void y8_innerRGBToGray_8u_C3C1R(const uint8_t* s, uint8_t* d, int width, int channels, const W8& k) {
    int x = 0;
    if (channels == 4) {
        // body: 8 pixels, Q7 products
        for (; x + 8 <= width; x += 8) {
            __m128i r0, g0, b0, r1, g1, b1;
            products8AC4x4(s + 4 * x, k, r0, g0, b0);
            products8AC4x4(s + 4 * x + 16, k, r1, g1, b1);
            _mm_storel_epi64(reinterpret_cast<__m128i*>(d + x),
                             finish8(_mm_unpacklo_epi64(r0, r1), _mm_unpacklo_epi64(g0, g1), _mm_unpacklo_epi64(b0, b1)));
        }
        // tail: scalar rule
        for (; x < width; ++x) d[x] = gray8Scalar(s + 4 * x, k);
        return;
    }
    // body: 16 pixels split by channel, then 8 pixels without deinterleaving
    if (k.below)
        for (; x + 16 <= width; x += 16) _mm_storeu_si128(reinterpret_cast<__m128i*>(d + x), gray8C3x16<true>(s + 3 * x, k));
    else
        for (; x + 16 <= width; x += 16) _mm_storeu_si128(reinterpret_cast<__m128i*>(d + x), gray8C3x16<false>(s + 3 * x, k));
    for (; x + 8 <= width; x += 8) _mm_storel_epi64(reinterpret_cast<__m128i*>(d + x), gray8C3x8(s + 3 * x, k));
    // one group of 4 pixels when bit 2 of the width is set: the same Q7 arithmetic
    if (width & 4) {
        alignas(16) uint8_t px[24] = {};
        std::memcpy(px, s + 3 * x, 12);
        const uint32_t v = static_cast<uint32_t>(_mm_cvtsi128_si32(gray8C3x8(px, k)));
        std::memcpy(d + x, &v, 4);
        x += 4;
    }
    // tail: scalar rule
    for (; x < width; ++x) d[x] = gray8Scalar(s + 3 * x, k);
}

// ---- 16u, 16s, 32f: float weights ------------------------------------------------------------
struct WF {
    float w[3];
};
WF weightsF(const float* coeffs) {
    WF k{};
    for (int i = 0; i < 3; ++i) k.w[i] = coeffs ? coeffs[i] : kDefaultF[i];
    return k;
}

inline float grayF(float r, float g, float b, const WF& k) { return (r * k.w[0] + g * k.w[1]) + b * k.w[2]; }
inline __m128 grayF(__m128 r, __m128 g, __m128 b, const WF& k) {
    return _mm_add_ps(_mm_add_ps(_mm_mul_ps(r, _mm_set1_ps(k.w[0])), _mm_mul_ps(g, _mm_set1_ps(k.w[1]))),
                      _mm_mul_ps(b, _mm_set1_ps(k.w[2])));
}

// Eight three-channel pixels of 16-bit samples (three loads of eight
// words): in load k word q holds channel (8k + q) % 3, so two word blends
// give channel c's eight words, pixels in a fixed order, and two byte
// shuffles per channel put pixels 0-3 and 4-7 into zero-extended 32-bit
// lanes.
namespace split8x16 {
struct Tables {
    alignas(16) int8_t lanes[3][2][16];  // channel, half
};
constexpr Tables make() {
    Tables t{};
    for (int c = 0; c < 3; ++c)
        for (int q = 0; q < 8; ++q) {
            int k = 0;  // the load whose word q holds channel c
            while ((8 * k + q) % 3 != c) ++k;
            const int pixel = (8 * k + q) / 3;
            int8_t* at = &t.lanes[c][pixel / 4][4 * (pixel % 4)];
            at[0] = static_cast<int8_t>(2 * q), at[1] = static_cast<int8_t>(2 * q + 1), at[2] = at[3] = -1;
        }
    return t;
}
inline constexpr Tables kT = make();
template <int Imm1, int Imm2, bool Flip>
inline void channel(__m128i a, __m128i b, __m128i c, const int8_t (&lanes)[2][16], __m128i& lo, __m128i& hi) {
    __m128i w = _mm_blend_epi16(_mm_blend_epi16(a, b, Imm1), c, Imm2);
    if constexpr (Flip) w = _mm_xor_si128(w, _mm_set1_epi16(-32768));
    lo = _mm_shuffle_epi8(w, _mm_load_si128(reinterpret_cast<const __m128i*>(lanes[0])));
    hi = _mm_shuffle_epi8(w, _mm_load_si128(reinterpret_cast<const __m128i*>(lanes[1])));
}
}  // namespace split8x16

// 16-bit samples: 16s is offset binary (+32768 before, -32768 after); the
// conversion rounds in the current mode; no saturation in the tail (low 16
// bits), a 16-bit pack in the body.  For 16s the +32768 is taken as the
// flip of the top bit of each sample, zero-extended (the same value).
template <class T>
void kernel16(const T* s, T* d, int width, int channels, const WF& k) {
    constexpr bool kSigned = std::is_same_v<T, int16_t>;
    constexpr int off = kSigned ? 32768 : 0;
    const int n = channels == 4 ? 4 : 3;
    int x = 0;
    // C3 body: 8 pixels (blends and shuffles above)
    if (n == 3) {
        const auto& L = split8x16::kT.lanes;
        for (; x + 8 <= width; x += 8) {
            const auto* p = reinterpret_cast<const __m128i*>(s + 3 * x);
            const __m128i a = _mm_loadu_si128(p), b = _mm_loadu_si128(p + 1), c = _mm_loadu_si128(p + 2);
            __m128i r[2], g[2], bl[2];
            split8x16::channel<0x92, 0x24, kSigned>(a, b, c, L[0], r[0], r[1]);
            split8x16::channel<0x24, 0x49, kSigned>(a, b, c, L[1], g[0], g[1]);
            split8x16::channel<0x49, 0x92, kSigned>(a, b, c, L[2], bl[0], bl[1]);
            __m128i v[2];
            for (int h = 0; h < 2; ++h) {
                v[h] = _mm_cvtps_epi32(grayF(_mm_cvtepi32_ps(r[h]), _mm_cvtepi32_ps(g[h]), _mm_cvtepi32_ps(bl[h]), k));
                if (kSigned) v[h] = _mm_sub_epi32(v[h], _mm_set1_epi32(32768));
            }
            _mm_storeu_si128(reinterpret_cast<__m128i*>(d + x),
                             kSigned ? _mm_packs_epi32(v[0], v[1]) : _mm_packus_epi32(v[0], v[1]));
        }
    }
    // body: 4 pixels
    for (; x + 4 <= width; x += 4) {
        __m128i c0, c1, c2;
        const auto* p = reinterpret_cast<const uint16_t*>(s + n * x);
        if (n == 4)
            cel::cs::split16x4<4, kSigned>(p, c0, c1, c2);
        else
            cel::cs::split16x4<3, kSigned>(p, c0, c1, c2);
        const __m128i o = _mm_set1_epi32(off);
        __m128i v = _mm_cvtps_epi32(grayF(_mm_cvtepi32_ps(_mm_add_epi32(c0, o)), _mm_cvtepi32_ps(_mm_add_epi32(c1, o)),
                                          _mm_cvtepi32_ps(_mm_add_epi32(c2, o)), k));
        if (kSigned)
            v = _mm_packs_epi32(_mm_sub_epi32(v, _mm_set1_epi32(32768)), v);
        else
            v = _mm_packus_epi32(v, v);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(d + x), v);
    }
    // tail: low 16 bits of the rounded result
    for (; x < width; ++x) {
        const T* p = s + n * x;
        const float f = grayF(float(p[0] + off), float(p[1] + off), float(p[2] + off), k);
        d[x] = static_cast<T>(static_cast<uint32_t>(_mm_cvtss_si32(_mm_set_ss(f)) - off));
    }
}

void y8_innerRGBToGray_16u_C3C1R(const uint16_t* s, uint16_t* d, int w, int c, const WF& k) { kernel16(s, d, w, c, k); }
void y8_innerRGBToGray_16s_C3C1R(const int16_t* s, int16_t* d, int w, int c, const WF& k) { kernel16(s, d, w, c, k); }

// 32f: unrolled by four with the same arithmetic, no limit.
void y8_innerRGBToGray_32f_C3C1R(const float* s, float* d, int width, int channels, const WF& k) {
    int x = 0;
    // body: 4 pixels
    for (; x + 4 <= width; x += 4) {
        __m128 r, g, b;
        if (channels == 4)
            cel::cs::split4x4f(s + 4 * x, r, g, b);
        else
            cel::cs::split3x4f(s + 3 * x, r, g, b);
        _mm_storeu_ps(d + x, grayF(r, g, b, k));
    }
    // tail: the same arithmetic
    const int n = channels == 4 ? 4 : 3;
    for (; x < width; ++x) d[x] = grayF(s[n * x], s[n * x + 1], s[n * x + 2], k);
}

// Row loop shared by RGBToGray and ColorToGray: element steps, weights
// formed once, then the kernel for each row.
template <class T, class K, K (*Weights)(const float*), void (*Kernel)(const T*, T*, int, int, const K&)>
CelStatus grayEntry(const T* src, int srcStep, T* dst, int dstStep, CelSize roi, int channels, const float* coeffs) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roi, 1, 1)) return celStatusBadSize;
    const K k = Weights(coeffs);
    const int ss = srcStep >> cel::cs::kElemShift<T>, ds = dstStep >> cel::cs::kElemShift<T>;
    int32_t so = 0, d_o = 0;
    for (int j = 0; j < roi.height; ++j) {
        Kernel(src + so, dst + d_o, roi.width, channels, k);
        so = static_cast<int32_t>(static_cast<uint32_t>(so) + static_cast<uint32_t>(ss));
        d_o = static_cast<int32_t>(static_cast<uint32_t>(d_o) + static_cast<uint32_t>(ds));
    }
    return celStatusOk;
}

#define CEL_GRAY_LOOP(depth, T, K, weights)                                                                  \
    CelStatus y8_myRGBToGray_##depth##_C3C1R(const T* s, int ss, T* d, int ds, CelSize roi, int ch,          \
                                             const float* coeffs) {                                          \
        return grayEntry<T, K, weights, y8_innerRGBToGray_##depth##_C3C1R>(s, ss, d, ds, roi, ch, coeffs);   \
    }
CEL_GRAY_LOOP(8u, uint8_t, W8, weights8u)
CEL_GRAY_LOOP(16u, uint16_t, WF, weightsF)
CEL_GRAY_LOOP(16s, int16_t, WF, weightsF)
CEL_GRAY_LOOP(32f, float, WF, weightsF)
#undef CEL_GRAY_LOOP

// ---- 64f: own frame, byte steps ------------------------------------------------------------
inline double gray64(double r, double g, double b, const double* w) { return (r * w[0] + g * w[1]) + b * w[2]; }

// One row of C3: a first pixel alone if the destination is not 16-byte
// aligned, then 8, 4, 2 and 1 at a time.  In the pair step the odd pixel
// adds in the other order, (B w2 + G w1) + R w0: the pair is taken from the
// three vectors [R0 G0] [B0 R1] [G1 B1] without shuffling the middle one.
void rowGray64C3(const double* s, double* d, int width, const double* w) {
    int x = 0;
    if (width > 0 && (reinterpret_cast<uintptr_t>(d) & 15)) {
        d[0] = gray64(s[0], s[1], s[2], w);
        x = 1;
    }
    const __m128d w0 = _mm_set1_pd(w[0]), w1 = _mm_set1_pd(w[1]), w2 = _mm_set1_pd(w[2]);
    const auto quad = [&](int at, int count) {
        for (int i = 0; i < count; i += 2) {
            const double* p = s + 3 * (at + i);
            const __m128d a = _mm_loadu_pd(p), b = _mm_loadu_pd(p + 2), c = _mm_loadu_pd(p + 4);
            const __m128d r = _mm_shuffle_pd(a, b, 2), g = _mm_shuffle_pd(a, c, 1), bl = _mm_shuffle_pd(b, c, 2);
            // r = [R0 R1], g = [G0 G1], bl = [B0 B1]
            _mm_storeu_pd(d + at + i,
                          _mm_add_pd(_mm_add_pd(_mm_mul_pd(r, w0), _mm_mul_pd(g, w1)), _mm_mul_pd(bl, w2)));
        }
    };
    // body: 8 pixels, channels gathered
    for (; x + 8 <= width; x += 8) quad(x, 8);
    // 4 pixels
    if (x + 4 <= width) quad(x, 4), x += 4;
    // 2 pixels: the middle vector unshuffled, the odd pixel summed the other way
    if (x + 2 <= width) {
        const double* p = s + 3 * x;
        const __m128d a = _mm_mul_pd(_mm_loadu_pd(p), _mm_setr_pd(w[0], w[1]));
        const __m128d b = _mm_mul_pd(_mm_loadu_pd(p + 2), _mm_setr_pd(w[2], w[0]));
        const __m128d c = _mm_mul_pd(_mm_loadu_pd(p + 4), _mm_setr_pd(w[1], w[2]));
        // [R0w0 + G0w1, G1w1 + B1w2] + [B0w2, R1w0]
        _mm_storeu_pd(d + x, _mm_add_pd(_mm_hadd_pd(a, c), b));
        x += 2;
    }
    // last pixel
    for (; x < width; ++x) d[x] = gray64(s[3 * x], s[3 * x + 1], s[3 * x + 2], w);
}

// One row of AC4: channels gathered first, every pixel in the first order.
void rowGray64AC4(const double* s, double* d, int width, const double* w) {
    int x = 0;
    if (width > 0 && (reinterpret_cast<uintptr_t>(d) & 15)) {
        d[0] = gray64(s[0], s[1], s[2], w);
        x = 1;
    }
    const __m128d w0 = _mm_set1_pd(w[0]), w1 = _mm_set1_pd(w[1]), w2 = _mm_set1_pd(w[2]);
    const auto pairs = [&](int at, int count) {
        for (int i = 0; i < count; i += 2) {
            const double* p = s + 4 * (at + i);
            const __m128d rg0 = _mm_loadu_pd(p), ba0 = _mm_loadu_pd(p + 2), rg1 = _mm_loadu_pd(p + 4),
                          ba1 = _mm_loadu_pd(p + 6);
            const __m128d r = _mm_unpacklo_pd(rg0, rg1), g = _mm_unpackhi_pd(rg0, rg1), b = _mm_unpacklo_pd(ba0, ba1);
            _mm_storeu_pd(d + at + i, _mm_add_pd(_mm_add_pd(_mm_mul_pd(r, w0), _mm_mul_pd(g, w1)), _mm_mul_pd(b, w2)));
        }
    };
    // body: 8, then 4, then 2 pixels
    for (; x + 8 <= width; x += 8) pairs(x, 8);
    if (x + 4 <= width) pairs(x, 4), x += 4;
    if (x + 2 <= width) pairs(x, 2), x += 2;
    // last pixel
    for (; x < width; ++x) d[x] = gray64(s[4 * x], s[4 * x + 1], s[4 * x + 2], w);
}

template <void (*Row)(const double*, double*, int, const double*)>
void y8_ownColorToGray_64f(const double* src, int srcStep, double* dst, int dstStep, CelSize roi, const double* w) {
    for (int j = 0; j < roi.height; ++j) Row(cel::rowAt(src, j, srcStep), cel::rowAt(dst, j, dstStep), roi.width, w);
}

// ---- Gray -> RGB ------------------------------------------------------------------------------
// Kernels take the width rounded down to 4; the entry does the last 0..3.
template <class T, int N>
void y8_innerGrayToRGB(const T* s, T* d, int width, T alpha) {
    int x = 0;
    if constexpr (sizeof(T) == 1) {
        const __m128i a = _mm_set1_epi8(static_cast<char>(alpha));
        // C3: groups of 16 pixels, each 16-byte third of the 48 bytes one
        // byte shuffle of the 16 gray bytes
        if (N == 3) {
            const __m128i third0 = _mm_setr_epi8(0, 0, 0, 1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4, 5);
            const __m128i third1 = _mm_setr_epi8(5, 5, 6, 6, 6, 7, 7, 7, 8, 8, 8, 9, 9, 9, 10, 10);
            const __m128i third2 = _mm_setr_epi8(10, 11, 11, 11, 12, 12, 12, 13, 13, 13, 14, 14, 14, 15, 15, 15);
            for (; x + 16 <= width; x += 16) {
                const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + x));
                _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 3 * x), _mm_shuffle_epi8(v, third0));
                _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 3 * x + 16), _mm_shuffle_epi8(v, third1));
                _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 3 * x + 32), _mm_shuffle_epi8(v, third2));
            }
        }
        // groups of 8 pixels, then one group of 4
        for (; x + 8 <= width; x += 8) {
            const __m128i v = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(s + x));
            if (N == 3)
                cel::simd::join3x8(d + 3 * x, v, v, v);
            else
                cel::simd::join4x8(d + 4 * x, v, v, v, a);
        }
        if (x + 4 <= width) {
            int32_t w32;
            std::memcpy(&w32, s + x, 4);
            const __m128i v = _mm_cvtsi32_si128(w32);
            if (N == 3) {
                const __m128i rgb = _mm_shuffle_epi8(v, _mm_setr_epi8(0, 0, 0, 1, 1, 1, 2, 2, 2, 3, 3, 3, -1, -1, -1, -1));
                _mm_storel_epi64(reinterpret_cast<__m128i*>(d + 3 * x), rgb);
                const int32_t last = _mm_extract_epi32(rgb, 2);
                std::memcpy(d + 3 * x + 8, &last, 4);
            } else {
                const __m128i v4 = _mm_unpacklo_epi16(_mm_unpacklo_epi8(v, v), _mm_unpacklo_epi8(v, a));
                _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 4 * x), v4);
            }
            x += 4;
        }
    } else if constexpr (sizeof(T) == 2) {
        const __m128i a = _mm_set1_epi16(static_cast<int16_t>(alpha));
        if (N == 3) {
            // groups of 8 pixels, then one group of 4
            for (; x + 8 <= width; x += 8) {
                const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + x));
                cel::simd::join3x8u16(reinterpret_cast<uint16_t*>(d + 3 * x), v, v, v);
            }
            if (x + 4 <= width) {
                const __m128i v = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(s + x));
                const __m128i lo = _mm_shuffle_epi8(v, _mm_setr_epi8(0, 1, 0, 1, 0, 1, 2, 3, 2, 3, 2, 3, 4, 5, 4, 5));
                const __m128i hi = _mm_shuffle_epi8(v, _mm_setr_epi8(4, 5, 6, 7, 6, 7, 6, 7, -1, -1, -1, -1, -1, -1, -1, -1));
                _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 3 * x), lo);
                _mm_storel_epi64(reinterpret_cast<__m128i*>(d + 3 * x + 8), hi);
                x += 4;
            }
        } else {
            // groups of 4 pixels
            for (; x + 4 <= width; x += 4) {
                const __m128i v = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(s + x));
                const __m128i vv = _mm_unpacklo_epi16(v, v), va = _mm_unpacklo_epi16(v, a);
                _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 4 * x), _mm_unpacklo_epi32(vv, va));
                _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 4 * x + 8), _mm_unpackhi_epi32(vv, va));
            }
        }
    } else {
        if (N == 3) {
            // groups of 4 pixels
            for (; x + 4 <= width; x += 4) {
                const __m128 v = _mm_loadu_ps(s + x);
                cel::cs::join3x4f(d + 3 * x, v, v, v);
            }
        } else {
            const __m128 a = _mm_set1_ps(alpha);
            // groups of 2 pixels
            for (; x + 2 <= width; x += 2) {
                const __m128 v0 = _mm_set1_ps(s[x]), v1 = _mm_set1_ps(s[x + 1]);
                _mm_storeu_ps(d + 4 * x, _mm_blend_ps(v0, a, 8));
                _mm_storeu_ps(d + 4 * x + 4, _mm_blend_ps(v1, a, 8));
            }
        }
    }
}

template <class T, int N>
CelStatus grayToRgb(const T* src, int srcStep, T* dst, int dstStep, CelSize roi, T alpha) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roi, 1, 1)) return celStatusBadSize;
    const int body = roi.width & ~3;
    for (int j = 0; j < roi.height; ++j) {
        const T* s = cel::rowAt(src, j, srcStep);
        T* d = cel::rowAt(dst, j, dstStep);
        y8_innerGrayToRGB<T, N>(s, d, body, alpha);
        // the last 0 to 3 pixels
        for (int x = body; x < roi.width; ++x) {
            d[N * x] = d[N * x + 1] = d[N * x + 2] = s[x];
            if (N == 4) d[N * x + 3] = alpha;
        }
    }
    return celStatusOk;
}

}  // namespace

// ---- Entry functions ---------------------------------------------------------------------------
#define CEL_GRAY_ENTRY(depth, T)                                                                                   \
    extern "C" CelStatus y8_celiRGBToGray_##depth##_C3C1R(const T* src, int srcStep, T* dst, int dstStep,         \
                                                         CelSize roiSize) {                                       \
        return y8_myRGBToGray_##depth##_C3C1R(src, srcStep, dst, dstStep, roiSize, 3, nullptr);                  \
    }                                                                                                             \
    extern "C" CelStatus y8_celiRGBToGray_##depth##_AC4C1R(const T* src, int srcStep, T* dst, int dstStep,        \
                                                          CelSize roiSize) {                                      \
        return y8_myRGBToGray_##depth##_C3C1R(src, srcStep, dst, dstStep, roiSize, 4, nullptr);                  \
    }                                                                                                             \
    extern "C" CelStatus y8_celiColorToGray_##depth##_C3C1R(const T* src, int srcStep, T* dst, int dstStep,       \
                                                           CelSize roiSize, const float coeffs[3]) {              \
        return y8_myRGBToGray_##depth##_C3C1R(src, srcStep, dst, dstStep, roiSize, 3, coeffs);                   \
    }                                                                                                             \
    extern "C" CelStatus y8_celiColorToGray_##depth##_AC4C1R(const T* src, int srcStep, T* dst, int dstStep,      \
                                                            CelSize roiSize, const float coeffs[3]) {             \
        return y8_myRGBToGray_##depth##_C3C1R(src, srcStep, dst, dstStep, roiSize, 4, coeffs);                   \
    }

CEL_GRAY_ENTRY(8u, uint8_t)
CEL_GRAY_ENTRY(16u, uint16_t)
CEL_GRAY_ENTRY(16s, int16_t)
CEL_GRAY_ENTRY(32f, float)
#undef CEL_GRAY_ENTRY

// A null coeffs selects the default weights widened to double.
extern "C" CelStatus y8_celiColorToGray_64f_C3C1R(const double* src, int srcStep, double* dst, int dstStep,
                                                 CelSize roiSize, const double coeffs[3]) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    const double defaults[3] = {kDefaultF[0], kDefaultF[1], kDefaultF[2]};
    y8_ownColorToGray_64f<rowGray64C3>(src, srcStep, dst, dstStep, roiSize, coeffs ? coeffs : defaults);
    return celStatusOk;
}

// No default here: the weights are read as given.
extern "C" CelStatus y8_celiColorToGray_64f_AC4C1R(const double* src, int srcStep, double* dst, int dstStep,
                                                  CelSize roiSize, const double coeffs[3]) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    y8_ownColorToGray_64f<rowGray64AC4>(src, srcStep, dst, dstStep, roiSize, coeffs);
    return celStatusOk;
}

#define CEL_G2RGB(depth, T)                                                                                      \
    extern "C" CelStatus y8_celiGrayToRGB_##depth##_C1C3R(const T* src, int srcStep, T* dst, int dstStep,       \
                                                         CelSize roiSize) {                                     \
        return grayToRgb<T, 3>(src, srcStep, dst, dstStep, roiSize, T{});                                      \
    }                                                                                                           \
    extern "C" CelStatus y8_celiGrayToRGB_##depth##_C1C4R(const T* src, int srcStep, T* dst, int dstStep,       \
                                                         CelSize roiSize, T alphaValue) {                       \
        return grayToRgb<T, 4>(src, srcStep, dst, dstStep, roiSize, alphaValue);                               \
    }
CEL_G2RGB(8u, uint8_t)
CEL_G2RGB(16u, uint16_t)
CEL_G2RGB(32f, float)
#undef CEL_G2RGB
