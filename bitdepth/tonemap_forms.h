// Tone mapping: how a float sample times the picture-wide scale becomes a
// byte, as scalar functions and their sixteen-sample vector twins.
//
// Both truncate the product toward zero to a 32-bit integer as the vector
// conversion does (a product out of range, or NaN, gives 0x80000000 in
// both paths).  Linear keeps the low byte of that integer, with no
// saturation: a negative sample wraps (-1.0 at scale 255 gives byte 1).
// Mean saturates to 0..255.
#pragma once

#include <smmintrin.h>

#include <cstdint>

namespace cel::tm {

inline int32_t truncProduct(float sample, float scale) { return _mm_cvttss_si32(_mm_set_ss(sample * scale)); }

inline __m128i truncProduct4(__m128 samples, __m128 scale) { return _mm_cvttps_epi32(_mm_mul_ps(samples, scale)); }

struct Linear {
    static uint8_t px(float sample, float scale) { return static_cast<uint8_t>(truncProduct(sample, scale)); }
    // Low byte of each 32-bit lane, gathered by a byte shuffle.
    static __m128i v16(const __m128 s[4], __m128 scale) {
        const __m128i low = _mm_setr_epi8(0, 4, 8, 12, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1);
        const __m128i a = _mm_shuffle_epi8(truncProduct4(s[0], scale), low);
        const __m128i b = _mm_shuffle_epi8(truncProduct4(s[1], scale), low);
        const __m128i c = _mm_shuffle_epi8(truncProduct4(s[2], scale), low);
        const __m128i d = _mm_shuffle_epi8(truncProduct4(s[3], scale), low);
        return _mm_unpacklo_epi64(_mm_unpacklo_epi32(a, b), _mm_unpacklo_epi32(c, d));
    }
};

struct Mean {
    static uint8_t px(float sample, float scale) {
        const int32_t v = truncProduct(sample, scale);
        return static_cast<uint8_t>(v < 0 ? 0 : (v > 255 ? 255 : v));
    }
    // Saturating packs, 32 to 16 then 16 to 8 bits: the same clamp to 0..255.
    static __m128i v16(const __m128 s[4], __m128 scale) {
        const __m128i ab = _mm_packs_epi32(truncProduct4(s[0], scale), truncProduct4(s[1], scale));
        const __m128i cd = _mm_packs_epi32(truncProduct4(s[2], scale), truncProduct4(s[3], scale));
        return _mm_packus_epi16(ab, cd);
    }
};

}  // namespace cel::tm
