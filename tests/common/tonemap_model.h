// Reference model of the tone mapping functions, written from their
// formulas: the largest sample, the sum of the fast path with its
// alignment-dependent grouping, the scales and the per-sample rule.
#pragma once

#include <cstdint>
#include <cstring>

namespace tmmodel {

// Truncation toward zero to 32 bits as the processor's conversion does it:
// NaN and values outside the range give INT32_MIN.
inline int32_t cvtt(float v) {
    if (!(v >= -2147483648.0f && v < 2147483648.0f)) return INT32_MIN;
    return static_cast<int32_t>(v);
}

inline const float* row(const float* base, int y, int step) {
    return reinterpret_cast<const float*>(reinterpret_cast<const uint8_t*>(base) + static_cast<ptrdiff_t>(y) * step);
}

// Largest sample of an image without NaN.
inline float maxOf(const float* src, int step, int w, int h) {
    float m = -3.4028235e+38f;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) m = row(src, y, step)[x] > m ? row(src, y, step)[x] : m;
    return m;
}

// Fast sum: per row, single samples into lane 0 of the first of four
// four-lane float accumulators until the address is a multiple of 16, then
// 16 samples a pass across the four, then 4 a pass into the first, then
// single samples into its lane 0; accumulators added (a0 + a1) + (a2 + a3),
// lanes 0 + 2 and 1 + 3 widened and added to two 64-bit totals.
inline double fastSum(const float* src, int step, int w, int h) {
    double tot[2] = {0.0, 0.0};
    for (int y = 0; y < h; ++y) {
        const float* p = row(src, y, step);
        float a[4][4] = {};
        int x = 0;
        for (; x < w && (reinterpret_cast<uintptr_t>(p + x) & 15) != 0; ++x) a[0][0] += p[x];
        for (; x + 16 <= w; x += 16)
            for (int k = 0; k < 4; ++k)
                for (int l = 0; l < 4; ++l) a[k][l] += p[x + 4 * k + l];
        for (; x + 4 <= w; x += 4)
            for (int l = 0; l < 4; ++l) a[0][l] += p[x + l];
        for (; x < w; ++x) a[0][0] += p[x];
        float f[4];
        for (int l = 0; l < 4; ++l) f[l] = (a[0][l] + a[1][l]) + (a[2][l] + a[3][l]);
        tot[0] += static_cast<double>(f[0] + f[2]);
        tot[1] += static_cast<double>(f[1] + f[3]);
    }
    return tot[0] + tot[1];
}

// Accurate sum: doubles, even and odd columns apart across the whole image.
inline double accurateSum(const float* src, int step, int w, int h) {
    double even = 0.0, odd = 0.0;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) (x % 2 ? odd : even) += static_cast<double>(row(src, y, step)[x]);
    return even + odd;
}

inline float linearScale(float m) { return 255.0f / m; }
inline float meanScale(double mean) { return static_cast<float>(255.0 / (mean + mean)); }
inline uint8_t linearByte(float s, float scale) { return static_cast<uint8_t>(static_cast<uint32_t>(cvtt(s * scale))); }
inline uint8_t meanByte(float s, float scale) {
    const int32_t v = cvtt(s * scale);
    return static_cast<uint8_t>(v < 0 ? 0 : (v > 255 ? 255 : v));
}

}  // namespace tmmodel
