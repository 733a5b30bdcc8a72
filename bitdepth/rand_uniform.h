// The uniform pseudo-random source used by the noise forms of the bit-depth
// reduction family.  Internal: reached under its y8_ names only.
//
// A subtract-with-borrow generator on lags 2 and 3 summed with a linear
// congruential generator; the state lives in a 56-byte record owned by the
// caller, tagged with the form it was initialised for.
#pragma once

#include <cstdint>

#include "celcc.h"

namespace cel::rnd {

inline constexpr int32_t kTag16s = 36;
inline constexpr int32_t kTag32f = 37;

template <class Bound>
struct State {
    int32_t tag;
    uint32_t seed;
    Bound low, high;
    double mid;
    double scale;
    uint32_t a, b, c, d;
    int32_t carry;
};
using State16s = State<int16_t>;
using State32f = State<float>;
static_assert(sizeof(State16s) == 56 && sizeof(State32f) == 56);

}  // namespace cel::rnd

#define CEL_INTERNAL extern "C" __attribute__((visibility("hidden")))

CEL_INTERNAL CelStatus y8_celsRandUniformGetSize_16s(int* size);
CEL_INTERNAL CelStatus y8_celsRandUniformGetSize_32f(int* size);
CEL_INTERNAL CelStatus y8_celsRandUniformInit_16s(cel::rnd::State16s* state, int16_t low, int16_t high, uint32_t seed);
CEL_INTERNAL CelStatus y8_celsRandUniformInit_32f(cel::rnd::State32f* state, float low, float high, uint32_t seed);
CEL_INTERNAL CelStatus y8_celsRandUniform_16s(int16_t* dst, int len, cel::rnd::State16s* state);
CEL_INTERNAL CelStatus y8_celsRandUniform_32f(float* dst, int len, cel::rnd::State32f* state);
