// RGB <-> analogue-video YUV at 4:2:0: one U and one V per 2x2 block.
//
//   export                          body                                     tail
//   celiRGBToYUV420_8u_C3P3R        Q14 rounded-weight blocks, 8 then 4      scalar Q14 blocks
//                                   (aligned twin when all four pointers
//                                   and steps are multiples of 16)
//   celiRGBToYUV420_8u_P3R          none                                     scalar Q16 blocks
//   celiBGRToYUV420_8u_AC4P3R       Q14 rounded-weight blocks, 8             scalar Q14 blocks
//   celiYUV420ToRGB_8u_P3C3R        doubled-luma form, 8 chroma samples      the same arithmetic
//   celiYUV420ToBGR_8u_P3C3R        doubled-luma form (second set)           the same arithmetic
//   celiYUV420ToRGB_8u_P3R          none                                     scalar Q16 blocks, nothing rounded
//   celiYUV420ToRGB_8u_P3AC4R       sixteen-fold form, 8 chroma samples      scalar Q16 blocks; fourth byte 0
//
// Chroma of a block comes from the sums of its four samples, never from
// averaged per-pixel chroma.  Only whole blocks are read and written: the
// odd last column and row stay untouched and the function warns with
// celStatusOddSize (also when nothing could be done).  Forms without a
// trailing R derive their steps from the width: 3w, w, chroma w / 2.
#include <smmintrin.h>

#include <array>
#include <cstring>

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

inline void store4(uint8_t* p, __m128i v) {
    const int32_t w = _mm_cvtsi128_si32(v);
    std::memcpy(p, &w, 4);
}

// Plane steps of a contiguous 4:2:0 image: luma w, chroma w / 2.
inline std::array<int, 3> steps420(int w) { return {w, w / 2, w / 2}; }

inline CelStatus oddStatus(CelSize s) { return ((s.width | s.height) & 1) ? celStatusOddSize : celStatusOk; }

// ---------------------------------------------------------------------------
// Encoders

// Rows of one row pair and its chroma row.
struct Pair420 {
    const uint8_t *s0, *s1;
    uint8_t *y0, *y1, *u, *v;
};

// Sixteen pixels of both rows from byte vectors of R, G, B (c[row][0..2]):
// luma of both rows stored, chroma of the eight blocks returned.  Each
// channel's even and odd pixels become lanes of value << 6 (one byte
// multiply-add each) and take the doubled luma weights, the same products
// as on value << 7; Y = L >> 6 lies within 0..255, so the even and odd
// results join as the low and high bytes of a lane with no pack.  The
// block sums << 5 (the means << 7) come from the same lanes; the four
// lumas of a block are summed (the sum can pass 32767, the logical shift
// brings it back) and halved.
template <bool Al>
inline void q14Blocks8(const __m128i (&c)[2][3], uint8_t* y0, uint8_t* y1, __m128i& u, __m128i& v) {
    cel::simd::EvenOdd64 e[2][3];
    __m128i ls[2];
    for (int row = 0; row < 2; ++row) {
        for (int ch = 0; ch < 3; ++ch) e[row][ch] = cel::simd::evenOdd64(c[row][ch]);
        const __m128i le = yuv::roundedLuma_v<yuv::kQ14Doubled>(e[row][0].even, e[row][1].even, e[row][2].even);
        const __m128i lo = yuv::roundedLuma_v<yuv::kQ14Doubled>(e[row][0].odd, e[row][1].odd, e[row][2].odd);
        const __m128i y = cel::simd::joinEvenOdd(yuv::roundedY_v<yuv::kQ14>(le), yuv::roundedY_v<yuv::kQ14>(lo));
        uint8_t* dy = row ? y1 : y0;
        if constexpr (Al)
            _mm_store_si128(reinterpret_cast<__m128i*>(dy), y);
        else
            storeu(dy, y);
        ls[row] = _mm_add_epi16(le, lo);
    }
    const __m128i sl = _mm_srli_epi16(_mm_add_epi16(ls[0], ls[1]), 1);
    yuv::roundedChroma_v<yuv::kQ14>(cel::simd::blockSum5(e[0][0], e[1][0]), cel::simd::blockSum5(e[0][2], e[1][2]), sl,
                                    u, v);
}

