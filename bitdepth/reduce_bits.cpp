// Bit-depth reduction: the frame of celiReduceBits_* (checks, type and
// channel forms, scratch size), the path without dither and ordered dither
// with and without noise.  Error diffusion is in diffusion.cpp.
//
// Every sample is mapped onto `levels` equally spaced values of its range.
// Without dither a sample goes to the nearest grid value (ties down) on a
// 0..1 normalised scale and back to the destination's full scale.  Ordered
// dither snaps to the grid value below and adds one grid step where the
// remainder exceeds a 4x4 Bayer threshold scaled to one step, optionally
// moved by a per-call noise table.
#include <smmintrin.h>

#include <cstdint>

#include "bitdepth/diffusion.h"
#include "bitdepth/reduce_forms.h"
#include "bitdepth/reduce_scratch.h"
#include "frame/image.h"
#include "frame/status.h"
#include "frame/tier.h"

namespace {

using cel::rb::Form;

// Channel codes handed from the tier functions to the row functions.
enum Code : int { kC1 = 1, kC3 = 3, kAC4 = 4, kC4 = 5 };

constexpr int elementsPerPixel(int code) { return code == kC1 ? 1 : (code == kC3 ? 3 : 4); }

// ---------------------------------------------------------------------------
// Path without dither: per element, nearest grid value on the 0..1 scale,
// ties going down, then truncation to the destination's full scale (the
// recipes in reduce_forms.h: Plain, and its integer forms for byte
// destinations on the level counts where they agree with it).
template <class F, int C, class K>
void y8_innerNo(const K& kernel, const typename F::S* src, int srcStep, typename F::D* dst, int dstStep, int width,
                int height) {
    // a local copy: its constants stay in registers across the byte stores
    const K k = kernel;
    for (int j = 0; j < height; ++j) {
        const auto* s = cel::rowAt(src, j, srcStep);
        auto* d = cel::rowAt(dst, j, dstStep);
        if (C == kAC4) {
            // a pixel is one group of four lanes; the fourth is computed, not stored
            for (int x = 0; x < width; ++x) F::store3(d + 4 * x, k.v4(s + 4 * x));
            continue;
        }
        const int n = width * elementsPerPixel(C);
        int i = 0;
        // body: sixteen elements a step, one store, then groups of four
        for (; i + 16 <= n; i += 16) k.v16(s + i, d + i);
        for (; i + 4 <= n; i += 4) F::store4(d + i, k.v4(s + i));
        // tail: the same arithmetic, one element at a time
        for (; i < n; ++i) d[i] = static_cast<typename F::D>(k.px(s[i]));
    }
}

template <class F, int C>
void y8_ownNo_PX(const typename F::S* src, int srcStep, typename F::D* dst, int dstStep, int width, int height,
                 int levels) {
    const int L = levels - 1;
    // 256 levels: the index is the byte (scale by one)
    if constexpr (F::kDst8 && sizeof(typename F::S) == 2) {
        if (L == 255) return y8_innerNo<F, C>(cel::rb::IntIndex16<F, true>(L), src, srcStep, dst, dstStep, width, height);
        if (cel::rb::listed(cel::rb::kIntIndex16, L))
            return y8_innerNo<F, C>(cel::rb::IntIndex16<F, false>(L), src, srcStep, dst, dstStep, width, height);
    }
    if constexpr (F::kDst8 && sizeof(typename F::S) == 1) {
        if (L == 255) return y8_innerNo<F, C>(cel::rb::IntIndex8<F, true>(L), src, srcStep, dst, dstStep, width, height);
        if (cel::rb::listed(cel::rb::kIntIndex8, L))
            return y8_innerNo<F, C>(cel::rb::IntIndex8<F, false>(L), src, srcStep, dst, dstStep, width, height);
    }
    if constexpr (F::kDst8 && F::kFloatSrc) {
        if (L == 255) return y8_innerNo<F, C>(cel::rb::IntScale32f<F, true>(L), src, srcStep, dst, dstStep, width, height);
        if (cel::rb::listed(cel::rb::kIntScale, L))
            return y8_innerNo<F, C>(cel::rb::IntScale32f<F, false>(L), src, srcStep, dst, dstStep, width, height);
    }
    y8_innerNo<F, C>(cel::rb::Plain<F>(static_cast<float>(L)), src, srcStep, dst, dstStep, width, height);
}

// ---------------------------------------------------------------------------
// Ordered dither.

// The 4x4 recursive Bayer matrix, values n / 15, rows by image row.
alignas(16) constexpr float bayer_thresh[4][4] = {
    {0.0f / 15, 8.0f / 15, 2.0f / 15, 10.0f / 15},
    {12.0f / 15, 4.0f / 15, 14.0f / 15, 6.0f / 15},
    {3.0f / 15, 11.0f / 15, 1.0f / 15, 9.0f / 15},
    {15.0f / 15, 7.0f / 15, 13.0f / 15, 5.0f / 15},
};

struct OrderedCtx {
    float s, f;
    alignas(16) float T[4][4];  // bayer_thresh * s, for the forms without noise
    const float* N;             // noise table (noise forms)
    const uint16_t* P;          // position table (noise forms)
};

// Snap v to the grid value below and add one step where t < v - b.
template <class F>
inline float orderedPx(float v, float t, float s, float f) {
    float b = static_cast<float>(cel::rb::trunc32(v * f)) * s;
    if (t < v - b) b = b + s;
    return b;
}

template <class F>
inline __m128 ordered4(__m128 v, __m128 t, float s, float f) {
    const __m128 vs = _mm_set1_ps(s);
    __m128 b = _mm_mul_ps(_mm_cvtepi32_ps(_mm_cvttps_epi32(_mm_mul_ps(v, _mm_set1_ps(f)))), vs);
    const __m128 up = _mm_cmplt_ps(t, _mm_sub_ps(v, b));
    return _mm_add_ps(b, _mm_and_ps(up, vs));
}

// Threshold of pixel x on image row y.
template <bool Noise>
inline float threshold(const OrderedCtx& c, int x, int y) {
    if (Noise) {
        return (c.N[cel::rb::noiseIndex(c.P, x, y)] + bayer_thresh[y & 3][x & 3]) * c.s;
    }
    return c.T[y & 3][x & 3];
}

// Thresholds of pixels x .. x+3 (x a multiple of 4), assembled from scalar loads in the noise forms.
template <bool Noise>
inline __m128 threshold4(const OrderedCtx& c, int x, int y) {
    if (!Noise) return _mm_load_ps(c.T[y & 3]);
    return _mm_setr_ps(threshold<true>(c, x, y), threshold<true>(c, x + 1, y), threshold<true>(c, x + 2, y),
                       threshold<true>(c, x + 3, y));
}

template <int i>
inline __m128 splat(__m128 v) {
    return _mm_shuffle_ps(v, v, _MM_SHUFFLE(i, i, i, i));
}

// One row of _C1R, _C3R or _AC4R.  The noise kernels of the float forms add
// 0.5 before truncating.
template <class F, int C, bool Noise>
void y8_innerReduceBits_bayer(const typename F::S* s, typename F::D* d, int width, int y, const OrderedCtx& c) {
    constexpr int E = elementsPerPixel(C);
    int x = 0;
    if (C == kC1) {
        // body: groups of 8 pixels
        for (; x + 8 <= width; x += 8)
            for (int h = 0; h < 8; h += 4)
                F::store4(d + x + h, F::template orderedOut4<Noise>(
                                         ordered4<F>(F::value4(s + x + h), threshold4<Noise>(c, x + h, y), c.s, c.f)));
    } else if (C == kC3) {
        // body: groups of 4 pixels, 12 elements, thresholds t0 t0 t0 t1 | t1 t1 t2 t2 | t2 t3 t3 t3
        for (; x + 4 <= width; x += 4) {
            const __m128 t = threshold4<Noise>(c, x, y);
            const __m128 t0 = _mm_shuffle_ps(t, t, _MM_SHUFFLE(1, 0, 0, 0));
            const __m128 t1 = _mm_shuffle_ps(t, t, _MM_SHUFFLE(2, 2, 1, 1));
            const __m128 t2 = _mm_shuffle_ps(t, t, _MM_SHUFFLE(3, 3, 3, 2));
            const auto* sp = s + 3 * x;
            auto* dp = d + 3 * x;
            F::store4(dp, F::template orderedOut4<Noise>(ordered4<F>(F::value4(sp), t0, c.s, c.f)));
            F::store4(dp + 4, F::template orderedOut4<Noise>(ordered4<F>(F::value4(sp + 4), t1, c.s, c.f)));
            F::store4(dp + 8, F::template orderedOut4<Noise>(ordered4<F>(F::value4(sp + 8), t2, c.s, c.f)));
        }
    } else {
        // body: groups of 4 pixels, all four lanes computed, alpha not stored
        for (; x + 4 <= width; x += 4) {
            const __m128 t = threshold4<Noise>(c, x, y);
            const __m128 tp[4] = {splat<0>(t), splat<1>(t), splat<2>(t), splat<3>(t)};
            for (int k = 0; k < 4; ++k)
                F::store3(d + 4 * (x + k), F::template orderedOut4<Noise>(
                                               ordered4<F>(F::value4(s + 4 * (x + k)), tp[k], c.s, c.f)));
        }
    }
    // tail: the same rule, one pixel at a time
    for (; x < width; ++x) {
        const float t = threshold<Noise>(c, x, y);
        const int n = C == kC3 ? 3 : (C == kC1 ? 1 : 3);
        for (int ch = 0; ch < n; ++ch)
            d[E * x + ch] = static_cast<typename F::D>(
                F::template orderedOut<Noise>(orderedPx<F>(F::value(s[E * x + ch]), t, c.s, c.f)));
    }
}

// One row of _C4R: four pixels an iteration, all four channels stored, no
// half-step rounding.  The noise kernels treat the last width % 4 pixels
// differently: the unscaled matrix value, no noise, and outside the 8u form
// only channel 0 sees it while channels 1 to 3 compare against 0.
template <class F, bool Noise>
void y8_innerReduceBits_bayer_c4(const typename F::S* s, typename F::D* d, int width, int y, const OrderedCtx& c) {
    int x = 0;
    // body: 4 pixels, one threshold per pixel across its four channels
    for (; x + 4 <= width; x += 4) {
        const __m128 t = threshold4<Noise>(c, x, y);
        const __m128 tp[4] = {splat<0>(t), splat<1>(t), splat<2>(t), splat<3>(t)};
        for (int k = 0; k < 4; ++k)
            F::store4(d + 4 * (x + k),
                      F::template orderedOut4<false>(ordered4<F>(F::value4(s + 4 * (x + k)), tp[k], c.s, c.f)));
    }
    // tail: pixel by pixel
    for (; x < width; ++x)
        for (int ch = 0; ch < 4; ++ch) {
            float t;
            if (!Noise)
                t = threshold<false>(c, x, y);
            else if (sizeof(typename F::S) == 1 || ch == 0)
                t = bayer_thresh[y & 3][x & 3];
            else
                t = 0.0f;
            d[4 * x + ch] =
                static_cast<typename F::D>(F::template orderedOut<false>(orderedPx<F>(F::value(s[4 * x + ch]), t, c.s, c.f)));
        }
}

template <class F, int C>
CelStatus ordered(const typename F::S* src, int srcStep, typename F::D* dst, int dstStep, CelSize roi, int noise,
                  float L, uint8_t* scratch) {
    OrderedCtx c{};
    F::stepAndFactor(L, c.s, c.f);
    if (noise != 0) {
        if (scratch == nullptr) return celStatusNullPointer;
        uint8_t* base = cel::rb::alignedBase(scratch);
        cel::rb::buildNoiseTables(base, static_cast<float>(-noise) / 100.0f, static_cast<float>(noise) / 100.0f);
        c.N = cel::rb::noiseTable(base);
        c.P = cel::rb::positionTable(base);
    } else {
        for (int r = 0; r < 4; ++r)
            for (int q = 0; q < 4; ++q) c.T[r][q] = bayer_thresh[r][q] * c.s;
    }
    // The four-channel rows take the byte steps as given; the others index by
    // element, so a step that is no multiple of the element size loses its
    // remainder there.
    if (C != kC4) {
        constexpr int srcShift = sizeof(typename F::S) == 4 ? 2 : (sizeof(typename F::S) == 2 ? 1 : 0);
        constexpr int dstShift = sizeof(typename F::D) == 2 ? 1 : 0;
        srcStep = static_cast<int>(static_cast<uint32_t>(srcStep >> srcShift) << srcShift);
        dstStep = static_cast<int>(static_cast<uint32_t>(dstStep >> dstShift) << dstShift);
    }
    for (int y = 0; y < roi.height; ++y) {
        const auto* s = cel::rowAt(src, y, srcStep);
        auto* d = cel::rowAt(dst, y, dstStep);
        if (C == kC4) {
            if (noise)
                y8_innerReduceBits_bayer_c4<F, true>(s, d, roi.width, y, c);
            else
                y8_innerReduceBits_bayer_c4<F, false>(s, d, roi.width, y, c);
        } else if (noise) {
            y8_innerReduceBits_bayer<F, C, true>(s, d, roi.width, y, c);
        } else {
            y8_innerReduceBits_bayer<F, C, false>(s, d, roi.width, y, c);
        }
    }
    return celStatusOk;
}

// Checks in order: pointers, sizes, noise, levels, then the dither mode.
template <class F, int C>
CelStatus reduceBits(const typename F::S* src, int srcStep, typename F::D* dst, int dstStep, CelSize roi, int noise,
                     CelDitherMode mode, int levels, uint8_t* scratch) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roi, 1, 1)) return celStatusBadSize;
    if (static_cast<uint32_t>(noise) > 100u) return celStatusBadNoise;
    if (static_cast<uint32_t>(levels - 2) > static_cast<uint32_t>(F::kMaxLevels - 2)) return celStatusBadLevels;
    const float L = static_cast<float>(levels - 1);
    switch (static_cast<int>(mode)) {
        case celDitherOff:
            y8_ownNo_PX<F, C>(src, srcStep, dst, dstStep, roi.width, roi.height, levels);
            return celStatusOk;
        case celDitherOrdered:
            return ordered<F, C>(src, srcStep, dst, dstStep, roi, noise, L, scratch);
        case celDitherFloydSteinberg:
        case celDitherJarvisJudiceNinke:
        case celDitherStucki:
            return cel::rb::diffuse<typename F::S, typename F::D>(src, srcStep, dst, dstStep, roi, noise, mode, L,
                                                                  C == kC1 ? 1 : (C == kC3 ? 3 : (C == kAC4 ? 3 : 4)),
                                                                  elementsPerPixel(C), scratch);
        default:
            return celStatusBadDither;
    }
}

}  // namespace

