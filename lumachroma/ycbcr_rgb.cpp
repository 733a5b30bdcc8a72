// YCbCr -> RGB and BGR at full resolution (BT.601 studio range), seven forms.
//
//   export                      vector body   blocks              tail
//   celiYCbCrToRGB_8u_C3R       narrow        16, then one of 8    set A rounded, clamp table
//   celiYCbCrToRGB_8u_P3C3R     narrow        16, then 8           set A rounded, clamp table
//   celiYCbCrToBGR_8u_P3C3R     narrow        16, then 8           set A rounded, clamp table
//   celiYCbCrToRGB_8u_P3C4R     wide          8                    set A rounded, clamp table
//   celiYCbCrToBGR_8u_P3C4R     wide          16, then 8           wide recipe on single lanes
//   celiYCbCrToRGB_8u_P3R       plain         16 (aligned), 8, 4   set B rounded, comparisons
//   celiYCbCrToRGB_8u_AC4R      none          -                    set B unrounded, clamp table
//   celiYCbCrToBGR_709CSC_8u_P3C3R   wide, BT.709 set   16           BT.709 scalar set rounded, clamp table
//   celiYCbCrToBGR_709CSC_8u_P3C4R   wide, BT.709 set   16, then 8   the same recipe on single lanes
//
// Body and tail deliberately use different recipes in most forms, so a
// pixel's bytes depend on where in the row it falls.
#include <smmintrin.h>

#include "frame/image.h"
#include "frame/simd.h"
#include "frame/status.h"
#include "frame/tier.h"
#include "lumachroma/decode_recipes.h"

