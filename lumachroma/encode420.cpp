// RGB and BGR -> YCbCr with chroma at a quarter of the luma rate: 4:2:0
// (one chroma pair per 2x2 block, planar or two-plane) and 4:1:1 (one pair
// per four pixels of a row).
//
// Chroma is never computed per pixel and averaged: the colour channels of a
// block are summed (0..1020), the sums shifted left by 5 (the block mean
// times 128, fraction kept), and the matrix applied once.  Luma is per pixel.
//
//   export                          body recipe                 blocks (px)     tail
//   celiRGBToYCbCr420_8u_C3P3R      rounded-lane, yAdd 1026      16, then 8      scalar block
//   celiBGRToYCbCr420_8u_C3P3R      rounded-lane, yAdd 1056      16, then 8      scalar block
//   celiBGRToYCbCr420_8u_AC4P3R     unsigned-high                16, then 8      scalar block
//   celiRGBToYCrCb420_8u_AC4P3R     unsigned-high                16, then 8      scalar block
//   celiBGRToYCrCb420_8u_*          the YCbCr worker, planes exchanged
//   four P2 forms                   rounded-lane, yAdd 1026      16, then 8      scalar block
//   celiBGRToYCbCr411_8u_C3P3R      late-offset                  32, then 16     scalar block
//   celiBGRToYCbCr411_8u_AC4P3R     unsigned-high                32, 16, then 8  scalar block
//
// Only whole blocks are processed: an odd last column or row (4:2:0), or
// the last width % 4 pixels of a row (4:1:1), stay untouched, and the
// function warns with celStatusOddSize.
#include <smmintrin.h>

#include <cstring>

#include "frame/image.h"
#include "frame/simd.h"
#include "frame/status.h"
#include "frame/tier.h"
#include "lumachroma/encode_recipes.h"

