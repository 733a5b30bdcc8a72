// Colour twist: the caller's 3x4 matrix (three factors and an offset per
// output channel) on every pixel, celiColorTwist32f_<8u|16u|16s>_* and
// celiColorTwist_32f_*, in C3, AC4 (destination alpha untouched), planar and
// in-place layouts; and celiColorTwist_32f_C4R, a 4x4 matrix on four
// channels.  The arithmetic is 32-bit float at every depth (recipes in
// twist_recipes.h).
//
// Checks, in order: null pointers (source, destination, matrix, each plane
// pointer), width or height below 1, either step below 1.  No matrix is
// refused.
//
// The integer entries set the rounding control to nearest for the call
// (cel_set_rc_ssx(0), after the checks) and write the caller's word back
// after the last row if its rounding field was not nearest; the float
// entries leave the control word alone, so their sums round by the
// caller's mode.
//
// Row kernels (count in samples for C3 and AC4, in pixels for planar and
// C4 rows):
//   C3     8u first sixteen pixels a turn (an unaligned 16-byte load and
//          a byte shuffle per channel for each window of four pixels, the
//          last window loaded from 4 bytes before it); then four pixels
//          as three vector loads, split into a vector per channel, the
//          lanes recipe, joined back; tail: a pixel at a time by the scalar
//          recipe.  Each block is read whole before it is stored, so the
//          in-place forms use the same kernel.
//   AC4    8u first four pixels a turn (lanes recipe); then a pixel a
//          vector: the columns recipe.  Three samples a pixel are stored by
//          narrow stores (the destination's fourth sample is neither read
//          nor written).
//   P3     body: four pixels of each plane, the lanes recipe; tail scalar.
//   C4     a pixel a vector (two a turn when source and destination are
//          16-byte aligned, 8-byte moves when both are 8-byte aligned),
//          the scalar recipe otherwise.
// 32f C3R alone has more than one path: a gap-free image (both steps
// width * 12) is one row; an image of 34993 samples or more (width * 3 *
// height as a 32-bit product) is stored by non-temporal stores with a
// store fence after each row: 32 bits at a time, or a whole 16-byte vector
// where the destination of a block of four pixels is 16-byte aligned.  The C3 float rows first take single
// pixels up to the source's first 16-byte boundary, and single pixels only
// when the source is not 4-byte aligned.  None of these choices changes a
// result.
#include <smmintrin.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "frame/fpcontrol.h"
#include "frame/image.h"
#include "frame/status.h"
#include "frame/tier.h"
#include "tone/twist_recipes.h"

namespace {

using cel::rowAt;
using cel::twist::Matrix3;
using cel::twist::Matrix4;
using cel::twist::toInt;

// ---- Checks --------------------------------------------------------------------------------------
inline bool badSteps(int a, int b) { return a < 1 || b < 1; }

template <class T>
bool badPlanes(const T* const* planes) {
    return planes == nullptr || cel::anyPlaneNull(planes, 3);
}

// ---- Samples in and out, by depth ----------------------------------------------------------------
// load4: four consecutive samples as floats (reads exactly those samples);
// load1: one; store12: three vectors of results (twelve samples) limited,
// converted and stored; store4: one vector; store3: lanes 0 to 2 of a
// vector by narrow stores; store1: one result.
template <class T>
struct Io;

template <>
struct Io<uint8_t> {
    using T = uint8_t;
    static __m128 load4(const T* p) {
        int32_t v;
        std::memcpy(&v, p, 4);
        return _mm_cvtepi32_ps(_mm_cvtepu8_epi32(_mm_cvtsi32_si128(v)));
    }
    static float load1(const T* p) { return static_cast<float>(*p); }
    // saturating packs of up to 16 converted lanes
    static __m128i pack(__m128i a, __m128i b, __m128i c, __m128i d) {
        return _mm_packus_epi16(_mm_packs_epi32(a, b), _mm_packs_epi32(c, d));
    }
    static void store12(T* p, __m128 a, __m128 b, __m128 c) {
        const __m128i ic = toInt<T>(c);
        const __m128i w = pack(toInt<T>(a), toInt<T>(b), ic, ic);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(p), w);
        const int32_t last = _mm_extract_epi32(w, 2);
        std::memcpy(p + 8, &last, 4);
    }
    static void store4(T* p, __m128 a) {
        const __m128i i = toInt<T>(a);
        const int32_t v = _mm_cvtsi128_si32(pack(i, i, i, i));
        std::memcpy(p, &v, 4);
    }
    static void store3(T* p, __m128 a) {
        const __m128i i = toInt<T>(a);
        const uint32_t v = static_cast<uint32_t>(_mm_cvtsi128_si32(pack(i, i, i, i)));
        const uint16_t lo = static_cast<uint16_t>(v);
        std::memcpy(p, &lo, 2);
        p[2] = static_cast<T>(v >> 16);
    }
    static void store1(T* p, float v) { *p = static_cast<T>(toInt<T>(v)); }
};

