// The type forms of the bit-depth reduction family: how a source sample
// becomes a float, the grid step and factor of each form, and how a float
// result becomes a destination sample, each written once as a scalar
// function and its four-lane vector twin.
#pragma once

#include <smmintrin.h>

#include <cstdint>
#include <cstring>
#include <type_traits>

namespace cel::rb {

// How the ordered-dither result B becomes a destination sample.
enum class Out {
    Int,     // truncate(B)
    Shift8,  // truncate(B) >> 8 (16-bit sources to 8-bit destinations)
    Float,   // truncate(B * M), + 0.5f in the rounding noise kernels
};

// Truncation toward zero as the vector conversion does it (out-of-range
// values give 0x80000000 in both paths).
inline int32_t trunc32(float x) { return _mm_cvttss_si32(_mm_set_ss(x)); }

inline float bitsToFloat(uint32_t bits) {
    float f;
    std::memcpy(&f, &bits, 4);
    return f;
}

// Per-form constants.  Src/Dst: element types; kSrcOffset: added to a
// 16-bit signed source to make it offset binary; kNorm: the no-dither
// normalisation factor (0 for float sources, which are used as they are).
template <class Src, class Dst>
struct Form {
    using S = Src;
    using D = Dst;
    static constexpr bool kFloatSrc = std::is_same_v<Src, float>;
    static constexpr int kSrcOffset = std::is_same_v<Src, int16_t> ? 32768 : 0;
    static constexpr bool kDst8 = sizeof(Dst) == 1;
    static constexpr bool kDstSigned = std::is_same_v<Dst, int16_t>;
    static constexpr int kMaxLevels = kDst8 ? 256 : 65536;
    static constexpr Out kOut = kFloatSrc ? Out::Float : (sizeof(Src) == 2 && kDst8 ? Out::Shift8 : Out::Int);
    static constexpr int kOutMax = kDst8 ? 255 : 65535;  // saturation bound of the ordered output
    static constexpr float kM = kDst8 ? 255.0f : 65535.0f;

    // Grid step s and factor f from L (single-precision divisions).
    static void stepAndFactor(float L, float& s, float& f) {
        if constexpr (kFloatSrc) {
            s = 1.0f / L;
            f = L;
        } else if constexpr (sizeof(Src) == 1) {
            s = (65280.0f / L) * 0.00390625f;
            f = L / 255.0f;
        } else {
            s = 65535.0f / L;
            f = L / 65535.0f;
        }
    }

