// RGB -> YCbCr at full resolution (BT.601 studio range), five layouts.
//
//   export                     vector body           px/iter   tail
//   celiRGBToYCbCr_8u_C3R      rounded-lane           16       scalar Q16
//   celiRGBToYCbCr_8u_AC4R     rounded-lane           16       scalar Q16
//   celiRGBToYCbCr_8u_C3P3R    high-word               8       scalar Q16
//   celiRGBToYCbCr_8u_AC4P3R   high-word               8       scalar Q16
//   celiRGBToYCbCr_8u_P3R      high-word          16 or 8      scalar Q16 (8 only)
//
// The body and the tail deliberately use different recipes, so a pixel's
// bytes depend on where in the row it falls.
#include <smmintrin.h>

#include "frame/image.h"
#include "frame/simd.h"
#include "frame/status.h"
#include "frame/tier.h"
#include "lumachroma/encode_recipes.h"

namespace {

using cel::enc::rgbToYCbCrHigh_v;
using cel::enc::rgbToYCbCrLane_v;
using cel::enc::rgbToYCbCrQ16_px;

// Bytes -> 16-bit lanes holding value << 7, as the rounded-lane recipe wants.
inline void widenShl7(__m128i v, __m128i& lo, __m128i& hi) {
    const __m128i z = _mm_setzero_si128();
    lo = _mm_slli_epi16(_mm_unpacklo_epi8(v, z), 7);
    hi = _mm_slli_epi16(_mm_unpackhi_epi8(v, z), 7);
}

// Sixteen pixels by the rounded-lane recipe: channel vectors in, Y/Cb/Cr bytes out.
inline void lane16(__m128i r, __m128i g, __m128i b, __m128i& y, __m128i& cb, __m128i& cr) {
    __m128i rl, rh, gl, gh, bl, bh, yl, yh, cbl, cbh, crl, crh;
    widenShl7(r, rl, rh);
    widenShl7(g, gl, gh);
    widenShl7(b, bl, bh);
    rgbToYCbCrLane_v(rl, gl, bl, yl, cbl, crl);
    rgbToYCbCrLane_v(rh, gh, bh, yh, cbh, crh);
    y = _mm_packus_epi16(yl, yh);
    cb = _mm_packus_epi16(cbl, cbh);
    cr = _mm_packus_epi16(crl, crh);
}

// ---------------------------------------------------------------------------
// C3R: 16 pixels an iteration, in place allowed (a group is read whole
// before it is written).
void y8_innerRGBToYCbCr_C3_C3R(const uint8_t* src, uint8_t* dst, int width) {
    int x = 0;
    // body: rounded-lane recipe
    for (; x + 16 <= width; x += 16) {
        __m128i r[2], g[2], b[2], y[2], cb[2], cr[2];
        cel::simd::split3x16High(src + 3 * x, r, g, b);
        for (int h = 0; h < 2; ++h)
            rgbToYCbCrLane_v(_mm_srli_epi16(r[h], 1), _mm_srli_epi16(g[h], 1), _mm_srli_epi16(b[h], 1), y[h], cb[h],
                             cr[h]);
        cel::simd::join3x16(dst + 3 * x, _mm_packus_epi16(y[0], y[1]), _mm_packus_epi16(cb[0], cb[1]),
                            _mm_packus_epi16(cr[0], cr[1]));
    }
    // tail: scalar Q16 recipe
    for (; x < width; ++x) {
        const uint8_t* s = src + 3 * x;
        uint8_t* d = dst + 3 * x;
        rgbToYCbCrQ16_px(s[0], s[1], s[2], d[0], d[1], d[2]);
    }
}

void y8_myRGBToYCbCr_C3_C3R(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep, int width, int height) {
    for (int j = 0; j < height; ++j)
        y8_innerRGBToYCbCr_C3_C3R(cel::rowAt(src, j, srcStep), cel::rowAt(dst, j, dstStep), width);
}

// ---------------------------------------------------------------------------
// AC4R: the body stores whole four-byte pixels with a zero fourth byte; the
// tail writes three bytes and leaves the destination's fourth byte alone.
void y8_innerRGBToYCbCr_AC4R(const uint8_t* src, uint8_t* dst, int width) {
    int x = 0;
    // body: rounded-lane recipe, fourth byte cleared
    for (; x + 16 <= width; x += 16) {
        __m128i r, g, b, y, cb, cr;
        cel::simd::split4x16(src + 4 * x, r, g, b);
        lane16(r, g, b, y, cb, cr);
        cel::simd::join4x16(dst + 4 * x, y, cb, cr, _mm_setzero_si128());
    }
    // tail: scalar Q16 recipe, fourth byte untouched
    for (; x < width; ++x) {
        const uint8_t* s = src + 4 * x;
        uint8_t* d = dst + 4 * x;
        rgbToYCbCrQ16_px(s[0], s[1], s[2], d[0], d[1], d[2]);
    }
}

void y8_myRGBToYCbCr_AC4R(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep, int width, int height) {
    for (int j = 0; j < height; ++j)
        y8_innerRGBToYCbCr_AC4R(cel::rowAt(src, j, srcStep), cel::rowAt(dst, j, dstStep), width);
}

// ---------------------------------------------------------------------------
// C3P3R and AC4P3R: eight pixels (24 or 32 bytes) an iteration spread into
// high halves of lanes; alpha never read into the result.
void y8_innerRGBToYCbCr_8u_C3P3R(const uint8_t* src, uint8_t* const d[3], int width) {
    // body: high-word recipe, 8 pixels; tail: scalar Q16 recipe
    cel::simd::pixelsHighToPlanes<3>(src, d, width, rgbToYCbCrHigh_v, rgbToYCbCrQ16_px);
}

void y8_myRGBToYCbCr_8u_C3P3R(const uint8_t* src, int srcStep, uint8_t* const dst[3], int dstStep, int width,
                              int height) {
    cel::rowsToP3(src, srcStep, dst, dstStep, width, height, y8_innerRGBToYCbCr_8u_C3P3R);
}

void y8_innerRGBToYCbCr_8u_AC4P3R(const uint8_t* src, uint8_t* const d[3], int width) {
    // body: high-word recipe, 8 pixels; tail: scalar Q16 recipe
    cel::simd::pixelsHighToPlanes<4>(src, d, width, rgbToYCbCrHigh_v, rgbToYCbCrQ16_px);
}

void y8_myRGBToYCbCr_8u_AC4P3R(const uint8_t* src, int srcStep, uint8_t* const dst[3], int dstStep, int width,
                               int height) {
    cel::rowsToP3(src, srcStep, dst, dstStep, width, height, y8_innerRGBToYCbCr_8u_AC4P3R);
}

// ---------------------------------------------------------------------------
// P3R: 16 pixels an iteration with aligned loads and stores when every
// pointer, both steps and the width are multiples of 16 (no tail then),
// otherwise 8 and a tail.
void y8_innerRGBToYCbCr_8u_P3R(const uint8_t* const s[3], uint8_t* const d[3], int width, bool al16) {
    // body: high-word recipe, 16 pixels aligned or 8; tail: scalar Q16 recipe
    cel::simd::planes3HighRow(s, d, width, al16, rgbToYCbCrHigh_v, rgbToYCbCrQ16_px);
}

void y8_myRGBToYCbCr_8u_P3R(const uint8_t* const src[3], int srcStep, uint8_t* const dst[3], int dstStep, int width,
                            int height) {
    cel::rowsP3P3(src, srcStep, dst, dstStep, width, height, y8_innerRGBToYCbCr_8u_P3R);
}

}  // namespace

