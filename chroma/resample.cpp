// Plane resamplers among 4:2:0, 4:1:1 and 1620 (chroma reduced by 4 in both
// directions).  Luma is copied; one kernel runs on each chroma plane, with
// pair means or plain decimation.  Vector blocks mean by the byte average
// rounding up, scalar tails truncate, so a sample's value depends on its
// place in the row; the block limits below are part of the result.
//
// 411 -> 420: destination row d from source row 2d (odd rows dropped);
//   out[2i] = s[i], out[2i+1] = mean(s[i], s[i+1]); vector while more than
//   16 samples remain, scalar while more than 1, the last sample doubled.
// 420 -> 1620: row 2d, every second sample; no arithmetic.
// 420 -> 411: source row r to rows 2r (even samples) and 2r+1 (their mean
//   with row r+1, or with themselves for the last row); vector blocks of 32
//   round up, blocks of 8 and single samples truncate.
// 1620 -> 420: source rows r, r+1 to rows 2r (u, the 411 -> 420 expansion
//   of r) and 2r+1 (the mean of u and the expansion of r+1; scalar: even
//   places (s+t)>>1, odd places the truncated mean of the truncated means);
//   the last source row gives u and its samples doubled.
// Each kernel takes aligned loads and stores when both planes and steps are
// multiples of 16; the bytes are the same.
#include "chroma/recipes.h"
#include "chroma/rows.h"
#include "frame/image.h"
#include "frame/rowprim.h"
#include "frame/status.h"
#include "frame/tier.h"

