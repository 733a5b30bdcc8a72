// Taking a 4:2:2 source apart: the luma of a packed 8-bit YCbCr422 stream
// as gray, and the 10-bit v210 packing decoded to 16-bit luma or to 5-6-5
// colour words (chroma/v210_recipes.h holds the layout and the arithmetic).
//
// The v210 members count their steps in elements, unlike every other
// family: srcStep in 32-bit words, dstStep in 16-bit samples, and a step
// below 1 is a size error.  A row's address is the base pointer plus the
// row times the step in those units, the product kept in 32 bits as every
// row loop keeps its offsets.
#include <smmintrin.h>

#include <cstdint>
#include <cstring>

#include "chroma/rows.h"
#include "chroma/v210_recipes.h"
#include "frame/image.h"
#include "frame/status.h"
#include "frame/tier.h"

namespace {

using namespace cel::chroma;
namespace v = cel::chroma::v210;

// Row y of an image whose step counts elements of T.
template <class T>
inline T* rowAtElements(T* base, int y, int step) {
    return base + static_cast<int32_t>(static_cast<uint32_t>(y) * static_cast<uint32_t>(step));
}

// ---- YCbCr422 to gray ------------------------------------------------------------------------------
// Row kernel: `len` pixels, a multiple of 4 (the row loop does the rest).
void y8_innerYCbCr422ToGray_8u_C2C1R(const uint8_t* src, uint8_t* dst, int len) {
    const __m128i even = c2Split<kYUY2, false>();  // luma to bytes 0-7
    int x = 0;
    // body: 16 pixels, the even bytes of 32 by masks and one saturating pack
    for (; x + 16 <= len; x += 16) store(dst + x, evenBytes(load(src + 2 * x), load(src + 2 * x + 16)));
    // body: 8 pixels
    for (; x + 8 <= len; x += 8) store8(dst + x, _mm_shuffle_epi8(load(src + 2 * x), even));
    // tail: blocks of four
    for (; x + 4 <= len; x += 4) {
        const uint8_t* s = src + 2 * x;
        dst[x] = s[0], dst[x + 1] = s[2], dst[x + 2] = s[4], dst[x + 3] = s[6];
    }
}

// Pixels 0 .. width - 1 of a row: the kernel takes the multiple of 4, then
// pairs read as one 32-bit word (bytes 0 and 2), then an odd last pixel.
void y8_myYCbCr422ToGray_8u_C2C1R(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep, CelSize roi) {
    const int blocks = roi.width & ~3;
    for (int j = 0; j < roi.height; ++j) {
        const uint8_t* s = cel::rowAt(src, j, srcStep);
        uint8_t* d = cel::rowAt(dst, j, dstStep);
        y8_innerYCbCr422ToGray_8u_C2C1R(s, d, blocks);
        int x = blocks;
        for (; x + 2 <= roi.width; x += 2) {
            uint32_t pair;
            std::memcpy(&pair, s + 2 * x, 4);
            d[x] = static_cast<uint8_t>(pair);
            d[x + 1] = static_cast<uint8_t>(pair >> 16);
        }
        if (x < roi.width) d[x] = s[2 * x];
    }
}

// ---- v210 ----------------------------------------------------------------------------------------
// Luma: whole groups by 16-byte loads, six results to 12 bytes (8 and 4); a
// group cut by the row's end reads only the words its pixels need into a
// zeroed copy and runs the same pass, storing `rest` samples.
void y8_innerYUV422v210ToGray_32u16u(const uint32_t* s, uint16_t* d, int width) {
    int x = 0;
    // body: groups of 6 pixels
    for (; x + v::kGroupPixels <= width; x += v::kGroupPixels, s += v::kGroupWords, d += v::kGroupPixels) {
        const __m128i r = v::luma_v(load(reinterpret_cast<const uint8_t*>(s)));
        store8(reinterpret_cast<uint8_t*>(d), r);
        store4(reinterpret_cast<uint8_t*>(d + 4), _mm_srli_si128(r, 8));
    }
    // cut group: 1 to 5 pixels
    const int rest = width - x;
    if (rest > 0) {
        alignas(16) uint32_t words[v::kGroupWords] = {0, 0, 0, 0};
        std::memcpy(words, s, sizeof(uint32_t) * static_cast<size_t>(v::kLumaWords[rest]));
        alignas(16) uint16_t out[8];
        _mm_store_si128(reinterpret_cast<__m128i*>(out), v::luma_v(_mm_load_si128(reinterpret_cast<const __m128i*>(words))));
        std::memcpy(d, out, sizeof(uint16_t) * static_cast<size_t>(rest));
    }
}

// Colour: blocks of 24 pixels (four groups); the 1 to 23 pixels after the
// last block read the words they need (whole groups, then those of a cut
// group) into a zeroed block and store `rest` samples of it.
template <const v::Packed565& P>
void y8_innerYUV422v210ToColour_32u16u(const uint32_t* s, uint16_t* d, int width) {
    constexpr int kBlockWords = v::kBlockGroups * v::kGroupWords;
    int x = 0;
    // body: 24 pixels
    for (; x + v::kBlockPixels <= width; x += v::kBlockPixels, s += kBlockWords, d += v::kBlockPixels)
        v::block565_v<P>(s, d);
    // last block: 1 to 23 pixels
    const int rest = width - x;
    if (rest > 0) {
        const int whole = rest / v::kGroupPixels;
        alignas(16) uint32_t words[kBlockWords] = {};
        std::memcpy(words, s,
                    sizeof(uint32_t) *
                        static_cast<size_t>(whole * v::kGroupWords + v::kColourWords[rest % v::kGroupPixels]));
        alignas(16) uint16_t out[v::kBlockPixels];
        v::block565_v<P>(words, out);
        std::memcpy(d, out, sizeof(uint16_t) * static_cast<size_t>(rest));
    }
}

template <void (*Inner)(const uint32_t*, uint16_t*, int)>
void y8_myYUV422v210_32u16u(const uint32_t* src, int srcStep, uint16_t* dst, int dstStep, CelSize roi) {
    for (int j = 0; j < roi.height; ++j) Inner(rowAtElements(src, j, srcStep), rowAtElements(dst, j, dstStep), roi.width);
}

// Checks of every v210 member: pointers, then width, height and both steps
// against 1, all four a size error.
inline CelStatus v210Checks(const uint32_t* src, int srcStep, const uint16_t* dst, int dstStep, CelSize roi) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roi, 1, 1) || srcStep < 1 || dstStep < 1) return celStatusBadSize;
    return celStatusOk;
}

}  // namespace