// ---------------------------------------------------------------------------
// Tier functions: argument checks in their fixed order, then the row loop.

extern "C" CelStatus y8_celiRGBToYCbCr_8u_C3R(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep,
                                             CelSize roiSize) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    y8_myRGBToYCbCr_C3_C3R(src, srcStep, dst, dstStep, roiSize.width, roiSize.height);
    return celStatusOk;
}

extern "C" CelStatus y8_celiRGBToYCbCr_8u_AC4R(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep,
                                              CelSize roiSize) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    y8_myRGBToYCbCr_AC4R(src, srcStep, dst, dstStep, roiSize.width, roiSize.height);
    return celStatusOk;
}

// Plane pointers are tested with the outer pointers, ahead of the sizes.
extern "C" CelStatus y8_celiRGBToYCbCr_8u_C3P3R(const uint8_t* src, int srcStep, uint8_t* dst[3], int dstStep,
                                               CelSize roiSize) {
    if (cel::anyNull(src, dst) || cel::anyPlaneNull(dst, 3)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    y8_myRGBToYCbCr_8u_C3P3R(src, srcStep, dst, dstStep, roiSize.width, roiSize.height);
    return celStatusOk;
}

extern "C" CelStatus y8_celiRGBToYCbCr_8u_AC4P3R(const uint8_t* src, int srcStep, uint8_t* dst[3], int dstStep,
                                                CelSize roiSize) {
    if (cel::anyNull(src, dst) || cel::anyPlaneNull(dst, 3)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    y8_myRGBToYCbCr_8u_AC4P3R(src, srcStep, dst, dstStep, roiSize.width, roiSize.height);
    return celStatusOk;
}

// Outer pointers, sizes, then the six plane pointers.
extern "C" CelStatus y8_celiRGBToYCbCr_8u_P3R(const uint8_t* const src[3], int srcStep, uint8_t* dst[3], int dstStep,
                                             CelSize roiSize) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    if (cel::anyPlaneNull(src, 3) || cel::anyPlaneNull(dst, 3)) return celStatusNullPointer;
    y8_myRGBToYCbCr_8u_P3R(src, srcStep, dst, dstStep, roiSize.width, roiSize.height);
    return celStatusOk;
}
