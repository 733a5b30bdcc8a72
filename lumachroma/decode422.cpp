// 4:2:2 YCbCr -> RGB and BGR: packed (Y0 Cb Y1 Cr, Y0 Cr Y1 Cb, Cb Y0 Cr Y1)
// or planar sources, C3, C4 (alphaValue) or planar destinations.  Chroma is
// replicated: both pixels of a pair use the pair's Cb and Cr.
//
//   export                              body recipe          per iteration    tail
//   celiYCbCr422To{RGB,BGR}_8u_C2C3R    narrow*              16, then 8 px    set A, rounded
//   celiCbYCr422ToRGB_8u_C2C3R          narrow*              16, then 8 px    set A, rounded
//   celiYCbCr422To{RGB,BGR}_8u_P3C3R    narrow               8, then 4 pairs  set B, rounded
//   celiYCbCr422ToRGB_8u_C2C4R          folded 4:2:2         16, then 8 px    set B, rounded
//   celiYCbCr422ToBGR_8u_C2C4R          truncating narrow*   16 px            set B, rounded
//   celiCbYCr422ToBGR_8u_C2C4R          wide* (aligned twin) 8 px             set A, rounded
//   celiYCrCb422To{RGB,BGR}_8u_C2C{3,4}R folded 4:2:2        16, then 8 px    set B, rounded
//   celiYC{bCr,rCb}422ToRGB_8u_C2P3R    plain                8 px             set B, rounded
//   celiCbYCr422ToBGR_709HDTV_8u_C2C3R  wide on Y * 16*      16, then 8 px    full-scale BT.709 set, rounded
//   celiCbYCr422ToBGR_709HDTV_8u_C2C4R  wide on Y * 16* (aligned twin)  8 px  full-scale BT.709 set, rounded
//
// * on paired lanes (dec::PairedForm): the bytes of four pairs as they lie,
//   each pair's chroma terms formed once side by side and spread over its
//   two pixels by byte shuffles; an 8-pixel body runs two groups at a time.
//
// An odd width decodes its last pixel with the chroma of its own pair; no
// warning exists in this family.
#include <smmintrin.h>

#include "frame/image.h"
#include "frame/status.h"
#include "frame/tier.h"
#include "lumachroma/decode_recipes.h"
#include "lumachroma/kernels422.h"

namespace {

namespace dec = cel::dec;
namespace k = cel::k422;
using cel::rowAt;
using dec::Clamp;
using k::Body;
using k::Order;

constexpr auto setARounded = dec::scalar_px<dec::kSetA, 32768, Clamp::Table>;
constexpr auto setBRounded = dec::scalar_px<dec::kSetB, 32768, Clamp::Table>;

// A recipe with its paired-lane form: the packed decoders' body on the bytes as they lie.
template <class Rc, class P>
struct WithPaired : Rc {
    using Paired = P;
};

// Chroma terms once a pair, duplicated to both pixels.
using NarrowA = WithPaired<dec::NarrowRecipe<true, dec::kNarrowY, dec::kNarrowCbB, setARounded>,
                           dec::NarrowPaired<true, dec::kNarrowY, dec::kNarrowCbB>>;
using NarrowB = dec::NarrowRecipe<true, dec::kNarrowY, dec::kNarrowCbB, setBRounded>;
using TruncB = WithPaired<dec::NarrowRecipe<false, dec::kTruncY, dec::kTruncCbB, setBRounded>,
                          dec::NarrowPaired<false, dec::kTruncY, dec::kTruncCbB>>;
using WideA = WithPaired<dec::WideRecipe<dec::kWide601, dec::kSetA>, dec::WidePaired<dec::kWide601>>;
using PlainB = dec::DiffRecipe<dec::plain_v, setBRounded>;
using Folded422 = dec::FoldedRecipe<dec::kFolded422, setBRounded>;
// BT.709, full-scale luma: the wide recipe on Y * 16 with that set, its scalar set rounded.
using Wide709Hdtv = WithPaired<dec::WideRecipe<dec::kWide709Hdtv, dec::kSet709Hdtv>, dec::WidePaired<dec::kWide709Hdtv>>;

// ---- Row loops ------------------------------------------------------------------------
template <class Rc, Body B, Order O, int Bytes, bool Bgr, bool Al = false>
void y8_myPackedToPixels(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep, CelSize roi, uint8_t alpha) {
    for (int j = 0; j < roi.height; ++j)
        k::innerDecode422<Rc, B>(k::PackedIn<O, Al>{rowAt(src, j, srcStep)},
                                 k::InterleavedOut<Bytes, Bgr, Al>{rowAt(dst, j, dstStep), alpha}, roi.width);
}

template <bool Bgr>
void y8_myPlanesToPixels(const uint8_t* const src[3], const int srcStep[3], uint8_t* dst, int dstStep, CelSize roi) {
    for (int j = 0; j < roi.height; ++j)
        k::innerDecode422<NarrowB, Body::SixteenThenEight>(
            k::PlanarIn{rowAt(src[0], j, srcStep[0]), rowAt(src[1], j, srcStep[1]), rowAt(src[2], j, srcStep[2])},
            k::InterleavedOut<3, Bgr>{rowAt(dst, j, dstStep), 0}, roi.width);
}

template <Order O>
void y8_myPackedToPlanes(const uint8_t* src, int srcStep, uint8_t* const dst[3], int dstStep, CelSize roi) {
    for (int j = 0; j < roi.height; ++j)
        k::innerDecode422<PlainB, Body::Eight>(
            k::PackedIn<O>{rowAt(src, j, srcStep)},
            k::PlanarRgbOut{rowAt(dst[0], j, dstStep), rowAt(dst[1], j, dstStep), rowAt(dst[2], j, dstStep)}, roi.width);
}

// ---- Tier-function helpers ------------------------------------------------------------
template <class Rc, Body B, Order O, int Bytes, bool Bgr>
CelStatus tierPacked(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep, CelSize roi, int minWidth,
                     uint8_t alpha = 0) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roi, minWidth, 1)) return celStatusBadSize;
    y8_myPackedToPixels<Rc, B, O, Bytes, Bgr>(src, srcStep, dst, dstStep, roi, alpha);
    return celStatusOk;
}