    // The sample in the dithered domain, v.
    static float value(Src x) {
        if constexpr (kFloatSrc)
            return x;
        else
            return static_cast<float>(static_cast<int>(x) + kSrcOffset);
    }
    static __m128 value4(const Src* p) {
        if constexpr (kFloatSrc) {
            return _mm_loadu_ps(p);
        } else if constexpr (sizeof(Src) == 1) {
            int32_t w;
            std::memcpy(&w, p, 4);
            return _mm_cvtepi32_ps(_mm_cvtepu8_epi32(_mm_cvtsi32_si128(w)));
        } else if constexpr (kSrcOffset != 0) {
            const __m128i v = _mm_cvtepi16_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)));
            return _mm_cvtepi32_ps(_mm_add_epi32(v, _mm_set1_epi32(kSrcOffset)));
        } else {
            return _mm_cvtepi32_ps(_mm_cvtepu16_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))));
        }
    }

    // The no-dither path's normalised sample, x in 0..1.
    static float normScale() { return sizeof(Src) == 1 ? bitsToFloat(0x3B808081u) : bitsToFloat(0x37800080u); }
    static float normalized(Src x) {
        if constexpr (kFloatSrc)
            return x;
        else
            return value(x) * normScale();
    }
    static __m128 normalized4(const Src* p) {
        if constexpr (kFloatSrc)
            return _mm_loadu_ps(p);
        else
            return _mm_mul_ps(value4(p), _mm_set1_ps(normScale()));
    }

    // B * M for float sources, with 0.5f added when Half.
    static float scaled(float b, bool half) { return half ? b * kM + 0.5f : b * kM; }
    static __m128 scaled4(__m128 b, bool half) {
        const __m128 y = _mm_mul_ps(b, _mm_set1_ps(kM));
        return half ? _mm_add_ps(y, _mm_set1_ps(0.5f)) : y;
    }

    // Ordered-dither output of B; RoundHalf adds 0.5f in the float forms.
    template <bool RoundHalf>
    static int32_t orderedOut(float b) {
        int32_t t;
        t = trunc32(kOut == Out::Float ? scaled(b, RoundHalf) : b);
        if constexpr (kOut == Out::Shift8) t >>= 8;
        t = t < 0 ? 0 : (t > kOutMax ? kOutMax : t);
        return kDstSigned ? t - 32768 : t;
    }
    template <bool RoundHalf>
    static __m128i orderedOut4(__m128 b) {
        __m128i t = _mm_cvttps_epi32(kOut == Out::Float ? scaled4(b, RoundHalf) : b);
        if constexpr (kOut == Out::Shift8) t = _mm_srai_epi32(t, 8);
        t = _mm_min_epi32(_mm_max_epi32(t, _mm_setzero_si128()), _mm_set1_epi32(kOutMax));
        return kDstSigned ? _mm_sub_epi32(t, _mm_set1_epi32(32768)) : t;
    }

    // No-dither output of y = b * M: truncate and saturate to the type.
    static int32_t plainOut(float y) {
        int32_t t = trunc32(y);
        if constexpr (kDstSigned) {
            t = static_cast<int32_t>(static_cast<uint32_t>(t) - 32768u);
            return t < -32768 ? -32768 : (t > 32767 ? 32767 : t);
        }
        return t < 0 ? 0 : (t > kOutMax ? kOutMax : t);
    }
    // The same before saturation: store16 saturates to the destination's
    // range with its packs, which is the clamp of plainOut4.
    static __m128i plainRaw4(__m128 y) {
        const __m128i t = _mm_cvttps_epi32(y);
        return kDstSigned ? _mm_add_epi32(t, _mm_set1_epi32(-32768)) : t;
    }
    static __m128i plainOut4(__m128 y) {
        const __m128i t = plainRaw4(y);
        if constexpr (kDstSigned) return _mm_min_epi32(_mm_max_epi32(t, _mm_set1_epi32(-32768)), _mm_set1_epi32(32767));
        return _mm_min_epi32(_mm_max_epi32(t, _mm_setzero_si128()), _mm_set1_epi32(kOutMax));
    }

    // ---- Error diffusion ----------------------------------------------------
    // A sum at or above kTop writes the destination's top value and passes no
    // error on; one below the floor writes the bottom value.  Floyd-Steinberg
    // on 16s8u and the float forms adds the row-above terms in another order,
    // rounds its output by half a code and, for float sources, counts sums
    // under one float epsilon as bottom.
    static constexpr float kTop = kFloatSrc ? 1.0f : (sizeof(Src) == 1 ? 255.0f : 65535.0f);
    static constexpr bool kFsAlt = kFloatSrc || (kSrcOffset != 0 && kDst8);
    static constexpr float kFsFloor = kFloatSrc ? 1.1920929e-7f : 0.0f;
    static constexpr int kSatTop = kDstSigned ? 32767 : kOutMax;
    static constexpr int kSatBottom = kDstSigned ? -32768 : 0;

    // Destination value of a diffused grid value b (Fs: the Floyd-Steinberg
    // column), stored in the element's low bits without saturation.
    template <bool Fs>
    static int32_t diffusedOut(float b) {
        int32_t t;
        if constexpr (kOut == Out::Float)
            t = trunc32(scaled(b, Fs));
        else if constexpr (kOut == Out::Shift8)
            t = trunc32(Fs && kSrcOffset != 0 ? b + 0.5f : b) >> 8;
        else
            t = trunc32(b);
        // Wrapping 32-bit subtraction, as the vector twin does (the truncation
        // of an out-of-range value gives 0x80000000).
        return kDstSigned ? int32_t(uint32_t(t) - 32768u) : t;
    }
    template <bool Fs>
    static __m128i diffusedOut4(__m128 b) {
        __m128i t;
        if constexpr (kOut == Out::Float) {
            t = _mm_cvttps_epi32(scaled4(b, Fs));
        } else if constexpr (kOut == Out::Shift8) {
            t = _mm_srai_epi32(_mm_cvttps_epi32(Fs && kSrcOffset != 0 ? _mm_add_ps(b, _mm_set1_ps(0.5f)) : b), 8);
        } else {
            t = _mm_cvttps_epi32(b);
        }
        return kDstSigned ? _mm_sub_epi32(t, _mm_set1_epi32(32768)) : t;
    }

    // Stores four results (already inside the destination's range).
    static void store4(Dst* p, __m128i v) {
        if constexpr (kDst8) {
            const int32_t w = _mm_cvtsi128_si32(_mm_packus_epi16(_mm_packs_epi32(v, v), v));
            std::memcpy(p, &w, 4);
        } else if constexpr (kDstSigned) {
            _mm_storel_epi64(reinterpret_cast<__m128i*>(p), _mm_packs_epi32(v, v));
        } else {
            _mm_storel_epi64(reinterpret_cast<__m128i*>(p), _mm_packus_epi32(v, v));
        }
    }
    // Stores sixteen 32-bit results, saturated to the destination's range.
    static void store16(Dst* p, __m128i a, __m128i b, __m128i c, __m128i d) {
        if constexpr (kDst8) {
            _mm_storeu_si128(reinterpret_cast<__m128i*>(p),
                             _mm_packus_epi16(_mm_packs_epi32(a, b), _mm_packs_epi32(c, d)));
        } else if constexpr (kDstSigned) {
            _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm_packs_epi32(a, b));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(p + 8), _mm_packs_epi32(c, d));
        } else {
            _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm_packus_epi32(a, b));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(p + 8), _mm_packus_epi32(c, d));
        }
    }
    // Stores the first three of four results, leaving the fourth element alone.
    static void store3(Dst* p, __m128i v) {
        alignas(16) int32_t t[4];
        _mm_store_si128(reinterpret_cast<__m128i*>(t), v);
        p[0] = static_cast<Dst>(t[0]);
        p[1] = static_cast<Dst>(t[1]);
        p[2] = static_cast<Dst>(t[2]);
    }
};

