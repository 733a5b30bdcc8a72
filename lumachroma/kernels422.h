// Row kernels and row loops of the 4:2:2 encoders and decoders, written
// once over a recipe policy, a source and a destination.  A coefficient set
// is a recipe policy: the BT.601 kernels of encode422.cpp and decode422.cpp
// are instances, and so can be any other matrix with the same shape.
//
// Decoder recipe policy (see dec::DiffRecipe, dec::FoldedRecipe):
//   Terms terms(cb7, cr7)        chroma terms of eight pairs (lanes hold value << 7)
//   Terms dup(t, hi)             pairs 0-3 (lo) or 4-7 (hi), each lane twice: eight pixels
//   void pixels(y7, t, r, g, b)  eight pixels, 16-bit results before the pack
//   void px(Y, Cb, Cr, r, g, b)  the scalar tail's rule, one pixel
//   Paired (optional)            the recipe on paired lanes (dec::PairedForm): a
//                                packed source is then decoded on its bytes as they lie
// Encoder recipe policy (see PairLane, PairUHigh):
//   __m128i luma(r8, g8, b8)     eight pixels, lanes hold value << 8
//   void body16(r, g, b, y, s)   sixteen pixels from byte vectors: luma bytes, pair sums << 6
//   kFromPairs, body16Pairs<Bgr>(h, y, s)  the same from the channel pairs of
//                                four-byte pixels (simd::split4x16Pairs), luma finished
//   void chroma(sr, sg, sb, cb, cr)  pair sums << 6 (the pair mean << 7)
//   __m128i finish(bytes)        a last step on the packed bytes (a clamp, or nothing)
//   void pair(p0, p1, y0, y1, cb, cr)  the scalar tail's rule, one pair
#pragma once

#include <smmintrin.h>

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "frame/image.h"
#include "frame/simd.h"
#include "lumachroma/decode_recipes.h"
#include "lumachroma/encode_recipes.h"

namespace cel::k422 {

// ---- Memory ----------------------------------------------------------------
// Partial loads and stores; 16-byte ones are simd::load16/store16, aligned
// (Al) in the aligned twins.
inline __m128i load8(const uint8_t* p) { return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)); }
inline __m128i load4(const uint8_t* p) {
    int32_t v;
    std::memcpy(&v, p, 4);
    return _mm_cvtsi32_si128(v);
}
inline void store4(uint8_t* p, __m128i v) {
    const int32_t w = _mm_cvtsi128_si32(v);
    std::memcpy(p, &w, 4);
}

// Bytes -> 16-bit lanes holding value << 7 (low or high eight bytes).
inline __m128i lanes7Lo(__m128i v) { return _mm_srli_epi16(_mm_unpacklo_epi8(_mm_setzero_si128(), v), 1); }
inline __m128i lanes7Hi(__m128i v) { return _mm_srli_epi16(_mm_unpackhi_epi8(_mm_setzero_si128(), v), 1); }

// Byte order of a packed pixel pair.
enum class Order { YCbCr, YCrCb, CbYCr };  // Y0 Cb Y1 Cr;  Y0 Cr Y1 Cb;  Cb Y0 Cr Y1
struct OrderBytes {
    int y0, y1, cb, cr;
};
constexpr OrderBytes bytesOf(Order o) {
    return o == Order::YCbCr ? OrderBytes{0, 2, 1, 3} : o == Order::YCrCb ? OrderBytes{0, 2, 3, 1} : OrderBytes{1, 3, 0, 2};
}

// ===========================================================================
// Decoders

