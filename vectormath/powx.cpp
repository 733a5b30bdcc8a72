// The vector power function y8_celsPowx_32f_A21 and the kernels it reaches.
//
// The entry checks its arguments and jumps through slot 0 (low accuracy) of
// the power table to own_cels_sPowx_Y8LAynn.  That kernel sets the control
// state, looks at the bits of the power and only then at the data:
//
//   power            work
//   +0, -0           1.0 everywhere, src not read
//   1                copy
//   2 .. 9           repeated float multiplication
//   -1               slot 0 of the Inv table
//   -2, -3, -4       multiplication, then slot 0 of the Inv table
//   0.5, -0.5, 1.5   slot 0 of the Sqrt, InvSqrt, Pow3o2 tables
//   anything else    the general path (powx_recipes.h)
//
// General path: a dst that is not 4-byte aligned, or a len below 16, takes
// the scalar loop; otherwise a scalar prologue brings dst to 16 bytes, the
// body does sixteen elements a turn, and a scalar loop ends the row.  Body
// and scalar loop give the same bits.  Elements that are not normal
// positive floats (zeros, denormals, negatives, infinities, NaN) go one by
// one to vspowx_cout_rare, which follows the usual rules of pow.
//
// Only slot 0 (LA) of each table is built: nothing in the library selects
// the HA or EP kernels.  Of the other vector-math operations only those
// the power table reaches exist here (Inv, Sqrt, InvSqrt, Pow3o2).
#include "vectormath/powx.h"

#include <smmintrin.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

#include "frame/rowprim.h"
#include "frame/status.h"
#include "vectormath/powx_recipes.h"

