// Bulk copy and fill primitives for the image and vector functions that
// move or fill memory without arithmetic.  Not exported: reached under
// their y8_ names.  On large blocks they take the cache size into account
// and switch to non-temporal stores; the bytes never depend on the path.
#pragma once

#include <cstdint>

#include "celcc.h"

#define CEL_INTERNAL_FN extern "C" __attribute__((visibility("hidden")))

CEL_INTERNAL_FN CelStatus y8_celiCopy_8u_C1R(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep,
                                             CelSize roiSize);
CEL_INTERNAL_FN CelStatus y8_celiCopy_8u_C1R_L(const uint8_t* src, int64_t srcStep, uint8_t* dst, int64_t dstStep,
                                               int64_t width, int64_t height);
CEL_INTERNAL_FN CelStatus y8_celiSet_8u_C1R(uint8_t value, uint8_t* dst, int dstStep, CelSize roiSize);
CEL_INTERNAL_FN CelStatus y8_celsCopy_8u(const uint8_t* src, uint8_t* dst, int len);
CEL_INTERNAL_FN CelStatus y8_celsCopy_32s(const int32_t* src, int32_t* dst, int len);
CEL_INTERNAL_FN CelStatus y8_celsCopy_32f(const float* src, float* dst, int len);
CEL_INTERNAL_FN CelStatus y8_celsSet_32f(float value, float* dst, int len);
CEL_INTERNAL_FN CelStatus y8_celsAddC_32f(const float* src, float* dst, int len, float value);
CEL_INTERNAL_FN CelStatus y8_celsSubC_32f(const float* src, float* dst, int len, float value);

namespace cel::rowprim {

// Size in bytes of the largest cache named by the four result words of the
// processor's descriptor query, or 0 when none of them is in the table.
int cacheSizeFromDescriptors(const uint32_t words[4]);

// The descriptor query on the running processor (0: unknown).
int lookupCacheSize();

}  // namespace cel::rowprim