// ---- Decoder sources: 16 pixels as two vectors of luma and one of each chroma
// (eight pairs); 8 pixels as one vector of luma and four pairs in the low lanes.
template <Order O, bool Al = false>
struct PackedIn {
    const uint8_t* s;
    static constexpr OrderBytes kB = bytesOf(O);
    static constexpr bool kYLow = O != Order::CbYCr;  // luma in the low byte of each 16-bit lane
    // lane (byte pair) -> luma << 7 and chroma << 7
    static __m128i luma7(__m128i v) {
        return kYLow ? _mm_srli_epi16(_mm_slli_epi16(v, 8), 1) : _mm_srli_epi16(_mm_and_si128(v, _mm_set1_epi16(-256)), 1);
    }
    static __m128i chroma7(__m128i v) {
        return kYLow ? _mm_srli_epi16(_mm_and_si128(v, _mm_set1_epi16(-256)), 1) : _mm_srli_epi16(_mm_slli_epi16(v, 8), 1);
    }
    // chroma lanes alternate the pair's first and second sample
    static void sortChroma(__m128i ca, __m128i cb, __m128i& vcb, __m128i& vcr) {
        const __m128i lo = _mm_set1_epi32(0xFFFF);
        const __m128i first = _mm_packus_epi32(_mm_and_si128(ca, lo), _mm_and_si128(cb, lo));
        const __m128i second = _mm_packus_epi32(_mm_srli_epi32(ca, 16), _mm_srli_epi32(cb, 16));
        const bool cbFirst = kB.cb < kB.cr;
        vcb = cbFirst ? first : second;
        vcr = cbFirst ? second : first;
    }
    void read16(int x, __m128i& ylo, __m128i& yhi, __m128i& vcb, __m128i& vcr) const {
        const __m128i a = simd::load16<Al>(s + 2 * x), b = simd::load16<Al>(s + 2 * x + 16);
        ylo = luma7(a);
        yhi = luma7(b);
        sortChroma(chroma7(a), chroma7(b), vcb, vcr);
    }
    void read8(int x, __m128i& y, __m128i& vcb, __m128i& vcr) const {
        const __m128i a = simd::load16<Al>(s + 2 * x);
        y = luma7(a);
        const __m128i c = chroma7(a);
        sortChroma(c, c, vcb, vcr);
    }
    // the sixteen bytes of pixels x .. x + 7 as they lie (the paired-lane body)
    static constexpr bool kCbFirst = kB.cb < kB.cr;
    __m128i raw8(int x) const { return simd::load16<Al>(s + 2 * x); }
    int Y(int x) const { return s[4 * (x >> 1) + ((x & 1) ? kB.y1 : kB.y0)]; }
    int Cb(int x) const { return s[4 * (x >> 1) + kB.cb]; }
    int Cr(int x) const { return s[4 * (x >> 1) + kB.cr]; }
};

struct PlanarIn {
    const uint8_t *y, *cb, *cr;
    void read16(int x, __m128i& ylo, __m128i& yhi, __m128i& vcb, __m128i& vcr) const {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(y + x));
        ylo = lanes7Lo(v);
        yhi = lanes7Hi(v);
        vcb = lanes7Lo(load8(cb + x / 2));
        vcr = lanes7Lo(load8(cr + x / 2));
    }
    void read8(int x, __m128i& vy, __m128i& vcb, __m128i& vcr) const {
        vy = lanes7Lo(load8(y + x));
        vcb = lanes7Lo(load4(cb + x / 2));
        vcr = lanes7Lo(load4(cr + x / 2));
    }
    int Y(int x) const { return y[x]; }
    int Cb(int x) const { return cb[x >> 1]; }
    int Cr(int x) const { return cr[x >> 1]; }
};

