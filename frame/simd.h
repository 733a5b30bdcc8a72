// Byte-shuffling helpers shared by the 8-bit kernels: splitting 16 pixels of
// three interleaved channels into three vectors and joining them back.
//
// Split: in 48 bytes read as three 16-byte loads a, b, c, byte position p of
// load k holds channel (16k + p) % 3.  For a fixed p the three loads hold
// three different channels, so blending the loads by a per-channel byte mask
// gives all 16 bytes of one channel, in scrambled order; one byte shuffle
// per channel puts them in pixel order.  Join is the same in reverse.
#pragma once

#include <smmintrin.h>

#include <cstdint>

namespace cel::simd {

// A 16-byte load and store, aligned (the aligned twins' rows) or not.
template <bool Aligned = false>
inline __m128i load16(const uint8_t* p) {
    const __m128i* q = reinterpret_cast<const __m128i*>(p);
    if constexpr (Aligned) return _mm_load_si128(q);
    return _mm_loadu_si128(q);
}
template <bool Aligned = false>
inline void store16(uint8_t* p, __m128i v) {
    if constexpr (Aligned)
        _mm_store_si128(reinterpret_cast<__m128i*>(p), v);
    else
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v);
}

namespace detail {

struct C3Tables {
    // mask[c][k][p]: 0xFF where byte p of load k holds channel c
    alignas(16) int8_t mask[3][3][16];
    // gather[c][j]: position of pixel j's channel c within the OR of the masked loads
    alignas(16) int8_t gather[3][16];
    // scatter[c][p]: pixel whose channel c lands at position p (in the load that owns it)
    alignas(16) int8_t scatter[3][16];
    // gatherHigh[c][h]: like gather, but pixels 8h..8h+7 go to the high bytes
    // of eight 16-bit lanes and the low bytes are cleared
    alignas(16) int8_t gatherHigh[3][2][16];
    // scatterEvenOdd: like scatter, for channel vectors holding the even
    // pixels in bytes 0-7 and the odd ones in bytes 8-15
    alignas(16) int8_t scatterEvenOdd[3][16];
};

constexpr C3Tables makeC3Tables() {
    C3Tables t{};
    for (int c = 0; c < 3; ++c) {
        for (int k = 0; k < 3; ++k)
            for (int p = 0; p < 16; ++p) t.mask[c][k][p] = ((16 * k + p) % 3 == c) ? int8_t(-1) : int8_t(0);
        for (int j = 0; j < 16; ++j) t.gather[c][j] = static_cast<int8_t>((3 * j + c) % 16);
        for (int h = 0; h < 2; ++h)
            for (int j = 0; j < 8; ++j) {
                t.gatherHigh[c][h][2 * j] = -128;
                t.gatherHigh[c][h][2 * j + 1] = static_cast<int8_t>((3 * (8 * h + j) + c) % 16);
            }
        for (int p = 0; p < 16; ++p)
            for (int k = 0; k < 3; ++k)
                if ((16 * k + p) % 3 == c) {
                    const int px = (16 * k + p) / 3;
                    t.scatter[c][p] = static_cast<int8_t>(px);
                    t.scatterEvenOdd[c][p] = static_cast<int8_t>(px / 2 + (px & 1) * 8);
                }
    }
    return t;
}

inline constexpr C3Tables kC3 = makeC3Tables();

inline __m128i ld(const int8_t* p) { return _mm_load_si128(reinterpret_cast<const __m128i*>(p)); }

}  // namespace detail

// Gathers channel ch of the 16 pixels held in loads a, b, c.
template <int ch>
inline __m128i gather3(__m128i a, __m128i b, __m128i c) {
    using detail::kC3;
    using detail::ld;
    const __m128i ab = _mm_blendv_epi8(a, b, ld(kC3.mask[ch][1]));
    const __m128i abc = _mm_blendv_epi8(ab, c, ld(kC3.mask[ch][2]));
    return _mm_shuffle_epi8(abc, ld(kC3.gather[ch]));
}

