// BGR <-> HLS (hexcone), 8u, every mix of interleaved and planar layouts:
//
//   suffix   source            destination         alpha
//   C3P3R    3 interleaved     3 planes            none
//   P3C3R    3 planes          3 interleaved       none
//   P3R      3 planes          3 planes            none
//   AC4P4R   4 interleaved     4 planes            copied to the destination plane
//   AP4C4R   4 planes          4 interleaved       copied from the source plane
//   AP4R     4 planes          4 planes            copied plane to plane
//   AC4R     4 interleaved     4 interleaved       destination's kept (BGRToHLS only)
//
// Eight pixels a body iteration, the rest in the tail.  Forward: the body
// takes the uncorrected reciprocal, the tail the Newton-refined one, both
// truncate.  Reverse: x 0.016666668 and truncation in body and tail.
//
// Checks: pointers (the plane pointers too), steps below 1, then sizes; the
// interleaved AC4R form checks pointers, sizes, then steps.
#include <smmintrin.h>

#include <cstdint>
#include <cstring>

#include "colorspaces/frame.h"
#include "colorspaces/hls_recipes.h"
#include "frame/tier.h"

namespace {

using cel::hls::Div;

// ---- Row views: up to four row pointers and a way to read or write pixels -----------------
// Channels 0, 1, 2 are B, G, R (or H, L, S); the alpha travels as a fourth.
template <int N>  // N = 3 or 4 interleaved channels
struct Packed {
    static constexpr bool kPlanar = false, kAlpha = N == 4;
    uint8_t* p;
    void load4(int x, __m128i& c0, __m128i& c1, __m128i& c2) const { cel::cs::split8x4<N>(p + N * x, c0, c1, c2); }
    __m128i alpha4(int x) const {
        return _mm_srli_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p + N * x)), 24);
    }
    int get(int x, int k) const { return p[N * x + k]; }
};

template <int Planes>  // 3 or 4 planes, the fourth the alpha
struct Planar {
    static constexpr bool kPlanar = true, kAlpha = Planes == 4;
    uint8_t* p[4];
    static __m128i load4(const uint8_t* q) {
        int32_t v;
        std::memcpy(&v, q, 4);
        return _mm_cvtepu8_epi32(_mm_cvtsi32_si128(v));
    }
    void load4(int x, __m128i& c0, __m128i& c1, __m128i& c2) const {
        c0 = load4(p[0] + x), c1 = load4(p[1] + x), c2 = load4(p[2] + x);
    }
    __m128i alpha4(int x) const { return load4(p[3] + x); }
    int get(int x, int k) const { return p[k][x]; }
};

// Stores: interleaved three; interleaved four with the source's alpha or
// with the destination's kept; planes, with an alpha plane when there is one.
template <class Out, class In>
inline void store4(const Out& o, const In& in, int x, __m128i c0, __m128i c1, __m128i c2) {
    if constexpr (Out::kPlanar) {
        const __m128i bytes = _mm_setr_epi8(0, 4, 8, 12, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1);
        const auto put = [&](uint8_t* q, __m128i v) {
            const int32_t w = _mm_cvtsi128_si32(_mm_shuffle_epi8(v, bytes));
            std::memcpy(q + x, &w, 4);
        };
        put(o.p[0], c0), put(o.p[1], c1), put(o.p[2], c2);
        if constexpr (Out::kAlpha) put(o.p[3], in.alpha4(x));
    } else if constexpr (Out::kAlpha && In::kAlpha && In::kPlanar) {
        // four interleaved from planes: the alpha plane's bytes go along
        const __m128i px = _mm_or_si128(_mm_or_si128(c0, _mm_slli_epi32(c1, 8)),
                                        _mm_or_si128(_mm_slli_epi32(c2, 16), _mm_slli_epi32(in.alpha4(x), 24)));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(o.p + 4 * x), px);
    } else {
        cel::cs::join8x4<Out::kAlpha ? 4 : 3>(o.p + (Out::kAlpha ? 4 : 3) * x, c0, c1, c2);
    }
}

template <class Out, class In>
inline void put(const Out& o, const In& in, int x, const int v[3]) {
    if constexpr (Out::kPlanar) {
        for (int k = 0; k < 3; ++k) o.p[k][x] = static_cast<uint8_t>(v[k]);
        if constexpr (Out::kAlpha) o.p[3][x] = static_cast<uint8_t>(in.get(x, 3));
    } else {
        constexpr int n = Out::kAlpha ? 4 : 3;
        for (int k = 0; k < 3; ++k) o.p[n * x + k] = static_cast<uint8_t>(v[k]);
        if constexpr (Out::kAlpha && In::kAlpha && In::kPlanar) o.p[n * x + 3] = static_cast<uint8_t>(in.get(x, 3));
    }
}