// Eight pixels of both rows (four blocks).
inline void q14Blocks4(const __m128i (&r8)[2], const __m128i (&g8)[2], const __m128i (&b8)[2], uint8_t* y0, uint8_t* y1,
                       __m128i& u, __m128i& v) {
    __m128i l[2];
    for (int row = 0; row < 2; ++row) {
        l[row] = yuv::roundedLuma_v<yuv::kQ14>(_mm_srli_epi16(r8[row], 1), _mm_srli_epi16(g8[row], 1),
                                              _mm_srli_epi16(b8[row], 1));
        cel::simd::storePacked8(row ? y1 : y0, yuv::roundedY_v<yuv::kQ14>(l[row]));
    }
    const auto sum4 = [](const __m128i (&c)[2]) {
        const __m128i s = _mm_add_epi16(_mm_srli_epi16(c[0], 8), _mm_srli_epi16(c[1], 8));
        return _mm_slli_epi16(_mm_hadd_epi16(s, s), 5);
    };
    const __m128i ls = _mm_add_epi16(l[0], l[1]);
    yuv::roundedChroma_v<yuv::kQ14>(sum4(r8), sum4(b8), _mm_srli_epi16(_mm_hadd_epi16(ls, ls), 1), u, v);
}

// Blocks from i to n by the scalar Q14 block recipe; Ch bytes a pixel, R at ir, B at ib.
template <int Ch, int IR, int IB>
void q14BlockTail(const Pair420& p, int i, int n) {
    // tail: scalar Q14 blocks
    for (; i < n; ++i) {
        int sum[3] = {0, 0, 0};
        for (int row = 0; row < 2; ++row)
            for (int k = 0; k < 2; ++k) {
                const int x = 2 * i + k;
                const uint8_t* s = (row ? p.s1 : p.s0) + Ch * x;
                (row ? p.y1 : p.y0)[x] = yuv::q14Luma_px(s[IR], s[1], s[IB]);
                sum[0] += s[IR];
                sum[1] += s[1];
                sum[2] += s[IB];
            }
        yuv::q14Block_px(sum[0], sum[1], sum[2], p.u[i], p.v[i]);
    }
}

// n blocks of a row pair; the aligned twin takes aligned loads and luma stores.
template <bool Al>
void rgbToYuv420Row(const Pair420& p, int n) {
    int i = 0;
    // body: Q14 rounded-weight block recipe, 8 blocks
    for (; i + 8 <= n; i += 8) {
        __m128i c[2][3], u, v;
        for (int row = 0; row < 2; ++row) {
            const uint8_t* s = (row ? p.s1 : p.s0) + 6 * i;
            if constexpr (Al) {
                const __m128i* q = reinterpret_cast<const __m128i*>(s);
                const __m128i a = _mm_load_si128(q), b = _mm_load_si128(q + 1), d = _mm_load_si128(q + 2);
                c[row][0] = cel::simd::gather3<0>(a, b, d);
                c[row][1] = cel::simd::gather3<1>(a, b, d);
                c[row][2] = cel::simd::gather3<2>(a, b, d);
            } else {
                cel::simd::split3x16(s, c[row][0], c[row][1], c[row][2]);
            }
        }
        q14Blocks8<Al>(c, p.y0 + 2 * i, p.y1 + 2 * i, u, v);
        cel::simd::storeLow8(p.u + i, _mm_packus_epi16(u, u));
        cel::simd::storeLow8(p.v + i, _mm_packus_epi16(v, v));
    }
    // body: one group of 4 blocks
    if (i + 4 <= n) {
        __m128i r8[2], g8[2], b8[2], u, v;
        for (int row = 0; row < 2; ++row)
            cel::simd::split3x8High((row ? p.s1 : p.s0) + 6 * i, r8[row], g8[row], b8[row]);
        q14Blocks4(r8, g8, b8, p.y0 + 2 * i, p.y1 + 2 * i, u, v);
        store4(p.u + i, _mm_packus_epi16(u, u));
        store4(p.v + i, _mm_packus_epi16(v, v));
        i += 4;
    }
    q14BlockTail<3, 0, 2>(p, i, n);
}

void y8_innerRGBToYUV420_8u_C3P3R(const Pair420& p, int n) { rgbToYuv420Row<false>(p, n); }
void y8_innerAlRGBToYUV420_8u_C3P3R(const Pair420& p, int n) { rgbToYuv420Row<true>(p, n); }

