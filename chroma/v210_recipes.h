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
// The factors are the BT.709 decoder with full-scale luma and the studio
// chroma excursion (lumachroma/matrices.h, kDec709Hdtv: luma 1.000 and the
// colour-difference terms 1.540, 1.816, 0.459, 0.183, each in thousandths
// as published), the factors 2 (1 - Kr), 2 (1 - Kb), 2 Kr (1 - Kr) / Kg
// and 2 Kb (1 - Kb) / Kg times 219/224.  They are taken from that set here,
// each to single precision by one division of its thousandths, which the
// asserts below hold to the decimal constants bit for bit.
//
// The decoders have no scalar path: luma goes a group of 6 pixels at a
// time, colour 24 pixels (four groups) at a time in 4-lane passes over pixel
// pairs, and the pixels after the last whole group or block run the same
// passes on a zero-padded copy of the words they need.  So there is one
// vector recipe here; the tests hold the scalar model.
#pragma once

#include <smmintrin.h>

#include <cstdint>

#include "lumachroma/matrices.h"

namespace cel::chroma::v210 {

inline constexpr int kGroupPixels = 6, kGroupWords = 4;
inline constexpr uint32_t kFieldMask = 0x3FF;
inline constexpr int kChromaZero = 512;
constexpr float fromMilli(int thousandths) { return static_cast<float>(thousandths) / 1000.0f; }
inline constexpr float kCrToR = fromMilli(mat::kDec709Hdtv.crR), kCbToB = fromMilli(mat::kDec709Hdtv.cbB),
                       kCrToG = -fromMilli(mat::kDec709Hdtv.crG), kCbToG = -fromMilli(mat::kDec709Hdtv.cbG);
static_assert(mat::kDec709Hdtv.y == 1000, "luma enters unscaled");
static_assert(kCrToR == 1.54f && kCbToB == 1.816f && kCrToG == -0.459f && kCbToG == -0.183f,
              "the decoder's factors");
inline constexpr int kMax5 = 31, kMax6 = 63;

// Words of a group needed for the first n pixels (n 1..6): luma only, and
// luma with its chroma.
inline constexpr int kLumaWords[kGroupPixels + 1] = {0, 1, 2, 2, 3, 4, 4};
inline constexpr int kColourWords[kGroupPixels + 1] = {0, 1, 2, 3, 3, 4, 4};

// Where a field sits: its word in the group and its bit offset, 0, 10 or 20.
struct Field {
    int word, offset;
};
// The field of each pixel of a group: luma Y0..Y5, and the chroma of each
// (Cb0 Cb0 Cb2 Cb2 Cb4 Cb4, Cr likewise); entries 6 and 7 repeat 5 and fill
// the spare lanes of the luma gather.
inline constexpr Field kLumaFields[8] = {{0, 10}, {1, 0}, {1, 20}, {2, 10}, {3, 0}, {3, 20}, {3, 20}, {3, 20}};
inline constexpr Field kCbFields[8] = {{0, 0}, {0, 0}, {1, 10}, {1, 10}, {2, 20}, {2, 20}, {2, 20}, {2, 20}};
inline constexpr Field kCrFields[8] = {{0, 20}, {0, 20}, {2, 0}, {2, 0}, {3, 10}, {3, 10}, {3, 10}, {3, 10}};

// A lane's field is gathered as the byte pair that holds it (the byte of
// its first bit and the next), where it starts at bit offset % 8, that is 0,
// 2 or 4; multiplying by 2^(6 - that) moves it to bits 6-15, dropping the
// bits above it, and a shift right by 6 leaves it alone.
// Lane `lane` of a gather takes field f of the group `from` selects: its
// byte pair and its scale.
constexpr void gatherLane(int8_t* from, int16_t* scale, int lane, const Field& f) {
    const int byte = 4 * f.word + f.offset / 8;
    from[2 * lane] = static_cast<int8_t>(byte);
    from[2 * lane + 1] = static_cast<int8_t>(byte + 1);
    scale[lane] = static_cast<int16_t>(1 << (6 - f.offset % 8));
}

struct FieldGather {
    alignas(16) int8_t pairs[16];
    alignas(16) int16_t scale[8];
};
constexpr FieldGather fieldGather(const Field (&f)[8]) {
    FieldGather g{};
    for (int lane = 0; lane < 8; ++lane) gatherLane(g.pairs, g.scale, lane, f[lane]);
    return g;
}
inline constexpr FieldGather kLumaGather = fieldGather(kLumaFields);

// One field per 16-bit lane.
inline __m128i fields_v(__m128i group, const FieldGather& g) {
    const __m128i pairs = _mm_load_si128(reinterpret_cast<const __m128i*>(g.pairs));
    const __m128i scale = _mm_load_si128(reinterpret_cast<const __m128i*>(g.scale));
    return _mm_srli_epi16(_mm_mullo_epi16(_mm_shuffle_epi8(group, pairs), scale), 6);
}

// The six luma samples of a group in lanes 0-5.
inline __m128i luma_v(__m128i group) { return fields_v(group, kLumaGather); }

// 5-6-5 words: green always takes bits 5-10; red and blue take bits 0-4
// and 11-15 as the form says.
struct Packed565 {
    bool redLow;  // red in bits 0-4 (the RGB form), else blue
};
inline constexpr Packed565 kBGR565{false}, kRGB565{true};

// ---- Blocks of 24 pixels ----------------------------------------------------------------------------
// The colour decoders take four groups (24 pixels, 64 bytes) at a time, as
// three sets of 8 pixels.  A set's lanes are its pixel pairs: the luma of
// the even pixels in lanes 0-3 and of the odd ones in lanes 4-7, and Cb,
// Cr of the pairs likewise, so every chroma product is formed once per pair
// and meets both of its pixels in the same lane.  The four fields of two
// neighbouring pairs lie within 16 bytes of the block, so a set is two
// windows, each an unaligned load and one byte shuffle to the 16-bit lanes
// (luma of the even pixels, of the odd ones, Cb, Cr; two pairs each),
// brought to bits 6-15 by the per-lane multiply of fieldGather; the two
// windows' 32-bit lanes then interleave to the set's luma and chroma.
inline constexpr int kBlockGroups = 4, kBlockPixels = kBlockGroups * kGroupPixels, kSetPixels = 8;
inline constexpr int kBlockSets = kBlockPixels / kSetPixels, kBlockBytes = kBlockGroups * kGroupWords * 4;

struct WindowGather {
    int start;  // the window's first byte in the block
    alignas(16) int8_t pairs[16];
    alignas(16) int16_t scale[8];
};

// The byte in the block where field f of group g starts.
constexpr int fieldByte(int g, const Field& f) { return 4 * (kGroupWords * g + f.word) + f.offset / 8; }

// Window w (0, 1) of set s: pairs 4 s + 2 w and the next.
constexpr WindowGather windowGather(int s, int w) {
    WindowGather g{};
    Field fields[8] = {};
    int group[8] = {};
    for (int k = 0; k < 2; ++k) {
        const int even = s * kSetPixels + 4 * w + 2 * k;  // the pair's first pixel in the block
        const int gi = even / kGroupPixels, p = even % kGroupPixels;
        const Field f[4] = {kLumaFields[p], kLumaFields[p + 1], kCbFields[p], kCrFields[p]};
        for (int c = 0; c < 4; ++c) fields[2 * c + k] = f[c], group[2 * c + k] = gi;
    }
    int first = kBlockBytes;
    for (int lane = 0; lane < 8; ++lane) {
        const int at = fieldByte(group[lane], fields[lane]);
        first = at < first ? at : first;
    }
    g.start = first < kBlockBytes - 16 ? first : kBlockBytes - 16;  // no window reads past the block
    for (int lane = 0; lane < 8; ++lane) {
        const int at = fieldByte(group[lane], fields[lane]) - g.start;  // the field as if in word 0
        gatherLane(g.pairs, g.scale, lane, Field{0, 8 * at + fields[lane].offset % 8});
    }
    return g;
}
inline constexpr WindowGather kWindows[kBlockSets][2] = {{windowGather(0, 0), windowGather(0, 1)},
                                                          {windowGather(1, 0), windowGather(1, 1)},
                                                          {windowGather(2, 0), windowGather(2, 1)}};

// Every byte pair a window takes lies inside it.
constexpr bool windowsFit() {
    for (const auto& set : kWindows)
        for (const WindowGather& g : set)
            for (int i = 0; i < 16; ++i)
                if (g.pairs[i] < 0 || g.pairs[i] > 15 || g.start < 0 || g.start + 16 > kBlockBytes) return false;
    return true;
}
static_assert(windowsFit(), "two pairs' fields lie within 16 bytes of the block");

inline __m128i loadConst(const void* p) { return _mm_load_si128(static_cast<const __m128i*>(p)); }

// The float arithmetic rides on M = 1.5 * 2^23, whose unit in the last
// place is 1 and whose low 16 bits are zero:
// - the bits 0x4B40 above a 16-bit value v are the float M + v, so luma
//   becomes M + Y and a chroma field moved to bits 6-15, that is
//   64 (C - 512) + 32768, becomes a float from which M + 32768 takes
//   64 (C - 512) exactly;
// - the products are formed with the factors over 64, a power of two, so
//   they are the products of the factors and C - 512, bit for bit;
// - a sum with M + Y is rounded to an integer once, to nearest even, and
//   its low 16 bits hold that integer: for R = 1.54 r + Y and B = 1.816 b + Y
//   this is the rounding of the single-precision sum then to an integer (the
//   tests sweep every r, b and Y);
// - green keeps its two additions on Y itself (M + Y less M) and is
//   converted under the default rounding, nearest even.
inline constexpr float kMagic = 12582912.0f;  // 1.5 * 2^23
inline constexpr int kMagicHigh = 0x4B40;
inline constexpr float kChromaBase = kMagic + 32768.0f;
inline constexpr float kFieldScale = 1.0f / 64;

// The fields of window (s, w) of the block at `block`, at bits 6-15 of
// their 16-bit lanes (the bits below are the field's neighbour).
template <int S, int W>
inline __m128i window_v(const uint8_t* block) {
    const WindowGather& g = kWindows[S][W];
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(block + g.start));
    return _mm_mullo_epi16(_mm_shuffle_epi8(v, loadConst(g.pairs)), loadConst(g.scale));
}