namespace {

using cel::dec::Clamp;
using cel::dec::kSetA;
using cel::dec::kSetB;
using cel::dec::scalar_px;
using Recipe = void (*)(__m128i, __m128i, __m128i, __m128i&, __m128i&, __m128i&);
// A recipe on sixteen pixels: luma bytes, chroma lanes of the even and of
// the odd pixels; bytes out in even/odd order.
using EvenOddRecipe = void (*)(__m128i, __m128i, __m128i, __m128i, __m128i, __m128i&, __m128i&, __m128i&);

// Eight pixels from lanes holding Y, Cb, Cr << 8 to 16-bit R, G, B lanes.
template <Recipe Dec>
inline void decode8(__m128i y8, __m128i cb8, __m128i cr8, __m128i& r, __m128i& g, __m128i& b) {
    Dec(cel::dec::lumaFromHigh(y8), cel::dec::chromaFromHigh(cb8), cel::dec::chromaFromHigh(cr8), r, g, b);
}

// Sixteen pixels from three byte vectors to three byte vectors.
template <Recipe Dec>
inline void decode16(__m128i y, __m128i cb, __m128i cr, __m128i& r, __m128i& g, __m128i& b) {
    const __m128i z = _mm_setzero_si128();
    __m128i rl, gl, bl, rh, gh, bh;
    decode8<Dec>(_mm_unpacklo_epi8(z, y), _mm_unpacklo_epi8(z, cb), _mm_unpacklo_epi8(z, cr), rl, gl, bl);
    decode8<Dec>(_mm_unpackhi_epi8(z, y), _mm_unpackhi_epi8(z, cb), _mm_unpackhi_epi8(z, cr), rh, gh, bh);
    r = _mm_packus_epi16(rl, rh);
    g = _mm_packus_epi16(gl, gh);
    b = _mm_packus_epi16(bl, bh);
}

// Sixteen pixels, lanes prepared straight from the bytes: results in
// even/odd order (pixels 0, 2, .., 14, then 1, .., 15).
template <EvenOddRecipe Dec>
inline void decode16EvenOdd(__m128i y, __m128i cb, __m128i cr, __m128i& r, __m128i& g, __m128i& b) {
    namespace dec = cel::dec;
    const __m128i sb = dec::signedChroma(cb), sr = dec::signedChroma(cr);
    Dec(y, dec::chromaFromSignedBytes<false>(sb), dec::chromaFromSignedBytes<false>(sr),
        dec::chromaFromSignedBytes<true>(sb), dec::chromaFromSignedBytes<true>(sr), r, g, b);
}


// Eight pixels from three 8-byte rows; results in the low halves.
template <Recipe Dec>
inline void decodePlanes8(const uint8_t* y, const uint8_t* cb, const uint8_t* cr, __m128i& r, __m128i& g, __m128i& b) {
    using cel::simd::loadHigh8;
    __m128i r16, g16, b16;
    decode8<Dec>(loadHigh8(y), loadHigh8(cb), loadHigh8(cr), r16, g16, b16);
    r = _mm_packus_epi16(r16, r16);
    g = _mm_packus_epi16(g16, g16);
    b = _mm_packus_epi16(b16, b16);
}

inline __m128i loadu(const uint8_t* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }

// Output order of an interleaved destination: RGB, or BGR.
template <bool Bgr>
struct Order {
    static __m128i first(__m128i r, __m128i b) { return Bgr ? b : r; }
    static __m128i last(__m128i r, __m128i b) { return Bgr ? r : b; }
    static void put(uint8_t* d, uint8_t r, uint8_t g, uint8_t b) {
        d[0] = Bgr ? b : r;
        d[1] = g;
        d[2] = Bgr ? r : b;
    }
};

// ---------------------------------------------------------------------------
// C3R: interleaved YCbCr in, RGB out; in place allowed (each group is read
// whole before it is written).
void rowYCbCrToRGB_C3R(const uint8_t* src, uint8_t* dst, int width) {
    int x = 0;
    // body: narrow recipe, 16 pixels
    for (; x + 16 <= width; x += 16) {
        __m128i y[2], cb[2], cr[2], r[2], g[2], b[2];
        cel::simd::split3x16High(src + 3 * x, y, cb, cr);
        for (int h = 0; h < 2; ++h) decode8<cel::dec::narrow_v<true>>(y[h], cb[h], cr[h], r[h], g[h], b[h]);
        cel::simd::join3x16(dst + 3 * x, _mm_packus_epi16(r[0], r[1]), _mm_packus_epi16(g[0], g[1]),
                            _mm_packus_epi16(b[0], b[1]));
    }
    // one group of 8 when bit 3 of the width is set: narrow recipe
    if (width & 8) {
        __m128i y, cb, cr, r, g, b;
        cel::simd::split3x8High(src + 3 * x, y, cb, cr);
        decode8<cel::dec::narrow_v<true>>(y, cb, cr, r, g, b);
        cel::simd::join3x8(dst + 3 * x, _mm_packus_epi16(r, r), _mm_packus_epi16(g, g), _mm_packus_epi16(b, b));
        x += 8;
    }
    // tail: scalar set A with rounding, clamp table
    for (; x < width; ++x) {
        const uint8_t* s = src + 3 * x;
        uint8_t* d = dst + 3 * x;
        scalar_px<kSetA, 32768, Clamp::Table>(s[0], s[1], s[2], d[0], d[1], d[2]);
    }
}

// ---------------------------------------------------------------------------
// P3C3R: planes in, interleaved RGB or BGR out.  BT.601: narrow recipe,
// 16 then 8 pixels, set A tail; BT.709 studio range: the wide recipe with
// its set, 16 pixels, its own scalar set in the tail.
template <Recipe Dec, EvenOddRecipe Body, const cel::dec::ScalarSet& Tail, bool Eight, bool Bgr>
void rowYCbCrToC3_P3C3R(const uint8_t* y, const uint8_t* cb, const uint8_t* cr, uint8_t* dst, int width) {
    using O = Order<Bgr>;
    int x = 0;
    // body: 16 pixels on even and odd lanes
    for (; x + 16 <= width; x += 16) {
        __m128i r, g, b;
        decode16EvenOdd<Body>(loadu(y + x), loadu(cb + x), loadu(cr + x), r, g, b);
        cel::simd::join3x16EvenOdd(dst + 3 * x, O::first(r, b), g, O::last(r, b));
    }
    // then 8 pixels if at least 8 remain (BT.601 forms): the same recipe
    if (Eight && x + 8 <= width) {
        __m128i r, g, b;
        decodePlanes8<Dec>(y + x, cb + x, cr + x, r, g, b);
        cel::simd::join3x8(dst + 3 * x, O::first(r, b), g, O::last(r, b));
        x += 8;
    }
    // tail: the scalar set with rounding, clamp table
    for (; x < width; ++x) {
        uint8_t r, g, b;
        scalar_px<Tail, 32768, Clamp::Table>(y[x], cb[x], cr[x], r, g, b);
        O::put(dst + 3 * x, r, g, b);
    }
}

// ---------------------------------------------------------------------------
// RGB P3C4R: eight pixels an iteration; the fourth byte comes from an OR
// with a prepared alpha constant, and the tail writes it too.
void y8_innerYCbCrToRGB_8u_P3C4R(const uint8_t* y, const uint8_t* cb, const uint8_t* cr, uint8_t* dst, int width,
                                 uint8_t alphaValue) {
    const __m128i alpha = _mm_set1_epi32(static_cast<int>(static_cast<uint32_t>(alphaValue) << 24));
    const __m128i z = _mm_setzero_si128();
    int x = 0;
    // body: wide recipe, 8 pixels
    for (; x + 8 <= width; x += 8) {
        __m128i r, g, b;
        decodePlanes8<cel::dec::wide_v>(y + x, cb + x, cr + x, r, g, b);
        const __m128i rg = _mm_unpacklo_epi8(r, g), b0 = _mm_unpacklo_epi8(b, z);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + 4 * x), _mm_or_si128(_mm_unpacklo_epi16(rg, b0), alpha));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + 4 * x + 16), _mm_or_si128(_mm_unpackhi_epi16(rg, b0), alpha));
    }
    // tail: scalar set A with rounding, clamp table; alpha written as well
    for (; x < width; ++x) {
        uint8_t* d = dst + 4 * x;
        scalar_px<kSetA, 32768, Clamp::Table>(y[x], cb[x], cr[x], d[0], d[1], d[2]);
        d[3] = alphaValue;
    }
}

