// BGR (and one RGB form) to three planes Y, Co, Cg: the plain quarter-weight
// transform and the lifting one, from unsigned 8-bit or signed 16-bit
// interleaved pixels to 8, 16 or 32-bit planes.
//
//   form           lanes   aligned block   other block   results
//   8u16s          16-bit  16, then 8      8             exact
//   Rev_8u16s      16-bit  16, then 8      8             exact
//   16s (plain)    32-bit  8               4             body saturates to 16 bits,
//                                                        scalar tail keeps the low 16 bits
//   16s32s         32-bit  8 (width % 8 0) 4             exact
//   Rev_16s        16-bit  8               4             wraps modulo 2^16
//   Rev_16s32s     32-bit  8 (width % 8 0) 4             exact
//   RGB 8u         scalar blocks of 16, then single pixels; chroma offset 128, limited
//
// The aligned block runs when the source row and all three plane rows are
// 16-byte aligned; the row goes on with the other block and ends in a
// scalar tail of the same arithmetic (the plain 16s tail stores the low
// bits where the body saturates: Co or Cg of 32768 is 32767 in the body and
// -32768 in the tail).  The 8-bit forms split eight pixels into B, R byte
// pairs and G words and take R - B and R + B from the pairs by byte
// multiply-adds (the lifting form B by a mask), so that their vector bodies
// enter the recipe after its first sums; the values are those of the sums.
#include <smmintrin.h>

#include <cstdint>

#include "frame/image.h"
#include "frame/status.h"
#include "frame/tier.h"
#include "ycocg/pixels.h"
#include "ycocg/recipes.h"

