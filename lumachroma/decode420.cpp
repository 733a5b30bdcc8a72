// 4:2:0 and 4:1:1 -> RGB and BGR (C3, or C4 with alphaValue).  Chroma is
// replicated over its 2x2 block (4:2:0) or its four pixels of a row
// (4:1:1); only celiYCrCb420ToBGR_Filter_8u_P3C4R interpolates, and only
// horizontally.
//
//   export                               body recipe          chroma/iter     tail
//   celiYCbCr420ToBGR_8u_P3C4R           folded, YCbCr set     8, then 4       folded recipe
//   celiYCbCr420To{BGR,RGB}_8u_P3C3R     narrow                8, then 4       set B rounded, clamp table
//   celiYCrCb420ToRGB_8u_P3C4R           wide                  4               set B rounded, clamp table
//   celiYCbCr420To*_8u_P2C{3,4}R         folded, YCbCr set     8, then 4       folded recipe
//   celiYCrCb420To*_8u_P2C{3,4}R         folded, YCrCb set     8, then 4       folded recipe
//   celiYCrCb420ToBGR_Filter_8u_P3C4R    narrow, no addend     8               Q12 scalar
//   celiYCbCr411ToBGR_8u_P3C{3,4}R       narrow                16/8/4 luma     set C rounded, clamp table
//   celiYCbCr420ToBGR_709CSC_8u_P3C3R    wide, BT.709 set      8, then 4       BT.709 set rounded, clamp table
//   celiYCbCr420ToBGR_709HDTV_8u_P3C4R   wide on Y * 16        8, then 4       full-scale set rounded, clamp table
//
// 4:2:0 forms work on whole blocks: an odd last column or row is neither
// read nor written, and the status warns.  4:1:1 forms decode every pixel.
#include <smmintrin.h>

#include <type_traits>

#include "frame/image.h"
#include "frame/simd.h"
#include "frame/status.h"
#include "frame/tier.h"
#include "lumachroma/decode_recipes.h"

