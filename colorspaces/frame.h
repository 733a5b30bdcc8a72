// The three-layer frame shared by the colour-space families (XYZ, LUV, HLS,
// HSV, YCC, interleaved Lab):
//
//   entry      y8_celi<X>_<depth>_<layout>: checks pointers, then sizes,
//              turns the byte steps into element steps (arithmetic shift by
//              1 for 16-bit, by 2 for 32-bit elements) and calls the row
//              loop with a channel count of 3 (C3) or 4 (AC4);
//   row loop   one function for both layouts; the row offset is a running
//              signed 32-bit count of elements;
//   kernel     (source row, destination row, width, channels): 4 selects
//              the four-channel path, anything else the three-channel one.
//
// On the destination the fourth element of an AC4 pixel keeps its value:
// scalar paths never write it, vector paths merge the old alpha back.
#pragma once

#include <smmintrin.h>

#include <cstdint>
#include <cstring>

#include "frame/status.h"

namespace cel::cs {

template <class T>
inline constexpr int kElemShift = sizeof(T) == 1 ? 0 : (sizeof(T) == 2 ? 1 : 2);

template <class T>
using RowKernel = void (*)(const T* src, T* dst, int width, int channels);

// Row loop: element steps, 32-bit signed running offsets.
template <class T, RowKernel<T> Kernel>
void rowLoop(const T* src, int srcStep, T* dst, int dstStep, CelSize roi, int channels) {
    int32_t so = 0, d_o = 0;
    for (int j = 0; j < roi.height; ++j) {
        Kernel(src + so, dst + d_o, roi.width, channels);
        so = static_cast<int32_t>(static_cast<uint32_t>(so) + static_cast<uint32_t>(srcStep));
        d_o = static_cast<int32_t>(static_cast<uint32_t>(d_o) + static_cast<uint32_t>(dstStep));
    }
}

using RowLoop8u = void (*)(const uint8_t*, int, uint8_t*, int, CelSize, int);

// Entry: the checks every family of the frame shares, then the row loop.
template <class T, void (*Loop)(const T*, int, T*, int, CelSize, int)>
CelStatus entry(const T* src, int srcStep, T* dst, int dstStep, CelSize roi, int channels) {
    if (anyNull(src, dst)) return celStatusNullPointer;
    if (sizeBelow(roi, 1, 1)) return celStatusBadSize;
    Loop(src, srcStep >> kElemShift<T>, dst, dstStep >> kElemShift<T>, roi, channels);
    return celStatusOk;
}

}  // namespace cel::cs

// The entry function of family `fam` at one depth and layout (C3R, AC4R):
// the family's row loop y8_my<fam>_<depth>_C3R with the layout's channels.
#define CEL_CS_ENTRY(fam, depth, layout, T, channels)                                                        \
    extern "C" CelStatus y8_celi##fam##_##depth##_##layout(const T* src, int srcStep, T* dst, int dstStep,   \
                                                           CelSize roiSize) {                                \
        return cel::cs::entry<T, y8_my##fam##_##depth##_C3R>(src, srcStep, dst, dstStep, roiSize, channels); \
    }
// Both layouts.
#define CEL_CS_ENTRIES(fam, depth, T) CEL_CS_ENTRY(fam, depth, C3R, T, 3) CEL_CS_ENTRY(fam, depth, AC4R, T, 4)