// ---- No dither ---------------------------------------------------------------
// Per element: the nearest grid value on the 0..1 scale, ties going down,
// then truncation to the destination's full scale.  px is the scalar rule,
// grid4 its vector twin up to the scaled float y = b * M.
template <class F>
struct Plain {
    float L, inv, half;
    explicit Plain(float l) : L(l), inv(1.0f / l), half(0.5f / l) {}

    int32_t px(typename F::S s) const {
        const float x = F::normalized(s);
        float b = static_cast<float>(trunc32(L * x)) * inv;
        if (x - b > half) b = b + inv;
        return F::plainOut(b * F::kM);
    }
    __m128 grid4(const typename F::S* p) const {
        const __m128 x = F::normalized4(p);
        __m128 b = _mm_mul_ps(_mm_cvtepi32_ps(_mm_cvttps_epi32(_mm_mul_ps(_mm_set1_ps(L), x))), _mm_set1_ps(inv));
        const __m128 up = _mm_cmpgt_ps(_mm_sub_ps(x, b), _mm_set1_ps(half));
        b = _mm_add_ps(b, _mm_and_ps(up, _mm_set1_ps(inv)));
        return _mm_mul_ps(b, _mm_set1_ps(F::kM));
    }
    __m128i v4(const typename F::S* p) const { return F::plainOut4(grid4(p)); }
    void v16(const typename F::S* p, typename F::D* d) const {
        F::store16(d, F::plainRaw4(grid4(p)), F::plainRaw4(grid4(p + 4)), F::plainRaw4(grid4(p + 8)),
                   F::plainRaw4(grid4(p + 12)));
    }
};

// Level counts (bit L - 1 of L levels) on which the float rule of Plain
// equals integer arithmetic for byte destinations, whose result is always
// the grid index m scaled as m * 255 / L rounded down:
//  - kIntIndex16: 16-bit sources, index m = (v * L + 32767) / 65535 (the
//    nearest grid index, ties down) for all 65,536 values v;
//  - kIntIndex8: byte sources, index m = (v * L + 127) / 255 likewise for
//    all 256 values v;
//  - kIntScale: float sources, the index m = k + up of the float rule (k the
//    truncated L * x, up its round-up) scaled in integers for every k.
// Elsewhere float rounding moves a result by one and the float rule runs.
// The sweep tests hold each listed count to the float rule on every source
// value (16-bit) and around every grid and half-grid point (float).
inline constexpr uint32_t kIntIndex16[8] = {0xF5FFFFFEu, 0x9D3B7CFDu, 0x9FF1F7F3u, 0xE1F797EDu,
                                            0x77B28D7Fu, 0xC373668Fu, 0x603D50BBu, 0xFC815620u};
inline constexpr uint32_t kIntIndex8[8] = {0xF5FFFFFEu, 0x9D3B7CFDu, 0x9FF1F7F3u, 0xE1F797EDu,
                                           0x77F7DF7Fu, 0xCF7F7F8Fu, 0xE3BDFCFBu, 0xFD83D7B7u};
