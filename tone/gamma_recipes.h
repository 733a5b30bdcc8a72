// Recipes of the float gamma forms: for each form the base u handed to the
// power kernel and the choice between the linear and the power branch, as
// scalar and vector twins (four floats; the same operations in the same
// order, so that body and tail give the same bits).
//
// x = s - vMin, range = vMax - vMin (float), r = 1 / range (float),
// D = 1 / double(range) (double), p = u^0.45 forward, u^2.2222223 inverse.
//
//   recipe     forms                    u                          linear when      linear   power
//   FwdPlain   Fwd C3R P3R IP3R         x                          x*range < .018   4.5x     (1.099p - .099)*range
//   FwdSub     Fwd C3IR                 x                          as FwdPlain, the result minus vMin
//   FwdAC4     Fwd AC4R                 x*r                        r*x < .018       4.5x     ((1.099p - .099)*range) + vMin
//   FwdAC4D    Fwd AC4IR                float(double x * D)        double x * D     4.5x     as FwdAC4
//                                                                  < double(.018f)
//   InvC3      Inv C3R                  (x*r + .099)*.9099181      x*r < .0812      x*.22222222   p
//   InvC3S     Inv C3IR                 as InvC3                   as InvC3         x*.22222222   p*range
//   InvP3      Inv P3R IP3R             float((double x * D + .099)*.9099181), in double      p
//   InvAC4     Inv AC4R AC4IR           as InvP3                   as InvP3         x*.22222222   p*range
//
// The AC4 recipes add vMin to their result (while storing); the others end
// with an add-constant pass over the row, except FwdSub, which has none.
// A NaN in the test takes the power branch (the comparisons are ordered).
#pragma once

#include <smmintrin.h>

#include <cstdint>

