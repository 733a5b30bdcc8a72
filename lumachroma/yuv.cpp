// RGB <-> analogue-video YUV at full resolution.
//
//   export                     body                                 px/iter   tail
//   celiRGBToYUV_8u_C3R        high-word                              16      difference
//   celiRGBToYUV_8u_C3P3R      high-word                               8      difference
//   celiRGBToYUV_8u_P3R        high-word                          16 or 8     high-word in scalar integers
//   celiRGBToYUV_8u_AC4R       none                                    -      difference, fourth byte untouched
//   celiRGBToYUV_8u_AC4P4R     rounded-weight Q15, alpha to dst[3]     8      difference, alpha copied
//   celiYUVToRGB_8u_C3R        shift-free                              8      scalar, R and B rounded
//   celiYUVToRGB_8u_C3C4R      eight-fold, alphaValue              16, 8      scalar, R and B rounded
//   celiYUVToRGB_8u_P3C3R      doubled-luma                           16      scalar, nothing rounded
//   celiYUVToRGB_8u_P3R        none                                    -      scalar, nothing rounded
//   celiYUVToRGB_8u_AC4R       none                                    -      scalar, R and B rounded; fourth byte untouched
//
// Body and tail use different recipes on purpose: a pixel's bytes depend
// on its place in the row.
#include <smmintrin.h>

#include "frame/image.h"
#include "frame/simd.h"
#include "frame/status.h"
#include "frame/tier.h"
#include "lumachroma/yuv_recipes.h"

namespace {

namespace yuv = cel::yuv;
using cel::rowAt;
using cel::simd::loadu;
using cel::simd::storeu;

inline __m128i widenLo(__m128i v) { return _mm_unpacklo_epi8(v, _mm_setzero_si128()); }
inline __m128i widenHi(__m128i v) { return _mm_unpackhi_epi8(v, _mm_setzero_si128()); }

// ---------------------------------------------------------------------------
// Encoders

void y8_innerRGBToYUV_8u_C3R(const uint8_t* src, uint8_t* dst, int width) {
    int x = 0;
    // body: high-word recipe, 16 pixels
    for (; x + 16 <= width; x += 16) {
        __m128i r[2], g[2], b[2], y[2], u[2], v[2];
        cel::simd::split3x16High(src + 3 * x, r, g, b);
        for (int h = 0; h < 2; ++h) yuv::highWord_v(r[h], g[h], b[h], y[h], u[h], v[h]);
        cel::simd::join3x16(dst + 3 * x, _mm_packus_epi16(y[0], y[1]), _mm_packus_epi16(u[0], u[1]),
                            _mm_packus_epi16(v[0], v[1]));
    }
    // tail: scalar difference recipe
    for (; x < width; ++x) {
        const uint8_t* s = src + 3 * x;
        uint8_t* d = dst + 3 * x;
        yuv::difference_px(s[0], s[1], s[2], d[0], d[1], d[2]);
    }
}

void y8_myRGBToYUV_8u_C3R(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep, int width, int height) {
    for (int j = 0; j < height; ++j) y8_innerRGBToYUV_8u_C3R(rowAt(src, j, srcStep), rowAt(dst, j, dstStep), width);
}

void y8_innerRGBToYUV_8u_C3P3R(const uint8_t* src, uint8_t* const d[3], int width) {
    // body: high-word recipe, 8 pixels; tail: scalar difference recipe
    cel::simd::pixelsHighToPlanes<3>(src, d, width, yuv::highWord_v, yuv::difference_px);
}

void y8_myRGBToYUV_8u_C3P3R(const uint8_t* src, int srcStep, uint8_t* const dst[3], int dstStep, int width,
                            int height) {
    cel::rowsToP3(src, srcStep, dst, dstStep, width, height, y8_innerRGBToYUV_8u_C3P3R);
}

// Planar: 16 pixels an iteration with aligned loads and stores when every
// pointer, both steps and the width are multiples of 16 (no tail then);
// otherwise 8 pixels and a tail.  One recipe either way.
void y8_innerRGBToYUV_8u_P3R(const uint8_t* const s[3], uint8_t* const d[3], int width, bool wide) {
    // body: high-word recipe, 16 pixels aligned or 8; tail: the high-word constants in scalar integers
    cel::simd::planes3HighRow(s, d, width, wide, yuv::highWord_v, yuv::highWord_px);
}

void y8_myRGBToYUV_8u_P3R(const uint8_t* const src[3], int srcStep, uint8_t* const dst[3], int dstStep, int width,
                          int height) {
    cel::rowsP3P3(src, srcStep, dst, dstStep, width, height, y8_innerRGBToYUV_8u_P3R);
}

// AC4: no vector body; the fourth destination byte is never written.
void y8_innerRGBToYUV_8u_AC4R(const uint8_t* src, uint8_t* dst, int width) {
    // every pixel: scalar difference recipe
    for (int x = 0; x < width; ++x) {
        const uint8_t* s = src + 4 * x;
        uint8_t* d = dst + 4 * x;
        yuv::difference_px(s[0], s[1], s[2], d[0], d[1], d[2]);
    }
}

void y8_myRGBToYUV_8u_AC4R(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep, int width, int height) {
    for (int j = 0; j < height; ++j) y8_innerRGBToYUV_8u_AC4R(rowAt(src, j, srcStep), rowAt(dst, j, dstStep), width);
}

// AC4 to four planes: the one form that moves alpha, to dst[3] unchanged.
void y8_myRGBToYUV_8u_AC4P4R(const uint8_t* src, int srcStep, uint8_t* const dst[4], int dstStep, int width,
                             int height) {
    const __m128i byChannel = _mm_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15);
    for (int j = 0; j < height; ++j) {
        const uint8_t* s = rowAt(src, j, srcStep);
        uint8_t* d[4];
        for (int k = 0; k < 4; ++k) d[k] = rowAt(dst[k], j, dstStep);
        int x = 0;
        // body: rounded-weight recipe in Q15, 8 pixels
        for (; x + 8 <= width; x += 8) {
            const __m128i s0 = _mm_shuffle_epi8(loadu(s + 4 * x), byChannel);
            const __m128i s1 = _mm_shuffle_epi8(loadu(s + 4 * x + 16), byChannel);
            const __m128i rg = _mm_unpacklo_epi32(s0, s1), ba = _mm_unpackhi_epi32(s0, s1);
            const __m128i r = _mm_slli_epi16(widenLo(rg), 7), g = _mm_slli_epi16(widenHi(rg), 7);
            const __m128i b = _mm_slli_epi16(widenLo(ba), 7);
            const __m128i l = yuv::roundedLuma_v<yuv::kQ15>(r, g, b);
            __m128i u, v;
            yuv::roundedChroma_v<yuv::kQ15>(r, b, l, u, v);
            cel::simd::storePacked8(d[0] + x, yuv::roundedY_v<yuv::kQ15>(l));
            cel::simd::storePacked8(d[1] + x, u);
            cel::simd::storePacked8(d[2] + x, v);
            _mm_storel_epi64(reinterpret_cast<__m128i*>(d[3] + x), _mm_srli_si128(ba, 8));
        }
        // tail: scalar difference recipe, alpha copied
        for (; x < width; ++x) {
            const uint8_t* p = s + 4 * x;
            yuv::difference_px(p[0], p[1], p[2], d[0][x], d[1][x], d[2][x]);
            d[3][x] = p[3];
        }
    }
}