namespace {

namespace enc = cel::enc;

// ---- Readers: pixels of one layout as R, G, B lanes holding value << 8 ----------
template <int Bytes, bool Bgr>
struct Reader {
    static constexpr int kBytes = Bytes;
    static constexpr bool kBgr = Bgr;
    static void read16(const uint8_t* p, __m128i (&r)[2], __m128i (&g)[2], __m128i (&b)[2]) {
        if constexpr (Bytes == 3) {
            if (Bgr)
                cel::simd::split3x16High(p, b, g, r);
            else
                cel::simd::split3x16High(p, r, g, b);
        } else {
            read8(p, r[0], g[0], b[0]);
            read8(p + 32, r[1], g[1], b[1]);
        }
    }
    // Sixteen pixels as one byte vector per channel.
    static void read16Bytes(const uint8_t* p, __m128i& r, __m128i& g, __m128i& b) {
        if constexpr (Bytes == 3) {
            if (Bgr)
                cel::simd::split3x16(p, b, g, r);
            else
                cel::simd::split3x16(p, r, g, b);
        } else {
            if (Bgr)
                cel::simd::split4x16(p, b, g, r);
            else
                cel::simd::split4x16(p, r, g, b);
        }
    }
    // Sixteen four-byte pixels as channel pairs in memory order (see
    // split4x16Pairs): [c0 | c1] and [c2 | c3] of pixels 0-7, then 8-15.
    static void read16Pairs(const uint8_t* p, __m128i (&h)[4]) {
        static_assert(Bytes == 4, "four-byte pixels");
        cel::simd::split4x16Pairs(p, h);
    }
    static void read8(const uint8_t* p, __m128i& r, __m128i& g, __m128i& b) {
        if constexpr (Bytes == 3) {
            if (Bgr)
                cel::simd::split3x8High(p, b, g, r);
            else
                cel::simd::split3x8High(p, r, g, b);
        } else {
            if (Bgr)
                cel::simd::split4x8High(p, b, g, r);
            else
                cel::simd::split4x8High(p, r, g, b);
        }
    }
    static int R(const uint8_t* p) { return p[Bgr ? 2 : 0]; }
    static int G(const uint8_t* p) { return p[1]; }
    static int B(const uint8_t* p) { return p[Bgr ? 0 : 2]; }
};

// ---- Body recipes: luma from lanes of value << 8, chroma from sums << 5 --------
// Each brings its results to bytes (pack, and luma16 for sixteen pixels
// from byte vectors of R, G, B) and names the scalar block recipe of its
// tail (lumaPx, chromaPx).
template <class Rc, const enc::BlockSet& S>
struct BlockTail {
    static constexpr bool kFromPairs = false;  // see UnsignedHigh
    static __m128i pack(__m128i lo, __m128i hi) { return enc::packUHigh_v<S>(lo, hi); }
    static __m128i luma16(__m128i r, __m128i g, __m128i b) {
        const __m128i z = _mm_setzero_si128();
        const auto lo = [z](__m128i v) { return _mm_unpacklo_epi8(z, v); };
        const auto hi = [z](__m128i v) { return _mm_unpackhi_epi8(z, v); };
        return pack(Rc::luma(lo(r), lo(g), lo(b)), Rc::luma(hi(r), hi(g), hi(b)));
    }
    // Luma of sixteen pixels of two rows and the block sums << 5 of their
    // eight blocks: neighbouring bytes of each row multiplied by 32 and
    // added into 16-bit lanes (at most 16320), the two rows added.
    template <int P>
    static void rowPair16(const __m128i (&a)[3], const __m128i (&b)[3], __m128i& ya, __m128i& yb, __m128i (&s)[3]) {
        ya = Rc::luma16(a[0], a[1], a[2]);
        yb = Rc::luma16(b[0], b[1], b[2]);
        const __m128i k32 = _mm_set1_epi8(32);
        for (int c = 0; c < 3; ++c) s[c] = _mm_add_epi16(_mm_maddubs_epi16(a[c], k32), _mm_maddubs_epi16(b[c], k32));
    }
    static uint8_t lumaPx(int r, int g, int b) { return enc::lumaQ16_px<S>(r, g, b); }
    static void chromaPx(int sr, int sg, int sb, uint8_t& cb, uint8_t& cr) {
        enc::chromaBlockQ18_px<S>(sr, sg, sb, cb, cr);
    }
};

template <int16_t YAdd>
struct RoundedLane : BlockTail<RoundedLane<YAdd>, enc::kBlock601> {
    static __m128i luma(__m128i r8, __m128i g8, __m128i b8) {
        return enc::lumaLane_v(_mm_srli_epi16(r8, 1), _mm_srli_epi16(g8, 1), _mm_srli_epi16(b8, 1), YAdd);
    }
    static __m128i luma16(__m128i r, __m128i g, __m128i b) { return enc::lumaLaneBytes_v(r, g, b, YAdd); }
    // From four-byte pixels the even and odd lanes of each channel, by byte
    // multiply-adds, serve luma and the block sums; from three-byte pixels
    // shifts and masks do.
    template <int P>
    static void rowPair16(const __m128i (&a)[3], const __m128i (&b)[3], __m128i& ya, __m128i& yb, __m128i (&s)[3]) {
        if constexpr (P != 4) {
            BlockTail<RoundedLane<YAdd>, enc::kBlock601>::template rowPair16<P>(a, b, ya, yb, s);
            return;
        }
        enc::EvenOdd64 ea[3], eb[3];
        for (int c = 0; c < 3; ++c) ea[c] = enc::evenOdd64(a[c]), eb[c] = enc::evenOdd64(b[c]);
        ya = enc::lumaLaneBytes64_v(ea[0], ea[1], ea[2], YAdd);
        yb = enc::lumaLaneBytes64_v(eb[0], eb[1], eb[2], YAdd);
        for (int c = 0; c < 3; ++c) s[c] = enc::blockSum5(ea[c], eb[c]);
    }
    static void chroma(__m128i sr, __m128i sg, __m128i sb, __m128i& cb, __m128i& cr) {
        enc::chromaLane_v(sr, sg, sb, cb, cr);
    }
};

struct LateOffset : BlockTail<LateOffset, enc::kBlock601> {
    static __m128i luma(__m128i r8, __m128i g8, __m128i b8) {
        return enc::lumaLaneLate_v(_mm_srli_epi16(r8, 1), _mm_srli_epi16(g8, 1), _mm_srli_epi16(b8, 1));
    }
    static void chroma(__m128i sr, __m128i sg, __m128i sb, __m128i& cb, __m128i& cr) {
        enc::chromaLaneLate_v(sr, sg, sb, cb, cr);
    }
};

// The unsigned-high recipe and its scalar blocks with a coefficient set
// (BT.601, or a BT.709 range).
template <const enc::BlockSet& S>
struct UnsignedHigh : BlockTail<UnsignedHigh<S>, S> {
    static __m128i luma(__m128i r8, __m128i g8, __m128i b8) { return enc::lumaUHigh_v<S>(r8, g8, b8); }
    static __m128i luma16(__m128i r, __m128i g, __m128i b) { return enc::lumaUHighBytes_v<S>(r, g, b); }
    // From four-byte pixels the body takes the channel pairs of
    // read16Pairs: [c0 | c1] and [c2 | c3] of each group of eight pixels,
    // with c0 blue and c2 red when Bgr (red and blue otherwise).  Luma: the
    // lanes of value << 8 in pixel order are the pairs' halves unpacked
    // against zero, and the rounded parts of the two groups join by one
    // pack.  Block sums: neighbouring bytes multiplied by 32 and added as
    // before, c0 and c1 together and parted after the two rows are added;
    // c2 from its halves of both groups.
    static constexpr bool kFromPairs = true;
    template <bool Bgr>
    static void rowPair16Pairs(const __m128i (&a)[4], const __m128i (&b)[4], __m128i& ya, __m128i& yb,
                               __m128i (&s)[3]) {
        ya = enc::lumaUHighPairs_v<S, Bgr>(a);
        yb = enc::lumaUHighPairs_v<S, Bgr>(b);
        const __m128i k32 = _mm_set1_epi8(32);
        const auto sum = [k32](__m128i va, __m128i vb) {
            return _mm_add_epi16(_mm_maddubs_epi16(va, k32), _mm_maddubs_epi16(vb, k32));
        };
        const __m128i s01lo = sum(a[0], b[0]), s01hi = sum(a[2], b[2]);
        const __m128i s0 = _mm_unpacklo_epi64(s01lo, s01hi), s1 = _mm_unpackhi_epi64(s01lo, s01hi);
        const __m128i s2 = sum(_mm_unpacklo_epi64(a[1], a[3]), _mm_unpacklo_epi64(b[1], b[3]));
        s[0] = Bgr ? s2 : s0;
        s[1] = s1;
        s[2] = Bgr ? s0 : s2;
    }
    static void chroma(__m128i sr, __m128i sg, __m128i sb, __m128i& cb, __m128i& cr) {
        enc::chromaUHigh_v<S>(sr, sg, sb, cb, cr);
    }
};

// ---- Chroma outputs: two planes, or one plane of Cb, Cr pairs --------------------
struct PlanarOut {
    uint8_t* cb;
    uint8_t* cr;
    // eight chroma samples at sample i: Cb in bytes 0-7 of v, Cr in 8-15
    void store8(int i, __m128i v) const {
        _mm_storel_epi64(reinterpret_cast<__m128i*>(cb + i), v);
        _mm_storeh_pi(reinterpret_cast<__m64*>(cr + i), _mm_castsi128_ps(v));
    }
    // n chroma samples (4 or 8) from the low bytes of b and r, at sample i
    void store(int i, __m128i b, __m128i r, int n) const {
        if (n == 8) {
            _mm_storel_epi64(reinterpret_cast<__m128i*>(cb + i), b);
            _mm_storel_epi64(reinterpret_cast<__m128i*>(cr + i), r);
        } else {
            const int32_t wb = _mm_cvtsi128_si32(b), wr = _mm_cvtsi128_si32(r);
            std::memcpy(cb + i, &wb, 4);
            std::memcpy(cr + i, &wr, 4);
        }
    }
    void put(int i, uint8_t vcb, uint8_t vcr) const {
        cb[i] = vcb;
        cr[i] = vcr;
    }
};

struct InterleavedOut {
    uint8_t* cbcr;
    void store8(int i, __m128i v) const {
        const __m128i pairs = _mm_setr_epi8(0, 8, 1, 9, 2, 10, 3, 11, 4, 12, 5, 13, 6, 14, 7, 15);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(cbcr + 2 * i), _mm_shuffle_epi8(v, pairs));
    }
    void store(int i, __m128i b, __m128i r, int n) const {
        const __m128i pairs = _mm_unpacklo_epi8(b, r);
        if (n == 8)
            _mm_storeu_si128(reinterpret_cast<__m128i*>(cbcr + 2 * i), pairs);
        else
            _mm_storel_epi64(reinterpret_cast<__m128i*>(cbcr + 2 * i), pairs);
    }
    void put(int i, uint8_t vcb, uint8_t vcr) const {
        cbcr[2 * i] = vcb;
        cbcr[2 * i + 1] = vcr;
    }
};

