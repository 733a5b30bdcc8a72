// Linear RGB or BGR <-> CIE L*a*b* (D65), pixel-interleaved: 8u, 8u16u
// (8-bit colour, 16-bit Lab), 16u8u (its reverse) and 32f, C3 only.  All
// arithmetic is 32-bit float; one row kernel per depth pair serves RGB and
// BGR through a flag.
//
//   forward  body (4 px) and tail: the same operations, both rounding; the
//            body limits by saturating packs, the tail keeps the low 8 or
//            16 bits of the rounded integer
//   reverse  body and tail alike; the cube at every level (no linear
//            branch), 32f not limited, integer outputs limited to 0..255
//
// Encodings: 8u L*2.55, a+128, b+128; 16u L*655.35, (a+128)*255, (b+128)*255.
// Steps stay in bytes: the entry function runs the rows itself.
#include <smmintrin.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

#include "colorspaces/frame.h"
#include "colorspaces/luvlab_recipes.h"
#include "frame/tier.h"

namespace {

using namespace cel::cs::ll;  // NOLINT: the family's recipes

// ---- Forward ------------------------------------------------------------------------
template <class S, class D, bool Bgr>
void labFwdRow(const S* s, D* d, int width) {
    constexpr bool kF = std::is_same_v<D, float>, k8 = std::is_same_v<D, uint8_t>;
    constexpr int kTerms = k8 ? 4 : 8;
    const float(&w)[3] = std::is_same_v<S, float> ? kLabIn32f : kLabIn8u;
    // body: groups of 4 px in blocks of two passes (table reads ahead of the series)
    const int groups = width / 4;
    labFwdGroups<kTerms>(
        groups, w,
        [&](int64_t g, F4& c0, F4& c1, F4& c2) {
            load4<S, 3>(s + 12 * g, c0, c1, c2);
            if constexpr (Bgr) std::swap(c0, c2);
        },
        [&](int64_t g, F4 L, F4 a, F4 b) {
            D* q = d + 12 * g;
            if constexpr (kF) {
                store4(q, 3, L, a, b);
            } else if constexpr (k8) {
                cel::cs::join8x4<3>(q, roundi(L * F4(2.55f)), roundi(a + F4(128.0f)), roundi(b + F4(128.0f)));
            } else {
                const __m128i l = roundi(L * F4(655.35f)), ai = roundi((a + F4(128.0f)) * F4(255.0f));
                const __m128i bi = roundi((b + F4(128.0f)) * F4(255.0f));
                cel::cs::join16x4<3>(q, _mm_packus_epi32(l, l), _mm_packus_epi32(ai, ai), _mm_packus_epi32(bi, bi));
            }
        });
    int x = 4 * groups;
    // tail: the same operations; the rounded integer's low bits are stored
    for (; x < width; ++x) {
        const S* p = s + 3 * x;
        const float c0 = raw(p[Bgr ? 2 : 0]), c1 = raw(p[1]), c2 = raw(p[Bgr ? 0 : 2]);
        float L, a, b;
        labFromRGB<kTerms>(c0, c1, c2, w, L, a, b);
        D* q = d + 3 * x;
        if constexpr (kF) {
            q[0] = L, q[1] = a, q[2] = b;
        } else if constexpr (k8) {
            q[0] = static_cast<D>(roundi(L * 2.55f)), q[1] = static_cast<D>(roundi(a + 128.0f));
            q[2] = static_cast<D>(roundi(b + 128.0f));
        } else {
            q[0] = static_cast<D>(roundi(L * 655.35f)), q[1] = static_cast<D>(roundi((a + 128.0f) * 255.0f));
            q[2] = static_cast<D>(roundi((b + 128.0f) * 255.0f));
        }
    }
}

// ---- Reverse ------------------------------------------------------------------------
template <class T, class S>
inline void labDecode(T& L, T& a, T& b) {
    if constexpr (sizeof(S) == 1) {
        L = L * T(0.39215687f), a = a - T(128.0f), b = b - T(128.0f);
    } else if constexpr (sizeof(S) == 2) {
        L = L * T(0.0015259022f), a = a * T(0.003921569f) - T(128.0f), b = b * T(0.003921569f) - T(128.0f);
    }
}

template <class S, class D, bool Bgr>
void labRevRow(const S* s, D* d, int width) {
    constexpr bool kF = std::is_same_v<D, float>;
    const float(&w)[3] = kF ? kLabWhite32f : kLabWhite8u;
    int x = 0;
    // body: 4 px
    for (; x + 4 <= width; x += 4) {
        F4 L, a, b, r, g, bl;
        load4<S, 3>(s + 3 * x, L, a, b);
        labDecode<F4, S>(L, a, b);
        labToRGB(L, a, b, w, r, g, bl);
        if constexpr (kF)
            store4(d + 3 * x, 3, Bgr ? bl : r, g, Bgr ? r : bl);
        else
            cel::cs::join8x4<3>(d + 3 * x, roundi(Bgr ? bl : r), roundi(g), roundi(Bgr ? r : bl));
    }
    // tail: the same operations, the same limits
    for (; x < width; ++x) {
        const S* p = s + 3 * x;
        float L = raw(p[0]), a = raw(p[1]), b = raw(p[2]), rgb[3];
        labDecode<float, S>(L, a, b);
        labToRGB(L, a, b, w, rgb[0], rgb[1], rgb[2]);
        D* q = d + 3 * x;
        for (int k = 0; k < 3; ++k) {
            const float v = rgb[k];
            if constexpr (kF)
                q[Bgr ? 2 - k : k] = v;
            else
                q[Bgr ? 2 - k : k] = static_cast<D>(clampi(roundi(v), 0, 255));
        }
    }
}

// Kernels: (source row, destination row, width, BGR flag).
template <class S, class D, bool Fwd>
void labKernel(const S* s, D* d, int width, int bgr) {
    if constexpr (Fwd)
        bgr ? labFwdRow<S, D, true>(s, d, width) : labFwdRow<S, D, false>(s, d, width);
    else
        bgr ? labRevRow<S, D, true>(s, d, width) : labRevRow<S, D, false>(s, d, width);
}

void y8_innerBGRToLab_8u_C3R(const uint8_t* s, uint8_t* d, int w, int bgr) { labKernel<uint8_t, uint8_t, true>(s, d, w, bgr); }
void y8_innerBGRToLab_32f_C3R(const float* s, float* d, int w, int bgr) { labKernel<float, float, true>(s, d, w, bgr); }
void y8_innerLabToBGR_8u_C3R(const uint8_t* s, uint8_t* d, int w, int bgr) { labKernel<uint8_t, uint8_t, false>(s, d, w, bgr); }
void y8_innerLabToBGR_32f_C3R(const float* s, float* d, int w, int bgr) { labKernel<float, float, false>(s, d, w, bgr); }
void y8_innerBGRToLab_8u16u_C3R(const uint8_t* s, uint16_t* d, int w) { labFwdRow<uint8_t, uint16_t, true>(s, d, w); }
void y8_innerLabToBGR_16u8u_C3R(const uint16_t* s, uint8_t* d, int w) { labRevRow<uint16_t, uint8_t, true>(s, d, w); }

// Entry: pointers, then size; then the rows with byte steps.
template <class S, class D, class K, class... Flag>
CelStatus labEntry(const S* src, int srcStep, D* dst, int dstStep, CelSize roi, K kernel, Flag... bgr) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roi, 1, 1)) return celStatusBadSize;
    const auto* sp = reinterpret_cast<const uint8_t*>(src);
    auto* dp = reinterpret_cast<uint8_t*>(dst);
    for (int j = 0; j < roi.height; ++j)
        kernel(reinterpret_cast<const S*>(sp + static_cast<std::ptrdiff_t>(j) * srcStep),
               reinterpret_cast<D*>(dp + static_cast<std::ptrdiff_t>(j) * dstStep), roi.width, bgr...);
    return celStatusOk;
}

}  // namespace