template <bool Bgr>
CelStatus tierPlanes(const uint8_t* const src[3], const int srcStep[3], uint8_t* dst, int dstStep, CelSize roi) {
    if (cel::anyNull(src, dst) || cel::anyPlaneNull(src, 3)) return celStatusNullPointer;
    if (cel::sizeBelow(roi, 2, 1)) return celStatusBadSize;
    y8_myPlanesToPixels<Bgr>(src, srcStep, dst, dstStep, roi);
    return celStatusOk;
}

// Plane pointers behind the sizes.
template <Order O>
CelStatus tierToPlanes(const uint8_t* src, int srcStep, uint8_t* dst[3], int dstStep, CelSize roi) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roi, 1, 1)) return celStatusBadSize;
    if (cel::anyPlaneNull(dst, 3)) return celStatusNullPointer;
    y8_myPackedToPlanes<O>(src, srcStep, dst, dstStep, roi);
    return celStatusOk;
}

// Cb-first to BGRA, 8 px: the aligned twin when both pointers and both steps
// are multiples of 16.
template <class Rc>
CelStatus tierCbFirstC4(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep, CelSize roi, uint8_t alpha) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roi, 1, 1)) return celStatusBadSize;
    if (cel::aligned16(src) && cel::aligned16(dst) && cel::aligned16(srcStep) && cel::aligned16(dstStep))
        y8_myPackedToPixels<Rc, Body::Eight, Order::CbYCr, 4, true, true>(src, srcStep, dst, dstStep, roi, alpha);
    else
        y8_myPackedToPixels<Rc, Body::Eight, Order::CbYCr, 4, true>(src, srcStep, dst, dstStep, roi, alpha);
    return celStatusOk;
}

}  // namespace

// ---- Tier functions ---------------------------------------------------------------------
#define CEL_C2_ARGS const uint8_t *src, int srcStep, uint8_t *dst, int dstStep, CelSize roiSize

