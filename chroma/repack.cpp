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
// (UYVY) Cb Y0 Cr Y1; YCrCb422 Y0 Cr Y1 Cb.
#include <smmintrin.h>

#include <cstring>

#include "frame/image.h"
#include "frame/status.h"
#include "frame/tier.h"

namespace {

inline __m128i load(const uint8_t* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
inline void store(uint8_t* p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }
inline void storel(uint8_t* p, __m128i v) { _mm_storel_epi64(reinterpret_cast<__m128i*>(p), v); }

// Row copy of the luma planes: 64-byte blocks, 16-byte pieces, then bytes.
void y8_ownccCopy_8u_C1_M7(const uint8_t* s, uint8_t* d, int len) {
    int i = 0;
    for (; i + 64 <= len; i += 64) {
        const __m128i a = load(s + i), b = load(s + i + 16), c = load(s + i + 32), e = load(s + i + 48);
        store(d + i, a), store(d + i + 16, b), store(d + i + 32, c), store(d + i + 48, e);
    }
    for (; i + 16 <= len; i += 16) store(d + i, load(s + i));
    for (; i < len; ++i) d[i] = s[i];
}

// ---- Packed <-> planar 4:2:2 -----------------------------------------------------------------
// Positions of Y0, first chroma, Y1, second chroma within a 4-byte pair.
struct C2Order {
    int y0, c0, y1, c1;
};
constexpr C2Order kYUY2{0, 1, 2, 3};  // Y0 Cb Y1 Cr (YCrCb422 read the same way: Y0 Cr Y1 Cb)
constexpr C2Order kUYVY{1, 0, 3, 2};  // Cb Y0 Cr Y1

// One row of C2 to three planes: 16 pixels (32 bytes) a block, then pairs.
template <const C2Order& O>
void c2ToP3Row(const uint8_t* s, uint8_t* y, uint8_t* c0, uint8_t* c1, int width) {
    // per 16 bytes: luma bytes to the low half, chroma bytes to the high half
    const __m128i split = _mm_setr_epi8(O.y0, O.y1, O.y0 + 4, O.y1 + 4, O.y0 + 8, O.y1 + 8, O.y0 + 12, O.y1 + 12,
                                        O.c0, O.c0 + 4, O.c0 + 8, O.c0 + 12, O.c1, O.c1 + 4, O.c1 + 8, O.c1 + 12);
    int x = 0;
    // body: 16 pixels
    for (; x + 16 <= width; x += 16) {
        const __m128i a = _mm_shuffle_epi8(load(s + 2 * x), split), b = _mm_shuffle_epi8(load(s + 2 * x + 16), split);
        store(y + x, _mm_unpacklo_epi64(a, b));
        const __m128i c = _mm_unpackhi_epi32(a, b);  // c0 0-3, c0 4-7, c1 0-3, c1 4-7
        int32_t w0 = _mm_cvtsi128_si32(c), w1 = _mm_extract_epi32(c, 1), w2 = _mm_extract_epi32(c, 2),
                w3 = _mm_extract_epi32(c, 3);
        std::memcpy(c0 + x / 2, &w0, 4), std::memcpy(c0 + x / 2 + 4, &w1, 4);
        std::memcpy(c1 + x / 2, &w2, 4), std::memcpy(c1 + x / 2 + 4, &w3, 4);
    }
    // tail: pixel pairs
    for (; x + 2 <= width; x += 2) {
        const uint8_t* p = s + 2 * x;
        y[x] = p[O.y0], y[x + 1] = p[O.y1], c0[x / 2] = p[O.c0], c1[x / 2] = p[O.c1];
    }
}

// One row of three planes to C2.
template <const C2Order& O>
void p3ToC2Row(const uint8_t* y, const uint8_t* c0, const uint8_t* c1, uint8_t* d, int width) {
    int x = 0;
    // body: 16 pixels
    for (; x + 16 <= width; x += 16) {
        const __m128i vy = load(y + x);
        const __m128i cc = _mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(c0 + x / 2)),
                                             _mm_loadl_epi64(reinterpret_cast<const __m128i*>(c1 + x / 2)));
        // YUY2 order from (Y, chroma pairs); other orders by one shuffle
        __m128i lo = _mm_unpacklo_epi8(vy, cc), hi = _mm_unpackhi_epi8(vy, cc);
        if (&O == &kUYVY) {
            const __m128i swap = _mm_setr_epi8(1, 0, 3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14);
            lo = _mm_shuffle_epi8(lo, swap), hi = _mm_shuffle_epi8(hi, swap);
        }
        store(d + 2 * x, lo);
        store(d + 2 * x + 16, hi);
    }
    // tail: pixel pairs
    for (; x + 2 <= width; x += 2) {
        uint8_t* p = d + 2 * x;
        p[O.y0] = y[x], p[O.y1] = y[x + 1], p[O.c0] = c0[x / 2], p[O.c1] = c1[x / 2];
    }
}