// Channel ch of the 16 pixels held in loads a, b, c as two vectors of eight
// 16-bit lanes with the byte in the high half (value << 8).
template <int ch>
inline void gather3High(__m128i a, __m128i b, __m128i c, __m128i& lo, __m128i& hi) {
    using detail::kC3;
    using detail::ld;
    const __m128i ab = _mm_blendv_epi8(a, b, ld(kC3.mask[ch][1]));
    const __m128i abc = _mm_blendv_epi8(ab, c, ld(kC3.mask[ch][2]));
    lo = _mm_shuffle_epi8(abc, ld(kC3.gatherHigh[ch][0]));
    hi = _mm_shuffle_epi8(abc, ld(kC3.gatherHigh[ch][1]));
}

// 48 bytes of 16 three-channel pixels -> per channel, two vectors of 16-bit
// lanes holding value << 8 (pixels 0-7, then 8-15).
inline void split3x16High(const uint8_t* src, __m128i (&c0)[2], __m128i (&c1)[2], __m128i (&c2)[2]) {
    const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src));
    const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 16));
    const __m128i c = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 32));
    gather3High<0>(a, b, c, c0[0], c0[1]);
    gather3High<1>(a, b, c, c1[0], c1[1]);
    gather3High<2>(a, b, c, c2[0], c2[1]);
}

// Builds store k of the 48 bytes from the three scattered channel vectors.
template <int k>
inline __m128i scatter3(__m128i s0, __m128i s1, __m128i s2) {
    using detail::kC3;
    using detail::ld;
    return _mm_blendv_epi8(_mm_blendv_epi8(s0, s1, ld(kC3.mask[1][k])), s2, ld(kC3.mask[2][k]));
}

namespace detail {
// Channel vectors put in store order by a scatter table, then blended.
inline void joinScattered(uint8_t* dst, __m128i c0, __m128i c1, __m128i c2, const int8_t (&scatter)[3][16]) {
    const __m128i s0 = _mm_shuffle_epi8(c0, ld(scatter[0]));
    const __m128i s1 = _mm_shuffle_epi8(c1, ld(scatter[1]));
    const __m128i s2 = _mm_shuffle_epi8(c2, ld(scatter[2]));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst), scatter3<0>(s0, s1, s2));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + 16), scatter3<1>(s0, s1, s2));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + 32), scatter3<2>(s0, s1, s2));
}
}  // namespace detail

// 48 bytes of 16 three-channel pixels -> one vector per channel.
inline void split3x16(const uint8_t* src, __m128i& c0, __m128i& c1, __m128i& c2) {
    const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src));
    const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 16));
    const __m128i c = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 32));
    c0 = gather3<0>(a, b, c);
    c1 = gather3<1>(a, b, c);
    c2 = gather3<2>(a, b, c);
}

// One vector per channel -> 48 bytes of 16 three-channel pixels.
inline void join3x16(uint8_t* dst, __m128i c0, __m128i c1, __m128i c2) {
    detail::joinScattered(dst, c0, c1, c2, detail::kC3.scatter);
}

// The same from channel vectors in even/odd order (pixels 0, 2, .., 14,
// then 1, 3, .., 15), as a pack of even and odd lanes leaves them.
inline void join3x16EvenOdd(uint8_t* dst, __m128i c0, __m128i c1, __m128i c2) {
    detail::joinScattered(dst, c0, c1, c2, detail::kC3.scatterEvenOdd);
}

// 64 bytes of 16 four-channel pixels, transposed one stage short: per group
// of eight pixels the first two channels in one vector and the last two in
// another, each channel's eight bytes in pixel order.  h[0] = [c0 0-7 | c1
// 0-7], h[1] = [c2 0-7 | c3 0-7], h[2] and h[3] the same for pixels 8-15.
// Aligned: aligned loads (the aligned twins' sources).
template <bool Aligned = false>
inline void split4x16Pairs(const uint8_t* src, __m128i (&h)[4]) {
    const __m128i byChannel = _mm_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15);
    const auto load = [&byChannel](const uint8_t* p) { return _mm_shuffle_epi8(load16<Aligned>(p), byChannel); };
    const __m128i s0 = load(src), s1 = load(src + 16), s2 = load(src + 32), s3 = load(src + 48);
    h[0] = _mm_unpacklo_epi32(s0, s1);
    h[1] = _mm_unpackhi_epi32(s0, s1);
    h[2] = _mm_unpacklo_epi32(s2, s3);
    h[3] = _mm_unpackhi_epi32(s2, s3);
}

