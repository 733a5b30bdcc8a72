// Recipes of the colour twist, as scalar and vector twins that perform the
// same float operations in the same order, so that body and tail give the
// same bits.
//
// 3x4 matrix t (row r: factors of output r for inputs 0, 1, 2, then its
// offset), samples s0, s1, s2 as floats:
//
//     out_r = (t[r][3] + s0 * t[r][0]) + (s2 * t[r][2] + s1 * t[r][1])
//
// 4x4 matrix t (row r: factors of output r for inputs 0 to 3, no offset):
//
//     out_r = s3 * t[r][3] + (s2 * t[r][2] + (s0 * t[r][0] + s1 * t[r][1]))
//
// Integer depths then limit the result, first by the upper limit with a
// minimum, then by the lower limit with a maximum (so a NaN takes the upper
// limit), and convert it to 32-bit integer by the rounding mode, which the
// integer entries set to nearest (ties to even) for the call.
//
// Three shapes of the same arithmetic:
//   scalar     one output of one pixel (row tails)
//   lanes      one output of four pixels, a channel a vector (row bodies)
//   columns    the three or four outputs of one pixel: each sample is
//              broadcast and multiplied by its column of the matrix, the
//              column vectors being the transposed matrix (col k lane r
//              is t[r][k], lane 3 zero for the 3x4 form)
#pragma once

#include <smmintrin.h>

#include <cstdint>

