// Linear RGB <-> CIE 1976 L*u*v* (D65) in 8u, 16u, 16s (offset binary) and
// 32f, C3 and AC4 (alpha untouched), and BGR order in 8u and 32f C3, on the
// shared colour-space frame.  All arithmetic is 32-bit float.
//
//   forward  body (4 px): no test of Z or D for 0        tail: Z (8u, 32f) or D
//            8u AC4 tail stores the low 8 bits;            (16-bit) of 0 gives
//            16-bit AC4 tail truncates, all else rounds   u' = v' = 0
//   reverse  body: reciprocals of 116 and 903.3; 8u body  tail: divisions; 8u
//            uses 1/(13L), 1/v' approximations, L bias    tail: L byte 0 is black
//
// Encodings: 8u L*2.55, (u+134)*255/354, (v+140)*255/262; 16u L*655.35,
// (u+134)*65535/354, (v+140)*65535/262 + 0.5; 16s as 16u less 32768.
#include <smmintrin.h>

#include <cstdint>
#include <type_traits>
#include <utility>

#include "colorspaces/frame.h"
#include "colorspaces/luvlab_recipes.h"
#include "frame/tier.h"

namespace {

using namespace cel::cs::ll;  // NOLINT: the family's recipes
using cel::cs::entry;
using cel::cs::kRGBToXYZ;
using cel::cs::kXYZToRGB;
using cel::cs::rowLoop;

template <class S>
struct Luv {
    static constexpr bool k8 = sizeof(S) == 1;
    static constexpr bool k16 = sizeof(S) == 2;
    static constexpr bool kFloat = std::is_same_v<S, float>;
    static constexpr int kTerms = k8 ? 4 : (k16 ? 6 : 8);
    static constexpr const float* kSer = k8 ? kSeriesLuv8u : kSeries;
    static constexpr const LuvRevForm& kRev = k8 ? kLuvRev8u : (k16 ? kLuvRev16 : kLuvRev32f);

