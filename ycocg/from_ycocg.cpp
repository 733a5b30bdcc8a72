// Three planes Y, Co, Cg back to interleaved BGR (and one RGB form): the
// plain inverse and the lifting one.  What leaves the sample range
// saturates where the pixels are 8-bit and wraps where they are 16-bit.
//
//   form             lanes   aligned block   other block   results
//   16s8u            16-bit  16, then 8      8             16-bit wrap, then 0..255
//   Rev_16s8u        16-bit  16, then 8      8             16-bit wrap, then 0..255
//   16s, Rev_16s     16-bit  8               4             wrap modulo 2^16
//   32s16s, Rev      32-bit  8 (width % 8 0) 4             low 16 bits
//   RGB 8u           16-bit, 16 pixels a step unless the pixel row overlaps a
//                    plane row; scalar pairs, then a last pixel; 0..255
//
// The aligned block runs when the three plane rows and the pixel row are
// 16-byte aligned.  Every path of a form has the same arithmetic.  C4 forms
// write alphaValue (its low byte, or its low 16 bits) as the fourth sample.
#include <smmintrin.h>

#include <cstdint>

#include "frame/image.h"
#include "frame/simd.h"
#include "frame/status.h"
#include "frame/tier.h"
#include "ycocg/pixels.h"
#include "ycocg/recipes.h"

namespace {

using namespace cel::ycocg;

// An inverse form: 32-bit lanes for the 32-bit planes.
template <class Src, class Dst, int N, bool Lifting>
using FromForm = Form<Dst, Src, N, Lifting, sizeof(Src) == 4>;

// W samples of a plane row into lanes of the form's width.
template <int W, bool Aligned>
inline void loadPlane(const int16_t* p, __m128i (&v)[2]) {
    if constexpr (W == 4) {
        v[0] = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p));
    } else {
        v[0] = loadA<Aligned>(p);
        if constexpr (W == 16) v[1] = loadA<Aligned>(p + 8);
    }
}
template <int W, bool Aligned>
inline void loadPlane(const int32_t* p, __m128i (&v)[2]) {
    v[0] = loadA<Aligned>(p);
    if constexpr (W == 8) v[1] = loadA<Aligned>(p + 4);
}

// W pixels from the three plane rows.
template <class F, int W, bool Aligned>
inline void fromBlock(const typename F::Q* y, const typename F::Q* co, const typename F::Q* cg, typename F::P* d,
                      __m128i alpha) {
    __m128i vy[2], vco[2], vcg[2];
    loadPlane<W, Aligned>(y, vy);
    loadPlane<W, Aligned>(co, vco);
    loadPlane<W, Aligned>(cg, vcg);
    constexpr int kVectors = W == 16 || (F::k32 && W == 8) ? 2 : 1;
    __m128i c[3][2];  // B, G, R
    for (int h = 0; h < kVectors; ++h)
        inverse<F::kLifting, typename F::VO>(vy[h], vco[h], vcg[h], c[2][h], c[1][h], c[0][h]);
    if constexpr (F::k32) {
        for (int k = 0; k < 3; ++k) c[k][0] = low16(c[k][0], W == 8 ? c[k][1] : c[k][0]);
    }
    joinPixels<F::kChannels, W>(d, c, alpha);
}

// One pixel's result in the pixel's sample type: 8-bit saturates the
// wrapped 16-bit value, 16-bit keeps the low bits.
template <class D, class T>
inline D toSample(T v) {
    if constexpr (sizeof(D) == 1)
        return clamp8(v);
    else
        return static_cast<D>(v);
}

// Row kernel: aligned wide blocks, other blocks, scalar tail.
template <class F>
void y8_innerFromYCoCg(const typename F::Q* y, const typename F::Q* co, const typename F::Q* cg, typename F::P* d,
                       int width, int alphaValue) {
    constexpr int N = F::kChannels;
    using D = typename F::P;
    const __m128i alpha = sizeof(D) == 1 ? _mm_set1_epi8(static_cast<char>(alphaValue))
                                         : _mm_set1_epi16(static_cast<int16_t>(alphaValue));
    int x = 0;
    if (cel::aligned16(y) && cel::aligned16(co) && cel::aligned16(cg) && cel::aligned16(d) &&
        (!F::kWidth8 || width % 8 == 0)) {
        // body: the recipe in vector lanes, aligned blocks
        for (; x + F::kWide <= width; x += F::kWide) fromBlock<F, F::kWide, true>(y + x, co + x, cg + x, d + N * x, alpha);
    }
    // body: the recipe in vector lanes, unaligned blocks
    for (; x + F::kNarrow <= width; x += F::kNarrow) fromBlock<F, F::kNarrow, false>(y + x, co + x, cg + x, d + N * x, alpha);
    // tail: the recipe on one pixel
    using T = typename F::SO::T;
    for (; x < width; ++x) {
        T r, g, b;
        inverse<F::kLifting, typename F::SO>(T(y[x]), T(co[x]), T(cg[x]), r, g, b);
        D* q = d + N * x;
        q[0] = toSample<D>(b);
        q[1] = toSample<D>(g);
        q[2] = toSample<D>(r);
        if constexpr (N == 4) q[3] = static_cast<D>(alphaValue);
    }
}