// 16-bit depths: the low 16 bits of each converted lane (the limits keep
// every lane in range, so the pack of the depth gives those bits).
template <class T>
struct Io16 {
    static __m128 load4(const T* p) {
        const __m128i v = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p));
        if constexpr (std::is_signed_v<T>)
            return _mm_cvtepi32_ps(_mm_cvtepi16_epi32(v));
        else
            return _mm_cvtepi32_ps(_mm_cvtepu16_epi32(v));
    }
    static float load1(const T* p) { return static_cast<float>(*p); }
    static __m128i pack(__m128i a, __m128i b) {
        if constexpr (std::is_signed_v<T>)
            return _mm_packs_epi32(a, b);
        else
            return _mm_packus_epi32(a, b);
    }
    static void store12(T* p, __m128 a, __m128 b, __m128 c) {
        const __m128i ic = toInt<T>(c);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p), pack(toInt<T>(a), toInt<T>(b)));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(p + 8), pack(ic, ic));
    }
    static void store4(T* p, __m128 a) {
        const __m128i i = toInt<T>(a);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(p), pack(i, i));
    }
    static void store3(T* p, __m128 a) {
        const __m128i i = toInt<T>(a);
        const __m128i w = pack(i, i);
        const int32_t first2 = _mm_cvtsi128_si32(w);
        const uint16_t third = static_cast<uint16_t>(_mm_extract_epi16(w, 2));
        std::memcpy(p, &first2, 4);
        std::memcpy(p + 2, &third, 2);
    }
    static void store1(T* p, float v) { *p = static_cast<T>(toInt<T>(v)); }
};
template <>
struct Io<uint16_t> : Io16<uint16_t> {};
template <>
struct Io<int16_t> : Io16<int16_t> {};

template <>
struct Io<float> {
    using T = float;
    static __m128 load4(const T* p) { return _mm_loadu_ps(p); }
    static float load1(const T* p) { return *p; }
    static void store12(T* p, __m128 a, __m128 b, __m128 c) {
        _mm_storeu_ps(p, a);
        _mm_storeu_ps(p + 4, b);
        _mm_storeu_ps(p + 8, c);
    }
    static void store4(T* p, __m128 a) { _mm_storeu_ps(p, a); }
    static void store3(T* p, __m128 a) {
        _mm_storel_pi(reinterpret_cast<__m64*>(p), a);
        _mm_store_ss(p + 2, _mm_movehl_ps(a, a));
    }
    static void store1(T* p, float v) { *p = v; }
};

// The non-temporal stores of the large 32f C3R images: 32 bits at a time.
struct IoStream : Io<float> {
    static void put(float* p, __m128 v) {
        const __m128i i = _mm_castps_si128(v);
        _mm_stream_si32(reinterpret_cast<int*>(p), _mm_cvtsi128_si32(i));
        _mm_stream_si32(reinterpret_cast<int*>(p + 1), _mm_extract_epi32(i, 1));
        _mm_stream_si32(reinterpret_cast<int*>(p + 2), _mm_extract_epi32(i, 2));
        _mm_stream_si32(reinterpret_cast<int*>(p + 3), _mm_extract_epi32(i, 3));
    }
    static void store12(float* p, __m128 a, __m128 b, __m128 c) {
        if (cel::aligned16(p)) {
            _mm_stream_ps(p, a);
            _mm_stream_ps(p + 4, b);
            _mm_stream_ps(p + 8, c);
            return;
        }
        put(p, a);
        put(p + 4, b);
        put(p + 8, c);
    }
    static void store1(float* p, float v) {
        int bits;
        std::memcpy(&bits, &v, 4);
        _mm_stream_si32(reinterpret_cast<int*>(p), bits);
    }
};