inline constexpr uint32_t kIntScale[8] = {0xF5FFFFFEu, 0x9D3B7CFDu, 0x9FF1F7F3u, 0xE1F797EDu,
                                          0x77B28D7Fu, 0xC377768Fu, 0xE23D54BBu, 0xFC83D721u};
inline bool listed(const uint32_t (&set)[8], int L) { return (set[(L >> 5) & 7] >> (L & 31)) & 1u; }

// m * 255 / L rounded down for 0 <= m <= L <= 255, as (m * A) >> 16 with
// A = ceil(255 * 65536 / L) = ah * 65536 + al (exact: m * (A - 255 * 65536 / L)
// stays below L, under 65536 / L).
struct IndexScale {
    int L;
    uint32_t a;
    uint16_t ah, al;
    explicit IndexScale(int l)
        : L(l), a((255u * 65536u + uint32_t(l) - 1u) / uint32_t(l)), ah(uint16_t(a >> 16)), al(uint16_t(a)) {}
    int32_t px(int64_t m) const {
        const uint32_t c = uint32_t(m < 0 ? 0 : (m > L ? L : m));
        return int32_t((c * a) >> 16);
    }
    // Eight 16-bit indices, signed (clamped to 0..L here).  With 256 levels
    // the scale is the identity and the byte packs alone clamp (Ident).
    template <bool Ident = false>
    __m128i v8(__m128i m) const {
        if constexpr (Ident) return m;
        m = _mm_min_epi16(_mm_max_epi16(m, _mm_setzero_si128()), _mm_set1_epi16(int16_t(L)));
        return _mm_add_epi16(_mm_mullo_epi16(m, _mm_set1_epi16(int16_t(ah))), _mm_mulhi_epu16(m, _mm_set1_epi16(int16_t(al))));
    }
};

// 16-bit sources to bytes for the counts of kIntIndex16 (Ident: 256 levels).  The vector twin
// forms v * L + 32768 as two 16-bit halves h:l, then the index
// ((v * L + 32767) / 65535) as h plus the carry out of l + h.
template <class F, bool Ident>
struct IntIndex16 {
    IndexScale sc;
    explicit IntIndex16(int l) : sc(l) {}
    static uint32_t offsetValue(typename F::S s) { return uint32_t(int32_t(s) + F::kSrcOffset); }
    int32_t px(typename F::S s) const { return sc.px((offsetValue(s) * uint32_t(sc.L) + 32767u) / 65535u); }
    __m128i index8(__m128i v) const {
        if constexpr (F::kSrcOffset != 0) v = _mm_xor_si128(v, _mm_set1_epi16(int16_t(0x8000)));
        const __m128i L = _mm_set1_epi16(int16_t(sc.L));
        const __m128i lo = _mm_mullo_epi16(v, L);
        const __m128i h = _mm_sub_epi16(_mm_mulhi_epu16(v, L), _mm_srai_epi16(lo, 15));
        const __m128i l = _mm_xor_si128(lo, _mm_set1_epi16(int16_t(0x8000)));
        // carry out of l + h where l > 65535 - h
        const __m128i carry = _mm_min_epu16(_mm_subs_epu16(l, _mm_xor_si128(h, _mm_set1_epi16(-1))), _mm_set1_epi16(1));
        return _mm_add_epi16(h, carry);
    }
    __m128i v4(const typename F::S* p) const {
        const __m128i v = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p));
        return _mm_cvtepu16_epi32(sc.v8(index8(v)));
    }
    void v16(const typename F::S* p, typename F::D* d) const {
        const __m128i a = sc.v8<Ident>(index8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))));
        const __m128i b = sc.v8<Ident>(index8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 8))));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d), _mm_packus_epi16(a, b));
    }
};