void y8_myYCbCrToRGB_8u_P3C4R(const uint8_t* const src[3], int srcStep, uint8_t* dst, int dstStep, int width,
                              int height, uint8_t alphaValue) {
    for (int j = 0; j < height; ++j)
        y8_innerYCbCrToRGB_8u_P3C4R(cel::rowAt(src[0], j, srcStep), cel::rowAt(src[1], j, srcStep),
                                    cel::rowAt(src[2], j, srcStep), cel::rowAt(dst, j, dstStep), width, alphaValue);
}

// The 16-pixel body of a BGRA row; returns the pixels done.  Kept out of
// line: with the row's other paths around it the compiler runs short of
// registers and spills inside the loop.
template <EvenOddRecipe Body>
__attribute__((noinline)) int bodyBGRA16(const uint8_t* y, const uint8_t* cb, const uint8_t* cr, uint8_t* d, int width,
                                         __m128i alpha) {
    int x = 0;
    for (; x + 16 <= width; x += 16) {
        __m128i r, g, b;
        decode16EvenOdd<Body>(loadu(y + x), loadu(cb + x), loadu(cr + x), r, g, b);
        cel::simd::join4x16EvenOdd(d + 4 * x, b, g, r, alpha);
    }
    return x;
}

// ---------------------------------------------------------------------------
// BGR P3C4R: the wide recipe everywhere, down to single-lane vectors for the
// last pixels, so that this form has no second recipe (BT.601 or BT.709 set).
template <Recipe Dec, EvenOddRecipe Body>
void y8_ownYCbCrToBGR_P3C4R(const uint8_t* const src[3], int srcStep, uint8_t* dst, int dstStep, int width,
                               int height, uint8_t alphaValue) {
    const __m128i alpha = _mm_set1_epi8(static_cast<char>(alphaValue));
    for (int j = 0; j < height; ++j) {
        const uint8_t* y = cel::rowAt(src[0], j, srcStep);
        const uint8_t* cb = cel::rowAt(src[1], j, srcStep);
        const uint8_t* cr = cel::rowAt(src[2], j, srcStep);
        uint8_t* d = cel::rowAt(dst, j, dstStep);
        // body: wide recipe, 16 pixels on even and odd lanes
        int x = bodyBGRA16<Body>(y, cb, cr, d, width, alpha);
        // then 8 pixels if at least 8 remain: wide recipe
        if (x + 8 <= width) {
            __m128i r, g, b;
            decodePlanes8<Dec>(y + x, cb + x, cr + x, r, g, b);
            cel::simd::join4x8(d + 4 * x, b, g, r, alpha);
            x += 8;
        }
        // tail: the wide recipe on one lane at a time
        for (; x < width; ++x) {
            __m128i r, g, b;
            decode8<Dec>(_mm_cvtsi32_si128(y[x] << 8), _mm_cvtsi32_si128(cb[x] << 8),
                                      _mm_cvtsi32_si128(cr[x] << 8), r, g, b);
            uint8_t* p = d + 4 * x;
            p[0] = static_cast<uint8_t>(_mm_cvtsi128_si32(_mm_packus_epi16(b, b)));
            p[1] = static_cast<uint8_t>(_mm_cvtsi128_si32(_mm_packus_epi16(g, g)));
            p[2] = static_cast<uint8_t>(_mm_cvtsi128_si32(_mm_packus_epi16(r, r)));
            p[3] = alphaValue;
        }
    }
}