namespace {

using namespace cel::ycocg;

// A forward form: 32-bit lanes for the 16-bit sources, but for the
// wrapping lifting form.
template <class Src, class Dst, int N, bool Lifting>
using ToForm = Form<Src, Dst, N, Lifting, sizeof(Src) == 2 && !(Lifting && sizeof(Dst) == 2)>;

// One plane's W results, held in 16-bit or 32-bit lanes, to the plane row.
template <class F, int W, bool Aligned>
inline void storePlane(typename F::Q* p, const __m128i (&v)[2]) {
    if constexpr (sizeof(typename F::Q) == 4) {
        storeA<Aligned>(p, v[0]);
        if constexpr (W == 8) storeA<Aligned>(p + 4, v[1]);
    } else if constexpr (F::k32) {
        // plain 16s: the signed 16-bit pack saturates
        const __m128i w = _mm_packs_epi32(v[0], W == 8 ? v[1] : v[0]);
        if constexpr (W == 8)
            storeA<Aligned>(p, w);
        else
            storeLow(p, w);
    } else if constexpr (W == 4) {
        storeLow(p, v[0]);
    } else {
        storeA<Aligned>(p, v[0]);
        if constexpr (W == 16) storeA<Aligned>(p + 8, v[1]);
    }
}

// W pixels: channels in memory order B, G, R, through the recipe, to the planes.
template <class F, int W, bool Aligned>
inline void toBlock(const typename F::P* s, typename F::Q* y, typename F::Q* co, typename F::Q* cg) {
    __m128i oy[2], oco[2], ocg[2];
    if constexpr (F::k8u) {
        // 8-bit pixels, eight at a time: R - B, and R + B or B, from the
        // B, R byte pairs (a multiply-add by bytes -1, 1 and 1, 1, or the
        // low byte), then the rest of the recipe in 16-bit lanes
        const __m128i diff = _mm_set1_epi16(0x01FF), sum = _mm_set1_epi16(0x0101);
        for (int h = 0; h < W / 8; ++h) {
            __m128i br, g;
            splitPairs<F::kChannels>(s + 8 * F::kChannels * h, br, g);
            oco[h] = _mm_maddubs_epi16(br, diff);
            if constexpr (F::kLifting)
                forwardLiftingCo<V16>(oco[h], g, _mm_and_si128(br, _mm_set1_epi16(0xFF)), oy[h], ocg[h]);
            else
                forwardPlainSums<V16>(_mm_maddubs_epi16(br, sum), oco[h], g, oy[h], oco[h], ocg[h]);
        }
    } else {
        __m128i c[3][2];
        splitPixels<F::kChannels, W>(s, c);
        constexpr int kVectors = F::k32 && W == 8 ? 2 : 1;
        if constexpr (F::k32) {
            for (int k = 0; k < 3; ++k) widen(c[k][0], c[k][0], c[k][1]);
        }
        for (int h = 0; h < kVectors; ++h)
            forward<F::kLifting, typename F::VO>(c[2][h], c[1][h], c[0][h], oy[h], oco[h], ocg[h]);
    }
    storePlane<F, W, Aligned>(y, oy);
    storePlane<F, W, Aligned>(co, oco);
    storePlane<F, W, Aligned>(cg, ocg);
}

// Row kernel: aligned wide blocks, other blocks, scalar tail.
template <class F>
void y8_innerToYCoCg(const typename F::P* s, typename F::Q* y, typename F::Q* co, typename F::Q* cg, int width) {
    constexpr int N = F::kChannels;
    int x = 0;
    if (cel::aligned16(s) && cel::aligned16(y) && cel::aligned16(co) && cel::aligned16(cg) &&
        (!F::kWidth8 || width % 8 == 0)) {
        // body: the recipe in vector lanes, aligned blocks
        for (; x + F::kWide <= width; x += F::kWide) toBlock<F, F::kWide, true>(s + N * x, y + x, co + x, cg + x);
    }
    // body: the recipe in vector lanes, unaligned blocks
    for (; x + F::kNarrow <= width; x += F::kNarrow) toBlock<F, F::kNarrow, false>(s + N * x, y + x, co + x, cg + x);
    // tail: the recipe on one pixel; the plane keeps the low bits
    using T = typename F::SO::T;
    using D = typename F::Q;
    for (; x < width; ++x) {
        const typename F::P* p = s + N * x;
        T Y, Co, Cg;
        forward<F::kLifting, typename F::SO>(T(p[2]), T(p[1]), T(p[0]), Y, Co, Cg);
        y[x] = static_cast<D>(Y);
        co[x] = static_cast<D>(Co);
        cg[x] = static_cast<D>(Cg);
    }
}

// Row loop: 32-bit signed row offsets; a region without width has no work
// in any row.
template <class F>
void y8_myToYCoCg(const typename F::P* src, int srcStep, typename F::Q* const dst[3], int dstStep, CelSize roi) {
    if (roi.width < 1) return;
    for (int j = 0; j < roi.height; ++j)
        y8_innerToYCoCg<F>(cel::rowAt(src, j, srcStep), cel::rowAt(dst[0], j, dstStep), cel::rowAt(dst[1], j, dstStep),
                           cel::rowAt(dst[2], j, dstStep), roi.width);
}

// RGB to offset 8-bit planes: one region worker, rows in scalar blocks of
// 16 pixels, then single pixels, all by the same recipe.
void y8_ownRGBToYCoCg_8u_C3P3R(const uint8_t* src, int srcStep, uint8_t* const dst[3], int dstStep, CelSize roi) {
    const int w = roi.width;
    for (int j = 0; j < roi.height; ++j) {
        const uint8_t* s = cel::rowAt(src, j, srcStep);
        uint8_t* y = cel::rowAt(dst[0], j, dstStep);
        uint8_t* co = cel::rowAt(dst[1], j, dstStep);
        uint8_t* cg = cel::rowAt(dst[2], j, dstStep);
        int x = 0;
        for (; x + 16 <= w; x += 16)
            for (int i = x; i < x + 16; ++i) forwardOffset8u(s[3 * i], s[3 * i + 1], s[3 * i + 2], y[i], co[i], cg[i]);
        for (; x < w; ++x) forwardOffset8u(s[3 * x], s[3 * x + 1], s[3 * x + 2], y[x], co[x], cg[x]);
    }
}

// Named row loops of the forms.
constexpr auto y8_myBGRToYCoCg_8u16s_C3P3R = y8_myToYCoCg<ToForm<uint8_t, int16_t, 3, false>>;
constexpr auto y8_myBGRToYCoCg_8u16s_C4P3R = y8_myToYCoCg<ToForm<uint8_t, int16_t, 4, false>>;
constexpr auto y8_myBGRToYCoCg_Rev_8u16s_C3P3R = y8_myToYCoCg<ToForm<uint8_t, int16_t, 3, true>>;
constexpr auto y8_myBGRToYCoCg_Rev_8u16s_C4P3R = y8_myToYCoCg<ToForm<uint8_t, int16_t, 4, true>>;
constexpr auto y8_mySBGRToYCoCg_16s_C3P3R = y8_myToYCoCg<ToForm<int16_t, int16_t, 3, false>>;
constexpr auto y8_mySBGRToYCoCg_16s_C4P3R = y8_myToYCoCg<ToForm<int16_t, int16_t, 4, false>>;
constexpr auto y8_mySBGRToYCoCg_16s32s_C3P3R = y8_myToYCoCg<ToForm<int16_t, int32_t, 3, false>>;
constexpr auto y8_mySBGRToYCoCg_16s32s_C4P3R = y8_myToYCoCg<ToForm<int16_t, int32_t, 4, false>>;
constexpr auto y8_mySBGRToYCoCg_Rev_16s_C3P3R = y8_myToYCoCg<ToForm<int16_t, int16_t, 3, true>>;
constexpr auto y8_mySBGRToYCoCg_Rev_16s_C4P3R = y8_myToYCoCg<ToForm<int16_t, int16_t, 4, true>>;
constexpr auto y8_mySBGRToYCoCg_Rev_16s32s_C3P3R = y8_myToYCoCg<ToForm<int16_t, int32_t, 3, true>>;
constexpr auto y8_mySBGRToYCoCg_Rev_16s32s_C4P3R = y8_myToYCoCg<ToForm<int16_t, int32_t, 4, true>>;

}  // namespace