// 64 bytes of 16 four-channel pixels -> the four channels, one vector each.
inline void split4x16(const uint8_t* src, __m128i& c0, __m128i& c1, __m128i& c2, __m128i& c3) {
    __m128i h[4];
    split4x16Pairs(src, h);
    c0 = _mm_unpacklo_epi64(h[0], h[2]);
    c1 = _mm_unpackhi_epi64(h[0], h[2]);
    c2 = _mm_unpacklo_epi64(h[1], h[3]);
    c3 = _mm_unpackhi_epi64(h[1], h[3]);
}

// 64 bytes of 16 four-channel pixels -> the first three channels, one vector each.
inline void split4x16(const uint8_t* src, __m128i& c0, __m128i& c1, __m128i& c2) {
    __m128i unused;
    split4x16(src, c0, c1, c2, unused);
}

// 32 bytes of 8 four-channel pixels -> the first three channels as eight
// 16-bit lanes each with the byte in the high half (value << 8).
inline void split4x8High(const uint8_t* src, __m128i& c0, __m128i& c1, __m128i& c2) {
    const __m128i byChannel = _mm_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15);
    const __m128i z = _mm_setzero_si128();
    const __m128i s0 = _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(src)), byChannel);
    const __m128i s1 = _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 16)), byChannel);
    const __m128i c01 = _mm_unpacklo_epi32(s0, s1);  // c0 0-7, c1 0-7
    const __m128i c23 = _mm_unpackhi_epi32(s0, s1);  // c2 0-7, c3 0-7
    c0 = _mm_unpacklo_epi8(z, c01);
    c1 = _mm_unpackhi_epi8(z, c01);
    c2 = _mm_unpacklo_epi8(z, c23);
}

// Four channel vectors -> 64 bytes of 16 four-channel pixels (aligned
// stores where the destination is 16-byte aligned).
template <bool Aligned = false>
inline void join4x16(uint8_t* dst, __m128i c0, __m128i c1, __m128i c2, __m128i c3) {
    const __m128i lo01 = _mm_unpacklo_epi8(c0, c1), hi01 = _mm_unpackhi_epi8(c0, c1);
    const __m128i lo23 = _mm_unpacklo_epi8(c2, c3), hi23 = _mm_unpackhi_epi8(c2, c3);
    store16<Aligned>(dst, _mm_unpacklo_epi16(lo01, lo23));
    store16<Aligned>(dst + 16, _mm_unpackhi_epi16(lo01, lo23));
    store16<Aligned>(dst + 32, _mm_unpacklo_epi16(hi01, hi23));
    store16<Aligned>(dst + 48, _mm_unpackhi_epi16(hi01, hi23));
}

// The same from three channel vectors in even/odd order (pixels 0, 2, ..,
// 14, then 1, 3, .., 15) and a fourth channel whose bytes are all equal.
inline void join4x16EvenOdd(uint8_t* dst, __m128i c0, __m128i c1, __m128i c2, __m128i fill) {
    const __m128i order = _mm_setr_epi8(0, 8, 1, 9, 2, 10, 3, 11, 4, 12, 5, 13, 6, 14, 7, 15);
    join4x16(dst, _mm_shuffle_epi8(c0, order), _mm_shuffle_epi8(c1, order), _mm_shuffle_epi8(c2, order), fill);
}

