// Forward and inverse gamma correction with the BT.709 transfer curve:
// celiGammaFwd_* and celiGammaInv_*, 8u and 16u by lookup, 32f by the
// power kernel, in C3, AC4 (alpha untouched) and planar layouts, in place
// and not.
//
// Checks, in order: the range of the 32f forms (vMax - vMin not above 0,
// even before a null pointer; a NaN difference passes), null pointers
// (plane arrays and each of their entries), width and height below 1,
// then either step below 1.  Each entry holds its own loops.
//
//   8u, 16u   every colour sample replaced by its table entry; AC4 forms
//             neither read nor write the fourth sample; planar forms do
//             all rows of plane 0 first.  Body: 16 bytes a turn, read
//             as two 64-bit words, each sample shifted out of its word
//             and stored from the table; tail: a sample at a time.
//             (There is no arithmetic: every order gives the same
//             bytes.)
//   32f       per row: x = s - vMin (the subtract-constant primitive for
//             C3 and planar rows, while gathering three channels of up
//             to 128 pixels for AC4 rows), then blocks of 384 values:
//             the base u of the form, one call of the power kernel, the
//             branch choice of the form (gamma_recipes.h) in vector loops
//             of four with a scalar remainder of the same bits, and the
//             add-constant pass where the form has one.
#include <smmintrin.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "frame/image.h"
#include "frame/rowprim.h"
#include "frame/status.h"
#include "frame/tier.h"
#include "tables/gamma.h"
#include "tone/gamma_recipes.h"
#include "vectormath/powx.h"

namespace {

using cel::rowAt;

// ---- Checks ------------------------------------------------------------------------------
inline bool badRange(float vMin, float vMax) { return vMax - vMin <= 0.0f; }  // NaN passes
inline bool badSteps(int a, int b) { return a < 1 || b < 1; }

template <class T>
bool badPlanes(const T* const* planes) {
    return planes == nullptr || cel::anyPlaneNull(planes, 3);
}

// ---- 8u and 16u: lookup ----------------------------------------------------------------------
// n consecutive samples.
template <class T>
void lutRow(const T* s, T* d, int n, const T* table) {
    constexpr int kPerVector = 16 / sizeof(T);
    int i = 0;
    // body: 16 bytes read first as two 64-bit words (so d may be s), each
    // sample taken from its word by a shift and stored straight from the
    // table: no trip through memory between the load and the lookups
    constexpr int kPerWord = 8 / sizeof(T);
    for (; i + kPerVector <= n; i += kPerVector) {
        uint64_t q[2];
        std::memcpy(q, s + i, 16);
        for (int h = 0; h < 2; ++h)
            for (int k = 0; k < kPerWord; ++k)
                d[i + kPerWord * h + k] = table[static_cast<T>(q[h] >> (8 * sizeof(T) * k))];
    }
    // tail: a sample at a time
    for (; i < n; ++i) d[i] = table[s[i]];
}

// width pixels of four samples: the first three looked up, the fourth
// neither read nor written.
template <class T>
void lutRowAC4(const T* s, T* d, int width, const T* table) {
    for (int x = 0; x < width; ++x) {
        const T a = table[s[4 * x]], b = table[s[4 * x + 1]], c = table[s[4 * x + 2]];
        d[4 * x] = a, d[4 * x + 1] = b, d[4 * x + 2] = c;
    }
}

template <class T, int Channels>
void lutImage(const T* src, int srcStep, T* dst, int dstStep, CelSize roi, const T* table) {
    for (int y = 0; y < roi.height; ++y) {
        if constexpr (Channels == 4)
            lutRowAC4(rowAt(src, y, srcStep), rowAt(dst, y, dstStep), roi.width, table);
        else
            lutRow(rowAt(src, y, srcStep), rowAt(dst, y, dstStep), roi.width * Channels, table);
    }
}

template <class T, int Channels>
CelStatus lutInterleaved(const T* src, int srcStep, T* dst, int dstStep, CelSize roi, const T* table) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roi, 1, 1)) return celStatusBadSize;
    if (badSteps(srcStep, dstStep)) return celStatusBadStep;
    lutImage<T, Channels>(src, srcStep, dst, dstStep, roi, table);
    return celStatusOk;
}

