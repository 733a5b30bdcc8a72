// Whole-image reductions of one-channel float images, called by the tone
// mapping functions.  Not exported: reached under their y8_ names.
#pragma once

#include "celcc.h"
#include "frame/rowprim.h"  // CEL_INTERNAL_FN

// Largest sample.  Two four-lane accumulators start at -FLT_MAX; a NaN
// sample stays only if it is the last one folded into its lane.
CEL_INTERNAL_FN CelStatus y8_celiMax_32f_C1R(const float* src, int srcStep, CelSize roiSize, float* max);
// Sum of the samples.  hint 2: every addition in 64 bits (even and odd
// columns apart, carried across rows); any other value: each row in
// single precision, rows added in 64 bits (rounding depends on alignment).
CEL_INTERNAL_FN CelStatus y8_celiSum_32f_C1R(const float* src, int srcStep, CelSize roiSize, double* sum, int hint);
// The sum divided by double(width * height), that product in 32 bits.
CEL_INTERNAL_FN CelStatus y8_celiMean_32f_C1R(const float* src, int srcStep, CelSize roiSize, double* mean, int hint);
