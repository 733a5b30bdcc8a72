// Filtered chroma upsampling (4:2:0 to 4:2:2 with a four-tap vertical
// filter) and the 4:2:0 deinterlacers (a vertical low-pass of luma and
// chroma, sliceable).  The recipes are in chroma/recipes.h.
//
// Four-tap members: width rounded down to even, height to a multiple of 8.
// Luma is copied; source chroma row j goes to destination row 2j and odd
// row 2j + 1 is interpolated from the destination's even rows j - 1 .. j + 2,
// a missing row replaced by the nearest one (the destination chroma planes
// are their own work area).
//
// Deinterlacers: width and height rounded down to even.  Picture row y takes
//   row 0:          edge rule on r[0] and r[1];
//   rows 1 .. h-2:  inner rule on r[y-1], r[y], r[y+1];
//   row h-1:        edge rule on r[h-1] and r[h-2];
// and the rows of pair j = y / 2 the chroma average of c[j] and c[j+1]
// (c[last] and c[last-1] for the last pair).  Vector rule up to the last
// multiple of 32 pixels in the inner rows (2 .. h-3) and up to the last
// multiple of 8 in the edge rows (0, 1, h-2, h-1); scalar rule after.
// `sliceFlags` 1 (top), 4 (middle), 16 (bottom) or all three (whole picture)
// select the rows; a middle or bottom slice starts 2 luma rows (1 chroma
// row) above the pointers given, and a slice leaves its last two rows to the
// next call.  A top slice of height 2 has no row of its own to write.
#include "chroma/recipes.h"
#include "chroma/rows.h"
#include "frame/image.h"
#include "frame/status.h"
#include "frame/tier.h"

