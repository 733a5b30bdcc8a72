// Repacking 8-bit luma and chroma between packed (C2), two-plane (P2) and
// three-plane (P3) layouts at 4:2:2, 4:2:0 and 4:1:1.  Every output byte is
// one input byte; no value changes and the chroma rate stays.
//
// Frame of every member: pointers (plane pointers included), sizes against
// the member's minimum, then the size rounded down (width to even, to a
// multiple of 4 for 4:1:1; height to even for 4:2:0); the last odd column
// or row of the destination is not written.
//
// C2 byte orders per pixel pair: YCbCr422 (YUY2) Y0 Cb Y1 Cr; CbYCr422
// (UYVY) Cb Y0 Cr Y1; YCrCb422 Y0 Cr Y1 Cb.  The row kernels are shared
// with the chroma-rate family (chroma/rows.h).
#include "chroma/rows.h"
#include "frame/image.h"
#include "frame/status.h"
#include "frame/tier.h"

namespace {

using namespace cel::chroma;

// P2 -> P3: luma copied, pairs split; chroma rows and bytes per the sampling.
void p2ToP3(const uint8_t* srcY, int srcYStep, const uint8_t* srcC, int srcCStep, uint8_t* const dst[3],
            const int dstStep[3], int width, int height, int chromaRows, int pairs) {
    copyLuma(srcY, srcYStep, dst[0], dstStep[0], width, height);
    for (int j = 0; j < chromaRows; ++j)
        splitPairsRow(cel::rowAt(srcC, j, srcCStep), cel::rowAt(dst[1], j, dstStep[1]), cel::rowAt(dst[2], j, dstStep[2]),
                      pairs);
}

void p3ToP2(const uint8_t* const src[3], const int srcStep[3], uint8_t* dstY, int dstYStep, uint8_t* dstC, int dstCStep,
            int width, int height, int chromaRows, int pairs, bool secondPlaneFirst, bool streamLuma = false) {
    copyLuma(src[0], srcStep[0], dstY, dstYStep, width, height, streamLuma);
    const int first = secondPlaneFirst ? 2 : 1, second = secondPlaneFirst ? 1 : 2;
    for (int j = 0; j < chromaRows; ++j)
        joinPairsRow(cel::rowAt(src[first], j, srcStep[first]), cel::rowAt(src[second], j, srcStep[second]),
                     cel::rowAt(dstC, j, dstCStep), pairs);
}

// ---- Workers named by the kernels they are -------------------------------------------------------
template <const C2Order& O>
void c2ToP3(const uint8_t* src, int srcStep, uint8_t* const dst[3], const int dstStep[3], int width, int height) {
    for (int j = 0; j < height; ++j)
        c2ToP3Row<O>(cel::rowAt(src, j, srcStep), cel::rowAt(dst[0], j, dstStep[0]), cel::rowAt(dst[1], j, dstStep[1]),
                     cel::rowAt(dst[2], j, dstStep[2]), width);
}

template <const C2Order& O>
void p3ToC2(const uint8_t* const src[3], const int srcStep[3], uint8_t* dst, int dstStep, int width, int height,
            bool swapChroma) {
    const int a = swapChroma ? 2 : 1, b = swapChroma ? 1 : 2;
    for (int j = 0; j < height; ++j)
        p3ToC2Row<O>(cel::rowAt(src[0], j, srcStep[0]), cel::rowAt(src[a], j, srcStep[a]),
                     cel::rowAt(src[b], j, srcStep[b]), cel::rowAt(dst, j, dstStep), width);
}

template <int P0, int P1, int P2, int P3>
void c2ToC2(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep, int width, int height) {
    for (int j = 0; j < height; ++j)
        c2ToC2Row<P0, P1, P2, P3>(cel::rowAt(src, j, srcStep), cel::rowAt(dst, j, dstStep), width);
}

}  // namespace

// ---- 4:2:2 packed <-> planar ------------------------------------------------------------------------
// The only member that also tests its step array.
extern "C" CelStatus y8_celiYCbCr422_8u_C2P3R(const uint8_t* src, int srcStep, uint8_t* dst[3], int dstStep[3],
                                             CelSize roiSize) {
    if (cel::anyNull(src, dst, dstStep) || cel::anyPlaneNull(dst, 3)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 2, 1)) return celStatusBadSize;
    c2ToP3<kYUY2>(src, srcStep, dst, dstStep, roiSize.width & ~1, roiSize.height);
    return celStatusOk;
}

// YCrCb422 lands in YCbCr planes: the chroma planes are exchanged first.
extern "C" CelStatus y8_celiYCrCb422ToYCbCr422_8u_C2P3R(const uint8_t* src, int srcStep, uint8_t* dst[3],
                                                       int dstStep[3], CelSize roiSize) {
    if (cel::anyNull(src, dst) || cel::anyPlaneNull(dst, 3)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 2, 1)) return celStatusBadSize;
    uint8_t* const planes[3] = {dst[0], dst[2], dst[1]};
    const int steps[3] = {dstStep[0], dstStep[2], dstStep[1]};
    c2ToP3<kYUY2>(src, srcStep, planes, steps, roiSize.width & ~1, roiSize.height);
    return celStatusOk;
}