// The 5-6-5 words of set s of the block at `block`.
template <const Packed565& P, int S>
inline __m128i set565_v(const uint8_t* block) {
    const __m128i w0 = window_v<S, 0>(block), w1 = window_v<S, 1>(block);
    // even pixels' luma in lanes 0-3, odd in 4-7
    const __m128i y16 = _mm_srli_epi16(_mm_unpacklo_epi32(w0, w1), 6);
    // Cb of the pairs in lanes 0-3, Cr in 4-7, as 64 C
    const __m128i c16 =
        _mm_and_si128(_mm_unpackhi_epi32(w0, w1), _mm_set1_epi16(static_cast<int16_t>(kFieldMask << 6)));
    const __m128i high = _mm_set1_epi16(kMagicHigh);
    const __m128 magic = _mm_set1_ps(kMagic), base = _mm_set1_ps(kChromaBase);
    const __m128 b64 = _mm_sub_ps(_mm_castsi128_ps(_mm_unpacklo_epi16(c16, high)), base);
    const __m128 r64 = _mm_sub_ps(_mm_castsi128_ps(_mm_unpackhi_epi16(c16, high)), base);
    const __m128 ar = _mm_mul_ps(r64, _mm_set1_ps(kCrToR * kFieldScale));
    const __m128 ab = _mm_mul_ps(b64, _mm_set1_ps(kCbToB * kFieldScale));
    const __m128 gr = _mm_mul_ps(r64, _mm_set1_ps(kCrToG * kFieldScale));
    const __m128 gb = _mm_mul_ps(b64, _mm_set1_ps(kCbToG * kFieldScale));
    const __m128 ye = _mm_castsi128_ps(_mm_unpacklo_epi16(y16, high));  // M + Y, even pixels
    const __m128 yo = _mm_castsi128_ps(_mm_unpackhi_epi16(y16, high));  // odd pixels
    const __m128i re = _mm_castps_si128(_mm_add_ps(ar, ye)), ro = _mm_castps_si128(_mm_add_ps(ar, yo));
    const __m128i be = _mm_castps_si128(_mm_add_ps(ab, ye)), bo = _mm_castps_si128(_mm_add_ps(ab, yo));
    const __m128i ge = _mm_cvtps_epi32(_mm_add_ps(_mm_add_ps(gr, _mm_sub_ps(ye, magic)), gb));
    const __m128i go = _mm_cvtps_epi32(_mm_add_ps(_mm_add_ps(gr, _mm_sub_ps(yo, magic)), gb));
    // Each pixel's 5-bit fields as a byte pair: the one of bits 0-4, and the
    // one of bits 11-15 times 8, both from the low halves of their sums; the
    // saturating pack limits them below at 0, the minimum above at 31 and
    // 248, so the pair is the word's bits 0-4 and 11-15.  Green is limited
    // by the unsigned pack and the minimum at 63 and fills bits 5-10.
    const __m128i pe = _mm_blend_epi16(P.redLow ? re : be, _mm_slli_epi32(P.redLow ? be : re, 16 + 3), 0xAA);
    const __m128i po = _mm_blend_epi16(P.redLow ? ro : bo, _mm_slli_epi32(P.redLow ? bo : ro, 16 + 3), 0xAA);
    const __m128i fives = _mm_min_epu8(_mm_packus_epi16(pe, po), _mm_set1_epi16(static_cast<int16_t>(kMax5 << 3 << 8 | kMax5)));
    const __m128i g = _mm_min_epu16(_mm_packus_epi32(ge, go), _mm_set1_epi16(kMax6));
    // lanes 0-3 hold the even pixels, 4-7 the odd ones: into pixel order
    return _mm_shuffle_epi8(_mm_or_si128(fives, _mm_slli_epi16(g, 5)),
                            _mm_setr_epi8(0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15));
}

// 24 pixels from 16 words to 24 samples.
template <const Packed565& P>
inline void block565_v(const uint32_t* s, uint16_t* d) {
    const uint8_t* block = reinterpret_cast<const uint8_t*>(s);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(d), set565_v<P, 0>(block));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(d + kSetPixels), set565_v<P, 1>(block));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 2 * kSetPixels), set565_v<P, 2>(block));
}

}  // namespace cel::chroma::v210
