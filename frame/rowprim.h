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

// One row of bytes for the layout families (luma planes): 64-byte blocks,
// 16-byte pieces, then single bytes.  With `stream` set the 64-byte blocks
// are stored non-temporally once the destination is 16-byte aligned; the
// caller issues the store fence after its last row.
CEL_INTERNAL_FN void y8_ownccCopy_8u_C1_M7(const uint8_t* src, uint8_t* dst, int len, int stream);

namespace cel::rowprim {

// Size in bytes of the largest cache named by the four result words of the
// processor's descriptor query, or 0 when none of them is in the table.
int cacheSizeFromDescriptors(const uint32_t words[4]);

// The descriptor query on the running processor (0: unknown).
int lookupCacheSize();

}  // namespace cel::rowprim
