// Row kernels that move 8-bit luma and chroma bytes between the packed (C2),
// two-plane (P2) and three-plane (P3) layouts, shared by the repacking and
// the chroma-rate families.  Every output byte is one input byte, so the
// vector body and the scalar tail of a kernel move the same bytes; block
// sizes have no effect on the result.
//
// C2 byte orders per pixel pair: YCbCr422 (YUY2) Y0 Cb Y1 Cr; CbYCr422
// (UYVY) Cb Y0 Cr Y1; YCrCb422 Y0 Cr Y1 Cb.
#pragma once

#include <smmintrin.h>

#include <cstdint>
#include <cstring>

#include "frame/image.h"
#include "frame/rowprim.h"

namespace cel::chroma {

inline __m128i load(const uint8_t* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
inline __m128i load8(const uint8_t* p) { return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)); }
inline __m128i load4(const uint8_t* p) {
    int32_t w;
    std::memcpy(&w, p, 4);
    return _mm_cvtsi32_si128(w);
}
inline void store(uint8_t* p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }
inline void store8(uint8_t* p, __m128i v) { _mm_storel_epi64(reinterpret_cast<__m128i*>(p), v); }
inline void store4(uint8_t* p, __m128i v) {
    const int32_t w = _mm_cvtsi128_si32(v);
    std::memcpy(p, &w, 4);
}
// 16-byte loads and stores, aligned when Al (the caller has chosen the route
// once per call from the pointers and steps).
template <bool Al>
inline __m128i loadA(const uint8_t* p) {
    if constexpr (Al)
        return _mm_load_si128(reinterpret_cast<const __m128i*>(p));
    else
        return load(p);
}
template <bool Al>
inline void storeA(uint8_t* p, __m128i v) {
    if constexpr (Al)
        _mm_store_si128(reinterpret_cast<__m128i*>(p), v);
    else
        store(p, v);
}
// The even (odd) bytes of 32 bytes, in order.
inline __m128i evenBytes(__m128i v0, __m128i v1) {
    const __m128i mask = _mm_set1_epi16(0x00FF);
    return _mm_packus_epi16(_mm_and_si128(v0, mask), _mm_and_si128(v1, mask));
}
inline __m128i oddBytes(__m128i v0, __m128i v1) { return _mm_packus_epi16(_mm_srli_epi16(v0, 8), _mm_srli_epi16(v1, 8)); }

// A 16-byte store, non-temporal when Stream (the caller has checked that the
// address is 16-byte aligned and fences when its kernel asks for it).
template <bool Stream>
inline void put(uint8_t* p, __m128i v) {
    if constexpr (Stream)
        _mm_stream_si128(reinterpret_cast<__m128i*>(p), v);
    else
        store(p, v);
}

// Luma plane copy through the row primitive; a streaming copy ends with a
// fence.  Rows that lie back to back on both sides (both steps equal to the
// width) go through as one row, without a start and an end per row.
inline void copyLuma(const uint8_t* s, int ss, uint8_t* d, int ds, int width, int height, bool stream = false) {
    if (height > 1 && ss == width && ds == width && int64_t(width) * height <= INT32_MAX) {
        y8_ownccCopy_8u_C1_M7(s, d, width * height, stream);
    } else {
        for (int j = 0; j < height; ++j) y8_ownccCopy_8u_C1_M7(rowAt(s, j, ss), rowAt(d, j, ds), width, stream);
    }
    if (stream && height > 0) _mm_sfence();
}
// Luma rows first to first + count - 1 through the row primitive, for the
// kernels that copy the luma of a chroma row next to it (the caller fences
// after its last streamed row).
inline void copyLumaRows(const uint8_t* s, int ss, uint8_t* d, int ds, int width, int first, int count,
                         bool stream = false) {
    for (int j = first; j < first + count; ++j) y8_ownccCopy_8u_C1_M7(rowAt(s, j, ss), rowAt(d, j, ds), width, stream);
}

