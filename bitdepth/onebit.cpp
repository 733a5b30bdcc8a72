// One-bit output: celiReduceBits_8u1u_C1R writes an 8-bit gray image as a
// bitmap, one bit a pixel, the first pixel of a byte in its highest bit.
// Mode 0 sets a bit where the sample is above the threshold; mode 3 is
// Stucki error diffusion in 32-bit integers with three error rows in the
// caller's scratch.  Its own checks and kernels: it has no level grid.
//
// Bit placement, the same in both modes, with o = dstBitOffset & 7 (the
// offset never moves dst by whole bytes): a head of n = min((8 - o) & 7,
// width) pixels fills the first byte below its top o bits, which are kept,
// and clears the bits below the new ones; then whole bytes; then a tail
// byte that keeps its low bits and takes the new bits above them.
#include <smmintrin.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "bitdepth/reduce_forms.h"
#include "bitdepth/reduce_scratch.h"
#include "frame/image.h"
#include "frame/status.h"
#include "frame/tier.h"

namespace {

using namespace cel::rb;

// Places the bits of one row.  `Gen` hands out the bits of the next `count`
// pixels, first pixel highest (take), and whole bytes of eight pixels
// (bytes); it is called strictly from left to right.
template <class Gen>
void y8_ownPlaceRow_1u(uint8_t* d, int width, int o, Gen& g) {
    const int n = std::min((8 - o) & 7, width);
    if (n > 0) {
        const uint32_t keep = ~((1u << (8 - o)) - 1u) & 0xFFu;
        d[0] = static_cast<uint8_t>((d[0] & keep) | (g.take(n) << (8 - o - n)));
        ++d;
    }
    const int rest = width - n;
    g.bytes(d, rest >> 3);
    const int k = rest & 7;
    if (k != 0) {
        const int r = 8 - k;
        uint8_t& last = d[rest >> 3];
        last = static_cast<uint8_t>((last & ((1u << r) - 1u)) | (g.take(k) << r));
    }
}

// Mode 0: the plain threshold.  ZeroThreshold is the path of threshold 0.
template <bool ZeroThreshold>
struct ThresholdGen {
    const uint8_t* s;
    uint8_t t;
    bool aligned;  // source row and dst on 16-byte boundaries: aligned loads

    uint32_t take(int count) {
        uint32_t bits = 0;
        for (int i = 0; i < count; ++i) bits = (bits << 1) | aboveBit(*s++, t);
        return bits;
    }
    __m128i load(const uint8_t* p) const {
        return aligned ? _mm_load_si128(reinterpret_cast<const __m128i*>(p))
                       : _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    }
    void bytes(uint8_t* d, int count) {
        const __m128i vt = _mm_set1_epi8(static_cast<char>(t));
        int i = 0;
        // body: 32 samples, then 16, into 4 and 2 bytes
        for (; i + 4 <= count; i += 4, s += 32) {
            const uint32_t lo = aboveBits16<ZeroThreshold>(load(s), vt);
            const uint32_t hi = aboveBits16<ZeroThreshold>(load(s + 16), vt);
            const uint32_t w = lo | (hi << 16);
            std::memcpy(d + i, &w, 4);
        }
        for (; i + 2 <= count; i += 2, s += 16) {
            const uint16_t w = static_cast<uint16_t>(aboveBits16<ZeroThreshold>(load(s), vt));
            std::memcpy(d + i, &w, 2);
        }
        // tail: one byte of eight samples
        for (; i < count; ++i) d[i] = static_cast<uint8_t>(take(8));
    }
};

// Mode 3.  The row's rows-above parts are first written into c (whose old
// contents, the row three above, are no longer needed), four pixels a pass;
// then the pixels are decided from left to right, each replacing its c[x]
// by its error.
// The errors of x-2 and x-1 travel in cm2, cm1 as well as in c, so that
// the chain from one pixel to the next does not go through memory.
struct StuckiGen {
    const uint8_t* s;
    int32_t* c;  // current row at x
    uint8_t t;
    int32_t cm2 = 0, cm1 = 0;  // the guard words at the row's start

