// Moving YCoCg pixels in and out of vectors: interleaved pixels of three or
// four 8-bit or 16-bit samples to vectors of 16-bit lanes and back, and the
// plane rows of 16 or 32-bit samples.  A block of W pixels is held as one or
// two vectors per channel (the `half` index); every load and store touches
// exactly the block's bytes.
//
//   samples   W    lanes per channel
//   8-bit     16   two vectors of eight 16-bit lanes
//   8-bit     8    one vector of eight 16-bit lanes
//   16-bit    8    one vector of eight 16-bit lanes
//   16-bit    4    the low four 16-bit lanes of one vector
//
// 8-bit pixels on the way in are split eight at a time into B, R byte pairs
// and G words (splitPairs), which the forward kernels turn into R + B and
// R - B by multiply-adds; on the way out they are joined from three channels.
//
// Three 16-bit channels: in 24 elements read as three vectors of eight,
// element q of vector k holds channel (8k + q) % 3, and for a fixed q the
// three vectors hold three different channels; blending the vectors by
// channel and one word shuffle per channel gives (or undoes) pixel order.
#pragma once

#include <smmintrin.h>

#include <cstdint>
#include <type_traits>

#include "frame/simd.h"
#include "ycocg/recipes.h"

namespace cel::ycocg {

// A form of either direction: pixel and plane sample types, channels a
// pixel, transform, and whether its lanes are 32-bit (else 16-bit).  The
// blocks follow the pixel side: 16 and 8 pixels for 8-bit pixels, 8 and 4
// for 16-bit ones; the aligned block of 32-bit planes needs a width that is
// a multiple of 8.
template <class Pix, class Plane, int N, bool Lifting, bool Lanes32>
struct Form {
    using P = Pix;
    using Q = Plane;
    static constexpr int kChannels = N;
    static constexpr bool kLifting = Lifting;
    static constexpr bool k8u = sizeof(Pix) == 1;
    static constexpr int kWide = k8u ? 16 : 8, kNarrow = k8u ? 8 : 4;
    static constexpr bool k32 = Lanes32;
    static constexpr bool kWidth8 = sizeof(Plane) == 4;
    using VO = std::conditional_t<Lanes32, V32, V16>;
    using SO = std::conditional_t<Lanes32, S32, S16>;
};

namespace detail {

struct Words3 {
    alignas(16) int8_t gather[3][16];   // channel c: lane j <- element (3j + c) % 8 of the blend
    alignas(16) int8_t scatter[3][16];  // channel c: element q <- lane (8k + q) / 3 where channel c sits
};

constexpr Words3 makeWords3() {
    Words3 t{};
    for (int c = 0; c < 3; ++c)
        for (int j = 0; j < 8; ++j) {
            const int q = (3 * j + c) % 8;
            t.gather[c][2 * j] = static_cast<int8_t>(2 * q);
            t.gather[c][2 * j + 1] = static_cast<int8_t>(2 * q + 1);
            t.scatter[c][2 * q] = static_cast<int8_t>(2 * j);
            t.scatter[c][2 * q + 1] = static_cast<int8_t>(2 * j + 1);
        }
    return t;
}

inline constexpr Words3 kWords3 = makeWords3();

// blend masks: bit q set where element q of vector k holds channel c,
// i.e. (8k + q) % 3 == c
constexpr int wordMask(int k, int c) {
    int m = 0;
    for (int q = 0; q < 8; ++q)
        if ((8 * k + q) % 3 == c) m |= 1 << q;
    return m;
}

inline __m128i ld(const int8_t* p) { return _mm_load_si128(reinterpret_cast<const __m128i*>(p)); }

// Channel c of the eight pixels held in a, b, e (three vectors of eight words).
template <int c>
inline __m128i gatherWords3(__m128i a, __m128i b, __m128i e) {
    constexpr int m1 = wordMask(1, c), m2 = wordMask(2, c);
    const __m128i ab = _mm_blend_epi16(a, b, m1);
    return _mm_shuffle_epi8(_mm_blend_epi16(ab, e, m2), ld(kWords3.gather[c]));
}

// Vector k of the 24 interleaved words of three scattered channels.
template <int k>
inline __m128i scatterWords3(__m128i s0, __m128i s1, __m128i s2) {
    constexpr int m1 = wordMask(k, 1), m2 = wordMask(k, 2);
    return _mm_blend_epi16(_mm_blend_epi16(s0, s1, m1), s2, m2);
}

}  // namespace detail

template <class P>
inline __m128i loadV(const P* p) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}
template <bool Aligned, class P>
inline __m128i loadA(const P* p) {
    if constexpr (Aligned)
        return _mm_load_si128(reinterpret_cast<const __m128i*>(p));
    else
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}
template <bool Aligned, class P>
inline void storeA(P* p, __m128i v) {
    if constexpr (Aligned)
        _mm_store_si128(reinterpret_cast<__m128i*>(p), v);
    else
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v);
}
template <class P>
inline void storeV(P* p, __m128i v) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v);
}
template <class P>
inline void storeLow(P* p, __m128i v) {
    _mm_storel_epi64(reinterpret_cast<__m128i*>(p), v);
}

