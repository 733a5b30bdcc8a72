// The vector power function: each element of a float vector raised to one
// fixed power.  Internal (no export); the float gamma forms call it.
#pragma once

#include "celcc.h"

// dst[i] = src[i]^power for i < len; dst may equal src.  Checks: len below
// 1 (celStatusBadSize), then a null pointer (celStatusNullPointer).  The
// floating-point control state is round-to-nearest with all exceptions
// masked for the duration of the call and the caller's on return.
extern "C" __attribute__((visibility("hidden"))) CelStatus y8_celsPowx_32f_A21(const float* src, float* dst, int len,
                                                                              float power);