// ---------------------------------------------------------------------------
// P3R: planes to planes with the plain recipe; the 16-pixel loop is chosen
// once per call and changes no byte.
inline void storePlanes(uint8_t* r, uint8_t* g, uint8_t* b, __m128i vr, __m128i vg, __m128i vb, bool aligned) {
    if (aligned) {
        _mm_store_si128(reinterpret_cast<__m128i*>(r), vr);
        _mm_store_si128(reinterpret_cast<__m128i*>(g), vg);
        _mm_store_si128(reinterpret_cast<__m128i*>(b), vb);
    } else {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(r), vr);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(g), vg);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(b), vb);
    }
}

inline __m128i loadHigh4(const uint8_t* p) {
    uint32_t v;
    __builtin_memcpy(&v, p, 4);
    return _mm_unpacklo_epi8(_mm_setzero_si128(), _mm_cvtsi32_si128(static_cast<int>(v)));
}

inline void store4(uint8_t* p, __m128i lanes) {
    const uint32_t v = static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_packus_epi16(lanes, lanes)));
    __builtin_memcpy(p, &v, 4);
}

void rowYCbCrToRGB_P3R(const uint8_t* y, const uint8_t* cb, const uint8_t* cr, uint8_t* dr, uint8_t* dg, uint8_t* db,
                       int width, bool use16) {
    int x = 0;
    // body: plain recipe, 16 pixels (aligned destination)
    if (use16)
        for (; x + 16 <= width; x += 16) {
            __m128i r, g, b;
            decode16<cel::dec::plain_v>(loadu(y + x), loadu(cb + x), loadu(cr + x), r, g, b);
            storePlanes(dr + x, dg + x, db + x, r, g, b, true);
        }
    // body: plain recipe, 8 pixels
    for (; x + 8 <= width; x += 8) {
        __m128i r, g, b;
        decodePlanes8<cel::dec::plain_v>(y + x, cb + x, cr + x, r, g, b);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(dr + x), r);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(dg + x), g);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(db + x), b);
    }
    // one step of 4 when bit 2 of the width is set: plain recipe
    if (width & 4) {
        __m128i r, g, b;
        decode8<cel::dec::plain_v>(loadHigh4(y + x), loadHigh4(cb + x), loadHigh4(cr + x), r, g, b);
        store4(dr + x, r);
        store4(dg + x, g);
        store4(db + x, b);
        x += 4;
    }
    // tail: scalar set B with rounding, clamped by comparisons
    for (; x < width; ++x) scalar_px<kSetB, 32768, Clamp::Compare>(y[x], cb[x], cr[x], dr[x], dg[x], db[x]);
}