namespace {

using namespace cel::chroma;
using cel::rowAt;

using Kernel = void (*)(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep, int h, int w);

bool alignedPair(const uint8_t* s, int ss, const uint8_t* d, int ds) {
    return cel::aligned16(s) && cel::aligned16(d) && cel::aligned16(ss) && cel::aligned16(ds);
}

// Runs Row<true> or Row<false> on the plane by its alignment.
template <template <bool> class K>
void byAlignment(const uint8_t* s, int ss, uint8_t* d, int ds, int h, int w) {
    if (alignedPair(s, ss, d, ds))
        K<true>::run(s, ss, d, ds, h, w);
    else
        K<false>::run(s, ss, d, ds, h, w);
}

// ---- Horizontal doubling -------------------------------------------------------------------------
// 16 samples of s to 32 of d: s[i], mean(s[i], s[i+1]) rounding up.
template <bool Al>
inline void expand16(const uint8_t* s, uint8_t* d) {
    const __m128i a = loadA<Al>(s), m = chroma_v(a, load(s + 1));
    storeA<Al>(d, _mm_unpacklo_epi8(a, m)), storeA<Al>(d + 16, _mm_unpackhi_epi8(a, m));
}

// One row of n samples to 2n: vector blocks while more than Big, then 16,
// samples remain; scalar, truncating, while more than 1; the last doubled.
template <bool Al, int Big>
void expandRow(const uint8_t* s, uint8_t* d, int n) {
    int i = 0;
    // body: Big samples, rounding mean
    for (; n - i > Big; i += Big)
        for (int k = 0; k < Big; k += 16) expand16<Al>(s + i + k, d + 2 * (i + k));
    // then 16 samples, rounding mean
    for (; n - i > 16; i += 16) expand16<Al>(s + i, d + 2 * i);
    // tail: samples, truncating mean
    for (; n - i > 1; ++i) d[2 * i] = s[i], d[2 * i + 1] = chroma_px(s[i], s[i + 1]);
    d[2 * i] = d[2 * i + 1] = s[i];
}

// One row of n samples to 2n, each sample twice.
template <bool Al>
void doubleRow(const uint8_t* s, uint8_t* d, int n) {
    int i = 0;
    // body: 16 samples
    for (; i + 16 <= n; i += 16) {
        const __m128i a = loadA<Al>(s + i);
        storeA<Al>(d + 2 * i, _mm_unpacklo_epi8(a, a)), storeA<Al>(d + 2 * i + 16, _mm_unpackhi_epi8(a, a));
    }
    // tail: samples
    for (; i < n; ++i) d[2 * i] = d[2 * i + 1] = s[i];
}

// ---- 411 -> 420 ----------------------------------------------------------------------------------
template <bool Al>
struct From411 {
    static void run(const uint8_t* s, int ss, uint8_t* d, int ds, int h, int w) {
        for (int j = 0; j < h / 2; ++j) expandRow<Al, 64>(rowAt(s, 2 * j, ss), rowAt(d, j, ds), w / 4);
    }
};
void y8_yvu411toyuv420_sse2_asm(const uint8_t* s, int ss, uint8_t* d, int ds, int h, int w) {
    byAlignment<From411>(s, ss, d, ds, h, w);
}

// ---- 420 -> 1620 ---------------------------------------------------------------------------------
template <bool Al>
struct To1620 {
    static void run(const uint8_t* src, int ss, uint8_t* dst, int ds, int h, int w) {
        const int n = w / 4;
        for (int j = 0; j < h / 4; ++j) {
            const uint8_t* s = rowAt(src, 2 * j, ss);
            uint8_t* d = rowAt(dst, j, ds);
            int i = 0;
            // body: 64 outputs, even samples
            for (; i + 64 <= n; i += 64)
                for (int k = 0; k < 64; k += 16)
                    storeA<Al>(d + i + k, evenBytes(loadA<Al>(s + 2 * (i + k)), loadA<Al>(s + 2 * (i + k) + 16)));
            // then 8 outputs
            for (; i + 8 <= n; i += 8) {
                const __m128i v = loadA<Al>(s + 2 * i);
                store8(d + i, evenBytes(v, v));
            }
            // tail: single outputs
            for (; i < n; ++i) d[i] = s[2 * i];
        }
    }
};
void y8_yuv420toyuv1620_sse2_asm(const uint8_t* s, int ss, uint8_t* d, int ds, int h, int w) {
    byAlignment<To1620>(s, ss, d, ds, h, w);
}

// ---- 420 -> 411 ----------------------------------------------------------------------------------
// Source rows s (decimated to d0) and t (mean with s to d1), n outputs.
template <bool Al>
void to411Rows(const uint8_t* s, const uint8_t* t, uint8_t* d0, uint8_t* d1, int n) {
    int i = 0;
    // body: 32 outputs, rounding mean
    for (; i + 32 <= n; i += 32)
        for (int k = 0; k < 32; k += 16) {
            const int at = 2 * (i + k);
            const __m128i a = evenBytes(loadA<Al>(s + at), loadA<Al>(s + at + 16));
            const __m128i b = evenBytes(loadA<Al>(t + at), loadA<Al>(t + at + 16));
            storeA<Al>(d0 + i + k, a), storeA<Al>(d1 + i + k, chroma_v(a, b));
        }
    // then 8 outputs, truncating mean in 16-bit lanes
    const __m128i low = _mm_set1_epi16(0x00FF);
    for (; i + 8 <= n; i += 8) {
        const __m128i a = _mm_and_si128(loadA<Al>(s + 2 * i), low), b = _mm_and_si128(loadA<Al>(t + 2 * i), low);
        const __m128i m = meanDown16_v(a, b);
        store8(d0 + i, _mm_packus_epi16(a, a)), store8(d1 + i, _mm_packus_epi16(m, m));
    }
    // tail: single outputs, truncating mean
    for (; i < n; ++i) d0[i] = s[2 * i], d1[i] = chroma_px(s[2 * i], t[2 * i]);
}

template <bool Al>
struct To411 {
    static void run(const uint8_t* src, int ss, uint8_t* dst, int ds, int h, int w) {
        const int rows = h / 2;
        for (int r = 0; r < rows; ++r) {
            const uint8_t* s = rowAt(src, r, ss);
            const uint8_t* t = r + 1 < rows ? rowAt(src, r + 1, ss) : s;
            to411Rows<Al>(s, t, rowAt(dst, 2 * r, ds), rowAt(dst, 2 * r + 1, ds), w / 4);
        }
    }
};
void y8_yuv420toyuv411_sse2_asm(const uint8_t* s, int ss, uint8_t* d, int ds, int h, int w) {
    byAlignment<To411>(s, ss, d, ds, h, w);
}

// ---- 1620 -> 420 ---------------------------------------------------------------------------------
// 16 samples of rows s and t to 32 outputs of rows d0 (u) and d1 (mean of
// u and v), every mean rounding up.
template <bool Al>
inline void expandPair16(const uint8_t* s, const uint8_t* t, uint8_t* d0, uint8_t* d1) {
    const __m128i a = loadA<Al>(s), b = loadA<Al>(t);
    const __m128i u = chroma_v(a, load(s + 1)), v = chroma_v(b, load(t + 1));
    const __m128i e = chroma_v(a, b), o = chroma_v(u, v);
    storeA<Al>(d0, _mm_unpacklo_epi8(a, u)), storeA<Al>(d0 + 16, _mm_unpackhi_epi8(a, u));
    storeA<Al>(d1, _mm_unpacklo_epi8(e, o)), storeA<Al>(d1 + 16, _mm_unpackhi_epi8(e, o));
}

template <bool Al>
void from1620Rows(const uint8_t* s, const uint8_t* t, uint8_t* d0, uint8_t* d1, int n) {
    int i = 0;
    // body: 32 samples, rounding means
    for (; n - i >= 33; i += 32)
        for (int k = 0; k < 32; k += 16) expandPair16<Al>(s + i + k, t + i + k, d0 + 2 * (i + k), d1 + 2 * (i + k));
    // then 16 samples, rounding means
    for (; n - i >= 17; i += 16) expandPair16<Al>(s + i, t + i, d0 + 2 * i, d1 + 2 * i);
    // tail: samples, truncating means
    for (; n - i > 1; ++i) {
        const uint8_t u = chroma_px(s[i], s[i + 1]), v = chroma_px(t[i], t[i + 1]);
        d0[2 * i] = s[i], d0[2 * i + 1] = u;
        d1[2 * i] = chroma_px(s[i], t[i]), d1[2 * i + 1] = chroma_px(u, v);
    }
    d0[2 * i] = d0[2 * i + 1] = s[i];
    d1[2 * i] = d1[2 * i + 1] = chroma_px(s[i], t[i]);
}

template <bool Al>
struct From1620 {
    static void run(const uint8_t* src, int ss, uint8_t* dst, int ds, int h, int w) {
        const int rows = h / 4, n = w / 4;
        for (int r = 0; r + 1 < rows; ++r)
            from1620Rows<Al>(rowAt(src, r, ss), rowAt(src, r + 1, ss), rowAt(dst, 2 * r, ds),
                             rowAt(dst, 2 * r + 1, ds), n);
        const uint8_t* last = rowAt(src, rows - 1, ss);
        expandRow<Al, 32>(last, rowAt(dst, 2 * rows - 2, ds), n);
        doubleRow<Al>(last, rowAt(dst, 2 * rows - 1, ds), n);
    }
};
void y8_yvu1620toyuv420_sse2_asm(const uint8_t* s, int ss, uint8_t* d, int ds, int h, int w) {
    byAlignment<From1620>(s, ss, d, ds, h, w);
}

// ---- Frame ---------------------------------------------------------------------------------------
bool quadSize(CelSize r) { return r.width >= 4 && r.height >= 4 && r.width % 4 == 0 && r.height % 4 == 0; }
bool to411Size(CelSize r) { return r.width >= 4 && r.height >= 2 && r.width % 4 == 0 && r.height % 2 == 0; }

// Pointers (outer, then every plane), then the size.
CelStatus checks(const uint8_t* const src[3], uint8_t* const dst[3], CelSize roi, bool (*fits)(CelSize)) {
    if (cel::anyNull(src, dst) || cel::anyPlaneNull(src, 3) || cel::anyPlaneNull(dst, 3)) return celStatusNullPointer;
    return fits(roi) ? celStatusOk : celStatusBadSize;
}

// Luma copied, then the kernel on each chroma plane.
void y8_myResample_8u_P3R(const uint8_t* const src[3], const int srcStep[3], uint8_t* const dst[3],
                          const int dstStep[3], CelSize roi, Kernel kernel) {
    y8_celiCopy_8u_C1R(src[0], srcStep[0], dst[0], dstStep[0], roi);
    for (int c = 1; c <= 2; ++c) kernel(src[c], srcStep[c], dst[c], dstStep[c], roi.height, roi.width);
}

}  // namespace