// ---- Three interleaved channels: four pixels <-> a vector per channel -------------------------------
// a = (r0 g0 b0 r1), b = (g1 b1 r2 g2), c = (b2 r3 g3 b3).  Blending the
// three loads gives each channel in a fixed lane order, which one shuffle
// (its own inverse) puts right; joining is the same in reverse.
constexpr int kPermR = _MM_SHUFFLE(1, 2, 3, 0);  // lanes 0 3 2 1
constexpr int kPermG = _MM_SHUFFLE(2, 3, 0, 1);  // lanes 1 0 3 2
constexpr int kPermB = _MM_SHUFFLE(3, 0, 1, 2);  // lanes 2 1 0 3

inline __m128 blend3(__m128 x, __m128 y, __m128 z) { return _mm_blend_ps(_mm_blend_ps(x, y, 2), z, 4); }

inline void split3(__m128 a, __m128 b, __m128 c, __m128& r, __m128& g, __m128& bl) {
    const __m128 r1 = blend3(a, c, b), g1 = blend3(b, a, c), b1 = blend3(c, b, a);
    r = _mm_shuffle_ps(r1, r1, kPermR);
    g = _mm_shuffle_ps(g1, g1, kPermG);
    bl = _mm_shuffle_ps(b1, b1, kPermB);
}

inline void join3(__m128 r, __m128 g, __m128 bl, __m128& a, __m128& b, __m128& c) {
    const __m128 r1 = _mm_shuffle_ps(r, r, kPermR), g1 = _mm_shuffle_ps(g, g, kPermG);
    const __m128 b1 = _mm_shuffle_ps(bl, bl, kPermB);
    a = blend3(r1, g1, b1);
    b = blend3(g1, b1, r1);
    c = blend3(b1, r1, g1);
}

// ---- 8u bodies ----------------------------------------------------------------------------------------
// Byte shuffles of four pixels of `stride` bytes (3: three channels, 4:
// with alpha): toLanes[c] puts channel c into 32-bit lanes; back puts the
// packed results r0..r3 g0..g3 b0..b3 into the first three bytes of each
// pixel, the other bytes zero.
struct Shuffles {
    alignas(16) int8_t toLanes[3][16];
    alignas(16) int8_t back[16];
};
constexpr Shuffles makeShuffles(int stride, int first = 0) {
    Shuffles t{};
    for (int c = 0; c < 3; ++c)
        for (int j = 0; j < 16; ++j)
            t.toLanes[c][j] = (j % 4 == 0) ? static_cast<int8_t>(first + stride * (j / 4) + c) : int8_t(-1);
    for (int j = 0; j < 16; ++j) {
        const int pixel = j / stride, ch = j % stride;
        t.back[j] = (pixel < 4 && ch < 3) ? static_cast<int8_t>(4 * ch + pixel) : int8_t(-1);
    }
    return t;
}
inline constexpr Shuffles kBytes3 = makeShuffles(3), kBytes4 = makeShuffles(4);
// the four pixels in bytes 4-15 of a vector
inline constexpr Shuffles kBytes3Last = makeShuffles(3, 4);

inline __m128i ld16(const int8_t* p) { return _mm_load_si128(reinterpret_cast<const __m128i*>(p)); }

