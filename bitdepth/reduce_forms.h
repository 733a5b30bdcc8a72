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

    // Ordered-dither output of B; RoundHalf adds 0.5f in the float forms.
    template <bool RoundHalf>
    static int32_t orderedOut(float b) {
        int32_t t;
        if constexpr (kOut == Out::Float)
            t = trunc32(RoundHalf ? b * kM + 0.5f : b * kM);
        else
            t = trunc32(b);
        if constexpr (kOut == Out::Shift8) t >>= 8;
        t = t < 0 ? 0 : (t > kOutMax ? kOutMax : t);
        return kDstSigned ? t - 32768 : t;
    }
    template <bool RoundHalf>
    static __m128i orderedOut4(__m128 b) {
        __m128i t;
        if constexpr (kOut == Out::Float) {
            __m128 y = _mm_mul_ps(b, _mm_set1_ps(kM));
            if (RoundHalf) y = _mm_add_ps(y, _mm_set1_ps(0.5f));
            t = _mm_cvttps_epi32(y);
        } else {
            t = _mm_cvttps_epi32(b);
        }
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
    static __m128i plainOut4(__m128 y) {
        __m128i t = _mm_cvttps_epi32(y);
        if constexpr (kDstSigned)
            return _mm_min_epi32(_mm_max_epi32(_mm_add_epi32(t, _mm_set1_epi32(-32768)), _mm_set1_epi32(-32768)),
                                 _mm_set1_epi32(32767));
        return _mm_min_epi32(_mm_max_epi32(t, _mm_setzero_si128()), _mm_set1_epi32(kOutMax));
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
    // Stores the first three of four results, leaving the fourth element alone.
    static void store3(Dst* p, __m128i v) {
        alignas(16) int32_t t[4];
        _mm_store_si128(reinterpret_cast<__m128i*>(t), v);
        p[0] = static_cast<Dst>(t[0]);
        p[1] = static_cast<Dst>(t[1]);
        p[2] = static_cast<Dst>(t[2]);
    }
};

}  // namespace cel::rb