    uint32_t take(int count) {
        uint32_t bits = 0;
        for (int i = 0; i < count; ++i, ++s, ++c) {
            int32_t e;
            bits = (bits << 1) | stuckiPixel(*s, c[0], cm2, cm1, t, &e);
            c[0] = e;
            cm2 = cm1;
            cm1 = e;
        }
        return bits;
    }
    void bytes(uint8_t* d, int count) {
        for (int i = 0; i < count; ++i) d[i] = static_cast<uint8_t>(take(8));
    }
};

void y8_ownStuckiAbove_32s(const int32_t* r2, const int32_t* r1, int32_t* c, int width) {
    int x = 0;
    // body: four pixels a pass
    for (; x + 4 <= width; x += 4)
        _mm_storeu_si128(reinterpret_cast<__m128i*>(c + x), stuckiAbove4(r2 + x, r1 + x));
    // tail: one pixel at a time
    for (; x < width; ++x) c[x] = stuckiAbove(r2 + x, r1 + x);
}

void y8_ownReduceBits_threshold_8u1u(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep, CelSize roi, int o,
                                     uint8_t threshold) {
    const bool aligned = cel::aligned16(src) && cel::aligned16(srcStep) && cel::aligned16(dst) && cel::aligned16(dstStep);
    for (int y = 0; y < roi.height; ++y) {
        const uint8_t* s = cel::rowAt(src, y, srcStep);
        uint8_t* d = cel::rowAt(dst, y, dstStep);
        const int n = std::min((8 - o) & 7, roi.width);
        const bool rowAligned = aligned && cel::aligned16(s + n);
        if (threshold == 0) {
            ThresholdGen<true> g{s, 0, rowAligned};
            y8_ownPlaceRow_1u(d, roi.width, o, g);
        } else {
            ThresholdGen<false> g{s, threshold, rowAligned};
            y8_ownPlaceRow_1u(d, roi.width, o, g);
        }
    }
}

void y8_ownReduceBits_stucki_8u1u(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep, CelSize roi, int o,
                                  uint8_t threshold, uint8_t* scratch) {
    // three rows of width + 4 words, two guard words at each end, all zero
    const size_t rowWords = static_cast<size_t>(roi.width) + 4;
    auto* base = reinterpret_cast<int32_t*>(alignedBase(scratch));
    std::memset(base, 0, 3 * rowWords * sizeof(int32_t));
    int32_t* r2 = base + 2;
    int32_t* r1 = r2 + rowWords;
    int32_t* c = r1 + rowWords;
    for (int y = 0; y < roi.height; ++y) {
        y8_ownStuckiAbove_32s(r2, r1, c, roi.width);
        StuckiGen g{cel::rowAt(src, y, srcStep), c, threshold};
        y8_ownPlaceRow_1u(cel::rowAt(dst, y, dstStep), roi.width, o, g);
        int32_t* old = r2;
        r2 = r1;
        r1 = c;
        c = old;
    }
}

}  // namespace

// Checks: pointers, sizes and a negative bit offset, the mode (0 or 3),
// then the scratch of mode 3.  reserved0 and reserved1 are not read.
extern "C" CelStatus y8_celiReduceBits_8u1u_C1R(const uint8_t* src, int srcStep, uint8_t* dst, int dstStep,
                                               int dstBitOffset, CelSize roiSize, int reserved0, int reserved1,
                                               CelDitherMode ditherMode, uint8_t threshold, uint8_t* scratch) {
    (void)reserved0;
    (void)reserved1;
    if (cel::anyNull(src, dst)) return celStatusNullPointer;
    if (cel::sizeBelow(roiSize, 1, 1) || dstBitOffset < 0) return celStatusBadSize;
    const int mode = static_cast<int>(ditherMode);
    if (mode != celDitherOff && mode != celDitherStucki) return celStatusBadDither;
    if (mode == celDitherStucki && scratch == nullptr) return celStatusNullPointer;
    if (mode == celDitherOff)
        y8_ownReduceBits_threshold_8u1u(src, srcStep, dst, dstStep, roiSize, dstBitOffset & 7, threshold);
    else
        y8_ownReduceBits_stucki_8u1u(src, srcStep, dst, dstStep, roiSize, dstBitOffset & 7, threshold, scratch);
    return celStatusOk;
}