inline Pair420 pairAt(const uint8_t* src, int srcStep, uint8_t* const dst[3], const int dstStep[3], int j) {
    return {rowAt(src, 2 * j, srcStep),           rowAt(src, 2 * j + 1, srcStep),
            rowAt(dst[0], 2 * j, dstStep[0]),     rowAt(dst[0], 2 * j + 1, dstStep[0]),
            rowAt(dst[1], j, dstStep[1]),         rowAt(dst[2], j, dstStep[2])};
}

// Full width and height in; row pairs and blocks counted here.
void y8_myRGBToYUV420_8u_C3P3R(const uint8_t* src, int srcStep, uint8_t* const dst[3], const int dstStep[3], int width,
                               int height) {
    const bool al = cel::allAligned16(src, dst[0], dst[1], dst[2], srcStep, dstStep[0], dstStep[1], dstStep[2]);
    const auto kernel = al ? y8_innerAlRGBToYUV420_8u_C3P3R : y8_innerRGBToYUV420_8u_C3P3R;
    for (int j = 0; j < (height >> 1); ++j) kernel(pairAt(src, srcStep, dst, dstStep, j), width >> 1);
}

// Planar RGB: plain scalar Q16, luma truncated, chroma from the channel
// sums and the sum of the four luma values S.
void y8_innerRGBToYUV420_8u_P3R(const uint8_t* const s0[3], const uint8_t* const s1[3], uint8_t* y0, uint8_t* y1,
                                uint8_t* u, uint8_t* v, int n) {
    // every block: scalar Q16 block recipe
    for (int i = 0; i < n; ++i) {
        int sr = 0, sb = 0, t = 0;
        for (int row = 0; row < 2; ++row)
            for (int k = 0; k < 2; ++k) {
                const int x = 2 * i + k;
                const uint8_t* const* s = row ? s1 : s0;
                const int S = yuv::lumaSum_px(s[0][x], s[1][x], s[2][x]);
                (row ? y1 : y0)[x] = static_cast<uint8_t>(S >> 16);
                sr += s[0][x];
                sb += s[2][x];
                t += S;
            }
        yuv::q16Block_px(sr, sb, t, u[i], v[i]);
    }
}

void y8_myRGBToYUV420_8u_P3R(const uint8_t* const src[3], int srcStep, uint8_t* const dst[3], const int dstStep[3],
                             int width, int height) {
    using cel::planeRows;
    for (int j = 0; j < (height >> 1); ++j)
        y8_innerRGBToYUV420_8u_P3R(planeRows<3>(src, 2 * j, srcStep).data(),
                                   planeRows<3>(src, 2 * j + 1, srcStep).data(), rowAt(dst[0], 2 * j, dstStep[0]),
                                   rowAt(dst[0], 2 * j + 1, dstStep[0]), rowAt(dst[1], j, dstStep[1]),
                                   rowAt(dst[2], j, dstStep[2]), width >> 1);
}

// BGRA: alpha ignored; 16 pixels of both rows an iteration.
void y8_myBGRToYUV420_8u_AC4P3R(const uint8_t* src, int srcStep, uint8_t* const dst[3], const int dstStep[3], int width,
                                int height) {
    const int n = width >> 1;
    for (int j = 0; j < (height >> 1); ++j) {
        const Pair420 p = pairAt(src, srcStep, dst, dstStep, j);
        int i = 0;
        // body: Q14 rounded-weight block recipe, 8 blocks
        for (; i + 8 <= n; i += 8) {
            __m128i c[2][3], u, v;
            for (int row = 0; row < 2; ++row)
                cel::simd::split4x16((row ? p.s1 : p.s0) + 8 * i, c[row][2], c[row][1], c[row][0]);
            q14Blocks8<false>(c, p.y0 + 2 * i, p.y1 + 2 * i, u, v);
            cel::simd::storeLow8(p.u + i, _mm_packus_epi16(u, u));
            cel::simd::storeLow8(p.v + i, _mm_packus_epi16(v, v));
        }
        q14BlockTail<4, 2, 0>(p, i, n);
    }
}

// ---------------------------------------------------------------------------
// Decoders

