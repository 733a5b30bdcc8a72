// RGB <-> analogue-video YUV at 4:2:2: one U and one V per pixel pair.
//
//   export                        body (16 px)                          tail
//   celiRGBToYUV422_8u_C3C2R      multiply-add pair form                rounded scalar pairs; lone pixel Y, U only
//   celiRGBToYUV422_8u_C3P3R      Q14 rounded-weight if all pointers    scalar pairs; lone pixel Q15
//                                 and steps are multiples of 16, else
//                                 multiply-add (the two may differ by one)
//   celiRGBToYUV422_8u_P3R        duplicated-byte pair form             scalar pairs; lone pixel Q15
//   celiYUV422ToRGB_8u_C2C3R,
//   _P3C3R, _P3R                  doubled-luma form                     scalar pairs, R and B rounded
//   celiYUV422ToRGB_8u_P3AC4R     sixteen-fold form, fourth byte 0      the same scalar pairs
//
// The forms without a trailing R derive their steps from the width (3w, w,
// chroma w / 2 + (w & 1)).  The two contiguous encoders run an image of an
// even width and at least 256 pixels as one long row.
#include <smmintrin.h>

#include <array>

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


// Plane steps of a contiguous 4:2:2 image: luma w, chroma w / 2 and the odd
// pixel's own sample.
inline std::array<int, 3> steps422(int w) {
    const int c = w / 2 + (w & 1);
    return {w, c, c};
}

// ---------------------------------------------------------------------------
// Encoders

// Rest of a row from x (even): scalar pairs in Q16 with the luma truncated,
// then a lone last pixel in Q15.  rgb(i, p) reads pixel i.
template <class Rgb>
void encodeTail(Rgb rgb, int x, int width, uint8_t* y, uint8_t* u, uint8_t* v) {
    // tail: scalar pairs, Q16
    for (; x + 2 <= width; x += 2) {
        int p0[3], p1[3];
        rgb(x, p0);
        rgb(x + 1, p1);
        yuv::pair_px<false>(p0, p1, y[x], y[x + 1], u[x / 2], v[x / 2]);
    }
    // a lone last pixel: Q15, nothing rounded
    if (x < width) {
        int p[3];
        rgb(x, p);
        yuv::loneQ15_px(p[0], p[1], p[2], y[x], u[x / 2], v[x / 2]);
    }
}

struct C3Reader {
    const uint8_t* s;
    void operator()(int i, int (&p)[3]) const {
        p[0] = s[3 * i];
        p[1] = s[3 * i + 1];
        p[2] = s[3 * i + 2];
    }
};

// Sixteen C3 pixels as plain 16-bit lanes (pixels 0-7, 8-15).
inline void readPlain16(const uint8_t* src, __m128i (&r)[2], __m128i (&g)[2], __m128i (&b)[2]) {
    cel::simd::split3x16High(src, r, g, b);
    for (int h = 0; h < 2; ++h) {
        r[h] = _mm_srli_epi16(r[h], 8);
        g[h] = _mm_srli_epi16(g[h], 8);
        b[h] = _mm_srli_epi16(b[h], 8);
    }
}

// Sixteen pixels by the multiply-add form: 16 Y bytes, 8 U and 8 V bytes (low halves).
inline void madd16(const uint8_t* src, __m128i& y, __m128i& u, __m128i& v) {
    __m128i r[2], g[2], b[2];
    readPlain16(src, r, g, b);
    const __m128i l0 = yuv::maddLuma_v(r[0], g[0], b[0]), l1 = yuv::maddLuma_v(r[1], g[1], b[1]);
    y = _mm_packus_epi16(_mm_srai_epi16(l0, 1), _mm_srai_epi16(l1, 1));
    __m128i vu, vv;
    yuv::maddChroma_v(l0, l1, _mm_hadd_epi16(b[0], b[1]), _mm_hadd_epi16(r[0], r[1]), vu, vv);
    u = _mm_packus_epi16(vu, vu);
    v = _mm_packus_epi16(vv, vv);
}