namespace cel::gamma {

// ---- Constants (32-bit floats) ------------------------------------------------------------
inline constexpr float kFwdPower = 0.45f;
inline constexpr float kInvPower = 2.2222223f;
inline constexpr float kGain = 1.099f;
inline constexpr float kOffset = 0.099f;
inline constexpr float kSlope = 4.5f;
inline constexpr float kBreak = 0.018f;
inline constexpr float kInvBreak = 0.0812f;
inline constexpr float kInvSlope = 0.22222222f;  // 1 / 4.5
inline constexpr float kInvGain = 0.9099181f;    // 1 / 1.099
static_assert(__builtin_bit_cast(uint32_t, kInvPower) == 0x400E38E4u);
static_assert(__builtin_bit_cast(uint32_t, kInvBreak) == 0x3DA64C30u);
static_assert(__builtin_bit_cast(uint32_t, kInvSlope) == 0x3E638E39u);
static_assert(__builtin_bit_cast(uint32_t, kInvGain) == 0x3F68F065u);

// Per-call values of a float form.
struct Range {
    float vMin, range, r;
    double D;
};
inline Range makeRange(float vMin, float vMax) {
    const float range = vMax - vMin;
    return {vMin, range, 1.0f / range, 1.0 / static_cast<double>(range)};
}

// ---- Vector helpers -------------------------------------------------------------------------
// Four floats as two pairs of doubles, and back.
inline __m128d lo2d(__m128 v) { return _mm_cvtps_pd(v); }
inline __m128d hi2d(__m128 v) { return _mm_cvtps_pd(_mm_movehl_ps(v, v)); }
inline __m128 join2f(__m128d lo, __m128d hi) { return _mm_movelh_ps(_mm_cvtpd_ps(lo), _mm_cvtpd_ps(hi)); }
// Two double masks as one float mask of four lanes.
inline __m128 joinMask(__m128d lo, __m128d hi) {
    return _mm_shuffle_ps(_mm_castpd_ps(lo), _mm_castpd_ps(hi), _MM_SHUFFLE(2, 0, 2, 0));
}
inline __m128 select(__m128 linearMask, __m128 linear, __m128 power) { return _mm_blendv_ps(power, linear, linearMask); }
inline __m128 splat(float v) { return _mm_set1_ps(v); }

// ---- Shared pieces --------------------------------------------------------------------------
// 1.099 p - 0.099
inline float curve(float p) { return kGain * p - kOffset; }
inline __m128 curve(__m128 p) { return _mm_sub_ps(_mm_mul_ps(splat(kGain), p), splat(kOffset)); }

// The double test and base of the D forms: v = double x * D.
inline __m128 belowD(__m128 x, const Range& c, float limit) {
    const __m128d D = _mm_set1_pd(c.D), l = _mm_set1_pd(static_cast<double>(limit));
    return joinMask(_mm_cmplt_pd(_mm_mul_pd(lo2d(x), D), l), _mm_cmplt_pd(_mm_mul_pd(hi2d(x), D), l));
}
inline bool belowD(float x, const Range& c, float limit) {
    return static_cast<double>(x) * c.D < static_cast<double>(limit);
}
// float((double x * D + double 0.099) * double 0.9099181)
inline __m128d invBaseD2(__m128d x, const Range& c) {
    return _mm_mul_pd(_mm_add_pd(_mm_mul_pd(x, _mm_set1_pd(c.D)), _mm_set1_pd(static_cast<double>(kOffset))),
                      _mm_set1_pd(static_cast<double>(kInvGain)));
}
inline __m128 invBaseD(__m128 x, const Range& c) { return join2f(invBaseD2(lo2d(x), c), invBaseD2(hi2d(x), c)); }
inline float invBaseD(float x, const Range& c) {
    return static_cast<float>((static_cast<double>(x) * c.D + static_cast<double>(kOffset)) *
                              static_cast<double>(kInvGain));
}

// ---- The recipes -------------------------------------------------------------------------------
// Each: kPower, kUIsX (the base is x itself), kAddPass (a final add of
// vMin over the row), u(x), out(x, p) in scalar and vector form.

struct FwdPlain {
    static constexpr bool kUIsX = true, kAddPass = true;
    static constexpr float kPower = kFwdPower;
    static float u(float x, const Range&) { return x; }
    static __m128 u(__m128 x, const Range&) { return x; }
    static float out(float x, float p, const Range& c) { return x * c.range < kBreak ? kSlope * x : curve(p) * c.range; }
    static __m128 out(__m128 x, __m128 p, const Range& c) {
        const __m128 R = splat(c.range);
        return select(_mm_cmplt_ps(_mm_mul_ps(x, R), splat(kBreak)), _mm_mul_ps(splat(kSlope), x), _mm_mul_ps(curve(p), R));
    }
};

struct FwdSub : FwdPlain {
    static constexpr bool kAddPass = false;
    static float out(float x, float p, const Range& c) { return FwdPlain::out(x, p, c) - c.vMin; }
    static __m128 out(__m128 x, __m128 p, const Range& c) { return _mm_sub_ps(FwdPlain::out(x, p, c), splat(c.vMin)); }
};

// Forward AC4: the power branch adds vMin before the store adds it again.
inline float fwdAC4Out(bool linear, float x, float p, const Range& c) {
    return (linear ? kSlope * x : curve(p) * c.range + c.vMin) + c.vMin;
}
inline __m128 fwdAC4Out(__m128 linear, __m128 x, __m128 p, const Range& c) {
    const __m128 v = splat(c.vMin);
    return _mm_add_ps(select(linear, _mm_mul_ps(splat(kSlope), x), _mm_add_ps(_mm_mul_ps(curve(p), splat(c.range)), v)), v);
}

struct FwdAC4 {
    static constexpr bool kUIsX = false, kAddPass = false;
    static constexpr float kPower = kFwdPower;
    static float u(float x, const Range& c) { return x * c.r; }
    static __m128 u(__m128 x, const Range& c) { return _mm_mul_ps(x, splat(c.r)); }
    static float out(float x, float p, const Range& c) { return fwdAC4Out(c.r * x < kBreak, x, p, c); }
    static __m128 out(__m128 x, __m128 p, const Range& c) {
        return fwdAC4Out(_mm_cmplt_ps(_mm_mul_ps(splat(c.r), x), splat(kBreak)), x, p, c);
    }
};

struct FwdAC4D {
    static constexpr bool kUIsX = false, kAddPass = false;
    static constexpr float kPower = kFwdPower;
    static float u(float x, const Range& c) { return static_cast<float>(static_cast<double>(x) * c.D); }
    static __m128 u(__m128 x, const Range& c) {
        const __m128d D = _mm_set1_pd(c.D);
        return join2f(_mm_mul_pd(lo2d(x), D), _mm_mul_pd(hi2d(x), D));
    }
    static float out(float x, float p, const Range& c) { return fwdAC4Out(belowD(x, c, kBreak), x, p, c); }
    static __m128 out(__m128 x, __m128 p, const Range& c) { return fwdAC4Out(belowD(x, c, kBreak), x, p, c); }
};

// Inverse C3: float base and test; the power branch scaled by the range or not.
template <bool Scaled>
struct InvC3Base {
    static constexpr bool kUIsX = false, kAddPass = true;
    static constexpr float kPower = kInvPower;
    static float u(float x, const Range& c) { return (x * c.r + kOffset) * kInvGain; }
    static __m128 u(__m128 x, const Range& c) {
        return _mm_mul_ps(_mm_add_ps(_mm_mul_ps(x, splat(c.r)), splat(kOffset)), splat(kInvGain));
    }
    static float out(float x, float p, const Range& c) {
        return x * c.r < kInvBreak ? x * kInvSlope : (Scaled ? p * c.range : p);
    }
    static __m128 out(__m128 x, __m128 p, const Range& c) {
        return select(_mm_cmplt_ps(_mm_mul_ps(x, splat(c.r)), splat(kInvBreak)), _mm_mul_ps(x, splat(kInvSlope)),
                      Scaled ? _mm_mul_ps(p, splat(c.range)) : p);
    }
};
using InvC3 = InvC3Base<false>;
using InvC3S = InvC3Base<true>;

// Inverse with the double base and test: planar (unscaled, add pass) and
// AC4 (scaled, vMin added while storing).
template <bool AC4>
struct InvDBase {
    static constexpr bool kUIsX = false, kAddPass = !AC4;
    static constexpr float kPower = kInvPower;
    static float u(float x, const Range& c) { return invBaseD(x, c); }
    static __m128 u(__m128 x, const Range& c) { return invBaseD(x, c); }
    static float out(float x, float p, const Range& c) {
        const float v = belowD(x, c, kInvBreak) ? x * kInvSlope : (AC4 ? p * c.range : p);
        return AC4 ? v + c.vMin : v;
    }
    static __m128 out(__m128 x, __m128 p, const Range& c) {
        const __m128 v = select(belowD(x, c, kInvBreak), _mm_mul_ps(x, splat(kInvSlope)),
                                AC4 ? _mm_mul_ps(p, splat(c.range)) : p);
        return AC4 ? _mm_add_ps(v, splat(c.vMin)) : v;
    }
};
using InvP3 = InvDBase<false>;
using InvAC4 = InvDBase<true>;

}  // namespace cel::gamma
