// Error diffusion for celiReduceBits_*: Floyd-Steinberg (mode 1) and the
// wide filters of Jarvis-Judice-Ninke (mode 2) and Stucki (mode 3), with and
// without noise.
//
// Each sample takes the weighted errors its visited neighbours left in the
// error rows, is snapped to the grid value below, and goes up one step where
// the threshold (half a step, or a value from the noise table) lies under
// the remainder.  What is left becomes the sample's own error.  The error
// rows are floats in the caller's scratch, zeroed once per call; channels
// are dithered one after the other over the whole picture with the same
// rows, so the last row of one channel feeds the first row of the next.
//
// The rows of all channels thus form one sequence.  Where rows are long
// enough, bands of them are worked side by side, a lane a row, each row a
// few samples behind the one above (the band kernels); the rows left over
// go through the row kernels, four samples a pass and a scalar tail.  Both
// give every sample the same operations in the same order.
#include <smmintrin.h>

#include <cstdint>
#include <utility>

#include "bitdepth/diffusion.h"
#include "bitdepth/reduce_forms.h"
#include "bitdepth/reduce_scratch.h"
#include "frame/image.h"
#include "frame/rowprim.h"

namespace {

using cel::rb::Diffusion;
using cel::rb::Form;
using cel::rb::WideVectors;
using cel::rb::WideWeights;

// Threshold of sample x on row y of the present channel.
template <bool Noise>
inline float thresholdAt(const Diffusion& d, int x, int y) {
    return Noise ? d.N[cel::rb::noiseIndex(d.P, x, y)] : d.half;
}

// Lane i of a vector as a float.
template <int i>
inline float lane(__m128 v) {
    return _mm_cvtss_f32(_mm_shuffle_ps(v, v, _MM_SHUFFLE(i, i, i, i)));
}

// Elements j .. j+3 of the eight held in lo, hi.
template <int j>
inline __m128 window(__m128 lo, __m128 hi) {
    if constexpr (j == 0)
        return lo;
    else
        return _mm_castsi128_ps(_mm_alignr_epi8(_mm_castps_si128(hi), _mm_castps_si128(lo), 4 * j));
}

// ---- Floyd-Steinberg -------------------------------------------------------------
// One row of one channel: s, out at the row's first sample of the channel,
// E elements a pixel; p the previous error row, c the current one (both with
// a guard float at either end).
template <class F, bool Noise>
void y8_innerReduceBits_fs(const typename F::S* s, typename F::D* out, int E, int width, int y, const float* p,
                           float* c, const Diffusion& d) {
    constexpr bool alt = F::kFsAlt;
    int x = 0;
    // body: the row-above terms of four samples as one vector, then the chain
    // through the left neighbour sample by sample (Floyd-Steinberg recipe)
    for (; x + 4 <= width; x += 4) {
        alignas(16) float above[4];
        _mm_store_ps(above, cel::rb::fsAbove4<alt>(_mm_loadu_ps(p + x - 1), _mm_loadu_ps(p + x), _mm_loadu_ps(p + x + 1)));
        for (int j = 0; j < 4; ++j) {
            const int i = x + j;
            c[i] = cel::rb::diffuseSample<F, true>(F::value(s[E * i]), cel::rb::fsSum(above[j], c[i - 1]),
                                                   thresholdAt<Noise>(d, i, y), d, out + E * i);
        }
    }
    // tail: one sample at a time (Floyd-Steinberg recipe)
    for (; x < width; ++x)
        c[x] = cel::rb::diffuseSample<F, true>(F::value(s[E * x]),
                                               cel::rb::fsSum(cel::rb::fsAbove<alt>(p[x - 1], p[x], p[x + 1]), c[x - 1]),
                                               thresholdAt<Noise>(d, x, y), d, out + E * x);
}

// ---- Floyd-Steinberg over bands of rows --------------------------------------------
// A row is serial through its left neighbour, but row r at x needs row r-1
// only up to x+1, so rows can run together when each starts two samples
// behind the one above.  A band of kFsBand consecutive rows of the
// channel-after-channel sequence runs as vectors whose lane k works row
// r0 + k at x = t - 2k: the errors of the row above come from the lane
// before, shifted in by one lane, and lane 0 reads the error row of r0 - 1
// in the scratch.  The band's last row (odd, like r0 - 1) writes that same
// row behind lane 0's reads, where the row loop's rotation would put it.
// Every sample gets the operations of the row kernel in the same order.
constexpr int kFsVectors = 3;
constexpr int kFsBand = 4 * kFsVectors;  // rows of a band
static_assert(kFsBand % 2 == 0, "the last row of a band must write the row its first row reads");

template <class F, int K>
struct BandRows {
    const typename F::S* s[K];  // each lane's source row, at its channel
    typename F::D* o[K];        // and destination row
    int y[K];                   // row within its channel (noise index)
};

// Lane i of the multi-vector e, moved up one lane; `first` enters lane 0.
template <int V>
inline void shiftLanes(const __m128 (&e)[V], float first, __m128 (&out)[V]) {
    out[0] = _mm_move_ss(_mm_castsi128_ps(_mm_slli_si128(_mm_castps_si128(e[0]), 4)), _mm_set_ss(first));
#pragma GCC unroll 8
    for (int i = 1; i < V; ++i)
        out[i] = _mm_castsi128_ps(_mm_alignr_epi8(_mm_castps_si128(e[i]), _mm_castps_si128(e[i - 1]), 12));
}

// Step t of a band: every lane k works its sample x = t - 2k (Edge: some
// lanes may lie outside the row; they load a sample inside it, store
// nothing and leave error 0, which is what the guards hold).
template <class F, bool Noise, bool Edge, int Skew, int K>
inline void bandSamples(int t, int width, int E, const BandRows<F, K>& rows, int i, __m128& v, __m128& th,
                        int (&x)[4], const Diffusion& d) {
    alignas(16) float vs[4], ts[4];
    for (int j = 0; j < 4; ++j) {
        const int k = 4 * i + j;
        int xk = t - Skew * k;
        if (Edge) xk = xk < 0 ? 0 : (xk >= width ? width - 1 : xk);
        x[j] = xk;
        vs[j] = F::value(rows.s[k][E * xk]);
        if (Noise) ts[j] = d.N[cel::rb::noiseIndex(d.P, xk, rows.y[k])];
    }
    v = _mm_load_ps(vs);
    th = Noise ? _mm_load_ps(ts) : _mm_set1_ps(d.half);
}

template <class F, bool Edge, int Skew, int K>
inline __m128 bandStore(int t, int width, int E, const BandRows<F, K>& rows, int i, __m128 err, __m128i out,
                        const int (&x)[4]) {
    alignas(16) int32_t o[4];
    _mm_store_si128(reinterpret_cast<__m128i*>(o), out);
    int live = 15;
    if (Edge) {
        const __m128i xs = _mm_sub_epi32(_mm_set1_epi32(t), _mm_mullo_epi32(_mm_set1_epi32(Skew),
                                                                            _mm_setr_epi32(4 * i, 4 * i + 1, 4 * i + 2, 4 * i + 3)));
        const __m128 in = _mm_castsi128_ps(
            _mm_and_si128(_mm_cmpgt_epi32(xs, _mm_set1_epi32(-1)), _mm_cmpgt_epi32(_mm_set1_epi32(width), xs)));
        err = _mm_and_ps(err, in);
        live = _mm_movemask_ps(in);
    }
    for (int j = 0; j < 4; ++j)
        if (!Edge || (live >> j & 1)) rows.o[4 * i + j][E * x[j]] = static_cast<typename F::D>(o[j]);
    return err;
}

template <class F, bool Noise, bool Edge>
inline void fsBandStep(int t, int width, int E, const BandRows<F, kFsBand>& rows, float* mem, __m128 (&e)[kFsVectors],
                       __m128 (&p1)[kFsVectors], __m128 (&p0)[kFsVectors], __m128 (&pm1)[kFsVectors],
                       const Diffusion& d) {
    constexpr int V = kFsVectors;
    __m128 n[V];
    shiftLanes<V>(e, (!Edge || t + 1 <= width) ? mem[t + 1] : 0.0f, n);
#pragma GCC unroll 8
    for (int i = 0; i < V; ++i) {
        pm1[i] = p0[i];
        p0[i] = p1[i];
        p1[i] = n[i];
    }
#pragma GCC unroll 8
    for (int i = 0; i < V; ++i) {
        __m128 v, th;
        int x[4];
        bandSamples<F, Noise, Edge, 2>(t, width, E, rows, i, v, th, x, d);
        const __m128 sum = cel::rb::fsSum4(cel::rb::fsAbove4<F::kFsAlt>(pm1[i], p0[i], p1[i]), e[i]);
        __m128i out;
        const __m128 err = cel::rb::diffuseSample4<F, true>(v, sum, th, d, &out);
        e[i] = bandStore<F, Edge, 2>(t, width, E, rows, i, err, out, x);
    }
    const int xl = t - 2 * (kFsBand - 1);
    if (!Edge || (xl >= 0 && xl < width)) mem[xl] = lane<3>(e[V - 1]);
}

// Rows r0 .. r0 + kFsBand - 1 of the sequence; mem: the error row of r0 - 1.
template <class F, bool Noise>
void y8_innerReduceBits_fs_band(const BandRows<F, kFsBand>& rows, int E, int width, float* mem, const Diffusion& d) {
    constexpr int V = kFsVectors;
    __m128 e[V], p1[V], p0[V], pm1[V];
    for (int i = 0; i < V; ++i) e[i] = p1[i] = p0[i] = pm1[i] = _mm_setzero_ps();
    p1[0] = _mm_set_ss(mem[0]);
    p0[0] = _mm_set_ss(mem[-1]);
    const int lead = 2 * (kFsBand - 1), steps = width + lead;
    int t = 0;
    // lanes entering the row
    for (; t < lead && t < steps; ++t) fsBandStep<F, Noise, true>(t, width, E, rows, mem, e, p1, p0, pm1, d);
    // every lane inside the row
    for (; t < width; ++t) fsBandStep<F, Noise, false>(t, width, E, rows, mem, e, p1, p0, pm1, d);
    // lanes leaving it
    for (; t < steps; ++t) fsBandStep<F, Noise, true>(t, width, E, rows, mem, e, p1, p0, pm1, d);
}

// Band rows: lane k of a band starting at sequence row r0 works channel
// (r0 + k) / height, row (r0 + k) % height.
template <class F, int K>
BandRows<F, K> bandRows(const typename F::S* src, int srcStep, typename F::D* dst, int dstStep, int height, int r0) {
    BandRows<F, K> b;
    for (int k = 0; k < K; ++k) {
        const int ch = (r0 + k) / height, y = (r0 + k) % height;
        b.s[k] = cel::rowAt(src, y, srcStep) + ch;
        b.o[k] = cel::rowAt(dst, y, dstStep) + ch;
        b.y[k] = y;
    }
    return b;
}

// The rows of all channels form one sequence, channel after channel, that
// runs in bands where the rows are long enough to fill them, and row by
// row for the rest.
template <class F, bool Noise>
void y8_ownReduceBits_fs(const typename F::S* src, int srcStep, typename F::D* dst, int dstStep, CelSize roi,
                         int channels, int E, float* rows, const Diffusion& d) {
    float* p = rows + 1;               // row A: read by even rows of the sequence
    float* c = rows + roi.width + 3;   // row B: read by odd rows
    const int n = channels * roi.height;
    int r = 0;
    if (roi.width >= kFsBand)
        for (; r + kFsBand <= n; r += kFsBand)  // an even count: A and B keep their parts
            y8_innerReduceBits_fs_band<F, Noise>(bandRows<F, kFsBand>(src, srcStep, dst, dstStep, roi.height, r), E,
                                                 roi.width, p, d);
    for (; r < n; ++r) {
        const int ch = r / roi.height, y = r % roi.height;
        y8_innerReduceBits_fs<F, Noise>(cel::rowAt(src, y, srcStep) + ch, cel::rowAt(dst, y, dstStep) + ch, E,
                                        roi.width, y, p, c, d);
        std::swap(p, c);
    }
}

// ---- Jarvis-Judice-Ninke and Stucki ------------------------------------------------
// One row of one channel: r2, r1 the error rows of y-2 and y-1, c the
// current one (two guard floats at either end of each).
template <class F, bool Noise>
void y8_innerReduceBits_st_jj(const typename F::S* s, typename F::D* out, int E, int width, int y, const float* r2,
                              const float* r1, float* c, const WideWeights& w, const WideVectors& wv,
                              const Diffusion& d) {
    int x = 0;
    // c[x-2], c[x-1]: the left guards at the start of the row
    __m128 cw = _mm_setzero_ps();
    auto step = [&](auto jc, __m128 a2, __m128 b2, __m128 a1, __m128 b1) {
        constexpr int j = decltype(jc)::value;
        const int i = x + j;
        const float sum = cel::rb::wideSum4(window<j>(a2, b2), window<j>(a1, b1), cw, lane<j>(b2), lane<j>(b1), wv);
        const float e = cel::rb::diffuseSample<F, false>(F::value(s[E * i]), sum, thresholdAt<Noise>(d, i, y), d,
                                                         out + E * i);
        c[i] = e;
        cw = _mm_unpacklo_ps(_mm_shuffle_ps(cw, cw, _MM_SHUFFLE(1, 1, 1, 1)), _mm_set_ss(e));
    };
    // body: four samples a pass; the neighbour rows x-2 .. x+5 are loaded
    // once and shifted, the own row's two errors ride in a vector (wide recipe)
    for (; x + 4 <= width; x += 4) {
        const __m128 a2 = _mm_loadu_ps(r2 + x - 2), b2 = _mm_loadu_ps(r2 + x + 2);
        const __m128 a1 = _mm_loadu_ps(r1 + x - 2), b1 = _mm_loadu_ps(r1 + x + 2);
        step(std::integral_constant<int, 0>{}, a2, b2, a1, b1);
        step(std::integral_constant<int, 1>{}, a2, b2, a1, b1);
        step(std::integral_constant<int, 2>{}, a2, b2, a1, b1);
        step(std::integral_constant<int, 3>{}, a2, b2, a1, b1);
    }
    // tail: one sample at a time (wide recipe)
    for (; x < width; ++x)
        c[x] = cel::rb::diffuseSample<F, false>(F::value(s[E * x]), cel::rb::wideSum(r2 + x, r1 + x, c + x, w),
                                                thresholdAt<Noise>(d, x, y), d, out + E * x);
}

// ---- Jarvis-Judice-Ninke and Stucki over bands of rows ----------------------------
// The same idea with the wide filter: row r at x needs rows r-1 and r-2 up
// to x+2, so each row starts three samples behind the one above.  Lane k
// works row r0 + k at x = t - 3k; the row above arrives shifted by one lane,
// the row two above by two, and lanes 0 and 1 read rows r0 - 2 and r0 - 1 in
// the scratch.  The band's last two rows write theirs where the row loop's
// rotation would put them, behind every read.
constexpr int kWideVectors = 2;
constexpr int kWideBand = 4 * kWideVectors;

struct WideBandState {
    __m128 e1[kWideVectors], e2[kWideVectors];  // own errors at x-1 and x-2
    __m128 q1[5][kWideVectors];                 // row above at x+2, x+1, x, x-1, x-2
    __m128 q2[5][kWideVectors];                 // two rows above, likewise
};

template <class F, bool Noise, bool Edge>
inline void wideBandStep(int t, int width, int E, const BandRows<F, kWideBand>& rows, const float* m2,
                         const float* m1, float* w2, float* w1, WideBandState& st, const cel::rb::WideLanes& wl,
                         const Diffusion& d) {
    constexpr int V = kWideVectors;
    const bool inside = !Edge || t + 2 <= width + 1;
    __m128 n1[V], n2[V];
    shiftLanes<V>(st.e1, inside ? m1[t + 2] : 0.0f, n1);
    shiftLanes<V>(st.q1[2], inside ? m2[t + 2] : 0.0f, n2);
#pragma GCC unroll 4
    for (int j = 4; j > 0; --j)
#pragma GCC unroll 8
        for (int i = 0; i < V; ++i) {
            st.q1[j][i] = st.q1[j - 1][i];
            st.q2[j][i] = st.q2[j - 1][i];
        }
#pragma GCC unroll 8
    for (int i = 0; i < V; ++i) {
        st.q1[0][i] = n1[i];
        st.q2[0][i] = n2[i];
    }
#pragma GCC unroll 8
    for (int i = 0; i < V; ++i) {
        __m128 v, th;
        int x[4];
        bandSamples<F, Noise, Edge, 3>(t, width, E, rows, i, v, th, x, d);
        const __m128 sum = cel::rb::wideSumLanes(st.q2[4][i], st.q2[3][i], st.q2[2][i], st.q2[1][i], st.q2[0][i],
                                                 st.q1[4][i], st.q1[3][i], st.q1[2][i], st.q1[1][i], st.q1[0][i],
                                                 st.e2[i], st.e1[i], wl);
        __m128i out;
        const __m128 err = cel::rb::diffuseSample4<F, false>(v, sum, th, d, &out);
        st.e2[i] = st.e1[i];
        st.e1[i] = bandStore<F, Edge, 3>(t, width, E, rows, i, err, out, x);
    }
    const int xa = t - 3 * (kWideBand - 2), xb = t - 3 * (kWideBand - 1);
    if (!Edge || (xa >= 0 && xa < width)) w2[xa] = lane<2>(st.e1[V - 1]);
    if (!Edge || (xb >= 0 && xb < width)) w1[xb] = lane<3>(st.e1[V - 1]);
}

// Rows r0 .. r0 + kWideBand - 1; m2, m1 the error rows of r0 - 2 and r0 - 1;
// w2, w1 the rows the band's last two rows go to.
template <class F, bool Noise>
void y8_innerReduceBits_st_jj_band(const BandRows<F, kWideBand>& rows, int E, int width, const float* m2,
                                   const float* m1, float* w2, float* w1, const cel::rb::WideLanes& wl,
                                   const Diffusion& d) {
    constexpr int V = kWideVectors;
    WideBandState st;
    for (int i = 0; i < V; ++i) {
        st.e1[i] = st.e2[i] = _mm_setzero_ps();
        for (int j = 0; j < 5; ++j) st.q1[j][i] = st.q2[j][i] = _mm_setzero_ps();
    }
    // what lane 0 read before step 0: x+2 .. x-1 of step -1, that is 1 .. -2
    for (int j = 0; j < 4; ++j) {
        st.q1[j][0] = _mm_set_ss(m1[1 - j]);
        st.q2[j][0] = _mm_set_ss(m2[1 - j]);
    }
    const int lead = 3 * (kWideBand - 1), steps = width + lead;
    int t = 0;
    for (; t < lead && t < steps; ++t) wideBandStep<F, Noise, true>(t, width, E, rows, m2, m1, w2, w1, st, wl, d);
    for (; t < width; ++t) wideBandStep<F, Noise, false>(t, width, E, rows, m2, m1, w2, w1, st, wl, d);
    for (; t < steps; ++t) wideBandStep<F, Noise, true>(t, width, E, rows, m2, m1, w2, w1, st, wl, d);
}

template <class F, bool Noise>
void y8_ownReduceBits_st_jj(const typename F::S* src, int srcStep, typename F::D* dst, int dstStep, CelSize roi,
                            int channels, int E, float* rows, CelDitherMode mode, const Diffusion& d) {
    // mode 3 is Stucki; anything else that comes here is Jarvis-Judice-Ninke
    const WideWeights& w = mode == celDitherStucki ? cel::rb::kStucki : cel::rb::kJarvis;
    const WideVectors wv(w);
    const cel::rb::WideLanes wl(w);
    const int w4 = roi.width + 4;
    // Row r of the sequence writes written[r % 3] and reads the rows of r - 1
    // and r - 2: C, then A, then B, as rows rotate (A, B, C from the start).
    float* const written[3] = {rows + 2 * w4 + 2, rows + 2, rows + w4 + 2};
    auto rowOf = [&](int r) { return written[(r + 3) % 3]; };
    const int n = channels * roi.height;
    int r = 0;
    if (roi.width >= kWideBand)
        for (; r + kWideBand <= n; r += kWideBand)
            y8_innerReduceBits_st_jj_band<F, Noise>(bandRows<F, kWideBand>(src, srcStep, dst, dstStep, roi.height, r),
                                                    E, roi.width, rowOf(r - 2), rowOf(r - 1),
                                                    rowOf(r + kWideBand - 2), rowOf(r + kWideBand - 1), wl, d);
    for (; r < n; ++r) {
        const int ch = r / roi.height, y = r % roi.height;
        y8_innerReduceBits_st_jj<F, Noise>(cel::rowAt(src, y, srcStep) + ch, cel::rowAt(dst, y, dstStep) + ch, E,
                                           roi.width, y, rowOf(r - 2), rowOf(r - 1), rowOf(r), w, wv, d);
    }
}

}  // namespace