// Bytes to bytes for the counts of kIntIndex8 (Ident: 256 levels): n =
// v * L + 128 in 16-bit lanes, the index (n + (n >> 8)) >> 8, that is
// (v * L + 127) / 255.
template <class F, bool Ident>
struct IntIndex8 {
    IndexScale sc;
    explicit IntIndex8(int l) : sc(l) {}
    int32_t px(uint8_t s) const { return sc.px((uint32_t(s) * uint32_t(sc.L) + 127u) / 255u); }
    __m128i index8(__m128i v) const {
        const __m128i n = _mm_add_epi16(_mm_mullo_epi16(v, _mm_set1_epi16(int16_t(sc.L))), _mm_set1_epi16(128));
        return _mm_srli_epi16(_mm_add_epi16(n, _mm_srli_epi16(n, 8)), 8);
    }
    __m128i v4(const uint8_t* p) const {
        int32_t w;
        std::memcpy(&w, p, 4);
        return _mm_cvtepu16_epi32(sc.v8(index8(_mm_cvtepu8_epi16(_mm_cvtsi32_si128(w)))));
    }
    void v16(const uint8_t* p, uint8_t* d) const {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        const __m128i a = sc.v8<Ident>(index8(_mm_unpacklo_epi8(v, _mm_setzero_si128())));
        const __m128i b = sc.v8<Ident>(index8(_mm_unpackhi_epi8(v, _mm_setzero_si128())));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d), _mm_packus_epi16(a, b));
    }
};

// Float sources to bytes for the counts of kIntScale: the float rule up to
// the index k + up (the round-up decided by comparing the bit patterns of
// x - b and half, which orders as the float compare does for every x - b
// but a NaN, whose result is 0 either way), then scaled in integers.
template <class F, bool Ident>
struct IntScale32f {
    float L, inv, half;
    IndexScale sc;
    explicit IntScale32f(int l) : L(float(l)), inv(1.0f / L), half(0.5f / L), sc(l) {}
    static int32_t bits(float f) {
        int32_t i;
        std::memcpy(&i, &f, 4);
        return i;
    }
    // The float rule's grid value times 255 leaves the 32-bit integers from
    // this sample on, for every level count, and its truncation writes 0;
    // with 256 levels L * x leaves them there too and the index is negative.
    static constexpr float kScaleOverflow = 8421505.0f;
    int32_t px(float x) const {
        const int32_t k = trunc32(L * x);
        const float b = static_cast<float>(k) * inv;
        if (!Ident && x >= kScaleOverflow) return 0;
        return sc.px(int64_t(k) + (bits(x - b) > bits(half) ? 1 : 0));
    }
    // The vector twin takes float(k) as L * x rounded toward zero in float
    // (no conversion back from the integer): the same value wherever k is
    // in range; where L * x is not (at or beyond 2^31 in size, or NaN) k is
    // INT_MIN and k + up stays negative, so the byte is 0 either way.
    __m128i index4(const float* p) const {
        const __m128 x = _mm_loadu_ps(p);
        const __m128 y = _mm_mul_ps(_mm_set1_ps(L), x);
        const __m128i k = _mm_cvttps_epi32(y);
        const __m128 b = _mm_mul_ps(_mm_round_ps(y, _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC), _mm_set1_ps(inv));
        const __m128i up = _mm_cmpgt_epi32(_mm_castps_si128(_mm_sub_ps(x, b)), _mm_set1_epi32(bits(half)));
        if constexpr (Ident) return _mm_sub_epi32(k, up);
        // -1 (a zero byte) from kScaleOverflow on
        return _mm_or_si128(_mm_sub_epi32(k, up), _mm_castps_si128(_mm_cmpge_ps(x, _mm_set1_ps(kScaleOverflow))));
    }
    __m128i v4(const float* p) const {
        const __m128i m = index4(p);
        return _mm_cvtepu16_epi32(sc.v8(_mm_packs_epi32(m, m)));
    }
    void v16(const float* p, typename F::D* d) const {
        const __m128i a = sc.v8<Ident>(_mm_packs_epi32(index4(p), index4(p + 4)));
        const __m128i b = sc.v8<Ident>(_mm_packs_epi32(index4(p + 8), index4(p + 12)));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d), _mm_packus_epi16(a, b));
    }
};

// ---- Error diffusion: weights, sums and the per-sample decision ------------

// Floyd-Steinberg, gathered by a pixel: 1 5 3 from the row above (x-1, x,
// x+1), 7 from its left neighbour; divisor 16.
inline constexpr float kFsInv = 0.0625f;
static_assert(1 + 5 + 3 + 7 == 16);

// Jarvis-Judice-Ninke and Stucki: w2 for row y-2, w1 for y-1 (x-2 .. x+2),
// w0 for x-2, x-1 of the current row.
struct WideWeights {
    float w2[5], w1[5], w0[2];
    float inv;
};
inline constexpr WideWeights kJarvis{{1, 3, 5, 3, 1}, {3, 5, 7, 5, 3}, {5, 7}, 0.020833334f};  // 1 / 48
inline constexpr WideWeights kStucki{{1, 2, 4, 2, 1}, {2, 4, 8, 4, 2}, {4, 8}, 0.023809524f};  // 1 / 42
static_assert(1 + 3 + 5 + 3 + 1 + 3 + 5 + 7 + 5 + 3 + 5 + 7 == 48);
static_assert(1 + 2 + 4 + 2 + 1 + 2 + 4 + 8 + 4 + 2 + 4 + 8 == 42);