namespace {

namespace dec = cel::dec;
using dec::Clamp;

inline __m128i loadl(const uint8_t* p) { return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)); }
inline __m128i loadu(const uint8_t* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
inline __m128i load4(const uint8_t* p) {
    int32_t v;
    __builtin_memcpy(&v, p, 4);
    return _mm_cvtsi32_si128(v);
}

// Bytes -> 16-bit lanes holding value << 7.
inline __m128i lanes7Lo(__m128i v) { return _mm_srli_epi16(_mm_unpacklo_epi8(_mm_setzero_si128(), v), 1); }
inline __m128i lanes7Hi(__m128i v) { return _mm_srli_epi16(_mm_unpackhi_epi8(_mm_setzero_si128(), v), 1); }

// ---- Destinations: C3 or C4, RGB or BGR ------------------------------------------
template <int Bytes, bool Bgr>
struct Out {
    uint8_t* d;
    __m128i alpha;
    uint8_t alphaByte;
    // sixteen pixels from channel vectors in even/odd order
    void put16EvenOdd(int x, __m128i r, __m128i g, __m128i b) const {
        if constexpr (Bytes == 3)
            cel::simd::join3x16EvenOdd(d + 3 * x, Bgr ? b : r, g, Bgr ? r : b);
        else
            cel::simd::join4x16EvenOdd(d + 4 * x, Bgr ? b : r, g, Bgr ? r : b, alpha);
    }
    void put16(int x, __m128i r, __m128i g, __m128i b) const {
        if constexpr (Bytes == 3)
            cel::simd::join3x16(d + 3 * x, Bgr ? b : r, g, Bgr ? r : b);
        else
            cel::simd::join4x16(d + 4 * x, Bgr ? b : r, g, Bgr ? r : b, alpha);
    }
    void put8(int x, __m128i r, __m128i g, __m128i b) const {
        if constexpr (Bytes == 3)
            cel::simd::join3x8(d + 3 * x, Bgr ? b : r, g, Bgr ? r : b);
        else
            cel::simd::join4x8(d + 4 * x, Bgr ? b : r, g, Bgr ? r : b, alpha);
    }
    void put(int x, uint8_t r, uint8_t g, uint8_t b) const {
        uint8_t* p = d + Bytes * x;
        p[0] = Bgr ? b : r;
        p[1] = g;
        p[2] = Bgr ? r : b;
        if constexpr (Bytes == 4) p[3] = alphaByte;
    }
};

template <int Bytes, bool Bgr>
Out<Bytes, Bgr> makeOut(uint8_t* d, uint8_t alphaValue) {
    return {d, _mm_set1_epi8(static_cast<char>(alphaValue)), alphaValue};
}

// ---- Chroma sources: planes, or one plane of pairs -------------------------------------
// get8/get4 give lanes holding Cb << 7 and Cr << 7 for samples i..i+7 (i..i+3).
struct PlanarChroma {
    const uint8_t* cb;
    const uint8_t* cr;
    void get8(int i, __m128i& vcb, __m128i& vcr) const {
        vcb = lanes7Lo(loadl(cb + i));
        vcr = lanes7Lo(loadl(cr + i));
    }
    void get4(int i, __m128i& vcb, __m128i& vcr) const {
        vcb = lanes7Lo(load4(cb + i));
        vcr = lanes7Lo(load4(cr + i));
    }
    int Cb(int i) const { return cb[i]; }
    int Cr(int i) const { return cr[i]; }
};

// Pairs of bytes; CbFirst tells which sample comes first.  The first byte is
// isolated by << 8 then >> 1, the second by >> 8 then << 7: value << 7 both.
template <bool CbFirst>
struct PairedChroma {
    const uint8_t* cbcr;
    static void split(__m128i pairs, __m128i& vcb, __m128i& vcr) {
        const __m128i first = _mm_srli_epi16(_mm_slli_epi16(pairs, 8), 1);
        const __m128i second = _mm_slli_epi16(_mm_srli_epi16(pairs, 8), 7);
        vcb = CbFirst ? first : second;
        vcr = CbFirst ? second : first;
    }
    void get8(int i, __m128i& vcb, __m128i& vcr) const { split(loadu(cbcr + 2 * i), vcb, vcr); }
    void get4(int i, __m128i& vcb, __m128i& vcr) const { split(loadl(cbcr + 2 * i), vcb, vcr); }
    int Cb(int i) const { return cbcr[2 * i + (CbFirst ? 0 : 1)]; }
    int Cr(int i) const { return cbcr[2 * i + (CbFirst ? 1 : 0)]; }
};

// The wide recipe with a coefficient set (its chroma terms once per sample,
// duplicated: the shared adapter); on lanes of even and odd pixels the
// terms of eight samples serve both rows undoubled.
template <const dec::WideSet& S, const dec::ScalarSet& Tail>
struct WideBlocks : dec::WideRecipe<S, Tail> {
    static constexpr bool kEvenOdd = true;
    using Terms = dec::WideTerms;
    // Terms of eight samples from lanes (C - 128) << 7.
    static Terms termsEvenOdd(__m128i cb, __m128i cr) { return dec::wideTerms_v<S>(cb, cr); }
    static void pixels16EvenOdd(__m128i y, const Terms& t, __m128i& r, __m128i& g, __m128i& b) {
        dec::wideEvenOddShared_v<S>(y, t, r, g, b);
    }
};

// ---- Recipes for a 2x2-block body: the decoders' recipe adapters ---------------------
using FoldedYCbCr = dec::FoldedRecipe<dec::kFoldedYCbCr, dec::folded_px<dec::kFoldedYCbCr>>;
using FoldedYCrCb = dec::FoldedRecipe<dec::kFoldedYCrCb, dec::folded_px<dec::kFoldedYCrCb>>;
// The narrow recipe also runs on lanes of even and odd pixels: both halves
// of a 2x2 block's row meet the same chroma sample in the same lane, so the
// chroma needs no duplication.
struct NarrowB : dec::DiffRecipe<dec::narrow_v<true>, dec::scalar_px<dec::kSetB, 32768, Clamp::Table>> {
    static constexpr bool kEvenOdd = true;
    static Terms termsEvenOdd(__m128i cb, __m128i cr) { return {cb, cr}; }
    // Sixteen pixels of one row (bytes y) with eight chroma samples (lanes
    // (C - 128) << 7), packed in even/odd order.
    static void pixels16EvenOdd(__m128i y, const Terms& t, __m128i& r, __m128i& g, __m128i& b) {
        dec::narrowEvenOdd_v(y, t.cb, t.cr, t.cb, t.cr, r, g, b);
    }
};
using WideB = dec::DiffRecipe<dec::wide_v, dec::scalar_px<dec::kSetB, 32768, Clamp::Table>>;
using Wide709Csc = WideBlocks<dec::kWide709Csc, dec::kSet709Csc>;
using Wide709Hdtv = WideBlocks<dec::kWide709Hdtv, dec::kSet709Hdtv>;

// Eight pixels of one luma row from terms already duplicated.
template <class Rc>
inline void row8(__m128i y7, const typename Rc::Terms& t, __m128i& r, __m128i& g, __m128i& b) {
    __m128i r16, g16, b16;
    Rc::pixels(y7, t, r16, g16, b16);
    r = _mm_packus_epi16(r16, r16);
    g = _mm_packus_epi16(g16, g16);
    b = _mm_packus_epi16(b16, b16);
}

// ---------------------------------------------------------------------------
// 4:2:0, one row pair: n chroma samples, 2n pixels of each row.  Eight
// samples an iteration (when Eight), then one group of four when bit 2 of
// n is set, then the scalar rule for the last n & 3 samples.
template <class Rc, class Ch, class O, bool Eight>
void y8_innerRowPair420(const uint8_t* y0, const uint8_t* y1, const Ch& ch, const O& o0, const O& o1, int n) {
    int i = 0;
    // body: eight chroma samples, sixteen pixels of both rows
    if constexpr (Eight && Rc::kEvenOdd && std::is_same_v<Ch, PlanarChroma>)
        for (; i + 8 <= n; i += 8) {
            const __m128i cb = dec::chromaFromSignedLow8(dec::signedChroma(loadl(ch.cb + i)));
            const __m128i cr = dec::chromaFromSignedLow8(dec::signedChroma(loadl(ch.cr + i)));
            const typename Rc::Terms t = Rc::termsEvenOdd(cb, cr);
            for (int row = 0; row < 2; ++row) {
                __m128i r, g, b;
                Rc::pixels16EvenOdd(loadu((row ? y1 : y0) + 2 * i), t, r, g, b);
                (row ? o1 : o0).put16EvenOdd(2 * i, r, g, b);
            }
        }
    else if (Eight)
        for (; i + 8 <= n; i += 8) {
            __m128i cb, cr;
            ch.get8(i, cb, cr);
            const typename Rc::Terms t = Rc::terms(cb, cr), tl = Rc::dup(t, false), th = Rc::dup(t, true);
            for (int row = 0; row < 2; ++row) {
                const __m128i yv = loadu((row ? y1 : y0) + 2 * i);
                __m128i rl, gl, bl, rh, gh, bh;
                Rc::pixels(lanes7Lo(yv), tl, rl, gl, bl);
                Rc::pixels(lanes7Hi(yv), th, rh, gh, bh);
                (row ? o1 : o0).put16(2 * i, _mm_packus_epi16(rl, rh), _mm_packus_epi16(gl, gh),
                                      _mm_packus_epi16(bl, bh));
            }
        }
    // four chroma samples, eight pixels of both rows
    const auto group4 = [&](int at) {
        __m128i cb, cr;
        ch.get4(at, cb, cr);
        const typename Rc::Terms t = Rc::dup(Rc::terms(cb, cr), false);
        for (int row = 0; row < 2; ++row) {
            __m128i r, g, b;
            row8<Rc>(lanes7Lo(loadl((row ? y1 : y0) + 2 * at)), t, r, g, b);
            (row ? o1 : o0).put8(2 * at, r, g, b);
        }
    };
    if (Eight) {
        // one group of four when bit 2 of n is set
        if (n & 4) group4(i), i += 4;
    } else {
        for (; i + 4 <= n; i += 4) group4(i);
    }
    // tail: the scalar rule on the last samples
    for (; i < n; ++i)
        for (int k = 0; k < 4; ++k) {
            const uint8_t* yr = (k < 2) ? y0 : y1;
            const int x = 2 * i + (k & 1);
            uint8_t r, g, b;
            Rc::px(yr[x], ch.Cb(i), ch.Cr(i), r, g, b);
            (k < 2 ? o0 : o1).put(x, r, g, b);
        }
}

// Row-pair loops.  Luma and destination advance two rows a pair, chroma one.
template <class Rc, bool Bgr, int Bytes, bool Eight, bool CrFirstPlanes>
void y8_myRowPairs420P3(const uint8_t* const src[3], const int srcStep[3], uint8_t* dst, int dstStep, CelSize roi,
                        uint8_t alphaValue) {
    for (int j = 0; j < roi.height / 2; ++j) {
        const uint8_t* p1 = cel::rowAt(src[1], j, srcStep[1]);
        const uint8_t* p2 = cel::rowAt(src[2], j, srcStep[2]);
        const PlanarChroma ch{CrFirstPlanes ? p2 : p1, CrFirstPlanes ? p1 : p2};
        y8_innerRowPair420<Rc, PlanarChroma, Out<Bytes, Bgr>, Eight>(
            cel::rowAt(src[0], 2 * j, srcStep[0]), cel::rowAt(src[0], 2 * j + 1, srcStep[0]), ch,
            makeOut<Bytes, Bgr>(cel::rowAt(dst, 2 * j, dstStep), alphaValue),
            makeOut<Bytes, Bgr>(cel::rowAt(dst, 2 * j + 1, dstStep), alphaValue), roi.width / 2);
    }
}

template <class Rc, bool CbFirst, bool Bgr, int Bytes>
void y8_myRowPairs420P2(const uint8_t* srcY, int srcYStep, const uint8_t* srcCbCr, int srcCbCrStep, uint8_t* dst,
                        int dstStep, CelSize roi, uint8_t alphaValue) {
    for (int j = 0; j < roi.height / 2; ++j)
        y8_innerRowPair420<Rc, PairedChroma<CbFirst>, Out<Bytes, Bgr>, true>(
            cel::rowAt(srcY, 2 * j, srcYStep), cel::rowAt(srcY, 2 * j + 1, srcYStep),
            PairedChroma<CbFirst>{cel::rowAt(srcCbCr, j, srcCbCrStep)},
            makeOut<Bytes, Bgr>(cel::rowAt(dst, 2 * j, dstStep), alphaValue),
            makeOut<Bytes, Bgr>(cel::rowAt(dst, 2 * j + 1, dstStep), alphaValue), roi.width / 2);
}

inline CelStatus oddWarning(CelSize roi) { return ((roi.width | roi.height) & 1) ? celStatusOddSize : celStatusOk; }

// Planar forms: outer pointers, sizes (minimum 1), then the planes; a
// height below 2 returns the warning at once.
template <class Rc, bool Bgr, int Bytes, bool Eight, bool CrFirstPlanes>
CelStatus tier420P3(const uint8_t* const src[3], const int srcStep[3], uint8_t* dst, int dstStep, CelSize roi,
                    uint8_t alphaValue) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roi, 1, 1)) return celStatusBadSize;
    if (cel::anyPlaneNull(src, 3)) return celStatusNullPointer;
    if (roi.height < 2) return oddWarning(roi);
    y8_myRowPairs420P3<Rc, Bgr, Bytes, Eight, CrFirstPlanes>(src, srcStep, dst, dstStep, roi, alphaValue);
    return oddWarning(roi);
}