namespace cel::rb {

template <class S, class D>
CelStatus diffuse(const S* src, int srcStep, D* dst, int dstStep, CelSize roi, int noise, CelDitherMode mode,
                  float L, int channels, int stride, uint8_t* scratch) {
    using F = Form<S, D>;
    if (scratch == nullptr) return celStatusNullPointer;
    const bool fs = mode == celDitherFloydSteinberg;
    Diffusion d{};
    F::stepAndFactor(L, d.s, d.f);
    d.half = 0.5f * d.s;
    d.inv = fs ? kFsInv : (mode == celDitherStucki ? kStucki.inv : kJarvis.inv);
    d.floor = fs ? F::kFsFloor : 0.0f;
    uint8_t* base = alignedBase(scratch);
    float* rows = reinterpret_cast<float*>(base + (noise ? kNoiseErrorRowsOffset : 0));
    if (noise) {
        // thresholds centred on half a step, spread by noise percent of a step
        buildNoiseTables(base, static_cast<float>(50 - noise) * d.s / 100.0f,
                         static_cast<float>(50 + noise) * d.s / 100.0f);
        d.N = noiseTable(base);
        d.P = positionTable(base);
    }
    const int w = roi.width;
    y8_celsSet_32f(0.0f, rows, fs ? 2 * w + 4 : 3 * w + 12);
    // rows are indexed by element: a step loses its remainder
    constexpr int srcShift = sizeof(S) == 4 ? 2 : (sizeof(S) == 2 ? 1 : 0);
    constexpr int dstShift = sizeof(D) == 2 ? 1 : 0;
    srcStep = static_cast<int>(static_cast<uint32_t>(srcStep >> srcShift) << srcShift);
    dstStep = static_cast<int>(static_cast<uint32_t>(dstStep >> dstShift) << dstShift);
    if (fs) {
        if (noise)
            y8_ownReduceBits_fs<F, true>(src, srcStep, dst, dstStep, roi, channels, stride, rows, d);
        else
            y8_ownReduceBits_fs<F, false>(src, srcStep, dst, dstStep, roi, channels, stride, rows, d);
    } else if (noise) {
        y8_ownReduceBits_st_jj<F, true>(src, srcStep, dst, dstStep, roi, channels, stride, rows, mode, d);
    } else {
        y8_ownReduceBits_st_jj<F, false>(src, srcStep, dst, dstStep, roi, channels, stride, rows, mode, d);
    }
    return celStatusOk;
}

#define CEL_DIFFUSE_FORM(S, D)                                                                                    \
    template CelStatus diffuse<S, D>(const S*, int, D*, int, CelSize, int, CelDitherMode, float, int, int, uint8_t*);
CEL_DIFFUSE_FORM(uint8_t, uint8_t)
CEL_DIFFUSE_FORM(uint16_t, uint16_t)
CEL_DIFFUSE_FORM(int16_t, int16_t)
CEL_DIFFUSE_FORM(uint16_t, uint8_t)
CEL_DIFFUSE_FORM(int16_t, uint8_t)
CEL_DIFFUSE_FORM(float, uint8_t)
CEL_DIFFUSE_FORM(float, uint16_t)
CEL_DIFFUSE_FORM(float, int16_t)
#undef CEL_DIFFUSE_FORM

}  // namespace cel::rb