// ---- Packed 4:2:2 ------------------------------------------------------------------------------
// Positions of Y0, first chroma, Y1, second chroma within a 4-byte pair.
struct C2Order {
    int y0, c0, y1, c1;
};
inline constexpr C2Order kYUY2{0, 1, 2, 3};  // Y0 Cb Y1 Cr
inline constexpr C2Order kUYVY{1, 0, 3, 2};  // Cb Y0 Cr Y1
// Y0 Cr Y1 Cb with Cb taken first; read from YUY2 bytes it takes Cr first.
inline constexpr C2Order kYVYU{0, 3, 2, 1};

// Shuffle of 16 C2 bytes (8 pixels): luma to bytes 0-7, chroma to bytes
// 8-15, as four first then four second samples or, with Pairs, as four
// (first, second) pairs.
template <const C2Order& O, bool Pairs>
inline __m128i c2Split() {
    if constexpr (Pairs)
        return _mm_setr_epi8(O.y0, O.y1, O.y0 + 4, O.y1 + 4, O.y0 + 8, O.y1 + 8, O.y0 + 12, O.y1 + 12, O.c0, O.c1,
                             O.c0 + 4, O.c1 + 4, O.c0 + 8, O.c1 + 8, O.c0 + 12, O.c1 + 12);
    else
        return _mm_setr_epi8(O.y0, O.y1, O.y0 + 4, O.y1 + 4, O.y0 + 8, O.y1 + 8, O.y0 + 12, O.y1 + 12, O.c0, O.c0 + 4,
                             O.c0 + 8, O.c0 + 12, O.c1, O.c1 + 4, O.c1 + 8, O.c1 + 12);
}

// 32 pixels of C2 (64 bytes): luma of pixels 0-15 and 16-31, and 16
// samples of each chroma.
template <const C2Order& O>
inline void c2Split32(const uint8_t* s, __m128i& y0, __m128i& y1, __m128i& c0, __m128i& c1) {
    const __m128i split = c2Split<O, false>();
    const __m128i a = _mm_shuffle_epi8(load(s), split), b = _mm_shuffle_epi8(load(s + 16), split);
    const __m128i c = _mm_shuffle_epi8(load(s + 32), split), d = _mm_shuffle_epi8(load(s + 48), split);
    y0 = _mm_unpacklo_epi64(a, b), y1 = _mm_unpacklo_epi64(c, d);
    const __m128i ab = _mm_unpackhi_epi32(a, b), cd = _mm_unpackhi_epi32(c, d);  // c0 x8, c1 x8 each
    c0 = _mm_unpacklo_epi64(ab, cd), c1 = _mm_unpackhi_epi64(ab, cd);
}

// One row of C2 to three planes: 16 pixels (32 bytes) a block, then pairs.
template <const C2Order& O>
void c2ToP3Row(const uint8_t* s, uint8_t* y, uint8_t* c0, uint8_t* c1, int width) {
    const __m128i split = c2Split<O, false>();
    int x = 0;
    // body: 16 pixels
    for (; x + 16 <= width; x += 16) {
        const __m128i a = _mm_shuffle_epi8(load(s + 2 * x), split), b = _mm_shuffle_epi8(load(s + 2 * x + 16), split);
        store(y + x, _mm_unpacklo_epi64(a, b));
        const __m128i c = _mm_unpackhi_epi32(a, b);  // c0 0-3, c0 4-7, c1 0-3, c1 4-7
        store8(c0 + x / 2, c);
        store8(c1 + x / 2, _mm_unpackhi_epi64(c, c));
    }
    // tail: pixel pairs
    for (; x + 2 <= width; x += 2) {
        const uint8_t* p = s + 2 * x;
        y[x] = p[O.y0], y[x + 1] = p[O.y1], c0[x / 2] = p[O.c0], c1[x / 2] = p[O.c1];
    }
}