template <class T>
CelStatus lutPlanar(const T* const src[3], int srcStep, T* const dst[3], int dstStep, CelSize roi, const T* table) {
    if (badPlanes(src) || badPlanes(dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roi, 1, 1)) return celStatusBadSize;
    if (badSteps(srcStep, dstStep)) return celStatusBadStep;
    for (int k = 0; k < 3; ++k) lutImage<T, 1>(src[k], srcStep, dst[k], dstStep, roi, table);
    return celStatusOk;
}

// ---- 32f ----------------------------------------------------------------------------------------
constexpr int kBlock = 384;  // values: 128 pixels of three channels; a multiple of 3 and of 4

// base[i] = u(x[i]), vector loop of four and a scalar remainder.
template <class R>
void baseLoop(const float* x, float* base, int n, const cel::gamma::Range& c) {
    int i = 0;
    for (; i + 4 <= n; i += 4) _mm_storeu_ps(base + i, R::u(_mm_loadu_ps(x + i), c));
    for (; i < n; ++i) base[i] = R::u(x[i], c);
}

// out[i] = the branch choice for x[i] and p[i]; out may be x.
template <class R>
void branchLoop(const float* x, const float* p, float* out, int n, const cel::gamma::Range& c) {
    int i = 0;
    for (; i + 4 <= n; i += 4) _mm_storeu_ps(out + i, R::out(_mm_loadu_ps(x + i), _mm_loadu_ps(p + i), c));
    for (; i < n; ++i) out[i] = R::out(x[i], p[i], c);
}

// One block of x in place: base, power, branch.
template <class R>
void gammaBlock(float* x, float* scratch, int n, const cel::gamma::Range& c) {
    if constexpr (R::kUIsX) {
        y8_celsPowx_32f_A21(x, scratch, n, R::kPower);
    } else {
        baseLoop<R>(x, scratch, n, c);
        y8_celsPowx_32f_A21(scratch, scratch, n, R::kPower);
    }
    branchLoop<R>(x, scratch, x, n, c);
}

// A row of n values of a C3 or planar form (d may be s).
template <class R>
void gammaRow(const float* s, float* d, int n, const cel::gamma::Range& c, float* scratch) {
    y8_celsSubC_32f(s, d, n, c.vMin);
    for (int at = 0; at < n; at += kBlock) gammaBlock<R>(d + at, scratch, std::min(kBlock, n - at), c);
    if constexpr (R::kAddPass) y8_celsAddC_32f(d, d, n, c.vMin);
}

// Three channels of m four-channel pixels, minus vMin, packed into x.
void gatherAC4(const float* s, float* x, int m, float vMin) {
    const __m128 v = _mm_set1_ps(vMin);
    int k = 0;
    // four pixels -> twelve values
    for (; k + 4 <= m; k += 4) {
        const float* p = s + 4 * k;
        const __m128 a = _mm_sub_ps(_mm_loadu_ps(p), v), b = _mm_sub_ps(_mm_loadu_ps(p + 4), v);
        const __m128 c = _mm_sub_ps(_mm_loadu_ps(p + 8), v), d = _mm_sub_ps(_mm_loadu_ps(p + 12), v);
        float* o = x + 3 * k;
        _mm_storeu_ps(o, _mm_blend_ps(a, _mm_shuffle_ps(b, b, _MM_SHUFFLE(0, 0, 0, 0)), 8));
        _mm_storeu_ps(o + 4, _mm_shuffle_ps(b, c, _MM_SHUFFLE(1, 0, 2, 1)));
        _mm_storeu_ps(o + 8, _mm_blend_ps(_mm_shuffle_ps(d, d, _MM_SHUFFLE(2, 1, 0, 0)),
                                          _mm_shuffle_ps(c, c, _MM_SHUFFLE(2, 2, 2, 2)), 1));
    }
    for (; k < m; ++k)
        for (int ch = 0; ch < 3; ++ch) x[3 * k + ch] = s[4 * k + ch] - vMin;
}

