// The rounding-control pair: the SSE control and status word (MXCSR) read
// and changed around the work of a function whose float-to-integer
// conversions must round to nearest whatever the caller has set.  The
// control word is per thread; a function that changes it restores it
// before it returns.
#pragma once

#include <xmmintrin.h>

namespace cel {

// Rounding-control field of the word: 0 nearest (ties to even), 1 down,
// 2 up, 3 toward zero.
inline constexpr unsigned kRoundingField = 0x6000u;

// Sets the rounding control to rc and returns the word as it was.
inline unsigned cel_set_rc_ssx(unsigned rc) {
    const unsigned prior = _mm_getcsr();
    _mm_setcsr((prior & ~kRoundingField) | ((rc << 13) & kRoundingField));
    return prior;
}

// Writes a word returned by cel_set_rc_ssx back.
inline void cel_set_cw_ssx(unsigned word) { _mm_setcsr(word); }

}  // namespace cel