namespace {

using namespace cel::chroma;
using cel::rowAt;

int even(int v) { return v & ~1; }

// ---- Four-tap interpolation ----------------------------------------------------------------------
void fourTapRow(const uint8_t* a, const uint8_t* b, const uint8_t* c, const uint8_t* d, uint8_t* o, int n) {
    int i = 0;
    // body: 16 samples, four-tap
    for (; i + 16 <= n; i += 16) store(o + i, fourTap_v(load(a + i), load(b + i), load(c + i), load(d + i)));
    // tail: samples, four-tap
    for (; i < n; ++i) o[i] = fourTap_px(a[i], b[i], c[i], d[i]);
}

// Odd row 2i + 1 of a 4:2:2 chroma plane whose even rows hold the half
// source rows; a neighbour outside 0 .. half-1 is the nearest row.
void fillOddRow(uint8_t* plane, int step, int i, int half, int n) {
    const auto c = [&](int j) -> const uint8_t* {
        return rowAt(plane, 2 * (j < 0 ? 0 : j >= half ? half - 1 : j), step);
    };
    fourTapRow(c(i - 1), c(i), c(i + 1), c(i + 2), rowAt(plane, 2 * i + 1, step), n);
}

// Even rows placed one source row at a time; an odd row is filled as soon
// as the row two below its lower neighbour is in place.
template <class PlaceEven>
void fourTapPlanes(uint8_t* const dst[3], const int dstStep[3], int w, int h, PlaceEven place) {
    const int half = h / 2, n = w / 2;
    for (int j = 0; j < half; ++j) {
        place(j);
        if (j >= 2)
            for (int c = 1; c <= 2; ++c) fillOddRow(dst[c], dstStep[c], j - 2, half, n);
    }
    for (int i = half - 2; i < half; ++i)
        for (int c = 1; c <= 2; ++c) fillOddRow(dst[c], dstStep[c], i, half, n);
}

void y8_ownYCbCr420ToYCbCr422Filter_8u_P3R(const uint8_t* const src[3], const int srcStep[3], uint8_t* const dst[3],
                                           const int dstStep[3], int w, int h) {
    copyLuma(src[0], srcStep[0], dst[0], dstStep[0], w, h);
    fourTapPlanes(dst, dstStep, w, h, [&](int j) {
        for (int c = 1; c <= 2; ++c)
            y8_ownccCopy_8u_C1_M7(rowAt(src[c], j, srcStep[c]), rowAt(dst[c], 2 * j, dstStep[c]), w / 2, 0);
    });
}

void y8_ownYCbCr420ToYCbCr422Filter_8u_P2P3R(const uint8_t* srcY, int srcYStep, const uint8_t* srcC, int srcCStep,
                                             uint8_t* const dst[3], const int dstStep[3], int w, int h) {
    copyLuma(srcY, srcYStep, dst[0], dstStep[0], w, h);
    fourTapPlanes(dst, dstStep, w, h, [&](int j) {
        splitPairsRow(rowAt(srcC, j, srcCStep), rowAt(dst[1], 2 * j, dstStep[1]), rowAt(dst[2], 2 * j, dstStep[2]),
                      w / 2);
    });
}

// ---- Deinterlace rows ----------------------------------------------------------------------------
enum class Rule { Edge, Inner };

// Sources of one output row: luma a (above, inner rule only), b (the row),
// c (below, or the one neighbour of an edge row); chroma rows p and q.
struct Taps {
    const uint8_t *a, *b, *c, *p, *q;
};

// Vector luma at column x, Load giving 16 or 8 bytes.
template <Rule R, class Load>
inline __m128i lumaV(const Taps& t, int x, Load l) {
    if constexpr (R == Rule::Edge)
        return edgeLuma_v(l(t.b + x), l(t.c + x));
    else
        return innerLuma_v(l(t.a + x), l(t.b + x), l(t.c + x));
}

// Scalar luma of pixel x; Odd: its place in the pair (whole-picture tail).
template <Rule R, bool AllTail>
inline uint8_t lumaPx(const Taps& t, int x, bool odd, int round) {
    if constexpr (R == Rule::Edge) {
        return edgeLuma_px(t.b[x], t.c[x], round);
    } else {
        if constexpr (AllTail)
            if (!odd) return innerLumaAllEven_px(t.a[x], t.b[x], t.c[x]);
        return innerLuma_px(t.a[x], t.b[x], t.c[x], round);
    }
}

const auto load16 = [](const uint8_t* p) { return load(p); };
const auto load8b = [](const uint8_t* p) { return load8(p); };

// One packed row (Y0 Cb Y1 Cr): vector rule below vecEnd, scalar after.
template <Rule R, bool AllTail>
void deintC2Row(const Taps& t, uint8_t* d, int w, int vecEnd, int round) {
    int x = 0;
    // body: 16 pixels, vector rule
    for (; x + 16 <= vecEnd; x += 16)
        putC2x16<kYUY2, false>(d + 2 * x, lumaV<R>(t, x, load16), chroma_v(load(t.p + x), load(t.q + x)));
    // then 8 pixels, vector rule
    for (; x + 8 <= vecEnd; x += 8)
        store(d + 2 * x, _mm_unpacklo_epi8(lumaV<R>(t, x, load8b), chroma_v(load8(t.p + x), load8(t.q + x))));
    // tail: pixel pairs, scalar rule
    for (; x + 2 <= w; x += 2) {
        uint8_t* o = d + 2 * x;
        o[0] = lumaPx<R, AllTail>(t, x, false, round);
        o[1] = chroma_px(t.p[x], t.q[x]);
        o[2] = lumaPx<R, AllTail>(t, x + 1, true, round);
        o[3] = chroma_px(t.p[x + 1], t.q[x + 1]);
    }
}

// One luma row of the planar output.
template <Rule R, bool Al>
void deintLumaRow(const Taps& t, uint8_t* d, int w, int vecEnd, int round) {
    int x = 0;
    // body: 16 pixels, vector rule
    for (; x + 16 <= vecEnd; x += 16) storeA<Al>(d + x, lumaV<R>(t, x, loadA<Al>));
    // then 8 pixels, vector rule
    for (; x + 8 <= vecEnd; x += 8) store8(d + x, lumaV<R>(t, x, load8b));
    // tail: pixels, scalar rule
    for (; x < w; ++x) d[x] = lumaPx<R, false>(t, x, x & 1, round);
}

// One chroma row of the planar output from two pair rows of w bytes: first
// bytes to d1, second to d2.
template <bool Al>
void deintChromaRow(const uint8_t* p, const uint8_t* q, uint8_t* d1, uint8_t* d2, int w, int vecEnd) {
    int x = 0;
    // body: 16 pairs, vector rule
    for (; x + 32 <= vecEnd; x += 32) {
        const __m128i v0 = chroma_v(loadA<Al>(p + x), loadA<Al>(q + x));
        const __m128i v1 = chroma_v(loadA<Al>(p + x + 16), loadA<Al>(q + x + 16));
        store(d1 + x / 2, evenBytes(v0, v1));
        store(d2 + x / 2, oddBytes(v0, v1));
    }
    // then 4 pairs, vector rule
    for (; x + 8 <= vecEnd; x += 8) {
        const __m128i v = chroma_v(load8(p + x), load8(q + x));
        store4(d1 + x / 2, evenBytes(v, v));
        store4(d2 + x / 2, oddBytes(v, v));
    }
    // tail: pairs, scalar rule
    for (; x + 2 <= w; x += 2) d1[x / 2] = chroma_px(p[x], q[x]), d2[x / 2] = chroma_px(p[x + 1], q[x + 1]);
}

// ---- Deinterlace frames --------------------------------------------------------------------------
// The two source planes from a base row (luma row 0 and chroma row 0 of the
// kernel's frame; a slice's base may lie above the caller's pointers).
struct Src {
    const uint8_t* y;
    int ys;
    const uint8_t* c;
    int cs;
    const uint8_t* Y(int k) const { return rowAt(y, k, ys); }
    const uint8_t* C(int j) const { return rowAt(c, j, cs); }
};

// Packed output; AllTail: the whole-picture kernel's inner tail.
template <bool AllTail>
struct OutC2 {
    uint8_t* d;
    int ds;
    template <Rule R, bool Inner>
    void row(int y, const Taps& t, int w, int vecEnd, int round) const {
        deintC2Row<R, AllTail && Inner>(t, rowAt(d, y, ds), w, vecEnd, round);
    }
};

// Planar output (Y, first chroma bytes, second chroma bytes at half rows).
template <bool Al>
struct OutP3 {
    uint8_t* d[3];
    int ds[3];
    template <Rule R, bool Inner>
    void row(int y, const Taps& t, int w, int vecEnd, int round) const {
        deintLumaRow<R, Al>(t, rowAt(d[0], y, ds[0]), w, vecEnd, round);
        if ((y & 1) == 0)
            deintChromaRow<Al>(t.p, t.q, rowAt(d[1], y / 2, ds[1]), rowAt(d[2], y / 2, ds[2]), w, vecEnd);
    }
};

inline int edgeEnd(int w) { return w & ~7; }
inline int innerEnd(int w) { return w & ~31; }

// Rows from .. to-1 of the frame by the inner rule.
template <class Out>
void innerRows(const Src& s, const Out& o, int w, int from, int to, int round, bool allVector) {
    for (int k = from; k < to; ++k)
        o.template row<Rule::Inner, true>(k, {s.Y(k - 1), s.Y(k), s.Y(k + 1), s.C(k / 2), s.C(k / 2 + 1)}, w,
                                          allVector ? w : innerEnd(w), round);
}

// Rows 0 and 1 of a picture.
template <class Out>
void topRows(const Src& s, const Out& o, int w, int round, bool allVector) {
    const int e = allVector ? w : edgeEnd(w);
    o.template row<Rule::Edge, false>(0, {nullptr, s.Y(0), s.Y(1), s.C(0), s.C(1)}, w, e, round);
    o.template row<Rule::Inner, false>(1, {s.Y(0), s.Y(1), s.Y(2), s.C(0), s.C(1)}, w, e, round);
}

// Rows h-2 and h-1 of a picture; the last pair averages c[last] and c[last-1].
template <class Out>
void bottomRows(const Src& s, const Out& o, int w, int h, int round, bool allVector) {
    const int e = allVector ? w : edgeEnd(w), last = h / 2 - 1;
    o.template row<Rule::Inner, false>(h - 2, {s.Y(h - 3), s.Y(h - 2), s.Y(h - 1), s.C(last), s.C(last - 1)}, w, e,
                                       round);
    o.template row<Rule::Edge, false>(h - 1, {nullptr, s.Y(h - 1), s.Y(h - 2), s.C(last), s.C(last - 1)}, w, e, round);
}

// Height 2, whole picture: both rows by the edge rule with round 4 in the
// scalar rule only, chroma copied.
template <class Out>
void twoRows(const Src& s, const Out& o, int w) {
    o.template row<Rule::Edge, false>(0, {nullptr, s.Y(0), s.Y(1), s.C(0), s.C(0)}, w, 0, 4);
    o.template row<Rule::Edge, false>(1, {nullptr, s.Y(1), s.Y(0), s.C(0), s.C(0)}, w, 0, 4);
}

// Whole picture of height h >= 4.
template <class Out>
void wholePicture(const Src& s, const Out& o, int w, int h, int round) {
    topRows(s, o, w, round, false);
    innerRows(s, o, w, 2, h - 2, round, false);
    bottomRows(s, o, w, h, round, false);
}

constexpr int kSliceTop = 1, kSliceMiddle = 4, kSliceBottom = 16, kSliceAll = kSliceTop | kSliceMiddle | kSliceBottom;

// Frames moved back by 2 luma rows (1 chroma row) for middle and bottom slices.
Src backTwo(Src s) {
    s.y = rowAt(s.y, -2, s.ys), s.c = rowAt(s.c, -1, s.cs);
    return s;
}

// ---- Deinterlace to packed ----------------------------------------------------------------------
using C2Slice = OutC2<false>;

// Top: rows 0 and 1.  Bottom (from the moved-back frame of h rows): the
// inner rows, then the two last rows.
void y8_myNV12ToYUY2Deinterlace_edge_P2C2R(const Src& s, const C2Slice& o, int w, int h, bool bottom) {
    if (bottom) {
        innerRows(s, o, w, 0, h - 2, 0, false);
        bottomRows(s, o, w, h, 0, false);
    } else {
        topRows(s, o, w, 0, false);
    }
}

void y8_innerNV12ToYUY2Deinterlace_P2C2R(const Src& s, const C2Slice& o, int w, int rows) {
    innerRows(s, o, w, 0, rows, 0, false);
}

void y8_myNV12ToYUY2Deinterlace_All_P2C2R(const Src& s, uint8_t* dst, int dstStep, int w, int h) {
    const OutC2<true> o{dst, dstStep};
    if (h == 2)
        twoRows(s, o, w);
    else
        wholePicture(s, o, w, h, 4);
}

// ---- Deinterlace to planar ----------------------------------------------------------------------
template <bool Al>
void firstRows(const Src& s, const OutP3<Al>& o, int w, int h) {
    if (h < 4) return;
    topRows(s, o, w, 0, Al);
    innerRows(s, o, w, 2, h - 2, 0, Al);
}
template <bool Al>
void lastRows(const Src& s, const OutP3<Al>& o, int w, int h) {
    innerRows(s, o, w, 0, h - 2, 0, Al);
    bottomRows(s, o, w, h, 0, Al);
}

void y8_innerNV12ToYV12Deinterlace_first_P2P3R(const Src& s, const OutP3<false>& o, int w, int h) {
    firstRows(s, o, w, h);
}
void y8_innerNV12ToYV12Deinterlace_P2P3R(const Src& s, const OutP3<false>& o, int w, int h) {
    innerRows(s, o, w, 0, h, 0, false);
}
void y8_innerNV12ToYV12Deinterlace_last_P2P3R(const Src& s, const OutP3<false>& o, int w, int h) {
    lastRows(s, o, w, h);
}
// Aligned twins: 16-byte loads and luma stores, vector rule across the row.
void y8_innerNV12ToYV12DeinterlaceHDTV_first_P2P3R(const Src& s, const OutP3<true>& o, int w, int h) {
    firstRows(s, o, w, h);
}
void y8_innerNV12ToYV12DeinterlaceHDTV_P2P3R(const Src& s, const OutP3<true>& o, int w, int h) {
    innerRows(s, o, w, 0, h, 0, true);
}
void y8_innerNV12ToYV12DeinterlaceHDTV_last_P2P3R(const Src& s, const OutP3<true>& o, int w, int h) {
    lastRows(s, o, w, h);
}
void y8_innerNV12ToYV12DeinterlaceAll_P2P3R(const Src& s, const OutP3<false>& o, int w, int h) {
    if (h == 2)
        twoRows(s, o, w);
    else
        wholePicture(s, o, w, h, 0);
}

// The aligned set: widths of 64, heights of 16, steps and planes aligned.
bool hdtv(const Src& s, uint8_t* const dst[3], const int dstStep[3], int w, int h) {
    const auto a16 = [](const void* p) { return cel::aligned16(p); };
    const auto m32 = [](int v) { return (v & 31) == 0; };
    return w % 64 == 0 && h % 16 == 0 && cel::aligned16(s.ys) && m32(s.cs) && m32(dstStep[0]) && m32(dstStep[1]) &&
           m32(dstStep[2]) && a16(s.y) && a16(s.c) && a16(dst[0]) && a16(dst[1]) && a16(dst[2]);
}

template <bool Al>
OutP3<Al> planes(uint8_t* const dst[3], const int dstStep[3], bool moveBack) {
    const int back = moveBack ? 1 : 0;
    return OutP3<Al>{{rowAt(dst[0], -2 * back, dstStep[0]), rowAt(dst[1], -back, dstStep[1]),
                      rowAt(dst[2], -back, dstStep[2])},
                     {dstStep[0], dstStep[1], dstStep[2]}};
}

template <bool Al>
void yv12Slice(const Src& s, uint8_t* const dst[3], const int dstStep[3], int w, int h, int flags) {
    if (flags == kSliceTop) {
        if constexpr (Al)
            y8_innerNV12ToYV12DeinterlaceHDTV_first_P2P3R(s, planes<Al>(dst, dstStep, false), w, h);
        else
            y8_innerNV12ToYV12Deinterlace_first_P2P3R(s, planes<Al>(dst, dstStep, false), w, h);
    } else if (flags == kSliceMiddle) {
        if constexpr (Al)
            y8_innerNV12ToYV12DeinterlaceHDTV_P2P3R(backTwo(s), planes<Al>(dst, dstStep, true), w, h);
        else
            y8_innerNV12ToYV12Deinterlace_P2P3R(backTwo(s), planes<Al>(dst, dstStep, true), w, h);
    } else if (flags == kSliceBottom) {
        if constexpr (Al)
            y8_innerNV12ToYV12DeinterlaceHDTV_last_P2P3R(backTwo(s), planes<Al>(dst, dstStep, true), w, h + 2);
        else
            y8_innerNV12ToYV12Deinterlace_last_P2P3R(backTwo(s), planes<Al>(dst, dstStep, true), w, h + 2);
    }
}

}  // namespace