// Byte values of lanes holding value << 8.
inline __m128i low(__m128i v8) { return _mm_srli_epi16(v8, 8); }



// Luma of eight lanes, packed to bytes in the low half.
template <class Rc>
inline __m128i luma8(__m128i r, __m128i g, __m128i b) {
    const __m128i y = Rc::luma(r, g, b);
    return Rc::pack(y, y);
}

// ---------------------------------------------------------------------------
// 4:2:0, one row pair: n chroma samples from 2n pixels of rows s0 and s1.
template <class Rd, class Rc, class Out>
void y8_innerRowPair420(const uint8_t* s0, const uint8_t* s1, uint8_t* y0, uint8_t* y1, const Out out, int n) {
    constexpr int P = Rd::kBytes;
    int i = 0;
    // body: 16 pixels (8 chroma samples) of both rows
    for (; i + 8 <= n; i += 8) {
        const int x = 2 * i;
        __m128i ya, yb, s[3];
        if constexpr (P == 4 && Rc::kFromPairs) {
            __m128i a[4], b[4];
            Rd::read16Pairs(s0 + P * x, a);
            Rd::read16Pairs(s1 + P * x, b);
            Rc::template rowPair16Pairs<Rd::kBgr>(a, b, ya, yb, s);
        } else {
            __m128i a[3], b[3];
            Rd::read16Bytes(s0 + P * x, a[0], a[1], a[2]);
            Rd::read16Bytes(s1 + P * x, b[0], b[1], b[2]);
            Rc::template rowPair16<P>(a, b, ya, yb, s);
        }
        _mm_storeu_si128(reinterpret_cast<__m128i*>(y0 + x), ya);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(y1 + x), yb);
        __m128i cb, cr;
        Rc::chroma(s[0], s[1], s[2], cb, cr);
        out.store8(i, Rc::pack(cb, cr));
    }
    // one group of 8 pixels (4 chroma samples) when bit 2 of n is set
    if (n & 4) {
        const int x = 2 * i;
        __m128i ra, ga, ba, rb, gb, bb;
        Rd::read8(s0 + P * x, ra, ga, ba);
        Rd::read8(s1 + P * x, rb, gb, bb);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(y0 + x), luma8<Rc>(ra, ga, ba));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(y1 + x), luma8<Rc>(rb, gb, bb));
        const auto sum = [](__m128i a, __m128i b) {
            const __m128i s = _mm_add_epi16(low(a), low(b));
            return _mm_slli_epi16(_mm_hadd_epi16(s, s), 5);
        };
        __m128i cb, cr;
        Rc::chroma(sum(ra, rb), sum(ga, gb), sum(ba, bb), cb, cr);
        out.store(i, Rc::pack(cb, cb), Rc::pack(cr, cr), 4);
        i += 4;
    }
    // tail: scalar block recipe, 0 to 3 blocks
    for (; i < n; ++i) {
        const int x = 2 * i;
        int sr = 0, sg = 0, sb = 0;
        for (int k = 0; k < 4; ++k) {
            const uint8_t* p = (k < 2 ? s0 : s1) + P * (x + (k & 1));
            const int r = Rd::R(p), g = Rd::G(p), b = Rd::B(p);
            (k < 2 ? y0 : y1)[x + (k & 1)] = Rc::lumaPx(r, g, b);
            sr += r, sg += g, sb += b;
        }
        uint8_t cb, cr;
        Rc::chromaPx(sr, sg, sb, cb, cr);
        out.put(i, cb, cr);
    }
}

