// The YCoCg recipes, each written once over a set of lane operations, so
// that the scalar tails and the vector bodies run the same arithmetic:
//
//   S16, S32   one sample in a 16-bit or 32-bit integer, adds and subtracts
//              wrapping at that width, arithmetic shifts;
//   V16, V32   eight 16-bit or four 32-bit lanes of an SSE register, with the
//              same wrapping adds and arithmetic shifts.
//
// Forward, from R, G, B:
//   plain      Y  = (R + 2G + B + 2) >> 2
//              Co = (R - B + 1) >> 1
//              Cg = (2G - R - B + 2) >> 2
//   lifting    Co = R - B;  t = B + (Co >> 1);  Cg = G - t;  Y = t + (Cg >> 1)
// Inverse, from Y, Co, Cg:
//   plain      R = Y + Co - Cg;  G = Y + Cg;  B = Y - Co - Cg
//   lifting    t = Y - (Cg >> 1);  G = Cg + t;  B = t - (Co >> 1);  R = B + Co
//
// The lifting inverse undoes the lifting forward step by step, modulo the
// lane width: in 16-bit lanes a wrapped forward result still comes back.
// What a form does with a result that leaves its plane or pixel type (wrap,
// saturate, keep the low bits) is the kernel's business, not the recipe's.
#pragma once

#include <smmintrin.h>

#include <cstdint>

namespace cel::ycocg {

// ---- Lane operations ----------------------------------------------------------------------
template <class W>
struct Scalar {
    using T = W;
    static T add(T a, T b) { return static_cast<T>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b)); }
    static T sub(T a, T b) { return static_cast<T>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b)); }
    template <int N>
    static T sra(T a) { return static_cast<T>(a >> N); }
    static T k(int v) { return static_cast<T>(v); }
};
using S16 = Scalar<int16_t>;
using S32 = Scalar<int32_t>;

struct V16 {
    using T = __m128i;
    static T add(T a, T b) { return _mm_add_epi16(a, b); }
    static T sub(T a, T b) { return _mm_sub_epi16(a, b); }
    template <int N>
    static T sra(T a) { return _mm_srai_epi16(a, N); }
    static T k(int v) { return _mm_set1_epi16(static_cast<int16_t>(v)); }
};

struct V32 {
    using T = __m128i;
    static T add(T a, T b) { return _mm_add_epi32(a, b); }
    static T sub(T a, T b) { return _mm_sub_epi32(a, b); }
    template <int N>
    static T sra(T a) { return _mm_srai_epi32(a, N); }
    static T k(int v) { return _mm_set1_epi32(v); }
};

// ---- Recipes ---------------------------------------------------------------------------------
// The forward transforms need R and B only as R + B and R - B (plain) or as
// R - B and B (lifting): a kernel that forms those from the pixel bytes
// directly enters the recipe at the second step.
template <class O, class T = typename O::T>
inline void forwardPlainSums(typename O::T rb, typename O::T rmb, typename O::T g, T& y, T& co, T& cg) {
    const T u = O::add(O::add(g, g), O::k(2));  // 2G + 2, shared by Y and Cg
    y = O::template sra<2>(O::add(rb, u));
    co = O::template sra<1>(O::add(rmb, O::k(1)));
    cg = O::template sra<2>(O::sub(u, rb));
}

template <class O, class T = typename O::T>
inline void forwardPlain(typename O::T r, typename O::T g, typename O::T b, T& y, T& co, T& cg) {
    forwardPlainSums<O>(O::add(r, b), O::sub(r, b), g, y, co, cg);
}

template <class O, class T = typename O::T>
inline void forwardLiftingCo(typename O::T co, typename O::T g, typename O::T b, T& y, T& cg) {
    const T t = O::add(b, O::template sra<1>(co));
    cg = O::sub(g, t);
    y = O::add(t, O::template sra<1>(cg));
}

template <class O, class T = typename O::T>
inline void forwardLifting(typename O::T r, typename O::T g, typename O::T b, T& y, T& co, T& cg) {
    co = O::sub(r, b);
    forwardLiftingCo<O>(co, g, b, y, cg);
}

template <class O, class T = typename O::T>
inline void inversePlain(typename O::T y, typename O::T co, typename O::T cg, T& r, T& g, T& b) {
    r = O::sub(O::add(y, co), cg);
    g = O::add(y, cg);
    b = O::sub(O::sub(y, co), cg);
}

template <class O, class T = typename O::T>
inline void inverseLifting(typename O::T y, typename O::T co, typename O::T cg, T& r, T& g, T& b) {
    const T t = O::sub(y, O::template sra<1>(cg));
    g = O::add(cg, t);
    b = O::sub(t, O::template sra<1>(co));
    r = O::add(b, co);
}

// One of the two transforms chosen at compile time.
template <bool Lifting, class O, class T = typename O::T>
inline void forward(typename O::T r, typename O::T g, typename O::T b, T& y, T& co, T& cg) {
    if constexpr (Lifting)
        forwardLifting<O>(r, g, b, y, co, cg);
    else
        forwardPlain<O>(r, g, b, y, co, cg);
}

template <bool Lifting, class O, class T = typename O::T>
inline void inverse(typename O::T y, typename O::T co, typename O::T cg, T& r, T& g, T& b) {
    if constexpr (Lifting)
        inverseLifting<O>(y, co, cg, r, g, b);
    else
        inversePlain<O>(y, co, cg, r, g, b);
}

// ---- Unsigned 8-bit planes with the chroma offset 128 ----------------------------------------
// Forward: the plain transform, 128 added to Co and Cg.  Co + 128 is at
// least 1 (R 0, B 255) and reaches 256 (R 255, B 0): limited above only.
// Cg + 128 reaches 256 (G 255, R = B = 0) and its minimum is 1: limited to
// 0..255 all the same.
inline void forwardOffset8u(int r, int g, int b, uint8_t& y, uint8_t& co, uint8_t& cg) {
    int32_t Y, Co, Cg;
    forwardPlain<S32>(r, g, b, Y, Co, Cg);
    Co += 128;
    Cg += 128;
    y = static_cast<uint8_t>(Y);
    co = static_cast<uint8_t>(Co > 255 ? 255 : Co);
    cg = static_cast<uint8_t>(Cg < 0 ? 0 : (Cg > 255 ? 255 : Cg));
}

// Inverse: the plain inverse of Y, Co - 128, Cg - 128, so that the offsets
// of R cancel and those of B add up: R = Y + Co - Cg, G = Y + Cg - 128,
// B = Y - Co - Cg + 256, each limited to 0..255 by the caller (a byte pack
// in the vector path, clamp8 in the scalar one).
template <class O, class T = typename O::T>
inline void inverseOffset8u(typename O::T y, typename O::T co, typename O::T cg, T& r, T& g, T& b) {
    inversePlain<O>(y, O::sub(co, O::k(128)), O::sub(cg, O::k(128)), r, g, b);
}

inline uint8_t clamp8(int v) { return static_cast<uint8_t>(v < 0 ? 0 : (v > 255 ? 255 : v)); }

}  // namespace cel::ycocg