namespace detail {

// Shuffles between eight three-channel pixels (24 bytes, handled as 16 + 8)
// and eight 16-bit lanes (split, byte in the high half) or eight bytes per
// channel (join).  -128 clears a byte.
struct C3x8Tables {
    alignas(16) int8_t splitLo[3][16];  // channel c from bytes 0..15 into high lane bytes
    alignas(16) int8_t splitHi[3][16];  // channel c from bytes 16..23
    alignas(16) int8_t joinLoC01[16];   // bytes 0..15 from (c0 | c1 << 64)
    alignas(16) int8_t joinLoC2[16];    // bytes 0..15 from c2
    alignas(16) int8_t joinHiC01[16];   // bytes 16..23 from (c0 | c1 << 64)
    alignas(16) int8_t joinHiC2[16];    // bytes 16..23 from c2
};

constexpr C3x8Tables makeC3x8Tables() {
    C3x8Tables t{};
    for (int c = 0; c < 3; ++c)
        for (int j = 0; j < 8; ++j) {
            const int at = 3 * j + c;
            t.splitLo[c][2 * j] = t.splitHi[c][2 * j] = -128;
            t.splitLo[c][2 * j + 1] = at < 16 ? static_cast<int8_t>(at) : int8_t(-128);
            t.splitHi[c][2 * j + 1] = at >= 16 ? static_cast<int8_t>(at - 16) : int8_t(-128);
        }
    for (int p = 0; p < 16; ++p) {
        t.joinLoC01[p] = t.joinLoC2[p] = t.joinHiC01[p] = t.joinHiC2[p] = -128;
        for (int half = 0; half < 2; ++half) {
            const int at = 16 * half + p;
            if (at >= 24) continue;
            const int j = at / 3, c = at % 3;
            int8_t* c01 = half ? t.joinHiC01 : t.joinLoC01;
            int8_t* c2 = half ? t.joinHiC2 : t.joinLoC2;
            if (c == 2)
                c2[p] = static_cast<int8_t>(j);
            else
                c01[p] = static_cast<int8_t>(8 * c + j);
        }
    }
    return t;
}

inline constexpr C3x8Tables kC3x8 = makeC3x8Tables();

}  // namespace detail

// 24 bytes of 8 three-channel pixels -> per channel eight 16-bit lanes
// holding value << 8.  Reads exactly 24 bytes.
inline void split3x8High(const uint8_t* src, __m128i& c0, __m128i& c1, __m128i& c2) {
    using detail::kC3x8;
    using detail::ld;
    const __m128i lo = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src));
    const __m128i hi = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(src + 16));
    c0 = _mm_or_si128(_mm_shuffle_epi8(lo, ld(kC3x8.splitLo[0])), _mm_shuffle_epi8(hi, ld(kC3x8.splitHi[0])));
    c1 = _mm_or_si128(_mm_shuffle_epi8(lo, ld(kC3x8.splitLo[1])), _mm_shuffle_epi8(hi, ld(kC3x8.splitHi[1])));
    c2 = _mm_or_si128(_mm_shuffle_epi8(lo, ld(kC3x8.splitLo[2])), _mm_shuffle_epi8(hi, ld(kC3x8.splitHi[2])));
}

// Eight bytes per channel (low halves of c0, c1, c2) -> 24 bytes of 8
// three-channel pixels.  Writes exactly 24 bytes.
inline void join3x8(uint8_t* dst, __m128i c0, __m128i c1, __m128i c2) {
    using detail::kC3x8;
    using detail::ld;
    const __m128i c01 = _mm_unpacklo_epi64(c0, c1);
    const __m128i lo = _mm_or_si128(_mm_shuffle_epi8(c01, ld(kC3x8.joinLoC01)), _mm_shuffle_epi8(c2, ld(kC3x8.joinLoC2)));
    const __m128i hi = _mm_or_si128(_mm_shuffle_epi8(c01, ld(kC3x8.joinHiC01)), _mm_shuffle_epi8(c2, ld(kC3x8.joinHiC2)));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst), lo);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(dst + 16), hi);
}