// Two-plane forms: pointers then sizes, or (SizesFirst) the other way round.
template <class Rc, bool CbFirst, bool Bgr, int Bytes, bool SizesFirst = false>
CelStatus tier420P2(const uint8_t* srcY, int srcYStep, const uint8_t* srcCbCr, int srcCbCrStep, uint8_t* dst,
                    int dstStep, CelSize roi, uint8_t alphaValue) {
    if (SizesFirst && cel::sizeBelow(roi, 1, 1)) return celStatusBadSize;
    if (cel::anyNull(srcY, srcCbCr, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roi, 1, 1)) return celStatusBadSize;
    if (roi.height < 2) return oddWarning(roi);
    y8_myRowPairs420P2<Rc, CbFirst, Bgr, Bytes>(srcY, srcYStep, srcCbCr, srcCbCrStep, dst, dstStep, roi, alphaValue);
    return oddWarning(roi);
}

// ---------------------------------------------------------------------------
// Filtered 4:2:0 to BGRA: odd columns take the rounding-up average of their
// chroma sample and the next; the last sample of a row serves both of its
// pixels as it stands.  Both rows of a pair share the chroma.
void filterRow(const uint8_t* y, const uint8_t* cb, const uint8_t* cr, uint8_t* d, int n, uint8_t alpha) {
    const __m128i va = _mm_set1_epi8(static_cast<char>(alpha));
    int i = 0;
    // body: narrow recipe without the addend, eight samples (16 pixels), up to n - 1
    for (; i + 8 <= n - 1; i += 8) {
        const __m128i c0 = loadl(cb + i), c1 = loadl(cb + i + 1), r0 = loadl(cr + i), r1 = loadl(cr + i + 1);
        const __m128i pcb = _mm_unpacklo_epi8(c0, _mm_avg_epu8(c0, c1));
        const __m128i pcr = _mm_unpacklo_epi8(r0, _mm_avg_epu8(r0, r1));
        const __m128i yv = loadu(y + 2 * i);
        const __m128i c128 = _mm_set1_epi16(128 << 7), y16 = _mm_set1_epi16(16 << 7);
        __m128i rl, gl, bl, rh, gh, bh;
        dec::narrow_v<false>(_mm_sub_epi16(lanes7Lo(yv), y16), _mm_sub_epi16(lanes7Lo(pcb), c128),
                             _mm_sub_epi16(lanes7Lo(pcr), c128), rl, gl, bl);
        dec::narrow_v<false>(_mm_sub_epi16(lanes7Hi(yv), y16), _mm_sub_epi16(lanes7Hi(pcb), c128),
                             _mm_sub_epi16(lanes7Hi(pcr), c128), rh, gh, bh);
        cel::simd::join4x16(d + 8 * i, _mm_packus_epi16(bl, bh), _mm_packus_epi16(gl, gh), _mm_packus_epi16(rl, rh), va);
    }
    // tail: Q12 scalar recipe, the last sample by itself
    for (; i < n; ++i)
        for (int k = 0; k < 2; ++k) {
            const bool interp = k == 1 && i + 1 < n;
            const int vcb = interp ? (cb[i] + cb[i + 1] + 1) >> 1 : cb[i];
            const int vcr = interp ? (cr[i] + cr[i + 1] + 1) >> 1 : cr[i];
            uint8_t* p = d + 4 * (2 * i + k);
            dec::q12_px(y[2 * i + k], vcb, vcr, p[2], p[1], p[0]);
            p[3] = alpha;
        }
}