void y8_innerRGBToYUV422_8u_C3C2R(const uint8_t* src, uint8_t* dst, int width) {
    int x = 0;
    // body: multiply-add pair form, 16 pixels
    for (; x + 16 <= width; x += 16) {
        __m128i y, u, v;
        madd16(src + 3 * x, y, u, v);
        const __m128i uv = _mm_unpacklo_epi8(u, v);
        storeu(dst + 2 * x, _mm_unpacklo_epi8(y, uv));
        storeu(dst + 2 * x + 16, _mm_unpackhi_epi8(y, uv));
    }
    // tail: scalar pairs, Q16 with rounding
    for (; x + 2 <= width; x += 2) {
        const uint8_t* s = src + 3 * x;
        uint8_t* d = dst + 2 * x;
        const int p0[3] = {s[0], s[1], s[2]}, p1[3] = {s[3], s[4], s[5]};
        yuv::pair_px<true>(p0, p1, d[0], d[2], d[1], d[3]);
    }
    // a lone last pixel: the scalar difference recipe, Y and U only
    if (x < width) {
        const uint8_t* s = src + 3 * x;
        uint8_t* d = dst + 2 * x;
        uint8_t vUnused;
        yuv::difference_px(s[0], s[1], s[2], d[0], d[1], vUnused);
    }
}

void y8_myRGBToYUV422_8u_C3C2R(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep, int width, int height) {
    for (int j = 0; j < height; ++j)
        y8_innerRGBToYUV422_8u_C3C2R(rowAt(src, j, srcStep), rowAt(dst, j, dstStep), width);
}

void y8_innerRGBToYUV422_8u_C3P3R(const uint8_t* src, uint8_t* y, uint8_t* u, uint8_t* v, int width) {
    int x = 0;
    // body: multiply-add pair form, 16 pixels
    for (; x + 16 <= width; x += 16) {
        __m128i vy, vu, vv;
        madd16(src + 3 * x, vy, vu, vv);
        storeu(y + x, vy);
        cel::simd::storeLow8(u + x / 2, vu);
        cel::simd::storeLow8(v + x / 2, vv);
    }
    encodeTail(C3Reader{src}, x, width, y, u, v);
}

// The aligned kernel (every pointer and step a multiple of 16): the Q14
// rounded-weight recipe on pairs, aligned loads of the source.
void y8_inner_V8_RGBToYUV422_8u_C3P3R(const uint8_t* src, uint8_t* y, uint8_t* u, uint8_t* v, int width) {
    using cel::simd::gather3High;
    int x = 0;
    // body: Q14 rounded-weight recipe, 16 pixels
    for (; x + 16 <= width; x += 16) {
        const __m128i* p = reinterpret_cast<const __m128i*>(src + 3 * x);
        const __m128i a = _mm_load_si128(p), b = _mm_load_si128(p + 1), c = _mm_load_si128(p + 2);
        __m128i r8[2], g8[2], b8[2], l[2];
        gather3High<0>(a, b, c, r8[0], r8[1]);
        gather3High<1>(a, b, c, g8[0], g8[1]);
        gather3High<2>(a, b, c, b8[0], b8[1]);
        for (int h = 0; h < 2; ++h)
            l[h] = yuv::roundedLuma_v<yuv::kQ14>(_mm_srli_epi16(r8[h], 1), _mm_srli_epi16(g8[h], 1),
                                                _mm_srli_epi16(b8[h], 1));
        storeu(y + x, _mm_packus_epi16(yuv::roundedY_v<yuv::kQ14>(l[0]), yuv::roundedY_v<yuv::kQ14>(l[1])));
        // a pair's means << 7: channel sums << 6, luma sum as it stands
        const __m128i sr = _mm_slli_epi16(_mm_hadd_epi16(_mm_srli_epi16(r8[0], 8), _mm_srli_epi16(r8[1], 8)), 6);
        const __m128i sb = _mm_slli_epi16(_mm_hadd_epi16(_mm_srli_epi16(b8[0], 8), _mm_srli_epi16(b8[1], 8)), 6);
        __m128i vu, vv;
        yuv::roundedChroma_v<yuv::kQ14>(sr, sb, _mm_hadd_epi16(l[0], l[1]), vu, vv);
        cel::simd::storeLow8(u + x / 2, _mm_packus_epi16(vu, vu));
        cel::simd::storeLow8(v + x / 2, _mm_packus_epi16(vv, vv));
    }
    encodeTail(C3Reader{src}, x, width, y, u, v);
}