extern "C" CelStatus y8_celiCbYCr422ToYCbCr422_8u_C2P3R(const uint8_t* src, int srcStep, uint8_t* dst[3],
                                                       int dstStep[3], CelSize roiSize) {
    if (cel::anyNull(src, dst) || cel::anyPlaneNull(dst, 3)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 2, 1)) return celStatusBadSize;
    c2ToP3<kUYVY>(src, srcStep, dst, dstStep, roiSize.width & ~1, roiSize.height);
    return celStatusOk;
}

// The loop lives in the tier function: 32 pixels a step, then 16,
// interleaved by unpacks (Y with Cb Cr pairs), the rest of the row byte by
// byte.
extern "C" CelStatus y8_celiYCbCr422_8u_P3C2R(const uint8_t* const src[3], int srcStep[3], uint8_t* dst, int dstStep,
                                             CelSize roiSize) {
    if (cel::anyNull(src, dst) || cel::anyPlaneNull(src, 3)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 2, 1)) return celStatusBadSize;
    const int width = roiSize.width & ~1;
    for (int j = 0; j < roiSize.height; ++j) {
        const uint8_t* y = cel::rowAt(src[0], j, srcStep[0]);
        const uint8_t* cb = cel::rowAt(src[1], j, srcStep[1]);
        const uint8_t* cr = cel::rowAt(src[2], j, srcStep[2]);
        uint8_t* d = cel::rowAt(dst, j, dstStep);
        int x = 0;
        for (; x + 32 <= width; x += 32) {
            const __m128i vcb = load(cb + x / 2), vcr = load(cr + x / 2);
            const __m128i y0 = load(y + x), y1 = load(y + x + 16);
            const __m128i c0 = _mm_unpacklo_epi8(vcb, vcr), c1 = _mm_unpackhi_epi8(vcb, vcr);
            store(d + 2 * x, _mm_unpacklo_epi8(y0, c0));
            store(d + 2 * x + 16, _mm_unpackhi_epi8(y0, c0));
            store(d + 2 * x + 32, _mm_unpacklo_epi8(y1, c1));
            store(d + 2 * x + 48, _mm_unpackhi_epi8(y1, c1));
        }
        if (x + 16 <= width) {
            const __m128i vy = load(y + x), cc = _mm_unpacklo_epi8(load8(cb + x / 2), load8(cr + x / 2));
            store(d + 2 * x, _mm_unpacklo_epi8(vy, cc));
            store(d + 2 * x + 16, _mm_unpackhi_epi8(vy, cc));
            x += 16;
        }
        for (; x < width; x += 2) {
            d[2 * x] = y[x];
            d[2 * x + 1] = cb[x / 2];
            d[2 * x + 2] = y[x + 1];
            d[2 * x + 3] = cr[x / 2];
        }
    }
    return celStatusOk;
}

// The one member here that warns about an odd width.
extern "C" CelStatus y8_celiYCbCr422ToCbYCr422_8u_P3C2R(const uint8_t* const src[3], int srcStep[3], uint8_t* dst,
                                                       int dstStep, CelSize roiSize) {
    if (cel::anyNull(src, dst) || cel::anyPlaneNull(src, 3)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 2, 1)) return celStatusBadSize;
    p3ToC2<kUYVY>(src, srcStep, dst, dstStep, roiSize.width & ~1, roiSize.height, false);
    return (roiSize.width & 1) ? celStatusOddSize : celStatusOk;
}

// Height not tested: a height below 1 does nothing.
extern "C" CelStatus y8_celiYCbCr422ToYCrCb422_8u_P3C2R(const uint8_t* const src[3], int srcStep[3], uint8_t* dst,
                                                       int dstStep, CelSize roiSize) {
    if (cel::anyNull(src, dst) || cel::anyPlaneNull(src, 3)) return celStatusNullPointer;
    if (roiSize.width < 2) return celStatusBadSize;
    p3ToC2<kYUY2>(src, srcStep, dst, dstStep, roiSize.width & ~1, roiSize.height, true);
    return celStatusOk;
}

// ---- 4:2:2 packed <-> packed ---------------------------------------------------------------------------
extern "C" CelStatus y8_celiCbYCr422ToYCbCr422_8u_C2R(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep,
                                                     CelSize roiSize) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 2, 1)) return celStatusBadSize;
    c2ToC2<1, 0, 3, 2>(src, srcStep, dst, dstStep, roiSize.width & ~1, roiSize.height);
    return celStatusOk;
}

extern "C" CelStatus y8_celiYCbCr422ToCbYCr422_8u_C2R(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep,
                                                     CelSize roiSize) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 2, 1)) return celStatusBadSize;
    c2ToC2<1, 0, 3, 2>(src, srcStep, dst, dstStep, roiSize.width & ~1, roiSize.height);
    return celStatusOk;
}