struct Src420 {
    const uint8_t *y0, *y1, *u, *v;
};

inline Src420 srcPairAt(const uint8_t* const src[3], const int srcStep[3], int j) {
    return {rowAt(src[0], 2 * j, srcStep[0]), rowAt(src[0], 2 * j + 1, srcStep[0]), rowAt(src[1], j, srcStep[1]),
            rowAt(src[2], j, srcStep[2])};
}

// Eight chroma samples and 16 pixels of each row -> 48 bytes of each row.
template <const yuv::DoubledSet& S, bool Bgr>
inline void doubled8Samples(__m128i y0, __m128i y1, __m128i u, __m128i v, uint8_t* d0, uint8_t* d1) {
    const yuv::PairedTerms t = yuv::doubledPaired_v<S>(u, v);
    for (int row = 0; row < 2; ++row) {
        __m128i r, g, b;
        yuv::doubledRow16_v<S>(row ? y1 : y0, t, r, g, b);
        if (Bgr)
            cel::simd::join3x16(row ? d1 : d0, b, g, r);
        else
            cel::simd::join3x16(row ? d1 : d0, r, g, b);
    }
}

// n chroma samples of a row pair; the last n % 8 go through the same
// arithmetic on copies in a small buffer (no second recipe in this kernel).
template <const yuv::DoubledSet& S, bool Bgr>
void doubledRowPair(const Src420& s, uint8_t* d0, uint8_t* d1, int n) {
    int i = 0;
    // body: doubled-luma form, 8 chroma samples
    for (; i + 8 <= n; i += 8)
        doubled8Samples<S, Bgr>(loadu(s.y0 + 2 * i), loadu(s.y1 + 2 * i),
                                _mm_loadl_epi64(reinterpret_cast<const __m128i*>(s.u + i)),
                                _mm_loadl_epi64(reinterpret_cast<const __m128i*>(s.v + i)), d0 + 6 * i, d1 + 6 * i);
    // rest: the same doubled-luma arithmetic on a staged copy
    const int rest = n - i;
    if (rest > 0) {
        alignas(16) uint8_t y0[16] = {}, y1[16] = {}, u[16] = {}, v[16] = {}, o0[48], o1[48];
        std::memcpy(y0, s.y0 + 2 * i, 2 * rest);
        std::memcpy(y1, s.y1 + 2 * i, 2 * rest);
        std::memcpy(u, s.u + i, rest);
        std::memcpy(v, s.v + i, rest);
        doubled8Samples<S, Bgr>(loadu(y0), loadu(y1), loadu(u), loadu(v), o0, o1);
        std::memcpy(d0 + 6 * i, o0, 6 * rest);
        std::memcpy(d1 + 6 * i, o1, 6 * rest);
    }
}

void y8_inner_V8_YUV420ToRGB_8u_P3C3R(const Src420& s, uint8_t* d0, uint8_t* d1, int n) {
    doubledRowPair<yuv::kDoubled, false>(s, d0, d1, n);
}

void y8_myYUV420ToRGB_8u_P3C3R(const uint8_t* const src[3], const int srcStep[3], uint8_t* dst, int dstStep, int width,
                               int height) {
    for (int j = 0; j < (height >> 1); ++j)
        y8_inner_V8_YUV420ToRGB_8u_P3C3R(srcPairAt(src, srcStep, j), rowAt(dst, 2 * j, dstStep),
                                         rowAt(dst, 2 * j + 1, dstStep), width >> 1);
}

void y8_ownYUV420ToBGR_8u_P3C3R(const uint8_t* const src[3], const int srcStep[3], uint8_t* dst, int dstStep,
                                int width, int height) {
    for (int j = 0; j < (height >> 1); ++j)
        doubledRowPair<yuv::kDoubledBgr, true>(srcPairAt(src, srcStep, j), rowAt(dst, 2 * j, dstStep),
                                               rowAt(dst, 2 * j + 1, dstStep), width >> 1);
}

// Scalar block of the planar forms: the chroma terms once, four luma values.
template <class Put>
inline void scalarBlock(const Src420& s, int i, Put put) {
    const yuv::InvTerms t = yuv::invTerms<yuv::kInvBlock>(s.u[i], s.v[i]);
    for (int row = 0; row < 2; ++row)
        for (int k = 0; k < 2; ++k) {
            uint8_t r, g, b;
            yuv::invPixel((row ? s.y1 : s.y0)[2 * i + k], t, r, g, b);
            put(row, 2 * i + k, r, g, b);
        }
}