// Packed values back into the first three samples of m pixels.
void scatterAC4(const float* x, float* d, int m) {
    for (int k = 0; k < m; ++k) std::memcpy(d + 4 * k, x + 3 * k, 3 * sizeof(float));
}

template <class R>
void gammaRowAC4(const float* s, float* d, int width, const cel::gamma::Range& c) {
    alignas(16) float x[kBlock], p[kBlock];
    for (int px = 0; px < width; px += kBlock / 3) {
        const int m = std::min(kBlock / 3, width - px);
        gatherAC4(s + 4 * px, x, m, c.vMin);
        gammaBlock<R>(x, p, 3 * m, c);
        scatterAC4(x, d + 4 * px, m);
    }
}

// The forward C3 and planar forms clear their scratch once per call.
template <class R>
constexpr bool kClearsScratch = R::kPower == cel::gamma::kFwdPower;

template <class R, int Channels>
CelStatus gammaInterleaved(const float* src, int srcStep, float* dst, int dstStep, CelSize roi, float vMin, float vMax) {
    if (badRange(vMin, vMax)) return celStatusBadRange;
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roi, 1, 1)) return celStatusBadSize;
    if (badSteps(srcStep, dstStep)) return celStatusBadStep;
    const cel::gamma::Range c = cel::gamma::makeRange(vMin, vMax);
    if constexpr (Channels == 4) {
        for (int y = 0; y < roi.height; ++y) gammaRowAC4<R>(rowAt(src, y, srcStep), rowAt(dst, y, dstStep), roi.width, c);
    } else {
        alignas(16) float scratch[kBlock];
        if constexpr (kClearsScratch<R>) y8_celsSet_32f(0.0f, scratch, kBlock);
        for (int y = 0; y < roi.height; ++y) gammaRow<R>(rowAt(src, y, srcStep), rowAt(dst, y, dstStep), 3 * roi.width, c, scratch);
    }
    return celStatusOk;
}

template <class R>
CelStatus gammaPlanar(const float* const src[3], int srcStep, float* const dst[3], int dstStep, CelSize roi, float vMin,
                      float vMax) {
    if (badRange(vMin, vMax)) return celStatusBadRange;
    if (badPlanes(src) || badPlanes(dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roi, 1, 1)) return celStatusBadSize;
    if (badSteps(srcStep, dstStep)) return celStatusBadStep;
    const cel::gamma::Range c = cel::gamma::makeRange(vMin, vMax);
    alignas(16) float scratch[kBlock];
    if constexpr (kClearsScratch<R>) y8_celsSet_32f(0.0f, scratch, kBlock);
    for (int k = 0; k < 3; ++k)
        for (int y = 0; y < roi.height; ++y) gammaRow<R>(rowAt(src[k], y, srcStep), rowAt(dst[k], y, dstStep), roi.width, c, scratch);
    return celStatusOk;
}

}  // namespace