// Row loop: 32-bit signed row offsets; a region without width has no work
// in any row.
template <class F>
void y8_myFromYCoCg(const typename F::Q* const src[3], int srcStep, typename F::P* dst, int dstStep, CelSize roi,
                    int alphaValue) {
    if (roi.width < 1) return;
    for (int j = 0; j < roi.height; ++j)
        y8_innerFromYCoCg<F>(cel::rowAt(src[0], j, srcStep), cel::rowAt(src[1], j, srcStep), cel::rowAt(src[2], j, srcStep),
                             cel::rowAt(dst, j, dstStep), roi.width, alphaValue);
}

// True if the pixel row and a plane row lie closer than the pixel row's length.
inline bool overlaps(const uint8_t* d, const uint8_t* plane, int width) {
    const intptr_t gap = reinterpret_cast<intptr_t>(d) - reinterpret_cast<intptr_t>(plane);
    return (gap < 0 ? -gap : gap) < 3 * static_cast<intptr_t>(width);
}

// One pixel of the offset 8-bit planes.
inline void offsetPixel(const uint8_t* y, const uint8_t* co, const uint8_t* cg, int x, uint8_t* d) {
    int32_t r, g, b;
    inverseOffset8u<S32>(y[x], co[x], cg[x], r, g, b);
    d[3 * x] = clamp8(r);
    d[3 * x + 1] = clamp8(g);
    d[3 * x + 2] = clamp8(b);
}

// Offset 8-bit planes to RGB: one region worker.
void y8_ownYCoCgToRGB_8u_P3C3R(const uint8_t* const src[3], int srcStep, uint8_t* dst, int dstStep, CelSize roi) {
    const int w = roi.width;
    if (w < 1) return;
    const __m128i z = _mm_setzero_si128();
    for (int j = 0; j < roi.height; ++j) {
        const uint8_t* y = cel::rowAt(src[0], j, srcStep);
        const uint8_t* co = cel::rowAt(src[1], j, srcStep);
        const uint8_t* cg = cel::rowAt(src[2], j, srcStep);
        uint8_t* d = cel::rowAt(dst, j, dstStep);
        int x = 0;
        if (!overlaps(d, y, w) && !overlaps(d, co, w) && !overlaps(d, cg, w)) {
            // body: the offset recipe in 16-bit lanes, 16 pixels
            for (; x + 16 <= w; x += 16) {
                const __m128i vy = loadV(y + x), vco = loadV(co + x), vcg = loadV(cg + x);
                __m128i r[2], g[2], b[2];
                inverseOffset8u<V16>(_mm_unpacklo_epi8(vy, z), _mm_unpacklo_epi8(vco, z), _mm_unpacklo_epi8(vcg, z), r[0],
                                     g[0], b[0]);
                inverseOffset8u<V16>(_mm_unpackhi_epi8(vy, z), _mm_unpackhi_epi8(vco, z), _mm_unpackhi_epi8(vcg, z), r[1],
                                     g[1], b[1]);
                cel::simd::join3x16(d + 3 * x, _mm_packus_epi16(r[0], r[1]), _mm_packus_epi16(g[0], g[1]),
                                    _mm_packus_epi16(b[0], b[1]));
            }
        }
        // tail: the same recipe, pairs of pixels, then a last pixel
        for (; x + 2 <= w; x += 2) {
            offsetPixel(y, co, cg, x, d);
            offsetPixel(y, co, cg, x + 1, d);
        }
        if (x < w) offsetPixel(y, co, cg, x, d);
    }
}