namespace cel::twist {

// ---- Limits of the integer depths (32-bit floats) --------------------------------------------
template <class T>
struct Limits;
template <>
struct Limits<uint8_t> {
    static constexpr float kUpper = 255.0f, kLower = 0.0f;
};
template <>
struct Limits<uint16_t> {
    static constexpr float kUpper = 65535.0f, kLower = 0.0f;
};
template <>
struct Limits<int16_t> {
    static constexpr float kUpper = 32767.0f, kLower = -32768.0f;
};

// ---- The matrix as the kernels read it, prepared once per call -----------------------------------
struct Matrix3 {
    __m128 col[4];    // col k = (t[0][k], t[1][k], t[2][k], 0)
    __m128 lane[3][4];  // t[r][k] in all four lanes
    // the same with factor 1 over 256 and factor 2 over 65536 (exact
    // powers of two), for samples 1 and 2 taken in place as s1 * 256 and
    // s2 * 65536 from a 32-bit pixel: the products are the same reals and
    // round alike wherever boundedFor8u holds
    __m128 laneInPlace[3][4];
    float t[3][4];
};

struct Matrix4 {
    __m128 col[4];  // col k = (t[0][k], t[1][k], t[2][k], t[3][k])
    __m128 lane[4][4];
    float t[4][4];
};

// Columns of four rows: the rows unpacked pairwise by 32-bit lanes.
inline void setColumns(__m128 r0, __m128 r1, __m128 r2, __m128 r3, __m128 col[4]) {
    const __m128 lo01 = _mm_unpacklo_ps(r0, r1), hi01 = _mm_unpackhi_ps(r0, r1);
    const __m128 lo23 = _mm_unpacklo_ps(r2, r3), hi23 = _mm_unpackhi_ps(r2, r3);
    col[0] = _mm_movelh_ps(lo01, lo23);
    col[1] = _mm_movehl_ps(lo23, lo01);
    col[2] = _mm_movelh_ps(hi01, hi23);
    col[3] = _mm_movehl_ps(hi23, hi01);
}

inline Matrix3 makeMatrix3(const float twist[3][4]) {
    Matrix3 m;
    for (int r = 0; r < 3; ++r)
        for (int k = 0; k < 4; ++k) {
            const float scale = k == 1 ? 1.0f / 256.0f : k == 2 ? 1.0f / 65536.0f : 1.0f;
            m.t[r][k] = twist[r][k], m.lane[r][k] = _mm_set1_ps(twist[r][k]);
            m.laneInPlace[r][k] = _mm_set1_ps(twist[r][k] * scale);
        }
    setColumns(_mm_loadu_ps(twist[0]), _mm_loadu_ps(twist[1]), _mm_loadu_ps(twist[2]), _mm_setzero_ps(), m.col);
    return m;
}

inline Matrix4 makeMatrix4(const float twist[4][4]) {
    Matrix4 m;
    for (int r = 0; r < 4; ++r)
        for (int k = 0; k < 4; ++k) m.t[r][k] = twist[r][k], m.lane[r][k] = _mm_set1_ps(twist[r][k]);
    setColumns(_mm_loadu_ps(twist[0]), _mm_loadu_ps(twist[1]), _mm_loadu_ps(twist[2]), _mm_loadu_ps(twist[3]), m.col);
    return m;
}

// ---- 3x4 ---------------------------------------------------------------------------------------
// scalar: output r of one pixel
inline float out3(const float (&t)[4], float s0, float s1, float s2) {
    return (t[3] + s0 * t[0]) + (s2 * t[2] + s1 * t[1]);
}
// lanes: output r of four pixels
inline __m128 out3(const __m128 (&t)[4], __m128 s0, __m128 s1, __m128 s2) {
    return _mm_add_ps(_mm_add_ps(t[3], _mm_mul_ps(s0, t[0])), _mm_add_ps(_mm_mul_ps(s2, t[2]), _mm_mul_ps(s1, t[1])));
}
// columns: the three outputs of the pixel s = (s0, s1, s2, any); lane 3 is
// not a result
inline __m128 pixel3(const __m128 (&col)[4], __m128 s) {
    const __m128 p0 = _mm_mul_ps(_mm_shuffle_ps(s, s, _MM_SHUFFLE(0, 0, 0, 0)), col[0]);
    const __m128 p1 = _mm_mul_ps(_mm_shuffle_ps(s, s, _MM_SHUFFLE(1, 1, 1, 1)), col[1]);
    const __m128 p2 = _mm_mul_ps(_mm_shuffle_ps(s, s, _MM_SHUFFLE(2, 2, 2, 2)), col[2]);
    return _mm_add_ps(_mm_add_ps(col[3], p0), _mm_add_ps(p2, p1));
}

// ---- 4x4 ---------------------------------------------------------------------------------------
inline float out4(const float (&t)[4], float s0, float s1, float s2, float s3) {
    return s3 * t[3] + (s2 * t[2] + (s0 * t[0] + s1 * t[1]));
}
inline __m128 pixel4(const __m128 (&col)[4], __m128 s) {
    const __m128 p0 = _mm_mul_ps(_mm_shuffle_ps(s, s, _MM_SHUFFLE(0, 0, 0, 0)), col[0]);
    const __m128 p1 = _mm_mul_ps(_mm_shuffle_ps(s, s, _MM_SHUFFLE(1, 1, 1, 1)), col[1]);
    const __m128 p2 = _mm_mul_ps(_mm_shuffle_ps(s, s, _MM_SHUFFLE(2, 2, 2, 2)), col[2]);
    const __m128 p3 = _mm_mul_ps(_mm_shuffle_ps(s, s, _MM_SHUFFLE(3, 3, 3, 3)), col[3]);
    return _mm_add_ps(p3, _mm_add_ps(p2, _mm_add_ps(p0, p1)));
}

// ---- Limit and convert ------------------------------------------------------------------------------
// scalar: the minimum and maximum instructions themselves, for their NaN rule
template <class T>
inline int32_t toInt(float v) {
    __m128 x = _mm_min_ss(_mm_set_ss(v), _mm_set_ss(Limits<T>::kUpper));
    x = _mm_max_ss(x, _mm_set_ss(Limits<T>::kLower));
    return _mm_cvtss_si32(x);
}
template <class T>
inline __m128i toInt(__m128 v) {
    const __m128 x = _mm_max_ps(_mm_min_ps(v, _mm_set1_ps(Limits<T>::kUpper)), _mm_set1_ps(Limits<T>::kLower));
    return _mm_cvtps_epi32(x);
}

// The same for lanes whose store packs with saturation to the depth (8u:
// signed then unsigned packs): the maximum with the lower limit is then the
// packs' own saturation.  A lane below the lower limit, -infinity included
// (converted to 0x80000000), saturates to the lower limit, which is also
// what the maximum and the conversion give; NaN and the large values have
// taken the upper limit by the minimum.  Same bytes, one instruction less.
template <class T>
inline __m128i toIntSaturating(__m128 v) {
    return _mm_cvtps_epi32(_mm_min_ps(v, _mm_set1_ps(Limits<T>::kUpper)));
}

// A bounded 3x4 matrix: every entry finite and, in each row, |offset| +
// 255 * (sum of |factor|) below 2^30.  On samples 0..255 its sums (each
// rounding moving them by at most a relative 2^-24) stay finite, not NaN,
// and inside the 32-bit integer range, so the conversion alone rounds
// them exactly, and the saturating packs to 8 bits then give the bytes of
// the minimum, maximum and conversion above.  Every factor is also zero or
// at least 2^-100 in size, so that it divided by 65536 is still a normal
// float (laneInPlace exact).
inline bool boundedFor8u(const float (&t)[3][4]) {
    for (const auto& row : t) {
        double sum = 0.0;
        for (int k = 0; k < 4; ++k) {
            const double a = row[k] < 0.0f ? -double(row[k]) : double(row[k]);
            if (!(a <= 3.4e38)) return false;  // infinite or NaN
            if (k < 3 && a != 0.0 && a < 0x1p-100) return false;
            sum += k == 3 ? a : 255.0 * a;
        }
        if (!(sum < 1073741824.0)) return false;
    }
    return true;
}
inline __m128i toIntBounded(__m128 v) { return _mm_cvtps_epi32(v); }

}  // namespace cel::twist