// Row-pair loop of the planar forms: sources and luma advance two rows a
// pair, chroma one.
template <class Rd, class Rc>
void y8_myRowPairs420P3(const uint8_t* src, int srcStep, uint8_t* const dst[3], const int dstStep[3], int width,
                        int height) {
    for (int j = 0; j < height / 2; ++j) {
        const PlanarOut out{cel::rowAt(dst[1], j, dstStep[1]), cel::rowAt(dst[2], j, dstStep[2])};
        y8_innerRowPair420<Rd, Rc>(cel::rowAt(src, 2 * j, srcStep), cel::rowAt(src, 2 * j + 1, srcStep),
                                   cel::rowAt(dst[0], 2 * j, dstStep[0]), cel::rowAt(dst[0], 2 * j + 1, dstStep[0]),
                                   out, width / 2);
    }
}

template <class Rd, class Rc>
void y8_myRowPairs420P2(const uint8_t* src, int srcStep, uint8_t* dstY, int dstYStep, uint8_t* dstCbCr,
                        int dstCbCrStep, int width, int height) {
    for (int j = 0; j < height / 2; ++j) {
        const InterleavedOut out{cel::rowAt(dstCbCr, j, dstCbCrStep)};
        y8_innerRowPair420<Rd, Rc>(cel::rowAt(src, 2 * j, srcStep), cel::rowAt(src, 2 * j + 1, srcStep),
                                   cel::rowAt(dstY, 2 * j, dstYStep), cel::rowAt(dstY, 2 * j + 1, dstYStep), out,
                                   width / 2);
    }
}