// ---- Four-tap upsampling ---------------------------------------------------------------------------
extern "C" CelStatus y8_celiYCbCr420ToYCbCr422_Filter_8u_P3R(const uint8_t* const src[3], int srcStep[3],
                                                             uint8_t* dst[3], int dstStep[3], CelSize roiSize) {
    if (cel::anyNull(src, dst) || cel::anyPlaneNull(src, 3) || cel::anyPlaneNull(dst, 3)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 2, 8)) return celStatusBadSize;
    y8_ownYCbCr420ToYCbCr422Filter_8u_P3R(src, srcStep, dst, dstStep, even(roiSize.width), roiSize.height & ~7);
    return celStatusOk;
}

extern "C" CelStatus y8_celiYCrCb420ToYCbCr422_Filter_8u_P3R(const uint8_t* const src[3], int srcStep[3],
                                                             uint8_t* dst[3], int dstStep[3], CelSize roiSize) {
    if (cel::anyNull(src, dst) || cel::anyPlaneNull(src, 3) || cel::anyPlaneNull(dst, 3)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 2, 8)) return celStatusBadSize;
    const uint8_t* const planes[3] = {src[0], src[2], src[1]};
    const int steps[3] = {srcStep[0], srcStep[2], srcStep[1]};
    y8_ownYCbCr420ToYCbCr422Filter_8u_P3R(planes, steps, dst, dstStep, even(roiSize.width), roiSize.height & ~7);
    return celStatusOk;
}