// The choice of kernel is made once per call, and it can change the low bit.
void y8_myRGBToYUV422_8u_C3P3R(const uint8_t* src, int srcStep, uint8_t* const dst[3], const int dstStep[3], int width,
                               int height) {
    const bool al = cel::allAligned16(src, dst[0], dst[1], dst[2], srcStep, dstStep[0], dstStep[1], dstStep[2]);
    const auto kernel = al ? y8_inner_V8_RGBToYUV422_8u_C3P3R : y8_innerRGBToYUV422_8u_C3P3R;
    for (int j = 0; j < height; ++j)
        kernel(rowAt(src, j, srcStep), rowAt(dst[0], j, dstStep[0]), rowAt(dst[1], j, dstStep[1]),
               rowAt(dst[2], j, dstStep[2]), width);
}

// The contiguous image as one long row: the kernel once for the count
// rounded down to a multiple of 8, once more for the rest.
void y8_myRGBToYUV422_8u_C3P3(const uint8_t* src, uint8_t* const dst[3], int count) {
    const int n8 = count & ~7;
    y8_innerRGBToYUV422_8u_C3P3R(src, dst[0], dst[1], dst[2], n8);
    y8_innerRGBToYUV422_8u_C3P3R(src + 3 * n8, dst[0] + n8, dst[1] + n8 / 2, dst[2] + n8 / 2, count - n8);
}

void y8_innerRGBToYUV422_8u_P3R(const uint8_t* const s[3], uint8_t* y, uint8_t* u, uint8_t* v, int width) {
    int x = 0;
    // body: duplicated-byte pair form, 16 pixels
    for (; x + 16 <= width; x += 16) {
        const __m128i vr = loadu(s[0] + x), vg = loadu(s[1] + x), vb = loadu(s[2] + x);
        const __m128i r0 = yuv::dupBytesLo(vr), r1 = yuv::dupBytesHi(vr);
        const __m128i b0 = yuv::dupBytesLo(vb), b1 = yuv::dupBytesHi(vb);
        const __m128i l0 = yuv::dupLuma_v(r0, yuv::dupBytesLo(vg), b0);
        const __m128i l1 = yuv::dupLuma_v(r1, yuv::dupBytesHi(vg), b1);
        storeu(y + x, _mm_packus_epi16(_mm_srai_epi16(l0, 1), _mm_srai_epi16(l1, 1)));
        __m128i vu, vv;
        yuv::dupChroma_v(l0, l1, r0, r1, b0, b1, vu, vv);
        cel::simd::storeLow8(u + x / 2, _mm_packus_epi16(vu, vu));
        cel::simd::storeLow8(v + x / 2, _mm_packus_epi16(vv, vv));
    }
    const auto rgb = [s](int i, int (&p)[3]) {
        p[0] = s[0][i];
        p[1] = s[1][i];
        p[2] = s[2][i];
    };
    encodeTail(rgb, x, width, y, u, v);
}

void y8_myRGBToYUV422_8u_P3R(const uint8_t* const src[3], int srcStep, uint8_t* const dst[3], const int dstStep[3],
                             int width, int height) {
    for (int j = 0; j < height; ++j)
        y8_innerRGBToYUV422_8u_P3R(cel::planeRows<3>(src, j, srcStep).data(), rowAt(dst[0], j, dstStep[0]),
                                   rowAt(dst[1], j, dstStep[1]), rowAt(dst[2], j, dstStep[2]), width);
}

void y8_myRGBToYUV422_8u_P3(const uint8_t* const src[3], uint8_t* const dst[3], int count) {
    const int n8 = count & ~7;
    y8_innerRGBToYUV422_8u_P3R(src, dst[0], dst[1], dst[2], n8);
    const uint8_t* rest[3] = {src[0] + n8, src[1] + n8, src[2] + n8};
    y8_innerRGBToYUV422_8u_P3R(rest, dst[0] + n8, dst[1] + n8 / 2, dst[2] + n8 / 2, count - n8);
}

// Long-row test of the contiguous encoders.
inline bool oneLongRow(CelSize s) {
    return static_cast<int64_t>(s.width) * s.height >= 256 && (s.width & 1) == 0;
}

// ---------------------------------------------------------------------------
// Decoders

