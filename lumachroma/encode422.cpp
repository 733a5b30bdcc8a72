// RGB and BGR -> 4:2:2 YCbCr, packed (Y0 Cb Y1 Cr, Y0 Cr Y1 Cb, Cb Y0 Cr Y1)
// or planar.  One chroma pair serves two horizontal neighbours.
//
//   export                            body (16, then 8 px)        tail
//   celiRGBToYC{bCr,rCb}422_8u_P3C2R  pair recipe, rounded lanes   scalar pairs, first group
//   celiRGBToYC{bCr,rCb}422_8u_C3C2R  pair recipe, rounded lanes   scalar pairs, first group
//   celiRGBToYCbCr422_8u_C3P3R        pair recipe, rounded lanes   scalar pairs, second group
//   celiBGRToYCbCr422_8u_{C3,AC4}*    pair recipe, rounded lanes   scalar pairs, second group
//   celiBGRToCbYCr422_8u_AC4C2R       unsigned-high                scalar pairs, Cr two below Cb
//   celiBGRToCbYCr422_709HDTV_8u_{C3,AC4}C2R  the same with the full-scale BT.709 set, bytes held in 1..254
//   celiRGBToCbYCr422_8u_C3C2R        filtered chroma 1/4 1/2 1/4   filtered scalar Q16 pairs
//   celiRGBToCbYCr422Gamma_8u_C3C2R   gamma table, Q15 multiply-add on 4 px, then a pair, then one pixel
//
// Pair chroma comes from the sums of the two pixels' channels, not from
// per-pixel chroma.  The first group of scalar pairs truncates the second
// luma of a pair (addend 16.0) while it rounds the first (16.5); chroma is
// 128.5 there and 128.125 in the second group.  The pair encoders leave the
// last pixel of an odd width alone; the filtered encoders write its Cb and Y.
// No warning exists in this family.
#include <smmintrin.h>

#include "frame/image.h"
#include "frame/simd.h"
#include "frame/status.h"
#include "frame/tier.h"
#include "lumachroma/encode_recipes.h"
#include "lumachroma/kernels422.h"
#include "tables/gamma.h"