// ---------------------------------------------------------------------------
// Decoders

void y8_innerYUVToRGB_8u_C3R(const uint8_t* src, uint8_t* dst, int width) {
    int x = 0;
    // body: shift-free form, 8 pixels
    for (; x + 8 <= width; x += 8) {
        __m128i y8, u8, v8, r, g, b;
        cel::simd::split3x8High(src + 3 * x, y8, u8, v8);
        const __m128i off = yuv::k16(128 * 8);
        yuv::shiftFree_v(_mm_srli_epi16(y8, 8), _mm_sub_epi16(_mm_srli_epi16(u8, 5), off),
                         _mm_sub_epi16(_mm_srli_epi16(v8, 5), off), r, g, b);
        cel::simd::join3x8(dst + 3 * x, _mm_packus_epi16(r, r), _mm_packus_epi16(g, g), _mm_packus_epi16(b, b));
    }
    // tail: scalar recipe, R and B rounded
    for (; x < width; ++x) {
        const uint8_t* s = src + 3 * x;
        uint8_t* d = dst + 3 * x;
        yuv::inv_px<yuv::kInvRounded>(s[0], s[1], s[2], d[0], d[1], d[2]);
    }
}

void y8_myYUVToRGB_8u_C3R(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep, int width, int height) {
    for (int j = 0; j < height; ++j) y8_innerYUVToRGB_8u_C3R(rowAt(src, j, srcStep), rowAt(dst, j, dstStep), width);
}

// Eight lanes of Y << 8, U << 8, V << 8 -> R, G, B lanes by the eight-fold form.
inline void eightFoldFromHigh(__m128i y8, __m128i u8, __m128i v8, __m128i& r, __m128i& g, __m128i& b) {
    const __m128i off = yuv::k16(128 * 128);
    yuv::eightFold_v(_mm_srli_epi16(y8, 5), _mm_sub_epi16(_mm_srli_epi16(u8, 1), off),
                     _mm_sub_epi16(_mm_srli_epi16(v8, 1), off), r, g, b);
}