void y8_innerYUV420ToRGB_8u_P3R(const Src420& s, uint8_t* const d0[3], uint8_t* const d1[3], int n) {
    // every block: scalar Q16, nothing rounded
    for (int i = 0; i < n; ++i)
        scalarBlock(s, i, [&](int row, int x, uint8_t r, uint8_t g, uint8_t b) {
            uint8_t* const* d = row ? d1 : d0;
            d[0][x] = r;
            d[1][x] = g;
            d[2][x] = b;
        });
}

void y8_myYUV420ToRGB_8u_P3R(const uint8_t* const src[3], const int srcStep[3], uint8_t* const dst[3], int dstStep,
                             int width, int height) {
    using cel::planeRows;
    for (int j = 0; j < (height >> 1); ++j)
        y8_innerYUV420ToRGB_8u_P3R(srcPairAt(src, srcStep, j), planeRows<3>(dst, 2 * j, dstStep).data(),
                                   planeRows<3>(dst, 2 * j + 1, dstStep).data(), width >> 1);
}

void y8_innerYUV420ToRGB_8u_P3AC4R(const Src420& s, uint8_t* d0, uint8_t* d1, int n) {
    int i = 0;
    // body: sixteen-fold form, 8 chroma samples, fourth byte 0
    for (; i + 8 <= n; i += 8) {
        const yuv::PairedTerms t = yuv::sixteenPaired_v(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(s.u + i)),
                                                        _mm_loadl_epi64(reinterpret_cast<const __m128i*>(s.v + i)));
        for (int row = 0; row < 2; ++row) {
            __m128i r, g, b;
            yuv::sixteenRow16_v(loadu((row ? s.y1 : s.y0) + 2 * i), t, r, g, b);
            cel::simd::join4x16((row ? d1 : d0) + 8 * i, r, g, b, _mm_setzero_si128());
        }
    }
    // tail: scalar Q16 blocks, nothing rounded; fourth byte 0
    for (; i < n; ++i)
        scalarBlock(s, i, [&](int row, int x, uint8_t r, uint8_t g, uint8_t b) {
            uint8_t* q = (row ? d1 : d0) + 4 * x;
            q[0] = r;
            q[1] = g;
            q[2] = b;
            q[3] = 0;
        });
}

}  // namespace

// ---------------------------------------------------------------------------
// Tier functions: pointers, sizes, plane pointers; the warning after the work.

extern "C" CelStatus y8_celiRGBToYUV420_8u_C3P3R(const uint8_t* src, int srcStep, uint8_t* dst[3], int dstStep[3],
                                                CelSize roiSize) {
    if (cel::anyNull(src, dst, dstStep)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    if (cel::anyPlaneNull(dst, 3)) return celStatusNullPointer;
    y8_myRGBToYUV420_8u_C3P3R(src, srcStep, dst, dstStep, roiSize.width, roiSize.height);
    return oddStatus(roiSize);
}

extern "C" CelStatus y8_celiRGBToYUV420_8u_C3P3(const uint8_t* src, uint8_t* dst[3], CelSize roiSize) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    if (cel::anyPlaneNull(dst, 3)) return celStatusNullPointer;
    const int w = roiSize.width;
    y8_myRGBToYUV420_8u_C3P3R(src, cel::contiguousStep(w, 3), dst, steps420(w).data(), w, roiSize.height);
    return oddStatus(roiSize);
}

extern "C" CelStatus y8_celiRGBToYUV420_8u_P3R(const uint8_t* const src[3], int srcStep, uint8_t* dst[3],
                                              int dstStep[3], CelSize roiSize) {
    if (cel::anyNull(src, dst, dstStep)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    if (cel::anyPlaneNull(src, 3) || cel::anyPlaneNull(dst, 3)) return celStatusNullPointer;
    y8_myRGBToYUV420_8u_P3R(src, srcStep, dst, dstStep, roiSize.width, roiSize.height);
    return oddStatus(roiSize);
}

extern "C" CelStatus y8_celiRGBToYUV420_8u_P3(const uint8_t* const src[3], uint8_t* dst[3], CelSize roiSize) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    if (cel::anyPlaneNull(src, 3) || cel::anyPlaneNull(dst, 3)) return celStatusNullPointer;
    const int w = roiSize.width;
    y8_myRGBToYUV420_8u_P3R(src, w, dst, steps420(w).data(), w, roiSize.height);
    return oddStatus(roiSize);
}