extern "C" CelStatus y8_celiYCbCr1620To420_8u_P3R(const uint8_t* const src[3], int srcStep[3], uint8_t* dst[3],
                                                   int dstStep[3], CelSize roiSize) {
    if (const CelStatus st = checks(src, dst, roiSize, quadSize)) return st;
    y8_myResample_8u_P3R(src, srcStep, dst, dstStep, roiSize, y8_yvu1620toyuv420_sse2_asm);
    return celStatusOk;
}

extern "C" CelStatus y8_celiYCbCr411To420_8u_P3R(const uint8_t* const src[3], int srcStep[3], uint8_t* dst[3],
                                                  int dstStep[3], CelSize roiSize) {
    if (const CelStatus st = checks(src, dst, roiSize, quadSize)) return st;
    y8_myResample_8u_P3R(src, srcStep, dst, dstStep, roiSize, y8_yvu411toyuv420_sse2_asm);
    return celStatusOk;
}

extern "C" CelStatus y8_celiYCbCr420To1620_8u_P3R(const uint8_t* const src[3], int srcStep[3], uint8_t* dst[3],
                                                   int dstStep[3], CelSize roiSize) {
    if (const CelStatus st = checks(src, dst, roiSize, quadSize)) return st;
    y8_myResample_8u_P3R(src, srcStep, dst, dstStep, roiSize, y8_yuv420toyuv1620_sse2_asm);
    return celStatusOk;
}

extern "C" CelStatus y8_celiYCbCr420To411_8u_P3R(const uint8_t* const src[3], int srcStep[3], uint8_t* dst[3],
                                                  int dstStep[3], CelSize roiSize) {
    if (const CelStatus st = checks(src, dst, roiSize, to411Size)) return st;
    y8_myResample_8u_P3R(src, srcStep, dst, dstStep, roiSize, y8_yuv420toyuv411_sse2_asm);
    return celStatusOk;
}
