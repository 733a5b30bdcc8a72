// Interlace-aware 4:2:2 <-> 4:2:0: even rows are one field, odd rows the
// other, and chroma is only mixed between rows of the same field, by the
// field weights of chroma/recipes.h.
//
// Width rounded down to even, height to a multiple of 4; the rounded region
// is done and celStatusOddSize tells that the size given did not fit.  Luma
// is copied (the row primitive between planes, byte gathering or
// scattering with a packed side).
//
// 4:2:2 -> 4:2:0: rows 4k .. 4k+3 of a chroma plane give rows 2k (even
// field) and 2k+1 (odd field).  4:2:0 -> 4:2:2: destination rows 0, 1 and
// h-2, h-1 are source rows 0, 1 and h/2-2, h/2-1 copied (the kernel's two
// flags, always set by the library); each group g of source rows 2g .. 2g+3
// gives destination rows 4g+2 .. 4g+5.  Bodies take 16 chroma samples of
// four rows a pass; aligned destinations take aligned stores, same bytes.
#include "chroma/recipes.h"
#include "chroma/rows.h"
#include "frame/image.h"
#include "frame/rowprim.h"
#include "frame/status.h"
#include "frame/tier.h"

namespace {

using namespace cel::chroma;
using cel::rowAt;

bool alignedPlanes(uint8_t* const p[3], const int s[3], int from) {
    for (int i = from; i < 3; ++i)
        if (!cel::aligned16(p[i]) || !cel::aligned16(s[i])) return false;
    return true;
}

CelStatus oddSize(CelSize roi) { return (roi.width & 1) || (roi.height & 3) ? celStatusOddSize : celStatusOk; }

// One chroma plane's group: source rows s[0..3] to the Out destination rows
// d of a field recipe (V vector, P scalar twin), n samples.
template <bool Al, int Out, void (*V)(const __m128i*, __m128i*), void (*P)(const int*, uint8_t*)>
void fieldRows(const uint8_t* const s[4], uint8_t* const d[Out], int n) {
    int i = 0;
    // body: 16 samples of four rows, field weights
    for (; i + 16 <= n; i += 16) {
        const __m128i v[4] = {load(s[0] + i), load(s[1] + i), load(s[2] + i), load(s[3] + i)};
        __m128i o[Out];
        V(v, o);
        for (int q = 0; q < Out; ++q) storeA<Al>(d[q] + i, o[q]);
    }
    // tail: samples, field weights
    for (; i < n; ++i) {
        const int v[4] = {s[0][i], s[1][i], s[2][i], s[3][i]};
        uint8_t o[Out];
        P(v, o);
        for (int q = 0; q < Out; ++q) d[q][i] = o[q];
    }
}

// ---- 4:2:2 -> 4:2:0 ------------------------------------------------------------------------------
template <bool Al>
void y8_ownYCbCr422To420_Interlace_P3R(const uint8_t* const src[3], const int srcStep[3], uint8_t* const dst[3],
                                       const int dstStep[3], int w, int h) {
    y8_celiCopy_8u_C1R(src[0], srcStep[0], dst[0], dstStep[0], {w, h});
    for (int c = 1; c <= 2; ++c)
        for (int k = 0; k < h / 4; ++k) {
            const uint8_t* const s[4] = {rowAt(src[c], 4 * k, srcStep[c]), rowAt(src[c], 4 * k + 1, srcStep[c]),
                                         rowAt(src[c], 4 * k + 2, srcStep[c]), rowAt(src[c], 4 * k + 3, srcStep[c])};
            uint8_t* const d[2] = {rowAt(dst[c], 2 * k, dstStep[c]), rowAt(dst[c], 2 * k + 1, dstStep[c])};
            fieldRows<Al, 2, fieldsDown_v, fieldsDown_px>(s, d, w / 2);
        }
}

void y8_myYCbCr422To420_Interlace_P3R(const uint8_t* const src[3], const int srcStep[3], uint8_t* const dst[3],
                                      const int dstStep[3], CelSize roi) {
    const int w = roi.width & ~1, h = roi.height & ~3;
    if (alignedPlanes(dst, dstStep, 1))
        y8_ownYCbCr422To420_Interlace_P3R<true>(src, srcStep, dst, dstStep, w, h);
    else
        y8_ownYCbCr422To420_Interlace_P3R<false>(src, srcStep, dst, dstStep, w, h);
}

// Packed CbYCr422 rows 4k .. 4k+3: luma to the four luma rows, chroma of
// each plane to its two field rows.
template <bool Al>
void y8_ownCbYCr422ToYCbCr420_Interlace_C2P3R(const uint8_t* src, int srcStep, uint8_t* const dst[3],
                                              const int dstStep[3], int w, int h) {
    for (int k = 0; k < h / 4; ++k) {
        const uint8_t* r[4];
        uint8_t* y[4];
        for (int q = 0; q < 4; ++q) r[q] = rowAt(src, 4 * k + q, srcStep), y[q] = rowAt(dst[0], 4 * k + q, dstStep[0]);
        uint8_t* const cb[2] = {rowAt(dst[1], 2 * k, dstStep[1]), rowAt(dst[1], 2 * k + 1, dstStep[1])};
        uint8_t* const cr[2] = {rowAt(dst[2], 2 * k, dstStep[2]), rowAt(dst[2], 2 * k + 1, dstStep[2])};
        int x = 0;
        // body: 32 pixels (16 chroma samples) of four rows, field weights
        for (; x + 32 <= w; x += 32) {
            __m128i vb[4], vr[4], ob[2], orr[2];
            for (int q = 0; q < 4; ++q) {
                __m128i y0, y1;
                c2Split32<kUYVY>(r[q] + 2 * x, y0, y1, vb[q], vr[q]);
                storeA<Al>(y[q] + x, y0), storeA<Al>(y[q] + x + 16, y1);
            }
            fieldsDown_v(vb, ob), fieldsDown_v(vr, orr);
            storeA<Al>(cb[0] + x / 2, ob[0]), storeA<Al>(cb[1] + x / 2, ob[1]);
            storeA<Al>(cr[0] + x / 2, orr[0]), storeA<Al>(cr[1] + x / 2, orr[1]);
        }
        // tail: pixel pairs, field weights
        for (; x + 2 <= w; x += 2) {
            int vb[4], vr[4];
            for (int q = 0; q < 4; ++q) {
                const uint8_t* p = r[q] + 2 * x;
                y[q][x] = p[kUYVY.y0], y[q][x + 1] = p[kUYVY.y1], vb[q] = p[kUYVY.c0], vr[q] = p[kUYVY.c1];
            }
            uint8_t ob[2], orr[2];
            fieldsDown_px(vb, ob), fieldsDown_px(vr, orr);
            cb[0][x / 2] = ob[0], cb[1][x / 2] = ob[1], cr[0][x / 2] = orr[0], cr[1][x / 2] = orr[1];
        }
    }
}

void y8_myCbYCr422ToYCbCr420_Interlace_C2P3R(const uint8_t* src, int srcStep, uint8_t* const dst[3],
                                             const int dstStep[3], CelSize roi) {
    const int w = roi.width & ~1, h = roi.height & ~3;
    if (alignedPlanes(dst, dstStep, 0))
        y8_ownCbYCr422ToYCbCr420_Interlace_C2P3R<true>(src, srcStep, dst, dstStep, w, h);
    else
        y8_ownCbYCr422ToYCbCr420_Interlace_C2P3R<false>(src, srcStep, dst, dstStep, w, h);
}

// ---- 4:2:0 -> 4:2:2 ------------------------------------------------------------------------------
// Source chroma rows of group g and destination rows of a plane.
struct Plane {
    const uint8_t* s;
    int ss;
    uint8_t* d;
    int ds;
    void group(int g, const uint8_t* in[4], uint8_t* out[4]) const {
        for (int q = 0; q < 4; ++q) in[q] = rowAt(s, 2 * g + q, ss), out[q] = rowAt(d, 4 * g + 2 + q, ds);
    }
};

template <bool Al>
void y8_ownYCbCr420To422_Interlace_P3R(const uint8_t* const src[3], const int srcStep[3], uint8_t* const dst[3],
                                       const int dstStep[3], int w, int h, int copyFirst, int copyLast) {
    y8_celiCopy_8u_C1R(src[0], srcStep[0], dst[0], dstStep[0], {w, h});
    for (int c = 1; c <= 2; ++c) {
        const Plane p{src[c], srcStep[c], dst[c], dstStep[c]};
        const auto copyRow = [&](int from, int to) {
            y8_ownccCopy_8u_C1_M7(rowAt(p.s, from, p.ss), rowAt(p.d, to, p.ds), w / 2, 0);
        };
        if (copyFirst) copyRow(0, 0), copyRow(1, 1);
        for (int g = 0; g + 1 < h / 4; ++g) {
            const uint8_t* s[4];
            uint8_t* d[4];
            p.group(g, s, d);
            fieldRows<Al, 4, fieldsUp_v, fieldsUp_px>(s, d, w / 2);
        }
        if (copyLast) copyRow(h / 2 - 2, h - 2), copyRow(h / 2 - 1, h - 1);
    }
}

void y8_myYCbCr420To422_Interlace_P3R(const uint8_t* const src[3], const int srcStep[3], uint8_t* const dst[3],
                                      const int dstStep[3], CelSize roi) {
    const int w = roi.width & ~1, h = roi.height & ~3;
    if (alignedPlanes(dst, dstStep, 1))
        y8_ownYCbCr420To422_Interlace_P3R<true>(src, srcStep, dst, dstStep, w, h, 1, 1);
    else
        y8_ownYCbCr420To422_Interlace_P3R<false>(src, srcStep, dst, dstStep, w, h, 1, 1);
}

// Four packed CbYCr422 rows of a group: luma rows y[0..3], source chroma rows
// cb[0..3], cr[0..3] (rows 2g .. 2g+3), destination rows d[0..3].
void fieldsUpC2Rows(const uint8_t* const y[4], const uint8_t* const cb[4], const uint8_t* const cr[4],
                    uint8_t* const d[4], int w) {
    int x = 0;
    // body: 32 pixels (16 chroma samples) of four rows, field weights
    for (; x + 32 <= w; x += 32) {
        const __m128i vb[4] = {load(cb[0] + x / 2), load(cb[1] + x / 2), load(cb[2] + x / 2), load(cb[3] + x / 2)};
        const __m128i vr[4] = {load(cr[0] + x / 2), load(cr[1] + x / 2), load(cr[2] + x / 2), load(cr[3] + x / 2)};
        __m128i ob[4], orr[4];
        fieldsUp_v(vb, ob), fieldsUp_v(vr, orr);
        for (int q = 0; q < 4; ++q) {
            putC2x16<kUYVY, false>(d[q] + 2 * x, load(y[q] + x), _mm_unpacklo_epi8(ob[q], orr[q]));
            putC2x16<kUYVY, false>(d[q] + 2 * x + 32, load(y[q] + x + 16), _mm_unpackhi_epi8(ob[q], orr[q]));
        }
    }
    // tail: pixel pairs, field weights
    for (; x + 2 <= w; x += 2) {
        const int i = x / 2;
        const int vb[4] = {cb[0][i], cb[1][i], cb[2][i], cb[3][i]}, vr[4] = {cr[0][i], cr[1][i], cr[2][i], cr[3][i]};
        uint8_t ob[4], orr[4];
        fieldsUp_px(vb, ob), fieldsUp_px(vr, orr);
        for (int q = 0; q < 4; ++q) {
            uint8_t* o = d[q] + 2 * x;
            o[kUYVY.y0] = y[q][x], o[kUYVY.y1] = y[q][x + 1], o[kUYVY.c0] = ob[q], o[kUYVY.c1] = orr[q];
        }
    }
}

void y8_ownYCbCr420ToCbYCr422_Interlace_P3C2R(const uint8_t* const src[3], const int srcStep[3], uint8_t* dst,
                                              int dstStep, int w, int h, int copyFirst, int copyLast) {
    // A destination row whose chroma is source chroma row j, copied.
    const auto copyRow = [&](int row, int j) {
        p3ToC2Row<kUYVY>(rowAt(src[0], row, srcStep[0]), rowAt(src[1], j, srcStep[1]), rowAt(src[2], j, srcStep[2]),
                         rowAt(dst, row, dstStep), w);
    };
    if (copyFirst) copyRow(0, 0), copyRow(1, 1);
    for (int g = 0; g + 1 < h / 4; ++g) {
        const uint8_t *y[4], *cb[4], *cr[4];
        uint8_t* d[4];
        for (int q = 0; q < 4; ++q) {
            y[q] = rowAt(src[0], 4 * g + 2 + q, srcStep[0]), d[q] = rowAt(dst, 4 * g + 2 + q, dstStep);
            cb[q] = rowAt(src[1], 2 * g + q, srcStep[1]), cr[q] = rowAt(src[2], 2 * g + q, srcStep[2]);
        }
        fieldsUpC2Rows(y, cb, cr, d, w);
    }
    if (copyLast) copyRow(h - 2, h / 2 - 2), copyRow(h - 1, h / 2 - 1);
}

void y8_myYCbCr420ToCbYCr422_Interlace_P3C2R(const uint8_t* const src[3], const int srcStep[3], uint8_t* dst,
                                             int dstStep, CelSize roi) {
    y8_ownYCbCr420ToCbYCr422_Interlace_P3C2R(src, srcStep, dst, dstStep, roi.width & ~1, roi.height & ~3, 1, 1);
}

}  // namespace