// Eight bytes per channel (low halves) -> 32 bytes of 8 four-channel pixels.
template <bool Aligned = false>
inline void join4x8(uint8_t* dst, __m128i c0, __m128i c1, __m128i c2, __m128i c3) {
    const __m128i c01 = _mm_unpacklo_epi8(c0, c1), c23 = _mm_unpacklo_epi8(c2, c3);
    store16<Aligned>(dst, _mm_unpacklo_epi16(c01, c23));
    store16<Aligned>(dst + 16, _mm_unpackhi_epi16(c01, c23));
}

namespace detail {

// The same split/join idea for eight pixels of 16-bit samples: in 48 bytes
// read as three stores of eight elements, element q of store k holds
// channel (8k + q) % 3, distinct for the three stores.
struct C3x8u16Tables {
    alignas(16) int8_t mask[3][3][16];  // bytes of element q of store k holding channel c
    alignas(16) int8_t scatter[3][16];  // element q <- pixel of channel c that lands there
};

constexpr C3x8u16Tables makeC3x8u16Tables() {
    C3x8u16Tables t{};
    for (int c = 0; c < 3; ++c)
        for (int q = 0; q < 8; ++q)
            for (int k = 0; k < 3; ++k) {
                const bool holds = (8 * k + q) % 3 == c;
                t.mask[c][k][2 * q] = t.mask[c][k][2 * q + 1] = holds ? int8_t(-1) : int8_t(0);
                if (holds) {
                    const int pixel = (8 * k + q) / 3;
                    t.scatter[c][2 * q] = static_cast<int8_t>(2 * pixel);
                    t.scatter[c][2 * q + 1] = static_cast<int8_t>(2 * pixel + 1);
                }
            }
    return t;
}

inline constexpr C3x8u16Tables kC3x8u16 = makeC3x8u16Tables();

}  // namespace detail

// Three vectors of eight 16-bit samples -> 48 bytes of 8 three-channel pixels.
inline void join3x8u16(uint16_t* dst, __m128i c0, __m128i c1, __m128i c2) {
    using detail::kC3x8u16;
    using detail::ld;
    const __m128i s0 = _mm_shuffle_epi8(c0, ld(kC3x8u16.scatter[0]));
    const __m128i s1 = _mm_shuffle_epi8(c1, ld(kC3x8u16.scatter[1]));
    const __m128i s2 = _mm_shuffle_epi8(c2, ld(kC3x8u16.scatter[2]));
    for (int k = 0; k < 3; ++k) {
        const __m128i v = _mm_blendv_epi8(_mm_blendv_epi8(s0, s1, ld(kC3x8u16.mask[1][k])), s2, ld(kC3x8u16.mask[2][k]));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + 8 * k), v);
    }
}

// Unaligned 16-byte load and store, and a store of the low eight bytes.
inline __m128i loadu(const uint8_t* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
inline void storeu(uint8_t* p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }
inline void storeLow8(uint8_t* p, __m128i v) { _mm_storel_epi64(reinterpret_cast<__m128i*>(p), v); }

// Eight bytes -> eight 16-bit lanes with the byte in the high half (x << 8).
inline __m128i loadHigh8(const uint8_t* p) {
    return _mm_unpacklo_epi8(_mm_setzero_si128(), _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)));
}

// Eight 16-bit lanes -> eight bytes with unsigned saturation.
inline void storePacked8(uint8_t* p, __m128i lanes) {
    _mm_storel_epi64(reinterpret_cast<__m128i*>(p), _mm_packus_epi16(lanes, lanes));
}

