// Chroma rate conversion among 4:2:0, 4:2:2 and 4:1:1, with the layout
// change between packed (C2), two-plane (P2) and three-plane (P3) where
// source and destination differ in it.  Nothing is computed: a chroma
// sample is kept, dropped or copied, and luma passes unchanged.
//
// Rules, with w and h the rounded size and C(y, x) a chroma sample (in C2
// the pair of pixels 2x, 2x+1; in P2 the bytes 2x, 2x+1 of the row):
//   A 4:2:0 -> 4:2:2  dst C(2j, x) = dst C(2j+1, x) = src C(j, x)
//   B 4:2:2 -> 4:2:0  dst C(j, x) = src C(2j, x); odd rows ignored
//   C 4:2:2 -> 4:1:1  dst C(y, m) = src C(y, 2m)
//   D 4:1:1 -> 4:2:2  dst C(y, 2m) = dst C(y, 2m+1) = src C(y, m)
//   E 4:1:1 -> 4:2:0  dst C(j, 2m) = src C(2j, m), dst C(j, 2m+1) = src C(2j+1, m)
//   F 4:2:0 -> 4:1:1  the inverse of E
//
// Frame of every member: pointers (plane pointers included), the size
// against the member's minimum, then width rounded down to even (to a
// multiple of 4 wherever 4:1:1 is involved) and height to even wherever
// 4:2:0 is involved.  No member reports an odd size.  Luma rows go through
// the row primitive between planes and through the C2 gathers and scatters
// of chroma/rows.h otherwise.
//
// A kernel's `flag`, where it has one, exchanges the two chroma planes (and
// their steps) on entry.
#include <climits>

#include "chroma/rows.h"
#include "frame/image.h"
#include "frame/simd.h"
#include "frame/status.h"
#include "frame/tier.h"