extern "C" CelStatus y8_celiYCbCr422ToRGB_8u_C2C3R(CEL_C2_ARGS) {
    return tierPacked<NarrowA, Body::SixteenThenEight, Order::YCbCr, 3, false>(src, srcStep, dst, dstStep, roiSize, 1);
}
extern "C" CelStatus y8_celiYCbCr422ToBGR_8u_C2C3R(CEL_C2_ARGS) {
    return tierPacked<NarrowA, Body::SixteenThenEight, Order::YCbCr, 3, true>(src, srcStep, dst, dstStep, roiSize, 2);
}
extern "C" CelStatus y8_celiCbYCr422ToRGB_8u_C2C3R(CEL_C2_ARGS) {
    return tierPacked<NarrowA, Body::SixteenThenEight, Order::CbYCr, 3, false>(src, srcStep, dst, dstStep, roiSize, 1);
}
extern "C" CelStatus y8_celiYCbCr422ToRGB_8u_P3C3R(const uint8_t* const src[3], int srcStep[3], uint8_t* dst,
                                                  int dstStep, CelSize roiSize) {
    return tierPlanes<false>(src, srcStep, dst, dstStep, roiSize);
}
extern "C" CelStatus y8_celiYCbCr422ToBGR_8u_P3C3R(const uint8_t* const src[3], int srcStep[3], uint8_t* dst,
                                                  int dstStep, CelSize roiSize) {
    return tierPlanes<true>(src, srcStep, dst, dstStep, roiSize);
}
extern "C" CelStatus y8_celiYCbCr422ToRGB_8u_C2C4R(CEL_C2_ARGS, uint8_t alphaValue) {
    return tierPacked<Folded422, Body::SixteenThenEight, Order::YCbCr, 4, false>(src, srcStep, dst, dstStep, roiSize, 1,
                                                                                alphaValue);
}
extern "C" CelStatus y8_celiYCbCr422ToBGR_8u_C2C4R(CEL_C2_ARGS, uint8_t alphaValue) {
    return tierPacked<TruncB, Body::Sixteen, Order::YCbCr, 4, true>(src, srcStep, dst, dstStep, roiSize, 2, alphaValue);
}

extern "C" CelStatus y8_celiCbYCr422ToBGR_8u_C2C4R(CEL_C2_ARGS, uint8_t alphaValue) {
    return tierCbFirstC4<WideA>(src, srcStep, dst, dstStep, roiSize, alphaValue);
}

extern "C" CelStatus y8_celiYCrCb422ToRGB_8u_C2C3R(CEL_C2_ARGS) {
    return tierPacked<Folded422, Body::SixteenThenEight, Order::YCrCb, 3, false>(src, srcStep, dst, dstStep, roiSize, 1);
}
extern "C" CelStatus y8_celiYCrCb422ToBGR_8u_C2C3R(CEL_C2_ARGS) {
    return tierPacked<Folded422, Body::SixteenThenEight, Order::YCrCb, 3, true>(src, srcStep, dst, dstStep, roiSize, 1);
}
extern "C" CelStatus y8_celiYCrCb422ToRGB_8u_C2C4R(CEL_C2_ARGS, uint8_t alphaValue) {
    return tierPacked<Folded422, Body::SixteenThenEight, Order::YCrCb, 4, false>(src, srcStep, dst, dstStep, roiSize, 1,
                                                                                alphaValue);
}
extern "C" CelStatus y8_celiYCrCb422ToBGR_8u_C2C4R(CEL_C2_ARGS, uint8_t alphaValue) {
    return tierPacked<Folded422, Body::SixteenThenEight, Order::YCrCb, 4, true>(src, srcStep, dst, dstStep, roiSize, 1,
                                                                               alphaValue);
}
extern "C" CelStatus y8_celiYCbCr422ToRGB_8u_C2P3R(const uint8_t* src, int srcStep, uint8_t* dst[3], int dstStep,
                                                  CelSize roiSize) {
    return tierToPlanes<Order::YCbCr>(src, srcStep, dst, dstStep, roiSize);
}
extern "C" CelStatus y8_celiYCrCb422ToRGB_8u_C2P3R(const uint8_t* src, int srcStep, uint8_t* dst[3], int dstStep,
                                                  CelSize roiSize) {
    return tierToPlanes<Order::YCrCb>(src, srcStep, dst, dstStep, roiSize);
}

// ---- BT.709, full-scale luma (no 1..254 hold on decoding) ------------------------------
extern "C" CelStatus y8_celiCbYCr422ToBGR_709HDTV_8u_C2C3R(CEL_C2_ARGS) {
    return tierPacked<Wide709Hdtv, Body::SixteenThenEight, Order::CbYCr, 3, true>(src, srcStep, dst, dstStep, roiSize, 1);
}
extern "C" CelStatus y8_celiCbYCr422ToBGR_709HDTV_8u_C2C4R(CEL_C2_ARGS, uint8_t alphaValue) {
    return tierCbFirstC4<Wide709Hdtv>(src, srcStep, dst, dstStep, roiSize, alphaValue);
}

#undef CEL_C2_ARGS