// ---- Entry functions -----------------------------------------------------------------------------
// Source, then the plane array and its three members; then, in the members
// that test it, the size.  The four without the size test return Ok for an
// empty region.
#define CEL_TO_YCOCG(name, Src, Dst, sizeTest)                                                                     \
    extern "C" CelStatus y8_celi##name(const Src* src, int srcStep, Dst* dst[3], int dstStep, CelSize roiSize) {      \
        if (cel::anyNull(src, dst) || cel::anyPlaneNull(dst, 3)) return celStatusNullPointer;                     \
        if (sizeTest && cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;                                    \
        y8_my##name(src, srcStep, dst, dstStep, roiSize);                                                          \
        return celStatusOk;                                                                                        \
    }

CEL_TO_YCOCG(BGRToYCoCg_8u16s_C3P3R, uint8_t, int16_t, true)
CEL_TO_YCOCG(BGRToYCoCg_8u16s_C4P3R, uint8_t, int16_t, true)
CEL_TO_YCOCG(BGRToYCoCg_Rev_8u16s_C3P3R, uint8_t, int16_t, true)
CEL_TO_YCOCG(BGRToYCoCg_Rev_8u16s_C4P3R, uint8_t, int16_t, true)
CEL_TO_YCOCG(SBGRToYCoCg_16s_C3P3R, int16_t, int16_t, true)
CEL_TO_YCOCG(SBGRToYCoCg_16s_C4P3R, int16_t, int16_t, true)
CEL_TO_YCOCG(SBGRToYCoCg_16s32s_C3P3R, int16_t, int32_t, true)
CEL_TO_YCOCG(SBGRToYCoCg_16s32s_C4P3R, int16_t, int32_t, false)
CEL_TO_YCOCG(SBGRToYCoCg_Rev_16s_C3P3R, int16_t, int16_t, false)
CEL_TO_YCOCG(SBGRToYCoCg_Rev_16s_C4P3R, int16_t, int16_t, false)
CEL_TO_YCOCG(SBGRToYCoCg_Rev_16s32s_C3P3R, int16_t, int32_t, true)
CEL_TO_YCOCG(SBGRToYCoCg_Rev_16s32s_C4P3R, int16_t, int32_t, false)

#undef CEL_TO_YCOCG

extern "C" CelStatus y8_celiRGBToYCoCg_8u_C3P3R(const uint8_t* src, int srcStep, uint8_t* dst[3], int dstStep,
                                                CelSize roiSize) {
    if (cel::anyNull(src, dst) || cel::anyPlaneNull(dst, 3)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    y8_ownRGBToYCoCg_8u_C3P3R(src, srcStep, dst, dstStep, roiSize);
    return celStatusOk;
}