// ---------------------------------------------------------------------------
// 4:1:1, one row: nb blocks of four horizontal neighbours.
template <class Rd, class Rc, bool EightPixelStep>
void y8_innerRow411(const uint8_t* s, uint8_t* y, uint8_t* cb, uint8_t* cr, int nb) {
    constexpr int P = Rd::kBytes;
    const PlanarOut out{cb, cr};
    int i = 0;
    // body: 32 pixels (8 blocks)
    for (; i + 8 <= nb; i += 8) {
        const int x = 4 * i;
        __m128i ra[2], ga[2], ba[2], rb[2], gb[2], bb[2];
        Rd::read16(s + P * x, ra, ga, ba);
        Rd::read16(s + P * (x + 16), rb, gb, bb);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(y + x),
                         Rc::pack(Rc::luma(ra[0], ga[0], ba[0]), Rc::luma(ra[1], ga[1], ba[1])));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(y + x + 16),
                         Rc::pack(Rc::luma(rb[0], gb[0], bb[0]), Rc::luma(rb[1], gb[1], bb[1])));
        // four neighbours of the row: pairs, then pairs of pairs, then << 5
        const auto sum = [](const __m128i (&a)[2], const __m128i (&b)[2]) {
            const __m128i pairsLo = _mm_hadd_epi16(low(a[0]), low(a[1]));
            const __m128i pairsHi = _mm_hadd_epi16(low(b[0]), low(b[1]));
            return _mm_slli_epi16(_mm_hadd_epi16(pairsLo, pairsHi), 5);
        };
        __m128i vcb, vcr;
        Rc::chroma(sum(ra, rb), sum(ga, gb), sum(ba, bb), vcb, vcr);
        out.store(i, Rc::pack(vcb, vcb), Rc::pack(vcr, vcr), 8);
    }
    // one group of 16 pixels (4 blocks) when bit 2 of the block count is set
    if (nb & 4) {
        const int x = 4 * i;
        __m128i r[2], g[2], b[2];
        Rd::read16(s + P * x, r, g, b);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(y + x),
                         Rc::pack(Rc::luma(r[0], g[0], b[0]), Rc::luma(r[1], g[1], b[1])));
        const auto sum = [](const __m128i (&v)[2]) {
            const __m128i pairs = _mm_hadd_epi16(low(v[0]), low(v[1]));
            return _mm_slli_epi16(_mm_hadd_epi16(pairs, pairs), 5);
        };
        __m128i vcb, vcr;
        Rc::chroma(sum(r), sum(g), sum(b), vcb, vcr);
        out.store(i, Rc::pack(vcb, vcb), Rc::pack(vcr, vcr), 4);
        i += 4;
    }
    // one group of 8 pixels (2 blocks) when bit 1 of the block count is set
    if (EightPixelStep && (nb & 2)) {
        const int x = 4 * i;
        __m128i r, g, b;
        Rd::read8(s + P * x, r, g, b);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(y + x), luma8<Rc>(r, g, b));
        const auto sum = [](__m128i v) {
            const __m128i pairs = _mm_hadd_epi16(low(v), low(v));
            return _mm_slli_epi16(_mm_hadd_epi16(pairs, pairs), 5);
        };
        __m128i vcb, vcr;
        Rc::chroma(sum(r), sum(g), sum(b), vcb, vcr);
        const __m128i pb = Rc::pack(vcb, vcb), pr = Rc::pack(vcr, vcr);
        const uint16_t wb = static_cast<uint16_t>(_mm_extract_epi16(pb, 0));
        const uint16_t wr = static_cast<uint16_t>(_mm_extract_epi16(pr, 0));
        std::memcpy(cb + i, &wb, 2);
        std::memcpy(cr + i, &wr, 2);
        i += 2;
    }
    // tail: scalar block recipe
    for (; i < nb; ++i) {
        int sr = 0, sg = 0, sb = 0;
        for (int k = 0; k < 4; ++k) {
            const uint8_t* p = s + P * (4 * i + k);
            const int r = Rd::R(p), g = Rd::G(p), b = Rd::B(p);
            y[4 * i + k] = Rc::lumaPx(r, g, b);
            sr += r, sg += g, sb += b;
        }
        Rc::chromaPx(sr, sg, sb, cb[i], cr[i]);
    }
}