namespace {

namespace enc = cel::enc;
namespace k = cel::k422;
using cel::rowAt;
using k::Order;

using FirstGroup = k::PairLane<enc::kPairFirstGroup>;
using SecondGroup = k::PairLane<enc::kPairSecondGroup>;
using CbFirstUHigh = k::PairUHigh<enc::kPairCbFirst>;
// BT.709 with full-scale luma: the same kernels with that set, every byte held in 1..254.
using CbFirstUHigh709Hdtv = k::PairUHigh<enc::kPairCbFirstFull, enc::kBlock709Hdtv>;

// ---- Row loops of the pair encoders -----------------------------------------------
template <class Rc, class In, Order O, bool Al = false>
void y8_myPairsToPacked(const In& first, int srcStep, uint8_t* dst, int dstStep, CelSize roi) {
    for (int j = 0; j < roi.height; ++j) {
        In in = first;
        in.s = rowAt(first.s, j, srcStep);
        k::innerEncode422<Rc>(in, k::PackedOut<O, Al>{rowAt(dst, j, dstStep)}, roi.width);
    }
}

template <class Rc, class In>
void y8_myPairsToPlanes(const uint8_t* src, int srcStep, uint8_t* const dst[3], const int dstStep[3], CelSize roi) {
    for (int j = 0; j < roi.height; ++j)
        k::innerEncode422<Rc>(In{rowAt(src, j, srcStep)},
                              k::PlanarYccOut{rowAt(dst[0], j, dstStep[0]), rowAt(dst[1], j, dstStep[1]),
                                              rowAt(dst[2], j, dstStep[2])},
                              roi.width);
}

template <Order O>
void y8_myRGBPlanesToPacked(const uint8_t* const src[3], int srcStep, uint8_t* dst, int dstStep, CelSize roi) {
    for (int j = 0; j < roi.height; ++j)
        k::innerEncode422<FirstGroup>(
            k::PlanarRgbIn{rowAt(src[0], j, srcStep), rowAt(src[1], j, srcStep), rowAt(src[2], j, srcStep)},
            k::PackedOut<O>{rowAt(dst, j, dstStep)}, roi.width);
}

// ---- Filtered chroma: Cb Y0 Cr Y1 from C3 RGB ---------------------------------------
// Even and odd pixels of eight lanes holding plain values: value << 7 each.
inline __m128i evenLanes7(__m128i v) { return _mm_slli_epi16(_mm_and_si128(v, _mm_set1_epi16(0xFF)), 7); }
inline __m128i oddLanes7(__m128i v) { return _mm_srli_epi16(_mm_and_si128(v, _mm_set1_epi16(-256)), 1); }

// Chroma of the pairs of one block from its even and odd terms; `carry`
// holds the previous block's last odd term in lane 0 and takes this block's.
// Lanes: the block's pairs (8, or 4 in the low lanes with Last = 3).
template <int Last>
inline __m128i filteredBlock(__m128i even, __m128i odd, __m128i& carry) {
    const __m128i left = _mm_or_si128(_mm_slli_si128(odd, 2), carry);
    carry = _mm_srli_si128(_mm_slli_si128(odd, 14 - 2 * Last), 14);
    return enc::filterChroma_v(left, even, odd);
}

void y8_innerRGBToCbYCr422_8u_C3C2R(const uint8_t* src, uint8_t* dst, int width) {
    const k::PackedOut<Order::CbYCr> out{dst};
    __m128i carryCb = _mm_setzero_si128(), carryCr = _mm_setzero_si128();
    int x = 0;
    // body: 8 pairs (16 pixels)
    for (; x + 16 <= width; x += 16) {
        __m128i r, g, b;
        cel::simd::split3x16(src + 3 * x, r, g, b);
        const __m128i y = _mm_packus_epi16(enc::lumaLane_v(k::lanes7Lo(r), k::lanes7Lo(g), k::lanes7Lo(b)),
                                           enc::lumaLane_v(k::lanes7Hi(r), k::lanes7Hi(g), k::lanes7Hi(b)));
        // pixel bytes as 16-bit lanes: the even pixel low, the odd one high
        __m128i eCb, eCr, oCb, oCr;
        enc::filterTerms_v<false>(evenLanes7(r), evenLanes7(g), evenLanes7(b), eCb, eCr);
        enc::filterTerms_v<true>(oddLanes7(r), oddLanes7(g), oddLanes7(b), oCb, oCr);
        const __m128i cb = filteredBlock<7>(eCb, oCb, carryCb), cr = filteredBlock<7>(eCr, oCr, carryCr);
        out.put16Pairs(x, y, _mm_packus_epi16(cb, cr));
    }
    // one group of 4 pairs when that bit of the pair count is set
    if (x + 8 <= width) {
        __m128i r8, g8, b8;
        cel::simd::split3x8High(src + 3 * x, r8, g8, b8);
        const __m128i yl = enc::lumaLane_v(_mm_srli_epi16(r8, 1), _mm_srli_epi16(g8, 1), _mm_srli_epi16(b8, 1));
        // plain values, two pixels a 32-bit lane, then even and odd pixels apart
        const auto part = [](__m128i v8, bool odd) {
            const __m128i v = _mm_srli_epi16(v8, 8);
            const __m128i h = odd ? _mm_srli_epi32(v, 16) : _mm_and_si128(v, _mm_set1_epi32(0xFFFF));
            return _mm_slli_epi16(_mm_packus_epi32(h, h), 7);
        };
        __m128i eCb, eCr, oCb, oCr;
        enc::filterTerms_v<false>(part(r8, false), part(g8, false), part(b8, false), eCb, eCr);
        enc::filterTerms_v<true>(part(r8, true), part(g8, true), part(b8, true), oCb, oCr);
        const __m128i cb = filteredBlock<3>(eCb, oCb, carryCb), cr = filteredBlock<3>(eCr, oCr, carryCr);
        out.put8(x, _mm_packus_epi16(yl, yl), _mm_packus_epi16(cb, cb), _mm_packus_epi16(cr, cr));
        x += 8;
    }
    // tail: scalar Q16 pairs; the vector carry enters << 9
    int cCb = static_cast<int16_t>(_mm_cvtsi128_si32(carryCb)) * (1 << enc::kFilterCarryShift);
    int cCr = static_cast<int16_t>(_mm_cvtsi128_si32(carryCr)) * (1 << enc::kFilterCarryShift);
    for (; x + 2 <= width; x += 2) {
        const uint8_t* s = src + 3 * x;
        const int eCb = enc::filterPCb_px(s[0], s[1], s[2]), oCb = enc::filterPCb_px(s[3], s[4], s[5]);
        const int eCr = enc::filterPCr_px(s[0], s[1], s[2]), oCr = enc::filterPCr_px(s[3], s[4], s[5]);
        out.put(x, enc::lumaQ16_px(s[0], s[1], s[2]), enc::lumaQ16_px(s[3], s[4], s[5]),
                enc::filterChroma_px(eCb, cCb, oCb), enc::filterChroma_px(eCr, cCr, oCr));
        cCb = oCb >> 2;
        cCr = oCr >> 2;
    }
    // an odd last pixel: Cb and Y by the single-pixel Q16 recipe, no carry
    if (x < width) {
        const uint8_t* s = src + 3 * x;
        uint8_t y, cb, crUnused;
        enc::rgbToYCbCrQ16_px(s[0], s[1], s[2], y, cb, crUnused);
        dst[2 * x] = cb;
        dst[2 * x + 1] = y;
    }
}

// ---- Gamma encoder: C3 RGB through the forward gamma table ---------------------------
// Table values of pixels x .. x + n - 1 (n <= 4) as (R, G) and (B, 0) lanes.
inline void gammaPixels(const uint8_t* s, int n, __m128i& rg, __m128i& b0) {
    const uint8_t* t = cel::_tableFwd8u;
    alignas(16) int16_t vrg[8] = {}, vb[8] = {};
    for (int i = 0; i < n; ++i) {
        vrg[2 * i] = t[s[3 * i]];
        vrg[2 * i + 1] = t[s[3 * i + 1]];
        vb[2 * i] = t[s[3 * i + 2]];
    }
    rg = _mm_load_si128(reinterpret_cast<const __m128i*>(vrg));
    b0 = _mm_load_si128(reinterpret_cast<const __m128i*>(vb));
}

// Cb Y0 Cr Y1 bytes of pairs from 32-bit luma lanes (pixels) and chroma
// lanes (pairs), saturated to 16 bits, then to bytes.
inline __m128i gammaMerge(__m128i y, __m128i cb, __m128i cr) {
    const __m128i y16 = _mm_packs_epi32(y, y);
    const __m128i c = _mm_unpacklo_epi32(cb, cr);  // Cb0 Cr0 Cb1 Cr1
    const __m128i c16 = _mm_packs_epi32(c, c);
    const __m128i m = _mm_unpacklo_epi16(c16, y16);  // Cb0 Y0 Cr0 Y1 Cb1 Y2 Cr1 Y3
    return _mm_packus_epi16(m, m);
}

void y8_myRGBToCbYCr422Gamma_8u_C3C2R(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep, CelSize roi) {
    const int width = roi.width;
    for (int j = 0; j < roi.height; ++j) {
        const uint8_t* s = rowAt(src, j, srcStep);
        uint8_t* d = rowAt(dst, j, dstStep);
        __m128i carryCb = _mm_setzero_si128(), carryCr = _mm_setzero_si128();  // lane 0
        int x = 0;
        // four pixels (two pairs) an iteration
        for (; x + 4 <= width; x += 4) {
            __m128i rg, b0, tcb, tcr;
            gammaPixels(s + 3 * x, 4, rg, b0);
            enc::gammaTerms_v(rg, b0, tcb, tcr);  // even, odd, even, odd
            const auto pairs = [](__m128i t, __m128i& carry) {
                const __m128i even = _mm_shuffle_epi32(t, _MM_SHUFFLE(2, 2, 2, 0));
                const __m128i odd = _mm_shuffle_epi32(t, _MM_SHUFFLE(3, 3, 3, 1));
                const __m128i left = _mm_blend_epi16(carry, _mm_slli_si128(odd, 4), 0xFC);
                carry = _mm_srli_si128(odd, 4);
                return enc::gammaChroma_v(left, even, odd);
            };
            const __m128i cb = pairs(tcb, carryCb), cr = pairs(tcr, carryCr);
            _mm_storel_epi64(reinterpret_cast<__m128i*>(d + 2 * x), gammaMerge(enc::gammaLuma_v(rg, b0), cb, cr));
        }
        // one more pair if bit 1 of the width is set; its odd pixel is the right term
        if (width & 2) {
            __m128i rg, b0, tcb, tcr;
            gammaPixels(s + 3 * x, 2, rg, b0);
            enc::gammaTerms_v(rg, b0, tcb, tcr);
            const __m128i cb = enc::gammaChroma_v(carryCb, tcb, _mm_srli_si128(tcb, 4));
            const __m128i cr = enc::gammaChroma_v(carryCr, tcr, _mm_srli_si128(tcr, 4));
            const int32_t v = _mm_cvtsi128_si32(gammaMerge(enc::gammaLuma_v(rg, b0), cb, cr));
            std::memcpy(d + 2 * x, &v, 4);
        }
        // one single pixel whenever the width isn't a multiple of 4.  The pair
        // above doesn't move the counter, so with a remainder of 2 this is
        // the pixel one past the row's end: 3 bytes read, 2 written beyond it.
        if (width & 3) {
            const int p = x + (width & 2);
            const uint8_t* t = cel::_tableFwd8u;
            uint8_t y, cb, crUnused;
            enc::rgbToYCbCrQ16_px(t[s[3 * p]], t[s[3 * p + 1]], t[s[3 * p + 2]], y, cb, crUnused);
            d[2 * p] = cb;
            d[2 * p + 1] = y;
        }
    }
}

// ---- Tier-function helpers -----------------------------------------------------------
template <class Rc, class In, Order O>
CelStatus tierToPacked(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep, CelSize roi, int minWidth) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roi, minWidth, 1)) return celStatusBadSize;
    y8_myPairsToPacked<Rc, In, O>(In{src}, srcStep, dst, dstStep, roi);
    return celStatusOk;
}