// Row-above part of the Floyd-Steinberg sum: (p[x+1]*3 + p[x-1]) + p[x]*5,
// or with Alt (p[x+1]*3 + p[x]*5) + p[x-1].  The left neighbour's c[x-1]*7
// is added after it.
template <bool Alt>
inline float fsAbove(float pm1, float p0, float p1) {
    return Alt ? (p1 * 3.0f + p0 * 5.0f) + pm1 : (p1 * 3.0f + pm1) + p0 * 5.0f;
}
template <bool Alt>
inline __m128 fsAbove4(__m128 pm1, __m128 p0, __m128 p1) {
    const __m128 a = _mm_mul_ps(p1, _mm_set1_ps(3.0f));
    const __m128 b = _mm_mul_ps(p0, _mm_set1_ps(5.0f));
    return Alt ? _mm_add_ps(_mm_add_ps(a, b), pm1) : _mm_add_ps(_mm_add_ps(a, pm1), b);
}
inline float fsSum(float above, float cm1) { return above + cm1 * 7.0f; }
inline __m128 fsSum4(__m128 above, __m128 cm1) { return _mm_add_ps(above, _mm_mul_ps(cm1, _mm_set1_ps(7.0f))); }

// The wide sum at x from the rows r2 (y-2), r1 (y-1) and c (y): lanes
// t[k] = (c[x-2+k]*w0[k] for k < 2, else 0) + (r2[x-2+k]*w2[k] + r1[x-2+k]*w1[k]),
// then ((t0 + t2) + (t1 + t3)) + r2[x+2] + r1[x+2]*w1[4].
inline float wideSum(const float* r2, const float* r1, const float* c, const WideWeights& w) {
    float t[4];
    for (int k = 0; k < 4; ++k)
        t[k] = (k < 2 ? c[k - 2] * w.w0[k] : 0.0f) + (r2[k - 2] * w.w2[k] + r1[k - 2] * w.w1[k]);
    return (((t[0] + t[2]) + (t[1] + t[3])) + r2[2]) + r1[2] * w.w1[4];
}
// Vector twin: r2w, r1w hold r2[x-2 .. x+1], r1[x-2 .. x+1]; cw holds c[x-2],
// c[x-1] in its low lanes (the high lanes are masked off); r2p, r1p are
// r2[x+2], r1[x+2].  Same products and order of additions as wideSum.
struct WideVectors {
    __m128 w2, w1, w0, keep01;
    float w1last;
    explicit WideVectors(const WideWeights& w)
        : w2(_mm_loadu_ps(w.w2)),
          w1(_mm_loadu_ps(w.w1)),
          w0(_mm_setr_ps(w.w0[0], w.w0[1], 0.0f, 0.0f)),
          keep01(_mm_castsi128_ps(_mm_setr_epi32(-1, -1, 0, 0))),
          w1last(w.w1[4]) {}
};
inline float wideSum4(__m128 r2w, __m128 r1w, __m128 cw, float r2p, float r1p, const WideVectors& v) {
    const __m128 own = _mm_and_ps(_mm_mul_ps(cw, v.w0), v.keep01);
    const __m128 t = _mm_add_ps(own, _mm_add_ps(_mm_mul_ps(r2w, v.w2), _mm_mul_ps(r1w, v.w1)));
    const __m128 h = _mm_add_ps(t, _mm_movehl_ps(t, t));                    // t0 + t2, t1 + t3
    const __m128 s = _mm_add_ss(h, _mm_shuffle_ps(h, h, _MM_SHUFFLE(1, 1, 1, 1)));
    return (_mm_cvtss_f32(s) + r2p) + r1p * v.w1last;
}