namespace cel::cs {

// ---- Pieces the kernels share ---------------------------------------------------
// Four float pixels of three channels (12 floats) -> one vector per channel.
inline void split3x4f(const float* p, __m128& c0, __m128& c1, __m128& c2) {
    // a = 0a 0b 0c 1a, b = 1b 1c 2a 2b, c = 2c 3a 3b 3c: two blends gather a
    // channel in a rotated order, one shuffle puts it in pixel order
    const __m128 a = _mm_loadu_ps(p), b = _mm_loadu_ps(p + 4), c = _mm_loadu_ps(p + 8);
    const __m128 x = _mm_blend_ps(_mm_blend_ps(a, b, 0x4), c, 0x2);  // pixels 0 3 2 1
    const __m128 y = _mm_blend_ps(_mm_blend_ps(a, b, 0x9), c, 0x4);  // pixels 1 0 3 2
    const __m128 z = _mm_blend_ps(_mm_blend_ps(a, b, 0x2), c, 0x9);  // pixels 2 1 0 3
    c0 = _mm_shuffle_ps(x, x, _MM_SHUFFLE(1, 2, 3, 0));
    c1 = _mm_shuffle_ps(y, y, _MM_SHUFFLE(2, 3, 0, 1));
    c2 = _mm_shuffle_ps(z, z, _MM_SHUFFLE(3, 0, 1, 2));
}

// One vector per channel -> four float pixels of three channels: the same
// rotations backwards, then two blends a store.
inline void join3x4f(float* p, __m128 c0, __m128 c1, __m128 c2) {
    const __m128 x = _mm_shuffle_ps(c0, c0, _MM_SHUFFLE(1, 2, 3, 0));  // pixels 0 3 2 1
    const __m128 y = _mm_shuffle_ps(c1, c1, _MM_SHUFFLE(2, 3, 0, 1));  // pixels 1 0 3 2
    const __m128 z = _mm_shuffle_ps(c2, c2, _MM_SHUFFLE(3, 0, 1, 2));  // pixels 2 1 0 3
    _mm_storeu_ps(p, _mm_blend_ps(_mm_blend_ps(x, y, 0x2), z, 0x4));
    _mm_storeu_ps(p + 4, _mm_blend_ps(_mm_blend_ps(y, z, 0x2), x, 0x4));
    _mm_storeu_ps(p + 8, _mm_blend_ps(_mm_blend_ps(z, x, 0x2), y, 0x4));
}

// For lane-wise arithmetic the three channels need one common lane order,
// not pixel order: split3x4fLanes leaves them in the first channel's rotated
// order (pixels 0 3 2 1) with two shuffles, join3x4fLanes takes them back
// from it with two.  splitLanes<N> / joinLanes<N> (below) pick these for
// three channels and the transposes for four (pixel order, alpha kept).
inline void split3x4fLanes(const float* p, __m128& c0, __m128& c1, __m128& c2) {
    const __m128 a = _mm_loadu_ps(p), b = _mm_loadu_ps(p + 4), c = _mm_loadu_ps(p + 8);
    c0 = _mm_blend_ps(_mm_blend_ps(a, b, 0x4), c, 0x2);                       // pixels 0 3 2 1
    const __m128 y = _mm_blend_ps(_mm_blend_ps(a, b, 0x9), c, 0x4);           // pixels 1 0 3 2
    const __m128 z = _mm_blend_ps(_mm_blend_ps(a, b, 0x2), c, 0x9);           // pixels 2 1 0 3
    c1 = _mm_shuffle_ps(y, y, _MM_SHUFFLE(0, 3, 2, 1));
    c2 = _mm_shuffle_ps(z, z, _MM_SHUFFLE(1, 0, 3, 2));
}
inline void join3x4fLanes(float* p, __m128 c0, __m128 c1, __m128 c2) {
    const __m128 x = c0;                                                // pixels 0 3 2 1
    const __m128 y = _mm_shuffle_ps(c1, c1, _MM_SHUFFLE(2, 1, 0, 3));  // pixels 1 0 3 2
    const __m128 z = _mm_shuffle_ps(c2, c2, _MM_SHUFFLE(1, 0, 3, 2));  // pixels 2 1 0 3
    _mm_storeu_ps(p, _mm_blend_ps(_mm_blend_ps(x, y, 0x2), z, 0x4));
    _mm_storeu_ps(p + 4, _mm_blend_ps(_mm_blend_ps(y, z, 0x2), x, 0x4));
    _mm_storeu_ps(p + 8, _mm_blend_ps(_mm_blend_ps(z, x, 0x2), y, 0x4));
}

// Four float pixels of four channels -> the first three, one vector each.
inline void split4x4f(const float* p, __m128& c0, __m128& c1, __m128& c2) {
    __m128 a = _mm_loadu_ps(p), b = _mm_loadu_ps(p + 4), c = _mm_loadu_ps(p + 8), d = _mm_loadu_ps(p + 12);
    _MM_TRANSPOSE4_PS(a, b, c, d);
    c0 = a, c1 = b, c2 = c;
}

// Three channel vectors -> four float pixels of four channels, the old
// fourth elements merged back.
inline void join4x4fKeepAlpha(float* p, __m128 c0, __m128 c1, __m128 c2) {
    __m128 a = c0, b = c1, c = c2, d = _mm_setzero_ps();
    _MM_TRANSPOSE4_PS(a, b, c, d);
    _mm_storeu_ps(p, _mm_blend_ps(a, _mm_loadu_ps(p), 8));
    _mm_storeu_ps(p + 4, _mm_blend_ps(b, _mm_loadu_ps(p + 4), 8));
    _mm_storeu_ps(p + 8, _mm_blend_ps(c, _mm_loadu_ps(p + 8), 8));
    _mm_storeu_ps(p + 12, _mm_blend_ps(d, _mm_loadu_ps(p + 12), 8));
}

// Four float pixels of N (3 or 4) channels <-> one vector per channel in a
// lane order both directions share: for lane-wise arithmetic only.
template <int N>
inline void splitLanes(const float* p, __m128& c0, __m128& c1, __m128& c2) {
    if constexpr (N == 4)
        split4x4f(p, c0, c1, c2);
    else
        split3x4fLanes(p, c0, c1, c2);
}
template <int N>
inline void joinLanes(float* p, __m128 c0, __m128 c1, __m128 c2) {
    if constexpr (N == 4)
        join4x4fKeepAlpha(p, c0, c1, c2);
    else
        join3x4fLanes(p, c0, c1, c2);
}

// A float row of N-channel pixels for a lane-wise recipe: four pixels a step
// through `body(c0, c1, c2, o0, o1, o2)` between splitLanes and joinLanes,
// then `tail(src pixel, dst pixel)` one pixel at a time.
template <int N, class Body, class Tail>
inline void laneRow(const float* s, float* d, int width, Body body, Tail tail) {
    int x = 0;
    for (; x + 4 <= width; x += 4) {
        __m128 c0, c1, c2, o0, o1, o2;
        splitLanes<N>(s + N * x, c0, c1, c2);
        body(c0, c1, c2, o0, o1, o2);
        joinLanes<N>(d + N * x, o0, o1, o2);
    }
    for (; x < width; ++x) tail(s + N * x, d + N * x);
}

// A float row of three-channel pixels for a per-pixel recipe whose output
// channels are each a function of the pixel's three inputs, with the output
// left in store order: the four pixels' twelve outputs are three vectors as
// they are stored, lane l of vector k being channel (4k + l) % 3 of pixel
// (4k + l) / 3.  For each k the pixel's inputs 0, 1, 2 are put in those same
// lanes (nine shuffles and four blends for the three vectors, against six
// blends and two shuffles to split and six blends and two shuffles to join
// channel vectors), `body(k, in0, in1, in2)` returns output vector k, and
// `tail(src pixel, dst pixel)` does the last pixels one at a time.
template <class Body, class Tail>
inline void storeOrderRow3f(const float* s, float* d, int width, Body body, Tail tail) {
    int x = 0;
    // two groups an iteration: a few percent in the cache
#pragma GCC unroll 2
    for (; x + 4 <= width; x += 4) {
        const float* p = s + 3 * x;
        // a = 0a 0b 0c 1a, b = 1b 1c 2a 2b, c = 2c 3a 3b 3c
        const __m128 a = _mm_loadu_ps(p), b = _mm_loadu_ps(p + 4), c = _mm_loadu_ps(p + 8);
        // vector 0: pixels 0 0 0 1
        const __m128 ab1 = _mm_blend_ps(a, b, 0x1), ab2 = _mm_blend_ps(a, b, 0x2);  // 1b 0b 0c 1a, 0a 1c 0c 1a
        const __m128 o0 = body(0, _mm_shuffle_ps(a, a, _MM_SHUFFLE(3, 0, 0, 0)),
                               _mm_shuffle_ps(ab1, ab1, _MM_SHUFFLE(0, 1, 1, 1)),
                               _mm_shuffle_ps(ab2, ab2, _MM_SHUFFLE(1, 2, 2, 2)));
        // vector 1: pixels 1 1 2 2
        const __m128 o1 = body(1, _mm_shuffle_ps(a, b, _MM_SHUFFLE(2, 2, 3, 3)),
                               _mm_shuffle_ps(b, b, _MM_SHUFFLE(3, 3, 0, 0)),
                               _mm_shuffle_ps(b, c, _MM_SHUFFLE(0, 0, 1, 1)));
        // vector 2: pixels 2 3 3 3
        const __m128 cb4 = _mm_blend_ps(c, b, 0x4), cb8 = _mm_blend_ps(c, b, 0x8);  // 2c 3a 2a 3c, 2c 3a 3b 2b
        const __m128 o2 = body(2, _mm_shuffle_ps(cb4, cb4, _MM_SHUFFLE(1, 1, 1, 2)),
                               _mm_shuffle_ps(cb8, cb8, _MM_SHUFFLE(2, 2, 2, 3)),
                               _mm_shuffle_ps(c, c, _MM_SHUFFLE(3, 3, 3, 0)));
        float* q = d + 3 * x;
        _mm_storeu_ps(q, o0);
        _mm_storeu_ps(q + 4, o1);
        _mm_storeu_ps(q + 8, o2);
    }
    for (; x < width; ++x) tail(s + 3 * x, d + 3 * x);
}

// ---- 16-bit pixels ------------------------------------------------------------------
// Four pixels of three or four 16-bit channels -> the first three channels
// as four 32-bit lanes each, widened with or without sign.
template <int N, bool Signed>
inline void split16x4(const uint16_t* p, __m128i& c0, __m128i& c1, __m128i& c2) {
    __m128i a, b;  // channel-grouped words: a = c0 (4) c1 (4), b = c2 (4)
    if constexpr (N == 3) {
        // 12 words: load 8 + 4; gather each channel's words into the low half
        const __m128i lo = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        const __m128i hi = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p + 8));
        // words 0..7 in lo, 8..11 in hi: c0 at 0,3,6,9; c1 at 1,4,7,10; c2 at 2,5,8,11
        const __m128i fromLo = _mm_setr_epi8(0, 1, 6, 7, 12, 13, -1, -1, 2, 3, 8, 9, 14, 15, -1, -1);
        const __m128i fromHi = _mm_setr_epi8(-1, -1, -1, -1, -1, -1, 2, 3, -1, -1, -1, -1, -1, -1, 4, 5);
        a = _mm_or_si128(_mm_shuffle_epi8(lo, fromLo), _mm_shuffle_epi8(hi, fromHi));
        const __m128i c2Lo = _mm_setr_epi8(4, 5, 10, 11, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1);
        const __m128i c2Hi = _mm_setr_epi8(-1, -1, -1, -1, 0, 1, 6, 7, -1, -1, -1, -1, -1, -1, -1, -1);
        b = _mm_or_si128(_mm_shuffle_epi8(lo, c2Lo), _mm_shuffle_epi8(hi, c2Hi));
    } else {
        // 16 words in two loads of two pixels: group by channel, then combine
        const __m128i byCh = _mm_setr_epi8(0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15);
        const __m128i s0 = _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)), byCh);
        const __m128i s1 = _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 8)), byCh);
        a = _mm_unpacklo_epi32(s0, s1);  // c0 0-3, c1 0-3
        b = _mm_unpackhi_epi32(s0, s1);  // c2 0-3, c3 0-3
    }
    if constexpr (Signed) {
        c0 = _mm_cvtepi16_epi32(a);
        c1 = _mm_cvtepi16_epi32(_mm_srli_si128(a, 8));
        c2 = _mm_cvtepi16_epi32(b);
    } else {
        c0 = _mm_cvtepu16_epi32(a);
        c1 = _mm_cvtepu16_epi32(_mm_srli_si128(a, 8));
        c2 = _mm_cvtepu16_epi32(b);
    }
}