// Four pixels of a vector (the layout of `sh`): the lanes recipe, packed
// to the bytes r0..r3 g0..g3 b0..b3 (and b0..b3 again).  Each channel is
// put into 32-bit lanes by its own byte shuffle, except in the bounded AC4
// case below.
// Bounded (the matrix passes boundedFor8u): no sum leaves the range of
// 32-bit integers, so the conversion alone gives the same bytes.  Four-byte
// pixels then give their samples in place by masks, as s0, s1 * 256 and
// s2 * 65536, against laneInPlace (same products, same bits); for
// three-byte pixels that needs a shuffle more than it saves.
template <bool Bounded>
inline __m128i twist4Bytes(__m128i v, const Shuffles& sh, int stride, const Matrix3& m) {
    __m128 r, g, b;
    const __m128(*lane)[4] = m.lane;
    if (Bounded && stride == 4) {
        r = _mm_cvtepi32_ps(_mm_and_si128(v, _mm_set1_epi32(0xFF)));
        g = _mm_cvtepi32_ps(_mm_and_si128(v, _mm_set1_epi32(0xFF00)));
        b = _mm_cvtepi32_ps(_mm_and_si128(v, _mm_set1_epi32(0xFF0000)));
        lane = m.laneInPlace;
    } else {
        r = _mm_cvtepi32_ps(_mm_shuffle_epi8(v, ld16(sh.toLanes[0])));
        g = _mm_cvtepi32_ps(_mm_shuffle_epi8(v, ld16(sh.toLanes[1])));
        b = _mm_cvtepi32_ps(_mm_shuffle_epi8(v, ld16(sh.toLanes[2])));
    }
    auto conv = [](__m128 x) {
        if constexpr (Bounded)
            return cel::twist::toIntBounded(x);
        else
            return cel::twist::toIntSaturating<uint8_t>(x);
    };
    const __m128i o0 = conv(cel::twist::out3(lane[0], r, g, b));
    const __m128i o1 = conv(cel::twist::out3(lane[1], r, g, b));
    const __m128i o2 = conv(cel::twist::out3(lane[2], r, g, b));
    return _mm_packus_epi16(_mm_packs_epi32(o0, o1), _mm_packs_epi32(o2, o2));
}

// One window of four pixels: twelve bytes in, twelve bytes (and four zero
// bytes) out.
template <bool Bounded, const Shuffles& In = kBytes3>
inline __m128i twistWindow8u(__m128i w, const Matrix3& m) {
    return _mm_shuffle_epi8(twist4Bytes<Bounded>(w, In, 3, m), ld16(kBytes3.back));
}

// Sixteen pixels of three channels, as four windows of four pixels, each
// an unaligned load of the 16 bytes from its first (the last window from
// 4 bytes before it, so as to read none past the 48).  All loads come
// before the first store, so d may be s; each window's 16-byte store runs
// four bytes into the next window, which its own store then covers; the
// last window stores 8 and 4 bytes.
template <bool Bounded>
inline void twist16x8u(const uint8_t* s, uint8_t* d, const Matrix3& m) {
    const auto at = [s](int k) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + k)); };
    const __m128i a = at(0), b = at(12), c = at(24), e = at(32);
    const __m128i w0 = twistWindow8u<Bounded>(a, m), w1 = twistWindow8u<Bounded>(b, m);
    const __m128i w2 = twistWindow8u<Bounded>(c, m), w3 = twistWindow8u<Bounded, kBytes3Last>(e, m);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(d), w0);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 12), w1);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(d + 24), w2);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(d + 36), w3);
    const int32_t last = _mm_extract_epi32(w3, 2);
    std::memcpy(d + 44, &last, 4);
}

// Four pixels of four channels: one 16-byte load, the first three bytes of
// each pixel stored (two bytes and one), two pixels from each half.
inline void store3of4x2(uint8_t* d, uint64_t q) {
    const uint16_t lo0 = static_cast<uint16_t>(q), lo1 = static_cast<uint16_t>(q >> 32);
    std::memcpy(d, &lo0, 2);
    d[2] = static_cast<uint8_t>(q >> 16);
    std::memcpy(d + 4, &lo1, 2);
    d[6] = static_cast<uint8_t>(q >> 48);
}
template <bool Bounded>
inline void twist4x8uAC4(const uint8_t* s, uint8_t* d, const Matrix3& m) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s));
    const __m128i px = _mm_shuffle_epi8(twist4Bytes<Bounded>(v, kBytes4, 4, m), ld16(kBytes4.back));
    store3of4x2(d, static_cast<uint64_t>(_mm_cvtsi128_si64(px)));
    store3of4x2(d + 8, static_cast<uint64_t>(_mm_extract_epi64(px, 1)));
}