// ---- Tier functions, one per type form and channel form ----------------------
#define CEL_REDUCE_BITS_TIER(tok, SrcT, DstT, ch, code)                                                            \
    extern "C" CelStatus y8_celiReduceBits_##tok##_##ch##R(const SrcT* src, int srcStep, DstT* dst, int dstStep, \
                                                          CelSize roiSize, int noise, CelDitherMode ditherMode,  \
                                                          int levels, uint8_t* scratch) {                        \
        return reduceBits<Form<SrcT, DstT>, code>(src, srcStep, dst, dstStep, roiSize, noise, ditherMode, levels, \
                                                  scratch);                                                      \
    }
#define CEL_REDUCE_BITS_FORMS(tok, SrcT, DstT)      \
    CEL_REDUCE_BITS_TIER(tok, SrcT, DstT, C1, kC1)  \
    CEL_REDUCE_BITS_TIER(tok, SrcT, DstT, C3, kC3)  \
    CEL_REDUCE_BITS_TIER(tok, SrcT, DstT, AC4, kAC4) \
    CEL_REDUCE_BITS_TIER(tok, SrcT, DstT, C4, kC4)

CEL_REDUCE_BITS_FORMS(8u, uint8_t, uint8_t)
CEL_REDUCE_BITS_FORMS(16u, uint16_t, uint16_t)
CEL_REDUCE_BITS_FORMS(16s, int16_t, int16_t)
CEL_REDUCE_BITS_FORMS(16u8u, uint16_t, uint8_t)
CEL_REDUCE_BITS_FORMS(16s8u, int16_t, uint8_t)
CEL_REDUCE_BITS_FORMS(32f8u, float, uint8_t)
CEL_REDUCE_BITS_FORMS(32f16u, float, uint16_t)
CEL_REDUCE_BITS_FORMS(32f16s, float, int16_t)

