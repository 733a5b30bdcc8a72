// The image model shared by all row loops: row addressing with 32-bit
// signed offsets, and the small pointer tests that choose aligned paths.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "celcc.h"

namespace cel {

// Byte offset of row y from the first row.  The row loops keep this offset
// in a signed 32-bit accumulator increased by the step once a row, widened
// to pointer width only when the address is formed; a region whose last row
// lies more than 2^31 bytes away wraps exactly as that accumulator does.
inline std::ptrdiff_t rowOffset(int y, int step) {
    return static_cast<int32_t>(static_cast<uint32_t>(y) * static_cast<uint32_t>(step));
}

// Address of row y of an image given by its first row and its step.
template <class T>
inline T* rowAt(T* base, int y, int step) {
    using Byte = std::conditional_t<std::is_const_v<T>, const uint8_t, uint8_t>;
    return reinterpret_cast<T*>(reinterpret_cast<Byte*>(base) + rowOffset(y, step));
}

// Row step of a contiguous image (forms without explicit steps): width
// times bytes per pixel, computed in 32 bits as those forms define it.
inline int contiguousStep(int width, int bytesPerPixel) {
    return static_cast<int>(static_cast<uint32_t>(width) * static_cast<uint32_t>(bytesPerPixel));
}

// True if an address or a step is a multiple of 16.
inline bool aligned16(const void* p) { return (reinterpret_cast<uintptr_t>(p) & 15u) == 0; }
inline bool aligned16(int v) { return (v & 15) == 0; }

// True if every address and step given is a multiple of 16.
template <class... A>
inline bool allAligned16(A... a) {
    return (aligned16(a) && ...);
}

// Rows y of the first N planes of a plane array, all with one step.
template <int N, class T>
inline std::array<T*, N> planeRows(T* const* planes, int y, int step) {
    std::array<T*, N> rows;
    for (int k = 0; k < N; ++k) rows[k] = rowAt(planes[k], y, step);
    return rows;
}

// The row loop of an interleaved image to three planes, one step a side.
template <class K>
inline void rowsToP3(const uint8_t* src, int srcStep, uint8_t* const dst[3], int dstStep, int width, int height,
                     K kernel) {
    for (int j = 0; j < height; ++j) kernel(rowAt(src, j, srcStep), planeRows<3>(dst, j, dstStep).data(), width);
}

// The row loop of three planes to three planes, one step a side: the
// kernel gets the rows, the width and whether every address, both steps
// and the width are multiples of 16, decided once for the call.
template <class K>
inline void rowsP3P3(const uint8_t* const src[3], int srcStep, uint8_t* const dst[3], int dstStep, int width,
                     int height, K kernel) {
    const bool aligned = allAligned16(src[0], src[1], src[2], dst[0], dst[1], dst[2], srcStep, dstStep, width);
    for (int j = 0; j < height; ++j)
        kernel(planeRows<3>(src, j, srcStep).data(), planeRows<3>(dst, j, dstStep).data(), width, aligned);
}

}  // namespace cel