// Three vectors of four words (low halves) -> four pixels of three words,
// or of four words with the old fourth word kept.
template <int N>
inline void join16x4(uint16_t* p, __m128i c0, __m128i c1, __m128i c2) {
    if constexpr (N == 3) {
        const __m128i c01 = _mm_unpacklo_epi64(c0, c1);  // c0 0-3, c1 0-3
        // out words 0..7: c0_0 c1_0 c2_0 c0_1 c1_1 c2_1 c0_2 c1_2; 8..11: c2_2 c0_3 c1_3 c2_3
        const __m128i lo = _mm_or_si128(
            _mm_shuffle_epi8(c01, _mm_setr_epi8(0, 1, 8, 9, -1, -1, 2, 3, 10, 11, -1, -1, 4, 5, 12, 13)),
            _mm_shuffle_epi8(c2, _mm_setr_epi8(-1, -1, -1, -1, 0, 1, -1, -1, -1, -1, 2, 3, -1, -1, -1, -1)));
        const __m128i hi = _mm_or_si128(
            _mm_shuffle_epi8(c01, _mm_setr_epi8(-1, -1, 6, 7, 14, 15, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1)),
            _mm_shuffle_epi8(c2, _mm_setr_epi8(4, 5, -1, -1, -1, -1, 6, 7, -1, -1, -1, -1, -1, -1, -1, -1)));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p), lo);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(p + 8), hi);
    } else {
        const __m128i c01 = _mm_unpacklo_epi16(c0, c1), c23 = _mm_unpacklo_epi16(c2, _mm_setzero_si128());
        const __m128i px01 = _mm_unpacklo_epi32(c01, c23), px23 = _mm_unpackhi_epi32(c01, c23);
        const __m128i old01 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        const __m128i old23 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 8));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm_blend_epi16(px01, old01, 0x88));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p + 8), _mm_blend_epi16(px23, old23, 0x88));
    }
}

