// Error diffusion for celiReduceBits_*: Floyd-Steinberg (mode 1) and the
// wide filters of Jarvis-Judice-Ninke (mode 2) and Stucki (mode 3), with and
// without noise.
//
// Each sample takes the weighted errors its visited neighbours left in the
// error rows, is snapped to the grid value below, and goes up one step where
// the threshold (half a step, or a value from the noise table) lies under
// the remainder.  What is left becomes the sample's own error.  The error
// rows are floats in the caller's scratch, zeroed once per call; channels
// are dithered one after the other over the whole picture with the same
// rows, so the last row of one channel feeds the first row of the next.
#include <smmintrin.h>

#include <cstdint>
#include <utility>

#include "bitdepth/diffusion.h"
#include "bitdepth/reduce_forms.h"
#include "bitdepth/reduce_scratch.h"
#include "frame/image.h"
#include "frame/rowprim.h"

namespace {

using cel::rb::Diffusion;
using cel::rb::Form;
using cel::rb::WideVectors;
using cel::rb::WideWeights;

// Threshold of sample x on row y of the present channel.
template <bool Noise>
inline float thresholdAt(const Diffusion& d, int x, int y) {
    return Noise ? d.N[cel::rb::noiseIndex(d.P, x, y)] : d.half;
}

// Lane i of a vector as a float.
template <int i>
inline float lane(__m128 v) {
    return _mm_cvtss_f32(_mm_shuffle_ps(v, v, _MM_SHUFFLE(i, i, i, i)));
}

// Elements j .. j+3 of the eight held in lo, hi.
template <int j>
inline __m128 window(__m128 lo, __m128 hi) {
    if constexpr (j == 0)
        return lo;
    else
        return _mm_castsi128_ps(_mm_alignr_epi8(_mm_castps_si128(hi), _mm_castps_si128(lo), 4 * j));
}

// ---- Floyd-Steinberg -------------------------------------------------------------
// One row of one channel: s, out at the row's first sample of the channel,
// E elements a pixel; p the previous error row, c the current one (both with
// a guard float at either end).
template <class F, bool Noise>
void y8_innerReduceBits_fs(const typename F::S* s, typename F::D* out, int E, int width, int y, const float* p,
                           float* c, const Diffusion& d) {
    constexpr bool alt = F::kFsAlt;
    int x = 0;
    // body: the row-above terms of four samples as one vector, then the chain
    // through the left neighbour sample by sample (Floyd-Steinberg recipe)
    for (; x + 4 <= width; x += 4) {
        alignas(16) float above[4];
        _mm_store_ps(above, cel::rb::fsAbove4<alt>(_mm_loadu_ps(p + x - 1), _mm_loadu_ps(p + x), _mm_loadu_ps(p + x + 1)));
        for (int j = 0; j < 4; ++j) {
            const int i = x + j;
            c[i] = cel::rb::diffuseSample<F, true>(F::value(s[E * i]), cel::rb::fsSum(above[j], c[i - 1]),
                                                   thresholdAt<Noise>(d, i, y), d, out + E * i);
        }
    }
    // tail: one sample at a time (Floyd-Steinberg recipe)
    for (; x < width; ++x)
        c[x] = cel::rb::diffuseSample<F, true>(F::value(s[E * x]),
                                               cel::rb::fsSum(cel::rb::fsAbove<alt>(p[x - 1], p[x], p[x + 1]), c[x - 1]),
                                               thresholdAt<Noise>(d, x, y), d, out + E * x);
}

template <class F, bool Noise>
void y8_ownReduceBits_fs(const typename F::S* src, int srcStep, typename F::D* dst, int dstStep, CelSize roi,
                         int channels, int E, float* rows, const Diffusion& d) {
    float* p = rows + 1;               // row A
    float* c = rows + roi.width + 3;   // row B
    for (int ch = 0; ch < channels; ++ch)
        for (int y = 0; y < roi.height; ++y) {
            y8_innerReduceBits_fs<F, Noise>(cel::rowAt(src, y, srcStep) + ch, cel::rowAt(dst, y, dstStep) + ch, E,
                                            roi.width, y, p, c, d);
            std::swap(p, c);
        }
}

// ---- Jarvis-Judice-Ninke and Stucki ------------------------------------------------
// One row of one channel: r2, r1 the error rows of y-2 and y-1, c the
// current one (two guard floats at either end of each).
template <class F, bool Noise>
void y8_innerReduceBits_st_jj(const typename F::S* s, typename F::D* out, int E, int width, int y, const float* r2,
                              const float* r1, float* c, const WideWeights& w, const WideVectors& wv,
                              const Diffusion& d) {
    int x = 0;
    // c[x-2], c[x-1]: the left guards at the start of the row
    __m128 cw = _mm_setzero_ps();
    auto step = [&](auto jc, __m128 a2, __m128 b2, __m128 a1, __m128 b1) {
        constexpr int j = decltype(jc)::value;
        const int i = x + j;
        const float sum = cel::rb::wideSum4(window<j>(a2, b2), window<j>(a1, b1), cw, lane<j>(b2), lane<j>(b1), wv);
        const float e = cel::rb::diffuseSample<F, false>(F::value(s[E * i]), sum, thresholdAt<Noise>(d, i, y), d,
                                                         out + E * i);
        c[i] = e;
        cw = _mm_unpacklo_ps(_mm_shuffle_ps(cw, cw, _MM_SHUFFLE(1, 1, 1, 1)), _mm_set_ss(e));
    };
    // body: four samples a pass; the neighbour rows x-2 .. x+5 are loaded
    // once and shifted, the own row's two errors ride in a vector (wide recipe)
    for (; x + 4 <= width; x += 4) {
        const __m128 a2 = _mm_loadu_ps(r2 + x - 2), b2 = _mm_loadu_ps(r2 + x + 2);
        const __m128 a1 = _mm_loadu_ps(r1 + x - 2), b1 = _mm_loadu_ps(r1 + x + 2);
        step(std::integral_constant<int, 0>{}, a2, b2, a1, b1);
        step(std::integral_constant<int, 1>{}, a2, b2, a1, b1);
        step(std::integral_constant<int, 2>{}, a2, b2, a1, b1);
        step(std::integral_constant<int, 3>{}, a2, b2, a1, b1);
    }
    // tail: one sample at a time (wide recipe)
    for (; x < width; ++x)
        c[x] = cel::rb::diffuseSample<F, false>(F::value(s[E * x]), cel::rb::wideSum(r2 + x, r1 + x, c + x, w),
                                                thresholdAt<Noise>(d, x, y), d, out + E * x);
}

template <class F, bool Noise>
void y8_ownReduceBits_st_jj(const typename F::S* src, int srcStep, typename F::D* dst, int dstStep, CelSize roi,
                            int channels, int E, float* rows, CelDitherMode mode, const Diffusion& d) {
    // mode 3 is Stucki; anything else that comes here is Jarvis-Judice-Ninke
    const WideWeights& w = mode == celDitherStucki ? cel::rb::kStucki : cel::rb::kJarvis;
    const WideVectors wv(w);
    const int w4 = roi.width + 4;
    float* r2 = rows + 2;           // row A
    float* r1 = rows + w4 + 2;      // row B
    float* c = rows + 2 * w4 + 2;   // row C
    for (int ch = 0; ch < channels; ++ch)
        for (int y = 0; y < roi.height; ++y) {
            y8_innerReduceBits_st_jj<F, Noise>(cel::rowAt(src, y, srcStep) + ch, cel::rowAt(dst, y, dstStep) + ch, E,
                                               roi.width, y, r2, r1, c, w, wv, d);
            float* old = r2;
            r2 = r1;
            r1 = c;
            c = old;
        }
}

}  // namespace