void y8_ownYUVToRGB_8u_C3C4R(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep, int width, int height,
                             uint8_t alpha) {
    const __m128i a = _mm_set1_epi8(static_cast<char>(alpha));
    for (int j = 0; j < height; ++j) {
        const uint8_t* s = rowAt(src, j, srcStep);
        uint8_t* d = rowAt(dst, j, dstStep);
        int x = 0;
        // body: eight-fold form, 16 pixels
        for (; x + 16 <= width; x += 16) {
            __m128i y[2], u[2], v[2], r[2], g[2], b[2];
            cel::simd::split3x16High(s + 3 * x, y, u, v);
            for (int h = 0; h < 2; ++h) eightFoldFromHigh(y[h], u[h], v[h], r[h], g[h], b[h]);
            cel::simd::join4x16(d + 4 * x, _mm_packus_epi16(r[0], r[1]), _mm_packus_epi16(g[0], g[1]),
                                _mm_packus_epi16(b[0], b[1]), a);
        }
        // body: eight-fold form, one group of 8 if that many remain
        if (x + 8 <= width) {
            __m128i y, u, v, r, g, b;
            cel::simd::split3x8High(s + 3 * x, y, u, v);
            eightFoldFromHigh(y, u, v, r, g, b);
            cel::simd::join4x8(d + 4 * x, _mm_packus_epi16(r, r), _mm_packus_epi16(g, g), _mm_packus_epi16(b, b), a);
            x += 8;
        }
        // tail: scalar recipe, R and B rounded; alphaValue to the fourth byte
        for (; x < width; ++x) {
            const uint8_t* p = s + 3 * x;
            uint8_t* q = d + 4 * x;
            yuv::inv_px<yuv::kInvRounded>(p[0], p[1], p[2], q[0], q[1], q[2]);
            q[3] = alpha;
        }
    }
}

void y8_innerYUVToRGB_8u_P3C3R(const uint8_t* const s[3], uint8_t* dst, int width) {
    int x = 0;
    // body: doubled-luma form, 16 pixels
    for (; x + 16 <= width; x += 16) {
        const __m128i vy = loadu(s[0] + x), vu = loadu(s[1] + x), vv = loadu(s[2] + x);
        const __m128i off = yuv::k16(128 * 16);
        __m128i r[2], g[2], b[2];
        for (int h = 0; h < 2; ++h) {
            const __m128i y = h ? widenHi(vy) : widenLo(vy);
            const __m128i u = _mm_sub_epi16(_mm_slli_epi16(h ? widenHi(vu) : widenLo(vu), 4), off);
            const __m128i v = _mm_sub_epi16(_mm_slli_epi16(h ? widenHi(vv) : widenLo(vv), 4), off);
            const yuv::VecTerms t = yuv::doubledTerms_v<yuv::kDoubled>(u, v);
            yuv::doubledPixels_v<yuv::kDoubled>(y, t, yuv::doubledVG_v<yuv::kDoubled>(v), r[h], g[h], b[h]);
        }
        cel::simd::join3x16(dst + 3 * x, _mm_packus_epi16(r[0], r[1]), _mm_packus_epi16(g[0], g[1]),
                            _mm_packus_epi16(b[0], b[1]));
    }
    // tail: scalar recipe without rounding
    for (; x < width; ++x) {
        uint8_t* d = dst + 3 * x;
        yuv::inv_px<yuv::kInvPlain>(s[0][x], s[1][x], s[2][x], d[0], d[1], d[2]);
    }
}

void y8_myYUVToRGB_8u_P3C3R(const uint8_t* const src[3], int srcStep, uint8_t* dst, int dstStep, int width,
                            int height) {
    for (int j = 0; j < height; ++j)
        y8_innerYUVToRGB_8u_P3C3R(cel::planeRows<3>(src, j, srcStep).data(), rowAt(dst, j, dstStep), width);
}

void y8_innerYUVToRGB_8u_P3R(const uint8_t* const s[3], uint8_t* const d[3], int width) {
    // every pixel: scalar recipe without rounding
    for (int x = 0; x < width; ++x) yuv::inv_px<yuv::kInvPlain>(s[0][x], s[1][x], s[2][x], d[0][x], d[1][x], d[2][x]);
}

void y8_myYUVToRGB_8u_P3R(const uint8_t* const src[3], int srcStep, uint8_t* const dst[3], int dstStep, int width,
                          int height) {
    using cel::planeRows;
    for (int j = 0; j < height; ++j)
        y8_innerYUVToRGB_8u_P3R(planeRows<3>(src, j, srcStep).data(), planeRows<3>(dst, j, dstStep).data(), width);
}

