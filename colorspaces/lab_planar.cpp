// Linear RGB <-> CIE L*a*b* (D65) on three float planes, in 32-bit and
// 64-bit float, each plane with its own step.
//
//   32f      the float recipes of the interleaved forms (cube root by
//            _POW_LUV and eight series terms), four pixels a body
//            iteration, a scalar tail in the same arithmetic
//   64f      the same formulas in double (the float constants widened,
//            16/116, 1/116, 0.002 and 0.005 true doubles), two pixels a
//            body iteration; the forward cube root by cbrt53
//   reverse  the cube at every level (no linear branch), no limits; when
//            all six steps are the row's length the image runs as one row
//
// The P3R forms test their step arrays, widen steps and sizes with sign
// and call the _L form.  The _L forms test pointers, then sizes (at least 1
// by 1, no upper limit, steps not examined) and form each row's address as
// plane + step * row in 64-bit arithmetic.
#include <smmintrin.h>

#include <cstdint>

#include "colorspaces/luvlab_recipes.h"
#include "frame/status.h"
#include "frame/tier.h"

namespace {

using namespace cel::cs::ll;  // NOLINT: the family's recipes

// A row's vector lanes: four floats or two doubles.
template <class T>
struct Lanes;
template <>
struct Lanes<float> {
    using V = F4;
    static constexpr int kN = 4;
    static V load(const float* p) { return _mm_loadu_ps(p); }
    static void store(float* p, V v) { _mm_storeu_ps(p, v.v); }
};
template <>
struct Lanes<double> {
    using V = D2;
    static constexpr int kN = 2;
    static V load(const double* p) { return _mm_loadu_pd(p); }
    static void store(double* p, V v) { _mm_storeu_pd(p, v.v); }
};

// One pixel (or one vector of pixels) each way, in the form's precision.
template <bool Fwd, class T>
inline void pixel(T c0, T c1, T c2, T& o0, T& o1, T& o2) {
    if constexpr (std::is_same_v<LabScalar<T>, float>) {
        if constexpr (Fwd)
            labFromRGB<8>(c0, c1, c2, kLabIn32f, o0, o1, o2);
        else
            labToRGB(c0, c1, c2, kLabWhite32f, o0, o1, o2);
    } else {
        if constexpr (Fwd)
            labFromRGB<8>(c0, c1, c2, kLabIn64f, o0, o1, o2);
        else
            labToRGB(c0, c1, c2, kLabWhite64f, o0, o1, o2);
    }
}

// Row kernel: three source rows, three destination rows, the width.
template <class T, bool Fwd>
void planarRow(const T* const* s, T* const* d, int64_t width) {
    using L = Lanes<T>;
    const T *s0 = s[0], *s1 = s[1], *s2 = s[2];
    T *d0 = d[0], *d1 = d[1], *d2 = d[2];
    int64_t x = 0;
    if constexpr (Fwd && std::is_same_v<T, float>) {
        // 32f forward: groups of 4 px in blocks of two passes (table reads ahead of the series)
        const int64_t groups = width / 4;
        labFwdGroups<8>(
            groups, kLabIn32f, [&](int64_t g, F4& c0, F4& c1, F4& c2) { c0 = L::load(s0 + 4 * g), c1 = L::load(s1 + 4 * g), c2 = L::load(s2 + 4 * g); },
            [&](int64_t g, F4 o0, F4 o1, F4 o2) { L::store(d0 + 4 * g, o0), L::store(d1 + 4 * g, o1), L::store(d2 + 4 * g, o2); });
        x = 4 * groups;
    }
    for (; x + L::kN <= width; x += L::kN) {
        typename L::V o0, o1, o2;
        pixel<Fwd>(L::load(s0 + x), L::load(s1 + x), L::load(s2 + x), o0, o1, o2);
        L::store(d0 + x, o0), L::store(d1 + x, o1), L::store(d2 + x, o2);
    }
    for (; x < width; ++x) {
        T o0, o1, o2;
        pixel<Fwd>(s0[x], s1[x], s2[x], o0, o1, o2);
        d0[x] = o0, d1[x] = o1, d2[x] = o2;
    }
}

void y8_innerRGBToLab_32f_P3R(const float* const s[3], float* const d[3], int64_t w) { planarRow<float, true>(s, d, w); }
void y8_innerRGBToLab_64f_P3R(const double* const s[3], double* const d[3], int64_t w) { planarRow<double, true>(s, d, w); }
void y8_innerLabToRGB_32f_P3R(const float* const s[3], float* const d[3], int64_t w) { planarRow<float, false>(s, d, w); }
void y8_innerLabToRGB_64f_P3R(const double* const s[3], double* const d[3], int64_t w) { planarRow<double, false>(s, d, w); }

template <class T>
using PlanarKernel = void (*)(const T* const*, T* const*, int64_t);

// A plane's row j: plane + step * j, in 64-bit (wrapping) address arithmetic.
template <class T>
inline T* rowOf(T* plane, int64_t step, int64_t j) {
    return reinterpret_cast<T*>(reinterpret_cast<uintptr_t>(plane) + static_cast<uint64_t>(step) * static_cast<uint64_t>(j));
}

// The _L entry: pointers, then sizes; the gap-free merge where Merge says.
template <class T, PlanarKernel<T> Kernel, bool Merge>
CelStatus planarEntry(const T* const src[3], const int64_t* srcStep, T* const dst[3], const int64_t* dstStep,
                      int64_t width, int64_t height) {
    if (cel::anyNull(src, dst, srcStep, dstStep) || cel::anyPlaneNull(src, 3) || cel::anyPlaneNull(dst, 3))
        return celStatusNullPointer;
    if (width < 1 || height < 1) return celStatusBadSize;
    if constexpr (Merge) {
        const int64_t row = width <= INT64_MAX / int64_t(sizeof(T)) ? width * int64_t(sizeof(T)) : -1;
        bool gapFree = height <= INT64_MAX / width;
        for (int i = 0; i < 3; ++i) gapFree = gapFree && srcStep[i] == row && dstStep[i] == row;
        if (gapFree) {
            Kernel(src, dst, width * height);
            return celStatusOk;
        }
    }
    for (int64_t j = 0; j < height; ++j) {
        const T* const s[3] = {rowOf(src[0], srcStep[0], j), rowOf(src[1], srcStep[1], j), rowOf(src[2], srcStep[2], j)};
        T* const d[3] = {rowOf(dst[0], dstStep[0], j), rowOf(dst[1], dstStep[1], j), rowOf(dst[2], dstStep[2], j)};
        Kernel(s, d, width);
    }
    return celStatusOk;
}

}  // namespace