// ---- Interleaved pixels -> channels -----------------------------------------------------------
// Eight pixels of N 8-bit samples -> B and R as the low and high byte of
// eight 16-bit lanes, and G zero-extended in eight 16-bit lanes.  Two
// loads of 16 bytes inside the block's 24 or 32 bytes; each gives four
// pixels' B, R pairs and G words in its two halves.
template <int N>
inline void splitPairs(const uint8_t* p, __m128i& br, __m128i& g) {
    constexpr int o = N == 3 ? 4 : 0;  // the first byte of pixel 4 in the second load (from byte 8 or 16)
    const __m128i m0 = _mm_setr_epi8(0, 2, N, N + 2, 2 * N, 2 * N + 2, 3 * N, 3 * N + 2,  //
                                     1, -128, N + 1, -128, 2 * N + 1, -128, 3 * N + 1, -128);
    const __m128i m1 = _mm_setr_epi8(o, o + 2, o + N, o + N + 2, o + 2 * N, o + 2 * N + 2, o + 3 * N, o + 3 * N + 2,  //
                                     o + 1, -128, o + N + 1, -128, o + 2 * N + 1, -128, o + 3 * N + 1, -128);
    const __m128i s0 = _mm_shuffle_epi8(loadV(p), m0);
    const __m128i s1 = _mm_shuffle_epi8(loadV(p + (N == 3 ? 8 : 16)), m1);
    br = _mm_unpacklo_epi64(s0, s1);
    g = _mm_unpackhi_epi64(s0, s1);
}

// W pixels of N 16-bit samples -> the first three channels in 16-bit lanes.
template <int N, int W>
inline void splitPixels(const int16_t* p, __m128i (&c)[3][2]) {
    static_assert(W == 8 || W == 4);
    if constexpr (N == 3) {
        const __m128i a = loadV(p);
        const __m128i b = W == 8 ? loadV(p + 8) : _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p + 8));
        const __m128i e = W == 8 ? loadV(p + 16) : _mm_setzero_si128();  // pixels 0..3 need none of it
        c[0][0] = detail::gatherWords3<0>(a, b, e);
        c[1][0] = detail::gatherWords3<1>(a, b, e);
        c[2][0] = detail::gatherWords3<2>(a, b, e);
    } else {
        // two pixels a vector: words by channel (c0 c0 c1 c1 c2 c2 c3 c3), then pair up
        const __m128i byCh = _mm_setr_epi8(0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15);
        const __m128i s0 = _mm_shuffle_epi8(loadV(p), byCh), s1 = _mm_shuffle_epi8(loadV(p + 8), byCh);
        const __m128i lo01 = _mm_unpacklo_epi32(s0, s1), hi01 = _mm_unpackhi_epi32(s0, s1);  // c0 c1 / c2 c3 of px 0-3
        if constexpr (W == 8) {
            const __m128i s2 = _mm_shuffle_epi8(loadV(p + 16), byCh), s3 = _mm_shuffle_epi8(loadV(p + 24), byCh);
            const __m128i lo23 = _mm_unpacklo_epi32(s2, s3), hi23 = _mm_unpackhi_epi32(s2, s3);
            c[0][0] = _mm_unpacklo_epi64(lo01, lo23);
            c[1][0] = _mm_unpackhi_epi64(lo01, lo23);
            c[2][0] = _mm_unpacklo_epi64(hi01, hi23);
        } else {
            c[0][0] = lo01;
            c[1][0] = _mm_srli_si128(lo01, 8);
            c[2][0] = hi01;
        }
    }
}