namespace {

using cel::vm::powNormal;
using cel::vm::powNormal4;

// ---- Error reporting ------------------------------------------------------------------
// Code 19: a result outside the function's domain (0 to a negative power,
// a negative base to a non-integer power).  The element keeps its computed
// result; nothing is recorded.
constexpr int kErrSing = 19;
inline void own_cels_sError(int /*code*/) {}

uint32_t bitsOf(float v) {
    uint32_t b;
    std::memcpy(&b, &v, 4);
    return b;
}

// ---- Rare values ---------------------------------------------------------------------------
// x^p for an x that is not a normal positive float, or any x when p is not
// finite.  p is never 0 here.
float vspowx_cout_rare(float x, float p) {
    const float inf = std::numeric_limits<float>::infinity();
    if (std::isnan(p)) return x == 1.0f ? 1.0f : x + p;
    if (std::isnan(x)) return x + p;
    const float ax = std::fabs(x);
    if (std::isinf(p)) {
        if (ax == 1.0f) return 1.0f;
        return (ax > 1.0f) == (p > 0.0f) ? inf : 0.0f;
    }
    const bool pInteger = std::trunc(p) == p;
    const bool pOdd = pInteger && std::fabs(p) < 0x1p24f && (static_cast<int32_t>(p) & 1) != 0;
    const bool negate = std::signbit(x) && pOdd;
    if (ax == 0.0f) {
        if (p > 0.0f) return negate ? -0.0f : 0.0f;
        own_cels_sError(kErrSing);
        return negate ? -inf : inf;
    }
    if (std::isinf(ax)) {
        const float r = p > 0.0f ? inf : 0.0f;
        return negate ? -r : r;
    }
    if (x < 0.0f && !pInteger) {
        own_cels_sError(kErrSing);
        return std::numeric_limits<float>::quiet_NaN();
    }
    // a denormal is scaled by 2^24 (exactly) and the exponent takes it back
    const bool denormal = ax < 0x1p-126f;
    const float r = powNormal(bitsOf(denormal ? ax * 0x1p24f : ax), static_cast<double>(p), denormal ? 24 : 0);
    return negate ? -r : r;
}

// One element by the general path.
inline float powOne(float x, float p) {
    const uint32_t b = bitsOf(x);
    return cel::vm::isNormalPositive(b) ? powNormal(b, static_cast<double>(p)) : vspowx_cout_rare(x, p);
}

// Four elements by the general path; lanes that are not normal positive
// floats are redone one by one.
inline void powFour(const float* s, float* d, float p, __m128d pv) {
    const __m128 x = _mm_loadu_ps(s);
    const __m128i b = _mm_castps_si128(x);
    __m128 y = powNormal4(b, pv);
    const int rare = _mm_movemask_ps(_mm_castsi128_ps(cel::vm::notNormalPositive4(b)));
    if (rare != 0) {
        alignas(16) float xs[4], ys[4];
        _mm_store_ps(xs, x);
        _mm_store_ps(ys, y);
        for (int k = 0; k < 4; ++k)
            if (rare & (1 << k)) ys[k] = vspowx_cout_rare(xs[k], p);
        y = _mm_load_ps(ys);
    }
    _mm_store_ps(d, y);
}

__attribute__((noinline)) void powGeneral(const float* src, float* dst, int len, float p) {
    int i = 0;
    if ((reinterpret_cast<uintptr_t>(dst) & 3) == 0 && len >= 16) {
        const __m128d pv = _mm_set1_pd(static_cast<double>(p));
        // prologue: scalar up to a 16-byte aligned dst
        for (; i < len && (reinterpret_cast<uintptr_t>(dst + i) & 15) != 0; ++i) dst[i] = powOne(src[i], p);
        // body: sixteen elements, four vectors of the general recipe
        for (; i + 16 <= len; i += 16) {
            powFour(src + i, dst + i, p, pv);
            powFour(src + i + 4, dst + i + 4, p, pv);
            powFour(src + i + 8, dst + i + 8, p, pv);
            powFour(src + i + 12, dst + i + 12, p, pv);
        }
    }
    // scalar: the same recipe one element at a time
    for (; i < len; ++i) dst[i] = powOne(src[i], p);
}

// ---- The small kernels the power table reaches ------------------------------------------
// Each: a vector body of four and a scalar tail with the same operation.
template <class Vec, class One>
inline void unaryKernel(const float* src, float* dst, int len, Vec vec, One one) {
    int i = 0;
    for (; i + 4 <= len; i += 4) _mm_storeu_ps(dst + i, vec(_mm_loadu_ps(src + i)));
    for (; i < len; ++i) dst[i] = one(src[i]);
}

// Inv: 1 / x in float.
void own_cels_sInv_Y8LAynn(const float* src, float* dst, int len) {
    unaryKernel(src, dst, len, [](__m128 x) { return _mm_div_ps(_mm_set1_ps(1.0f), x); }, [](float x) { return 1.0f / x; });
}
// Sqrt: the float square root.
void own_cels_sSqrt_Y8LAynn(const float* src, float* dst, int len) {
    unaryKernel(src, dst, len, [](__m128 x) { return _mm_sqrt_ps(x); },
                [](float x) { return _mm_cvtss_f32(_mm_sqrt_ss(_mm_set_ss(x))); });
}
// A double operation on floats, rounded to float once (four lanes or one).
template <class Op>
void doubleKernel(const float* src, float* dst, int len, Op op) {
    unaryKernel(src, dst, len,
                [op](__m128 x) {
                    return _mm_movelh_ps(_mm_cvtpd_ps(op(_mm_cvtps_pd(x))), _mm_cvtpd_ps(op(_mm_cvtps_pd(_mm_movehl_ps(x, x)))));
                },
                [op](float x) { return _mm_cvtss_f32(_mm_cvtpd_ps(op(_mm_set_sd(static_cast<double>(x))))); });
}
// InvSqrt: 1 / sqrt(x) in double, rounded to float once.
void own_cels_sInvSqrt_Y8LAynn(const float* src, float* dst, int len) {
    doubleKernel(src, dst, len, [](__m128d x) { return _mm_div_pd(_mm_set1_pd(1.0), _mm_sqrt_pd(x)); });
}
// Pow3o2: x * sqrt(x) in double, rounded to float once.
void own_cels_sPow3o2_Y8LAynn(const float* src, float* dst, int len) {
    doubleKernel(src, dst, len, [](__m128d x) { return _mm_mul_pd(x, _mm_sqrt_pd(x)); });
}

// x^n, n = 1 .. 9, by repeated multiplication from the left.
void powByProducts(const float* src, float* dst, int len, int n) {
    unaryKernel(src, dst, len,
                [n](__m128 x) {
                    __m128 r = x;
                    for (int k = 1; k < n; ++k) r = _mm_mul_ps(r, x);
                    return r;
                },
                [n](float x) {
                    float r = x;
                    for (int k = 1; k < n; ++k) r = r * x;
                    return r;
                });
}

// ---- Kernel tables (slot 0: LA; HA and EP are not built) ---------------------------------
using UnaryKernel = void (*)(const float*, float*, int);
using PowKernel = void (*)(const float*, float*, int, float);

void own_cels_sPowx_Y8LAynn(const float* src, float* dst, int len, float power);

const UnaryKernel _own_cels_sInv_Y8_ttab[3] = {own_cels_sInv_Y8LAynn, nullptr, nullptr};
const UnaryKernel _own_cels_sSqrt_Y8_ttab[3] = {own_cels_sSqrt_Y8LAynn, nullptr, nullptr};
const UnaryKernel _own_cels_sInvSqrt_Y8_ttab[3] = {own_cels_sInvSqrt_Y8LAynn, nullptr, nullptr};
const UnaryKernel _own_cels_sPow3o2_Y8_ttab[3] = {own_cels_sPow3o2_Y8LAynn, nullptr, nullptr};
const PowKernel _own_cels_sPowx_Y8_ttab[3] = {own_cels_sPowx_Y8LAynn, nullptr, nullptr};

// Round to nearest, all exceptions masked, no flush to zero.
constexpr unsigned kMxcsrNearestMasked = 0x1F80;

__attribute__((noinline)) void powDispatch(const float* src, float* dst, int len, float power) {
    const uint32_t pb = bitsOf(power);
    if ((pb & 0x7FFFFFFFu) == 0) {
        y8_celsSet_32f(1.0f, dst, len);
    } else if (power == 1.0f) {
        if (src != dst) y8_celsCopy_32f(src, dst, len);
    } else if (power >= 2.0f && power <= 9.0f && power == std::trunc(power)) {
        powByProducts(src, dst, len, static_cast<int>(power));
    } else if (power == -1.0f) {
        _own_cels_sInv_Y8_ttab[0](src, dst, len);
    } else if (power >= -4.0f && power <= -2.0f && power == std::trunc(power)) {
        powByProducts(src, dst, len, static_cast<int>(-power));
        _own_cels_sInv_Y8_ttab[0](dst, dst, len);
    } else if (power == 0.5f) {
        _own_cels_sSqrt_Y8_ttab[0](src, dst, len);
    } else if (power == -0.5f) {
        _own_cels_sInvSqrt_Y8_ttab[0](src, dst, len);
    } else if (power == 1.5f) {
        _own_cels_sPow3o2_Y8_ttab[0](src, dst, len);
    } else if (!std::isfinite(power)) {
        for (int i = 0; i < len; ++i) dst[i] = vspowx_cout_rare(src[i], power);
    } else {
        powGeneral(src, dst, len, power);
    }
}

void own_cels_sPowx_Y8LAynn(const float* src, float* dst, int len, float power) {
    const unsigned caller = _mm_getcsr();
    _mm_setcsr(kMxcsrNearestMasked);
    powDispatch(src, dst, len, power);
    _mm_setcsr(caller);
}

}  // namespace

extern "C" CelStatus y8_celsPowx_32f_A21(const float* src, float* dst, int len, float power) {
    if (len < 1) return celStatusBadSize;
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    _own_cels_sPowx_Y8_ttab[0](src, dst, len, power);
    return celStatusOk;
}