// ---- Row kernels ----------------------------------------------------------------------------------
// One pixel of three channels by the scalar recipe.
template <class T, class IoT>
inline void pixelC3(const T* s, T* d, const Matrix3& m) {
    const float s0 = Io<T>::load1(s), s1 = Io<T>::load1(s + 1), s2 = Io<T>::load1(s + 2);
    const float o0 = cel::twist::out3(m.t[0], s0, s1, s2), o1 = cel::twist::out3(m.t[1], s0, s1, s2);
    const float o2 = cel::twist::out3(m.t[2], s0, s1, s2);
    IoT::store1(d, o0);
    IoT::store1(d + 1, o1);
    IoT::store1(d + 2, o2);
}

// C3 row of `count` samples (a multiple of 3); d may be s.
template <class T, class IoT = Io<T>, bool Bounded = false>
void twistC3(const T* s, T* d, int count, const Matrix3& m) {
    int i = 0;
    if constexpr (std::is_same_v<T, float>) {
        // single pixels up to the first 16-byte boundary of the source
        const uintptr_t at = reinterpret_cast<uintptr_t>(s);
        if ((at & 3) != 0) {
            for (; i + 3 <= count; i += 3) pixelC3<T, IoT>(s + i, d + i, m);
            return;
        }
        for (; i + 3 <= count && (reinterpret_cast<uintptr_t>(s + i) & 15) != 0; i += 3) pixelC3<T, IoT>(s + i, d + i, m);
    }
    // 8u body: sixteen pixels (lanes recipe)
    if constexpr (std::is_same_v<T, uint8_t>)
        for (; i + 48 <= count; i += 48) twist16x8u<Bounded>(s + i, d + i, m);
    // body: four pixels, a channel a vector (lanes recipe)
    for (; i + 12 <= count; i += 12) {
        __m128 r, g, b;
        split3(Io<T>::load4(s + i), Io<T>::load4(s + i + 4), Io<T>::load4(s + i + 8), r, g, b);
        const __m128 o0 = cel::twist::out3(m.lane[0], r, g, b), o1 = cel::twist::out3(m.lane[1], r, g, b);
        const __m128 o2 = cel::twist::out3(m.lane[2], r, g, b);
        __m128 x, y, z;
        join3(o0, o1, o2, x, y, z);
        IoT::store12(d + i, x, y, z);
    }
    // tail: a pixel at a time (scalar recipe)
    for (; i + 3 <= count; i += 3) pixelC3<T, IoT>(s + i, d + i, m);
}

// AC4 row of `count` samples (a multiple of 4): a pixel a vector (columns
// recipe), 8u four pixels at a time first; d may be s.
template <class T, bool Bounded = false>
void twistAC4(const T* s, T* d, int count, const Matrix3& m) {
    int i = 0;
    // 8u body: four pixels, a channel a vector (lanes recipe)
    if constexpr (std::is_same_v<T, uint8_t>)
        for (; i + 16 <= count; i += 16) twist4x8uAC4<Bounded>(s + i, d + i, m);
    for (; i + 4 <= count; i += 4) Io<T>::store3(d + i, cel::twist::pixel3(m.col, Io<T>::load4(s + i)));
}

// Plane k of a planar row: plane 0's address moved by the plane's distance.
template <class T>
inline T* plane(T* p0, std::ptrdiff_t distance) {
    using Byte = std::conditional_t<std::is_const_v<T>, const uint8_t, uint8_t>;
    return reinterpret_cast<T*>(reinterpret_cast<Byte*>(p0) + distance);
}
template <class T>
inline std::ptrdiff_t distance(const T* p, const T* p0) {
    return static_cast<std::ptrdiff_t>(reinterpret_cast<uintptr_t>(p) - reinterpret_cast<uintptr_t>(p0));
}