// Rest of a row from x (even): scalar pairs with R and B rounded, the
// chroma terms once per pair; a lone last pixel takes its pair's chroma.
template <class Put>
void decodeTail(const uint8_t* y, const uint8_t* u, const uint8_t* v, int x, int width, Put put) {
    // tail: scalar pairs, R and B rounded
    for (; x < width; x += 2) {
        const yuv::InvTerms t = yuv::invTerms<yuv::kInvRounded>(u[x / 2], v[x / 2]);
        uint8_t r, g, b;
        yuv::invPixel(y[x], t, r, g, b);
        put(x, r, g, b);
        if (x + 1 < width) {
            yuv::invPixel(y[x + 1], t, r, g, b);
            put(x + 1, r, g, b);
        }
    }
}

template <int Ch, bool ZeroFourth = false>
struct PackedPut {
    uint8_t* d;
    void operator()(int i, uint8_t r, uint8_t g, uint8_t b) const {
        uint8_t* q = d + Ch * i;
        q[0] = r;
        q[1] = g;
        q[2] = b;
        if constexpr (ZeroFourth) q[3] = 0;
    }
};

struct PlanesPut {
    uint8_t* const* d;
    void operator()(int i, uint8_t r, uint8_t g, uint8_t b) const {
        d[0][i] = r;
        d[1][i] = g;
        d[2][i] = b;
    }
};

void y8_innerYUV422ToRGB_8u_C2C3R(const uint8_t* src, uint8_t* dst, int width) {
    const __m128i pickY = _mm_setr_epi8(0, 2, 4, 6, 8, 10, 12, 14, -1, -1, -1, -1, -1, -1, -1, -1);
    const __m128i pickU = _mm_setr_epi8(1, 5, 9, 13, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1);
    const __m128i pickV = _mm_setr_epi8(3, 7, 11, 15, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1);
    int x = 0;
    // body: doubled-luma form, 16 pixels
    for (; x + 16 <= width; x += 16) {
        const __m128i a = loadu(src + 2 * x), b = loadu(src + 2 * x + 16);
        const __m128i y = _mm_unpacklo_epi64(_mm_shuffle_epi8(a, pickY), _mm_shuffle_epi8(b, pickY));
        const __m128i u = _mm_unpacklo_epi32(_mm_shuffle_epi8(a, pickU), _mm_shuffle_epi8(b, pickU));
        const __m128i v = _mm_unpacklo_epi32(_mm_shuffle_epi8(a, pickV), _mm_shuffle_epi8(b, pickV));
        __m128i r, g, bl;
        yuv::doubledRow16_v<yuv::kDoubled>(y, yuv::doubledPaired_v<yuv::kDoubled>(u, v), r, g, bl);
        cel::simd::join3x16(dst + 3 * x, r, g, bl);
    }
    // tail: scalar pairs, R and B rounded
    for (; x + 2 <= width; x += 2) {
        const uint8_t* s = src + 2 * x;
        const yuv::InvTerms t = yuv::invTerms<yuv::kInvRounded>(s[1], s[3]);
        uint8_t* d = dst + 3 * x;
        yuv::invPixel(s[0], t, d[0], d[1], d[2]);
        yuv::invPixel(s[2], t, d[3], d[4], d[5]);
    }
    // A lone last pixel owns two bytes, Y and U, as the encoder writes it:
    // it takes the chroma of the last whole pair; alone in its row, its own
    // U with a neutral V.
    if (x < width) {
        const uint8_t* s = src + 2 * x;
        const yuv::InvTerms t = x >= 2 ? yuv::invTerms<yuv::kInvRounded>(s[-3], s[-1])
                                       : yuv::invTerms<yuv::kInvRounded>(s[1], 128);
        yuv::invPixel(s[0], t, dst[3 * x], dst[3 * x + 1], dst[3 * x + 2]);
    }
}

void y8_myYUV422ToRGB_8u_C2C3R(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep, int width, int height) {
    for (int j = 0; j < height; ++j)
        y8_innerYUV422ToRGB_8u_C2C3R(rowAt(src, j, srcStep), rowAt(dst, j, dstStep), width);
}

// Rows of the planar source: luma, U, V.
struct Rows422 {
    const uint8_t *y, *u, *v;
};

inline Rows422 rows422(const uint8_t* const src[3], const int srcStep[3], int j) {
    return {rowAt(src[0], j, srcStep[0]), rowAt(src[1], j, srcStep[1]), rowAt(src[2], j, srcStep[2])};
}

