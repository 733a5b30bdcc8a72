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
// Four lanes, each with its own matrix row: m0, m1, m2 hold the row's
// entries lane by lane.
inline __m128 dot3(__m128 m0, __m128 m1, __m128 m2, __m128 a, __m128 b, __m128 c) {
    return _mm_add_ps(_mm_add_ps(_mm_mul_ps(m0, a), _mm_mul_ps(m1, b)), _mm_mul_ps(m2, c));
}
inline __m128 dot3(const float (&m)[3], __m128 a, __m128 b, __m128 c) {
    return dot3(_mm_set1_ps(m[0]), _mm_set1_ps(m[1]), _mm_set1_ps(m[2]), a, b, c);
}

// A matrix laid out for rows of three-channel pixels taken in store order
// (see storeOrderRow3f in frame.h): lane l of output vector k is output
// channel (4k + l) % 3, so at[k][i] holds that channel's entry i lane by lane.
struct StoreOrderMatrix {
    alignas(16) float at[3][3][4];
};
constexpr StoreOrderMatrix storeOrder(const float (&m)[3][3]) {
    StoreOrderMatrix s{};
    for (int k = 0; k < 3; ++k)
        for (int i = 0; i < 3; ++i)
            for (int l = 0; l < 4; ++l) s.at[k][i][l] = m[(4 * k + l) % 3][i];
    return s;
}

}  // namespace cel::cs