template <class Rd, class Rc, bool EightPixelStep>
void y8_myRows411(const uint8_t* src, int srcStep, uint8_t* const dst[3], const int dstStep[3], int width, int height) {
    for (int j = 0; j < height; ++j)
        y8_innerRow411<Rd, Rc, EightPixelStep>(cel::rowAt(src, j, srcStep), cel::rowAt(dst[0], j, dstStep[0]),
                                               cel::rowAt(dst[1], j, dstStep[1]), cel::rowAt(dst[2], j, dstStep[2]),
                                               width / 4);
}

inline CelStatus oddWarning420(CelSize roi) {
    return ((roi.width | roi.height) & 1) ? celStatusOddSize : celStatusOk;
}

// Planar 4:2:0 forms whose plane pointers are checked with the outer ones
// and whose minimum size is 2 x 2.  SwapChroma exchanges the second and
// third planes (the YCrCb names).
template <class Rd, class Rc, bool SwapChroma>
CelStatus tier420P3Min2(const uint8_t* src, int srcStep, uint8_t* dst[3], int dstStep[3], CelSize roi) {
    if (cel::anyNull(src, dst) || cel::anyPlaneNull(dst, 3)) return celStatusNullPointer;
    if (cel::sizeBelow(roi, 2, 2)) return celStatusBadSize;
    uint8_t* const planes[3] = {dst[0], dst[SwapChroma ? 2 : 1], dst[SwapChroma ? 1 : 2]};
    const int steps[3] = {dstStep[0], dstStep[SwapChroma ? 2 : 1], dstStep[SwapChroma ? 1 : 2]};
    y8_myRowPairs420P3<Rd, Rc>(src, srcStep, planes, steps, roi.width, roi.height);
    return oddWarning420(roi);
}

// Two-plane forms: pointers, then sizes against Min x Min.
template <class Rd, class Rc = RoundedLane<1026>, int Min = 1>
CelStatus tier420P2(const uint8_t* src, int srcStep, uint8_t* dstY, int dstYStep, uint8_t* dstCbCr, int dstCbCrStep,
                    CelSize roi) {
    if (cel::anyNull(src, dstY, dstCbCr)) return celStatusNullPointer;
    if (cel::sizeBelow(roi, Min, Min)) return celStatusBadSize;
    y8_myRowPairs420P2<Rd, Rc>(src, srcStep, dstY, dstYStep, dstCbCr, dstCbCrStep, roi.width, roi.height);
    return oddWarning420(roi);
}

template <class Rd, class Rc, bool EightPixelStep>
CelStatus tier411(const uint8_t* src, int srcStep, uint8_t* dst[3], int dstStep[3], CelSize roi) {
    if (cel::anyNull(src, dst) || cel::anyPlaneNull(dst, 3)) return celStatusNullPointer;
    if (cel::sizeBelow(roi, 4, 1)) return celStatusBadSize;
    y8_myRows411<Rd, Rc, EightPixelStep>(src, srcStep, dst, dstStep, roi.width, roi.height);
    return (roi.width & 3) ? celStatusOddSize : celStatusOk;
}