// Planar row of `count` pixels; planes 1 and 2 lie at the given byte
// distances from plane 0.  d may be s.
template <class T>
void twistP3(const T* s, std::ptrdiff_t s1, std::ptrdiff_t s2, T* d, std::ptrdiff_t d1, std::ptrdiff_t d2, int count,
             const Matrix3& m) {
    const T *sb = plane(s, s1), *sc = plane(s, s2);
    T *db = plane(d, d1), *dc = plane(d, d2);
    int x = 0;
    // body: four pixels of each plane (lanes recipe)
    for (; x + 4 <= count; x += 4) {
        const __m128 r = Io<T>::load4(s + x), g = Io<T>::load4(sb + x), b = Io<T>::load4(sc + x);
        const __m128 o0 = cel::twist::out3(m.lane[0], r, g, b), o1 = cel::twist::out3(m.lane[1], r, g, b);
        const __m128 o2 = cel::twist::out3(m.lane[2], r, g, b);
        Io<T>::store4(d + x, o0);
        Io<T>::store4(db + x, o1);
        Io<T>::store4(dc + x, o2);
    }
    // tail: a pixel at a time (scalar recipe)
    for (; x < count; ++x) {
        const float r = Io<T>::load1(s + x), g = Io<T>::load1(sb + x), b = Io<T>::load1(sc + x);
        const float o0 = cel::twist::out3(m.t[0], r, g, b), o1 = cel::twist::out3(m.t[1], r, g, b);
        const float o2 = cel::twist::out3(m.t[2], r, g, b);
        Io<T>::store1(d + x, o0);
        Io<T>::store1(db + x, o1);
        Io<T>::store1(dc + x, o2);
    }
}

// C4 rows of `count` pixels, source and destination 16-byte aligned: two
// pixels a turn, then the odd one.
void twistC4Aligned(const float* s, float* d, int count, const Matrix4& m) {
    int x = 0;
    for (; x + 2 <= count; x += 2) {
        const __m128 a = _mm_load_ps(s + 4 * x), b = _mm_load_ps(s + 4 * x + 4);
        _mm_store_ps(d + 4 * x, cel::twist::pixel4(m.col, a));
        _mm_store_ps(d + 4 * x + 4, cel::twist::pixel4(m.col, b));
    }
    if (x < count) _mm_store_ps(d + 4 * x, cel::twist::pixel4(m.col, _mm_load_ps(s + 4 * x)));
}

// C4 rows otherwise: 8-byte moves when both are 8-byte aligned, the scalar
// recipe when not.
void twistC4Unaligned(const float* s, float* d, int count, const Matrix4& m) {
    const bool pairs = ((reinterpret_cast<uintptr_t>(s) | reinterpret_cast<uintptr_t>(d)) & 7) == 0;
    if (pairs) {
        for (int x = 0; x < count; ++x) {
            const __m64* p = reinterpret_cast<const __m64*>(s + 4 * x);
            const __m128 v = _mm_loadh_pi(_mm_loadl_pi(_mm_setzero_ps(), p), p + 1);
            const __m128 o = cel::twist::pixel4(m.col, v);
            _mm_storel_pi(reinterpret_cast<__m64*>(d + 4 * x), o);
            _mm_storeh_pi(reinterpret_cast<__m64*>(d + 4 * x + 2), o);
        }
        return;
    }
    for (int x = 0; x < count; ++x) {
        const float* p = s + 4 * x;
        float o[4];
        for (int r = 0; r < 4; ++r) o[r] = cel::twist::out4(m.t[r], p[0], p[1], p[2], p[3]);
        std::memcpy(d + 4 * x, o, sizeof o);
    }
}

// ---- Row loops and entries -------------------------------------------------------------------------
enum class Layout { C3, AC4 };

template <class T, Layout L, bool Bounded = false>
void twistRows(const T* src, int srcStep, T* dst, int dstStep, CelSize roi, const Matrix3& m) {
    for (int y = 0; y < roi.height; ++y) {
        if constexpr (L == Layout::C3)
            twistC3<T, Io<T>, Bounded>(rowAt(src, y, srcStep), rowAt(dst, y, dstStep), 3 * roi.width, m);
        else
            twistAC4<T, Bounded>(rowAt(src, y, srcStep), rowAt(dst, y, dstStep), 4 * roi.width, m);
    }
}

template <class T>
void twistPlanes(const T* const src[3], int srcStep, T* const dst[3], int dstStep, CelSize roi, const Matrix3& m) {
    const std::ptrdiff_t s1 = distance(src[1], src[0]), s2 = distance(src[2], src[0]);
    const std::ptrdiff_t d1 = distance<T>(dst[1], dst[0]), d2 = distance<T>(dst[2], dst[0]);
    for (int y = 0; y < roi.height; ++y)
        twistP3<T>(rowAt(src[0], y, srcStep), s1, s2, rowAt(dst[0], y, dstStep), d1, d2, roi.width, m);
}