// ---- Decoder destinations: interleaved RGB/BGR (C3, or C4 with alpha), or planes.
template <int Bytes, bool Bgr, bool Al = false>
struct InterleavedOut {
    static constexpr int kBytes = Bytes;
    static constexpr bool kBgr = Bgr;
    uint8_t* d;
    uint8_t alpha;
    void put16(int x, __m128i r, __m128i g, __m128i b) const {
        const __m128i c0 = Bgr ? b : r, c2 = Bgr ? r : b;
        if constexpr (Bytes == 3) {
            simd::join3x16(d + 3 * x, c0, g, c2);
        } else {
            simd::join4x16<Al>(d + 4 * x, c0, g, c2, _mm_set1_epi8(static_cast<char>(alpha)));
        }
    }
    void put8(int x, __m128i r, __m128i g, __m128i b) const {
        const __m128i c0 = Bgr ? b : r, c2 = Bgr ? r : b;
        if constexpr (Bytes == 3) {
            simd::join3x8(d + 3 * x, c0, g, c2);
        } else {
            simd::join4x8<Al>(d + 4 * x, c0, g, c2, _mm_set1_epi8(static_cast<char>(alpha)));
        }
    }
    // The paired-lane body's unspread results (dec::PairedForm::pixelsUnspread)
    // of eight pixels packed as (u, w), u's lane p in byte p and w's in byte
    // 8 + p, where u holds the first byte's channel for the pair's first
    // pixel: the pixels' first and third bytes side by side.
    static __m128i sortPairs(__m128i uw) {
        return _mm_shuffle_epi8(uw, _mm_setr_epi8(0, 8, 9, 1, 2, 10, 11, 3, 4, 12, 13, 5, 6, 14, 15, 7));
    }
    // Sixteen four-byte pixels from two such packs and the sixteen G bytes.
    void put16Unspread(int x, __m128i lo, __m128i g, __m128i hi) const {
        static_assert(Bytes == 4);
        const __m128i a = _mm_set1_epi8(static_cast<char>(alpha));
        const __m128i c02l = sortPairs(lo), c02h = sortPairs(hi);
        const __m128i gal = _mm_unpacklo_epi8(g, a), gah = _mm_unpackhi_epi8(g, a);
        uint8_t* p = d + 4 * x;
        simd::store16<Al>(p, _mm_unpacklo_epi8(c02l, gal));
        simd::store16<Al>(p + 16, _mm_unpackhi_epi8(c02l, gal));
        simd::store16<Al>(p + 32, _mm_unpacklo_epi8(c02h, gah));
        simd::store16<Al>(p + 48, _mm_unpackhi_epi8(c02h, gah));
    }
    // Eight pixels: one pack and G in the low eight bytes.
    void put8Unspread(int x, __m128i uw, __m128i g) const {
        static_assert(Bytes == 4);
        const __m128i c02 = sortPairs(uw), ga = _mm_unpacklo_epi8(g, _mm_set1_epi8(static_cast<char>(alpha)));
        simd::store16<Al>(d + 4 * x, _mm_unpacklo_epi8(c02, ga));
        simd::store16<Al>(d + 4 * x + 16, _mm_unpackhi_epi8(c02, ga));
    }
    void put(int x, uint8_t r, uint8_t g, uint8_t b) const {
        uint8_t* p = d + Bytes * x;
        p[0] = Bgr ? b : r;
        p[1] = g;
        p[2] = Bgr ? r : b;
        if constexpr (Bytes == 4) p[3] = alpha;
    }
};

struct PlanarRgbOut {
    uint8_t *r, *g, *b;
    void put16(int x, __m128i vr, __m128i vg, __m128i vb) const {
        simd::storeu(r + x, vr);
        simd::storeu(g + x, vg);
        simd::storeu(b + x, vb);
    }
    void put8(int x, __m128i vr, __m128i vg, __m128i vb) const {
        simd::storeLow8(r + x, vr);
        simd::storeLow8(g + x, vg);
        simd::storeLow8(b + x, vb);
    }
    void put(int x, uint8_t vr, uint8_t vg, uint8_t vb) const { r[x] = vr, g[x] = vg, b[x] = vb; }
};

// Blocking of a decoder's vector body.
enum class Body {
    SixteenThenEight,  // 16 pixels an iteration, then one group of 8 if it fits
    Sixteen,           // 16 pixels an iteration only
    Eight,             // 8 pixels an iteration
};

// The vector body on chroma terms (Rc::terms, Rc::dup, Rc::pixels); x
// advances past the pixels it decodes.  An 8-pixel body runs its groups two
// at a time where it can, the two sharing the chroma work of their eight
// pairs: each pixel takes the same arithmetic and the same pixels reach the
// tail (those past the width rounded down to 8).
template <class Rc, Body B, class In, class Out>
inline void innerDecode422Terms(const In& in, const Out& out, int width, int& x) {
    for (; x + 16 <= width; x += 16) {
        __m128i ylo, yhi, cb, cr;
        in.read16(x, ylo, yhi, cb, cr);
        const typename Rc::Terms t = Rc::terms(cb, cr);
        __m128i rl, gl, bl, rh, gh, bh;
        Rc::pixels(ylo, Rc::dup(t, false), rl, gl, bl);
        Rc::pixels(yhi, Rc::dup(t, true), rh, gh, bh);
        out.put16(x, _mm_packus_epi16(rl, rh), _mm_packus_epi16(gl, gh), _mm_packus_epi16(bl, bh));
    }
    const auto group8 = [&](int at) {
        __m128i y, cb, cr, r, g, b;
        in.read8(at, y, cb, cr);
        Rc::pixels(y, Rc::dup(Rc::terms(cb, cr), false), r, g, b);
        out.put8(at, _mm_packus_epi16(r, r), _mm_packus_epi16(g, g), _mm_packus_epi16(b, b));
    };
    if constexpr (B != Body::Sixteen)
        if (x + 8 <= width) group8(x), x += 8;
}