void y8_myYCrCb420ToBGR_8u_P3C4R(const uint8_t* const src[3], const int srcStep[3], uint8_t* dst, int dstStep,
                                 CelSize roi, uint8_t alpha) {
    for (int j = 0; j < roi.height / 2; ++j) {
        const uint8_t* cr = cel::rowAt(src[1], j, srcStep[1]);
        const uint8_t* cb = cel::rowAt(src[2], j, srcStep[2]);
        for (int k = 0; k < 2; ++k)
            filterRow(cel::rowAt(src[0], 2 * j + k, srcStep[0]), cb, cr, cel::rowAt(dst, 2 * j + k, dstStep),
                      roi.width / 2, alpha);
    }
}

// ---------------------------------------------------------------------------
// 4:1:1, one row: 16 pixels (4 chroma pairs) an iteration, then 8 if bit 3
// of the width is set, 4 if bit 2 is set; the last 1 to 3 pixels take
// scalar set C with the chroma of their own (partial) group.
template <int Bytes>
void y8_innerRow411(const uint8_t* y, const uint8_t* cb, const uint8_t* cr, const Out<Bytes, true>& o, int width) {
    // chroma byte i -> the four pixels 4i .. 4i+3
    const __m128i quad = _mm_setr_epi8(0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3);
    const __m128i c128 = _mm_set1_epi16(128 << 7), y16 = _mm_set1_epi16(16 << 7);
    const auto chroma = [&](const uint8_t* p, bool hi) {
        const __m128i q = _mm_shuffle_epi8(load4(p), quad);
        return _mm_sub_epi16(hi ? lanes7Hi(q) : lanes7Lo(q), c128);
    };
    int x = 0;
    // body: narrow recipe, 16 pixels
    for (; x + 16 <= width; x += 16) {
        const __m128i yv = loadu(y + x);
        __m128i rl, gl, bl, rh, gh, bh;
        dec::narrow_v<true>(_mm_sub_epi16(lanes7Lo(yv), y16), chroma(cb + x / 4, false), chroma(cr + x / 4, false), rl,
                            gl, bl);
        dec::narrow_v<true>(_mm_sub_epi16(lanes7Hi(yv), y16), chroma(cb + x / 4, true), chroma(cr + x / 4, true), rh, gh,
                            bh);
        o.put16(x, _mm_packus_epi16(rl, rh), _mm_packus_epi16(gl, gh), _mm_packus_epi16(bl, bh));
    }
    // one group of 8 when bit 3 of the width is set, one of 4 when bit 2 is set: narrow recipe
    for (const int group : {8, 4}) {
        if (!(width & group)) continue;
        __m128i yl = group == 8 ? loadl(y + x) : load4(y + x);
        uint8_t cbq[4] = {cb[x / 4], cb[x / 4], cb[x / 4], cb[x / 4]}, crq[4] = {cr[x / 4], cr[x / 4], cr[x / 4], cr[x / 4]};
        if (group == 8) cbq[1] = cb[x / 4 + 1], crq[1] = cr[x / 4 + 1];
        __m128i r, g, b;
        dec::narrow_v<true>(_mm_sub_epi16(lanes7Lo(yl), y16), chroma(cbq, false), chroma(crq, false), r, g, b);
        r = _mm_packus_epi16(r, r), g = _mm_packus_epi16(g, g), b = _mm_packus_epi16(b, b);
        if (group == 8) {
            o.put8(x, r, g, b);
        } else {
            alignas(16) uint8_t rr[16], gg[16], bb[16];
            _mm_store_si128(reinterpret_cast<__m128i*>(rr), r);
            _mm_store_si128(reinterpret_cast<__m128i*>(gg), g);
            _mm_store_si128(reinterpret_cast<__m128i*>(bb), b);
            for (int k = 0; k < 4; ++k) o.put(x + k, rr[k], gg[k], bb[k]);
        }
        x += group;
    }
    // tail: scalar set C with rounding, clamp table
    for (; x < width; ++x) {
        uint8_t r, g, b;
        dec::scalar_px<dec::kSetC, 32768, Clamp::Table>(y[x], cb[x / 4], cr[x / 4], r, g, b);
        o.put(x, r, g, b);
    }
}