// Named row loops of the forms.
constexpr auto y8_myYCoCgToBGR_16s8u_P3C3R = y8_myFromYCoCg<FromForm<int16_t, uint8_t, 3, false>>;
constexpr auto y8_myYCoCgToBGR_16s8u_P3C4R = y8_myFromYCoCg<FromForm<int16_t, uint8_t, 4, false>>;
constexpr auto y8_myYCoCgToBGR_Rev_16s8u_P3C3R = y8_myFromYCoCg<FromForm<int16_t, uint8_t, 3, true>>;
constexpr auto y8_myYCoCgToBGR_Rev_16s8u_P3C4R = y8_myFromYCoCg<FromForm<int16_t, uint8_t, 4, true>>;
constexpr auto y8_myYCoCgToSBGR_16s_P3C3R = y8_myFromYCoCg<FromForm<int16_t, int16_t, 3, false>>;
constexpr auto y8_myYCoCgToSBGR_16s_P3C4R = y8_myFromYCoCg<FromForm<int16_t, int16_t, 4, false>>;
constexpr auto y8_myYCoCgToSBGR_32s16s_P3C3R = y8_myFromYCoCg<FromForm<int32_t, int16_t, 3, false>>;
constexpr auto y8_myYCoCgToSBGR_32s16s_P3C4R = y8_myFromYCoCg<FromForm<int32_t, int16_t, 4, false>>;
constexpr auto y8_myYCoCgToSBGR_Rev_16s_P3C3R = y8_myFromYCoCg<FromForm<int16_t, int16_t, 3, true>>;
constexpr auto y8_myYCoCgToSBGR_Rev_16s_P3C4R = y8_myFromYCoCg<FromForm<int16_t, int16_t, 4, true>>;
constexpr auto y8_myYCoCgToSBGR_Rev_32s16s_P3C3R = y8_myFromYCoCg<FromForm<int32_t, int16_t, 3, true>>;
constexpr auto y8_myYCoCgToSBGR_Rev_32s16s_P3C4R = y8_myFromYCoCg<FromForm<int32_t, int16_t, 4, true>>;

}  // namespace

// ---- Entry functions -----------------------------------------------------------------------------
// The plane array, the pixel pointer, the three planes; then the size, in
// the three members that test it.  The others return Ok for an empty region.
#define CEL_FROM_YCOCG_CHECKS(sizeTest)                                                     \
    if (cel::anyNull(src, dst) || cel::anyPlaneNull(src, 3)) return celStatusNullPointer; \
    if (sizeTest && cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;

#define CEL_FROM_YCOCG_C3(name, Src, Dst, sizeTest)                                                                  \
    extern "C" CelStatus y8_celi##name(const Src* const src[3], int srcStep, Dst* dst, int dstStep, CelSize roiSize) { \
        CEL_FROM_YCOCG_CHECKS(sizeTest)                                                                              \
        y8_my##name(src, srcStep, dst, dstStep, roiSize, 0);                                                         \
        return celStatusOk;                                                                                          \
    }
#define CEL_FROM_YCOCG_C4(name, Src, Dst, sizeTest)                                                                  \
    extern "C" CelStatus y8_celi##name(const Src* const src[3], int srcStep, Dst* dst, int dstStep, CelSize roiSize, \
                                       int alphaValue) {                                                             \
        CEL_FROM_YCOCG_CHECKS(sizeTest)                                                                              \
        y8_my##name(src, srcStep, dst, dstStep, roiSize, alphaValue);                                                \
        return celStatusOk;                                                                                          \
    }

CEL_FROM_YCOCG_C3(YCoCgToBGR_16s8u_P3C3R, int16_t, uint8_t, false)
CEL_FROM_YCOCG_C4(YCoCgToBGR_16s8u_P3C4R, int16_t, uint8_t, false)
CEL_FROM_YCOCG_C3(YCoCgToBGR_Rev_16s8u_P3C3R, int16_t, uint8_t, false)
CEL_FROM_YCOCG_C4(YCoCgToBGR_Rev_16s8u_P3C4R, int16_t, uint8_t, false)
CEL_FROM_YCOCG_C3(YCoCgToSBGR_16s_P3C3R, int16_t, int16_t, false)
CEL_FROM_YCOCG_C4(YCoCgToSBGR_16s_P3C4R, int16_t, int16_t, true)
CEL_FROM_YCOCG_C3(YCoCgToSBGR_32s16s_P3C3R, int32_t, int16_t, true)
CEL_FROM_YCOCG_C4(YCoCgToSBGR_32s16s_P3C4R, int32_t, int16_t, true)
CEL_FROM_YCOCG_C3(YCoCgToSBGR_Rev_16s_P3C3R, int16_t, int16_t, false)
CEL_FROM_YCOCG_C4(YCoCgToSBGR_Rev_16s_P3C4R, int16_t, int16_t, false)
CEL_FROM_YCOCG_C3(YCoCgToSBGR_Rev_32s16s_P3C3R, int32_t, int16_t, false)
CEL_FROM_YCOCG_C4(YCoCgToSBGR_Rev_32s16s_P3C4R, int32_t, int16_t, false)

#undef CEL_FROM_YCOCG_C3
#undef CEL_FROM_YCOCG_C4
#undef CEL_FROM_YCOCG_CHECKS

extern "C" CelStatus y8_celiYCoCgToRGB_8u_P3C3R(const uint8_t* const src[3], int srcStep, uint8_t* dst, int dstStep,
                                                CelSize roiSize) {
    if (cel::anyNull(src, dst) || cel::anyPlaneNull(src, 3)) return celStatusNullPointer;
    y8_ownYCoCgToRGB_8u_P3C3R(src, srcStep, dst, dstStep, roiSize);
    return celStatusOk;
}
