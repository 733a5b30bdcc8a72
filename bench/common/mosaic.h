// Realistic Bayer mosaics for the demosaicing benchmarks: the content of
// content.h (the photograph, or smooth gradients) sampled through a BGGR
// pattern, widened to the sample depth and given sensor-like noise (shot
// noise growing with the signal plus read noise).
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "common/content.h"

namespace celbench {

enum class MosaicContent { Photo, Gradient };

// A BGGR mosaic of f.width x f.height samples in 0 .. 2^bits - 1.
inline std::vector<uint16_t> makeMosaic(const Frame& f, MosaicContent content, int bits, uint32_t seed = 7) {
    std::vector<uint8_t> rgb = content == MosaicContent::Photo ? photoRGB(f) : std::vector<uint8_t>{};
    if (rgb.empty()) rgb = gradientRGB(f, seed);
    const double maxOut = double((1 << bits) - 1);
    std::mt19937 rng(seed);
    std::normal_distribution<double> gauss(0.0, 1.0);
    std::vector<uint16_t> out(size_t(f.width) * f.height);
    for (int r = 0; r < f.height; ++r)
        for (int c = 0; c < f.width; ++c) {
            // BGGR: the RGB channel of the site
            const int ch = (r & 1) == 0 ? ((c & 1) == 0 ? 2 : 1) : ((c & 1) == 0 ? 1 : 0);
            const double v = rgb[(size_t(r) * f.width + c) * 3 + ch] / 255.0;
            const double noisy = v + gauss(rng) * (0.01 * std::sqrt(v) + 0.003);
            out[size_t(r) * f.width + c] = static_cast<uint16_t>(std::round(std::min(1.0, std::max(0.0, noisy)) * maxOut));
        }
    return out;
}

}  // namespace celbench