// The integer entries' work between the rounding-control pair.
template <class Work>
void atNearest(Work work) {
    const unsigned prior = cel::cel_set_rc_ssx(0);
    work();
    if ((prior & cel::kRoundingField) != 0) cel::cel_set_cw_ssx(prior);
}

template <class T>
constexpr bool kIntegerDepth = !std::is_same_v<T, float>;

template <class T, Layout L>
CelStatus twistInterleaved(const T* src, int srcStep, T* dst, int dstStep, CelSize roi, const float twist[3][4]) {
    if (cel::anyNull(src, dst) || twist == nullptr) return celStatusNullPointer;
    if (cel::sizeBelow(roi, 1, 1)) return celStatusBadSize;
    if (badSteps(srcStep, dstStep)) return celStatusBadStep;
    const Matrix3 m = cel::twist::makeMatrix3(twist);
    if constexpr (std::is_same_v<T, uint8_t>)
        atNearest([&] {
            if (cel::twist::boundedFor8u(m.t))
                twistRows<T, L, true>(src, srcStep, dst, dstStep, roi, m);
            else
                twistRows<T, L>(src, srcStep, dst, dstStep, roi, m);
        });
    else if constexpr (kIntegerDepth<T>)
        atNearest([&] { twistRows<T, L>(src, srcStep, dst, dstStep, roi, m); });
    else
        twistRows<T, L>(src, srcStep, dst, dstStep, roi, m);
    return celStatusOk;
}

template <class T>
CelStatus twistPlanar(const T* const src[3], int srcStep, T* const dst[3], int dstStep, CelSize roi,
                      const float twist[3][4]) {
    if (badPlanes(src) || badPlanes(dst) || twist == nullptr) return celStatusNullPointer;
    if (cel::sizeBelow(roi, 1, 1)) return celStatusBadSize;
    if (badSteps(srcStep, dstStep)) return celStatusBadStep;
    const Matrix3 m = cel::twist::makeMatrix3(twist);
    if constexpr (kIntegerDepth<T>)
        atNearest([&] { twistPlanes<T>(src, srcStep, dst, dstStep, roi, m); });
    else
        twistPlanes<T>(src, srcStep, dst, dstStep, roi, m);
    return celStatusOk;
}

// Images of fewer samples than this stay in the cache.
constexpr int kStreamFrom = 34993;

CelStatus twistC3R32f(const float* src, int srcStep, float* dst, int dstStep, CelSize roi, const float twist[3][4]) {
    if (cel::anyNull(src, dst) || twist == nullptr) return celStatusNullPointer;
    if (cel::sizeBelow(roi, 1, 1)) return celStatusBadSize;
    if (badSteps(srcStep, dstStep)) return celStatusBadStep;
    const Matrix3 m = cel::twist::makeMatrix3(twist);
    // 32-bit products, as the row lengths are kept
    const int rowBytes = static_cast<int>(static_cast<uint32_t>(roi.width) * 12u);
    const int samples = static_cast<int>(static_cast<uint32_t>(roi.width) * 3u * static_cast<uint32_t>(roi.height));
    const bool gapFree = srcStep == rowBytes && dstStep == rowBytes;
    const int rows = gapFree ? 1 : roi.height;
    const int count = gapFree ? samples : 3 * roi.width;
    if (samples < kStreamFrom) {
        for (int y = 0; y < rows; ++y) twistC3<float>(rowAt(src, y, srcStep), rowAt(dst, y, dstStep), count, m);
    } else {
        for (int y = 0; y < rows; ++y) {
            twistC3<float, IoStream>(rowAt(src, y, srcStep), rowAt(dst, y, dstStep), count, m);
            _mm_sfence();
        }
    }
    return celStatusOk;
}