namespace {

using namespace cel::chroma;
using cel::rowAt;

// Three plane pointers and steps, chroma planes exchanged when asked.
template <class T>
struct Planes {
    T* p[3];
    int s[3];
    Planes(T* const* planes, const int* steps, int flag) {
        const int a = flag ? 2 : 1, b = flag ? 1 : 2;
        p[0] = planes[0], p[1] = planes[a], p[2] = planes[b];
        s[0] = steps[0], s[1] = steps[a], s[2] = steps[b];
    }
    T* row(int plane, int y) const { return rowAt(p[plane], y, s[plane]); }
};
using SrcPlanes = Planes<const uint8_t>;
using DstPlanes = Planes<uint8_t>;

// Non-temporal stores for a C2 destination: by traffic and alignment.
bool streamC2(int64_t stepSum, int height, const uint8_t* dst, int dstStep) {
    return stepSum * height > 524288 && cel::aligned16(dst) && cel::aligned16(dstStep);
}

// ---- Row kernels of the rate changes ---------------------------------------------------------------
// d0 and d1 <- s, n bytes: one load, two stores.
void copyRowTwice(const uint8_t* s, uint8_t* d0, uint8_t* d1, int n) {
    int i = 0;
    // body: 16 bytes
    for (; i + 16 <= n; i += 16) {
        const __m128i v = load(s + i);
        store(d0 + i, v), store(d1 + i, v);
    }
    // tail: bytes
    for (; i < n; ++i) d0[i] = d1[i] = s[i];
}

// d[m] = s[2m], m < n.
void evenBytesRow(const uint8_t* s, uint8_t* d, int n) {
    const __m128i mask = _mm_set1_epi16(0x00FF);
    int i = 0;
    // body: 16 samples
    for (; i + 16 <= n; i += 16)
        store(d + i, _mm_packus_epi16(_mm_and_si128(load(s + 2 * i), mask), _mm_and_si128(load(s + 2 * i + 16), mask)));
    // tail: samples
    for (; i < n; ++i) d[i] = s[2 * i];
}

// Pairs of the samples at column 2m + Phase of two chroma rows:
// d[2m] = a[2m + Phase], d[2m + 1] = b[2m + Phase], m < n.
template <int Phase>
void pickPairsRow(const uint8_t* a, const uint8_t* b, uint8_t* d, int n) {
    const __m128i lowBytes = _mm_set1_epi16(0x00FF);
    int i = 0;
    // body: 8 pairs
    for (; i + 8 <= n; i += 8) {
        const __m128i va = load(a + 2 * i), vb = load(b + 2 * i);
        if constexpr (Phase == 0)
            store(d + 2 * i, _mm_or_si128(_mm_and_si128(va, lowBytes), _mm_slli_epi16(vb, 8)));
        else
            store(d + 2 * i, _mm_or_si128(_mm_srli_epi16(va, 8), _mm_andnot_si128(lowBytes, vb)));
    }
    // tail: pairs
    for (; i < n; ++i) d[2 * i] = a[2 * i + Phase], d[2 * i + 1] = b[2 * i + Phase];
}

// d[2m] = d[2m + 1] = s[m], m < n.
void doubleRow(const uint8_t* s, uint8_t* d, int n) {
    int i = 0;
    // body: 16 samples
    for (; i + 16 <= n; i += 16) {
        const __m128i v = load(s + i);
        store(d + 2 * i, _mm_unpacklo_epi8(v, v));
        store(d + 2 * i + 16, _mm_unpackhi_epi8(v, v));
    }
    // tail: samples
    for (; i < n; ++i) d[2 * i] = d[2 * i + 1] = s[i];
}

// n chroma pairs, each sample doubled into its plane:
// a[2m] = a[2m + 1] = s[2m], b[2m] = b[2m + 1] = s[2m + 1].
void splitDoubleRow(const uint8_t* s, uint8_t* a, uint8_t* b, int n) {
    const __m128i first = _mm_setr_epi8(0, 0, 2, 2, 4, 4, 6, 6, 8, 8, 10, 10, 12, 12, 14, 14);
    const __m128i second = _mm_setr_epi8(1, 1, 3, 3, 5, 5, 7, 7, 9, 9, 11, 11, 13, 13, 15, 15);
    int i = 0;
    // body: 8 pairs
    for (; i + 8 <= n; i += 8) {
        const __m128i v = load(s + 2 * i);
        store(a + 2 * i, _mm_shuffle_epi8(v, first));
        store(b + 2 * i, _mm_shuffle_epi8(v, second));
    }
    // tail: pairs
    for (; i < n; ++i) a[2 * i] = a[2 * i + 1] = s[2 * i], b[2 * i] = b[2 * i + 1] = s[2 * i + 1];
}

// Rule C from C2: every four pixels keep the chroma of their first pair.
// Planes: first samples to c0, second to c1; Pairs: (first, second) to c0.
template <const C2Order& O, bool Pairs, bool Stream>
void c2To411Row(const uint8_t* s, uint8_t* y, uint8_t* c0, uint8_t* c1, int width) {
    // per 16 bytes (two groups): luma to bytes 0-7, then first(g0), first(g1), second(g0), second(g1)
    const __m128i split = _mm_setr_epi8(O.y0, O.y1, O.y0 + 4, O.y1 + 4, O.y0 + 8, O.y1 + 8, O.y0 + 12, O.y1 + 12, O.c0,
                                        O.c0 + 8, O.c1, O.c1 + 8, -128, -128, -128, -128);
    const __m128i order = Pairs ? _mm_setr_epi8(0, 2, 1, 3, 4, 6, 5, 7, 8, 10, 9, 11, 12, 14, 13, 15)
                                : _mm_setr_epi8(0, 1, 4, 5, 8, 9, 12, 13, 2, 3, 6, 7, 10, 11, 14, 15);
    int x = 0;
    // body: 32 pixels (eight groups)
    for (; x + 32 <= width; x += 32) {
        const __m128i s0 = _mm_shuffle_epi8(load(s + 2 * x), split), s1 = _mm_shuffle_epi8(load(s + 2 * x + 16), split);
        const __m128i s2 = _mm_shuffle_epi8(load(s + 2 * x + 32), split);
        const __m128i s3 = _mm_shuffle_epi8(load(s + 2 * x + 48), split);
        put<Stream>(y + x, _mm_unpacklo_epi64(s0, s1));
        put<Stream>(y + x + 16, _mm_unpacklo_epi64(s2, s3));
        const __m128i c =
            _mm_shuffle_epi8(_mm_unpacklo_epi64(_mm_unpackhi_epi32(s0, s1), _mm_unpackhi_epi32(s2, s3)), order);
        if constexpr (Pairs) {
            put<Stream>(c0 + x / 2, c);
        } else {
            store8(c0 + x / 4, c);
            store8(c1 + x / 4, _mm_unpackhi_epi64(c, c));
        }
    }
    // tail: groups of four pixels
    for (; x + 4 <= width; x += 4) {
        const uint8_t* p = s + 2 * x;
        y[x] = p[O.y0], y[x + 1] = p[O.y1], y[x + 2] = p[4 + O.y0], y[x + 3] = p[4 + O.y1];
        if constexpr (Pairs)
            c0[x / 2] = p[O.c0], c0[x / 2 + 1] = p[O.c1];
        else
            c0[x / 4] = p[O.c0], c1[x / 4] = p[O.c1];
    }
}

// Rule E from two 4:1:1 pair rows p (row 2j) and q (row 2j + 1):
// a[2m] = p[2m], a[2m + 1] = q[2m], b[2m] = p[2m + 1], b[2m + 1] = q[2m + 1].
void weavePairRows(const uint8_t* p, const uint8_t* q, uint8_t* a, uint8_t* b, int n) {
    // the 16-bit lanes of unpack(p, q) hold (first p, first q), (second p, second q) in turn
    const __m128i byPlane = _mm_setr_epi8(0, 1, 4, 5, 8, 9, 12, 13, 2, 3, 6, 7, 10, 11, 14, 15);
    int i = 0;
    // body: 8 pairs of each row
    for (; i + 8 <= n; i += 8) {
        const __m128i vp = load(p + 2 * i), vq = load(q + 2 * i);
        const __m128i lo = _mm_shuffle_epi8(_mm_unpacklo_epi8(vp, vq), byPlane);
        const __m128i hi = _mm_shuffle_epi8(_mm_unpackhi_epi8(vp, vq), byPlane);
        store(a + 2 * i, _mm_unpacklo_epi64(lo, hi));
        store(b + 2 * i, _mm_unpackhi_epi64(lo, hi));
    }
    // tail: pairs
    for (; i < n; ++i)
        a[2 * i] = p[2 * i], a[2 * i + 1] = q[2 * i], b[2 * i] = p[2 * i + 1], b[2 * i + 1] = q[2 * i + 1];
}

// Four rows of n bytes woven into one: d[4m + k] = row k [m].
void weave4Row(const uint8_t* r0, const uint8_t* r1, const uint8_t* r2, const uint8_t* r3, uint8_t* d, int n) {
    int i = 0;
    // body: 16 columns
    for (; i + 16 <= n; i += 16) cel::simd::join4x16(d + 4 * i, load(r0 + i), load(r1 + i), load(r2 + i), load(r3 + i));
    // then 8 columns
    for (; i + 8 <= n; i += 8)
        cel::simd::join4x8(d + 4 * i, load8(r0 + i), load8(r1 + i), load8(r2 + i), load8(r3 + i));
    // tail: columns
    for (; i < n; ++i) d[4 * i] = r0[i], d[4 * i + 1] = r1[i], d[4 * i + 2] = r2[i], d[4 * i + 3] = r3[i];
}

// The inverse: row k [m] = s[4m + k], m < n.
void unweave4Row(const uint8_t* s, uint8_t* r0, uint8_t* r1, uint8_t* r2, uint8_t* r3, int n) {
    int i = 0;
    // body: 16 columns
    for (; i + 16 <= n; i += 16) {
        __m128i v0, v1, v2, v3;
        cel::simd::split4x16(s + 4 * i, v0, v1, v2, v3);
        store(r0 + i, v0), store(r1 + i, v1), store(r2 + i, v2), store(r3 + i, v3);
    }
    // tail: columns
    for (; i < n; ++i) r0[i] = s[4 * i], r1[i] = s[4 * i + 1], r2[i] = s[4 * i + 2], r3[i] = s[4 * i + 3];
}

// ---- Rule A: 4:2:0 -> 4:2:2 ------------------------------------------------------------------------
// Each chroma block is written to both its destination rows from one load.
void y8_ownYCbCr420ToYCbCr422_8u_P3R(const uint8_t* const src[3], const int srcStep[3], uint8_t* const dst[3],
                                     const int dstStep[3], int w, int h, int flag) {
    const SrcPlanes s(src, srcStep, flag);
    const DstPlanes d(dst, dstStep, 0);
    copyLuma(s.p[0], s.s[0], d.p[0], d.s[0], w, h);
    for (int j = 0; j < h / 2; ++j)
        for (int c = 1; c <= 2; ++c) copyRowTwice(s.row(c, j), d.row(c, 2 * j), d.row(c, 2 * j + 1), w / 2);
}

void y8_ownYCbCr420ToYCbCr422_8u_P2P3R(const uint8_t* srcY, int srcYStep, const uint8_t* srcC, int srcCStep,
                                       uint8_t* const dst[3], const int dstStep[3], int w, int h) {
    const DstPlanes d(dst, dstStep, 0);
    copyLuma(srcY, srcYStep, d.p[0], d.s[0], w, h);
    for (int j = 0; j < h / 2; ++j)
        for (int k = 0; k < 2; ++k)
            splitPairsRow(rowAt(srcC, j, srcCStep), d.row(1, 2 * j + k), d.row(2, 2 * j + k), w / 2);
}

// Two-plane to C2 on row pairs: both luma rows merged with the same chroma row.
template <const C2Order& O>
void nv12ToC2(const uint8_t* srcY, int srcYStep, const uint8_t* srcC, int srcCStep, uint8_t* dst, int dstStep, int w,
              int h) {
    for (int j = 0; j < h / 2; ++j) {
        const uint8_t* c = rowAt(srcC, j, srcCStep);
        p2ToC2Row<O>(rowAt(srcY, 2 * j, srcYStep), c, rowAt(dst, 2 * j, dstStep), w);
        p2ToC2Row<O>(rowAt(srcY, 2 * j + 1, srcYStep), c, rowAt(dst, 2 * j + 1, dstStep), w);
    }
}
void y8_myNV12ToYUY2_8u_P2C2R(const uint8_t* srcY, int srcYStep, const uint8_t* srcC, int srcCStep, uint8_t* dst,
                              int dstStep, int w, int h) {
    nv12ToC2<kYUY2>(srcY, srcYStep, srcC, srcCStep, dst, dstStep, w, h);
}
void y8_myNV12ToUYVY_8u_P2C2R(const uint8_t* srcY, int srcYStep, const uint8_t* srcC, int srcCStep, uint8_t* dst,
                              int dstStep, int w, int h) {
    nv12ToC2<kUYVY>(srcY, srcYStep, srcC, srcCStep, dst, dstStep, w, h);
}

// Planes Y, Cr, Cb to C2 on row pairs.
template <const C2Order& O, bool Stream>
void yv12ToC2(const uint8_t* const src[3], const int srcStep[3], uint8_t* dst, int dstStep, int w, int h) {
    const SrcPlanes s(src, srcStep, 1);  // Cb is plane 2
    for (int j = 0; j < h / 2; ++j)
        for (int k = 0; k < 2; ++k)
            p3ToC2Row<O, 1, Stream>(s.row(0, 2 * j + k), s.row(1, j), s.row(2, j), rowAt(dst, 2 * j + k, dstStep), w);
}
void y8_myYV12ToYUY2420_8u_P3C2R(const uint8_t* const src[3], const int srcStep[3], uint8_t* dst, int dstStep, int w,
                                 int h) {
    yv12ToC2<kYUY2, false>(src, srcStep, dst, dstStep, w, h);
}
// Streams by traffic; no fence at the end.
void y8_myYV12ToUYVY420_8u_P3C2R(const uint8_t* const src[3], const int srcStep[3], uint8_t* dst, int dstStep, int w,
                                 int h) {
    if (streamC2(int64_t(srcStep[0]) + srcStep[1] + srcStep[2] + dstStep, h, dst, dstStep))
        yv12ToC2<kUYVY, true>(src, srcStep, dst, dstStep, w, h);
    else
        yv12ToC2<kUYVY, false>(src, srcStep, dst, dstStep, w, h);
}

// ---- Rule B: 4:2:2 -> 4:2:0 ------------------------------------------------------------------------
// Every second chroma row copied with the row primitive.  The chroma rows
// of a row pair follow its two luma rows, so that their cached copies run
// while the streamed luma drains to memory.
void y8_ownYCbCr422ToYCbCr420_8u_P3R(const uint8_t* const src[3], const int srcStep[3], uint8_t* const dst[3],
                                     const int dstStep[3], int w, int h) {
    const bool stream = int64_t(w) * h > 348602;
    for (int j = 0; j < h / 2; ++j) {
        copyLumaRows(src[0], srcStep[0], dst[0], dstStep[0], w, 2 * j, 2, stream);
        for (int c = 1; c <= 2; ++c)
            y8_ownccCopy_8u_C1_M7(rowAt(src[c], 2 * j, srcStep[c]), rowAt(dst[c], j, dstStep[c]), w / 2, 0);
    }
    if (stream) _mm_sfence();
}

void y8_ownYCbCr422ToYCbCr420_8u_P3P2R(const uint8_t* const src[3], const int srcStep[3], uint8_t* dstY, int dstYStep,
                                       uint8_t* dstC, int dstCStep, int w, int h) {
    copyLuma(src[0], srcStep[0], dstY, dstYStep, w, h);
    for (int j = 0; j < h / 2; ++j)
        joinPairsRow(rowAt(src[1], 2 * j, srcStep[1]), rowAt(src[2], 2 * j, srcStep[2]), rowAt(dstC, j, dstCStep),
                     w / 2);
}

// C2 to planes: the even row gives luma and chroma, the odd row luma only.
// O names the chroma byte that goes to d.p[1].
template <const C2Order& O>
void c2To420P3(const uint8_t* src, int srcStep, const DstPlanes& d, int w, int h) {
    for (int j = 0; j < h / 2; ++j) {
        c2ToP3Row<O>(rowAt(src, 2 * j, srcStep), d.row(0, 2 * j), d.row(1, j), d.row(2, j), w);
        c2ToYRow<O>(rowAt(src, 2 * j + 1, srcStep), d.row(0, 2 * j + 1), w);
    }
}
// C2 to two planes; O names the chroma byte that comes first in a pair.
template <const C2Order& O>
void c2To420P2(const uint8_t* src, int srcStep, uint8_t* dstY, int dstYStep, uint8_t* dstC, int dstCStep, int w,
               int h) {
    for (int j = 0; j < h / 2; ++j) {
        c2ToP2Row<O>(rowAt(src, 2 * j, srcStep), rowAt(dstY, 2 * j, dstYStep), rowAt(dstC, j, dstCStep), w);
        c2ToYRow<O>(rowAt(src, 2 * j + 1, srcStep), rowAt(dstY, 2 * j + 1, dstYStep), w);
    }
}

void y8_ownYCbCr422ToYCbCr420_8u_C2P3R(const uint8_t* src, int srcStep, uint8_t* const dst[3], const int dstStep[3],
                                       int w, int h, int flag) {
    c2To420P3<kYUY2>(src, srcStep, DstPlanes(dst, dstStep, flag), w, h);
}
void y8_myYUY2ToNV12_8u_C2P2R(const uint8_t* src, int srcStep, uint8_t* dstY, int dstYStep, uint8_t* dstC, int dstCStep,
                              int w, int h) {
    c2To420P2<kYUY2>(src, srcStep, dstY, dstYStep, dstC, dstCStep, w, h);
}
void y8_myYUY2ToNV21_8u_C2P2R(const uint8_t* src, int srcStep, uint8_t* dstY, int dstYStep, uint8_t* dstC, int dstCStep,
                              int w, int h) {
    c2To420P2<kYVYU>(src, srcStep, dstY, dstYStep, dstC, dstCStep, w, h);
}
void y8_myYUY2ToYV12422_8u_C2P3R(const uint8_t* src, int srcStep, uint8_t* const dst[3], const int dstStep[3], int w,
                                 int h) {
    c2To420P3<kYUY2>(src, srcStep, DstPlanes(dst, dstStep, 1), w, h);
}
void y8_myUYVYToNV12_8u_C2P2R(const uint8_t* src, int srcStep, uint8_t* dstY, int dstYStep, uint8_t* dstC, int dstCStep,
                              int w, int h) {
    c2To420P2<kUYVY>(src, srcStep, dstY, dstYStep, dstC, dstCStep, w, h);
}
void y8_ownCbYCr422ToYCbCr420_8u_C2P3R(const uint8_t* src, int srcStep, uint8_t* const dst[3], const int dstStep[3],
                                       int w, int h) {
    c2To420P3<kUYVY>(src, srcStep, DstPlanes(dst, dstStep, 0), w, h);
}
void y8_myUYVYToYV12422_8u_C2P3R(const uint8_t* src, int srcStep, uint8_t* const dst[3], const int dstStep[3], int w,
                                 int h) {
    c2To420P3<kUYVY>(src, srcStep, DstPlanes(dst, dstStep, 1), w, h);
}

// ---- Rule C: 4:2:2 -> 4:1:1 ------------------------------------------------------------------------
void y8_ownYCbCr422ToYCbCr411_8u_P3R(const uint8_t* const src[3], const int srcStep[3], uint8_t* const dst[3],
                                     const int dstStep[3], int w, int h) {
    copyLuma(src[0], srcStep[0], dst[0], dstStep[0], w, h, int64_t(w) * h > 524288);
    for (int y = 0; y < h; ++y)
        for (int c = 1; c <= 2; ++c) evenBytesRow(rowAt(src[c], y, srcStep[c]), rowAt(dst[c], y, dstStep[c]), w / 4);
}

void y8_ownYCbCr422ToYCbCr411_8u_P3P2R(const uint8_t* const src[3], const int srcStep[3], uint8_t* dstY, int dstYStep,
                                       uint8_t* dstC, int dstCStep, int w, int h) {
    copyLuma(src[0], srcStep[0], dstY, dstYStep, w, h);
    for (int y = 0; y < h; ++y)
        pickPairsRow<0>(rowAt(src[1], y, srcStep[1]), rowAt(src[2], y, srcStep[2]), rowAt(dstC, y, dstCStep), w / 4);
}

template <const C2Order& O>
void c2To411P3(const uint8_t* src, int srcStep, const DstPlanes& d, int w, int h) {
    for (int y = 0; y < h; ++y)
        c2To411Row<O, false, false>(rowAt(src, y, srcStep), d.row(0, y), d.row(1, y), d.row(2, y), w);
}
void y8_ownYCbCr422ToYCbCr411_8u_C2P3R(const uint8_t* src, int srcStep, uint8_t* const dst[3], const int dstStep[3],
                                       int w, int h, int flag) {
    c2To411P3<kYUY2>(src, srcStep, DstPlanes(dst, dstStep, flag), w, h);
}
void y8_ownCbYCr422ToYCbCr411_8u_C2P3R(const uint8_t* src, int srcStep, uint8_t* const dst[3], const int dstStep[3],
                                       int w, int h) {
    c2To411P3<kUYVY>(src, srcStep, DstPlanes(dst, dstStep, 0), w, h);
}

// Streams by traffic when every pointer and step is 16-byte aligned; fence at the end.
template <bool Stream>
void yuy2To411P2(const uint8_t* src, int srcStep, uint8_t* dstY, int dstYStep, uint8_t* dstC, int dstCStep, int w,
                 int h) {
    for (int y = 0; y < h; ++y)
        c2To411Row<kYUY2, true, Stream>(rowAt(src, y, srcStep), rowAt(dstY, y, dstYStep), rowAt(dstC, y, dstCStep),
                                        nullptr, w);
    if (Stream) _mm_sfence();
}
void y8_ownYCbCr422ToYCbCr411_8u_C2P2R(const uint8_t* src, int srcStep, uint8_t* dstY, int dstYStep, uint8_t* dstC,
                                       int dstCStep, int w, int h) {
    const bool stream = (3 * int64_t(w) + w / 2) * h > 1572864 && cel::aligned16(src) && cel::aligned16(dstY) &&
                        cel::aligned16(dstC) && cel::aligned16(srcStep) && cel::aligned16(dstYStep) &&
                        cel::aligned16(dstCStep);
    if (stream)
        yuy2To411P2<true>(src, srcStep, dstY, dstYStep, dstC, dstCStep, w, h);
    else
        yuy2To411P2<false>(src, srcStep, dstY, dstYStep, dstC, dstCStep, w, h);
}

// ---- Rule D: 4:1:1 -> 4:2:2 ------------------------------------------------------------------------
void y8_ownYCbCr411ToYCbCr422_8u_P3R(const uint8_t* const src[3], const int srcStep[3], uint8_t* const dst[3],
                                     const int dstStep[3], int w, int h, int flag) {
    const DstPlanes d(dst, dstStep, flag);
    copyLuma(src[0], srcStep[0], d.p[0], d.s[0], w, h);
    for (int y = 0; y < h; ++y)
        for (int c = 1; c <= 2; ++c) doubleRow(rowAt(src[c], y, srcStep[c]), d.row(c, y), w / 4);
}

void y8_ownYCbCr411ToYCbCr422_8u_P2P3R(const uint8_t* srcY, int srcYStep, const uint8_t* srcC, int srcCStep,
                                       uint8_t* const dst[3], const int dstStep[3], int w, int h) {
    copyLuma(srcY, srcYStep, dst[0], dstStep[0], w, h, int64_t(w) * h > 348602);
    for (int y = 0; y < h; ++y)
        splitDoubleRow(rowAt(srcC, y, srcCStep), rowAt(dst[1], y, dstStep[1]), rowAt(dst[2], y, dstStep[2]), w / 4);
}

template <bool Stream>
void nv411ToYUY2(const uint8_t* srcY, int srcYStep, const uint8_t* srcC, int srcCStep, uint8_t* dst, int dstStep, int w,
                 int h) {
    for (int y = 0; y < h; ++y)
        p2ToC2Row<kYUY2, 2, Stream>(rowAt(srcY, y, srcYStep), rowAt(srcC, y, srcCStep), rowAt(dst, y, dstStep), w);
    if (Stream) _mm_sfence();
}
void y8_ownYCbCr411ToYCbCr422_8u_P2C2R(const uint8_t* srcY, int srcYStep, const uint8_t* srcC, int srcCStep,
                                       uint8_t* dst, int dstStep, int w, int h) {
    if (streamC2(int64_t(srcYStep) + srcCStep + dstStep, h, dst, dstStep))
        nv411ToYUY2<true>(srcY, srcYStep, srcC, srcCStep, dst, dstStep, w, h);
    else
        nv411ToYUY2<false>(srcY, srcYStep, srcC, srcCStep, dst, dstStep, w, h);
}

template <bool Stream>
void p411ToYUY2(const SrcPlanes& s, uint8_t* dst, int dstStep, int w, int h) {
    for (int y = 0; y < h; ++y)
        p3ToC2Row<kYUY2, 2, Stream>(s.row(0, y), s.row(1, y), s.row(2, y), rowAt(dst, y, dstStep), w);
    if (Stream) _mm_sfence();
}
// With the flag set the Cr plane goes where Cb would: YCrCb422 (Y0 Cr Y1 Cb).
void y8_ownYCbCr411ToYCbCr422_8u_P3C2R(const uint8_t* const src[3], const int srcStep[3], uint8_t* dst, int dstStep,
                                       int w, int h, int flag) {
    const SrcPlanes s(src, srcStep, flag);
    if (streamC2(int64_t(srcStep[0]) + srcStep[1] + srcStep[2] + dstStep, h, dst, dstStep))
        p411ToYUY2<true>(s, dst, dstStep, w, h);
    else
        p411ToYUY2<false>(s, dst, dstStep, w, h);
}

// ---- Rule E: 4:1:1 -> 4:2:0 ------------------------------------------------------------------------
// Chroma row j of a plane: the samples of rows 2j and 2j + 1 in turn.
void y8_ownYCbCr411ToYCbCr420_8u_P3R(const uint8_t* const src[3], const int srcStep[3], uint8_t* const dst[3],
                                     const int dstStep[3], int w, int h) {
    copyLuma(src[0], srcStep[0], dst[0], dstStep[0], w, h);
    for (int j = 0; j < h / 2; ++j)
        for (int c = 1; c <= 2; ++c)
            joinPairsRow(rowAt(src[c], 2 * j, srcStep[c]), rowAt(src[c], 2 * j + 1, srcStep[c]),
                         rowAt(dst[c], j, dstStep[c]), w / 4);
}

void y8_ownYCbCr411ToYCbCr420_8u_P3P2R(const uint8_t* const src[3], const int srcStep[3], uint8_t* dstY, int dstYStep,
                                       uint8_t* dstC, int dstCStep, int w, int h) {
    copyLuma(src[0], srcStep[0], dstY, dstYStep, w, h, int64_t(w) * h > 348602);
    for (int j = 0; j < h / 2; ++j)
        weave4Row(rowAt(src[1], 2 * j, srcStep[1]), rowAt(src[2], 2 * j, srcStep[2]),
                  rowAt(src[1], 2 * j + 1, srcStep[1]), rowAt(src[2], 2 * j + 1, srcStep[2]), rowAt(dstC, j, dstCStep),
                  w / 4);
}

void y8_ownYCbCr411ToYCbCr420_8u_P2P3R(const uint8_t* srcY, int srcYStep, const uint8_t* srcC, int srcCStep,
                                       uint8_t* const dst[3], const int dstStep[3], int w, int h, int flag) {
    const DstPlanes d(dst, dstStep, flag);
    copyLuma(srcY, srcYStep, d.p[0], d.s[0], w, h);
    for (int j = 0; j < h / 2; ++j)
        weavePairRows(rowAt(srcC, 2 * j, srcCStep), rowAt(srcC, 2 * j + 1, srcCStep), d.row(1, j), d.row(2, j), w / 4);
}

// ---- Rule F: 4:2:0 -> 4:1:1 ------------------------------------------------------------------------
void y8_ownYCbCr420ToYCbCr411_8u_P2P3R(const uint8_t* srcY, int srcYStep, const uint8_t* srcC, int srcCStep,
                                       uint8_t* const dst[3], const int dstStep[3], int w, int h) {
    const DstPlanes d(dst, dstStep, 0);
    copyLuma(srcY, srcYStep, d.p[0], d.s[0], w, h);
    for (int j = 0; j < h / 2; ++j)
        unweave4Row(rowAt(srcC, j, srcCStep), d.row(1, 2 * j), d.row(2, 2 * j), d.row(1, 2 * j + 1),
                    d.row(2, 2 * j + 1), w / 4);
}

// Flag 0 reads plane 2 as Cb and plane 1 as Cr, flag 1 the reverse: the
// pairs come out Cb, Cr either way.
void y8_ownYCrCb420ToYCbCr411_8u_P3P2R(const uint8_t* const src[3], const int srcStep[3], uint8_t* dstY, int dstYStep,
                                       uint8_t* dstC, int dstCStep, int w, int h, int flag) {
    const SrcPlanes s(src, srcStep, !flag);
    copyLuma(s.p[0], s.s[0], dstY, dstYStep, w, h);
    for (int j = 0; j < h / 2; ++j) {
        pickPairsRow<0>(s.row(1, j), s.row(2, j), rowAt(dstC, 2 * j, dstCStep), w / 4);
        pickPairsRow<1>(s.row(1, j), s.row(2, j), rowAt(dstC, 2 * j + 1, dstCStep), w / 4);
    }
}

// The size rules: the least width and height (kAnyHeight: the height is not
// examined) and the multiples the size is rounded down to before the kernel
// runs.  Even: 4:2:0 and 4:2:2 on the two sides; Quad, QuadRows: 4:1:1 and
// 4:2:2; QuadEven: 4:1:1 and 4:2:0.
constexpr int kAnyHeight = INT_MIN;
template <int MinW, int MinH, int MulW, int MulH>
struct SizeRule {
    static bool bad(CelSize roi) { return roi.width < MinW || roi.height < MinH; }
    static int width(CelSize roi) { return roi.width & ~(MulW - 1); }
    static int height(CelSize roi) { return roi.height & ~(MulH - 1); }
};
using Even = SizeRule<2, 2, 2, 2>;
using Quad = SizeRule<4, kAnyHeight, 4, 1>;
using QuadRows = SizeRule<4, 1, 4, 1>;
using QuadEven = SizeRule<4, 2, 4, 2>;

// The frame of every tier function: its pointers (plane members included),
// the size by its rule, then the kernel on the rounded size.
template <class Rule, class Kernel>
CelStatus checked(bool nullPointer, CelSize roi, Kernel kernel) {
    if (nullPointer) return celStatusNullPointer;
    if (Rule::bad(roi)) return celStatusBadSize;
    kernel(Rule::width(roi), Rule::height(roi));
    return celStatusOk;
}

}  // namespace

