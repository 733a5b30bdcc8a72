// The clamp table shared by the 8-bit decoders' scalar paths.
//
// _chop holds 1000 bytes; entry i is i - 370 clamped to 0..255.
// _CHOP_ARRAY addresses entry 370, so _CHOP_ARRAY[v] clamps any signed v in
// -370..629 with one load.  One definition for the whole library (an inline
// variable of constant data).
#pragma once

#include <array>
#include <cstdint>

namespace cel {

inline constexpr int kChopSize = 1000;
inline constexpr int kChopZero = 370;

namespace detail {
constexpr std::array<uint8_t, kChopSize> makeChop() {
    std::array<uint8_t, kChopSize> t{};
    for (int i = 0; i < kChopSize; ++i) {
        const int v = i - kChopZero;
        t[i] = static_cast<uint8_t>(v < 0 ? 0 : (v > 255 ? 255 : v));
    }
    return t;
}
}  // namespace detail

alignas(64) inline constexpr std::array<uint8_t, kChopSize> _chop = detail::makeChop();
inline constexpr const uint8_t* _CHOP_ARRAY = _chop.data() + kChopZero;

static_assert(_chop[370] == 0 && _chop[371] == 1 && _chop[624] == 254 && _chop[625] == 255);

}  // namespace cel