template <int Bytes>
CelStatus tier411(const uint8_t* const src[3], const int srcStep[3], uint8_t* dst, int dstStep, CelSize roi,
                  uint8_t alphaValue) {
    if (cel::anyNull(src, dst) || cel::anyPlaneNull(src, 3)) return celStatusNullPointer;
    if (cel::sizeBelow(roi, 4, 1)) return celStatusBadSize;
    for (int j = 0; j < roi.height; ++j)
        y8_innerRow411<Bytes>(cel::rowAt(src[0], j, srcStep[0]), cel::rowAt(src[1], j, srcStep[1]),
                              cel::rowAt(src[2], j, srcStep[2]),
                              makeOut<Bytes, true>(cel::rowAt(dst, j, dstStep), alphaValue), roi.width);
    return celStatusOk;
}

}  // namespace

// ---- Tier functions --------------------------------------------------------------------
#define CEL_P3_ARGS const uint8_t *const src[3], int srcStep[3], uint8_t *dst, int dstStep, CelSize roiSize
#define CEL_P2_ARGS                                                                                        \
    const uint8_t *srcY, int srcYStep, const uint8_t *srcCbCr, int srcCbCrStep, uint8_t *dst, int dstStep, \
        CelSize roiSize

extern "C" CelStatus y8_celiYCbCr420ToBGR_8u_P3C4R(CEL_P3_ARGS, uint8_t alphaValue) {
    return tier420P3<FoldedYCbCr, true, 4, true, false>(src, srcStep, dst, dstStep, roiSize, alphaValue);
}
extern "C" CelStatus y8_celiYCbCr420ToBGR_8u_P3C3R(CEL_P3_ARGS) {
    return tier420P3<NarrowB, true, 3, true, false>(src, srcStep, dst, dstStep, roiSize, 0);
}
extern "C" CelStatus y8_celiYCbCr420ToRGB_8u_P3C3R(CEL_P3_ARGS) {
    return tier420P3<NarrowB, false, 3, true, false>(src, srcStep, dst, dstStep, roiSize, 0);
}
extern "C" CelStatus y8_celiYCrCb420ToRGB_8u_P3C4R(CEL_P3_ARGS, uint8_t alphaValue) {
    return tier420P3<WideB, false, 4, false, true>(src, srcStep, dst, dstStep, roiSize, alphaValue);
}

