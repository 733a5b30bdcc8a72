// The caller's scratch of celiReduceBits_*: where the noise tables, the two
// generator states and the error rows sit, and how the tables are made.
//
// From `base`, the scratch rounded up to 64 bytes: with noise, the noise
// table (1024 floats) at 0, the position table (1024 16-bit words) at 4096,
// the 16-bit and float generator states at 6144 and 6200, the error rows at
// 6256; without noise the error rows start at `base`.
#pragma once

#include <cstdint>

#include "bitdepth/rand_uniform.h"

namespace cel::rb {

inline constexpr int kNoiseTableOffset = 0;        // 1024 floats
inline constexpr int kPositionTableOffset = 4096;  // 1024 16-bit words
inline constexpr int kState16sOffset = 6144;
inline constexpr int kState32fOffset = 6200;
inline constexpr int kNoiseErrorRowsOffset = 6256;  // error rows when there is noise
inline constexpr int kTableLen = 1024;

inline uint8_t* alignedBase(uint8_t* scratch) {
    return reinterpret_cast<uint8_t*>((reinterpret_cast<uintptr_t>(scratch) + 63) & ~uintptr_t(63));
}

// Fills the position table (values 0..1024) and the noise table (uniform in
// low..high), both from seed 0, so every call sees the same tables.
inline void buildNoiseTables(uint8_t* base, float low, float high) {
    auto* st16 = reinterpret_cast<rnd::State16s*>(base + kState16sOffset);
    auto* st32 = reinterpret_cast<rnd::State32f*>(base + kState32fOffset);
    y8_celsRandUniformInit_16s(st16, 0, 1024, 0);
    y8_celsRandUniform_16s(reinterpret_cast<int16_t*>(base + kPositionTableOffset), kTableLen, st16);
    y8_celsRandUniformInit_32f(st32, low, high, 0);
    y8_celsRandUniform_32f(reinterpret_cast<float*>(base + kNoiseTableOffset), kTableLen, st32);
}

inline const float* noiseTable(const uint8_t* base) {
    return reinterpret_cast<const float*>(base + kNoiseTableOffset);
}
inline const uint16_t* positionTable(const uint8_t* base) {
    return reinterpret_cast<const uint16_t*>(base + kPositionTableOffset);
}

// Index into the noise table of pixel x on row y.
inline int noiseIndex(const uint16_t* P, int x, int y) { return (P[x & (kTableLen - 1)] + 2 * y + x) & (kTableLen - 1); }

}  // namespace cel::rb