// ---- Entries --------------------------------------------------------------------------------------
// 8u and 16u: Dir is Fwd or Inv, the table _table<Dir><depth>.
#define CEL_GAMMA_INT(Dir, depth, T)                                                                                  \
    extern "C" CelStatus y8_celiGamma##Dir##_##depth##_C3R(const T* src, int srcStep, T* dst, int dstStep,           \
                                                            CelSize roiSize) {                                         \
        return lutInterleaved<T, 3>(src, srcStep, dst, dstStep, roiSize, cel::_table##Dir##depth);                   \
    }                                                                                                                  \
    extern "C" CelStatus y8_celiGamma##Dir##_##depth##_AC4R(const T* src, int srcStep, T* dst, int dstStep,          \
                                                             CelSize roiSize) {                                        \
        return lutInterleaved<T, 4>(src, srcStep, dst, dstStep, roiSize, cel::_table##Dir##depth);                   \
    }                                                                                                                  \
    extern "C" CelStatus y8_celiGamma##Dir##_##depth##_P3R(const T* const src[3], int srcStep, T* dst[3],            \
                                                            int dstStep, CelSize roiSize) {                            \
        return lutPlanar<T>(src, srcStep, dst, dstStep, roiSize, cel::_table##Dir##depth);                           \
    }                                                                                                                  \
    extern "C" CelStatus y8_celiGamma##Dir##_##depth##_C3IR(T* srcDst, int srcDstStep, CelSize roiSize) {            \
        return lutInterleaved<T, 3>(srcDst, srcDstStep, srcDst, srcDstStep, roiSize, cel::_table##Dir##depth);       \
    }                                                                                                                  \
    extern "C" CelStatus y8_celiGamma##Dir##_##depth##_AC4IR(T* srcDst, int srcDstStep, CelSize roiSize) {           \
        return lutInterleaved<T, 4>(srcDst, srcDstStep, srcDst, srcDstStep, roiSize, cel::_table##Dir##depth);       \
    }                                                                                                                  \
    extern "C" CelStatus y8_celiGamma##Dir##_##depth##_IP3R(T* srcDst[3], int srcDstStep, CelSize roiSize) {         \
        return lutPlanar<T>(srcDst, srcDstStep, srcDst, srcDstStep, roiSize, cel::_table##Dir##depth);               \
    }

CEL_GAMMA_INT(Fwd, 8u, uint8_t)
CEL_GAMMA_INT(Inv, 8u, uint8_t)
CEL_GAMMA_INT(Fwd, 16u, uint16_t)
CEL_GAMMA_INT(Inv, 16u, uint16_t)
#undef CEL_GAMMA_INT

// 32f: each form with its recipe.
#define CEL_GAMMA_32F(Dir, C3R, C3IR, AC4R, AC4IR, P3R, IP3R)                                                           \
    extern "C" CelStatus y8_celiGamma##Dir##_32f_C3R(const float* src, int srcStep, float* dst, int dstStep,          \
                                                      CelSize roiSize, float vMin, float vMax) {                       \
        return gammaInterleaved<cel::gamma::C3R, 3>(src, srcStep, dst, dstStep, roiSize, vMin, vMax);                 \
    }                                                                                                                  \
    extern "C" CelStatus y8_celiGamma##Dir##_32f_C3IR(float* srcDst, int srcDstStep, CelSize roiSize, float vMin,     \
                                                       float vMax) {                                                   \
        return gammaInterleaved<cel::gamma::C3IR, 3>(srcDst, srcDstStep, srcDst, srcDstStep, roiSize, vMin, vMax);    \
    }                                                                                                                  \
    extern "C" CelStatus y8_celiGamma##Dir##_32f_AC4R(const float* src, int srcStep, float* dst, int dstStep,         \
                                                       CelSize roiSize, float vMin, float vMax) {                      \
        return gammaInterleaved<cel::gamma::AC4R, 4>(src, srcStep, dst, dstStep, roiSize, vMin, vMax);                \
    }                                                                                                                  \
    extern "C" CelStatus y8_celiGamma##Dir##_32f_AC4IR(float* srcDst, int srcDstStep, CelSize roiSize, float vMin,    \
                                                        float vMax) {                                                  \
        return gammaInterleaved<cel::gamma::AC4IR, 4>(srcDst, srcDstStep, srcDst, srcDstStep, roiSize, vMin, vMax);   \
    }                                                                                                                  \
    extern "C" CelStatus y8_celiGamma##Dir##_32f_P3R(const float* const src[3], int srcStep, float* dst[3],           \
                                                      int dstStep, CelSize roiSize, float vMin, float vMax) {          \
        return gammaPlanar<cel::gamma::P3R>(src, srcStep, dst, dstStep, roiSize, vMin, vMax);                         \
    }                                                                                                                  \
    extern "C" CelStatus y8_celiGamma##Dir##_32f_IP3R(float* srcDst[3], int srcDstStep, CelSize roiSize,              \
                                                       float vMin, float vMax) {                                       \
        return gammaPlanar<cel::gamma::IP3R>(srcDst, srcDstStep, srcDst, srcDstStep, roiSize, vMin, vMax);            \
    }

CEL_GAMMA_32F(Fwd, FwdPlain, FwdSub, FwdAC4, FwdAC4D, FwdPlain, FwdPlain)
CEL_GAMMA_32F(Inv, InvC3, InvC3S, InvAC4, InvAC4, InvP3, InvP3)
#undef CEL_GAMMA_32F