template <class Rc, class In>
CelStatus tierToPlanes(const uint8_t* src, int srcStep, uint8_t* dst[3], int dstStep[3], CelSize roi) {
    if (cel::anyNull(src, dst) || cel::anyPlaneNull(dst, 3)) return celStatusNullPointer;
    if (cel::sizeBelow(roi, 2, 1)) return celStatusBadSize;
    y8_myPairsToPlanes<Rc, In>(src, srcStep, dst, dstStep, roi);
    return celStatusOk;
}

// Plane pointers behind the sizes.
template <Order O>
CelStatus tierPlanesToPacked(const uint8_t* const src[3], int srcStep, uint8_t* dst, int dstStep, CelSize roi) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roi, 1, 1)) return celStatusBadSize;
    if (cel::anyPlaneNull(src, 3)) return celStatusNullPointer;
    y8_myRGBPlanesToPacked<O>(src, srcStep, dst, dstStep, roi);
    return celStatusOk;
}

using RgbC3 = k::InterleavedIn<3, false>;
using BgrC3 = k::InterleavedIn<3, true>;
using BgrC4 = k::InterleavedIn<4, true>;

// The aligned twin when both pointers and both steps are multiples of 16.
template <class Rc>
CelStatus tierCbFirstAC4(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep, CelSize roi) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roi, 1, 1)) return celStatusBadSize;
    if (cel::aligned16(src) && cel::aligned16(dst) && cel::aligned16(srcStep) && cel::aligned16(dstStep))
        y8_myPairsToPacked<Rc, k::InterleavedIn<4, true, true>, Order::CbYCr, true>({src}, srcStep, dst, dstStep, roi);
    else
        y8_myPairsToPacked<Rc, BgrC4, Order::CbYCr>({src}, srcStep, dst, dstStep, roi);
    return celStatusOk;
}

}  // namespace