// Vector twin of wideSum with four samples side by side: r2m2 .. r2p2 hold
// row y-2 at x-2 .. x+2 of each sample, r1m2 .. r1p2 row y-1, cm2, cm1 the
// own row at x-2, x-1.  Same products and order of additions as wideSum.
struct WideLanes {
    __m128 w2[5], w1[5], w0[2];
    explicit WideLanes(const WideWeights& w) {
        for (int k = 0; k < 5; ++k) w2[k] = _mm_set1_ps(w.w2[k]), w1[k] = _mm_set1_ps(w.w1[k]);
        w0[0] = _mm_set1_ps(w.w0[0]), w0[1] = _mm_set1_ps(w.w0[1]);
    }
};
inline __m128 wideSumLanes(__m128 r2m2, __m128 r2m1, __m128 r20, __m128 r2p1, __m128 r2p2, __m128 r1m2, __m128 r1m1,
                           __m128 r10, __m128 r1p1, __m128 r1p2, __m128 cm2, __m128 cm1, const WideLanes& w) {
    const __m128 zero = _mm_setzero_ps();
    const __m128 t0 = _mm_add_ps(_mm_mul_ps(cm2, w.w0[0]), _mm_add_ps(_mm_mul_ps(r2m2, w.w2[0]), _mm_mul_ps(r1m2, w.w1[0])));
    const __m128 t1 = _mm_add_ps(_mm_mul_ps(cm1, w.w0[1]), _mm_add_ps(_mm_mul_ps(r2m1, w.w2[1]), _mm_mul_ps(r1m1, w.w1[1])));
    const __m128 t2 = _mm_add_ps(zero, _mm_add_ps(_mm_mul_ps(r20, w.w2[2]), _mm_mul_ps(r10, w.w1[2])));
    const __m128 t3 = _mm_add_ps(zero, _mm_add_ps(_mm_mul_ps(r2p1, w.w2[3]), _mm_mul_ps(r1p1, w.w1[3])));
    const __m128 s = _mm_add_ps(_mm_add_ps(_mm_add_ps(t0, t2), _mm_add_ps(t1, t3)), r2p2);
    return _mm_add_ps(s, _mm_mul_ps(r1p2, w.w1[4]));
}

// Per-call constants of a diffusion kernel.
struct Diffusion {
    float s, f;      // grid step and factor of the form
    float half;      // 0.5f * s, the threshold without noise
    float inv;       // inverse divisor of the mode
    float floor;     // sums below it write the bottom value
    const float* N;  // noise table (noise forms)
    const uint16_t* P;  // position table (noise forms)
};

// One sample: a = v + sum * inv; saturate at top and floor with error 0,
// otherwise snap to the grid value below and add one step where t < a - b.
// Returns the error to store and writes the destination value to *out.
template <class F, bool Fs>
inline float diffuseSample(float v, float sum, float t, const Diffusion& d, typename F::D* out) {
    const float a = v + sum * d.inv;
    if (a >= F::kTop) {
        *out = static_cast<typename F::D>(F::kSatTop);
        return 0.0f;
    }
    if (a < d.floor) {
        *out = static_cast<typename F::D>(F::kSatBottom);
        return 0.0f;
    }
    float b = static_cast<float>(trunc32(a * d.f)) * d.s;
    if (t < a - b) b = b + d.s;
    *out = static_cast<typename F::D>(F::template diffusedOut<Fs>(b));
    return a - b;
}
// Vector twin of diffuseSample: four samples side by side (lanes are
// independent samples), the same operations lane by lane.  Returns the
// errors and the destination values in *out.
template <class F, bool Fs>
inline __m128 diffuseSample4(__m128 v, __m128 sum, __m128 t, const Diffusion& d, __m128i* out) {
    const __m128 a = _mm_add_ps(v, _mm_mul_ps(sum, _mm_set1_ps(d.inv)));
    const __m128 hi = _mm_cmpge_ps(a, _mm_set1_ps(F::kTop));
    const __m128 lo = _mm_cmplt_ps(a, _mm_set1_ps(d.floor));
    // both outcomes are formed, then chosen: a - b and a - (b + s)
    const __m128 b0 = _mm_mul_ps(_mm_cvtepi32_ps(_mm_cvttps_epi32(_mm_mul_ps(a, _mm_set1_ps(d.f)))), _mm_set1_ps(d.s));
    const __m128 b1 = _mm_add_ps(b0, _mm_set1_ps(d.s));
    const __m128 r0 = _mm_sub_ps(a, b0), r1 = _mm_sub_ps(a, b1);
    const __m128 up = _mm_cmplt_ps(t, r0);
    __m128i o = F::template diffusedOut4<Fs>(_mm_blendv_ps(b0, b1, up));
    o = _mm_blendv_epi8(o, _mm_set1_epi32(F::kSatTop), _mm_castps_si128(hi));
    o = _mm_blendv_epi8(o, _mm_set1_epi32(F::kSatBottom), _mm_castps_si128(lo));
    *out = o;
    return _mm_andnot_ps(_mm_or_ps(hi, lo), _mm_blendv_ps(r0, r1, up));
}

