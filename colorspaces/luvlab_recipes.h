// Recipes of the LUV and interleaved Lab families, each written once for a
// scalar float (the tails) and for four float lanes (the bodies): the
// template parameter T is float or F4, and the two instantiations are the
// scalar and vector twins of one recipe.  Where body and tail differ (the
// reverse LUV's reciprocals, its 8u approximations, the zero tests of the
// forward tails) a template flag selects the variant; the kernels keep it.
#pragma once

#include <smmintrin.h>

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "colorspaces/d65.h"
#include "colorspaces/frame.h"

#include "tables/cbrt53.h"
#include "tables/pow_luv.h"

namespace cel::cs::ll {

using cel::cs::split8x4;
using cel::cs::join8x4;
using cel::cs::split16x4;
using cel::cs::join16x4;

// ---- Four float lanes with the float operators ------------------------------------
struct F4 {
    __m128 v;
    F4() = default;
    F4(__m128 x) : v(x) {}                     // NOLINT: lanes as they are
    F4(float f) : v(_mm_set1_ps(f)) {}         // NOLINT: a constant broadcast
};
inline F4 operator+(F4 a, F4 b) { return _mm_add_ps(a.v, b.v); }
inline F4 operator-(F4 a, F4 b) { return _mm_sub_ps(a.v, b.v); }
inline F4 operator*(F4 a, F4 b) { return _mm_mul_ps(a.v, b.v); }
inline F4 operator/(F4 a, F4 b) { return _mm_div_ps(a.v, b.v); }

inline bool le(float a, float b) { return a <= b; }
inline F4 le(F4 a, F4 b) { return _mm_cmple_ps(a.v, b.v); }
inline bool lt(float a, float b) { return a < b; }
inline F4 lt(F4 a, F4 b) { return _mm_cmplt_ps(a.v, b.v); }
inline bool ge(float a, float b) { return a >= b; }
inline F4 ge(F4 a, F4 b) { return _mm_cmpge_ps(a.v, b.v); }
inline float sel(bool m, float a, float b) { return m ? a : b; }
inline F4 sel(F4 m, F4 a, F4 b) { return _mm_blendv_ps(b.v, a.v, m.v); }
inline float absv(float a) { return _mm_cvtss_f32(_mm_andnot_ps(_mm_set_ss(-0.0f), _mm_set_ss(a))); }
inline F4 absv(F4 a) { return _mm_andnot_ps(_mm_set1_ps(-0.0f), a.v); }
// The processor's reciprocal approximation (the same table for one lane and four).
inline float rcp(float a) { return _mm_cvtss_f32(_mm_rcp_ss(_mm_set_ss(a))); }
inline F4 rcp(F4 a) { return _mm_rcp_ps(a.v); }

// ---- Cube root by table and series ------------------------------------------------
// Coefficients of the binomial series of (1 + d)^(1/3), term by term.
inline constexpr float kSeries[8] = {0.33333334f,   -0.11111111f,  0.061728396f, -0.041152265f,
                                     0.030178327f,  -0.023472032f, 0.01900117f,  -0.015834307f};
// The 8u LUV forms: four terms, the fourth taking the fifth's coefficient.
inline constexpr float kSeriesLuv8u[4] = {0.33333334f, -0.11111111f, 0.061728396f, -0.030178327f};

// Entry k = trunc(v * 127.99805).  The index is kept within the table: for
// v in 0..1 the clamp never acts; outside, it keeps the read inside.
inline int powIndex(float v) {
    const int k = _mm_cvttss_si32(_mm_set_ss(v * 127.99805f));
    return k < 0 ? 0 : (k > kPowLuvSize - 1 ? kPowLuvSize - 1 : k);
}
inline void powStart(float v, float& t, float& r) {
    const PowLuvEntry& e = _POW_LUV[powIndex(v)];
    t = e.t, r = e.r;
}
// Four lookups with scalar index extraction (there is no gather here).
inline void powStart(F4 v, F4& t, F4& r) {
    __m128i k = _mm_cvttps_epi32(_mm_mul_ps(v.v, _mm_set1_ps(127.99805f)));
    k = _mm_min_epi32(_mm_max_epi32(k, _mm_setzero_si128()), _mm_set1_epi32(kPowLuvSize - 1));
    const auto at = [](int i) { return reinterpret_cast<const __m64*>(&_POW_LUV[i]); };
    const __m128 p01 = _mm_loadh_pi(_mm_loadl_pi(_mm_setzero_ps(), at(_mm_cvtsi128_si32(k))), at(_mm_extract_epi32(k, 1)));
    const __m128 p23 = _mm_loadh_pi(_mm_loadl_pi(_mm_setzero_ps(), at(_mm_extract_epi32(k, 2))), at(_mm_extract_epi32(k, 3)));
    t = _mm_shuffle_ps(p01, p23, _MM_SHUFFLE(2, 0, 2, 0));
    r = _mm_shuffle_ps(p01, p23, _MM_SHUFFLE(3, 1, 3, 1));
}

// Four table entries from four byte indices in one 32-bit word, lowest first.
inline void powQuad(uint32_t k, F4& t, F4& r) {
    const auto at = [](uint32_t i) { return reinterpret_cast<const __m64*>(&_POW_LUV[i]); };
    const __m128 p01 = _mm_loadh_pi(_mm_loadl_pi(_mm_setzero_ps(), at(k & 0xFF)), at((k >> 8) & 0xFF));
    const __m128 p23 = _mm_loadh_pi(_mm_loadl_pi(_mm_setzero_ps(), at((k >> 16) & 0xFF)), at(k >> 24));
    t = _mm_shuffle_ps(p01, p23, _MM_SHUFFLE(2, 0, 2, 0));
    r = _mm_shuffle_ps(p01, p23, _MM_SHUFFLE(3, 1, 3, 1));
}

// The table indices of three cube roots over four lanes (Lab's x, y and z)
// as bytes x0..x3 y0..y3 z0..z3 (the top four 0): truncated as powIndex,
// then clamped together by saturating packs to bytes (negative to 0) and a
// byte minimum with the last entry, the same entries as powIndex.
inline __m128i powIndex3(F4 x, F4 y, F4 z) {
    static_assert(kPowLuvSize == 128, "indices are packed to bytes");
    const __m128 s = _mm_set1_ps(127.99805f);
    const __m128i kx = _mm_cvttps_epi32(_mm_mul_ps(x.v, s)), ky = _mm_cvttps_epi32(_mm_mul_ps(y.v, s));
    const __m128i kz = _mm_cvttps_epi32(_mm_mul_ps(z.v, s));
    return _mm_min_epu8(_mm_packus_epi16(_mm_packs_epi32(kx, ky), _mm_packs_epi32(kz, kz)), _mm_set1_epi8(kPowLuvSize - 1));
}
// Start values of the three from their packed indices, read out of general registers.
inline void powStart3(uint64_t kxy, uint32_t kz, F4 (&t)[3], F4 (&r)[3]) {
    powQuad(static_cast<uint32_t>(kxy), t[0], r[0]);
    powQuad(static_cast<uint32_t>(kxy >> 32), t[1], r[1]);
    powQuad(kz, t[2], r[2]);
}
inline void powStart3(F4 x, F4 y, F4 z, F4 (&t)[3], F4 (&r)[3]) {
    const __m128i k = powIndex3(x, y, z);
    powStart3(static_cast<uint64_t>(_mm_cvtsi128_si64(k)), static_cast<uint32_t>(_mm_extract_epi32(k, 2)), t, r);
}

// cbrt(v) = t * S(d), d = (v - t^3) * r, S = 1 + c0 d + c1 d^2 + ... (Terms terms after 1).
template <int Terms, class T>
inline T cbrtSeries(T v, T t, T r, const float* c) {
    const T d = (v - t * t * t) * r;
    T p = d, s = T(1.0f) + T(c[0]) * d;
    for (int i = 1; i < Terms; ++i) {
        p = p * d;
        s = s + T(c[i]) * p;
    }
    return t * s;
}
template <int Terms, class T>
inline T cbrtTab(T v, const float* c) {
    T t, r;
    powStart(v, t, r);
    return cbrtSeries<Terms>(v, t, r, c);
}

// ---- LUV --------------------------------------------------------------------------
// Forward from X, Y, Z.  Unnorm: the 16-bit forms' X, Y, Z on the 0..65535
// scale (Y break 580.378, Y scaled by 1/65535 for L).  The tails (Body
// false) zero u' and v' when Z (or D, Unnorm) is exactly 0; bodies do not.
template <bool Body, bool Unnorm, int Terms, class T>
inline void luvFwd(T X, T Y, T Z, const float* series, T& L, T& u, T& v) {
    const T yn = Unnorm ? Y * T(1.5259022e-5f) : Y;
    const T lin = yn * T(903.3f);
    const T cub = cbrtTab<Terms>(yn, series) * T(116.0f) - T(16.0f);
    L = sel(le(Y, T(Unnorm ? 580.378f : 0.008856f)), lin, cub);
    // 1/D by the reciprocal approximation and one Newton step, no division
    const T D = (Z * T(3.0f) + Y * T(15.0f)) + X;
    const T q = rcp(D);
    const T qn = (q + q) - (D * q) * q;
    T up = (X * T(4.0f)) * qn, vp = (Y * T(9.0f)) * qn;
    if constexpr (!Body) {
        if ((Unnorm ? D : Z) == 0.0f) up = vp = 0.0f;
    }
    const T l13 = L * T(13.0f);
    u = l13 * (up - T(0.197839f));
    v = l13 * (vp - T(0.468342f));
}

// Constants of a reverse form: white point, |v'| guard, full scale of Y.
struct LuvRevForm {
    float wu, wv, guard, scale;
};
inline constexpr LuvRevForm kLuvRev32f = {0.197839f, 0.468342f, 1.1920929e-7f, 1.0f};
inline constexpr LuvRevForm kLuvRev8u = {0.19783941f, 0.4683422f, 1.1920929e-5f, 255.0f};
inline constexpr LuvRevForm kLuvRev16 = {0.19783941f, 0.4683422f, 1.1920929e-5f, 65535.0f};

// Reverse to X, Y, Z (Y at the form's full scale).  Body: reciprocals of 116
// and 903.3 multiplied; tail: divisions.  Approx (the 8u body): 1/(13 L) and
// 1/v' by the reciprocal approximation alone.
template <bool Body, bool Approx, class T>
inline void luvRev(T L, T u, T v, const LuvRevForm& f, T& X, T& Y, T& Z) {
    T y;
    if constexpr (Body) {
        const T c = (L + T(16.0f)) * T(0.00862069f);
        y = sel(ge(L, T(7.9996247f)), c * c * c, L * T(0.001107052f));
    } else {
        const T c = (L + T(16.0f)) / T(116.0f);
        y = sel(ge(L, T(7.9996247f)), c * c * c, L / T(903.3f));
    }
    y = y * T(f.scale);
    const T a = L * T(13.0f);
    T up, vp;
    if constexpr (Approx) {
        const T ra = rcp(a);
        up = u * ra + T(f.wu), vp = v * ra + T(f.wv);
    } else {
        up = u / a + T(f.wu), vp = v / a + T(f.wv);
    }
    vp = sel(lt(absv(vp), T(f.guard)), vp + T(9e-5f), vp);  // keeps Y / v' finite
    const T e = Approx ? y * rcp(vp) : y / vp;
    X = (T(2.25f) * up) * e;
    Z = (T(3.0f) * e - T(5.0f) * y) - X / T(3.0f);
    Y = y;
}

// ---- Two double lanes (the 64f Lab forms) ---------------------------------------
struct D2 {
    __m128d v;
    D2() = default;
    D2(__m128d x) : v(x) {}                    // NOLINT: lanes as they are
    D2(double f) : v(_mm_set1_pd(f)) {}        // NOLINT: a constant broadcast
};
inline D2 operator+(D2 a, D2 b) { return _mm_add_pd(a.v, b.v); }
inline D2 operator-(D2 a, D2 b) { return _mm_sub_pd(a.v, b.v); }
inline D2 operator*(D2 a, D2 b) { return _mm_mul_pd(a.v, b.v); }
inline bool le(double a, double b) { return a <= b; }
inline D2 le(D2 a, D2 b) { return _mm_cmple_pd(a.v, b.v); }
inline double sel(bool m, double a, double b) { return m ? a : b; }
inline D2 sel(D2 m, D2 a, D2 b) { return _mm_blendv_pd(b.v, a.v, m.v); }

// Matrix rows, (first product + second product) + third product: float and
// four lanes as the D65 header; double and two lanes with the float matrix
// widened (the 64f forms).
using cel::cs::dot3;
inline F4 dot3(const float (&m)[3], F4 a, F4 b, F4 c) { return cel::cs::dot3(m, a.v, b.v, c.v); }
// The 64f forms: the float matrix widened, the same order of summation.
inline double dot3(const float (&m)[3], double a, double b, double c) {
    return (double(m[0]) * a + double(m[1]) * b) + double(m[2]) * c;
}
inline D2 dot3(const float (&m)[3], D2 a, D2 b, D2 c) {
    return (D2(double(m[0])) * a + D2(double(m[1])) * b) + D2(double(m[2])) * c;
}

// ---- Cube root to near double precision -------------------------------------------
// x = 2^(E - 1023) * m with m in [1, 2); k the top five bits of m's fraction,
// E = 3 e3 + e.  Then cbrt(x) = 2^(e3 - 341) * cbrt(2^e c) * (1 + d)^(1/3)
// with c = 1 + (2k + 1) / 64, d = m / c - 1 (|d| < 1/64), the cube root of
// 2^e c from the high and low tables and (1 + d)^(1/3) - 1 by eight terms
// of its binomial series.  Valid for normal positive x (and negative: the
// sign goes to the power of two); zero, subnormals, infinities and NaN give
// finite values of no meaning, which the Lab branch discards.
inline constexpr double kCbrt53Series[8] = {-0.01583430710088232, 0.019001168521058782, -0.023472031702484377,
                                            0.03017832647462277,  -0.0411522633744856,  0.06172839506172839,
                                            -0.1111111111111111,  0.3333333333333333};

// Veltkamp's split of a double into a high half of 26 bits and the rest
// (at most 26 bits with its sign): products of halves are exact.
template <class T>
inline T hiHalf(T v) {
    const T t = v * T(134217729.0);  // 2^27 + 1
    return t - (t - v);
}

// From the split: m the mantissa, q = -_s_dwRcp[k] = 1 / c, hi and lo the
// table's cube root of 2^e c, s the power of two with the sign.
template <class T>
inline T cbrt53Finish(T m, T q, T hi, T lo, T s) {
    // d = m q - 1 rounded once: Dekker's exact product p + err over the
    // halves; m q is within 2^-6 of 1, so p - 1 is exact
    const T p = m * q;
    const T mh = hiHalf(m), ml = m - mh, qh = hiHalf(q), ql = q - qh;
    const T err = (((mh * qh - p) + mh * ql) + ml * qh) + ml * ql;
    const T d = (p - T(1.0)) + err;
    T poly = T(kCbrt53Series[0]);
    for (int i = 1; i < 8; ++i) poly = poly * d + T(kCbrt53Series[i]);
    poly = poly * d;
    return s * hi + s * (hi * poly + lo);
}

// Fields of the split, for one double's bits: the table index 32 e + k and
// the bits of the power of two 2^(e3 - 341) with x's sign (the 12-bit field
// e3 + 682 + 2048 sign).
inline constexpr uint64_t kFracMask = 0x000FFFFFFFFFFFFFull, kOneBits = 0x3FF0000000000000ull;

// One lane (the tails).
inline double cbrt53(double x) {
    uint64_t b;
    std::memcpy(&b, &x, 8);
    const uint64_t top = b >> 52, E = top & 0x7FF;
    const uint64_t e3 = (E * 5462) >> 14, e = E - 3 * e3, k = (b >> 47) & 31;
    const uint64_t mb = (b & kFracMask) | kOneBits, sb = (e3 + 682 + (top & 2048)) << 52;
    double m, s;
    std::memcpy(&m, &mb, 8);
    std::memcpy(&s, &sb, 8);
    return cbrt53Finish(m, -_s_dwRcp[k], _s_dwCbrtHi[32 * e + k], _s_dwCbrtLo[32 * e + k], s);
}

// Two lanes (the bodies), table reads by scalar index extraction.
inline __m128d y8__my_cbrt53_pd(__m128d x) {
    const __m128i b = _mm_castpd_si128(x), top = _mm_srli_epi64(b, 52);
    const __m128i E = _mm_and_si128(top, _mm_set1_epi64x(0x7FF));
    const __m128i e3 = _mm_srli_epi64(_mm_mul_epu32(E, _mm_set1_epi64x(5462)), 14);
    const __m128i e = _mm_sub_epi64(E, _mm_add_epi64(e3, _mm_add_epi64(e3, e3)));
    const __m128i k = _mm_and_si128(_mm_srli_epi64(b, 47), _mm_set1_epi64x(31));
    const __m128i at = _mm_add_epi64(_mm_slli_epi64(e, 5), k);
    const __m128i sb = _mm_slli_epi64(
        _mm_add_epi64(_mm_add_epi64(e3, _mm_set1_epi64x(682)), _mm_and_si128(top, _mm_set1_epi64x(2048))), 52);
    const __m128i mb = _mm_or_si128(_mm_and_si128(b, _mm_set1_epi64x(int64_t(kFracMask))), _mm_set1_epi64x(int64_t(kOneBits)));
    const int i0 = _mm_cvtsi128_si32(at), i1 = _mm_extract_epi32(at, 2);
    const auto pair = [](const double* t, int a, int c) { return _mm_loadh_pd(_mm_load_sd(t + a), t + c); };
    const D2 q = _mm_xor_pd(pair(_s_dwRcp, i0 & 31, i1 & 31), _mm_set1_pd(-0.0));
    return cbrt53Finish(D2(_mm_castsi128_pd(mb)), q, D2(pair(_s_dwCbrtHi, i0, i1)), D2(pair(_s_dwCbrtLo, i0, i1)),
                        D2(_mm_castsi128_pd(sb)))
        .v;
}

// ---- Lab --------------------------------------------------------------------------
// The constants in float (8u, 16u and 32f forms) and in double (64f forms:
// the float constants widened, 16/116, 1/116, 0.002 and 0.005 true doubles).
template <class S>
struct LabK;
template <>
struct LabK<float> {
    static constexpr float brk = 0.008856f, lin = 903.3f, slope = 7.787f, off = 0.13793103f, inv116 = 0.00862069f,
                           ka = 0.002f, kb = 0.005f;
};
template <>
struct LabK<double> {
    static constexpr double brk = double(0.008856f), lin = double(903.3f), slope = double(7.787f), off = 16.0 / 116.0,
                            inv116 = 1.0 / 116.0, ka = 0.002, kb = 0.005;
};
template <class T>
using LabScalar = std::conditional_t<std::is_same_v<T, float> || std::is_same_v<T, F4>, float, double>;

// The cube root of each precision: table and series in float, cbrt53 in double.
template <int Terms>
inline float labRoot(float v) { return cbrtTab<Terms>(v, kSeries); }
template <int Terms>
inline double labRoot(double v) { return cbrt53(v); }
template <int Terms>
inline D2 labRoot(D2 v) { return y8__my_cbrt53_pd(v.v); }
// All three roots of a pixel; four lanes read their twelve table entries together.
template <int Terms, class T>
inline void labRoot3(T x, T y, T z, T& cx, T& cy, T& cz) {
    cx = labRoot<Terms>(x), cy = labRoot<Terms>(y), cz = labRoot<Terms>(z);
}
template <int Terms>
inline void labRoot3(F4 x, F4 y, F4 z, F4& cx, F4& cy, F4& cz) {
    F4 t[3], r[3];
    powStart3(x, y, z, t, r);
    cx = cbrtSeries<Terms>(x, t[0], r[0], kSeries), cy = cbrtSeries<Terms>(y, t[1], r[1], kSeries);
    cz = cbrtSeries<Terms>(z, t[2], r[2], kSeries);
}

// Forward from x, y, z already divided by the white point and their three
// cube roots: the branches.
template <class T>
inline void labBranches(T x, T y, T z, T cx, T cy, T cz, T& L, T& a, T& b) {
    using K = LabK<LabScalar<T>>;
    using S = LabScalar<T>;
    const T brk = T(K::brk);
    L = sel(le(y, brk), y * T(K::lin), cy * T(S(116)) - T(S(16)));
    const T fx = sel(le(x, brk), x * T(K::slope) + T(K::off), cx);
    const T fy = sel(le(y, brk), y * T(K::slope) + T(K::off), cy);
    const T fz = sel(le(z, brk), z * T(K::slope) + T(K::off), cz);
    a = (fx - fy) * T(S(500));
    b = (fy - fz) * T(S(200));
}
// All three roots for every pixel, then the branches.
template <int Terms, class T>
inline void labFwd(T x, T y, T z, T& L, T& a, T& b) {
    T cx, cy, cz;
    labRoot3<Terms>(x, y, z, cx, cy, cz);
    labBranches(x, y, z, cx, cy, cz, L, a, b);
}
// The same over four lanes whose table entries were read already (powStart3).
template <int Terms>
inline void labFwd(F4 x, F4 y, F4 z, const F4 (&t)[3], const F4 (&r)[3], F4& L, F4& a, F4& b) {
    labBranches(x, y, z, cbrtSeries<Terms>(x, t[0], r[0], kSeries), cbrtSeries<Terms>(y, t[1], r[1], kSeries),
                cbrtSeries<Terms>(z, t[2], r[2], kSeries), L, a, b);
}

// Division by the white point and by full scale in one factor: 8-bit,
// float and double input.
inline constexpr float kLabIn8u[3] = {0.0041259914f, 0.003921569f, 0.0036018905f};
inline constexpr float kLabIn32f[3] = {1.0521265f, 1.0f, 0.9184812f};
inline constexpr double kLabIn64f[3] = {1.0521265327391165, 1.0, double(0.9184812f)};

// White point at the output scale: 8-bit, float and double outputs.
inline constexpr float kLabWhite8u[3] = {242.366f, 255.0f, 277.632f};
inline constexpr float kLabWhite32f[3] = {0.950456f, 1.0f, 1.0887539f};
inline constexpr double kLabWhite64f[3] = {double(0.950456f), 1.0, double(1.0887539f)};

// Reverse: the cube at every level, no linear branch.
template <class T, class W>
inline void labRev(T L, T a, T b, const W (&w)[3], T& X, T& Y, T& Z) {
    using K = LabK<LabScalar<T>>;
    using S = LabScalar<T>;
    const T fy = (L + T(S(16))) * T(K::inv116);
    const T fx = fy + a * T(K::ka), fz = fy - b * T(K::kb);
    X = fx * fx * fx * T(w[0]);
    Y = fy * fy * fy * T(w[1]);
    Z = fz * fz * fz * T(w[2]);
}

// A pixel both ways from and to R, G, B: the matrix rows (each scaled by its
// factor on the way in), the Lab formulas.
template <class T, class W>
inline void labXYZ(T r, T g, T b, const W (&w)[3], T& x, T& y, T& z) {
    x = dot3(kRGBToXYZ[0], r, g, b) * T(w[0]), y = dot3(kRGBToXYZ[1], r, g, b) * T(w[1]);
    z = dot3(kRGBToXYZ[2], r, g, b) * T(w[2]);
}
template <int Terms, class T, class W>
inline void labFromRGB(T r, T g, T b, const W (&w)[3], T& L, T& A, T& B) {
    T x, y, z;
    labXYZ(r, g, b, w, x, y, z);
    labFwd<Terms>(x, y, z, L, A, B);
}
// The forward over `groups` groups of four pixels, in blocks of up to 16
// groups and two passes, so that a group's table reads start well ahead of
// its series: first X, Y, Z divided by the white point and the packed table
// indices of every group, kept on the stack; then the entries, roots and
// branches.  load(g, r, g, b) reads group g's R, G, B (four lanes each),
// store(g, L, a, b) writes its results.
template <int Terms, class W, class Load, class Store>
inline void labFwdGroups(int64_t groups, const W (&w)[3], Load load, Store store) {
    constexpr int kBlock = 16;
    alignas(16) float xyz[3][4 * kBlock];
    alignas(16) uint8_t idx[kBlock][16];
    for (int64_t g0 = 0; g0 < groups; g0 += kBlock) {
        const int n = groups - g0 < kBlock ? static_cast<int>(groups - g0) : kBlock;
        for (int i = 0; i < n; ++i) {
            F4 c0, c1, c2, X, Y, Z;
            load(g0 + i, c0, c1, c2);
            labXYZ(c0, c1, c2, w, X, Y, Z);
            _mm_store_ps(xyz[0] + 4 * i, X.v), _mm_store_ps(xyz[1] + 4 * i, Y.v), _mm_store_ps(xyz[2] + 4 * i, Z.v);
            _mm_store_si128(reinterpret_cast<__m128i*>(idx[i]), powIndex3(X, Y, Z));
        }
        for (int i = 0; i < n; ++i) {
            uint64_t kxy;
            uint32_t kz;
            std::memcpy(&kxy, idx[i], 8);
            std::memcpy(&kz, idx[i] + 8, 4);
            F4 t[3], r[3], L, a, b;
            powStart3(kxy, kz, t, r);
            labFwd<Terms>(_mm_load_ps(xyz[0] + 4 * i), _mm_load_ps(xyz[1] + 4 * i), _mm_load_ps(xyz[2] + 4 * i), t, r, L, a, b);
            store(g0 + i, L, a, b);
        }
    }
}

template <class T, class W>
inline void labToRGB(T L, T A, T B, const W (&w)[3], T& r, T& g, T& b) {
    T X, Y, Z;
    labRev(L, A, B, w, X, Y, Z);
    r = dot3(kXYZToRGB[0], X, Y, Z), g = dot3(kXYZToRGB[1], X, Y, Z), b = dot3(kXYZToRGB[2], X, Y, Z);
}

// ---- Rounding and limits ------------------------------------------------------------
inline int32_t roundi(float f) { return _mm_cvtss_si32(_mm_set_ss(f)); }  // by the current mode
inline __m128i roundi(F4 f) { return _mm_cvtps_epi32(f.v); }
inline int32_t trunci(float f) { return _mm_cvttss_si32(_mm_set_ss(f)); }
inline __m128i trunci(F4 f) { return _mm_cvttps_epi32(f.v); }
inline int32_t clampi(int32_t v, int32_t lo, int32_t hi) { return v < lo ? lo : (v > hi ? hi : v); }

// Float outputs limited as the reverse matrix: below 0 gives 0, otherwise the
// minimum with 1 (NaN stays NaN).
inline float limit01(float v) { return v < 0.0f ? 0.0f : (v > 1.0f ? 1.0f : v); }
inline F4 limit01(F4 v) { return _mm_max_ps(_mm_setzero_ps(), _mm_min_ps(_mm_set1_ps(1.0f), v.v)); }

// Integer reverse blue: (X * 0.055648 - Y * 0.204043) + 0.5 + Z * 1.057311,
// the last two additions in double, then truncated.
inline int32_t blueHalfUp(float bx, float by, float bz) {
    return _mm_cvttsd_si32(_mm_set_sd((static_cast<double>(bx + by) + 0.5) + static_cast<double>(bz)));
}
inline __m128i blueHalfUp(F4 bx, F4 by, F4 bz) {
    const __m128 s = _mm_add_ps(bx.v, by.v), z = bz.v;
    const __m128d half = _mm_set1_pd(0.5);
    const __m128d lo = _mm_add_pd(_mm_add_pd(_mm_cvtps_pd(s), half), _mm_cvtps_pd(z));
    const __m128d hi = _mm_add_pd(_mm_add_pd(_mm_cvtps_pd(_mm_movehl_ps(s, s)), half), _mm_cvtps_pd(_mm_movehl_ps(z, z)));
    return _mm_unpacklo_epi64(_mm_cvttpd_epi32(lo), _mm_cvttpd_epi32(hi));
}

// ---- Pixels in and out --------------------------------------------------------------

// A sample as float: 16s in offset binary (s + 32768), others as they are.
template <class S>
inline float raw(S v) {
    if constexpr (std::is_same_v<S, int16_t>) return static_cast<float>(static_cast<int32_t>(v) + 32768);
    return static_cast<float>(v);
}

// Four pixels of N channels -> the first three as floats (16s offset as raw()).
template <class S, int N>
inline void load4(const S* p, F4& c0, F4& c1, F4& c2) {
    if constexpr (std::is_same_v<S, float>) {
        // lanes in the order store4 below takes back: the arithmetic is lane-wise
        __m128 a, b, c;
        cel::cs::splitLanes<N>(p, a, b, c);
        c0 = a, c1 = b, c2 = c;
    } else {
        __m128i a, b, c;
        if constexpr (sizeof(S) == 1) {
            split8x4<N>(p, a, b, c);
        } else {
            constexpr bool kSigned = std::is_same_v<S, int16_t>;
            split16x4<N, kSigned>(reinterpret_cast<const uint16_t*>(p), a, b, c);
            if constexpr (kSigned) {
                const __m128i off = _mm_set1_epi32(32768);
                a = _mm_add_epi32(a, off), b = _mm_add_epi32(b, off), c = _mm_add_epi32(c, off);
            }
        }
        c0 = _mm_cvtepi32_ps(a), c1 = _mm_cvtepi32_ps(b), c2 = _mm_cvtepi32_ps(c);
    }
}

// An integer result (16s: in offset binary) limited to the type's range.
template <class S>
inline S fromInt(int32_t v) {
    if constexpr (sizeof(S) == 1) return static_cast<S>(clampi(v, 0, 255));
    return static_cast<S>(clampi(v, 0, 65535) - (std::is_same_v<S, int16_t> ? 32768 : 0));
}

// Four pixels' integer results -> N-channel pixels, limited by saturating
// packs as fromInt() (N == 4 keeps the old fourth element).
template <class S, int N>
inline void store4(S* p, __m128i c0, __m128i c1, __m128i c2) {
    if constexpr (sizeof(S) == 1) {
        join8x4<N>(p, c0, c1, c2);
    } else {
        const __m128i flip = _mm_set1_epi16(std::is_same_v<S, int16_t> ? static_cast<int16_t>(-32768) : 0);
        join16x4<N>(reinterpret_cast<uint16_t*>(p), _mm_xor_si128(_mm_packus_epi32(c0, c0), flip),
                    _mm_xor_si128(_mm_packus_epi32(c1, c1), flip), _mm_xor_si128(_mm_packus_epi32(c2, c2), flip));
    }
}
inline void store4(float* p, int n, F4 c0, F4 c1, F4 c2) {
    if (n == 4)
        cel::cs::joinLanes<4>(p, c0.v, c1.v, c2.v);
    else
        cel::cs::joinLanes<3>(p, c0.v, c1.v, c2.v);
}

}  // namespace cel::cs::ll