using UHigh601 = UnsignedHigh<enc::kBlock601>;
using UHigh709Csc = UnsignedHigh<enc::kBlock709Csc>;
using UHigh709Hdtv = UnsignedHigh<enc::kBlock709Hdtv>;

using RgbC3 = Reader<3, false>;
using BgrC3 = Reader<3, true>;
using RgbC4 = Reader<4, false>;
using BgrC4 = Reader<4, true>;

}  // namespace

// ---- Tier functions ------------------------------------------------------------
// Outer pointers, sizes (minimum 1), then the plane pointers.
extern "C" CelStatus y8_celiRGBToYCbCr420_8u_C3P3R(const uint8_t* src, int srcStep, uint8_t* dst[3], int dstStep[3],
                                                  CelSize roiSize) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    if (cel::anyPlaneNull(dst, 3)) return celStatusNullPointer;
    y8_myRowPairs420P3<RgbC3, RoundedLane<1026>>(src, srcStep, dst, dstStep, roiSize.width, roiSize.height);
    return oddWarning420(roiSize);
}

extern "C" CelStatus y8_celiBGRToYCbCr420_8u_C3P3R(const uint8_t* src, int srcStep, uint8_t* dst[3], int dstStep[3],
                                                  CelSize roiSize) {
    return tier420P3Min2<BgrC3, RoundedLane<1056>, false>(src, srcStep, dst, dstStep, roiSize);
}

extern "C" CelStatus y8_celiBGRToYCrCb420_8u_C3P3R(const uint8_t* src, int srcStep, uint8_t* dst[3], int dstStep[3],
                                                  CelSize roiSize) {
    return tier420P3Min2<BgrC3, RoundedLane<1056>, true>(src, srcStep, dst, dstStep, roiSize);
}

extern "C" CelStatus y8_celiBGRToYCbCr420_8u_AC4P3R(const uint8_t* src, int srcStep, uint8_t* dst[3], int dstStep[3],
                                                   CelSize roiSize) {
    return tier420P3Min2<BgrC4, UHigh601, false>(src, srcStep, dst, dstStep, roiSize);
}

extern "C" CelStatus y8_celiBGRToYCrCb420_8u_AC4P3R(const uint8_t* src, int srcStep, uint8_t* dst[3], int dstStep[3],
                                                   CelSize roiSize) {
    return tier420P3Min2<BgrC4, UHigh601, true>(src, srcStep, dst, dstStep, roiSize);
}

// Its own worker: the BGR kernel with the channel reading mirrored and the
// planes exchanged.
extern "C" CelStatus y8_celiRGBToYCrCb420_8u_AC4P3R(const uint8_t* src, int srcStep, uint8_t* dst[3], int dstStep[3],
                                                   CelSize roiSize) {
    return tier420P3Min2<RgbC4, UHigh601, true>(src, srcStep, dst, dstStep, roiSize);
}

extern "C" CelStatus y8_celiBGRToYCbCr420_8u_C3P2R(const uint8_t* src, int srcStep, uint8_t* dstY, int dstYStep,
                                                  uint8_t* dstCbCr, int dstCbCrStep, CelSize roiSize) {
    return tier420P2<BgrC3>(src, srcStep, dstY, dstYStep, dstCbCr, dstCbCrStep, roiSize);
}

extern "C" CelStatus y8_celiBGRToYCbCr420_8u_AC4P2R(const uint8_t* src, int srcStep, uint8_t* dstY, int dstYStep,
                                                   uint8_t* dstCbCr, int dstCbCrStep, CelSize roiSize) {
    return tier420P2<BgrC4>(src, srcStep, dstY, dstYStep, dstCbCr, dstCbCrStep, roiSize);
}

extern "C" CelStatus y8_celiRGBToYCbCr420_8u_C3P2R(const uint8_t* src, int srcStep, uint8_t* dstY, int dstYStep,
                                                  uint8_t* dstCbCr, int dstCbCrStep, CelSize roiSize) {
    return tier420P2<RgbC3>(src, srcStep, dstY, dstYStep, dstCbCr, dstCbCrStep, roiSize);
}