// ---- One-bit output ---------------------------------------------------------

// Threshold: a pixel's bit is set where the sample is strictly above the
// threshold.  The vector twin compares 16 samples and returns their bits,
// first sample in bit 7 of the low byte (the first output byte), the ninth
// in bit 7 of the high byte.
inline uint32_t aboveBit(uint8_t sample, uint8_t threshold) { return sample > threshold ? 1u : 0u; }
template <bool ZeroThreshold>
inline uint32_t aboveBits16(__m128i samples, __m128i threshold) {
    // sample <= threshold where max(sample, threshold) == threshold (== 0 on the zero path)
    const __m128i notAbove = ZeroThreshold ? _mm_cmpeq_epi8(samples, _mm_setzero_si128())
                                           : _mm_cmpeq_epi8(_mm_max_epu8(samples, threshold), threshold);
    // mirror each group of eight so that the first sample lands on the highest bit
    const __m128i mirror = _mm_setr_epi8(7, 6, 5, 4, 3, 2, 1, 0, 15, 14, 13, 12, 11, 10, 9, 8);
    return ~static_cast<uint32_t>(_mm_movemask_epi8(_mm_shuffle_epi8(notAbove, mirror))) & 0xFFFFu;
}

// Integer Stucki, in units of 1/8 of a gray step.  The weights are those of
// kStucki; the part from the two rows above is formed for four pixels at
// once, the part from the current row (c[x-2], c[x-1]) one pixel at a time
// since it waits for the errors just made.
inline constexpr int kStuckiW2[5] = {int(kStucki.w2[0]), int(kStucki.w2[1]), int(kStucki.w2[2]), int(kStucki.w2[3]),
                                     int(kStucki.w2[4])};
inline constexpr int kStuckiW1[5] = {int(kStucki.w1[0]), int(kStucki.w1[1]), int(kStucki.w1[2]), int(kStucki.w1[3]),
                                     int(kStucki.w1[4])};
inline constexpr int kStuckiW0[2] = {int(kStucki.w0[0]), int(kStucki.w0[1])};
inline constexpr int32_t kOneBitWhite = 2047;  // full white in error units (not 2040)
inline constexpr int32_t kOneBitFactor = 23;   // below 8192 / (8 * 42), settled

// Rows above at x (r2, r1 point at x): wrapping 32-bit sums.
inline int32_t stuckiAbove(const int32_t* r2, const int32_t* r1) {
    uint32_t sum = 0;
    for (int k = 0; k < 5; ++k)
        sum += uint32_t(r2[k - 2]) * uint32_t(kStuckiW2[k]) + uint32_t(r1[k - 2]) * uint32_t(kStuckiW1[k]);
    return static_cast<int32_t>(sum);
}
inline __m128i stuckiAbove4(const int32_t* r2, const int32_t* r1) {
    __m128i sum = _mm_setzero_si128();
    for (int k = 0; k < 5; ++k) {
        sum = _mm_add_epi32(sum, _mm_mullo_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(r2 + k - 2)),
                                                 _mm_set1_epi32(kStuckiW2[k])));
        sum = _mm_add_epi32(sum, _mm_mullo_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(r1 + k - 2)),
                                                 _mm_set1_epi32(kStuckiW1[k])));
    }
    return sum;
}

// One pixel from its rows-above part and the current row's c[x-2], c[x-1]:
// a = (sample << 13) + sum * 23, no saturation; the error a >> 10, less
// full white where the bit is set.  Returns the bit; *err receives the error.
inline uint32_t stuckiPixel(uint8_t sample, int32_t above, int32_t cm2, int32_t cm1, uint8_t threshold, int32_t* err) {
    const uint32_t sum = uint32_t(above) + uint32_t(cm2) * uint32_t(kStuckiW0[0]) + uint32_t(cm1) * uint32_t(kStuckiW0[1]);
    const int32_t a = static_cast<int32_t>((uint32_t(sample) << 13) + sum * uint32_t(kOneBitFactor));
    int32_t e = a >> 10;
    const bool set = a > int32_t(threshold) * 8192;
    if (set) e -= kOneBitWhite;
    *err = e;
    return set ? 1u : 0u;
}

}  // namespace cel::rb