// Tier functions by the layouts of their arguments (C2 packed, P2 two
// planes, P3 three planes, source then destination): the pointers, plane
// members included, then the size by its rule.  `kernel` is the row loop,
// called with the layout's images, the rounded size w x h and the trailing
// arguments of the entry (the flag, where the row loop has one).
#define CEL_RATE_P3P3(name, rule, kernel, ...)                                                                         \
    extern "C" CelStatus y8_##name(const uint8_t* const src[3], int srcStep[3], uint8_t* dst[3], int dstStep[3],       \
                                   CelSize roiSize) {                                                                  \
        return checked<rule>(cel::anyNull(src, dst) || cel::anyPlaneNull(src, 3) || cel::anyPlaneNull(dst, 3),         \
                             roiSize, [&](int w, int h) {                                                              \
                                 kernel(src, srcStep, dst, dstStep, w, h, ##__VA_ARGS__);                              \
                             });                                                                                       \
    }
#define CEL_RATE_P2P3(name, rule, kernel, ...)                                                                         \
    extern "C" CelStatus y8_##name(const uint8_t* srcY, int srcYStep, const uint8_t* srcCbCr, int srcCbCrStep,         \
                                   uint8_t* dst[3], int dstStep[3], CelSize roiSize) {                                 \
        return checked<rule>(cel::anyNull(srcY, srcCbCr, dst) || cel::anyPlaneNull(dst, 3),                            \
                             roiSize, [&](int w, int h) {                                                              \
                                 kernel(srcY, srcYStep, srcCbCr, srcCbCrStep, dst, dstStep, w, h, ##__VA_ARGS__);      \
                             });                                                                                       \
    }
#define CEL_RATE_P2C2(name, rule, kernel, ...)                                                                         \
    extern "C" CelStatus y8_##name(const uint8_t* srcY, int srcYStep, const uint8_t* srcCbCr, int srcCbCrStep,         \
                                   uint8_t* dst, int dstStep, CelSize roiSize) {                                       \
        return checked<rule>(cel::anyNull(srcY, srcCbCr, dst), roiSize, [&](int w, int h) {                            \
            kernel(srcY, srcYStep, srcCbCr, srcCbCrStep, dst, dstStep, w, h, ##__VA_ARGS__);                           \
        });                                                                                                            \
    }
#define CEL_RATE_P3C2(name, rule, kernel, ...)                                                                         \
    extern "C" CelStatus y8_##name(const uint8_t* const src[3], int srcStep[3], uint8_t* dst, int dstStep,             \
                                   CelSize roiSize) {                                                                  \
        return checked<rule>(cel::anyNull(src, dst) || cel::anyPlaneNull(src, 3), roiSize, [&](int w, int h) {         \
            kernel(src, srcStep, dst, dstStep, w, h, ##__VA_ARGS__);                                                   \
        });                                                                                                            \
    }
#define CEL_RATE_P3P2(name, rule, kernel, ...)                                                                         \
    extern "C" CelStatus y8_##name(const uint8_t* const src[3], int srcStep[3], uint8_t* dstY, int dstYStep,           \
                                   uint8_t* dstCbCr, int dstCbCrStep, CelSize roiSize) {                               \
        return checked<rule>(cel::anyNull(src, dstY, dstCbCr) || cel::anyPlaneNull(src, 3),                            \
                             roiSize, [&](int w, int h) {                                                              \
                                 kernel(src, srcStep, dstY, dstYStep, dstCbCr, dstCbCrStep, w, h, ##__VA_ARGS__);      \
                             });                                                                                       \
    }
#define CEL_RATE_C2P3(name, rule, kernel, ...)                                                                         \
    extern "C" CelStatus y8_##name(const uint8_t* src, int srcStep, uint8_t* dst[3], int dstStep[3],                   \
                                   CelSize roiSize) {                                                                  \
        return checked<rule>(cel::anyNull(src, dst) || cel::anyPlaneNull(dst, 3), roiSize, [&](int w, int h) {         \
            kernel(src, srcStep, dst, dstStep, w, h, ##__VA_ARGS__);                                                   \
        });                                                                                                            \
    }
#define CEL_RATE_C2P2(name, rule, kernel, ...)                                                                         \
    extern "C" CelStatus y8_##name(const uint8_t* src, int srcStep, uint8_t* dstY, int dstYStep, uint8_t* dstCbCr,     \
                                   int dstCbCrStep, CelSize roiSize) {                                                 \
        return checked<rule>(cel::anyNull(src, dstY, dstCbCr), roiSize, [&](int w, int h) {                            \
            kernel(src, srcStep, dstY, dstYStep, dstCbCr, dstCbCrStep, w, h, ##__VA_ARGS__);                           \
        });                                                                                                            \
    }

// ---- Rule A: 4:2:0 -> 4:2:2 -------------------------------------------------------------------------------
CEL_RATE_P3P3(celiYCbCr420ToYCbCr422_8u_P3R, Even, y8_ownYCbCr420ToYCbCr422_8u_P3R, 0)
CEL_RATE_P3P3(celiYCrCb420ToYCbCr422_8u_P3R, Even, y8_ownYCbCr420ToYCbCr422_8u_P3R, 1)
CEL_RATE_P2P3(celiYCbCr420ToYCbCr422_8u_P2P3R, Even, y8_ownYCbCr420ToYCbCr422_8u_P2P3R)
CEL_RATE_P2C2(celiYCbCr420ToYCbCr422_8u_P2C2R, Even, y8_myNV12ToYUY2_8u_P2C2R)
CEL_RATE_P2C2(celiYCbCr420ToCbYCr422_8u_P2C2R, Even, y8_myNV12ToUYVY_8u_P2C2R)
CEL_RATE_P3C2(celiYCrCb420ToYCbCr422_8u_P3C2R, Even, y8_myYV12ToYUY2420_8u_P3C2R)
CEL_RATE_P3C2(celiYCrCb420ToCbYCr422_8u_P3C2R, Even, y8_myYV12ToUYVY420_8u_P3C2R)

// ---- Rule B: 4:2:2 -> 4:2:0 -------------------------------------------------------------------------------
CEL_RATE_P3P3(celiYCbCr422ToYCbCr420_8u_P3R, Even, y8_ownYCbCr422ToYCbCr420_8u_P3R)
CEL_RATE_P3P2(celiYCbCr422ToYCbCr420_8u_P3P2R, Even, y8_ownYCbCr422ToYCbCr420_8u_P3P2R)
CEL_RATE_C2P3(celiYCbCr422ToYCbCr420_8u_C2P3R, Even, y8_ownYCbCr422ToYCbCr420_8u_C2P3R, 0)
CEL_RATE_C2P3(celiYCrCb422ToYCbCr420_8u_C2P3R, Even, y8_ownYCbCr422ToYCbCr420_8u_C2P3R, 1)
CEL_RATE_C2P2(celiYCbCr422ToYCbCr420_8u_C2P2R, Even, y8_myYUY2ToNV12_8u_C2P2R)
CEL_RATE_C2P2(celiYCbCr422ToYCrCb420_8u_C2P2R, Even, y8_myYUY2ToNV21_8u_C2P2R)
CEL_RATE_C2P3(celiYCbCr422ToYCrCb420_8u_C2P3R, Even, y8_myYUY2ToYV12422_8u_C2P3R)
CEL_RATE_C2P2(celiCbYCr422ToYCbCr420_8u_C2P2R, Even, y8_myUYVYToNV12_8u_C2P2R)
CEL_RATE_C2P3(celiCbYCr422ToYCbCr420_8u_C2P3R, Even, y8_ownCbYCr422ToYCbCr420_8u_C2P3R)
CEL_RATE_C2P3(celiCbYCr422ToYCrCb420_8u_C2P3R, Even, y8_myUYVYToYV12422_8u_C2P3R)

// ---- Rule C: 4:2:2 -> 4:1:1 (height not tested but where said) --------------------------------------------
CEL_RATE_P3P3(celiYCbCr422ToYCbCr411_8u_P3R, Quad, y8_ownYCbCr422ToYCbCr411_8u_P3R)
CEL_RATE_P3P2(celiYCbCr422ToYCbCr411_8u_P3P2R, Quad, y8_ownYCbCr422ToYCbCr411_8u_P3P2R)
CEL_RATE_C2P3(celiYCbCr422ToYCbCr411_8u_C2P3R, QuadRows, y8_ownYCbCr422ToYCbCr411_8u_C2P3R, 0)
CEL_RATE_C2P3(celiYCrCb422ToYCbCr411_8u_C2P3R, Quad, y8_ownYCbCr422ToYCbCr411_8u_C2P3R, 1)
CEL_RATE_C2P2(celiYCbCr422ToYCbCr411_8u_C2P2R, Quad, y8_ownYCbCr422ToYCbCr411_8u_C2P2R)
CEL_RATE_C2P3(celiCbYCr422ToYCbCr411_8u_C2P3R, Quad, y8_ownCbYCr422ToYCbCr411_8u_C2P3R)

// ---- Rule D: 4:1:1 -> 4:2:2 (height not tested) -----------------------------------------------------------
CEL_RATE_P3P3(celiYCbCr411ToYCbCr422_8u_P3R, Quad, y8_ownYCbCr411ToYCbCr422_8u_P3R, 0)
CEL_RATE_P3P3(celiYCbCr411ToYCrCb422_8u_P3R, Quad, y8_ownYCbCr411ToYCbCr422_8u_P3R, 1)
CEL_RATE_P2P3(celiYCbCr411ToYCbCr422_8u_P2P3R, Quad, y8_ownYCbCr411ToYCbCr422_8u_P2P3R)
CEL_RATE_P2C2(celiYCbCr411ToYCbCr422_8u_P2C2R, Quad, y8_ownYCbCr411ToYCbCr422_8u_P2C2R)
CEL_RATE_P3C2(celiYCbCr411ToYCbCr422_8u_P3C2R, Quad, y8_ownYCbCr411ToYCbCr422_8u_P3C2R, 0)
CEL_RATE_P3C2(celiYCbCr411ToYCrCb422_8u_P3C2R, Quad, y8_ownYCbCr411ToYCbCr422_8u_P3C2R, 1)

// ---- Rule E: 4:1:1 -> 4:2:0 -------------------------------------------------------------------------------
CEL_RATE_P3P3(celiYCbCr411ToYCbCr420_8u_P3R, QuadEven, y8_ownYCbCr411ToYCbCr420_8u_P3R)
CEL_RATE_P3P2(celiYCbCr411ToYCbCr420_8u_P3P2R, QuadEven, y8_ownYCbCr411ToYCbCr420_8u_P3P2R)
CEL_RATE_P2P3(celiYCbCr411ToYCbCr420_8u_P2P3R, QuadEven, y8_ownYCbCr411ToYCbCr420_8u_P2P3R, 0)
CEL_RATE_P2P3(celiYCbCr411ToYCrCb420_8u_P2P3R, QuadEven, y8_ownYCbCr411ToYCbCr420_8u_P2P3R, 1)

// ---- Rule F: 4:2:0 -> 4:1:1 -------------------------------------------------------------------------------
CEL_RATE_P2P3(celiYCbCr420ToYCbCr411_8u_P2P3R, QuadEven, y8_ownYCbCr420ToYCbCr411_8u_P2P3R)
CEL_RATE_P3P2(celiYCbCr420ToYCbCr411_8u_P3P2R, QuadEven, y8_ownYCrCb420ToYCbCr411_8u_P3P2R, 1)
CEL_RATE_P3P2(celiYCrCb420ToYCbCr411_8u_P3P2R, QuadEven, y8_ownYCrCb420ToYCbCr411_8u_P3P2R, 0)