// ---------------------------------------------------------------------------
// AC4R: the one purely scalar kernel; the fourth destination byte is never
// written.
void y8_innerYCbCrToRGB_AC4R(const uint8_t* src, uint8_t* dst, int width) {
    // every pixel: scalar set B without rounding, clamp table
    for (int x = 0; x < width; ++x) {
        const uint8_t* s = src + 4 * x;
        uint8_t* d = dst + 4 * x;
        scalar_px<kSetB, 0, Clamp::Table>(s[0], s[1], s[2], d[0], d[1], d[2]);
    }
}

void y8_myYCbCrToRGBA_AC4R(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep, int width, int height) {
    for (int j = 0; j < height; ++j)
        y8_innerYCbCrToRGB_AC4R(cel::rowAt(src, j, srcStep), cel::rowAt(dst, j, dstStep), width);
}

template <Recipe Dec, EvenOddRecipe Body, const cel::dec::ScalarSet& Tail, bool Eight, bool Bgr>
CelStatus tierYCbCrToC3_P3C3R(const uint8_t* const src[3], int srcStep, uint8_t* dst, int dstStep, CelSize roiSize) {
    if (cel::anyNull(src, dst) || cel::anyPlaneNull(src, 3)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    for (int j = 0; j < roiSize.height; ++j)
        rowYCbCrToC3_P3C3R<Dec, Body, Tail, Eight, Bgr>(cel::rowAt(src[0], j, srcStep), cel::rowAt(src[1], j, srcStep),
                                cel::rowAt(src[2], j, srcStep), cel::rowAt(dst, j, dstStep), roiSize.width);
    return celStatusOk;
}

}  // namespace

// ---------------------------------------------------------------------------
// Tier functions: argument checks in their fixed order, then the rows.

extern "C" CelStatus y8_celiYCbCrToRGB_8u_C3R(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep,
                                             CelSize roiSize) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    for (int j = 0; j < roiSize.height; ++j)
        rowYCbCrToRGB_C3R(cel::rowAt(src, j, srcStep), cel::rowAt(dst, j, dstStep), roiSize.width);
    return celStatusOk;
}

// Plane pointers are tested with the outer pointers, ahead of the sizes.
extern "C" CelStatus y8_celiYCbCrToRGB_8u_P3C3R(const uint8_t* const src[3], int srcStep, uint8_t* dst, int dstStep,
                                               CelSize roiSize) {
    return tierYCbCrToC3_P3C3R<cel::dec::narrow_v<true>, cel::dec::narrowEvenOdd_v, kSetA, true, false>(src, srcStep, dst, dstStep, roiSize);
}

extern "C" CelStatus y8_celiYCbCrToBGR_8u_P3C3R(const uint8_t* const src[3], int srcStep, uint8_t* dst, int dstStep,
                                               CelSize roiSize) {
    return tierYCbCrToC3_P3C3R<cel::dec::narrow_v<true>, cel::dec::narrowEvenOdd_v, kSetA, true, true>(src, srcStep, dst, dstStep, roiSize);
}