// ---- Tier functions ------------------------------------------------------------------
extern "C" CelStatus y8_celiRGBToYCbCr422_8u_P3C2R(const uint8_t* const src[3], int srcStep, uint8_t* dst, int dstStep,
                                                  CelSize roiSize) {
    return tierPlanesToPacked<Order::YCbCr>(src, srcStep, dst, dstStep, roiSize);
}
extern "C" CelStatus y8_celiRGBToYCrCb422_8u_P3C2R(const uint8_t* const src[3], int srcStep, uint8_t* dst, int dstStep,
                                                  CelSize roiSize) {
    return tierPlanesToPacked<Order::YCrCb>(src, srcStep, dst, dstStep, roiSize);
}
extern "C" CelStatus y8_celiRGBToYCbCr422_8u_C3C2R(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep,
                                                  CelSize roiSize) {
    return tierToPacked<FirstGroup, RgbC3, Order::YCbCr>(src, srcStep, dst, dstStep, roiSize, 1);
}
extern "C" CelStatus y8_celiRGBToYCrCb422_8u_C3C2R(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep,
                                                  CelSize roiSize) {
    return tierToPacked<FirstGroup, RgbC3, Order::YCrCb>(src, srcStep, dst, dstStep, roiSize, 1);
}
extern "C" CelStatus y8_celiRGBToYCbCr422_8u_C3P3R(const uint8_t* src, int srcStep, uint8_t* dst[3], int dstStep[3],
                                                  CelSize roiSize) {
    return tierToPlanes<SecondGroup, RgbC3>(src, srcStep, dst, dstStep, roiSize);
}
extern "C" CelStatus y8_celiBGRToYCbCr422_8u_C3C2R(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep,
                                                  CelSize roiSize) {
    return tierToPacked<SecondGroup, BgrC3, Order::YCbCr>(src, srcStep, dst, dstStep, roiSize, 2);
}
extern "C" CelStatus y8_celiBGRToYCbCr422_8u_AC4C2R(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep,
                                                   CelSize roiSize) {
    return tierToPacked<SecondGroup, BgrC4, Order::YCbCr>(src, srcStep, dst, dstStep, roiSize, 2);
}
extern "C" CelStatus y8_celiBGRToYCbCr422_8u_C3P3R(const uint8_t* src, int srcStep, uint8_t* dst[3], int dstStep[3],
                                                  CelSize roiSize) {
    return tierToPlanes<SecondGroup, BgrC3>(src, srcStep, dst, dstStep, roiSize);
}
extern "C" CelStatus y8_celiBGRToYCbCr422_8u_AC4P3R(const uint8_t* src, int srcStep, uint8_t* dst[3], int dstStep[3],
                                                   CelSize roiSize) {
    return tierToPlanes<SecondGroup, BgrC4>(src, srcStep, dst, dstStep, roiSize);
}

