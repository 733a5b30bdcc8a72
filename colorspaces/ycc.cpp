// RGB <-> photo YCC in 8u, 16u, 16s (offset binary) and 32f, C3 and AC4
// (alpha untouched), on the shared colour-space frame.  Channel order Y, C1, C2.
//
//   depth    body                                       tail
//   32f      4 px, float recipe                         same recipe, same bits
//   16u/16s  4 px, float recipe, truncation,            same recipe; forward keeps
//            saturating 16-bit packs                    the low 16 bits, reverse limits
//   8u       8 px (C3 and AC4), 16-bit lanes,           32-bit integers; forward
//            multiply-high, Q6 forward / Q4 reverse     biases wrap, reverse limits
//
// The 8u body and tail use different arithmetic on purpose: the same pixel
// can convert differently according to its place in the row.
#include <smmintrin.h>

#include <cstdint>
#include <type_traits>

#include "colorspaces/frame.h"
#include "colorspaces/ycc_recipes.h"
#include "frame/simd.h"
#include "frame/tier.h"

namespace {

using namespace cel::cs::ycc;  // NOLINT: the family's recipes
using cel::cs::rowLoop;
using cel::cs::ll::load4;
using cel::cs::ll::raw;
using cel::cs::ll::store4;
using cel::cs::ll::trunci;

// ---- Float recipes: 32f, 16u, 16s ------------------------------------------------------
// A depth and direction: its recipe, and how a tail result is stored.
template <class S, bool Fwd>
struct FloatForm {
    template <class T>
    static void run(T a, T b, T c, T& o0, T& o1, T& o2) {
        if constexpr (std::is_same_v<S, float>)
            Fwd ? fwd32f(a, b, c, o0, o1, o2) : rev32f(a, b, c, o0, o1, o2);
        else if constexpr (std::is_same_v<S, uint16_t>)
            Fwd ? fwd16u(a, b, c, o0, o1, o2) : rev16u(a, b, c, o0, o1, o2);
        else
            Fwd ? fwd16s(a, b, c, o0, o1, o2) : rev16s(a, b, c, o0, o1, o2);
    }
    // Tail: truncation toward zero, then (integer forms, in the offset domain
    // for 16s) forward the low 16 bits, reverse a limit to the type's range.
    static S store(float v) {
        if constexpr (std::is_same_v<S, float>) {
            return v;
        } else {
            const int32_t t = trunci(v);
            if constexpr (!Fwd) return cel::cs::ll::fromInt<S>(t);
            return static_cast<S>(static_cast<uint16_t>(static_cast<uint32_t>(t) - (std::is_same_v<S, int16_t> ? 32768u : 0u)));
        }
    }
};

template <class S, int N, bool Fwd>
void floatRow(const S* s, S* d, int width) {
    using Form = FloatForm<S, Fwd>;
    int x = 0;
    // body: the float recipe on 4 pixels; integer results by saturating packs
    for (; x + 4 <= width; x += 4) {
        F4 a, b, c, o0, o1, o2;
        load4<S, N>(s + N * x, a, b, c);
        Form::run(a, b, c, o0, o1, o2);
        if constexpr (std::is_same_v<S, float>)
            store4(d + N * x, N, o0, o1, o2);
        else
            store4<S, N>(d + N * x, trunci(o0), trunci(o1), trunci(o2));
    }
    // tail: the same recipe one pixel at a time
    for (; x < width; ++x) {
        const S* p = s + N * x;
        S* q = d + N * x;
        float o0, o1, o2;
        Form::run(raw(p[0]), raw(p[1]), raw(p[2]), o0, o1, o2);
        q[0] = Form::store(o0), q[1] = Form::store(o1), q[2] = Form::store(o2);
    }
}

// ---- 8u ----------------------------------------------------------------------------------
// Eight pixels of the first three channels, each as 16-bit lanes holding
// sample << 8.
template <int N>
inline void load8High(const uint8_t* p, __m128i& c0, __m128i& c1, __m128i& c2) {
    if constexpr (N == 3)
        cel::simd::split3x8High(p, c0, c1, c2);
    else
        cel::simd::split4x8High(p, c0, c1, c2);
}

// Three vectors of eight 16-bit results -> eight pixels, packed with unsigned
// saturation; N == 4 merges the old fourth bytes back.
template <int N>
inline void store8(uint8_t* p, __m128i c0, __m128i c1, __m128i c2) {
    const __m128i b0 = _mm_packus_epi16(c0, c0), b1 = _mm_packus_epi16(c1, c1), b2 = _mm_packus_epi16(c2, c2);
    if constexpr (N == 3) {
        cel::simd::join3x8(p, b0, b1, b2);
    } else {
        const __m128i c01 = _mm_unpacklo_epi8(b0, b1), c2z = _mm_unpacklo_epi8(b2, _mm_setzero_si128());
        const __m128i keep = _mm_set1_epi32(0x00FFFFFF);
        auto* q = reinterpret_cast<__m128i*>(p);
        const __m128i old0 = _mm_loadu_si128(q), old1 = _mm_loadu_si128(q + 1);
        _mm_storeu_si128(q, _mm_blendv_epi8(old0, _mm_unpacklo_epi16(c01, c2z), keep));
        _mm_storeu_si128(q + 1, _mm_blendv_epi8(old1, _mm_unpackhi_epi16(c01, c2z), keep));
    }
}

template <int N, bool Fwd>
void row8u(const uint8_t* s, uint8_t* d, int width) {
    int x = 0;
    // body: 16-bit multiply-high recipe (Q6 forward, Q4 reverse), 8 pixels
    for (; x + 8 <= width; x += 8) {
        __m128i a, b, c, o0, o1, o2;
        load8High<N>(s + N * x, a, b, c);
        if constexpr (Fwd)
            fwd8uBody(a, b, c, o0, o1, o2);
        else
            rev8uBody(a, _mm_srli_epi16(b, 8), _mm_srli_epi16(c, 8), o0, o1, o2);
        store8<N>(d + N * x, o0, o1, o2);
    }
    // tail: 32-bit integer recipe (forward keeps the low 8 bits, reverse limits)
    for (; x < width; ++x) {
        const uint8_t* p = s + N * x;
        uint8_t* q = d + N * x;
        (Fwd ? fwd8uTail : rev8uTail)(p[0], p[1], p[2], q[0], q[1], q[2]);
    }
}

// ---- Kernels and row loops ---------------------------------------------------------------
void y8_innerRGBToYCC_8u_C3R(const uint8_t* s, uint8_t* d, int w, int c) {
    c == 4 ? row8u<4, true>(s, d, w) : row8u<3, true>(s, d, w);
}
void y8_innerYCCToRGB_8u_C3R(const uint8_t* s, uint8_t* d, int w, int c) {
    c == 4 ? row8u<4, false>(s, d, w) : row8u<3, false>(s, d, w);
}

#define CEL_YCC_FLOAT_KERNELS(depth, S)                                                                      \
    void y8_innerRGBToYCC_##depth##_C3R(const S* s, S* d, int w, int c) {                                  \
        c == 4 ? floatRow<S, 4, true>(s, d, w) : floatRow<S, 3, true>(s, d, w);                           \
    }