void y8_innerYUV422ToRGB_8u_P3C3R(Rows422 s, uint8_t* dst, int width) {
    int x = 0;
    // body: doubled-luma form, 16 pixels
    for (; x + 16 <= width; x += 16) {
        const __m128i u = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(s.u + x / 2));
        const __m128i v = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(s.v + x / 2));
        __m128i r, g, b;
        yuv::doubledRow16_v<yuv::kDoubled>(loadu(s.y + x), yuv::doubledPaired_v<yuv::kDoubled>(u, v), r, g, b);
        cel::simd::join3x16(dst + 3 * x, r, g, b);
    }
    decodeTail(s.y, s.u, s.v, x, width, PackedPut<3>{dst});
}

void y8_myYUV422ToRGB_8u_P3C3R(const uint8_t* const src[3], const int srcStep[3], uint8_t* dst, int dstStep, int width,
                               int height) {
    for (int j = 0; j < height; ++j) y8_innerYUV422ToRGB_8u_P3C3R(rows422(src, srcStep, j), rowAt(dst, j, dstStep), width);
}

void y8_innerYUV422ToRGB_8u_P3R(Rows422 s, uint8_t* const d[3], int width) {
    int x = 0;
    // body: doubled-luma form, 16 pixels
    for (; x + 16 <= width; x += 16) {
        const __m128i u = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(s.u + x / 2));
        const __m128i v = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(s.v + x / 2));
        __m128i r, g, b;
        yuv::doubledRow16_v<yuv::kDoubled>(loadu(s.y + x), yuv::doubledPaired_v<yuv::kDoubled>(u, v), r, g, b);
        storeu(d[0] + x, r);
        storeu(d[1] + x, g);
        storeu(d[2] + x, b);
    }
    decodeTail(s.y, s.u, s.v, x, width, PlanesPut{d});
}

void y8_myYUV422ToRGB_8u_P3R(const uint8_t* const src[3], const int srcStep[3], uint8_t* const dst[3], int dstStep,
                             int width, int height) {
    for (int j = 0; j < height; ++j)
        y8_innerYUV422ToRGB_8u_P3R(rows422(src, srcStep, j), cel::planeRows<3>(dst, j, dstStep).data(), width);
}

void y8_innerYUV422ToRGB_8u_P3AC4R(Rows422 s, uint8_t* dst, int width) {
    int x = 0;
    // body: sixteen-fold form, 16 pixels, fourth byte 0
    for (; x + 16 <= width; x += 16) {
        const __m128i u = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(s.u + x / 2));
        const __m128i v = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(s.v + x / 2));
        __m128i r, g, b;
        yuv::sixteenRow16_v(loadu(s.y + x), yuv::sixteenPaired_v(u, v), r, g, b);
        cel::simd::join4x16(dst + 4 * x, r, g, b, _mm_setzero_si128());
    }
    decodeTail(s.y, s.u, s.v, x, width, PackedPut<4, true>{dst});
}

void y8_myYUV422ToRGB_8u_P3AC4R(const uint8_t* const src[3], const int srcStep[3], uint8_t* dst, int dstStep,
                                int width, int height) {
    for (int j = 0; j < height; ++j)
        y8_innerYUV422ToRGB_8u_P3AC4R(rows422(src, srcStep, j), rowAt(dst, j, dstStep), width);
}

}  // namespace

// ---------------------------------------------------------------------------
// Tier functions

extern "C" CelStatus y8_celiRGBToYUV422_8u_C3C2R(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep,
                                                CelSize roiSize) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    y8_myRGBToYUV422_8u_C3C2R(src, srcStep, dst, dstStep, roiSize.width, roiSize.height);
    return celStatusOk;
}

extern "C" CelStatus y8_celiRGBToYUV422_8u_C3P3R(const uint8_t* src, int srcStep, uint8_t* dst[3], int dstStep[3],
                                                CelSize roiSize) {
    if (cel::anyNull(src, dst, dstStep)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    if (cel::anyPlaneNull(dst, 3)) return celStatusNullPointer;
    y8_myRGBToYUV422_8u_C3P3R(src, srcStep, dst, dstStep, roiSize.width, roiSize.height);
    return celStatusOk;
}

extern "C" CelStatus y8_celiRGBToYUV422_8u_C3P3(const uint8_t* src, uint8_t* dst[3], CelSize roiSize) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    if (cel::anyPlaneNull(dst, 3)) return celStatusNullPointer;
    if (oneLongRow(roiSize)) {
        y8_myRGBToYUV422_8u_C3P3(src, dst, roiSize.width * roiSize.height);
    } else {
        const int w = roiSize.width;
        y8_myRGBToYUV422_8u_C3P3R(src, cel::contiguousStep(w, 3), dst, steps422(w).data(), w, roiSize.height);
    }
    return celStatusOk;
}