void y8_innerYUVToRGB_8u_AC4R(const uint8_t* src, uint8_t* dst, int width) {
    // every pixel: scalar recipe, R and B rounded; fourth byte untouched
    for (int x = 0; x < width; ++x) {
        const uint8_t* s = src + 4 * x;
        uint8_t* d = dst + 4 * x;
        yuv::inv_px<yuv::kInvRounded>(s[0], s[1], s[2], d[0], d[1], d[2]);
    }
}

void y8_myYUVToRGB_8u_AC4R(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep, int width, int height) {
    for (int j = 0; j < height; ++j) y8_innerYUVToRGB_8u_AC4R(rowAt(src, j, srcStep), rowAt(dst, j, dstStep), width);
}

}  // namespace

// ---------------------------------------------------------------------------
// Tier functions: argument checks in their fixed order, then the row loop.

extern "C" CelStatus y8_celiRGBToYUV_8u_C3R(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep,
                                           CelSize roiSize) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    y8_myRGBToYUV_8u_C3R(src, srcStep, dst, dstStep, roiSize.width, roiSize.height);
    return celStatusOk;
}

extern "C" CelStatus y8_celiRGBToYUV_8u_C3P3R(const uint8_t* src, int srcStep, uint8_t* dst[3], int dstStep,
                                             CelSize roiSize) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    if (cel::anyPlaneNull(dst, 3)) return celStatusNullPointer;
    y8_myRGBToYUV_8u_C3P3R(src, srcStep, dst, dstStep, roiSize.width, roiSize.height);
    return celStatusOk;
}

extern "C" CelStatus y8_celiRGBToYUV_8u_P3R(const uint8_t* const src[3], int srcStep, uint8_t* dst[3], int dstStep,
                                           CelSize roiSize) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    if (cel::anyPlaneNull(src, 3) || cel::anyPlaneNull(dst, 3)) return celStatusNullPointer;
    y8_myRGBToYUV_8u_P3R(src, srcStep, dst, dstStep, roiSize.width, roiSize.height);
    return celStatusOk;
}

extern "C" CelStatus y8_celiRGBToYUV_8u_AC4R(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep,
                                            CelSize roiSize) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    y8_myRGBToYUV_8u_AC4R(src, srcStep, dst, dstStep, roiSize.width, roiSize.height);
    return celStatusOk;
}

extern "C" CelStatus y8_celiRGBToYUV_8u_AC4P4R(const uint8_t* src, int srcStep, uint8_t* dst[4], int dstStep,
                                              CelSize roiSize) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    if (cel::anyPlaneNull(dst, 4)) return celStatusNullPointer;
    y8_myRGBToYUV_8u_AC4P4R(src, srcStep, dst, dstStep, roiSize.width, roiSize.height);
    return celStatusOk;
}

extern "C" CelStatus y8_celiYUVToRGB_8u_C3R(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep,
                                           CelSize roiSize) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    y8_myYUVToRGB_8u_C3R(src, srcStep, dst, dstStep, roiSize.width, roiSize.height);
    return celStatusOk;
}

extern "C" CelStatus y8_celiYUVToRGB_8u_C3C4R(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep,
                                             CelSize roiSize, uint8_t alphaValue) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    y8_ownYUVToRGB_8u_C3C4R(src, srcStep, dst, dstStep, roiSize.width, roiSize.height, alphaValue);
    return celStatusOk;
}

extern "C" CelStatus y8_celiYUVToRGB_8u_P3C3R(const uint8_t* const src[3], int srcStep, uint8_t* dst, int dstStep,
                                             CelSize roiSize) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    if (cel::anyPlaneNull(src, 3)) return celStatusNullPointer;
    y8_myYUVToRGB_8u_P3C3R(src, srcStep, dst, dstStep, roiSize.width, roiSize.height);
    return celStatusOk;
}

extern "C" CelStatus y8_celiYUVToRGB_8u_P3R(const uint8_t* const src[3], int srcStep, uint8_t* dst[3], int dstStep,
                                           CelSize roiSize) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    if (cel::anyPlaneNull(src, 3) || cel::anyPlaneNull(dst, 3)) return celStatusNullPointer;
    y8_myYUVToRGB_8u_P3R(src, srcStep, dst, dstStep, roiSize.width, roiSize.height);
    return celStatusOk;
}

extern "C" CelStatus y8_celiYUVToRGB_8u_AC4R(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep,
                                            CelSize roiSize) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    y8_myYUVToRGB_8u_AC4R(src, srcStep, dst, dstStep, roiSize.width, roiSize.height);
    return celStatusOk;
}
