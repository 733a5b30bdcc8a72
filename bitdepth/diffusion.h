// Error diffusion for celiReduceBits_* (Floyd-Steinberg, Jarvis-Judice-Ninke,
// Stucki, each with and without noise), called by the frame in
// reduce_bits.cpp after its checks.  One instance per type form.
#pragma once

#include <cstdint>

#include "celcc.h"

namespace cel::rb {

// `channels`: channels worked on (1, 3, or 4; AC4 passes 3); `stride`:
// elements a pixel.  Steps are in bytes as the caller gave them.  Returns
// celStatusNullPointer for a null scratch before anything is written.
template <class S, class D>
CelStatus diffuse(const S* src, int srcStep, D* dst, int dstStep, CelSize roi, int noise, CelDitherMode mode,
                  float L, int channels, int stride, uint8_t* scratch);

}  // namespace cel::rb