// A recipe policy with a paired-lane form (Rc::Paired, see dec::PairedForm)
// decodes a packed source on its bytes as they lie, with the same blocking.
template <class Rc, class = void>
struct HasPaired : std::false_type {};
template <class Rc>
struct HasPaired<Rc, std::void_t<typename Rc::Paired>> : std::true_type {};

// One row: the vector body, then the scalar rule pair by pair; an odd last
// pixel is decoded by itself with the chroma of its own pair.
template <class Rc, Body B, class In, class Out>
inline void innerDecode422(const In& in, const Out& out, int width) {
    int x = 0;
    if constexpr (HasPaired<Rc>::value) {
        // paired-lane body: each pair's chroma terms once, spread to its two pixels
        // (three-byte pixels) or left where they fall and sorted by the join
        using P = typename Rc::Paired;
        constexpr bool yLow = In::kYLow, cbFirst = In::kCbFirst;
        // four-byte pixels: B and R unspread, sorted by the join (the packed
        // C4 decoders with a paired form write BGR from Cb-first pairs: the
        // first chroma sample's channel is the first byte)
        constexpr bool unspread = Out::kBytes == 4;
        static_assert(!unspread || cbFirst == Out::kBgr);
        const auto pixels = [&](int at, __m128i& a, __m128i& g, __m128i& b) {
            if constexpr (unspread)
                P::template pixelsUnspread<yLow, cbFirst>(in.raw8(at), a, g, b);
            else
                P::template pixels<yLow, cbFirst>(in.raw8(at), a, g, b);
        };
        for (; x + 16 <= width; x += 16) {
            __m128i al, gl, bl, ah, gh, bh;
            pixels(x, al, gl, bl);
            pixels(x + 8, ah, gh, bh);
            if constexpr (unspread)
                out.put16Unspread(x, _mm_packus_epi16(al, bl), _mm_packus_epi16(gl, gh), _mm_packus_epi16(ah, bh));
            else
                out.put16(x, _mm_packus_epi16(al, ah), _mm_packus_epi16(gl, gh), _mm_packus_epi16(bl, bh));
        }
        if constexpr (B != Body::Sixteen)
            if (x + 8 <= width) {
                __m128i a, g, b;
                pixels(x, a, g, b);
                if constexpr (unspread)
                    out.put8Unspread(x, _mm_packus_epi16(a, b), _mm_packus_epi16(g, g));
                else
                    out.put8(x, _mm_packus_epi16(a, a), _mm_packus_epi16(g, g), _mm_packus_epi16(b, b));
                x += 8;
            }
    } else {
        innerDecode422Terms<Rc, B>(in, out, width, x);
    }
    // tail: the scalar rule; both pixels of a pair share its chroma
    for (; x < width; ++x) {
        uint8_t r, g, b;
        Rc::px(in.Y(x), in.Cb(x), in.Cr(x), r, g, b);
        out.put(x, r, g, b);
    }
}

// ===========================================================================
// Encoders