// One row of C2 to C2 by a fixed byte permutation of each pair.
template <int P0, int P1, int P2, int P3>
void c2ToC2Row(const uint8_t* s, uint8_t* d, int width) {
    const __m128i perm = _mm_setr_epi8(P0, P1, P2, P3, P0 + 4, P1 + 4, P2 + 4, P3 + 4, P0 + 8, P1 + 8, P2 + 8, P3 + 8,
                                       P0 + 12, P1 + 12, P2 + 12, P3 + 12);
    int x = 0;
    // body: 8 pixels (16 bytes)
    for (; x + 8 <= width; x += 8) store(d + 2 * x, _mm_shuffle_epi8(load(s + 2 * x), perm));
    // tail: pixel pairs
    for (; x + 2 <= width; x += 2) {
        const uint8_t* p = s + 2 * x;
        uint8_t* q = d + 2 * x;
        const uint8_t b0 = p[P0], b1 = p[P1], b2 = p[P2], b3 = p[P3];
        q[0] = b0, q[1] = b1, q[2] = b2, q[3] = b3;
    }
}

// ---- Chroma pairs <-> two chroma planes -------------------------------------------------------
// n pairs: even bytes to a, odd bytes to b.
void splitPairsRow(const uint8_t* s, uint8_t* a, uint8_t* b, int n) {
    const __m128i mask = _mm_set1_epi16(0x00FF);
    int i = 0;
    // body: 16 pairs
    for (; i + 16 <= n; i += 16) {
        const __m128i v0 = load(s + 2 * i), v1 = load(s + 2 * i + 16);
        store(a + i, _mm_packus_epi16(_mm_and_si128(v0, mask), _mm_and_si128(v1, mask)));
        store(b + i, _mm_packus_epi16(_mm_srli_epi16(v0, 8), _mm_srli_epi16(v1, 8)));
    }
    // then 8 pairs
    for (; i + 8 <= n; i += 8) {
        const __m128i v = load(s + 2 * i);
        const __m128i ev = _mm_and_si128(v, mask), od = _mm_srli_epi16(v, 8);
        storel(a + i, _mm_packus_epi16(ev, ev));
        storel(b + i, _mm_packus_epi16(od, od));
    }
    // tail: single pairs
    for (; i < n; ++i) a[i] = s[2 * i], b[i] = s[2 * i + 1];
}

// n pairs from a (first byte) and b (second byte).
void joinPairsRow(const uint8_t* a, const uint8_t* b, uint8_t* d, int n) {
    int i = 0;
    // body: 8 pairs
    for (; i + 8 <= n; i += 8)
        store(d + 2 * i, _mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(a + i)),
                                           _mm_loadl_epi64(reinterpret_cast<const __m128i*>(b + i))));
    // tail: single pairs
    for (; i < n; ++i) d[2 * i] = a[i], d[2 * i + 1] = b[i];
}

void copyLuma(const uint8_t* s, int ss, uint8_t* d, int ds, int width, int height) {
    for (int j = 0; j < height; ++j) y8_ownccCopy_8u_C1_M7(cel::rowAt(s, j, ss), cel::rowAt(d, j, ds), width);
}

// P2 -> P3: luma copied, pairs split; chroma rows and bytes per the sampling.
void p2ToP3(const uint8_t* srcY, int srcYStep, const uint8_t* srcC, int srcCStep, uint8_t* const dst[3],
            const int dstStep[3], int width, int height, int chromaRows, int pairs) {
    copyLuma(srcY, srcYStep, dst[0], dstStep[0], width, height);
    for (int j = 0; j < chromaRows; ++j)
        splitPairsRow(cel::rowAt(srcC, j, srcCStep), cel::rowAt(dst[1], j, dstStep[1]), cel::rowAt(dst[2], j, dstStep[2]),
                      pairs);
}

void p3ToP2(const uint8_t* const src[3], const int srcStep[3], uint8_t* dstY, int dstYStep, uint8_t* dstC, int dstCStep,
            int width, int height, int chromaRows, int pairs, bool secondPlaneFirst) {
    copyLuma(src[0], srcStep[0], dstY, dstYStep, width, height);
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

// A byte loop in the tier function.
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
        for (int x = 0; x < width; x += 2) {
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
    p3ToP2(src, srcStep, dstY, dstYStep, dstCbCr, dstCbCrStep, w, h, h, w / 4, false);
    return celStatusOk;
}