// One row of C2 to a luma plane only.
template <const C2Order& O>
void c2ToYRow(const uint8_t* s, uint8_t* y, int width) {
    const __m128i split = c2Split<O, false>();
    int x = 0;
    // body: 16 pixels
    for (; x + 16 <= width; x += 16)
        store(y + x, _mm_unpacklo_epi64(_mm_shuffle_epi8(load(s + 2 * x), split),
                                        _mm_shuffle_epi8(load(s + 2 * x + 16), split)));
    // tail: pixel pairs
    for (; x + 2 <= width; x += 2) y[x] = s[2 * x + O.y0], y[x + 1] = s[2 * x + O.y1];
}

// One row of C2 to luma and a row of chroma pairs (first, second).
template <const C2Order& O>
void c2ToP2Row(const uint8_t* s, uint8_t* y, uint8_t* pairs, int width) {
    const __m128i split = c2Split<O, true>();
    int x = 0;
    // body: 16 pixels
    for (; x + 16 <= width; x += 16) {
        const __m128i a = _mm_shuffle_epi8(load(s + 2 * x), split), b = _mm_shuffle_epi8(load(s + 2 * x + 16), split);
        store(y + x, _mm_unpacklo_epi64(a, b));
        store(pairs + x, _mm_unpackhi_epi64(a, b));
    }
    // tail: pixel pairs
    for (; x + 2 <= width; x += 2) {
        const uint8_t* p = s + 2 * x;
        y[x] = p[O.y0], y[x + 1] = p[O.y1], pairs[x] = p[O.c0], pairs[x + 1] = p[O.c1];
    }
}

// 16 pixels of C2 (32 bytes) from 16 luma bytes and 8 chroma pairs.
template <const C2Order& O, bool Stream>
inline void putC2x16(uint8_t* d, __m128i vy, __m128i cc) {
    __m128i lo = _mm_unpacklo_epi8(vy, cc), hi = _mm_unpackhi_epi8(vy, cc);  // Y0 c0 Y1 c1 order
    if constexpr (!(O.y0 == 0 && O.c0 == 1 && O.y1 == 2 && O.c1 == 3)) {
        alignas(16) int8_t p[16] = {};
        for (int k = 0; k < 16; k += 4)
            p[k + O.y0] = int8_t(k), p[k + O.c0] = int8_t(k + 1), p[k + O.y1] = int8_t(k + 2),
                  p[k + O.c1] = int8_t(k + 3);
        const __m128i perm = _mm_load_si128(reinterpret_cast<const __m128i*>(p));
        lo = _mm_shuffle_epi8(lo, perm), hi = _mm_shuffle_epi8(hi, perm);
    }
    put<Stream>(d, lo);
    put<Stream>(d + 16, hi);
}

// One row of three planes to C2.  Rep 1: one chroma sample per pixel pair
// (4:2:2); Rep 2: one per four pixels, repeated in both pairs (4:1:1).
template <const C2Order& O, int Rep = 1, bool Stream = false>
void p3ToC2Row(const uint8_t* y, const uint8_t* c0, const uint8_t* c1, uint8_t* d, int width) {
    int x = 0;
    // body: 32 pixels from one 16-byte load of each chroma (4:2:2)
    if constexpr (Rep == 1) {
        for (; x + 32 <= width; x += 32) {
            const __m128i a = load(c0 + x / 2), b = load(c1 + x / 2);
            putC2x16<O, Stream>(d + 2 * x, load(y + x), _mm_unpacklo_epi8(a, b));
            putC2x16<O, Stream>(d + 2 * x + 32, load(y + x + 16), _mm_unpackhi_epi8(a, b));
        }
    }
    // then 16 pixels
    for (; x + 16 <= width; x += 16) {
        __m128i cc;
        if constexpr (Rep == 1) {
            cc = _mm_unpacklo_epi8(load8(c0 + x / 2), load8(c1 + x / 2));
        } else {
            cc = _mm_unpacklo_epi8(load4(c0 + x / 4), load4(c1 + x / 4));
            cc = _mm_unpacklo_epi16(cc, cc);
        }
        putC2x16<O, Stream>(d + 2 * x, load(y + x), cc);
    }
    // tail: pixel pairs
    for (; x + 2 <= width; x += 2) {
        uint8_t* p = d + 2 * x;
        const int i = x / (2 * Rep);
        p[O.y0] = y[x], p[O.y1] = y[x + 1], p[O.c0] = c0[i], p[O.c1] = c1[i];
    }
}