// Rounded-lane pair recipe with the scalar pair set S in the tail.
template <const enc::PairQ17& S>
struct PairLane {
    static __m128i luma(__m128i r8, __m128i g8, __m128i b8) {
        return enc::lumaLane_v(_mm_srli_epi16(r8, 1), _mm_srli_epi16(g8, 1), _mm_srli_epi16(b8, 1));
    }
    static void chroma(__m128i sr, __m128i sg, __m128i sb, __m128i& cb, __m128i& cr) {
        enc::chromaLane_v(sr, sg, sb, cb, cr, enc::kLanePairCAdd);
    }
    static __m128i finish(__m128i v) { return v; }
    static constexpr bool kFromPairs = false;
    // Sixteen pixels from byte vectors: the even and odd lanes of each
    // channel (value << 6) give luma as bytes and, added, the pair sums << 6.
    static void body16(__m128i r, __m128i g, __m128i b, __m128i& y, __m128i (&s)[3]) {
        const enc::EvenOdd64 e[3] = {enc::evenOdd64(r), enc::evenOdd64(g), enc::evenOdd64(b)};
        y = enc::lumaLaneBytes64_v(e[0], e[1], e[2], enc::kLaneYAdd);
        for (int c = 0; c < 3; ++c) s[c] = _mm_add_epi16(e[c].even, e[c].odd);
    }
    static void pair(const int (&p0)[3], const int (&p1)[3], uint8_t& y0, uint8_t& y1, uint8_t& cb, uint8_t& cr) {
        enc::pairQ17_px<S>(p0, p1, y0, y1, cb, cr);
    }
};

// Unsigned-high luma and chroma of the block set M (BT.601: Q15 luma, Q16
// chroma on the pair sums; a set with the 1..254 hold applies it to the
// packed bytes), with the scalar pair set S in the tail.
template <const enc::PairQ17& S, const enc::BlockSet& M = enc::kBlock601>
struct PairUHigh {
    static __m128i luma(__m128i r8, __m128i g8, __m128i b8) { return enc::lumaUHigh_v<M>(r8, g8, b8); }
    static void chroma(__m128i sr, __m128i sg, __m128i sb, __m128i& cb, __m128i& cr) {
        enc::chromaUHigh_v<M>(sr, sg, sb, cb, cr);
    }
    static __m128i finish(__m128i v) { return enc::holdBytes_v<M>(v); }
    // Pair sums << 6 of the eight byte pairs of v: one byte multiply-add
    // against 64 (at most 510 * 64, below the saturation of the sum).
    static __m128i pairSums6(__m128i v) { return _mm_maddubs_epi16(v, _mm_set1_epi8(64)); }
    // Sixteen pixels from byte vectors: luma of the unpacked halves, packed.
    static void body16(__m128i r, __m128i g, __m128i b, __m128i& y, __m128i (&s)[3]) {
        const __m128i z = _mm_setzero_si128();
        const __m128i ylo = luma(_mm_unpacklo_epi8(z, r), _mm_unpacklo_epi8(z, g), _mm_unpacklo_epi8(z, b));
        const __m128i yhi = luma(_mm_unpackhi_epi8(z, r), _mm_unpackhi_epi8(z, g), _mm_unpackhi_epi8(z, b));
        y = _mm_packus_epi16(ylo, yhi);
        s[0] = pairSums6(r), s[1] = pairSums6(g), s[2] = pairSums6(b);
    }
    // Sixteen four-byte pixels as channel pairs ([c0 | c1] and [c2 | c3] of
    // each group of eight; c0 blue and c2 red when Bgr): luma rounded in two
    // steps (offset and hold included).  Pair sums: c0 and c1 of a group
    // together, parted by 64-bit unpacks; c2 from its halves of both groups.
    static constexpr bool kFromPairs = true;
    template <bool Bgr>
    static void body16Pairs(const __m128i (&h)[4], __m128i& y, __m128i (&s)[3]) {
        y = enc::lumaUHighPairs_v<M, Bgr>(h);
        const __m128i lo = pairSums6(h[0]), hi = pairSums6(h[2]);
        const __m128i s0 = _mm_unpacklo_epi64(lo, hi), s2 = pairSums6(_mm_unpacklo_epi64(h[1], h[3]));
        s[0] = Bgr ? s2 : s0;
        s[1] = _mm_unpackhi_epi64(lo, hi);
        s[2] = Bgr ? s0 : s2;
    }
    static void pair(const int (&p0)[3], const int (&p1)[3], uint8_t& y0, uint8_t& y1, uint8_t& cb, uint8_t& cr) {
        enc::pairQ17_px<S, M>(p0, p1, y0, y1, cb, cr);
    }
};