extern "C" CelStatus y8_celiBGRToYUV420_8u_AC4P3R(const uint8_t* src, int srcStep, uint8_t* dst[3], int dstStep[3],
                                                 CelSize roiSize) {
    if (cel::anyNull(src, dst, dstStep)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    if (cel::anyPlaneNull(dst, 3)) return celStatusNullPointer;
    y8_myBGRToYUV420_8u_AC4P3R(src, srcStep, dst, dstStep, roiSize.width, roiSize.height);
    return oddStatus(roiSize);
}

extern "C" CelStatus y8_celiYUV420ToRGB_8u_P3C3R(const uint8_t* const src[3], int srcStep[3], uint8_t* dst,
                                                int dstStep, CelSize roiSize) {
    if (cel::anyNull(src, srcStep, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    if (cel::anyPlaneNull(src, 3)) return celStatusNullPointer;
    y8_myYUV420ToRGB_8u_P3C3R(src, srcStep, dst, dstStep, roiSize.width, roiSize.height);
    return oddStatus(roiSize);
}

extern "C" CelStatus y8_celiYUV420ToRGB_8u_P3C3(const uint8_t* const src[3], uint8_t* dst, CelSize roiSize) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    if (cel::anyPlaneNull(src, 3)) return celStatusNullPointer;
    const int w = roiSize.width;
    y8_myYUV420ToRGB_8u_P3C3R(src, steps420(w).data(), dst, cel::contiguousStep(w, 3), w, roiSize.height);
    return oddStatus(roiSize);
}

extern "C" CelStatus y8_celiYUV420ToRGB_8u_P3R(const uint8_t* const src[3], int srcStep[3], uint8_t* dst[3],
                                              int dstStep, CelSize roiSize) {
    if (cel::anyNull(src, srcStep, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    if (cel::anyPlaneNull(src, 3) || cel::anyPlaneNull(dst, 3)) return celStatusNullPointer;
    y8_myYUV420ToRGB_8u_P3R(src, srcStep, dst, dstStep, roiSize.width, roiSize.height);
    return oddStatus(roiSize);
}

extern "C" CelStatus y8_celiYUV420ToRGB_8u_P3(const uint8_t* const src[3], uint8_t* dst[3], CelSize roiSize) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    if (cel::anyPlaneNull(src, 3) || cel::anyPlaneNull(dst, 3)) return celStatusNullPointer;
    const int w = roiSize.width;
    y8_myYUV420ToRGB_8u_P3R(src, steps420(w).data(), dst, w, w, roiSize.height);
    return oddStatus(roiSize);
}

// Row-pair loop here; a height below 2 does nothing and warns.
extern "C" CelStatus y8_celiYUV420ToRGB_8u_P3AC4R(const uint8_t* const src[3], int srcStep[3], uint8_t* dst,
                                                 int dstStep, CelSize roiSize) {
    if (cel::anyNull(src, srcStep, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    if (cel::anyPlaneNull(src, 3)) return celStatusNullPointer;
    for (int j = 0; j < (roiSize.height >> 1); ++j)
        y8_innerYUV420ToRGB_8u_P3AC4R(srcPairAt(src, srcStep, j), rowAt(dst, 2 * j, dstStep),
                                      rowAt(dst, 2 * j + 1, dstStep), roiSize.width >> 1);
    return oddStatus(roiSize);
}

extern "C" CelStatus y8_celiYUV420ToBGR_8u_P3C3R(const uint8_t* const src[3], int srcStep[3], uint8_t* dst,
                                                int dstStep, CelSize roiSize) {
    if (cel::anyNull(src, srcStep, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 2, 2)) return celStatusBadSize;
    if (cel::anyPlaneNull(src, 3)) return celStatusNullPointer;
    y8_ownYUV420ToBGR_8u_P3C3R(src, srcStep, dst, dstStep, roiSize.width, roiSize.height);
    return oddStatus(roiSize);
}