#undef CEL_REDUCE_BITS_FORMS
#undef CEL_REDUCE_BITS_TIER

// Scratch size: checks scratchSize, width, channel code, noise, mode.  The
// two generator states are sized by the generator and rounded up to 16.
extern "C" CelStatus y8_celiReduceBitsGetBufferSize(int channelCode, CelSize roiSize, int noise,
                                                   CelDitherMode ditherMode, int* scratchSize) {
    if (scratchSize == nullptr) return celStatusNullPointer;
    if (roiSize.width < 1) return celStatusBadSize;
    if (channelCode != 1 && channelCode != 3 && channelCode != 4 && channelCode != 9) return celStatusBadChannelCode;
    if (static_cast<uint32_t>(noise) > 100u) return celStatusBadNoise;
    const int mode = static_cast<int>(ditherMode);
    if (mode < 0 || mode > 4) return celStatusBadDither;
    // The size is a 32-bit count: it is worked out in unsigned 32-bit
    // arithmetic, so a width whose error rows pass 2^31 bytes (above about
    // 178 million pixels) wraps as a 32-bit product does instead of
    // overflowing a signed int.
    const uint32_t w = static_cast<uint32_t>(roiSize.width);
    uint32_t errorRows = 0;
    if (mode == celDitherFloydSteinberg) errorRows = 4u * (2u * w + 4u);
    if (mode == celDitherJarvisJudiceNinke || mode == celDitherStucki) errorRows = 4u * (3u * w + 12u);
    int size16 = 0, size32 = 0;
    y8_celsRandUniformGetSize_16s(&size16);
    y8_celsRandUniformGetSize_32f(&size32);
    const int noiseBlock = 6144 + ((size16 + 15) & ~15) + ((size32 + 15) & ~15);
    uint32_t size = 0;
    if (mode == celDitherOrdered)
        size = noise ? noiseBlock + 64u : 0u;
    else if (mode != celDitherOff)
        size = errorRows + (noise ? noiseBlock + 64u : 64u);
    *scratchSize = static_cast<int>(size);
    return celStatusOk;
}