// ---- Entry functions -----------------------------------------------------------------
#define CEL_LAB_ENTRY(name, depth, S, D, ...)                                                               \
    extern "C" CelStatus y8_celi##name##_##depth##_C3R(const S* src, int srcStep, D* dst, int dstStep,    \
                                                       CelSize roiSize) {                                  \
        return labEntry(src, srcStep, dst, dstStep, roiSize, __VA_ARGS__);                                 \
    }

CEL_LAB_ENTRY(RGBToLab, 8u, uint8_t, uint8_t, y8_innerBGRToLab_8u_C3R, 0)
CEL_LAB_ENTRY(BGRToLab, 8u, uint8_t, uint8_t, y8_innerBGRToLab_8u_C3R, 1)
CEL_LAB_ENTRY(RGBToLab, 32f, float, float, y8_innerBGRToLab_32f_C3R, 0)
CEL_LAB_ENTRY(BGRToLab, 32f, float, float, y8_innerBGRToLab_32f_C3R, 1)
CEL_LAB_ENTRY(BGRToLab, 8u16u, uint8_t, uint16_t, y8_innerBGRToLab_8u16u_C3R)
CEL_LAB_ENTRY(LabToRGB, 8u, uint8_t, uint8_t, y8_innerLabToBGR_8u_C3R, 0)
CEL_LAB_ENTRY(LabToBGR, 8u, uint8_t, uint8_t, y8_innerLabToBGR_8u_C3R, 1)
CEL_LAB_ENTRY(LabToRGB, 32f, float, float, y8_innerLabToBGR_32f_C3R, 0)
CEL_LAB_ENTRY(LabToBGR, 32f, float, float, y8_innerLabToBGR_32f_C3R, 1)
CEL_LAB_ENTRY(LabToBGR, 16u8u, uint16_t, uint8_t, y8_innerLabToBGR_16u8u_C3R)

#undef CEL_LAB_ENTRY