extern "C" CelStatus y8_celiRGBToCbYCr422_8u_C3C2R(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep,
                                                  CelSize roiSize) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    for (int j = 0; j < roiSize.height; ++j)
        y8_innerRGBToCbYCr422_8u_C3C2R(rowAt(src, j, srcStep), rowAt(dst, j, dstStep), roiSize.width);
    return celStatusOk;
}

extern "C" CelStatus y8_celiBGRToCbYCr422_8u_AC4C2R(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep,
                                                   CelSize roiSize) {
    return tierCbFirstAC4<CbFirstUHigh>(src, srcStep, dst, dstStep, roiSize);
}

// ---- BT.709, full-scale luma ------------------------------------------------------------
extern "C" CelStatus y8_celiBGRToCbYCr422_709HDTV_8u_C3C2R(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep,
                                                          CelSize roiSize) {
    return tierToPacked<CbFirstUHigh709Hdtv, BgrC3, Order::CbYCr>(src, srcStep, dst, dstStep, roiSize, 1);
}
extern "C" CelStatus y8_celiBGRToCbYCr422_709HDTV_8u_AC4C2R(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep,
                                                           CelSize roiSize) {
    return tierCbFirstAC4<CbFirstUHigh709Hdtv>(src, srcStep, dst, dstStep, roiSize);
}

extern "C" CelStatus y8_celiRGBToCbYCr422Gamma_8u_C3C2R(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep,
                                                       CelSize roiSize) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    y8_myRGBToCbYCr422Gamma_8u_C3C2R(src, srcStep, dst, dstStep, roiSize);
    return celStatusOk;
}