// ---- Encoder sources: 16 pixels as one byte vector per channel; 8 pixels as
// lanes holding value << 8; one pixel as R, G, B.
template <int Bytes, bool Bgr, bool Al = false>
struct InterleavedIn {
    const uint8_t* s;
    static constexpr bool kPairs = Bytes == 4, kBgr = Bgr;
    // four four-byte pixels, their bytes sorted by channel
    static __m128i byChannel(const uint8_t* p) {
        return _mm_shuffle_epi8(simd::load16<Al>(p), _mm_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15));
    }
    // sixteen four-byte pixels as channel pairs (simd::split4x16Pairs)
    void read16Pairs(int x, __m128i (&h)[4]) const {
        static_assert(Bytes == 4, "four-byte pixels");
        simd::split4x16Pairs<Al>(s + 4 * x, h);
    }
    void read16(int x, __m128i& r, __m128i& g, __m128i& b) const {
        const uint8_t* p = s + Bytes * x;
        __m128i c0, c2;
        if constexpr (Bytes == 3) {
            simd::split3x16(p, c0, g, c2);
        } else {
            __m128i h[4];
            read16Pairs(x, h);
            c0 = _mm_unpacklo_epi64(h[0], h[2]);
            g = _mm_unpackhi_epi64(h[0], h[2]);
            c2 = _mm_unpacklo_epi64(h[1], h[3]);
        }
        r = Bgr ? c2 : c0;
        b = Bgr ? c0 : c2;
    }
    void read8(int x, __m128i& r8, __m128i& g8, __m128i& b8) const {
        const uint8_t* p = s + Bytes * x;
        __m128i c0, c2;
        if constexpr (Bytes == 3) {
            simd::split3x8High(p, c0, g8, c2);
        } else {
            const __m128i s0 = byChannel(p), s1 = byChannel(p + 16);
            const __m128i c01 = _mm_unpacklo_epi32(s0, s1), c23 = _mm_unpackhi_epi32(s0, s1);
            const __m128i z = _mm_setzero_si128();
            c0 = _mm_unpacklo_epi8(z, c01);
            g8 = _mm_unpackhi_epi8(z, c01);
            c2 = _mm_unpacklo_epi8(z, c23);
        }
        r8 = Bgr ? c2 : c0;
        b8 = Bgr ? c0 : c2;
    }
    void px(int x, int (&p)[3]) const {
        const uint8_t* q = s + Bytes * x;
        p[0] = q[Bgr ? 2 : 0], p[1] = q[1], p[2] = q[Bgr ? 0 : 2];
    }
};

struct PlanarRgbIn {
    const uint8_t *r, *g, *b;
    static constexpr bool kPairs = false;
    void read16(int x, __m128i& vr, __m128i& vg, __m128i& vb) const {
        vr = simd::loadu(r + x), vg = simd::loadu(g + x), vb = simd::loadu(b + x);
    }
    void read8(int x, __m128i& r8, __m128i& g8, __m128i& b8) const {
        r8 = simd::loadHigh8(r + x), g8 = simd::loadHigh8(g + x), b8 = simd::loadHigh8(b + x);
    }
    void px(int x, int (&p)[3]) const { p[0] = r[x], p[1] = g[x], p[2] = b[x]; }
};

// ---- Encoder destinations: packed pairs, or planes Y, Cb, Cr.
template <Order O, bool Al = false>
struct PackedOut {
    uint8_t* d;
    static constexpr OrderBytes kB = bytesOf(O);
    // y: 16 (or 8) luma bytes; cb, cr: 8 (or 4) chroma bytes in the low half
    static void interleave(__m128i y, __m128i cb, __m128i cr, __m128i& lo, __m128i& hi) {
        const __m128i c = kB.cb < kB.cr ? _mm_unpacklo_epi8(cb, cr) : _mm_unpacklo_epi8(cr, cb);
        lo = O == Order::CbYCr ? _mm_unpacklo_epi8(c, y) : _mm_unpacklo_epi8(y, c);
        hi = O == Order::CbYCr ? _mm_unpackhi_epi8(c, y) : _mm_unpackhi_epi8(y, c);
    }
    // Sixteen pixels: y, and Cb in bytes 0-7 and Cr in bytes 8-15 of one
    // vector, which one byte shuffle puts in the pairs' order.
    void put16Pairs(int x, __m128i y, __m128i cbcr) const {
        const __m128i c = _mm_shuffle_epi8(cbcr, kB.cb < kB.cr
                                                     ? _mm_setr_epi8(0, 8, 1, 9, 2, 10, 3, 11, 4, 12, 5, 13, 6, 14, 7, 15)
                                                     : _mm_setr_epi8(8, 0, 9, 1, 10, 2, 11, 3, 12, 4, 13, 5, 14, 6, 15, 7));
        simd::store16<Al>(d + 2 * x, O == Order::CbYCr ? _mm_unpacklo_epi8(c, y) : _mm_unpacklo_epi8(y, c));
        simd::store16<Al>(d + 2 * x + 16, O == Order::CbYCr ? _mm_unpackhi_epi8(c, y) : _mm_unpackhi_epi8(y, c));
    }
    void put8(int x, __m128i y, __m128i cb, __m128i cr) const {
        __m128i lo, hi;
        interleave(y, cb, cr, lo, hi);
        simd::store16<Al>(d + 2 * x, lo);
    }
    void put(int x, uint8_t y0, uint8_t y1, uint8_t cb, uint8_t cr) const {
        uint8_t* p = d + 2 * x;
        p[kB.y0] = y0, p[kB.y1] = y1, p[kB.cb] = cb, p[kB.cr] = cr;
    }
};