// Outer pointers, sizes, then the plane pointers.
extern "C" CelStatus y8_celiYCbCrToRGB_8u_P3C4R(const uint8_t* const src[3], int srcStep, uint8_t* dst, int dstStep,
                                               CelSize roiSize, uint8_t alphaValue) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    if (cel::anyPlaneNull(src, 3)) return celStatusNullPointer;
    y8_myYCbCrToRGB_8u_P3C4R(src, srcStep, dst, dstStep, roiSize.width, roiSize.height, alphaValue);
    return celStatusOk;
}

// Plane pointers are tested with the outer pointers, ahead of the sizes.
extern "C" CelStatus y8_celiYCbCrToBGR_8u_P3C4R(const uint8_t* const src[3], int srcStep, uint8_t* dst, int dstStep,
                                               CelSize roiSize, uint8_t alphaValue) {
    if (cel::anyNull(src, dst) || cel::anyPlaneNull(src, 3)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    y8_ownYCbCrToBGR_P3C4R<cel::dec::wide_v, cel::dec::wideEvenOdd_v<cel::dec::kWide601>>(src, srcStep, dst, dstStep, roiSize.width, roiSize.height, alphaValue);
    return celStatusOk;
}

// Outer pointers, sizes, then the six plane pointers.  The 16-pixel loop
// runs when Y, Cb, the three destination planes and both steps are
// multiples of 16 and the width is at least 16; Cr plays no part in the
// test, since all loads are unaligned.
extern "C" CelStatus y8_celiYCbCrToRGB_8u_P3R(const uint8_t* const src[3], int srcStep, uint8_t* dst[3], int dstStep,
                                             CelSize roiSize) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    if (cel::anyPlaneNull(src, 3) || cel::anyPlaneNull(dst, 3)) return celStatusNullPointer;
    using cel::aligned16;
    using cel::rowAt;
    const bool use16 = aligned16(src[0]) && aligned16(src[1]) && aligned16(dst[0]) && aligned16(dst[1]) &&
                       aligned16(dst[2]) && aligned16(srcStep) && aligned16(dstStep) && roiSize.width >= 16;
    for (int j = 0; j < roiSize.height; ++j)
        rowYCbCrToRGB_P3R(rowAt(src[0], j, srcStep), rowAt(src[1], j, srcStep), rowAt(src[2], j, srcStep),
                          rowAt(dst[0], j, dstStep), rowAt(dst[1], j, dstStep), rowAt(dst[2], j, dstStep),
                          roiSize.width, use16);
    return celStatusOk;
}

extern "C" CelStatus y8_celiYCbCrToRGB_8u_AC4R(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep,
                                              CelSize roiSize) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    y8_myYCbCrToRGBA_AC4R(src, srcStep, dst, dstStep, roiSize.width, roiSize.height);
    return celStatusOk;
}

// ---- BT.709 studio range ----------------------------------------------------------------
// Plane pointers are tested with the outer pointers, ahead of the sizes.
extern "C" CelStatus y8_celiYCbCrToBGR_709CSC_8u_P3C3R(const uint8_t* const src[3], int srcStep, uint8_t* dst,
                                                      int dstStep, CelSize roiSize) {
    return tierYCbCrToC3_P3C3R<cel::dec::wideSet_v<cel::dec::kWide709Csc>, cel::dec::wideEvenOdd_v<cel::dec::kWide709Csc>,
                               cel::dec::kSet709Csc, false, true>(
        src, srcStep, dst, dstStep, roiSize);
}

extern "C" CelStatus y8_celiYCbCrToBGR_709CSC_8u_P3C4R(const uint8_t* const src[3], int srcStep, uint8_t* dst,
                                                      int dstStep, CelSize roiSize, uint8_t alphaValue) {
    if (cel::anyNull(src, dst) || cel::anyPlaneNull(src, 3)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    y8_ownYCbCrToBGR_P3C4R<cel::dec::wideSet_v<cel::dec::kWide709Csc>, cel::dec::wideEvenOdd_v<cel::dec::kWide709Csc>>(src, srcStep, dst, dstStep, roiSize.width,
                                                                      roiSize.height, alphaValue);
    return celStatusOk;
}