inline int truncTo8(float f) {
    const int v = _mm_cvttss_si32(_mm_set_ss(f));
    return v < 0 ? 0 : (v > 255 ? 255 : v);
}
inline __m128i truncTo8(__m128 f) {
    return _mm_min_epi32(_mm_max_epi32(_mm_cvttps_epi32(f), _mm_setzero_si128()), _mm_set1_epi32(255));
}

// ---- Kernels -----------------------------------------------------------------------------------
template <class In, class Out>
void bgrToHlsRow(In in, Out out, int width) {
    int x = 0;
    // body: uncorrected reciprocal, truncation, 8 pixels
    for (; x + 8 <= width; x += 8)
        for (int g = x; g < x + 8; g += 4) {
            __m128i b, gr, r;
            in.load4(g, b, gr, r);
            __m128 h, l, s;
            cel::hls::rgbToHls<255>(_mm_cvtepi32_ps(r), _mm_cvtepi32_ps(gr), _mm_cvtepi32_ps(b), h, l, s);
            store4(out, in, g, truncTo8(h), truncTo8(l), truncTo8(s));
        }
    // tail: Newton-refined reciprocal, truncation
    for (; x < width; ++x) {
        float h, l, s;
        cel::hls::rgbToHls<255, Div::Newton>(float(in.get(x, 2)), float(in.get(x, 1)), float(in.get(x, 0)), h, l, s);
        const int v[3] = {truncTo8(h), truncTo8(l), truncTo8(s)};
        put(out, in, x, v);
    }
}

template <class In, class Out>
void hlsToBgrRow(In in, Out out, int width) {
    constexpr float kUnit = cel::hls::Scale<255>::kUnit;
    int x = 0;
    // body: x 0.016666668, truncation, 8 pixels
    for (; x + 8 <= width; x += 8)
        for (int g = x; g < x + 8; g += 4) {
            __m128i hi, li, si;
            in.load4(g, hi, li, si);
            const __m128 l = _mm_cvtepi32_ps(li), s = _mm_cvtepi32_ps(si), full = _mm_set1_ps(255.0f);
            __m128 r, gr, b;
            cel::hls::hlsToRgb<255>(_mm_cvtepi32_ps(hi), l, s, r, gr, b);
            // S of 0: every channel L, scaled and truncated
            const __m128 gray = _mm_cmpeq_ps(s, _mm_setzero_ps());
            const __m128 lv = _mm_mul_ps(_mm_mul_ps(l, _mm_set1_ps(kUnit)), full);
            const auto ch = [&](__m128 v) { return truncTo8(_mm_blendv_ps(_mm_mul_ps(v, full), lv, gray)); };
            store4(out, in, g, ch(b), ch(gr), ch(r));
        }
    // tail: x 0.016666668, truncation
    for (; x < width; ++x) {
        const int H = in.get(x, 0), L = in.get(x, 1), S = in.get(x, 2);
        int v[3];
        if (S == 0) {
            v[0] = v[1] = v[2] = truncTo8(float(L) * kUnit * 255.0f);
        } else {
            float o[3];
            cel::hls::hlsToRgb<255, true>(float(H), float(L), float(S), o);
            v[0] = truncTo8(o[2] * 255.0f), v[1] = truncTo8(o[1] * 255.0f), v[2] = truncTo8(o[0] * 255.0f);
        }
        put(out, in, x, v);
    }
}

// Named row kernels.
using C3 = Packed<3>;
using C4 = Packed<4>;
using P3 = Planar<3>;
using P4 = Planar<4>;
constexpr auto y8_ownpi_BGRToHLS_8u_C3P3R = bgrToHlsRow<C3, P3>;
constexpr auto y8_ownpi_BGRToHLS_8u_P3C3R = bgrToHlsRow<P3, C3>;
constexpr auto y8_ownpi_BGRToHLS_8u_P3R = bgrToHlsRow<P3, P3>;
constexpr auto y8_ownpi_BGRToHLS_8u_AC4P4R = bgrToHlsRow<C4, P4>;
constexpr auto y8_ownpi_BGRToHLS_8u_AP4C4R = bgrToHlsRow<P4, C4>;
constexpr auto y8_ownpi_BGRToHLS_8u_AP4R = bgrToHlsRow<P4, P4>;
constexpr auto y8_innerBGRToHLS_8u_AC4R = bgrToHlsRow<C4, C4>;
constexpr auto y8_ownpi_HLSToBGR_8u_C3P3R = hlsToBgrRow<C3, P3>;
constexpr auto y8_ownpi_HLSToBGR_8u_P3C3R = hlsToBgrRow<P3, C3>;
constexpr auto y8_ownpi_HLSToBGR_8u_P3R = hlsToBgrRow<P3, P3>;
constexpr auto y8_ownpi_HLSToBGR_8u_AC4P4R = hlsToBgrRow<C4, P4>;
constexpr auto y8_ownpi_HLSToBGR_8u_AP4C4R = hlsToBgrRow<P4, C4>;
constexpr auto y8_ownpi_HLSToBGR_8u_AP4R = hlsToBgrRow<P4, P4>;