// One row of luma and a row of chroma pairs to C2; Rep as above.
template <const C2Order& O, int Rep = 1, bool Stream = false>
void p2ToC2Row(const uint8_t* y, const uint8_t* pairs, uint8_t* d, int width) {
    int x = 0;
    // body: 16 pixels
    for (; x + 16 <= width; x += 16) {
        __m128i cc;
        if constexpr (Rep == 1) {
            cc = load(pairs + x);
        } else {
            cc = load8(pairs + x / 2);
            cc = _mm_unpacklo_epi16(cc, cc);
        }
        putC2x16<O, Stream>(d + 2 * x, load(y + x), cc);
    }
    // tail: pixel pairs
    for (; x + 2 <= width; x += 2) {
        uint8_t* p = d + 2 * x;
        const int i = x / (2 * Rep);
        p[O.y0] = y[x], p[O.y1] = y[x + 1], p[O.c0] = pairs[2 * i], p[O.c1] = pairs[2 * i + 1];
    }
}

// One row of C2 to C2 by a fixed byte permutation of each pair.
template <int P0, int P1, int P2, int P3>
void c2ToC2Row(const uint8_t* s, uint8_t* d, int width) {
    const __m128i perm = _mm_setr_epi8(P0, P1, P2, P3, P0 + 4, P1 + 4, P2 + 4, P3 + 4, P0 + 8, P1 + 8, P2 + 8, P3 + 8,
                                       P0 + 12, P1 + 12, P2 + 12, P3 + 12);
    int x = 0;
    // body: 8 pixels (16 bytes)
    for (; x + 8 <= width; x += 8) store(d + 2 * x, _mm_shuffle_epi8(load(s + 2 * x), perm));
    // tail: pixel pairs
    for (; x + 2 <= width; x += 2) {
        const uint8_t* p = s + 2 * x;
        uint8_t* q = d + 2 * x;
        const uint8_t b0 = p[P0], b1 = p[P1], b2 = p[P2], b3 = p[P3];
        q[0] = b0, q[1] = b1, q[2] = b2, q[3] = b3;
    }
}

// ---- Chroma pairs <-> two chroma planes -----------------------------------------------------------
// n pairs: even bytes to a, odd bytes to b.
inline void splitPairsRow(const uint8_t* s, uint8_t* a, uint8_t* b, int n) {
    int i = 0;
    // body: 16 pairs
    for (; i + 16 <= n; i += 16) {
        const __m128i v0 = load(s + 2 * i), v1 = load(s + 2 * i + 16);
        store(a + i, evenBytes(v0, v1));
        store(b + i, oddBytes(v0, v1));
    }
    // then 8 pairs
    for (; i + 8 <= n; i += 8) {
        const __m128i v = load(s + 2 * i);
        store8(a + i, evenBytes(v, v));
        store8(b + i, oddBytes(v, v));
    }
    // tail: single pairs
    for (; i < n; ++i) a[i] = s[2 * i], b[i] = s[2 * i + 1];
}

// n pairs from a (first byte) and b (second byte).
inline void joinPairsRow(const uint8_t* a, const uint8_t* b, uint8_t* d, int n) {
    int i = 0;
    // body: 16 pairs
    for (; i + 16 <= n; i += 16) {
        const __m128i va = load(a + i), vb = load(b + i);
        store(d + 2 * i, _mm_unpacklo_epi8(va, vb));
        store(d + 2 * i + 16, _mm_unpackhi_epi8(va, vb));
    }
    // then 8 pairs
    if (i + 8 <= n) store(d + 2 * i, _mm_unpacklo_epi8(load8(a + i), load8(b + i))), i += 8;
    // tail: single pairs
    for (; i < n; ++i) d[2 * i] = a[i], d[2 * i + 1] = b[i];
}

}  // namespace cel::chroma
