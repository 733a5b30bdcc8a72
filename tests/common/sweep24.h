// Every input of three 8-bit channels (2^24 of them) through a kernel's
// vector body and, separately, through its scalar tail: a tall image of
// narrow rows, one pass `bodyWidth` wide (all body) and one `tailWidth`
// wide (all tail).  A rounding constant that is off only at an exact half
// shows up here; random images rarely hit it.  Under the sanitizers every
// 61st input keeps the run short.
#pragma once

#include <cstdint>

namespace celtest {

#if defined(__SANITIZE_ADDRESS__)
constexpr uint32_t kSweep24Stride = 61;
#else
constexpr uint32_t kSweep24Stride = 1;
#endif

// Inputs in the sweep, and the input of sweep pixel i as (a, b, c).
constexpr int64_t sweep24Count() { return ((int64_t(1) << 24) + kSweep24Stride - 1) / kSweep24Stride; }
inline void sweep24Input(int64_t i, int& a, int& b, int& c) {
    const uint32_t v = static_cast<uint32_t>(i * kSweep24Stride) & 0xFFFFFFu;
    a = int(v >> 16), b = int((v >> 8) & 0xFF), c = int(v & 0xFF);
}
// Rows of a sweep image `width` pixels wide (the last row wraps to input 0).
inline int sweep24Rows(int width) { return int((sweep24Count() + width - 1) / width); }

}  // namespace celtest