// ---- 8-bit pixels -------------------------------------------------------------------
// Four pixels of three (12 bytes, nothing read beyond) or four 8-bit
// channels -> the first three channels as four 32-bit lanes each.
template <int N>
inline void split8x4(const uint8_t* p, __m128i& c0, __m128i& c1, __m128i& c2) {
    __m128i v;
    if constexpr (N == 3) {
        int32_t last;
        std::memcpy(&last, p + 8, 4);
        v = _mm_insert_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)), last, 2);
    } else {
        v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    }
    const auto lane = [](int k) { return static_cast<char>(k); };
    constexpr char z = -1;
    c0 = _mm_shuffle_epi8(v, _mm_setr_epi8(0, z, z, z, lane(N), z, z, z, lane(2 * N), z, z, z, lane(3 * N), z, z, z));
    c1 = _mm_shuffle_epi8(v, _mm_setr_epi8(1, z, z, z, lane(N + 1), z, z, z, lane(2 * N + 1), z, z, z, lane(3 * N + 1), z, z, z));
    c2 = _mm_shuffle_epi8(v, _mm_setr_epi8(2, z, z, z, lane(N + 2), z, z, z, lane(2 * N + 2), z, z, z, lane(3 * N + 2), z, z, z));
}

// Three vectors of four 32-bit lanes -> four pixels of 8-bit channels, each
// value limited to 0..255 by the signed 16-bit and unsigned 8-bit packs.
// N == 4 keeps the old fourth byte of every pixel.
template <int N>
inline void join8x4(uint8_t* p, __m128i c0, __m128i c1, __m128i c2) {
    const __m128i b = _mm_packus_epi16(_mm_packs_epi32(c0, c1), _mm_packs_epi32(c2, c2));  // c0 x4, c1 x4, c2 x4
    constexpr char z = -1;
    if constexpr (N == 3) {
        const __m128i px = _mm_shuffle_epi8(b, _mm_setr_epi8(0, 4, 8, 1, 5, 9, 2, 6, 10, 3, 7, 11, z, z, z, z));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(p), px);
        const int32_t last = _mm_extract_epi32(px, 2);
        std::memcpy(p + 8, &last, 4);
    } else {
        const __m128i px = _mm_shuffle_epi8(b, _mm_setr_epi8(0, 4, 8, z, 1, 5, 9, z, 2, 6, 10, z, 3, 7, 11, z));
        const __m128i old = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm_blendv_epi8(old, px, _mm_set1_epi32(0x00FFFFFF)));
    }
}

}  // namespace cel::cs