extern "C" CelStatus y8_celiRGBToYCbCr420_8u_C4P2R(const uint8_t* src, int srcStep, uint8_t* dstY, int dstYStep,
                                                  uint8_t* dstCbCr, int dstCbCrStep, CelSize roiSize) {
    return tier420P2<RgbC4>(src, srcStep, dstY, dstYStep, dstCbCr, dstCbCrStep, roiSize);
}

extern "C" CelStatus y8_celiBGRToYCbCr411_8u_C3P3R(const uint8_t* src, int srcStep, uint8_t* dst[3], int dstStep[3],
                                                  CelSize roiSize) {
    return tier411<BgrC3, LateOffset, false>(src, srcStep, dst, dstStep, roiSize);
}

extern "C" CelStatus y8_celiBGRToYCbCr411_8u_AC4P3R(const uint8_t* src, int srcStep, uint8_t* dst[3], int dstStep[3],
                                                   CelSize roiSize) {
    return tier411<BgrC4, UHigh601, true>(src, srcStep, dst, dstStep, roiSize);
}

// ---- BT.709: the unsigned-high block recipe with the BT.709 sets ------------------
// Studio range (709CSC) from C3 or AC4 BGR to three planes or two; full-scale
// luma with every byte held in 1..254 (709HDTV).  2 x 2 at least; odd sizes warn.
extern "C" CelStatus y8_celiBGRToYCbCr420_709CSC_8u_C3P3R(const uint8_t* src, int srcStep, uint8_t* dst[3],
                                                         int dstStep[3], CelSize roiSize) {
    return tier420P3Min2<BgrC3, UHigh709Csc, false>(src, srcStep, dst, dstStep, roiSize);
}

extern "C" CelStatus y8_celiBGRToYCbCr420_709CSC_8u_AC4P3R(const uint8_t* src, int srcStep, uint8_t* dst[3],
                                                          int dstStep[3], CelSize roiSize) {
    return tier420P3Min2<BgrC4, UHigh709Csc, false>(src, srcStep, dst, dstStep, roiSize);
}

extern "C" CelStatus y8_celiBGRToYCrCb420_709CSC_8u_C3P3R(const uint8_t* src, int srcStep, uint8_t* dst[3],
                                                         int dstStep[3], CelSize roiSize) {
    return tier420P3Min2<BgrC3, UHigh709Csc, true>(src, srcStep, dst, dstStep, roiSize);
}

extern "C" CelStatus y8_celiBGRToYCrCb420_709CSC_8u_AC4P3R(const uint8_t* src, int srcStep, uint8_t* dst[3],
                                                          int dstStep[3], CelSize roiSize) {
    return tier420P3Min2<BgrC4, UHigh709Csc, true>(src, srcStep, dst, dstStep, roiSize);
}

extern "C" CelStatus y8_celiBGRToYCbCr420_709CSC_8u_C3P2R(const uint8_t* src, int srcStep, uint8_t* dstY,
                                                         int dstYStep, uint8_t* dstCbCr, int dstCbCrStep,
                                                         CelSize roiSize) {
    return tier420P2<BgrC3, UHigh709Csc, 2>(src, srcStep, dstY, dstYStep, dstCbCr, dstCbCrStep, roiSize);
}

extern "C" CelStatus y8_celiBGRToYCbCr420_709CSC_8u_AC4P2R(const uint8_t* src, int srcStep, uint8_t* dstY,
                                                          int dstYStep, uint8_t* dstCbCr, int dstCbCrStep,
                                                          CelSize roiSize) {
    return tier420P2<BgrC4, UHigh709Csc, 2>(src, srcStep, dstY, dstYStep, dstCbCr, dstCbCrStep, roiSize);
}

extern "C" CelStatus y8_celiBGRToYCbCr420_709HDTV_8u_AC4P3R(const uint8_t* src, int srcStep, uint8_t* dst[3],
                                                           int dstStep[3], CelSize roiSize) {
    return tier420P3Min2<BgrC4, UHigh709Hdtv, false>(src, srcStep, dst, dstStep, roiSize);
}