// A row of interleaved pixels of Ch bytes (3, or 4 with the fourth never
// read) to three planes through a high-word recipe vec(a, b, c, o0, o1, o2)
// as below, eight pixels an iteration, and its scalar tail px(a, b, c, o0,
// o1, o2) one pixel at a time.
template <int Ch, class V, class P>
inline void pixelsHighToPlanes(const uint8_t* src, uint8_t* const d[3], int width, V vec, P px) {
    static_assert(Ch == 3 || Ch == 4, "three or four bytes a pixel");
    int x = 0;
    // body: vec, 8 pixels
    for (; x + 8 <= width; x += 8) {
        __m128i c[3], o[3];
        if constexpr (Ch == 3)
            split3x8High(src + 3 * x, c[0], c[1], c[2]);
        else
            split4x8High(src + 4 * x, c[0], c[1], c[2]);
        vec(c[0], c[1], c[2], o[0], o[1], o[2]);
        for (int k = 0; k < 3; ++k) storePacked8(d[k] + x, o[k]);
    }
    // tail: px
    for (; x < width; ++x) {
        const uint8_t* s = src + Ch * x;
        px(s[0], s[1], s[2], d[0][x], d[1][x], d[2][x]);
    }
}

// A row of three planes to three planes through a high-word recipe
// vec(a, b, c, o0, o1, o2), whose inputs are 16-bit lanes of byte << 8 and
// whose outputs are packed with unsigned saturation, and a scalar recipe
// px(a, b, c, o0, o1, o2) for the tail.  Sixteen pixels an iteration with
// aligned loads and stores where the caller found every row address a
// multiple of 16, then eight with any address, then one at a time.
template <class V, class P>
inline void planes3HighRow(const uint8_t* const s[3], uint8_t* const d[3], int width, bool aligned, V vec, P px) {
    int x = 0;
    // body: vec, 16 pixels, aligned
    const __m128i z = _mm_setzero_si128();
    for (; aligned && x + 16 <= width; x += 16) {
        __m128i c[3], lo[3], hi[3];
        for (int k = 0; k < 3; ++k) c[k] = _mm_load_si128(reinterpret_cast<const __m128i*>(s[k] + x));
        vec(_mm_unpacklo_epi8(z, c[0]), _mm_unpacklo_epi8(z, c[1]), _mm_unpacklo_epi8(z, c[2]), lo[0], lo[1], lo[2]);
        vec(_mm_unpackhi_epi8(z, c[0]), _mm_unpackhi_epi8(z, c[1]), _mm_unpackhi_epi8(z, c[2]), hi[0], hi[1], hi[2]);
        for (int k = 0; k < 3; ++k)
            _mm_store_si128(reinterpret_cast<__m128i*>(d[k] + x), _mm_packus_epi16(lo[k], hi[k]));
    }
    // body: vec, 8 pixels
    for (; x + 8 <= width; x += 8) {
        __m128i o[3];
        vec(loadHigh8(s[0] + x), loadHigh8(s[1] + x), loadHigh8(s[2] + x), o[0], o[1], o[2]);
        for (int k = 0; k < 3; ++k) storePacked8(d[k] + x, o[k]);
    }
    // tail: px
    for (; x < width; ++x) px(s[0][x], s[1][x], s[2][x], d[0][x], d[1][x], d[2][x]);
}

// A byte vector of sixteen pixels as lanes of value << 6 of its even pixels
// and of its odd pixels: one byte multiply-add each (weights 64, 0 and 0,
// 64), no shift or mask.  even + odd is the pair sum << 6 (at most 32640).
struct EvenOdd64 {
    __m128i even, odd;
};
inline EvenOdd64 evenOdd64(__m128i v) {
    return {_mm_maddubs_epi16(v, _mm_set1_epi16(64)), _mm_maddubs_epi16(v, _mm_set1_epi16(64 << 8))};
}

// Sums of 2 x 2 blocks << 5 from the even and odd lanes of two rows: each
// row's pair sum << 6, the two averaged with rounding up, which is exact
// because their sum is even.
inline __m128i blockSum5(const EvenOdd64& a, const EvenOdd64& b) {
    return _mm_avg_epu16(_mm_add_epi16(a.even, a.odd), _mm_add_epi16(b.even, b.odd));
}

// Sixteen bytes in pixel order from the results of the even and the odd
// pixels, each within 0..255 in its 16-bit lane (what the saturating pack
// would leave).
inline __m128i joinEvenOdd(__m128i even, __m128i odd) { return _mm_or_si128(even, _mm_slli_epi16(odd, 8)); }

}  // namespace cel::simd
