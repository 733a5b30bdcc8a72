// Whole-image reductions of one-channel float images: maximum, sum and
// mean.  Their only callers are the tone mapping functions (tonemap.cpp).
#include "bitdepth/reductions.h"

#include <smmintrin.h>

#include <cstdint>

#include "frame/image.h"
#include "frame/status.h"

namespace {

inline bool aligned16(const float* p) { return cel::aligned16(static_cast<const void*>(p)); }

// Two floats at p into the low lanes, the high lanes taken from `keep`.
inline __m128 loadPair(__m128 keep, const float* p) {
    return _mm_loadl_pi(keep, reinterpret_cast<const __m64*>(p));
}

// Folds one row into the two maximum accumulators: single samples up to a
// 16-byte boundary, then 8 a pass, then 4, 2 and 1.  The sample is always
// the later operand of the lane-wise maximum.
void y8_ownMaxRow_32f(const float* s, int width, __m128& a0, __m128& a1) {
    int x = 0;
    for (; x < width && !aligned16(s + x); ++x) a0 = _mm_max_ss(a0, _mm_load_ss(s + x));
    for (; x + 8 <= width; x += 8) {
        a0 = _mm_max_ps(a0, _mm_load_ps(s + x));
        a1 = _mm_max_ps(a1, _mm_load_ps(s + x + 4));
    }
    if (x + 4 <= width) {
        a0 = _mm_max_ps(a0, _mm_load_ps(s + x));
        x += 4;
    }
    if (x + 2 <= width) {
        a1 = _mm_max_ps(a1, loadPair(a1, s + x));
        x += 2;
    }
    if (x < width) a0 = _mm_max_ss(a0, _mm_load_ss(s + x));
}

// One row in single precision: single samples into lane 0 up to a 16-byte
// boundary, 16 a pass into four accumulators, 4 a pass into the first, the
// rest into its lane 0.  The accumulators are added as (a0 + a1) + (a2 + a3)
// and the four lanes folded to two floats (lanes 0 + 2, 1 + 3).
__m128d y8_ownpi_SumRow_32f(const float* s, int width) {
    __m128 a0 = _mm_setzero_ps(), a1 = a0, a2 = a0, a3 = a0;
    int x = 0;
    for (; x < width && !aligned16(s + x); ++x) a0 = _mm_add_ss(a0, _mm_load_ss(s + x));
    for (; x + 16 <= width; x += 16) {
        a0 = _mm_add_ps(a0, _mm_load_ps(s + x));
        a1 = _mm_add_ps(a1, _mm_load_ps(s + x + 4));
        a2 = _mm_add_ps(a2, _mm_load_ps(s + x + 8));
        a3 = _mm_add_ps(a3, _mm_load_ps(s + x + 12));
    }
    for (; x + 4 <= width; x += 4) a0 = _mm_add_ps(a0, _mm_load_ps(s + x));
    for (; x < width; ++x) a0 = _mm_add_ss(a0, _mm_load_ss(s + x));
    const __m128 a = _mm_add_ps(_mm_add_ps(a0, a1), _mm_add_ps(a2, a3));
    return _mm_cvtps_pd(_mm_add_ps(a, _mm_movehl_ps(a, a)));
}

// Fast sum: rows in single precision, their two folded lanes added to a
// two-lane 64-bit total; the result is the sum of its lanes.
double y8_ownpi_Sum_32f_C1R(const float* src, int srcStep, CelSize roi) {
    __m128d total = _mm_setzero_pd();
    for (int y = 0; y < roi.height; ++y) total = _mm_add_pd(total, y8_ownpi_SumRow_32f(cel::rowAt(src, y, srcStep), roi.width));
    return _mm_cvtsd_f64(_mm_add_sd(total, _mm_unpackhi_pd(total, total)));
}

// Accurate sum: every float widened, even columns in lane 0 and odd ones in
// lane 1 of one 64-bit accumulator that carries across rows, sixteen
// columns a group; the result is lane 0 + lane 1.
double y8_ownSumAccurate_32f_C1R(const float* src, int srcStep, CelSize roi) {
    __m128d acc = _mm_setzero_pd();
    const __m128 zero = _mm_setzero_ps();
    for (int y = 0; y < roi.height; ++y) {
        const float* s = cel::rowAt(src, y, srcStep);
        int x = 0;
        for (; x + 16 <= roi.width; x += 16)
            for (int k = 0; k < 16; k += 2) acc = _mm_add_pd(acc, _mm_cvtps_pd(loadPair(zero, s + x + k)));
        for (; x + 2 <= roi.width; x += 2) acc = _mm_add_pd(acc, _mm_cvtps_pd(loadPair(zero, s + x)));
        if (x < roi.width) acc = _mm_add_sd(acc, _mm_set_sd(static_cast<double>(s[x])));
    }
    return _mm_cvtsd_f64(_mm_add_sd(acc, _mm_unpackhi_pd(acc, acc)));
}

}  // namespace

extern "C" CelStatus y8_celiMax_32f_C1R(const float* src, int srcStep, CelSize roiSize, float* max) {
    if (cel::anyNull(src, max)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    __m128 a0 = _mm_set1_ps(-3.4028235e+38f), a1 = a0;
    for (int y = 0; y < roiSize.height; ++y) y8_ownMaxRow_32f(cel::rowAt(src, y, srcStep), roiSize.width, a0, a1);
    // lanes merged: the two accumulators, then high half into low, then lane 1 into lane 0
    __m128 m = _mm_max_ps(a0, a1);
    m = _mm_max_ps(m, _mm_movehl_ps(m, m));
    m = _mm_max_ss(m, _mm_shuffle_ps(m, m, _MM_SHUFFLE(1, 1, 1, 1)));
    *max = _mm_cvtss_f32(m);
    return celStatusOk;
}

extern "C" CelStatus y8_celiSum_32f_C1R(const float* src, int srcStep, CelSize roiSize, double* sum, int hint) {
    if (cel::anyNull(src, sum)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    *sum = hint == 2 ? y8_ownSumAccurate_32f_C1R(src, srcStep, roiSize) : y8_ownpi_Sum_32f_C1R(src, srcStep, roiSize);
    return celStatusOk;
}

extern "C" CelStatus y8_celiMean_32f_C1R(const float* src, int srcStep, CelSize roiSize, double* mean, int hint) {
    if (mean == nullptr) return celStatusNullPointer;
    double sum = 0.0;
    const CelStatus st = y8_celiSum_32f_C1R(src, srcStep, roiSize, &sum, hint);
    if (st != celStatusOk) return st;
    const int32_t count = static_cast<int32_t>(static_cast<uint32_t>(roiSize.width) * static_cast<uint32_t>(roiSize.height));
    *mean = sum / static_cast<double>(count);
    return celStatusOk;
}
