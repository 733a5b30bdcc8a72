#include "bitdepth/rand_uniform.h"

#include <emmintrin.h>

namespace {

constexpr uint32_t kM = 69069;       // congruential multiplier
constexpr uint32_t kK = 1013904243;  // congruential increment
constexpr uint32_t kA0 = 1131199209;
constexpr double kTwoToMinus32 = 2.3283064365386963e-10;

template <class S>
void seedState(S* s, uint32_t seed) {
    s->seed = seed;
    s->a = kA0;
    s->b = seed;
    s->c = seed * kM + kK;
    s->d = s->c * kM + kK;
    s->carry = -1;
}

// One step of the generator; returns the value in 64-bit floating point.
template <class S>
inline double next(S& s) {
    const int32_t t = static_cast<int32_t>(static_cast<uint32_t>(s.carry) + s.c - s.d);
    uint32_t u;
    if (t < 0) {
        s.carry = -1;
        u = static_cast<uint32_t>(t) - 18u;
    } else {
        s.carry = 0;
        u = static_cast<uint32_t>(t);
    }
    s.d = s.c;
    s.c = s.b;
    s.b = u;
    s.a = s.a * kM + kK;
    const int32_t r = static_cast<int32_t>(u + s.a);
    return static_cast<double>(r) * s.scale + s.mid;
}

// Rounds to nearest in the current rounding mode.
inline int32_t roundCurrent(double v) { return _mm_cvtsd_si32(_mm_set_sd(v)); }

}  // namespace

extern "C" CelStatus y8_celsRandUniformGetSize_16s(int* size) {
    if (size == nullptr) return celStatusNullPointer;
    *size = static_cast<int>(sizeof(cel::rnd::State16s));
    return celStatusOk;
}

extern "C" CelStatus y8_celsRandUniformGetSize_32f(int* size) {
    if (size == nullptr) return celStatusNullPointer;
    *size = static_cast<int>(sizeof(cel::rnd::State32f));
    return celStatusOk;
}

extern "C" CelStatus y8_celsRandUniformInit_16s(cel::rnd::State16s* state, int16_t low, int16_t high, uint32_t seed) {
    if (state == nullptr) return celStatusNullPointer;
    state->tag = cel::rnd::kTag16s;
    state->low = low;
    state->high = high;
    state->mid = static_cast<double>(static_cast<int32_t>(low) + high) * 0.5;
    state->scale = static_cast<double>(static_cast<int32_t>(high) - low) * kTwoToMinus32;
    seedState(state, seed);
    return celStatusOk;
}

extern "C" CelStatus y8_celsRandUniformInit_32f(cel::rnd::State32f* state, float low, float high, uint32_t seed) {
    if (state == nullptr) return celStatusNullPointer;
    state->tag = cel::rnd::kTag32f;
    state->low = low;
    state->high = high;
    // single-precision sum and difference, widened before the multiplication
    state->mid = static_cast<double>(low + high) * 0.5;
    state->scale = static_cast<double>(high - low) * kTwoToMinus32;
    seedState(state, seed);
    return celStatusOk;
}

extern "C" CelStatus y8_celsRandUniform_16s(int16_t* dst, int len, cel::rnd::State16s* state) {
    if (dst == nullptr || state == nullptr) return celStatusNullPointer;
    if (len < 1) return celStatusBadSize;
    if (state->tag != cel::rnd::kTag16s) return celStatusBadContext;
    cel::rnd::State16s s = *state;
    for (int i = 0; i < len; ++i) dst[i] = static_cast<int16_t>(roundCurrent(next(s)));
    *state = s;
    return celStatusOk;
}

extern "C" CelStatus y8_celsRandUniform_32f(float* dst, int len, cel::rnd::State32f* state) {
    if (dst == nullptr || state == nullptr) return celStatusNullPointer;
    if (len < 1) return celStatusBadSize;
    if (state->tag != cel::rnd::kTag32f) return celStatusBadContext;
    cel::rnd::State32f s = *state;
    for (int i = 0; i < len; ++i) dst[i] = static_cast<float>(next(s));
    *state = s;
    return celStatusOk;
}