CelStatus twistC4R32f(const float* src, int srcStep, float* dst, int dstStep, CelSize roi, const float twist[4][4]) {
    if (cel::anyNull(src, dst) || twist == nullptr) return celStatusNullPointer;
    if (cel::sizeBelow(roi, 1, 1)) return celStatusBadSize;
    if (badSteps(srcStep, dstStep)) return celStatusBadStep;
    const Matrix4 m = cel::twist::makeMatrix4(twist);
    // The one-row test compares the steps with width * 4, as it always has:
    // a real gap-free image (steps of width * 16) goes row by row.
    const bool oneRow = srcStep == dstStep && srcStep == static_cast<int>(static_cast<uint32_t>(roi.width) * 4u);
    const int rows = oneRow ? 1 : roi.height;
    const int count = oneRow ? static_cast<int>(static_cast<uint32_t>(roi.width) * static_cast<uint32_t>(roi.height))
                             : roi.width;
    for (int y = 0; y < rows; ++y) {
        const float* s = rowAt(src, y, srcStep);
        float* d = rowAt(dst, y, dstStep);
        if (cel::aligned16(s) && cel::aligned16(d))
            twistC4Aligned(s, d, count, m);
        else
            twistC4Unaligned(s, d, count, m);
    }
    return celStatusOk;
}

}  // namespace

// ---- Entries ----------------------------------------------------------------------------------------
// Op is ColorTwist32f (integer samples) or ColorTwist (32f samples).
#define CEL_TWIST_COMMON(Op, depth, T)                                                                              \
    extern "C" CelStatus y8_celi##Op##_##depth##_C3IR(T* srcDst, int srcDstStep, CelSize roiSize,                  \
                                                       const float twist[3][4]) {                                  \
        return twistInterleaved<T, Layout::C3>(srcDst, srcDstStep, srcDst, srcDstStep, roiSize, twist);            \
    }                                                                                                              \
    extern "C" CelStatus y8_celi##Op##_##depth##_AC4R(const T* src, int srcStep, T* dst, int dstStep,              \
                                                       CelSize roiSize, const float twist[3][4]) {                 \
        return twistInterleaved<T, Layout::AC4>(src, srcStep, dst, dstStep, roiSize, twist);                       \
    }                                                                                                              \
    extern "C" CelStatus y8_celi##Op##_##depth##_AC4IR(T* srcDst, int srcDstStep, CelSize roiSize,                 \
                                                        const float twist[3][4]) {                                 \
        return twistInterleaved<T, Layout::AC4>(srcDst, srcDstStep, srcDst, srcDstStep, roiSize, twist);           \
    }                                                                                                              \
    extern "C" CelStatus y8_celi##Op##_##depth##_P3R(const T* const src[3], int srcStep, T* dst[3], int dstStep,   \
                                                      CelSize roiSize, const float twist[3][4]) {                  \
        return twistPlanar<T>(src, srcStep, dst, dstStep, roiSize, twist);                                         \
    }                                                                                                              \
    extern "C" CelStatus y8_celi##Op##_##depth##_IP3R(T* srcDst[3], int srcDstStep, CelSize roiSize,               \
                                                       const float twist[3][4]) {                                  \
        return twistPlanar<T>(srcDst, srcDstStep, srcDst, srcDstStep, roiSize, twist);                             \
    }

#define CEL_TWIST_INT(depth, T)                                                                                     \
    extern "C" CelStatus y8_celiColorTwist32f_##depth##_C3R(const T* src, int srcStep, T* dst, int dstStep,        \
                                                             CelSize roiSize, const float twist[3][4]) {           \
        return twistInterleaved<T, Layout::C3>(src, srcStep, dst, dstStep, roiSize, twist);                        \
    }                                                                                                              \
    CEL_TWIST_COMMON(ColorTwist32f, depth, T)

CEL_TWIST_INT(8u, uint8_t)
CEL_TWIST_INT(16u, uint16_t)
CEL_TWIST_INT(16s, int16_t)
CEL_TWIST_COMMON(ColorTwist, 32f, float)
#undef CEL_TWIST_INT
#undef CEL_TWIST_COMMON

extern "C" CelStatus y8_celiColorTwist_32f_C3R(const float* src, int srcStep, float* dst, int dstStep, CelSize roiSize,
                                                const float twist[3][4]) {
    return twistC3R32f(src, srcStep, dst, dstStep, roiSize, twist);
}

extern "C" CelStatus y8_celiColorTwist_32f_C4R(const float* src, int srcStep, float* dst, int dstStep, CelSize roiSize,
                                                const float twist[4][4]) {
    return twistC4R32f(src, srcStep, dst, dstStep, roiSize, twist);
}