extern "C" CelStatus y8_celiYCbCr422To420_Interlace_8u_P3R(const uint8_t* const src[3], int srcStep[3],
                                                            uint8_t* dst[3], int dstStep[3], CelSize roiSize) {
    if (cel::anyNull(src, dst) || cel::anyPlaneNull(src, 3) || cel::anyPlaneNull(dst, 3)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 2, 4)) return celStatusBadSize;
    y8_myYCbCr422To420_Interlace_P3R(src, srcStep, dst, dstStep, roiSize);
    return oddSize(roiSize);
}

extern "C" CelStatus y8_celiCbYCr422ToYCbCr420_Interlace_8u_C2P3R(const uint8_t* src, int srcStep, uint8_t* dst[3],
                                                                   int dstStep[3], CelSize roiSize) {
    if (cel::anyNull(src, dst) || cel::anyPlaneNull(dst, 3)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 2, 4)) return celStatusBadSize;
    y8_myCbYCr422ToYCbCr420_Interlace_C2P3R(src, srcStep, dst, dstStep, roiSize);
    return oddSize(roiSize);
}

extern "C" CelStatus y8_celiYCbCr420To422_Interlace_8u_P3R(const uint8_t* const src[3], int srcStep[3],
                                                            uint8_t* dst[3], int dstStep[3], CelSize roiSize) {
    if (cel::anyNull(src, dst) || cel::anyPlaneNull(src, 3) || cel::anyPlaneNull(dst, 3)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 2, 4)) return celStatusBadSize;
    y8_myYCbCr420To422_Interlace_P3R(src, srcStep, dst, dstStep, roiSize);
    return oddSize(roiSize);
}

extern "C" CelStatus y8_celiYCbCr420ToCbYCr422_Interlace_8u_P3C2R(const uint8_t* const src[3], int srcStep[3],
                                                                   uint8_t* dst, int dstStep, CelSize roiSize) {
    if (cel::anyNull(src, dst) || cel::anyPlaneNull(src, 3)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 2, 4)) return celStatusBadSize;
    y8_myYCbCr420ToCbYCr422_Interlace_P3C2R(src, srcStep, dst, dstStep, roiSize);
    return oddSize(roiSize);
}