extern "C" CelStatus y8_celiYCbCr420ToBGR_8u_P2C3R(CEL_P2_ARGS) {
    return tier420P2<FoldedYCbCr, true, true, 3>(srcY, srcYStep, srcCbCr, srcCbCrStep, dst, dstStep, roiSize, 0);
}
extern "C" CelStatus y8_celiYCbCr420ToRGB_8u_P2C3R(CEL_P2_ARGS) {
    return tier420P2<FoldedYCbCr, true, false, 3>(srcY, srcYStep, srcCbCr, srcCbCrStep, dst, dstStep, roiSize, 0);
}
extern "C" CelStatus y8_celiYCbCr420ToBGR_8u_P2C4R(CEL_P2_ARGS, uint8_t alphaValue) {
    return tier420P2<FoldedYCbCr, true, true, 4>(srcY, srcYStep, srcCbCr, srcCbCrStep, dst, dstStep, roiSize,
                                                 alphaValue);
}
extern "C" CelStatus y8_celiYCbCr420ToRGB_8u_P2C4R(CEL_P2_ARGS, uint8_t alphaValue) {
    return tier420P2<FoldedYCbCr, true, false, 4>(srcY, srcYStep, srcCbCr, srcCbCrStep, dst, dstStep, roiSize,
                                                  alphaValue);
}
extern "C" CelStatus y8_celiYCrCb420ToBGR_8u_P2C3R(CEL_P2_ARGS) {
    return tier420P2<FoldedYCrCb, false, true, 3>(srcY, srcYStep, srcCbCr, srcCbCrStep, dst, dstStep, roiSize, 0);
}
extern "C" CelStatus y8_celiYCrCb420ToRGB_8u_P2C3R(CEL_P2_ARGS) {
    return tier420P2<FoldedYCrCb, false, false, 3>(srcY, srcYStep, srcCbCr, srcCbCrStep, dst, dstStep, roiSize, 0);
}
// These two test the sizes before the pointers.
extern "C" CelStatus y8_celiYCrCb420ToBGR_8u_P2C4R(CEL_P2_ARGS, uint8_t alphaValue) {
    return tier420P2<FoldedYCrCb, false, true, 4, true>(srcY, srcYStep, srcCbCr, srcCbCrStep, dst, dstStep, roiSize,
                                                        alphaValue);
}
extern "C" CelStatus y8_celiYCrCb420ToRGB_8u_P2C4R(CEL_P2_ARGS, uint8_t alphaValue) {
    return tier420P2<FoldedYCrCb, false, false, 4, true>(srcY, srcYStep, srcCbCr, srcCbCrStep, dst, dstStep, roiSize,
                                                         alphaValue);
}

