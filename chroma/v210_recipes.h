// The arithmetic of the v210 decoders: the word layout, field extraction
// and the BT.709 (HDTV) decode to 5-6-5 words.
//
// v210 packs 6 pixels of 4:2:2 video in four little-endian 32-bit words,
// three 10-bit fields a word (bits 0-9, 10-19, 20-29; bits 30-31 unused):
//   word 0: Cb0 Y0 Cr0   word 1: Y1 Cb2 Y2   word 2: Cr2 Y3 Cb4   word 3: Y4 Cr4 Y5
// Cb0/Cr0 serve pixels 0 and 1, Cb2/Cr2 pixels 2 and 3, Cb4/Cr4 pixels 4
// and 5, as they stand (no interpolation).
//
// Decode, in single precision, per pixel with fields Y, Cb, Cr:
//   b = Cb - 512, r = Cr - 512
//   R = 1.54 r + Y;  B = 1.816 b + Y;  G = (-0.459 r + Y) + (-0.183 b)
//   each rounded to nearest (ties to even, the default rounding mode),
//   R and B limited to 0..31, G to 0..63, on the 10-bit scale: nothing is
//   shifted down first, so a luma of 63 or more with neutral chroma fills
//   every field.
// The factors are the decoder's own, fixed as stated: they sit about 2%
// below the BT.709 colour-difference factors (Kr 0.2126, Kb 0.0722:
// 2 (1 - Kr) = 1.5748, 2 (1 - Kb) = 1.8556, 2 Kr (1 - Kr) / Kg = 0.4681,
// 2 Kb (1 - Kb) / Kg = 0.1873), close to those times 219/224, and are not
// derived from them here.  They belong to this decoder alone and stay in
// this header.
//
// The decoder has no scalar path: a group of 6 pixels is decoded as one
// 4-lane pass (pixels 0-3) and one 2-lane pass (pixels 4-5), and a group cut
// by the row's end runs the same passes on a zero-padded copy of its words.
// So there is one vector recipe here; the tests hold the scalar model.
#pragma once

#include <smmintrin.h>

#include <cstdint>