// Height not tested: a height below 1 does nothing.
extern "C" CelStatus y8_celiYCbCr422ToYCrCb422_8u_C2R(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep,
                                                     CelSize roiSize) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (roiSize.width < 2) return celStatusBadSize;
    c2ToC2<0, 3, 2, 1>(src, srcStep, dst, dstStep, roiSize.width & ~1, roiSize.height);
    return celStatusOk;
}

// ---- 4:2:0 two-plane <-> three-plane -----------------------------------------------------------------------
extern "C" CelStatus y8_celiYCbCr420_8u_P2P3R(const uint8_t* srcY, int srcYStep, const uint8_t* srcCbCr,
                                             int srcCbCrStep, uint8_t* dst[3], int dstStep[3], CelSize roiSize) {
    if (cel::anyNull(srcY, srcCbCr, dst) || cel::anyPlaneNull(dst, 3)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 2, 2)) return celStatusBadSize;
    const int w = roiSize.width & ~1, h = roiSize.height & ~1;
    p2ToP3(srcY, srcYStep, srcCbCr, srcCbCrStep, dst, dstStep, w, h, h / 2, w / 2);
    return celStatusOk;
}

extern "C" CelStatus y8_celiYCbCr420_8u_P3P2R(const uint8_t* const src[3], int srcStep[3], uint8_t* dstY, int dstYStep,
                                             uint8_t* dstCbCr, int dstCbCrStep, CelSize roiSize) {
    if (cel::anyNull(src, dstY, dstCbCr) || cel::anyPlaneNull(src, 3)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 2, 2)) return celStatusBadSize;
    const int w = roiSize.width & ~1, h = roiSize.height & ~1;
    p3ToP2(src, srcStep, dstY, dstYStep, dstCbCr, dstCbCrStep, w, h, h / 2, w / 2, false);
    return celStatusOk;
}

// Outer pointers, sizes against 1, the destination planes, sizes against 2.
// The first byte of each pair goes to dst[1], as in the YCbCr form.
extern "C" CelStatus y8_celiYCbCr420ToYCrCb420_8u_P2P3R(const uint8_t* srcY, int srcYStep, const uint8_t* srcCbCr,
                                                       int srcCbCrStep, uint8_t* dst[3], int dstStep[3],
                                                       CelSize roiSize) {
    if (cel::anyNull(srcY, srcCbCr, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    if (cel::anyPlaneNull(dst, 3)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 2, 2)) return celStatusBadSize;
    const int w = roiSize.width & ~1, h = roiSize.height & ~1;
    p2ToP3(srcY, srcYStep, srcCbCr, srcCbCrStep, dst, dstStep, w, h, h / 2, w / 2);
    return celStatusOk;
}

// The first byte of each pair comes from plane 2, the second from plane 1.
extern "C" CelStatus y8_celiYCrCb420ToYCbCr420_8u_P3P2R(const uint8_t* const src[3], int srcStep[3], uint8_t* dstY,
                                                       int dstYStep, uint8_t* dstCbCr, int dstCbCrStep,
                                                       CelSize roiSize) {
    if (cel::anyNull(src, dstY, dstCbCr) || cel::anyPlaneNull(src, 3)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 2, 2)) return celStatusBadSize;
    const int w = roiSize.width & ~1, h = roiSize.height & ~1;
    p3ToP2(src, srcStep, dstY, dstYStep, dstCbCr, dstCbCrStep, w, h, h / 2, w / 2, true);
    return celStatusOk;
}

// ---- 4:1:1 two-plane <-> three-plane (height not tested) ---------------------------------------------------
extern "C" CelStatus y8_celiYCbCr411_8u_P2P3R(const uint8_t* srcY, int srcYStep, const uint8_t* srcCbCr,
                                             int srcCbCrStep, uint8_t* dst[3], int dstStep[3], CelSize roiSize) {
    if (cel::anyNull(srcY, srcCbCr, dst) || cel::anyPlaneNull(dst, 3)) return celStatusNullPointer;
    if (roiSize.width < 4) return celStatusBadSize;
    const int w = roiSize.width & ~3, h = roiSize.height;
    p2ToP3(srcY, srcYStep, srcCbCr, srcCbCrStep, dst, dstStep, w, h, h, w / 4);
    return celStatusOk;
}

extern "C" CelStatus y8_celiYCbCr411_8u_P3P2R(const uint8_t* const src[3], int srcStep[3], uint8_t* dstY, int dstYStep,
                                             uint8_t* dstCbCr, int dstCbCrStep, CelSize roiSize) {
    if (cel::anyNull(src, dstY, dstCbCr) || cel::anyPlaneNull(src, 3)) return celStatusNullPointer;
    if (roiSize.width < 4) return celStatusBadSize;
    const int w = roiSize.width & ~3, h = roiSize.height;
    // the luma copy streams above 348602 pixels
    p3ToP2(src, srcStep, dstY, dstYStep, dstCbCr, dstCbCrStep, w, h, h, w / 4, false, int64_t(w) * h > 348602);
    return celStatusOk;
}