// ---- Row views of the caller's arguments ----------------------------------------------------
template <int N>
Packed<N> view(const uint8_t* p) { return {const_cast<uint8_t*>(p)}; }
template <int Planes>
Planar<Planes> view(const uint8_t* const* p) {
    Planar<Planes> v{};
    for (int k = 0; k < Planes; ++k) v.p[k] = const_cast<uint8_t*>(p[k]);
    return v;
}
template <class V>
V below(V v, int step) {  // the same view one row further
    if constexpr (V::kPlanar) {
        for (auto*& q : v.p)
            if (q) q += step;
    } else {
        v.p += step;
    }
    return v;
}

template <class P>
bool anyNullMember(const P* const* a, int n) {
    for (int k = 0; k < n; ++k)
        if (!a[k]) return true;
    return false;
}

// The row loop each function holds: one kernel call a row.
template <class In, class Out, void (*Kernel)(In, Out, int)>
void rows(In in, int srcStep, Out out, int dstStep, CelSize roi) {
    for (int j = 0; j < roi.height; ++j) {
        Kernel(in, out, roi.width);
        in = below(in, srcStep);
        out = below(out, dstStep);
    }
}

}  // namespace

// ---- Entry functions: pointers, steps, sizes -------------------------------------------------
#define CEL_HLS_PLANAR(fam, layout, SrcT, DstT, nSrc, nDst, In, Out)                                          \
    extern "C" CelStatus y8_celi##fam##_8u_##layout(SrcT src, int srcStep, DstT dst, int dstStep,            \
                                                    CelSize roiSize) {                                        \
        if (cel::anyNull(src, dst)) return celStatusNullPointer;                                                   \
        if ((nSrc && anyNullMember(reinterpret_cast<const uint8_t* const*>(src), nSrc)) ||                    \
            (nDst && anyNullMember(reinterpret_cast<const uint8_t* const*>(dst), nDst)))                      \
            return celStatusNullPointer;                                                                      \
        if (srcStep < 1 || dstStep < 1) return celStatusBadStep;                                              \
        if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;                                                \
        rows<In, Out, y8_ownpi_##fam##_8u_##layout>(view<nSrc ? nSrc : In::kAlpha ? 4 : 3>(src), srcStep,     \
                                                    view<nDst ? nDst : Out::kAlpha ? 4 : 3>(dst), dstStep,    \
                                                    roiSize);                                                 \
        return celStatusOk;                                                                                   \
    }

CEL_HLS_PLANAR(BGRToHLS, C3P3R, const uint8_t*, uint8_t**, 0, 3, C3, P3)
CEL_HLS_PLANAR(BGRToHLS, P3C3R, const uint8_t* const*, uint8_t*, 3, 0, P3, C3)
CEL_HLS_PLANAR(BGRToHLS, P3R, const uint8_t* const*, uint8_t**, 3, 3, P3, P3)
CEL_HLS_PLANAR(BGRToHLS, AC4P4R, const uint8_t*, uint8_t**, 0, 4, C4, P4)
CEL_HLS_PLANAR(BGRToHLS, AP4C4R, const uint8_t* const*, uint8_t*, 4, 0, P4, C4)
CEL_HLS_PLANAR(BGRToHLS, AP4R, const uint8_t* const*, uint8_t**, 4, 4, P4, P4)
CEL_HLS_PLANAR(HLSToBGR, C3P3R, const uint8_t*, uint8_t**, 0, 3, C3, P3)
CEL_HLS_PLANAR(HLSToBGR, P3C3R, const uint8_t* const*, uint8_t*, 3, 0, P3, C3)
CEL_HLS_PLANAR(HLSToBGR, P3R, const uint8_t* const*, uint8_t**, 3, 3, P3, P3)
CEL_HLS_PLANAR(HLSToBGR, AC4P4R, const uint8_t*, uint8_t**, 0, 4, C4, P4)
CEL_HLS_PLANAR(HLSToBGR, AP4C4R, const uint8_t* const*, uint8_t*, 4, 0, P4, C4)
CEL_HLS_PLANAR(HLSToBGR, AP4R, const uint8_t* const*, uint8_t**, 4, 4, P4, P4)
#undef CEL_HLS_PLANAR

// Interleaved both sides: pointers, sizes, then steps.
extern "C" CelStatus y8_celiBGRToHLS_8u_AC4R(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep, CelSize roiSize) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    if (srcStep < 1 || dstStep < 1) return celStatusBadStep;
    rows<C4, C4, y8_innerBGRToHLS_8u_AC4R>(view<4>(src), srcStep, view<4>(dst), dstStep, roiSize);
    return celStatusOk;
}
