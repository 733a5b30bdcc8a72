// Tone mapping of one-channel float images to bytes: a picture-wide scale
// is found from the image itself (its largest sample, or twice its mean),
// then every sample is multiplied by it.  Two passes over the source: the
// reduction (reductions.cpp), then the mapping.
//
// Linear maps the largest sample to 255 and stores the low byte of the
// truncated product without saturating; Mean maps twice the mean to 255 and
// saturates.  A scale base below zero is the warning
// celStatusToneMapNegative with nothing written; one not above the smallest
// normal float (NaN included) fills the region with 0.
#include <smmintrin.h>

#include <cstdint>

#include "bitdepth/reductions.h"
#include "bitdepth/tonemap_forms.h"
#include "frame/image.h"
#include "frame/rowprim.h"
#include "frame/status.h"
#include "frame/tier.h"

namespace {

constexpr float kSmallestNormal = 1.1754944e-38f;
constexpr double kSmallestNormal64 = 1.1754943508222875e-38;

// One row.  Without overlap and at least 7 samples wide: single samples up
// to a 16-byte boundary of dst, then 16 samples a pass (aligned loads where
// the source allows), then single samples.  Narrower rows, or rows whose
// source and destination bytes overlap, go two samples a pass.  Every route
// computes the same value per sample.
template <class R>
void y8_ownToneMap_32f8u_C1(const float* s, uint8_t* d, int width, float scale) {
    const uintptr_t sa = reinterpret_cast<uintptr_t>(s), da = reinterpret_cast<uintptr_t>(d);
    const bool overlap = sa < da + static_cast<uintptr_t>(width) && da < sa + 4 * static_cast<uintptr_t>(width);
    int x = 0;
    if (overlap || width < 7) {
        // pairs: both samples read before either byte is stored
        for (; x + 2 <= width; x += 2) {
            const uint8_t a = R::px(s[x], scale), b = R::px(s[x + 1], scale);
            d[x] = a;
            d[x + 1] = b;
        }
        if (x < width) d[x] = R::px(s[x], scale);
        return;
    }
    // head: single samples until dst is 16-byte aligned
    for (; x < width && !cel::aligned16(d + x); ++x) d[x] = R::px(s[x], scale);
    // body: 16 samples a pass
    const __m128 vscale = _mm_set1_ps(scale);
    __m128 v[4];
    if (cel::aligned16(s + x)) {
        for (; x + 16 <= width; x += 16) {
            for (int k = 0; k < 4; ++k) v[k] = _mm_load_ps(s + x + 4 * k);
            _mm_store_si128(reinterpret_cast<__m128i*>(d + x), R::v16(v, vscale));
        }
    } else {
        for (; x + 16 <= width; x += 16) {
            for (int k = 0; k < 4; ++k) v[k] = _mm_loadu_ps(s + x + 4 * k);
            _mm_store_si128(reinterpret_cast<__m128i*>(d + x), R::v16(v, vscale));
        }
    }
    // tail: single samples
    for (; x < width; ++x) d[x] = R::px(s[x], scale);
}

template <class R>
void y8_myToneMap_32f8u_C1R(const float* src, int srcStep, uint8_t* dst, int dstStep, CelSize roi, float scale) {
    for (int y = 0; y < roi.height; ++y)
        y8_ownToneMap_32f8u_C1<R>(cel::rowAt(src, y, srcStep), cel::rowAt(dst, y, dstStep), roi.width, scale);
}

// Scale 255 / max in single precision.
CelStatus y8_myToneMapLinear(const float* src, int srcStep, uint8_t* dst, int dstStep, CelSize roi) {
    float m = 0.0f;
    y8_celiMax_32f_C1R(src, srcStep, roi, &m);
    if (m < 0.0f) return celStatusToneMapNegative;
    if (!(m > kSmallestNormal)) return y8_celiSet_8u_C1R(0, dst, dstStep, roi);
    y8_myToneMap_32f8u_C1R<cel::tm::Linear>(src, srcStep, dst, dstStep, roi, 255.0f / m);
    return celStatusOk;
}

// Scale 255 / (mean + mean) in 64 bits, rounded to single precision.
CelStatus y8_myToneMapMean(const float* src, int srcStep, uint8_t* dst, int dstStep, CelSize roi) {
    double mean = 0.0;
    y8_celiMean_32f_C1R(src, srcStep, roi, &mean, 1);
    const double t = mean + mean;
    if (t < 0.0) return celStatusToneMapNegative;
    if (!(t > kSmallestNormal64)) {
        y8_celiSet_8u_C1R(0, dst, dstStep, roi);
        return celStatusOk;
    }
    y8_myToneMap_32f8u_C1R<cel::tm::Mean>(src, srcStep, dst, dstStep, roi, static_cast<float>(255.0 / t));
    return celStatusOk;
}

}  // namespace

extern "C" CelStatus y8_celiToneMapLinear_32f8u_C1R(const float* src, int srcStep, uint8_t* dst, int dstStep,
                                                    CelSize roiSize) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    return y8_myToneMapLinear(src, srcStep, dst, dstStep, roiSize);
}

extern "C" CelStatus y8_celiToneMapMean_32f8u_C1R(const float* src, int srcStep, uint8_t* dst, int dstStep,
                                                  CelSize roiSize) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    return y8_myToneMapMean(src, srcStep, dst, dstStep, roiSize);
}