extern "C" CelStatus y8_celiYCbCr422ToGray_8u_C2C1R(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep,
                                                   CelSize roiSize) {
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1)) return celStatusBadSize;
    y8_myYCbCr422ToGray_8u_C2C1R(src, srcStep, dst, dstStep, roiSize);
    return celStatusOk;
}

extern "C" CelStatus y8_celiYUV422v210ToGray_709HDTV_32u16u_C3C1(const uint32_t* src, int srcStep, uint16_t* dst,
                                                                int dstStep, CelSize roiSize) {
    if (const CelStatus st = v210Checks(src, srcStep, dst, dstStep, roiSize)) return st;
    y8_myYUV422v210_32u16u<y8_innerYUV422v210ToGray_32u16u>(src, srcStep, dst, dstStep, roiSize);
    return celStatusOk;
}

extern "C" CelStatus y8_celiYUV422v210ToBGR_709HDTV_32u16u_C3(const uint32_t* src, int srcStep, uint16_t* dst,
                                                             int dstStep, CelSize roiSize) {
    if (const CelStatus st = v210Checks(src, srcStep, dst, dstStep, roiSize)) return st;
    y8_myYUV422v210_32u16u<y8_innerYUV422v210ToColour_32u16u<v::kBGR565>>(src, srcStep, dst, dstStep, roiSize);
    return celStatusOk;
}

extern "C" CelStatus y8_celiYUV422v210ToRGB_709HDTV_32u16u_C3(const uint32_t* src, int srcStep, uint16_t* dst,
                                                             int dstStep, CelSize roiSize) {
    if (const CelStatus st = v210Checks(src, srcStep, dst, dstStep, roiSize)) return st;
    y8_myYUV422v210_32u16u<y8_innerYUV422v210ToColour_32u16u<v::kRGB565>>(src, srcStep, dst, dstStep, roiSize);
    return celStatusOk;
}