// The fourth byte takes the low byte of the last argument.
extern "C" CelStatus y8_celiYCrCb420ToBGR_Filter_8u_P3C4R(CEL_P3_ARGS, int alphaValue) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    if (cel::anyPlaneNull(src, 3)) return celStatusNullPointer;
    y8_myYCrCb420ToBGR_8u_P3C4R(src, srcStep, dst, dstStep, roiSize, static_cast<uint8_t>(alphaValue & 0xFF));
    return oddWarning(roiSize);
}

// BT.709: studio range with its wide set, or full-scale luma (Y * 16, no
// offset, no clamp to 1..254).  The recipe's block is four chroma samples;
// the body takes two blocks a step while it can, then one, so that it ends
// where four-sample steps end (n rounded down to 4) and the bytes are those
// of four-sample steps.
extern "C" CelStatus y8_celiYCbCr420ToBGR_709CSC_8u_P3C3R(CEL_P3_ARGS) {
    return tier420P3<Wide709Csc, true, 3, true, false>(src, srcStep, dst, dstStep, roiSize, 0);
}
extern "C" CelStatus y8_celiYCbCr420ToBGR_709HDTV_8u_P3C4R(CEL_P3_ARGS, uint8_t alphaValue) {
    return tier420P3<Wide709Hdtv, true, 4, true, false>(src, srcStep, dst, dstStep, roiSize, alphaValue);
}

extern "C" CelStatus y8_celiYCbCr411ToBGR_8u_P3C3R(CEL_P3_ARGS) {
    return tier411<3>(src, srcStep, dst, dstStep, roiSize, 0);
}
extern "C" CelStatus y8_celiYCbCr411ToBGR_8u_P3C4R(CEL_P3_ARGS, uint8_t alphaValue) {
    return tier411<4>(src, srcStep, dst, dstStep, roiSize, alphaValue);
}

#undef CEL_P3_ARGS
#undef CEL_P2_ARGS