CEL_YCC_FLOAT_KERNELS(16u, uint16_t)
CEL_YCC_FLOAT_KERNELS(16s, int16_t)
CEL_YCC_FLOAT_KERNELS(32f, float)
#undef CEL_YCC_FLOAT_KERNELS

// The reverse 16u form has its own four-channel kernel.
void y8_innerYCCToRGB_16u_AC4R(const uint16_t* s, uint16_t* d, int w) { floatRow<uint16_t, 4, false>(s, d, w); }
void y8_innerYCCToRGB_16u_C3R(const uint16_t* s, uint16_t* d, int w, int c) {
    c == 4 ? y8_innerYCCToRGB_16u_AC4R(s, d, w) : floatRow<uint16_t, 3, false>(s, d, w);
}
void y8_innerYCCToRGB_16s_C3R(const int16_t* s, int16_t* d, int w, int c) {
    c == 4 ? floatRow<int16_t, 4, false>(s, d, w) : floatRow<int16_t, 3, false>(s, d, w);
}
void y8_innerYCCToRGB_32f_C3R(const float* s, float* d, int w, int c) {
    c == 4 ? floatRow<float, 4, false>(s, d, w) : floatRow<float, 3, false>(s, d, w);
}

// Row loops, one per direction and depth, for both layouts.
constexpr auto y8_myRGBToYCC_8u_C3R = rowLoop<uint8_t, y8_innerRGBToYCC_8u_C3R>;
constexpr auto y8_myYCCToRGB_8u_C3R = rowLoop<uint8_t, y8_innerYCCToRGB_8u_C3R>;
constexpr auto y8_myRGBToYCC_16u_C3R = rowLoop<uint16_t, y8_innerRGBToYCC_16u_C3R>;
constexpr auto y8_myYCCToRGB_16u_C3R = rowLoop<uint16_t, y8_innerYCCToRGB_16u_C3R>;
constexpr auto y8_myRGBToYCC_16s_C3R = rowLoop<int16_t, y8_innerRGBToYCC_16s_C3R>;
constexpr auto y8_myYCCToRGB_16s_C3R = rowLoop<int16_t, y8_innerYCCToRGB_16s_C3R>;
constexpr auto y8_myRGBToYCC_32f_C3R = rowLoop<float, y8_innerRGBToYCC_32f_C3R>;
constexpr auto y8_myYCCToRGB_32f_C3R = rowLoop<float, y8_innerYCCToRGB_32f_C3R>;

}  // namespace

// ---- Entry functions -----------------------------------------------------------------
CEL_CS_ENTRIES(RGBToYCC, 8u, uint8_t)
CEL_CS_ENTRIES(YCCToRGB, 8u, uint8_t)
CEL_CS_ENTRIES(RGBToYCC, 16u, uint16_t)
CEL_CS_ENTRIES(YCCToRGB, 16u, uint16_t)
CEL_CS_ENTRIES(RGBToYCC, 16s, int16_t)
CEL_CS_ENTRIES(YCCToRGB, 16s, int16_t)
CEL_CS_ENTRIES(RGBToYCC, 32f, float)
CEL_CS_ENTRIES(YCCToRGB, 32f, float)
