// The D65 matrices between linear RGB and CIE XYZ, as 32-bit floats (each
// the nearest float to its decimal), and the one way they are applied:
// (first product + second product) + third product, each product rounded by
// itself, no fused multiply-add.  Read by the XYZ, LUV and Lab families.
#pragma once

#include <smmintrin.h>

namespace cel::cs {

inline constexpr float kRGBToXYZ[3][3] = {{0.412453f, 0.35758f, 0.180423f},
                                          {0.212671f, 0.71516f, 0.072169f},
                                          {0.019334f, 0.119193f, 0.950227f}};
inline constexpr float kXYZToRGB[3][3] = {{3.240479f, -1.53715f, -0.498535f},
                                          {-0.969256f, 1.875991f, 0.041556f},
                                          {0.055648f, -0.204043f, 1.057311f}};

inline float dot3(const float (&m)[3], float a, float b, float c) { return (m[0] * a + m[1] * b) + m[2] * c; }
inline __m128 dot3(const float (&m)[3], __m128 a, __m128 b, __m128 c) {
    return _mm_add_ps(_mm_add_ps(_mm_mul_ps(_mm_set1_ps(m[0]), a), _mm_mul_ps(_mm_set1_ps(m[1]), b)),
                      _mm_mul_ps(_mm_set1_ps(m[2]), c));
}

}  // namespace cel::cs