// ---- Channels -> interleaved pixels ------------------------------------------------------------
// Three channels in 16-bit lanes -> W pixels of N 8-bit samples, each
// lane limited to 0..255 by the unsigned byte pack; the fourth byte of a
// four-channel pixel from `alpha` (16 equal bytes).
template <int N, int W>
inline void joinPixels(uint8_t* p, const __m128i (&c)[3][2], __m128i alpha) {
    if constexpr (W == 16) {
        const __m128i b0 = _mm_packus_epi16(c[0][0], c[0][1]), b1 = _mm_packus_epi16(c[1][0], c[1][1]);
        const __m128i b2 = _mm_packus_epi16(c[2][0], c[2][1]);
        if constexpr (N == 3)
            simd::join3x16(p, b0, b1, b2);
        else
            simd::join4x16(p, b0, b1, b2, alpha);
    } else {
        static_assert(W == 8);
        const __m128i b0 = _mm_packus_epi16(c[0][0], c[0][0]), b1 = _mm_packus_epi16(c[1][0], c[1][0]);
        const __m128i b2 = _mm_packus_epi16(c[2][0], c[2][0]);
        if constexpr (N == 3)
            simd::join3x8(p, b0, b1, b2);
        else
            simd::join4x8(p, b0, b1, b2, alpha);
    }
}

// Three channels in 16-bit lanes -> W pixels of N 16-bit samples, the
// fourth sample from `alpha` (eight equal words).
template <int N, int W>
inline void joinPixels(int16_t* p, const __m128i (&c)[3][2], __m128i alpha) {
    static_assert(W == 8 || W == 4);
    if constexpr (N == 3) {
        using detail::kWords3;
        using detail::ld;
        const __m128i s0 = _mm_shuffle_epi8(c[0][0], ld(kWords3.scatter[0]));
        const __m128i s1 = _mm_shuffle_epi8(c[1][0], ld(kWords3.scatter[1]));
        const __m128i s2 = _mm_shuffle_epi8(c[2][0], ld(kWords3.scatter[2]));
        storeV(p, detail::scatterWords3<0>(s0, s1, s2));
        if constexpr (W == 8) {
            storeV(p + 8, detail::scatterWords3<1>(s0, s1, s2));
            storeV(p + 16, detail::scatterWords3<2>(s0, s1, s2));
        } else {
            storeLow(p + 8, detail::scatterWords3<1>(s0, s1, s2));
        }
    } else {
        const __m128i lo01 = _mm_unpacklo_epi16(c[0][0], c[1][0]), lo2a = _mm_unpacklo_epi16(c[2][0], alpha);
        storeV(p, _mm_unpacklo_epi32(lo01, lo2a));
        storeV(p + 8, _mm_unpackhi_epi32(lo01, lo2a));
        if constexpr (W == 8) {
            const __m128i hi01 = _mm_unpackhi_epi16(c[0][0], c[1][0]), hi2a = _mm_unpackhi_epi16(c[2][0], alpha);
            storeV(p + 16, _mm_unpacklo_epi32(hi01, hi2a));
            storeV(p + 24, _mm_unpackhi_epi32(hi01, hi2a));
        }
    }
}

// ---- Lane widths -------------------------------------------------------------------------------------
// Eight 16-bit lanes -> two vectors of four sign-extended 32-bit lanes.
inline void widen(__m128i v, __m128i& lo, __m128i& hi) {
    lo = _mm_cvtepi16_epi32(v);
    hi = _mm_cvtepi16_epi32(_mm_srli_si128(v, 8));
}

// The low 16 bits of eight 32-bit lanes (lo: lanes 0-3, hi: 4-7).
inline __m128i low16(__m128i lo, __m128i hi) {
    const __m128i m = _mm_set1_epi32(0xFFFF);
    return _mm_packus_epi32(_mm_and_si128(lo, m), _mm_and_si128(hi, m));
}

}  // namespace cel::ycocg