extern "C" CelStatus y8_celiYCbCr420ToYCbCr422_Filter_8u_P2P3R(const uint8_t* srcY, int srcYStep,
                                                               const uint8_t* srcCbCr, int srcCbCrStep,
                                                               uint8_t* dst[3], int dstStep[3], CelSize roiSize) {
    if (cel::anyNull(srcY, srcCbCr, dst) || cel::anyPlaneNull(dst, 3)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 2, 8)) return celStatusBadSize;
    y8_ownYCbCr420ToYCbCr422Filter_8u_P2P3R(srcY, srcYStep, srcCbCr, srcCbCrStep, dst, dstStep, even(roiSize.width),
                                            roiSize.height & ~7);
    return celStatusOk;
}

// ---- Deinterlace ----------------------------------------------------------------------------------
extern "C" CelStatus y8_celiYCbCr420ToYCbCr422_Filter_8u_P2C2R(const uint8_t* srcY, int srcYStep,
                                                               const uint8_t* srcCbCr, int srcCbCrStep, uint8_t* dst,
                                                               int dstStep, CelSize roiSize, int sliceFlags) {
    if (cel::anyNull(srcY, srcCbCr, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 2, 2)) return celStatusBadSize;
    const int w = even(roiSize.width), h = even(roiSize.height);
    const Src s{srcY, srcYStep, srcCbCr, srcCbCrStep};
    if ((sliceFlags & kSliceAll) == kSliceAll) {
        y8_myNV12ToYUY2Deinterlace_All_P2C2R(s, dst, dstStep, w, h);
    } else if (sliceFlags == kSliceTop) {
        if (h >= 4) {
            const C2Slice o{dst, dstStep};
            y8_myNV12ToYUY2Deinterlace_edge_P2C2R(s, o, w, h, false);
            const Src below{rowAt(srcY, 2, srcYStep), srcYStep, rowAt(srcCbCr, 1, srcCbCrStep), srcCbCrStep};
            y8_innerNV12ToYUY2Deinterlace_P2C2R(below, C2Slice{rowAt(dst, 2, dstStep), dstStep}, w, h - 4);
        }
    } else if (sliceFlags == kSliceMiddle) {
        y8_innerNV12ToYUY2Deinterlace_P2C2R(backTwo(s), C2Slice{rowAt(dst, -2, dstStep), dstStep}, w, h);
    } else if (sliceFlags == kSliceBottom) {
        y8_myNV12ToYUY2Deinterlace_edge_P2C2R(backTwo(s), C2Slice{rowAt(dst, -2, dstStep), dstStep}, w, h + 2, true);
    }
    return celStatusOk;
}

extern "C" CelStatus y8_celiYCbCr420ToYCrCb420_Filter_8u_P2P3R(const uint8_t* srcY, int srcYStep,
                                                               const uint8_t* srcCbCr, int srcCbCrStep,
                                                               uint8_t* dst[3], int dstStep[3], CelSize roiSize,
                                                               int sliceFlags) {
    if (cel::anyNull(srcY, srcCbCr, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    if (cel::anyPlaneNull(dst, 3)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 2, 2)) return celStatusBadSize;
    const int w = even(roiSize.width), h = even(roiSize.height);
    const Src s{srcY, srcYStep, srcCbCr, srcCbCrStep};
    if ((sliceFlags & kSliceAll) == kSliceAll)
        y8_innerNV12ToYV12DeinterlaceAll_P2P3R(s, planes<false>(dst, dstStep, false), w, h);
    else if (hdtv(s, dst, dstStep, w, h))
        yv12Slice<true>(s, dst, dstStep, w, h, sliceFlags);
    else
        yv12Slice<false>(s, dst, dstStep, w, h, sliceFlags);
    return celStatusOk;
}