namespace cel::rb {

template <class S, class D>
CelStatus diffuse(const S* src, int srcStep, D* dst, int dstStep, CelSize roi, int noise, CelDitherMode mode,
                  float L, int channels, int stride, uint8_t* scratch) {
    using F = Form<S, D>;
    if (scratch == nullptr) return celStatusNullPointer;
    const bool fs = mode == celDitherFloydSteinberg;
    Diffusion d{};
    F::stepAndFactor(L, d.s, d.f);
    d.half = 0.5f * d.s;
    d.inv = fs ? kFsInv : (mode == celDitherStucki ? kStucki.inv : kJarvis.inv);
    d.floor = fs ? F::kFsFloor : 0.0f;
    uint8_t* base = alignedBase(scratch);
    float* rows = reinterpret_cast<float*>(base + (noise ? kNoiseErrorRowsOffset : 0));
    if (noise) {
        // thresholds centred on half a step, spread by noise percent of a step
        buildNoiseTables(base, static_cast<float>(50 - noise) * d.s / 100.0f,
                         static_cast<float>(50 + noise) * d.s / 100.0f);
        d.N = noiseTable(base);
        d.P = positionTable(base);
    }
    const int w = roi.width;
    y8_celsSet_32f(0.0f, rows, fs ? 2 * w + 4 : 3 * w + 12);
    // rows are indexed by element: a step loses its remainder
    constexpr int srcShift = sizeof(S) == 4 ? 2 : (sizeof(S) == 2 ? 1 : 0);
    constexpr int dstShift = sizeof(D) == 2 ? 1 : 0;
    srcStep = static_cast<int>(static_cast<uint32_t>(srcStep >> srcShift) << srcShift);
    dstStep = static_cast<int>(static_cast<uint32_t>(dstStep >> dstShift) << dstShift);
    if (fs) {
        if (noise)
            y8_ownReduceBits_fs<F, true>(src, srcStep, dst, dstStep, roi, channels, stride, rows, d);
        else
            y8_ownReduceBits_fs<F, false>(src, srcStep, dst, dstStep, roi, channels, stride, rows, d);
    } else if (noise) {
        y8_ownReduceBits_st_jj<F, true>(src, srcStep, dst, dstStep, roi, channels, stride, rows, mode, d);
    } else {
        y8_ownReduceBits_st_jj<F, false>(src, srcStep, dst, dstStep, roi, channels, stride, rows, mode, d);
    }
    return celStatusOk;
}

#define CEL_DIFFUSE_FORM(S, D)                                                                                    \
    template CelStatus diffuse<S, D>(const S*, int, D*, int, CelSize, int, CelDitherMode, float, int, int, uint8_t*);
CEL_DIFFUSE_FORM(uint8_t, uint8_t)
CEL_DIFFUSE_FORM(uint16_t, uint16_t)
CEL_DIFFUSE_FORM(int16_t, int16_t)
CEL_DIFFUSE_FORM(uint16_t, uint8_t)
CEL_DIFFUSE_FORM(int16_t, uint8_t)
CEL_DIFFUSE_FORM(float, uint8_t)
CEL_DIFFUSE_FORM(float, uint16_t)
CEL_DIFFUSE_FORM(float, int16_t)
#undef CEL_DIFFUSE_FORM

}  // namespace cel::rb