struct PlanarYccOut {
    uint8_t *y, *cb, *cr;
    // vy: 16 luma bytes; cbcr: Cb in bytes 0-7, Cr in bytes 8-15
    void put16Pairs(int x, __m128i vy, __m128i cbcr) const {
        simd::storeu(y + x, vy);
        simd::storeLow8(cb + x / 2, cbcr);
        _mm_storeh_pi(reinterpret_cast<__m64*>(cr + x / 2), _mm_castsi128_ps(cbcr));
    }
    void put8(int x, __m128i vy, __m128i vcb, __m128i vcr) const {
        simd::storeLow8(y + x, vy);
        store4(cb + x / 2, vcb);
        store4(cr + x / 2, vcr);
    }
    void put(int x, uint8_t y0, uint8_t y1, uint8_t vcb, uint8_t vcr) const {
        y[x] = y0, y[x + 1] = y1, cb[x / 2] = vcb, cr[x / 2] = vcr;
    }
};

// One row of pairs: 16 pixels an iteration, one group of 8 if it fits, then
// the scalar pair rule.  The last pixel of an odd width is not touched.
template <class Rc, class In, class Out>
inline void innerEncode422(const In& in, const Out& out, int width) {
    int x = 0;
    for (; x + 16 <= width; x += 16) {
        __m128i y, s[3];
        if constexpr (Rc::kFromPairs && In::kPairs) {
            __m128i h[4];
            in.read16Pairs(x, h);
            Rc::template body16Pairs<In::kBgr>(h, y, s);
        } else {
            __m128i r, g, b;
            in.read16(x, r, g, b);
            Rc::body16(r, g, b, y, s);
            y = Rc::finish(y);
        }
        __m128i cb, cr;
        Rc::chroma(s[0], s[1], s[2], cb, cr);
        out.put16Pairs(x, y, Rc::finish(_mm_packus_epi16(cb, cr)));
    }
    if (x + 8 <= width) {
        __m128i r8, g8, b8;
        in.read8(x, r8, g8, b8);
        const __m128i y = Rc::luma(r8, g8, b8);
        const auto sum = [](__m128i v8) {
            const __m128i v = _mm_srli_epi16(v8, 8);
            return _mm_slli_epi16(_mm_hadd_epi16(v, v), 6);
        };
        __m128i cb, cr;
        Rc::chroma(sum(r8), sum(g8), sum(b8), cb, cr);
        out.put8(x, Rc::finish(_mm_packus_epi16(y, y)), Rc::finish(_mm_packus_epi16(cb, cb)),
                 Rc::finish(_mm_packus_epi16(cr, cr)));
        x += 8;
    }
    // tail: the scalar pair rule
    for (; x + 2 <= width; x += 2) {
        int p0[3], p1[3];
        in.px(x, p0);
        in.px(x + 1, p1);
        uint8_t y0, y1, cb, cr;
        Rc::pair(p0, p1, y0, y1, cb, cr);
        out.put(x, y0, y1, cb, cr);
    }
}

}  // namespace cel::k422