    // Encoding of an integer depth, before rounding.
    template <class T>
    static void encode(T& L, T& u, T& v) {
        if constexpr (k8) {
            L = L * T(2.55f), u = (u + T(134.0f)) * T(0.720339f), v = (v + T(140.0f)) * T(0.97328246f);
        } else {
            L = L * T(655.35f), u = (u + T(134.0f)) * T(185.12712f), v = (v + T(140.0f)) * T(250.13359f) + T(0.5f);
        }
    }
    // Decoding of the 16-bit depths (body and tail alike), the 0.5 of V undone.
    template <class T>
    static void decode16(T& L, T& u, T& v) {
        L = L * T(100.0f / 65535.0f), u = u * T(354.0f / 65535.0f) - T(134.0f);
        v = (v - T(0.5f)) * T(262.0f / 65535.0f) - T(140.0f);
    }
};

// ---- Forward ------------------------------------------------------------------------
template <class S, int N, bool Bgr>
void luvFwdRow(const S* s, S* d, int width) {
    using P = Luv<S>;
    int x = 0;
    // body: 4 px, reciprocal with a Newton step, no zero test
    for (; x + 4 <= width; x += 4) {
        F4 c0, c1, c2;
        load4<S, N>(s + N * x, c0, c1, c2);
        if constexpr (Bgr) std::swap(c0, c2);
        if constexpr (P::k8) c0 = c0 * F4(0.003921569f), c1 = c1 * F4(0.003921569f), c2 = c2 * F4(0.003921569f);
        F4 L, u, v;
        luvFwd<true, P::k16, P::kTerms>(dot3(kRGBToXYZ[0], c0, c1, c2), dot3(kRGBToXYZ[1], c0, c1, c2),
                                        dot3(kRGBToXYZ[2], c0, c1, c2), P::kSer, L, u, v);
        if constexpr (P::kFloat) {
            store4(d + N * x, N, L, u, v);
        } else {
            P::encode(L, u, v);
            store4<S, N>(d + N * x, roundi(L), roundi(u), roundi(v));
        }
    }
    // tail: the same recipe with the zero test; 8u AC4 keeps the low 8 bits,
    // 16-bit AC4 truncates
    for (; x < width; ++x) {
        const S* p = s + N * x;
        float c0 = raw(p[Bgr ? 2 : 0]), c1 = raw(p[1]), c2 = raw(p[Bgr ? 0 : 2]);
        if constexpr (P::k8) c0 *= 0.003921569f, c1 *= 0.003921569f, c2 *= 0.003921569f;
        float o[3];
        luvFwd<false, P::k16, P::kTerms>(dot3(kRGBToXYZ[0], c0, c1, c2), dot3(kRGBToXYZ[1], c0, c1, c2),
                                         dot3(kRGBToXYZ[2], c0, c1, c2), P::kSer, o[0], o[1], o[2]);
        S* q = d + N * x;
        if constexpr (P::kFloat) {
            q[0] = o[0], q[1] = o[1], q[2] = o[2];
        } else {
            P::encode(o[0], o[1], o[2]);
            for (int k = 0; k < 3; ++k) {
                if constexpr (P::k8 && N == 4)
                    q[k] = static_cast<S>(roundi(o[k]));
                else
                    q[k] = fromInt<S>(P::k16 && N == 4 ? trunci(o[k]) : roundi(o[k]));
            }
        }
    }
}

// ---- Reverse ------------------------------------------------------------------------
template <class S, int N, bool Bgr>
void luvRevRow(const S* s, S* d, int width) {
    using P = Luv<S>;
    int x = 0;
    // body: 4 px, reciprocals of 116 and 903.3 (8u: approximations, L bias)
    for (; x + 4 <= width; x += 4) {
        F4 L, u, v;
        load4<S, N>(s + N * x, L, u, v);
        F4 black = _mm_setzero_ps();
        if constexpr (P::k8) {
            L = L * F4(0.39215687f), u = u * F4(1.3882353f) - F4(134.0f), v = v * F4(1.027451f) - F4(140.0f);
            L = sel(le(L, F4(9e-5f)), L + F4(9e-5f), L);
        } else {
            if constexpr (P::k16) P::decode16(L, u, v);
            black = lt(L, F4(9e-5f));
        }
        F4 X, Y, Z;
        luvRev<true, P::k8>(L, u, v, P::kRev, X, Y, Z);
        F4 o[3];
        if constexpr (P::kFloat) {
            for (int k = 0; k < 3; ++k) o[k] = _mm_andnot_ps(black.v, limit01(dot3(kXYZToRGB[k], X, Y, Z)).v);
            store4(d + N * x, N, o[Bgr ? 2 : 0], o[1], o[Bgr ? 0 : 2]);
        } else {
            __m128i r[3];
            if constexpr (P::k8) {
                for (int k = 0; k < 3; ++k) r[k] = roundi(dot3(kXYZToRGB[k], X, Y, Z));
            } else {
                const __m128i keep = _mm_castps_si128(_mm_cmpeq_ps(black.v, _mm_setzero_ps()));
                for (int k = 0; k < 2; ++k) r[k] = _mm_and_si128(keep, trunci(dot3(kXYZToRGB[k], X, Y, Z) + F4(0.5f)));
                r[2] = _mm_and_si128(keep, blueHalfUp(F4(kXYZToRGB[2][0]) * X, F4(kXYZToRGB[2][1]) * Y,
                                                      F4(kXYZToRGB[2][2]) * Z));
            }
            store4<S, N>(d + N * x, r[Bgr ? 2 : 0], r[1], r[Bgr ? 0 : 2]);
        }
    }
    // tail: divisions; black below the floor (8u: L byte 0)
    for (; x < width; ++x) {
        const S* p = s + N * x;
        S* q = d + N * x;
        float L = raw(p[0]), u = raw(p[1]), v = raw(p[2]);
        bool black;
        if constexpr (P::k8) {
            black = p[0] == 0;
            L = L * 100.0f / 255.0f, u = u * 354.0f / 255.0f - 134.0f, v = v * 262.0f / 255.0f - 140.0f;
        } else {
            if constexpr (P::k16) P::decode16(L, u, v);
            black = L < 9e-5f;
        }
        float o[3] = {0.0f, 0.0f, 0.0f};
        int32_t r[3] = {0, 0, 0};
        if (!black) {
            float X, Y, Z;
            luvRev<false, false>(L, u, v, P::kRev, X, Y, Z);
            if constexpr (P::kFloat) {
                for (int k = 0; k < 3; ++k) o[k] = limit01(dot3(kXYZToRGB[k], X, Y, Z));
            } else {
                for (int k = 0; k < 2; ++k) r[k] = trunci(dot3(kXYZToRGB[k], X, Y, Z) + 0.5f);
                r[2] = blueHalfUp(kXYZToRGB[2][0] * X, kXYZToRGB[2][1] * Y, kXYZToRGB[2][2] * Z);
            }
        }
        for (int k = 0; k < 3; ++k) {
            if constexpr (P::kFloat)
                q[Bgr ? 2 - k : k] = o[k];
            else
                q[Bgr ? 2 - k : k] = fromInt<S>(r[k]);
        }
    }
}

// Kernels: (source row, destination row, width, channel count).
template <class S, bool Fwd, bool Bgr>
void luvKernel(const S* s, S* d, int width, int channels) {
    if (channels == 4) {
        if constexpr (!Bgr) Fwd ? luvFwdRow<S, 4, false>(s, d, width) : luvRevRow<S, 4, false>(s, d, width);
    } else {
        Fwd ? luvFwdRow<S, 3, Bgr>(s, d, width) : luvRevRow<S, 3, Bgr>(s, d, width);
    }
}

#define CEL_LUV_KERNEL(name, depth, S, fwd, bgr)                                                          \
    void y8_inner##name##_##depth##_C3R(const S* s, S* d, int w, int c) { luvKernel<S, fwd, bgr>(s, d, w, c); } \
    constexpr auto y8_my##name##_##depth##_C3R = rowLoop<S, y8_inner##name##_##depth##_C3R>;

CEL_LUV_KERNEL(RGBToLUV, 8u, uint8_t, true, false)
CEL_LUV_KERNEL(BGRToLUV, 8u, uint8_t, true, true)
CEL_LUV_KERNEL(LUVToRGB, 8u, uint8_t, false, false)
CEL_LUV_KERNEL(LUVToBGR, 8u, uint8_t, false, true)
CEL_LUV_KERNEL(RGBToLUV, 16u, uint16_t, true, false)
CEL_LUV_KERNEL(LUVToRGB, 16u, uint16_t, false, false)
CEL_LUV_KERNEL(RGBToLUV, 16s, int16_t, true, false)
CEL_LUV_KERNEL(LUVToRGB, 16s, int16_t, false, false)
CEL_LUV_KERNEL(RGBToLUV, 32f, float, true, false)
CEL_LUV_KERNEL(BGRToLUV, 32f, float, true, true)
CEL_LUV_KERNEL(LUVToRGB, 32f, float, false, false)
CEL_LUV_KERNEL(LUVToBGR, 32f, float, false, true)
#undef CEL_LUV_KERNEL

}  // namespace

// ---- Entry functions -----------------------------------------------------------------
CEL_CS_ENTRIES(RGBToLUV, 8u, uint8_t)
CEL_CS_ENTRIES(LUVToRGB, 8u, uint8_t)
CEL_CS_ENTRIES(RGBToLUV, 16u, uint16_t)
CEL_CS_ENTRIES(LUVToRGB, 16u, uint16_t)
CEL_CS_ENTRIES(RGBToLUV, 16s, int16_t)
CEL_CS_ENTRIES(LUVToRGB, 16s, int16_t)
CEL_CS_ENTRIES(RGBToLUV, 32f, float)
CEL_CS_ENTRIES(LUVToRGB, 32f, float)
CEL_CS_ENTRY(BGRToLUV, 8u, C3R, uint8_t, 3)
CEL_CS_ENTRY(LUVToBGR, 8u, C3R, uint8_t, 3)
CEL_CS_ENTRY(BGRToLUV, 32f, C3R, float, 3)
CEL_CS_ENTRY(LUVToBGR, 32f, C3R, float, 3)