extern "C" CelStatus y8_celiRGBToYUV422_8u_P3R(const uint8_t* const src[3], int srcStep, uint8_t* dst[3],
                                              int dstStep[3], CelSize roiSize) {
    if (cel::anyNull(src, dst, dstStep)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    if (cel::anyPlaneNull(src, 3) || cel::anyPlaneNull(dst, 3)) return celStatusNullPointer;
    y8_myRGBToYUV422_8u_P3R(src, srcStep, dst, dstStep, roiSize.width, roiSize.height);
    return celStatusOk;
}

extern "C" CelStatus y8_celiRGBToYUV422_8u_P3(const uint8_t* const src[3], uint8_t* dst[3], CelSize roiSize) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    if (cel::anyPlaneNull(src, 3) || cel::anyPlaneNull(dst, 3)) return celStatusNullPointer;
    if (oneLongRow(roiSize)) {
        y8_myRGBToYUV422_8u_P3(src, dst, roiSize.width * roiSize.height);
    } else {
        y8_myRGBToYUV422_8u_P3R(src, roiSize.width, dst, steps422(roiSize.width).data(), roiSize.width,
                                roiSize.height);
    }
    return celStatusOk;
}

extern "C" CelStatus y8_celiYUV422ToRGB_8u_C2C3R(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep,
                                                CelSize roiSize) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    y8_myYUV422ToRGB_8u_C2C3R(src, srcStep, dst, dstStep, roiSize.width, roiSize.height);
    return celStatusOk;
}

extern "C" CelStatus y8_celiYUV422ToRGB_8u_P3C3R(const uint8_t* const src[3], int srcStep[3], uint8_t* dst,
                                                int dstStep, CelSize roiSize) {
    if (cel::anyNull(src, srcStep, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    if (cel::anyPlaneNull(src, 3)) return celStatusNullPointer;
    y8_myYUV422ToRGB_8u_P3C3R(src, srcStep, dst, dstStep, roiSize.width, roiSize.height);
    return celStatusOk;
}

extern "C" CelStatus y8_celiYUV422ToRGB_8u_P3C3(const uint8_t* const src[3], uint8_t* dst, CelSize roiSize) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    if (cel::anyPlaneNull(src, 3)) return celStatusNullPointer;
    const int w = roiSize.width;
    y8_myYUV422ToRGB_8u_P3C3R(src, steps422(w).data(), dst, cel::contiguousStep(w, 3), w, roiSize.height);
    return celStatusOk;
}

extern "C" CelStatus y8_celiYUV422ToRGB_8u_P3R(const uint8_t* const src[3], int srcStep[3], uint8_t* dst[3],
                                              int dstStep, CelSize roiSize) {
    if (cel::anyNull(src, srcStep, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    if (cel::anyPlaneNull(src, 3) || cel::anyPlaneNull(dst, 3)) return celStatusNullPointer;
    y8_myYUV422ToRGB_8u_P3R(src, srcStep, dst, dstStep, roiSize.width, roiSize.height);
    return celStatusOk;
}

extern "C" CelStatus y8_celiYUV422ToRGB_8u_P3(const uint8_t* const src[3], uint8_t* dst[3], CelSize roiSize) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    if (cel::anyPlaneNull(src, 3) || cel::anyPlaneNull(dst, 3)) return celStatusNullPointer;
    const int w = roiSize.width;
    y8_myYUV422ToRGB_8u_P3R(src, steps422(w).data(), dst, w, w, roiSize.height);
    return celStatusOk;
}

extern "C" CelStatus y8_celiYUV422ToRGB_8u_P3AC4R(const uint8_t* const src[3], int srcStep[3], uint8_t* dst,
                                                 int dstStep, CelSize roiSize) {
    if (cel::anyNull(src, srcStep, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    if (cel::anyPlaneNull(src, 3)) return celStatusNullPointer;
    y8_myYUV422ToRGB_8u_P3AC4R(src, srcStep, dst, dstStep, roiSize.width, roiSize.height);
    return celStatusOk;
}