// ---- Entry functions -----------------------------------------------------------------
// The _L form, and the P3R form in front of it: step arrays tested, steps
// and sizes widened with sign.
#define CEL_LAB_PLANAR(name, depth, T, merge)                                                                     \
    extern "C" CelStatus y8_celi##name##_##depth##_P3R_L(const T* const src[3], int64_t srcStep[3],              \
                                                          T* dst[3], int64_t dstStep[3], int64_t roiWidth,  \
                                                          int64_t roiHeight) {                                    \
        return planarEntry<T, y8_inner##name##_##depth##_P3R, merge>(src, srcStep, dst, dstStep, roiWidth,       \
                                                                     roiHeight);                                  \
    }                                                                                                             \
    extern "C" CelStatus y8_celi##name##_##depth##_P3R(const T* const src[3], int srcStep[3], T* dst[3],         \
                                                        int dstStep[3], CelSize roiSize) {                        \
        if (srcStep == nullptr || dstStep == nullptr) return celStatusNullPointer;                                \
        int64_t ss[3] = {srcStep[0], srcStep[1], srcStep[2]}, ds[3] = {dstStep[0], dstStep[1], dstStep[2]};      \
        return y8_celi##name##_##depth##_P3R_L(src, ss, dst, ds, roiSize.width, roiSize.height);                  \
    }

CEL_LAB_PLANAR(RGBToLab, 32f, float, false)
CEL_LAB_PLANAR(RGBToLab, 64f, double, false)
CEL_LAB_PLANAR(LabToRGB, 32f, float, true)
CEL_LAB_PLANAR(LabToRGB, 64f, double, true)

#undef CEL_LAB_PLANAR