namespace cel::chroma::v210 {

inline constexpr int kGroupPixels = 6, kGroupWords = 4;
inline constexpr uint32_t kFieldMask = 0x3FF;
inline constexpr int kChromaZero = 512;
inline constexpr float kCrToR = 1.54f, kCbToB = 1.816f, kCrToG = -0.459f, kCbToG = -0.183f;
inline constexpr int kMax5 = 31, kMax6 = 63;

// Words of a group needed for the first n pixels (n 1..6): luma only, and
// luma with its chroma.
inline constexpr int kLumaWords[kGroupPixels + 1] = {0, 1, 2, 2, 3, 4, 4};
inline constexpr int kColourWords[kGroupPixels + 1] = {0, 1, 2, 3, 3, 4, 4};

// Where a field sits: its word in the group and its bit offset, 0, 10 or 20.
struct Field {
    int word, offset;
};
// The field of each 16-bit lane: luma Y0..Y5, the chroma of each pixel
// (Cb0 Cb0 Cb2 Cb2 Cb4 Cb4, Cr likewise); lanes 6 and 7 repeat lane 5 and
// are never used.
inline constexpr Field kLumaFields[8] = {{0, 10}, {1, 0}, {1, 20}, {2, 10}, {3, 0}, {3, 20}, {3, 20}, {3, 20}};
inline constexpr Field kCbFields[8] = {{0, 0}, {0, 0}, {1, 10}, {1, 10}, {2, 20}, {2, 20}, {2, 20}, {2, 20}};
inline constexpr Field kCrFields[8] = {{0, 20}, {0, 20}, {2, 0}, {2, 0}, {3, 10}, {3, 10}, {3, 10}, {3, 10}};

// A lane's field is gathered as the byte pair that holds it (the byte of
// its first bit and the next), where it starts at bit offset % 8, that is 0,
// 2 or 4; multiplying by 2^(6 - that) moves it to bits 6-15, dropping the
// bits above it, and a shift right by 6 leaves it alone.
struct FieldGather {
    alignas(16) int8_t pairs[16];
    alignas(16) int16_t scale[8];
};
constexpr FieldGather fieldGather(const Field (&f)[8]) {
    FieldGather g{};
    for (int lane = 0; lane < 8; ++lane) {
        const int byte = 4 * f[lane].word + f[lane].offset / 8;
        g.pairs[2 * lane] = static_cast<int8_t>(byte);
        g.pairs[2 * lane + 1] = static_cast<int8_t>(byte + 1);
        g.scale[lane] = static_cast<int16_t>(1 << (6 - f[lane].offset % 8));
    }
    return g;
}
inline constexpr FieldGather kLumaGather = fieldGather(kLumaFields), kCbGather = fieldGather(kCbFields),
                             kCrGather = fieldGather(kCrFields);

// One field per 16-bit lane.
inline __m128i fields_v(__m128i group, const FieldGather& g) {
    const __m128i pairs = _mm_load_si128(reinterpret_cast<const __m128i*>(g.pairs));
    const __m128i scale = _mm_load_si128(reinterpret_cast<const __m128i*>(g.scale));
    return _mm_srli_epi16(_mm_mullo_epi16(_mm_shuffle_epi8(group, pairs), scale), 6);
}

// The six luma samples of a group in lanes 0-5.
inline __m128i luma_v(__m128i group) { return fields_v(group, kLumaGather); }

// 5-6-5 words of four pixels (32-bit lanes) from luma and the chroma less
// 512, as 32-bit integers.  Green always takes bits 5-10; red and blue
// take bits 0-4 and 11-15 as the form says.
struct Packed565 {
    int redShift, blueShift;
};
inline constexpr Packed565 kBGR565{11, 0}, kRGB565{0, 11};

template <const Packed565& P>
inline __m128i decode565_v(__m128i y32, __m128i b32, __m128i r32) {
    const __m128 y = _mm_cvtepi32_ps(y32), b = _mm_cvtepi32_ps(b32), r = _mm_cvtepi32_ps(r32);
    const __m128 fr = _mm_add_ps(_mm_mul_ps(_mm_set1_ps(kCrToR), r), y);
    const __m128 fb = _mm_add_ps(_mm_mul_ps(_mm_set1_ps(kCbToB), b), y);
    const __m128 fg = _mm_add_ps(_mm_add_ps(_mm_mul_ps(_mm_set1_ps(kCrToG), r), y), _mm_mul_ps(_mm_set1_ps(kCbToG), b));
    const __m128i zero = _mm_setzero_si128(), max5 = _mm_set1_epi32(kMax5), max6 = _mm_set1_epi32(kMax6);
    const __m128i ir = _mm_min_epi32(_mm_max_epi32(_mm_cvtps_epi32(fr), zero), max5);
    const __m128i ib = _mm_min_epi32(_mm_max_epi32(_mm_cvtps_epi32(fb), zero), max5);
    const __m128i ig = _mm_min_epi32(_mm_max_epi32(_mm_cvtps_epi32(fg), zero), max6);
    return _mm_or_si128(_mm_or_si128(_mm_slli_epi32(ir, P.redShift), _mm_slli_epi32(ib, P.blueShift)),
                        _mm_slli_epi32(ig, 5));
}

// A whole group of 16 bytes to six 5-6-5 words in 16-bit lanes 0-5:
// pixels 0-3 in one 4-lane pass, pixels 4-5 in a second pass whose lanes
// 2 and 3 hold zeros.
template <const Packed565& P>
inline __m128i group565_v(__m128i group) {
    const __m128i y = luma_v(group);
    const __m128i bias = _mm_set1_epi16(kChromaZero);
    const __m128i cb = _mm_sub_epi16(fields_v(group, kCbGather), bias);
    const __m128i cr = _mm_sub_epi16(fields_v(group, kCrGather), bias);
    const __m128i first = decode565_v<P>(_mm_cvtepi16_epi32(y), _mm_cvtepi16_epi32(cb), _mm_cvtepi16_epi32(cr));
    const __m128i hiMask = _mm_setr_epi32(-1, -1, 0, 0);
    const __m128i second = decode565_v<P>(_mm_and_si128(_mm_cvtepi16_epi32(_mm_srli_si128(y, 8)), hiMask),
                                          _mm_and_si128(_mm_cvtepi16_epi32(_mm_srli_si128(cb, 8)), hiMask),
                                          _mm_and_si128(_mm_cvtepi16_epi32(_mm_srli_si128(cr, 8)), hiMask));
    // The low halves of the eight 32-bit results, in order (values < 2^16).
    return _mm_packus_epi32(first, second);
}

}  // namespace cel::chroma::v210
